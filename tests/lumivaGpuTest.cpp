// The GPU runtime and engines on a real OpenCL implementation (PoCL's CPU device on hosts):
// the runtime's tables, creation and its binary cache, the caches and shared blocks, every
// G form against the reference form bit for bit, the modes that choose the GPU, and the
// same modes on a host without OpenCL, where everything must still give the SIMD bytes.
#include "gpgpu/engine/lumivaGpu.h"
#include "gpgpu/engine/lumivaGpuEngine.h"
#include "lumivaCaseHarness.h"
#include "cpu/lumivaEdge.h"
#include "cpu/lumivaFilter.h"
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"
#include "memory/lumivaMemInternal.h"
#include "platform/lumivaHardware.h"
#include "xdsp_rpc/multi_domains/lumivaX5.h"

#include "lumivaOpCases.inc"

#include <dirent.h>
#include <malloc.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <random>
#include <set>
#include <thread>

// The OpenCL implementation keeps state it never frees (it expects to live until the process
// ends); its allocations are not the library's, so the leak check leaves them out.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libpocl.so\nleak:libOpenCL.so\n";
}

namespace {

constexpr int32_t kAllGpu = static_cast<int32_t>(0x80000020u);

// Whether this build should find a GPU: a host build that accepts a platform.
bool gpuExpected()
{
#ifdef LUMIVA_TEST_EXPECT_GPU
    return true;
#else
    return false;
#endif
}

class Gpu : public ::testing::Test {
protected:
    void SetUp() override
    {
        ilmvSetPlatformPrefixes("lmvsim");
        ilmvHostSetProperty("ro.board.platform", "lmvsim");
        ilmvX5SetLibraries("liblumiva_no_stub.so", "liblumiva_no_link.so");  // the DSP stays out of these tests
        ilmvGpuSetCacheDirectory(LUMIVA_TEST_GPU_CACHE);
    }

    void TearDown() override
    {
        lmvCleanUp();
        ilmvGpuOverrideEntry(-1, nullptr);
        ilmvGpuSetKernelDirectory(nullptr);
        ilmvGpuSetAcceptedPlatform(nullptr, 0);
        ilmvGpuSetLibraries(nullptr);
        ilmvX5SetLibraries("liblumivadsp_stub.so", "libdsplink.so");
        ilmvHostClearProperties();
        ilmvSetPlatformPrefixes(nullptr);
        lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE);
    }

    // Creates the system or skips the test on a build that has no GPU to find.
    bool created()
    {
        if (!gpuExpected()) return false;
        EXPECT_EQ(1, lmvHasGPU());
        EXPECT_EQ(0, lmvGpuCreateSystem(1));
        return ilmvGpuSystem() && ilmvGpuSystem()->initialised;
    }
};

#define REQUIRE_GPU()                                     \
    do {                                                  \
        if (!created()) GTEST_SKIP() << "no GPU expected"; \
    } while (0)

// ---- Runtime data -------------------------------------------------------------------------

TEST(GpuRuntimeData, WorkSizesFollowTheirTables)
{
    struct Row {
        uint32_t n, a, b;
        int result;
    };
    const Row rows[] = {{0, 1, 1, 8},  {2, 1, 1, 8},  {3, 1, 1, 8},  {4, 2, 2, 0},  {7, 2, 2, 0},  {8, 4, 2, 0},
                        {11, 4, 2, 0}, {12, 3, 4, 0}, {15, 3, 4, 0}, {16, 4, 4, 0}, {23, 4, 4, 0}, {24, 6, 4, 0},
                        {31, 6, 4, 0}, {32, 8, 4, 0}, {47, 8, 4, 0}, {48, 6, 8, 0}, {63, 6, 8, 0}, {64, 8, 8, 0},
                        {1000, 8, 8, 0}};
    for (const Row& r : rows) {
        uint32_t a = 99, b = 99;
        EXPECT_EQ(r.result, _gpuSetLocalWorkSize(r.n, &a, &b)) << r.n;
        EXPECT_EQ(r.a, a) << r.n;
        EXPECT_EQ(r.b, b) << r.n;
    }
    const uint32_t oneD[][2] = {{0, 2}, {3, 2}, {4, 4}, {5, 8}, {8, 8}, {9, 16}, {16, 16}, {17, 32}, {63, 32}, {64, 64}};
    for (const auto& r : oneD) {
        uint32_t size = 0;
        _gpuCreateGroupSize1D(r[0], &size);
        EXPECT_EQ(r[1], size) << r[0];
    }
    uint32_t x = 16, y = 8;
    EXPECT_EQ(0, _gpuCreateGroupSize2D(64, &x, &y));
    EXPECT_EQ(8u, x);
    x = 4, y = 8;
    EXPECT_EQ(0, _gpuCreateGroupSize2D(64, &x, &y));
    EXPECT_EQ(4u, x);
    x = 1, y = 65;
    EXPECT_EQ(-1, _gpuCreateGroupSize2D(64, &x, &y));
}

TEST(GpuRuntimeData, OptionTextsConcatenateTheMaskBitsInOrder)
{
    char text[512];
    EXPECT_EQ(0u, ilmvGpuOptionText(0, text, sizeof text));
    EXPECT_STREQ("", text);
    const std::string relaxed = " -cl-fast-relaxed-math";
    EXPECT_EQ(relaxed.size() + 1, ilmvGpuOptionText(1, text, sizeof text));
    EXPECT_EQ(relaxed, text);
    const std::string both = " -cl-fast-relaxed-math -D USETEXTURE -cl-unsafe-math-optimizations";
    EXPECT_EQ(both.size() + 1, ilmvGpuOptionText(0x102, text, sizeof text));
    EXPECT_EQ(both, text);
    ilmvGpuOptionText(0x3FF, text, sizeof text);
    EXPECT_EQ(0u, std::string(text).find(relaxed + relaxed + " -D USETEXTURE -cl-single-precision-constant"));
    EXPECT_NE(std::string::npos, std::string(text).rfind(" -cl-finite-math-only"));
}

TEST(GpuRuntimeData, TheKernelTableHas110NamedEntriesInTheirFixedPlaces)
{
    const char* const firstNine[] = {"FilterErode3x3u8C", "FilterErode3x3u8C_small", "vskGpuScaleDownMNu8",
                                     "ImageDiffs16",      "harrisC_ixy",             "harrisC_gs1",
                                     "harrisC_gs2",       "harrisCResp",             "HistPartialStep1"};
    const uint32_t masks[] = {2, 2, 2, 2, 2, 2, 2, 0, 2};
    for (int i = 0; i < 9; ++i) {
        EXPECT_STREQ(firstNine[i], ilmvGpuKernelSources[i].name);
        EXPECT_EQ(masks[i], ilmvGpuKernelSources[i].mask);
    }
    EXPECT_STREQ("Threshold_2", ilmvGpuKernelSources[101].name);
    EXPECT_STREQ("Threshold_16", ilmvGpuKernelSources[102].name);
    EXPECT_EQ(nullptr, ilmvGpuKernelSources[ILMV_GPU_KERNELS].name);
    std::set<std::string> names;
    int real = 0;
    for (int i = 0; i < ILMV_GPU_KERNELS; ++i) {
        const ILMV_GPU_KERNEL_SOURCE& e = ilmvGpuKernelSources[i];
        ASSERT_NE(nullptr, e.name) << i;
        ASSERT_TRUE(e.source && *e.source) << e.name;
        EXPECT_TRUE(names.insert(e.name).second) << e.name;
        EXPECT_NE(nullptr, std::strstr(e.source, (std::string("__kernel void ") + e.name + "(").c_str())) << e.name;
        if (e.reserved)
            EXPECT_EQ(std::string("__kernel void ") + e.name + "(void)\n{\n}\n", e.source);
        else
            ++real;
    }
    EXPECT_EQ(66, real);
}

