// The function and choice tables, the fillers, the index setters, the override calls,
// the mode resets and lmvLogAssert.
#include "core/lumivaModeLists.h"
#include "platform/lumivaHardware.h"
#include "lumivaKernels.h"
#include "lumivaTestSupport.h"

#include <set>

namespace {

using TablesFilled = TablesTest;

LMV_FUNC_PTR formOf(uint32_t slot, uint32_t column)
{
    return lmvFuncTable[slot * LMV_IMPL_COUNT + column];
}

TEST_F(TablesFilled, ColumnsOneToThreeHoldSimdAndOnlyTheDefaultDomainsRemoteColumnIsFilled)
{
    EXPECT_EQ(reinterpret_cast<LMV_FUNC_PTR>(&lmvAbsDiffu8C), formOf(LMV_API_lmvAbsDiffu8, 0));
    for (uint32_t column : {1u, 2u, 3u})
        EXPECT_EQ(reinterpret_cast<LMV_FUNC_PTR>(&lmvAbsDiffu8V), formOf(LMV_API_lmvAbsDiffu8, column));
    EXPECT_EQ(nullptr, formOf(LMV_API_lmvAbsDiffu8, LMV_IMPL_XA));
    EXPECT_EQ(reinterpret_cast<LMV_FUNC_PTR>(&lmvAbsDiffu8Xc), formOf(LMV_API_lmvAbsDiffu8, LMV_IMPL_XC));
    EXPECT_EQ(nullptr, formOf(LMV_API_lmvAbsDiffu8, LMV_IMPL_XM));
    EXPECT_EQ(LMV_PRESENT_C | LMV_PRESENT_V | LMV_PRESENT_DSP, lmvIsPresentImpl[LMV_API_lmvAbsDiffu8]);
    EXPECT_EQ(LMV_PRESENT_C, lmvIsPresentImpl[LMV_API_lmvBGCodeBookDiffu8]);
    EXPECT_EQ(nullptr, formOf(LMV_API_RESERVED_362, 0));
}

TEST_F(TablesFilled, ImplementationNames)
{
    const char* expected[] = {"CPU", "ORTAL", "XDSP", "GPU", "ADSP", "CDSP", "MDSP"};
    for (int i = 0; i < LMV_IMPL_COUNT; ++i) EXPECT_STREQ(expected[i], lmvImplChar[i]);
}

TEST_F(TablesFilled, ModeCallsKeepTheReservedSlotsAndBufferRegistration)
{
    lmvImplTable[LMV_API_RESERVED_362] = 5;
    lmvImplTable[LMV_API_RESERVED_363] = 3;
    lmvInternalImplTable[LMV_INTERNAL_lmvRegisterBuf] = 2;
    for (lmvOperationMode mode : {0, 1, 2, 3, 7, static_cast<int32_t>(0x80000002u), static_cast<int32_t>(0x80000020u)}) {
        lmvSetOperationMode(mode);
        EXPECT_EQ(5u, lmvImplTable[LMV_API_RESERVED_362]) << mode;
        EXPECT_EQ(3u, lmvImplTable[LMV_API_RESERVED_363]) << mode;
        EXPECT_EQ(2u, lmvInternalImplTable[LMV_INTERNAL_lmvRegisterBuf]) << mode;
    }
}

struct ModeRow {
    uint32_t mode;
    int result;
    uint32_t absDiffIndex;  // what slot 5 ends on (the all-DSP modes: the default domain, CDSP)
    uint32_t medianIndex;   // a GPU slot with SIMD, remote and G forms
};

TEST_F(TablesFilled, EachModeChoosesAsItsRowSays)
{
    const ModeRow rows[] = {
        {0, 0, 1, 1},           {1, 0, 1, 1},           {2, 0, 1, 3},           {3, 0, 1, 1},
        {4, 0, 0, 0},           {7, 0, 0, 0},           {0x80000001u, 0, 1, 1}, {0x80000004u, 0, 1, 1},
        {0x80000002u, 0, 0, 0}, {0x80000003u, -1, 1, 1}, {0x80000020u, 0, 1, 3}, {0x80000400u, 0, 5, 5},
        {0x80000008u, 0, 5, 5},
    };
    for (const ModeRow& row : rows) {
        EXPECT_EQ(row.result, lmvSetOperationMode(static_cast<int32_t>(row.mode))) << std::hex << row.mode;
        EXPECT_EQ(row.absDiffIndex, lmvImplTable[LMV_API_lmvAbsDiffu8]) << std::hex << row.mode;
        EXPECT_EQ(row.medianIndex, lmvImplTable[LMV_API_lmvFilterMedian3x3u8]) << std::hex << row.mode;
        EXPECT_EQ(static_cast<int32_t>(row.mode), mode_globalVar);
    }
    EXPECT_EQ(0u, HW_constraint_checks_enable);  // cleared by the all-DSP mode
    lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE);
    EXPECT_EQ(1u, HW_constraint_checks_enable);
}

