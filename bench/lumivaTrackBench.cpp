// Tracking and search: Lucas-Kanade for 1000 points over 4 prebuilt pyramid levels beside
// calcOpticalFlowPyrLK, KD-tree build and queries beside a brute-force scan, codebook
// update and classification of a 640x480 frame.
#include "lumivaBench.h"
#include "lumivaKernels.h"

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/video/tracking.hpp>
#endif

#include <cmath>

namespace {

using namespace lmvbench;

std::vector<uint8_t> wave(uint32_t w, uint32_t h, double dx, double dy)
{
    std::vector<uint8_t> img(size_t(w) * h);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            const double u = x - dx, v = y - dy;
            img[size_t(y) * w + x] = static_cast<uint8_t>(128 + 50 * std::sin(u * 0.21) * std::cos(v * 0.17) +
                                                          30 * std::sin((u + v) * 0.11));
        }
    return img;
}

struct Tracking {
    uint32_t w = 640, h = 480;
    std::vector<uint8_t> f1 = wave(w, h, 0, 0), f2 = wave(w, h, 2.3, -1.6);
    std::vector<lmvPyramidLevel_v2> p1 = std::vector<lmvPyramidLevel_v2>(4), p2 = std::vector<lmvPyramidLevel_v2>(4);
    std::vector<float32_t> xy, out;
    std::vector<int32_t> status;
    Tracking()
    {
        lmvPyramidAllocate_v2(p1.data(), w, h, w, 1, 4, 0);
        lmvPyramidAllocate_v2(p2.data(), w, h, w, 1, 4, 0);
        lmvPyramidCreateu8_v2(f1.data(), w, h, w, 4, p1.data());
        lmvPyramidCreateu8_v2(f2.data(), w, h, w, 4, p2.data());
        for (int i = 0; i < 1000; ++i) xy.insert(xy.end(), {float32_t(30 + (i % 40) * 14.5), float32_t(30 + (i / 40) * 16.5)});
        out.resize(xy.size());
        status.resize(1000);
    }
    template <class Form>
    void track(Form form, int window)
    {
        form(f1.data(), f2.data(), w, h, w, p1.data(), p2.data(), xy.data(), nullptr, out.data(), status.data(), 1000,
             window, window, 4, 2, 30, 0.0009f, 0);
    }
};

void registerTrack()
{
    static Tracking t;
    add("LK1000_7x7", "reference", [] { t.track(lmvTrackLKOpticalFlowu8_v3C, 7); });
    add("LK1000_7x7", "simd", [] { t.track(lmvTrackLKOpticalFlowu8_v3V, 7); });
    add("LK1000_21x21", "reference", [] { t.track(lmvTrackLKOpticalFlowu8_v3C, 21); });
    add("LK1000_21x21", "simd", [] { t.track(lmvTrackLKOpticalFlowu8_v3V, 21); });
#ifdef LUMIVA_WITH_OPENCV
    static std::vector<cv::Point2f> prev, next;
    for (size_t i = 0; i < t.xy.size(); i += 2) prev.push_back({t.xy[i], t.xy[i + 1]});
    auto cvTrack = [](int window) {
        std::vector<uchar> st;
        std::vector<float> err;
        cv::calcOpticalFlowPyrLK(cv::Mat(int(t.h), int(t.w), CV_8UC1, t.f1.data()),
                                 cv::Mat(int(t.h), int(t.w), CV_8UC1, t.f2.data()), prev, next, st, err,
                                 cv::Size(window, window), 3,
                                 cv::TermCriteria(cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 30, 0.03));
    };
    add("LK1000_7x7", "opencv", [cvTrack] { cvTrack(7); });
    add("LK1000_21x21", "opencv", [cvTrack] { cvTrack(21); });
#endif
}

const int kRegistered = registerFamily(registerTrack);

}  // namespace
