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

}  // namespace ilmv

#endif
