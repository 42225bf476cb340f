// GPU engines of thresholds, Sobel, gradients, Canny and the Hough transforms. Threshold,
// Sobel and gradient are one kernel on the caller's blocks. Canny runs its stages as kernels
// over blocks of its own (magnitudes, the edge map, a change flag) and repeats the hysteresis
// sweeps until nothing changes. The Hough engines find edges on the CPU and vote on the GPU
// with the reference form's tables, so the votes, and the results, are the reference's.
#include "cpu/lumivaEdge.h"
#include "gpgpu/engine/lumivaGpuEngine.h"
#include "lumiva/lumivaGpu.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

// Texts of the threshold engine: arguments 7 and 8 report the numbers 4 and 5.
const int kThresholdArgNumbers[9] = {0, 1, 2, 3, 4, 5, 6, 4, 5};
const ILMV_GPU_ENGINE kThreshold = {"src/gpgpu/engine/vskGpuThreshold", "threshold", "filter threshold", 88,
                                    kThresholdArgNumbers};
const ILMV_GPU_ENGINE kSobel = {"src/gpgpu/engine/vskGpuFilterSobel", "sobel"};
const ILMV_GPU_ENGINE kGradient = {"src/gpgpu/engine/vskGpuImageGradient", "gradient"};
const ILMV_GPU_ENGINE kCanny = {"src/gpgpu/engine/vskGpuFilterCanny", "canny"};
const ILMV_GPU_ENGINE kHough = {"src/gpgpu/engine/vskGpuHough", "hough"};

bool registered(const void* host)
{
    const ILMV_GPU_PTR_ENTRY* entry = host ? _gpuGetCLBuf(host) : nullptr;
    return entry && entry->buffer;
}

// The hysteresis sweeps of one Canny engine until a full pass changes nothing.
int sweepUntilStable(const ILMV_GPU_CALL& rows, const ILMV_GPU_CALL& columns, uint32_t* flag)
{
    do {
        *flag = 0;
        int code = ilmvGpuRun(rows);
        if (code == 0) code = ilmvGpuRun(columns);
        if (code) return code;
    } while (*flag);
    return 0;
}

struct CannyJob {
    const uint8_t* src;
    uint32_t w, h, srcStride;
    uint8_t* dst;
    uint32_t dstStride;
    int32_t low, high;
};

// Checks what both Canny engines need; the padded magnitude and map sizes.
int cannyCheck(CannyJob* job)
{
    job->srcStride = ilmvGpuStride(job->srcStride, job->w);
    job->dstStride = ilmvGpuStride(job->dstStride, job->w);
    if (!ilmvGpuSizesFit(job->w, job->h) || job->w > 0xFFFFu || job->h > 0xFFFFu || job->src == job->dst ||
        job->srcStride < job->w || job->dstStride < job->w)
        return ILMV_GPU_BAD_ARGUMENT;
    if (job->low > job->high) std::swap(job->low, job->high);
    return 0;
}

int voteLinesOnGpu(ilmvLineVotes* job)
{
    const size_t cells = (size_t(job->numAngle) + 2) * (size_t(job->numRho) + 2);
    ilmvGpuBlock trig(size_t(job->numAngle) * 2 * sizeof(float32_t)), votes(cells * 4), peaks(cells);
    if (!trig.as<void>() || !votes.as<void>() || !peaks.as<void>()) return ILMV_GPU_BAD_ARGUMENT;
    std::copy_n(job->sinTab, job->numAngle, trig.as<float32_t>());
    std::copy_n(job->cosTab, job->numAngle, trig.as<float32_t>() + job->numAngle);
    const ILMV_GPU_IMAGE source = {job->src, ilmvGpuSpan(job->h, job->srcStride, job->w)};
    const ILMV_GPU_IMAGE table = {trig.as<void>(), uint64_t(job->numAngle) * 8};
    const ILMV_GPU_IMAGE accumulator = {votes.as<void>(), cells * 4}, marks = {peaks.as<void>(), cells};
    int code = ilmvGpuRun(ilmvGpuMakeCall(kHough, ILMV_GPU_K_HoughLineVote, {source, table, accumulator},
                                   {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuImageArg(2), ilmvGpuValue(job->w),
                                    ilmvGpuValue(job->h), ilmvGpuValue(job->srcStride), ilmvGpuValue(job->numAngle),
                                    ilmvGpuValue(job->numRho)},
                                   job->w, job->h));
    if (code == 0)
        code = ilmvGpuRun(ilmvGpuMakeCall(kHough, ILMV_GPU_K_HoughLinePeaks, {accumulator, marks},
                                   {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(job->numAngle),
                                    ilmvGpuValue(job->numRho), ilmvGpuValue(job->threshold)},
                                   job->numRho, job->numAngle));
    if (code) return code;
    std::copy_n(votes.as<uint32_t>(), cells, job->votes);
    std::copy_n(peaks.as<uint8_t>(), cells, job->peaks);
    return 0;
}

