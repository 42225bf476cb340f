/* The remote DSP: the session in the default domain, the three named domains, memory the
 * DSP can see without a copy, and the calls of the remote library's housekeeping.
 *
 * The library reaches the DSP through the client stub library "liblumivadsp_stub.so" and the
 * transport "libdsplink.so", both opened with dlopen when a session opens. Where they are
 * missing the session fails (logged), hardware bit 0x8 stays clear and every operation runs
 * on the CPU.
 *
 * Threads: session calls, like mode calls, must not run concurrently with each other or with
 * operations; the shared-memory calls may be used from any thread; the recovery after a DSP
 * restart serialises itself. */
#ifndef LUMIVA_DSP_H
#define LUMIVA_DSP_H

#include "lumiva/lumivaTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Mode attribute of a session: 0, 1 or 2 select the remote library's modes; any other
 *  value opens the session without attributes. */
typedef int32_t LUMIVAHW_X5_MODE;

/** One session attribute as the remote init receives it: id 3 carries the mode. */
typedef struct {
    int32_t id;
    int32_t value;
} lmvX5Attribute;

/** Remote handles of the three domains (0 while closed) and their open counts. */
LMV_EXPORT extern uint64_t adsp_domain_handle, cdsp_domain_handle, mdsp_domain_handle;
LMV_EXPORT extern int32_t adspDomainHandle_count, cdspDomainHandle_count, mdspDomainHandle_count;

/** Whether the entry functions check the remote unit's size rules (the modes that put every
 *  operation on the DSP clear it); lmvUpdateX5ConstraintCheckFlag writes it. */
LMV_EXPORT extern uint32_t X5_constraint_checks_enable;
LMV_EXPORT void lmvUpdateX5ConstraintCheckFlag(uint32_t flag);
/** The marshalling layer's own switch of its size guards (1 at start; no mode changes it). */
LMV_EXPORT void lmvUpdateX5ConstraintCheckFlagX_abstractionLayer(uint64_t handle, uint32_t flag);
LMV_EXPORT void lmvUpdateX5ConstraintCheckFlagXa(uint32_t flag);
LMV_EXPORT void lmvUpdateX5ConstraintCheckFlagXc(uint32_t flag);
LMV_EXPORT void lmvUpdateX5ConstraintCheckFlagXm(uint32_t flag);

/** Opens the session on the default domain in `mode` and checks that the remote library's
 *  major version (the first two characters) equals that of `cpuVersion`. 0 on success; -1
 *  on failure, and a null `cpuVersion` always fails. The session is then up (state 1) or
 *  failed (state 2). */
LMV_EXPORT int lmvX5Initialize(LUMIVAHW_X5_MODE mode, char* cpuVersion);
/** Opens the session unless it is up in `mode` already (0); another mode closes and reopens
 *  it; a failed session returns -1 until VSKAX5_deinit. Reads "vendor.runtime.lumiva.log". */
LMV_EXPORT int VSKAX5_init(LUMIVAHW_X5_MODE mode, char* cpuVersion);
/** Closes the session (and its channel) whatever its state. */
LMV_EXPORT void VSKAX5_deinit(void);
/** 1 while the session is up. */
LMV_EXPORT int VSKAX5_is_ready(void);
/** The session's mode, -1 when none. */
LMV_EXPORT LUMIVAHW_X5_MODE VSKAX5_get_current_mode(void);

/** The steps of a session open, on the default domain or on a named one. */
LMV_EXPORT int lmvX5SessionInit(LUMIVAHW_X5_MODE mode, char* cpuVersion);
LMV_EXPORT int lmvX5SessionDeInit(void);
LMV_EXPORT int lmvX5SessionInit_internal(uint64_t handle, const lmvX5Attribute* attributes, int count,
                                         char* cpuVersion);
LMV_EXPORT int lmvX5SessionInit_internal_adsp(const lmvX5Attribute* attributes, int count, char* cpuVersion);
LMV_EXPORT int lmvX5SessionInit_internal_cdsp(const lmvX5Attribute* attributes, int count, char* cpuVersion);
LMV_EXPORT int lmvX5SessionInit_internal_mdsp(const lmvX5Attribute* attributes, int count, char* cpuVersion);
/** Channel open and close: the first open opens the domain, the last close closes it, and
 *  every close ends the remote session. */
LMV_EXPORT void domain_channel_open(void);
LMV_EXPORT void domain_channel_close(void);
LMV_EXPORT void domain_channel_open_adsp(void);
LMV_EXPORT void domain_channel_open_cdsp(void);
LMV_EXPORT void domain_channel_open_mdsp(void);
LMV_EXPORT void domain_channel_close_adsp(void);
LMV_EXPORT void domain_channel_close_cdsp(void);
LMV_EXPORT void domain_channel_close_mdsp(void);

