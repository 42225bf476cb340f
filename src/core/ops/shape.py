"""Shapes: contours by border following (behind a handle that owns their storage), contour
drawing and convex polygon filling, convex hulls, point-in-polygon tests, flood fill and region
growing. Reference forms only: the work follows borders and regions, not rows (the frames of
cpu/lumivaShape.h)."""

from lmvdesc import *

family("Shape")

H = "cpu/lumivaShape.h"
CONTOURS_HANDLE = Handle("handle", "void*", "the context from lmvFindContoursAllocate", "inout")


def src_of():
    return [Image("src", U8, "srcWidth", "srcHeight", "srcStride"), Size("srcWidth"), Size("srcHeight"),
            Stride("srcStride")]


def shape(slot, name, params, doc, frame, **kw):
    returns = kw.get("ret", VOID) != VOID
    op(slot, name, params, doc=doc, forms="C", cases=kw.pop("cases", False), frame_header=H,
       frame=("return " if returns else "") + frame, **kw)


# ---- Contours -------------------------------------------------------------------------------------
shape(220, "lmvFindContoursAllocate",
      [Scalar("srcStride", "uint32_t", [], "the stride of the images the context will see (kept for reference)"),
       Scalar("maxNumContours", "uint32_t", [], "capacity of the contour lists, at least 1"),
       Scalar("maxTotalPoints", "uint32_t", [], "capacity of the point list, at least 1"),
       ScalarOut("handle", "void*", "receives the context")],
      "Creates a contour-finding context: the capacities of its results and the memory storage its points are "
      "collected on. Release it with lmvFindContoursDelete. Status 3 for a zero capacity.",
      "ilmvFindContoursAllocate(srcStride, maxNumContours, maxTotalPoints, handle)", ret=STATUS)
shape(222, "lmvFindContoursDelete", [Handle("handle", "void*", "the context; freed with its storage", "inout")],
      "Releases a contour-finding context and its storage.", "ilmvFindContoursDelete(handle)", rule="handle")

CONTOUR_WORDS = ("Border following on a binary image (non-zero pixels are foreground; outside the image is "
                 "background): {what} Each contour is its border pixels where the direction changes (runs of one "
                 "direction keep their ends). An outer border starts at its first pixel in raster order and runs "
                 "counter-clockwise on the screen (y down); a hole border starts at the pixel left of the hole's "
                 "first pixel and runs clockwise. Contours come out as a depth-first walk of the border "
                 "tree in which the later-found sibling comes first (so bottom objects before top ones), exactly "
                 "as the common border-following implementation orders them. At most the context's maxNumContours "
                 "contours and maxTotalPoints points are stored, whole contours in order; numContours reports how "
                 "many were. Status 3 for a null list or context.")
HIERARCHY_WORDS = (" hierarchy receives four values per contour: the next and previous contour at the same level, "
                   "the first child and the parent (-1 for none).")


def contour_params(tree):
    params = [*src_of(), ScalarOut("numContours", "uint32_t", "receives the number of contours stored"),
              Points("numContourPoints", "uint32_t", "maxNumContours", "out",
                     "points of each contour (the context's maxNumContours entries)", length="maxNumContours"),
              Points("contourPoints", "int32_t", "maxTotalPoints", "out",
                     "the contours' (x, y) points one after another (the context's maxTotalPoints pairs)",
                     length="2 * maxTotalPoints")]
    if tree:
        params.append(Points("hierarchy", "int32_t", "maxNumContours", "out",
                             "[next, previous, first child, parent] per contour", length="4 * maxNumContours"))
    return params + [CONTOURS_HANDLE]


for slot, name, mode, what, tree in [
        (223, "lmvFindContoursExternalu8", "ilmvContoursExternal",
         "the outer borders of the objects that lie in no hole.", False),
        (224, "lmvFindContoursListu8", "ilmvContoursList", "every outer and hole border, without relations.", False),
        (221, "lmvFindContoursCcompu8", "ilmvContoursCcomp",
         "every border in two levels: outer borders at the top, each with its holes as children (objects inside "
         "holes are top-level again).", True),
        (225, "lmvFindContoursTreeu8", "ilmvContoursTree", "every border with its full nesting.", True)]:
    shape(slot, name, contour_params(tree), CONTOUR_WORDS.format(what=what) + (HIERARCHY_WORDS if tree else ""),
          f"ilmvFindContours(src, srcWidth, srcHeight, srcStride, {mode}, numContours, numContourPoints, "
          f"contourPoints, {'hierarchy' if tree else 'nullptr'}, handle)", ret=STATUS)

