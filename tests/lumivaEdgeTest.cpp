// Thresholds, point operations, gradients and edges: OpenCV as the oracle wherever it computes
// the same arithmetic (one table over the family), models where it has none, worked values
// for this library's own choices (phase steps, rounding, frames), exhaustive checks of the
// NEON square root, and each entry's refusals.
#include "cpu/lumivaEdge.h"
#include "lumivaKernels.h"
#include "lumivaOracle.h"
#include "lumivaTestSupport.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using Bytes = std::vector<uint8_t>;
using Shorts = std::vector<int16_t>;

// Flat patches, ramps, sharp edges and noise, so every threshold, direction and hysteresis
// case occurs.
Bytes scene(uint32_t w, uint32_t h, uint32_t seed)
{
    std::mt19937 rng(seed);
    Bytes b(size_t(w) * h);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            const int dx = int(x) - int(w / 3), dy = int(y) - int(h / 2);
            int v = int(x * 200 / w) + int(rng() % 13) - 6;
            if (dx * dx + dy * dy < int(h * h / 9)) v = 230 - v / 4;
            if ((x + 2 * y) % 37 < 5) v = 20;
            b[size_t(y) * w + x] = uint8_t(std::min(255, std::max(0, v)));
        }
    return b;
}

class EdgeEntries : public TablesTest {};

// Phase steps, rounded magnitudes, wrapping narrowing, edge weights, Otsu on two levels and
// the zero frame of the gradient images: values worked out by hand.
TEST_F(EdgeEntries, WorkedValuesOfTheLibrarysOwnRules)
{
    const int16_t dx[10] = {1, 0, -1, 0, 1, -1, 0, 3, -32768, 1000};
    const int16_t dy[10] = {0, 1, 0, -1, 1, -1, 0, 4, -32768, 13};
    const uint8_t phase[10] = {0, 64, 128, 192, 32, 160, 0, 38, 160, 1};  // the last 0.53 steps
    const int16_t magnitude[10] = {1, 1, 1, 1, 1, 1, 0, 5, 32767, 1000};
    uint8_t ph[10];
    int16_t mag[10];
    ASSERT_EQ(LUMIVA_SUCCESS, lmvPhases16(dx, 10, 1, 0, dy, 0, ph, 0));
    ASSERT_EQ(LUMIVA_SUCCESS, lmvMagnitudes16(dx, 10, 1, 0, dy, 0, mag, 0));
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(phase[i], ph[i]) << dx[i] << "," << dy[i];
        EXPECT_EQ(magnitude[i], mag[i]) << dx[i] << "," << dy[i];
    }
    // 2 x 1^2 = 2 rounds down to 1 (sqrt 1.414); 1^2 + 2^2 = 5 rounds to 2 (2.236); 6 to 2 (2.449);
    // 7 to 3 (2.646).
    const int16_t a[4] = {1, 1, 1, 2}, b[4] = {1, 2, -2, 2};
    ASSERT_EQ(LUMIVA_SUCCESS, lmvMagnitudes16(a, 4, 1, 0, b, 0, mag, 0));
    EXPECT_EQ(1, mag[0]);
    EXPECT_EQ(2, mag[1]);
    EXPECT_EQ(3, mag[3]);  // 8: 2.83
    const int16_t wide[4] = {-1, 300, 1023, -32768};
    uint8_t narrow[4];
    ASSERT_EQ(LUMIVA_SUCCESS, lmvConvertDepths16u8(wide, 4, 1, 0, 2, LUMIVA_OVERFLOW_WRAP, narrow, 0));
    EXPECT_EQ((Bytes{255, 75, 255, 0}), Bytes(narrow, narrow + 4));  // floored shifts, low bytes
    ASSERT_EQ(LUMIVA_SUCCESS, lmvConvertDepths16u8(wide, 4, 1, 0, 2, LUMIVA_OVERFLOW_SATURATE, narrow, 0));
    EXPECT_EQ((Bytes{0, 75, 255, 0}), Bytes(narrow, narrow + 4));
    uint8_t table[256];
    for (int i = 0; i < 256; ++i) table[i] = uint8_t(255 - i);
    const int16_t data[3] = {1000, -1000, 7};
    const uint8_t edges[3] = {0, 0, 255};
    int16_t weighted[3];
    ASSERT_EQ(LUMIVA_SUCCESS, lmvEdgeWeightings16(data, 3, 1, 0, edges, 0, table, weighted, 0));
    EXPECT_EQ((Shorts{996, -997, 0}), Shorts(weighted, weighted + 3));  // (v x 255) >> 8, floored
    // Otsu splits two grey levels between them: the threshold is the lower level.
    Bytes two(64, 40);
    std::fill(two.begin() + 20, two.end(), 200);
    Bytes bin(64);
    uint8_t t = 0;
    lmvFilterThresholdOtsuu8(two.data(), 8, 8, 0, bin.data(), 0, &t);
    EXPECT_EQ(40, t);
    EXPECT_EQ(0, bin[0]);
    EXPECT_EQ(255, bin[63]);
    // Gradient images write 0 on their frame; the v3 generation leaves it with UNDEFINED.
    const uint32_t w = 6, h = 5;
    const Bytes img = scene(w, h, 2);
    Shorts planar(2 * w * h, 99);
    lmvImageGradientSobelPlanars16(img.data(), w, h, 0, planar.data(), planar.data() + w * h, 0);
    Shorts v3(2 * w * h, 99);
    ASSERT_EQ(LUMIVA_SUCCESS, lmvImageGradientSobelPlanars16_v3(img.data(), w, h, 0, v3.data(), v3.data() + w * h, 0,
                                                                LUMIVA_BORDER_UNDEFINED, 0));
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            const bool frame = x == 0 || y == 0 || x == w - 1 || y == h - 1;
            EXPECT_EQ(frame ? 0 : v3[y * w + x], planar[y * w + x]);
            EXPECT_EQ(frame ? 99 : planar[w * h + y * w + x], v3[w * h + y * w + x]);
        }
}

