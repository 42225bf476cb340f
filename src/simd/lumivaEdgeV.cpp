// NEON row kernels of thresholds, point operations and gradients: 16 bytes or 8 halfwords a
// step, the rest of a row handed to the reference kernel. Every kernel gives the reference's
// bytes: the integer ones by construction, the f32 ones by the same operation order.
#include "cpu/lumivaEdge.h"
#include "simd/lumivaNeon.h"

#include <algorithm>
#include <vector>

namespace {

using namespace ilmv;

const ilmvEdgeRows& ref()
{
    return ilmvEdgeRowsC();
}

// src > t exactly where the saturating difference src - t is not zero.
inline uint8x16_t above(uint8x16_t v, uint8x16_t t)
{
    return vtstq_u8(vqsubq_u8(v, t), vqsubq_u8(v, t));
}

void thresholdV(const uint8_t* src, size_t n, uint8_t threshold, uint8_t hit, uint8_t miss, uint8_t* dst)
{
    const uint8x16_t t = vdupq_n_u8(threshold), yes = vdupq_n_u8(hit), no = vdupq_n_u8(miss);
    size_t x = 0;
    for (; x + 32 <= n; x += 32) {
        const uint8x16_t a = above(vld1q_u8(src + x), t), b = above(vld1q_u8(src + x + 16), t);
        vst1q_u8(dst + x, vbslq_u8(a, yes, no));
        vst1q_u8(dst + x + 16, vbslq_u8(b, yes, no));
    }
    for (; x + 16 <= n; x += 16) vst1q_u8(dst + x, vbslq_u8(above(vld1q_u8(src + x), t), yes, no));
    ref().thresholdu8(src + x, n - x, threshold, hit, miss, dst + x);
}

void rangeV(const uint8_t* src, size_t n, uint8_t low, uint8_t high, uint8_t hit, uint8_t miss, uint8_t* dst)
{
    const uint8x16_t lo = vdupq_n_u8(low), hi = vdupq_n_u8(high), yes = vdupq_n_u8(hit), no = vdupq_n_u8(miss);
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const uint8x16_t v = vld1q_u8(src + x);
        vst1q_u8(dst + x, vbslq_u8(vandq_u8(vcgeq_u8(v, lo), vcleq_u8(v, hi)), yes, no));
    }
    ref().rangeu8(src + x, n - x, low, high, hit, miss, dst + x);
}

void widenV(const uint8_t* src, size_t n, uint32_t shift, int16_t* dst)
{
    const int16x8_t by = vdupq_n_s16(int16_t(shift));
    size_t x = 0;
    for (; x + 8 <= n; x += 8)
        vst1q_s16(dst + x, vreinterpretq_s16_u16(vshlq_u16(vmovl_u8(vld1_u8(src + x)), by)));
    ref().widenu8s16(src + x, n - x, shift, dst + x);
}

void narrowV(const int16_t* src, size_t n, uint32_t shift, bool saturate, uint8_t* dst)
{
    const int16x8_t by = vdupq_n_s16(int16_t(-int32_t(shift)));
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        const int16x8_t loaded = vld1q_s16(src + x);
        const int16x8_t v = shift ? vshlq_s16(loaded, by) : loaded;  // a count of 0 would shift negatives left
        vst1_u8(dst + x, saturate ? vqmovun_s16(v) : vmovn_u16(vreinterpretq_u16_s16(v)));
    }
    ref().narrows16u8(src + x, n - x, shift, saturate, dst + x);
}

void weightsV(const int16_t* data, const uint8_t* edge, const uint8_t* table, size_t n, int16_t* dst)
{
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        uint16_t w[8];
        for (int i = 0; i < 8; ++i) w[i] = table[edge[x + i]];
        const int16x8_t d = vld1q_s16(data + x), weights = vreinterpretq_s16_u16(vld1q_u16(w));
        const int32x4_t lo = vshrq_n_s32(vmull_s16(vget_low_s16(d), vget_low_s16(weights)), 8);
        const int32x4_t hi = vshrq_n_s32(vmull_s16(vget_high_s16(d), vget_high_s16(weights)), 8);
        vst1q_s16(dst + x, vcombine_s16(vmovn_s32(lo), vmovn_s32(hi)));
    }
    ref().weights16(data + x, edge + x, table, n - x, dst + x);
}

