// Affine warps, 8x8 affine patches, resizing by area, by a quarter and the 5x5 doubling.
// The host hands over each warp's column and row terms in 1/1024 pixel (the products of the
// matrix, rounded half to even), so the kernels do only integer work and give the reference's
// bytes on any device.
#pragma OPENCL FP_CONTRACT OFF

// Position of (x, y) from the terms: columns first (x, y pairs), then rows at `rows`; `bias`
// and `shift` round to 1/32 pixel (16, 5) or whole pixels (512, 10).
int2 affinePoint(__global const int* t, uint rows, int x, int y, int bias, int shift)
{
    const long X = ((long)t[rows + 2 * y] + bias + t[2 * x]) >> shift;
    const long Y = ((long)t[rows + 2 * y + 1] + bias + t[2 * x + 1]) >> shift;
    return (int2)((int)X, (int)Y);
}

// 1/32-pixel position: whole part saturated to 16 bits, phase kept.
int2 wholePart(int2 p)
{
    return (int2)(clamp(p.x >> 5, -32768, 32767), clamp(p.y >> 5, -32768, 32767));
}

uchar blend(uint p00, uint p01, uint p10, uint p11, uint fx, uint fy)
{
    const uint top = p00 * (32 - fx) + p01 * fx, bottom = p10 * (32 - fx) + p11 * fx;
    return (uchar)((top * (32 - fy) + bottom * fy + 512) >> 10);
}

bool bilinearInside(int2 s, uint w, uint h)
{
    return (uint)s.x < (uint)max((int)w - 1, 0) && (uint)s.y < (uint)max((int)h - 1, 0);
}

uchar bilinearAt(__global const uchar* src, uint stride, int2 s, int2 p)
{
    __global const uchar* q = src + s.y * stride + s.x;
    return blend(q[0], q[1], q[stride], q[stride + 1], p.x & 31, p.y & 31);
}

// Writes pixel x of a clipped warp's row; true where it lay inside.
bool clippedPixel(__global const uchar* src, __global uchar* dst, __global const int* t, uint rows, uint w, uint h,
                  uint srcStride, uint dstStride, int x, int y, bool nearest)
{
    if (nearest) {
        const int2 p = affinePoint(t, rows, x, y, 512, 10);
        const int2 s = (int2)(clamp(p.x, -32768, 32767), clamp(p.y, -32768, 32767));
        if ((uint)s.x >= w || (uint)s.y >= h) return false;
        dst[y * dstStride + x] = src[s.y * srcStride + s.x];
        return true;
    }
    const int2 p = affinePoint(t, rows, x, y, 16, 5), s = wholePart(p);
    if (!bilinearInside(s, w, h)) return false;
    dst[y * dstStride + x] = bilinearAt(src, srcStride, s, p);
    return true;
}

__kernel void affineClipBL_i(__global const uchar* src, __global uchar* dst, __global const int* t, uint rows,
                             uint srcWidth, uint srcHeight, uint srcStride, uint dstStride)
{
    clippedPixel(src, dst, t, rows, srcWidth, srcHeight, srcStride, dstStride, get_global_id(0), get_global_id(1),
                 false);
}

__kernel void affineClipNN_i(__global const uchar* src, __global uchar* dst, __global const int* t, uint rows,
                             uint srcWidth, uint srcHeight, uint srcStride, uint dstStride)
{
    clippedPixel(src, dst, t, rows, srcWidth, srcHeight, srcStride, dstStride, get_global_id(0), get_global_id(1),
                 true);
}

// One item per row: the row's pixels, then its first and last inside column (dstWidth and 0
// for none).
void clippedRow(__global const uchar* src, __global uchar* dst, __global const int* t, __global uint* extent,
                uint rows, uint w, uint h, uint srcStride, uint dstStride, uint dstWidth, bool nearest)
{
    const int y = get_global_id(0);
    int first = -1, last = -1;
    for (int x = 0; x < (int)dstWidth; ++x)
        if (clippedPixel(src, dst, t, rows, w, h, srcStride, dstStride, x, y, nearest)) {
            if (first < 0) first = x;
            last = x;
        }
    extent[2 * y] = first < 0 ? dstWidth : (uint)first;
    extent[2 * y + 1] = first < 0 ? 0 : (uint)last;
}

__kernel void affineClipBL_i_border(__global const uchar* src, __global uchar* dst, __global const int* t,
                                    __global uint* extent, uint rows, uint srcWidth, uint srcHeight, uint srcStride,
                                    uint dstStride, uint dstWidth)
{
    clippedRow(src, dst, t, extent, rows, srcWidth, srcHeight, srcStride, dstStride, dstWidth, false);
}

__kernel void affineClipNN_i_border(__global const uchar* src, __global uchar* dst, __global const int* t,
                                    __global uint* extent, uint rows, uint srcWidth, uint srcHeight, uint srcStride,
                                    uint dstStride, uint dstWidth)
{
    clippedRow(src, dst, t, extent, rows, srcWidth, srcHeight, srcStride, dstStride, dstWidth, true);
}

