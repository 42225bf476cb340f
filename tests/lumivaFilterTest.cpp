// The neighbourhood filters: OpenCV as the oracle wherever it computes the same arithmetic
// (one table over the family), models where it has no peer, worked values for the choices
// that are this library's own (border rules, rounding), and each entry's refusals.
#include "cpu/lumivaFilter.h"
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

// A photograph-like frame: smooth gradients, edges and noise, so both flat windows and
// strong differences occur.
Bytes scene(uint32_t w, uint32_t h, uint32_t seed)
{
    std::mt19937 rng(seed);
    Bytes b(size_t(w) * h);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            int v = int(x * 255 / w / 2 + y * 255 / h / 2) + int(rng() % 21) - 10;
            if ((x / 16 + y / 16) % 3 == 0) v = 255 - v;
            b[size_t(y) * w + x] = uint8_t(std::min(255, std::max(0, v)));
        }
    return b;
}

// Entry calls need the tables a mode call builds.
class FilterEntries : public TablesTest {};

TEST_F(FilterEntries, WorkedValuesOfTheLibrarysOwnRules)
{
    const uint32_t w = 9, h = 7;
    // The 5x5 Gaussian's frame: written only with blurBorder 1, the kernel restricted to the
    // image and the sum divided, rounding, by the weights it used.
    Bytes dot(w * h, 0);
    dot[0] = 255;
    for (auto form : {lmvFilterGaussian5x5u8C, lmvFilterGaussian5x5u8V}) {
        Bytes out(w * h, 7);
        form(dot.data(), w, h, w, out.data(), w, 0);
        EXPECT_EQ(7, out[0]) << "frame untouched";
        EXPECT_EQ((255 + 128) >> 8, out[2 * w + 2]);  // tap 1 x 1
        form(dot.data(), w, h, w, out.data(), w, 1);
        EXPECT_EQ((36 * 255 + 60) / 121, out[0]);         // corner: weights (6+4+1)^2
        EXPECT_EQ((24 * 255 + 82) / 165, out[1]);  // (4+6+4+1) x (6+4+1) weights, tap 4 x 6
    }
    // Box means round half up and have no ties (odd divisors); interior only.
    Bytes flat(w * h, 0), box(w * h, 9);
    for (uint32_t i = 0; i < 4; ++i) flat[(2 + i / 3) * w + 3 + i % 3] = 1;  // a window sum of 4
    lmvBoxFilter3x3u8V(flat.data(), w, h, w, box.data(), w);
    EXPECT_EQ(0, box[3 * w + 4]);
    flat[4 * w + 4] = 1;  // 5: above half
    lmvBoxFilter3x3u8V(flat.data(), w, h, w, box.data(), w);
    EXPECT_EQ(1, box[3 * w + 4]);
    EXPECT_EQ(9, box[0]);
    // The first-generation median copies its frame from the source.
    const Bytes img = scene(w, h, 3);
    Bytes med(w * h, 0);
    lmvFilterMedian3x3u8(img.data(), w, h, med.data());
    for (uint32_t x = 0; x < w; ++x) EXPECT_EQ(img[x], med[x]);
    // Correlation with s8 taps truncates towards minus infinity; convolution rounds.
    const int8_t taps[9] = {0, 0, 0, 0, 3, 0, 0, 0, 0};
    Bytes corr(w * h, 0);
    lmvFilterCorr3x3s8_v2(img.data(), w, h, w, taps, 2, corr.data(), w);
    EXPECT_EQ(img[3 * w + 4] * 3 >> 2, corr[3 * w + 4]);
    const int16_t one[1] = {3};
    std::vector<int16_t> conv(w * h);
    EXPECT_EQ(LUMIVA_SUCCESS, lmvFilterConvolveMxNu8s16(img.data(), w, h, w, one, 1, 1, 2, conv.data(), 0,
                                                        LUMIVA_BORDER_UNDEFINED, 0));
    EXPECT_EQ((img[3 * w + 4] * 3 + 2) >> 2, conv[3 * w + 4]);
}

