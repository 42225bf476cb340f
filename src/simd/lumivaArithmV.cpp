// NEON forms of the element-wise arithmetic family. The walks mirror the reference ones:
// each takes the member's element rule, looks up the vector version of that rule below,
// processes 16 elements per step with an 8-element step after, and hands the last elements
// to the rule itself, so the bytes equal the reference ones. The exported forms are
// generated from the descriptions, one call of a walk each.
#include "core/lumivaImage.h"
#include "cpu/lumivaArithmOps.h"
#include "lumivaKernels.h"
#include "simd/lumivaNeon.h"

#include <cstring>

using namespace ilmv;

namespace {

// ---- 32-bit lanes --------------------------------------------------------------------

inline int32x4_t ld(const int32_t* p) { return vld1q_s32(p); }
inline float32x4_t ld(const float32_t* p) { return vld1q_f32(p); }
inline void st(int32_t* p, int32x4_t v) { vst1q_s32(p, v); }
inline void st(float32_t* p, float32x4_t v) { vst1q_f32(p, v); }
inline int32x4_t absDiffVec(int32x4_t a, int32x4_t b) { return vabsq_s32(vsubq_s32(a, b)); }
inline float32x4_t absDiffVec(float32x4_t a, float32x4_t b) { return vabsq_f32(vsubq_f32(a, b)); }

// Two Q registers of 32-bit lanes: 8 elements.
template <class T, class Vec>
inline void lanes8(const T* a, const T* b, T* d, Vec vec)
{
    st(d, vec(ld(a), ld(b)));
    st(d + 4, vec(ld(a + 4), ld(b + 4)));
}

// ---- Fixed-point scaling -------------------------------------------------------------

inline uint32x4_t scaledVec(uint32x4_t p, Shift s)
{
    if (s.zero) return vdupq_n_u32(0);
    if (s.right) return vrshlq_u32(p, vdupq_n_s32(-static_cast<int32_t>(s.count)));
    return vshlq_u32(p, vdupq_n_s32(static_cast<int32_t>(s.count)));
}

// Signed products round as (p >> n) + bit n-1 of p, which equals (p + 2^(n-1)) >> n
// without the intermediate sum that can leave 32 bits; left shifts go through unsigned
// lanes so they wrap.
inline int32x4_t scaledVec(int32x4_t p, Shift s)
{
    if (s.zero) return vdupq_n_s32(0);
    const int32_t n = static_cast<int32_t>(s.count);
    if (!s.right) return vreinterpretq_s32_u32(vshlq_u32(vreinterpretq_u32_s32(p), vdupq_n_s32(n)));
    if (n == 0) return p;
    int32x4_t below = n == 1 ? p : vshlq_s32(p, vdupq_n_s32(1 - n));
    int32x4_t roundingBit = vandq_s32(below, vdupq_n_s32(1));
    return vaddq_s32(vshlq_s32(p, vdupq_n_s32(-n)), roundingBit);
}

// Scaled products of 8 byte pairs, as two vectors of 32-bit lanes.
struct Products {
    uint32x4_t lo, hi;
};

inline Products scaledProducts(const uint8_t* a, const uint8_t* b, Shift s)
{
    uint16x8_t p = vmull_u8(vld1_u8(a), vld1_u8(b));
    return {scaledVec(vmovl_u16(vget_low_u16(p)), s), scaledVec(vmovl_u16(vget_high_u16(p)), s)};
}

// ---- Channel patterns ----------------------------------------------------------------

// A run of interleaved pixels seen as elements: 3 registers of constants repeat every
// 3 * lanes elements, a multiple of 1, 3 and 4 channels, so the phase never drifts.
template <class T, size_t Lanes>
struct Pattern {
    T values[3 * Lanes];
    Pattern(const T* channelValues, size_t channels)
    {
        for (size_t j = 0; j < 3 * Lanes; ++j) values[j] = channelValues[j % channels];
    }
};

template <class T, class Vec, class One>
void patternRow(const T* a, T* d, size_t elems, const Pattern<T, 16 / sizeof(T)>& pat, Vec vec, One one)
{
    constexpr size_t lanes = 16 / sizeof(T);
    size_t i = 0;
    for (; i + 3 * lanes <= elems; i += 3 * lanes)
        for (size_t k = 0; k < 3; ++k) vec(a ? a + i + k * lanes : nullptr, d + i + k * lanes, pat.values + k * lanes);
    for (; i < elems; ++i) one(i);
}

template <class T>
void absDiffV(const T* src, uint32_t w, uint32_t h, uint32_t ss, const T* values, size_t ch, T* dst, uint32_t sd)
{
    const Pattern<T, 4> pat(values, ch);
    ilmvForEachRow(w, h, [&](size_t n, const T* a, T* d) {
        patternRow(a, d, n * ch, pat, [](const T* x, T* y, const T* p) { st(y, absDiffVec(ld(x), ld(p))); },
                   [&](size_t i) { d[i] = absDiff(a[i], values[i % ch]); });
    }, ilmvPlane(src, ss, ch), ilmvPlane(dst, sd, ch));
}

void absDiffVBytes(const uint8_t* src, uint32_t w, uint32_t h, uint32_t ss, const uint8_t* values, size_t ch,
                   uint8_t* dst, uint32_t sd)
{
    const Pattern<uint8_t, 16> pat(values, ch);
    ilmvForEachRow(w, h, [&](size_t n, const uint8_t* a, uint8_t* d) {
        patternRow(a, d, n * ch, pat,
                   [](const uint8_t* x, uint8_t* y, const uint8_t* p) { vst1q_u8(y, vabdq_u8(vld1q_u8(x), vld1q_u8(p))); },
                   [&](size_t i) { d[i] = absDiff(a[i], values[i % ch]); });
    }, ilmvPlane(src, ss, ch), ilmvPlane(dst, sd, ch));
}

// ---- Fills ---------------------------------------------------------------------------

// Lanes that are all ones where the mask byte of the pixel is non-zero.
inline uint32x4_t maskLanes(const uint8_t* m)
{
    const uint32_t words[4] = {m[0], m[1], m[2], m[3]};
    uint32x4_t v = vld1q_u32(words);
    return vtstq_u32(v, v);
}

template <size_t Ch>
void fillMaskedBytes(uint8_t* d, const uint8_t* m, size_t n, const uint8_t* values)
{
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        uint8x16_t keep = vtstq_u8(vld1q_u8(m + x), vld1q_u8(m + x));
        if constexpr (Ch == 1) {
            vst1q_u8(d + x, vbslq_u8(keep, vdupq_n_u8(values[0]), vld1q_u8(d + x)));
        } else if constexpr (Ch == 3) {
            uint8x16x3_t px = load3(d + x * 3);
            for (size_t c = 0; c < 3; ++c) px.val[c] = vbslq_u8(keep, vdupq_n_u8(values[c]), px.val[c]);
            store3(d + x * 3, px);
        } else {
            uint8x16x4_t px = load4(d + x * 4);
            for (size_t c = 0; c < 4; ++c) px.val[c] = vbslq_u8(keep, vdupq_n_u8(values[c]), px.val[c]);
            store4(d + x * 4, px);
        }
    }
    for (; x < n; ++x)
        if (m[x])
            for (size_t c = 0; c < Ch; ++c) d[x * Ch + c] = values[c];
}

