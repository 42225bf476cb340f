// NEON row kernels of the colour family. The frame functions are the reference form's
// (lumivaColorFrames.cpp); these rows give the same bytes 16 pixels at a time and hand
// the last pixels of a row to the reference row kernels.
#include "cpu/lumivaColorRows.h"
#include "lumiva/lumivaTypes.h"
#include "simd/lumivaNeon.h"

#include <cstring>

using namespace ilmv;

namespace {

// ---- Reading and writing packed pixels, 16 at a time -----------------------------------

// The three fields of 16 pixels in memory order, widened to bytes, and alpha.
struct Fields16 {
    uint8x16_t f0, f1, f2, alpha;
};

inline uint8x8x3_t fields565(uint16x8_t w)
{
    uint8x8x3_t f;
    f.val[0] = vshl_n_u8(vmovn_u16(vandq_u16(w, vdupq_n_u16(31))), 3);
    f.val[1] = vshl_n_u8(vmovn_u16(vandq_u16(vshrq_n_u16(w, 5), vdupq_n_u16(63))), 2);
    f.val[2] = vshl_n_u8(vmovn_u16(vshrq_n_u16(w, 11)), 3);
    return f;
}

inline Fields16 load16(const uint8_t* p, ilmvRgbFormat format)
{
    if (format == kRgb888) {
        uint8x16x3_t v = load3(p);
        return {v.val[0], v.val[1], v.val[2], vdupq_n_u8(255)};
    }
    if (format == kRgba8888) {
        uint8x16x4_t v = load4(p);
        return {v.val[0], v.val[1], v.val[2], v.val[3]};
    }
    uint8x8x3_t lo = fields565(vreinterpretq_u16_u8(vld1q_u8(p)));
    uint8x8x3_t hi = fields565(vreinterpretq_u16_u8(vld1q_u8(p + 16)));
    return {vcombine_u8(lo.val[0], hi.val[0]), vcombine_u8(lo.val[1], hi.val[1]), vcombine_u8(lo.val[2], hi.val[2]),
            vdupq_n_u8(255)};
}

inline uint16x8_t pack565(uint8x8_t f0, uint8x8_t f1, uint8x8_t f2)
{
    uint16x8_t w = vmovl_u8(vshr_n_u8(f0, 3));
    w = vorrq_u16(w, vshlq_n_u16(vmovl_u8(vshr_n_u8(f1, 2)), 5));
    return vorrq_u16(w, vshlq_n_u16(vmovl_u8(vshr_n_u8(f2, 3)), 11));
}

inline void store16(uint8_t* p, ilmvRgbFormat format, uint8x16_t f0, uint8x16_t f1, uint8x16_t f2, uint8x16_t alpha)
{
    if (format == kRgb888) {
        uint8x16x3_t v = {{f0, f1, f2}};
        store3(p, v);
    } else if (format == kRgba8888) {
        uint8x16x4_t v = {{f0, f1, f2, alpha}};
        store4(p, v);
    } else {
        vst1q_u8(p, vreinterpretq_u8_u16(pack565(vget_low_u8(f0), vget_low_u8(f1), vget_low_u8(f2))));
        vst1q_u8(p + 16, vreinterpretq_u8_u16(pack565(vget_high_u8(f0), vget_high_u8(f1), vget_high_u8(f2))));
    }
}

inline int16x8_t widen(uint8x8_t v)
{
    return vreinterpretq_s16_u16(vmovl_u8(v));
}

// ---- Set A ---------------------------------------------------------------------------

// Y = (77R + 150G + 29B + 128) >> 8: the sum stays below 65536, so 16-bit lanes hold it.
inline uint16x8_t lumaSum(uint16x8_t r, uint16x8_t g, uint16x8_t b)
{
    const uint16x8_t kr = opaque(vdupq_n_u16(77)), kg = opaque(vdupq_n_u16(150)), kb = opaque(vdupq_n_u16(29));
    return vmlaq_u16(vmlaq_u16(vmlaq_u16(vdupq_n_u16(128), r, kr), g, kg), b, kb);
}

inline uint8x16_t luma16(const Split& r, const Split& g, const Split& b)
{
    return joinHighBytes(lumaSum(r.even, g.even, b.even), lumaSum(r.odd, g.odd, b.odd));
}

// 128 + ((128*own - kg*G - kOther*other + 128) >> 8); every term fits 16 signed bits, and the
// sum reaches 256 at most, which the byte clamp turns into 255.
inline int16x8_t chromaSum(uint16x8_t own, uint16x8_t g, uint16x8_t other, int16_t kg, int16_t kOther)
{
    int16x8_t sum = vmlsq_s16(vmlsq_s16(vshlq_n_s16(asSigned(own), 7), asSigned(g), opaque(vdupq_n_s16(kg))),
                              asSigned(other), opaque(vdupq_n_s16(kOther)));
    return vaddq_s16(vrshrq_n_s16(sum, 8), vdupq_n_s16(128));
}

inline int16x8_t cbSum(uint16x8_t r, uint16x8_t g, uint16x8_t b)
{
    return chromaSum(b, g, r, 85, 43);
}

inline int16x8_t crSum(uint16x8_t r, uint16x8_t g, uint16x8_t b)
{
    return chromaSum(r, g, b, 107, 21);
}

void rgbToYccV(ilmvRgbFormat format, const uint8_t* src, size_t n, uint8_t* y, uint8_t* cb, uint8_t* cr, size_t step,
               bool half)
{
    const size_t bpp = kBytesPerPixel[format];
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        Fields16 f = load16(src + i * bpp, format);  // f0 blue, f1 green, f2 red
        const Split r = splitBytes(f.f2), g = splitBytes(f.f1), b = splitBytes(f.f0);
        vst1q_u8(y + i, luma16(r, g, b));
        if (!cb) continue;
        if (half) {
            // The chroma of each pair comes from its even pixel alone.
            const int16x8_t sb = cbSum(r.even, g.even, b.even), sr = crSum(r.even, g.even, b.even);
            if (step == 2) {
                vst1q_u8(cb + i, joinClamped(sb, sr));  // pairs Cb, Cr
            } else {
                vst1_u8(cb + i / 2, vmovn_u16(clampToByte(sb)));
                vst1_u8(cr + i / 2, vmovn_u16(clampToByte(sr)));
            }
            continue;
        }
        const uint8x16_t vb = joinClamped(cbSum(r.even, g.even, b.even), cbSum(r.odd, g.odd, b.odd));
        const uint8x16_t vr = joinClamped(crSum(r.even, g.even, b.even), crSum(r.odd, g.odd, b.odd));
        if (step == 2) {
            uint8x16x2_t pairs = {{vb, vr}};
            store2(cb + 2 * i, pairs);
        } else {
            vst1q_u8(cb + i, vb);
            vst1q_u8(cr + i, vr);
        }
    }
    if (i < n) {
        const size_t k = (half ? i / 2 : i) * step;
        ilmvColorRowsC().rgbToYcc(format, src + i * bpp, n - i, y + i, cb ? cb + k : nullptr, cb ? cr + k : nullptr,
                                  step, half);
    }
}

