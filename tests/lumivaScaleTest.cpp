// The 3x3 Gaussian, the 2x2 mean, the Gaussian 5x5 decimation and the pyramids: worked
// values, border rules, each entry's own failure style and fallback rules, hard stops,
// both forms alike, and OpenCV's pyrDown as the oracle of the decimation's interior.
#include "cpu/lumivaScale.h"
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using Bytes = std::vector<uint8_t>;
using Gaussian = decltype(&lmvFilterGaussian3x3u8C);

Bytes randomBytes(size_t n, uint32_t seed)
{
    std::mt19937 rng(seed);
    Bytes b(n);
    for (auto& v : b) v = uint8_t(rng());
    return b;
}

TEST(Gaussian3x3, WorkedValuesAndBorders)
{
    const uint32_t w = 9, h = 7;
    for (Gaussian form : {lmvFilterGaussian3x3u8C, lmvFilterGaussian3x3u8V}) {
        Bytes flat(w * h, 90), out(w * h, 1);
        form(flat.data(), w, h, w, out.data(), w, 1);
        for (uint8_t v : out) ASSERT_EQ(90, v) << "weights sum to 16, 12 and 9";

        Bytes dot(w * h, 0), blurred(w * h, 7);
        dot[3 * w + 4] = 255;
        form(dot.data(), w, h, w, blurred.data(), w, 0);
        EXPECT_EQ(63, blurred[3 * w + 4]);      // 255*4 >> 4
        EXPECT_EQ(31, blurred[2 * w + 4]);      // 255*2 >> 4
        EXPECT_EQ(15, blurred[2 * w + 3]);      // 255 >> 4
        for (uint32_t x = 0; x < w; ++x) EXPECT_EQ(7, blurred[x]) << "border untouched without blurBorder";

        Bytes img = randomBytes(w * h, 5), res(w * h, 0);
        form(img.data(), w, h, w, res.data(), w, 1);
        auto p = [&](uint32_t x, uint32_t y) { return int(img[y * w + x]); };
        EXPECT_EQ((4 * p(0, 0) + 2 * p(1, 0) + 2 * p(0, 1) + p(1, 1)) / 9, res[0]);
        EXPECT_EQ((4 * p(w - 1, h - 1) + 2 * p(w - 2, h - 1) + 2 * p(w - 1, h - 2) + p(w - 2, h - 2)) / 9,
                  res[(h - 1) * w + w - 1]);
        EXPECT_EQ((4 * p(3, h - 1) + 2 * p(2, h - 1) + 2 * p(4, h - 1) + 2 * p(3, h - 2) + p(2, h - 2) + p(4, h - 2)) / 12,
                  res[(h - 1) * w + 3]);
        EXPECT_EQ((4 * p(0, 3) + 2 * p(0, 2) + 2 * p(0, 4) + 2 * p(1, 3) + p(1, 2) + p(1, 4)) / 12, res[3 * w]);
    }
}

class ScaleEntries : public TablesTest {};

TEST_F(ScaleEntries, GaussianEntriesRefuseNarrowWidthsAndCheckArguments)
{
    LogCapture log;
    Bytes src(16 * 4, 9), dst(16 * 4, 1);
    for (uint32_t w = 2; w <= 6; ++w) {
        lmvFilterGaussian3x3u8(src.data(), w, 4, dst.data(), 1);
        lmvFilterGaussian3x3u8_v2(src.data(), w, 4, 0, dst.data(), 0, 1);
    }
    ASSERT_EQ(10u, log.lines().size());
    EXPECT_EQ("Error at lmvFilterGaussian3x3u8\n", log.lines()[0].text);
    EXPECT_EQ("Error at lmvFilterGaussian3x3u8_v2\n", log.lines()[1].text);
    for (uint8_t v : dst) ASSERT_EQ(1, v);
    log.clear();
    lmvFilterGaussian3x3u8_v2(src.data(), 1, 4, 0, dst.data(), 0, 1);
    lmvFilterGaussian3x3u8(nullptr, 8, 4, dst.data(), 1);
    ASSERT_EQ(2u, log.lines().size());
    EXPECT_EQ("Assertion failed @lmvFilterGaussian3x3u8_v2: src && dst && (srcWidth > 1) && (srcHeight > 1) && "
              "(srcStride >= srcWidth) && (dstStride >= srcWidth)\n",
              log.lines()[0].text);
    EXPECT_EQ("Assertion failed @lmvFilterGaussian3x3u8: src && dst && width && height\n", log.lines()[1].text);

    // 7 x 2: no interior row; with blurBorder both rows are border rows.
    Bytes two(14, 50), out(14, 0);
    lmvFilterGaussian3x3u8_v2(two.data(), 7, 2, 0, out.data(), 0, 1);
    for (uint8_t v : out) EXPECT_EQ(50, v);
}