// The NEON box means divide by a multiply and a shift: every sum a window can reach gives
// the reference's quotient.
TEST(FilterExact, BoxMeansDivideEverySumExactly)
{
    for (uint32_t k : {3u, 5u, 11u}) {
        Bytes win(k * k), ref(k * k, 0), simd(k * k, 0);
        for (uint32_t sum = 0; sum <= 255 * k * k; ++sum) {
            for (uint32_t i = 0; i < k * k; ++i) win[i] = uint8_t(sum / (k * k) + (i < sum % (k * k) ? 1 : 0));
            // A row of 8 + k - 1 columns so the vector loop runs.
            const uint32_t w = 8 + k - 1;
            Bytes src(w * k);
            for (uint32_t y = 0; y < k; ++y)
                for (uint32_t x = 0; x < w; ++x) src[y * w + x] = win[y * k + x % k];
            Bytes a(w * k, 0), b(w * k, 0);
            ilmvBox(ilmvFilterRowsC(), k, src.data(), w, k, w, a.data(), w, LUMIVA_BORDER_UNDEFINED, 0);
            ilmvBox(ilmvFilterRowsV(), k, src.data(), w, k, w, b.data(), w, LUMIVA_BORDER_UNDEFINED, 0);
            ASSERT_EQ(a, b) << "k " << k << " sum " << sum;
            ASSERT_EQ((sum + k * k / 2) / (k * k), a[(k / 2) * w + k / 2]);
        }
    }
}

// The frame against a direct model of each border rule, over every size around the
// thresholds where it switches between padded copies, source rows and side strips: both
// forms share the frame, so only a model catches a frame that reads the wrong pixel.
TEST(FilterExact, TheFrameReadsWhatEachBorderRuleSays)
{
    for (uint32_t k : {3u, 5u, 11u})
        for (uint32_t w = 1; w <= 3 * k + 4; ++w)
            for (uint32_t h : {1u, k - 1, k, k + 1, 2 * k + 1}) {
                const Bytes src = scene(w, h, w * 31 + h);
                const int r = int(k / 2);
                for (LMV_BORDER_TYPE border : {LUMIVA_BORDER_UNDEFINED, LUMIVA_BORDER_CONSTANT, LUMIVA_BORDER_REPLICATE}) {
                    Bytes out(w * h, 0xA5);
                    ASSERT_EQ(LUMIVA_SUCCESS, ilmvBox(ilmvFilterRowsV(), k, src.data(), w, h, w, out.data(), w, border, 201));
                    for (int y = 0; y < int(h); ++y)
                        for (int x = 0; x < int(w); ++x) {
                            const bool inside = x >= r && y >= r && x + r < int(w) && y + r < int(h);
                            uint32_t sum = 0;
                            for (int dy = -r; dy <= r; ++dy)
                                for (int dx = -r; dx <= r; ++dx) {
                                    const int yy = y + dy, xx = x + dx;
                                    const bool in = yy >= 0 && xx >= 0 && yy < int(h) && xx < int(w);
                                    sum += in || border != LUMIVA_BORDER_CONSTANT
                                               ? src[std::clamp(yy, 0, int(h) - 1) * w + std::clamp(xx, 0, int(w) - 1)]
                                               : 201;
                                }
                            const int want = border == LUMIVA_BORDER_UNDEFINED && !inside ? 0xA5 : int((sum + k * k / 2) / (k * k));
                            ASSERT_EQ(want, out[y * w + x]) << k << " " << w << "x" << h << " border " << border << " at "
                                                            << x << "," << y;
                        }
                }
            }
}

