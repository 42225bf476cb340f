// The objects with state under a fuzzer: the input is a program of steps, each building,
// using and releasing one object: a pyramid (built by both forms, levels compared), a
// KD-tree (queried by both forms, answers compared), a codebook model (learning and judging
// frames), a storage with a sequence (pushes, reads, pops), the scratch pool (buffers taken
// and released in any order), FAST corner lists (both forms, capacities from the input),
// contour contexts (every mode, capacities from the input, the contours then drawn, filled,
// hulled and tested against) and MSER handles (parameters and capacities from the input).
// Objects are released within their step, so the leak checker sees any block a step forgets.
#include "lumivaFuzz.h"
#include "lumivaKernels.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// Reads the input front to back; past its end every value is 0.
class Feed {
public:
    Feed(const uint8_t* data, size_t size) : data_(data), left_(size) {}
    bool more() const { return left_ > 0; }
    uint8_t byte()
    {
        if (!left_) return 0;
        --left_;
        return *data_++;
    }
    uint32_t upTo(uint32_t n) { return n ? (byte() | uint32_t(byte()) << 8) % (n + 1) : 0; }
    void fill(void* to, size_t n)
    {
        auto* p = static_cast<uint8_t*>(to);
        for (size_t i = 0; i < n; ++i) p[i] = byte();
    }

private:
    const uint8_t* data_;
    size_t left_;
};

void differ(const char* what)
{
    std::fprintf(stderr, "lumiva fuzz: forms differ: %s\n", what);
    std::abort();
}

void pyramid(Feed& in)
{
    // The caller's duty: each level halves evenly, so both sides are multiples of 2^(levels-1).
    const uint32_t levels = 1 + in.upTo(3), unit = 1u << (levels - 1);
    const uint32_t w = unit * (1 + in.upTo(12)), h = unit * (1 + in.upTo(12));
    std::vector<uint8_t> base(w * h);
    in.fill(base.data(), base.size());
    lmvPyramidLevel ref[4], simd[4];
    lmvPyramidAllocate(ref, w, h, 1, levels, 0);
    lmvPyramidAllocate(simd, w, h, 1, levels, 0);
    if (lmvPyramidCreateu8C(base.data(), w, h, levels, ref) != lmvPyramidCreateu8V(base.data(), w, h, levels, simd))
        differ("pyramid results");
    for (uint32_t i = 1; i < levels; ++i)
        if (std::memcmp(ref[i].ptr, simd[i].ptr, ref[i].width * ref[i].height) != 0) differ("pyramid levels");
    lmvPyramidDelete(ref, levels, 1);
    lmvPyramidDelete(simd, levels, 1);
}

void kdTree(Feed& in)
{
    const int32_t n = 1 + int32_t(in.upTo(63));
    std::vector<int8_t> vectors(36 * size_t(n));
    in.fill(vectors.data(), vectors.size());
    // Reciprocal lengths are positive and finite: the caller's duty for a descriptor.
    std::vector<float32_t> lengths(static_cast<size_t>(n));
    for (float32_t& l : lengths) l = (1 + in.upTo(255)) / 4096.0f;
    lmvKDTree36s8f32* tree = nullptr;
    if (lmvKDTreeCreate36s8f32(vectors.data(), lengths.data(), n, &tree) != 0 || !tree) return;
    int8_t query[36];
    in.fill(query, sizeof query);
    const int32_t maxNNs = 1 + int32_t(in.upTo(7)), checks = int32_t(in.upTo(300));
    uint32_t found[2] = {0, 0}, inds[2][8] = {};
    float32_t dists[2][8] = {};
    lmvKDTreeQuery36s8f32C(tree, query, 0.01f, maxNNs, 4.0f, checks, nullptr, &found[0], inds[0], dists[0]);
    lmvKDTreeQuery36s8f32V(tree, query, 0.01f, maxNNs, 4.0f, checks, nullptr, &found[1], inds[1], dists[1]);
    if (found[0] != found[1] || std::memcmp(inds[0], inds[1], found[0] * 4) ||
        std::memcmp(dists[0], dists[1], found[0] * 4))
        differ("KD-tree answers");
    lmvKDTreeDestroy36s8f32(tree);
}

