// The DSP session: the three domains and their channels, the session's state and mode,
// the version check, the recovery after a DSP restart, and the remote library's
// housekeeping calls (clock, time, message flag, caches, registration, invalidation).
#include "core/lumivaCore.h"
#include "platform/lumivaPlatform.h"
#include "xdsp_rpc/multi_domains/lumivaX5Marshal.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

extern "C" {

LMV_EXPORT uint64_t adsp_domain_handle, cdsp_domain_handle, mdsp_domain_handle;
LMV_EXPORT int32_t adspDomainHandle_count, cdspDomainHandle_count, mdspDomainHandle_count;

}  // extern "C"

namespace {

constexpr char kSourcePath[] = "src/xdsp_rpc/multi_domains/vskax5rpc_clnt_abstractionLayer";

// One domain: its handle, its open count, its URI and the texts of its channel log, which
// differ in small ways from domain to domain.
struct Domain {
    uint64_t* handle;
    int32_t* count;
    const char* name;  // "ADSP"
    const char* uri;
    const char* beginOpen;
    const char* openFailed;
    const char* openDone;
    const char* endOpen;
    const char* beginClose;
    const char* deinitFailed;
    const char* closeFailed;
    const char* closeDone;
    const char* endClose;
};

const Domain kDomains[] = {
    {&adsp_domain_handle, &adspDomainHandle_count, "ADSP",
     "file:///liblumivadsp_skel.so?lumivadsp_skel_handle_invoke&_modver=1.0&_dom=adsp",
     "Begin of domain_channel_open address of adsp_domain_handle=%p  value of adsp_domain_handle=%lu\n",
     "\nError: lumivaadsp domain open failed on ADSP",
     "Domain open is successful on ADSP. adsp_domain_handle address=%p  adsp_domain_handle value=%lu\n",
     "End of domain_channel_open \n",
     "Begin of domain_channel_close adsp_domain_handle address=%p  adsp_domain_handle=%lu\n",
     "Error while calling lumivadsp_deinitX5 for ADSP", "\nError: error in closing adsp_domain_handle",
     "Succesfully closed channel for adsp_domain_handle \n", "End of domain_channel_close for ADSP \n"},
    {&cdsp_domain_handle, &cdspDomainHandle_count, "CDSP",
     "file:///liblumivadsp_skel.so?lumivadsp_skel_handle_invoke&_modver=1.0&_dom=cdsp",
     "Begin of domain_channel_open cdsp_domain_handle=%p  value of cdsp_domain_handle=%lu\n",
     "\nError: lumivadsp domain open failed on CDSP",
     "Domain open is successful on CDSP. cdsp_domain_handle address=%p  cdsp_domain_handle value=%lu\n",
     "End of domain_channel_open for CDSP \n",
     "Begin of domain_channel_close cdsp_domain_handle address=%p  cdsp_domain_handle=%lu\n",
     "Error while calling lumivadsp_deinitX5 for CDSP", "\nError: error in closing cdsp_domain_handle",
     "Succesfully closed channel for cdsp_domain_handle \n", "End of domain_channel_close for CDSP \n"},
    {&mdsp_domain_handle, &mdspDomainHandle_count, "MDSP",
     "file:///liblumivadsp_skel.so?lumivadsp_skel_handle_invoke&_modver=1.0&_dom=mdsp",
     "Begin of domain_channel_open mdsp_domain_handle=%p value of mdsp_domain_handle=%lu\n",
     "\nError: lumivadsp domain open failed on MDSP",
     "Domain open is successful on MDSP. mdsp_domain_handle address=%p  mdsp_domain_handle value=%lu\n",
     "End of domain_channel_open \n",
     "Begin of domain_channel_close mdsp_domain_handle address=%p  mdsp_domain_handle=%lu\n",
     "Error while calling lumivadsp_deinitX5 for MDSP", "\nError: error in closing mdsp_domain_handle",
     "Succesfully closed channel for mdsp_domain_handle \n", "End of domain_channel_close for MDSP \n"},
};

enum SessionState { kNone = 0, kUp = 1, kFailed = 2 };
int gState = kNone;
LUMIVAHW_X5_MODE gMode = -1;

// The session's attribute record, and what the remote init receives of it.
lmvX5Attribute gAttribute = {3, 0};
lmvX5Attribute* gAttributePointer = nullptr;
int gAttributeCount = 0;

pthread_mutex_t gSessionLock;
pthread_mutex_t gRecoveryLock = PTHREAD_MUTEX_INITIALIZER;

void sleepSeconds(unsigned seconds)
{
    sleep(seconds);
}

void (*gPause)(unsigned) = sleepSeconds;
int gReloadAttempts = 10;
int gReinitAttempts = 15;

// The marshalling layer's own switch of its size guards.
uint32_t gGuardsOn = 1;

unsigned long printable(uint64_t handle)
{
    return static_cast<unsigned long>(handle);
}

const Domain* defaultDomain(const char* function)
{
    if (defaultDSP >= 0 && defaultDSP <= 2) return &kDomains[defaultDSP];
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "defaultDSP flag not set for the following function %s.", function);
    return nullptr;
}

