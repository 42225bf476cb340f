// The mapping frame: destination-to-source coordinates (affine, projective, maps), the
// nearest, bilinear and bicubic samplers with their border rules, and the reference samplers.
//
// Coordinates follow the fixed point the rest of the vision world uses for warps, so that
// results are reproducible bit for bit: 1/32 pixel, the matrix products in double rounded
// half to even, 15-bit bicubic weights.
#include "cpu/lumivaGeometry.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr int kBits = 5;  // fractional bits of a coordinate
constexpr int kSteps = 1 << kBits;

// Half to even, saturated to int32: how a double coordinate becomes an integer.
int64_t roundToInt(double v)
{
    if (!(v == v)) return std::numeric_limits<int32_t>::min();
    v = std::nearbyint(v);
    return int64_t(std::clamp(v, double(std::numeric_limits<int32_t>::min()), double(std::numeric_limits<int32_t>::max())));
}

// Coordinates saturate to 16-bit pixel positions: whole pixels to -32768 .. 32767, 1/32
// pixels to the same range of whole parts (beyond it every sample lies outside any image the
// library takes, or repeats one edge pixel, so the phase there never shows).
constexpr int64_t kLowest = -32768, kHighest = 32767;

template <class T>
inline int32_t saturateWhole(T X)
{
    return int32_t(X < T(kLowest) ? T(kLowest) : X > T(kHighest) ? T(kHighest) : X);
}

template <class T>
inline int32_t saturateFixed(T X)
{
    constexpr T lo = T(kLowest * kSteps), hi = T(kHighest * kSteps + kSteps - 1);
    return int32_t(X < lo ? lo : X > hi ? hi : X);
}

// Half to even of a float already scaled, saturated as roundToInt does.
inline int64_t roundFloat(float v)
{
    if (!(v == v)) return std::numeric_limits<int32_t>::min();
    if (v > 2147483520.f) return std::numeric_limits<int32_t>::max();
    if (v < -2147483648.f) return std::numeric_limits<int32_t>::min();
    return int64_t(std::nearbyint(v));
}

void nearestC(const uint8_t* src, size_t stride, uint32_t bpp, const int32_t* X, const int32_t* Y, size_t n,
              uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i, dst += bpp) {
        const uint8_t* p = src + size_t(Y[i]) * stride + size_t(X[i]) * bpp;
        for (uint32_t c = 0; c < bpp; ++c) dst[c] = p[c];
    }
}

inline uint8_t blend(uint32_t p00, uint32_t p01, uint32_t p10, uint32_t p11, uint32_t fx, uint32_t fy)
{
    const uint32_t top = p00 * (kSteps - fx) + p01 * fx, bottom = p10 * (kSteps - fx) + p11 * fx;
    return uint8_t((top * (kSteps - fy) + bottom * fy + 512) >> 10);
}

void bilinearC(const uint8_t* src, size_t stride, uint32_t bpp, const int32_t* X, const int32_t* Y, size_t n,
               uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i, dst += bpp) {
        const uint8_t* p = src + size_t(Y[i] >> kBits) * stride + size_t(X[i] >> kBits) * bpp;
        const uint32_t fx = X[i] & (kSteps - 1), fy = Y[i] & (kSteps - 1);
        for (uint32_t c = 0; c < bpp; ++c)
            dst[c] = blend(p[c], p[c + bpp], p[c + stride], p[c + stride + bpp], fx, fy);
    }
}

// ---- Bicubic weights: the A = -0.75 cubic at 32 phases, products rounded to 1/32768 and
// saturated to 16 bits, then trued so that each table sums to 32768: the correction goes to the
// largest or smallest of the four taps at rows and columns 2 and 3 (at phase 0 the centre tap
// keeps 32767 and the tap below right gets 1, as the common fixed-point tables have it).
}  // namespace

void ilmvCubicCoefficients(float x, float* c)
{
    const float A = -0.75f;
    c[0] = ((A * (x + 1) - 5 * A) * (x + 1) + 8 * A) * (x + 1) - 4 * A;
    c[1] = ((A + 2) * x - (A + 3)) * x * x + 1;
    c[2] = ((A + 2) * (1 - x) - (A + 3)) * (1 - x) * (1 - x) + 1;
    c[3] = 1.f - c[0] - c[1] - c[2];
}

