// NEON interior row of the 3x3 Gaussian, 16 outputs per step: column sums in 16-bit lanes
// (at most 1020), the horizontal 1-2-1 on them (at most 4080), shifted right by 4.
#include "cpu/lumivaFilter.h"
#include "simd/lumivaNeon.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

using namespace ilmv;

// Column sums above + 2 row + below of the 16 columns from x, split into even and odd
// columns (at most 1020 each).
Split columnSums(const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t x)
{
    const Split a = splitBytes(vld1q_u8(above + x)), r = splitBytes(vld1q_u8(row + x)), b = splitBytes(vld1q_u8(below + x));
    return {vaddq_u16(vaddq_u16(a.even, b.even), vshlq_n_u16(r.even, 1)),
            vaddq_u16(vaddq_u16(a.odd, b.odd), vshlq_n_u16(r.odd, 1))};
}

}  // namespace

// Outputs x .. x+15 from the column sums at x-1 and x+1: even outputs weigh the even sums
// from x-1, the odd ones from x-1 twice and the even ones from x+1; odd outputs shift by one.
void ilmvGaussianRowV(const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t width, uint8_t* dst)
{
    size_t x = 1;
    for (; x + 17 <= width; x += 16) {
        const Split before = columnSums(above, row, below, x - 1), after = columnSums(above, row, below, x + 1);
        const uint16x8_t even = vaddq_u16(vaddq_u16(before.even, after.even), vshlq_n_u16(before.odd, 1));
        const uint16x8_t odd = vaddq_u16(vaddq_u16(before.odd, after.odd), vshlq_n_u16(after.even, 1));
        vst1q_u8(dst + x, joinBytes(vshrq_n_u16(even, 4), vshrq_n_u16(odd, 4)));
    }
    if (x + 1 < width) ilmvGaussianRowC(above + x - 1, row + x - 1, below + x - 1, width - (x - 1), dst + x - 1);
}

