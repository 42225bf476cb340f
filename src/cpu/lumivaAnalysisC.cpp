// The analysis frames (integrals, histograms, statistics, extremes, moments) and the
// reference row kernels.
#include "cpu/lumivaAnalysis.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

// Row y of an image of T: byte strides step whole elements, rounded down.
template <class T>
const T* rowAt(const T* base, size_t stride, size_t y)
{
    return base + stride / sizeof(T) * y;
}

template <class T>
T* rowAt(T* base, size_t stride, size_t y)
{
    return base + stride / sizeof(T) * y;
}

// ---- Reference row kernels ----------------------------------------------------------------------
template <class Acc, class Value>
void integrateWith(const uint8_t* src, size_t n, const Acc* prev, Acc* out, Value value)
{
    Acc run = 0;
    out[0] = 0;
    for (size_t x = 0; x < n; ++x) {
        run += value(src[x]);
        out[x + 1] = (prev ? prev[x + 1] : 0) + run;
    }
}

void integrateC(const uint8_t* src, size_t n, const uint32_t* prev, uint32_t* out)
{
    integrateWith(src, n, prev, out, [](uint8_t v) { return uint32_t(v); });
}

void integrateSquaresC(const uint8_t* src, size_t n, const uint32_t* prev, uint32_t* out)
{
    integrateWith(src, n, prev, out, [](uint8_t v) { return uint32_t(v) * v; });
}

void integrateSquares64C(const uint8_t* src, size_t n, const uint64_t* prev, uint64_t* out)
{
    integrateWith(src, n, prev, out, [](uint8_t v) { return uint64_t(uint32_t(v) * v); });
}

void tiltedRowC(const uint32_t* a, const uint32_t* b, const uint32_t* p, const uint32_t* q, size_t n, uint32_t* out)
{
    for (size_t i = 1; i + 1 < n; ++i) out[i] = a[i - 1] + a[i + 1] - b[i] + p[i - 1] + q[i - 1];
}

void histogramC(const uint8_t* src, size_t n, size_t rows, size_t stride, uint32_t* hist)
{
    for (size_t y = 0; y < rows; ++y, src += stride)
        for (size_t i = 0; i < n; ++i) ++hist[src[i]];
}

void sumsC(const uint8_t* src, size_t n, uint64_t* sum, uint64_t* squares)
{
    uint64_t s = 0, q = 0;
    for (size_t i = 0; i < n; ++i) {
        s += src[i];
        q += uint32_t(src[i]) * src[i];
    }
    *sum += s;
    *squares += q;
}

void lookupC(const uint8_t* src, size_t n, const uint8_t* lut, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i) dst[i] = lut[src[i]];
}

template <class T>
void minMaxC(const T* src, size_t n, T* lo, T* hi)
{
    T a = src[0], b = src[0];
    for (size_t i = 1; i < n; ++i) {
        a = src[i] < a ? src[i] : a;
        b = src[i] > b ? src[i] : b;
    }
    *lo = a;
    *hi = b;
}

bool minMaxF32C(const float32_t* src, size_t n, int32_t* lo, int32_t* hi)
{
    bool any = false;
    for (size_t i = 0; i < n; ++i) {
        if (std::isnan(src[i])) continue;
        const int32_t key = ilmvFloatKey(src[i]);
        *lo = !any || key < *lo ? key : *lo;
        *hi = !any || key > *hi ? key : *hi;
        any = true;
    }
    return any;
}

void momentChunkU8C(const uint8_t* src, size_t n, uint32_t sums[4])
{
    uint32_t s0 = 0, s1 = 0, s2 = 0, s3 = 0;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t p = src[i];
        s0 += p;
        s1 += i * p;
        s2 += i * i * p;
        s3 += i * i * i * p;
    }
    sums[0] = s0;
    sums[1] = s1;
    sums[2] = s2;
    sums[3] = s3;
}

// ---- Frames -------------------------------------------------------------------------------------
// Runs `kernel(x, i)` for output i of `size` sampled from `from` source columns by nearest, with
// the ratio taken as 1 / (to / from) as the resizer does.
uint32_t nearestIndex(uint32_t i, uint32_t from, uint32_t to)
{
    if (from == to) return i;
    const double at = std::floor(i * (1.0 / (double(to) / from)));
    return std::min<uint32_t>(uint32_t(at), from - 1);
}

}  // namespace