// R = Y + dr, G = Y + dg, B = Y + db with dr = v + ((103v + 128) >> 8),
// dg = -v + ((-88u + 73v + 128) >> 8), db = u + ((198u + 128) >> 8): set A with 256 split off
// each large coefficient, which keeps every term within 16 signed bits and leaves the
// rounding unchanged. The offsets depend on chroma alone, so subsampled chroma computes
// them once per sample.
struct Offsets {
    int16x8_t r, g, b;
};

inline Offsets chromaOffsets(uint16x8_t cb16, uint16x8_t cr16)
{
    const int16x8_t half = vdupq_n_s16(128);  // the rounding constant starts each sum
    const int16x8_t u = vsubq_s16(asSigned(cb16), half), v = vsubq_s16(asSigned(cr16), half);
    auto k = [](int16_t c) { return opaque(vdupq_n_s16(c)); };
    return {vaddq_s16(v, vshrq_n_s16(vmlaq_s16(half, v, k(103)), 8)),
            vsubq_s16(vshrq_n_s16(vmlaq_s16(vmlaq_s16(half, u, k(-88)), v, k(73)), 8), v),
            vaddq_s16(u, vshrq_n_s16(vmlaq_s16(half, u, k(198)), 8))};
}

void yccToRgbV(ilmvRgbFormat format, const uint8_t* y, const uint8_t* cb, const uint8_t* cr, size_t step, bool half,
               size_t n, uint8_t* dst)
{
    const size_t bpp = kBytesPerPixel[format];
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        // Even pixels, odd pixels: with subsampled chroma both sets use the same 8 samples.
        Offsets even, odd;
        if (half) {
            uint16x8_t b16, r16;
            if (step == 2) {
                Split pairs = splitBytes(vld1q_u8(cb + i));
                b16 = pairs.even;
                r16 = pairs.odd;
            } else {
                b16 = widenBytes(vcombine_u8(vld1_u8(cb + i / 2), vdup_n_u8(0))).lo;
                r16 = widenBytes(vcombine_u8(vld1_u8(cr + i / 2), vdup_n_u8(0))).lo;
            }
            even = odd = chromaOffsets(b16, r16);
        } else {
            uint8x16_t vb, vr;
            if (step == 2) {
                uint8x16x2_t pairs = load2(cb + 2 * i);
                vb = pairs.val[0];
                vr = pairs.val[1];
            } else {
                vb = vld1q_u8(cb + i);
                vr = vld1q_u8(cr + i);
            }
            Split sb = splitBytes(vb), sr = splitBytes(vr);
            even = chromaOffsets(sb.even, sr.even);
            odd = chromaOffsets(sb.odd, sr.odd);
        }
        Split sy = splitBytes(vld1q_u8(y + i));
        const int16x8_t ye = asSigned(sy.even), yo = asSigned(sy.odd);
        store16(dst + i * bpp, format, joinClamped(vaddq_s16(ye, even.r), vaddq_s16(yo, odd.r)),
                joinClamped(vaddq_s16(ye, even.g), vaddq_s16(yo, odd.g)),
                joinClamped(vaddq_s16(ye, even.b), vaddq_s16(yo, odd.b)), vdupq_n_u8(255));
    }
    if (i < n) {
        const size_t k = (half ? i / 2 : i) * step;
        ilmvColorRowsC().yccToRgb(format, y + i, cb + k, cr + k, step, half, n - i, dst + i * bpp);
    }
}

