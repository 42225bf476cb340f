// NEON scan of the FAST detectors: the segment test on 16 pixels at once, the corners then
// appended in raster order, so the list, its order and the scores equal the reference ones.
#include "cpu/lumivaFast.h"
#include "simd/lumivaNeon.h"

#include <algorithm>
#include <cstring>

namespace {

// Circle position k of 16 pixels as one mask byte per lane: brighter than centre + barrier
// in the high nibble, darker than centre - barrier in the low one, so that one AND tracks
// both polarities.
inline uint8x16_t circleMask(const uint8_t* p, int offset, uint8x16_t high, uint8x16_t low)
{
    const uint8x16_t v = vld1q_u8(p + offset);
    return vbslq_u8(vdupq_n_u8(0xF0), vcgtq_u8(v, high), vcltq_u8(v, low));
}

// Whether any bit of any lane is set.
inline bool anySet(uint8x16_t v)
{
    return vget_lane_u64(vreinterpret_u64_u8(vorr_u8(vget_low_u8(v), vget_high_u8(v))), 0) != 0;
}

// One nibble per lane (0xF where the lane is all ones) in a 64-bit word, lane k in nibble k.
inline uint64_t laneNibbles(uint8x16_t v)
{
    return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(vreinterpretq_u16_u8(v), 4)), 0);
}

// Any arc of 9 or more holds two neighbouring compass positions (0, 4, 8, 12) in the arc's
// polarity: the compass masks, needed by the whole test anyway, rule out most blocks.
inline uint8x16_t compassPairs(const uint8x16_t m[16])
{
    return vorrq_u8(vorrq_u8(vandq_u8(m[0], m[4]), vandq_u8(m[4], m[8])),
                    vorrq_u8(vandq_u8(m[8], m[12]), vandq_u8(m[12], m[0])));
}

