"""Geometry and resampling: affine and perspective warps, remaps, resizing, fixed-ratio
scalers, up-sampling, flips, transposes and rotations. Warps and remaps run on the mapping
frame, resizing on the separable resampler, and flips, transposes and rotations on the block
transposer (cpu/lumivaGeometry.h); the forms differ in their row kernels only."""

from lmvdesc import *

family("Geometry")

H = "cpu/lumivaGeometry.h"
ROWS = "ilmvGeometryRows{form}()"

INTERP_WORDS = ("LUMIVA_INTERPOLATION_NEAREST (the pixel at the rounded position) or LUMIVA_INTERPOLATION_BILINEAR "
                "(1/32-pixel positions, weights (32 - fx)(32 - fy), fx (32 - fy), (32 - fx) fy, fx fy, the sum plus "
                "512 shifted right by 10)")
AFFINE_WORDS = ("The 2x3 row-major matrix maps destination (x, y) to source (m0 x + m1 y + m2, m3 x + m4 y + m5); "
                "the products are taken in double, to 1/1024 pixel rounded half to even, then to 1/32 pixel "
                "(bilinear, bicubic) or to the nearest pixel.")
PERSPECTIVE_WORDS = ("The 3x3 row-major matrix maps destination (x, y) to source (X / W, Y / W) with X = m0 x + m1 y + "
                     "m2, Y = m3 x + m4 y + m5, W = m6 x + m7 y + m8, in double (the sums restart every "
                     "min(1024 / min(16, dstHeight), dstWidth) columns), rounded half to even to 1/32 pixel "
                     "(bilinear) or to the nearest pixel; W = 0 maps to (0, 0).")
LEAVE_WORDS = (" Destination pixels whose samples leave the source (the 2x2 neighbourhood for bilinear, the pixel "
               "for nearest) are not written.")
EXTENT_WORDS = (" dstBorder, when not null, receives per destination row the first and last column whose samples lie "
                "inside the source (dstWidth and 0 for a row without one).")
EXACT_WORDS = " Exact: the SIMD form gives the reference's bytes."
SIZE_LIMIT = " Coordinates saturate at -32768 and 32767 pixels."


def src_of(ch=1, elem=U8):
    return [Image("src", elem, "srcWidth", "srcHeight", "srcStride", channels=ch), Size("srcWidth"),
            Size("srcHeight"), Stride("srcStride")]


def dst_sized(ch=1, direction="inout"):
    """The destination of a warp is read as well: pixels it does not write keep their values."""
    keep = "pixels the call does not write keep their values" if direction == "inout" else ""
    return [Image("dst", U8, "dstWidth", "dstHeight", "dstStride", channels=ch, direction=direction, doc=keep),
            Size("dstWidth"),
            Size("dstHeight"), Stride("dstStride")]


def matrix(name, count, doc):
    return Points(name, "float32_t", str(count), "in", doc, length=str(count))


AFFINE = matrix("affineMatrix", 6, "2x3 row-major, destination to source")
PROJECTION = matrix("projectionMatrix", 9, "3x3 row-major, destination to source")
EXTENT = Points("dstBorder", "uint32_t", "dstHeight", "out", "per row: first and last column sampled inside",
                length="2 * dstHeight", optional=True)
INTERP = Scalar("interpolation", "LMV_INTERPOLATION", ["0", "1"],
                "LUMIVA_INTERPOLATION_NEAREST or LUMIVA_INTERPOLATION_BILINEAR; any other is status 3")
WARP_BORDER = BORDER_PARAMS
WARP_BORDER_WORDS = (" Border: LUMIVA_BORDER_UNDEFINED leaves destination pixels whose samples leave the source; "
                     "LUMIVA_BORDER_CONSTANT reads borderValue outside the source; LUMIVA_BORDER_REPLICATE repeats "
                     "the nearest edge pixel.")


def rule(ch_src=1, ch_dst=1, extra=()):
    terms = ["src", "dst", "srcWidth", "srcHeight", "dstWidth", "dstHeight"]
    row = lambda w, ch: w if ch == 1 else f"{w} * {ch}"
    terms.append(f"(srcStride >= {row('srcWidth', ch_src)})")
    terms.append(f"(dstStride >= {row('dstWidth', ch_dst)})")
    return " && ".join(terms + list(extra))


def src_in(ch=1):
    return Image("src", U8, "srcWidth", "srcHeight", "srcStride", channels=ch)


def dst_in(ch=1, w="dstWidth", h="dstHeight", direction="out"):
    keep = "pixels the call does not write keep their values" if direction == "inout" else ""
    return Image("dst", U8, w, h, "dstStride", channels=ch, direction=direction, doc=keep)


def remote(ch=1, w="dstWidth", h="dstHeight", extra=(), direction="inout"):
    return default_remote([src_in(ch), dst_in(ch, w, h, direction), *extra], "srcWidth", "srcHeight", 8)


