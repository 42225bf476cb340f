// Exact results of the colour family from its fixed-point rules, round trips, the 4:2:0
// chroma rule, the argument rules, the pair hard stop, and the NEON forms of the
// conversions the generated cases cannot size (channel extraction).
#include "cpu/lumivaColorOps.h"
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"

#include <functional>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr uint32_t kW = 35;  // two 16-pixel steps and a tail of 3

using Bytes = std::vector<uint8_t>;

Bytes repeat(std::initializer_list<uint8_t> pixel, size_t count)
{
    Bytes out;
    for (size_t i = 0; i < count; ++i) out.insert(out.end(), pixel);
    return out;
}

// Expects every `bpp`-byte pixel of `image` to equal `pixel`.
void expectPixels(const Bytes& image, std::initializer_list<uint8_t> pixel, const char* what)
{
    const size_t bpp = pixel.size();
    for (size_t i = 0; i < image.size(); i += bpp)
        for (size_t k = 0; k < bpp; ++k)
            ASSERT_EQ(*(pixel.begin() + k), image[i + k]) << what << ", pixel " << i / bpp << " byte " << k;
}

TEST(ColorExact, SetAFromYCbCr)
{
    for (auto toRgb : {lmvColorYCbCr444PlanarToRGB888u8C, lmvColorYCbCr444PlanarToRGB888u8V}) {
        Bytes y(kW, 255), cb(kW, 128), cr(kW, 128), rgb(3 * kW);
        toRgb(y.data(), cb.data(), cr.data(), kW, 1, 0, 0, 0, rgb.data(), 0);
        expectPixels(rgb, {255, 255, 255}, "white");
        Bytes black(kW, 0), zero(kW, 0);
        toRgb(black.data(), cb.data(), zero.data(), kW, 1, 0, 0, 0, rgb.data(), 0);
        for (size_t i = 0; i < kW; ++i) ASSERT_EQ(0, rgb[3 * i]) << "a negative sum clamps to 0";
    }
    // (256*100 + 359*100 + 128) >> 8 = 240, (25600 - 88*-50 - 183*100 + 128) >> 8 = 46,
    // (25600 + 454*-50 + 128) >> 8 = 11, written red first; alpha 255.
    for (auto toRgba : {lmvColorYCbCr444PseudoPlanarToRGBA8888u8C, lmvColorYCbCr444PseudoPlanarToRGBA8888u8V}) {
        Bytes y(kW, 100), c = repeat({78, 228}, kW), rgba(4 * kW);
        toRgba(y.data(), c.data(), kW, 1, 0, 0, rgba.data(), 0);
        expectPixels(rgba, {240, 46, 11, 255}, "worked pixel");
    }
    // 565 with red in bits 0-4: 240 >> 3 = 30, 46 >> 2 = 11, 11 >> 3 = 1.
    for (auto to565 : {lmvColorYCbCr444PseudoPlanarToRGB565u8C, lmvColorYCbCr444PseudoPlanarToRGB565u8V}) {
        Bytes y(kW, 100), c = repeat({78, 228}, kW), out(2 * kW);
        to565(y.data(), c.data(), kW, 1, 0, 0, out.data(), 0);
        const uint16_t word = 30 | (11 << 5) | (1 << 11);
        expectPixels(out, {uint8_t(word), uint8_t(word >> 8)}, "565 word");
    }
}

TEST(ColorExact, SetAToYCbCr)
{
    // Pure red, read blue first: Y = (77*255 + 128) >> 8 = 77, Cr = 128 + 128 clamps to 255,
    // Cb = 128 + ((-43*255 + 128) >> 8) = 85.
    for (auto toYcc : {lmvColorRGB888ToYCbCr444Planaru8C, lmvColorRGB888ToYCbCr444Planaru8V}) {
        Bytes rgb = repeat({0, 0, 255}, kW), y(kW), cb(kW), cr(kW);
        toYcc(rgb.data(), kW, 1, 0, y.data(), cb.data(), cr.data(), 0, 0, 0);
        expectPixels(y, {77}, "Y");
        expectPixels(cr, {255}, "Cr");
        expectPixels(cb, {85}, "Cb");
    }
    // A 565 source widens by shifting: red field 31 is 248.
    for (auto toYcc : {lmvColorRGB565ToYCbCr444PseudoPlanaru8C, lmvColorRGB565ToYCbCr444PseudoPlanaru8V}) {
        Bytes words = repeat({0x00, 0xF8}, kW), y(kW), c(2 * kW);
        toYcc(words.data(), kW, 1, 0, y.data(), c.data(), 0, 0);
        expectPixels(y, {uint8_t((77 * 248 + 128) >> 8)}, "Y");
        expectPixels(c, {uint8_t(128 + ((-43 * 248 + 128) >> 8)), 252}, "CbCr");
    }
}

