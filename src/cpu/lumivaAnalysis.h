// Image analysis: integral images (plain, squared, 64-bit squared, tilted, patches, streaming
// rows), histograms, intensity statistics, minimum and maximum with their locations, raw
// moments and the bounding rectangle of a point list. Each operation is one frame shared by
// both forms; the forms differ only in their row kernels.
#ifndef LUMIVA_ANALYSIS_ENGINE_H
#define LUMIVA_ANALYSIS_ENGINE_H

#include "lumiva/lumivaTypes.h"

#include <cstddef>
#include <cstdint>

// Columns a moment chunk spans: with i < 64, every chunk sum of i^k p (k <= 3, p a byte)
// fits 32 bits.
constexpr size_t ILMV_MOMENT_CHUNK = 64;

struct ilmvAnalysisRows {
    // One integral row: out[0] = 0 and out[x + 1] = prev[x + 1] + src[0] + ... + src[x],
    // modulo 2^32. prev may be null for the first row (all zero).
    void (*integrate)(const uint8_t* src, size_t n, const uint32_t* prev, uint32_t* out);
    // The same for the squares, in 32 and in 64 bits.
    void (*integrateSquares)(const uint8_t* src, size_t n, const uint32_t* prev, uint32_t* out);
    void (*integrateSquares64)(const uint8_t* src, size_t n, const uint64_t* prev, uint64_t* out);
    // One tilted row over extended columns: out[i] = a[i - 1] + a[i + 1] - b[i] + p[i - 1] +
    // q[i - 1] for 1 <= i < n - 1, modulo 2^32.
    void (*tiltedRow)(const uint32_t* a, const uint32_t* b, const uint32_t* p, const uint32_t* q, size_t n,
                      uint32_t* out);
    // Adds the byte counts of `rows` rows of n bytes, `stride` apart, to hist[256].
    void (*histogram)(const uint8_t* src, size_t n, size_t rows, size_t stride, uint32_t* hist);
    // Adds the row's sum and sum of squares.
    void (*sums)(const uint8_t* src, size_t n, uint64_t* sum, uint64_t* squares);
    // dst[i] = lut[src[i]].
    void (*lookup)(const uint8_t* src, size_t n, const uint8_t* lut, uint8_t* dst);
    // The row's minimum and maximum (n >= 1).
    void (*minMaxU8)(const uint8_t* src, size_t n, uint8_t* lo, uint8_t* hi);
    void (*minMaxS16)(const int16_t* src, size_t n, int16_t* lo, int16_t* hi);
    void (*minMaxU16)(const uint16_t* src, size_t n, uint16_t* lo, uint16_t* hi);
    void (*minMaxS32)(const int32_t* src, size_t n, int32_t* lo, int32_t* hi);
    void (*minMaxU32)(const uint32_t* src, size_t n, uint32_t* lo, uint32_t* hi);
    // f32 by order keys (ilmvFloatKey), NaN skipped; false for a row of NaN only.
    bool (*minMaxF32)(const float32_t* src, size_t n, int32_t* lo, int32_t* hi);
    // The four sums of i^k p, k = 0..3, over a chunk of at most ILMV_MOMENT_CHUNK bytes (i
    // from 0 within the chunk).
    void (*momentChunkU8)(const uint8_t* src, size_t n, uint32_t sums[4]);
};
const ilmvAnalysisRows& ilmvAnalysisRowsC();
// The order key of a float: increasing with the value, -0 just below +0.
int32_t ilmvFloatKey(float32_t v);
const ilmvAnalysisRows& ilmvAnalysisRowsV();

// ---- Integral images --------------------------------------------------------------------------
// (w + 1) x (h + 1) integrals with a zero first row and column; either output may be null.
void ilmvIntegrate(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                   uint32_t* sum, uint32_t sumStride, uint32_t* squares, uint32_t squaresStride);
void ilmvIntegrateSquares64(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h,
                            uint32_t srcStride, uint64_t* dst, uint32_t dstStride);
void ilmvIntegrateLine(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, const uint32_t* prevSum,
                       const uint32_t* prevSqSum, uint32_t* sum, uint32_t* sqSum);
void ilmvIntegrateYCbCr420(const ilmvAnalysisRows& rows, const uint8_t* srcY, const uint8_t* srcC, uint32_t w,
                           uint32_t h, uint32_t yStride, uint32_t cStride, uint32_t* dstY, uint32_t* dstCb,
                           uint32_t* dstCr, uint32_t yDstStride, uint32_t cbStride, uint32_t crStride);
// The patch (x, y, pw, ph) sampled to sw x sh by nearest (sw = pw, sh = ph: the patch itself),
// integrated into (sw + 1) x (sh + 1) sums and squares rows `stride` bytes apart. Status 3 for a
// patch outside the image or an empty size.
LMV_STATUS ilmvIntegratePatch(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h,
                              uint32_t srcStride, int32_t x, int32_t y, uint32_t pw, uint32_t ph, uint32_t sw,
                              uint32_t sh, uint32_t* sum, uint32_t* squares, uint32_t stride);
void ilmvTiltedIntegral(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                        int32_t* dst, uint32_t dstStride);

// ---- Histograms and statistics ----------------------------------------------------------------
void ilmvHistogram(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t stride,
                   uint32_t* hist);
void ilmvEqualize(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                  uint8_t* dst, uint32_t dstStride);
// The equalisation table of a histogram of `total` pixels.
void ilmvEqualizeTable(const uint32_t* hist, uint64_t total, uint8_t* lut);
LMV_STATUS ilmvSpatialHistogram(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h,
                                uint32_t stride, uint32_t cellsX, uint32_t cellsY, uint32_t bins, uint32_t normalize,
                                float32_t* out);
// Mean and variance of a rectangle (varianceType 0: population, 1: sample); status 3 for a
// rectangle outside the image or another type.
LMV_STATUS ilmvIntensityStats(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h,
                              uint32_t stride, uint32_t x0, uint32_t y0, uint32_t rw, uint32_t rh,
                              uint32_t varianceType, float32_t* mean, float32_t* variance);
// The mean and variance of n samples from their sums.
void ilmvStatsFromSums(uint64_t sum, uint64_t squares, uint64_t n, uint32_t varianceType, float32_t* mean,
                       float32_t* variance);

// ---- Minimum and maximum ----------------------------------------------------------------------
template <class T>
void ilmvMinMaxLoc(const ilmvAnalysisRows& rows, const T* src, uint32_t w, uint32_t h, uint32_t stride, T* minVal,
                   T* maxVal, uint32_t* minX, uint32_t* minY, uint32_t* maxX, uint32_t* maxY);
template <class T>
LMV_STATUS ilmvMinMaxLocList(const ilmvAnalysisRows& rows, const T* src, uint32_t w, uint32_t h, uint32_t stride,
                             T* minVal, T* maxVal, uint32_t* minList, uint32_t minCapacity, uint32_t* minCount,
                             uint32_t* maxList, uint32_t maxCapacity, uint32_t* maxCount);

// ---- Moments and points -----------------------------------------------------------------------
// m00, m10, m01, m20, m11, m02, m30, m21, m12, m03.
template <class T>
void ilmvMoments(const ilmvAnalysisRows& rows, const T* src, uint32_t w, uint32_t h, uint32_t stride,
                 float32_t* moments);
void ilmvBoundingRectangle(const uint32_t* xy, uint32_t n, uint32_t* x0, uint32_t* y0, uint32_t* x1, uint32_t* y1);

#endif
