// Geometry and resampling: warps, remaps, resizing, up-sampling, flips, transposes and
// rotations. Three frames do the walking and are shared by both forms:
//  - the mapping frame: for every destination row, the source coordinate of each pixel (from
//    an affine or projective matrix or from maps, in 1/32 pixel for bilinear and bicubic,
//    whole pixels for nearest), then runs of pixels whose samples lie inside the image go to
//    the form's sampler and the rest follow the border rule;
//  - the separable resampler: per axis, each output's taps and integer weights; a horizontal
//    pass per source row, then a vertical pass, rounded once;
//  - the block transposer: 8x8 blocks with signed strides, so transposes, rotations by 90 and
//    270 degrees and flips are one walk.
// The forms differ only in their table of row kernels.
#ifndef LUMIVA_GEOMETRY_ENGINE_H
#define LUMIVA_GEOMETRY_ENGINE_H

#include "lumiva/lumivaTypes.h"

#include <cstddef>
#include <cstdint>
#include <vector>

struct ilmvGeometryRows {
    // Samples of pixels whose whole neighbourhood lies inside the image: X and Y in whole
    // pixels (nearest) or 1/32 pixel (bilinear: the 2x2 at X >> 5, Y >> 5 weighted
    // (32 - fx)(32 - fy), fx (32 - fy), (32 - fx) fy, fx fy, plus 512, >> 10). bpp is the
    // pixel's byte count (1 to 4).
    void (*nearest)(const uint8_t* src, size_t stride, uint32_t bpp, const int32_t* X, const int32_t* Y, size_t n,
                    uint8_t* dst);
    void (*bilinear)(const uint8_t* src, size_t stride, uint32_t bpp, const int32_t* X, const int32_t* Y, size_t n,
                     uint8_t* dst);
    // The resampler's passes: out[i] = sum over k < K of w[i*K + k] * row[at[i*K + k]] for
    // `count` outputs of `channels` interleaved values (at is in pixels); and the vertical
    // sum of K rows of those, (sum + half) >> shift clamped to 0..255.
    void (*horizontal)(const uint8_t* row, uint32_t channels, const int32_t* at, const int16_t* w, uint32_t K,
                       size_t count, int32_t* out);
    void (*vertical)(const int32_t* const* rows, const int16_t* w, uint32_t K, size_t n, uint32_t shift, uint8_t* dst);
    // Reverses a row of n pixels of bpp bytes.
    void (*reverse)(const uint8_t* src, size_t n, uint32_t bpp, uint8_t* dst);
    // An 8x8 block of bpp-byte pixels: dst row c, column r = src row r, column c. Strides in
    // bytes, negative to walk upwards.
    void (*transpose8x8)(const uint8_t* src, ptrdiff_t srcStride, uint32_t bpp, uint8_t* dst, ptrdiff_t dstStride);
    // Fixed ratios: the truncated 4x4 mean of four rows; the rounded 2x2 mean of two rows of
    // `channels` interleaved values.
    void (*quarter)(const uint8_t* const* rows, size_t outWidth, uint8_t* dst);
    void (*halfRounded)(const uint8_t* a, const uint8_t* b, size_t outWidth, uint32_t channels, uint8_t* dst);
    // The truncated 2x2 mean (the scaling family's row kernel of the same form).
    void (*halfTruncated)(const uint8_t* a, const uint8_t* b, size_t outWidth, uint8_t* dst);
    // Centred 2x up-sampling with weights 3/4 and 1/4: out = 3 a + b of two rows; then either
    // each value twice, from a row with one more pixel on either side (pixel i at v[i + 1]):
    // (3 v[i + 1] + v[i] + 8) >> 4 and (3 v[i + 1] + v[i + 2] + 8) >> 4; or (v + 2) >> 2.
    void (*rows31)(const uint8_t* a, const uint8_t* b, size_t n, uint16_t* out);
    void (*up31)(const uint16_t* v, size_t n, uint32_t channels, uint8_t* dst);
    void (*narrow31)(const uint16_t* v, size_t n, uint8_t* dst);
    // The 5x5 up-sampling: out[i + 1] = a + 6 b + c (even rows) or 4 (b + c) (odd rows); then
    // from v[0 .. n + 1], output pairs (v[i] + 6 v[i+1] + v[i+2] + 32) >> 6 and
    // (4 (v[i+1] + v[i+2]) + 32) >> 6.
    void (*pyrVertical)(const uint8_t* a, const uint8_t* b, const uint8_t* c, size_t n, bool even, uint16_t* out);
    void (*pyrHorizontal)(const uint16_t* v, size_t n, uint8_t* dst);
};
const ilmvGeometryRows& ilmvGeometryRowsC();
const ilmvGeometryRows& ilmvGeometryRowsV();

