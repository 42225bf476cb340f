// MSER: OpenCV as the oracle by overlap (its component history differs in detail, so regions are
// matched by their pixel sets); properties the library fixes itself (polarity, nesting,
// connectivity, the per-region statistics, capacities, the handle calls); the refusals.
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <set>
#include <vector>

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/features2d.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using Bytes = std::vector<uint8_t>;
using PixelSet = std::vector<uint32_t>;  // y * w + x, sorted

class MserEntries : public TablesTest {};

struct Regions {
    std::vector<PixelSet> sets;
    std::vector<uint32_t> rects;
    std::vector<float> variation, ellipses;
    std::vector<uint8_t> polarity;
};

// Blobs of several levels on a ramp, softened, with light noise: stable regions of both
// polarities.
Bytes scene(uint32_t w, uint32_t h, uint32_t seed)
{
    std::mt19937 rng(seed);
    Bytes img(size_t(w) * h);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) img[y * w + x] = uint8_t(110 + x / 8 + rng() % 5);
    for (int k = 0; k < 14; ++k) {
        const int cx = int(rng() % w), cy = int(rng() % h), r = int(4 + rng() % 12);
        const uint8_t v = uint8_t(k % 2 ? 30 + rng() % 40 : 200 + rng() % 50);
        for (int y = std::max(0, cy - r); y < std::min(int(h), cy + r); ++y)
            for (int x = std::max(0, cx - r); x < std::min(int(w), cx + r); ++x)
                if ((x - cx) * (x - cx) + (y - cy) * (y - cy) < r * r) img[size_t(y) * w + size_t(x)] = v;
    }
    Bytes soft(img);  // a 3x3 box keeps the edges ramped, as a camera's would be
    for (uint32_t y = 1; y + 1 < h; ++y)
        for (uint32_t x = 1; x + 1 < w; ++x) {
            int s = 0;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) s += img[(y + dy) * w + x + dx];
            soft[y * w + x] = uint8_t(s / 9);
        }
    return soft;
}

Regions run(LMV_STATUS (*fn)(void*, const uint8_t*, uint32_t, uint32_t, uint32_t, uint32_t*, uint32_t*, uint16_t*,
                             uint32_t, uint32_t*, float*, uint8_t*),
            void* handle, const Bytes& img, uint32_t w, uint32_t h, uint32_t maxPixels = 1 << 20)
{
    uint32_t count = 0;
    std::vector<uint32_t> sizes(512), rects(4 * 512);
    std::vector<uint16_t> xy(2 * size_t(maxPixels));
    Regions r;
    r.variation.resize(512);
    r.polarity.resize(512);
    EXPECT_EQ(LUMIVA_SUCCESS, fn(handle, img.data(), w, h, w, &count, sizes.data(), xy.data(), maxPixels, rects.data(),
                                 r.variation.data(), r.polarity.data()));
    size_t at = 0;
    for (uint32_t k = 0; k < count; ++k) {
        PixelSet s;
        for (uint32_t i = 0; i < sizes[k]; ++i) s.push_back(uint32_t(xy[2 * (at + i) + 1]) * w + xy[2 * (at + i)]);
        at += sizes[k];
        r.sets.push_back(s);
    }
    r.rects.assign(rects.begin(), rects.begin() + 4 * count);
    r.variation.resize(count);
    r.polarity.resize(count);
    return r;
}

double overlap(const PixelSet& a, const PixelSet& b)
{
    PixelSet both;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(both));
    return double(both.size()) / double(a.size() + b.size() - both.size());
}

// The fraction of `a`'s regions that some region of `b` overlaps by `iou` or more.
double matched(const std::vector<PixelSet>& a, const std::vector<PixelSet>& b, double iou)
{
    size_t found = 0;
    for (const PixelSet& s : a)
        found += std::any_of(b.begin(), b.end(), [&](const PixelSet& t) { return overlap(s, t) >= iou; });
    return a.empty() ? 1.0 : double(found) / double(a.size());
}

#ifdef LUMIVA_WITH_OPENCV