TEST(ColorExact, FourTwoZeroTakesTheTopLeftChroma)
{
    const uint32_t w = 34, h = 4;
    Bytes rgb(3 * w * h);
    std::mt19937 rng(7);
    for (auto& b : rgb) b = uint8_t(rng());
    for (auto toNv12 : {lmvColorRGB888ToYCbCr420PseudoPlanaru8C, lmvColorRGB888ToYCbCr420PseudoPlanaru8V}) {
        Bytes y1(w * h), c1(w * h / 2), y2(w * h), c2(w * h / 2);
        toNv12(rgb.data(), w, h, 0, y1.data(), c1.data(), 0, 0);
        Bytes changed = rgb;
        for (uint32_t by = 0; by < h; by += 2)
            for (uint32_t bx = 0; bx < w; bx += 2)
                for (auto [dx, dy] : {std::pair{1, 0}, std::pair{0, 1}, std::pair{1, 1}})
                    for (int k = 0; k < 3; ++k) changed[3 * ((by + dy) * w + bx + dx) + k] ^= 0x5A;
        toNv12(changed.data(), w, h, 0, y2.data(), c2.data(), 0, 0);
        EXPECT_EQ(c1, c2) << "chroma comes from the top-left pixel only";
        EXPECT_NE(y1, y2);
    }
}

TEST(ColorExact, RoundTripThroughFourFourFourStaysClose)
{
    Bytes rgb(3 * kW * 4);
    std::mt19937 rng(3);
    for (auto& b : rgb) b = uint8_t(rng());
    Bytes y(kW * 4), c(2 * kW * 4), back(rgb.size());
    lmvColorRGB888ToYCbCr444PseudoPlanaru8V(rgb.data(), kW, 4, 0, y.data(), c.data(), 0, 0);
    lmvColorYCbCr444PseudoPlanarToRGB888u8V(y.data(), c.data(), kW, 4, 0, 0, back.data(), 0);
    // Blue-first in, red-first out: pixel bytes come back reversed, within the rounding.
    for (size_t i = 0; i < rgb.size(); i += 3)
        for (int k = 0; k < 3; ++k) ASSERT_NEAR(rgb[i + k], back[i + 2 - k], 6) << i / 3;
}

TEST(ColorExact, LayoutsDecimateRepeatAndKeepLumaInPlace)
{
    const uint32_t w = 5, h = 4;
    Bytes y(w * h), cb(3 * 2), cr(3 * 2), dy(w * h), dc(2 * w * h);
    for (size_t i = 0; i < y.size(); ++i) y[i] = uint8_t(i);
    for (size_t i = 0; i < cb.size(); ++i) {
        cb[i] = uint8_t(10 + i);
        cr[i] = uint8_t(100 + i);
    }
    for (auto convert : {lmvColorYCbCr420PlanarToYCbCr444PseudoPlanaru8C, lmvColorYCbCr420PlanarToYCbCr444PseudoPlanaru8V}) {
        convert(y.data(), cb.data(), cr.data(), w, h, 0, 3, 3, dy.data(), dc.data(), 0, 0);
        EXPECT_EQ(y, dy);
        for (uint32_t r = 0; r < h; ++r)
            for (uint32_t x = 0; x < w; ++x) {
                ASSERT_EQ(cb[(r / 2) * 3 + x / 2], dc[r * 2 * w + 2 * x]) << r << "," << x;
                ASSERT_EQ(cr[(r / 2) * 3 + x / 2], dc[r * 2 * w + 2 * x + 1]) << r << "," << x;
            }
        Bytes back(w * h, 0xEE), bcb(6), bcr(6);
        lmvColorYCbCr444PseudoPlanarToYCbCr420Planaru8C(dy.data(), dc.data(), w, h, 0, 0, back.data(), bcb.data(),
                                                       bcr.data(), 0, 3, 3);
        EXPECT_EQ(cb, bcb);
        EXPECT_EQ(cr, bcr);
        Bytes inPlace = y;
        lmvColorYCbCr444PseudoPlanarToYCbCr420Planaru8C(inPlace.data(), dc.data(), w, h, 0, 0, inPlace.data(),
                                                       bcb.data(), bcr.data(), 0, 3, 3);
        EXPECT_EQ(y, inPlace);
    }
}

