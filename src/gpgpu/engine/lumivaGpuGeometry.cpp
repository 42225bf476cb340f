// GPU engines of geometry and resampling. Warps hand the device the matrix's column and row
// terms (computed here exactly as the reference computes them) or, for perspective, the
// matrix in double; area resizing hands over its tap tables. Every engine gives the reference
// form's bytes.
#include "cpu/lumivaGeometry.h"
#include "gpgpu/engine/lumivaGpuEngine.h"
#include "lumiva/lumivaGpu.h"

#include <vector>

namespace {

const ILMV_GPU_ENGINE kAffine = {"src/gpgpu/engine/vskGpuTransformAffine", "transform affine"};
const ILMV_GPU_ENGINE kPerspective = {"src/gpgpu/engine/vskGpuWarpPerspective", "warp perspective"};
const ILMV_GPU_ENGINE kScale = {"src/gpgpu/engine/vskGpuScale", "scale"};
const ILMV_GPU_ENGINE kRemap = {"src/gpgpu/engine/vskGpuRemap", "remap"};

bool fits(uint32_t w, uint32_t h, uint32_t stride, uint64_t rowBytes)
{
    return ilmvGpuSizesFit(w, h) && stride >= rowBytes && w <= 32767 && h <= 32767;
}

ILMV_GPU_IMAGE imageOf(const void* p, uint32_t rows, uint32_t stride, uint64_t rowBytes)
{
    return {p, ilmvGpuSpan(rows, stride, rowBytes)};
}

// The affine terms: per destination column (m0 x, m3 x) and per row (m1 y + m2, m4 y + m5),
// each times 1024 rounded; columns first, rows after.
bool affineTerms(const float32_t* matrix, uint32_t dstWidth, uint32_t dstHeight, const ilmvGpuBlock& block)
{
    if (!block.as<void>()) return false;
    const double m[6] = {matrix[0], matrix[1], matrix[2], matrix[3], matrix[4], matrix[5]};
    const ilmvAffineMapping mapping(m, ilmvBilinear, dstWidth);
    int32_t* t = block.as<int32_t>();
    for (uint32_t x = 0; x < dstWidth; ++x) t[2 * x] = mapping.dx[x], t[2 * x + 1] = mapping.dy[x];
    for (uint32_t y = 0; y < dstHeight; ++y) mapping.rowTerms(y, t[2 * (dstWidth + y)], t[2 * (dstWidth + y) + 1]);
    return true;
}

int runAffine(int kernel, const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
              const float32_t* matrix, uint8_t* dst, uint32_t dstWidth, uint32_t dstHeight, uint32_t dstStride,
              uint32_t* extent)
{
    srcStride = ilmvGpuStride(srcStride, srcWidth);
    dstStride = ilmvGpuStride(dstStride, dstWidth);
    if (!matrix || !fits(srcWidth, srcHeight, srcStride, srcWidth) || !fits(dstWidth, dstHeight, dstStride, dstWidth))
        return ILMV_GPU_BAD_ARGUMENT;
    ilmvGpuBlock terms(size_t(dstWidth + dstHeight) * 8);
    if (!affineTerms(matrix, dstWidth, dstHeight, terms)) return ILMV_GPU_BAD_ARGUMENT;
    const ILMV_GPU_IMAGE source = imageOf(src, srcHeight, srcStride, srcWidth);
    const ILMV_GPU_IMAGE target = imageOf(dst, dstHeight, dstStride, dstWidth);
    const ILMV_GPU_IMAGE table = {terms.as<void>(), uint64_t(dstWidth + dstHeight) * 8};
    const uint32_t rows = 2 * dstWidth;
    if (extent)
        return ilmvGpuRun(ilmvGpuMakeCall(kAffine, kernel, {source, target, table, {extent, uint64_t(dstHeight) * 8}},
                                          {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuImageArg(2),
                                           ilmvGpuImageArg(3), ilmvGpuValue(rows), ilmvGpuValue(srcWidth),
                                           ilmvGpuValue(srcHeight), ilmvGpuValue(srcStride), ilmvGpuValue(dstStride),
                                           ilmvGpuValue(dstWidth)},
                                          dstHeight, 1));
    return ilmvGpuRun(ilmvGpuMakeCall(kAffine, kernel, {source, target, table},
                                      {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuImageArg(2), ilmvGpuValue(rows),
                                       ilmvGpuValue(srcWidth), ilmvGpuValue(srcHeight), ilmvGpuValue(srcStride),
                                       ilmvGpuValue(dstStride)},
                                      dstWidth, dstHeight));
}

int runPerspective(int kernel, uint32_t bpp, const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                   uint32_t srcStride, uint8_t* dst, uint32_t dstWidth, uint32_t dstHeight, uint32_t dstStride,
                   const float32_t* matrix)
{
    srcStride = ilmvGpuStride(srcStride, uint64_t(srcWidth) * bpp);
    dstStride = ilmvGpuStride(dstStride, uint64_t(dstWidth) * bpp);
    if (!matrix || !fits(srcWidth, srcHeight, srcStride, uint64_t(srcWidth) * bpp) ||
        !fits(dstWidth, dstHeight, dstStride, uint64_t(dstWidth) * bpp))
        return ILMV_GPU_BAD_ARGUMENT;
    ilmvGpuBlock m(9 * sizeof(double));
    if (!m.as<void>()) return ILMV_GPU_BAD_ARGUMENT;
    for (int k = 0; k < 9; ++k) m.as<double>()[k] = matrix[k];
    return ilmvGpuRun(ilmvGpuMakeCall(
        kPerspective, kernel,
        {imageOf(src, srcHeight, srcStride, uint64_t(srcWidth) * bpp),
         imageOf(dst, dstHeight, dstStride, uint64_t(dstWidth) * bpp), {m.as<void>(), 9 * sizeof(double)}},
        {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuImageArg(2), ilmvGpuValue(srcWidth), ilmvGpuValue(srcHeight),
         ilmvGpuValue(srcStride), ilmvGpuValue(dstStride), ilmvGpuValue(ilmvPerspectiveBlock(dstWidth, dstHeight))},
        dstWidth, dstHeight));
}

}  // namespace

