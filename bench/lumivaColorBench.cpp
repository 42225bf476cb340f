// Colour conversion at full frame size: NV12 to RGB888, RGB888 to grey and RGB888 to
// NV12, reference and SIMD forms beside OpenCV's cvtColor on the same frame.
#include "lumivaBench.h"
#include "lumivaKernels.h"

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace lmvbench;

struct ColorFrames {
    uint32_t w, h;
    std::vector<uint8_t> nv12, rgb, out;
    ColorFrames() : w(frameSize().width), h(frameSize().height), nv12(randomFrame<uint8_t>(size_t(w) * h * 3 / 2, 5)),
                    rgb(randomFrame<uint8_t>(size_t(w) * h * 3, 6)), out(size_t(w) * h * 3) {}
};

void registerColor()
{
    static ColorFrames f;
    uint8_t* y = f.nv12.data();
    uint8_t* c = f.nv12.data() + size_t(f.w) * f.h;
    add("NV12ToRGB888", "reference", [=] { lmvColorYCbCr420PseudoPlanarToRGB888u8C(y, c, f.w, f.h, 0, 0, f.out.data(), 0); });
    add("NV12ToRGB888", "simd", [=] { lmvColorYCbCr420PseudoPlanarToRGB888u8V(y, c, f.w, f.h, 0, 0, f.out.data(), 0); });
    add("RGB888ToGray", "reference", [] { lmvColorRGB888ToGrayu8C(f.rgb.data(), f.w, f.h, 0, f.out.data(), 0); });
    add("RGB888ToGray", "simd", [] { lmvColorRGB888ToGrayu8V(f.rgb.data(), f.w, f.h, 0, f.out.data(), 0); });
    uint8_t* oy = f.out.data();
    uint8_t* oc = f.out.data() + size_t(f.w) * f.h;
    add("RGB888ToNV12", "reference", [=] { lmvColorRGB888ToYCbCr420PseudoPlanaru8C(f.rgb.data(), f.w, f.h, 0, oy, oc, 0, 0); });
    add("RGB888ToNV12", "simd", [=] { lmvColorRGB888ToYCbCr420PseudoPlanaru8V(f.rgb.data(), f.w, f.h, 0, oy, oc, 0, 0); });
#ifdef LUMIVA_WITH_OPENCV
    add("NV12ToRGB888", "opencv", [] {
        cv::Mat src(int(f.h * 3 / 2), int(f.w), CV_8UC1, f.nv12.data()), dst(int(f.h), int(f.w), CV_8UC3, f.out.data());
        cv::cvtColor(src, dst, cv::COLOR_YUV2RGB_NV12);
    });
    add("RGB888ToGray", "opencv", [] {
        cv::Mat src(int(f.h), int(f.w), CV_8UC3, f.rgb.data()), dst(int(f.h), int(f.w), CV_8UC1, f.out.data());
        cv::cvtColor(src, dst, cv::COLOR_RGB2GRAY);
    });
    add("RGB888ToNV12", "opencv", [] {
        // The nearest peer: OpenCV writes planar I420 where this writes NV12.
        cv::Mat src(int(f.h), int(f.w), CV_8UC3, f.rgb.data()), dst(int(f.h * 3 / 2), int(f.w), CV_8UC1, f.out.data());
        cv::cvtColor(src, dst, cv::COLOR_RGB2YUV_I420);
    });
#endif
}

const int kRegistered = registerFamily(registerColor);

}  // namespace
