// The 3x3 Gaussian: one work item per pixel. Interior pixels take
// (c(x-1) + 2c(x) + c(x+1)) >> 4 over column sums c = p(y-1) + 2p(y) + p(y+1); border pixels
// are written only when blurBorder is 1, with the kernel restricted to the image and
// divided, truncating, by the weights it used.

int columnSum(__global const uchar* p, uint stride)
{
    return p[0] + 2 * p[stride] + p[2 * stride];
}

uchar borderPixel(__global const uchar* src, int w, int h, uint srcStride, int x, int y)
{
    int sum = 0, weights = 0;
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            const int yy = y + dy, xx = x + dx;
            if (yy < 0 || xx < 0 || yy >= h || xx >= w) continue;
            const int k = (dx ? 1 : 2) * (dy ? 1 : 2);
            sum += k * src[yy * srcStride + xx];
            weights += k;
        }
    return (uchar)(sum / weights);
}

__kernel void Gaussian3x3u8(__global const uchar* src, __global uchar* dst, uint width, uint height, uint srcStride,
                            uint dstStride, int blurBorder)
{
    const int x = get_global_id(0), y = get_global_id(1);
    const int w = width, h = height;
    if (x > 0 && y > 0 && x < w - 1 && y < h - 1) {
        __global const uchar* top = src + (y - 1) * srcStride + x - 1;
        const int sum = columnSum(top, srcStride) + 2 * columnSum(top + 1, srcStride) + columnSum(top + 2, srcStride);
        dst[y * dstStride + x] = (uchar)(sum >> 4);
    } else if (blurBorder == 1) {
        dst[y * dstStride + x] = borderPixel(src, w, h, srcStride, x, y);
    }
}

// The 5x5 Gaussian [1 4 6 4 1]^2: interior (sum + 128) >> 8; the two-pixel frame only when
// blurBorder is 1, the kernel restricted to the image and the sum divided, rounding, by
// the weights it used.
__constant int kBinomial5[5] = {1, 4, 6, 4, 1};

__kernel void Gaussian5x5u8(__global const uchar* src, __global uchar* dst, uint width, uint height, uint srcStride,
                            uint dstStride, int blurBorder)
{
    const int x = get_global_id(0), y = get_global_id(1);
    const int w = width, h = height;
    const bool inside = x >= 2 && y >= 2 && x + 2 < w && y + 2 < h;
    if (!inside && blurBorder != 1) return;
    int sum = 0, weights = 0;
    for (int dy = -2; dy <= 2; ++dy)
        for (int dx = -2; dx <= 2; ++dx) {
            const int yy = y + dy, xx = x + dx;
            if (yy < 0 || xx < 0 || yy >= h || xx >= w) continue;
            const int k = kBinomial5[dx + 2] * kBinomial5[dy + 2];
            sum += k * src[yy * srcStride + xx];
            weights += k;
        }
    dst[y * dstStride + x] = (uchar)(inside ? (sum + 128) >> 8 : (sum + weights / 2) / weights);
}

// k x k box means over the interior, (sum + k*k/2) / (k*k); the frame is left alone.
uchar boxMean(__global const uchar* src, uint srcStride, int x, int y, int k)
{
    uint sum = 0;
    for (int j = 0; j < k; ++j)
        for (int i = 0; i < k; ++i) sum += src[(y - k / 2 + j) * srcStride + x - k / 2 + i];
    return (uchar)((sum + k * k / 2) / (k * k));
}

__kernel void BoxFilter3x3u8(__global const uchar* src, __global uchar* dst, uint width, uint height, uint srcStride,
                            uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    if (x >= 1 && y >= 1 && x + 1 < (int)width && y + 1 < (int)height)
        dst[y * dstStride + x] = boxMean(src, srcStride, x, y, 3);
}

__kernel void BoxFilter5x5u8(__global const uchar* src, __global uchar* dst, uint width, uint height, uint srcStride,
                            uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    if (x >= 2 && y >= 2 && x + 2 < (int)width && y + 2 < (int)height)
        dst[y * dstStride + x] = boxMean(src, srcStride, x, y, 5);
}

__kernel void BoxFilter11x11u8(__global const uchar* src, __global uchar* dst, uint width, uint height, uint srcStride,
                            uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    if (x >= 5 && y >= 5 && x + 5 < (int)width && y + 5 < (int)height)
        dst[y * dstStride + x] = boxMean(src, srcStride, x, y, 11);
}

// The same means with border modes: 0 leaves the frame alone, 1 reads `value` outside the
// image, 2 repeats the nearest edge pixel.
uchar borderedPixel(__global const uchar* src, uint srcStride, int w, int h, int xx, int yy, int mode, uchar value)
{
    if (xx >= 0 && yy >= 0 && xx < w && yy < h) return src[yy * srcStride + xx];
    if (mode == 1) return value;
    return src[clamp(yy, 0, h - 1) * srcStride + clamp(xx, 0, w - 1)];
}

