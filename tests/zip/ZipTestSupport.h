// What the zip tests share: a temporary folder, file helpers, mesh-like text
// and the checks of an archive by other readers.
#pragma once

#include "support/Command.h"
#include "support/PeakMemory.h"
#include "support/Prerequisites.h"

#include "zip/IReadBuffer.h"
#include "zip/ReadBufferStream.h"

#include <gtest/gtest.h>
#include <zip.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

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
    for (std::size_t i = 0; i < lines; ++i)
    {
        double const x = coordinate(random), y = coordinate(random), z = coordinate(random);
        text += "<vertex x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" z=\"" +
                std::to_string(z) + "\"/>\n";
    }
    return text;
}

// The output of a shell command and its exit status.
inline std::pair<int, std::string> RunShell(std::string const& command)
{
    CommandOutput const output = RunCommand(command + " 2>&1");
    return {output.status, output.text};
}

// The entry names in the archive, in order, read by libzip after its
// consistency check (local headers agree with the central directory); every
// entry is read to its end, where libzip checks the CRC, except the data of
// those named in skipData, whose headers alone are checked. Fails the test
// when something is wrong.
inline std::vector<std::string> LibzipReadsStrictly(std::filesystem::path const& archive,
                                                    std::vector<std::string> const& skipData = {})
{
    std::vector<std::string> names;
    int error = 0;
    zip_t* const handle = zip_open(archive.c_str(), ZIP_RDONLY | ZIP_CHECKCONS, &error);
    if (handle == nullptr)
    {
        ADD_FAILURE() << archive << ": libzip's consistency check fails, error " << error;
        return names;
    }
    std::vector<char> block(1 << 20);
    for (zip_int64_t i = 0; i < zip_get_num_entries(handle, 0); ++i)
    {
        names.push_back(zip_get_name(handle, static_cast<zip_uint64_t>(i), 0));
        zip_file_t* const entry = zip_fopen_index(handle, static_cast<zip_uint64_t>(i), 0);
        bool const whole = std::find(skipData.begin(), skipData.end(), names.back()) == skipData.end();
        zip_int64_t got = entry != nullptr ? 1 : -1;
        while (got > 0 && whole)
        {
            got = zip_fread(entry, block.data(), block.size());
        }
        EXPECT_EQ(got, whole ? 0 : 1)
            << archive << ": libzip fails to read entry " << i << ": " << zip_strerror(handle);
        if (entry != nullptr)
        {
            zip_fclose(entry);
        }
    }
    zip_discard(handle);
    return names;
}

// Python's zipfile (CRCs, names decoded as UTF-8 only when flagged) and
// Info-ZIP's unzip -t accept the archive and see these names; the entries of
// skipData are listed but not read.
inline void ExpectOtherReadersAccept(std::filesystem::path const& archive,
                                     std::vector<std::string> const& names,
                                     std::vector<std::string> const& skipData = {})
{
    std::string expected, skipped, tested;
    for (std::string const& name : names)
    {
        expected += "|" + name;
        bool const skip = std::find(skipData.begin(), skipData.end(), name) != skipData.end();
        (skip ? skipped : tested) += " '" + name + "'";
    }
    if (RunShell("python3 -c 'import zipfile' && unzip -v").first != 0)
    {
        SKIP_OR_FAIL_MISSING("python3 and unzip, to check " << archive);
    }
    // zipfile's read checks the CRC.
    EXPECT_EQ(std::make_pair(0, expected),
              RunShell("python3 -c 'import zipfile,sys; z = zipfile.ZipFile(sys.argv[1]); "
                       "[z.read(n) for n in z.namelist() if n not in sys.argv[2:]]; "
                       "sys.stdout.buffer.write(\"\".join(\"|\" + n for n in z.namelist()).encode())' '" +
                       archive.string() + "'" + skipped))
        << archive;
    auto const [status, output] =
        RunShell("unzip -tqq '" + archive.string() + "'" + (skipData.empty() ? std::string() : tested));
    EXPECT_EQ(0, status) << archive << ": unzip -t says\n" << output;
}

// Every strict reader at hand accepts the archive; gives its names in order.
inline std::vector<std::string> ExpectStrictReadersAccept(std::filesystem::path const& archive)
{
    std::vector<std::string> const names = LibzipReadsStrictly(archive);
    ExpectOtherReadersAccept(archive, names);
    return names;
}
} // namespace ziptest
