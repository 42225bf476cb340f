// NEON kernels of the analysis family: integral rows by in-register prefix sums, tilted rows,
// the histogram over four sub-histograms, sums of values and squares, the extremes of a row
// by vector minimum and maximum, and the moment chunk sums. The table starts as the
// reference one and replaces the kernels that have a vector form; each gives the reference's
// results.
#include "cpu/lumivaAnalysis.h"
#include "simd/lumivaNeon.h"

#include <climits>

namespace {

using namespace ilmv;

const ilmvAnalysisRows& ref()
{
    return ilmvAnalysisRowsC();
}

// ---- Integral rows ------------------------------------------------------------------------------
// Running sums of eight 16-bit lanes: three shifted adds.
uint16x8_t prefix8(uint16x8_t v)
{
    const uint16x8_t zero = vdupq_n_u16(0);
    v = vaddq_u16(v, vextq_u16(zero, v, 7));
    v = vaddq_u16(v, vextq_u16(zero, v, 6));
    return vaddq_u16(v, vextq_u16(zero, v, 4));
}

uint32x4_t prefix4(uint32x4_t v)
{
    const uint32x4_t zero = vdupq_n_u32(0);
    v = vaddq_u32(v, vextq_u32(zero, v, 3));
    return vaddq_u32(v, vextq_u32(zero, v, 2));
}

// Sixteen running sums of bytes: each half's prefix in 16-bit lanes (below 4096), the second
// half raised by the first's total; then widened onto the total so far.
template <class Store>
uint32_t runsOfBytes16(const uint8_t* src, uint32_t carry, Store store)
{
    const uint8x16_t v = vld1q_u8(src);
    const uint16x8_t lo = prefix8(vmovl_u8(vget_low_u8(v)));
    const uint16x8_t hi = vaddq_u16(prefix8(vmovl_u8(vget_high_u8(v))), vdupq_n_u16(vgetq_lane_u16(lo, 7)));
    const uint32x4_t c = vdupq_n_u32(carry);
    store(0, vaddw_u16(c, vget_low_u16(lo)));
    store(1, vaddw_u16(c, vget_high_u16(lo)));
    store(2, vaddw_u16(c, vget_low_u16(hi)));
    store(3, vaddw_u16(c, vget_high_u16(hi)));
    return carry + vgetq_lane_u16(hi, 7);
}

// Eight running sums of squares (each below 2^16, their prefix below 2^20) onto the total. The
// halves' totals are read from their own prefixes, so only a scalar add carries from step to
// step.
template <class Store>
uint32_t runsOfSquares8(const uint8_t* src, uint32_t carry, Store store)
{
    const uint8x8_t v = vld1_u8(src);
    const uint16x8_t sq = vmull_u8(v, v);
    const uint32x4_t lo = prefix4(vmovl_u16(vget_low_u16(sq))), hi = prefix4(vmovl_u16(vget_high_u16(sq)));
    const uint32_t loTotal = vgetq_lane_u32(lo, 3), hiTotal = vgetq_lane_u32(hi, 3);
    store(0, vaddq_u32(lo, vdupq_n_u32(carry)));
    store(1, vaddq_u32(hi, vdupq_n_u32(carry + loTotal)));
    return carry + loTotal + hiTotal;
}

// The vector steps cover whole groups; the reference kernel finishes the row from the total.
template <class Step>
void integrateRow(const uint8_t* src, size_t n, const uint32_t* prev, uint32_t* out, size_t group, Step step,
                  void (*tail)(const uint8_t*, size_t, const uint32_t*, uint32_t*))
{
    uint32_t carry = 0;
    out[0] = 0;
    size_t x = 0;
    if (prev) {
        for (; x + group <= n; x += group)
            carry = step(src + x, carry, [&](int k, uint32x4_t r) {
                vst1q_u32(out + x + 1 + 4 * k, vaddq_u32(r, vld1q_u32(prev + x + 1 + 4 * k)));
            });
    } else {
        for (; x + group <= n; x += group)
            carry = step(src + x, carry, [&](int k, uint32x4_t r) { vst1q_u32(out + x + 1 + 4 * k, r); });
    }
    if (x == n) return;
    uint32_t* rest = out + x;
    const uint32_t keep = rest[0];
    tail(src + x, n - x, prev ? prev + x : nullptr, rest);
    for (size_t i = 1; i <= n - x; ++i) rest[i] += carry;
    rest[0] = keep;
}

void integrateV(const uint8_t* src, size_t n, const uint32_t* prev, uint32_t* out)
{
    integrateRow(src, n, prev, out, 16, [](const uint8_t* p, uint32_t c, auto store) { return runsOfBytes16(p, c, store); },
                 ref().integrate);
}

void integrateSquaresV(const uint8_t* src, size_t n, const uint32_t* prev, uint32_t* out)
{
    integrateRow(src, n, prev, out, 8, [](const uint8_t* p, uint32_t c, auto store) { return runsOfSquares8(p, c, store); },
                 ref().integrateSquares);
}

void integrateSquares64V(const uint8_t* src, size_t n, const uint64_t* prev, uint64_t* out)
{
    uint64_t carry = 0;
    out[0] = 0;
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        uint32x4_t runs[2];
        const uint32_t total = runsOfSquares8(src + x, 0, [&](int k, uint32x4_t r) { runs[k] = r; });  // below 2^20
        const uint64x2_t c = vdupq_n_u64(carry);
        const uint64x2_t q[4] = {vaddw_u32(c, vget_low_u32(runs[0])), vaddw_u32(c, vget_high_u32(runs[0])),
                                 vaddw_u32(c, vget_low_u32(runs[1])), vaddw_u32(c, vget_high_u32(runs[1]))};
        for (int k = 0; k < 4; ++k)
            vst1q_u64(out + x + 1 + 2 * k, prev ? vaddq_u64(q[k], vld1q_u64(prev + x + 1 + 2 * k)) : q[k]);
        carry += total;
    }
    for (; x < n; ++x) {
        carry += uint32_t(src[x]) * src[x];
        out[x + 1] = (prev ? prev[x + 1] : 0) + carry;
    }
}

