// Memory of the GPU runtime: the shared blocks that engines work on (a shareable block
// mapped here, an OpenCL buffer over the same pages, an entry in the host-pointer list),
// the caches of device buffers and images, the work-size helpers and the CPU-cache
// maintenance of shared blocks around a kernel run.
#include "gpgpu/engine/lumivaGpu.h"
#include "lumiva/lumivaGpu.h"
#include "platform/lumivaPlatform.h"
#include "platform/lumivaSharedMem.h"
#include "xdsp_rpc/multi_domains/lumivaX5.h"

#include <pthread.h>

#include <cstring>

namespace {

const char kPath[] = "src/gpgpu/engine/gpuIonMem";
constexpr int kBufferCount = 7;
constexpr int kImageCount = 8;
constexpr int kPtrCount = 128;
// Four buffers of 4,196 KiB (a 4 MiB frame and some slack) and three of 34,560 KiB.
constexpr size_t kBufferSizes[kBufferCount] = {4196 * 1024, 4196 * 1024, 4196 * 1024, 4196 * 1024,
                                               34560 * 1024, 34560 * 1024, 34560 * 1024};

pthread_mutex_t gBufferLock = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t gImageLock = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t gPtrLock = PTHREAD_MUTEX_INITIALIZER;
ILMV_GPU_BUFFER_OBJECT gBuffers[kBufferCount];
int gBuffersCreated = 0;
ILMV_GPU_IMAGE_OBJECT gImages[kImageCount];
ILMV_GPU_PTR_ENTRY gPtrs[kPtrCount];

bool ready()
{
    const ILMV_GPU_SYSTEM* s = ilmvGpuSystem();
    return s && s->initialised;
}

cl_mem newBuffer(cl_context context, size_t size, cl_int* code)
{
    return ilmvCl()->clCreateBuffer(context, CL_MEM_READ_WRITE | CL_MEM_ALLOC_HOST_PTR, size, nullptr, code);
}

void reportFailure(const char* text)
{
    vskGpuMessage("%s", kPath, __LINE__, text);
}

void releaseBlockMemory(const apr_pmem_record& ion, bool registered)
{
    if (registered)
        if (ILMV_REGISTER_BUF registerBuf = ilmvX5RegisterBuf())
            registerBuf(ion.address, static_cast<int>(ion.length), -1);
    ilmvUnmapSharedPages(ion, "lmvGpuMemFree: ", reportFailure);
}

// An OpenCL buffer over the block's pages, mapped for the CPU at the block's own address
// (the engines unmap it around each kernel run and map it back).
cl_mem wrapForDevice(const apr_pmem_record& ion)
{
    const ILMV_CL& cl = *ilmvCl();
    const ILMV_GPU_SYSTEM& s = *ilmvGpuSystem();
    cl_int code = CL_SUCCESS;
    cl_mem buffer = cl.clCreateBuffer(s.context, CL_MEM_READ_WRITE | CL_MEM_USE_HOST_PTR, ion.length, ion.address, &code);
    if (!buffer) return vskGpuError(code, __func__, "Failed to create buffer over shared memory.", kPath, __LINE__), nullptr;
    void* mapped = cl.clEnqueueMapBuffer(s.queue, buffer, CL_TRUE, CL_MAP_READ | CL_MAP_WRITE, 0, ion.length, 0,
                                         nullptr, nullptr, &code);
    if (mapped != ion.address) {
        // A driver that copies instead of using the pages cannot share them.
        vskGpuError(code, __func__, "Mapped pointer is not the shared block.", kPath, __LINE__);
        if (mapped) cl.clEnqueueUnmapMemObject(s.queue, buffer, mapped, 0, nullptr, nullptr), cl.clFinish(s.queue);
        cl.clReleaseMemObject(buffer);
        return nullptr;
    }
    return buffer;
}

void dropDeviceBuffer(ILMV_GPU_PTR_ENTRY& e)
{
    const ILMV_GPU_SYSTEM* s = ilmvGpuSystem();
    if (!e.buffer || !s || !s->queue) return;
    const ILMV_CL& cl = *ilmvCl();
    cl.clEnqueueUnmapMemObject(s->queue, e.buffer, e.host, 0, nullptr, nullptr);
    cl.clFinish(s->queue);
    cl.clReleaseMemObject(e.buffer);
    e.buffer = nullptr;
}

// DMA_BUF_IOCTL_SYNC with `flags` on a block's descriptor: 0, -1 for a record without memory,
// or the failing call's result.
int cacheOps(const apr_pmem_record* record, uint64_t flags, const char* noBuffer, const char* failed)
{
    if (!record || !record->address) {
        vskGpuMessage(noBuffer, kPath, __LINE__);
        return -1;
    }
    const int result = ilmvDmaBufSync(record->dmaFd, flags);
    if (result != 0) vskGpuMessage(failed, kPath, __LINE__);
    return result;
}

}  // namespace

