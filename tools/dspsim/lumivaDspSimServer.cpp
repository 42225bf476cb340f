// The DSP simulator's server side: one message of a client at a time, decoded, checked and
// answered, with the library's reference kernels doing the work. lumiva-dspd runs it on its
// socket; the decoder's fuzz target runs it on whatever bytes the fuzzer makes.
//
// Every message is checked before use: sizes against the limits, buffers against the spans
// the call reaches, shared blocks against their mapped length; a bad one gets a failure
// status and nothing outside what it sent is read or written. Faults for tests come from
// control commands or from LUMIVA_DSPD_FAULTS (commands separated by ';'):
//   restart N     the next N calls answer 104 and the clock reads non-zero until a reload
//   restart-up N  the next N calls answer 104 while the clock stays 0 (the DSP came back)
//   fail S N      the next N calls answer status S
//   slow MS N     the next N calls answer after MS milliseconds
//   garbage N     the next N calls answer with a malformed reply
//   die           the next call ends the process before answering
//   version V     the remote library reports version V
//   stats, ping   answer "calls=.. copied=.. shared=.. maps=.. refused=.. kernel_us=.."
#include "lumivaDspSim.h"
#include "lumivaDspSocket.h"
#include "lumivaKernels.h"
#include "xdsp_rpc/lumivadspStub.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

struct Mapping {
    uint8_t* address;
    uint64_t length;
};

struct Client {
    int fd;
    std::map<uint64_t, Mapping> blocks;
};

struct Faults {
    int restart = 0, restartUp = 0, fail = 0, slow = 0, garbage = 0;
    int failStatus = 1;
    long slowMs = 0;
    bool die = false;
};

struct State {
    std::string domain;
    std::string version = "1.7.1";
    bool restarted = false;  // the clock reads non-zero until a reload
    Faults faults;
    uint64_t calls = 0, copied = 0, shared = 0, maps = 0, refused = 0;
    uint64_t kernelNs = 0;  // time spent in the kernels
    int mode = -1;
    int messageFlag = 0;
} gState;

std::unordered_map<std::string, int (*)(ILMV_SIM_CALL&)> gOps;

// ---- Socket I/O -------------------------------------------------------------------------

bool answer(int fd, int32_t status, const std::string& payload = {})
{
    WireReply reply = {kWireMagic, status, payload.size()};
    return ilmvWireSend(fd, {{&reply, sizeof reply}, {const_cast<char*>(payload.data()), payload.size()}});
}

// ---- Faults -------------------------------------------------------------------------------

std::string applyControl(const std::string& command)
{
    char word[32] = {};
    long a = 0, b = 0;
    const int n = std::sscanf(command.c_str(), "%31s %ld %ld", word, &a, &b);
    const std::string w = n >= 1 ? word : "";
    Faults& f = gState.faults;
    if (w == "restart") f.restart = static_cast<int>(n >= 2 ? a : 1);
    else if (w == "restart-up") f.restartUp = static_cast<int>(n >= 2 ? a : 1);
    else if (w == "fail") f.failStatus = static_cast<int>(a), f.fail = static_cast<int>(n >= 3 ? b : 1);
    else if (w == "slow") f.slowMs = a, f.slow = static_cast<int>(n >= 3 ? b : 1);
    else if (w == "garbage") f.garbage = static_cast<int>(n >= 2 ? a : 1);
    else if (w == "die") f.die = true;
    else if (w == "version" && command.size() > 8) gState.version = command.substr(8, 9);
    else if (w == "clear") f = Faults();
    else if (w != "stats" && w != "ping") return "unknown command";
    char text[200];
    std::snprintf(text, sizeof text, "calls=%llu copied=%llu shared=%llu maps=%llu refused=%llu kernel_us=%llu",
                  static_cast<unsigned long long>(gState.calls), static_cast<unsigned long long>(gState.copied),
                  static_cast<unsigned long long>(gState.shared), static_cast<unsigned long long>(gState.maps),
                  static_cast<unsigned long long>(gState.refused),
                  static_cast<unsigned long long>(gState.kernelNs / 1000));
    return text;
}