template <size_t Ch>
void fillMaskedWords(uint32_t* d, const uint8_t* m, size_t n, const uint32_t* values)
{
    size_t x = 0;
    for (; x + 4 <= n; x += 4) {
        uint32x4_t keep = maskLanes(m + x);
        if constexpr (Ch == 1) {
            vst1q_u32(d + x, vbslq_u32(keep, vdupq_n_u32(values[0]), vld1q_u32(d + x)));
        } else if constexpr (Ch == 3) {
            uint32x4x3_t px = vld3q_u32(d + x * 3);
            for (size_t c = 0; c < 3; ++c) px.val[c] = vbslq_u32(keep, vdupq_n_u32(values[c]), px.val[c]);
            vst3q_u32(d + x * 3, px);
        } else {
            uint32x4x4_t px = vld4q_u32(d + x * 4);
            for (size_t c = 0; c < 4; ++c) px.val[c] = vbslq_u32(keep, vdupq_n_u32(values[c]), px.val[c]);
            vst4q_u32(d + x * 4, px);
        }
    }
    for (; x < n; ++x)
        if (m[x])
            for (size_t c = 0; c < Ch; ++c) d[x * Ch + c] = values[c];
}

template <class T, size_t Ch, class MaskedRow>
void fill(T* img, uint32_t w, uint32_t h, uint32_t stride, const T* values, const uint8_t* mask, uint32_t maskStride,
          MaskedRow maskedRow)
{
    if (stride == 0) stride = static_cast<uint32_t>(w * Ch * sizeof(T));
    if (maskStride == 0) maskStride = w;
    const Pattern<T, 16 / sizeof(T)> pat(values, Ch);
    ilmvForEachRow(w, h, [&](size_t n, T* d, const uint8_t* m) {
        if (m) {
            maskedRow(d, m, n);
            return;
        }
        patternRow(static_cast<const T*>(nullptr), d, n * Ch, pat,
                   [](const T*, T* y, const T* p) { std::memcpy(y, p, 16); },
                   [&](size_t i) { d[i] = values[i % Ch]; });
    }, ilmvPlane(img, stride, Ch), ilmvPlane(mask, maskStride));
}

