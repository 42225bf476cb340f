// Colour conversions: one work item per pixel (two for the paired grey kernel), the same
// integer arithmetic as the reference rows, so the bytes are the same.

uchar clampByte(int v)
{
    return (uchar)(v < 0 ? 0 : v > 255 ? 255 : v);
}

uchar grey(uint r, uint g, uint b)
{
    return (uchar)((19595u * r + 38469u * g + 7471u * b + 32768u) >> 16);
}

__kernel void convertRgb2Gray(__global const uchar* src, __global uchar* dst, uint width, uint height, uint srcStride,
                              uint dstStride)
{
    const uint x = get_global_id(0), y = get_global_id(1);
    __global const uchar* p = src + y * srcStride + 3 * x;
    dst[y * dstStride + x] = grey(p[0], p[1], p[2]);
}

// Two neighbouring pixels per work item; the width is even.
__kernel void convertRgb2Gray2(__global const uchar* src, __global uchar* dst, uint width, uint height, uint srcStride,
                               uint dstStride)
{
    const uint x = 2 * get_global_id(0), y = get_global_id(1);
    __global const uchar* p = src + y * srcStride + 3 * x;
    dst[y * dstStride + x] = grey(p[0], p[1], p[2]);
    dst[y * dstStride + x + 1] = grey(p[3], p[4], p[5]);
}

// Y, Cr, Cb with 15 fractional bits; in place is allowed (each item reads its pixel first).
__kernel void RGB888toYCrCbu8(__global const uchar* src, __global uchar* dst, uint width, uint height, uint srcStride,
                              uint dstStride)
{
    const uint x = get_global_id(0), y = get_global_id(1);
    __global const uchar* p = src + y * srcStride + 3 * x;
    const int r = p[0], g = p[1], b = p[2];
    __global uchar* out = dst + y * dstStride + 3 * x;
    out[0] = clampByte((9798 * r + 19235 * g + 3736 * b + 16384) >> 15);
    out[1] = clampByte(128 + ((16384 * r - 13720 * g - 2664 * b + 16384) >> 15));
    const int cb = 128 + ((-5529 * r - 10855 * g + 16384 * b + 16384) >> 15);
    out[2] = (uchar)(cb > 255 ? 255 : cb);
}

// Decoded 8x8 blocks: a unit of hsub x vsub luma blocks, then one Cb and one Cr block,
// covers 8*hsub x 8*vsub pixels; 15 fractional bits on doubled chroma.
void blocksPixel(__global const uchar* src, __global uchar* dst, uint width, uint hsub, uint vsub)
{
    const uint x = get_global_id(0), y = get_global_id(1);
    const uint unitW = 8 * hsub, unitH = 8 * vsub, lumaBytes = 64 * hsub * vsub, unitBytes = lumaBytes + 128;
    const uint units = (width + unitW - 1) / unitW, ly = y % unitH, lx = x % unitW;
    __global const uchar* unit = src + (y / unitH) * units * unitBytes + (x / unitW) * unitBytes;
    const int luma = unit[((ly / 8) * hsub + lx / 8) * 64 + (ly % 8) * 8 + lx % 8];
    __global const uchar* cb = unit + lumaBytes + (ly / vsub) * 8 + lx / hsub;
    const int u = 2 * cb[0] - 255, v = 2 * cb[64] - 255;
    __global uchar* out = dst + (y * width + x) * 3;
    out[0] = clampByte(luma + ((22970 * v + 16384) >> 15));
    out[1] = clampByte(luma + ((-5638 * u - 11700 * v + 16384) >> 15));
    out[2] = clampByte(luma + ((29032 * u + 16384) >> 15));
}

__kernel void convertYCrCbH1V1toRGB888(__global const uchar* src, __global uchar* dst, uint width)
{
    blocksPixel(src, dst, width, 1, 1);
}

__kernel void YCrCbH2V1toRGB888u8(__global const uchar* src, __global uchar* dst, uint width)
{
    blocksPixel(src, dst, width, 2, 1);
}

__kernel void convertYCrCbH2V2toRGB888(__global const uchar* src, __global uchar* dst, uint width)
{
    blocksPixel(src, dst, width, 2, 2);
}

__kernel void YCrCbH1V2toRGB888u8(__global const uchar* src, __global uchar* dst, uint width)
{
    blocksPixel(src, dst, width, 1, 2);
}

// Video-range 4:2:0 with interleaved Cr, Cb after the luma plane, to R, G, B, 255;
// 10 fractional bits.
__kernel void YCrCb420PseudoPlanarToRGBA8888u8(__global const uchar* src, __global uchar* dst, uint width, uint height,
                                               uint yStride, uint cStride, uint dstStride)
{
    const uint x = get_global_id(0), y = get_global_id(1);
    __global const uchar* pairs = src + yStride * height + (y / 2) * cStride + (x & ~1u);
    const int luma = src[y * yStride + x];
    const int yy = ((luma > 16 ? luma : 16) - 16) * 1192, u = pairs[1] - 128, v = pairs[0] - 128;
    __global uchar* out = dst + y * dstStride + 4 * x;
    out[0] = (uchar)(clamp(yy + 1634 * v, 0, 262143) >> 10);
    out[1] = (uchar)(clamp(yy - 833 * v - 400 * u, 0, 262143) >> 10);
    out[2] = (uchar)(clamp(yy + 2066 * u, 0, 262143) >> 10);
    out[3] = 255;
}

// Video-range 4:2:0 with interleaved Cb, Cr after the luma plane (no strides) to RGB565,
// red in bits 0-4; 8 fractional bits, truncated.
__kernel void YUV420toRGB565u8(__global const uchar* src, __global ushort* dst, uint width, uint height)
{
    const uint x = get_global_id(0), y = get_global_id(1);
    __global const uchar* pairs = src + width * height + (y / 2) * width + (x & ~1u);
    const int yy = 298 * (src[y * width + x] - 16), u = pairs[0] - 128, v = pairs[1] - 128;
    const uint r = clampByte((yy + 409 * v) >> 8), g = clampByte((yy - 208 * v - 100 * u) >> 8),
               b = clampByte((yy + 517 * u) >> 8);
    dst[y * width + x] = (ushort)((r >> 3) | ((g >> 2) << 5) | ((b >> 3) << 11));
}
