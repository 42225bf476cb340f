// Line segments by region growing on the gradient's level lines, validated a contrario:
// pixels with a clear gradient, strongest first, seed regions of neighbours whose level-line
// angle agrees with the region's; a region's principal axis gives a rectangle, and the
// rectangle is kept when so many of its pixels are aligned that chance would explain it less
// than once in the image.
#include "cpu/lumivaEdge.h"
#include "cpu/lumivaFilterFrame.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kTolerance = kPi / 8;  // 22.5 degrees
constexpr double kAlignedChance = 1.0 / 8;
constexpr float kNoAngle = -1024.0f;
// Gradients below q / sin(tolerance), q = 2 grey levels of quantisation error, carry no angle.
const double kMinGradient = 2.0 / std::sin(kTolerance);

struct Field {
    uint32_t w, h;  // of the gradient field: one less than the image each way
    std::vector<float> angle, magnitude;
};

// 2x2 gradients; the level-line angle is the gradient's turned by 90 degrees.
Field gradientField(const uint8_t* src, uint32_t w, uint32_t h, uint32_t stride)
{
    Field f{w - 1, h - 1, {}, {}};
    f.angle.assign(size_t(f.w) * f.h, kNoAngle);
    f.magnitude.assign(size_t(f.w) * f.h, 0.0f);
    for (uint32_t y = 0; y < f.h; ++y) {
        const uint8_t *a = ilmvRowAt(src, stride, y), *b = ilmvRowAt(src, stride, y + 1);
        for (uint32_t x = 0; x < f.w; ++x) {
            const double diag = double(b[x + 1]) - a[x], anti = double(a[x + 1]) - b[x];
            const double gx = diag + anti, gy = diag - anti;
            const double m = std::sqrt((gx * gx + gy * gy) / 4.0);
            const size_t at = size_t(y) * f.w + x;
            f.magnitude[at] = float(m);
            if (m > kMinGradient) f.angle[at] = float(std::atan2(gx, -gy));
        }
    }
    return f;
}

bool aligned(double a, double b)
{
    return std::fabs(std::remainder(a - b, 2 * kPi)) <= kTolerance;
}

// log10 of the chance that k or more of n pixels align by chance. The first term's binomial
// coefficient is summed as logs (lgamma would write a process-wide sign, a race between threads).
double log10Tail(uint32_t n, uint32_t k)
{
    if (k == 0) return 0.0;
    const double p = kAlignedChance;
    double term = k * std::log(p) + (n - k) * std::log(1 - p);
    for (uint32_t i = 1; i <= k; ++i) term += std::log(double(n - k + i) / i);
    double sum = 1.0, ratio = 1.0;  // the tail relative to its first term
    for (uint32_t i = k; i < n && ratio > 1e-12 * sum; ++i) {
        ratio *= double(n - i) / (i + 1) * p / (1 - p);
        sum += ratio;
    }
    return (term + std::log(sum)) / std::log(10.0);
}

struct Rect {
    double cx, cy, dx, dy, lmin, lmax, wmin, wmax, angle;
};

Rect regionRect(const Field& f, const std::vector<uint32_t>& region, double regionAngle)
{
    double sum = 0, cx = 0, cy = 0;
    for (uint32_t at : region) {
        const double m = f.magnitude[at];
        sum += m;
        cx += m * (at % f.w);
        cy += m * (at / f.w);
    }
    cx /= sum;
    cy /= sum;
    double ixx = 0, iyy = 0, ixy = 0;
    for (uint32_t at : region) {
        const double m = f.magnitude[at], x = double(at % f.w) - cx, y = double(at / f.w) - cy;
        ixx += m * y * y;
        iyy += m * x * x;
        ixy -= m * x * y;
    }
    const double lambda = 0.5 * (ixx + iyy - std::sqrt((ixx - iyy) * (ixx - iyy) + 4 * ixy * ixy));
    double theta = std::fabs(ixx) > std::fabs(iyy) ? std::atan2(lambda - ixx, ixy) : std::atan2(ixy, lambda - iyy);
    if (!aligned(theta, regionAngle)) theta += kPi;
    Rect r{cx, cy, std::cos(theta), std::sin(theta), 0, 0, 0, 0, theta};
    for (uint32_t at : region) {
        const double x = double(at % f.w) - cx, y = double(at / f.w) - cy;
        const double l = x * r.dx + y * r.dy, wd = -x * r.dy + y * r.dx;
        r.lmin = std::min(r.lmin, l);
        r.lmax = std::max(r.lmax, l);
        r.wmin = std::min(r.wmin, wd);
        r.wmax = std::max(r.wmax, wd);
    }
    return r;
}