// Where the recursion has no peer: a double-precision model of the same two passes, within 1.
TEST_F(FilterEntries, RecursiveBilateralFollowsItsDoubleModel)
{
    const uint32_t w = 40, h = 30;
    const Bytes src = scene(w, h, 11);
    Bytes out(w * h);
    const double sc = 30.0, ss = 4.0;
    ASSERT_EQ(LUMIVA_SUCCESS, lmvBilateralFilterRecursiveu8(src.data(), w, h, 0, out.data(), 0, float(sc), float(ss)));
    std::vector<double> img(src.begin(), src.end());
    const double a = std::exp(-std::sqrt(2.0) / ss);
    auto pass = [&](size_t start, size_t n, size_t step) {
        std::vector<double> f(n), fn(n), b(n), bn(n), x(n);
        for (size_t i = 0; i < n; ++i) x[i] = img[start + i * step];
        auto r = [&](double d) { return std::exp(-std::pow(std::floor(std::fabs(d) + 0.5), 2) / (2 * sc * sc)); };
        f[0] = x[0], fn[0] = 1;
        for (size_t i = 1; i < n; ++i) {
            const double k = a * r(x[i] - x[i - 1]);
            f[i] = x[i] + k * f[i - 1], fn[i] = 1 + k * fn[i - 1];
        }
        b[n - 1] = x[n - 1], bn[n - 1] = 1;
        for (size_t i = n - 1; i-- > 0;) {
            const double k = a * r(x[i] - x[i + 1]);
            b[i] = x[i] + k * b[i + 1], bn[i] = 1 + k * bn[i + 1];
        }
        for (size_t i = 0; i < n; ++i) img[start + i * step] = (f[i] + b[i] - x[i]) / (fn[i] + bn[i] - 1);
    };
    for (uint32_t y = 0; y < h; ++y) pass(size_t(y) * w, w, 1);
    for (uint32_t x = 0; x < w; ++x) pass(x, h, w);
    for (size_t i = 0; i < img.size(); ++i) EXPECT_NEAR(std::floor(img[i] + 0.5), out[i], 1.0) << i;
}

// Local normalisation against a direct model of its window, restricted to the image.
TEST_F(FilterEntries, LocalNormalisationMatchesItsModel)
{
    const uint32_t w = 23, h = 17, pw = 5, ph = 3;
    const Bytes src = scene(w, h, 21);
    std::vector<float> srcF(src.begin(), src.end()), outF(w * h);
    std::vector<int8_t> out8(w * h);
    for (uint32_t use : {0u, 1u}) {
        ASSERT_EQ(LUMIVA_SUCCESS, lmvNormalizeLocalBoxu8(src.data(), w, h, 0, pw, ph, use, out8.data(), 0));
        ASSERT_EQ(LUMIVA_SUCCESS, lmvNormalizeLocalBoxf32(srcF.data(), w, h, 0, pw, ph, use, outF.data(), 0));
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x) {
                double s = 0, q = 0, n = 0;
                for (int dy = -int(ph / 2); dy <= int(ph / 2); ++dy)
                    for (int dx = -int(pw / 2); dx <= int(pw / 2); ++dx) {
                        const int yy = int(y) + dy, xx = int(x) + dx;
                        if (yy < 0 || xx < 0 || yy >= int(h) || xx >= int(w)) continue;
                        const double v = src[yy * w + xx];
                        s += v, q += v * v, n += 1;
                    }
                const double mean = s / n, dev = std::sqrt(std::max(q / n - mean * mean, 0.0));
                const double d = src[y * w + x] - mean;
                const double want8 = use ? (dev > 0 ? 32 * d / dev : 0) : d / 2;
                EXPECT_EQ(std::max(-128.0, std::min(127.0, std::round(want8))), out8[y * w + x]) << x << "," << y;
                EXPECT_NEAR(use ? d / (dev + 1e-6) : d, outF[y * w + x], 1e-3) << x << "," << y;
            }
    }
}