// ---- NEON row kernels of the neighbourhood filters --------------------------------------------
// Each works 8 or 16 outputs at a time and hands the last few to the reference kernel, so the
// two forms agree wherever the vector loop stops.
namespace {

// [1 4 6 4 1] down the five rows: at most 16 x 255, in 16-bit lanes.
uint16x8_t binomialColumns(const uint8_t* const* rows, size_t x)
{
    const uint16x8_t outer = vaddl_u8(vld1_u8(rows[0] + x), vld1_u8(rows[4] + x));
    const uint16x8_t inner = vaddl_u8(vld1_u8(rows[1] + x), vld1_u8(rows[3] + x));
    const uint16x8_t centre = vmovl_u8(vld1_u8(rows[2] + x));
    return vaddq_u16(vaddq_u16(outer, vshlq_n_u16(inner, 2)), vmulq_n_u16(centre, 6));
}

// Eight outputs from the column sums of columns x .. x+15: at most 16 x 4080 = 65280.
void gauss5V(const uint8_t* const* rows, size_t n, uint8_t* dst)
{
    size_t x = 0;
    for (; x + 12 <= n; x += 8) {
        const uint16x8_t lo = binomialColumns(rows, x), hi = binomialColumns(rows, x + 8);
        const uint16x8_t c1 = vextq_u16(lo, hi, 1), c2 = vextq_u16(lo, hi, 2), c3 = vextq_u16(lo, hi, 3);
        const uint16x8_t c4 = vextq_u16(lo, hi, 4);
        const uint16x8_t sum = vaddq_u16(vaddq_u16(vaddq_u16(lo, c4), vshlq_n_u16(vaddq_u16(c1, c3), 2)),
                                         vmulq_n_u16(c2, 6));
        vst1_u8(dst + x, vrshrn_n_u16(sum, 8));
    }
    if (x < n) {
        const uint8_t* rest[5];
        for (int k = 0; k < 5; ++k) rest[k] = rows[k] + x;
        ilmvFilterRowsC().gauss5u8(rest, n - x, dst + x);
    }
}

// The k rows' sums of the 16 columns from x, in two halves (at most 11 x 255).
void columnSums(const uint8_t* const* rows, uint32_t k, size_t x, uint16x8_t* lo, uint16x8_t* hi)
{
    uint16x8_t l = vdupq_n_u16(0), h = vdupq_n_u16(0);
    for (uint32_t j = 0; j < k; ++j) {
        const uint8x16_t v = vld1q_u8(rows[j] + x);
        l = vaddw_u8(l, vget_low_u8(v));
        h = vaddw_u8(h, vget_high_u8(v));
    }
    *lo = l;
    *hi = h;
}

// (sum + k*k/2) / (k*k) as a multiply and a shift, exact for every sum a k x k window of
// bytes reaches (checked over the whole range by the tests).
template <uint32_t K, uint32_t Magic, int Shift>
uint16x8_t divideByArea(uint16x8_t sum)
{
    const uint16x8_t v = vaddq_u16(sum, vdupq_n_u16(K * K / 2));
    const uint32x4_t lo = vshrq_n_u32(vmull_n_u16(vget_low_u16(v), Magic), Shift);
    const uint32x4_t hi = vshrq_n_u32(vmull_n_u16(vget_high_u16(v), Magic), Shift);
    return vcombine_u16(vmovn_u32(lo), vmovn_u32(hi));
}

template <uint32_t K, uint32_t Magic, int Shift>
void boxV(const uint8_t* const* rows, size_t n, uint8_t* dst)
{
    // Eight outputs need the column sums of columns x .. x + K + 6: 16 of them, or 24 for K = 11.
    constexpr size_t reach = K <= 9 ? 16 : 24;
    uint16_t columns[24];
    size_t x = 0;
    for (; x + 8 <= n && x + reach <= n + K - 1; x += 8) {
        uint16x8_t lo, hi;
        columnSums(rows, K, x, &lo, &hi);
        vst1q_u16(columns, lo);
        vst1q_u16(columns + 8, hi);
        if (reach == 24) {
            columnSums(rows, K, x + 8, &lo, &hi);
            vst1q_u16(columns + 16, hi);
        }
        uint16x8_t sum = vld1q_u16(columns);
        for (uint32_t i = 1; i < K; ++i) sum = vaddq_u16(sum, vld1q_u16(columns + i));
        const uint16x8_t mean = divideByArea<K, Magic, Shift>(sum);
        vst1_u8(dst + x, vmovn_u16(mean));
    }
    if (x < n) {
        const uint8_t* rest[11];
        for (uint32_t j = 0; j < K; ++j) rest[j] = rows[j] + x;
        ilmvFilterRowsC().boxu8(rest, K, n - x, dst + x);
    }
}

void boxRowsV(const uint8_t* const* rows, uint32_t k, size_t n, uint8_t* dst)
{
    switch (k) {
    case 3: return boxV<3, 1821, 14>(rows, n, dst);
    case 5: return boxV<5, 5243, 17>(rows, n, dst);
    case 11: return boxV<11, 4333, 19>(rows, n, dst);
    default: return ilmvFilterRowsC().boxu8(rows, k, n, dst);
    }
}

uint8x16_t extreme(uint8x16_t a, uint8x16_t b, bool maximum)
{
    return maximum ? vmaxq_u8(a, b) : vminq_u8(a, b);
}

// The window's extreme: down the kh rows into one line, then along it by doubling spans
// (1, 2, 4, ... up to the largest power of two p <= kw) and one last step of kw - p, so a
// row costs log2(kw) + 1 passes whatever the window.
void extremeV(const uint8_t* const* rows, uint32_t kw, uint32_t kh, bool maximum, size_t n, uint8_t* dst,
              int64_t* scratch)
{
    uint8_t* line = reinterpret_cast<uint8_t*>(scratch);
    const size_t length = n + kw - 1;
    size_t x = 0;
    for (; x + 16 <= length; x += 16) {
        uint8x16_t v = vld1q_u8(rows[0] + x);
        for (uint32_t j = 1; j < kh; ++j) v = extreme(v, vld1q_u8(rows[j] + x), maximum);
        vst1q_u8(line + x, v);
    }
    for (; x < length; ++x) {
        uint8_t v = rows[0][x];
        for (uint32_t j = 1; j < kh; ++j) v = maximum ? std::max(v, rows[j][x]) : std::min(v, rows[j][x]);
        line[x] = v;
    }
    uint32_t span = 1;
    size_t valid = length;  // line[x] holds the extreme of span values from x, for x < valid
    auto fold = [&](uint32_t step, uint8_t* out) {
        size_t i = 0;
        for (; i + step + 16 <= valid; i += 16) vst1q_u8(out + i, extreme(vld1q_u8(line + i), vld1q_u8(line + i + step), maximum));
        for (; i + step < valid; ++i) out[i] = maximum ? std::max(line[i], line[i + step]) : std::min(line[i], line[i + step]);
        valid -= step;
    };
    while (span * 2 <= kw) {
        fold(span, line);
        span *= 2;
    }
    if (kw > span)
        fold(kw - span, dst);
    else
        std::memcpy(dst, line, n);
}

#define SORT2(a, b)                   \
    do {                              \
        const uint8x16_t lo = vminq_u8(a, b); \
        b = vmaxq_u8(a, b);           \
        a = lo;                       \
    } while (0)

// The 19-exchange median network on 16 windows at once.
void median3V(const uint8_t* const* rows, size_t n, uint8_t* dst)
{
    size_t x = 0;
    for (; x + 16 <= n; x += 16) {
        uint8x16_t p0 = vld1q_u8(rows[0] + x), p1 = vld1q_u8(rows[0] + x + 1), p2 = vld1q_u8(rows[0] + x + 2);
        uint8x16_t p3 = vld1q_u8(rows[1] + x), p4 = vld1q_u8(rows[1] + x + 1), p5 = vld1q_u8(rows[1] + x + 2);
        uint8x16_t p6 = vld1q_u8(rows[2] + x), p7 = vld1q_u8(rows[2] + x + 1), p8 = vld1q_u8(rows[2] + x + 2);
        SORT2(p1, p2); SORT2(p4, p5); SORT2(p7, p8); SORT2(p0, p1); SORT2(p3, p4);
        SORT2(p6, p7); SORT2(p1, p2); SORT2(p4, p5); SORT2(p7, p8); SORT2(p0, p3);
        SORT2(p5, p8); SORT2(p4, p7); SORT2(p3, p6); SORT2(p1, p4); SORT2(p2, p5);
        SORT2(p4, p7); SORT2(p4, p2); SORT2(p6, p4); SORT2(p4, p2);
        vst1q_u8(dst + x, p4);
    }
    if (x < n) {
        const uint8_t* rest[3] = {rows[0] + x, rows[1] + x, rows[2] + x};
        ilmvFilterRowsC().median3u8(rest, n - x, dst + x);
    }
}

#undef SORT2

// Whether every partial sum of the taps over values in [lo, hi] stays within 32 bits once the
// rounding bias is added: then the vector kernels may sum in 32-bit lanes.
bool fitsIn32(const int32_t* taps, uint32_t count, const int32_t* other, uint32_t otherCount, int64_t lo, int64_t hi,
              int64_t bias)
{
    int64_t positive = 0, negative = 0;
    for (uint32_t i = 0; i < count; ++i)
        for (uint32_t j = 0; j < otherCount; ++j) {
            const int64_t w = int64_t(taps[i]) * (other ? other[j] : 1);
            (w > 0 ? positive : negative) += w > 0 ? w : -w;
        }
    const int64_t top = std::max(hi, int64_t(0)) * positive + std::max(-lo, int64_t(0)) * negative;
    const int64_t bottom = std::min(lo, int64_t(0)) * positive - std::max(hi, int64_t(0)) * negative;
    return top + bias <= INT32_MAX && bottom >= INT32_MIN;
}

bool tapsAre16Bit(const int32_t* taps, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i)
        if (taps[i] < INT16_MIN || taps[i] > INT16_MAX) return false;
    return true;
}