// Bilinear with the edge pixels repeated outside: every pixel written.
uchar replicatedAt(__global const uchar* src, uint stride, uint w, uint h, int2 p)
{
    const int2 s = wholePart(p);
    const int x0 = clamp(s.x, 0, (int)w - 1), x1 = clamp(s.x + 1, 0, (int)w - 1);
    const int y0 = clamp(s.y, 0, (int)h - 1), y1 = clamp(s.y + 1, 0, (int)h - 1);
    return blend(src[y0 * stride + x0], src[y0 * stride + x1], src[y1 * stride + x0], src[y1 * stride + x1], p.x & 31,
                 p.y & 31);
}

__kernel void TransformAffineu8(__global const uchar* src, __global uchar* dst, __global const int* t, uint rows,
                                uint srcWidth, uint srcHeight, uint srcStride, uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    dst[y * dstStride + x] = replicatedAt(src, srcStride, srcWidth, srcHeight, affinePoint(t, rows, x, y, 16, 5));
}

// Patch p's terms are 32 ints at 32 p: eight column pairs, then eight row pairs.
__kernel void TransformAffine8x8u8(__global const uchar* src, __global uchar* patches, __global const int* t,
                                   uint srcWidth, uint srcHeight, uint srcStride)
{
    const int i = get_global_id(0), p = get_global_id(1);
    const int2 at = affinePoint(t + 32 * p, 16, i % 8, i / 8, 16, 5);
    patches[64 * p + i] = replicatedAt(src, srcStride, srcWidth, srcHeight, at);
}

// Area means: per output, K taps per axis (source index, overlap weight) from the tables,
// columns at 0, rows at `rows`; the sum over the product of the totals, rounded half up.
__kernel void vskGpuScaleDownMNu8(__global const uchar* src, __global uchar* dst, __global const int* t, uint rows,
                                  uint Kx, uint Ky, uint total, uint srcStride, uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    ulong sum = 0;
    for (uint i = 0; i < Ky; ++i) {
        const int2 ty = (int2)(t[rows + 2 * (y * Ky + i)], t[rows + 2 * (y * Ky + i) + 1]);
        ulong line = 0;
        for (uint j = 0; j < Kx; ++j) {
            const int2 tx = (int2)(t[2 * (x * Kx + j)], t[2 * (x * Kx + j) + 1]);
            line += (ulong)tx.y * src[ty.x * srcStride + tx.x];
        }
        sum += (ulong)ty.y * line;
    }
    dst[y * dstStride + x] = (uchar)((2 * sum + total) / (2 * (ulong)total));
}

__kernel void ScaleDownBy4u8(__global const uchar* src, __global uchar* dst, uint srcStride, uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    uint sum = 0;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) sum += src[(4 * y + r) * srcStride + 4 * x + c];
    dst[y * dstStride + x] = (uchar)(sum >> 4);
}

// Source index of the doubling's taps: -1 reads 1, n reads n - 1.
int upIndex(int i, int n)
{
    return i < 0 ? min(1, n - 1) : min(i, n - 1);
}

// Even outputs weigh source j - 1, j, j + 1 as 1 6 1; odd ones j, j + 1 as 4 4.
int upTaps(int out, int n, int* idx)
{
    const int j = out / 2;
    idx[0] = upIndex(j - 1, n), idx[1] = upIndex(j, n), idx[2] = upIndex(j + 1, n);
    return out % 2;
}

__kernel void ScaleUpBy2Gaussianu8(__global const uchar* src, __global uchar* dst, uint srcWidth, uint srcHeight,
                                   uint srcStride, uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    int cx[3], cy[3];
    const int ox = upTaps(x, srcWidth, cx), oy = upTaps(y, srcHeight, cy);
    const int even[3] = {1, 6, 1}, odd[3] = {0, 4, 4};
    int sum = 0;
    for (int i = 0; i < 3; ++i) {
        int line = 0;
        for (int j = 0; j < 3; ++j) line += (ox ? odd[j] : even[j]) * src[cy[i] * srcStride + cx[j]];
        sum += (oy ? odd[i] : even[i]) * line;
    }
    dst[y * dstStride + x] = (uchar)((sum + 32) >> 6);
}

// Nearest remap of RGBA pixels: positions rounded half to even, NaN and far positions outside.
__kernel void remapRGBA8888NNu8(__global const uchar* src, __global uchar* dst, __global const float* mapX,
                                __global const float* mapY, uint srcWidth, uint srcHeight, uint srcStride,
                                uint dstStride, uint mapStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    const float fx = ((__global const float*)((__global const uchar*)mapX + y * mapStride))[x];
    const float fy = ((__global const float*)((__global const uchar*)mapY + y * mapStride))[x];
    if (isnan(fx) || isnan(fy)) return;
    const int sx = (int)clamp(rint(fx), -32768.0f, 32767.0f), sy = (int)clamp(rint(fy), -32768.0f, 32767.0f);
    if ((uint)sx >= srcWidth || (uint)sy >= srcHeight) return;
    for (int c = 0; c < 4; ++c) dst[y * dstStride + 4 * x + c] = src[sy * srcStride + 4 * sx + c];
}
