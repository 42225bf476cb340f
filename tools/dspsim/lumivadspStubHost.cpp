// The host's liblumivadsp_stub.so: the session and housekeeping functions of the stub
// interface, each one call through the host transport. The per-operation functions are
// generated beside it from the operation descriptions.
#include "lumivaDspLink.h"
#include "xdsp_rpc/lumivadspStub.h"

#include <cstring>
#include <vector>

namespace {

template <class... Args>
int call(uint64_t handle, const char* name, Args... args)
{
    const ILMV_RPC_ARG list[] = {args...};
    return ilmvRpcInvoke(handle, name, list, sizeof...(Args));
}

int call(uint64_t handle, const char* name)
{
    return ilmvRpcInvoke(handle, name, nullptr, 0);
}

ILMV_RPC_ARG out(void* p, uint64_t bytes)
{
    return ilmvRpcBuffer(p, bytes, 1, bytes, ILMV_RPC_OUT);
}

ILMV_RPC_ARG in(const void* p, uint64_t bytes)
{
    return ilmvRpcBuffer(p, bytes, 1, bytes, ILMV_RPC_IN);
}

int invalidate(uint64_t handle, const char* name, void* b1, uint32_t l1)
{
    return call(handle, name, ilmvRpcScalar(reinterpret_cast<uintptr_t>(b1)), ilmvRpcScalar(l1));
}

// A pyramid call: the base, its sizes, the records (in and out), the result, and then every
// level's buffer, which the remote side writes.
template <class T>
int pyramid(uint64_t handle, const char* name, const T* base, uint32_t baseLength, uint32_t width, uint32_t height,
            uint32_t numLevels, lmvX5LevelRecord* records, uint32_t recordCount, int32_t* result)
{
    if (recordCount > kWireMaxArgs - 8 || (recordCount && !records)) return -1;
    std::vector<ILMV_RPC_ARG> args = {
        ilmvRpcBuffer(base, baseLength, sizeof(T), uint64_t(width) * height * sizeof(T), ILMV_RPC_IN),
        ilmvRpcScalar(baseLength), ilmvRpcScalar(width), ilmvRpcScalar(height), ilmvRpcScalar(numLevels),
        ilmvRpcBuffer(records, recordCount, sizeof *records, uint64_t(recordCount) * sizeof *records, ILMV_RPC_INOUT),
        ilmvRpcScalar(recordCount), out(result, sizeof *result)};
    for (uint32_t i = 0; i < recordCount; ++i) args.push_back(out(records[i].data, records[i].byteLength));
    return ilmvRpcInvoke(handle, name, args.data(), args.size());
}

}  // namespace

extern "C" {

LUMIVADSP_EXPORT int lumivadsp_lmvPyramidCreatef32X(uint64_t handle, const float* base, uint32_t baseLength,
                                                    uint32_t width, uint32_t height, uint32_t numLevels,
                                                    lmvX5LevelRecord* records, uint32_t recordCount, int32_t* result)
{
    return pyramid(handle, "lmvPyramidCreatef32X", base, baseLength, width, height, numLevels, records, recordCount,
                   result);
}

LUMIVADSP_EXPORT int lumivadsp_lmvPyramidCreateu8X(uint64_t handle, const uint8_t* base, uint32_t baseLength,
                                                   uint32_t width, uint32_t height, uint32_t numLevels,
                                                   lmvX5LevelRecord* records, uint32_t recordCount, int32_t* result)
{
    return pyramid(handle, "lmvPyramidCreateu8X", base, baseLength, width, height, numLevels, records, recordCount,
                   result);
}

LUMIVADSP_EXPORT int lumivadsp_open(const char* uri, uint64_t* handle)
{
    return ilmvRpcOpen(uri, handle);
}

LUMIVADSP_EXPORT int lumivadsp_close(uint64_t handle)
{
    call(handle, "close");
    return ilmvRpcClose(handle);
}

LUMIVADSP_EXPORT int lumivadsp_initX5_with_attributes(uint64_t handle, const lmvX5AttributeWire* attributes, int count)
{
    const uint64_t bytes = attributes && count > 0 ? uint64_t(count) * sizeof *attributes : 0;
    return call(handle, "initX5", in(bytes ? attributes : nullptr, bytes), ilmvRpcScalar(count));
}

LUMIVADSP_EXPORT int lumivadsp_deinitX5(uint64_t handle)
{
    return call(handle, "deinitX5");
}

LUMIVADSP_EXPORT int lumivadsp_lmvGetVersionX(uint64_t handle, char* buffer, int length)
{
    if (!buffer || length <= 0) return -1;
    return call(handle, "version", out(buffer, uint64_t(length)));
}

LUMIVADSP_EXPORT int lumivadsp_lmvX5GetClk(uint64_t handle, uint64_t* value)
{
    return call(handle, "getClk", out(value, sizeof *value));
}

LUMIVADSP_EXPORT int lumivadsp_probeX5TimeX(uint64_t handle, int64_t* microseconds)
{
    return call(handle, "probeTime", out(microseconds, sizeof *microseconds));
}

LUMIVADSP_EXPORT int lumivadsp_cache_flush_invalidateX(uint64_t handle, const uint8_t* in_, int inLength,
                                                       uint8_t* out_, int outLength)
{
    if (inLength < 0 || outLength < 0) return -1;
    return call(handle, "cacheFlush", in(in_, uint64_t(inLength)), out(out_, uint64_t(outLength)));
}

LUMIVADSP_EXPORT int lumivadsp_lmvUpdateDSPMsgFlagX(uint64_t handle, int flag, int* status)
{
    return call(handle, "msgFlag", ilmvRpcScalar(flag), out(status, sizeof *status));
}

// Registration by words belongs to the device's transport; the host shares blocks by
// descriptor instead, so there is nothing to do.
LUMIVADSP_EXPORT int lumivadsp_registerbuf(uint32_t, uint32_t, uint32_t)
{
    return 0;
}

// Invalidation tells the DSP which ranges a call will write; the simulator's memory is
// coherent with the client's, so it only counts them.
LUMIVADSP_EXPORT int lumivadsp_lmvInvalidateOutputBufferX(uint64_t handle, void* b1, uint32_t l1)
{
    return invalidate(handle, "invalidate", b1, l1);
}

LUMIVADSP_EXPORT int lumivadsp_lmvInvalidateOutputBuffer2X(uint64_t handle, void* b1, uint32_t l1, void* b2,
                                                           uint32_t l2)
{
    const int first = invalidate(handle, "invalidate", b1, l1);
    return first ? first : invalidate(handle, "invalidate", b2, l2);
}

}  // extern "C"
