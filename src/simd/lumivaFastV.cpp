// NEON scan of the FAST detectors: the segment test on 16 pixels at once, the corners then
// appended in raster order, so the list, its order and the scores equal the reference ones.
#include "cpu/lumivaFast.h"
#include "simd/lumivaNeon.h"

#include <algorithm>

namespace {

// The whole segment test on 16 pixels at once. Each circle position gives one mask byte per
// lane, brighter in the high nibble and darker in the low one, so one pass of ANDs tracks
// both polarities: runs of 2, 4 and 8 by doubling, then one more step makes 9 or 10. A
// lane is a corner when any run of the arc's length is set, in either nibble.
uint8x16_t cornerLanes(const uint8_t* p, const int offsets[16], uint8x16_t high, uint8x16_t low, int arc)
{
    const uint8x16_t brighterNibble = vdupq_n_u8(0xF0);
    uint8x16_t m[16], run2[16], run4[16];
    for (int k = 0; k < 16; ++k) {
        const uint8x16_t v = vld1q_u8(p + offsets[k]);
        m[k] = vbslq_u8(brighterNibble, vcgtq_u8(v, high), vcltq_u8(v, low));
    }
    for (int k = 0; k < 16; ++k) run2[k] = vandq_u8(m[k], m[(k + 1) & 15]);
    for (int k = 0; k < 16; ++k) run4[k] = vandq_u8(run2[k], run2[(k + 2) & 15]);
    uint8x16_t any = vdupq_n_u8(0);
    for (int k = 0; k < 16; ++k) {
        const uint8x16_t run8 = vandq_u8(run4[k], run4[(k + 4) & 15]);
        const uint8x16_t tail = arc == 9 ? m[(k + 8) & 15] : run2[(k + 8) & 15];
        any = vorrq_u8(any, vandq_u8(run8, tail));
    }
    return vtstq_u8(any, any);
}

// The score in closed form: the binary search of the reference converges on the largest
// threshold t at which the test passes (at least `barrier`), and t passes while some arc
// has every difference to the centre above t: so t = max over arcs of (min difference) - 1,
// for each polarity. Runs of minima double as in the vector test.
template <int Arc>
int closedFormScore(const uint8_t* p, const int offsets[16], int barrier)
{
    const int c = p[0];
    int up[16], down[16];
    for (int k = 0; k < 16; ++k) {
        up[k] = p[offsets[k]] - c;
        down[k] = -up[k];
    }
    auto best = [](const int* d) {
        int m2[16], m4[16], top = -512;
        for (int k = 0; k < 16; ++k) m2[k] = std::min(d[k], d[(k + 1) & 15]);
        for (int k = 0; k < 16; ++k) m4[k] = std::min(m2[k], m2[(k + 2) & 15]);
        for (int k = 0; k < 16; ++k) {
            const int m8 = std::min(m4[k], m4[(k + 4) & 15]);
            top = std::max(top, std::min(m8, Arc == 9 ? d[(k + 8) & 15] : m2[(k + 8) & 15]));
        }
        return top - 1;
    };
    return std::max(barrier, std::min(std::max(best(up), best(down)), 254));
}

// The same on one vector of the 16 differences, for thresholds of 0 and up: saturating
// differences lose only negative values, which no such threshold can reach.
template <int Arc>
int vectorScore(const uint8_t* p, const int offsets[16], int barrier)
{
    if (barrier < 0) return closedFormScore<Arc>(p, offsets, barrier);
    uint8_t circle[16];
    for (int k = 0; k < 16; ++k) circle[k] = p[offsets[k]];
    const uint8x16_t ring = vld1q_u8(circle), centre = vdupq_n_u8(p[0]);
    auto best = [](uint8x16_t d) {
        const uint8x16_t m2 = vminq_u8(d, vextq_u8(d, d, 1));
        const uint8x16_t m4 = vminq_u8(m2, vextq_u8(m2, m2, 2));
        const uint8x16_t m8 = vminq_u8(m4, vextq_u8(m4, m4, 4));
        return vminq_u8(m8, Arc == 9 ? vextq_u8(d, d, 8) : vextq_u8(m2, m2, 8));
    };
    uint8x16_t top = vmaxq_u8(best(vqsubq_u8(ring, centre)), best(vqsubq_u8(centre, ring)));
    top = vmaxq_u8(top, vextq_u8(top, top, 8));
    top = vmaxq_u8(top, vextq_u8(top, top, 4));
    top = vmaxq_u8(top, vextq_u8(top, top, 2));
    top = vmaxq_u8(top, vextq_u8(top, top, 1));
    const int t = vgetq_lane_u8(top, 0) - 1;
    return std::max(barrier, std::min(t, 254));
}

// Any arc of 9 or more holds two of the four compass positions, in the arc's polarity: a
// cheap test that clears most blocks of 16 before the whole test runs.
uint8x16_t compassLanes(const uint8_t* p, const int offsets[16], uint8x16_t high, uint8x16_t low)
{
    uint8x16_t brighter = vdupq_n_u8(0), darker = vdupq_n_u8(0);
    for (int k = 0; k < 16; k += 4) {
        const uint8x16_t v = vld1q_u8(p + offsets[k]);
        brighter = vsubq_u8(brighter, vcgtq_u8(v, high));  // a true lane is all ones: minus -1
        darker = vsubq_u8(darker, vcltq_u8(v, low));
    }
    const uint8x16_t two = vdupq_n_u8(2);
    return vorrq_u8(vcgeq_u8(brighter, two), vcgeq_u8(darker, two));
}

bool anyLane(uint8x16_t v)
{
    uint64_t halves[2];
    vst1q_u8(reinterpret_cast<uint8_t*>(halves), v);
    return (halves[0] | halves[1]) != 0;
}

}  // namespace

