// The bodies of the neighbourhood filters: each checks its own parameters, picks the frame's
// edge rule and runs a row kernel of the form's table over the frame. Both forms of an
// operation are one of these calls; only the table differs.
#include "cpu/lumivaFilter.h"
#include "cpu/lumivaFilterFrame.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

const int32_t kBinomial11[11] = {1, 10, 45, 120, 210, 252, 210, 120, 45, 10, 1};

// A border pixel of the 5x5 Gaussian: the kernel restricted to the image, rounded.
template <class T>
T restrictedGaussian5(const T* src, uint32_t w, uint32_t h, uint32_t stride, uint32_t x, uint32_t y)
{
    return ilmvRestrictedPixel(src, w, h, stride, x, y, ilmvBinomial5, 2, true);
}

// Writes fn(x, y) into every pixel within `margin` of the image's edge.
template <class T, class Fn>
void forBorder(T* dst, uint32_t w, uint32_t h, uint32_t dstStride, uint32_t margin, Fn fn)
{
    for (uint32_t y = 0; y < h; ++y) {
        const bool edgeRow = y < margin || y + margin >= h;
        T* row = ilmvRowAt(dst, dstStride, y);
        for (uint32_t x = 0; x < w; ++x) {
            if (!edgeRow && x == margin && w > 2 * margin) x = w - margin;  // skip the interior
            if (x < w) row[x] = fn(x, y);
        }
    }
}

template <class In, class Out, class RowFn>
void separableFrame(const In* src, uint32_t w, uint32_t h, uint32_t srcStride, Out* dst, uint32_t dstStride,
                    const ilmvSepTaps& taps, ilmvEdge edge, In value, RowFn rowFn)
{
    std::vector<int64_t> scratch(size_t(w) + taps.kw + 16);
    ilmvFilterFrame(src, w, h, srcStride, taps.kw, taps.kh, edge, value,
                    [&](const In* const* rows, size_t n, uint32_t y, uint32_t x0) {
                        rowFn(rows, taps, n, ilmvRowAt(dst, dstStride, y) + x0, scratch.data());
                    });
}

std::vector<int32_t> widened(const int16_t* taps, uint32_t n, bool flip)
{
    std::vector<int32_t> out(taps, taps + n);
    if (flip) std::reverse(out.begin(), out.end());
    return out;
}

}  // namespace

void ilmvGaussian5x5u8(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                       uint8_t* dst, uint32_t dstStride, int32_t blurBorder)
{
    ilmvFilterFrame(src, w, h, srcStride, 5, 5, ilmvEdge::kInterior, uint8_t(0),
                    [&](const uint8_t* const* r, size_t n, uint32_t y, uint32_t x0) {
                        rows.gauss5u8(r, n, ilmvRowAt(dst, dstStride, y) + x0);
                    });
    if (blurBorder == 1)
        forBorder(dst, w, h, dstStride, 2, [&](uint32_t x, uint32_t y) { return restrictedGaussian5(src, w, h, srcStride, x, y); });
}

void ilmvGaussian5x5s16(const ilmvFilterRows& rows, const int16_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                        int16_t* dst, uint32_t dstStride, int32_t blurBorder)
{
    const ilmvSepTaps taps = {ilmvBinomial5, 5, ilmvBinomial5, 5, 128, 8};
    separableFrame(src, w, h, srcStride, dst, dstStride, taps, ilmvEdge::kInterior, int16_t(0), rows.seps16);
    if (blurBorder == 1)
        forBorder(dst, w, h, dstStride, 2, [&](uint32_t x, uint32_t y) { return restrictedGaussian5(src, w, h, srcStride, x, y); });
}

void ilmvGaussian5x5s32(const ilmvFilterRows&, const int32_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                        int32_t* dst, uint32_t dstStride, int32_t blurBorder)
{
    const ilmvSepTaps taps = {ilmvBinomial5, 5, ilmvBinomial5, 5, 128, 8};
    separableFrame(src, w, h, srcStride, dst, dstStride, taps, ilmvEdge::kInterior, int32_t(0), ilmvSeparableRowC<int32_t, int32_t>);
    if (blurBorder == 1)
        forBorder(dst, w, h, dstStride, 2, [&](uint32_t x, uint32_t y) { return restrictedGaussian5(src, w, h, srcStride, x, y); });
}