int32_t ilmvFloatKey(float32_t v)
{
    int32_t bits;
    std::memcpy(&bits, &v, 4);
    return bits < 0 ? int32_t(uint32_t(bits) ^ 0x7FFFFFFFu) : bits;
}

const ilmvAnalysisRows& ilmvAnalysisRowsC()
{
    static const ilmvAnalysisRows rows = {
        integrateC,         integrateSquaresC,  integrateSquares64C, tiltedRowC,          histogramC,
        sumsC,              lookupC,            minMaxC<uint8_t>,    minMaxC<int16_t>,    minMaxC<uint16_t>,
        minMaxC<int32_t>,   minMaxC<uint32_t>,  minMaxF32C,          momentChunkU8C,
    };
    return rows;
}

void ilmvIntegrate(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                   uint32_t* sum, uint32_t sumStride, uint32_t* squares, uint32_t squaresStride)
{
    if (sum) std::memset(sum, 0, (size_t(w) + 1) * 4);
    if (squares) std::memset(squares, 0, (size_t(w) + 1) * 4);
    for (uint32_t y = 0; y < h; ++y) {
        const uint8_t* s = rowAt(src, srcStride, y);
        if (sum) rows.integrate(s, w, rowAt(sum, sumStride, y), rowAt(sum, sumStride, y + 1));
        if (squares)
            rows.integrateSquares(s, w, rowAt(squares, squaresStride, y), rowAt(squares, squaresStride, y + 1));
    }
}

void ilmvIntegrateSquares64(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h,
                            uint32_t srcStride, uint64_t* dst, uint32_t dstStride)
{
    std::memset(dst, 0, (size_t(w) + 1) * 8);
    for (uint32_t y = 0; y < h; ++y)
        rows.integrateSquares64(rowAt(src, srcStride, y), w, rowAt(dst, dstStride, y), rowAt(dst, dstStride, y + 1));
}

void ilmvIntegrateLine(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, const uint32_t* prevSum,
                       const uint32_t* prevSqSum, uint32_t* sum, uint32_t* sqSum)
{
    rows.integrate(src, w, prevSum, sum);
    rows.integrateSquares(src, w, prevSqSum, sqSum);
}

void ilmvIntegrateYCbCr420(const ilmvAnalysisRows& rows, const uint8_t* srcY, const uint8_t* srcC, uint32_t w,
                           uint32_t h, uint32_t yStride, uint32_t cStride, uint32_t* dstY, uint32_t* dstCb,
                           uint32_t* dstCr, uint32_t yDstStride, uint32_t cbStride, uint32_t crStride)
{
    ilmvIntegrate(rows, srcY, w, h, yStride, dstY, yDstStride, nullptr, 0);
    const uint32_t cw = (w + 1) / 2, ch = (h + 1) / 2;
    std::vector<uint8_t> cb(cw), cr(cw);
    std::memset(dstCb, 0, (size_t(cw) + 1) * 4);
    std::memset(dstCr, 0, (size_t(cw) + 1) * 4);
    for (uint32_t y = 0; y < ch; ++y) {
        const uint8_t* pairs = rowAt(srcC, cStride, y);
        for (uint32_t x = 0; x < cw; ++x) {
            cb[x] = pairs[2 * x];
            cr[x] = pairs[2 * x + 1];
        }
        rows.integrate(cb.data(), cw, rowAt(dstCb, cbStride, y), rowAt(dstCb, cbStride, y + 1));
        rows.integrate(cr.data(), cw, rowAt(dstCr, crStride, y), rowAt(dstCr, crStride, y + 1));
    }
}

