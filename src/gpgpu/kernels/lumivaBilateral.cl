// The 5x5 bilateral filter of the first generation (sigmaColor 50, sigmaSpace 2.5), one work
// item per pixel, with the reference's integer weight tables: round(256 exp(-r^2 / 2 sigma^2))
// for the spatial and the range part, the window repeating the edge pixels.
__constant uint kSpatial5[25] = {
    135, 172, 186, 172, 135,
    172, 218, 236, 218, 172,
    186, 236, 256, 236, 186,
    172, 218, 236, 218, 172,
    135, 172, 186, 172, 135};

__constant uint kRange[256] = {
    256, 256, 256, 256, 255, 255, 254, 254, 253, 252, 251, 250, 249, 247, 246, 245,
    243, 242, 240, 238, 236, 234, 232, 230, 228, 226, 224, 221, 219, 216, 214, 211,
    209, 206, 203, 200, 198, 195, 192, 189, 186, 183, 180, 177, 174, 171, 168, 165,
    161, 158, 155, 152, 149, 146, 143, 140, 137, 134, 131, 128, 125, 122, 119, 116,
    113, 110, 107, 104, 102, 99, 96, 93, 91, 88, 86, 83, 81, 78, 76, 73,
    71, 69, 67, 65, 62, 60, 58, 56, 54, 53, 51, 49, 47, 45, 44, 42,
    41, 39, 38, 36, 35, 33, 32, 31, 29, 28, 27, 26, 25, 24, 23, 22,
    21, 20, 19, 18, 17, 17, 16, 15, 14, 14, 13, 12, 12, 11, 11, 10,
    10, 9, 9, 8, 8, 7, 7, 7, 6, 6, 6, 5, 5, 5, 5, 4,
    4, 4, 4, 3, 3, 3, 3, 3, 3, 2, 2, 2, 2, 2, 2, 2,
    2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
    1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

__kernel void BilateralFilter5x5u8(__global const uchar* src, __global uchar* dst, uint width, uint height,
                                   uint srcStride, uint dstStride)
{
    const int x = get_global_id(0), y = get_global_id(1), w = width, h = height;
    const int centre = src[y * srcStride + x];
    uint weights = 0, sum = 0;
    for (int j = 0; j < 5; ++j)
        for (int i = 0; i < 5; ++i) {
            const int p = src[clamp(y + j - 2, 0, h - 1) * srcStride + clamp(x + i - 2, 0, w - 1)];
            const uint weight = kSpatial5[j * 5 + i] * kRange[abs(p - centre)];
            weights += weight;
            sum += weight * (uint)p;
        }
    dst[y * dstStride + x] = (uchar)((sum + weights / 2) / weights);
}
