// Per-element rules of the arithmetic family. The reference kernels apply them to every
// element; the SIMD kernels apply them to the elements that do not fill a vector, so
// both forms share one definition of every rounding and saturation.
#ifndef LUMIVA_ARITHM_OPS_H
#define LUMIVA_ARITHM_OPS_H

#include "lumiva/lumivaTypes.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <cstddef>

namespace ilmv {

template <class T>
inline T saturate(int64_t v)
{
    if (v < std::numeric_limits<T>::min()) return std::numeric_limits<T>::min();
    if (v > std::numeric_limits<T>::max()) return std::numeric_limits<T>::max();
    return static_cast<T>(v);
}

// Policy 0 keeps the low bits of the result, policy 1 clamps it to T's range.
template <class T>
inline T applyPolicy(int64_t v, LMV_OVERFLOW_POLICY policy)
{
    return policy == LUMIVA_OVERFLOW_WRAP ? static_cast<T>(v) : saturate<T>(v);
}

inline bool isPolicy(LMV_OVERFLOW_POLICY policy)
{
    return policy == LUMIVA_OVERFLOW_WRAP || policy == LUMIVA_OVERFLOW_SATURATE;
}

inline uint8_t absDiff(uint8_t a, uint8_t b)
{
    return a > b ? a - b : b - a;
}

// abs(a - b) with the difference wrapping to 32 bits; the most negative value stays itself.
inline int32_t absDiff(int32_t a, int32_t b)
{
    uint32_t d = static_cast<uint32_t>(a) - static_cast<uint32_t>(b);
    return static_cast<int32_t>(static_cast<int32_t>(d) < 0 ? 0u - d : d);
}

inline float32_t absDiff(float32_t a, float32_t b)
{
    return std::fabs(a - b);
}

// A fixed-point scale s: s <= 0 shifts left by -s, s > 0 shifts right by s rounding half
// up. Counts are taken modulo 256, and a count of 32 or more gives 0.
struct Shift {
    bool right;
    uint32_t count;
    bool zero;
};

inline Shift shiftOf(int32_t scale)
{
    if (scale > 0) {
        uint32_t n = static_cast<uint32_t>(scale) & 255u;
        return {true, n, n >= 32};
    }
    uint32_t n = (0u - static_cast<uint32_t>(scale)) & 255u;
    return {false, n, n >= 32};
}

// The left shift wraps at 32 bits; the rounding add is exact.
inline uint32_t scaled(uint32_t p, Shift s)
{
    if (s.zero) return 0;
    if (!s.right) return p << s.count;
    if (s.count == 0) return p;
    return static_cast<uint32_t>((static_cast<uint64_t>(p) + (1ull << (s.count - 1))) >> s.count);
}

inline int32_t scaled(int32_t p, Shift s)
{
    if (s.zero) return 0;
    if (!s.right) return static_cast<int32_t>(static_cast<uint32_t>(p) << s.count);
    if (s.count == 0) return p;
    return static_cast<int32_t>((static_cast<int64_t>(p) + (1ll << (s.count - 1))) >> s.count);
}

// The square term of lmvAddSquaredu8u16: s > 0 adds the rounding bit within 16 bits
// before shifting, ((a*a + (1 << (s-1))) & 0xFFFF) >> s.
inline uint32_t squareTerm(uint8_t a, Shift s)
{
    uint32_t square = static_cast<uint32_t>(a) * a;
    if (s.zero) return 0;
    if (!s.right) return square << s.count;
    uint32_t bias = s.count == 0 ? 0 : 1u << (s.count - 1);
    return ((square + bias) & 0xFFFFu) >> s.count;
}

inline uint16_t addSquared(uint8_t a, uint16_t acc, Shift s)
{
    return saturate<uint16_t>(static_cast<int64_t>(acc) + squareTerm(a, s));
}

// alpha * 256 rounded half away from zero, kept as signed 16 bits.
inline int16_t weightOf(float32_t w)
{
    float32_t v = w * 256.0f;
    v += v >= 0 ? 0.5f : -0.5f;
    if (!(v > -2147483648.0f && v < 2147483648.0f)) v = 0;  // out of any meaningful range
    return static_cast<int16_t>(static_cast<int32_t>(v));
}

// clamp((A*a + B*b + 128) >> 8, 0, 255), the shift arithmetic.
inline uint8_t weighted(uint8_t a, uint8_t b, int16_t wa, int16_t wb)
{
    return saturate<uint8_t>((wa * a + wb * b + 128) >> 8);
}

inline float32_t meanOf(uint32_t total, uint32_t width, uint32_t height)
{
    return static_cast<float32_t>(total) / static_cast<float32_t>(width * height);
}

inline float32_t meanOf(int64_t total, uint32_t width, uint32_t height)
{
    return static_cast<float32_t>(total) / static_cast<float32_t>(width * height);
}

// ---- Element rules ---------------------------------------------------------------------
// One functor per operation (or per family of operations that differ only in types): what
// each element of the result is. The descriptions name the rule of every member; both
// forms walk the image with it, and the SIMD form adds a vector version of the same rule.

struct AbsDiff {
    template <class T>
    T operator()(T a, T b) const { return absDiff(a, b); }
};

// a + b or a - b into D, wrapped or saturated by the policy.
template <class D>
struct AddWith {
    LMV_OVERFLOW_POLICY policy;
    template <class A, class B>
    D operator()(A a, B b) const { return applyPolicy<D>(a + b, policy); }
};

template <class D>
struct SubtractWith {
    LMV_OVERFLOW_POLICY policy;
    template <class A, class B>
    D operator()(A a, B b) const { return applyPolicy<D>(a - b, policy); }
};

// a + b and a - b exactly in a wider D (or D's own arithmetic for floats).
template <class D>
struct Sum {
    template <class A, class B>
    D operator()(A a, B b) const { return static_cast<D>(a + b); }
};

template <class D>
struct Difference {
    template <class A, class B>
    D operator()(A a, B b) const { return static_cast<D>(static_cast<D>(a) - static_cast<D>(b)); }
};

template <class D>
struct SaturatedSum {
    template <class T>
    D operator()(T a, T b) const { return saturate<D>(a + b); }
};

template <class D>
struct SaturatedDifference {
    template <class T>
    D operator()(T a, T b) const { return saturate<D>(a - b); }
};

template <class D>
struct Product {
    template <class A, class B>
    D operator()(A a, B b) const { return static_cast<D>(a * b); }
};

// The scaled product a * b into D: unsigned products for bytes, signed for 16-bit lanes.
template <class D>
struct ScaledProduct {
    Shift shift;
    LMV_OVERFLOW_POLICY policy;
    ScaledProduct(int32_t scale, LMV_OVERFLOW_POLICY p) : shift(shiftOf(scale)), policy(p) {}
    D operator()(uint8_t a, uint8_t b) const { return applyPolicy<D>(scaled(uint32_t(a * b), shift), policy); }
    D operator()(int16_t a, int16_t b) const { return applyPolicy<D>(scaled(int32_t(a * b), shift), policy); }
};

struct AddSquared {
    Shift shift;
    explicit AddSquared(int32_t scale) : shift(shiftOf(scale)) {}
    uint16_t operator()(uint8_t a, uint16_t acc) const { return addSquared(a, acc, shift); }
};

struct Weighted {
    int16_t wa, wb;
    Weighted(float32_t alpha, float32_t beta) : wa(weightOf(alpha)), wb(weightOf(beta)) {}
    uint8_t operator()(uint8_t a, uint8_t b) const { return weighted(a, b, wa, wb); }
};

// (a >> 1) - (b >> 1) as signed bytes.
struct HalfDifference {
    int8_t operator()(uint8_t a, uint8_t b) const { return static_cast<int8_t>((a >> 1) - (b >> 1)); }
};

struct BitAnd {
    uint8_t operator()(uint8_t a, uint8_t b) const { return static_cast<uint8_t>(a & b); }
};

struct BitXor {
    uint8_t operator()(uint8_t a, uint8_t b) const { return static_cast<uint8_t>(a ^ b); }
};

struct BitNot {
    uint8_t operator()(uint8_t a) const { return static_cast<uint8_t>(~a); }
};

// a | b, 0 where the mask byte is 0 (the mask is optional).
struct MaskedOr {
    template <class T>
    T operator()(T a, T b, const uint8_t* mask, size_t i) const { return (!mask || mask[i]) ? (a | b) : 0; }
};

// Rules against a scalar operand.
template <class T>
struct AddScalar {
    T scalar;
    T operator()(T a) const
    {
        if constexpr (std::is_floating_point<T>::value) return a + scalar;
        else return saturate<T>(a + scalar);
    }
};

struct MultiplyScalarShifted {
    int16_t scalar;
    Shift shift;
    MultiplyScalarShifted(int16_t k, int32_t s) : scalar(k), shift(shiftOf(s)) {}
    int16_t operator()(int16_t a) const { return saturate<int16_t>(scaled(a * scalar, shift)); }
};

template <class T>
struct MultiplyScalar {
    T scalar;
    T operator()(T a) const { return a * scalar; }
};

}  // namespace ilmv

#endif