LMV_STATUS ilmvIntegratePatch(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h,
                              uint32_t srcStride, int32_t x, int32_t y, uint32_t pw, uint32_t ph, uint32_t sw,
                              uint32_t sh, uint32_t* sum, uint32_t* squares, uint32_t stride)
{
    if (x < 0 || y < 0 || !pw || !ph || !sw || !sh || uint64_t(x) + pw > w || uint64_t(y) + ph > h ||
        stride < (uint64_t(sw) + 1) * 4)
        return LUMIVA_BAD_PARAMS;
    std::vector<uint8_t> sampled(sw);
    std::vector<uint32_t> at(sw);
    for (uint32_t i = 0; i < sw; ++i) at[i] = uint32_t(x) + nearestIndex(i, pw, sw);
    std::memset(sum, 0, (size_t(sw) + 1) * 4);
    std::memset(squares, 0, (size_t(sw) + 1) * 4);
    for (uint32_t r = 0; r < sh; ++r) {
        const uint8_t* s = rowAt(src, srcStride, uint32_t(y) + nearestIndex(r, ph, sh));
        for (uint32_t i = 0; i < sw; ++i) sampled[i] = s[at[i]];
        rows.integrate(sampled.data(), sw, rowAt(sum, stride, r), rowAt(sum, stride, r + 1));
        rows.integrateSquares(sampled.data(), sw, rowAt(squares, stride, r), rowAt(squares, stride, r + 1));
    }
    return LUMIVA_SUCCESS;
}

// Tilted sums T(X, Y) = sum of I(x, y) over y < Y, |x - X + 1| <= Y - 1 - y. The triangles
// reach h columns beyond either side, so the rows are kept over extended columns:
// T(X, Y) = T(X - 1, Y - 1) + T(X + 1, Y - 1) - T(X, Y - 2) + I(X - 1, Y - 1) + I(X - 1, Y - 2).
void ilmvTiltedIntegral(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                        int32_t* dst, uint32_t dstStride)
{
    const size_t margin = size_t(h) + 2, n = size_t(w) + 1 + 2 * margin;
    std::vector<uint32_t> older(n, 0), previous(n, 0), current(n, 0);
    std::vector<uint32_t> pixels(n, 0), pixelsAbove(n, 0);  // I(X - 1, Y - 1) at X, and of the row above
    std::memset(dst, 0, (size_t(w) + 1) * 4);
    for (uint32_t Y = 1; Y <= h; ++Y) {
        pixelsAbove.swap(pixels);
        const uint8_t* s = rowAt(src, srcStride, Y - 1);
        for (uint32_t x = 0; x < w; ++x) pixels[margin + x + 1] = s[x];  // pixel x sits at X = x + 1
        rows.tiltedRow(previous.data(), older.data(), pixels.data() + 1, pixelsAbove.data() + 1, n, current.data());
        int32_t* out = rowAt(dst, dstStride, Y);
        std::memcpy(out, current.data() + margin, (size_t(w) + 1) * 4);
        older.swap(previous);
        previous.swap(current);
    }
}

void ilmvHistogram(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t stride,
                   uint32_t* hist)
{
    std::memset(hist, 0, 256 * 4);
    rows.histogram(src, w, h, stride, hist);
}

// lut[v] = round((cdf(v) - cdf(first)) * (255 / (total - count(first)))) in float, rounded half
// to even; an image of one value maps to that value.
void ilmvEqualizeTable(const uint32_t* hist, uint64_t total, uint8_t* lut)
{
    uint32_t first = 0;
    while (first < 255 && !hist[first]) ++first;
    if (hist[first] == total) {
        std::memset(lut, int(first), 256);
        return;
    }
    const float32_t scale = 255.0f / float32_t(total - hist[first]);
    std::memset(lut, 0, 256);
    uint64_t cdf = 0;
    for (uint32_t v = first + 1; v < 256; ++v) {
        cdf += hist[v];
        const float32_t scaled = float32_t(cdf) * scale;
        lut[v] = uint8_t(std::min(255.0f, std::nearbyint(scaled)));
    }
}

void ilmvEqualize(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride,
                  uint8_t* dst, uint32_t dstStride)
{
    uint32_t hist[256];
    ilmvHistogram(rows, src, w, h, srcStride, hist);
    uint8_t lut[256];
    ilmvEqualizeTable(hist, uint64_t(w) * h, lut);
    for (uint32_t y = 0; y < h; ++y) rows.lookup(rowAt(src, srcStride, y), w, lut, rowAt(dst, dstStride, y));
}