void ilmvGaussian11x11u8(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                         uint8_t* dst, uint32_t dstStride)
{
    const ilmvSepTaps taps = {kBinomial11, 11, kBinomial11, 11, int64_t(1) << 19, 20};
    separableFrame(src, w, h, srcStride, dst, dstStride, taps, ilmvEdge::kInterior, uint8_t(0), rows.sepu8);
}

LMV_STATUS ilmvGaussian3x3Bordered(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h,
                                   uint32_t srcStride, uint8_t* dst, uint32_t dstStride, LMV_BORDER_TYPE border,
                                   uint8_t value)
{
    ilmvEdge edge;
    if (!ilmvEdgeOf(border, &edge)) return LUMIVA_BAD_PARAMS;
    const ilmvSepTaps taps = {ilmvBinomial3, 3, ilmvBinomial3, 3, 0, 4};  // truncating, as the first generation
    separableFrame(src, w, h, srcStride, dst, dstStride, taps, edge, value, rows.sepu8);
    return LUMIVA_SUCCESS;
}

LMV_STATUS ilmvBox(const ilmvFilterRows& rows, uint32_t k, const uint8_t* src, uint32_t w, uint32_t h,
                   uint32_t srcStride, uint8_t* dst, uint32_t dstStride, LMV_BORDER_TYPE border, uint8_t value)
{
    ilmvEdge edge;
    if (!ilmvEdgeOf(border, &edge)) return LUMIVA_BAD_PARAMS;
    ilmvFilterFrame(src, w, h, srcStride, k, k, edge, value,
                    [&](const uint8_t* const* r, size_t n, uint32_t y, uint32_t x0) {
                        rows.boxu8(r, k, n, ilmvRowAt(dst, dstStride, y) + x0);
                    });
    return LUMIVA_SUCCESS;
}

// The frame's way: every output row from its k window rows through the row kernel.
void ilmvExtremeImageByRows(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                            uint32_t k, bool maximum, int edge, uint8_t value, uint8_t* dst, uint32_t dstStride)
{
    std::vector<int64_t> scratch(size_t(w) + k + 16);
    ilmvFilterFrame(src, w, h, srcStride, k, k, ilmvEdge(edge), value,
                    [&](const uint8_t* const* r, size_t n, uint32_t y, uint32_t x0) {
                        rows.extremeu8(r, k, k, maximum, n, ilmvRowAt(dst, dstStride, y) + x0, scratch.data());
                    });
}

LMV_STATUS ilmvMorphology(const ilmvFilterRows& rows, bool dilate, uint32_t k, const uint8_t* src, uint32_t w,
                          uint32_t h, uint32_t srcStride, uint8_t* dst, uint32_t dstStride, LMV_BORDER_TYPE border,
                          uint8_t value)
{
    ilmvEdge edge;
    if (!ilmvEdgeOf(border, &edge) || !(k & 1) || k > 255) return LUMIVA_BAD_PARAMS;
    rows.extremeImageu8(rows, src, w, h, srcStride, k, dilate, int(edge), value, dst, dstStride);
    return LUMIVA_SUCCESS;
}

LMV_STATUS ilmvMedian3x3(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                         uint8_t* dst, uint32_t dstStride, bool borderCopied, LMV_BORDER_TYPE border, uint8_t value)
{
    ilmvEdge edge = ilmvEdge::kInterior;
    if (!borderCopied && !ilmvEdgeOf(border, &edge)) return LUMIVA_BAD_PARAMS;
    ilmvFilterFrame(src, w, h, srcStride, 3, 3, edge, value,
                    [&](const uint8_t* const* r, size_t n, uint32_t y, uint32_t x0) {
                        rows.median3u8(r, n, ilmvRowAt(dst, dstStride, y) + x0);
                    });
    if (borderCopied) forBorder(dst, w, h, dstStride, 1, [&](uint32_t x, uint32_t y) { return ilmvRowAt(src, srcStride, y)[x]; });
    return LUMIVA_SUCCESS;
}

