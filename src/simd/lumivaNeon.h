// NEON intrinsics: native on ARM, through SIMDe on every other host, so the same
// kernels build and are tested everywhere.
#ifndef LUMIVA_NEON_H
#define LUMIVA_NEON_H

#if defined(__ARM_NEON) || defined(__ARM_NEON__)
#include <arm_neon.h>
#else
#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/arm/neon.h>
#endif

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ilmv {

// The step pattern of the row kernels: 16 elements at a time as two groups of 8, then
// one group of 8 if at least 8 remain, then the rest one at a time.
template <class Eight, class One>
inline void stepBy8(size_t n, Eight eight, One one)
{
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        eight(i);
        eight(i + 8);
    }
    if (i + 8 <= n) {
        eight(i);
        i += 8;
    }
    for (; i < n; ++i) one(i);
}

// The same for byte kernels that take 16 bytes in one Q register and 8 in one D register:
// `vec` is applied to both register widths.
template <class Vec, class One>
inline void stepBytes(size_t n, Vec vec, One one)
{
    size_t i = 0;
    for (; i + 16 <= n; i += 16) vec(i, uint8x16_t{});
    if (i + 8 <= n) {
        vec(i, uint8x8_t{});
        i += 8;
    }
    for (; i < n; ++i) one(i);
}

// Width-generic loads and stores of bytes, chosen by the register type.
inline uint8x16_t load(const uint8_t* p, uint8x16_t) { return vld1q_u8(p); }
inline uint8x8_t load(const uint8_t* p, uint8x8_t) { return vld1_u8(p); }
inline void store(uint8_t* p, uint8x16_t v) { vst1q_u8(p, v); }
inline void store(uint8_t* p, uint8x8_t v) { vst1_u8(p, v); }
inline void store(int8_t* p, int8x16_t v) { vst1q_s8(p, v); }
inline void store(int8_t* p, int8x8_t v) { vst1_s8(p, v); }

// Byte operations for both register widths.
inline uint8x16_t absd(uint8x16_t a, uint8x16_t b) { return vabdq_u8(a, b); }
inline uint8x8_t absd(uint8x8_t a, uint8x8_t b) { return vabd_u8(a, b); }
inline uint8x16_t add(uint8x16_t a, uint8x16_t b) { return vaddq_u8(a, b); }
inline uint8x8_t add(uint8x8_t a, uint8x8_t b) { return vadd_u8(a, b); }
inline uint8x16_t addSat(uint8x16_t a, uint8x16_t b) { return vqaddq_u8(a, b); }
inline uint8x8_t addSat(uint8x8_t a, uint8x8_t b) { return vqadd_u8(a, b); }
inline uint8x16_t sub(uint8x16_t a, uint8x16_t b) { return vsubq_u8(a, b); }
inline uint8x8_t sub(uint8x8_t a, uint8x8_t b) { return vsub_u8(a, b); }
inline uint8x16_t subSat(uint8x16_t a, uint8x16_t b) { return vqsubq_u8(a, b); }
inline uint8x8_t subSat(uint8x8_t a, uint8x8_t b) { return vqsub_u8(a, b); }
inline uint8x16_t bitAnd(uint8x16_t a, uint8x16_t b) { return vandq_u8(a, b); }
inline uint8x8_t bitAnd(uint8x8_t a, uint8x8_t b) { return vand_u8(a, b); }
inline uint8x16_t bitXor(uint8x16_t a, uint8x16_t b) { return veorq_u8(a, b); }
inline uint8x8_t bitXor(uint8x8_t a, uint8x8_t b) { return veor_u8(a, b); }
inline uint8x16_t bitNot(uint8x16_t a) { return vmvnq_u8(a); }
inline uint8x8_t bitNot(uint8x8_t a) { return vmvn_u8(a); }
inline uint8x16_t bitOr(uint8x16_t a, uint8x16_t b) { return vorrq_u8(a, b); }
inline uint8x8_t bitOr(uint8x8_t a, uint8x8_t b) { return vorr_u8(a, b); }
inline uint8x16_t nonZero(uint8x16_t a) { return vtstq_u8(a, a); }
inline uint8x8_t nonZero(uint8x8_t a) { return vtst_u8(a, a); }
inline int8x16_t halfDiff(uint8x16_t a, uint8x16_t b)
{
    return vsubq_s8(vreinterpretq_s8_u8(vshrq_n_u8(a, 1)), vreinterpretq_s8_u8(vshrq_n_u8(b, 1)));
}
inline int8x8_t halfDiff(uint8x8_t a, uint8x8_t b)
{
    return vsub_s8(vreinterpret_s8_u8(vshr_n_u8(a, 1)), vreinterpret_s8_u8(vshr_n_u8(b, 1)));
}

