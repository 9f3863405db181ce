#pragma once

#include "common/StringConversion.h"
#include "common/TemporaryDirectory.h"
#include "zip/MZipArchive.h"
#include "zip/WriteBufferStream.h"
#include "zip/WriteBufferToZip.h"

#include <boost/filesystem.hpp>

#include <cstdio>
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
    std::string output;
    if (FILE* pipe = popen(command.c_str(), "r"))
    {
        char buffer[4096];
        std::size_t count;
        while ((count = fread(buffer, 1, sizeof buffer, pipe)) > 0)
        {
            output.append(buffer, count);
        }
        if (pclose(pipe) != 0)
        {
            output = "python failed: " + output;
        }
    }
    return output;
}

// A package whose root model is the given XML, with further entries (name
// without leading slash, content) as they are. There is no content types
// part: the reader takes parts by relationship.
inline void WriteModelPackage(std::wstring const& path, std::string const& model,
                              std::vector<std::pair<std::string, std::string>> const& entries = {})
{
    MZipArchive archive(false);
    archive.OpenArchiveWrite(path.c_str());
    {
        WriteBufferStream stream(new WriteBufferToZip32(&archive, "_rels/.rels"));
        stream
            << R"(<Relationships><Relationship Id="rel0" Target="/3D/3dmodel.model" Type="t"/></Relationships>)";
    }
    {
        WriteBufferStream stream(new WriteBufferToZip32(&archive, "3D/3dmodel.model"));
        stream << model;
    }
    for (auto const& [name, content] : entries)
    {
        WriteBufferStream stream(new WriteBufferToZip32(&archive, name.c_str()));
        stream << content;
    }
    archive.CloseArchive();
}
