// The MSER handle calls without a slot of their own: plain calls into the engine's handle code.
#include "cpu/lumivaMser.h"
#include "lumiva/lumivaMserHandles.h"

extern "C" {

LMV_EXPORT LMV_STATUS lmvMserInit(uint32_t width, uint32_t height, uint32_t delta, uint32_t minArea, uint32_t maxArea,
                                  float32_t maxVariation, float32_t minDiversity, uint32_t maxRegions, void** handle)
{
    if (!handle) return LUMIVA_BAD_PARAMS;
    return ilmvMserInit(width, height, delta, minArea, maxArea, maxVariation, minDiversity, maxRegions, handle);
}

LMV_EXPORT void lmvMserRelease(void* handle)
{
    if (handle) ilmvMserRelease(handle);
}

}  // extern "C"