# ---- Drawing --------------------------------------------------------------------------------------
CONTOUR_LISTS = [Scalar("numContours", "uint32_t", [], "contours in the lists"),
                 Points("numContourPoints", "uint32_t", "numContours", "in", "points of each contour"),
                 Points("contourPoints", "int32_t", "numContours", "in",
                        "the contours' (x, y) points one after another, as the contour finders write them"),
                 Scalar("contourIndex", "int32_t", [], "the contour to draw, or a negative value for all"),
                 Points("colour", "uint8_t", "nChannel", "in", "one value per channel", length="nChannel"),
                 Scalar("thickness", "int32_t", [], "1: outlines; negative: filled")]
DRAW_WORDS = ("Draws contours {where}: thickness 1 draws each closed outline with 8-connected lines (the major axis "
              "steps every pixel, the minor one when the error term goes negative, left to right); a negative "
              "thickness fills the chosen contours together, even-odd, with the common fixed-point scan "
              "conversion (so holes listed with their outer contour stay empty) and their outlines. Pixels outside "
              "the image are clipped.")
DRAW_RULE = ("{img} && srcWidth && srcHeight && nChannel && (nChannel <= 4) && (srcStride >= srcWidth{per}) && "
             "numContourPoints && contourPoints && colour && (thickness == 1 || thickness < 0) && "
             "(contourIndex < (int64_t)numContours)")
DRAW_FRAME = ("ilmvDrawContours(ilmvCanvas{{srcWidth, srcHeight, srcStride, {ch}, {inter}, {planes}, colour}}, "
              "numContours, numContourPoints, contourPoints, contourIndex, thickness)")
canvas = Image("src", U8, "srcWidth", "srcHeight", "srcStride", direction="inout", doc="the image drawn on")
shape(191, "lmvDrawContouru8", [canvas, Size("srcWidth"), Size("srcHeight"), Stride("srcStride"), *CONTOUR_LISTS],
      DRAW_WORDS.format(where="into a grey image (colour[0])"),
      DRAW_FRAME.format(ch="1", inter="src", planes="nullptr"), rule=DRAW_RULE.format(img="src", per="")
      .replace("nChannel && (nChannel <= 4) && ", ""))
shape(189, "lmvDrawContourInterleavedu8",
      [Image("src", U8, "srcWidth", "srcHeight", "srcStride", direction="inout", doc="the image drawn on",
             default_stride="srcWidth * nChannel"), Size("srcWidth"), Size("srcHeight"), Stride("srcStride"),
       Scalar("nChannel", "uint32_t", [], "interleaved channels, 1 to 4"), *CONTOUR_LISTS],
      DRAW_WORDS.format(where="into an image of nChannel interleaved channels (colour gives each)"),
      DRAW_FRAME.format(ch="nChannel", inter="src", planes="nullptr"),
      rule=DRAW_RULE.format(img="src", per=" * nChannel"))
shape(190, "lmvDrawContourPlanaru8",
      [Points("planes", "uint8_t* const", "nChannel", "inout", "one plane per channel, each srcStride bytes a row; drawn on"),
       Size("srcWidth"), Size("srcHeight"), Stride("srcStride"),
       Scalar("nChannel", "uint32_t", [], "planes, 1 to 4"), *CONTOUR_LISTS],
      DRAW_WORDS.format(where="into nChannel planes (colour gives each plane's value)"),
      DRAW_FRAME.format(ch="nChannel", inter="nullptr", planes="planes"),
      rule=DRAW_RULE.format(img="planes", per=""))
