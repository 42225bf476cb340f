// GPU engines of the filter family: the 3x3 Gaussian.
#include "gpgpu/engine/lumivaGpuEngine.h"
#include "lumiva/lumivaGpu.h"

namespace {

const ILMV_GPU_ENGINE kGaussian = {"src/gpgpu/engine/vskGpuFilterGaussian", "gaussian 3x3"};

}  // namespace

extern "C" {

LMV_EXPORT int lmvGpuFilterGaussian3x3u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                         uint32_t srcStride, uint8_t* dst, uint32_t dstStride, int32_t blurBorder)
{
    srcStride = ilmvGpuStride(srcStride, srcWidth);
    dstStride = ilmvGpuStride(dstStride, srcWidth);
    // Every work item reads its neighbours: writing over the source would change them.
    if (!ilmvGpuSizesFit(srcWidth, srcHeight) || src == dst || srcStride < srcWidth || dstStride < srcWidth)
        return ILMV_GPU_BAD_ARGUMENT;
    ILMV_GPU_CALL call = {&kGaussian, ILMV_GPU_K_Gaussian3x3u8,
                          {{src, ilmvGpuSpan(srcHeight, srcStride, srcWidth)},
                           {dst, ilmvGpuSpan(srcHeight, dstStride, srcWidth)}},
                          2,
                          {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(srcWidth), ilmvGpuValue(srcHeight),
                           ilmvGpuValue(srcStride), ilmvGpuValue(dstStride), ilmvGpuValue(blurBorder)},
                          7,
                          {srcWidth, srcHeight}};
    return ilmvGpuRun(call);
}

}  // extern "C"
