// GPU engines of image analysis: the integral image (a row scan, then a column scan), the
// intensity histogram (per-band partial histograms, then their sum), intensity statistics
// (per-row sums, then their total) and the bounding rectangle (per-chunk extremes, then
// theirs). Partial results live in blocks of the engine's own; every sum is integer, so each
// engine gives the reference form's results.
#include "cpu/lumivaAnalysis.h"
#include "gpgpu/engine/lumivaGpuEngine.h"
#include "lumiva/lumivaGpu.h"

#include <algorithm>
#include <cstring>

namespace {

const ILMV_GPU_ENGINE kIntegral = {"src/gpgpu/engine/vskGpuIntegrateImage", "integrate image"};
const ILMV_GPU_ENGINE kHistogram = {"src/gpgpu/engine/vskGpuImageIntensityHistogram", "histogram"};
const ILMV_GPU_ENGINE kStats = {"src/gpgpu/engine/vskGpuImageIntensityStats", "intensity stats"};
const ILMV_GPU_ENGINE kRectangle = {"src/gpgpu/engine/vskGpuBoundingRectangle", "bounding rectangle"};

// Rows a histogram band kernel item walks: enough items to fill a device, few enough that
// the partial histograms stay small.
constexpr uint32_t kHistogramBands = 64;
constexpr uint32_t kRectangleChunk = 256;

ILMV_GPU_IMAGE imageOf(const void* p, uint32_t rows, uint32_t stride, uint64_t rowBytes)
{
    return {p, ilmvGpuSpan(rows, stride, rowBytes)};
}

bool fits(uint32_t w, uint32_t h, uint32_t stride, uint64_t rowBytes)
{
    return ilmvGpuSizesFit(w, h) && stride >= rowBytes;
}

}  // namespace

extern "C" {

LMV_EXPORT int lmvGpuIntegrateImageu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                      uint32_t* dst, uint32_t dstStride)
{
    srcStride = ilmvGpuStride(srcStride, srcWidth);
    dstStride = ilmvGpuStride(dstStride, (uint64_t(srcWidth) + 1) * 4) / 4 * 4;  // whole sums
    if (!fits(srcWidth, srcHeight, srcStride, srcWidth) || !fits(srcWidth + 1, srcHeight + 1, dstStride,
                                                                 (uint64_t(srcWidth) + 1) * 4))
        return ILMV_GPU_BAD_ARGUMENT;
    const ILMV_GPU_IMAGE out = imageOf(dst, srcHeight + 1, dstStride, (uint64_t(srcWidth) + 1) * 4);
    const int code = ilmvGpuRun(ilmvGpuMakeCall(
        kIntegral, ILMV_GPU_K_integrateScanRows, {imageOf(src, srcHeight, srcStride, srcWidth), out},
        {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(srcWidth), ilmvGpuValue(srcStride),
         ilmvGpuValue(dstStride)},
        size_t(srcHeight) + 1, 1));
    if (code) return code;
    return ilmvGpuRun(ilmvGpuMakeCall(kIntegral, ILMV_GPU_K_integrateScanCols, {out},
                                      {ilmvGpuImageArg(0), ilmvGpuValue(srcHeight), ilmvGpuValue(dstStride)},
                                      size_t(srcWidth) + 1, 1));
}

LMV_EXPORT int lmvGpuImageIntensityHistogram(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                             uint32_t srcStride, uint32_t* histogram)
{
    srcStride = ilmvGpuStride(srcStride, srcWidth);
    if (!histogram || !fits(srcWidth, srcHeight, srcStride, srcWidth)) return ILMV_GPU_BAD_ARGUMENT;
    const uint32_t bands = std::min(srcHeight, kHistogramBands);
    ilmvGpuBlock partial(size_t(bands) * 256 * 4), total(256 * 4);
    if (!partial.as<void>() || !total.as<void>()) return ILMV_GPU_BAD_ARGUMENT;
    const ILMV_GPU_IMAGE partials = {partial.as<void>(), uint64_t(bands) * 256 * 4};
    int code = ilmvGpuRun(ilmvGpuMakeCall(
        kHistogram, ILMV_GPU_K_HistPartialStep1, {imageOf(src, srcHeight, srcStride, srcWidth), partials},
        {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(srcWidth), ilmvGpuValue(srcHeight),
         ilmvGpuValue(srcStride), ilmvGpuValue(bands)},
        bands, 1));
    if (!code)
        code = ilmvGpuRun(ilmvGpuMakeCall(kHistogram, ILMV_GPU_K_HistPartialStep2,
                                          {partials, {total.as<void>(), 256 * 4}},
                                          {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(bands)}, 256, 1));
    if (!code) std::memcpy(histogram, total.as<void>(), 256 * 4);
    return code;
}