LMV_STATUS ilmvMedianMxNs16(const int16_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint32_t M, uint32_t N,
                            int16_t* dst, uint32_t dstStride, LMV_BORDER_TYPE border, uint8_t value)
{
    ilmvEdge edge;
    if (!ilmvEdgeOf(border, &edge) || !(M & 1) || !(N & 1) || M > 255 || N > 255) return LUMIVA_BAD_PARAMS;
    std::vector<int16_t> window(size_t(M) * N);
    ilmvFilterFrame(src, w, h, srcStride, M, N, edge, int16_t(value),
                    [&](const int16_t* const* r, size_t n, uint32_t y, uint32_t x0) {
                        int16_t* out = ilmvRowAt(dst, dstStride, y) + x0;
                        for (size_t x = 0; x < n; ++x) {
                            for (uint32_t j = 0; j < N; ++j) std::copy(r[j] + x, r[j] + x + M, window.begin() + j * M);
                            std::nth_element(window.begin(), window.begin() + window.size() / 2, window.end());
                            out[x] = window[window.size() / 2];
                        }
                    });
    return LUMIVA_SUCCESS;
}

void ilmvSeparables16(const ilmvFilterRows& rows, const int16_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                      const int16_t* kx, uint32_t M, const int16_t* ky, uint32_t N, uint32_t shift, bool flip,
                      int16_t* dst, uint32_t dstStride)
{
    const std::vector<int32_t> x = widened(kx, M, flip), y = widened(ky, N, flip);
    const ilmvSepTaps taps = {x.data(), M, y.data(), N, ilmvRoundingBias(shift), shift};
    separableFrame(src, w, h, srcStride, dst, dstStride, taps, ilmvEdge::kInterior, int16_t(0), rows.seps16);
}

void ilmvSeparableu8(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                     const int16_t* kx, uint32_t M, const int16_t* ky, uint32_t N, uint32_t shift, uint8_t* dst,
                     uint32_t dstStride)
{
    const std::vector<int32_t> x = widened(kx, M, false), y = widened(ky, N, false);
    const ilmvSepTaps taps = {x.data(), M, y.data(), N, ilmvRoundingBias(shift), shift};
    separableFrame(src, w, h, srcStride, dst, dstStride, taps, ilmvEdge::kInterior, uint8_t(0), rows.sepu8);
}

namespace {

void correlate(const ilmvFilterRows& rows, const int32_t* taps, uint32_t kw, uint32_t kh, int64_t bias,
               uint32_t shift, size_t n, uint8_t* dst, const uint8_t* const* r)
{
    rows.corru8(r, taps, kw, kh, bias, shift, n, dst);
}

void correlate(const ilmvFilterRows& rows, const int32_t* taps, uint32_t kw, uint32_t kh, int64_t bias,
               uint32_t shift, size_t n, int16_t* dst, const uint8_t* const* r)
{
    rows.corru8s16(r, taps, kw, kh, bias, shift, n, dst);
}

}  // namespace

template <class Tap, class Out>
LMV_STATUS ilmvCorrelateu8(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                           const Tap* taps, uint32_t kw, uint32_t kh, uint32_t shift, bool floorShift, bool flip,
                           Out* dst, uint32_t dstStride, LMV_BORDER_TYPE border, uint8_t value)
{
    ilmvEdge edge;
    if (!ilmvEdgeOf(border, &edge) || !(kw & 1) || !(kh & 1) || kw > 255 || kh > 255 || shift > 62)
        return LUMIVA_BAD_PARAMS;
    std::vector<int32_t> wide(taps, taps + size_t(kw) * kh);
    if (flip) std::reverse(wide.begin(), wide.end());  // convolution: the kernel turned by 180 degrees
    const int64_t bias = floorShift ? 0 : ilmvRoundingBias(shift);
    ilmvFilterFrame(src, w, h, srcStride, kw, kh, edge, value,
                    [&](const uint8_t* const* r, size_t n, uint32_t y, uint32_t x0) {
                        correlate(rows, wide.data(), kw, kh, bias, shift, n, ilmvRowAt(dst, dstStride, y) + x0, r);
                    });
    return LUMIVA_SUCCESS;
}

