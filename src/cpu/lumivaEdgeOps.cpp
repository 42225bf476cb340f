// The bodies of the thresholds, point operations and gradients: each checks its own
// parameters and runs the form's row kernels over the rows, or over the filter frame for the
// windowed ones. Both forms of an operation are one of these calls; only the table differs.
#include "cpu/lumivaEdge.h"
#include "cpu/lumivaFilterFrame.h"

#include <algorithm>
#include <cfloat>
#include <type_traits>
#include <vector>

namespace {

// fn(source row, destination row) for each of the h rows.
template <class In, class Out, class Fn>
void forRows(const In* src, uint32_t h, uint32_t srcStride, Out* dst, uint32_t dstStride, Fn fn)
{
    for (uint32_t y = 0; y < h; ++y) fn(ilmvRowAt(src, srcStride, y), ilmvRowAt(dst, dstStride, y));
}

// Zeroes the one-pixel frame of an image of `channels` elements a pixel.
template <class T>
void zeroFrame(T* dst, uint32_t w, uint32_t h, uint32_t stride, uint32_t channels)
{
    if (!dst || w == 0) return;
    const size_t last = size_t(w - 1) * channels, end = size_t(w) * channels;
    for (uint32_t y = 0; y < h; ++y) {
        T* row = ilmvRowAt(dst, stride, y);
        if (y == 0 || y + 1 == h) {
            std::fill(row, row + end, T(0));
            continue;
        }
        std::fill(row, row + channels, T(0));
        std::fill(row + last, row + end, T(0));
    }
}

// s16 components into the output type and layout (b null: interleaved into a).
template <class Out>
void pack(const ilmvEdgeRows& rows, ilmvGradientKind kind, const int16_t* gx, const int16_t* gy, size_t n, Out* a,
          Out* b)
{
    if constexpr (std::is_same_v<Out, int16_t>) {
        rows.interleaves16(gx, gy, n, a);  // planar s16 is written directly
    } else if constexpr (std::is_same_v<Out, float32_t>) {
        const float32_t scale = kind == ilmvGradientKind::kCentral ? 0.5f : 0.125f;
        if (b) {
            rows.tof32(gx, n, scale, a);
            rows.tof32(gy, n, scale, b);
        } else {
            rows.interleavef32(gx, gy, n, scale, a);
        }
    } else {
        rows.tos8(gx, n, a);
        rows.tos8(gy, n, b);
    }
}

// The Gaussian an adaptive threshold compares with: edges repeated.
void gaussianMeans(const ilmvFilterRows& f, uint32_t k, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                   uint8_t* out)
{
    static const int32_t kBinomial11[11] = {1, 10, 45, 120, 210, 252, 210, 120, 45, 10, 1};
    const int32_t* taps = k == 3 ? ilmvBinomial3 : k == 5 ? ilmvBinomial5 : kBinomial11;
    const uint32_t shift = 2 * (k - 1);
    const ilmvSepTaps sep = {taps, k, taps, k, int64_t(1) << (shift - 1), shift};
    std::vector<int64_t> scratch(size_t(w) + k + 16);
    ilmvFilterFrame(src, w, h, srcStride, k, k, ilmvEdge::kReplicate, uint8_t(0),
                    [&](const uint8_t* const* r, size_t n, uint32_t y, uint32_t x0) {
                        uint8_t* line = out + size_t(y) * w + x0;
                        if (k == 5)
                            f.gauss5u8(r, n, line);
                        else
                            f.sepu8(r, sep, n, line, scratch.data());
                    });
}

// The threshold of Otsu's method for a 256-bin histogram, as double-precision sums give it.
uint8_t otsuThreshold(const uint64_t* histogram)
{
    double total = 0, mu = 0;
    for (int i = 0; i < 256; ++i) {
        total += double(histogram[i]);
        mu += double(i) * double(histogram[i]);
    }
    mu /= total;
    double q1 = 0, mu1 = 0, best = 0;
    int chosen = 0;
    for (int i = 0; i < 256; ++i) {
        const double p = double(histogram[i]) / total;
        mu1 *= q1;
        q1 += p;
        const double q2 = 1.0 - q1;
        if (std::min(q1, q2) < FLT_EPSILON || std::max(q1, q2) > 1.0 - FLT_EPSILON) continue;
        mu1 = (mu1 + i * p) / q1;
        const double mu2 = (mu - q1 * mu1) / q2;
        const double sigma = q1 * q2 * (mu1 - mu2) * (mu1 - mu2);
        if (sigma > best) {
            best = sigma;
            chosen = i;
        }
    }
    return static_cast<uint8_t>(chosen);
}

}  // namespace

