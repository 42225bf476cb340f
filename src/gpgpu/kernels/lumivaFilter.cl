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
