// lumiva demo: grey conversion, Gaussian 3x3, pyramids, FAST-9 with suppression,
// Lucas-Kanade tracking into the second frame and the codebook foreground, on a generated
// scene with a known camera shift and a moving object, or on the user's images; and a strip
// of neighbourhood filters over the first frame with noise added.
#include "gpgpu/engine/lumivaGpu.h"
#include "lumiva/lumiva.h"
#include "lumivaKernels.h"
#include "lumivaTool.h"
#include "platform/lumivaHardware.h"
#include "platform/host/lumivaHostHooks.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <cstring>

namespace {

// The scene: a background moved by the camera between the frames, and a square object that
// moves on its own.
constexpr uint32_t kW = 640, kH = 480;
constexpr double kShiftX = 2.5, kShiftY = -1.5;   // camera, in pixels
constexpr double kMoveX = 7.5, kMoveY = 4.5;      // object, on top of the camera shift: whole pixels in all
constexpr int kObjX = 300, kObjY = 180, kObjSide = 48;
// Pictures are at least this large (smaller inputs are enlarged by a whole factor), and the
// flow vectors are drawn this many times their length, so both read without zooming.
constexpr uint32_t kMinPictureW = 640, kMinPictureH = 480;
constexpr double kFlowScale = 4.0;

// Smooth random texture: hashed lattice values blended bilinearly, so corners are plenty and
// no two look alike (a periodic texture would let the tracker lock onto the wrong period).
double latticeValue(int i, int j, uint32_t seed)
{
    uint32_t h = uint32_t(i) * 0x9E3779B1u ^ uint32_t(j) * 0x85EBCA77u ^ seed * 0xC2B2AE3Du;
    h ^= h >> 15;
    h *= 0x2C1B3C6Du;
    h ^= h >> 12;
    return double(h & 0xFFFF) / 65535.0;
}

double valueNoise(double u, double v, double cell, uint32_t seed)
{
    const double fu = u / cell, fv = v / cell;
    const int i = int(std::floor(fu)), j = int(std::floor(fv));
    const double tu = fu - i, tv = fv - j;
    const double top = latticeValue(i, j, seed) * (1 - tu) + latticeValue(i + 1, j, seed) * tu;
    const double bottom = latticeValue(i, j + 1, seed) * (1 - tu) + latticeValue(i + 1, j + 1, seed) * tu;
    return top * (1 - tv) + bottom * tv;
}

double backgroundAt(double u, double v, int c)
{
    return 40 + 130 * valueNoise(u, v, 7.0, 11 + c) + 60 * valueNoise(u, v, 23.0, 17 + c);
}

double objectAt(double u, double v, int c)
{
    return (c == 0 ? 150 : 20) + 100 * valueNoise(u, v, 5.0, 31 + c);
}

ToolImage render(bool withObject, double camX, double camY, double objX, double objY, uint32_t noiseSeed)
{
    ToolImage img{kW, kH, 3, std::vector<uint8_t>(size_t(kW) * kH * 3)};
    uint32_t noise = noiseSeed;
    for (uint32_t y = 0; y < kH; ++y)
        for (uint32_t x = 0; x < kW; ++x) {
            const double ox = x - objX, oy = y - objY;
            const bool inObject = withObject && ox >= 0 && oy >= 0 && ox < kObjSide && oy < kObjSide;
            for (int c = 0; c < 3; ++c) {
                double v = inObject ? objectAt(ox, oy, c) : backgroundAt(x - camX, y - camY, c);
                noise = noise * 1664525u + 1013904223u;
                if (noiseSeed) v += double(noise >> 29) - 3.5;
                img.pixels[(size_t(y) * kW + x) * 3 + c] = uint8_t(std::lround(std::fmin(255.0, std::fmax(0.0, v))));
            }
        }
    return img;
}

}  // namespace

