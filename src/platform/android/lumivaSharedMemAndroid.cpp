// Shared blocks on a device: newer kernels replace ION by the DMA-BUF heaps, and the
// system heap gives the cached, physically scattered blocks the DSP's transport maps.
// The "ION device" is the heap's device node; the heap mask and flags keep their ION
// values in the interface and select nothing here.
#include "platform/lumivaSharedMem.h"

#include <fcntl.h>
#include <linux/dma-buf.h>
#include <linux/dma-heap.h>
#include <sys/ioctl.h>
#include <unistd.h>

int ion_open()
{
    return open("/dev/dma_heap/system", O_RDONLY | O_CLOEXEC);
}

int ion_alloc_fd(int ionFd, size_t length, size_t, unsigned, unsigned, int* dmaFd)
{
    dma_heap_allocation_data request = {};
    request.len = length;
    request.fd_flags = O_RDWR | O_CLOEXEC;
    if (ionFd < 0 || !dmaFd || ioctl(ionFd, DMA_HEAP_IOCTL_ALLOC, &request) != 0) return -1;
    *dmaFd = static_cast<int>(request.fd);
    return 0;
}

int ion_close(int ionFd)
{
    return close(ionFd);
}

int ilmvDmaBufSync(int dmaFd, uint64_t flags)
{
    dma_buf_sync sync = {flags};
    return ioctl(dmaFd, ILMV_DMA_BUF_IOCTL_SYNC, &sync);
}
