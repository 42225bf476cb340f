// FAST: the segment test against a brute-force model over every circle pattern, the scan
// rules, masks, scores, suppression against a brute-force neighbour model, both forms
// alike, and, where OpenCV is installed, its FAST-9 as an oracle.
#include "cpu/lumivaFast.h"
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"

#include <cstdio>
#include <random>
#include <set>
#include <vector>

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/features2d.hpp>
#endif

namespace {

using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint32_t>;

bool runModel(uint32_t pattern, int arc)
{
    for (int start = 0; start < 16; ++start) {
        bool all = true;
        for (int k = 0; k < arc && all; ++k) all = (pattern >> ((start + k) % 16)) & 1;
        if (all) return true;
    }
    return false;
}

// A 7x7 patch with centre 100 whose circle pixels are `on` where the pattern has a bit.
TEST(FastSegmentTest, EqualsTheModelForEveryCirclePattern)
{
    const int stride = 7;
    int offsets[16];
    make_offsets(offsets, stride);
    for (int arc : {9, 10})
        for (int polarity : {+1, -1})
            for (uint32_t pattern = 0; pattern < 65536; ++pattern) {
                uint8_t patch[49];
                std::memset(patch, 100, sizeof patch);
                for (int k = 0; k < 16; ++k)
                    if ((pattern >> k) & 1) patch[24 + offsets[k]] = static_cast<uint8_t>(100 + polarity * 21);
                // Exactly at the threshold is neither brighter nor darker.
                for (int k = 0; k < 16; ++k)
                    if (!((pattern >> k) & 1) && (k % 3 == 0)) patch[24 + offsets[k]] = static_cast<uint8_t>(100 + polarity * 20);
                ASSERT_EQ(runModel(pattern, arc), ilmvSegmentTest(patch + 24, offsets, 20, arc))
                    << "arc " << arc << " polarity " << polarity << " pattern " << std::hex << pattern;
            }
}

TEST(FastSegmentTest, ThresholdsLeaveTheByteRange)
{
    int offsets[16];
    make_offsets(offsets, 7);
    uint8_t patch[49];
    std::memset(patch, 250, sizeof patch);
    patch[24] = 240;
    EXPECT_TRUE(ilmvSegmentTest(patch + 24, offsets, 5, 9));    // 250 > 245
    EXPECT_FALSE(ilmvSegmentTest(patch + 24, offsets, 20, 9));  // 250 > 260 never
    EXPECT_TRUE(ilmvSegmentTest(patch + 24, offsets, -300, 9)); // a negative threshold
}

// A textured frame with blobs, so corners of both polarities abound.
Bytes texture(uint32_t w, uint32_t h, uint32_t seed)
{
    std::mt19937 rng(seed);
    Bytes img(w * h);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) img[y * w + x] = static_cast<uint8_t>(((x / 5 + y / 7) % 3) * 70 + rng() % 40);
    for (int k = 0; k < 40; ++k) img[(rng() % h) * w + rng() % w] = static_cast<uint8_t>(rng() % 2 ? 255 : 0);
    return img;
}

using Detect = decltype(&lmvCornerFast9u8C);
using ScoreNms = decltype(&lmvCornerFast9Scoreu8_v2C);
using MaskedScoreNms = decltype(&lmvCornerFast9InMaskScoreu8_v2C);

TEST(FastForms, SimdFindsTheSameCornersInTheSameOrder)
{
    const struct {
        Detect c, v;
    } detectors[] = {{lmvCornerFast9u8C, lmvCornerFast9u8V}, {lmvCornerFast10u8C, lmvCornerFast10u8V}};
    for (auto [w, h] : {std::pair{64u, 40u}, std::pair{77u, 31u}, std::pair{200u, 23u}, std::pair{19u, 9u}})
        for (int barrier : {0, 10, 25, 60, 255, -5, 300})
            for (uint32_t border : {3u, 4u, 7u})
                for (const auto& d : detectors) {
                    Bytes img = texture(w, h, w * 31 + h);
                    Words a(2 * w * h, 7), b(2 * w * h, 7);
                    uint32_t na = 99, nb = 99;
                    d.c(img.data(), w, h, w, barrier, border, a.data(), w * h, &na);
                    d.v(img.data(), w, h, w, barrier, border, b.data(), w * h, &nb);
                    ASSERT_EQ(na, nb) << w << "x" << h << " barrier " << barrier;
                    ASSERT_EQ(a, b) << w << "x" << h << " barrier " << barrier;
                    if (barrier == 25 && w >= 64 && border == 3) {
                        EXPECT_GT(na, 0u);
                    }
                }
}

