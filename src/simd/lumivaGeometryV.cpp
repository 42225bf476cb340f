// NEON kernels of geometry and resampling: 8x8 transposes by lane swaps (1, 2 and 4-byte
// pixels; 3-byte pixels keep the reference block), row reversal, the
// bilinear sampler (gathered neighbours, vector weights), the resampler's vertical pass and
// the fixed-ratio rows. The table starts as the reference one and replaces the kernels that
// have a vector form; each gives the reference's bytes.
#include "cpu/lumivaGeometry.h"
#include "cpu/lumivaScale.h"
#include "simd/lumivaNeon.h"

namespace {

using namespace ilmv;

const ilmvGeometryRows& ref()
{
    return ilmvGeometryRowsC();
}

// ---- Transposes -------------------------------------------------------------------------------
// Eight rows of eight bytes become eight columns: swaps of bytes, then halfwords, then words.
void transposeBytes(const uint8x8_t r[8], uint8x8_t c[8])
{
    const uint8x8x2_t t01 = vtrn_u8(r[0], r[1]), t23 = vtrn_u8(r[2], r[3]);
    const uint8x8x2_t t45 = vtrn_u8(r[4], r[5]), t67 = vtrn_u8(r[6], r[7]);
    const uint16x4x2_t u02 = vtrn_u16(vreinterpret_u16_u8(t01.val[0]), vreinterpret_u16_u8(t23.val[0]));
    const uint16x4x2_t u13 = vtrn_u16(vreinterpret_u16_u8(t01.val[1]), vreinterpret_u16_u8(t23.val[1]));
    const uint16x4x2_t u46 = vtrn_u16(vreinterpret_u16_u8(t45.val[0]), vreinterpret_u16_u8(t67.val[0]));
    const uint16x4x2_t u57 = vtrn_u16(vreinterpret_u16_u8(t45.val[1]), vreinterpret_u16_u8(t67.val[1]));
    const uint32x2x2_t v04 = vtrn_u32(vreinterpret_u32_u16(u02.val[0]), vreinterpret_u32_u16(u46.val[0]));
    const uint32x2x2_t v26 = vtrn_u32(vreinterpret_u32_u16(u02.val[1]), vreinterpret_u32_u16(u46.val[1]));
    const uint32x2x2_t v15 = vtrn_u32(vreinterpret_u32_u16(u13.val[0]), vreinterpret_u32_u16(u57.val[0]));
    const uint32x2x2_t v37 = vtrn_u32(vreinterpret_u32_u16(u13.val[1]), vreinterpret_u32_u16(u57.val[1]));
    c[0] = vreinterpret_u8_u32(v04.val[0]), c[4] = vreinterpret_u8_u32(v04.val[1]);
    c[1] = vreinterpret_u8_u32(v15.val[0]), c[5] = vreinterpret_u8_u32(v15.val[1]);
    c[2] = vreinterpret_u8_u32(v26.val[0]), c[6] = vreinterpret_u8_u32(v26.val[1]);
    c[3] = vreinterpret_u8_u32(v37.val[0]), c[7] = vreinterpret_u8_u32(v37.val[1]);
}

void transpose8x8u8(const uint8_t* src, ptrdiff_t ss, uint8_t* dst, ptrdiff_t ds)
{
    uint8x8_t r[8], c[8];
    for (int k = 0; k < 8; ++k) r[k] = vld1_u8(src + k * ss);
    transposeBytes(r, c);
    for (int k = 0; k < 8; ++k) vst1_u8(dst + k * ds, c[k]);
}

void transpose8x8u16(const uint8_t* src, ptrdiff_t ss, uint8_t* dst, ptrdiff_t ds)
{
    uint16x8_t r[8];
    for (int k = 0; k < 8; ++k) r[k] = vreinterpretq_u16_u8(vld1q_u8(src + k * ss));
    const uint16x8x2_t t01 = vtrnq_u16(r[0], r[1]), t23 = vtrnq_u16(r[2], r[3]);
    const uint16x8x2_t t45 = vtrnq_u16(r[4], r[5]), t67 = vtrnq_u16(r[6], r[7]);
    const uint32x4x2_t u02 = vtrnq_u32(vreinterpretq_u32_u16(t01.val[0]), vreinterpretq_u32_u16(t23.val[0]));
    const uint32x4x2_t u13 = vtrnq_u32(vreinterpretq_u32_u16(t01.val[1]), vreinterpretq_u32_u16(t23.val[1]));
    const uint32x4x2_t u46 = vtrnq_u32(vreinterpretq_u32_u16(t45.val[0]), vreinterpretq_u32_u16(t67.val[0]));
    const uint32x4x2_t u57 = vtrnq_u32(vreinterpretq_u32_u16(t45.val[1]), vreinterpretq_u32_u16(t67.val[1]));
    // Columns c and c + 4 are the low and high halves of the same pair of registers.
    const uint32x4_t* top[4] = {&u02.val[0], &u13.val[0], &u02.val[1], &u13.val[1]};
    const uint32x4_t* bottom[4] = {&u46.val[0], &u57.val[0], &u46.val[1], &u57.val[1]};
    for (int c = 0; c < 4; ++c) {
        vst1q_u8(dst + c * ds, vreinterpretq_u8_u32(vcombine_u32(vget_low_u32(*top[c]), vget_low_u32(*bottom[c]))));
        vst1q_u8(dst + (c + 4) * ds,
                 vreinterpretq_u8_u32(vcombine_u32(vget_high_u32(*top[c]), vget_high_u32(*bottom[c]))));
    }
}

void transpose4x4u32(const uint8_t* src, ptrdiff_t ss, uint8_t* dst, ptrdiff_t ds)
{
    const uint32x4_t r0 = vreinterpretq_u32_u8(vld1q_u8(src)), r1 = vreinterpretq_u32_u8(vld1q_u8(src + ss));
    const uint32x4_t r2 = vreinterpretq_u32_u8(vld1q_u8(src + 2 * ss));
    const uint32x4_t r3 = vreinterpretq_u32_u8(vld1q_u8(src + 3 * ss));
    const uint32x4x2_t t01 = vtrnq_u32(r0, r1), t23 = vtrnq_u32(r2, r3);
    vst1q_u8(dst, vreinterpretq_u8_u32(vcombine_u32(vget_low_u32(t01.val[0]), vget_low_u32(t23.val[0]))));
    vst1q_u8(dst + ds, vreinterpretq_u8_u32(vcombine_u32(vget_low_u32(t01.val[1]), vget_low_u32(t23.val[1]))));
    vst1q_u8(dst + 2 * ds, vreinterpretq_u8_u32(vcombine_u32(vget_high_u32(t01.val[0]), vget_high_u32(t23.val[0]))));
    vst1q_u8(dst + 3 * ds, vreinterpretq_u8_u32(vcombine_u32(vget_high_u32(t01.val[1]), vget_high_u32(t23.val[1]))));
}

void transpose8x8V(const uint8_t* src, ptrdiff_t ss, uint32_t bpp, uint8_t* dst, ptrdiff_t ds)
{
    switch (bpp) {
    case 1: transpose8x8u8(src, ss, dst, ds); break;
    case 2: transpose8x8u16(src, ss, dst, ds); break;
    case 4:
        for (int r = 0; r < 8; r += 4)
            for (int c = 0; c < 8; c += 4) transpose4x4u32(src + r * ss + c * 4, ss, dst + c * ds + r * 4, ds);
        break;
    default: ref().transpose8x8(src, ss, bpp, dst, ds);
    }
}

// ---- Row reversal -----------------------------------------------------------------------------
inline uint8x16_t reversed(uint8x16_t v, uint32_t bpp)
{
    const uint8x16_t r = bpp == 1 ? vrev64q_u8(v)
                         : bpp == 2 ? vreinterpretq_u8_u16(vrev64q_u16(vreinterpretq_u16_u8(v)))
                                    : vreinterpretq_u8_u32(vrev64q_u32(vreinterpretq_u32_u8(v)));
    return vcombine_u8(vget_high_u8(r), vget_low_u8(r));
}

void reverseV(const uint8_t* src, size_t n, uint32_t bpp, uint8_t* dst)
{
    if (bpp == 3) {
        size_t i = 0;
        for (; i + 16 <= n; i += 16) {
            uint8x16x3_t p = load3(src + 3 * i);
            for (int c = 0; c < 3; ++c) p.val[c] = reversed(p.val[c], 1);
            store3(dst + 3 * (n - 16 - i), p);
        }
        ref().reverse(src + 3 * i, n - i, 3, dst);
        return;
    }
    if (bpp != 1 && bpp != 2 && bpp != 4) return ref().reverse(src, n, bpp, dst);
    const size_t bytes = n * bpp;
    size_t i = 0;
    for (; i + 16 <= bytes; i += 16) vst1q_u8(dst + bytes - 16 - i, reversed(vld1q_u8(src + i), bpp));
    ref().reverse(src + i, (bytes - i) / bpp, bpp, dst);
}

// ---- The bilinear sampler ---------------------------------------------------------------------
// Eight grey pixels a step: the four neighbours gathered, then weighed in 16 and 32-bit lanes.
void bilinearV(const uint8_t* src, size_t stride, uint32_t bpp, const int32_t* X, const int32_t* Y, size_t n,
               uint8_t* dst)
{
    if (bpp != 1) return ref().bilinear(src, stride, bpp, X, Y, n, dst);
    size_t i = 0;
    const uint16x8_t steps = vdupq_n_u16(32);
    for (; i + 8 <= n; i += 8) {
        // Each row pair of neighbours is one 16-bit load; the bytes part again in the registers.
        uint16_t top[8], bottom[8];
        for (int k = 0; k < 8; ++k) {
            const uint8_t* p = src + size_t(Y[i + k] >> 5) * stride + size_t(X[i + k] >> 5);
            std::memcpy(&top[k], p, 2);
            std::memcpy(&bottom[k], p + stride, 2);
        }
        const uint8x8x2_t t = vuzp_u8(vget_low_u8(vreinterpretq_u8_u16(vld1q_u16(top))),
                                      vget_high_u8(vreinterpretq_u8_u16(vld1q_u16(top))));
        const uint8x8x2_t b = vuzp_u8(vget_low_u8(vreinterpretq_u8_u16(vld1q_u16(bottom))),
                                      vget_high_u8(vreinterpretq_u8_u16(vld1q_u16(bottom))));
        const int32x4_t x0 = vld1q_s32(X + i), x1 = vld1q_s32(X + i + 4);
        const int32x4_t y0 = vld1q_s32(Y + i), y1 = vld1q_s32(Y + i + 4);
        const uint16x8_t fx = vandq_u16(vcombine_u16(vmovn_u32(vreinterpretq_u32_s32(x0)), vmovn_u32(vreinterpretq_u32_s32(x1))),
                                        vdupq_n_u16(31));
        const uint16x8_t fy = vandq_u16(vcombine_u16(vmovn_u32(vreinterpretq_u32_s32(y0)), vmovn_u32(vreinterpretq_u32_s32(y1))),
                                        vdupq_n_u16(31));
        const uint16x8_t gx = vsubq_u16(steps, fx), gy = vsubq_u16(steps, fy);
        const uint16x8_t upper = vmlaq_u16(vmulq_u16(vmovl_u8(t.val[0]), gx), vmovl_u8(t.val[1]), fx);
        const uint16x8_t lower = vmlaq_u16(vmulq_u16(vmovl_u8(b.val[0]), gx), vmovl_u8(b.val[1]), fx);
        const uint32x4_t lo = vmlal_u16(vmull_u16(vget_low_u16(upper), vget_low_u16(gy)), vget_low_u16(lower),
                                        vget_low_u16(fy));
        const uint32x4_t hi = vmlal_u16(vmull_u16(vget_high_u16(upper), vget_high_u16(gy)), vget_high_u16(lower),
                                        vget_high_u16(fy));
        vst1_u8(dst + i, vmovn_u16(vcombine_u16(vrshrn_n_u32(lo, 10), vrshrn_n_u32(hi, 10))));
    }
    ref().bilinear(src, stride, bpp, X + i, Y + i, n - i, dst + i);
}

// ---- The resampler's horizontal pass ----------------------------------------------------------
// Two taps on grey rows, 8 outputs a step where each output's taps are neighbours (one 16-bit
// load); groups that meet the clamped edge, and every other shape, run the reference.
void horizontalV(const uint8_t* row, uint32_t ch, const int32_t* at, const int16_t* w, uint32_t K, size_t count,
                 int32_t* out)
{
    if (ch != 1 || K != 2) return ref().horizontal(row, ch, at, w, K, count, out);
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        uint16_t pairs[8];
        bool adjacent = true;
        for (int k = 0; k < 8; ++k) adjacent = adjacent && at[2 * (i + k) + 1] == at[2 * (i + k)] + 1;
        if (!adjacent) {
            ref().horizontal(row, ch, at + 2 * i, w + 2 * i, K, 8, out + i);
            continue;
        }
        for (int k = 0; k < 8; ++k) std::memcpy(&pairs[k], row + at[2 * (i + k)], 2);
        const uint8x16_t bytes = vreinterpretq_u8_u16(vld1q_u16(pairs));
        const uint8x8x2_t p = vuzp_u8(vget_low_u8(bytes), vget_high_u8(bytes));
        const int16x8x2_t wt = vld2q_s16(w + 2 * i);
        const int16x8_t a = vreinterpretq_s16_u16(vmovl_u8(p.val[0])), b = vreinterpretq_s16_u16(vmovl_u8(p.val[1]));
        vst1q_s32(out + i, vmlal_s16(vmull_s16(vget_low_s16(a), vget_low_s16(wt.val[0])), vget_low_s16(b),
                                     vget_low_s16(wt.val[1])));
        vst1q_s32(out + i + 4, vmlal_s16(vmull_s16(vget_high_s16(a), vget_high_s16(wt.val[0])), vget_high_s16(b),
                                         vget_high_s16(wt.val[1])));
    }
    ref().horizontal(row, ch, at + 2 * i, w + 2 * i, K, count - i, out + i);
}