def geo(slot, name, params, doc, frame, forms="CV", **kw):
    returns = kw.get("ret", VOID) != VOID
    op(slot, name, params, doc=doc, forms=forms, frame_header=H, frame=("return " if returns else "") + frame, **kw)


def source(ch=1, w="srcWidth", h="srcHeight", stride="srcStride", data="src"):
    return f"ilmvSource{{reinterpret_cast<const uint8_t*>({data}), {w}, {h}, {stride}, {ch}}}"


def target(w="dstWidth", h="dstHeight", stride="dstStride", data="dst"):
    return f"ilmvTarget{{{data}, {w}, {h}, {stride}}}"


# ---- Affine warps ---------------------------------------------------------------------------------
WARP_GPU = Gpu(1, [], "dstWidth >= 1")  # the engines take any size and alignment
geo(0, "lmv3ChannelTransformAffineClippedBCu8", [*src_of(3), AFFINE, *dst_sized(3), EXTENT],
    "Affine warp of RGB888 pixels with bicubic interpolation (the A = -0.75 cubic at 1/32-pixel phases, 4x4 "
    "weights in 1/32768 that sum to 32768, the sum plus 16384 shifted right by 15 and clamped). " + AFFINE_WORDS +
    " Destination pixels whose 4x4 neighbourhood leaves the source are not written." + EXTENT_WORDS + EXACT_WORDS +
    SIZE_LIMIT,
    f"ilmvWarpAffine({ROWS}, {source(3)}, affineMatrix, {target()}, 3, LUMIVA_BORDER_UNDEFINED, 0, dstBorder)",
    rule=rule(3, 3, ["affineMatrix"]), remote=remote(3))
geo(381, "lmvTransformAffineClippedu8", [*src_of(), AFFINE, *dst_sized(), EXTENT],
    "Affine warp, bilinear. " + AFFINE_WORDS + LEAVE_WORDS + EXTENT_WORDS + EXACT_WORDS + SIZE_LIMIT,
    f"ilmvWarpAffine({ROWS}, {source()}, affineMatrix, {target()}, 1, LUMIVA_BORDER_UNDEFINED, 0, dstBorder)",
    rule=rule(extra=["affineMatrix"]), remote=remote(), gpu=WARP_GPU,
    gpu_engine="lmvGpuTransformAffineClippedu8_v2(src, srcWidth, srcHeight, srcStride, affineMatrix, dst, dstWidth, "
               "dstHeight, dstStride, dstBorder, LUMIVA_INTERPOLATION_BILINEAR)")
geo(382, "lmvTransformAffineu8_v2", [*src_of(), AFFINE, *dst_sized()],
    "Affine warp, bilinear, every destination pixel written: samples outside the source repeat the nearest edge "
    "pixel. " + AFFINE_WORDS + EXACT_WORDS + SIZE_LIMIT,
    f"ilmvWarpAffine({ROWS}, {source()}, affineMatrix, {target()}, 1, LUMIVA_BORDER_REPLICATE, 0, nullptr)",
    rule=rule(extra=["affineMatrix"]), remote=remote(), gpu=WARP_GPU, gpu_engine="lmvGpuTransformAffineu8_v2")
geo(458, "lmvTransformAffineClippedu8_v2", [*src_of(), AFFINE, *dst_sized(), EXTENT, INTERP],
    "Affine warp with a chosen interpolation: " + INTERP_WORDS + ". " + AFFINE_WORDS + LEAVE_WORDS + EXTENT_WORDS +
    EXACT_WORDS + SIZE_LIMIT,
    f"ilmvWarpAffine({ROWS}, {source()}, affineMatrix, {target()}, interpolation == 0 || interpolation == 1 ? "
    "interpolation : -1, LUMIVA_BORDER_UNDEFINED, 0, dstBorder)",
    ret=STATUS, remote=remote(), gpu=WARP_GPU, gpu_engine="lmvGpuTransformAffineClippedu8_v2")
geo(502, "lmvTransformAffineClippedu8_v3", [*src_of(), AFFINE, *dst_sized(), EXTENT, INTERP, *WARP_BORDER],
    "Affine warp with a chosen interpolation and border: " + INTERP_WORDS + ". " + AFFINE_WORDS + WARP_BORDER_WORDS +
    EXTENT_WORDS + EXACT_WORDS + SIZE_LIMIT,
    f"ilmvWarpAffine({ROWS}, {source()}, affineMatrix, {target()}, interpolation == 0 || interpolation == 1 ? "
    "interpolation : -1, borderType, borderValue, dstBorder)", ret=STATUS, remote=remote())

PATCH_POSITIONS = Points("positions", "float32_t", "numPatches", "in", "(x, y) of each patch's centre",
                         length="2 * numPatches")
PATCH_AFFINES = Points("affines", "float32_t", "numPatches", "in", "row-major 2x2 (a, b, c, d) of each patch",
                       length="4 * numPatches")