// Scores and suppression of both forms over sizes (the widest beyond the SIMD form's rows of
// score codes, so its reference walk runs), thresholds inside and outside the byte range,
// and capacities that cut the raw list short.
TEST(FastForms, ScoresAndSuppressionAgree)
{
    const struct {
        ScoreNms c, v;
    } forms[] = {{lmvCornerFast9Scoreu8_v2C, lmvCornerFast9Scoreu8_v2V}, {lmvCornerFast10Scoreu8C, lmvCornerFast10Scoreu8V}};
    for (auto [w, h] : {std::pair{150u, 60u}, std::pair{37u, 19u}, std::pair{4100u, 12u}})
        for (const auto& f : forms)
            for (int barrier : {-5, 0, 20, 200, 254, 255, 300})
                for (uint32_t capacity : {w * h, 50u, 1u})
                    for (uint32_t nms : {0u, 1u}) {
                        Bytes img = texture(w, h, w + 3);
                        Words xa(2 * w * h, 5), xb(2 * w * h, 5), sa(w * h, 5), sb(w * h, 5);
                        Words ta(3 * w * h + h), tb(3 * w * h + h);
                        uint32_t na = 0, nb = 0;
                        f.c(img.data(), w, h, 0, barrier, 3, xa.data(), sa.data(), capacity, &na, nms, ta.data());
                        f.v(img.data(), w, h, 0, barrier, 3, xb.data(), sb.data(), capacity, &nb, nms, tb.data());
                        const std::string at = std::to_string(w) + "x" + std::to_string(h) + " barrier " +
                                               std::to_string(barrier) + " capacity " + std::to_string(capacity);
                        ASSERT_EQ(na, nb) << at;
                        ASSERT_EQ(xa, xb) << at;
                        ASSERT_EQ(sa, sb) << at;
                    }
}

// Corners suppressed by the brute-force rule: any 8-neighbour in the list with a score >= own.
TEST(FastSuppression, EqualsTheBruteForceNeighbourModel)
{
    const uint32_t w = 120, h = 50;
    Bytes img = texture(w, h, 9);
    Words raw(2 * w * h), scores(w * h), temp(3 * w * h + h), xy(2 * w * h), kept(w * h);
    uint32_t n = 0, survivors = 0;
    lmvCornerFast9Scoreu8C(img.data(), w, h, w, 15, 3, raw.data(), scores.data(), w * h, &n);
    ASSERT_GT(n, 20u);
    lmvCornerFast9Scoreu8_v2C(img.data(), w, h, w, 15, 3, xy.data(), kept.data(), w * h, &survivors, 1, temp.data());
    Words expected;
    for (uint32_t i = 0; i < n; ++i) {
        bool suppressed = false;
        for (uint32_t j = 0; j < n && !suppressed; ++j) {
            const int dx = int(raw[2 * j]) - int(raw[2 * i]), dy = int(raw[2 * j + 1]) - int(raw[2 * i + 1]);
            suppressed = j != i && std::abs(dx) <= 1 && std::abs(dy) <= 1 && scores[j] >= scores[i];
        }
        if (!suppressed) expected.insert(expected.end(), {raw[2 * i], raw[2 * i + 1], scores[i]});
    }
    Words got;
    for (uint32_t i = 0; i < survivors; ++i) got.insert(got.end(), {xy[2 * i], xy[2 * i + 1], kept[i]});
    EXPECT_EQ(expected, got);
}

TEST(FastSuppression, EqualNeighboursBothVanish)
{
    // Two dots side by side score alike; the comparison is greater-or-equal.
    const uint32_t w = 20, h = 20;
    Bytes img(w * h, 0);
    img[10 * w + 9] = img[10 * w + 10] = 255;
    Words xy(2 * w * h), scores(w * h), temp(3 * w * h + h);
    uint32_t n = 0;
    lmvCornerFast9Scoreu8C(img.data(), w, h, w, 20, 3, xy.data(), scores.data(), w * h, &n);
    ASSERT_EQ(2u, n);
    EXPECT_EQ(scores[0], scores[1]);
    lmvCornerFast9Scoreu8_v2C(img.data(), w, h, w, 20, 3, xy.data(), scores.data(), w * h, &n, 1, temp.data());
    EXPECT_EQ(0u, n);
}

