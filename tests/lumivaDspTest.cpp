// The remote DSP against a running simulator, through the real stub, transport and
// marshalling: every remote form gives the reference bytes in every domain, registered
// blocks travel without a copy, failures and restarts fall back or recover as they should,
// the guards decline small images, and hostile messages leave the simulator standing.
#include "lumivaCaseHarness.h"
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"
#include "platform/lumivaHardware.h"
#include "xdsp_rpc/multi_domains/lumivaX5.h"
#include "../tools/dspsim/lumivaDspWire.h"

#include "lumivaOpCases.inc"

#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

const char* const kDomains[] = {"adsp", "cdsp", "mdsp"};

void noPause(unsigned) {}

// The simulator's counters, read through the transport's control call.
struct Stats {
    unsigned long long calls = 0, copied = 0, shared = 0, maps = 0, refused = 0;
};

int control(const char* domain, const char* command, std::string* reply = nullptr)
{
    using Control = int (*)(const char*, const char*, char*, size_t);
    static Control fn = reinterpret_cast<Control>(dlsym(dlopen("libdsplink.so", RTLD_NOW), "lumivaDspControl"));
    if (!fn) return -1;
    char text[256] = {};
    int status = fn(domain, command, text, sizeof text);
    if (reply) *reply = text;
    return status;
}

Stats stats(const char* domain = "cdsp")
{
    std::string text;
    Stats s;
    control(domain, "stats", &text);
    std::sscanf(text.c_str(), "calls=%llu copied=%llu shared=%llu maps=%llu refused=%llu", &s.calls, &s.copied,
                &s.shared, &s.maps, &s.refused);
    return s;
}

std::string gSocketDir;

class Dsp : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        // Each test process gets simulators of its own, so faults never reach another test.
        if (gSocketDir.empty()) {
            char dir[] = "/tmp/lmvdsp-XXXXXX";
            ASSERT_NE(nullptr, mkdtemp(dir));
            gSocketDir = dir;
            setenv("LUMIVA_DSP_SOCKET_DIR", dir, 1);
            setenv("LUMIVA_DSPD_LINGER_MS", "2000", 1);
#ifdef LUMIVA_TEST_DSPD_EMULATOR
            setenv("LUMIVA_DSPD_EMULATOR", LUMIVA_TEST_DSPD_EMULATOR, 1);
#endif
        }
    }

    void SetUp() override
    {
        ilmvSetPlatformPrefixes("lmvsim");
        ilmvHostSetProperty("ro.board.platform", "lmvsim");
        ilmvX5SetRecoveryTiming(noPause, 10, 15);
        setDefaultDSPValue(LUMIVA_DSP_CDSP);
        lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE);
    }

    void TearDown() override
    {
        for (const char* d : kDomains) control(d, "clear");
        lmvCleanUp();
        ilmvHostClearProperties();
        ilmvSetPlatformPrefixes(nullptr);
        setDefaultDSPValue(LUMIVA_DSP_CDSP);
        lmvUpdateX5ConstraintCheckFlagXc(1);
        lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE);
    }

    static int openSession(int domain)
    {
        char version[] = "1.7.1";
        VSKAX5_deinit();  // on the domain it was opened on
        setDefaultDSPValue(domain);
        return lmvX5Initialize(0, version);
    }
};

// Random bytes in a block of the given size.
void randomFill(uint8_t* p, size_t n, uint32_t seed)
{
    std::mt19937 rng(seed);
    for (size_t i = 0; i < n; ++i) p[i] = static_cast<uint8_t>(rng());
}

// ---- Every remote form --------------------------------------------------------------------

struct Frame {
    explicit Frame(uint32_t w, uint32_t h, uint32_t stride) : w(w), h(h), stride(stride), a(stride * h), b(stride * h),
                                                              out(stride * h), expected(stride * h)
    {
        randomFill(a.data(), a.size(), w);
        randomFill(b.data(), b.size(), h);
    }
    uint32_t w, h, stride;
    std::vector<uint8_t> a, b, out, expected;
};

// Runs every operation's remote case at two sizes and two layouts; returns the number of calls.
size_t runRemoteCases(const char* domain, uint32_t seed)
{
    size_t calls = 0;
    for (const ilmvOpCase& op : kOpCases) {
        if (!op.runRemote) continue;
        // Tall enough for every filter window (the 11x11 Gaussian refuses fewer than 11 rows).
        for (auto [w, h] : {std::make_pair(std::max(op.minWidth, 37u), 13u), std::make_pair(64u, 11u)}) {
            for (Layout layout : {Layout::kPacked, Layout::kPaddedUnaligned}) {
                ilmvCase c(w, h, layout, seed++);
                op.runRemote(c);
                ++calls;
                if (::testing::Test::HasFailure()) {
                    ADD_FAILURE() << op.name << " in " << domain << ": " << c.describe();
                    return calls;
                }
            }
        }
    }
    return calls;
}