geo(380, "lmvTransformAffine8x8u8",
    [*src_of(), PATCH_POSITIONS, PATCH_AFFINES, Scalar("numPatches", "uint32_t", ["1", "3", "17"], "patches"),
     Points("patches", "uint8_t", "numPatches", "out", "64 bytes per patch, rows packed", length="64 * numPatches"),
     Points("patchStatus", "int32_t", "numPatches", "out", "0: the patch lies inside, 1: it needed the edges",
            length="numPatches")],
    "8x8 patches under their own affine maps: pixel (i, j) of patch p samples the source bilinearly at "
    "(x + a (j - 3.5) + b (i - 3.5), y + c (j - 3.5) + d (i - 3.5)) with the affine warp's fixed point; samples "
    "outside repeat the edge pixels, and patchStatus[p] is 1 where any did, else 0." + EXACT_WORDS,
    f"ilmvAffinePatches({ROWS}, {source()}, positions, affines, numPatches, patches, patchStatus)",
    rule="src && srcWidth && srcHeight && (srcStride >= srcWidth) && positions && affines && patches && patchStatus",
    gpu=Gpu(1, [], "numPatches >= 1"), gpu_engine="lmvGpuTransformAffine8x8u8")

# ---- Perspective warps ----------------------------------------------------------------------------


def packed_perspective(slot, name, ch, kind, engine):
    params = [Image("src", U8, "srcWidth", "srcHeight", f"srcWidth * {ch}" if ch > 1 else "srcWidth", channels=ch),
              Size("srcWidth"), Size("srcHeight"),
              Image("dst", U8, "dstWidth", "dstHeight", f"dstWidth * {ch}" if ch > 1 else "dstWidth", channels=ch,
                    direction="inout"), Size("dstWidth"), Size("dstHeight"), PROJECTION]
    row = lambda w: w if ch == 1 else f"{w} * {ch}"
    geo(slot, name, params,
        f"Perspective warp of {kind}, nearest neighbour, rows packed. " + PERSPECTIVE_WORDS + LEAVE_WORDS + EXACT_WORDS +
        SIZE_LIMIT,
        f"ilmvWarpPerspective({ROWS}, {source(ch, stride=row('srcWidth'))}, projectionMatrix, "
        f"{target(stride=row('dstWidth'))}, 0, LUMIVA_BORDER_UNDEFINED, 0)",
        rule="src && dst && projectionMatrix && srcWidth && srcHeight && dstWidth && dstHeight",
        remote=default_remote([params[0], params[3]], "srcWidth", "srcHeight", 8), gpu=WARP_GPU,
        gpu_engine=f"{engine}(src, srcWidth, srcHeight, {row('srcWidth')}, dst, dstWidth, dstHeight, "
                   f"{row('dstWidth')}, projectionMatrix)")


def strided_perspective(slot, name, ch, kind, engine):
    geo(slot, name, [*src_of(ch), *dst_sized(ch)[:1], Size("dstWidth"), Size("dstHeight"), Stride("dstStride"),
                     PROJECTION],
        f"Perspective warp of {kind}, nearest neighbour. " + PERSPECTIVE_WORDS + LEAVE_WORDS + EXACT_WORDS + SIZE_LIMIT,
        f"ilmvWarpPerspective({ROWS}, {source(ch)}, projectionMatrix, {target()}, 0, LUMIVA_BORDER_UNDEFINED, 0)",
        rule=rule(ch, ch, ["projectionMatrix"]), remote=remote(ch), gpu=WARP_GPU, gpu_engine=engine)


packed_perspective(1, "lmv3ChannelWarpPerspectiveu8", 3, "RGB888 pixels", "lmvGpu3ChannelWarpPerspectiveu8")
strided_perspective(2, "lmv3ChannelWarpPerspectiveu8_v2", 3, "RGB888 pixels", "lmvGpu3ChannelWarpPerspectiveu8")
packed_perspective(394, "lmvWarpPerspectiveu8", 1, "a grey image", "lmvGpuWarpPerspectiveu8")
strided_perspective(395, "lmvWarpPerspectiveu8_v2", 1, "a grey image", "lmvGpuWarpPerspectiveu8")
V3_PARAMS = [*src_of(), *dst_sized()[:1], Size("dstWidth"), Size("dstHeight"), Stride("dstStride"), PROJECTION, INTERP,
             *WARP_BORDER]
geo(457, "lmvWarpPerspectiveu8_v3", V3_PARAMS,
    "Perspective warp with a chosen interpolation and border: " + INTERP_WORDS + ". " + PERSPECTIVE_WORDS +
    WARP_BORDER_WORDS + EXACT_WORDS + SIZE_LIMIT,
    f"ilmvWarpPerspective({ROWS}, {source()}, projectionMatrix, {target()}, interpolation, borderType, borderValue)",
    ret=STATUS, remote=remote())
TILE = [Scalar("dstX", "uint32_t", ["0", "3"], "left column of the tile"),
        Scalar("dstY", "uint32_t", ["0", "2"], "top row of the tile"),
        Scalar("tileWidth", "uint32_t", ["1", "5", "40"], "tile width; the tile must lie inside the destination"),
        Scalar("tileHeight", "uint32_t", ["1", "4"], "tile height")]
