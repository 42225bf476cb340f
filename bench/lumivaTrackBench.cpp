// Tracking and search: Lucas-Kanade for 1000 points over 4 prebuilt pyramid levels beside
// calcOpticalFlowPyrLK, KD-tree build and queries beside a brute-force scan, codebook
// update and classification of a 640x480 frame.
#include "lumivaBench.h"
#include "lumivaKernels.h"

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/video/tracking.hpp>
#endif

#include <algorithm>
#include <cmath>
#include <map>

namespace {

using namespace lmvbench;

std::vector<uint8_t> wave(uint32_t w, uint32_t h, double dx, double dy)
{
    std::vector<uint8_t> img(size_t(w) * h);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            const double u = x - dx, v = y - dy;
            img[size_t(y) * w + x] = static_cast<uint8_t>(128 + 50 * std::sin(u * 0.21) * std::cos(v * 0.17) +
                                                          30 * std::sin((u + v) * 0.11));
        }
    return img;
}

struct Tracking {
    uint32_t w = 640, h = 480;
    std::vector<uint8_t> f1 = wave(w, h, 0, 0), f2 = wave(w, h, kMotionX, kMotionY);
    std::vector<lmvPyramidLevel_v2> p1 = std::vector<lmvPyramidLevel_v2>(4), p2 = std::vector<lmvPyramidLevel_v2>(4);
    std::vector<float32_t> xy, out;
    std::vector<int32_t> status;
    Tracking()
    {
        lmvPyramidAllocate_v2(p1.data(), w, h, w, 1, 4, 0);
        lmvPyramidAllocate_v2(p2.data(), w, h, w, 1, 4, 0);
        lmvPyramidCreateu8_v2(f1.data(), w, h, w, 4, p1.data());
        lmvPyramidCreateu8_v2(f2.data(), w, h, w, 4, p2.data());
        for (int i = 0; i < 1000; ++i) xy.insert(xy.end(), {float32_t(30 + (i % 40) * 14.5), float32_t(30 + (i / 40) * 16.5)});
        out.resize(xy.size());
        status.resize(1000);
    }
    ~Tracking()
    {
        lmvPyramidDelete_v2(p1.data(), 4, 1);
        lmvPyramidDelete_v2(p2.data(), 4, 1);
    }
    template <class Form>
    void track(Form form, int window)
    {
        form(f1.data(), f2.data(), w, h, w, p1.data(), p2.data(), xy.data(), nullptr, out.data(), status.data(), 1000,
             window, window, 4, 2, 30, 0.0009f, 0);
    }
    // Mean distance from the true motion of the points tracked.
    static double meanError(const std::vector<float32_t>& from, const std::vector<float32_t>& to,
                            const std::vector<bool>& tracked)
    {
        double sum = 0;
        int n = 0;
        for (size_t i = 0; i < tracked.size(); ++i)
            if (tracked[i]) {
                sum += std::hypot(to[2 * i] - from[2 * i] - kMotionX, to[2 * i + 1] - from[2 * i + 1] - kMotionY);
                ++n;
            }
        return n ? sum / n : 0;
    }
    static constexpr double kMotionX = 2.3, kMotionY = -1.6;
};

void registerTrack()
{
    static Tracking t;
    add("LK1000_7x7", "reference", [] { t.track(lmvTrackLKOpticalFlowu8_v3C, 7); });
    add("LK1000_7x7", "simd", [] { t.track(lmvTrackLKOpticalFlowu8_v3V, 7); });
    add("LK1000_21x21", "reference", [] { t.track(lmvTrackLKOpticalFlowu8_v3C, 21); });
    add("LK1000_21x21", "simd", [] { t.track(lmvTrackLKOpticalFlowu8_v3V, 21); });
#ifdef LUMIVA_WITH_OPENCV
    // OpenCV gets its pyramids built beforehand too (images only: like the engine, it
    // derives its gradients inside the call).
    static std::vector<cv::Point2f> prev, next;
    for (size_t i = 0; i < t.xy.size(); i += 2) prev.push_back({t.xy[i], t.xy[i + 1]});
    static std::map<int, std::pair<std::vector<cv::Mat>, std::vector<cv::Mat>>> pyramids;
    for (int window : {7, 21}) {
        auto& [a, b] = pyramids[window];
        cv::buildOpticalFlowPyramid(cv::Mat(int(t.h), int(t.w), CV_8UC1, t.f1.data()), a, cv::Size(window, window), 3,
                                    false);
        cv::buildOpticalFlowPyramid(cv::Mat(int(t.h), int(t.w), CV_8UC1, t.f2.data()), b, cv::Size(window, window), 3,
                                    false);
    }
    static auto cvTrack = [](int window, std::vector<uchar>& st) {
        std::vector<float> err;
        cv::calcOpticalFlowPyrLK(pyramids[window].first, pyramids[window].second, prev, next, st, err,
                                 cv::Size(window, window), 3,
                                 cv::TermCriteria(cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 30, 0.03));
    };
    add("LK1000_7x7", "opencv", [] {
        std::vector<uchar> st;
        cvTrack(7, st);
    });
    add("LK1000_21x21", "opencv", [] {
        std::vector<uchar> st;
        cvTrack(21, st);
    });
#endif
    for (int window : {7, 21}) {
        t.track(lmvTrackLKOpticalFlowu8_v3V, window);
        std::vector<bool> tracked(t.status.size());
        for (size_t i = 0; i < tracked.size(); ++i) tracked[i] = t.status[i] == 1;
        std::printf("LK %dx%d mean error against the true motion: %.4f px", window, window,
                    Tracking::meanError(t.xy, t.out, tracked));
#ifdef LUMIVA_WITH_OPENCV
        std::vector<uchar> st;
        cvTrack(window, st);
        std::vector<float32_t> theirs;
        for (size_t i = 0; i < next.size(); ++i) {
            theirs.insert(theirs.end(), {next[i].x, next[i].y});
            tracked[i] = tracked[i] && st[i];
        }
        std::printf(" (OpenCV on the points both track: %.4f px, lumiva %.4f px)",
                    Tracking::meanError(t.xy, theirs, tracked), Tracking::meanError(t.xy, t.out, tracked));
#endif
        std::printf("\n");
    }
}

