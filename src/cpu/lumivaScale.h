// Scaling: the 2x2 mean, Gaussian 5x5 decimation by two and the pyramids built on it. The
// frame functions are shared by both forms; the forms bring their own row kernels.
#ifndef LUMIVA_SCALE_ENGINE_H
#define LUMIVA_SCALE_ENGINE_H

#include "lumiva/lumivaTypes.h"

#include <cstddef>

// One output row of the 2x2 mean: dst[c] = (a[2c] + a[2c+1] + b[2c] + b[2c+1]) >> 2.
using ilmvHalfRowFn = void (*)(const uint8_t* a, const uint8_t* b, size_t outWidth, uint8_t* dst);
void ilmvHalfRowC(const uint8_t* a, const uint8_t* b, size_t outWidth, uint8_t* dst);
void ilmvHalfRowV(const uint8_t* a, const uint8_t* b, size_t outWidth, uint8_t* dst);
int32_t ilmvScaleDownBy2Frame(ilmvHalfRowFn row, const uint8_t* src, uint32_t width, uint32_t height,
                              uint32_t srcStride, uint8_t* dst, uint32_t dstStride);

// Row kernels of the 5x5 decimation. The vertical pass weighs five rows 1 4 6 4 1 into a
// row of sums with two repeated edge columns on each side (`width` + 4 of them); the
// horizontal pass weighs those sums 1 4 6 4 1 around every even column and rounds.
struct ILMV_DECIMATE_ROWS {
    void (*verticalU8)(const uint8_t* const* rows, size_t width, uint16_t* sums);
    void (*horizontalU8)(const uint16_t* sums, size_t outWidth, uint8_t* dst);
    void (*verticalF32)(const float32_t* const* rows, size_t width, float32_t* sums);
    void (*horizontalF32)(const float32_t* sums, size_t outWidth, float32_t* dst);
};
const ILMV_DECIMATE_ROWS& ilmvDecimateRowsC();
const ILMV_DECIMATE_ROWS& ilmvDecimateRowsV();

void ilmvDecimate5x5Frame(const ILMV_DECIMATE_ROWS& rows, const uint8_t* src, uint32_t width, uint32_t height,
                          uint32_t srcStride, uint8_t* dst, uint32_t outWidth, uint32_t outHeight, uint32_t dstStride);
void ilmvDecimate5x5FrameF32(const ILMV_DECIMATE_ROWS& rows, const float32_t* src, uint32_t width, uint32_t height,
                             uint32_t srcStride, float32_t* dst, uint32_t outWidth, uint32_t outHeight,
                             uint32_t dstStride);

enum ILMV_ELEM { ilmvElemU8 = 1, ilmvElemF32 = 4 };

int32_t ilmvPyramidAllocate(lmvPyramidLevel* pyr, uint32_t baseWidth, uint32_t baseHeight, uint32_t bytesPerPixel,
                            uint32_t numLevels, uint32_t allocateBase);
// Level sizes: halved by truncation, or (roundUp) ceil(previous * scale).
int32_t ilmvPyramidAllocate_v2(lmvPyramidLevel_v2* pyr, uint32_t baseWidth, uint32_t baseHeight, uint32_t baseStride,
                               uint32_t bytesPerPixel, uint32_t numLevels, uint32_t allocateBase, float32_t scale,
                               bool roundUp);
int32_t ilmvPyramidCreate(const ILMV_DECIMATE_ROWS& rows, ILMV_ELEM elem, const void* base, uint32_t baseWidth,
                          uint32_t baseHeight, uint32_t unused, uint32_t numLevels, lmvPyramidLevel* pyr);
int32_t ilmvPyramidCreate_v2(const ILMV_DECIMATE_ROWS& rows, ILMV_ELEM elem, const void* base, uint32_t baseWidth,
                             uint32_t baseHeight, uint32_t baseStride, uint32_t numLevels, lmvPyramidLevel_v2* pyr,
                             float32_t scale, bool roundUp);
void ilmvPyramidDelete(lmvPyramidLevel* pyr, uint32_t numLevels, uint32_t startLevel);
void ilmvPyramidDelete_v2(lmvPyramidLevel_v2* pyr, uint32_t numLevels, uint32_t startLevel);

#endif
