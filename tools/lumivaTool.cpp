// The lumiva command: a first look at the library.
//
//   lumiva demo [--output DIR]   runs a small pipeline on a generated scene
//   lumiva info [--mode N]       lists the operations, the forms present and the form chosen
#include "core/lumivaCore.h"
#include "lumiva/lumiva.h"
#include "platform/host/lumivaHostHooks.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

constexpr uint32_t kWidth = 640, kHeight = 480;

// The last implementation the runtime log named.
std::string gLastImpl;

void captureRuntimeLog(int, const char* tag, const char* text, void*)
{
    if (std::strcmp(tag, "lumiva_runtime_log") != 0) return;
    const char* underscore = std::strrchr(text, '_');
    gLastImpl = underscore ? underscore + 1 : text;
}

// A textured background with a bright square at (x0, y0).
std::vector<uint8_t> scene(uint32_t x0, uint32_t y0)
{
    std::vector<uint8_t> img(kWidth * kHeight);
    for (uint32_t y = 0; y < kHeight; ++y)
        for (uint32_t x = 0; x < kWidth; ++x) {
            double texture = 96 + 40 * std::sin(x * 0.11) * std::cos(y * 0.07) + ((x * 7 + y * 13) % 23);
            bool inside = x >= x0 && x < x0 + 80 && y >= y0 && y < y0 + 80;
            img[y * kWidth + x] = static_cast<uint8_t>(inside ? 230 : texture);
        }
    return img;
}

bool writePgm(const std::string& path, const std::vector<uint8_t>& img)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    std::fprintf(f, "P5\n%u %u\n255\n", kWidth, kHeight);
    bool ok = std::fwrite(img.data(), 1, img.size(), f) == img.size();
    return std::fclose(f) == 0 && ok;
}

template <class Fn>
void step(const char* name, Fn fn)
{
    gLastImpl = "?";
    auto start = std::chrono::steady_clock::now();
    fn();
    double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    std::printf("  %-22s %-8s %8.3f ms\n", name, gLastImpl.c_str(), ms);
}

int demo(const std::string& outDir)
{
    ilmvHostSetProperty("vendor.runtime.lumiva.log", "1");
    ilmvHostSetLogSink(captureRuntimeLog, nullptr, nullptr);
    lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE);

    std::vector<uint8_t> first = scene(200, 150), second = scene(212, 157);
    std::vector<uint8_t> motion(first.size()), blend(first.size()), mask(first.size());
    float32_t mean = 0;
    std::printf("scene %ux%u, object moved by (12, 7)\n  %-22s %-8s %11s\n", kWidth, kHeight, "step", "ran on", "time");
    step("absolute difference", [&] { lmvAbsDiffu8(first.data(), second.data(), kWidth, kHeight, 0, motion.data(), 0); });
    step("weighted blend", [&] {
        lmvAddWeightedu8(first.data(), kWidth, kHeight, 0, second.data(), 0, 0.5f, 0.5f, blend.data(), 0);
    });
    step("threshold by subtract", [&] {
        std::vector<uint8_t> level(first.size(), 60);
        lmvSubtractu8(motion.data(), kWidth, kHeight, 0, level.data(), 0, LUMIVA_OVERFLOW_SATURATE, mask.data(), 0);
    });
    step("mean of the motion", [&] { lmvAverageu8(motion.data(), kWidth, kHeight, 0, &mean); });
    ilmvHostSetLogSink(nullptr, nullptr, nullptr);

    size_t moving = 0;
    for (uint8_t m : mask) moving += m != 0;
    std::printf("mean motion %.3f, %zu pixels changed by more than 60\n", mean, moving);

    mkdir(outDir.c_str(), 0755);
    for (auto& [name, img] : {std::make_pair("first.pgm", &first), std::make_pair("second.pgm", &second),
                              std::make_pair("motion.pgm", &motion), std::make_pair("blend.pgm", &blend)}) {
        if (!writePgm(outDir + "/" + name, *img)) {
            std::fprintf(stderr, "lumiva: cannot write %s/%s\n", outDir.c_str(), name);
            return 1;
        }
    }
    std::printf("pictures written to %s/\n", outDir.c_str());
    return 0;
}

int info(int32_t mode)
{
    lmvSetOperationMode(mode);
    std::printf("mode %d\n%-5s %-44s %-8s %s\n", mode, "slot", "operation", "chosen", "forms present");
    for (uint32_t slot = 0; slot < LMV_API_COUNT; ++slot) {
        if (lmvIsPresentImpl[slot] == LMV_PRESENT_C || !ilmvApiNames[slot]) continue;  // nothing beyond the bit every slot gets
        std::string forms;
        const char* names[] = {"C", "V", "DSP", "GPU"};
        for (int bit = 0; bit < 4; ++bit)
            if (lmvIsPresentImpl[slot] & (1u << bit)) forms += std::string(forms.empty() ? "" : " ") + names[bit];
        std::printf("%-5u %-44s %-8s %s\n", slot, ilmvApiNames[slot], lmvImplChar[lmvImplTable[slot]], forms.c_str());
    }
    return 0;
}

int usage(FILE* to)
{
    std::fprintf(to, "usage: lumiva demo [--output DIR]\n       lumiva info [--mode N]\n");
    return to == stdout ? 0 : 2;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2) return usage(stderr);
    std::string command = argv[1];
    if (command == "--help" || command == "-h") return usage(stdout);
    std::string output = "out/demo";
    int32_t mode = LUMIVA_OP_CPU_PERFORMANCE;
    for (int i = 2; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") return usage(stdout);
        if (arg == "--output" && i + 1 < argc) {
            output = argv[++i];
        } else if (arg == "--mode" && i + 1 < argc) {
            mode = static_cast<int32_t>(std::strtoll(argv[++i], nullptr, 0));
        } else {
            std::fprintf(stderr, "lumiva: unknown argument %s\n", argv[i]);
            return 2;
        }
    }
    if (command == "demo") return demo(output);
    if (command == "info") return info(mode);
    std::fprintf(stderr, "lumiva: unknown command %s\n", command.c_str());
    return usage(stderr);
}
