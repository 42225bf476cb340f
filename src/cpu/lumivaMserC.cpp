// The MSER engine: the component tree by union-find over pixels sorted by intensity, the
// variation of every node, the stable nodes, the diversity filter, and the regions' pixels and
// statistics.
#include "cpu/lumivaMser.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

namespace {

// The tree of one polarity: every pixel a node; a node whose parent lies at a higher level (or
// the root) is canonical, the component at its level.
class ComponentTree {
public:
    ComponentTree(const uint8_t* src, uint32_t w, uint32_t h, uint32_t stride, bool bright, bool eight)
        : w_(w), h_(h), value_(size_t(w) * h), parent_(value_.size(), -1), link_(value_.size()), area_(value_.size(), 0)
    {
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x)
                value_[size_t(y) * w + x] = bright ? uint8_t(255 - src[size_t(y) * stride + x]) : src[size_t(y) * stride + x];
        build(eight);
    }

    uint8_t value(int32_t p) const { return value_[size_t(p)]; }
    uint32_t area(int32_t p) const { return area_[size_t(p)]; }
    const std::vector<int32_t>& order() const { return order_; }
    const std::vector<int32_t>& parents() const { return parent_; }
    bool canonical(int32_t p) const
    {
        const int32_t q = parent_[size_t(p)];
        return q == p || value_[size_t(q)] > value_[size_t(p)];
    }
    // The canonical node of p's level: up the same-level links.
    int32_t levelRoot(int32_t p) const
    {
        while (parent_[size_t(p)] != p && value_[size_t(parent_[size_t(p)])] == value_[size_t(p)]) p = parent_[size_t(p)];
        return p;
    }

private:
    int32_t find(int32_t p)
    {
        while (link_[size_t(p)] != p) {
            link_[size_t(p)] = link_[size_t(link_[size_t(p)])];
            p = link_[size_t(p)];
        }
        return p;
    }

    void join(int32_t child, int32_t root)
    {
        parent_[size_t(child)] = root;
        link_[size_t(child)] = root;
        area_[size_t(root)] += area_[size_t(child)];
    }

    void build(bool eight)
    {
        // Counting sort: by value, then raster order.
        std::vector<uint32_t> start(257, 0);
        for (uint8_t v : value_) ++start[size_t(v) + 1];
        for (int v = 0; v < 256; ++v) start[size_t(v) + 1] += start[size_t(v)];
        order_.resize(value_.size());
        for (size_t p = 0; p < value_.size(); ++p) order_[start[value_[p]]++] = int32_t(p);
        static const int kDx[8] = {-1, 1, 0, 0, -1, 1, -1, 1}, kDy[8] = {0, 0, -1, 1, -1, -1, 1, 1};
        for (int32_t p : order_) {
            parent_[size_t(p)] = p, link_[size_t(p)] = p, area_[size_t(p)] = 1;
            const int32_t x = int32_t(uint32_t(p) % w_), y = int32_t(uint32_t(p) / w_);
            for (int k = 0; k < (eight ? 8 : 4); ++k) {
                const int32_t nx = x + kDx[k], ny = y + kDy[k];
                if (nx < 0 || ny < 0 || nx >= int32_t(w_) || ny >= int32_t(h_)) continue;
                const int32_t n = ny * int32_t(w_) + nx;
                if (parent_[size_t(n)] < 0) continue;  // not reached yet
                int32_t rn = find(n), rp = find(p);
                if (rn == rp) continue;
                if (value_[size_t(rn)] < value_[size_t(rp)]) join(rn, rp);  // the older component sinks below
                else if (area_[size_t(rn)] < area_[size_t(rp)]) join(rn, rp);
                else join(rp, rn);
            }
        }
    }

    uint32_t w_, h_;
    std::vector<uint8_t> value_;
    std::vector<int32_t> parent_, link_;
    std::vector<uint32_t> area_;
    std::vector<int32_t> order_;
};

// The canonical nodes with their tree links and variations.
struct Node {
    int32_t pixel;
    int32_t up = -1;        // canonical parent (node index)
    int32_t main = -1;      // the child of largest area
    double variation = 0;   // float or 16.16, compared as stored
    bool kept = false;
};

