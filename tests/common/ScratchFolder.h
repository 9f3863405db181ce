#pragma once

#include <boost/filesystem.hpp>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// A folder of its own for one test, removed with everything in it.
class ScratchFolder
{
public:
    ScratchFolder()
        : m_path(boost::filesystem::temp_directory_path() /
                 boost::filesystem::unique_path("common-test-%%%%-%%%%"))
    {
        boost::filesystem::create_directories(m_path);
    }
    ~ScratchFolder()
    {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(m_path, ignored);
    }

    std::wstring File(std::string const& name) const { return (m_path / name).wstring(); }

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

private:
    boost::filesystem::path m_path;
};