void tiltedRowV(const uint32_t* a, const uint32_t* b, const uint32_t* p, const uint32_t* q, size_t n, uint32_t* out)
{
    size_t i = 1;
    for (; i + 4 < n; i += 4) {
        const uint32x4_t sides = vaddq_u32(vld1q_u32(a + i - 1), vld1q_u32(a + i + 1));
        const uint32x4_t pixels = vaddq_u32(vld1q_u32(p + i - 1), vld1q_u32(q + i - 1));
        vst1q_u32(out + i, vaddq_u32(vsubq_u32(sides, vld1q_u32(b + i)), pixels));
    }
    if (i + 1 < n) ref().tiltedRow(a + i - 1, b + i - 1, p + i - 1, q + i - 1, n - i + 1, out + i - 1);
}

// ---- Histogram, sums and lookup -----------------------------------------------------------------
// Four sub-histograms: neighbouring equal bytes no longer wait on the same counter.
void histogramV(const uint8_t* src, size_t n, size_t rows, size_t stride, uint32_t* hist)
{
    uint32_t sub[4][256] = {};
    for (size_t y = 0; y < rows; ++y, src += stride) {
        size_t i = 0;
        for (; i + 8 <= n; i += 8) {
            ++sub[0][src[i]];
            ++sub[1][src[i + 1]];
            ++sub[2][src[i + 2]];
            ++sub[3][src[i + 3]];
            ++sub[0][src[i + 4]];
            ++sub[1][src[i + 5]];
            ++sub[2][src[i + 6]];
            ++sub[3][src[i + 7]];
        }
        for (; i < n; ++i) ++sub[0][src[i]];
    }
    for (int v = 0; v < 256; ++v) hist[v] += sub[0][v] + sub[1][v] + sub[2][v] + sub[3][v];
}