// Every column a mode or an override may name for a slot with a reference form holds a
// callable pointer: the mode's own choice, and columns 0 to 3 that the override calls
// may write (SetPreferredApiToCore writes them without testing presence).
TEST_F(TablesFilled, EveryColumnThatCanBeChosenHoldsAForm)
{
    const uint32_t modes[] = {0, 1, 2, 3, 4, 7, 0x80000001u, 0x80000002u, 0x80000004u, 0x80000008u, 0x80000020u,
                              0x80000400u};
    for (uint32_t mode : modes) {
        lmvSetOperationMode(static_cast<int32_t>(mode));
        for (uint32_t slot = 0; slot < LMV_API_COUNT; ++slot) {
            if (!formOf(slot, LMV_IMPL_C)) continue;
            ASSERT_LT(lmvImplTable[slot], uint32_t(LMV_IMPL_COUNT)) << std::hex << mode << std::dec << " slot " << slot;
            EXPECT_NE(nullptr, formOf(slot, lmvImplTable[slot])) << std::hex << mode << std::dec << " slot " << slot;
            for (uint32_t ext = 0; ext < 4; ++ext) {
                EXPECT_NE(nullptr, formOf(slot, ext)) << "slot " << slot << " column " << ext;
                lmvSetFunctionApiToCore(static_cast<LMV_API_enum>(slot), static_cast<LMV_IMPL_ext>(ext));
                EXPECT_NE(nullptr, formOf(slot, lmvImplTable[slot])) << "override of slot " << slot << " to " << ext;
            }
        }
        for (uint32_t slot = 0; slot < LMV_INTERNAL_COUNT; ++slot) {
            const uint32_t idx = lmvInternalImplTable[slot];
            if (lmvInternalFuncTable[slot * LMV_IMPL_COUNT] && idx < LMV_IMPL_COUNT) {
                EXPECT_NE(nullptr, lmvInternalFuncTable[slot * LMV_IMPL_COUNT + idx])
                    << std::hex << mode << std::dec << " internal slot " << slot << " column " << idx;
            }
        }
    }
}

TEST_F(TablesFilled, OverrideLastsUntilTheNextModeCall)
{
    lmvSetFunctionApiToCore(LMV_API_lmvAbsDiffu8, LMV_IMPL_EXT_C);
    EXPECT_EQ(0u, lmvImplTable[LMV_API_lmvAbsDiffu8]);
    lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE);
    EXPECT_EQ(1u, lmvImplTable[LMV_API_lmvAbsDiffu8]);
}

TEST_F(TablesFilled, OverrideCallsLogAndRefuseMissingForms)
{
    LogCapture log;
    EXPECT_EQ(0, GetApiToCore(LMV_API_lmvAbsDiffu8, LMV_IMPL_EXT_NONE));
    EXPECT_TRUE(log.contains("lumiva_lib_log", "implementation does not exist\n\n"));
    EXPECT_EQ(LUMIVA_LOG_DEBUG, log.lines()[0].priority);
    EXPECT_EQ(1, GetApiToCore(LMV_API_lmvAbsDiffu8, LMV_IMPL_EXT_V));
    EXPECT_EQ(1, GetApiToCore(LMV_API_lmvAbsDiffu8, LMV_IMPL_EXT_X));
    EXPECT_EQ(0, GetApiToCore(LMV_API_lmvBGCodeBookDiffu8, LMV_IMPL_EXT_X));
    EXPECT_EQ(0, GetApiToCore(LMV_API_lmvAbsDiffu8, LMV_IMPL_EXT_G));

    log.clear();
    lmvSetFunctionApiToCore(LMV_API_lmvAbsDiffu8, LMV_IMPL_EXT_G);
    EXPECT_EQ(1u, lmvImplTable[LMV_API_lmvAbsDiffu8]);
    ASSERT_EQ(2u, log.lines().size());
    EXPECT_EQ("indise lmvSetFunctionApiToCore\n\n", log.lines()[0].text);
    EXPECT_EQ("IMPLEMENTATION UNSUPPORTED\n\n", log.lines()[1].text);

    log.clear();
    lmvSetFunctionApiToCore(LMV_API_lmvAbsDiffu8, static_cast<LMV_IMPL_ext>(9));
    ASSERT_EQ(3u, log.lines().size());
    EXPECT_EQ("implementation does not exist\n\n", log.lines()[1].text);
    EXPECT_EQ("IMPLEMENTATION UNSUPPORTED\n\n", log.lines()[2].text);
}

