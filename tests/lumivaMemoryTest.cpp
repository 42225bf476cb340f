// Aligned blocks, the shared-memory allocator pair, the scratch pool and its lifecycle,
// storages and sequences.
#include "lumivaTestSupport.h"
#include "memory/lumivaMemInternal.h"

#include <atomic>
#include <thread>
#include <vector>

namespace {

// The pool is process-wide: each test readies it and tears it down again.
class ScratchPool : public ::testing::Test {
protected:
    void SetUp() override { lmvMemInit(); }
    void TearDown() override { lmvMemDeInit(); }
};

TEST(AlignedBlocks, OffsetByteSitsBelowTheAlignedPointer)
{
    for (size_t alignment : {1u, 2u, 8u, 16u, 64u, 128u}) {
        uint8_t* p = static_cast<uint8_t*>(lmvMemAlign(100, alignment));
        ASSERT_NE(nullptr, p);
        EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(p) % alignment) << alignment;
        EXPECT_GE(p[-1], 1);
        EXPECT_LE(p[-1], alignment + 1);
        std::memset(p, 0xEE, 100);
        lmvMemAlignFree(p);
    }
    lmvMemAlignFree(nullptr);
}

// A stand-in shared-memory pair that hands out heap blocks it records.
struct RecordingPair {
    static std::vector<void*> owned;
    static size_t lastSize;
    static bool refuse;
    static void* alloc(size_t size, size_t alignment)
    {
        lastSize = size;
        if (refuse) return nullptr;
        void* p = lmvMemAlign(size, alignment);
        owned.push_back(p);
        return p;
    }
    static int free(void* p)
    {
        for (auto it = owned.begin(); it != owned.end(); ++it)
            if (*it == p) {
                owned.erase(it);
                lmvMemAlignFree(p);
                return 0;
            }
        return 1;
    }
};
std::vector<void*> RecordingPair::owned;
size_t RecordingPair::lastSize = 0;
bool RecordingPair::refuse = false;

TEST(SharedAllocator, UsedWhenSetWithHeapFallbackBothWays)
{
    ilmvSetSharedAllocator(RecordingPair::alloc, RecordingPair::free);
    void* shared = lmvMemAlloc(64, 16);
    EXPECT_EQ(1u, RecordingPair::owned.size());
    RecordingPair::refuse = true;
    void* heap = lmvMemAlloc(64, 16);  // the pair fails: a heap block instead
    RecordingPair::refuse = false;
    EXPECT_EQ(1u, RecordingPair::owned.size());
    lmvMemFree(heap);                  // not the pair's: freed as a heap block
    lmvMemFree(shared);
    EXPECT_TRUE(RecordingPair::owned.empty());
    lmvMemFree(nullptr);

    lmvMemInitPreAlloc(100000000);
    EXPECT_EQ(33177600u, RecordingPair::lastSize);
    lmvMemDeInit();
    lmvMemInitPreAlloc(4096);
    EXPECT_EQ(4096u, RecordingPair::lastSize);
    lmvMemDeInit();
    ilmvClearSharedAllocator();
    void* plain = lmvMemAlloc(10, 8);
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(plain) % 8);
    lmvMemFree(plain);
}

TEST_F(ScratchPool, ThirtyThirdRequestIsRefused)
{
    std::vector<void*> taken;
    for (int i = 0; i < 32; ++i) {
        taken.push_back(local_lmvGetScratchBufferAligned(1000 + i, 16));
        ASSERT_NE(nullptr, taken.back()) << i;
        EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(taken.back()) % 16);
        std::memset(taken.back(), i, 1000 + i);
    }
    EXPECT_EQ(nullptr, local_lmvGetScratchBufferUnaligned(8));
    local_lmvReleaseScratchBuffer(taken[7]);
    void* again = local_lmvGetScratchBufferAligned(500, 16);
    EXPECT_EQ(taken[7], again);  // a grown block is reused in place
    taken[7] = again;
    for (void* p : taken) local_lmvReleaseScratchBuffer(p);
}