uint64_t lanesTotal(uint32x4_t v)
{
    const uint64x2_t pairs = vpaddlq_u32(v);
    return vgetq_lane_u64(pairs, 0) + vgetq_lane_u64(pairs, 1);
}

// 32 bytes a step: byte sums gather in 16-bit lanes for up to 64 steps (4 bytes a lane a step,
// below 2^16 in all), squares
// in two 32-bit accumulators; both are added into the 64-bit totals after each run.
void sumsV(const uint8_t* src, size_t n, uint64_t* sum, uint64_t* squares)
{
    size_t i = 0;
    while (i + 32 <= n) {
        uint16x8_t s = vdupq_n_u16(0);
        uint32x4_t q0 = vdupq_n_u32(0), q1 = vdupq_n_u32(0);
        for (size_t steps = 0; steps < 64 && i + 32 <= n; ++steps, i += 32) {
            const uint8x16_t a = vld1q_u8(src + i), b = vld1q_u8(src + i + 16);
            s = vpadalq_u8(s, a);
            s = vpadalq_u8(s, b);
            q0 = vpadalq_u16(q0, vmull_u8(vget_low_u8(a), vget_low_u8(a)));
            q1 = vpadalq_u16(q1, vmull_u8(vget_high_u8(a), vget_high_u8(a)));
            q0 = vpadalq_u16(q0, vmull_u8(vget_low_u8(b), vget_low_u8(b)));
            q1 = vpadalq_u16(q1, vmull_u8(vget_high_u8(b), vget_high_u8(b)));
        }
        *sum += lanesTotal(vpaddlq_u16(s));
        *squares += lanesTotal(q0) + lanesTotal(q1);
    }
    ref().sums(src + i, n - i, sum, squares);
}

// ---- Extremes -----------------------------------------------------------------------------------
// Vector minimum and maximum over whole registers, the rest one by one; `reduce` folds the
// lanes.
template <class T, class V, class Load, class Min, class Max, class Reduce>
void extremes(const T* src, size_t n, size_t lanes, T* lo, T* hi, Load load, Min vmin, Max vmax, Reduce reduce)
{
    V a = load(src), b = a;
    size_t i = lanes;
    for (; i + lanes <= n; i += lanes) {
        const V v = load(src + i);
        a = vmin(a, v);
        b = vmax(b, v);
    }
    reduce(a, b, lo, hi);
    for (; i < n; ++i) {
        *lo = src[i] < *lo ? src[i] : *lo;
        *hi = src[i] > *hi ? src[i] : *hi;
    }
}

void minMaxU8V(const uint8_t* src, size_t n, uint8_t* lo, uint8_t* hi)
{
    if (n < 16) return ref().minMaxU8(src, n, lo, hi);
    extremes<uint8_t, uint8x16_t>(
        src, n, 16, lo, hi, [](const uint8_t* p) { return vld1q_u8(p); },
        [](uint8x16_t a, uint8x16_t b) { return vminq_u8(a, b); }, [](uint8x16_t a, uint8x16_t b) { return vmaxq_u8(a, b); },
        [](uint8x16_t a, uint8x16_t b, uint8_t* low, uint8_t* high) {
            uint8x8_t l = vpmin_u8(vget_low_u8(a), vget_high_u8(a)), h = vpmax_u8(vget_low_u8(b), vget_high_u8(b));
            for (int k = 0; k < 3; ++k) l = vpmin_u8(l, l), h = vpmax_u8(h, h);
            *low = vget_lane_u8(l, 0);
            *high = vget_lane_u8(h, 0);
        });
}

