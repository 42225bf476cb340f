// GPU engines of the filter family. Each is one kernel over one work item per pixel with the
// reference form's integer arithmetic; none may write over its source, since every work item
// reads its neighbours.
#include "gpgpu/engine/lumivaGpuEngine.h"
#include "lumiva/lumivaGpu.h"

#include <initializer_list>

namespace {

const ILMV_GPU_ENGINE kGaussian = {"src/gpgpu/engine/vskGpuFilterGaussian", "gaussian 3x3"};
const ILMV_GPU_ENGINE kGaussian5 = {"src/gpgpu/engine/vskGpuFilterGaussian", "gaussian 5x5"};
const ILMV_GPU_ENGINE kBox = {"src/gpgpu/engine/vskGpuBoxFilter", "box filter"};
const ILMV_GPU_ENGINE kErode = {"src/gpgpu/engine/vskGpuFilterErode", "erode"};
const ILMV_GPU_ENGINE kDilate = {"src/gpgpu/engine/vskGpuFilterDilate", "dilate"};
const ILMV_GPU_ENGINE kMedian = {"src/gpgpu/engine/vskGpuFilterMedian", "median"};
const ILMV_GPU_ENGINE kCorrelation = {"src/gpgpu/engine/vskGpuFilterCorr", "correlation"};
const ILMV_GPU_ENGINE kBilateral = {"src/gpgpu/engine/vskGpuBilateralFilter", "bilateral"};

// One neighbourhood kernel over a source and a destination of `elem`-byte pixels.
int runFilter(const ILMV_GPU_ENGINE& engine, int kernel, const void* src, uint32_t width, uint32_t height,
              uint32_t srcStride, void* dst, uint32_t dstStride, uint32_t elem,
              std::initializer_list<ILMV_GPU_ARG> extra = {})
{
    return ilmvGpuRunFilter(engine, kernel, src, width, height, srcStride, elem, dst, dstStride, elem, extra);
}

// Taps packed into 32-bit words, `perWord` to a word, lowest first.
template <class Tap>
uint32_t packedTaps(const Tap* taps, uint32_t count, uint32_t word)
{
    constexpr uint32_t perWord = 4 / sizeof(Tap), bits = 8 * sizeof(Tap);
    uint32_t packed = 0;
    for (uint32_t i = 0; i < perWord && word * perWord + i < count; ++i)
        packed |= (uint32_t(static_cast<std::make_unsigned_t<Tap>>(taps[word * perWord + i]))) << (bits * i);
    return packed;
}

int separable(int kernel, uint32_t k, const int16_t* src, uint32_t width, uint32_t height, uint32_t srcStride,
              const int16_t* taps, uint32_t shift, int16_t* dst, uint32_t dstStride)
{
    if (!taps || shift > 62) return ILMV_GPU_BAD_ARGUMENT;
    return runFilter(kCorrelation, kernel, src, width, height, srcStride, dst, dstStride, 2,
                     {ilmvGpuValue(packedTaps(taps, k, 0)), ilmvGpuValue(packedTaps(taps, k, 1)),
                      ilmvGpuValue(packedTaps(taps, k, 2)), ilmvGpuValue(packedTaps(taps, k, 3)),
                      ilmvGpuValue(packedTaps(taps, k, 4)), ilmvGpuValue(packedTaps(taps, k, 5)), ilmvGpuValue(shift)});
}

}  // namespace

extern "C" {

LMV_EXPORT int lmvGpuFilterGaussian3x3u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                         uint32_t srcStride, uint8_t* dst, uint32_t dstStride, int32_t blurBorder)
{
    return runFilter(kGaussian, ILMV_GPU_K_Gaussian3x3u8, src, srcWidth, srcHeight, srcStride, dst, dstStride, 1,
                     {ilmvGpuValue(blurBorder)});
}

LMV_EXPORT int lmvGpuFilterGaussian5x5u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                         uint32_t srcStride, uint8_t* dst, uint32_t dstStride, int32_t blurBorder)
{
    return runFilter(kGaussian5, ILMV_GPU_K_Gaussian5x5u8, src, srcWidth, srcHeight, srcStride, dst, dstStride, 1,
                     {ilmvGpuValue(blurBorder)});
}

LMV_EXPORT int lmvGpuBoxFilter3x3u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                    uint8_t* dst, uint32_t dstStride)
{
    return runFilter(kBox, ILMV_GPU_K_BoxFilter3x3u8, src, srcWidth, srcHeight, srcStride, dst, dstStride, 1);
}

