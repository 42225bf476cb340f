// lumiva bench: the benchmark set of the library's families run with a plain timer, single
// threaded, written as a ratio table (report.txt) and a chart of each form's time relative
// to the reference form (chart.svg).
#include "lumivaBench.h"
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

using Times = std::map<std::string, std::map<std::string, double>>;  // op -> form -> ms

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

double formMs(const std::map<std::string, double>& forms, const char* form)
{
    const auto it = forms.find(form);
    return it == forms.end() ? -1 : it->second;
}

std::string cell(double value, int width, int precision)
{
    char text[32];
    if (value > 0)
        std::snprintf(text, sizeof text, "%*.*f", width, precision, value);
    else
        std::snprintf(text, sizeof text, "%*s", width, "-");
    return text;
}

std::string ratioTable(const Times& times, uint32_t width, uint32_t height)
{
    char head[256];
    std::snprintf(head, sizeof head, "frame %ux%u, single thread, fastest run in ms\n%-28s %12s %12s %12s %12s %12s\n",
                  width, height, "operation", "reference", "simd", "opencv", "ref/simd", "simd/opencv");
    std::string text = head;
    for (const auto& [op, forms] : times) {
        const double ref = formMs(forms, "reference"), simd = formMs(forms, "simd"), cv = formMs(forms, "opencv");
        char name[64];
        std::snprintf(name, sizeof name, "%-28s", op.c_str());
        text += name + cell(ref, 13, 3) + cell(simd, 13, 3) + cell(cv, 13, 3) +
                cell(ref > 0 && simd > 0 ? ref / simd : -1, 13, 2) + cell(simd > 0 && cv > 0 ? simd / cv : -1, 13, 2) +
                "\n";
    }
    return text;
}

// Horizontal bars per operation: SIMD and OpenCV time as a fraction of the reference time,
// with the reference marked at 1.
std::string chartSvg(const Times& times, uint32_t width, uint32_t height)
{
    const int labelW = 200, plotW = 480, barH = 9, groupH = 26, top = 40;
    double most = 1.0;
    for (const auto& [op, forms] : times)
        for (const char* form : {"simd", "opencv"})
            if (formMs(forms, "reference") > 0 && formMs(forms, form) > 0)
                most = std::max(most, formMs(forms, form) / formMs(forms, "reference"));
    const double scale = plotW / most;
    const int svgH = top + groupH * int(times.size()) + 30;
    char buf[512];
    std::snprintf(buf, sizeof buf,
                  "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" font-family=\"sans-serif\" "
                  "font-size=\"11\">\n<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n"
                  "<text x=\"10\" y=\"18\" font-size=\"13\">Time relative to the reference form, %ux%u "
                  "(shorter is faster)</text>\n"
                  "<rect x=\"10\" y=\"26\" width=\"10\" height=\"8\" fill=\"#2a7ab0\"/><text x=\"24\" y=\"34\">SIMD</text>\n"
                  "<rect x=\"70\" y=\"26\" width=\"10\" height=\"8\" fill=\"#d9822b\"/><text x=\"84\" y=\"34\">OpenCV</text>\n",
                  labelW + plotW + 60, svgH, width, height);
    std::string svg = buf;
    int y = top;
    for (const auto& [op, forms] : times) {
        const double ref = formMs(forms, "reference");
        std::snprintf(buf, sizeof buf, "<text x=\"10\" y=\"%d\">%s</text>\n", y + 14, op.c_str());
        svg += buf;
        int bar = 0;
        for (const auto& [form, colour] : {std::make_pair("simd", "#2a7ab0"), std::make_pair("opencv", "#d9822b")}) {
            const double ms = formMs(forms, form);
            if (ref > 0 && ms > 0) {
                const double ratio = ms / ref;
                std::snprintf(buf, sizeof buf,
                              "<rect x=\"%d\" y=\"%d\" width=\"%.1f\" height=\"%d\" fill=\"%s\"/>"
                              "<text x=\"%.1f\" y=\"%d\" font-size=\"9\">%.2f</text>\n",
                              labelW, y + 2 + bar * (barH + 2), ratio * scale, barH, colour,
                              labelW + ratio * scale + 4, y + 10 + bar * (barH + 2), ratio);
                svg += buf;
            }
            ++bar;
        }
        y += groupH;
    }
    std::snprintf(buf, sizeof buf,
                  "<line x1=\"%.1f\" y1=\"%d\" x2=\"%.1f\" y2=\"%d\" stroke=\"black\" stroke-dasharray=\"3,3\"/>\n"
                  "<text x=\"%.1f\" y=\"%d\">reference = 1</text>\n</svg>\n",
                  labelW + scale, top, labelW + scale, y, labelW + scale - 30, y + 14);
    return svg + buf;
}

bool writeText(const std::string& path, const std::string& text)
{
    FILE* file = std::fopen(path.c_str(), "w");
    if (!file) return false;
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && written;
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

    Times times;
    const size_t total = runs().size();
    for (size_t i = 0; i < total; ++i) {
        const Run& run = runs()[i];
        std::fprintf(stderr, "[%zu/%zu] %s, %s\n", i + 1, total, run.op.c_str(), run.form.c_str());
        times[run.op][run.form] = fastestMs(run.body, repeats);
    }

    std::error_code ignored;  // an output folder that cannot be made shows up as a failed write
    std::filesystem::create_directories(output, ignored);
    const std::string table = ratioTable(times, width, height);
    const std::string report = output + "/report.txt", chart = output + "/chart.svg";
    if (!writeText(report, table) || !writeText(chart, chartSvg(times, width, height))) {
        std::fprintf(stderr, "lumiva bench: cannot write into %s\n", output.c_str());
        return kExitOutput;
    }
    std::printf("%s\nreport written to %s, chart to %s\n", table.c_str(), report.c_str(), chart.c_str());
    return kExitOk;
}
