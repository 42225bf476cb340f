// The few services the library needs from the operating system: a log with priorities
// and tags, and system properties. Android provides both natively; other hosts get a
// backend that writes to stderr and reads properties from the environment.
#ifndef LUMIVA_PLATFORM_H
#define LUMIVA_PLATFORM_H

#include <cstdarg>
#include <cstddef>

// Log priorities, numbered as the Android log numbers them.
enum ILMV_LOG_PRIORITY {
    LUMIVA_LOG_VERBOSE = 2,
    LUMIVA_LOG_DEBUG = 3,
    LUMIVA_LOG_INFO = 4,
    LUMIVA_LOG_WARN = 5,
    LUMIVA_LOG_ERROR = 6,
};

#define LUMIVA_LIB_TAG "lumiva_lib_log"
#define LUMIVA_RUNTIME_TAG "lumiva_runtime_log"
#define LUMIVA_PROPERTY_VALUE_MAX 92

// Formats and sends one log line; returns what the platform's log call returns.
int ilmvLogV(int priority, const char* tag, const char* format, va_list args);

inline int __attribute__((format(printf, 3, 4))) ilmvLog(int priority, const char* tag, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    int result = ilmvLogV(priority, tag, format, args);
    va_end(args);
    return result;
}

// The whole file `path` in a malloc'd buffer with a terminating NUL after its bytes (which
// may hold NULs themselves: `length`, when given, receives their count); null when the file
// cannot be opened or read. Common to every Linux backend.
char* ilmvReadWholeFile(const char* path, size_t* length);

// Copies the value of system property `name` into `value` (at least
// LUMIVA_PROPERTY_VALUE_MAX bytes, always terminated); returns its length, 0 when unset.
int ilmvPropertyGet(const char* name, char* value);

#endif
