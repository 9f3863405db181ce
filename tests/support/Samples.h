// Finding the sample and real-world 3MF files beside the checkout, for the
// tests that use them when present, and that CI must not run without.
#pragma once

#include "support/Prerequisites.h"

#include <boost/filesystem.hpp>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

// The 3MF files below a folder beside the checkout ("samples" recursively,
// "realworld" alone), sorted; empty when they are not there, which fails a
// test in CI.
inline std::vector<boost::filesystem::path> TestDataFiles(boost::filesystem::path const& root, bool recursive)
{
    std::vector<boost::filesystem::path> files;
    if (!boost::filesystem::exists(root))
    {
        if (InContinuousIntegration())
        {
            ADD_FAILURE() << "missing in CI: " << root;
        }
        return files;
    }
    auto const add = [&files](boost::filesystem::path const& path)
    {
        if (path.extension() == ".3mf")
        {
            files.push_back(path);
        }
    };
    if (recursive)
    {
        for (auto const& entry : boost::filesystem::recursive_directory_iterator(root))
        {
            add(entry.path());
        }
    }
    else
    {
        for (auto const& entry : boost::filesystem::directory_iterator(root))
        {
            add(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The sample files written by others, below the given folder of the samples.
inline std::vector<boost::filesystem::path> Samples(std::string const& folder = "")
{
    boost::filesystem::path const root = boost::filesystem::path(FORMAT3MF_TESTDATA) / "samples";
    return TestDataFiles(folder.empty() ? root : root / folder, true);
}

// The samples and then the files of today's slicers and tools.
inline std::vector<boost::filesystem::path> AllTestFiles()
{
    std::vector<boost::filesystem::path> files = Samples();
    for (auto& file : TestDataFiles(boost::filesystem::path(FORMAT3MF_TESTDATA) / "realworld", false))
    {
        files.push_back(std::move(file));
    }
    return files;
}