LMV_EXPORT int lmvGpuImageIntensityStats(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                         uint32_t srcStride, uint32_t xBegin, uint32_t yBegin, uint32_t recWidth,
                                         uint32_t recHeight, float32_t* mean, float32_t* variance)
{
    srcStride = ilmvGpuStride(srcStride, srcWidth);
    if (!mean || !variance || !fits(srcWidth, srcHeight, srcStride, srcWidth) || !recWidth || !recHeight ||
        uint64_t(xBegin) + recWidth > srcWidth || uint64_t(yBegin) + recHeight > srcHeight)
        return ILMV_GPU_BAD_ARGUMENT;
    ilmvGpuBlock sums((size_t(recHeight) + 1) * 16);
    if (!sums.as<void>()) return ILMV_GPU_BAD_ARGUMENT;
    const ILMV_GPU_IMAGE rows = {sums.as<void>(), (uint64_t(recHeight) + 1) * 16};
    int code = ilmvGpuRun(ilmvGpuMakeCall(
        kStats, ILMV_GPU_K_ImageIntensityStatsPartial, {imageOf(src, srcHeight, srcStride, srcWidth), rows},
        {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(xBegin), ilmvGpuValue(yBegin), ilmvGpuValue(recWidth),
         ilmvGpuValue(srcStride)},
        recHeight, 1));
    if (!code)
        code = ilmvGpuRun(ilmvGpuMakeCall(kStats, ILMV_GPU_K_ImageIntensityStatsReduce, {rows},
                                          {ilmvGpuImageArg(0), ilmvGpuValue(recHeight)}, 1, 1));
    if (code) return code;
    const uint64_t* totals = sums.as<uint64_t>();
    ilmvStatsFromSums(totals[0], totals[1], uint64_t(recWidth) * recHeight, 0, mean, variance);
    return 0;
}

LMV_EXPORT int lmvGpuBoundingRectangle(const uint32_t* xy, uint32_t numPoints, uint32_t* rectTopLeftX,
                                       uint32_t* rectTopLeftY, uint32_t* rectBotRightX, uint32_t* rectBotRightY)
{
    if (!numPoints || numPoints > 0x3FFFFFFFu || !rectTopLeftX || !rectTopLeftY || !rectBotRightX || !rectBotRightY)
        return ILMV_GPU_BAD_ARGUMENT;
    const uint32_t chunks = (numPoints + kRectangleChunk - 1) / kRectangleChunk;
    ilmvGpuBlock boxes((size_t(chunks) + 1) * 16);
    if (!boxes.as<void>()) return ILMV_GPU_BAD_ARGUMENT;
    const ILMV_GPU_IMAGE box = {boxes.as<void>(), (uint64_t(chunks) + 1) * 16};
    int code = ilmvGpuRun(ilmvGpuMakeCall(
        kRectangle, ILMV_GPU_K_BoundingRectanglePartial, {{xy, uint64_t(numPoints) * 8}, box},
        {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(numPoints), ilmvGpuValue(kRectangleChunk)}, chunks,
        1));
    if (!code)
        code = ilmvGpuRun(ilmvGpuMakeCall(kRectangle, ILMV_GPU_K_BoundingRectangleReduce, {box},
                                          {ilmvGpuImageArg(0), ilmvGpuValue(chunks)}, 1, 1));
    if (code) return code;
    const uint32_t* r = boxes.as<uint32_t>();
    *rectTopLeftX = r[0], *rectTopLeftY = r[1], *rectBotRightX = r[2], *rectBotRightY = r[3];
    return 0;
}

}  // extern "C"