void channelOpen(const Domain& d)
{
    ++*d.count;
    ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, d.beginOpen, static_cast<void*>(d.handle), printable(*d.handle));
    if (*d.count == 1 && *d.handle == 0) {
        const ILMV_X5_STUB& stub = ilmvX5StubTable();
        uint64_t handle = 0;
        if (!ilmvX5BindStub() || !stub.open || stub.open(d.uri, &handle) != 0) {
            ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", d.openFailed);
            return;
        }
        *d.handle = handle;
        ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, d.openDone, static_cast<void*>(d.handle), printable(*d.handle));
    }
    ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "%s", d.endOpen);
}

void channelClose(const Domain& d)
{
    --*d.count;
    ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, d.beginClose, static_cast<void*>(d.handle), printable(*d.handle));
    const ILMV_X5_STUB& stub = ilmvX5StubTable();
    if (!stub.deinit || stub.deinit(*d.handle) != 0) ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", d.deinitFailed);
    if (*d.count == 0 && *d.handle != 0) {
        if (!stub.close || stub.close(*d.handle) != 0) {
            ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", d.closeFailed);
            return;
        }
        *d.handle = 0;
        ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "%s", d.closeDone);
    }
    ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "%s", d.endClose);
}

// Runs call(handle, args...) on the default domain's handle; 6 (logged with `function`) when
// no default domain is set.
template <class Call, class... Args>
int onDefaultDomain(const char* function, Call call, Args... args)
{
    uint64_t handle = 0;
    if (!ilmvX5DefaultHandle(function, &handle)) return LUMIVA_NO_DEFAULT_DSP;
    return call(handle, args...);
}

// The housekeeping calls on a domain's handle; a missing stub function fails the call.
int getClk(uint64_t handle, uint64_t* value)
{
    return ilmvX5Stub(ilmvX5StubTable().getClk)(handle, value);
}

int probeTime(uint64_t handle, int64_t* microseconds)
{
    return ilmvX5Stub(ilmvX5StubTable().probeTime)(handle, microseconds);
}

template <class... Pairs>
int invalidate(uint64_t handle, Pairs... pairs)
{
    constexpr size_t kBuffers = sizeof...(Pairs) / 2;
    auto fn = reinterpret_cast<int (*)(uint64_t, Pairs...)>(ilmvX5StubTable().invalidate[kBuffers - 1]);
    return ilmvX5Stub(fn)(handle, pairs...);
}

void setGuards(uint32_t flag)
{
    gGuardsOn = flag;
}

}  // namespace

bool ilmvX5DefaultHandle(const char* name, uint64_t* handle)
{
    const Domain* d = defaultDomain(name);
    if (d) *handle = *d->handle;
    return d != nullptr;
}

bool ilmvX5GuardsOn()
{
    return gGuardsOn != 0;
}

LMV_STATUS ilmvX5Decline(const char* name)
{
    if (libLogPrint)
        ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "%s: Warning - Unsatisfied HW limitation, will try CPU", name);
    return LUMIVA_UNSUPPORTED;
}

void ilmvX5EnterRecoveryMode()
{
    lmvSetOperationMode_internal(LUMIVA_OP_CPU_PERFORMANCE);
}

void ilmvX5LeaveRecoveryMode()
{
    lmvSetOperationMode_internal(mode_globalVar);
}

void ilmvX5SetRecoveryTiming(void (*pause)(unsigned), int reloadAttempts, int reinitAttempts)
{
    gPause = pause ? pause : sleepSeconds;
    gReloadAttempts = reloadAttempts;
    gReinitAttempts = reinitAttempts;
}

