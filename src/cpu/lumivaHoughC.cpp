// Hough transforms. Lines: every non-zero pixel votes once per angle in an accumulator with a
// one-cell frame, and the local maxima above the threshold are the lines. Circles: Canny edge
// pixels vote along their gradients for centres, and each centre's radius is the commonest
// distance of the edge pixels. Votes are exact integers, so another unit that votes with
// the same tables (the GPU engines) finds the same results.
#include "cpu/lumivaEdge.h"
#include "cpu/lumivaFilterFrame.h"
#include "lumiva/lumivaMemory.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

// Cells above the threshold that beat the cell before them and are at least the one after
// them, across and along the accumulator's rows (of `pitch` cells).
void findPeaks(const uint32_t* votes, uint32_t rows, uint32_t cols, size_t pitch, uint32_t threshold, uint8_t* peaks)
{
    for (uint32_t j = 0; j < rows; ++j)
        for (uint32_t i = 0; i < cols; ++i) {
            const size_t at = (size_t(j) + 1) * pitch + i + 1;
            const uint32_t v = votes[at];
            peaks[at] = v > threshold && v > votes[at - 1] && v >= votes[at + 1] && v > votes[at - pitch] &&
                        v >= votes[at + pitch];
        }
}

// Peak cells by votes, most first, then by their place in the accumulator.
std::vector<uint32_t> rankedPeaks(const uint32_t* votes, const uint8_t* peaks, size_t cells)
{
    std::vector<uint32_t> order;
    for (size_t at = 0; at < cells; ++at)
        if (peaks[at]) order.push_back(uint32_t(at));
    std::sort(order.begin(), order.end(),
              [&](uint32_t a, uint32_t b) { return votes[a] > votes[b] || (votes[a] == votes[b] && a < b); });
    return order;
}

// The nearest whole number to v, halves to even, for |v| below 2^22: adding and taking away
// 1.5 x 2^23 leaves the f32 sum no fraction bits, and the adder rounds as the default mode does
// (strict IEEE arithmetic keeps the compiler from folding the pair away). The same as lrint,
// without a library call per vote.
inline int32_t roundHalfEven(float32_t v)
{
    return int32_t((v + 12582912.0f) - 12582912.0f);
}

void voteLines(ilmvLineVotes* job)
{
    const size_t pitch = size_t(job->numRho) + 2;
    const int32_t centre = int32_t(job->numRho - 1) / 2;
    for (uint32_t y = 0; y < job->h; ++y) {
        const uint8_t* row = ilmvRowAt(job->src, job->srcStride, y);
        for (uint32_t x = 0; x < job->w; ++x) {
            if (!row[x]) continue;
            for (uint32_t n = 0; n < job->numAngle; ++n) {
                const float32_t rho = float32_t(int32_t(x)) * job->cosTab[n] + float32_t(int32_t(y)) * job->sinTab[n];
                const int32_t r = roundHalfEven(rho) + centre;
                ++job->votes[(size_t(n) + 1) * pitch + size_t(r) + 1];
            }
        }
    }
    findPeaks(job->votes, job->numAngle, job->numRho, pitch, job->threshold, job->peaks);
}

// Per-angle factors: f32 from double-precision sin and cos of the f32 angle n x thetaStep.
void trigTables(uint32_t numAngle, float32_t rhoStep, float32_t thetaStep, float32_t* sinTab, float32_t* cosTab)
{
    const float32_t inverse = 1.0f / rhoStep;
    float32_t angle = 0.0f;
    for (uint32_t n = 0; n < numAngle; ++n, angle += thetaStep) {
        sinTab[n] = float32_t(std::sin(double(angle)) * inverse);
        cosTab[n] = float32_t(std::cos(double(angle)) * inverse);
    }
}

}  // namespace

