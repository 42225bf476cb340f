// Shared blocks on a Linux host: the "device" is /dev/null (held only so that the open and
// close pair balance as on a device), a block is a memfd of the rounded length, and CPU
// access needs no synchronisation.
#include "platform/lumivaSharedMem.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

int ion_open()
{
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

int ion_alloc_fd(int ionFd, size_t length, size_t, unsigned, unsigned, int* dmaFd)
{
    if (ionFd < 0 || !dmaFd) return -1;
    int fd = memfd_create("lumiva-shared", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd < 0) return -1;
    if (ftruncate(fd, static_cast<off_t>(length)) != 0) {
        close(fd);
        return -1;
    }
    *dmaFd = fd;
    return 0;
}

int ion_close(int ionFd)
{
    return close(ionFd);
}

int ilmvDmaBufSync(int, uint64_t)
{
    return 0;
}
