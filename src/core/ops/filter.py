"""Neighbourhood filters: Gaussians, box means, morphology, medians, correlations and
convolutions, bilateral filters and local normalisation, all on one frame (cpu/lumivaFilterFrame.h)."""

from lmvdesc import *

family("Filter")

GAUSS_DOC = ("3x3 Gaussian, (c(x-1) + 2c(x) + c(x+1)) >> 4 over column sums c = p(y-1) + 2p(y) + p(y+1); the border "
             "is written only when blurBorder is 1, with the kernel restricted to the image and renormalised.")
src = Image("src", U8, "srcWidth", "srcHeight", "srcStride")
dst = Image("dst", U8, "srcWidth", "srcHeight", "dstStride", direction="out")
op(212, "lmvFilterGaussian3x3u8",
   [src, Size("srcWidth"), Size("srcHeight"), Stride("srcStride"), dst, Stride("dstStride"),
    Scalar("blurBorder", "int32_t", ["0", "1", "2"], "1 filters the border pixels too")],
   entry=False, cases=True, doc=GAUSS_DOC, frame_header="cpu/lumivaFilter.h",
   frame="ilmvGaussian3x3Frame(ilmvGaussianRow{form}, src, srcWidth, srcHeight, srcStride, dst, dstStride, blurBorder)",
   case_min_width=7, gpu_engine="lmvGpuFilterGaussian3x3u8",
   manual_entries=[
       Entry("lmvFilterGaussian3x3u8",
             [Image("src", U8, "width", "height", "width"), Size("width"), Size("height"),
              Image("dst", U8, "width", "height", "width", direction="out"),
              Scalar("blurBorder", "int32_t", [], "1 filters the border pixels too")],
             "src && dst && width && height", [], stops=[Stop("w6<=w_2 && w6>=w_2-5", "width is 1")],
             # The packed entry's remote row has no size threshold and ignores the checks switch.
             remote=Remote(None, 4, ["src", "dst"], "width % 4 == 0", switchable=False),
             gpu=Gpu(1, [], "!(height & 1) && !(width & 1)")),
       Entry("lmvFilterGaussian3x3u8_v2",
             [src, Size("srcWidth"), Size("srcHeight"), Stride("srcStride"), dst, Stride("dstStride"),
              Scalar("blurBorder", "int32_t", [], "1 filters the border pixels too")],
             "src && dst && (srcWidth > 1) && (srcHeight > 1) && (srcStride >= srcWidth) && (dstStride >= srcWidth)",
             [], remote=Remote("(uint64_t)srcWidth * srcHeight", 4, ["src", "dst", "srcStride", "dstStride"],
                               "srcHeight >= 3 && srcWidth >= 4"),
             gpu=Gpu(1, [], "!(srcHeight & 1) && !(srcWidth & 1)"))])

# ---- The neighbourhood filters on the shared frame ------------------------------------------
H = "cpu/lumivaFilter.h"
ROWS = "ilmvFilterRows{form}()"
INTERIOR_DOC = " Only pixels whose whole window lies inside the image are written; the frame keeps what dst held."
GPU_ROW = Gpu(16, ["src", "dst"], "srcWidth % 8 == 0")


def src_of(elem, w="srcWidth", h="srcHeight"):
    return Image("src", elem, w, h, "srcStride")


def dst_of(elem, w="srcWidth", h="srcHeight", **kw):
    return Image("dst", elem, w, h, "dstStride", direction="out", **kw)


def sizes():
    return [Size("srcWidth"), Size("srcHeight"), Stride("srcStride")]


def per_pixel(elem):
    return "" if elem.size == 1 else f" * {elem.size}"


def std_rule(a, b, extra=""):
    rule = (f"src && dst && srcWidth && srcHeight && (srcStride >= srcWidth{per_pixel(a)}) "
            f"&& (dstStride >= srcWidth{per_pixel(b)})")
    return rule + (f" && {extra}" if extra else "")


def plain(a, b, *extras):
    """(src, srcWidth, srcHeight, srcStride, dst, dstStride, extras...)."""
    return [src_of(a), *sizes(), dst_of(b), Stride("dstStride"), *extras]


