// The Lucas-Kanade engine: for each feature, coarse to fine, the window of the first frame
// is sampled once with its gradients, and the window of the second frame is moved by
// least-squares steps until the step is small, oscillates or the iterations run out.
#include "cpu/lumivaLK.h"
#include "lumiva/lumivaMemory.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

int getRectSubPix(const uint8_t* image, uint32_t width, uint32_t height, uint32_t stride, float32_t* dst, int dstW,
                  int dstH, float32_t cx, float32_t cy)
{
    if (dstW < 1 || dstH < 1) return -1;
    const float32_t x0 = cx - (dstW - 1) * 0.5f, y0 = cy - (dstH - 1) * 0.5f;
    const float32_t fx = std::floor(x0), fy = std::floor(y0);
    const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
    // a is kept away from 0 so that the carry below may divide by it.
    const float32_t a = std::max(x0 - fx, 0.0001f), b = y0 - fy;
    auto px = [&](int col, int row) {
        col = std::clamp(col, 0, int(width) - 1);
        row = std::clamp(row, 0, int(height) - 1);
        return static_cast<float32_t>(image[size_t(row) * stride + size_t(col)]);
    };
    const bool inside = ix >= 0 && iy >= 0 && ix + dstW < int(width) && iy + dstH < int(height);
    for (int r = 0; r < dstH; ++r) {
        const int row = iy + r;
        if (inside) {
            // The same arithmetic without the edge clamps.
            const uint8_t* p0 = image + size_t(row) * stride + ix;
            const uint8_t* p1 = p0 + stride;
            float32_t carry = (1 - a) * ((1 - b) * float32_t(p0[0]) + b * float32_t(p1[0]));
            for (int j = 0; j < dstW; ++j) {
                const float32_t t = a * (1 - b) * float32_t(p0[j + 1]) + a * b * float32_t(p1[j + 1]);
                dst[r * dstW + j] = carry + t;
                carry = t * (1 - a) / a;
            }
            continue;
        }
        // out = (1-a)(1-b) p00 + a(1-b) p10 + (1-a) b p01 + a b p11, left to right with a carry.
        float32_t carry = (1 - a) * ((1 - b) * px(ix, row) + b * px(ix, row + 1));
        for (int j = 0; j < dstW; ++j) {
            const float32_t t = a * (1 - b) * px(ix + j + 1, row) + a * b * px(ix + j + 1, row + 1);
            dst[r * dstW + j] = carry + t;
            carry = t * (1 - a) / a;
        }
    }
    return 0;
}

void ilmvIxIyReference(const float32_t* s, float32_t* ix, float32_t* iy, float32_t* work, int w, int h)
{
    float32_t* A = work;
    float32_t* B = work + w;
    for (int r = 0; r + 2 < h; ++r) {
        const float32_t* s0 = s + r * w;
        const float32_t* s1 = s0 + w;
        const float32_t* s2 = s1 + w;
        for (int x = 0; x < w; ++x) {
            A[x] = (s0[x] + s2[x]) * 0.09375f + s1[x] * 0.3125f;
            B[x] = s2[x] - s0[x];
        }
        for (int x = 0; x + 2 < w; ++x) {
            ix[r * (w - 2) + x] = A[x + 2] - A[x];
            iy[r * (w - 2) + x] = (B[x] + B[x + 2]) * 0.09375f + B[x + 1] * 0.3125f;
        }
    }
}

namespace {

// The valid part of a window: columns c0 .. c1, rows r0 .. r1, ends exclusive.
struct Span {
    int c0, c1, r0, r1;
    bool empty() const { return c0 >= c1 || r0 >= r1; }
    bool operator!=(const Span& o) const { return c0 != o.c0 || c1 != o.c1 || r0 != o.r0 || r1 != o.r1; }
};

Span windowAt(float32_t x, float32_t y, int hw, int hh, int pw, int ph, int lw, int lh)
{
    // A position beyond any image, or not a number, has no pixels in its window; the test
    // also keeps the conversions below in the range of int.
    constexpr float32_t kFar = 1 << 30;
    if (!(std::fabs(x) < kFar && std::fabs(y) < kFar)) return {0, 0, 0, 0};
    const int ix = static_cast<int>(std::floor(x)) - hw, iy = static_cast<int>(std::floor(y)) - hh;
    return {std::max(0, -ix), std::min(lw - ix, pw), std::max(0, -iy), std::min(lh - iy, ph)};
}

struct Level {
    const uint8_t* image1;
    const uint8_t* image2;
    uint32_t width, height, stride1, stride2;
    float32_t scale;
};

// Adds term(r, c) into four running sums by column within the row, mod 4.
template <int N, class Term>
void windowSums(int w, int h, Term term, float32_t out[N])
{
    float32_t acc[N][4] = {};
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            float32_t t[N];
            term(r, c, t);
            for (int k = 0; k < N; ++k) acc[k][c & 3] += t[k];
        }
    for (int k = 0; k < N; ++k) out[k] = (acc[k][0] + acc[k][1]) + (acc[k][2] + acc[k][3]);
}

