// The processor probe on saved cpuinfo files, the hardware mask on this host, the mode
// calls that depend on them, and the small lifecycle calls.
#include "lumivaTestSupport.h"
#include "xdsp_rpc/multi_domains/lumivaX5.h"
#include "gpgpu/engine/lumivaCl.h"
#include "platform/lumivaHardware.h"

#include <cstdlib>
#include <string>

namespace {

std::string dataFile(const char* name)
{
    return std::string(LUMIVA_TEST_DATA) + "/cpuinfo/" + name;
}

struct ProbeRow {
    const char* file;
    uint32_t features;
    uint32_t implementer;
    bool cpuOnly;  // with "LOWEND1;LOWEND2" configured as CPU-only chips
};

TEST(CpuProbe, SavedFilesFromThirtyTwoBitPhones)
{
    const ProbeRow rows[] = {
        {"armv7-quad.txt", ILMV_CPU_ARMV7 | ILMV_CPU_VFP | ILMV_CPU_NEON, 0x41, true},
        {"armv8-aarch32.txt", ILMV_CPU_ARMV7 | ILMV_CPU_VFP | ILMV_CPU_NEON, 0x51, false},
        {"many-cores-large.txt", ILMV_CPU_ARMV7 | ILMV_CPU_VFP | ILMV_CPU_NEON, 0x41, true},
        {"no-fields.txt", 0, 0, false},
        {"does-not-exist.txt", 0, 0, false},
    };
    for (const ProbeRow& row : rows) {
        ILMV_CPU_RECORD cpu = ilmvProbeCpuFile(dataFile(row.file).c_str(), "LOWEND1;LOWEND2");
        EXPECT_TRUE(cpu.probed) << row.file;
        EXPECT_EQ(row.features, cpu.features) << row.file;
        EXPECT_EQ(row.implementer, cpu.implementer) << row.file;
        EXPECT_EQ(row.cpuOnly, cpu.cpuOnly) << row.file;
    }
    EXPECT_FALSE(ilmvProbeCpuFile(dataFile("armv7-quad.txt").c_str(), "").cpuOnly);
}

TEST(CpuProbe, FieldExtraction)
{
    const char* text = "Features\t: fp asimd\nCPU architecture: 8\nXHardware : no\nHardware :  two spaces\r\nLast: x";
    auto field = [&](const char* name) {
        char* v = ilmvCpuInfoField(text, name);
        std::string s = v ? v : "<none>";
        std::free(v);
        return s;
    };
    EXPECT_EQ("fp asimd", field("Features"));
    EXPECT_EQ("8", field("CPU architecture"));
    EXPECT_EQ(" two spaces", field("Hardware"));  // one space is the separator, the rest is value
    EXPECT_EQ("x", field("Last"));
    EXPECT_EQ("<none>", field("Serial"));
    EXPECT_EQ("<none>", field("ardware"));  // only at the start of a line
}

TEST(CpuProbe, FeatureWordsMatchWholeWords)
{
    EXPECT_EQ(0u, ilmvParseCpuInfo("Features\t: vfpv3 neonx fpu\n", "").features);
    EXPECT_EQ(ILMV_CPU_VFP, ilmvParseCpuInfo("Features\t: half\tfp\n", "").features);
    EXPECT_EQ(ILMV_CPU_ARMV7, ilmvParseCpuInfo("CPU architecture: 10\n", "").features);
    EXPECT_EQ(0u, ilmvParseCpuInfo("CPU architecture: 6TEJ\n", "").features);
}

TEST(CpuProbe, PlatformPrefixes)
{
    EXPECT_TRUE(ilmvPlatformMatches("abc123", "xy;abc"));
    EXPECT_FALSE(ilmvPlatformMatches("ab", "xy;abc"));
    EXPECT_FALSE(ilmvPlatformMatches("abc123", ""));
}

class HardwareTest : public TablesTest {
protected:
    void TearDown() override
    {
        ilmvCpuRecord() = saved_;
        TablesTest::TearDown();
    }
    ILMV_CPU_RECORD saved_ = ilmvCpuRecord();
};

TEST_F(HardwareTest, HostWithoutUnitsHasNoDspOrGpuBits)
{
    ilmvX5SetLibraries("liblumivadsp_missing.so", nullptr);  // no stub: no DSP
    ilmvGpuSetLibraries("liblumiva_no_opencl.so");            // no OpenCL: no GPU
    for (int32_t mode : {0, 1, 2, 3, static_cast<int32_t>(0x80000400u)}) {
        uint32_t mask = lmvAvailableHardware(mode);
        EXPECT_TRUE(mask & LUMIVA_HW_PROBED);
        EXPECT_EQ(0u, mask & (LUMIVA_HW_DSP | LUMIVA_HW_GPU)) << mode;
    }
    EXPECT_EQ(0u, lmvAvailableHWComponent(1));
    EXPECT_EQ(0, XDSP_initflag);
    EXPECT_EQ(0, GPU_initflag);
    lmvCleanUp();
    ilmvX5SetLibraries("liblumivadsp_stub.so", nullptr);
    ilmvGpuSetLibraries(nullptr);
}

TEST_F(HardwareTest, ProcessorBitsFollowTheRecord)
{
    ilmvCpuRecord() = {true, ILMV_CPU_ARMV7 | ILMV_CPU_VFP | ILMV_CPU_NEON, 0x41, false};
    EXPECT_EQ(LUMIVA_HW_PROBED | LUMIVA_HW_NEON | LUMIVA_HW_VFP | LUMIVA_HW_ARMV7 | LUMIVA_HW_PLATFORM,
              lmvAvailableHardware(LUMIVA_OP_CPU_PERFORMANCE));
    ilmvCpuRecord() = {true, ILMV_CPU_VFP, 0, false};
    EXPECT_EQ(LUMIVA_HW_PROBED | LUMIVA_HW_VFP, lmvAvailableHardware(LUMIVA_OP_CPU_PERFORMANCE));
}

TEST_F(HardwareTest, CpuOnlyDeviceRunsHardwareModesAsCpuPerformance)
{
    ilmvCpuRecord().cpuOnly = true;
    LogCapture log;
    EXPECT_EQ(0, lmvSetOperationMode(LUMIVA_OP_CPU_OFFLOAD));
    EXPECT_EQ(LUMIVA_OP_CPU_PERFORMANCE, mode_globalVar);
    EXPECT_EQ(1u, lmvImplTable[LMV_API_lmvAbsDiffu8]);
    EXPECT_EQ(1u, lmvImplTable[LMV_API_lmvFilterMedian3x3u8]);  // SIMD, no GPU choice either
    EXPECT_TRUE(log.contains("lumiva_lib_log",
                             "DSP and GPU not present. Setting LUMIVA mode to LUMIVA_OP_CPU_PERFORMANCE.\n"));
    log.clear();
    EXPECT_EQ(0, lmvSetOperationMode(static_cast<int32_t>(0x80000002u)));
    EXPECT_EQ(static_cast<int32_t>(0x80000002u), mode_globalVar);
    EXPECT_EQ(0u, lmvImplTable[LMV_API_lmvAbsDiffu8]);
    EXPECT_TRUE(log.lines().empty() || log.lines()[0].text.find("not present") == std::string::npos);
    EXPECT_EQ(1, lmv_check_only_cpu());
}

TEST_F(HardwareTest, ExtendedOptions)
{
    EXPECT_EQ(0, lmvSetOperationModeExt(LUMIVA_OP_EXT_GPU));
    EXPECT_EQ(3u, lmvImplTable[LMV_API_lmvFilterMedian3x3u8]);
    EXPECT_EQ(0, lmvSetOperationModeExt(LUMIVA_OP_EXT_XDSP));
    EXPECT_EQ(static_cast<int32_t>(0x80000400u), mode_globalVar);
    EXPECT_EQ(0u, HW_constraint_checks_enable);
    EXPECT_EQ(0u, X5_constraint_checks_enable);
    LogCapture log;
    EXPECT_EQ(1, lmvSetOperationModeExt(5));
    ASSERT_EQ(3u, log.lines().size());
    EXPECT_EQ("Failed in lmvSetOperationModeExt. Please select appropriate option for mode to lmvSetOperationModeExt "
              "based on the target of interest",
              log.lines()[0].text);
    EXPECT_EQ("For mobile targets, lmvSetOperationModeExt supports only LUMIVA_OP_EXT_XDSP and LUMIVA_OP_EXT_GPU "
              "options",
              log.lines()[1].text);
    EXPECT_EQ(LUMIVA_LOG_DEBUG, log.lines()[2].priority);
}

TEST_F(HardwareTest, RemoteLibraryChoicesLeaveTheLibrarysOwn)
{
    lmvSetFunctionApiToCore(LMV_API_lmvAbsDiffu8, LMV_IMPL_EXT_C);
    EXPECT_EQ(0, lmvInitRemoteLib(7));
    EXPECT_EQ(0u, lmvImplTable[LMV_API_lmvAbsDiffu8]);
    EXPECT_EQ(1u, lmvImplTable[LMV_API_lmvAddu8]);
}

TEST(Lifecycle, VersionAndTime)
{
    char version[8];
    std::memset(version, 'x', sizeof version);
    lmvGetVersion(version, 8);
    EXPECT_STREQ("1.7.1", version);
    std::memset(version, 'x', sizeof version);
    lmvGetVersion(version, 5);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(0, version[i]);
    EXPECT_EQ('x', version[5]);
    lmvGetVersion(nullptr, 8);
    int64_t t0 = lmvGetTime(), t1 = lmvGetTime();
    EXPECT_GT(t0, int64_t(1600000000) * 1000000);
    EXPECT_GE(t1, t0);
    EXPECT_GE(lmvAvailableProcessors(), 1);
}

TEST(Lifecycle, DspAndPlatformLibraryAbsentOnThisHost)
{
    ilmvX5SetLibraries("liblumivadsp_missing.so", nullptr);
    LogCapture log;
    EXPECT_NE(1, lmvSelectXDSP5Mode(1));
    EXPECT_EQ(0, XDSP_initflag);
    EXPECT_EQ(-1, lmvPlatformOptLoad());
    EXPECT_EQ(nullptr, lmvPlatformOptGetFunc("anything"));
    EXPECT_EQ(0, lmvPlatformOptClose());
    bool failedOpen = false;
    for (const LogLine& l : log.lines())
        failedOpen |= l.tag == "lumiva_PLATFORM" && l.text.find("dlopen for /data/local/liblmvopt.so failed!") == 0;
    EXPECT_TRUE(failedOpen);
    lmvCleanUp();
    ilmvX5SetLibraries("liblumivadsp_stub.so", nullptr);
    EXPECT_EQ(0, GPU_initflag);
}

}  // namespace