def remote_for(a, b, min_width):
    return default_remote([src_of(a), dst_of(b)], "srcWidth", "srcHeight", min_width)


def filt(slot, name, params, doc, frame, forms="CV", **kw):
    status = kw.get("ret") == STATUS
    call = ("return " if status else "") + frame
    op(slot, name, params, doc=doc, forms=forms, frame_header=H, frame=call, **kw)


def no_stride(name, rule, extras=(), extra_args=()):
    """The first generation's entry without strides: rows packed, passed to the slot as the width."""
    return Entry(name, [Image("src", U8, "width", "height", "width"), Size("width"), Size("height"), *extras,
                        Image("dst", U8, "width", "height", "width", direction="out")],
                 rule, ["src", "width", "height", "width", *extra_args, "dst", "width"])


# Gaussians.
filt(215, "lmvFilterGaussian5x5u8",
     plain(U8, U8, Scalar("blurBorder", "int32_t", ["0", "1", "2"], "1 filters the border pixels too")),
     "5x5 Gaussian [1 4 6 4 1] x [1 4 6 4 1]: (sum + 128) >> 8, as a pyramid's decimation rounds. The two-pixel "
     "frame is written only when blurBorder is 1, with the kernel restricted to the image and the sum divided, "
     "rounding, by the weights it used. Exact: the SIMD form gives the reference bytes.",
     "ilmvGaussian5x5u8(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, blurBorder)",
     rule=std_rule(U8, U8), remote=remote_for(U8, U8, 8), gpu=GPU_ROW, gpu_engine="lmvGpuFilterGaussian5x5u8")
filt(213, "lmvFilterGaussian5x5s16",
     plain(S16, S16, Scalar("blurBorder", "int32_t", ["0", "1"], "1 filters the border pixels too")),
     "5x5 Gaussian [1 4 6 4 1]^2 of s16 data: (sum + 128) >> 8 (arithmetic shift; the result always fits). "
     "The border as the u8 form's, the rounded division floored.",
     "ilmvGaussian5x5s16(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, blurBorder)",
     rule=std_rule(S16, S16), remote=remote_for(S16, S16, 8))
filt(214, "lmvFilterGaussian5x5s32",
     plain(S32, S32, Scalar("blurBorder", "int32_t", ["0", "1"], "1 filters the border pixels too")),
     "5x5 Gaussian [1 4 6 4 1]^2 of s32 data with 64-bit sums: (sum + 128) >> 8 (arithmetic shift). The border "
     "as the s16 form's.",
     "ilmvGaussian5x5s32(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, blurBorder)",
     forms="C", rule=std_rule(S32, S32), remote=remote_for(S32, S32, 8))
filt(211, "lmvFilterGaussian11x11u8", plain(U8, U8),
     "11x11 Gaussian: the binomial [1 10 45 120 210 252 210 120 45 10 1] in both directions, (sum + 2^19) >> 20."
     + INTERIOR_DOC,
     "ilmvGaussian11x11u8(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride)",
     rule="src && dst && width && height && height > 10 && width > 10",
     aliases={"width": "srcWidth", "height": "srcHeight"},
     remote=Remote("(uint64_t)srcWidth * srcHeight", 4, ["src", "srcWidth", "dst"], "srcHeight >= 11"),
     gpu=Gpu(16, ["dst", "src"], "srcWidth % 8 == 0"))
filt(474, "lmvFilterGaussian3x3u8_v3", plain(U8, U8, *BORDER_PARAMS),
     "3x3 Gaussian with border modes: (c(x-1) + 2c(x) + c(x+1)) >> 4 over column sums c = p(y-1) + 2p(y) + "
     "p(y+1), truncated exactly as lmvFilterGaussian3x3u8's interior." + BORDER_WORDS,
     "ilmvGaussian3x3Bordered(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, borderType, "
     "borderValue)", ret=STATUS, remote=remote_for(U8, U8, 8))

