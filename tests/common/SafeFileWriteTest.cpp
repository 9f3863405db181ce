// The file write that replaces its target only when complete: what a commit,
// a discard and an abandoned write leave, and the permissions the new file
// takes.
#include "common/SafeFileWrite.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <fstream>
#include <iterator>

#include <sys/stat.h>
#include <unistd.h>

using format3mf::FileWriteError;
using format3mf::SafeFileWrite;
namespace fs = boost::filesystem;

namespace
{
std::string Content(fs::path const& path)
{
    std::ifstream in(path.string(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void Put(int descriptor, std::string const& text)
{
    ASSERT_EQ(ssize_t(text.size()), ::write(descriptor, text.data(), text.size()));
}

mode_t ModeOf(fs::path const& path)
{
    struct stat status = {};
    ::stat(path.string().c_str(), &status);
    return status.st_mode & 07777;
}
} // namespace

TEST(SafeFileWrite, CommitDiscardAndAbandon)
{
    fs::path const folder = fs::temp_directory_path() / fs::unique_path("safe-write-%%%%-%%%%");
    fs::create_directories(folder);
    // A name that is not UTF-8 is a name like any other.
    fs::path const target = folder / "caf\xE9.bin";
    std::ofstream(target.string()) << "old";
    ::chmod(target.string().c_str(), 0640);

    struct Case
    {
        char const* name;
        int ending; // 0 commit, 1 discard, 2 the object goes
        std::string expected;
    };
    Case const cases[] = {
        {"abandoned", 2, "old"},
        {"discarded", 1, "old"},
        {"committed", 0, "new bytes"},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.name);
        {
            SafeFileWrite write(target.string());
            EXPECT_EQ(folder, fs::path(write.TemporaryPath()).parent_path()) << "beside the target";
            Put(write.Descriptor(), "new bytes");
            if (c.ending == 0)
            {
                write.Commit();
            }
            else if (c.ending == 1)
            {
                write.Discard();
            }
        }
        EXPECT_EQ(c.expected, Content(target));
        EXPECT_EQ(0640u, ModeOf(target)) << "the target's permissions are kept";
        EXPECT_EQ(1, std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }

    // A new file gets the permissions the process gives new files.
    mode_t const mask = ::umask(027);
    fs::path const fresh = folder / "fresh.bin";
    {
        SafeFileWrite write(fresh.string());
        write.Commit();
    }
    ::umask(mask);
    EXPECT_EQ(0640u, ModeOf(fresh));

    // A folder can't be replaced by a file; the message names the target.
    try
    {
        SafeFileWrite write(folder.string());
        ADD_FAILURE() << "a folder taken as a target";
    }
    catch (FileWriteError const& error)
    {
        EXPECT_EQ("Could not write " + folder.string() + ": Is a directory", std::string(error.what()));
        EXPECT_EQ(EISDIR, error.ErrorNumber());
    }
    fs::remove_all(folder);
}
