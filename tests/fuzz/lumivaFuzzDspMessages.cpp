// The DSP simulator's message decoder under a fuzzer: the input is what a client sends on
// its socket, any number of messages; every one must be answered or refused without a read
// or write outside what the message carried. Control commands are refused here (a fault
// command would end or stall the process on purpose).
#include "lumivaDspSim.h"
#include "lumivaFuzz.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

void drain(int fd)
{
    char sink[4096];
    while (recv(fd, sink, sizeof sink, MSG_DONTWAIT) > 0) {
    }
}

}  // namespace

LUMIVA_FUZZ_TARGET(dspMessages)
{
    static const bool ready = (ilmvSimInit("cdsp", false), true);
    (void)ready;
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) return 0;
    // The whole input first, then the end of the stream: the decoder sees a client that
    // sent these bytes and hung up.
    for (size_t sent = 0; sent < size;) {
        ssize_t n = send(pair[0], data + sent, size - sent, MSG_NOSIGNAL);
        if (n <= 0) break;
        sent += static_cast<size_t>(n);
    }
    shutdown(pair[0], SHUT_WR);
    ILMV_SIM_CLIENT* client = ilmvSimClient(pair[1]);
    while (ilmvSimServeOne(client)) drain(pair[0]);
    ilmvSimRelease(client);
    close(pair[0]);
    close(pair[1]);
    return 0;
}
