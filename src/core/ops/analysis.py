"""Image analysis: integral images, histograms and equalisation, intensity statistics, minimum
and maximum with their locations, raw moments and the bounding rectangle of a point list.
Every operation is one frame of cpu/lumivaAnalysis.h; the forms differ in their row kernels."""

from lmvdesc import *

family("Analysis")

H = "cpu/lumivaAnalysis.h"
ROWS = "ilmvAnalysisRows{form}()"
EXACT = " Exact: the SIMD form gives the reference's results."
WRAP = " Sums wrap modulo 2^32 beyond 4294967295 (images of more than 16843009 pixels)."


def src_of(elem=U8):
    return [Image("src", elem, "srcWidth", "srcHeight", "srcStride"), Size("srcWidth"), Size("srcHeight"),
            Stride("srcStride")]


def remote_for(*images):
    return default_remote(list(images), "srcWidth", "srcHeight", 8)


SRC = Image("src", U8, "srcWidth", "srcHeight", "srcStride")


def ana(slot, name, params, doc, frame, forms="CV", **kw):
    returns = kw.get("ret", VOID) != VOID
    op(slot, name, params, doc=doc + EXACT, forms=forms, frame_header=H,
       frame=("return " if returns else "") + frame, **kw)


def plain_rule(extra=(), stride="srcStride >= srcWidth", out=("dst",)):
    return " && ".join(["src", *out, "srcWidth", "srcHeight", f"({stride})", *extra])


# ---- Integral images ------------------------------------------------------------------------------
INTEGRAL_WORDS = ("The integral image: dst is (srcWidth + 1) x (srcHeight + 1) with a zero first row and column, "
                  "and dst(x + 1, y + 1) the sum of src over columns 0..x and rows 0..y.")
LINE_WORDS = ("One row of a streaming integral image: sum[0] = 0 and sum[x + 1] = prevSum[x + 1] + src[0] + ... + "
              "src[x]; sqSum the same for the squares. Null previous rows count as zero (the first row), so bands "
              "are integrated row by row.")


def line_params(n):
    width = [Scalar("width", "uint32_t", ["1", "7", "64", "133"], "pixels in the row")] if n == "width" else []
    return [Points("src", "uint8_t", n, "in", "the row's pixels"), *width,
            Points("prevSum", "uint32_t", n, "in", "the previous integral row (width + 1 sums); null: zeros",
                   length=f"{n} + 1", optional=True),
            Points("prevSqSum", "uint32_t", n, "in", "the previous squared-integral row; null: zeros",
                   length=f"{n} + 1", optional=True),
            Points("sum", "uint32_t", n, "out", "the row's integral (width + 1 sums)", length=f"{n} + 1"),
            Points("sqSum", "uint32_t", n, "out", "the row's squared integral", length=f"{n} + 1")]


ana(290, "lmvIntegrateImageLine64u8", line_params("64"), LINE_WORDS + " The row is 64 pixels." + WRAP,
    f"ilmvIntegrateLine({ROWS}, src, 64, prevSum, prevSqSum, sum, sqSum)", rule="src && sum && sqSum")
ana(291, "lmvIntegrateImageLineu8", line_params("width"), LINE_WORDS + WRAP,
    f"ilmvIntegrateLine({ROWS}, src, width, prevSum, prevSqSum, sum, sqSum)", rule="src && width && sum && sqSum")

def integral_of(elem):
    """A (srcWidth + 1) x (srcHeight + 1) integral destination and the rule on its stride."""
    return (Image("dst", elem, "(srcWidth + 1)", "(srcHeight + 1)", "dstStride", direction="out"),
            plain_rule([f"(dstStride >= (srcWidth + 1) * {elem.size})"]))


