"""Colour conversion: RGB <-> YCbCr in every chroma layout, YCbCr layout to layout, RGB
to RGB, grey, HSV, Lab, the block and video-range decoders, and the channel functions."""

from lmvdesc import *

family("Color")

ROWS_H = "cpu/lumivaColorRows.h"
FMT = {"RGB565": "ilmv::kRgb565", "RGB888": "ilmv::kRgb888", "RGBA8888": "ilmv::kRgba8888",
       "BGR565": "ilmv::kRgb565", "BGR888": "ilmv::kRgb888", "BGRA8888": "ilmv::kRgba8888"}


def layout_of(sub, layout):
    wdiv, hdiv = SUB[sub]
    return f"ILMV_CHROMA_LAYOUT{{{wdiv}, {hdiv}, {'true' if layout == 'PseudoPlanar' else 'false'}}}"


def image_of(planes, strides, const):
    """An ILMV_YCC_IMAGE initialiser from the planes' parameter names."""
    cast = (lambda n: f"const_cast<uint8_t*>({n})") if const else (lambda n: n)
    names = [cast(p.name) for p in planes] + (["nullptr"] if len(planes) == 2 else [])
    strides_ = [st.name for st in strides] + (["0"] if len(strides) == 2 else [])
    return f"ILMV_YCC_IMAGE{{{', '.join(names)}, {', '.join(strides_)}}}"

RGB_BPP = {"RGB565": 2, "BGR565": 2, "RGB888": 3, "BGR888": 3, "RGBA8888": 4, "BGRA8888": 4}


def slot_of(name):
    """Slots come from the slot list; the family needs only its names."""
    return SLOTS[name]


SLOTS = {}


def load_slots(path):
    for line in open(path):
        parts = line.split()
        if len(parts) == 2 and parts[0].isdigit():
            SLOTS[parts[1]] = int(parts[0])


import os  # noqa: E402

# Chroma geometry of each subsampling: (width divisor, height divisor).
SUB = {"444": (1, 1), "422": (2, 1), "420": (2, 2)}
load_slots(os.path.join(os.path.dirname(__file__), "..", "lumivaSlots.list"))


def img(name, w, h, stride, ch=1, direction="in", wdiv=1, hdiv=1, default=None, optional=False):
    return Image(name, U8, w, h, stride, ch, direction, optional, "", wdiv, hdiv, default)


def sizes(w="srcWidth", h="srcHeight"):
    return [Size(w, "width in pixels"), Size(h, "height in pixels")]


def stride_clause(stride, size, style="plain"):
    if style == "sized":
        return f"( {stride} == 0 || {stride} >= ({size}*sizeof(uint8_t)) )"
    return f"( {stride} == 0 || {stride} >= {size} )"


# Chroma geometry of each subsampling: (width divisor, height divisor).


def ycc_planes(prefix, sub, layout, direction):
    """The Y plane and the chroma plane(s) of a YCbCr image, with their strides."""
    wdiv, hdiv = SUB[sub]
    out = direction
    y = img(f"{prefix}Y", "srcWidth", "srcHeight", f"{prefix}YStride", direction=out)
    if layout == "Planar":
        half = "srcWidth / 2" if wdiv == 2 else None
        cb = img(f"{prefix}Cb", "srcWidth", "srcHeight", f"{prefix}CbStride", 1, out, wdiv, hdiv, half)
        cr = img(f"{prefix}Cr", "srcWidth", "srcHeight", f"{prefix}CrStride", 1, out, wdiv, hdiv, half)
        planes = [y, cb, cr]
    else:
        # Interleaved pairs: width bytes per row for 4:2:2 and 4:2:0, twice that for 4:4:4.
        default = "srcWidth" if wdiv == 2 else "srcWidth * 2"
        planes = [y, img(f"{prefix}C", "srcWidth", "srcHeight", f"{prefix}CStride", 2, out, wdiv, hdiv, default)]
    return planes, [Stride(p.stride) for p in planes]


def chroma_size(sub, layout):
    wdiv, _ = SUB[sub]
    if layout == "Planar":
        return "srcWidth" if wdiv == 1 else "((srcWidth+1)/2)"
    return "srcWidth" if wdiv == 2 else "(srcWidth*2)"


def ycc_clauses(planes, sub, layout, style):
    sizes_ = ["srcWidth"] + [chroma_size(sub, layout)] * (len(planes) - 1)
    return [stride_clause(p.stride, s, style) for p, s in zip(planes, sizes_)]