// The NEON magnitude takes a float estimate and trues it up in integers: every square, every
// square plus one, and the squares of the diagonal, against the reference.
TEST(EdgeExact, MagnitudesRoundLikeTheReferenceEverywhereTheEstimateIsTight)
{
    Shorts dx(65536), dy(65536), c(65536), v(65536);
    for (int32_t i = 0; i < 65536; ++i) dx[i] = int16_t(i - 32768);
    for (int16_t partner : {0, 1, 7, 32767}) {
        for (int32_t i = 0; i < 65536; ++i) dy[i] = partner == 7 ? dx[i] : partner;
        ilmvEdgeRowsC().magnitudes16(dx.data(), dy.data(), dx.size(), c.data());
        ilmvEdgeRowsV().magnitudes16(dx.data(), dy.data(), dx.size(), v.data());
        ASSERT_EQ(c, v) << partner;
    }
    for (int32_t i = 0; i < 32768; ++i) ASSERT_EQ(i, ilmvMagnitudePixel(i, 0));
}

// The running box means of the adaptive thresholds divide by a multiply and a shift: every sum
// a window reaches gives the exact quotient.
TEST(EdgeExact, RunningBoxMeansDivideEverySumExactly)
{
    for (uint32_t k : {3u, 5u, 11u}) {
        const uint32_t w = 32 + k, h = k, r = k / 2;
        for (uint32_t sum = 0; sum <= 255 * k * k; ++sum) {
            // Columns repeat with period k, so every k x k window holds the same values.
            Bytes img(w * h);
            for (uint32_t y = 0; y < h; ++y)
                for (uint32_t x = 0; x < w; ++x) {
                    const uint32_t i = y * k + x % k;
                    img[y * w + x] = uint8_t(sum / (k * k) + (i < sum % (k * k) ? 1 : 0));
                }
            struct Seen {
                uint32_t r, w, want;
                bool ok = true;
            } seen{r, w, (sum + k * k / 2) / (k * k)};
            ilmvEdgeRowsV().boxMeansu8(img.data(), w, h, w, k, [](void* c, uint32_t y, const uint8_t* means) {
                Seen& s = *static_cast<Seen*>(c);
                if (y != s.r) return;
                for (uint32_t x = s.r; x + s.r < s.w; ++x) s.ok &= means[x] == s.want;
            }, &seen);
            ASSERT_TRUE(seen.ok) << "k " << k << " sum " << sum;
        }
    }
}

// Where the two forms must agree on an operation the generated sweep cannot reach: the
// pyramids of gradients, level by level, against the gradient image of each level.
TEST_F(EdgeEntries, GradientPyramidsAreTheGradientsOfEachLevel)
{
    const uint32_t w = 32, h = 24, levels = 3;
    lmvPyramidLevel img[levels], dx16[levels], dy16[levels], dx8[levels], dy8[levels], dxf[levels], dyf[levels];
    std::vector<Bytes> images;
    std::vector<Shorts> s16(2 * levels);
    std::vector<std::vector<int8_t>> s8(2 * levels);
    std::vector<std::vector<float>> f32(2 * levels);
    for (uint32_t l = 0; l < levels; ++l) {
        const uint32_t lw = w >> l, lh = h >> l, n = lw * lh;
        images.push_back(scene(lw, lh, l));
        img[l] = {images[l].data(), lw, lh};
        s16[2 * l].resize(n), s16[2 * l + 1].resize(n), s8[2 * l].resize(n), s8[2 * l + 1].resize(n);
        f32[2 * l].resize(n), f32[2 * l + 1].resize(n);
        dx16[l] = {s16[2 * l].data(), lw, lh}, dy16[l] = {s16[2 * l + 1].data(), lw, lh};
        dx8[l] = {s8[2 * l].data(), lw, lh}, dy8[l] = {s8[2 * l + 1].data(), lw, lh};
        dxf[l] = {f32[2 * l].data(), lw, lh}, dyf[l] = {f32[2 * l + 1].data(), lw, lh};
    }
    ASSERT_EQ(0, lmvPyramidSobelGradientCreatei16(img, dx16, dy16, levels));
    ASSERT_EQ(0, lmvPyramidSobelGradientCreatei8(img, dx8, dy8, levels));
    ASSERT_EQ(0, lmvPyramidSobelGradientCreatef32(img, dxf, dyf, levels));
    for (uint32_t l = 0; l < levels; ++l) {
        const uint32_t lw = w >> l, lh = h >> l, n = lw * lh;
        Shorts a(n), b(n);
        lmvImageGradientSobelPlanars16(images[l].data(), lw, lh, 0, a.data(), b.data(), 0);
        EXPECT_EQ(a, s16[2 * l]);
        EXPECT_EQ(b, s16[2 * l + 1]);
        for (uint32_t i = 0; i < n; ++i) {
            ASSERT_EQ(a[i] >> 3, s8[2 * l][i]);
            ASSERT_EQ(float(a[i]) / 8, f32[2 * l][i]);
            ASSERT_EQ(float(b[i]) / 8, f32[2 * l + 1][i]);
        }
    }
    dx16[1].width = 3;
    EXPECT_EQ(-1, lmvPyramidSobelGradientCreatei16(img, dx16, dy16, levels));
}

