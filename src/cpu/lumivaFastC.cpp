// FAST-9 reference forms and the engine shared by both arcs and both forms: the segment
// test, the raster scan, the masked scan, scores and non-maximum suppression.
#include "core/lumivaEntry.h"
#include "cpu/lumivaFast.h"

#include <cstring>

void make_offsets(int offsets[16], int s)
{
    const int table[16] = {3 * s,  3 * s + 1, 2 * s + 2,  s + 3,  3,          3 - s,  2 - 2 * s, 1 - 3 * s,
                           -3 * s, -1 - 3 * s, -2 - 2 * s, -3 - s, -3,         s - 3,  2 * s - 2, 3 * s - 1};
    std::memcpy(offsets, table, sizeof table);
}

namespace {

// Bit k set when circle pixel k satisfies `pass`; doubled to 32 bits so runs wrap round.
template <class Pass>
uint32_t circleBits(const uint8_t* p, const int offsets[16], Pass pass)
{
    uint32_t bits = 0;
    for (int k = 0; k < 16; ++k)
        if (pass(p[offsets[k]])) bits |= 1u << k;
    return bits | (bits << 16);
}

bool hasRun(uint32_t bits, int arc)
{
    uint32_t run = bits;
    for (int k = 1; k < arc; ++k) run &= bits >> k;
    return (run & 0xFFFF) != 0;
}

}  // namespace

bool ilmvSegmentTest(const uint8_t* p, const int offsets[16], int barrier, int arc)
{
    const int c = p[0], high = c + barrier, low = c - barrier;
    // Any arc of 9 or more holds two of the four compass pixels: most pixels stop here.
    int brighter = 0, darker = 0;
    for (int k = 0; k < 16; k += 4) {
        const int v = p[offsets[k]];
        brighter += v > high;
        darker += v < low;
    }
    if (brighter < 2 && darker < 2) return false;
    return (brighter >= 2 && hasRun(circleBits(p, offsets, [=](int v) { return v > high; }), arc)) ||
           (darker >= 2 && hasRun(circleBits(p, offsets, [=](int v) { return v < low; }), arc));
}

void ilmvFastScanC(const uint8_t* src, uint32_t width, uint32_t height, uint32_t stride, int barrier, uint32_t border,
                   int arc, const ILMV_FAST_MASK* mask, uint32_t* xy, uint32_t nMax, uint32_t* n)
{
    int offsets[16];
    make_offsets(offsets, static_cast<int>(stride));
    if (!ilmvFastScanArea(width, height, border)) return;
    for (uint32_t y = border; y < height - border; ++y)
        for (uint32_t x = border; x < width - border; ++x) {
            if (mask && ilmvMasked(*mask, x, y)) continue;
            if (!ilmvSegmentTest(src + size_t(y) * stride + x, offsets, barrier, arc)) continue;
            xy[2 * *n] = x;
            xy[2 * *n + 1] = y;
            // The count is tested after the write, so a capacity of 0 still yields one corner.
            if (++*n >= nMax) return;
        }
}

namespace {

// The mask ratios, tried in this order: same size, then the mask 2, 4 or 8 times larger or
// smaller than the image in both dimensions.
bool classifyMask(uint32_t w, uint32_t h, uint32_t mw, uint32_t mh, ILMV_FAST_MASK& m)
{
    if (mw == w && mh == h) {
        m.shift = 0;
        m.up = false;
        return true;
    }
    for (int k = 1; k <= 3; ++k) {
        if (mw == (w << k) && mh == (h << k)) {
            m.shift = k;
            m.up = true;
            return true;
        }
        if (w == (mw << k) && h == (mh << k)) {
            m.shift = k;
            m.up = false;
            return true;
        }
    }
    return false;
}

}  // namespace

void ilmvFastDetect(ilmvFastScanFn scan, int arc, const uint8_t* src, uint32_t width, uint32_t height,
                    uint32_t stride, int barrier, uint32_t border, uint32_t* xy, uint32_t nMax, uint32_t* n,
                    const uint8_t* bitMask, uint32_t maskWidth, uint32_t maskHeight)
{
    if (!stride) stride = width;
    *n = 0;
    ILMV_FAST_MASK mask{bitMask, (maskWidth + 7) / 8, 0, false};
    if (bitMask && !classifyMask(width, height, maskWidth, maskHeight, mask)) return;  // silently no corners
    scan(src, width, height, stride, barrier, border, arc, bitMask ? &mask : nullptr, xy, nMax, n);
}

void ilmvFastScore(ilmvFastScanFn scan, const ILMV_FAST_SCORERS& scorers, int arc, const uint8_t* src,
                   uint32_t width, uint32_t height, uint32_t stride, int barrier, uint32_t border, uint32_t* xy,
                   uint32_t* scores, uint32_t nMax, uint32_t* n, const uint8_t* bitMask, uint32_t maskWidth,
                   uint32_t maskHeight, uint32_t nms, uint32_t* tempBuf, const char* path, int line)
{
    if (!stride) stride = width;
    const ilmvFastScoreFn score = arc == 9 ? scorers.arc9 : scorers.arc10;
    auto scoreAll = [&](uint32_t count, const uint32_t* list, uint32_t* out) {
        ilmvScoreList(score, src, width, barrier, count, list, out, stride);
    };
    if (!nms) {
        ilmvFastDetect(scan, arc, src, width, height, stride, barrier, border, xy, nMax, n, bitMask, maskWidth,
                       maskHeight);
        scoreAll(*n, xy, scores);
        return;
    }
    if (!tempBuf) ilmvHardStop(path, line, "tempBuf");
    uint32_t* rawXy = tempBuf;
    uint32_t* rawScores = tempBuf + 2 * size_t(nMax);
    int32_t* rowStart = reinterpret_cast<int32_t*>(tempBuf + 3 * size_t(nMax));
    uint32_t raw = 0;
    ilmvFastDetect(scan, arc, src, width, height, stride, barrier, border, rawXy, nMax, &raw, bitMask, maskWidth,
                   maskHeight);
    scoreAll(raw, rawXy, rawScores);
    scorers.suppress(rawXy, rawScores, rowStart, raw, width, barrier, xy, scores, n);
}

