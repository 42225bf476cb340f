// The host transport: one Unix-domain socket per open handle to the simulator of its
// domain, a table of registered blocks shared by descriptor, and the start of a simulator
// process when a domain has none.
//
// Environment (the transport's, not the library's):
//   LUMIVA_DSP_SOCKET_DIR  directory of the sockets (default $XDG_RUNTIME_DIR/lumiva-dsp, else
//                          /tmp/lumiva-dsp-<uid>); it must belong to the user and admit no one else
//   LUMIVA_DSPD            the simulator program (default: lumiva-dspd next to this library)
//   LUMIVA_DSPD_EMULATOR   a command line that runs it (a 32-bit ARM build on another host)
//   LUMIVA_DSP_TIMEOUT_MS  how long a call waits for its answer (default 20000)
#include "lumivaDspLink.h"
#include "lumivaDspSocket.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace {

struct Block {
    uintptr_t address;
    uint64_t length;
    int fd;
    uint64_t id;
};

struct Channel {
    std::mutex lock;
    std::string domain;
    int fd = -1;
    timespec retryAfter = {0, 0};  // a failed reconnection is not tried again before this
    std::set<uint64_t> mapped;  // blocks the simulator holds for this connection
    std::vector<uint64_t> drops;  // blocks unregistered since, to unmap before the next call
};

std::mutex gTableLock;
std::map<uint64_t, std::shared_ptr<Channel>> gChannels;
uint64_t gNextHandle = 1;
std::vector<Block> gBlocks;
uint64_t gNextBlock = 1;

void pauseMs(long ms)
{
    timespec t = {ms / 1000, (ms % 1000) * 1000000};
    nanosleep(&t, nullptr);
}

long envNumber(const char* name, long fallback)
{
    const char* v = std::getenv(name);
    return v && *v ? std::atol(v) : fallback;
}

// The socket directory, made private to the user; empty when it cannot be trusted.
std::string socketDir()
{
    std::string dir;
    if (const char* d = std::getenv("LUMIVA_DSP_SOCKET_DIR"); d && *d)
        dir = d;
    else if (const char* r = std::getenv("XDG_RUNTIME_DIR"); r && *r)
        dir = std::string(r) + "/lumiva-dsp";
    else
        dir = "/tmp/lumiva-dsp-" + std::to_string(getuid());
    mkdir(dir.c_str(), 0700);
    struct stat st;
    if (lstat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != getuid() || (st.st_mode & 077)) {
        std::fprintf(stderr, "lumiva dsplink: socket directory %s is not private to this user\n", dir.c_str());
        return {};
    }
    return dir;
}

std::string simulatorPath()
{
    if (const char* p = std::getenv("LUMIVA_DSPD"); p && *p) return p;
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(&ilmvRpcInvoke), &info) && info.dli_fname) {
        std::string self = info.dli_fname;
        size_t slash = self.rfind('/');
        return (slash == std::string::npos ? std::string(".") : self.substr(0, slash)) + "/lumiva-dspd";
    }
    return "lumiva-dspd";
}

// Starts a simulator for `domain`, detached (it outlives no one: it exits after its last
// client); false when the program cannot be started. Only async-signal-safe calls between
// fork and exec; a pipe closed by a successful exec tells the two apart.
bool spawnSimulator(const std::string& domain, const std::string& socketPath)
{
    std::vector<std::string> words;
    const char* emulator = std::getenv("LUMIVA_DSPD_EMULATOR");
    const bool emulated = emulator && *emulator;
    if (emulated) {
        std::string all = emulator;
        for (size_t p = 0; p < all.size();) {
            size_t q = all.find(' ', p);
            if (q == std::string::npos) q = all.size();
            if (q > p) words.push_back(all.substr(p, q - p));
            p = q + 1;
        }
    }
    words.insert(words.end(), {simulatorPath(), "--domain", domain, "--socket", socketPath});
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(&w[0]);
    argv.push_back(nullptr);
    const long maxFd = std::min(sysconf(_SC_OPEN_MAX), 4096L);
    int status[2];
    if (pipe2(status, O_CLOEXEC) != 0) return false;
    pid_t child = fork();
    if (child == 0) {
        setsid();
        if (fork() == 0) {
            // No inherited output either: whoever reads the client's output (a test runner)
            // must not wait for the simulator's exit.
            int null = open("/dev/null", O_RDWR);
            dup2(null, 0);
            dup2(null, 1);
            dup2(null, 2);
            for (long fd = 3; fd < maxFd; ++fd)
                if (fd != status[1]) close(static_cast<int>(fd));
            // The simulator itself by its path (a program this machine cannot run fails here
            // rather than being handed to a shell); an emulator is looked up on the PATH.
            if (emulated)
                execvp(argv[0], argv.data());
            else
                execv(argv[0], argv.data());
            const char failed = 1;
            if (write(status[1], &failed, 1) < 0) _exit(126);
            _exit(127);
        }
        _exit(0);
    }
    close(status[1]);
    if (child > 0) waitpid(child, nullptr, 0);
    char failed = 0;
    ssize_t n;
    do n = read(status[0], &failed, 1);
    while (n < 0 && errno == EINTR);
    close(status[0]);
    if (child < 0 || n > 0) {
        std::fprintf(stderr, "lumiva dsplink: cannot start the DSP simulator %s\n", argv[0]);
        return false;
    }
    return true;
}