TEST_F(Dsp, EveryRemoteFormGivesTheReferenceBytesInEveryDomain)
{
    lmvUpdateX5ConstraintCheckFlagXa(0);  // small images too: the guards have a test of their own
    for (int domain = 0; domain < 3; ++domain) {
        ASSERT_EQ(0, openSession(domain)) << kDomains[domain];
        const Stats before = stats(kDomains[domain]);
        const size_t calls = runRemoteCases(kDomains[domain], 1);
        const Stats after = stats(kDomains[domain]);
        EXPECT_EQ(calls, after.calls - before.calls) << "every call reached the simulator";
        EXPECT_EQ(0u, after.refused - before.refused) << "the simulator refused none";
        EXPECT_GT(calls, 500u);
    }
    // The named domains' own entry points reach their domain whatever the default is.
    Frame f(64, 8, 64);
    lmvAbsDiffu8C(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.expected.data(), f.stride);
    for (auto form : {lmvAbsDiffu8Xa, lmvAbsDiffu8Xm}) {
        ASSERT_EQ(0, openSession(form == lmvAbsDiffu8Xa ? LUMIVA_DSP_ADSP : LUMIVA_DSP_MDSP));
        const char* domain = form == lmvAbsDiffu8Xa ? "adsp" : "mdsp";
        const Stats before = stats(domain);
        setDefaultDSPValue(LUMIVA_DSP_CDSP);
        std::fill(f.out.begin(), f.out.end(), 0);
        form(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.out.data(), f.stride);
        EXPECT_EQ(f.expected, f.out);
        EXPECT_EQ(1u, stats(domain).calls - before.calls) << domain;
        setDefaultDSPValue(form == lmvAbsDiffu8Xa ? LUMIVA_DSP_ADSP : LUMIVA_DSP_MDSP);
    }
}

TEST_F(Dsp, EveryRemoteFormGivesTheReferenceBytesFromSharedBlocks)
{
    lmvUpdateX5ConstraintCheckFlagXa(0);
    ASSERT_EQ(0, openSession(LUMIVA_DSP_CDSP));
    // Every case buffer a page-rounded block registered with the transport: nothing is copied
    // but the scalars' results.
    ilmvCaseAllocator heap = ilmvCaseMemory();
    ilmvCaseMemory() = {[](size_t n) { return lmvSharedMemAllocX(n, 64); },
                        [](void* p) { EXPECT_EQ(0, lmvSharedMemFreeX(p)); }};
    const Stats before = stats();
    const size_t calls = runRemoteCases("cdsp", 99);
    ilmvCaseMemory() = heap;
    const Stats after = stats();
    EXPECT_EQ(calls, after.calls - before.calls);
    EXPECT_EQ(0u, after.refused - before.refused);
    EXPECT_GT(after.shared - before.shared, 0u);
    EXPECT_LT(after.copied - before.copied, 8 * calls) << "only one-element results travel by copy";
}

TEST_F(Dsp, AnAbsentSimulatorFailsTheSessionAtOnce)
{
    char dir[] = "/tmp/lmvdsp-absent-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dir));
    const std::string emulator = std::getenv("LUMIVA_DSPD_EMULATOR") ? std::getenv("LUMIVA_DSPD_EMULATOR") : "";
    setenv("LUMIVA_DSP_SOCKET_DIR", dir, 1);
    setenv("LUMIVA_DSPD", "/nonexistent/lumiva-dspd", 1);
    unsetenv("LUMIVA_DSPD_EMULATOR");
    const int64_t start = lmvGetTime();
    EXPECT_EQ(-1, openSession(LUMIVA_DSP_CDSP));
    EXPECT_LT(lmvGetTime() - start, 2000000) << "no ten-second wait for a program that cannot start";
    Frame f(320, 240, 320);
    lmvAbsDiffu8C(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.expected.data(), f.stride);
    lmvAbsDiffu8Xc(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.out.data(), f.stride);
    EXPECT_EQ(f.expected, f.out);
    VSKAX5_deinit();
    setenv("LUMIVA_DSP_SOCKET_DIR", gSocketDir.c_str(), 1);
    unsetenv("LUMIVA_DSPD");
    if (!emulator.empty()) setenv("LUMIVA_DSPD_EMULATOR", emulator.c_str(), 1);
    rmdir(dir);
}