bool gControlAllowed = true;

// A fault that answers the call in place of the kernel; true when it did.
bool injectFault(int fd, bool* keepClient)
{
    Faults& f = gState.faults;
    if (f.die) _exit(3);  // in the middle of the call: the client never gets an answer
    if (f.slow > 0) {
        --f.slow;
        timespec t = {f.slowMs / 1000, f.slowMs % 1000 * 1000000};
        nanosleep(&t, nullptr);
    }
    if (f.restart > 0 || f.restartUp > 0) {
        if (f.restart > 0) --f.restart, gState.restarted = true;
        else --f.restartUp;
        *keepClient = answer(fd, 104);
        return true;
    }
    if (f.fail > 0) {
        --f.fail;
        *keepClient = answer(fd, f.failStatus);
        return true;
    }
    if (f.garbage > 0) {
        --f.garbage;
        const char junk[] = "not a reply at all";
        *keepClient = ilmvWireSend(fd, {{const_cast<char*>(junk), sizeof junk}});
        return true;
    }
    return false;
}

// ---- Pyramids -------------------------------------------------------------------------------

// A pyramid call: base, its length, width, height, levels, records, their count, result, then
// one buffer per record. Each level must hold the halved size the kernel writes, and the
// sizes must halve evenly (what the kernel would otherwise stop the process for).
template <class T>
int servePyramid(ILMV_SIM_CALL& c, int32_t (*kernel)(const T*, uint32_t, uint32_t, uint32_t, lmvPyramidLevel*))
{
    if (c.count() < 8) return ILMV_SIM_MALFORMED;
    // The record count is the sender's word: bounded before anything is sized by it.
    const uint32_t count = c.scalar<uint32_t>(6);
    if (count > kWireMaxArgs - 8) return ILMV_SIM_MALFORMED;
    const std::string kinds = "bssssbsb" + std::string(count, 'b');
    if (!c.shaped(kinds.c_str())) return ILMV_SIM_MALFORMED;
    const uint32_t w = c.scalar<uint32_t>(2), h = c.scalar<uint32_t>(3), levels = c.scalar<uint32_t>(4);
    auto* records = c.buffer<lmvX5LevelRecord>(5);
    int32_t* result = c.buffer<int32_t>(7);
    if (levels != count + 1 || levels > 31 || !w || !h || !c.holds(7, 1, 4, 4, false) ||
        (count && (!records || c.bytes(5) != uint64_t(count) * sizeof *records)))
        return ILMV_SIM_MALFORMED;
    const uint32_t mask = (1u << (levels - 1)) - 1;
    if (!c.holds(0, c.scalar<uint32_t>(1), sizeof(T), uint64_t(w) * h * sizeof(T), false) || (w & mask) || (h & mask))
        return ILMV_SIM_BAD_ARGUMENTS;
    std::vector<lmvPyramidLevel> pyramid(levels);
    for (uint32_t i = 1; i < levels; ++i) {
        const uint64_t need = uint64_t(w >> i) * (h >> i) * sizeof(T);
        if (!c.holds(7 + i, need / sizeof(T), sizeof(T), need, false)) return ILMV_SIM_BAD_LENGTH;
        pyramid[i] = {c.buffer<uint8_t>(7 + i), records[i - 1].width, records[i - 1].height};
    }
    *result = kernel(c.buffer<const T>(0), w, h, levels, pyramid.data());
    for (uint32_t i = 1; i < levels; ++i) {  // sizes back; the buffer words stay the caller's
        records[i - 1].width = pyramid[i].width;
        records[i - 1].height = pyramid[i].height;
    }
    return 0;
}

