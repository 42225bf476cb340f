// Element-wise arithmetic: one work item per element; strides in bytes, rows stepped in
// whole elements.
__kernel void ImageDiffs16(__global const short* src1, __global const short* src2, __global short* dst, uint width,
                           uint height, uint srcStride, uint dstStride)
{
    const uint x = get_global_id(0), y = get_global_id(1);
    const int d = src1[y * (srcStride / 2) + x] - src2[y * (srcStride / 2) + x];
    dst[y * (dstStride / 2) + x] = (short)clamp(d, -32768, 32767);
}
