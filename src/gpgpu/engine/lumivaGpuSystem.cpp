// The GPU system: finding an accepted OpenCL platform, creating the context, the queue, the
// kernel programs and the caches once, handing out kernels by index, and tearing it all
// down again. Every failure is reported with its step and returned as a code.
#include "gpgpu/engine/lumivaGpu.h"
#include "lumiva/lumivaGpu.h"
#include "lumiva/lumivaMode.h"
#include "platform/lumivaPlatform.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#ifndef LUMIVA_GPU_VENDOR
#define LUMIVA_GPU_VENDOR ""
#endif
#ifndef LUMIVA_GPU_DEVICE_TYPE
#define LUMIVA_GPU_DEVICE_TYPE 4
#endif

namespace {

const char kPath[] = "src/gpgpu/engine/vskGpuInitialization";

ILMV_GPU_SYSTEM* gSystem = nullptr;
ILMV_GPU_STATS gStats;
std::string gVendor = LUMIVA_GPU_VENDOR;
cl_device_type gType = LUMIVA_GPU_DEVICE_TYPE;

#define GPU_FAIL(code, message) vskGpuError((code), __func__, (message), kPath, __LINE__)

// The platform IDs, or an empty list (after the step's message) with `code` set.
std::vector<cl_platform_id> platformIds(const ILMV_CL& cl, cl_int* code, bool report)
{
    cl_uint count = 0;
    *code = cl.clGetPlatformIDs(0, nullptr, &count);
    if (*code != CL_SUCCESS || count == 0) {
        if (report) GPU_FAIL(*code, *code != CL_SUCCESS ? "Failed to get platform IDs" : "No OpenCL platform found!");
        if (*code == CL_SUCCESS) *code = CL_INVALID_PLATFORM;
        return {};
    }
    std::vector<cl_platform_id> ids(count);
    *code = cl.clGetPlatformIDs(count, ids.data(), nullptr);
    if (*code != CL_SUCCESS) {
        if (report) GPU_FAIL(*code, "Could not detect any platform.");
        return {};
    }
    return ids;
}

// The first platform with a device of the accepted type, or null.
cl_platform_id platformWithDevice(const ILMV_CL& cl, const std::vector<cl_platform_id>& ids)
{
    for (cl_platform_id platform : ids) {
        cl_uint devices = 0;
        if (cl.clGetDeviceIDs(platform, gType, 0, nullptr, &devices) == CL_SUCCESS && devices > 0) return platform;
    }
    return nullptr;
}

std::string platformText(const ILMV_CL& cl, cl_platform_id platform, cl_platform_info what)
{
    return ilmvClText([&](size_t size, void* value, size_t* returned) {
        return cl.clGetPlatformInfo(platform, what, size, value, returned);
    });
}

cl_context createContext(const ILMV_CL& cl, cl_platform_id platform, cl_int* code)
{
    const cl_context_properties properties[] = {CL_CONTEXT_PLATFORM, reinterpret_cast<cl_context_properties>(platform),
                                                0};
    cl_context context = cl.clCreateContextFromType(properties, gType, nullptr, nullptr, code);
    if (context) return context;
    GPU_FAIL(*code, "Failed to create GPU context, trying CPU...");
    if (*code == CL_DEVICE_NOT_FOUND) GPU_FAIL(*code, "There is no GPU device available on the first available platform.");
    vskGpuMessage("Trying to creating OpenCL context on CPU device...", kPath, __LINE__);
    context = cl.clCreateContextFromType(properties, CL_DEVICE_TYPE_CPU, nullptr, nullptr, code);
    if (context) {
        vskGpuMessage("Created an OpenCL CPU context.", kPath, __LINE__);
        return context;
    }
    GPU_FAIL(*code, "Failed to create an CPU context.");
    GPU_FAIL(*code, *code == CL_DEVICE_NOT_FOUND      ? "There is no OpenCL deveice available."
                    : *code == CL_OUT_OF_HOST_MEMORY ? "Failed to allocate memory to create context."
                                                     : "Failed to create context.");
    return nullptr;
}

cl_int listDevices(const ILMV_CL& cl, ILMV_GPU_SYSTEM& s)
{
    size_t size = 0;
    cl_int code = cl.clGetContextInfo(s.context, CL_CONTEXT_DEVICES, 0, nullptr, &size);
    if (code != CL_SUCCESS) return GPU_FAIL(code, "Failed to get device IDs"), code;
    if (size < sizeof(cl_device_id)) return GPU_FAIL(CL_DEVICE_NOT_FOUND, "No devices available."), CL_DEVICE_NOT_FOUND;
    s.devices = static_cast<cl_device_id*>(std::malloc(size));
    if (!s.devices) return GPU_FAIL(ILMV_GPU_NO_MEMORY, "Out of memory."), ILMV_GPU_NO_MEMORY;
    code = cl.clGetContextInfo(s.context, CL_CONTEXT_DEVICES, size, s.devices, nullptr);
    if (code != CL_SUCCESS) return GPU_FAIL(code, "Failed call to clGetContextInfo(...,GL_CONTEXT_DEVICES,...)"), code;
    s.deviceCount = static_cast<cl_uint>(size / sizeof(cl_device_id));
    return CL_SUCCESS;
}

cl_int createQueue(const ILMV_CL& cl, ILMV_GPU_SYSTEM& s)
{
    cl_int code = CL_SUCCESS;
    s.queue = cl.clCreateCommandQueue(s.context, s.devices[0], 0, &code);
    if (s.queue) return CL_SUCCESS;
    GPU_FAIL(code, code == CL_OUT_OF_HOST_MEMORY ? "Failed to allocate memory to create command queue."
                                                 : "Failed to create command queue.");
    return code ? code : CL_OUT_OF_RESOURCES;
}

// Everything of the record but the record itself, in reverse order of creation.
void releaseSystem(const ILMV_CL* cl, ILMV_GPU_SYSTEM& s)
{
    ilmvGpuReleasePrograms(s);
    if (cl && s.queue) cl->clReleaseCommandQueue(s.queue);
    if (cl && s.context) cl->clReleaseContext(s.context);
    std::free(s.devices);
    std::free(s.programs);
    std::free(s.kernels);  // allocated as creation's step 6 tells; kernels are made per call
    for (ILMV_GPU_KERNEL_RECORD& r : s.table)
        if (r.ownsData) std::free(const_cast<unsigned char*>(r.data));
    std::memset(&s, 0, sizeof s);
}

int createSystem(const ILMV_CL& cl, ILMV_GPU_SYSTEM& s)
{
    cl_int code = CL_SUCCESS;
    const std::vector<cl_platform_id> ids = platformIds(cl, &code, true);
    if (ids.empty()) return code;
    // The platform lmvHasGPU accepts when there is one; otherwise the first.
    s.platform = platformWithDevice(cl, ids);
    if (!s.platform) s.platform = ids[0];
    if (!(s.context = createContext(cl, s.platform, &code))) return code;
    if ((code = listDevices(cl, s)) != CL_SUCCESS) return code;
    if ((code = createQueue(cl, s)) != CL_SUCCESS) return code;
    if ((code = ilmvGpuBuildPrograms(s)) != CL_SUCCESS) return code;
    return ilmvGpuCreateCaches(s);
}

}  // namespace

