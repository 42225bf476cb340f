// NEON interior row of the 3x3 Gaussian, 16 outputs per step: column sums in 16-bit lanes
// (at most 1020), the horizontal 1-2-1 on them (at most 4080), shifted right by 4.
#include "cpu/lumivaFilter.h"
#include "cpu/lumivaFilterFrame.h"
#include "simd/lumivaNeon.h"

#include <algorithm>
#include <cstring>
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

// Rows are worked in chunks: the vertical sums of the chunk's columns go to a line on the
// stack once, then each output reads its taps from the line.
constexpr size_t kChunk = 256;

// Vertical sums of columns x .. x + count - 1 into line[0 ..]: 8 at a time, then one at a time.
template <class Column, class One>
void verticalLine(size_t count, uint16_t* line, Column column, One one)
{
    size_t c = 0;
    for (; c + 8 <= count; c += 8) vst1q_u16(line + c, column(c));
    for (; c < count; ++c) line[c] = one(c);
}

// [1 4 6 4 1] across the line: at most 16 x 4080 = 65280, rounded and shifted by 8.
void gauss5V(const uint8_t* const* rows, size_t n, uint8_t* dst)
{
    uint16_t line[kChunk + 8];
    size_t x = 0;
    while (n - x >= 8) {
        const size_t outputs = std::min(kChunk, (n - x) / 8 * 8);
        verticalLine(outputs + 4, line, [&](size_t c) { return binomialColumns(rows, x + c); },
                     [&](size_t c) {
                         const size_t at = x + c;
                         return uint16_t(rows[0][at] + 4 * rows[1][at] + 6 * rows[2][at] + 4 * rows[3][at] + rows[4][at]);
                     });
        for (size_t i = 0; i < outputs; i += 8) {
            const uint16x8_t c0 = vld1q_u16(line + i), c1 = vld1q_u16(line + i + 1), c2 = vld1q_u16(line + i + 2);
            const uint16x8_t c3 = vld1q_u16(line + i + 3), c4 = vld1q_u16(line + i + 4);
            const uint16x8_t sum = vaddq_u16(vaddq_u16(vaddq_u16(c0, c4), vshlq_n_u16(vaddq_u16(c1, c3), 2)),
                                             vmulq_n_u16(c2, 6));
            vst1_u8(dst + x + i, vrshrn_n_u16(sum, 8));
        }
        x += outputs;
    }
    if (x < n) {
        const uint8_t* rest[5];
        for (int k = 0; k < 5; ++k) rest[k] = rows[k] + x;
        ilmvFilterRowsC().gauss5u8(rest, n - x, dst + x);
    }
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
    uint16_t line[kChunk + 16];
    size_t x = 0;
    while (n - x >= 8) {
        const size_t outputs = std::min(kChunk, (n - x) / 8 * 8);
        verticalLine(outputs + K - 1, line,
                     [&](size_t c) {
                         uint16x8_t sum = vmovl_u8(vld1_u8(rows[0] + x + c));
                         for (uint32_t j = 1; j < K; ++j) sum = vaddw_u8(sum, vld1_u8(rows[j] + x + c));
                         return sum;
                     },
                     [&](size_t c) {
                         uint32_t sum = 0;
                         for (uint32_t j = 0; j < K; ++j) sum += rows[j][x + c];
                         return uint16_t(sum);
                     });
        for (size_t i = 0; i < outputs; i += 8) {
            uint16x8_t sum = vld1q_u16(line + i);
            for (uint32_t k = 1; k < K; ++k) sum = vaddq_u16(sum, vld1q_u16(line + i + k));
            const uint16x8_t mean = divideByArea<K, Magic, Shift>(sum);
            vst1_u8(dst + x + i, vmovn_u16(mean));
        }
        x += outputs;
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
// The line's extreme over windows of k, in place: line[x] becomes the extreme of line[x ..
// x + k - 1] for x < length - k + 1, by doubling spans and one last step of k - p.
void windowExtreme(uint8_t* line, size_t length, uint32_t k, bool maximum)
{
    size_t valid = length;
    auto fold = [&](uint32_t step) {
        size_t i = 0;
        for (; i + step + 16 <= valid; i += 16) vst1q_u8(line + i, extreme(vld1q_u8(line + i), vld1q_u8(line + i + step), maximum));
        for (; i + step < valid; ++i) line[i] = maximum ? std::max(line[i], line[i + step]) : std::min(line[i], line[i + step]);
        valid -= step;
    };
    uint32_t span = 1;
    while (span * 2 <= k) {
        fold(span);
        span *= 2;
    }
    if (k > span) fold(k - span);
}

// Element-wise extreme of two rows of n bytes into out.
void extremeRows(const uint8_t* a, const uint8_t* b, size_t n, uint8_t* out, bool maximum)
{
    size_t i = 0;
    for (; i + 16 <= n; i += 16) vst1q_u8(out + i, extreme(vld1q_u8(a + i), vld1q_u8(b + i), maximum));
    for (; i < n; ++i) out[i] = maximum ? std::max(a[i], b[i]) : std::min(a[i], b[i]);
}

// k x k morphology whose cost does not grow with k: each row's horizontal extremes by
// doubling, then van Herk/Gil-Werman down the columns. The rows (padded above and below as
// the edge rule says) are cut into blocks of k; within a block, prefix[i] holds the extreme
// from the block's first row to row i and suffix[i] from row i to the block's last, so the
// window of rows i .. i + k - 1 is extreme(suffix[i], prefix[i + k - 1]): three passes of
// whole rows whatever k. Two blocks are held at a time.
void extremeImageV(const ilmvFilterRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                   uint32_t k, bool maximum, int edge, uint8_t value, uint8_t* dst, uint32_t dstStride)
{
    if (k <= 3) return ilmvExtremeImageByRows(rows, src, w, h, srcStride, k, maximum, edge, value, dst, dstStride);
    const ilmvEdge rule = ilmvEdge(edge);
    const bool interior = rule == ilmvEdge::kInterior;
    if (interior && (w < k || h < k)) return;
    const uint32_t r = k / 2;
    const int64_t count = int64_t(h) + 2 * r;  // padded rows -r .. h + r - 1, numbered from 0
    std::vector<uint8_t> line(size_t(w) + 2 * r);
    // Padded row i's horizontal extremes into out.
    auto across = [&](int64_t i, uint8_t* out) {
        int64_t y = i - r;
        if ((y < 0 || y >= int64_t(h)) && rule == ilmvEdge::kConstant) return void(std::memset(out, value, w));
        y = std::min<int64_t>(std::max<int64_t>(y, 0), h - 1);
        const uint8_t* from = ilmvRowAt(src, srcStride, size_t(y));
        std::memset(line.data(), rule == ilmvEdge::kConstant ? value : from[0], r);
        std::memcpy(line.data() + r, from, w);
        std::memset(line.data() + r + w, rule == ilmvEdge::kConstant ? value : from[w - 1], r);
        windowExtreme(line.data(), line.size(), k, maximum);
        std::memcpy(out, line.data(), w);
    };
    const size_t block = size_t(k) * w;
    std::vector<uint8_t> rowsHere(block), rowsNext(block), suffix(block), prefix(block);
    // The block starting at padded row `first`: its rows' horizontal extremes.
    auto load = [&](int64_t first, uint8_t* out) {
        for (int64_t i = first; i < std::min(count, first + k); ++i) across(i, out + size_t(i - first) * w);
    };
    load(0, rowsHere.data());
    const uint32_t yEnd = interior ? h - r : h;
    for (int64_t first = 0; first < count; first += k) {
        const int64_t last = std::min(count, first + k) - 1;
        std::memcpy(&suffix[size_t(last - first) * w], &rowsHere[size_t(last - first) * w], w);
        for (int64_t i = last; i-- > first;)
            extremeRows(&suffix[size_t(i + 1 - first) * w], &rowsHere[size_t(i - first) * w], w,
                        &suffix[size_t(i - first) * w], maximum);
        const int64_t next = first + k, nextLast = std::min(count, next + k) - 1;
        if (next < count) {
            load(next, rowsNext.data());
            std::memcpy(prefix.data(), rowsNext.data(), w);
            for (int64_t i = next + 1; i <= nextLast; ++i)
                extremeRows(&prefix[size_t(i - 1 - next) * w], &rowsNext[size_t(i - next) * w], w,
                            &prefix[size_t(i - next) * w], maximum);
        }
        // Outputs whose window starts in this block: y = first .. last.
        for (int64_t y = std::max<int64_t>(first, interior ? r : 0); y <= last && y < yEnd; ++y) {
            const int64_t end = y + k - 1;  // the window's last padded row
            const uint8_t* tail = end <= last ? &suffix[0] : &prefix[size_t(end - next) * w];  // first row: whole block
            uint8_t* out = ilmvRowAt(dst, dstStride, size_t(y));
            const size_t skip = interior ? r : 0;
            extremeRows(&suffix[size_t(y - first) * w] + skip, tail + skip, w - 2 * skip, out + skip, maximum);
        }
        std::swap(rowsHere, rowsNext);
    }
}

// The 3x3 window in one pass: the column extremes of 16 columns carried from one step to
// the next, and the two shifted neighbours taken from them and the next 16.
void extreme3x3V(const uint8_t* const* rows, bool maximum, size_t n, uint8_t* dst)
{
    auto column = [&](size_t x) {
        return extreme(extreme(vld1q_u8(rows[0] + x), vld1q_u8(rows[1] + x), maximum), vld1q_u8(rows[2] + x), maximum);
    };
    size_t x = 0;
    if (n >= 32) {
        uint8x16_t here = column(0);
        for (; x + 32 <= n + 2 && x + 16 <= n; x += 16) {
            const uint8x16_t next = column(x + 16);
            const uint8x16_t out = extreme(extreme(here, vextq_u8(here, next, 1), maximum), vextq_u8(here, next, 2), maximum);
            vst1q_u8(dst + x, out);
            here = next;
        }
    }
    // The rest 16 at a time from their nine loads, the last step ending at the row's end.
    for (; x < n && n >= 16; x += 16) {
        if (n - x < 16) x = n - 16;
        const uint8x16_t out = extreme(column(x), column(x + 1), maximum);
        vst1q_u8(dst + x, extreme(out, column(x + 2), maximum));
    }
    if (x < n) {
        const uint8_t* rest[3] = {rows[0] + x, rows[1] + x, rows[2] + x};
        ilmvFilterRowsC().extremeu8(rest, 3, 3, maximum, n - x, dst + x, nullptr);
    }
}

void extremeV(const uint8_t* const* rows, uint32_t kw, uint32_t kh, bool maximum, size_t n, uint8_t* dst,
              int64_t* scratch)
{
    if (kw == 3 && kh == 3) return extreme3x3V(rows, maximum, n, dst);
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
    windowExtreme(line, length, kw, maximum);
    std::memcpy(dst, line, n);
}

#define SORT2(a, b)                   \
    do {                              \
        const uint8x16_t lo = vminq_u8(a, b); \
        b = vmaxq_u8(a, b);           \
        a = lo;                       \
    } while (0)

// The median of 3x3 windows, 16 at once: each column's three values sorted once (shared by
// the three windows that contain the column), then the median of the windows' three lows'
// maximum, three middles' median and three highs' minimum.
inline uint8x16_t median3(uint8x16_t a, uint8x16_t b, uint8x16_t c)
{
    return vmaxq_u8(vminq_u8(a, b), vminq_u8(vmaxq_u8(a, b), c));
}

struct SortedColumns {
    uint8x16_t lo, mid, hi;
};

inline SortedColumns sortColumns(const uint8_t* const* rows, size_t x)
{
    uint8x16_t a = vld1q_u8(rows[0] + x), b = vld1q_u8(rows[1] + x), c = vld1q_u8(rows[2] + x);
    SORT2(a, b);
    SORT2(b, c);
    SORT2(a, b);
    return {a, b, c};
}

void median3V(const uint8_t* const* rows, size_t n, uint8_t* dst)
{
    uint8_t lows[kChunk + 32], mids[kChunk + 32], highs[kChunk + 32];
    size_t x = 0;
    while (n - x >= 16 || (x && x < n)) {
        // A last short piece is redone from 16 outputs before the end.
        if (n - x < 16) x = n - 16;
        // The sorted columns x .. x + outputs + 1, 16 at a time (the last step may redo a few).
        const size_t outputs = std::min(kChunk, (n - x) / 16 * 16), columns = outputs + 2;
        for (size_t c = 0; c < columns; c += 16) {
            const size_t at = std::min(c, columns - 16);
            const SortedColumns s = sortColumns(rows, x + at);
            vst1q_u8(lows + at, s.lo);
            vst1q_u8(mids + at, s.mid);
            vst1q_u8(highs + at, s.hi);
        }
        for (size_t i = 0; i < outputs; i += 16) {
            const uint8x16_t lo = vmaxq_u8(vmaxq_u8(vld1q_u8(lows + i), vld1q_u8(lows + i + 1)), vld1q_u8(lows + i + 2));
            const uint8x16_t hi = vminq_u8(vminq_u8(vld1q_u8(highs + i), vld1q_u8(highs + i + 1)), vld1q_u8(highs + i + 2));
            const uint8x16_t mid = median3(vld1q_u8(mids + i), vld1q_u8(mids + i + 1), vld1q_u8(mids + i + 2));
            vst1q_u8(dst + x + i, median3(lo, mid, hi));
        }
        x += outputs;
    }
    if (x < n) {
        const uint8_t* rest[3] = {rows[0] + x, rows[1] + x, rows[2] + x};
        ilmvFilterRowsC().median3u8(rest, n - x, dst + x);
    }
}

#undef SORT2

// The sums of a kernel's positive taps and of its negative taps' magnitudes.
struct TapSums {
    int64_t positive = 0, negative = 0;
};

TapSums tapSums(const int32_t* taps, uint32_t count)
{
    TapSums sums;
    for (uint32_t i = 0; i < count; ++i) (taps[i] > 0 ? sums.positive : sums.negative) += std::abs(int64_t(taps[i]));
    return sums;
}

// The taps of a separable kernel as one kernel of their products: a product is positive when
// both signs agree.
TapSums productSums(const TapSums& a, const TapSums& b)
{
    return {a.positive * b.positive + a.negative * b.negative, a.positive * b.negative + a.negative * b.positive};
}

// Whether every partial sum of the taps over values in [lo, hi] stays within 32 bits once the
// rounding bias is added: then the vector kernels may sum in 32-bit lanes.
bool fitsIn32(const TapSums& sums, int64_t lo, int64_t hi, int64_t bias)
{
    const int64_t top = std::max(hi, int64_t(0)) * sums.positive + std::max(-lo, int64_t(0)) * sums.negative;
    const int64_t bottom = std::min(lo, int64_t(0)) * sums.positive - std::max(hi, int64_t(0)) * sums.negative;
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

// (sum + bias) >> shift on four lanes, the shift (negated in `shift`) at most 31. A zero
// shift skips the shift: some hosts' mapping of it shifts negative values left by zero.
inline int32x4_t roundShift(int32x4_t sum, int32x4_t bias, int32x4_t shift)
{
    const int32x4_t biased = vaddq_s32(sum, bias);
    return vgetq_lane_s32(shift, 0) ? vshlq_s32(biased, shift) : biased;
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
                      fitsIn32(tapSums(taps.ky, taps.kh), lo, hi, 0) &&
                      fitsIn32(productSums(tapSums(taps.kx, taps.kw), tapSums(taps.ky, taps.kh)), lo, hi, taps.bias);
    if (!fast) return ilmvSeparableRowC(rows, taps, n, dst, scratch);
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
        dst[x] = ilmvSaturate<Out>((int64_t(sum) + taps.bias) >> taps.shift);
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

// kw x kh integer taps, 8 outputs at a time in 32-bit lanes.
template <class In, class Out>
void correlationV(const In* const* rows, const int32_t* taps, uint32_t kw, uint32_t kh, int64_t bias,
                  uint32_t shift, size_t n, Out* dst)
{
    const uint32_t count = kw * kh;
    const int64_t lo = std::is_same<In, uint8_t>::value ? 0 : INT16_MIN;
    const int64_t hi = std::is_same<In, uint8_t>::value ? 255 : INT16_MAX;
    if (shift > 31 || !tapsAre16Bit(taps, count) || !fitsIn32(tapSums(taps, count), lo, hi, bias))
        return ilmvCorrelationRowC(rows, taps, kw, kh, bias, shift, n, dst);
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
        std::vector<const In*> rest(kh);
        for (uint32_t j = 0; j < kh; ++j) rest[j] = rows[j] + x;
        ilmvCorrelationRowC(rest.data(), taps, kw, kh, bias, shift, n - x, dst + x);
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

// Eight outputs at a time: the differences to the centre in one step, the range weights
// looked up lane by lane (the one step without a vector form), the weights and weighted
// sums in 32-bit lanes, and the rounded division per lane.
void bilateralV(const uint8_t* const* rows, uint32_t k, const ilmvBilateralTables& tables, size_t n, uint8_t* dst)
{
    size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        const uint8x8_t centre = vld1_u8(rows[k / 2] + x + k / 2);
        uint32x4_t weightsLo = vdupq_n_u32(0), weightsHi = weightsLo, sumLo = weightsLo, sumHi = weightsLo;
        for (uint32_t j = 0; j < k; ++j)
            for (uint32_t i = 0; i < k; ++i) {
                const uint8x8_t p = vld1_u8(rows[j] + x + i);
                uint8_t d[8];
                uint16_t range[8];
                vst1_u8(d, vabd_u8(p, centre));
                for (int l = 0; l < 8; ++l) range[l] = uint16_t(tables.range[d[l]]);
                const uint16x8_t r = vld1q_u16(range);
                const uint16_t s = uint16_t(tables.spatial[j * k + i]);
                const uint32x4_t lo = vmull_n_u16(vget_low_u16(r), s), hi = vmull_n_u16(vget_high_u16(r), s);
                const uint16x8_t wide = vmovl_u8(p);
                weightsLo = vaddq_u32(weightsLo, lo);
                weightsHi = vaddq_u32(weightsHi, hi);
                sumLo = vmlaq_u32(sumLo, lo, vmovl_u16(vget_low_u16(wide)));
                sumHi = vmlaq_u32(sumHi, hi, vmovl_u16(vget_high_u16(wide)));
            }
        uint32_t weights[8], sums[8];
        vst1q_u32(weights, weightsLo);
        vst1q_u32(weights + 4, weightsHi);
        vst1q_u32(sums, sumLo);
        vst1q_u32(sums + 4, sumHi);
        for (int l = 0; l < 8; ++l) dst[x + l] = static_cast<uint8_t>((sums[l] + weights[l] / 2) / weights[l]);
    }
    if (x < n) {
        std::vector<const uint8_t*> rest(k);
        for (uint32_t j = 0; j < k; ++j) rest[j] = rows[j] + x;
        ilmvFilterRowsC().bilateralu8(rest.data(), k, tables, n - x, dst + x);
    }
}

ilmvFilterRows simdRows()
{
    ilmvFilterRows rows = ilmvFilterRowsC();
    rows.gauss5u8 = gauss5V;
    rows.boxu8 = boxRowsV;
    rows.extremeu8 = extremeV;
    rows.extremeImageu8 = extremeImageV;
    rows.median3u8 = median3V;
    rows.sepu8 = separableu8V;
    rows.seps16 = separables16V;
    rows.corru8 = correlationV<uint8_t, uint8_t>;
    rows.corru8s16 = correlationV<uint8_t, int16_t>;
    rows.corrs16 = correlationV<int16_t, int16_t>;
    rows.bilateralu8 = bilateralV;
    rows.corru8f32 = correlationf32V;
    return rows;
}

}  // namespace

const ilmvFilterRows& ilmvFilterRowsV()
{
    static const ilmvFilterRows rows = simdRows();
    return rows;
}
