// The KD-tree over 36-byte descriptors and the distance it searches by.
#ifndef LUMIVA_KDTREE_ENGINE_H
#define LUMIVA_KDTREE_ENGINE_H

#include "lumiva/lumivaTypes.h"

// The exact integer dot product of two 36-byte descriptors.
using ilmvDot36Fn = int32_t (*)(const int8_t* a, const int8_t* b);
int32_t ilmvDot36C(const int8_t* a, const int8_t* b);
int32_t ilmvDot36V(const int8_t* a, const int8_t* b);

// |2 - 2 * sa * sb * dot| per candidate.
void ilmvSquaredDiffs36(ilmvDot36Fn dot, const int8_t* a, float32_t invLengthA, const int8_t* const* b,
                        const float32_t* invLengthsB, uint32_t numB, float32_t* distances);

int32_t ilmvKDTreeCreate(const int8_t* vectors, const float32_t* invLengths, int32_t numVectors,
                         lmvKDTree36s8f32** handle);
int32_t ilmvKDTreeQuery(ilmvDot36Fn dot, lmvKDTree36s8f32* handle, const int8_t* query, float32_t queryInvLength,
                        int32_t maxNNs, float32_t maxDistance, int32_t maxChecks, uint32_t* numNNsFound,
                        uint32_t* NNInds, float32_t* NNDists);
int32_t ilmvKDTreeDestroy(lmvKDTree36s8f32* handle);

#endif