// Status generations refuse unknown borders, even sizes and bad sigmas with status 3 and
// write nothing; older entries log their rule.
TEST_F(FilterEntries, RefusalsWriteNothing)
{
    const uint32_t w = 12, h = 9;
    const Bytes src = scene(w, h, 1);
    Bytes dst(w * h, 0x5A);
    const int16_t taps[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
    std::vector<int16_t> s16(w * h, 0x5A5A), s16src(w * h, 1);
    const std::vector<std::function<LMV_STATUS()>> refused = {
        [&] { return lmvBoxFilter3x3u8_v2(src.data(), w, h, 0, dst.data(), 0, 3, 0); },
        [&] { return lmvFilterDilate3x3u8_v3(src.data(), w, h, 0, dst.data(), 0, -1, 0); },
        [&] { return lmvFilterMedian3x3u8_v3(src.data(), w, h, 0, dst.data(), 0, 7, 0); },
        [&] { return lmvFilterGaussian3x3u8_v3(src.data(), w, h, 0, dst.data(), 0, 3, 0); },
        [&] { return lmvFilterConvolveMxNu8(src.data(), w, h, 0, taps, 2, 3, 4, dst.data(), 0, 0, 0); },
        [&] { return lmvFilterConvolveMxNu8s16(src.data(), w, h, 0, taps, 3, 3, 63, s16.data(), 0, 0, 0); },
        [&] { return lmvFilterMedianMxNs16(s16src.data(), w, h, 0, 3, 4, s16.data(), 0, 0, 0); },
        [&] { return lmvBilateralFilter5x5u8_v2(src.data(), w, h, 0, dst.data(), 0, 0.0f, 2.0f, 0, 0); },
        [&] { return lmvBilateralFilter7x7u8_v2(src.data(), w, h, 0, dst.data(), 0, 10.0f, NAN, 0, 0); },
        [&] { return lmvBilateralFilterRecursiveu8(src.data(), w, h, 0, dst.data(), 0, 10.0f, -1.0f); },
        [&] { return lmvNormalizeLocalBoxu8(src.data(), w, h, 0, 4, 3, 0, reinterpret_cast<int8_t*>(dst.data()), 0); },
        [&] { return lmvBoxFilter3x3u8_v2(nullptr, w, h, 0, dst.data(), 0, 0, 0); },
    };
    for (size_t i = 0; i < refused.size(); ++i) {
        EXPECT_EQ(LUMIVA_BAD_PARAMS, refused[i]()) << i;
        EXPECT_EQ(Bytes(w * h, 0x5A), dst) << i;
        EXPECT_EQ(std::vector<int16_t>(w * h, 0x5A5A), s16) << i;
    }
    LogCapture log;
    lmvFilterDilateNxNu8(src.data(), w, h, 0, 4, dst.data(), 0);
    lmvFilterGaussian11x11u8(src.data(), w, 10, 0, dst.data(), 0);
    lmvFilterMedian3x3u8(src.data(), 0, h, dst.data());
    lmvFilterCorrSepNxNs16(s16src.data(), w, h, 0, taps, 2, 0, s16.data(), 0);
    EXPECT_EQ(Bytes(w * h, 0x5A), dst);
    EXPECT_TRUE(log.contains("lumiva_lib_log", "Assertion failed @lmvFilterGaussian11x11u8: src && dst && width && "
                                               "height && height > 10 && width > 10\n"));
    EXPECT_TRUE(log.contains("lumiva_lib_log", "Assertion failed @lmvFilterMedian3x3u8: src && dst && width && height\n"));
    EXPECT_EQ(4u, log.lines().size());
}

// The no-stride entries run the slot with strides equal to the width, and a v3 entry with
// LUMIVA_BORDER_UNDEFINED leaves the frame as dst held it.
TEST_F(FilterEntries, GenerationsAgreeWhereTheyOverlap)
{
    const uint32_t w = 21, h = 13;
    const Bytes src = scene(w, h, 8);
    Bytes a(w * h, 1), b(w * h, 1), c(w * h, 2);
    lmvFilterErode3x3u8(src.data(), w, h, a.data());
    lmvFilterErode3x3u8_v2(src.data(), w, h, w, b.data(), w);
    EXPECT_EQ(a, b);
    ASSERT_EQ(LUMIVA_SUCCESS, lmvFilterErode3x3u8_v3(src.data(), w, h, 0, c.data(), 0, LUMIVA_BORDER_REPLICATE, 0));
    EXPECT_EQ(a, c) << "a window restricted to the image is the replicated border";
    Bytes d(w * h, 2);
    ASSERT_EQ(LUMIVA_SUCCESS, lmvFilterErode3x3u8_v3(src.data(), w, h, 0, d.data(), 0, LUMIVA_BORDER_UNDEFINED, 0));
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            const bool frame = x == 0 || y == 0 || x == w - 1 || y == h - 1;
            EXPECT_EQ(frame ? 2 : a[y * w + x], d[y * w + x]);
        }
    Bytes g3(w * h, 0), g5(w * h, 0);
    lmvFilterGaussian3x3u8_v2(src.data(), w, h, 0, g3.data(), 0, 0);
    ASSERT_EQ(LUMIVA_SUCCESS, lmvFilterGaussian3x3u8_v3(src.data(), w, h, 0, g5.data(), 0, LUMIVA_BORDER_UNDEFINED, 0));
    EXPECT_EQ(g3, g5) << "the status generation's interior is the first generation's";
    const int8_t taps[9] = {1, -2, 3, 4, 5, -6, 7, 8, -9};
    Bytes v1(w * h, 3), v2(w * h, 3);
    lmvFilterCorr3x3s8(src.data(), w, h, taps, 3, v1.data());
    lmvFilterCorr3x3s8_v2(src.data(), w, h, 0, taps, 3, v2.data(), 0);
    EXPECT_EQ(v1, v2);
}

