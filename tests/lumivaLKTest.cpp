// Lucas-Kanade on synthetic frames with a known sub-pixel motion: tracking error, clipped
// windows at the border, the textureless case, and the preconditions that leave outputs alone.
#include "cpu/lumivaLK.h"
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

// A smooth texture sampled at (x - dx, y - dy): the second frame of a translation.
Bytes scene(uint32_t w, uint32_t h, double dx, double dy)
{
    Bytes img(w * h);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            const double u = x - dx, v = y - dy;
            const double value = 128 + 50 * std::sin(u * 0.21) * std::cos(v * 0.17) + 30 * std::sin((u + v) * 0.11) +
                                 20 * std::cos(u * 0.05 - v * 0.31);
            img[y * w + x] = static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
        }
    return img;
}

struct Pyramids {
    std::vector<lmvPyramidLevel_v2> a, b;
    Pyramids(const Bytes& f1, const Bytes& f2, uint32_t w, uint32_t h, uint32_t levels) : a(levels), b(levels)
    {
        lmvPyramidAllocate_v2(a.data(), w, h, w, 1, levels, 0);
        lmvPyramidAllocate_v2(b.data(), w, h, w, 1, levels, 0);
        lmvPyramidCreateu8_v2(f1.data(), w, h, w, levels, a.data());
        lmvPyramidCreateu8_v2(f2.data(), w, h, w, levels, b.data());
    }
    ~Pyramids()
    {
        lmvPyramidDelete_v2(a.data(), uint32_t(a.size()), 1);
        lmvPyramidDelete_v2(b.data(), uint32_t(b.size()), 1);
    }
};

class LucasKanade : public TablesTest {};

// Tracks a grid of points (inside a margin, `step` apart) from f1 to f2 over three levels,
// expects every one tracked, and returns their mean distance from where `motion` takes them.
template <class Motion>
double gridError(const Bytes& f1, const Bytes& f2, uint32_t w, uint32_t h, float32_t margin, float32_t step,
                 int32_t window, int32_t iterations, Motion motion)
{
    Pyramids p(f1, f2, w, h, 3);
    std::vector<float32_t> xy;
    for (float32_t y = margin; y < h - margin; y += step)
        for (float32_t x = margin; x < w - margin; x += step) xy.insert(xy.end(), {x, y});
    const int32_t n = int32_t(xy.size() / 2);
    std::vector<float32_t> out(xy.size());
    std::vector<int32_t> status(n, 0);
    lmvTrackLKOpticalFlowu8_v3(f1.data(), f2.data(), w, h, w, p.a.data(), p.b.data(), xy.data(), nullptr, out.data(),
                               status.data(), n, window, window, 3, 2, iterations, 0.0001f, 0);
    double error = 0;
    for (int32_t i = 0; i < n; ++i) {
        EXPECT_EQ(1, status[i]) << i;
        const auto [ex, ey] = motion(xy[2 * i], xy[2 * i + 1]);
        error += std::hypot(out[2 * i] - ex, out[2 * i + 1] - ey);
    }
    std::printf("mean tracking error %.4f px over %d features\n", error / n, n);
    return error / n;
}

TEST_F(LucasKanade, RecoversASubPixelTranslation)
{
    const uint32_t w = 160, h = 128;
    const double dx = 3.4, dy = -2.7;
    const double error = gridError(scene(w, h, 0, 0), scene(w, h, dx, dy), w, h, 24, 16, 9, 20,
                                   [&](double x, double y) { return std::pair{x + dx, y + dy}; });
    EXPECT_LT(error, 0.05);
}

// A small rotation and scaling about the centre plus a shift: every window moves a little
// differently, and each feature should land where the motion takes it.
TEST_F(LucasKanade, FollowsASmallAffineMotion)
{
    const uint32_t w = 160, h = 128;
    const double angle = 0.01, zoom = 1.008, tx = 1.6, ty = 0.9, cx = w / 2.0, cy = h / 2.0;
    const double m00 = zoom * std::cos(angle), m01 = -zoom * std::sin(angle), m10 = -m01, m11 = m00;
    auto moved = [&](double x, double y) {
        return std::pair{m00 * (x - cx) + m01 * (y - cy) + cx + tx, m10 * (x - cx) + m11 * (y - cy) + cy + ty};
    };
    Bytes f2(w * h);
    const double det = m00 * m11 - m01 * m10;
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            // The second frame shows at (x, y) what the first showed at the motion's inverse.
            const double u = x - cx - tx, v = y - cy - ty;
            const double sx = (m11 * u - m01 * v) / det + cx, sy = (-m10 * u + m00 * v) / det + cy;
            f2[y * w + x] = scene(1, 1, -sx, -sy)[0];
        }
    EXPECT_LT(gridError(scene(w, h, 0, 0), f2, w, h, 28, 12, 11, 30, moved), 0.1);
}