TEST(ColorExact, RgbFieldMoves)
{
    for (auto to888 : {lmvColorRGB565ToRGB888u8C, lmvColorRGB565ToRGB888u8V}) {
        Bytes words = repeat({0x00, 0xF8}, kW), out(3 * kW);
        to888(words.data(), kW, 1, 0, out.data(), 0);
        expectPixels(out, {0, 0, 248}, "no bit replication");
    }
    for (auto toBgra : {lmvColorRGB888ToBGRA8888u8C, lmvColorRGB888ToBGRA8888u8V}) {
        Bytes in = repeat({1, 2, 3}, kW), out(4 * kW);
        toBgra(in.data(), kW, 1, 0, out.data(), 0);
        expectPixels(out, {3, 2, 1, 255}, "first and third exchanged, alpha created");
    }
    for (auto to565 : {lmvColorRGBA8888ToBGR565u8C, lmvColorRGBA8888ToBGR565u8V}) {
        Bytes in = repeat({0xFF, 0x0F, 0x00, 9}, kW), out(2 * kW);
        to565(in.data(), kW, 1, 0, out.data(), 0);
        const uint16_t word = 0 | (3 << 5) | (31 << 11);
        expectPixels(out, {uint8_t(word), uint8_t(word >> 8)}, "narrowed by truncation");
    }
}

TEST(ColorExact, GreyHsvLabAndInterleavedYCrCb)
{
    for (auto toGrey : {lmvColorRGB888ToGrayu8C, lmvColorRGB888ToGrayu8V}) {
        Bytes in = repeat({10, 20, 30}, kW), out(kW);
        toGrey(in.data(), kW, 1, 0, out.data(), 0);
        expectPixels(out, {18}, "(195950 + 769380 + 224130 + 32768) >> 16");
    }
    struct HsvRow {
        std::initializer_list<uint8_t> rgb, hsv;
    };
    for (auto toHsv : {lmvColorRGB888ToHSV888u8C, lmvColorRGB888ToHSV888u8V})
        for (const HsvRow& row : {HsvRow{{90, 90, 90}, {0, 0, 90}}, HsvRow{{255, 0, 0}, {0, 255, 255}},
                                  HsvRow{{0, 255, 0}, {85, 255, 255}}, HsvRow{{0, 0, 255}, {170, 255, 255}}}) {
            Bytes in = repeat(row.rgb, kW), out(3 * kW);
            toHsv(in.data(), kW, 1, 0, out.data(), 0);
            expectPixels(out, row.hsv, "hsv");
        }
    for (auto toLab : {lmvColorRGBA8888ToLABu8C, lmvColorRGBA8888ToLABu8V}) {
        Bytes white = repeat({255, 255, 255, 0}, kW), red = repeat({0, 0, 255, 7}, kW), out(4 * kW);
        toLab(white.data(), kW, 1, 0, out.data(), 0);
        expectPixels(out, {100, 0, 0, 0}, "white");
        toLab(red.data(), kW, 1, 0, out.data(), 0);
        expectPixels(out, {53, 80, 67, 0}, "red, read from byte 2");
    }
    for (auto toYCrCb : {lmvColorRGB888toYCrCbu8C, lmvColorRGB888toYCrCbu8V}) {
        Bytes in = repeat({0, 0, 0}, kW), out(3 * kW);
        toYCrCb(in.data(), kW, 1, 0, out.data(), 0);
        expectPixels(out, {0, 128, 128}, "black");
    }
}

using ColorEntries = TablesTest;