// ---- The resampler's vertical pass ------------------------------------------------------------
void verticalV(const int32_t* const* rows, const int16_t* w, uint32_t K, size_t n, uint32_t shift, uint8_t* dst)
{
    if (shift != 22 || K > 4) return ref().vertical(rows, w, K, n, shift, dst);
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        int32x4_t lo = vdupq_n_s32(1 << 21), hi = lo;
        for (uint32_t k = 0; k < K; ++k) {
            lo = vmlaq_n_s32(lo, vld1q_s32(rows[k] + x), w[k]);
            hi = vmlaq_n_s32(hi, vld1q_s32(rows[k] + x + 4), w[k]);
        }
        const int16x8_t v = vcombine_s16(vqmovn_s32(vshrq_n_s32(lo, 22)), vqmovn_s32(vshrq_n_s32(hi, 22)));
        vst1_u8(dst + x, vqmovun_s16(v));
    }
    const int32_t* rest[4];
    for (uint32_t k = 0; k < K; ++k) rest[k] = rows[k] + x;
    ref().vertical(rest, w, K, n - x, shift, dst + x);
}

// ---- Fixed ratios -----------------------------------------------------------------------------
void quarterV(const uint8_t* const* rows, size_t outWidth, uint8_t* dst)
{
    size_t x = 0;
    for (; x + 8 <= outWidth; x += 8) {
        uint16x8_t a = vdupq_n_u16(0), b = a;
        for (int r = 0; r < 4; ++r) {
            a = vpadalq_u8(a, vld1q_u8(rows[r] + 4 * x));
            b = vpadalq_u8(b, vld1q_u8(rows[r] + 4 * x + 16));
        }
        // Pairs of pair sums: each lane of the result is one 4x4 block.
        const uint16x8_t sums = vcombine_u16(vpadd_u16(vget_low_u16(a), vget_high_u16(a)),
                                             vpadd_u16(vget_low_u16(b), vget_high_u16(b)));
        vst1_u8(dst + x, vshrn_n_u16(sums, 4));
    }
    const uint8_t* rest[4] = {rows[0] + 4 * x, rows[1] + 4 * x, rows[2] + 4 * x, rows[3] + 4 * x};
    ref().quarter(rest, outWidth - x, dst + x);
}