namespace {

struct CubicTables {
    int16_t w[kSteps * kSteps][16];
    CubicTables()
    {
        float one[kSteps][4];
        for (int i = 0; i < kSteps; ++i) ilmvCubicCoefficients(float(i) * (1.f / kSteps), one[i]);
        for (int fy = 0; fy < kSteps; ++fy)
            for (int fx = 0; fx < kSteps; ++fx) fill(one[fy], one[fx], w[fy * kSteps + fx]);
    }
    static void fill(const float* vy, const float* vx, int16_t* t)
    {
        int sum = 0;
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) sum += t[i * 4 + j] = int16_t(std::clamp<long>(std::lrint(vy[i] * vx[j] * 32768.f), -32768, 32767));
        const int diff = sum - 32768;
        if (!diff) return;
        int lo = 2 * 4 + 2, hi = lo;
        for (int i = 2; i < 4; ++i)
            for (int j = 2; j < 4; ++j) {
                if (t[i * 4 + j] < t[lo]) lo = i * 4 + j;
                else if (t[i * 4 + j] > t[hi]) hi = i * 4 + j;
            }
        if (diff < 0) t[hi] = int16_t(t[hi] - diff);
        else t[lo] = int16_t(t[lo] - diff);
    }
};

uint8_t cubicSum(const uint8_t* const* taps, const int16_t* w)
{
    int32_t sum = 0;
    for (int k = 0; k < 16; ++k) sum += int32_t(*taps[k]) * w[k];
    return uint8_t(std::clamp((sum + (1 << 14)) >> 15, 0, 255));
}

// ---- Where a sampler's neighbourhood lies, and the border pixels.
struct Neighbourhood {
    int32_t before, size;  // taps start `before` pixels ahead of the sample's pixel, `size` of them
};

Neighbourhood reach(ilmvSampler s)
{
    return s == ilmvNearest ? Neighbourhood{0, 1} : s == ilmvBilinear ? Neighbourhood{0, 2} : Neighbourhood{1, 4};
}

inline bool inside(int32_t s, int32_t before, int32_t size, uint32_t extent)
{
    return uint32_t(s - before) < uint32_t(std::max<int64_t>(int64_t(extent) - size + 1, 0));
}

class BorderPixel {
public:
    BorderPixel(const ilmvSource& src, const ilmvSampling& sampling) : src_(src), s_(sampling) {}

    void write(int32_t X, int32_t Y, uint8_t* dst) const
    {
        const bool whole = s_.sampler == ilmvNearest;
        const int32_t sx = whole ? X : X >> kBits, sy = whole ? Y : Y >> kBits;
        const uint32_t fx = whole ? 0 : X & (kSteps - 1), fy = whole ? 0 : Y & (kSteps - 1);
        for (uint32_t c = 0; c < src_.bpp; ++c) {
            if (s_.sampler == ilmvNearest) dst[c] = at(sx, sy, c);
            else if (s_.sampler == ilmvBilinear)
                dst[c] = blend(at(sx, sy, c), at(sx + 1, sy, c), at(sx, sy + 1, c), at(sx + 1, sy + 1, c), fx, fy);
            else dst[c] = cubic(sx - 1, sy - 1, c, fx, fy);
        }
    }

private:
    uint8_t at(int32_t x, int32_t y, uint32_t c) const
    {
        const bool out = x < 0 || y < 0 || x >= int32_t(src_.width) || y >= int32_t(src_.height);
        if (out && s_.border == LUMIVA_BORDER_CONSTANT) return s_.borderValue;
        x = std::clamp<int32_t>(x, 0, int32_t(src_.width) - 1);
        y = std::clamp<int32_t>(y, 0, int32_t(src_.height) - 1);
        return src_.data[size_t(y) * src_.stride + size_t(x) * src_.bpp + c];
    }

    uint8_t cubic(int32_t x, int32_t y, uint32_t c, uint32_t fx, uint32_t fy) const
    {
        uint8_t values[16];
        const uint8_t* taps[16];
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) {
                values[i * 4 + j] = at(x + j, y + i, c);
                taps[i * 4 + j] = &values[i * 4 + j];
            }
        return cubicSum(taps, ilmvCubicWeights(fx, fy));
    }

    const ilmvSource& src_;
    const ilmvSampling& s_;
};

