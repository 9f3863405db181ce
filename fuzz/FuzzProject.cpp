// Fuzz target: any bytes as a slicer project, opened, listed, edited and
// saved. A project that can't be opened or an edit that can't apply throws
// ProjectError; anything else that leaves the project is a finding, and so is
// a save that leaves a file behind.
#include "FuzzSupport.h"

#include "format3mf/Project.h"

#include <filesystem>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    static FuzzInputFile const input;
    std::wstring const wide = input.Write(data, size);
    std::string const path(wide.begin(), wide.end());
    std::string const saved = path + ".saved.3mf";
    std::unique_ptr<format3mf::Project> project;
    try
    {
        project = format3mf::Project::Open(path);
    }
    catch (format3mf::ProjectError const&)
    {
        return 0;
    }
    std::size_t listed = project->Metadata().size() + project->Filaments().size() +
                         project->Objects().size() + project->Plates().size() +
                         project->ThumbnailEntries().size() + project->SettingsJson().size();
    auto const edit = [&](auto&& run)
    {
        try
        {
            run();
        }
        catch (format3mf::ProjectError const&)
        {
        }
    };
    edit([&] { listed += project->Thumbnail(0).has_value() ? 1 : 0; });
    for (format3mf::ProjectEntry const& entry : project->Entries())
    {
        edit([&] { listed += project->ReadEntry(entry.name).size(); });
    }
    edit([&] { project->SetFilament(1, std::string("#10A0F0"), std::string("PLA")); });
    edit([&] { project->AddFilament("#F0A010"); });
    edit([&] { project->SetMetadata("Title", "fuzzed <&>"); });
    edit([&] { project->SetSetting("layer_height", "0.2"); });
    if (!project->Objects().empty())
    {
        int const id = project->Objects().front().id;
        edit([&] { project->Rename(id, "renamed"); });
        edit([&] { project->SetExtruder(id, 1); });
        edit([&] { project->RemoveObject(id); });
    }
    format3mf::ProjectMeshInput mesh;
    mesh.vertices = {0, 0, 0, 10, 0, 0, 0, 10, 0, 0, 0, 10};
    mesh.triangles = {0, 2, 1, 0, 1, 3, 1, 2, 3, 0, 3, 2};
    mesh.name = "added";
    mesh.triangleFilaments = {1, 0, 1, 0};
    edit([&] { project->AddObject(mesh); });
    edit([&] { project->WriteEntry("Metadata/fuzz.txt", "x"); });
    edit([&] { project->Save(saved); });
    std::error_code ignored;
    std::filesystem::remove(saved, ignored);
    static_cast<void>(listed);
    return 0;
}
