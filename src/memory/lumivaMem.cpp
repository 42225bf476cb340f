// Library memory: aligned heap blocks, the shared-memory allocator pair, and the pool of
// 32 scratch buffers that kernels take and release around their temporary images.
#include "lumiva/lumivaDsp.h"
#include "lumiva/lumivaGpu.h"
#include "lumiva/lumivaMemory.h"
#include "memory/lumivaMemInternal.h"

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace {

ILMV_ALLOCATOR_PAIR gAllocator;

// ---- Aligned heap blocks -------------------------------------------------------------

// The offset to the block start lives in the byte before the pointer, 1 to alignment.
void* alignedHeapBlock(size_t size, size_t alignment)
{
    uint8_t* start = static_cast<uint8_t*>(std::malloc(size + alignment + 1));
    uintptr_t p = (reinterpret_cast<uintptr_t>(start) + alignment + 1) & ~(uintptr_t(alignment) - 1);
    uint8_t* aligned = reinterpret_cast<uint8_t*>(p);
    aligned[-1] = static_cast<uint8_t>(aligned - start);
    return aligned;
}

void freeAlignedHeapBlock(void* p)
{
    uint8_t* aligned = static_cast<uint8_t*>(p);
    std::free(aligned - aligned[-1]);
}

// ---- Scratch pool --------------------------------------------------------------------

constexpr uint32_t kPoolTag = 0xcdcdcdcdu;
constexpr uint32_t kHeapTag = 0xababababu;
constexpr size_t kPoolEntries = 32;
// Two words below every scratch buffer: the tag, then the entry or the block to free.
constexpr size_t kHeaderSize = 2 * sizeof(uintptr_t);

struct PoolEntry {
    uint8_t* block;
    size_t blockSize;
    uint8_t* data;
    size_t capacity;
    std::atomic<bool> busy;
    pthread_mutex_t lock;
};

PoolEntry gPool[kPoolEntries];
std::atomic<bool> gPoolReady{false};
int gInitCount = 0;
pthread_mutex_t gCountLock;
std::atomic<bool> gCpuReady{false};

// Building and tearing down each happen once per life of the pool: one lock and one
// flag stand for the two once-controls, each re-arming the other.
std::mutex gLifecycleLock;
bool gBuilt = false;

void writeHeader(uint8_t* data, uint32_t tag, const void* owner)
{
    uintptr_t header[2] = {tag, reinterpret_cast<uintptr_t>(owner)};
    std::memcpy(data - kHeaderSize, header, kHeaderSize);
}

void readHeader(const uint8_t* data, uintptr_t* header)
{
    std::memcpy(header, data - kHeaderSize, kHeaderSize);
}

uint8_t* alignDown(uint8_t* p, size_t alignment)
{
    return reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(p) & ~(uintptr_t(alignment) - 1));
}

bool isPowerOfTwo(size_t a)
{
    return a && !(a & (a - 1));
}

void buildPool()
{
    pthread_mutex_init(&gCountLock, nullptr);
    gInitCount = 0;
    for (PoolEntry& e : gPool) {
        pthread_mutex_init(&e.lock, nullptr);
        e.block = e.data = nullptr;
        e.blockSize = e.capacity = 0;
        e.busy = false;
    }
    gPoolReady = true;
}

void tearDownPool()
{
    gPoolReady = false;
    for (PoolEntry& e : gPool) {
        pthread_mutex_lock(&e.lock);
        std::free(e.block);
        e.block = e.data = nullptr;
        e.blockSize = e.capacity = 0;
        e.busy = false;
        pthread_mutex_unlock(&e.lock);
        pthread_mutex_destroy(&e.lock);
    }
}

void buildOnce()
{
    std::lock_guard<std::mutex> guard(gLifecycleLock);
    if (!gBuilt) buildPool();
    gBuilt = true;
}

void tearDownOnce()
{
    std::lock_guard<std::mutex> guard(gLifecycleLock);
    if (gBuilt) tearDownPool();
    gBuilt = false;
}

// Before the pool is ready a scratch buffer is a plain heap block that says so in its header.
void* heapScratch(size_t size, size_t alignment)
{
    uint8_t* block = static_cast<uint8_t*>(std::malloc(size + alignment - 1 + kHeaderSize));
    if (!block) return nullptr;
    uint8_t* data = alignDown(block + alignment - 1 + kHeaderSize, alignment);
    writeHeader(data, kHeapTag, block);
    return data;
}

// Gives entry `e` (locked by the caller) a data pointer of `size` bytes aligned to
// `alignment`, growing its block when needed; false when the heap is out.
bool fitEntry(PoolEntry& e, size_t size, size_t alignment)
{
    const bool aligned = e.data && reinterpret_cast<uintptr_t>(e.data) % alignment == 0;
    if (e.capacity >= size && aligned)
        return true;  // its header is still in place from when it was made
    // Too small, or misaligned for this request: a new block of the size asked for.
    uint8_t* block = static_cast<uint8_t*>(std::malloc(alignment + size + kHeaderSize - 1));
    if (!block) return false;
    std::free(e.block);
    e.block = block;
    e.blockSize = alignment + size + kHeaderSize - 1;
    e.capacity = size;
    e.data = alignDown(block + alignment + kHeaderSize - 1, alignment);
    writeHeader(e.data, kPoolTag, &e);
    return true;
}