int connectTo(const std::string& path)
{
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        close(fd);
        return -1;
    }
    timeval timeout = {envNumber("LUMIVA_DSP_TIMEOUT_MS", 20000) / 1000,
                       static_cast<suseconds_t>(envNumber("LUMIVA_DSP_TIMEOUT_MS", 20000) % 1000 * 1000)};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    return fd;
}

bool answers(int fd);

// A connection to the domain's simulator, started when none answers; -1 after ten seconds.
int connectDomain(const std::string& domain)
{
    const std::string dir = socketDir();
    if (dir.empty()) return -1;
    const std::string path = dir + "/" + domain + ".sock";
    for (int attempt = 0; attempt < 1000; ++attempt) {
        int fd = connectTo(path);
        // A simulator on its way out can still take a connection into its backlog: only
        // one that answers counts.
        if (fd >= 0 && answers(fd)) return fd;
        if (fd >= 0) close(fd);
        // Again now and then: one may have been on its way out.
        if (attempt % 50 == 0 && !spawnSimulator(domain, path)) return -1;
        pauseMs(10);
    }
    std::fprintf(stderr, "lumiva dsplink: no simulator answers on %s\n", path.c_str());
    return -1;
}

// One request and its reply; the reply's payload goes to `payload`. False on any I/O
// failure or a reply that is not one.
// Waits for the answer spinning for a moment first: a short call's answer comes back in
// microseconds, sooner than a sleeping thread is woken.
void awaitAnswer(int fd)
{
    timespec start, now;
    clock_gettime(CLOCK_MONOTONIC, &start);
    for (;;) {
        pollfd p = {fd, POLLIN, 0};
        if (poll(&p, 1, 0) != 0) return;
        clock_gettime(CLOCK_MONOTONIC, &now);
        if ((now.tv_sec - start.tv_sec) * 1000000000L + (now.tv_nsec - start.tv_nsec) > 300000) return;
    }
}

bool exchange(int fd, uint32_t kind, const char* name, const std::vector<WireArg>& args,
              const std::vector<const void*>& pieces, const std::vector<uint64_t>& sizes, int passFd,
              WireReply* reply, std::vector<uint8_t>* payload)
{
    WireRequest request = {kWireMagic, kind, static_cast<uint32_t>(args.size()), 0, 0, {}};
    for (uint64_t s : sizes) request.payloadBytes += s;
    std::snprintf(request.name, sizeof request.name, "%s", name);
    std::vector<iovec> parts = {{&request, sizeof request}};
    if (!args.empty()) parts.push_back({const_cast<WireArg*>(args.data()), args.size() * sizeof(WireArg)});
    if (request.payloadBytes > kWireMaxPayload) return false;
    for (size_t i = 0; i < pieces.size(); ++i)
        if (sizes[i]) parts.push_back({const_cast<void*>(pieces[i]), static_cast<size_t>(sizes[i])});
    if (!ilmvWireSend(fd, parts, passFd)) return false;
    awaitAnswer(fd);
    if (!ilmvWireReceive(fd, reply, sizeof *reply) || reply->magic != kWireMagic || reply->payloadBytes > kWireMaxPayload)
        return false;
    payload->resize(reply->payloadBytes);
    return reply->payloadBytes == 0 || ilmvWireReceive(fd, payload->data(), payload->size());
}

