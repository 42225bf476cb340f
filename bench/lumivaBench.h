// Shared harness of the benchmarks: the frame size from the command line, frames of
// random pixels, and registration of one operation's reference, SIMD and OpenCV runs
// under names the report groups by. Family files know nothing of the timing harness, so
// the lumiva command can run the same set with its own timer.
#ifndef LUMIVA_BENCH_H
#define LUMIVA_BENCH_H

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace lmvbench {

struct FrameSize {
    uint32_t width = 1920;
    uint32_t height = 1080;
};

FrameSize& frameSize();

// Random pixels, the same sequence for the same seed.
template <class T>
std::vector<T> randomFrame(size_t count, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::vector<T> v(count);
    for (T& x : v) x = static_cast<T>(rng());
    return v;
}

// Registers "<op>/<form>" running `body` once per iteration; forms are "reference",
// "simd" and "opencv", which the report puts side by side.
void add(const std::string& op, const std::string& form, std::function<void()> body);

// Called once the frame size is known, to register every family's benchmarks.
using Registrar = void (*)();
int registerFamily(Registrar registrar);
// Registers every family's runs at the current frame size.
void registerAllFamilies();

}  // namespace lmvbench

#endif