geo(505, "lmvWarpPerspectiveu8_v4", V3_PARAMS + TILE,
    "lmvWarpPerspectiveu8_v3 restricted to the destination tile [dstX, dstX + tileWidth) x [dstY, dstY + "
    "tileHeight): the tile's pixels are those the whole-frame call would write (coordinates are those of the whole "
    "dstWidth x dstHeight frame), and nothing outside the tile is touched, so a frame can be split across threads. "
    "Status 3 for an empty tile or one that leaves the destination.",
    f"dstX >= dstWidth || dstY >= dstHeight || !tileWidth || !tileHeight || tileWidth > dstWidth - dstX || "
    f"tileHeight > dstHeight - dstY ? LUMIVA_BAD_PARAMS : ilmvWarpPerspective({ROWS}, {source()}, projectionMatrix, "
    "ilmvTarget{dst, dstWidth, dstHeight, dstStride, dstX, dstY, dstX + tileWidth, dstY + tileHeight}, "
    "interpolation, borderType, borderValue)", ret=STATUS)
geo(470, "lmv2PlaneWarpPerspectiveu8",
    [Image("srcY", U8, "srcWidth", "srcHeight", "srcYStride"),
     Image("srcC", U8, "srcWidth", "srcHeight", "srcCStride", channels=2, wdiv=2, hdiv=2),
     Size("srcWidth"), Size("srcHeight"), Stride("srcYStride"), Stride("srcCStride"),
     Image("dstY", U8, "dstWidth", "dstHeight", "dstYStride", direction="inout"),
     Image("dstC", U8, "dstWidth", "dstHeight", "dstCStride", channels=2, wdiv=2, hdiv=2, direction="inout"),
     Size("dstWidth"), Size("dstHeight"), Stride("dstYStride"), Stride("dstCStride"), PROJECTION],
    "Perspective warp of a two-plane 4:2:0 frame (a Y plane and a plane of interleaved CbCr pairs, each pair for "
    "2x2 luma pixels, sited at their centre), bilinear. The Y plane follows the matrix as lmvWarpPerspectiveu8_v3 "
    "does; the chroma plane follows the same motion at half scale (source chroma position = (luma position - 0.5) "
    "/ 2 for luma position = H (2 c + 0.5)). Pixels whose 2x2 neighbourhood leaves their plane are not written."
    + EXACT_WORDS,
    f"ilmvWarpTwoPlane({ROWS}, {source(1, data='srcY', stride='srcYStride')}, "
    f"{source(2, w='(srcWidth + 1) / 2', h='(srcHeight + 1) / 2', stride='srcCStride', data='srcC')}, "
    f"projectionMatrix, {target(stride='dstYStride', data='dstY')}, "
    f"{target(w='(dstWidth + 1) / 2', h='(dstHeight + 1) / 2', stride='dstCStride', data='dstC')})", ret=STATUS)

# ---- Remaps ---------------------------------------------------------------------------------------
MAPS = [Image("mapX", F32, "dstWidth", "dstHeight", "mapStride"), Image("mapY", F32, "dstWidth", "dstHeight", "mapStride"),
        Stride("mapStride")]
MAP_WORDS = (" mapX and mapY give each destination pixel's source position (rows mapStride bytes apart); it is "
             "rounded half to even to the nearest pixel or to 1/32 pixel; NaN lands outside the source.")


def remap_params(ch):
    return [*src_of(ch), *dst_sized(ch), *MAPS]


def remap_remote(ch):
    return default_remote([src_in(ch), dst_in(ch, direction="inout"), *MAPS[:2]], "srcWidth", "srcHeight", 8)


REMAP_RULE = rule(4, 4, ["mapX", "mapY", "(mapStride >= dstWidth * 4)"])
geo(337, "lmvRemapRGBA8888BLu8", remap_params(4),
    "Remap of RGBA8888 pixels, bilinear." + MAP_WORDS + LEAVE_WORDS + EXACT_WORDS + SIZE_LIMIT,
    f"ilmvRemap({ROWS}, {source(4)}, {target()}, mapX, mapY, mapStride, 1, LUMIVA_BORDER_UNDEFINED, 0)",
    rule=REMAP_RULE, remote=remap_remote(4))
geo(338, "lmvRemapRGBA8888NNu8", remap_params(4),
    "Remap of RGBA8888 pixels, nearest neighbour." + MAP_WORDS + LEAVE_WORDS + EXACT_WORDS + SIZE_LIMIT,
    f"ilmvRemap({ROWS}, {source(4)}, {target()}, mapX, mapY, mapStride, 0, LUMIVA_BORDER_UNDEFINED, 0)",
    rule=REMAP_RULE, remote=remap_remote(4), gpu=Gpu(4, ["mapStride"], "dstWidth >= 1"),
    gpu_engine="lmvGpuRemapRGBA8888NNu8")
