"""Thresholds, point operations, gradients, Sobel derivatives, magnitude and phase, Canny edges,
edge pixels, Hough lines and circles and line segments. Per-pixel and per-row work runs on
one table of row kernels per form (cpu/lumivaEdge.h) over the filter frame."""

from lmvdesc import *

family("Edge")

H = "cpu/lumivaEdge.h"
ROWS = "ilmvEdgeRows{form}()"
ZERO_FRAME_DOC = " The one-pixel frame, where the 3x3 window leaves the image, is written as 0."
GPU_ROW = Gpu(16, ["src", "dst"], "srcWidth % 8 == 0")


def src_of(elem, w="srcWidth", h="srcHeight", name="src", stride="srcStride"):
    return Image(name, elem, w, h, stride)


def out_of(name, elem, stride="dstStride", channels=1):
    return Image(name, elem, "srcWidth", "srcHeight", stride, direction="out", channels=channels)


def sizes():
    return [Size("srcWidth"), Size("srcHeight"), Stride("srcStride")]


def row_of(elem, channels=1):
    factor = elem.size * channels
    return "srcWidth" if factor == 1 else f"srcWidth * {factor}"


def rule_for(outs, extra="", src=U8):
    """The usual assertion: pointers, sizes, and every stride at least its row."""
    names = " && ".join(["src"] + [n for n, _, _, _ in outs])
    strides = "".join(f" && ({s} >= {row_of(e, c)})" for _, e, s, c in outs)
    rule = f"{names} && srcWidth && srcHeight && (srcStride >= {row_of(src)}){strides}"
    return rule + (f" && {extra}" if extra else "")


def remote_for(src, outs, min_width=8):
    return default_remote([src_of(src)] + [out_of(n, e, s, c) for n, e, s, c in outs], "srcWidth", "srcHeight",
                          min_width)


def edge_op(slot, name, params, doc, frame, forms="CV", **kw):
    status = kw.get("ret") == STATUS
    returns = status or kw.get("ret", VOID) != VOID
    op(slot, name, params, doc=doc, forms=forms, frame_header=H, frame=("return " if returns else "") + frame, **kw)


# ---- Thresholds and point operations ----------------------------------------------------------
U8_OUT = [("dst", U8, "dstStride", 1)]
PLAIN = [src_of(U8), *sizes(), out_of("dst", U8), Stride("dstStride")]
THRESH = Scalar("threshold", "uint8_t", ["0", "77", "128", "254", "255"], "pixels above it pass")
TRUE_FALSE = [Scalar("trueValue", "uint8_t", ["255", "1", "200"], "value written where the test passes"),
              Scalar("falseValue", "uint8_t", ["0", "7"], "value written elsewhere")]

edge_op(219, "lmvFilterThresholdu8", [*PLAIN, THRESH],
        "Binary threshold: dst = 255 where src > threshold, else 0. dst may be src. Every pixel is written.",
        "ilmvThreshold(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, threshold, 255, 0)",
        entry=False, rule=rule_for(U8_OUT), remote=remote_for(U8, U8_OUT),
        gpu=Gpu(1, [], "srcWidth % 16 == 0 ? srcHeight >= 8 : (srcWidth >= 2 && srcHeight >= 2)"),
        gpu_engine="lmvGpuFilterThresholdu8",
        entries=[Entry("lmvFilterThresholdu8",
                       [Image("src", U8, "width", "height", "width"), Size("width"), Size("height"),
                        Image("dst", U8, "width", "height", "width", direction="out"), THRESH],
                       "src && dst && width && height", ["src", "width", "height", "width", "dst", "width",
                                                         "threshold"]),
                 Entry("lmvFilterThresholdu8_v2", [*PLAIN, THRESH], rule_for(U8_OUT),
                       ["src", "srcWidth", "srcHeight", "srcStride", "dst", "dstStride", "threshold"])])
edge_op(477, "lmvFilterThresholdu8_v3", [*PLAIN, THRESH, *TRUE_FALSE],
        "Binary threshold with chosen values: dst = trueValue where src > threshold, else falseValue. dst may be "
        "src.",
        "ilmvThreshold(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, threshold, trueValue, "
        "falseValue)", ret=STATUS, remote=remote_for(U8, U8_OUT))