void cubicRun(const ilmvSource& src, const int32_t* X, const int32_t* Y, size_t n, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i, dst += src.bpp) {
        const uint8_t* p = src.data + size_t((Y[i] >> kBits) - 1) * src.stride + size_t((X[i] >> kBits) - 1) * src.bpp;
        const int16_t* w = ilmvCubicWeights(X[i] & (kSteps - 1), Y[i] & (kSteps - 1));
        for (uint32_t c = 0; c < src.bpp; ++c) {
            const uint8_t* taps[16];
            for (int k = 0; k < 16; ++k) taps[k] = p + size_t(k / 4) * src.stride + size_t(k % 4) * src.bpp + c;
            dst[c] = cubicSum(taps, w);
        }
    }
}

bool known(const ilmvSampling& s)
{
    const bool sampler = s.sampler == ilmvNearest || s.sampler == ilmvBilinear || s.sampler == ilmvBicubic;
    return sampler && s.border >= LUMIVA_BORDER_UNDEFINED && s.border <= LUMIVA_BORDER_REPLICATE;
}

}  // namespace

const int16_t* ilmvCubicWeights(uint32_t fx, uint32_t fy)
{
    static const CubicTables tables;
    return tables.w[fy * kSteps + fx];
}

// ---- Mappings ---------------------------------------------------------------------------------
ilmvAffineMapping::ilmvAffineMapping(const double matrix[6], ilmvSampler sampler, uint32_t width)
    : whole(sampler == ilmvNearest), dx(width), dy(width)
{
    std::copy(matrix, matrix + 6, m);
    for (uint32_t x = 0; x < width; ++x) {
        dx[x] = int32_t(roundToInt(m[0] * x * 1024));
        dy[x] = int32_t(roundToInt(m[3] * x * 1024));
        reach = std::max({reach, std::abs(int64_t(dx[x])), std::abs(int64_t(dy[x]))});
    }
}

// X = (rint((m1 y + m2) 1024) + half + rint(m0 x 1024)) >> shift: 10 bits of the products kept,
// then 5 of them (1/32 pixel) or none (nearest, rounded at the half).
void ilmvAffineMapping::rowTerms(uint32_t y, int32_t& X0, int32_t& Y0) const
{
    X0 = int32_t(roundToInt((m[1] * y + m[2]) * 1024));
    Y0 = int32_t(roundToInt((m[4] * y + m[5]) * 1024));
}

namespace {

// X = saturate((row + column) >> shift) over a row; T is wide enough for every sum.
template <class T>
void affineRow(T X0, T Y0, const int32_t* cx, const int32_t* cy, uint32_t n, int shift, bool whole, int32_t* X,
               int32_t* Y)
{
    if (whole) {
        for (uint32_t i = 0; i < n; ++i) X[i] = saturateWhole((X0 + cx[i]) >> shift), Y[i] = saturateWhole((Y0 + cy[i]) >> shift);
    } else {
        for (uint32_t i = 0; i < n; ++i) X[i] = saturateFixed((X0 + cx[i]) >> shift), Y[i] = saturateFixed((Y0 + cy[i]) >> shift);
    }
}

}  // namespace

// Sums of terms below 2^30 fit 32 bits exactly, and 32-bit lanes go twice as far: the same
// values either way.
void ilmvAffineMapping::row(uint32_t y, uint32_t x, uint32_t n, int32_t* X, int32_t* Y) const
{
    int32_t rowX, rowY;
    rowTerms(y, rowX, rowY);
    const int64_t X0 = int64_t(rowX) + half(), Y0 = int64_t(rowY) + half();
    constexpr int64_t kNarrow = int64_t(1) << 30;
    if (reach < kNarrow && std::abs(X0) < kNarrow && std::abs(Y0) < kNarrow)
        affineRow<int32_t>(int32_t(X0), int32_t(Y0), dx.data() + x, dy.data() + x, n, shift(), whole, X, Y);
    else
        affineRow<int64_t>(X0, Y0, dx.data() + x, dy.data() + x, n, shift(), whole, X, Y);
}