// Status generations refuse bad shifts, policies, borders, kernel sizes and norms with status
// 3 and write nothing; older entries log their rule.
TEST_F(EdgeEntries, RefusalsWriteNothing)
{
    const uint32_t w = 12, h = 9;
    const Bytes src = scene(w, h, 1);
    Bytes dst(w * h, 0x5A);
    Shorts s16(w * h, 0x5A5A), t16(w * h, 0x5A5A);
    const Shorts wide(w * h, 3);
    const std::vector<std::function<LMV_STATUS()>> refused = {
        [&] { return lmvConvertDepthu8s16(src.data(), w, h, 0, 8, s16.data(), 0); },
        [&] { return lmvConvertDepths16u8(wide.data(), w, h, 0, 16, LUMIVA_OVERFLOW_WRAP, dst.data(), 0); },
        [&] { return lmvConvertDepths16u8(wide.data(), w, h, 0, 1, 2, dst.data(), 0); },
        [&] { return lmvFilterSobel3x3u8s16(src.data(), w, h, 0, s16.data(), t16.data(), 0, 3, 0); },
        [&] { return lmvFilterSobel7x7u8s16(src.data(), w, h, 0, s16.data(), t16.data(), 0, -1, 0); },
        [&] { return lmvImageGradientSobelPlanars16_v3(src.data(), w, h, 0, s16.data(), t16.data(), 0, 5, 0); },
        [&] { return lmvFilterCannyu8(src.data(), w, h, 0, dst.data(), 0, 10, 20, 4, LUMIVA_NORM_L1); },
        [&] { return lmvFilterCannyu8(src.data(), w, h, 0, dst.data(), 0, 10, 20, 3, 2); },
        [&] { return lmvTableLookupu8(src.data(), w, h, 0, nullptr, dst.data(), 0); },
        [&] { return lmvFilterThresholdu8_v3(src.data(), w, h, w - 1, dst.data(), 0, 1, 2, 3); },
        [&] { return lmvImageDetectLineSegmentsu8(src.data(), w, h, 0, 5.0f, nullptr, 4, reinterpret_cast<uint32_t*>(s16.data())); },
    };
    for (size_t i = 0; i < refused.size(); ++i) {
        EXPECT_EQ(LUMIVA_BAD_PARAMS, refused[i]()) << i;
        EXPECT_EQ(Bytes(w * h, 0x5A), dst) << i;
        EXPECT_EQ(Shorts(w * h, 0x5A5A), s16) << i;
    }
    LogCapture log;
    lmvFilterThresholdu8(src.data(), 0, h, dst.data(), 9);
    lmvAdaptiveThresholdMean5x5u8(src.data(), w, h, 0, 255, 2, 0, dst.data(), 0);
    lmvFilterCanny3x3u8(nullptr, w, h, dst.data(), 1, 2);
    uint32_t count = 0;
    lmvImageDetectEdgePixelsu8(src.data(), w, h, 0, 10, nullptr, 5, &count);
    EXPECT_EQ(Bytes(w * h, 0x5A), dst);
    EXPECT_TRUE(log.contains("lumiva_lib_log", "Assertion failed @lmvFilterThresholdu8: src && dst && width && height\n"));
    EXPECT_TRUE(log.contains("lumiva_lib_log", "Assertion failed @lmvFilterCanny3x3u8: src && dst && width && height\n"));
    EXPECT_EQ(4u, log.lines().size());
}

