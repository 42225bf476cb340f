// The objects with state under a fuzzer: the input is a program of steps, each building,
// using and releasing one object: a pyramid (built by both forms, levels compared), a
// KD-tree (queried by both forms, answers compared), a codebook model (learning and judging
// frames), a storage with a sequence (pushes, reads, pops) and the scratch pool (buffers taken
// and released in any order). Objects are released within their step, so the leak checker
// sees any block a step forgets.
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

}  // namespace

LUMIVA_FUZZ_TARGET(objects)
{
    static const bool ready = lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE) == 0;
    if (!ready) return 0;
    Feed in(data, size);
    for (int steps = 0; in.more() && steps < 16; ++steps) {
        switch (in.byte() % 5) {
        case 0: pyramid(in); break;
        case 1: kdTree(in); break;
        case 2: codebook(in); break;
        case 3: sequence(in); break;
        default: scratch(in);
        }
    }
    return 0;
}