// The termination parameters: counts clamp to 1..100, the step bound to 0..10, and the
// criteria choice overrides the other parameter.
TEST_F(LucasKanade, TerminationClampsAndOverrides)
{
    struct Case {
        int32_t criteria, maxIterations;
        float32_t maxEpsilon;
        int iterations;
        float32_t epsilon;
    };
    const Case cases[] = {
        {2, 20, 0.25f, 20, 0.25f},   {2, 0, 0.25f, 1, 0.25f},     {2, -7, 0.25f, 1, 0.25f},
        {2, 100, 0.25f, 100, 0.25f}, {2, 1000, 0.25f, 100, 0.25f}, {2, 20, 50.0f, 20, 10.0f},
        {2, 20, -1.0f, 20, 0.0f},    {0, 20, 5.0f, 20, 0.0009f},  {0, 500, 5.0f, 100, 0.0009f},
        {1, 5, 0.25f, 30, 0.25f},    {1, 5, 12.0f, 30, 10.0f},    {7, 5, 0.25f, 5, 0.25f},
    };
    for (const Case& c : cases) {
        const ILMV_LK_TERMINATION stop = ilmvLKTermination(c.criteria, c.maxIterations, c.maxEpsilon);
        EXPECT_EQ(c.iterations, stop.iterations) << c.criteria << " " << c.maxIterations << " " << c.maxEpsilon;
        EXPECT_EQ(c.epsilon, stop.epsilon) << c.criteria << " " << c.maxIterations << " " << c.maxEpsilon;
    }
    // And the engine follows them: one step lands elsewhere than two.
    const uint32_t w = 96, h = 80;
    Bytes f1 = scene(w, h, 0, 0), f2 = scene(w, h, 1.6, -1.2);
    Pyramids p(f1, f2, w, h, 1);
    const std::vector<float32_t> xy = {30.0f, 30.0f, 50.5f, 41.25f};
    auto track = [&](int32_t iterations) {
        std::vector<float32_t> out(xy.size());
        std::vector<int32_t> status(2);
        lmvTrackLKOpticalFlowu8_v3(f1.data(), f2.data(), w, h, w, p.a.data(), p.b.data(), xy.data(), nullptr,
                                   out.data(), status.data(), 2, 9, 9, 1, 2, iterations, 0.0f, 0);
        return out;
    };
    EXPECT_NE(track(1), track(2));
    EXPECT_EQ(track(0), track(1));
}

TEST_F(LucasKanade, BorderTexturelessAndPreconditions)
{
    const uint32_t w = 96, h = 80;
    Bytes f1 = scene(w, h, 0, 0), f2 = scene(w, h, 1.0, 0.5);
    for (uint32_t y = 0; y < 20; ++y)
        for (uint32_t x = 60; x < 90; ++x) f1[y * w + x] = f2[y * w + x] = 100;  // a flat area
    Pyramids p(f1, f2, w, h, 2);
    std::vector<float32_t> xy = {2.0f, 40.0f, 75.0f, 8.0f, 500.0f, 500.0f, 48.0f, 40.0f}, out(8);
    std::vector<int32_t> status(4, 9);
    lmvTrackLKOpticalFlowu8_v2(f1.data(), f2.data(), w, h, w, p.a.data(), p.b.data(), xy.data(), out.data(),
                               status.data(), 4, 7, 7, 20, 2);
    EXPECT_EQ(1, status[0]);  // clipped at the left edge, still tracked
    EXPECT_NEAR(out[0], 3.0f, 0.3f);
    EXPECT_EQ(-2, status[1]);  // textureless
    EXPECT_EQ(-4, status[2]);  // outside
    EXPECT_EQ(1, status[3]);
    EXPECT_NEAR(out[6], 49.0f, 0.1f);
    EXPECT_NEAR(out[7], 40.5f, 0.1f);

    std::fill(status.begin(), status.end(), 9);
    std::fill(out.begin(), out.end(), -1.0f);
    lmvTrackLKOpticalFlowu8_v2(f1.data(), f2.data(), w, h, w, p.a.data(), p.b.data(), xy.data(), out.data(),
                               status.data(), 4, 3, 3, 20, 2);
    EXPECT_EQ(9, status[0]);  // a 3x3 window: the engine refuses and writes no status
    EXPECT_EQ(xy[6], out[6]);  // the starting positions were copied
    lmvTrackLKOpticalFlowu8_v2(f1.data(), f2.data(), w, h, w, p.a.data(), p.b.data(), xy.data(), out.data(),
                               status.data(), 4, 7, 7, 20, 0);
    EXPECT_EQ(1, status[0]);  // no levels: tracked where it started
    EXPECT_EQ(xy[0], out[0]);

    LogCapture log;
    lmvTrackLKOpticalFlowu8_v2(f1.data(), f2.data(), w, h, w, p.a.data(), p.b.data(), xy.data(), out.data(),
                               status.data(), 4, 8, 7, 20, 2);
    EXPECT_EQ("Assertion failed @lmvTrackLKOpticalFlowu8_v2: src1 && src2 && src1Pyr && src2Pyr && featureXY && "
              "featureXY_out && featureStatus && (windowWidth & 0x1) && (windowHeight & 0x1)\n",
              log.lines().at(0).text);
}