TEST_F(Dsp, RegisteredBlocksTravelWithoutACopy)
{
    ASSERT_EQ(0, openSession(LUMIVA_DSP_CDSP));
    const uint32_t w = 1920, h = 1080;
    uint8_t* a = static_cast<uint8_t*>(lmvSharedMemAllocX(w * h, 64));
    uint8_t* b = static_cast<uint8_t*>(lmvSharedMemAllocX(w * h, 64));
    uint8_t* out = static_cast<uint8_t*>(lmvSharedMemAllocX(w * h, 64));
    ASSERT_TRUE(a && b && out);
    randomFill(a, w * h, 1);
    randomFill(b, w * h, 2);
    std::vector<uint8_t> expected(w * h);
    lmvAbsDiffu8C(a, b, w, h, w, expected.data(), w);
    const Stats before = stats();
    lmvAbsDiffu8Xc(a, b, w, h, w, out, w);
    const Stats after = stats();
    EXPECT_EQ(0, std::memcmp(expected.data(), out, w * h));
    EXPECT_EQ(1u, after.calls - before.calls);
    EXPECT_EQ(0u, after.copied - before.copied);
    EXPECT_EQ(3ull * w * h, after.shared - before.shared);
    EXPECT_EQ(3u, after.maps - before.maps);

    // A corner list in shared memory, as the DSP writes it.
    uint32_t* xy = static_cast<uint32_t*>(lmvSharedMemAllocX(2 * 4000 * sizeof(uint32_t), 16));
    std::vector<uint32_t> xyRef(2 * 4000);
    uint32_t n = 0, nRef = 0;
    lmvCornerFast9u8C(a, 640, 480, 640, 40, 7, xyRef.data(), 4000, &nRef);
    lmvCornerFast9u8Xc(a, 640, 480, 640, 40, 7, xy, 4000, &n);
    ASSERT_EQ(nRef, n);
    EXPECT_EQ(0, std::memcmp(xyRef.data(), xy, 2 * n * sizeof(uint32_t)));
    // Edge pixels come back the same way.
    lmvImageDetectEdgePixelsu8C(a, 640, 480, 640, 900, xyRef.data(), 4000, &nRef);
    lmvImageDetectEdgePixelsu8Xc(a, 640, 480, 640, 900, xy, 4000, &n);
    ASSERT_EQ(nRef, n);
    EXPECT_GT(n, 0u);
    EXPECT_EQ(0, std::memcmp(xyRef.data(), xy, 2 * n * sizeof(uint32_t)));
    for (void* p : {static_cast<void*>(a), static_cast<void*>(b), static_cast<void*>(out), static_cast<void*>(xy)})
        EXPECT_EQ(0, lmvSharedMemFreeX(p));
}

TEST_F(Dsp, PyramidsComeBackLevelByLevelCopiedOrShared)
{
    ASSERT_EQ(0, openSession(LUMIVA_DSP_CDSP));
    const uint32_t w = 160, h = 120, levels = 4;
    std::vector<float32_t> baseF(w * h);
    std::vector<uint8_t> baseU(w * h);
    std::mt19937 rng(5);
    for (size_t i = 0; i < baseF.size(); ++i) baseF[i] = float32_t(rng() % 1000) / 8, baseU[i] = uint8_t(rng());
    for (bool shared : {false, true}) {
        lmvPyramidLevel expected[levels], remote[levels];
        lmvPyramidAllocate(expected, w, h, 4, levels, 0);
        lmvPyramidAllocate(remote, w, h, 4, levels, 0);
        if (shared)
            for (uint32_t i = 1; i < levels; ++i) {
                lmvMemFree(remote[i].ptr);
                remote[i].ptr = lmvSharedMemAllocX(remote[i].width * remote[i].height * 4, 16);
            }
        const Stats before = stats();
        ASSERT_EQ(0, lmvPyramidCreatef32C(baseF.data(), w, h, levels, expected));
        ASSERT_EQ(0, lmvPyramidCreatef32Xc(baseF.data(), w, h, levels, remote));
        EXPECT_EQ(1u, stats().calls - before.calls);
        for (uint32_t i = 0; i < levels; ++i) {
            ASSERT_EQ(expected[i].width, remote[i].width);
            ASSERT_EQ(expected[i].height, remote[i].height);
            EXPECT_EQ(0, std::memcmp(expected[i].ptr, remote[i].ptr, expected[i].width * expected[i].height * 4))
                << "level " << i << (shared ? " shared" : " copied");
        }
        ASSERT_EQ(0, lmvPyramidCreateu8C(baseU.data(), w, h, levels, expected));
        ASSERT_EQ(0, lmvPyramidCreateu8Xc(baseU.data(), w, h, levels, remote));
        for (uint32_t i = 1; i < levels; ++i)
            EXPECT_EQ(0, std::memcmp(expected[i].ptr, remote[i].ptr, expected[i].width * expected[i].height));
        for (uint32_t i = 1; i < levels; ++i) {
            if (shared) EXPECT_EQ(0, lmvSharedMemFreeX(remote[i].ptr));
            else lmvMemFree(remote[i].ptr);
            remote[i].ptr = nullptr;
        }
        lmvPyramidDelete(expected, levels, 1);
    }
    lmvPyramidLevel one[1] = {{nullptr, 0, 0}};
    EXPECT_EQ(0, lmvPyramidCreatef32Xc(baseF.data(), w, h, 1, one)) << "one level: no records, level 0 written back";
    EXPECT_EQ(baseF.data(), one[0].ptr);
    EXPECT_EQ(w, one[0].width);
}