// The engines built so far use real programs only.
TEST(GpuRuntimeData, NoBuiltEngineUsesAReservedEntry)
{
    const int used[] = {ILMV_GPU_K_convertRgb2Gray,
                        ILMV_GPU_K_convertRgb2Gray2,
                        ILMV_GPU_K_RGB888toYCrCbu8,
                        ILMV_GPU_K_convertYCrCbH1V1toRGB888,
                        ILMV_GPU_K_YCrCbH1V2toRGB888u8,
                        ILMV_GPU_K_YCrCbH2V1toRGB888u8,
                        ILMV_GPU_K_convertYCrCbH2V2toRGB888,
                        ILMV_GPU_K_YCrCb420PseudoPlanarToRGBA8888u8,
                        ILMV_GPU_K_YUV420toRGB565u8,
                        ILMV_GPU_K_Gaussian3x3u8,
                        ILMV_GPU_K_ImageDiffs16,
                        ILMV_GPU_K_ScaleDownBy2Gaussianu8,
                        ILMV_GPU_K_Gaussian5x5u8,
                        ILMV_GPU_K_BoxFilter3x3u8,
                        ILMV_GPU_K_BoxFilter5x5u8,
                        ILMV_GPU_K_BoxFilter11x11u8,
                        ILMV_GPU_K_BoxFilter3x3u8V2,
                        ILMV_GPU_K_BoxFilter5x5u8V2,
                        ILMV_GPU_K_BoxFilter11x11u8V2,
                        ILMV_GPU_K_FilterErode3x3u8C,
                        ILMV_GPU_K_FilterErode3x3u8C_small,
                        ILMV_GPU_K_DilateFilter,
                        ILMV_GPU_K_FilterMedian3x3u8,
                        ILMV_GPU_K_FilterCorr3x3s8,
                        ILMV_GPU_K_FilterCorrSep9x9s16,
                        ILMV_GPU_K_FilterCorrSep11x11s16,
                        ILMV_GPU_K_BilateralFilter5x5u8};
    for (int index : used) EXPECT_FALSE(ilmvGpuKernelSources[index].reserved) << ilmvGpuKernelSources[index].name;
}

TEST(GpuRuntimeData, CacheMaintenanceRefusesARecordWithoutMemory)
{
    LogCapture log;
    EXPECT_EQ(-1, apr_pmem_cache_ops_start(nullptr));
    apr_pmem_record empty{};
    EXPECT_EQ(-1, apr_pmem_cache_ops_end(&empty));
    bool started = false, ended = false;
    for (const LogLine& l : log.lines()) {
        started |= l.text.find("apr_pmem_cache_ops_start failed because buffer is NULL") != std::string::npos;
        ended |= l.text.find("apr_pmem_cache_ops_end failed because buffer is NULL") != std::string::npos;
    }
    EXPECT_TRUE(started && ended);
}

TEST(GpuRuntimeDeathTest, AKernelIndexBeyondTheTableStopsTheProcess)
{
    EXPECT_EQ(nullptr, _gpuCreateKernel(111, nullptr));  // nothing created: nothing to check
    if (!gpuExpected()) GTEST_SKIP() << "no GPU expected";
    ilmvGpuSetCacheDirectory(LUMIVA_TEST_GPU_CACHE);
    ASSERT_EQ(0, lmvGpuCreateSystem(1));
    cl_int code = CL_SUCCESS;
    EXPECT_EQ(nullptr, _gpuCreateKernel(110, &code));  // the empty entry after the table
    EXPECT_NE(CL_SUCCESS, code);
    EXPECT_NE(nullptr, _gpuCreateKernel(109, &code));
    EXPECT_DEATH(_gpuCreateKernel(111, &code), "");
    lmvGpuDestroySystem();
}

// ---- Finding the GPU ----------------------------------------------------------------------

TEST_F(Gpu, AMissingOrIncompleteLibraryMeansNoGpu)
{
    LogCapture log;
    ilmvGpuSetLibraries("liblumiva_no_opencl.so");
    EXPECT_EQ(0, lmvHasGPU());
    EXPECT_EQ(0, lmvInitGPU());
    ilmvGpuSetLibraries("libc.so.6");  // opens, but has no OpenCL entry points
    EXPECT_EQ(0, lmvHasGPU());
    int lines = 0;
    for (const LogLine& l : log.lines()) lines += l.text.find("OpenCL not available") != std::string::npos;
    EXPECT_EQ(2, lines);
    EXPECT_FALSE(lmvAvailableHardware(kAllGpu) & LUMIVA_HW_GPU);
}

TEST_F(Gpu, OnlyTheAcceptedVendorAndDeviceTypeCount)
{
    if (!gpuExpected()) GTEST_SKIP() << "no GPU expected";
    EXPECT_EQ(1, lmvHasGPU());
    ilmvGpuSetAcceptedPlatform("Another vendor", ilmvGpuAcceptedType());
    EXPECT_EQ(0, lmvHasGPU());
    ilmvGpuSetAcceptedPlatform(nullptr, CL_DEVICE_TYPE_GPU);  // the CPU device is no GPU
    EXPECT_EQ(0, lmvHasGPU());
    ilmvGpuSetAcceptedPlatform("", 0);  // an empty vendor accepts nothing
    EXPECT_EQ(0, lmvHasGPU());
}

// ---- Creation -----------------------------------------------------------------------------

TEST_F(Gpu, CreationFromTheCacheIsQuickAndASecondCreationRebuildsNothing)
{
    REQUIRE_GPU();
    lmvGpuDestroySystem();
    ilmvGpuForgetBinaries();  // from the directory, as a new process would
    // Quick means nothing compiled: every program comes from the cache (the time itself is the
    // benchmarks' business, and a loaded machine under a sanitizer makes any bound flaky).
    ASSERT_EQ(0, lmvGpuCreateSystem(1));
    EXPECT_EQ(ILMV_GPU_KERNELS, ilmvGpuStats().programsFromCache);
    EXPECT_EQ(0, ilmvGpuStats().programsCompiled);
    const cl_context context = ilmvGpuSystem()->context;
    EXPECT_EQ(0, lmvGpuCreateSystem(1));
    EXPECT_EQ(context, ilmvGpuSystem()->context);
    EXPECT_EQ(1, lmvInitGPU());
}

TEST_F(Gpu, AnEmptyEntryFailsCreationWith397)
{
    if (!gpuExpected()) GTEST_SKIP() << "no GPU expected";
    LogCapture log;
    ilmvGpuOverrideEntry(57, nullptr);
    EXPECT_EQ(397, lmvGpuCreateSystem(1));
    EXPECT_FALSE(ilmvGpuSystem()->initialised);
    bool reported = false;
    for (const LogLine& l : log.lines()) reported |= l.text.find("Error in create kernel with empty content:") != std::string::npos;
    EXPECT_TRUE(reported);
    ilmvGpuOverrideEntry(-1, nullptr);
    EXPECT_EQ(0, lmvGpuCreateSystem(1));
}

TEST_F(Gpu, ABuildFailureIsReportedWithItsLog)
{
    if (!gpuExpected()) GTEST_SKIP() << "no GPU expected";
    LogCapture log;
    ilmvGpuOverrideEntry(105, "__kernel void spare_105(void) { this is not OpenCL C }\n");
    const int code = lmvGpuCreateSystem(1);
    EXPECT_EQ(CL_BUILD_PROGRAM_FAILURE, code);
    bool reported = false, withLog = false;
    for (const LogLine& l : log.lines()) {
        reported |= l.text.find("Return code -11 in creating kernel spare_105:") != std::string::npos;
        withLog |= l.text.find("error") != std::string::npos;
    }
    EXPECT_TRUE(reported);
    EXPECT_TRUE(withLog);
}

TEST_F(Gpu, KernelFilesTakePrecedenceAndAStaleBinaryIsRebuilt)
{
    if (!gpuExpected()) GTEST_SKIP() << "no GPU expected";
    char dir[] = "/tmp/lmvgpu-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dir));
    const std::string kernels = std::string(dir) + "/kernels/", cache = std::string(dir) + "/cache";
    mkdir(kernels.c_str(), 0700);
    std::ofstream(kernels + "spare_106.cl") << "__kernel void spare_106(void) { }\n";
    ilmvGpuSetKernelDirectory(kernels.c_str());
    ilmvGpuSetCacheDirectory(cache.c_str());
    ilmvGpuForgetBinaries();
    ASSERT_EQ(0, lmvGpuCreateSystem(1));
    EXPECT_EQ(1, ilmvGpuStats().programsFromFiles);
    lmvGpuDestroySystem();
    // Every cached binary spoiled: each is rebuilt from source, and the creation succeeds.
    ilmvGpuForgetBinaries();
    int spoiled = 0;
    if (DIR* d = opendir(cache.c_str())) {
        while (dirent* e = readdir(d)) {
            if (e->d_name[0] == '.') continue;
            std::ofstream(cache + "/" + e->d_name, std::ios::trunc) << "not a binary";
            ++spoiled;
        }
        closedir(d);
    }
    ASSERT_GT(spoiled, 0);
    LogCapture log;
    ASSERT_EQ(0, lmvGpuCreateSystem(1));
    EXPECT_EQ(spoiled, ilmvGpuStats().rebuiltStale);  // one per distinct program
    bool retried = false;
    for (const LogLine& l : log.lines()) retried |= l.text.find("Retry building programs ... OK") != std::string::npos;
    EXPECT_TRUE(retried);
    lmvGpuDestroySystem();
    std::system((std::string("rm -rf ") + dir).c_str());
}