extern "C" {

LMV_EXPORT void domain_channel_open_adsp(void) { channelOpen(kDomains[0]); }
LMV_EXPORT void domain_channel_open_cdsp(void) { channelOpen(kDomains[1]); }
LMV_EXPORT void domain_channel_open_mdsp(void) { channelOpen(kDomains[2]); }
LMV_EXPORT void domain_channel_close_adsp(void) { channelClose(kDomains[0]); }
LMV_EXPORT void domain_channel_close_cdsp(void) { channelClose(kDomains[1]); }
LMV_EXPORT void domain_channel_close_mdsp(void) { channelClose(kDomains[2]); }

LMV_EXPORT void domain_channel_open(void)
{
    if (const Domain* d = defaultDomain("domain_channel_open")) channelOpen(*d);
}

LMV_EXPORT void domain_channel_close(void)
{
    if (const Domain* d = defaultDomain("domain_channel_close")) channelClose(*d);
}

LMV_EXPORT int lmvX5SessionInit_internal(uint64_t handle, const lmvX5Attribute* attributes, int count,
                                         char* cpuVersion)
{
    ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "Begin of lmvX5SessionInit_internal dsp_handle=%lu %d %s",
            printable(handle), 22620, kSourcePath);
    const ILMV_X5_STUB& stub = ilmvX5StubTable();
    if (!stub.initWithAttributes || stub.initWithAttributes(handle, attributes, count) != 0) {
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", "lumivadsp_lmvX5SessionInit failed");
        return -1;
    }
    if (!cpuVersion) return -1;  // no version to compare: the session counts as failed
    char remote[10] = {};
    if (stub.getVersion) stub.getVersion(handle, remote, sizeof remote);
    remote[sizeof remote - 1] = 0;
    ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "Checking for lmvVersion  %d %s", 22627, kSourcePath);
    if (std::strncmp(cpuVersion, remote, 2) == 0) return 0;
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG,
            "Unmatch CPU and X5 major version. CPU version is %s, X5 version is %s  %d %s", cpuVersion, remote, 22636,
            kSourcePath);
    return -1;
}

LMV_EXPORT int lmvX5SessionInit_internal_adsp(const lmvX5Attribute* a, int n, char* v)
{
    return lmvX5SessionInit_internal(adsp_domain_handle, a, n, v);
}

LMV_EXPORT int lmvX5SessionInit_internal_cdsp(const lmvX5Attribute* a, int n, char* v)
{
    return lmvX5SessionInit_internal(cdsp_domain_handle, a, n, v);
}

LMV_EXPORT int lmvX5SessionInit_internal_mdsp(const lmvX5Attribute* a, int n, char* v)
{
    return lmvX5SessionInit_internal(mdsp_domain_handle, a, n, v);
}

LMV_EXPORT int lmvX5SessionInit(LUMIVAHW_X5_MODE mode, char* cpuVersion)
{
    gAttribute.id = 3;
    gAttributePointer = &gAttribute;
    if (mode >= 0 && mode <= 2) {
        gAttribute.value = mode;
        gAttributeCount = 1;
    } else {
        gAttributeCount = 0;
        gAttributePointer = nullptr;
    }
    domain_channel_open();  // a failed open leaves the handle 0, and the remote init fails
    pthread_mutex_init(&gSessionLock, nullptr);
    ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "In lmvX5SessionInit : attrib.value=%d  \n", gAttribute.value);
    uint64_t handle = 0;
    if (!ilmvX5DefaultHandle("lmvX5SessionInit", &handle)) return LUMIVA_NO_DEFAULT_DSP;
    return lmvX5SessionInit_internal(handle, gAttributePointer, gAttributeCount, cpuVersion);
}

LMV_EXPORT int lmvX5SessionDeInit(void)
{
    domain_channel_close();
    return 0;
}

LMV_EXPORT int lmvX5Initialize(LUMIVAHW_X5_MODE mode, char* cpuVersion)
{
    if (lmvX5SessionInit(mode, cpuVersion) == 0) {
        gMode = mode;
        gState = kUp;
        ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "X5 initialized successfully. X5 Lumiva functions mode %d are enabled.",
                mode);
        ilmvLog(LUMIVA_LOG_INFO, LUMIVA_LIB_TAG, "%s", "FIT:(FeatureName=>VSKAX5, Initialized=>1)");
        return 0;
    }
    gMode = -1;
    gState = kFailed;
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", "X5 initialized failed. X5 Lumiva functions are disabled.");
    return -1;
}

