// Entry functions whose pre-checks are their own: the 3x3 Gaussian (an unsigned width test
// before anything else) and the 2x2 mean (silent -1 on bad arguments). Their remote and GPU
// rows come from the operation descriptions (ilmvFits_<entry>); they dispatch through the
// tables like every other entry.
#include "core/lumivaEntry.h"
#include "lumivaEntryRows.h"
#include "lumivaKernels.h"
#include "platform/lumivaPlatform.h"

namespace {

// Widths 2 to 6 wrap width - 7 round in unsigned arithmetic and are refused; 0, 1 and 7 up pass.
bool gaussianWidthPasses(const char* name, uint32_t width)
{
    if ((width - 2) / 6 * 6 >= width - 7) return true;
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "Error at %s\n", name);
    return false;
}

}  // namespace

extern "C" {

LMV_EXPORT void lmvFilterGaussian3x3u8(const uint8_t* src, uint32_t width, uint32_t height, uint8_t* dst,
                                       int32_t blurBorder)
{
    static const char kName[] = "lmvFilterGaussian3x3u8";
    if (!gaussianWidthPasses(kName, width)) return;
    const uint32_t idx = ilmvFits_lmvFilterGaussian3x3u8(lmvImplTable[LMV_API_lmvFilterGaussian3x3u8], src, width,
                                                         height, dst, blurBorder);
    ilmvRuntimeLog(kName, idx);
    if (!(src && dst && width && height)) {
        ilmvAssertFailed(kName, "src && dst && width && height");
        return;
    }
    ilmvImpl<lmvFilterGaussian3x3u8_fn>(LMV_API_lmvFilterGaussian3x3u8, idx)(src, width, height, width, dst, width,
                                                                          blurBorder);
}

LMV_EXPORT void lmvFilterGaussian3x3u8_v2(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                          uint32_t srcStride, uint8_t* dst, uint32_t dstStride, int32_t blurBorder)
{
    static const char kName[] = "lmvFilterGaussian3x3u8_v2";
    if (!gaussianWidthPasses(kName, srcWidth)) return;
    if (!srcStride) srcStride = srcWidth;
    if (!dstStride) dstStride = srcWidth;
    const uint32_t idx = ilmvFits_lmvFilterGaussian3x3u8_v2(lmvImplTable[LMV_API_lmvFilterGaussian3x3u8], src,
                                                            srcWidth, srcHeight, srcStride, dst, dstStride, blurBorder);
    ilmvRuntimeLog(kName, idx);
    if (!(src && dst && (srcWidth > 1) && (srcHeight > 1) && (srcStride >= srcWidth) && (dstStride >= srcWidth))) {
        ilmvAssertFailed(kName,
                         "src && dst && (srcWidth > 1) && (srcHeight > 1) && (srcStride >= srcWidth) && (dstStride >= "
                         "srcWidth)");
        return;
    }
    ilmvImpl<lmvFilterGaussian3x3u8_fn>(LMV_API_lmvFilterGaussian3x3u8, idx)(src, srcWidth, srcHeight, srcStride, dst,
                                                                          dstStride, blurBorder);
}

LMV_EXPORT int32_t lmvScaleDownBy2u8(const uint8_t* src, uint32_t width, uint32_t height, uint8_t* dst)
{
    const uint32_t idx = ilmvFits_lmvScaleDownBy2u8(lmvImplTable[LMV_API_lmvScaleDownBy2u8], src, width, height, dst);
    ilmvRuntimeLog("lmvScaleDownBy2u8", idx);
    if ((height & 1) || (width & 1) || !height || !width || !src || !dst) return -1;
    return ilmvImpl<lmvScaleDownBy2u8_fn>(LMV_API_lmvScaleDownBy2u8, idx)(src, width, height, width, dst, width / 2);
}

LMV_EXPORT int32_t lmvScaleDownBy2u8_v2(const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride,
                                        uint8_t* dst, uint32_t dstStride)
{
    if (!srcStride) srcStride = width;
    if (!dstStride) dstStride = width / 2;  // half the width, not the width
    const uint32_t idx = ilmvFits_lmvScaleDownBy2u8_v2(lmvImplTable[LMV_API_lmvScaleDownBy2u8], src, width, height,
                                                       srcStride, dst, dstStride);
    ilmvRuntimeLog("lmvScaleDownBy2u8_v2", idx);
    if ((height & 1) || (width & 1) || !height || !width || !src || !dst || dstStride < width / 2 || srcStride < width)
        return -1;
    return ilmvImpl<lmvScaleDownBy2u8_fn>(LMV_API_lmvScaleDownBy2u8, idx)(src, width, height, srcStride, dst, dstStride);
}

}  // extern "C"