bool simpleRequest(int fd, uint32_t kind, const char* name, std::vector<WireArg> args, int passFd, int32_t* status)
{
    WireReply reply;
    std::vector<uint8_t> payload;
    if (!exchange(fd, kind, name, args, {}, {}, passFd, &reply, &payload)) return false;
    *status = reply.status;
    return true;
}

bool answers(int fd)
{
    WireReply reply;
    std::vector<uint8_t> payload;
    return exchange(fd, kWireControl, "ping", {}, {}, {}, -1, &reply, &payload) && reply.status == 0;
}

WireArg scalarArg(uint64_t value)
{
    return {kArgScalar, kDirIn, value, 0, 0};
}

void dropConnection(Channel& c)
{
    if (c.fd >= 0) close(c.fd);
    c.fd = -1;
    c.mapped.clear();
    c.drops.clear();
}

// The registered block holding [p, p + bytes), copied out under the lock.
bool findBlock(const void* p, uint64_t bytes, Block* found)
{
    const uintptr_t a = reinterpret_cast<uintptr_t>(p);
    std::lock_guard<std::mutex> guard(gTableLock);
    for (const Block& b : gBlocks) {
        if (a >= b.address && a - b.address <= b.length && bytes <= b.length - (a - b.address)) {
            *found = b;
            return true;
        }
    }
    return false;
}

// Makes sure the simulator holds `block` for this connection.
bool ensureMapped(Channel& c, const Block& block)
{
    if (c.mapped.count(block.id)) return true;
    int32_t status = -1;
    if (!simpleRequest(c.fd, kWireMap, "map", {scalarArg(block.id), scalarArg(block.length)}, block.fd, &status)) {
        dropConnection(c);
        return false;
    }
    if (status == 0) c.mapped.insert(block.id);
    return true;  // a refused map only means the buffer is copied
}

bool flushDrops(Channel& c)
{
    for (uint64_t id : c.drops) {
        int32_t status;
        if (!simpleRequest(c.fd, kWireUnmap, "unmap", {scalarArg(id)}, -1, &status)) return false;
        c.mapped.erase(id);
    }
    c.drops.clear();
    return true;
}

std::shared_ptr<Channel> channelOf(uint64_t handle)
{
    std::lock_guard<std::mutex> guard(gTableLock);
    auto it = gChannels.find(handle);
    return it == gChannels.end() ? nullptr : it->second;
}

// Connects a channel whose connection was lost; after a failure, calls fail at once for a
// second (they run on the CPU) instead of each waiting for a simulator that is not coming.
bool reconnect(Channel& c)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (now.tv_sec < c.retryAfter.tv_sec ||
        (now.tv_sec == c.retryAfter.tv_sec && now.tv_nsec < c.retryAfter.tv_nsec))
        return false;
    c.fd = connectDomain(c.domain);
    if (c.fd >= 0) return true;
    c.retryAfter = {now.tv_sec + 1, now.tv_nsec};
    return false;
}

int invokeLocked(Channel& c, const char* name, const ILMV_RPC_ARG* args, size_t count)
{
    if (c.fd < 0 && !reconnect(c)) return -1;
    if (!flushDrops(c)) return -1;
    std::vector<WireArg> wire(count);
    std::vector<const void*> pieces;
    std::vector<uint64_t> sizes;
    for (size_t i = 0; i < count; ++i) {
        const ILMV_RPC_ARG& a = args[i];
        Block block;
        if (a.kind == kArgScalar || a.kind == kArgNull) {
            wire[i] = {a.kind, a.direction, a.bits, 0, 0};
        } else if (findBlock(a.pointer, a.bytes, &block) && ensureMapped(c, block) && c.mapped.count(block.id)) {
            wire[i] = {kArgShared, a.direction, block.id, reinterpret_cast<uintptr_t>(a.pointer) - block.address,
                       a.bytes};
        } else if (c.fd < 0) {
            return -1;
        } else {
            wire[i] = {kArgBuffer, a.direction, 0, 0, a.bytes};
            pieces.push_back(a.pointer);
            sizes.push_back(a.bytes);
        }
    }
    WireReply reply;
    std::vector<uint8_t> payload;
    if (!exchange(c.fd, kWireCall, name, wire, pieces, sizes, -1, &reply, &payload)) return -1;
    if (reply.status != 0) return reply.status;
    // The answer carries every copied buffer the call writes, in order, and nothing else.
    uint64_t expected = 0;
    for (size_t i = 0; i < count; ++i)
        if (wire[i].kind == kArgBuffer && wire[i].direction != kDirIn) expected += wire[i].bytes;
    if (expected != payload.size()) return -1;
    const uint8_t* from = payload.data();
    for (size_t i = 0; i < count; ++i) {
        if (wire[i].kind != kArgBuffer || wire[i].direction == kDirIn) continue;
        std::memcpy(const_cast<void*>(args[i].pointer), from, wire[i].bytes);
        from += wire[i].bytes;
    }
    return 0;
}