int ilmvHoughLines(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, float32_t rhoStep,
                   float32_t thetaStep, uint32_t threshold, float32_t* lines, uint32_t maxLines, uint32_t* numLines,
                   ilmvLineVoter voter)
{
    *numLines = 0;
    const double pi = 3.14159265358979323846;
    // Angles cover [0, pi); the last is dropped when it comes within half a step of pi.
    const double angles = std::floor(pi / double(thetaStep)) + 1;
    const double rhos = std::nearbyint((2.0 * (double(w) + h) + 1) / double(rhoStep));
    if (!(angles < 65536) || !(rhos < (1 << 24))) return 0;
    uint32_t numAngle = uint32_t(angles);
    if (numAngle > 1 && std::fabs(pi - (numAngle - 1) * double(thetaStep)) < double(thetaStep) / 2) --numAngle;
    const uint32_t numRho = uint32_t(std::max(rhos, 1.0));
    std::vector<float32_t> sinTab(numAngle), cosTab(numAngle);
    trigTables(numAngle, rhoStep, thetaStep, sinTab.data(), cosTab.data());
    const size_t cells = (size_t(numAngle) + 2) * (size_t(numRho) + 2);
    std::vector<uint32_t> votes(cells, 0);
    std::vector<uint8_t> peaks(cells, 0);
    ilmvLineVotes job = {src,       w,          h,            srcStride,    numAngle, numRho,
                         threshold, sinTab.data(), cosTab.data(), votes.data(), peaks.data()};
    if (voter) {
        const int code = voter(&job);
        if (code) return code;
    } else {
        voteLines(&job);
    }
    const std::vector<uint32_t> order = rankedPeaks(votes.data(), peaks.data(), cells);
    const uint32_t count = uint32_t(std::min<size_t>(order.size(), maxLines));
    const size_t pitch = size_t(numRho) + 2;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t n = uint32_t(order[i] / pitch) - 1, r = uint32_t(order[i] % pitch) - 1;
        lines[2 * i] = (float32_t(int32_t(r)) - float32_t(numRho - 1) * 0.5f) * rhoStep;
        lines[2 * i + 1] = float32_t(int32_t(n)) * thetaStep;
    }
    *numLines = count;
    return 0;
}

// ---- Circles ---------------------------------------------------------------------------------

namespace {

struct Edges {
    std::vector<uint32_t> xy;
    std::vector<int32_t> dir;
};

// Canny edge pixels with a gradient, and the gradient's unit direction in 16-bit fixed point.
Edges circleEdges(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, uint32_t cannyThresh)
{
    std::vector<uint8_t> edges(size_t(w) * h);
    std::vector<int16_t> gx(size_t(w) * h), gy(size_t(w) * h);
    const int32_t high = int32_t(std::min<uint32_t>(cannyThresh, 0x7FFFFFFF));
    ilmvCanny(ilmvEdgeRowsC(), src, w, h, srcStride, edges.data(), w, high / 2, high, 3, LUMIVA_NORM_L1, gx.data(),
              gy.data(), w * 2);
    Edges out;
    for (size_t at = 0; at < edges.size(); ++at) {
        const int32_t len = ilmvMagnitudePixel(gx[at], gy[at]);
        if (!edges[at] || !len) continue;
        out.xy.push_back(uint32_t(at % w));
        out.xy.push_back(uint32_t(at / w));
        out.dir.push_back(int32_t(gx[at]) * 65536 / len);
        out.dir.push_back(int32_t(gy[at]) * 65536 / len);
    }
    return out;
}

// One way along a gradient: the cell whose centre is nearest the point r pixels away.
inline bool circleCell(const ilmvCircleVotes& job, uint32_t i, int64_t r, size_t* at)
{
    const int64_t px = (int64_t(job.xy[2 * i]) << 16) + r * job.dir[2 * i] + job.cell / 2;
    const int64_t py = (int64_t(job.xy[2 * i + 1]) << 16) + r * job.dir[2 * i + 1] + job.cell / 2;
    if (px < 0 || py < 0) return false;
    const int64_t cx = px / job.cell, cy = py / job.cell;
    if (cx >= job.aw || cy >= job.ah) return false;
    *at = (size_t(cy) + 1) * (size_t(job.aw) + 2) + size_t(cx) + 1;
    return true;
}

void voteCircles(ilmvCircleVotes* job)
{
    for (uint32_t i = 0; i < job->count; ++i)
        for (int64_t r = job->minRadius; r <= job->maxRadius; ++r) {
            size_t at;
            if (circleCell(*job, i, r, &at)) ++job->votes[at];
            if (r && circleCell(*job, i, -r, &at)) ++job->votes[at];
        }
    findPeaks(job->votes, job->ah, job->aw, size_t(job->aw) + 2, job->threshold, job->peaks);
}

// The commonest rounded distance of the edge pixels to (cx, cy) within the radii, the
// smaller on ties, and how many pixels share it.
uint32_t bestRadius(const Edges& e, float32_t cx, float32_t cy, uint32_t minR, uint32_t maxR, uint32_t* support)
{
    std::vector<uint32_t> counts(size_t(maxR - minR) + 1, 0);
    for (size_t i = 0; i < e.xy.size(); i += 2) {
        const double dx = double(e.xy[i]) - cx, dy = double(e.xy[i + 1]) - cy;
        const double d = std::nearbyint(std::sqrt(dx * dx + dy * dy));
        if (d >= minR && d <= maxR) ++counts[size_t(d) - minR];
    }
    const auto best = std::max_element(counts.begin(), counts.end());
    *support = *best;
    return minR + uint32_t(best - counts.begin());
}

// A sequence on its own memory storage; both are released with it.
class StoredSeq {
public:
    explicit StoredSeq(int32_t elemSize)
    {
        lmvInitMemStorage(&storage_);
        lmvInitSeq(&seq_, elemSize, &storage_);
    }
    ~StoredSeq() { lmvDeInitMemStorage(&storage_); }
    StoredSeq(const StoredSeq&) = delete;
    StoredSeq& operator=(const StoredSeq&) = delete;
    lmvSeq* seq() { return &seq_; }

private:
    lmvMemStorage storage_;
    lmvSeq seq_;
};

}  // namespace