namespace {

// Binary search for the largest threshold that still passes: lo = barrier, hi = 255.
template <int Arc>
int cornerScore(const uint8_t* p, const int offsets[16], int barrier)
{
    int lo = barrier, hi = 255, t = (lo + hi) / 2;
    for (;;) {
        if (ilmvSegmentTest(p, offsets, t, Arc))
            lo = t;
        else
            hi = t;
        if (lo == hi - 1 || lo == hi) return lo;
        t = (lo + hi) / 2;
    }
}

}  // namespace

void ilmvScoreList(ilmvFastScoreFn score, const uint8_t* src, uint32_t width, int barrier, uint32_t n,
                   const uint32_t* xy, uint32_t* scores, uint32_t stride)
{
    if (!stride) stride = width;
    int offsets[16];
    make_offsets(offsets, static_cast<int>(stride));
    for (uint32_t i = 0; i < n; ++i)
        scores[i] = static_cast<uint32_t>(score(src + size_t(xy[2 * i + 1]) * stride + xy[2 * i], offsets, barrier));
}

extern "C" {
ilmvFastScoreFn fast9_corner_score = cornerScore<9>;
ilmvFastScoreFn fast10_corner_score = cornerScore<10>;
}

namespace {

// The reference scorers go through the replaceable pointers, read at each call.
int score9ThroughPointer(const uint8_t* p, const int offsets[16], int barrier)
{
    return fast9_corner_score(p, offsets, barrier);
}

int score10ThroughPointer(const uint8_t* p, const int offsets[16], int barrier)
{
    return fast10_corner_score(p, offsets, barrier);
}

void suppressC(const uint32_t* corners, const uint32_t* scores, int32_t* rowStart, uint32_t n, uint32_t, int,
               uint32_t* xyOut, uint32_t* scoresOut, uint32_t* nOut)
{
    nms_processing(corners, scores, rowStart, n, xyOut, scoresOut, nOut);
}

}  // namespace

const ILMV_FAST_SCORERS& ilmvFastScorersC()
{
    static const ILMV_FAST_SCORERS scorers = {score9ThroughPointer, score10ThroughPointer, suppressC};
    return scorers;
}

void score_9(const uint8_t* src, uint32_t width, int barrier, uint32_t n, const uint32_t* xy, uint32_t* scores,
             uint32_t stride)
{
    ilmvScoreList(fast9_corner_score, src, width, barrier, n, xy, scores, stride);
}

void score_10(const uint8_t* src, uint32_t width, int barrier, uint32_t n, const uint32_t* xy, uint32_t* scores,
              uint32_t stride)
{
    ilmvScoreList(fast10_corner_score, src, width, barrier, n, xy, scores, stride);
}

void nms_processing(const uint32_t* corners, const uint32_t* scores, int32_t* rowStart, uint32_t n, uint32_t* xyOut,
                    uint32_t* scoresOut, uint32_t* nOut)
{
    *nOut = 0;
    if (n == 0) return;
    auto X = [&](uint32_t i) { return corners[2 * i]; };
    auto Y = [&](uint32_t i) { return corners[2 * i + 1]; };
    const uint32_t lastRow = Y(n - 1);
    for (uint32_t r = 0; r <= lastRow; ++r) rowStart[r] = -1;
    for (uint32_t i = 0; i < n; ++i)
        if (i == 0 || Y(i) != Y(i - 1)) rowStart[Y(i)] = static_cast<int32_t>(i);

    uint32_t above = 0, below = 0;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t x = X(i), y = Y(i), s = scores[i];
        // Greater-or-equal: equal neighbours suppress each other.
        auto beats = [&](uint32_t j) { return scores[j] >= s; };
        bool suppressed = (i > 0 && Y(i - 1) == y && X(i - 1) + 1 == x && beats(i - 1)) ||
                          (i + 1 < n && Y(i + 1) == y && X(i + 1) == x + 1 && beats(i + 1));
        if (!suppressed && y > 0 && rowStart[y - 1] != -1) {
            if (Y(above) < y - 1) above = static_cast<uint32_t>(rowStart[y - 1]);
            while (Y(above) < y && X(above) + 1 < x) ++above;
            for (uint32_t j = above; j < n && Y(j) < y && X(j) <= x + 1 && !suppressed; ++j)
                suppressed = X(j) + 1 >= x && beats(j);
        }
        if (!suppressed && y != lastRow && rowStart[y + 1] != -1 && below < n) {
            if (Y(below) < y + 1) below = static_cast<uint32_t>(rowStart[y + 1]);
            while (below < n && Y(below) == y + 1 && X(below) + 1 < x) ++below;
            for (uint32_t j = below; j < n && Y(j) == y + 1 && X(j) <= x + 1 && !suppressed; ++j)
                suppressed = X(j) + 1 >= x && beats(j);
        }
        if (suppressed) continue;
        xyOut[2 * *nOut] = x;
        xyOut[2 * *nOut + 1] = y;
        scoresOut[*nOut] = s;
        ++*nOut;
    }
}
