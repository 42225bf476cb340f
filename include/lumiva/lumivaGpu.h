/* The GPU: the OpenCL system the mode calls create, memory the GPU works on without a copy,
 * and the GPU engines.
 *
 * The library opens the system's OpenCL library with dlopen when a mode first asks for the
 * GPU; where it is missing, or offers no platform of the vendor and device type the build
 * accepts, hardware bit 0x20 stays clear and every operation runs on the CPU. The system
 * (context, queue, the 110 kernel programs, a cache of 7 device buffers) is created once and
 * lives until lmvCleanUp or lmvCleanupGPU. Programs are built from OpenCL C carried in the
 * library (or from files of the same name in the build's kernel directory, which take
 * precedence); built binaries are kept in memory and in the build's cache directory, so a
 * later creation loads them instead of compiling.
 *
 * An engine works on memory from lmvSharedMemAllocG, each image starting at the block's
 * first byte; it returns 0, or 396 for a pointer that is not such a block (or lies inside
 * one), 397 for a bad argument or no GPU system, or an OpenCL error code - 400. Engines
 * write nothing on failure. The G forms behind the dispatch tables run the SIMD form when
 * their engine fails, so a dispatched call always gives the reference bytes.
 *
 * Threads: engines and the memory calls may run from any thread; creation and destruction,
 * like mode calls, must not overlap with anything. */
#ifndef LUMIVA_GPU_H
#define LUMIVA_GPU_H

#include "lumiva/lumivaTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** 1 when the first OpenCL platform with a device of the accepted type belongs to the
 *  accepted vendor, else 0 (no OpenCL library, no platform, no such device). */
LMV_EXPORT int lmvHasGPU(void);
/** Creates the GPU system; 1 on success (or when it already exists), 0 on failure. */
LMV_EXPORT int lmvInitGPU(void);
/** Destroys the GPU system (what lmvCleanUp does for the GPU). */
LMV_EXPORT void lmvCleanupGPU(void);
/** Creates the system: 0 on success or when it exists already (nothing is rebuilt), 397 for
 *  a kernel entry without program data, 398 without a system record, 399 out of memory, or
 *  the failing OpenCL code. Every failure is logged with its step. `devices` is unused (one
 *  queue on the first device). */
LMV_EXPORT int lmvGpuCreateSystem(int devices);
/** Releases every program, kernel, cached buffer and image, the queue and the context.
 *  Blocks from lmvSharedMemAllocG stay mapped for their owners and may still be freed. */
LMV_EXPORT void lmvGpuDestroySystem(void);

/** A block the GPU and the CPU share: page-rounded, at least page-aligned (so `alignment` up
 *  to 4096 is met), backed by an OpenCL buffer over the same memory, listed so engines find
 *  it. Null without a GPU system, for size 0, a larger alignment, or once 128 blocks live.
 *  `flags` is reserved (0). */
LMV_EXPORT void* lmvGpuMemAllocPro(size_t size, size_t alignment, uint32_t flags);
/** Frees a block of lmvGpuMemAllocPro: 0, or -1 (nothing done) for any other pointer. */
LMV_EXPORT int lmvGpuMemFree(void* block);
/** lmvGpuMemAllocPro(size, alignment, 0): the GPU's half of the shared-memory pair. */
LMV_EXPORT void* lmvSharedMemAllocG(size_t size, size_t alignment);
/** lmvGpuMemFree(block). */
LMV_EXPORT int lmvSharedMemFreeG(void* block);

/* ---- Engines ------------------------------------------------------------------------------
 * Each computes exactly what the operation of the same name computes (see its header), on
 * blocks from lmvSharedMemAllocG; strides in bytes, 0 meaning packed. */

