// NEON row kernels of thresholds, point operations and gradients: 16 bytes or 8 halfwords a
// step, the rest of a row handed to the reference kernel. Every kernel gives the reference's
// bytes: the integer ones by construction, the f32 ones by the same operation order.
#include "cpu/lumivaEdge.h"
#include "simd/lumivaNeon.h"

namespace {

const ilmvEdgeRows& ref()
{
    return ilmvEdgeRowsC();
}

void thresholdV(const uint8_t* src, size_t n, uint8_t threshold, uint8_t hit, uint8_t miss, uint8_t* dst)
{
    const uint8x16_t t = vdupq_n_u8(threshold), yes = vdupq_n_u8(hit), no = vdupq_n_u8(miss);
    size_t x = 0;
    for (; x + 16 <= n; x += 16) vst1q_u8(dst + x, vbslq_u8(vcgtq_u8(vld1q_u8(src + x), t), yes, no));
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
        const int16x8_t v = vshlq_s16(vld1q_s16(src + x), by);
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

inline int16x8_t widen(const uint8_t* p)
{
    return vreinterpretq_s16_u16(vmovl_u8(vld1_u8(p)));
}

// side * (a + c) + centre * b, the smoothing across the derivative.
inline int16x8_t smooth(int16x8_t a, int16x8_t b, int16x8_t c, int16_t side, int16_t centre)
{
    return vmlaq_n_s16(vmulq_n_s16(vaddq_s16(a, c), side), b, centre);
}

void gradientV(ilmvGradientKind kind, const uint8_t* const* rows, size_t n, int16_t* dx, int16_t* dy)
{
    const int16_t side = kind == ilmvGradientKind::kCentral ? 0 : kind == ilmvGradientKind::kSobel ? 1 : 3;
    const int16_t centre = kind == ilmvGradientKind::kCentral ? 1 : kind == ilmvGradientKind::kSobel ? 2 : 10;
    const uint8_t *a = rows[0], *b = rows[1], *c = rows[2];
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        const int16x8_t da = vsubq_s16(widen(a + x + 2), widen(a + x)), db = vsubq_s16(widen(b + x + 2), widen(b + x)),
                        dc = vsubq_s16(widen(c + x + 2), widen(c + x));
        const int16x8_t d0 = vsubq_s16(widen(c + x), widen(a + x)), d1 = vsubq_s16(widen(c + x + 1), widen(a + x + 1)),
                        d2 = vsubq_s16(widen(c + x + 2), widen(a + x + 2));
        vst1q_s16(dx + x, smooth(da, db, dc, side, centre));
        vst1q_s16(dy + x, smooth(d0, d1, d2, side, centre));
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
    int16_t gx[8], gy[8];
    for (; x + 8 <= n; x += 8) {
        const uint8_t* const at[3] = {rows[0] + x, rows[1] + x, rows[2] + x};
        gradientV(ilmvGradientKind::kSobel, at, 8, gx, gy);
        const int16x8_t sum = vaddq_s16(vabsq_s16(vld1q_s16(gx)), vabsq_s16(vld1q_s16(gy)));  // at most 2040
        vst1_u8(dst + x, vqmovun_s16(vshrq_n_s16(sum, 3)));
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

// round(sqrt(q)) of four squared lengths below 2^31: a float estimate, trued up and down by
// one in integers, then rounded as the reference rounds.
uint32x4_t roundedRoot(uint32x4_t q)
{
    const float32x4_t f = vcvtq_f32_u32(q);
    float32x4_t e = vrsqrteq_f32(vmaxq_f32(f, vdupq_n_f32(1.0f)));
    e = vmulq_f32(e, vrsqrtsq_f32(vmulq_f32(f, e), e));
    e = vmulq_f32(e, vrsqrtsq_f32(vmulq_f32(f, e), e));
    uint32x4_t r = vcvtq_u32_f32(vmulq_f32(f, e));
    const uint32x4_t one = vdupq_n_u32(1);
    for (int i = 0; i < 2; ++i) {
        const uint32x4_t up = vaddq_u32(r, one);
        r = vaddq_u32(r, vandq_u32(vcleq_u32(vmulq_u32(up, up), q), one));
        r = vsubq_u32(r, vandq_u32(vcgtq_u32(vmulq_u32(r, r), q), one));
    }
    return vaddq_u32(r, vandq_u32(vcgtq_u32(vsubq_u32(q, vmulq_u32(r, r)), r), one));
}

void magnitudeV(const int16_t* dx, const int16_t* dy, size_t n, int16_t* dst)
{
    size_t x = 0;
    const uint32x4_t top = vdupq_n_u32(32767);
    for (; x + 8 <= n; x += 8) {
        const int16x8_t a = vld1q_s16(dx + x), b = vld1q_s16(dy + x);
        const uint32x4_t lo = vreinterpretq_u32_s32(vmlal_s16(vmull_s16(vget_low_s16(a), vget_low_s16(a)),
                                                              vget_low_s16(b), vget_low_s16(b)));
        const uint32x4_t hi = vreinterpretq_u32_s32(vmlal_s16(vmull_s16(vget_high_s16(a), vget_high_s16(a)),
                                                              vget_high_s16(b), vget_high_s16(b)));
        const uint16x4_t rl = vmovn_u32(vminq_u32(roundedRoot(lo), top));
        const uint16x4_t rh = vmovn_u32(vminq_u32(roundedRoot(hi), top));
        vst1q_s16(dst + x, vreinterpretq_s16_u16(vcombine_u16(rl, rh)));
    }
    ref().magnitudes16(dx + x, dy + x, n - x, dst + x);
}

inline uint32x4_t absWide(int16x4_t v)
{
    return vreinterpretq_u32_s32(vabsq_s32(vmovl_s16(v)));
}

void normL1V(const int16_t* dx, const int16_t* dy, size_t n, uint32_t* mag)
{
    size_t x = 0;
    for (; x + 4 <= n; x += 4) vst1q_u32(mag + x, vaddq_u32(absWide(vld1_s16(dx + x)), absWide(vld1_s16(dy + x))));
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

ilmvEdgeRows simdRows()
{
    ilmvEdgeRows rows = ilmvEdgeRowsC();
    rows.filter = ilmvFilterRowsV;
    rows.thresholdu8 = thresholdV;
    rows.rangeu8 = rangeV;
    rows.widenu8s16 = widenV;
    rows.narrows16u8 = narrowV;
    rows.weights16 = weightsV;
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
    return rows;
}

}  // namespace

const ilmvEdgeRows& ilmvEdgeRowsV()
{
    static const ilmvEdgeRows rows = simdRows();
    return rows;
}
