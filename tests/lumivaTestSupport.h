// Helpers shared by the tests: log capture, property overrides and a fixture that
// applies a mode and restores every table afterwards.
#ifndef LUMIVA_TEST_SUPPORT_H
#define LUMIVA_TEST_SUPPORT_H

#include "core/lumivaCore.h"
#include "lumiva/lumiva.h"
#include "platform/host/lumivaHostHooks.h"
#include "platform/lumivaPlatform.h"

#include <gtest/gtest.h>

#include <dirent.h>

#include <cstring>
#include <string>
#include <vector>

struct LogLine {
    int priority;
    std::string tag;
    std::string text;
};

// Descriptors this process has open now (the entries of /proc/self/fd, the listing's own included).
inline int openDescriptors()
{
    int n = 0;
    if (DIR* d = opendir("/proc/self/fd")) {
        while (readdir(d)) ++n;
        closedir(d);
    }
    return n;
}

// Records every log line while in scope.
class LogCapture {
public:
    LogCapture() { previous_ = ilmvHostSetLogSink(&LogCapture::sink, this, &previousContext_); }
    ~LogCapture() { ilmvHostSetLogSink(previous_, previousContext_, nullptr); }
    const std::vector<LogLine>& lines() const { return lines_; }
    bool contains(const std::string& tag, const std::string& text) const
    {
        for (const LogLine& l : lines_)
            if (l.tag == tag && l.text == text) return true;
        return false;
    }
    void clear() { lines_.clear(); }

private:
    static void sink(int priority, const char* tag, const char* text, void* self)
    {
        static_cast<LogCapture*>(self)->lines_.push_back({priority, tag, text});
    }
    std::vector<LogLine> lines_;
    ILMV_LOG_SINK previous_ = nullptr;
    void* previousContext_ = nullptr;
};

// Sets a property for the scope's lifetime.
class PropertyScope {
public:
    PropertyScope(const char* name, const char* value) : name_(name) { ilmvHostSetProperty(name, value); }
    ~PropertyScope() { ilmvHostSetProperty(name_, nullptr); }

private:
    const char* name_;
};

// Applies `mode` before each test and puts every table back afterwards, so tests that
// install spies or rewrite choices leave nothing behind.
class TablesTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(0, lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE));
        std::memcpy(savedFuncs_, lmvFuncTable, sizeof savedFuncs_);
        std::memcpy(savedImpl_, lmvImplTable, sizeof savedImpl_);
        std::memcpy(savedInternal_, lmvInternalImplTable, sizeof savedInternal_);
    }
    void TearDown() override
    {
        std::memcpy(lmvFuncTable, savedFuncs_, sizeof savedFuncs_);
        std::memcpy(lmvImplTable, savedImpl_, sizeof savedImpl_);
        std::memcpy(lmvInternalImplTable, savedInternal_, sizeof savedInternal_);
        HW_constraint_checks_enable = 1;
        setDefaultDSPValue(LUMIVA_DSP_CDSP);
        ilmvHostClearProperties();
        lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE);
    }

    // Puts `fn` into column `idx` of `slot` and chooses that column.
    template <class Fn>
    void install(uint32_t slot, uint32_t idx, Fn fn)
    {
        lmvFuncTable[slot * LMV_IMPL_COUNT + idx] = reinterpret_cast<LMV_FUNC_PTR>(fn);
        lmvImplTable[slot] = idx;
    }

private:
    LMV_FUNC_PTR savedFuncs_[LMV_API_COUNT * LMV_IMPL_COUNT];
    uint32_t savedImpl_[LMV_API_COUNT];
    uint32_t savedInternal_[LMV_INTERNAL_COUNT];
};

#endif