/** lmvColorRGB888ToGrayu8 on the GPU; two pixels per work item when the width is even. */
LMV_EXPORT int lmvGpuColorRGB888ToGrayu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                         uint32_t srcStride, uint8_t* dst, uint32_t dstStride);
/** lmvColorRGB888toYCrCbu8_v2 on the GPU; dst may equal src. */
LMV_EXPORT int lmvGpuColorRGB888toYCrCbu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                          uint32_t srcStride, uint8_t* dst, uint32_t dstStride);
/** lmvColorYCrCb420PseudoPlanarToRGB8888u8 on the GPU. */
LMV_EXPORT int lmvGpuColorYCrCb420PseudoPlanarToRGB8888u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                                          uint32_t srcYStride, uint32_t srcCStride, uint8_t* dst,
                                                          uint32_t dstStride);
/** The 8x8 block decoders on the GPU (lmvColorYCrCbH1V1toRGB888u8 and its siblings). */
LMV_EXPORT int lmvGpuColorYCrCbH1V1toRGB888u8(const uint8_t* src, uint32_t width, uint32_t height, uint8_t* dst);
LMV_EXPORT int lmvGpuColorYCrCbH1V2toRGB888u8(const uint8_t* ysrc, uint32_t width, uint32_t height, uint8_t* dst);
LMV_EXPORT int lmvGpuColorYCrCbH2V1toRGB888u8(const uint8_t* src, uint32_t width, uint32_t height, uint8_t* dst);
LMV_EXPORT int lmvGpuColorYCrCbH2V2toRGB888u8(const uint8_t* y_src, uint32_t width, uint32_t height, uint8_t* dst);
/** lmvColorYUV420toRGB565u8 on the GPU. */
LMV_EXPORT int lmvGpuColorYUV420toRGB565u8(const uint8_t* src, uint32_t width, uint32_t height, uint16_t* dst);
/** lmvFilterGaussian3x3u8_v2 on the GPU; dst must differ from src (397). */
LMV_EXPORT int lmvGpuFilterGaussian3x3u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                         uint32_t srcStride, uint8_t* dst, uint32_t dstStride, int32_t blurBorder);
/** lmvFilterGaussian5x5u8 on the GPU; dst must differ from src (397), as for every filter engine below. */
LMV_EXPORT int lmvGpuFilterGaussian5x5u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                         uint32_t srcStride, uint8_t* dst, uint32_t dstStride, int32_t blurBorder);
/** lmvBoxFilter3x3u8, 5x5 and 11x11 on the GPU (the frame left as dst holds it). */
LMV_EXPORT int lmvGpuBoxFilter3x3u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                    uint8_t* dst, uint32_t dstStride);
LMV_EXPORT int lmvGpuBoxFilter5x5u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                    uint8_t* dst, uint32_t dstStride);
LMV_EXPORT int lmvGpuBoxFilter11x11u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                      uint8_t* dst, uint32_t dstStride);
/** The k x k box mean (k = 3, 5 or 11) with border modes, as lmvBoxFilter3x3u8_v2 computes it for k = 3. */
LMV_EXPORT int lmvGpuBoxFilteru8V2(uint32_t k, const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                   uint32_t srcStride, uint8_t* dst, uint32_t dstStride, LMV_BORDER_TYPE borderType,
                                   uint8_t borderValue);
/** lmvFilterErode3x3u8_v2, lmvFilterDilate3x3u8_v2 and lmvFilterMedian3x3u8_v2 on the GPU. */
LMV_EXPORT int lmvGpuFilterErode3x3u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                      uint8_t* dst, uint32_t dstStride);
LMV_EXPORT int lmvGpuFilterDilate3x3u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                       uint8_t* dst, uint32_t dstStride);
LMV_EXPORT int lmvGpuFilterMedian3x3u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                       uint8_t* dst, uint32_t dstStride);
/** lmvFilterCorr3x3s8_v2 on the GPU. */
LMV_EXPORT int lmvGpuFilterCorr3x3s8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                     const int8_t* kernel, uint32_t shift, uint8_t* dst, uint32_t dstStride);
/** lmvFilterCorrSep9x9s16 and lmvFilterCorrSep11x11s16 on the GPU (the taps are passed by value). */
LMV_EXPORT int lmvGpuFilterCorrSep9x9s16(const int16_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                         uint32_t srcStride, const int16_t* kernel, uint32_t shift, int16_t* dst,
                                         uint32_t dstStride);