// The no-stride and second-name entries run the slot's form; the status generations agree
// with the first where they overlap.
TEST_F(EdgeEntries, GenerationsAgreeWhereTheyOverlap)
{
    const uint32_t w = 23, h = 14;
    const Bytes src = scene(w, h, 5);
    Bytes a(w * h, 1), b(w * h, 2), c(w * h, 3);
    lmvFilterThresholdu8(src.data(), w, h, a.data(), 100);
    lmvFilterThresholdu8_v2(src.data(), w, h, 0, b.data(), 0, 100);
    ASSERT_EQ(LUMIVA_SUCCESS, lmvFilterThresholdu8_v3(src.data(), w, h, 0, c.data(), 0, 100, 255, 0));
    EXPECT_EQ(a, b);
    EXPECT_EQ(a, c);
    lmvFilterCanny3x3u8(src.data(), w, h, a.data(), 30, 90);
    lmvFilterCanny3x3u8_v2(src.data(), w, h, 0, b.data(), 0, 30, 90);
    ASSERT_EQ(LUMIVA_SUCCESS, lmvFilterCannyu8(src.data(), w, h, 0, c.data(), 0, 30, 90, 3, LUMIVA_NORM_L1));
    EXPECT_EQ(a, b);
    EXPECT_EQ(a, c);
    Shorts i1(2 * w * h), i2(2 * w * h), p1(2 * w * h);
    lmvImageGradientSobelInterleaveds16(src.data(), w, h, 0, i1.data(), 0);
    lmvImageGradientSobelInterleaveds16_v2(src.data(), w, h, 0, i2.data(), 0);
    EXPECT_EQ(i1, i2);
    lmvImageGradientSobelPlanars16(src.data(), w, h, 0, p1.data(), p1.data() + w * h, 0);
    for (uint32_t i = 0; i < w * h; ++i) {
        ASSERT_EQ(p1[i], i1[2 * i]);
        ASSERT_EQ(p1[w * h + i], i1[2 * i + 1]);
    }
    std::vector<uint32_t> xy(2 * w * h);
    uint32_t count = 0;
    lmvImageDetectEdgePixelsu8(src.data(), w, h, 0, 60, xy.data(), w * h, &count);
    lmvFilterCanny3x3u8_v2(src.data(), w, h, 0, b.data(), 0, 60, 60);
    uint32_t marked = 0;
    for (uint32_t i = 0; i < w * h; ++i) marked += b[i] == 255;
    ASSERT_EQ(marked, count) << "edge pixels are Canny with equal thresholds";
    for (uint32_t i = 0; i < count; ++i) EXPECT_EQ(255, b[xy[2 * i + 1] * w + xy[2 * i]]);
    uint32_t few = 0;
    lmvImageDetectEdgePixelsu8(src.data(), w, h, 0, 60, xy.data(), 3, &few);
    EXPECT_EQ(std::min(3u, count), few);
}

#ifdef LUMIVA_WITH_OPENCV

// ---- OpenCV as the oracle ---------------------------------------------------------------------

using lmvoracle::asMat;
using lmvoracle::run;
using OracleRow = lmvoracle::Row;

// Two planes side by side, so one comparison covers dx and dy.
cv::Mat pair(uint32_t w, uint32_t h, int type, const std::function<void(void*, void*)>& call)
{
    cv::Mat a(int(h), int(w), type, cv::Scalar(0)), b(int(h), int(w), type, cv::Scalar(0)), out;
    call(a.data, b.data);
    cv::hconcat(a, b, out);
    return out;
}

cv::Mat sobels(const cv::Mat& s, int type, int k, int border, double scale = 1)
{
    cv::Mat dx, dy, out;
    cv::Sobel(s, dx, type, 1, 0, k, scale, 0, border);
    cv::Sobel(s, dy, type, 0, 1, k, scale, 0, border);
    cv::hconcat(dx, dy, out);
    return out;
}

