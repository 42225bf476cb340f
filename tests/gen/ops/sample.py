"""A small fixed set of descriptions that exercises every shape the generator writes: a
status member, a member with a rule and a remote row, a GPU row, chroma planes, a slot
with two entries of its own, and a hand-written entry with its own rows. Their slots are
those of tests/gen/slots.list."""

from lmvdesc import *

family("Sample")

src = Image("src1", U8, "width", "height", "src1Stride")
op(4, "lmvAddu8",
   [src, Size("width"), Size("height"), Stride("src1Stride"), Image("src2", U8, "width", "height", "src2Stride"),
    Stride("src2Stride"), Scalar("policy", "LMV_OVERFLOW_POLICY", ["0", "1"], "0 wraps, 1 saturates"),
    Image("dst", U8, "width", "height", "dstStride", direction="out"), Stride("dstStride")],
   ret=STATUS, doc="dst = src1 + src2.", walk="binary", element="ilmv::AddWith<uint8_t>{policy}")

diff = [Image("src1", S16, "srcWidth", "srcHeight", "srcStride"), Image("src2", S16, "srcWidth", "srcHeight", "srcStride"),
        Size("srcWidth"), Size("srcHeight"), Stride("srcStride", "stride of both sources"),
        Image("dst", S16, "srcWidth", "srcHeight", "dstStride", direction="out"), Stride("dstStride")]
op(2, "lmvImageDiffs16", diff, doc="dst = clamp(src1 - src2).",
   rule="src1 && src2 && dst && srcWidth && srcHeight && (srcStride >= srcWidth) && (dstStride >= srcWidth)",
   remote=default_remote([p for p in diff if isinstance(p, Image)], "srcWidth", "srcHeight"),
   gpu=Gpu(16, ["src1", "src2", "dst"], "srcWidth % 8 == 0"))

planes = [Image("dstY", U8, "srcWidth", "srcHeight", "dstYStride", direction="out"),
          Image("dstC", U8, "srcWidth", "srcHeight", "dstCStride", 2, "out", wdiv=2, hdiv=2)]
op(0, "lmvColorRGB888ToYCbCr420PseudoPlanaru8",
   [Image("src", U8, "srcWidth", "srcHeight", "srcStride", 3), Size("srcWidth"), Size("srcHeight"),
    Stride("srcStride"), *planes, Stride("dstYStride"), Stride("dstCStride")],
   ret="uint32_t", doc="RGB to YCbCr 4:2:0 with interleaved chroma. Returns srcHeight.",
   rule="src && dstY && dstC && srcWidth && srcHeight", frame_header="cpu/lumivaColorRows.h",
   frame="ilmvRgbToYccFrame({rows}); return srcHeight")

pixels = [Image("src", U8, "srcWidth", "srcHeight", "srcStride", 3), Size("srcWidth"), Size("srcHeight"),
          Stride("srcStride"), Image("dst", U8, "srcWidth", "srcHeight", "dstStride", 3, "out"), Stride("dstStride")]
op(1, "lmvColorRGB888toYCrCbu8", pixels, entry=False, doc="RGB to Y, Cr, Cb.",
   remote=default_remote([pixels[0], pixels[4]], "srcWidth", "srcHeight"), gpu=Gpu(16, ["src", "dst"]),
   entries=[Entry("lmvColorRGB888toYCrCbu8",
                  [Image("src", U8, "width", "height", "width * 3", 3), Size("width"), Size("height"),
                   Image("dst", U8, "width", "height", "width * 3", 3, "out")],
                  "src && dst && width && height", ["src", "width", "height", "width * 3", "dst", "width * 3"])])

half = [Image("src", U8, "width", "height", "srcStride"), Size("width"), Size("height"), Stride("srcStride"),
        Image("dst", U8, "width", "height", "dstStride", direction="out", wdiv=2, hdiv=2, half="down"),
        Stride("dstStride")]
op(3, "lmvScaleDownBy2u8", half, ret="int32_t", entry=False, doc="2x2 mean.",
   manual_entries=[Entry("lmvScaleDownBy2u8_v2", half, "width and height even", [],
                         remote=Remote("(uint64_t)width * height", 4, ["src", "dst"], "srcStride % 8 == 0"),
                         gpu=Gpu(16, ["src", "dst"]))])
