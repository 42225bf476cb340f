// Per-operation overrides: ask whether a form exists, and move one operation to
// another implementation until the next mode call.
#include "core/lumivaCore.h"
#include "platform/lumivaPlatform.h"

#include <cstdlib>


namespace {

void logOverride(const char* text)
{
    ilmvLog(LUMIVA_LOG_DEBUG, LUMIVA_LIB_TAG, "%s\n", text);
}

bool isPresent(uint32_t api, uint32_t ext)
{
    return (lmvIsPresentImpl[api] & (1u << ext)) != 0;
}

}  // namespace

extern "C" {

LMV_EXPORT int GetApiToCore(LMV_API_enum api, LMV_IMPL_ext ext)
{
    if (static_cast<uint32_t>(ext) >= LMV_IMPL_EXT_NONE) {
        logOverride("implementation does not exist\n");
        return 0;
    }
    if (static_cast<uint32_t>(api) >= LMV_API_COUNT)
        std::abort();
    return isPresent(api, ext) ? 1 : 0;
}

LMV_EXPORT int SetPreferredApiToCore(LMV_API_enum api, LMV_FUNC_MANAGER* manager, LMV_IMPL_ext ext)
{
    if (static_cast<uint32_t>(ext) >= LMV_IMPL_EXT_NONE) {
        logOverride("implementation does not exist\n");
        return 0;
    }
    if (manager && static_cast<uint32_t>(api) < manager->apiCount)
        manager->implTable[api] = ext;
    return 0;
}

LMV_EXPORT void lmvSetFunctionApiToCore(LMV_API_enum api, LMV_IMPL_ext ext)
{
    logOverride("indise lmvSetFunctionApiToCore\n");
    if (static_cast<uint32_t>(ext) >= LMV_IMPL_EXT_NONE) {
        logOverride("implementation does not exist\n");
        logOverride("IMPLEMENTATION UNSUPPORTED\n");
        return;
    }
    if (static_cast<uint32_t>(api) >= LMV_API_COUNT)
        std::abort();
    if (!isPresent(api, ext)) {
        logOverride("IMPLEMENTATION UNSUPPORTED\n");
        return;
    }
    LMV_FUNC_MANAGER* master = ilmvMasterManager();
    if (static_cast<uint32_t>(api) < master->apiCount)
        master->implTable[api] = ext;
}

}  // extern "C"
