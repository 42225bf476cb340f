// The contract every entry function follows: stride defaulting, the fallback of remote
// and GPU choices, the runtime log, argument assertions, the status shape with its
// 32768 fallback, and the hard stop on a corrupt index.
#include "lumivaTestSupport.h"

#include <cstdlib>

namespace {

struct Seen {
    int column = -1;
    int calls = 0;
    uint32_t srcStride = 0;
    uint32_t dstStride = 0;
};
Seen gSeen;

template <int Column>
void absDiffSpy(const uint8_t*, const uint8_t*, uint32_t, uint32_t, uint32_t ss, uint8_t*, uint32_t ds)
{
    gSeen = {Column, gSeen.calls + 1, ss, ds};
}

template <int Column>
void imageDiffSpy(const int16_t*, const int16_t*, uint32_t, uint32_t, uint32_t ss, int16_t*, uint32_t ds)
{
    gSeen = {Column, gSeen.calls + 1, ss, ds};
}

template <int Column, int Result>
LMV_STATUS addSpy(const uint8_t*, uint32_t, uint32_t, uint32_t s1, const uint8_t*, uint32_t, LMV_OVERFLOW_POLICY,
                  uint8_t*, uint32_t sd)
{
    gSeen = {Column, gSeen.calls + 1, s1, sd};
    return static_cast<LMV_STATUS>(Result);
}

// A 64-byte aligned buffer big enough for every call below.
alignas(64) uint8_t gImage[200 * 160 * 2];

class EntryTest : public TablesTest {
protected:
    void SetUp() override
    {
        TablesTest::SetUp();
        gSeen = {};
        installAbsDiffSpies();
    }
    void installAbsDiffSpies()
    {
        install(LMV_API_lmvAbsDiffu8, 0, absDiffSpy<0>);
        install(LMV_API_lmvAbsDiffu8, 1, absDiffSpy<1>);
        install(LMV_API_lmvAbsDiffu8, 2, absDiffSpy<2>);
        install(LMV_API_lmvAbsDiffu8, 3, absDiffSpy<3>);
        install(LMV_API_lmvAbsDiffu8, 4, absDiffSpy<4>);
        install(LMV_API_lmvAbsDiffu8, 5, absDiffSpy<5>);
        install(LMV_API_lmvAbsDiffu8, 6, absDiffSpy<6>);
    }
    // Calls lmvAbsDiffu8 with the slot on column `idx` and returns the column that ran.
    int absDiffRunsOn(uint32_t idx, uint32_t w, uint32_t h, uint32_t stride, size_t offset = 0)
    {
        lmvImplTable[LMV_API_lmvAbsDiffu8] = idx;
        gSeen = {};
        lmvAbsDiffu8(gImage + offset, gImage, w, h, stride, gImage, stride);
        return gSeen.column;
    }
};

TEST_F(EntryTest, ZeroStridesBecomeTheRowSize)
{
    lmvImplTable[LMV_API_lmvAbsDiffu8] = LMV_IMPL_C;
    lmvAbsDiffu8(gImage, gImage, 3, 1, 0, gImage, 0);
    EXPECT_EQ(1, gSeen.calls);
    EXPECT_EQ(3u, gSeen.srcStride);
    EXPECT_EQ(3u, gSeen.dstStride);
}

TEST_F(EntryTest, ZeroStridesOfWideElementsBecomeRowBytes)
{
    LogCapture log;
    int32_t src[6] = {1, -2, 3, 4, -5, 6}, dst[6] = {};
    lmvAbsDiffVs32(src, 3, 2, 0, 1, dst, 0);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(3, dst[1]);
    EXPECT_EQ(5, dst[5]);
}

TEST_F(EntryTest, RemoteChoiceNeedsAreaAboveTheThreshold)
{
    for (uint32_t remote : {2u, 4u, 5u, 6u}) {
        EXPECT_EQ(1, absDiffRunsOn(remote, 176, 144, 176)) << remote;
        EXPECT_EQ(static_cast<int>(remote), absDiffRunsOn(remote, 177, 144, 184)) << remote;
    }
}

TEST_F(EntryTest, RemoteChoiceNeedsAlignmentAndWidth)
{
    EXPECT_EQ(1, absDiffRunsOn(LMV_IMPL_XC, 177, 144, 185));     // odd stride
    EXPECT_EQ(1, absDiffRunsOn(LMV_IMPL_XC, 177, 144, 184, 4));  // misaligned source
    EXPECT_EQ(1, absDiffRunsOn(LMV_IMPL_XC, 31, 1000, 32));      // narrower than 32
    EXPECT_EQ(5, absDiffRunsOn(LMV_IMPL_XC, 32, 1000, 32));
}

TEST_F(EntryTest, RemoteChoiceKeptWhenChecksAreOff)
{
    HW_constraint_checks_enable = 0;
    EXPECT_EQ(5, absDiffRunsOn(LMV_IMPL_XC, 3, 1, 5, 1));
    EXPECT_EQ(0, absDiffRunsOn(LMV_IMPL_C, 3, 1, 5, 1));
}

TEST_F(EntryTest, GpuChoiceHasItsOwnRowWhateverTheChecks)
{
    install(LMV_API_lmvImageDiffs16, 1, imageDiffSpy<1>);
    install(LMV_API_lmvImageDiffs16, 3, imageDiffSpy<3>);
    HW_constraint_checks_enable = 0;
    const int16_t* src = reinterpret_cast<const int16_t*>(gImage);
    int16_t* dst = reinterpret_cast<int16_t*>(gImage);
    lmvImageDiffs16(src, src, 16, 2, 32, dst, 32);
    EXPECT_EQ(3, gSeen.column);
    lmvImageDiffs16(src, src, 12, 2, 32, dst, 32);  // width not a multiple of 8
    EXPECT_EQ(1, gSeen.column);
    lmvImageDiffs16(src + 4, src, 16, 2, 32, dst, 32);  // source not 16-byte aligned
    EXPECT_EQ(1, gSeen.column);
}

template <int Column>
void yCrCbSpy(const uint8_t*, uint32_t, uint32_t, uint32_t ss, uint8_t*, uint32_t ds)
{
    gSeen = {Column, gSeen.calls + 1, ss, ds};
}

// Slot 75 has two entries of its own; the older one, without strides, must apply the
// same rows to the arguments it passes on.
TEST_F(EntryTest, EveryEntryOfASlotAppliesItsRows)
{
    install(LMV_API_lmvColorRGB888toYCrCbu8, 1, yCrCbSpy<1>);
    install(LMV_API_lmvColorRGB888toYCrCbu8, 3, yCrCbSpy<3>);
    install(LMV_API_lmvColorRGB888toYCrCbu8, 5, yCrCbSpy<5>);
    struct Call {
        uint32_t idx, width, height;
        size_t offset;
        int expected;
    };
    const Call calls[] = {{LMV_IMPL_G, 16, 2, 0, 3},      {LMV_IMPL_G, 12, 2, 0, 1},
                          {LMV_IMPL_G, 16, 2, 4, 1},      {LMV_IMPL_XC, 40, 8, 0, 1},    
                          {LMV_IMPL_XC, 184, 144, 0, 5},  {LMV_IMPL_XC, 184, 144, 4, 1}};
    for (const Call& c : calls) {
        lmvImplTable[LMV_API_lmvColorRGB888toYCrCbu8] = c.idx;
        gSeen = {};
        lmvColorRGB888toYCrCbu8(gImage + c.offset, c.width, c.height, gImage);
        EXPECT_EQ(c.expected, gSeen.column) << "old entry " << c.width << "x" << c.height << " +" << c.offset;
        gSeen = {};
        lmvColorRGB888toYCrCbu8_v2(gImage + c.offset, c.width, c.height, 0, gImage, 0);
        EXPECT_EQ(c.expected, gSeen.column) << "_v2 " << c.width << "x" << c.height << " +" << c.offset;
    }
}

TEST_F(EntryTest, RuntimeLogNamesTheImplementationThatRuns)
{
    PropertyScope on("vendor.runtime.lumiva.log", "1");
    lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE);
    installAbsDiffSpies();
    LogCapture log;
    absDiffRunsOn(LMV_IMPL_XC, 177, 144, 185);
    ASSERT_EQ(1u, log.lines().size());
    EXPECT_EQ(LUMIVA_LOG_ERROR, log.lines()[0].priority);
    EXPECT_EQ("lumiva_runtime_log", log.lines()[0].tag);
    EXPECT_EQ("lmvAbsDiffu8_ORTAL", log.lines()[0].text);
    log.clear();
    absDiffRunsOn(LMV_IMPL_C, 3, 3, 3);
    EXPECT_TRUE(log.contains("lumiva_runtime_log", "lmvAbsDiffu8_CPU"));
}