uint32_t ilmvPerspectiveBlock(uint32_t dstWidth, uint32_t dstHeight)
{
    return std::max(1u, std::min(1024u / std::max(1u, std::min(16u, dstHeight)), dstWidth));
}

ilmvPerspectiveMapping::ilmvPerspectiveMapping(const double matrix[9], ilmvSampler sampler, uint32_t dstWidth,
                                               uint32_t dstHeight)
    : whole(sampler == ilmvNearest)
{
    std::copy(matrix, matrix + 9, m);
    block = ilmvPerspectiveBlock(dstWidth, dstHeight);
}

// The sums restart every `block` columns: X = (m0 b + m1 y + m2) + m0 i at column b + i, and
// likewise Y and W; the projection multiplies by 1/W (32/W for 1/32 pixel), 0 when W is 0.
void ilmvPerspectiveMapping::row(uint32_t y, uint32_t x, uint32_t n, int32_t* X, int32_t* Y) const
{
    const double unit = whole ? 1.0 : double(kSteps);
    const double lo = std::numeric_limits<int32_t>::min(), hi = std::numeric_limits<int32_t>::max();
    for (uint32_t i = 0; i < n;) {
        const uint32_t c = x + i, b = c - c % block, end = std::min(n, i + (b + block - c));
        const double X0 = m[0] * b + m[1] * y + m[2], Y0 = m[3] * b + m[4] * y + m[5], W0 = m[6] * b + m[7] * y + m[8];
        for (uint32_t k = c - b; i < end; ++i, ++k) {
            double W = W0 + m[6] * k;
            W = W != 0 ? unit / W : 0;
            const double fX = std::max(lo, std::min(hi, (X0 + m[0] * k) * W));
            const double fY = std::max(lo, std::min(hi, (Y0 + m[3] * k) * W));
            X[i] = whole ? saturateWhole(roundToInt(fX)) : saturateFixed(roundToInt(fX));
            Y[i] = whole ? saturateWhole(roundToInt(fY)) : saturateFixed(roundToInt(fY));
        }
    }
}

// Map values are rounded half to even (times 32 first for 1/32 pixel); NaN lands outside.
void ilmvMapMapping::row(uint32_t y, uint32_t x, uint32_t n, int32_t* X, int32_t* Y) const
{
    const float32_t* rx = reinterpret_cast<const float32_t*>(reinterpret_cast<const uint8_t*>(mx) + size_t(y) * stride);
    const float32_t* ry = reinterpret_cast<const float32_t*>(reinterpret_cast<const uint8_t*>(my) + size_t(y) * stride);
    const float32_t unit = whole ? 1.f : float32_t(kSteps);
    for (uint32_t i = 0; i < n; ++i) {
        const int64_t sx = roundFloat(rx[x + i] * unit), sy = roundFloat(ry[x + i] * unit);
        X[i] = whole ? saturateWhole(sx) : saturateFixed(sx);
        Y[i] = whole ? saturateWhole(sy) : saturateFixed(sy);
    }
}

