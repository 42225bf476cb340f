// Every SIMD form against its reference form, bit for bit: widths 1 to 70 and a few
// wide or tall images, several heights, packed and padded strides, aligned and unaligned
// pointers. One test per operation, cases generated from the operation descriptions.
#include "lumivaCaseHarness.h"
#include "lumivaKernels.h"

#include "lumivaOpCases.inc"

namespace {

class SimdMatchesReference : public ::testing::TestWithParam<ilmvOpCase> {};

TEST_P(SimdMatchesReference, OverSizesStridesAndAlignments)
{
    const ilmvOpCase& op = GetParam();
    std::vector<std::pair<uint32_t, uint32_t>> sizes;
    for (uint32_t w = op.minWidth; w <= 70; ++w)
        for (uint32_t h : {1u, 2u, 3u, 5u}) sizes.emplace_back(w, h);
    // Wide rows, and tall enough images that windows of up to 17 rows have an interior.
    for (auto wide : {std::make_pair(127u, 9u), std::make_pair(256u, 3u), std::make_pair(1001u, 2u),
                      std::make_pair(std::max(op.minWidth, 23u), 21u), std::make_pair(std::max(op.minWidth, 70u), 19u)})
        sizes.push_back(wide);
    uint32_t seed = 1;
    for (auto [w, h] : sizes) {
        for (Layout layout : {Layout::kPacked, Layout::kPadded, Layout::kPaddedUnaligned, Layout::kPackedUnaligned}) {
            ilmvCase c(w, h, layout, seed++);
            op.run(c);
            if (HasFailure()) return;  // one report per operation is enough to start from
        }
    }
}

// Every entry with each kind of invalid argument: refused as its rule says (status 3 or the
// logged assertion, nothing written), sizes whose product passes 2^32 included.
TEST_P(SimdMatchesReference, TheEntryRefusesInvalidArguments)
{
    const ilmvOpCase& op = GetParam();
    if (!op.runBad) GTEST_SKIP() << "no entry of its own";
    ASSERT_EQ(0, lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE));
    uint32_t seed = 1;
    for (int kind = 0; kind < 4; ++kind)
        for (auto [w, h] : {std::make_pair(std::max(op.minWidth, 9u), 3u), std::make_pair(std::max(op.minWidth, 40u), 2u)}) {
            ilmvCase c(w, h, Layout::kPadded, seed++);
            op.runBad(c, kind);
        }
}

INSTANTIATE_TEST_SUITE_P(Ops, SimdMatchesReference, ::testing::ValuesIn(kOpCases),
                         [](const ::testing::TestParamInfo<ilmvOpCase>& info) { return std::string(info.param.name); });

}  // namespace
