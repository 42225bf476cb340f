// The engine frame: the steps every GPU engine takes around its kernel, with the failure
// of each step reported and returned. Blocks handed to the device are always given back to
// the CPU, on failure too, so a failed call leaves every block usable.
#include "gpgpu/engine/lumivaGpuEngine.h"
#include "platform/lumivaPlatform.h"

#include <cstdio>

namespace {

struct Blocks {
    ILMV_GPU_PTR_ENTRY entry[ILMV_GPU_MAX_IMAGES];
    int index[ILMV_GPU_MAX_IMAGES];  // each image's block in `entry`
    int count;
};

int failure(const ILMV_GPU_ENGINE& e, cl_int code, const char* format, int number, int line,
            const char* what = nullptr)
{
    char message[160];
    std::snprintf(message, sizeof message, format, what ? what : e.what, number);
    return vskGpuError(code, e.what, message, e.path, line);
}

// The distinct blocks of the call's images; 396 for an image that is not a block's first
// byte, 397 for one that reaches beyond its block.
int findBlocks(const ILMV_GPU_CALL& call, Blocks* blocks)
{
    blocks->count = 0;
    for (int i = 0; i < call.imageCount; ++i) {
        const ILMV_GPU_IMAGE& image = call.images[i];
        int found = -1;
        for (int b = 0; b < blocks->count; ++b)
            if (blocks->entry[b].host == image.host) found = b;
        if (found < 0) {
            ILMV_GPU_PTR_ENTRY* entry = _gpuGetCLBuf(image.host);
            if (!entry || !entry->buffer) return ILMV_GPU_NOT_REGISTERED;
            found = blocks->count++;
            blocks->entry[found] = *entry;
        }
        if (image.span > blocks->entry[found].ion.length) return ILMV_GPU_BAD_ARGUMENT;
        blocks->index[i] = found;
    }
    return 0;
}

// Gives the blocks back to the CPU: mapped at their own addresses again.
cl_int mapBack(const ILMV_CL& cl, cl_command_queue queue, const Blocks& blocks, int count)
{
    cl_int result = CL_SUCCESS;
    for (int b = 0; b < count; ++b) {
        // A failed map is reported, and tried once more so the block is the CPU's again.
        for (int attempt = 0; attempt < 2; ++attempt) {
            cl_int code = CL_SUCCESS;
            void* mapped = cl.clEnqueueMapBuffer(queue, blocks.entry[b].buffer, CL_TRUE, CL_MAP_READ | CL_MAP_WRITE,
                                                 0, blocks.entry[b].ion.length, 0, nullptr, nullptr, &code);
            if (code == CL_SUCCESS && mapped != blocks.entry[b].host) code = CL_INVALID_VALUE;
            if (result == CL_SUCCESS) result = code;
            if (code == CL_SUCCESS) break;
        }
    }
    return result;
}

// Arguments, then the run; the blocks are on the device meanwhile. 0 or the engine's code.
int setAndRun(const ILMV_CL& cl, const ILMV_GPU_CALL& call, const Blocks& blocks, cl_kernel kernel,
              cl_command_queue queue, cl_event* event)
{
    const ILMV_GPU_ENGINE& e = *call.engine;
    for (int a = 0; a < call.argCount; ++a) {
        const ILMV_GPU_ARG& arg = call.args[a];
        const uint16_t half = static_cast<uint16_t>(arg.value);
        const uint8_t byte = static_cast<uint8_t>(arg.value);
        const void* value = arg.bytes == 2 ? static_cast<const void*>(&half)
                            : arg.bytes == 1 ? static_cast<const void*>(&byte) : static_cast<const void*>(&arg.value);
        const cl_int code = arg.image >= 0
                                ? cl.clSetKernelArg(kernel, a, sizeof(cl_mem), &blocks.entry[blocks.index[arg.image]].buffer)
                                : cl.clSetKernelArg(kernel, a, arg.bytes, value);
        if (code == CL_SUCCESS) continue;
        if (a == 0) return ILMV_GPU_BAD_ARGUMENT;
        return failure(e, code, "Failed to setup %s kernel argments %d.", e.argNumbers ? e.argNumbers[a] : a, __LINE__);
    }
    for (int b = 0; b < blocks.count; ++b) apr_pmem_cache_ops_start(&blocks.entry[b].ion);
    cl_int code = cl.clEnqueueNDRangeKernel(queue, kernel, 2, nullptr, call.global, nullptr, 0, nullptr, event);
    if (code == CL_SUCCESS) code = cl.clWaitForEvents(1, event);
    for (int b = 0; b < blocks.count; ++b) apr_pmem_cache_ops_end(&blocks.entry[b].ion);
    if (code != CL_SUCCESS) return failure(e, code, "Failed to run %s kernel!", 0, __LINE__);
    return 0;
}

}  // namespace

