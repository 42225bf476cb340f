// The lumiva command: demo, info and bench, each also callable from tests.
#ifndef LUMIVA_TOOL_H
#define LUMIVA_TOOL_H

#include <cstdint>
#include <string>
#include <vector>

// Exit codes scripts can rely on.
enum ToolExit { kExitOk = 0, kExitUsage = 2, kExitInput = 3, kExitOutput = 4 };

// An 8-bit image of 1, 3 or 4 channels, rows packed.
struct ToolImage {
    uint32_t width = 0, height = 0, channels = 0;
    std::vector<uint8_t> pixels;
};

// PNG or JPEG in, PNG out; false with a message on failure.
bool readImage(const std::string& path, ToolImage& image, std::string& error);
bool writePng(const std::string& path, const ToolImage& image);

struct DemoOptions {
    std::vector<std::string> inputs;
    std::string output = "out/demo";
    bool quiet = false;
    int32_t mode = 3;            // the operation mode the pipeline runs in
    std::string modeName = "cpu-performance";
};

// The operation mode a name stands for: low-power, performance, cpu-offload,
// cpu-performance, dsp (every capable operation on the default DSP domain) or gpu (every
// operation with a GPU form on the GPU).
bool modeByName(const std::string& name, int32_t& mode);

// On a host, declares the simulated platform, so that the modes reach the DSP simulator
// through the project's host stub (a device is a supported platform by itself).
void useHostDspPlatform();

struct DemoResult {
    int exitCode = kExitOk;
    size_t corners = 0, tracked = 0, foreground = 0, edgePixels = 0, lines = 0;
    double trackingError = -1;  // mean error against the known motion, built-in scene only
    std::vector<std::string> pictures;
    std::vector<std::string> ranOn;  // per step, the form that ran ("GPU", "SIMD", ...)
    int mismatches = 0;              // checked steps whose output differs from the reference form's
};

// The whole command line, argv[0] being the program; returns the exit code.
int runTool(int argc, char** argv);

DemoResult runDemo(const DemoOptions& options);
int runInfo(int32_t mode);
int runBench(uint32_t width, uint32_t height, const std::string& output, int repeats);

#endif