inline int16x8_t widen(const uint8_t* p) { return vreinterpretq_s16_u16(vmovl_u8(vld1_u8(p))); }
inline int16x8_t widen(const int16_t* p) { return vld1q_s16(p); }

// (sum + bias) >> shift on four lanes, the shift at most 31.
inline int32x4_t roundShift(int32x4_t sum, int32x4_t bias, int32x4_t shift)
{
    return vshlq_s32(vaddq_s32(sum, bias), shift);
}

inline void storeSaturated(uint8_t* dst, int32x4_t lo, int32x4_t hi)
{
    vst1_u8(dst, vqmovn_u16(vcombine_u16(vqmovun_s32(lo), vqmovun_s32(hi))));
}

inline void storeSaturated(int16_t* dst, int32x4_t lo, int32x4_t hi)
{
    vst1q_s16(dst, vcombine_s16(vqmovn_s32(lo), vqmovn_s32(hi)));
}

// Separable taps in 32-bit lanes: the column sums of 8 columns at a time into the scratch
// line, then the horizontal taps over it, 8 outputs at a time.
template <class In, class Out>
void separableV(const In* const* rows, const ilmvSepTaps& taps, size_t n, Out* dst, int64_t* scratch)
{
    const int64_t lo = std::is_same<In, uint8_t>::value ? 0 : INT16_MIN;
    const int64_t hi = std::is_same<In, uint8_t>::value ? 255 : INT16_MAX;
    const bool fast = taps.shift <= 31 && tapsAre16Bit(taps.kx, taps.kw) && tapsAre16Bit(taps.ky, taps.kh) &&
                      fitsIn32(taps.ky, taps.kh, nullptr, 1, lo, hi, 0) &&
                      fitsIn32(taps.kx, taps.kw, taps.ky, taps.kh, lo, hi, taps.bias);
    if (!fast) {
        if constexpr (std::is_same<In, uint8_t>::value)
            return ilmvFilterRowsC().sepu8(rows, taps, n, dst, scratch);
        else
            return ilmvFilterRowsC().seps16(rows, taps, n, dst, scratch);
    }
    int32_t* columns = reinterpret_cast<int32_t*>(scratch);
    const size_t length = n + taps.kw - 1;
    size_t x = 0;
    for (; x + 8 <= length; x += 8) {
        int32x4_t a = vdupq_n_s32(0), b = vdupq_n_s32(0);
        for (uint32_t k = 0; k < taps.kh; ++k) {
            const int16x8_t v = widen(rows[k] + x);
            const int16_t t = int16_t(taps.ky[k]);
            a = vmlal_n_s16(a, vget_low_s16(v), t);
            b = vmlal_n_s16(b, vget_high_s16(v), t);
        }
        vst1q_s32(columns + x, a);
        vst1q_s32(columns + x + 4, b);
    }
    for (; x < length; ++x) {
        int32_t sum = 0;
        for (uint32_t k = 0; k < taps.kh; ++k) sum += taps.ky[k] * int32_t(rows[k][x]);
        columns[x] = sum;
    }
    const int32x4_t bias = vdupq_n_s32(int32_t(taps.bias)), shift = vdupq_n_s32(-int32_t(taps.shift));
    for (x = 0; x + 8 <= n; x += 8) {
        int32x4_t a = vdupq_n_s32(0), b = vdupq_n_s32(0);
        for (uint32_t k = 0; k < taps.kw; ++k) {
            a = vmlaq_n_s32(a, vld1q_s32(columns + x + k), taps.kx[k]);
            b = vmlaq_n_s32(b, vld1q_s32(columns + x + k + 4), taps.kx[k]);
        }
        storeSaturated(dst + x, roundShift(a, bias, shift), roundShift(b, bias, shift));
    }
    for (; x < n; ++x) {
        int32_t sum = 0;
        for (uint32_t k = 0; k < taps.kw; ++k) sum += taps.kx[k] * columns[x + k];
        const int64_t v = (int64_t(sum) + taps.bias) >> taps.shift;
        dst[x] = static_cast<Out>(std::min<int64_t>(std::max<int64_t>(v, std::numeric_limits<Out>::min()),
                                                    std::numeric_limits<Out>::max()));
    }
}

