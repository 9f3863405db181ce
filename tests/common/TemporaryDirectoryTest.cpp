#include "common/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <fstream>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

using OndSDK::FileIO::FileSystem::TemporaryDirectory;

TEST(TemporaryDirectory, FreshPathsInOnePrivateFolderAcrossThreads)
{
    TemporaryDirectory first;
    TemporaryDirectory const second;
    std::mutex mutex;
    std::vector<std::wstring> paths;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
    {
        threads.emplace_back(
            [&, t]
            {
                TemporaryDirectory const& directory = t % 2 == 0 ? first : second;
                for (int i = 0; i < 250; ++i)
                {
                    std::wstring path = directory.GetTemporaryFilePath();
                    std::lock_guard<std::mutex> lock(mutex);
                    paths.push_back(std::move(path));
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(paths.size(), std::set<std::wstring>(paths.begin(), paths.end()).size());

    boost::filesystem::path const folder = boost::filesystem::path(paths.front()).parent_path();
    EXPECT_EQ(boost::filesystem::temp_directory_path(), folder.parent_path());
    EXPECT_TRUE(boost::filesystem::is_directory(folder));
    EXPECT_EQ(boost::filesystem::owner_all, boost::filesystem::status(folder).permissions());
    for (std::wstring const& path : paths)
    {
        ASSERT_EQ(folder, boost::filesystem::path(path).parent_path());
        ASSERT_FALSE(boost::filesystem::exists(boost::filesystem::path(path)));
    }
}

TEST(TemporaryDirectory, FolderGoesWithTheLastObject)
{
    boost::filesystem::path folder;
    {
        TemporaryDirectory outer;
        {
            TemporaryDirectory const inner;
            // A file name may be appended to the path as it is.
            boost::filesystem::path const file(inner.GetTemporaryFilePath() + L"3dmodel.model");
            folder = file.parent_path();
            std::ofstream(file.string()) << "left behind";
            ASSERT_TRUE(boost::filesystem::exists(file));
        }
        EXPECT_TRUE(boost::filesystem::is_directory(folder));
        EXPECT_EQ(folder, boost::filesystem::path(outer.GetTemporaryFilePath()).parent_path());
    }
    EXPECT_FALSE(boost::filesystem::exists(folder));

    // A later object starts a folder of its own.
    TemporaryDirectory const later;
    boost::filesystem::path const next = boost::filesystem::path(later.GetTemporaryFilePath()).parent_path();
    EXPECT_NE(folder, next);
    EXPECT_TRUE(boost::filesystem::is_directory(next));
}
