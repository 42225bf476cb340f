// The GPU engines beside the reference and SIMD forms on the same input, at 640x480 and
// 1920x1080; one call on 16x16 pixels for the per-call cost; and system creation from the
// binary cache and from source. Information only on a host, where the "GPU" is PoCL's CPU
// device. Registered only where a GPU system can be created.
#include "gpgpu/engine/lumivaGpu.h"
#include "lumivaBench.h"
#include "lumivaKernels.h"

#include <cstring>

namespace {

using namespace lmvbench;

// Input and output blocks the GPU shares, filled with random bytes.
struct GpuFrames {
    uint32_t w, h;
    uint8_t *rgb, *grey, *out;
    GpuFrames(uint32_t w, uint32_t h) : w(w), h(h)
    {
        const size_t pixels = size_t(w) * h;
        rgb = static_cast<uint8_t*>(lmvSharedMemAllocG(pixels * 3, 64));
        grey = static_cast<uint8_t*>(lmvSharedMemAllocG(pixels * 2, 64));
        out = static_cast<uint8_t*>(lmvSharedMemAllocG(pixels * 4, 64));
        if (!ready()) return;
        const std::vector<uint8_t> bytes = randomFrame<uint8_t>(pixels * 3, 7);
        std::memcpy(rgb, bytes.data(), bytes.size());
        std::memcpy(grey, bytes.data(), pixels * 2);
    }
    bool ready() const { return rgb && grey && out; }
};

void registerFrame(const std::string& size, GpuFrames& f)
{
    const uint32_t w = f.w, h = f.h;
    auto trio = [&](const char* name, auto call) {
        add("Gpu" + std::string(name) + "_" + size, "reference", [call] { call('C'); });
        add("Gpu" + std::string(name) + "_" + size, "simd", [call] { call('V'); });
        add("Gpu" + std::string(name) + "_" + size, "gpu", [call] { call('G'); });
    };
    trio("RGB888ToGray", [&f, w, h](char form) {
        auto fn = form == 'C' ? lmvColorRGB888ToGrayu8C : form == 'V' ? lmvColorRGB888ToGrayu8V : lmvColorRGB888ToGrayu8G;
        fn(f.rgb, w, h, 0, f.out, 0);
    });
    trio("RGB888toYCrCb", [&f, w, h](char form) {
        auto fn = form == 'C' ? lmvColorRGB888toYCrCbu8C : form == 'V' ? lmvColorRGB888toYCrCbu8V : lmvColorRGB888toYCrCbu8G;
        fn(f.rgb, w, h, 0, f.out, 0);
    });
    trio("Gaussian3x3", [&f, w, h](char form) {
        auto fn = form == 'C' ? lmvFilterGaussian3x3u8C : form == 'V' ? lmvFilterGaussian3x3u8V : lmvFilterGaussian3x3u8G;
        fn(f.grey, w, h, 0, f.out, 0, 1);
    });
    trio("ImageDiffs16", [&f, w, h](char form) {
        auto fn = form == 'C' ? lmvImageDiffs16C : form == 'V' ? lmvImageDiffs16V : lmvImageDiffs16G;
        fn(reinterpret_cast<int16_t*>(f.grey), reinterpret_cast<int16_t*>(f.rgb), w / 2, h, 0,
           reinterpret_cast<int16_t*>(f.out), 0);
    });
    trio("ScaleDownBy2Gaussian5x5", [&f, w, h](char form) {
        auto fn = form == 'C'   ? lmvScaleDownBy2Gaussian5x5u8_v2C
                  : form == 'V' ? lmvScaleDownBy2Gaussian5x5u8_v2V
                                : lmvScaleDownBy2Gaussian5x5u8_v2G;
        fn(f.grey, w, h, 0, f.out, 0);
    });
    trio("YCrCb420SPToRGBA", [&f, w, h](char form) {
        auto fn = form == 'C'   ? lmvColorYCrCb420PseudoPlanarToRGB8888u8C
                  : form == 'V' ? lmvColorYCrCb420PseudoPlanarToRGB8888u8V
                                : lmvColorYCrCb420PseudoPlanarToRGB8888u8G;
        fn(f.rgb, w, h, w, w, f.out, w * 4);
    });
}

void registerGpu()
{
    if (lmvHasGPU() != 1 || lmvGpuCreateSystem(1) != 0) return;  // no accepted OpenCL platform here
    static GpuFrames tiny(16, 16), vga(640, 480), full(1920, 1080);
    if (!tiny.ready() || !vga.ready() || !full.ready()) return;
    add("GpuRGB888ToGray_16x16", "simd", [] { lmvColorRGB888ToGrayu8V(tiny.rgb, 16, 16, 0, tiny.out, 0); });
    add("GpuRGB888ToGray_16x16", "gpu", [] { lmvColorRGB888ToGrayu8G(tiny.rgb, 16, 16, 0, tiny.out, 0); });
    registerFrame("640x480", vga);
    registerFrame("1920x1080", full);
    // Creation with the binaries in memory, as every mode call after the first finds them.
    add("GpuCreateSystem_cached", "gpu", [] {
        lmvGpuDestroySystem();
        lmvGpuCreateSystem(1);
    });
    // Creation compiling every program, as the first process on a device does.
    add("GpuCreateSystem_source", "gpu", [] {
        lmvGpuDestroySystem();
        ilmvGpuForgetBinaries();
        ilmvGpuSetCacheDirectory("");
        lmvGpuCreateSystem(1);
        ilmvGpuSetCacheDirectory(nullptr);
    });
}

const int kRegistered = registerFamily(registerGpu);

}  // namespace
