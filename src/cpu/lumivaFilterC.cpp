// The 3x3 Gaussian: the reference interior row, the border rule and the frame that both
// forms share.
#include "core/lumivaEntry.h"
#include "cpu/lumivaFilter.h"

void ilmvGaussianRowC(const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t width, uint8_t* dst)
{
    auto column = [&](size_t x) { return above[x] + 2 * row[x] + below[x]; };
    // The sums of the last two columns slide along the row; the sum is truncated.
    int left = column(0), centre = column(1);
    for (size_t x = 1; x + 1 < width; ++x) {
        const int right = column(x + 1);
        dst[x] = static_cast<uint8_t>((left + 2 * centre + right) >> 4);
        left = centre;
        centre = right;
    }
}

namespace {

// A border pixel: the 1-2-1 x 1-2-1 kernel restricted to the pixels inside the image and
// divided, truncating, by the weights it used (9 at a corner, 12 along an edge).
uint8_t borderPixel(const uint8_t* src, uint32_t width, uint32_t height, uint32_t stride, uint32_t x, uint32_t y)
{
    int sum = 0, weights = 0;
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            const int64_t yy = int64_t(y) + dy, xx = int64_t(x) + dx;
            if (yy < 0 || xx < 0 || yy >= height || xx >= width) continue;
            const int w = (dx ? 1 : 2) * (dy ? 1 : 2);
            sum += w * src[size_t(yy) * stride + size_t(xx)];
            weights += w;
        }
    return static_cast<uint8_t>(sum / weights);
}

}  // namespace

void ilmvGaussian3x3Frame(ilmvGaussianRowFn row, const uint8_t* src, uint32_t width, uint32_t height,
                          uint32_t srcStride, uint8_t* dst, uint32_t dstStride, int32_t blurBorder)
{
    if (!srcStride) srcStride = width;
    if (!dstStride) dstStride = width;
    // Rows are worked six pixels at a time plus the rest: w6 is that split of width - 2.
    const int32_t w_2 = static_cast<int32_t>(width) - 2, w6 = w_2 / 6 * 6;
    if (!(w6 <= w_2 && w6 >= w_2 - 5)) ilmvHardStop("src/cpu/lumivaBlurC", 79, "w6<=w_2 && w6>=w_2-5");
    for (uint32_t y = 1; y + 1 < height; ++y)
        row(src + size_t(y - 1) * srcStride, src + size_t(y) * srcStride, src + size_t(y + 1) * srcStride, width,
            dst + size_t(y) * dstStride);
    if (blurBorder != 1) return;  // the border keeps what dst held
    for (uint32_t x = 0; x < width; ++x) {
        dst[x] = borderPixel(src, width, height, srcStride, x, 0);
        dst[size_t(height - 1) * dstStride + x] = borderPixel(src, width, height, srcStride, x, height - 1);
    }
    for (uint32_t y = 1; y + 1 < height; ++y) {
        dst[size_t(y) * dstStride] = borderPixel(src, width, height, srcStride, 0, y);
        dst[size_t(y) * dstStride + width - 1] = borderPixel(src, width, height, srcStride, width - 1, y);
    }
}