bool modeByName(const std::string& name, int32_t& mode)
{
    static const std::pair<const char*, int32_t> kModes[] = {
        {"low-power", LUMIVA_OP_LOW_POWER},           {"performance", LUMIVA_OP_PERFORMANCE},
        {"cpu-offload", LUMIVA_OP_CPU_OFFLOAD},       {"cpu-performance", LUMIVA_OP_CPU_PERFORMANCE},
        {"dsp", LUMIVA_OP_EXT_ALL_DSP},               {"gpu", LUMIVA_OP_EXT_ALL_GPU}};
    for (const auto& [text, value] : kModes)
        if (name == text) return mode = value, true;
    return false;
}

void useHostDspPlatform()
{
#ifndef __ANDROID__
    ilmvSetPlatformPrefixes("lmvsim");
    ilmvHostSetProperty("ro.board.platform", "lmvsim");
#endif
}

namespace {

// The implementation the runtime log named last.
std::string gRan;

void captureRuntime(int, const char* tag, const char* text, void*)
{
    if (std::strcmp(tag, "lumiva_runtime_log")) return;
    // The log names the unit after the operation: CPU is the reference form, ORTAL the SIMD one.
    const char* underscore = std::strrchr(text, '_');
    const std::string unit = underscore ? underscore + 1 : text;
    gRan = unit == "CPU" ? "reference" : unit == "ORTAL" ? "SIMD" : unit;
}

struct Step {
    std::string name, ran;
    double ms;
    int equalsCpu = -1;  // 1 or 0 where the step's output was checked against the reference form
};

template <class Fn>
void timed(std::vector<Step>& steps, const char* name, Fn fn)
{
    gRan = "-";
    const auto start = std::chrono::steady_clock::now();
    fn();
    steps.push_back({name, gRan, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count()});
}

// Memory from lmvMemAlloc: shared with the GPU or the DSP when a mode put one in force, so
// the unit works on it without a copy.
struct MemBlock {
    explicit MemBlock(size_t n) : p(static_cast<uint8_t*>(lmvMemAlloc(n, 64))), n(n) {}
    ~MemBlock() { lmvMemFree(p); }
    uint8_t* p;
    size_t n;
};

ToolImage enlarged(const ToolImage& img, uint32_t k);

// The filter strip: a quarter-size crop of the grey frame around (cx, cy) with sensor noise
// and salt-and-pepper specks, then its 3x3 median, 5x5 bilateral, 5x5 Gaussian and 3x3
// opening (erode, then dilate), side by side and enlarged four times.
ToolImage filterStrip(std::vector<Step>& steps, const std::vector<uint8_t>& grey, uint32_t w, uint32_t h, uint32_t cx,
                      uint32_t cy)
{
    const uint32_t cw = w / 4, ch = h / 4;
    const uint32_t x0 = std::min(cx > cw / 2 ? cx - cw / 2 : 0, w - cw), y0 = std::min(cy > ch / 2 ? cy - ch / 2 : 0, h - ch);
    const size_t n = size_t(cw) * ch;
    std::vector<uint8_t> noisy(n);
    uint32_t state = 12345;
    for (uint32_t y = 0; y < ch; ++y)
        for (uint32_t x = 0; x < cw; ++x) {
            state = state * 1664525u + 1013904223u;
            const uint32_t r = state >> 8;
            const int v = grey[size_t(y0 + y) * w + x0 + x] + int(r % 25) - 12;
            noisy[size_t(y) * cw + x] = r % 53 == 0 ? ((r & 0x100) ? 255 : 0) : uint8_t(std::min(255, std::max(0, v)));
        }
    std::vector<std::vector<uint8_t>> panels(5, noisy);
    timed(steps, "filter strip", [&] {
        lmvFilterMedian3x3u8_v2(noisy.data(), cw, ch, 0, panels[1].data(), 0);
        lmvBilateralFilter5x5u8(noisy.data(), cw, ch, 0, panels[2].data(), 0);
        lmvFilterGaussian5x5u8(noisy.data(), cw, ch, 0, panels[3].data(), 0, 1);
        std::vector<uint8_t> eroded(n);
        lmvFilterErode3x3u8_v2(noisy.data(), cw, ch, 0, eroded.data(), 0);
        lmvFilterDilate3x3u8_v2(eroded.data(), cw, ch, 0, panels[4].data(), 0);
    });
    ToolImage strip{cw * 5, ch, 1, std::vector<uint8_t>(n * 5)};
    for (uint32_t p = 0; p < 5; ++p)
        for (uint32_t y = 0; y < ch; ++y)
            std::memcpy(&strip.pixels[size_t(y) * strip.width + size_t(p) * cw], &panels[p][size_t(y) * cw], cw);
    return enlarged(strip, 4);
}

// Grey and Gaussian on both frames over lmvMemAlloc blocks; with the GPU's engines counted,
// the step names the form that really ran, and each result is checked against the CPU.
void runFrontSteps(std::vector<Step>& steps, const ToolImage& a, const ToolImage& b, std::vector<uint8_t>& greyA,
                   std::vector<uint8_t>& greyB, std::vector<uint8_t>& blurA, std::vector<uint8_t>& blurB)
{
    const uint32_t w = a.width, h = a.height;
    const size_t pixels = size_t(w) * h;
    MemBlock rgb[2] = {MemBlock(pixels * 3), MemBlock(pixels * 3)}, grey[2] = {MemBlock(pixels), MemBlock(pixels)},
             blur[2] = {MemBlock(pixels), MemBlock(pixels)};
    std::memcpy(rgb[0].p, a.pixels.data(), pixels * 3);
    std::memcpy(rgb[1].p, b.pixels.data(), pixels * 3);
    auto gpuRan = [](uint64_t before, int calls) { return ilmvGpuStats().engineRuns == before + calls; };
    uint64_t before = ilmvGpuStats().engineRuns;
    timed(steps, "colour to grey", [&] {
        for (int k = 0; k < 2; ++k) lmvColorRGB888ToGrayu8(rgb[k].p, w, h, 0, grey[k].p, 0);
    });
    if (steps.back().ran == "GPU" && !gpuRan(before, 2)) steps.back().ran = "SIMD (GPU declined)";
    std::vector<uint8_t> cpu(pixels);
    lmvColorRGB888ToGrayu8C(rgb[0].p, w, h, 0, cpu.data(), 0);
    steps.back().equalsCpu = std::memcmp(cpu.data(), grey[0].p, pixels) == 0;
    before = ilmvGpuStats().engineRuns;
    timed(steps, "Gaussian 3x3", [&] {
        for (int k = 0; k < 2; ++k) lmvFilterGaussian3x3u8_v2(grey[k].p, w, h, 0, blur[k].p, 0, 1);
    });
    if (steps.back().ran == "GPU" && !gpuRan(before, 2)) steps.back().ran = "SIMD (GPU declined)";
    lmvFilterGaussian3x3u8C(grey[0].p, w, h, 0, cpu.data(), 0, 1);
    steps.back().equalsCpu = std::memcmp(cpu.data(), blur[0].p, pixels) == 0;
    std::memcpy(greyA.data(), grey[0].p, pixels);
    std::memcpy(greyB.data(), grey[1].p, pixels);
    std::memcpy(blurA.data(), blur[0].p, pixels);
    std::memcpy(blurB.data(), blur[1].p, pixels);
}

void plot(ToolImage& img, int x, int y, uint8_t r, uint8_t g, uint8_t b)
{
    if (x < 0 || y < 0 || x >= int(img.width) || y >= int(img.height)) return;
    uint8_t* p = &img.pixels[(size_t(y) * img.width + x) * 3];
    p[0] = r;
    p[1] = g;
    p[2] = b;
}

void line(ToolImage& img, double x0, double y0, double x1, double y1, uint8_t r, uint8_t g, uint8_t b)
{
    const int steps = int(std::ceil(std::fmax(std::fabs(x1 - x0), std::fabs(y1 - y0)))) + 1;
    for (int s = 0; s <= steps; ++s)
        plot(img, int(std::lround(x0 + (x1 - x0) * s / steps)), int(std::lround(y0 + (y1 - y0) * s / steps)), r, g, b);
}

// A line `width` pixels wide.
void thickLine(ToolImage& img, double x0, double y0, double x1, double y1, int width, uint8_t r, uint8_t g, uint8_t b)
{
    for (int dy = -(width / 2); dy <= (width - 1) / 2; ++dy)
        for (int dx = -(width / 2); dx <= (width - 1) / 2; ++dx) line(img, x0 + dx, y0 + dy, x1 + dx, y1 + dy, r, g, b);
}

// The whole factor that makes an image at least the minimum picture size.
uint32_t pictureFactor(uint32_t w, uint32_t h)
{
    uint32_t k = 1;
    while (w * k < kMinPictureW || h * k < kMinPictureH) ++k;
    return k;
}

ToolImage enlarged(const ToolImage& img, uint32_t k)
{
    ToolImage out{img.width * k, img.height * k, img.channels, std::vector<uint8_t>(img.pixels.size() * k * k)};
    for (uint32_t y = 0; y < out.height; ++y)
        for (uint32_t x = 0; x < out.width; ++x)
            for (uint32_t c = 0; c < img.channels; ++c)
                out.pixels[(size_t(y) * out.width + x) * img.channels + c] =
                    img.pixels[(size_t(y / k) * img.width + x / k) * img.channels + c];
    return out;
}

// The edges picture: Canny edges of the blurred frame in white over the frame dimmed to a
// third, and the strongest Hough lines through them drawn across the picture in red, enlarged
// k times. The thresholds keep the object's sides and little of the background's texture.
ToolImage edgesPicture(std::vector<Step>& steps, const std::vector<uint8_t>& blur, uint32_t w, uint32_t h, uint32_t k,
                       DemoResult* result)
{
    std::vector<uint8_t> edges(size_t(w) * h);
    const uint32_t maxLines = 4;
    std::vector<float32_t> lines(2 * maxLines);
    uint32_t count = 0;
    timed(steps, "Canny and Hough lines", [&] {
        lmvFilterCanny3x3u8_v2(blur.data(), w, h, 0, edges.data(), 0, 30, 160);
        lmvHoughLineu8(edges.data(), w, h, 0, 1.0f, 3.14159265f / 180, std::max(w, h) / 20, lines.data(), maxLines, &count);
    });
    ToolImage rgb{w, h, 3, std::vector<uint8_t>(size_t(w) * h * 3)};
    for (size_t i = 0; i < edges.size(); ++i) {
        result->edgePixels += edges[i] != 0;
        std::memset(&rgb.pixels[3 * i], edges[i] ? 255 : blur[i] / 3, 3);
    }
    ToolImage picture = enlarged(rgb, k);
    result->lines = count;
    const double reach = 2.0 * (w + h) * k;
    for (uint32_t i = 0; i < count; ++i) {
        const double rho = lines[2 * i] * k, theta = lines[2 * i + 1];
        const double x0 = rho * std::cos(theta), y0 = rho * std::sin(theta);
        thickLine(picture, x0 - reach * std::sin(theta), y0 + reach * std::cos(theta), x0 + reach * std::sin(theta),
                  y0 - reach * std::cos(theta), 2, 255, 40, 40);
    }
    return picture;
}

// The geometry picture: the grey frame turned a quarter clockwise, warped by a keystone
// (bilinear, black outside) and halved (bilinear), top-aligned side by side.
ToolImage geometryPicture(std::vector<Step>& steps, const std::vector<uint8_t>& grey, uint32_t w, uint32_t h, uint32_t k)
{
    std::vector<uint8_t> turned(size_t(w) * h), warped(size_t(w) * h), halved(size_t(w / 2) * (h / 2));
    const float keystone[9] = {1.0f, 0.18f, -0.09f * h, 0.02f, 1.1f, -0.05f * h, 0.0f, 0.35f / h, 0.9f};
    timed(steps, "rotate, warp and resize", [&] {
        lmvRotateImageu8(grey.data(), w, h, 0, turned.data(), 0, LUMIVA_ROTATE_90);
        lmvWarpPerspectiveu8_v3(grey.data(), w, h, 0, warped.data(), w, h, 0, keystone, LUMIVA_INTERPOLATION_BILINEAR,
                                LUMIVA_BORDER_CONSTANT, 0);
        lmvScaleu8(grey.data(), w, h, 0, halved.data(), w / 2, h / 2, 0, LUMIVA_INTERPOLATION_BILINEAR);
    });
    const uint32_t gap = 4, width = h + w + w / 2 + 2 * gap, height = std::max(w, h);
    ToolImage canvas{width, height, 1, std::vector<uint8_t>(size_t(width) * height, 255)};
    auto place = [&](const std::vector<uint8_t>& panel, uint32_t pw, uint32_t ph, uint32_t x0) {
        for (uint32_t y = 0; y < ph; ++y)
            std::memcpy(&canvas.pixels[size_t(y) * width + x0], &panel[size_t(y) * pw], pw);
    };
    place(turned, h, w, 0);
    place(warped, w, h, h + gap);
    place(halved, w / 2, h / 2, h + w + 2 * gap);
    return enlarged(canvas, k);
}

// Draws one closed polygon of (x, y) points in colour on the RGB canvas.
void outline(ToolImage& canvas, const std::vector<int32_t>& polygon, const uint8_t colour[3], int32_t thickness = 1)
{
    const uint32_t n = uint32_t(polygon.size() / 2);
    if (n) lmvDrawContourInterleavedu8(canvas.pixels.data(), canvas.width, canvas.height, 3 * canvas.width, 3, 1, &n,
                                       polygon.data(), 0, colour, thickness);
}

// The shapes picture: the frame thresholded at its mean, the outer contours (green) of the
// objects larger than 8x8 with their convex hulls (red) and bounding rectangles (blue), and the
// MSER regions outlined in yellow.
ToolImage shapesPicture(std::vector<Step>& steps, const std::vector<uint8_t>& grey, uint32_t w, uint32_t h, uint32_t k)
{
    ToolImage canvas{w, h, 3, std::vector<uint8_t>(size_t(w) * h * 3)};
    for (size_t i = 0; i < grey.size(); ++i) std::fill_n(&canvas.pixels[3 * i], 3, uint8_t(grey[i] / 2 + 64));
    std::vector<uint8_t> binary(grey.size());
    const uint32_t capacity = 4096, maxPoints = 4 * (w + h) * 16;
    std::vector<uint32_t> sizes(capacity), regionSizes(capacity);
    std::vector<int32_t> points(2 * size_t(maxPoints));
    std::vector<uint16_t> pixels(2 * grey.size());
    uint32_t contours = 0, regions = 0;
    timed(steps, "contours and MSER", [&] {
        float mean = 0, variance = 0;
        lmvImageIntensityStats(grey.data(), w, h, 0, 0, 0, w, h, &mean, &variance);
        lmvFilterThresholdu8_v2(grey.data(), w, h, 0, binary.data(), 0, uint8_t(mean));
        void* handle = nullptr;
        if (lmvFindContoursAllocate(w, capacity, maxPoints, &handle) == LUMIVA_SUCCESS) {
            lmvFindContoursExternalu8(binary.data(), w, h, 0, &contours, sizes.data(), points.data(), handle);
            lmvFindContoursDelete(handle);
        }
        if (lmvMserInit(w, h, 3, 30, w * h / 8, 0.5f, 0.2f, capacity, &handle) == LUMIVA_SUCCESS) {
            lmvMseru8_v2ST(handle, grey.data(), w, h, 0, &regions, regionSizes.data(), pixels.data(), uint32_t(grey.size()));
            lmvMserRelease(handle);
        }
    });
    // The MSER regions as one mask, outlined by its outer contours.
    std::vector<uint8_t> stable(grey.size(), 0);
    for (size_t i = 0, at = 0; i < regions; at += regionSizes[i++])
        for (uint32_t j = 0; j < regionSizes[i]; ++j) stable[size_t(pixels[2 * (at + j) + 1]) * w + pixels[2 * (at + j)]] = 1;
    uint32_t outlines = 0;
    void* handle = nullptr;
    if (lmvFindContoursAllocate(w, capacity, maxPoints, &handle) == LUMIVA_SUCCESS) {
        std::vector<uint32_t> outlineSizes(capacity);
        std::vector<int32_t> outlinePoints(2 * size_t(maxPoints));
        lmvFindContoursExternalu8(stable.data(), w, h, 0, &outlines, outlineSizes.data(), outlinePoints.data(), handle);
        const uint8_t yellow[3] = {240, 220, 40};
        lmvDrawContourInterleavedu8(canvas.pixels.data(), w, h, 3 * w, 3, outlines, outlineSizes.data(),
                                    outlinePoints.data(), -1, yellow, 1);
        lmvFindContoursDelete(handle);
    }
    const uint8_t green[3] = {0, 200, 0}, red[3] = {230, 30, 30}, blue[3] = {40, 80, 255};
    for (uint32_t c = 0, at = 0; c < contours; at += sizes[c++]) {
        const std::vector<int32_t> contour(points.begin() + 2 * at, points.begin() + 2 * (at + sizes[c]));
        std::vector<uint32_t> hull(sizes[c]), xy(contour.begin(), contour.end());
        uint32_t corners = 0, box[4];
        lmvFindConvexHull(contour.data(), sizes[c], 1, hull.data(), &corners);
        std::vector<int32_t> hullPoints;
        for (uint32_t i = 0; i < corners; ++i) hullPoints.push_back(contour[2 * hull[i]]), hullPoints.push_back(contour[2 * hull[i] + 1]);
        lmvBoundingRectangle(xy.data(), sizes[c], box, box + 1, box + 2, box + 3);
        if (box[2] - box[0] < 8 || box[3] - box[1] < 8) continue;
        const std::vector<int32_t> rect = {int32_t(box[0]), int32_t(box[1]), int32_t(box[2]), int32_t(box[1]),
                                           int32_t(box[2]), int32_t(box[3]), int32_t(box[0]), int32_t(box[3])};
        outline(canvas, rect, blue);
        outline(canvas, hullPoints, red);
        outline(canvas, contour, green);
    }
    return enlarged(canvas, k);
}

bool inObject(double x, double y, double objX, double objY, double margin)
{
    return x >= objX - margin && y >= objY - margin && x < objX + kObjSide + margin && y < objY + kObjSide + margin;
}

int levelsFor(uint32_t w, uint32_t h)
{
    int levels = 1;
    while (levels < 4 && ((w >> levels) << levels) == w && ((h >> levels) << levels) == h && (w >> levels) >= 16 &&
           (h >> levels) >= 16)
        ++levels;
    return levels;
}

}  // namespace

