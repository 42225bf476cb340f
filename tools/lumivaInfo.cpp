// lumiva info: what the library sees on this machine and what each operation runs on.
#include "core/lumivaCore.h"
#include "gpgpu/engine/lumivaGpu.h"
#include "lumiva/lumiva.h"
#include "lumivaTool.h"

#include <cstdio>
#include <string>

namespace {

std::string hardwareNames(uint32_t mask)
{
    static const std::pair<uint32_t, const char*> bits[] = {
        {LUMIVA_HW_PROBED, "probed"}, {LUMIVA_HW_NEON, "neon"},     {LUMIVA_HW_DSP, "dsp"},
        {LUMIVA_HW_GPU, "gpu"},       {LUMIVA_HW_VFP, "vfp"},       {LUMIVA_HW_ARMV7, "armv7"},
        {LUMIVA_HW_PLATFORM, "platform-library"}};
    std::string names;
    for (const auto& [bit, name] : bits)
        if (mask & bit) names += (names.empty() ? "" : " ") + std::string(name);
    return names.empty() ? "none" : names;
}

std::string formsPresent(uint32_t present)
{
    static const char* const names[] = {"C", "V", "DSP", "GPU"};
    std::string forms;
    for (int bit = 0; bit < 4; ++bit)
        if (present & (1u << bit)) forms += (forms.empty() ? "" : " ") + std::string(names[bit]);
    return forms;
}

// The domains whose session opens, tried one by one before the mode is applied.
std::string dspDomainsFound()
{
    static const char* const kNames[] = {"ADSP", "CDSP", "MDSP"};
    const int saved = defaultDSP;
    std::string found;
    for (int domain = 0; domain < 3; ++domain) {
        char version[] = "1.7.1";
        setDefaultDSPValue(domain);
        if (lmvX5Initialize(0, version) == 0) found += (found.empty() ? "" : " ") + std::string(kNames[domain]);
        VSKAX5_deinit();
    }
    setDefaultDSPValue(saved);
    return found.empty() ? "none" : found;
}

// The remote form a slot runs when it goes to the DSP in this mode: the default domain's.
const char* remoteChoice(uint32_t slot)
{
    if (defaultDSP < 0 || defaultDSP > 2) return "-";
    const uint32_t column = LMV_IMPL_XA + static_cast<uint32_t>(defaultDSP);
    return lmvFuncTable[slot * LMV_IMPL_COUNT + column] ? lmvImplChar[column] : "-";
}

// What the GPU runtime found: the library, the platform and device it would use, whether
// they are accepted, and what creation cost.
void printGpu()
{
    const ILMV_CL* cl = ilmvCl();
    if (!cl) {
        std::printf("GPU             no OpenCL library (the GPU slots run SIMD)\n");
        return;
    }
    cl_platform_id platform = nullptr;
    cl_uint count = 0;
    if (cl->clGetPlatformIDs(1, &platform, &count) != CL_SUCCESS || count == 0) {
        std::printf("GPU             OpenCL library, no platform\n");
        return;
    }
    char vendor[256] = {}, name[256] = {};
    cl->clGetPlatformInfo(platform, CL_PLATFORM_VENDOR, sizeof vendor - 1, vendor, nullptr);
    cl->clGetPlatformInfo(platform, CL_PLATFORM_NAME, sizeof name - 1, name, nullptr);
    cl_device_id device = nullptr;
    std::string deviceName = "none", type = "-";
    if (cl->clGetDeviceIDs(platform, CL_DEVICE_TYPE_ALL, 1, &device, nullptr) == CL_SUCCESS) {
        deviceName = ilmvGpuDeviceText(*cl, device, CL_DEVICE_NAME);
        cl_device_type bits = 0;
        cl->clGetDeviceInfo(device, CL_DEVICE_TYPE, sizeof bits, &bits, nullptr);
        type = bits & CL_DEVICE_TYPE_GPU ? "GPU" : bits & CL_DEVICE_TYPE_CPU ? "CPU" : "other";
    }
    std::printf("GPU platform    %s (vendor \"%s\")\n", name, vendor);
    std::printf("GPU device      %s, type %s\n", deviceName.c_str(), type.c_str());
    const bool accepted = lmvHasGPU() == 1;
    std::printf("GPU accepted    %s (the build accepts vendor \"%s\", type %s)\n", accepted ? "yes" : "no",
                ilmvGpuAcceptedVendor(), ilmvGpuAcceptedType() == CL_DEVICE_TYPE_CPU ? "CPU" : "GPU");
    int reserved = 0;
    for (int i = 0; i < ILMV_GPU_KERNELS; ++i) reserved += ilmvGpuKernelSources[i].reserved;
    const ILMV_GPU_STATS& stats = ilmvGpuStats();
    if (GPU_initflag)
        std::printf("GPU system      created in %.1f ms: %d programs from the binary cache, %d compiled, %d from files\n",
                    stats.creationUs / 1000.0, stats.programsFromCache, stats.programsCompiled,
                    stats.programsFromFiles);
    std::printf("kernel table    %d entries: %d real programs, %d reserved for engines still to come\n",
                ILMV_GPU_KERNELS, ILMV_GPU_KERNELS - reserved, reserved);
}

// The GPU form of a slot and what it runs: the engine while the GPU system is up, else SIMD.
const char* gpuChoice(uint32_t slot)
{
    if (!(lmvIsPresentImpl[slot] & LMV_PRESENT_GPU)) return "-";
    return GPU_initflag ? "G:GPU" : "G:SIMD";
}

}  // namespace

int runInfo(int32_t mode)
{
    useHostDspPlatform();
    const std::string domains = dspDomainsFound();
    if (lmvSetOperationMode(mode) != 0) {
        std::fprintf(stderr, "lumiva info: unknown operation mode %d\n", mode);
        return kExitUsage;
    }
    char version[16] = {};
    lmvGetVersion(version, sizeof version);
    const uint32_t hardware = lmvAvailableHardware(mode);
    std::printf("library version %s\n", version);
    std::printf("processors      %d\n", lmvAvailableProcessors());
    std::printf("hardware mask   0x%x (%s)\n", hardware, hardwareNames(hardware).c_str());
    std::printf("operation mode  %d (0x%x)\n", mode, uint32_t(mode));
    std::printf("DSP domains     %s (default %d; session %s)\n", domains.c_str(), defaultDSP,
                VSKAX5_is_ready() ? "up" : "not open");
    printGpu();
    std::printf("units           CPU reference, ORTAL SIMD, GPU, XDSP default DSP, ADSP/CDSP/MDSP a named DSP\n\n");
    std::printf("%-5s %-44s %-8s %-7s %-7s %s\n", "slot", "operation", "chosen", "remote", "gpu", "forms present");
    for (uint32_t slot = 0; slot < LMV_API_COUNT; ++slot) {
        if (!ilmvApiNames[slot]) continue;  // reserved slot
        std::printf("%-5u %-44s %-8s %-7s %-7s %s\n", slot, ilmvApiNames[slot], lmvImplChar[lmvImplTable[slot]],
                    remoteChoice(slot), gpuChoice(slot), formsPresent(lmvIsPresentImpl[slot]).c_str());
    }
    lmvCleanUp();
    return kExitOk;
}