#ifdef LUMIVA_WITH_OPENCV

// ---- OpenCV as the oracle ---------------------------------------------------------------------

using lmvoracle::asMat;
using lmvoracle::run;
using OracleRow = lmvoracle::Row;

// The source with r pixels of border on every side, as the library's border type defines
// them, so that OpenCV's unbordered result over it is the library's whole image.
cv::Mat bordered(const cv::Mat& src, int r, LMV_BORDER_TYPE border, uint8_t value)
{
    cv::Mat out;
    cv::copyMakeBorder(src, out, r, r, r, r, border == LUMIVA_BORDER_CONSTANT ? cv::BORDER_CONSTANT : cv::BORDER_REPLICATE,
                       cv::Scalar(value));
    return out;
}

// A correlation over the bordered source, exact in doubles, then the library's rounding:
// floor((sum + bias) / 2^shift), saturated.
cv::Mat correlated(const cv::Mat& src, const cv::Mat& kernel, int r, LMV_BORDER_TYPE border, uint8_t value,
                   double bias, int shift, int type)
{
    cv::Mat sums, wide;
    bordered(src, r, border, value).convertTo(wide, CV_64F);
    cv::filter2D(wide, sums, CV_64F, kernel, cv::Point(-1, -1), 0, cv::BORDER_CONSTANT);
    sums = sums(cv::Rect(r, r, src.cols, src.rows));
    cv::Mat out(src.rows, src.cols, type);
    for (int y = 0; y < src.rows; ++y)
        for (int x = 0; x < src.cols; ++x) {
            const double v = std::floor((sums.at<double>(y, x) + bias) / std::ldexp(1.0, shift));
            if (type == CV_8U)
                out.at<uint8_t>(y, x) = cv::saturate_cast<uint8_t>(v);
            else
                out.at<int16_t>(y, x) = cv::saturate_cast<int16_t>(v);
        }
    return out;
}

