// The GPU runtime's state and internal calls: the kernel table, the system record, the
// buffer and image caches, the host-pointer list, work sizes, cache maintenance of shared
// blocks and the reporting every engine uses.
#ifndef LUMIVA_GPU_INTERNAL_H
#define LUMIVA_GPU_INTERNAL_H

#include "gpgpu/engine/lumivaCl.h"
#include "lumiva/lumivaTypes.h"
#include "memory/lumivaSharedPages.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

constexpr int ILMV_GPU_KERNELS = 110;
constexpr int ILMV_GPU_NOT_REGISTERED = 396;
constexpr int ILMV_GPU_BAD_ARGUMENT = 397;
constexpr int ILMV_GPU_NO_SYSTEM = 398;
constexpr int ILMV_GPU_NO_MEMORY = 399;

// One entry of the kernel table as the library carries it (generated from the kernel list):
// the kernel's name, its build-option mask, the OpenCL C of its program, and the engine that
// uses it. A reserved entry's program is an empty kernel of that name, kept so that every
// index exists until its family's engine lands.
struct ILMV_GPU_KERNEL_SOURCE {
    const char* name;
    uint32_t mask;
    const char* source;
    const char* engine;
    bool reserved;
};
// ILMV_GPU_KERNELS entries and an empty one after them.
extern const ILMV_GPU_KERNEL_SOURCE ilmvGpuKernelSources[ILMV_GPU_KERNELS + 1];

// The kernel table of a created system: name, program data and its length, option mask.
// `binary` tells device code (a .o file) from OpenCL C text.
struct ILMV_GPU_KERNEL_RECORD {
    char name[1024];
    const unsigned char* data;
    size_t length;
    uint32_t mask;
    bool binary;
    bool ownsData;  // read from a file, freed with the system
};

// What creation found and did, for the tools.
struct ILMV_GPU_STATS {
    int64_t creationUs;
    int programsFromCache;
    int programsCompiled;
    int programsFromFiles;
    int rebuiltStale;
    std::atomic<uint64_t> engineRuns;  // engine calls that ran their kernel
};

struct ILMV_GPU_SYSTEM {
    cl_platform_id platform;
    cl_context context;
    cl_device_id* devices;
    cl_uint deviceCount;
    cl_command_queue queue;
    cl_program* programs;  // ILMV_GPU_KERNELS per device
    cl_kernel* kernels;
    ILMV_GPU_KERNEL_RECORD table[ILMV_GPU_KERNELS];
    bool initialised;
};

ILMV_GPU_SYSTEM* ilmvGpuSystem();  // null until the first creation
ILMV_GPU_STATS& ilmvGpuStats();

// A cached device buffer: object, size (0 when creation failed), state (0 unusable, 1 free,
// 2 in use) and two words kept clear.
struct ILMV_GPU_BUFFER_OBJECT {
    cl_mem object;
    size_t size;
    uint32_t state;
    uint32_t reserved[2];
};

struct ILMV_GPU_IMAGE_OBJECT {
    cl_mem object;
    size_t width;
    size_t height;
    cl_channel_order order;
    cl_channel_type type;
    uint32_t state;
};

// The record cache maintenance works on: a block's descriptors and mapping, as the shared
// pages of lmvGpuMemAllocPro keep them.
using apr_pmem_record = ILMV_SHARED_PAGES;

// One entry of the host-pointer list: the block's first byte (0 marks a free entry), the
// OpenCL buffer over it and its pages.
struct ILMV_GPU_PTR_ENTRY {
    void* host;
    cl_mem buffer;
    apr_pmem_record ion;
    bool registered;  // handed to the DSP transport too
};

