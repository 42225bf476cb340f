// The part of the OpenCL 1.x C interface the GPU runtime uses: its types and constants,
// written out here so the library needs no OpenCL headers, and a table of entry points
// bound at run time from the system's OpenCL library. Nothing links against it.
#ifndef LUMIVA_CL_H
#define LUMIVA_CL_H

#include <cstddef>
#include <cstdint>

typedef int32_t cl_int;
typedef uint32_t cl_uint;
typedef uint64_t cl_ulong;
typedef cl_ulong cl_bitfield;
typedef cl_bitfield cl_device_type;
typedef cl_bitfield cl_mem_flags;
typedef cl_bitfield cl_map_flags;
typedef cl_bitfield cl_command_queue_properties;
typedef cl_uint cl_bool;
typedef cl_uint cl_platform_info;
typedef cl_uint cl_device_info;
typedef cl_uint cl_context_info;
typedef cl_uint cl_program_info;
typedef cl_uint cl_program_build_info;
typedef intptr_t cl_context_properties;
typedef cl_uint cl_channel_order;
typedef cl_uint cl_channel_type;

typedef struct _cl_platform_id* cl_platform_id;
typedef struct _cl_device_id* cl_device_id;
typedef struct _cl_context* cl_context;
typedef struct _cl_command_queue* cl_command_queue;
typedef struct _cl_mem* cl_mem;
typedef struct _cl_program* cl_program;
typedef struct _cl_kernel* cl_kernel;
typedef struct _cl_event* cl_event;

struct cl_image_format {
    cl_channel_order image_channel_order;
    cl_channel_type image_channel_data_type;
};

constexpr cl_int CL_SUCCESS = 0;
constexpr cl_int CL_DEVICE_NOT_FOUND = -1;
constexpr cl_int CL_MEM_OBJECT_ALLOCATION_FAILURE = -4;
constexpr cl_int CL_OUT_OF_RESOURCES = -5;
constexpr cl_int CL_OUT_OF_HOST_MEMORY = -6;
constexpr cl_int CL_BUILD_PROGRAM_FAILURE = -11;
constexpr cl_int CL_INVALID_VALUE = -30;
constexpr cl_int CL_INVALID_PLATFORM = -32;
constexpr cl_int CL_INVALID_BINARY = -42;
constexpr cl_int CL_INVALID_KERNEL_NAME = -46;
constexpr cl_int CL_INVALID_ARG_INDEX = -49;
constexpr cl_int CL_PLATFORM_NOT_FOUND_KHR = -1001;

constexpr cl_bool CL_TRUE = 1;
constexpr cl_device_type CL_DEVICE_TYPE_CPU = 1 << 1;
constexpr cl_device_type CL_DEVICE_TYPE_GPU = 1 << 2;
constexpr cl_device_type CL_DEVICE_TYPE_ALL = 0xFFFFFFFF;

constexpr cl_platform_info CL_PLATFORM_NAME = 0x0902;
constexpr cl_platform_info CL_PLATFORM_VENDOR = 0x0903;
constexpr cl_device_info CL_DEVICE_TYPE = 0x1000;
constexpr cl_device_info CL_DEVICE_NAME = 0x102B;
constexpr cl_device_info CL_DRIVER_VERSION = 0x102D;
constexpr cl_context_info CL_CONTEXT_DEVICES = 0x1081;
constexpr cl_context_properties CL_CONTEXT_PLATFORM = 0x1084;
constexpr cl_program_info CL_PROGRAM_BINARY_SIZES = 0x1165;
constexpr cl_program_info CL_PROGRAM_BINARIES = 0x1166;
constexpr cl_program_build_info CL_PROGRAM_BUILD_LOG = 0x1183;

constexpr cl_mem_flags CL_MEM_READ_WRITE = 1 << 0;
constexpr cl_mem_flags CL_MEM_USE_HOST_PTR = 1 << 3;
constexpr cl_mem_flags CL_MEM_ALLOC_HOST_PTR = 1 << 4;
constexpr cl_map_flags CL_MAP_READ = 1 << 0;
constexpr cl_map_flags CL_MAP_WRITE = 1 << 1;

constexpr cl_channel_order CL_RGBA = 0x10B5;
constexpr cl_channel_type CL_UNSIGNED_INT8 = 0x10DA;

