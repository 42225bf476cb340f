// Per-pixel rules of the colour family, shared by the reference row kernels and the
// scalar ends of the SIMD ones, and the constant tables.
#ifndef LUMIVA_COLOR_OPS_H
#define LUMIVA_COLOR_OPS_H

#include "lumiva/lumivaColorTypes.h"

#include <cstddef>
#include <cstdint>

extern "C" {
extern const uint32_t OneByxLUT[256];
extern const uint16_t POW2DOT4TABLE2[256];
extern const uint16_t POW1O3TABLE[258];
}

namespace ilmv {

// Packed pixel formats of the RGB family.
enum RgbFormat { kRgb565 = 0, kRgb888 = 1, kRgba8888 = 2 };

constexpr size_t kBytesPerPixel[3] = {2, 3, 4};

inline uint8_t clampByte(int32_t v)
{
    return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

// The three fields of a source pixel in memory order (byte 0, 1, 2, or bits 0-4, 5-10,
// 11-15 of a little-endian word), each widened to 8 bits by shifting.
struct Fields {
    int32_t f0, f1, f2, alpha;
};

inline Fields readFields(const uint8_t* p, RgbFormat format)
{
    if (format == kRgb565) {
        uint32_t w = p[0] | (p[1] << 8);
        return {int32_t((w & 31) << 3), int32_t(((w >> 5) & 63) << 2), int32_t((w >> 11) << 3), 255};
    }
    return {p[0], p[1], p[2], format == kRgba8888 ? p[3] : 255};
}

inline void writeFields(uint8_t* p, RgbFormat format, int32_t f0, int32_t f1, int32_t f2, int32_t alpha)
{
    if (format == kRgb565) {
        uint32_t w = (uint32_t(f0) >> 3) | ((uint32_t(f1) >> 2) << 5) | ((uint32_t(f2) >> 3) << 11);
        p[0] = static_cast<uint8_t>(w);
        p[1] = static_cast<uint8_t>(w >> 8);
        return;
    }
    p[0] = static_cast<uint8_t>(f0);
    p[1] = static_cast<uint8_t>(f1);
    p[2] = static_cast<uint8_t>(f2);
    if (format == kRgba8888) p[3] = static_cast<uint8_t>(alpha);
}

// Coefficient set A, full range, 8 fractional bits.
inline uint8_t lumaA(int32_t r, int32_t g, int32_t b)
{
    int32_t y = (77 * r + 150 * g + 29 * b + 128) >> 8;
    return static_cast<uint8_t>(y > 255 ? 255 : y);
}

inline uint8_t cbA(int32_t r, int32_t g, int32_t b)
{
    int32_t c = 128 + ((128 * b - 85 * g - 43 * r + 128) >> 8);
    return static_cast<uint8_t>(c > 255 ? 255 : c);
}

inline uint8_t crA(int32_t r, int32_t g, int32_t b)
{
    int32_t c = 128 + ((128 * r - 107 * g - 21 * b + 128) >> 8);
    return static_cast<uint8_t>(c > 255 ? 255 : c);
}

struct Rgb {
    uint8_t r, g, b;
};

inline Rgb rgbA(int32_t y, int32_t cb, int32_t cr)
{
    const int32_t u = cb - 128, v = cr - 128;
    return {clampByte((256 * y + 359 * v + 128) >> 8), clampByte((256 * y - 88 * u - 183 * v + 128) >> 8),
            clampByte((256 * y + 454 * u + 128) >> 8)};
}

// Writes R, G, B (and alpha 255) in the YCbCr-to-RGB byte order: red first, or red in
// bits 0-4 of a 565 word.
inline void writeRgb(uint8_t* p, RgbFormat format, Rgb c)
{
    writeFields(p, format, c.r, c.g, c.b, 255);
}

inline uint8_t grey(int32_t r, int32_t g, int32_t b)
{
    return static_cast<uint8_t>((19595 * r + 38469 * g + 7471 * b + 32768) >> 16);
}

// Interleaved Y, Cr, Cb with 15 fractional bits.
inline void yCrCb(int32_t r, int32_t g, int32_t b, uint8_t* out)
{
    out[0] = clampByte((9798 * r + 19235 * g + 3736 * b + 16384) >> 15);
    out[1] = clampByte(128 + ((16384 * r - 13720 * g - 2664 * b + 16384) >> 15));
    int32_t cb = 128 + ((-5529 * r - 10855 * g + 16384 * b + 16384) >> 15);
    out[2] = static_cast<uint8_t>(cb > 255 ? 255 : cb);
}

void hsv(int32_t r, int32_t g, int32_t b, uint8_t* out);
void lab(int32_t r, int32_t g, int32_t b, uint8_t* out);

// Video range, 10 fractional bits, output R, G, B.
inline Rgb rgbVideo10(int32_t y, int32_t cb, int32_t cr)
{
    auto clampQ = [](int32_t v) { return v < 0 ? 0 : v > 262143 ? 262143 : v; };
    const int32_t yy = ((y > 16 ? y : 16) - 16) * 1192, u = cb - 128, v = cr - 128;
    return {static_cast<uint8_t>(clampQ(yy + 1634 * v) >> 10), static_cast<uint8_t>(clampQ(yy - 833 * v - 400 * u) >> 10),
            static_cast<uint8_t>(clampQ(yy + 2066 * u) >> 10)};
}

// Video range, 8 fractional bits without rounding.
inline Rgb rgbVideo8(int32_t y, int32_t cb, int32_t cr)
{
    const int32_t yy = 298 * (y - 16), u = cb - 128, v = cr - 128;
    return {clampByte((yy + 409 * v) >> 8), clampByte((yy - 208 * v - 100 * u) >> 8), clampByte((yy + 517 * u) >> 8)};
}

// The block decoders: 15 fractional bits on doubled chroma c2 = 2*c - 255.
inline Rgb rgbBlocks(int32_t y, int32_t cb, int32_t cr)
{
    const int32_t u = 2 * cb - 255, v = 2 * cr - 255;
    return {clampByte(y + ((22970 * v + 16384) >> 15)), clampByte(y + ((-5638 * u - 11700 * v + 16384) >> 15)),
            clampByte(y + ((29032 * u + 16384) >> 15))};
}

}  // namespace ilmv

#endif
