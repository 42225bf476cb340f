// The separable resampler (nearest, area, bilinear, bicubic), the fixed-ratio scalers, and
// the block transposer behind transposes, rotations and flips; with the reference kernels.
#include "cpu/lumivaGeometry.h"
#include "cpu/lumivaScale.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>

namespace {

// ---- Reference kernels ------------------------------------------------------------------------
void horizontalC(const uint8_t* row, uint32_t ch, const int32_t* at, const int16_t* w, uint32_t K, size_t count,
                 int32_t* out)
{
    for (size_t i = 0; i < count; ++i)
        for (uint32_t c = 0; c < ch; ++c) {
            int32_t sum = 0;
            for (uint32_t k = 0; k < K; ++k) sum += w[i * K + k] * row[size_t(at[i * K + k]) * ch + c];
            out[i * ch + c] = sum;
        }
}

void verticalC(const int32_t* const* rows, const int16_t* w, uint32_t K, size_t n, uint32_t shift, uint8_t* dst)
{
    const int32_t half = shift ? 1 << (shift - 1) : 0;
    for (size_t x = 0; x < n; ++x) {
        int32_t sum = 0;
        for (uint32_t k = 0; k < K; ++k) sum += w[k] * rows[k][x];
        dst[x] = uint8_t(std::clamp((sum + half) >> shift, 0, 255));
    }
}

void reverseC(const uint8_t* src, size_t n, uint32_t bpp, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i) std::memcpy(dst + (n - 1 - i) * bpp, src + i * bpp, bpp);
}

void transpose8x8C(const uint8_t* src, ptrdiff_t srcStride, uint32_t bpp, uint8_t* dst, ptrdiff_t dstStride)
{
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c) std::memcpy(dst + c * dstStride + r * bpp, src + r * srcStride + c * bpp, bpp);
}

void quarterC(const uint8_t* const* rows, size_t outWidth, uint8_t* dst)
{
    for (size_t x = 0; x < outWidth; ++x) {
        uint32_t sum = 0;
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c) sum += rows[r][4 * x + c];
        dst[x] = uint8_t(sum >> 4);
    }
}

void halfRoundedC(const uint8_t* a, const uint8_t* b, size_t outWidth, uint32_t ch, uint8_t* dst)
{
    for (size_t x = 0; x < outWidth; ++x)
        for (uint32_t c = 0; c < ch; ++c) {
            const size_t i = 2 * x * ch + c;
            dst[x * ch + c] = uint8_t((a[i] + a[i + ch] + b[i] + b[i + ch] + 2) >> 2);
        }
}

void rows31C(const uint8_t* a, const uint8_t* b, size_t n, uint16_t* out)
{
    for (size_t i = 0; i < n; ++i) out[i] = uint16_t(3 * a[i] + b[i]);
}

void up31C(const uint16_t* v, size_t n, uint32_t ch, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i)
        for (uint32_t c = 0; c < ch; ++c) {
            const uint32_t left = v[i * ch + c], mid = v[(i + 1) * ch + c], right = v[(i + 2) * ch + c];
            dst[2 * i * ch + c] = uint8_t((3 * mid + left + 8) >> 4);
            dst[(2 * i + 1) * ch + c] = uint8_t((3 * mid + right + 8) >> 4);
        }
}

void narrow31C(const uint16_t* v, size_t n, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i) dst[i] = uint8_t((v[i] + 2) >> 2);
}

void pyrVerticalC(const uint8_t* a, const uint8_t* b, const uint8_t* c, size_t n, bool even, uint16_t* out)
{
    for (size_t i = 0; i < n; ++i) out[i + 1] = uint16_t(even ? a[i] + 6 * b[i] + c[i] : 4 * (b[i] + c[i]));
}

void pyrHorizontalC(const uint16_t* v, size_t n, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i) {
        dst[2 * i] = uint8_t((v[i] + 6 * v[i + 1] + v[i + 2] + 32) >> 6);
        dst[2 * i + 1] = uint8_t((4 * (v[i + 1] + v[i + 2]) + 32) >> 6);
    }
}