# Box means.
for slot, k in ((44, 3), (45, 5), (43, 11)):
    filt(slot, f"lmvBoxFilter{k}x{k}u8", plain(U8, U8),
         f"Normalised {k}x{k} box mean, (sum + {k * k // 2}) / {k * k} (no ties: the divisor is odd)." + INTERIOR_DOC,
         f"ilmvBox({ROWS}, {k}, src, srcWidth, srcHeight, srcStride, dst, dstStride, LUMIVA_BORDER_UNDEFINED, 0)",
         rule=std_rule(U8, U8), remote=remote_for(U8, U8, max(8, k)), gpu=GPU_ROW,
         gpu_engine=f"lmvGpuBoxFilter{k}x{k}u8")
filt(471, "lmvBoxFilter3x3u8_v2", plain(U8, U8, *BORDER_PARAMS),
     "Normalised 3x3 box mean, (sum + 4) / 9, with border modes." + BORDER_WORDS,
     "ilmvBox(" + ROWS + ", 3, src, srcWidth, srcHeight, srcStride, dst, dstStride, borderType, borderValue)",
     ret=STATUS, remote=remote_for(U8, U8, 8))

# Morphology.
MORPH_DOC = ("{what} over the {k} square window; where the window leaves the image only the pixels inside count "
             "(the same as repeating the edge).")
for slot, word, what, dilate in ((209, "Dilate", "Maximum", "true"), (210, "Erode", "Minimum", "false")):
    name = f"lmvFilter{word}3x3u8"
    filt(slot, name, plain(U8, U8), MORPH_DOC.format(what=what, k="3x3") + " Every pixel is written.",
         f"ilmvMorphology({ROWS}, {dilate}, 3, src, srcWidth, srcHeight, srcStride, dst, dstStride, "
         "LUMIVA_BORDER_REPLICATE, 0)",
         entry=False, rule=std_rule(U8, U8), remote=remote_for(U8, U8, 8), gpu=GPU_ROW,
         gpu_engine=f"lmvGpuFilter{word}3x3u8",
         entries=[no_stride(name, "src && dst && width && height"),
                  Entry(f"{name}_v2", plain(U8, U8), std_rule(U8, U8),
                          ["src", "srcWidth", "srcHeight", "srcStride", "dst", "dstStride"])])
    filt(slot + 198, f"lmvFilter{word}NxNu8",
         [src_of(U8), *sizes(), Scalar("N", "uint32_t", ["1", "3", "5", "7", "9", "15"], "window size, odd, at most 255"),
          dst_of(U8), Stride("dstStride")],
         MORPH_DOC.format(what=what, k="N x N") + " Separable; the cost per pixel grows with log N, not N.",
         f"ilmvMorphology({ROWS}, {dilate}, N, src, srcWidth, srcHeight, srcStride, dst, dstStride, "
         "LUMIVA_BORDER_REPLICATE, 0)",
         rule=std_rule(U8, U8, "(N & 1) && (N < 256)"), remote=remote_for(U8, U8, 8))
    filt(472 if dilate == "true" else 473, f"lmvFilter{word}3x3u8_v3", plain(U8, U8, *BORDER_PARAMS),
         f"{what} over the 3x3 window with border modes." + BORDER_WORDS,
         f"ilmvMorphology({ROWS}, {dilate}, 3, src, srcWidth, srcHeight, srcStride, dst, dstStride, borderType, "
         "borderValue)", ret=STATUS, remote=remote_for(U8, U8, 8))

# Medians.
filt(216, "lmvFilterMedian3x3u8", plain(U8, U8),
     "3x3 median; the one-pixel frame is copied from the source.",
     "ilmvMedian3x3(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, true, 0, 0)",
     entry=False, rule=std_rule(U8, U8),
     remote=Remote("(uint64_t)srcWidth * srcHeight", 8, ["src", "srcWidth", "dst"], "srcHeight >= 4"),
     gpu=Gpu(16, ["dst", "src"], "srcWidth % 8 == 0"), gpu_engine="lmvGpuFilterMedian3x3u8",
     entries=[no_stride("lmvFilterMedian3x3u8", "src && dst && width && height"),
              Entry("lmvFilterMedian3x3u8_v2", plain(U8, U8), std_rule(U8, U8),
                      ["src", "srcWidth", "srcHeight", "srcStride", "dst", "dstStride"])])