// Positions no window can hold, not-a-number included, are outside the image: -4, and
// their outputs stay where they started.
TEST_F(LucasKanade, PositionsBeyondAnyWindowAreOutside)
{
    const uint32_t w = 64, h = 48;
    Bytes f1 = scene(w, h, 0, 0), f2 = scene(w, h, 0.5, 0.5);
    Pyramids p(f1, f2, w, h, 2);
    const float32_t nan = std::nanf(""), huge = 3e9f;
    const std::vector<float32_t> xy = {nan, 20.0f, 30.0f, -huge, huge, huge, 30.0f, 20.0f};
    for (bool initial : {false, true}) {
        // With an initial estimate the first frame's points are fine but the estimates are not.
        const std::vector<float32_t> start = initial ? std::vector<float32_t>{30.0f, 20.0f, 31.0f, 21.0f, 32.0f, 22.0f, 30.0f, 20.0f} : xy;
        const std::vector<float32_t>& estimate = initial ? xy : start;
        std::vector<float32_t> out(8);
        std::vector<int32_t> status(4);
        lmvTrackLKOpticalFlowu8_v3(f1.data(), f2.data(), w, h, w, p.a.data(), p.b.data(), start.data(),
                                   estimate.data(), out.data(), status.data(), 4, 7, 7, 2, 2, 20, 0.0001f, initial);
        EXPECT_EQ(-4, status[0]);
        EXPECT_EQ(-4, status[1]);
        EXPECT_EQ(-4, status[2]);
        EXPECT_EQ(1, status[3]);
    }
}

// Windows whose scratch could never be allocated, or whose size does not even fit the
// size type, are refused like any failed precondition: no status written.
TEST_F(LucasKanade, WindowsBeyondAnyScratchAreRefused)
{
    const uint32_t w = 64, h = 48;
    Bytes f1 = scene(w, h, 0, 0), f2 = scene(w, h, 0.5, 0.5);
    Pyramids p(f1, f2, w, h, 2);
    const std::vector<float32_t> xy = {30.0f, 20.0f};
    const int32_t biggest = 0x7fffffff;
    for (auto [ww, wh] : {std::pair{biggest, biggest}, std::pair{biggest, 7}, std::pair{7, (1 << 21) + 1}}) {
        std::vector<float32_t> out(2, -1.0f), out2(2, -1.0f);
        std::vector<int32_t> status(1, 9), status2(1, 9);
        lmvTrackLKOpticalFlowu8_v2(f1.data(), f2.data(), w, h, w, p.a.data(), p.b.data(), xy.data(), out.data(),
                                   status.data(), 1, ww, wh, 20, 2);
        lmvTrackLKOpticalFlowu8_v3(f1.data(), f2.data(), w, h, w, p.a.data(), p.b.data(), xy.data(), nullptr,
                                   out2.data(), status2.data(), 1, ww, wh, 2, 2, 20, 0.01f, 0);
        EXPECT_EQ(9, status[0]) << ww << "x" << wh;
        EXPECT_EQ(9, status2[0]) << ww << "x" << wh;
        EXPECT_EQ(xy, out);
        EXPECT_EQ(xy, out2);
    }
}

