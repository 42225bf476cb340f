// NEON inner loops of the Lucas-Kanade engine: window sampling four columns at a time, the
// window gradients element by element, and the window sums in four lanes by column mod 4,
// which is the reference's own order of addition, so the tracked positions are the
// reference's to the bit.
#include "cpu/lumivaLK.h"
#include "simd/lumivaNeon.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace ilmv;

// The gradients of one output row, four at a time, from the smoothed sums A and the
// differences B of the three source rows kept in registers: Ix needs A shifted by two,
// Iy needs B shifted by one and two, which come from the next block by lane shifts.
// The last outputs of the row, where the next block would read past the row, compute the
// shifted A and B from their own loads; the final block may overlap its neighbour, which
// rewrites the same values.
struct GradientRow {
    const float32_t *s0, *s1, *s2;
    float32x4_t k3, k10;

    float32x4_t smoothed(int x) const  // A at x .. x+3
    {
        return vaddq_f32(vmulq_f32(vaddq_f32(vld1q_f32(s0 + x), vld1q_f32(s2 + x)), k3), vmulq_f32(vld1q_f32(s1 + x), k10));
    }
    float32x4_t difference(int x) const { return vsubq_f32(vld1q_f32(s2 + x), vld1q_f32(s0 + x)); }  // B

    void store(float32_t* gx, float32_t* gy, int x, float32x4_t a0, float32x4_t a2, float32x4_t b0, float32x4_t b1,
               float32x4_t b2) const
    {
        vst1q_f32(gx + x, vsubq_f32(a2, a0));
        vst1q_f32(gy + x, vaddq_f32(vmulq_f32(vaddq_f32(b0, b2), k3), vmulq_f32(b1, k10)));
    }
    void fromLoads(float32_t* gx, float32_t* gy, int x) const
    {
        store(gx, gy, x, smoothed(x), smoothed(x + 2), difference(x), difference(x + 1), difference(x + 2));
    }
    // w source columns, w - 2 >= 4 outputs.
    void run(float32_t* gx, float32_t* gy, int w) const
    {
        float32x4_t a = smoothed(0), b = difference(0);
        int x = 0;
        for (; x + 8 <= w; x += 4) {
            const float32x4_t nextA = smoothed(x + 4), nextB = difference(x + 4);
            store(gx, gy, x, a, vextq_f32(a, nextA, 2), b, vextq_f32(b, nextB, 1), vextq_f32(b, nextB, 2));
            a = nextA;
            b = nextB;
        }
        const int outputs = w - 2;
        if (x + 4 <= outputs) {
            fromLoads(gx, gy, x);
            x += 4;
        }
        if (x < outputs) fromLoads(gx, gy, outputs - 4);
    }
};

void ixIyV(const float32_t* s, float32_t* ix, float32_t* iy, float32_t* work, int w, int h)
{
    if (w < 6) return ilmvIxIyReference(s, ix, iy, work, w, h);
    for (int r = 0; r + 2 < h; ++r) {
        const GradientRow row{s + r * w, s + (r + 1) * w, s + (r + 2) * w, vdupq_n_f32(0.09375f), vdupq_n_f32(0.3125f)};
        row.run(ix + r * (w - 2), iy + r * (w - 2), w);
    }
}

// Window sums run in four lanes by column mod 4, row after row; a row's last w mod 4
// columns go into lanes 0 .. n-1 through a mask, so every other lane keeps its bits.
struct RowSplit {
    int body, rest;
    uint32x4_t restLanes;
    explicit RowSplit(int w) : body(w & ~3), rest(w & 3), restLanes(firstLanes(w & 3)) {}
    float32x4_t addRest(float32x4_t sum, float32x4_t term) const
    {
        return vbslq_f32(restLanes, vaddq_f32(sum, term), sum);
    }
};

float32_t lanesTotal(float32x4_t v)
{
    return (vgetq_lane_f32(v, 0) + vgetq_lane_f32(v, 1)) + (vgetq_lane_f32(v, 2) + vgetq_lane_f32(v, 3));
}