// Eight bytes widened to 16-bit lanes, twice: the low and high halves of a Q register.
inline uint16x8x2_t widenBytes(uint8x16_t v)
{
    const uint8x16x2_t zipped = vzipq_u8(v, vdupq_n_u8(0));
    return {{vreinterpretq_u16_u8(zipped.val[0]), vreinterpretq_u16_u8(zipped.val[1])}};
}

// (sum + k*k/2) / (k*k) by a multiply and a shift, exact for every sum a k x k window of bytes
// reaches, on the even and odd 16-bit lanes in 32 bits.
template <uint32_t K, uint32_t Magic, int Shift>
uint16x8_t divideByArea(uint16x8_t sum)
{
    const uint32x4_t v = vreinterpretq_u32_u16(vaddq_u16(sum, vdupq_n_u16(K * K / 2)));
    const uint32x4_t even = vshrq_n_u32(vmulq_n_u32(vandq_u32(v, vdupq_n_u32(0xFFFF)), Magic), Shift);
    const uint32x4_t odd = vshrq_n_u32(vmulq_n_u32(vshrq_n_u32(v, 16), Magic), Shift);
    return vreinterpretq_u16_u32(vorrq_u32(even, vshlq_n_u32(odd, 16)));
}

// Box means by running sums: column sums of k rows (at most 11 x 255) kept from row to row,
// one row added and one taken away, then k of them added across (at most 30855: 16 bits).
template <uint32_t K, uint32_t Magic, int Shift>
void boxMeans(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, ilmvMeanRowFn row, void* context)
{
    constexpr uint32_t r = K / 2;
    std::vector<uint16_t> padded(size_t(w) + 2 * r);
    std::vector<uint8_t> means(w);
    uint16_t* columns = padded.data() + r;
    auto source = [&](int64_t y) { return src + size_t(std::min<int64_t>(std::max<int64_t>(y, 0), h - 1)) * srcStride; };
    // Adds (sign 1) or takes away (-1) one source row.
    auto update = [&](const uint8_t* line, bool add) {
        uint32_t x = 0;
        for (; x + 16 <= w; x += 16) {
            const uint16x8x2_t v = widenBytes(vld1q_u8(line + x));
            for (int half = 0; half < 2; ++half) {
                const uint16x8_t c = vld1q_u16(columns + x + 8 * half);
                vst1q_u16(columns + x + 8 * half, add ? vaddq_u16(c, v.val[half]) : vsubq_u16(c, v.val[half]));
            }
        }
        for (; x < w; ++x) columns[x] = uint16_t(add ? columns[x] + line[x] : columns[x] - line[x]);
    };
    for (int64_t j = -int64_t(r); j <= int64_t(r); ++j) update(source(j), true);
    for (uint32_t y = 0; y < h; ++y) {
        for (uint32_t i = 1; i <= r; ++i) columns[-int64_t(i)] = columns[0], columns[w - 1 + i] = columns[w - 1];
        uint32_t x = 0;
        for (; x + 16 <= w; x += 16) {
            uint16x8_t sum[2];
            for (int half = 0; half < 2; ++half) {
                const uint16_t* at = columns - r + x + 8 * half;
                uint16x8_t s = vld1q_u16(at);
                for (uint32_t i = 1; i < K; ++i) s = vaddq_u16(s, vld1q_u16(at + i));
                sum[half] = divideByArea<K, Magic, Shift>(s);
            }
            vst1q_u8(means.data() + x, vuzpq_u8(vreinterpretq_u8_u16(sum[0]), vreinterpretq_u8_u16(sum[1])).val[0]);
        }
        for (; x < w; ++x) {
            uint32_t s = 0;
            for (uint32_t i = 0; i < K; ++i) s += columns[int64_t(x) - r + i];
            means[x] = uint8_t((s + K * K / 2) / (K * K));
        }
        row(context, y, means.data());
        if (y + 1 < h) {
            update(source(int64_t(y) + r + 1), true);
            update(source(int64_t(y) - r), false);
        }
    }
}

