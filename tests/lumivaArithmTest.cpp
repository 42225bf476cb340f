// Exact results of the arithmetic family, worked out by hand from its rules. Each case
// runs through the reference and the SIMD form; rows are long enough to reach the
// vector steps and the scalar tail alike.
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"
#include "cpu/lumivaArithmOps.h"

#include <climits>
#include <thread>
#include <vector>

namespace {

constexpr uint32_t kWidth = 27;  // one 16-step, one 8-step and a tail of 3

template <class T>
std::vector<T> row(T value, uint32_t width = kWidth)
{
    return std::vector<T>(width, value);
}

// Expects every element of `v` to be `expected`.
template <class T>
void expectAll(const std::vector<T>& v, T expected, const char* what)
{
    for (size_t i = 0; i < v.size(); ++i) ASSERT_EQ(expected, v[i]) << what << " at " << i;
}

TEST(ArithmExact, AddAndSubtractPolicies)
{
    auto a = row<uint8_t>(200), b = row<uint8_t>(100), d = row<uint8_t>(0);
    for (auto add : {lmvAddu8C, lmvAddu8V}) {
        ASSERT_EQ(LUMIVA_SUCCESS, add(a.data(), kWidth, 1, kWidth, b.data(), kWidth, LUMIVA_OVERFLOW_WRAP, d.data(), kWidth));
        expectAll<uint8_t>(d, 44, "wrap");
        ASSERT_EQ(LUMIVA_SUCCESS, add(a.data(), kWidth, 1, kWidth, b.data(), kWidth, LUMIVA_OVERFLOW_SATURATE, d.data(), kWidth));
        expectAll<uint8_t>(d, 255, "saturate");
        d.assign(kWidth, 9);
        EXPECT_EQ(LUMIVA_BAD_PARAMS, add(a.data(), kWidth, 1, kWidth, b.data(), kWidth, static_cast<LMV_OVERFLOW_POLICY>(2), d.data(), kWidth));
        expectAll<uint8_t>(d, 9, "untouched");
    }
    auto ten = row<uint8_t>(10), twenty = row<uint8_t>(20);
    for (auto sub : {lmvSubtractu8C, lmvSubtractu8V}) {
        sub(ten.data(), kWidth, 1, kWidth, twenty.data(), kWidth, LUMIVA_OVERFLOW_WRAP, d.data(), kWidth);
        expectAll<uint8_t>(d, 246, "wrap");
        sub(ten.data(), kWidth, 1, kWidth, twenty.data(), kWidth, LUMIVA_OVERFLOW_SATURATE, d.data(), kWidth);
        expectAll<uint8_t>(d, 0, "floor");
    }
    for (auto diff : {lmvImageDiffu8C, lmvImageDiffu8V}) {
        d.assign(kWidth, 9);
        diff(ten.data(), twenty.data(), kWidth, 1, kWidth, d.data(), kWidth);
        expectAll<uint8_t>(d, 0, "image difference is not absolute");
    }
}

TEST(ArithmExact, SixteenBitPolicies)
{
    auto a = row<int16_t>(30000), d = row<int16_t>(0);
    for (auto add : {lmvAdds16_v2C, lmvAdds16_v2V}) {
        add(a.data(), kWidth, 1, 0, a.data(), 0, LUMIVA_OVERFLOW_WRAP, d.data(), 0);
        expectAll<int16_t>(d, -5536, "wrap");
        add(a.data(), kWidth, 1, 0, a.data(), 0, LUMIVA_OVERFLOW_SATURATE, d.data(), 0);
        expectAll<int16_t>(d, 32767, "saturate");
    }
    auto big = row<uint16_t>(65535), out = row<uint16_t>(0);
    auto one = row<uint8_t>(1);
    for (auto add : {lmvAddu16u8u16C, lmvAddu16u8u16V}) {
        add(big.data(), kWidth, 1, 0, one.data(), 0, LUMIVA_OVERFLOW_WRAP, out.data(), 0);
        expectAll<uint16_t>(out, 0, "wrap");
        add(big.data(), kWidth, 1, 0, one.data(), 0, LUMIVA_OVERFLOW_SATURATE, out.data(), 0);
        expectAll<uint16_t>(out, 65535, "saturate");
    }
    auto low = row<int16_t>(-30000);
    for (auto diff : {lmvImageDiffs16C, lmvImageDiffs16V}) {
        diff(low.data(), a.data(), kWidth, 1, 0, d.data(), 0);
        expectAll<int16_t>(d, -32768, "clamped difference");
    }
    auto zero = row<uint8_t>(0), full = row<uint8_t>(255);
    for (auto sub : {lmvSubtractu8s16C, lmvSubtractu8s16V}) {
        EXPECT_EQ(LUMIVA_SUCCESS, sub(zero.data(), kWidth, 1, 0, full.data(), 0, d.data(), 0));
        expectAll<int16_t>(d, -255, "signed difference");
    }
}

TEST(ArithmExact, AbsoluteDifferencesWrapBeforeTheAbsoluteValue)
{
    auto max = row<int32_t>(INT_MAX), min = row<int32_t>(INT_MIN), zero = row<int32_t>(0), d = row<int32_t>(0);
    for (auto diff : {lmvAbsDiffs32C, lmvAbsDiffs32V}) {
        diff(max.data(), min.data(), kWidth, 1, 0, d.data(), 0);
        expectAll<int32_t>(d, 1, "INT_MAX - INT_MIN wraps to -1");
        diff(min.data(), zero.data(), kWidth, 1, 0, d.data(), 0);
        expectAll<int32_t>(d, INT_MIN, "abs of the most negative value");
    }
    std::vector<uint8_t> pixels;
    for (uint32_t i = 0; i < kWidth; ++i) pixels.insert(pixels.end(), {uint8_t(10), uint8_t(200), uint8_t(50)});
    std::vector<uint8_t> out(pixels.size());
    for (auto diff : {lmvAbsDiffVc3u8C, lmvAbsDiffVc3u8V}) {
        diff(pixels.data(), kWidth, 1, 0, 20, 100, 50, out.data(), 0);
        for (size_t i = 0; i < out.size(); i += 3) {
            ASSERT_EQ(10, out[i]);
            ASSERT_EQ(100, out[i + 1]);
            ASSERT_EQ(0, out[i + 2]);
        }
    }
    auto half = row<uint8_t>(255), nothing = row<uint8_t>(0);
    std::vector<int8_t> s8(kWidth);
    for (auto diff : {lmvImageDiffu8s8C, lmvImageDiffu8s8V}) {
        diff(half.data(), nothing.data(), kWidth, 1, 0, reinterpret_cast<int8_t*>(s8.data()), 0);
        expectAll<int8_t>(s8, 127, "halves before subtracting");
    }
}

TEST(ArithmExact, WeightedSumRoundsWeightsHalfAwayFromZero)
{
    EXPECT_EQ(128, ilmv::weightOf(0.5f));
    EXPECT_EQ(-128, ilmv::weightOf(-0.5f));
    EXPECT_EQ(1, ilmv::weightOf(0.00196f));   // 0.50176 rounds up
    EXPECT_EQ(-1, ilmv::weightOf(-0.00196f));
    EXPECT_EQ(0, ilmv::weightOf(0.00195f));   // 0.4992 rounds down
    auto full = row<uint8_t>(255), a = row<uint8_t>(100), b = row<uint8_t>(200), d = row<uint8_t>(0);
    for (auto weighted : {lmvAddWeightedu8C, lmvAddWeightedu8V}) {
        weighted(full.data(), kWidth, 1, 0, full.data(), 0, 0.5f, 0.5f, d.data(), 0);
        expectAll<uint8_t>(d, 255, "(128*255 + 128*255 + 128) >> 8");
        weighted(a.data(), kWidth, 1, 0, b.data(), 0, -0.5f, 1.0f, d.data(), 0);
        expectAll<uint8_t>(d, 150, "(-12800 + 51200 + 128) >> 8");
        weighted(a.data(), kWidth, 1, 0, b.data(), 0, -0.5f, 0.0f, d.data(), 0);
        expectAll<uint8_t>(d, 0, "negative sums clamp to 0");
    }
}

TEST(ArithmExact, FixedPointScales)
{
    auto three = row<uint8_t>(3), d = row<uint8_t>(0);
    for (auto mul : {lmvElementMultiplyu8C, lmvElementMultiplyu8V}) {
        mul(three.data(), kWidth, 1, 0, three.data(), 0, 1, LUMIVA_OVERFLOW_WRAP, d.data(), 0);
        expectAll<uint8_t>(d, 5, "(9 + 1) >> 1");
        mul(three.data(), kWidth, 1, 0, three.data(), 0, -5, LUMIVA_OVERFLOW_WRAP, d.data(), 0);
        expectAll<uint8_t>(d, 32, "9 << 5 keeps its low byte");
        mul(three.data(), kWidth, 1, 0, three.data(), 0, -5, LUMIVA_OVERFLOW_SATURATE, d.data(), 0);
        expectAll<uint8_t>(d, 255, "9 << 5 saturates");
        for (int32_t scale : {-32, 32, 40, -300}) {
            mul(three.data(), kWidth, 1, 0, three.data(), 0, scale, LUMIVA_OVERFLOW_SATURATE, d.data(), 0);
            expectAll<uint8_t>(d, 0, "shift of 32 or more");
        }
        mul(three.data(), kWidth, 1, 0, three.data(), 0, 257, LUMIVA_OVERFLOW_WRAP, d.data(), 0);
        expectAll<uint8_t>(d, 5, "257 counts as 1");
    }
    auto full = row<uint8_t>(255);
    auto s16 = row<int16_t>(0);
    for (auto mul : {lmvElementMultiplyu8s16C, lmvElementMultiplyu8s16V}) {
        mul(full.data(), kWidth, 1, 0, full.data(), 0, 0, LUMIVA_OVERFLOW_SATURATE, s16.data(), 0);
        expectAll<int16_t>(s16, 32767, "65025 saturates");
        mul(full.data(), kWidth, 1, 0, full.data(), 0, 0, LUMIVA_OVERFLOW_WRAP, s16.data(), 0);
        expectAll<int16_t>(s16, -511, "65025 wraps");
    }
    auto most = row<int16_t>(-32768);
    for (auto mul : {lmvElementMultiplys16C, lmvElementMultiplys16V}) {
        mul(most.data(), kWidth, 1, 0, most.data(), 0, 15, LUMIVA_OVERFLOW_SATURATE, s16.data(), 0);
        expectAll<int16_t>(s16, 32767, "(2^30 + 2^14) >> 15 = 32768 saturates");
        mul(most.data(), kWidth, 1, 0, most.data(), 0, 15, LUMIVA_OVERFLOW_WRAP, s16.data(), 0);
        expectAll<int16_t>(s16, -32768, "32768 wraps");
        mul(most.data(), kWidth, 1, 0, most.data(), 0, 31, LUMIVA_OVERFLOW_WRAP, s16.data(), 0);
        expectAll<int16_t>(s16, 1, "(2^30 + 2^30) >> 31 without overflow");
    }
    auto thousand = row<int16_t>(1000);
    for (auto mul : {lmvMultiplyScalars16C, lmvMultiplyScalars16V}) {
        mul(thousand.data(), kWidth, 1, 0, 100, 2, s16.data(), 0);
        expectAll<int16_t>(s16, 25000, "100000 >> 2");
        mul(thousand.data(), kWidth, 1, 0, 100, 0, s16.data(), 0);
        expectAll<int16_t>(s16, 32767, "100000 saturates");
    }
}

TEST(ArithmExact, SquaresAccumulateWithSaturation)
{
    auto a = row<uint8_t>(255);
    auto acc = row<uint16_t>(65000), small = row<uint16_t>(100), d = row<uint16_t>(0);
    for (auto addSq : {lmvAddSquaredu8u16C, lmvAddSquaredu8u16V}) {
        addSq(a.data(), kWidth, 1, 0, acc.data(), 0, 0, d.data(), 0);
        expectAll<uint16_t>(d, 65535, "65000 + 65025 saturates");
        addSq(a.data(), kWidth, 1, 0, small.data(), 0, 2, d.data(), 0);
        expectAll<uint16_t>(d, 100 + 16256, "((65025 + 2) & 0xFFFF) >> 2");
        addSq(a.data(), kWidth, 1, 0, small.data(), 0, 1, d.data(), 0);
        expectAll<uint16_t>(d, 100 + 32513, "((65025 + 1) & 0xFFFF) >> 1");
        addSq(a.data(), kWidth, 1, 0, small.data(), 0, -33, d.data(), 0);
        expectAll<uint16_t>(d, 100, "a shift of 33 adds nothing");
    }
}

TEST(ArithmExact, AveragesDivideTheTotalAsFloat)
{
    const uint8_t bytes[] = {1, 2, 3, 4};
    const int32_t words[] = {-1, -2};
    for (auto average : {lmvAverageu8C, lmvAverageu8V}) {
        float32_t mean = 0;
        average(bytes, 2, 2, 2, &mean);
        EXPECT_EQ(2.5f, mean);
    }
    for (auto average : {lmvAverages32C, lmvAverages32V}) {
        float32_t mean = 0;
        average(words, 2, 1, 0, &mean);
        EXPECT_EQ(-1.5f, mean);
    }
}

TEST(ArithmExact, MasksSelectPixels)
{
    std::vector<uint8_t> mask(kWidth), a = row<uint8_t>(0x0F), b = row<uint8_t>(0xF0), d(kWidth);
    for (uint32_t i = 0; i < kWidth; ++i) mask[i] = i % 3 ? 7 : 0;
    for (auto bitOr : {lmvBitwiseOru8C, lmvBitwiseOru8V}) {
        bitOr(a.data(), kWidth, 1, 0, b.data(), 0, mask.data(), 0, d.data(), 0);
        for (uint32_t i = 0; i < kWidth; ++i) ASSERT_EQ(mask[i] ? 0xFF : 0, d[i]) << i;
        bitOr(a.data(), kWidth, 1, 0, b.data(), 0, nullptr, 0, d.data(), 0);
        expectAll<uint8_t>(d, 0xFF, "no mask");
    }
    for (auto fill : {lmvSetElementsc4u8C, lmvSetElementsc4u8V}) {
        std::vector<uint8_t> img(kWidth * 4, 0);
        fill(img.data(), kWidth, 1, 0, 1, 2, 3, 4, mask.data(), 0);
        for (uint32_t i = 0; i < kWidth; ++i)
            for (uint32_t c = 0; c < 4; ++c) ASSERT_EQ(mask[i] ? c + 1 : 0, img[i * 4 + c]) << i;
    }
}

TEST_F(TablesTest, EntryDefaultsStridesOfATinyImage)
{
    uint8_t a[3] = {1, 5, 9}, b[3] = {4, 4, 4}, d[3] = {};
    lmvAbsDiffu8(a, b, 3, 1, 0, d, 0);
    EXPECT_EQ(3, d[0]);
    EXPECT_EQ(1, d[1]);
    EXPECT_EQ(5, d[2]);
}

}  // namespace

namespace {

TEST_F(TablesTest, ConcurrentEntryCallsOnSeparateImages)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            std::vector<uint8_t> a(4096, static_cast<uint8_t>(t)), b(4096, 100), d(4096);
            for (int round = 0; round < 50; ++round) {
                lmvAbsDiffu8(a.data(), b.data(), 64, 64, 0, d.data(), 0);
                ASSERT_EQ(100 - t, d[round]);
                ASSERT_EQ(LUMIVA_SUCCESS, lmvAddu8(a.data(), 64, 64, 0, b.data(), 0, LUMIVA_OVERFLOW_WRAP, d.data(), 0));
                ASSERT_EQ(100 + t, d[4095 - round]);
            }
        });
    for (auto& th : threads) th.join();
}

}  // namespace
