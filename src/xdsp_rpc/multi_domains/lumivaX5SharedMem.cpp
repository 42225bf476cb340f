// Memory the DSP sees without a copy: page-rounded blocks from the platform's shareable
// allocator, mapped here, open for CPU access for their whole life, registered with the
// transport, and kept in a table of 128 entries under its own lock.
#include "memory/lumivaMemInternal.h"
#include "memory/lumivaSharedPages.h"
#include "platform/lumivaPlatform.h"
#include "platform/lumivaSharedMem.h"
#include "xdsp_rpc/multi_domains/lumivaX5.h"

#include <errno.h>
#include <pthread.h>

#include <cstring>

namespace {

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

void reportError(const char* text)
{
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", text);
}

void mem_free_ion(const mmap_info_ion& block)
{
    const size_t length = ilmvPageRounded(block.size);
    if (ILMV_REGISTER_BUF registerBuf = ilmvX5RegisterBuf())
        registerBuf(block.address, static_cast<int>(length), -1);
    else
        reportError("register_buf to unregister ion buffer failed\n");
    ilmvUnmapSharedPages({block.ionFd, block.dmaFd, block.address, length}, "mem_free_ion : ", reportError);
}

// A mapped, registered block, or null (everything it opened closed again).
void* mem_alloc_ion(size_t size, mmap_info_ion* info)
{
    ILMV_SHARED_PAGES pages;
    if (!ilmvMapSharedPages(size, "mem_alloc_ion : ", reportError, &pages)) return nullptr;
    ILMV_REGISTER_BUF registerBuf = ilmvX5RegisterBuf();
    if (!registerBuf) {
        errno = -1;
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "mem_alloc_ion : Failed to register buffer with rpc %d\n", errno);
        ilmvUnmapSharedPages(pages, "mem_alloc_ion : ", reportError);
        return nullptr;
    }
    registerBuf(pages.address, static_cast<int>(pages.length), pages.dmaFd);
    errno = 0;
    *info = {pages.ionFd, pages.address, 0, static_cast<uint32_t>(size), pages.dmaFd};
    return pages.address;
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
    if (size == 0 || alignment > ILMV_PAGE || size > UINT32_MAX - ILMV_PAGE) return nullptr;
    if (!gTableReady) lmvInitSharedMem_Xdsp();
    mmap_info_ion info;
    void* address = mem_alloc_ion(size, &info);
    if (!address) return nullptr;
    if (reinterpret_cast<uintptr_t>(address) % ILMV_PAGE != 0) return nullptr;  // mmap never gives this
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
