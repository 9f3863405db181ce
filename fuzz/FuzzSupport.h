// What the fuzz targets share: the library reads packages from disk only, so
// each input becomes a file, and an import that lets through only what the
// importer's interface says a bad file may throw.
#pragma once

#include "format3mf/Importer.h"

#include "triangles/MStlBase.h"

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

// One file per fuzzing process, rewritten for every input and removed when
// the process ends normally.
class FuzzInputFile
{
public:
    FuzzInputFile()
    {
        char const* const folder = std::getenv("TMPDIR");
        m_path = std::string(folder != nullptr && *folder != '\0' ? folder : "/tmp") + "/ond3mf-fuzz-" +
                 std::to_string(getpid()) + ".3mf";
    }
    ~FuzzInputFile() { std::remove(m_path.c_str()); }
    FuzzInputFile(FuzzInputFile const&) = delete;
    FuzzInputFile& operator=(FuzzInputFile const&) = delete;

    // The path as the library takes it; the name is plain ASCII.
    std::wstring Write(std::uint8_t const* data, std::size_t size) const
    {
        std::FILE* const file = std::fopen(m_path.c_str(), "wb");
        if (file == nullptr)
        {
            std::perror(m_path.c_str());
            std::abort();
        }
        if (size != 0 && std::fwrite(data, 1, size, file) != size)
        {
            std::abort();
        }
        std::fclose(file);
        return std::wstring(m_path.begin(), m_path.end());
    }

private:
    std::string m_path;
};

// Imports with textures, and with the parts of slicer projects (all of
// them) when `project` says so. Two exceptions pass the importer by design:
// the bare int of a colour text that DecodeColor can't read, and the
// std::out_of_range of a part name without an extension looked up against a
// Default content type. Anything else that leaves Operate is a finding.
inline void ImportFile(std::wstring const& path, bool project = false)
{
    std::vector<std::unique_ptr<MStlBase>> parts;
    format3mf::import::Importer importer;
    importer.SetOutputParts(parts);
    importer.SetFileName(path);
    importer.SetReadProjectParts(project);
    importer.SetImportNonPrintableParts(project);
    try
    {
        importer.Operate(nullptr);
    }
    catch (int)
    {
    }
    catch (std::out_of_range const&)
    {
    }
}