// Cell (cx, cy) covers columns [cx w / cellsX, (cx + 1) w / cellsX) and the same for rows;
// values from `bins` up are not counted.
LMV_STATUS ilmvSpatialHistogram(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h,
                                uint32_t stride, uint32_t cellsX, uint32_t cellsY, uint32_t bins, uint32_t normalize,
                                float32_t* out)
{
    if (!cellsX || !cellsY || cellsX > w || cellsY > h || !bins || bins > 256 || normalize > 1)
        return LUMIVA_BAD_PARAMS;
    uint32_t counts[256];
    for (uint32_t cy = 0; cy < cellsY; ++cy) {
        const uint32_t y0 = uint32_t(uint64_t(cy) * h / cellsY), y1 = uint32_t(uint64_t(cy + 1) * h / cellsY);
        for (uint32_t cx = 0; cx < cellsX; ++cx) {
            const uint32_t x0 = uint32_t(uint64_t(cx) * w / cellsX), x1 = uint32_t(uint64_t(cx + 1) * w / cellsX);
            std::memset(counts, 0, sizeof counts);
            rows.histogram(rowAt(src, stride, y0) + x0, x1 - x0, y1 - y0, stride, counts);
            uint64_t counted = 0;
            for (uint32_t b = 0; b < bins; ++b) counted += counts[b];
            float32_t* cell = out + (size_t(cy) * cellsX + cx) * bins;
            for (uint32_t b = 0; b < bins; ++b)
                cell[b] = normalize ? (counted ? float32_t(double(counts[b]) / double(counted)) : 0.0f)
                                    : float32_t(counts[b]);
        }
    }
    return LUMIVA_SUCCESS;
}

void ilmvStatsFromSums(uint64_t sum, uint64_t squares, uint64_t n, uint32_t varianceType, float32_t* mean,
                       float32_t* variance)
{
    const double m = double(sum) / double(n);
    const double population = std::max(0.0, double(squares) / double(n) - m * m);
    *mean = float32_t(m);
    if (varianceType == 0) *variance = float32_t(population);
    else *variance = n > 1 ? float32_t(population * double(n) / double(n - 1)) : 0.0f;
}

LMV_STATUS ilmvIntensityStats(const ilmvAnalysisRows& rows, const uint8_t* src, uint32_t w, uint32_t h,
                              uint32_t stride, uint32_t x0, uint32_t y0, uint32_t rw, uint32_t rh,
                              uint32_t varianceType, float32_t* mean, float32_t* variance)
{
    if (!rw || !rh || uint64_t(x0) + rw > w || uint64_t(y0) + rh > h || varianceType > 1)
        return LUMIVA_BAD_PARAMS;
    uint64_t sum = 0, squares = 0;
    for (uint32_t y = y0; y < y0 + rh; ++y) rows.sums(rowAt(src, stride, y) + x0, rw, &sum, &squares);
    ilmvStatsFromSums(sum, squares, uint64_t(rw) * rh, varianceType, mean, variance);
    return LUMIVA_SUCCESS;
}

