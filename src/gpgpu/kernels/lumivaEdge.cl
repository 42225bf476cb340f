// Thresholds, Sobel, gradients and Canny. Each kernel keeps the reference form's integer
// arithmetic, so the GPU gives the same bytes.

// The binary threshold over 16 x 8 pixels per work item (widths that are a multiple of 16).
// The last row of items also takes the height's remainder.
__kernel void Threshold_16(__global const uchar* src, __global uchar* dst, ushort width, ushort height, ushort wRem,
                           ushort hRem, uchar threshold, ushort srcStride, ushort dstStride)
{
    const int x0 = get_global_id(0) * 16, y0 = get_global_id(1) * 8;
    const int rows = 8 + (get_global_id(1) == get_global_size(1) - 1 ? hRem : 0);
    const uchar16 t = (uchar16)(threshold);
    for (int y = y0; y < y0 + rows && y < height; ++y) {
        const uchar16 v = vload16(0, src + y * srcStride + x0);
        vstore16(select((uchar16)(0), (uchar16)(255), v > t), 0, dst + y * dstStride + x0);
    }
    (void)width;
    (void)wRem;
}

// The binary threshold over 2 x 2 pixels per work item; the last item of a row or column
// also takes the width's or height's remainder.
__kernel void Threshold_2(__global const uchar* src, __global uchar* dst, ushort width, ushort height, ushort wRem,
                          ushort hRem, uchar threshold, ushort srcStride, ushort dstStride)
{
    const int x0 = get_global_id(0) * 2, y0 = get_global_id(1) * 2;
    const int cols = 2 + (get_global_id(0) == get_global_size(0) - 1 ? wRem : 0);
    const int rows = 2 + (get_global_id(1) == get_global_size(1) - 1 ? hRem : 0);
    for (int y = y0; y < y0 + rows && y < height; ++y)
        for (int x = x0; x < x0 + cols && x < width; ++x)
            dst[y * dstStride + x] = src[y * srcStride + x] > threshold ? 255 : 0;
}

// The 3x3 Sobel of the window centred on (x, y), edges repeated when the window leaves the image.
int2 sobelAt(__global const uchar* src, int w, int h, uint stride, int x, int y)
{
    int p[3][3];
    for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 3; ++i) {
            const int yy = clamp(y + j - 1, 0, h - 1), xx = clamp(x + i - 1, 0, w - 1);
            p[j][i] = src[yy * stride + xx];
        }
    const int gx = (p[0][2] - p[0][0]) + 2 * (p[1][2] - p[1][0]) + (p[2][2] - p[2][0]);
    const int gy = (p[2][0] - p[0][0]) + 2 * (p[2][1] - p[0][1]) + (p[2][2] - p[0][2]);
    return (int2)(gx, gy);
}

uchar strengthAt(__global const uchar* src, int w, int h, uint stride, int x, int y)
{
    const int2 g = sobelAt(src, w, h, stride, x, y);
    return (uchar)min((int)(abs(g.x) + abs(g.y)) >> 3, 255);
}

// Sobel edge strength min(255, (|Gx| + |Gy|) >> 3) of the interior, one pixel per item.
__kernel void FilterSobel3x3u8(__global const uchar* src, __global uchar* dst, uint width, uint height, uint srcStride,
                               uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1), w = width, h = height;
    if (x > 0 && y > 0 && x < w - 1 && y < h - 1) dst[y * dstStride + x] = strengthAt(src, w, h, srcStride, x, y);
}

// The same, four pixels per item (widths that are a multiple of 4).
__kernel void vskSobelTransform(__global const uchar* src, __global uchar* dst, uint width, uint height,
                                uint srcStride, uint dstStride)
{
    const int x0 = get_global_id(0) * 4, y = get_global_id(1), w = width, h = height;
    if (y == 0 || y >= h - 1) return;
    for (int x = max(x0, 1); x < min(x0 + 4, w - 1); ++x) dst[y * dstStride + x] = strengthAt(src, w, h, srcStride, x, y);
}

// Central differences, halved, as (dx, dy) f32 pairs; the one-pixel frame is 0.
__kernel void ImageGradientInterleavedf32(__global const uchar* src, __global float* dst, uint width, uint height,
                                          uint srcStride, uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1), w = width, h = height;
    __global float* out = (__global float*)((__global uchar*)dst + y * (dstStride & ~3u)) + 2 * x;
    if (x == 0 || y == 0 || x == w - 1 || y == h - 1) {
        out[0] = 0.0f;
        out[1] = 0.0f;
        return;
    }
    __global const uchar* p = src + y * srcStride + x;
    out[0] = (float)((int)p[1] - (int)p[-1]) * 0.5f;
    out[1] = (float)((int)p[srcStride] - (int)p[-(int)srcStride]) * 0.5f;
}

// ---- Canny ------------------------------------------------------------------------------------
// Magnitudes live in a padded image of (w + 2) x (h + 2) words whose frame is 0; the map, of
// the same shape in bytes, holds 1 (not an edge), 0 (kept above the low threshold) or 2 (edge).

#define TAN22 13573  // tan(22.5 degrees) * 2^15, rounded

// Non-maximum suppression at padded index p with gradient (gx, gy).
bool isMaximum(__global const uint* mag, int p, int pitch, int gx, int gy)
{
    const long m = mag[p];
    const long ax = abs(gx), ay = (long)abs(gy) << 15, tan22 = ax * TAN22;
    if (ay < tan22) return m > mag[p - 1] && m >= mag[p + 1];
    if (ay > tan22 + (ax << 16)) return m > mag[p - pitch] && m >= mag[p + pitch];
    const int s = (gx ^ gy) < 0 ? -1 : 1;
    return m > mag[p - pitch - s] && m > mag[p + pitch + s];
}

