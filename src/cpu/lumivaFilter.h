// Neighbourhood filters: the 3x3 Gaussian's frame, and the row kernels and operation bodies
// of every other filter of the family. Row kernels follow the frame's convention
// (cpu/lumivaFilterFrame.h): rows[k] is window row k, and output x reads columns x .. x + kw - 1.
// Each form has a table of them; the SIMD table keeps the reference kernels it does not
// replace, so both forms run the same operation bodies.
#ifndef LUMIVA_FILTER_ENGINE_H
#define LUMIVA_FILTER_ENGINE_H

#include "lumiva/lumivaTypes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

// Interior of one row: d(x) = (c(x-1) + 2c(x) + c(x+1)) >> 4 for x = 1 .. width-2, with
// c(x) = above(x) + 2 row(x) + below(x).
using ilmvGaussianRowFn = void (*)(const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t width,
                                   uint8_t* dst);

void ilmvGaussianRowC(const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t width, uint8_t* dst);
void ilmvGaussianRowV(const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t width, uint8_t* dst);

void ilmvGaussian3x3Frame(ilmvGaussianRowFn row, const uint8_t* src, uint32_t width, uint32_t height,
                          uint32_t srcStride, uint8_t* dst, uint32_t dstStride, int32_t blurBorder);

// An exact sum saturated to the destination's type.
template <class T>
inline T ilmvSaturate(int64_t v)
{
    return static_cast<T>(std::min<int64_t>(std::max<int64_t>(v, std::numeric_limits<T>::min()),
                                            std::numeric_limits<T>::max()));
}

// The binomial taps of the 3x3 and 5x5 Gaussians.
inline constexpr int32_t ilmvBinomial3[3] = {1, 2, 1};
inline constexpr int32_t ilmvBinomial5[5] = {1, 4, 6, 4, 1};

// Separable taps as the kernels take them: kw horizontal, kh vertical, and the rounding:
// out = saturate((sum + bias) >> shift), the shift arithmetic.
struct ilmvSepTaps {
    const int32_t* kx;
    uint32_t kw;
    const int32_t* ky;
    uint32_t kh;
    int64_t bias;
    uint32_t shift;
};

// Integer weight tables of a k x k bilateral filter: spatial[dy * k + dx] and range[|d|],
// each round(256 exp(-t^2 / (2 sigma^2))), so a tap weighs spatial x range (at most 2^16).
struct ilmvBilateralTables {
    uint32_t spatial[81];
    uint32_t range[256];
};

// Scratch a row kernel may use: at least n + kw - 1 64-bit values.
struct ilmvFilterRows {
    // [1 4 6 4 1] in both directions, (sum + 128) >> 8.
    void (*gauss5u8)(const uint8_t* const* rows, size_t n, uint8_t* dst);
    // k x k mean for k = 3, 5 or 11: (sum + k*k/2) / (k*k).
    void (*boxu8)(const uint8_t* const* rows, uint32_t k, size_t n, uint8_t* dst);
    // The maximum (or minimum) of the kw x kh window.
    void (*extremeu8)(const uint8_t* const* rows, uint32_t kw, uint32_t kh, bool maximum, size_t n, uint8_t* dst,
                      int64_t* scratch);
    // A whole image's k x k extreme (k odd, at most 255) under the frame's edge rule.
    void (*extremeImageu8)(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                           uint32_t k, bool maximum, int edge, uint8_t value, uint8_t* dst, uint32_t dstStride);
    // The median of the 3x3 window.
    void (*median3u8)(const uint8_t* const* rows, size_t n, uint8_t* dst);
    // Separable taps on u8 and on s16 data, each saturated to its own type.
    void (*sepu8)(const uint8_t* const* rows, const ilmvSepTaps& taps, size_t n, uint8_t* dst, int64_t* scratch);
    void (*seps16)(const int16_t* const* rows, const ilmvSepTaps& taps, size_t n, int16_t* dst, int64_t* scratch);
    // kw x kh taps (row by row) on u8 data: out = saturate((sum + bias) >> shift) as u8 or s16.
    void (*corru8)(const uint8_t* const* rows, const int32_t* taps, uint32_t kw, uint32_t kh, int64_t bias,
                   uint32_t shift, size_t n, uint8_t* dst);
    void (*corru8s16)(const uint8_t* const* rows, const int32_t* taps, uint32_t kw, uint32_t kh, int64_t bias,
                      uint32_t shift, size_t n, int16_t* dst);
    // kw x kh integer taps on s16 data, saturated to s16.
    void (*corrs16)(const int16_t* const* rows, const int32_t* taps, uint32_t kw, uint32_t kh, int64_t bias,
                    uint32_t shift, size_t n, int16_t* dst);
    // The k x k bilateral filter with the given tables: (sum of weight x pixel + total / 2) / total.
    void (*bilateralu8)(const uint8_t* const* rows, uint32_t k, const ilmvBilateralTables& tables, size_t n,
                        uint8_t* dst);
    // kw x kh f32 taps on u8 data; per output the products are added row by row, left to right.
    void (*corru8f32)(const uint8_t* const* rows, const float32_t* taps, uint32_t kw, uint32_t kh, size_t n,
                      float32_t* dst);
};

