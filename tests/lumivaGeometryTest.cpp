// Geometry and resampling: OpenCV as the oracle over the family (exact where it computes the
// same fixed point, within 1 where it rounds its own way), the SIMD forms against the
// reference at real ratios (the generated sweep keeps both sizes equal), properties where
// OpenCV has no peer (tiles, in-place flips, the method the generic downscale picks), worked
// values for this library's own choices, and the refusals.
#include "cpu/lumivaGeometry.h"
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using Bytes = std::vector<uint8_t>;

// Noise over a ramp: every fixed-point weight meets distinct neighbours.
Bytes scene(uint32_t w, uint32_t h, uint32_t channels, uint32_t seed)
{
    std::mt19937 rng(seed);
    Bytes b(size_t(w) * h * channels);
    for (size_t i = 0; i < b.size(); ++i) b[i] = uint8_t((i / channels % w) * 3 + rng() % 160);
    return b;
}

const float kAffine[6] = {0.93f, -0.31f, 9.4f, 0.29f, 0.95f, -6.2f};
const float kProjection[9] = {1.02f, 0.13f, -4.5f, -0.07f, 0.91f, 6.25f, 0.0011f, -0.0008f, 1.0f};

class GeometryEntries : public TablesTest {};

}  // namespace

// The generated sweep gives source and destination one size; resizing is checked here at
// real ratios, up and down, in every method and channel count, on odd sizes and padded rows.
TEST_F(GeometryEntries, SimdResizingGivesTheReferenceBytesAtRealRatios)
{
    for (auto [w, h] : {std::make_pair(1u, 1u), std::make_pair(7u, 5u), std::make_pair(33u, 17u), std::make_pair(97u, 31u)})
        for (auto [dw, dh] : {std::make_pair(w * 3 / 4 + 1, h * 2 / 3 + 1), std::make_pair(2 * w, 2 * h),
                              std::make_pair(w * 2 + 3, h + 1), std::make_pair((w + 1) / 2, (h + 1) / 2)})
            for (uint32_t ch : {1u, 2u}) {
                const uint32_t ss = w * ch + 3, ds = dw * ch + 5;
                const Bytes src = scene(ss / ch + 1, h, ch, w * dw);
                for (int mode = 0; mode < 4; ++mode) {
                    SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h) + " to " + std::to_string(dw) + "x" +
                                 std::to_string(dh) + " mode " + std::to_string(mode) + " ch " + std::to_string(ch));
                    Bytes a(size_t(ds) * dh, 1), b = a;
                    if (ch == 1) {
                        EXPECT_EQ(LUMIVA_SUCCESS, lmvScaleu8C(src.data(), w, h, ss, a.data(), dw, dh, ds, mode));
                        EXPECT_EQ(LUMIVA_SUCCESS, lmvScaleu8V(src.data(), w, h, ss, b.data(), dw, dh, ds, mode));
                    } else if (mode == 2) {
                        lmvScaleDownMNInterleaveu8C(src.data(), w, h, ss, a.data(), dw, dh, ds);
                        lmvScaleDownMNInterleaveu8V(src.data(), w, h, ss, b.data(), dw, dh, ds);
                    } else if (mode == 3) {
                        lmvScaleUpPolyInterleaveu8C(src.data(), w, h, ss, a.data(), dw, dh, ds);
                        lmvScaleUpPolyInterleaveu8V(src.data(), w, h, ss, b.data(), dw, dh, ds);
                    }
                    EXPECT_EQ(a, b);
                }
            }
}

// Warps and remaps whose samples mostly land inside, so the vector sampler's runs of eight
// meet the frame's edges and border rules in every combination; odd sizes, padded rows.
TEST_F(GeometryEntries, SimdWarpsGiveTheReferenceBytesOnRealMotions)
{
    for (const auto& size : {std::make_pair(131u, 67u), std::make_pair(9u, 40u)}) {
        const uint32_t w = size.first, h = size.second;
        const uint32_t ss = w * 4 + 5, dw = w + 7, dh = h - 2, ds = dw * 4 + 3;
        const Bytes src = scene(ss, h, 1, w);
        std::vector<float> mx(size_t(dw) * dh), my(mx.size());
        for (size_t i = 0; i < mx.size(); ++i)
            mx[i] = float(i % dw) * 0.93f + 0.25f * float(i % 5), my[i] = float(i / dw) * 1.07f - 0.5f * float(i % 3);
        for (int interpolation : {0, 1})
            for (int border : {LUMIVA_BORDER_UNDEFINED, LUMIVA_BORDER_CONSTANT, LUMIVA_BORDER_REPLICATE}) {
                SCOPED_TRACE(std::to_string(w) + " interpolation " + std::to_string(interpolation) + " border " + std::to_string(border));
                const std::vector<std::function<void(bool, uint8_t*, uint32_t*)>> calls = {
                    [&](bool v, uint8_t* d, uint32_t* e) { (v ? lmvTransformAffineClippedu8_v3V : lmvTransformAffineClippedu8_v3C)(src.data(), w, h, ss, kAffine, d, dw, dh, ds, e, interpolation, border, 17); },
                    [&](bool v, uint8_t* d, uint32_t*) { (v ? lmvWarpPerspectiveu8_v3V : lmvWarpPerspectiveu8_v3C)(src.data(), w, h, ss, d, dw, dh, ds, kProjection, interpolation, border, 17); },
                    [&](bool v, uint8_t* d, uint32_t*) { (v ? lmvRemapu8_v2V : lmvRemapu8_v2C)(src.data(), w, h, ss, d, dw, dh, ds, mx.data(), my.data(), 4 * dw, interpolation, border, 17); },
                    [&](bool v, uint8_t* d, uint32_t*) { (v ? lmvRemapRGBA8888BLu8V : lmvRemapRGBA8888BLu8C)(src.data(), w, h, ss, d, dw, dh, ds, mx.data(), my.data(), 4 * dw); },
                    [&](bool v, uint8_t* d, uint32_t*) { (v ? lmv3ChannelTransformAffineClippedBCu8V : lmv3ChannelTransformAffineClippedBCu8C)(src.data(), w, h, ss, kAffine, d, dw, dh, ds, nullptr); },
                };
                for (size_t k = 0; k < calls.size(); ++k) {
                    Bytes a(size_t(ds) * dh, 5), b = a;
                    std::vector<uint32_t> ea(2 * dh, 1), eb = ea;
                    calls[k](false, a.data(), ea.data());
                    calls[k](true, b.data(), eb.data());
                    EXPECT_EQ(a, b) << k;
                    EXPECT_EQ(ea, eb) << k;
                }
            }
    }
}