void gradientSumsC(const float32_t* gx, const float32_t* gy, int stride, int w, int h, float32_t out[3])
{
    windowSums<3>(w, h, [&](int r, int c, float32_t* t) {
        const float32_t a = gx[r * stride + c], b = gy[r * stride + c];
        t[0] = a * a;
        t[1] = a * b;
        t[2] = b * b;
    }, out);
}

void mismatchSumsC(const float32_t* p1, int p1Stride, const float32_t* p2, int p2Stride, const float32_t* gx,
                   const float32_t* gy, int gStride, int w, int h, float32_t out[2])
{
    windowSums<2>(w, h, [&](int r, int c, float32_t* t) {
        const float32_t diff = p1[r * p1Stride + c] - p2[r * p2Stride + c];
        t[0] = diff * gx[r * gStride + c];
        t[1] = diff * gy[r * gStride + c];
    }, out);
}

}  // namespace

extern "C" {
ilmvIxIyFn calcIxIy_32fC = ilmvIxIyReference;
}

namespace {

// The reference gradients go through the replaceable pointer, read at each call.
void ixIyThroughPointer(const float32_t* src, float32_t* ix, float32_t* iy, float32_t* work, int w, int h)
{
    calcIxIy_32fC(src, ix, iy, work, w, h);
}

}  // namespace

const ILMV_LK_KERNELS& ilmvLKKernelsC()
{
    static const ILMV_LK_KERNELS kernels = {getRectSubPix, ixIyThroughPointer, gradientSumsC, mismatchSumsC};
    return kernels;
}

ILMV_LK_TERMINATION ilmvLKTermination(int32_t termCriteria, int32_t maxIterations, float32_t maxEpsilon)
{
    ILMV_LK_TERMINATION stop{std::clamp(maxIterations, 1, 100), std::clamp(maxEpsilon, 0.0f, 10.0f)};
    if (termCriteria == 0) stop.epsilon = 0.0009f;  // iterations only
    if (termCriteria == 1) stop.iterations = 30;    // epsilon only
    return stop;
}

size_t ilmvLKScratchSize(int windowWidth, int windowHeight, int nPyramidLevels)
{
    const uint64_t pw = 2 * uint64_t(std::max(windowWidth >> 1, 0)) + 1, ph = 2 * uint64_t(std::max(windowHeight >> 1, 0)) + 1;
    // A side beyond a million pixels could never be allocated; saying so here also keeps
    // the arithmetic below from wrapping.
    constexpr uint64_t kWidest = uint64_t(1) << 20;
    if (pw > kWidest || ph > kWidest) return SIZE_MAX;
    // Two level pointers and a scale per level, then the patches and gradients.
    const uint64_t bytes = (3 * pw * ph + (pw + 2) * (ph + 2)) * 4 + (2 * sizeof(void*) + 4) * uint64_t(std::max(nPyramidLevels, 0));
    return bytes < SIZE_MAX ? size_t(bytes) : SIZE_MAX;
}

