// A fuzz target's entry: LLVMFuzzerTestOneInput in the target's own libFuzzer program, and a
// named function in the test program, which replays every kept input through it.
#ifndef LUMIVA_FUZZ_H
#define LUMIVA_FUZZ_H

#include <cstddef>
#include <cstdint>

#ifdef LUMIVA_FUZZING
#define LUMIVA_FUZZ_TARGET(name) extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
#else
#define LUMIVA_FUZZ_TARGET(name) extern "C" int lumivaFuzz_##name(const uint8_t* data, size_t size)
#endif

#endif
