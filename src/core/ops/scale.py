"""Scaling: the 2x2 mean, Gaussian 5x5 decimation by two, and image pyramids."""

from lmvdesc import *

family("Scale")

SCALE_H = "cpu/lumivaScale.h"

half_src = Image("src", U8, "width", "height", "srcStride")
half_dst = Image("dst", U8, "width", "height", "dstStride", direction="out", wdiv=2, hdiv=2, default_stride="width / 2",
                 half="down")
op(343, "lmvScaleDownBy2u8",
   [half_src, Size("width"), Size("height"), Stride("srcStride"), half_dst, Stride("dstStride")], ret="int32_t",
   entry=False, case_min_width=2, frame_header=SCALE_H,
   frame="return ilmvScaleDownBy2Frame(ilmvHalfRow{form}, src, width, height, srcStride, dst, dstStride)",
   doc="Halves the image: each output pixel is the truncated mean of a 2x2 block. Returns 0, or -1 (nothing "
       "logged or written) for an odd or zero size, a null pointer or a short stride.",
   manual_entries=[
       Entry("lmvScaleDownBy2u8", [Image("src", U8, "width", "height", "width"), Size("width"), Size("height"),
                                   Image("dst", U8, "width", "height", "width / 2", direction="out", wdiv=2,
                                         hdiv=2, half="down")],
             "width and height even and non-zero, src and dst non-null", [],
             remote=Remote("(uint64_t)width * height", 4, ["src", "dst"], "width % 8 == 0"),
             gpu=Gpu(16, ["src", "dst"])),
       Entry("lmvScaleDownBy2u8_v2", [half_src, Size("width"), Size("height"), Stride("srcStride"), half_dst,
                                      Stride("dstStride")],
             "width and height even and non-zero, src and dst non-null, srcStride >= width, dstStride >= width / 2",
             [], remote=Remote("(uint64_t)width * height", 4, ["src", "dst", "dstStride"], "srcStride % 8 == 0"),
             gpu=Gpu(16, ["src", "dst"], "dstStride >= width / 2 && srcStride >= width && srcStride % 8 == 0 && "
                                         "width % 8 == 0 && dstStride % 8 == 0"))])

DEC_DOC = ("Gaussian 5x5 [1 4 6 4 1] decimation by two: output (x, y) is centred on source (2x, 2y), the sum plus "
           "128 shifted right by 8; windows that leave the image repeat the edge pixels. The output is "
           "srcWidth/2 x srcHeight/2.")
dec_src = Image("src", U8, "srcWidth", "srcHeight", "srcStride")
dec_dst = Image("dst", U8, "srcWidth", "srcHeight", "dstStride", direction="out", wdiv=2, hdiv=2,
                default_stride="srcWidth / 2", half="down")
op(341, "lmvScaleDownBy2Gaussian5x5u8",
   [Image("src", U8, "srcWidth", "srcHeight", "srcWidth"), Size("srcWidth"), Size("srcHeight"),
    Image("dst", U8, "srcWidth", "srcHeight", "srcWidth / 2", direction="out", wdiv=2, hdiv=2, half="down")],
   rule="src && dst && (srcWidth > 1) && (srcHeight > 1)", cases=False, doc=DEC_DOC + " Rows packed.",
   gpu=Gpu(16, ["src", "dst"], "srcWidth % 8 == 0"), frame_header=SCALE_H,
   gpu_engine="lmvGpuScaleDownBy2Gaussian5x5u8(src, srcWidth, srcHeight, srcWidth, dst, srcWidth / 2)",
   frame="ilmvDecimate5x5Frame(ilmvDecimateRows{form}(), src, srcWidth, srcHeight, srcWidth, dst, srcWidth / 2, "
         "srcHeight / 2, srcWidth / 2)")
op(342, "lmvScaleDownBy2Gaussian5x5u8_v2",
   [dec_src, Size("srcWidth"), Size("srcHeight"), Stride("srcStride"), dec_dst, Stride("dstStride")],
   rule="src && dst && (srcWidth > 1) && (srcHeight > 1) && (srcStride >= srcWidth) && (dstStride >= srcWidth / 2)",
   case_min_width=2, doc=DEC_DOC, gpu=Gpu(16, ["src", "dst"], "srcWidth % 8 == 0"),
   gpu_engine="lmvGpuScaleDownBy2Gaussian5x5u8",
   remote=default_remote([dec_src, dec_dst], "srcWidth", "srcHeight", 8), frame_header=SCALE_H,
   frame="ilmvDecimate5x5Frame(ilmvDecimateRows{form}(), src, srcWidth, srcHeight, srcStride, dst, srcWidth / 2, "
         "srcHeight / 2, dstStride)")

# ---- Pyramids ----------------------------------------------------------------------------
PYR = Points("pyr", "lmvPyramidLevel", "numLevels", "out", "level records, level 0 first")
PYR2 = Points("pyr", "lmvPyramidLevel_v2", "numLevels", "out", "level records, level 0 first")
base_sizes = [Scalar("baseWidth", "uint32_t", [], "width of level 0 in pixels"),
              Scalar("baseHeight", "uint32_t", [], "height of level 0 in pixels")]
BYTES_PER_PIXEL = Scalar("bytesPerPixel", "uint32_t", [], "bytes of one pixel: 1 for u8 levels, 4 for f32")
ALLOCATE_BASE = Scalar("allocateBase", "uint32_t", [], "non-zero: level 0 gets a buffer of its own too")
BASE_STRIDE = Scalar("baseStride", "uint32_t", [], "bytes between row starts of level 0")
levels = Scalar("numLevels", "uint32_t", [], "number of levels, the base included")