struct Descriptors {
    std::vector<int8_t> v;
    std::vector<float32_t> inv;
    Descriptors(int n, uint32_t seed)
    {
        std::vector<uint8_t> bytes = randomFrame<uint8_t>(size_t(n) * 36, seed);
        for (int i = 0; i < n; ++i) {
            double norm = 0;
            for (int d = 0; d < 36; ++d) {
                // Clustered around 50 centres, as descriptors of a scene are.
                const int8_t c = int8_t(int((i % 50) * 37 + d * 11) % 200 - 100);
                const int8_t x = int8_t(std::max(-127, std::min(127, c + int(bytes[size_t(i) * 36 + d] % 41) - 20)));
                v.push_back(x);
                norm += double(x) * x;
            }
            inv.push_back(float32_t(1.0 / std::sqrt(std::max(norm, 1.0))));
        }
    }
};

// The nearest neighbour of every query by a full scan.
std::vector<uint32_t> nearestByScan(const Descriptors& set, const Descriptors& queries)
{
    const uint32_t n = uint32_t(set.inv.size());
    std::vector<const int8_t*> candidates(n);
    std::vector<float32_t> all(n);
    for (uint32_t i = 0; i < n; ++i) candidates[i] = &set.v[size_t(i) * 36];
    std::vector<uint32_t> nearest;
    for (size_t q = 0; q < queries.inv.size(); ++q) {
        lmvSumOfSquaredDiffs36xNs8C(&queries.v[q * 36], queries.inv[q], candidates.data(), set.inv.data(), n, all.data());
        nearest.push_back(uint32_t(std::min_element(all.begin(), all.end()) - all.begin()));
    }
    return nearest;
}

// The smallest power-of-two check budget at which the tree's first answer is the true nearest
// neighbour for at least `recall` of the queries.
int recallBudget(const Descriptors& set, const Descriptors& queries, lmvKDTree36s8f32* tree, double recall)
{
    const std::vector<uint32_t> truth = nearestByScan(set, queries);
    int budget = 8;
    for (; budget < (1 << 20); budget *= 2) {
        size_t hits = 0;
        for (size_t q = 0; q < truth.size(); ++q) {
            uint32_t found = 0, index = 0;
            float32_t distance = 0;
            lmvKDTreeQuery36s8f32C(tree, &queries.v[q * 36], queries.inv[q], 1, 10.0f, budget, nullptr, &found, &index,
                                   &distance);
            hits += found && index == truth[q];
        }
        if (hits >= recall * double(truth.size())) break;
    }
    return budget;
}

void registerSearch()
{
    static Descriptors set(10000, 21), queries(200, 22);
    static lmvKDTree36s8f32* tree = nullptr;
    static std::vector<uint32_t> inds(4);
    static std::vector<float32_t> dists(4);
    add("KDTreeBuild10000", "reference", [] {
        lmvKDTree36s8f32* t = nullptr;
        lmvKDTreeCreate36s8f32C(set.v.data(), set.inv.data(), 10000, &t);
        lmvKDTreeDestroy36s8f32C(t);
    });
    lmvKDTreeCreate36s8f32C(set.v.data(), set.inv.data(), 10000, &tree);
    static int budget = recallBudget(set, queries, tree, 0.9);
    std::printf("KD-tree: %d checks reach 90%% recall of the nearest neighbour over 200 queries\n", budget);
    using Form = std::pair<lmvKDTreeQuery36s8f32_fn, const char*>;
    for (auto [form, name] : {Form{lmvKDTreeQuery36s8f32C, "reference"}, Form{lmvKDTreeQuery36s8f32V, "simd"}})
        add("KDTree200Queries_recall90", name, [form = form] {
            uint32_t found = 0;
            for (int q = 0; q < 200; ++q)
                form(tree, &queries.v[size_t(q) * 36], queries.inv[q], 4, 10.0f, budget, nullptr, &found, inds.data(),
                     dists.data());
        });
    add("BruteForce200Queries", "reference", [] {
        std::vector<const int8_t*> candidates(10000);
        std::vector<float32_t> all(10000);
        for (int i = 0; i < 10000; ++i) candidates[i] = &set.v[size_t(i) * 36];
        for (int q = 0; q < 200; ++q)
            lmvSumOfSquaredDiffs36xNs8V(&queries.v[size_t(q) * 36], queries.inv[q], candidates.data(), set.inv.data(),
                                        10000, all.data());
    });

    static const uint32_t w = 640, h = 480;
    static std::vector<uint8_t> background = randomFrame<uint8_t>(size_t(w) * h * 3, 30), mask(size_t(w) * h);
    static lmvBGCodeBookModel* model = nullptr;
    static lmvBGCodeWord** map = lmvCreateBGCodeBookModelC(w, h, &model);
    add("CodeBookUpdateDiff640x480", "reference", [] {
        int32_t t = 0;
        uint32_t count = 0;
        lmvBGCodeBookUpdateu8C(model, background.data(), w, h, 0, nullptr, 0, map, &t);
        lmvBGCodeBookDiffu8C(model, background.data(), w, h, 0, mask.data(), 0, map, &count);
    });
}

const int kRegistered = registerFamily(registerTrack);
const int kSearchRegistered = registerFamily(registerSearch);

}  // namespace
