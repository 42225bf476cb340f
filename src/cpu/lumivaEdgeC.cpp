// Reference row kernels of thresholds, point operations and gradients: one plain loop per
// kernel, the arithmetic written out as each operation defines it.
#include "cpu/lumivaEdge.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

int16_t ilmvMagnitudePixel(int32_t dx, int32_t dy)
{
    const uint32_t n = uint32_t(dx * dx) + uint32_t(dy * dy);
    uint32_t r = 0;
    // Bit-by-bit integer square root: r = floor(sqrt(n)).
    for (uint32_t bit = 1u << 30, rest = n; bit; bit >>= 2) {
        if (rest >= r + bit) {
            rest -= r + bit;
            r = (r >> 1) + bit;
        } else {
            r >>= 1;
        }
    }
    // sqrt(n) >= r + 1/2 exactly when n > r^2 + r, for whole n.
    if (n - r * r > r) ++r;
    return static_cast<int16_t>(std::min<uint32_t>(r, 32767));
}

namespace {

// tan((j + 1/2) pi / 128) * 2^32, rounded, for j = 0 .. 31.
const uint32_t kPhaseBoundaries[32] = {
    52709825u, 158193013u, 263867125u, 369860470u, 476302903u, 583326475u, 691066090u, 799660202u,
    909251552u, 1019987941u, 1132023069u, 1245517435u, 1360639313u, 1477565823u, 1596484109u, 1717592634u,
    1841102627u, 1967239691u, 2096245606u, 2228380366u, 2363924468u, 2503181524u, 2646481221u, 2794182724u,
    2946678568u, 3104399153u, 3267817948u, 3437457531u, 3613896654u, 3797778511u, 3989820493u, 4190825720u
};

// The direction in 256 steps per turn: the boundaries below |dy| / |dx| in the octant, then
// the octant.
uint8_t phasePixel(int32_t dx, int32_t dy)
{
    const uint32_t ax = uint32_t(std::abs(dx)), ay = uint32_t(std::abs(dy));
    const uint64_t a = std::max(ax, ay), b = std::min(ax, ay);
    uint32_t steps = 0;  // boundaries below b / a: the octant's angle in steps
    for (uint32_t j = 0; j < 32; ++j) steps += (b << 32) > a * kPhaseBoundaries[j];
    const uint32_t fromX = ax >= ay ? steps : 64 - steps;
    const uint32_t angle = dx >= 0 ? (dy >= 0 ? fromX : 256 - fromX) : (dy >= 0 ? 128 - fromX : 128 + fromX);
    return static_cast<uint8_t>(angle & 255);
}

void thresholdRow(const uint8_t* src, size_t n, uint8_t threshold, uint8_t hit, uint8_t miss, uint8_t* dst)
{
    for (size_t x = 0; x < n; ++x) dst[x] = src[x] > threshold ? hit : miss;
}

void rangeRow(const uint8_t* src, size_t n, uint8_t low, uint8_t high, uint8_t hit, uint8_t miss, uint8_t* dst)
{
    for (size_t x = 0; x < n; ++x) dst[x] = (src[x] >= low && src[x] <= high) ? hit : miss;
}

void lookupRow(const uint8_t* src, size_t n, const uint8_t* lut, uint8_t* dst)
{
    for (size_t x = 0; x < n; ++x) dst[x] = lut[src[x]];
}

void widenRow(const uint8_t* src, size_t n, uint32_t shift, int16_t* dst)
{
    for (size_t x = 0; x < n; ++x) dst[x] = static_cast<int16_t>(src[x] << shift);
}

void narrowRow(const int16_t* src, size_t n, uint32_t shift, bool saturate, uint8_t* dst)
{
    for (size_t x = 0; x < n; ++x) {
        const int32_t v = int32_t(src[x]) >> shift;
        dst[x] = saturate ? static_cast<uint8_t>(std::min(std::max(v, 0), 255)) : static_cast<uint8_t>(v & 255);
    }
}

void weightRow(const int16_t* data, const uint8_t* edge, const uint8_t* table, size_t n, int16_t* dst)
{
    for (size_t x = 0; x < n; ++x) dst[x] = static_cast<int16_t>((int32_t(data[x]) * table[edge[x]]) >> 8);
}

void boxMeansRows(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint32_t k, ilmvMeanRowFn row,
                  void* context)
{
    std::vector<uint8_t> means(size_t(w) * h);
    ilmvBox(ilmvFilterRowsC(), k, src, w, h, srcStride, means.data(), w, LUMIVA_BORDER_REPLICATE, 0);
    for (uint32_t y = 0; y < h; ++y) row(context, y, means.data() + size_t(y) * w);
}

void adaptiveRow(const uint8_t* src, const uint8_t* mean, size_t n, int32_t C, bool inverse, uint8_t hit,
                 uint8_t* dst)
{
    for (size_t x = 0; x < n; ++x) dst[x] = ((int32_t(src[x]) > int32_t(mean[x]) - C) != inverse) ? hit : 0;
}

// Horizontal derivative and vertical smoothing of the window at x: (side, centre) weights.
template <class T, class S>
void gradientAt(const T* const* rows, size_t x, S side, S centre, S* dx, S* dy)
{
    const T *a = rows[0] + x, *b = rows[1] + x, *c = rows[2] + x;
    *dx = side * (a[2] - a[0]) + centre * (b[2] - b[0]) + side * (c[2] - c[0]);
    *dy = side * (c[0] - a[0]) + centre * (c[1] - a[1]) + side * (c[2] - a[2]);
}

void gradientRow(ilmvGradientKind kind, const uint8_t* const* rows, size_t n, int16_t* dx, int16_t* dy)
{
    const int32_t side = kind == ilmvGradientKind::kCentral ? 0 : kind == ilmvGradientKind::kSobel ? 1 : 3;
    const int32_t centre = kind == ilmvGradientKind::kCentral ? 1 : kind == ilmvGradientKind::kSobel ? 2 : 10;
    for (size_t x = 0; x < n; ++x) {
        int32_t gx, gy;
        gradientAt(rows, x, side, centre, &gx, &gy);
        dx[x] = static_cast<int16_t>(gx);
        dy[x] = static_cast<int16_t>(gy);
    }
}

void sobelf32Row(const float32_t* const* rows, size_t n, float32_t* dx, float32_t* dy)
{
    const float32_t *a = rows[0], *b = rows[1], *c = rows[2];
    for (size_t x = 0; x < n; ++x) {
        const float32_t gx = (a[x + 2] - a[x]) + 2.0f * (b[x + 2] - b[x]) + (c[x + 2] - c[x]);
        const float32_t gy = (c[x] - a[x]) + 2.0f * (c[x + 1] - a[x + 1]) + (c[x + 2] - a[x + 2]);
        dx[x] = gx * 0.125f;
        dy[x] = gy * 0.125f;
    }
}

void strengthRow(const uint8_t* const* rows, size_t n, uint8_t* dst)
{
    for (size_t x = 0; x < n; ++x) {
        int32_t gx, gy;
        gradientAt(rows, x, 1, 2, &gx, &gy);
        dst[x] = static_cast<uint8_t>(std::min((std::abs(gx) + std::abs(gy)) >> 3, 255));
    }
}

void interleaveRow(const int16_t* dx, const int16_t* dy, size_t n, int16_t* dst)
{
    for (size_t x = 0; x < n; ++x) {
        dst[2 * x] = dx[x];
        dst[2 * x + 1] = dy[x];
    }
}

void tof32Row(const int16_t* src, size_t n, float32_t scale, float32_t* dst)
{
    for (size_t x = 0; x < n; ++x) dst[x] = float32_t(src[x]) * scale;
}

void interleavef32Row(const int16_t* dx, const int16_t* dy, size_t n, float32_t scale, float32_t* dst)
{
    for (size_t x = 0; x < n; ++x) {
        dst[2 * x] = float32_t(dx[x]) * scale;
        dst[2 * x + 1] = float32_t(dy[x]) * scale;
    }
}

void tos8Row(const int16_t* src, size_t n, int8_t* dst)
{
    for (size_t x = 0; x < n; ++x) dst[x] = static_cast<int8_t>(src[x] >> 3);
}

void magnitudeRow(const int16_t* dx, const int16_t* dy, size_t n, int16_t* dst)
{
    for (size_t x = 0; x < n; ++x) dst[x] = ilmvMagnitudePixel(dx[x], dy[x]);
}

void phaseRow(const int16_t* dx, const int16_t* dy, size_t n, uint8_t* dst)
{
    for (size_t x = 0; x < n; ++x) dst[x] = phasePixel(dx[x], dy[x]);
}

void normL1Row(const int16_t* dx, const int16_t* dy, size_t n, uint32_t* mag)
{
    for (size_t x = 0; x < n; ++x) mag[x] = uint32_t(std::abs(dx[x]) + std::abs(dy[x]));
}

void normL2Row(const int16_t* dx, const int16_t* dy, size_t n, uint32_t* mag)
{
    for (size_t x = 0; x < n; ++x) mag[x] = uint32_t(dx[x] * dx[x]) + uint32_t(dy[x] * dy[x]);
}

// The nearest of four directions across the gradient, chosen with tan 22.5 degrees in 15-bit
// fixed point: -1 along the row, 0 down the column, 1 or 2 the diagonals of equal or opposite signs.
int crossing(int32_t gx, int32_t gy)
{
    const int64_t ax = std::abs(gx), ay = int64_t(std::abs(gy)) << 15, tan22 = ax * 13573;
    if (ay < tan22) return -1;
    if (ay > tan22 + (ax << 16)) return 0;
    return (gx ^ gy) < 0 ? 2 : 1;
}

void suppressRowC(const uint32_t* prev, const uint32_t* cur, const uint32_t* next, const int16_t* gx,
                  const int16_t* gy, size_t n, uint32_t lowPlus, uint32_t highPlus, uint8_t* map)
{
    // Signed positions: the neighbours before x = 0 lie at index -1.
    for (ptrdiff_t x = 0; x < ptrdiff_t(n); ++x) {
        const uint32_t m = cur[x];
        bool kept = m >= lowPlus;
        if (kept) {
            switch (crossing(gx[x], gy[x])) {
            case -1: kept = m > cur[x - 1] && m >= cur[x + 1]; break;
            case 0: kept = m > prev[x] && m >= next[x]; break;
            case 1: kept = m > prev[x - 1] && m > next[x + 1]; break;
            default: kept = m > prev[x + 1] && m > next[x - 1]; break;
            }
        }
        map[x] = kept ? (m >= highPlus ? 2 : 0) : 1;
    }
}

}  // namespace

const ilmvEdgeRows& ilmvEdgeRowsC()
{
    static const ilmvEdgeRows rows = {ilmvFilterRowsC, thresholdRow,  rangeRow,     lookupRow,        widenRow,
                                      narrowRow,       weightRow,     boxMeansRows, adaptiveRow,  gradientRow,      sobelf32Row,
                                      strengthRow,     interleaveRow, tof32Row,     interleavef32Row, tos8Row,
                                      magnitudeRow,    phaseRow,      normL1Row,    normL2Row,        suppressRowC};
    return rows;
}