void minMaxS16V(const int16_t* src, size_t n, int16_t* lo, int16_t* hi)
{
    if (n < 8) return ref().minMaxS16(src, n, lo, hi);
    extremes<int16_t, int16x8_t>(
        src, n, 8, lo, hi, [](const int16_t* p) { return vld1q_s16(p); },
        [](int16x8_t a, int16x8_t b) { return vminq_s16(a, b); }, [](int16x8_t a, int16x8_t b) { return vmaxq_s16(a, b); },
        [](int16x8_t a, int16x8_t b, int16_t* low, int16_t* high) {
            int16x4_t l = vpmin_s16(vget_low_s16(a), vget_high_s16(a)), h = vpmax_s16(vget_low_s16(b), vget_high_s16(b));
            for (int k = 0; k < 2; ++k) l = vpmin_s16(l, l), h = vpmax_s16(h, h);
            *low = vget_lane_s16(l, 0);
            *high = vget_lane_s16(h, 0);
        });
}

void minMaxU16V(const uint16_t* src, size_t n, uint16_t* lo, uint16_t* hi)
{
    if (n < 8) return ref().minMaxU16(src, n, lo, hi);
    extremes<uint16_t, uint16x8_t>(
        src, n, 8, lo, hi, [](const uint16_t* p) { return vld1q_u16(p); },
        [](uint16x8_t a, uint16x8_t b) { return vminq_u16(a, b); }, [](uint16x8_t a, uint16x8_t b) { return vmaxq_u16(a, b); },
        [](uint16x8_t a, uint16x8_t b, uint16_t* low, uint16_t* high) {
            uint16x4_t l = vpmin_u16(vget_low_u16(a), vget_high_u16(a)), h = vpmax_u16(vget_low_u16(b), vget_high_u16(b));
            for (int k = 0; k < 2; ++k) l = vpmin_u16(l, l), h = vpmax_u16(h, h);
            *low = vget_lane_u16(l, 0);
            *high = vget_lane_u16(h, 0);
        });
}

void minMaxS32V(const int32_t* src, size_t n, int32_t* lo, int32_t* hi)
{
    if (n < 4) return ref().minMaxS32(src, n, lo, hi);
    extremes<int32_t, int32x4_t>(
        src, n, 4, lo, hi, [](const int32_t* p) { return vld1q_s32(p); },
        [](int32x4_t a, int32x4_t b) { return vminq_s32(a, b); }, [](int32x4_t a, int32x4_t b) { return vmaxq_s32(a, b); },
        [](int32x4_t a, int32x4_t b, int32_t* low, int32_t* high) {
            int32x2_t l = vpmin_s32(vget_low_s32(a), vget_high_s32(a)), h = vpmax_s32(vget_low_s32(b), vget_high_s32(b));
            l = vpmin_s32(l, l), h = vpmax_s32(h, h);
            *low = vget_lane_s32(l, 0);
            *high = vget_lane_s32(h, 0);
        });
}

void minMaxU32V(const uint32_t* src, size_t n, uint32_t* lo, uint32_t* hi)
{
    if (n < 4) return ref().minMaxU32(src, n, lo, hi);
    extremes<uint32_t, uint32x4_t>(
        src, n, 4, lo, hi, [](const uint32_t* p) { return vld1q_u32(p); },
        [](uint32x4_t a, uint32x4_t b) { return vminq_u32(a, b); }, [](uint32x4_t a, uint32x4_t b) { return vmaxq_u32(a, b); },
        [](uint32x4_t a, uint32x4_t b, uint32_t* low, uint32_t* high) {
            uint32x2_t l = vpmin_u32(vget_low_u32(a), vget_high_u32(a)), h = vpmax_u32(vget_low_u32(b), vget_high_u32(b));
            l = vpmin_u32(l, l), h = vpmax_u32(h, h);
            *low = vget_lane_u32(l, 0);
            *high = vget_lane_u32(h, 0);
        });
}

