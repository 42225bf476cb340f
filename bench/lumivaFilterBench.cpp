// The neighbourhood filters at full frame size beside their nearest OpenCV peers: box means,
// the 5x5 Gaussian, 3x3 and N x N morphology (N = 3, 7, 15 shows the cost against N), the
// 3x3 median, the separable 9x9 s16 correlation and the 5x5 bilateral filter.
#include "lumivaBench.h"
#include "lumivaKernels.h"

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace lmvbench;

struct FilterFrames {
    uint32_t w, h;
    std::vector<uint8_t> src, dst;
    std::vector<int16_t> wide, wideOut;
    FilterFrames()
        : w(frameSize().width), h(frameSize().height), src(randomFrame<uint8_t>(size_t(w) * h, 17)), dst(src.size()),
          wide(randomFrame<int16_t>(src.size(), 18)), wideOut(src.size())
    {
        for (int16_t& v : wide) v = int16_t(v / 4);  // camera-like ranges: the 32-bit path
    }
#ifdef LUMIVA_WITH_OPENCV
    cv::Mat in() { return cv::Mat(int(h), int(w), CV_8UC1, src.data()); }
    cv::Mat out() { return cv::Mat(int(h), int(w), CV_8UC1, dst.data()); }
#endif
};

// A Gaussian-like 9-tap kernel summing to 256.
const int16_t kTaps9[9] = {4, 14, 32, 48, 60, 48, 32, 14, 4};

template <class Fn>
void both(const std::string& op, Fn reference, Fn simd)
{
    add(op, "reference", reference);
    add(op, "simd", simd);
}

void registerFilters()
{
    static FilterFrames f;
    for (uint32_t k : {3u, 5u, 11u}) {
        auto c = k == 3 ? lmvBoxFilter3x3u8C : k == 5 ? lmvBoxFilter5x5u8C : lmvBoxFilter11x11u8C;
        auto v = k == 3 ? lmvBoxFilter3x3u8V : k == 5 ? lmvBoxFilter5x5u8V : lmvBoxFilter11x11u8V;
        const std::string name = "BoxFilter" + std::to_string(k) + "x" + std::to_string(k);
        add(name, "reference", [c] { c(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w); });
        add(name, "simd", [v] { v(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w); });
    }
    add("Gaussian5x5", "reference", [] { lmvFilterGaussian5x5u8C(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w, 0); });
    add("Gaussian5x5", "simd", [] { lmvFilterGaussian5x5u8V(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w, 0); });
    add("Erode3x3", "reference", [] { lmvFilterErode3x3u8C(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w); });
    add("Erode3x3", "simd", [] { lmvFilterErode3x3u8V(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w); });
    add("Dilate3x3", "reference", [] { lmvFilterDilate3x3u8C(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w); });
    add("Dilate3x3", "simd", [] { lmvFilterDilate3x3u8V(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w); });
    for (uint32_t n : {3u, 7u, 15u}) {
        const std::string name = "ErodeNxN_" + std::to_string(n);
        add(name, "reference", [n] { lmvFilterErodeNxNu8C(f.src.data(), f.w, f.h, f.w, n, f.dst.data(), f.w); });
        add(name, "simd", [n] { lmvFilterErodeNxNu8V(f.src.data(), f.w, f.h, f.w, n, f.dst.data(), f.w); });
    }
    add("Median3x3", "reference", [] { lmvFilterMedian3x3u8C(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w); });
    add("Median3x3", "simd", [] { lmvFilterMedian3x3u8V(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w); });
    add("CorrSep9x9s16", "reference", [] {
        lmvFilterCorrSep9x9s16C(f.wide.data(), f.w, f.h, 2 * f.w, kTaps9, 16, f.wideOut.data(), 2 * f.w);
    });
    add("CorrSep9x9s16", "simd", [] {
        lmvFilterCorrSep9x9s16V(f.wide.data(), f.w, f.h, 2 * f.w, kTaps9, 16, f.wideOut.data(), 2 * f.w);
    });
    add("Bilateral5x5", "reference", [] { lmvBilateralFilter5x5u8C(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w); });
    add("Bilateral5x5", "simd", [] { lmvBilateralFilter5x5u8V(f.src.data(), f.w, f.h, f.w, f.dst.data(), f.w); });
#ifdef LUMIVA_WITH_OPENCV
    for (int k : {3, 5, 11})
        add("BoxFilter" + std::to_string(k) + "x" + std::to_string(k), "opencv", [k] {
            cv::Mat o = f.out();
            cv::blur(f.in(), o, cv::Size(k, k));
        });
    add("Gaussian5x5", "opencv", [] {
        cv::Mat o = f.out();
        cv::GaussianBlur(f.in(), o, cv::Size(5, 5), 0);
    });
    add("Erode3x3", "opencv", [] {
        cv::Mat o = f.out();
        cv::erode(f.in(), o, cv::Mat());
    });
    add("Dilate3x3", "opencv", [] {
        cv::Mat o = f.out();
        cv::dilate(f.in(), o, cv::Mat());
    });
    for (int n : {3, 7, 15})
        add("ErodeNxN_" + std::to_string(n), "opencv", [n] {
            cv::Mat o = f.out();
            cv::erode(f.in(), o, cv::getStructuringElement(cv::MORPH_RECT, cv::Size(n, n)));
        });
    add("Median3x3", "opencv", [] {
        cv::Mat o = f.out();
        cv::medianBlur(f.in(), o, 3);
    });
    add("CorrSep9x9s16", "opencv", [] {
        static const cv::Mat k = [] {
            cv::Mat m(9, 1, CV_32F);
            for (int i = 0; i < 9; ++i) m.at<float>(i) = kTaps9[i] / 256.0f;
            return m;
        }();
        cv::Mat in(int(f.h), int(f.w), CV_16SC1, f.wide.data()), out(int(f.h), int(f.w), CV_16SC1, f.wideOut.data());
        cv::sepFilter2D(in, out, CV_16S, k, k);
    });
    add("Bilateral5x5", "opencv", [] {
        cv::Mat o = f.out();
        cv::bilateralFilter(f.in(), o, 5, 50, 2.5, cv::BORDER_REPLICATE);
    });
#endif
}

const int kRegistered = registerFamily(registerFilters);

}  // namespace
