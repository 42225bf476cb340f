// The colour family's row kernels and the frame functions that walk images over them.
// One frame function serves both forms of an operation: the reference form hands it the
// reference row kernels, the SIMD form the NEON ones, so the two differ only in rows.
#ifndef LUMIVA_COLOR_ROWS_H
#define LUMIVA_COLOR_ROWS_H

#include "cpu/lumivaColorOps.h"

#include <cstddef>
#include <cstdint>

using ilmvRgbFormat = ilmv::RgbFormat;

// Row kernels; `n` counts pixels (or output samples for the chroma resamplers).
struct ILMV_COLOR_ROWS {
    // Y of every pixel, and chroma unless cb is null: of every pixel, or with `half` of the
    // even columns only; chroma sample k goes to cb[k*step] and cr[k*step].
    void (*rgbToYcc)(ilmvRgbFormat format, const uint8_t* src, size_t n, uint8_t* y, uint8_t* cb, uint8_t* cr,
                     size_t step, bool half);
    // RGB from Y and chroma; with `half` each chroma sample serves two pixels.
    void (*yccToRgb)(ilmvRgbFormat format, const uint8_t* y, const uint8_t* cb, const uint8_t* cr, size_t step,
                     bool half, size_t n, uint8_t* dst);
    void (*rgbToRgb)(ilmvRgbFormat from, ilmvRgbFormat to, bool swap, const uint8_t* src, size_t n, uint8_t* dst);
    // Chroma resampling: keep even samples (or pairs), or repeat each sample (or pair) twice.
    void (*downsampleHorizontal)(const uint8_t* src, size_t n, uint8_t* dst);
    void (*downsampleHorizontalInterleaved)(const uint8_t* src, size_t n, uint8_t* dst);
    void (*chromaUpHorizontalPlanar)(const uint8_t* src, size_t n, uint8_t* dst);
    void (*chromaUpHorizontal)(const uint8_t* src, size_t n, uint8_t* dst);
    // Planes to interleaved pixels of `count` channels and back.
    void (*interleave)(const uint8_t* const* planes, size_t count, size_t n, uint8_t* dst);
    void (*deinterleave)(const uint8_t* src, size_t count, size_t n, uint8_t* const* planes);
    // Every `stride`-th byte from `offset`: one channel of interleaved pixels.
    void (*extract)(const uint8_t* src, size_t stride, size_t n, uint8_t* dst);
    // Pixel-wise conversions of packed rows.
    void (*grey)(const uint8_t* src, size_t n, uint8_t* dst);
    void (*hsv)(const uint8_t* src, size_t n, uint8_t* dst);
    void (*lab)(const uint8_t* src, size_t n, uint8_t* dst);
    void (*yCrCb)(const uint8_t* src, size_t n, uint8_t* dst);
    void (*swapPairs)(const uint8_t* src, size_t n, uint8_t* dst);
    // Video-range rows from Y and a row of chroma pairs: 10 fractional bits with pairs Cr
    // first into R, G, B, 255; and 8 fractional bits with pairs Cb first into `format`.
    void (*video10)(const uint8_t* y, const uint8_t* pairs, size_t n, uint8_t* rgba);
    void (*video8)(ilmvRgbFormat format, const uint8_t* y, const uint8_t* pairs, size_t n, uint8_t* dst);
    // One row of a unit of 8x8 blocks: `hsub` luma rows of 8 samples side by side, and a
    // chroma row whose samples serve `hsub` pixels each; RGB888 out.
    void (*blocks)(const uint8_t* const* luma, const uint8_t* cb, const uint8_t* cr, int hsub, size_t n, uint8_t* dst);
};

const ILMV_COLOR_ROWS& ilmvColorRowsC();
const ILMV_COLOR_ROWS& ilmvColorRowsV();

// A row kernel that needs pixel pairs stops the process on a width below 2.
void ilmvColorNeedPairs(size_t length);

// Chroma geometry: divisors of width and height, and whether Cb and Cr are interleaved.
struct ILMV_CHROMA_LAYOUT {
    int wdiv;
    int hdiv;
    bool interleaved;
};

// A YCbCr image: Y plane and chroma plane(s) (c1 unused when interleaved).
struct ILMV_YCC_IMAGE {
    uint8_t* y;
    uint8_t* c0;
    uint8_t* c1;
    uint32_t yStride, c0Stride, c1Stride;
};

void ilmvRgbToYccFrame(const ILMV_COLOR_ROWS& rows, ilmvRgbFormat format, ILMV_CHROMA_LAYOUT layout,
                       const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride, ILMV_YCC_IMAGE dst);
void ilmvYccToRgbFrame(const ILMV_COLOR_ROWS& rows, ilmvRgbFormat format, ILMV_CHROMA_LAYOUT layout,
                       ILMV_YCC_IMAGE src, uint32_t width, uint32_t height, uint8_t* dst, uint32_t dstStride);
void ilmvYccLayoutFrame(const ILMV_COLOR_ROWS& rows, ILMV_CHROMA_LAYOUT from, ILMV_CHROMA_LAYOUT to,
                        ILMV_YCC_IMAGE src, uint32_t width, uint32_t height, ILMV_YCC_IMAGE dst);
void ilmvRgbToRgbFrame(const ILMV_COLOR_ROWS& rows, ilmvRgbFormat from, ilmvRgbFormat to, bool swap,
                       const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride, uint8_t* dst,
                       uint32_t dstStride);
// Packed rows through one pixel-wise row kernel.
void ilmvPixelFrame(void (*row)(const uint8_t*, size_t, uint8_t*), size_t srcBytes, size_t dstBytes,
                    const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride, uint8_t* dst,
                    uint32_t dstStride);
void ilmvInterleaveFrame(const ILMV_COLOR_ROWS& rows, const uint8_t* const* planes, const uint32_t* strides,
                         size_t count, uint32_t width, uint32_t height, uint8_t* dst, uint32_t dstStride);
void ilmvDeinterleaveFrame(const ILMV_COLOR_ROWS& rows, const uint8_t* src, uint32_t srcStride, size_t count,
                           uint32_t width, uint32_t height, uint8_t* const* planes, const uint32_t* strides);
void ilmvExtractFrame(const ILMV_COLOR_ROWS& rows, const uint8_t* src1, const uint8_t* src2, const uint8_t* src3,
                      uint32_t width, uint32_t height, uint32_t s1, uint32_t s2, uint32_t s3, int32_t format,
                      int32_t channel, uint8_t* dst, uint32_t dstStride);
// Video-range decoders and the 8x8 block decoders.
void ilmvYCrCb420ToRgbaFrame(const ILMV_COLOR_ROWS& rows, const uint8_t* src, uint32_t width, uint32_t height,
                             uint32_t yStride, uint32_t cStride, uint8_t* dst, uint32_t dstStride);
void ilmvYuv420Frame(const ILMV_COLOR_ROWS& rows, const uint8_t* src, uint32_t width, uint32_t height,
                     ilmvRgbFormat format, bool rotate, uint8_t* dst);
void ilmvBlocksFrame(const ILMV_COLOR_ROWS& rows, const uint8_t* src, uint32_t width, uint32_t height, int hsub,
                     int vsub, uint8_t* dst);
void ilmvRgb888To565Rotate180Frame(const ILMV_COLOR_ROWS& rows, const uint8_t* src, uint32_t width, uint32_t height,
                                   uint32_t srcStride, uint16_t* dst, uint32_t dstStride);

#endif
