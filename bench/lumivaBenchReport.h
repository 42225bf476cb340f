// The benchmark report: per operation and form, a time in milliseconds; the ratio table,
// two charts and a file writer, shared by the benchmark program and the lumiva command.
#ifndef LUMIVA_BENCH_REPORT_H
#define LUMIVA_BENCH_REPORT_H

#include <cstdint>
#include <map>
#include <string>

namespace lmvbench {

using Times = std::map<std::string, std::map<std::string, double>>;  // op -> form -> ms

// The time of `form`, or -1 when it did not run.
double formMs(const std::map<std::string, double>& forms, const char* form);

// Reference, SIMD and OpenCV times with ref/simd and simd/opencv; `timing` says what a time is.
std::string ratioTable(const Times& times, uint32_t width, uint32_t height, const char* timing);

// SIMD and OpenCV times as fractions of the reference time.
std::string relativeChartSvg(const Times& times, uint32_t width, uint32_t height);

// SIMD time over OpenCV time per operation that has both.
std::string opencvRatioChartSvg(const Times& times, uint32_t width, uint32_t height);

bool writeText(const std::string& path, const std::string& text);

}  // namespace lmvbench

#endif
