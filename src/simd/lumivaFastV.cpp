// NEON scan of the FAST detectors: a vector test on 16 pixels rejects every pixel that
// cannot hold an arc, and the reference segment test decides the few that remain, in
// order, so the corners, their order and their scores equal the reference ones.
#include "cpu/lumivaFast.h"
#include "simd/lumivaNeon.h"

namespace {

// An arc of 9 consecutive circle positions holds at least 4 of the 8 even positions, an arc
// of 10 at least 5: fewer brighter (and fewer darker) even positions rule a pixel out.
uint8x16_t candidates(const uint8_t* p, const int offsets[16], uint8x16_t high, uint8x16_t low, uint8_t need)
{
    uint8x16_t brighter = vdupq_n_u8(0), darker = vdupq_n_u8(0);
    for (int k = 0; k < 16; k += 2) {
        const uint8x16_t v = vld1q_u8(p + offsets[k]);
        brighter = vsubq_u8(brighter, vcgtq_u8(v, high));  // a true lane is all ones: minus -1
        darker = vsubq_u8(darker, vcltq_u8(v, low));
    }
    const uint8x16_t enough = vdupq_n_u8(need);
    return vorrq_u8(vcgeq_u8(brighter, enough), vcgeq_u8(darker, enough));
}

bool anyLane(uint8x16_t v)
{
    uint64_t halves[2];
    vst1q_u8(reinterpret_cast<uint8_t*>(halves), v);
    return (halves[0] | halves[1]) != 0;
}

}  // namespace

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
    if (height - border <= border) return;
    const uint8x16_t b = vdupq_n_u8(static_cast<uint8_t>(barrier));
    const uint8_t need = arc == 9 ? 4 : 5;
    auto consider = [&](uint32_t x, uint32_t y, const uint8_t* p) {
        if (mask && ilmvMasked(*mask, x, y)) return false;
        if (!ilmvSegmentTest(p, offsets, barrier, arc)) return false;
        xy[2 * *n] = x;
        xy[2 * *n + 1] = y;
        return ++*n >= nMax;  // full: stop
    };
    for (uint32_t y = border; y < height - border; ++y) {
        const uint8_t* row = src + size_t(y) * stride;
        uint32_t x = border;
        for (; x + 16 <= width - border; x += 16) {
            const uint8x16_t c = vld1q_u8(row + x);
            const uint8x16_t keep = candidates(row + x, offsets, vqaddq_u8(c, b), vqsubq_u8(c, b), need);
            if (!anyLane(keep)) continue;
            uint8_t lanes[16];
            vst1q_u8(lanes, keep);
            for (uint32_t k = 0; k < 16; ++k)
                if (lanes[k] && consider(x + k, y, row + x + k)) return;
        }
        for (; x < width - border; ++x)
            if (consider(x, y, row + x)) return;
    }
}
