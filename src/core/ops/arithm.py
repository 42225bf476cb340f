"""Element-wise arithmetic: absolute and image differences, additions, subtractions,
weighted sums, products, scalar forms, bitwise logic, averages and constant fills."""

from lmvdesc import *

family("Arithm")

POLICY = Scalar("policy", "LMV_OVERFLOW_POLICY", ["0", "1", "0", "1", "2"],
                "overflow policy: 0 wraps, 1 saturates, anything else is status 3")
SCALE = Scalar("scale", "int32_t", ["0", "1", "2", "-1", "-3", "7", "-9", "15", "16", "31", "32",
                                    "-32", "40", "250", "260", "-260", "256"],
               "fixed-point scale s: s <= 0 shifts left by -s, s > 0 is a rounding right shift by s")


def img(name, elem, w, h, stride, ch=1, direction="in", optional=False):
    return Image(name, elem, w, h, stride, ch, direction, optional)


def sizes(w, h):
    return [Size(w, "width in pixels"), Size(h, "height in pixels")]


def diff_params(a, b, out, ch=1):
    """(src1, src2, srcWidth, srcHeight, srcStride, dst, dstStride): one stride serves both sources."""
    return [img("src1", a, "srcWidth", "srcHeight", "srcStride", ch),
            img("src2", b, "srcWidth", "srcHeight", "srcStride", ch),
            *sizes("srcWidth", "srcHeight"), Stride("srcStride", "stride of both sources in bytes"),
            img("dst", out, "srcWidth", "srcHeight", "dstStride", ch, "out"), Stride("dstStride")]


def vector_params(elem, ch):
    values = ([Scalar("value", elem.ctype, [], "the constant subtracted from every pixel")] if ch == 1 else
              [Scalar(f"value{k + 1}", elem.ctype, [], f"constant of channel {k}") for k in range(ch)])
    return [img("src", elem, "srcWidth", "srcHeight", "srcStride", ch), *sizes("srcWidth", "srcHeight"),
            Stride("srcStride"), *values,
            img("dst", elem, "srcWidth", "srcHeight", "dstStride", ch, "out"), Stride("dstStride")]


def binary_params(a, b, out, *extras):
    """(src1, width, height, src1Stride, src2, src2Stride, extras..., dst, dstStride)."""
    return [img("src1", a, "width", "height", "src1Stride"), *sizes("width", "height"), Stride("src1Stride"),
            img("src2", b, "width", "height", "src2Stride"), Stride("src2Stride"), *extras,
            img("dst", out, "width", "height", "dstStride", direction="out"), Stride("dstStride")]


def unary_params(a, out, *extras):
    return [img("src", a, "width", "height", "srcStride"), *sizes("width", "height"), Stride("srcStride"),
            *extras, img("dst", out, "width", "height", "dstStride", direction="out"), Stride("dstStride")]


def fill_params(elem, ch):
    values = ([Scalar("value", elem.ctype, [], "the value written")] if ch == 1 else
              [Scalar(f"value{k + 1}", elem.ctype, [], f"value of channel {k}") for k in range(ch)])
    return [img("src", elem, "srcWidth", "srcHeight", "srcStride", ch, "inout"), *sizes("srcWidth", "srcHeight"),
            Stride("srcStride", "stride in bytes; 0 means tightly packed"), *values,
            img("mask", U8, "srcWidth", "srcHeight", "maskStride", optional=True),
            Stride("maskStride", "stride of the mask in bytes")]


def remote_of(params):
    images = [p for p in params if isinstance(p, Image)]
    return default_remote(images, images[0].width, images[0].height)


