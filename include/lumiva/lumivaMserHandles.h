/* Handles of the MSER operations that have no init and release call of their own
 * (lmvMseru8_v2ST, lmvMserExtu8_v2ST, lmvMserExtu8_v3ST). They are plain calls, not
 * dispatched: a handle holds parameters only, so there is nothing to choose a unit for.
 * Any MSER handle serves any MSER operation, and either release call frees any of them. */
#ifndef LUMIVA_MSER_HANDLES_H
#define LUMIVA_MSER_HANDLES_H

#include "lumiva/lumivaTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Creates an MSER handle: the parameters of the component-tree engine (delta 1 to 255, the
 *  area range, the largest variation kept, the smallest relative area step between nested
 *  regions in [0, 1), the region capacity) and the largest image (up to 65536 x 65536) it
 *  serves. Status 3 for a parameter outside those ranges or a null handle pointer. */
LMV_EXPORT LMV_STATUS lmvMserInit(uint32_t width, uint32_t height, uint32_t delta, uint32_t minArea, uint32_t maxArea,
                                  float32_t maxVariation, float32_t minDiversity, uint32_t maxRegions, void** handle);
/** Frees an MSER handle; null is ignored. */
LMV_EXPORT void lmvMserRelease(void* handle);

#ifdef __cplusplus
}
#endif

#endif