template <size_t Ch>
void fillBytes(uint8_t* img, uint32_t w, uint32_t h, uint32_t stride, const uint8_t* values, const uint8_t* mask,
               uint32_t maskStride)
{
    fill<uint8_t, Ch>(img, w, h, stride, values, mask, maskStride,
                      [&](uint8_t* d, const uint8_t* m, size_t n) { fillMaskedBytes<Ch>(d, m, n, values); });
}

// 32-bit fills copy bit patterns, so integers and floats share one kernel.
template <size_t Ch, class T>
void fillWords(T* img, uint32_t w, uint32_t h, uint32_t stride, const T* values, const uint8_t* mask,
               uint32_t maskStride)
{
    static_assert(sizeof(T) == 4, "32-bit elements");
    uint32_t words[Ch];
    std::memcpy(words, values, sizeof words);
    fill<uint32_t, Ch>(reinterpret_cast<uint32_t*>(img), w, h, stride, words, mask, maskStride,
                       [&](uint32_t* d, const uint8_t* m, size_t n) { fillMaskedWords<Ch>(d, m, n, words); });
}

// ---- Masked or ---------------------------------------------------------------------

void bitwiseOrBytes(const uint8_t* src1, uint32_t w, uint32_t h, uint32_t s1, const uint8_t* src2, uint32_t s2,
                    const uint8_t* mask, uint32_t sm, uint8_t* dst, uint32_t sd)
{
    ilmvForEachRow(w, h, [&](size_t n, const uint8_t* a, const uint8_t* b, const uint8_t* m, uint8_t* d) {
        stepBytes(n, [&](size_t i, auto reg) {
            auto v = bitOr(load(a + i, reg), load(b + i, reg));
            store(d + i, m ? bitAnd(v, nonZero(load(m + i, reg))) : v);
        }, [&](size_t i) { d[i] = (!m || m[i]) ? (a[i] | b[i]) : 0; });
    }, ilmvPlane(src1, s1), ilmvPlane(src2, s2), ilmvPlane(mask, sm), ilmvPlane(dst, sd));
}

void bitwiseOrWords(const int32_t* src1, uint32_t w, uint32_t h, uint32_t s1, const int32_t* src2, uint32_t s2,
                    const uint8_t* mask, uint32_t sm, int32_t* dst, uint32_t sd)
{
    ilmvForEachRow(w, h, [&](size_t n, const int32_t* a, const int32_t* b, const uint8_t* m, int32_t* d) {
        stepBy8(n, [&](size_t i) {
            for (size_t k = i; k < i + 8; k += 4) {
                int32x4_t v = vorrq_s32(vld1q_s32(a + k), vld1q_s32(b + k));
                vst1q_s32(d + k, m ? vandq_s32(v, vreinterpretq_s32_u32(maskLanes(m + k))) : v);
            }
        }, [&](size_t i) { d[i] = (!m || m[i]) ? (a[i] | b[i]) : 0; });
    }, ilmvPlane(src1, s1), ilmvPlane(src2, s2), ilmvPlane(mask, sm), ilmvPlane(dst, sd));
}


// ---- Means ---------------------------------------------------------------------------

// The total wraps at 32 bits like the reference's, whatever the order of the additions.
float32_t meanBytes(const uint8_t* src, uint32_t w, uint32_t h, uint32_t ss)
{
    uint32_t total = 0;
    ilmvForEachRow(w, h, [&](size_t n, const uint8_t* s) {
        uint32x4_t acc = vdupq_n_u32(0);
        size_t i = 0;
        for (; i + 16 <= n; i += 16) acc = vpadalq_u16(acc, vpaddlq_u8(vld1q_u8(s + i)));
        if (i + 8 <= n) {
            acc = vpadalq_u16(acc, vmovl_u8(vld1_u8(s + i)));
            i += 8;
        }
        uint32_t lanes[4];
        vst1q_u32(lanes, acc);
        total += lanes[0] + lanes[1] + lanes[2] + lanes[3];
        for (; i < n; ++i) total += s[i];
    }, ilmvPlane(src, ss));
    return meanOf(total, w, h);
}

float32_t meanWords(const int32_t* src, uint32_t w, uint32_t h, uint32_t ss)
{
    int64_t total = 0;
    ilmvForEachRow(w, h, [&](size_t n, const int32_t* s) {
        int64x2_t acc = vdupq_n_s64(0);
        stepBy8(n, [&](size_t i) {
            acc = vpadalq_s32(acc, vld1q_s32(s + i));
            acc = vpadalq_s32(acc, vld1q_s32(s + i + 4));
        }, [&](size_t i) { total += s[i]; });
        total += vgetq_lane_s64(acc, 0) + vgetq_lane_s64(acc, 1);
    }, ilmvPlane(src, ss));
    return meanOf(total, w, h);
}