// log10 of the rectangle's number of false alarms among `logTests` tests.
double log10FalseAlarms(const Field& f, const Rect& r, double logTests)
{
    const double reach = std::max(std::fabs(r.lmin), std::fabs(r.lmax)) + std::max(-r.wmin, r.wmax) + 1;
    const int64_t x0 = std::max<int64_t>(0, int64_t(r.cx - reach)), x1 = std::min<int64_t>(f.w - 1, int64_t(r.cx + reach));
    const int64_t y0 = std::max<int64_t>(0, int64_t(r.cy - reach)), y1 = std::min<int64_t>(f.h - 1, int64_t(r.cy + reach));
    uint32_t n = 0, k = 0;
    for (int64_t y = y0; y <= y1; ++y)
        for (int64_t x = x0; x <= x1; ++x) {
            const double px = double(x) - r.cx, py = double(y) - r.cy;
            const double l = px * r.dx + py * r.dy, wd = -px * r.dy + py * r.dx;
            if (l < r.lmin || l > r.lmax || wd < r.wmin || wd > r.wmax) continue;
            ++n;
            const float a = f.angle[size_t(y) * f.w + size_t(x)];
            if (a != kNoAngle && aligned(a, r.angle)) ++k;
        }
    return logTests + log10Tail(n, k);
}

// Pixels with an angle, strongest first (raster order among equals).
std::vector<uint32_t> seedOrder(const Field& f)
{
    std::vector<uint32_t> order;
    for (uint32_t at = 0; at < f.angle.size(); ++at)
        if (f.angle[at] != kNoAngle) order.push_back(at);
    std::stable_sort(order.begin(), order.end(),
                     [&](uint32_t a, uint32_t b) { return f.magnitude[a] > f.magnitude[b]; });
    return order;
}

// Grows the region of `seed` over unused aligned 8-neighbours; returns its angle.
double growRegion(const Field& f, uint32_t seed, std::vector<uint8_t>* used, std::vector<uint32_t>* region)
{
    region->assign(1, seed);
    (*used)[seed] = 1;
    double angle = f.angle[seed], sx = std::cos(angle), sy = std::sin(angle);
    for (size_t i = 0; i < region->size(); ++i) {
        const int64_t x = (*region)[i] % f.w, y = (*region)[i] / f.w;
        for (int64_t ny = y - 1; ny <= y + 1; ++ny)
            for (int64_t nx = x - 1; nx <= x + 1; ++nx) {
                if (nx < 0 || ny < 0 || nx >= f.w || ny >= f.h) continue;
                const size_t at = size_t(ny) * f.w + size_t(nx);
                if ((*used)[at] || f.angle[at] == kNoAngle || !aligned(f.angle[at], angle)) continue;
                (*used)[at] = 1;
                region->push_back(uint32_t(at));
                sx += std::cos(f.angle[at]);
                sy += std::sin(f.angle[at]);
                angle = std::atan2(sy, sx);
            }
    }
    return angle;
}

}  // namespace

LMV_STATUS ilmvDetectLineSegments(const uint8_t* src, uint32_t w, uint32_t h, uint32_t srcStride, float32_t minLength,
                                  float32_t* segments, uint32_t maxSegments, uint32_t* numSegments)
{
    if ((!segments && maxSegments) || !numSegments || std::isnan(minLength)) return LUMIVA_BAD_PARAMS;
    *numSegments = 0;
    if (w < 2 || h < 2) return LUMIVA_SUCCESS;
    const Field f = gradientField(src, w, h, srcStride);
    const double logTests = 2.5 * (std::log10(double(f.w)) + std::log10(double(f.h)));
    const size_t minRegion = size_t(-logTests / std::log10(kAlignedChance));
    std::vector<uint8_t> used(f.angle.size(), 0);
    std::vector<uint32_t> region;
    uint32_t count = 0;
    for (uint32_t seed : seedOrder(f)) {
        if (count == maxSegments) break;
        if (used[seed]) continue;
        const double angle = growRegion(f, seed, &used, &region);
        if (region.size() < minRegion) continue;
        const Rect r = regionRect(f, region, angle);
        if (r.lmax - r.lmin < minLength || log10FalseAlarms(f, r, logTests) > 0) continue;
        // A gradient belongs to the centre of its 2x2 block.
        float32_t* s = segments + 4 * count++;
        s[0] = float32_t(r.cx + r.lmin * r.dx + 0.5);
        s[1] = float32_t(r.cy + r.lmin * r.dy + 0.5);
        s[2] = float32_t(r.cx + r.lmax * r.dx + 0.5);
        s[3] = float32_t(r.cy + r.lmax * r.dy + 0.5);
    }
    *numSegments = count;
    return LUMIVA_SUCCESS;
}