def remote_row(images):
    return default_remote(images, "srcWidth", "srcHeight")


# ---- RGB to YCbCr (18) --------------------------------------------------------------
for fmt in ("RGB565", "RGB888", "RGBA8888"):
    bpp = RGB_BPP[fmt]
    for sub in ("420", "422", "444"):
        for layout in ("Planar", "PseudoPlanar"):
            name = f"lmvColor{fmt}ToYCbCr{sub}{layout}u8"
            src = img("src", "srcWidth", "srcHeight", "srcStride", bpp)
            planes, strides = ycc_planes("dst", sub, layout, "out")
            clauses = [stride_clause("srcStride", f"(srcWidth*{bpp})")] + ycc_clauses(planes, sub, layout, "plain")
            rule = " && ".join(["src"] + [p.name for p in planes] + ["srcWidth", "srcHeight"] + clauses)
            if name == "lmvColorRGB888ToYCbCr420PseudoPlanaru8":
                rule = ("src && dstY && dstC && srcWidth && srcHeight && ( srcStride == 0 || srcStride >= "
                        "(srcWidth*3)) && ( dstYStride == 0 || dstYStride >= srcWidth ) && ( dstCStride == 0 || "
                        "dstCStride >= srcWidth )")
            frame = (f"ilmvRgbToYccFrame({{rows}}, {FMT[fmt]}, {layout_of(sub, layout)}, src, srcWidth, srcHeight, "
                     f"srcStride, {image_of(planes, strides, False)})")
            doc = (f"{fmt} (blue in the low byte or field) to YCbCr {sub} {layout.lower()}, full range; chroma "
                   f"from the top-left pixel of each block.")
            ret = VOID
            if name == "lmvColorRGB888ToYCbCr420PseudoPlanaru8":
                # This member reports the rows it converted.
                ret, frame = "uint32_t", frame + "; return srcHeight"
                doc += (" Returns srcHeight. An odd width leaves the even rows unwritten (Y and chroma).")
            stops = [] if sub == "444" else [Stop("length > 1", "srcWidth is 1 (the chroma rows work on pixel pairs)")]
            op(slot_of(name), name, [src, *sizes(), Stride("srcStride"), *planes, *strides], ret=ret, doc=doc,
               stops=stops,
               rule=rule, remote=remote_row([src, *planes]), frame_header=ROWS_H,
               case_min_width=1 if sub == "444" else 2, frame=frame)

# ---- YCbCr to RGB (18) --------------------------------------------------------------
for sub in ("420", "422", "444"):
    for layout in ("Planar", "PseudoPlanar"):
        for fmt in ("RGB565", "RGB888", "RGBA8888"):
            name = f"lmvColorYCbCr{sub}{layout}To{fmt}u8"
            bpp = RGB_BPP[fmt]
            planes, strides = ycc_planes("src", sub, layout, "in")
            dst = img("dst", "srcWidth", "srcHeight", "dstStride", bpp, "out")
            clauses = ycc_clauses(planes, sub, layout, "sized")
            clauses.append(f"( dstStride == 0 || dstStride >= (srcWidth*{bpp}*sizeof(uint8_t)))")
            pairs = [] if sub == "444" else ["srcWidth > 1"]
            rule = " && ".join([p.name for p in planes] + ["dst", "srcWidth", "srcHeight"] + clauses + pairs)
            op(slot_of(name), name, [*planes, *sizes(), *strides, dst, Stride("dstStride")],
               doc=f"YCbCr {sub} {layout.lower()} to {fmt} (red in the low byte or field), full range; "
                   f"each chroma sample serves its whole block.",
               rule=rule, remote=remote_row([*planes, dst]), frame_header=ROWS_H,
               case_min_width=1 if sub == "444" else 2,
               frame=f"ilmvYccToRgbFrame({{rows}}, {FMT[fmt]}, {layout_of(sub, layout)}, "
                     f"{image_of(planes, strides, True)}, srcWidth, srcHeight, dst, dstStride)")

