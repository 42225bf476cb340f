// Every input a fuzz target ever found a defect with is kept under tests/fuzz/regressions
// (one folder per target) and replayed here, in every build, the ARM one included.

// 64-bit directory offsets: on a 32-bit target the plain readdir fails on file systems whose
// offsets are 64-bit hashes.
#define _FILE_OFFSET_BITS 64

#include <gtest/gtest.h>

#include <dirent.h>

#include <cstdio>
#include <string>
#include <vector>

extern "C" int lumivaFuzz_ops(const uint8_t* data, size_t size);
extern "C" int lumivaFuzz_objects(const uint8_t* data, size_t size);
extern "C" int lumivaFuzz_dspMessages(const uint8_t* data, size_t size);

namespace {

std::vector<std::string> filesIn(const std::string& dir)
{
    std::vector<std::string> files;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') files.push_back(dir + "/" + e->d_name);
        closedir(d);
    }
    return files;
}

std::vector<uint8_t> contents(const std::string& path)
{
    std::vector<uint8_t> bytes;
    if (FILE* f = std::fopen(path.c_str(), "rb")) {
        for (int c; (c = std::fgetc(f)) != EOF;) bytes.push_back(static_cast<uint8_t>(c));
        std::fclose(f);
    }
    return bytes;
}

void replay(const char* target, int (*entry)(const uint8_t*, size_t))
{
    const std::vector<std::string> inputs = filesIn(std::string(LUMIVA_FUZZ_REGRESSIONS "/") + target);
    EXPECT_FALSE(inputs.empty()) << "the seed inputs are kept there too";
    for (const std::string& path : inputs) {
        const std::vector<uint8_t> bytes = contents(path);
        SCOPED_TRACE(path);
        entry(bytes.data(), bytes.size());
    }
}

TEST(FuzzRegressions, EveryKeptInputOfTheOperationsTargetPasses)
{
    replay("ops", lumivaFuzz_ops);
}

TEST(FuzzRegressions, EveryKeptInputOfTheObjectsTargetPasses)
{
    replay("objects", lumivaFuzz_objects);
}

TEST(FuzzRegressions, EveryKeptInputOfTheSimulatorsDecoderPasses)
{
    replay("dspmessages", lumivaFuzz_dspMessages);
}

}  // namespace
