// Geometry and resampling at full frame size beside their nearest OpenCV peers: affine and
// perspective warps (bilinear grey, bicubic and nearest RGB888), the bilinear remap, resizing
// by area to a half, bilinearly to 0.75 and 2.0, the 5x5 doubling, the 2D up-sampling, flips,
// the transpose and the rotations.
#include "lumivaBench.h"
#include "lumivaKernels.h"

#include <cmath>

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace lmvbench;

// A 7-degree turn about the centre with a 5% zoom, and a mild keystone.
struct Motion {
    float affine[6], projection[9];
    Motion(uint32_t w, uint32_t h)
    {
        const float c = 0.95f * std::cos(0.122f), s = 0.95f * std::sin(0.122f), cx = w / 2.0f, cy = h / 2.0f;
        const float a[6] = {c, -s, cx - c * cx + s * cy, s, c, cy - s * cx - c * cy};
        const float p[9] = {c, -s, a[2] + 12, s, c, a[5] - 7, 2e-5f, -1.5e-5f, 1.0f};
        std::copy(a, a + 6, affine);
        std::copy(p, p + 9, projection);
    }
};

struct GeometryFrames {
    uint32_t w, h;
    std::vector<uint8_t> src, rgb, dst, rgbDst, half, big;
    std::vector<float> mapX, mapY;
    Motion motion;
    GeometryFrames()
        : w(frameSize().width), h(frameSize().height), src(randomFrame<uint8_t>(size_t(w) * h, 31)),
          rgb(randomFrame<uint8_t>(size_t(w) * h * 3, 32)), dst(src.size()), rgbDst(rgb.size()),
          half(randomFrame<uint8_t>(size_t(w / 2) * (h / 2), 33)), big(size_t(w) * h * 4), mapX(src.size()),
          mapY(src.size()), motion(w, h)
    {
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x) {
                const float dx = x - w / 2.0f, dy = y - h / 2.0f, r = 1 + 1e-7f * (dx * dx + dy * dy);
                mapX[size_t(y) * w + x] = w / 2.0f + dx * r, mapY[size_t(y) * w + x] = h / 2.0f + dy * r;
            }
    }
#ifdef LUMIVA_WITH_OPENCV
    cv::Mat grey(std::vector<uint8_t>& v, uint32_t cw, uint32_t ch) { return cv::Mat(int(ch), int(cw), CV_8UC1, v.data()); }
    cv::Mat in() { return grey(src, w, h); }
    cv::Mat out() { return grey(dst, w, h); }
    cv::Mat affine() { return (cv::Mat_<double>(2, 3) << motion.affine[0], motion.affine[1], motion.affine[2], motion.affine[3], motion.affine[4], motion.affine[5]); }
    cv::Mat projection()
    {
        const float* p = motion.projection;
        return (cv::Mat_<double>(3, 3) << p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8]);
    }
#endif
};