// Every bicubic table sums to 32768, so a flat image stays flat at every phase.
TEST_F(GeometryEntries, BicubicTablesSumToOne)
{
    for (uint32_t fy = 0; fy < 32; ++fy)
        for (uint32_t fx = 0; fx < 32; ++fx) {
            const int16_t* w = ilmvCubicWeights(fx, fy);
            int sum = 0;
            for (int k = 0; k < 16; ++k) sum += w[k];
            EXPECT_EQ(32768, sum) << fx << " " << fy;
        }
}

// What this library chose where no peer decides: the clipped extent, truncating means,
// half-up rounding of the up-sampling, tiles equal to the whole frame, flips in place, the
// method the generic downscale picks, the offset resize as a warp.
TEST_F(GeometryEntries, WorkedValuesAndPropertiesOfTheLibrarysOwnRules)
{
    const uint32_t w = 8, h = 6;
    const Bytes src = scene(w, h, 1, 7);
    const float identity[6] = {1, 0, 0, 0, 1, 0}, lifted[6] = {1, 0, 0, 0, 1, 100};
    Bytes dst(10 * h, 0);
    std::vector<uint32_t> extent(2 * h);
    EXPECT_EQ(LUMIVA_SUCCESS, lmvTransformAffineClippedu8_v2(src.data(), w, h, w, identity, dst.data(), 10, h, 10, extent.data(), LUMIVA_INTERPOLATION_BILINEAR));
    EXPECT_EQ(0u, extent[0]);
    EXPECT_EQ(w - 2, extent[1]);  // column 7 needs column 8 for its 2x2
    EXPECT_EQ(LUMIVA_SUCCESS, lmvTransformAffineClippedu8_v2(src.data(), w, h, w, identity, dst.data(), 10, h, 10, extent.data(), LUMIVA_INTERPOLATION_NEAREST));
    EXPECT_EQ(w - 1, extent[1]);
    lmvTransformAffineClippedu8(src.data(), w, h, w, lifted, dst.data(), 10, h, 10, extent.data());
    EXPECT_EQ(10u, extent[0]);  // no column inside: dstWidth, 0
    EXPECT_EQ(0u, extent[1]);

    // A 4x4 block summing to 17 gives 1; a 3x3 block's corner output weighs 4 2 1 / 2 1 / 9.
    Bytes block(16, 1), out(1);
    block[5] = 2;
    lmvScaleDownBy4u8(block.data(), 4, 4, 4, out.data(), 1);
    EXPECT_EQ(1, out[0]);
    const Bytes thirds = {9, 0, 0, 0, 0, 0, 0, 0, 0};
    Bytes two(4);
    lmvScaleDown3To2u8(thirds.data(), 3, 3, 3, two.data(), 2);
    EXPECT_EQ(Bytes({4, 0, 0, 0}), two);  // 9 x 4 / 9 = 4
    const Bytes ramp = {0, 2};
    Bytes up(4);
    lmvUpsampleHorizontalu8(ramp.data(), 2, 1, 2, up.data(), 4);
    EXPECT_EQ(Bytes({0, 1, 2, 2}), up);  // (0 + 2 + 2) >> 2 rounds the half up

    // Four tiles give the whole frame's bytes and touch nothing else.
    const uint32_t fw = 37, fh = 23;
    const Bytes frame = scene(fw, fh, 1, 3);
    Bytes whole(fw * fh, 9), tiled(fw * fh, 9);
    EXPECT_EQ(LUMIVA_SUCCESS, lmvWarpPerspectiveu8_v3(frame.data(), fw, fh, fw, whole.data(), fw, fh, fw, kProjection, 1, LUMIVA_BORDER_CONSTANT, 3));
    for (uint32_t ty : {0u, 11u})
        for (uint32_t tx : {0u, 20u})
            EXPECT_EQ(LUMIVA_SUCCESS, lmvWarpPerspectiveu8_v4(frame.data(), fw, fh, fw, tiled.data(), fw, fh, fw, kProjection, 1, LUMIVA_BORDER_CONSTANT, 3, tx, ty, tx ? fw - tx : tx + 20, ty ? fh - ty : 11));
    EXPECT_EQ(whole, tiled);

    // In place, every direction: the same bytes as into another buffer.
    for (int d : {1, 2, 3}) {
        Bytes inPlace = frame, apart(fw * fh);
        lmvFlipu8(frame.data(), fw, fh, fw, apart.data(), fw, d);
        lmvFlipu8(inPlace.data(), fw, fh, fw, inPlace.data(), fw, d);
        EXPECT_EQ(apart, inPlace) << d;
    }

    // The generic downscale: the truncated 2x2 and 4x4 means at exact halves and quarters.
    Bytes picked(fw * fh), special(fw * fh);
    lmvScaleDownu8(frame.data(), 36, 20, fw, picked.data(), 18, 10, 18);
    lmvScaleDownBy2u8_v2(frame.data(), 36, 20, fw, special.data(), 18);
    EXPECT_EQ(special, picked);
    lmvScaleDownu8(frame.data(), 36, 20, fw, picked.data(), 9, 5, 9);
    lmvScaleDownBy4u8(frame.data(), 36, 20, fw, special.data(), 9);
    EXPECT_EQ(special, picked);
    lmvScaleDownu8(frame.data(), fw, fh, fw, picked.data(), 20, 13, 20);
    lmvScaleDownMNu8(frame.data(), fw, fh, fw, special.data(), 20, 13, 20);
    EXPECT_EQ(special, picked);

    // The offset resize is the affine warp of its mapping; with area and no offset, lmvScaleu8.
    Bytes a(20 * 13, 0), b = a;
    EXPECT_EQ(LUMIVA_SUCCESS, lmvScaleu8_v2(frame.data(), fw, fh, fw, a.data(), 20, 13, 20, LUMIVA_INTERPOLATION_AREA, LUMIVA_BORDER_UNDEFINED, 0, 0, 0));
    EXPECT_EQ(LUMIVA_SUCCESS, lmvScaleu8(frame.data(), fw, fh, fw, b.data(), 20, 13, 20, LUMIVA_INTERPOLATION_AREA));
    EXPECT_EQ(a, b);
    const float sx = 37.0f / 20, sy = 23.0f / 13;
    const float m[6] = {sx, 0, 0.5f * sx - 0.5f + 1.25f, 0, sy, 0.5f * sy - 0.5f - 2.0f};
    EXPECT_EQ(LUMIVA_SUCCESS, lmvScaleu8_v2(frame.data(), fw, fh, fw, a.data(), 20, 13, 20, LUMIVA_INTERPOLATION_BILINEAR, LUMIVA_BORDER_REPLICATE, 0, 1.25f, -2.0f));
    EXPECT_EQ(LUMIVA_SUCCESS, lmvTransformAffineClippedu8_v3(frame.data(), fw, fh, fw, m, b.data(), 20, 13, 20, nullptr, LUMIVA_INTERPOLATION_BILINEAR, LUMIVA_BORDER_REPLICATE, 0));
    EXPECT_EQ(a, b);
}

