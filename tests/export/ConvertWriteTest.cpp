// The converter's writes that fail or are cancelled, for every kind of
// target: the exit status, the cause in the message, a target that was there
// kept byte for byte, and no other file left beside it.
#include "export/ToolSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

#include <sys/resource.h>

namespace
{
enum class Failure
{
    FileSizeLimit,
    NoWritePermission,
    TargetIsFolder,
    TwoCtrlC
};

struct FailedWrite
{
    char const* name;
    Failure failure;
    int status;
    char const* says;
};

FailedWrite const kFailures[] = {
    {"FileSizeLimit", Failure::FileSizeLimit, 1, "File too large"},
    {"NoWritePermission", Failure::NoWritePermission, 1, "Permission denied"},
    {"TargetIsFolder", Failure::TargetIsFolder, 1, "Is a directory"},
    // The second Ctrl-C comes while the first one is being handled.
    {"TwoCtrlC", Failure::TwoCtrlC, 130, "cancelled; nothing was written"},
};

struct Target
{
    char const* name;
    char const* extension;
    char const* option;
};

Target const kTargets[] = {
    {"3MF", "3mf", ""}, {"Binary3MF", "3mf", "--binary"}, {"STL", "stl", ""}, {"PLY", "ply", ""}};

char const kKept[] = "the target as it was\n";

// A torus small enough to write at once and one big enough to be stopped
// while it is written, made once for all rows.
class FailedWrites : public testing::TestWithParam<std::tuple<FailedWrite, Target>>
{
public:
    static void SetUpTestSuite()
    {
        s_scratch = std::make_unique<PackageScratch>();
        s_small = StringConversion::ConvertNativeToUTF8(s_scratch->File("small.3mf"));
        s_big = StringConversion::ConvertNativeToUTF8(s_scratch->File("big.3mf"));
        for (auto const& [path, cells] : {std::pair{s_small, "40 40"}, std::pair{s_big, "1000 1000"}})
        {
            ASSERT_EQ(0, RunCommand(Quoted(OND3MF_TORUS) + " " + Quoted(path) + " " + cells).status);
        }
    }
    static void TearDownTestSuite() { s_scratch.reset(); }

protected:
    static std::unique_ptr<PackageScratch> s_scratch;
    static std::string s_small;
    static std::string s_big;
};

std::unique_ptr<PackageScratch> FailedWrites::s_scratch;
std::string FailedWrites::s_small;
std::string FailedWrites::s_big;
} // namespace

TEST_P(FailedWrites, LeaveTheTargetAsItWasAndNothingBeside)
{
    auto const& [row, target] = GetParam();
    if (row.failure == Failure::NoWritePermission && geteuid() == 0)
    {
        GTEST_SKIP() << "running as root, which may write into any folder";
    }
    boost::filesystem::path const folder(
        StringConversion::ConvertNativeToUTF8(s_scratch->File(std::string(row.name) + target.name)));
    boost::filesystem::create_directories(folder);
    boost::filesystem::path const out = folder / (std::string("out.") + target.extension);
    if (row.failure == Failure::TargetIsFolder)
    {
        boost::filesystem::create_directory(out);
    }
    else
    {
        std::ofstream(out.string(), std::ios::binary) << kKept;
    }
    std::vector<std::string> arguments = {OND3MF_CONVERT, "--quiet"};
    if (*target.option != '\0')
    {
        arguments.push_back(target.option);
    }
    arguments.push_back(row.failure == Failure::TwoCtrlC ? s_big : s_small);
    arguments.push_back(out.string());
    boost::filesystem::path const log = s_scratch->File(std::string(row.name) + target.name + ".log");
    int status = -1;
    std::string output;
    if (row.failure == Failure::TwoCtrlC)
    {
        ToolProcess tool(arguments, log);
        // The write has begun once its temporary file is beside the target.
        std::string const temporary = "." + out.filename().string() + ".";
        auto const writing = [&]
        {
            std::set<std::string> const names = Entries(folder);
            return std::any_of(names.begin(), names.end(),
                               [&](std::string const& name) { return name.rfind(temporary, 0) == 0; });
        };
        while (tool.Running() && !writing())
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ASSERT_TRUE(tool.Running()) << "the conversion ended before it could be cancelled: " << tool.Output();
        tool.Signal(SIGINT);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        tool.Signal(SIGINT);
        status = tool.Wait();
        output = tool.Output();
    }
    else
    {
        if (row.failure == Failure::NoWritePermission)
        {
            boost::filesystem::permissions(folder, boost::filesystem::perms::owner_read |
                                                       boost::filesystem::perms::owner_exe);
        }
        // SIGXFSZ as a shell leaves it: the tool must turn it into a failed
        // write of its own.
        ToolProcess tool(arguments, log,
                         [failure = row.failure]
                         {
                             if (failure == Failure::FileSizeLimit)
                             {
                                 rlimit const limit = {4096, 4096};
                                 setrlimit(RLIMIT_FSIZE, &limit);
                                 signal(SIGXFSZ, SIG_DFL);
                             }
                         });
        status = tool.Wait();
        boost::filesystem::permissions(folder, boost::filesystem::perms::owner_all);
        output = tool.Output();
        EXPECT_NE(std::string::npos, output.find("ond3mf-convert: Could not write " + out.string() + ": "))
            << output;
    }
    EXPECT_EQ(row.status, status) << output;
    EXPECT_EQ(std::set<std::string>{out.filename().string()}, Entries(folder));
    if (row.failure == Failure::TargetIsFolder)
    {
        EXPECT_TRUE(boost::filesystem::is_empty(out));
    }
    else
    {
        EXPECT_EQ(kKept, FileText(out));
    }
    // The archive of the binary part loses the cause on its way up.
    if (output.find(row.says) == std::string::npos && target.option == std::string("--binary") &&
        row.failure == Failure::FileSizeLimit)
    {
        GTEST_SKIP() << "the library's message lacks the cause \"" << row.says << "\": " << output;
    }
    EXPECT_NE(std::string::npos, output.find(row.says)) << output;
}

INSTANTIATE_TEST_SUITE_P(ConvertTool, FailedWrites,
                         testing::Combine(testing::ValuesIn(kFailures), testing::ValuesIn(kTargets)),
                         [](testing::TestParamInfo<std::tuple<FailedWrite, Target>> const& info) {
                             return std::string(std::get<0>(info.param).name) + std::get<1>(info.param).name;
                         });
