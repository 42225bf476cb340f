// Thresholds, point operations, gradients and edges at full frame size beside their nearest
// OpenCV peers: binary threshold, table lookup, range threshold, the 3x3 Sobel to s16 planes,
// the magnitude of s16 gradients (OpenCV through float), Canny 3x3 with the L1 norm, the 11x11
// adaptive mean threshold, and the Hough transforms and line segments on a drawn scene with
// equal parameters (their result counts are printed).
#include "lumivaBench.h"
#include "lumivaKernels.h"

#include <cstdio>
#include <cstdlib>

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace lmvbench;

// A camera-like scene: a ramp, filled circles and bars, mild noise; and its Canny edges.
std::vector<uint8_t> drawnScene(uint32_t w, uint32_t h)
{
    std::vector<uint8_t> img(size_t(w) * h);
    std::mt19937 rng(5);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            int v = int(40 + x * 60 / w + y * 40 / h) + int(rng() % 9) - 4;
            for (int c = 0; c < 6; ++c) {
                const int cx = int(w) * (c + 1) / 7, cy = int(h) * (c % 2 ? 1 : 2) / 3, r = int(h) / 12 + 8 * c;
                const int dx = int(x) - cx, dy = int(y) - cy;
                if (dx * dx + dy * dy < r * r) v += 90;
            }
            if ((x + 3 * y / 2) % 400 < 12 || (2 * x + y) % 700 < 10) v = 230;
            img[size_t(y) * w + x] = uint8_t(std::min(255, std::max(0, v)));
        }
    return img;
}

struct EdgeFrames {
    uint32_t w, h;
    std::vector<uint8_t> src, dst, scene, edges, lut;
    std::vector<int16_t> dx, dy, mag;
    std::vector<float> found;
    EdgeFrames()
        : w(frameSize().width), h(frameSize().height), src(randomFrame<uint8_t>(size_t(w) * h, 21)), dst(src.size()),
          scene(drawnScene(w, h)), edges(src.size()), lut(randomFrame<uint8_t>(256, 22)),
          dx(randomFrame<int16_t>(src.size(), 23)), dy(randomFrame<int16_t>(src.size(), 24)), mag(src.size()),
          found(4 * 4096)
    {
        for (size_t i = 0; i < dx.size(); ++i) dx[i] = int16_t(dx[i] / 32), dy[i] = int16_t(dy[i] / 32);  // Sobel ranges
        lmvFilterCanny3x3u8C(scene.data(), w, h, w, edges.data(), w, 50, 150);
    }
#ifdef LUMIVA_WITH_OPENCV
    cv::Mat in() { return cv::Mat(int(h), int(w), CV_8UC1, src.data()); }
    cv::Mat out() { return cv::Mat(int(h), int(w), CV_8UC1, dst.data()); }
    cv::Mat of(std::vector<uint8_t>& v) { return cv::Mat(int(h), int(w), CV_8UC1, v.data()); }
    cv::Mat of(std::vector<int16_t>& v) { return cv::Mat(int(h), int(w), CV_16SC1, v.data()); }
#endif
};

// Counts found by the last run of each detector, printed once so the report can be read
// against equal result counts.
void printCount(const char* what, uint32_t count)
{
    static std::vector<std::string> printed;
    for (const std::string& p : printed)
        if (p == what) return;
    printed.push_back(what);
    std::printf("%s: %u found\n", what, count);
}

