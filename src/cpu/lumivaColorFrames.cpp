// Frame functions of the colour family: they apply the stride defaults, pick the rows
// and the chroma rows, and call the row kernels they are given. Both forms of every
// conversion run through these, with their own row kernels.
#include "cpu/lumivaColorRows.h"

#include <algorithm>
#include <cstring>
#include <vector>

using namespace ilmv;

namespace {

uint32_t orDefault(uint32_t stride, size_t packed)
{
    return stride ? stride : static_cast<uint32_t>(packed);
}

// Samples per chroma row, and the zero-stride meaning of a chroma plane: half-width
// planar planes default to width / 2 rounded down, interleaved ones to width or 2*width.
size_t chromaSamples(ILMV_CHROMA_LAYOUT l, size_t width)
{
    return l.wdiv == 2 ? (width + 1) / 2 : width;
}

void applyYccDefaults(ILMV_CHROMA_LAYOUT l, size_t width, ILMV_YCC_IMAGE& img)
{
    img.yStride = orDefault(img.yStride, width);
    if (l.interleaved) {
        img.c0Stride = orDefault(img.c0Stride, l.wdiv == 2 ? width : 2 * width);
    } else {
        img.c0Stride = orDefault(img.c0Stride, l.wdiv == 2 ? width / 2 : width);
        img.c1Stride = orDefault(img.c1Stride, l.wdiv == 2 ? width / 2 : width);
    }
}

// The chroma of row y: interleaved pairs from c0 (step 2), or the two planes (step 1).
struct ChromaRow {
    uint8_t* cb;
    uint8_t* cr;
    size_t step;
};

ChromaRow chromaRow(ILMV_CHROMA_LAYOUT l, const ILMV_YCC_IMAGE& img, size_t y)
{
    const size_t row = y / l.hdiv;
    uint8_t* c0 = img.c0 + row * img.c0Stride;
    if (l.interleaved) return {c0, c0 + 1, 2};
    return {c0, img.c1 + row * img.c1Stride, 1};
}

}  // namespace

void ilmvRgbToYccFrame(const ILMV_COLOR_ROWS& rows, ilmvRgbFormat format, ILMV_CHROMA_LAYOUT layout,
                       const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride, ILMV_YCC_IMAGE dst)
{
    srcStride = orDefault(srcStride, width * kBytesPerPixel[format]);
    applyYccDefaults(layout, width, dst);
    const bool half = layout.wdiv == 2;
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* s = src + y * srcStride;
        uint8_t* luma = dst.y + y * dst.yStride;
        if (y % layout.hdiv) {
            rows.rgbToYcc(format, s, width, luma, nullptr, nullptr, 0, false);
            continue;
        }
        if (half) {
            // The pair kernel of the chroma rows needs an even width and writes nothing otherwise.
            ilmvColorNeedPairs(width);
            if (width & 1) continue;
        }
        ChromaRow c = chromaRow(layout, dst, y);
        rows.rgbToYcc(format, s, width, luma, c.cb, c.cr, c.step, half);
    }
}

void ilmvYccToRgbFrame(const ILMV_COLOR_ROWS& rows, ilmvRgbFormat format, ILMV_CHROMA_LAYOUT layout,
                       ILMV_YCC_IMAGE src, uint32_t width, uint32_t height, uint8_t* dst, uint32_t dstStride)
{
    applyYccDefaults(layout, width, src);
    dstStride = orDefault(dstStride, width * kBytesPerPixel[format]);
    const bool half = layout.wdiv == 2;
    if (half) ilmvColorNeedPairs(width);
    for (size_t y = 0; y < height; ++y) {
        ChromaRow c = chromaRow(layout, src, y);
        rows.yccToRgb(format, src.y + y * src.yStride, c.cb, c.cr, c.step, half, width, dst + y * dstStride);
    }
}

