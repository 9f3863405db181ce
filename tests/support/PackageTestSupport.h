// What the package tests share: scratch paths, byte helpers and checks of an
// archive by Python's own readers.
#pragma once

#include "support/Command.h"

#include "common/StringConversion.h"
#include "common/TemporaryDirectory.h"
#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"
#include "zip/ReadBufferFromZip.h"
#include "zip/ReadBufferStream.h"
#include "zip/WriteBufferStream.h"
#include "zip/WriteBufferToZip.h"

#include <boost/filesystem.hpp>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

// Paths for one test's files, in the process's temporary folder (the same
// one the library uses, so a test can see what the library leaves there).
struct PackageScratch
{
    OndSDK::FileIO::FileSystem::TemporaryDirectory directory;

    std::wstring File(std::string const& name) const
    {
        return directory.GetTemporaryFilePath() + StringConversion::ConvertMultiByteStringToOndString(name);
    }

    // The regular files in the temporary folder now.
    std::set<std::string> Files() const
    {
        boost::filesystem::path const folder =
            boost::filesystem::path(StringConversion::ConvertNativeToUTF8(directory.GetTemporaryFilePath()))
                .parent_path();
        std::set<std::string> files;
        for (auto const& entry : boost::filesystem::directory_iterator(folder))
        {
            if (boost::filesystem::is_regular_file(entry.path()))
            {
                files.insert(entry.path().string());
            }
        }
        return files;
    }
};

// How often `part` occurs in `text`, overlaps included.
inline std::size_t Occurrences(std::string const& text, std::string const& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    {
        ++count;
    }
    return count;
}

// The bytes of a file, and a file of the given bytes.
inline std::vector<unsigned char> ReadBytes(std::wstring const& path)
{
    std::ifstream in(StringConversion::ConvertNativeToUTF8(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void WriteBytes(std::wstring const& path, std::vector<unsigned char> const& bytes)
{
    std::ofstream out(StringConversion::ConvertNativeToUTF8(path), std::ios::binary);
    out.write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Runs Python's own zip and XML readers over an archive: every entry's CRC,
// every XML part well-formed. Prints the entry names in order on success.
inline std::string PythonCheck(std::wstring const& archive)
{
    std::string const command =
        "python3 -c \"import zipfile,sys,xml.etree.ElementTree as E\n"
        "z=zipfile.ZipFile(sys.argv[1])\n"
        "assert z.testzip() is None\n"
        "[E.fromstring(z.read(n)) for n in z.namelist() if n.endswith(('.xml','.rels','.model'))]\n"
        "print(' '.join(z.namelist()))\" '" +
        StringConversion::ConvertNativeToUTF8(archive) + "' 2>&1";
    CommandOutput const output = RunCommand(command);
    return output.status == 0 ? output.text : "python failed: " + output.text;
}

// The bytes of one entry of an archive, read by our own zip layer; empty when
// the archive or the entry isn't there.
inline std::string EntryText(std::wstring const& archivePath, std::string const& entry)
{
    MZipArchive archive(false);
    if (!archive.OpenArchiveRead(archivePath.c_str()))
    {
        return "";
    }
    try
    {
        ReadBufferStream stream(new ReadBufferFromZip(
            &archive, StringConversion::ConvertUTF8ToNative(entry.data(), entry.size()).c_str()));
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    catch (MZipArchiveError::MFileNotFound const&)
    {
        return "";
    }
}

// An archive of the given entries (name, content) as they are, written by
// our own zip layer.
inline void WriteArchive(std::wstring const& path,
                         std::vector<std::pair<std::string, std::string>> const& entries)
{
    MZipArchive archive(false);
    archive.OpenArchiveWrite(path.c_str());
    for (auto const& [name, content] : entries)
    {
        WriteBufferStream stream(new WriteBufferToZip32(&archive, name.c_str()));
        stream << content;
    }
    archive.CloseArchive();
}

// A package whose root model is the given XML, with further entries (name
// without leading slash, content) as they are. There is no content types
// part: the reader takes parts by relationship.
inline void WriteModelPackage(std::wstring const& path, std::string const& model,
                              std::vector<std::pair<std::string, std::string>> const& entries = {})
{
    std::vector<std::pair<std::string, std::string>> all = {
        {"_rels/.rels",
         R"(<Relationships><Relationship Id="rel0" Target="/3D/3dmodel.model" Type="t"/></Relationships>)"},
        {"3D/3dmodel.model", model}};
    all.insert(all.end(), entries.begin(), entries.end());
    WriteArchive(path, all);
}