void boxMeansV(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint32_t k, ilmvMeanRowFn row,
               void* context)
{
    switch (k) {
    case 3: return boxMeans<3, 1821, 14>(src, w, h, srcStride, row, context);
    case 5: return boxMeans<5, 5243, 17>(src, w, h, srcStride, row, context);
    default: return boxMeans<11, 4333, 19>(src, w, h, srcStride, row, context);
    }
}

// The threshold mean - C lies in -256 .. 511 (C is clamped to +-256), so 16-bit lanes hold it.
void adaptiveV(const uint8_t* src, const uint8_t* mean, size_t n, int32_t C, bool inverse, uint8_t hit,
               uint8_t* dst)
{
    const int16x8_t c = vdupq_n_s16(int16_t(C));
    const uint8x8_t flip = vdup_n_u8(inverse ? 0xFF : 0), yes = vdup_n_u8(hit);
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        const int16x8_t s = vreinterpretq_s16_u16(vmovl_u8(vld1_u8(src + x)));
        const int16x8_t t = vsubq_s16(vreinterpretq_s16_u16(vmovl_u8(vld1_u8(mean + x))), c);
        const uint8x8_t pass = veor_u8(vmovn_u16(vcgtq_s16(s, t)), flip);
        vst1_u8(dst + x, vand_u8(pass, yes));
    }
    ref().adaptiveu8(src + x, mean + x, n - x, C, inverse, hit, dst + x);
}

// side * (p + r) + centre * q: Sobel's 1-2-1 by adds, Scharr's 3-10-3 by multiplies, the
// central difference q alone.
inline int16x8_t smooth(ilmvGradientKind kind, int16x8_t p, int16x8_t q, int16x8_t r)
{
    switch (kind) {
    case ilmvGradientKind::kSobel: return vaddq_s16(vaddq_s16(p, r), vaddq_s16(q, q));
    case ilmvGradientKind::kScharr: return vmlaq_n_s16(vmulq_n_s16(vaddq_s16(p, r), 3), q, 10);
    default: return q;
    }
}

inline int16x8_t diff(uint16x8_t b, uint16x8_t a)
{
    return vreinterpretq_s16_u16(vsubq_u16(b, a));
}

// The window rows a, b, c loaded at x, x + 1 and x + 2, split into even and odd columns: the
// even lanes give outputs x, x + 2, ..., the odd lanes x + 1, x + 3, ... (in 16-bit lanes
// without widening the 64-bit halves).
struct Window {
    Split a0, a1, a2, b0, b2, c0, c1, c2;
};

template <class Pick>
inline void gradientLanes(ilmvGradientKind kind, const Window& w, Pick lane, int16x8_t* dx, int16x8_t* dy)
{
    *dx = smooth(kind, diff(lane(w.a2), lane(w.a0)), diff(lane(w.b2), lane(w.b0)), diff(lane(w.c2), lane(w.c0)));
    *dy = smooth(kind, diff(lane(w.c0), lane(w.a0)), diff(lane(w.c1), lane(w.a1)), diff(lane(w.c2), lane(w.a2)));
}