// ---- Axis tables of the resampler -------------------------------------------------------------
struct Axis {
    std::vector<int32_t> at;
    std::vector<int16_t> w;
    uint32_t K = 1;
    uint32_t total = 1;  // what the weights of one output sum to
};

int32_t clampIndex(int64_t i, uint32_t size)
{
    return int32_t(std::clamp<int64_t>(i, 0, int64_t(size) - 1));
}

// Source position of output i: (i + 0.5) * from / to - 0.5, the ratio taken as 1 / (to / from).
float sourcePosition(uint32_t i, uint32_t from, uint32_t to)
{
    const double scale = 1.0 / (double(to) / from);
    return float((i + 0.5) * scale - 0.5);
}

Axis bilinearAxis(uint32_t from, uint32_t to)
{
    Axis a;
    a.K = 2, a.total = 2048, a.at.resize(2 * size_t(to)), a.w.resize(2 * size_t(to));
    for (uint32_t i = 0; i < to; ++i) {
        float f = sourcePosition(i, from, to);
        int64_t s = int64_t(std::floor(f));
        f -= float(s);
        if (s < 0) f = 0, s = 0;
        if (s >= int64_t(from) - 1) f = 0, s = int64_t(from) - 1;
        a.at[2 * i] = clampIndex(s, from), a.at[2 * i + 1] = clampIndex(s + 1, from);
        a.w[2 * i] = int16_t(std::lrint((1.f - f) * 2048.f));
        a.w[2 * i + 1] = int16_t(std::lrint(f * 2048.f));
    }
    return a;
}

Axis cubicAxis(uint32_t from, uint32_t to)
{
    Axis a;
    a.K = 4, a.total = 2048, a.at.resize(4 * size_t(to)), a.w.resize(4 * size_t(to));
    for (uint32_t i = 0; i < to; ++i) {
        float f = sourcePosition(i, from, to);
        const int64_t s = int64_t(std::floor(f));
        f -= float(s);
        float c[4];
        ilmvCubicCoefficients(f, c);
        for (int k = 0; k < 4; ++k) {
            a.at[4 * i + k] = clampIndex(s - 1 + k, from);
            a.w[4 * i + k] = int16_t(std::lrint(c[k] * 2048.f));
        }
    }
    return a;
}

Axis areaAxis(uint32_t from, uint32_t to)
{
    Axis a;
    ilmvAreaTaps(from, to, a.at, a.w, a.K, a.total);
    return a;
}

// Output row y of the resampler: the vertical taps' horizontal sums, kept in a cache of K rows
// keyed by source row.
class RowCache {
public:
    RowCache(const ilmvGeometryRows& rows, const ilmvSource& src, const Axis& ax, size_t outValues)
        : rows_(rows), src_(src), ax_(ax), n_(outValues), store_(ax.K * 2, std::vector<int32_t>(outValues)),
          key_(ax.K * 2, -1)
    {
    }

    const int32_t* row(int32_t r)
    {
        const size_t slot = size_t(r) % key_.size();
        if (key_[slot] != r) {
            rows_.horizontal(src_.data + size_t(r) * src_.stride, src_.bpp, ax_.at.data(), ax_.w.data(), ax_.K,
                             n_ / src_.bpp, store_[slot].data());
            key_[slot] = r;
        }
        return store_[slot].data();
    }

private:
    const ilmvGeometryRows& rows_;
    const ilmvSource& src_;
    const Axis& ax_;
    size_t n_;
    std::vector<std::vector<int32_t>> store_;
    std::vector<int32_t> key_;
};

// Area sums need 64 bits: the exact weights' product reaches 255 x total.
void verticalArea(const int32_t* const* rows, const int16_t* w, uint32_t K, size_t n, uint64_t total, uint8_t* dst)
{
    for (size_t x = 0; x < n; ++x) {
        int64_t sum = 0;
        for (uint32_t k = 0; k < K; ++k) sum += int64_t(w[k]) * rows[k][x];
        dst[x] = uint8_t((2 * uint64_t(sum) + total) / (2 * total));
    }
}

