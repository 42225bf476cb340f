// The benchmark report shared by the benchmark program and the lumiva command: the ratio
// table, the charts, and writing them.
#include "lumivaBenchReport.h"

#include <algorithm>
#include <cstdio>

namespace lmvbench {

double formMs(const std::map<std::string, double>& forms, const char* form)
{
    const auto it = forms.find(form);
    return it == forms.end() ? -1 : it->second;
}

namespace {

std::string cell(double value, int width, int precision)
{
    char text[32];
    if (value > 0)
        std::snprintf(text, sizeof text, "%*.*f", width, precision, value);
    else
        std::snprintf(text, sizeof text, "%*s", width, "-");
    return text;
}

}  // namespace

std::string ratioTable(const Times& times, uint32_t width, uint32_t height, const char* timing)
{
    char head[256];
    std::snprintf(head, sizeof head, "frame %ux%u, single thread, %s in ms\n%-28s %12s %12s %12s %12s %12s\n",
                  width, height, timing, "operation", "reference", "simd", "opencv", "ref/simd", "simd/opencv");
    std::string text = head;
    std::string remote, gpu;
    for (const auto& [op, forms] : times) {
        const double ref = formMs(forms, "reference"), simd = formMs(forms, "simd"), cv = formMs(forms, "opencv");
        if (const double onGpu = formMs(forms, "gpu"); onGpu > 0) {
            char line[160];
            std::snprintf(line, sizeof line, "%-32s", op.c_str());
            gpu += line + cell(ref, 13, 3) + cell(simd, 13, 3) + cell(onGpu, 13, 3) +
                   cell(simd > 0 ? onGpu / simd : -1, 13, 2) + "\n";
            continue;
        }
        const double shared = formMs(forms, "dsp-shared"), copied = formMs(forms, "dsp-copied");
        if (shared > 0 || copied > 0) {
            char line[160];
            std::snprintf(line, sizeof line, "%-28s", op.c_str());
            remote += line + cell(ref, 13, 3) + cell(shared, 13, 3) + cell(copied, 13, 3) +
                      cell(ref > 0 && shared > 0 ? shared / ref : -1, 13, 2) +
                      cell(ref > 0 && copied > 0 ? copied / ref : -1, 13, 2) +
                      cell(shared > 0 ? 1000.0 / shared : -1, 13, 0) + "\n";
            continue;
        }
        char name[64];
        std::snprintf(name, sizeof name, "%-28s", op.c_str());
        text += name + cell(ref, 13, 3) + cell(simd, 13, 3) + cell(cv, 13, 3) +
                cell(ref > 0 && simd > 0 ? ref / simd : -1, 13, 2) + cell(simd > 0 && cv > 0 ? simd / cv : -1, 13, 2) +
                "\n";
    }
    if (!remote.empty()) {
        std::snprintf(head, sizeof head,
                      "\nremote calls through the DSP simulator (frame size in the name), in ms\n"
                      "%-28s %12s %12s %12s %12s %12s %12s\n",
                      "operation", "in-process", "shared", "copied", "shared/ref", "copied/ref", "calls/s");
        text += head + remote;
    }
    if (!gpu.empty()) {
        std::snprintf(head, sizeof head,
                      "\nGPU engines (frame size in the name; on a host the OpenCL device is the CPU), in ms\n"
                      "%-32s %12s %12s %12s %12s\n",
                      "operation", "reference", "simd", "gpu", "gpu/simd");
        text += head + gpu;
    }
    return text;
}

// Horizontal bars per operation: SIMD and OpenCV time as a fraction of the reference time,
// with the reference marked at 1.
std::string relativeChartSvg(const Times& times, uint32_t width, uint32_t height)
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

// One bar per operation with an OpenCV peer: SIMD time / OpenCV time, with parity marked.
std::string opencvRatioChartSvg(const Times& times, uint32_t width, uint32_t height)
{
    const int labelW = 210, plotW = 520, rowH = 18, top = 40;
    double most = 1.5;
    int rows = 0;
    for (const auto& [op, forms] : times)
        if (formMs(forms, "simd") > 0 && formMs(forms, "opencv") > 0) {
            most = std::max(most, formMs(forms, "simd") / formMs(forms, "opencv"));
            ++rows;
        }
    const double scale = plotW / most;
    char buf[512];
    std::snprintf(buf, sizeof buf,
                  "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" font-family=\"sans-serif\" "
                  "font-size=\"11\">\n<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n"
                  "<text x=\"10\" y=\"20\" font-size=\"13\">SIMD time / OpenCV time, %ux%u, one thread "
                  "(below 1: faster than OpenCV)</text>\n",
                  labelW + plotW + 60, top + rows * rowH + 30, width, height);
    std::string svg = buf;
    int y = top;
    for (const auto& [op, forms] : times) {
        const double simd = formMs(forms, "simd"), cv = formMs(forms, "opencv");
        if (simd <= 0 || cv <= 0) continue;
        const double ratio = simd / cv;
        std::snprintf(buf, sizeof buf,
                      "<text x=\"10\" y=\"%d\">%s</text><rect x=\"%d\" y=\"%d\" width=\"%.1f\" height=\"12\" "
                      "fill=\"%s\"/><text x=\"%.1f\" y=\"%d\">%.2f</text>\n",
                      y + 11, op.c_str(), labelW, y, ratio * scale, ratio <= 1.0 ? "#2a7ab0" : "#c0392b",
                      labelW + ratio * scale + 4, y + 11, ratio);
        svg += buf;
        y += rowH;
    }
    std::snprintf(buf, sizeof buf,
                  "<line x1=\"%.1f\" y1=\"%d\" x2=\"%.1f\" y2=\"%d\" stroke=\"black\" stroke-dasharray=\"3,3\"/>"
                  "\n<text x=\"%.1f\" y=\"%d\">parity</text>\n</svg>\n",
                  labelW + scale, top - 4, labelW + scale, y, labelW + scale - 15, y + 14);
    return svg + buf;
}

}  // namespace lmvbench