// ---- Failures, restarts, crashes ----------------------------------------------------------


// A remote form called directly with zero strides: the simulator replaces them by the row
// size before its form runs, as an entry function would.
TEST_F(Dsp, ZeroStridesReachTheRemoteFormAsRowSizes)
{
    ASSERT_EQ(0, openSession(LUMIVA_DSP_CDSP));
    Frame f(200, 150, 200);
    lmvBoxFilter5x5u8C(f.a.data(), f.w, f.h, f.stride, f.expected.data(), f.stride);
    const Stats before = stats();
    lmvBoxFilter5x5u8Xc(f.a.data(), f.w, f.h, 0, f.out.data(), 0);
    EXPECT_EQ(1u, stats().calls - before.calls);
    EXPECT_EQ(f.expected, f.out);
}

TEST_F(Dsp, AFailedCallRunsTheSimdForm)
{
    ASSERT_EQ(0, openSession(LUMIVA_DSP_CDSP));
    Frame f(320, 240, 320);
    ASSERT_EQ(0, control("cdsp", "fail 9 1"));
    lmvAbsDiffu8C(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.expected.data(), f.stride);
    lmvAbsDiffu8Xc(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.out.data(), f.stride);
    EXPECT_EQ(f.expected, f.out);
    ASSERT_EQ(0, control("cdsp", "garbage 1"));
    std::fill(f.out.begin(), f.out.end(), 0);
    lmvAbsDiffu8Xc(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.out.data(), f.stride);
    EXPECT_EQ(f.expected, f.out) << "a malformed answer is a failure too";
}

TEST_F(Dsp, FiveRecoveriesThenSimdWithTheModeRestored)
{
    ASSERT_EQ(0, lmvSetOperationMode(LUMIVA_OP_EXT_ALL_DSP));
    ASSERT_EQ(LMV_IMPL_XC, lmvImplTable[LMV_API_lmvAddu8]);
    Frame f(256, 128, 256);
    ASSERT_EQ(0, control("cdsp", "restart-up 6"));
    LogCapture log;
    ASSERT_EQ(LUMIVA_SUCCESS, lmvAddu8(f.a.data(), f.w, f.h, f.stride, f.b.data(), f.stride, 1, f.out.data(), f.stride));
    size_t recoveries = 0;
    for (const LogLine& l : log.lines()) recoveries += l.text == "X5 already up. Skipping reload.";
    EXPECT_EQ(5u, recoveries);
    lmvAddu8C(f.a.data(), f.w, f.h, f.stride, f.b.data(), f.stride, 1, f.expected.data(), f.stride);
    EXPECT_EQ(f.expected, f.out);
    EXPECT_EQ(LUMIVA_OP_EXT_ALL_DSP, mode_globalVar);
    EXPECT_EQ(LMV_IMPL_XC, lmvImplTable[LMV_API_lmvAddu8]) << "the application's mode is back";
}

