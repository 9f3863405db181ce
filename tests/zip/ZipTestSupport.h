#pragma once

#include "zip/IReadBuffer.h"
#include "zip/ReadBufferStream.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace ziptest
{
// A folder of its own below the system's temporary folder, removed at the end.
struct TemporaryFolder
{
    std::filesystem::path const m_path =
        std::filesystem::temp_directory_path() / ("ond_zip_test_" + std::to_string(std::random_device()()));

    TemporaryFolder() { std::filesystem::create_directories(m_path); }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    std::filesystem::path operator/(std::string const& name) const { return m_path / name; }
};

inline std::string ReadFile(std::filesystem::path const& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteFile(std::filesystem::path const& path, std::string const& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

// Reads an entry through the stream the package reader uses.
inline std::string ReadEntry(IReadBuffer* buffer)
{
    ReadBufferStream stream(buffer);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// Text shaped like mesh XML, different from line to line.
inline std::string MeshLikeText(std::size_t lines, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> coordinate(-100.0, 100.0);
    std::string text;
    char line[128];
    for (std::size_t i = 0; i < lines; ++i)
    {
        int const length = std::snprintf(line, sizeof line, "<vertex x=\"%.4f\" y=\"%.4f\" z=\"%.4f\"/>\n",
                                         coordinate(random), coordinate(random), coordinate(random));
        text.append(line, static_cast<std::size_t>(length));
    }
    return text;
}
} // namespace ziptest
