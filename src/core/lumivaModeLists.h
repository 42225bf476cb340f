// The fixed slot lists that the index setters and the mode tables write.
#ifndef LUMIVA_MODE_LISTS_H
#define LUMIVA_MODE_LISTS_H

#include <cstddef>
#include <cstdint>

// A run of consecutive slots, first and last included.
struct ILMV_SLOT_RANGE {
    uint16_t first;
    uint16_t last;
};

template <size_t N>
constexpr size_t ilmvCountOf(const ILMV_SLOT_RANGE (&)[N])
{
    return N;
}

// Internal slots: those with a SIMD form, those the DSP serves, and those every hardware
// mode table moves to the CDSP.
extern const ILMV_SLOT_RANGE ilmvInternalSimdRanges[2];
extern const ILMV_SLOT_RANGE ilmvInternalDspRanges[2];
extern const ILMV_SLOT_RANGE ilmvInternalCdspRanges[1];

extern const uint16_t ilmvGpuSlots[42];
extern const uint16_t ilmvPerformanceDspSlots[15];
extern const uint16_t ilmvPerformanceGpuSlots[9];
extern const ILMV_SLOT_RANGE ilmvLowPowerRanges[];
extern const size_t ilmvLowPowerRangeCount;
extern const ILMV_SLOT_RANGE ilmvCpuOffloadRanges[];
extern const size_t ilmvCpuOffloadRangeCount;

#endif
