// Support of the generated entry functions: the fallback of remote and GPU choices,
// the runtime log, the assertion message and the call through the function table.
#ifndef LUMIVA_ENTRY_H
#define LUMIVA_ENTRY_H

#include "lumiva/lumiva.h"

#include <cstdlib>

inline bool ilmvIsRemoteImpl(uint32_t idx)
{
    return idx < LMV_IMPL_COUNT && ((LMV_IMPL_REMOTE_MASK >> idx) & 1u);
}

// True when every value is a multiple of `align`.
template <class... Values>
inline bool ilmvMultipleOf(uintptr_t align, Values... values)
{
    return ((values % align == 0) && ...);
}

// A remote choice stays only when the call meets the remote row (unless the checks are
// off and the row obeys that switch); a GPU choice only when it meets the GPU row.
// Otherwise the SIMD form runs.
template <class RemoteFits, class GpuFits>
inline uint32_t ilmvDemote(uint32_t idx, RemoteFits remoteFits, GpuFits gpuFits, bool remoteSwitchable = true)
{
    if (ilmvIsRemoteImpl(idx) && (HW_constraint_checks_enable || !remoteSwitchable) && !remoteFits())
        return LMV_IMPL_V;
    if (idx == LMV_IMPL_G && !gpuFits())
        return LMV_IMPL_V;
    return idx;
}

// True when `rows` rows `stride` bytes apart, the last `rowBytes` long, span at most
// 2^32 - 1 bytes: larger images cannot exist on the 32-bit target, and no length or offset
// of theirs may wrap. Every operand is below 2^32, so the arithmetic cannot overflow.
inline bool ilmvSpanFits32(uint64_t rows, uint64_t stride, uint64_t rowBytes)
{
    return rows == 0 || (rows - 1) * stride + rowBytes <= UINT32_MAX;
}

// "name_IMPL" under the runtime tag when the log property is on; a corrupt index ends the process.
void ilmvRuntimeLog(const char* name, uint32_t idx);

// The deliberate hard stop of a broken internal invariant: "path@line: condition
// Assertion failed", then exit status 1.
[[noreturn]] void ilmvHardStop(const char* path, int line, const char* condition);

// "Assertion failed @name: rule"; returns what the log call returned.
int ilmvAssertFailed(const char* name, const char* rule);

// Bytes of one source row of lmvChannelExtractu8, by source format: what a zero stride means.
inline uint32_t ilmvExtractRowBytes(int32_t format, uint32_t width)
{
    switch (format) {
    case 0: return width * 3;  // RGB888
    case 1: return width * 4;  // RGBA8888
    case 4:
    case 5: return width * 2;  // UYVY, YUYV
    default: return width;     // a Y plane
    }
}

// The implementation of `slot` in column `idx`, typed; a corrupt index ends the process.
template <class Fn>
inline Fn ilmvImpl(uint32_t slot, uint32_t idx)
{
    if (idx >= LMV_IMPL_COUNT)
        std::abort();
    return reinterpret_cast<Fn>(lmvFuncTable[slot * LMV_IMPL_COUNT + idx]);
}

#endif