void codebook(Feed& in)
{
    const uint32_t w = 1 + in.upTo(23), h = 1 + in.upTo(15);
    lmvBGCodeBookModel* model = nullptr;
    lmvBGCodeWord** map = lmvCreateBGCodeBookModel(w, h, &model);
    uint8_t bounds[3], low[3], high[3];
    in.fill(bounds, 3);
    in.fill(low, 3);
    in.fill(high, 3);
    lmvConfigBGCodeBookModel(model, bounds, low, high);
    std::vector<uint8_t> frame(w * h * 3), mask(w * h);
    for (uint32_t step = 0, steps = 1 + in.upTo(5); step < steps; ++step) {
        in.fill(frame.data(), frame.size());
        int32_t updated = 0;
        uint32_t foreground = 0;
        lmvBGCodeBookUpdateu8(model, frame.data(), w, h, 0, nullptr, 0, map, &updated);
        lmvBGCodeBookDiffu8(model, frame.data(), w, h, 0, mask.data(), 0, map, &foreground);
        if (in.byte() & 1) lmvBGCodeBookClearStaleu8(model, int32_t(in.upTo(8)), mask.data(), w, h, 0, map);
    }
    lmvReleaseBGCodeBookModel(&model);
}

void sequence(Feed& in)
{
    lmvMemStorage storage;
    lmvInitMemStorage(&storage);
    lmvSeq seq;
    const int32_t elemSize = 1 + int32_t(in.upTo(63));
    lmvInitSeq(&seq, elemSize, &storage);
    std::vector<uint8_t> element(size_t(elemSize) * 64);
    for (uint32_t step = 0, steps = in.upTo(40); step < steps; ++step) {
        switch (in.byte() % 4) {
        case 0: in.fill(element.data(), size_t(elemSize)); lmvSeqPush(&seq, element.data()); break;
        case 1: {
            // Filling many at once is for a fresh or cleared sequence: the documented use.
            lmvClearSeq(&seq);
            const int32_t count = int32_t(in.upTo(64));
            in.fill(element.data(), size_t(count) * size_t(elemSize));
            lmvSeqPushMulti(&seq, element.data(), count);
            break;
        }
        case 2: lmvSeqPopMulti(&seq, element.data(), std::min<int32_t>(seq.total, int32_t(in.upTo(64)))); break;
        default:
            if (void* e = lmvGetSeqElem(&seq, int32_t(in.upTo(uint32_t(seq.total)))))
                std::memset(e, 0, size_t(elemSize));
        }
    }
    lmvDeInitMemStorage(&storage);
}

void scratch(Feed& in)
{
    lmvMemInit();
    void* taken[8] = {};
    for (uint32_t step = 0, steps = in.upTo(24); step < steps; ++step) {
        void*& slot = taken[in.byte() % 8];
        if (slot) {
            local_lmvReleaseScratchBuffer(slot);
            slot = nullptr;
        } else {
            const size_t size = in.upTo(65535);
            slot = (in.byte() & 1) ? local_lmvGetScratchBufferAligned(size, size_t(1) << in.upTo(7))
                                   : local_lmvGetScratchBufferUnaligned(size);
            if (slot) std::memset(slot, 0xA5, size);
        }
    }
    for (void* p : taken) local_lmvReleaseScratchBuffer(p);
    lmvMemDeInit();
}

// Corner lists: FAST-9 and FAST-10 with scores and suppression, both forms on the same image,
// with the capacity, the threshold and the frame from the input.
void corners(Feed& in)
{
    const uint32_t w = 8 + in.upTo(56), h = 8 + in.upTo(24), stride = w + in.upTo(7);
    // What the entry makes of the frame before the forms see it: below 4 it is 3 (the segment
    // test reaches 3 pixels out), and it fits twice in each side (the entry's rule).
    uint32_t border = in.upTo(std::min(w, h) / 2 - 1);
    if (border < 4) border = 3;
    const int32_t barrier = int32_t(in.upTo(120));
    // The capacity is at least 1: a corner is stored before the capacity is checked.
    const uint32_t capacity = 1 + in.upTo(200);
    const uint32_t nms = in.byte() & 1;
    std::vector<uint8_t> image((h - 1) * stride + w);
    in.fill(image.data(), image.size());
    std::vector<uint32_t> xy[2], scores[2], temp[2];
    uint32_t found[2] = {0, 0};
    const bool arc10 = in.byte() & 1;
    for (int form = 0; form < 2; ++form) {
        xy[form].assign(2 * capacity, 0);
        scores[form].assign(capacity, 0);
        temp[form].assign(3 * capacity + h, 0);
        auto fast = arc10 ? (form ? lmvCornerFast10Scoreu8V : lmvCornerFast10Scoreu8C)
                          : (form ? lmvCornerFast9Scoreu8_v2V : lmvCornerFast9Scoreu8_v2C);
        fast(image.data(), w, h, stride, barrier, border, xy[form].data(), scores[form].data(), capacity,
             &found[form], nms, temp[form].data());
    }
    const uint32_t n = std::min(found[0], capacity);
    if (found[0] != found[1] || std::memcmp(xy[0].data(), xy[1].data(), 2 * n * 4) ||
        std::memcmp(scores[0].data(), scores[1].data(), n * 4))
        differ("corner lists");
}