# ---- YCbCr layout to layout (30) ----------------------------------------------------
LAYOUTS = [(s, l) for s in ("420", "422", "444") for l in ("Planar", "PseudoPlanar")]
for ss, sl in LAYOUTS:
    for ds, dl in LAYOUTS:
        name = f"lmvColorYCbCr{ss}{sl}ToYCbCr{ds}{dl}u8"
        if name not in SLOTS:
            continue
        sp, sst = ycc_planes("src", ss, sl, "in")
        dp, dst_ = ycc_planes("dst", ds, dl, "out")
        clauses = ycc_clauses(sp, ss, sl, "plain") + ycc_clauses(dp, ds, dl, "plain")
        rule = " && ".join([p.name for p in sp + dp] + ["srcWidth", "srcHeight"] + clauses)
        op(slot_of(name), name, [*sp, *sizes(), *sst, *dp, *dst_],
           doc=f"YCbCr {ss} {sl.lower()} to {ds} {dl.lower()}: chroma decimated, repeated or (de)interleaved; "
               f"Y copied unless the destination Y is the source Y.",
           rule=rule, remote=remote_row(sp + dp), frame_header=ROWS_H,
           frame=f"ilmvYccLayoutFrame({{rows}}, {layout_of(ss, sl)}, {layout_of(ds, dl)}, "
                 f"{image_of(sp, sst, True)}, srcWidth, srcHeight, {image_of(dp, dst_, False)})")

# ---- RGB to RGB (15) -----------------------------------------------------------------
for src_fmt in ("RGB565", "RGB888", "RGBA8888"):
    for dst_fmt in ("BGR565", "BGR888", "BGRA8888", "RGB565", "RGB888", "RGBA8888"):
        name = f"lmvColor{src_fmt}To{dst_fmt}u8"
        if name not in SLOTS:
            continue
        sb, db = RGB_BPP[src_fmt], RGB_BPP[dst_fmt]
        src = img("src", "srcWidth", "srcHeight", "srcStride", sb)
        dst = img("dst", "srcWidth", "srcHeight", "dstStride", db, "out")
        rule = (f"src && dst && srcWidth && srcHeight && ( srcStride == 0 || srcStride >= srcWidth*{sb} ) && "
                f"( dstStride == 0 || dstStride >= srcWidth*{db} )")
        op(slot_of(name), name, [src, *sizes(), Stride("srcStride"), dst, Stride("dstStride")],
           doc=f"{src_fmt} to {dst_fmt}: fields widened by shifting or narrowed by truncation; BGR forms exchange "
               f"the first and third fields; alpha 255 where created.",
           rule=rule, remote=remote_row([src, dst]), frame_header=ROWS_H,
           frame=f"ilmvRgbToRgbFrame({{rows}}, {FMT[src_fmt]}, {FMT[dst_fmt]}, "
                 f"{'true' if dst_fmt.startswith('BGR') else 'false'}, src, srcWidth, srcHeight, srcStride, dst, "
                 f"dstStride)")


def packed(name, src_bpp, dst_bpp, rule, doc, row, **kw):
    src = img("src", "srcWidth", "srcHeight", "srcStride", src_bpp)
    dst = img("dst", "srcWidth", "srcHeight", "dstStride", dst_bpp, "out")
    return op(slot_of(name), name, [src, *sizes(), Stride("srcStride"), dst, Stride("dstStride")],
              doc=doc, rule=rule, remote=remote_row([src, dst]), frame_header=ROWS_H,
              frame=f"ilmvPixelFrame({{rows}}.{row}, {src_bpp}, {dst_bpp}, src, srcWidth, srcHeight, srcStride, dst, "
                    f"dstStride)", **kw)


# ---- Single conversions ------------------------------------------------------------
packed("lmvColorRGB888ToGrayu8", 3, 1,
       "src && srcWidth && srcHeight && (srcStride ==0 || srcStride >= srcWidth*3) && dst && "
       "(dstStride ==0 || dstStride >= srcWidth)",
       "Y = (19595*R + 38469*G + 7471*B + 32768) >> 16, red in byte 0.", "grey", gpu_engine="lmvGpuColorRGB888ToGrayu8")
packed("lmvColorRGB888ToHSV888u8", 3, 3,
       "src && dst && srcWidth && srcHeight && ( srcStride == 0 || srcStride >= srcWidth*3 ) && "
       "( dstStride == 0 || dstStride >= srcWidth*3 )",
       "RGB (red in byte 0) to H, S, V bytes; H covers the circle in 0..255.", "hsv")
packed("lmvColorRGBA8888ToLABu8", 4, 4,
       "src && dst && srcWidth && srcHeight && ( srcStride == 0 || srcStride >= srcWidth*4 ) && "
       "( dstStride == 0 || dstStride >= srcWidth*4 )",
       "RGBA (red in byte 2) to CIE L, a, b bytes and a zero byte.", "lab")
