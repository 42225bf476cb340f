// One remote call through the DSP simulator: registered (shared) blocks against copied
// buffers, beside the same reference kernel run in process, at 176x144 and 1920x1080. The
// simulator runs that kernel too, so the difference is the round trip and, for copies, the
// pixels' travel. Registered only where a session opens (the host stub is found).
#include "lumivaBench.h"
#include "lumivaKernels.h"

#include <cstring>

namespace {

using namespace lmvbench;

struct RemoteFrames {
    uint32_t w, h;
    uint8_t *a, *b, *dst;  // registered blocks
    std::vector<uint8_t> ca, cb, cdst;  // ordinary heap buffers, copied on every call
    RemoteFrames(uint32_t w, uint32_t h) : w(w), h(h), ca(randomFrame<uint8_t>(size_t(w) * h, 1)),
                                           cb(randomFrame<uint8_t>(size_t(w) * h, 2)), cdst(size_t(w) * h)
    {
        a = static_cast<uint8_t*>(lmvSharedMemAllocX(ca.size(), 64));
        b = static_cast<uint8_t*>(lmvSharedMemAllocX(cb.size(), 64));
        dst = static_cast<uint8_t*>(lmvSharedMemAllocX(cdst.size(), 64));
        if (a && b) std::memcpy(a, ca.data(), ca.size()), std::memcpy(b, cb.data(), cb.size());
    }
    bool ready() const { return a && b && dst; }
};

void registerFrame(const char* name, RemoteFrames& f)
{
    add(name, "reference", [&f] { lmvAbsDiffu8C(f.a, f.b, f.w, f.h, f.w, f.dst, f.w); });
    add(name, "dsp-shared", [&f] { lmvAbsDiffu8Xc(f.a, f.b, f.w, f.h, f.w, f.dst, f.w); });
    add(name, "dsp-copied", [&f] { lmvAbsDiffu8Xc(f.ca.data(), f.cb.data(), f.w, f.h, f.w, f.cdst.data(), f.w); });
}

void registerDsp()
{
    char version[] = "1.7.1";
    setDefaultDSPValue(LUMIVA_DSP_CDSP);
    if (!VSKAX5_is_ready() && lmvX5Initialize(0, version) != 0) return;  // no stub here: nothing to time
    static RemoteFrames small(176, 144), large(1920, 1080);
    if (!small.ready() || !large.ready()) return;
    registerFrame("DspAbsDiffu8_176x144", small);
    registerFrame("DspAbsDiffu8_1920x1080", large);
}

const int kRegistered = registerFamily(registerDsp);

}  // namespace
