// Smoothing and halving at full frame size: the 3x3 Gaussian beside GaussianBlur, the 2x2
// mean beside resize with INTER_AREA, the Gaussian 5x5 decimation beside pyrDown.
#include "lumivaBench.h"
#include "lumivaKernels.h"

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace lmvbench;

struct ScaleFrames {
    uint32_t w, h;
    std::vector<uint8_t> src, dst;
    ScaleFrames() : w(frameSize().width), h(frameSize().height), src(randomFrame<uint8_t>(size_t(w) * h, 12)),
                    dst(size_t(w) * h) {}
#ifdef LUMIVA_WITH_OPENCV
    cv::Mat in() { return cv::Mat(int(h), int(w), CV_8UC1, src.data()); }
#endif
};

void registerScale()
{
    static ScaleFrames f;
    add("Gaussian3x3", "reference", [] { lmvFilterGaussian3x3u8C(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w, 1); });
    add("Gaussian3x3", "simd", [] { lmvFilterGaussian3x3u8V(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w, 1); });
    add("ScaleDownBy2", "reference", [] { lmvScaleDownBy2u8C(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w / 2); });
    add("ScaleDownBy2", "simd", [] { lmvScaleDownBy2u8V(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w / 2); });
    add("Gaussian5x5Down", "reference",
        [] { lmvScaleDownBy2Gaussian5x5u8_v2C(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w / 2); });
    add("Gaussian5x5Down", "simd",
        [] { lmvScaleDownBy2Gaussian5x5u8_v2V(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w / 2); });
#ifdef LUMIVA_WITH_OPENCV
    add("Gaussian3x3", "opencv", [] {
        cv::Mat out(int(f.h), int(f.w), CV_8UC1, f.dst.data());
        cv::GaussianBlur(f.in(), out, cv::Size(3, 3), 0, 0, cv::BORDER_REPLICATE);
    });
    add("ScaleDownBy2", "opencv", [] {
        cv::Mat out(int(f.h / 2), int(f.w / 2), CV_8UC1, f.dst.data());
        cv::resize(f.in(), out, out.size(), 0.5, 0.5, cv::INTER_AREA);
    });
    add("Gaussian5x5Down", "opencv", [] {
        cv::Mat out(int((f.h + 1) / 2), int((f.w + 1) / 2), CV_8UC1, f.dst.data());
        cv::pyrDown(f.in(), out, out.size());
    });
#endif
}

const int kRegistered = registerFamily(registerScale);

}  // namespace