// ---- Vector versions of the element rules ------------------------------------------
// VectorRule<Rule, A, B, D> is built from the rule (its scalars) and offers either
// `bytes(a, b)` on Q and D registers of bytes (kBytes) or `eight(a, b, d)` on 8 elements at
// the given pointers. `visit(f)` hands f the vector rule to walk with: itself, or, for
// rules whose choice of instructions depends on a scalar (wrap or saturate), the variant
// for that scalar, chosen once per call.

template <class Self>
struct Visits {
    template <class F>
    void visit(F f) const { f(static_cast<const Self&>(*this)); }
};

template <class Rule, class A, class B, class D>
struct VectorRule;

struct BytesRule {
    static constexpr bool kBytes = true;
};

struct EightRule {
    static constexpr bool kBytes = false;
};

// A byte rule given as one function for both register widths.
template <class Fn>
struct Bytes : BytesRule, Visits<Bytes<Fn>> {
    Fn fn;
    explicit Bytes(Fn f) : fn(f) {}
    template <class V>
    auto bytes(V a, V b) const { return fn(a, b); }
};

template <class Fn>
Bytes<Fn> bytesRule(Fn fn)
{
    return Bytes<Fn>(fn);
}

// An 8-element rule given as one function.
template <class Fn>
struct Eight : EightRule, Visits<Eight<Fn>> {
    Fn fn;
    explicit Eight(Fn f) : fn(f) {}
    template <class... P>
    void eight(P... p) const { fn(p...); }
};

template <class Fn>
Eight<Fn> eightRule(Fn fn)
{
    return Eight<Fn>(fn);
}

// Two register versions chosen by a flag once per call.
template <class Wrapped, class Saturated>
struct ByPolicy {
    bool wrap;
    Wrapped wrapped;
    Saturated saturated;
    template <class F>
    void visit(F f) const { wrap ? f(wrapped) : f(saturated); }
};

template <class Wrapped, class Saturated>
ByPolicy<Wrapped, Saturated> byPolicy(LMV_OVERFLOW_POLICY policy, Wrapped w, Saturated s)
{
    return {policy == LUMIVA_OVERFLOW_WRAP, w, s};
}

// Each rule's vector version, found by its type.
template <class T>
auto vectorOf(const AbsDiff&, const T*, const T*, T*)
{
    if constexpr (sizeof(T) == 1) {
        // max(a, b) - min(a, b) per byte, which is |a - b| for every input.
        return bytesRule([](auto a, auto b) { return absd(a, b); });
    } else {
        // The 32-bit difference wraps before the absolute value, as in the reference.
        return eightRule([](const T* a, const T* b, T* d) {
            lanes8(a, b, d, [](auto x, auto y) { return absDiffVec(x, y); });
        });
    }
}

inline auto vectorOf(const AddWith<uint8_t>& r, const uint8_t*, const uint8_t*, uint8_t*)
{
    return byPolicy(r.policy, bytesRule([](auto a, auto b) { return add(a, b); }),
                    bytesRule([](auto a, auto b) { return addSat(a, b); }));
}

// A rule on 8 lanes of 16-bit pairs given as one instruction.
template <class Op>
auto int16Lanes(Op op)
{
    return eightRule([=](const int16_t* a, const int16_t* b, int16_t* d) {
        vst1q_s16(d, op(vld1q_s16(a), vld1q_s16(b)));
    });
}

inline auto vectorOf(const AddWith<int16_t>& r, const int16_t*, const int16_t*, int16_t*)
{
    return byPolicy(r.policy, int16Lanes([](int16x8_t x, int16x8_t y) { return vaddq_s16(x, y); }),
                    int16Lanes([](int16x8_t x, int16x8_t y) { return vqaddq_s16(x, y); }));
}

inline auto vectorOf(const AddWith<uint16_t>& r, const uint16_t*, const uint8_t*, uint16_t*)
{
    const bool wrap = r.policy == LUMIVA_OVERFLOW_WRAP;
    return eightRule([=](const uint16_t* a, const uint8_t* b, uint16_t* d) {
        uint16x8_t x = vld1q_u16(a), y = vmovl_u8(vld1_u8(b));
        vst1q_u16(d, wrap ? vaddq_u16(x, y) : vqaddq_u16(x, y));
    });
}

inline auto vectorOf(const SubtractWith<uint8_t>& r, const uint8_t*, const uint8_t*, uint8_t*)
{
    return byPolicy(r.policy, bytesRule([](auto a, auto b) { return sub(a, b); }),
                    bytesRule([](auto a, auto b) { return subSat(a, b); }));
}

