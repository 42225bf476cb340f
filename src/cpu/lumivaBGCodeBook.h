// The codebook background model.
#ifndef LUMIVA_BG_CODEBOOK_ENGINE_H
#define LUMIVA_BG_CODEBOOK_ENGINE_H

#include "lumiva/lumivaTypes.h"

lmvBGCodeWord** ilmvCodeBookCreate(uint32_t width, uint32_t height, lmvBGCodeBookModel** model);
void ilmvCodeBookConfig(lmvBGCodeBookModel* model, const uint8_t* cbBounds, const uint8_t* modMin,
                        const uint8_t* modMax);
void ilmvCodeBookUpdate(lmvBGCodeBookModel* model, const uint8_t* src, uint32_t width, uint32_t height,
                        uint32_t srcStride, const uint8_t* fgMask, uint32_t maskStride, lmvBGCodeWord** map,
                        int32_t* updateTime);
void ilmvCodeBookDiff(lmvBGCodeBookModel* model, const uint8_t* src, uint32_t width, uint32_t height,
                      uint32_t srcStride, uint8_t* fgMask, uint32_t maskStride, lmvBGCodeWord** map, uint32_t* count);
void ilmvCodeBookClearStale(lmvBGCodeBookModel* model, int32_t staleThresh, const uint8_t* fgMask, uint32_t width,
                            uint32_t height, uint32_t maskStride, lmvBGCodeWord** map);
void ilmvCodeBookRelease(lmvBGCodeBookModel** model);

#endif