TEST_F(TablesFilled, SetPreferredWritesWithoutTestingPresence)
{
    LMV_FUNC_MANAGER* master = ilmvMasterManager();
    EXPECT_EQ(0, SetPreferredApiToCore(LMV_API_lmvAbsDiffu8, master, LMV_IMPL_EXT_G));
    EXPECT_EQ(3u, lmvImplTable[LMV_API_lmvAbsDiffu8]);
    LMV_FUNC_MANAGER shortRecord = *master;
    shortRecord.apiCount = 5;
    EXPECT_EQ(0, SetPreferredApiToCore(LMV_API_lmvAbsDiffu8, &shortRecord, LMV_IMPL_EXT_C));
    EXPECT_EQ(3u, lmvImplTable[LMV_API_lmvAbsDiffu8]);
    LogCapture log;
    EXPECT_EQ(0, SetPreferredApiToCore(LMV_API_lmvAbsDiffu8, master, LMV_IMPL_EXT_NONE));
    EXPECT_EQ(3u, lmvImplTable[LMV_API_lmvAbsDiffu8]);
    EXPECT_EQ(1u, log.lines().size());
}

using TablesDeathTest = TablesFilled;

TEST_F(TablesDeathTest, OverridesOfUnknownSlotsEndTheProcess)
{
    EXPECT_DEATH(GetApiToCore(static_cast<LMV_API_enum>(506), LMV_IMPL_EXT_C), "");
    EXPECT_DEATH(lmvSetFunctionApiToCore(static_cast<LMV_API_enum>(600), LMV_IMPL_EXT_V), "");
}

// A caller's record over its own small tables.
struct OwnTables {
    uint32_t impl[LMV_API_COUNT] = {};
    uint32_t internal[LMV_INTERNAL_COUNT] = {};
    LMV_FUNC_PTR funcs[LMV_API_COUNT * LMV_IMPL_COUNT] = {};
    LMV_FUNC_PTR internalFuncs[LMV_INTERNAL_COUNT * LMV_IMPL_COUNT] = {};
    LMV_FUNC_MANAGER record{impl, LMV_API_COUNT, funcs, internal, LMV_INTERNAL_COUNT, internalFuncs, LMV_IMPL_COUNT};
};

TEST(IndexSetters, GpuSetterWritesItsFortyTwoSlotsWithinTheRecord)
{
    OwnTables t;
    t.record.implCount = 3;
    EXPECT_EQ(4, uGIndex(&t.record));
    for (uint32_t v : t.impl) EXPECT_EQ(0u, v);

    t.record.implCount = 7;
    t.record.apiCount = 100;
    EXPECT_EQ(0, uGIndex(&t.record));
    std::set<uint32_t> written;
    for (uint32_t s = 0; s < LMV_API_COUNT; ++s)
        if (t.impl[s] == 3) written.insert(s);
    EXPECT_EQ((std::set<uint32_t>{1, 2, 29, 43, 44, 45, 66, 75}), written);

    t.record.apiCount = LMV_API_COUNT;
    EXPECT_EQ(0, uGIndex(&t.record));
    size_t count = 0;
    for (uint32_t v : t.impl) count += v == 3;
    EXPECT_EQ(42u, count);
}

TEST(IndexSetters, ReturnCodes)
{
    OwnTables t;
    EXPECT_EQ(1, uGIndex(nullptr));
    EXPECT_EQ(1, uXIndex(nullptr));
    t.record.implTable = nullptr;
    EXPECT_EQ(2, uGIndex(&t.record));
    EXPECT_EQ(2, uXIndex(&t.record));
    t.record.implTable = t.impl;
    t.record.internalImplTable = nullptr;
    EXPECT_EQ(0, uGIndex(&t.record));  // writes no internal slot
    EXPECT_EQ(3, uXIndex(&t.record));
    EXPECT_EQ(3, uXacmIndex(&t.record, 5));
    t.record.internalImplTable = t.internal;
    t.record.implCount = 2;
    EXPECT_EQ(4, uXIndex(&t.record));
    t.record.implCount = 5;
    EXPECT_EQ(4, uXacmIndex(&t.record, 5));
    EXPECT_EQ(0, uXacmIndex(&t.record, 4));
    EXPECT_EQ(4u, t.internal[0]);
    EXPECT_EQ(4u, t.internal[12]);
    EXPECT_EQ(0u, t.internal[8]);
}

