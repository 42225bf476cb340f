// Image planes and the row walk shared by the reference and SIMD kernels.
#ifndef LUMIVA_IMAGE_H
#define LUMIVA_IMAGE_H

#include <cstddef>
#include <cstdint>

// One image seen as rows of elements: `stride` and `pixel` count elements, not bytes.
template <class T>
struct ILMV_PLANE {
    T* data;
    size_t stride;
    size_t pixel;  // elements per pixel: 1, or 3 and 4 for interleaved channels
};

// Byte strides become element strides, rounded down, so a stride that is not a
// multiple of the element size behaves as the next smaller one.
template <class T>
inline ILMV_PLANE<T> ilmvPlane(T* data, uint32_t strideBytes, size_t channels = 1)
{
    return {data, strideBytes / sizeof(T), channels};
}

template <class T>
inline bool ilmvIsPacked(const ILMV_PLANE<T>& plane, size_t width)
{
    return !plane.data || plane.stride == width * plane.pixel;
}

template <class T>
inline T* ilmvRow(const ILMV_PLANE<T>& plane, size_t y)
{
    return plane.data ? plane.data + y * plane.stride : nullptr;
}

// Calls rowFn(pixels, row pointers...) for each row; when every plane is tightly packed
// the image is one run of width * height pixels, so no per-row cost is paid. A null
// plane (an absent mask) stays null in every call.
template <class RowFn, class... T>
void ilmvForEachRow(size_t width, size_t height, RowFn rowFn, ILMV_PLANE<T>... planes)
{
    if ((ilmvIsPacked(planes, width) && ...)) {
        rowFn(width * height, planes.data...);
        return;
    }
    for (size_t y = 0; y < height; ++y) rowFn(width, ilmvRow(planes, y)...);
}

#endif