// ---- Caches and shared blocks ---------------------------------------------------------------

TEST_F(Gpu, TheBufferCacheGivesTheFirstFitAndBuffersBeyondIt)
{
    ILMV_GPU_BUFFER_OBJECT none;
    _gpuGetBufferObjectFromCache(&none, 100);
    EXPECT_EQ(nullptr, none.object);  // no system: all zeros
    REQUIRE_GPU();
    ILMV_GPU_BUFFER_OBJECT big;
    _gpuGetBufferObjectFromCache(&big, 5000000);
    EXPECT_EQ(34560u * 1024, big.size);
    EXPECT_EQ(2u, big.state);
    ILMV_GPU_BUFFER_OBJECT small[5];
    for (auto& b : small) _gpuGetBufferObjectFromCache(&b, 1000);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(4196u * 1024, small[i].size);
    EXPECT_EQ(34560u * 1024, small[4].size);  // the small ones are taken
    ILMV_GPU_BUFFER_OBJECT huge;
    _gpuGetBufferObjectFromCache(&huge, 34560u * 1024 + 1);
    ASSERT_NE(nullptr, huge.object);
    EXPECT_EQ(34560u * 1024 + 1, huge.size);
    _gpuReleaseSingleBufferObjectFromCache(&huge);
    _gpuReleaseSingleBufferObjectFromCache(&small[0]);
    ILMV_GPU_BUFFER_OBJECT again;
    _gpuGetBufferObjectFromCache(&again, 1000);
    EXPECT_EQ(4196u * 1024, again.size);
}

TEST_F(Gpu, TheImageCacheKeepsImagesOfAFormat)
{
    ILMV_GPU_IMAGE_OBJECT none;
    _gpuGetImageObjectFromCache(&none, 8, 8, CL_RGBA, CL_UNSIGNED_INT8);
    EXPECT_EQ(nullptr, none.object);
    EXPECT_EQ(CL_RGBA, none.order);
    EXPECT_EQ(CL_UNSIGNED_INT8, none.type);
    REQUIRE_GPU();
    ILMV_GPU_IMAGE_OBJECT a;
    _gpuGetImageObjectFromCache(&a, 64, 32, CL_RGBA, CL_UNSIGNED_INT8);
    ASSERT_NE(nullptr, a.object);
    const cl_mem first = a.object;
    _gpuReleaseSingleImageObjectFromCache(&a);
    ILMV_GPU_IMAGE_OBJECT b;
    _gpuGetImageObjectFromCache(&b, 32, 16, CL_RGBA, CL_UNSIGNED_INT8);
    EXPECT_EQ(first, b.object);  // a free, large enough image of the format is reused
    _gpuReleaseSingleImageObjectFromCache(&b);
}

TEST_F(Gpu, SharedBlocksArePagesListedUpTo128AndFreedWhicheverPairIsInForce)
{
    EXPECT_EQ(nullptr, lmvSharedMemAllocG(100, 16));  // no system
    uint8_t heap[64] = {};
    EXPECT_EQ(397, lmvGpuColorRGB888ToGrayu8(heap, 4, 4, 0, heap, 0));  // engines too, before any mode
    REQUIRE_GPU();
    std::vector<void*> blocks;
    for (int i = 0; i < 128; ++i) {
        void* p = lmvSharedMemAllocG(100, 64);
        ASSERT_NE(nullptr, p) << i;
        EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(p) % 4096);
        blocks.push_back(p);
    }
    EXPECT_EQ(nullptr, lmvSharedMemAllocG(100, 64));
    EXPECT_EQ(nullptr, lmvSharedMemAllocG(0, 64));
    // With the GPU pair in force, the 129th block comes from the heap.
    ilmvSetSharedAllocator(lmvSharedMemAllocG, lmvSharedMemFreeG);
    void* fromHeap = lmvMemAlloc(100, 64);
    ASSERT_NE(nullptr, fromHeap);
    EXPECT_EQ(-1, lmvSharedMemFreeG(fromHeap));
    lmvMemFree(fromHeap);
    ilmvClearSharedAllocator();
    EXPECT_EQ(nullptr, lmvSharedMemAllocG(100, 8192));
    int foreign = 0;
    EXPECT_EQ(-1, lmvSharedMemFreeG(&foreign));
    EXPECT_EQ(-1, lmvSharedMemFreeG(static_cast<uint8_t*>(blocks[0]) + 16));  // interior
    for (size_t i = 0; i < 64; ++i) EXPECT_EQ(0, lmvSharedMemFreeG(blocks[i]));
    EXPECT_EQ(-1, lmvSharedMemFreeG(blocks[0]));  // twice
    // The rest outlive the system and go back through lmvMemFree with no pair in force.
    lmvGpuDestroySystem();
    for (size_t i = 64; i < blocks.size(); ++i) lmvMemFree(blocks[i]);
    EXPECT_EQ(-1, lmvSharedMemFreeG(blocks[100]));
}

// ---- Engines against the reference form ---------------------------------------------------

// Every G form in the generated cases, on blocks from lmvSharedMemAllocG: packed and padded
// rows run on the GPU; unaligned rows start inside a block, so the engine declines and the
// SIMD form runs, which must give the same bytes as well.
// Without a GPU (the ARM builds) the same cases run on the heap, where every G form must
// decline and give the SIMD bytes.
TEST_F(Gpu, EveryGFormGivesTheReferenceBytes)
{
    const bool gpu = created();
    ilmvCaseAllocator heap = ilmvCaseMemory();
    if (gpu) {
        ilmvCaseMemory() = {[](size_t n) { return lmvSharedMemAllocG(n, 64); }, [](void* p) { lmvSharedMemFreeG(p); }};
    }
    const uint64_t before = ilmvGpuStats().engineRuns;
    int forms = 0;
    for (const ilmvOpCase& op : kOpCases) {
        if (!op.runGpu) continue;
        ++forms;
        for (Layout layout : {Layout::kPacked, Layout::kPadded, Layout::kPackedUnaligned})
            for (uint32_t w : {op.minWidth, op.minWidth + 1, 16u, 37u, 64u})
                for (uint32_t h : {1u, 2u, 7u, 16u}) {
                    SCOPED_TRACE(std::string(op.name) + " " + std::to_string(w) + "x" + std::to_string(h));
                    ilmvCase c(w, h, layout, w * 131 + h);
                    op.runGpu(c);
                }
    }
    ilmvCaseMemory() = heap;
    EXPECT_EQ(32, forms);
    if (gpu) {
        EXPECT_GT(ilmvGpuStats().engineRuns, before + 100);  // most of the 200 aligned cases ran on the GPU
    } else {
        EXPECT_EQ(before, ilmvGpuStats().engineRuns);
    }
}

// Shared blocks of random bytes, each image at a block's start.
struct Blocks {
    std::vector<void*> blocks;
    uint8_t* make(size_t n, uint32_t seed)
    {
        auto* p = static_cast<uint8_t*>(lmvSharedMemAllocG(n, 64));
        std::mt19937 rng(seed);
        for (size_t i = 0; i < n && p; ++i) p[i] = static_cast<uint8_t>(rng());
        blocks.push_back(p);
        return p;
    }
    ~Blocks()
    {
        for (void* p : blocks) lmvSharedMemFreeG(p);
    }
};

