// Canny edges and edge pixels: Sobel gradients with the edge pixels repeated, magnitudes three
// rows at a time, non-maximum suppression across the gradient, and for Canny a hysteresis
// walk whose stack comes from the scratch pool.
#include "cpu/lumivaEdge.h"
#include "cpu/lumivaFilterFrame.h"
#include "lumiva/lumivaMemory.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

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

// m > t for a u32 magnitude m, as m >= the returned bound.
uint32_t boundAbove(int64_t t)
{
    return uint32_t(std::min<int64_t>(std::max<int64_t>(t + 1, 0), 0xFFFFFFFF));
}

// Canny's edge map, one pass down the image: each row's gradients (into the caller's planes,
// whole images for the larger apertures, or a ring of three rows), its magnitudes (a ring of
// three padded rows), then the suppression of the row above. The map holds, for each pixel
// and a one-pixel frame of 1, the value the suppression gives; strong(x, y) is called for
// each 2, in raster order.
class EdgeMap {
public:
    EdgeMap(const ilmvEdgeRows& rows, uint32_t w, uint32_t h, bool l2, int64_t low, int64_t high)
        : rows_(rows), w_(w), h_(h), l2_(l2), lowPlus_(boundAbove(low)), highPlus_(boundAbove(high)),
          padded_(size_t(w) + 2), map_(padded_ * (size_t(h) + 2), 1), mags_(4 * padded_, 0)
    {
    }

    template <class Strong>
    void run(const uint8_t* src, uint32_t srcStride, uint32_t k, int16_t* gx, int16_t* gy, uint32_t gradStride,
             Strong strong)
    {
        if (gx && gy) {
            gx_ = gx, gy_ = gy, stride_ = gradStride;
        } else if (k == 3) {
            own_.resize(6 * size_t(w_));  // a ring of three rows of each
            ring_ = true;
        } else {
            own_.resize(2 * size_t(w_) * h_);
            gx_ = own_.data(), gy_ = own_.data() + size_t(w_) * h_, stride_ = w_ * 2;
        }
        auto finish = [&](uint32_t y) {
            (l2_ ? rows_.normL2 : rows_.normL1)(gxRow(y), gyRow(y), w_, magRow(y));
            if (y) suppress(y - 1, strong);
        };
        if (k == 3) {
            int64_t current = -1;
            ilmvFilterFrame(src, w_, h_, srcStride, 3, 3, ilmvEdge::kReplicate, uint8_t(0),
                            [&](const uint8_t* const* r, size_t n, uint32_t y, uint32_t x0) {
                                if (int64_t(y) != current && current >= 0) finish(uint32_t(current));
                                current = y;
                                rows_.gradientu8(ilmvGradientKind::kSobel, r, n, gxRow(y) + x0, gyRow(y) + x0);
                            });
        } else {
            if (k == 7)
                sobel7Sixteenths(src, w_, h_, srcStride, gx_, gy_, stride_);
            else
                ilmvSobel(rows_, k, src, w_, h_, srcStride, gx_, gy_, stride_, LUMIVA_BORDER_REPLICATE, 0);
            for (uint32_t y = 0; y + 1 < h_; ++y) finish(y);
        }
        finish(h_ - 1);
        suppress(h_ - 1, strong);
    }

    uint8_t* map() { return map_.data(); }
    size_t padded() const { return padded_; }
    const uint8_t* mapRow(uint32_t y) const { return map_.data() + (size_t(y) + 1) * padded_ + 1; }

private:
    int16_t* gxRow(uint32_t y) { return ring_ ? own_.data() + size_t(y % 3) * w_ : ilmvRowAt(gx_, stride_, y); }
    int16_t* gyRow(uint32_t y) { return ring_ ? own_.data() + size_t(3 + y % 3) * w_ : ilmvRowAt(gy_, stride_, y); }
    // Padded rows: index -1 and w read 0. Slot 3 stays all 0, for the rows outside the image.
    uint32_t* magRow(uint32_t y) { return mags_.data() + size_t(y % 3) * padded_ + 1; }
    uint32_t* outside() { return mags_.data() + 3 * padded_ + 1; }

    template <class Strong>
    void suppress(uint32_t y, Strong strong)
    {
        uint8_t* row = map_.data() + (size_t(y) + 1) * padded_ + 1;
        rows_.suppressRow(y ? magRow(y - 1) : outside(), magRow(y), y + 1 < h_ ? magRow(y + 1) : outside(), gxRow(y),
                          gyRow(y), w_, lowPlus_, highPlus_, row);
        for (const uint8_t* at = row; (at = static_cast<const uint8_t*>(std::memchr(at, 2, w_ - (at - row))));)
            strong(uint32_t(at++ - row), y);
    }

    const ilmvEdgeRows& rows_;
    const uint32_t w_, h_;
    const bool l2_;
    const uint32_t lowPlus_, highPlus_;
    const size_t padded_;
    std::vector<uint8_t> map_;
    std::vector<uint32_t> mags_;
    std::vector<int16_t> own_;
    bool ring_ = false;
    int16_t *gx_ = nullptr, *gy_ = nullptr;
    uint32_t stride_ = 0;
};

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
    EdgeMap edges(rows, w, h, l2, scaled(low), scaled(high));
    ScratchWords stack(size_t(w) * h);
    size_t top = 0;
    edges.run(src, srcStride, kernelSize, gx, gy, gradStride, [&](uint32_t x, uint32_t y) {
        stack.data()[top++] = uint32_t((size_t(y) + 1) * edges.padded() + x + 1);
    });
    hysteresis(edges.map(), edges.padded(), stack.data(), top);
    // Map values 0, 1, 2: the edges are those above 1.
    for (uint32_t y = 0; y < h; ++y) rows.thresholdu8(edges.mapRow(y), w, 1, 255, 0, ilmvRowAt(dst, dstStride, y));
    return LUMIVA_SUCCESS;
}

void ilmvDetectEdgePixels(const ilmvEdgeRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                          uint32_t threshold, uint32_t* xy, uint32_t capacity, uint32_t* count)
{
    EdgeMap edges(rows, w, h, false, threshold, threshold);
    uint32_t found = 0;
    edges.run(src, srcStride, 3, nullptr, nullptr, 0, [&](uint32_t x, uint32_t y) {
        if (found == capacity) return;
        xy[2 * found] = x;
        xy[2 * found + 1] = y;
        ++found;
    });
    *count = found;
}