int voteCirclesOnGpu(ilmvCircleVotes* job)
{
    const size_t cells = (size_t(job->aw) + 2) * (size_t(job->ah) + 2), edges = std::max<size_t>(job->count, 1);
    ilmvGpuBlock xy(edges * 8), dir(edges * 8), votes(cells * 4), peaks(cells);
    if (!xy.as<void>() || !dir.as<void>() || !votes.as<void>() || !peaks.as<void>()) return ILMV_GPU_BAD_ARGUMENT;
    std::copy_n(job->xy, size_t(job->count) * 2, xy.as<uint32_t>());
    std::copy_n(job->dir, size_t(job->count) * 2, dir.as<int32_t>());
    const ILMV_GPU_IMAGE points = {xy.as<void>(), edges * 8}, ways = {dir.as<void>(), edges * 8};
    const ILMV_GPU_IMAGE accumulator = {votes.as<void>(), cells * 4}, marks = {peaks.as<void>(), cells};
    int code = 0;
    if (job->count)
        code = ilmvGpuRun(ilmvGpuMakeCall(
            kHough, ILMV_GPU_K_HoughCircleVote, {points, ways, accumulator},
            {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuImageArg(2), ilmvGpuValue(job->count),
             ilmvGpuValue(job->aw), ilmvGpuValue(job->ah), ilmvGpuValue(uint32_t(uint64_t(job->cell) & 0xFFFFFFFFu)),
             ilmvGpuValue(uint32_t(uint64_t(job->cell) >> 32)), ilmvGpuValue(job->minRadius),
             ilmvGpuValue(job->maxRadius)},
            job->count, 1));
    if (code == 0)
        code = ilmvGpuRun(ilmvGpuMakeCall(kHough, ILMV_GPU_K_HoughCirclePeaks, {accumulator, marks},
                                   {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(job->aw),
                                    ilmvGpuValue(job->ah), ilmvGpuValue(job->threshold)},
                                   job->aw, job->ah));
    if (code) return code;
    std::copy_n(votes.as<uint32_t>(), cells, job->votes);
    std::copy_n(peaks.as<uint8_t>(), cells, job->peaks);
    return 0;
}

}  // namespace

extern "C" {

LMV_EXPORT int lmvGpuFilterThresholdu8(const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride,
                                       uint8_t* dst, uint32_t dstStride, int32_t threshold)
{
    const ILMV_GPU_SYSTEM* system = ilmvGpuSystem();
    if (threshold < 0 || !system || !system->initialised) return ILMV_GPU_BAD_ARGUMENT;
    srcStride = ilmvGpuStride(srcStride, width);
    dstStride = ilmvGpuStride(dstStride, width);
    // The kernels take sizes and strides as 16-bit values.
    if (!width || !height || width > 0xFFFFu || height > 0xFFFFu || srcStride > 0xFFFFu || dstStride > 0xFFFFu ||
        srcStride < width || dstStride < width)
        return ILMV_GPU_BAD_ARGUMENT;
    const bool wide = width % 16 == 0;
    const uint32_t stepX = wide ? 16 : 2, stepY = wide ? 8 : 2;
    const uint32_t itemsX = width / stepX, itemsY = height / stepY;
    ILMV_GPU_CALL call = ilmvGpuMakeCall(
        kThreshold, wide ? ILMV_GPU_K_Threshold_16 : ILMV_GPU_K_Threshold_2,
        {{src, ilmvGpuSpan(height, srcStride, width)}, {dst, ilmvGpuSpan(height, dstStride, width)}},
        {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue16(width), ilmvGpuValue16(height),
         ilmvGpuValue16(width - itemsX * stepX), ilmvGpuValue16(height - itemsY * stepY), ilmvGpuValue8(uint32_t(threshold)),
         ilmvGpuValue16(srcStride), ilmvGpuValue16(dstStride)},
        itemsX, itemsY);
    return ilmvGpuRun(call);
}

LMV_EXPORT int lmvGpuFilterSobel3x3u8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                      uint8_t* dst, uint32_t dstStride)
{
    // Widths that are a multiple of 4 take four pixels per work item.
    const bool quads = srcWidth % 4 == 0;
    const size_t items[2] = {quads ? srcWidth / 4 : srcWidth, srcHeight};
    return ilmvGpuRunFilter(kSobel, quads ? ILMV_GPU_K_vskSobelTransform : ILMV_GPU_K_FilterSobel3x3u8, src, srcWidth,
                            srcHeight, srcStride, 1, dst, dstStride, 1, {}, items);
}