packed("lmvColorCbCrSwapu8", 2, 2, "src && dst && (srcStride >= srcWidth*2) && (dstStride >= srcWidth*2)",
       "Exchanges the two bytes of each interleaved chroma pair; srcWidth counts pairs.", "swapPairs")

# Slot 75 has a strided form (_v2) and an older one without strides.
ycrcb_src = img("src", "srcWidth", "srcHeight", "srcStride", 3)
ycrcb_dst = img("dst", "srcWidth", "srcHeight", "dstStride", 3, "out")
ycrcb_doc = "RGB (red in byte 0) to interleaved Y, Cr, Cb with 15 fractional bits."
op(75, "lmvColorRGB888toYCrCbu8",
   [ycrcb_src, *sizes(), Stride("srcStride"), ycrcb_dst, Stride("dstStride")], entry=False, doc=ycrcb_doc,
   remote=remote_row([ycrcb_src, ycrcb_dst]), gpu=Gpu(16, ["src", "dst"], "srcWidth % 8 == 0"), frame_header=ROWS_H,
   gpu_engine="lmvGpuColorRGB888toYCrCbu8",
   frame="ilmvPixelFrame({rows}.yCrCb, 3, 3, src, srcWidth, srcHeight, srcStride, dst, dstStride)",
   entries=[Entry("lmvColorRGB888toYCrCbu8",
                  [img("src", "width", "height", "width * 3", 3), *sizes("width", "height"),
                   img("dst", "width", "height", "width * 3", 3, "out")],
                  "src && dst && width && height", ["src", "width", "height", "width * 3", "dst", "width * 3"]),
            Entry("lmvColorRGB888toYCrCbu8_v2",
                  [ycrcb_src, *sizes(), Stride("srcStride"), ycrcb_dst, Stride("dstStride")],
                  "src && dst && srcWidth && srcHeight && (srcStride >= srcWidth * 3) && (dstStride >= srcWidth * 3)",
                  ["src", "srcWidth", "srcHeight", "srcStride", "dst", "dstStride"])])

op(slot_of("lmvColorYCrCb420PseudoPlanarToRGB8888u8"), "lmvColorYCrCb420PseudoPlanarToRGB8888u8",
   [img("src", "srcWidth", "srcHeight", "srcYStride"), *sizes(), Stride("srcYStride"), Stride("srcCStride"),
    img("dst", "srcWidth", "srcHeight", "dstStride", 4, "out"), Stride("dstStride")],
   doc="Video-range YCrCb 4:2:0 (chroma plane at src + srcYStride*srcHeight, Cr first) to R, G, B, 255.",
   rule="src && dst && srcWidth && srcHeight && srcYStride && srcCStride && dstStride", cases=False,
   frame_header=ROWS_H, gpu=Gpu(16, ["src", "dst"], "srcWidth % 8 == 0"),
   gpu_engine="lmvGpuColorYCrCb420PseudoPlanarToRGB8888u8",
   frame="ilmvYCrCb420ToRgbaFrame({rows}, src, srcWidth, srcHeight, srcYStride, srcCStride, dst, dstStride)")


def blob_op(name, src_name, rule, doc, slot=None, **kw):
    params = [Image(src_name, U8, "width", "height", "width"), *sizes("width", "height"),
              Image("dst", U8, "width", "height", "width", 3, "out")]
    return op(slot if slot is not None else slot_of(name), name, params, doc=doc, rule=rule, cases=False, **kw)


for blocks, src_name in (("H1V1", "src"), ("H2V1", "src"), ("H1V2", "ysrc"), ("H2V2", "y_src")):
    blob_op(f"lmvColorYCrCb{blocks}toRGB888u8", src_name, f"{src_name} && dst && width && height",
            f"8x8 decoded blocks ({blocks} sampling: Y blocks, then Cb and Cr) to RGB888, red in byte 0.",
            frame_header=ROWS_H, gpu=Gpu(16, [src_name, "dst"], "width % 8 == 0"),
            gpu_engine=f"lmvGpuColorYCrCb{blocks}toRGB888u8",
            frame=f"ilmvBlocksFrame({{rows}}, {src_name}, width, height, {blocks[1]}, {blocks[3]}, dst)")

