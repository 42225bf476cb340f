// Image analysis: OpenCV as the oracle for integrals, histograms, statistics, extremes and
// moments; worked values for this library's own choices (the float order of the extremes, the
// one-value equalisation, the cells of the spatial histogram); the refusals.
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using Bytes = std::vector<uint8_t>;

Bytes noise(uint32_t w, uint32_t h, uint32_t seed, uint32_t range = 256)
{
    std::mt19937 rng(seed);
    Bytes b(size_t(w) * h);
    for (uint8_t& v : b) v = uint8_t(rng() % range);
    return b;
}

class AnalysisEntries : public TablesTest {};

#ifdef LUMIVA_WITH_OPENCV

template <class T>
cv::Mat wrap(std::vector<T>& v, uint32_t w, uint32_t h, int type)
{
    return cv::Mat(int(h), int(w), type, v.data());
}

double worstDifference(const cv::Mat& a, const cv::Mat& b)
{
    cv::Mat x, y, d;
    a.convertTo(x, CV_64F);
    b.convertTo(y, CV_64F);
    cv::absdiff(x, y, d);
    double worst;
    cv::minMaxLoc(d, nullptr, &worst);
    return worst;
}

// Exact: integrals (sum, squares in 32 and 64 bits, tilted, 4:2:0 planes, patches, scaled
// patches, streaming rows), histogram, equalisation, extremes and the bounding rectangle.
TEST_F(AnalysisEntries, IntegralsHistogramsAndExtremesEqualOpenCV)
{
    for (auto [w, h] : {std::make_pair(64u, 48u), std::make_pair(37u, 29u), std::make_pair(203u, 7u)}) {
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        Bytes src = noise(w, h, w * h);
        const cv::Mat s = wrap(src, w, h, CV_8U);
        cv::Mat sum, sq, tilted;
        cv::integral(s, sum, sq, tilted, CV_32S, CV_64F);

        std::vector<uint32_t> ours((w + 1) * (h + 1)), oursSq((w + 1) * (h + 1));
        std::vector<uint64_t> ours64((w + 1) * (h + 1));
        std::vector<int32_t> oursTilted((w + 1) * (h + 1));
        lmvIntegrateImageu8(src.data(), w, h, ours.data());
        EXPECT_EQ(0, worstDifference(wrap(ours, w + 1, h + 1, CV_32S), sum));
        lmvIntegrateImageu8u64(src.data(), w, h, w, ours64.data(), 0);
        cv::Mat sq64(int(h + 1), int(w + 1), CV_64F);
        for (size_t i = 0; i < ours64.size(); ++i) sq64.at<double>(int(i)) = double(ours64[i]);
        EXPECT_EQ(0, worstDifference(sq64, sq));
        lmvTiltedIntegralu8s32(src.data(), w, h, w, oursTilted.data(), 0);
        EXPECT_EQ(0, worstDifference(wrap(oursTilted, w + 1, h + 1, CV_32S), tilted));
        // The streaming rows rebuild the whole integral band by band.
        for (uint32_t y = 0; y < h; ++y)
            lmvIntegrateImageLineu8(src.data() + y * w, w, y ? ours.data() + y * (w + 1) : nullptr,
                                    y ? oursSq.data() + y * (w + 1) : nullptr, ours.data() + (y + 1) * (w + 1),
                                    oursSq.data() + (y + 1) * (w + 1));
        EXPECT_EQ(0, worstDifference(wrap(ours, w + 1, h + 1, CV_32S), sum));
        EXPECT_EQ(0, worstDifference(wrap(oursSq, w + 1, h + 1, CV_32S), sq));

        // Patches and scaled patches against the integral of the region (resized by nearest).
        const cv::Rect patch(3, 2, std::min(w - 3, 19u), std::min(h - 2, 12u));
        for (auto [sw, sh] : {std::make_pair(uint32_t(patch.width), uint32_t(patch.height)), std::make_pair(11u, 5u),
                              std::make_pair(30u, 17u)}) {
            cv::Mat region, pSum, pSq;
            cv::resize(s(patch), region, cv::Size(int(sw), int(sh)), 0, 0, cv::INTER_NEAREST);
            cv::integral(region, pSum, pSq, CV_32S, CV_64F);
            std::vector<uint32_t> a((sw + 1) * (sh + 1)), b((sw + 1) * (sh + 1));
            EXPECT_EQ(LUMIVA_SUCCESS, lmvIntegratePatchu8_v3(src.data(), w, h, w, 3, 2, patch.width, patch.height, sw,
                                                             sh, a.data(), b.data(), 0));
            EXPECT_EQ(0, worstDifference(wrap(a, sw + 1, sh + 1, CV_32S), pSum)) << sw << "x" << sh;
            EXPECT_EQ(0, worstDifference(wrap(b, sw + 1, sh + 1, CV_32S), pSq)) << sw << "x" << sh;
        }

        cv::Mat hist;
        const int channels[] = {0}, bins[] = {256};
        const float range[] = {0, 256};
        const float* ranges[] = {range};
        cv::calcHist(&s, 1, channels, cv::Mat(), hist, 1, bins, ranges);
        std::vector<uint32_t> counts(256);
        lmvImageIntensityHistogram(src.data(), w, h, w, counts.data());
        for (int v = 0; v < 256; ++v) EXPECT_EQ(hist.at<float>(v), float(counts[v])) << v;

        for (uint32_t range : {256u, 40u}) {  // a narrow range leaves the low bins empty
            Bytes narrow = noise(w, h, w + range, range);
            for (uint8_t& v : narrow) v = uint8_t(v + 100);
            Bytes equalized(narrow.size());
            cv::Mat expected;
            cv::equalizeHist(wrap(narrow, w, h, CV_8U), expected);
            lmvImageHistogramEqualizeu8(narrow.data(), w, h, w, equalized.data(), w);
            EXPECT_EQ(0, worstDifference(wrap(equalized, w, h, CV_8U), expected)) << range;
        }

        double lo, hi;
        cv::Point minAt, maxAt;
        cv::minMaxLoc(s, &lo, &hi, &minAt, &maxAt);
        uint8_t minVal, maxVal;
        uint32_t loc[4];
        lmvMinMaxLocu8(src.data(), w, h, w, &minVal, &maxVal, loc, loc + 1, loc + 2, loc + 3);
        EXPECT_EQ(lo, minVal);
        EXPECT_EQ(hi, maxVal);
        EXPECT_EQ(minAt, cv::Point(int(loc[0]), int(loc[1])));
        EXPECT_EQ(maxAt, cv::Point(int(loc[2]), int(loc[3])));
        // Every location of the extremes, in raster order: findNonZero's order.
        std::vector<uint32_t> minList(2 * 64), maxList(2 * 64);
        uint32_t minCount = 0, maxCount = 0;
        EXPECT_EQ(LUMIVA_SUCCESS, lmvMinMaxLocu8_v2(src.data(), w, h, w, &minVal, &maxVal, minList.data(), 64, &minCount,
                                                    maxList.data(), 64, &maxCount));
        std::vector<cv::Point> where;
        cv::findNonZero(s == hi, where);
        ASSERT_EQ(where.size(), maxCount);
        for (size_t i = 0; i < std::min<size_t>(where.size(), 64); ++i)
            EXPECT_EQ(where[i], cv::Point(int(maxList[2 * i]), int(maxList[2 * i + 1])));

        // Points of the frame above the median: their bounding rectangle.
        std::vector<uint32_t> xy;
        std::vector<cv::Point> points;
        for (uint32_t i = 0; i < w * h; i += 7)
            if (src[i] > 200) xy.push_back(i % w), xy.push_back(i / w), points.emplace_back(i % w, i / w);
        uint32_t box[4];
        lmvBoundingRectangle(xy.data(), uint32_t(points.size()), box, box + 1, box + 2, box + 3);
        const cv::Rect r = cv::boundingRect(points);
        EXPECT_EQ(cv::Rect(int(box[0]), int(box[1]), int(box[2] - box[0] + 1), int(box[3] - box[1] + 1)), r);
    }
}

