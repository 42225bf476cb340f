// Which operations each mode moves off the CPU, named by their slot constants; a range
// runs from its first to its last operation in slot order.
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
#include "lumiva/lumivaApi.h"

// Internal slots, as runs in their own numbering: the kernels that other operations call
// (their SIMD forms, and the DSP's), the two sums of absolute differences and the HOG
// extractor that only the SIMD unit serves, and the DSP's own clock probe and buffer
// registration.
const ILMV_SLOT_RANGE ilmvInternalSimdRanges[2] = {
    {LMV_INTERNAL_lmvColorRGB888ToRGB565Rotate180u8, LMV_INTERNAL_lmvSumOfAbsoluteDiffs16x16u8},
    {LMV_INTERNAL_lmvFilterConvSepMxNs16, LMV_INTERNAL_lmvExtractHOGu16},
};

const ILMV_SLOT_RANGE ilmvInternalDspRanges[2] = {
    {LMV_INTERNAL_lmvColorRGB888ToRGB565Rotate180u8, LMV_INTERNAL_lmvSumOfAbsoluteDiff16x16u8},
    {LMV_INTERNAL_probeX5Time, LMV_INTERNAL_lmvFilterConvSepMxNs16},
};

const ILMV_SLOT_RANGE ilmvInternalCdspRanges[1] = {{LMV_INTERNAL_probeX5Time, LMV_INTERNAL_lmvRegisterBuf}};

const uint16_t ilmvGpuSlots[42] = {
    LMV_API_lmv3ChannelWarpPerspectiveu8,
    LMV_API_lmv3ChannelWarpPerspectiveu8_v2,
    LMV_API_lmvBilateralFilter5x5u8,
    LMV_API_lmvBoxFilter11x11u8,
    LMV_API_lmvBoxFilter3x3u8,
    LMV_API_lmvBoxFilter5x5u8,
    LMV_API_lmvColorRGB888ToGrayu8,
    LMV_API_lmvColorRGB888toYCrCbu8,
    LMV_API_lmvColorYCrCb420PseudoPlanarToRGB8888u8,
    LMV_API_lmvColorYCrCbH1V1toRGB888u8,
    LMV_API_lmvColorYCrCbH1V2toRGB888u8,
    LMV_API_lmvColorYCrCbH2V1toRGB888u8,
    LMV_API_lmvColorYCrCbH2V2toRGB888u8,
    LMV_API_lmvColorYUV420toRGB565u8,
    LMV_API_lmvCopyRotated17x17u8,
    LMV_API_lmvCornerHarrisu8,
    LMV_API_lmvFilterCorr3x3s8_v2,
    LMV_API_lmvFilterDilate3x3u8,
    LMV_API_lmvFilterErode3x3u8,
    LMV_API_lmvFilterGaussian3x3u8,
    LMV_API_lmvFilterGaussian5x5u8,
    LMV_API_lmvFilterMedian3x3u8,
    LMV_API_lmvFilterSobel3x3u8,
    LMV_API_lmvFilterThresholdu8,
    LMV_API_lmvHoughCircleu8,
    LMV_API_lmvImageDiffs16,
    LMV_API_lmvImageGradientInterleavedf32,
    LMV_API_lmvImageIntensityHistogram,
    LMV_API_lmvImageIntensityStats,
    LMV_API_lmvIntegrateImageu8_v2,
    LMV_API_lmvRemapRGBA8888NNu8,
    LMV_API_lmvScaleDownBy2Gaussian5x5u8,
    LMV_API_lmvScaleDownBy2Gaussian5x5u8_v2,
    LMV_API_lmvScaleDownBy4u8,
    LMV_API_lmvScaleDownMNu8,
    LMV_API_lmvScaleUpBy2Gaussian5x5u8,
    LMV_API_lmvTransformAffine8x8u8,
    LMV_API_lmvTransformAffineClippedu8,
    LMV_API_lmvTransformAffineu8_v2,
    LMV_API_lmvWarpPerspectiveu8,
    LMV_API_lmvWarpPerspectiveu8_v2,
    LMV_API_lmvTransformAffineClippedu8_v2,
};