// ---- The mapping frame ----------------------------------------------------------------------
enum ilmvSampler { ilmvNearest = 0, ilmvBilinear = 1, ilmvBicubic = 3 };

struct ilmvSource {
    const uint8_t* data;
    uint32_t width, height, stride, bpp;
};

struct ilmvTarget {
    uint8_t* data;
    uint32_t width, height, stride;
    uint32_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;  // the rectangle written, [x0, x1) x [y0, y1); 0, 0, 0, 0: all
};

struct ilmvSampling {
    ilmvSampler sampler;
    LMV_BORDER_TYPE border;  // UNDEFINED leaves pixels whose samples leave the image
    uint8_t borderValue;
    uint32_t* extent;  // per destination row: first and last column whose samples lie inside; may be null
};

// The coordinates of `n` pixels of destination row y from column x: whole pixels for
// nearest, 1/32 pixel otherwise, saturated to -32768 .. 32767 pixels.
struct ilmvMapping {
    virtual void row(uint32_t y, uint32_t x, uint32_t n, int32_t* X, int32_t* Y) const = 0;
    virtual ~ilmvMapping() = default;
};

// dst -> src affine (row-major 2x3, in double) with the given sampler's rounding.
struct ilmvAffineMapping : ilmvMapping {
    ilmvAffineMapping(const double m[6], ilmvSampler sampler, uint32_t width);
    void row(uint32_t y, uint32_t x, uint32_t n, int32_t* X, int32_t* Y) const override;
    // Row y's terms rint((m1 y + m2) 1024) and rint((m4 y + m5) 1024); the rounding half and the
    // shift: 16 and 5 to 1/32 pixel, 512 and 10 to whole pixels.
    void rowTerms(uint32_t y, int32_t& X0, int32_t& Y0) const;
    int32_t half() const { return whole ? 512 : 16; }
    int32_t shift() const { return whole ? 10 : 5; }
    double m[6];
    bool whole;
    std::vector<int32_t> dx, dy;  // the column terms, rint(m0 x 1024) and rint(m3 x 1024)
    int64_t reach = 0;            // the largest magnitude among them
};

// Columns between restarts of the perspective sums over a dstWidth x dstHeight frame.
uint32_t ilmvPerspectiveBlock(uint32_t dstWidth, uint32_t dstHeight);

struct ilmvPerspectiveMapping : ilmvMapping {
    ilmvPerspectiveMapping(const double m[9], ilmvSampler sampler, uint32_t dstWidth, uint32_t dstHeight);
    void row(uint32_t y, uint32_t x, uint32_t n, int32_t* X, int32_t* Y) const override;
    double m[9];
    bool whole;
    uint32_t block;  // columns between restarts of the sums
};

// Map rows step whole floats: a stride is rounded down to a multiple of 4 bytes.
struct ilmvMapMapping : ilmvMapping {
    ilmvMapMapping(const float32_t* mapX, const float32_t* mapY, uint32_t mapStride, ilmvSampler sampler)
        : mx(mapX), my(mapY), stride(mapStride / 4 * 4), whole(sampler == ilmvNearest)
    {
    }
    void row(uint32_t y, uint32_t x, uint32_t n, int32_t* X, int32_t* Y) const override;
    const float32_t *mx, *my;
    uint32_t stride;
    bool whole;
};

// Warps dst from src; returns false when the sampler or the border rule is unknown.
bool ilmvWarpFrame(const ilmvGeometryRows& rows, const ilmvSource& src, const ilmvTarget& dst,
                   const ilmvSampling& sampling, const ilmvMapping& mapping);

// The entries' bodies.
LMV_STATUS ilmvWarpAffine(const ilmvGeometryRows& rows, const ilmvSource& src, const float32_t* m, const ilmvTarget& dst,
                          int32_t interpolation, LMV_BORDER_TYPE border, uint8_t borderValue, uint32_t* extent);
LMV_STATUS ilmvWarpAffineD(const ilmvGeometryRows& rows, const ilmvSource& src, const double* m, const ilmvTarget& dst,
                           int32_t interpolation, LMV_BORDER_TYPE border, uint8_t borderValue, uint32_t* extent);
