// Support of the generated marshalling functions: the default domain's handle, the size
// guards' switch, the stub call with its restart recovery, and the SIMD fallback.
#ifndef LUMIVA_X5_MARSHAL_H
#define LUMIVA_X5_MARSHAL_H

#include "core/lumivaEntry.h"
#include "xdsp_rpc/multi_domains/lumivaX5.h"

// What a call of an operation whose stub function is missing returns: a failure, so the
// SIMD form runs.
constexpr int ILMV_X5_NO_STUB = -1;

// The handle of the default domain; false (after "defaultDSP flag not set for the
// following function <name>.") when none is set.
bool ilmvX5DefaultHandle(const char* name, uint64_t* handle);

// Whether the marshalling layer's size guards are on.
bool ilmvX5GuardsOn();
// A guard failed: logs the warning (with the runtime log on) and returns 32768.
LMV_STATUS ilmvX5Decline(const char* name);

// The switch to LUMIVA_OP_CPU_PERFORMANCE while a restart is recovered, and the way back
// to the application's mode.
void ilmvX5EnterRecoveryMode();
void ilmvX5LeaveRecoveryMode();

// A stub function that may be missing: calling a missing one fails.
template <class... A>
struct ilmvX5StubCall {
    int (*fn)(A...);
    int operator()(A... a) const { return fn ? fn(a...) : ILMV_X5_NO_STUB; }
};

template <class... A>
inline ilmvX5StubCall<A...> ilmvX5Stub(int (*fn)(A...))
{
    return {fn};
}

// Runs `call` (a stub call); status 104 means the DSP restarted: the library runs on the
// CPU while up to five recoveries each retry the call, then the application's mode comes
// back. A recovery that fails ends it with status 1.
template <class Call>
inline int ilmvX5Invoke(uint64_t handle, Call call)
{
    int status = call();
    if (status != LUMIVA_DSP_RESTARTED) return status;
    ilmvX5EnterRecoveryMode();
    for (int attempt = 0; attempt < 5 && status == LUMIVA_DSP_RESTARTED; ++attempt) {
        if (adspSSRcleanUpSequence(handle) != 0) {
            status = 1;
            break;
        }
        status = call();
    }
    ilmvX5LeaveRecoveryMode();
    return status;
}

// The SIMD form of `slot` from the function table, or `direct` before any table exists.
template <class Fn>
inline Fn ilmvX5Simd(uint32_t slot, Fn direct)
{
    Fn fromTable = reinterpret_cast<Fn>(lmvFuncTable[slot * LMV_IMPL_COUNT + LMV_IMPL_V]);
    return fromTable ? fromTable : direct;
}

#endif
