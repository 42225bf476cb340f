"""FAST corner detection: the segment test for arcs of 9 and 10, with and without an
exclusion mask, scores by binary search, and non-maximum suppression."""

from lmvdesc import *

family("Fast")

FAST_H = "cpu/lumivaFast.h"
U32P = "uint32_t"


def corner_params(score, masked, nms):
    params = [Image("src", U8, "srcWidth", "srcHeight", "srcStride"), Size("srcWidth"), Size("srcHeight"),
              Stride("srcStride"), Scalar("barrier", "int32_t", [], "segment-test threshold"),
              Scalar("border", "uint32_t", [], "untested frame in pixels; below 4 it is 3"),
              Points("xy", U32P, "nCornersMax", doc="corners, x then y, in raster order", length="2 * nCornersMax",
                     count_out="nCorners")]
    if score:
        params.append(Points("scores", U32P, "nCornersMax", doc="score of each corner", count_out="nCorners"))
    params += [Scalar("nCornersMax", "uint32_t", [],
                      "capacity of the corner list, at least 1: a corner is stored before the capacity is checked, "
                      "so 0 still receives one"),
               ScalarOut("nCorners", "uint32_t", "receives the number of corners")]
    if masked:
        params += [Points("bitMask", "uint8_t", "maskHeight", "in", "exclusion bits, one per mask pixel, MSB leftmost",
                          length="(maskWidth + 7) / 8 * maskHeight"),
                   Scalar("maskWidth", "uint32_t", [], "mask width in bits; the mask is scaled over the image"),
                   Scalar("maskHeight", "uint32_t", [], "mask height in rows")]
    if nms:
        params += [Scalar("nmsEnabled", "uint32_t", [], "non-zero suppresses non-maxima"),
                   Points("tempBuf", U32P, "nCornersMax", doc="work words; null with suppression on stops the process",
                          length="3 * nCornersMax + srcHeight", optional=True)]
    return params


FAST9_ALIASES = {"stride": "srcStride", "width": "srcWidth", "height": "srcHeight", "numcorners": "nCorners"}
FAST10_ALIASES = {"mask": "bitMask"}
REMOTE = Remote("(uint64_t)srcWidth * srcHeight", 8, ["src", "srcStride"])
GPU_DETECT = Gpu(16, ["src", "xy"])
GPU_NMS = Gpu(16, ["src", "xy", "scores"],
              "srcStride >= srcWidth && src && xy && scores && srcStride % 8 == 0 && "
              "(!nmsEnabled || (tempBuf && (uintptr_t)tempBuf % 16 == 0))")


def fast(slot, name, arc, score, masked, nms, rule, line=None):
    mask_args = "bitMask, maskWidth, maskHeight" if masked else "nullptr, 0, 0"
    if score:
        nms_args = "nmsEnabled, tempBuf" if nms else "0, nullptr"
        where = "src/cpu/lumivaFastC" if arc == 9 else "src/cpu/lumivaFast10C"
        frame = (f"ilmvFastScore(ilmvFastScan{{form}}, ilmvFastScorers{{form}}(), {arc}, src, srcWidth, srcHeight, srcStride, barrier, border, "
                 f"xy, scores, nCornersMax, nCorners, {mask_args}, {nms_args}, \"{where}\", {line or 0})")
    else:
        frame = (f"ilmvFastDetect(ilmvFastScan{{form}}, {arc}, src, srcWidth, srcHeight, srcStride, barrier, border, "
                 f"xy, nCornersMax, nCorners, {mask_args})")
    what = ("scores them and suppresses non-maxima when nmsEnabled is set" if nms else
            "and scores them" if score else "")
    op(slot, name, corner_params(score, masked, nms), rule=rule, cases=False,
       aliases=FAST9_ALIASES if arc == 9 else (FAST10_ALIASES if masked else {}),
       prelude=["if (border < 4) border = 3;"], remote=REMOTE, gpu=GPU_NMS if nms else GPU_DETECT,
       stops=[Stop("tempBuf", "nmsEnabled is set and tempBuf is null")] if nms else [],
       frame=frame, frame_header=FAST_H,
       doc=f"FAST-{arc}: corners where {arc} consecutive circle pixels are all brighter than centre + barrier "
           f"or all darker than centre - barrier{', outside the masked pixels' if masked else ''}, in raster "
           f"order{', ' + what if what else ''}.")


T9 = "stride >= width && border*2 < width && border*2 < height"
T10 = "srcStride >= srcWidth && border*2 < srcWidth && border*2 < srcHeight"
fast(157, "lmvCornerFast9u8", 9, False, False, False, "src && xy && numcorners && " + T9)
fast(154, "lmvCornerFast9InMasku8", 9, False, True, False, "src && xy && numcorners && bitMask && " + T9)
fast(155, "lmvCornerFast9Scoreu8", 9, True, False, False, "src && xy && scores && numcorners && " + T9)
fast(152, "lmvCornerFast9InMaskScoreu8", 9, True, True, False,
     "src && xy && scores && numcorners && bitMask && " + T9)
fast(156, "lmvCornerFast9Scoreu8_v2", 9, True, False, True, "src && xy && scores && numcorners && " + T9, 3097)
fast(153, "lmvCornerFast9InMaskScoreu8_v2", 9, True, True, True,
     "src && xy && scores && numcorners && bitMask && " + T9, 3143)
fast(151, "lmvCornerFast10u8", 10, False, False, False, "src && xy && nCorners && " + T10)
fast(149, "lmvCornerFast10InMasku8", 10, False, True, False, "src && xy && nCorners && mask && " + T10)
fast(150, "lmvCornerFast10Scoreu8", 10, True, False, True, "src && xy && scores && nCorners && " + T10, 1529)
fast(148, "lmvCornerFast10InMaskScoreu8", 10, True, True, True,
     "src && xy && scores && nCorners && mask && " + T10, 1653)