INTEGRAL_DST, INTEGRAL_RULE = integral_of(U32)
ana(292, "lmvIntegrateImageu8_v2", [*src_of(), INTEGRAL_DST, Stride("dstStride")], INTEGRAL_WORDS + WRAP,
    f"ilmvIntegrate({ROWS}, src, srcWidth, srcHeight, srcStride, dst, dstStride, nullptr, 0)",
    entry=False, rule=INTEGRAL_RULE,
    remote=remote_for(SRC, INTEGRAL_DST), gpu=Gpu(1, [], "srcWidth >= 1"), gpu_engine="lmvGpuIntegrateImageu8",
    entries=[Entry("lmvIntegrateImageu8",
                   [Image("src", U8, "srcWidth", "srcHeight", "srcWidth"), Size("srcWidth"), Size("srcHeight"),
                    Image("dst", U32, "(srcWidth + 1)", "(srcHeight + 1)", "(srcWidth + 1) * 4", direction="out")],
                   "src && dst && srcWidth && srcHeight",
                   ["src", "srcWidth", "srcHeight", "srcWidth", "dst", "(srcWidth + 1) * 4"],
                   doc="packed rows: srcWidth bytes in, srcWidth + 1 sums out"),
             Entry("lmvIntegrateImageu8_v2", [*src_of(), INTEGRAL_DST, Stride("dstStride")], INTEGRAL_RULE,
                   ["src", "srcWidth", "srcHeight", "srcStride", "dst", "dstStride"])])
SQ64_DST, SQ64_RULE = integral_of(Elem("u64", "uint64_t", 8))
ana(293, "lmvIntegrateImageu8u64", [*src_of(), SQ64_DST, Stride("dstStride")],
    "The integral image of the squares in 64 bits, so window variances stay exact on any frame: dst is "
    "(srcWidth + 1) x (srcHeight + 1) with a zero first row and column, and dst(x + 1, y + 1) the sum of src^2 over "
    "columns 0..x and rows 0..y.",
    f"ilmvIntegrateSquares64({ROWS}, src, srcWidth, srcHeight, srcStride, dst, dstStride)",
    rule=SQ64_RULE, remote=remote_for(SRC, SQ64_DST))

YC_PLANES = [Image("srcY", U8, "srcWidth", "srcHeight", "srcYStride", doc="luma"),
             Image("srcC", U8, "srcWidth", "srcHeight", "srcCStride", channels=2, wdiv=2, hdiv=2,
                   doc="CbCr pairs, one per 2x2 luma block")]
C_INTEGRAL = "((srcWidth + 1) / 2 + 1)", "((srcHeight + 1) / 2 + 1)"
YC_DSTS = [Image("dstY", U32, "(srcWidth + 1)", "(srcHeight + 1)", "dstYStride", direction="out"),
           Image("dstCb", U32, *C_INTEGRAL, "dstCbStride", direction="out"),
           Image("dstCr", U32, *C_INTEGRAL, "dstCrStride", direction="out")]
ana(294, "lmvIntegrateImageYCbCr420PseudoPlanaru8",
    [YC_PLANES[0], YC_PLANES[1], Size("srcWidth"), Size("srcHeight"), Stride("srcYStride"), Stride("srcCStride"),
     *YC_DSTS, Stride("dstYStride"), Stride("dstCbStride"), Stride("dstCrStride")],
    "Integral images of the three planes of a 4:2:0 frame with interleaved CbCr: dstY is (srcWidth + 1) x "
    "(srcHeight + 1), dstCb and dstCr ((srcWidth + 1) / 2 + 1) x ((srcHeight + 1) / 2 + 1), each with a zero "
    "first row and column." + WRAP,
    f"ilmvIntegrateYCbCr420({ROWS}, srcY, srcC, srcWidth, srcHeight, srcYStride, srcCStride, dstY, dstCb, dstCr, "
    "dstYStride, dstCbStride, dstCrStride)",
    rule="srcY && srcC && dstY && dstCb && dstCr && srcWidth && srcHeight && (srcYStride >= srcWidth) && "
         "(srcCStride >= (srcWidth + 1) / 2 * 2) && (dstYStride >= (srcWidth + 1) * 4) && "
         "(dstCbStride >= ((srcWidth + 1) / 2 + 1) * 4) && (dstCrStride >= ((srcWidth + 1) / 2 + 1) * 4)",
    remote=default_remote([*YC_PLANES, *YC_DSTS], "srcWidth", "srcHeight", 8))

PATCH_AT = [Scalar("patchX", "int32_t", ["0", "1", "5"], "the patch's left column"),
            Scalar("patchY", "int32_t", ["0", "2"], "the patch's top row")]
PATCH_WORDS = ("Integral and squared-integral images of the {size} patch whose top left pixel is (patchX, patchY): "
               "{out}, each with a zero first row and column.")


