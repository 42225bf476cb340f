// The neighbourhood-filter frame: one place that decides, for every filter of the family,
// which rows a window reads and what it sees outside the image. Row kernels never test a
// border: each gets, per output row, one pointer per window row, positioned so that output x
// reads columns x .. x + kw - 1 of every row.
//
//  - Interior: only pixels whose whole window lies inside the image are computed; the
//    pointers go straight into the source, nothing is copied.
//  - Constant / Replicate: every pixel is computed. Rows whose window stays inside the image
//    vertically read the source directly, except for the kw / 2 outputs at each end, which
//    read small padded pieces; rows near the top and bottom read padded copies from a ring
//    (rows above or below the image are a row of the constant or the nearest edge row).
#ifndef LUMIVA_FILTER_FRAME_H
#define LUMIVA_FILTER_FRAME_H

#include "lumiva/lumivaTypes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

enum class ilmvEdge { kInterior, kConstant, kReplicate };

// The frame's edge for a public border type; false for a value that names none.
inline bool ilmvEdgeOf(LMV_BORDER_TYPE border, ilmvEdge* edge)
{
    switch (border) {
    case LUMIVA_BORDER_UNDEFINED: *edge = ilmvEdge::kInterior; return true;
    case LUMIVA_BORDER_CONSTANT: *edge = ilmvEdge::kConstant; return true;
    case LUMIVA_BORDER_REPLICATE: *edge = ilmvEdge::kReplicate; return true;
    default: return false;
    }
}

// Row y of an image: strides of typed rows step in whole elements (a stride is read rounded
// down to one), so every row starts aligned to its element.
template <class T>
inline const T* ilmvRowAt(const T* base, size_t strideBytes, size_t y)
{
    return base + y * (strideBytes / sizeof(T));
}

template <class T>
inline T* ilmvRowAt(T* base, size_t strideBytes, size_t y)
{
    return base + y * (strideBytes / sizeof(T));
}

// A border pixel of a separable kernel (2r + 1 taps each way) restricted to the pixels inside
// the image: the sum divided by the weights it used, floored, after half the weights are added
// when `rounded` (the 3x3 Gaussian truncates, the 5x5 rounds).
template <class T>
T ilmvRestrictedPixel(const T* src, uint32_t width, uint32_t height, uint32_t strideBytes, uint32_t x, uint32_t y,
                      const int32_t* taps, int r, bool rounded)
{
    int64_t sum = 0, weights = 0;
    for (int dy = -r; dy <= r; ++dy)
        for (int dx = -r; dx <= r; ++dx) {
            const int64_t yy = int64_t(y) + dy, xx = int64_t(x) + dx;
            if (yy < 0 || xx < 0 || yy >= height || xx >= width) continue;
            const int64_t k = int64_t(taps[dx + r]) * taps[dy + r];
            sum += k * ilmvRowAt(src, strideBytes, size_t(yy))[xx];
            weights += k;
        }
    const int64_t total = sum + (rounded ? weights / 2 : 0);
    const int64_t quotient = total / weights;  // floored, as an arithmetic shift rounds
    const int64_t floored = (total % weights != 0 && total < 0) ? quotient - 1 : quotient;
    return static_cast<T>(std::min<int64_t>(std::max<int64_t>(floored, std::numeric_limits<T>::min()),
                                            std::numeric_limits<T>::max()));
}

// Calls row(rows, n, y, x0) for every output row y that the edge rule computes: rows[k] is
// window row k, n the outputs from column x0 on. The window is kw x kh with its anchor at
// (kw / 2, kh / 2); both sizes are odd.
template <class T, class Row>
void ilmvFilterFrame(const T* src, uint32_t width, uint32_t height, uint32_t srcStride, uint32_t kw, uint32_t kh,
                     ilmvEdge edge, T borderValue, Row row)
{
    const uint32_t rx = kw / 2, ry = kh / 2;
    std::vector<const T*> rows(kh);
    if (edge == ilmvEdge::kInterior) {
        if (width < kw || height < kh) return;
        for (uint32_t y = ry; y + ry < height; ++y) {
            for (uint32_t k = 0; k < kh; ++k) rows[k] = ilmvRowAt(src, srcStride, y - ry + k);
            row(rows.data(), size_t(width - 2 * rx), y, rx);
        }
        return;
    }
    // Rows near the top and bottom read padded copies: a ring of kh padded rows keyed by
    // source row, and in Constant mode one more row of the value.
    const size_t padded = size_t(width) + 2 * rx;
    std::vector<T> ring(padded * (kh + 1), borderValue);
    std::vector<int64_t> holds(kh, -1);
    const T* outside = ring.data() + padded * kh;
    auto padOne = [&](const T* from, int64_t x) -> T {
        if (x >= 0 && x < int64_t(width)) return from[x];
        if (edge == ilmvEdge::kConstant) return borderValue;
        return from[x < 0 ? 0 : width - 1];
    };
    auto paddedRow = [&](int64_t sy) -> const T* {
        if (sy < 0 || sy >= int64_t(height)) {
            if (edge == ilmvEdge::kConstant) return outside;
            sy = std::min<int64_t>(std::max<int64_t>(sy, 0), height - 1);
        }
        const size_t slot = size_t(sy % kh);
        T* line = ring.data() + padded * slot;
        if (holds[slot] != sy) {
            const T* from = ilmvRowAt(src, srcStride, size_t(sy));
            std::copy(from, from + width, line + rx);
            for (uint32_t i = 0; i < rx; ++i) {
                line[i] = padOne(from, int64_t(i) - rx);
                line[rx + width + i] = padOne(from, int64_t(width) + i);
            }
            holds[slot] = sy;
        }
        return line;
    };
    // Rows whose window stays inside vertically read the source directly between the side
    // strips; only the strips (rx outputs each side) read small padded pieces.
    const uint32_t strip = 3 * rx;
    const bool wideEnough = width > 2 * rx + strip;
    std::vector<T> pieces(size_t(2) * kh * strip);
    std::vector<const T*> sideRows(kh);
    auto side = [&](uint32_t y, int64_t firstOutput, T* piece) {
        for (uint32_t k = 0; k < kh; ++k) {
            const T* from = ilmvRowAt(src, srcStride, y - ry + k);
            T* line = piece + size_t(k) * strip;
            for (uint32_t i = 0; i < strip; ++i) line[i] = padOne(from, firstOutput - rx + i);
            sideRows[k] = line;
        }
        row(sideRows.data(), size_t(rx), y, uint32_t(firstOutput));
    };
    for (uint32_t y = 0; y < height; ++y) {
        if (wideEnough && y >= ry && y + ry < height && rx > 0) {
            for (uint32_t k = 0; k < kh; ++k) rows[k] = ilmvRowAt(src, srcStride, y - ry + k);
            row(rows.data(), size_t(width - 2 * rx), y, rx);
            side(y, 0, pieces.data());
            side(y, int64_t(width) - rx, pieces.data() + size_t(kh) * strip);
            continue;
        }
        for (uint32_t k = 0; k < kh; ++k) rows[k] = paddedRow(int64_t(y) - ry + k);
        row(rows.data(), size_t(width), y, 0u);
    }
}

#endif