TEST_F(FilterEntries, EverySlotAgainstOpenCV)
{
    const int16_t binomial9[9] = {1, 8, 28, 56, 70, 56, 28, 8, 1};
    const int8_t sharpen[9] = {0, -1, 0, -1, 5, -1, 0, -1, 0};
    const int16_t emboss[15] = {-2, -1, 0, 1, 2, -3, -1, 0, 1, 3, -2, -1, 0, 1, 2};
    const std::vector<float> blurF = {0.0625f, 0.125f, 0.0625f, 0.125f, 0.25f, 0.125f, 0.0625f, 0.125f, 0.0625f};
    auto k8 = [&](const int8_t* t, int n) { cv::Mat m(n, n, CV_64F); for (int i = 0; i < n * n; ++i) m.at<double>(i / n, i % n) = t[i]; return m; };
    auto flip = [](cv::Mat m) { cv::Mat f; cv::flip(m, f, -1); return f; };
    cv::Mat emb(3, 5, CV_64F);
    for (int i = 0; i < 15; ++i) emb.at<double>(i / 5, i % 5) = emboss[i];
    std::vector<OracleRow> rows;
    for (uint32_t k : {3u, 5u, 11u})
        rows.push_back({"box", int(k / 2), 0,
                        [k](const Bytes& s, uint32_t w, uint32_t h) {
                            return run(w, h, CV_8U, [&](void* d) {
                                auto fn = k == 3 ? lmvBoxFilter3x3u8 : k == 5 ? lmvBoxFilter5x5u8 : lmvBoxFilter11x11u8;
                                fn(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0);
                            });
                        },
                        [k](const cv::Mat& s) { cv::Mat o; cv::blur(s, o, cv::Size(int(k), int(k))); return o; }});
    rows.push_back({"box 3x3 replicate", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvBoxFilter3x3u8_v2(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0, LUMIVA_BORDER_REPLICATE, 0); });
                    },
                    [](const cv::Mat& s) { cv::Mat o; cv::blur(s, o, cv::Size(3, 3), cv::Point(-1, -1), cv::BORDER_REPLICATE); return o; }});
    rows.push_back({"gaussian 5x5", 2, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterGaussian5x5u8(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0, 0); });
                    },
                    [](const cv::Mat& s) { cv::Mat o; cv::GaussianBlur(s, o, cv::Size(5, 5), 0); return o; }});
    rows.push_back({"gaussian 11x11 (binomial)", 5, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterGaussian11x11u8(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0); });
                    },
                    [](const cv::Mat& s) {
                        const double t[11] = {1, 10, 45, 120, 210, 252, 210, 120, 45, 10, 1};
                        cv::Mat k(11, 1, CV_64F, const_cast<double*>(t));
                        return correlated(s, k * k.t(), 5, LUMIVA_BORDER_REPLICATE, 0, 1 << 19, 20, CV_8U);
                    }});
    for (LMV_BORDER_TYPE border : {LUMIVA_BORDER_CONSTANT, LUMIVA_BORDER_REPLICATE})
        rows.push_back({"gaussian 3x3 bordered", 0, 0,
                        [border](const Bytes& s, uint32_t w, uint32_t h) {
                            return run(w, h, CV_8U, [&](void* d) { lmvFilterGaussian3x3u8_v3(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0, border, 77); });
                        },
                        [border](const cv::Mat& s) {
                            cv::Mat k = (cv::Mat_<double>(3, 1) << 1, 2, 1);
                            return correlated(s, k * k.t(), 1, border, 77, 0, 4, CV_8U);
                        }});
    for (uint32_t n : {3u, 7u, 15u})
        for (bool dilate : {true, false})
            rows.push_back({dilate ? "dilate NxN" : "erode NxN", 0, 0,
                            [n, dilate](const Bytes& s, uint32_t w, uint32_t h) {
                                return run(w, h, CV_8U, [&](void* d) {
                                    (dilate ? lmvFilterDilateNxNu8 : lmvFilterErodeNxNu8)(s.data(), w, h, 0, n, static_cast<uint8_t*>(d), 0);
                                });
                            },
                            [n, dilate](const cv::Mat& s) {
                                cv::Mat o, e = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(int(n), int(n)));
                                dilate ? cv::dilate(s, o, e) : cv::erode(s, o, e);
                                return o;
                            }});
    rows.push_back({"dilate 3x3", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterDilate3x3u8_v2(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0); });
                    },
                    [](const cv::Mat& s) { cv::Mat o; cv::dilate(s, o, cv::Mat()); return o; }});
    rows.push_back({"erode 3x3 constant", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterErode3x3u8_v3(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0, LUMIVA_BORDER_CONSTANT, 40); });
                    },
                    [](const cv::Mat& s) { cv::Mat o; cv::erode(s, o, cv::Mat(), cv::Point(-1, -1), 1, cv::BORDER_CONSTANT, cv::Scalar(40)); return o; }});
    rows.push_back({"median 3x3", 1, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterMedian3x3u8_v2(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0); });
                    },
                    [](const cv::Mat& s) { cv::Mat o; cv::medianBlur(s, o, 3); return o; }});
    rows.push_back({"median 3x3 replicate", 0, 0,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterMedian3x3u8_v3(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0, LUMIVA_BORDER_REPLICATE, 0); });
                    },
                    [](const cv::Mat& s) { cv::Mat o; cv::medianBlur(s, o, 3); return o; }});
    rows.push_back({"correlation 3x3 s8", 1, 0,
                    [&](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterCorr3x3s8_v2(s.data(), w, h, 0, sharpen, 1, static_cast<uint8_t*>(d), 0); });
                    },
                    [&](const cv::Mat& s) { return correlated(s, k8(sharpen, 3), 1, LUMIVA_BORDER_REPLICATE, 0, 0, 1, CV_8U); }});
    rows.push_back({"correlation NxN u8 s8", 1, 0,
                    [&](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterCorrNxNu8(s.data(), w, h, 0, sharpen, 3, 0, static_cast<uint8_t*>(d), 0); });
                    },
                    [&](const cv::Mat& s) { return correlated(s, k8(sharpen, 3), 1, LUMIVA_BORDER_REPLICATE, 0, 0, 0, CV_8U); }});
    for (LMV_BORDER_TYPE border : {LUMIVA_BORDER_CONSTANT, LUMIVA_BORDER_REPLICATE}) {
        rows.push_back({"convolution MxN u8 s16", 0, 0,
                        [&, border](const Bytes& s, uint32_t w, uint32_t h) {
                            return run(w, h, CV_16S, [&](void* d) { lmvFilterConvolveMxNu8s16(s.data(), w, h, 0, emboss, 5, 3, 1, static_cast<int16_t*>(d), 0, border, 9); });
                        },
                        [&, border](const cv::Mat& s) { return correlated(s, flip(emb), 2, border, 9, 1, 1, CV_16S); }});
        rows.push_back({"convolution MxN u8", 0, 0,
                        [&, border](const Bytes& s, uint32_t w, uint32_t h) {
                            return run(w, h, CV_8U, [&](void* d) { lmvFilterConvolveMxNu8(s.data(), w, h, 0, emboss, 5, 3, 0, static_cast<uint8_t*>(d), 0, border, 200); });
                        },
                        [&, border](const cv::Mat& s) { return correlated(s, flip(emb), 2, border, 200, 0, 0, CV_8U); }});
    }
    rows.push_back({"separable MxN u8", 4, 0,
                    [&](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvFilterCorrSepMxNu8(s.data(), w, h, 0, binomial9, 9, binomial9 + 2, 5, 12, static_cast<uint8_t*>(d), 0); });
                    },
                    [&](const cv::Mat& s) {
                        cv::Mat kx(1, 9, CV_64F), ky(5, 1, CV_64F);
                        for (int i = 0; i < 9; ++i) kx.at<double>(0, i) = binomial9[i];
                        for (int i = 0; i < 5; ++i) ky.at<double>(i, 0) = binomial9[i + 2];
                        cv::Mat k = ky * kx;  // 5 rows of 9
                        cv::Mat padded = bordered(s, 4, LUMIVA_BORDER_REPLICATE, 0), wide, sums;
                        padded.convertTo(wide, CV_64F);
                        cv::filter2D(wide, sums, CV_64F, k);
                        cv::Mat out(s.rows, s.cols, CV_8U);
                        for (int y = 0; y < s.rows; ++y)
                            for (int x = 0; x < s.cols; ++x)
                                out.at<uint8_t>(y, x) = cv::saturate_cast<uint8_t>(std::floor((sums.at<double>(y + 4, x + 4) + 2048) / 4096));
                        return out;
                    }});
    rows.push_back({"correlation NxN f32", 1, 0,
                    [&](const Bytes& s, uint32_t w, uint32_t h) {
                        cv::Mat f = run(w, h, CV_32F, [&](void* d) { lmvFilterCorrNxNu8f32(s.data(), w, h, 0, blurF.data(), 3, static_cast<float*>(d), 0); });
                        cv::Mat o;
                        f.convertTo(o, CV_16S, 16.0);  // the taps are sixteenths: exact
                        return o;
                    },
                    [&](const cv::Mat& s) {
                        cv::Mat o, k(3, 3, CV_32F, const_cast<float*>(blurF.data()));
                        cv::filter2D(s, o, CV_32F, k);
                        o.convertTo(o, CV_16S, 16.0);
                        return o;
                    }});
    // OpenCV drops the window's four corners (a round window) and weighs in float.
    rows.push_back({"bilateral 5x5", 0, 8,
                    [](const Bytes& s, uint32_t w, uint32_t h) {
                        return run(w, h, CV_8U, [&](void* d) { lmvBilateralFilter5x5u8(s.data(), w, h, 0, static_cast<uint8_t*>(d), 0); });
                    },
                    [](const cv::Mat& s) { cv::Mat o; cv::bilateralFilter(s, o, 5, 50, 2.5, cv::BORDER_REPLICATE); return o; }});

    lmvoracle::compare(rows, scene);
}