DemoResult runDemo(const DemoOptions& options)
{
    DemoResult result;
    const bool builtIn = options.inputs.empty();
    ToolImage a, b;
    std::vector<ToolImage> plates;
    if (builtIn) {
        a = render(true, 0, 0, kObjX, kObjY, 0);
        b = render(true, kShiftX, kShiftY, kObjX + kShiftX + kMoveX, kObjY + kShiftY + kMoveY, 0);
        for (uint32_t k = 1; k <= 4; ++k) plates.push_back(render(false, 0, 0, 0, 0, k));  // background alone
    } else {
        std::string error;
        if (!readImage(options.inputs[0], a, error) ||
            (options.inputs.size() > 1 && !readImage(options.inputs[1], b, error))) {
            std::fprintf(stderr, "lumiva demo: %s\n", error.c_str());
            result.exitCode = kExitInput;
            return result;
        }
        if (options.inputs.size() < 2) b = a;
        if (a.width != b.width || a.height != b.height) {
            std::fprintf(stderr, "lumiva demo: the two images differ in size (%ux%u and %ux%u)\n", a.width, a.height,
                         b.width, b.height);
            result.exitCode = kExitInput;
            return result;
        }
        plates.push_back(a);
    }
    const uint32_t w = a.width, h = a.height;
    if ((w & 1) || (h & 1) || w < 32 || h < 32) {
        std::fprintf(stderr, "lumiva demo: unsupported size %ux%u: the pyramid needs even sides of 32 pixels or more\n", w, h);
        result.exitCode = kExitInput;
        return result;
    }

    ilmvHostSetProperty("vendor.runtime.lumiva.log", "1");
    void* previousContext = nullptr;
    ILMV_LOG_SINK previous = ilmvHostSetLogSink(captureRuntime, nullptr, &previousContext);
    useHostDspPlatform();
    lmvSetOperationMode(options.mode);
    const bool dspUp = VSKAX5_is_ready() != 0, gpuUp = GPU_initflag != 0;
    lmvMemInit();

    std::vector<Step> steps;
    std::vector<uint8_t> greyA(size_t(w) * h), greyB(greyA.size()), blurA(greyA.size()), blurB(greyA.size());
    runFrontSteps(steps, a, b, greyA, greyB, blurA, blurB);
    const ToolImage strip = builtIn ? filterStrip(steps, greyA, w, h, kObjX + kObjSide / 2, kObjY + kObjSide / 2)
                                    : filterStrip(steps, greyA, w, h, w / 2, h / 2);
    const ToolImage edgeLines = edgesPicture(steps, blurA, w, h, pictureFactor(w, h), &result);
    const ToolImage geometry = geometryPicture(steps, greyA, w, h, pictureFactor(w, h));
    const ToolImage shapes = shapesPicture(steps, blurA, w, h, pictureFactor(w, h));
    const int levels = levelsFor(w, h);
    std::vector<lmvPyramidLevel_v2> pyrA(levels), pyrB(levels);
    timed(steps, "pyramids", [&] {
        lmvPyramidAllocate_v2(pyrA.data(), w, h, w, 1, levels, 0);
        lmvPyramidAllocate_v2(pyrB.data(), w, h, w, 1, levels, 0);
        lmvPyramidCreateu8_v2(blurA.data(), w, h, w, levels, pyrA.data());
        lmvPyramidCreateu8_v2(blurB.data(), w, h, w, levels, pyrB.data());
    });
    const uint32_t capacity = 20000;  // before suppression: every pixel that passes the segment test
    std::vector<uint32_t> xy(2 * capacity), scores(capacity), temp(3 * capacity + h);
    uint32_t found = 0;
    timed(steps, "FAST-9 with suppression", [&] {
        lmvCornerFast9Scoreu8_v2(blurA.data(), w, h, 0, 12, 10, xy.data(), scores.data(), capacity, &found, 1, temp.data());
    });
    result.corners = found;
    std::vector<float32_t> from(2 * found), to(2 * found);
    std::vector<int32_t> status(found);
    for (uint32_t i = 0; i < 2 * found; ++i) from[i] = float32_t(xy[i]);
    timed(steps, "Lucas-Kanade", [&] {
        lmvTrackLKOpticalFlowu8_v3(blurA.data(), blurB.data(), w, h, w, pyrA.data(), pyrB.data(), from.data(), nullptr,
                                   to.data(), status.data(), int32_t(found), 9, 9, levels, 2, 30, 0.0001f, 0);
    });
    ToolImage mask{w, h, 1, std::vector<uint8_t>(size_t(w) * h)};
    uint32_t foreground = 0;
    timed(steps, "codebook foreground", [&] {
        lmvBGCodeBookModel* model = nullptr;
        lmvBGCodeWord** map = lmvCreateBGCodeBookModel(w, h, &model);
        // Wider match margins than the defaults: the plates carry a few levels of sensor noise.
        const uint8_t bounds[3] = {10, 10, 10}, margin[3] = {8, 8, 8};
        lmvConfigBGCodeBookModel(model, bounds, margin, margin);
        int32_t t = 0;
        for (const ToolImage& plate : plates) lmvBGCodeBookUpdateu8(model, plate.pixels.data(), w, h, 0, nullptr, 0, map, &t);
        // The built-in scene learns from background plates and judges the first frame; the
        // user's pair learns from the first frame and judges what changed in the second.
        const ToolImage& judged = builtIn ? a : b;
        lmvBGCodeBookDiffu8(model, judged.pixels.data(), w, h, 0, mask.pixels.data(), 0, map, &foreground);
        lmvReleaseBGCodeBookModel(&model);
    });
    result.foreground = foreground;
    for (const Step& s : steps) {
        result.ranOn.push_back(s.ran);
        result.mismatches += s.equalsCpu == 0;
    }
    lmvPyramidDelete_v2(pyrA.data(), levels, 1);
    lmvPyramidDelete_v2(pyrB.data(), levels, 1);
    lmvMemDeInit();
    ilmvHostSetLogSink(previous, previousContext, nullptr);
    ilmvHostSetProperty("vendor.runtime.lumiva.log", nullptr);
    lmvCleanUp();

    // Tracking error against the known motion, over corners whose window lies wholly on the
    // background or wholly on the object.
    double error = 0;
    size_t measured = 0;
    const uint32_t k = pictureFactor(w, h);
    ToolImage corners = enlarged(a, k), flow = enlarged(b, k);
    for (uint32_t i = 0; i < found; ++i) {
        const double x = from[2 * i], y = from[2 * i + 1], px = x * k, py = y * k;
        thickLine(corners, px - 5, py, px + 5, py, 2, 255, 0, 0);
        thickLine(corners, px, py - 5, px, py + 5, 2, 255, 0, 0);
        if (status[i] != 1) continue;
        ++result.tracked;
        const double tipX = px + (to[2 * i] - x) * k * kFlowScale, tipY = py + (to[2 * i + 1] - y) * k * kFlowScale;
        thickLine(flow, px, py, tipX, tipY, 2, 0, 255, 0);
        thickLine(flow, tipX - 1, tipY - 1, tipX + 1, tipY + 1, 3, 255, 0, 0);  // the head
        if (!builtIn) continue;
        const bool onObject = inObject(x, y, kObjX, kObjY, -6), nearObject = inObject(x, y, kObjX, kObjY, 6);
        if (nearObject && !onObject) continue;
        const double ex = kShiftX + (onObject ? kMoveX : 0), ey = kShiftY + (onObject ? kMoveY : 0);
        error += std::hypot(to[2 * i] - x - ex, to[2 * i + 1] - y - ey);
        ++measured;
    }
    if (builtIn && measured) result.trackingError = error / double(measured);

    std::error_code ignored;  // an output folder that cannot be made shows up as a failed write
    std::filesystem::create_directories(options.output, ignored);
    const std::pair<const char*, const ToolImage*> pictures[] = {
        {"corners.png", &corners}, {"flow.png", &flow}, {"foreground.png", nullptr}, {"filters.png", &strip},
        {"edges.png", &edgeLines}, {"geometry.png", &geometry}, {"shapes.png", &shapes}};
    const ToolImage bigMask = enlarged(mask, k);
    for (const auto& [name, img] : pictures) {
        const std::string path = options.output + "/" + name;
        if (!writePng(path, img ? *img : bigMask)) {
            std::fprintf(stderr, "lumiva demo: cannot write %s\n", path.c_str());
            result.exitCode = kExitOutput;
            return result;
        }
        result.pictures.push_back(path);
    }
    if (options.quiet) return result;
    std::printf("%s, %ux%u, %d pyramid levels\n", builtIn ? "built-in scene" : options.inputs[0].c_str(), w, h, levels);
    std::printf("mode %s; DSP session %s; GPU system %s\n", options.modeName.c_str(),
                dspUp ? "up" : "not open (steps stay on the CPU)", gpuUp ? "up" : "not created");
    std::printf("  %-26s %-20s %10s  %s\n", "step", "ran on", "time", "equals the CPU");
    for (const Step& s : steps)
        std::printf("  %-26s %-20s %7.3f ms  %s\n", s.name.c_str(), s.ran.c_str(), s.ms,
                    s.equalsCpu < 0 ? "" : s.equalsCpu ? "yes" : "NO");
    std::printf("%zu corners, %zu tracked, %zu foreground pixels, %zu edge pixels, %zu lines\n", result.corners,
                result.tracked, result.foreground, result.edgePixels, result.lines);
    if (builtIn)
        std::printf("tracking error against the known motion: %.4f px (camera (%.1f, %.1f), object (%.1f, %.1f) on top)\n",
                    result.trackingError, kShiftX, kShiftY, kMoveX, kMoveY);
    std::printf("pictures (%ux%u; flow vectors drawn %.0f times their length):\n", w * k, h * k, kFlowScale);
    for (const std::string& path : result.pictures)
        std::printf("  %s\n", std::filesystem::absolute(path).string().c_str());
    return result;
}