LMV_EXPORT int lmvGpuFilterCorrSep11x11s16(const int16_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                           uint32_t srcStride, const int16_t* kernel, uint32_t shift, int16_t* dst,
                                           uint32_t dstStride);
/** lmvBilateralFilter5x5u8 on the GPU. */
LMV_EXPORT int lmvGpuBilateralFilter5x5u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                          uint32_t srcStride, uint8_t* dst, uint32_t dstStride);
/** lmvImageDiffs16 on the GPU; dst may equal either source. */
LMV_EXPORT int lmvGpuImageDiffs16(const int16_t* src1, const int16_t* src2, uint32_t srcWidth, uint32_t srcHeight,
                                  uint32_t srcStride, int16_t* dst, uint32_t dstStride);
/** lmvScaleDownBy2Gaussian5x5u8_v2 on the GPU; dst must differ from src (397). */
LMV_EXPORT int lmvGpuScaleDownBy2Gaussian5x5u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                               uint32_t srcStride, uint8_t* dst, uint32_t dstStride);

/** lmvTransformAffineClippedu8_v2 on the GPU: "affineClipBL_i" or "affineClipNN_i" per pixel, or with
 *  dstBorder (a block of its own) "affineClipBL_i_border" / "affineClipNN_i_border" per row.
 *  Sizes up to 32767; another interpolation is 397. */
LMV_EXPORT int lmvGpuTransformAffineClippedu8_v2(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                                 uint32_t srcStride, const float32_t* affineMatrix, uint8_t* dst,
                                                 uint32_t dstWidth, uint32_t dstHeight, uint32_t dstStride,
                                                 uint32_t* dstBorder, LMV_INTERPOLATION interpolation);
/** lmvTransformAffineu8_v2 on the GPU (sizes up to 32767). */
LMV_EXPORT int lmvGpuTransformAffineu8_v2(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                          uint32_t srcStride, const float32_t* affineMatrix, uint8_t* dst,
                                          uint32_t dstWidth, uint32_t dstHeight, uint32_t dstStride);
/** lmvTransformAffine8x8u8 on the GPU: patches must be a block; positions, affines and
 *  patchStatus are read and written on the CPU. */
LMV_EXPORT int lmvGpuTransformAffine8x8u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                          uint32_t srcStride, const float32_t* positions, const float32_t* affines,
                                          uint32_t numPatches, uint8_t* patches, int32_t* patchStatus);
/** lmvWarpPerspectiveu8_v2 and lmv3ChannelWarpPerspectiveu8_v2 on the GPU. The projection is
 *  taken in double precision: a device without it cannot build the kernels (the call then
 *  fails and runs on the CPU). Sizes up to 32767. */
LMV_EXPORT int lmvGpuWarpPerspectiveu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                       uint8_t* dst, uint32_t dstWidth, uint32_t dstHeight, uint32_t dstStride,
                                       const float32_t* projectionMatrix);
LMV_EXPORT int lmvGpu3ChannelWarpPerspectiveu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                               uint32_t srcStride, uint8_t* dst, uint32_t dstWidth, uint32_t dstHeight,
                                               uint32_t dstStride, const float32_t* projectionMatrix);
/** lmvRemapRGBA8888NNu8 on the GPU: the maps must be blocks too. */
LMV_EXPORT int lmvGpuRemapRGBA8888NNu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                       uint8_t* dst, uint32_t dstWidth, uint32_t dstHeight, uint32_t dstStride,
                                       const float32_t* mapX, const float32_t* mapY, uint32_t mapStride);
/** lmvScaleDownMNu8, lmvScaleDownBy4u8 and lmvScaleUpBy2Gaussian5x5u8 on the GPU. */
LMV_EXPORT int lmvGpuScaleDownMNu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                   uint8_t* dst, uint32_t dstWidth, uint32_t dstHeight, uint32_t dstStride);
LMV_EXPORT int lmvGpuScaleDownBy4u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                    uint8_t* dst, uint32_t dstStride);
LMV_EXPORT int lmvGpuScaleUpBy2Gaussian5x5u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                             uint32_t srcStride, uint8_t* dst, uint32_t dstStride);

