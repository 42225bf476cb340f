// Binds the OpenCL entry points at run time: the build lists the library names to try
// (a device ships libOpenCL.so; Debian's runtime package only libOpenCL.so.1), the first
// that opens with every entry point wins, and the binding is kept for the process.
#include "gpgpu/engine/lumivaCl.h"
#include "platform/lumivaPlatform.h"

#include <dlfcn.h>
#include <pthread.h>

#include <string>

#ifndef LUMIVA_OPENCL_LIBRARIES
#define LUMIVA_OPENCL_LIBRARIES "libOpenCL.so;libOpenCL.so.1"
#endif

namespace {

pthread_mutex_t gBindLock = PTHREAD_MUTEX_INITIALIZER;
std::string gLibraries = LUMIVA_OPENCL_LIBRARIES;
bool gTried = false;
void* gHandle = nullptr;
ILMV_CL gCl;

// Resolves every entry point of `handle`; the name of the first one missing, or null.
const char* resolveAll(void* handle, ILMV_CL* cl)
{
#define ILMV_CL_RESOLVE(name, result, params)                                     \
    cl->name = reinterpret_cast<result(*) params>(dlsym(handle, #name));          \
    if (!cl->name) return #name;
    ILMV_CL_FUNCTIONS(ILMV_CL_RESOLVE)
#undef ILMV_CL_RESOLVE
    return nullptr;
}

void bind()
{
    std::string missing = "no library opened";
    size_t start = 0;
    while (start <= gLibraries.size()) {
        const size_t end = gLibraries.find(';', start) == std::string::npos ? gLibraries.size()
                                                                           : gLibraries.find(';', start);
        const std::string name = gLibraries.substr(start, end - start);
        start = end + 1;
        if (name.empty()) continue;
        // Kept mapped for the process: drivers keep state that outlives any one system.
        void* handle = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        if (!handle) continue;
        if (const char* symbol = resolveAll(handle, &gCl)) {
            missing = name + " lacks " + symbol;
            dlclose(handle);
            continue;
        }
        gHandle = handle;
        return;
    }
    ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "OpenCL not available (%s): the GPU is not used\n", missing.c_str());
}

}  // namespace

const ILMV_CL* ilmvCl()
{
    pthread_mutex_lock(&gBindLock);
    if (!gTried) {
        gTried = true;
        bind();
    }
    const ILMV_CL* cl = gHandle ? &gCl : nullptr;
    pthread_mutex_unlock(&gBindLock);
    return cl;
}

void ilmvGpuSetLibraries(const char* names)
{
    pthread_mutex_lock(&gBindLock);
    if (gHandle) dlclose(gHandle);
    gHandle = nullptr;
    gTried = false;
    gLibraries = names ? names : LUMIVA_OPENCL_LIBRARIES;
    pthread_mutex_unlock(&gBindLock);
}
