// The command line of the lumiva tool: one parser per command, each with its own help.
#include "lumiva/lumiva.h"
#include "lumivaTool.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

const char kUsage[] =
    "usage: lumiva <command> [options]\n"
    "\n"
    "commands:\n"
    "  demo    runs grey conversion, Gaussian, pyramids, FAST-9, Lucas-Kanade and the codebook\n"
    "          on a built-in scene or on your images, and writes pictures of the results\n"
    "  info    lists the processors, the hardware mask, and each operation's forms and choice\n"
    "  bench   times the reference, SIMD and OpenCV forms and writes a report with a chart\n"
    "\n"
    "lumiva <command> --help tells more. Exit codes: 0 done, 2 bad arguments,\n"
    "3 unreadable or unsupported input, 4 output could not be written.\n";

const char kDemoUsage[] =
    "usage: lumiva demo [--input A.png [--input B.png]] [--output DIR] [--mode NAME] [--quiet]\n"
    "  --input FILE   a PNG or JPEG frame; the second one is the frame tracked into (default:\n"
    "                 the built-in scene with a known camera shift and a moving object)\n"
    "  --output DIR   where corners.png, flow.png and foreground.png go (default out/demo)\n"
    "  --mode NAME    cpu-performance (default), low-power, performance, cpu-offload, dsp: every\n"
    "                 step with a remote form on the DSP (on a host, the project's DSP simulator),\n"
    "                 or gpu: every step with a GPU form on the GPU (on a host, PoCL's CPU device)\n"
    "  --quiet        prints nothing but errors\n";

const char kInfoUsage[] =
    "usage: lumiva info [--mode N]\n"
    "  --mode N   the operation mode whose choices are shown (default 3, CPU performance);\n"
    "             0 low power, 1 performance, 2 CPU offload, or an extended mode such as 0x80000002\n";

const char kBenchUsage[] =
    "usage: lumiva bench [--size WxH] [--output DIR] [--repeats N]\n"
    "  --size WxH     frame size (default 1920x1080; width a multiple of 16, height even, both >= 64)\n"
    "  --output DIR   where report.txt and chart.svg go (default out/bench)\n"
    "  --repeats N    timed runs per form, the fastest is kept (default 5)\n";

int usageError(const char* usage, const char* problem, const char* argument)
{
    std::fprintf(stderr, "lumiva: %s%s%s\n%s", problem, argument ? " " : "", argument ? argument : "", usage);
    return kExitUsage;
}

bool isHelp(const char* arg) { return !std::strcmp(arg, "--help") || !std::strcmp(arg, "-h"); }

// The value after an option, or null when the option ends the line.
const char* valueOf(int argc, char** argv, int& i) { return i + 1 < argc ? argv[++i] : nullptr; }

bool parseInteger(const char* text, long long low, long long high, long long& value)
{
    char* end = nullptr;
    value = std::strtoll(text, &end, 0);
    return end != text && *end == '\0' && value >= low && value <= high;
}

int demoCommand(int argc, char** argv)
{
    DemoOptions options;
    for (int i = 0; i < argc; ++i) {
        const char* arg = argv[i];
        if (isHelp(arg)) return std::printf("%s", kDemoUsage), kExitOk;
        if (!std::strcmp(arg, "--quiet")) {
            options.quiet = true;
            continue;
        }
        const bool input = !std::strcmp(arg, "--input"), output = !std::strcmp(arg, "--output");
        const bool mode = !std::strcmp(arg, "--mode");
        if (!input && !output && !mode) return usageError(kDemoUsage, "unknown demo argument", arg);
        const char* value = valueOf(argc, argv, i);
        if (!value) return usageError(kDemoUsage, "missing value after", arg);
        if (mode && !modeByName(value, options.mode)) return usageError(kDemoUsage, "not a mode:", value);
        if (mode) options.modeName = value;
        else if (output) options.output = value;
        else if (options.inputs.size() == 2) return usageError(kDemoUsage, "at most two --input files, not", value);
        else options.inputs.push_back(value);
    }
    return runDemo(options).exitCode;
}

int infoCommand(int argc, char** argv)
{
    long long mode = LUMIVA_OP_CPU_PERFORMANCE;
    for (int i = 0; i < argc; ++i) {
        if (isHelp(argv[i])) return std::printf("%s", kInfoUsage), kExitOk;
        if (std::strcmp(argv[i], "--mode")) return usageError(kInfoUsage, "unknown info argument", argv[i]);
        const char* value = valueOf(argc, argv, i);
        if (!value) return usageError(kInfoUsage, "missing value after", "--mode");
        if (!parseInteger(value, 0, 0xffffffffLL, mode)) return usageError(kInfoUsage, "not a mode:", value);
    }
    return runInfo(static_cast<int32_t>(static_cast<uint32_t>(mode)));
}

int benchCommand(int argc, char** argv)
{
    unsigned width = 1920, height = 1080;
    long long repeats = 5;
    std::string output = "out/bench";
    for (int i = 0; i < argc; ++i) {
        const char* arg = argv[i];
        if (isHelp(arg)) return std::printf("%s", kBenchUsage), kExitOk;
        const bool size = !std::strcmp(arg, "--size"), out = !std::strcmp(arg, "--output"),
                   rep = !std::strcmp(arg, "--repeats");
        if (!size && !out && !rep) return usageError(kBenchUsage, "unknown bench argument", arg);
        const char* value = valueOf(argc, argv, i);
        if (!value) return usageError(kBenchUsage, "missing value after", arg);
        char tail = 0;
        if (size && std::sscanf(value, "%ux%u%c", &width, &height, &tail) != 2)
            return usageError(kBenchUsage, "not a size WxH:", value);
        if (rep && !parseInteger(value, 1, 1000, repeats)) return usageError(kBenchUsage, "not a repeat count:", value);
        if (out) output = value;
    }
    return runBench(width, height, output, int(repeats));
}

}  // namespace

int runTool(int argc, char** argv)
{
    if (argc < 2) return usageError(kUsage, "which command?", nullptr);
    const char* command = argv[1];
    if (isHelp(command)) return std::printf("%s", kUsage), kExitOk;
    if (!std::strcmp(command, "demo")) return demoCommand(argc - 2, argv + 2);
    if (!std::strcmp(command, "info")) return infoCommand(argc - 2, argv + 2);
    if (!std::strcmp(command, "bench")) return benchCommand(argc - 2, argv + 2);
    return usageError(kUsage, "unknown command", command);
}