/** lmvIntegrateImageu8_v2 on the GPU: a row scan, then a column scan; dst must be a block. */
LMV_EXPORT int lmvGpuIntegrateImageu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                      uint32_t* dst, uint32_t dstStride);
/** lmvImageIntensityHistogram on the GPU: per-band partial histograms, then their sum; the
 *  histogram is written on the CPU, so it need not be a block. */
LMV_EXPORT int lmvGpuImageIntensityHistogram(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                             uint32_t srcStride, uint32_t* histogram);
/** lmvImageIntensityStats on the GPU: the rectangle's exact 64-bit sums on the device, the mean
 *  and population variance from them on the CPU. A rectangle outside the image is 397. */
LMV_EXPORT int lmvGpuImageIntensityStats(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                         uint32_t srcStride, uint32_t xBegin, uint32_t yBegin, uint32_t recWidth,
                                         uint32_t recHeight, float32_t* mean, float32_t* variance);
/** lmvBoundingRectangle on the GPU (no dispatching slot: call it directly). xy must be a block
 *  of numPoints (x, y) pairs; no points is 397. */
LMV_EXPORT int lmvGpuBoundingRectangle(const uint32_t* xy, uint32_t numPoints, uint32_t* rectTopLeftX,
                                       uint32_t* rectTopLeftY, uint32_t* rectBotRightX, uint32_t* rectBotRightY);

/** lmvFilterThresholdu8_v2 on the GPU: dst = 255 where src > threshold, else 0; dst may equal
 *  src. Kernel "Threshold_16" when the width is a multiple of 16 (16 x 8 pixels an item),
 *  "Threshold_2" otherwise (2 x 2); sizes and strides must fit 16 bits; a negative threshold
 *  is 397. */
LMV_EXPORT int lmvGpuFilterThresholdu8(const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride,
                                       uint8_t* dst, uint32_t dstStride, int32_t threshold);
/** lmvFilterSobel3x3u8 on the GPU. */
LMV_EXPORT int lmvGpuFilterSobel3x3u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                      uint8_t* dst, uint32_t dstStride);
/** lmvImageGradientInterleavedf32 on the GPU (dstStride a multiple of 4). */
LMV_EXPORT int lmvGpuImageGradientInterleavedf32(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                                 uint32_t srcStride, float32_t* gradients, uint32_t dstStride);
/** lmvFilterCanny3x3u8_v2 on the GPU (no dispatching slot: call it directly). Sizes up to 65535;
 *  dst must differ from src. */
LMV_EXPORT int lmvGpuFilterCanny3x3u8(const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride,
                                      uint8_t* dst, uint32_t dstStride, uint8_t lowThresh, uint8_t highThresh);
/** lmvFilterCanny3x3u8_v3 on the GPU, the gradients left in gx and gy (shared blocks too). */
LMV_EXPORT int lmvGpuFilterCanny3x3u8V2(const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride,
                                        uint8_t* dst, uint32_t dstStride, uint8_t lowThresh, uint8_t highThresh,
                                        int16_t* gx, int16_t* gy, uint32_t gradStride);
/** lmvHoughLineu8 with the votes counted on the GPU (no dispatching slot: call it directly);
 *  only src needs to be a shared block. */
LMV_EXPORT int lmvGpuHoughLineu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                 float32_t rhoStep, float32_t thetaStep, uint32_t threshold, float32_t* lines,
                                 uint32_t maxLines, uint32_t* numLines);
/** lmvHoughCircleu8 with the centre votes counted on the GPU; only src needs to be a shared block. */
LMV_EXPORT int lmvGpuHoughCircleu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                   float32_t dp, float32_t minDist, uint32_t cannyThresh, uint32_t accThresh,
                                   uint32_t minRadius, uint32_t maxRadius, float32_t* circles, uint32_t maxCircles,
                                   uint32_t* numCircles);

#ifdef __cplusplus
}
#endif

#endif
