// Polygons on integer vertices: 8-connected lines (the major axis steps every pixel, the minor
// one when the error term goes negative, drawn left to right after clipping), convex polygon
// filling and contour filling by the common fixed-point scan conversion (x in 1/65536 pixel),
// convex hulls by the monotone chain, and point-in-polygon tests.
#include "cpu/lumivaShape.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace {

constexpr int kShift = 16;
constexpr int64_t kOne = int64_t(1) << kShift;

struct Pt {
    int64_t x, y;
};

// Clips a segment to the image; false when nothing of it is inside.
bool clipLine(int64_t width, int64_t height, Pt& a, Pt& b)
{
    if (width <= 0 || height <= 0) return false;
    const int64_t right = width - 1, bottom = height - 1;
    auto code = [&](const Pt& p) { return (p.x < 0) + (p.x > right) * 2 + (p.y < 0) * 4 + (p.y > bottom) * 8; };
    int c1 = code(a), c2 = code(b);
    if ((c1 & c2) == 0 && (c1 | c2) != 0) {
        if (c1 & 12) {
            const int64_t edge = c1 < 8 ? 0 : bottom;
            a.x += int64_t(double(edge - a.y) * double(b.x - a.x) / double(b.y - a.y));
            a.y = edge;
            c1 = (a.x < 0) + (a.x > right) * 2;
        }
        if (c2 & 12) {
            const int64_t edge = c2 < 8 ? 0 : bottom;
            b.x += int64_t(double(edge - b.y) * double(b.x - a.x) / double(b.y - a.y));
            b.y = edge;
            c2 = (b.x < 0) + (b.x > right) * 2;
        }
        if ((c1 & c2) == 0 && (c1 | c2) != 0) {
            if (c1) {
                const int64_t edge = c1 == 1 ? 0 : right;
                a.y += int64_t(double(edge - a.x) * double(b.y - a.y) / double(b.x - a.x));
                a.x = edge;
                c1 = 0;
            }
            if (c2) {
                const int64_t edge = c2 == 1 ? 0 : right;
                b.y += int64_t(double(edge - b.x) * double(b.y - a.y) / double(b.x - a.x));
                b.x = edge;
                c2 = 0;
            }
        }
    }
    return (c1 | c2) == 0;
}

void line(const ilmvCanvas& canvas, Pt a, Pt b)
{
    const bool outside = uint64_t(a.x) >= canvas.width || uint64_t(b.x) >= canvas.width ||
                         uint64_t(a.y) >= canvas.height || uint64_t(b.y) >= canvas.height;
    if (outside && !clipLine(canvas.width, canvas.height, a, b)) return;
    if (b.x < a.x) std::swap(a, b);  // always drawn left to right
    int64_t dx = b.x - a.x, dy = b.y - a.y;
    const int64_t yStep = dy < 0 ? -1 : 1;
    dy = std::abs(dy);
    const bool steep = dy > dx;
    if (steep) std::swap(dx, dy);
    // The major axis steps every pixel; the minor one when the error goes negative.
    int64_t err = dx - 2 * dy, x = a.x, y = a.y;
    for (int64_t i = 0; i <= dx; ++i) {
        canvas.paint(int32_t(x), int32_t(y));
        const bool minor = err < 0;
        err += -2 * dy + (minor ? 2 * dx : 0);
        if (steep) y += yStep, x += minor ? 1 : 0;
        else x += 1, y += minor ? yStep : 0;
    }
}

struct Edge {
    int32_t y0, y1;
    int64_t x, dx;
    Edge* next;
};