using ScaleDeathTest = ScaleEntries;

TEST_F(ScaleDeathTest, GaussianOfWidthOneStopsTheReferenceKernel)
{
    Bytes src(4, 1), dst(4);
    lmvImplTable[LMV_API_lmvFilterGaussian3x3u8] = LMV_IMPL_C;
    EXPECT_EXIT(lmvFilterGaussian3x3u8(src.data(), 1, 4, dst.data(), 0), ::testing::ExitedWithCode(1),
                "src/cpu/lumivaBlurC@79: w6<=w_2 && w6>=w_2-5 Assertion failed");
}

template <int Column>
void gaussianSpy(const uint8_t*, uint32_t, uint32_t, uint32_t, uint8_t*, uint32_t, int32_t)
{
    extern int gSpyColumn;
    gSpyColumn = Column;
}
int gSpyColumn = -1;

template <int Column>
int32_t halfSpy(const uint8_t*, uint32_t, uint32_t, uint32_t, uint8_t*, uint32_t)
{
    gSpyColumn = Column;
    return 0;
}

TEST_F(ScaleEntries, RemoteFallbacksOfTheirOwn)
{
    alignas(64) static uint8_t image[200 * 150];
    install(LMV_API_lmvFilterGaussian3x3u8, 1, gaussianSpy<1>);
    install(LMV_API_lmvFilterGaussian3x3u8, 5, gaussianSpy<5>);
    lmvFilterGaussian3x3u8_v2(image, 176, 144, 176, image, 176, 0);
    EXPECT_EQ(1, gSpyColumn);
    lmvFilterGaussian3x3u8_v2(image, 177, 144, 180, image, 180, 0);
    EXPECT_EQ(5, gSpyColumn);
    lmvFilterGaussian3x3u8(image + 1, 16, 4, image, 0);  // misaligned: the older entry has no size rule
    EXPECT_EQ(1, gSpyColumn);
    lmvFilterGaussian3x3u8(image, 16, 4, image, 0);
    EXPECT_EQ(5, gSpyColumn);

    install(LMV_API_lmvScaleDownBy2u8, 1, halfSpy<1>);
    install(LMV_API_lmvScaleDownBy2u8, 5, halfSpy<5>);
    lmvScaleDownBy2u8_v2(image, 176, 144, 0, image, 0);
    EXPECT_EQ(1, gSpyColumn);
    lmvScaleDownBy2u8_v2(image, 184, 144, 184, image, 92);
    EXPECT_EQ(5, gSpyColumn);
}