void halfRoundedV(const uint8_t* a, const uint8_t* b, size_t outWidth, uint32_t ch, uint8_t* dst)
{
    if (ch != 1) return ref().halfRounded(a, b, outWidth, ch, dst);
    auto eight = [&](size_t x) {
        return vrshrn_n_u16(vpadalq_u8(vpaddlq_u8(vld1q_u8(a + 2 * x)), vld1q_u8(b + 2 * x)), 2);
    };
    size_t x = 0;
    for (; x + 16 <= outWidth; x += 16) vst1q_u8(dst + x, vcombine_u8(eight(x), eight(x + 8)));
    for (; x + 8 <= outWidth; x += 8) vst1_u8(dst + x, eight(x));
    ref().halfRounded(a + 2 * x, b + 2 * x, outWidth - x, ch, dst + x);
}

void rows31V(const uint8_t* a, const uint8_t* b, size_t n, uint16_t* out)
{
    size_t i = 0;
    for (; i + 8 <= n; i += 8) vst1q_u16(out + i, vmlal_u8(vmovl_u8(vld1_u8(b + i)), vld1_u8(a + i), vdup_n_u8(3)));
    ref().rows31(a + i, b + i, n - i, out + i);
}

void narrow31V(const uint16_t* v, size_t n, uint8_t* dst)
{
    size_t i = 0;
    for (; i + 8 <= n; i += 8) vst1_u8(dst + i, vrshrn_n_u16(vld1q_u16(v + i), 2));
    ref().narrow31(v + i, n - i, dst + i);
}