// The edges of a closed polygon, its outline drawn on the way.
void collectEdges(const ilmvCanvas& canvas, const std::vector<Pt>& v, std::vector<Edge>& edges)
{
    Pt p0 = {v.back().x * kOne, v.back().y};
    for (const Pt& vertex : v) {
        const Pt p1 = {vertex.x * kOne, vertex.y};
        Pt t0 = {(p0.x + (kOne >> 1)) >> kShift, p0.y}, t1 = {(p1.x + (kOne >> 1)) >> kShift, p1.y};
        line(canvas, t0, t1);
        Pt c0 = p0, c1 = p1;
        if (uint64_t(t0.x) >= canvas.width || uint64_t(t1.x) >= canvas.width || uint64_t(t0.y) >= canvas.height ||
            uint64_t(t1.y) >= canvas.height) {
            clipLine(canvas.width, canvas.height, t0, t1);
            if (t0.y != t1.y) c0 = {t0.x * kOne, t0.y}, c1 = {t1.x * kOne, t1.y};
        } else {
            c0.x += kOne >> 1;
            c1.x += kOne >> 1;
        }
        if (p0.y != p1.y) {
            Edge e = {};
            e.dx = (c1.x - c0.x) / (c1.y - c0.y);
            if (p0.y < p1.y) e.y0 = int32_t(p0.y), e.y1 = int32_t(p1.y), e.x = c0.x + (p0.y - c0.y) * e.dx;
            else e.y0 = int32_t(p1.y), e.y1 = int32_t(p0.y), e.x = c1.x + (p1.y - c1.y) * e.dx;
            edges.push_back(e);
        }
        p0 = p1;
    }
}

// Even-odd filling of an edge collection: an active list kept in x order, spans between
// pairs of edges, each edge stepping its dx per row.
void fillEdges(const ilmvCanvas& canvas, std::vector<Edge>& edges)
{
    const int total = int(edges.size());
    if (total < 2) return;
    int32_t yMax = INT_MIN, yMin = INT_MAX;
    int64_t xMax = LLONG_MIN, xMin = LLONG_MAX;
    for (const Edge& e : edges) {
        const int64_t x1 = e.x + (e.y1 - e.y0) * e.dx;
        yMin = std::min(yMin, e.y0), yMax = std::max(yMax, e.y1);
        xMin = std::min({xMin, e.x, x1}), xMax = std::max({xMax, e.x, x1});
    }
    if (yMax < 0 || yMin >= int32_t(canvas.height) || xMax < 0 || xMin >= (int64_t(canvas.width) << kShift)) return;
    std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) {
        return a.y0 != b.y0 ? a.y0 < b.y0 : a.x != b.x ? a.x < b.x : a.dx < b.dx;
    });
    Edge head = {};
    head.y0 = INT_MAX;
    edges.push_back(head);
    head.next = nullptr;
    int i = 0;
    Edge* e = &edges[0];
    yMax = std::min(yMax, int32_t(canvas.height));
    for (int32_t y = e->y0; y < yMax; ++y) {
        Edge *prelast = &head, *last = head.next, *keep;
        bool draw = false;
        while (last || e->y0 == y) {
            if (last && last->y1 == y) {  // the edge ends here
                prelast->next = last->next;
                last = last->next;
                continue;
            }
            keep = prelast;
            if (last && (e->y0 > y || last->x < e->x)) {
                prelast = last;
                last = last->next;
            } else if (i < total) {  // an edge starts here
                prelast->next = e;
                e->next = last;
                prelast = e;
                e = &edges[size_t(++i)];
            } else {
                break;
            }
            if (draw) {
                if (y >= 0) {
                    const Edge* lo = keep->x > prelast->x ? prelast : keep;
                    const Edge* hi = keep->x > prelast->x ? keep : prelast;
                    canvas.span(y, int32_t((lo->x + kOne - 1) >> kShift), int32_t(hi->x >> kShift));
                }
                keep->x += keep->dx;
                prelast->x += prelast->dx;
            }
            draw = !draw;
        }
        // Bubble the active list back into x order.
        Edge* sortedFrom = nullptr;
        do {
            prelast = &head;
            last = head.next;
            Edge* exchanged = nullptr;
            while (last != sortedFrom && last->next) {
                Edge* te = last->next;
                if (last->x > te->x) {
                    prelast->next = te;
                    last->next = te->next;
                    te->next = last;
                    prelast = te;
                    exchanged = prelast;
                } else {
                    prelast = last;
                    last = te;
                }
            }
            if (!exchanged) break;
            sortedFrom = exchanged;
        } while (sortedFrom != head.next && sortedFrom != &head);
    }
}