LMV_EXPORT int VSKAX5_init(LUMIVAHW_X5_MODE mode, char* cpuVersion)
{
    char value[LUMIVA_PROPERTY_VALUE_MAX];
    ilmvPropertyGet("vendor.runtime.lumiva.log", value);
    if (std::atoi(value) != 0) libLogPrint = 1;
    switch (gState) {
    case kUp:
        if (gMode == mode) return 0;
        VSKAX5_deinit();
        return lmvX5Initialize(mode, cpuVersion);
    case kNone: return lmvX5Initialize(mode, cpuVersion);
    default: return -1;  // a failed session is left as it is until VSKAX5_deinit
    }
}

LMV_EXPORT void VSKAX5_deinit(void)
{
    ilmvLog(LUMIVA_LOG_INFO, LUMIVA_LIB_TAG, "%s", "VSKAX5_deinit");
    if (gState == kUp || gState == kFailed) {
        domain_channel_close();
        pthread_mutex_destroy(&gSessionLock);
    }
    gMode = -1;
    gState = kNone;
}

LMV_EXPORT int VSKAX5_is_ready(void)
{
    return gState == kUp ? 1 : 0;
}

LMV_EXPORT LUMIVAHW_X5_MODE VSKAX5_get_current_mode(void)
{
    return gMode;
}

LMV_EXPORT int adspSSRcleanUpSequence(uint64_t handle)
{
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", "DSP SSR cleanup sequence initiated.");
    if (pthread_mutex_lock(&gRecoveryLock) != 0) return -1;
    uint64_t clock = 0;
    if (getClk(handle, &clock) == 0) {
        ilmvLog(LUMIVA_LOG_INFO, LUMIVA_LIB_TAG, "%s", "X5 already up. Skipping reload.");
        pthread_mutex_unlock(&gRecoveryLock);
        return 0;
    }
    // The caller's copy of the handle decides: a valid one ends the loop after one reload.
    bool reloaded = false;
    for (int attempt = 0; attempt < gReloadAttempts && !reloaded; ++attempt) {
        ilmvLog(LUMIVA_LOG_INFO, LUMIVA_LIB_TAG, "%s", "Trying to reload X5 stub.");
        domain_channel_close();
        domain_channel_open();
        reloaded = handle != 0;
    }
    if (!reloaded) {
        pthread_mutex_unlock(&gRecoveryLock);
        return -1;
    }
    ilmvLog(LUMIVA_LOG_INFO, LUMIVA_LIB_TAG, "%s", "Stub reloaded successfully.");
    ilmvLog(LUMIVA_LOG_INFO, LUMIVA_LIB_TAG, "%s", "Trying to reinitialize DSP.");
    const ILMV_X5_STUB& stub = ilmvX5StubTable();
    for (int attempt = 0; attempt < gReinitAttempts; ++attempt) {
        const int result = ilmvX5Stub(stub.initWithAttributes)(handle, nullptr, 0);
        gPause(1);
        if (result != 0) ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", "lumivadsp_lmvX5SessionInit failed");
        if (attempt + 1 < gReinitAttempts) ilmvLog(LUMIVA_LOG_INFO, LUMIVA_LIB_TAG, "%s", "Trying to reinitialize DSP.");
    }
    pthread_mutex_unlock(&gRecoveryLock);
    return -1;  // reloaded: the call that met the restart falls back, later calls find the DSP up
}

// ---- Clock, time, flags, caches, registration ----------------------------------------------

LMV_EXPORT int lmvX5GetClkX(uint64_t* value)
{
    return onDefaultDomain("lmvX5GetClkX", getClk, value);
}

LMV_EXPORT int lmvX5GetClk(uint64_t* value) { return lmvX5GetClkX(value); }
LMV_EXPORT int lmvX5GetClkXa(uint64_t* value) { return getClk(adsp_domain_handle, value); }
LMV_EXPORT int lmvX5GetClkXc(uint64_t* value) { return getClk(cdsp_domain_handle, value); }
LMV_EXPORT int lmvX5GetClkXm(uint64_t* value) { return getClk(mdsp_domain_handle, value); }

LMV_EXPORT int probeX5TimeX(int64_t* microseconds)
{
    return onDefaultDomain("probeX5TimeX", probeTime, microseconds);
}

LMV_EXPORT int probeX5Time(int64_t* microseconds) { return probeX5TimeX(microseconds); }
LMV_EXPORT int probeX5TimeXa(int64_t* microseconds) { return probeTime(adsp_domain_handle, microseconds); }
LMV_EXPORT int probeX5TimeXc(int64_t* microseconds) { return probeTime(cdsp_domain_handle, microseconds); }
LMV_EXPORT int probeX5TimeXm(int64_t* microseconds) { return probeTime(mdsp_domain_handle, microseconds); }