TEST_F(ColorEntries, VideoRangeAndBlockDecoders)
{
    // Y 235 with neutral chroma: 298 * 219 >> 8 = 254 in every channel.
    const uint32_t w = 4, h = 2;
    Bytes yuv(w * h * 3 / 2, 128);
    std::fill(yuv.begin(), yuv.begin() + w * h, 235);
    std::vector<uint16_t> rgb565(w * h), turned(w * h);
    lmvColorYUV420toRGB565u8(yuv.data(), w, h, rgb565.data());
    const uint16_t word = 31 | (63 << 5) | (31 << 11);
    for (uint16_t px : rgb565) EXPECT_EQ(word, px);
    yuv[0] = 16;  // the top-left pixel turns black, and lands bottom-right when turned
    lmvColorYUV420toRGB565u8Rotate180C(yuv.data(), w, h, turned.data());
    EXPECT_EQ(0, turned[w * h - 1]);
    EXPECT_EQ(word, turned[0]);

    Bytes ycrcb(w * h + w * h / 2, 128), rgba(4 * w * h);
    std::fill(ycrcb.begin(), ycrcb.begin() + w * h, 235);
    lmvColorYCrCb420PseudoPlanarToRGB8888u8(ycrcb.data(), w, h, w, w, rgba.data(), 4 * w);
    expectPixels(rgba, {254, 254, 254, 255}, "(219 * 1192) >> 10");

    // One 8x8 block: Y 100 and chroma 128 gives c2 = 1 and R = 101, G = 99, B = 101.
    Bytes block(192, 128), out(8 * 8 * 3);
    std::fill(block.begin(), block.begin() + 64, 100);
    lmvColorYCrCbH1V1toRGB888u8(block.data(), 8, 8, out.data());
    expectPixels(out, {101, 99, 101}, "H1V1");
}

TEST(ColorExact, Tables)
{
    EXPECT_EQ(0u, OneByxLUT[0]);
    EXPECT_EQ(65536u, OneByxLUT[1]);
    EXPECT_EQ(21845u, OneByxLUT[3]);
    EXPECT_EQ(257u, OneByxLUT[255]);
    EXPECT_EQ(16384, POW2DOT4TABLE2[255]);
    EXPECT_EQ(0, POW1O3TABLE[0]);
    EXPECT_EQ(16384, POW1O3TABLE[256]);
    EXPECT_EQ(16384, POW1O3TABLE[257]);
}

TEST(ColorChannels, ExtractEveryFormatAndBothForms)
{
    const uint32_t w = 38, h = 4;
    Bytes p1(4 * w * h), p2(w * h), p3(w * h);
    std::mt19937 rng(11);
    for (Bytes* p : {&p1, &p2, &p3})
        for (auto& b : *p) b = uint8_t(rng());
    struct Row {
        int32_t format, channel;
        uint32_t stride1;
        std::function<uint8_t(uint32_t, uint32_t)> expected;  // at (x, y) of the output
        uint32_t outW, outH;
    };
    const Row rows[] = {
        {LUMIVA_FORMAT_RGB888, LUMIVA_CHANNEL_B, 3 * w, [&](uint32_t x, uint32_t y) { return p1[y * 3 * w + 3 * x + 2]; }, w, h},
        {LUMIVA_FORMAT_RGBA8888, LUMIVA_CHANNEL_A, 4 * w, [&](uint32_t x, uint32_t y) { return p1[y * 4 * w + 4 * x + 3]; }, w, h},
        {LUMIVA_FORMAT_NV12, LUMIVA_CHANNEL_V, w, [&](uint32_t x, uint32_t y) { return p2[y * w + 2 * x + 1]; }, w / 2, h / 2},
        {LUMIVA_FORMAT_NV21, LUMIVA_CHANNEL_1, w, [&](uint32_t x, uint32_t y) { return p2[y * w + 2 * x + 1]; }, w / 2, h / 2},
        {LUMIVA_FORMAT_UYVY, LUMIVA_CHANNEL_Y, 2 * w, [&](uint32_t x, uint32_t y) { return p1[y * 2 * w + 2 * x + 1]; }, w, h},
        {LUMIVA_FORMAT_YUYV, LUMIVA_CHANNEL_V, 2 * w, [&](uint32_t x, uint32_t y) { return p1[y * 2 * w + 4 * x + 3]; }, w / 2, h},
        {LUMIVA_FORMAT_IYUV, LUMIVA_CHANNEL_U, w, [&](uint32_t x, uint32_t y) { return p2[y * (w / 2) + x]; }, w / 2, h / 2},
        {LUMIVA_FORMAT_YUV4, LUMIVA_CHANNEL_2, w, [&](uint32_t x, uint32_t y) { return p3[y * w + x]; }, w, h},
    };
    for (const Row& row : rows)
        for (auto extract : {lmvChannelExtractu8C, lmvChannelExtractu8V}) {
            Bytes out(w * h, 0xCC);
            const uint32_t s2 = row.format == LUMIVA_FORMAT_IYUV ? w / 2 : w;
            extract(p1.data(), p2.data(), p3.data(), w, h, row.stride1, s2, s2, row.format, row.channel, out.data(), w);
            for (uint32_t y = 0; y < row.outH; ++y)
                for (uint32_t x = 0; x < row.outW; ++x)
                    ASSERT_EQ(row.expected(x, y), out[y * w + x]) << "format " << row.format << " at " << x << "," << y;
        }
}