// The wider types, each through the image type OpenCV reads it as (u32 through a double copy).
TEST_F(AnalysisEntries, ExtremesOfEveryTypeEqualOpenCV)
{
    const uint32_t w = 45, h = 17;
    std::mt19937 rng(5);
    std::vector<int16_t> s16(w * h);
    std::vector<uint16_t> u16(w * h);
    std::vector<int32_t> s32(w * h);
    std::vector<uint32_t> u32(w * h);
    std::vector<float> f32(w * h);
    for (size_t i = 0; i < s16.size(); ++i) {
        s16[i] = int16_t(rng()), u16[i] = uint16_t(rng()), s32[i] = int32_t(rng()), u32[i] = rng();
        f32[i] = float(int32_t(rng() % 20001) - 10000) / 7.0f;
    }
    auto check = [&](const cv::Mat& m, double minVal, double maxVal, const uint32_t* loc, const char* what) {
        double lo, hi;
        cv::Point minAt, maxAt;
        cv::minMaxLoc(m, &lo, &hi, &minAt, &maxAt);
        EXPECT_EQ(lo, minVal) << what;
        EXPECT_EQ(hi, maxVal) << what;
        EXPECT_EQ(minAt, cv::Point(int(loc[0]), int(loc[1]))) << what;
        EXPECT_EQ(maxAt, cv::Point(int(loc[2]), int(loc[3]))) << what;
    };
    uint32_t loc[4];
    int16_t a, b;
    lmvMinMaxLocs16(s16.data(), w, h, 2 * w, &a, &b, loc, loc + 1, loc + 2, loc + 3);
    check(wrap(s16, w, h, CV_16S), a, b, loc, "s16");
    uint16_t c, d;
    lmvMinMaxLocu16(u16.data(), w, h, 2 * w, &c, &d, loc, loc + 1, loc + 2, loc + 3);
    check(wrap(u16, w, h, CV_16U), c, d, loc, "u16");
    int32_t e, f;
    lmvMinMaxLocs32(s32.data(), w, h, 4 * w, &e, &f, loc, loc + 1, loc + 2, loc + 3);
    check(wrap(s32, w, h, CV_32S), e, f, loc, "s32");
    uint32_t g, k;
    lmvMinMaxLocu32(u32.data(), w, h, 4 * w, &g, &k, loc, loc + 1, loc + 2, loc + 3);
    cv::Mat asDouble(int(h), int(w), CV_64F);
    for (size_t i = 0; i < u32.size(); ++i) asDouble.at<double>(int(i)) = u32[i];
    check(asDouble, g, k, loc, "u32");
    float p, q;
    lmvMinMaxLocf32(f32.data(), w, h, 4 * w, &p, &q, loc, loc + 1, loc + 2, loc + 3);
    check(wrap(f32, w, h, CV_32F), p, q, loc, "f32");
}

