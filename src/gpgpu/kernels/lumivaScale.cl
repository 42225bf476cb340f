// Gaussian 5x5 [1 4 6 4 1] decimation by two: one work item per output pixel, centred on
// source (2x, 2y), edge pixels repeated beyond the image; the sum plus 128 shifted right by 8.

// The taps over five pixels `step` apart.
int taps5(__global const uchar* p, uint step)
{
    return p[0] + 4 * p[step] + 6 * p[2 * step] + 4 * p[3 * step] + p[4 * step];
}

__kernel void ScaleDownBy2Gaussianu8(__global const uchar* src, __global uchar* dst, uint width, uint height,
                                     uint srcStride, uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    const int w = width, h = height;
    int sum = 0;
    if (2 * x >= 2 && 2 * y >= 2 && 2 * x + 2 < w && 2 * y + 2 < h) {
        // Inside the image: five rows of five taps, no clamping.
        __global const uchar* top = src + (2 * y - 2) * srcStride + 2 * x - 2;
        sum = taps5(top, 1) + 4 * taps5(top + srcStride, 1) + 6 * taps5(top + 2 * srcStride, 1) +
              4 * taps5(top + 3 * srcStride, 1) + taps5(top + 4 * srcStride, 1);
    } else {
        const int weights[5] = {1, 4, 6, 4, 1};
        for (int k = 0; k < 5; ++k) {
            const int row = clamp(2 * y + k - 2, 0, h - 1);
            int line = 0;
            for (int j = 0; j < 5; ++j) line += weights[j] * src[row * srcStride + clamp(2 * x + j - 2, 0, w - 1)];
            sum += weights[k] * line;
        }
    }
    dst[y * dstStride + x] = (uchar)((sum + 128) >> 8);
}
