// Canny edges and edge pixels: Sobel gradients with the edge pixels repeated, magnitudes three
// rows at a time, non-maximum suppression across the gradient, and for Canny a hysteresis
// walk whose stack comes from the scratch pool.
#include "cpu/lumivaEdge.h"
#include "cpu/lumivaFilterFrame.h"
#include "lumiva/lumivaMemory.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace {

constexpr int64_t kTan22 = 13573;  // tan(22.5 degrees) * 2^15, rounded

// Whether pixel x of `cur` is a maximum across its gradient (gx, gy): the neighbour before
// it must be smaller and the one after it no larger, in the nearest of the four directions.
bool isMaximum(const uint32_t* prev, const uint32_t* cur, const uint32_t* next, ptrdiff_t x, int32_t gx, int32_t gy)
{
    const int64_t m = cur[x];
    const int64_t ax = std::abs(gx), ay = int64_t(std::abs(gy)) << 15;
    const int64_t tan22 = ax * kTan22;
    if (ay < tan22) return m > cur[x - 1] && m >= cur[x + 1];
    if (ay > tan22 + (ax << 16)) return m > prev[x] && m >= next[x];
    const ptrdiff_t s = (gx ^ gy) < 0 ? -1 : 1;
    return m > prev[x - s] && m > next[x + s];
}

// Calls keep(x, y, magnitude) for every pixel above `low` that is a maximum across its
// gradient; magnitudes outside the image count as 0.
template <class Keep>
void suppressNonMaxima(const ilmvEdgeRows& rows, const int16_t* gx, const int16_t* gy, uint32_t gradStride, uint32_t w,
                       uint32_t h, bool l2, int64_t low, Keep keep)
{
    const size_t padded = size_t(w) + 2;
    std::vector<uint32_t> ring(3 * padded, 0), zeros(padded, 0);
    auto magnitudes = [&](uint32_t y) { return ring.data() + (y % 3) * padded; };
    auto fill = [&](uint32_t y) {
        (l2 ? rows.normL2 : rows.normL1)(ilmvRowAt(gx, gradStride, y), ilmvRowAt(gy, gradStride, y), w,
                                         magnitudes(y) + 1);
    };
    fill(0);
    for (uint32_t y = 0; y < h; ++y) {
        if (y + 1 < h) fill(y + 1);
        const uint32_t* prev = (y ? magnitudes(y - 1) : zeros.data()) + 1;
        const uint32_t* next = (y + 1 < h ? magnitudes(y + 1) : zeros.data()) + 1;
        const uint32_t* cur = magnitudes(y) + 1;
        const int16_t *rx = ilmvRowAt(gx, gradStride, y), *ry = ilmvRowAt(gy, gradStride, y);
        for (uint32_t x = 0; x < w; ++x)
            if (int64_t(cur[x]) > low && isMaximum(prev, cur, next, x, rx[x], ry[x])) keep(x, y, cur[x]);
    }
}

// Words from the scratch pool, or from the heap when the pool has none to give.
class ScratchWords {
public:
    explicit ScratchWords(size_t count)
        : pooled_(static_cast<uint32_t*>(local_lmvGetScratchBufferUnaligned(count * sizeof(uint32_t))))
    {
        if (!pooled_) heap_.resize(count);
    }
    ~ScratchWords() { local_lmvReleaseScratchBuffer(pooled_); }
    ScratchWords(const ScratchWords&) = delete;
    ScratchWords& operator=(const ScratchWords&) = delete;
    uint32_t* data() { return pooled_ ? pooled_ : heap_.data(); }

private:
    uint32_t* pooled_;
    std::vector<uint32_t> heap_;
};

// Pixels above the low threshold that touch an edge (8-connected) become edges too.
void hysteresis(uint8_t* map, size_t padded, uint32_t* stack, size_t top)
{
    const ptrdiff_t p = ptrdiff_t(padded);
    const ptrdiff_t around[8] = {-p - 1, -p, -p + 1, -1, 1, p - 1, p, p + 1};
    while (top) {
        const uint32_t at = stack[--top];
        for (ptrdiff_t d : around) {
            uint8_t* q = map + at + d;
            if (*q == 0) {
                *q = 2;
                stack[top++] = uint32_t(at + d);
            }
        }
    }
}

struct Gradients {
    std::vector<int16_t> own;
    int16_t* gx = nullptr;
    int16_t* gy = nullptr;
    uint32_t stride = 0;
};

