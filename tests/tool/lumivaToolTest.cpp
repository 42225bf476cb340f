// The lumiva command: what its argument handling answers, and one whole demo run on the
// built-in scene.
#include "lumivaTool.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

std::string scratchDir(const char* name)
{
    const std::string dir = ::testing::TempDir() + "lumiva_tool_" + name + "_" + std::to_string(getpid());
    mkdir(dir.c_str(), 0755);
    return dir;
}

bool exists(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 && info.st_size > 0;
}

std::string slurp(const std::string& path)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

int run(const std::vector<const char*>& args)
{
    std::vector<char*> argv{const_cast<char*>("lumiva")};
    for (const char* arg : args) argv.push_back(const_cast<char*>(arg));
    return runTool(int(argv.size()), argv.data());
}

struct CommandCase {
    std::vector<const char*> args;
    int exitCode;
    const char* stderrHas;  // part of the message, or null when only the code matters
};

TEST(ToolArguments, ExitCodesAndMessages)
{
    const CommandCase cases[] = {
        {{}, kExitUsage, "which command?"},
        {{"frobnicate"}, kExitUsage, "unknown command frobnicate"},
        {{"--help"}, kExitOk, nullptr},
        {{"demo", "--help"}, kExitOk, nullptr},
        {{"info", "-h"}, kExitOk, nullptr},
        {{"bench", "--help"}, kExitOk, nullptr},
        {{"demo", "--speed"}, kExitUsage, "unknown demo argument --speed"},
        {{"demo", "--input"}, kExitUsage, "missing value after --input"},
        {{"demo", "--input", "a.png", "--input", "b.png", "--input", "c.png"}, kExitUsage, "at most two"},
        {{"demo", "--input", "/nonexistent/frame.png", "--quiet"}, kExitInput, "cannot read /nonexistent/frame.png"},
        {{"info", "--mode"}, kExitUsage, "missing value after --mode"},
        {{"info", "--mode", "fast"}, kExitUsage, "not a mode: fast"},
        {{"info", "--mode", "0x80000123"}, kExitUsage, "unknown operation mode"},
        {{"info", "--verbose"}, kExitUsage, "unknown info argument --verbose"},
        {{"bench", "--size", "640"}, kExitUsage, "not a size WxH: 640"},
        {{"bench", "--size", "640x480x3"}, kExitUsage, "not a size WxH"},
        {{"bench", "--size", "100x64"}, kExitUsage, "unsupported size 100x64"},
        {{"bench", "--size", "64x63"}, kExitUsage, "unsupported size 64x63"},
        {{"bench", "--repeats", "0"}, kExitUsage, "not a repeat count: 0"},
    };
    for (const CommandCase& c : cases) {
        std::string line;
        for (const char* arg : c.args) line += std::string(" ") + arg;
        ::testing::internal::CaptureStdout();
        ::testing::internal::CaptureStderr();
        const int code = run(c.args);
        ::testing::internal::GetCapturedStdout();
        const std::string err = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(code, c.exitCode) << "lumiva" << line;
        if (c.stderrHas) {
            EXPECT_NE(err.find(c.stderrHas), std::string::npos) << "lumiva" << line << ": " << err;
        }
    }
}

TEST(ToolInput, RejectsUnreadableAndUnsupportedFrames)
{
    const std::string dir = scratchDir("input");
    const std::string garbage = dir + "/garbage.png", odd = dir + "/odd.png", small = dir + "/small.png";
    std::ofstream(garbage) << "not an image";
    ASSERT_TRUE(writePng(odd, ToolImage{65, 48, 1, std::vector<uint8_t>(65 * 48, 90)}));
    ASSERT_TRUE(writePng(small, ToolImage{48, 48, 3, std::vector<uint8_t>(48 * 48 * 3, 90)}));

    struct {
        std::vector<std::string> inputs;
        const char* message;
    } cases[] = {
        {{garbage}, "cannot read"},
        {{odd}, "unsupported size 65x48"},
        {{small, odd}, "the two images differ in size"},
    };
    for (const auto& c : cases) {
        DemoOptions options;
        options.inputs = c.inputs;
        options.output = dir + "/out";
        ::testing::internal::CaptureStderr();
        const DemoResult result = runDemo(options);
        const std::string err = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(result.exitCode, kExitInput) << c.inputs.back();
        EXPECT_NE(err.find(c.message), std::string::npos) << err;
        EXPECT_TRUE(result.pictures.empty());
    }
}