filt(475, "lmvFilterMedian3x3u8_v3", plain(U8, U8, *BORDER_PARAMS), "3x3 median with border modes." + BORDER_WORDS,
     "ilmvMedian3x3(" + ROWS + ", src, srcWidth, srcHeight, srcStride, dst, dstStride, false, borderType, "
     "borderValue)", ret=STATUS,
     remote=Remote(None, 1, [], "(uint64_t)(srcStride ? srcStride : srcWidth) * srcHeight > 25344u && "
                                "(uint64_t)(dstStride ? dstStride : srcWidth) * srcHeight > 25344u"))
filt(467, "lmvFilterMedianMxNs16",
     [src_of(S16), *sizes(), Scalar("M", "uint32_t", ["1", "3", "5"], "window width, odd, at most 255"),
      Scalar("N", "uint32_t", ["1", "3", "5"], "window height, odd, at most 255"), dst_of(S16),
      Stride("dstStride"), *BORDER_PARAMS],
     "Median of the M x N window of s16 data (the middle of the M x N sorted values)." + BORDER_WORDS +
     " The constant is borderValue as an s16 value. Status 3 for an even or larger size.",
     "ilmvMedianMxNs16(src, srcWidth, srcHeight, srcStride, M, N, dst, dstStride, borderType, borderValue)",
     forms="C", ret=STATUS, remote=remote_for(S16, S16, 8))

# Correlations: integer taps, rounding (or truncating) shift, saturation.
SHIFT = Scalar("shift", "uint32_t", ["0", "1", "4", "8", "13"], "right shift of the sums, rounding: "
               "(sum + 2^(shift-1)) >> shift")


def taps(name, ctype, count, what):
    return Points(name, ctype, count, "in", what, length=count)


CORR3 = [taps("kernel", "int8_t", "9", "the 3x3 taps, row by row"),
         Scalar("shift", "uint32_t", ["0", "1", "3", "4", "7"], "right shift of the sums, truncating, below 32")]
filt(202, "lmvFilterCorr3x3s8_v2", [src_of(U8), *sizes(), *CORR3, dst_of(U8), Stride("dstStride")],
     "3x3 correlation with signed 8-bit taps: dst = saturate_u8(sum >> shift), the shift arithmetic (truncating "
     "towards minus infinity)." + INTERIOR_DOC,
     "ilmvCorrelateu8<int8_t, uint8_t>(" + ROWS + ", src, srcWidth, srcHeight, srcStride, kernel, 3, 3, shift, "
     "true, false, dst, dstStride, LUMIVA_BORDER_UNDEFINED, 0)",
     rule=std_rule(U8, U8, "kernel && (shift < 32)"), remote=remote_for(U8, U8, 8), gpu=GPU_ROW,
     gpu_engine="lmvGpuFilterCorr3x3s8",
     entries=[no_stride("lmvFilterCorr3x3s8", "src && dst && kernel && width && height && (shift < 32)",
                        CORR3, ["kernel", "shift"])])

SEP_DOC = ("Separable {n} correlation of s16 data: the same {k}-tap kernel horizontally and vertically, exact "
           "64-bit sums, rounding right shift, s16 saturation." + INTERIOR_DOC)
for slot, k in ((207, 9), (203, 11), (204, 13), (205, 15), (206, 17)):
    filt(slot, f"lmvFilterCorrSep{k}x{k}s16",
         [src_of(S16), *sizes(), taps("kernel", "int16_t", str(k), f"the {k} taps"), SHIFT, dst_of(S16),
          Stride("dstStride")],
         SEP_DOC.format(n=f"{k}x{k}", k=k),
         f"ilmvSeparables16({ROWS}, src, srcWidth, srcHeight, srcStride, kernel, {k}, kernel, {k}, shift, false, "
         "dst, dstStride)",
         rule=std_rule(S16, S16, "kernel && (shift < 63)"), remote=remote_for(S16, S16, k))
