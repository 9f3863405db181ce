#pragma once

#include <boost/filesystem.hpp>

#include <algorithm>
#include <string>
#include <vector>

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