std::vector<OracleRow> pointRows()
{
    std::vector<OracleRow> rows;
    rows.push_back({"threshold", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterThresholdu8_v2(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0, 97); });
                    },
                    [](const cv::Mat& s) { cv::Mat o; cv::threshold(s, o, 97, 255, cv::THRESH_BINARY); return o; }});
    rows.push_back({"threshold v3", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterThresholdu8_v3(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0, 97, 9, 201); });
                    },
                    [](const cv::Mat& s) { cv::Mat o; cv::threshold(s, o, 97, 1, cv::THRESH_BINARY); return 201 - o * 192; }});
    rows.push_back({"range", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterThresholdRangeu8(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0, 60, 180); });
                    },
                    [](const cv::Mat& s) { cv::Mat o; cv::inRange(s, 60, 180, o); return o; }});
    rows.push_back({"range v2", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterThresholdRangeu8_v2(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0, 60, 180, 1, 0); });
                    },
                    [](const cv::Mat& s) { cv::Mat o; cv::inRange(s, 60, 180, o); return o / 255; }});
    rows.push_back({"otsu", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        uint8_t t = 0;
                        cv::Mat o = run(w, h, CV_8U, [&](void* d) { lmvFilterThresholdOtsuu8(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0, &t); });
                        o.at<uint8_t>(0, 0) = t;
                        return o;
                    },
                    [](const cv::Mat& s) {
                        cv::Mat o;
                        const double t = cv::threshold(s, o, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
                        o.at<uint8_t>(0, 0) = uint8_t(t);
                        return o;
                    }});
    rows.push_back({"lookup", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        uint8_t lut[256];
                        for (int i = 0; i < 256; ++i) lut[i] = uint8_t(i * 7 + 3);
                        return run(w, h, CV_8U, [&](void* d) { lmvTableLookupu8(s.data(), w, h, 0, lut, static_cast<uint8_t*>(d), 0); });
                    },
                    [](const cv::Mat& s) {
                        cv::Mat lut(1, 256, CV_8U), o;
                        for (int i = 0; i < 256; ++i) lut.at<uint8_t>(i) = uint8_t(i * 7 + 3);
                        cv::LUT(s, lut, o);
                        return o;
                    }});
    rows.push_back({"u8 to s16", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_16S, [&](void* d) { lmvConvertDepthu8s16(s.data(), w, h, 0, 7, static_cast<int16_t*>(d), 0); });
                    },
                    [](const cv::Mat& s) { cv::Mat o; s.convertTo(o, CV_16S, 128); return o; }});
    rows.push_back({"s16 to u8 saturated", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        cv::Mat wide = asMat(s, w, h), signedWide;
                        wide.convertTo(signedWide, CV_16S, 3, -200);
                        return run(w, h, CV_8U, [&](void* d) {
                            lmvConvertDepths16u8(signedWide.ptr<int16_t>(), w, h, 0, 0, LUMIVA_OVERFLOW_SATURATE, static_cast<uint8_t*>(d), 0);
                        });
                    },
                    [](const cv::Mat& s) { cv::Mat wide, o; s.convertTo(wide, CV_16S, 3, -200); wide.convertTo(o, CV_8U); return o; }});
    for (int type : {0, 1})
        for (uint32_t k : {3u, 5u, 11u})
            rows.push_back({"adaptive mean", 0, 0,
                            [k, type](const Bytes& s, uint32_t w, uint32_t h) {
                                auto fn = k == 3 ? lmvAdaptiveThresholdMean3x3u8 : k == 5 ? lmvAdaptiveThresholdMean5x5u8 : lmvAdaptiveThresholdMean11x11u8;
                                return run(w, h, CV_8U, [&](void* d) { fn(s.data(), w, h, 0, 250, type, 4, static_cast<uint8_t*>(d), 0); });
                            },
                            [k, type](const cv::Mat& s) {
                                cv::Mat o;
                                cv::adaptiveThreshold(s, o, 250, cv::ADAPTIVE_THRESH_MEAN_C, type ? cv::THRESH_BINARY_INV : cv::THRESH_BINARY, int(k), 4);
                                return o;
                            }});
    // OpenCV blurs in float and rounds halves to even; the library rounds them up, as its
    // Gaussian filters do: the model takes OpenCV's blur with the library's rounding.
    for (uint32_t k : {3u, 5u})
        rows.push_back({"adaptive gaussian", 0, 0,
                        [k](const Bytes& s, uint32_t w, uint32_t h) {
                            auto fn = k == 3 ? lmvAdaptiveThresholdGaussian3x3u8 : lmvAdaptiveThresholdGaussian5x5u8;
                            return run(w, h, CV_8U, [&](void* d) { fn(s.data(), w, h, 0, 255, 0, -3, static_cast<uint8_t*>(d), 0); });
                        },
                        [k](const cv::Mat& s) {
                            cv::Mat f, blurred, o(s.size(), CV_8U);
                            s.convertTo(f, CV_32F);
                            cv::GaussianBlur(f, blurred, cv::Size(int(k), int(k)), 0, 0, cv::BORDER_REPLICATE);
                            for (int i = 0; i < s.rows * s.cols; ++i)
                                o.at<uint8_t>(i) = s.at<uint8_t>(i) > std::floor(blurred.at<float>(i) + 0.5f) + 3 ? 255 : 0;
                            return o;
                        }});
    return rows;
}