// Status generations refuse unknown methods, borders, rotations and tiles with status 3 and
// write nothing; older entries log their rule.
TEST_F(GeometryEntries, RefusalsWriteNothing)
{
    const uint32_t w = 12, h = 9;
    const Bytes src = scene(w, h, 1, 5);
    Bytes dst(w * h * 2, 0x5A);
    uint32_t extent[18];
    std::vector<float> mx(w * h, 1.0f), my(w * h, 1.0f);
    const std::vector<std::function<LMV_STATUS()>> refused = {
        [&] { return lmvTransformAffineClippedu8_v2(src.data(), w, h, 0, kAffine, dst.data(), w, h, 0, extent, LUMIVA_INTERPOLATION_AREA); },
        [&] { return lmvTransformAffineClippedu8_v3(src.data(), w, h, 0, kAffine, dst.data(), w, h, 0, nullptr, 1, 3, 0); },
        [&] { return lmvWarpPerspectiveu8_v3(src.data(), w, h, 0, dst.data(), w, h, 0, kProjection, LUMIVA_INTERPOLATION_BICUBIC, 0, 0); },
        [&] { return lmvWarpPerspectiveu8_v4(src.data(), w, h, 0, dst.data(), w, h, 0, kProjection, 1, 0, 0, 4, 4, 9, 2); },
        [&] { return lmvWarpPerspectiveu8_v4(src.data(), w, h, 0, dst.data(), w, h, 0, kProjection, 1, 0, 0, 0, 0, 0, 2); },
        [&] { return lmvRemapu8_v2(src.data(), w, h, 0, dst.data(), w, h, 0, mx.data(), my.data(), 0, 5, 0, 0); },
        [&] { return lmvScaleu8(src.data(), w, h, 0, dst.data(), 5, 4, 0, 4); },
        [&] { return lmvScaleu8_v2(src.data(), w, h, 0, dst.data(), 5, 4, 0, LUMIVA_INTERPOLATION_AREA, 0, 0, 0.5f, 0); },
        [&] { return lmvScaleu8_v2(src.data(), w, h, 0, dst.data(), 5, 4, 0, 1, 7, 0, 0, 0); },
        [&] { return lmvRotateImageu8(src.data(), w, h, 0, dst.data(), 0, 0); },
        [&] { return lmvRotateImageInterleavedu8(src.data(), w / 2, h, 0, dst.data(), 0, 4); },
        [&] { return lmvRotateImageu8(src.data(), w, h, 0, dst.data(), h - 1, LUMIVA_ROTATE_90); },
    };
    for (size_t i = 0; i < refused.size(); ++i) {
        EXPECT_EQ(LUMIVA_BAD_PARAMS, refused[i]()) << i;
        EXPECT_EQ(Bytes(w * h * 2, 0x5A), dst) << i;
    }
    LogCapture log;
    lmvFlipu8(src.data(), w, h, 0, dst.data(), 0, 0);
    lmvRemapu8(src.data(), w, h, 0, dst.data(), w, h, 0, mx.data(), my.data(), 0, LUMIVA_INTERPOLATION_BICUBIC);
    lmvScaleDownBLu8(src.data(), w, h, 0, dst.data(), w + 1, h, 0);
    lmvScaleUpPolyu8(src.data(), w, h, 0, dst.data(), w - 1, h, 0);
    EXPECT_EQ(Bytes(w * h * 2, 0x5A), dst);
    EXPECT_EQ(4u, log.lines().size());
    EXPECT_TRUE(log.contains("lumiva_lib_log", "Assertion failed @lmvFlipu8: src && dst && srcWidth && srcHeight && (srcStride >= srcWidth) && (dstStride >= srcWidth) && (direction >= 1) && (direction <= 3)\n"));
}

