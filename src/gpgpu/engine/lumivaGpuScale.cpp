// GPU engines of the scaling family: the Gaussian 5x5 decimation by two.
#include "gpgpu/engine/lumivaGpuEngine.h"
#include "lumiva/lumivaGpu.h"

namespace {

const ILMV_GPU_ENGINE kDecimate = {"src/gpgpu/engine/vskGpuScaleDownBy2Gaussian", "scale down by 2 gaussian"};

}  // namespace

extern "C" {

LMV_EXPORT int lmvGpuScaleDownBy2Gaussian5x5u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                               uint32_t srcStride, uint8_t* dst, uint32_t dstStride)
{
    const uint32_t outWidth = srcWidth / 2, outHeight = srcHeight / 2;
    srcStride = ilmvGpuStride(srcStride, srcWidth);
    dstStride = ilmvGpuStride(dstStride, outWidth);
    if (!ilmvGpuSizesFit(srcWidth, srcHeight) || src == dst || srcStride < srcWidth || dstStride < outWidth)
        return ILMV_GPU_BAD_ARGUMENT;
    ILMV_GPU_CALL call = {&kDecimate, ILMV_GPU_K_ScaleDownBy2Gaussianu8,
                          {{src, ilmvGpuSpan(srcHeight, srcStride, srcWidth)},
                           {dst, ilmvGpuSpan(outHeight, dstStride, outWidth)}},
                          2,
                          {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(srcWidth), ilmvGpuValue(srcHeight),
                           ilmvGpuValue(srcStride), ilmvGpuValue(dstStride)},
                          6,
                          {outWidth, outHeight}};
    return ilmvGpuRun(call);
}

}  // extern "C"