int64_t cross(const Pt& o, const Pt& a, const Pt& b)
{
    return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

}  // namespace

void ilmvCanvas::paint(int32_t x, int32_t y) const
{
    for (uint32_t c = 0; c < channels; ++c) {
        uint8_t* row = (interleaved ? interleaved : planes[c]) + size_t(y) * stride;
        row[interleaved ? size_t(x) * channels + c : size_t(x)] = colour[c];
    }
}

void ilmvCanvas::span(int32_t y, int32_t x0, int32_t x1) const
{
    if (x0 >= int32_t(width) || x1 < 0 || y < 0 || y >= int32_t(height)) return;
    x0 = std::max(x0, 0);
    x1 = std::min(x1, int32_t(width) - 1);
    for (int32_t x = x0; x <= x1; ++x) paint(x, y);
}

// Thickness 1 draws each contour's closed outline; a negative thickness fills all the chosen
// contours as one even-odd collection (so a hole listed with its outer contour stays empty).
void ilmvDrawContours(const ilmvCanvas& canvas, uint32_t numContours, const uint32_t* numContourPoints,
                      const int32_t* contourPoints, int32_t contourIndex, int32_t thickness)
{
    std::vector<Edge> edges;
    size_t at = 0;
    for (uint32_t k = 0; k < numContours; ++k) {
        const uint32_t n = numContourPoints[k];
        const int32_t* p = contourPoints + 2 * at;
        at += n;
        if (!n || (contourIndex >= 0 && uint32_t(contourIndex) != k)) continue;
        std::vector<Pt> v;
        for (uint32_t i = 0; i < n; ++i) v.push_back({p[2 * i], p[2 * i + 1]});
        if (thickness < 0) {
            v.push_back(v.front());
            collectEdges(canvas, v, edges);
            continue;
        }
        for (uint32_t i = 0; i < n; ++i) line(canvas, v[i], v[(i + 1) % n]);
    }
    if (thickness < 0) fillEdges(canvas, edges);
}

// The outline by lines, then spans between the left and right chains from the topmost vertex,
// their x in 1/65536 pixel rounded to the nearest pixel.
void ilmvFillConvexPoly(const ilmvCanvas& canvas, const int32_t* polygon, uint32_t numPoints)
{
    const int n = int(numPoints);
    std::vector<Pt> v(numPoints);
    for (int i = 0; i < n; ++i) v[size_t(i)] = {polygon[2 * i], polygon[2 * i + 1]};
    int64_t xMin = v[0].x, xMax = v[0].x, yMin = v[0].y, yMax = v[0].y;
    int top = 0;
    Pt p0 = v[size_t(n - 1)];
    for (int i = 0; i < n; ++i) {
        const Pt& p = v[size_t(i)];
        if (p.y < yMin) yMin = p.y, top = i;
        yMax = std::max(yMax, p.y), xMax = std::max(xMax, p.x), xMin = std::min(xMin, p.x);
        line(canvas, p0, p);
        p0 = p;
    }
    if (n < 3 || xMax < 0 || yMax < 0 || xMin >= int64_t(canvas.width) || yMin >= int64_t(canvas.height)) return;
    yMax = std::min<int64_t>(yMax, int64_t(canvas.height) - 1);
    struct Chain {
        int idx, di;
        int64_t x, dx;
        int64_t ye;
    } edge[2] = {{top, 1, -kOne, 0, yMin}, {top, n - 1, -kOne, 0, yMin}};
    int edges = n;
    int64_t y = yMin;
    do {
        for (Chain& c : edge) {
            if (y < c.ye) continue;
            int idx0 = c.idx, idx = idx0 + c.di;
            if (idx >= n) idx -= n;
            while (edges-- > 0) {
                const int64_t ty = v[size_t(idx)].y;
                if (ty > y) {
                    const int64_t xs = v[size_t(idx0)].x * kOne, xe = v[size_t(idx)].x * kOne;
                    c.ye = ty;
                    c.dx = ((xe - xs) * 2 + (ty - y)) / (2 * (ty - y));
                    c.x = xs;
                    c.idx = idx;
                    break;
                }
                idx0 = idx;
                idx += c.di;
                if (idx >= n) idx -= n;
            }
        }
        if (edges < 0) break;
        if (y >= 0) {
            const int left = edge[0].x > edge[1].x ? 1 : 0;
            canvas.span(int32_t(y), int32_t((edge[left].x + (kOne >> 1)) >> kShift),
                        int32_t((edge[1 - left].x + (kOne >> 1)) >> kShift));
        }
        edge[0].x += edge[0].dx;
        edge[1].x += edge[1].dx;
    } while (++y <= yMax);
}

