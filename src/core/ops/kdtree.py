"""Descriptor search: squared distances between unit vectors of 36 signed bytes, and the
KD-tree over them."""

from lmvdesc import *

family("KDTree")

KD_H = "cpu/lumivaKDTree.h"
SSD_DOC = ("dist = |2 - 2 * sa * sb * dot(a, b)|: the squared distance between the unit vectors a * sa and b * sb, "
           "with the dot product exact in integers.")
INV_A = Scalar("invLengthA", "float32_t", [], "reciprocal length of a")
op(370, "lmvSumOfSquaredDiffs36xNs8",
   [Points("a", "int8_t", "36", "in", "36 signed components"), INV_A,
    Points("b", "int8_t* const", "numB", "in", "pointers to the candidate descriptors, 36 signed bytes each"),
    Points("invLengthsB", "float32_t", "numB", "in", "reciprocal length of each candidate"),
    Scalar("numB", "uint32_t", [], "number of candidates"),
    Points("distances", "float32_t", "numB", doc="one distance per candidate")],
   rule="a && b && invLengthsB && distances", cases=False, doc=SSD_DOC, frame_header=KD_H,
   frame="ilmvSquaredDiffs36(ilmvDot36{form}, a, invLengthA, b, invLengthsB, numB, distances)")
op(369, "lmvSumOfSquaredDiffs36x4s8",
   [Points("a", "int8_t", "36", "in", "36 signed components"), INV_A,
    *[Points(f"b{k}", "int8_t", "36", "in", f"candidate {k}, 36 signed components") for k in range(4)],
    Points("invLengthsB", "float32_t", "4", "in", "reciprocal length of each candidate"),
    Points("distances", "float32_t", "4", doc="four distances")],
   rule="a && b0 && b1 && b2 && b3 && invLengthsB && distances", cases=False, doc=SSD_DOC, frame_header=KD_H,
   frame="const int8_t* const b[4] = {b0, b1, b2, b3}; "
         "ilmvSquaredDiffs36(ilmvDot36{form}, a, invLengthA, b, invLengthsB, 4, distances)")
TREE_INOUT = Handle("kdtrHandle", "lmvKDTree36s8f32*", "the tree; a query writes its search state into "
                    "it, so one tree serves one thread at a time", "inout")
op(300, "lmvKDTreeCreate36s8f32",
   [Points("vectors", "int8_t", "numVectors", "in", "numVectors x 36 signed bytes, kept alive by the caller while "
           "the tree lives", length="36 * numVectors"),
    Points("invLengths", "float32_t", "numVectors", "in", "reciprocal length of each descriptor, kept alive too"),
    Scalar("numVectors", "int32_t", [], "number of descriptors"),
    ScalarOut("kdtrHandle", "lmvKDTree36s8f32*", "receives the tree")],
   ret="int32_t", rule="1", cases=False, frame_header=KD_H,
   frame="return ilmvKDTreeCreate(vectors, invLengths, numVectors, kdtrHandle)",
   doc="Builds a KD-tree over the descriptors. Returns 0; 1 or -1 when memory runs out.",
   stops=[Stop("callStack.top < callStack.maxSize - 1", "the build's work stack fills up, which degenerate data "
               "does (for example 40 descriptors, each with one non-zero component)"),
          Stop("KDTrees36s8f32_tree->pool", "the node pool cannot be allocated"),
          Stop("newContents != __null", "a node's index list cannot be allocated")])
op(302, "lmvKDTreeQuery36s8f32",
   [TREE_INOUT, Points("query", "int8_t", "36", "in", "the query descriptor"),
    Scalar("queryInvLength", "float32_t", [], "reciprocal length of the query"),
    Scalar("maxNNs", "int32_t", [], "capacity of NNInds and NNDists"),
    Scalar("maxDistance", "float32_t", [], "strict bound on the distances returned"),
    Scalar("maxChecks", "int32_t", [], "budget of leaves to check once k neighbours are known"),
    Points("mask", "uint8_t", "1", "in", "accepted and not used"),
    ScalarOut("numNNsFound", "uint32_t", "receives the number of neighbours"),
    Points("NNInds", "uint32_t", "maxNNs", doc="indices of the neighbours, nearest first"),
    Points("NNDists", "float32_t", "maxNNs", doc="their distances")],
   ret="int32_t", rule="1", cases=False, frame_header=KD_H,
   frame="(void)mask; return ilmvKDTreeQuery(ilmvDot36{form}, kdtrHandle, query, queryInvLength, maxNNs, maxDistance, maxChecks, "
         "numNNsFound, NNInds, NNDists)",
   doc="Up to maxNNs nearest neighbours of the query closer than maxDistance, searching until maxChecks leaves "
       "were checked. Returns 0.")
op(301, "lmvKDTreeDestroy36s8f32", [Handle("kdtrHandle", "lmvKDTree36s8f32*", "the tree; freed", "inout")],
   ret="int32_t", rule="1", cases=False, frame_header=KD_H, frame="return ilmvKDTreeDestroy(kdtrHandle)",
   doc="Frees the tree. Returns 0.")
