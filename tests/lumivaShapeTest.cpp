// Shapes: OpenCV as the oracle for contours in every retrieval mode, contour drawing, convex
// polygon filling, hulls, point-in-polygon tests and flood fills; properties and worked values
// where the library has its own rules (capacities, region growing); the refusals.
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using Bytes = std::vector<uint8_t>;

class ShapeEntries : public TablesTest {};

// Contours as lists of points, with their hierarchy when the mode has one.
struct Found {
    std::vector<std::vector<int32_t>> contours;
    std::vector<int32_t> hierarchy;
};

Found findContours(const Bytes& img, uint32_t w, uint32_t h, int mode, uint32_t maxContours = 4096,
                   uint32_t maxPoints = 1 << 20)
{
    void* handle = nullptr;
    EXPECT_EQ(LUMIVA_SUCCESS, lmvFindContoursAllocate(w, maxContours, maxPoints, &handle));
    uint32_t count = 0;
    std::vector<uint32_t> sizes(maxContours);
    std::vector<int32_t> points(2 * size_t(maxPoints));
    Found f;
    f.hierarchy.resize(4 * size_t(maxContours));
    LMV_STATUS status = LUMIVA_BAD_PARAMS;
    switch (mode) {
    case 0: status = lmvFindContoursExternalu8(img.data(), w, h, w, &count, sizes.data(), points.data(), handle); break;
    case 1: status = lmvFindContoursListu8(img.data(), w, h, w, &count, sizes.data(), points.data(), handle); break;
    case 2:
        status = lmvFindContoursCcompu8(img.data(), w, h, w, &count, sizes.data(), points.data(), f.hierarchy.data(),
                                        handle);
        break;
    default:
        status = lmvFindContoursTreeu8(img.data(), w, h, w, &count, sizes.data(), points.data(), f.hierarchy.data(),
                                       handle);
    }
    EXPECT_EQ(LUMIVA_SUCCESS, status);
    lmvFindContoursDelete(handle);
    size_t at = 0;
    for (uint32_t k = 0; k < count; ++k) {
        f.contours.emplace_back(points.begin() + 2 * at, points.begin() + 2 * (at + sizes[k]));
        at += sizes[k];
    }
    f.hierarchy.resize(4 * size_t(count));
    return f;
}

#ifdef LUMIVA_WITH_OPENCV

// Blobs with holes, objects inside holes, single pixels, diagonal contacts and objects on the
// image's edge.
cv::Mat blobs(uint32_t w, uint32_t h, uint32_t seed)
{
    std::mt19937 rng(seed);
    cv::Mat m = cv::Mat::zeros(int(h), int(w), CV_8U);
    for (int k = 0; k < 12; ++k) {
        const cv::Point c(int(rng() % w), int(rng() % h));
        const int r = int(3 + rng() % 14);
        cv::circle(m, c, r, cv::Scalar(k % 2 ? 255 : 7), cv::FILLED);
        if (k % 3 == 0) cv::circle(m, c, r / 2, cv::Scalar(0), cv::FILLED);
        if (k % 6 == 0) cv::circle(m, c, r / 5, cv::Scalar(99), cv::FILLED);
    }
    cv::rectangle(m, cv::Rect(0, 0, int(w / 5), int(h / 6)), cv::Scalar(255), cv::FILLED);
    for (int k = 0; k < 40; ++k) m.at<uint8_t>(int(rng() % h), int(rng() % w)) = uint8_t(rng() % 2 ? 255 : 0);
    return m;
}

Bytes bytesOf(const cv::Mat& m)
{
    return Bytes(m.datastart, m.dataend);
}