// The forms without generated cases: blocks, semi-planar and YUV conversions, the packed
// decimation; the G form against the reference form on the same input.
TEST_F(Gpu, ConversionsOfWholeFramesGiveTheReferenceBytes)
{
    REQUIRE_GPU();
    const uint64_t before = ilmvGpuStats().engineRuns;
    int runs = 0;
    for (const auto& size : {std::pair<uint32_t, uint32_t>{16, 16}, {40, 24}, {37, 19}, {64, 48}}) {
        const uint32_t w = size.first, h = size.second;
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        Blocks b;
        const size_t pixels = size_t(w) * h;
        using BlockFn = void (*)(const uint8_t*, uint32_t, uint32_t, uint8_t*);
        const std::pair<BlockFn, BlockFn> decoders[] = {
            {lmvColorYCrCbH1V1toRGB888u8C, lmvColorYCrCbH1V1toRGB888u8G},
            {lmvColorYCrCbH1V2toRGB888u8C, lmvColorYCrCbH1V2toRGB888u8G},
            {lmvColorYCrCbH2V1toRGB888u8C, lmvColorYCrCbH2V1toRGB888u8G},
            {lmvColorYCrCbH2V2toRGB888u8C, lmvColorYCrCbH2V2toRGB888u8G}};
        // Enough units for the densest sampling, 8x8 pixels in 192 bytes.
        const uint8_t* units = b.make(((h + 7) / 8) * ((w + 7) / 8) * 192, 1);
        for (auto [reference, gpu] : decoders) {
            uint8_t* expected = b.make(pixels * 3, 2);
            uint8_t* got = b.make(pixels * 3, 3);
            reference(units, w, h, expected);
            gpu(units, w, h, got);
            EXPECT_EQ(0, std::memcmp(expected, got, pixels * 3));
            ++runs;
        }
        const uint8_t* yuv = b.make(pixels + size_t(w) * ((h + 1) / 2) + 1, 4);
        uint16_t* rgb565[2] = {reinterpret_cast<uint16_t*>(b.make(pixels * 2, 5)),
                               reinterpret_cast<uint16_t*>(b.make(pixels * 2, 6))};
        lmvColorYUV420toRGB565u8C(yuv, w, h, rgb565[0]);
        lmvColorYUV420toRGB565u8G(yuv, w, h, rgb565[1]);
        EXPECT_EQ(0, std::memcmp(rgb565[0], rgb565[1], pixels * 2));
        const uint32_t yStride = w + 3, cStride = w + 5, dstStride = 4 * w + 8;
        const uint8_t* semi = b.make(size_t(yStride) * h + size_t(cStride) * ((h + 1) / 2), 7);
        uint8_t* rgba[2] = {b.make(size_t(dstStride) * h, 8), b.make(size_t(dstStride) * h, 8)};
        lmvColorYCrCb420PseudoPlanarToRGB8888u8C(semi, w, h, yStride, cStride, rgba[0], dstStride);
        lmvColorYCrCb420PseudoPlanarToRGB8888u8G(semi, w, h, yStride, cStride, rgba[1], dstStride);
        EXPECT_EQ(0, std::memcmp(rgba[0], rgba[1], size_t(dstStride) * h));
        const uint8_t* image = b.make(pixels, 9);
        uint8_t* half[2] = {b.make(pixels / 4 + 1, 10), b.make(pixels / 4 + 1, 10)};
        lmvScaleDownBy2Gaussian5x5u8C(image, w, h, half[0]);
        lmvScaleDownBy2Gaussian5x5u8G(image, w, h, half[1]);
        EXPECT_EQ(0, std::memcmp(half[0], half[1], pixels / 4 + 1));
        runs += 3;
    }
    EXPECT_EQ(before + runs, ilmvGpuStats().engineRuns);
}

// The filter engines no slot dispatches to (the bordered box means, the separable s16
// correlations) against the reference forms they mirror.
TEST_F(Gpu, FilterEnginesWithoutASlotGiveTheReferenceBytes)
{
    REQUIRE_GPU();
    const int16_t taps[11] = {1, -10, 45, 120, -210, 252, 210, -120, 45, 10, -1};
    for (const auto& size : {std::pair<uint32_t, uint32_t>{16, 16}, {37, 19}, {64, 48}}) {
        const uint32_t w = size.first, h = size.second;
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        Blocks b;
        const size_t pixels = size_t(w) * h;
        const uint8_t* image = b.make(pixels, 1);
        for (uint32_t k : {3u, 5u, 11u})
            for (LMV_BORDER_TYPE border : {LUMIVA_BORDER_UNDEFINED, LUMIVA_BORDER_CONSTANT, LUMIVA_BORDER_REPLICATE}) {
                uint8_t* expected = b.make(pixels, 2);
                uint8_t* got = b.make(pixels, 2);
                ASSERT_EQ(LUMIVA_SUCCESS, ilmvBox(ilmvFilterRowsC(), k, image, w, h, w, expected, w, border, 9));
                ASSERT_EQ(0, lmvGpuBoxFilteru8V2(k, image, w, h, w, got, w, border, 9));
                EXPECT_EQ(0, std::memcmp(expected, got, pixels)) << k << " " << border;
            }
        const int16_t* wide = reinterpret_cast<const int16_t*>(b.make(pixels * 2, 3));
        for (uint32_t k : {9u, 11u}) {
            int16_t* expected = reinterpret_cast<int16_t*>(b.make(pixels * 2, 4));
            int16_t* got = reinterpret_cast<int16_t*>(b.make(pixels * 2, 4));
            (k == 9 ? lmvFilterCorrSep9x9s16C : lmvFilterCorrSep11x11s16C)(wide, w, h, 2 * w, taps, 9, expected, 2 * w);
            ASSERT_EQ(0, (k == 9 ? lmvGpuFilterCorrSep9x9s16 : lmvGpuFilterCorrSep11x11s16)(wide, w, h, 0, taps, 9, got, 0));
            EXPECT_EQ(0, std::memcmp(expected, got, pixels * 2)) << k;
        }
    }
}

// A random image whose dark and bright blobs give Canny and Hough something to find.
uint8_t* blobs(Blocks& b, uint32_t w, uint32_t h, uint32_t seed)
{
    uint8_t* p = b.make(size_t(w) * h, seed);
    for (uint32_t y = 0; y < h; ++y)
        for (uint32_t x = 0; x < w; ++x) {
            const int dx = int(x) - int(w / 2), dy = int(y) - int(h / 2);
            const bool inside = dx * dx + dy * dy < int(w * w / 9) || ((x / 11 + y / 7) % 4 == 0);
            p[size_t(y) * w + x] = uint8_t((inside ? 190 : 50) + p[size_t(y) * w + x] % 23);
        }
    return p;
}

// The engines of the edge family without a slot of the GPU list: Canny's two, Hough lines,
// and the Hough circles' G form, against the reference on the same blocks.
TEST_F(Gpu, EdgeEnginesGiveTheReferenceResults)
{
    REQUIRE_GPU();
    for (const auto& size : {std::pair<uint32_t, uint32_t>{16, 16}, {37, 19}, {64, 48}}) {
        const uint32_t w = size.first, h = size.second;
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        Blocks b;
        const size_t pixels = size_t(w) * h;
        const uint8_t* image = blobs(b, w, h, w + h);
        std::vector<uint8_t> expected(pixels);
        std::vector<int16_t> ex(pixels), ey(pixels);
        lmvFilterCanny3x3u8_v3C(image, w, h, w, expected.data(), w, 40, 90, ex.data(), ey.data(), 2 * w);
        uint8_t* got = b.make(pixels, 2);
        ASSERT_EQ(0, lmvGpuFilterCanny3x3u8(image, w, h, 0, got, 0, 90, 40)) << "thresholds swapped";
        EXPECT_EQ(0, std::memcmp(expected.data(), got, pixels));
        int16_t* gx = reinterpret_cast<int16_t*>(b.make(pixels * 2 + 8, 3));
        int16_t* gy = reinterpret_cast<int16_t*>(b.make(pixels * 2 + 8, 4));
        std::memset(got, 0, pixels);
        ASSERT_EQ(0, lmvGpuFilterCanny3x3u8V2(image, w, h, 0, got, 0, 40, 90, gx, gy, 2 * w + 4));
        EXPECT_EQ(0, std::memcmp(expected.data(), got, pixels));
        for (uint32_t y = 0; y < h; ++y) {
            EXPECT_EQ(0, std::memcmp(&ex[y * w], gx + y * (w + 2), 2 * w));
            EXPECT_EQ(0, std::memcmp(&ey[y * w], gy + y * (w + 2), 2 * w));
        }
        float32_t lines[2][40];
        uint32_t counts[2];
        lmvHoughLineu8C(expected.data(), w, h, w, 1.0f, 0.05f, 8, lines[0], 20, &counts[0]);
        ASSERT_EQ(0, lmvGpuHoughLineu8(got, w, h, 0, 1.0f, 0.05f, 8, lines[1], 20, &counts[1]));
        ASSERT_EQ(counts[0], counts[1]);
        EXPECT_EQ(0, std::memcmp(lines[0], lines[1], counts[0] * 8));
        float32_t circles[2][30];
        lmvHoughCircleu8C(image, w, h, w, 1.5f, 4.0f, 90, 6, 3, w / 2, circles[0], 10, &counts[0]);
        lmvHoughCircleu8G(image, w, h, w, 1.5f, 4.0f, 90, 6, 3, w / 2, circles[1], 10, &counts[1]);
        ASSERT_EQ(counts[0], counts[1]);
        EXPECT_EQ(0, std::memcmp(circles[0], circles[1], counts[0] * 12));
    }
}