filt(208, "lmvFilterCorrSepNxNs16",
     [src_of(S16), *sizes(), taps("kernel", "int16_t", "N", "the N taps"),
      Scalar("N", "uint32_t", ["1", "3", "5", "7", "9"], "taps per direction, odd, at most 255"), SHIFT, dst_of(S16),
      Stride("dstStride")],
     SEP_DOC.format(n="N x N", k="N"),
     "ilmvSeparables16(" + ROWS + ", src, srcWidth, srcHeight, srcStride, kernel, N, kernel, N, shift, false, dst, "
     "dstStride)",
     rule=std_rule(S16, S16, "kernel && (N & 1) && (N < 256) && (shift < 63)"), remote=remote_for(S16, S16, 8))
op(12, "lmvFilterConvSepMxNs16",
   [src_of(S16), *sizes(), taps("kernelX", "int16_t", "M", "the M horizontal taps"),
    Scalar("M", "uint32_t", ["1", "3", "5", "9"], "horizontal taps, odd, at most 255"),
    taps("kernelY", "int16_t", "N", "the N vertical taps"),
    Scalar("N", "uint32_t", ["1", "3", "7"], "vertical taps, odd, at most 255"), SHIFT, dst_of(S16), Stride("dstStride")],
   internal=True, doc="Separable M x N convolution of s16 data (both kernels reversed), exact 64-bit sums, "
                      "rounding right shift, s16 saturation." + INTERIOR_DOC, frame_header=H,
   frame="ilmvSeparables16(" + ROWS + ", src, srcWidth, srcHeight, srcStride, kernelX, M, kernelY, N, shift, true, "
         "dst, dstStride)")
filt(406, "lmvFilterCorrSepMxNu8",
     [src_of(U8), *sizes(), taps("kernelX", "int16_t", "M", "the M horizontal taps"),
      Scalar("M", "uint32_t", ["1", "3", "5", "9"], "horizontal taps, odd, at most 255"),
      taps("kernelY", "int16_t", "N", "the N vertical taps"),
      Scalar("N", "uint32_t", ["1", "3", "7"], "vertical taps, odd, at most 255"), SHIFT, dst_of(U8), Stride("dstStride")],
     "Separable M x N correlation of u8 data with s16 taps, exact sums, rounding right shift, u8 saturation."
     + INTERIOR_DOC,
     "ilmvSeparableu8(" + ROWS + ", src, srcWidth, srcHeight, srcStride, kernelX, M, kernelY, N, shift, dst, "
     "dstStride)",
     rule=std_rule(U8, U8, "kernelX && kernelY && (M & 1) && (N & 1) && (M < 256) && (N < 256) && (shift < 63)"),
     remote=remote_for(U8, U8, 8))

NXN = Scalar("N", "uint32_t", ["1", "3", "5", "7"], "kernel size, odd, at most 255")
filt(403, "lmvFilterCorrNxNu8f32",
     [src_of(U8), *sizes(), taps("kernel", "float32_t", "N * N", "the N x N taps, row by row"), NXN, dst_of(F32),
      Stride("dstStride")],
     "N x N correlation of u8 data with f32 taps, f32 result. Per output the products are added in one fixed "
     "order (row by row, left to right, no fused multiply-add), so both forms agree bit for bit on normal "
     "numbers; ARM's vector unit flushes denormal intermediates, so taps should be normal." + INTERIOR_DOC,
     "ilmvCorrelateu8f32(" + ROWS + ", src, srcWidth, srcHeight, srcStride, kernel, N, dst, dstStride)",
     rule=std_rule(U8, F32, "kernel && (N & 1) && (N < 256)"), remote=remote_for(U8, F32, 8))
for slot, tap, out in ((404, S16, S16), (405, S8, U8)):
    filt(slot, "lmvFilterCorrNxNu8" + ("s16" if out == S16 else ""),
         [src_of(U8), *sizes(), taps("kernel", tap.ctype, "N * N", "the N x N taps, row by row"), NXN, SHIFT,
          dst_of(out), Stride("dstStride")],
         f"N x N correlation of u8 data with {tap.suffix} taps, exact sums, rounding right shift, {out.suffix} "
         "saturation." + INTERIOR_DOC,
         f"ilmvCorrelateu8<{tap.ctype}, {out.ctype}>(" + ROWS + ", src, srcWidth, srcHeight, srcStride, kernel, N, N, "
         "shift, false, false, dst, dstStride, LUMIVA_BORDER_UNDEFINED, 0)",
         rule=std_rule(U8, out, "kernel && (N & 1) && (N < 256) && (shift < 63)"), remote=remote_for(U8, out, 8))