RANGE = [Scalar("lowThresh", "uint8_t", ["0", "50", "128"], "lowest value inside the range"),
         Scalar("highThresh", "uint8_t", ["0", "127", "200", "255"], "highest value inside the range")]
edge_op(412, "lmvFilterThresholdRangeu8", [*PLAIN, *RANGE],
        "Range threshold: dst = 255 where lowThresh <= src <= highThresh, else 0 (all 0 when lowThresh > "
        "highThresh). dst may be src.",
        "ilmvThresholdRange(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, lowThresh, highThresh, "
        "255, 0)", rule=rule_for(U8_OUT), remote=remote_for(U8, U8_OUT))
edge_op(476, "lmvFilterThresholdRangeu8_v2", [*PLAIN, *RANGE, *TRUE_FALSE],
        "Range threshold with chosen values: dst = trueValue where lowThresh <= src <= highThresh, else "
        "falseValue. dst may be src.",
        "ilmvThresholdRange(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, lowThresh, highThresh, "
        "trueValue, falseValue)", ret=STATUS, remote=remote_for(U8, U8_OUT))
edge_op(218, "lmvFilterThresholdOtsuu8",
        [*PLAIN, ScalarOut("threshold", "uint8_t", "receives the threshold chosen")],
        "Otsu's threshold: over the 256-bin histogram, the t that maximises the between-class variance q1 q2 "
        "(mu1 - mu2)^2 of the classes <= t and > t (in double precision; the lowest t on ties; 0 for a single "
        "grey level), then dst = 255 where src > t, else 0. dst may be src.",
        "ilmvThresholdOtsu(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, threshold)",
        rule=rule_for(U8_OUT, "threshold"), remote=remote_for(U8, U8_OUT))

ADAPTIVE = [Scalar("maxValue", "uint8_t", ["255", "1"], "value written where the test passes"),
            Scalar("thresholdType", "uint32_t", ["0", "1"], "0: maxValue where src > T; 1: the inverse"),
            Scalar("C", "int32_t", ["0", "5", "-3", "300"], "subtracted from the local mean"),
            out_of("dst", U8), Stride("dstStride")]
MEANS = {"Mean": "the k x k box mean (sum + k*k/2) / (k*k)",
         "Gaussian": "the k x k binomial Gaussian, rounded ((sum + 2^(s-1)) >> s with s = 2 (k - 1))"}
for slot, kind, k in ((19, "Mean", 3), (20, "Mean", 5), (18, "Mean", 11),
                      (16, "Gaussian", 3), (17, "Gaussian", 5), (15, "Gaussian", 11)):
    edge_op(slot, f"lmvAdaptiveThreshold{kind}{k}x{k}u8", [src_of(U8), *sizes(), *ADAPTIVE],
            f"Adaptive threshold against the neighbourhood: T = {MEANS[kind].replace('k', str(k))} of the window "
            "centred on the pixel, edge pixels repeated outside the image, minus C; dst = maxValue where src > T, "
            "else 0 (thresholdType 1: 0 where src > T, else maxValue). Every pixel is written.",
            f"ilmvAdaptiveThreshold({ROWS}, {'true' if kind == 'Mean' else 'false'}, {k}, src, "
            "srcWidth, srcHeight, srcStride, maxValue, thresholdType, C, dst, dstStride)",
            rule=rule_for(U8_OUT, "(thresholdType < 2)"), remote=remote_for(U8, U8_OUT, max(8, k)))

edge_op(454, "lmvTableLookupu8",
        [src_of(U8), *sizes(), Points("lut", "uint8_t", "256", "in", "the 256 entries", length="256"),
         out_of("dst", U8), Stride("dstStride")],
        "Table lookup: dst = lut[src]. dst may be src.",
        "ilmvTableLookup(" + ROWS + ", src, srcWidth, srcHeight, srcStride, lut, dst, dstStride)",
        ret=STATUS, remote=remote_for(U8, U8_OUT))