void gradientSumsV(const float32_t* gx, const float32_t* gy, int stride, int w, int h, float32_t out[3])
{
    if (w < 4) return ilmvLKKernelsC().gradientSums(gx, gy, stride, w, h, out);
    const RowSplit split(w);
    float32x4_t xx = vdupq_n_f32(0), xy = xx, yy = xx;
    for (int r = 0; r < h; ++r) {
        const float32_t* a = gx + r * stride;
        const float32_t* b = gy + r * stride;
        for (int c = 0; c < split.body; c += 4) {
            const float32x4_t va = vld1q_f32(a + c), vb = vld1q_f32(b + c);
            xx = vaddq_f32(xx, vmulq_f32(va, va));
            xy = vaddq_f32(xy, vmulq_f32(va, vb));
            yy = vaddq_f32(yy, vmulq_f32(vb, vb));
        }
        if (split.rest) {
            const float32x4_t va = lastColumns(a, w, split.rest), vb = lastColumns(b, w, split.rest);
            xx = split.addRest(xx, vmulq_f32(va, va));
            xy = split.addRest(xy, vmulq_f32(va, vb));
            yy = split.addRest(yy, vmulq_f32(vb, vb));
        }
    }
    out[0] = lanesTotal(xx);
    out[1] = lanesTotal(xy);
    out[2] = lanesTotal(yy);
}

void mismatchSumsV(const float32_t* p1, int p1Stride, const float32_t* p2, int p2Stride, const float32_t* gx,
                   const float32_t* gy, int gStride, int w, int h, float32_t out[2])
{
    if (w < 4) return ilmvLKKernelsC().mismatchSums(p1, p1Stride, p2, p2Stride, gx, gy, gStride, w, h, out);
    const RowSplit split(w);
    float32x4_t sx = vdupq_n_f32(0), sy = sx;
    for (int r = 0; r < h; ++r) {
        const float32_t* q1 = p1 + r * p1Stride;
        const float32_t* q2 = p2 + r * p2Stride;
        const float32_t* a = gx + r * gStride;
        const float32_t* b = gy + r * gStride;
        for (int c = 0; c < split.body; c += 4) {
            const float32x4_t diff = vsubq_f32(vld1q_f32(q1 + c), vld1q_f32(q2 + c));
            sx = vaddq_f32(sx, vmulq_f32(diff, vld1q_f32(a + c)));
            sy = vaddq_f32(sy, vmulq_f32(diff, vld1q_f32(b + c)));
        }
        if (split.rest) {
            const int n = split.rest;
            const float32x4_t diff = vsubq_f32(lastColumns(q1, w, n), lastColumns(q2, w, n));
            sx = split.addRest(sx, vmulq_f32(diff, lastColumns(a, w, n)));
            sy = split.addRest(sy, vmulq_f32(diff, lastColumns(b, w, n)));
        }
    }
    out[0] = lanesTotal(sx);
    out[1] = lanesTotal(sy);
}

// getRectSubPix, K output rows at a time from K + 1 image rows, each image row converted to
// floats once for the output rows on both sides of it. Output j > 0 of a row is the
// reference's t(j) + t(j-1) * (1-a) / a with the same roundings, so four of them take the
// terms of columns j-1 .. j+2 and j .. j+3 and one lane-wise division; output 0 adds the
// row's first carry. Terms move along the row in registers; the row's last outputs come
// from a block that may overlap its neighbour.
struct SubPixRows {
    float32_t a, b, w10, w11;  // a(1-b), ab
    float32x4_t vw10, vw11, vkeep, va;

    SubPixRows(float32_t a, float32_t b)
        : a(a), b(b), w10(a * (1 - b)), w11(a * b), vw10(vdupq_n_f32(w10)), vw11(vdupq_n_f32(w11)),
          vkeep(vdupq_n_f32(1 - a)), va(vdupq_n_f32(a))
    {
    }
    // t of four columns from the pixels above and below, as floats.
    float32x4_t termsOf(float32x4_t top, float32x4_t bottom) const
    {
        return vaddq_f32(vmulq_f32(vw10, top), vmulq_f32(vw11, bottom));
    }
    // Outputs j .. j+3 from the terms of columns j-1 .. j+2 and j .. j+3.
    float32x4_t outputs(float32x4_t before, float32x4_t at) const
    {
        return vaddq_f32(divide(vmulq_f32(before, vkeep), va), at);
    }

    // The terms of the four columns from `offset` in each of the K output rows.
    template <int K>
    void terms(const uint8_t* const (&p)[K + 1], int offset, float32x4_t (&t)[K]) const
    {
        float32x4_t f[K + 1];
        for (int i = 0; i <= K; ++i) f[i] = fourBytesAsFloats(p[i] + offset);
        for (int k = 0; k < K; ++k) t[k] = termsOf(f[k], f[k + 1]);
    }