geo(428, "lmvRemapu8", [*remap_params(1), INTERP],
    "Remap of a grey image: " + INTERP_WORDS + "." + MAP_WORDS + LEAVE_WORDS + EXACT_WORDS + SIZE_LIMIT +
    " Another interpolation breaks the assertion.",
    f"ilmvRemap({ROWS}, {source()}, {target()}, mapX, mapY, mapStride, interpolation, LUMIVA_BORDER_UNDEFINED, 0)",
    rule=rule(extra=["mapX", "mapY", "(mapStride >= dstWidth * 4)", "(interpolation == 0 || interpolation == 1)"]),
    remote=remap_remote(1))
geo(498, "lmvRemapu8_v2", [*remap_params(1), INTERP, *WARP_BORDER],
    "Remap of a grey image with a chosen interpolation and border: " + INTERP_WORDS + "." + MAP_WORDS +
    WARP_BORDER_WORDS + EXACT_WORDS + SIZE_LIMIT,
    f"ilmvRemap({ROWS}, {source()}, {target()}, mapX, mapY, mapStride, interpolation, borderType, borderValue)",
    ret=STATUS, remote=remap_remote(1))

# ---- Resizing -------------------------------------------------------------------------------------
RESIZE_WORDS = {
    "nearest": "output (x, y) copies source (floor(x / r), floor(y / r)) with r = dstWidth / srcWidth (and "
               "likewise for y) taken in double",
    "bilinear": "bilinear with centres aligned: source position (x + 0.5) srcWidth / dstWidth - 0.5, clamped to "
                "the image, weights (1 - f) and f rounded to 1/2048 per axis, the two passes' product rounded half "
                "up once (at exactly half size, the rounded 2x2 mean)",
    "area": "the area-weighted mean of the source pixels each output covers, in exact integer weights, rounded half "
            "up (exact while each size over the gcd of the source and destination sizes of its axis stays below 32768)",
    "cubic": "bicubic (the A = -0.75 cubic) with centres aligned, 4 taps per axis with edge pixels repeated, weights "
             "rounded to 1/2048, the result rounded once and clamped",
}
ALL_MODES = (f" LUMIVA_INTERPOLATION_NEAREST: {RESIZE_WORDS['nearest']}; LUMIVA_INTERPOLATION_BILINEAR: "
             f"{RESIZE_WORDS['bilinear']}; LUMIVA_INTERPOLATION_AREA: {RESIZE_WORDS['area']}; "
             f"LUMIVA_INTERPOLATION_BICUBIC: {RESIZE_WORDS['cubic']}. Another value is status 3.")


def resize(slot, name, mode, words, ch=1, down=None, **kw):
    extra = [] if down is None else (["(dstWidth <= srcWidth)", "(dstHeight <= srcHeight)"] if down else
                                     ["(dstWidth >= srcWidth)", "(dstHeight >= srcHeight)"])
    geo(slot, name, [*src_of(ch), *dst_sized(ch, "out")], words + EXACT_WORDS,
        f"ilmvResize({ROWS}, {source(ch)}, {target()}, {mode})", rule=rule(ch, ch, extra),
        remote=remote(ch, direction="out"), **kw)


resize(340, "lmvScaleDownBLu8", 1, "Downscale, " + RESIZE_WORDS["bilinear"] + ".", down=True)
resize(347, "lmvScaleDownNNu8", 0, "Downscale, nearest neighbour: " + RESIZE_WORDS["nearest"] + ".", down=True)
resize(346, "lmvScaleDownMNu8", 2, "Downscale by any ratio: " + RESIZE_WORDS["area"] + ".", down=True,
       gpu=Gpu(1, [], "dstWidth >= 1"), gpu_engine="lmvGpuScaleDownMNu8")
resize(345, "lmvScaleDownMNInterleaveu8", 2, "Downscale of interleaved CbCr pairs by any ratio, each channel: " +
       RESIZE_WORDS["area"] + ".", ch=2, down=True)
resize(351, "lmvScaleUpPolyu8", 3, "Upscale by any ratio: " + RESIZE_WORDS["cubic"] + ".", down=False)
resize(350, "lmvScaleUpPolyInterleaveu8", 3, "Upscale of interleaved CbCr pairs by any ratio, each channel: " +
       RESIZE_WORDS["cubic"] + ".", ch=2, down=False)
geo(348, "lmvScaleDownu8", [*src_of(), *dst_sized(direction="out")],
    "Downscale that picks its method from the ratio: exactly half in both directions gives lmvScaleDownBy2u8's "
    "truncated 2x2 mean, exactly a quarter lmvScaleDownBy4u8's truncated 4x4 mean, any other ratio "
    "lmvScaleDownMNu8's area mean." + EXACT_WORDS,
    f"ilmvScaleDownAuto({ROWS}, {source()}, {target()})",
    rule=rule(extra=["(dstWidth <= srcWidth)", "(dstHeight <= srcHeight)"]), remote=remote(direction="out"))
