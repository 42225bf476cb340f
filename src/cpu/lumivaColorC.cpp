// Reference row kernels of the colour family. The frame functions that walk images
// over them are shared with the SIMD form (lumivaColorFrames.cpp).
#include "core/lumivaEntry.h"
#include "cpu/lumivaColorRows.h"

#include <cstring>

using namespace ilmv;

void ilmvColorNeedPairs(size_t length)
{
    if (length <= 1) ilmvHardStop("src/cpu/lumivaColorC", __LINE__, "length > 1");
}

namespace ilmv {

void hsv(int32_t r, int32_t g, int32_t b, uint8_t* out)
{
    const int32_t mx = r > g ? (r > b ? r : b) : (g > b ? g : b);
    const int32_t mn = r < g ? (r < b ? r : b) : (g < b ? g : b);
    const int32_t delta = mx - mn;
    const int32_t inverse = static_cast<int32_t>(OneByxLUT[delta]);
    int32_t hue;  // sixths of the circle in 16.16; ties between maxima go to red, then green
    if (mx == r)
        hue = inverse * (g - b) + (g < b ? 6 << 16 : 0);
    else if (mx == g)
        hue = inverse * (b - r) + (2 << 16);
    else
        hue = inverse * (r - g) + (4 << 16);
    out[0] = static_cast<uint8_t>((32768 + ((hue * 85) >> 1)) >> 16);
    out[1] = static_cast<uint8_t>((OneByxLUT[mx] * uint32_t(delta) * 255 + 32768) >> 16);
    out[2] = static_cast<uint8_t>(mx);
}

namespace {

// sRGB to linear, Q14.
int32_t linear(int32_t c)
{
    return c < 11 ? (2048 + c * 20369) >> 12 : POW2DOT4TABLE2[c];
}

// The cube-root law of Lab on t in Q15, with its linear segment near black.
int32_t labCurve(int32_t t)
{
    if (t < 146) return 2260 + ((t * 31896 + 4096) >> 13);
    const int32_t i = t >> 7, w = t & 127;
    return (32768 + (((128 - w) * POW1O3TABLE[i] + w * POW1O3TABLE[i + 1]) << 9)) >> 16;
}

}  // namespace

void lab(int32_t r8, int32_t g8, int32_t b8, uint8_t* out)
{
    const int32_t r = linear(r8), g = linear(g8), b = linear(b8);
    int32_t x = (13515 * r + 11717 * g + 5913 * b + 16384) >> 15;
    x = (x * 17238 + 4096) >> 13;
    int32_t z = (634 * r + 3906 * g + 31140 * b + 16384) >> 15;
    z = (z * 15047 + 4096) >> 13;
    const int32_t y = ((6969 * r + 23434 * g + 2365 * b + 16384) >> 14) & ~1;
    const int32_t fx = labCurve(x), fy = labCurve(y), fz = labCurve(z);
    out[0] = static_cast<uint8_t>(((fy * 116 + 8192) >> 14) - 16);
    out[1] = static_cast<uint8_t>(((fx - fy) * 500 + 8192) >> 14);
    out[2] = static_cast<uint8_t>(((fy - fz) * 200 + 8192) >> 14);
    out[3] = 0;
}

}  // namespace ilmv

namespace {

void rgbToYccC(ilmvRgbFormat format, const uint8_t* src, size_t n, uint8_t* y, uint8_t* cb, uint8_t* cr, size_t step,
               bool half)
{
    const size_t bpp = kBytesPerPixel[format];
    for (size_t i = 0; i < n; ++i) {
        // RGB is read blue first: byte 0 (or bits 0-4) is blue.
        Fields f = readFields(src + i * bpp, format);
        y[i] = lumaA(f.f2, f.f1, f.f0);
        if (!cb || (half && (i & 1))) continue;
        const size_t k = half ? i / 2 : i;
        cb[k * step] = cbA(f.f2, f.f1, f.f0);
        cr[k * step] = crA(f.f2, f.f1, f.f0);
    }
}

void yccToRgbC(ilmvRgbFormat format, const uint8_t* y, const uint8_t* cb, const uint8_t* cr, size_t step, bool half,
               size_t n, uint8_t* dst)
{
    const size_t bpp = kBytesPerPixel[format];
    for (size_t i = 0; i < n; ++i) {
        const size_t k = (half ? i / 2 : i) * step;
        writeRgb(dst + i * bpp, format, rgbA(y[i], cb[k], cr[k]));
    }
}

void rgbToRgbC(ilmvRgbFormat from, ilmvRgbFormat to, bool swap, const uint8_t* src, size_t n, uint8_t* dst)
{
    const size_t sb = kBytesPerPixel[from], db = kBytesPerPixel[to];
    for (size_t i = 0; i < n; ++i) {
        Fields f = readFields(src + i * sb, from);
        if (swap)
            writeFields(dst + i * db, to, f.f2, f.f1, f.f0, f.alpha);
        else
            writeFields(dst + i * db, to, f.f0, f.f1, f.f2, f.alpha);
    }
}

void downsampleHorizontalC(const uint8_t* src, size_t n, uint8_t* dst)
{
    for (size_t k = 0; k < n; ++k) dst[k] = src[2 * k];
}

void downsampleHorizontalInterleavedC(const uint8_t* src, size_t n, uint8_t* dst)
{
    for (size_t k = 0; k < n; ++k) {
        dst[2 * k] = src[4 * k];
        dst[2 * k + 1] = src[4 * k + 1];
    }
}

void chromaUpHorizontalPlanarC(const uint8_t* src, size_t n, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i) dst[i] = src[i / 2];
}

