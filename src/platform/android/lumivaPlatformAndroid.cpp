// Android backend: the system log and system properties.
#include "platform/lumivaPlatform.h"

#include <android/log.h>
#include <sys/system_properties.h>

int ilmvLogV(int priority, const char* tag, const char* format, va_list args)
{
    return __android_log_vprint(priority, tag, format, args);
}

int ilmvPropertyGet(const char* name, char* value)
{
    return __system_property_get(name, value);
}
