// lumiva-dspd: the DSP simulator of one domain. It serves the host transport's connections
// on a Unix-domain socket (lumivaDspSimServer.cpp does the decoding and the work) and exits
// once its last client has gone (after LUMIVA_DSPD_LINGER_MS, 200 by default). Faults for
// tests come from control commands or from LUMIVA_DSPD_FAULTS (commands separated by ';').
#include "lumivaDspSim.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

// ---- Server -----------------------------------------------------------------------------

int listenOn(const std::string& path)
{
    // One simulator per domain: the lock decides, and a second one leaves quietly.
    const std::string lockPath = path + ".lock";
    int lock = open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lock < 0 || flock(lock, LOCK_EX | LOCK_NB) != 0) return -1;
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (fd < 0 || path.size() >= sizeof address.sun_path) return -1;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    unlink(path.c_str());
    const mode_t old = umask(0177);
    const bool bound = bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    umask(old);
    if (!bound || listen(fd, 64) != 0) return -1;
    return fd;  // the lock stays held (its descriptor stays open) for the process's life
}

struct Connection {
    int fd;
    ILMV_SIM_CLIENT* state;
};

void acceptClient(int listener, std::vector<Connection>& clients)
{
    int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) return;
    // A client that stops in the middle of a message is dropped rather than waited for.
    timeval timeout = {5, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    clients.push_back({fd, ilmvSimClient(fd)});
}

int serve(int listener, long lingerMs)
{
    std::vector<Connection> clients;
    for (;;) {
        std::vector<pollfd> fds = {{listener, POLLIN, 0}};
        for (const Connection& c : clients) fds.push_back({c.fd, POLLIN, 0});
        // Right after an answer the next call often follows within microseconds: look again
        // for a moment before sleeping.
        int ready = 0;
        for (int spin = 0; spin < 2000 && ready == 0 && !clients.empty(); ++spin) ready = poll(fds.data(), fds.size(), 0);
        if (ready == 0) ready = poll(fds.data(), fds.size(), clients.empty() ? static_cast<int>(lingerMs) : -1);
        if (ready == 0 && clients.empty()) return 0;  // the last client has gone
        if (ready < 0) continue;
        if (fds[0].revents & POLLIN) acceptClient(listener, clients);
        for (size_t i = fds.size() - 1; i >= 1; --i) {
            if (!fds[i].revents) continue;
            Connection& c = clients[i - 1];
            if ((fds[i].revents & POLLIN) && ilmvSimServeOne(c.state)) continue;
            ilmvSimRelease(c.state);
            close(c.fd);
            clients.erase(clients.begin() + static_cast<long>(i - 1));
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    std::string domain, socketPath;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--domain") == 0) domain = argv[i + 1];
        if (std::strcmp(argv[i], "--socket") == 0) socketPath = argv[i + 1];
    }
    if (domain.empty() || socketPath.empty()) {
        std::fprintf(stderr, "usage: lumiva-dspd --domain adsp|cdsp|mdsp --socket PATH\n");
        return 2;
    }
    signal(SIGPIPE, SIG_IGN);
    ilmvSimInit(domain, true);
    if (const char* faults = std::getenv("LUMIVA_DSPD_FAULTS")) ilmvSimApplyFaults(faults);
    const int listener = listenOn(socketPath);
    if (listener < 0) return 0;  // another simulator serves this domain
    const char* linger = std::getenv("LUMIVA_DSPD_LINGER_MS");
    const int result = serve(listener, linger && *linger ? std::atol(linger) : 200);
    unlink(socketPath.c_str());
    return result;
}