TEST_F(LucasKanade, OldestFormCopiesTheLevelRecords)
{
    const uint32_t w = 96, h = 64;
    Bytes f1 = scene(w, h, 0, 0), f2 = scene(w, h, -1.5, 1.25);
    Pyramids p(f1, f2, w, h, 2);
    std::vector<lmvPyramidLevel> a(2), b(2);
    for (int L = 0; L < 2; ++L) {
        a[L] = {p.a[L].ptr, p.a[L].width, p.a[L].height};
        b[L] = {p.b[L].ptr, p.b[L].width, p.b[L].height};
    }
    std::vector<float32_t> xy = {48.0f, 32.0f}, out(2), out2(2);
    std::vector<int32_t> status(1), status2(1);
    lmvTrackLKOpticalFlowu8(f1.data(), f2.data(), w, h, a.data(), b.data(), nullptr, nullptr, xy.data(), out.data(),
                            status.data(), 1, 9, 9, 20, 2, 0, 0, 0, 0);
    lmvTrackLKOpticalFlowu8_v2(f1.data(), f2.data(), w, h, w, p.a.data(), p.b.data(), xy.data(), out2.data(),
                               status2.data(), 1, 9, 9, 20, 2);
    EXPECT_EQ(1, status[0]);
    EXPECT_EQ(out, out2);
    EXPECT_NEAR(out[0], 46.5f, 0.05f);
    EXPECT_NEAR(out[1], 33.25f, 0.05f);
}

}  // namespace

namespace {

TEST(LucasKanadeForms, SimdTracksToTheSameBits)
{
    const uint32_t w = 200, h = 152;
    Bytes f1 = scene(w, h, 0, 0), f2 = scene(w, h, -2.2, 1.7);
    lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE);
    Pyramids p(f1, f2, w, h, 3);
    std::vector<float32_t> xy;
    for (float32_t y = 3; y < h; y += 11.5f)
        for (float32_t x = 2; x < w; x += 9.25f) xy.insert(xy.end(), {x, y});
    const int32_t n = int32_t(xy.size() / 2);
    for (int window : {5, 7, 9, 21}) {
        std::vector<float32_t> a(xy.size()), b(xy.size());
        std::vector<int32_t> sa(n), sb(n);
        lmvTrackLKOpticalFlowu8_v3C(f1.data(), f2.data(), w, h, w, p.a.data(), p.b.data(), xy.data(), nullptr, a.data(),
                                    sa.data(), n, window, window, 3, 2, 25, 0.0005f, 0);
        lmvTrackLKOpticalFlowu8_v3V(f1.data(), f2.data(), w, h, w, p.a.data(), p.b.data(), xy.data(), nullptr, b.data(),
                                    sb.data(), n, window, window, 3, 2, 25, 0.0005f, 0);
        EXPECT_EQ(sa, sb) << "window " << window;
        EXPECT_EQ(0, std::memcmp(a.data(), b.data(), a.size() * sizeof(float32_t))) << "window " << window;
    }
}

}  // namespace

namespace {

// The SIMD inner loops against the reference ones, bit for bit, over the widths where their
// blocks, overlapping last blocks, masks and narrow fallbacks change, at positions inside
// the image and across each edge, with the horizontal fraction at its 0.0001 floor too.
TEST(LucasKanadeForms, SimdKernelsMatchTheReferenceBitForBit)
{
    const ILMV_LK_KERNELS& c = ilmvLKKernelsC();
    const ILMV_LK_KERNELS& v = ilmvLKKernelsV();
    auto same = [](const std::vector<float32_t>& a, const std::vector<float32_t>& b) {
        return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(float32_t)) == 0);
    };
    const uint32_t w = 48, h = 40;
    for (uint32_t stride : {w, w + 5}) {
        // A tight buffer for the first stride, so that a read past the last pixel is caught.
        Bytes image(size_t(stride) * (h - 1) + w);
        for (size_t i = 0; i < image.size(); ++i) image[i] = uint8_t((i * 2654435761u) >> 24);
        for (int dw = 1; dw <= 27; ++dw)
            for (int dh : {1, 2, 5, 11}) {
                // The last window reaches the bottom-right pixel without crossing the edges.
                const float32_t centres[][2] = {{20.3f, 17.6f}, {24.0f, 20.0f},  {0.7f, 19.2f},
                                                {46.9f, 11.5f}, {23.2f, 0.4f},   {12.8f, 39.3f},
                                                {-3.6f, -2.2f}, {50.1f, 43.7f},
                                                {float32_t(int(w) - 1 - dw) + (dw - 1) * 0.5f + 0.3f,
                                                 float32_t(int(h) - 1 - dh) + (dh - 1) * 0.5f + 0.6f}};
                std::vector<float32_t> a(size_t(dw) * dh), b(a.size());
                for (const auto& centre : centres) {
                    ASSERT_EQ(0, c.subPix(image.data(), w, h, stride, a.data(), dw, dh, centre[0], centre[1]));
                    ASSERT_EQ(0, v.subPix(image.data(), w, h, stride, b.data(), dw, dh, centre[0], centre[1]));
                    ASSERT_TRUE(same(a, b)) << dw << "x" << dh << " at " << centre[0] << "," << centre[1];
                }
            }
    }
    const uint8_t pixel = 0;
    EXPECT_EQ(-1, v.subPix(&pixel, 1, 1, 1, nullptr, 0, 3, 0, 0));

    std::vector<float32_t> noise(64 * 16);
    for (size_t i = 0; i < noise.size(); ++i) noise[i] = float32_t(int((i * 2246822519u) >> 20) % 509 - 254) / 7.0f;
    for (int pw = 1; pw <= 27; ++pw)
        for (int ph : {1, 3, 7}) {
            float32_t g1[3], g2[3], m1[2], m2[2];
            c.gradientSums(noise.data(), noise.data() + 5, 31, pw, ph, g1);
            v.gradientSums(noise.data(), noise.data() + 5, 31, pw, ph, g2);
            c.mismatchSums(noise.data() + 1, 33, noise.data() + 300, pw, noise.data() + 2, noise.data() + 7, 31, pw, ph, m1);
            v.mismatchSums(noise.data() + 1, 33, noise.data() + 300, pw, noise.data() + 2, noise.data() + 7, 31, pw, ph, m2);
            ASSERT_EQ(0, std::memcmp(g1, g2, sizeof g1)) << pw << "x" << ph;
            ASSERT_EQ(0, std::memcmp(m1, m2, sizeof m1)) << pw << "x" << ph;
        }
    for (int pw = 3; pw <= 27; ++pw)
        for (int ph : {2, 3, 4, 9}) {
            const size_t n = size_t(pw - 2) * size_t(ph > 2 ? ph - 2 : 0);
            std::vector<float32_t> ix1(n), iy1(n), ix2(n), iy2(n), work(2 * size_t(pw));
            c.ixIy(noise.data(), ix1.data(), iy1.data(), work.data(), pw, ph);
            v.ixIy(noise.data(), ix2.data(), iy2.data(), work.data(), pw, ph);
            ASSERT_TRUE(same(ix1, ix2) && same(iy1, iy2)) << pw << "x" << ph;
        }
}

}  // namespace