// ---- The frame --------------------------------------------------------------------------------
bool ilmvWarpFrame(const ilmvGeometryRows& rows, const ilmvSource& src, const ilmvTarget& dst,
                   const ilmvSampling& sampling, const ilmvMapping& mapping)
{
    if (!known(sampling)) return false;
    const bool all = !dst.x1 && !dst.y1;
    const uint32_t x0 = all ? 0 : dst.x0, x1 = all ? dst.width : dst.x1;
    const uint32_t y0 = all ? 0 : dst.y0, y1 = all ? dst.height : dst.y1;
    const size_t n = x1 - x0;
    const Neighbourhood hood = reach(sampling.sampler);
    const bool whole = sampling.sampler == ilmvNearest;
    const BorderPixel border(src, sampling);
    std::vector<int32_t> X(n + 1), Y(n + 1);
    auto in = [&](size_t i) {
        const int32_t sx = whole ? X[i] : X[i] >> kBits, sy = whole ? Y[i] : Y[i] >> kBits;
        return inside(sx, hood.before, hood.size, src.width) && inside(sy, hood.before, hood.size, src.height);
    };
    for (uint32_t y = y0; y < y1; ++y) {
        mapping.row(y, x0, uint32_t(n), X.data(), Y.data());
        uint8_t* out = dst.data + size_t(y) * dst.stride + size_t(x0) * src.bpp;
        int64_t first = -1, last = -1;
        for (size_t i = 0; i < n;) {
            const size_t start = i;
            while (i < n && in(i)) ++i;
            if (i > start) {
                uint8_t* to = out + start * src.bpp;
                if (sampling.sampler == ilmvNearest)
                    rows.nearest(src.data, src.stride, src.bpp, &X[start], &Y[start], i - start, to);
                else if (sampling.sampler == ilmvBilinear)
                    rows.bilinear(src.data, src.stride, src.bpp, &X[start], &Y[start], i - start, to);
                else cubicRun(src, &X[start], &Y[start], i - start, to);
                if (first < 0) first = int64_t(x0 + start);
                last = int64_t(x0 + i - 1);
            }
            for (; i < n && !in(i); ++i)
                if (sampling.border != LUMIVA_BORDER_UNDEFINED) border.write(X[i], Y[i], out + i * src.bpp);
        }
        if (sampling.extent) {
            sampling.extent[2 * size_t(y)] = first < 0 ? dst.width : uint32_t(first);
            sampling.extent[2 * size_t(y) + 1] = first < 0 ? 0 : uint32_t(last);
        }
    }
    return true;
}

// ---- The entries' bodies ----------------------------------------------------------------------
namespace {

bool samplerOf(int32_t interpolation, ilmvSampler& s)
{
    if (interpolation != ilmvNearest && interpolation != ilmvBilinear && interpolation != ilmvBicubic) return false;
    s = ilmvSampler(interpolation);
    return true;
}

template <int N>
void widen(const float32_t* m, double* out)
{
    for (int i = 0; i < N; ++i) out[i] = m[i];
}

}  // namespace

LMV_STATUS ilmvWarpAffine(const ilmvGeometryRows& rows, const ilmvSource& src, const float32_t* m, const ilmvTarget& dst,
                          int32_t interpolation, LMV_BORDER_TYPE border, uint8_t borderValue, uint32_t* extent)
{
    double md[6];
    widen<6>(m, md);
    return ilmvWarpAffineD(rows, src, md, dst, interpolation, border, borderValue, extent);
}

LMV_STATUS ilmvWarpAffineD(const ilmvGeometryRows& rows, const ilmvSource& src, const double* m, const ilmvTarget& dst,
                           int32_t interpolation, LMV_BORDER_TYPE border, uint8_t borderValue, uint32_t* extent)
{
    ilmvSampler s;
    if (!samplerOf(interpolation, s)) return LUMIVA_BAD_PARAMS;
    const ilmvAffineMapping mapping(m, s, dst.width);
    return ilmvWarpFrame(rows, src, dst, {s, border, borderValue, extent}, mapping) ? LUMIVA_SUCCESS : LUMIVA_BAD_PARAMS;
}

LMV_STATUS ilmvWarpPerspective(const ilmvGeometryRows& rows, const ilmvSource& src, const float32_t* m,
                               const ilmvTarget& dst, int32_t interpolation, LMV_BORDER_TYPE border,
                               uint8_t borderValue)
{
    ilmvSampler s;
    if (!samplerOf(interpolation, s) || s == ilmvBicubic) return LUMIVA_BAD_PARAMS;
    double md[9];
    widen<9>(m, md);
    const ilmvPerspectiveMapping mapping(md, s, dst.width, dst.height);
    return ilmvWarpFrame(rows, src, dst, {s, border, borderValue, nullptr}, mapping) ? LUMIVA_SUCCESS
                                                                                     : LUMIVA_BAD_PARAMS;
}

LMV_STATUS ilmvRemap(const ilmvGeometryRows& rows, const ilmvSource& src, const ilmvTarget& dst, const float32_t* mapX,
                     const float32_t* mapY, uint32_t mapStride, int32_t interpolation, LMV_BORDER_TYPE border,
                     uint8_t borderValue)
{
    ilmvSampler s;
    if (!samplerOf(interpolation, s) || s == ilmvBicubic) return LUMIVA_BAD_PARAMS;
    const ilmvMapMapping mapping(mapX, mapY, mapStride ? mapStride : dst.width * 4, s);
    return ilmvWarpFrame(rows, src, dst, {s, border, borderValue, nullptr}, mapping) ? LUMIVA_SUCCESS
                                                                                     : LUMIVA_BAD_PARAMS;
}