void registerGeometry()
{
    static GeometryFrames f;
    const uint32_t w = f.w, h = f.h;
    const float* A = f.motion.affine;
    const float* P = f.motion.projection;
    for (const char* form : {"reference", "simd"}) {
        const bool c = form[0] == 'r';
        add("WarpAffineBL", form, [=] { (c ? lmvTransformAffineu8_v2C : lmvTransformAffineu8_v2V)(f.src.data(), w, h, w, A, f.dst.data(), w, h, w); });
        add("WarpAffineBLClipped", form, [=] { (c ? lmvTransformAffineClippedu8C : lmvTransformAffineClippedu8V)(f.src.data(), w, h, w, A, f.dst.data(), w, h, w, nullptr); });
        add("WarpAffineBC_RGB", form, [=] { (c ? lmv3ChannelTransformAffineClippedBCu8C : lmv3ChannelTransformAffineClippedBCu8V)(f.rgb.data(), w, h, 3 * w, A, f.rgbDst.data(), w, h, 3 * w, nullptr); });
        add("WarpPerspectiveBL", form, [=] { (c ? lmvWarpPerspectiveu8_v3C : lmvWarpPerspectiveu8_v3V)(f.src.data(), w, h, w, f.dst.data(), w, h, w, P, 1, LUMIVA_BORDER_REPLICATE, 0); });
        add("WarpPerspectiveNN", form, [=] { (c ? lmvWarpPerspectiveu8_v2C : lmvWarpPerspectiveu8_v2V)(f.src.data(), w, h, w, f.dst.data(), w, h, w, P); });
        add("WarpPerspectiveNN_RGB", form, [=] { (c ? lmv3ChannelWarpPerspectiveu8_v2C : lmv3ChannelWarpPerspectiveu8_v2V)(f.rgb.data(), w, h, 3 * w, f.rgbDst.data(), w, h, 3 * w, P); });
        add("RemapBL", form, [=] { (c ? lmvRemapu8C : lmvRemapu8V)(f.src.data(), w, h, w, f.dst.data(), w, h, w, f.mapX.data(), f.mapY.data(), 4 * w, 1); });
        add("ResizeArea0.5", form, [=] { (c ? lmvScaleu8C : lmvScaleu8V)(f.src.data(), w, h, w, f.dst.data(), w / 2, h / 2, w / 2, LUMIVA_INTERPOLATION_AREA); });
        add("ResizeBL0.75", form, [=] { (c ? lmvScaleDownBLu8C : lmvScaleDownBLu8V)(f.src.data(), w, h, w, f.dst.data(), w * 3 / 4, h * 3 / 4, w * 3 / 4); });
        add("ResizeBL2.0", form, [=] { (c ? lmvScaleu8C : lmvScaleu8V)(f.src.data(), w, h, w, f.big.data(), 2 * w, 2 * h, 2 * w, LUMIVA_INTERPOLATION_BILINEAR); });
        add("PyrUp", form, [=] { (c ? lmvScaleUpBy2Gaussian5x5u8C : lmvScaleUpBy2Gaussian5x5u8V)(f.half.data(), w / 2, h / 2, w / 2, f.dst.data(), w); });
        add("Upsample2D", form, [=] { (c ? lmvUpsample2Du8C : lmvUpsample2Du8V)(f.half.data(), w / 2, h / 2, w / 2, f.dst.data(), w); });
        for (int d : {1, 2, 3}) {
            const std::string name = std::string("Flip") + (d == 1 ? "H" : d == 2 ? "V" : "Both");
            add(name, form, [=] { (c ? lmvFlipu8C : lmvFlipu8V)(f.src.data(), w, h, w, f.dst.data(), w, d); });
            const std::string turn = "Rotate" + std::to_string(90 * d);
            add(turn, form, [=] { (c ? lmvRotateImageu8C : lmvRotateImageu8V)(f.src.data(), w, h, w, f.dst.data(), d == 2 ? w : h, d); });
        }
        add("Transpose", form, [=] { (c ? lmvTransposeu8C : lmvTransposeu8V)(f.src.data(), w, h, w, f.dst.data(), h); });
    }
#ifdef LUMIVA_WITH_OPENCV
    using namespace cv;
    add("WarpAffineBL", "opencv", [] { Mat o = f.out(); warpAffine(f.in(), o, f.affine(), o.size(), INTER_LINEAR | WARP_INVERSE_MAP, BORDER_REPLICATE); });
    add("WarpAffineBLClipped", "opencv", [] { Mat o = f.out(); warpAffine(f.in(), o, f.affine(), o.size(), INTER_LINEAR | WARP_INVERSE_MAP, BORDER_TRANSPARENT); });
    add("WarpAffineBC_RGB", "opencv", [] {
        Mat o(int(f.h), int(f.w), CV_8UC3, f.rgbDst.data());
        warpAffine(Mat(int(f.h), int(f.w), CV_8UC3, f.rgb.data()), o, f.affine(), o.size(), INTER_CUBIC | WARP_INVERSE_MAP, BORDER_TRANSPARENT);
    });
    add("WarpPerspectiveBL", "opencv", [] { Mat o = f.out(); warpPerspective(f.in(), o, f.projection(), o.size(), INTER_LINEAR | WARP_INVERSE_MAP, BORDER_REPLICATE); });
    add("WarpPerspectiveNN", "opencv", [] { Mat o = f.out(); warpPerspective(f.in(), o, f.projection(), o.size(), INTER_NEAREST | WARP_INVERSE_MAP, BORDER_TRANSPARENT); });
    add("WarpPerspectiveNN_RGB", "opencv", [] {
        Mat o(int(f.h), int(f.w), CV_8UC3, f.rgbDst.data());
        warpPerspective(Mat(int(f.h), int(f.w), CV_8UC3, f.rgb.data()), o, f.projection(), o.size(), INTER_NEAREST | WARP_INVERSE_MAP, BORDER_TRANSPARENT);
    });
    add("RemapBL", "opencv", [] {
        Mat o = f.out();
        remap(f.in(), o, Mat(int(f.h), int(f.w), CV_32F, f.mapX.data()), Mat(int(f.h), int(f.w), CV_32F, f.mapY.data()), INTER_LINEAR, BORDER_TRANSPARENT);
    });
    add("ResizeArea0.5", "opencv", [] { Mat o = f.grey(f.dst, f.w / 2, f.h / 2); resize(f.in(), o, o.size(), 0, 0, INTER_AREA); });
    add("ResizeBL0.75", "opencv", [] { Mat o = f.grey(f.dst, f.w * 3 / 4, f.h * 3 / 4); resize(f.in(), o, o.size(), 0, 0, INTER_LINEAR); });
    add("ResizeBL2.0", "opencv", [] { Mat o = f.grey(f.big, 2 * f.w, 2 * f.h); resize(f.in(), o, o.size(), 0, 0, INTER_LINEAR); });
    add("PyrUp", "opencv", [] { Mat o = f.out(); pyrUp(f.grey(f.half, f.w / 2, f.h / 2), o, o.size()); });
    add("Upsample2D", "opencv", [] { Mat o = f.out(); resize(f.grey(f.half, f.w / 2, f.h / 2), o, o.size(), 0, 0, INTER_LINEAR); });
    for (int d : {1, 2, 3}) {
        const std::string name = std::string("Flip") + (d == 1 ? "H" : d == 2 ? "V" : "Both");
        add(name, "opencv", [=] { Mat o = f.out(); flip(f.in(), o, d == 1 ? 1 : d == 2 ? 0 : -1); });
        add("Rotate" + std::to_string(90 * d), "opencv", [=] {
            Mat o = d == 2 ? f.out() : f.grey(f.dst, f.h, f.w);
            rotate(f.in(), o, d == 1 ? ROTATE_90_CLOCKWISE : d == 2 ? ROTATE_180 : ROTATE_90_COUNTERCLOCKWISE);
        });
    }
    add("Transpose", "opencv", [] { Mat o = f.grey(f.dst, f.h, f.w); transpose(f.in(), o); });
#endif
}

const int kRegistered = registerFamily(registerGeometry);

}  // namespace
