/* Operation modes: how the library spreads work over CPU, SIMD, DSP and GPU. */
#ifndef LUMIVA_MODE_H
#define LUMIVA_MODE_H

#include "lumiva/lumivaTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t lmvOperationMode;

#define LUMIVA_OP_LOW_POWER 0
#define LUMIVA_OP_PERFORMANCE 1
#define LUMIVA_OP_CPU_OFFLOAD 2
#define LUMIVA_OP_CPU_PERFORMANCE 3
/* Extended modes carry bit 31. */
#define LUMIVA_OP_EXT_CPU_ONLY ((lmvOperationMode)0x80000002u)
#define LUMIVA_OP_EXT_ALL_DSP ((lmvOperationMode)0x80000400u)
#define LUMIVA_OP_EXT_ALL_GPU ((lmvOperationMode)0x80000020u)

/** Options of lmvSetOperationModeExt. */
#define LUMIVA_OP_EXT_XDSP 0
#define LUMIVA_OP_EXT_GPU 1

/** DSP domains. */
#define LUMIVA_DSP_ADSP 0
#define LUMIVA_DSP_CDSP 1
#define LUMIVA_DSP_MDSP 2

/**
 * Builds the implementation tables and chooses every operation's implementation for `mode`.
 * Must not run concurrently with operations or with another mode call.
 * @return 0, or -1 for an unknown extended mode (operations then stay on SIMD).
 */
LMV_EXPORT int lmvSetOperationMode(lmvOperationMode mode);

/** The mode last applied. */
LMV_EXPORT extern lmvOperationMode mode_globalVar;
/** DSP domain the library uses: 0 ADSP, 1 CDSP, 2 MDSP. */
LMV_EXPORT extern int defaultDSP;
/** Stores `value` as the default DSP domain, unchecked. */
LMV_EXPORT void setDefaultDSPValue(int value);

#ifdef __cplusplus
}
#endif

#endif
