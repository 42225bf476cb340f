// Thresholds, point operations, gradients and edges: the row kernels of each form and the
// operation bodies both forms share. Row kernels of windows follow the filter frame's
// convention (cpu/lumivaFilterFrame.h): rows[k] is window row k, and output x reads columns
// x .. x + 2 of each row. The SIMD table keeps the reference kernels it does not replace.
#ifndef LUMIVA_EDGE_ROWS_H
#define LUMIVA_EDGE_ROWS_H

#include "cpu/lumivaFilter.h"
#include "lumiva/lumivaTypes.h"

#include <cstddef>
#include <cstdint>

enum class ilmvGradientKind { kCentral, kSobel, kScharr };

// Receives one row of means.
using ilmvMeanRowFn = void (*)(void* context, uint32_t y, const uint8_t* means);

struct ilmvEdgeRows {
    // The filter kernels of the same form (box means and Gaussians for the adaptive
    // thresholds, correlations for the larger Sobel apertures).
    const ilmvFilterRows& (*filter)();
    // dst = src > threshold ? hit : miss.
    void (*thresholdu8)(const uint8_t* src, size_t n, uint8_t threshold, uint8_t hit, uint8_t miss, uint8_t* dst);
    // dst = low <= src <= high ? hit : miss.
    void (*rangeu8)(const uint8_t* src, size_t n, uint8_t low, uint8_t high, uint8_t hit, uint8_t miss,
                    uint8_t* dst);
    void (*lookupu8)(const uint8_t* src, size_t n, const uint8_t* lut, uint8_t* dst);
    // dst = src << shift (shift at most 7).
    void (*widenu8s16)(const uint8_t* src, size_t n, uint32_t shift, int16_t* dst);
    // v = src >> shift (arithmetic), then clamped to 0..255 or its low byte kept.
    void (*narrows16u8)(const int16_t* src, size_t n, uint32_t shift, bool saturate, uint8_t* dst);
    // dst = (data * table[edge]) >> 8, arithmetic.
    void (*weights16)(const int16_t* data, const uint8_t* edge, const uint8_t* table, size_t n, int16_t* dst);
    // The k x k box means (k = 3, 5 or 11), (sum + k*k/2) / (k*k) with the edge pixels repeated,
    // handed to row() one image row at a time, top to bottom.
    void (*boxMeansu8)(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint32_t k, ilmvMeanRowFn row,
                       void* context);
    // dst = (src > mean - C) != inverse ? hit : 0.
    void (*adaptiveu8)(const uint8_t* src, const uint8_t* mean, size_t n, int32_t C, bool inverse, uint8_t hit,
                       uint8_t* dst);
    // The 3x3 gradients of u8 rows as s16 components (Sobel and Scharr unnormalised, central
    // differences not halved).
    void (*gradientu8)(ilmvGradientKind kind, const uint8_t* const* rows, size_t n, int16_t* dx, int16_t* dy);
    // The 3x3 Sobel of f32 rows divided by 8: ((a2 - a0) + 2 (b2 - b0) + (c2 - c0)) * 0.125.
    void (*sobelf32)(const float32_t* const* rows, size_t n, float32_t* dx, float32_t* dy);
    // min(255, (|dx| + |dy|) >> 3) of the 3x3 Sobel.
    void (*strengthu8)(const uint8_t* const* rows, size_t n, uint8_t* dst);
    // Component rows in the output layouts: interleaved s16, f32 times scale (planar or
    // interleaved), s8 as the value >> 3.
    void (*interleaves16)(const int16_t* dx, const int16_t* dy, size_t n, int16_t* dst);
    void (*tof32)(const int16_t* src, size_t n, float32_t scale, float32_t* dst);
    void (*interleavef32)(const int16_t* dx, const int16_t* dy, size_t n, float32_t scale, float32_t* dst);
    void (*tos8)(const int16_t* src, size_t n, int8_t* dst);
    // round(sqrt(dx^2 + dy^2)) saturated to 32767; the direction in 256 steps per turn.
    void (*magnitudes16)(const int16_t* dx, const int16_t* dy, size_t n, int16_t* dst);
    void (*phases16)(const int16_t* dx, const int16_t* dy, size_t n, uint8_t* dst);
    // Canny's magnitudes: |dx| + |dy| or dx^2 + dy^2.
    void (*normL1)(const int16_t* dx, const int16_t* dy, size_t n, uint32_t* mag);
    void (*normL2)(const int16_t* dx, const int16_t* dy, size_t n, uint32_t* mag);
    // Canny's non-maximum suppression of one row: prev, cur and next are the magnitudes of the
    // rows above, at and below, readable one column beyond each end (0 outside the image).
    // map[x] = 1 unless cur[x] >= lowPlus and cur[x] beats the neighbour before it and is at
    // least the one after it across (gx, gy); then 2 when cur[x] >= highPlus, else 0. The
    // gradients are the library's Sobels: below 24481 in magnitude.
    void (*suppressRow)(const uint32_t* prev, const uint32_t* cur, const uint32_t* next, const int16_t* gx,
                        const int16_t* gy, size_t n, uint32_t lowPlus, uint32_t highPlus, uint8_t* map);
};