TEST_F(Gpu, InPlaceFormsWorkOnOneBlockAndNeighbourhoodFormsDecline)
{
    REQUIRE_GPU();
    Blocks b;
    const uint32_t w = 32, h = 8;
    uint8_t* rgb = b.make(w * h * 3, 11);
    std::vector<uint8_t> expected(w * h * 3);
    lmvColorRGB888toYCrCbu8C(rgb, w, h, 0, expected.data(), 0);
    EXPECT_EQ(0, lmvGpuColorRGB888toYCrCbu8(rgb, w, h, 0, rgb, 0));
    EXPECT_EQ(0, std::memcmp(expected.data(), rgb, expected.size()));
    uint8_t* grey = b.make(w * h, 12);
    EXPECT_EQ(397, lmvGpuFilterGaussian3x3u8(grey, w, h, 0, grey, 0, 1));
    EXPECT_EQ(397, lmvGpuScaleDownBy2Gaussian5x5u8(grey, w, h, 0, grey, 0));
}

TEST_F(Gpu, PointersThatAreNotBlockStartsAreRefusedAndNothingIsWritten)
{
    REQUIRE_GPU();
    Blocks b;
    const uint32_t w = 32, h = 8;
    uint8_t* rgb = b.make(w * h * 3, 13);
    uint8_t* grey = b.make(w * h + 64, 14);
    std::vector<uint8_t> heap(w * h, 0xAB), before(grey, grey + w * h + 64);
    EXPECT_EQ(396, lmvGpuColorRGB888ToGrayu8(rgb, w, h, 0, heap.data(), 0));
    EXPECT_EQ(396, lmvGpuColorRGB888ToGrayu8(rgb + 16, w, h, 0, grey, 0));      // interior source
    EXPECT_EQ(396, lmvGpuColorRGB888ToGrayu8(rgb, w, h, 0, grey + 64, 0));      // interior destination
    EXPECT_EQ(397, lmvGpuColorRGB888ToGrayu8(rgb, w, h * 100, 0, grey, 0));     // beyond the block
    EXPECT_EQ(397, lmvGpuColorRGB888ToGrayu8(rgb, 0, h, 0, grey, 0));
    EXPECT_TRUE(std::all_of(heap.begin(), heap.end(), [](uint8_t v) { return v == 0xAB; }));
    EXPECT_EQ(0, std::memcmp(before.data(), grey, before.size()));
    // The dispatched form still gives the reference bytes for the heap destination.
    std::vector<uint8_t> expected(w * h);
    lmvColorRGB888ToGrayu8C(rgb, w, h, 0, expected.data(), 0);
    lmvColorRGB888ToGrayu8G(rgb, w, h, 0, heap.data(), 0);
    EXPECT_EQ(expected, heap);
}

// ---- Modes --------------------------------------------------------------------------------

// The GPU slots of a mode give the reference bytes with or without a GPU; with one they run
// there.
void expectGreyAndGaussianOnTheGpuWhen(bool gpu)
{
    const uint32_t w = 64, h = 32;
    auto* rgb = static_cast<uint8_t*>(lmvMemAlloc(w * h * 3, 64));
    auto* grey = static_cast<uint8_t*>(lmvMemAlloc(w * h, 64));
    auto* blurred = static_cast<uint8_t*>(lmvMemAlloc(w * h, 64));
    std::mt19937 rng(5);
    for (uint32_t i = 0; i < w * h * 3; ++i) rgb[i] = static_cast<uint8_t>(rng());
    std::memset(blurred, 0, w * h);
    std::vector<uint8_t> expectedGrey(w * h), expectedBlur(w * h, 0);
    lmvColorRGB888ToGrayu8C(rgb, w, h, 0, expectedGrey.data(), 0);
    lmvFilterGaussian3x3u8C(expectedGrey.data(), w, h, 0, expectedBlur.data(), 0, 1);
    const uint64_t before = ilmvGpuStats().engineRuns;
    lmvColorRGB888ToGrayu8(rgb, w, h, 0, grey, 0);
    lmvFilterGaussian3x3u8_v2(grey, w, h, 0, blurred, 0, 1);
    EXPECT_EQ(0, std::memcmp(expectedGrey.data(), grey, w * h));
    EXPECT_EQ(0, std::memcmp(expectedBlur.data(), blurred, w * h));
    EXPECT_EQ(before + (gpu ? 2 : 0), ilmvGpuStats().engineRuns);
    lmvMemFree(rgb);
    lmvMemFree(grey);
    lmvMemFree(blurred);
}

TEST_F(Gpu, TheGpuModesRunTheGpuSlotsThereWithOrWithoutAGpu)
{
    for (int32_t mode : {kAllGpu, int32_t(LUMIVA_OP_CPU_OFFLOAD)}) {
        SCOPED_TRACE(mode);
        ASSERT_EQ(0, lmvSetOperationMode(mode));
        EXPECT_EQ(LMV_IMPL_G, lmvImplTable[LMV_API_lmvColorRGB888ToGrayu8]);
        EXPECT_EQ(LMV_IMPL_G, lmvImplTable[LMV_API_lmvFilterGaussian3x3u8]);
        EXPECT_TRUE(lmvIsPresentImpl[LMV_API_lmvColorRGB888ToGrayu8] & LMV_PRESENT_GPU);
        EXPECT_EQ(gpuExpected() ? 1 : 0, GPU_initflag);
        expectGreyAndGaussianOnTheGpuWhen(gpuExpected());
        lmvCleanUp();
    }
    ilmvGpuSetLibraries("liblumiva_no_opencl.so");
    ASSERT_EQ(0, lmvSetOperationMode(kAllGpu));
    EXPECT_EQ(0, GPU_initflag);
    EXPECT_FALSE(lmvAvailableHWComponent(kAllGpu) & LUMIVA_HW_GPU);
    EXPECT_EQ(LMV_IMPL_G, lmvImplTable[LMV_API_lmvColorRGB888ToGrayu8]);
    expectGreyAndGaussianOnTheGpuWhen(false);
}

TEST_F(Gpu, PerformanceModeMovesItsGpuListOnlyWithAGpu)
{
    ASSERT_EQ(0, lmvSetOperationMode(LUMIVA_OP_PERFORMANCE));
    EXPECT_EQ(gpuExpected() ? LMV_IMPL_G : LMV_IMPL_V,
              lmvImplTable[LMV_API_lmvColorYCrCb420PseudoPlanarToRGB8888u8]);
    EXPECT_EQ(LMV_IMPL_V, lmvImplTable[LMV_API_lmvColorRGB888ToGrayu8]);
}

TEST_F(Gpu, ModeAndCleanUpCyclesLeaveNothingBehind)
{
    REQUIRE_GPU();
    lmvCleanUp();
    ASSERT_EQ(0, lmvSetOperationMode(kAllGpu));  // warm: the driver's own first-use state
    lmvCleanUp();
    const int descriptors = openDescriptors();
    const size_t heap = mallinfo2().uordblks;
    // A thousand cycles take about 50 s natively; the sanitizer builds run a tenth of them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    const int cycles = 100;
#else
    const int cycles = 1000;
#endif
    for (int i = 0; i < cycles; ++i) {
        ASSERT_EQ(0, lmvSetOperationMode(kAllGpu));
        void* block = lmvMemAlloc(4096, 64);
        ASSERT_NE(nullptr, block);
        lmvMemFree(block);
        lmvCleanUp();
    }
    EXPECT_EQ(descriptors, openDescriptors());
    // The heap is reported, not checked: the OpenCL implementation's own state grows by tens
    // of bytes per context it creates (a bare context, queue and program cycle does too); the
    // leak check of the sanitizer build covers the library's allocations.
    std::printf("GPU mode cycles: heap %+lld bytes after %d cycles\n",
                static_cast<long long>(mallinfo2().uordblks) - static_cast<long long>(heap), cycles);
}