std::vector<OracleRow> gradientRows()
{
    std::vector<OracleRow> rows;
    for (uint32_t k : {3u, 5u, 7u})
        for (LMV_BORDER_TYPE border : {LUMIVA_BORDER_CONSTANT, LUMIVA_BORDER_REPLICATE})
            rows.push_back({"sobel", 0, 0,
                            [k, border](const Bytes& s, uint32_t w, uint32_t h) {
                                auto fn = k == 3 ? lmvFilterSobel3x3u8s16 : k == 5 ? lmvFilterSobel5x5u8s16 : lmvFilterSobel7x7u8s16;
                                return pair(w, h, CV_16S, [&](void* a, void* b) {
                                    fn(s.data(), w, h, 0, static_cast<int16_t*>(a), static_cast<int16_t*>(b), 0, border, 0);
                                });
                            },
                            [k, border](const cv::Mat& s) {
                                return sobels(s, CV_16S, int(k), border == LUMIVA_BORDER_CONSTANT ? cv::BORDER_CONSTANT : cv::BORDER_REPLICATE);
                            }});
    rows.push_back({"sobel strength", 1, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterSobel3x3u8(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0); });
                    },
                    [](const cv::Mat& s) {
                        cv::Mat dx, dy, o(s.size(), CV_8U);
                        cv::Sobel(s, dx, CV_16S, 1, 0);
                        cv::Sobel(s, dy, CV_16S, 0, 1);
                        for (int y = 0; y < s.rows; ++y)
                            for (int x = 0; x < s.cols; ++x)
                                o.at<uint8_t>(y, x) = uint8_t(std::min(255, (std::abs(dx.at<int16_t>(y, x)) + std::abs(dy.at<int16_t>(y, x))) >> 3));
                        return o;
                    }});
    rows.push_back({"central s16", 1, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return pair(w, h, CV_16S, [&](void* a, void* b) { lmvImageGradientPlanars16(s.data(), w, h, 0, static_cast<int16_t*>(a), static_cast<int16_t*>(b), 0); });
                    },
                    [](const cv::Mat& s) {
                        cv::Mat kx = (cv::Mat_<float>(1, 3) << -1, 0, 1), dx, dy, o;
                        cv::filter2D(s, dx, CV_16S, kx);
                        cv::filter2D(s, dy, CV_16S, kx.t());
                        cv::hconcat(dx, dy, o);
                        return o;
                    }});
    rows.push_back({"central f32 interleaved", 1, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        cv::Mat o = run(w, h, CV_32FC2, [&](void* d) { lmvImageGradientInterleavedf32(s.data(), w, h, 0, static_cast<float*>(d), 0); });
                        std::vector<cv::Mat> planes;
                        cv::split(o * 2, planes);
                        cv::hconcat(planes, o);
                        return o;
                    },
                    [](const cv::Mat& s) {
                        cv::Mat kx = (cv::Mat_<float>(1, 3) << -1, 0, 1), dx, dy, o;
                        cv::filter2D(s, dx, CV_32F, kx);
                        cv::filter2D(s, dy, CV_32F, kx.t());
                        cv::hconcat(dx, dy, o);
                        return o;
                    }});
    rows.push_back({"sobel f32 planar", 1, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return pair(w, h, CV_32F, [&](void* a, void* b) { lmvImageGradientSobelPlanarf32(s.data(), w, h, 0, static_cast<float*>(a), static_cast<float*>(b), 0); });
                    },
                    [](const cv::Mat& s) { return sobels(s, CV_32F, 3, cv::BORDER_REFLECT_101, 0.125); }});
    rows.push_back({"sobel of f32", 1, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        cv::Mat f;
                        asMat(s, w, h).convertTo(f, CV_32F);
                        return pair(w, h, CV_32F, [&](void* a, void* b) {
                            lmvImageGradientSobelPlanarf32f32(f.ptr<float>(), w, h, 0, static_cast<float*>(a), static_cast<float*>(b), 0);
                        });
                    },
                    [](const cv::Mat& s) { cv::Mat f; s.convertTo(f, CV_32F); return sobels(f, CV_32F, 3, cv::BORDER_REFLECT_101, 0.125); }});
    rows.push_back({"sobel s16 interleaved, replicate", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        cv::Mat o = run(w, h, CV_16SC2, [&](void* d) {
                            lmvImageGradientSobelInterleaveds16_v3(s.data(), w, h, 0, static_cast<int16_t*>(d), 0, LUMIVA_BORDER_REPLICATE, 0);
                        });
                        std::vector<cv::Mat> planes;
                        cv::split(o, planes);
                        cv::hconcat(planes, o);
                        return o;
                    },
                    [](const cv::Mat& s) { return sobels(s, CV_16S, 3, cv::BORDER_REPLICATE); }});
    rows.push_back({"sobel s8", 1, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        cv::Mat o = pair(w, h, CV_8S, [&](void* a, void* b) { lmvImageGradientSobelPlanars8(s.data(), w, h, 0, static_cast<int8_t*>(a), static_cast<int8_t*>(b), 0); });
                        o.convertTo(o, CV_16S);
                        return o;
                    },
                    [](const cv::Mat& s) {
                        cv::Mat o = sobels(s, CV_16S, 3, cv::BORDER_REFLECT_101);
                        for (auto it = o.begin<int16_t>(); it != o.end<int16_t>(); ++it) *it = int16_t(*it >> 3);
                        return o;
                    }});
    rows.push_back({"scharr", 1, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        cv::Mat o = run(w, h, CV_16SC2, [&](void* d) { lmvImageGradientScharrInterleaveds16C(s.data(), w, h, w, static_cast<int16_t*>(d), 4 * w); });
                        std::vector<cv::Mat> planes;
                        cv::split(o, planes);
                        cv::hconcat(planes, o);
                        return o;
                    },
                    [](const cv::Mat& s) {
                        cv::Mat dx, dy, o;
                        cv::Scharr(s, dx, CV_16S, 1, 0);
                        cv::Scharr(s, dy, CV_16S, 0, 1);
                        cv::hconcat(dx, dy, o);
                        return o;
                    }});
    // Magnitude and phase of the Sobel gradients: the magnitude in doubles (exact for the
    // rounding), the phase against cv::phase, whose arctangent is approximate: within a step.
    auto gradients = [](const Bytes& s, uint32_t w, uint32_t h, Shorts* dx, Shorts* dy) {
        dx->resize(w * h), dy->resize(w * h);
        lmvFilterSobel7x7u8s16(s.data(), w, h, 0, dx->data(), dy->data(), 0, LUMIVA_BORDER_REPLICATE, 0);
    };
    rows.push_back({"magnitude", 0, 0,
                    [gradients](const Bytes& s, uint32_t w, uint32_t h) {
                        Shorts dx, dy;
                        gradients(s, w, h, &dx, &dy);
                        return run(w, h, CV_16S, [&](void* d) { lmvMagnitudes16(dx.data(), w, h, 0, dy.data(), 0, static_cast<int16_t*>(d), 0); });
                    },
                    [](const cv::Mat& s) {
                        cv::Mat g = sobels(s, CV_64F, 7, cv::BORDER_REPLICATE), m, o;
                        g.convertTo(g, CV_16S);  // the library's planes saturate the same way
                        g.convertTo(g, CV_64F);
                        cv::magnitude(g.colRange(0, s.cols), g.colRange(s.cols, 2 * s.cols), m);
                        m.convertTo(o, CV_16S);
                        return o;
                    }});
    rows.push_back({"phase", 0, 1,
                    [gradients](const Bytes& s, uint32_t w, uint32_t h) {
                        Shorts dx, dy;
                        gradients(s, w, h, &dx, &dy);
                        cv::Mat o = run(w, h, CV_8U, [&](void* d) { lmvPhases16(dx.data(), w, h, 0, dy.data(), 0, static_cast<uint8_t*>(d), 0); });
                        o.convertTo(o, CV_32S);
                        return o;
                    },
                    [](const cv::Mat& s) {
                        cv::Mat g = sobels(s, CV_16S, 7, cv::BORDER_REPLICATE), f, p, o(s.size(), CV_32S);
                        g.convertTo(f, CV_32F);
                        cv::phase(f.colRange(0, s.cols), f.colRange(s.cols, 2 * s.cols), p);
                        for (int i = 0; i < s.rows * s.cols; ++i)
                            o.at<int32_t>(i) = int(std::lround(p.at<float>(i) * 128 / CV_PI)) & 255;
                        return o;
                    }});
    return rows;
}

