// Hardware discovery: the processor probe, the hardware mask of a mode, the units it
// opens, the version, and the optional platform-optimisation library.
//
// The chip names that mark a processor without DSP and GPU, and the platform-name
// prefixes of the supported chip families, are build-time configuration
// (LUMIVA_CPU_ONLY_CHIPS and LUMIVA_PLATFORM_PREFIXES, ';'-separated, empty by default).
#include "lumiva/lumiva.h"
#include "memory/lumivaMemInternal.h"
#include "platform/lumivaHardware.h"
#include "platform/lumivaPlatform.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#ifndef LUMIVA_CPU_ONLY_CHIPS
#define LUMIVA_CPU_ONLY_CHIPS ""
#endif
#ifndef LUMIVA_PLATFORM_PREFIXES
#define LUMIVA_PLATFORM_PREFIXES ""
#endif

namespace {

constexpr char kVersion[] = "1.7.1";
constexpr char kSourcePath[] = "src/platform/android/lumivaHwAndroid";

ILMV_CPU_RECORD gCpu;
pthread_once_t gProbeOnce = PTHREAD_ONCE_INIT;


// Calls fn(word) for each ';'-separated word of `list`.
template <class Fn>
bool anyListed(const char* list, Fn fn)
{
    char word[128];
    for (const char* p = list; *p;) {
        size_t n = std::strcspn(p, ";");
        if (n && n < sizeof word) {
            std::memcpy(word, p, n);
            word[n] = 0;
            if (fn(word)) return true;
        }
        p += n + (p[n] ? 1 : 0);
    }
    return false;
}

bool hasWord(const char* text, const char* word)
{
    const char* blanks = " \t";
    for (const char* p = text + std::strspn(text, blanks); *p; p += std::strspn(p, blanks)) {
        size_t n = std::strcspn(p, blanks);
        if (n == std::strlen(word) && std::strncmp(p, word, n) == 0) return true;
        p += n;
    }
    return false;
}

void probeOnce()
{
    gCpu = ilmvProbeCpuFile("/proc/cpuinfo", LUMIVA_CPU_ONLY_CHIPS);
}

// ---- Units ---------------------------------------------------------------------------
// The DSP session opens through the remote client; the GPU system plugs in here. Until it
// exists no GPU is found, so bit 0x20 stays clear.

int gDspComponent = -1;  // component of the open session, -1 when none
int gDspDomain = -1;     // default domain it was opened on
bool gDspAllocatorReady = false;

int openDspSession(int component, const char* version)
{
    char text[sizeof kVersion];
    std::memcpy(text, version, sizeof text);
    return lmvX5Initialize(component, text);
}

// Closes on the domain the session was opened on, even when defaultDSP has moved since.
void closeDspSession()
{
    const int current = defaultDSP;
    if (gDspDomain >= 0) defaultDSP = gDspDomain;
    VSKAX5_deinit();
    defaultDSP = current;
    gDspComponent = gDspDomain = -1;
}

void logUnitTime(const char* what, int64_t since)
{
    if (libLogPrint)
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_RUNTIME_TAG, "%s %lld", what, static_cast<long long>(lmvGetTime() - since));
}

// Reopening on a changed domain failed: the log names the domain.
void logReopenFailure()
{
    static const char* const kTexts[] = {
        "Failed to open channel on ADSP!! ADSP does not support Domains on this target %d %s",
        "Failed to open channel on CDSP!! CDSP does not support Domains on this target %d %s",
        "Failed to open channel on MDSP!! MDSP does not support Domains on this target %d %s"};
    const char* text = defaultDSP >= 0 && defaultDSP <= 2 ? kTexts[defaultDSP] : "Unknown DSP type selected.%d %s";
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, text, __LINE__, kSourcePath);
}

bool openDspFor(int component)
{
    if (gDspComponent == component && gDspDomain == defaultDSP) return true;
    const bool reopening = gDspComponent == component;
    ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "%s", "Lumiva vendor library");
    closeDspSession();
    if (openDspSession(component, kVersion) != 0) {
        if (reopening) logReopenFailure();
        return false;
    }
    gDspComponent = component;
    gDspDomain = defaultDSP;
    return true;
}

// The DSP component a mode uses: 0, 2, 1 for modes 0, 1, 2; 2 for the extended modes.
int dspComponentOf(lmvOperationMode mode)
{
    if (mode < 0) return 2;
    static const int kComponents[] = {0, 2, 1};
    return mode <= 2 ? kComponents[mode] : 1;
}

void* gPlatformLibrary = nullptr;
std::string gPlatformPrefixes = LUMIVA_PLATFORM_PREFIXES;

}  // namespace

void ilmvSetPlatformPrefixes(const char* prefixes)
{
    gPlatformPrefixes = prefixes ? prefixes : LUMIVA_PLATFORM_PREFIXES;
}

// ---- Probe ---------------------------------------------------------------------------