// Policy the build chose, replaceable by tests and tools (null or 0 restores the build's).
void ilmvGpuSetAcceptedPlatform(const char* vendor, cl_device_type type);
const char* ilmvGpuAcceptedVendor();
cl_device_type ilmvGpuAcceptedType();
void ilmvGpuSetCacheDirectory(const char* directory);  // "" turns the disk cache off
void ilmvGpuSetKernelDirectory(const char* directory);
// Replaces one entry's program text (null: an empty entry) until restored with index -1.
void ilmvGpuOverrideEntry(int index, const char* source);
// Drops the in-memory binary cache.
void ilmvGpuForgetBinaries();

// An OpenCL text property read in its two calls (size, then text): `query(size, value,
// sizeReturned)` runs the info call; empty when either fails.
template <class Query>
std::string ilmvClText(Query query)
{
    size_t size = 0;
    if (query(0, nullptr, &size) != CL_SUCCESS || size == 0) return {};
    std::string text(size, '\0');
    if (query(size, &text[0], nullptr) != CL_SUCCESS) return {};
    text.resize(std::strlen(text.c_str()));
    return text;
}

// A device's text property (name, driver version), empty when it cannot be read.
std::string ilmvGpuDeviceText(const ILMV_CL& cl, cl_device_id device, cl_device_info what);

// Option text of a build mask (bits 0-9 as the table uses them).
size_t ilmvGpuOptionText(uint32_t mask, char* text, size_t capacity);

// Programs of the created system's table: 0 or the failing code (logged).
int ilmvGpuBuildPrograms(ILMV_GPU_SYSTEM& system);
void ilmvGpuReleasePrograms(ILMV_GPU_SYSTEM& system);

// The caches and the host-pointer list, set up after the programs and torn down with the
// system. Blocks survive destruction (without their OpenCL buffers) so owners can free them.
int ilmvGpuCreateCaches(ILMV_GPU_SYSTEM& system);
void ilmvGpuDestroyCaches(ILMV_GPU_SYSTEM& system);

extern "C" {

LMV_EXPORT cl_kernel _gpuCreateKernel(int index, cl_int* err);
LMV_EXPORT void _gpuLoadKernelFile(ILMV_GPU_KERNEL_RECORD* record, int binary, const char* name);
LMV_EXPORT void _gpuGetBufferObjectFromCache(ILMV_GPU_BUFFER_OBJECT* out, size_t size);
LMV_EXPORT void _gpuGetImageObjectFromCache(ILMV_GPU_IMAGE_OBJECT* out, size_t width, size_t height,
                                            cl_channel_order order, cl_channel_type type);
LMV_EXPORT void _gpuReleaseSingleBufferObjectFromCache(ILMV_GPU_BUFFER_OBJECT* object);
LMV_EXPORT void _gpuReleaseSingleImageObjectFromCache(ILMV_GPU_IMAGE_OBJECT* object);
LMV_EXPORT int _gpuAddPtrlist(const ILMV_GPU_PTR_ENTRY* entry);
LMV_EXPORT ILMV_GPU_PTR_ENTRY* _gpuGetCLBuf(const void* host);
LMV_EXPORT int _gpuSearchRemovePtrlist(ILMV_GPU_PTR_ENTRY* out, const void* host);
LMV_EXPORT int _gpuSetLocalWorkSize(uint32_t n, uint32_t* a, uint32_t* b);
LMV_EXPORT int _gpuCreateGroupSize1D(uint32_t n, uint32_t* size);
LMV_EXPORT int _gpuCreateGroupSize2D(uint32_t max, uint32_t* x, uint32_t* y);
LMV_EXPORT int apr_pmem_cache_ops_start(const apr_pmem_record* record);
LMV_EXPORT int apr_pmem_cache_ops_end(const apr_pmem_record* record);
// Reports `message` of a failing step with its OpenCL code and source place; returns
// code - 400 (0 for code 0), what the engines return.
LMV_EXPORT int vskGpuError(cl_int code, const char* function, const char* message, const char* file, int line);
LMV_EXPORT void vskGpuMessage(const char* message, const char* file, int line, ...);

}  // extern "C"

#endif
