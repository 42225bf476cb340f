// Arithmetic at full frame size: reference and SIMD forms beside OpenCV's peers on the
// same frames.
#include "lumivaBench.h"
#include "lumivaKernels.h"

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

using namespace lmvbench;

struct Frames {
    uint32_t w, h;
    std::vector<uint8_t> a, b, dst;
    Frames() : w(frameSize().width), h(frameSize().height), a(randomFrame<uint8_t>(size_t(w) * h, 1)),
               b(randomFrame<uint8_t>(size_t(w) * h, 2)), dst(size_t(w) * h) {}
#ifdef LUMIVA_WITH_OPENCV
    cv::Mat mat(std::vector<uint8_t>& v) { return cv::Mat(int(h), int(w), CV_8UC1, v.data()); }
#endif
};

void registerArithm()
{
    static Frames f;
    add("AbsDiffu8", "reference", [] { lmvAbsDiffu8C(f.a.data(), f.b.data(), f.w, f.h, f.w, f.dst.data(), f.w); });
    add("AbsDiffu8", "simd", [] { lmvAbsDiffu8V(f.a.data(), f.b.data(), f.w, f.h, f.w, f.dst.data(), f.w); });
    add("Addu8_saturate", "reference", [] {
        lmvAddu8C(f.a.data(), f.w, f.h, f.w, f.b.data(), f.w, LUMIVA_OVERFLOW_SATURATE, f.dst.data(), f.w);
    });
    add("Addu8_saturate", "simd", [] {
        lmvAddu8V(f.a.data(), f.w, f.h, f.w, f.b.data(), f.w, LUMIVA_OVERFLOW_SATURATE, f.dst.data(), f.w);
    });
    add("AddWeightedu8", "reference", [] {
        lmvAddWeightedu8C(f.a.data(), f.w, f.h, f.w, f.b.data(), f.w, 0.3f, 0.7f, f.dst.data(), f.w);
    });
    add("AddWeightedu8", "simd", [] {
        lmvAddWeightedu8V(f.a.data(), f.w, f.h, f.w, f.b.data(), f.w, 0.3f, 0.7f, f.dst.data(), f.w);
    });
#ifdef LUMIVA_WITH_OPENCV
    add("AbsDiffu8", "opencv", [] {
        cv::Mat d = f.mat(f.dst);
        cv::absdiff(f.mat(f.a), f.mat(f.b), d);
    });
    add("Addu8_saturate", "opencv", [] {
        cv::Mat d = f.mat(f.dst);
        cv::add(f.mat(f.a), f.mat(f.b), d);
    });
    add("AddWeightedu8", "opencv", [] {
        cv::Mat d = f.mat(f.dst);
        cv::addWeighted(f.mat(f.a), 0.3, f.mat(f.b), 0.7, 0.0, d);
    });
#endif
}

const int kRegistered = registerFamily(registerArithm);

}  // namespace
