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

// Eight running sums in 32-bit lanes, `carry` holding the total before them; the carry
// moves on to the last sum.
struct Runs {
    uint32x4_t lo, hi;
};

Runs runsOfBytes(const uint8_t* src, uint32x4_t* carry)
{
    const uint16x8_t p = prefix8(vmovl_u8(vld1_u8(src)));
    Runs r = {vaddq_u32(vmovl_u16(vget_low_u16(p)), *carry), vaddq_u32(vmovl_u16(vget_high_u16(p)), *carry)};
    *carry = vdupq_n_u32(vgetq_lane_u32(r.hi, 3));
    return r;
}

Runs runsOfSquares(const uint8_t* src, uint32x4_t* carry)
{
    const uint8x8_t v = vld1_u8(src);
    const uint16x8_t sq = vmull_u8(v, v);
    Runs r = {prefix4(vmovl_u16(vget_low_u16(sq))), prefix4(vmovl_u16(vget_high_u16(sq)))};
    r.lo = vaddq_u32(r.lo, *carry);
    r.hi = vaddq_u32(r.hi, vdupq_n_u32(vgetq_lane_u32(r.lo, 3)));
    *carry = vdupq_n_u32(vgetq_lane_u32(r.hi, 3));
    return r;
}

template <class Step, class Tail>
void integrateBy8(const uint8_t* src, size_t n, const uint32_t* prev, uint32_t* out, Step step, Tail tail)
{
    uint32x4_t carry = vdupq_n_u32(0);
    out[0] = 0;
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        Runs r = step(src + x, &carry);
        if (prev) {
            r.lo = vaddq_u32(r.lo, vld1q_u32(prev + x + 1));
            r.hi = vaddq_u32(r.hi, vld1q_u32(prev + x + 5));
        }
        vst1q_u32(out + x + 1, r.lo);
        vst1q_u32(out + x + 5, r.hi);
    }
    if (x == n) return;
    // The rest continues the running sum: the reference kernel on the remainder, its first
    // output shifted by the total so far.
    const uint32_t total = vgetq_lane_u32(carry, 0);
    uint32_t* rest = out + x;
    const uint32_t keep = rest[0];
    tail(src + x, n - x, prev ? prev + x : nullptr, rest);
    for (size_t i = 1; i <= n - x; ++i) rest[i] += total;
    rest[0] = keep;
}

void integrateV(const uint8_t* src, size_t n, const uint32_t* prev, uint32_t* out)
{
    integrateBy8(src, n, prev, out, runsOfBytes, ref().integrate);
}

void integrateSquaresV(const uint8_t* src, size_t n, const uint32_t* prev, uint32_t* out)
{
    integrateBy8(src, n, prev, out, runsOfSquares, ref().integrateSquares);
}

void integrateSquares64V(const uint8_t* src, size_t n, const uint64_t* prev, uint64_t* out)
{
    uint64x2_t carry = vdupq_n_u64(0);
    out[0] = 0;
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        uint32x4_t zero = vdupq_n_u32(0);
        const Runs r = runsOfSquares(src + x, &zero);  // sums within the eight, below 2^20
        uint64x2_t q[4] = {vmovl_u32(vget_low_u32(r.lo)), vmovl_u32(vget_high_u32(r.lo)),
                           vmovl_u32(vget_low_u32(r.hi)), vmovl_u32(vget_high_u32(r.hi))};
        for (int k = 0; k < 4; ++k) {
            q[k] = vaddq_u64(q[k], carry);
            if (prev) q[k] = vaddq_u64(q[k], vld1q_u64(prev + x + 1 + 2 * k));
            vst1q_u64(out + x + 1 + 2 * k, q[k]);
        }
        carry = vaddq_u64(carry, vdupq_n_u64(vgetq_lane_u32(r.hi, 3)));
    }
    uint64_t run = vgetq_lane_u64(carry, 0);
    for (; x < n; ++x) {
        run += uint32_t(src[x]) * src[x];
        out[x + 1] = (prev ? prev[x + 1] : 0) + run;
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
void histogramV(const uint8_t* src, size_t n, uint32_t* hist)
{
    uint32_t sub[4][256] = {};
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        ++sub[0][src[i]];
        ++sub[1][src[i + 1]];
        ++sub[2][src[i + 2]];
        ++sub[3][src[i + 3]];
    }
    for (; i < n; ++i) ++sub[0][src[i]];
    for (int v = 0; v < 256; ++v) hist[v] += sub[0][v] + sub[1][v] + sub[2][v] + sub[3][v];
}

uint64_t lanesTotal(uint32x4_t v)
{
    const uint64x2_t pairs = vpaddlq_u32(v);
    return vgetq_lane_u64(pairs, 0) + vgetq_lane_u64(pairs, 1);
}