// Statistics from exact sums: the mean and the variance within float rounding of OpenCV's.
TEST_F(AnalysisEntries, StatisticsAndMomentsAgreeWithOpenCV)
{
    const uint32_t w = 97, h = 61;
    Bytes src = noise(w, h, 9);
    const cv::Mat s = wrap(src, w, h, CV_8U);
    cv::Scalar mean, dev;
    cv::meanStdDev(s(cv::Rect(5, 3, 80, 50)), mean, dev);
    float m = 0, v = 0;
    lmvImageIntensityStats(src.data(), w, h, w, 5, 3, 80, 50, &m, &v);
    EXPECT_NEAR(mean[0], m, 1e-5 * mean[0]);
    EXPECT_NEAR(dev[0] * dev[0], v, 1e-5 * v);
    float sample = 0;
    EXPECT_EQ(LUMIVA_SUCCESS, lmvImageIntensityStats_v2(src.data(), w, h, w, 5, 3, 80, 50, 1, &m, &sample));
    EXPECT_NEAR(v * 4000.0 / 3999.0, sample, 1e-5 * v);

    // Grey and binary bytes, s32 and f32 images: the ten raw moments within 1e-6.
    Bytes binary(src.size());
    for (size_t i = 0; i < src.size(); ++i) binary[i] = src[i] > 128 ? 255 : 0;
    std::vector<int32_t> s32(src.begin(), src.end());
    std::vector<float> f32(src.size());
    for (size_t i = 0; i < f32.size(); ++i) f32[i] = float(src[i]) * 0.37f - 20.0f;
    auto check = [](const cv::Moments& cvm, const float* ours, const char* what) {
        const double expected[10] = {cvm.m00, cvm.m10, cvm.m01, cvm.m20, cvm.m11,
                                     cvm.m02, cvm.m30, cvm.m21, cvm.m12, cvm.m03};
        for (int k = 0; k < 10; ++k) EXPECT_NEAR(expected[k], ours[k], 1e-6 * std::fabs(expected[k])) << what << k;
    };
    float moments[10];
    lmvImageMomentsu8(src.data(), w, h, w, moments);
    check(cv::moments(s), moments, "grey");
    lmvImageMomentsu8(binary.data(), w, h, w, moments);
    check(cv::moments(wrap(binary, w, h, CV_8U)), moments, "binary");
    lmvImageMomentss32(s32.data(), w, h, 4 * w, moments);
    check(cv::moments(s), moments, "s32");
    lmvImageMomentsf32(f32.data(), w, h, 4 * w, moments);
    check(cv::moments(wrap(f32, w, h, CV_32F)), moments, "f32");
}