int ilmvGpuRun(const ILMV_GPU_CALL& call)
{
    const ILMV_GPU_SYSTEM* s = ilmvGpuSystem();
    if (!s || !s->initialised || call.global[0] == 0 || call.global[1] == 0) return ILMV_GPU_BAD_ARGUMENT;
    const ILMV_CL& cl = *ilmvCl();
    cl_int code = CL_SUCCESS;
    cl_kernel kernel = _gpuCreateKernel(call.kernel, &code);
    if (!kernel) return (code ? code : CL_INVALID_KERNEL_NAME) - 400;
    Blocks blocks;
    int result = findBlocks(call, &blocks);
    int unmapped = 0;  // blocks handed to the device, to be given back whatever happens
    while (result == 0 && unmapped < blocks.count) {
        code = cl.clEnqueueUnmapMemObject(s->queue, blocks.entry[unmapped].buffer, blocks.entry[unmapped].host, 0,
                                          nullptr, nullptr);
        if (code == CL_SUCCESS)
            ++unmapped;
        else
            result = failure(*call.engine, code, "Failed to unmap %s mem obj.", 0,
                             call.engine->unmapLine ? call.engine->unmapLine : __LINE__, call.engine->unmapWhat);
    }
    cl_event event = nullptr;
    if (result == 0) result = setAndRun(cl, call, blocks, kernel, s->queue, &event);
    const cl_int mapped = mapBack(cl, s->queue, blocks, unmapped);
    if (result == 0 && mapped != CL_SUCCESS) result = mapped;
    if (event) cl.clReleaseEvent(event);
    cl.clReleaseKernel(kernel);
    if (result == 0) ++ilmvGpuStats().engineRuns;
    return result;
}

int ilmvGpuRunFilter(const ILMV_GPU_ENGINE& engine, int kernel, const void* src, uint32_t width, uint32_t height,
                     uint32_t srcStride, uint32_t srcElem, void* dst, uint32_t dstStride, uint32_t dstElem,
                     std::initializer_list<ILMV_GPU_ARG> extra, const size_t* items)
{
    const uint64_t srcRow = uint64_t(width) * srcElem, dstRow = uint64_t(width) * dstElem;
    srcStride = ilmvGpuStride(srcStride, srcRow);
    dstStride = ilmvGpuStride(dstStride, dstRow);
    const uint32_t dstUnit = dstElem % 4 ? dstElem : 4;  // pairs of words step in words
    if (!ilmvGpuSizesFit(width, height) || src == dst || srcStride < srcRow || dstStride < dstRow ||
        srcStride % srcElem || dstStride % dstUnit || extra.size() > ILMV_GPU_MAX_ARGS - 6)
        return ILMV_GPU_BAD_ARGUMENT;
    ILMV_GPU_CALL call = {&engine, kernel,
                          {{src, ilmvGpuSpan(height, srcStride, srcRow)}, {dst, ilmvGpuSpan(height, dstStride, dstRow)}},
                          2,
                          {ilmvGpuImageArg(0), ilmvGpuImageArg(1), ilmvGpuValue(width), ilmvGpuValue(height),
                           ilmvGpuValue(srcStride), ilmvGpuValue(dstStride)},
                          6,
                          {items ? items[0] : width, items ? items[1] : height}};
    for (const ILMV_GPU_ARG& arg : extra) call.args[call.argCount++] = arg;
    return ilmvGpuRun(call);
}