void separable(const ilmvGeometryRows& rows, const ilmvSource& src, const ilmvTarget& dst, const Axis& ax,
               const Axis& ay, bool area)
{
    const size_t values = size_t(dst.width) * src.bpp;
    RowCache cache(rows, src, ax, values);
    std::vector<const int32_t*> taps(ay.K);
    const uint32_t shift = area ? 0 : 22;
    for (uint32_t y = 0; y < dst.height; ++y) {
        for (uint32_t k = 0; k < ay.K; ++k) taps[k] = cache.row(ay.at[size_t(y) * ay.K + k]);
        uint8_t* out = dst.data + size_t(y) * dst.stride;
        if (area) verticalArea(taps.data(), &ay.w[size_t(y) * ay.K], ay.K, values, uint64_t(ax.total) * ay.total, out);
        else rows.vertical(taps.data(), &ay.w[size_t(y) * ay.K], ay.K, values, shift, out);
    }
}

void nearestResize(const ilmvGeometryRows& rows, const ilmvSource& src, const ilmvTarget& dst)
{
    // Output i reads floor(i x from / to), the ratio taken as 1 / (to / from).
    auto index = [](uint32_t i, uint32_t from, uint32_t to) {
        return std::min<int32_t>(int32_t(std::floor(i * (1.0 / (double(to) / from)))), int32_t(from) - 1);
    };
    std::vector<int32_t> X(dst.width), Y(dst.width);
    for (uint32_t x = 0; x < dst.width; ++x) X[x] = index(x, src.width, dst.width);
    for (uint32_t y = 0; y < dst.height; ++y) {
        std::fill(Y.begin(), Y.end(), index(y, src.height, dst.height));
        rows.nearest(src.data, src.stride, src.bpp, X.data(), Y.data(), dst.width, dst.data + size_t(y) * dst.stride);
    }
}

void halveRounded(const ilmvGeometryRows& rows, const ilmvSource& src, const ilmvTarget& dst)
{
    for (uint32_t y = 0; y < dst.height; ++y) {
        const uint8_t* a = src.data + size_t(2 * y) * src.stride;
        rows.halfRounded(a, a + src.stride, dst.width, src.bpp, dst.data + size_t(y) * dst.stride);
    }
}

}  // namespace

void ilmvAreaTaps(uint32_t from, uint32_t to, std::vector<int32_t>& at, std::vector<int16_t>& w, uint32_t& K,
                  uint32_t& total)
{
    // Source pixel j spans [j u, (j + 1) u) and output i spans [i v, (i + 1) v), u = to / g,
    // v = from / g: each output's weights are its overlaps and sum to v.
    const uint64_t g = std::gcd(from, to), u = to / g, v = from / g;
    K = uint32_t((v + u - 1) / u + 1);
    total = uint32_t(v);
    at.assign(size_t(to) * K, 0);
    w.assign(size_t(to) * K, 0);
    for (uint64_t i = 0; i < to; ++i) {
        const uint64_t lo = i * v, hi = lo + v;
        uint64_t j = lo / u;
        for (uint32_t k = 0; k < K; ++k, ++j) {
            const uint64_t a = std::max(lo, j * u), b = std::min(hi, (j + 1) * u);
            at[i * K + k] = clampIndex(int64_t(j), from);
            w[i * K + k] = int16_t(b > a ? b - a : 0);
        }
    }
}

LMV_STATUS ilmvResize(const ilmvGeometryRows& rows, const ilmvSource& src, const ilmvTarget& dst, int32_t interpolation)
{
    const bool half = src.width == 2 * dst.width && src.height == 2 * dst.height;
    switch (interpolation) {
    case ilmvNearest: nearestResize(rows, src, dst); break;
    case ilmvBilinear:
        if (half) halveRounded(rows, src, dst);  // both taps weigh 1/2: the rounded 2x2 mean
        else separable(rows, src, dst, bilinearAxis(src.width, dst.width), bilinearAxis(src.height, dst.height), false);
        break;
    case 2:
        if (half) halveRounded(rows, src, dst);
        else separable(rows, src, dst, areaAxis(src.width, dst.width), areaAxis(src.height, dst.height), true);
        break;
    case ilmvBicubic:
        separable(rows, src, dst, cubicAxis(src.width, dst.width), cubicAxis(src.height, dst.height), false);
        break;
    default: return LUMIVA_BAD_PARAMS;
    }
    return LUMIVA_SUCCESS;
}

