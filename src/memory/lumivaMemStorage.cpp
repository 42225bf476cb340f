// Memory storages and sequences: elements of one size collected in large blocks taken
// from the scratch pool and returned to it all at once.
#include "lumiva/lumivaMemory.h"
#include "core/lumivaEntry.h"
#include "platform/lumivaPlatform.h"

#include <cstdlib>
#include <cstring>

namespace {

// The header at the start of every block: blocks form a list from the storage's bottom.
struct Block {
    Block* prev;
    Block* next;
};

constexpr int32_t kDefaultBlockSize = 65408;
constexpr int32_t kHeaderSize = static_cast<int32_t>(sizeof(Block));

void logError(const char* text)
{
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", text);
}

// The storage's invariants are reported under the path of the circle finder, its first user.
[[noreturn]] void hardStop(int line, const char* condition)
{
    ilmvHardStop("src/cpu/lumivaHoughCircleC", line, condition);
}

void releaseBlocks(lmvMemStorage* storage)
{
    for (Block* b = static_cast<Block*>(storage->bottom); b;) {
        Block* next = b->next;
        local_lmvReleaseScratchBuffer(b);
        b = next;
    }
    storage->free_space = 0;
    storage->bottom = storage->top = nullptr;
}

uint8_t* elementsOf(const Block* b)
{
    return reinterpret_cast<uint8_t*>(const_cast<Block*>(b)) + kHeaderSize;
}

int32_t blockBytes(const lmvSeq* seq)
{
    return seq->elem_size * seq->elems_per_block;
}

// Starts a new block for `seq`; false (logged) when none can be had.
bool newBlock(lmvSeq* seq)
{
    uint8_t* data = static_cast<uint8_t*>(lmvAllocateMemBlock(seq->storage, blockBytes(seq)));
    if (!data) {
        logError("cannot allocate new block\n");
        return false;
    }
    seq->ptr = data;
    seq->block_max = data + blockBytes(seq);
    return true;
}

void append(lmvSeq* seq, const void* elements, int32_t count)
{
    std::memcpy(seq->ptr, elements, static_cast<size_t>(count) * seq->elem_size);
    seq->ptr += count * seq->elem_size;
    seq->total += count;
}

}  // namespace