void ilmvYccLayoutFrame(const ILMV_COLOR_ROWS& rows, ILMV_CHROMA_LAYOUT from, ILMV_CHROMA_LAYOUT to,
                        ILMV_YCC_IMAGE src, uint32_t width, uint32_t height, ILMV_YCC_IMAGE dst)
{
    applyYccDefaults(from, width, src);
    applyYccDefaults(to, width, dst);
    const size_t nFrom = chromaSamples(from, width), nTo = chromaSamples(to, width);
    std::vector<uint8_t> scratch(4 * (nFrom + nTo) + 8);
    uint8_t* planar[2] = {scratch.data(), scratch.data() + nFrom};
    uint8_t* resampled[2] = {scratch.data() + 2 * nFrom, scratch.data() + 2 * nFrom + nTo};
    for (size_t y = 0; y < height; ++y) {
        if (dst.y != src.y) std::memcpy(dst.y + y * dst.yStride, src.y + y * src.yStride, width);
        if (y % to.hdiv) continue;  // this destination row has no chroma
        ChromaRow in = chromaRow(from, src, y), out = chromaRow(to, dst, y);
        if (from.interleaved && to.interleaved) {
            if (nFrom == nTo)
                std::memcpy(out.cb, in.cb, 2 * nTo);
            else if (nFrom > nTo)
                rows.downsampleHorizontalInterleaved(in.cb, nTo, out.cb);
            else
                rows.chromaUpHorizontal(in.cb, nTo, out.cb);
            continue;
        }
        // Through planar Cb and Cr at the source's resolution, then at the destination's.
        const uint8_t* cb = in.cb;
        const uint8_t* cr = in.cr;
        if (from.interleaved) {
            rows.deinterleave(in.cb, 2, nFrom, planar);
            cb = planar[0];
            cr = planar[1];
        }
        if (nFrom != nTo) {
            auto resample = nFrom > nTo ? rows.downsampleHorizontal : rows.chromaUpHorizontalPlanar;
            resample(cb, nTo, resampled[0]);
            resample(cr, nTo, resampled[1]);
            cb = resampled[0];
            cr = resampled[1];
        }
        if (to.interleaved) {
            const uint8_t* pair[2] = {cb, cr};
            rows.interleave(pair, 2, nTo, out.cb);
        } else {
            std::memcpy(out.cb, cb, nTo);
            std::memcpy(out.cr, cr, nTo);
        }
    }
}

void ilmvRgbToRgbFrame(const ILMV_COLOR_ROWS& rows, ilmvRgbFormat from, ilmvRgbFormat to, bool swap,
                       const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride, uint8_t* dst,
                       uint32_t dstStride)
{
    srcStride = orDefault(srcStride, width * kBytesPerPixel[from]);
    dstStride = orDefault(dstStride, width * kBytesPerPixel[to]);
    for (size_t y = 0; y < height; ++y) rows.rgbToRgb(from, to, swap, src + y * srcStride, width, dst + y * dstStride);
}

void ilmvPixelFrame(void (*row)(const uint8_t*, size_t, uint8_t*), size_t srcBytes, size_t dstBytes,
                    const uint8_t* src, uint32_t width, uint32_t height, uint32_t srcStride, uint8_t* dst,
                    uint32_t dstStride)
{
    srcStride = orDefault(srcStride, width * srcBytes);
    dstStride = orDefault(dstStride, width * dstBytes);
    for (size_t y = 0; y < height; ++y) row(src + y * srcStride, width, dst + y * dstStride);
}

void ilmvInterleaveFrame(const ILMV_COLOR_ROWS& rows, const uint8_t* const* planes, const uint32_t* strides,
                         size_t count, uint32_t width, uint32_t height, uint8_t* dst, uint32_t dstStride)
{
    dstStride = orDefault(dstStride, width * count);
    const uint8_t* row[4];
    for (size_t y = 0; y < height; ++y) {
        for (size_t k = 0; k < count; ++k) row[k] = planes[k] + y * orDefault(strides[k], width);
        rows.interleave(row, count, width, dst + y * dstStride);
    }
}

