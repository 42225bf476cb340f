// Gaussian 5x5 [1 4 6 4 1] decimation by two: one work item per output pixel, centred on
// source (2x, 2y), edge pixels repeated beyond the image; the sum plus 128 shifted right by 8.
__kernel void ScaleDownBy2Gaussianu8(__global const uchar* src, __global uchar* dst, uint width, uint height,
                                     uint srcStride, uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    const int taps[5] = {1, 4, 6, 4, 1};
    int sum = 0;
    for (int k = 0; k < 5; ++k) {
        const int row = clamp(2 * y + k - 2, 0, (int)height - 1);
        int line = 0;
        for (int j = 0; j < 5; ++j) line += taps[j] * src[row * srcStride + clamp(2 * x + j - 2, 0, (int)width - 1)];
        sum += taps[k] * line;
    }
    dst[y * dstStride + x] = (uchar)((sum + 128) >> 8);
}