LMV_EXPORT int lmvGpuImageGradientInterleavedf32(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight,
                                                 uint32_t srcStride, float32_t* gradients, uint32_t dstStride)
{
    return ilmvGpuRunFilter(kGradient, ILMV_GPU_K_ImageGradientInterleavedf32, src, srcWidth, srcHeight, srcStride, 1,
                            gradients, dstStride, 8);
}

LMV_EXPORT int lmvGpuFilterCanny3x3u8(const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride,
                                      uint8_t* dst, uint32_t dstStride, uint8_t lowThresh, uint8_t highThresh)
{
    CannyJob job = {src, width, height, srcStride, dst, dstStride, lowThresh, highThresh};
    if (const int code = cannyCheck(&job)) return code;
    const size_t pixels = size_t(width) * height, padded = (size_t(width) + 2) * (size_t(height) + 2);
    ilmvGpuBlock grad(pixels * 4), mag(padded * 4), map(padded, 1), flag(4);
    if (!grad.as<void>() || !mag.as<void>() || !map.as<void>() || !flag.as<void>()) return ILMV_GPU_BAD_ARGUMENT;
    const ILMV_GPU_IMAGE source = {src, ilmvGpuSpan(height, job.srcStride, width)};
    const ILMV_GPU_IMAGE g = {grad.as<void>(), pixels * 4}, m = {mag.as<void>(), padded * 4};
    const ILMV_GPU_IMAGE e = {map.as<void>(), padded}, f = {flag.as<void>(), 4};
    const ILMV_GPU_IMAGE out = {dst, ilmvGpuSpan(height, job.dstStride, width)};
    const ILMV_GPU_ARG a0 = ilmvGpuImageArg(0), a1 = ilmvGpuImageArg(1), a2 = ilmvGpuImageArg(2);
    const ILMV_GPU_ARG w = ilmvGpuValue(width), h = ilmvGpuValue(height);
    int code = ilmvGpuRun(ilmvGpuMakeCall(kCanny, ILMV_GPU_K_CannyGradientFCRest, {source, g, m},
                                   {a0, a1, a2, w, h, ilmvGpuValue(job.srcStride)}, width, height));
    if (code == 0)
        code = ilmvGpuRun(ilmvGpuMakeCall(kCanny, ILMV_GPU_K_CannyFindMax, {g, m, e}, {a0, a1, a2, w, h, ilmvGpuValue(job.low)},
                                   width, height));
    if (code == 0)
        code = ilmvGpuRun(ilmvGpuMakeCall(kCanny, ILMV_GPU_K_CannyLowHigh, {m, e}, {a0, a1, w, h, ilmvGpuValue(job.high)},
                                   width, height));
    if (code == 0)
        code = sweepUntilStable(ilmvGpuMakeCall(kCanny, ILMV_GPU_K_CannyFindEdge, {e, f}, {a0, a1, w, h}, 1, height),
                                ilmvGpuMakeCall(kCanny, ILMV_GPU_K_CannyFindEdge2, {e, f}, {a0, a1, w, h}, width, 1),
                                flag.as<uint32_t>());
    if (code == 0)
        code = ilmvGpuRun(ilmvGpuMakeCall(kCanny, ILMV_GPU_K_CannyFindEdge3, {e, out},
                                   {a0, a1, w, h, ilmvGpuValue(job.dstStride)}, width, height));
    return code;
}

