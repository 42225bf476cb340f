// The codebook background model: the first codewords and their learn bounds, the
// classification tolerances, stale pruning, and a moving object whose foreground area is known.
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"

#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

class CodeBook : public TablesTest {
protected:
    void SetUp() override
    {
        TablesTest::SetUp();
        map = lmvCreateBGCodeBookModel(w, h, &model);
        ASSERT_NE(nullptr, map);
    }
    void TearDown() override
    {
        lmvReleaseBGCodeBookModel(&model);
        EXPECT_EQ(nullptr, model);
        TablesTest::TearDown();
    }
    size_t listLength(uint32_t x, uint32_t y) const
    {
        size_t n = 0;
        for (const lmvBGCodeWord* c = map[y * w + x]; c; c = c->next) ++n;
        return n;
    }
    Bytes frame(uint8_t value) const { return Bytes(3 * w * h, value); }

    const uint32_t w = 24, h = 16;
    lmvBGCodeBookModel* model = nullptr;
    lmvBGCodeWord** map = nullptr;
};

TEST_F(CodeBook, FirstUpdateMakesOneCodewordPerLearntPixel)
{
    Bytes img = frame(100), mask(w * h, 1);
    img[0] = 255;  // pixel 0, channel 0
    img[1] = 3;
    mask[5] = 0;   // no learning at pixel 5
    int32_t t = 0;
    lmvBGCodeBookUpdateu8(model, img.data(), w, h, 0, mask.data(), 0, map, &t);
    EXPECT_EQ(1, t);
    for (uint32_t i = 0; i < w * h; ++i) EXPECT_EQ(i == 5 ? 0u : 1u, listLength(i % w, i / w)) << i;
    const lmvBGCodeWord* c = map[0];
    EXPECT_EQ(245, c->learnMin[0]);
    EXPECT_EQ(255, c->learnMax[0]);  // clamped
    EXPECT_EQ(0, c->learnMin[1]);
    EXPECT_EQ(13, c->learnMax[1]);
    EXPECT_EQ(90, c->learnMin[2]);
    EXPECT_EQ(255, c->boxMin[0]);
    EXPECT_EQ(255, c->boxMax[0]);
    // A close value widens the same codeword and its learn bounds by one step.
    Bytes near = frame(104);
    lmvBGCodeBookUpdateu8(model, near.data(), w, h, 0, nullptr, 0, map, &t);
    EXPECT_EQ(2, t);
    const lmvBGCodeWord* d = map[w + 1];
    EXPECT_EQ(1u, listLength(1, 1));
    EXPECT_EQ(100, d->boxMin[0]);
    EXPECT_EQ(104, d->boxMax[0]);
    EXPECT_EQ(111, d->learnMax[0]);
    EXPECT_EQ(90, d->learnMin[0]);  // the low bound of 104 is 94: 90 is already below it
}

TEST_F(CodeBook, DiffUsesTheBoxesWidenedByTheTolerances)
{
    Bytes img = frame(100);
    int32_t t = 0;
    lmvBGCodeBookUpdateu8(model, img.data(), w, h, 0, nullptr, 0, map, &t);
    struct Row {
        uint8_t p0, p1, p2;
        uint8_t expected;
    };
    const Row rows[] = {{97, 100, 100, 0},  {96, 100, 100, 255}, {110, 100, 100, 0}, {111, 100, 100, 255},
                        {100, 99, 101, 0},  {100, 98, 100, 255}, {100, 100, 102, 255}};
    for (const Row& row : rows) {
        Bytes probe(3 * w * h);
        for (size_t i = 0; i < probe.size(); i += 3) {
            probe[i] = row.p0;
            probe[i + 1] = row.p1;
            probe[i + 2] = row.p2;
        }
        Bytes mask(w * h, 7);
        uint32_t count = 0;
        lmvBGCodeBookDiffu8(model, probe.data(), w, h, 0, mask.data(), 0, map, &count);
        EXPECT_EQ(row.expected, mask[0]) << int(row.p0) << "," << int(row.p1) << "," << int(row.p2);
        EXPECT_EQ(row.expected ? w * h : 0u, count);
    }
}