void rgbToRgbV(ilmvRgbFormat from, ilmvRgbFormat to, bool swap, const uint8_t* src, size_t n, uint8_t* dst)
{
    const size_t sb = kBytesPerPixel[from], db = kBytesPerPixel[to];
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        Fields16 f = load16(src + i * sb, from);
        if (swap)
            store16(dst + i * db, to, f.f2, f.f1, f.f0, f.alpha);
        else
            store16(dst + i * db, to, f.f0, f.f1, f.f2, f.alpha);
    }
    if (i < n) ilmvColorRowsC().rgbToRgb(from, to, swap, src + i * sb, n - i, dst + i * db);
}

// ---- Chroma resampling and channels -----------------------------------------------------

void downsampleHorizontalV(const uint8_t* src, size_t n, uint8_t* dst)
{
    size_t k = 0;
    for (; k + 16 < n; k += 16) vst1q_u8(dst + k, load2(src + 2 * k).val[0]);
    if (k < n) ilmvColorRowsC().downsampleHorizontal(src + 2 * k, n - k, dst + k);
}

void downsampleHorizontalInterleavedV(const uint8_t* src, size_t n, uint8_t* dst)
{
    size_t k = 0;
    for (; k + 16 < n; k += 16) {
        uint8x16x4_t quads = load4(src + 4 * k);
        uint8x16x2_t pairs = {{quads.val[0], quads.val[1]}};
        store2(dst + 2 * k, pairs);
    }
    if (k < n) ilmvColorRowsC().downsampleHorizontalInterleaved(src + 4 * k, n - k, dst + 2 * k);
}

void chromaUpHorizontalPlanarV(const uint8_t* src, size_t n, uint8_t* dst)
{
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        uint8x8_t x = vld1_u8(src + i / 2);
        uint8x8x2_t twice = vzip_u8(x, x);
        vst1q_u8(dst + i, vcombine_u8(twice.val[0], twice.val[1]));
    }
    for (; i < n; ++i) dst[i] = src[i / 2];
}