TEST_F(MserEntries, RegionsOverlapOpenCVs)
{
    for (uint32_t seed : {1u, 2u, 3u}) {
        const uint32_t w = 160, h = 120;
        const Bytes img = scene(w, h, seed);
        auto detector = cv::MSER::create(5, 40, 6000, 0.25, 0.0);
        std::vector<std::vector<cv::Point>> theirs;
        std::vector<cv::Rect> boxes;
        detector->detectRegions(cv::Mat(int(h), int(w), CV_8U, const_cast<uint8_t*>(img.data())), theirs, boxes);
        std::vector<PixelSet> expected;
        for (const auto& region : theirs) {
            PixelSet s;
            for (const cv::Point& p : region) s.push_back(uint32_t(p.y) * w + uint32_t(p.x));
            std::sort(s.begin(), s.end());
            s.erase(std::unique(s.begin(), s.end()), s.end());
            expected.push_back(s);
        }
        void* handle = nullptr;
        ASSERT_EQ(LUMIVA_SUCCESS, lmvMserInit(w, h, 5, 40, 6000, 0.25f, 0.0f, 512, &handle));
        for (auto fn : {lmvMserExtu8_v2ST, lmvMserExtu8FxpST}) {
            const Regions ours = run(fn, handle, img, w, h);
            SCOPED_TRACE("seed " + std::to_string(seed) + ": " + std::to_string(ours.sets.size()) + " ours, " +
                         std::to_string(expected.size()) + " OpenCV's");
            ASSERT_FALSE(expected.empty());
            // Three quarters or more of each side's regions have a partner (0.76 to 0.95 on these scenes).
            EXPECT_GE(matched(ours.sets, expected, 0.95), 0.75);
            EXPECT_GE(matched(expected, ours.sets, 0.95), 0.75);
        }
        lmvMserRelease(handle);
    }
}

#endif  // LUMIVA_WITH_OPENCV

// Each region is a connected set at one polarity: dark regions only hold pixels no brighter than
// the lightest of them, and every region's rectangle, variation and size agree with its pixels.
TEST_F(MserEntries, RegionsAreExtremalAndTheirStatisticsAgree)
{
    const uint32_t w = 96, h = 72;
    const Bytes img = scene(w, h, 9);
    void* handle = nullptr;
    ASSERT_EQ(LUMIVA_SUCCESS, lmvMserNN8Init(w, h, 4, 10, 4000, 0.5f, 0.1f, 512, &handle));
    const Regions r = run(lmvMserExtNN8u8ST, handle, img, w, h);
    ASSERT_FALSE(r.sets.empty());
    bool dark = true;
    for (size_t k = 0; k < r.sets.size(); ++k) {
        const PixelSet& s = r.sets[k];
        EXPECT_TRUE(std::is_sorted(s.begin(), s.end()));
        EXPECT_TRUE(dark || r.polarity[k] == 1) << "dark regions come first";
        dark = r.polarity[k] == 0;
        uint8_t inner = r.polarity[k] ? 255 : 0, outer = r.polarity[k] ? 0 : 255;
        uint32_t x0 = w, y0 = h, x1 = 0, y1 = 0;
        std::set<uint32_t> in(s.begin(), s.end());
        for (uint32_t p : s) {
            inner = r.polarity[k] ? std::min(inner, img[p]) : std::max(inner, img[p]);
            x0 = std::min(x0, p % w), x1 = std::max(x1, p % w), y0 = std::min(y0, p / w), y1 = std::max(y1, p / w);
        }
        // An extremal region: every 8-neighbour outside it lies beyond its extreme level.
        for (uint32_t p : s)
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) {
                    const int x = int(p % w) + dx, y = int(p / w) + dy;
                    if (x < 0 || y < 0 || x >= int(w) || y >= int(h) || in.count(uint32_t(y) * w + uint32_t(x))) continue;
                    const uint8_t v = img[size_t(y) * w + size_t(x)];
                    EXPECT_TRUE(r.polarity[k] ? v < inner : v > inner) << k;
                    outer = r.polarity[k] ? std::max(outer, v) : std::min(outer, v);
                }
        EXPECT_EQ((std::vector<uint32_t>{x0, y0, x1, y1}), std::vector<uint32_t>(r.rects.begin() + 4 * k, r.rects.begin() + 4 * k + 4));
        EXPECT_LE(r.variation[k], 0.5f);
        EXPECT_GE(s.size(), 10u);
    }
    lmvMserReleaseFxp(handle);
}