// A map byte that is 0 and touches an edge becomes an edge; true when it did.
bool joins(__global uchar* map, int p, int pitch)
{
    if (map[p] != 0) return false;
    if (map[p - pitch - 1] == 2 || map[p - pitch] == 2 || map[p - pitch + 1] == 2 || map[p - 1] == 2 ||
        map[p + 1] == 2 || map[p + pitch - 1] == 2 || map[p + pitch] == 2 || map[p + pitch + 1] == 2) {
        map[p] = 2;
        return true;
    }
    return false;
}

// Sweeps one line of the map both ways (step 1: a row; step pitch: a column).
bool sweep(__global uchar* map, int first, int step, int count, int pitch)
{
    bool changed = false;
    for (int i = 0; i < count; ++i) changed |= joins(map, first + i * step, pitch);
    for (int i = count - 1; i >= 0; --i) changed |= joins(map, first + i * step, pitch);
    return changed;
}

// Sobel with edges repeated into grad (dx plane, then dy plane) and the L1 magnitude.
__kernel void CannyGradientFCRest(__global const uchar* src, __global short* grad, __global uint* mag, uint width,
                                  uint height, uint srcStride)
{
    const int x = get_global_id(0), y = get_global_id(1), w = width, h = height;
    const int2 g = sobelAt(src, w, h, srcStride, x, y);
    grad[y * w + x] = (short)g.x;
    grad[w * h + y * w + x] = (short)g.y;
    mag[(y + 1) * (w + 2) + x + 1] = abs(g.x) + abs(g.y);
}

__kernel void CannyFindMax(__global const short* grad, __global const uint* mag, __global uchar* map, uint width,
                           uint height, int low)
{
    const int x = get_global_id(0), y = get_global_id(1), w = width, h = height, pitch = w + 2;
    const int p = (y + 1) * pitch + x + 1;
    const bool kept = (long)mag[p] > low && isMaximum(mag, p, pitch, grad[y * w + x], grad[w * h + y * w + x]);
    map[p] = kept ? 0 : 1;
}

__kernel void CannyLowHigh(__global const uint* mag, __global uchar* map, uint width, uint height, int high)
{
    const int x = get_global_id(0), y = get_global_id(1), pitch = width + 2;
    const int p = (y + 1) * pitch + x + 1;
    if (map[p] == 0 && (long)mag[p] > high) map[p] = 2;
    (void)height;
}

// Hysteresis along rows: one item per row; sets flag[0] when anything joined.
__kernel void CannyFindEdge(__global uchar* map, __global uint* flag, uint width, uint height)
{
    const int y = get_global_id(1), pitch = width + 2;
    if (sweep(map, (y + 1) * pitch + 1, 1, width, pitch)) flag[0] = 1;
    (void)height;
}

// Hysteresis down columns: one item per column.
__kernel void CannyFindEdge2(__global uchar* map, __global uint* flag, uint width, uint height)
{
    const int x = get_global_id(0), pitch = width + 2;
    if (sweep(map, pitch + x + 1, pitch, height, pitch)) flag[0] = 1;
}

__kernel void CannyFindEdge3(__global const uchar* map, __global uchar* dst, uint width, uint height, uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    dst[y * dstStride + x] = map[(y + 1) * (width + 2) + x + 1] == 2 ? 255 : 0;
    (void)height;
}

// The second engine: the caller's gradient planes, suppression and classification in one
// kernel, hysteresis by a mode argument.
__kernel void CannyGradientFCRestV2(__global const uchar* src, __global short* gx, __global short* gy,
                                    __global uint* mag, uint width, uint height, uint srcStride, uint gradStride)
{
    const int x = get_global_id(0), y = get_global_id(1), w = width, h = height;
    const int2 g = sobelAt(src, w, h, srcStride, x, y);
    const int row = y * (gradStride / 2);
    gx[row + x] = (short)g.x;
    gy[row + x] = (short)g.y;
    mag[(y + 1) * (w + 2) + x + 1] = abs(g.x) + abs(g.y);
}

__kernel void CannyFindMaxV2(__global const short* gx, __global const short* gy, __global const uint* mag,
                             __global uchar* map, uint width, uint height, uint gradStride, int low, int high)
{
    const int x = get_global_id(0), y = get_global_id(1), pitch = width + 2;
    const int p = (y + 1) * pitch + x + 1, g = y * (gradStride / 2) + x;
    const bool kept = (long)mag[p] > low && isMaximum(mag, p, pitch, gx[g], gy[g]);
    map[p] = kept ? ((long)mag[p] > high ? 2 : 0) : 1;
    (void)height;
}

// mode 0: one item per row sweeping it; mode 1: one item per column.
__kernel void CannyLowHighV2(__global uchar* map, __global uint* flag, uint width, uint height, uint mode)
{
    const int pitch = width + 2;
    const bool changed = mode == 0 ? sweep(map, (get_global_id(1) + 1) * pitch + 1, 1, width, pitch)
                                   : sweep(map, pitch + get_global_id(0) + 1, pitch, height, pitch);
    if (changed) flag[0] = 1;
}

__kernel void CannyFindEdgeV2(__global const uchar* map, __global uchar* dst, uint width, uint height, uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    dst[y * dstStride + x] = map[(y + 1) * (width + 2) + x + 1] == 2 ? 255 : 0;
    (void)height;
}