namespace {

// Random calls with hostile values mixed in: positions far away or not numbers, windows from
// the smallest refused to wide ones, any criteria and counts, both forms. Under the
// sanitizers this checks that nothing is read or written outside the buffers; here, that
// every status written is one of the three and that refused calls write none.
TEST_F(LucasKanade, RandomHostileCallsStayInTheirBuffers)
{
    const uint32_t w = 72, h = 56;
    Bytes f1 = scene(w, h, 0, 0), f2 = scene(w, h, 1.3, -0.8);
    Pyramids p(f1, f2, w, h, 3);
    std::mt19937 rng(7);
    const float32_t odd[] = {std::nanf(""), INFINITY, -INFINITY, 1e30f, -1e9f, 0.0f, -0.5f, float32_t(w), float32_t(h) - 0.01f};
    auto coordinate = [&](float32_t limit) {
        return rng() % 5 == 0 ? odd[rng() % (sizeof odd / sizeof odd[0])] : float32_t(rng() % 1000) / 1000.0f * limit;
    };
    const int32_t windows[] = {1, 3, 5, 7, 9, 13, 21, 31, 33, 63, 101};
    for (int call = 0; call < 300; ++call) {
        const int32_t n = 1 + int32_t(rng() % 6);
        std::vector<float32_t> xy, estimate;
        for (int32_t i = 0; i < n; ++i) {
            xy.insert(xy.end(), {coordinate(float32_t(w)), coordinate(float32_t(h))});
            estimate.insert(estimate.end(), {coordinate(float32_t(w)), coordinate(float32_t(h))});
        }
        std::vector<float32_t> out(xy.size());
        std::vector<int32_t> status(size_t(n), 9);
        const int32_t ww = windows[rng() % 11], wh = windows[rng() % 11], levels = int32_t(rng() % 4);
        const auto form = call % 2 ? lmvTrackLKOpticalFlowu8_v3V : lmvTrackLKOpticalFlowu8_v3C;
        form(f1.data(), f2.data(), w, h, w, p.a.data(), p.b.data(), xy.data(), estimate.data(), out.data(),
             status.data(), n, ww, wh, levels, int32_t(rng() % 4), int32_t(rng() % 40) - 5,
             float32_t(rng() % 100) / 50.0f - 0.5f, int32_t(rng() % 2));
        const bool refused = ww < 5 || wh < 5;
        for (int32_t s : status) {
            if (refused)
                EXPECT_EQ(9, s) << call;
            else
                EXPECT_TRUE(s == 1 || s == -2 || s == -4) << call << ": " << s;
        }
    }
}

}  // namespace