// The 7x7 Sobel divided by 16, rounding half to even, so that its sums fit 16 bits.
void sobel7Sixteenths(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, int16_t* gx, int16_t* gy,
                      uint32_t gradStride)
{
    static const int32_t smooth[7] = {1, 6, 15, 20, 15, 6, 1}, derive[7] = {-1, -4, -5, 0, 5, 4, 1};
    auto sixteenths = [](int32_t s) { return static_cast<int16_t>((s + 8 - ((s & 31) == 8)) >> 4); };
    ilmvFilterFrame(src, w, h, srcStride, 7, 7, ilmvEdge::kReplicate, uint8_t(0),
                    [&](const uint8_t* const* rows, size_t n, uint32_t y, uint32_t x0) {
                        int16_t *dx = ilmvRowAt(gx, gradStride, y) + x0, *dy = ilmvRowAt(gy, gradStride, y) + x0;
                        for (size_t x = 0; x < n; ++x) {
                            int32_t sx = 0, sy = 0;
                            for (int j = 0; j < 7; ++j)
                                for (int i = 0; i < 7; ++i) {
                                    const int32_t p = rows[j][x + i];
                                    sx += smooth[j] * derive[i] * p;
                                    sy += derive[j] * smooth[i] * p;
                                }
                            dx[x] = sixteenths(sx);
                            dy[x] = sixteenths(sy);
                        }
                    });
}

// The Sobel of kernelSize with the edge pixels repeated, into the caller's planes or our own.
LMV_STATUS sobelGradients(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                          uint32_t k, int16_t* gx, int16_t* gy, uint32_t gradStride, Gradients* g)
{
    if (!gx || !gy) {
        g->own.resize(size_t(w) * h * 2);
        gx = g->own.data();
        gy = gx + size_t(w) * h;
        gradStride = w * 2;
    }
    g->gx = gx;
    g->gy = gy;
    g->stride = gradStride;
    if (k == 7) {
        sobel7Sixteenths(src, w, h, srcStride, gx, gy, gradStride);
        return LUMIVA_SUCCESS;
    }
    return ilmvSobel(rows, k, src, w, h, srcStride, gx, gy, gradStride, LUMIVA_BORDER_REPLICATE, 0);
}

}  // namespace

LMV_STATUS ilmvCanny(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                     uint8_t* dst, uint32_t dstStride, int32_t low, int32_t high, uint32_t kernelSize,
                     LMV_NORM_TYPE norm, int16_t* gx, int16_t* gy, uint32_t gradStride)
{
    if ((kernelSize != 3 && kernelSize != 5 && kernelSize != 7) || (norm != LUMIVA_NORM_L1 && norm != LUMIVA_NORM_L2))
        return LUMIVA_BAD_PARAMS;
    if (low > high) std::swap(low, high);
    const bool l2 = norm == LUMIVA_NORM_L2;
    // The thresholds on the scale of the magnitudes: divided by 16 with the 7x7 derivatives,
    // squared (after a cap at 32767) for L2, then floored.
    auto scaled = [&](int32_t t) {
        double v = double(t) / (kernelSize == 7 ? 16 : 1);
        if (l2) {
            v = std::min(v, 32767.0);
            if (v > 0) v *= v;
        }
        return int64_t(std::floor(v));
    };
    const int64_t lo = scaled(low), hi = scaled(high);
    Gradients g;
    sobelGradients(rows, src, w, h, srcStride, kernelSize, gx, gy, gradStride, &g);
    const size_t padded = size_t(w) + 2;
    std::vector<uint8_t> map(padded * (size_t(h) + 2), 1);
    ScratchWords stack(size_t(w) * h);
    size_t top = 0;
    suppressNonMaxima(rows, g.gx, g.gy, g.stride, w, h, l2, lo, [&](uint32_t x, uint32_t y, uint32_t m) {
        const size_t at = (size_t(y) + 1) * padded + x + 1;
        map[at] = int64_t(m) > hi ? 2 : 0;
        if (map[at] == 2) stack.data()[top++] = uint32_t(at);
    });
    hysteresis(map.data(), padded, stack.data(), top);
    for (uint32_t y = 0; y < h; ++y) {
        const uint8_t* m = map.data() + (size_t(y) + 1) * padded + 1;
        uint8_t* d = ilmvRowAt(dst, dstStride, y);
        for (uint32_t x = 0; x < w; ++x) d[x] = m[x] == 2 ? 255 : 0;
    }
    return LUMIVA_SUCCESS;
}

void ilmvDetectEdgePixels(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                          uint32_t threshold, uint32_t* xy, uint32_t capacity, uint32_t* count)
{
    Gradients g;
    sobelGradients(rows, src, w, h, srcStride, 3, nullptr, nullptr, 0, &g);
    uint32_t found = 0;
    suppressNonMaxima(rows, g.gx, g.gy, g.stride, w, h, false, threshold, [&](uint32_t x, uint32_t y, uint32_t) {
        if (found == capacity) return;
        xy[2 * found] = x;
        xy[2 * found + 1] = y;
        ++found;
    });
    *count = found;
}
