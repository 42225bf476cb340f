// The 3x3 Gaussian: the reference interior row, the border rule and the frame that both
// forms share.
#include "core/lumivaEntry.h"
#include "cpu/lumivaFilter.h"
#include "cpu/lumivaFilterFrame.h"

#include <algorithm>

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
    return ilmvRestrictedPixel(src, width, height, stride, x, y, ilmvBinomial3, 1, false);
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

// ---- Reference row kernels of the other filters ---------------------------------------------

// Separable taps: column sums of the kh rows first (exact in 64 bits), then the horizontal taps.
template <class In, class Out>
void ilmvSeparableRowC(const In* const* rows, const ilmvSepTaps& taps, size_t n, Out* dst, int64_t* columns)
{
    for (size_t x = 0; x < n + taps.kw - 1; ++x) {
        int64_t sum = 0;
        for (uint32_t k = 0; k < taps.kh; ++k) sum += int64_t(taps.ky[k]) * rows[k][x];
        columns[x] = sum;
    }
    for (size_t x = 0; x < n; ++x) {
        int64_t sum = 0;
        for (uint32_t k = 0; k < taps.kw; ++k) sum += int64_t(taps.kx[k]) * columns[x + k];
        dst[x] = ilmvSaturate<Out>((sum + taps.bias) >> taps.shift);
    }
}

template void ilmvSeparableRowC(const uint8_t* const*, const ilmvSepTaps&, size_t, uint8_t*, int64_t*);
template void ilmvSeparableRowC(const int16_t* const*, const ilmvSepTaps&, size_t, int16_t*, int64_t*);
template void ilmvSeparableRowC(const int32_t* const*, const ilmvSepTaps&, size_t, int32_t*, int64_t*);

template <class In, class Out>
void ilmvCorrelationRowC(const In* const* rows, const int32_t* taps, uint32_t kw, uint32_t kh, int64_t bias,
                         uint32_t shift, size_t n, Out* dst)
{
    for (size_t x = 0; x < n; ++x) {
        int64_t sum = 0;
        for (uint32_t j = 0; j < kh; ++j)
            for (uint32_t i = 0; i < kw; ++i) sum += int64_t(taps[j * kw + i]) * rows[j][x + i];
        dst[x] = ilmvSaturate<Out>((sum + bias) >> shift);
    }
}

template void ilmvCorrelationRowC(const uint8_t* const*, const int32_t*, uint32_t, uint32_t, int64_t, uint32_t, size_t,
                                  uint8_t*);
template void ilmvCorrelationRowC(const uint8_t* const*, const int32_t*, uint32_t, uint32_t, int64_t, uint32_t, size_t,
                                  int16_t*);
template void ilmvCorrelationRowC(const int16_t* const*, const int32_t*, uint32_t, uint32_t, int64_t, uint32_t, size_t,
                                  int16_t*);

namespace {

void gauss5Row(const uint8_t* const* rows, size_t n, uint8_t* dst)
{
    int64_t columns[5];
    for (size_t x = 0; x < n; ++x) {
        for (int k = 0; k < 5; ++k) {
            columns[k] = 0;
            for (int j = 0; j < 5; ++j) columns[k] += ilmvBinomial5[j] * rows[j][x + k];
        }
        int64_t sum = 0;
        for (int k = 0; k < 5; ++k) sum += ilmvBinomial5[k] * columns[k];
        dst[x] = static_cast<uint8_t>((sum + 128) >> 8);
    }
}

void boxRow(const uint8_t* const* rows, uint32_t k, size_t n, uint8_t* dst)
{
    const uint32_t area = k * k;
    for (size_t x = 0; x < n; ++x) {
        uint32_t sum = 0;
        for (uint32_t j = 0; j < k; ++j)
            for (uint32_t i = 0; i < k; ++i) sum += rows[j][x + i];
        dst[x] = static_cast<uint8_t>((sum + area / 2) / area);
    }
}

void extremeRow(const uint8_t* const* rows, uint32_t kw, uint32_t kh, bool maximum, size_t n, uint8_t* dst, int64_t*)
{
    for (size_t x = 0; x < n; ++x) {
        uint8_t best = rows[0][x];
        for (uint32_t j = 0; j < kh; ++j)
            for (uint32_t i = 0; i < kw; ++i) best = maximum ? std::max(best, rows[j][x + i]) : std::min(best, rows[j][x + i]);
        dst[x] = best;
    }
}

// The median of nine by the classic 19-exchange network: p[4] ends as the median.
void median3Row(const uint8_t* const* rows, size_t n, uint8_t* dst)
{
    auto sort2 = [](uint8_t& a, uint8_t& b) {
        const uint8_t lo = std::min(a, b);
        b = std::max(a, b);
        a = lo;
    };
    static const int kPairs[19][2] = {{1, 2}, {4, 5}, {7, 8}, {0, 1}, {3, 4}, {6, 7}, {1, 2}, {4, 5}, {7, 8}, {0, 3},
                                      {5, 8}, {4, 7}, {3, 6}, {1, 4}, {2, 5}, {4, 7}, {4, 2}, {6, 4}, {4, 2}};
    for (size_t x = 0; x < n; ++x) {
        uint8_t p[9];
        for (int j = 0; j < 3; ++j)
            for (int i = 0; i < 3; ++i) p[3 * j + i] = rows[j][x + i];
        for (const auto& pair : kPairs) sort2(p[pair[0]], p[pair[1]]);
        dst[x] = p[4];
    }
}

// The centre weighs 256 x 256, so the total is never 0; the sums stay below 2^32 (81 taps of
// at most 2^16 x 255).
void bilateralRow(const uint8_t* const* rows, uint32_t k, const ilmvBilateralTables& tables, size_t n, uint8_t* dst)
{
    for (size_t x = 0; x < n; ++x) {
        const int centre = rows[k / 2][x + k / 2];
        uint32_t weights = 0, sum = 0;
        for (uint32_t j = 0; j < k; ++j)
            for (uint32_t i = 0; i < k; ++i) {
                const int p = rows[j][x + i];
                const uint32_t weight = tables.spatial[j * k + i] * tables.range[std::abs(p - centre)];
                weights += weight;
                sum += weight * uint32_t(p);
            }
        dst[x] = static_cast<uint8_t>((sum + weights / 2) / weights);
    }
}

void correlationf32Row(const uint8_t* const* rows, const float32_t* taps, uint32_t kw, uint32_t kh, size_t n,
                       float32_t* dst)
{
    for (size_t x = 0; x < n; ++x) {
        float32_t sum = 0.0f;
        for (uint32_t j = 0; j < kh; ++j)
            for (uint32_t i = 0; i < kw; ++i) sum = sum + taps[j * kw + i] * float32_t(rows[j][x + i]);
        dst[x] = sum;
    }
}

}  // namespace

const ilmvFilterRows& ilmvFilterRowsC()
{
    static const ilmvFilterRows rows = {gauss5Row,          boxRow,          extremeRow,       ilmvExtremeImageByRows,
                                        median3Row,
                                        ilmvSeparableRowC<uint8_t, uint8_t>,
                                        ilmvSeparableRowC<int16_t, int16_t>,
                                        ilmvCorrelationRowC<uint8_t, uint8_t>,
                                        ilmvCorrelationRowC<uint8_t, int16_t>,
                                        ilmvCorrelationRowC<int16_t, int16_t>,
                                        bilateralRow,
                                        correlationf32Row};
    return rows;
}