char* ilmvCpuInfoField(const char* text, const char* field)
{
    const size_t n = std::strlen(field);
    for (const char* line = text; line && *line; line = std::strchr(line, '\n'), line = line ? line + 1 : nullptr) {
        if (std::strncmp(line, field, n) != 0) continue;
        const char* p = line + n + std::strspn(line + n, " \t");
        if (*p != ':') continue;
        if (*++p == ' ') ++p;
        return strndup(p, std::strcspn(p, "\r\n"));
    }
    return nullptr;
}

// Whole files are read to their end, not to a size read first: on phones with many cores
// the per-processor blocks of /proc/cpuinfo push the "Hardware" line far past the first
// 4096 bytes, and /proc files report no size. Reads retry on EINTR.
char* ilmvReadWholeFile(const char* path, size_t* length)
{
    int fd = open(path, O_RDONLY);
    if (fd < 0) return nullptr;
    size_t size = 0, capacity = 4096;
    char* text = static_cast<char*>(std::malloc(capacity + 1));
    while (text) {
        if (size == capacity) {
            char* grown = static_cast<char*>(std::realloc(text, 2 * capacity + 1));
            if (!grown) break;
            text = grown;
            capacity *= 2;
        }
        ssize_t n = read(fd, text + size, capacity - size);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            std::free(text);
            text = nullptr;
        }
        if (n <= 0) break;
        size += static_cast<size_t>(n);
    }
    close(fd);
    if (text) text[size] = 0;
    if (length) *length = text ? size : 0;
    return text;
}

ILMV_CPU_RECORD ilmvParseCpuInfo(const char* text, const char* cpuOnlyChips)
{
    ILMV_CPU_RECORD cpu{true, 0, 0, false};
    if (char* arch = ilmvCpuInfoField(text, "CPU architecture")) {
        if (std::strtol(arch, nullptr, 10) >= 7) cpu.features |= ILMV_CPU_ARMV7;
        std::free(arch);
    }
    if (char* implementer = ilmvCpuInfoField(text, "CPU implementer")) {
        cpu.implementer = static_cast<uint32_t>(std::strtoul(implementer, nullptr, 0));
        std::free(implementer);
    }
    if (char* features = ilmvCpuInfoField(text, "Features")) {
        if (hasWord(features, "vfp") || hasWord(features, "fp")) cpu.features |= ILMV_CPU_VFP;
        if (hasWord(features, "neon") || hasWord(features, "asimd")) cpu.features |= ILMV_CPU_NEON;
        std::free(features);
    }
    if (char* hardware = ilmvCpuInfoField(text, "Hardware")) {
        cpu.cpuOnly = anyListed(cpuOnlyChips, [&](const char* chip) { return std::strstr(hardware, chip) != nullptr; });
        std::free(hardware);
    }
    return cpu;
}

ILMV_CPU_RECORD ilmvProbeCpuFile(const char* path, const char* cpuOnlyChips)
{
    char* text = ilmvReadWholeFile(path, nullptr);
    if (!text) return ILMV_CPU_RECORD{true, 0, 0, false};
    ILMV_CPU_RECORD cpu = ilmvParseCpuInfo(text, cpuOnlyChips);
    std::free(text);
    return cpu;
}

ILMV_CPU_RECORD& ilmvCpuRecord()
{
    pthread_once(&gProbeOnce, probeOnce);
    return gCpu;
}

bool ilmvPlatformMatches(const char* platform, const char* prefixes)
{
    return anyListed(prefixes, [&](const char* prefix) { return std::strncmp(platform, prefix, std::strlen(prefix)) == 0; });
}