// Floats go by their order keys (integer compares, so flushed denormals cannot tie), NaN
// lanes replaced by keys no number has.
bool minMaxF32V(const float32_t* src, size_t n, int32_t* lo, int32_t* hi)
{
    int32x4_t a = vdupq_n_s32(INT32_MAX), b = vdupq_n_s32(INT32_MIN);
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const int32x4_t bits = vreinterpretq_s32_f32(vld1q_f32(src + i));
        const int32x4_t key = veorq_s32(bits, vandq_s32(vshrq_n_s32(bits, 31), vdupq_n_s32(INT32_MAX)));
        // A NaN has an all-ones exponent and a non-zero fraction.
        const uint32x4_t magnitude = vandq_u32(vreinterpretq_u32_s32(bits), vdupq_n_u32(0x7FFFFFFFu));
        const uint32x4_t number = vcleq_u32(magnitude, vdupq_n_u32(0x7F800000u));
        a = vminq_s32(a, vbslq_s32(number, key, vdupq_n_s32(INT32_MAX)));
        b = vmaxq_s32(b, vbslq_s32(number, key, vdupq_n_s32(INT32_MIN)));
    }
    int32x2_t l = vpmin_s32(vget_low_s32(a), vget_high_s32(a)), h = vpmax_s32(vget_low_s32(b), vget_high_s32(b));
    l = vpmin_s32(l, l), h = vpmax_s32(h, h);
    *lo = vget_lane_s32(l, 0), *hi = vget_lane_s32(h, 0);
    bool any = *lo != INT32_MAX;
    for (; i < n; ++i) {
        if (src[i] != src[i]) continue;
        const int32_t key = ilmvFloatKey(src[i]);
        *lo = !any || key < *lo ? key : *lo;
        *hi = !any || key > *hi ? key : *hi;
        any = true;
    }
    return any;
}

// ---- Moments ------------------------------------------------------------------------------------
// i, i^2 and i^3 for the 64 columns of a chunk.
struct Powers {
    uint32_t p[3][ILMV_MOMENT_CHUNK];
    Powers()
    {
        for (uint32_t i = 0; i < ILMV_MOMENT_CHUNK; ++i) p[0][i] = i, p[1][i] = i * i, p[2][i] = i * i * i;
    }
};

void momentChunkU8V(const uint8_t* src, size_t n, uint32_t sums[4])
{
    static const Powers powers;
    uint32x4_t a[4] = {vdupq_n_u32(0), vdupq_n_u32(0), vdupq_n_u32(0), vdupq_n_u32(0)};
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const uint16x8_t p = vmovl_u8(vld1_u8(src + i));
        const uint32x4_t halves[2] = {vmovl_u16(vget_low_u16(p)), vmovl_u16(vget_high_u16(p))};
        for (int h = 0; h < 2; ++h) {
            const size_t at = i + 4 * h;
            a[0] = vaddq_u32(a[0], halves[h]);
            for (int k = 1; k < 4; ++k) a[k] = vmlaq_u32(a[k], halves[h], vld1q_u32(powers.p[k - 1] + at));
        }
    }
    for (int k = 0; k < 4; ++k) sums[k] = uint32_t(lanesTotal(a[k]));
    for (; i < n; ++i) {
        const uint32_t p = src[i], x = uint32_t(i);
        sums[0] += p;
        sums[1] += x * p;
        sums[2] += x * x * p;
        sums[3] += x * x * x * p;
    }
}

ilmvAnalysisRows simdRows()
{
    ilmvAnalysisRows rows = ilmvAnalysisRowsC();
    rows.integrate = integrateV;
    rows.integrateSquares = integrateSquaresV;
    rows.integrateSquares64 = integrateSquares64V;
    rows.tiltedRow = tiltedRowV;
    rows.histogram = histogramV;
    rows.sums = sumsV;
    rows.minMaxU8 = minMaxU8V;
    rows.minMaxS16 = minMaxS16V;
    rows.minMaxU16 = minMaxU16V;
    rows.minMaxS32 = minMaxS32V;
    rows.minMaxU32 = minMaxU32V;
    rows.minMaxF32 = minMaxF32V;
    rows.momentChunkU8 = momentChunkU8V;
    return rows;
}

}  // namespace

const ilmvAnalysisRows& ilmvAnalysisRowsV()
{
    static const ilmvAnalysisRows rows = simdRows();
    return rows;
}
