// Internals of the remote DSP client: the stub library bound at run time, the session's
// state, and the hooks tests use to make recoveries quick and stubs go missing.
#ifndef LUMIVA_X5_H
#define LUMIVA_X5_H

#include "lumiva/lumivaDsp.h"

#include <cstddef>
#include <cstdint>

// The stub's session and housekeeping functions; null where the stub lacks one.
struct ILMV_X5_STUB {
    int (*open)(const char* uri, uint64_t* handle);
    int (*close)(uint64_t handle);
    int (*initWithAttributes)(uint64_t handle, const lmvX5Attribute* attributes, int count);
    int (*deinit)(uint64_t handle);
    int (*getVersion)(uint64_t handle, char* buffer, int length);
    int (*getClk)(uint64_t handle, uint64_t* value);
    int (*probeTime)(uint64_t handle, int64_t* microseconds);
    int (*cacheFlushInvalidate)(uint64_t handle, const uint8_t* in, int inLength, uint8_t* out, int outLength);
    int (*updateMsgFlag)(uint64_t handle, int flag, int* status);
    int (*registerBuf)(uint32_t a, uint32_t b, uint32_t c);
    // lumivadsp_lmvInvalidateOutputBuffer{,2..6}X: handle, then (buffer, length) pairs.
    void* invalidate[6];
};

// The transport's registration call: a descriptor of -1 unregisters.
typedef void (*ILMV_REGISTER_BUF)(void* address, int length, int fd);

// A stub function of one operation and where its resolved address goes.
struct ILMV_X5_STUB_SYMBOL {
    const char* name;
    void** slot;
};
extern const ILMV_X5_STUB_SYMBOL ilmvX5StubOps[];
extern const size_t ilmvX5StubOpCount;
// The same for the operations marshalled by hand.
extern const ILMV_X5_STUB_SYMBOL ilmvX5HandStubOps[];
extern const size_t ilmvX5HandStubOpCount;

// Opens the stub and the transport once they are needed; true when the stub is there
// (its required session functions included). Every failure is logged once per attempt.
bool ilmvX5BindStub();
const ILMV_X5_STUB& ilmvX5StubTable();
// The transport's remote_register_buf, resolved on first use; null without a transport.
ILMV_REGISTER_BUF ilmvX5RegisterBuf();

// ---- Hooks (tests and tools) --------------------------------------------------------------
// Other file names for the stub and the transport (null keeps the current one); forgets
// what was bound, so the next session binds again.
void ilmvX5SetLibraries(const char* stub, const char* transport);
// The recovery's pause between reinitialisations and its attempt counts (defaults: one
// second, 10 reloads, 15 reinitialisations).
void ilmvX5SetRecoveryTiming(void (*pause)(unsigned seconds), int reloadAttempts, int reinitAttempts);
// Replaces the transport's registration call by `registerBuf` (null: no transport) while
// `present` is set; `present` false goes back to the transport's own.
void ilmvX5SetRegisterBuf(ILMV_REGISTER_BUF registerBuf, bool present);

#endif