std::string domainOf(const char* uri)
{
    const char* d = uri ? std::strstr(uri, "_dom=") : nullptr;
    return d ? std::string(d + 5) : std::string();
}

}  // namespace

extern "C" {

LUMIVA_LINK_EXPORT int ilmvRpcInvoke(uint64_t handle, const char* name, const ILMV_RPC_ARG* args, size_t count)
{
    std::shared_ptr<Channel> c = channelOf(handle);
    if (!c) return -1;
    std::lock_guard<std::mutex> guard(c->lock);
    int status = invokeLocked(*c, name, args, count);
    if (status == -1) dropConnection(*c);  // the stream may be out of step: start afresh next time
    return status;
}

LUMIVA_LINK_EXPORT int ilmvRpcOpen(const char* uri, uint64_t* handle)
{
    const std::string domain = domainOf(uri);
    if (!handle || (domain != "adsp" && domain != "cdsp" && domain != "mdsp")) return -1;
    auto c = std::make_shared<Channel>();
    c->domain = domain;
    uint64_t id;
    {
        std::lock_guard<std::mutex> guard(gTableLock);
        id = gNextHandle++;
        gChannels[id] = c;
    }
    const ILMV_RPC_ARG args[] = {ilmvRpcBuffer(uri, std::strlen(uri) + 1, 1, std::strlen(uri) + 1, ILMV_RPC_IN)};
    if (ilmvRpcInvoke(id, "open", args, 1) != 0) {
        ilmvRpcClose(id);
        return -1;
    }
    *handle = id;
    return 0;
}

LUMIVA_LINK_EXPORT int ilmvRpcClose(uint64_t handle)
{
    std::shared_ptr<Channel> c;
    {
        std::lock_guard<std::mutex> guard(gTableLock);
        auto it = gChannels.find(handle);
        if (it == gChannels.end()) return -1;
        c = it->second;
        gChannels.erase(it);
    }
    std::lock_guard<std::mutex> guard(c->lock);
    dropConnection(*c);
    return 0;
}

LUMIVA_LINK_EXPORT void remote_register_buf(void* address, int length, int fd)
{
    std::lock_guard<std::mutex> guard(gTableLock);
    const uintptr_t a = reinterpret_cast<uintptr_t>(address);
    auto same = [a](const Block& b) { return b.address == a; };
    if (fd >= 0) {
        gBlocks.erase(std::remove_if(gBlocks.begin(), gBlocks.end(), same), gBlocks.end());
        if (length > 0) gBlocks.push_back({a, static_cast<uint64_t>(length), fd, gNextBlock++});
        return;
    }
    for (const Block& b : gBlocks) {
        if (!same(b)) continue;
        // Connections that hold the block drop it before their next call. A channel busy in
        // a call is not waited for: its lock is never taken under the table's.
        for (auto& [id, c] : gChannels) {
            (void)id;
            if (c->lock.try_lock()) {
                if (c->mapped.count(b.id)) c->drops.push_back(b.id);
                c->lock.unlock();
            }
        }
    }
    gBlocks.erase(std::remove_if(gBlocks.begin(), gBlocks.end(), same), gBlocks.end());
}

LUMIVA_LINK_EXPORT int lumivaDspControl(const char* domain, const char* command, char* reply, size_t replyLength)
{
    int fd = connectDomain(domain ? domain : "");
    if (fd < 0) return -1;
    WireReply answer;
    std::vector<uint8_t> payload;
    const bool ok = exchange(fd, kWireControl, command, {}, {}, {}, -1, &answer, &payload);
    close(fd);
    if (!ok) return -1;
    if (reply && replyLength) {
        const size_t n = std::min(payload.size(), replyLength - 1);
        std::memcpy(reply, payload.data(), n);
        reply[n] = 0;
    }
    return answer.status;
}

}  // extern "C"