TEST_F(ScaleEntries, HalvingValuesAndSilentFailures)
{
    const uint8_t two[4] = {1, 2, 3, 5};
    uint8_t one[1] = {0};
    EXPECT_EQ(0, lmvScaleDownBy2u8(two, 2, 2, one));
    EXPECT_EQ(2, one[0]);  // (1 + 2 + 3 + 5) >> 2
    LogCapture log;
    Bytes src(16 * 16, 4), dst(64, 9);
    EXPECT_EQ(-1, lmvScaleDownBy2u8(src.data(), 15, 16, dst.data()));
    EXPECT_EQ(-1, lmvScaleDownBy2u8(src.data(), 16, 0, dst.data()));
    EXPECT_EQ(-1, lmvScaleDownBy2u8_v2(src.data(), 16, 16, 8, dst.data(), 0));
    EXPECT_EQ(-1, lmvScaleDownBy2u8_v2(nullptr, 16, 16, 0, dst.data(), 0));
    EXPECT_TRUE(log.lines().empty());
    for (uint8_t v : dst) EXPECT_EQ(9, v);
    Bytes wide(640 * 4, 8), half(320 * 2 + 1, 0);
    EXPECT_EQ(0, lmvScaleDownBy2u8_v2(wide.data(), 640, 4, 0, half.data(), 0));
    for (size_t i = 0; i < 640; ++i) EXPECT_EQ(8, half[i]) << "rows of 320 packed";
    EXPECT_EQ(0, half[640]);
}

TEST(Decimation, ConstantStaysAndEdgesRepeat)
{
    for (auto form : {lmvScaleDownBy2Gaussian5x5u8_v2C, lmvScaleDownBy2Gaussian5x5u8_v2V}) {
        Bytes flat(37 * 21, 200), out(18 * 10, 0);
        form(flat.data(), 37, 21, 37, out.data(), 18);
        for (uint8_t v : out) ASSERT_EQ(200, v);
        // A vertical step at column 0: the edge repeats, so output column 0 sees 5 of the bright value.
        Bytes step(40 * 8, 0);
        for (uint32_t y = 0; y < 8; ++y) step[y * 40] = 255;
        form(step.data(), 40, 8, 40, out.data(), 20);
        EXPECT_EQ((255 * 16 * (1 + 4 + 6) + 128) >> 8, out[0]);  // columns -2, -1 and 0 are column 0
    }
}

#ifdef LUMIVA_WITH_OPENCV
TEST(Decimation, InteriorEqualsPyrDown)
{
    const int w = 96, h = 64;
    Bytes img = randomBytes(w * h, 8);
    cv::Mat ours(h / 2, w / 2, CV_8UC1), theirs;
    lmvScaleDownBy2Gaussian5x5u8_v2V(img.data(), w, h, w, ours.data, w / 2);
    cv::pyrDown(cv::Mat(h, w, CV_8UC1, img.data()), theirs);
    for (int y = 1; y < h / 2 - 1; ++y)
        for (int x = 1; x < w / 2 - 1; ++x) ASSERT_EQ(theirs.at<uint8_t>(y, x), ours.at<uint8_t>(y, x)) << x << "," << y;
}
#endif

TEST_F(ScaleEntries, PyramidLevelsAllocationAndRelease)
{
    const uint32_t w = 640, h = 480;
    Bytes base = randomBytes(w * h, 2);
    lmvPyramidLevel pyr[4] = {};
    EXPECT_EQ(0, lmvPyramidAllocate(pyr, w, h, 1, 4, 0));
    EXPECT_EQ(nullptr, pyr[0].ptr);
    EXPECT_EQ(0, lmvPyramidCreateu8(base.data(), w, h, 4, pyr));
    const uint32_t sizes[4][2] = {{640, 480}, {320, 240}, {160, 120}, {80, 60}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(sizes[i][0], pyr[i].width);
        EXPECT_EQ(sizes[i][1], pyr[i].height);
        EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(pyr[i].ptr) % (i ? 16 : 1));
    }
    Bytes expected(320 * 240);
    lmvScaleDownBy2Gaussian5x5u8_v2C(base.data(), w, h, w, expected.data(), 320);
    EXPECT_EQ(0, std::memcmp(expected.data(), pyr[1].ptr, expected.size()));
    lmvPyramidDelete(pyr, 4, 4);  // nothing
    EXPECT_NE(nullptr, pyr[3].ptr);
    lmvPyramidDelete(pyr, 4, 1);  // the caller's base stays
    for (int i = 1; i < 4; ++i) EXPECT_EQ(nullptr, pyr[i].ptr);
    EXPECT_EQ(base.data(), pyr[0].ptr);

    lmvPyramidLevel single[1] = {};
    EXPECT_EQ(0, lmvPyramidCreateu8(base.data(), w, h, 1, single));
    EXPECT_EQ(base.data(), single[0].ptr);
    lmvPyramidLevel missing[2] = {};
    EXPECT_EQ(-1, lmvPyramidCreateu8(base.data(), w, h, 2, missing));

    LogCapture log;
    lmvPyramidDelete(pyr, 4, 5);
    EXPECT_EQ("Assertion failed @lmvPyramidDelete: pyr && ((signed)startLevel >= 0) && (startLevel <= numLevels)\n",
              log.lines().at(0).text);
}