// A constant the compiler must treat as unknown. Through SIMDe on x86 the compiler turns
// multiplies by small constants into chains of shifts and adds, several instructions where
// one multiply does; hiding the constant keeps the multiply. NEON multiplies stay as they are.
template <class V>
inline V opaque(V v)
{
#if !(defined(__ARM_NEON) || defined(__ARM_NEON__)) && (defined(__x86_64__) || defined(__i386__))
    __asm__("" : "+x"(v));
#endif
    return v;
}

// ---- Widening and narrowing through byte shuffles ---------------------------------------
// Interleaving with zeros widens bytes to 16-bit lanes, and de-interleaving picks low or
// high bytes back out: shuffles that every vector unit does in one step.

struct Wide {
    uint16x8_t lo, hi;  // lanes 0-7 and 8-15
};

inline Wide widenBytes(uint8x16_t v)
{
    uint8x16x2_t z = vzipq_u8(v, vdupq_n_u8(0));
    return {vreinterpretq_u16_u8(z.val[0]), vreinterpretq_u16_u8(z.val[1])};
}

inline int16x8_t asSigned(uint16x8_t v)
{
    return vreinterpretq_s16_u16(v);
}

// x >> 8 of each lane as bytes.
inline uint8x16_t highBytes(uint16x8_t lo, uint16x8_t hi)
{
    return vuzpq_u8(vreinterpretq_u8_u16(lo), vreinterpretq_u8_u16(hi)).val[1];
}

// Each signed lane clamped to 0..255, as bytes.
inline uint8x16_t clampBytes(int16x8_t lo, int16x8_t hi)
{
    const int16x8_t zero = vdupq_n_s16(0), top = vdupq_n_s16(255);
    lo = vminq_s16(vmaxq_s16(lo, zero), top);
    hi = vminq_s16(vmaxq_s16(hi, zero), top);
    return vuzpq_u8(vreinterpretq_u8_s16(lo), vreinterpretq_u8_s16(hi)).val[0];
}

// Splitting bytes into even and odd lanes takes only masks and shifts, and so does joining
// them back: pixels 0, 2, ..., 14 and 1, 3, ..., 15 in 16-bit lanes.
struct Split {
    uint16x8_t even, odd;
};

inline Split splitBytes(uint8x16_t v)
{
    const uint16x8_t w = vreinterpretq_u16_u8(v);
    return {vandq_u16(w, vdupq_n_u16(0xFF)), vshrq_n_u16(w, 8)};
}

// Even and odd lanes whose values fit a byte, joined back into pixel order.
inline uint8x16_t joinBytes(uint16x8_t even, uint16x8_t odd)
{
    return vreinterpretq_u8_u16(vorrq_u16(even, vshlq_n_u16(odd, 8)));
}

// x >> 8 of even and odd lanes, joined.
inline uint8x16_t joinHighBytes(uint16x8_t even, uint16x8_t odd)
{
    return vreinterpretq_u8_u16(vbslq_u16(vdupq_n_u16(0xFF00), odd, vshrq_n_u16(even, 8)));
}

inline uint16x8_t clampToByte(int16x8_t v)
{
    return vreinterpretq_u16_s16(vminq_s16(vmaxq_s16(v, vdupq_n_s16(0)), vdupq_n_s16(255)));
}

// Signed even and odd lanes clamped to 0..255, joined.
inline uint8x16_t joinClamped(int16x8_t even, int16x8_t odd)
{
    return joinBytes(clampToByte(even), clampToByte(odd));
}

// ---- Float helpers ------------------------------------------------------------------

// Lane-wise n / d, correctly rounded like the scalar division. The 64-bit instruction set
// has the instruction; elsewhere the compiler's generic vectors lower it to the host's
// vector division, or to one scalar division per lane on 32-bit ARM.
inline float32x4_t divide(float32x4_t n, float32x4_t d)
{
#if defined(__aarch64__)
    return vdivq_f32(n, d);
#else
    typedef float Lanes __attribute__((vector_size(16)));
    Lanes a, b;
    std::memcpy(&a, &n, sizeof a);
    std::memcpy(&b, &d, sizeof b);
    a /= b;
    std::memcpy(&n, &a, sizeof a);
    return n;
#endif
}