typedef void (*ILMV_CL_NOTIFY)(const char*, const void*, size_t, void*);
typedef void (*ILMV_CL_BUILD_NOTIFY)(cl_program, void*);

// Every entry point the runtime calls, in one list: X(name, result, parameters).
#define ILMV_CL_FUNCTIONS(X)                                                                                       \
    X(clGetPlatformIDs, cl_int, (cl_uint, cl_platform_id*, cl_uint*))                                              \
    X(clGetPlatformInfo, cl_int, (cl_platform_id, cl_platform_info, size_t, void*, size_t*))                       \
    X(clGetDeviceIDs, cl_int, (cl_platform_id, cl_device_type, cl_uint, cl_device_id*, cl_uint*))                  \
    X(clGetDeviceInfo, cl_int, (cl_device_id, cl_device_info, size_t, void*, size_t*))                             \
    X(clCreateContextFromType, cl_context,                                                                         \
      (const cl_context_properties*, cl_device_type, ILMV_CL_NOTIFY, void*, cl_int*))                              \
    X(clGetContextInfo, cl_int, (cl_context, cl_context_info, size_t, void*, size_t*))                             \
    X(clReleaseContext, cl_int, (cl_context))                                                                      \
    X(clCreateCommandQueue, cl_command_queue, (cl_context, cl_device_id, cl_command_queue_properties, cl_int*))    \
    X(clReleaseCommandQueue, cl_int, (cl_command_queue))                                                           \
    X(clCreateProgramWithSource, cl_program, (cl_context, cl_uint, const char**, const size_t*, cl_int*))          \
    X(clCreateProgramWithBinary, cl_program,                                                                       \
      (cl_context, cl_uint, const cl_device_id*, const size_t*, const unsigned char**, cl_int*, cl_int*))          \
    X(clBuildProgram, cl_int, (cl_program, cl_uint, const cl_device_id*, const char*, ILMV_CL_BUILD_NOTIFY, void*)) \
    X(clGetProgramBuildInfo, cl_int, (cl_program, cl_device_id, cl_program_build_info, size_t, void*, size_t*))    \
    X(clGetProgramInfo, cl_int, (cl_program, cl_program_info, size_t, void*, size_t*))                             \
    X(clReleaseProgram, cl_int, (cl_program))                                                                      \
    X(clCreateKernel, cl_kernel, (cl_program, const char*, cl_int*))                                               \
    X(clReleaseKernel, cl_int, (cl_kernel))                                                                        \
    X(clSetKernelArg, cl_int, (cl_kernel, cl_uint, size_t, const void*))                                           \
    X(clCreateBuffer, cl_mem, (cl_context, cl_mem_flags, size_t, void*, cl_int*))                                  \
    X(clCreateImage2D, cl_mem, (cl_context, cl_mem_flags, const cl_image_format*, size_t, size_t, size_t, void*, cl_int*)) \
    X(clReleaseMemObject, cl_int, (cl_mem))                                                                        \
    X(clEnqueueMapBuffer, void*,                                                                                   \
      (cl_command_queue, cl_mem, cl_bool, cl_map_flags, size_t, size_t, cl_uint, const cl_event*, cl_event*, cl_int*)) \
    X(clEnqueueUnmapMemObject, cl_int, (cl_command_queue, cl_mem, void*, cl_uint, const cl_event*, cl_event*))     \
    X(clEnqueueNDRangeKernel, cl_int,                                                                              \
      (cl_command_queue, cl_kernel, cl_uint, const size_t*, const size_t*, const size_t*, cl_uint, const cl_event*, \
       cl_event*))                                                                                                 \
    X(clWaitForEvents, cl_int, (cl_uint, const cl_event*))                                                         \
    X(clReleaseEvent, cl_int, (cl_event))                                                                          \
    X(clFinish, cl_int, (cl_command_queue))

#define ILMV_CL_MEMBER(name, result, params) result(*name) params;
struct ILMV_CL {
    ILMV_CL_FUNCTIONS(ILMV_CL_MEMBER)
};
#undef ILMV_CL_MEMBER

// The bound entry points, or null when no OpenCL library (or one of its entry points) could
// be found; the first call binds, once, and logs one line on failure.
const ILMV_CL* ilmvCl();

// Replaces the ';'-separated library names tried in order and forgets the binding (tests
// and tools; null restores the build's list). Only while no GPU system exists.
void ilmvGpuSetLibraries(const char* names);

#endif
