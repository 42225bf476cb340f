// The frame every GPU engine runs on. An engine is data: its kernel's table index, the
// images it reads and writes (each a shared block's first byte and the bytes the kernel
// reaches through it), its argument list and the texts of its messages. The frame does the
// rest in one order: create the kernel, find the blocks, hand them to the device, set the
// arguments, run and wait, give the blocks back to the CPU, release.
#ifndef LUMIVA_GPU_ENGINE_H
#define LUMIVA_GPU_ENGINE_H

#include "gpgpu/engine/lumivaGpu.h"
#include "lumiva/lumivaGpu.h"
#include "lumivaGpuKernelIndex.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>

// Messages of one engine: its source path and the word its texts name it by
// ("Failed to unmap <what> mem obj.", "Failed to setup <what> kernel argments N.",
// "Failed to run <what> kernel!").
struct ILMV_GPU_ENGINE {
    const char* path;
    const char* what;
    // Engines whose texts differ from that pattern: the word of the unmap text (null: `what`),
    // the line it reports (0: the frame's own) and the number each argument's text gives
    // (null: its index).
    const char* unmapWhat = nullptr;
    int unmapLine = 0;
    const int* argNumbers = nullptr;
};

constexpr int ILMV_GPU_MAX_IMAGES = 4;
constexpr int ILMV_GPU_MAX_ARGS = 16;

// One kernel argument: an image (by its place in the call's image list) or a 32-bit value.
struct ILMV_GPU_ARG {
    int image;  // -1 for a value
    uint32_t value;
    uint32_t bytes;  // a value's width: 4, or 2 and 1 for kernels that take 16- and 8-bit values
};

inline ILMV_GPU_ARG ilmvGpuImageArg(int image)
{
    return {image, 0, 0};
}

inline ILMV_GPU_ARG ilmvGpuValue(uint32_t value)
{
    return {-1, value, 4};
}

inline ILMV_GPU_ARG ilmvGpuValue(int32_t value)
{
    return {-1, static_cast<uint32_t>(value), 4};
}

inline ILMV_GPU_ARG ilmvGpuValue16(uint32_t value)
{
    return {-1, value, 2};
}

inline ILMV_GPU_ARG ilmvGpuValue8(uint32_t value)
{
    return {-1, value, 1};
}

struct ILMV_GPU_IMAGE {
    const void* host;  // a shared block's first byte
    uint64_t span;     // bytes the kernel reaches from it
};

struct ILMV_GPU_CALL {
    const ILMV_GPU_ENGINE* engine;
    int kernel;
    ILMV_GPU_IMAGE images[ILMV_GPU_MAX_IMAGES];
    int imageCount;
    ILMV_GPU_ARG args[ILMV_GPU_MAX_ARGS];
    int argCount;
    size_t global[2];  // work items in x and y; the driver chooses the group size
};

// One kernel from a source image to a destination image of srcElem- and dstElem-byte
// pixels: the two images, then width, height, both strides and the engine's own values; one
// work item per pixel unless `items` says otherwise. The source may not be the destination.
int ilmvGpuRunFilter(const ILMV_GPU_ENGINE& engine, int kernel, const void* src, uint32_t width, uint32_t height,
                     uint32_t srcStride, uint32_t srcElem, void* dst, uint32_t dstStride, uint32_t dstElem,
                     std::initializer_list<ILMV_GPU_ARG> extra = {}, const size_t* items = nullptr);

// Runs the call: 0, 396 (an image not a registered block's start), 397 (no system, a span
// beyond its block, an empty work size, or argument 0 refused) or an OpenCL code - 400.
int ilmvGpuRun(const ILMV_GPU_CALL& call);

// (rows - 1) strides and one row: the bytes an image reaches, 0 for an empty image.
inline uint64_t ilmvGpuSpan(uint64_t rows, uint64_t stride, uint64_t rowBytes)
{
    return rows ? (rows - 1) * stride + rowBytes : 0;
}

// Sizes a kernel can index with its 32-bit signed coordinates.
inline bool ilmvGpuSizesFit(uint32_t width, uint32_t height)
{
    return width && height && width <= 0x7FFFFFFFu && height <= 0x7FFFFFFFu;
}

// A stride's value: the packed row when 0.
inline uint32_t ilmvGpuStride(uint32_t stride, uint64_t rowBytes)
{
    return stride ? stride : static_cast<uint32_t>(rowBytes);
}

// A shared block the engine uses for its own data, zero-filled (or `fill`), freed with it.
class ilmvGpuBlock {
public:
    explicit ilmvGpuBlock(size_t bytes, int fill = 0) : p_(lmvSharedMemAllocG(std::max<size_t>(bytes, 4), 64))
    {
        if (p_) std::memset(p_, fill, bytes);
    }
    ~ilmvGpuBlock() { lmvSharedMemFreeG(p_); }
    ilmvGpuBlock(const ilmvGpuBlock&) = delete;
    ilmvGpuBlock& operator=(const ilmvGpuBlock&) = delete;
    template <class T>
    T* as() const
    {
        return static_cast<T*>(p_);
    }

private:
    void* p_;
};

inline ILMV_GPU_CALL ilmvGpuMakeCall(const ILMV_GPU_ENGINE& engine, int kernel, std::initializer_list<ILMV_GPU_IMAGE> images,
                       std::initializer_list<ILMV_GPU_ARG> args, size_t itemsX, size_t itemsY)
{
    ILMV_GPU_CALL call = {};
    call.engine = &engine;
    call.kernel = kernel;
    for (const ILMV_GPU_IMAGE& image : images) call.images[call.imageCount++] = image;
    for (const ILMV_GPU_ARG& arg : args) call.args[call.argCount++] = arg;
    call.global[0] = itemsX;
    call.global[1] = itemsY;
    return call;
}

#endif