template LMV_STATUS ilmvCorrelateu8<int8_t, uint8_t>(const ilmvFilterRows&, const uint8_t*, uint32_t, uint32_t,
                                                     uint32_t, const int8_t*, uint32_t, uint32_t, uint32_t, bool,
                                                     bool, uint8_t*, uint32_t, LMV_BORDER_TYPE, uint8_t);
template LMV_STATUS ilmvCorrelateu8<int16_t, uint8_t>(const ilmvFilterRows&, const uint8_t*, uint32_t, uint32_t,
                                                      uint32_t, const int16_t*, uint32_t, uint32_t, uint32_t, bool,
                                                      bool, uint8_t*, uint32_t, LMV_BORDER_TYPE, uint8_t);
template LMV_STATUS ilmvCorrelateu8<int16_t, int16_t>(const ilmvFilterRows&, const uint8_t*, uint32_t, uint32_t,
                                                      uint32_t, const int16_t*, uint32_t, uint32_t, uint32_t, bool,
                                                      bool, int16_t*, uint32_t, LMV_BORDER_TYPE, uint8_t);

void ilmvCorrelateu8f32(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                        const float32_t* taps, uint32_t N, float32_t* dst, uint32_t dstStride)
{
    ilmvFilterFrame(src, w, h, srcStride, N, N, ilmvEdge::kInterior, uint8_t(0),
                    [&](const uint8_t* const* r, size_t n, uint32_t y, uint32_t x0) {
                        rows.corru8f32(r, taps, N, N, n, ilmvRowAt(dst, dstStride, y) + x0);
                    });
}

void ilmvConvValids16(const ilmvFilterRows& rows, const int16_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                      const int16_t* kernel, uint32_t kw, uint32_t kh, uint32_t shift, int16_t* dst, uint32_t dstStride)
{
    if (kw > w || kh > h) return;
    // Convolution: the kernel turned by 180 degrees, then correlated with every window that
    // lies wholly inside the image.
    std::vector<int32_t> taps(kernel, kernel + size_t(kw) * kh);
    std::reverse(taps.begin(), taps.end());
    std::vector<const int16_t*> window(kh);
    for (uint32_t y = 0; y + kh <= h; ++y) {
        for (uint32_t j = 0; j < kh; ++j) window[j] = ilmvRowAt(src, srcStride, y + j);
        rows.corrs16(window.data(), taps.data(), kw, kh, ilmvRoundingBias(shift), shift, w - kw + 1,
                     ilmvRowAt(dst, dstStride, y));
    }
}

void ilmvBilateralWeights(uint32_t k, float32_t sigmaColor, float32_t sigmaSpace, ilmvBilateralTables* tables)
{
    const int r = int(k / 2);
    const double space = 2.0 * double(sigmaSpace) * sigmaSpace, colour = 2.0 * double(sigmaColor) * sigmaColor;
    for (int dy = -r; dy <= r; ++dy)
        for (int dx = -r; dx <= r; ++dx)
            tables->spatial[(dy + r) * int(k) + dx + r] = uint32_t(std::lround(256.0 * std::exp(-(dx * dx + dy * dy) / space)));
    for (int d = 0; d < 256; ++d) tables->range[d] = uint32_t(std::lround(256.0 * std::exp(-(d * d) / colour)));
}

LMV_STATUS ilmvBilateral(const ilmvFilterRows& rows, uint32_t k, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint8_t* dst,
                         uint32_t dstStride, float32_t sigmaColor, float32_t sigmaSpace, LMV_BORDER_TYPE border,
                         uint8_t value)
{
    ilmvEdge edge;
    if (!ilmvEdgeOf(border, &edge) || !(sigmaColor > 0.0f) || !(sigmaSpace > 0.0f) || std::isinf(sigmaColor) ||
        std::isinf(sigmaSpace))
        return LUMIVA_BAD_PARAMS;
    ilmvBilateralTables tables;
    ilmvBilateralWeights(k, sigmaColor, sigmaSpace, &tables);
    ilmvFilterFrame(src, w, h, srcStride, k, k, edge, value,
                    [&](const uint8_t* const* r, size_t n, uint32_t y, uint32_t x0) {
                        rows.bilateralu8(r, k, tables, n, ilmvRowAt(dst, dstStride, y) + x0);
                    });
    return LUMIVA_SUCCESS;
}

