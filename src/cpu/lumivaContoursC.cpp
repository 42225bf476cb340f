// Border following on binary images. The image is read as 0 and 1 inside a frame of zeros;
// a raster scan starts an outer border at a 1 after a 0 and a hole border at a 0 after a
// foreground pixel, follows it clockwise (outer) or counter-clockwise (hole) through the
// 8-neighbours, and labels its pixels with the border's number (negative where the pixel to
// its right was examined and found 0). The last label met on the row (lnbd) names the border
// the new one lies against, which gives the parent. Points are kept where the direction
// changes (the simple chain approximation). The contours come out as a tree walk: children
// are inserted first, so each level lists its members newest first.
#include "cpu/lumivaShape.h"

#include <algorithm>
#include <new>

namespace {

constexpr int kDx[8] = {1, 1, 0, -1, -1, -1, 0, 1};
constexpr int kDy[8] = {0, -1, -1, -1, 0, 1, 1, 1};

struct Border {
    bool hole;
    int32_t parent;  // -1: the frame
    int32_t first, count;
};

// The image as labels with a frame of zeros around it.
class Labels {
public:
    Labels(const uint8_t* src, uint32_t w, uint32_t h, uint32_t stride)
        : pitch_(size_t(w) + 2), cells_(pitch_ * (size_t(h) + 2), 0)
    {
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x) cells_[(y + 1) * pitch_ + x + 1] = src[size_t(y) * stride + x] != 0;
    }
    int32_t& at(int32_t x, int32_t y) { return cells_[size_t(y) * pitch_ + size_t(x)]; }

private:
    size_t pitch_;
    std::vector<int32_t> cells_;
};

// Follows the border from (x0, y0) and labels it; pushes the points (frame coordinates
// minus one) onto the sequence; returns how many.
int32_t follow(Labels& img, int32_t x0, int32_t y0, bool hole, int32_t label, lmvSeq* points)
{
    int32_t count = 0;
    auto push = [&](int32_t x, int32_t y) {
        const int32_t xy[2] = {x - 1, y - 1};
        lmvSeqPush(points, xy);
        ++count;
    };
    int s = hole ? 0 : 4;
    const int first = s;
    int x1, y1;
    do {
        s = (s - 1) & 7;
        x1 = x0 + kDx[s], y1 = y0 + kDy[s];
    } while (img.at(x1, y1) == 0 && s != first);
    if (s == first) {  // a single pixel
        img.at(x0, y0) = -label;
        push(x0, y0);
        return count;
    }
    int32_t x3 = x0, y3 = y0;
    int previous = s ^ 4;
    for (;;) {
        const int end = s;
        int x4 = x3, y4 = y3;
        while (s < 15) {
            ++s;
            x4 = x3 + kDx[s & 7], y4 = y3 + kDy[s & 7];
            if (img.at(x4, y4) != 0) break;
        }
        s &= 7;
        if (unsigned(s - 1) < unsigned(end)) img.at(x3, y3) = -label;  // the right side was examined and is 0
        else if (img.at(x3, y3) == 1) img.at(x3, y3) = label;
        if (s != previous) {
            push(x3, y3);
            previous = s;
        }
        if (x4 == x0 && y4 == y0 && x3 == x1 && y3 == y1) break;
        x3 = x4, y3 = y4;
        s = (s + 4) & 7;
    }
    return count;
}

std::vector<Border> scan(Labels& img, uint32_t w, uint32_t h, ilmvContourMode mode, lmvSeq* points)
{
    std::vector<Border> borders;
    for (int32_t y = 1; y <= int32_t(h); ++y) {
        int32_t lnbd = 0, prev = 0;
        for (int32_t x = 1; x <= int32_t(w); ++x) {
            const int32_t p = img.at(x, y);
            if (p == prev) continue;
            bool hole = false, start = true;
            if (!(prev == 0 && p == 1)) {
                if (p != 0 || prev < 1) start = false;
                else {
                    if (prev != 1) lnbd = x - 1;
                    hole = true;
                }
            }
            if (start && mode == ilmvContoursExternal && (hole || img.at(lnbd, y) > 0)) start = false;
            if (!start) {
                prev = p;
                if (p != 0 && p != 1) lnbd = x;
                continue;
            }
            int32_t parent = -1;
            if (!(mode <= ilmvContoursList || (!hole && mode == ilmvContoursCcomp) || lnbd <= 0)) {
                const int32_t near = std::abs(img.at(lnbd, y)) - 2;
                parent = borders[size_t(near)].hole == hole ? borders[size_t(near)].parent : near;
            }
            const int32_t label = int32_t(borders.size()) + 2;
            const int32_t first = points->total;
            borders.push_back({hole, parent, first, follow(img, x - hole, y, hole, label, points)});
            prev = img.at(x, y);
        }
    }
    return borders;
}

