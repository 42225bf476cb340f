// Memory the DSP sees without a copy: page-rounded blocks from the platform's shareable
// allocator, mapped here, open for CPU access for their whole life, registered with the
// transport, and kept in a table of 128 entries under its own lock.
#include "memory/lumivaMemInternal.h"
#include "platform/lumivaPlatform.h"
#include "platform/lumivaSharedMem.h"
#include "xdsp_rpc/multi_domains/lumivaX5.h"

#include <errno.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

namespace {

constexpr size_t kPage = 4096;
constexpr size_t kBlocks = 128;

struct mmap_info_ion {
    int32_t ionFd;
    void* address;
    uint32_t reserved;  // never written
    uint32_t size;      // the size asked for
    int32_t dmaFd;
};

struct SharedBlock {
    uintptr_t key;  // the block's address; 0 marks a free entry
    mmap_info_ion info;
};

SharedBlock gBlocks[kBlocks];
pthread_mutex_t gTableLock;
bool gTableReady = false;

size_t pageRounded(size_t size)
{
    return (size + kPage - 1) & ~(kPage - 1);
}

void closeBoth(int dmaFd, int ionFd)
{
    close(dmaFd);
    ion_close(ionFd);
}

void mem_free_ion(const mmap_info_ion& block)
{
    const size_t length = pageRounded(block.size);
    if (ILMV_REGISTER_BUF registerBuf = ilmvX5RegisterBuf())
        registerBuf(block.address, static_cast<int>(length), -1);
    else
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", "register_buf to unregister ion buffer failed\n");
    if (ilmvDmaBufSync(block.dmaFd, ILMV_DMA_BUF_SYNC_END) != 0)
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", "mem_free_ion : failed to end DMA_BUF_IOCTL_SYNC\n");
    munmap(block.address, length);
    closeBoth(block.dmaFd, block.ionFd);
}

// A mapped, registered block, or null (everything it opened closed again).
void* mem_alloc_ion(size_t size, mmap_info_ion* info)
{
    const int ionFd = ion_open();
    if (ionFd < 0) {
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", "mem_alloc_ion : Open ion device failed\n");
        return nullptr;
    }
    const size_t length = pageRounded(size);
    int dmaFd = -1;
    if (ion_alloc_fd(ionFd, length, 0, 0x19, 1, &dmaFd) != 0) {
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "mem_alloc_ion : ION alloc length %zu\n", length);
        ion_close(ionFd);
        return nullptr;
    }
    void* address = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, dmaFd, 0);
    // MAP_FAILED counts as a failure too: registering it would hand the DSP a wild range.
    if (address == nullptr || address == MAP_FAILED) {
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "mem_alloc_ion : mmap call failed %d\n", errno);
        closeBoth(dmaFd, ionFd);
        return nullptr;
    }
    if (ilmvDmaBufSync(dmaFd, ILMV_DMA_BUF_SYNC_START) != 0) {
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", "mem_alloc_ion : failed to start DMA_BUF_IOCTL_SYNC\n");
        munmap(address, length);
        closeBoth(dmaFd, ionFd);
        return nullptr;
    }
    ILMV_REGISTER_BUF registerBuf = ilmvX5RegisterBuf();
    if (!registerBuf) {
        errno = -1;
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "mem_alloc_ion : Failed to register buffer with rpc %d\n", errno);
        munmap(address, length);
        closeBoth(dmaFd, ionFd);
        return nullptr;
    }
    registerBuf(address, static_cast<int>(length), dmaFd);
    errno = 0;
    *info = {ionFd, address, 0, static_cast<uint32_t>(size), dmaFd};
    return address;
}

bool store(void* address, const mmap_info_ion& info)
{
    if (pthread_mutex_lock(&gTableLock) != 0) return false;
    for (SharedBlock& b : gBlocks) {
        if (b.key == 0) {
            b.key = reinterpret_cast<uintptr_t>(address);
            b.info = info;
            pthread_mutex_unlock(&gTableLock);
            return true;
        }
    }
    pthread_mutex_unlock(&gTableLock);
    return false;
}

}  // namespace

extern "C" {

LMV_EXPORT int lmvInitSharedMem_Xdsp(void)
{
    if (gTableReady) return 0;
    if (pthread_mutex_init(&gTableLock, nullptr) != 0) return -1;
    std::memset(gBlocks, 0, sizeof gBlocks);
    gTableReady = true;
    return 0;
}

LMV_EXPORT int lmvDeInitSharedMem_Xdsp(void)
{
    if (gTableReady) pthread_mutex_destroy(&gTableLock);
    gTableReady = false;
    return 0;
}

LMV_EXPORT void* lmvSharedMemAllocX(size_t size, size_t alignment)
{
    // Blocks are whole pages: any alignment up to a page is met.
    if (size == 0 || alignment > kPage || size > UINT32_MAX - kPage) return nullptr;
    if (!gTableReady) lmvInitSharedMem_Xdsp();
    mmap_info_ion info;
    void* address = mem_alloc_ion(size, &info);
    if (!address) return nullptr;
    if (reinterpret_cast<uintptr_t>(address) % kPage != 0) return nullptr;  // mmap never gives this
    if (!store(address, info)) {
        mem_free_ion(info);
        return nullptr;
    }
    return address;
}

LMV_EXPORT int lmvSharedMemFreeX(void* address)
{
    if (!address || !gTableReady || pthread_mutex_lock(&gTableLock) != 0) return -1;
    for (SharedBlock& b : gBlocks) {
        if (b.key == reinterpret_cast<uintptr_t>(address)) {
            b.key = 0;
            const mmap_info_ion info = b.info;
            pthread_mutex_unlock(&gTableLock);
            mem_free_ion(info);
            return 0;
        }
    }
    pthread_mutex_unlock(&gTableLock);
    return -1;
}

LMV_EXPORT void* lmvSharedMemAlloc(size_t size, size_t alignment)
{
    const ILMV_ALLOCATOR_PAIR& pair = ilmvSharedAllocator();
    return pair.alloc ? pair.alloc(size, alignment) : nullptr;
}

LMV_EXPORT int lmvSharedMemFree(void* address)
{
    const ILMV_ALLOCATOR_PAIR& pair = ilmvSharedAllocator();
    return pair.free ? pair.free(address) : -1;
}

}  // extern "C"