namespace {

// One line of the recursive bilateral filter, in place over `line` (n values `step` apart):
// a causal and an anti-causal first-order recursion whose feedback a is scaled by the range
// weight of each step, each normalised by the same recursion run over ones.
void recursiveLine(float32_t* line, size_t n, size_t step, float32_t a, const float32_t* range,
                   std::vector<float32_t>& work)
{
    work.resize(4 * n);
    float32_t *fwd = work.data(), *fwdNorm = fwd + n, *back = fwdNorm + n, *backNorm = back + n;
    auto at = [&](size_t i) { return line[i * step]; };
    auto weight = [&](size_t i, size_t j) {
        const float32_t d = std::fabs(at(i) - at(j));
        return a * range[std::min<int>(int(d + 0.5f), 255)];
    };
    fwd[0] = at(0);
    fwdNorm[0] = 1.0f;
    for (size_t i = 1; i < n; ++i) {
        const float32_t wgt = weight(i, i - 1);
        fwd[i] = at(i) + wgt * fwd[i - 1];
        fwdNorm[i] = 1.0f + wgt * fwdNorm[i - 1];
    }
    back[n - 1] = at(n - 1);
    backNorm[n - 1] = 1.0f;
    for (size_t i = n - 1; i-- > 0;) {
        const float32_t wgt = weight(i, i + 1);
        back[i] = at(i) + wgt * back[i + 1];
        backNorm[i] = 1.0f + wgt * backNorm[i + 1];
    }
    for (size_t i = 0; i < n; ++i) line[i * step] = (fwd[i] + back[i] - at(i)) / (fwdNorm[i] + backNorm[i] - 1.0f);
}

}  // namespace

LMV_STATUS ilmvBilateralRecursive(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint8_t* dst,
                                  uint32_t dstStride, float32_t sigmaColor, float32_t sigmaSpace)
{
    if (!(sigmaColor > 0.0f) || !(sigmaSpace > 0.0f) || std::isinf(sigmaColor) || std::isinf(sigmaSpace))
        return LUMIVA_BAD_PARAMS;
    float32_t range[256];
    for (int d = 0; d < 256; ++d) range[d] = float32_t(std::exp(-(d * d) / (2.0 * double(sigmaColor) * sigmaColor)));
    const float32_t a = float32_t(std::exp(-std::sqrt(2.0) / double(sigmaSpace)));
    std::vector<float32_t> image(size_t(w) * h), work;
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) image[size_t(y) * w + x] = ilmvRowAt(src, srcStride, y)[x];
    for (uint32_t y = 0; y < h; ++y) recursiveLine(image.data() + size_t(y) * w, w, 1, a, range, work);
    for (uint32_t x = 0; x < w; ++x) recursiveLine(image.data() + x, h, w, a, range, work);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            const float32_t v = image[size_t(y) * w + x] + 0.5f;
            ilmvRowAt(dst, dstStride, y)[x] = static_cast<uint8_t>(std::min(std::max(v, 0.0f), 255.0f));
        }
    return LUMIVA_SUCCESS;
}

namespace {

// Integral images of the values and their squares, (w + 1) x (h + 1), for window sums.
template <class T, class Acc>
struct Integrals {
    uint32_t w, h;
    std::vector<Acc> sum, squares;

