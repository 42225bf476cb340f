// Reference forms of the element-wise arithmetic family: walks over rows that apply an
// element rule (lumivaArithmOps.h) to every element. The exported forms themselves are
// generated from the descriptions, one call of a walk with the member's rule each. Their
// results are the definition that every other form reproduces.
#include "core/lumivaImage.h"
#include "cpu/lumivaArithmOps.h"
#include "lumivaKernels.h"

namespace ilmv {
namespace arithmC {

// dst = rule(src1, src2) over an image.
template <class A, class B, class D, class Rule>
void binary(const A* src1, uint32_t s1, const B* src2, uint32_t s2, D* dst, uint32_t sd, uint32_t width,
            uint32_t height, Rule rule)
{
    ilmvForEachRow(width, height, [&](size_t n, const A* a, const B* b, D* d) {
        for (size_t i = 0; i < n; ++i) d[i] = rule(a[i], b[i]);
    }, ilmvPlane(src1, s1), ilmvPlane(src2, s2), ilmvPlane(dst, sd));
}

// dst = rule(src1, src2, mask, x) over an image with an optional byte mask.
template <class T, class Rule>
void maskedBinary(const T* src1, uint32_t s1, const T* src2, uint32_t s2, const uint8_t* mask, uint32_t sm, T* dst,
                  uint32_t sd, uint32_t width, uint32_t height, Rule rule)
{
    ilmvForEachRow(width, height, [&](size_t n, const T* a, const T* b, const uint8_t* m, T* d) {
        for (size_t i = 0; i < n; ++i) d[i] = rule(a[i], b[i], m, i);
    }, ilmvPlane(src1, s1), ilmvPlane(src2, s2), ilmvPlane(mask, sm), ilmvPlane(dst, sd));
}

// dst = rule(src) over an image.
template <class A, class D, class Rule>
void unary(const A* src, uint32_t ss, D* dst, uint32_t sd, uint32_t width, uint32_t height, Rule rule)
{
    ilmvForEachRow(width, height, [&](size_t n, const A* a, D* d) {
        for (size_t i = 0; i < n; ++i) d[i] = rule(a[i]);
    }, ilmvPlane(src, ss), ilmvPlane(dst, sd));
}

// dst = |src - values[channel]| over an image of N interleaved channels.
template <class T, size_t N>
void absDiffChannels(const T* src, uint32_t ss, const T (&values)[N], T* dst, uint32_t sd, uint32_t width,
                     uint32_t height)
{
    ilmvForEachRow(width, height, [&](size_t n, const T* a, T* d) {
        for (size_t i = 0; i < n * N; ++i) d[i] = absDiff(a[i], values[i % N]);
    }, ilmvPlane(src, ss, N), ilmvPlane(dst, sd, N));
}

// Writes values[channel] into every pixel, or only where the mask byte is non-zero.
template <class T, size_t N>
void fill(T* img, uint32_t stride, const T (&values)[N], const uint8_t* mask, uint32_t maskStride, uint32_t width,
          uint32_t height)
{
    if (stride == 0) stride = static_cast<uint32_t>(width * N * sizeof(T));
    if (maskStride == 0) maskStride = width;
    ilmvForEachRow(width, height, [&](size_t n, T* d, const uint8_t* m) {
        for (size_t x = 0; x < n; ++x)
            if (!m || m[x])
                for (size_t c = 0; c < N; ++c) d[x * N + c] = values[c];
    }, ilmvPlane(img, stride, N), ilmvPlane(mask, maskStride));
}

// The sum of all elements in Total, over the pixel count.
template <class Total, class T>
float32_t mean(const T* src, uint32_t stride, uint32_t width, uint32_t height)
{
    Total total = 0;
    ilmvForEachRow(width, height, [&](size_t n, const T* s) {
        for (size_t i = 0; i < n; ++i) total += static_cast<Total>(s[i]);
    }, ilmvPlane(src, stride));
    return meanOf(total, width, height);
}

}  // namespace arithmC
}  // namespace ilmv

#include "lumivaArithmFormsC.inc"