// Andrew's monotone chain on (x, y) sorted points, collinear points dropped. The hull comes out
// counter-clockwise with the y axis pointing up (clockwise on a screen whose y points down),
// starting at the point of smallest x (then smallest y); `clockwise` reverses it.
LMV_STATUS ilmvConvexHull(const int32_t* polygon, uint32_t numPoints, uint32_t clockwise, uint32_t* hullIndices,
                          uint32_t* numHullPoints)
{
    if (!numPoints || !hullIndices || clockwise > 1) return LUMIVA_BAD_PARAMS;
    std::vector<uint32_t> order(numPoints);
    for (uint32_t i = 0; i < numPoints; ++i) order[i] = i;
    auto pt = [&](uint32_t i) { return Pt{polygon[2 * i], polygon[2 * i + 1]}; };
    std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
        return pt(a).x != pt(b).x ? pt(a).x < pt(b).x : pt(a).y < pt(b).y;
    });
    std::vector<uint32_t> hull;
    auto chain = [&](auto begin, auto end, size_t floor) {
        for (auto it = begin; it != end; ++it) {
            while (hull.size() >= floor + 2 &&
                   cross(pt(hull[hull.size() - 2]), pt(hull.back()), pt(*it)) <= 0)  // not a left turn
                hull.pop_back();
            hull.push_back(*it);
        }
    };
    chain(order.begin(), order.end(), 0);
    const size_t lower = hull.size();
    chain(order.rbegin() + 1, order.rend(), lower - 1);
    if (hull.size() > 1) hull.pop_back();  // the first point again
    // Equal points leave a single point.
    if (hull.size() == 2 && pt(hull[0]).x == pt(hull[1]).x && pt(hull[0]).y == pt(hull[1]).y) hull.pop_back();
    if (clockwise) std::reverse(hull.begin() + 1, hull.end());
    std::copy(hull.begin(), hull.end(), hullIndices);
    *numHullPoints = uint32_t(hull.size());
    return LUMIVA_SUCCESS;
}

// +1 inside, -1 outside, 0 on an edge; with measureDist the distance to the nearest edge, signed
// the same way.
float32_t ilmvPointPolygonTest(const int32_t* polygon, uint32_t numPoints, float32_t px, float32_t py,
                               uint32_t measureDist)
{
    const double x = px, y = py;
    double best = HUGE_VAL;
    int crossings = 0;
    for (uint32_t i = 0; i < numPoints; ++i) {
        const uint32_t j = i ? i - 1 : numPoints - 1;
        const double ax = polygon[2 * j], ay = polygon[2 * j + 1], bx = polygon[2 * i], by = polygon[2 * i + 1];
        const double dx = bx - ax, dy = by - ay, dx1 = x - ax, dy1 = y - ay, dx2 = x - bx, dy2 = y - by;
        double d;
        if (dx1 * dx + dy1 * dy <= 0) d = dx1 * dx1 + dy1 * dy1;
        else if (dx2 * dx + dy2 * dy >= 0) d = dx2 * dx2 + dy2 * dy2;
        else d = (dy1 * dx - dx1 * dy) * (dy1 * dx - dx1 * dy) / (dx * dx + dy * dy);
        best = std::min(best, d);
        if ((ay <= y && by <= y) || (ay > y && by > y) || (ax < x && bx < x)) continue;
        double side = dy1 * dx - dx1 * dy;
        if (dy < 0) side = -side;
        crossings += side > 0;
    }
    if (best == 0) return 0.0f;
    const double sign = crossings % 2 ? 1.0 : -1.0;
    return float32_t(measureDist ? sign * std::sqrt(best) : sign);
}
