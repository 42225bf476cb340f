// Flood fill and region growing on the scan-line engine: each operation is the engine with its
// own joining rule and its own record of the pixels taken.
#include "cpu/lumivaShape.h"

#include <algorithm>
#include <cstdlib>

namespace {

bool connectivityOk(uint32_t connectivity)
{
    return connectivity == 4 || connectivity == 8;
}

}  // namespace

// The seed's 4- or 8-connected region of pixels of the seed's value becomes newValue; the
// area and the bounding box (x, y, width, height) are reported.
LMV_STATUS ilmvFloodfillSimple(uint8_t* src, uint32_t w, uint32_t h, uint32_t stride, uint32_t seedX, uint32_t seedY,
                               uint8_t newValue, uint32_t connectivity, uint32_t* area, uint32_t* rect)
{
    if (!connectivityOk(connectivity) || seedX >= w || seedY >= h || !rect) return LUMIVA_BAD_PARAMS;
    const uint8_t value = src[size_t(seedY) * stride + seedX];
    std::vector<uint8_t> seen(size_t(w) * h, 0);
    uint32_t count = 0, x0 = seedX, y0 = seedY, x1 = seedX, y1 = seedY;
    ilmvFlood(
        w, h, seedX, seedY, connectivity == 8, seen.data(),
        [&](uint32_t, uint32_t, uint32_t tx, uint32_t ty) { return src[size_t(ty) * stride + tx] == value; },
        [&](uint32_t x, uint32_t y) {
            src[size_t(y) * stride + x] = newValue;
            ++count;
            x0 = std::min(x0, x), x1 = std::max(x1, x), y0 = std::min(y0, y), y1 = std::max(y1, y);
        });
    *area = count;
    rect[0] = x0, rect[1] = y0, rect[2] = x1 - x0 + 1, rect[3] = y1 - y0 + 1;
    return LUMIVA_SUCCESS;
}

// A neighbour joins when its value lies in [v - loDiff, v + upDiff], v being the pixel it is
// reached from (floating range) or the seed (fixed range). Non-zero mask pixels are barriers;
// the region's pixels become 255 in the mask, so successive calls merge their regions.
LMV_STATUS ilmvFloodfillMerged(const uint8_t* src, uint32_t w, uint32_t h, uint32_t stride, uint32_t seedX,
                               uint32_t seedY, uint8_t loDiff, uint8_t upDiff, uint32_t connectivity,
                               uint32_t fixedRange, uint8_t* mask, uint32_t maskStride, uint32_t* area)
{
    if (!connectivityOk(connectivity) || fixedRange > 1 || seedX >= w || seedY >= h) return LUMIVA_BAD_PARAMS;
    std::vector<uint8_t> seen(size_t(w) * h);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) seen[size_t(y) * w + x] = mask[size_t(y) * maskStride + x] != 0;
    const int seed = src[size_t(seedY) * stride + seedX];
    uint32_t count = 0;
    ilmvFlood(
        w, h, seedX, seedY, connectivity == 8, seen.data(),
        [&](uint32_t fx, uint32_t fy, uint32_t tx, uint32_t ty) {
            const int from = fixedRange ? seed : src[size_t(fy) * stride + fx], to = src[size_t(ty) * stride + tx];
            return to >= from - loDiff && to <= from + upDiff;
        },
        [&](uint32_t x, uint32_t y) {
            mask[size_t(y) * maskStride + x] = 255;
            ++count;
        });
    *area = count;
    return LUMIVA_SUCCESS;
}

// Seeds in raster order; a 4-neighbour joins while |value - region mean| <= threshold, the mean
// of the pixels taken so far (compared exactly as |value * count - sum| <= threshold * count).
// Regions smaller than minRegionSize keep label 0 and seed nothing more.
LMV_STATUS ilmvRegionGrow(const uint8_t* src, uint32_t w, uint32_t h, uint32_t stride, uint8_t threshold,
                          uint32_t minRegionSize, uint32_t* labels, uint32_t labelStride, uint32_t* numRegions)
{
    const size_t pitch = labelStride / 4;
    for (uint32_t y = 0; y < h; ++y) std::fill_n(labels + y * pitch, w, 0u);
    std::vector<uint8_t> seen(size_t(w) * h, 0);
    std::vector<uint32_t> taken;
    uint32_t regions = 0;
    for (uint32_t sy = 0; sy < h; ++sy) {
        for (uint32_t sx = 0; sx < w; ++sx) {
            if (seen[size_t(sy) * w + sx]) continue;
            int64_t sum = 0, count = 0;
            taken.clear();
            ilmvFlood(
                w, h, sx, sy, false, seen.data(),
                [&](uint32_t, uint32_t, uint32_t tx, uint32_t ty) {
                    const int64_t v = src[size_t(ty) * stride + tx];
                    return std::llabs(v * count - sum) <= int64_t(threshold) * count;
                },
                [&](uint32_t x, uint32_t y) {
                    sum += src[size_t(y) * stride + x];
                    ++count;
                    taken.push_back(x), taken.push_back(y);
                });
            if (uint64_t(count) < minRegionSize) continue;
            ++regions;
            for (size_t i = 0; i < taken.size(); i += 2) labels[taken[i + 1] * pitch + taken[i]] = regions;
        }
    }
    *numRegions = regions;
    return LUMIVA_SUCCESS;
}

// From each seed in order, 8-connected, while |neighbour - the pixel it is reached from| <=
// threshold; labels are the seed's index plus one, and pixels an earlier seed took stay its.
LMV_STATUS ilmvSeedRegionGrow(const int16_t* src, uint32_t w, uint32_t h, uint32_t stride, const uint32_t* seedXY,
                              uint32_t numSeeds, int16_t threshold, uint32_t* labels, uint32_t labelStride)
{
    if (threshold < 0) return LUMIVA_BAD_PARAMS;
    for (uint32_t k = 0; k < numSeeds; ++k)
        if (seedXY[2 * k] >= w || seedXY[2 * k + 1] >= h) return LUMIVA_BAD_PARAMS;
    const size_t pitch = labelStride / 4, srcPitch = stride / 2;
    for (uint32_t y = 0; y < h; ++y) std::fill_n(labels + y * pitch, w, 0u);
    std::vector<uint8_t> seen(size_t(w) * h, 0);
    for (uint32_t k = 0; k < numSeeds; ++k) {
        ilmvFlood(
            w, h, seedXY[2 * k], seedXY[2 * k + 1], true, seen.data(),
            [&](uint32_t fx, uint32_t fy, uint32_t tx, uint32_t ty) {
                return std::abs(int32_t(src[ty * srcPitch + tx]) - int32_t(src[fy * srcPitch + fx])) <= threshold;
            },
            [&](uint32_t x, uint32_t y) { labels[y * pitch + x] = k + 1; });
    }
    return LUMIVA_SUCCESS;
}
