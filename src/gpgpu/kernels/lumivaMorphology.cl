// Morphology and medians, one work item per pixel. Erosion and dilation take the 3x3 window
// restricted to the image; the median leaves its one-pixel frame as the source has it.

uchar windowExtreme(__global const uchar* src, uint srcStride, int w, int h, int x, int y, bool maximum)
{
    uchar best = src[y * srcStride + x];
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            const int yy = y + dy, xx = x + dx;
            if (yy < 0 || xx < 0 || yy >= h || xx >= w) continue;
            const uchar v = src[yy * srcStride + xx];
            best = maximum ? max(best, v) : min(best, v);
        }
    return best;
}

__kernel void FilterErode3x3u8C(__global const uchar* src, __global uchar* dst, uint width, uint height, uint srcStride,
                   uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    dst[y * dstStride + x] = windowExtreme(src, srcStride, width, height, x, y, false);
}

__kernel void FilterErode3x3u8C_small(__global const uchar* src, __global uchar* dst, uint width, uint height, uint srcStride,
                   uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    dst[y * dstStride + x] = windowExtreme(src, srcStride, width, height, x, y, false);
}

__kernel void DilateFilter(__global const uchar* src, __global uchar* dst, uint width, uint height, uint srcStride,
                   uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    dst[y * dstStride + x] = windowExtreme(src, srcStride, width, height, x, y, true);
}

#define SORT2(a, b)                                                                                                   \
    {                                                                                                                 \
        const uchar lo = min(a, b);                                                                                   \
        b = max(a, b);                                                                                                \
        a = lo;                                                                                                       \
    }

__kernel void FilterMedian3x3u8(__global const uchar* src, __global uchar* dst, uint width, uint height,
                                uint srcStride, uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1);
    if (x < 1 || y < 1 || x + 1 >= (int)width || y + 1 >= (int)height) {
        dst[y * dstStride + x] = src[y * srcStride + x];
        return;
    }
    uchar p[9];
    for (int t = 0; t < 9; ++t) p[t] = src[(y - 1 + t / 3) * srcStride + x - 1 + t % 3];
    // The classic 19-exchange network: p[4] ends as the median.
    SORT2(p[1], p[2]); SORT2(p[4], p[5]); SORT2(p[7], p[8]); SORT2(p[0], p[1]); SORT2(p[3], p[4]);
    SORT2(p[6], p[7]); SORT2(p[1], p[2]); SORT2(p[4], p[5]); SORT2(p[7], p[8]); SORT2(p[0], p[3]);
    SORT2(p[5], p[8]); SORT2(p[4], p[7]); SORT2(p[3], p[6]); SORT2(p[1], p[4]); SORT2(p[2], p[5]);
    SORT2(p[4], p[7]); SORT2(p[4], p[2]); SORT2(p[6], p[4]); SORT2(p[4], p[2]);
    dst[y * dstStride + x] = p[4];
}