LMV_EXPORT int lmvGpuBoxFilter5x5u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                    uint8_t* dst, uint32_t dstStride)
{
    return runFilter(kBox, ILMV_GPU_K_BoxFilter5x5u8, src, srcWidth, srcHeight, srcStride, dst, dstStride, 1);
}

LMV_EXPORT int lmvGpuBoxFilter11x11u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                      uint8_t* dst, uint32_t dstStride)
{
    return runFilter(kBox, ILMV_GPU_K_BoxFilter11x11u8, src, srcWidth, srcHeight, srcStride, dst, dstStride, 1);
}

LMV_EXPORT int lmvGpuBoxFilteru8V2(uint32_t k, const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                   uint32_t srcStride, uint8_t* dst, uint32_t dstStride, LMV_BORDER_TYPE borderType,
                                   uint8_t borderValue)
{
    const int kernel = k == 3 ? ILMV_GPU_K_BoxFilter3x3u8V2 : k == 5 ? ILMV_GPU_K_BoxFilter5x5u8V2
                                                           : ILMV_GPU_K_BoxFilter11x11u8V2;
    if ((k != 3 && k != 5 && k != 11) || borderType < LUMIVA_BORDER_UNDEFINED || borderType > LUMIVA_BORDER_REPLICATE)
        return ILMV_GPU_BAD_ARGUMENT;
    return runFilter(kBox, kernel, src, srcWidth, srcHeight, srcStride, dst, dstStride, 1,
                     {ilmvGpuValue(borderType), ilmvGpuValue(uint32_t(borderValue))});
}

LMV_EXPORT int lmvGpuFilterErode3x3u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                      uint8_t* dst, uint32_t dstStride)
{
    // Images narrower than a work group's row take the small variant.
    const int kernel = srcWidth < 64 ? ILMV_GPU_K_FilterErode3x3u8C_small : ILMV_GPU_K_FilterErode3x3u8C;
    return runFilter(kErode, kernel, src, srcWidth, srcHeight, srcStride, dst, dstStride, 1);
}

LMV_EXPORT int lmvGpuFilterDilate3x3u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                       uint8_t* dst, uint32_t dstStride)
{
    return runFilter(kDilate, ILMV_GPU_K_DilateFilter, src, srcWidth, srcHeight, srcStride, dst, dstStride, 1);
}

LMV_EXPORT int lmvGpuFilterMedian3x3u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                       uint8_t* dst, uint32_t dstStride)
{
    return runFilter(kMedian, ILMV_GPU_K_FilterMedian3x3u8, src, srcWidth, srcHeight, srcStride, dst, dstStride, 1);
}

LMV_EXPORT int lmvGpuFilterCorr3x3s8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                     const int8_t* kernel, uint32_t shift, uint8_t* dst, uint32_t dstStride)
{
    if (!kernel || shift > 31) return ILMV_GPU_BAD_ARGUMENT;
    return runFilter(kCorrelation, ILMV_GPU_K_FilterCorr3x3s8, src, srcWidth, srcHeight, srcStride, dst, dstStride, 1,
                     {ilmvGpuValue(packedTaps(kernel, 9, 0)), ilmvGpuValue(packedTaps(kernel, 9, 1)),
                      ilmvGpuValue(packedTaps(kernel, 9, 2)), ilmvGpuValue(shift)});
}

LMV_EXPORT int lmvGpuFilterCorrSep9x9s16(const int16_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                         uint32_t srcStride, const int16_t* kernel, uint32_t shift, int16_t* dst,
                                         uint32_t dstStride)
{
    return separable(ILMV_GPU_K_FilterCorrSep9x9s16, 9, src, srcWidth, srcHeight, srcStride, kernel, shift, dst,
                     dstStride);
}

LMV_EXPORT int lmvGpuFilterCorrSep11x11s16(const int16_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                           uint32_t srcStride, const int16_t* kernel, uint32_t shift, int16_t* dst,
                                           uint32_t dstStride)
{
    return separable(ILMV_GPU_K_FilterCorrSep11x11s16, 11, src, srcWidth, srcHeight, srcStride, kernel, shift, dst,
                     dstStride);
}

LMV_EXPORT int lmvGpuBilateralFilter5x5u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                          uint32_t srcStride, uint8_t* dst, uint32_t dstStride)
{
    return runFilter(kBilateral, ILMV_GPU_K_BilateralFilter5x5u8, src, srcWidth, srcHeight, srcStride, dst, dstStride,
                     1);
}

}  // extern "C"
