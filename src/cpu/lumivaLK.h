// Pyramidal Lucas-Kanade tracking: the engine and the routines it samples and differentiates with.
#ifndef LUMIVA_LK_ENGINE_H
#define LUMIVA_LK_ENGINE_H

#include "lumiva/lumivaTypes.h"

#include <cstddef>

// Bilinear sampling of a dstW x dstH window centred at (cx, cy); pixels past the image
// edges repeat the edge. Returns 0, or -1 for an empty window.
int getRectSubPix(const uint8_t* image, uint32_t width, uint32_t height, uint32_t stride, float32_t* dst, int dstW,
                  int dstH, float32_t cx, float32_t cy);

// Gradients of the interior of a w x h float patch with the 3-10-3 / 32 kernels; `work`
// holds two rows of w floats.
using ilmvIxIyFn = void (*)(const float32_t* src, float32_t* ix, float32_t* iy, float32_t* work, int w, int h);
void ilmvIxIyReference(const float32_t* src, float32_t* ix, float32_t* iy, float32_t* work, int w, int h);
extern "C" {
extern ilmvIxIyFn calcIxIy_32fC;
}

// The inner loops of the engine, one set per form. Window sums run in four running sums by
// column position within the window row (mod 4), added as (s0 + s1) + (s2 + s3) at the end,
// so a 4-lane vector gives the same bits.
struct ILMV_LK_KERNELS {
    // getRectSubPix's contract.
    int (*subPix)(const uint8_t* image, uint32_t width, uint32_t height, uint32_t stride, float32_t* dst, int dstW,
                  int dstH, float32_t cx, float32_t cy);
    ilmvIxIyFn ixIy;
    // Gxx, Gxy, Gyy over an h x w block of the gradients, rows `stride` floats apart.
    void (*gradientSums)(const float32_t* gx, const float32_t* gy, int stride, int w, int h, float32_t out[3]);
    // bx, by: sums of (p1 - p2) * Ix and (p1 - p2) * Iy.
    void (*mismatchSums)(const float32_t* p1, int p1Stride, const float32_t* p2, int p2Stride, const float32_t* gx,
                         const float32_t* gy, int gStride, int w, int h, float32_t out[2]);
};
const ILMV_LK_KERNELS& ilmvLKKernelsC();
const ILMV_LK_KERNELS& ilmvLKKernelsV();

// When the engine stops iterating a feature: after `iterations` steps, or at a step whose
// squared length is below `epsilon`.
struct ILMV_LK_TERMINATION {
    int iterations;
    float32_t epsilon;
};
ILMV_LK_TERMINATION ilmvLKTermination(int32_t termCriteria, int32_t maxIterations, float32_t maxEpsilon);

// Bytes of scratch the engine needs.
size_t ilmvLKScratchSize(int windowWidth, int windowHeight, int nPyramidLevels);

void lkOpticalFlow_v3(const ILMV_LK_KERNELS& kernels, const uint8_t* src1, const uint8_t* src2, uint32_t width, uint32_t height, uint32_t stride,
                      const lmvPyramidLevel_v2* src1Pyr, const lmvPyramidLevel_v2* src2Pyr, const float32_t* featureXY,
                      float32_t* featureXY_out, int32_t* featureStatus, int32_t featureLen, int32_t windowWidth,
                      int32_t windowHeight, int32_t nPyramidLevels, int32_t termCriteria, int32_t maxIterations,
                      float32_t maxEpsilon, void* scratch, size_t scratchSize);

// The entries' preparation: starting positions, scratch, engine. The v3 form takes its
// scratch from the scratch pool, the others from the library's aligned allocation.
void ilmvTrackLK_v2(const ILMV_LK_KERNELS& kernels, const uint8_t* src1, const uint8_t* src2, uint32_t width, uint32_t height, uint32_t stride,
                    const lmvPyramidLevel_v2* src1Pyr, const lmvPyramidLevel_v2* src2Pyr, const float32_t* featureXY,
                    const float32_t* estimate, float32_t* featureXY_out, int32_t* featureStatus, int32_t featureLen,
                    int32_t windowWidth, int32_t windowHeight, int32_t nPyramidLevels, int32_t termCriteria,
                    int32_t maxIterations, float32_t maxEpsilon, int32_t useInitialEstimate, bool fromPool);
// The oldest forms: three-word level records copied into strided ones (stride = width).
void ilmvTrackLK(const ILMV_LK_KERNELS& kernels, const uint8_t* src1, const uint8_t* src2, uint32_t width, uint32_t height, uint32_t stride,
                 const lmvPyramidLevel* src1Pyr, const lmvPyramidLevel* src2Pyr, const float32_t* featureXY,
                 float32_t* featureXY_out, int32_t* featureStatus, int32_t featureLen, int32_t windowWidth,
                 int32_t windowHeight, int32_t maxIterations, int32_t nPyramidLevels);

#endif