void gradientV(ilmvGradientKind kind, const uint8_t* const* rows, size_t n, int16_t* dx, int16_t* dy)
{
    const uint8_t *a = rows[0], *b = rows[1], *c = rows[2];
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        const Window w = {splitBytes(vld1q_u8(a + x)),     splitBytes(vld1q_u8(a + x + 1)),
                          splitBytes(vld1q_u8(a + x + 2)), splitBytes(vld1q_u8(b + x)),
                          splitBytes(vld1q_u8(b + x + 2)), splitBytes(vld1q_u8(c + x)),
                          splitBytes(vld1q_u8(c + x + 1)), splitBytes(vld1q_u8(c + x + 2))};
        int16x8x2_t gx, gy;
        gradientLanes(kind, w, [](const Split& s) { return s.even; }, &gx.val[0], &gy.val[0]);
        gradientLanes(kind, w, [](const Split& s) { return s.odd; }, &gx.val[1], &gy.val[1]);
        vst2q_s16(dx + x, gx);
        vst2q_s16(dy + x, gy);
    }
    const uint8_t* const rest[3] = {a + x, b + x, c + x};
    ref().gradientu8(kind, rest, n - x, dx + x, dy + x);
}

void sobelf32V(const float32_t* const* rows, size_t n, float32_t* dx, float32_t* dy)
{
    const float32_t *a = rows[0], *b = rows[1], *c = rows[2];
    size_t x = 0;
    for (; x + 4 <= n; x += 4) {
        const float32x4_t a0 = vld1q_f32(a + x), a1 = vld1q_f32(a + x + 1), a2 = vld1q_f32(a + x + 2);
        const float32x4_t b0 = vld1q_f32(b + x), b2 = vld1q_f32(b + x + 2);
        const float32x4_t c0 = vld1q_f32(c + x), c1 = vld1q_f32(c + x + 1), c2 = vld1q_f32(c + x + 2);
        const float32x4_t gx = vaddq_f32(vaddq_f32(vsubq_f32(a2, a0), vmulq_n_f32(vsubq_f32(b2, b0), 2.0f)),
                                         vsubq_f32(c2, c0));
        const float32x4_t gy = vaddq_f32(vaddq_f32(vsubq_f32(c0, a0), vmulq_n_f32(vsubq_f32(c1, a1), 2.0f)),
                                         vsubq_f32(c2, a2));
        vst1q_f32(dx + x, vmulq_n_f32(gx, 0.125f));
        vst1q_f32(dy + x, vmulq_n_f32(gy, 0.125f));
    }
    const float32_t* const rest[3] = {a + x, b + x, c + x};
    ref().sobelf32(rest, n - x, dx + x, dy + x);
}

void strengthV(const uint8_t* const* rows, size_t n, uint8_t* dst)
{
    size_t x = 0;
    int16_t gx[16], gy[16];
    for (; x + 16 <= n; x += 16) {
        const uint8_t* const at[3] = {rows[0] + x, rows[1] + x, rows[2] + x};
        gradientV(ilmvGradientKind::kSobel, at, 16, gx, gy);
        for (int half = 0; half < 16; half += 8) {
            const int16x8_t sum = vaddq_s16(vabsq_s16(vld1q_s16(gx + half)), vabsq_s16(vld1q_s16(gy + half)));  // <= 2040
            vst1_u8(dst + x + half, vqmovun_s16(vshrq_n_s16(sum, 3)));
        }
    }
    const uint8_t* const rest[3] = {rows[0] + x, rows[1] + x, rows[2] + x};
    ref().strengthu8(rest, n - x, dst + x);
}

void interleaveV(const int16_t* dx, const int16_t* dy, size_t n, int16_t* dst)
{
    size_t x = 0;
    for (; x + 8 <= n; x += 8) vst2q_s16(dst + 2 * x, (int16x8x2_t{{vld1q_s16(dx + x), vld1q_s16(dy + x)}}));
    ref().interleaves16(dx + x, dy + x, n - x, dst + 2 * x);
}

// Products of whole numbers below 2^15 with 1/2 or 1/8 are exact, as in the reference.
inline float32x4_t scaled(int16x4_t v, float32_t scale)
{
    return vmulq_n_f32(vcvtq_f32_s32(vmovl_s16(v)), scale);
}

