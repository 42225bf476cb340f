// GPU engines of the colour family: one kernel each, one work item per pixel.
#include "gpgpu/engine/lumivaGpuEngine.h"
#include "lumiva/lumivaGpu.h"

namespace {

const ILMV_GPU_ENGINE kGrey = {"src/gpgpu/engine/vskGpuColorRGB888ToGray", "RGB888 to gray"};
const ILMV_GPU_ENGINE kYCrCb = {"src/gpgpu/engine/vskGpuColorRGB888toYCrCb", "RGB888 to YCrCb"};
const ILMV_GPU_ENGINE kBlocks = {"src/gpgpu/engine/vskGpuColorYCrCbToRGB888", "YCrCb blocks to RGB888"};
const ILMV_GPU_ENGINE kSemiPlanar = {"src/gpgpu/engine/vskGpuColorYCrCb420SPToRGBA", "YCrCb420 to RGBA8888"};
const ILMV_GPU_ENGINE kYuv565 = {"src/gpgpu/engine/vskGpuColorYUV420ToRGB565", "YUV420 to RGB565"};

// src and dst of the same size, `srcBytes` and `dstBytes` per pixel, both strided.
int runPixels(const ILMV_GPU_ENGINE& engine, int kernel, uint32_t perItem, const uint8_t* src, uint32_t width,
              uint32_t height, uint32_t srcStride, uint32_t srcBytes, void* dst, uint32_t dstStride, uint32_t dstBytes)
{
    if (!ilmvGpuSizesFit(width, height)) return ILMV_GPU_BAD_ARGUMENT;
    srcStride = ilmvGpuStride(srcStride, uint64_t(width) * srcBytes);
    dstStride = ilmvGpuStride(dstStride, uint64_t(width) * dstBytes);
    if (srcStride < uint64_t(width) * srcBytes || dstStride < uint64_t(width) * dstBytes) return ILMV_GPU_BAD_ARGUMENT;
    ILMV_GPU_CALL call = {&engine, kernel,
                          {{src, ilmvGpuSpan(height, srcStride, uint64_t(width) * srcBytes)},
                           {dst, ilmvGpuSpan(height, dstStride, uint64_t(width) * dstBytes)}},
                          2,
                          {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(width), ilmvGpuValue(height),
                           ilmvGpuValue(srcStride), ilmvGpuValue(dstStride)},
                          6,
                          {width / perItem, height}};
    return ilmvGpuRun(call);
}

// A unit of hsub x vsub luma blocks and two chroma blocks per 8*hsub x 8*vsub pixels.
int runBlocks(int kernel, uint32_t hsub, uint32_t vsub, const uint8_t* src, uint32_t width, uint32_t height,
              uint8_t* dst)
{
    if (!ilmvGpuSizesFit(width, height)) return ILMV_GPU_BAD_ARGUMENT;
    const uint64_t unitW = 8 * hsub, unitH = 8 * vsub, unitBytes = 64 * hsub * vsub + 128;
    const uint64_t srcBytes = ((height + unitH - 1) / unitH) * ((width + unitW - 1) / unitW) * unitBytes;
    ILMV_GPU_CALL call = {&kBlocks, kernel,
                          {{src, srcBytes}, {dst, uint64_t(width) * height * 3}},
                          2,
                          {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(width)},
                          3,
                          {width, height}};
    return ilmvGpuRun(call);
}

}  // namespace

extern "C" {

LMV_EXPORT int lmvGpuColorRGB888ToGrayu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                         uint32_t srcStride, uint8_t* dst, uint32_t dstStride)
{
    // Two pixels per work item where the width allows.
    const bool paired = srcWidth % 2 == 0;
    return runPixels(kGrey, paired ? ILMV_GPU_K_convertRgb2Gray2 : ILMV_GPU_K_convertRgb2Gray, paired ? 2 : 1, src,
                     srcWidth, srcHeight, srcStride, 3, dst, dstStride, 1);
}

