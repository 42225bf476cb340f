"""Maximally stable extremal regions: the component-tree engine of cpu/lumivaMser.h behind
handles. Init calls make the handle (the parameters and the largest image it serves), release
calls free it; the operations differ in connectivity, in float or 16.16 fixed-point variation,
and in the per-region outputs they write. Reference forms only: the work is a tree over sorted
pixels, not rows."""

from lmvdesc import *

family("Mser")

H = "cpu/lumivaMser.h"
MSER_HANDLE = Handle("handle", "void*", "an MSER handle from any MSER init call")
ENGINE_WORDS = ("Maximally stable extremal regions of both polarities: pixels join a component tree in order of "
                "intensity ({conn}); a component's variation is (area at level + delta - area at level - delta) / "
                "area, {arith}. A component is kept when its area lies in [minArea, maxArea], its variation is at "
                "most maxVariation, no larger than any child's and smaller than its parent's, and it differs in area "
                "from its nearest kept ancestor by at least minDiversity of that ancestor's area. Dark regions (of "
                "the image) come first, then bright ones (of its inverse), each in increasing level; a region's "
                "pixels are listed in raster order as u16 (x, y) pairs. Whole regions are stored while the handle's "
                "maxRegions and maxTotalPixels hold. Status 3 for an image larger than the handle's or a null "
                "list.")
CONN = {False: "4-connected", True: "8-connected"}
ARITH = {False: "compared in single precision", True: "compared in 16.16 fixed point (truncated)"}
EXT_WORDS = (" Per region also: its bounding rectangle (xMin, yMin, xMax, yMax, inclusive), its variation and its "
             "polarity (0 dark, 1 bright).")
V3_WORDS = (" regionEllipses receives six values per region: the mean intensity, the centroid x and y, and the "
            "second central moments xx, xy and yy (per pixel), from which the ellipse of the region follows.")


def mser_params(ext=False, v3=False, polarity=False):
    params = [MSER_HANDLE, Image("src", U8, "srcWidth", "srcHeight", "srcStride"), Size("srcWidth"),
              Size("srcHeight"), Stride("srcStride")]
    if polarity:
        params.append(Scalar("polarity", "uint32_t", [], "1: dark regions, 2: bright regions, 3: both"))
    params += [ScalarOut("numRegions", "uint32_t", "receives the number of regions stored"),
               Points("numPixelsInRegion", "uint32_t", "maxRegions", "out", "pixels of each region (the handle's "
                      "maxRegions entries)", length="maxRegions"),
               Points("pixelXY", "uint16_t", "maxTotalPixels", "out", "the regions' (x, y) pixels one after another",
                      length="2 * maxTotalPixels"),
               Scalar("maxTotalPixels", "uint32_t", [], "pixels pixelXY holds")]
    if ext:
        params += [Points("regionRects", "uint32_t", "maxRegions", "out", "xMin, yMin, xMax, yMax per region",
                          length="4 * maxRegions", optional=True),
                   Points("regionVariation", "float32_t", "maxRegions", "out", "variation per region",
                          length="maxRegions", optional=True),
                   Points("regionPolarity", "uint8_t", "maxRegions", "out", "0 dark, 1 bright, per region",
                          length="maxRegions", optional=True)]
    if v3:
        params.append(Points("regionEllipses", "float32_t", "maxRegions", "out", "six values per region",
                             length="6 * maxRegions", optional=True))
    return params


def outputs(ext=False, v3=False):
    extra = "regionRects, regionVariation, regionPolarity" if ext else "nullptr, nullptr, nullptr"
    return (f"ilmvMserOutputs{{numRegions, numPixelsInRegion, pixelXY, maxTotalPixels, {extra}, "
            f"{'regionEllipses' if v3 else 'nullptr'}}}")


def mser(slot, name, eight, fixed, ext=False, v3=False):
    op(slot, name, mser_params(ext, v3),
       doc=ENGINE_WORDS.format(conn=CONN[eight], arith=ARITH[fixed]) + (EXT_WORDS if ext else "") +
       (V3_WORDS if v3 else ""), ret=STATUS, forms="C", cases=False, frame_header=H,
       frame=f"return ilmvMser(handle, src, srcWidth, srcHeight, srcStride, {str(eight).lower()}, "
             f"{str(fixed).lower()}, ilmvMserBoth, {outputs(ext, v3)})")


INIT_PARAMS = [Scalar("width", "uint32_t", [], "widest image the handle serves, up to 65536"),
               Scalar("height", "uint32_t", [], "tallest image, up to 65536"),
               Scalar("delta", "uint32_t", [], "level step of the variation, 1 to 255"),
               Scalar("minArea", "uint32_t", [], "smallest region kept"),
               Scalar("maxArea", "uint32_t", [], "largest region kept"),
               Scalar("maxVariation", "float32_t", [], "largest variation kept"),
               Scalar("minDiversity", "float32_t", [], "smallest relative area step to a kept ancestor, in [0, 1)"),
               Scalar("maxRegions", "uint32_t", [], "capacity of the per-region lists, at least 1"),
               ScalarOut("handle", "void*", "receives the handle")]
INIT_WORDS = ("Creates an MSER handle{which}: the parameters every MSER operation reads and the largest image it "
              "serves. Any MSER handle serves any MSER operation; release it with lmvMserReleaseFxp or lmvMserRelease. "
              "Status 3 for a zero or oversized image, delta outside 1..255, minArea above maxArea, a negative "
              "maxVariation, minDiversity outside [0, 1) or no region capacity.")
for slot, name, which in [(316, "lmvMserInitFxp", " for the fixed-point operations"),
                          (317, "lmvMserNN8Init", " for the 8-connected operations")]:
    op(slot, name, INIT_PARAMS, doc=INIT_WORDS.format(which=which), ret=STATUS, forms="C", cases=False,
       frame_header=H, frame="return ilmvMserInit(width, height, delta, minArea, maxArea, maxVariation, minDiversity, "
                             "maxRegions, handle)")
op(319, "lmvMserReleaseFxp", [Handle("handle", "void*", "the handle; freed", "inout")],
   doc="Releases an MSER handle (any of them).", forms="C", cases=False, rule="handle", frame_header=H,
   frame="ilmvMserRelease(handle)")

mser(320, "lmvMseru8FxpST", False, True)
mser(321, "lmvMseru8_v2ST", False, False)
mser(318, "lmvMserNN8u8ST", True, False)
mser(313, "lmvMserExtu8FxpST", False, True, ext=True)
mser(314, "lmvMserExtu8_v2ST", False, False, ext=True)
mser(312, "lmvMserExtNN8u8ST", True, False, ext=True)
mser(315, "lmvMserExtu8_v3ST", False, False, ext=True, v3=True)
op(4, "lmvMserSplitExtu8ST", mser_params(ext=True, polarity=True),
   doc=ENGINE_WORDS.format(conn=CONN[False], arith=ARITH[False]) + EXT_WORDS +
   " One polarity at a time (polarity 1 or 2), or both (3).", ret=STATUS, forms="C", cases=False, internal=True,
   frame_header=H,
   frame=f"return polarity < 1 || polarity > 3 ? LUMIVA_BAD_PARAMS : ilmvMser(handle, src, srcWidth, srcHeight, "
         f"srcStride, false, false, polarity, {outputs(True)})")