inline auto vectorOf(const SubtractWith<int16_t>& r, const int16_t*, const int16_t*, int16_t*)
{
    return byPolicy(r.policy, int16Lanes([](int16x8_t x, int16x8_t y) { return vsubq_s16(x, y); }),
                    int16Lanes([](int16x8_t x, int16x8_t y) { return vqsubq_s16(x, y); }));
}

inline auto vectorOf(const Sum<uint16_t>&, const uint8_t*, const uint8_t*, uint16_t*)
{
    return eightRule([](const uint8_t* a, const uint8_t* b, uint16_t* d) {
        vst1q_u16(d, vaddl_u8(vld1_u8(a), vld1_u8(b)));
    });
}

inline auto vectorOf(const Sum<float32_t>&, const float32_t*, const float32_t*, float32_t*)
{
    return eightRule([](const float32_t* a, const float32_t* b, float32_t* d) {
        lanes8(a, b, d, [](auto x, auto y) { return vaddq_f32(x, y); });
    });
}

inline auto vectorOf(const SaturatedSum<int16_t>&, const int16_t*, const int16_t*, int16_t*)
{
    return int16Lanes([](int16x8_t x, int16x8_t y) { return vqaddq_s16(x, y); });
}

inline auto vectorOf(const Difference<int16_t>&, const uint8_t*, const uint8_t*, int16_t*)
{
    // The 16-bit wrapped difference of two bytes is their signed difference.
    return eightRule([](const uint8_t* a, const uint8_t* b, int16_t* d) {
        vst1q_s16(d, vreinterpretq_s16_u16(vsubl_u8(vld1_u8(a), vld1_u8(b))));
    });
}

inline auto vectorOf(const Difference<float32_t>&, const float32_t*, const float32_t*, float32_t*)
{
    return eightRule([](const float32_t* a, const float32_t* b, float32_t* d) {
        lanes8(a, b, d, [](auto x, auto y) { return vsubq_f32(x, y); });
    });
}

inline auto vectorOf(const Difference<float32_t>&, const uint8_t*, const uint8_t*, float32_t*)
{
    // Byte values convert to floats exactly, so the subtraction rounds as the reference's.
    return eightRule([](const uint8_t* a, const uint8_t* b, float32_t* d) {
        uint16x8_t x = vmovl_u8(vld1_u8(a)), y = vmovl_u8(vld1_u8(b));
        vst1q_f32(d, vsubq_f32(vcvtq_f32_u32(vmovl_u16(vget_low_u16(x))), vcvtq_f32_u32(vmovl_u16(vget_low_u16(y)))));
        vst1q_f32(d + 4,
                  vsubq_f32(vcvtq_f32_u32(vmovl_u16(vget_high_u16(x))), vcvtq_f32_u32(vmovl_u16(vget_high_u16(y)))));
    });
}

inline auto vectorOf(const SaturatedDifference<uint8_t>&, const uint8_t*, const uint8_t*, uint8_t*)
{
    return bytesRule([](auto a, auto b) { return subSat(a, b); });
}

inline auto vectorOf(const SaturatedDifference<int16_t>&, const int16_t*, const int16_t*, int16_t*)
{
    return int16Lanes([](int16x8_t x, int16x8_t y) { return vqsubq_s16(x, y); });
}

inline auto vectorOf(const Product<uint16_t>&, const uint8_t*, const uint8_t*, uint16_t*)
{
    return eightRule([](const uint8_t* a, const uint8_t* b, uint16_t* d) {
        vst1q_u16(d, vmull_u8(vld1_u8(a), vld1_u8(b)));
    });
}

inline auto vectorOf(const Product<float32_t>&, const float32_t*, const float32_t*, float32_t*)
{
    return eightRule([](const float32_t* a, const float32_t* b, float32_t* d) {
        lanes8(a, b, d, [](auto x, auto y) { return vmulq_f32(x, y); });
    });
}

inline auto vectorOf(const ScaledProduct<uint8_t>& r, const uint8_t*, const uint8_t*, uint8_t*)
{
    const Shift s = r.shift;
    const bool wrap = r.policy == LUMIVA_OVERFLOW_WRAP;
    return eightRule([=](const uint8_t* a, const uint8_t* b, uint8_t* d) {
        Products p = scaledProducts(a, b, s);
        vst1_u8(d, wrap ? vmovn_u16(vcombine_u16(vmovn_u32(p.lo), vmovn_u32(p.hi)))
                        : vqmovn_u16(vcombine_u16(vqmovn_u32(p.lo), vqmovn_u32(p.hi))));
    });
}