void registerEdges()
{
    static EdgeFrames f;
    const uint32_t w = f.w, h = f.h;
    add("Threshold", "reference", [=] { lmvFilterThresholdu8C(f.src.data(), w, h, w, f.dst.data(), w, 100); });
    add("Threshold", "simd", [=] { lmvFilterThresholdu8V(f.src.data(), w, h, w, f.dst.data(), w, 100); });
    add("TableLookup", "reference", [=] { lmvTableLookupu8C(f.src.data(), w, h, w, f.lut.data(), f.dst.data(), w); });
    add("TableLookup", "simd", [=] { lmvTableLookupu8V(f.src.data(), w, h, w, f.lut.data(), f.dst.data(), w); });
    add("ThresholdRange", "reference", [=] { lmvFilterThresholdRangeu8C(f.src.data(), w, h, w, f.dst.data(), w, 60, 180); });
    add("ThresholdRange", "simd", [=] { lmvFilterThresholdRangeu8V(f.src.data(), w, h, w, f.dst.data(), w, 60, 180); });
    add("Sobel3x3s16", "reference", [=] {
        lmvFilterSobel3x3u8s16C(f.src.data(), w, h, w, f.dx.data(), f.dy.data(), 2 * w, LUMIVA_BORDER_REPLICATE, 0);
    });
    add("Sobel3x3s16", "simd", [=] {
        lmvFilterSobel3x3u8s16V(f.src.data(), w, h, w, f.dx.data(), f.dy.data(), 2 * w, LUMIVA_BORDER_REPLICATE, 0);
    });
    add("Magnitudes16", "reference", [=] { lmvMagnitudes16C(f.dx.data(), w, h, 2 * w, f.dy.data(), 2 * w, f.mag.data(), 2 * w); });
    add("Magnitudes16", "simd", [=] { lmvMagnitudes16V(f.dx.data(), w, h, 2 * w, f.dy.data(), 2 * w, f.mag.data(), 2 * w); });
    add("Canny3x3", "reference", [=] { lmvFilterCanny3x3u8C(f.scene.data(), w, h, w, f.dst.data(), w, 50, 150); });
    add("Canny3x3", "simd", [=] { lmvFilterCanny3x3u8V(f.scene.data(), w, h, w, f.dst.data(), w, 50, 150); });
    add("AdaptiveMean11x11", "reference",
        [=] { lmvAdaptiveThresholdMean11x11u8C(f.scene.data(), w, h, w, 255, 0, 5, f.dst.data(), w); });
    add("AdaptiveMean11x11", "simd",
        [=] { lmvAdaptiveThresholdMean11x11u8V(f.scene.data(), w, h, w, 255, 0, 5, f.dst.data(), w); });
    add("HoughLines", "reference", [=] {
        uint32_t n = 0;
        lmvHoughLineu8C(f.edges.data(), w, h, w, 1.0f, 3.14159265f / 180, 300, f.found.data(), 2048, &n);
        printCount("HoughLines (library)", n);
    });
    add("HoughCircles", "reference", [=] {
        uint32_t n = 0;
        lmvHoughCircleu8C(f.scene.data(), w, h, w, 2.0f, 60.0f, 150, 40, h / 12, h / 12 + 50, f.found.data(), 1000, &n);
        printCount("HoughCircles (library)", n);
    });
    add("LineSegments", "reference", [=] {
        uint32_t n = 0;
        lmvImageDetectLineSegmentsu8C(f.scene.data(), w, h, w, 0.0f, f.found.data(), 4096, &n);
        printCount("LineSegments (library)", n);
    });
#ifdef LUMIVA_WITH_OPENCV
    add("Threshold", "opencv", [] {
        cv::Mat o = f.out();
        cv::threshold(f.in(), o, 100, 255, cv::THRESH_BINARY);
    });
    add("TableLookup", "opencv", [] {
        cv::Mat o = f.out();
        cv::LUT(f.in(), cv::Mat(1, 256, CV_8U, f.lut.data()), o);
    });
    add("ThresholdRange", "opencv", [] {
        cv::Mat o = f.out();
        cv::inRange(f.in(), 60, 180, o);
    });
    add("Sobel3x3s16", "opencv", [] {
        cv::Mat x = f.of(f.dx), y = f.of(f.dy);
        cv::Sobel(f.in(), x, CV_16S, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE);
        cv::Sobel(f.in(), y, CV_16S, 0, 1, 3, 1, 0, cv::BORDER_REPLICATE);
    });
    add("Magnitudes16", "opencv", [] {
        static cv::Mat fx, fy, m;
        f.of(f.dx).convertTo(fx, CV_32F);
        f.of(f.dy).convertTo(fy, CV_32F);
        cv::magnitude(fx, fy, m);
        cv::Mat o = f.of(f.mag);
        m.convertTo(o, CV_16S);
    });
    add("Canny3x3", "opencv", [] {
        cv::Mat o = f.out();
        cv::Canny(f.of(f.scene), o, 50, 150);
    });
    add("AdaptiveMean11x11", "opencv", [] {
        cv::Mat o = f.out();
        cv::adaptiveThreshold(f.of(f.scene), o, 255, cv::ADAPTIVE_THRESH_MEAN_C, cv::THRESH_BINARY, 11, 5);
    });
    add("HoughLines", "opencv", [] {
        std::vector<cv::Vec2f> lines;
        cv::HoughLines(f.of(f.edges), lines, 1.0, CV_PI / 180, 300);
        printCount("HoughLines (opencv)", uint32_t(lines.size()));
    });
    add("HoughCircles", "opencv", [] {
        std::vector<cv::Vec3f> circles;
        cv::HoughCircles(f.of(f.scene), circles, cv::HOUGH_GRADIENT, 2, 60, 150, 40, int(f.h / 12), int(f.h / 12 + 50));
        printCount("HoughCircles (opencv)", uint32_t(circles.size()));
    });
    add("LineSegments", "opencv", [] {
        static cv::Ptr<cv::LineSegmentDetector> detector = cv::createLineSegmentDetector();
        std::vector<cv::Vec4f> segments;
        detector->detect(f.of(f.scene), segments);
        printCount("LineSegments (opencv)", uint32_t(segments.size()));
    });
#endif
}

const int kRegistered = registerFamily(registerEdges);

}  // namespace