void chromaUpHorizontalV(const uint8_t* src, size_t n, uint8_t* dst)
{
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        uint8x16_t bytes = vld1q_u8(src + i);
        uint8x8x2_t pairs = vuzp_u8(vget_low_u8(bytes), vget_high_u8(bytes));
        uint8x8x2_t cb = vzip_u8(pairs.val[0], pairs.val[0]), cr = vzip_u8(pairs.val[1], pairs.val[1]);
        uint8x16x2_t out = {{vcombine_u8(cb.val[0], cb.val[1]), vcombine_u8(cr.val[0], cr.val[1])}};
        store2(dst + 2 * i, out);
    }
    if (i < n) ilmvColorRowsC().chromaUpHorizontal(src + i, n - i, dst + 2 * i);
}

void interleaveV(const uint8_t* const* planes, size_t count, size_t n, uint8_t* dst)
{
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        if (count == 2) {
            uint8x16x2_t v = {{vld1q_u8(planes[0] + i), vld1q_u8(planes[1] + i)}};
            store2(dst + 2 * i, v);
        } else if (count == 3) {
            uint8x16x3_t v = {{vld1q_u8(planes[0] + i), vld1q_u8(planes[1] + i), vld1q_u8(planes[2] + i)}};
            store3(dst + 3 * i, v);
        } else {
            uint8x16x4_t v = {
                {vld1q_u8(planes[0] + i), vld1q_u8(planes[1] + i), vld1q_u8(planes[2] + i), vld1q_u8(planes[3] + i)}};
            store4(dst + 4 * i, v);
        }
    }
    for (; i < n; ++i)
        for (size_t k = 0; k < count; ++k) dst[i * count + k] = planes[k][i];
}

void deinterleaveV(const uint8_t* src, size_t count, size_t n, uint8_t* const* planes)
{
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        if (count == 2) {
            uint8x16x2_t v = load2(src + 2 * i);
            for (size_t k = 0; k < 2; ++k) vst1q_u8(planes[k] + i, v.val[k]);
        } else if (count == 3) {
            uint8x16x3_t v = load3(src + 3 * i);
            for (size_t k = 0; k < 3; ++k) vst1q_u8(planes[k] + i, v.val[k]);
        } else {
            uint8x16x4_t v = load4(src + 4 * i);
            for (size_t k = 0; k < 4; ++k) vst1q_u8(planes[k] + i, v.val[k]);
        }
    }
    for (; i < n; ++i)
        for (size_t k = 0; k < count; ++k) planes[k][i] = src[i * count + k];
}

// A structure load reads up to stride - 1 bytes past its last sample, so the vector steps
// stop while a further sample remains and those bytes are still the row's.
void extractV(const uint8_t* src, size_t stride, size_t n, uint8_t* dst)
{
    if (stride == 1) {
        std::memcpy(dst, src, n);
        return;
    }
    size_t i = 0;
    for (; i + 16 < n; i += 16) {
        const uint8_t* p = src + i * stride;
        vst1q_u8(dst + i, stride == 2 ? load2(p).val[0] : stride == 3 ? load3(p).val[0] : load4(p).val[0]);
    }
    for (; i < n; ++i) dst[i] = src[i * stride];
}

// ---- Pixel-wise conversions --------------------------------------------------------------

// (19595R + 38469G + 7471B + 32768) >> 16 in 16-bit lanes, in the high byte of the result:
// with the coefficients split as 256*high + low around the nearest multiple of 256, the sum
// is 256*t + u + 32768 where t = 77R + 150G + 29B (at most 65280) and u = -117R + 69G + 47B
// lies in [-29835, 29580], so u + 32768 fits 16 unsigned bits and t + ((u + 32768) >> 8)
// reaches 65523 at most.
inline uint16x8_t grey16(uint16x8_t r, uint16x8_t g, uint16x8_t b)
{
    const uint16x8_t tr = opaque(vdupq_n_u16(77)), tg = opaque(vdupq_n_u16(150)), tb = opaque(vdupq_n_u16(29));
    const uint16x8_t ur = opaque(vdupq_n_u16(uint16_t(-117))), ug = opaque(vdupq_n_u16(69));
    const uint16x8_t ub = opaque(vdupq_n_u16(47));
    const uint16x8_t t = vmlaq_u16(vmlaq_u16(vmulq_u16(r, tr), g, tg), b, tb);
    const uint16x8_t u = vmlaq_u16(vmlaq_u16(vmlaq_u16(vdupq_n_u16(32768), r, ur), g, ug), b, ub);  // wraps mod 2^16
    return vsraq_n_u16(t, u, 8);
}

