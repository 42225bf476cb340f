// Shapes: border following (contours in four retrieval modes, kept on a memory storage behind a
// handle), contour drawing and convex polygon filling with the common integer scan conversion,
// convex hulls, point-in-polygon tests, and the flood-fill engine behind flood fill and region
// growing. These are reference forms only: their work follows borders and regions, not rows.
#ifndef LUMIVA_SHAPE_ENGINE_H
#define LUMIVA_SHAPE_ENGINE_H

#include "lumiva/lumivaMemory.h"
#include "lumiva/lumivaTypes.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// ---- Contours -----------------------------------------------------------------------------------
enum ilmvContourMode { ilmvContoursExternal = 0, ilmvContoursList = 1, ilmvContoursCcomp = 2, ilmvContoursTree = 3 };

// The handle of lmvFindContoursAllocate: the capacities and the storage the tracer collects
// its points on.
struct ilmvContourContext {
    uint32_t srcStride, maxNumContours, maxTotalPoints;
    lmvMemStorage storage;
    lmvSeq points;
};

LMV_STATUS ilmvFindContoursAllocate(uint32_t srcStride, uint32_t maxNumContours, uint32_t maxTotalPoints,
                                    void** handle);
void ilmvFindContoursDelete(void* handle);
LMV_STATUS ilmvFindContours(const uint8_t* src, uint32_t w, uint32_t h, uint32_t stride, ilmvContourMode mode,
                            uint32_t* numContours, uint32_t* numContourPoints, int32_t* contourPoints,
                            int32_t* hierarchy, void* handle);

// ---- Drawing ------------------------------------------------------------------------------------
// Where a pixel's values go: channel c of pixel (x, y).
struct ilmvCanvas {
    uint32_t width, height, stride, channels;
    uint8_t* interleaved;           // or
    uint8_t* const* planes;         // one plane per channel
    const uint8_t* colour;
    void paint(int32_t x, int32_t y) const;
    void span(int32_t y, int32_t x0, int32_t x1) const;  // inclusive, clipped
};

void ilmvDrawContours(const ilmvCanvas& canvas, uint32_t numContours, const uint32_t* numContourPoints,
                      const int32_t* contourPoints, int32_t contourIndex, int32_t thickness);
void ilmvFillConvexPoly(const ilmvCanvas& canvas, const int32_t* polygon, uint32_t numPoints);

// ---- Points and polygons ------------------------------------------------------------------------
LMV_STATUS ilmvConvexHull(const int32_t* polygon, uint32_t numPoints, uint32_t clockwise, uint32_t* hullIndices,
                          uint32_t* numHullPoints);
float32_t ilmvPointPolygonTest(const int32_t* polygon, uint32_t numPoints, float32_t px, float32_t py,
                               uint32_t measureDist);

// ---- Flood fill ---------------------------------------------------------------------------------
// The scan-line engine: from the seed, a span grows left and right while `joins(fx, fy, tx, ty)`
// holds between neighbours; then every pixel of the span tries its neighbours in the rows above
// and below (straight, and diagonal with 8-connectivity), and each that joins seeds a span of
// its own. `seen` (w x h, shared by the floods of one call) marks what was taken or refused for
// good: pixels it marks are never entered. `take(x, y)` sees every pixel of the region once.
// The region is the closure of the rule: every neighbour that joins a taken pixel is taken.
template <class Joins, class Take>
void ilmvFlood(uint32_t w, uint32_t h, uint32_t seedX, uint32_t seedY, bool eightConnected, uint8_t* seen,
               Joins joins, Take take)
{
    const size_t pitch = w;
    if (seen[seedY * pitch + seedX]) return;
    seen[seedY * pitch + seedX] = 1;
    take(seedX, seedY);
    std::vector<uint32_t> stack = {seedX, seedY};
    auto enter = [&](uint32_t fx, uint32_t fy, uint32_t tx, uint32_t ty) {
        uint8_t& s = seen[ty * pitch + tx];
        if (s || !joins(fx, fy, tx, ty)) return false;
        s = 1;
        take(tx, ty);
        return true;
    };
    while (!stack.empty()) {
        const uint32_t y = stack.back();
        stack.pop_back();
        const uint32_t x = stack.back();
        stack.pop_back();
        uint32_t x0 = x, x1 = x;
        while (x0 > 0 && enter(x0, y, x0 - 1, y)) --x0;
        while (x1 + 1 < w && enter(x1, y, x1 + 1, y)) ++x1;
        for (uint32_t ny : {y - 1, y + 1}) {
            if (ny >= h) continue;  // y - 1 wraps above row 0
            for (uint32_t fx = x0; fx <= x1; ++fx) {
                const uint32_t lo = eightConnected && fx > 0 ? fx - 1 : fx;
                const uint32_t hi = eightConnected && fx + 1 < w ? fx + 1 : fx;
                for (uint32_t tx = lo; tx <= hi; ++tx)
                    if (enter(fx, y, tx, ny)) stack.push_back(tx), stack.push_back(ny);
            }
        }
    }
}

LMV_STATUS ilmvFloodfillSimple(uint8_t* src, uint32_t w, uint32_t h, uint32_t stride, uint32_t seedX, uint32_t seedY,
                               uint8_t newValue, uint32_t connectivity, uint32_t* area, uint32_t* rect);
LMV_STATUS ilmvFloodfillMerged(const uint8_t* src, uint32_t w, uint32_t h, uint32_t stride, uint32_t seedX,
                               uint32_t seedY, uint8_t loDiff, uint8_t upDiff, uint32_t connectivity,
                               uint32_t fixedRange, uint8_t* mask, uint32_t maskStride, uint32_t* area);
LMV_STATUS ilmvRegionGrow(const uint8_t* src, uint32_t w, uint32_t h, uint32_t stride, uint8_t threshold,
                          uint32_t minRegionSize, uint32_t* labels, uint32_t labelStride, uint32_t* numRegions);
LMV_STATUS ilmvSeedRegionGrow(const int16_t* src, uint32_t w, uint32_t h, uint32_t stride, const uint32_t* seedXY,
                              uint32_t numSeeds, int16_t threshold, uint32_t* labels, uint32_t labelStride);

#endif