std::vector<Node> canonicalNodes(const ComponentTree& t, std::vector<int32_t>& nodeOf)
{
    std::vector<Node> nodes;
    for (int32_t p : t.order())
        if (t.canonical(p)) nodeOf[size_t(p)] = int32_t(nodes.size()), nodes.push_back({p});
    for (Node& n : nodes) {
        const int32_t q = t.parents()[size_t(n.pixel)];
        if (q != n.pixel) n.up = nodeOf[size_t(t.levelRoot(q))];
    }
    for (size_t i = 0; i < nodes.size(); ++i) {
        const int32_t u = nodes[i].up;
        if (u >= 0 && (nodes[size_t(u)].main < 0 || t.area(nodes[i].pixel) > t.area(nodes[size_t(nodes[size_t(u)].main)].pixel)))
            nodes[size_t(u)].main = int32_t(i);
    }
    return nodes;
}

// (area at level + delta - area at level - delta) / area, in float or in 16.16 fixed point.
void variations(const ComponentTree& t, std::vector<Node>& nodes, uint32_t delta, bool fixedPoint)
{
    for (Node& n : nodes) {
        const int level = t.value(n.pixel);
        size_t hi = size_t(&n - nodes.data()), lo = hi;
        while (nodes[hi].up >= 0 && t.value(nodes[size_t(nodes[hi].up)].pixel) <= level + int(delta))
            hi = size_t(nodes[hi].up);
        while (nodes[lo].main >= 0 && t.value(nodes[size_t(nodes[lo].main)].pixel) >= level - int(delta))
            lo = size_t(nodes[lo].main);
        const uint64_t grown = t.area(nodes[hi].pixel) - t.area(nodes[lo].pixel), area = t.area(n.pixel);
        n.variation = fixedPoint ? double((grown << 16) / area) : double(float32_t(grown) / float32_t(area));
    }
}

void selectStable(const ComponentTree& t, std::vector<Node>& nodes, const ilmvMserContext& c, bool fixedPoint)
{
    const double limit = fixedPoint ? std::floor(double(c.maxVariation) * 65536.0) : double(c.maxVariation);
    std::vector<uint8_t> beatenByChild(nodes.size(), 0);
    for (const Node& n : nodes)
        if (n.up >= 0 && nodes[size_t(n.up)].variation > n.variation) beatenByChild[size_t(n.up)] = 1;
    for (size_t i = 0; i < nodes.size(); ++i) {
        Node& n = nodes[i];
        const uint32_t area = t.area(n.pixel);
        n.kept = area >= c.minArea && area <= c.maxArea && n.variation <= limit && !beatenByChild[i] &&
                 (n.up < 0 || n.variation < nodes[size_t(n.up)].variation);
    }
    // Diversity: from the top down, a region too close in area to its nearest kept ancestor goes.
    for (size_t i = nodes.size(); i-- > 0;) {
        if (!nodes[i].kept) continue;
        int32_t a = nodes[i].up;
        while (a >= 0 && !nodes[size_t(a)].kept) a = nodes[size_t(a)].up;
        if (a < 0) continue;
        const double outer = t.area(nodes[size_t(a)].pixel), inner = t.area(nodes[i].pixel);
        if (outer - inner < double(c.minDiversity) * outer) nodes[i].kept = false;
    }
}

// The pixels under each node of the pixel tree, gathered per region in raster order.
class Subtrees {
public:
    explicit Subtrees(const std::vector<int32_t>& parent) : first_(parent.size() + 1, 0), kids_(parent.size())
    {
        for (size_t p = 0; p < parent.size(); ++p)
            if (parent[p] != int32_t(p)) ++first_[size_t(parent[p]) + 1];
        for (size_t i = 1; i < first_.size(); ++i) first_[i] += first_[i - 1];
        std::vector<uint32_t> fill(first_.begin(), first_.end() - 1);
        for (size_t p = 0; p < parent.size(); ++p)
            if (parent[p] != int32_t(p)) kids_[fill[size_t(parent[p])]++] = int32_t(p);
    }
    void collect(int32_t root, std::vector<int32_t>& out) const
    {
        out.assign(1, root);
        for (size_t i = 0; i < out.size(); ++i)
            for (uint32_t k = first_[size_t(out[i])]; k < first_[size_t(out[i]) + 1]; ++k) out.push_back(kids_[k]);
        std::sort(out.begin(), out.end());
    }

private:
    std::vector<uint32_t> first_;
    std::vector<int32_t> kids_;
};