extern "C" {

LMV_EXPORT void lmvInitMemStorage(lmvMemStorage* storage)
{
    storage->bottom = storage->top = nullptr;
    storage->block_size = kDefaultBlockSize;
    storage->free_space = 0;
}

LMV_EXPORT int lmvDeInitMemStorage(lmvMemStorage* storage)
{
    if (!storage) {
        logError("NULL storage pointer\n");
        return 0;
    }
    releaseBlocks(storage);
    return 0;
}

LMV_EXPORT void* lmvAllocateMemBlock(lmvMemStorage* st, int32_t size)
{
    if (!st) {
        logError("NULL storage pointer\n");
        return nullptr;
    }
    if (size < 0 || size > ((st->block_size - kHeaderSize) & ~3))
        logError("Too large memory block is requested\n");
    if (st->free_space >= size)
        return nullptr;  // the top block still has room: callers ask only when theirs is full
    Block* block = static_cast<Block*>(local_lmvGetScratchBufferUnaligned(static_cast<size_t>(st->block_size)));
    if (!block) {
        logError("NULL storage pointer\n");
        return nullptr;
    }
    block->prev = static_cast<Block*>(st->top);
    block->next = nullptr;
    if (st->top)
        static_cast<Block*>(st->top)->next = block;
    else
        st->bottom = block;
    st->top = block;
    st->free_space = st->block_size - kHeaderSize;
    uint8_t* ptr = elementsOf(block);
    if (st->free_space % ((int32_t)sizeof(float32_t)) != 0)
        hardStop(205, "st->free_space % ((int32_t)sizeof(float32_t)) == 0");
    if ((uintptr_t)ptr % ((int32_t)sizeof(float32_t)) != 0)
        hardStop(208, "(uintptr_t)ptr % ((int32_t)sizeof(float32_t)) == 0");
    st->free_space = (st->block_size - kHeaderSize - size) & ~3;
    return ptr;
}

LMV_EXPORT int32_t lmvInitSeq(lmvSeq* seq, int32_t elemSize, lmvMemStorage* storage)
{
    seq->total = 0;
    seq->elem_size = elemSize;
    seq->block_max = seq->ptr = nullptr;
    seq->header_size = kHeaderSize;
    seq->storage = storage;
    // An element size of 0 divides by zero here and ends the process.
    seq->elems_per_block = (storage->block_size - kHeaderSize) / elemSize;
    return seq->elems_per_block;
}

LMV_EXPORT int lmvClearSeq(lmvSeq* seq)
{
    if (!seq->storage)
        logError("NULL storage pointer\n");
    else
        releaseBlocks(seq->storage);
    seq->total = 0;
    seq->block_max = seq->ptr = nullptr;
    return 0;
}

LMV_EXPORT int32_t lmvSeqPush(lmvSeq* seq, const void* element)
{
    // A full block whose successor cannot be had keeps the element out rather than
    // writing it past the block's end.
    if (seq->ptr == seq->block_max && !newBlock(seq))
        return seq->total;
    append(seq, element, 1);
    return seq->total;
}

LMV_EXPORT int32_t lmvSeqPushMulti(lmvSeq* seq, const void* elements, int32_t count)
{
    if (seq->ptr && seq->block_max && seq->total) {
        logError("seq is not clear or initialized\n");
        return seq->total;
    }
    const uint8_t* src = static_cast<const uint8_t*>(elements);
    for (int32_t full = count / seq->elems_per_block; full > 0; --full) {
        if (!newBlock(seq)) return seq->total;
        append(seq, src, seq->elems_per_block);
        src += blockBytes(seq);
    }
    const int32_t rest = count % seq->elems_per_block;
    if (rest) {
        if (seq->ptr == seq->block_max) {
            if (!newBlock(seq)) return seq->total;
        } else if (!seq->ptr) {
            logError("seq ptr NULL\n");
            return seq->total;
        }
        append(seq, src, rest);
    }
    return seq->total;
}

LMV_EXPORT void lmvSeqPopMulti(lmvSeq* seq, void* out, int32_t count)
{
    if (seq->total < count) {
        logError("require too pop too much elements\n");
        return;
    }
    uint8_t* dst = static_cast<uint8_t*>(out);
    for (Block* b = static_cast<Block*>(seq->storage->bottom); b && count > 0; b = b->next) {
        int32_t n = count < seq->elems_per_block ? count : seq->elems_per_block;
        std::memcpy(dst, elementsOf(b), static_cast<size_t>(n) * seq->elem_size);
        dst += n * seq->elem_size;
        count -= n;
    }
}

LMV_EXPORT void* lmvGetSeqElem(lmvSeq* seq, int32_t index)
{
    if (seq->total < index) {
        logError("bad index\n");
        return nullptr;
    }
    Block* b = static_cast<Block*>(seq->storage->bottom);
    for (int32_t k = index / seq->elems_per_block; k > 0 && b; --k) b = b->next;
    if (!b) return nullptr;
    // The offset counts the whole index, which is exact for the first block only.
    uintptr_t address = reinterpret_cast<uintptr_t>(b) + seq->header_size + uintptr_t(seq->elem_size) * index;
    return reinterpret_cast<void*>(address);
}

LMV_EXPORT void lmvStartReadSeq(lmvSeq* seq, lmvSeqReader* reader)
{
    reader->block = seq->storage->bottom;
    reader->ptr = reader->block ? elementsOf(static_cast<Block*>(reader->block)) : nullptr;
    reader->block_max = reader->ptr ? reader->ptr + blockBytes(seq) : nullptr;
    reader->seq = seq;
}

LMV_EXPORT void lmvNextSeqElem(lmvSeqReader* reader, int32_t step)
{
    uint8_t* before = reader->ptr;
    reader->ptr += step;
    if (reader->ptr < reader->block_max) return;
    Block* next = reader->block ? static_cast<Block*>(reader->block)->next : nullptr;
    if (!next) {
        reader->ptr = before;  // a reader at the last element stays there
        return;
    }
    reader->block = next;
    reader->ptr = elementsOf(next);
    reader->block_max = reader->ptr + blockBytes(reader->seq);
}

}  // extern "C"