for slot, out, word in ((468, S16, "s16"), (469, U8, "u8")):
    filt(slot, "lmvFilterConvolveMxNu8" + ("s16" if out == S16 else ""),
         [src_of(U8), *sizes(), taps("kernel", "int16_t", "M * N", "the M x N taps, row by row"),
          Scalar("M", "uint32_t", ["1", "3", "5"], "kernel width, odd, at most 255"),
          Scalar("N", "uint32_t", ["1", "3", "7"], "kernel height, odd, at most 255"), SHIFT, dst_of(out), Stride("dstStride"),
          *BORDER_PARAMS],
         f"M x N convolution of u8 data with s16 taps (the kernel turned by 180 degrees, anchored at its centre), "
         f"exact sums, rounding right shift, {word} saturation." + BORDER_WORDS +
         " Status 3 for an even size, a size above 255 or a shift above 62.",
         f"ilmvCorrelateu8<int16_t, {out.ctype}>(" + ROWS + ", src, srcWidth, srcHeight, srcStride, kernel, M, N, "
         "shift, false, true, dst, dstStride, borderType, borderValue)",
         ret=STATUS, remote=remote_for(U8, out, 8))
VALID_W = "(srcWidth - kernelWidth + 1)"
VALID_H = "(srcHeight - kernelHeight + 1)"
filt(146, "lmvConvValids16",
     [src_of(S16), *sizes(), taps("kernel", "int16_t", "kernelWidth * kernelHeight", "the taps, row by row"),
      Scalar("kernelWidth", "uint32_t", ["1", "2", "3", "5"], "kernel width, at most srcWidth"),
      Scalar("kernelHeight", "uint32_t", ["1", "3", "4"], "kernel height, at most srcHeight"), SHIFT,
      Image("dst", S16, VALID_W, VALID_H, "dstStride", direction="out"), Stride("dstStride")],
     "'Valid' 2-D convolution of s16 data: the kernel turned by 180 degrees, only where it lies wholly inside "
     "the image, so dst is (srcWidth - kernelWidth + 1) x (srcHeight - kernelHeight + 1); exact 64-bit sums, "
     "rounding right shift, s16 saturation. Any kernel size, even included.",
     "ilmvConvValids16(" + ROWS + ", src, srcWidth, srcHeight, srcStride, kernel, kernelWidth, kernelHeight, shift, "
     "dst, dstStride)",
     rule="src && dst && kernel && srcWidth && srcHeight && kernelWidth && kernelHeight && (kernelWidth <= srcWidth) "
          "&& (kernelHeight <= srcHeight) && (srcStride >= srcWidth * 2) && (dstStride >= " + VALID_W + " * 2) && "
          "(shift < 63)",
     remote=remote_for(S16, S16, 8))

# Bilateral filters.
SIGMAS = [Scalar("sigmaColor", "float32_t", ["10.0f", "30.0f", "75.0f", "200.0f"],
                 "range sigma in grey levels, above 0"),
          Scalar("sigmaSpace", "float32_t", ["0.8f", "2.5f", "5.0f"], "spatial sigma in pixels, above 0")]
BILATERAL_DOC = ("Edge-preserving {k}x{k} bilateral filter: each tap weighs S x R, with integer tables "
                 "S = round(256 exp(-(dx^2 + dy^2) / (2 sigmaSpace^2))) and R = round(256 exp(-d^2 / "
                 "(2 sigmaColor^2))) of the grey difference d to the centre; dst = (sum of weight x pixel + "
                 "total / 2) / total. ")