# The element rule of each member (src/cpu/lumivaArithmOps.h), over its parameters. Members
# not listed walk without a rule: constant differences per channel, fills and means.
ELEMENTS = {
    "lmvAbsDiffu8": "ilmv::AbsDiff{}",
    "lmvAbsDiffs32": "ilmv::AbsDiff{}",
    "lmvAbsDifff32": "ilmv::AbsDiff{}",
    "lmvAddu8": "ilmv::AddWith<uint8_t>{policy}",
    "lmvAdds16_v2": "ilmv::AddWith<int16_t>{policy}",
    "lmvAddu16u8u16": "ilmv::AddWith<uint16_t>{policy}",
    "lmvAddu8u16": "ilmv::Sum<uint16_t>{}",
    "lmvAdds16": "ilmv::SaturatedSum<int16_t>{}",
    "lmvAddf32": "ilmv::Sum<float32_t>{}",
    "lmvSubtractu8": "ilmv::SubtractWith<uint8_t>{policy}",
    "lmvSubtracts16": "ilmv::SubtractWith<int16_t>{policy}",
    "lmvSubtractu8s16": "ilmv::Difference<int16_t>{}",
    "lmvAddWeightedu8": "ilmv::Weighted(alpha, beta)",
    "lmvAddSquaredu8u16": "ilmv::AddSquared(scale)",
    "lmvElementMultiplyu8": "ilmv::ScaledProduct<uint8_t>(scale, policy)",
    "lmvElementMultiplyu8s16": "ilmv::ScaledProduct<int16_t>(scale, policy)",
    "lmvElementMultiplys16": "ilmv::ScaledProduct<int16_t>(scale, policy)",
    "lmvElementMultiplyu8u16": "ilmv::Product<uint16_t>{}",
    "lmvElementMultiplyf32": "ilmv::Product<float32_t>{}",
    "lmvAddScalars16": "ilmv::AddScalar<int16_t>{scalar}",
    "lmvAddScalarf32": "ilmv::AddScalar<float32_t>{scalar}",
    "lmvMultiplyScalars16": "ilmv::MultiplyScalarShifted(scalar, shift)",
    "lmvMultiplyScalarf32": "ilmv::MultiplyScalar<float32_t>{scalar}",
    "lmvBitwiseAndu8": "ilmv::BitAnd{}",
    "lmvBitwiseXoru8": "ilmv::BitXor{}",
    "lmvBitwiseNotu8": "ilmv::BitNot{}",
    "lmvBitwiseOru8": "ilmv::MaskedOr{}",
    "lmvBitwiseOrs32": "ilmv::MaskedOr{}",
    "lmvImageDiffu8": "ilmv::SaturatedDifference<uint8_t>{}",
    "lmvImageDiffs16": "ilmv::SaturatedDifference<int16_t>{}",
    "lmvImageDifff32": "ilmv::Difference<float32_t>{}",
    "lmvImageDiffu8f32": "ilmv::Difference<float32_t>{}",
    "lmvImageDiffu8s8": "ilmv::HalfDifference{}",
    "lmvAverageu8": "uint32_t",   # the type of the total
    "lmvAverages32": "int64_t",
}


def arith(slot, name, params, doc, walk=None, **kw):
    """A member whose forms are one walk of the family with its element rule (binary or
    unary by its images, unless told)."""
    images = [p for p in params if isinstance(p, Image)]
    walk = walk or ("unary" if len(images) == 2 else "binary")
    op(slot, name, params, doc=doc, remote=remote_of(params), walk=walk, element=ELEMENTS.get(name), **kw)


def bytes_rule(first, names, w, h, per_pixel, sources=("src1", "src2", "dst")):
    strides = " && ".join(f"({s} >= {w}{per_pixel})" for s in names)
    return " && ".join(sources) + f" && {w} && {h} && {strides}"


# Absolute differences of two images and against constants.
arith(5, "lmvAbsDiffu8", diff_params(U8, U8, U8), "dst = |src1 - src2| per pixel.",
      rule="src1 && src2 && dst && srcWidth && srcHeight && (srcStride >= srcWidth) && dstStride")
arith(4, "lmvAbsDiffs32", diff_params(S32, S32, S32),
      "dst = abs(src1 - src2), the difference wrapping to 32 bits first.",
      rule="src1 && src2 && dst && srcWidth && srcHeight && (srcStride >= srcWidth) && dstStride")
arith(3, "lmvAbsDifff32", diff_params(F32, F32, F32), "dst = fabs(src1 - src2).",
      rule="src1 && src2 && dst && srcWidth && srcHeight && (srcStride >= srcWidth * sizeof(float32_t)) "
           "&& (dstStride >= srcWidth * sizeof(float32_t))")

for slot, name, elem, ch in [(14, "lmvAbsDiffVu8", U8, 1), (13, "lmvAbsDiffVs32", S32, 1),
                             (12, "lmvAbsDiffVf32", F32, 1), (11, "lmvAbsDiffVc4u8", U8, 4),
                             (10, "lmvAbsDiffVc4s32", S32, 4), (9, "lmvAbsDiffVc4f32", F32, 4),
                             (8, "lmvAbsDiffVc3u8", U8, 3), (7, "lmvAbsDiffVc3s32", S32, 3),
                             (6, "lmvAbsDiffVc3f32", F32, 3)]:
    size = {U8: "", S32: " * sizeof(int32_t)", F32: " * sizeof(float32_t)"}[elem]
    per_pixel = (f" * {ch}" if ch > 1 else "") + size
    arith(slot, name, vector_params(elem, ch), "dst = |src - value| per channel, channel k against constant k.",
          walk="channels",
          rule=f"src && dst && srcWidth && srcHeight && (srcStride >= srcWidth{per_pixel}) "
               f"&& (dstStride >= srcWidth{per_pixel})")