#endif  // LUMIVA_WITH_OPENCV

// The SIMD forms at rows long enough for every vector step: the generated sweep's images are
// narrow.
TEST_F(AnalysisEntries, WideRowsGiveTheReferenceResults)
{
    for (uint32_t w : {1920u, 333u, 4099u}) {
        const uint32_t h = 5;
        Bytes src = noise(w, h, w);
        float a[10], b[10];
        lmvImageMomentsu8C(src.data(), w, h, w, a);
        lmvImageMomentsu8V(src.data(), w, h, w, b);
        EXPECT_EQ(0, std::memcmp(a, b, sizeof a)) << w;
        std::vector<uint32_t> x((w + 1) * (h + 1)), y((w + 1) * (h + 1));
        lmvIntegrateImageu8_v2C(src.data(), w, h, w, x.data(), 0);
        lmvIntegrateImageu8_v2V(src.data(), w, h, w, y.data(), 0);
        EXPECT_EQ(x, y) << w;
        float m[2], v[2];
        lmvImageIntensityStatsC(src.data(), w, h, w, 1, 1, w - 1, h - 1, m, v);
        lmvImageIntensityStatsV(src.data(), w, h, w, 1, 1, w - 1, h - 1, m + 1, v + 1);
        EXPECT_EQ(m[0], m[1]);
        EXPECT_EQ(v[0], v[1]);
    }
}

// The float order: -0 below +0, NaN skipped, an image of NaN gives NaN at (0, 0).
TEST_F(AnalysisEntries, FloatExtremesFollowTheirOrderInBothForms)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<float> row = {nan, 0.0f, 3.0f, -0.0f, 3.0f, nan, -0.0f, 1.0f, nan, 0.5f};
    for (auto form : {lmvMinMaxLocf32C, lmvMinMaxLocf32V}) {
        float lo, hi;
        uint32_t loc[4];
        form(row.data(), uint32_t(row.size()), 1, 40, &lo, &hi, loc, loc + 1, loc + 2, loc + 3);
        EXPECT_TRUE(std::signbit(lo));
        EXPECT_EQ(3u, loc[0]);
        EXPECT_EQ(3.0f, hi);
        EXPECT_EQ(2u, loc[2]);
        std::vector<float> all(9, nan);
        form(all.data(), 3, 3, 12, &lo, &hi, loc, loc + 1, loc + 2, loc + 3);
        EXPECT_TRUE(std::isnan(lo) && std::isnan(hi));
        EXPECT_EQ(0u, loc[0] + loc[1] + loc[2] + loc[3]);
    }
    // The counts report every extreme; the list holds the capacity's worth.
    uint8_t flat[12] = {4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 9};
    uint8_t lo, hi;
    uint32_t list[4], count = 0, maxList[2], maxCount = 0;
    EXPECT_EQ(LUMIVA_SUCCESS, lmvMinMaxLocu8_v2(flat, 4, 3, 4, &lo, &hi, list, 2, &count, maxList, 1, &maxCount));
    EXPECT_EQ(11u, count);
    EXPECT_EQ((std::vector<uint32_t>{0, 0, 1, 0}), std::vector<uint32_t>(list, list + 4));
    EXPECT_EQ(1u, maxCount);
    EXPECT_EQ(3u, maxList[0]);
    EXPECT_EQ(2u, maxList[1]);
}