def fixed_patch(slot, n):
    out = Image("intgrl", U32, str(n + 1), str(n + 1), str((n + 1) * 4), direction="out")
    sq = Image("intgrlSq", U32, str(n + 1), str(n + 1), str((n + 1) * 4), direction="out")
    ana(slot, f"lmvIntegratePatch{n}x{n}u8", [*src_of(), *PATCH_AT, out, sq],
        PATCH_WORDS.format(size=f"{n}x{n}", out=f"{n + 1} x {n + 1} packed u32 sums") +
        " The patch must lie inside the image.",
        f"(void)ilmvIntegratePatch({ROWS}, src, srcWidth, srcHeight, srcStride, patchX, patchY, {n}, {n}, {n}, {n}, "
        f"intgrl, intgrlSq, {(n + 1) * 4})",
        rule=f"src && intgrl && intgrlSq && (srcStride >= srcWidth) && (patchX >= 0) && (patchY >= 0) && "
             f"((uint32_t)patchX + {n} <= srcWidth) && ((uint32_t)patchY + {n} <= srcHeight)")


fixed_patch(295, 12)
fixed_patch(296, 18)

PATCH_SIZE = [Scalar("patchW", "uint32_t", ["1", "4", "9"], "patch width"),
              Scalar("patchH", "uint32_t", ["1", "3", "8"], "patch height")]


def patch_outputs(w, h, stride):
    return [Image("intgrl", U32, f"({w} + 1)", f"({h} + 1)", stride, direction="out"),
            Image("intgrlSq", U32, f"({w} + 1)", f"({h} + 1)", stride, direction="out")]


PATCH_INSIDE = ("(patchX >= 0) && (patchY >= 0) && patchW && patchH && ((uint64_t)(uint32_t)patchX + patchW <= "
                "srcWidth) && ((uint64_t)(uint32_t)patchY + patchH <= srcHeight)")
ana(297, "lmvIntegratePatchu8",
    [*src_of(), *PATCH_AT, *PATCH_SIZE, *patch_outputs("patchW", "patchH", "intgrlStride"), Stride("intgrlStride")],
    PATCH_WORDS.format(size="patchW x patchH", out="(patchW + 1) x (patchH + 1) u32 sums") +
    " The patch must lie inside the image." + WRAP,
    f"(void)ilmvIntegratePatch({ROWS}, src, srcWidth, srcHeight, srcStride, patchX, patchY, patchW, patchH, patchW, "
    "patchH, intgrl, intgrlSq, intgrlStride)",
    entry=False, rule=f"src && intgrl && intgrlSq && (srcStride >= srcWidth) && {PATCH_INSIDE} && "
                      "(intgrlStride >= (patchW + 1) * 4)",
    remote=remote_for(SRC),
    entries=[Entry("lmvIntegratePatchu8", [*src_of(), *PATCH_AT, *PATCH_SIZE,
                                           *patch_outputs("patchW", "patchH", "(patchW + 1) * 4")],
                   f"src && intgrl && intgrlSq && (srcStride >= srcWidth) && {PATCH_INSIDE}",
                   ["src", "srcWidth", "srcHeight", "srcStride", "patchX", "patchY", "patchW", "patchH", "intgrl",
                    "intgrlSq", "(patchW + 1) * 4"], doc="packed outputs"),
             Entry("lmvIntegratePatchu8_v2", [*src_of(), *PATCH_AT, *PATCH_SIZE,
                                              *patch_outputs("patchW", "patchH", "intgrlStride"),
                                              Stride("intgrlStride")],
                   f"src && intgrl && intgrlSq && (srcStride >= srcWidth) && {PATCH_INSIDE} && "
                   "(intgrlStride >= (patchW + 1) * 4)",
                   ["src", "srcWidth", "srcHeight", "srcStride", "patchX", "patchY", "patchW", "patchH", "intgrl",
                    "intgrlSq", "intgrlStride"], doc="output rows intgrlStride bytes apart")])
