// NEON rows of the 2x2 mean and of the Gaussian 5x5 decimation; the frames are the
// reference form's (lumivaScaleC.cpp).
#include "cpu/lumivaScale.h"
#include "simd/lumivaNeon.h"

using namespace ilmv;

void ilmvHalfRowV(const uint8_t* a, const uint8_t* b, size_t outWidth, uint8_t* dst)
{
    size_t c = 0;
    for (; c + 16 <= outWidth; c += 16) {
        // Even and odd columns of both rows added in 16-bit lanes, then >> 2 (at most 1020).
        const Split a0 = splitBytes(vld1q_u8(a + 2 * c)), a1 = splitBytes(vld1q_u8(a + 2 * c + 16));
        const Split b0 = splitBytes(vld1q_u8(b + 2 * c)), b1 = splitBytes(vld1q_u8(b + 2 * c + 16));
        const uint16x8_t lo = vaddq_u16(vaddq_u16(a0.even, a0.odd), vaddq_u16(b0.even, b0.odd));
        const uint16x8_t hi = vaddq_u16(vaddq_u16(a1.even, a1.odd), vaddq_u16(b1.even, b1.odd));
        vst1q_u8(dst + c, vuzpq_u8(vreinterpretq_u8_u16(vshrq_n_u16(lo, 2)), vreinterpretq_u8_u16(vshrq_n_u16(hi, 2))).val[0]);
    }
    if (c < outWidth) ilmvHalfRowC(a + 2 * c, b + 2 * c, outWidth - c, dst + c);
}

namespace {

void verticalU8V(const uint8_t* const* rows, size_t width, uint16_t* sums)
{
    size_t x = 0;
    for (; x + 16 <= width; x += 16) {
        Wide r[5];
        for (int k = 0; k < 5; ++k) r[k] = widenBytes(vld1q_u8(rows[k] + x));
        auto taps = [&](uint16x8_t Wide::*half) {
            const uint16x8_t four = vshlq_n_u16(vaddq_u16(r[1].*half, r[3].*half), 2);
            const uint16x8_t six = vmulq_n_u16(r[2].*half, 6);
            return vaddq_u16(vaddq_u16(vaddq_u16(r[0].*half, r[4].*half), four), six);
        };
        vst1q_u16(sums + x + 2, taps(&Wide::lo));
        vst1q_u16(sums + x + 10, taps(&Wide::hi));
    }
    for (; x < width; ++x)
        sums[x + 2] = static_cast<uint16_t>(rows[0][x] + 4 * rows[1][x] + 6 * rows[2][x] + 4 * rows[3][x] + rows[4][x]);
    sums[0] = sums[1] = sums[2];
    sums[width + 2] = sums[width + 3] = sums[width + 1];
}

// Output x weighs sums 2x .. 2x+4: the even sums at 2x, 2x+2, 2x+4 and the odd ones between.
void horizontalU8V(const uint16_t* sums, size_t outWidth, uint8_t* dst)
{
    size_t x = 0;
    for (; x + 8 <= outWidth; x += 8) {
        const uint16x8x2_t s = vuzpq_u16(vld1q_u16(sums + 2 * x), vld1q_u16(sums + 2 * x + 8));
        const uint16x8x2_t t = vuzpq_u16(vld1q_u16(sums + 2 * x + 2), vld1q_u16(sums + 2 * x + 10));
        const uint16x8x2_t u = vuzpq_u16(vld1q_u16(sums + 2 * x + 4), vld1q_u16(sums + 2 * x + 12));
        // even: s0 = sums[2x], t0 = sums[2x+2], u0 = sums[2x+4]; odd: s1 = sums[2x+1], t1 = sums[2x+3].
        uint16x8_t total = vaddq_u16(s.val[0], u.val[0]);
        total = vaddq_u16(total, vshlq_n_u16(vaddq_u16(s.val[1], t.val[1]), 2));
        total = vaddq_u16(total, vmulq_n_u16(t.val[0], 6));
        total = vaddq_u16(total, vdupq_n_u16(128));  // at most 65408
        vst1_u8(dst + x, vmovn_u16(vshrq_n_u16(total, 8)));
    }
    for (; x < outWidth; ++x) {
        const uint16_t* s = sums + 2 * x;
        dst[x] = static_cast<uint8_t>((s[0] + 4 * s[1] + 6 * s[2] + 4 * s[3] + s[4] + 128) >> 8);
    }
}

inline float32x4_t taps(float32x4_t a, float32x4_t b, float32x4_t c, float32x4_t d, float32x4_t e)
{
    // ((a + e) + 4 (b + d)) + 6 c, in the reference's order, with separate multiplies and adds.
    const float32x4_t outer = vaddq_f32(a, e), inner = vmulq_f32(vaddq_f32(b, d), vdupq_n_f32(4.0f));
    return vaddq_f32(vaddq_f32(outer, inner), vmulq_f32(c, vdupq_n_f32(6.0f)));
}

void verticalF32V(const float32_t* const* rows, size_t width, float32_t* sums)
{
    size_t x = 0;
    for (; x + 4 <= width; x += 4)
        vst1q_f32(sums + x + 2, taps(vld1q_f32(rows[0] + x), vld1q_f32(rows[1] + x), vld1q_f32(rows[2] + x),
                                     vld1q_f32(rows[3] + x), vld1q_f32(rows[4] + x)));
    for (; x < width; ++x) {
        const float32x4_t one = taps(vdupq_n_f32(rows[0][x]), vdupq_n_f32(rows[1][x]), vdupq_n_f32(rows[2][x]),
                                     vdupq_n_f32(rows[3][x]), vdupq_n_f32(rows[4][x]));
        sums[x + 2] = vgetq_lane_f32(one, 0);
    }
    sums[0] = sums[1] = sums[2];
    sums[width + 2] = sums[width + 3] = sums[width + 1];
}

void horizontalF32V(const float32_t* sums, size_t outWidth, float32_t* dst)
{
    size_t x = 0;
    for (; x + 4 <= outWidth; x += 4) {
        const float32x4x2_t s = vuzpq_f32(vld1q_f32(sums + 2 * x), vld1q_f32(sums + 2 * x + 4));
        const float32x4x2_t t = vuzpq_f32(vld1q_f32(sums + 2 * x + 2), vld1q_f32(sums + 2 * x + 6));
        const float32x4x2_t u = vuzpq_f32(vld1q_f32(sums + 2 * x + 4), vld1q_f32(sums + 2 * x + 8));
        vst1q_f32(dst + x, vmulq_f32(taps(s.val[0], s.val[1], t.val[0], t.val[1], u.val[0]), vdupq_n_f32(1.0f / 256.0f)));
    }
    if (x < outWidth) ilmvDecimateRowsC().horizontalF32(sums + 2 * x, outWidth - x, dst + x);
}

const ILMV_DECIMATE_ROWS kRowsV = {verticalU8V, horizontalU8V, verticalF32V, horizontalF32V};

}  // namespace

const ILMV_DECIMATE_ROWS& ilmvDecimateRowsV()
{
    return kRowsV;
}
