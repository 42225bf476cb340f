// Processor discovery and the units (DSP session, GPU system) that the mode call opens.
#ifndef LUMIVA_HARDWARE_H
#define LUMIVA_HARDWARE_H

#include <cstddef>
#include <cstdint>

// What the processor probe found, once per process.
struct ILMV_CPU_RECORD {
    bool probed;
    uint32_t features;     // ILMV_CPU_ bits
    uint32_t implementer;  // the "CPU implementer" number
    bool cpuOnly;          // a chip with neither DSP nor GPU
};

constexpr uint32_t ILMV_CPU_ARMV7 = 0x1;
constexpr uint32_t ILMV_CPU_VFP = 0x2;
constexpr uint32_t ILMV_CPU_NEON = 0x4;

// The value of `field` in cpuinfo text: the field name at the start of a line, then ':'
// (after any blanks) and one space; the value runs to the end of the line. A malloc'd
// string the caller frees, or null when the field is missing.
char* ilmvCpuInfoField(const char* text, const char* field);

// Parses cpuinfo text; `cpuOnlyChips` lists chip names separated by ';'.
ILMV_CPU_RECORD ilmvParseCpuInfo(const char* text, const char* cpuOnlyChips);

// Reads a whole cpuinfo file and parses it; a file that cannot be read gives a record
// that is only marked probed.
ILMV_CPU_RECORD ilmvProbeCpuFile(const char* path, const char* cpuOnlyChips);

// The record of this process, probed from /proc/cpuinfo on first use (pthread_once).
ILMV_CPU_RECORD& ilmvCpuRecord();

// True when `platform` begins with one of the ';'-separated prefixes.
bool ilmvPlatformMatches(const char* platform, const char* prefixes);

// Replaces the build's platform prefixes (tests and tools; null restores the build's).
void ilmvSetPlatformPrefixes(const char* prefixes);

#endif
