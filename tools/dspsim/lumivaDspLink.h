// The host transport (libdsplink.so): what the host stub packs a call into, and the calls
// it makes. The transport connects each open domain to its simulator process, starting one
// when none runs, and shares registered blocks with it by descriptor.
#ifndef LUMIVA_DSP_LINK_H
#define LUMIVA_DSP_LINK_H

#include "lumivaDspWire.h"

#include <cstring>

#define LUMIVA_LINK_EXPORT __attribute__((visibility("default")))

// One argument of a call: a scalar's bits, or a buffer of `bytes` with its direction.
struct ILMV_RPC_ARG {
    uint32_t kind;
    uint32_t direction;
    const void* pointer;
    uint64_t bytes;
    uint64_t bits;
};

enum { ILMV_RPC_IN = kDirIn, ILMV_RPC_OUT = kDirOut, ILMV_RPC_INOUT = kDirInOut };

// A buffer of `length` elements of `elemSize` bytes, of which the call reaches `span`: only
// the reached bytes travel, so a caller's buffer that ends at its last pixel is never read
// past its end. A length shorter than the span sends too little, and the simulator refuses.
inline ILMV_RPC_ARG ilmvRpcBuffer(const void* p, uint64_t length, uint64_t elemSize, uint64_t span, int direction)
{
    const uint64_t declared = length * elemSize;
    return {p ? kArgBuffer : kArgNull, static_cast<uint32_t>(direction), p, declared < span ? declared : span, 0};
}

template <class T>
inline ILMV_RPC_ARG ilmvRpcScalar(T value)
{
    static_assert(sizeof(T) <= 8, "scalars are at most 64 bits");
    ILMV_RPC_ARG a = {kArgScalar, kDirIn, nullptr, 0, 0};
    std::memcpy(&a.bits, &value, sizeof value);
    return a;
}

extern "C" {

// Sends one call on an open handle; its status (0 done), or -1 when it could not be
// delivered or answered (the connection is then dropped and the next call reconnects).
LUMIVA_LINK_EXPORT int ilmvRpcInvoke(uint64_t handle, const char* name, const ILMV_RPC_ARG* args, size_t count);
// Opens a handle on the domain that `uri` names ("_dom=adsp", "cdsp" or "mdsp").
LUMIVA_LINK_EXPORT int ilmvRpcOpen(const char* uri, uint64_t* handle);
// Closes a handle; -1 for one that is not open.
LUMIVA_LINK_EXPORT int ilmvRpcClose(uint64_t handle);
// Registers `length` bytes at `address` as backed by descriptor `fd`; -1 unregisters.
LUMIVA_LINK_EXPORT void remote_register_buf(void* address, int length, int fd);
// Sends a control command to the simulator of `domain` (starting it when needed) and
// copies its answer into `reply`; 0 on success.
LUMIVA_LINK_EXPORT int lumivaDspControl(const char* domain, const char* command, char* reply, size_t replyLength);

}  // extern "C"

#endif