class FastEntries : public TablesTest {};

TEST_F(FastEntries, IsolatedDotScoresTwoFiftyFour)
{
    const uint32_t w = 16, h = 16;
    Bytes img(w * h, 0);
    img[8 * w + 8] = 255;
    Words xy(8), scores(4);
    uint32_t n = 0;
    lmvCornerFast9Scoreu8(img.data(), w, h, 0, 20, 0, xy.data(), scores.data(), 4, &n);
    ASSERT_EQ(1u, n);
    EXPECT_EQ(8u, xy[0]);
    EXPECT_EQ(8u, xy[1]);
    EXPECT_EQ(254u, scores[0]);
    Bytes flat(w * h, 77);
    lmvCornerFast10u8(flat.data(), w, h, 0, 20, 0, xy.data(), 4, &n);
    EXPECT_EQ(0u, n);
}

TEST_F(FastEntries, BordersCapacityAndHeightRules)
{
    const uint32_t w = 40, h = 30;
    Bytes img = texture(w, h, 1);
    Words a(2 * w * h), b(2 * w * h);
    uint32_t na = 0, nb = 0;
    for (uint32_t border : {0u, 1u, 2u}) {
        lmvCornerFast9u8(img.data(), w, h, w, 20, border, a.data(), w * h, &na);
        lmvCornerFast9u8(img.data(), w, h, w, 20, 3, b.data(), w * h, &nb);
        EXPECT_EQ(na, nb);
        EXPECT_EQ(a, b);
    }
    lmvCornerFast9u8(img.data(), w, h, w, 20, 4, a.data(), w * h, &na);
    for (uint32_t i = 0; i < na; ++i) {
        EXPECT_GE(a[2 * i], 4u);
        EXPECT_LT(a[2 * i], w - 4);
        EXPECT_GE(a[2 * i + 1], 4u);
    }
    lmvCornerFast9u8(img.data(), w, h, w, 20, 3, a.data(), 0, &na);
    EXPECT_EQ(1u, na);  // a capacity of 0 still yields the first corner
    lmvCornerFast9u8(img.data(), w, h, w, 20, 3, b.data(), 5, &nb);
    EXPECT_EQ(5u, nb);
    EXPECT_EQ(a[0], b[0]);

    // height = 2*border + 1 scans exactly one row; 2*border fails the rule.
    LogCapture log;
    nb = 12345;
    lmvCornerFast9u8(img.data(), w, 8, w, 20, 4, b.data(), w * h, &nb);
    EXPECT_EQ(12345u, nb);
    ASSERT_EQ(1u, log.lines().size());
    EXPECT_EQ("Assertion failed @lmvCornerFast9u8: src && xy && numcorners && stride >= width && border*2 < width && "
              "border*2 < height\n",
              log.lines()[0].text);
    lmvCornerFast9u8(img.data(), w, 9, w, 0, 4, b.data(), w * h, &nb);
    for (uint32_t i = 0; i < nb; ++i) EXPECT_EQ(4u, b[2 * i + 1]);
    log.clear();
    lmvCornerFast10InMasku8(img.data(), w, h, w, 20, 3, b.data(), w * h, &nb, nullptr, w, h);
    EXPECT_NE(std::string::npos, log.lines().at(0).text.find("src && xy && nCorners && mask && srcStride >= srcWidth"));
}