ana(434, "lmvIntegratePatchu8_v3",
    [*src_of(), *PATCH_AT, *PATCH_SIZE, Scalar("scaleW", "uint32_t", ["1", "4", "11"], "sampled width"),
     Scalar("scaleH", "uint32_t", ["1", "5"], "sampled height"), *patch_outputs("scaleW", "scaleH", "intgrlStride"),
     Stride("intgrlStride")],
    "The patch integral of a scaled patch: the patchW x patchH patch at (patchX, patchY) is first sampled to "
    "scaleW x scaleH by nearest (output column i reads patch column floor(i * (1 / (scaleW / patchW))), rows "
    "alike), then integrated into (scaleW + 1) x (scaleH + 1) sums and squared sums with a zero first row and "
    "column. Status 3 for a patch outside the image or a zero size." + WRAP,
    f"ilmvIntegratePatch({ROWS}, src, srcWidth, srcHeight, srcStride, patchX, patchY, patchW, patchH, scaleW, "
    "scaleH, intgrl, intgrlSq, intgrlStride)", ret=STATUS, remote=remote_for(SRC))

TILTED_DST, TILTED_RULE = integral_of(S32)
ana(375, "lmvTiltedIntegralu8s32", [*src_of(), TILTED_DST, Stride("dstStride")],
    "The 45-degree integral image: dst is (srcWidth + 1) x (srcHeight + 1), and dst(X, Y) the sum of src(x, y) "
    "over rows y < Y and columns |x - X + 1| <= Y - 1 - y (the upward triangle whose apex is pixel (X - 1, Y - 1)); "
    "row 0 is zero. Sums wrap modulo 2^32.",
    f"ilmvTiltedIntegral({ROWS}, src, srcWidth, srcHeight, srcStride, dst, dstStride)",
    rule=TILTED_RULE, remote=remote_for(SRC, TILTED_DST))

# ---- Histograms ----------------------------------------------------------------------------------
HIST = Points("histogram", "uint32_t", "256", "out", "256 counters, overwritten", length="256")
ana(283, "lmvImageIntensityHistogram", [*src_of(), HIST],
    "The 256-bin histogram of the image: histogram[v] is the number of pixels of value v.",
    f"ilmvHistogram({ROWS}, src, srcWidth, srcHeight, srcStride, histogram)",
    rule=plain_rule(out=("histogram",)), remote=remote_for(SRC), gpu=Gpu(1, [], "srcWidth >= 1"),
    gpu_engine="lmvGpuImageIntensityHistogram")
ana(282, "lmvImageHistogramEqualizeu8", [*src_of(), Image("dst", U8, "srcWidth", "srcHeight", "dstStride",
                                                          direction="out"), Stride("dstStride")],
    "Histogram equalisation: with v0 the lowest value present and cdf the cumulative histogram, dst = "
    "round(float(cdf(v) - cdf(v0)) * (255 / float(pixels - count(v0)))) in single precision, rounded half to "
    "even; an image of one value is copied. dst may be src.",
    f"ilmvEqualize({ROWS}, src, srcWidth, srcHeight, srcStride, dst, dstStride)",
    rule=plain_rule(["(dstStride >= srcWidth)"]),
    remote=remote_for(SRC, Image("dst", U8, "srcWidth", "srcHeight", "dstStride", direction="out")))

PATTERN = [Scalar("numPatternX", "uint32_t", ["1", "2", "3"], "cells across"),
           Scalar("numPatternY", "uint32_t", ["1", "2"], "cells down"),
           Scalar("numBins", "uint32_t", ["1", "16", "59", "256"], "bins per cell, 1 to 256")]
SPATIAL_OUT = Points("histogram", "float32_t", "numBins", "out",
                     "numPatternX * numPatternY cells of numBins values, cells in raster order",
                     length="numPatternX * numPatternY * numBins")
SPATIAL_WORDS = ("Spatial histogram (the feature of code images such as local binary patterns): the image is cut "
                 "into numPatternX x numPatternY cells, cell (cx, cy) covering columns cx * srcWidth / numPatternX "
                 "up to (cx + 1) * srcWidth / numPatternX (rounded down) and rows alike; each cell's histogram "
                 "of the values below numBins (larger values are not counted) ")
ana(289, "lmvImageSpatialHistogramu8", [*src_of(), *PATTERN, SPATIAL_OUT],
    SPATIAL_WORDS + "is normalised to sum 1 (an empty cell gives zeros), in double, stored as f32.",
    f"(void)ilmvSpatialHistogram({ROWS}, src, srcWidth, srcHeight, srcStride, numPatternX, numPatternY, numBins, 1, "
    "histogram)",
    rule=plain_rule(["numPatternX && numPatternY && (numPatternX <= srcWidth) && (numPatternY <= srcHeight) && "
                     "numBins && (numBins <= 256)"], out=("histogram",)),
    remote=remote_for(SRC))