S16_OUT = [("dst", S16, "dstStride", 1)]
edge_op(455, "lmvConvertDepthu8s16",
        [src_of(U8), *sizes(), Scalar("shift", "uint32_t", ["0", "1", "7"], "left shift, at most 7"),
         out_of("dst", S16), Stride("dstStride")],
        "Depth conversion to s16: dst = src << shift, exact. Status 3 for a shift above 7.",
        "ilmvConvertDepthu8s16(" + ROWS + ", src, srcWidth, srcHeight, srcStride, shift, dst, dstStride)",
        ret=STATUS, remote=remote_for(U8, S16_OUT))
edge_op(456, "lmvConvertDepths16u8",
        [src_of(S16), *sizes(), Scalar("shift", "uint32_t", ["0", "2", "8", "15"], "right shift, at most 15"),
         Scalar("policy", "LMV_OVERFLOW_POLICY", ["0", "1"], "LUMIVA_OVERFLOW_WRAP or LUMIVA_OVERFLOW_SATURATE"),
         out_of("dst", U8), Stride("dstStride")],
        "Depth conversion to u8: v = src >> shift (arithmetic: floored), then the low 8 bits of v "
        "(LUMIVA_OVERFLOW_WRAP) or v clamped to 0..255 (LUMIVA_OVERFLOW_SATURATE). Status 3 for a shift above 15 or "
        "another policy.",
        "ilmvConvertDepths16u8(" + ROWS + ", src, srcWidth, srcHeight, srcStride, shift, policy, dst, dstStride)",
        ret=STATUS, remote=remote_for(S16, U8_OUT))
edge_op(196, "lmvEdgeWeightings16",
        [Image("data", S16, "srcWidth", "srcHeight", "srcStride"), *sizes(),
         Image("edgeMap", U8, "srcWidth", "srcHeight", "edgeStride"), Stride("edgeStride"),
         Points("weightTable", "uint8_t", "256", "in", "weight of each edge strength, 256 entries", length="256"),
         out_of("dst", S16), Stride("dstStride")],
        "Edge weighting of an s16 response: dst = (data x weightTable[edgeMap]) >> 8, the shift arithmetic "
        "(floored), so weights fall where edges are strong and a weight of 256 would keep the value. dst may be "
        "data.",
        "ilmvEdgeWeighting(" + ROWS + ", data, srcWidth, srcHeight, srcStride, edgeMap, edgeStride, weightTable, dst, "
        "dstStride)", ret=STATUS,
        remote=default_remote([Image("data", S16, "srcWidth", "srcHeight", "srcStride"),
                               Image("edgeMap", U8, "srcWidth", "srcHeight", "edgeStride"), out_of("dst", S16)],
                              "srcWidth", "srcHeight", 8))

# ---- Sobel derivatives and gradients ----------------------------------------------------------
edge_op(217, "lmvFilterSobel3x3u8", PLAIN,
        "3x3 Sobel edge strength: dst = min(255, (|Gx| + |Gy|) >> 3) with Gx = [-1 0 1; -2 0 2; -1 0 1] and Gy "
        "its transpose. Only pixels whose 3x3 window lies inside the image are written; the frame keeps what dst "
        "held.",
        "ilmvSobelStrength(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride)",
        rule=rule_for(U8_OUT), remote=remote_for(U8, U8_OUT), gpu=GPU_ROW, gpu_engine="lmvGpuFilterSobel3x3u8")
DXDY = [("dx", S16, "dstStride", 1), ("dy", S16, "dstStride", 1)]
SOBEL_DOC = ("{k}x{k} Sobel derivatives into s16 planes, unnormalised: dx with the derivative taps {d} across and "
             "the smoothing taps {s} down, dy the transpose.{sat}" + BORDER_WORDS)