const ilmvEdgeRows& ilmvEdgeRowsC();
const ilmvEdgeRows& ilmvEdgeRowsV();

// One pixel's rounded magnitude, round(sqrt(dx^2 + dy^2)) saturated to 32767 (the Hough
// circles take their unit directions from it).
int16_t ilmvMagnitudePixel(int32_t dx, int32_t dy);

// ---- Operation bodies (lumivaEdgeOps.cpp, lumivaCannyC.cpp) ----------------------------------

LMV_STATUS ilmvThreshold(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                         uint8_t* dst, uint32_t dstStride, uint8_t threshold, uint8_t hit, uint8_t miss);
LMV_STATUS ilmvThresholdRange(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h,
                              uint32_t srcStride, uint8_t* dst, uint32_t dstStride, uint8_t low, uint8_t high,
                              uint8_t hit, uint8_t miss);
void ilmvThresholdOtsu(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                       uint8_t* dst, uint32_t dstStride, uint8_t* threshold);
void ilmvAdaptiveThreshold(const ilmvEdgeRows& rows, bool mean, uint32_t k, const uint8_t* src, uint32_t w,
                           uint32_t h, uint32_t srcStride, uint8_t maxValue, uint32_t thresholdType, int32_t C,
                           uint8_t* dst, uint32_t dstStride);
LMV_STATUS ilmvTableLookup(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                           const uint8_t* lut, uint8_t* dst, uint32_t dstStride);
LMV_STATUS ilmvConvertDepthu8s16(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h,
                                 uint32_t srcStride, uint32_t shift, int16_t* dst, uint32_t dstStride);
LMV_STATUS ilmvConvertDepths16u8(const ilmvEdgeRows& rows, const int16_t* src, uint32_t w, uint32_t h,
                                 uint32_t srcStride, uint32_t shift, LMV_OVERFLOW_POLICY policy, uint8_t* dst,
                                 uint32_t dstStride);
LMV_STATUS ilmvEdgeWeighting(const ilmvEdgeRows& rows, const int16_t* data, uint32_t w, uint32_t h,
                             uint32_t srcStride, const uint8_t* edge, uint32_t edgeStride, const uint8_t* table,
                             int16_t* dst, uint32_t dstStride);

void ilmvSobelStrength(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                       uint8_t* dst, uint32_t dstStride);
// The k x k Sobel (k = 3, 5, 7) into s16 planes under a border type.
LMV_STATUS ilmvSobel(const ilmvEdgeRows& rows, uint32_t k, const uint8_t* src, uint32_t w, uint32_t h,
                     uint32_t srcStride, int16_t* dx, int16_t* dy, uint32_t dstStride, LMV_BORDER_TYPE border,
                     uint8_t value);