    Integrals(const T* src, uint32_t width, uint32_t height, uint32_t stride)
        : w(width), h(height), sum(size_t(width + 1) * (height + 1)), squares(sum.size())
    {
        for (uint32_t y = 0; y < h; ++y) {
            Acc row = 0, rowSquares = 0;
            for (uint32_t x = 0; x < w; ++x) {
                const Acc v = Acc(ilmvRowAt(src, stride, y)[x]);
                row += v;
                rowSquares += v * v;
                at(sum, x + 1, y + 1) = at(sum, x + 1, y) + row;
                at(squares, x + 1, y + 1) = at(squares, x + 1, y) + rowSquares;
            }
        }
    }
    Acc& at(std::vector<Acc>& v, uint32_t x, uint32_t y) { return v[size_t(y) * (w + 1) + x]; }
    // Sum, sum of squares and count over the window of pw x ph centred on (x, y), restricted to the image.
    void window(uint32_t x, uint32_t y, uint32_t pw, uint32_t ph, Acc* s, Acc* q, int64_t* count)
    {
        const uint32_t x0 = x > pw / 2 ? x - pw / 2 : 0, y0 = y > ph / 2 ? y - ph / 2 : 0;
        const uint32_t x1 = std::min<uint64_t>(uint64_t(x) + pw / 2 + 1, w), y1 = std::min<uint64_t>(uint64_t(y) + ph / 2 + 1, h);
        *s = at(sum, x1, y1) - at(sum, x0, y1) - at(sum, x1, y0) + at(sum, x0, y0);
        *q = at(squares, x1, y1) - at(squares, x0, y1) - at(squares, x1, y0) + at(squares, x0, y0);
        *count = int64_t(x1 - x0) * (y1 - y0);
    }
};

bool patchFits(uint32_t pw, uint32_t ph)
{
    return (pw & 1) && (ph & 1) && pw <= 255 && ph <= 255;  // 64-bit sums of squares never wrap
}

}  // namespace

namespace {

// Writes value(pixel, sum, sum of squares, count) of every pixel's pw x ph window (restricted
// to the image), the sums read from integral images in Acc.
template <class Acc, class In, class Out, class Value>
LMV_STATUS normaliseWindows(const In* src, uint32_t w, uint32_t h, uint32_t srcStride, uint32_t pw, uint32_t ph,
                            Out* dst, uint32_t dstStride, Value value)
{
    if (!patchFits(pw, ph)) return LUMIVA_BAD_PARAMS;
    Integrals<In, Acc> integrals(src, w, h, srcStride);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            Acc s, q;
            int64_t count;
            integrals.window(x, y, pw, ph, &s, &q, &count);
            ilmvRowAt(dst, dstStride, y)[x] = value(ilmvRowAt(src, srcStride, y)[x], s, q, count);
        }
    return LUMIVA_SUCCESS;
}

}  // namespace

LMV_STATUS ilmvNormalizeLocalBoxf32(const float32_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint32_t pw,
                                    uint32_t ph, uint32_t useStdDev, float32_t* dst, uint32_t dstStride)
{
    return normaliseWindows<double>(src, w, h, srcStride, pw, ph, dst, dstStride,
                                    [&](float32_t p, double s, double q, int64_t count) {
                                        const double mean = s / double(count);
                                        const double variance = std::max(q / double(count) - mean * mean, 0.0);
                                        double v = double(p) - mean;
                                        if (useStdDev) v /= std::sqrt(variance) + 1e-6;
                                        return float32_t(v);
                                    });
}

LMV_STATUS ilmvNormalizeLocalBoxu8(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint32_t pw,
                                   uint32_t ph, uint32_t useStdDev, int8_t* dst, uint32_t dstStride)
{
    return normaliseWindows<int64_t>(src, w, h, srcStride, pw, ph, dst, dstStride,
                                     [&](uint8_t p, int64_t s, int64_t q, int64_t count) {
                                         // p - mean = d / count, exactly; the deviation times count
                                         // is sqrt(count q - s^2).
                                         const int64_t d = int64_t(p) * count - s;
                                         double v = double(d) / double(2 * count);
                                         if (useStdDev) {
                                             const int64_t spread = count * q - s * s;
                                             v = spread ? 32.0 * double(d) / std::sqrt(double(spread)) : 0.0;
                                         }
                                         return ilmvSaturate<int8_t>(int64_t(std::round(v)));
                                     });
}