TEST(ToolDemo, BuiltInSceneTracksTheKnownMotion)
{
    DemoOptions options;
    options.output = scratchDir("demo") + "/nested/out";  // folders that do not exist yet
    options.quiet = true;
    const DemoResult result = runDemo(options);
    ASSERT_EQ(result.exitCode, kExitOk);
    ASSERT_EQ(result.pictures.size(), 7u);  // corners, flow, foreground, the filter strip, edges and lines, geometry, shapes
    for (const std::string& picture : result.pictures) EXPECT_TRUE(exists(picture)) << picture;
    EXPECT_GT(result.corners, 50u);
    EXPECT_GT(result.edgePixels, 0u);
    EXPECT_GT(result.lines, 0u) << "the object's sides are straight";
    EXPECT_GE(result.tracked, result.corners * 9 / 10);
    EXPECT_GE(result.trackingError, 0.0);
    EXPECT_LT(result.trackingError, 0.1);
    // The object is a 48x48 square on a background the codebook has seen.
    EXPECT_NEAR(double(result.foreground), 48.0 * 48.0, 48.0 * 4);

    // The user's-images path on the demo's own output: runs, but has no known motion.
    DemoOptions again;
    again.inputs = {result.pictures[0], result.pictures[1]};
    again.output = options.output + "/again";
    again.quiet = true;
    const DemoResult rerun = runDemo(again);
    EXPECT_EQ(rerun.exitCode, kExitOk);
    EXPECT_LT(rerun.trackingError, 0.0);
}

// The GPU mode runs grey and Gaussian through the G forms over lmvMemAlloc blocks: on a host
// with PoCL on the GPU, elsewhere on SIMD after the G form declines; the bytes are the
// reference form's either way.
TEST(ToolDemo, GpuModeGivesTheCpuBytes)
{
    DemoOptions options;
    options.output = scratchDir("demo_gpu");
    options.quiet = true;
    ASSERT_TRUE(modeByName("gpu", options.mode));
    options.modeName = "gpu";
    const DemoResult result = runDemo(options);
    ASSERT_EQ(result.exitCode, kExitOk);
    ASSERT_GE(result.ranOn.size(), 2u);
    EXPECT_EQ(0, result.mismatches);
    EXPECT_EQ(result.ranOn[0], result.ranOn[1]);
    EXPECT_TRUE(result.ranOn[0] == "GPU" || result.ranOn[0] == "SIMD (GPU declined)") << result.ranOn[0];
}

TEST(ToolDemo, UnwritableOutputIsReported)
{
    DemoOptions options;
    options.output = "/proc/lumiva-cannot-be-here";
    options.quiet = true;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(runDemo(options).exitCode, kExitOutput);
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("cannot write"), std::string::npos);
}

TEST(ToolBench, WritesTheRatioTableAndChart)
{
    const std::string dir = scratchDir("bench");
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int code = runBench(64, 64, dir, 1);
    ::testing::internal::GetCapturedStdout();
    const std::string progress = ::testing::internal::GetCapturedStderr();
    ASSERT_EQ(code, kExitOk);
    EXPECT_NE(progress.find("AbsDiffu8, simd"), std::string::npos);
    const std::string report = slurp(dir + "/report.txt"), chart = slurp(dir + "/chart.svg");
    for (const char* op : {"AbsDiffu8", "RGB888ToGray", "Fast9Nms", "Gaussian3x3", "LK1000_7x7"})
        EXPECT_NE(report.find(op), std::string::npos) << op;
    EXPECT_NE(report.find("ref/simd"), std::string::npos);
    EXPECT_EQ(chart.rfind("<svg", 0), 0u);
    EXPECT_NE(chart.find("</svg>"), std::string::npos);
    EXPECT_NE(chart.find(">AbsDiffu8<"), std::string::npos);
}

}  // namespace