void lkOpticalFlow_v3(const ILMV_LK_KERNELS& kernels, const uint8_t* src1, const uint8_t* src2, uint32_t width, uint32_t height, uint32_t stride,
                      const lmvPyramidLevel_v2* src1Pyr, const lmvPyramidLevel_v2* src2Pyr, const float32_t* featureXY,
                      float32_t* featureXY_out, int32_t* featureStatus, int32_t featureLen, int32_t windowWidth,
                      int32_t windowHeight, int32_t nPyramidLevels, int32_t termCriteria, int32_t maxIterations,
                      float32_t maxEpsilon, void* scratch, size_t scratchSize)
{
    const int hw = windowWidth >> 1, hh = windowHeight >> 1, pw = 2 * hw + 1, ph = 2 * hh + 1;
    if (!scratch || !src1Pyr || !src2Pyr || !featureXY || !featureXY_out || !src1 || !src2 || featureLen < 1 ||
        hw < 2 || hh < 2 || nPyramidLevels < 0 || scratchSize < ilmvLKScratchSize(windowWidth, windowHeight, nPyramidLevels))
        return;
    (void)width;
    (void)height;
    std::vector<Level> levels(size_t(std::max(nPyramidLevels, 0)));
    float32_t scale = 1.0f;
    for (int L = 0; L < nPyramidLevels; ++L) {
        const lmvPyramidLevel_v2& a = src1Pyr[L];
        const lmvPyramidLevel_v2& b = src2Pyr[L];
        const uint32_t stride0 = stride ? stride : a.stride ? a.stride : a.width;
        levels[L] = {L ? static_cast<const uint8_t*>(a.ptr) : src1, L ? static_cast<const uint8_t*>(b.ptr) : src2,
                     a.width, a.height, L ? a.stride : stride0, L ? b.stride : stride0, scale};
        scale *= 0.5f;
    }
    for (int32_t i = 0; i < featureLen; ++i) featureStatus[i] = 1;
    if (nPyramidLevels < 1) return;

    const ILMV_LK_TERMINATION stop = ilmvLKTermination(termCriteria, maxIterations, maxEpsilon);
    const float32_t eps = stop.epsilon;
    const int iterations = stop.iterations;

    // The patch buffers follow the level tables in the scratch block.
    float32_t* patch1 = reinterpret_cast<float32_t*>(static_cast<uint8_t*>(scratch) + (2 * sizeof(void*) + 4) * size_t(nPyramidLevels));
    float32_t* patch2 = patch1 + (pw + 2) * (ph + 2);
    float32_t* gx = patch2 + pw * ph;
    float32_t* gy = gx + pw * ph;

    for (int L = nPyramidLevels - 1; L >= 0; --L) {
        const Level& lv = levels[L];
        const int lw = int(lv.width), lh = int(lv.height);
        for (int32_t i = 0; i < featureLen; ++i) {
            if (featureStatus[i] != 1) continue;
            float32_t x = featureXY_out[2 * i], y = featureXY_out[2 * i + 1];
            if (L == nPyramidLevels - 1) {
                x *= lv.scale;
                y *= lv.scale;
            } else {
                x *= 2.0f;
                y *= 2.0f;
            }
            const float32_t p1x = featureXY[2 * i] * lv.scale, p1y = featureXY[2 * i + 1] * lv.scale;
            const Span w1 = windowAt(p1x, p1y, hw, hh, pw, ph, lw, lh);
            if (w1.empty()) {
                featureStatus[i] = -4;  // the output keeps the coarser level's position
                continue;
            }
            const int vw = w1.c1 - w1.c0, vh = w1.r1 - w1.r0;
            kernels.subPix(lv.image1, lv.width, lv.height, lv.stride1, patch1, vw + 2, vh + 2,
                          p1x + 0.5f * float32_t(w1.c0 + w1.c1 - 2 * hw - 2),
                          p1y + 0.5f * float32_t(w1.r0 + w1.r1 - 2 * hh - 2));
            kernels.ixIy(patch1, gx, gy, patch2, vw + 2, vh + 2);

            Span previous{-1, -1, -1, -1};
            float32_t gxx = 0, gxy = 0, gyy = 0, invDet = 0, prevDx = 0, prevDy = 0;
            int32_t status = 1;
            for (int k = 0; k < iterations; ++k) {
                Span w2 = windowAt(x, y, hw, hh, pw, ph, lw, lh);
                w2 = {std::max(w2.c0, w1.c0), std::min(w2.c1, w1.c1), std::max(w2.r0, w1.r0), std::min(w2.r1, w1.r1)};
                if (w2.empty()) {
                    status = -4;
                    break;
                }
                const int qw = w2.c1 - w2.c0, qh = w2.r1 - w2.r0;
                kernels.subPix(lv.image2, lv.width, lv.height, lv.stride2, patch2, qw, qh,
                              x + 0.5f * float32_t(w2.c0 + w2.c1 - 2 * hw - 2),
                              y + 0.5f * float32_t(w2.r0 + w2.r1 - 2 * hh - 2));
                const int g0 = (w2.r0 - w1.r0) * vw + (w2.c0 - w1.c0);  // gradients of the window's first pixel
                if (w2 != previous) {
                    float32_t g[3];
                    kernels.gradientSums(gx + g0, gy + g0, vw, qw, qh, g);
                    gxx = g[0];
                    gxy = g[1];
                    gyy = g[2];
                    const float32_t det = gxx * gyy - gxy * gxy;
                    if (double(det) < 1e-7) {
                        status = -2;
                        break;
                    }
                    invDet = 1.0f / det;
                    previous = w2;
                }
                float32_t b[2];
                kernels.mismatchSums(patch1 + (w2.r0 - w1.r0 + 1) * (vw + 2) + (w2.c0 - w1.c0 + 1), vw + 2, patch2, qw,
                                     gx + g0, gy + g0, vw, qw, qh, b);
                const float32_t bx = b[0], by = b[1];
                const float32_t dx = (gyy * bx - gxy * by) * invDet, dy = (gxx * by - gxy * bx) * invDet;
                x += dx;
                y += dy;
                if (dx * dx + dy * dy < eps) break;
                if (k > 0 && std::fabs(dx + prevDx) < 0.01f && std::fabs(dy + prevDy) < 0.01f) {
                    x -= 0.5f * dx;  // oscillating: settle between the two positions
                    y -= 0.5f * dy;
                    break;
                }
                prevDx = dx;
                prevDy = dy;
            }
            featureStatus[i] = status;
            featureXY_out[2 * i] = x;
            featureXY_out[2 * i + 1] = y;
        }
    }
}

