// Tests of the process's temporary folder: unique paths across threads and
// removal with the last user.
#include "common/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <fstream>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

using OndSDK::FileIO::FileSystem::TemporaryDirectory;
namespace fs = boost::filesystem;

TEST(TemporaryDirectory, FreshPathsInOnePrivateFolderAcrossThreads)
{
    TemporaryDirectory const directories[2];
    std::mutex mutex;
    std::set<std::wstring> paths;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
    {
        threads.emplace_back(
            [&, t]
            {
                for (int i = 0; i < 250; ++i)
                {
                    std::wstring path = directories[t % 2].GetTemporaryFilePath();
                    std::lock_guard<std::mutex> lock(mutex);
                    paths.insert(std::move(path));
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(1000u, paths.size());
    fs::path const folder = fs::path(*paths.begin()).parent_path();
    EXPECT_EQ(fs::temp_directory_path(), folder.parent_path());
    EXPECT_EQ(fs::owner_all, fs::status(folder).permissions());
    for (std::wstring const& path : paths)
    {
        ASSERT_EQ(folder, fs::path(path).parent_path());
        ASSERT_FALSE(fs::exists(fs::path(path)));
    }
}

TEST(TemporaryDirectory, FolderGoesWithTheLastObject)
{
    fs::path folder;
    {
        TemporaryDirectory outer;
        {
            TemporaryDirectory const inner;
            // A file name may be appended to the path as it is.
            fs::path const file(inner.GetTemporaryFilePath() + L"3dmodel.model");
            folder = file.parent_path();
            std::ofstream(file.string()) << "left behind";
            ASSERT_TRUE(fs::exists(file));
        }
        EXPECT_TRUE(fs::is_directory(folder));
        EXPECT_EQ(folder, fs::path(outer.GetTemporaryFilePath()).parent_path());
    }
    EXPECT_FALSE(fs::exists(folder));
    // A later object starts a folder of its own.
    fs::path const next = fs::path(TemporaryDirectory().GetTemporaryFilePath()).parent_path();
    EXPECT_NE(folder, next);
}