int servePyramidF32(ILMV_SIM_CALL& c)
{
    return servePyramid<float32_t>(c, lmvPyramidCreatef32C);
}

int servePyramidU8(ILMV_SIM_CALL& c)
{
    return servePyramid<uint8_t>(c, lmvPyramidCreateu8C);
}

// ---- Session calls ----------------------------------------------------------------------

bool isOurUri(const ILMV_SIM_ARG& a)
{
    const std::string expected = "file:///liblumivadsp_skel.so?lumivadsp_skel_handle_invoke&_modver=1.0&_dom=" +
                                 gState.domain;
    return a.kind == kArgBuffer && a.bytes == expected.size() + 1 &&
           std::memcmp(a.data, expected.c_str(), expected.size() + 1) == 0;
}

// The housekeeping calls; -1 when `name` is not one of them.
int serveSession(const std::string& name, std::vector<ILMV_SIM_ARG>& args)
{
    ILMV_SIM_CALL c(args);
    if (name == "open") {
        if (!c.shaped("b") || !isOurUri(args[0])) return ILMV_SIM_BAD_ARGUMENTS;
        gState.restarted = false;  // a new channel is the reload after a restart
        return 0;
    }
    if (name == "close" || name == "deinitX5") return c.shaped("") ? 0 : ILMV_SIM_MALFORMED;
    if (name == "initX5") {
        if (!c.shaped("bs") || args[0].bytes % 8 || c.scalar<int32_t>(1) < 0 ||
            args[0].bytes != uint64_t(c.scalar<int32_t>(1)) * 8)
            return ILMV_SIM_MALFORMED;
        gState.mode = args[0].bytes ? c.buffer<int32_t>(0)[1] : -1;
        gState.restarted = false;
        return 0;
    }
    if (name == "version") {
        if (!c.shaped("b") || !args[0].data || args[0].bytes == 0) return ILMV_SIM_MALFORMED;
        std::memset(args[0].data, 0, args[0].bytes);
        std::memcpy(args[0].data, gState.version.c_str(), std::min<size_t>(gState.version.size(), args[0].bytes - 1));
        return 0;
    }
    if (name == "getClk" || name == "probeTime") {
        if (!c.shaped("b") || !args[0].data || args[0].bytes != 8) return ILMV_SIM_MALFORMED;
        timeval now;
        gettimeofday(&now, nullptr);
        const int64_t us = int64_t(now.tv_sec) * 1000000 + now.tv_usec;
        std::memcpy(args[0].data, &us, 8);
        return name == "getClk" && gState.restarted ? 1 : 0;
    }
    if (name == "cacheFlush") return c.shaped("bb") ? 0 : ILMV_SIM_MALFORMED;
    if (name == "msgFlag") {
        if (!c.shaped("sb") || !args[1].data || args[1].bytes != 4) return ILMV_SIM_MALFORMED;
        gState.messageFlag = c.scalar<int32_t>(0);
        std::memset(args[1].data, 0, 4);
        return 0;
    }
    if (name == "invalidate") return c.shaped("ss") ? 0 : ILMV_SIM_MALFORMED;
    return -1;
}

// ---- Calls ------------------------------------------------------------------------------

// Reads `bytes` into `into`, letting the memory follow the bytes that actually arrive: a
// message that declares more than it sends costs no more than what it sent.
bool readGrowing(int fd, std::vector<uint8_t>& into, uint64_t bytes)
{
    constexpr uint64_t kChunk = 1u << 20;
    while (into.size() < bytes) {
        const size_t have = into.size();
        into.resize(have + static_cast<size_t>(std::min<uint64_t>(kChunk, bytes - have)));
        if (!ilmvWireReceive(fd, into.data() + have, into.size() - have)) return false;
    }
    return true;
}