TEST_F(EntryTest, RuntimeLogIsOffUnlessThePropertyIsANonZeroNumber)
{
    for (const char* value : {"0", "", "abc"}) {
        PropertyScope property("vendor.runtime.lumiva.log", value);
        lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE);
        installAbsDiffSpies();
        LogCapture log;
        absDiffRunsOn(LMV_IMPL_V, 3, 3, 3);
        EXPECT_TRUE(log.lines().empty()) << value;
    }
}

TEST_F(EntryTest, BrokenRuleLogsItsTextAndCallsNothing)
{
    PropertyScope on("vendor.runtime.lumiva.log", "7");
    lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE);
    installAbsDiffSpies();
    LogCapture log;
    lmvImplTable[LMV_API_lmvAbsDiffu8] = LMV_IMPL_XC;
    lmvAbsDiffu8(nullptr, gImage, 177, 144, 184, gImage, 184);
    EXPECT_EQ(0, gSeen.calls);
    ASSERT_EQ(2u, log.lines().size());
    // Fallback, then log, then assertion: the log names what would have run.
    EXPECT_EQ("lmvAbsDiffu8_CDSP", log.lines()[0].text);
    EXPECT_EQ("lumiva_lib_log", log.lines()[1].tag);
    EXPECT_EQ(LUMIVA_LOG_ERROR, log.lines()[1].priority);
    EXPECT_EQ("Assertion failed @lmvAbsDiffu8: src1 && src2 && dst && srcWidth && srcHeight && "
              "(srcStride >= srcWidth) && dstStride\n",
              log.lines()[1].text);
}