const uint16_t ilmvPerformanceDspSlots[15] = {
    LMV_API_lmvAdaptiveThresholdMean11x11u8,
    LMV_API_lmvBoxFilter11x11u8,
    LMV_API_lmvConvValids16,
    LMV_API_lmvCornerHarrisu8,
    LMV_API_lmvFilterCanny3x3u8,
    LMV_API_lmvFilterCanny3x3u8_v3,
    LMV_API_lmvFilterCorr3x3s8_v2,
    LMV_API_lmvScaleDownMNInterleaveu8,
    LMV_API_lmvCrossProduct3x1f32,
    LMV_API_lmvFFTu8,
    LMV_API_lmvFilterDilateNxNu8,
    LMV_API_lmvFilterErodeNxNu8,
    LMV_API_lmvIFFTf32,
    LMV_API_lmvFilterConvolveMxNu8s16,
    LMV_API_lmvFilterConvolveMxNu8,
};

const uint16_t ilmvPerformanceGpuSlots[9] = {
    LMV_API_lmv3ChannelWarpPerspectiveu8,
    LMV_API_lmv3ChannelWarpPerspectiveu8_v2,
    LMV_API_lmvBilateralFilter5x5u8,
    LMV_API_lmvBoxFilter11x11u8,
    LMV_API_lmvColorYCrCb420PseudoPlanarToRGB8888u8,
    LMV_API_lmvCornerHarrisu8,
    LMV_API_lmvRemapRGBA8888NNu8,
    LMV_API_lmvWarpPerspectiveu8,
    LMV_API_lmvWarpPerspectiveu8_v2,
};

const ILMV_SLOT_RANGE ilmvLowPowerRanges[] = {
    // adaptive thresholds
    {LMV_API_lmvAdaptiveThresholdGaussian11x11u8, LMV_API_lmvAdaptiveThresholdMean5x5u8},
    // bilateral filters
    {LMV_API_lmvBilateralFilter5x5u8, LMV_API_lmvBilateralFilter9x9u8},
    // box filters
    {LMV_API_lmvBoxFilter11x11u8, LMV_API_lmvBoxFilterNxNf32},
    // colour conversions
    {LMV_API_lmvColorCbCrSwapu8, LMV_API_lmvColorYUV420toRGB565u8},
    // Canny, correlations, morphology, Gaussians, median, Sobel, thresholds
    {LMV_API_lmvFilterCanny3x3u8, LMV_API_lmvFilterThresholdu8},
    // image gradients
    {LMV_API_lmvImageGradientInterleavedf32, LMV_API_lmvImageGradientSobelPlanars8},
    // integral images
    {LMV_API_lmvIntegrateImageLine64u8, LMV_API_lmvIntegratePatchu8},
    // scaling
    {LMV_API_lmvScaleDown3To2u8, LMV_API_lmvScaleUpPolyu8},
    // affine transforms
    {LMV_API_lmvTransformAffine8x8u8, LMV_API_lmvTransformAffineu8_v2},
    // perspective warps
    {LMV_API_lmvWarpPerspectiveu8, LMV_API_lmvWarpPerspectiveu8_v2},
    // generic correlations, morphology and Sobel filters
    {LMV_API_lmvFilterCorrNxNu8f32, LMV_API_lmvFilterThresholdRangeu8},
    // Canny
    {LMV_API_lmvFilterCannyu8, LMV_API_lmvFilterCannyu8},
    // bilateral filters
    {LMV_API_lmvBilateralFilter5x5u8_v2, LMV_API_lmvBilateralFilterRecursiveu8},
    // scaling, convolutions, 3x3 filters, thresholds
    {LMV_API_lmvScaleu8, LMV_API_lmvFilterThresholdu8_v3},
    // Gaussian decimation
    {LMV_API_lmvScaleDownBy2Gaussian3x3u8, LMV_API_lmvScaleDownBy2Gaussian3x3u8},
};
const size_t ilmvLowPowerRangeCount = ilmvCountOf(ilmvLowPowerRanges);