void ilmvTrackLK_v2(const ILMV_LK_KERNELS& kernels, const uint8_t* src1, const uint8_t* src2, uint32_t width, uint32_t height, uint32_t stride,
                    const lmvPyramidLevel_v2* src1Pyr, const lmvPyramidLevel_v2* src2Pyr, const float32_t* featureXY,
                    const float32_t* estimate, float32_t* featureXY_out, int32_t* featureStatus, int32_t featureLen,
                    int32_t windowWidth, int32_t windowHeight, int32_t nPyramidLevels, int32_t termCriteria,
                    int32_t maxIterations, float32_t maxEpsilon, int32_t useInitialEstimate, bool fromPool)
{
    const float32_t* start = useInitialEstimate && estimate ? estimate : featureXY;
    if (start && featureXY_out && featureLen > 0)
        std::memmove(featureXY_out, start, sizeof(float32_t) * 2 * size_t(featureLen));
    // A scratch size that cannot exist is not asked for; the engine then refuses to run.
    const size_t size = ilmvLKScratchSize(windowWidth, windowHeight, nPyramidLevels);
    void* scratch = size == SIZE_MAX      ? nullptr
                    : fromPool            ? local_lmvGetScratchBufferAligned(size, 16)
                                          : lmvMemAlign(size, 16);
    lkOpticalFlow_v3(kernels, src1, src2, width, height, stride, src1Pyr, src2Pyr, featureXY, featureXY_out, featureStatus,
                     featureLen, windowWidth, windowHeight, nPyramidLevels, termCriteria, maxIterations, maxEpsilon,
                     scratch, scratch ? size : 0);
    if (fromPool)
        local_lmvReleaseScratchBuffer(scratch);
    else
        lmvMemAlignFree(scratch);
}

void ilmvTrackLK(const ILMV_LK_KERNELS& kernels, const uint8_t* src1, const uint8_t* src2, uint32_t width, uint32_t height, uint32_t stride,
                 const lmvPyramidLevel* src1Pyr, const lmvPyramidLevel* src2Pyr, const float32_t* featureXY,
                 float32_t* featureXY_out, int32_t* featureStatus, int32_t featureLen, int32_t windowWidth,
                 int32_t windowHeight, int32_t maxIterations, int32_t nPyramidLevels)
{
    std::vector<lmvPyramidLevel_v2> a(size_t(std::max(nPyramidLevels, 0))), b(a.size());
    for (size_t L = 0; L < a.size(); ++L) {
        a[L] = {src1Pyr[L].ptr, src1Pyr[L].width, src1Pyr[L].height, src1Pyr[L].width};
        b[L] = {src2Pyr[L].ptr, src2Pyr[L].width, src2Pyr[L].height, src2Pyr[L].width};
    }
    ilmvTrackLK_v2(kernels, src1, src2, width, height, stride ? stride : width, a.empty() ? nullptr : a.data(),
                   b.empty() ? nullptr : b.data(), featureXY, nullptr, featureXY_out, featureStatus, featureLen,
                   windowWidth, windowHeight, nPyramidLevels, 0, maxIterations, 0.0f, 0, false);
}