// ---- Extremes -----------------------------------------------------------------------------------
namespace {

// The row's extremes as order keys: the values themselves, floats by their keys; false for a
// row with no number.
template <class T, class Kernel>
bool keysOf(Kernel kernel, const T* s, size_t n, int64_t* lo, int64_t* hi)
{
    T a, b;
    kernel(s, n, &a, &b);
    *lo = int64_t(a), *hi = int64_t(b);
    return true;
}

bool rowKeys(const ilmvAnalysisRows& rows, const uint8_t* s, size_t n, int64_t* lo, int64_t* hi)
{
    return keysOf(rows.minMaxU8, s, n, lo, hi);
}
bool rowKeys(const ilmvAnalysisRows& rows, const int16_t* s, size_t n, int64_t* lo, int64_t* hi)
{
    return keysOf(rows.minMaxS16, s, n, lo, hi);
}
bool rowKeys(const ilmvAnalysisRows& rows, const uint16_t* s, size_t n, int64_t* lo, int64_t* hi)
{
    return keysOf(rows.minMaxU16, s, n, lo, hi);
}
bool rowKeys(const ilmvAnalysisRows& rows, const int32_t* s, size_t n, int64_t* lo, int64_t* hi)
{
    return keysOf(rows.minMaxS32, s, n, lo, hi);
}
bool rowKeys(const ilmvAnalysisRows& rows, const uint32_t* s, size_t n, int64_t* lo, int64_t* hi)
{
    return keysOf(rows.minMaxU32, s, n, lo, hi);
}
bool rowKeys(const ilmvAnalysisRows& rows, const float32_t* s, size_t n, int64_t* lo, int64_t* hi)
{
    int32_t a = 0, b = 0;
    const bool any = rows.minMaxF32(s, n, &a, &b);
    *lo = a, *hi = b;
    return any;
}

// The order the extremes follow: the value itself, or the float key (NaN never ranks).
template <class T>
int64_t orderKey(T v)
{
    return int64_t(v);
}
template <>
int64_t orderKey(float32_t v)
{
    return ilmvFloatKey(v);
}

template <class T>
bool ranks(T v)
{
    return !std::is_floating_point<T>::value || !std::isnan(float(v));
}

struct Extremes {
    bool found = false;
    uint32_t minX = 0, minY = 0, maxX = 0, maxY = 0;
};

// The first place in the row holding the key (the row's own extreme, so one is there).
template <class T>
uint32_t firstWithKey(const T* s, int64_t key)
{
    uint32_t x = 0;
    while (!ranks(s[x]) || orderKey(s[x]) != key) ++x;
    return x;
}

// Rows give their extremes; only a row that betters one is searched for its first place.
template <class T>
Extremes findExtremes(const ilmvAnalysisRows& rows, const T* src, uint32_t w, uint32_t h, uint32_t stride)
{
    Extremes e;
    int64_t lo = 0, hi = 0;
    for (uint32_t y = 0; y < h; ++y) {
        const T* s = rowAt(src, stride, y);
        int64_t rowLo, rowHi;
        if (!rowKeys(rows, s, w, &rowLo, &rowHi)) continue;
        if (!e.found || rowLo < lo) lo = rowLo, e.minX = firstWithKey(s, rowLo), e.minY = y;
        if (!e.found || rowHi > hi) hi = rowHi, e.maxX = firstWithKey(s, rowHi), e.maxY = y;
        e.found = true;
    }
    return e;
}

template <class T>
T valueAt(const T* src, uint32_t stride, uint32_t x, uint32_t y, bool found)
{
    return found ? rowAt(src, stride, y)[x] : T(std::numeric_limits<T>::quiet_NaN());
}

// Every (x, y) whose value has the key, in raster order: the count reports all, the list
// holds the first `capacity`.
template <class T>
uint32_t collect(const T* src, uint32_t w, uint32_t h, uint32_t stride, int64_t key, uint32_t* list,
                 uint32_t capacity)
{
    uint32_t count = 0;
    for (uint32_t y = 0; y < h; ++y) {
        const T* s = rowAt(src, stride, y);
        for (uint32_t x = 0; x < w; ++x) {
            if (!ranks(s[x]) || orderKey(s[x]) != key) continue;
            if (count < capacity && list) list[2 * count] = x, list[2 * count + 1] = y;
            ++count;
        }
    }
    return count;
}

}  // namespace

template <class T>
void ilmvMinMaxLoc(const ilmvAnalysisRows& rows, const T* src, uint32_t w, uint32_t h, uint32_t stride, T* minVal,
                   T* maxVal, uint32_t* minX, uint32_t* minY, uint32_t* maxX, uint32_t* maxY)
{
    const Extremes e = findExtremes(rows, src, w, h, stride);
    *minVal = valueAt(src, stride, e.minX, e.minY, e.found);
    *maxVal = valueAt(src, stride, e.maxX, e.maxY, e.found);
    *minX = e.minX, *minY = e.minY, *maxX = e.maxX, *maxY = e.maxY;
}

template <class T>
LMV_STATUS ilmvMinMaxLocList(const ilmvAnalysisRows& rows, const T* src, uint32_t w, uint32_t h, uint32_t stride,
                             T* minVal, T* maxVal, uint32_t* minList, uint32_t minCapacity, uint32_t* minCount,
                             uint32_t* maxList, uint32_t maxCapacity, uint32_t* maxCount)
{
    const Extremes e = findExtremes(rows, src, w, h, stride);
    *minVal = valueAt(src, stride, e.minX, e.minY, e.found);
    *maxVal = valueAt(src, stride, e.maxX, e.maxY, e.found);
    *minCount = e.found ? collect(src, w, h, stride, orderKey(*minVal), minList, minCapacity) : 0;
    *maxCount = e.found ? collect(src, w, h, stride, orderKey(*maxVal), maxList, maxCapacity) : 0;
    return LUMIVA_SUCCESS;
}

