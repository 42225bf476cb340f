// Nearest-neighbour perspective warps. The projection is taken in double precision, as the
// reference takes it, so positions round alike; a device without double precision fails to
// build this program and its calls run on the CPU.
#pragma OPENCL EXTENSION cl_khr_fp64 : enable
#pragma OPENCL FP_CONTRACT OFF

// Source pixel of destination (x, y): the sums restart every `block` columns.
int2 projected(__global const double* m, int x, int y, uint block)
{
    const int b = x - x % (int)block, k = x - b;
    const double X0 = m[0] * b + m[1] * y + m[2], Y0 = m[3] * b + m[4] * y + m[5], W0 = m[6] * b + m[7] * y + m[8];
    double W = W0 + m[6] * k;
    W = W != 0 ? (double)1 / W : 0;
    const double lo = -2147483648.0, hi = 2147483647.0;
    const double fX = fmax(lo, fmin(hi, (X0 + m[0] * k) * W)), fY = fmax(lo, fmin(hi, (Y0 + m[3] * k) * W));
    return (int2)((int)clamp(rint(fX), -32768.0, 32767.0), (int)clamp(rint(fY), -32768.0, 32767.0));
}

void warpPixel(__global const uchar* src, __global uchar* dst, __global const double* m, uint srcWidth, uint srcHeight,
               uint srcStride, uint dstStride, uint block, int bpp)
{
    const int x = get_global_id(0), y = get_global_id(1);
    const int2 s = projected(m, x, y, block);
    if ((uint)s.x >= srcWidth || (uint)s.y >= srcHeight) return;
    for (int c = 0; c < bpp; ++c) dst[y * dstStride + bpp * x + c] = src[s.y * srcStride + bpp * s.x + c];
}

__kernel void WarpPerspectiveu8(__global const uchar* src, __global uchar* dst, __global const double* m, uint srcWidth,
                                uint srcHeight, uint srcStride, uint dstStride, uint block)
{
    warpPixel(src, dst, m, srcWidth, srcHeight, srcStride, dstStride, block, 1);
}

__kernel void WarpPerspective3Channel(__global const uchar* src, __global uchar* dst, __global const double* m,
                                      uint srcWidth, uint srcHeight, uint srcStride, uint dstStride, uint block)
{
    warpPixel(src, dst, m, srcWidth, srcHeight, srcStride, dstStride, block, 3);
}