// 16 bytes a step; the 32-bit lanes take at most 4096 steps (squares below 2^30 per lane)
// before they are added into the 64-bit totals.
void sumsV(const uint8_t* src, size_t n, uint64_t* sum, uint64_t* squares)
{
    size_t i = 0;
    while (i + 16 <= n) {
        uint32x4_t s = vdupq_n_u32(0), q = vdupq_n_u32(0);
        for (size_t steps = 0; steps < 4096 && i + 16 <= n; ++steps, i += 16) {
            const uint8x16_t v = vld1q_u8(src + i);
            s = vpadalq_u16(s, vpaddlq_u8(v));
            q = vpadalq_u16(q, vmull_u8(vget_low_u8(v), vget_low_u8(v)));
            q = vpadalq_u16(q, vmull_u8(vget_high_u8(v), vget_high_u8(v)));
        }
        *sum += lanesTotal(s);
        *squares += lanesTotal(q);
    }
    ref().sums(src + i, n - i, sum, squares);
}

// ---- Extremes -----------------------------------------------------------------------------------
// The lowest and highest lane of each vector type, and the first index holding a value.
template <class T>
size_t firstAt(const T* src, size_t n, T v)
{
    size_t i = 0;
    while (i < n && src[i] != v) ++i;
    return i;
}

template <class T, class V, class Load, class Min, class Max, class Reduce>
void extremes(const T* src, size_t n, size_t lanes, size_t* minAt, size_t* maxAt, Load load, Min vmin, Max vmax,
              Reduce reduce)
{
    V lo = load(src), hi = lo;
    size_t i = lanes;
    for (; i + lanes <= n; i += lanes) {
        const V v = load(src + i);
        lo = vmin(lo, v);
        hi = vmax(hi, v);
    }
    T low, high;
    reduce(lo, hi, &low, &high);
    for (; i < n; ++i) {
        low = src[i] < low ? src[i] : low;
        high = src[i] > high ? src[i] : high;
    }
    *minAt = firstAt(src, n, low);
    *maxAt = firstAt(src, n, high);
}

void minMaxU8V(const uint8_t* src, size_t n, size_t* minAt, size_t* maxAt)
{
    if (n < 16) return ref().minMaxU8(src, n, minAt, maxAt);
    extremes<uint8_t, uint8x16_t>(
        src, n, 16, minAt, maxAt, [](const uint8_t* p) { return vld1q_u8(p); }, [](uint8x16_t a, uint8x16_t b) { return vminq_u8(a, b); },
        [](uint8x16_t a, uint8x16_t b) { return vmaxq_u8(a, b); },
        [](uint8x16_t lo, uint8x16_t hi, uint8_t* low, uint8_t* high) {
            uint8x8_t l = vpmin_u8(vget_low_u8(lo), vget_high_u8(lo)), h = vpmax_u8(vget_low_u8(hi), vget_high_u8(hi));
            for (int k = 0; k < 3; ++k) l = vpmin_u8(l, l), h = vpmax_u8(h, h);
            *low = vget_lane_u8(l, 0);
            *high = vget_lane_u8(h, 0);
        });
}

void minMaxS16V(const int16_t* src, size_t n, size_t* minAt, size_t* maxAt)
{
    if (n < 8) return ref().minMaxS16(src, n, minAt, maxAt);
    extremes<int16_t, int16x8_t>(
        src, n, 8, minAt, maxAt, [](const int16_t* p) { return vld1q_s16(p); }, [](int16x8_t a, int16x8_t b) { return vminq_s16(a, b); },
        [](int16x8_t a, int16x8_t b) { return vmaxq_s16(a, b); },
        [](int16x8_t lo, int16x8_t hi, int16_t* low, int16_t* high) {
            int16x4_t l = vpmin_s16(vget_low_s16(lo), vget_high_s16(lo));
            int16x4_t h = vpmax_s16(vget_low_s16(hi), vget_high_s16(hi));
            l = vpmin_s16(l, l), h = vpmax_s16(h, h);
            l = vpmin_s16(l, l), h = vpmax_s16(h, h);
            *low = vget_lane_s16(l, 0);
            *high = vget_lane_s16(h, 0);
        });
}

void minMaxU16V(const uint16_t* src, size_t n, size_t* minAt, size_t* maxAt)
{
    if (n < 8) return ref().minMaxU16(src, n, minAt, maxAt);
    extremes<uint16_t, uint16x8_t>(
        src, n, 8, minAt, maxAt, [](const uint16_t* p) { return vld1q_u16(p); }, [](uint16x8_t a, uint16x8_t b) { return vminq_u16(a, b); },
        [](uint16x8_t a, uint16x8_t b) { return vmaxq_u16(a, b); },
        [](uint16x8_t lo, uint16x8_t hi, uint16_t* low, uint16_t* high) {
            uint16x4_t l = vpmin_u16(vget_low_u16(lo), vget_high_u16(lo));
            uint16x4_t h = vpmax_u16(vget_low_u16(hi), vget_high_u16(hi));
            l = vpmin_u16(l, l), h = vpmax_u16(h, h);
            l = vpmin_u16(l, l), h = vpmax_u16(h, h);
            *low = vget_lane_u16(l, 0);
            *high = vget_lane_u16(h, 0);
        });
}

