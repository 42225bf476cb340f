// Runs every registered benchmark single-threaded and prints, per operation, the time
// of each form and the ratios SIMD / OpenCV and reference / SIMD.
//
//   lumiva_bench [--size=WxH] [Google Benchmark flags]
#include "lumivaBench.h"
#include "lumiva/lumiva.h"

#include <benchmark/benchmark.h>

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/core.hpp>
#endif

#include <cstdio>
#include <cstring>
#include <map>

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
    void PrintRatios() const
    {
        std::printf("\n%-28s %12s %12s %12s %14s %14s\n", "operation", "reference ms", "simd ms", "opencv ms",
                    "simd/opencv", "ref/simd");
        for (const auto& [op, forms] : times_) {
            auto at = [&](const char* f) { auto it = forms.find(f); return it == forms.end() ? -1.0 : it->second; };
            double ref = at("reference"), simd = at("simd"), cv = at("opencv");
            auto cell = [](double v, int width) {
                v > 0 ? std::printf(" %*.3f", width, v) : std::printf(" %*s", width, "-");
            };
            std::printf("%-28s", op.c_str());
            cell(ref, 12);
            cell(simd, 12);
            cell(cv, 12);
            cell(simd > 0 && cv > 0 ? simd / cv : -1, 14);
            cell(simd > 0 && ref > 0 ? ref / simd : -1, 14);
            std::printf("\n");
        }
    }

private:
    std::map<std::string, std::map<std::string, double>> times_;
};

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
    for (int i = 0; i < argc; ++i) {
        unsigned w, h;
        if (std::sscanf(argv[i], "--size=%ux%u", &w, &h) == 2)
            frameSize() = {w, h};
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
    reporter.PrintRatios();
    return 0;
}