// Reads the arguments and the payload of a call into `args`: copied buffers into `copies`
// (marked in `copied`), shared ones pointing into the client's blocks; false for a malformed
// message (`readFailed` when the stream itself broke).
bool readArguments(Client& client, const WireRequest& r, std::vector<ILMV_SIM_ARG>& args,
                   std::vector<std::vector<uint8_t>>& copies, std::vector<bool>& copied, bool* readFailed)
{
    std::vector<WireArg> wire(r.argCount);
    if (r.argCount && !ilmvWireReceive(client.fd, wire.data(), r.argCount * sizeof(WireArg))) return *readFailed = true, false;
    uint64_t declared = 0;
    for (const WireArg& a : wire) {
        if (a.kind == kArgBuffer) {
            if (a.bytes > kWireMaxPayload) return false;
            declared += a.bytes;
        }
    }
    if (declared != r.payloadBytes) return false;
    copies.reserve(wire.size());
    for (const WireArg& a : wire) {
        ILMV_SIM_ARG s = {a.kind, a.direction, a.value, nullptr, 0};
        if (a.direction < kDirIn || a.direction > kDirInOut) return false;
        copied.push_back(a.kind == kArgBuffer);
        if (a.kind == kArgBuffer) {
            copies.emplace_back();
            if (!readGrowing(client.fd, copies.back(), a.bytes)) return *readFailed = true, false;
            s.data = copies.back().data();
            s.bytes = a.bytes;
            gState.copied += a.bytes;
        } else if (a.kind == kArgShared) {
            auto it = client.blocks.find(a.value);
            if (it == client.blocks.end() || a.offset > it->second.length || a.bytes > it->second.length - a.offset)
                return false;
            s.data = it->second.address + a.offset;
            s.bytes = a.bytes;
            s.kind = kArgBuffer;  // the kernels see a buffer like any other
            gState.shared += a.bytes;
        } else if (a.kind != kArgScalar && a.kind != kArgNull) {
            return false;
        }
        args.push_back(s);
    }
    return true;
}

// Copied buffers the call may write go back, in order.
std::string outputs(const std::vector<bool>& copied, const std::vector<ILMV_SIM_ARG>& args)
{
    std::string out;
    for (size_t i = 0; i < args.size(); ++i)
        if (copied[i] && args[i].direction != kDirIn)
            out.append(reinterpret_cast<const char*>(args[i].data), args[i].bytes);
    return out;
}

bool serveCall(Client& client, const WireRequest& r)
{
    std::vector<ILMV_SIM_ARG> args;
    std::vector<std::vector<uint8_t>> copies;
    std::vector<bool> copied;  // which arguments travelled by copy: only those go back
    bool readFailed = false;
    if (r.argCount > kWireMaxArgs || r.payloadBytes > kWireMaxPayload) return false;
    if (!readArguments(client, r, args, copies, copied, &readFailed)) {
        ++gState.refused;
        if (!readFailed) answer(client.fd, ILMV_SIM_MALFORMED);
        return false;  // the stream is out of step: drop the client
    }
    const std::string name(r.name, strnlen(r.name, sizeof r.name));
    int status = serveSession(name, args);
    if (status == -1) {
        auto op = gOps.find(name);
        if (op == gOps.end()) {
            status = ILMV_SIM_UNKNOWN;
        } else {
            bool keep = true;
            ++gState.calls;
            if (injectFault(client.fd, &keep)) return keep;
            ILMV_SIM_CALL call(args);
            timespec t0, t1;
            clock_gettime(CLOCK_MONOTONIC, &t0);
            status = op->second(call);
            clock_gettime(CLOCK_MONOTONIC, &t1);
            gState.kernelNs += uint64_t((t1.tv_sec - t0.tv_sec) * 1000000000L + (t1.tv_nsec - t0.tv_nsec));
        }
    }
    if (status != 0 && status != 1) ++gState.refused;
    return answer(client.fd, status, status == 0 ? outputs(copied, args) : std::string());
}

