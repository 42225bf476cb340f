/* Library memory: aligned blocks, the shared-memory allocator in force, the scratch
 * pool, and memory storages with sequences of fixed-size elements.
 *
 * Threads: the allocation calls and the scratch pool may be used from any number of
 * threads at once. A storage, and every sequence and reader over it, serves one thread at
 * a time; so do a KD-tree (a query writes its search state into the tree), a codebook
 * model, and a pyramid while it is being filled or released. Handles of different objects
 * are independent. */
#ifndef LUMIVA_MEMORY_H
#define LUMIVA_MEMORY_H

#include "lumiva/lumivaTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A block of `size` bytes aligned to `alignment` from the heap. The alignment must be a
 *  power of two from 1 to 128 (the distance back to the heap block is kept in one byte);
 *  nothing checks it, and any other value gives a block that is not aligned as asked and
 *  that lmvMemAlignFree cannot free safely. */
LMV_EXPORT void* lmvMemAlign(size_t size, size_t alignment);
/** Frees a block of lmvMemAlign; null does nothing. */
LMV_EXPORT void lmvMemAlignFree(void* p);
/** A block from the shared-memory allocator in force (so the DSP or GPU can use it without a
 *  copy), or from the heap when there is none or it fails. Null when memory runs out. */
LMV_EXPORT void* lmvMemAlloc(size_t size, size_t alignment);
/** Frees a block of lmvMemAlloc; null does nothing. */
LMV_EXPORT void lmvMemFree(void* p);

/** Readies the scratch pool (counted: each call needs one lmvMemDeInit). Returns 1. */
LMV_EXPORT int lmvMemInit(void);
/** As lmvMemInit, then grows the heap by touching min(size, 33177600) bytes once. Returns 1. */
LMV_EXPORT int lmvMemInitPreAlloc(size_t size);
/** Releases one lmvMemInit; the pool is torn down when the count returns to 0. Returns 0. */
LMV_EXPORT int lmvMemDeInit(void);

/** Scratch buffers: from the pool once it is ready (null when its 32 entries are taken),
 *  from the heap before. An alignment that is not a power of two counts as 1. A buffer
 *  must be released by the thread that took it. */
LMV_EXPORT void* local_lmvGetScratchBufferAligned(size_t size, size_t alignment);
LMV_EXPORT void* local_lmvGetScratchBufferUnaligned(size_t size);
/** Releases a scratch buffer; null does nothing. The call reads the two words just before
 *  `p` to learn where the buffer came from, so `p` must be a pointer that one of the two
 *  calls above handed out: any other pointer is undefined behaviour. */
LMV_EXPORT void local_lmvReleaseScratchBuffer(void* p);

/** Heap-statistics hooks; they do nothing. */
LMV_EXPORT void lmvHeapStatsInit(void);
LMV_EXPORT void lmvHeapStatsMalloc(void* p, size_t size);
LMV_EXPORT void lmvHeapStatsFree(void* p);
LMV_EXPORT void lmvHeapStats(void);

/** Blocks of elements drawn from the scratch pool and returned all at once. */
typedef struct lmvMemStorage {
    void* bottom;        /**< first block, or null */
    void* top;           /**< last block, or null */
    int32_t block_size;  /**< bytes per block, header included; 65408 after lmvInitMemStorage */
    int32_t free_space;  /**< bytes still free in the top block */
} lmvMemStorage;

/** A growing list of fixed-size elements kept in the blocks of one storage. */
typedef struct lmvSeq {
    int32_t total;            /**< number of elements */
    int32_t elem_size;        /**< bytes per element */
    uint8_t* block_max;       /**< end of the current block's element area */
    uint8_t* ptr;             /**< where the next element goes */
    int32_t elems_per_block;  /**< (block size - header) / element size */
    int32_t header_size;      /**< bytes of block header before the elements */
    lmvMemStorage* storage;
} lmvSeq;

/** Walks the elements of a sequence block by block. */
typedef struct lmvSeqReader {
    uint8_t* ptr;
    uint8_t* block_max;
    void* block;
    lmvSeq* seq;
} lmvSeqReader;

LMV_EXPORT void lmvInitMemStorage(lmvMemStorage* storage);
LMV_EXPORT int lmvDeInitMemStorage(lmvMemStorage* storage);
/** A fresh block's data, or null (nothing allocated) when the top block still has room
 *  for `size` bytes or no block can be had. A block always holds block_size bytes less its
 *  header: a larger `size` (or a negative one) logs "Too large memory block is requested"
 *  and still returns a block of the usual size, so callers never write more than
 *  block_size minus the header into it. */
LMV_EXPORT void* lmvAllocateMemBlock(lmvMemStorage* storage, int32_t size);
/** Returns the number of elements per block. */
LMV_EXPORT int32_t lmvInitSeq(lmvSeq* seq, int32_t elemSize, lmvMemStorage* storage);
LMV_EXPORT int lmvClearSeq(lmvSeq* seq);
/** Appends one element; returns the new total. */
LMV_EXPORT int32_t lmvSeqPush(lmvSeq* seq, const void* element);
/** Fills a fresh or cleared sequence with `count` elements; returns the total. */
LMV_EXPORT int32_t lmvSeqPushMulti(lmvSeq* seq, const void* elements, int32_t count);
/** Copies the first `count` elements into `out`; the sequence keeps them. */
LMV_EXPORT void lmvSeqPopMulti(lmvSeq* seq, void* out, int32_t count);
/** Address of element `index` (exact within the first block), or null with "bad index"
 *  logged when index > total. Index == total is accepted and gives the slot the next push
 *  fills, which holds no element yet. */
LMV_EXPORT void* lmvGetSeqElem(lmvSeq* seq, int32_t index);
LMV_EXPORT void lmvStartReadSeq(lmvSeq* seq, lmvSeqReader* reader);
/** Moves the reader by `step` bytes, on to the next block at the end of one; at the last
 *  element of the last block it stays. */
LMV_EXPORT void lmvNextSeqElem(lmvSeqReader* reader, int32_t step);

#ifdef __cplusplus
}
#endif

#endif