TEST_F(Gpu, ConcurrentEnginesGiveTheReferenceBytes)
{
    REQUIRE_GPU();
    // A block belongs to one call at a time (the call hands it to the device): one pair each.
    const uint32_t w = 48, h = 24;
    Blocks b;
    uint8_t* rgb[4];
    uint8_t* outs[4];
    for (int t = 0; t < 4; ++t) {
        rgb[t] = b.make(w * h * 3, 21 + t);
        outs[t] = b.make(w * h, 22);
    }
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 20; ++i) EXPECT_EQ(0, lmvGpuColorRGB888ToGrayu8(rgb[t], w, h, 0, outs[t], 0));
        });
    for (auto& t : threads) t.join();
    for (int t = 0; t < 4; ++t) {
        std::vector<uint8_t> expected(w * h);
        lmvColorRGB888ToGrayu8C(rgb[t], w, h, 0, expected.data(), 0);
        EXPECT_EQ(0, std::memcmp(expected.data(), outs[t], w * h));
    }
}

// ---- Faults -------------------------------------------------------------------------------

using ShimFail = void (*)(const char* function, int nth, int times, int code);
using ShimCalls = int (*)(const char* function);

void* shimLibrary()
{
    static void* handle = dlopen(LUMIVA_TEST_CL_SHIM, RTLD_NOW | RTLD_LOCAL);
    return handle;
}

// The stand-in library's switch, once the library is bound to it.
ShimFail shim()
{
    return shimLibrary() ? reinterpret_cast<ShimFail>(dlsym(shimLibrary(), "lumivaClShimFail")) : nullptr;
}

// Its count of one function's calls since the last count.
int shimCalls(const char* function)
{
    return reinterpret_cast<ShimCalls>(dlsym(shimLibrary(), "lumivaClShimCalls"))(function);
}

bool logged(const LogCapture& log, const std::string& text)
{
    for (const LogLine& l : log.lines())
        if (l.text.find(text) != std::string::npos) return true;
    return false;
}

// One failing call during creation: the code creation returns (0: it recovers) and the
// message it reports.
struct CreationFault {
    const char* function;
    int nth, times;
    cl_int code;
    int result;
    const char* message;
};

TEST_F(Gpu, EveryCreationFailureIsReportedWithItsCodeAndLeavesNothingOpen)
{
    if (!gpuExpected()) GTEST_SKIP() << "no GPU expected";
    ilmvGpuSetLibraries(LUMIVA_TEST_CL_SHIM);
    ASSERT_NE(nullptr, shim());
    ASSERT_EQ(0, lmvGpuCreateSystem(1));  // the binaries cached, the driver warm
    lmvGpuDestroySystem();
    const CreationFault faults[] = {
        {"clGetPlatformIDs", 1, 1, CL_PLATFORM_NOT_FOUND_KHR, CL_PLATFORM_NOT_FOUND_KHR, "Failed to get platform IDs"},
        {"clGetPlatformIDs", 2, 1, CL_OUT_OF_HOST_MEMORY, CL_OUT_OF_HOST_MEMORY, "Could not detect any platform."},
        {"clCreateContextFromType", 1, 1, CL_DEVICE_NOT_FOUND, 0, "Created an OpenCL CPU context."},
        {"clCreateContextFromType", 1, 1, CL_DEVICE_NOT_FOUND, 0,
         "There is no GPU device available on the first available platform."},
        {"clCreateContextFromType", 1, 2, CL_DEVICE_NOT_FOUND, CL_DEVICE_NOT_FOUND,
         "There is no OpenCL deveice available."},
        {"clCreateContextFromType", 1, 2, CL_OUT_OF_HOST_MEMORY, CL_OUT_OF_HOST_MEMORY,
         "Failed to allocate memory to create context."},
        {"clCreateContextFromType", 1, 2, CL_OUT_OF_RESOURCES, CL_OUT_OF_RESOURCES, "Failed to create context."},
        {"clGetContextInfo", 1, 1, CL_OUT_OF_RESOURCES, CL_OUT_OF_RESOURCES, "Failed to get device IDs"},
        {"clGetContextInfo", 2, 1, CL_OUT_OF_RESOURCES, CL_OUT_OF_RESOURCES,
         "Failed call to clGetContextInfo(...,GL_CONTEXT_DEVICES,...)"},
        {"clCreateCommandQueue", 1, 1, CL_OUT_OF_HOST_MEMORY, CL_OUT_OF_HOST_MEMORY,
         "Failed to allocate memory to create command queue."},
        {"clBuildProgram", 40, 1, CL_BUILD_PROGRAM_FAILURE, 0, "Retry building programs ... OK"},
        {"clCreateProgramWithBinary", 3, 1, CL_OUT_OF_HOST_MEMORY, 0, "Retry building programs ... OK"},
        {"clCreateBuffer", 2, 1, CL_MEM_OBJECT_ALLOCATION_FAILURE, 0, "Failed to create cached buffer object."},
    };
    const int descriptors = openDescriptors();
    for (const CreationFault& f : faults) {
        SCOPED_TRACE(std::string(f.function) + " " + f.message);
        LogCapture log;
        shim()(f.function, f.nth, f.times, f.code);
        EXPECT_EQ(f.result, lmvGpuCreateSystem(1));
        EXPECT_TRUE(logged(log, f.message));
        EXPECT_EQ(f.result == 0, ilmvGpuSystem()->initialised);
        shim()("", 0, 0, 0);
        lmvGpuDestroySystem();
    }
    EXPECT_EQ(descriptors, openDescriptors());
    // A mode call with a failing creation leaves bit 0x20 clear and the GPU slots on SIMD bytes.
    shim()("clCreateCommandQueue", 1, 1, CL_OUT_OF_HOST_MEMORY);
    ASSERT_EQ(0, lmvSetOperationMode(kAllGpu));
    EXPECT_EQ(0, GPU_initflag);
    expectGreyAndGaussianOnTheGpuWhen(false);
}

TEST_F(Gpu, AnInPlaceCallHandsItsOneBlockOverOnce)
{
    if (!gpuExpected()) GTEST_SKIP() << "no GPU expected";
    ilmvGpuSetLibraries(LUMIVA_TEST_CL_SHIM);
    ASSERT_NE(nullptr, shim());
    ASSERT_EQ(0, lmvGpuCreateSystem(1));
    Blocks b;
    uint8_t* rgb = b.make(32 * 8 * 3, 41);
    uint8_t* other = b.make(32 * 8 * 3, 42);
    for (const char* f : {"clEnqueueUnmapMemObject", "clEnqueueMapBuffer"}) shimCalls(f);
    EXPECT_EQ(0, lmvGpuColorRGB888toYCrCbu8(rgb, 32, 8, 0, rgb, 0));
    EXPECT_EQ(1, shimCalls("clEnqueueUnmapMemObject"));
    EXPECT_EQ(1, shimCalls("clEnqueueMapBuffer"));
    EXPECT_EQ(0, lmvGpuColorRGB888toYCrCbu8(rgb, 32, 8, 0, other, 0));
    EXPECT_EQ(2, shimCalls("clEnqueueUnmapMemObject"));
    EXPECT_EQ(2, shimCalls("clEnqueueMapBuffer"));
}