TEST_F(FilterEntries, SeparableS16AndValidConvolutionAgainstOpenCV)
{
    const uint32_t w = 40, h = 31;
    std::mt19937 rng(4);
    std::vector<int16_t> src(w * h);
    for (auto& v : src) v = int16_t(rng());
    const int16_t taps[11] = {-3, 10, -45, 120, -210, 252, 210, -120, 45, -10, 1};
    cv::Mat wide;
    cv::Mat(int(h), int(w), CV_16S, src.data()).convertTo(wide, CV_64F);
    for (uint32_t n : {9u, 11u}) {
        std::vector<int16_t> out(w * h, 0);
        (n == 9 ? lmvFilterCorrSep9x9s16 : lmvFilterCorrSep11x11s16)(src.data(), w, h, 0, taps, 14, out.data(), 0);
        cv::Mat k(int(n), 1, CV_64F), sums;
        for (uint32_t i = 0; i < n; ++i) k.at<double>(int(i), 0) = taps[i];
        cv::sepFilter2D(wide, sums, CV_64F, k, k);
        for (uint32_t y = n / 2; y + n / 2 < h; ++y)
            for (uint32_t x = n / 2; x + n / 2 < w; ++x)
                ASSERT_EQ(cv::saturate_cast<int16_t>(std::floor((sums.at<double>(int(y), int(x)) + 8192) / 16384)),
                          out[y * w + x]) << n << " at " << x << "," << y;
    }
    const int16_t kernel[6] = {1, -2, 3, 4, -5, 6};  // 3 wide, 2 high
    std::vector<int16_t> valid((w - 2) * (h - 1));
    lmvConvValids16(src.data(), w, h, 0, kernel, 3, 2, 3, valid.data(), 0);
    cv::Mat k(2, 3, CV_64F), flipped, sums;
    for (int i = 0; i < 6; ++i) k.at<double>(i / 3, i % 3) = kernel[i];
    cv::flip(k, flipped, -1);
    cv::filter2D(wide, sums, CV_64F, flipped, cv::Point(0, 0));
    for (uint32_t y = 0; y + 1 < h; ++y)
        for (uint32_t x = 0; x + 2 < w; ++x)
            ASSERT_EQ(cv::saturate_cast<int16_t>(std::floor((sums.at<double>(int(y), int(x)) + 4) / 8)), valid[y * (w - 2) + x]);
}

#endif  // LUMIVA_WITH_OPENCV

}  // namespace