LMV_STATUS ilmvWarpPerspective(const ilmvGeometryRows& rows, const ilmvSource& src, const float32_t* m,
                               const ilmvTarget& dst, int32_t interpolation, LMV_BORDER_TYPE border,
                               uint8_t borderValue);
LMV_STATUS ilmvRemap(const ilmvGeometryRows& rows, const ilmvSource& src, const ilmvTarget& dst, const float32_t* mapX,
                     const float32_t* mapY, uint32_t mapStride, int32_t interpolation, LMV_BORDER_TYPE border,
                     uint8_t borderValue);
LMV_STATUS ilmvWarpTwoPlane(const ilmvGeometryRows& rows, const ilmvSource& y, const ilmvSource& c, const float32_t* m,
                            const ilmvTarget& dstY, const ilmvTarget& dstC);
void ilmvAffinePatches(const ilmvGeometryRows& rows, const ilmvSource& src, const float32_t* positions,
                       const float32_t* affines, uint32_t count, uint8_t* patches, int32_t* status);
// The patch's dst -> src matrix: its 2x2 part around the 8x8 grid's centre at the position;
// and whether all 64 bilinear samples of the patch lie inside (its status 0).
void ilmvPatchMatrix(const float32_t* position, const float32_t* affine, double m[6]);
bool ilmvPatchInside(const ilmvAffineMapping& mapping, const ilmvSource& src);

// ---- The separable resampler ------------------------------------------------------------------
LMV_STATUS ilmvResize(const ilmvGeometryRows& rows, const ilmvSource& src, const ilmvTarget& dst, int32_t interpolation);
void ilmvScaleDownAuto(const ilmvGeometryRows& rows, const ilmvSource& src, const ilmvTarget& dst);
LMV_STATUS ilmvScaleOffset(const ilmvGeometryRows& rows, const ilmvSource& src, const ilmvTarget& dst,
                           int32_t interpolation, LMV_BORDER_TYPE border, uint8_t borderValue, float32_t offsetX,
                           float32_t offsetY);
// The exact area weights of one axis: per output, the source pixels it covers and their
// overlap, in units where the output spans `from` (the source size over their gcd).
void ilmvAreaTaps(uint32_t from, uint32_t to, std::vector<int32_t>& at, std::vector<int16_t>& w, uint32_t& K,
                  uint32_t& total);

// ---- Fixed ratios -----------------------------------------------------------------------------
void ilmvScaleDownBy4(const ilmvGeometryRows& rows, const ilmvSource& src, uint8_t* dst, uint32_t dstStride);
void ilmvScaleDown3To2(const ilmvSource& src, uint8_t* dst, uint32_t dstStride);
LMV_STATUS ilmvScaleDownBy2Gaussian3x3(const ilmvSource& src, uint8_t* dst, uint32_t dstStride);
void ilmvScaleUpBy2Gaussian5x5(const ilmvGeometryRows& rows, const ilmvSource& src, uint8_t* dst, uint32_t dstStride);
// Centred 2x up-sampling along x, y or both (edges repeated).
void ilmvUpsample(const ilmvGeometryRows& rows, const ilmvSource& src, uint8_t* dst, uint32_t dstStride, bool across,
                  bool down);

// ---- Flips, transposes, rotations, copies -----------------------------------------------------
// direction: 1 horizontal (mirror columns), 2 vertical, 3 both. dst may be src.
void ilmvFlip(const ilmvGeometryRows& rows, const ilmvSource& src, uint8_t* dst, uint32_t dstStride,
              int32_t direction);
void ilmvTranspose(const ilmvGeometryRows& rows, const ilmvSource& src, uint8_t* dst, uint32_t dstStride);
// degree: 1 (90), 2 (180), 3 (270) clockwise; false for any other.
bool ilmvRotate(const ilmvGeometryRows& rows, const ilmvSource& src, uint8_t* dst, uint32_t dstStride, int32_t degree);
void ilmvCopy(const uint8_t* src, uint32_t widthBytes, uint32_t height, uint32_t srcStride, uint8_t* dst,
              uint32_t dstStride);

// The four taps of the A = -0.75 cubic at phase x in [0, 1), in float and in one order.
void ilmvCubicCoefficients(float x, float* c);

// The bicubic weights of a 1/32 phase pair: 16 values in 1/32768 that sum to 32768.
const int16_t* ilmvCubicWeights(uint32_t fx, uint32_t fy);

#endif
