// FAST-9 at full frame size on a textured image, threshold 20, without and with
// suppression: reference and SIMD forms beside OpenCV's FAST on the same frame.
#include "lumivaBench.h"
#include "lumivaKernels.h"

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/features2d.hpp>
#endif

#include <cmath>

namespace {

using namespace lmvbench;

struct FastFrame {
    uint32_t w, h, capacity;
    std::vector<uint8_t> img;
    std::vector<uint32_t> xy, scores, temp;
    FastFrame() : w(frameSize().width), h(frameSize().height), capacity(w * h / 4), img(size_t(w) * h),
                  xy(2 * size_t(capacity)), scores(capacity), temp(3 * size_t(capacity) + h)
    {
        // Smooth waves with noise: corners at the blob edges, as in a natural scene.
        std::vector<uint8_t> noise = randomFrame<uint8_t>(img.size(), 9);
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x)
                img[size_t(y) * w + x] = static_cast<uint8_t>(
                    128 + 60 * std::sin(x * 0.21) * std::cos(y * 0.17) + (noise[size_t(y) * w + x] & 31) - 16);
    }
};

void registerFast()
{
    static FastFrame f;
    static uint32_t n = 0;  // outlives this call: the runs happen after registration
    add("Fast9", "reference", [] { lmvCornerFast9u8C(f.img.data(), f.w, f.h, f.w, 20, 3, f.xy.data(), f.capacity, &n); });
    add("Fast9", "simd", [] { lmvCornerFast9u8V(f.img.data(), f.w, f.h, f.w, 20, 3, f.xy.data(), f.capacity, &n); });
    add("Fast9Nms", "reference", [] {
        lmvCornerFast9Scoreu8_v2C(f.img.data(), f.w, f.h, f.w, 20, 3, f.xy.data(), f.scores.data(), f.capacity, &n, 1,
                                  f.temp.data());
    });
    add("Fast9Nms", "simd", [] {
        lmvCornerFast9Scoreu8_v2V(f.img.data(), f.w, f.h, f.w, 20, 3, f.xy.data(), f.scores.data(), f.capacity, &n, 1,
                                  f.temp.data());
    });
    lmvCornerFast9u8V(f.img.data(), f.w, f.h, f.w, 20, 3, f.xy.data(), f.capacity, &n);
    std::printf("FAST-9 finds %u raw corners on the frame\n", n);
#ifdef LUMIVA_WITH_OPENCV
    add("Fast9", "opencv", [] {
        std::vector<cv::KeyPoint> k;
        cv::FAST(cv::Mat(int(f.h), int(f.w), CV_8UC1, f.img.data()), k, 20, false, cv::FastFeatureDetector::TYPE_9_16);
    });
    add("Fast9Nms", "opencv", [] {
        std::vector<cv::KeyPoint> k;
        cv::FAST(cv::Mat(int(f.h), int(f.w), CV_8UC1, f.img.data()), k, 20, true, cv::FastFeatureDetector::TYPE_9_16);
    });
#endif
}

const int kRegistered = registerFamily(registerFast);

}  // namespace