for slot, k, d, s, sat in ((409, 3, "[-1 0 1]", "[1 2 1]", ""),
                           (410, 5, "[-1 -2 0 2 1]", "[1 4 6 4 1]", ""),
                           (411, 7, "[-1 -4 -5 0 5 4 1]", "[1 6 15 20 15 6 1]",
                            " Sums beyond the s16 range (reachable at 7x7) saturate.")):
    remote = (Remote("(uint64_t)srcWidth * srcHeight", 1, [], "srcWidth >= 5 && srcHeight >= 5") if k == 5
              else remote_for(U8, DXDY))
    edge_op(slot, f"lmvFilterSobel{k}x{k}u8s16",
            [src_of(U8), *sizes(), out_of("dx", S16), out_of("dy", S16), Stride("dstStride"), *BORDER_PARAMS],
            SOBEL_DOC.format(k=k, d=d, s=s, sat=sat),
            f"ilmvSobel({ROWS}, {k}, src, srcWidth, srcHeight, srcStride, dx, dy, dstStride, borderType, "
            "borderValue)", ret=STATUS, remote=remote)


def gradient(slot, name, kind, layout, elem, doc, border=False, src_elem=U8, internal=False, **kw):
    """A gradient image: `kind` picks the kernel (central, sobel, scharr), `layout` interleaved or
    planar outputs, `elem` their type."""
    if layout == "interleaved":
        outs = [out_of("gradients", elem, channels=2), Stride("dstStride")]
        out_rule = [("gradients", elem, "dstStride", 2)]
        out_args = "gradients, nullptr, dstStride"
    else:
        outs = [out_of("dx", elem, "dxyStride"), out_of("dy", elem, "dxyStride"), Stride("dxyStride")]
        out_rule = [("dx", elem, "dxyStride", 1), ("dy", elem, "dxyStride", 1)]
        out_args = "dx, dy, dxyStride"
    params = [src_of(src_elem), *sizes(), *outs, *(BORDER_PARAMS if border else [])]
    edge_border = "false, borderType, borderValue" if border else "true, 0, 0"
    frame = (f"ilmvGradient<{src_elem.ctype}, {elem.ctype}>({ROWS}, ilmvGradientKind::k{kind}, src, srcWidth, "
             f"srcHeight, srcStride, {out_args}, {edge_border})")
    extra = dict(ret=STATUS) if border else dict(rule=rule_for(out_rule, src=src_elem))
    edge_op(slot, name, params, doc + (BORDER_WORDS if border else ZERO_FRAME_DOC), frame,
            remote=None if internal else remote_for(src_elem, out_rule), internal=internal, **extra, **kw)


CENTRAL = "Central differences dx = p(x+1) - p(x-1) and dy = p(y+1) - p(y-1)"
SOBEL3 = "3x3 Sobel gradient (dx = [-1 0 1; -2 0 2; -1 0 1], dy its transpose)"
gradient(270, "lmvImageGradientInterleavedf32", "Central", "interleaved", F32,
         CENTRAL + ", halved, as interleaved (dx, dy) f32 pairs; exact.",
         gpu=Gpu(16, ["src", "gradients"], "srcWidth % 8 == 0"), gpu_engine="lmvGpuImageGradientInterleavedf32")
gradient(271, "lmvImageGradientInterleaveds16", "Central", "interleaved", S16,
         CENTRAL + " as interleaved (dx, dy) s16 pairs.")
gradient(272, "lmvImageGradientPlanarf32", "Central", "planar", F32, CENTRAL + ", halved, into f32 planes; exact.")
gradient(273, "lmvImageGradientPlanars16", "Central", "planar", S16, CENTRAL + " into s16 planes.")
gradient(274, "lmvImageGradientSobelInterleavedf32", "Sobel", "interleaved", F32,
         SOBEL3 + " divided by 8, as interleaved (dx, dy) f32 pairs; exact.")
gradient(275, "lmvImageGradientSobelInterleaveds16", "Sobel", "interleaved", S16,
         SOBEL3 + ", unnormalised, as interleaved (dx, dy) s16 pairs. lmvImageGradientSobelInterleaveds16_v2 is the "
         "same call under its second name.",
         entries=[Entry("lmvImageGradientSobelInterleaveds16_v2",
                        [src_of(U8), *sizes(), out_of("gradients", S16, channels=2), Stride("dstStride")],
                        rule_for([("gradients", S16, "dstStride", 2)]),
                        ["src", "srcWidth", "srcHeight", "srcStride", "gradients", "dstStride"])])
