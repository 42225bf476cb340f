// GPU engines of the arithmetic family: the saturating 16-bit difference.
#include "gpgpu/engine/lumivaGpuEngine.h"
#include "lumiva/lumivaGpu.h"

namespace {

const ILMV_GPU_ENGINE kDiff = {"src/gpgpu/engine/vskGpuImageDiff", "image diff"};

}  // namespace

extern "C" {

LMV_EXPORT int lmvGpuImageDiffs16(const int16_t* src1, const int16_t* src2, uint32_t srcWidth, uint32_t srcHeight,
                                  uint32_t srcStride, int16_t* dst, uint32_t dstStride)
{
    const uint64_t rowBytes = uint64_t(srcWidth) * 2;
    srcStride = ilmvGpuStride(srcStride, rowBytes);
    dstStride = ilmvGpuStride(dstStride, rowBytes);
    if (!ilmvGpuSizesFit(srcWidth, srcHeight) || srcStride < rowBytes || dstStride < rowBytes)
        return ILMV_GPU_BAD_ARGUMENT;
    // Rows are stepped in whole elements, so a stride is read rounded down to one.
    const uint64_t srcSpan = ilmvGpuSpan(srcHeight, srcStride / 2 * 2, rowBytes);
    ILMV_GPU_CALL call = {&kDiff, ILMV_GPU_K_ImageDiffs16,
                          {{src1, srcSpan}, {src2, srcSpan}, {dst, ilmvGpuSpan(srcHeight, dstStride / 2 * 2, rowBytes)}},
                          3,
                          {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuImageArg(2), ilmvGpuValue(srcWidth),
                           ilmvGpuValue(srcHeight), ilmvGpuValue(srcStride), ilmvGpuValue(dstStride)},
                          7,
                          {srcWidth, srcHeight}};
    return ilmvGpuRun(call);
}

}  // extern "C"