// Bytes 0-3 and 4-7 of v as floats. Zipping with zero widens in one step per size on
// every vector unit.
inline float32x4x2_t lowBytesAsFloats(uint8x16_t v)
{
    const uint8x16_t zero = vdupq_n_u8(0);
    const uint16x8_t halves = vreinterpretq_u16_u8(vzipq_u8(v, zero).val[0]);
    const uint16x8x2_t words = vzipq_u16(halves, vreinterpretq_u16_u8(zero));
    return {{vcvtq_f32_s32(vreinterpretq_s32_u16(words.val[0])), vcvtq_f32_s32(vreinterpretq_s32_u16(words.val[1]))}};
}

// Four bytes from p as floats, reading exactly those four bytes.
inline float32x4_t fourBytesAsFloats(const uint8_t* p)
{
    uint32_t word;
    std::memcpy(&word, p, sizeof word);
    return lowBytesAsFloats(vreinterpretq_u8_u32(vsetq_lane_u32(word, vdupq_n_u32(0), 0))).val[0];
}

// Eight bytes from p as two vectors of floats.
inline float32x4x2_t eightBytesAsFloats(const uint8_t* p)
{
    return lowBytesAsFloats(vcombine_u8(vld1_u8(p), vdup_n_u8(0)));
}

// Lanes 0 .. n-1 set, for the last columns of a row (n = 1 .. 3).
inline uint32x4_t firstLanes(int n)
{
    static const uint32_t index[4] = {0, 1, 2, 3};
    return vcltq_u32(vld1q_u32(index), vdupq_n_u32(uint32_t(n)));
}

// The last n (1 .. 3) of the first w >= 4 floats of a row, in lanes 0 .. n-1; the other
// lanes hold earlier columns of the row and are meant to be masked off.
inline float32x4_t lastColumns(const float* row, int w, int n)
{
    const float32x4_t v = vld1q_f32(row + w - 4);
    switch (n) {
    case 1: return vextq_f32(v, v, 3);
    case 2: return vextq_f32(v, v, 2);
    default: return vextq_f32(v, v, 1);
    }
}

// ---- Structure loads and stores --------------------------------------------------------
// Deinterleaving loads and interleaving stores of 2, 3 and 4 byte channels: single
// instructions on ARM; on other hosts byte shuffles of plain loads, which is how the vector
// units there move bytes fast. Both give the same lanes.

#if defined(__ARM_NEON) || defined(__ARM_NEON__)
inline uint8x16x2_t load2(const uint8_t* p) { return vld2q_u8(p); }
inline uint8x16x3_t load3(const uint8_t* p) { return vld3q_u8(p); }
inline uint8x16x4_t load4(const uint8_t* p) { return vld4q_u8(p); }

// The three channels of 8 packed 3-byte pixels (24 bytes), widened to 16-bit lanes.
inline uint16x8x3_t loadWidened3(const uint8_t* p)
{
    const uint8x8x3_t v = vld3_u8(p);
    return {{vmovl_u8(v.val[0]), vmovl_u8(v.val[1]), vmovl_u8(v.val[2])}};
}
inline void store2(uint8_t* p, uint8x16x2_t v) { vst2q_u8(p, v); }
inline void store3(uint8_t* p, uint8x16x3_t v) { vst3q_u8(p, v); }
inline void store4(uint8_t* p, uint8x16x4_t v) { vst4q_u8(p, v); }
#else
// Byte-shuffle indices of the structure loads and stores, as constants the compiler folds.
alignas(16) inline constexpr uint8_t kLoad3[3][16] = {
    {0, 3, 6, 9, 12, 15, 18, 21, 24, 27, 30, 33, 36, 39, 42, 45},
    {1, 4, 7, 10, 13, 16, 19, 22, 25, 28, 31, 34, 37, 40, 43, 46},
    {2, 5, 8, 11, 14, 17, 20, 23, 26, 29, 32, 35, 38, 41, 44, 47}};
alignas(16) inline constexpr uint8_t kLoad4[4][16] = {
    {0, 4, 8, 12, 16, 20, 24, 28, 32, 36, 40, 44, 48, 52, 56, 60},
    {1, 5, 9, 13, 17, 21, 25, 29, 33, 37, 41, 45, 49, 53, 57, 61},
    {2, 6, 10, 14, 18, 22, 26, 30, 34, 38, 42, 46, 50, 54, 58, 62},
    {3, 7, 11, 15, 19, 23, 27, 31, 35, 39, 43, 47, 51, 55, 59, 63}};