TEST_F(ShapeEntries, ContoursEqualOpenCVInEveryMode)
{
    for (uint32_t seed : {1u, 2u, 3u}) {
        const uint32_t w = 97 + seed * 13, h = 71 + seed * 5;
        const cv::Mat m = blobs(w, h, seed);
        const Bytes img = bytesOf(m);
        for (int mode : {cv::RETR_EXTERNAL, cv::RETR_LIST, cv::RETR_CCOMP, cv::RETR_TREE}) {
            SCOPED_TRACE("seed " + std::to_string(seed) + " mode " + std::to_string(mode));
            std::vector<std::vector<cv::Point>> theirs;
            std::vector<cv::Vec4i> hierarchy;
            cv::findContours(m.clone(), theirs, hierarchy, mode, cv::CHAIN_APPROX_SIMPLE);
            const Found ours = findContours(img, w, h, mode);
            ASSERT_EQ(theirs.size(), ours.contours.size());
            for (size_t k = 0; k < theirs.size(); ++k) {
                std::vector<int32_t> flat;
                for (const cv::Point& p : theirs[k]) flat.push_back(p.x), flat.push_back(p.y);
                EXPECT_EQ(flat, ours.contours[k]) << "contour " << k;
            }
            if (mode == cv::RETR_CCOMP || mode == cv::RETR_TREE) {
                for (size_t k = 0; k < hierarchy.size(); ++k)
                    for (int i = 0; i < 4; ++i) EXPECT_EQ(hierarchy[k][i], ours.hierarchy[4 * k + i]) << k;
            }
        }
    }
}

// Outlines and fills of found contours and of free polygons (some leaving the image), grey and
// three-channel, interleaved and planar.
TEST_F(ShapeEntries, DrawingAndPolygonFillingEqualOpenCV)
{
    const uint32_t w = 120, h = 90;
    const cv::Mat m = blobs(w, h, 7);
    std::vector<std::vector<cv::Point>> contours;
    cv::findContours(m.clone(), contours, cv::RETR_LIST, cv::CHAIN_APPROX_SIMPLE);
    const int found = int(contours.size());
    std::mt19937 rng(3);
    for (int k = 0; k < 4; ++k) {  // free polygons, corners anywhere near the image (outlines only)
        std::vector<cv::Point> poly;
        for (int i = 0; i < 5 + k; ++i) poly.emplace_back(int(rng() % 160) - 20, int(rng() % 130) - 20);
        contours.push_back(poly);
    }
    std::vector<uint32_t> sizes;
    std::vector<int32_t> points;
    for (const auto& c : contours) {
        sizes.push_back(uint32_t(c.size()));
        for (const cv::Point& p : c) points.push_back(p.x), points.push_back(p.y);
    }
    const uint8_t colour[3] = {200, 17, 99};
    for (int thickness : {1, -1}) {
        for (int index : {-1, 3, int(contours.size()) - 1}) {
            // Fills are exact for contours inside the image (the finders' output); polygons that
            // leave it are compared as outlines.
            if (thickness < 0 && index == int(contours.size()) - 1) continue;
            const uint32_t count = thickness < 0 ? uint32_t(found) : uint32_t(sizes.size());
            SCOPED_TRACE("thickness " + std::to_string(thickness) + " index " + std::to_string(index));
            cv::Mat grey(int(h), int(w), CV_8U, cv::Scalar(5)), rgb(int(h), int(w), CV_8UC3, cv::Scalar(5, 6, 7));
            Bytes ours = bytesOf(grey), oursRgb = bytesOf(rgb);
            const std::vector<std::vector<cv::Point>> drawn(contours.begin(), contours.begin() + count);
            cv::drawContours(grey, drawn, index, cv::Scalar(colour[0]), thickness, cv::LINE_8);
            cv::drawContours(rgb, drawn, index, cv::Scalar(colour[0], colour[1], colour[2]), thickness, cv::LINE_8);
            lmvDrawContouru8(ours.data(), w, h, w, count, sizes.data(), points.data(), index, colour, thickness);
            EXPECT_EQ(bytesOf(grey), ours);
            lmvDrawContourInterleavedu8(oursRgb.data(), w, h, 3 * w, 3, count, sizes.data(), points.data(), index,
                                        colour, thickness);
            EXPECT_EQ(bytesOf(rgb), oursRgb);
            std::vector<cv::Mat> planes;
            cv::split(rgb, planes);
            Bytes p[3] = {Bytes(w * h, 5), Bytes(w * h, 6), Bytes(w * h, 7)};
            uint8_t* const planePointers[3] = {p[0].data(), p[1].data(), p[2].data()};
            lmvDrawContourPlanaru8(planePointers, w, h, w, 3, count, sizes.data(), points.data(), index, colour,
                                   thickness);
            for (int c = 0; c < 3; ++c) EXPECT_EQ(bytesOf(planes[c]), p[c]) << c;
        }
    }
    // Convex polygons: hulls of random points, some reaching past the edges.
    for (int k = 0; k < 20; ++k) {
        std::vector<cv::Point> cloud, hull;
        for (int i = 0; i < 9; ++i) cloud.emplace_back(int(rng() % 150) - 15, int(rng() % 120) - 15);
        cv::convexHull(cloud, hull);
        std::vector<int32_t> flat;
        for (const cv::Point& q : hull) flat.push_back(q.x), flat.push_back(q.y);
        cv::Mat expected(int(h), int(w), CV_8UC3, cv::Scalar(1, 2, 3));
        Bytes ours = bytesOf(expected);
        cv::fillConvexPoly(expected, hull, cv::Scalar(colour[0], colour[1], colour[2]), cv::LINE_8);
        lmvFillConvexPolyu8(flat.data(), uint32_t(hull.size()), ours.data(), w, h, 3 * w, 3, colour);
        EXPECT_EQ(bytesOf(expected), ours) << k;
    }
}

