// The 3x3 Gaussian: one frame function over the interior row kernel of each form.
#ifndef LUMIVA_FILTER_ENGINE_H
#define LUMIVA_FILTER_ENGINE_H

#include <cstddef>
#include <cstdint>

// Interior of one row: d(x) = (c(x-1) + 2c(x) + c(x+1)) >> 4 for x = 1 .. width-2, with
// c(x) = above(x) + 2 row(x) + below(x).
using ilmvGaussianRowFn = void (*)(const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t width,
                                   uint8_t* dst);

void ilmvGaussianRowC(const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t width, uint8_t* dst);
void ilmvGaussianRowV(const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t width, uint8_t* dst);

void ilmvGaussian3x3Frame(ilmvGaussianRowFn row, const uint8_t* src, uint32_t width, uint32_t height,
                          uint32_t srcStride, uint8_t* dst, uint32_t dstStride, int32_t blurBorder);

#endif