geo(466, "lmvScaleu8", [*src_of(), *dst_sized(direction="out"), Scalar("interpolation", "LMV_INTERPOLATION", ["0", "1", "2", "3"],
                                                       "the method, below")],
    "Resize by any ratio, up or down, with the chosen method." + ALL_MODES + EXACT_WORDS,
    f"ilmvResize({ROWS}, {source()}, {target()}, interpolation)", ret=STATUS, remote=remote(direction="out"))
geo(501, "lmvScaleu8_v2",
    [*src_of(), *dst_sized(), Scalar("interpolation", "LMV_INTERPOLATION", ["0", "1", "3"], "the method, below"),
     *WARP_BORDER, Scalar("srcOffsetX", "float32_t", ["0", "0.25", "-3.5"], "added to every source x"),
     Scalar("srcOffsetY", "float32_t", ["0", "1.5"], "added to every source y")],
    "Resize with a sub-pixel source offset, for tiled or cropped scaling: destination (x, y) samples source "
    "((x + 0.5) srcWidth / dstWidth - 0.5 + srcOffsetX, likewise y) as the affine warp does (its fixed point, "
    "nearest, bilinear or bicubic). LUMIVA_INTERPOLATION_AREA is accepted with zero offsets and then equals "
    "lmvScaleu8." + WARP_BORDER_WORDS + EXACT_WORDS,
    f"ilmvScaleOffset({ROWS}, {source()}, {target()}, interpolation, borderType, borderValue, srcOffsetX, "
    "srcOffsetY)", ret=STATUS)

# ---- Fixed ratios ---------------------------------------------------------------------------------
def fixed(slot, name, params, doc, frame, **kw):
    geo(slot, name, params, doc + EXACT_WORDS, frame, **kw)


QUARTER_DST = Image("dst", U8, "srcWidth / 4", "srcHeight / 4", "dstStride", direction="out")
fixed(344, "lmvScaleDownBy4u8", [*src_of(), QUARTER_DST, Stride("dstStride")],
      "Quarter size: each output pixel is the truncated mean of a 4x4 block, (sum) >> 4; the output is srcWidth/4 x "
      "srcHeight/4 and leftover columns and rows are ignored.",
      f"ilmvScaleDownBy4({ROWS}, {source()}, dst, dstStride)",
      rule="src && dst && (srcWidth >= 4) && (srcHeight >= 4) && (srcStride >= srcWidth) && (dstStride >= srcWidth / 4)",
      case_min_width=4, remote=default_remote([src_in(), QUARTER_DST], "srcWidth", "srcHeight", 16),
      gpu=Gpu(1, [], "srcWidth >= 4"), gpu_engine="lmvGpuScaleDownBy4u8")
THIRDS_DST = Image("dst", U8, "srcWidth / 3 * 2", "srcHeight / 3 * 2", "dstStride", direction="out")
fixed(339, "lmvScaleDown3To2u8", [*src_of(), THIRDS_DST, Stride("dstStride")],
      "Two thirds: each 3x3 block gives a 2x2 block with area weights (2, 1, 0) and (0, 1, 2) per axis, the "
      "sum over 9 rounded half up; the output is srcWidth/3*2 x srcHeight/3*2.",
      f"ilmvScaleDown3To2({source()}, dst, dstStride)",
      rule="src && dst && (srcWidth >= 3) && (srcHeight >= 3) && (srcStride >= srcWidth) && "
           "(dstStride >= srcWidth / 3 * 2)", forms="C", case_min_width=3,
      remote=default_remote([src_in(), THIRDS_DST], "srcWidth", "srcHeight", 16))
HALF_DST = Image("dst", U8, "srcWidth", "srcHeight", "dstStride", direction="out", wdiv=2, hdiv=2, half="down",
                 default_stride="srcWidth / 2")
fixed(484, "lmvScaleDownBy2Gaussian3x3u8", [*src_of(), HALF_DST, Stride("dstStride")],
      "Gaussian 3x3 decimation by two: output (x, y) is the [1 2 1] x [1 2 1] sum around source (2x, 2y), edge "
      "pixels repeated outside, plus 8 shifted right by 4; the output is srcWidth/2 x srcHeight/2.",
      f"ilmvScaleDownBy2Gaussian3x3({source()}, dst, dstStride)", ret=STATUS, forms="C", case_min_width=2,
      remote=default_remote([src_in(), HALF_DST], "srcWidth", "srcHeight", 16))
DOUBLE_DST = Image("dst", U8, "2 * srcWidth", "2 * srcHeight", "dstStride", direction="out",
                   default_stride="2 * srcWidth")