// Hull corners as OpenCV finds them, in both orientations (compared from our first corner), and
// the polygon test's sign and distance.
TEST_F(ShapeEntries, HullsAndPolygonTestsEqualOpenCV)
{
    std::mt19937 rng(11);
    for (int k = 0; k < 30; ++k) {
        std::vector<cv::Point> cloud;
        std::vector<int32_t> flat;
        for (int i = 0; i < 3 + k * 3; ++i) {
            cloud.emplace_back(int(rng() % 100000) - 50000, int(rng() % 100000) - 50000);
            flat.push_back(cloud.back().x), flat.push_back(cloud.back().y);
        }
        for (bool clockwise : {false, true}) {
            std::vector<int> theirs;
            cv::convexHull(cloud, theirs, clockwise, false);
            std::vector<uint32_t> ours(cloud.size());
            uint32_t count = 0;
            ASSERT_EQ(LUMIVA_SUCCESS, lmvFindConvexHull(flat.data(), uint32_t(cloud.size()), clockwise, ours.data(),
                                                        &count));
            ASSERT_EQ(theirs.size(), count);
            auto start = std::find(theirs.begin(), theirs.end(), int(ours[0]));
            ASSERT_NE(theirs.end(), start);
            std::rotate(theirs.begin(), start, theirs.end());
            for (uint32_t i = 0; i < count; ++i) EXPECT_EQ(theirs[i], int(ours[i])) << k << " " << clockwise;
        }
    }
    const std::vector<cv::Point> poly = {{10, 10}, {60, 15}, {70, 50}, {40, 30}, {15, 55}};
    const std::vector<int32_t> flat = {10, 10, 60, 15, 70, 50, 40, 30, 15, 55};
    for (int i = 0; i < 200; ++i) {
        const cv::Point2f p(float(rng() % 800) / 10.0f, float(rng() % 700) / 10.0f);
        EXPECT_EQ(float(cv::pointPolygonTest(poly, p, false)), lmvPointPolygonTest(flat.data(), 5, p.x, p.y, 0));
        EXPECT_NEAR(cv::pointPolygonTest(poly, p, true), lmvPointPolygonTest(flat.data(), 5, p.x, p.y, 1), 1e-4);
    }
    EXPECT_EQ(0.0f, lmvPointPolygonTest(flat.data(), 5, 35.0f, 12.5f, 0));  // on the first edge
}