const ilmvFilterRows& ilmvFilterRowsC();
// The reference kernels for any element types: exact 64-bit sums, then the rounding and
// saturation. Defined for u8 -> u8, s16 -> s16 and s32 -> s32 (separable) and u8 -> u8,
// u8 -> s16 and s16 -> s16 (kw x kh taps).
template <class In, class Out>
void ilmvSeparableRowC(const In* const* rows, const ilmvSepTaps& taps, size_t n, Out* dst, int64_t* columns);
template <class In, class Out>
void ilmvCorrelationRowC(const In* const* rows, const int32_t* taps, uint32_t kw, uint32_t kh, int64_t bias,
                         uint32_t shift, size_t n, Out* dst);
void ilmvExtremeImageByRows(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                            uint32_t k, bool maximum, int edge, uint8_t value, uint8_t* dst, uint32_t dstStride);
const ilmvFilterRows& ilmvFilterRowsV();

// The rounding right shift of the correlation family: (v + 2^(shift-1)) >> shift, v for 0.
inline int64_t ilmvRoundingBias(uint32_t shift)
{
    return shift ? int64_t(1) << (shift - 1) : 0;
}

// ---- Operation bodies, shared by both forms (lumivaFilterOps.cpp) --------------------------

void ilmvGaussian5x5u8(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint8_t* dst,
                       uint32_t dstStride, int32_t blurBorder);
void ilmvGaussian5x5s16(const ilmvFilterRows& rows, const int16_t* src, uint32_t w, uint32_t h, uint32_t srcStride, int16_t* dst,
                        uint32_t dstStride, int32_t blurBorder);
void ilmvGaussian5x5s32(const ilmvFilterRows& rows, const int32_t* src, uint32_t w, uint32_t h, uint32_t srcStride, int32_t* dst,
                        uint32_t dstStride, int32_t blurBorder);
void ilmvGaussian11x11u8(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint8_t* dst,
                         uint32_t dstStride);
LMV_STATUS ilmvGaussian3x3Bordered(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                                   uint8_t* dst, uint32_t dstStride, LMV_BORDER_TYPE border, uint8_t value);
LMV_STATUS ilmvBox(const ilmvFilterRows& rows, uint32_t k, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint8_t* dst,
                   uint32_t dstStride, LMV_BORDER_TYPE border, uint8_t value);
LMV_STATUS ilmvMorphology(const ilmvFilterRows& rows, bool dilate, uint32_t k, const uint8_t* src, uint32_t w, uint32_t h,
                          uint32_t srcStride, uint8_t* dst, uint32_t dstStride, LMV_BORDER_TYPE border, uint8_t value);
// borderCopied: the frame copies the source (the first generation's rule) instead of a border type.
LMV_STATUS ilmvMedian3x3(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint8_t* dst,
                         uint32_t dstStride, bool borderCopied, LMV_BORDER_TYPE border, uint8_t value);
LMV_STATUS ilmvMedianMxNs16(const int16_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint32_t M, uint32_t N,
                            int16_t* dst, uint32_t dstStride, LMV_BORDER_TYPE border, uint8_t value);
// Separable s16 correlation (flip: convolution) over the interior.
void ilmvSeparables16(const ilmvFilterRows& rows, const int16_t* src, uint32_t w, uint32_t h, uint32_t srcStride, const int16_t* kx,
                      uint32_t M, const int16_t* ky, uint32_t N, uint32_t shift, bool flip, int16_t* dst,
                      uint32_t dstStride);
void ilmvSeparableu8(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, const int16_t* kx,
                     uint32_t M, const int16_t* ky, uint32_t N, uint32_t shift, uint8_t* dst, uint32_t dstStride);
// kw x kh correlation of u8 data with integer taps (flip: convolution), rounding (or, with
// floorShift, truncating) shift, saturation to the destination's type.
template <class Tap, class Out>
LMV_STATUS ilmvCorrelateu8(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, const Tap* taps,
                           uint32_t kw, uint32_t kh, uint32_t shift, bool floorShift, bool flip, Out* dst,
                           uint32_t dstStride, LMV_BORDER_TYPE border, uint8_t value);
void ilmvCorrelateu8f32(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                        const float32_t* taps, uint32_t N, float32_t* dst, uint32_t dstStride);
void ilmvConvValids16(const ilmvFilterRows& rows, const int16_t* src, uint32_t w, uint32_t h, uint32_t srcStride, const int16_t* kernel,
                      uint32_t kw, uint32_t kh, uint32_t shift, int16_t* dst, uint32_t dstStride);
LMV_STATUS ilmvBilateral(const ilmvFilterRows& rows, uint32_t k, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint8_t* dst,
                         uint32_t dstStride, float32_t sigmaColor, float32_t sigmaSpace, LMV_BORDER_TYPE border,
                         uint8_t value);
LMV_STATUS ilmvBilateralRecursive(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint8_t* dst,
                                  uint32_t dstStride, float32_t sigmaColor, float32_t sigmaSpace);
LMV_STATUS ilmvNormalizeLocalBoxf32(const float32_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint32_t pw,
                                    uint32_t ph, uint32_t useStdDev, float32_t* dst, uint32_t dstStride);
LMV_STATUS ilmvNormalizeLocalBoxu8(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint32_t pw,
                                   uint32_t ph, uint32_t useStdDev, int8_t* dst, uint32_t dstStride);

// The fixed sigmas of the first-generation bilateral filters of size k.
constexpr float32_t ilmvBilateralSigmaColor = 50.0f;
inline float32_t ilmvBilateralSigmaSpace(uint32_t k)
{
    return float32_t(k) / 2.0f;
}

void ilmvBilateralWeights(uint32_t k, float32_t sigmaColor, float32_t sigmaSpace, ilmvBilateralTables* tables);

#endif