extern "C" {

LMV_EXPORT int lmvGpuTransformAffineClippedu8_v2(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                                 uint32_t srcStride, const float32_t* affineMatrix, uint8_t* dst,
                                                 uint32_t dstWidth, uint32_t dstHeight, uint32_t dstStride,
                                                 uint32_t* dstBorder, LMV_INTERPOLATION interpolation)
{
    if (interpolation != LUMIVA_INTERPOLATION_NEAREST && interpolation != LUMIVA_INTERPOLATION_BILINEAR)
        return ILMV_GPU_BAD_ARGUMENT;
    const bool nearest = interpolation == LUMIVA_INTERPOLATION_NEAREST;
    const int kernel = dstBorder ? (nearest ? ILMV_GPU_K_affineClipNN_i_border : ILMV_GPU_K_affineClipBL_i_border)
                                 : (nearest ? ILMV_GPU_K_affineClipNN_i : ILMV_GPU_K_affineClipBL_i);
    return runAffine(kernel, src, srcWidth, srcHeight, srcStride, affineMatrix, dst, dstWidth, dstHeight, dstStride,
                     dstBorder);
}

LMV_EXPORT int lmvGpuTransformAffineu8_v2(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                          uint32_t srcStride, const float32_t* affineMatrix, uint8_t* dst,
                                          uint32_t dstWidth, uint32_t dstHeight, uint32_t dstStride)
{
    return runAffine(ILMV_GPU_K_TransformAffineu8, src, srcWidth, srcHeight, srcStride, affineMatrix, dst, dstWidth,
                     dstHeight, dstStride, nullptr);
}

LMV_EXPORT int lmvGpuTransformAffine8x8u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                          uint32_t srcStride, const float32_t* positions, const float32_t* affines,
                                          uint32_t numPatches, uint8_t* patches, int32_t* patchStatus)
{
    srcStride = ilmvGpuStride(srcStride, srcWidth);
    if (!positions || !affines || !patchStatus || !numPatches || !fits(srcWidth, srcHeight, srcStride, srcWidth))
        return ILMV_GPU_BAD_ARGUMENT;
    ilmvGpuBlock terms(size_t(numPatches) * 32 * 4);
    if (!terms.as<void>()) return ILMV_GPU_BAD_ARGUMENT;
    std::vector<int32_t> status(numPatches);
    for (uint32_t p = 0; p < numPatches; ++p) {
        double m[6];
        ilmvPatchMatrix(positions + 2 * p, affines + 4 * p, m);
        const ilmvAffineMapping mapping(m, ilmvBilinear, 8);
        int32_t* t = terms.as<int32_t>() + 32 * size_t(p);
        for (uint32_t k = 0; k < 8; ++k) {
            t[2 * k] = mapping.dx[k], t[2 * k + 1] = mapping.dy[k];
            mapping.rowTerms(k, t[16 + 2 * k], t[17 + 2 * k]);
        }
        status[p] = ilmvPatchInside(mapping, {src, srcWidth, srcHeight, srcStride, 1}) ? 0 : 1;
    }
    const int code = ilmvGpuRun(ilmvGpuMakeCall(
        kAffine, ILMV_GPU_K_TransformAffine8x8u8,
        {imageOf(src, srcHeight, srcStride, srcWidth), {patches, uint64_t(numPatches) * 64},
         {terms.as<void>(), uint64_t(numPatches) * 128}},
        {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuImageArg(2), ilmvGpuValue(srcWidth), ilmvGpuValue(srcHeight),
         ilmvGpuValue(srcStride)},
        64, numPatches));
    if (code == 0) std::copy(status.begin(), status.end(), patchStatus);
    return code;
}