for slot, k in ((29, 5), (30, 7), (31, 9)):
    filt(slot, f"lmvBilateralFilter{k}x{k}u8", plain(U8, U8),
         BILATERAL_DOC.format(k=k) + f"This generation fixes sigmaColor = 50 and sigmaSpace = {k / 2}; the window "
         "repeats the edge pixels where it leaves the image, so every pixel is written.",
         f"ilmvBilateral({ROWS}, {k}, src, srcWidth, srcHeight, srcStride, dst, dstStride, ilmvBilateralSigmaColor, "
         f"ilmvBilateralSigmaSpace({k}), LUMIVA_BORDER_REPLICATE, 0)",
         rule=std_rule(U8, U8), remote=remote_for(U8, U8, 8),
         **({"gpu": GPU_ROW, "gpu_engine": "lmvGpuBilateralFilter5x5u8"} if k == 5 else {}))
    filt(slot + 406, f"lmvBilateralFilter{k}x{k}u8_v2", plain(U8, U8, *SIGMAS, *BORDER_PARAMS),
         BILATERAL_DOC.format(k=k) + "Sigmas are the caller's; status 3 for one that is not above 0 or is "
         "infinite." + BORDER_WORDS,
         f"ilmvBilateral({ROWS}, {k}, src, srcWidth, srcHeight, srcStride, dst, dstStride, sigmaColor, sigmaSpace, "
         "borderType, borderValue)", ret=STATUS, remote=remote_for(U8, U8, 8))
filt(438, "lmvBilateralFilterRecursiveu8", plain(U8, U8, *SIGMAS),
     "Recursive bilateral filter, constant cost per pixel whatever the sigmas: along each row, then each column "
     "of the result, a causal and an anti-causal recursion y(i) = x(i) + a R(i) y(i -+ 1) with a = "
     "exp(-sqrt(2) / sigmaSpace) and R(i) = exp(-d^2 / (2 sigmaColor^2)) of the rounded difference d between "
     "neighbours, each normalised by the same recursion over ones; f32 arithmetic, rounded to u8. Status 3 for a "
     "sigma that is not above 0 or is infinite.",
     "ilmvBilateralRecursive(src, srcWidth, srcHeight, srcStride, dst, dstStride, sigmaColor, sigmaSpace)",
     forms="C", ret=STATUS, remote=remote_for(U8, U8, 8))

# Local normalisation.
PATCH = [Scalar("patchWidth", "uint32_t", ["1", "3", "5", "9"], "window width, odd, at most 255"),
         Scalar("patchHeight", "uint32_t", ["1", "3", "7"], "window height, odd, at most 255"),
         Scalar("useStdDev", "uint32_t", ["0", "1"], "non-zero: divide by the window's standard deviation")]
filt(426, "lmvNormalizeLocalBoxf32", [src_of(F32), *sizes(), *PATCH, dst_of(F32), Stride("dstStride")],
     "Local box normalisation: each pixel minus the mean of the patchWidth x patchHeight window centred on it "
     "(restricted to the image), divided, when useStdDev is set, by the window's standard deviation + 1e-6. Sums "
     "in double precision. Status 3 for an even or larger window.",
     "ilmvNormalizeLocalBoxf32(src, srcWidth, srcHeight, srcStride, patchWidth, patchHeight, useStdDev, dst, "
     "dstStride)", forms="C", ret=STATUS, remote=remote_for(F32, F32, 8))
filt(427, "lmvNormalizeLocalBoxu8", [src_of(U8), *sizes(), *PATCH, dst_of(S8), Stride("dstStride")],
     "Local box normalisation of u8 data to s8: with n pixels in the window centred on the pixel (restricted to "
     "the image) and d = x - mean, dst = saturate_s8(round(d / 2)), or with useStdDev set "
     "saturate_s8(round(32 d / deviation)) (0 on a flat window), rounding half away from zero; exact integer "
     "sums. Status 3 for an even or larger window.",
     "ilmvNormalizeLocalBoxu8(src, srcWidth, srcHeight, srcStride, patchWidth, patchHeight, useStdDev, dst, "
     "dstStride)", forms="C", ret=STATUS,
     remote=Remote("(uint64_t)srcWidth * srcHeight", 1, [], "patchWidth <= srcWidth && patchHeight <= srcHeight"))