ana(483, "lmvImageSpatialHistogramu8_v2",
    [*src_of(), *PATTERN, Scalar("normalize", "uint32_t", ["0", "1"], "1: each cell sums to 1; 0: counts"),
     SPATIAL_OUT],
    SPATIAL_WORDS + "is stored as counts (normalize 0) or normalised to sum 1 (normalize 1). Status 3 for no "
    "cells, more cells than pixels, numBins outside 1..256 or another normalize.",
    f"ilmvSpatialHistogram({ROWS}, src, srcWidth, srcHeight, srcStride, numPatternX, numPatternY, numBins, "
    "normalize, histogram)", ret=STATUS, remote=remote_for(SRC))

# ---- Statistics ----------------------------------------------------------------------------------
RECT = [Scalar("xBegin", "uint32_t", ["0", "1"], "the rectangle's left column"),
        Scalar("yBegin", "uint32_t", ["0", "2"], "the rectangle's top row"),
        Scalar("recWidth", "uint32_t", ["1", "5", "17"], "the rectangle's width"),
        Scalar("recHeight", "uint32_t", ["1", "4"], "the rectangle's height")]
MEAN_VAR = [ScalarOut("mean", "float32_t", "receives the mean"),
            ScalarOut("variance", "float32_t", "receives the variance")]
STATS_WORDS = ("Mean and variance of the pixels of the rectangle (xBegin, yBegin, recWidth, recHeight): the sum "
               "and the sum of squares are exact in 64 bits; mean = sum / n and the population variance "
               "max(0, squares / n - mean^2) are taken in double and stored as f32.")
RECT_INSIDE = ("recWidth && recHeight && ((uint64_t)xBegin + recWidth <= srcWidth) && "
               "((uint64_t)yBegin + recHeight <= srcHeight)")
ana(284, "lmvImageIntensityStats", [*src_of(), *RECT, *MEAN_VAR], STATS_WORDS,
    f"(void)ilmvIntensityStats({ROWS}, src, srcWidth, srcHeight, srcStride, xBegin, yBegin, recWidth, recHeight, 0, "
    "mean, variance)",
    rule=plain_rule([RECT_INSIDE], out=("mean", "variance")), remote=remote_for(SRC),
    gpu=Gpu(1, [], "srcWidth >= 1"), gpu_engine="lmvGpuImageIntensityStats")
ana(488, "lmvImageIntensityStats_v2",
    [*src_of(), *RECT, Scalar("varianceType", "uint32_t", ["0", "1"], "0: population variance; 1: sample "
                              "variance (times n / (n - 1), 0 for one pixel)"), *MEAN_VAR],
    STATS_WORDS + " varianceType 1 gives the sample variance instead. Status 3 for a rectangle outside the image "
    "or another varianceType.",
    f"ilmvIntensityStats({ROWS}, src, srcWidth, srcHeight, srcStride, xBegin, yBegin, recWidth, recHeight, "
    "varianceType, mean, variance)", ret=STATUS, remote=remote_for(SRC))

# ---- Minimum and maximum --------------------------------------------------------------------------
MINMAX_TYPES = [(417, 489, F32), (418, 490, S16), (419, 491, S32), (420, 492, U16), (421, 493, U32),
                (422, 494, U8)]
F32_ORDER = (" Values compare as numbers with -0 just below +0; NaN values are skipped (an image of NaN only "
             "reports NaN and location (0, 0), and empty lists).")


def minmax_values(e):
    return [ScalarOut("minVal", e.ctype, "receives the minimum"), ScalarOut("maxVal", e.ctype, "receives the maximum")]