yuv565 = [Image("src", U8, "width", "height", "width"), *sizes("width", "height"),
          Image("dst", U16, "width", "height", "width * 2", 1, "out")]
op(slot_of("lmvColorYUV420toRGB565u8"), "lmvColorYUV420toRGB565u8", yuv565,
   doc="Video-range YUV 4:2:0 (Y plane, then interleaved chroma, Cb first, no strides) to RGB565 "
       "(red in bits 0-4).",
   rule="src && dst && width && height", cases=False, frame_header=ROWS_H,
   gpu=Gpu(16, ["src", "dst"], "width % 8 == 0"), gpu_engine="lmvGpuColorYUV420toRGB565u8",
   frame="ilmvYuv420Frame({rows}, src, width, height, ilmv::kRgb565, false, reinterpret_cast<uint8_t*>(dst))")
op(0, "lmvColorRGB888ToRGB565Rotate180u8",
   [img("src", "srcWidth", "srcHeight", "srcStride", 3), *sizes(), Stride("srcStride"),
    Image("dst", U16, "srcWidth", "srcHeight", "dstStride", 1, "out"), Stride("dstStride")],
   internal=True, doc="RGB888 to RGB565 (fields in byte order), the image turned by 180 degrees.",
   frame_header=ROWS_H,
   frame="ilmvRgb888To565Rotate180Frame({rows}, src, srcWidth, srcHeight, srcStride, dst, dstStride)")
op(1, "lmvColorYUV420toRGB565u8Rotate180", yuv565, internal=True, cases=False, frame_header=ROWS_H,
   frame="ilmvYuv420Frame({rows}, src, width, height, ilmv::kRgb565, true, reinterpret_cast<uint8_t*>(dst))",
   doc="As lmvColorYUV420toRGB565u8, the image turned by 180 degrees.")
op(SLOTS["lmvColorYUV420toRGB565u8"], "lmvColorYUV420toRGB8888u8",
   [Image("src", U8, "width", "height", "width"), *sizes("width", "height"),
    Image("dst", U8, "width", "height", "width * 4", 4, "out")],
   doc="Video-range YUV 4:2:0 (as lmvColorYUV420toRGB565u8) to R, G, B, 255.",
   rule="src && dst && width && height", cases=False, follows_slot=SLOTS["lmvColorYUV420toRGB565u8"],
   frame_header=ROWS_H, frame="ilmvYuv420Frame({rows}, src, width, height, ilmv::kRgba8888, false, dst)")

# ---- Channels ------------------------------------------------------------------------
NUMBERED = "((srcChannel >= LUMIVA_CHANNEL_0)&&(srcChannel <= LUMIVA_CHANNEL_2))"
YUV_CH = ("(((srcChannel >= LUMIVA_CHANNEL_0) && (srcChannel <= LUMIVA_CHANNEL_2)) || "
          "((srcChannel >= LUMIVA_CHANNEL_Y) && (srcChannel <= LUMIVA_CHANNEL_V)))")