TEST_F(Dsp, ARestartReloadsTheChannelAndLaterCallsStayRemote)
{
    ASSERT_EQ(0, openSession(LUMIVA_DSP_CDSP));
    Frame f(320, 240, 320);
    lmvAbsDiffu8C(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.expected.data(), f.stride);
    ASSERT_EQ(0, control("cdsp", "restart 1"));
    LogCapture log;
    lmvAbsDiffu8Xc(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.out.data(), f.stride);
    EXPECT_EQ(f.expected, f.out);
    EXPECT_TRUE(log.contains(LUMIVA_LIB_TAG, "Stub reloaded successfully."));
    EXPECT_NE(0u, cdsp_domain_handle);
    uint64_t clock = 1;
    EXPECT_EQ(0, lmvX5GetClkXc(&clock)) << "the reload brought the DSP back";
    const Stats before = stats();
    std::fill(f.out.begin(), f.out.end(), 0);
    lmvAbsDiffu8Xc(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.out.data(), f.stride);
    EXPECT_EQ(f.expected, f.out);
    EXPECT_EQ(1u, stats().calls - before.calls);
}

TEST_F(Dsp, ASimulatorKilledMidCallFallsBackAndTheNextCallReachesANewOne)
{
    ASSERT_EQ(0, openSession(LUMIVA_DSP_CDSP));
    Frame f(320, 240, 320);
    lmvAbsDiffu8C(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.expected.data(), f.stride);
    ASSERT_EQ(0, control("cdsp", "die"));
    lmvAbsDiffu8Xc(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.out.data(), f.stride);  // no SIGPIPE, no crash
    EXPECT_EQ(f.expected, f.out);
    std::fill(f.out.begin(), f.out.end(), 0);
    lmvAbsDiffu8Xc(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.out.data(), f.stride);
    EXPECT_EQ(f.expected, f.out);
    EXPECT_EQ(1u, stats().calls) << "a fresh simulator served the second call";
}

// ---- Guards ---------------------------------------------------------------------------------

TEST_F(Dsp, TheAreaGuardDeclines176x144AndOffloads177x144)
{
    ASSERT_EQ(0, openSession(LUMIVA_DSP_CDSP));
    Frame small(176, 144, 176), large(177, 144, 184);
    Stats before = stats();
    EXPECT_EQ(LUMIVA_UNSUPPORTED, lmvAddu8Xc(small.a.data(), 176, 144, 176, small.b.data(), 176, 0, small.out.data(), 176));
    EXPECT_EQ(0u, stats().calls - before.calls);
    EXPECT_EQ(LUMIVA_SUCCESS, lmvAddu8Xc(large.a.data(), 177, 144, 184, large.b.data(), 184, 0, large.out.data(), 184));
    EXPECT_EQ(1u, stats().calls - before.calls);
    lmvUpdateX5ConstraintCheckFlagXc(0);
    EXPECT_EQ(LUMIVA_SUCCESS, lmvAddu8Xc(small.a.data(), 176, 144, 176, small.b.data(), 176, 0, small.out.data(), 176));
    EXPECT_EQ(2u, stats().calls - before.calls) << "with the guards off any size goes";

    // The entry function's own check: 176 x 144 runs SIMD, 177 x 144 aligned stays remote.
    lmvImplTable[LMV_API_lmvAbsDiffu8] = LMV_IMPL_XC;
    before = stats();
    lmvAbsDiffu8(small.a.data(), small.b.data(), 176, 144, 176, small.out.data(), 176);
    EXPECT_EQ(0u, stats().calls - before.calls);
    lmvAbsDiffu8(large.a.data(), large.b.data(), 177, 144, 184, large.out.data(), 184);
    EXPECT_EQ(1u, stats().calls - before.calls);
}

TEST_F(Dsp, ALowPowerModeOpensTheSessionAndMovesOperationsToTheCdsp)
{
    ASSERT_EQ(0, lmvSetOperationMode(LUMIVA_OP_LOW_POWER));
    EXPECT_TRUE(lmvAvailableHWComponent(LUMIVA_OP_LOW_POWER) & LUMIVA_HW_DSP);
    EXPECT_EQ(1, XDSP_initflag);
    EXPECT_EQ(1, VSKAX5_is_ready());
    size_t onCdsp = 0;
    for (uint32_t slot = 0; slot < LMV_API_COUNT; ++slot) onCdsp += lmvImplTable[slot] == LMV_IMPL_XC;
    EXPECT_GT(onCdsp, 0u);
    void* block = lmvMemAlloc(100, 16);
    EXPECT_EQ(0, lmvSharedMemFreeX(block)) << "lmvMemAlloc goes through the DSP's allocator";
}

// ---- Session ----------------------------------------------------------------------------------