gradient(276, "lmvImageGradientSobelInterleaveds16_v3", "Sobel", "interleaved", S16,
         SOBEL3 + ", unnormalised, as interleaved (dx, dy) s16 pairs.", border=True)
gradient(277, "lmvImageGradientSobelPlanarf32", "Sobel", "planar", F32,
         SOBEL3 + " divided by 8 into f32 planes; exact.")
gradient(278, "lmvImageGradientSobelPlanarf32f32", "Sobel", "planar", F32,
         SOBEL3 + " of an f32 image, divided by 8, into f32 planes. Per pixel dx = ((a2 - a0) + 2 (b2 - b0) + "
         "(c2 - c0)) x 0.125 over the rows a, b, c in that order, no fused multiply-add, so both forms agree bit for "
         "bit; ARM's vector unit flushes denormal numbers, so inputs should be normal.", src_elem=F32)
gradient(279, "lmvImageGradientSobelPlanars16", "Sobel", "planar", S16,
         SOBEL3 + ", unnormalised, into s16 planes. lmvImageGradientSobelPlanars16_v2 is the same call under its "
         "second name.",
         entries=[Entry("lmvImageGradientSobelPlanars16_v2",
                        [src_of(U8), *sizes(), out_of("dx", S16, "dxyStride"), out_of("dy", S16, "dxyStride"),
                         Stride("dxyStride")],
                        rule_for([("dx", S16, "dxyStride", 1), ("dy", S16, "dxyStride", 1)]),
                        ["src", "srcWidth", "srcHeight", "srcStride", "dx", "dy", "dxyStride"])])
gradient(280, "lmvImageGradientSobelPlanars16_v3", "Sobel", "planar", S16,
         SOBEL3 + ", unnormalised, into s16 planes.", border=True)
gradient(281, "lmvImageGradientSobelPlanars8", "Sobel", "planar", S8,
         SOBEL3 + " shifted right by 3 (arithmetic, so it fits s8) into s8 planes.")
gradient(3, "lmvImageGradientScharrInterleaveds16", "Scharr", "interleaved", S16,
         "3x3 Scharr gradient (dx = [-3 0 3; -10 0 10; -3 0 3], dy its transpose), unnormalised, as interleaved "
         "(dx, dy) s16 pairs.", internal=True)

TWO = [Image("dx", S16, "width", "height", "dxStride"), Size("width"), Size("height"), Stride("dxStride"),
       Image("dy", S16, "width", "height", "dyStride"), Stride("dyStride")]
edge_op(459, "lmvMagnitudes16",
        [*TWO, Image("dst", S16, "width", "height", "dstStride", direction="out"), Stride("dstStride")],
        "Gradient magnitude: dst = round(sqrt(dx^2 + dy^2)) in exact integer arithmetic (halves round up), "
        "saturated to 32767. dst may be dx or dy.",
        "ilmvMagnitude(" + ROWS + ", dx, width, height, dxStride, dy, dyStride, dst, dstStride)", ret=STATUS,
        remote=default_remote([Image("dx", S16, "width", "height", "dxStride"),
                               Image("dy", S16, "width", "height", "dyStride"),
                               Image("dst", S16, "width", "height", "dstStride")], "width", "height", 8))
edge_op(460, "lmvPhases16",
        [*TWO, Image("dst", U8, "width", "height", "dstStride", direction="out"), Stride("dstStride")],
        "Gradient direction: atan2(dy, dx) quantised to 256 steps per turn, 0 along +x and 64 along +y, rounded "
        "to the nearest step (no ties: the step boundaries are irrational); (0, 0) gives 0. The step is found by "
        "comparing |dy| / |dx| with the boundary tangents in 32-bit fixed point, exactly in integers.",
        "ilmvPhase(" + ROWS + ", dx, width, height, dxStride, dy, dyStride, dst, dstStride)", ret=STATUS,
        remote=default_remote([Image("dx", S16, "width", "height", "dxStride"),
                               Image("dy", S16, "width", "height", "dyStride"),
                               Image("dst", U8, "width", "height", "dstStride")], "width", "height", 8))