void chromaUpHorizontalC(const uint8_t* src, size_t n, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i) {
        dst[2 * i] = src[2 * (i / 2)];
        dst[2 * i + 1] = src[2 * (i / 2) + 1];
    }
}

void interleaveC(const uint8_t* const* planes, size_t count, size_t n, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i)
        for (size_t k = 0; k < count; ++k) dst[i * count + k] = planes[k][i];
}

void deinterleaveC(const uint8_t* src, size_t count, size_t n, uint8_t* const* planes)
{
    for (size_t i = 0; i < n; ++i)
        for (size_t k = 0; k < count; ++k) planes[k][i] = src[i * count + k];
}

void extractC(const uint8_t* src, size_t stride, size_t n, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i) dst[i] = src[i * stride];
}

void greyC(const uint8_t* src, size_t n, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i) dst[i] = grey(src[3 * i], src[3 * i + 1], src[3 * i + 2]);
}

void hsvC(const uint8_t* src, size_t n, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i) hsv(src[3 * i], src[3 * i + 1], src[3 * i + 2], dst + 3 * i);
}

// Blocks of 8 pixels; the tail goes through a local block so the same kernel runs on it.
void labC(const uint8_t* src, size_t n, uint8_t* dst)
{
    auto block = [](const uint8_t* s, size_t count, uint8_t* d) {
        for (size_t i = 0; i < count; ++i) lab(s[4 * i + 2], s[4 * i + 1], s[4 * i], d + 4 * i);
    };
    size_t i = 0;
    for (; i + 8 <= n; i += 8) block(src + 4 * i, 8, dst + 4 * i);
    if (i < n) {
        uint8_t in[32] = {}, out[32];
        std::memcpy(in, src + 4 * i, 4 * (n - i));
        block(in, 8, out);
        std::memcpy(dst + 4 * i, out, 4 * (n - i));
    }
}

void yCrCbC(const uint8_t* src, size_t n, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i) yCrCb(src[3 * i], src[3 * i + 1], src[3 * i + 2], dst + 3 * i);
}

void swapPairsC(const uint8_t* src, size_t n, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i) {
        const uint8_t a = src[2 * i], b = src[2 * i + 1];  // in place is allowed
        dst[2 * i] = b;
        dst[2 * i + 1] = a;
    }
}

void video10C(const uint8_t* y, const uint8_t* pairs, size_t n, uint8_t* rgba)
{
    for (size_t x = 0; x < n; ++x) {
        const size_t k = x & ~size_t(1);  // pairs are Cr, Cb
        Rgb p = rgbVideo10(y[x], pairs[k + 1], pairs[k]);
        rgba[4 * x] = p.r;
        rgba[4 * x + 1] = p.g;
        rgba[4 * x + 2] = p.b;
        rgba[4 * x + 3] = 255;
    }
}

void video8C(ilmvRgbFormat format, const uint8_t* y, const uint8_t* pairs, size_t n, uint8_t* dst)
{
    const size_t bpp = kBytesPerPixel[format];
    for (size_t x = 0; x < n; ++x) {
        const size_t k = x & ~size_t(1);  // pairs are Cb, Cr
        writeRgb(dst + x * bpp, format, rgbVideo8(y[x], pairs[k], pairs[k + 1]));
    }
}

void blocksC(const uint8_t* const* luma, const uint8_t* cb, const uint8_t* cr, int hsub, size_t n, uint8_t* dst)
{
    for (size_t i = 0; i < n; ++i) {
        Rgb p = rgbBlocks(luma[i / 8][i % 8], cb[i / hsub], cr[i / hsub]);
        dst[3 * i] = p.r;
        dst[3 * i + 1] = p.g;
        dst[3 * i + 2] = p.b;
    }
}

const ILMV_COLOR_ROWS kRowsC = {rgbToYccC,   yccToRgbC,     rgbToRgbC,  downsampleHorizontalC,
                                downsampleHorizontalInterleavedC, chromaUpHorizontalPlanarC,
                                chromaUpHorizontalC, interleaveC, deinterleaveC, extractC, greyC, hsvC, labC,
                                yCrCbC,      swapPairsC, video10C, video8C, blocksC};

}  // namespace

const ILMV_COLOR_ROWS& ilmvColorRowsC()
{
    return kRowsC;
}
