// Hooks of the host backend, for tests and tools: capture the log and set properties
// in-process, so that no test depends on the environment or on another test.
#ifndef LUMIVA_HOST_HOOKS_H
#define LUMIVA_HOST_HOOKS_H

// Receives every formatted log line instead of stderr.
typedef void (*ILMV_LOG_SINK)(int priority, const char* tag, const char* text, void* context);

// Installs `sink` (null restores stderr); returns the previous sink and its context.
ILMV_LOG_SINK ilmvHostSetLogSink(ILMV_LOG_SINK sink, void* context, void** previousContext);

// Overrides property `name` with `value` for this process; a null value removes the
// override, so the environment is consulted again.
void ilmvHostSetProperty(const char* name, const char* value);

// Removes every override.
void ilmvHostClearProperties();

#endif