int ilmvHoughCircles(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, float32_t dp, float32_t minDist,
                     uint32_t cannyThresh, uint32_t accThresh, uint32_t minRadius, uint32_t maxRadius,
                     float32_t* circles, uint32_t maxCircles, uint32_t* numCircles, ilmvCircleVoter voter)
{
    *numCircles = 0;
    const int64_t cell = std::llround(double(dp) * 65536.0);
    if (!(dp >= 1.0f) || !(dp < 65536.0f) || minRadius > maxRadius) return 0;
    const Edges e = circleEdges(src, w, h, srcStride, cannyThresh);
    const uint32_t aw = uint32_t(((int64_t(w) << 16) + cell - 1) / cell);
    const uint32_t ah = uint32_t(((int64_t(h) << 16) + cell - 1) / cell);
    const size_t pitch = size_t(aw) + 2, cells = pitch * (size_t(ah) + 2);
    std::vector<uint32_t> votes(cells, 0);
    std::vector<uint8_t> peaks(cells, 0);
    ilmvCircleVotes job = {uint32_t(e.xy.size() / 2), e.xy.data(), e.dir.data(), aw,           ah,
                           cell,                      minRadius,   maxRadius,    accThresh,    votes.data(),
                           peaks.data()};
    if (voter) {
        const int code = voter(&job);
        if (code) return code;
    } else {
        voteCircles(&job);
    }
    // Centres in rank order, then circles, each collected in a sequence.
    StoredSeq found(3 * sizeof(float32_t));
    const float32_t minDist2 = minDist * minDist;
    for (uint32_t at : rankedPeaks(votes.data(), peaks.data(), cells)) {
        if (uint32_t(found.seq()->total) == maxCircles) break;
        const float32_t cx = float32_t(at % pitch - 1) * dp, cy = float32_t(at / pitch - 1) * dp;
        bool crowded = false;
        for (int32_t i = 0; i < found.seq()->total && !crowded; ++i) {
            const float32_t* c = static_cast<const float32_t*>(lmvGetSeqElem(found.seq(), i));
            crowded = (c[0] - cx) * (c[0] - cx) + (c[1] - cy) * (c[1] - cy) < minDist2;
        }
        if (crowded) continue;
        uint32_t support = 0;
        const uint32_t r = bestRadius(e, cx, cy, minRadius, maxRadius, &support);
        if (uint64_t(support) * 2 < accThresh || !support) continue;
        const float32_t circle[3] = {cx, cy, float32_t(r)};
        lmvSeqPush(found.seq(), circle);
    }
    const int32_t count = found.seq()->total;
    for (int32_t i = 0; i < count; ++i)
        std::copy_n(static_cast<const float32_t*>(lmvGetSeqElem(found.seq(), i)), 3, circles + 3 * i);
    *numCircles = uint32_t(count);
    return 0;
}