inline auto vectorOf(const ScaledProduct<int16_t>& r, const uint8_t*, const uint8_t*, int16_t*)
{
    const Shift s = r.shift;
    const uint32x4_t limit = vdupq_n_u32(r.policy == LUMIVA_OVERFLOW_WRAP ? 0xFFFFFFFFu : 32767u);
    return eightRule([=](const uint8_t* a, const uint8_t* b, int16_t* d) {
        Products p = scaledProducts(a, b, s);
        uint16x8_t v = vcombine_u16(vmovn_u32(vminq_u32(p.lo, limit)), vmovn_u32(vminq_u32(p.hi, limit)));
        vst1q_s16(d, vreinterpretq_s16_u16(v));
    });
}

inline auto vectorOf(const ScaledProduct<int16_t>& r, const int16_t*, const int16_t*, int16_t*)
{
    const Shift s = r.shift;
    const bool wrap = r.policy == LUMIVA_OVERFLOW_WRAP;
    return eightRule([=](const int16_t* a, const int16_t* b, int16_t* d) {
        int16x8_t x = vld1q_s16(a), y = vld1q_s16(b);
        int32x4_t lo = scaledVec(vmull_s16(vget_low_s16(x), vget_low_s16(y)), s);
        int32x4_t hi = scaledVec(vmull_s16(vget_high_s16(x), vget_high_s16(y)), s);
        vst1q_s16(d, wrap ? vcombine_s16(vmovn_s32(lo), vmovn_s32(hi)) : vcombine_s16(vqmovn_s32(lo), vqmovn_s32(hi)));
    });
}

inline auto vectorOf(const AddSquared& r, const uint8_t*, const uint16_t*, uint16_t*)
{
    const Shift s = r.shift;
    // A rounding right shift of 16 or more leaves nothing of a 16-bit term.
    const bool none = s.zero || (s.right && s.count >= 16);
    const uint16_t bias = static_cast<uint16_t>(!none && s.right && s.count ? 1u << (s.count - 1) : 0u);
    return eightRule([=](const uint8_t* a, const uint16_t* acc, uint16_t* d) {
        uint8x8_t x = vld1_u8(a);
        uint16x8_t sum = vld1q_u16(acc);
        if (none) {
            vst1q_u16(d, sum);
        } else if (s.right) {
            uint16x8_t term = vaddq_u16(vmull_u8(x, x), vdupq_n_u16(bias));
            term = vshlq_u16(term, vdupq_n_s16(-static_cast<int16_t>(s.count)));
            vst1q_u16(d, vqaddq_u16(sum, term));
        } else {
            uint16x8_t sq = vmull_u8(x, x);
            int32x4_t n = vdupq_n_s32(static_cast<int32_t>(s.count));
            uint32x4_t lo = vqaddq_u32(vmovl_u16(vget_low_u16(sum)), vshlq_u32(vmovl_u16(vget_low_u16(sq)), n));
            uint32x4_t hi = vqaddq_u32(vmovl_u16(vget_high_u16(sum)), vshlq_u32(vmovl_u16(vget_high_u16(sq)), n));
            vst1q_u16(d, vcombine_u16(vqmovn_u32(lo), vqmovn_u32(hi)));
        }
    });
}

// Weights of a blend (both at least 0, summing to 256 at most, neither 256): A*a + B*b + 128
// stays within 16 bits and the result within a byte, so the rounded high byte of one
// 16-bit sum is the result. Bytes widen by interleaving with zeros, and the high bytes are
// picked back out by de-interleaving.
struct Blend : BytesRule, Visits<Blend> {
    int16_t wa, wb;
    // The weights in every lane, made once per call rather than per vector.
    uint16x8_t wa16, wb16;
    uint8x8_t wa8, wb8;
    Blend(int16_t a, int16_t b)
        : wa(a), wb(b), wa16(vdupq_n_u16(uint16_t(a))), wb16(vdupq_n_u16(uint16_t(b))), wa8(vdup_n_u8(uint8_t(a))),
          wb8(vdup_n_u8(uint8_t(b)))
    {
    }
    uint8x16_t bytes(uint8x16_t a, uint8x16_t b) const
    {
        const uint8x16_t zero = vdupq_n_u8(0);
        const uint16x8_t half = vdupq_n_u16(128);
        uint8x16x2_t a16 = vzipq_u8(a, zero), b16 = vzipq_u8(b, zero);
        uint16x8_t lo = vmlaq_u16(vmlaq_u16(half, vreinterpretq_u16_u8(a16.val[0]), wa16),
                                  vreinterpretq_u16_u8(b16.val[0]), wb16);
        uint16x8_t hi = vmlaq_u16(vmlaq_u16(half, vreinterpretq_u16_u8(a16.val[1]), wa16),
                                  vreinterpretq_u16_u8(b16.val[1]), wb16);
        return vuzpq_u8(vreinterpretq_u8_u16(lo), vreinterpretq_u8_u16(hi)).val[1];
    }
    uint8x8_t bytes(uint8x8_t a, uint8x8_t b) const
    {
        return vrshrn_n_u16(vmlal_u8(vmull_u8(a, wa8), b, wb8), 8);
    }
};