ILMV_GPU_SYSTEM* ilmvGpuSystem()
{
    return gSystem;
}

ILMV_GPU_STATS& ilmvGpuStats()
{
    return gStats;
}

void ilmvGpuSetAcceptedPlatform(const char* vendor, cl_device_type type)
{
    gVendor = vendor ? vendor : LUMIVA_GPU_VENDOR;
    gType = type ? type : LUMIVA_GPU_DEVICE_TYPE;
}

const char* ilmvGpuAcceptedVendor()
{
    return gVendor.c_str();
}

cl_device_type ilmvGpuAcceptedType()
{
    return gType;
}

extern "C" {

LMV_EXPORT int vskGpuError(cl_int code, const char* function, const char* message, const char* file, int line)
{
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s:%d %s: %s (%d)\n", file, line, function ? function : "", message,
            static_cast<int>(code));
    return code == 0 ? 0 : code - 400;
}

LMV_EXPORT void vskGpuMessage(const char* message, const char* file, int line, ...)
{
    char text[512];
    va_list args;
    va_start(args, line);
    std::vsnprintf(text, sizeof text, message, args);
    va_end(args);
    const size_t length = std::strlen(text);
    const bool ended = length > 0 && text[length - 1] == '\n';  // texts that bring their own line end
    ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "%s:%d %s%s", file, line, text, ended ? "" : "\n");
}