void minMaxS32V(const int32_t* src, size_t n, size_t* minAt, size_t* maxAt)
{
    if (n < 4) return ref().minMaxS32(src, n, minAt, maxAt);
    extremes<int32_t, int32x4_t>(
        src, n, 4, minAt, maxAt, [](const int32_t* p) { return vld1q_s32(p); }, [](int32x4_t a, int32x4_t b) { return vminq_s32(a, b); },
        [](int32x4_t a, int32x4_t b) { return vmaxq_s32(a, b); },
        [](int32x4_t lo, int32x4_t hi, int32_t* low, int32_t* high) {
            int32x2_t l = vpmin_s32(vget_low_s32(lo), vget_high_s32(lo));
            int32x2_t h = vpmax_s32(vget_low_s32(hi), vget_high_s32(hi));
            l = vpmin_s32(l, l), h = vpmax_s32(h, h);
            *low = vget_lane_s32(l, 0);
            *high = vget_lane_s32(h, 0);
        });
}

void minMaxU32V(const uint32_t* src, size_t n, size_t* minAt, size_t* maxAt)
{
    if (n < 4) return ref().minMaxU32(src, n, minAt, maxAt);
    extremes<uint32_t, uint32x4_t>(
        src, n, 4, minAt, maxAt, [](const uint32_t* p) { return vld1q_u32(p); }, [](uint32x4_t a, uint32x4_t b) { return vminq_u32(a, b); },
        [](uint32x4_t a, uint32x4_t b) { return vmaxq_u32(a, b); },
        [](uint32x4_t lo, uint32x4_t hi, uint32_t* low, uint32_t* high) {
            uint32x2_t l = vpmin_u32(vget_low_u32(lo), vget_high_u32(lo));
            uint32x2_t h = vpmax_u32(vget_low_u32(hi), vget_high_u32(hi));
            l = vpmin_u32(l, l), h = vpmax_u32(h, h);
            *low = vget_lane_u32(l, 0);
            *high = vget_lane_u32(h, 0);
        });
}

// Floats go by their order keys (integer compares, so flushed denormals cannot tie), NaN
// lanes replaced by keys no number has.
void minMaxF32V(const float32_t* src, size_t n, size_t* minAt, size_t* maxAt)
{
    if (n < 4) return ref().minMaxF32(src, n, minAt, maxAt);
    int32x4_t lo = vdupq_n_s32(INT32_MAX), hi = vdupq_n_s32(INT32_MIN);
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const float32x4_t v = vld1q_f32(src + i);
        const int32x4_t bits = vreinterpretq_s32_f32(v);
        const int32x4_t key = veorq_s32(bits, vandq_s32(vshrq_n_s32(bits, 31), vdupq_n_s32(INT32_MAX)));
        // A NaN has an all-ones exponent and a non-zero fraction.
        const uint32x4_t magnitude = vandq_u32(vreinterpretq_u32_s32(bits), vdupq_n_u32(0x7FFFFFFFu));
        const uint32x4_t number = vcleq_u32(magnitude, vdupq_n_u32(0x7F800000u));
        lo = vminq_s32(lo, vbslq_s32(number, key, vdupq_n_s32(INT32_MAX)));
        hi = vmaxq_s32(hi, vbslq_s32(number, key, vdupq_n_s32(INT32_MIN)));
    }
    int32x2_t l = vpmin_s32(vget_low_s32(lo), vget_high_s32(lo)), h = vpmax_s32(vget_low_s32(hi), vget_high_s32(hi));
    l = vpmin_s32(l, l), h = vpmax_s32(h, h);
    int32_t low = vget_lane_s32(l, 0), high = vget_lane_s32(h, 0);
    bool any = low != INT32_MAX;
    for (; i < n; ++i) {
        if (src[i] != src[i]) continue;
        const int32_t key = ilmvFloatKey(src[i]);
        low = !any || key < low ? key : low;
        high = !any || key > high ? key : high;
        any = true;
    }
    *minAt = *maxAt = n;
    for (size_t k = 0; any && k < n && (*minAt == n || *maxAt == n); ++k) {
        if (src[k] != src[k]) continue;
        const int32_t key = ilmvFloatKey(src[k]);
        if (*minAt == n && key == low) *minAt = k;
        if (*maxAt == n && key == high) *maxAt = k;
    }
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