// Any weights: the sum stays in 16-bit lanes by splitting each weight into a signed high
// byte and an unsigned low byte, W = 256*Wh + Wl:
//   (A*a + B*b + 128) >> 8 = Ah*a + Bh*b + ((Al*a + Bl*b + 128) >> 8),
// and, with x = Al*a and y = Bl*b, the last term is
//   (x >> 8) + (y >> 8) + (((x & 255) + (y & 255) + 128) >> 8).
// Ah*a + Bh*b saturates only when the whole sum is already far outside 0..255, so the
// final clamp gives the exact result.
struct SplitWeights : EightRule, Visits<SplitWeights> {
    int16_t wa, wb;
    void eight(const uint8_t* a, const uint8_t* b, uint8_t* d) const
    {
        const int16_t ah = static_cast<int16_t>(wa >> 8), bh = static_cast<int16_t>(wb >> 8);
        const uint8x8_t al = vdup_n_u8(static_cast<uint8_t>(wa & 255)), bl = vdup_n_u8(static_cast<uint8_t>(wb & 255));
        uint8x8_t x8 = vld1_u8(a), y8 = vld1_u8(b);
        int16x8_t high = vqaddq_s16(vmulq_n_s16(vreinterpretq_s16_u16(vmovl_u8(x8)), ah),
                                    vmulq_n_s16(vreinterpretq_s16_u16(vmovl_u8(y8)), bh));
        uint16x8_t x = vmull_u8(x8, al), y = vmull_u8(y8, bl);
        uint16x8_t carry = vshrq_n_u16(vaddq_u16(vaddl_u8(vmovn_u16(x), vmovn_u16(y)), vdupq_n_u16(128)), 8);
        uint16x8_t low = vaddq_u16(vaddq_u16(vshrq_n_u16(x, 8), vshrq_n_u16(y, 8)), carry);
        vst1_u8(d, vqmovun_s16(vqaddq_s16(high, vreinterpretq_s16_u16(low))));
    }
};

struct WeightedVector {
    Blend blend;
    SplitWeights split;
    template <class F>
    void visit(F f) const
    {
        const bool isBlend = blend.wa >= 0 && blend.wb >= 0 && blend.wa + blend.wb <= 256 && blend.wa != 256 &&
                             blend.wb != 256;  // 256 does not fit a byte
        isBlend ? f(blend) : f(split);
    }
};

inline WeightedVector vectorOf(const Weighted& r, const uint8_t*, const uint8_t*, uint8_t*)
{
    return {Blend(r.wa, r.wb), SplitWeights{{}, {}, r.wa, r.wb}};
}

inline auto vectorOf(const HalfDifference&, const uint8_t*, const uint8_t*, int8_t*)
{
    return bytesRule([](auto a, auto b) { return halfDiff(a, b); });
}

inline auto vectorOf(const BitAnd&, const uint8_t*, const uint8_t*, uint8_t*)
{
    return bytesRule([](auto a, auto b) { return bitAnd(a, b); });
}

inline auto vectorOf(const BitXor&, const uint8_t*, const uint8_t*, uint8_t*)
{
    return bytesRule([](auto a, auto b) { return bitXor(a, b); });
}

// Unary rules: `bytes(a, a)` ignores its second operand; `eight(a, d)`.
inline auto vectorOf(const BitNot&, const uint8_t*, uint8_t*)
{
    return bytesRule([](auto a, auto) { return bitNot(a); });
}

inline auto vectorOf(const AddScalar<int16_t>& r, const int16_t*, int16_t*)
{
    const int16x8_t k = vdupq_n_s16(r.scalar);
    return eightRule([=](const int16_t* a, int16_t* d) { vst1q_s16(d, vqaddq_s16(vld1q_s16(a), k)); });
}

inline auto vectorOf(const AddScalar<float32_t>& r, const float32_t*, float32_t*)
{
    const float32x4_t k = vdupq_n_f32(r.scalar);
    return eightRule([=](const float32_t* a, float32_t* d) {
        vst1q_f32(d, vaddq_f32(vld1q_f32(a), k));
        vst1q_f32(d + 4, vaddq_f32(vld1q_f32(a + 4), k));
    });
}