shape(199, "lmvFillConvexPolyu8",
      [Points("polygon", "int32_t", "numPoints", "in", "(x, y) vertices in order", length="2 * numPoints"),
       Scalar("numPoints", "uint32_t", [], "vertices, at least 1"),
       Image("dst", U8, "dstWidth", "dstHeight", "dstStride", direction="inout", doc="the image drawn on",
             default_stride="dstWidth * nChannel"),
       Size("dstWidth"), Size("dstHeight"), Stride("dstStride"),
       Scalar("nChannel", "uint32_t", [], "interleaved channels, 1 to 4"),
       Points("colour", "uint8_t", "nChannel", "in", "one value per channel", length="nChannel")],
      "Fills a convex polygon: its outline by 8-connected lines, then per row the span between the left and right "
      "chains from the topmost vertex, their x stepped in 1/65536 pixel and rounded to the nearest pixel (the "
      "common scan conversion, so edges are included). Fewer than three vertices draw only the outline; pixels "
      "outside the image are clipped.",
      "ilmvFillConvexPoly(ilmvCanvas{dstWidth, dstHeight, dstStride, nChannel, dst, nullptr, colour}, polygon, "
      "numPoints)",
      rule="polygon && numPoints && dst && dstWidth && dstHeight && nChannel && (nChannel <= 4) && "
           "(dstStride >= dstWidth * nChannel) && colour")

# ---- Hulls and polygons ---------------------------------------------------------------------------
POLYGON = Points("polygon", "int32_t", "numPoints", "in", "(x, y) points", length="2 * numPoints")
shape(226, "lmvFindConvexHull",
      [POLYGON, Scalar("numPoints", "uint32_t", [], "points, at least 1"),
       Scalar("clockwise", "uint32_t", [], "0: counter-clockwise, 1: clockwise (with y pointing up)"),
       Points("hullIndices", "uint32_t", "numPoints", "out", "indices of the hull's points", length="numPoints"),
       ScalarOut("numHullPoints", "uint32_t", "receives the number of hull points")],
      "The convex hull of a point set (the monotone chain): indices into polygon of its corners, collinear and "
      "repeated points left out, starting at the point of smallest x (then y). Orientation is named with the y "
      "axis pointing up, so counter-clockwise appears clockwise on an image whose y points down. Status 3 for no "
      "points, a null index list or a clockwise flag other than 0 or 1.",
      "ilmvConvexHull(polygon, numPoints, clockwise, hullIndices, numHullPoints)", ret=STATUS)
shape(324, "lmvPointPolygonTest",
      [POLYGON, Scalar("numPoints", "uint32_t", [], "vertices, at least 1"),
       Scalar("px", "float32_t", [], "the point's x"), Scalar("py", "float32_t", [], "the point's y"),
       Scalar("measureDist", "uint32_t", [], "non-zero: return the signed distance")],
      "Where a point lies against a closed polygon: +1 inside, -1 outside, 0 on an edge; with measureDist the "
      "distance to the nearest edge instead, positive inside and negative outside (in double, returned as f32). "
      "Inside follows the even-odd rule.",
      "ilmvPointPolygonTest(polygon, numPoints, px, py, measureDist)", ret="float32_t", rule="polygon && numPoints")

# ---- Flood fill and region growing ----------------------------------------------------------------
SEED = [Scalar("seedX", "uint32_t", ["0", "3"], "the seed's column"),
        Scalar("seedY", "uint32_t", ["0", "2"], "the seed's row")]
CONNECT = Scalar("connectivity", "uint32_t", ["4", "8"], "4 or 8")
FILL_SRC = Image("src", U8, "srcWidth", "srcHeight", "srcStride", direction="inout", doc="filled in place")


def fill_remote(*images):
    return default_remote(list(images), "srcWidth", "srcHeight", 8)


shape(230, "lmvFloodfillSimpleu8",
      [FILL_SRC, Size("srcWidth"), Size("srcHeight"), Stride("srcStride"), *SEED,
       Scalar("newValue", "uint8_t", ["0", "200"], "the value the region takes"), CONNECT,
       ScalarOut("area", "uint32_t", "receives the number of pixels filled"),
       Points("rect", "uint32_t", "4", "out", "the region's bounding box: x, y, width, height", length="4")],
      "Flood fill in place: the 4- or 8-connected region of pixels equal to the seed's value becomes newValue "
      "(src is written, unlike a read-only source). Status 3 for a seed outside the image, another connectivity "
      "or a null rect.",
      "ilmvFloodfillSimple(src, srcWidth, srcHeight, srcStride, seedX, seedY, newValue, connectivity, area, rect)",
      ret=STATUS, cases=True, remote=fill_remote(FILL_SRC))