TEST_F(ScaleDeathTest, PyramidBaseMustHalveExactly)
{
    Bytes base(640 * 480);
    lmvPyramidLevel pyr[7] = {};
    EXPECT_EXIT(lmvPyramidCreateu8(base.data(), 640, 480, 7, pyr), ::testing::ExitedWithCode(1),
                "src/cpu/lumivaPyramidC@[0-9]+: .*baseHeight.*Assertion failed");
    EXPECT_EXIT(lmvPyramidCreateu8(nullptr, 640, 480, 2, pyr), ::testing::ExitedWithCode(1),
                "base && numLevels && baseHeight && baseWidth && pyramid Assertion failed");
}

TEST(Pyramids, SecondAndThirdGenerationsInBothForms)
{
    const uint32_t w = 97, h = 61, stride = 100;
    Bytes base = randomBytes(stride * h, 4);
    for (float32_t scale : {0.5f, 0.75f, 0.6f}) {
        lmvPyramidLevel_v2 a[4] = {}, b[4] = {};
        ASSERT_EQ(0, lmvPyramidAllocate_v3C(a, w, h, stride, 1, 4, scale, 0));
        ASSERT_EQ(0, lmvPyramidAllocate_v3C(b, w, h, stride, 1, 4, scale, 0));
        EXPECT_EQ(uint32_t(std::ceil(w * double(scale))), a[1].width);
        ASSERT_EQ(0, lmvPyramidCreateu8_v3C(base.data(), w, h, stride, 4, scale, a));
        ASSERT_EQ(0, lmvPyramidCreateu8_v3V(base.data(), w, h, stride, 4, scale, b));
        for (int i = 1; i < 4; ++i)
            ASSERT_EQ(0, std::memcmp(a[i].ptr, b[i].ptr, size_t(a[i].stride) * a[i].height)) << scale << " level " << i;
        lmvPyramidDelete_v2C(a, 4, 1);
        lmvPyramidDelete_v2C(b, 4, 1);
    }
    lmvPyramidLevel_v2 bad[2] = {};
    EXPECT_EQ(-1, lmvPyramidAllocate_v3C(bad, w, h, stride, 1, 2, 1.5f, 0));

    // Floats: both forms add in the same order, so the bytes agree.
    std::vector<float32_t> fbase(64 * 32);
    std::mt19937 rng(6);
    for (auto& v : fbase) v = float32_t(int(rng() % 20001) - 10000) / 37.0f;
    lmvPyramidLevel_v2 fa[3] = {}, fb[3] = {};
    lmvPyramidAllocate_v2C(fa, 64, 32, 256, 4, 3, 0);
    lmvPyramidAllocate_v2C(fb, 64, 32, 256, 4, 3, 0);
    lmvPyramidCreatef32_v2C(fbase.data(), 64, 32, 256, 3, fa);
    lmvPyramidCreatef32_v2V(fbase.data(), 64, 32, 256, 3, fb);
    for (int i = 1; i < 3; ++i) EXPECT_EQ(0, std::memcmp(fa[i].ptr, fb[i].ptr, size_t(fa[i].stride) * fa[i].height));
    lmvPyramidDelete_v2C(fa, 3, 1);
    lmvPyramidDelete_v2C(fb, 3, 1);
}

}  // namespace
