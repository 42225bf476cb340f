// The messages between the host transport and the DSP simulator, over a Unix-domain socket.
//
// A request is a header, its argument records and one payload: the bytes of every copied
// buffer, in argument order. The reply is a header and the bytes of every copied buffer the
// call may write (out and in-out), in argument order, present only when the status is 0.
// Shared buffers travel as (block id, offset, bytes): the block's memfd went over once, with
// a map request, and the simulator keeps it mapped until the client unmaps it or leaves.
#ifndef LUMIVA_DSP_WIRE_H
#define LUMIVA_DSP_WIRE_H

#include <cstddef>
#include <cstdint>

constexpr uint32_t kWireMagic = 0x4C4D5644u;  // "LMVD"
constexpr uint32_t kWireMaxArgs = 64;
constexpr uint64_t kWireMaxPayload = 256u << 20;

enum WireKind : uint32_t { kWireCall = 1, kWireMap = 2, kWireUnmap = 3, kWireControl = 4 };
enum WireArgKind : uint32_t { kArgScalar = 1, kArgBuffer = 2, kArgShared = 3, kArgNull = 4 };
enum WireDirection : uint32_t { kDirIn = 1, kDirOut = 2, kDirInOut = 3 };

struct WireRequest {
    uint32_t magic;
    uint32_t kind;
    uint32_t argCount;
    uint32_t reserved;
    uint64_t payloadBytes;
    char name[64];  // the function, or the control command; NUL-terminated
};

struct WireArg {
    uint32_t kind;
    uint32_t direction;
    uint64_t value;   // a scalar's bits, or a shared block's id
    uint64_t offset;  // into a shared block
    uint64_t bytes;   // a buffer's bytes
};

struct WireReply {
    uint32_t magic;
    int32_t status;
    uint64_t payloadBytes;
};

// Simulator statuses beyond the transport's: the message was malformed, a buffer is shorter
// than the call reaches, or the arguments break the operation's rule.
constexpr int32_t ILMV_SIM_MALFORMED = 0x5301;
constexpr int32_t ILMV_SIM_BAD_LENGTH = 0x5302;
constexpr int32_t ILMV_SIM_BAD_ARGUMENTS = 0x5303;
constexpr int32_t ILMV_SIM_UNKNOWN = 0x5304;

// Bytes of `rows` rows `stride` apart, the last `rowBytes` long; saturates instead of
// wrapping, so a hostile size can never look small.
inline uint64_t ilmvRpcSpan(uint64_t rows, uint64_t stride, uint64_t rowBytes)
{
    if (rows == 0) return 0;
    uint64_t body = 0;
    if (__builtin_mul_overflow(rows - 1, stride, &body) || __builtin_add_overflow(body, rowBytes, &body))
        return UINT64_MAX;
    return body;
}

#endif