START_LEVEL = Scalar("startLevel", "uint32_t", [], "first level whose buffer is released")


CREATE_STOPS = [Stop("base && numLevels && baseHeight && baseWidth && pyramid",
                     "base or pyr is null, or numLevels, baseWidth or baseHeight is 0"),
                Stop("( (baseWidth & ((1 << (numLevels - 1)) - 1)) == 0 ) & ( (baseHeight & ((1 << (numLevels - 1)) "
                     "- 1)) == 0 )", "a level would halve an odd size (baseWidth or baseHeight not a multiple of "
                     "2^(numLevels - 1)) while the levels halve")]


def pyramid(slot, name, params, frame, doc, rule="1", ret="int32_t", stops=(), remote_by_hand=False):
    op(slot, name, params, ret=ret, rule=rule, cases=False, doc=doc, frame_header=SCALE_H, frame=frame,
       stops=list(stops), remote_by_hand=remote_by_hand)


pyramid(325, "lmvPyramidAllocate",
        [PYR, *base_sizes, BYTES_PER_PIXEL, levels, ALLOCATE_BASE],
        "return ilmvPyramidAllocate(pyr, baseWidth, baseHeight, bytesPerPixel, numLevels, allocateBase)",
        "Fills the level records and gives levels 1 and up (and level 0 when allocateBase is set) 16-byte "
        "aligned buffers. Returns 0.")
pyramid(326, "lmvPyramidAllocate_v2",
        [PYR2, *base_sizes, BASE_STRIDE, BYTES_PER_PIXEL, levels,
         ALLOCATE_BASE],
        "return ilmvPyramidAllocate_v2(pyr, baseWidth, baseHeight, baseStride, bytesPerPixel, numLevels, "
        "allocateBase, 0.5f, false)",
        "As lmvPyramidAllocate with strides: level 0 keeps baseStride, later levels are packed. Returns 0.")
for kind, elem in (("u8", "uint8_t"), ("f32", "float32_t")):
    slot1, slot2 = (329, 330) if kind == "u8" else (327, 328)
    pyramid(slot1, f"lmvPyramidCreate{kind}",
            [Points("base", elem, "baseHeight", "in", "the base image, rows packed", length="baseWidth * baseHeight"), *base_sizes, levels, PYR],
            f"return ilmvPyramidCreate(ilmvDecimateRows{{form}}(), ilmvElem{kind.upper()}, base, baseWidth, "
            f"baseHeight, 0, numLevels, pyr)",
            "Sets level 0 to the base and fills each later level's buffer with the Gaussian 5x5 decimation of the "
            "level above. Returns 0, or -1 at a level without a buffer; broken preconditions stop the process. "
            "Remote forms: the level buffers must be visible to the DSP (lmvSharedMemAllocX) or they are copied.",
            stops=CREATE_STOPS, remote_by_hand=True)
    pyramid(slot2, f"lmvPyramidCreate{kind}_v2",
            [Points("base", elem, "baseHeight", "in", "the base image, rows baseStride bytes apart",
                    length=f"baseStride / sizeof({elem}) * baseHeight"), *base_sizes,
             BASE_STRIDE, levels, PYR2],
            f"return ilmvPyramidCreate_v2(ilmvDecimateRows{{form}}(), ilmvElem{kind.upper()}, base, baseWidth, "
            f"baseHeight, baseStride, numLevels, pyr, 0.5f, false)",
            "As the first generation, each level read and written with its own stride.", stops=CREATE_STOPS)
pyramid(331, "lmvPyramidDelete", [PYR, levels, START_LEVEL],
        "ilmvPyramidDelete(pyr, numLevels, startLevel)",
        "Releases the buffers of levels startLevel and up and clears their pointers.",
        rule="pyr && ((signed)startLevel >= 0) && (startLevel <= numLevels)", ret="void")
pyramid(332, "lmvPyramidDelete_v2", [PYR2, levels, START_LEVEL],
        "ilmvPyramidDelete_v2(pyr, numLevels, startLevel)",
        "Releases the buffers of levels startLevel and up and clears their pointers.",
        rule="pyr && ((signed)startLevel >= 0) && (startLevel <= numLevels)", ret="void")
SCALEF = Scalar("scale", "float32_t", [], "size ratio of consecutive levels, in (0, 1); sizes round up")
pyramid(495, "lmvPyramidAllocate_v3",
        [PYR2, *base_sizes, BASE_STRIDE, BYTES_PER_PIXEL, levels,
         SCALEF, ALLOCATE_BASE],
        "return ilmvPyramidAllocate_v2(pyr, baseWidth, baseHeight, baseStride, bytesPerPixel, numLevels, "
        "allocateBase, scale, true)",
        "As lmvPyramidAllocate_v2 with level sizes ceil(previous * scale). Returns 0, or -1 for a scale outside (0, 1).")
pyramid(496, "lmvPyramidCreateu8_v3",
        [Points("base", "uint8_t", "baseHeight", "in", "the base image, rows baseStride bytes apart",
                length="baseStride * baseHeight"), *base_sizes,
         BASE_STRIDE, levels, SCALEF, PYR2],
        "return ilmvPyramidCreate_v2(ilmvDecimateRows{form}(), ilmvElemU8, base, baseWidth, baseHeight, baseStride, "
        "numLevels, pyr, scale, true)",
        "Fills a pyramid of ratio `scale`: a ratio of one half decimates with the Gaussian 5x5, any other "
        "resamples the level above bilinearly. Returns 0, or -1 at a level without a buffer or for a bad scale.", stops=CREATE_STOPS)