LMV_EXPORT int lmvHasGPU(void)
{
    const ILMV_CL* cl = ilmvCl();
    if (!cl || gVendor.empty()) return 0;
    cl_int code = CL_SUCCESS;
    const std::vector<cl_platform_id> ids = platformIds(*cl, &code, false);
    if (ids.empty()) return 0;
    cl_platform_id platform = platformWithDevice(*cl, ids);
    if (!platform) return 0;
    const std::string vendor = platformText(*cl, platform, CL_PLATFORM_VENDOR);
    if (vendor != gVendor) {
        ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "OpenCL vendor \"%s\" is not the accepted one\n", vendor.c_str());
        return 0;
    }
    return 1;
}

LMV_EXPORT int lmvGpuCreateSystem(int)
{
    if (gSystem && gSystem->initialised) return 0;
    const ILMV_CL* cl = ilmvCl();
    if (!cl) return ILMV_GPU_NO_SYSTEM;
    if (!gSystem) gSystem = static_cast<ILMV_GPU_SYSTEM*>(std::calloc(1, sizeof(ILMV_GPU_SYSTEM)));
    if (!gSystem) return GPU_FAIL(ILMV_GPU_NO_SYSTEM, "No system record."), ILMV_GPU_NO_SYSTEM;
    const int64_t start = lmvGetTime();
    gStats.programsFromCache = gStats.programsCompiled = gStats.programsFromFiles = gStats.rebuiltStale = 0;
    const int code = createSystem(*cl, *gSystem);
    if (code != CL_SUCCESS) {
        releaseSystem(cl, *gSystem);
        return code;
    }
    gStats.creationUs = lmvGetTime() - start;
    gSystem->initialised = true;
    return 0;
}

LMV_EXPORT void lmvGpuDestroySystem(void)
{
    if (!gSystem || !gSystem->initialised) return;
    const ILMV_CL* cl = ilmvCl();
    gSystem->initialised = false;
    ilmvGpuDestroyCaches(*gSystem);
    releaseSystem(cl, *gSystem);
}

LMV_EXPORT int lmvInitGPU(void)
{
    return lmvGpuCreateSystem(1) == 0 ? 1 : 0;
}

LMV_EXPORT void lmvCleanupGPU(void)
{
    lmvGpuDestroySystem();
}

LMV_EXPORT cl_kernel _gpuCreateKernel(int index, cl_int* err)
{
    if (!gSystem || !gSystem->initialised) return nullptr;
    // The bound is one above the table, as it always was: index 110 finds the empty entry
    // after the table and fails cleanly; 111 and beyond stop the process.
    if (index < 0 || index >= ILMV_GPU_KERNELS + 1) std::abort();
    if (index == ILMV_GPU_KERNELS) {
        if (err) *err = CL_INVALID_KERNEL_NAME;
        return nullptr;
    }
    return ilmvCl()->clCreateKernel(gSystem->programs[index], gSystem->table[index].name, err);
}

}  // extern "C"
