// The shareable-block steps common to the DSP's and the GPU's allocators.
#include "memory/lumivaSharedPages.h"
#include "platform/lumivaSharedMem.h"

#include <errno.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

namespace {

void closeBoth(int dmaFd, int ionFd)
{
    close(dmaFd);
    ion_close(ionFd);
}

template <class... A>
void reportf(ILMV_PAGES_REPORT report, const char* who, const char* format, A... args)
{
    char text[160];
    int n = std::snprintf(text, sizeof text, "%s", who);
    if (n < 0 || n >= static_cast<int>(sizeof text)) n = 0;
    std::snprintf(text + n, sizeof text - n, format, args...);
    report(text);
}

}  // namespace

bool ilmvMapSharedPages(size_t size, const char* who, ILMV_PAGES_REPORT report, ILMV_SHARED_PAGES* pages)
{
    pages->length = ilmvPageRounded(size);
    pages->ionFd = ion_open();
    if (pages->ionFd < 0) return reportf(report, who, "%s", "Open ion device failed\n"), false;
    pages->dmaFd = -1;
    if (ion_alloc_fd(pages->ionFd, pages->length, 0, 0x19, 1, &pages->dmaFd) != 0) {
        reportf(report, who, "ION alloc length %zu\n", pages->length);
        ion_close(pages->ionFd);
        return false;
    }
    pages->address = mmap(nullptr, pages->length, PROT_READ | PROT_WRITE, MAP_SHARED, pages->dmaFd, 0);
    // MAP_FAILED counts as a failure too: registering it would hand a unit a wild range.
    if (pages->address == nullptr || pages->address == MAP_FAILED) {
        reportf(report, who, "mmap call failed %d\n", errno);
        closeBoth(pages->dmaFd, pages->ionFd);
        return false;
    }
    if (ilmvDmaBufSync(pages->dmaFd, ILMV_DMA_BUF_SYNC_START) != 0) {
        reportf(report, who, "%s", "failed to start DMA_BUF_IOCTL_SYNC\n");
        munmap(pages->address, pages->length);
        closeBoth(pages->dmaFd, pages->ionFd);
        return false;
    }
    return true;
}

void ilmvUnmapSharedPages(const ILMV_SHARED_PAGES& pages, const char* who, ILMV_PAGES_REPORT report)
{
    if (ilmvDmaBufSync(pages.dmaFd, ILMV_DMA_BUF_SYNC_END) != 0)
        reportf(report, who, "%s", "failed to end DMA_BUF_IOCTL_SYNC\n");
    munmap(pages.address, pages.length);
    closeBoth(pages.dmaFd, pages.ionFd);
}
