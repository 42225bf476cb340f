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

/**
 * Puts every capable operation on one unit: LUMIVA_OP_EXT_XDSP (the default DSP domain)
 * or LUMIVA_OP_EXT_GPU.
 * @return 0, or 1 for any other option (logged) or when the mode call failed.
 */
LMV_EXPORT int lmvSetOperationModeExt(int option);

/** Hardware mask bits of lmvAvailableHardware. */
#define LUMIVA_HW_PROBED 0x2u
#define LUMIVA_HW_NEON 0x4u
#define LUMIVA_HW_DSP 0x8u
#define LUMIVA_HW_GPU 0x20u
#define LUMIVA_HW_VFP 0x80u
#define LUMIVA_HW_ARMV7 0x100u
#define LUMIVA_HW_PLATFORM 0x800u

/** The hardware usable for `mode`; probes the processor once and opens the units the mode needs. */
LMV_EXPORT uint32_t lmvAvailableHardware(lmvOperationMode mode);
/** Only the unit bits (DSP 0x8, GPU 0x20) for `mode`, opening what is needed. */
LMV_EXPORT uint32_t lmvAvailableHWComponent(lmvOperationMode mode);
/** Online processors, or 1 (logged) when the system cannot tell. */
LMV_EXPORT int lmvAvailableProcessors(void);
/** 1 when the processor is one the build lists as having neither DSP nor GPU. */
LMV_EXPORT int lmv_check_only_cpu(void);
/** Wall-clock time in microseconds. */
LMV_EXPORT int64_t lmvGetTime(void);
/** Copies the version text "1.7.1" into dest when length is at least 6, else zeroes length bytes. */
LMV_EXPORT void lmvGetVersion(char* dest, uint32_t length);
/** Opens the DSP session of `component`; 1 on success, else the session's error code. */
LMV_EXPORT int lmvSelectXDSP5Mode(int component);
/** Applies `mode` to the choices of the remote-library side. */
LMV_EXPORT int lmvInitRemoteLib(lmvOperationMode mode);
LMV_EXPORT int lmvSetOperationModeRemoteLib(lmvOperationMode mode);
/** The optional platform-optimisation library at "/data/local/liblmvopt.so". */
LMV_EXPORT int lmvPlatformOptLoad(void);
LMV_EXPORT void* lmvPlatformOptGetFunc(const char* symbol);
LMV_EXPORT int lmvPlatformOptClose(void);
/** Closes the DSP session and the GPU system and drops the shared-memory allocator. */
LMV_EXPORT void lmvCleanUp(void);

/** Whether the DSP session and the GPU system are up. */
LMV_EXPORT extern int XDSP_initflag;
LMV_EXPORT extern int GPU_initflag;
LMV_EXPORT extern uint32_t X5_constraint_checks_enable;
LMV_EXPORT extern int nLmvAvailableProc;

#ifdef __cplusplus
}
#endif

#endif