// The tree walk: children newest first, depth first.
std::vector<int32_t> treeOrder(const std::vector<Border>& borders, std::vector<std::vector<int32_t>>& children)
{
    children.assign(borders.size() + 1, {});
    for (size_t k = 0; k < borders.size(); ++k) {
        auto& list = children[size_t(borders[k].parent + 1)];
        list.insert(list.begin(), int32_t(k));
    }
    std::vector<int32_t> order;
    std::vector<int32_t> stack(children[0].rbegin(), children[0].rend());
    while (!stack.empty()) {
        const int32_t k = stack.back();
        stack.pop_back();
        order.push_back(k);
        const auto& kids = children[size_t(k) + 1];
        stack.insert(stack.end(), kids.rbegin(), kids.rend());
    }
    return order;
}

}  // namespace

LMV_STATUS ilmvFindContoursAllocate(uint32_t srcStride, uint32_t maxNumContours, uint32_t maxTotalPoints,
                                    void** handle)
{
    if (!maxNumContours || !maxTotalPoints) return LUMIVA_BAD_PARAMS;
    auto* context = new (std::nothrow) ilmvContourContext{srcStride, maxNumContours, maxTotalPoints, {}, {}};
    if (!context) return LUMIVA_BAD_PARAMS;
    lmvInitMemStorage(&context->storage);
    lmvInitSeq(&context->points, 2 * sizeof(int32_t), &context->storage);
    *handle = context;
    return LUMIVA_SUCCESS;
}

void ilmvFindContoursDelete(void* handle)
{
    auto* context = static_cast<ilmvContourContext*>(handle);
    lmvDeInitMemStorage(&context->storage);
    delete context;
}

LMV_STATUS ilmvFindContours(const uint8_t* src, uint32_t w, uint32_t h, uint32_t stride, ilmvContourMode mode,
                            uint32_t* numContours, uint32_t* numContourPoints, int32_t* contourPoints,
                            int32_t* hierarchy, void* handle)
{
    const bool tree = mode == ilmvContoursCcomp || mode == ilmvContoursTree;
    if (!handle || !numContourPoints || !contourPoints || (tree && !hierarchy) || w > 0x7FFFFFF0u ||
        h > 0x7FFFFFF0u)
        return LUMIVA_BAD_PARAMS;
    auto* context = static_cast<ilmvContourContext*>(handle);
    lmvClearSeq(&context->points);
    Labels img(src, w, h, stride);
    const std::vector<Border> borders = scan(img, w, h, mode, &context->points);
    std::vector<int32_t> all(2 * size_t(context->points.total));
    if (context->points.total) lmvSeqPopMulti(&context->points, all.data(), context->points.total);

    std::vector<std::vector<int32_t>> children;
    const std::vector<int32_t> order = treeOrder(borders, children);
    // Whole contours in output order while both capacities hold.
    std::vector<int32_t> place(borders.size(), -1);
    uint32_t stored = 0, used = 0;
    for (int32_t k : order) {
        const uint32_t n = uint32_t(borders[size_t(k)].count);
        if (stored == context->maxNumContours || n > context->maxTotalPoints - used) break;
        std::copy_n(all.begin() + 2 * borders[size_t(k)].first, 2 * n, contourPoints + 2 * size_t(used));
        numContourPoints[stored] = n;
        place[size_t(k)] = int32_t(stored++);
        used += n;
    }
    *numContours = stored;
    if (!tree) return LUMIVA_SUCCESS;
    auto at = [&](int32_t k) { return k < 0 ? -1 : place[size_t(k)]; };
    for (uint32_t i = 0; i < stored; ++i) {
        const int32_t k = order[i];
        const auto& siblings = children[size_t(borders[size_t(k)].parent + 1)];
        const size_t pos = size_t(std::find(siblings.begin(), siblings.end(), k) - siblings.begin());
        const auto& kids = children[size_t(k) + 1];
        int32_t* e = hierarchy + 4 * size_t(i);
        e[0] = pos + 1 < siblings.size() ? at(siblings[pos + 1]) : -1;
        e[1] = pos > 0 ? at(siblings[pos - 1]) : -1;
        e[2] = kids.empty() ? -1 : at(kids[0]);
        e[3] = at(borders[size_t(k)].parent);
    }
    return LUMIVA_SUCCESS;
}
