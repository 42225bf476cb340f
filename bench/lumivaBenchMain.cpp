// Runs every registered benchmark single-threaded and prints, per operation, the time
// of each form and the ratios SIMD / OpenCV and reference / SIMD; writes the table and a
// chart of the SIMD / OpenCV ratios into the output folder.
//
//   lumiva_bench [--size=WxH] [--output=DIR] [Google Benchmark flags]
#include "lumivaBench.h"
#include "lumiva/lumiva.h"

#include <benchmark/benchmark.h>

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/core.hpp>
#endif

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <sys/stat.h>

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
    // The ratio table, to `out` (stdout and the report file).
    void PrintRatios(FILE* out) const
    {
        std::fprintf(out, "\n%-28s %12s %12s %12s %14s %14s\n", "operation", "reference ms", "simd ms", "opencv ms",
                     "simd/opencv", "ref/simd");
        for (const auto& [op, forms] : times_) {
            double ref = at(forms, "reference"), simd = at(forms, "simd"), cv = at(forms, "opencv");
            auto cell = [out](double v, int width) {
                v > 0 ? std::fprintf(out, " %*.3f", width, v) : std::fprintf(out, " %*s", width, "-");
            };
            std::fprintf(out, "%-28s", op.c_str());
            cell(ref, 12);
            cell(simd, 12);
            cell(cv, 12);
            cell(simd > 0 && cv > 0 ? simd / cv : -1, 14);
            cell(simd > 0 && ref > 0 ? ref / simd : -1, 14);
            std::fprintf(out, "\n");
        }
    }

    // One bar per operation with an OpenCV peer: SIMD time / OpenCV time, the parity line at 1.
    void WriteChart(FILE* out) const
    {
        const int labelW = 210, plotW = 520, rowH = 18, top = 40;
        double most = 1.5;
        int rows = 0;
        for (const auto& [op, forms] : times_)
            if (at(forms, "simd") > 0 && at(forms, "opencv") > 0) {
                most = std::max(most, at(forms, "simd") / at(forms, "opencv"));
                ++rows;
            }
        const double scale = plotW / most;
        const int height = top + rows * rowH + 30;
        std::fprintf(out,
                     "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" font-family=\"sans-serif\" "
                     "font-size=\"11\">\n<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n"
                     "<text x=\"10\" y=\"20\" font-size=\"13\">SIMD time / OpenCV time, %ux%u, one thread "
                     "(below 1: faster than OpenCV)</text>\n",
                     labelW + plotW + 60, height, frameSize().width, frameSize().height);
        int y = top;
        for (const auto& [op, forms] : times_) {
            const double simd = at(forms, "simd"), cv = at(forms, "opencv");
            if (simd <= 0 || cv <= 0) continue;
            const double ratio = simd / cv;
            std::fprintf(out,
                         "<text x=\"10\" y=\"%d\">%s</text><rect x=\"%d\" y=\"%d\" width=\"%.1f\" height=\"12\" "
                         "fill=\"%s\"/><text x=\"%.1f\" y=\"%d\">%.2f</text>\n",
                         y + 11, op.c_str(), labelW, y, ratio * scale, ratio <= 1.0 ? "#2a7ab0" : "#c0392b",
                         labelW + ratio * scale + 4, y + 11, ratio);
            y += rowH;
        }
        std::fprintf(out,
                     "<line x1=\"%.1f\" y1=\"%d\" x2=\"%.1f\" y2=\"%d\" stroke=\"black\" stroke-dasharray=\"3,3\"/>"
                     "\n<text x=\"%.1f\" y=\"%d\">parity</text>\n</svg>\n",
                     labelW + scale, top - 4, labelW + scale, y, labelW + scale - 15, y + 14);
    }

private:
    static double at(const std::map<std::string, double>& forms, const char* form)
    {
        auto it = forms.find(form);
        return it == forms.end() ? -1.0 : it->second;
    }
    std::map<std::string, std::map<std::string, double>> times_;
};

// Writes ratios.txt and ratios.svg into `dir` (made when missing) and says where.
bool writeReport(const RatioReporter& reporter, const std::string& dir)
{
    for (size_t at = dir.find('/', 1); ; at = dir.find('/', at + 1)) {
        mkdir(dir.substr(0, at).c_str(), 0755);
        if (at == std::string::npos) break;
    }
    FILE* table = std::fopen((dir + "/ratios.txt").c_str(), "w");
    FILE* chart = std::fopen((dir + "/ratios.svg").c_str(), "w");
    if (table) reporter.PrintRatios(table);
    if (chart) reporter.WriteChart(chart);
    const bool written = table && chart;
    if (table) std::fclose(table);
    if (chart) std::fclose(chart);
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
    reporter.PrintRatios(stdout);
    return writeReport(reporter, output) ? 0 : 4;
}
