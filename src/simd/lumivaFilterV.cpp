// NEON interior row of the 3x3 Gaussian, 16 outputs per step: column sums in 16-bit lanes
// (at most 1020), the horizontal 1-2-1 on them (at most 4080), shifted right by 4.
#include "cpu/lumivaFilter.h"
#include "simd/lumivaNeon.h"

namespace {

using namespace ilmv;

// Column sums above + 2 row + below of the 16 columns from x, split into even and odd
// columns (at most 1020 each).
Split columnSums(const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t x)
{
    const Split a = splitBytes(vld1q_u8(above + x)), r = splitBytes(vld1q_u8(row + x)), b = splitBytes(vld1q_u8(below + x));
    return {vaddq_u16(vaddq_u16(a.even, b.even), vshlq_n_u16(r.even, 1)),
            vaddq_u16(vaddq_u16(a.odd, b.odd), vshlq_n_u16(r.odd, 1))};
}

}  // namespace

// Outputs x .. x+15 from the column sums at x-1 and x+1: even outputs weigh the even sums
// from x-1, the odd ones from x-1 twice and the even ones from x+1; odd outputs shift by one.
void ilmvGaussianRowV(const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t width, uint8_t* dst)
{
    size_t x = 1;
    for (; x + 17 <= width; x += 16) {
        const Split before = columnSums(above, row, below, x - 1), after = columnSums(above, row, below, x + 1);
        const uint16x8_t even = vaddq_u16(vaddq_u16(before.even, after.even), vshlq_n_u16(before.odd, 1));
        const uint16x8_t odd = vaddq_u16(vaddq_u16(before.odd, after.odd), vshlq_n_u16(after.even, 1));
        vst1q_u8(dst + x, joinBytes(vshrq_n_u16(even, 4), vshrq_n_u16(odd, 4)));
    }
    if (x + 1 < width) ilmvGaussianRowC(above + x - 1, row + x - 1, below + x - 1, width - (x - 1), dst + x - 1);
}