// One failing call inside an engine: the code it returns, its message, and blocks that stay
// usable: the next call runs on the GPU again.
TEST_F(Gpu, EveryEngineFailureIsReportedAndTheBlocksStayUsable)
{
    if (!gpuExpected()) GTEST_SKIP() << "no GPU expected";
    ilmvGpuSetLibraries(LUMIVA_TEST_CL_SHIM);
    ASSERT_NE(nullptr, shim());
    ASSERT_EQ(0, lmvGpuCreateSystem(1));
    struct EngineFault {
        const char* function;
        int nth;
        cl_int code;
        int result;
        const char* message;
    };
    const EngineFault faults[] = {
        {"clCreateKernel", 1, CL_OUT_OF_RESOURCES, CL_OUT_OF_RESOURCES - 400, nullptr},
        {"clEnqueueUnmapMemObject", 1, CL_OUT_OF_RESOURCES, CL_OUT_OF_RESOURCES - 400,
         "Failed to unmap RGB888 to gray mem obj."},
        {"clEnqueueUnmapMemObject", 2, CL_OUT_OF_RESOURCES, CL_OUT_OF_RESOURCES - 400,
         "Failed to unmap RGB888 to gray mem obj."},
        {"clSetKernelArg", 1, CL_INVALID_ARG_INDEX, 397, nullptr},
        {"clSetKernelArg", 3, CL_INVALID_ARG_INDEX, CL_INVALID_ARG_INDEX - 400,
         "Failed to setup RGB888 to gray kernel argments 2."},
        {"clEnqueueNDRangeKernel", 1, CL_OUT_OF_RESOURCES, CL_OUT_OF_RESOURCES - 400,
         "Failed to run RGB888 to gray kernel!"},
        {"clWaitForEvents", 1, CL_OUT_OF_RESOURCES, CL_OUT_OF_RESOURCES - 400, "Failed to run RGB888 to gray kernel!"},
        {"clEnqueueMapBuffer", 2, CL_OUT_OF_RESOURCES, CL_OUT_OF_RESOURCES, nullptr},
    };
    Blocks b;
    const uint32_t w = 32, h = 8;
    uint8_t* rgb = b.make(w * h * 3, 31);
    uint8_t* grey = b.make(w * h, 32);
    std::vector<uint8_t> expected(w * h);
    lmvColorRGB888ToGrayu8C(rgb, w, h, 0, expected.data(), 0);
    for (const EngineFault& f : faults) {
        SCOPED_TRACE(std::string(f.function) + " " + std::to_string(f.nth));
        LogCapture log;
        shim()(f.function, f.nth, 1, f.code);
        EXPECT_EQ(f.result, lmvGpuColorRGB888ToGrayu8(rgb, w, h, 0, grey, 0));
        if (f.message) {
            EXPECT_TRUE(logged(log, f.message));
        }
        shim()("", 0, 0, 0);
        std::memset(grey, 0, w * h);
        EXPECT_EQ(0, lmvGpuColorRGB888ToGrayu8(rgb, w, h, 0, grey, 0));
        EXPECT_EQ(0, std::memcmp(expected.data(), grey, w * h));
        // Through the G form a failure gives the SIMD bytes.
        shim()(f.function, f.nth, 1, f.code);
        std::memset(grey, 0, w * h);
        lmvColorRGB888ToGrayu8G(rgb, w, h, 0, grey, 0);
        EXPECT_EQ(0, std::memcmp(expected.data(), grey, w * h));
        shim()("", 0, 0, 0);
    }
}

// The threshold engine: "Threshold_16" over 16 x 8 pixels an item for widths that are a
// multiple of 16, "Threshold_2" over 2 x 2 otherwise, sizes as 16-bit and the threshold as
// 8-bit arguments; in place on one block; refusals that write nothing.
TEST_F(Gpu, TheThresholdEngineChoosesItsKernelAndWorkSize)
{
    if (!gpuExpected()) GTEST_SKIP() << "no GPU expected";
    ilmvGpuSetLibraries(LUMIVA_TEST_CL_SHIM);
    ASSERT_NE(nullptr, shim());
    ASSERT_EQ(0, lmvGpuCreateSystem(1));
    using LastRun = void (*)(size_t*, size_t*);
    auto lastRun = reinterpret_cast<LastRun>(dlsym(shimLibrary(), "lumivaClShimLastRun"));
    ASSERT_NE(nullptr, lastRun);
    struct Case {
        uint32_t w, h;
        size_t items[2];
    };
    for (const Case& c : {Case{640, 24, {40, 3}}, Case{642, 24, {321, 12}}, Case{645, 13, {322, 6}},
                          Case{32, 13, {2, 1}}}) {
        SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h));
        Blocks b;
        const size_t pixels = size_t(c.w) * c.h;
        uint8_t* src = b.make(pixels, c.w);
        uint8_t* dst = b.make(pixels, 1);
        std::vector<uint8_t> expected(pixels);
        lmvFilterThresholdu8C(src, c.w, c.h, c.w, expected.data(), c.w, 100);
        ASSERT_EQ(0, lmvGpuFilterThresholdu8(src, c.w, c.h, 0, dst, 0, 100));
        EXPECT_EQ(0, std::memcmp(expected.data(), dst, pixels));
        size_t global[2], bytes[32];
        lastRun(global, bytes);
        EXPECT_EQ(c.items[0], global[0]);
        EXPECT_EQ(c.items[1], global[1]);
        const size_t widths[9] = {sizeof(cl_mem), sizeof(cl_mem), 2, 2, 2, 2, 1, 2, 2};
        for (int a = 0; a < 9; ++a) EXPECT_EQ(widths[a], bytes[a]) << a;
        for (const char* f : {"clEnqueueUnmapMemObject", "clEnqueueMapBuffer"}) shimCalls(f);
        ASSERT_EQ(0, lmvGpuFilterThresholdu8(src, c.w, c.h, 0, src, 0, 100));
        EXPECT_EQ(0, std::memcmp(expected.data(), src, pixels));
        EXPECT_EQ(1, shimCalls("clEnqueueUnmapMemObject"));
        EXPECT_EQ(1, shimCalls("clEnqueueMapBuffer"));
        std::vector<uint8_t> own(pixels, 7);
        EXPECT_EQ(396, lmvGpuFilterThresholdu8(dst, c.w, c.h, 0, own.data(), 0, 100));
        EXPECT_EQ(397, lmvGpuFilterThresholdu8(dst, c.w, c.h, 0, src, 0, -1));
        EXPECT_EQ(std::vector<uint8_t>(pixels, 7), own);
        EXPECT_EQ(0, std::memcmp(expected.data(), src, pixels));
    }
    LogCapture log;
    Blocks b;
    uint8_t* img = b.make(64 * 8, 9);
    shim()("clEnqueueUnmapMemObject", 1, 1, CL_OUT_OF_RESOURCES);
    EXPECT_EQ(CL_OUT_OF_RESOURCES - 400, lmvGpuFilterThresholdu8(img, 64, 8, 0, img, 0, 9));
    shim()("clSetKernelArg", 8, 1, CL_INVALID_ARG_INDEX);
    EXPECT_EQ(CL_INVALID_ARG_INDEX - 400, lmvGpuFilterThresholdu8(img, 64, 8, 0, img, 0, 9));
    shim()("", 0, 0, 0);
    EXPECT_TRUE(logged(log, "Failed to unmap filter threshold mem obj."));
    EXPECT_TRUE(logged(log, "Failed to setup threshold kernel argments 4."));
    EXPECT_TRUE(logged(log, "src/gpgpu/engine/vskGpuThreshold"));
}

