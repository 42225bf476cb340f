// Image pyramids: level records, level buffers through the shared-memory allocator or the
// heap, and creation by Gaussian 5x5 decimation (or, in the third generation, bilinear
// resampling for ratios other than one half).
#include "core/lumivaEntry.h"
#include "cpu/lumivaScale.h"
#include "memory/lumivaMemInternal.h"

#include <cmath>
#include <cstdlib>
#include <vector>

namespace {

constexpr char kPath[] = "src/cpu/lumivaPyramidC";

// 16-byte aligned: from the shared-memory pair when it is installed, else from the heap,
// where the byte before the buffer holds its distance (2 to 17) back to the block start.
void* allocateLevel(size_t size)
{
    const ILMV_ALLOCATOR_PAIR& pair = ilmvSharedAllocator();
    if (pair.alloc && pair.free)
        if (void* p = pair.alloc(size, 16)) return p;
    uint8_t* start = static_cast<uint8_t*>(std::malloc(size + 17));
    uint8_t* p = reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(start) + 17) & ~uintptr_t(15));
    p[-1] = static_cast<uint8_t>(p - start);
    return p;
}

void releaseLevel(void* ptr)
{
    if (!ptr) return;
    const ILMV_ALLOCATOR_PAIR& pair = ilmvSharedAllocator();
    if (pair.free && pair.free(ptr) == 0) return;
    uint8_t* p = static_cast<uint8_t*>(ptr);
    std::free(p - p[-1]);
}

uint32_t nextSize(uint32_t size, float32_t scale, bool roundUp)
{
    return roundUp ? static_cast<uint32_t>(std::ceil(size * double(scale))) : size >> 1;
}

// Bilinear resampling of a u8 level: centres aligned, weights in 1/2048.
void resample(const uint8_t* src, uint32_t sw, uint32_t sh, uint32_t ss, uint8_t* dst, uint32_t dw, uint32_t dh,
              uint32_t ds)
{
    struct Tap {
        uint32_t i0, i1;
        int32_t w1;
    };
    auto taps = [](uint32_t from, uint32_t to) {
        std::vector<Tap> t(to);
        for (uint32_t k = 0; k < to; ++k) {
            double pos = (k + 0.5) * double(from) / to - 0.5;
            pos = std::min(std::max(pos, 0.0), double(from - 1));
            const uint32_t i0 = static_cast<uint32_t>(pos);
            t[k] = {i0, std::min(i0 + 1, from - 1), static_cast<int32_t>(std::lround((pos - i0) * 2048))};
        }
        return t;
    };
    const std::vector<Tap> tx = taps(sw, dw), ty = taps(sh, dh);
    for (uint32_t y = 0; y < dh; ++y) {
        const uint8_t* r0 = src + size_t(ty[y].i0) * ss;
        const uint8_t* r1 = src + size_t(ty[y].i1) * ss;
        for (uint32_t x = 0; x < dw; ++x) {
            const Tap& h = tx[x];
            const int32_t top = r0[h.i0] * (2048 - h.w1) + r0[h.i1] * h.w1;
            const int32_t bottom = r1[h.i0] * (2048 - h.w1) + r1[h.i1] * h.w1;
            const int64_t v = int64_t(top) * (2048 - ty[y].w1) + int64_t(bottom) * ty[y].w1;
            dst[size_t(y) * ds + x] = static_cast<uint8_t>((v + (1 << 21)) >> 22);
        }
    }
}

template <class Level>
void checkCreate(const void* base, uint32_t baseWidth, uint32_t baseHeight, uint32_t numLevels, const Level* pyramid,
                 bool halving)
{
    if (!(base && numLevels && baseHeight && baseWidth && pyramid))
        ilmvHardStop(kPath, __LINE__, "base && numLevels && baseHeight && baseWidth && pyramid");
    if (halving && !(((baseWidth & ((1u << (numLevels - 1)) - 1)) == 0) & ((baseHeight & ((1u << (numLevels - 1)) - 1)) == 0)))
        ilmvHardStop(kPath, __LINE__,
                     "( (baseWidth & ((1 << (numLevels - 1)) - 1)) == 0 ) & ( (baseHeight & ((1 << (numLevels - 1)) - "
                     "1)) == 0 )");
}

}  // namespace

int32_t ilmvPyramidAllocate(lmvPyramidLevel* pyr, uint32_t baseWidth, uint32_t baseHeight, uint32_t bytesPerPixel,
                            uint32_t numLevels, uint32_t allocateBase)
{
    uint32_t w = baseWidth, h = baseHeight;
    for (uint32_t i = 0; i < numLevels; ++i) {
        if (i > 0) {
            w >>= 1;
            h >>= 1;
        }
        if (i == 0 && !allocateBase) continue;  // level 0 is the caller's, untouched
        pyr[i] = {allocateLevel(size_t(w) * h * bytesPerPixel), w, h};
    }
    return 0;
}