// The same regions through every form that shares an arithmetic, in the same order; the v3
// statistics of a known square; whole regions while the pixel capacity holds; the split form's
// polarities.
TEST_F(MserEntries, FormsAgreeAndCapacitiesKeepWholeRegions)
{
    const uint32_t w = 64, h = 48;
    const Bytes img = scene(w, h, 4);
    void *handle = nullptr, *fxp = nullptr;
    ASSERT_EQ(LUMIVA_SUCCESS, lmvMserInit(w, h, 3, 8, 3000, 0.6f, 0.0f, 512, &handle));
    ASSERT_EQ(LUMIVA_SUCCESS, lmvMserInitFxp(w, h, 3, 8, 3000, 0.6f, 0.0f, 512, &fxp));
    const Regions ext = run(lmvMserExtu8_v2ST, handle, img, w, h);
    ASSERT_FALSE(ext.sets.empty());
    uint32_t count = 0;
    std::vector<uint32_t> sizes(512);
    std::vector<uint16_t> xy(1 << 18);
    ASSERT_EQ(LUMIVA_SUCCESS, lmvMseru8_v2ST(handle, img.data(), w, h, w, &count, sizes.data(), xy.data(), 1 << 17));
    EXPECT_EQ(ext.sets.size(), count);
    const Regions fixed = run(lmvMserExtu8FxpST, fxp, img, w, h);
    EXPECT_GE(matched(fixed.sets, ext.sets, 1.0), 0.9);  // only ties of the variation may differ

    // Capacity: the first regions whose pixels fit, whole.
    const uint32_t room = uint32_t(ext.sets[0].size() + ext.sets[1].size() + ext.sets[2].size() / 2);
    const Regions few = run(lmvMserExtu8_v2ST, handle, img, w, h, room);
    ASSERT_EQ(2u, few.sets.size());
    EXPECT_EQ(ext.sets[1], few.sets[1]);

    // The split form: one polarity at a time gives the two halves of the whole.
    std::vector<uint32_t> rects(4 * 512);
    std::vector<float> variation(512);
    std::vector<uint8_t> polarity(512);
    uint32_t dark = 0, bright = 0;
    EXPECT_EQ(LUMIVA_SUCCESS, lmvMserSplitExtu8STC(handle, img.data(), w, h, w, 1, &dark, sizes.data(), xy.data(),
                                                   1 << 17, rects.data(), variation.data(), polarity.data()));
    EXPECT_EQ(LUMIVA_SUCCESS, lmvMserSplitExtu8STC(handle, img.data(), w, h, w, 2, &bright, sizes.data(), xy.data(),
                                                   1 << 17, rects.data(), variation.data(), polarity.data()));
    EXPECT_EQ(ext.sets.size(), size_t(dark + bright));
    EXPECT_EQ(uint8_t(1), polarity[0]);
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvMserSplitExtu8STC(handle, img.data(), w, h, w, 0, &dark, sizes.data(), xy.data(),
                                                      1 << 17, rects.data(), variation.data(), polarity.data()));

    // v3: a dark 6x4 square on a ramp: mean 20, centroid at its centre, variances (n^2 - 1) / 12
    // per axis.
    Bytes square(size_t(w) * h);
    for (size_t i = 0; i < square.size(); ++i) square[i] = uint8_t(100 + i % w);
    for (uint32_t y = 10; y < 14; ++y)
        for (uint32_t x = 20; x < 26; ++x) square[y * w + x] = 20;
    std::vector<float> ellipses(6 * 512);
    ASSERT_EQ(LUMIVA_SUCCESS, lmvMserExtu8_v3ST(handle, square.data(), w, h, w, &count, sizes.data(), xy.data(),
                                                1 << 17, rects.data(), variation.data(), polarity.data(),
                                                ellipses.data()));
    ASSERT_GE(count, 1u);
    EXPECT_EQ(24u, sizes[0]);
    EXPECT_EQ((std::vector<float>{20.0f, 22.5f, 11.5f, 35.0f / 12.0f, 0.0f, 15.0f / 12.0f}),
              std::vector<float>(ellipses.begin(), ellipses.begin() + 6));
    lmvMserRelease(handle);
    lmvMserReleaseFxp(fxp);
}

TEST_F(MserEntries, RefusalsWriteNothing)
{
    void* handle = nullptr;
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvMserInit(0, 10, 5, 1, 10, 0.2f, 0.1f, 10, &handle));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvMserInit(70000, 10, 5, 1, 10, 0.2f, 0.1f, 10, &handle));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvMserInitFxp(10, 10, 0, 1, 10, 0.2f, 0.1f, 10, &handle));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvMserNN8Init(10, 10, 5, 11, 10, 0.2f, 0.1f, 10, &handle));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvMserNN8Init(10, 10, 5, 1, 10, 0.2f, 1.0f, 10, &handle));
    EXPECT_EQ(nullptr, handle);
    ASSERT_EQ(LUMIVA_SUCCESS, lmvMserInit(8, 8, 5, 1, 64, 0.2f, 0.1f, 10, &handle));
    Bytes img(16 * 16, 3);
    uint32_t count = 77, sizes[10] = {};
    uint16_t xy[64];
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvMseru8_v2ST(handle, img.data(), 16, 16, 16, &count, sizes, xy, 32));
    EXPECT_EQ(77u, count);
    lmvMserRelease(handle);
    lmvMserRelease(nullptr);
}

}  // namespace