MASK = Image("mask", U8, "srcWidth", "srcHeight", "maskStride", direction="inout",
             doc="non-zero pixels are barriers; the region becomes 255")
shape(414, "lmvFloodfillMergedu8",
      [Image("src", U8, "srcWidth", "srcHeight", "srcStride"), Size("srcWidth"), Size("srcHeight"),
       Stride("srcStride"), *SEED, Scalar("loDiff", "uint8_t", ["0", "3", "20"], "lower tolerance"),
       Scalar("upDiff", "uint8_t", ["0", "5", "20"], "upper tolerance"), CONNECT,
       Scalar("fixedRange", "uint32_t", ["0", "1"], "1: compare with the seed; 0: with the neighbour reached from"),
       MASK, Stride("maskStride"), ScalarOut("area", "uint32_t", "receives the number of pixels added")],
      "Flood fill with a tolerance into a mask: a 4- or 8-neighbour joins when its value lies in [v - loDiff, v + "
      "upDiff], v being the pixel it is reached from (fixedRange 0) or the seed (fixedRange 1); the region is the "
      "closure of that rule. Non-zero mask pixels are barriers (a seed on one fills nothing) and the region's "
      "pixels become 255, so successive calls merge their regions. Status 3 for a seed outside the image, another "
      "connectivity or fixedRange.",
      "ilmvFloodfillMerged(src, srcWidth, srcHeight, srcStride, seedX, seedY, loDiff, upDiff, connectivity, "
      "fixedRange, mask, maskStride, area)",
      ret=STATUS, cases=True, remote=fill_remote(Image("src", U8, "srcWidth", "srcHeight", "srcStride"), MASK))
LABELS = Image("labels", U32, "srcWidth", "srcHeight", "dstStride", direction="out", doc="one label per pixel")
shape(288, "lmvImageSegmentationRegionGrow",
      [Image("src", U8, "srcWidth", "srcHeight", "srcStride"), Size("srcWidth"), Size("srcHeight"),
       Stride("srcStride"), Scalar("threshold", "uint8_t", ["0", "10", "40"], "largest distance to the mean"),
       Scalar("minRegionSize", "uint32_t", ["1", "5"], "smaller regions are left unlabelled"), LABELS,
       Stride("dstStride"), ScalarOut("numRegions", "uint32_t", "receives the number of regions")],
      "Unseeded region growing: every pixel not yet taken, in raster order, seeds a 4-connected region that a "
      "neighbour joins while |value - mean| <= threshold, the mean of the pixels taken so far (compared exactly, "
      "as |value * count - sum| <= threshold * count), grown span by span on the flood-fill engine. Regions of at "
      "least minRegionSize pixels are labelled 1, 2, ... in the order found; smaller ones keep 0.",
      "ilmvRegionGrow(src, srcWidth, srcHeight, srcStride, threshold, minRegionSize, labels, dstStride, numRegions)",
      ret=STATUS, cases=True,
      remote=fill_remote(Image("src", U8, "srcWidth", "srcHeight", "srcStride"), LABELS))
S16_SRC = Image("src", S16, "srcWidth", "srcHeight", "srcStride")
shape(461, "lmvImageSegmentationSeedRegionGrows16",
      [S16_SRC, Size("srcWidth"), Size("srcHeight"), Stride("srcStride"),
       Points("seedXY", "uint32_t", "numSeeds", "in", "(x, y) of each seed", length="2 * numSeeds"),
       Scalar("numSeeds", "uint32_t", ["1", "3"], "seeds"),
       Scalar("threshold", "int16_t", ["0", "30", "500"], "largest step between neighbours, 0 or more"), LABELS,
       Stride("dstStride")],
      "Seeded region growing on s16 data (depth): from each seed in order an 8-connected region grows while "
      "|neighbour - the pixel it is reached from| <= threshold; its pixels get label seed index + 1, and pixels an "
      "earlier seed took stay its (a seed already taken adds nothing). Other pixels get 0. Status 3 for a seed "
      "outside the image or a negative threshold; nothing is written then.",
      "ilmvSeedRegionGrow(src, srcWidth, srcHeight, srcStride, seedXY, numSeeds, threshold, labels, dstStride)",
      ret=STATUS, cases=True, remote=fill_remote(S16_SRC, LABELS))
