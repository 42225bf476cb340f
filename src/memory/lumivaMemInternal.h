// The shared-memory allocator pair that lmvMemAlloc and lmvMemFree go through, chosen by
// the mode call: the GPU's or the DSP's, or none (the heap).
#ifndef LUMIVA_MEM_INTERNAL_H
#define LUMIVA_MEM_INTERNAL_H

#include <cstddef>

// Allocates size bytes aligned to alignment, or returns null.
typedef void* (*ILMV_SHARED_ALLOC)(size_t size, size_t alignment);
// Frees a block of the pair and returns 0, or returns non-zero for a block it does not own.
typedef int (*ILMV_SHARED_FREE)(void* p);

// The four pointers in force: the public copies and those of the remote-library side.
struct ILMV_ALLOCATOR_PAIR {
    ILMV_SHARED_ALLOC alloc;
    ILMV_SHARED_FREE free;
    ILMV_SHARED_ALLOC remoteAlloc;
    ILMV_SHARED_FREE remoteFree;
};

void ilmvSetSharedAllocator(ILMV_SHARED_ALLOC alloc, ILMV_SHARED_FREE free);
void ilmvClearSharedAllocator();
const ILMV_ALLOCATOR_PAIR& ilmvSharedAllocator();

#endif
