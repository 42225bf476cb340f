// Library messages: the assertion log of entry functions, the per-call runtime log and
// lmvLogAssert, the formatted message of internal checks.
#include "core/lumivaEntry.h"
#include "platform/lumivaPlatform.h"

#include <cstdio>
#include <cstring>

extern "C" {

LMV_EXPORT int lmvLogAssert(const char* file, int line, int priority, const char* format, ...)
{
    char tag[128];
    const char* slash = std::strrchr(file, '/');
    std::snprintf(tag, sizeof tag, "%s", slash ? slash + 1 : file);

    char text[512];
    int used = line ? std::snprintf(text, sizeof text, "%4d| ", line) : 0;
    if (used < 0 || static_cast<size_t>(used) >= sizeof text)
        std::abort();
    va_list args;
    va_start(args, format);
    int written = std::vsnprintf(text + used, sizeof text - used, format, args);
    va_end(args);
    ilmvLog(priority, tag, "%s", text);
    return written;
}

}  // extern "C"

void ilmvRuntimeLog(const char* name, uint32_t idx)
{
    if (!libLogPrint)
        return;
    if (idx >= LMV_IMPL_COUNT)
        std::abort();
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_RUNTIME_TAG, "%s_%s", name, lmvImplChar[idx]);
}

void ilmvHardStop(const char* path, int line, const char* condition)
{
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s@%d: %s Assertion failed\n", path, line, condition);
    std::exit(1);
}

int ilmvAssertFailed(const char* name, const char* rule)
{
    return ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "Assertion failed @%s: %s\n", name, rule);
}