LMV_STATUS ilmvThreshold(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                         uint8_t* dst, uint32_t dstStride, uint8_t threshold, uint8_t hit, uint8_t miss)
{
    forRows(src, h, srcStride, dst, dstStride,
            [&](const uint8_t* s, uint8_t* d) { rows.thresholdu8(s, w, threshold, hit, miss, d); });
    return LUMIVA_SUCCESS;
}

LMV_STATUS ilmvThresholdRange(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h,
                              uint32_t srcStride, uint8_t* dst, uint32_t dstStride, uint8_t low, uint8_t high,
                              uint8_t hit, uint8_t miss)
{
    forRows(src, h, srcStride, dst, dstStride,
            [&](const uint8_t* s, uint8_t* d) { rows.rangeu8(s, w, low, high, hit, miss, d); });
    return LUMIVA_SUCCESS;
}

void ilmvThresholdOtsu(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                       uint8_t* dst, uint32_t dstStride, uint8_t* threshold)
{
    uint64_t histogram[256] = {};
    for (uint32_t y = 0; y < h; ++y) {
        const uint8_t* row = ilmvRowAt(src, srcStride, y);
        for (uint32_t x = 0; x < w; ++x) ++histogram[row[x]];
    }
    *threshold = otsuThreshold(histogram);
    ilmvThreshold(rows, src, w, h, srcStride, dst, dstStride, *threshold, 255, 0);
}

void ilmvAdaptiveThreshold(const ilmvEdgeRows& rows, bool mean, uint32_t k, const uint8_t* src, uint32_t w,
                           uint32_t h, uint32_t srcStride, uint8_t maxValue, uint32_t thresholdType, int32_t C,
                           uint8_t* dst, uint32_t dstStride)
{
    // Beyond +-256 every comparison is decided; clamping keeps mean - C inside 32 bits.
    struct Job {
        const ilmvEdgeRows& rows;
        const uint8_t* src;
        uint32_t w, srcStride;
        int32_t c;
        bool inverse;
        uint8_t hit;
        uint8_t* dst;
        uint32_t dstStride;
    } job = {rows, src, w, srcStride, std::min(std::max(C, -256), 256), thresholdType == 1, maxValue, dst, dstStride};
    auto compare = [](void* context, uint32_t y, const uint8_t* means) {
        const Job& j = *static_cast<const Job*>(context);
        j.rows.adaptiveu8(ilmvRowAt(j.src, j.srcStride, y), means, j.w, j.c, j.inverse, j.hit,
                          ilmvRowAt(j.dst, j.dstStride, y));
    };
    if (mean) {
        rows.boxMeansu8(src, w, h, srcStride, k, compare, &job);
        return;
    }
    std::vector<uint8_t> means(size_t(w) * h);
    gaussianMeans(rows.filter(), k, src, w, h, srcStride, means.data());
    for (uint32_t y = 0; y < h; ++y) compare(&job, y, means.data() + size_t(y) * w);
}

LMV_STATUS ilmvTableLookup(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                           const uint8_t* lut, uint8_t* dst, uint32_t dstStride)
{
    forRows(src, h, srcStride, dst, dstStride, [&](const uint8_t* s, uint8_t* d) { rows.lookupu8(s, w, lut, d); });
    return LUMIVA_SUCCESS;
}

LMV_STATUS ilmvConvertDepthu8s16(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h,
                                 uint32_t srcStride, uint32_t shift, int16_t* dst, uint32_t dstStride)
{
    if (shift > 7) return LUMIVA_BAD_PARAMS;
    forRows(src, h, srcStride, dst, dstStride, [&](const uint8_t* s, int16_t* d) { rows.widenu8s16(s, w, shift, d); });
    return LUMIVA_SUCCESS;
}

LMV_STATUS ilmvConvertDepths16u8(const ilmvEdgeRows& rows, const int16_t* src, uint32_t w, uint32_t h,
                                 uint32_t srcStride, uint32_t shift, LMV_OVERFLOW_POLICY policy, uint8_t* dst,
                                 uint32_t dstStride)
{
    if (shift > 15 || (policy != LUMIVA_OVERFLOW_WRAP && policy != LUMIVA_OVERFLOW_SATURATE)) return LUMIVA_BAD_PARAMS;
    const bool saturate = policy == LUMIVA_OVERFLOW_SATURATE;
    forRows(src, h, srcStride, dst, dstStride,
            [&](const int16_t* s, uint8_t* d) { rows.narrows16u8(s, w, shift, saturate, d); });
    return LUMIVA_SUCCESS;
}