op(slot_of("lmvChannelExtractu8"), "lmvChannelExtractu8",
   [Image("src1", U8, "srcWidth", "srcHeight", "src1Stride", default_stride="ilmvExtractRowBytes(srcFormat, srcWidth)"),
    Image("src2", U8, "srcWidth", "srcHeight", "src2Stride", optional=True,
          default_stride="(srcFormat == 6 ? srcWidth / 2 : srcWidth)"),
    Image("src3", U8, "srcWidth", "srcHeight", "src3Stride", optional=True,
          default_stride="(srcFormat == 6 ? srcWidth / 2 : srcWidth)"), *sizes(), Stride("src1Stride"), Stride("src2Stride"),
    Stride("src3Stride"), Scalar("srcFormat", "int32_t", [], "LUMIVA_FORMAT_ source format"),
    Scalar("srcChannel", "int32_t", [], "LUMIVA_CHANNEL_ channel to extract"),
    Image("dst", U8, "srcWidth", "srcHeight", "dstStride", 1, "out"), Stride("dstStride")],
   doc="Copies one channel of an RGB, RGBA, NV12, NV21, UYVY, YUYV, IYUV or YUV4 image into a plane.",
   rule_by="srcFormat", aliases={"srcStride": "src1Stride"}, cases=False, frame_header=ROWS_H,
   frame="ilmvExtractFrame({rows}, src1, src2, src3, srcWidth, srcHeight, src1Stride, src2Stride, src3Stride, "
         "srcFormat, srcChannel, dst, dstStride)",
   rules={
       0: "(srcStride >= srcWidth*3) && (dstStride >= srcWidth) && (" + NUMBERED +
          " || ((srcChannel >= LUMIVA_CHANNEL_R)&&(srcChannel <= LUMIVA_CHANNEL_B)))",
       1: "(srcStride >= srcWidth*4) && (dstStride >= srcWidth) && (srcChannel >= LUMIVA_CHANNEL_0) && "
          "(srcChannel <= LUMIVA_CHANNEL_A)",
       2: "src2 && (src2Stride >= srcWidth ) && (src1Stride >= srcWidth ) && !(srcHeight & 0x1) && "
          "!(srcWidth & 0x1) && " + YUV_CH,
       3: "src2 && (src2Stride >= srcWidth ) && (src1Stride >= srcWidth ) && !(srcHeight & 0x1) && "
          "!(srcWidth & 0x1) && " + YUV_CH,
       4: "(srcStride >= srcWidth*2) && !(srcWidth & 0x1) && " + YUV_CH,
       5: "(srcStride >= srcWidth*2) && !(srcWidth & 0x1) && " + YUV_CH,
       6: "src2 && (src1Stride>=srcWidth) && (src2Stride*2>=srcWidth) && src3 && (src3Stride*2>=srcWidth) && "
          "!(srcHeight & 0x1) && !(srcWidth & 0x1) && " + YUV_CH,
       7: "src1 && src2 && (src1Stride>=srcWidth) && (src2Stride>=srcWidth) && src3 && (src3Stride>=srcWidth) && "
          "!(srcHeight & 0x1) && !(srcWidth & 0x1) && " + YUV_CH,
   })


def planes_op(name, n, doc):
    srcs = [img(f"src{k + 1}", "srcWidth", "srcHeight", f"src{k + 1}Stride") for k in range(n)]
    dst = img("dst", "srcWidth", "srcHeight", "dstStride", n, "out")
    rule = " && ".join([s.name for s in srcs] + ["dst", "srcWidth", "srcHeight"] +
                       [f"(src{k + 1}Stride >= srcWidth)" for k in range(n)] + [f"(dstStride >= srcWidth*{n})"])
    planes = ", ".join(s.name for s in srcs)
    strides = ", ".join(s.stride for s in srcs)
    op(slot_of(name), name, [*srcs, *sizes(), *[Stride(s.stride) for s in srcs], dst, Stride("dstStride")],
       doc=doc, rule=rule, remote=remote_row([*srcs, dst]), frame_header=ROWS_H,
       frame=f"const uint8_t* planes[] = {{{planes}}}; const uint32_t strides[] = {{{strides}}}; "
             f"ilmvInterleaveFrame({{rows}}, planes, strides, {n}, srcWidth, srcHeight, dst, dstStride)")


planes_op("lmvChannelCombine2Planesu8", 2, "Interleaves two planes into pixels of two channels.")
planes_op("lmvChannelCombine3Planesu8", 3, "Interleaves three planes into pixels of three channels.")
planes_op("lmvChannelCombine4Planesu8", 4, "Interleaves four planes into pixels of four channels.")
planes_op("lmvInterleaveu8", 2, "Interleaves a Cb and a Cr plane into pairs, Cb first.")
deint_src = img("src", "srcWidth", "srcHeight", "srcStride", 2)
deint_dst = [img(f"dst{k}", "srcWidth", "srcHeight", f"dst{k}Stride", 1, "out") for k in (1, 2)]
op(slot_of("lmvDeinterleaveu8"), "lmvDeinterleaveu8",
   [deint_src, *sizes(), Stride("srcStride"), *deint_dst, Stride("dst1Stride"), Stride("dst2Stride")],
   doc="Splits interleaved pairs into two planes, the first byte of each pair into dst1.",
   rule="src && dst1 && dst2 && srcWidth && srcHeight && (srcStride >= srcWidth*2) && (dst1Stride >= srcWidth) "
        "&& (dst2Stride >= srcWidth)",
   remote=remote_row([deint_src, *deint_dst]), frame_header=ROWS_H,
   frame="uint8_t* planes[] = {dst1, dst2}; const uint32_t strides[] = {dst1Stride, dst2Stride}; "
         "ilmvDeinterleaveFrame({rows}, src, srcStride, 2, srcWidth, srcHeight, planes, strides)")
