"""Descriptor search: squared distances between unit vectors of 36 signed bytes, and the
KD-tree over them."""

from lmvdesc import *

family("KDTree")

KD_H = "cpu/lumivaKDTree.h"
SSD_DOC = ("dist = |2 - 2 * sa * sb * dot(a, b)|: the squared distance between the unit vectors a * sa and b * sb, "
           "with the dot product exact in integers.")
op(370, "lmvSumOfSquaredDiffs36xNs8",
   [Points("a", "int8_t", "36", "in", "36 signed components"), Scalar("invLengthA", "float32_t", []),
    Points("b", "int8_t* const", "numB", "in", "candidate descriptors"),
    Points("invLengthsB", "float32_t", "numB", "in"), Scalar("numB", "uint32_t", []),
    Points("distances", "float32_t", "numB", doc="one distance per candidate")],
   rule="a && b && invLengthsB && distances", cases=False, doc=SSD_DOC, frame_header=KD_H,
   frame="ilmvSquaredDiffs36(ilmvDot36{form}, a, invLengthA, b, invLengthsB, numB, distances)")
op(369, "lmvSumOfSquaredDiffs36x4s8",
   [Points("a", "int8_t", "36", "in", "36 signed components"), Scalar("invLengthA", "float32_t", []),
    Points("b0", "int8_t", "36", "in"), Points("b1", "int8_t", "36", "in"), Points("b2", "int8_t", "36", "in"),
    Points("b3", "int8_t", "36", "in"), Points("invLengthsB", "float32_t", "4", "in"),
    Points("distances", "float32_t", "4", doc="four distances")],
   rule="a && b0 && b1 && b2 && b3 && invLengthsB && distances", cases=False, doc=SSD_DOC, frame_header=KD_H,
   frame="const int8_t* const b[4] = {b0, b1, b2, b3}; "
         "ilmvSquaredDiffs36(ilmvDot36{form}, a, invLengthA, b, invLengthsB, 4, distances)")
op(300, "lmvKDTreeCreate36s8f32",
   [Points("vectors", "int8_t", "numVectors", "in", "numVectors x 36 signed bytes, kept alive by the caller"),
    Points("invLengths", "float32_t", "numVectors", "in"), Scalar("numVectors", "int32_t", []),
    ScalarOut("kdtrHandle", "lmvKDTree36s8f32*", "receives the tree")],
   ret="int32_t", rule="1", cases=False, frame_header=KD_H,
   frame="return ilmvKDTreeCreate(vectors, invLengths, numVectors, kdtrHandle)",
   doc="Builds a KD-tree over the descriptors. Returns 0; 1 or -1 when memory runs out.")
op(302, "lmvKDTreeQuery36s8f32",
   [Scalar("kdtrHandle", "lmvKDTree36s8f32*", []), Points("query", "int8_t", "36", "in"),
    Scalar("queryInvLength", "float32_t", []), Scalar("maxNNs", "int32_t", []),
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
op(301, "lmvKDTreeDestroy36s8f32", [Scalar("kdtrHandle", "lmvKDTree36s8f32*", [])],
   ret="int32_t", rule="1", cases=False, frame_header=KD_H, frame="return ilmvKDTreeDestroy(kdtrHandle)",
   doc="Frees the tree. Returns 0.")