#ifdef LUMIVA_WITH_OPENCV
namespace {

// Smooth maps with exact halves, a few NaN and far-away positions.
void maps(uint32_t w, uint32_t h, std::vector<float>& mx, std::vector<float>& my)
{
    mx.resize(size_t(w) * h), my.resize(size_t(w) * h);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            const size_t i = size_t(y) * w + x;
            mx[i] = 0.87f * x + 2.5f * std::sin(y * 0.3f) + (x % 7 == 0 ? 0.5f : 0.0f) - 1.0f;
            my[i] = 0.9f * y + 0.031f * x + (y % 5 == 0 ? 0.5f : 0.0f) - 0.75f;
        }
    mx[3] = NAN, my[size_t(w) + 1] = 1e9f;
}


struct Pair {
    cv::Mat ours, theirs;
    cv::Mat mask;  // where to compare; empty: everywhere
};

struct OracleRow {
    const char* name;
    int tolerance;
    std::function<Pair(const cv::Mat& src1, const cv::Mat& src2, const cv::Mat& src4)> run;
};

cv::Mat filled(int rows, int cols, int type)
{
    return cv::Mat(rows, cols, type, cv::Scalar::all(77));
}

cv::Mat affineOf(const float* m)
{
    return (cv::Mat_<double>(2, 3) << m[0], m[1], m[2], m[3], m[4], m[5]);
}

cv::Mat projectionOf(const float* m)
{
    return (cv::Mat_<double>(3, 3) << m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8]);
}

// dst sizes of the warps: a little wider and lower than the source.
cv::Size warpSize(const cv::Mat& s)
{
    return {s.cols + 5, s.rows - 3};
}

Pair affineRow(const cv::Mat& s, int interpolation, int border, int cvFlags, int cvBorder)
{
    const cv::Size d = warpSize(s);
    Pair p{filled(d.height, d.width, CV_8UC1), filled(d.height, d.width, CV_8UC1), {}};
    EXPECT_EQ(LUMIVA_SUCCESS, lmvTransformAffineClippedu8_v3(s.data, s.cols, s.rows, s.step, kAffine, p.ours.data,
                                                             d.width, d.height, p.ours.step, nullptr, interpolation,
                                                             border, 99));
    cv::warpAffine(s, p.theirs, affineOf(kAffine), d, cvFlags | cv::WARP_INVERSE_MAP, cvBorder, cv::Scalar::all(99));
    return p;
}

Pair perspectiveRow(const cv::Mat& s, int interpolation, int border, int cvFlags, int cvBorder)
{
    const cv::Size d = warpSize(s);
    Pair p{filled(d.height, d.width, CV_8UC1), filled(d.height, d.width, CV_8UC1), {}};
    EXPECT_EQ(LUMIVA_SUCCESS, lmvWarpPerspectiveu8_v3(s.data, s.cols, s.rows, s.step, p.ours.data, d.width, d.height,
                                                      p.ours.step, kProjection, interpolation, border, 99));
    cv::warpPerspective(s, p.theirs, projectionOf(kProjection), d, cvFlags | cv::WARP_INVERSE_MAP, cvBorder,
                        cv::Scalar::all(99));
    return p;
}

using Resize = std::function<void(const cv::Mat& s, cv::Mat& d)>;

Pair resizeRow(const cv::Mat& s, cv::Size d, int cvInterpolation, const Resize& ours)
{
    Pair p{filled(d.height, d.width, s.type()), {}, {}};
    ours(s, p.ours);
    cv::resize(s, p.theirs, d, 0, 0, cvInterpolation);
    return p;
}

Pair remapRow(const cv::Mat& s, int cn, int interpolation, int cvInterpolation, int cvBorder, int border)
{
    const cv::Size d = warpSize(s);
    std::vector<float> mx, my;
    maps(d.width, d.height, mx, my);
    cv::Mat mapX(d, CV_32F, mx.data()), mapY(d, CV_32F, my.data());
    Pair p{filled(d.height, d.width, CV_8UC(cn)), filled(d.height, d.width, CV_8UC(cn)), {}};
    const uint32_t ms = d.width * 4;
    if (cn == 4 && interpolation) lmvRemapRGBA8888BLu8(s.data, s.cols, s.rows, s.step, p.ours.data, d.width, d.height, p.ours.step, mx.data(), my.data(), ms);
    else if (cn == 4) lmvRemapRGBA8888NNu8(s.data, s.cols, s.rows, s.step, p.ours.data, d.width, d.height, p.ours.step, mx.data(), my.data(), ms);
    else EXPECT_EQ(LUMIVA_SUCCESS, lmvRemapu8_v2(s.data, s.cols, s.rows, s.step, p.ours.data, d.width, d.height, p.ours.step, mx.data(), my.data(), ms, interpolation, border, 99));
    cv::remap(s, p.theirs, mapX, mapY, cvInterpolation, cvBorder, cv::Scalar::all(99));
    return p;
}