int ilmvGpuCreateCaches(ILMV_GPU_SYSTEM& system)
{
    pthread_mutex_lock(&gBufferLock);
    std::memset(gBuffers, 0, sizeof gBuffers);
    gBuffersCreated = 0;
    // A buffer the device cannot give is left out; requests then find a later one or an
    // uncached buffer of their own size.
    for (size_t size : kBufferSizes) {
        cl_int code = CL_SUCCESS;
        cl_mem object = newBuffer(system.context, size, &code);
        if (!object) {
            vskGpuError(code, __func__, "Failed to create cached buffer object.", kPath, __LINE__);
            continue;
        }
        gBuffers[gBuffersCreated++] = {object, size, 1, {0, 0}};
    }
    pthread_mutex_unlock(&gBufferLock);
    pthread_mutex_lock(&gImageLock);
    std::memset(gImages, 0, sizeof gImages);
    pthread_mutex_unlock(&gImageLock);
    return CL_SUCCESS;
}

void ilmvGpuDestroyCaches(ILMV_GPU_SYSTEM&)
{
    const ILMV_CL& cl = *ilmvCl();
    pthread_mutex_lock(&gBufferLock);
    for (int i = 0; i < gBuffersCreated; ++i) cl.clReleaseMemObject(gBuffers[i].object);
    std::memset(gBuffers, 0, sizeof gBuffers);
    gBuffersCreated = 0;
    pthread_mutex_unlock(&gBufferLock);
    pthread_mutex_lock(&gImageLock);
    for (ILMV_GPU_IMAGE_OBJECT& image : gImages)
        if (image.object) cl.clReleaseMemObject(image.object);
    std::memset(gImages, 0, sizeof gImages);
    pthread_mutex_unlock(&gImageLock);
    pthread_mutex_lock(&gPtrLock);
    for (ILMV_GPU_PTR_ENTRY& e : gPtrs)
        if (e.host) dropDeviceBuffer(e);
    pthread_mutex_unlock(&gPtrLock);
}