// Exact against floodFill: in place with the seed's value, and into a mask with fixed and
// floating tolerances and earlier regions as barriers; the seeded s16 growth through floats.
TEST_F(ShapeEntries, FloodFillsEqualOpenCV)
{
    const uint32_t w = 83, h = 61;
    std::mt19937 rng(2);
    cv::Mat img(int(h), int(w), CV_8U);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) img.at<uint8_t>(int(y), int(x)) = uint8_t((x / 9 + y / 7) % 3 * 60 + rng() % 9);
    for (uint32_t connectivity : {4u, 8u}) {
        cv::Mat quant = img / 20 * 20;
        Bytes ours = bytesOf(quant);
        cv::Rect rect;
        const int area = cv::floodFill(quant, cv::Point(30, 20), cv::Scalar(255), &rect, cv::Scalar(), cv::Scalar(),
                                       int(connectivity));
        uint32_t ourArea = 0, ourRect[4];
        EXPECT_EQ(LUMIVA_SUCCESS, lmvFloodfillSimpleu8(ours.data(), w, h, w, 30, 20, 255, connectivity, &ourArea, ourRect));
        EXPECT_EQ(bytesOf(quant), ours);
        EXPECT_EQ(uint32_t(area), ourArea);
        EXPECT_EQ(rect, cv::Rect(int(ourRect[0]), int(ourRect[1]), int(ourRect[2]), int(ourRect[3])));
        for (uint32_t fixed : {0u, 1u}) {
            cv::Mat mask = cv::Mat::zeros(int(h + 2), int(w + 2), CV_8U);
            Bytes ourMask(w * h, 0);
            const Bytes src = bytesOf(img);
            for (auto [sx, sy] : {std::make_pair(5u, 5u), std::make_pair(60u, 40u), std::make_pair(6u, 6u)}) {
                const int flags = int(connectivity) | cv::FLOODFILL_MASK_ONLY | (255 << 8) |
                                  (fixed ? cv::FLOODFILL_FIXED_RANGE : 0);
                const int added = cv::floodFill(img, mask, cv::Point(int(sx), int(sy)), cv::Scalar(), nullptr,
                                                cv::Scalar(4), cv::Scalar(6), flags);
                uint32_t ourAdded = 0;
                EXPECT_EQ(LUMIVA_SUCCESS, lmvFloodfillMergedu8(src.data(), w, h, w, sx, sy, 4, 6, connectivity, fixed,
                                                               ourMask.data(), w, &ourAdded));
                EXPECT_EQ(uint32_t(added), ourAdded) << connectivity << fixed << sx;
            }
            EXPECT_EQ(bytesOf(mask(cv::Rect(1, 1, int(w), int(h))).clone()), ourMask) << connectivity << fixed;
        }
    }
    // Depth-like s16 data: each seed's floodFill on an exact float copy, earlier regions kept.
    std::vector<int16_t> depth(w * h);
    for (size_t i = 0; i < depth.size(); ++i) depth[i] = int16_t((i % w) * 37 + (i / w) * 11 + rng() % 40 - 1000);
    cv::Mat asFloat(int(h), int(w), CV_32F), mask = cv::Mat::zeros(int(h + 2), int(w + 2), CV_8U);
    for (size_t i = 0; i < depth.size(); ++i) asFloat.at<float>(int(i)) = depth[i];
    const uint32_t seeds[6] = {3, 3, 70, 50, 4, 4};
    std::vector<uint32_t> expected(w * h, 0), labels(w * h, 9);
    for (uint32_t k = 0; k < 3; ++k) {
        cv::Mat before = mask.clone();
        cv::floodFill(asFloat, mask, cv::Point(int(seeds[2 * k]), int(seeds[2 * k + 1])), cv::Scalar(), nullptr,
                      cv::Scalar(40), cv::Scalar(40), 8 | cv::FLOODFILL_MASK_ONLY | (1 << 8));
        for (uint32_t i = 0; i < w * h; ++i)
            if (mask.at<uint8_t>(int(i / w + 1), int(i % w + 1)) && !before.at<uint8_t>(int(i / w + 1), int(i % w + 1)))
                expected[i] = k + 1;
    }
    EXPECT_EQ(LUMIVA_SUCCESS, lmvImageSegmentationSeedRegionGrows16(depth.data(), w, h, 2 * w, seeds, 3, 40,
                                                                    labels.data(), 4 * w));
    EXPECT_EQ(expected, labels);
}

#endif  // LUMIVA_WITH_OPENCV