TEST_F(Dsp, SessionStatesVersionsAndDomains)
{
    setDefaultDSPValue(LUMIVA_DSP_CDSP);
    EXPECT_EQ(-1, lmvX5Initialize(0, nullptr)) << "no version string: failed after the remote init";
    EXPECT_EQ(0, VSKAX5_is_ready());
    char version[] = "1.7.1";
    EXPECT_EQ(-1, VSKAX5_init(0, version)) << "a failed session is not retried";
    VSKAX5_deinit();
    EXPECT_EQ(0, VSKAX5_init(1, version));
    EXPECT_EQ(1, VSKAX5_get_current_mode());
    EXPECT_EQ(0, VSKAX5_init(1, version));
    VSKAX5_deinit();
    EXPECT_EQ(-1, VSKAX5_get_current_mode());

    ASSERT_EQ(0, control("cdsp", "version 1.9.0"));
    EXPECT_EQ(0, lmvX5Initialize(3, version)) << "1.9.0 and 1.7.1 share their first two characters";
    VSKAX5_deinit();
    ASSERT_EQ(0, control("cdsp", "version 2.0.0"));
    LogCapture log;
    EXPECT_EQ(-1, lmvX5Initialize(0, version));
    EXPECT_TRUE(log.contains(LUMIVA_LIB_TAG, "Unmatch CPU and X5 major version. CPU version is 1.7.1, X5 version is "
                                             "2.0.0  22636 src/xdsp_rpc/multi_domains/vskax5rpc_clnt_abstractionLayer"));
    VSKAX5_deinit();
    EXPECT_EQ(0u, cdsp_domain_handle) << "the last close closed the channel";
    ASSERT_EQ(0, control("cdsp", "version 1.7.1"));

    uint64_t* handles[] = {&adsp_domain_handle, &cdsp_domain_handle, &mdsp_domain_handle};
    for (int d = 0; d < 3; ++d) {
        ASSERT_EQ(0, openSession(d)) << kDomains[d];
        EXPECT_NE(0u, *handles[d]);
        EXPECT_EQ(0, lmvUpdateDSPMsgFlagX(1));
        int64_t time = 0;
        EXPECT_EQ(0, probeX5TimeX(&time));
        EXPECT_GT(time, 0);
        VSKAX5_deinit();
    }
    setDefaultDSPValue(7);
    EXPECT_EQ(LUMIVA_NO_DEFAULT_DSP, probeX5TimeX(nullptr));
}

TEST_F(Dsp, AMissingStubLeavesEveryCallOnTheCpu)
{
    ilmvX5SetLibraries("liblumivadsp_missing.so", nullptr);
    LogCapture log;
    EXPECT_EQ(0, lmvSetOperationMode(LUMIVA_OP_EXT_ALL_DSP));
    EXPECT_FALSE(lmvAvailableHardware(LUMIVA_OP_EXT_ALL_DSP) & LUMIVA_HW_DSP);
    EXPECT_TRUE(log.contains(LUMIVA_LIB_TAG, "\nError: lumivadsp domain open failed on CDSP"));
    Frame f(320, 240, 320);
    lmvAbsDiffu8C(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.expected.data(), f.stride);
    lmvAbsDiffu8(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.out.data(), f.stride);
    EXPECT_EQ(f.expected, f.out);
    ilmvX5SetLibraries("liblumivadsp_stub.so", nullptr);
}

// ---- Shared memory ----------------------------------------------------------------------------

std::vector<std::pair<int, int>> gRegistrations;  // (length, fd) of each call
void recordRegistration(void*, int length, int fd)
{
    gRegistrations.push_back({length, fd});
}

