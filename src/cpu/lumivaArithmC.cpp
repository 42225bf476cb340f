// Reference forms of the element-wise arithmetic family: a walk over rows and a rule
// per element. Their results are the definition that every other form reproduces.
#include "core/lumivaImage.h"
#include "cpu/lumivaArithmOps.h"
#include "lumivaKernels.h"

using namespace ilmv;

namespace {

// dst = rule(src1, src2) over an image.
template <class A, class B, class D, class Rule>
void binary(const A* src1, uint32_t s1, const B* src2, uint32_t s2, D* dst, uint32_t sd, uint32_t width,
            uint32_t height, Rule rule)
{
    ilmvForEachRow(width, height, [&](size_t n, const A* a, const B* b, D* d) {
        for (size_t i = 0; i < n; ++i) d[i] = rule(a[i], b[i]);
    }, ilmvPlane(src1, s1), ilmvPlane(src2, s2), ilmvPlane(dst, sd));
}

// dst = rule(src, channel) over an image of `channels` interleaved channels.
template <class A, class D, class Rule>
void unary(const A* src, uint32_t ss, D* dst, uint32_t sd, uint32_t width, uint32_t height, size_t channels,
           Rule rule)
{
    ilmvForEachRow(width, height, [&](size_t n, const A* a, D* d) {
        for (size_t i = 0; i < n * channels; ++i) d[i] = rule(a[i], i % channels);
    }, ilmvPlane(src, ss, channels), ilmvPlane(dst, sd, channels));
}

template <class T>
void absDiffV(const T* src, uint32_t w, uint32_t h, uint32_t ss, const T* values, size_t ch, T* dst, uint32_t sd)
{
    unary(src, ss, dst, sd, w, h, ch, [&](T a, size_t c) { return absDiff(a, values[c]); });
}

// Writes values[channel] into every pixel, or only where the mask byte is non-zero.
template <class T>
void fill(T* img, uint32_t w, uint32_t h, uint32_t stride, const T* values, size_t ch, const uint8_t* mask,
          uint32_t maskStride)
{
    if (stride == 0) stride = static_cast<uint32_t>(w * ch * sizeof(T));
    if (maskStride == 0) maskStride = w;
    ilmvForEachRow(w, h, [&](size_t n, T* d, const uint8_t* m) {
        for (size_t x = 0; x < n; ++x)
            if (!m || m[x])
                for (size_t c = 0; c < ch; ++c) d[x * ch + c] = values[c];
    }, ilmvPlane(img, stride, ch), ilmvPlane(mask, maskStride));
}

template <class T>
void bitwiseOr(const T* src1, uint32_t w, uint32_t h, uint32_t s1, const T* src2, uint32_t s2, const uint8_t* mask,
               uint32_t sm, T* dst, uint32_t sd)
{
    ilmvForEachRow(w, h, [&](size_t n, const T* a, const T* b, const uint8_t* m, T* d) {
        for (size_t i = 0; i < n; ++i) d[i] = (!m || m[i]) ? (a[i] | b[i]) : 0;
    }, ilmvPlane(src1, s1), ilmvPlane(src2, s2), ilmvPlane(mask, sm), ilmvPlane(dst, sd));
}

template <class Total, class T>
float32_t mean(const T* src, uint32_t w, uint32_t h, uint32_t stride)
{
    Total total = 0;
    ilmvForEachRow(w, h, [&](size_t n, const T* s) {
        for (size_t i = 0; i < n; ++i) total += static_cast<Total>(s[i]);
    }, ilmvPlane(src, stride));
    return meanOf(total, w, h);
}

}  // namespace