// Pixels 8 (or 4 pairs) a step, the two outputs of each interleaved by the store; the row
// comes with its edge values repeated on either side.
void up31V(const uint16_t* v, size_t n, uint32_t ch, uint8_t* dst)
{
    if (ch != 1 && ch != 2) return ref().up31(v, n, ch, dst);
    size_t i = 0;
    const size_t step = 8 / ch;
    for (; i + step <= n; i += step) {
        const uint16x8_t left = vld1q_u16(v + i * ch), mid = vld1q_u16(v + (i + 1) * ch);
        const uint16x8_t right = vld1q_u16(v + (i + 2) * ch), three = vmulq_n_u16(mid, 3);
        const uint8x8_t even = vrshrn_n_u16(vaddq_u16(three, left), 4), odd = vrshrn_n_u16(vaddq_u16(three, right), 4);
        if (ch == 1) {
            const uint8x8x2_t pairs = {{even, odd}};
            vst2_u8(dst + 2 * i, pairs);
        } else {
            const uint16x4x2_t pairs = {{vreinterpret_u16_u8(even), vreinterpret_u16_u8(odd)}};
            vst2_u16(reinterpret_cast<uint16_t*>(dst + 2 * i * ch), pairs);
        }
    }
    ref().up31(v + i * ch, n - i, ch, dst + 2 * i * ch);
}