TEST_F(CodeBook, ClearStaleMinusOneRemovesEveryCodewordAndTheyAreReused)
{
    Bytes a = frame(50), b = frame(200), mask(w * h, 1);
    int32_t t = 0;
    lmvBGCodeBookUpdateu8(model, a.data(), w, h, 0, nullptr, 0, map, &t);
    lmvBGCodeBookUpdateu8(model, b.data(), w, h, 0, nullptr, 0, map, &t);
    EXPECT_EQ(2u, listLength(3, 3));
    EXPECT_EQ(1, map[3 * w + 3]->next->stale);  // the first codeword was not seen in frame 2
    lmvBGCodeBookClearStaleu8(model, 0, mask.data(), w, h, 0, map);
    EXPECT_EQ(1u, listLength(3, 3));  // stale 1 > 0 pruned, stale 0 kept
    lmvBGCodeBookClearStaleu8(model, -1, mask.data(), w, h, 0, map);
    EXPECT_EQ(0u, listLength(3, 3));
    lmvBGCodeBookUpdateu8(model, a.data(), w, h, 0, nullptr, 0, map, &t);
    EXPECT_EQ(1u, listLength(3, 3));
}

TEST_F(CodeBook, MovingObjectForegroundArea)
{
    // A textured background learnt over a few frames, then a 5x4 object of a colour never seen.
    Bytes background(3 * w * h);
    for (size_t i = 0; i < background.size(); ++i) background[i] = uint8_t((i * 37) % 200 + 20);
    int32_t t = 0;
    for (int k = 0; k < 5; ++k) lmvBGCodeBookUpdateu8(model, background.data(), w, h, 0, nullptr, 0, map, &t);
    for (uint32_t shift : {0u, 3u, 7u}) {
        Bytes scene = background;
        for (uint32_t y = 4; y < 8; ++y)
            for (uint32_t x = 2 + shift; x < 7 + shift; ++x)
                for (int c = 0; c < 3; ++c) scene[3 * (y * w + x) + c] = uint8_t(c == 0 ? 250 : 5);
        Bytes mask(w * h);
        uint32_t count = 0;
        lmvBGCodeBookDiffu8(model, scene.data(), w, h, 0, mask.data(), 0, map, &count);
        EXPECT_EQ(20u, count) << "shift " << shift;
        EXPECT_EQ(255, mask[5 * w + 3 + shift]);
        EXPECT_EQ(0, mask[0]);
    }
}

TEST_F(CodeBook, RulesLogTheirText)
{
    LogCapture log;
    Bytes img = frame(1);
    int32_t t = 0;
    lmvBGCodeBookUpdateu8(model, img.data(), w, h, w, nullptr, 0, map, &t);
    EXPECT_EQ("Assertion failed @lmvBGCodeBookUpdateu8: cbmodel && src && cbMap && srcStride >= srcWidth*3\n",
              log.lines().at(0).text);
    uint32_t count = 5;
    lmvBGCodeBookDiffu8(model, img.data(), w, h, 0, nullptr, 0, map, &count);
    EXPECT_EQ(5u, count);
    EXPECT_EQ("Assertion failed @lmvBGCodeBookDiffu8: cbmodel && src && fgMask && cbMap && srcStride >= srcWidth*3\n",
              log.lines().at(1).text);
    lmvConfigBGCodeBookModel(nullptr, img.data(), img.data(), img.data());  // ignored
}

}  // namespace

namespace {

// Frames larger than the model: the pixels it has no lists for learn nothing, stay
// foreground and are counted so; nothing is written past the model's map.
TEST_F(CodeBook, FramesLargerThanTheModelKeepToItsMap)
{
    const uint32_t bigW = w + 9, bigH = h + 5;
    Bytes big(3 * bigW * bigH, 80), mask(bigW * bigH, 1);
    int32_t t = 0;
    lmvBGCodeBookUpdateu8(model, big.data(), bigW, bigH, 0, nullptr, 0, map, &t);
    uint32_t count = 0;
    lmvBGCodeBookDiffu8(model, big.data(), bigW, bigH, 0, mask.data(), 0, map, &count);
    EXPECT_EQ(bigW * bigH - w * h, count);
    EXPECT_EQ(0, mask[(h - 1) * bigW + w - 1]);
    EXPECT_EQ(255, mask[(h - 1) * bigW + w]);
    EXPECT_EQ(255, mask[h * bigW]);
    lmvBGCodeBookClearStaleu8(model, -1, mask.data(), bigW, bigH, 0, map);
    EXPECT_EQ(1u, listLength(w - 1, h - 1));  // background there: the mask kept it
}

}  // namespace