TEST_F(ScratchPool, EntriesGrowAndRealign)
{
    void* small = local_lmvGetScratchBufferAligned(16, 4);
    local_lmvReleaseScratchBuffer(small);
    uint8_t* big = static_cast<uint8_t*>(local_lmvGetScratchBufferAligned(1 << 16, 64));
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(big) % 64);
    std::memset(big, 1, 1 << 16);
    local_lmvReleaseScratchBuffer(big);
    void* odd = local_lmvGetScratchBufferAligned(100, 24);  // not a power of two: alignment 1
    ASSERT_NE(nullptr, odd);
    std::memset(odd, 2, 100);
    local_lmvReleaseScratchBuffer(odd);
    uint32_t foreign[16] = {};
    local_lmvReleaseScratchBuffer(foreign + 8);  // no known tag: ignored
    local_lmvReleaseScratchBuffer(nullptr);
}

TEST(ScratchLifecycle, BufferTakenBeforeInitIsAHeapBlock)
{
    void* early = local_lmvGetScratchBufferAligned(256, 32);
    ASSERT_NE(nullptr, early);
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(early) % 32);
    lmvMemInit();
    local_lmvReleaseScratchBuffer(early);  // freed through its header (the leak check watches)
    lmvMemDeInit();
}

TEST(ScratchLifecycle, CountedInitAndDeInit)
{
    EXPECT_EQ(0, lmvMemDeInit());  // never initialised: nothing
    EXPECT_EQ(1, lmvMemInit());
    EXPECT_EQ(0, lmvMemDeInit());  // back to 0: the pool is gone, buffers come from the heap
    void* heap = local_lmvGetScratchBufferUnaligned(8);
    EXPECT_EQ(0xababababu, static_cast<uint32_t>(reinterpret_cast<uintptr_t*>(heap)[-2]));
    local_lmvReleaseScratchBuffer(heap);
    EXPECT_EQ(0, lmvMemDeInit());
}

