// A stand-in for the OpenCL library that forwards every call to the real one and fails a
// chosen call on request: the nth call of one function from now, for `times` calls, with a
// chosen code (functions that return objects return null and set their error argument).
// The GPU fault tests bind the library to this file instead of the system's loader.
#include "gpgpu/engine/lumivaCl.h"

#include <dlfcn.h>

#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <tuple>
#include <type_traits>

namespace {

std::mutex gLock;
ILMV_CL gReal;
bool gBound = false;
char gFunction[64];
int gSkip = 0, gTimes = 0;
cl_int gCode = 0;
std::map<std::string, int> gCalls;

const ILMV_CL& real()
{
    std::lock_guard<std::mutex> lock(gLock);
    if (!gBound) {
        void* handle = dlopen("libOpenCL.so.1", RTLD_NOW | RTLD_LOCAL);
#define SHIM_RESOLVE(name, result, params) \
    gReal.name = handle ? reinterpret_cast<result(*) params>(dlsym(handle, #name)) : nullptr;
        ILMV_CL_FUNCTIONS(SHIM_RESOLVE)
#undef SHIM_RESOLVE
        gBound = true;
    }
    return gReal;
}

bool failNow(const char* name)
{
    std::lock_guard<std::mutex> lock(gLock);
    ++gCalls[name];
    if (gTimes <= 0 || std::strcmp(name, gFunction) != 0) return false;
    if (gSkip > 0) return --gSkip, false;
    --gTimes;
    return true;
}

// What the last kernel run was given: its work size and each argument's width.
size_t gLastGlobal[2];
size_t gArgBytes[32];

template <class... A>
void record(const char* name, A... args)
{
    std::lock_guard<std::mutex> lock(gLock);
    auto all = std::forward_as_tuple(args...);
    using Run = std::tuple<cl_command_queue, cl_kernel, cl_uint, const size_t*, const size_t*, const size_t*, cl_uint,
                           const cl_event*, cl_event*>;
    using SetArg = std::tuple<cl_kernel, cl_uint, size_t, const void*>;
    if constexpr (std::is_same_v<std::tuple<A...>, Run>) {
        const size_t* global = std::get<4>(all);
        gLastGlobal[0] = global[0];
        gLastGlobal[1] = std::get<2>(all) > 1 ? global[1] : 1;
    } else if constexpr (std::is_same_v<std::tuple<A...>, SetArg>) {
        if (std::get<1>(all) < 32) gArgBytes[std::get<1>(all)] = std::get<2>(all);
    }
    (void)name;
}

template <class R, class... A>
R forward(const char* name, R (*function)(A...), A... args)
{
    record(name, args...);
    if (failNow(name)) {
        if constexpr (std::is_same_v<R, cl_int>) {
            return gCode;
        } else {
            // Every object-returning call takes its error argument last.
            auto* error = std::get<sizeof...(A) - 1>(std::forward_as_tuple(args...));
            if (error) *error = gCode;
            return R{};
        }
    }
    if (!function) return R{};
    return function(args...);
}

}  // namespace

#define SHIM(name, result, params)                                                         \
    extern "C" __attribute__((visibility("default"))) result name SHIM_PARAMS_##name         \
    {                                                                                      \
        return forward(#name, real().name, SHIM_ARGS_##name);                                \
    }

// Parameter lists with names, and the names again, per entry point.
#define SHIM_PARAMS_clGetPlatformIDs (cl_uint a, cl_platform_id* b, cl_uint* c)
#define SHIM_ARGS_clGetPlatformIDs a, b, c
#define SHIM_PARAMS_clGetPlatformInfo (cl_platform_id a, cl_platform_info b, size_t c, void* d, size_t* e)
#define SHIM_ARGS_clGetPlatformInfo a, b, c, d, e
#define SHIM_PARAMS_clGetDeviceIDs (cl_platform_id a, cl_device_type b, cl_uint c, cl_device_id* d, cl_uint* e)
#define SHIM_ARGS_clGetDeviceIDs a, b, c, d, e
#define SHIM_PARAMS_clGetDeviceInfo (cl_device_id a, cl_device_info b, size_t c, void* d, size_t* e)
#define SHIM_ARGS_clGetDeviceInfo a, b, c, d, e
#define SHIM_PARAMS_clCreateContextFromType \
    (const cl_context_properties* a, cl_device_type b, ILMV_CL_NOTIFY c, void* d, cl_int* e)
#define SHIM_ARGS_clCreateContextFromType a, b, c, d, e
#define SHIM_PARAMS_clGetContextInfo (cl_context a, cl_context_info b, size_t c, void* d, size_t* e)
#define SHIM_ARGS_clGetContextInfo a, b, c, d, e
#define SHIM_PARAMS_clReleaseContext (cl_context a)
#define SHIM_ARGS_clReleaseContext a
#define SHIM_PARAMS_clCreateCommandQueue (cl_context a, cl_device_id b, cl_command_queue_properties c, cl_int* d)
#define SHIM_ARGS_clCreateCommandQueue a, b, c, d
#define SHIM_PARAMS_clReleaseCommandQueue (cl_command_queue a)
#define SHIM_ARGS_clReleaseCommandQueue a
#define SHIM_PARAMS_clCreateProgramWithSource (cl_context a, cl_uint b, const char** c, const size_t* d, cl_int* e)
#define SHIM_ARGS_clCreateProgramWithSource a, b, c, d, e
#define SHIM_PARAMS_clCreateProgramWithBinary                                                               \
    (cl_context a, cl_uint b, const cl_device_id* c, const size_t* d, const unsigned char** e, cl_int* f, \
     cl_int* g)
#define SHIM_ARGS_clCreateProgramWithBinary a, b, c, d, e, f, g
#define SHIM_PARAMS_clBuildProgram \
    (cl_program a, cl_uint b, const cl_device_id* c, const char* d, ILMV_CL_BUILD_NOTIFY e, void* f)
#define SHIM_ARGS_clBuildProgram a, b, c, d, e, f
#define SHIM_PARAMS_clGetProgramBuildInfo \
    (cl_program a, cl_device_id b, cl_program_build_info c, size_t d, void* e, size_t* f)
#define SHIM_ARGS_clGetProgramBuildInfo a, b, c, d, e, f
#define SHIM_PARAMS_clGetProgramInfo (cl_program a, cl_program_info b, size_t c, void* d, size_t* e)
#define SHIM_ARGS_clGetProgramInfo a, b, c, d, e
#define SHIM_PARAMS_clReleaseProgram (cl_program a)
#define SHIM_ARGS_clReleaseProgram a
#define SHIM_PARAMS_clCreateKernel (cl_program a, const char* b, cl_int* c)
#define SHIM_ARGS_clCreateKernel a, b, c
#define SHIM_PARAMS_clReleaseKernel (cl_kernel a)
#define SHIM_ARGS_clReleaseKernel a
#define SHIM_PARAMS_clSetKernelArg (cl_kernel a, cl_uint b, size_t c, const void* d)
#define SHIM_ARGS_clSetKernelArg a, b, c, d
#define SHIM_PARAMS_clCreateBuffer (cl_context a, cl_mem_flags b, size_t c, void* d, cl_int* e)
#define SHIM_ARGS_clCreateBuffer a, b, c, d, e
#define SHIM_PARAMS_clCreateImage2D                                                                        \
    (cl_context a, cl_mem_flags b, const cl_image_format* c, size_t d, size_t e, size_t f, void* g, cl_int* h)
#define SHIM_ARGS_clCreateImage2D a, b, c, d, e, f, g, h
#define SHIM_PARAMS_clReleaseMemObject (cl_mem a)
#define SHIM_ARGS_clReleaseMemObject a
#define SHIM_PARAMS_clEnqueueMapBuffer                                                                       \
    (cl_command_queue a, cl_mem b, cl_bool c, cl_map_flags d, size_t e, size_t f, cl_uint g, const cl_event* h, \
     cl_event* i, cl_int* j)
#define SHIM_ARGS_clEnqueueMapBuffer a, b, c, d, e, f, g, h, i, j
#define SHIM_PARAMS_clEnqueueUnmapMemObject \
    (cl_command_queue a, cl_mem b, void* c, cl_uint d, const cl_event* e, cl_event* f)
#define SHIM_ARGS_clEnqueueUnmapMemObject a, b, c, d, e, f
#define SHIM_PARAMS_clEnqueueNDRangeKernel                                                                       \
    (cl_command_queue a, cl_kernel b, cl_uint c, const size_t* d, const size_t* e, const size_t* f, cl_uint g, \
     const cl_event* h, cl_event* i)
#define SHIM_ARGS_clEnqueueNDRangeKernel a, b, c, d, e, f, g, h, i
#define SHIM_PARAMS_clWaitForEvents (cl_uint a, const cl_event* b)
#define SHIM_ARGS_clWaitForEvents a, b
#define SHIM_PARAMS_clReleaseEvent (cl_event a)
#define SHIM_ARGS_clReleaseEvent a
#define SHIM_PARAMS_clFinish (cl_command_queue a)
#define SHIM_ARGS_clFinish a

ILMV_CL_FUNCTIONS(SHIM)

// Fails the `nth` call of `function` from now (1 = the next) and the `times - 1` after it
// with `code`; times 0 disarms.
extern "C" __attribute__((visibility("default"))) void lumivaClShimFail(const char* function, int nth, int times,
                                                                        int code)
{
    std::lock_guard<std::mutex> lock(gLock);
    std::strncpy(gFunction, function, sizeof gFunction - 1);
    gSkip = nth - 1;
    gTimes = times;
    gCode = code;
}

// How many times `function` was called since the last count of it (which resets it).
extern "C" __attribute__((visibility("default"))) int lumivaClShimCalls(const char* function)
{
    std::lock_guard<std::mutex> lock(gLock);
    const int calls = gCalls[function];
    gCalls[function] = 0;
    return calls;
}

// The work size of the last kernel run and the width of one of its arguments.
extern "C" __attribute__((visibility("default"))) void lumivaClShimLastRun(size_t* global, size_t* argBytes)
{
    std::lock_guard<std::mutex> lock(gLock);
    global[0] = gLastGlobal[0];
    global[1] = gLastGlobal[1];
    std::memcpy(argBytes, gArgBytes, sizeof gArgBytes);
}