void tof32V(const int16_t* src, size_t n, float32_t scale, float32_t* dst)
{
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        const int16x8_t v = vld1q_s16(src + x);
        vst1q_f32(dst + x, scaled(vget_low_s16(v), scale));
        vst1q_f32(dst + x + 4, scaled(vget_high_s16(v), scale));
    }
    ref().tof32(src + x, n - x, scale, dst + x);
}

void interleavef32V(const int16_t* dx, const int16_t* dy, size_t n, float32_t scale, float32_t* dst)
{
    size_t x = 0;
    for (; x + 4 <= n; x += 4)
        vst2q_f32(dst + 2 * x, (float32x4x2_t{{scaled(vld1_s16(dx + x), scale), scaled(vld1_s16(dy + x), scale)}}));
    ref().interleavef32(dx + x, dy + x, n - x, scale, dst + 2 * x);
}

void tos8V(const int16_t* src, size_t n, int8_t* dst)
{
    size_t x = 0;
    for (; x + 8 <= n; x += 8) vst1_s8(dst + x, vmovn_s16(vshrq_n_s16(vld1q_s16(src + x), 3)));
    ref().tos8(src + x, n - x, dst + x);
}

// round(sqrt(n)) of four squared lengths n = p + q (each square at most 2^30): a float
// estimate rounded to the nearest whole number, then trued in integers. The estimate is within
// a hundredth of the root, so one step either way reaches r with r^2 - r < n <= r^2 + r. Roots
// above 32767 saturate, so n is capped at 2^30 + 2^16 (a root above 32768) and r at 32768
// first: every sum then fits a signed lane.
int32x4_t roundedRoot(int32x4_t p, int32x4_t q)
{
    const uint32x4_t sum = vaddq_u32(vreinterpretq_u32_s32(p), vreinterpretq_u32_s32(q));
    const int32x4_t n = vreinterpretq_s32_u32(vminq_u32(sum, vdupq_n_u32(0x40010000)));
    const float32x4_t f = vaddq_f32(vcvtq_f32_s32(p), vcvtq_f32_s32(q));
    float32x4_t e = vrsqrteq_f32(vmaxq_f32(f, vdupq_n_f32(1.0f)));
    e = vmulq_f32(e, vrsqrtsq_f32(vmulq_f32(f, e), e));
    e = vmulq_f32(e, vrsqrtsq_f32(vmulq_f32(f, e), e));
    const int32x4_t estimate = vcvtq_s32_f32(vaddq_f32(vmulq_f32(f, e), vdupq_n_f32(0.5f)));
    const int32x4_t r = vminq_s32(estimate, vdupq_n_s32(32768)), t = vmulq_s32(r, r), one = vdupq_n_s32(1);
    const int32x4_t up = vandq_s32(vreinterpretq_s32_u32(vcgtq_s32(n, vaddq_s32(t, r))), one);
    // n <= t - r, for r of at least 1 (a root of 0 stays).
    const uint32x4_t over = vandq_u32(vcgeq_s32(t, vaddq_s32(n, r)), vcgtq_s32(r, vdupq_n_s32(0)));
    const int32x4_t down = vandq_s32(vreinterpretq_s32_u32(over), one);
    return vminq_s32(vsubq_s32(vaddq_s32(r, up), down), vdupq_n_s32(32767));
}

// The lanes of v, each sign-extended to 32 bits, in two halves (without 64-bit registers).
inline int32x4x2_t widenLanes(int16x8_t v)
{
    const int16x8x2_t twice = vzipq_s16(v, v);
    return {{vshrq_n_s32(vreinterpretq_s32_s16(twice.val[0]), 16), vshrq_n_s32(vreinterpretq_s32_s16(twice.val[1]), 16)}};
}