// Scans the entries in order, skipping busy ones and any whose lock another thread holds;
// the first one taken stays locked until its release.
void* poolScratch(size_t size, size_t alignment)
{
    for (PoolEntry& e : gPool) {
        if (e.busy.load(std::memory_order_relaxed) || pthread_mutex_trylock(&e.lock) != 0) continue;
        if (!fitEntry(e, size, alignment)) {
            pthread_mutex_unlock(&e.lock);
            return nullptr;
        }
        e.busy = true;
        return e.data;
    }
    return nullptr;  // once the pool is ready it never falls back to the heap
}

}  // namespace

void ilmvSetSharedAllocator(ILMV_SHARED_ALLOC alloc, ILMV_SHARED_FREE free)
{
    gAllocator = {alloc, free, alloc, free};
}

void ilmvClearSharedAllocator()
{
    gAllocator = {};
}

const ILMV_ALLOCATOR_PAIR& ilmvSharedAllocator()
{
    return gAllocator;
}

extern "C" {

LMV_EXPORT void* lmvMemAlign(size_t size, size_t alignment)
{
    return alignedHeapBlock(size, alignment);
}

LMV_EXPORT void lmvMemAlignFree(void* p)
{
    if (p) freeAlignedHeapBlock(p);
}

LMV_EXPORT void* lmvMemAlloc(size_t size, size_t alignment)
{
    if (gAllocator.alloc && gAllocator.free)
        if (void* p = gAllocator.alloc(size, alignment)) return p;
    return alignedHeapBlock(size, alignment);
}

// A shared block is given back to the allocator that made it, whichever pair is in force
// now: after a mode change or lmvCleanUp the heap must never see one.
LMV_EXPORT void lmvMemFree(void* p)
{
    if (!p) return;
    if (gAllocator.alloc && gAllocator.free && gAllocator.free(p) == 0) return;
    for (ILMV_SHARED_FREE owner : {lmvSharedMemFreeG, lmvSharedMemFreeX})
        if (owner != gAllocator.free && owner(p) == 0) return;
    freeAlignedHeapBlock(p);
}

LMV_EXPORT int lmvMemInit(void)
{
    buildOnce();
    pthread_mutex_lock(&gCountLock);
    ++gInitCount;
    pthread_mutex_unlock(&gCountLock);
    gCpuReady = true;
    return 1;
}

LMV_EXPORT int lmvMemInitPreAlloc(size_t size)
{
    lmvMemInit();
    if (size) {
        // Grow the heap to a 4K image of 4-byte pixels at most before real work starts.
        const size_t touched = size < 33177600u ? size : 33177600u;
        if (void* p = lmvMemAlloc(touched, 16)) {
            std::memset(p, 0, touched);
            lmvMemFree(p);
        }
    }
    return 1;
}

LMV_EXPORT int lmvMemDeInit(void)
{
    if (!gCpuReady) return 0;
    pthread_mutex_lock(&gCountLock);
    if (--gInitCount == 0) {
        tearDownOnce();
        pthread_mutex_unlock(&gCountLock);
        pthread_mutex_destroy(&gCountLock);
    } else {
        pthread_mutex_unlock(&gCountLock);
        gCpuReady = false;
    }
    return 0;
}

LMV_EXPORT void* local_lmvGetScratchBufferAligned(size_t size, size_t alignment)
{
    if (!isPowerOfTwo(alignment)) alignment = 1;
    return gPoolReady ? poolScratch(size, alignment) : heapScratch(size, alignment);
}

LMV_EXPORT void* local_lmvGetScratchBufferUnaligned(size_t size)
{
    return local_lmvGetScratchBufferAligned(size, 1);
}

LMV_EXPORT void local_lmvReleaseScratchBuffer(void* p)
{
    if (!p) return;
    uintptr_t header[2];
    readHeader(static_cast<uint8_t*>(p), header);
    if (header[0] == kPoolTag) {
        PoolEntry* e = reinterpret_cast<PoolEntry*>(header[1]);
        e->busy = false;
        pthread_mutex_unlock(&e->lock);
    } else if (header[0] == kHeapTag) {
        std::free(reinterpret_cast<void*>(header[1]));
    }
}

LMV_EXPORT void lmvHeapStatsInit(void) {}
LMV_EXPORT void lmvHeapStatsMalloc(void*, size_t) {}
LMV_EXPORT void lmvHeapStatsFree(void*) {}
LMV_EXPORT void lmvHeapStats(void) {}

}  // extern "C"