LMV_STATUS ilmvEdgeWeighting(const ilmvEdgeRows& rows, const int16_t* data, uint32_t w, uint32_t h,
                             uint32_t srcStride, const uint8_t* edge, uint32_t edgeStride, const uint8_t* table,
                             int16_t* dst, uint32_t dstStride)
{
    for (uint32_t y = 0; y < h; ++y)
        rows.weights16(ilmvRowAt(data, srcStride, y), ilmvRowAt(edge, edgeStride, y), table, w,
                       ilmvRowAt(dst, dstStride, y));
    return LUMIVA_SUCCESS;
}

void ilmvSobelStrength(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                       uint8_t* dst, uint32_t dstStride)
{
    ilmvFilterFrame(src, w, h, srcStride, 3, 3, ilmvEdge::kInterior, uint8_t(0),
                    [&](const uint8_t* const* r, size_t n, uint32_t y, uint32_t x0) {
                        rows.strengthu8(r, n, ilmvRowAt(dst, dstStride, y) + x0);
                    });
}

template <class In, class Out>
LMV_STATUS ilmvGradient(const ilmvEdgeRows& rows, ilmvGradientKind kind, const In* src, uint32_t w, uint32_t h,
                        uint32_t srcStride, Out* a, Out* b, uint32_t dstStride, bool zero, LMV_BORDER_TYPE border,
                        uint8_t value)
{
    ilmvEdge edge = ilmvEdge::kInterior;
    if (!zero && !ilmvEdgeOf(border, &edge)) return LUMIVA_BAD_PARAMS;
    std::vector<int16_t> gx(w), gy(w);
    const uint32_t channels = b ? 1 : 2;
    ilmvFilterFrame(src, w, h, srcStride, 3, 3, edge, In(value),
                    [&](const In* const* r, size_t n, uint32_t y, uint32_t x0) {
                        Out* ra = ilmvRowAt(a, dstStride, y) + size_t(x0) * channels;
                        Out* rb = b ? ilmvRowAt(b, dstStride, y) + x0 : nullptr;
                        if constexpr (std::is_same_v<In, float32_t>) {
                            rows.sobelf32(r, n, ra, rb);
                        } else if constexpr (std::is_same_v<Out, int16_t>) {
                            if (rb) {
                                rows.gradientu8(kind, r, n, ra, rb);
                                return;
                            }
                            rows.gradientu8(kind, r, n, gx.data(), gy.data());
                            pack(rows, kind, gx.data(), gy.data(), n, ra, rb);
                        } else {
                            rows.gradientu8(kind, r, n, gx.data(), gy.data());
                            pack(rows, kind, gx.data(), gy.data(), n, ra, rb);
                        }
                    });
    if (zero) {
        zeroFrame(a, w, h, dstStride, channels);
        zeroFrame(b, w, h, dstStride, 1);
    }
    return LUMIVA_SUCCESS;
}

template LMV_STATUS ilmvGradient<uint8_t, int16_t>(const ilmvEdgeRows&, ilmvGradientKind, const uint8_t*, uint32_t,
                                                   uint32_t, uint32_t, int16_t*, int16_t*, uint32_t, bool,
                                                   LMV_BORDER_TYPE, uint8_t);
template LMV_STATUS ilmvGradient<uint8_t, float32_t>(const ilmvEdgeRows&, ilmvGradientKind, const uint8_t*, uint32_t,
                                                     uint32_t, uint32_t, float32_t*, float32_t*, uint32_t, bool,
                                                     LMV_BORDER_TYPE, uint8_t);
template LMV_STATUS ilmvGradient<uint8_t, int8_t>(const ilmvEdgeRows&, ilmvGradientKind, const uint8_t*, uint32_t,
                                                  uint32_t, uint32_t, int8_t*, int8_t*, uint32_t, bool,
                                                  LMV_BORDER_TYPE, uint8_t);
template LMV_STATUS ilmvGradient<float32_t, float32_t>(const ilmvEdgeRows&, ilmvGradientKind, const float32_t*,
                                                       uint32_t, uint32_t, uint32_t, float32_t*, float32_t*, uint32_t,
                                                       bool, LMV_BORDER_TYPE, uint8_t);