// A 3x3 gradient image: planar into a and b, or interleaved into a when b is null. With
// zeroFrame the interior is computed and the one-pixel frame written as 0; otherwise the
// border type rules. Defined for u8 sources into s16, f32 and s8, and f32 sources into f32.
template <class In, class Out>
LMV_STATUS ilmvGradient(const ilmvEdgeRows& rows, ilmvGradientKind kind, const In* src, uint32_t w, uint32_t h,
                        uint32_t srcStride, Out* a, Out* b, uint32_t dstStride, bool zeroFrame,
                        LMV_BORDER_TYPE border, uint8_t value);
template <class Out>
int32_t ilmvGradientPyramid(const ilmvEdgeRows& rows, const lmvPyramidLevel* img, const lmvPyramidLevel* dx,
                            const lmvPyramidLevel* dy, uint32_t numLevels);
LMV_STATUS ilmvMagnitude(const ilmvEdgeRows& rows, const int16_t* dx, uint32_t w, uint32_t h, uint32_t dxStride,
                         const int16_t* dy, uint32_t dyStride, int16_t* dst, uint32_t dstStride);
LMV_STATUS ilmvPhase(const ilmvEdgeRows& rows, const int16_t* dx, uint32_t w, uint32_t h, uint32_t dxStride,
                     const int16_t* dy, uint32_t dyStride, uint8_t* dst, uint32_t dstStride);

// Canny with a Sobel of kernelSize; gx and gy (null: internal) receive the gradients.
LMV_STATUS ilmvCanny(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                     uint8_t* dst, uint32_t dstStride, int32_t low, int32_t high, uint32_t kernelSize,
                     LMV_NORM_TYPE norm, int16_t* gx, int16_t* gy, uint32_t gradStride);
void ilmvDetectEdgePixels(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                          uint32_t threshold, uint32_t* xy, uint32_t capacity, uint32_t* count);

// ---- Hough transforms and line segments (lumivaHoughC.cpp, lumivaLineSegmentsC.cpp) ---------

// The Hough transforms vote on the CPU unless a voter is given: a function that fills the
// job's votes and peaks on another unit (the GPU engines) and returns 0, or a code with which
// the whole call gives up.
struct ilmvLineVotes {
    const uint8_t* src;
    uint32_t w, h, srcStride;
    uint32_t numAngle, numRho;  // the accumulator: numAngle + 2 rows of numRho + 2 cells, a one-cell frame
    uint32_t threshold;
    const float32_t* sinTab;    // sin(theta) / rhoStep per angle, f32
    const float32_t* cosTab;
    uint32_t* votes;            // zeroed by the caller
    uint8_t* peaks;             // 1 where a cell is a line
};
using ilmvLineVoter = int (*)(ilmvLineVotes* job);

struct ilmvCircleVotes {
    uint32_t count;            // edge pixels
    const uint32_t* xy;        // their positions
    const int32_t* dir;        // their unit gradient directions in 16-bit fixed point
    uint32_t aw, ah;           // the accumulator's cells
    int64_t cell;              // a cell's size in 16-bit fixed point
    uint32_t minRadius, maxRadius, threshold;
    uint32_t* votes;           // zeroed by the caller
    uint8_t* peaks;            // 1 where a cell is a centre
};
using ilmvCircleVoter = int (*)(ilmvCircleVotes* job);

// Both return 0, or the voter's code (nothing written then).
int ilmvHoughLines(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, float32_t rhoStep,
                   float32_t thetaStep, uint32_t threshold, float32_t* lines, uint32_t maxLines, uint32_t* numLines,
                   ilmvLineVoter voter);
int ilmvHoughCircles(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, float32_t dp, float32_t minDist,
                     uint32_t cannyThresh, uint32_t accThresh, uint32_t minRadius, uint32_t maxRadius,
                     float32_t* circles, uint32_t maxCircles, uint32_t* numCircles, ilmvCircleVoter voter);

LMV_STATUS ilmvDetectLineSegments(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, float32_t minLength,
                                  float32_t* segments, uint32_t maxSegments, uint32_t* numSegments);

#endif
