// NEON dot product of two 36-byte descriptors: products in 16-bit lanes, sums in 32; exact.
#include "cpu/lumivaKDTree.h"
#include "simd/lumivaNeon.h"

int32_t ilmvDot36V(const int8_t* a, const int8_t* b)
{
    const int8x16_t a0 = vld1q_s8(a), a1 = vld1q_s8(a + 16), b0 = vld1q_s8(b), b1 = vld1q_s8(b + 16);
    int32x4_t sum = vpaddlq_s16(vmull_s8(vget_low_s8(a0), vget_low_s8(b0)));
    sum = vpadalq_s16(sum, vmull_s8(vget_high_s8(a0), vget_high_s8(b0)));
    sum = vpadalq_s16(sum, vmull_s8(vget_low_s8(a1), vget_low_s8(b1)));
    sum = vpadalq_s16(sum, vmull_s8(vget_high_s8(a1), vget_high_s8(b1)));
    int32_t lanes[4];
    vst1q_s32(lanes, sum);
    int32_t dot = lanes[0] + lanes[1] + lanes[2] + lanes[3];
    for (int d = 32; d < 36; ++d) dot += a[d] * b[d];
    return dot;
}