extern "C" {

LMV_EXPORT void _gpuGetBufferObjectFromCache(ILMV_GPU_BUFFER_OBJECT* out, size_t size)
{
    std::memset(out, 0, sizeof *out);
    if (!ready() || pthread_mutex_lock(&gBufferLock) != 0) return;
    for (int i = 0; i < gBuffersCreated; ++i) {
        if (gBuffers[i].size >= size && gBuffers[i].state == 1) {
            gBuffers[i].state = 2;
            *out = gBuffers[i];
            pthread_mutex_unlock(&gBufferLock);
            return;
        }
    }
    // Beyond the cache: a buffer of exactly this size, made under the lock as well.
    cl_int code = CL_SUCCESS;
    if (cl_mem object = newBuffer(ilmvGpuSystem()->context, size, &code)) *out = {object, size, 2, {0, 0}};
    pthread_mutex_unlock(&gBufferLock);
}

LMV_EXPORT void _gpuReleaseSingleBufferObjectFromCache(ILMV_GPU_BUFFER_OBJECT* object)
{
    if (!object || !object->object || !ready() || pthread_mutex_lock(&gBufferLock) != 0) return;
    bool cached = false;
    for (int i = 0; i < gBuffersCreated; ++i)
        if (gBuffers[i].object == object->object) {
            gBuffers[i].state = 1;
            cached = true;
        }
    if (!cached) ilmvCl()->clReleaseMemObject(object->object);
    std::memset(object, 0, sizeof *object);
    pthread_mutex_unlock(&gBufferLock);
}

LMV_EXPORT void _gpuGetImageObjectFromCache(ILMV_GPU_IMAGE_OBJECT* out, size_t width, size_t height,
                                            cl_channel_order order, cl_channel_type type)
{
    std::memset(out, 0, sizeof *out);
    out->order = CL_RGBA;
    out->type = CL_UNSIGNED_INT8;
    if (!ready() || pthread_mutex_lock(&gImageLock) != 0) return;
    ILMV_GPU_IMAGE_OBJECT* unused = nullptr;
    for (ILMV_GPU_IMAGE_OBJECT& image : gImages) {
        if (image.object && image.state == 1 && image.width >= width && image.height >= height &&
            image.order == order && image.type == type) {
            image.state = 2;
            *out = image;
            pthread_mutex_unlock(&gImageLock);
            return;
        }
        if (!image.object && !unused) unused = &image;
    }
    // A miss makes an image of the requested size, kept in the cache while it has room.
    const cl_image_format format = {order, type};
    cl_int code = CL_SUCCESS;
    cl_mem object = ilmvCl()->clCreateImage2D(ilmvGpuSystem()->context, CL_MEM_READ_WRITE, &format, width, height, 0,
                                              nullptr, &code);
    if (object) {
        *out = {object, width, height, order, type, 2};
        if (unused) *unused = *out;
    }
    pthread_mutex_unlock(&gImageLock);
}

LMV_EXPORT void _gpuReleaseSingleImageObjectFromCache(ILMV_GPU_IMAGE_OBJECT* object)
{
    if (!object || !object->object || !ready() || pthread_mutex_lock(&gImageLock) != 0) return;
    bool cached = false;
    for (ILMV_GPU_IMAGE_OBJECT& image : gImages)
        if (image.object == object->object) {
            image.state = 1;
            cached = true;
        }
    if (!cached) ilmvCl()->clReleaseMemObject(object->object);
    std::memset(object, 0, sizeof *object);
    pthread_mutex_unlock(&gImageLock);
}

LMV_EXPORT int _gpuAddPtrlist(const ILMV_GPU_PTR_ENTRY* entry)
{
    if (!entry || !entry->host || pthread_mutex_lock(&gPtrLock) != 0) return -1;
    for (ILMV_GPU_PTR_ENTRY& e : gPtrs) {
        if (!e.host) {
            e = *entry;
            pthread_mutex_unlock(&gPtrLock);
            return 0;
        }
    }
    pthread_mutex_unlock(&gPtrLock);
    return -1;
}

LMV_EXPORT ILMV_GPU_PTR_ENTRY* _gpuGetCLBuf(const void* host)
{
    if (!host || pthread_mutex_lock(&gPtrLock) != 0) return nullptr;
    ILMV_GPU_PTR_ENTRY* found = nullptr;
    for (ILMV_GPU_PTR_ENTRY& e : gPtrs)
        if (e.host == host) found = &e;  // only a block's first byte finds it
    pthread_mutex_unlock(&gPtrLock);
    return found;
}

LMV_EXPORT int _gpuSearchRemovePtrlist(ILMV_GPU_PTR_ENTRY* out, const void* host)
{
    if (!host || pthread_mutex_lock(&gPtrLock) != 0) return -1;
    for (ILMV_GPU_PTR_ENTRY& e : gPtrs) {
        if (e.host == host) {
            if (out) *out = e;
            std::memset(&e, 0, sizeof e);
            pthread_mutex_unlock(&gPtrLock);
            return 0;
        }
    }
    pthread_mutex_unlock(&gPtrLock);
    return -1;
}

LMV_EXPORT int _gpuSetLocalWorkSize(uint32_t n, uint32_t* a, uint32_t* b)
{
    struct Row {
        uint32_t from, a, b;
    };
    static const Row kRows[] = {{64, 8, 8}, {48, 6, 8}, {32, 8, 4}, {24, 6, 4}, {16, 4, 4},
                                {12, 3, 4}, {8, 4, 2},  {4, 2, 2}};
    *a = *b = 1;
    for (const Row& row : kRows) {
        if (n >= row.from) {
            *a = row.a;
            *b = row.b;
            return 0;
        }
    }
    return 8;
}

LMV_EXPORT int _gpuCreateGroupSize1D(uint32_t n, uint32_t* size)
{
    *size = n >= 64 ? 64 : n >= 17 ? 32 : n >= 9 ? 16 : n >= 5 ? 8 : n == 4 ? 4 : 2;
    return 0;
}

LMV_EXPORT int _gpuCreateGroupSize2D(uint32_t max, uint32_t* x, uint32_t* y)
{
    if (uint64_t(*x) * *y <= max) return 0;
    if (*y > max) return -1;
    *x = max / *y;
    return 0;
}

LMV_EXPORT int apr_pmem_cache_ops_start(const apr_pmem_record* record)
{
    return cacheOps(record, ILMV_DMA_BUF_SYNC_START, "apr_pmem_cache_ops_start failed because buffer is NULL\n",
                    "apr_pmem_cache_ops_start : failed to start DMA_BUF_IOCTL_SYNC\n");
}

// The end's failure text says "start" too, as it always has.
LMV_EXPORT int apr_pmem_cache_ops_end(const apr_pmem_record* record)
{
    return cacheOps(record, ILMV_DMA_BUF_SYNC_END, "apr_pmem_cache_ops_end failed because buffer is NULL\n",
                    "apr_pmem_cache_ops_end : failed to start DMA_BUF_IOCTL_SYNC\n");
}

LMV_EXPORT void* lmvGpuMemAllocPro(size_t size, size_t alignment, uint32_t)
{
    if (!ready() || size == 0 || alignment > ILMV_PAGE || size > UINT32_MAX - ILMV_PAGE) return nullptr;
    ILMV_GPU_PTR_ENTRY entry{};
    if (!ilmvMapSharedPages(size, "lmvGpuMemAllocPro: ", reportFailure, &entry.ion)) return nullptr;
    // The DSP sees the block too when its transport is loaded.
    if (ILMV_REGISTER_BUF registerBuf = ilmvX5RegisterBuf()) {
        registerBuf(entry.ion.address, static_cast<int>(entry.ion.length), entry.ion.dmaFd);
        entry.registered = true;
    }
    entry.host = entry.ion.address;
    entry.buffer = wrapForDevice(entry.ion);
    if (!entry.buffer || _gpuAddPtrlist(&entry) != 0) {
        if (entry.buffer) dropDeviceBuffer(entry);
        releaseBlockMemory(entry.ion, entry.registered);
        return nullptr;
    }
    return entry.host;
}

LMV_EXPORT int lmvGpuMemFree(void* block)
{
    ILMV_GPU_PTR_ENTRY entry;
    if (!block || _gpuSearchRemovePtrlist(&entry, block) != 0) return -1;
    dropDeviceBuffer(entry);
    releaseBlockMemory(entry.ion, entry.registered);
    return 0;
}

LMV_EXPORT void* lmvSharedMemAllocG(size_t size, size_t alignment)
{
    return lmvGpuMemAllocPro(size, alignment, 0);
}

LMV_EXPORT int lmvSharedMemFreeG(void* block)
{
    return lmvGpuMemFree(block);
}

}  // extern "C"