void separableu8V(const uint8_t* const* rows, const ilmvSepTaps& taps, size_t n, uint8_t* dst, int64_t* scratch)
{
    separableV(rows, taps, n, dst, scratch);
}

void separables16V(const int16_t* const* rows, const ilmvSepTaps& taps, size_t n, int16_t* dst, int64_t* scratch)
{
    separableV(rows, taps, n, dst, scratch);
}

// kw x kh integer taps on bytes, 8 outputs at a time in 32-bit lanes.
template <class Out>
void correlationV(const uint8_t* const* rows, const int32_t* taps, uint32_t kw, uint32_t kh, int64_t bias,
                  uint32_t shift, size_t n, Out* dst)
{
    const uint32_t count = kw * kh;
    if (shift > 31 || !tapsAre16Bit(taps, count) || !fitsIn32(taps, count, nullptr, 1, 0, 255, bias)) {
        if constexpr (std::is_same<Out, uint8_t>::value)
            return ilmvFilterRowsC().corru8(rows, taps, kw, kh, bias, shift, n, dst);
        else
            return ilmvFilterRowsC().corru8s16(rows, taps, kw, kh, bias, shift, n, dst);
    }
    const int32x4_t biasV = vdupq_n_s32(int32_t(bias)), shiftV = vdupq_n_s32(-int32_t(shift));
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        int32x4_t a = vdupq_n_s32(0), b = vdupq_n_s32(0);
        for (uint32_t j = 0; j < kh; ++j)
            for (uint32_t i = 0; i < kw; ++i) {
                const int16x8_t v = widen(rows[j] + x + i);
                const int16_t t = int16_t(taps[j * kw + i]);
                a = vmlal_n_s16(a, vget_low_s16(v), t);
                b = vmlal_n_s16(b, vget_high_s16(v), t);
            }
        storeSaturated(dst + x, roundShift(a, biasV, shiftV), roundShift(b, biasV, shiftV));
    }
    if (x < n) {
        std::vector<const uint8_t*> rest(kh);
        for (uint32_t j = 0; j < kh; ++j) rest[j] = rows[j] + x;
        if constexpr (std::is_same<Out, uint8_t>::value)
            ilmvFilterRowsC().corru8(rest.data(), taps, kw, kh, bias, shift, n - x, dst + x);
        else
            ilmvFilterRowsC().corru8s16(rest.data(), taps, kw, kh, bias, shift, n - x, dst + x);
    }
}