void greyV(const uint8_t* src, size_t n, uint8_t* dst)
{
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const uint16x8x3_t lo = loadWidened3(src + 3 * i), hi = loadWidened3(src + 3 * i + 24);
        vst1q_u8(dst + i, highBytes(grey16(lo.val[0], lo.val[1], lo.val[2]), grey16(hi.val[0], hi.val[1], hi.val[2])));
    }
    if (i < n) ilmvColorRowsC().grey(src + 3 * i, n - i, dst + i);
}

// 15 fractional bits: (kr*R + kg*G + kb*B + 16384) >> 15 in 32-bit lanes.
inline int32x4_t dot15(int16x4_t r, int16x4_t g, int16x4_t b, int16_t kr, int16_t kg, int16_t kb)
{
    return vrshrq_n_s32(vmlal_n_s16(vmlal_n_s16(vmull_n_s16(r, kr), g, kg), b, kb), 15);
}

inline uint8x8_t narrow15(int32x4_t lo, int32x4_t hi, int32_t offset)
{
    const int32x4_t k = vdupq_n_s32(offset);
    return vqmovun_s16(vcombine_s16(vqmovn_s32(vaddq_s32(lo, k)), vqmovn_s32(vaddq_s32(hi, k))));
}

void yCrCbV(const uint8_t* src, size_t n, uint8_t* dst)
{
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        uint8x16x3_t p = load3(src + 3 * i);
        uint8x16x3_t out;
        for (int half = 0; half < 2; ++half) {
            auto part = [&](uint8x16_t v) { return widen(half ? vget_high_u8(v) : vget_low_u8(v)); };
            int16x8_t r = part(p.val[0]), g = part(p.val[1]), b = part(p.val[2]);
            auto channel = [&](int16_t kr, int16_t kg, int16_t kb, int32_t offset) {
                return narrow15(dot15(vget_low_s16(r), vget_low_s16(g), vget_low_s16(b), kr, kg, kb),
                                dot15(vget_high_s16(r), vget_high_s16(g), vget_high_s16(b), kr, kg, kb), offset);
            };
            uint8x8_t y = channel(9798, 19235, 3736, 0), cr = channel(16384, -13720, -2664, 128),
                      cb = channel(-5529, -10855, 16384, 128);
            if (half) {
                out.val[0] = vcombine_u8(vget_low_u8(out.val[0]), y);
                out.val[1] = vcombine_u8(vget_low_u8(out.val[1]), cr);
                out.val[2] = vcombine_u8(vget_low_u8(out.val[2]), cb);
            } else {
                out.val[0] = vcombine_u8(y, y);
                out.val[1] = vcombine_u8(cr, cr);
                out.val[2] = vcombine_u8(cb, cb);
            }
        }
        store3(dst + 3 * i, out);
    }
    if (i < n) ilmvColorRowsC().yCrCb(src + 3 * i, n - i, dst + 3 * i);
}

void swapPairsV(const uint8_t* src, size_t n, uint8_t* dst)
{
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        uint8x16x2_t p = load2(src + 2 * i);
        uint8x16x2_t swapped = {{p.val[1], p.val[0]}};
        store2(dst + 2 * i, swapped);
    }
    if (i < n) ilmvColorRowsC().swapPairs(src + 2 * i, n - i, dst + 2 * i);
}

// Hue and Lab go through 256-entry tables, which the vector unit cannot index by lane;
// their rows run the reference rule per pixel.
void hsvV(const uint8_t* src, size_t n, uint8_t* dst)
{
    ilmvColorRowsC().hsv(src, n, dst);
}

void labV(const uint8_t* src, size_t n, uint8_t* dst)
{
    ilmvColorRowsC().lab(src, n, dst);
}

// ---- Video range -----------------------------------------------------------------------

// (ka*a + kb*b + kc*c) >> S per lane in 32 bits, saturated back to 16; the byte clamp after
// it equals the reference's clamp before the shift.
template <int S>
inline int16x8_t dotShift(int16x8_t a, int16_t ka, int16x8_t b, int16_t kb, int16x8_t c, int16_t kc)
{
    auto part = [&](int16x4_t x, int16x4_t y, int16x4_t z) {
        return vqmovn_s32(vshrq_n_s32(vmlal_n_s16(vmlal_n_s16(vmull_n_s16(x, ka), y, kb), z, kc), S));
    };
    return vcombine_s16(part(vget_low_s16(a), vget_low_s16(b), vget_low_s16(c)),
                        part(vget_high_s16(a), vget_high_s16(b), vget_high_s16(c)));
}