TEST_F(FastEntries, MaskRatios)
{
    const uint32_t w = 64, h = 48;
    Bytes img = texture(w, h, 4);
    Words all(2 * w * h), masked(2 * w * h);
    uint32_t nAll = 0, nMasked = 0;
    lmvCornerFast9u8(img.data(), w, h, w, 15, 3, all.data(), w * h, &nAll);
    ASSERT_GT(nAll, 10u);
    // Every ratio: exclude the left half of the image through the mask's own geometry.
    for (int k : {-3, -2, -1, 0, 1, 2, 3}) {
        const uint32_t mw = k >= 0 ? w << k : w >> -k, mh = k >= 0 ? h << k : h >> -k, rowBytes = (mw + 7) / 8;
        Bytes mask(rowBytes * mh, 0);
        for (uint32_t my = 0; my < mh; ++my)
            for (uint32_t mx = 0; mx < mw / 2; ++mx) mask[my * rowBytes + mx / 8] |= uint8_t(0x80 >> (mx % 8));
        lmvCornerFast9InMasku8(img.data(), w, h, w, 15, 3, masked.data(), w * h, &nMasked, mask.data(), mw, mh);
        uint32_t expected = 0;
        for (uint32_t i = 0; i < nAll; ++i) {
            const uint32_t x = all[2 * i], mx = k >= 0 ? x << k : x >> -k;
            if (mx >= mw / 2) {
                ASSERT_EQ(all[2 * i], masked[2 * expected]) << "ratio " << k;
                ++expected;
            }
        }
        EXPECT_EQ(expected, nMasked) << "ratio " << k;
        for (auto form : {lmvCornerFast9InMasku8C, lmvCornerFast9InMasku8V}) {
            Words again(2 * w * h);
            uint32_t n = 0;
            form(img.data(), w, h, w, 15, 3, again.data(), w * h, &n, mask.data(), mw, mh);
            EXPECT_EQ(nMasked, n);
        }
    }
    Bytes odd((500 / 8 + 1) * 500, 0);
    nMasked = 77;
    lmvCornerFast9InMasku8(img.data(), w, h, w, 15, 3, masked.data(), w * h, &nMasked, odd.data(), 500, 500);
    EXPECT_EQ(0u, nMasked);
}

using FastDeathTest = FastEntries;

TEST_F(FastDeathTest, NullWorkBufferWithSuppressionStops)
{
    Bytes img(32 * 32, 0);
    Words xy(64), scores(32);
    uint32_t n = 0;
    EXPECT_EXIT(lmvCornerFast9Scoreu8_v2(img.data(), 32, 32, 0, 20, 3, xy.data(), scores.data(), 32, &n, 1, nullptr),
                ::testing::ExitedWithCode(1), "");
    EXPECT_EXIT(lmvCornerFast10Scoreu8C(img.data(), 32, 32, 32, 20, 3, xy.data(), scores.data(), 32, &n, 1, nullptr),
                ::testing::ExitedWithCode(1), "");
}

TEST(FastHardStop, NamesTheFileAndLine)
{
    Bytes img(32 * 32, 0);
    Words xy(64), scores(32);
    uint32_t n = 0;
    EXPECT_EXIT(lmvCornerFast9InMaskScoreu8_v2C(img.data(), 32, 32, 32, 20, 3, xy.data(), scores.data(), 32, &n,
                                                img.data(), 32, 32, 1, nullptr),
                ::testing::ExitedWithCode(1), "src/cpu/lumivaFastC@3143: tempBuf Assertion failed");
}

#ifdef LUMIVA_WITH_OPENCV
TEST(FastOracle, NineSixteenWithoutSuppressionMatchesOpenCv)
{
    for (uint32_t seed : {1u, 2u, 3u})
        for (int barrier : {10, 20, 40}) {
            const uint32_t w = 160, h = 120;
            Bytes img = texture(w, h, seed);
            std::vector<cv::KeyPoint> keypoints;
            cv::FAST(cv::Mat(int(h), int(w), CV_8UC1, img.data()), keypoints, barrier, false, cv::FastFeatureDetector::TYPE_9_16);
            std::set<std::pair<uint32_t, uint32_t>> theirs, ours;
            for (const cv::KeyPoint& k : keypoints) theirs.insert({uint32_t(k.pt.x), uint32_t(k.pt.y)});
            Words xy(2 * w * h);
            uint32_t n = 0;
            lmvCornerFast9u8V(img.data(), w, h, w, barrier, 3, xy.data(), w * h, &n);
            for (uint32_t i = 0; i < n; ++i) ours.insert({xy[2 * i], xy[2 * i + 1]});
            EXPECT_EQ(theirs, ours) << "seed " << seed << " barrier " << barrier;
        }
}
#endif

}  // namespace
