// Finding and reading the settings parts of a slicer project in its archive.
#include "project/ProjectConfig.h"

#include "common/StringConversion.h"
#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"
#include "zip/ReadBufferFromZip.h"

namespace format3mf::project
{
// The project's readers build on the model's classes.
using namespace Format_3MF;

namespace
{
// Settings run to tens of kilobytes; a part this big is not settings, and
// is not read into memory.
constexpr std::uint64_t kMaxSettingsBytes = std::uint64_t(16) << 20;

enum class Entry
{
    Missing,
    Read,
    Failed
};

// The whole text of an entry, or why it can't be had.
Entry ReadEntry(MZipArchive& archive, std::string const& name, std::string& text, std::wstring& problem)
{
    MZipArchive::MZipFileInfo info;
    if (!archive.GetFileInfo(name.c_str(), info))
    {
        return Entry::Missing;
    }
    if (info.m_uncompressedSize > kMaxSettingsBytes)
    {
        problem = L"it is " + std::to_wstring(info.m_uncompressedSize) + L" bytes long, more than the " +
                  std::to_wstring(kMaxSettingsBytes) + L" that settings may take";
        return Entry::Failed;
    }
    try
    {
        ReadBufferFromZip buffer(&archive, StringConversion::ConvertMultiByteStringToOndString(name).c_str());
        text.resize(std::size_t(info.m_uncompressedSize));
        std::size_t filled = 0;
        while (std::size_t const got = buffer.Read(text.data() + filled, text.size() - filled))
        {
            filled += got;
            if (filled == text.size())
            {
                break;
            }
        }
        text.resize(filled);
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        problem = L"it can't be read from the archive: " + error.GetMessage();
        return Entry::Failed;
    }
    return Entry::Read;
}

using Parser = std::string (*)(std::string const&, ProjectConfig&);

// Reads the first of the parts that is there; true when one was.
bool ReadFirst(MZipArchive& archive, std::vector<std::pair<std::string, Parser>> const& candidates,
               ProjectConfig& config, std::wstring& source, std::wstring const& consequence,
               std::vector<std::wstring>& warnings)
{
    for (auto const& [name, parse] : candidates)
    {
        std::string text;
        std::wstring problem;
        Entry const entry = ReadEntry(archive, name, text, problem);
        if (entry == Entry::Missing)
        {
            continue;
        }
        source = L"/" + StringConversion::ConvertMultiByteStringToOndString(name);
        if (entry == Entry::Read)
        {
            problem = StringConversion::ConvertMultiByteStringToOndString(parse(text, config));
        }
        if (!problem.empty())
        {
            warnings.push_back(L"The project settings " + source + L" are not read: " + problem + L"; " +
                               consequence);
        }
        return true;
    }
    return false;
}
} // namespace

std::unique_ptr<ProjectConfig> ReadProjectConfig(MZipArchive& archive, std::vector<std::wstring>& warnings)
{
    auto config = std::make_unique<ProjectConfig>();
    std::wstring objectsSource;
    bool const objects =
        ReadFirst(archive,
                  {{"Metadata/model_settings.config", ReadBambuObjects},
                   {"Metadata/Slic3r_PE_model.config", ReadPrusaObjects}},
                  *config, objectsSource, L"the objects are read without their parts.", warnings);
    bool const filaments =
        ReadFirst(archive,
                  {{"Metadata/project_settings.config", ReadBambuFilaments},
                   {"Metadata/Slic3r_PE.config", ReadPrusaFilaments}},
                  *config, config->filamentSource, L"no part takes the colour of its filament.", warnings);
    if (!objects && !filaments)
    {
        return nullptr;
    }
    for (auto& [id, object] : config->objects)
    {
        object.source = objectsSource;
        if (object.entries > 1)
        {
            warnings.push_back(L"The project settings " + objectsSource + L" describe object " +
                               std::to_wstring(id) + L" in " + std::to_wstring(object.entries) +
                               L" entries; its parts are taken from all of them, its name and extruder from "
                               L"the last that gives them.");
        }
    }
    return config;
}
} // namespace format3mf::project