LMV_EXPORT int lmvGpuWarpPerspectiveu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                       uint8_t* dst, uint32_t dstWidth, uint32_t dstHeight, uint32_t dstStride,
                                       const float32_t* projectionMatrix)
{
    return runPerspective(ILMV_GPU_K_WarpPerspectiveu8, 1, src, srcWidth, srcHeight, srcStride, dst, dstWidth,
                          dstHeight, dstStride, projectionMatrix);
}

LMV_EXPORT int lmvGpu3ChannelWarpPerspectiveu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                               uint32_t srcStride, uint8_t* dst, uint32_t dstWidth, uint32_t dstHeight,
                                               uint32_t dstStride, const float32_t* projectionMatrix)
{
    return runPerspective(ILMV_GPU_K_WarpPerspective3Channel, 3, src, srcWidth, srcHeight, srcStride, dst, dstWidth,
                          dstHeight, dstStride, projectionMatrix);
}

LMV_EXPORT int lmvGpuRemapRGBA8888NNu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                       uint8_t* dst, uint32_t dstWidth, uint32_t dstHeight, uint32_t dstStride,
                                       const float32_t* mapX, const float32_t* mapY, uint32_t mapStride)
{
    srcStride = ilmvGpuStride(srcStride, uint64_t(srcWidth) * 4);
    dstStride = ilmvGpuStride(dstStride, uint64_t(dstWidth) * 4);
    mapStride = ilmvGpuStride(mapStride, uint64_t(dstWidth) * 4) / 4 * 4;
    if (!fits(srcWidth, srcHeight, srcStride, uint64_t(srcWidth) * 4) ||
        !fits(dstWidth, dstHeight, dstStride, uint64_t(dstWidth) * 4) || mapStride < uint64_t(dstWidth) * 4)
        return ILMV_GPU_BAD_ARGUMENT;
    return ilmvGpuRun(ilmvGpuMakeCall(
        kRemap, ILMV_GPU_K_remapRGBA8888NNu8,
        {imageOf(src, srcHeight, srcStride, uint64_t(srcWidth) * 4),
         imageOf(dst, dstHeight, dstStride, uint64_t(dstWidth) * 4),
         imageOf(mapX, dstHeight, mapStride, uint64_t(dstWidth) * 4),
         imageOf(mapY, dstHeight, mapStride, uint64_t(dstWidth) * 4)},
        {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuImageArg(2), ilmvGpuImageArg(3), ilmvGpuValue(srcWidth),
         ilmvGpuValue(srcHeight), ilmvGpuValue(srcStride), ilmvGpuValue(dstStride), ilmvGpuValue(mapStride)},
        dstWidth, dstHeight));
}