void magnitudeV(const int16_t* dx, const int16_t* dy, size_t n, int16_t* dst)
{
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        const int32x4x2_t a = widenLanes(vld1q_s16(dx + x)), b = widenLanes(vld1q_s16(dy + x));
        const int32x4_t lo = roundedRoot(vmulq_s32(a.val[0], a.val[0]), vmulq_s32(b.val[0], b.val[0]));
        const int32x4_t hi = roundedRoot(vmulq_s32(a.val[1], a.val[1]), vmulq_s32(b.val[1], b.val[1]));
        // Roots fit 16 bits: the low halves of the 32-bit lanes, in order.
        vst1q_s16(dst + x, vuzpq_s16(vreinterpretq_s16_s32(lo), vreinterpretq_s16_s32(hi)).val[0]);
    }
    ref().magnitudes16(dx + x, dy + x, n - x, dst + x);
}

void normL1V(const int16_t* dx, const int16_t* dy, size_t n, uint32_t* mag)
{
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        const int32x4x2_t a = widenLanes(vld1q_s16(dx + x)), b = widenLanes(vld1q_s16(dy + x));
        vst1q_u32(mag + x, vreinterpretq_u32_s32(vaddq_s32(vabsq_s32(a.val[0]), vabsq_s32(b.val[0]))));
        vst1q_u32(mag + x + 4, vreinterpretq_u32_s32(vaddq_s32(vabsq_s32(a.val[1]), vabsq_s32(b.val[1]))));
    }
    ref().normL1(dx + x, dy + x, n - x, mag + x);
}

void normL2V(const int16_t* dx, const int16_t* dy, size_t n, uint32_t* mag)
{
    size_t x = 0;
    for (; x + 4 <= n; x += 4) {
        const int16x4_t a = vld1_s16(dx + x), b = vld1_s16(dy + x);
        // Each square is below 2^30 + 1, so the sum fits 32 bits unsigned.
        vst1q_u32(mag + x, vaddq_u32(vreinterpretq_u32_s32(vmull_s16(a, a)), vreinterpretq_u32_s32(vmull_s16(b, b))));
    }
    ref().normL2(dx + x, dy + x, n - x, mag + x);
}

// Canny's suppression of four pixels, in signed 32-bit lanes: the library's Sobel gradients
// stay below 24481 in magnitude, so |g| << 16 plus |g| tan 22.5 and the magnitudes (below
// 2^31) fit them. The direction classes first, then each class's neighbour comparisons
// chosen lane by lane.
int32x4_t suppress4(const uint32_t* prev, const uint32_t* cur, const uint32_t* next, int32x4_t gx, int32x4_t gy,
                    int32x4_t lowPlus, int32x4_t highPlus)
{
    auto at = [](const uint32_t* p) { return vreinterpretq_s32_u32(vld1q_u32(p)); };
    const int32x4_t m = at(cur);
    const int32x4_t ax = vabsq_s32(gx), ay = vshlq_n_s32(vabsq_s32(gy), 15);
    const int32x4_t tan22 = vmulq_n_s32(ax, 13573), tan67 = vaddq_s32(tan22, vshlq_n_s32(ax, 16));
    const uint32x4_t along = vandq_u32(vcgtq_s32(m, at(cur - 1)), vcgeq_s32(m, at(cur + 1)));
    const uint32x4_t down = vandq_u32(vcgtq_s32(m, at(prev)), vcgeq_s32(m, at(next)));
    const uint32x4_t same = vandq_u32(vcgtq_s32(m, at(prev - 1)), vcgtq_s32(m, at(next + 1)));
    const uint32x4_t other = vandq_u32(vcgtq_s32(m, at(prev + 1)), vcgtq_s32(m, at(next - 1)));
    const uint32x4_t diagonal = vbslq_u32(vcgeq_s32(veorq_s32(gx, gy), vdupq_n_s32(0)), same, other);
    uint32x4_t kept = vbslq_u32(vcgtq_s32(ay, tan67), down, diagonal);
    kept = vandq_u32(vbslq_u32(vcltq_s32(ay, tan22), along, kept), vcgeq_s32(m, lowPlus));
    const uint32x4_t strong = vandq_u32(kept, vcgeq_s32(m, highPlus));
    // 1 where not kept, 0 or 2 where kept.
    return vreinterpretq_s32_u32(vbslq_u32(kept, vandq_u32(strong, vdupq_n_u32(2)), vdupq_n_u32(1)));
}

