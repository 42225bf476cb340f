// Maximally stable extremal regions on a component tree: pixels join in order of intensity by
// union-find, every level at which a component changes is a node, and a node is stable when its
// variation (area at level + delta minus area at level - delta, over its own area) is no more than
// its children's and less than its parent's. Dark regions come from the image, bright ones from
// its inverse. One engine serves every MSER operation; they differ in connectivity, in whether
// the variation is compared in float or in 16.16 fixed point, and in the outputs they ask for.
#ifndef LUMIVA_MSER_ENGINE_H
#define LUMIVA_MSER_ENGINE_H

#include "lumiva/lumivaTypes.h"

#include <cstdint>

// The handle of every MSER init call: the parameters and the largest image it serves.
struct ilmvMserContext {
    uint32_t width, height, delta, minArea, maxArea;
    float32_t maxVariation, minDiversity;
    uint32_t maxRegions;
};

LMV_STATUS ilmvMserInit(uint32_t width, uint32_t height, uint32_t delta, uint32_t minArea, uint32_t maxArea,
                        float32_t maxVariation, float32_t minDiversity, uint32_t maxRegions, void** handle);
void ilmvMserRelease(void* handle);

// What a call asks for; any of the per-region outputs may be null.
struct ilmvMserOutputs {
    uint32_t* numRegions;
    uint32_t* numPixelsInRegion;
    uint16_t* pixelXY;
    uint32_t maxTotalPixels;
    uint32_t* regionRects;       // xMin, yMin, xMax, yMax
    float32_t* regionVariation;
    uint8_t* regionPolarity;     // 0 dark, 1 bright
    float32_t* regionEllipses;   // mean intensity, centroid x and y, second central moments xx, xy, yy
};

enum ilmvMserPolarity { ilmvMserDark = 1, ilmvMserBright = 2, ilmvMserBoth = 3 };

LMV_STATUS ilmvMser(const void* handle, const uint8_t* src, uint32_t w, uint32_t h, uint32_t stride,
                    bool eightConnected, bool fixedPoint, uint32_t polarities, const ilmvMserOutputs& out);

#endif