std::vector<OracleRow> oracleRows()
{
    using namespace cv;
    const int U = LUMIVA_BORDER_UNDEFINED, C = LUMIVA_BORDER_CONSTANT, R = LUMIVA_BORDER_REPLICATE;
    std::vector<OracleRow> rows = {
        {"affine bilinear, unwritten outside", 0, [=](auto& s, auto&, auto&) { return affineRow(s, 1, U, INTER_LINEAR, BORDER_TRANSPARENT); }},
        {"affine nearest, unwritten outside", 0, [=](auto& s, auto&, auto&) { return affineRow(s, 0, U, INTER_NEAREST, BORDER_TRANSPARENT); }},
        {"affine bilinear, constant", 0, [=](auto& s, auto&, auto&) { return affineRow(s, 1, C, INTER_LINEAR, BORDER_CONSTANT); }},
        {"affine nearest, replicate", 0, [=](auto& s, auto&, auto&) { return affineRow(s, 0, R, INTER_NEAREST, BORDER_REPLICATE); }},
        {"lmvTransformAffineu8_v2 (replicate)", 0, [](auto& s, auto&, auto&) {
             const cv::Size d = warpSize(s);
             Pair p{filled(d.height, d.width, CV_8UC1), {}, {}};
             lmvTransformAffineu8_v2(s.data, s.cols, s.rows, s.step, kAffine, p.ours.data, d.width, d.height, p.ours.step);
             cv::warpAffine(s, p.theirs, affineOf(kAffine), d, INTER_LINEAR | WARP_INVERSE_MAP, BORDER_REPLICATE);
             return p;
         }},
        {"RGB888 bicubic affine, where the 4x4 lies inside", 0, [](auto&, auto&, auto&) {
             const Bytes b = scene(61, 45, 3, 9);
             const cv::Mat s(45, 61, CV_8UC3, const_cast<uint8_t*>(b.data()));
             const cv::Size d = warpSize(s);
             Pair p{filled(d.height, d.width, CV_8UC3), filled(d.height, d.width, CV_8UC3), cv::Mat::zeros(d, CV_8UC1)};
             std::vector<uint32_t> extent(2 * d.height);
             lmv3ChannelTransformAffineClippedBCu8(s.data, s.cols, s.rows, s.step, kAffine, p.ours.data, d.width, d.height, p.ours.step, extent.data());
             cv::warpAffine(s, p.theirs, affineOf(kAffine), d, INTER_CUBIC | WARP_INVERSE_MAP, BORDER_TRANSPARENT);
             for (int y = 0; y < d.height; ++y)
                 if (extent[2 * y] <= extent[2 * y + 1]) p.mask(cv::Rect(extent[2 * y], y, extent[2 * y + 1] - extent[2 * y] + 1, 1)) = cv::Scalar::all(1);
             return p;
         }},
        {"perspective nearest, unwritten outside", 0, [=](auto& s, auto&, auto&) { return perspectiveRow(s, 0, U, INTER_NEAREST, BORDER_TRANSPARENT); }},
        {"perspective bilinear, unwritten outside", 0, [=](auto& s, auto&, auto&) { return perspectiveRow(s, 1, U, INTER_LINEAR, BORDER_TRANSPARENT); }},
        {"perspective bilinear, replicate", 0, [=](auto& s, auto&, auto&) { return perspectiveRow(s, 1, R, INTER_LINEAR, BORDER_REPLICATE); }},
        {"perspective nearest, constant", 0, [=](auto& s, auto&, auto&) { return perspectiveRow(s, 0, C, INTER_NEAREST, BORDER_CONSTANT); }},
        {"RGB888 perspective (packed)", 0, [](auto&, auto&, auto&) {
             const Bytes b = scene(50, 41, 3, 4);
             const cv::Mat s(41, 50, CV_8UC3, const_cast<uint8_t*>(b.data()));
             const cv::Size d = warpSize(s);
             Pair p{filled(d.height, d.width, CV_8UC3), filled(d.height, d.width, CV_8UC3), {}};
             lmv3ChannelWarpPerspectiveu8(s.data, s.cols, s.rows, p.ours.data, d.width, d.height, kProjection);
             cv::warpPerspective(s, p.theirs, projectionOf(kProjection), d, INTER_NEAREST | WARP_INVERSE_MAP, BORDER_TRANSPARENT);
             return p;
         }},
        {"remap bilinear, unwritten outside", 0, [=](auto& s, auto&, auto&) { return remapRow(s, 1, 1, INTER_LINEAR, BORDER_TRANSPARENT, U); }},
        {"remap nearest, replicate", 0, [=](auto& s, auto&, auto&) { return remapRow(s, 1, 0, INTER_NEAREST, BORDER_REPLICATE, R); }},
        {"remap bilinear, constant", 0, [=](auto& s, auto&, auto&) { return remapRow(s, 1, 1, INTER_LINEAR, BORDER_CONSTANT, C); }},
        {"RGBA remap bilinear", 0, [=](auto&, auto&, auto& s4) { return remapRow(s4, 4, 1, INTER_LINEAR, BORDER_TRANSPARENT, U); }},
        {"RGBA remap nearest", 0, [=](auto&, auto&, auto& s4) { return remapRow(s4, 4, 0, INTER_NEAREST, BORDER_TRANSPARENT, U); }},
        {"8x8 affine patches", 0, [](auto& s, auto&, auto&) {
             const float pos[4] = {20.3f, 17.8f, 2.0f, 3.5f}, aff[8] = {0.9f, -0.4f, 0.35f, 1.1f, 1.0f, 0.0f, 0.0f, 1.0f};
             Pair p{cv::Mat(16, 8, CV_8UC1), cv::Mat(16, 8, CV_8UC1), {}};
             int32_t status[2];
             lmvTransformAffine8x8u8(s.data, s.cols, s.rows, s.step, pos, aff, 2, p.ours.data, status);
             EXPECT_EQ(0, status[0]);
             EXPECT_EQ(1, status[1]);
             for (int k = 0; k < 2; ++k) {
                 const double a = aff[4 * k], b = aff[4 * k + 1], c = aff[4 * k + 2], d = aff[4 * k + 3];
                 const cv::Mat m = (cv::Mat_<double>(2, 3) << a, b, double(pos[2 * k]) - 3.5 * a - 3.5 * b, c, d, double(pos[2 * k + 1]) - 3.5 * c - 3.5 * d);
                 cv::Mat patch = p.theirs(cv::Rect(0, 8 * k, 8, 8));
                 cv::warpAffine(s, patch, m, {8, 8}, INTER_LINEAR | WARP_INVERSE_MAP, BORDER_REPLICATE);
             }
             return p;
         }},
        // Resizing.
        {"nearest resize down", 0, [](auto& s, auto&, auto&) { return resizeRow(s, {s.cols * 5 / 8, s.rows * 2 / 3}, INTER_NEAREST, [](auto& a, auto& d) { lmvScaleDownNNu8(a.data, a.cols, a.rows, a.step, d.data, d.cols, d.rows, d.step); }); }},
        {"nearest resize up (lmvScaleu8)", 0, [](auto& s, auto&, auto&) { return resizeRow(s, {s.cols * 3 / 2 + 1, s.rows * 2}, INTER_NEAREST, [](auto& a, auto& d) { lmvScaleu8(a.data, a.cols, a.rows, a.step, d.data, d.cols, d.rows, d.step, LUMIVA_INTERPOLATION_NEAREST); }); }},
        {"bilinear resize 0.75", 1, [](auto& s, auto&, auto&) { return resizeRow(s, {s.cols * 3 / 4, s.rows * 3 / 4}, INTER_LINEAR, [](auto& a, auto& d) { lmvScaleDownBLu8(a.data, a.cols, a.rows, a.step, d.data, d.cols, d.rows, d.step); }); }},
        {"bilinear resize 2.0", 1, [](auto& s, auto&, auto&) { return resizeRow(s, {s.cols * 2, s.rows * 2}, INTER_LINEAR, [](auto& a, auto& d) { lmvScaleu8(a.data, a.cols, a.rows, a.step, d.data, d.cols, d.rows, d.step, LUMIVA_INTERPOLATION_BILINEAR); }); }},
        {"area resize, half (exact)", 0, [](auto& s, auto&, auto&) { return resizeRow(s(cv::Rect(0, 0, s.cols / 2 * 2, s.rows / 2 * 2)), {s.cols / 2, s.rows / 2}, INTER_AREA, [](auto& a, auto& d) { lmvScaleDownMNu8(a.data, a.cols, a.rows, a.step, d.data, d.cols, d.rows, d.step); }); }},
        {"area resize, 0.6", 1, [](auto& s, auto&, auto&) { return resizeRow(s, {s.cols * 3 / 5, s.rows * 3 / 5}, INTER_AREA, [](auto& a, auto& d) { lmvScaleDownMNu8(a.data, a.cols, a.rows, a.step, d.data, d.cols, d.rows, d.step); }); }},
        {"area resize of CbCr pairs", 1, [](auto&, auto& s2, auto&) { return resizeRow(s2, {s2.cols * 2 / 3, s2.rows / 2}, INTER_AREA, [](auto& a, auto& d) { lmvScaleDownMNInterleaveu8(a.data, a.cols, a.rows, a.step, d.data, d.cols, d.rows, d.step); }); }},
        {"bicubic resize up", 1, [](auto& s, auto&, auto&) { return resizeRow(s, {s.cols * 7 / 4, s.rows * 3 / 2}, INTER_CUBIC, [](auto& a, auto& d) { lmvScaleUpPolyu8(a.data, a.cols, a.rows, a.step, d.data, d.cols, d.rows, d.step); }); }},
        {"bicubic resize up of CbCr pairs", 1, [](auto&, auto& s2, auto&) { return resizeRow(s2, {s2.cols * 2, s2.rows * 2}, INTER_CUBIC, [](auto& a, auto& d) { lmvScaleUpPolyInterleaveu8(a.data, a.cols, a.rows, a.step, d.data, d.cols, d.rows, d.step); }); }},
        {"quarter (truncated against rounded)", 1, [](auto& s, auto&, auto&) { return resizeRow(s(cv::Rect(0, 0, s.cols / 4 * 4, s.rows / 4 * 4)), {s.cols / 4, s.rows / 4}, INTER_AREA, [](auto& a, auto& d) { lmvScaleDownBy4u8(a.data, a.cols, a.rows, a.step, d.data, d.step); }); }},
        {"two thirds", 1, [](auto& s, auto&, auto&) { return resizeRow(s(cv::Rect(0, 0, s.cols / 3 * 3, s.rows / 3 * 3)), {s.cols / 3 * 2, s.rows / 3 * 2}, INTER_AREA, [](auto& a, auto& d) { lmvScaleDown3To2u8(a.data, a.cols, a.rows, a.step, d.data, d.step); }); }},
        {"up-sampling 2D", 1, [](auto& s, auto&, auto&) { return resizeRow(s, {s.cols * 2, s.rows * 2}, INTER_LINEAR, [](auto& a, auto& d) { lmvUpsample2Du8(a.data, a.cols, a.rows, a.step, d.data, d.step); }); }},
        {"up-sampling across", 1, [](auto& s, auto&, auto&) { return resizeRow(s, {s.cols * 2, s.rows}, INTER_LINEAR, [](auto& a, auto& d) { lmvUpsampleHorizontalu8(a.data, a.cols, a.rows, a.step, d.data, d.step); }); }},
        {"up-sampling down", 1, [](auto& s, auto&, auto&) { return resizeRow(s, {s.cols, s.rows * 2}, INTER_LINEAR, [](auto& a, auto& d) { lmvUpsampleVerticalu8(a.data, a.cols, a.rows, a.step, d.data, d.step); }); }},
        {"up-sampling 2D of CbCr pairs", 1, [](auto&, auto& s2, auto&) { return resizeRow(s2, {s2.cols * 2, s2.rows * 2}, INTER_LINEAR, [](auto& a, auto& d) { lmvUpsample2DInterleavedu8(a.data, a.cols, a.rows, a.step, d.data, d.step); }); }},
        {"5x5 doubling (pyrUp)", 0, [](auto& s, auto&, auto&) {
             Pair p{filled(s.rows * 2, s.cols * 2, CV_8UC1), {}, {}};
             lmvScaleUpBy2Gaussian5x5u8(s.data, s.cols, s.rows, s.step, p.ours.data, p.ours.step);
             cv::pyrUp(s, p.theirs);
             return p;
         }},
        {"3x3 Gaussian decimation", 0, [](auto& s, auto&, auto&) {
             Pair p{filled(s.rows / 2, s.cols / 2, CV_8UC1), {}, {}};
             EXPECT_EQ(LUMIVA_SUCCESS, lmvScaleDownBy2Gaussian3x3u8(s.data, s.cols, s.rows, s.step, p.ours.data, p.ours.step));
             cv::Mat blurred;
             cv::GaussianBlur(s, blurred, {3, 3}, 0, 0, BORDER_REPLICATE);
             cv::resize(blurred(cv::Rect(0, 0, s.cols / 2 * 2, s.rows / 2 * 2)), p.theirs, {s.cols / 2, s.rows / 2}, 0, 0, INTER_NEAREST);
             return p;
         }},
    };
    // Flips, transposes and rotations, in every direction and element size.
    for (int d : {1, 2, 3}) {
        const int code = d == 1 ? 1 : d == 2 ? 0 : -1;
        rows.push_back({"flip u8", 0, [=](auto& s, auto&, auto&) {
                            Pair p{filled(s.rows, s.cols, CV_8UC1), {}, {}};
                            lmvFlipu8(s.data, s.cols, s.rows, s.step, p.ours.data, p.ours.step, d);
                            cv::flip(s, p.theirs, code);
                            return p;
                        }});
        rows.push_back({"flip u16 (CbCr pairs as u16)", 0, [=](auto&, auto& s2, auto&) {
                            const cv::Mat s = s2.reshape(0, s2.rows);
                            cv::Mat s16(s.rows, s.cols, CV_16UC1, s.data, s.step);
                            Pair p{filled(s.rows, s.cols, CV_16UC1), {}, {}};
                            lmvFlipu16(reinterpret_cast<const uint16_t*>(s16.data), s16.cols, s16.rows, s16.step, reinterpret_cast<uint16_t*>(p.ours.data), p.ours.step, d);
                            cv::flip(s16, p.theirs, code);
                            return p;
                        }});
        rows.push_back({"rotate", 0, [=](auto& s, auto&, auto&) {
                            Pair p{filled(d == 2 ? s.rows : s.cols, d == 2 ? s.cols : s.rows, CV_8UC1), {}, {}};
                            EXPECT_EQ(LUMIVA_SUCCESS, lmvRotateImageu8(s.data, s.cols, s.rows, s.step, p.ours.data, p.ours.step, d));
                            cv::rotate(s, p.theirs, d == 1 ? ROTATE_90_CLOCKWISE : d == 2 ? ROTATE_180 : ROTATE_90_COUNTERCLOCKWISE);
                            return p;
                        }});
        rows.push_back({"rotate CbCr pairs", 0, [=](auto&, auto& s2, auto&) {
                            Pair p{filled(d == 2 ? s2.rows : s2.cols, d == 2 ? s2.cols : s2.rows, CV_8UC2), {}, {}};
                            EXPECT_EQ(LUMIVA_SUCCESS, lmvRotateImageInterleavedu8(s2.data, s2.cols, s2.rows, s2.step, p.ours.data, p.ours.step, d));
                            cv::rotate(s2, p.theirs, d == 1 ? ROTATE_90_CLOCKWISE : d == 2 ? ROTATE_180 : ROTATE_90_COUNTERCLOCKWISE);
                            return p;
                        }});
    }
    rows.push_back({"flip RGB888", 0, [](auto&, auto&, auto&) {
                        const Bytes b = scene(23, 19, 3, 2);
                        const cv::Mat s(19, 23, CV_8UC3, const_cast<uint8_t*>(b.data()));
                        Pair p{filled(19, 23, CV_8UC3), {}, {}};
                        lmvFlipRGB888u8(s.data, 23, 19, s.step, p.ours.data, p.ours.step, LUMIVA_FLIP_BOTH);
                        cv::flip(s, p.theirs, -1);
                        return p;
                    }});
    rows.push_back({"transposes", 0, [](auto& s, auto&, auto& s4) {
                        Pair p{filled(s.cols, s.rows, CV_8UC1), {}, {}};
                        lmvTransposeu8(s.data, s.cols, s.rows, s.step, p.ours.data, p.ours.step);
                        cv::transpose(s, p.theirs);
                        // The same pixels as u16, f32 and RGB888 must move alike.
                        const cv::Mat s16(s4.rows, s4.cols * 2, CV_16UC1, s4.data, s4.step), s32(s4.rows, s4.cols, CV_32FC1, s4.data, s4.step);
                        cv::Mat t16(s16.cols, s16.rows, CV_16UC1), t32(s32.cols, s32.rows, CV_32FC1), e16, e32;
                        lmvTransposeu16(reinterpret_cast<const uint16_t*>(s16.data), s16.cols, s16.rows, s16.step, reinterpret_cast<uint16_t*>(t16.data), t16.step);
                        lmvTransposef32(reinterpret_cast<const float*>(s32.data), s32.cols, s32.rows, s32.step, reinterpret_cast<float*>(t32.data), t32.step);
                        cv::transpose(s16, e16);
                        cv::transpose(s32, e32);
                        EXPECT_EQ(0, std::memcmp(t16.data, e16.data, t16.total() * 2));
                        EXPECT_EQ(0, std::memcmp(t32.data, e32.data, t32.total() * 4));
                        const cv::Mat s3(s4.rows, s4.cols * 4 / 3, CV_8UC3, s4.data, s4.step);
                        cv::Mat t3(s3.cols, s3.rows, CV_8UC3), e3;
                        lmvTransposeRGB888u8(s3.data, s3.cols, s3.rows, s3.step, t3.data, t3.step);
                        cv::transpose(s3, e3);
                        EXPECT_EQ(0, cv::norm(t3, e3, cv::NORM_INF));
                        return p;
                    }});
    return rows;
}