for first, listed, e in MINMAX_TYPES:
    order = F32_ORDER if e.is_float else ""
    image = Image("src", e, "srcWidth", "srcHeight", "srcStride")
    locs = [ScalarOut(n, "uint32_t", f"receives the {n[:3]}imum's {n[-1].lower()}") for n in
            ("minLocX", "minLocY", "maxLocX", "maxLocY")]
    ana(first, f"lmvMinMaxLoc{e.suffix}", [*src_of(e), *minmax_values(e), *locs],
        "Minimum and maximum of the image and the first location of each in raster order." + order,
        f"ilmvMinMaxLoc({ROWS}, src, srcWidth, srcHeight, srcStride, minVal, maxVal, minLocX, minLocY, maxLocX, "
        "maxLocY)",
        rule=plain_rule(["minVal && maxVal && minLocX && minLocY && maxLocX && maxLocY"],
                        stride=f"srcStride >= srcWidth * {e.size}" if e.size > 1 else "srcStride >= srcWidth",
                        out=()),
        remote=remote_for(image))
    lists = [Points("minLocList", "uint32_t", "minLocCapacity", "out", "(x, y) of each minimum, raster order",
                    length="2 * minLocCapacity", optional=True, count_out="minLocCount"),
             Scalar("minLocCapacity", "uint32_t", ["0", "1", "64"], "pairs minLocList holds"),
             ScalarOut("minLocCount", "uint32_t", "receives the number of minima (all of them, beyond the capacity)"),
             Points("maxLocList", "uint32_t", "maxLocCapacity", "out", "(x, y) of each maximum, raster order",
                    length="2 * maxLocCapacity", optional=True, count_out="maxLocCount"),
             Scalar("maxLocCapacity", "uint32_t", ["0", "2", "64"], "pairs maxLocList holds"),
             ScalarOut("maxLocCount", "uint32_t", "receives the number of maxima")]
    ana(listed, f"lmvMinMaxLoc{e.suffix}_v2", [*src_of(e), *minmax_values(e), *lists],
        "Minimum and maximum of the image and every location that holds each: (x, y) pairs in raster order, the "
        "first minLocCapacity (maxLocCapacity) stored, the counts reporting all." + order,
        f"ilmvMinMaxLocList({ROWS}, src, srcWidth, srcHeight, srcStride, minVal, maxVal, minLocList, minLocCapacity, "
        "minLocCount, maxLocList, maxLocCapacity, maxLocCount)", ret=STATUS, remote=remote_for(image))

# ---- Moments --------------------------------------------------------------------------------------
MOMENTS_WORDS = ("Raw spatial moments up to the third order, sum of x^p y^q src(x, y), in the order m00, m10, m01, "
                 "m20, m11, m02, m30, m21, m12, m03, accumulated in double and stored as f32.")
for slot, e, how in [(285, F32, " Rows are summed in double in column order."),
                     (286, S32, " Rows are summed in double in column order."),
                     (287, U8, " Each run of 64 columns is summed exactly in integers, then shifted to its first "
                               "column in double, so rows up to 16384 pixels are exact before the final "
                               "products.")]:
    ana(slot, f"lmvImageMoments{e.suffix}",
        [*src_of(e), Points("moments", "float32_t", "10", "out", "the ten moments", length="10")],
        MOMENTS_WORDS + how, f"ilmvMoments({ROWS}, src, srcWidth, srcHeight, srcStride, moments)",
        forms="CV" if e == U8 else "C",
        rule=plain_rule(stride=f"srcStride >= srcWidth * {e.size}" if e.size > 1 else "srcStride >= srcWidth",
                        out=("moments",)),
        remote=remote_for(Image("src", e, "srcWidth", "srcHeight", "srcStride")))

# ---- Points --------------------------------------------------------------------------------------
ana(42, "lmvBoundingRectangle",
    [Points("xy", "uint32_t", "numPoints", "in", "(x, y) pairs", length="2 * numPoints"),
     Scalar("numPoints", "uint32_t", ["1", "5", "40"], "number of points, at least 1"),
     ScalarOut("rectTopLeftX", "uint32_t", "receives the smallest x"),
     ScalarOut("rectTopLeftY", "uint32_t", "receives the smallest y"),
     ScalarOut("rectBotRightX", "uint32_t", "receives the largest x"),
     ScalarOut("rectBotRightY", "uint32_t", "receives the largest y")],
    "The bounding rectangle of a point list: the corners are inclusive, so the rectangle is rectBotRightX - "
    "rectTopLeftX + 1 wide.",
    "ilmvBoundingRectangle(xy, numPoints, rectTopLeftX, rectTopLeftY, rectBotRightX, rectBotRightY)", forms="C",
    rule="xy && numPoints && rectTopLeftX && rectTopLeftY && rectBotRightX && rectBotRightY")