/** Recovery after the DSP subsystem restarted: reloads the channel when the DSP clock says
 *  it went down. 0 when the DSP was up already; -1 after a reload (the call that met the
 *  restart is not retried) or when the recovery cannot run. */
LMV_EXPORT int adspSSRcleanUpSequence(uint64_t handle);

/** The DSP clock: 0 while the DSP runs, non-zero after a restart until the reload. */
LMV_EXPORT int lmvX5GetClk(uint64_t* value);
LMV_EXPORT int lmvX5GetClkX(uint64_t* value);
LMV_EXPORT int lmvX5GetClkXa(uint64_t* value);
LMV_EXPORT int lmvX5GetClkXc(uint64_t* value);
LMV_EXPORT int lmvX5GetClkXm(uint64_t* value);
/** The DSP's time in microseconds; 6 when no default domain is set. */
LMV_EXPORT int probeX5Time(int64_t* microseconds);
LMV_EXPORT int probeX5TimeX(int64_t* microseconds);
LMV_EXPORT int probeX5TimeXa(int64_t* microseconds);
LMV_EXPORT int probeX5TimeXc(int64_t* microseconds);
LMV_EXPORT int probeX5TimeXm(int64_t* microseconds);
/** Sets the remote library's message flag; returns its status (6 with no default domain). */
LMV_EXPORT int lmvUpdateDSPMsgFlagX(int flag);
/** Flushes and invalidates `length` bytes at `address` on the DSP side. */
LMV_EXPORT int lmv_cache_flush_invalidateX(uint8_t* address, uint32_t length);
/** Registers a buffer with the remote side (three words, passed on as they are). */
LMV_EXPORT int lmvRegisterBufX(uint32_t a, uint32_t b, uint32_t c);
/** Invalidates one to six output buffers on the DSP side before a call writes them. */
LMV_EXPORT int lmvInvalidateOutputBufferX(void* b1, uint32_t l1);
LMV_EXPORT int lmvInvalidateOutputBuffer2X(void* b1, uint32_t l1, void* b2, uint32_t l2);
LMV_EXPORT int lmvInvalidateOutputBuffer3X(void* b1, uint32_t l1, void* b2, uint32_t l2, void* b3, uint32_t l3);
LMV_EXPORT int lmvInvalidateOutputBuffer4X(void* b1, uint32_t l1, void* b2, uint32_t l2, void* b3, uint32_t l3,
                                           void* b4, uint32_t l4);
LMV_EXPORT int lmvInvalidateOutputBuffer5X(void* b1, uint32_t l1, void* b2, uint32_t l2, void* b3, uint32_t l3,
                                           void* b4, uint32_t l4, void* b5, uint32_t l5);
LMV_EXPORT int lmvInvalidateOutputBuffer6X(void* b1, uint32_t l1, void* b2, uint32_t l2, void* b3, uint32_t l3,
                                           void* b4, uint32_t l4, void* b5, uint32_t l5, void* b6, uint32_t l6);

/** Memory the DSP can see: `size` bytes rounded up to whole 4096-byte pages, page-aligned
 *  (any alignment up to 4096 is met; a larger one, or a size of 0, gives null), registered
 *  with the transport. At most 128 blocks live at once. Null on any failure (logged). */
LMV_EXPORT void* lmvSharedMemAllocX(size_t size, size_t alignment);
/** Frees a block of lmvSharedMemAllocX: 0, or -1 for an address it did not hand out. */
LMV_EXPORT int lmvSharedMemFreeX(void* address);
/** Readies the table of shared blocks (0; -1 when its lock cannot be made). */
LMV_EXPORT int lmvInitSharedMem_Xdsp(void);
/** Forgets the table's readiness; live blocks stay as they are. */
LMV_EXPORT int lmvDeInitSharedMem_Xdsp(void);
/** A block from the shared-memory allocator in force (the DSP's while a DSP mode is up);
 *  null when none is in force or it fails. */
LMV_EXPORT void* lmvSharedMemAlloc(size_t size, size_t alignment);
/** Frees a block of lmvSharedMemAlloc: 0, or -1 when none is in force or the block is not its. */
LMV_EXPORT int lmvSharedMemFree(void* address);

/** Applies a mode without recording it as the application's (the recovery's switch to
 *  LUMIVA_OP_CPU_PERFORMANCE and back). */
LMV_EXPORT int lmvSetOperationMode_internal(int32_t mode);

#ifdef __cplusplus
}
#endif

#endif
