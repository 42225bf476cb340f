// Which operations each mode moves off the CPU.
//
// The GPU list and the two performance lists are fixed by the library's contract. The
// low-power and CPU-offload lists are this library's choice:
//  - low power moves the operations whose work per pixel is large enough that the DSP
//    both saves energy and keeps up: neighbourhood filters, colour conversion, scaling,
//    warps, gradients and integral images;
//  - CPU offload moves all of those and, on top, the cheap per-pixel arithmetic, the
//    descriptor, dot-product and distance kernels, feature detectors and pyramids, so
//    that as little as possible runs on the application processor.
// Both apply only where a DSP form exists and the DSP session is open.
#include "core/lumivaModeLists.h"

const uint16_t ilmvGpuSlots[42] = {1,   2,   29,  43,  44,  45,  66,  75,  136, 137, 138, 139, 140, 141,
                                   147, 160, 202, 209, 210, 212, 215, 216, 217, 219, 257, 266, 270, 283,
                                   284, 292, 338, 341, 342, 344, 346, 349, 380, 381, 382, 394, 395, 458};

const uint16_t ilmvPerformanceDspSlots[15] = {18, 43, 146, 160, 200, 201, 202, 345, 401, 402, 407, 408, 415, 468, 469};

const uint16_t ilmvPerformanceGpuSlots[9] = {1, 2, 29, 43, 136, 160, 338, 394, 395};

const ILMV_SLOT_RANGE ilmvLowPowerRanges[] = {
    {15, 20},    // adaptive thresholds
    {29, 31},    // bilateral filters
    {43, 46},    // box filters
    {51, 141},   // colour conversions
    {200, 219},  // Canny, correlations, morphology, Gaussians, median, Sobel, thresholds
    {270, 281},  // image gradients
    {290, 297},  // integral images
    {339, 351},  // scaling
    {380, 382},  // affine transforms
    {394, 395},  // perspective warps
    {403, 412},  // generic correlations, morphology and Sobel filters
    {431, 431},  // Canny
    {435, 438},  // bilateral filters
    {466, 477},  // scaling, convolutions, 3x3 filters, thresholds
    {484, 484},  // Gaussian decimation
};
const size_t ilmvLowPowerRangeCount = ilmvCountOf(ilmvLowPowerRanges);

const ILMV_SLOT_RANGE ilmvCpuOffloadRanges[] = {
    {0, 25},     // warps, absolute differences, thresholds, additions, averages
    {29, 41},    // bilateral filters, bit counts, bitwise or, block dot products
    {43, 46},    // box filters
    {51, 141},   // colour conversions
    {146, 160},  // convolution, FAST and Harris corners
    {162, 219},  // DCT, descriptors, dot products, wavelets, filters
    {227, 229},  // foreground integration, flips
    {249, 256},  // Hamming distances
    {259, 298},  // inverse transforms, differences, gradients, histograms, integrals, interleave
    {322, 323},  // normalised cross-correlation
    {325, 335},  // pyramids
    {337, 361},  // remaps, scaling, fills
    {368, 373},  // sums of differences
    {375, 375},  // tilted integral
    {380, 395},  // transforms, transposes, upsampling, warps
    {396, 398},  // scalar additions, HSV
    {402, 412},  // FFT and filters
    {417, 428},  // min-max, scalar products, normalisation, remap
    {431, 432},  // Canny, local binary patterns
    {435, 447},  // bilateral filters, bitwise logic, additions, subtractions
    {449, 477},  // products, weighted sums, lookups, depth conversion, channels, filters
    {484, 484},  // Gaussian decimation
};
const size_t ilmvCpuOffloadRangeCount = ilmvCountOf(ilmvCpuOffloadRanges);
