// Every generated operation from several threads at once, in the modes that run the
// reference and the SIMD forms: threads start at different operations, two of them at the
// same one, so the same and different operations overlap. Each call gets its own buffers;
// the thread sanitizer build runs this to find anything shared that a call writes.
#include "lumivaCaseHarness.h"
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"

#include "lumivaOpCases.inc"

#include <atomic>
#include <thread>

namespace {

constexpr size_t kOpCount = sizeof(kOpCases) / sizeof(kOpCases[0]);

void runAll(size_t start, uint32_t seed)
{
    for (size_t k = 0; k < kOpCount; ++k) {
        const ilmvOpCase& op = kOpCases[(start + k) % kOpCount];
        const uint32_t w = std::max<uint32_t>(op.minWidth, 37), h = 3;
        ilmvCase forms(w, h, Layout::kPaddedUnaligned, seed + uint32_t(k));
        op.run(forms);
        if (op.runEntry) {
            ilmvCase entry(w, h, Layout::kPadded, seed + uint32_t(k));
            op.runEntry(entry);
        }
    }
}

using ConcurrentOperations = TablesTest;

TEST_F(ConcurrentOperations, EveryOperationFromFourThreadsInBothCpuModes)
{
    for (lmvOperationMode mode : {LUMIVA_OP_CPU_PERFORMANCE, LUMIVA_OP_EXT_CPU_ONLY}) {
        ASSERT_EQ(0, lmvSetOperationMode(mode));  // never while operations run
        std::vector<std::thread> threads;
        for (size_t t = 0; t < 4; ++t)
            threads.emplace_back(runAll, t < 2 ? 0 : t * kOpCount / 4, uint32_t(100 * t + 1));
        for (auto& th : threads) th.join();
    }
}

// Mode and override calls rewrite the tables without a lock, and the library's contract keeps
// them apart from operations; what may overlap with operations are the calls that only read:
// presence queries, the version, the clock, the processor count and the CPU-only flag.
TEST_F(ConcurrentOperations, QueriesWhileOperationsRun)
{
    ASSERT_EQ(0, lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE));
    std::atomic<bool> done{false};
    std::thread reader([&done] {
        char version[8];
        while (!done.load()) {
            for (uint32_t slot = 0; slot < LMV_API_COUNT; slot += 7) GetApiToCore(LMV_API_enum(slot), LMV_IMPL_EXT_V);
            lmvGetVersion(version, sizeof version);
            (void)lmvGetTime();
            (void)lmv_check_only_cpu();
            (void)lmvAvailableProcessors();
        }
    });
    std::vector<std::thread> threads;
    for (size_t t = 0; t < 3; ++t) threads.emplace_back(runAll, t * kOpCount / 3, uint32_t(7 * t + 3));
    for (auto& th : threads) th.join();
    done = true;
    reader.join();
}

}  // namespace
