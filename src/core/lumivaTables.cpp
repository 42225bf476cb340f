// The function tables, the choice tables, the master function manager and the table
// fillers. Fillers copy the forms that the generated registry lists into one column.
#include "core/lumivaCore.h"
#include "lumiva/lumivaMode.h"
#include "platform/lumivaPlatform.h"

extern "C" {

LMV_EXPORT LMV_FUNC_PTR lmvFuncTable[LMV_API_COUNT * LMV_IMPL_COUNT];
LMV_EXPORT LMV_FUNC_PTR lmvInternalFuncTable[LMV_INTERNAL_COUNT * LMV_IMPL_COUNT];
LMV_EXPORT uint32_t lmvImplTable[LMV_API_COUNT];
LMV_EXPORT uint32_t lmvInternalImplTable[LMV_INTERNAL_COUNT];
LMV_EXPORT uint32_t lmvIsPresentImpl[LMV_API_COUNT];
LMV_EXPORT const char* lmvImplChar[LMV_IMPL_COUNT] = {"CPU", "ORTAL", "XDSP", "GPU", "ADSP", "CDSP", "MDSP"};

}  // extern "C"

namespace {

LMV_FUNC_MANAGER gMasterManager;
LMV_FUNC_MANAGER* gManagerInForce = &gMasterManager;

constexpr uint32_t kNoPresenceBit = 0;

// Copies the `form` column of every registered slot into `column` of `table`, and ORs
// `presence` into the slots it wrote. Reserved slots 362 and 363 never get a reference form.
int fillColumn(LMV_FUNC_PTR* table, uint32_t apiCount, uint32_t column, uint32_t form, uint32_t presence)
{
    if (!table || column >= LMV_IMPL_COUNT)
        return 1;
    for (size_t i = 0; i < ilmvApiFormCount; ++i) {
        const ILMV_IMPL_ROW& row = ilmvApiForms[i];
        bool reserved = row.slot == LMV_API_RESERVED_362 || row.slot == LMV_API_RESERVED_363;
        if (!row.forms[form] || row.slot >= apiCount || (form == LMV_IMPL_C && reserved))
            continue;
        table[row.slot * LMV_IMPL_COUNT + column] = row.forms[form];
        lmvIsPresentImpl[row.slot] |= presence;
    }
    return 0;
}

// The same for the internal slots, which no presence word records.
void fillInternalColumn(uint32_t column, uint32_t form)
{
    for (const ILMV_IMPL_ROW* row = ilmvInternalForms; row->slot < LMV_INTERNAL_COUNT; ++row)
        if (row->forms[form]) lmvInternalFuncTable[row->slot * LMV_IMPL_COUNT + column] = row->forms[form];
}

int fillRemoteColumn(LMV_FUNC_MANAGER* manager, uint32_t column, uint32_t form, uint32_t presence)
{
    if (!manager)
        return 1;
    return fillColumn(manager->funcTable, manager->apiCount, column, form, presence);
}

}  // namespace

LMV_FUNC_MANAGER* ilmvManager()
{
    return gManagerInForce;
}

bool ilmvIsDspCapable(const ILMV_IMPL_ROW& row)
{
    return row.forms[LMV_IMPL_X] || row.forms[LMV_IMPL_XA] || row.forms[LMV_IMPL_XC] || row.forms[LMV_IMPL_XM];
}

void ilmvInstallMasterManager()
{
    gMasterManager = {lmvImplTable, LMV_API_COUNT, lmvFuncTable, lmvInternalImplTable, LMV_INTERNAL_COUNT,
                      lmvInternalFuncTable, LMV_IMPL_COUNT};
    gManagerInForce = &gMasterManager;
}

LMV_FUNC_MANAGER* ilmvMasterManager()
{
    return &gMasterManager;
}

extern "C" {

LMV_EXPORT int lmvInitializeMasterFuncManager(LMV_FUNC_MANAGER* record)
{
    if (!record || !record->implTable || !record->funcTable || !record->internalFuncTable ||
        !record->internalImplTable)
        return 1;
    gManagerInForce = record;
    return 0;
}

LMV_EXPORT int uCTable(uint32_t column)
{
    if (column < LMV_IMPL_COUNT) fillInternalColumn(column, LMV_IMPL_C);
    return fillColumn(lmvFuncTable, LMV_API_COUNT, column, LMV_IMPL_C, kNoPresenceBit);
}

LMV_EXPORT int uVTable(uint32_t column)
{
    if (column < LMV_IMPL_COUNT) fillInternalColumn(column, LMV_IMPL_V);
    return fillColumn(lmvFuncTable, LMV_API_COUNT, column, LMV_IMPL_V, LMV_PRESENT_V);
}

LMV_EXPORT int uXTable(LMV_FUNC_MANAGER* manager, uint32_t column)
{
    return fillRemoteColumn(manager, column, LMV_IMPL_X, kNoPresenceBit);
}

LMV_EXPORT int uXaTable(LMV_FUNC_MANAGER* manager, uint32_t column)
{
    return fillRemoteColumn(manager, column, LMV_IMPL_XA, LMV_PRESENT_DSP);
}

LMV_EXPORT int uXcTable(LMV_FUNC_MANAGER* manager, uint32_t column)
{
    return fillRemoteColumn(manager, column, LMV_IMPL_XC, LMV_PRESENT_DSP);
}

LMV_EXPORT int uXmTable(LMV_FUNC_MANAGER* manager, uint32_t column)
{
    return fillRemoteColumn(manager, column, LMV_IMPL_XM, LMV_PRESENT_DSP);
}

LMV_EXPORT int uGTable(LMV_FUNC_MANAGER* manager, uint32_t column)
{
    return fillRemoteColumn(manager, column, LMV_IMPL_G, LMV_PRESENT_GPU);
}

LMV_EXPORT int lmvTableHWInit(LMV_FUNC_PTR* funcTable, LMV_FUNC_PTR* internalFuncTable, int dspPresent,
                              int gpuPresent)
{
    if (!funcTable || !internalFuncTable)
        return 1;
    LMV_FUNC_MANAGER* manager = ilmvManager();
    int result = 0;
    if (dspPresent) {
        static const char* const kAvailable[] = {"ADSP is available", "CDSP is available", "MDSP is available"};
        static int (*const kFillers[])(LMV_FUNC_MANAGER*, uint32_t) = {uXaTable, uXcTable, uXmTable};
        if (defaultDSP >= 0 && defaultDSP <= 2) {
            ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "%s", kAvailable[defaultDSP]);
            result += kFillers[defaultDSP](manager, LMV_IMPL_XA + defaultDSP);
        } else {
            ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s",
                    "defaultDSP flag is not set. Hence unable to set memory pointers for LUMIVA function");
        }
    }
    if (gpuPresent) {
        ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "%s", "GPU is available");
        result += uGTable(manager, LMV_IMPL_G);
    }
    return result;
}

}  // extern "C"