LMV_EXPORT int lmvGpuScaleDownMNu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                   uint8_t* dst, uint32_t dstWidth, uint32_t dstHeight, uint32_t dstStride)
{
    srcStride = ilmvGpuStride(srcStride, srcWidth);
    dstStride = ilmvGpuStride(dstStride, dstWidth);
    if (!fits(srcWidth, srcHeight, srcStride, srcWidth) || !fits(dstWidth, dstHeight, dstStride, dstWidth))
        return ILMV_GPU_BAD_ARGUMENT;
    std::vector<int32_t> atX, atY;
    std::vector<int16_t> wX, wY;
    uint32_t Kx, Ky, totalX, totalY;
    ilmvAreaTaps(srcWidth, dstWidth, atX, wX, Kx, totalX);
    ilmvAreaTaps(srcHeight, dstHeight, atY, wY, Ky, totalY);
    const uint64_t total = uint64_t(totalX) * totalY;
    if (total > 0xFFFFFFFFu) return ILMV_GPU_BAD_ARGUMENT;
    ilmvGpuBlock taps((atX.size() + atY.size()) * 8);
    if (!taps.as<void>()) return ILMV_GPU_BAD_ARGUMENT;
    int32_t* t = taps.as<int32_t>();
    for (size_t i = 0; i < atX.size(); ++i) t[2 * i] = atX[i], t[2 * i + 1] = wX[i];
    for (size_t i = 0; i < atY.size(); ++i) t[2 * (atX.size() + i)] = atY[i], t[2 * (atX.size() + i) + 1] = wY[i];
    return ilmvGpuRun(ilmvGpuMakeCall(
        kScale, ILMV_GPU_K_vskGpuScaleDownMNu8,
        {imageOf(src, srcHeight, srcStride, srcWidth), imageOf(dst, dstHeight, dstStride, dstWidth),
         {taps.as<void>(), uint64_t(atX.size() + atY.size()) * 8}},
        {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuImageArg(2), ilmvGpuValue(uint32_t(2 * atX.size())),
         ilmvGpuValue(Kx), ilmvGpuValue(Ky), ilmvGpuValue(uint32_t(total)), ilmvGpuValue(srcStride),
         ilmvGpuValue(dstStride)},
        dstWidth, dstHeight));
}

LMV_EXPORT int lmvGpuScaleDownBy4u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                    uint8_t* dst, uint32_t dstStride)
{
    const uint32_t outWidth = srcWidth / 4, outHeight = srcHeight / 4;
    srcStride = ilmvGpuStride(srcStride, srcWidth);
    dstStride = ilmvGpuStride(dstStride, outWidth);
    if (!fits(srcWidth, srcHeight, srcStride, srcWidth) || !fits(outWidth, outHeight, dstStride, outWidth))
        return ILMV_GPU_BAD_ARGUMENT;
    return ilmvGpuRun(ilmvGpuMakeCall(
        kScale, ILMV_GPU_K_ScaleDownBy4u8,
        {imageOf(src, srcHeight, srcStride, srcWidth), imageOf(dst, outHeight, dstStride, outWidth)},
        {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(srcStride), ilmvGpuValue(dstStride)}, outWidth,
        outHeight));
}

LMV_EXPORT int lmvGpuScaleUpBy2Gaussian5x5u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                             uint32_t srcStride, uint8_t* dst, uint32_t dstStride)
{
    srcStride = ilmvGpuStride(srcStride, srcWidth);
    dstStride = ilmvGpuStride(dstStride, uint64_t(srcWidth) * 2);
    if (!fits(srcWidth, srcHeight, srcStride, srcWidth) || !fits(2 * srcWidth, 2 * srcHeight, dstStride, 2 * srcWidth))
        return ILMV_GPU_BAD_ARGUMENT;
    return ilmvGpuRun(ilmvGpuMakeCall(
        kScale, ILMV_GPU_K_ScaleUpBy2Gaussianu8,
        {imageOf(src, srcHeight, srcStride, srcWidth), imageOf(dst, 2 * srcHeight, dstStride, 2 * uint64_t(srcWidth))},
        {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(srcWidth), ilmvGpuValue(srcHeight),
         ilmvGpuValue(srcStride), ilmvGpuValue(dstStride)},
        2 * size_t(srcWidth), 2 * size_t(srcHeight)));
}

}  // extern "C"