fixed(349, "lmvScaleUpBy2Gaussian5x5u8", [*src_of(), DOUBLE_DST, Stride("dstStride")],
      "Doubling with the 5x5 Gaussian (the inverse of the pyramid's decimation): zeros inserted, [1 4 6 4 1] per "
      "axis times 2, the sum plus 32 shifted right by 6, so even outputs weigh 1 6 1 and odd ones 4 4 per axis; "
      "outside the source, column and row -1 read 1 and column and row n read n - 1. The output is 2 srcWidth x "
      "2 srcHeight.",
      f"ilmvScaleUpBy2Gaussian5x5({ROWS}, {source()}, dst, dstStride)",
      rule="src && dst && srcWidth && srcHeight && (srcStride >= srcWidth) && (dstStride >= 2 * srcWidth)",
      remote=default_remote([src_in(), DOUBLE_DST], "srcWidth", "srcHeight", 8),
      gpu=Gpu(1, [], "srcWidth >= 1"), gpu_engine="lmvGpuScaleUpBy2Gaussian5x5u8")

UP_WORDS = ("Centred 2x up-sampling (chroma up-sampling) {axes}: each source value gives two outputs weighing it 3/4 "
            "and its neighbour on that side 1/4 (the edge value repeats outside){both}, rounded half up once; the "
            "output is {size}.")
for slot, name, across, down, ch in ((388, "lmvUpsample2Du8", True, True, 1),
                                     (387, "lmvUpsample2DInterleavedu8", True, True, 2),
                                     (390, "lmvUpsampleHorizontalu8", True, False, 1),
                                     (389, "lmvUpsampleHorizontalInterleavedu8", True, False, 2),
                                     (392, "lmvUpsampleVerticalu8", False, True, 1),
                                     (391, "lmvUpsampleVerticalInterleavedu8", False, True, 2)):
    w_out = "2 * srcWidth" if across else "srcWidth"
    h_out = "2 * srcHeight" if down else "srcHeight"
    axes = "in both directions" if across and down else "across" if across else "down"
    kind = " of interleaved CbCr pairs, each channel," if ch == 2 else ""
    out = Image("dst", U8, w_out, h_out, "dstStride", channels=ch, direction="out")
    row = w_out if ch == 1 else f"{w_out} * 2"
    fixed(slot, name, [*src_of(ch), out, Stride("dstStride")],
          UP_WORDS.format(axes=axes + kind, both=" (in 2D the weights multiply: 9/16, 3/16, 3/16, 1/16)"
                          if across and down else "", size=f"{w_out} x {h_out}"),
          f"ilmvUpsample({ROWS}, {source(ch)}, dst, dstStride, {'true' if across else 'false'}, "
          f"{'true' if down else 'false'})",
          rule=f"src && dst && srcWidth && srcHeight && (srcStride >= {'srcWidth' if ch == 1 else 'srcWidth * 2'}) && "
               f"(dstStride >= {row})",
          remote=default_remote([src_in(ch), out], "srcWidth", "srcHeight", 8))

def whole(stride, elem):
    """Strides of wider elements count whole elements: a stride is rounded down to one."""
    return stride if elem.size == 1 else f"{stride} / {elem.size} * {elem.size}"


# ---- Flips, transposes, rotations -----------------------------------------------------------------
FLIP = Scalar("direction", "LMV_FLIP_DIRECTION", ["1", "2", "3"],
              "LUMIVA_FLIP_HORIZONTAL (mirror left-right), LUMIVA_FLIP_VERTICAL (upside down) or LUMIVA_FLIP_BOTH")
for slot, name, elem, ch, kind in ((229, "lmvFlipu8", U8, 1, "uint8_t elements"),
                                   (228, "lmvFlipu16", U16, 1, "uint16_t elements"),
                                   (413, "lmvFlipRGB888u8", U8, 3, "RGB888 pixels")):
    row = f"srcWidth * {elem.size * ch}" if elem.size * ch > 1 else "srcWidth"
    dst = Image("dst", elem, "srcWidth", "srcHeight", "dstStride", channels=ch, direction="out")
    geo(slot, name, [*src_of(ch, elem), dst, Stride("dstStride"), FLIP],
        f"Mirror of {kind}: LUMIVA_FLIP_HORIZONTAL reverses each row, LUMIVA_FLIP_VERTICAL the order of the rows, "
        "LUMIVA_FLIP_BOTH both (a half turn). dst may be src (same stride). Another direction breaks the "
        "assertion." + EXACT_WORDS,
        f"ilmvFlip({ROWS}, {source(elem.size * ch, stride=whole('srcStride', elem))}, reinterpret_cast<uint8_t*>(dst), "
        f"{whole('dstStride', elem)}, direction)",
        rule=f"src && dst && srcWidth && srcHeight && (srcStride >= {row}) && (dstStride >= {row}) && "
             "(direction >= 1) && (direction <= 3)",
        remote=default_remote([Image("src", elem, "srcWidth", "srcHeight", "srcStride", channels=ch), dst],
                              "srcWidth", "srcHeight", 8))