TEST_F(EntryTest, StrideRuleTestsTheDefaultedValue)
{
    LogCapture log;
    float32_t src[4] = {1, 2, 3, 4}, dst[4] = {};
    lmvAbsDifff32(src, src, 4, 1, 8, dst, 16);  // stride of 2 floats for a row of 4
    EXPECT_EQ(1u, log.lines().size());
    EXPECT_EQ(0.0f, dst[0]);
    lmvImageDifff32(src, src, 4, 1, 0, dst, 0);
    EXPECT_EQ(1u, log.lines().size());
}

TEST_F(EntryTest, StatusShapeRejectsWithoutLogging)
{
    install(LMV_API_lmvAddu8, 0, addSpy<0, 0>);
    LogCapture log;
    uint8_t* p = gImage;
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvAddu8(nullptr, 4, 4, 4, p, 4, LUMIVA_OVERFLOW_WRAP, p, 4));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvAddu8(p, 0, 4, 4, p, 4, LUMIVA_OVERFLOW_WRAP, p, 4));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvAddu8(p, 4, 0, 4, p, 4, LUMIVA_OVERFLOW_WRAP, p, 4));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvAddu8(p, 4, 4, 3, p, 4, LUMIVA_OVERFLOW_WRAP, p, 4));
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvAddu8(p, 4, 4, 4, p, 4, LUMIVA_OVERFLOW_WRAP, nullptr, 4));
    EXPECT_EQ(0, gSeen.calls);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(LUMIVA_SUCCESS, lmvAddu8(p, 4, 4, 0, p, 0, LUMIVA_OVERFLOW_WRAP, p, 0));
    EXPECT_EQ(4u, gSeen.srcStride);
    EXPECT_EQ(4u, gSeen.dstStride);
}

TEST_F(EntryTest, SixteenBitStatusMembersCompareStridesWithRowBytes)
{
    int16_t a[8] = {1, 2, 3, 4, 5, 6, 7, 8}, d[8] = {};
    EXPECT_EQ(LUMIVA_BAD_PARAMS, lmvAdds16_v2(a, 4, 2, 4, a, 8, LUMIVA_OVERFLOW_WRAP, d, 8));
    EXPECT_EQ(LUMIVA_SUCCESS, lmvAdds16_v2(a, 4, 2, 0, a, 8, LUMIVA_OVERFLOW_WRAP, d, 0));
    EXPECT_EQ(16, d[7]);
}

TEST_F(EntryTest, DecliningImplementationHandsTheCallToSimd)
{
    install(LMV_API_lmvAddu8, 1, addSpy<1, 42>);
    install(LMV_API_lmvAddu8, 5, addSpy<5, 0x8000>);
    EXPECT_EQ(42, lmvAddu8(gImage, 8, 8, 8, gImage, 8, LUMIVA_OVERFLOW_WRAP, gImage, 8));
    EXPECT_EQ(1, gSeen.column);
    EXPECT_EQ(2, gSeen.calls);
    install(LMV_API_lmvAddu8, 5, addSpy<5, 104>);
    gSeen = {};
    EXPECT_EQ(104, lmvAddu8(gImage, 8, 8, 8, gImage, 8, LUMIVA_OVERFLOW_WRAP, gImage, 8));
    EXPECT_EQ(5, gSeen.column);
    EXPECT_EQ(1, gSeen.calls);
}

using EntryDeathTest = EntryTest;

TEST_F(EntryDeathTest, CorruptIndexEndsTheProcess)
{
    EXPECT_DEATH(absDiffRunsOn(7, 4, 4, 4), "");
    EXPECT_DEATH(
        {
            lmvImplTable[LMV_API_lmvAddu8] = 9;
            lmvAddu8(gImage, 4, 4, 4, gImage, 4, LUMIVA_OVERFLOW_WRAP, gImage, 4);
        },
        "");
    EXPECT_DEATH(
        {
            libLogPrint = 1;
            absDiffRunsOn(7, 4, 4, 4);
        },
        "");
}

TEST_F(TablesTest, EntriesReachTheRealKernels)
{
    uint8_t a[3] = {10, 200, 7}, b[3] = {20, 100, 7}, d[3] = {};
    lmvAbsDiffu8(a, b, 3, 1, 0, d, 0);
    EXPECT_EQ(10, d[0]);
    EXPECT_EQ(100, d[1]);
    EXPECT_EQ(0, d[2]);
    EXPECT_EQ(LUMIVA_SUCCESS, lmvAddu8(a, 3, 1, 0, b, 0, LUMIVA_OVERFLOW_WRAP, d, 0));
    EXPECT_EQ(44, d[1]);
}

}  // namespace