# Additions and subtractions.
arith(442, "lmvAddu8", binary_params(U8, U8, U8, POLICY), "dst = src1 + src2, wrapped or saturated.", ret=STATUS)
arith(443, "lmvAdds16_v2", binary_params(S16, S16, S16, POLICY), "dst = src1 + src2, wrapped or saturated.",
      ret=STATUS)
arith(444, "lmvAddu16u8u16", binary_params(U16, U8, U16, POLICY), "dst = src1 + src2, wrapped or saturated.",
      ret=STATUS)
arith(23, "lmvAddu8u16", binary_params(U8, U8, U16), "dst = src1 + src2 as 16 bits (never overflows).",
      rule="src1 && src2 && dst && width && height && (src1Stride >= width) && (src2Stride >= width) "
           "&& (dstStride >= width*2)")
arith(22, "lmvAdds16", binary_params(S16, S16, S16), "dst = clamp(src1 + src2, -32768, 32767).",
      rule="src1 && src2 && dst && width && height && (src1Stride >= width*2) && (src2Stride >= width*2) "
           "&& (dstStride >= width*2)")
arith(21, "lmvAddf32", binary_params(F32, F32, F32), "dst = src1 + src2.",
      rule="src1 && src2 && dst && width && height && (src1Stride >= width*4) && (src2Stride >= width*4) "
           "&& (dstStride >= width*4)")
arith(445, "lmvSubtractu8", binary_params(U8, U8, U8, POLICY), "dst = src1 - src2, wrapped or floored at 0.",
      ret=STATUS)
arith(446, "lmvSubtracts16", binary_params(S16, S16, S16, POLICY), "dst = src1 - src2, wrapped or saturated.",
      ret=STATUS)
arith(447, "lmvSubtractu8s16", binary_params(U8, U8, S16), "dst = src1 - src2 as signed 16 bits.", ret=STATUS)
arith(452, "lmvAddWeightedu8",
      binary_params(U8, U8, U8, Scalar("alpha", "float32_t", ["0.5f", "-0.5f", "1.0f", "0.3f", "0.7f", "2.5f",
                                                                 "-1.25f", "0.00196f", "127.9f", "-200.0f"],
                           "weight of src1"),
                    Scalar("beta", "float32_t", ["0.5f", "0.5f", "0.0f", "0.7f", "-0.3f", "1.5f", "0.998f",
                                                "-0.00195f", "300.0f"],
                           "weight of src2")),
      "dst = clamp((A*src1 + B*src2 + 128) >> 8, 0, 255) with A, B = alpha*256, beta*256 rounded half "
      "away from zero to signed 16 bits.", ret=STATUS)
arith(453, "lmvAddSquaredu8u16", binary_params(U8, U16, U16, SCALE),
      "dst = min(src2 + scaled(src1 * src1), 65535): src2 is the 16-bit accumulator.", ret=STATUS)

# Products.
arith(451, "lmvElementMultiplyu8", binary_params(U8, U8, U8, SCALE, POLICY),
      "dst = scaled(src1 * src2), low 8 bits or saturated.", ret=STATUS)
arith(450, "lmvElementMultiplyu8s16", binary_params(U8, U8, S16, SCALE, POLICY),
      "dst = scaled(src1 * src2), low 16 bits or saturated at 32767.", ret=STATUS)
arith(449, "lmvElementMultiplys16", binary_params(S16, S16, S16, SCALE, POLICY),
      "dst = scaled(src1 * src2), low 16 bits or saturated.", ret=STATUS)
arith(198, "lmvElementMultiplyu8u16", binary_params(U8, U8, U16), "dst = src1 * src2 as 16 bits.",
      rule="src1 && src2 && dst && width && height && (src1Stride >= width) && (src2Stride >= width) "
           "&& (dstStride >= width*2)")
arith(197, "lmvElementMultiplyf32", binary_params(F32, F32, F32), "dst = src1 * src2.",
      rule="src1 && src2 && dst && width && height && (src1Stride >= width*4) && (src2Stride >= width*4) "
           "&& (dstStride >= width*4)")

# Scalar operands.
S16_SCALAR = Scalar("scalar", "int16_t", ["0", "1", "-1", "300", "-32768", "32767", "-1234"],
                    "the constant operand")
F32_SCALAR = Scalar("scalar", "float32_t", ["0.0f", "1.5f", "-3.25f", "1000.0f"], "the constant operand")
arith(397, "lmvAddScalars16", unary_params(S16, S16, S16_SCALAR), "dst = clamp(src + scalar, -32768, 32767).",
      ret=STATUS)
