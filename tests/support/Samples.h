// Finding the sample and real-world 3MF files beside the checkout, for the
// tests that use them when present, and that CI must not run without.
#pragma once

#include "support/Prerequisites.h"

#include <boost/filesystem.hpp>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

// A test that finds no files beside the checkout passes by hand, and fails in CI.
inline void NoteMissingTestData(boost::filesystem::path const& root)
{
    if (InContinuousIntegration())
    {
        ADD_FAILURE() << "missing in CI: " << root;
    }
}

// The 3MF files written by others beside the checkout, sorted, below the
// given folder of the samples; empty when they are not there.
inline std::vector<boost::filesystem::path> Samples(std::string const& folder = "")
{
    std::vector<boost::filesystem::path> files;
    boost::filesystem::path root = boost::filesystem::path(FORMAT3MF_TESTDATA) / "samples";
    if (!folder.empty())
    {
        root /= folder;
    }
    if (!boost::filesystem::exists(root))
    {
        NoteMissingTestData(root);
        return files;
    }
    for (auto const& entry : boost::filesystem::recursive_directory_iterator(root))
    {
        if (entry.path().extension() == ".3mf")
        {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The 3MF files of today's slicers and tools beside the checkout, sorted;
// empty when they are not there.
inline std::vector<boost::filesystem::path> RealWorldFiles()
{
    std::vector<boost::filesystem::path> files;
    boost::filesystem::path const root = boost::filesystem::path(FORMAT3MF_TESTDATA) / "realworld";
    if (!boost::filesystem::exists(root))
    {
        NoteMissingTestData(root);
        return files;
    }
    for (auto const& entry : boost::filesystem::directory_iterator(root))
    {
        if (entry.path().extension() == ".3mf")
        {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The samples and then the real-world files.
inline std::vector<boost::filesystem::path> AllTestFiles()
{
    std::vector<boost::filesystem::path> files = Samples();
    for (auto& file : RealWorldFiles())
    {
        files.push_back(std::move(file));
    }
    return files;
}