std::vector<OracleRow> cannyRows()
{
    std::vector<OracleRow> rows;
    rows.push_back({"canny 3x3", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterCanny3x3u8_v2(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0, 40, 120); });
                    },
                    [](const cv::Mat& s) { cv::Mat o; cv::Canny(s, o, 40, 120); return o; }});
    rows.push_back({"canny 3x3 v3", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        Shorts gx(w * h), gy(w * h);
                        return run(w, h, CV_8U, [&](void* d) {
                            lmvFilterCanny3x3u8_v3(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0, 120, 40, gx.data(), gy.data(), 0);
                        });
                    },
                    [](const cv::Mat& s) { cv::Mat o; cv::Canny(s, o, 40, 120); return o; }});
    for (uint32_t k : {3u, 5u, 7u})
        for (LMV_NORM_TYPE norm : {LUMIVA_NORM_L1, LUMIVA_NORM_L2}) {
            const int low = k == 3 ? 50 : k == 5 ? 400 : 3000, high = 3 * low;
            rows.push_back({"canny", 0, 0,
                            [=](const Bytes& s, uint32_t w, uint32_t h) {
                                return run(w, h, CV_8U, [&](void* d) { lmvFilterCannyu8(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0, low, high, k, norm); });
                            },
                            [=](const cv::Mat& s) { cv::Mat o; cv::Canny(s, o, low, high, int(k), norm == LUMIVA_NORM_L2); return o; }});
        }
    return rows;
}

void compare(const std::vector<OracleRow>& rows)
{
    lmvoracle::compare(rows, scene);
}

TEST_F(EdgeEntries, ThresholdsAndPointOperationsAgainstOpenCV)
{
    compare(pointRows());
}

TEST_F(EdgeEntries, GradientsAgainstOpenCV)
{
    compare(gradientRows());
}

TEST_F(EdgeEntries, CannyAgainstOpenCVEverywhere)
{
    compare(cannyRows());
}