extern "C" {

LMV_EXPORT int XDSP_initflag;
LMV_EXPORT int GPU_initflag;

LMV_EXPORT uint32_t lmvAvailableHWComponent(lmvOperationMode mode)
{
    uint32_t mask = 0;
    int64_t start = lmvGetTime();
    if (openDspFor(dspComponentOf(mode))) mask |= LUMIVA_HW_DSP;
    logUnitTime(" X5 Initialization Time :", start);
    if (mode != 0) {
        start = lmvGetTime();
        if (lmvHasGPU() == 1 && lmvGpuCreateSystem(1) == 0) {
            mask |= LUMIVA_HW_GPU;
            logUnitTime(" GPU Initialization Time :", start);
        }
    }
    // The shared-memory pair follows the units: the GPU's when it is up, else the DSP's;
    // with neither the pair in force stays.
    if (mask & LUMIVA_HW_GPU) ilmvSetSharedAllocator(lmvSharedMemAllocG, lmvSharedMemFreeG);
    if ((mask & LUMIVA_HW_DSP) && !(mask & LUMIVA_HW_GPU)) {
        if (!gDspAllocatorReady) gDspAllocatorReady = lmvInitSharedMem_Xdsp() == 0;
        ilmvSetSharedAllocator(lmvSharedMemAllocX, lmvSharedMemFreeX);
    }
    return mask;
}

LMV_EXPORT uint32_t lmvAvailableHardware(lmvOperationMode mode)
{
    ILMV_CPU_RECORD& cpu = ilmvCpuRecord();
    char value[LUMIVA_PROPERTY_VALUE_MAX];
    ilmvPropertyGet("vendor.runtime.lumiva.log", value);
    libLogPrint = std::atoi(value) != 0;

    uint32_t mask = cpu.probed ? LUMIVA_HW_PROBED : 0;
    if (cpu.implementer == 0x41 || cpu.implementer == 0x51) {
        mask |= LUMIVA_HW_PLATFORM;
    } else {
        ilmvPropertyGet("ro.board.platform", value);
        if (ilmvPlatformMatches(value, gPlatformPrefixes.c_str())) {
            mask |= LUMIVA_HW_PLATFORM;
            cpu.implementer = 0x51;
        }
    }
    if (cpu.features & ILMV_CPU_NEON) mask |= LUMIVA_HW_NEON;
    if (cpu.features & ILMV_CPU_VFP) mask |= LUMIVA_HW_VFP;
    if (cpu.features & ILMV_CPU_ARMV7) mask |= LUMIVA_HW_ARMV7;

    const bool cpuModes = mode == LUMIVA_OP_CPU_PERFORMANCE || mode == static_cast<int32_t>(0x80000001u) ||
                          mode == static_cast<int32_t>(0x80000002u) || mode == static_cast<int32_t>(0x80000004u);
    if (cpuModes || (cpu.implementer != 0x41 && cpu.implementer != 0x51)) return mask;
    mask |= lmvAvailableHWComponent(mode);
    XDSP_initflag = (mask & LUMIVA_HW_DSP) != 0;
    GPU_initflag = (mask & LUMIVA_HW_GPU) != 0;
    return mask;
}

LMV_EXPORT int lmvAvailableProcessors(void)
{
    long n = sysconf(_SC_NPROCESSORS_ONLN);
    if (n < 1) {
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s", "Error in getting the number of available processor");
        return 1;
    }
    return static_cast<int>(n);
}

LMV_EXPORT int lmv_check_only_cpu(void)
{
    return ilmvCpuRecord().cpuOnly ? 1 : 0;
}

LMV_EXPORT int64_t lmvGetTime(void)
{
    timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_usec;
}

LMV_EXPORT void lmvGetVersion(char* dest, uint32_t length)
{
    ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "%s\n", "Lumiva vendor library");
    if (dest && length >= sizeof kVersion)
        std::memcpy(dest, kVersion, sizeof kVersion);
    else if (dest)
        std::memset(dest, 0, length);
}

LMV_EXPORT int lmvSelectXDSP5Mode(int component)
{
    ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "%s", "Lumiva vendor library");
    closeDspSession();
    XDSP_initflag = 0;  // the session is down until the new one opens
    int error = openDspSession(component, kVersion);
    if (error != 0) return error;
    gDspComponent = component;
    gDspDomain = defaultDSP;
    XDSP_initflag = 1;
    return 1;
}

LMV_EXPORT void lmvCleanUp(void)
{
    const bool dspAllocator = ilmvSharedAllocator().alloc == lmvSharedMemAllocX;
    closeDspSession();
    lmvGpuDestroySystem();
    if (dspAllocator) {
        lmvDeInitSharedMem_Xdsp();
        gDspAllocatorReady = false;
    }
    ilmvClearSharedAllocator();
    XDSP_initflag = 0;
    GPU_initflag = 0;
}

LMV_EXPORT int lmvPlatformOptLoad(void)
{
    static const char kPath[] = "/data/local/liblmvopt.so";
    ilmvLog(LUMIVA_LOG_DEBUG, "lmv", "Loading from: %s\n", kPath);
    if (!gPlatformLibrary) gPlatformLibrary = dlopen(kPath, RTLD_LAZY);
    if (!gPlatformLibrary) {
        ilmvLog(LUMIVA_LOG_ERROR, "lumiva_PLATFORM", "dlopen for %s failed!\n Error:%s\n", kPath, dlerror());
        return -1;
    }
    ilmvLog(LUMIVA_LOG_DEBUG, "lumiva_PLATFORM", "dlopen for %s is successfull.\n", kPath);
    return 0;
}

LMV_EXPORT void* lmvPlatformOptGetFunc(const char* symbol)
{
    void* fn = gPlatformLibrary ? dlsym(gPlatformLibrary, symbol) : nullptr;
    if (!fn)
        ilmvLog(LUMIVA_LOG_ERROR, "lumiva_PLATFORM", "dlsym for %s failed! \n Error:%s\n", symbol,
                gPlatformLibrary ? dlerror() : "no library loaded");
    return fn;
}

LMV_EXPORT int lmvPlatformOptClose(void)
{
    if (gPlatformLibrary) dlclose(gPlatformLibrary);
    gPlatformLibrary = nullptr;
    return 0;
}

}  // extern "C"