void ilmvScaleDownAuto(const ilmvGeometryRows& rows, const ilmvSource& src, const ilmvTarget& dst)
{
    if (src.width == 2 * dst.width && src.height == 2 * dst.height) {
        ilmvScaleDownBy2Frame(rows.halfTruncated, src.data, src.width, src.height, src.stride, dst.data, dst.stride);
    } else if (src.width == 4 * dst.width && src.height == 4 * dst.height) {
        ilmvScaleDownBy4(rows, src, dst.data, dst.stride);
    } else {
        ilmvResize(rows, src, dst, 2);
    }
}

// The scale's mapping as an affine warp: source = (d + 0.5) from / to - 0.5 + offset.
LMV_STATUS ilmvScaleOffset(const ilmvGeometryRows& rows, const ilmvSource& src, const ilmvTarget& dst,
                           int32_t interpolation, LMV_BORDER_TYPE border, uint8_t borderValue, float32_t offsetX,
                           float32_t offsetY)
{
    if (border < LUMIVA_BORDER_UNDEFINED || border > LUMIVA_BORDER_REPLICATE) return LUMIVA_BAD_PARAMS;
    if (interpolation == 2) {
        if (offsetX != 0 || offsetY != 0) return LUMIVA_BAD_PARAMS;
        return ilmvResize(rows, src, dst, interpolation);
    }
    const double sx = double(src.width) / dst.width, sy = double(src.height) / dst.height;
    const double m[6] = {sx, 0, 0.5 * sx - 0.5 + offsetX, 0, sy, 0.5 * sy - 0.5 + offsetY};
    return ilmvWarpAffineD(rows, src, m, dst, interpolation, border, borderValue, nullptr);
}

// ---- Fixed ratios -----------------------------------------------------------------------------
void ilmvScaleDownBy4(const ilmvGeometryRows& rows, const ilmvSource& src, uint8_t* dst, uint32_t dstStride)
{
    for (uint32_t y = 0; y < src.height / 4; ++y) {
        const uint8_t* r[4];
        for (int k = 0; k < 4; ++k) r[k] = src.data + size_t(4 * y + k) * src.stride;
        rows.quarter(r, src.width / 4, dst + size_t(y) * dstStride);
    }
}

// Each 3x3 block gives a 2x2 block: weights (2, 1, 0) and (0, 1, 2) per axis, the sum over 9
// rounded half up.
void ilmvScaleDown3To2(const ilmvSource& src, uint8_t* dst, uint32_t dstStride)
{
    static const uint32_t kW[2][3] = {{2, 1, 0}, {0, 1, 2}};
    for (uint32_t by = 0; by < src.height / 3; ++by)
        for (uint32_t bx = 0; bx < src.width / 3; ++bx)
            for (int oy = 0; oy < 2; ++oy)
                for (int ox = 0; ox < 2; ++ox) {
                    uint32_t sum = 0;
                    for (int i = 0; i < 3; ++i)
                        for (int j = 0; j < 3; ++j)
                            sum += kW[oy][i] * kW[ox][j] * src.data[size_t(3 * by + i) * src.stride + 3 * bx + j];
                    dst[size_t(2 * by + oy) * dstStride + 2 * bx + ox] = uint8_t((2 * sum + 9) / 18);
                }
}