    // K rows of w >= 5 outputs from the w + 1 pixels of K + 1 image rows.
    template <int K>
    void sample(const uint8_t* const (&p)[K + 1], float32_t* const (&out)[K], int w) const
    {
        const int last = w - 4;  // the first output of the final block
        float32x4_t t[K], next[K];
        terms<K>(p, 1, t);  // columns 0 .. 3
        float32_t first[K + 1];
        for (int i = 0; i <= K; ++i) first[i] = float32_t(p[i][0]);
        for (int k = 0; k < K; ++k)
            out[k][0] = (1 - a) * ((1 - b) * first[k] + b * first[k + 1]) + vgetq_lane_f32(t[k], 0);
        int j = 1;
        for (; j + 11 <= w; j += 8) {
            float32x4x2_t f[K + 1];
            for (int i = 0; i <= K; ++i) f[i] = eightBytesAsFloats(p[i] + j + 4);
            for (int k = 0; k < K; ++k) {
                const float32x4_t n = termsOf(f[k].val[0], f[k + 1].val[0]), after = termsOf(f[k].val[1], f[k + 1].val[1]);
                vst1q_f32(out[k] + j, outputs(t[k], vextq_f32(t[k], n, 1)));
                vst1q_f32(out[k] + j + 4, outputs(n, vextq_f32(n, after, 1)));
                t[k] = after;
            }
        }
        for (; j + 7 <= w; j += 4) {
            terms<K>(p, j + 4, next);  // columns j+3 .. j+6
            for (int k = 0; k < K; ++k) {
                vst1q_f32(out[k] + j, outputs(t[k], vextq_f32(t[k], next[k], 1)));
                t[k] = next[k];
            }
        }
        if (j <= last) {
            terms<K>(p, j + 1, next);
            for (int k = 0; k < K; ++k) vst1q_f32(out[k] + j, outputs(t[k], next[k]));
            j += 4;
        }
        if (j < w) {
            terms<K>(p, last, t);
            terms<K>(p, last + 1, next);
            for (int k = 0; k < K; ++k) vst1q_f32(out[k] + last, outputs(t[k], next[k]));
        }
    }
};

// Rows past the top or bottom take the edge row, and where the window crosses the left or
// right edge the rows are first copied with their edge pixels repeated: the same pixels
// the reference reads through its clamps. Windows narrower than five, or too wide for the
// copies, take the reference routine.
int subPixV(const uint8_t* image, uint32_t width, uint32_t height, uint32_t stride, float32_t* dst, int dstW,
            int dstH, float32_t cx, float32_t cy)
{
    constexpr int kWidest = 256;
    if (dstW < 5 || dstW >= kWidest || dstH < 1) return getRectSubPix(image, width, height, stride, dst, dstW, dstH, cx, cy);
    const float32_t x0 = cx - (dstW - 1) * 0.5f, y0 = cy - (dstH - 1) * 0.5f;
    const float32_t fx = std::floor(x0), fy = std::floor(y0);
    const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
    const SubPixRows k(std::max(x0 - fx, 0.0001f), y0 - fy);
    const bool columnsInside = ix >= 0 && ix + dstW < int(width);
    uint8_t copies[3][kWidest];
    // Image row r from the window's first column, edges repeated.
    auto row = [&](int r, int copy) -> const uint8_t* {
        const uint8_t* src = image + size_t(std::clamp(r, 0, int(height) - 1)) * stride;
        if (columnsInside) return src + ix;
        for (int c = 0; c <= dstW; ++c) copies[copy][c] = src[std::clamp(ix + c, 0, int(width) - 1)];
        return copies[copy];
    };
    int r = 0;
    for (; r + 2 <= dstH; r += 2) {
        const uint8_t* const p[3] = {row(iy + r, 0), row(iy + r + 1, 1), row(iy + r + 2, 2)};
        float32_t* const out[2] = {dst + r * dstW, dst + (r + 1) * dstW};
        k.sample<2>(p, out, dstW);
    }
    if (r < dstH) {
        const uint8_t* const p[2] = {row(iy + r, 0), row(iy + r + 1, 1)};
        float32_t* const out[1] = {dst + r * dstW};
        k.sample<1>(p, out, dstW);
    }
    return 0;
}

}  // namespace

const ILMV_LK_KERNELS& ilmvLKKernelsV()
{
    static const ILMV_LK_KERNELS kernels = {subPixV, ixIyV, gradientSumsV, mismatchSumsV};
    return kernels;
}
