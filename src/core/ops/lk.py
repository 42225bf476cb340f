"""Pyramidal Lucas-Kanade tracking of sparse features."""

from lmvdesc import *

family("Track")

LK_H = "cpu/lumivaLK.h"
RULE = ("src1 && src2 && src1Pyr && src2Pyr && featureXY && featureXY_out && featureStatus && (windowWidth & 0x1) && "
        "(windowHeight & 0x1)")


def common(pyr_type, rows="width"):
    return [Points("src1", "uint8_t", "height", "in", "first frame", length=f"{rows} * height"),
            Points("src2", "uint8_t", "height", "in", "second frame", length=f"{rows} * height"),
            Scalar("width", "uint32_t", [], "frame width in pixels"),
            Scalar("height", "uint32_t", [], "frame height in pixels")]


def features(estimate=False):
    out = [Points("featureXY", "float32_t", "featureLen", "in", "feature positions in the first frame, x then y",
                  length="2 * featureLen")]
    if estimate:
        out.append(Points("featureXY_estimate", "float32_t", "featureLen", "in", "initial guesses in the second",
                          length="2 * featureLen"))
    out += [Points("featureXY_out", "float32_t", "featureLen", doc="tracked positions in the second frame",
                   length="2 * featureLen"),
            Points("featureStatus", "int32_t", "featureLen", doc="1 tracked, -2 textureless, -4 left the image"),
            Scalar("featureLen", "int32_t", [], "number of features; the position arrays hold two floats each"), Scalar("windowWidth", "int32_t", [], "odd, at least 5"),
            Scalar("windowHeight", "int32_t", [], "odd, at least 5")]
    return out


ITERATIONS = Scalar("maxIterations", "int32_t", [], "iterations per level at most")
LEVELS = Scalar("nPyramidLevels", "int32_t", [], "levels of each pyramid used, the base included")
STRIDE = Scalar("stride", "uint32_t", [], "bytes between row starts of both frames")
PYR1 = Points("src1Pyr", "lmvPyramidLevel", "nPyramidLevels", "in", "pyramid of the first frame")
PYR2 = Points("src2Pyr", "lmvPyramidLevel", "nPyramidLevels", "in", "pyramid of the second frame")
PYR1v2 = Points("src1Pyr", "lmvPyramidLevel_v2", "nPyramidLevels", "in", "pyramid of the first frame")
PYR2v2 = Points("src2Pyr", "lmvPyramidLevel_v2", "nPyramidLevels", "in", "pyramid of the second frame")
DOC = ("Tracks each feature from the first frame into the second, coarse to fine over the pyramids, by iterative "
       "least-squares alignment of its window.")

for slot, name in ((378, "lmvTrackLKOpticalFlowu8"), (377, "lmvTrackLKOpticalFlowf32")):
    op(slot, name,
       [*common(None), PYR1, PYR2,
        Points("dx1Pyr", "lmvPyramidLevel", "nPyramidLevels", "in", "gradient pyramid, accepted and not used"),
        Points("dy1Pyr", "lmvPyramidLevel", "nPyramidLevels", "in", "gradient pyramid, accepted and not used"),
        *features(), ITERATIONS, LEVELS,
        Scalar("maxResidue", "float32_t", [], "not used"), Scalar("minDisplacement", "float32_t", [], "not used"),
        Scalar("minEigenvalue", "float32_t", [], "not used"), Scalar("lightingNormalized", "int32_t", [], "not used")],
       rule=RULE, cases=False, doc=DOC, frame_header=LK_H,
       frame="(void)dx1Pyr; (void)dy1Pyr; (void)maxResidue; (void)minDisplacement; (void)minEigenvalue; "
             "(void)lightingNormalized; ilmvTrackLK(ilmvLKKernels{form}(), src1, src2, width, height, 0, src1Pyr, src2Pyr, featureXY, "
             "featureXY_out, featureStatus, featureLen, windowWidth, windowHeight, maxIterations, nPyramidLevels)")
op(379, "lmvTrackLKOpticalFlowu8_v2",
   [*common(None, "stride"), STRIDE, PYR1v2, PYR2v2, *features(), ITERATIONS, LEVELS],
   rule=RULE, cases=False, doc=DOC, frame_header=LK_H,
   frame="ilmvTrackLK_v2(ilmvLKKernels{form}(), src1, src2, width, height, stride, src1Pyr, src2Pyr, featureXY, nullptr, featureXY_out, "
         "featureStatus, featureLen, windowWidth, windowHeight, nPyramidLevels, 0, maxIterations, 0.0f, 0, false)")
op(503, "lmvTrackLKOpticalFlowu8_v3",
   [*common(None, "stride"), STRIDE, PYR1v2, PYR2v2, *features(True), LEVELS,
    Scalar("termCriteria", "int32_t", [], "0 iterations only, 1 epsilon only, otherwise both"),
    ITERATIONS, Scalar("maxEpsilon", "float32_t", [], "bound on a step's squared length"),
    Scalar("useInitialEstimate", "int32_t", [], "start from featureXY_estimate")],
   rule="1", cases=False, doc=DOC + " Preconditions that fail leave the outputs as they were.",
   frame_header=LK_H,
   frame="ilmvTrackLK_v2(ilmvLKKernels{form}(), src1, src2, width, height, stride, src1Pyr, src2Pyr, featureXY, featureXY_estimate, "
         "featureXY_out, featureStatus, featureLen, windowWidth, windowHeight, nPyramidLevels, termCriteria, "
         "maxIterations, maxEpsilon, useInitialEstimate, true)")