void pyrVerticalV(const uint8_t* a, const uint8_t* b, const uint8_t* c, size_t n, bool even, uint16_t* out)
{
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const uint8x8_t vb = vld1_u8(b + i), vc = vld1_u8(c + i);
        const uint16x8_t v = even ? vmlal_u8(vaddl_u8(vld1_u8(a + i), vc), vb, vdup_n_u8(6))
                                  : vshlq_n_u16(vaddl_u8(vb, vc), 2);
        vst1q_u16(out + 1 + i, v);
    }
    ref().pyrVertical(a + i, b + i, c + i, n - i, even, out + i);
}

void pyrHorizontalV(const uint16_t* v, size_t n, uint8_t* dst)
{
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const uint16x8_t l = vld1q_u16(v + i), m = vld1q_u16(v + i + 1), r = vld1q_u16(v + i + 2);
        const uint8x8_t even = vrshrn_n_u16(vmlaq_n_u16(vaddq_u16(l, r), m, 6), 6);
        const uint8x8_t odd = vrshrn_n_u16(vshlq_n_u16(vaddq_u16(m, r), 2), 6);
        const uint8x8x2_t pairs = {{even, odd}};
        vst2_u8(dst + 2 * i, pairs);
    }
    ref().pyrHorizontal(v + i, n - i, dst + 2 * i);
}

ilmvGeometryRows simdRows()
{
    ilmvGeometryRows rows = ilmvGeometryRowsC();
    rows.bilinear = bilinearV;
    rows.horizontal = horizontalV;
    rows.vertical = verticalV;
    rows.reverse = reverseV;
    rows.transpose8x8 = transpose8x8V;
    rows.quarter = quarterV;
    rows.halfRounded = halfRoundedV;
    rows.halfTruncated = ilmvHalfRowV;
    rows.rows31 = rows31V;
    rows.up31 = up31V;
    rows.narrow31 = narrow31V;
    rows.pyrVertical = pyrVerticalV;
    rows.pyrHorizontal = pyrHorizontalV;
    return rows;
}

}  // namespace

const ilmvGeometryRows& ilmvGeometryRowsV()
{
    static const ilmvGeometryRows rows = simdRows();
    return rows;
}
