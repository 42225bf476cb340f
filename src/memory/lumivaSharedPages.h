// The steps every shareable block takes, whichever unit shares it: open the allocator
// device, allocate the page-rounded length (heap mask 0x19, cached), map it, and open it for
// CPU access; and the reverse. The DSP's and the GPU's allocators add their own
// registration and bookkeeping around these steps.
#ifndef LUMIVA_SHARED_PAGES_H
#define LUMIVA_SHARED_PAGES_H

#include <cstddef>

struct ILMV_SHARED_PAGES {
    int ionFd;
    int dmaFd;
    void* address;
    size_t length;  // page-rounded
};

// Reports one failure text (a line, already formatted) in the caller's own way.
typedef void (*ILMV_PAGES_REPORT)(const char* text);

constexpr size_t ILMV_PAGE = 4096;

inline size_t ilmvPageRounded(size_t size)
{
    return (size + ILMV_PAGE - 1) & ~(ILMV_PAGE - 1);
}

// Maps `size` bytes rounded up to pages: true, or false with everything closed again and
// the failing step reported as "<who>Open ion device failed\n", "<who>ION alloc length %zu\n",
// "<who>mmap call failed %d\n" or "<who>failed to start DMA_BUF_IOCTL_SYNC\n".
bool ilmvMapSharedPages(size_t size, const char* who, ILMV_PAGES_REPORT report, ILMV_SHARED_PAGES* pages);

// Ends CPU access (a failure reported as "<who>failed to end DMA_BUF_IOCTL_SYNC\n"), unmaps
// and closes both descriptors.
void ilmvUnmapSharedPages(const ILMV_SHARED_PAGES& pages, const char* who, ILMV_PAGES_REPORT report);

#endif
