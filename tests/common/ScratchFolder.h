#pragma once

#include "common/TemporaryDirectory.h"

#include <boost/filesystem.hpp>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// Files for one test, in a folder removed with everything in it when the last
// TemporaryDirectory goes.
struct ScratchFolder
{
    OndSDK::FileIO::FileSystem::TemporaryDirectory directory;

    std::wstring File(std::string const& name) const
    {
        return directory.GetTemporaryFilePath() + std::wstring(name.begin(), name.end());
    }

    static std::vector<unsigned char> ReadBytes(std::wstring const& path)
    {
        std::ifstream in(boost::filesystem::path(path).string(), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

    static void WriteBytes(std::wstring const& path, std::vector<unsigned char> const& bytes)
    {
        std::ofstream out(boost::filesystem::path(path).string(), std::ios::binary);
        out.write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
};
