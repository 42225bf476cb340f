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
        uint8x16x3_t v = vld3q_u8(p);
        return {v.val[0], v.val[1], v.val[2], vdupq_n_u8(255)};
    }
    if (format == kRgba8888) {
        uint8x16x4_t v = vld4q_u8(p);
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
        vst3q_u8(p, v);
    } else if (format == kRgba8888) {
        uint8x16x4_t v = {{f0, f1, f2, alpha}};
        vst4q_u8(p, v);
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
inline uint8x8_t luma8(uint8x8_t r, uint8x8_t g, uint8x8_t b)
{
    uint16x8_t sum = vmlal_u8(vmlal_u8(vmull_u8(r, vdup_n_u8(77)), g, vdup_n_u8(150)), b, vdup_n_u8(29));
    return vrshrn_n_u16(sum, 8);
}

// 128 + ((kb*B - kg*G - kr*R + 128) >> 8), saturated at 255; every term fits 16 signed bits.
inline uint8x8_t chroma8(int16x8_t own, int16x8_t g, int16x8_t other, int16_t kg, int16_t kOther)
{
    int16x8_t sum = vmlsq_n_s16(vmlsq_n_s16(vshlq_n_s16(own, 7), g, kg), other, kOther);
    return vqmovun_s16(vaddq_s16(vrshrq_n_s16(sum, 8), vdupq_n_s16(128)));
}

inline uint8x16_t luma16(const Fields16& f)
{
    return vcombine_u8(luma8(vget_low_u8(f.f2), vget_low_u8(f.f1), vget_low_u8(f.f0)),
                       luma8(vget_high_u8(f.f2), vget_high_u8(f.f1), vget_high_u8(f.f0)));
}

struct Chroma8 {
    uint8x8_t cb, cr;
};

inline Chroma8 chromaOf(uint8x8_t r8, uint8x8_t g8, uint8x8_t b8)
{
    int16x8_t r = widen(r8), g = widen(g8), b = widen(b8);
    return {chroma8(b, g, r, 85, 43), chroma8(r, g, b, 107, 21)};
}

void rgbToYccV(ilmvRgbFormat format, const uint8_t* src, size_t n, uint8_t* y, uint8_t* cb, uint8_t* cr, size_t step,
               bool half)
{
    const size_t bpp = kBytesPerPixel[format];
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        Fields16 f = load16(src + i * bpp, format);  // f0 blue, f1 green, f2 red
        vst1q_u8(y + i, luma16(f));
        if (!cb) continue;
        if (half) {
            // The chroma of each pair comes from its even pixel alone.
            auto even = [](uint8x16_t v) { return vget_low_u8(vuzpq_u8(v, v).val[0]); };
            uint8x8_t r = even(f.f2), g = even(f.f1), b = even(f.f0);
            Chroma8 c = chromaOf(r, g, b);
            if (step == 2) {
                uint8x8x2_t pairs = {{c.cb, c.cr}};
                vst2_u8(cb + i, pairs);
            } else {
                vst1_u8(cb + i / 2, c.cb);
                vst1_u8(cr + i / 2, c.cr);
            }
            continue;
        }
        Chroma8 lo = chromaOf(vget_low_u8(f.f2), vget_low_u8(f.f1), vget_low_u8(f.f0));
        Chroma8 hi = chromaOf(vget_high_u8(f.f2), vget_high_u8(f.f1), vget_high_u8(f.f0));
        uint8x16_t vb = vcombine_u8(lo.cb, hi.cb), vr = vcombine_u8(lo.cr, hi.cr);
        if (step == 2) {
            uint8x16x2_t pairs = {{vb, vr}};
            vst2q_u8(cb + 2 * i, pairs);
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

// R = Y + v + ((103v + 128) >> 8), G = Y - v + ((-88u + 73v + 128) >> 8),
// B = Y + u + ((198u + 128) >> 8): set A with 256 split off each large coefficient, which
// keeps every term within 16 signed bits and leaves the rounding unchanged.
inline void rgbOf(uint8x8_t y8, uint8x8_t cb8, uint8x8_t cr8, uint8x8_t& r, uint8x8_t& g, uint8x8_t& b)
{
    const int16x8_t y = widen(y8);
    const int16x8_t u = vsubq_s16(widen(cb8), vdupq_n_s16(128)), v = vsubq_s16(widen(cr8), vdupq_n_s16(128));
    r = vqmovun_s16(vaddq_s16(vaddq_s16(y, v), vrshrq_n_s16(vmulq_n_s16(v, 103), 8)));
    int16x8_t gt = vmlaq_n_s16(vmulq_n_s16(u, -88), v, 73);
    g = vqmovun_s16(vaddq_s16(vsubq_s16(y, v), vrshrq_n_s16(gt, 8)));
    b = vqmovun_s16(vaddq_s16(vaddq_s16(y, u), vrshrq_n_s16(vmulq_n_s16(u, 198), 8)));
}

void yccToRgbV(ilmvRgbFormat format, const uint8_t* y, const uint8_t* cb, const uint8_t* cr, size_t step, bool half,
               size_t n, uint8_t* dst)
{
    const size_t bpp = kBytesPerPixel[format];
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        uint8x16_t vb, vr;
        if (half) {
            uint8x8_t b8, r8;
            if (step == 2) {
                uint8x8x2_t pairs = vld2_u8(cb + i);
                b8 = pairs.val[0];
                r8 = pairs.val[1];
            } else {
                b8 = vld1_u8(cb + i / 2);
                r8 = vld1_u8(cr + i / 2);
            }
            uint8x8x2_t bb = vzip_u8(b8, b8), rr = vzip_u8(r8, r8);  // each sample serves two pixels
            vb = vcombine_u8(bb.val[0], bb.val[1]);
            vr = vcombine_u8(rr.val[0], rr.val[1]);
        } else if (step == 2) {
            uint8x16x2_t pairs = vld2q_u8(cb + 2 * i);
            vb = pairs.val[0];
            vr = pairs.val[1];
        } else {
            vb = vld1q_u8(cb + i);
            vr = vld1q_u8(cr + i);
        }
        uint8x16_t vy = vld1q_u8(y + i);
        uint8x8_t r0, g0, b0, r1, g1, b1;
        rgbOf(vget_low_u8(vy), vget_low_u8(vb), vget_low_u8(vr), r0, g0, b0);
        rgbOf(vget_high_u8(vy), vget_high_u8(vb), vget_high_u8(vr), r1, g1, b1);
        store16(dst + i * bpp, format, vcombine_u8(r0, r1), vcombine_u8(g0, g1), vcombine_u8(b0, b1), vdupq_n_u8(255));
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
    for (; k + 16 < n; k += 16) vst1q_u8(dst + k, vld2q_u8(src + 2 * k).val[0]);
    if (k < n) ilmvColorRowsC().downsampleHorizontal(src + 2 * k, n - k, dst + k);
}

void downsampleHorizontalInterleavedV(const uint8_t* src, size_t n, uint8_t* dst)
{
    size_t k = 0;
    for (; k + 16 < n; k += 16) {
        uint8x16x4_t quads = vld4q_u8(src + 4 * k);
        uint8x16x2_t pairs = {{quads.val[0], quads.val[1]}};
        vst2q_u8(dst + 2 * k, pairs);
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
        uint8x8x2_t pairs = vld2_u8(src + i);
        uint8x8x2_t cb = vzip_u8(pairs.val[0], pairs.val[0]), cr = vzip_u8(pairs.val[1], pairs.val[1]);
        uint8x16x2_t out = {{vcombine_u8(cb.val[0], cb.val[1]), vcombine_u8(cr.val[0], cr.val[1])}};
        vst2q_u8(dst + 2 * i, out);
    }
    if (i < n) ilmvColorRowsC().chromaUpHorizontal(src + i, n - i, dst + 2 * i);
}

void interleaveV(const uint8_t* const* planes, size_t count, size_t n, uint8_t* dst)
{
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        if (count == 2) {
            uint8x16x2_t v = {{vld1q_u8(planes[0] + i), vld1q_u8(planes[1] + i)}};
            vst2q_u8(dst + 2 * i, v);
        } else if (count == 3) {
            uint8x16x3_t v = {{vld1q_u8(planes[0] + i), vld1q_u8(planes[1] + i), vld1q_u8(planes[2] + i)}};
            vst3q_u8(dst + 3 * i, v);
        } else {
            uint8x16x4_t v = {
                {vld1q_u8(planes[0] + i), vld1q_u8(planes[1] + i), vld1q_u8(planes[2] + i), vld1q_u8(planes[3] + i)}};
            vst4q_u8(dst + 4 * i, v);
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
            uint8x16x2_t v = vld2q_u8(src + 2 * i);
            for (size_t k = 0; k < 2; ++k) vst1q_u8(planes[k] + i, v.val[k]);
        } else if (count == 3) {
            uint8x16x3_t v = vld3q_u8(src + 3 * i);
            for (size_t k = 0; k < 3; ++k) vst1q_u8(planes[k] + i, v.val[k]);
        } else {
            uint8x16x4_t v = vld4q_u8(src + 4 * i);
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
        vst1q_u8(dst + i, stride == 2 ? vld2q_u8(p).val[0] : stride == 3 ? vld3q_u8(p).val[0] : vld4q_u8(p).val[0]);
    }
    for (; i < n; ++i) dst[i] = src[i * stride];
}

// ---- Pixel-wise conversions --------------------------------------------------------------

// (19595R + 38469G + 7471B + 32768) >> 16 in 32-bit lanes.
inline uint8x8_t grey8(uint8x8_t r, uint8x8_t g, uint8x8_t b)
{
    uint16x8_t r16 = vmovl_u8(r), g16 = vmovl_u8(g), b16 = vmovl_u8(b);
    uint32x4_t lo = vmlal_n_u16(vmlal_n_u16(vmull_n_u16(vget_low_u16(r16), 19595), vget_low_u16(g16), 38469),
                                vget_low_u16(b16), 7471);
    uint32x4_t hi = vmlal_n_u16(vmlal_n_u16(vmull_n_u16(vget_high_u16(r16), 19595), vget_high_u16(g16), 38469),
                                vget_high_u16(b16), 7471);
    return vmovn_u16(vcombine_u16(vrshrn_n_u32(lo, 16), vrshrn_n_u32(hi, 16)));
}

void greyV(const uint8_t* src, size_t n, uint8_t* dst)
{
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        uint8x16x3_t p = vld3q_u8(src + 3 * i);
        vst1q_u8(dst + i, vcombine_u8(grey8(vget_low_u8(p.val[0]), vget_low_u8(p.val[1]), vget_low_u8(p.val[2])),
                                      grey8(vget_high_u8(p.val[0]), vget_high_u8(p.val[1]), vget_high_u8(p.val[2]))));
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
    for (; i + 8 <= n; i += 8) {
        uint8x8x3_t p = vld3_u8(src + 3 * i);
        int16x8_t r = widen(p.val[0]), g = widen(p.val[1]), b = widen(p.val[2]);
        auto channel = [&](int16_t kr, int16_t kg, int16_t kb, int32_t offset) {
            return narrow15(dot15(vget_low_s16(r), vget_low_s16(g), vget_low_s16(b), kr, kg, kb),
                            dot15(vget_high_s16(r), vget_high_s16(g), vget_high_s16(b), kr, kg, kb), offset);
        };
        // Coefficients above 16 bits split into halves of equal weight.
        uint8x8x3_t out;
        out.val[0] = channel(9798, 19235, 3736, 0);
        out.val[1] = channel(16384, -13720, -2664, 128);
        out.val[2] = channel(-5529, -10855, 16384, 128);
        vst3_u8(dst + 3 * i, out);
    }
    if (i < n) ilmvColorRowsC().yCrCb(src + 3 * i, n - i, dst + 3 * i);
}

void swapPairsV(const uint8_t* src, size_t n, uint8_t* dst)
{
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        uint8x16x2_t p = vld2q_u8(src + 2 * i);
        uint8x16x2_t swapped = {{p.val[1], p.val[0]}};
        vst2q_u8(dst + 2 * i, swapped);
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

}  // namespace

extern "C" {
// The chroma resampling rows the layout conversions go through, pointed at the NEON kernels.
LMV_EXPORT void (*downsample_horizontal_)(const uint8_t*, size_t, uint8_t*) = downsampleHorizontalV;
LMV_EXPORT void (*downsample_horizontal_i_)(const uint8_t*, size_t, uint8_t*) = downsampleHorizontalInterleavedV;
LMV_EXPORT void (*chroma_up_hori_planar_)(const uint8_t*, size_t, uint8_t*) = chromaUpHorizontalPlanarV;
LMV_EXPORT void (*chroma_up_hori_)(const uint8_t*, size_t, uint8_t*) = chromaUpHorizontalV;
}

const ILMV_COLOR_ROWS& ilmvColorRowsV()
{
    static ILMV_COLOR_ROWS rows;
    rows = {rgbToYccV,   yccToRgbV, rgbToRgbV,   downsample_horizontal_, downsample_horizontal_i_,
            chroma_up_hori_planar_, chroma_up_hori_, interleaveV, deinterleaveV, extractV, greyV, hsvV, labV,
            yCrCbV,      swapPairsV};
    return rows;
}