const ILMV_FAST_SCORERS& ilmvFastScorersV()
{
    static const ILMV_FAST_SCORERS scorers = {vectorScore<9>, vectorScore<10>};
    return scorers;
}

void ilmvFastScanV(const uint8_t* src, uint32_t width, uint32_t height, uint32_t stride, int barrier, uint32_t border,
                   int arc, const ILMV_FAST_MASK* mask, uint32_t* xy, uint32_t nMax, uint32_t* n)
{
    // The byte arithmetic of the vector test holds for thresholds of 0 to 255 only.
    if (barrier < 0 || barrier > 255) {
        ilmvFastScanC(src, width, height, stride, barrier, border, arc, mask, xy, nMax, n);
        return;
    }
    int offsets[16];
    make_offsets(offsets, static_cast<int>(stride));
    if (!ilmvFastScanArea(width, height, border)) return;
    const uint8x16_t b = vdupq_n_u8(static_cast<uint8_t>(barrier));
    // Appends a corner the vector test found; true when the list is full.
    auto append = [&](uint32_t x, uint32_t y) {
        if (mask && ilmvMasked(*mask, x, y)) return false;
        xy[2 * *n] = x;
        xy[2 * *n + 1] = y;
        return ++*n >= nMax;  // the count is tested after the write, as in the reference
    };
    auto consider = [&](uint32_t x, uint32_t y, const uint8_t* p) {
        return ilmvSegmentTest(p, offsets, barrier, arc) && append(x, y);
    };
    for (uint32_t y = border; y < height - border; ++y) {
        const uint8_t* row = src + size_t(y) * stride;
        uint32_t x = border;
        for (; x + 16 <= width - border; x += 16) {
            const uint8x16_t c = vld1q_u8(row + x), high = vqaddq_u8(c, b), low = vqsubq_u8(c, b);
            if (!anyLane(compassLanes(row + x, offsets, high, low))) continue;
            const uint8x16_t corners = cornerLanes(row + x, offsets, high, low, arc);
            if (!anyLane(corners)) continue;
            uint8_t lanes[16];
            vst1q_u8(lanes, corners);
            for (uint32_t k = 0; k < 16; ++k)
                if (lanes[k] && append(x + k, y)) return;
        }
        for (; x < width - border; ++x)
            if (consider(x, y, row + x)) return;
    }
}
