// The operation-mode call: build the tables once, reset every choice to the reference
// form, then let the mode's setters move operations to SIMD, DSP or GPU.
#include "core/lumivaCore.h"
#include "lumiva/lumivaMode.h"
#include "platform/lumivaHardware.h"
#include "platform/lumivaPlatform.h"

#include <cstdlib>
#include <cstring>


extern "C" {

LMV_EXPORT lmvOperationMode mode_globalVar;
LMV_EXPORT int defaultDSP = LUMIVA_DSP_CDSP;
LMV_EXPORT uint32_t HW_constraint_checks_enable = 1;
LMV_EXPORT uint32_t X5_constraint_checks_enable = 1;
LMV_EXPORT uint8_t libLogPrint;
LMV_EXPORT int nLmvAvailableProc = 1;

LMV_EXPORT void setDefaultDSPValue(int value)
{
    defaultDSP = value;
}

}  // extern "C"

namespace {

bool gTablesInitialised = false;

// Extended modes, bit 31 set.
constexpr int32_t kModeSimd1 = static_cast<int32_t>(0x80000001u);
constexpr int32_t kModeCpuOnly = static_cast<int32_t>(0x80000002u);
constexpr int32_t kModeSimd4 = static_cast<int32_t>(0x80000004u);
constexpr int32_t kModeAllDsp8 = static_cast<int32_t>(0x80000008u);
constexpr int32_t kModeAllGpu = static_cast<int32_t>(0x80000020u);
constexpr int32_t kModeAllDsp400 = static_cast<int32_t>(0x80000400u);

void readLogProperty()
{
    char value[LUMIVA_PROPERTY_VALUE_MAX];
    ilmvPropertyGet("vendor.runtime.lumiva.log", value);
    libLogPrint = std::atoi(value) != 0;
}

void buildTables()
{
    if (!gTablesInitialised) {
        for (uint32_t column = 0; column <= LMV_IMPL_G; ++column) uCTable(column);
        for (uint32_t column = LMV_IMPL_V; column <= LMV_IMPL_G; ++column) uVTable(column);
        ilmvInstallMasterManager();
        lmvTableHWInit(lmvFuncTable, lmvInternalFuncTable, true, true);
        gTablesInitialised = true;
        return;
    }
    uVTable(LMV_IMPL_X);
    lmvTableHWInit(lmvFuncTable, lmvInternalFuncTable, true, true);
}

// Everything back to the reference form, except internal slot 11 (buffer registration)
// and API slots 362 and 363, which keep their index across mode changes.
void resetChoices()
{
    for (uint32_t slot = 0; slot < LMV_INTERNAL_COUNT; ++slot)
        if (slot != LMV_INTERNAL_lmvRegisterBuf) lmvInternalImplTable[slot] = LMV_IMPL_C;
    for (uint32_t slot = 0; slot < LMV_API_COUNT; ++slot)
        if (slot != LMV_API_RESERVED_362 && slot != LMV_API_RESERVED_363) lmvImplTable[slot] = LMV_IMPL_C;
}

bool usesSimd(int32_t mode)
{
    return mode != kModeCpuOnly && !(mode >= 4);
}

int applySetters(int32_t mode)
{
    LMV_FUNC_MANAGER* manager = ilmvManager();
    if (usesSimd(mode)) uVIndex();
    switch (mode) {
    case LUMIVA_OP_LOW_POWER: uHWLowPowerModeTable(manager); return 0;
    case LUMIVA_OP_PERFORMANCE: uHWPerformanceModeTable(manager); return 0;
    case LUMIVA_OP_CPU_OFFLOAD:
        uGIndex(manager);
        uXCpuOffloadModeTable(manager);
        return 0;
    case LUMIVA_OP_CPU_PERFORMANCE:
    case kModeSimd1:
    case kModeSimd4:
    case kModeCpuOnly: return 0;
    case kModeAllGpu: uGIndex(manager); return 0;
    case kModeAllDsp8:
    case kModeAllDsp400:
        HW_constraint_checks_enable = 0;
        X5_constraint_checks_enable = 0;
        if (defaultDSP >= 0 && defaultDSP <= 2)
            uXacmIndex(manager, LMV_IMPL_XA + defaultDSP);
        else
            ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s",
                    "defaultDSP flag is not set. Hence failed to set index for X Tables");
        return 0;
    default: return mode >= 4 ? 0 : -1;
    }
}

