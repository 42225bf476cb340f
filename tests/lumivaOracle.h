// OpenCV as an oracle: one table row per operation (ours beside theirs, the frame left out of
// the comparison, the largest difference allowed), and the comparison of a whole table over
// two frame sizes. Images of several planes lie side by side, each of the frame's width.
#ifndef LUMIVA_ORACLE_H
#define LUMIVA_ORACLE_H

#ifdef LUMIVA_WITH_OPENCV

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace lmvoracle {

using Bytes = std::vector<uint8_t>;

struct Row {
    const char* name;
    int margin;     // rows and columns of frame not compared (interior-only operations)
    int tolerance;  // largest difference allowed
    std::function<cv::Mat(const Bytes&, uint32_t, uint32_t)> ours;
    std::function<cv::Mat(const cv::Mat&)> theirs;
};

inline cv::Mat asMat(const Bytes& b, uint32_t w, uint32_t h)
{
    return cv::Mat(int(h), int(w), CV_8UC1, const_cast<uint8_t*>(b.data())).clone();
}

// A zeroed image of the type, filled by `call` through its first byte.
inline cv::Mat run(uint32_t w, uint32_t h, int type, const std::function<void(void*)>& call)
{
    cv::Mat out(int(h), int(w), type, cv::Scalar(0));
    call(out.data);
    return out;
}

// Every row over a 64x48 and a 37x29 frame of `scene`.
inline void compare(const std::vector<Row>& rows, const std::function<Bytes(uint32_t, uint32_t, uint32_t)>& scene)
{
    for (auto [w, h] : {std::make_pair(64u, 48u), std::make_pair(37u, 29u)}) {
        const Bytes src = scene(w, h, w + h);
        const cv::Mat srcMat = asMat(src, w, h);
        for (const Row& row : rows) {
            const cv::Mat mine = row.ours(src, w, h), theirs = row.theirs(srcMat);
            ASSERT_EQ(mine.size(), theirs.size()) << row.name;
            cv::Mat a, b, diff, mask = cv::Mat::zeros(mine.size(), CV_8U);
            for (int p = 0; p < mine.cols / int(w); ++p)
                mask(cv::Rect(p * int(w) + row.margin, row.margin, int(w) - 2 * row.margin, int(h) - 2 * row.margin)) = 1;
            mine.reshape(1).convertTo(a, CV_64F);
            theirs.reshape(1).convertTo(b, CV_64F);
            cv::absdiff(a, b, diff);
            double worst;
            cv::minMaxLoc(diff, nullptr, &worst, nullptr, nullptr, mask);
            EXPECT_LE(worst, row.tolerance) << row.name << " " << w << "x" << h;
        }
    }
}

}  // namespace lmvoracle

#endif  // LUMIVA_WITH_OPENCV

#endif