TEST_F(GeometryEntries, OpenCvAgreesOverTheFamily)
{
    for (const auto& size : {std::make_pair(64u, 48u), std::make_pair(37u, 29u)}) {
        const uint32_t w = size.first, h = size.second;
        const Bytes b1 = scene(w, h, 1, w), b2 = scene(w, h, 2, h), b4 = scene(w, h, 4, w + h);
        const cv::Mat s1(h, w, CV_8UC1, const_cast<uint8_t*>(b1.data())), s2(h, w, CV_8UC2, const_cast<uint8_t*>(b2.data()));
        const cv::Mat s4(h, w, CV_8UC4, const_cast<uint8_t*>(b4.data()));
        for (const OracleRow& row : oracleRows()) {
            const Pair p = row.run(s1, s2, s4);
            ASSERT_EQ(p.ours.size(), p.theirs.size()) << row.name;
            ASSERT_EQ(p.ours.type(), p.theirs.type()) << row.name;
            const double worst = p.mask.empty() ? cv::norm(p.ours, p.theirs, cv::NORM_INF)
                                                : cv::norm(p.ours, p.theirs, cv::NORM_INF, p.mask);
            EXPECT_LE(worst, row.tolerance) << row.name << " " << w << "x" << h;
        }
    }
}

// The two-plane warp equals the one-plane warps of its planes: the luma with the matrix, the
// CbCr pairs with the matrix moved to chroma positions.
TEST_F(GeometryEntries, TwoPlaneWarpFollowsTheLumaMatrixAtHalfScale)
{
    const uint32_t w = 64, h = 48;
    const Bytes y = scene(w, h, 1, 3), c = scene(w / 2, h / 2, 2, 4);
    cv::Mat dy = filled(h, w, CV_8UC1), dc = filled(h / 2, w / 2, CV_8UC2), ey = dy.clone(), ec = dc.clone();
    EXPECT_EQ(LUMIVA_SUCCESS, lmv2PlaneWarpPerspectiveu8(y.data(), c.data(), w, h, w, w, dy.data, dc.data, w, h, w, w, kProjection));
    const cv::Mat H = projectionOf(kProjection);
    cv::warpPerspective(cv::Mat(h, w, CV_8UC1, const_cast<uint8_t*>(y.data())), ey, H, {int(w), int(h)},
                        cv::INTER_LINEAR | cv::WARP_INVERSE_MAP, cv::BORDER_TRANSPARENT);
    const cv::Mat P = (cv::Mat_<double>(3, 3) << 2, 0, 0.5, 0, 2, 0.5, 0, 0, 1);
    const cv::Mat Q = (cv::Mat_<double>(3, 3) << 0.5, 0, -0.25, 0, 0.5, -0.25, 0, 0, 1);
    cv::warpPerspective(cv::Mat(h / 2, w / 2, CV_8UC2, const_cast<uint8_t*>(c.data())), ec, Q * H * P,
                        {int(w / 2), int(h / 2)}, cv::INTER_LINEAR | cv::WARP_INVERSE_MAP, cv::BORDER_TRANSPARENT);
    EXPECT_EQ(0, cv::norm(dy, ey, cv::NORM_INF));
    EXPECT_LE(cv::norm(dc, ec, cv::NORM_INF), 1);  // the chroma matrix is scaled differently, so W rounds apart
}

}  // namespace
#endif  // LUMIVA_WITH_OPENCV
