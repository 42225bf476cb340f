// The fuzz target over every generated operation: the input picks the operation, the
// image's size and layout, the generator's seed and the scalars; the reference form runs
// against the SIMD form, and the public entry against the SIMD form, on buffers that end
// at the image's last byte, so one byte too far is a sanitizer report and any difference
// stops the process. Last, the entry gets one invalid argument (a null image, a zero size,
// a short stride, or sizes whose product passes 2^32) and must refuse it as documented.
//
// Input: bytes 0-1 the operation, 2 the width, 3 the height, 4 the layout, 5-8 the seed (8
// also picks the invalid argument of the last call), the rest the scalars in the order the
// operation takes them.
#include "../lumivaCaseHarness.h"
#include "lumivaFuzz.h"
#include "lumivaKernels.h"

#include "lumivaOpCases.inc"

#include <cstdio>
#include <cstdlib>

namespace {

constexpr size_t kOpCount = sizeof(kOpCases) / sizeof(kOpCases[0]);
// Widths up to 96 cover every vector loop with its tail; heights up to 12 every row window.
constexpr uint32_t kMaxWidth = 96, kMaxHeight = 12;

bool ready()
{
    static const bool once = lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE) == 0;
    return once;
}

}  // namespace

LUMIVA_FUZZ_TARGET(ops)
{
    if (size < 9 || !ready()) return 0;
    const ilmvOpCase& op = kOpCases[(data[0] | data[1] << 8) % kOpCount];
    // Narrower images stop the process by design (the operation's documented minimum).
    const uint32_t width = op.minWidth + data[2] % kMaxWidth;
    const uint32_t height = 1 + data[3] % kMaxHeight;
    const Layout layout = static_cast<Layout>(data[4] % 4);
    const uint32_t seed = uint32_t(data[5]) | uint32_t(data[6]) << 8 | uint32_t(data[7]) << 16 | uint32_t(data[8]) << 24;
    for (void (*run)(ilmvCase&) : {op.run, op.runEntry}) {
        if (!run) continue;
        ilmvCase c(width, height, layout, seed);
        c.feedScalars(data + 9, size - 9);
        run(c);
    }
    // Then the entry with one argument made invalid, the kind picked by the seed's last byte.
    if (op.runBad) {
        ilmvCase c(width, height, layout, seed);
        c.feedScalars(data + 9, size - 9);
        op.runBad(c, data[8] % 4);
    }
    return 0;
}

#ifdef LUMIVA_FUZZING
// Under the fuzzer a difference is a finding: the process stops and the input is kept.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    ilmvCaseReport() = [](const std::string& message) {
        std::fprintf(stderr, "lumiva fuzz: forms differ: %s\n", message.c_str());
        std::abort();
    };
    return 0;
}
#endif