// An image of one value is left as it is; cells split at floor(k * size / cells); values from
// numBins up are not counted.
TEST_F(AnalysisEntries, EqualisationAndSpatialHistogramWorkedValues)
{
    Bytes one(35, 77), out(35);
    lmvImageHistogramEqualizeu8(one.data(), 7, 5, 7, out.data(), 7);
    EXPECT_EQ(one, out);

    const uint8_t codes[10] = {0, 1, 1, 2, 9, 3, 3, 3, 0, 1};  // 5 x 2: cells of columns 0-1 and 2-4, 9 uncounted
    float hist[2 * 4];
    EXPECT_EQ(LUMIVA_SUCCESS, lmvImageSpatialHistogramu8_v2(codes, 5, 2, 5, 2, 1, 4, 0, hist));
    EXPECT_EQ((std::vector<float>{1, 1, 0, 2, 1, 2, 1, 1}), std::vector<float>(hist, hist + 8));
    lmvImageSpatialHistogramu8(codes, 5, 2, 5, 2, 1, 4, hist);
    EXPECT_EQ((std::vector<float>{0.25f, 0.25f, 0, 0.5f, 0.2f, 0.4f, 0.2f, 0.2f}), std::vector<float>(hist, hist + 8));
}

// Status generations answer 3 and write nothing; older shapes log their rule and return.
TEST_F(AnalysisEntries, RefusalsWriteNothing)
{
    Bytes src = noise(16, 8, 1);
    std::vector<uint32_t> sums(400, 7);
    float hist[16] = {}, m = -1, v = -1;
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvIntegratePatchu8_v3(src.data(), 16, 8, 16, 10, 0, 7, 4, 5, 5, sums.data(),
                                                        sums.data() + 100, 0));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvIntegratePatchu8_v3(src.data(), 16, 8, 16, -1, 0, 4, 4, 5, 5, sums.data(),
                                                        sums.data() + 100, 0));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvIntegratePatchu8_v3(src.data(), 16, 8, 16, 0, 0, 4, 4, 0, 5, sums.data(),
                                                        sums.data() + 100, 0));
    EXPECT_EQ(std::vector<uint32_t>(400, 7), sums);
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvImageSpatialHistogramu8_v2(src.data(), 16, 8, 16, 17, 1, 1, 1, hist));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvImageSpatialHistogramu8_v2(src.data(), 16, 8, 16, 1, 1, 257, 1, hist));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvImageSpatialHistogramu8_v2(src.data(), 16, 8, 16, 1, 1, 4, 2, hist));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvImageIntensityStats_v2(src.data(), 16, 8, 16, 10, 0, 7, 1, 0, &m, &v));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvImageIntensityStats_v2(src.data(), 16, 8, 16, 0, 0, 1, 1, 2, &m, &v));
    EXPECT_EQ(-1.0f, m);
    EXPECT_EQ(-1.0f, v);

    LogCapture log;
    lmvImageIntensityStats(src.data(), 16, 8, 16, 0, 4, 16, 5, &m, &v);
    EXPECT_EQ(-1.0f, m);
    EXPECT_TRUE(log.contains("lumiva_lib_log", "Assertion failed @lmvImageIntensityStats: src && mean && variance && "
                                               "srcWidth && srcHeight && (srcStride >= srcWidth) && recWidth && "
                                               "recHeight && ((uint64_t)xBegin + recWidth <= srcWidth) && "
                                               "((uint64_t)yBegin + recHeight <= srcHeight)\n"));
    lmvIntegratePatch12x12u8(src.data(), 16, 8, 16, 0, 0, sums.data(), sums.data() + 200);
    EXPECT_EQ(std::vector<uint32_t>(400, 7), sums);
}

}  // namespace