LMV_EXPORT int lmvGpuColorRGB888toYCrCbu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                          uint32_t srcStride, uint8_t* dst, uint32_t dstStride)
{
    return runPixels(kYCrCb, ILMV_GPU_K_RGB888toYCrCbu8, 1, src, srcWidth, srcHeight, srcStride, 3, dst, dstStride, 3);
}

LMV_EXPORT int lmvGpuColorYCrCb420PseudoPlanarToRGB8888u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                                          uint32_t srcYStride, uint32_t srcCStride, uint8_t* dst,
                                                          uint32_t dstStride)
{
    if (!ilmvGpuSizesFit(srcWidth, srcHeight) || srcYStride < srcWidth || srcCStride < (srcWidth + 1) / 2 * 2 ||
        dstStride < uint64_t(srcWidth) * 4)
        return ILMV_GPU_BAD_ARGUMENT;
    // The chroma rows follow the luma plane, one pair row per two luma rows.
    const uint64_t srcBytes = uint64_t(srcYStride) * srcHeight + ilmvGpuSpan((srcHeight + 1) / 2, srcCStride,
                                                                              (srcWidth + 1) / 2 * 2);
    ILMV_GPU_CALL call = {&kSemiPlanar, ILMV_GPU_K_YCrCb420PseudoPlanarToRGBA8888u8,
                          {{src, srcBytes}, {dst, ilmvGpuSpan(srcHeight, dstStride, uint64_t(srcWidth) * 4)}},
                          2,
                          {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(srcWidth), ilmvGpuValue(srcHeight),
                           ilmvGpuValue(srcYStride), ilmvGpuValue(srcCStride), ilmvGpuValue(dstStride)},
                          7,
                          {srcWidth, srcHeight}};
    return ilmvGpuRun(call);
}

LMV_EXPORT int lmvGpuColorYCrCbH1V1toRGB888u8(const uint8_t* src, uint32_t width, uint32_t height, uint8_t* dst)
{
    return runBlocks(ILMV_GPU_K_convertYCrCbH1V1toRGB888, 1, 1, src, width, height, dst);
}

LMV_EXPORT int lmvGpuColorYCrCbH1V2toRGB888u8(const uint8_t* ysrc, uint32_t width, uint32_t height, uint8_t* dst)
{
    return runBlocks(ILMV_GPU_K_YCrCbH1V2toRGB888u8, 1, 2, ysrc, width, height, dst);
}

LMV_EXPORT int lmvGpuColorYCrCbH2V1toRGB888u8(const uint8_t* src, uint32_t width, uint32_t height, uint8_t* dst)
{
    return runBlocks(ILMV_GPU_K_YCrCbH2V1toRGB888u8, 2, 1, src, width, height, dst);
}

LMV_EXPORT int lmvGpuColorYCrCbH2V2toRGB888u8(const uint8_t* y_src, uint32_t width, uint32_t height, uint8_t* dst)
{
    return runBlocks(ILMV_GPU_K_convertYCrCbH2V2toRGB888, 2, 2, y_src, width, height, dst);
}

LMV_EXPORT int lmvGpuColorYUV420toRGB565u8(const uint8_t* src, uint32_t width, uint32_t height, uint16_t* dst)
{
    if (!ilmvGpuSizesFit(width, height)) return ILMV_GPU_BAD_ARGUMENT;
    // The luma plane and, after it, one row of width bytes of pairs per two luma rows; an odd
    // width's last pair reaches one byte further.
    const uint64_t srcBytes = uint64_t(width) * height + uint64_t(width) * ((height + 1) / 2) + (width & 1);
    ILMV_GPU_CALL call = {&kYuv565, ILMV_GPU_K_YUV420toRGB565u8,
                          {{src, srcBytes}, {dst, uint64_t(width) * height * 2}},
                          2,
                          {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(width), ilmvGpuValue(height)},
                          4,
                          {width, height}};
    return ilmvGpuRun(call);
}

}  // extern "C"
