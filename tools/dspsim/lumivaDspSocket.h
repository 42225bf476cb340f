// Whole-message socket I/O shared by the host transport and the DSP simulator: sends that go
// out as one message where the socket takes it (so the peer wakes once) and receives that
// wait for every byte, each optionally carrying one descriptor.
#ifndef LUMIVA_DSP_SOCKET_H
#define LUMIVA_DSP_SOCKET_H

#include <errno.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cstring>
#include <vector>

// Sends every part, `passFd` (when not -1) with the first bytes; false when the peer is gone.
inline bool ilmvWireSend(int fd, std::vector<iovec> parts, int passFd = -1)
{
    size_t next = 0;
    while (next < parts.size() && parts[next].iov_len == 0) ++next;
    while (next < parts.size()) {
        msghdr m = {};
        m.msg_iov = &parts[next];
        m.msg_iovlen = std::min<size_t>(parts.size() - next, 64);
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        if (passFd >= 0) {
            m.msg_control = control;
            m.msg_controllen = sizeof control;
            cmsghdr* c = CMSG_FIRSTHDR(&m);
            c->cmsg_level = SOL_SOCKET;
            c->cmsg_type = SCM_RIGHTS;
            c->cmsg_len = CMSG_LEN(sizeof(int));
            std::memcpy(CMSG_DATA(c), &passFd, sizeof passFd);
        }
        ssize_t n = sendmsg(fd, &m, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        passFd = -1;
        for (size_t sent = static_cast<size_t>(n); sent && next < parts.size();) {
            const size_t take = std::min(sent, parts[next].iov_len);
            parts[next].iov_base = static_cast<char*>(parts[next].iov_base) + take;
            parts[next].iov_len -= take;
            sent -= take;
            if (parts[next].iov_len == 0) ++next;
        }
        while (next < parts.size() && parts[next].iov_len == 0) ++next;
    }
    return true;
}

// Receives exactly `size` bytes; a descriptor that comes with the first of them lands in
// `passedFd` when one is asked for. False when the stream ends or breaks first.
inline bool ilmvWireReceive(int fd, void* data, size_t size, int* passedFd = nullptr)
{
    char* p = static_cast<char*>(data);
    while (size) {
        iovec io = {p, size};
        msghdr m = {};
        m.msg_iov = &io;
        m.msg_iovlen = 1;
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
        if (passedFd) {
            m.msg_control = control;
            m.msg_controllen = sizeof control;
        }
        ssize_t n = recvmsg(fd, &m, MSG_CMSG_CLOEXEC);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        if (passedFd) {
            for (cmsghdr* c = CMSG_FIRSTHDR(&m); c; c = CMSG_NXTHDR(&m, c))
                if (c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_RIGHTS && c->cmsg_len == CMSG_LEN(sizeof(int)))
                    std::memcpy(passedFd, CMSG_DATA(c), sizeof(int));
            passedFd = nullptr;  // a descriptor comes with the first bytes only
        }
        p += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

#endif