// f32 taps: per lane the products are added in the reference's order (row by row, left to
// right), each product rounded before its addition.
void correlationf32V(const uint8_t* const* rows, const float32_t* taps, uint32_t kw, uint32_t kh, size_t n,
                     float32_t* dst)
{
    size_t x = 0;
    for (; x + 4 <= n; x += 4) {
        float32x4_t sum = vdupq_n_f32(0.0f);
        for (uint32_t j = 0; j < kh; ++j)
            for (uint32_t i = 0; i < kw; ++i) {
                const uint8_t* p = rows[j] + x + i;
                const uint32_t lanes[4] = {p[0], p[1], p[2], p[3]};
                const float32x4_t v = vcvtq_f32_u32(vld1q_u32(lanes));
                sum = vaddq_f32(sum, vmulq_n_f32(v, taps[j * kw + i]));
            }
        vst1q_f32(dst + x, sum);
    }
    if (x < n) {
        std::vector<const uint8_t*> rest(kh);
        for (uint32_t j = 0; j < kh; ++j) rest[j] = rows[j] + x;
        ilmvFilterRowsC().corru8f32(rest.data(), taps, kw, kh, n - x, dst + x);
    }
}

ilmvFilterRows simdRows()
{
    ilmvFilterRows rows = ilmvFilterRowsC();
    rows.gauss5u8 = gauss5V;
    rows.boxu8 = boxRowsV;
    rows.extremeu8 = extremeV;
    rows.median3u8 = median3V;
    rows.sepu8 = separableu8V;
    rows.seps16 = separables16V;
    rows.corru8 = correlationV<uint8_t>;
    rows.corru8s16 = correlationV<int16_t>;
    rows.corru8f32 = correlationf32V;
    return rows;
}

}  // namespace

const ilmvFilterRows& ilmvFilterRowsV()
{
    static const ilmvFilterRows rows = simdRows();
    return rows;
}
