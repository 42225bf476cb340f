// lumiva bench: the benchmark set of the library's families run with a plain timer, single
// threaded, written as a ratio table (report.txt) and a chart of each form's time relative
// to the reference form (chart.svg).
#include "lumivaBench.h"
#include "lumivaBenchReport.h"
#include "lumiva/lumiva.h"
#include "lumivaTool.h"

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/core.hpp>
#endif

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>

namespace lmvbench {

namespace {

struct Run {
    std::string op, form;
    std::function<void()> body;
};

std::vector<Run>& runs()
{
    static std::vector<Run> list;
    return list;
}

}  // namespace

void add(const std::string& op, const std::string& form, std::function<void()> body)
{
    runs().push_back({op, form, std::move(body)});
}

}  // namespace lmvbench

namespace {

// The fastest of `repeats` runs after one warm-up: the least disturbed by the rest of the machine.
double fastestMs(const std::function<void()>& body, int repeats)
{
    body();
    double best = 1e300;
    for (int r = 0; r < repeats; ++r) {
        const auto start = std::chrono::steady_clock::now();
        body();
        best = std::min(best, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

}  // namespace

int runBench(uint32_t width, uint32_t height, const std::string& output, int repeats)
{
    using namespace lmvbench;
    if (width < 64 || height < 64 || (width & 15) || (height & 1)) {
        std::fprintf(stderr, "lumiva bench: unsupported size %ux%u: use a width that is a multiple of 16 and an even "
                             "height, both 64 or more\n", width, height);
        return kExitUsage;
    }
#ifdef LUMIVA_WITH_OPENCV
    cv::setNumThreads(1);  // single-threaded, like the library
#endif
    frameSize() = {width, height};
    lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE);  // entries that prepare inputs dispatch through the tables
    runs().clear();
    registerAllFamilies();

    lmvbench::Times times;
    const size_t total = runs().size();
    for (size_t i = 0; i < total; ++i) {
        const Run& run = runs()[i];
        std::fprintf(stderr, "[%zu/%zu] %s, %s\n", i + 1, total, run.op.c_str(), run.form.c_str());
        times[run.op][run.form] = fastestMs(run.body, repeats);
    }

    std::error_code ignored;  // an output folder that cannot be made shows up as a failed write
    std::filesystem::create_directories(output, ignored);
    const std::string table = ratioTable(times, width, height, "fastest run");
    const std::string report = output + "/report.txt", chart = output + "/chart.svg";
    if (!writeText(report, table) || !writeText(chart, relativeChartSvg(times, width, height))) {
        std::fprintf(stderr, "lumiva bench: cannot write into %s\n", output.c_str());
        return kExitOutput;
    }
    std::printf("%s\nreport written to %s, chart to %s\n", table.c_str(), report.c_str(), chart.c_str());
    return kExitOk;
}