// [1 2 1] x [1 2 1] around every even pixel, edges repeated, (sum + 8) >> 4.
LMV_STATUS ilmvScaleDownBy2Gaussian3x3(const ilmvSource& src, uint8_t* dst, uint32_t dstStride)
{
    const int32_t w = int32_t(src.width), h = int32_t(src.height);
    auto at = [&](int32_t x, int32_t y) {
        return uint32_t(src.data[size_t(std::clamp(y, 0, h - 1)) * src.stride + size_t(std::clamp(x, 0, w - 1))]);
    };
    for (int32_t y = 0; y < h / 2; ++y)
        for (int32_t x = 0; x < w / 2; ++x) {
            uint32_t sum = 0;
            for (int i = -1; i <= 1; ++i)
                for (int j = -1; j <= 1; ++j) sum += (2 - (i != 0)) * (2 - (j != 0)) * at(2 * x + j, 2 * y + i);
            dst[size_t(y) * dstStride + size_t(x)] = uint8_t((sum + 8) >> 4);
        }
    return LUMIVA_SUCCESS;
}

// Source index of the 5x5 up-sampling's taps: -1 reads 1 (mirrored), n reads n - 1.
static int32_t pyrIndex(int32_t i, int32_t n)
{
    return i < 0 ? std::min(1, n - 1) : std::min(i, n - 1);
}

void ilmvScaleUpBy2Gaussian5x5(const ilmvGeometryRows& rows, const ilmvSource& src, uint8_t* dst,
                                   uint32_t dstStride)
{
    const int32_t w = int32_t(src.width), h = int32_t(src.height);
    std::vector<uint16_t> v(size_t(w) + 2);
    for (int32_t y = 0; y < 2 * h; ++y) {
        const int32_t j = y / 2;
        auto row = [&](int32_t r) { return src.data + size_t(pyrIndex(r, h)) * src.stride; };
        rows.pyrVertical(row(j - 1), row(j), row(j + 1), size_t(w), y % 2 == 0, v.data());
        v[0] = v[size_t(pyrIndex(-1, w)) + 1];
        v[size_t(w) + 1] = v[size_t(w)];
        rows.pyrHorizontal(v.data(), size_t(w), dst + size_t(y) * dstStride);
    }
}

// Each row of 3 a + b sums gets one repeated edge value on either side, so the kernels read
// both neighbours of every pixel without clamping.
void ilmvUpsample(const ilmvGeometryRows& rows, const ilmvSource& src, uint8_t* dst, uint32_t dstStride, bool across,
                  bool down)
{
    const size_t values = size_t(src.width) * src.bpp, ch = src.bpp;
    std::vector<uint16_t> v(values + 2 * ch);
    const uint32_t outRows = down ? 2 * src.height : src.height;
    for (uint32_t y = 0; y < outRows; ++y) {
        const uint32_t j = down ? y / 2 : y;
        const uint32_t other = !down ? j : y % 2 ? std::min(j + 1, src.height - 1) : (j ? j - 1 : 0);
        rows.rows31(src.data + size_t(j) * src.stride, src.data + size_t(other) * src.stride, values, v.data() + ch);
        uint8_t* out = dst + size_t(y) * dstStride;
        if (!across) {
            rows.narrow31(v.data() + ch, values, out);
            continue;
        }
        std::copy_n(v.data() + ch, ch, v.data());
        std::copy_n(v.data() + values, ch, v.data() + values + ch);
        rows.up31(v.data(), src.width, src.bpp, out);
    }
}

// ---- Flips, transposes, rotations -------------------------------------------------------------
namespace {

inline ptrdiff_t at(uint32_t i)
{
    return ptrdiff_t(i);
}

// dst(c, r) = src(r, c) over a w x h source, rows at signed strides.
void transposeWalk(const ilmvGeometryRows& rows, const uint8_t* src, ptrdiff_t ss, uint32_t w, uint32_t h,
                   uint32_t bpp, uint8_t* dst, ptrdiff_t ds)
{
    uint32_t r = 0;
    for (; r + 8 <= h; r += 8) {
        uint32_t c = 0;
        for (; c + 8 <= w; c += 8) rows.transpose8x8(src + at(r) * ss + at(c * bpp), ss, bpp, dst + at(c) * ds + at(r * bpp), ds);
        for (; c < w; ++c)
            for (uint32_t k = r; k < r + 8; ++k) std::memcpy(dst + at(c) * ds + at(k * bpp), src + at(k) * ss + at(c * bpp), bpp);
    }
    for (; r < h; ++r)
        for (uint32_t c = 0; c < w; ++c) std::memcpy(dst + at(c) * ds + at(r * bpp), src + at(r) * ss + at(c * bpp), bpp);
}

}  // namespace

