"""Linear filters: the 3x3 Gaussian."""

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
