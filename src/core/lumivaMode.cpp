// The operation-mode call: build the tables once, reset every choice to the reference
// form, then let the mode's setters move operations to SIMD, DSP or GPU.
#include "core/lumivaCore.h"
#include "lumiva/lumivaMode.h"
#include "platform/lumivaPlatform.h"

#include <cstdlib>


extern "C" {

LMV_EXPORT lmvOperationMode mode_globalVar;
LMV_EXPORT int defaultDSP = LUMIVA_DSP_CDSP;
LMV_EXPORT uint32_t HW_constraint_checks_enable = 1;
LMV_EXPORT uint32_t X5_constraint_checks_enable = 1;
LMV_EXPORT uint8_t libLogPrint;

LMV_EXPORT void setDefaultDSPValue(int value)
{
    defaultDSP = value;
}

}  // extern "C"

namespace {

bool gTablesInitialised = false;

constexpr uint32_t kHwProbed = 0x2;
constexpr uint32_t kHwNeon = 0x4;
constexpr uint32_t kHwVfp = 0x80;
constexpr uint32_t kHwArmV7 = 0x100;

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
    readLogProperty();
    ilmvAvailableHardware(mode);
    buildTables();
    resetChoices();
    return applySetters(mode);
}

}  // namespace

// The hardware mask of `mode`. Processor bits come from the build for now; the DSP
// session and the GPU system plug in here, and until they exist bits 0x8 and 0x20 stay
// clear, so every mode ends on SIMD or reference forms.
uint32_t ilmvAvailableHardware(int32_t /*mode*/)
{
    uint32_t mask = kHwProbed;
#if defined(__ARM_NEON) || defined(__ARM_NEON__)
    mask |= kHwNeon | kHwVfp | kHwArmV7;
#endif
    return mask;
}

extern "C" LMV_EXPORT int lmvSetOperationMode(lmvOperationMode mode)
{
    for (uint32_t slot = 0; slot < LMV_API_COUNT; ++slot) lmvIsPresentImpl[slot] |= LMV_PRESENT_C;
    mode_globalVar = mode;
    return applyMode(mode);
}