TEST_F(ScratchPool, ConcurrentTakersNeverShareABuffer)
{
    std::atomic<int> refused{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([t, &refused] {
            for (int round = 0; round < 300; ++round) {
                uint8_t* p = static_cast<uint8_t*>(local_lmvGetScratchBufferAligned(64 + t * 8 + round % 7, 16));
                if (!p) {
                    ++refused;
                    continue;
                }
                std::memset(p, t, 64);
                for (int i = 0; i < 64; ++i) ASSERT_EQ(t, p[i]);
                local_lmvReleaseScratchBuffer(p);
            }
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(0, refused.load());  // 8 threads never need more than 32 entries
}

// ---- Storages and sequences ------------------------------------------------------------

class Sequences : public ScratchPool {
protected:
    void SetUp() override
    {
        ScratchPool::SetUp();
        lmvInitMemStorage(&storage);
        perBlock = lmvInitSeq(&seq, sizeof(int32_t) * 4, &storage);
    }
    void TearDown() override
    {
        lmvDeInitMemStorage(&storage);
        ScratchPool::TearDown();
    }
    lmvMemStorage storage;
    lmvSeq seq;
    int32_t perBlock = 0;
};

TEST_F(Sequences, FreshStorageAndSequence)
{
    EXPECT_EQ(65408, storage.block_size);
    EXPECT_EQ(nullptr, storage.bottom);
    EXPECT_EQ(static_cast<int32_t>((65408 - seq.header_size) / 16), perBlock);
    EXPECT_EQ(0, seq.total);
}

TEST_F(Sequences, FirstPushTakesABlockAndElementsComeBack)
{
    for (int32_t i = 0; i < 3 * perBlock + 5; ++i) {
        int32_t element[4] = {i, -i, i * 2, 7};
        ASSERT_EQ(i + 1, lmvSeqPush(&seq, element));
        if (i == 0) {
            EXPECT_NE(nullptr, storage.bottom);
        }
    }
    std::vector<int32_t> out(4 * seq.total), again(4 * seq.total);
    lmvSeqPopMulti(&seq, out.data(), seq.total);
    lmvSeqPopMulti(&seq, again.data(), seq.total);
    EXPECT_EQ(out, again);  // popping leaves the sequence as it was
    for (int32_t i = 0; i < seq.total; ++i) ASSERT_EQ(i, out[4 * i]);

    lmvSeqReader reader;
    lmvStartReadSeq(&seq, &reader);
    for (int32_t i = 0; i < seq.total; ++i) {
        ASSERT_EQ(i, reinterpret_cast<int32_t*>(reader.ptr)[0]);
        lmvNextSeqElem(&reader, seq.elem_size);
    }
    EXPECT_EQ(5, *static_cast<int32_t*>(lmvGetSeqElem(&seq, 5)));
    EXPECT_NE(nullptr, lmvGetSeqElem(&seq, seq.total));  // the total itself is accepted
    LogCapture log;
    EXPECT_EQ(nullptr, lmvGetSeqElem(&seq, seq.total + 1));
    EXPECT_TRUE(log.contains("lumiva_lib_log", "bad index\n"));
}

TEST_F(Sequences, PushMultiFillsWholeBlocksThenTheRest)
{
    std::vector<int32_t> in(4 * (2 * perBlock + 3));
    for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<int32_t>(i);
    EXPECT_EQ(2 * perBlock + 3, lmvSeqPushMulti(&seq, in.data(), 2 * perBlock + 3));
    std::vector<int32_t> out(in.size());
    lmvSeqPopMulti(&seq, out.data(), seq.total);
    EXPECT_EQ(in, out);
    LogCapture log;
    EXPECT_EQ(seq.total, lmvSeqPushMulti(&seq, in.data(), 1));
    EXPECT_TRUE(log.contains("lumiva_lib_log", "seq is not clear or initialized\n"));
    lmvSeqPopMulti(&seq, out.data(), seq.total + 1);
    EXPECT_TRUE(log.contains("lumiva_lib_log", "require too pop too much elements\n"));
    EXPECT_EQ(0, lmvClearSeq(&seq));
    EXPECT_EQ(nullptr, storage.bottom);
    EXPECT_EQ(3, lmvSeqPushMulti(&seq, in.data(), 3));
}

TEST_F(Sequences, BlocksAreHandedOutOnlyWhenTheTopIsFull)
{
    void* first = lmvAllocateMemBlock(&storage, 100);
    ASSERT_NE(nullptr, first);
    EXPECT_EQ((65408 - seq.header_size - 100) & ~3, storage.free_space);
    EXPECT_EQ(nullptr, lmvAllocateMemBlock(&storage, 100));  // still room
    LogCapture log;
    EXPECT_EQ(nullptr, lmvAllocateMemBlock(nullptr, 4));
    EXPECT_EQ(0, lmvDeInitMemStorage(nullptr));
    lmvSeq orphan{};
    EXPECT_EQ(0, lmvClearSeq(&orphan));
    size_t nulls = 0;
    for (const LogLine& l : log.lines()) nulls += l.text == "NULL storage pointer\n";
    EXPECT_EQ(3u, nulls);
}

TEST_F(Sequences, PushWithoutABlockKeepsTheElementOut)
{
    std::vector<void*> taken;
    while (void* p = local_lmvGetScratchBufferUnaligned(16)) taken.push_back(p);
    LogCapture log;
    int32_t element[4] = {1, 2, 3, 4};
    EXPECT_EQ(0, lmvSeqPush(&seq, element));
    EXPECT_TRUE(log.contains("lumiva_lib_log", "cannot allocate new block\n"));
    for (void* p : taken) local_lmvReleaseScratchBuffer(p);
}

using SequencesDeathTest = Sequences;

TEST_F(SequencesDeathTest, BlockSizeThatIsNotWholeWordsStopsTheProcess)
{
    storage.block_size = 65407;
    EXPECT_EXIT(lmvAllocateMemBlock(&storage, 8), ::testing::ExitedWithCode(1), "");
}

}  // namespace
