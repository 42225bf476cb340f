"""The codebook background model of 3-channel video."""

from lmvdesc import *

family("BGCodeBook")

CB_H = "cpu/lumivaBGCodeBook.h"
MODEL = Handle("cbmodel", "lmvBGCodeBookModel*", "the model; one model serves one thread at a time", "inout")
MAP = Handle("cbMap", "lmvBGCodeWord**", "the codeword map the model handed out, one entry per model pixel", "inout")
frame_src = Image("src", U8, "srcWidth", "srcHeight", "srcStride", 3)


def cb(slot, name, params, rule, frame, doc, ret="void", stops=()):
    op(slot, name, params, ret=ret, rule=rule, forms="C", cases=False, doc=doc, frame_header=CB_H, frame=frame,
       stops=list(stops))


unreachable_stop("numBlocks > 0", "the block size is the library's own constant")
unreachable_stop("st->free_space % ((int32_t)sizeof(float32_t)) == 0", "blocks are carved in multiples of 4 bytes")
unreachable_stop("(uintptr_t)ptr % ((int32_t)sizeof(float32_t)) == 0", "blocks come from malloc, carved in 4 bytes")


cb(161, "lmvCreateBGCodeBookModel",
   [Scalar("srcWidth", "uint32_t", [], "width of the frames the model learns, in pixels"),
    Scalar("srcHeight", "uint32_t", [], "height of the frames, in pixels"),
    ScalarOut("cbmodel", "lmvBGCodeBookModel*", "receives the model")],
   "1", "return ilmvCodeBookCreate(srcWidth, srcHeight, cbmodel)",
   "Creates a model with the default bounds (10, 10, 10), modMin (3, 1, 1) and modMax (10, 1, 1); returns its "
   "codeword map, null when memory runs out.", ret="lmvBGCodeWord**",
   stops=[Stop("cbmodel->cbMap", "the codeword map of srcWidth x srcHeight pointers cannot be allocated")])
cb(145, "lmvConfigBGCodeBookModel",
   [MODEL, Points("cbBounds", "uint8_t", "3", "in", "learning bounds of the three channels"),
    Points("modMin", "uint8_t", "3", "in", "tolerance below a codeword, per channel"),
    Points("modMax", "uint8_t", "3", "in", "tolerance above a codeword, per channel")],
   "1", "ilmvCodeBookConfig(cbmodel, cbBounds, modMin, modMax)",
   "Sets the learning bounds and the classification tolerances (three bytes each); a null model is ignored.")
cb(28, "lmvBGCodeBookUpdateu8",
   [MODEL, frame_src, Size("srcWidth"), Size("srcHeight"), Stride("srcStride"),
    Image("fgMask", U8, "srcWidth", "srcHeight", "fgMaskStride", optional=True), Stride("fgMaskStride"), MAP,
    ScalarOut("updateTime", "int32_t", "receives the frame number")],
   "cbmodel && src && cbMap && srcStride >= srcWidth*3",
   "ilmvCodeBookUpdate(cbmodel, src, srcWidth, srcHeight, srcStride, fgMask, fgMaskStride, cbMap, updateTime)",
   "Learns one frame: each pixel (where fgMask, when given, is non-zero) widens the first codeword that covers it "
   "or gets a new one.", stops=[Stop("cwfreelist", "memory for new codewords runs out")])
cb(27, "lmvBGCodeBookDiffu8",
   [MODEL, frame_src, Size("srcWidth"), Size("srcHeight"), Stride("srcStride"),
    Image("fgMask", U8, "srcWidth", "srcHeight", "fgMaskStride", direction="out"), Stride("fgMaskStride"), MAP,
    ScalarOut("numFgMask", "uint32_t", "receives the number of foreground pixels")],
   "cbmodel && src && fgMask && cbMap && srcStride >= srcWidth*3",
   "ilmvCodeBookDiff(cbmodel, src, srcWidth, srcHeight, srcStride, fgMask, fgMaskStride, cbMap, numFgMask)",
   "Classifies a frame: fgMask is 0 where a codeword's box, widened by modMin and modMax, covers the pixel, "
   "255 elsewhere.")
cb(26, "lmvBGCodeBookClearStaleu8",
   [MODEL, Scalar("staleThresh", "int32_t", [], "codewords unseen for longer than this many frames go"),
    Image("fgMask", U8, "fgMaskWidth", "fgMaskHeight", "fgMaskStride"), Size("fgMaskWidth"), Size("fgMaskHeight"),
    Stride("fgMaskStride"), MAP],
   "cbmodel && fgMask && cbMap",
   "ilmvCodeBookClearStale(cbmodel, staleThresh, fgMask, fgMaskWidth, fgMaskHeight, fgMaskStride, cbMap)",
   "Prunes codewords whose stale value exceeds staleThresh (where fgMask is non-zero) and refreshes the rest.")
cb(336, "lmvReleaseBGCodeBookModel",
   [Points("cbmodel", "lmvBGCodeBookModel*", "1", "inout", "the model handle, cleared on return")],
   "1", "ilmvCodeBookRelease(cbmodel)", "Frees the model, its map and its codewords, and clears the handle.")
