// Tests of the process's temporary folder: unique paths across threads and
// removal with the last user.
#include "common/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <fstream>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

using OndSDK::FileIO::FileSystem::TemporaryDirectory;
namespace fs = boost::filesystem;

// Fresh paths in one private folder, across threads; a file name may be
// appended to a path as it is; the folder stays while any object lives, and
// a later object starts a folder of its own.
TEST(TemporaryDirectory, FreshPathsInOnePrivateFolderThatGoesWithTheLastObject)
{
    auto outer = std::make_unique<TemporaryDirectory>();
    std::mutex mutex;
    std::set<std::wstring> paths;
    {
        TemporaryDirectory const second;
        TemporaryDirectory const* const directories[2] = {outer.get(), &second};
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
        {
            threads.emplace_back(
                [&, t]
                {
                    for (int i = 0; i < 250; ++i)
                    {
                        std::wstring path = directories[t % 2]->GetTemporaryFilePath();
                        std::lock_guard<std::mutex> lock(mutex);
                        paths.insert(std::move(path));
                    }
                });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
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
    fs::path const path(outer->GetTemporaryFilePath() + L"3dmodel.model");
    std::ofstream(path.string()) << "left behind";
    ASSERT_TRUE(fs::exists(path));
    {
        TemporaryDirectory const inner;
        outer.reset();
        EXPECT_TRUE(fs::exists(path));
        EXPECT_EQ(path.parent_path(), fs::path(inner.GetTemporaryFilePath()).parent_path());
    }
    EXPECT_FALSE(fs::exists(path.parent_path()));
    EXPECT_NE(path.parent_path(), fs::path(TemporaryDirectory().GetTemporaryFilePath()).parent_path());
}