// Hough lines over a Canny edge image: the same votes and the same lines, in the same order.
TEST_F(EdgeEntries, HoughLinesAreOpenCVsLines)
{
    const uint32_t w = 160, h = 120;
    Bytes img(w * h, 0);
    cv::Mat m(int(h), int(w), CV_8U, img.data());
    cv::line(m, {10, 20}, {150, 90}, 255);
    cv::line(m, {40, 110}, {70, 5}, 255);
    cv::rectangle(m, {90, 30}, {130, 70}, 255);
    for (auto [rho, theta, threshold] : {std::make_tuple(1.0f, float(CV_PI / 180), 30u), std::make_tuple(2.0f, 0.05f, 20u)}) {
        std::vector<cv::Vec2f> theirs;
        cv::HoughLines(m, theirs, rho, theta, int(threshold));
        std::vector<float> ours(2 * 64);
        uint32_t count = 0;
        lmvHoughLineu8(img.data(), w, h, 0, rho, theta, threshold, ours.data(), 64, &count);
        ASSERT_EQ(std::min<size_t>(theirs.size(), 64), count) << rho;
        for (uint32_t i = 0; i < count; ++i) {
            EXPECT_EQ(theirs[i][0], ours[2 * i]) << i;
            EXPECT_FLOAT_EQ(theirs[i][1], ours[2 * i + 1]) << i;
        }
    }
}

// Circles: the voting differs from OpenCV's, so the sets are compared geometrically.
TEST_F(EdgeEntries, HoughCirclesFindOpenCVsCircles)
{
    const uint32_t w = 200, h = 150;
    Bytes img(w * h, 30);
    cv::Mat m(int(h), int(w), CV_8U, img.data());
    const cv::Vec3f drawn[3] = {{50, 50, 25}, {145, 55, 35}, {70, 115, 22}};
    for (const cv::Vec3f& c : drawn) cv::circle(m, {int(c[0]), int(c[1])}, int(c[2]), 220, cv::FILLED);
    std::vector<cv::Vec3f> theirs;
    cv::HoughCircles(m, theirs, cv::HOUGH_GRADIENT, 1, 30, 100, 10, 15, 45);
    std::vector<float> ours(3 * 10);
    uint32_t count = 0;
    lmvHoughCircleu8(img.data(), w, h, 0, 1.0f, 30.0f, 100, 10, 15, 45, ours.data(), 10, &count);
    ASSERT_EQ(3u, count);
    for (const cv::Vec3f& c : drawn) {
        auto near = [&](float x, float y, float r) { return std::hypot(x - c[0], y - c[1]) <= 2 && std::fabs(r - c[2]) <= 2; };
        bool found = false, foundByThem = false;
        for (uint32_t i = 0; i < count; ++i) found |= near(ours[3 * i], ours[3 * i + 1], ours[3 * i + 2]);
        for (const cv::Vec3f& t : theirs) foundByThem |= near(t[0], t[1], t[2]);
        EXPECT_TRUE(found) << c;
        EXPECT_TRUE(foundByThem) << c;
    }
}

// Line segments against OpenCV's detector: each of our long segments lies on one of theirs.
TEST_F(EdgeEntries, LineSegmentsLieOnOpenCVsSegments)
{
    const uint32_t w = 160, h = 120;
    Bytes img(w * h, 40);
    cv::Mat m(int(h), int(w), CV_8U, img.data());
    cv::rectangle(m, {30, 25}, {120, 90}, 210, cv::FILLED);
    cv::line(m, {10, 110}, {150, 100}, 255, 3);
    std::vector<cv::Vec4f> theirs;
    cv::createLineSegmentDetector()->detect(m, theirs);
    std::vector<float> ours(4 * 32);
    uint32_t count = 0;
    ASSERT_EQ(LUMIVA_SUCCESS, lmvImageDetectLineSegmentsu8(img.data(), w, h, 0, 20.0f, ours.data(), 32, &count));
    ASSERT_GE(count, 4u);
    for (uint32_t i = 0; i < count; ++i) {
        const float* s = &ours[4 * i];
        bool onTheirs = false;
        for (const cv::Vec4f& t : theirs) {
            // Both end points within 3 pixels of their segment's line, and the directions agree.
            const cv::Point2f a(t[0], t[1]), b(t[2], t[3]), d = b - a;
            const float len = std::hypot(d.x, d.y);
            auto dist = [&](float x, float y) { return std::fabs(d.x * (y - a.y) - d.y * (x - a.x)) / len; };
            const float cosine = std::fabs(d.x * (s[2] - s[0]) + d.y * (s[3] - s[1])) / len /
                                 std::hypot(s[2] - s[0], s[3] - s[1]);
            onTheirs |= len > 10 && dist(s[0], s[1]) < 3 && dist(s[2], s[3]) < 3 && cosine > 0.99f;
        }
        EXPECT_TRUE(onTheirs) << s[0] << "," << s[1] << " - " << s[2] << "," << s[3];
    }
}

#endif  // LUMIVA_WITH_OPENCV

}  // namespace