TEST_F(Dsp, SharedBlocksArePagesRegisteredAndCountedUpTo128)
{
    EXPECT_EQ(nullptr, lmvSharedMemAllocX(0, 64));
    EXPECT_EQ(nullptr, lmvSharedMemAllocX(100, 8192));
    gRegistrations.clear();
    ilmvX5SetRegisterBuf(recordRegistration, true);
    void* one = lmvSharedMemAllocX(1, 1);
    ASSERT_NE(nullptr, one);
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(one) % 4096);
    EXPECT_EQ(0, lmvSharedMemFreeX(one));
    ASSERT_EQ(2u, gRegistrations.size());
    EXPECT_EQ(4096, gRegistrations[0].first);
    EXPECT_GE(gRegistrations[0].second, 0);
    EXPECT_EQ(std::make_pair(4096, -1), gRegistrations[1]);
    EXPECT_EQ(-1, lmvSharedMemFreeX(one)) << "a second free finds nothing";

    const int descriptors = openDescriptors();
    std::vector<void*> blocks;
    for (int i = 0; i < 128; ++i) blocks.push_back(lmvSharedMemAllocX(64, 16));
    for (void* b : blocks) ASSERT_NE(nullptr, b);
    const int full = openDescriptors();
    EXPECT_EQ(nullptr, lmvSharedMemAllocX(64, 16)) << "the 129th block";
    EXPECT_EQ(full, openDescriptors()) << "and it left no descriptor open";
    for (void* b : blocks) EXPECT_EQ(0, lmvSharedMemFreeX(b));
    EXPECT_EQ(descriptors, openDescriptors());

    ilmvX5SetRegisterBuf(nullptr, true);  // no transport: no block can be shared
    EXPECT_EQ(nullptr, lmvSharedMemAllocX(64, 16));
    EXPECT_EQ(descriptors, openDescriptors());
    ilmvX5SetRegisterBuf(nullptr, false);
}

TEST_F(Dsp, NothingLeaksOverSessionsFaultsAndBlocks)
{
    ASSERT_EQ(0, openSession(LUMIVA_DSP_CDSP));  // the simulator is up before counting
    lmvCleanUp();
    const int descriptors = openDescriptors();
    Frame f(320, 240, 320);
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(0, lmvSetOperationMode(LUMIVA_OP_EXT_ALL_DSP));
        void* block = lmvMemAlloc(320 * 240, 16);
        control("cdsp", round == 1 ? "fail 5 1" : "restart-up 1");
        lmvAbsDiffu8(f.a.data(), f.b.data(), f.w, f.h, f.stride, static_cast<uint8_t*>(block), f.stride);
        lmvMemFree(block);
        lmvCleanUp();
    }
    EXPECT_EQ(descriptors, openDescriptors());
}

// ---- Hostile messages ---------------------------------------------------------------------------

int connectRaw(const char* domain)
{
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un a = {};
    a.sun_family = AF_UNIX;
    std::snprintf(a.sun_path, sizeof a.sun_path, "%s/%s.sock", gSocketDir.c_str(), domain);
    if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        close(fd);
        return -1;
    }
    timeval timeout = {10, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    return fd;
}

