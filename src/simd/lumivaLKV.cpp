// NEON inner loops of the Lucas-Kanade engine: the window gradients element by element, and
// the window sums in four lanes by column mod 4, which is the reference's own order of
// addition, so the tracked positions are the reference's to the bit.
#include "cpu/lumivaLK.h"
#include "simd/lumivaNeon.h"

namespace {

void ixIyV(const float32_t* s, float32_t* ix, float32_t* iy, float32_t* work, int w, int h)
{
    float32_t* A = work;
    float32_t* B = work + w;
    const float32x4_t k3 = vdupq_n_f32(0.09375f), k10 = vdupq_n_f32(0.3125f);
    for (int r = 0; r + 2 < h; ++r) {
        const float32_t* s0 = s + r * w;
        const float32_t* s1 = s0 + w;
        const float32_t* s2 = s1 + w;
        int x = 0;
        for (; x + 4 <= w; x += 4) {
            const float32x4_t a = vld1q_f32(s0 + x), b = vld1q_f32(s1 + x), c = vld1q_f32(s2 + x);
            vst1q_f32(A + x, vaddq_f32(vmulq_f32(vaddq_f32(a, c), k3), vmulq_f32(b, k10)));
            vst1q_f32(B + x, vsubq_f32(c, a));
        }
        for (; x < w; ++x) {
            A[x] = (s0[x] + s2[x]) * 0.09375f + s1[x] * 0.3125f;
            B[x] = s2[x] - s0[x];
        }
        float32_t* gx = ix + r * (w - 2);
        float32_t* gy = iy + r * (w - 2);
        x = 0;
        for (; x + 4 <= w - 2; x += 4) {
            vst1q_f32(gx + x, vsubq_f32(vld1q_f32(A + x + 2), vld1q_f32(A + x)));
            const float32x4_t outer = vaddq_f32(vld1q_f32(B + x), vld1q_f32(B + x + 2));
            vst1q_f32(gy + x, vaddq_f32(vmulq_f32(outer, k3), vmulq_f32(vld1q_f32(B + x + 1), k10)));
        }
        for (; x + 2 < w; ++x) {
            gx[x] = A[x + 2] - A[x];
            gy[x] = (B[x] + B[x + 2]) * 0.09375f + B[x + 1] * 0.3125f;
        }
    }
}

// N running sums of four lanes; a row's last columns go into their lanes one by one.
template <int N>
struct Lanes {
    float32_t v[N][4] = {};
    void finish(float32_t* out) const
    {
        for (int k = 0; k < N; ++k) out[k] = (v[k][0] + v[k][1]) + (v[k][2] + v[k][3]);
    }
};

void gradientSumsV(const float32_t* gx, const float32_t* gy, int stride, int w, int h, float32_t out[3])
{
    Lanes<3> lanes;
    for (int r = 0; r < h; ++r) {
        const float32_t* a = gx + r * stride;
        const float32_t* b = gy + r * stride;
        float32x4_t xx = vld1q_f32(lanes.v[0]), xy = vld1q_f32(lanes.v[1]), yy = vld1q_f32(lanes.v[2]);
        int c = 0;
        for (; c + 4 <= w; c += 4) {
            const float32x4_t va = vld1q_f32(a + c), vb = vld1q_f32(b + c);
            xx = vaddq_f32(xx, vmulq_f32(va, va));
            xy = vaddq_f32(xy, vmulq_f32(va, vb));
            yy = vaddq_f32(yy, vmulq_f32(vb, vb));
        }
        vst1q_f32(lanes.v[0], xx);
        vst1q_f32(lanes.v[1], xy);
        vst1q_f32(lanes.v[2], yy);
        for (; c < w; ++c) {
            lanes.v[0][c & 3] += a[c] * a[c];
            lanes.v[1][c & 3] += a[c] * b[c];
            lanes.v[2][c & 3] += b[c] * b[c];
        }
    }
    lanes.finish(out);
}

void mismatchSumsV(const float32_t* p1, int p1Stride, const float32_t* p2, int p2Stride, const float32_t* gx,
                   const float32_t* gy, int gStride, int w, int h, float32_t out[2])
{
    Lanes<2> lanes;
    for (int r = 0; r < h; ++r) {
        const float32_t* q1 = p1 + r * p1Stride;
        const float32_t* q2 = p2 + r * p2Stride;
        const float32_t* a = gx + r * gStride;
        const float32_t* b = gy + r * gStride;
        float32x4_t sx = vld1q_f32(lanes.v[0]), sy = vld1q_f32(lanes.v[1]);
        int c = 0;
        for (; c + 4 <= w; c += 4) {
            const float32x4_t diff = vsubq_f32(vld1q_f32(q1 + c), vld1q_f32(q2 + c));
            sx = vaddq_f32(sx, vmulq_f32(diff, vld1q_f32(a + c)));
            sy = vaddq_f32(sy, vmulq_f32(diff, vld1q_f32(b + c)));
        }
        vst1q_f32(lanes.v[0], sx);
        vst1q_f32(lanes.v[1], sy);
        for (; c < w; ++c) {
            const float32_t diff = q1[c] - q2[c];
            lanes.v[0][c & 3] += diff * a[c];
            lanes.v[1][c & 3] += diff * b[c];
        }
    }
    lanes.finish(out);
}

}  // namespace

const ILMV_LK_KERNELS& ilmvLKKernelsV()
{
    // Sampling keeps the reference routine: its recurrence divides once per pixel, and the
    // 32-bit vector unit has no exact division to do that lane-wise any faster.
    static const ILMV_LK_KERNELS kernels = {getRectSubPix, ixIyV, gradientSumsV, mismatchSumsV};
    return kernels;
}
