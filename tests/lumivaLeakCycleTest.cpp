// Every object with state created and destroyed 10,000 times, and the DSP session opened and
// closed 1,000 times against the simulator: the heap in use and the open descriptors must
// come back to where they started.
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"
#include "platform/lumivaHardware.h"
#include "xdsp_rpc/multi_domains/lumivaX5.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LUMIVA_ASAN 1
#endif
#endif
#ifdef __SANITIZE_ADDRESS__
#define LUMIVA_ASAN 1
#endif
#ifdef LUMIVA_ASAN
// The sanitizer's own count of the bytes the program holds (its runtime exports it; not every
// compiler ships the header that declares it).
extern "C" size_t __sanitizer_get_current_allocated_bytes(void);
#endif

namespace {

// Bytes the program holds on the heap: the sanitizer's count where it owns the heap.
size_t heapInUse()
{
#ifdef LUMIVA_ASAN
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks;
#endif
}

// Runs `cycle` a hundred times to settle what is allocated once per process, then `times`
// more, and checks that the descriptors are back where they were and the heap within 4 KiB:
// the allocator keeps some freed chunks in per-thread caches that its statistics count as in
// use, while a leak of even one small block per cycle would show as `times` blocks.
void expectNoGrowth(const char* what, int times, const std::function<void()>& cycle)
{
    for (int i = 0; i < 100; ++i) cycle();
    const size_t heap = heapInUse();
    const int descriptors = openDescriptors();
    for (int i = 0; i < times; ++i) cycle();
    const long long growth = static_cast<long long>(heapInUse()) - static_cast<long long>(heap);
    EXPECT_LE(std::llabs(growth), 4096) << what << ": heap bytes after " << times << " cycles";
    EXPECT_EQ(descriptors, openDescriptors()) << what << ": descriptors after " << times << " cycles";
    std::printf("%-24s %6d cycles: heap %+lld bytes, descriptors %d -> %d\n", what, times, growth, descriptors,
                openDescriptors());
}

class LeakCycles : public TablesTest {};

TEST_F(LeakCycles, StatefulObjectsTenThousandTimes)
{
    expectNoGrowth("pyramids", 10000, [] {
        lmvPyramidLevel levels[4];
        lmvPyramidAllocate(levels, 64, 32, 1, 4, 1);
        lmvPyramidDelete(levels, 4, 0);
        lmvPyramidLevel_v2 levels2[3];
        lmvPyramidAllocate_v3(levels2, 40, 30, 40, 4, 3, 0.6f, 0);
        lmvPyramidDelete_v2(levels2, 3, 1);
    });
    std::vector<int8_t> vectors(36 * 64);
    std::vector<float32_t> lengths(64, 0.01f);
    std::mt19937 rng(3);
    for (int8_t& v : vectors) v = static_cast<int8_t>(rng());
    expectNoGrowth("KD-trees", 10000, [&] {
        lmvKDTree36s8f32* tree = nullptr;
        ASSERT_EQ(0, lmvKDTreeCreate36s8f32(vectors.data(), lengths.data(), 64, &tree));
        lmvKDTreeDestroy36s8f32(tree);
    });
    std::vector<uint8_t> frame(16 * 8 * 3, 90);
    expectNoGrowth("codebook models", 10000, [&] {
        lmvBGCodeBookModel* model = nullptr;
        lmvBGCodeWord** map = lmvCreateBGCodeBookModel(16, 8, &model);
        int32_t updated = 0;
        lmvBGCodeBookUpdateu8(model, frame.data(), 16, 8, 0, nullptr, 0, map, &updated);
        lmvReleaseBGCodeBookModel(&model);
    });
    expectNoGrowth("storages and sequences", 10000, [] {
        lmvMemStorage storage;
        lmvInitMemStorage(&storage);
        lmvSeq seq;
        lmvInitSeq(&seq, 12, &storage);
        const int32_t element[3] = {1, 2, 3};
        for (int i = 0; i < 40; ++i) lmvSeqPush(&seq, element);
        lmvDeInitMemStorage(&storage);
    });
    expectNoGrowth("scratch pool", 10000, [] {
        lmvMemInit();
        void* scratch = local_lmvGetScratchBufferAligned(4096, 64);
        local_lmvReleaseScratchBuffer(scratch);
        lmvMemDeInit();
    });
    expectNoGrowth("shared blocks", 10000, [] {
        void* block = lmvSharedMemAllocX(100, 16);
        if (block) lmvSharedMemFreeX(block);
    });
}

TEST_F(LeakCycles, TheDspSessionAThousandTimes)
{
    char dir[] = "/tmp/lmvleak-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dir));
    setenv("LUMIVA_DSP_SOCKET_DIR", dir, 1);
    setenv("LUMIVA_DSPD_LINGER_MS", "5000", 1);  // one simulator for the whole run
#ifdef LUMIVA_TEST_DSPD_EMULATOR
    setenv("LUMIVA_DSPD_EMULATOR", LUMIVA_TEST_DSPD_EMULATOR, 1);
#endif
    setDefaultDSPValue(LUMIVA_DSP_CDSP);
    // Whatever earlier tests left: no session, and no open count. A test that moved the
    // default domain under an open session leaves the first domain's count raised (closing
    // closes the default domain's channel), and a raised count never opens a channel again.
    lmvCleanUp();
    cdspDomainHandle_count = 0;
    cdsp_domain_handle = 0;
    expectNoGrowth("DSP sessions", 1000, [] {
        char version[] = "1.7.1";
        ASSERT_EQ(0, lmvX5Initialize(0, version));
        VSKAX5_deinit();
    });
    EXPECT_EQ(0u, cdsp_domain_handle);
}

}  // namespace