void ilmvTranspose(const ilmvGeometryRows& rows, const ilmvSource& src, uint8_t* dst, uint32_t dstStride)
{
    transposeWalk(rows, src.data, src.stride, src.width, src.height, src.bpp, dst, dstStride);
}

void ilmvFlip(const ilmvGeometryRows& rows, const ilmvSource& src, uint8_t* dst, uint32_t dstStride, int32_t direction)
{
    const bool mirror = direction & 1, upside = direction & 2;
    const size_t bytes = size_t(src.width) * src.bpp;
    auto rowInto = [&](const uint8_t* from, uint8_t* to) {
        if (mirror) rows.reverse(from, src.width, src.bpp, to);
        else std::memmove(to, from, bytes);
    };
    const uintptr_t srcFirst = reinterpret_cast<uintptr_t>(src.data), dstFirst = reinterpret_cast<uintptr_t>(dst);
    const bool overlap = dstFirst < srcFirst + size_t(src.height - 1) * src.stride + bytes &&
                         srcFirst < dstFirst + size_t(src.height - 1) * dstStride + bytes;
    if (!overlap) {
        for (uint32_t y = 0; y < src.height; ++y)
            rowInto(src.data + size_t(y) * src.stride, dst + size_t(upside ? src.height - 1 - y : y) * dstStride);
        return;
    }
    // In place (dst is src): rows are taken in pairs through buffers.
    std::vector<uint8_t> top(bytes), bottom(bytes);
    for (uint32_t y = 0; y < (src.height + 1) / 2; ++y) {
        const uint32_t pair = src.height - 1 - y, ty = upside ? pair : y, by = upside ? y : pair;
        rowInto(src.data + size_t(y) * src.stride, top.data());
        rowInto(src.data + size_t(pair) * src.stride, bottom.data());
        std::memcpy(dst + size_t(ty) * dstStride, top.data(), bytes);
        std::memcpy(dst + size_t(by) * dstStride, bottom.data(), bytes);
    }
}

bool ilmvRotate(const ilmvGeometryRows& rows, const ilmvSource& src, uint8_t* dst, uint32_t dstStride, int32_t degree)
{
    const ptrdiff_t ss = src.stride, ds = dstStride;
    const uint8_t* last = src.data + size_t(src.height - 1) * src.stride;
    switch (degree) {
    case 1:  // dst(r, c) = src(h - 1 - c, r): the source read bottom-up, transposed
        transposeWalk(rows, last, -ss, src.width, src.height, src.bpp, dst, ds);
        return true;
    case 2:
        for (uint32_t y = 0; y < src.height; ++y)
            rows.reverse(last - ptrdiff_t(y) * ss, src.width, src.bpp, dst + size_t(y) * dstStride);
        return true;
    case 3:  // dst(r, c) = src(c, w - 1 - r): transposed into rows written bottom-up
        transposeWalk(rows, src.data, ss, src.width, src.height, src.bpp, dst + size_t(src.width - 1) * dstStride, -ds);
        return true;
    default: return false;
    }
}

void ilmvCopy(const uint8_t* src, uint32_t widthBytes, uint32_t height, uint32_t srcStride, uint8_t* dst,
              uint32_t dstStride)
{
    for (uint32_t y = 0; y < height; ++y)
        std::memmove(dst + size_t(y) * dstStride, src + size_t(y) * srcStride, widthBytes);
}

void ilmvResampleRowsC(ilmvGeometryRows& r)
{
    r.horizontal = horizontalC;
    r.vertical = verticalC;
    r.reverse = reverseC;
    r.transpose8x8 = transpose8x8C;
    r.quarter = quarterC;
    r.halfRounded = halfRoundedC;
    r.halfTruncated = ilmvHalfRowC;
    r.rows31 = rows31C;
    r.up31 = up31C;
    r.narrow31 = narrow31C;
    r.pyrVertical = pyrVerticalC;
    r.pyrHorizontal = pyrHorizontalC;
}