void contours(Feed& in)
{
    const uint32_t w = 1 + in.upTo(40), h = 1 + in.upTo(30);
    std::vector<uint8_t> image(size_t(w) * h);
    for (uint8_t& v : image) v = in.byte() & 1;
    const uint32_t maxContours = 1 + in.upTo(30), maxPoints = 1 + in.upTo(400);
    void* handle = nullptr;
    if (lmvFindContoursAllocate(w, maxContours, maxPoints, &handle) != LUMIVA_SUCCESS) return;
    std::vector<uint32_t> sizes(maxContours);
    std::vector<int32_t> points(2 * size_t(maxPoints)), hierarchy(4 * size_t(maxContours));
    uint32_t count = 0;
    switch (in.byte() % 4) {
    case 0: lmvFindContoursExternalu8(image.data(), w, h, w, &count, sizes.data(), points.data(), handle); break;
    case 1: lmvFindContoursListu8(image.data(), w, h, w, &count, sizes.data(), points.data(), handle); break;
    case 2: lmvFindContoursCcompu8(image.data(), w, h, w, &count, sizes.data(), points.data(), hierarchy.data(), handle); break;
    default: lmvFindContoursTreeu8(image.data(), w, h, w, &count, sizes.data(), points.data(), hierarchy.data(), handle);
    }
    lmvFindContoursDelete(handle);
    if (!count) return;
    const uint8_t colour[3] = {1, 2, 3};
    lmvDrawContourInterleavedu8(image.data(), w / 3 ? w / 3 : 1, h, w, w / 3 ? 3 : 1, count, sizes.data(), points.data(),
                                int32_t(in.upTo(count)) - 1, colour, in.byte() & 1 ? 1 : -1);
    std::vector<uint32_t> hull(sizes[0]);
    uint32_t corners = 0;
    lmvFindConvexHull(points.data(), sizes[0], in.byte() & 1, hull.data(), &corners);
    (void)lmvPointPolygonTest(points.data(), sizes[0], float(in.upTo(w)), float(in.upTo(h)), in.byte() & 1);
    lmvFillConvexPolyu8(points.data(), sizes[0], image.data(), w, h, w, 1, colour);
}

void mser(Feed& in)
{
    const uint32_t w = 1 + in.upTo(48), h = 1 + in.upTo(32);
    std::vector<uint8_t> image(size_t(w) * h);
    in.fill(image.data(), image.size());
    const uint32_t maxRegions = 1 + in.upTo(20), maxPixels = in.upTo(2000);
    void* handle = nullptr;
    if (lmvMserInit(w, h, 1 + in.upTo(10), in.upTo(50), 1 + in.upTo(2000), float(in.upTo(100)) / 50.0f,
                    float(in.upTo(99)) / 100.0f, maxRegions, &handle) != LUMIVA_SUCCESS)
        return;
    std::vector<uint32_t> sizes(maxRegions), rects(4 * size_t(maxRegions));
    std::vector<uint16_t> xy(2 * size_t(maxPixels) + 2);
    std::vector<float32_t> variation(maxRegions), ellipses(6 * size_t(maxRegions));
    std::vector<uint8_t> polarity(maxRegions);
    uint32_t count = 0;
    switch (in.byte() % 3) {
    case 0: lmvMserExtu8_v3ST(handle, image.data(), w, h, w, &count, sizes.data(), xy.data(), maxPixels, rects.data(),
                              variation.data(), polarity.data(), ellipses.data()); break;
    case 1: lmvMserExtNN8u8ST(handle, image.data(), w, h, w, &count, sizes.data(), xy.data(), maxPixels, rects.data(),
                              variation.data(), polarity.data()); break;
    default: lmvMseru8FxpST(handle, image.data(), w, h, w, &count, sizes.data(), xy.data(), maxPixels);
    }
    lmvMserRelease(handle);
}

}  // namespace

LUMIVA_FUZZ_TARGET(objects)
{
    static const bool ready = lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE) == 0;
    if (!ready) return 0;
    Feed in(data, size);
    for (int steps = 0; in.more() && steps < 16; ++steps) {
        switch (in.byte() % 8) {
        case 0: pyramid(in); break;
        case 5: corners(in); break;
        case 6: contours(in); break;
        case 7: mser(in); break;
        case 1: kdTree(in); break;
        case 2: codebook(in); break;
        case 3: sequence(in); break;
        default: scratch(in);
        }
    }
    return 0;
}