for slot, name, elem, ch, kind in ((385, "lmvTransposeu8", U8, 1, "uint8_t"), (384, "lmvTransposeu16", U16, 1, "uint16_t"),
                                   (383, "lmvTransposef32", F32, 1, "float32_t"),
                                   (430, "lmvTransposeRGB888u8", U8, 3, "RGB888 pixels")):
    bpp = elem.size * ch
    src_row = f"srcWidth * {bpp}" if bpp > 1 else "srcWidth"
    dst_row = f"srcHeight * {bpp}" if bpp > 1 else "srcHeight"
    dst = Image("dst", elem, "srcHeight", "srcWidth", "dstStride", channels=ch, direction="out")
    geo(slot, name, [*src_of(ch, elem), dst, Stride("dstStride")],
        f"Transpose ({kind}): dst(x, y) = src(y, x); dst is srcHeight wide and srcWidth high and must not overlap "
        "src." + EXACT_WORDS,
        f"ilmvTranspose({ROWS}, {source(bpp, stride=whole('srcStride', elem))}, reinterpret_cast<uint8_t*>(dst), "
        f"{whole('dstStride', elem)})",
        rule=f"src && dst && srcWidth && srcHeight && (srcStride >= {src_row}) && (dstStride >= {dst_row})",
        remote=default_remote([Image("src", elem, "srcWidth", "srcHeight", "srcStride", channels=ch), dst],
                              "srcWidth", "srcHeight", 8))

ROTATE = Scalar("degree", "LMV_ROTATE", ["1", "2", "3"],
                "LUMIVA_ROTATE_90, LUMIVA_ROTATE_180 or LUMIVA_ROTATE_270 (clockwise); another is status 3")
for slot, name, bpp, kind in ((499, "lmvRotateImageu8", 1, "a grey image"),
                              (500, "lmvRotateImageInterleavedu8", 2, "a plane of interleaved CbCr pairs (pairs kept)")):
    dst = Image("dst", U8, "(degree == 2 ? srcWidth : srcHeight)", "(degree == 2 ? srcHeight : srcWidth)", "dstStride",
                channels=bpp, direction="out")
    geo(slot, name, [*src_of(bpp), dst, Stride("dstStride"), ROTATE],
        f"Clockwise rotation of {kind}: by 90 degrees dst(x, y) = src(y, srcHeight - 1 - x) and by 270 dst(x, y) = "
        "src(srcWidth - 1 - y, x), both srcHeight wide and srcWidth high; by 180 dst(x, y) = src(srcWidth - 1 - x, "
        "srcHeight - 1 - y). dst must not overlap src; its stride must hold its own rows." + EXACT_WORDS,
        f"ilmvRotate({ROWS}, {source(bpp)}, dst, dstStride, degree) ? LUMIVA_SUCCESS : LUMIVA_BAD_PARAMS",
        ret=STATUS, remote=default_remote([src_in(bpp), dst], "srcWidth", "srcHeight", 8))

# ---- Internal slots -------------------------------------------------------------------------------
geo(2, "lmvCopy", [*src_of(), Image("dst", U8, "srcWidth", "srcHeight", "dstStride", direction="out"),
                   Stride("dstStride")],
    "Copies srcWidth bytes of each of srcHeight rows.", "ilmvCopy(src, srcWidth, srcHeight, srcStride, dst, dstStride)",
    forms="C", internal=True)
DEC_F32 = ("Gaussian 5x5 [1 4 6 4 1] decimation by two of f32 data: output (x, y) is centred on source (2x, 2y), "
           "edges repeated, the taps added as (a + e) + 4 (b + d) + 6 c per axis and scaled by 1/256; the output is "
           "srcWidth/2 x srcHeight/2.")
op(5, "lmvScaleDownBy2Gaussian5x5f32",
   [Image("src", F32, "srcWidth", "srcHeight", "srcWidth * 4"), Size("srcWidth"), Size("srcHeight"),
    Image("dst", F32, "srcWidth", "srcHeight", "srcWidth / 2 * 4", direction="out", wdiv=2, hdiv=2, half="down")],
   internal=True, doc=DEC_F32 + " Rows packed.", case_min_width=2, frame_header="cpu/lumivaScale.h",
   frame="ilmvDecimate5x5FrameF32(ilmvDecimateRows{form}(), src, srcWidth, srcHeight, 0, dst, srcWidth / 2, "
         "srcHeight / 2, 0)")
op(6, "lmvScaleDownBy2Gaussian5x5f32_v2",
   [Image("src", F32, "srcWidth", "srcHeight", "srcStride"), Size("srcWidth"), Size("srcHeight"), Stride("srcStride"),
    Image("dst", F32, "srcWidth", "srcHeight", "dstStride", direction="out", wdiv=2, hdiv=2, half="down"),
    Stride("dstStride")],
   internal=True, doc=DEC_F32, case_min_width=2, frame_header="cpu/lumivaScale.h",
   frame="ilmvDecimate5x5FrameF32(ilmvDecimateRows{form}(), src, srcWidth, srcHeight, srcStride, dst, srcWidth / 2, "
         "srcHeight / 2, dstStride)")