LMV_EXPORT int lmvGpuFilterCanny3x3u8V2(const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride,
                                        uint8_t* dst, uint32_t dstStride, uint8_t lowThresh, uint8_t highThresh,
                                        int16_t* gx, int16_t* gy, uint32_t gradStride)
{
    CannyJob job = {src, width, height, srcStride, dst, dstStride, lowThresh, highThresh};
    if (const int code = cannyCheck(&job)) return code;
    gradStride = ilmvGpuStride(gradStride, uint64_t(width) * 2);
    if (!gx || !gy || gx == gy || gradStride < uint64_t(width) * 2 || gradStride % 2) return ILMV_GPU_BAD_ARGUMENT;
    const size_t padded = (size_t(width) + 2) * (size_t(height) + 2);
    ilmvGpuBlock mag(padded * 4), map(padded, 1), flag(4);
    if (!mag.as<void>() || !map.as<void>() || !flag.as<void>()) return ILMV_GPU_BAD_ARGUMENT;
    const uint64_t gradSpan = ilmvGpuSpan(height, gradStride, uint64_t(width) * 2);
    const ILMV_GPU_IMAGE source = {src, ilmvGpuSpan(height, job.srcStride, width)};
    const ILMV_GPU_IMAGE x = {gx, gradSpan}, y = {gy, gradSpan}, m = {mag.as<void>(), padded * 4};
    const ILMV_GPU_IMAGE e = {map.as<void>(), padded}, f = {flag.as<void>(), 4};
    const ILMV_GPU_IMAGE out = {dst, ilmvGpuSpan(height, job.dstStride, width)};
    const ILMV_GPU_ARG a0 = ilmvGpuImageArg(0), a1 = ilmvGpuImageArg(1), a2 = ilmvGpuImageArg(2), a3 = ilmvGpuImageArg(3);
    const ILMV_GPU_ARG w = ilmvGpuValue(width), h = ilmvGpuValue(height), gs = ilmvGpuValue(gradStride);
    int code = ilmvGpuRun(ilmvGpuMakeCall(kCanny, ILMV_GPU_K_CannyGradientFCRestV2, {source, x, y, m},
                                   {a0, a1, a2, a3, w, h, ilmvGpuValue(job.srcStride), gs}, width, height));
    if (code == 0)
        code = ilmvGpuRun(ilmvGpuMakeCall(kCanny, ILMV_GPU_K_CannyFindMaxV2, {x, y, m, e},
                                   {a0, a1, a2, a3, w, h, gs, ilmvGpuValue(job.low), ilmvGpuValue(job.high)}, width,
                                   height));
    if (code == 0)
        code = sweepUntilStable(
            ilmvGpuMakeCall(kCanny, ILMV_GPU_K_CannyLowHighV2, {e, f}, {a0, a1, w, h, ilmvGpuValue(0u)}, 1, height),
            ilmvGpuMakeCall(kCanny, ILMV_GPU_K_CannyLowHighV2, {e, f}, {a0, a1, w, h, ilmvGpuValue(1u)}, width, 1),
            flag.as<uint32_t>());
    if (code == 0)
        code = ilmvGpuRun(ilmvGpuMakeCall(kCanny, ILMV_GPU_K_CannyFindEdgeV2, {e, out},
                                   {a0, a1, w, h, ilmvGpuValue(job.dstStride)}, width, height));
    return code;
}

LMV_EXPORT int lmvGpuHoughLineu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                 float32_t rhoStep, float32_t thetaStep, uint32_t threshold, float32_t* lines,
                                 uint32_t maxLines, uint32_t* numLines)
{
    srcStride = ilmvGpuStride(srcStride, srcWidth);
    if (!ilmvGpuSizesFit(srcWidth, srcHeight) || srcStride < srcWidth || !lines || !numLines || !(rhoStep > 0) ||
        !(thetaStep > 0))
        return ILMV_GPU_BAD_ARGUMENT;
    if (!registered(src)) return ILMV_GPU_NOT_REGISTERED;
    return ilmvHoughLines(src, srcWidth, srcHeight, srcStride, rhoStep, thetaStep, threshold, lines, maxLines,
                          numLines, voteLinesOnGpu);
}

LMV_EXPORT int lmvGpuHoughCircleu8(const uint8_t* src, uint32_t srcWidth, uint32_t srcHeight, uint32_t srcStride,
                                   float32_t dp, float32_t minDist, uint32_t cannyThresh, uint32_t accThresh,
                                   uint32_t minRadius, uint32_t maxRadius, float32_t* circles, uint32_t maxCircles,
                                   uint32_t* numCircles)
{
    srcStride = ilmvGpuStride(srcStride, srcWidth);
    if (!ilmvGpuSizesFit(srcWidth, srcHeight) || srcStride < srcWidth || !circles || !numCircles || !(dp >= 1) ||
        minRadius > maxRadius || maxRadius >= 65536)
        return ILMV_GPU_BAD_ARGUMENT;
    if (!registered(src)) return ILMV_GPU_NOT_REGISTERED;
    return ilmvHoughCircles(src, srcWidth, srcHeight, srcStride, dp, minDist, cannyThresh, accThresh, minRadius,
                            maxRadius, circles, maxCircles, numCircles, voteCirclesOnGpu);
}

}  // extern "C"