# ---- Gradient pyramids ------------------------------------------------------------------------
for slot, kind, what in ((333, "f32", "the Sobel divided by 8, as f32"), (334, "i16", "the unnormalised Sobel, "
                                                                         "as s16"),
                         (335, "i8", "the Sobel shifted right by 3, as s8")):
    edge_op(slot, f"lmvPyramidSobelGradientCreate{kind}",
            [Points("imgPyr", "lmvPyramidLevel", "numLevels", "in", "the u8 pyramid, level 0 first"),
             Points("dxPyr", "lmvPyramidLevel", "numLevels", "in", "levels receiving dx: buffers the caller gave"),
             Points("dyPyr", "lmvPyramidLevel", "numLevels", "in", "levels receiving dy: buffers the caller gave"),
             Scalar("numLevels", "uint32_t", [], "levels to fill")],
            f"Gradient pyramids: for each level, the 3x3 Sobel dx and dy of the image level, {what}, into the "
            "matching levels of dxPyr and dyPyr (rows packed, the image level's size). The one-pixel frame is 0. "
            "Returns 0, or -1 (nothing written from that level on) at a level whose buffer is missing or whose "
            "size differs from the image level's.",
            f"ilmvGradientPyramid<{ {'f32': 'float32_t', 'i16': 'int16_t', 'i8': 'int8_t'}[kind]}>({ROWS}, "
            "imgPyr, dxPyr, dyPyr, numLevels)",
            ret="int32_t", rule="imgPyr && dxPyr && dyPyr", cases=False)

# ---- Canny and edge pixels ----------------------------------------------------------------------
CANNY_DOC = ("Canny edges: the 3x3 Sobel with the edge pixels repeated outside the image, the {norm} magnitude, "
             "non-maximum suppression across the gradient (a pixel is kept when its magnitude exceeds the "
             "neighbour before it and is at least the one after it, in the nearest of four directions chosen with "
             "tan 22.5 in 15-bit fixed point; outside the image counts as 0), then hysteresis: kept pixels above "
             "highThresh are edges, and kept pixels above lowThresh join them when 8-connected to an edge. dst = "
             "255 on edges, 0 elsewhere; every pixel is written. Thresholds are swapped when lowThresh > "
             "highThresh.")
CANNY_THRESH = [Scalar("lowThresh", "uint8_t", ["10", "50", "100"], "hysteresis threshold for joining pixels"),
                Scalar("highThresh", "uint8_t", ["30", "150", "250"], "threshold for starting edges")]
CANNY_REMOTE = remote_for(U8, U8_OUT)
edge_op(200, "lmvFilterCanny3x3u8", [*PLAIN, *CANNY_THRESH], CANNY_DOC.format(norm="L1 (|dx| + |dy|)"),
        "ilmvCanny(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, lowThresh, highThresh, 3, "
        "LUMIVA_NORM_L1, nullptr, nullptr, 0)",
        entry=False, rule=rule_for(U8_OUT), remote=CANNY_REMOTE,
        entries=[Entry("lmvFilterCanny3x3u8",
                       [Image("src", U8, "width", "height", "width"), Size("width"), Size("height"),
                        Image("dst", U8, "width", "height", "width", direction="out"), *CANNY_THRESH],
                       "src && dst && width && height",
                       ["src", "width", "height", "width", "dst", "width", "lowThresh", "highThresh"]),
                 Entry("lmvFilterCanny3x3u8_v2", [*PLAIN, *CANNY_THRESH], rule_for(U8_OUT),
                       ["src", "srcWidth", "srcHeight", "srcStride", "dst", "dstStride", "lowThresh",
                        "highThresh"])])