extern "C" {

LMV_EXPORT void lmvAbsDiffu8C(const uint8_t* src1, const uint8_t* src2, uint32_t w, uint32_t h, uint32_t ss,
                              uint8_t* dst, uint32_t sd)
{
    binary(src1, ss, src2, ss, dst, sd, w, h, [](uint8_t a, uint8_t b) { return absDiff(a, b); });
}

LMV_EXPORT void lmvAbsDiffs32C(const int32_t* src1, const int32_t* src2, uint32_t w, uint32_t h, uint32_t ss,
                               int32_t* dst, uint32_t sd)
{
    binary(src1, ss, src2, ss, dst, sd, w, h, [](int32_t a, int32_t b) { return absDiff(a, b); });
}

LMV_EXPORT void lmvAbsDifff32C(const float32_t* src1, const float32_t* src2, uint32_t w, uint32_t h, uint32_t ss,
                               float32_t* dst, uint32_t sd)
{
    binary(src1, ss, src2, ss, dst, sd, w, h, [](float32_t a, float32_t b) { return absDiff(a, b); });
}

LMV_EXPORT void lmvAbsDiffVu8C(const uint8_t* src, uint32_t w, uint32_t h, uint32_t ss, uint8_t v, uint8_t* dst,
                               uint32_t sd)
{
    absDiffV(src, w, h, ss, &v, 1, dst, sd);
}

LMV_EXPORT void lmvAbsDiffVs32C(const int32_t* src, uint32_t w, uint32_t h, uint32_t ss, int32_t v, int32_t* dst,
                                uint32_t sd)
{
    absDiffV(src, w, h, ss, &v, 1, dst, sd);
}

LMV_EXPORT void lmvAbsDiffVf32C(const float32_t* src, uint32_t w, uint32_t h, uint32_t ss, float32_t v,
                                float32_t* dst, uint32_t sd)
{
    absDiffV(src, w, h, ss, &v, 1, dst, sd);
}

LMV_EXPORT void lmvAbsDiffVc4u8C(const uint8_t* src, uint32_t w, uint32_t h, uint32_t ss, uint8_t v1, uint8_t v2,
                                 uint8_t v3, uint8_t v4, uint8_t* dst, uint32_t sd)
{
    const uint8_t values[] = {v1, v2, v3, v4};
    absDiffV(src, w, h, ss, values, 4, dst, sd);
}

LMV_EXPORT void lmvAbsDiffVc4s32C(const int32_t* src, uint32_t w, uint32_t h, uint32_t ss, int32_t v1, int32_t v2,
                                  int32_t v3, int32_t v4, int32_t* dst, uint32_t sd)
{
    const int32_t values[] = {v1, v2, v3, v4};
    absDiffV(src, w, h, ss, values, 4, dst, sd);
}

LMV_EXPORT void lmvAbsDiffVc4f32C(const float32_t* src, uint32_t w, uint32_t h, uint32_t ss, float32_t v1,
                                  float32_t v2, float32_t v3, float32_t v4, float32_t* dst, uint32_t sd)
{
    const float32_t values[] = {v1, v2, v3, v4};
    absDiffV(src, w, h, ss, values, 4, dst, sd);
}

LMV_EXPORT void lmvAbsDiffVc3u8C(const uint8_t* src, uint32_t w, uint32_t h, uint32_t ss, uint8_t v1, uint8_t v2,
                                 uint8_t v3, uint8_t* dst, uint32_t sd)
{
    const uint8_t values[] = {v1, v2, v3};
    absDiffV(src, w, h, ss, values, 3, dst, sd);
}

LMV_EXPORT void lmvAbsDiffVc3s32C(const int32_t* src, uint32_t w, uint32_t h, uint32_t ss, int32_t v1, int32_t v2,
                                  int32_t v3, int32_t* dst, uint32_t sd)
{
    const int32_t values[] = {v1, v2, v3};
    absDiffV(src, w, h, ss, values, 3, dst, sd);
}

LMV_EXPORT void lmvAbsDiffVc3f32C(const float32_t* src, uint32_t w, uint32_t h, uint32_t ss, float32_t v1,
                                  float32_t v2, float32_t v3, float32_t* dst, uint32_t sd)
{
    const float32_t values[] = {v1, v2, v3};
    absDiffV(src, w, h, ss, values, 3, dst, sd);
}

LMV_EXPORT LMV_STATUS lmvAddu8C(const uint8_t* src1, uint32_t w, uint32_t h, uint32_t s1, const uint8_t* src2,
                                uint32_t s2, LMV_OVERFLOW_POLICY policy, uint8_t* dst, uint32_t sd)
{
    if (!isPolicy(policy)) return LUMIVA_BAD_PARAMS;
    binary(src1, s1, src2, s2, dst, sd, w, h, [=](uint8_t a, uint8_t b) { return applyPolicy<uint8_t>(a + b, policy); });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvAdds16_v2C(const int16_t* src1, uint32_t w, uint32_t h, uint32_t s1, const int16_t* src2,
                                    uint32_t s2, LMV_OVERFLOW_POLICY policy, int16_t* dst, uint32_t sd)
{
    if (!isPolicy(policy)) return LUMIVA_BAD_PARAMS;
    binary(src1, s1, src2, s2, dst, sd, w, h, [=](int16_t a, int16_t b) { return applyPolicy<int16_t>(a + b, policy); });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvAddu16u8u16C(const uint16_t* src1, uint32_t w, uint32_t h, uint32_t s1,
                                      const uint8_t* src2, uint32_t s2, LMV_OVERFLOW_POLICY policy, uint16_t* dst,
                                      uint32_t sd)
{
    if (!isPolicy(policy)) return LUMIVA_BAD_PARAMS;
    binary(src1, s1, src2, s2, dst, sd, w, h,
           [=](uint16_t a, uint8_t b) { return applyPolicy<uint16_t>(a + b, policy); });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT void lmvAddu8u16C(const uint8_t* src1, uint32_t w, uint32_t h, uint32_t s1, const uint8_t* src2,
                             uint32_t s2, uint16_t* dst, uint32_t sd)
{
    binary(src1, s1, src2, s2, dst, sd, w, h, [](uint8_t a, uint8_t b) { return static_cast<uint16_t>(a + b); });
}

LMV_EXPORT void lmvAdds16C(const int16_t* src1, uint32_t w, uint32_t h, uint32_t s1, const int16_t* src2,
                           uint32_t s2, int16_t* dst, uint32_t sd)
{
    binary(src1, s1, src2, s2, dst, sd, w, h, [](int16_t a, int16_t b) { return saturate<int16_t>(a + b); });
}

LMV_EXPORT void lmvAddf32C(const float32_t* src1, uint32_t w, uint32_t h, uint32_t s1, const float32_t* src2,
                           uint32_t s2, float32_t* dst, uint32_t sd)
{
    binary(src1, s1, src2, s2, dst, sd, w, h, [](float32_t a, float32_t b) { return a + b; });
}

LMV_EXPORT LMV_STATUS lmvSubtractu8C(const uint8_t* src1, uint32_t w, uint32_t h, uint32_t s1, const uint8_t* src2,
                                     uint32_t s2, LMV_OVERFLOW_POLICY policy, uint8_t* dst, uint32_t sd)
{
    if (!isPolicy(policy)) return LUMIVA_BAD_PARAMS;
    binary(src1, s1, src2, s2, dst, sd, w, h, [=](uint8_t a, uint8_t b) { return applyPolicy<uint8_t>(a - b, policy); });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvSubtracts16C(const int16_t* src1, uint32_t w, uint32_t h, uint32_t s1, const int16_t* src2,
                                      uint32_t s2, LMV_OVERFLOW_POLICY policy, int16_t* dst, uint32_t sd)
{
    if (!isPolicy(policy)) return LUMIVA_BAD_PARAMS;
    binary(src1, s1, src2, s2, dst, sd, w, h, [=](int16_t a, int16_t b) { return applyPolicy<int16_t>(a - b, policy); });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvSubtractu8s16C(const uint8_t* src1, uint32_t w, uint32_t h, uint32_t s1,
                                        const uint8_t* src2, uint32_t s2, int16_t* dst, uint32_t sd)
{
    binary(src1, s1, src2, s2, dst, sd, w, h, [](uint8_t a, uint8_t b) { return static_cast<int16_t>(a - b); });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvAddWeightedu8C(const uint8_t* src1, uint32_t w, uint32_t h, uint32_t s1,
                                        const uint8_t* src2, uint32_t s2, float32_t alpha, float32_t beta,
                                        uint8_t* dst, uint32_t sd)
{
    const int16_t wa = weightOf(alpha), wb = weightOf(beta);
    binary(src1, s1, src2, s2, dst, sd, w, h, [=](uint8_t a, uint8_t b) { return weighted(a, b, wa, wb); });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvAddSquaredu8u16C(const uint8_t* src1, uint32_t w, uint32_t h, uint32_t s1,
                                          const uint16_t* src2, uint32_t s2, int32_t scale, uint16_t* dst,
                                          uint32_t sd)
{
    const Shift shift = shiftOf(scale);
    binary(src1, s1, src2, s2, dst, sd, w, h, [=](uint8_t a, uint16_t acc) { return addSquared(a, acc, shift); });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvElementMultiplyu8C(const uint8_t* src1, uint32_t w, uint32_t h, uint32_t s1,
                                            const uint8_t* src2, uint32_t s2, int32_t scale,
                                            LMV_OVERFLOW_POLICY policy, uint8_t* dst, uint32_t sd)
{
    if (!isPolicy(policy)) return LUMIVA_BAD_PARAMS;
    const Shift shift = shiftOf(scale);
    binary(src1, s1, src2, s2, dst, sd, w, h, [=](uint8_t a, uint8_t b) {
        return applyPolicy<uint8_t>(scaled(static_cast<uint32_t>(a * b), shift), policy);
    });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvElementMultiplyu8s16C(const uint8_t* src1, uint32_t w, uint32_t h, uint32_t s1,
                                               const uint8_t* src2, uint32_t s2, int32_t scale,
                                               LMV_OVERFLOW_POLICY policy, int16_t* dst, uint32_t sd)
{
    if (!isPolicy(policy)) return LUMIVA_BAD_PARAMS;
    const Shift shift = shiftOf(scale);
    binary(src1, s1, src2, s2, dst, sd, w, h, [=](uint8_t a, uint8_t b) {
        return applyPolicy<int16_t>(scaled(static_cast<uint32_t>(a * b), shift), policy);
    });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvElementMultiplys16C(const int16_t* src1, uint32_t w, uint32_t h, uint32_t s1,
                                             const int16_t* src2, uint32_t s2, int32_t scale,
                                             LMV_OVERFLOW_POLICY policy, int16_t* dst, uint32_t sd)
{
    if (!isPolicy(policy)) return LUMIVA_BAD_PARAMS;
    const Shift shift = shiftOf(scale);
    binary(src1, s1, src2, s2, dst, sd, w, h, [=](int16_t a, int16_t b) {
        return applyPolicy<int16_t>(scaled(static_cast<int32_t>(a * b), shift), policy);
    });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT void lmvElementMultiplyu8u16C(const uint8_t* src1, uint32_t w, uint32_t h, uint32_t s1,
                                         const uint8_t* src2, uint32_t s2, uint16_t* dst, uint32_t sd)
{
    binary(src1, s1, src2, s2, dst, sd, w, h, [](uint8_t a, uint8_t b) { return static_cast<uint16_t>(a * b); });
}

LMV_EXPORT void lmvElementMultiplyf32C(const float32_t* src1, uint32_t w, uint32_t h, uint32_t s1,
                                       const float32_t* src2, uint32_t s2, float32_t* dst, uint32_t sd)
{
    binary(src1, s1, src2, s2, dst, sd, w, h, [](float32_t a, float32_t b) { return a * b; });
}

LMV_EXPORT LMV_STATUS lmvAddScalars16C(const int16_t* src, uint32_t w, uint32_t h, uint32_t ss, int16_t scalar,
                                       int16_t* dst, uint32_t sd)
{
    unary(src, ss, dst, sd, w, h, 1, [=](int16_t a, size_t) { return saturate<int16_t>(a + scalar); });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvAddScalarf32C(const float32_t* src, uint32_t w, uint32_t h, uint32_t ss, float32_t scalar,
                                       float32_t* dst, uint32_t sd)
{
    unary(src, ss, dst, sd, w, h, 1, [=](float32_t a, size_t) { return a + scalar; });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvMultiplyScalars16C(const int16_t* src, uint32_t w, uint32_t h, uint32_t ss,
                                            int16_t scalar, int32_t shift, int16_t* dst, uint32_t sd)
{
    const Shift s = shiftOf(shift);
    unary(src, ss, dst, sd, w, h, 1, [=](int16_t a, size_t) { return saturate<int16_t>(scaled(a * scalar, s)); });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvMultiplyScalarf32C(const float32_t* src, uint32_t w, uint32_t h, uint32_t ss,
                                            float32_t scalar, float32_t* dst, uint32_t sd)
{
    unary(src, ss, dst, sd, w, h, 1, [=](float32_t a, size_t) { return a * scalar; });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvBitwiseAndu8C(const uint8_t* src1, uint32_t w, uint32_t h, uint32_t s1,
                                       const uint8_t* src2, uint32_t s2, uint8_t* dst, uint32_t sd)
{
    binary(src1, s1, src2, s2, dst, sd, w, h, [](uint8_t a, uint8_t b) { return static_cast<uint8_t>(a & b); });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvBitwiseXoru8C(const uint8_t* src1, uint32_t w, uint32_t h, uint32_t s1,
                                       const uint8_t* src2, uint32_t s2, uint8_t* dst, uint32_t sd)
{
    binary(src1, s1, src2, s2, dst, sd, w, h, [](uint8_t a, uint8_t b) { return static_cast<uint8_t>(a ^ b); });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT LMV_STATUS lmvBitwiseNotu8C(const uint8_t* src, uint32_t w, uint32_t h, uint32_t ss, uint8_t* dst,
                                       uint32_t sd)
{
    unary(src, ss, dst, sd, w, h, 1, [](uint8_t a, size_t) { return static_cast<uint8_t>(~a); });
    return LUMIVA_SUCCESS;
}

LMV_EXPORT void lmvBitwiseOru8C(const uint8_t* src1, uint32_t w, uint32_t h, uint32_t s1, const uint8_t* src2,
                                uint32_t s2, const uint8_t* mask, uint32_t sm, uint8_t* dst, uint32_t sd)
{
    bitwiseOr(src1, w, h, s1, src2, s2, mask, sm, dst, sd);
}

LMV_EXPORT void lmvBitwiseOrs32C(const int32_t* src1, uint32_t w, uint32_t h, uint32_t s1, const int32_t* src2,
                                 uint32_t s2, const uint8_t* mask, uint32_t sm, int32_t* dst, uint32_t sd)
{
    bitwiseOr(src1, w, h, s1, src2, s2, mask, sm, dst, sd);
}

LMV_EXPORT void lmvImageDiffu8C(const uint8_t* src1, const uint8_t* src2, uint32_t w, uint32_t h, uint32_t ss,
                                uint8_t* dst, uint32_t sd)
{
    binary(src1, ss, src2, ss, dst, sd, w, h, [](uint8_t a, uint8_t b) { return saturate<uint8_t>(a - b); });
}

LMV_EXPORT void lmvImageDiffs16C(const int16_t* src1, const int16_t* src2, uint32_t w, uint32_t h, uint32_t ss,
                                 int16_t* dst, uint32_t sd)
{
    binary(src1, ss, src2, ss, dst, sd, w, h, [](int16_t a, int16_t b) { return saturate<int16_t>(a - b); });
}

LMV_EXPORT void lmvImageDifff32C(const float32_t* src1, const float32_t* src2, uint32_t w, uint32_t h, uint32_t ss,
                                 float32_t* dst, uint32_t sd)
{
    binary(src1, ss, src2, ss, dst, sd, w, h, [](float32_t a, float32_t b) { return a - b; });
}

LMV_EXPORT void lmvImageDiffu8f32C(const uint8_t* src1, const uint8_t* src2, uint32_t w, uint32_t h, uint32_t ss,
                                   float32_t* dst, uint32_t sd)
{
    binary(src1, ss, src2, ss, dst, sd, w, h,
           [](uint8_t a, uint8_t b) { return static_cast<float32_t>(a) - static_cast<float32_t>(b); });
}

LMV_EXPORT void lmvImageDiffu8s8C(const uint8_t* src1, const uint8_t* src2, uint32_t w, uint32_t h, uint32_t ss,
                                  int8_t* dst, uint32_t sd)
{
    binary(src1, ss, src2, ss, dst, sd, w, h, [](uint8_t a, uint8_t b) { return static_cast<int8_t>((a >> 1) - (b >> 1)); });
}

LMV_EXPORT void lmvAverageu8C(const uint8_t* src, uint32_t w, uint32_t h, uint32_t ss, float32_t* avgValue)
{
    *avgValue = mean<uint32_t>(src, w, h, ss);
}

LMV_EXPORT void lmvAverages32C(const int32_t* src, uint32_t w, uint32_t h, uint32_t ss, float32_t* avgValue)
{
    *avgValue = mean<int64_t>(src, w, h, ss);
}

LMV_EXPORT void lmvSetElementsu8C(uint8_t* img, uint32_t w, uint32_t h, uint32_t stride, uint8_t v,
                                  const uint8_t* mask, uint32_t maskStride)
{
    fill(img, w, h, stride, &v, 1, mask, maskStride);
}

LMV_EXPORT void lmvSetElementss32C(int32_t* img, uint32_t w, uint32_t h, uint32_t stride, int32_t v,
                                   const uint8_t* mask, uint32_t maskStride)
{
    fill(img, w, h, stride, &v, 1, mask, maskStride);
}

LMV_EXPORT void lmvSetElementsf32C(float32_t* img, uint32_t w, uint32_t h, uint32_t stride, float32_t v,
                                   const uint8_t* mask, uint32_t maskStride)
{
    fill(img, w, h, stride, &v, 1, mask, maskStride);
}

LMV_EXPORT void lmvSetElementsc4u8C(uint8_t* img, uint32_t w, uint32_t h, uint32_t stride, uint8_t v1, uint8_t v2,
                                    uint8_t v3, uint8_t v4, const uint8_t* mask, uint32_t maskStride)
{
    const uint8_t values[] = {v1, v2, v3, v4};
    fill(img, w, h, stride, values, 4, mask, maskStride);
}

LMV_EXPORT void lmvSetElementsc4s32C(int32_t* img, uint32_t w, uint32_t h, uint32_t stride, int32_t v1, int32_t v2,
                                     int32_t v3, int32_t v4, const uint8_t* mask, uint32_t maskStride)
{
    const int32_t values[] = {v1, v2, v3, v4};
    fill(img, w, h, stride, values, 4, mask, maskStride);
}

LMV_EXPORT void lmvSetElementsc4f32C(float32_t* img, uint32_t w, uint32_t h, uint32_t stride, float32_t v1,
                                     float32_t v2, float32_t v3, float32_t v4, const uint8_t* mask,
                                     uint32_t maskStride)
{
    const float32_t values[] = {v1, v2, v3, v4};
    fill(img, w, h, stride, values, 4, mask, maskStride);
}

LMV_EXPORT void lmvSetElementsc3u8C(uint8_t* img, uint32_t w, uint32_t h, uint32_t stride, uint8_t v1, uint8_t v2,
                                    uint8_t v3, const uint8_t* mask, uint32_t maskStride)
{
    const uint8_t values[] = {v1, v2, v3};
    fill(img, w, h, stride, values, 3, mask, maskStride);
}

LMV_EXPORT void lmvSetElementsc3s32C(int32_t* img, uint32_t w, uint32_t h, uint32_t stride, int32_t v1, int32_t v2,
                                     int32_t v3, const uint8_t* mask, uint32_t maskStride)
{
    const int32_t values[] = {v1, v2, v3};
    fill(img, w, h, stride, values, 3, mask, maskStride);
}

LMV_EXPORT void lmvSetElementsc3f32C(float32_t* img, uint32_t w, uint32_t h, uint32_t stride, float32_t v1,
                                     float32_t v2, float32_t v3, const uint8_t* mask, uint32_t maskStride)
{
    const float32_t values[] = {v1, v2, v3};
    fill(img, w, h, stride, values, 3, mask, maskStride);
}

}  // extern "C"