// The geometry engines at sizes whose destination differs from the source: each against the
// reference form from the same starting bytes (unwritten pixels must stay), the clipped
// extent from the row kernels, patch status from the host, and the refusals.
TEST_F(Gpu, GeometryEnginesGiveTheReferenceBytesAtRealSizes)
{
    REQUIRE_GPU();
    const float affine[6] = {0.93f, -0.31f, 9.4f, 0.29f, 0.95f, -6.2f};
    const float projection[9] = {1.02f, 0.13f, -4.5f, -0.07f, 0.91f, 6.25f, 0.0011f, -0.0008f, 1.0f};
    const uint64_t before = ilmvGpuStats().engineRuns;
    for (const auto& size : {std::pair<uint32_t, uint32_t>{40, 24}, {37, 19}}) {
        const uint32_t w = size.first, h = size.second;
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        Blocks b;
        const uint32_t dw = w + 5, dh = h - 3, ds = dw + 3;
        const uint8_t* src = b.make(size_t(w) * h * 4, w);
        uint8_t* dst = b.make(size_t(ds) * dh * 4, 3);
        auto* extent = reinterpret_cast<uint32_t*>(b.make(8 * dh, 0));
        auto same = [&](const std::function<void(uint8_t*, uint32_t*)>& ours, const std::function<int()>& engine,
                        size_t bytes) -> std::vector<uint32_t> {
            std::vector<uint8_t> expected(dst, dst + bytes);
            std::vector<uint32_t> expectedExtent(2 * dh);
            ours(expected.data(), expectedExtent.data());
            EXPECT_EQ(0, engine());
            EXPECT_EQ(0, std::memcmp(expected.data(), dst, bytes));
            return expectedExtent;
        };
        for (int interpolation : {LUMIVA_INTERPOLATION_NEAREST, LUMIVA_INTERPOLATION_BILINEAR}) {
            const auto e = same([&](uint8_t* d, uint32_t* x) { lmvTransformAffineClippedu8_v2C(src, w, h, w, affine, d, dw, dh, ds, x, interpolation); },
                                [&] { return lmvGpuTransformAffineClippedu8_v2(src, w, h, w, affine, dst, dw, dh, ds, extent, interpolation); },
                                size_t(ds) * dh);
            EXPECT_EQ(0, std::memcmp(e.data(), extent, 8 * dh));
            same([&](uint8_t* d, uint32_t*) { lmvTransformAffineClippedu8_v2C(src, w, h, w, affine, d, dw, dh, ds, nullptr, interpolation); },
                 [&] { return lmvGpuTransformAffineClippedu8_v2(src, w, h, w, affine, dst, dw, dh, ds, nullptr, interpolation); },
                 size_t(ds) * dh);
        }
        same([&](uint8_t* d, uint32_t*) { lmvTransformAffineu8_v2C(src, w, h, w, affine, d, dw, dh, ds); },
             [&] { return lmvGpuTransformAffineu8_v2(src, w, h, w, affine, dst, dw, dh, ds); }, size_t(ds) * dh);
        same([&](uint8_t* d, uint32_t*) { lmvWarpPerspectiveu8_v2C(src, w, h, w, d, dw, dh, ds, projection); },
             [&] { return lmvGpuWarpPerspectiveu8(src, w, h, w, dst, dw, dh, ds, projection); }, size_t(ds) * dh);
        same([&](uint8_t* d, uint32_t*) { lmv3ChannelWarpPerspectiveu8_v2C(src, w, h, 3 * w, d, dw, dh, 3 * ds, projection); },
             [&] { return lmvGpu3ChannelWarpPerspectiveu8(src, w, h, 3 * w, dst, dw, dh, 3 * ds, projection); },
             size_t(3 * ds) * dh);
        same([&](uint8_t* d, uint32_t*) { lmvScaleDownMNu8C(src, w, h, w, d, w * 3 / 5, h * 2 / 3, ds); },
             [&] { return lmvGpuScaleDownMNu8(src, w, h, w, dst, w * 3 / 5, h * 2 / 3, ds); }, size_t(ds) * (h * 2 / 3));
        same([&](uint8_t* d, uint32_t*) { lmvScaleDownBy4u8C(src, w, h, w, d, ds); },
             [&] { return lmvGpuScaleDownBy4u8(src, w, h, w, dst, ds); }, size_t(ds) * (h / 4));
        same([&](uint8_t* d, uint32_t*) { lmvScaleUpBy2Gaussian5x5u8C(src, dw / 2, dh / 2, w, d, ds); },
             [&] { return lmvGpuScaleUpBy2Gaussian5x5u8(src, dw / 2, dh / 2, w, dst, ds); }, size_t(ds) * dh);
        auto* mapX = reinterpret_cast<float*>(b.make(size_t(dw) * dh * 4, 0));
        auto* mapY = reinterpret_cast<float*>(b.make(size_t(dw) * dh * 4, 0));
        for (uint32_t i = 0; i < dw * dh; ++i) mapX[i] = float(i % dw) * 0.9f + 0.5f * (i % 3), mapY[i] = float(i / dw) * 1.1f - 1.0f;
        same([&](uint8_t* d, uint32_t*) { lmvRemapRGBA8888NNu8C(src, w, h, 4 * w, d, dw, dh, 4 * ds, mapX, mapY, 4 * dw); },
             [&] { return lmvGpuRemapRGBA8888NNu8(src, w, h, 4 * w, dst, dw, dh, 4 * ds, mapX, mapY, 4 * dw); },
             size_t(4 * ds) * dh);
        const float positions[6] = {20.3f, 11.8f, 1.0f, 2.5f, 30.0f, 9.25f};
        const float patchAffines[12] = {0.9f, -0.4f, 0.35f, 1.1f, 1, 0, 0, 1, 1.5f, 0.2f, -0.1f, 0.8f};
        int32_t status[3], expectedStatus[3];
        same([&](uint8_t* d, uint32_t*) { lmvTransformAffine8x8u8C(src, w, h, w, positions, patchAffines, 3, d, expectedStatus); },
             [&] { return lmvGpuTransformAffine8x8u8(src, w, h, w, positions, patchAffines, 3, dst, status); }, 192);
        EXPECT_EQ(0, std::memcmp(expectedStatus, status, sizeof status));
        // Refusals: an unknown interpolation, memory that is not a block; nothing written.
        std::vector<uint8_t> untouched(dst, dst + size_t(ds) * dh), own(size_t(ds) * dh, 7);
        EXPECT_EQ(397, lmvGpuTransformAffineClippedu8_v2(src, w, h, w, affine, dst, dw, dh, ds, nullptr, LUMIVA_INTERPOLATION_AREA));
        EXPECT_EQ(396, lmvGpuWarpPerspectiveu8(src, w, h, w, own.data(), dw, dh, ds, projection));
        EXPECT_EQ(0, std::memcmp(untouched.data(), dst, untouched.size()));
        EXPECT_EQ(std::vector<uint8_t>(size_t(ds) * dh, 7), own);
    }
    EXPECT_EQ(before + 2 * 12, ilmvGpuStats().engineRuns);
}

// Two-kernel engines with partial results in their own blocks: large enough that the histogram
// has its 64 bands and the rectangle several chunks.
TEST_F(Gpu, AnalysisEnginesGiveTheReferenceResultsAtRealSizes)
{
    REQUIRE_GPU();
    const uint64_t before = ilmvGpuStats().engineRuns;
    const uint32_t w = 173, h = 91, stride = 176, sumStride = (w + 1) * 4 + 8;
    Blocks b;
    const uint8_t* src = b.make(size_t(stride) * h, 5);
    auto* sums = reinterpret_cast<uint32_t*>(b.make(size_t(sumStride) * (h + 1), 0));
    std::vector<uint32_t> expected(sums, sums + size_t(sumStride / 4) * (h + 1));  // the padding stays
    lmvIntegrateImageu8_v2C(src, w, h, stride, expected.data(), sumStride);
    EXPECT_EQ(0, lmvGpuIntegrateImageu8(src, w, h, stride, sums, sumStride));
    EXPECT_EQ(0, std::memcmp(expected.data(), sums, expected.size() * 4));

    uint32_t hist[256], expectedHist[256];
    lmvImageIntensityHistogramC(src, w, h, stride, expectedHist);
    EXPECT_EQ(0, lmvGpuImageIntensityHistogram(src, w, h, stride, hist));
    EXPECT_EQ(0, std::memcmp(expectedHist, hist, sizeof hist));

    float mean = 0, variance = 0, expectedMean = 0, expectedVariance = 0;
    lmvImageIntensityStatsC(src, w, h, stride, 7, 3, 150, 80, &expectedMean, &expectedVariance);
    EXPECT_EQ(0, lmvGpuImageIntensityStats(src, w, h, stride, 7, 3, 150, 80, &mean, &variance));
    EXPECT_EQ(expectedMean, mean);
    EXPECT_EQ(expectedVariance, variance);
    EXPECT_EQ(397, lmvGpuImageIntensityStats(src, w, h, stride, 30, 3, 150, 80, &mean, &variance));

    const uint32_t count = 1000;
    auto* xy = reinterpret_cast<uint32_t*>(b.make(8 * count, 0));
    for (uint32_t i = 0; i < 2 * count; ++i) xy[i] = (i * 2654435761u) % 100000 + 17;
    uint32_t box[4], expectedBox[4];
    lmvBoundingRectangleC(xy, count, expectedBox, expectedBox + 1, expectedBox + 2, expectedBox + 3);
    EXPECT_EQ(0, lmvGpuBoundingRectangle(xy, count, box, box + 1, box + 2, box + 3));
    EXPECT_EQ(0, std::memcmp(expectedBox, box, sizeof box));
    EXPECT_EQ(397, lmvGpuBoundingRectangle(xy, 0, box, box + 1, box + 2, box + 3));
    EXPECT_EQ(before + 8, ilmvGpuStats().engineRuns);
}

}  // namespace