TEST_F(TablesTest, ColorRulesLogTheirText)
{
    LogCapture log;
    Bytes buf(64);
    lmvColorRGB888ToGrayu8(nullptr, 4, 1, 0, buf.data(), 0);
    lmvChannelExtractu8(buf.data(), nullptr, nullptr, 4, 2, 12, 0, 0, LUMIVA_FORMAT_RGB888, LUMIVA_CHANNEL_A,
                        buf.data(), 4);
    lmvColorRGB888toYCrCbu8(buf.data(), 0, 1, buf.data());
    ASSERT_EQ(3u, log.lines().size());
    EXPECT_EQ("Assertion failed @lmvColorRGB888ToGrayu8: src && srcWidth && srcHeight && (srcStride ==0 || srcStride >= "
              "srcWidth*3) && dst && (dstStride ==0 || dstStride >= srcWidth)\n",
              log.lines()[0].text);
    EXPECT_NE(std::string::npos, log.lines()[1].text.find("@lmvChannelExtractu8: (srcStride >= srcWidth*3)"));
    EXPECT_EQ("Assertion failed @lmvColorRGB888toYCrCbu8: src && dst && width && height\n", log.lines()[2].text);
}

using ColorDeathTest = TablesTest;

TEST_F(ColorDeathTest, WidthOneStopsThePairKernels)
{
    Bytes y(4), c(4), rgb(12);
    EXPECT_EXIT(lmvColorYCbCr420PseudoPlanarToRGB888u8C(y.data(), c.data(), 1, 2, 1, 2, rgb.data(), 3),
                ::testing::ExitedWithCode(1), "");
    EXPECT_EXIT(lmvColorRGB888ToYCbCr420PseudoPlanaru8V(rgb.data(), 1, 2, 3, y.data(), c.data(), 1, 2),
                ::testing::ExitedWithCode(1), "");
}

// The grey rule has one exact value per colour, and the NEON form reaches it by a split of
// the coefficients whose carries are easy to get wrong: every colour, both forms.
TEST(ColorExact, GreyOfEveryColour)
{
    const uint32_t w = 4096, h = 16;  // one red value per image: 256 x 256 (green, blue) pairs
    Bytes rgb(3 * w * h), c(w * h), v(w * h);
    for (int red = 0; red < 256; ++red) {
        for (uint32_t k = 0; k < w * h; ++k) {
            rgb[3 * k] = uint8_t(red);
            rgb[3 * k + 1] = uint8_t(k >> 8);
            rgb[3 * k + 2] = uint8_t(k);
        }
        lmvColorRGB888ToGrayu8C(rgb.data(), w, h, 0, c.data(), 0);
        lmvColorRGB888ToGrayu8V(rgb.data(), w, h, 0, v.data(), 0);
        for (uint32_t k = 0; k < w * h; ++k)
            ASSERT_EQ((19595 * red + 38469 * int(k >> 8) + 7471 * int(k & 255) + 32768) >> 16, c[k]) << k;
        ASSERT_EQ(c, v) << "red " << red;
    }
}

TEST_F(TablesTest, FourTwoZeroPseudoPlanarReturnsTheHeight)
{
    const uint32_t w = 6, h = 4;
    Bytes rgb(3 * w * h, 90), y(w * h), c(w * h / 2);
    for (auto form : {lmvColorRGB888ToYCbCr420PseudoPlanaru8C, lmvColorRGB888ToYCbCr420PseudoPlanaru8V})
        EXPECT_EQ(h, form(rgb.data(), w, h, 0, y.data(), c.data(), 0, 0));
    EXPECT_EQ(h, lmvColorRGB888ToYCbCr420PseudoPlanaru8(rgb.data(), w, h, 0, y.data(), c.data(), 0, 0));
}

TEST_F(TablesTest, OddWidthChromaRowsOfFourTwoZeroAreLeftUnwritten)
{
    const uint32_t w = 5, h = 2;
    Bytes rgb(3 * w * h, 50), y(w * h, 0xEE), c(w + 1, 0xEE);
    lmvColorRGB888ToYCbCr420PseudoPlanaru8(rgb.data(), w, h, 0, y.data(), c.data(), 0, w + 1);
    for (uint32_t x = 0; x < w; ++x) {
        EXPECT_EQ(0xEE, y[x]);  // the even row: nothing
        EXPECT_NE(0xEE, y[w + x]);  // the odd row: Y only
    }
    for (uint8_t b : c) EXPECT_EQ(0xEE, b);
}

}  // namespace

