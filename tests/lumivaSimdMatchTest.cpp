// Every SIMD form against its reference form, bit for bit: widths 1 to 70 and a few
// wide rows, several heights, packed and padded strides, aligned and unaligned
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
    for (auto wide : {std::make_pair(127u, 9u), std::make_pair(256u, 3u), std::make_pair(1001u, 2u)})
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

INSTANTIATE_TEST_SUITE_P(Ops, SimdMatchesReference, ::testing::ValuesIn(kOpCases),
                         [](const ::testing::TestParamInfo<ilmvOpCase>& info) { return std::string(info.param.name); });

}  // namespace