// Chroma pixels are half the size: with S = diag(2, 2, 1), the chroma matrix is S^-1 H S
// shifted by the sample positions, so a chroma pixel follows its four luma pixels' centre.
LMV_STATUS ilmvWarpTwoPlane(const ilmvGeometryRows& rows, const ilmvSource& y, const ilmvSource& c, const float32_t* m,
                            const ilmvTarget& dstY, const ilmvTarget& dstC)
{
    double h[9];
    widen<9>(m, h);
    const ilmvPerspectiveMapping luma(h, ilmvBilinear, dstY.width, dstY.height);
    // src_c = (src_y - 0.5) / 2 with src_y = H (2 d_c + 0.5): H' = T(-1/4) S^-1 H S T(1/4).
    double a[9] = {h[0], h[1], (h[0] + h[1]) * 0.25 + h[2] * 0.5, h[3], h[4], (h[3] + h[4]) * 0.25 + h[5] * 0.5,
                   h[6] * 2, h[7] * 2, (h[6] + h[7]) * 0.5 + h[8]};
    for (int k = 0; k < 3; ++k) a[k] -= 0.25 * a[6 + k], a[3 + k] -= 0.25 * a[6 + k];
    const ilmvPerspectiveMapping chroma(a, ilmvBilinear, dstC.width, dstC.height);
    const ilmvSampling s = {ilmvBilinear, LUMIVA_BORDER_UNDEFINED, 0, nullptr};
    ilmvWarpFrame(rows, y, dstY, s, luma);
    ilmvWarpFrame(rows, c, dstC, s, chroma);
    return LUMIVA_SUCCESS;
}

void ilmvPatchMatrix(const float32_t* position, const float32_t* affine, double m[6])
{
    const double a = affine[0], b = affine[1], c = affine[2], d = affine[3];
    m[0] = a, m[1] = b, m[2] = double(position[0]) - 3.5 * a - 3.5 * b;
    m[3] = c, m[4] = d, m[5] = double(position[1]) - 3.5 * c - 3.5 * d;
}

bool ilmvPatchInside(const ilmvAffineMapping& mapping, const ilmvSource& src)
{
    const Neighbourhood hood = reach(ilmvBilinear);
    int32_t X[8], Y[8];
    for (uint32_t r = 0; r < 8; ++r) {
        mapping.row(r, 0, 8, X, Y);
        for (int i = 0; i < 8; ++i)
            if (!inside(X[i] >> kBits, hood.before, hood.size, src.width) ||
                !inside(Y[i] >> kBits, hood.before, hood.size, src.height))
                return false;
    }
    return true;
}

void ilmvAffinePatches(const ilmvGeometryRows& rows, const ilmvSource& src, const float32_t* positions,
                       const float32_t* affines, uint32_t count, uint8_t* patches, int32_t* status)
{
    for (uint32_t p = 0; p < count; ++p) {
        double m[6];
        ilmvPatchMatrix(positions + 2 * p, affines + 4 * p, m);
        const ilmvAffineMapping mapping(m, ilmvBilinear, 8);
        const ilmvTarget patch = {patches + 64 * size_t(p), 8, 8, 8};
        ilmvWarpFrame(rows, src, patch, {ilmvBilinear, LUMIVA_BORDER_REPLICATE, 0, nullptr}, mapping);
        status[p] = ilmvPatchInside(mapping, src) ? 0 : 1;
    }
}

// ---- The reference table ----------------------------------------------------------------------
void ilmvResampleRowsC(ilmvGeometryRows& rows);  // the resampler's and transposer's kernels

const ilmvGeometryRows& ilmvGeometryRowsC()
{
    static const ilmvGeometryRows rows = [] {
        ilmvGeometryRows r{};
        r.nearest = nearestC;
        r.bilinear = bilinearC;
        ilmvResampleRowsC(r);
        return r;
    }();
    return rows;
}
