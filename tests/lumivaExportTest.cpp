// The shared library exports the public API and the implementation forms, nothing internal.
#include <gtest/gtest.h>

#include <dlfcn.h>

namespace {

TEST(SharedLibrary, ExportsTheApiAndHidesInternals)
{
    void* lib = dlopen(LUMIVA_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, lib) << dlerror();
    for (const char* name : {"lmvAbsDiffu8", "lmvAbsDiffu8C", "lmvAddWeightedu8V", "lmvSetOperationMode",
                             "lmvFuncTable", "lmvImplTable", "lmvIsPresentImpl", "lmvImplChar", "uCTable",
                             "uGIndex", "GetApiToCore", "lmvLogAssert", "HW_constraint_checks_enable"})
        EXPECT_NE(nullptr, dlsym(lib, name)) << name;
    for (const char* name : {"ilmvRuntimeLog", "ilmvApiForms", "ilmvLog", "ilmvHostSetLogSink"})
        EXPECT_EQ(nullptr, dlsym(lib, name)) << name;
    dlclose(lib);
}

}  // namespace