void ilmvDeinterleaveFrame(const ILMV_COLOR_ROWS& rows, const uint8_t* src, uint32_t srcStride, size_t count,
                           uint32_t width, uint32_t height, uint8_t* const* planes, const uint32_t* strides)
{
    srcStride = orDefault(srcStride, width * count);
    uint8_t* row[4];
    for (size_t y = 0; y < height; ++y) {
        for (size_t k = 0; k < count; ++k) row[k] = planes[k] + y * orDefault(strides[k], width);
        rows.deinterleave(src + y * srcStride, count, width, row);
    }
}

namespace {

// Where a channel lives: plane 1, 2 or 3, the byte of the first sample, the distance
// between samples, and the plane's size in samples.
struct ChannelSource {
    int plane;
    size_t offset;
    size_t step;
    uint32_t width;
    uint32_t height;
};

// 0 for Y or channel 0, 1 for U or channel 1, 2 for V or channel 2.
int yuvIndex(int32_t channel)
{
    return channel >= LUMIVA_CHANNEL_Y ? channel - LUMIVA_CHANNEL_Y : channel;
}

bool locateChannel(int32_t format, int32_t channel, uint32_t w, uint32_t h, ChannelSource& out)
{
    const int k = yuvIndex(channel);
    switch (format) {
    case LUMIVA_FORMAT_RGB888:
    case LUMIVA_FORMAT_RGBA8888: {
        // Numbered channels are bytes; R, G, B, A are bytes 0 to 3.
        size_t byte = channel >= LUMIVA_CHANNEL_R ? size_t(channel - LUMIVA_CHANNEL_R) : size_t(channel);
        out = {1, byte, format == LUMIVA_FORMAT_RGB888 ? 3u : 4u, w, h};
        return true;
    }
    case LUMIVA_FORMAT_NV12:
    case LUMIVA_FORMAT_NV21:
        if (k == 0) out = {1, 0, 1, w, h};
        else out = {2, size_t((k == 1) == (format == LUMIVA_FORMAT_NV12) ? 0 : 1), 2, w / 2, h / 2};
        return true;
    case LUMIVA_FORMAT_UYVY:
        out = k == 0 ? ChannelSource{1, 1, 2, w, h} : ChannelSource{1, k == 1 ? 0u : 2u, 4, w / 2, h};
        return true;
    case LUMIVA_FORMAT_YUYV:
        out = k == 0 ? ChannelSource{1, 0, 2, w, h} : ChannelSource{1, k == 1 ? 1u : 3u, 4, w / 2, h};
        return true;
    case LUMIVA_FORMAT_IYUV:
        out = k == 0 ? ChannelSource{1, 0, 1, w, h} : ChannelSource{1 + k, 0, 1, w / 2, h / 2};
        return true;
    case LUMIVA_FORMAT_YUV4:
        out = {1 + k, 0, 1, w, h};
        return true;
    default:
        return false;
    }
}

}  // namespace

void ilmvExtractFrame(const ILMV_COLOR_ROWS& rows, const uint8_t* src1, const uint8_t* src2, const uint8_t* src3,
                      uint32_t width, uint32_t height, uint32_t s1, uint32_t s2, uint32_t s3, int32_t format,
                      int32_t channel, uint8_t* dst, uint32_t dstStride)
{
    ChannelSource c;
    if (!locateChannel(format, channel, width, height, c)) return;
    const uint8_t* planes[3] = {src1, src2, src3};
    const uint32_t strides[3] = {s1, s2, s3};
    const uint8_t* plane = planes[c.plane - 1];
    if (!plane || !dst) return;  // a rule that does not name this plane lets a null through
    const uint32_t stride = orDefault(strides[c.plane - 1], c.plane == 1 ? width * c.step : c.width * c.step);
    dstStride = orDefault(dstStride, c.width);
    for (size_t y = 0; y < c.height; ++y) rows.extract(plane + y * stride + c.offset, c.step, c.width, dst + y * dstStride);
}