bool serveMap(Client& client, const WireRequest& r, int passedFd)
{
    WireArg wire[2];
    if (r.argCount != 2 || r.payloadBytes || !ilmvWireReceive(client.fd, wire, sizeof wire)) return false;
    const uint64_t id = wire[0].value, length = wire[1].value;
    struct stat st;
    // Only a memfd (a sealable shared-memory file) of at least the block's length is mapped.
    const bool usable = passedFd >= 0 && fcntl(passedFd, F_GET_SEALS) >= 0 && fstat(passedFd, &st) == 0 &&
                        length > 0 && uint64_t(st.st_size) >= length && !client.blocks.count(id);
    void* address = usable ? mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, passedFd, 0) : MAP_FAILED;
    if (passedFd >= 0) close(passedFd);
    if (address == MAP_FAILED) return answer(client.fd, ILMV_SIM_BAD_ARGUMENTS);
    client.blocks[id] = {static_cast<uint8_t*>(address), length};
    ++gState.maps;
    return answer(client.fd, 0);
}

void unmapAll(Client& client)
{
    for (auto& [id, m] : client.blocks) {
        (void)id;
        munmap(m.address, m.length);
    }
    client.blocks.clear();
}

bool serveUnmap(Client& client, const WireRequest& r)
{
    WireArg wire;
    if (r.argCount != 1 || r.payloadBytes || !ilmvWireReceive(client.fd, &wire, sizeof wire)) return false;
    auto it = client.blocks.find(wire.value);
    if (it != client.blocks.end()) {
        munmap(it->second.address, it->second.length);
        client.blocks.erase(it);
    }
    return answer(client.fd, 0);
}

// One message of a client; false when the client is to be dropped.
bool serveMessage(Client& client)
{
    WireRequest r;
    int passedFd = -1;
    if (!ilmvWireReceive(client.fd, &r, sizeof r, &passedFd) || r.magic != kWireMagic) {
        if (passedFd >= 0) close(passedFd);
        return false;
    }
    r.name[sizeof r.name - 1] = 0;
    if (r.kind == kWireMap) return serveMap(client, r, passedFd);
    if (passedFd >= 0) close(passedFd);
    if (r.kind == kWireUnmap) return serveUnmap(client, r);
    if (r.kind == kWireCall) return serveCall(client, r);
    if (r.kind == kWireControl && r.argCount == 0 && r.payloadBytes == 0)
        return answer(client.fd, gControlAllowed ? 0 : ILMV_SIM_BAD_ARGUMENTS,
                      gControlAllowed ? applyControl(r.name) : std::string());
    return false;
}

}  // namespace

struct ILMV_SIM_CLIENT {
    Client client;
};

void ilmvSimInit(const std::string& domain, bool controlAllowed)
{
    gState.domain = domain;
    gControlAllowed = controlAllowed;
    for (size_t i = 0; i < ilmvSimOpCount; ++i) gOps[ilmvSimOps[i].name] = ilmvSimOps[i].serve;
    // The pyramids, unpacked by hand like their marshalling, join the generated operations.
    gOps["lmvPyramidCreatef32X"] = servePyramidF32;
    gOps["lmvPyramidCreateu8X"] = servePyramidU8;
}

void ilmvSimApplyFaults(const std::string& list)
{
    for (size_t p = 0; p <= list.size();) {
        size_t q = list.find(';', p);
        if (q == std::string::npos) q = list.size();
        if (q > p) applyControl(list.substr(p, q - p));
        p = q + 1;
    }
}

ILMV_SIM_CLIENT* ilmvSimClient(int fd)
{
    return new ILMV_SIM_CLIENT{Client{fd, {}}};
}

bool ilmvSimServeOne(ILMV_SIM_CLIENT* client)
{
    return serveMessage(client->client);
}

void ilmvSimRelease(ILMV_SIM_CLIENT* client)
{
    unmapAll(client->client);
    delete client;
}