int applyMode(int32_t mode)
{
    HW_constraint_checks_enable = 1;
    X5_constraint_checks_enable = 1;
    nLmvAvailableProc = lmvAvailableProcessors();
    readLogProperty();
    lmvAvailableHardware(mode);
    buildTables();
    resetChoices();
    return applySetters(mode);
}

// A chip without DSP and GPU runs every hardware mode as CPU performance.
int32_t effectiveMode(int32_t mode)
{
    if (!ilmvCpuRecord().cpuOnly) return mode;
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s\n",
            "DSP and GPU not present. Setting LUMIVA mode to LUMIVA_OP_CPU_PERFORMANCE.");
    return LUMIVA_OP_CPU_PERFORMANCE;
}

void markReferenceFormsPresent()
{
    for (uint32_t slot = 0; slot < LMV_API_COUNT; ++slot) lmvIsPresentImpl[slot] |= LMV_PRESENT_C;
}

// The choices of the remote-library side: one per operation, set as the mode sets the
// library's own.
uint32_t gRemoteLibImpl[LMV_API_COUNT];
uint32_t gRemoteLibInternalImpl[LMV_INTERNAL_COUNT];

}  // namespace

extern "C" {

LMV_EXPORT int lmvSetOperationMode(lmvOperationMode mode)
{
    markReferenceFormsPresent();
    ilmvCpuRecord();
    if (mode != kModeCpuOnly) mode = effectiveMode(mode);
    mode_globalVar = mode;
    return applyMode(mode);
}

LMV_EXPORT int lmvSetOperationMode_internal(int32_t mode)
{
    return applyMode(mode);
}

LMV_EXPORT int lmvSetOperationModeExt(int option)
{
    if (option != LUMIVA_OP_EXT_XDSP && option != LUMIVA_OP_EXT_GPU) {
        const char* name = "lmvSetOperationModeExt";
        ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG,
                "Failed in %s. Please select appropriate option for mode to %s based on the target of interest", name,
                name);
        ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG,
                "For mobile targets, %s supports only LUMIVA_OP_EXT_XDSP and LUMIVA_OP_EXT_GPU options", name);
        ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG,
                "For non mobile targets(IOT or ZEB), %s supports LUMIVA_OP_EXT_XDSP, LUMIVA_OP_EXT_GPU, "
                "LUMIVA_OP_EXT_ADSP, LUMIVA_OP_EXT_CDSP and LUMIVA_OP_EXT_MDSP  options",
                name);
        return 1;
    }
    markReferenceFormsPresent();
    ilmvCpuRecord();
    int32_t mode = effectiveMode(option == LUMIVA_OP_EXT_XDSP ? kModeAllDsp400 : kModeAllGpu);
    mode_globalVar = mode;
    return applyMode(mode) != 0 ? 1 : 0;
}

LMV_EXPORT int lmvSetOperationModeRemoteLib(lmvOperationMode mode)
{
    // The setters write the library's own choice tables: those are kept aside while the
    // mode is applied, and the result becomes the remote side's.
    uint32_t saved[LMV_API_COUNT], savedInternal[LMV_INTERNAL_COUNT];
    const uint32_t savedChecks = HW_constraint_checks_enable, savedX5Checks = X5_constraint_checks_enable;
    std::memcpy(saved, lmvImplTable, sizeof saved);
    std::memcpy(savedInternal, lmvInternalImplTable, sizeof savedInternal);
    int result = applyMode(mode);
    std::memcpy(gRemoteLibImpl, lmvImplTable, sizeof saved);
    std::memcpy(gRemoteLibInternalImpl, lmvInternalImplTable, sizeof savedInternal);
    std::memcpy(lmvImplTable, saved, sizeof saved);
    std::memcpy(lmvInternalImplTable, savedInternal, sizeof savedInternal);
    HW_constraint_checks_enable = savedChecks;
    X5_constraint_checks_enable = savedX5Checks;
    return result;
}

LMV_EXPORT int lmvInitRemoteLib(lmvOperationMode mode)
{
    return lmvSetOperationModeRemoteLib(mode);
}

}  // extern "C"