GRAD_OUT = [("gx", S16, "gradStride", 1), ("gy", S16, "gradStride", 1)]
edge_op(201, "lmvFilterCanny3x3u8_v3",
        [*PLAIN, *CANNY_THRESH, out_of("gx", S16, "gradStride"), out_of("gy", S16, "gradStride"),
         Stride("gradStride")],
        CANNY_DOC.format(norm="L1 (|dx| + |dy|)") + " The Sobel dx and dy are left in gx and gy (edges repeated), "
        "so the caller can reuse them.",
        "ilmvCanny(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, lowThresh, highThresh, 3, "
        "LUMIVA_NORM_L1, gx, gy, gradStride)",
        rule=rule_for(U8_OUT + GRAD_OUT), remote=remote_for(U8, U8_OUT + GRAD_OUT))
edge_op(431, "lmvFilterCannyu8",
        [*PLAIN, Scalar("lowThresh", "int32_t", ["0", "20", "100"], "hysteresis threshold for joining pixels"),
         Scalar("highThresh", "int32_t", ["40", "300", "2000"], "threshold for starting edges"),
         Scalar("kernelSize", "uint32_t", ["3", "5", "7"], "Sobel aperture: 3, 5 or 7"),
         Scalar("norm", "LMV_NORM_TYPE", ["0", "1"], "LUMIVA_NORM_L1 or LUMIVA_NORM_L2")],
        CANNY_DOC.format(norm="chosen") + " With kernelSize 7 the derivatives are divided by 16 (rounded half to "
        "even) so that they fit 16 bits, and the thresholds by 16 too. LUMIVA_NORM_L2 compares dx^2 + dy^2 with the "
        "squared thresholds (a threshold above 32767 counts as 32767), exactly in integers. Thresholds are floored "
        "after the division. Status 3 for another kernel size or norm.",
        "ilmvCanny(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, lowThresh, highThresh, "
        "kernelSize, norm, nullptr, nullptr, 0)", ret=STATUS, remote=remote_for(U8, U8_OUT))
edge_op(264, "lmvImageDetectEdgePixelsu8",
        [src_of(U8), *sizes(), Scalar("gradThreshold", "uint32_t", [], "L1 magnitude an edge pixel exceeds"),
         Points("xy", "uint32_t", "nEdgesMax", doc="edge pixels, x then y, in raster order",
                length="2 * nEdgesMax", count_out="nEdges"),
         Scalar("nEdgesMax", "uint32_t", [], "capacity of xy in pixels"),
         ScalarOut("nEdges", "uint32_t", "receives the number of pixels written")],
        "Edge pixels: the pixels Canny keeps after non-maximum suppression (3x3 Sobel, L1 magnitude, edges "
        "repeated) whose magnitude exceeds gradThreshold, appended as (x, y) pairs in raster order until "
        "nEdgesMax are written. No hysteresis: the same set as lmvFilterCanny3x3u8 with both thresholds equal.",
        "ilmvDetectEdgePixels(" + ROWS + ", src, srcWidth, srcHeight, srcStride, gradThreshold, xy, nEdgesMax, "
        "nEdges)",
        rule="src && xy && nEdges && srcWidth && srcHeight && (srcStride >= srcWidth)", cases=False,
        remote=Remote("(uint64_t)srcWidth * srcHeight", 8, ["src", "srcStride"]))

# ---- Hough transforms and line segments ----------------------------------------------------------
edge_op(258, "lmvHoughLineu8",
        [src_of(U8), *sizes(),
         Scalar("rhoStep", "float32_t", [], "distance resolution in pixels, above 0"),
         Scalar("thetaStep", "float32_t", [], "angle resolution in radians, above 0"),
         Scalar("threshold", "uint32_t", [], "votes a line exceeds"),
         Points("lines", "float32_t", "maxLines", doc="(rho, theta) pairs, most votes first",
                length="2 * maxLines", count_out="numLines"),
         Scalar("maxLines", "uint32_t", [], "capacity of lines in lines"),
         ScalarOut("numLines", "uint32_t", "receives the number of lines written")],
        "Standard Hough transform of the non-zero pixels: each votes for round(x cos(theta) / rhoStep + y "
        "sin(theta) / rhoStep) at every theta = n x thetaStep in [0, pi) (round half to even; the per-angle "
        "factors are f32 from double-precision sin and cos; no fused multiply-add). Cells above threshold that "
        "beat their left and lower-angle neighbours and are at least their right and higher-angle ones are "
        "lines, ordered by votes, then by angle and distance; rho = (r - (numRho - 1) / 2) x rhoStep with numRho "
        "= round((2 (width + height) + 1) / rhoStep).",
        "ilmvHoughLines(src, srcWidth, srcHeight, srcStride, rhoStep, thetaStep, threshold, lines, maxLines, "
        "numLines, nullptr)",
        forms="C", rule="src && lines && numLines && srcWidth && srcHeight && (srcStride >= srcWidth) && "
                        "(rhoStep > 0) && (thetaStep > 0)", cases=False)