// The low bytes of sixteen 32-bit lanes, in order.
inline uint8x16_t lowBytes(int32x4_t a, int32x4_t b, int32x4_t c, int32x4_t d)
{
    const uint16x8_t ab = vuzpq_u16(vreinterpretq_u16_s32(a), vreinterpretq_u16_s32(b)).val[0];
    const uint16x8_t cd = vuzpq_u16(vreinterpretq_u16_s32(c), vreinterpretq_u16_s32(d)).val[0];
    return vuzpq_u8(vreinterpretq_u8_u16(ab), vreinterpretq_u8_u16(cd)).val[0];
}

void suppressRowV(const uint32_t* prev, const uint32_t* cur, const uint32_t* next, const int16_t* gx,
                  const int16_t* gy, size_t n, uint32_t lowPlus, uint32_t highPlus, uint8_t* map)
{
    // Magnitudes stay below 2^31: a bound beyond that keeps nothing either way.
    const int32x4_t lo = vdupq_n_s32(int32_t(std::min<uint32_t>(lowPlus, 0x7FFFFFFF)));
    const int32x4_t hi = vdupq_n_s32(int32_t(std::min<uint32_t>(highPlus, 0x7FFFFFFF)));
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        // Most pixels of a frame lie below the low threshold: sixteen of them at once keep nothing.
        uint32x4_t any = vcgeq_s32(vreinterpretq_s32_u32(vld1q_u32(cur + x)), lo);
        for (int q = 1; q < 4; ++q) any = vorrq_u32(any, vcgeq_s32(vreinterpretq_s32_u32(vld1q_u32(cur + x + 4 * q)), lo));
        const uint64x2_t wide = vreinterpretq_u64_u32(any);
        if ((vgetq_lane_u64(wide, 0) | vgetq_lane_u64(wide, 1)) == 0) {
            vst1q_u8(map + x, vdupq_n_u8(1));
            continue;
        }
        int32x4_t out[4];
        for (int half = 0; half < 2; ++half) {
            const size_t at = x + 8 * half;
            const int32x4x2_t dx = widenLanes(vld1q_s16(gx + at)), dy = widenLanes(vld1q_s16(gy + at));
            out[2 * half] = suppress4(prev + at, cur + at, next + at, dx.val[0], dy.val[0], lo, hi);
            out[2 * half + 1] = suppress4(prev + at + 4, cur + at + 4, next + at + 4, dx.val[1], dy.val[1], lo, hi);
        }
        vst1q_u8(map + x, lowBytes(out[0], out[1], out[2], out[3]));
    }
    ref().suppressRow(prev + x, cur + x, next + x, gx + x, gy + x, n - x, lowPlus, highPlus, map + x);
}

ilmvEdgeRows simdRows()
{
    ilmvEdgeRows rows = ilmvEdgeRowsC();
    rows.filter = ilmvFilterRowsV;
    rows.thresholdu8 = thresholdV;
    rows.rangeu8 = rangeV;
    rows.widenu8s16 = widenV;
    rows.narrows16u8 = narrowV;
    rows.weights16 = weightsV;
    rows.boxMeansu8 = boxMeansV;
    rows.adaptiveu8 = adaptiveV;
    rows.gradientu8 = gradientV;
    rows.sobelf32 = sobelf32V;
    rows.strengthu8 = strengthV;
    rows.interleaves16 = interleaveV;
    rows.tof32 = tof32V;
    rows.interleavef32 = interleavef32V;
    rows.tos8 = tos8V;
    rows.magnitudes16 = magnitudeV;
    rows.normL1 = normL1V;
    rows.normL2 = normL2V;
    rows.suppressRow = suppressRowV;
    return rows;
}

}  // namespace

const ilmvEdgeRows& ilmvEdgeRowsV()
{
    static const ilmvEdgeRows rows = simdRows();
    return rows;
}