arith(396, "lmvAddScalarf32", unary_params(F32, F32, F32_SCALAR), "dst = src + scalar.", ret=STATUS)
arith(424, "lmvMultiplyScalars16",
      unary_params(S16, S16, S16_SCALAR, Scalar("shift", "int32_t", SCALE.test,
                                                "fixed-point shift, as the scale of the products")),
      "dst = clamp(scaled(src * scalar), -32768, 32767).", ret=STATUS)
arith(423, "lmvMultiplyScalarf32", unary_params(F32, F32, F32_SCALAR), "dst = src * scalar.", ret=STATUS)

# Bitwise logic.
arith(439, "lmvBitwiseAndu8", binary_params(U8, U8, U8), "dst = src1 & src2.", ret=STATUS)
arith(440, "lmvBitwiseXoru8", binary_params(U8, U8, U8), "dst = src1 ^ src2.", ret=STATUS)
arith(441, "lmvBitwiseNotu8", unary_params(U8, U8), "dst = ~src.", ret=STATUS)
for slot, name, elem, per in [(39, "lmvBitwiseOru8", U8, ""), (38, "lmvBitwiseOrs32", S32, "*4")]:
    mask = [img("mask", U8, "width", "height", "maskStride", optional=True),
            Stride("maskStride", "stride of the mask in bytes")]
    arith(slot, name, binary_params(elem, elem, elem, *mask),
          "dst = src1 | src2; with a mask, 0 where the mask byte is 0.", walk="maskedBinary",
          rule=f"src1 && src2 && dst && width && height && (src1Stride >= width{per}) "
               f"&& (src2Stride >= width{per}) && (dstStride >= width{per})")

# Image differences.
arith(267, "lmvImageDiffu8", diff_params(U8, U8, U8), "dst = max(src1 - src2, 0).",
      rule="src1 && src2 && dst && srcWidth && srcHeight")
arith(266, "lmvImageDiffs16", diff_params(S16, S16, S16), "dst = clamp(src1 - src2, -32768, 32767).",
      rule="src1 && src2 && dst && srcWidth && srcHeight && (srcStride >= srcWidth) && (dstStride >= srcWidth)",
      gpu=Gpu(16, ["src1", "src2", "dst"], "srcWidth % 8 == 0"), gpu_engine="lmvGpuImageDiffs16")
arith(265, "lmvImageDifff32", diff_params(F32, F32, F32), "dst = src1 - src2.",
      rule="src1 && src2 && dst && srcWidth && srcHeight && (srcStride >= srcWidth * sizeof(float)) "
           "&& (dstStride >= srcWidth * sizeof(float))")
arith(268, "lmvImageDiffu8f32", diff_params(U8, U8, F32), "dst = float(src1) - float(src2).",
      rule="src1 && src2 && dst && srcWidth && srcHeight && (srcStride >= srcWidth) && (dstStride >= srcWidth)")
arith(269, "lmvImageDiffu8s8", diff_params(U8, U8, S8), "dst = (src1 >> 1) - (src2 >> 1).",
      rule="src1 && src2 && dst && srcWidth && srcHeight && (srcStride >= srcWidth) && (dstStride >= srcWidth)")

# Averages.
for slot, name, elem, size in [(25, "lmvAverageu8", U8, ""), (24, "lmvAverages32", S32, " * sizeof(int32_t)")]:
    arith(slot, name, [img("src", elem, "srcWidth", "srcHeight", "srcStride"), *sizes("srcWidth", "srcHeight"),
                       Stride("srcStride"), ScalarOut("avgValue", "float32_t", "receives the mean")],
          "*avgValue = sum of all pixels / (srcWidth * srcHeight).", walk="mean",
          rule=f"src && avgValue && srcWidth && srcHeight && (srcStride >= srcWidth{size})")

# Constant fills.
for slot, name, elem, ch in [(361, "lmvSetElementsu8", U8, 1), (360, "lmvSetElementss32", S32, 1),
                             (359, "lmvSetElementsf32", F32, 1), (358, "lmvSetElementsc4u8", U8, 4),
                             (357, "lmvSetElementsc4s32", S32, 4), (356, "lmvSetElementsc4f32", F32, 4),
                             (355, "lmvSetElementsc3u8", U8, 3), (354, "lmvSetElementsc3s32", S32, 3),
                             (353, "lmvSetElementsc3f32", F32, 3)]:
    size = {U8: "", S32: "*sizeof(int32_t)", F32: "*sizeof(float32_t)"}[elem]
    per = (f"*{ch}" if ch > 1 else "") + size
    arith(slot, name, fill_params(elem, ch),
          "Writes the value(s) into every pixel; with a mask only where the mask byte is non-zero.", walk="fill",
          rule=f"src && srcWidth && srcHeight && (srcStride == 0 || srcStride >= srcWidth{per})")
