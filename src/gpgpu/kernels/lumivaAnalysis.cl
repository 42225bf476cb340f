// Analysis kernels: the integral image as a row scan then a column scan, the histogram as
// per-band partial histograms then their sum, intensity statistics as per-row sums then
// their total, and the bounding rectangle as per-chunk extremes then theirs. Every sum is
// integer, so the results equal the CPU's.

// Item y: row y of the integral (row 0 zero), each row the running sums of source row y - 1.
__kernel void integrateScanRows(__global const uchar* src, __global uint* dst, uint width, uint srcStride,
                                uint dstStride)
{
    const uint y = get_global_id(0);
    __global uint* out = (__global uint*)((__global uchar*)dst + y * dstStride);
    uint run = 0;
    out[0] = 0;
    for (uint x = 0; x < width; ++x) {
        if (y) run += src[(y - 1) * srcStride + x];
        out[x + 1] = run;
    }
}

// Item x: column x of the integral summed downwards.
__kernel void integrateScanCols(__global uint* dst, uint height, uint dstStride)
{
    const uint x = get_global_id(0);
    uint run = 0;
    for (uint y = 1; y <= height; ++y) {
        __global uint* v = (__global uint*)((__global uchar*)dst + y * dstStride) + x;
        run += *v;
        *v = run;
    }
}

// Item b counts rows b, b + bands, ... into its own 256 bins.
__kernel void HistPartialStep1(__global const uchar* src, __global uint* partial, uint width, uint height,
                               uint stride, uint bands)
{
    const uint b = get_global_id(0);
    __global uint* bins = partial + 256 * b;
    for (uint v = 0; v < 256; ++v) bins[v] = 0;
    for (uint y = b; y < height; y += bands)
        for (uint x = 0; x < width; ++x) ++bins[src[y * stride + x]];
}

// Item v sums bin v over the bands.
__kernel void HistPartialStep2(__global const uint* partial, __global uint* hist, uint bands)
{
    const uint v = get_global_id(0);
    uint total = 0;
    for (uint b = 0; b < bands; ++b) total += partial[256 * b + v];
    hist[v] = total;
}

// Item r: the sum and the sum of squares of rectangle row r.
__kernel void ImageIntensityStatsPartial(__global const uchar* src, __global ulong* sums, uint x0, uint y0,
                                         uint width, uint stride)
{
    const uint r = get_global_id(0);
    __global const uchar* row = src + (y0 + r) * stride + x0;
    ulong s = 0, q = 0;
    for (uint x = 0; x < width; ++x) {
        const uint v = row[x];
        s += v;
        q += v * v;
    }
    sums[2 * r + 2] = s;
    sums[2 * r + 3] = q;
}

// One item: the rows' totals into sums[0] and sums[1].
__kernel void ImageIntensityStatsReduce(__global ulong* sums, uint rows)
{
    ulong s = 0, q = 0;
    for (uint r = 0; r < rows; ++r) {
        s += sums[2 * r + 2];
        q += sums[2 * r + 3];
    }
    sums[0] = s;
    sums[1] = q;
}

// Item c: the extremes of points c * chunk up to (c + 1) * chunk.
__kernel void BoundingRectanglePartial(__global const uint* xy, __global uint* boxes, uint count, uint chunk)
{
    const uint c = get_global_id(0);
    const uint first = c * chunk, last = min(count, first + chunk);
    uint4 box = (uint4)(xy[2 * first], xy[2 * first + 1], xy[2 * first], xy[2 * first + 1]);
    for (uint i = first + 1; i < last; ++i) {
        box.x = min(box.x, xy[2 * i]);
        box.y = min(box.y, xy[2 * i + 1]);
        box.z = max(box.z, xy[2 * i]);
        box.w = max(box.w, xy[2 * i + 1]);
    }
    vstore4(box, c + 1, boxes);
}

// One item: the chunks' extremes into boxes[0..3].
__kernel void BoundingRectangleReduce(__global uint* boxes, uint chunks)
{
    uint4 box = vload4(1, boxes);
    for (uint c = 1; c < chunks; ++c) {
        const uint4 b = vload4(c + 1, boxes);
        box = (uint4)(min(box.x, b.x), min(box.y, b.y), max(box.z, b.z), max(box.w, b.w));
    }
    vstore4(box, 0, boxes);
}
