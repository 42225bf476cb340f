// NEON interior row of the 3x3 Gaussian, 16 outputs per step: column sums in 16-bit lanes
// (at most 1020), the horizontal 1-2-1 on them (at most 4080), shifted right by 4.
#include "cpu/lumivaFilter.h"
#include "simd/lumivaNeon.h"

namespace {

using namespace ilmv;

// Column sums above + 2 row + below of 16 columns starting at x.
Wide columnSums(const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t x)
{
    Wide a = widenBytes(vld1q_u8(above + x)), r = widenBytes(vld1q_u8(row + x)), b = widenBytes(vld1q_u8(below + x));
    return {vaddq_u16(vaddq_u16(a.lo, b.lo), vshlq_n_u16(r.lo, 1)), vaddq_u16(vaddq_u16(a.hi, b.hi), vshlq_n_u16(r.hi, 1))};
}

}  // namespace

void ilmvGaussianRowV(const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t width, uint8_t* dst)
{
    size_t x = 1;
    for (; x + 17 <= width; x += 16) {
        const Wide left = columnSums(above, row, below, x - 1), centre = columnSums(above, row, below, x),
                   right = columnSums(above, row, below, x + 1);
        const uint16x8_t lo = vaddq_u16(vaddq_u16(left.lo, right.lo), vshlq_n_u16(centre.lo, 1));
        const uint16x8_t hi = vaddq_u16(vaddq_u16(left.hi, right.hi), vshlq_n_u16(centre.hi, 1));
        vst1q_u8(dst + x, vuzpq_u8(vreinterpretq_u8_u16(vshrq_n_u16(lo, 4)), vreinterpretq_u8_u16(vshrq_n_u16(hi, 4))).val[0]);
    }
    if (x + 1 < width) ilmvGaussianRowC(above + x - 1, row + x - 1, below + x - 1, width - (x - 1), dst + x - 1);
}