int32_t ilmvPyramidAllocate_v2(lmvPyramidLevel_v2* pyr, uint32_t baseWidth, uint32_t baseHeight, uint32_t baseStride,
                               uint32_t bytesPerPixel, uint32_t numLevels, uint32_t allocateBase, float32_t scale,
                               bool roundUp)
{
    if (roundUp && !(scale > 0.0f && scale < 1.0f)) return -1;
    uint32_t w = baseWidth, h = baseHeight;
    pyr[0] = {allocateBase ? allocateLevel(size_t(baseStride) * baseHeight) : pyr[0].ptr, w, h, baseStride};
    for (uint32_t i = 1; i < numLevels; ++i) {
        w = nextSize(w, scale, roundUp);
        h = nextSize(h, scale, roundUp);
        const uint32_t stride = w * bytesPerPixel;
        pyr[i] = {allocateLevel(size_t(stride) * h), w, h, stride};
    }
    return 0;
}

int32_t ilmvPyramidCreate(const ILMV_DECIMATE_ROWS& rows, ILMV_ELEM elem, const void* base, uint32_t baseWidth,
                          uint32_t baseHeight, uint32_t, uint32_t numLevels, lmvPyramidLevel* pyr)
{
    checkCreate(base, baseWidth, baseHeight, numLevels, pyr, true);
    pyr[0] = {const_cast<void*>(base), baseWidth, baseHeight};
    for (uint32_t i = 1; i < numLevels; ++i) {
        const lmvPyramidLevel& up = pyr[i - 1];
        lmvPyramidLevel& level = pyr[i];
        level.width = up.width >> 1;
        level.height = up.height >> 1;
        if (!level.ptr) return -1;
        if (elem == ilmvElemU8)
            ilmvDecimate5x5Frame(rows, static_cast<const uint8_t*>(up.ptr), up.width, up.height, up.width,
                                 static_cast<uint8_t*>(level.ptr), level.width, level.height, level.width);
        else
            ilmvDecimate5x5FrameF32(rows, static_cast<const float32_t*>(up.ptr), up.width, up.height, up.width * 4,
                                    static_cast<float32_t*>(level.ptr), level.width, level.height, level.width * 4);
    }
    return 0;
}

int32_t ilmvPyramidCreate_v2(const ILMV_DECIMATE_ROWS& rows, ILMV_ELEM elem, const void* base, uint32_t baseWidth,
                             uint32_t baseHeight, uint32_t baseStride, uint32_t numLevels, lmvPyramidLevel_v2* pyr,
                             float32_t scale, bool roundUp)
{
    if (roundUp && !(scale > 0.0f && scale < 1.0f)) return -1;
    checkCreate(base, baseWidth, baseHeight, numLevels, pyr, !roundUp);
    if (!baseStride) baseStride = baseWidth * elem;
    pyr[0] = {const_cast<void*>(base), baseWidth, baseHeight, baseStride};
    for (uint32_t i = 1; i < numLevels; ++i) {
        const lmvPyramidLevel_v2& up = pyr[i - 1];
        lmvPyramidLevel_v2& level = pyr[i];
        level.width = nextSize(up.width, scale, roundUp);
        level.height = nextSize(up.height, scale, roundUp);
        if (!level.stride) level.stride = level.width * elem;
        if (!level.ptr) return -1;
        const uint8_t* from = static_cast<const uint8_t*>(up.ptr);
        if (elem == ilmvElemF32)
            ilmvDecimate5x5FrameF32(rows, reinterpret_cast<const float32_t*>(from), up.width, up.height, up.stride,
                                    static_cast<float32_t*>(level.ptr), level.width, level.height, level.stride);
        else if (!roundUp || scale == 0.5f)
            ilmvDecimate5x5Frame(rows, from, up.width, up.height, up.stride, static_cast<uint8_t*>(level.ptr),
                                 level.width, level.height, level.stride);
        else
            resample(from, up.width, up.height, up.stride, static_cast<uint8_t*>(level.ptr), level.width, level.height,
                     level.stride);
    }
    return 0;
}

void ilmvPyramidDelete(lmvPyramidLevel* pyr, uint32_t numLevels, uint32_t startLevel)
{
    for (uint32_t i = startLevel; i < numLevels; ++i) {
        releaseLevel(pyr[i].ptr);
        pyr[i].ptr = nullptr;
    }
}

void ilmvPyramidDelete_v2(lmvPyramidLevel_v2* pyr, uint32_t numLevels, uint32_t startLevel)
{
    for (uint32_t i = startLevel; i < numLevels; ++i) {
        releaseLevel(pyr[i].ptr);
        pyr[i].ptr = nullptr;
    }
}
