// Reference rows of the 2x2 mean and of the Gaussian 5x5 decimation, and the frames of
// both forms.
#include "cpu/lumivaScale.h"

#include <algorithm>
#include <vector>

void ilmvHalfRowC(const uint8_t* a, const uint8_t* b, size_t outWidth, uint8_t* dst)
{
    for (size_t c = 0; c < outWidth; ++c)
        dst[c] = static_cast<uint8_t>((a[2 * c] + a[2 * c + 1] + b[2 * c] + b[2 * c + 1]) >> 2);
}

// The reference kernel packs 8 outputs into two 32-bit words when dst and dstStride are
// multiples of 4 and width mod 16 is 0 or 1: the same sums, so the same bytes, as any row split.
int32_t ilmvScaleDownBy2Frame(ilmvHalfRowFn row, const uint8_t* src, uint32_t width, uint32_t height,
                              uint32_t srcStride, uint8_t* dst, uint32_t dstStride)
{
    if (height < 2) return 0;
    if (!srcStride) srcStride = width;
    if (!dstStride) dstStride = width / 2;
    for (uint32_t r = 0; r < height / 2; ++r)
        row(src + size_t(2 * r) * srcStride, src + size_t(2 * r + 1) * srcStride, width / 2, dst + size_t(r) * dstStride);
    return 0;
}

namespace {

void verticalU8C(const uint8_t* const* rows, size_t width, uint16_t* sums)
{
    for (size_t x = 0; x < width; ++x)
        sums[x + 2] = static_cast<uint16_t>(rows[0][x] + 4 * rows[1][x] + 6 * rows[2][x] + 4 * rows[3][x] + rows[4][x]);
    sums[0] = sums[1] = sums[2];
    sums[width + 2] = sums[width + 3] = sums[width + 1];
}

void horizontalU8C(const uint16_t* sums, size_t outWidth, uint8_t* dst)
{
    for (size_t x = 0; x < outWidth; ++x) {
        const uint16_t* s = sums + 2 * x;  // sums[2x + 2] is source column 2x
        dst[x] = static_cast<uint8_t>((s[0] + 4 * s[1] + 6 * s[2] + 4 * s[3] + s[4] + 128) >> 8);
    }
}

// Floats add in one fixed order, (a + e) + 4 (b + d) + 6 c, so both forms round alike.
inline float32_t taps(float32_t a, float32_t b, float32_t c, float32_t d, float32_t e)
{
    return ((a + e) + 4.0f * (b + d)) + 6.0f * c;
}

void verticalF32C(const float32_t* const* rows, size_t width, float32_t* sums)
{
    for (size_t x = 0; x < width; ++x) sums[x + 2] = taps(rows[0][x], rows[1][x], rows[2][x], rows[3][x], rows[4][x]);
    sums[0] = sums[1] = sums[2];
    sums[width + 2] = sums[width + 3] = sums[width + 1];
}

void horizontalF32C(const float32_t* sums, size_t outWidth, float32_t* dst)
{
    for (size_t x = 0; x < outWidth; ++x) {
        const float32_t* s = sums + 2 * x;
        dst[x] = taps(s[0], s[1], s[2], s[3], s[4]) * (1.0f / 256.0f);
    }
}

const ILMV_DECIMATE_ROWS kRowsC = {verticalU8C, horizontalU8C, verticalF32C, horizontalF32C};

// Rows 2y-2 .. 2y+2 of the source, the edge rows repeated past the top and bottom.
template <class T>
void windowRows(const T* src, uint32_t height, size_t strideElems, uint32_t y, const T* rows[5])
{
    for (int k = 0; k < 5; ++k) {
        const int64_t r = std::clamp<int64_t>(int64_t(2 * y) + k - 2, 0, int64_t(height) - 1);
        rows[k] = src + size_t(r) * strideElems;
    }
}

}  // namespace

const ILMV_DECIMATE_ROWS& ilmvDecimateRowsC()
{
    return kRowsC;
}

namespace {

// Each output row: the five source rows around it summed vertically (edge rows repeated),
// then the sums decimated horizontally. Strides are in elements here.
template <class T, class Sum>
void decimateFrame(void (*vertical)(const T* const*, size_t, Sum*), void (*horizontal)(const Sum*, size_t, T*),
                   const T* src, uint32_t width, uint32_t height, size_t srcElems, T* dst, uint32_t outWidth,
                   uint32_t outHeight, size_t dstElems)
{
    std::vector<Sum> sums(width + 4 + 16);
    const T* window[5];
    for (uint32_t y = 0; y < outHeight; ++y) {
        windowRows(src, height, srcElems, y, window);
        // With an odd width rounded up, the last output reads the two repeated edge sums.
        vertical(window, width, sums.data());
        horizontal(sums.data(), outWidth, dst + size_t(y) * dstElems);
    }
}

}  // namespace

void ilmvDecimate5x5Frame(const ILMV_DECIMATE_ROWS& rows, const uint8_t* src, uint32_t width, uint32_t height,
                          uint32_t srcStride, uint8_t* dst, uint32_t outWidth, uint32_t outHeight, uint32_t dstStride)
{
    decimateFrame(rows.verticalU8, rows.horizontalU8, src, width, height, srcStride ? srcStride : width, dst, outWidth,
                  outHeight, dstStride ? dstStride : outWidth);
}

void ilmvDecimate5x5FrameF32(const ILMV_DECIMATE_ROWS& rows, const float32_t* src, uint32_t width, uint32_t height,
                             uint32_t srcStride, float32_t* dst, uint32_t outWidth, uint32_t outHeight,
                             uint32_t dstStride)
{
    decimateFrame(rows.verticalF32, rows.horizontalF32, src, width, height, srcStride ? srcStride / 4 : width, dst,
                  outWidth, outHeight, dstStride ? dstStride / 4 : outWidth);
}