// Writes one region if both capacities hold.
bool emit(const ilmvMserOutputs& out, const std::vector<int32_t>& pixels, const uint8_t* src, uint32_t w,
          uint32_t stride, double variation, uint8_t polarity, uint32_t index, uint32_t* usedPixels)
{
    const uint32_t n = uint32_t(pixels.size());
    if (n > out.maxTotalPixels - *usedPixels) return false;
    uint32_t x0 = w, y0 = UINT32_MAX, x1 = 0, y1 = 0;
    double sum = 0, sx = 0, sy = 0, sxx = 0, sxy = 0, syy = 0;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t x = uint32_t(pixels[i]) % w, y = uint32_t(pixels[i]) / w;
        out.pixelXY[2 * (size_t(*usedPixels) + i)] = uint16_t(x);
        out.pixelXY[2 * (size_t(*usedPixels) + i) + 1] = uint16_t(y);
        x0 = std::min(x0, x), x1 = std::max(x1, x), y0 = std::min(y0, y), y1 = std::max(y1, y);
        sum += src[size_t(y) * stride + x];
        sx += x, sy += y, sxx += double(x) * x, sxy += double(x) * y, syy += double(y) * y;
    }
    *usedPixels += n;
    out.numPixelsInRegion[index] = n;
    if (out.regionRects) {
        uint32_t* rect = out.regionRects + 4 * size_t(index);
        rect[0] = x0, rect[1] = y0, rect[2] = x1, rect[3] = y1;
    }
    if (out.regionVariation) out.regionVariation[index] = float32_t(variation);
    if (out.regionPolarity) out.regionPolarity[index] = polarity;
    if (out.regionEllipses) {
        const double cx = sx / n, cy = sy / n;
        float32_t* e = out.regionEllipses + 6 * size_t(index);
        e[0] = float32_t(sum / n), e[1] = float32_t(cx), e[2] = float32_t(cy);
        e[3] = float32_t(sxx / n - cx * cx), e[4] = float32_t(sxy / n - cx * cy), e[5] = float32_t(syy / n - cy * cy);
    }
    return true;
}

}  // namespace

LMV_STATUS ilmvMserInit(uint32_t width, uint32_t height, uint32_t delta, uint32_t minArea, uint32_t maxArea,
                        float32_t maxVariation, float32_t minDiversity, uint32_t maxRegions, void** handle)
{
    if (!width || !height || width > 65536 || height > 65536 || uint64_t(width) * height > 0x7FFFFFFFu || !delta ||
        delta > 255 || minArea > maxArea || !(maxVariation >= 0) || !(minDiversity >= 0 && minDiversity < 1) ||
        !maxRegions)
        return LUMIVA_BAD_PARAMS;
    auto* c = new (std::nothrow)
        ilmvMserContext{width, height, delta, minArea, maxArea, maxVariation, minDiversity, maxRegions};
    if (!c) return LUMIVA_BAD_PARAMS;
    *handle = c;
    return LUMIVA_SUCCESS;
}

void ilmvMserRelease(void* handle)
{
    delete static_cast<ilmvMserContext*>(handle);
}

LMV_STATUS ilmvMser(const void* handle, const uint8_t* src, uint32_t w, uint32_t h, uint32_t stride,
                    bool eightConnected, bool fixedPoint, uint32_t polarities, const ilmvMserOutputs& out)
{
    const auto* c = static_cast<const ilmvMserContext*>(handle);
    if (!c || w > c->width || h > c->height || !out.numPixelsInRegion || !out.pixelXY) return LUMIVA_BAD_PARAMS;
    uint32_t stored = 0, usedPixels = 0;
    bool full = false;
    std::vector<int32_t> pixels;
    for (uint8_t polarity = 0; polarity < 2 && !full; ++polarity) {
        if (!(polarities & (1u << polarity))) continue;
        const ComponentTree tree(src, w, h, stride, polarity == 1, eightConnected);
        std::vector<int32_t> nodeOf(size_t(w) * h, -1);
        std::vector<Node> nodes = canonicalNodes(tree, nodeOf);
        variations(tree, nodes, c->delta, fixedPoint);
        selectStable(tree, nodes, *c, fixedPoint);
        const Subtrees subtrees(tree.parents());
        for (const Node& n : nodes) {
            if (!n.kept) continue;
            const double variation = fixedPoint ? n.variation / 65536.0 : n.variation;
            subtrees.collect(n.pixel, pixels);
            if (stored == c->maxRegions ||
                !emit(out, pixels, src, w, stride, variation, polarity, stored, &usedPixels)) {
                full = true;
                break;
            }
            ++stored;
        }
    }
    *out.numRegions = stored;
    return LUMIVA_SUCCESS;
}