inline auto vectorOf(const MultiplyScalarShifted& r, const int16_t*, int16_t*)
{
    const Shift s = r.shift;
    const int16_t scalar = r.scalar;
    return eightRule([=](const int16_t* a, int16_t* d) {
        int16x8_t x = vld1q_s16(a);
        int32x4_t lo = scaledVec(vmull_n_s16(vget_low_s16(x), scalar), s);
        int32x4_t hi = scaledVec(vmull_n_s16(vget_high_s16(x), scalar), s);
        vst1q_s16(d, vcombine_s16(vqmovn_s32(lo), vqmovn_s32(hi)));
    });
}

inline auto vectorOf(const MultiplyScalar<float32_t>& r, const float32_t*, float32_t*)
{
    const float32x4_t k = vdupq_n_f32(r.scalar);
    return eightRule([=](const float32_t* a, float32_t* d) {
        vst1q_f32(d, vmulq_f32(vld1q_f32(a), k));
        vst1q_f32(d + 4, vmulq_f32(vld1q_f32(a + 4), k));
    });
}

}  // namespace

namespace ilmv {
namespace arithmV {

template <class A, class B, class D, class Rule>
void binary(const A* src1, uint32_t s1, const B* src2, uint32_t s2, D* dst, uint32_t sd, uint32_t w, uint32_t h,
            Rule rule)
{
    vectorOf(rule, src1, src2, dst).visit([&](auto vec) {  // a copy: its lanes stay in registers
        ilmvForEachRow(w, h, [&](size_t n, const A* a, const B* b, D* d) {
            auto one = [&](size_t i) { d[i] = rule(a[i], b[i]); };
            if constexpr (std::decay_t<decltype(vec)>::kBytes)
                stepBytes(n, [&](size_t i, auto reg) {
                    store(d + i, vec.bytes(load(a + i, reg), load(b + i, reg)));
                }, one);
            else
                stepBy8(n, [&](size_t i) { vec.eight(a + i, b + i, d + i); }, one);
        }, ilmvPlane(src1, s1), ilmvPlane(src2, s2), ilmvPlane(dst, sd));
    });
}

template <class A, class D, class Rule>
void unary(const A* src, uint32_t ss, D* dst, uint32_t sd, uint32_t w, uint32_t h, Rule rule)
{
    vectorOf(rule, src, dst).visit([&](auto vec) {
        ilmvForEachRow(w, h, [&](size_t n, const A* a, D* d) {
            auto one = [&](size_t i) { d[i] = rule(a[i]); };
            if constexpr (std::decay_t<decltype(vec)>::kBytes)
                stepBytes(n, [&](size_t i, auto reg) {
                    auto x = load(a + i, reg);
                    store(d + i, vec.bytes(x, x));
                }, one);
            else
                stepBy8(n, [&](size_t i) { vec.eight(a + i, d + i); }, one);
        }, ilmvPlane(src, ss), ilmvPlane(dst, sd));
    });
}

inline void maskedBinary(const uint8_t* src1, uint32_t s1, const uint8_t* src2, uint32_t s2, const uint8_t* mask,
                         uint32_t sm, uint8_t* dst, uint32_t sd, uint32_t w, uint32_t h, MaskedOr)
{
    bitwiseOrBytes(src1, w, h, s1, src2, s2, mask, sm, dst, sd);
}

inline void maskedBinary(const int32_t* src1, uint32_t s1, const int32_t* src2, uint32_t s2, const uint8_t* mask,
                         uint32_t sm, int32_t* dst, uint32_t sd, uint32_t w, uint32_t h, MaskedOr)
{
    bitwiseOrWords(src1, w, h, s1, src2, s2, mask, sm, dst, sd);
}

template <class T, size_t N>
void absDiffChannels(const T* src, uint32_t ss, const T (&values)[N], T* dst, uint32_t sd, uint32_t w, uint32_t h)
{
    if constexpr (sizeof(T) == 1)
        absDiffVBytes(src, w, h, ss, values, N, dst, sd);
    else
        absDiffV(src, w, h, ss, values, N, dst, sd);
}

template <class T, size_t N>
void fill(T* img, uint32_t stride, const T (&values)[N], const uint8_t* mask, uint32_t maskStride, uint32_t w,
          uint32_t h)
{
    if constexpr (sizeof(T) == 1)
        fillBytes<N>(img, w, h, stride, values, mask, maskStride);
    else
        fillWords<N>(img, w, h, stride, values, mask, maskStride);
}

template <class Total, class T>
float32_t mean(const T* src, uint32_t stride, uint32_t w, uint32_t h)
{
    if constexpr (sizeof(T) == 1)
        return meanBytes(src, w, h, stride);
    else
        return meanWords(src, w, h, stride);
}

}  // namespace arithmV
}  // namespace ilmv

#include "lumivaArithmFormsV.inc"