LMV_STATUS ilmvSobel(const ilmvEdgeRows& rows, uint32_t k, const uint8_t* src, uint32_t w, uint32_t h,
                     uint32_t srcStride, int16_t* dx, int16_t* dy, uint32_t dstStride, LMV_BORDER_TYPE border,
                     uint8_t value)
{
    if (k == 3)
        return ilmvGradient<uint8_t, int16_t>(rows, ilmvGradientKind::kSobel, src, w, h, srcStride, dx, dy,
                                              dstStride, false, border, value);
    static const int16_t kSmooth5[5] = {1, 4, 6, 4, 1}, kDerive5[5] = {-1, -2, 0, 2, 1};
    static const int16_t kSmooth7[7] = {1, 6, 15, 20, 15, 6, 1}, kDerive7[7] = {-1, -4, -5, 0, 5, 4, 1};
    const int16_t* smooth = k == 5 ? kSmooth5 : kSmooth7;
    const int16_t* derive = k == 5 ? kDerive5 : kDerive7;
    int16_t tx[49], ty[49];
    for (uint32_t j = 0; j < k; ++j)
        for (uint32_t i = 0; i < k; ++i) {
            tx[j * k + i] = static_cast<int16_t>(smooth[j] * derive[i]);
            ty[j * k + i] = static_cast<int16_t>(derive[j] * smooth[i]);
        }
    const ilmvFilterRows& f = rows.filter();
    const LMV_STATUS s = ilmvCorrelateu8<int16_t, int16_t>(f, src, w, h, srcStride, tx, k, k, 0, false, false, dx,
                                                           dstStride, border, value);
    if (s != LUMIVA_SUCCESS) return s;
    return ilmvCorrelateu8<int16_t, int16_t>(f, src, w, h, srcStride, ty, k, k, 0, false, false, dy, dstStride, border,
                                             value);
}

template <class Out>
int32_t ilmvGradientPyramid(const ilmvEdgeRows& rows, const lmvPyramidLevel* img, const lmvPyramidLevel* dx,
                            const lmvPyramidLevel* dy, uint32_t numLevels)
{
    for (uint32_t l = 0; l < numLevels; ++l) {
        const uint32_t w = img[l].width, h = img[l].height;
        if (!img[l].ptr || !dx[l].ptr || !dy[l].ptr || dx[l].width != w || dy[l].width != w || dx[l].height != h ||
            dy[l].height != h || w > 0x3FFFFFFFu)
            return -1;
        ilmvGradient<uint8_t, Out>(rows, ilmvGradientKind::kSobel, static_cast<const uint8_t*>(img[l].ptr), w, h, w,
                                   static_cast<Out*>(dx[l].ptr), static_cast<Out*>(dy[l].ptr),
                                   uint32_t(w * sizeof(Out)), true, LUMIVA_BORDER_UNDEFINED, 0);
    }
    return 0;
}

template int32_t ilmvGradientPyramid<float32_t>(const ilmvEdgeRows&, const lmvPyramidLevel*, const lmvPyramidLevel*,
                                                const lmvPyramidLevel*, uint32_t);
template int32_t ilmvGradientPyramid<int16_t>(const ilmvEdgeRows&, const lmvPyramidLevel*, const lmvPyramidLevel*,
                                              const lmvPyramidLevel*, uint32_t);
template int32_t ilmvGradientPyramid<int8_t>(const ilmvEdgeRows&, const lmvPyramidLevel*, const lmvPyramidLevel*,
                                             const lmvPyramidLevel*, uint32_t);

LMV_STATUS ilmvMagnitude(const ilmvEdgeRows& rows, const int16_t* dx, uint32_t w, uint32_t h, uint32_t dxStride,
                         const int16_t* dy, uint32_t dyStride, int16_t* dst, uint32_t dstStride)
{
    for (uint32_t y = 0; y < h; ++y)
        rows.magnitudes16(ilmvRowAt(dx, dxStride, y), ilmvRowAt(dy, dyStride, y), w, ilmvRowAt(dst, dstStride, y));
    return LUMIVA_SUCCESS;
}

LMV_STATUS ilmvPhase(const ilmvEdgeRows& rows, const int16_t* dx, uint32_t w, uint32_t h, uint32_t dxStride,
                     const int16_t* dy, uint32_t dyStride, uint8_t* dst, uint32_t dstStride)
{
    for (uint32_t y = 0; y < h; ++y)
        rows.phases16(ilmvRowAt(dx, dxStride, y), ilmvRowAt(dy, dyStride, y), w, ilmvRowAt(dst, dstStride, y));
    return LUMIVA_SUCCESS;
}
