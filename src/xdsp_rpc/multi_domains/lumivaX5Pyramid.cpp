// The remote pyramids, marshalled by hand: the caller's level records hold pointers to the
// level buffers, a structure the flat pointer-and-length rule of the generated marshalling
// cannot carry. Each level travels as a record of five words (buffer, bytes, width, height,
// spare) whose buffer the DSP is told to invalidate before the call; the DSP writes the
// levels and their sizes, which come back into the caller's records.
#include "lumivaKernels.h"
#include "platform/lumivaPlatform.h"
#include "xdsp_rpc/lumivadspStub.h"
#include "xdsp_rpc/multi_domains/lumivaX5Marshal.h"

#include <cstdlib>

namespace {

decltype(&lumivadsp_lmvPyramidCreatef32X) gStubF32;
decltype(&lumivadsp_lmvPyramidCreateu8X) gStubU8;

template <class T, class Stub>
int32_t createRemote(const char* name, Stub stub, lmvPyramidCreatef32_fn simdF32, lmvPyramidCreateu8_fn simdU8,
                     uint64_t handle, const T* src, uint32_t width, uint32_t height, uint32_t numLevels,
                     lmvPyramidLevel* pyramid)
{
    const uint32_t count = numLevels ? numLevels - 1 : 0;
    // Always an allocation, even of no records, so a one-level pyramid takes the same path.
    auto* records = static_cast<lmvX5LevelRecord*>(std::malloc((count ? count : 1) * sizeof(lmvX5LevelRecord)));
    if (!records) {
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "Malloc Failure in %s", name);
        return -1;
    }
    for (uint32_t i = 1; i < numLevels; ++i) {
        const lmvPyramidLevel& level = pyramid[i];
        records[i - 1] = {level.ptr, static_cast<uint32_t>(level.width * level.height * sizeof(T)), level.width,
                          level.height, 0};
        lmvInvalidateOutputBufferX(records[i - 1].data, records[i - 1].byteLength);
    }
    int32_t result = 0;
    const int status = ilmvX5Invoke(handle, [&] {
        return ilmvX5Stub(stub)(handle, src, width * height, width, height, numLevels, records, count, &result);
    });
    if (status != 0) {
        if constexpr (sizeof(T) == 4)
            result = ilmvX5Simd<lmvPyramidCreatef32_fn>(LMV_API_lmvPyramidCreatef32, simdF32)(src, width, height,
                                                                                           numLevels, pyramid);
        else
            result = ilmvX5Simd<lmvPyramidCreateu8_fn>(LMV_API_lmvPyramidCreateu8, simdU8)(src, width, height,
                                                                                        numLevels, pyramid);
    }
    if (numLevels && pyramid) pyramid[0] = {const_cast<T*>(src), width, height};
    // The sizes the DSP wrote; after a fallback the SIMD form has written them already.
    for (uint32_t i = 1; i < numLevels && status == 0; ++i) {
        pyramid[i].width = records[i - 1].width;
        pyramid[i].height = records[i - 1].height;
    }
    std::free(records);
    return result;
}

}  // namespace

const ILMV_X5_STUB_SYMBOL ilmvX5HandStubOps[] = {
    {"lumivadsp_lmvPyramidCreatef32X", reinterpret_cast<void**>(&gStubF32)},
    {"lumivadsp_lmvPyramidCreateu8X", reinterpret_cast<void**>(&gStubU8)},
};
const size_t ilmvX5HandStubOpCount = sizeof(ilmvX5HandStubOps) / sizeof(ilmvX5HandStubOps[0]);

extern "C" {

LMV_EXPORT int32_t lmvPyramidCreatef32X_abstractionLayer(uint64_t handle, const float32_t* src, uint32_t width,
                                                         uint32_t height, uint32_t numLevels, lmvPyramidLevel* pyramid)
{
    return createRemote("lmvPyramidCreatef32X", gStubF32, lmvPyramidCreatef32V, lmvPyramidCreateu8V, handle, src,
                        width, height, numLevels, pyramid);
}

LMV_EXPORT int32_t lmvPyramidCreateu8X_abstractionLayer(uint64_t handle, const uint8_t* src, uint32_t width,
                                                        uint32_t height, uint32_t numLevels, lmvPyramidLevel* pyramid)
{
    return createRemote("lmvPyramidCreateu8X", gStubU8, lmvPyramidCreatef32V, lmvPyramidCreateu8V, handle, src, width,
                        height, numLevels, pyramid);
}

// The four entry points of each: the default domain, then the three named ones.
#define ILMV_PYRAMID_FORMS(OP, T)                                                                               \
    LMV_EXPORT int32_t OP##X(const T* src, uint32_t w, uint32_t h, uint32_t n, lmvPyramidLevel* pyr)             \
    {                                                                                                            \
        uint64_t handle = 0;                                                                                     \
        if (!ilmvX5DefaultHandle(#OP "X", &handle)) return LUMIVA_NO_DEFAULT_DSP;                                \
        return OP##X_abstractionLayer(handle, src, w, h, n, pyr);                                                \
    }                                                                                                            \
    LMV_EXPORT int32_t OP##Xa(const T* src, uint32_t w, uint32_t h, uint32_t n, lmvPyramidLevel* pyr)            \
    {                                                                                                            \
        return OP##X_abstractionLayer(adsp_domain_handle, src, w, h, n, pyr);                                    \
    }                                                                                                            \
    LMV_EXPORT int32_t OP##Xc(const T* src, uint32_t w, uint32_t h, uint32_t n, lmvPyramidLevel* pyr)            \
    {                                                                                                            \
        return OP##X_abstractionLayer(cdsp_domain_handle, src, w, h, n, pyr);                                    \
    }                                                                                                            \
    LMV_EXPORT int32_t OP##Xm(const T* src, uint32_t w, uint32_t h, uint32_t n, lmvPyramidLevel* pyr)            \
    {                                                                                                            \
        return OP##X_abstractionLayer(mdsp_domain_handle, src, w, h, n, pyr);                                    \
    }

ILMV_PYRAMID_FORMS(lmvPyramidCreatef32, float32_t)
ILMV_PYRAMID_FORMS(lmvPyramidCreateu8, uint8_t)

}  // extern "C"