LMV_EXPORT int lmvUpdateDSPMsgFlagX(int flag)
{
    return onDefaultDomain("lmvUpdateDSPMsgFlagX", [flag](uint64_t handle) {
        int status = 1;  // what comes back when the stub has no such call
        if (ilmvX5StubTable().updateMsgFlag) ilmvX5StubTable().updateMsgFlag(handle, flag, &status);
        return status;
    });
}

LMV_EXPORT int lmv_cache_flush_invalidateX(uint8_t* address, uint32_t length)
{
    // The range goes twice: once to flush as input, once to invalidate as output.
    const int n = static_cast<int>(length);
    return onDefaultDomain("lmv_cache_flush_invalidateX", ilmvX5Stub(ilmvX5StubTable().cacheFlushInvalidate),
                           static_cast<const uint8_t*>(address), n, address, n);
}

LMV_EXPORT int lmvRegisterBufX(uint32_t a, uint32_t b, uint32_t c)
{
    // Registration takes no handle; only the default domain's being set is checked.
    return onDefaultDomain("lmvRegisterBufX", [=](uint64_t) { return ilmvX5Stub(ilmvX5StubTable().registerBuf)(a, b, c); });
}

LMV_EXPORT void lmvUpdateX5ConstraintCheckFlag(uint32_t flag)
{
    X5_constraint_checks_enable = flag;
}

LMV_EXPORT void lmvUpdateX5ConstraintCheckFlagX_abstractionLayer(uint64_t, uint32_t flag) { setGuards(flag); }
LMV_EXPORT void lmvUpdateX5ConstraintCheckFlagXa(uint32_t flag) { setGuards(flag); }
LMV_EXPORT void lmvUpdateX5ConstraintCheckFlagXc(uint32_t flag) { setGuards(flag); }
LMV_EXPORT void lmvUpdateX5ConstraintCheckFlagXm(uint32_t flag) { setGuards(flag); }

// Invalidation of one to six output buffers: the default domain (X) or a named one.
#define ILMV_PAIRS_1 void *b1, uint32_t l1
#define ILMV_PAIRS_2 ILMV_PAIRS_1, void *b2, uint32_t l2
#define ILMV_PAIRS_3 ILMV_PAIRS_2, void *b3, uint32_t l3
#define ILMV_PAIRS_4 ILMV_PAIRS_3, void *b4, uint32_t l4
#define ILMV_PAIRS_5 ILMV_PAIRS_4, void *b5, uint32_t l5
#define ILMV_PAIRS_6 ILMV_PAIRS_5, void *b6, uint32_t l6
#define ILMV_ARGS_1 b1, l1
#define ILMV_ARGS_2 ILMV_ARGS_1, b2, l2
#define ILMV_ARGS_3 ILMV_ARGS_2, b3, l3
#define ILMV_ARGS_4 ILMV_ARGS_3, b4, l4
#define ILMV_ARGS_5 ILMV_ARGS_4, b5, l5
#define ILMV_ARGS_6 ILMV_ARGS_5, b6, l6
#define ILMV_INVALIDATE(NAME, N)                                                                   \
    LMV_EXPORT int NAME##X(ILMV_PAIRS_##N)                                                         \
    {                                                                                              \
        return onDefaultDomain(#NAME "X", [=](uint64_t handle) { return invalidate(handle, ILMV_ARGS_##N); }); \
    }                                                                                              \
    LMV_EXPORT int NAME##Xa(ILMV_PAIRS_##N) { return invalidate(adsp_domain_handle, ILMV_ARGS_##N); } \
    LMV_EXPORT int NAME##Xc(ILMV_PAIRS_##N) { return invalidate(cdsp_domain_handle, ILMV_ARGS_##N); } \
    LMV_EXPORT int NAME##Xm(ILMV_PAIRS_##N) { return invalidate(mdsp_domain_handle, ILMV_ARGS_##N); }

ILMV_INVALIDATE(lmvInvalidateOutputBuffer, 1)
ILMV_INVALIDATE(lmvInvalidateOutputBuffer2, 2)
ILMV_INVALIDATE(lmvInvalidateOutputBuffer3, 3)
ILMV_INVALIDATE(lmvInvalidateOutputBuffer4, 4)
ILMV_INVALIDATE(lmvInvalidateOutputBuffer5, 5)
ILMV_INVALIDATE(lmvInvalidateOutputBuffer6, 6)

}  // extern "C"