// The rest of the segment test, given the 16 circle masks. A run of 9 starting at k holds
// the run of 8 starting at the even one of k and k + 1, so runs of 8 at even starts suffice:
// at even j, a run of 9 is run8[j] with m[j+8] (starting at j) or m[j-1] (starting at j-1);
// a run of 10 is run8[j] with m[j+8] and one of m[j+9], m[j-1]. Runs double from pairs.
uint8x16_t cornerLanes(const uint8x16_t m[16], int arc)
{
    uint8x16_t run2[8], run4[8];
    for (int j = 0; j < 16; j += 2) run2[j / 2] = vandq_u8(m[j], m[j + 1]);
    for (int j = 0; j < 8; ++j) run4[j] = vandq_u8(run2[j], run2[(j + 1) & 7]);
    uint8x16_t any = vdupq_n_u8(0);
    for (int j = 0; j < 16; j += 2) {
        const uint8x16_t run8 = vandq_u8(run4[j / 2], run4[(j / 2 + 2) & 7]);
        const uint8x16_t before = m[(j + 15) & 15], after = m[(j + 8) & 15];
        const uint8x16_t tail = arc == 9 ? vorrq_u8(after, before)
                                         : vandq_u8(after, vorrq_u8(m[(j + 9) & 15], before));
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

// Suppression over rows of score codes: the corners of rows y-1, y and y+1 are drawn into
// three rolling byte rows as score + 1 (0 where there is none), and a corner survives when
// all eight neighbours hold less than its own code. The survivors are those of the
// reference's cursor walk (any neighbour with a score at least as high suppresses), found
// without its branches. Scores then lie in [barrier, 254]; other thresholds, and rows wider
// than the rolling rows, take the reference walk.
constexpr uint32_t kCodeRowWidth = 4096;

struct ILMV_CODE_ROWS {
    uint8_t code[3][kCodeRowWidth + 2];  // column x at x + 1: a neighbour column of -1 reads 0
};

void drawRow(ILMV_CODE_ROWS& rows, int slot, const uint32_t* corners, const uint32_t* scores, uint32_t first,
             uint32_t last, bool erase)
{
    for (uint32_t i = first; i < last; ++i)
        rows.code[slot][corners[2 * i] + 1] = erase ? 0 : uint8_t(scores[i] + 1);
}

void suppressV(const uint32_t* corners, const uint32_t* scores, int32_t* rowStart, uint32_t n, uint32_t width,
               int barrier, uint32_t* xyOut, uint32_t* scoresOut, uint32_t* nOut)
{
    if (width > kCodeRowWidth || barrier < 0 || barrier > 254) {
        nms_processing(corners, scores, rowStart, n, xyOut, scoresOut, nOut);
        return;
    }
    ILMV_CODE_ROWS rows;
    std::memset(rows.code, 0, sizeof rows.code);
    auto rowOf = [&](uint32_t i) { return int32_t(corners[2 * i + 1]); };
    // The corners of one row: [first, last) of the list.
    struct Group {
        int32_t row;
        uint32_t first, last;
    };
    Group held[3] = {{-1, 0, 0}, {-1, 0, 0}, {-1, 0, 0}};
    // Makes slot `row mod 3` hold the corners of `group` (row `row`), or nothing.
    auto hold = [&](int32_t row, const Group& group) {
        const int slot = int((row % 3 + 3) % 3);
        Group& now = held[slot];
        if (now.row == group.row && now.first == group.first) return slot;
        if (now.row >= 0) drawRow(rows, slot, corners, scores, now.first, now.last, true);
        if (group.row >= 0) drawRow(rows, slot, corners, scores, group.first, group.last, false);
        now = group;
        return slot;
    };
    auto groupAt = [&](uint32_t first) {
        uint32_t last = first + 1;
        while (last < n && rowOf(last) == rowOf(first)) ++last;
        return Group{rowOf(first), first, last};
    };
    *nOut = 0;
    const Group none = {-1, 0, 0};
    Group previous = none, group = n ? groupAt(0) : none;
    while (group.row >= 0) {
        const Group next = group.last < n ? groupAt(group.last) : none;
        const int32_t y = group.row;
        const uint8_t* above = rows.code[hold(y - 1, previous.row == y - 1 ? previous : none)];
        const uint8_t* same = rows.code[hold(y, group)];
        const uint8_t* below = rows.code[hold(y + 1, next.row == y + 1 ? next : none)];
        for (uint32_t i = group.first; i < group.last; ++i) {
            const uint32_t c = corners[2 * i] + 1;
            const uint8_t own = uint8_t(scores[i] + 1);
            const uint8_t around = std::max({above[c - 1], above[c], above[c + 1], same[c - 1], same[c + 1],
                                             below[c - 1], below[c], below[c + 1]});
            if (around >= own) continue;
            xyOut[2 * *nOut] = corners[2 * i];
            xyOut[2 * *nOut + 1] = corners[2 * i + 1];
            scoresOut[*nOut] = scores[i];
            ++*nOut;
        }
        previous = group;
        group = next;
    }
}

}  // namespace

const ILMV_FAST_SCORERS& ilmvFastScorersV()
{
    static const ILMV_FAST_SCORERS scorers = {vectorScore<9>, vectorScore<10>, suppressV};
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
            const uint8_t* p = row + x;
            const uint8x16_t c = vld1q_u8(p), high = vqaddq_u8(c, b), low = vqsubq_u8(c, b);
            uint8x16_t m[16];
            for (int k = 0; k < 16; k += 4) m[k] = circleMask(p, offsets[k], high, low);
            if (!anySet(compassPairs(m))) continue;
            for (int k = 0; k < 16; ++k)
                if (k % 4) m[k] = circleMask(p, offsets[k], high, low);
            // Corners are few: visit the set nibbles only.
            uint64_t lanes = laneNibbles(cornerLanes(m, arc));
            while (lanes) {
                const uint32_t k = uint32_t(__builtin_ctzll(lanes)) / 4;
                if (append(x + k, y)) return;
                lanes &= ~(uint64_t(0xF) << (4 * k));
            }
        }
        for (; x < width - border; ++x)
            if (consider(x, y, row + x)) return;
    }
}