#define ILMV_MINMAX(T)                                                                                                 \
    template void ilmvMinMaxLoc<T>(const ilmvAnalysisRows&, const T*, uint32_t, uint32_t, uint32_t, T*, T*,          \
                                   uint32_t*, uint32_t*, uint32_t*, uint32_t*);                                       \
    template LMV_STATUS ilmvMinMaxLocList<T>(const ilmvAnalysisRows&, const T*, uint32_t, uint32_t, uint32_t, T*, T*, \
                                             uint32_t*, uint32_t, uint32_t*, uint32_t*, uint32_t, uint32_t*);
ILMV_MINMAX(uint8_t)
ILMV_MINMAX(int16_t)
ILMV_MINMAX(uint16_t)
ILMV_MINMAX(int32_t)
ILMV_MINMAX(uint32_t)
ILMV_MINMAX(float32_t)
#undef ILMV_MINMAX

// ---- Moments ------------------------------------------------------------------------------------
namespace {

// Row sums of x^k v, k = 0..3, in double.
struct RowSums {
    double s[4] = {0, 0, 0, 0};
};

// Byte rows go by exact chunk sums of i^k p, shifted to the chunk's first column x0:
// sum (x0 + i)^k p expands into the chunk sums with binomial weights.
RowSums rowSums(const ilmvAnalysisRows& rows, const uint8_t* s, uint32_t w)
{
    RowSums r;
    for (uint32_t x0 = 0; x0 < w; x0 += ILMV_MOMENT_CHUNK) {
        uint32_t a[4];
        rows.momentChunkU8(s + x0, std::min<size_t>(ILMV_MOMENT_CHUNK, w - x0), a);
        const double x = x0, x2 = x * x;
        r.s[0] += a[0];
        r.s[1] += x * a[0] + a[1];
        r.s[2] += x2 * a[0] + 2 * x * a[1] + a[2];
        r.s[3] += x2 * x * a[0] + 3 * x2 * a[1] + 3 * x * a[2] + a[3];
    }
    return r;
}

template <class T>
RowSums rowSums(const ilmvAnalysisRows&, const T* s, uint32_t w)
{
    RowSums r;
    for (uint32_t x = 0; x < w; ++x) {
        const double v = s[x], xd = x;
        r.s[0] += v;
        r.s[1] += xd * v;
        r.s[2] += xd * xd * v;
        r.s[3] += xd * xd * xd * v;
    }
    return r;
}

}  // namespace

template <class T>
void ilmvMoments(const ilmvAnalysisRows& rows, const T* src, uint32_t w, uint32_t h, uint32_t stride,
                 float32_t* moments)
{
    double m[10] = {};
    for (uint32_t y = 0; y < h; ++y) {
        const RowSums r = rowSums(rows, rowAt(src, stride, y), w);
        const double yd = y, y2 = yd * yd;
        m[0] += r.s[0];
        m[1] += r.s[1];
        m[2] += yd * r.s[0];
        m[3] += r.s[2];
        m[4] += yd * r.s[1];
        m[5] += y2 * r.s[0];
        m[6] += r.s[3];
        m[7] += yd * r.s[2];
        m[8] += y2 * r.s[1];
        m[9] += y2 * yd * r.s[0];
    }
    for (int k = 0; k < 10; ++k) moments[k] = float32_t(m[k]);
}

template void ilmvMoments<uint8_t>(const ilmvAnalysisRows&, const uint8_t*, uint32_t, uint32_t, uint32_t, float32_t*);
template void ilmvMoments<int32_t>(const ilmvAnalysisRows&, const int32_t*, uint32_t, uint32_t, uint32_t, float32_t*);
template void ilmvMoments<float32_t>(const ilmvAnalysisRows&, const float32_t*, uint32_t, uint32_t, uint32_t,
                                     float32_t*);

void ilmvBoundingRectangle(const uint32_t* xy, uint32_t n, uint32_t* x0, uint32_t* y0, uint32_t* x1, uint32_t* y1)
{
    uint32_t minX = xy[0], minY = xy[1], maxX = xy[0], maxY = xy[1];
    for (uint32_t i = 1; i < n; ++i) {
        minX = std::min(minX, xy[2 * i]);
        maxX = std::max(maxX, xy[2 * i]);
        minY = std::min(minY, xy[2 * i + 1]);
        maxY = std::max(maxY, xy[2 * i + 1]);
    }
    *x0 = minX, *y0 = minY, *x1 = maxX, *y1 = maxY;
}
