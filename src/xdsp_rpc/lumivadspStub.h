/* The interface of the DSP client stub library, liblumivadsp_stub.so: what the library
 * resolves from it and what any stub (the vendor's on a device, the project's host stub
 * elsewhere) must provide. Every remote call takes the 64-bit handle of an open domain first
 * and returns the transport status: 0 delivered, 104 the DSP subsystem restarted, anything
 * else a failure. The per-operation functions are in the generated lumivadspOps.h. */
#ifndef LUMIVADSP_STUB_H
#define LUMIVADSP_STUB_H

#include <stddef.h>
#include <stdint.h>

#define LUMIVADSP_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

struct lmvX5AttributeWire {
    int32_t id;
    int32_t value;
};

/* One pyramid level as the remote pyramid calls receive it: the level's buffer, its bytes,
 * its size, and a spare word. The remote side writes the buffer and the size. */
typedef struct {
    void* data;
    uint32_t byteLength;
    uint32_t width;
    uint32_t height;
    uint32_t spare;
} lmvX5LevelRecord;

/* The pyramid calls: the base (baseLength elements), its size, the number of levels with the
 * base, the records of levels 1 and up, and the result. */
LUMIVADSP_EXPORT int lumivadsp_lmvPyramidCreatef32X(uint64_t handle, const float* base, uint32_t baseLength,
                                                    uint32_t width, uint32_t height, uint32_t numLevels,
                                                    lmvX5LevelRecord* records, uint32_t recordCount, int32_t* result);
LUMIVADSP_EXPORT int lumivadsp_lmvPyramidCreateu8X(uint64_t handle, const uint8_t* base, uint32_t baseLength,
                                                   uint32_t width, uint32_t height, uint32_t numLevels,
                                                   lmvX5LevelRecord* records, uint32_t recordCount, int32_t* result);

LUMIVADSP_EXPORT int lumivadsp_open(const char* uri, uint64_t* handle);
LUMIVADSP_EXPORT int lumivadsp_close(uint64_t handle);
LUMIVADSP_EXPORT int lumivadsp_initX5_with_attributes(uint64_t handle, const struct lmvX5AttributeWire* attributes,
                                                      int count);
LUMIVADSP_EXPORT int lumivadsp_deinitX5(uint64_t handle);
LUMIVADSP_EXPORT int lumivadsp_lmvGetVersionX(uint64_t handle, char* buffer, int length);
LUMIVADSP_EXPORT int lumivadsp_lmvX5GetClk(uint64_t handle, uint64_t* value);
LUMIVADSP_EXPORT int lumivadsp_probeX5TimeX(uint64_t handle, int64_t* microseconds);
LUMIVADSP_EXPORT int lumivadsp_cache_flush_invalidateX(uint64_t handle, const uint8_t* in, int inLength,
                                                       uint8_t* out, int outLength);
LUMIVADSP_EXPORT int lumivadsp_lmvUpdateDSPMsgFlagX(uint64_t handle, int flag, int* status);
LUMIVADSP_EXPORT int lumivadsp_registerbuf(uint32_t a, uint32_t b, uint32_t c);
LUMIVADSP_EXPORT int lumivadsp_lmvInvalidateOutputBufferX(uint64_t handle, void* b1, uint32_t l1);
LUMIVADSP_EXPORT int lumivadsp_lmvInvalidateOutputBuffer2X(uint64_t handle, void* b1, uint32_t l1, void* b2,
                                                           uint32_t l2);

#ifdef __cplusplus
}
#endif

#endif