// Sends a request (and `fd` with it) and returns the reply's status, or -1 when the
// simulator hung up instead.
int rawCall(int sock, WireRequest r, const std::vector<WireArg>& args, const std::vector<uint8_t>& payload, int fd = -1)
{
    iovec io = {&r, sizeof r};
    msghdr m = {};
    m.msg_iov = &io;
    m.msg_iovlen = 1;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    if (fd >= 0) {
        m.msg_control = control;
        m.msg_controllen = sizeof control;
        cmsghdr* c = CMSG_FIRSTHDR(&m);
        *c = {CMSG_LEN(sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
        std::memcpy(CMSG_DATA(c), &fd, sizeof fd);
    }
    if (sendmsg(sock, &m, MSG_NOSIGNAL) != sizeof r) return -1;
    if (!args.empty()) send(sock, args.data(), args.size() * sizeof(WireArg), MSG_NOSIGNAL);
    if (!payload.empty()) send(sock, payload.data(), payload.size(), MSG_NOSIGNAL);
    WireReply reply;
    if (recv(sock, &reply, sizeof reply, MSG_WAITALL) != sizeof reply) return -1;
    std::vector<uint8_t> rest(reply.payloadBytes);
    if (!rest.empty()) recv(sock, rest.data(), rest.size(), MSG_WAITALL);
    return reply.status;
}

WireRequest request(uint32_t kind, const char* name, uint32_t argCount, uint64_t payload)
{
    WireRequest r = {kWireMagic, kind, argCount, 0, payload, {}};
    std::snprintf(r.name, sizeof r.name, "%s", name);
    return r;
}

TEST_F(Dsp, HostileMessagesGetAFailureAndLeaveTheSimulatorStanding)
{
    ASSERT_EQ(0, openSession(LUMIVA_DSP_CDSP));
    const uint32_t w = 64, h = 8;
    auto scalar = [](uint64_t v) { return WireArg{kArgScalar, kDirIn, v, 0, 0}; };
    auto buffer = [](uint64_t bytes, uint32_t dir = kDirIn) { return WireArg{kArgBuffer, dir, 0, 0, bytes}; };
    // lmvAbsDiffu8X: src1, len, src2, len, width, height, stride, dst, len, stride.
    auto absDiff = [&](uint64_t srcBytes, uint32_t srcLen) {
        return std::vector<WireArg>{buffer(srcBytes), scalar(srcLen), buffer(w * h), scalar(w * h), scalar(w),
                                    scalar(h), scalar(w), buffer(w * h, kDirOut), scalar(w * h), scalar(w)};
    };
    int sock = connectRaw("cdsp");
    ASSERT_GE(sock, 0);
    std::vector<uint8_t> good(3 * w * h, 7), shortOne(2 * w * h + (w * h - 1), 7);
    EXPECT_EQ(0, rawCall(sock, request(kWireCall, "lmvAbsDiffu8X", 10, good.size()), absDiff(w * h, w * h), good));
    EXPECT_EQ(ILMV_SIM_BAD_LENGTH, rawCall(sock, request(kWireCall, "lmvAbsDiffu8X", 10, shortOne.size()),
                                           absDiff(w * h - 1, w * h), shortOne))
        << "a source one byte short of the image";
    EXPECT_EQ(ILMV_SIM_BAD_LENGTH, rawCall(sock, request(kWireCall, "lmvAbsDiffu8X", 10, good.size()),
                                           absDiff(w * h, w * h - 1), good))
        << "a length one element short";
    EXPECT_EQ(ILMV_SIM_MALFORMED, rawCall(sock, request(kWireCall, "lmvAbsDiffu8X", 2, 0), {scalar(1), scalar(2)}, {}));
    EXPECT_EQ(ILMV_SIM_UNKNOWN, rawCall(sock, request(kWireCall, "lmvNoSuchThingX", 0, 0), {}, {}));
    // A shared block that was never mapped: the simulator hangs up, the stream being out of step.
    EXPECT_EQ(ILMV_SIM_MALFORMED, rawCall(sock, request(kWireCall, "lmvAbsDiffu8X", 1, 0),
                                          {WireArg{kArgShared, kDirIn, 99, 0, 16}}, {}));
    close(sock);

    sock = connectRaw("cdsp");
    int pipeFds[2];
    ASSERT_EQ(0, pipe(pipeFds));
    EXPECT_EQ(ILMV_SIM_BAD_ARGUMENTS,
              rawCall(sock, request(kWireMap, "map", 2, 0), {scalar(1), scalar(4096)}, {}, pipeFds[0]))
        << "a descriptor that is not a memfd";
    close(pipeFds[0]);
    close(pipeFds[1]);
    EXPECT_EQ(-1, rawCall(sock, request(kWireCall, "x", 1000, 0), {}, {})) << "too many arguments: hung up";
    close(sock);

    sock = connectRaw("cdsp");
    WireRequest junk = request(kWireCall, "lmvAbsDiffu8X", 0, 0);
    junk.magic = 0x12345678;
    EXPECT_EQ(-1, rawCall(sock, junk, {}, {}));
    close(sock);
    sock = connectRaw("cdsp");
    EXPECT_EQ(-1, rawCall(sock, request(kWireCall, "lmvAbsDiffu8X", 10, uint64_t(1) << 40), absDiff(w * h, w * h), {}));
    close(sock);

    Frame f(320, 240, 320);
    lmvAbsDiffu8C(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.expected.data(), f.stride);
    const Stats before = stats();
    lmvAbsDiffu8Xc(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.out.data(), f.stride);
    EXPECT_EQ(f.expected, f.out);
    EXPECT_EQ(1u, stats().calls - before.calls) << "the same simulator still serves";
}

// ---- Threads ----------------------------------------------------------------------------------

TEST_F(Dsp, ConcurrentRemoteCallsFromSeveralThreads)
{
    ASSERT_EQ(0, openSession(LUMIVA_DSP_CDSP));
    const Stats before = stats();  // the simulator may have served earlier tests
    std::vector<std::thread> threads;
    std::vector<int> mismatches(4, 0);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &mismatches] {
            Frame f(200 + 8 * t, 150, 200 + 8 * t);
            lmvAbsDiffu8C(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.expected.data(), f.stride);
            for (int i = 0; i < 10; ++i) {
                std::fill(f.out.begin(), f.out.end(), 0);
                lmvAbsDiffu8Xc(f.a.data(), f.b.data(), f.w, f.h, f.stride, f.out.data(), f.stride);
                mismatches[t] += f.out != f.expected;
            }
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(std::vector<int>(4, 0), mismatches);
    EXPECT_EQ(40u, stats().calls - before.calls);
}

}  // namespace
