// Runs every registered benchmark single-threaded and prints, per operation, the time
// of each form and the ratios SIMD / OpenCV and reference / SIMD; writes the table and a
// chart of the SIMD / OpenCV ratios into the output folder.
//
//   lumiva_bench [--size=WxH] [--output=DIR] [Google Benchmark flags]
#include "lumivaBench.h"
#include "lumivaBenchReport.h"
#include "lumiva/lumiva.h"

#include <benchmark/benchmark.h>

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/core.hpp>
#endif

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

namespace lmvbench {

namespace {

// Collects the mean real time of each run while printing as usual.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
            std::string name = run.benchmark_name();
            size_t slash = name.find('/');
            size_t end = name.find('/', slash + 1);
            times_[name.substr(0, slash)][name.substr(slash + 1, end - slash - 1)] =
                run.GetAdjustedRealTime();  // in the unit the benchmark reports, milliseconds
        }
    }
    const Times& times() const { return times_; }

private:
    Times times_;
};

// Writes ratios.txt and ratios.svg into `dir` (made when missing) and says where.
bool writeReport(const std::string& table, const std::string& chart, const std::string& dir)
{
    std::error_code ignored;  // a folder that cannot be made shows up as a failed write
    std::filesystem::create_directories(dir, ignored);
    const bool written = writeText(dir + "/ratios.txt", table) && writeText(dir + "/ratios.svg", chart);
    std::printf(written ? "\nratio table: %s/ratios.txt\nchart: %s/ratios.svg\n" : "cannot write into %s\n",
                dir.c_str(), dir.c_str());
    return written;
}

}  // namespace

void add(const std::string& op, const std::string& form, std::function<void()> body)
{
    benchmark::RegisterBenchmark((op + "/" + form).c_str(), [body](benchmark::State& state) {
        for (auto _ : state) body();
    })->Unit(benchmark::kMillisecond)->UseRealTime();
}

}  // namespace lmvbench

int main(int argc, char** argv)
{
    using namespace lmvbench;
    std::vector<char*> rest;
    std::string output = "out/bench";
    for (int i = 0; i < argc; ++i) {
        unsigned w, h;
        if (std::sscanf(argv[i], "--size=%ux%u", &w, &h) == 2)
            frameSize() = {w, h};
        else if (std::strncmp(argv[i], "--output=", 9) == 0)
            output = argv[i] + 9;
        else
            rest.push_back(argv[i]);
    }
#ifdef LUMIVA_WITH_OPENCV
    cv::setNumThreads(1);  // single-threaded, like the library
#endif
    int restCount = static_cast<int>(rest.size());
    benchmark::Initialize(&restCount, rest.data());
    std::printf("frame %ux%u\n", frameSize().width, frameSize().height);
    lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE);  // the entries used to prepare inputs dispatch through the tables
    registerAllFamilies();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const FrameSize size = frameSize();
    const std::string table = ratioTable(reporter.times(), size.width, size.height, "mean real time");
    std::printf("\n%s", table.c_str());
    return writeReport(table, opencvRatioChartSvg(reporter.times(), size.width, size.height), output) ? 0 : 4;
}
