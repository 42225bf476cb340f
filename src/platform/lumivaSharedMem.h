// Memory shared with the DSP: the allocator device, blocks exported as descriptors, and
// the synchronisation of CPU access. On a device the blocks come from the DMA-BUF system
// heap; on any other Linux host from memfd blocks, whose descriptors another process can
// map, and synchronisation is a no-op (the CPU caches are coherent there).
#ifndef LUMIVA_SHARED_MEM_H
#define LUMIVA_SHARED_MEM_H

#include <cstddef>
#include <cstdint>

// DMA_BUF_IOCTL_SYNC and its flags: read|write with start (3) or end (7).
constexpr unsigned long ILMV_DMA_BUF_IOCTL_SYNC = 0x40086200ul;
constexpr uint64_t ILMV_DMA_BUF_SYNC_START = 3;
constexpr uint64_t ILMV_DMA_BUF_SYNC_END = 7;

// Opens the allocator device: a descriptor, or negative on failure.
int ion_open();
// Allocates `length` bytes as a shareable block; 0 and its descriptor in `dmaFd`, or
// non-zero. `heapMask` and `flags` are the device's values (0x19 and 1, cached).
int ion_alloc_fd(int ionFd, size_t length, size_t alignment, unsigned heapMask, unsigned flags, int* dmaFd);
// Closes the allocator device.
int ion_close(int ionFd);
// DMA_BUF_IOCTL_SYNC on a block's descriptor; 0 on success.
int ilmvDmaBufSync(int dmaFd, uint64_t flags);

#endif