// The 8 pairs under 16 pixels, each repeated for its two pixels: first and second bytes.
inline void pairsOf16(const uint8_t* pairs, uint8x16_t& first, uint8x16_t& second)
{
    uint8x16_t bytes = vld1q_u8(pairs);
    uint8x16x2_t split = vuzpq_u8(bytes, bytes);
    first = vzipq_u8(split.val[0], split.val[0]).val[0];
    second = vzipq_u8(split.val[1], split.val[1]).val[0];
}

inline int16x8_t centred(uint16x8_t c)
{
    return vsubq_s16(asSigned(c), vdupq_n_s16(128));
}

// 10 fractional bits: Y' = (max(Y, 16) - 16) * 1192, R = Y' + 1634v, G = Y' - 833v - 400u,
// B = Y' + 2066u, each >> 10 and clamped.
void video10V(const uint8_t* y, const uint8_t* pairs, size_t n, uint8_t* rgba)
{
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        uint8x16_t cr, cb;
        pairsOf16(pairs + x, cr, cb);
        Wide wy = widenBytes(vqsubq_u8(vld1q_u8(y + x), vdupq_n_u8(16))), wb = widenBytes(cb), wr = widenBytes(cr);
        int16x8_t r[2], g[2], b[2];
        for (int h = 0; h < 2; ++h) {
            const int16x8_t yy = asSigned(h ? wy.hi : wy.lo), u = centred(h ? wb.hi : wb.lo), v = centred(h ? wr.hi : wr.lo);
            r[h] = dotShift<10>(yy, 1192, v, 1634, u, 0);
            g[h] = dotShift<10>(yy, 1192, v, -833, u, -400);
            b[h] = dotShift<10>(yy, 1192, u, 2066, v, 0);
        }
        uint8x16x4_t out = {{clampBytes(r[0], r[1]), clampBytes(g[0], g[1]), clampBytes(b[0], b[1]), vdupq_n_u8(255)}};
        store4(rgba + 4 * x, out);
    }
    if (x < n) ilmvColorRowsC().video10(y + x, pairs + x, n - x, rgba + 4 * x);
}

// 8 fractional bits without rounding: Y' = 298 (Y - 16), R = Y' + 409v, G = Y' - 208v - 100u,
// B = Y' + 517u, each >> 8 and clamped.
void video8V(ilmvRgbFormat format, const uint8_t* y, const uint8_t* pairs, size_t n, uint8_t* dst)
{
    const size_t bpp = kBytesPerPixel[format];
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        uint8x16_t cb, cr;
        pairsOf16(pairs + x, cb, cr);
        Wide wy = widenBytes(vld1q_u8(y + x)), wb = widenBytes(cb), wr = widenBytes(cr);
        int16x8_t r[2], g[2], b[2];
        for (int h = 0; h < 2; ++h) {
            const int16x8_t yy = vsubq_s16(asSigned(h ? wy.hi : wy.lo), vdupq_n_s16(16));
            const int16x8_t u = centred(h ? wb.hi : wb.lo), v = centred(h ? wr.hi : wr.lo);
            r[h] = dotShift<8>(yy, 298, v, 409, u, 0);
            g[h] = dotShift<8>(yy, 298, v, -208, u, -100);
            b[h] = dotShift<8>(yy, 298, u, 517, v, 0);
        }
        store16(dst + x * bpp, format, clampBytes(r[0], r[1]), clampBytes(g[0], g[1]), clampBytes(b[0], b[1]),
                vdupq_n_u8(255));
    }
    if (x < n) ilmvColorRowsC().video8(format, y + x, pairs + x, n - x, dst + x * bpp);
}

// ---- Block decoders ----------------------------------------------------------------------

// (ka*a + kb*b + 16384) >> 15 per lane in 32 bits, saturated back to 16.
inline int16x8_t roundDot15(int16x8_t a, int16_t ka, int16x8_t b, int16_t kb)
{
    auto part = [&](int16x4_t x, int16x4_t y) { return vqmovn_s32(vrshrq_n_s32(vmlal_n_s16(vmull_n_s16(x, ka), y, kb), 15)); };
    return vcombine_s16(part(vget_low_s16(a), vget_low_s16(b)), part(vget_high_s16(a), vget_high_s16(b)));
}