edge_op(257, "lmvHoughCircleu8",
        [src_of(U8), *sizes(),
         Scalar("dp", "float32_t", [], "size of an accumulator cell in pixels, at least 1"),
         Scalar("minDist", "float32_t", [], "least distance between the centres of two circles"),
         Scalar("cannyThresh", "uint32_t", [], "upper Canny threshold (the lower is half of it)"),
         Scalar("accThresh", "uint32_t", [], "centre votes a circle needs"),
         Scalar("minRadius", "uint32_t", [], "smallest radius"),
         Scalar("maxRadius", "uint32_t", [], "largest radius, at least minRadius"),
         Points("circles", "float32_t", "maxCircles", doc="(x, y, radius) triples, most votes first",
                length="3 * maxCircles", count_out="numCircles"),
         Scalar("maxCircles", "uint32_t", [], "capacity of circles in circles"),
         ScalarOut("numCircles", "uint32_t", "receives the number of circles written")],
        "Hough gradient circles: Canny edges (3x3, L1, thresholds cannyThresh / 2 and cannyThresh); each edge "
        "pixel votes along its gradient, both ways, at every whole radius from minRadius to maxRadius, into cells "
        "of dp x dp pixels (unit direction and steps in 16-bit fixed point, so the votes are exact integers); "
        "cells with more than accThresh votes that beat their left and upper neighbours and are at least their "
        "right and lower ones are centres, taken by votes, then raster order, and dropped within minDist of a "
        "centre already taken; each centre's radius is the most common rounded distance of the edge pixels in "
        "[minRadius, maxRadius] (the smaller on ties), kept when at least accThresh / 2 pixels share it. The "
        "circles are collected in a sequence on a memory storage.",
        "ilmvHoughCircles(src, srcWidth, srcHeight, srcStride, dp, minDist, cannyThresh, accThresh, minRadius, "
        "maxRadius, circles, maxCircles, numCircles, nullptr)",
        forms="C", rule="src && circles && numCircles && srcWidth && srcHeight && (srcStride >= srcWidth) && "
                        "(dp >= 1) && (minRadius <= maxRadius) && (maxRadius < 65536)",
        cases=False, gpu=Gpu(16, ["src"], "1"), gpu_engine="lmvGpuHoughCircleu8")
edge_op(482, "lmvImageDetectLineSegmentsu8",
        [src_of(U8), *sizes(),
         Scalar("minLength", "float32_t", [], "shortest segment reported, in pixels"),
         Points("segments", "float32_t", "maxSegments", doc="(x1, y1, x2, y2) quadruples",
                length="4 * maxSegments", count_out="numSegments"),
         Scalar("maxSegments", "uint32_t", [], "capacity of segments in segments"),
         ScalarOut("numSegments", "uint32_t", "receives the number of segments written")],
        "Line segments: 2x2 gradients, pixels in falling order of gradient magnitude seed regions that grow over "
        "8-neighbours whose level-line angle lies within 22.5 degrees of the region's; each region becomes the "
        "rectangle of its principal axis and is kept when its number of false alarms, (width x height)^(5/2) "
        "times the binomial tail of its aligned pixels at p = 1/8, is at most 1. Segments at least minLength "
        "long are written in the order found, up to maxSegments. Status 3 for a null output.",
        "ilmvDetectLineSegments(src, srcWidth, srcHeight, srcStride, minLength, segments, maxSegments, "
        "numSegments)", forms="C", ret=STATUS, cases=False)