const ILMV_SLOT_RANGE ilmvCpuOffloadRanges[] = {
    // warps, absolute differences, thresholds, additions, averages
    {LMV_API_lmv3ChannelTransformAffineClippedBCu8, LMV_API_lmvAverageu8},
    // bilateral filters, bit counts, bitwise or, block dot products
    {LMV_API_lmvBilateralFilter5x5u8, LMV_API_lmvBlockDotProductu8},
    // box filters
    {LMV_API_lmvBoxFilter11x11u8, LMV_API_lmvBoxFilterNxNf32},
    // colour conversions
    {LMV_API_lmvColorCbCrSwapu8, LMV_API_lmvColorYUV420toRGB565u8},
    // convolution, FAST and Harris corners
    {LMV_API_lmvConvValids16, LMV_API_lmvCornerHarrisu8},
    // DCT, descriptors, dot products, wavelets, filters
    {LMV_API_lmvDCTu8, LMV_API_lmvFilterThresholdu8},
    // foreground integration, flips
    {LMV_API_lmvFindForegroundIntegrateImageYCbCr420u32, LMV_API_lmvFlipu8},
    // Hamming distances
    {LMV_API_lmvHammingDistance32x1u8, LMV_API_lmvHammingDistanceu8},
    // inverse transforms, differences, gradients, histograms, integrals, interleave
    {LMV_API_lmvIDCTs16, LMV_API_lmvInterleaveu8},
    // normalised cross-correlation
    {LMV_API_lmvNCCPatchOnCircle8x8u8, LMV_API_lmvNCCPatchOnSquare8x8u8},
    // pyramids
    {LMV_API_lmvPyramidAllocate, LMV_API_lmvPyramidSobelGradientCreatei8},
    // remaps, scaling, fills
    {LMV_API_lmvRemapRGBA8888BLu8, LMV_API_lmvSetElementsu8},
    // sums of differences
    {LMV_API_lmvSumOfAbsoluteDiffs8x8u8, LMV_API_lmvSumOfSquaredDiffsu8},
    // tilted integral
    {LMV_API_lmvTiltedIntegralu8s32, LMV_API_lmvTiltedIntegralu8s32},
    // transforms, transposes, upsampling, warps
    {LMV_API_lmvTransformAffine8x8u8, LMV_API_lmvWarpPerspectiveu8_v2},
    // scalar additions, HSV
    {LMV_API_lmvAddScalarf32, LMV_API_lmvColorRGB888ToHSV888u8},
    // FFT and filters
    {LMV_API_lmvFFTu8, LMV_API_lmvFilterThresholdRangeu8},
    // min-max, scalar products, normalisation, remap
    {LMV_API_lmvMinMaxLocf32, LMV_API_lmvRemapu8},
    // Canny, local binary patterns
    {LMV_API_lmvFilterCannyu8, LMV_API_lmvGLBPu8},
    // bilateral filters, bitwise logic, additions, subtractions
    {LMV_API_lmvBilateralFilter5x5u8_v2, LMV_API_lmvSubtractu8s16},
    // products, weighted sums, lookups, depth conversion, channels, filters
    {LMV_API_lmvElementMultiplys16, LMV_API_lmvFilterThresholdu8_v3},
    // Gaussian decimation
    {LMV_API_lmvScaleDownBy2Gaussian3x3u8, LMV_API_lmvScaleDownBy2Gaussian3x3u8},
};
const size_t ilmvCpuOffloadRangeCount = ilmvCountOf(ilmvCpuOffloadRanges);