// Output byte j of an interleaved run comes from channel j % channels, lane j / channels.
alignas(16) inline constexpr uint8_t kStore3[3][16] = {
    {0, 16, 32, 1, 17, 33, 2, 18, 34, 3, 19, 35, 4, 20, 36, 5},
    {21, 37, 6, 22, 38, 7, 23, 39, 8, 24, 40, 9, 25, 41, 10, 26},
    {42, 11, 27, 43, 12, 28, 44, 13, 29, 45, 14, 30, 46, 15, 31, 47}};
alignas(16) inline constexpr uint8_t kStore4[4][16] = {
    {0, 16, 32, 48, 1, 17, 33, 49, 2, 18, 34, 50, 3, 19, 35, 51},
    {4, 20, 36, 52, 5, 21, 37, 53, 6, 22, 38, 54, 7, 23, 39, 55},
    {8, 24, 40, 56, 9, 25, 41, 57, 10, 26, 42, 58, 11, 27, 43, 59},
    {12, 28, 44, 60, 13, 29, 45, 61, 14, 30, 46, 62, 15, 31, 47, 63}};

inline uint8x16x2_t load2(const uint8_t* p)
{
    uint8x16_t a = vld1q_u8(p), b = vld1q_u8(p + 16);
    return {{vuzp1q_u8(a, b), vuzp2q_u8(a, b)}};
}

inline uint8x16x3_t load3(const uint8_t* p)
{
    uint8x16x3_t bytes = {{vld1q_u8(p), vld1q_u8(p + 16), vld1q_u8(p + 32)}};
    return {{vqtbl3q_u8(bytes, vld1q_u8(kLoad3[0])), vqtbl3q_u8(bytes, vld1q_u8(kLoad3[1])),
             vqtbl3q_u8(bytes, vld1q_u8(kLoad3[2]))}};
}

// Bytes 0-15 and 8-23 of 8 packed 3-byte pixels as one 32-byte table: channel c of pixel k
// (byte 3k + c) sits at 3k + c below 16 and at 3k + c + 8 from there on; 255 gives a zero
// high byte.
alignas(16) inline constexpr uint8_t kWiden3[3][16] = {
    {0, 255, 3, 255, 6, 255, 9, 255, 12, 255, 15, 255, 26, 255, 29, 255},
    {1, 255, 4, 255, 7, 255, 10, 255, 13, 255, 24, 255, 27, 255, 30, 255},
    {2, 255, 5, 255, 8, 255, 11, 255, 14, 255, 25, 255, 28, 255, 31, 255}};

// One two-register lookup per channel straight into 16-bit lanes: fewer shuffles than a
// three-register de-interleave followed by widening.
inline uint16x8x3_t loadWidened3(const uint8_t* p)
{
    const uint8x16x2_t bytes = {{vld1q_u8(p), vld1q_u8(p + 8)}};
    return {{vreinterpretq_u16_u8(vqtbl2q_u8(bytes, vld1q_u8(kWiden3[0]))),
             vreinterpretq_u16_u8(vqtbl2q_u8(bytes, vld1q_u8(kWiden3[1]))),
             vreinterpretq_u16_u8(vqtbl2q_u8(bytes, vld1q_u8(kWiden3[2])))}};
}

inline uint8x16x4_t load4(const uint8_t* p)
{
    uint8x16x4_t bytes = {{vld1q_u8(p), vld1q_u8(p + 16), vld1q_u8(p + 32), vld1q_u8(p + 48)}};
    return {{vqtbl4q_u8(bytes, vld1q_u8(kLoad4[0])), vqtbl4q_u8(bytes, vld1q_u8(kLoad4[1])),
             vqtbl4q_u8(bytes, vld1q_u8(kLoad4[2])), vqtbl4q_u8(bytes, vld1q_u8(kLoad4[3]))}};
}

inline void store2(uint8_t* p, uint8x16x2_t v)
{
    vst1q_u8(p, vzip1q_u8(v.val[0], v.val[1]));
    vst1q_u8(p + 16, vzip2q_u8(v.val[0], v.val[1]));
}

inline void store3(uint8_t* p, uint8x16x3_t v)
{
    for (int part = 0; part < 3; ++part) vst1q_u8(p + 16 * part, vqtbl3q_u8(v, vld1q_u8(kStore3[part])));
}

inline void store4(uint8_t* p, uint8x16x4_t v)
{
    for (int part = 0; part < 4; ++part) vst1q_u8(p + 16 * part, vqtbl4q_u8(v, vld1q_u8(kStore4[part])));
}
#endif

}  // namespace ilmv

#endif
