// FAST corner detection: the segment test, the scans, scores and non-maximum suppression.
// The detection and score forms of both arcs run through one engine; the reference and
// SIMD forms differ only in the scan they hand it.
#ifndef LUMIVA_FAST_ENGINE_H
#define LUMIVA_FAST_ENGINE_H

#include <cstddef>
#include <cstdint>

// How image coordinates map onto the exclusion mask: mask = image << shift, or >> shift.
struct ILMV_FAST_MASK {
    const uint8_t* bits;
    size_t rowBytes;  // ceil(maskWidth / 8), rows packed back to back
    int shift;
    bool up;          // the mask is larger than the image
};

// Scans rows border .. height-border-1 in raster order, appending corners of arc `arc` to
// xy and counting them in *n; stops once *n reaches nMax (after writing at least one).
using ilmvFastScanFn = void (*)(const uint8_t* src, uint32_t width, uint32_t height, uint32_t stride, int barrier,
                                uint32_t border, int arc, const ILMV_FAST_MASK* mask, uint32_t* xy, uint32_t nMax,
                                uint32_t* n);

void ilmvFastScanC(const uint8_t* src, uint32_t width, uint32_t height, uint32_t stride, int barrier, uint32_t border,
                   int arc, const ILMV_FAST_MASK* mask, uint32_t* xy, uint32_t nMax, uint32_t* n);
void ilmvFastScanV(const uint8_t* src, uint32_t width, uint32_t height, uint32_t stride, int barrier, uint32_t border,
                   int arc, const ILMV_FAST_MASK* mask, uint32_t* xy, uint32_t nMax, uint32_t* n);

void ilmvFastDetect(ilmvFastScanFn scan, int arc, const uint8_t* src, uint32_t width, uint32_t height,
                    uint32_t stride, int barrier, uint32_t border, uint32_t* xy, uint32_t nMax, uint32_t* n,
                    const uint8_t* bitMask, uint32_t maskWidth, uint32_t maskHeight);
// With nms non-zero, tempBuf must hold 3*nMax + height words; a null one stops the process,
// reported as `path`@`line`.
// Scores: the largest threshold at which the pixel still passes, by binary search from barrier.
using ilmvFastScoreFn = int (*)(const uint8_t* p, const int offsets[16], int barrier);

// Non-maximum suppression of a raster-ordered corner list with scores, as nms_processing,
// told the image width and the threshold the scores start from.
using ilmvFastSuppressFn = void (*)(const uint32_t* corners, const uint32_t* scores, int32_t* rowStart, uint32_t n,
                                    uint32_t width, int barrier, uint32_t* xyOut, uint32_t* scoresOut,
                                    uint32_t* nOut);

// The score routines of one form, arc 9 and arc 10, and its suppression.
struct ILMV_FAST_SCORERS {
    ilmvFastScoreFn arc9, arc10;
    ilmvFastSuppressFn suppress;
};

void ilmvFastScore(ilmvFastScanFn scan, const ILMV_FAST_SCORERS& scorers, int arc, const uint8_t* src,
                   uint32_t width, uint32_t height, uint32_t stride, int barrier, uint32_t border, uint32_t* xy,
                   uint32_t* scores, uint32_t nMax, uint32_t* n, const uint8_t* bitMask, uint32_t maskWidth,
                   uint32_t maskHeight, uint32_t nms, uint32_t* tempBuf, const char* path, int line);

// The reference scorers (the replaceable pointers below) and the SIMD form's.
const ILMV_FAST_SCORERS& ilmvFastScorersC();
const ILMV_FAST_SCORERS& ilmvFastScorersV();

// The circle of 16 byte offsets around a pixel, from directly below it round through the
// right side, the top and the left.
void make_offsets(int offsets[16], int stride);

// True when `arc` cyclically consecutive circle pixels are all brighter than c + b or all
// darker than c - b (strict, in signed arithmetic).
bool ilmvSegmentTest(const uint8_t* p, const int offsets[16], int barrier, int arc);

// Whether any pixel lies inside the border: nothing is scanned when height - border <= border
// (and, for a direct call that skipped the entry's rule, when the width leaves no column).
inline bool ilmvFastScanArea(uint32_t width, uint32_t height, uint32_t border)
{
    return int64_t(height) - border > int64_t(border) && int64_t(width) - border > int64_t(border);
}

// Whether mask pixel (x, y) of the image excludes it.
inline bool ilmvMasked(const ILMV_FAST_MASK& m, uint32_t x, uint32_t y)
{
    const uint32_t mx = m.up ? x << m.shift : x >> m.shift, my = m.up ? y << m.shift : y >> m.shift;
    return (m.bits[my * m.rowBytes + (mx >> 3)] & (0x80u >> (mx & 7))) != 0;
}

extern "C" {
extern ilmvFastScoreFn fast9_corner_score;
extern ilmvFastScoreFn fast10_corner_score;
}
void score_9(const uint8_t* src, uint32_t width, int barrier, uint32_t n, const uint32_t* xy, uint32_t* scores,
             uint32_t stride);
void score_10(const uint8_t* src, uint32_t width, int barrier, uint32_t n, const uint32_t* xy, uint32_t* scores,
              uint32_t stride);
// The same over any score routine.
void ilmvScoreList(ilmvFastScoreFn score, const uint8_t* src, uint32_t width, int barrier, uint32_t n,
                   const uint32_t* xy, uint32_t* scores, uint32_t stride);

void nms_processing(const uint32_t* corners, const uint32_t* scores, int32_t* rowStart, uint32_t n, uint32_t* xyOut,
                    uint32_t* scoresOut, uint32_t* nOut);

#endif
