// Host backend, for development machines and tests.
//
// The log goes to stderr as "P/tag: text", P being the priority letter, unless a sink
// is installed. Like a device's log viewer, stderr shows info priority and above by
// default; LUMIVA_LOG_PRIORITY (a number, 3 for debug) lowers or raises the floor.
// A sink receives every line. A property is read from an in-process override first, then from the
// environment variable named after the property: upper case, with every character
// that is not a letter or a digit turned into '_' ("vendor.runtime.lumiva.log" is
// VENDOR_RUNTIME_LUMIVA_LOG).
#include "platform/host/lumivaHostHooks.h"
#include "platform/lumivaPlatform.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace {

std::mutex gHostLock;
ILMV_LOG_SINK gSink = nullptr;
void* gSinkContext = nullptr;

// In-process overrides: a few named values are all tests and tools ever need.
struct Override {
    char name[LUMIVA_PROPERTY_VALUE_MAX];
    char value[LUMIVA_PROPERTY_VALUE_MAX];
};
Override gOverrides[16];

Override* findOverride(const char* name)
{
    for (Override& o : gOverrides)
        if (o.name[0] && std::strcmp(o.name, name) == 0) return &o;
    return nullptr;
}

char priorityLetter(int priority)
{
    static const char kLetters[] = "??VDIWEF";
    return priority >= 0 && priority < 8 ? kLetters[priority] : '?';
}

void environmentName(const char* property, char* name, size_t size)
{
    size_t i = 0;
    for (; property[i] && i + 1 < size; ++i) {
        unsigned char c = static_cast<unsigned char>(property[i]);
        name[i] = std::isalnum(c) ? static_cast<char>(std::toupper(c)) : '_';
    }
    name[i] = 0;
}

int stderrFloor()
{
    const char* floor = std::getenv("LUMIVA_LOG_PRIORITY");
    return floor && *floor ? std::atoi(floor) : LUMIVA_LOG_INFO;
}

}  // namespace

int ilmvLogV(int priority, const char* tag, const char* format, va_list args)
{
    char text[1024];
    int length = std::vsnprintf(text, sizeof text, format, args);
    std::lock_guard<std::mutex> guard(gHostLock);
    if (gSink)
        gSink(priority, tag, text, gSinkContext);
    else if (priority >= stderrFloor())
        std::fprintf(stderr, "%c/%s: %s%s", priorityLetter(priority), tag, text,
                     length > 0 && text[std::strlen(text) - 1] == '\n' ? "" : "\n");
    return length < 0 ? length : static_cast<int>(std::strlen(tag)) + length;
}

int ilmvPropertyGet(const char* name, char* value)
{
    std::lock_guard<std::mutex> guard(gHostLock);
    char envName[LUMIVA_PROPERTY_VALUE_MAX];
    environmentName(name, envName, sizeof envName);
    const char* env = std::getenv(envName);
    const Override* o = findOverride(name);
    std::snprintf(value, LUMIVA_PROPERTY_VALUE_MAX, "%s", o ? o->value : env ? env : "");
    return static_cast<int>(std::strlen(value));
}

ILMV_LOG_SINK ilmvHostSetLogSink(ILMV_LOG_SINK sink, void* context, void** previousContext)
{
    std::lock_guard<std::mutex> guard(gHostLock);
    ILMV_LOG_SINK previous = gSink;
    if (previousContext) *previousContext = gSinkContext;
    gSink = sink;
    gSinkContext = context;
    return previous;
}

void ilmvHostSetProperty(const char* name, const char* value)
{
    std::lock_guard<std::mutex> guard(gHostLock);
    Override* o = findOverride(name);
    if (!value) {
        if (o) o->name[0] = 0;
        return;
    }
    for (size_t i = 0; !o && i < sizeof gOverrides / sizeof gOverrides[0]; ++i)
        if (!gOverrides[i].name[0]) o = &gOverrides[i];
    if (!o) o = &gOverrides[0];  // full: the oldest-placed entry gives way
    std::snprintf(o->name, sizeof o->name, "%s", name);
    std::snprintf(o->value, sizeof o->value, "%s", value);
}

void ilmvHostClearProperties()
{
    std::lock_guard<std::mutex> guard(gHostLock);
    for (Override& o : gOverrides) o.name[0] = 0;
}