void ilmvYCrCb420ToRgbaFrame(const ILMV_COLOR_ROWS& rows, const uint8_t* src, uint32_t width, uint32_t height,
                             uint32_t yStride, uint32_t cStride, uint8_t* dst, uint32_t dstStride)
{
    const uint8_t* chroma = src + size_t(yStride) * height;
    for (size_t y = 0; y < height; ++y)  // the chroma row advances after every odd row
        rows.video10(src + y * yStride, chroma + (y / 2) * cStride, width, dst + y * dstStride);
}

namespace {

// Pixel x of a row lands at width - 1 - x.
void reversePixels(const uint8_t* row, size_t width, size_t bpp, uint8_t* out)
{
    for (size_t x = 0; x < width; ++x) std::memcpy(out + (width - 1 - x) * bpp, row + x * bpp, bpp);
}

}  // namespace

void ilmvYuv420Frame(const ILMV_COLOR_ROWS& rows, const uint8_t* src, uint32_t width, uint32_t height,
                     ilmvRgbFormat format, bool rotate, uint8_t* dst)
{
    const uint8_t* chroma = src + size_t(width) * height;
    const size_t bpp = kBytesPerPixel[format], rowBytes = width * bpp;
    std::vector<uint8_t> turned(rotate ? rowBytes : 0);
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* luma = src + y * width;
        const uint8_t* pairs = chroma + (y / 2) * width;
        if (!rotate) {
            rows.video8(format, luma, pairs, width, dst + y * rowBytes);
            continue;
        }
        rows.video8(format, luma, pairs, width, turned.data());
        reversePixels(turned.data(), width, bpp, dst + (height - 1 - y) * rowBytes);
    }
}

void ilmvBlocksFrame(const ILMV_COLOR_ROWS& rows, const uint8_t* src, uint32_t width, uint32_t height, int hsub,
                     int vsub, uint8_t* dst)
{
    // A unit of hsub x vsub luma blocks (left to right, then top to bottom) and one Cb and
    // one Cr block of 8x8 samples covers 8*hsub x 8*vsub pixels; the last unit of a row
    // may be cut short by the image's edge.
    const size_t unitW = 8 * hsub, unitH = 8 * vsub, lumaBytes = 64 * size_t(hsub) * vsub;
    const size_t unitBytes = lumaBytes + 128, units = (width + unitW - 1) / unitW;
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* unitRow = src + (y / unitH) * units * unitBytes;
        const size_t ly = y % unitH;
        for (size_t u = 0; u < units; ++u) {
            const uint8_t* unit = unitRow + u * unitBytes;
            const uint8_t* luma[2] = {unit + ((ly / 8) * hsub) * 64 + (ly % 8) * 8,
                                      unit + ((ly / 8) * hsub + 1) * 64 + (ly % 8) * 8};
            const uint8_t* cb = unit + lumaBytes + (ly / vsub) * 8;
            const size_t n = std::min(unitW, width - u * unitW);
            rows.blocks(luma, cb, cb + 64, hsub, n, dst + (y * width + u * unitW) * 3);
        }
    }
}

void ilmvRgb888To565Rotate180Frame(const ILMV_COLOR_ROWS& rows, const uint8_t* src, uint32_t width, uint32_t height,
                                   uint32_t srcStride, uint16_t* dst, uint32_t dstStride)
{
    srcStride = orDefault(srcStride, width * 3);
    dstStride = orDefault(dstStride, width * 2);
    std::vector<uint8_t> row(2 * width);
    for (size_t y = 0; y < height; ++y) {
        rows.rgbToRgb(kRgb888, kRgb565, false, src + y * srcStride, width, row.data());
        // A 16-bit destination steps in whole elements, as the family's 16-bit images do.
        reversePixels(row.data(), width, 2, reinterpret_cast<uint8_t*>(dst + (height - 1 - y) * (dstStride / 2)));
    }
}
