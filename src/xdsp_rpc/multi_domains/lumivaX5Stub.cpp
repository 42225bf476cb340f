// The stub library and the transport, bound at run time: the library loads and runs where
// neither exists, and a device finds the vendor's copies on its usual library path.
#include "platform/lumivaPlatform.h"
#include "xdsp_rpc/multi_domains/lumivaX5.h"

#include <dlfcn.h>

#include <mutex>
#include <string>

namespace {

std::mutex gBindLock;
std::string gStubName = "liblumivadsp_stub.so";
std::string gTransportName = "libdsplink.so";
void* gStubLibrary = nullptr;
bool gTransportTried = false;
ILMV_X5_STUB gStub;
ILMV_REGISTER_BUF gRegisterBuf = nullptr;
ILMV_REGISTER_BUF gRegisterBufOverride = nullptr;
bool gRegisterBufOverridden = false;

template <class Fn>
void resolve(void* library, const char* symbol, Fn* slot)
{
    *slot = reinterpret_cast<Fn>(dlsym(library, symbol));
}

void resolveSession(void* lib)
{
    resolve(lib, "lumivadsp_open", &gStub.open);
    resolve(lib, "lumivadsp_close", &gStub.close);
    resolve(lib, "lumivadsp_initX5_with_attributes", &gStub.initWithAttributes);
    resolve(lib, "lumivadsp_deinitX5", &gStub.deinit);
    resolve(lib, "lumivadsp_lmvGetVersionX", &gStub.getVersion);
    resolve(lib, "lumivadsp_lmvX5GetClk", &gStub.getClk);
    resolve(lib, "lumivadsp_probeX5TimeX", &gStub.probeTime);
    resolve(lib, "lumivadsp_cache_flush_invalidateX", &gStub.cacheFlushInvalidate);
    resolve(lib, "lumivadsp_lmvUpdateDSPMsgFlagX", &gStub.updateMsgFlag);
    resolve(lib, "lumivadsp_registerbuf", &gStub.registerBuf);
    static const char* const kInvalidate[6] = {
        "lumivadsp_lmvInvalidateOutputBufferX", "lumivadsp_lmvInvalidateOutputBuffer2X",
        "lumivadsp_lmvInvalidateOutputBuffer3X", "lumivadsp_lmvInvalidateOutputBuffer4X",
        "lumivadsp_lmvInvalidateOutputBuffer5X", "lumivadsp_lmvInvalidateOutputBuffer6X"};
    for (int i = 0; i < 6; ++i) gStub.invalidate[i] = dlsym(lib, kInvalidate[i]);
}

// The transport is imported weakly: a missing one only means no registration.
void bindTransportLocked()
{
    if (gTransportTried) return;
    gTransportTried = true;
    void* transport = dlopen(gTransportName.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (transport) {
        resolve(transport, "remote_register_buf", &gRegisterBuf);
    } else {
        ilmvLog(LUMIVA_LOG_INFO, LUMIVA_LIB_TAG, "DSP transport %s not found: %s", gTransportName.c_str(), dlerror());
    }
}

void forgetLocked()
{
    // The libraries stay loaded: a thread may still be inside one of their functions.
    gStubLibrary = nullptr;
    gStub = {};
    for (size_t i = 0; i < ilmvX5StubOpCount; ++i) *ilmvX5StubOps[i].slot = nullptr;
    for (size_t i = 0; i < ilmvX5HandStubOpCount; ++i) *ilmvX5HandStubOps[i].slot = nullptr;
    gTransportTried = false;
    gRegisterBuf = nullptr;
}

}  // namespace

bool ilmvX5BindStub()
{
    std::lock_guard<std::mutex> guard(gBindLock);
    bindTransportLocked();
    if (gStubLibrary) return true;
    void* lib = dlopen(gStubName.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!lib) {
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "DSP stub %s not found: %s", gStubName.c_str(), dlerror());
        return false;
    }
    resolveSession(lib);
    if (!gStub.open || !gStub.close || !gStub.initWithAttributes || !gStub.deinit || !gStub.getVersion) {
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "DSP stub %s lacks its session functions", gStubName.c_str());
        gStub = {};
        dlclose(lib);
        return false;
    }
    // An operation the stub lacks stays null: its remote forms fall back to SIMD.
    for (size_t i = 0; i < ilmvX5StubOpCount; ++i) *ilmvX5StubOps[i].slot = dlsym(lib, ilmvX5StubOps[i].name);
    for (size_t i = 0; i < ilmvX5HandStubOpCount; ++i)
        *ilmvX5HandStubOps[i].slot = dlsym(lib, ilmvX5HandStubOps[i].name);
    gStubLibrary = lib;
    return true;
}

const ILMV_X5_STUB& ilmvX5StubTable()
{
    return gStub;
}

ILMV_REGISTER_BUF ilmvX5RegisterBuf()
{
    std::lock_guard<std::mutex> guard(gBindLock);
    if (gRegisterBufOverridden) return gRegisterBufOverride;
    bindTransportLocked();
    return gRegisterBuf;
}

void ilmvX5SetLibraries(const char* stub, const char* transport)
{
    std::lock_guard<std::mutex> guard(gBindLock);
    if (stub) gStubName = stub;
    if (transport) gTransportName = transport;
    forgetLocked();
}

void ilmvX5SetRegisterBuf(ILMV_REGISTER_BUF registerBuf, bool present)
{
    std::lock_guard<std::mutex> guard(gBindLock);
    gRegisterBufOverride = registerBuf;
    gRegisterBufOverridden = present;
}