namespace {

// The video-range decoders take whole frames without strides, so the generated cases do
// not size them; the same comparison of both forms, written out.
TEST(ColorSimdMatches, VideoRangeDecoders)
{
    std::mt19937 rng(21);
    for (uint32_t w = 2; w <= 72; w += 2)
        for (uint32_t h : {2u, 4u}) {
            Bytes frame(w * h * 3 / 2);
            for (auto& b : frame) b = uint8_t(rng());
            Bytes a(4 * w * h, 1), b(4 * w * h, 1);
            lmvColorYCrCb420PseudoPlanarToRGB8888u8C(frame.data(), w, h, w, w, a.data(), 4 * w);
            lmvColorYCrCb420PseudoPlanarToRGB8888u8V(frame.data(), w, h, w, w, b.data(), 4 * w);
            ASSERT_EQ(a, b) << "YCrCb to RGBA " << w << "x" << h;
            lmvColorYUV420toRGB8888u8C(frame.data(), w, h, a.data());
            lmvColorYUV420toRGB8888u8V(frame.data(), w, h, b.data());
            ASSERT_EQ(a, b) << "YUV to RGBA " << w << "x" << h;
            std::vector<uint16_t> c(w * h, 1), d(w * h, 1);
            lmvColorYUV420toRGB565u8C(frame.data(), w, h, c.data());
            lmvColorYUV420toRGB565u8V(frame.data(), w, h, d.data());
            ASSERT_EQ(c, d) << "YUV to 565 " << w << "x" << h;
            lmvColorYUV420toRGB565u8Rotate180C(frame.data(), w, h, c.data());
            lmvColorYUV420toRGB565u8Rotate180V(frame.data(), w, h, d.data());
            ASSERT_EQ(c, d) << "YUV to 565 turned " << w << "x" << h;
        }
}

TEST(ColorSimdMatches, BlockDecoders)
{
    using Decoder = void (*)(const uint8_t*, uint32_t, uint32_t, uint8_t*);
    struct Row {
        Decoder c, v;
        uint32_t unitW, unitH, unitBytes;
    };
    const Row rows[] = {{lmvColorYCrCbH1V1toRGB888u8C, lmvColorYCrCbH1V1toRGB888u8V, 8, 8, 192},
                        {lmvColorYCrCbH2V1toRGB888u8C, lmvColorYCrCbH2V1toRGB888u8V, 16, 8, 256},
                        {lmvColorYCrCbH1V2toRGB888u8C, lmvColorYCrCbH1V2toRGB888u8V, 8, 16, 256},
                        {lmvColorYCrCbH2V2toRGB888u8C, lmvColorYCrCbH2V2toRGB888u8V, 16, 16, 384}};
    std::mt19937 rng(5);
    for (const Row& row : rows)
        for (uint32_t w : {8u, 16u, 21u, 48u})
            for (uint32_t h : {8u, 13u, 32u}) {
                const uint32_t units = ((w + row.unitW - 1) / row.unitW) * ((h + row.unitH - 1) / row.unitH);
                Bytes src(units * row.unitBytes);
                for (auto& b : src) b = uint8_t(rng());
                Bytes a(3 * w * h, 1), b(3 * w * h, 1);
                row.c(src.data(), w, h, a.data());
                row.v(src.data(), w, h, b.data());
                ASSERT_EQ(a, b) << w << "x" << h << " unit " << row.unitW << "x" << row.unitH;
            }
}

}  // namespace

namespace {

// Layout conversions read the resampling row pointers on every call; two threads
// converting at once must share nothing that a call writes.
using ColorConcurrent = TablesTest;

TEST_F(ColorConcurrent, LayoutConversionsFromSeveralThreads)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            const uint32_t w = 48, h = 8;
            Bytes y(w * h, uint8_t(t)), c(w * h / 2, uint8_t(40 + t)), outY(w * h), outU(w * h / 4), outV(w * h / 4);
            for (int round = 0; round < 20; ++round) {
                lmvColorYCbCr420PseudoPlanarToYCbCr420Planaru8(y.data(), c.data(), w, h, 0, 0, outY.data(),
                                                               outU.data(), outV.data(), 0, 0, 0);
                ASSERT_EQ(uint8_t(40 + t), outU[round]);
            }
        });
    for (auto& th : threads) th.join();
}

}  // namespace