// Y plus 15-bit chroma terms on doubled chroma c2 = 2c - 255, for a whole unit row.
void blocksV(const uint8_t* const* luma, const uint8_t* cb, const uint8_t* cr, int hsub, size_t n, uint8_t* dst)
{
    if (n != size_t(8 * hsub)) {
        ilmvColorRowsC().blocks(luma, cb, cr, hsub, n, dst);
        return;
    }
    uint8x8_t b8 = vld1_u8(cb), r8 = vld1_u8(cr);
    uint8x16_t y = vcombine_u8(vld1_u8(luma[0]), vld1_u8(hsub == 2 ? luma[1] : luma[0]));
    uint8x16_t vb = vcombine_u8(b8, b8), vr = vcombine_u8(r8, r8);
    if (hsub == 2) {  // each chroma sample serves two pixels
        vb = vzipq_u8(vb, vb).val[0];
        vr = vzipq_u8(vr, vr).val[0];
    }
    Wide wy = widenBytes(y), wb = widenBytes(vb), wr = widenBytes(vr);
    int16x8_t r[2], g[2], b[2];
    for (int h = 0; h < 2; ++h) {
        const int16x8_t yy = asSigned(h ? wy.hi : wy.lo), full = vdupq_n_s16(255);
        const int16x8_t u = vsubq_s16(vshlq_n_s16(asSigned(h ? wb.hi : wb.lo), 1), full);
        const int16x8_t v = vsubq_s16(vshlq_n_s16(asSigned(h ? wr.hi : wr.lo), 1), full);
        r[h] = vaddq_s16(yy, roundDot15(v, 22970, u, 0));
        g[h] = vaddq_s16(yy, roundDot15(u, -5638, v, -11700));
        b[h] = vaddq_s16(yy, roundDot15(u, 29032, v, 0));
    }
    uint8_t out[48];
    store3(out, uint8x16x3_t{{clampBytes(r[0], r[1]), clampBytes(g[0], g[1]), clampBytes(b[0], b[1])}});
    std::memcpy(dst, out, 3 * n);
}

}  // namespace

extern "C" {
// The chroma resampling rows the layout conversions go through, pointed at the NEON kernels.
LMV_EXPORT void (*downsample_horizontal_)(const uint8_t*, size_t, uint8_t*) = downsampleHorizontalV;
LMV_EXPORT void (*downsample_horizontal_i_)(const uint8_t*, size_t, uint8_t*) = downsampleHorizontalInterleavedV;
LMV_EXPORT void (*chroma_up_hori_planar_)(const uint8_t*, size_t, uint8_t*) = chromaUpHorizontalPlanarV;
LMV_EXPORT void (*chroma_up_hori_)(const uint8_t*, size_t, uint8_t*) = chromaUpHorizontalV;
}

namespace {

// The table reaches the resamplers through the exported pointers at call time, so a caller
// that re-points one is heard, and no call ever writes the shared table.
void downsampleThroughPointer(const uint8_t* src, size_t n, uint8_t* dst)
{
    downsample_horizontal_(src, n, dst);
}

void downsampleInterleavedThroughPointer(const uint8_t* src, size_t n, uint8_t* dst)
{
    downsample_horizontal_i_(src, n, dst);
}

void upPlanarThroughPointer(const uint8_t* src, size_t n, uint8_t* dst)
{
    chroma_up_hori_planar_(src, n, dst);
}

void upInterleavedThroughPointer(const uint8_t* src, size_t n, uint8_t* dst)
{
    chroma_up_hori_(src, n, dst);
}

const ILMV_COLOR_ROWS kRowsV = {rgbToYccV,   yccToRgbV, rgbToRgbV,   downsampleThroughPointer,
                                downsampleInterleavedThroughPointer, upPlanarThroughPointer,
                                upInterleavedThroughPointer, interleaveV, deinterleaveV, extractV, greyV, hsvV, labV,
                                yCrCbV,      swapPairsV, video10V, video8V, blocksV};

}  // namespace

const ILMV_COLOR_ROWS& ilmvColorRowsV()
{
    return kRowsV;
}
