#pragma once

#include "zip/IReadBuffer.h"
#include "zip/ReadBufferStream.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>

namespace ziptest
{
// A folder of its own below the system's temporary folder, removed at the end.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::random_device random;
        m_path = std::filesystem::temp_directory_path() / ("ond_zip_test_" + std::to_string(random()));
        std::filesystem::create_directories(m_path);
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    std::filesystem::path operator/(std::string const& name) const { return m_path / name; }
    std::filesystem::path const& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

inline std::string ReadAll(std::istream& stream)
{
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline std::string ReadFile(std::filesystem::path const& path)
{
    std::ifstream file(path, std::ios::binary);
    return ReadAll(file);
}

inline void WriteFile(std::filesystem::path const& path, std::string const& content)
{
    std::ofstream file(path, std::ios::binary);
    file << content;
}

// Reads an entry through the stream the package reader uses.
inline std::string ReadEntry(IReadBuffer* buffer)
{
    ReadBufferStream stream(buffer);
    return ReadAll(stream);
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

// Runs python3 on a script with the archive as argument and gives its output;
// false when python3 isn't there.
inline bool RunPython(std::string const& script, std::filesystem::path const& archive, std::string& output)
{
    if (std::system("python3 -c 'import zipfile' >/dev/null 2>&1") != 0)
    {
        return false;
    }
    std::string const command = "python3 -c '" + script + "' '" + archive.string() + "' 2>&1";
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    output.clear();
    char chunk[4096];
    while (std::size_t const got = std::fread(chunk, 1, sizeof chunk, pipe.get()))
    {
        output.append(chunk, got);
    }
    int const status = pclose(pipe.release());
    output += "exit=" + std::to_string(status);
    return true;
}

// The check of other readers: Python's zipfile reads every entry and its CRC.
inline void ExpectPythonAccepts(std::filesystem::path const& archive)
{
    std::string output;
    if (!RunPython("import zipfile,sys; print(zipfile.ZipFile(sys.argv[1]).testzip())", archive, output))
    {
        std::printf("[ SKIPPED  ] python3 is missing; %s not checked by zipfile\n", archive.c_str());
        return;
    }
    EXPECT_EQ(output, "None\nexit=0") << archive;
}
} // namespace ziptest