// Whole contours while both capacities hold; the lists and the hierarchy speak of those only.
TEST_F(ShapeEntries, ContourCapacitiesKeepWholeContoursInOrder)
{
    // Three squares side by side, the middle one with a hole: 4 borders.
    const uint32_t w = 20, h = 8;
    Bytes img(w * h, 0);
    for (uint32_t y = 1; y < 7; ++y)
        for (uint32_t x : {1u, 2u, 3u, 7u, 8u, 9u, 10u, 11u, 15u, 16u, 17u}) img[y * w + x] = 1;
    for (uint32_t y = 3; y < 5; ++y) img[y * w + 9] = 0;
    const Found all = findContours(img, w, h, 3);
    ASSERT_EQ(4u, all.contours.size());
    // The later square comes first; the middle square is followed by its hole, its child.
    EXPECT_EQ((std::vector<int32_t>{15, 1, 15, 6, 17, 6, 17, 1}), all.contours[0]);
    EXPECT_EQ((std::vector<int32_t>{3, 0, 2, -1}), std::vector<int32_t>(all.hierarchy.begin() + 4, all.hierarchy.begin() + 8));
    EXPECT_EQ(1, all.hierarchy[4 * 2 + 3]);
    const Found two = findContours(img, w, h, 3, 2);
    ASSERT_EQ(2u, two.contours.size());
    EXPECT_EQ(-1, two.hierarchy[4 + 2]);  // the hole was not stored
    const Found fewPoints = findContours(img, w, h, 1, 10, 9);
    // Listed newest first: the hole (6 points, found last) fits, the right square's 4 would not.
    ASSERT_EQ(1u, fewPoints.contours.size());
    EXPECT_EQ((std::vector<int32_t>{8, 3, 9, 2, 10, 3, 10, 4, 9, 5, 8, 4}), fewPoints.contours[0]);
}

// Region growing follows the running mean: a gentle ramp stays one region while a step splits
// it; regions below the minimum size keep label 0.
TEST_F(ShapeEntries, RegionGrowingWorkedValues)
{
    const uint32_t w = 8, h = 3;
    Bytes img = {10, 12, 14, 16, 60, 62, 60, 200, 10, 12, 14, 16, 60, 62, 60, 60, 10, 12, 14, 16, 60, 61, 60, 60};
    std::vector<uint32_t> labels(w * h, 7);
    uint32_t regions = 0;
    EXPECT_EQ(LUMIVA_SUCCESS, lmvImageSegmentationRegionGrow(img.data(), w, h, w, 5, 2, labels.data(), 4 * w, &regions));
    EXPECT_EQ(2u, regions);
    EXPECT_EQ((std::vector<uint32_t>{1, 1, 1, 1, 2, 2, 2, 0, 1, 1, 1, 1, 2, 2, 2, 2, 1, 1, 1, 1, 2, 2, 2, 2}), labels);
}

TEST_F(ShapeEntries, RefusalsWriteNothing)
{
    Bytes img(64, 1);
    void* handle = nullptr;
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvFindContoursAllocate(8, 0, 10, &handle));
    EXPECT_EQ(nullptr, handle);
    uint32_t area = 0, rect[4] = {9, 9, 9, 9};
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvFloodfillSimpleu8(img.data(), 8, 8, 8, 8, 0, 5, 4, &area, rect));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvFloodfillSimpleu8(img.data(), 8, 8, 8, 0, 0, 5, 6, &area, rect));
    EXPECT_EQ(Bytes(64, 1), img);
    EXPECT_EQ(9u, rect[0]);
    Bytes mask(64, 0);
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvFloodfillMergedu8(img.data(), 8, 8, 8, 0, 0, 1, 1, 4, 2, mask.data(), 8, &area));
    std::vector<int16_t> depth(64, 0);
    std::vector<uint32_t> labels(64, 5);
    const uint32_t seeds[4] = {1, 1, 9, 0};
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvImageSegmentationSeedRegionGrows16(depth.data(), 8, 8, 16, seeds, 2, 3,
                                                                       labels.data(), 32));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvImageSegmentationSeedRegionGrows16(depth.data(), 8, 8, 16, seeds, 1, -1,
                                                                       labels.data(), 32));
    EXPECT_EQ(std::vector<uint32_t>(64, 5), labels);
    const int32_t pts[4] = {0, 0, 5, 5};
    uint32_t hull[2], count = 0;
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvFindConvexHull(pts, 2, 2, hull, &count));
    LogCapture log;
    const uint8_t colour = 9;
    const uint32_t sizes = 2;
    lmvDrawContouru8(img.data(), 8, 8, 8, 1, &sizes, pts, 0, &colour, 2);
    EXPECT_EQ(Bytes(64, 1), img);
    EXPECT_TRUE(log.contains("lumiva_lib_log", "Assertion failed @lmvDrawContouru8: src && srcWidth && srcHeight && "
                                               "(srcStride >= srcWidth) && numContourPoints && contourPoints && "
                                               "colour && (thickness == 1 || thickness < 0) && (contourIndex < "
                                               "(int64_t)numContours)\n"));
}

}  // namespace