void borderedBox(__global const uchar* src, __global uchar* dst, uint width, uint height, uint srcStride,
                 uint dstStride, int mode, uint value, int k)
{
    const int x = get_global_id(0), y = get_global_id(1), w = width, h = height;
    const bool inside = x >= k / 2 && y >= k / 2 && x + k / 2 < w && y + k / 2 < h;
    if (!inside && mode == 0) return;
    uint sum = 0;
    for (int j = -(k / 2); j <= k / 2; ++j)
        for (int i = -(k / 2); i <= k / 2; ++i) sum += borderedPixel(src, srcStride, w, h, x + i, y + j, mode, (uchar)value);
    dst[y * dstStride + x] = (uchar)((sum + k * k / 2) / (k * k));
}

__kernel void BoxFilter3x3u8V2(__global const uchar* src, __global uchar* dst, uint width, uint height,
                              uint srcStride, uint dstStride, int mode, uint value)
{
    borderedBox(src, dst, width, height, srcStride, dstStride, mode, value, 3);
}

__kernel void BoxFilter5x5u8V2(__global const uchar* src, __global uchar* dst, uint width, uint height,
                              uint srcStride, uint dstStride, int mode, uint value)
{
    borderedBox(src, dst, width, height, srcStride, dstStride, mode, value, 5);
}

__kernel void BoxFilter11x11u8V2(__global const uchar* src, __global uchar* dst, uint width, uint height,
                              uint srcStride, uint dstStride, int mode, uint value)
{
    borderedBox(src, dst, width, height, srcStride, dstStride, mode, value, 11);
}

// 3x3 correlation with signed 8-bit taps, four to a word: saturate_u8(sum >> shift) over the interior.
__kernel void FilterCorr3x3s8(__global const uchar* src, __global uchar* dst, uint width, uint height,
                              uint srcStride, uint dstStride, uint taps0123, uint taps4567, uint tap8, uint shift)
{
    const int x = get_global_id(0), y = get_global_id(1);
    if (x < 1 || y < 1 || x + 1 >= (int)width || y + 1 >= (int)height) return;
    const uint words[3] = {taps0123, taps4567, tap8};
    int sum = 0;
    for (int t = 0; t < 9; ++t) {
        const int tap = (char)(words[t / 4] >> (8 * (t % 4)));
        sum += tap * src[(y - 1 + t / 3) * srcStride + x - 1 + t % 3];
    }
    dst[y * dstStride + x] = convert_uchar_sat(sum >> shift);
}

// Separable s16 correlation, the same taps both ways (at most 11, two to a word), exact
// 64-bit sums, rounding shift, s16 saturation, over the interior.
long separableSum(__global const short* src, uint stride, int x, int y, int k, const int* taps)
{
    long sum = 0;
    for (int j = 0; j < k; ++j) {
        long row = 0;
        for (int i = 0; i < k; ++i) row += (long)taps[i] * src[(y - k / 2 + j) * stride + x - k / 2 + i];
        sum += taps[j] * row;
    }
    return sum;
}

void separable(__global const short* src, __global short* dst, uint width, uint height, uint srcStride,
               uint dstStride, const uint* words, uint shift, int k)
{
    const int x = get_global_id(0), y = get_global_id(1);
    if (x < k / 2 || y < k / 2 || x + k / 2 >= (int)width || y + k / 2 >= (int)height) return;
    int taps[12];
    for (int i = 0; i < 12; ++i) taps[i] = (short)(words[i / 2] >> (16 * (i % 2)));
    const long sum = separableSum(src, srcStride / 2, x, y, k, taps);
    const long rounded = shift ? (sum + ((long)1 << (shift - 1))) >> shift : sum;
    dst[y * (dstStride / 2) + x] = (short)clamp(rounded, (long)-32768, (long)32767);
}

__kernel void FilterCorrSep9x9s16(__global const short* src, __global short* dst, uint width, uint height,
                                  uint srcStride, uint dstStride, uint t01, uint t23, uint t45, uint t67, uint t89,
                                  uint t10, uint shift)
{
    const uint words[6] = {t01, t23, t45, t67, t89, t10};
    separable(src, dst, width, height, srcStride, dstStride, words, shift, 9);
}

__kernel void FilterCorrSep11x11s16(__global const short* src, __global short* dst, uint width, uint height,
                                  uint srcStride, uint dstStride, uint t01, uint t23, uint t45, uint t67, uint t89,
                                  uint t10, uint shift)
{
    const uint words[6] = {t01, t23, t45, t67, t89, t10};
    separable(src, dst, width, height, srcStride, dstStride, words, shift, 11);
}