TEST(IndexSetters, HardwareTablesChangeNothingWithoutTheUnits)
{
    // A processor whose maker has no DSP or GPU: the probe reports neither, whatever an
    // earlier test found.
    const ILMV_CPU_RECORD saved = ilmvCpuRecord();
    ilmvCpuRecord() = {true, ILMV_CPU_VFP, 0, false};
    OwnTables t;
    EXPECT_EQ(1, uHWLowPowerModeTable(&t.record));
    EXPECT_EQ(1, uXCpuOffloadModeTable(&t.record));
    EXPECT_EQ(0, uHWPerformanceModeTable(&t.record));
    EXPECT_EQ(1, uHWPerformanceModeTable(nullptr));
    for (uint32_t v : t.impl) EXPECT_EQ(0u, v);
    for (uint32_t v : t.internal) EXPECT_EQ(0u, v);
    ilmvCpuRecord() = saved;
}

TEST(IndexSetters, ModeListsAreSortedSlots)
{
    for (const auto* list : {&ilmvLowPowerRanges[0], &ilmvCpuOffloadRanges[0]}) {
        size_t count = list == ilmvLowPowerRanges ? ilmvLowPowerRangeCount : ilmvCpuOffloadRangeCount;
        for (size_t i = 0; i < count; ++i) {
            EXPECT_LE(list[i].first, list[i].last);
            EXPECT_LT(list[i].last, LMV_API_COUNT);
            if (i) {
                EXPECT_LT(list[i - 1].last, list[i].first);
            }
        }
    }
}

TEST_F(TablesFilled, MasterManagerNeedsAllFourTables)
{
    OwnTables t;
    EXPECT_EQ(1, lmvInitializeMasterFuncManager(nullptr));
    LMV_FUNC_MANAGER broken = t.record;
    broken.internalFuncTable = nullptr;
    EXPECT_EQ(1, lmvInitializeMasterFuncManager(&broken));
    EXPECT_EQ(ilmvMasterManager(), ilmvManager());
    broken = t.record;
    broken.apiCount = 0;  // counts are not checked
    EXPECT_EQ(0, lmvInitializeMasterFuncManager(&broken));
    EXPECT_EQ(&broken, ilmvManager());
    lmvInitializeMasterFuncManager(ilmvMasterManager());
}

TEST_F(TablesFilled, HardwareInitFillsOnlyTheDefaultDomain)
{
    LogCapture log;
    EXPECT_EQ(1, lmvTableHWInit(nullptr, lmvInternalFuncTable, true, true));
    EXPECT_EQ(0, lmvTableHWInit(lmvFuncTable, lmvInternalFuncTable, false, false));
    EXPECT_TRUE(log.lines().empty());
    setDefaultDSPValue(1);
    EXPECT_EQ(0, lmvTableHWInit(lmvFuncTable, lmvInternalFuncTable, true, true));
    EXPECT_TRUE(log.contains("lumiva_lib_log", "CDSP is available"));
    EXPECT_TRUE(log.contains("lumiva_lib_log", "GPU is available"));
    log.clear();
    setDefaultDSPValue(7);
    lmvTableHWInit(lmvFuncTable, lmvInternalFuncTable, true, false);
    ASSERT_EQ(1u, log.lines().size());
    EXPECT_EQ(LUMIVA_LOG_ERROR, log.lines()[0].priority);
    EXPECT_EQ("defaultDSP flag is not set. Hence unable to set memory pointers for LUMIVA function",
              log.lines()[0].text);
}

TEST(LogAssert, TagIsTheFileNameAndTheLineIsPadded)
{
    LogCapture log;
    EXPECT_EQ(7, lmvLogAssert("src/cpu/lumivaColorC", 42, LUMIVA_LOG_ERROR, "%s %d", "width", 0));
    ASSERT_EQ(1u, log.lines().size());
    EXPECT_EQ("lumivaColorC", log.lines()[0].tag);
    EXPECT_EQ("  42| width 0", log.lines()[0].text);
    EXPECT_EQ(LUMIVA_LOG_ERROR, log.lines()[0].priority);

    log.clear();
    lmvLogAssert("plain", 0, LUMIVA_LOG_DEBUG, "no line");
    EXPECT_EQ("plain", log.lines()[0].tag);
    EXPECT_EQ("no line", log.lines()[0].text);

    log.clear();
    std::string longName(300, 'x'), longText(900, 'y');
    EXPECT_EQ(900, lmvLogAssert(longName.c_str(), 12345, LUMIVA_LOG_ERROR, "%s", longText.c_str()));
    EXPECT_EQ(127u, log.lines()[0].tag.size());
    EXPECT_EQ(511u, log.lines()[0].text.size());
}

}  // namespace
