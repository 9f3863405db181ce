// Imports each 3MF file named on the command line and prints what came out:
// per mesh its vertices, triangles, bounding box in millimetres, coloured and
// textured triangles, textures and beams; the read's warnings go to standard
// error. With --project, the parts of slicer projects with their roles and
// filament colours. Exits 0 when every file imported, 1 otherwise, 2 on a
// bad argument.

#include "MeshSummary.h"
#include "ToolCommon.h"

#include "format3mf/ImportFile.h"
#include "format3mf/Version.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>
#include <vector>

namespace format3mf::apps
{
namespace
{
using import::ImportedPart;
using import::ImportResult;

char const kUsage[] = "usage: ond3mf-info [--tsv | --json] [--project] [--quiet] file.3mf...\n"
                      "Imports each 3MF file and prints per mesh its vertices, triangles, bounding box in\n"
                      "millimetres, coloured and textured triangles, textures and beams.\n"
                      "  --tsv       one tab-separated line per mesh: file, index, vertices, triangles,\n"
                      "              box (min x y z, max x y z), coloured, textured, beams; a failed file\n"
                      "              gives file, \"error\", result, messages\n"
                      "  --json      one JSON document: the files with their meshes, errors and warnings\n"
                      "  --project   each part of a slicer project's objects as a mesh of its own, with\n"
                      "              its role and the colour of its filament (--tsv: two more columns)\n"
                      "  --quiet     no warnings on standard error\n"
                      "  --version   the library's version\n"
                      "Exit codes: 0 every file imported, 1 a file failed, 2 bad argument.\n";

void PrintReadable(std::string const& file, ImportResult const& result, bool project)
{
    std::vector<ImportedPart> const& parts = result.parts;
    std::printf("%s: %zu mesh%s\n", file.c_str(), parts.size(), parts.size() == 1 ? "" : "es");
    for (std::size_t i = 0; i < parts.size(); ++i)
    {
        Summary const s = Summarise(*parts[i].mesh);
        std::string const& name = parts[i].name;
        std::printf("  mesh %zu%s%s\n", i, name.empty() ? "" : ": ", name.c_str());
        std::printf("    vertices %zu, triangles %zu\n", s.vertices, s.triangles);
        std::printf("    box (%.3f, %.3f, %.3f) to (%.3f, %.3f, %.3f) mm\n", s.min[0], s.min[1], s.min[2],
                    s.max[0], s.max[1], s.max[2]);
        std::printf("    coloured triangles %zu, textured triangles %zu, textures %zu\n", s.coloured,
                    s.textured, s.textures);
        std::printf("    beams %zu\n", s.beams);
        if (project)
        {
            std::printf("    %s, filament colour %s\n", Format_3MF::PartRoleName(parts[i].role),
                        FilamentColour(parts[i]).c_str());
        }
    }
}

void PrintTabbed(std::string const& file, ImportResult const& result, bool project)
{
    std::vector<ImportedPart> const& parts = result.parts;
    if (parts.empty())
    {
        std::printf("%s\tnone\n", file.c_str());
    }
    for (std::size_t i = 0; i < parts.size(); ++i)
    {
        Summary const s = Summarise(*parts[i].mesh);
        std::printf("%s\t%zu\t%zu\t%zu\t%.3f\t%.3f\t%.3f\t%.3f\t%.3f\t%.3f\t%zu\t%zu\t%zu", file.c_str(), i,
                    s.vertices, s.triangles, s.min[0], s.min[1], s.min[2], s.max[0], s.max[1], s.max[2],
                    s.coloured, s.textured, s.beams);
        if (project)
        {
            std::printf("\t%s\t%s", Format_3MF::PartRoleName(parts[i].role),
                        FilamentColour(parts[i]).c_str());
        }
        std::printf("\n");
    }
}

void PrintFailure(std::string const& file, bool tabbed, int result, std::vector<std::string> const& errors)
{
    std::string first = errors.empty() ? std::string("no message") : errors.front();
    if (tabbed)
    {
        // One line per file: the causes after the first follow it.
        for (std::size_t i = 1; i < errors.size(); ++i)
        {
            first += "; " + errors[i];
        }
        std::printf("%s\terror\t%d\t%s\n", file.c_str(), result, first.c_str());
        return;
    }
    std::printf("%s: import failed with result %d: %s\n", file.c_str(), result, first.c_str());
    for (std::size_t i = 1; i < errors.size(); ++i)
    {
        std::printf("%s: and: %s\n", file.c_str(), errors[i].c_str());
    }
}

// Why a file that read without error gave no mesh, for a person.
std::string WhyNoMesh(std::vector<std::string> const& warnings)
{
    if (warnings.empty())
    {
        return "no build item places an object that holds geometry";
    }
    return "no build item yields geometry; the read warned: " + warnings.front() +
           (warnings.size() > 1 ? " (and " + std::to_string(warnings.size() - 1) + " more)" : "");
}

enum class Output
{
    Readable,
    Tabbed,
    Json
};

// Imports one file and prints it, or adds it to the JSON document; false
// when it failed.
bool Inspect(std::string const& file, Output output, bool quiet, bool project, nlohmann::json& document)
{
    import::ImportSettings settings;
    settings.projectParts = project;
    settings.nonPrintableParts = project;
    ImportResult const result = import::ImportFile(file, settings);
    bool const ok = result.status == import::Importer::Success;
    if (!quiet)
    {
        PrintMessages(file, "warning", result.warnings);
    }
    if (output == Output::Json)
    {
        nlohmann::json entry = {{"file", file},
                                {"status", static_cast<int>(result.status)},
                                {"ok", ok},
                                {"meshes", nlohmann::json::array()},
                                {"errors", result.errors},
                                {"warnings", result.warnings}};
        for (ImportedPart const& part : result.parts)
        {
            entry["meshes"].push_back(Record(part, project));
        }
        if (ok && result.parts.empty())
        {
            entry["no_mesh_because"] = WhyNoMesh(result.warnings);
        }
        document["files"].push_back(std::move(entry));
    }
    else if (!ok)
    {
        PrintFailure(file, output == Output::Tabbed, result.status, result.errors);
    }
    else if (output == Output::Tabbed)
    {
        PrintTabbed(file, result, project);
    }
    else
    {
        PrintReadable(file, result, project);
        if (result.parts.empty())
        {
            std::printf("  %s\n", WhyNoMesh(result.warnings).c_str());
        }
    }
    return ok;
}
} // namespace
} // namespace format3mf::apps

int main(int argc, char** argv)
{
    using namespace format3mf::apps;
    if (AnswerStandardOption(argc, argv, "ond3mf-info", kUsage))
    {
        return 0;
    }
    Output output = Output::Readable;
    bool quiet = false;
    bool project = false;
    std::vector<std::string> files;
    bool options = true;
    for (int i = 1; i < argc; ++i)
    {
        std::string const argument = argv[i];
        if (options && argument == "--")
        {
            options = false;
        }
        else if (options && argument == "--tsv")
        {
            output = Output::Tabbed;
        }
        else if (options && argument == "--json")
        {
            output = Output::Json;
        }
        else if (options && argument == "--quiet")
        {
            quiet = true;
        }
        else if (options && argument == "--project")
        {
            project = true;
        }
        else if (options && argument.size() > 1 && argument[0] == '-')
        {
            return BadUsage("ond3mf-info", "unknown option '" + argument + "'", kUsage);
        }
        else
        {
            files.push_back(argument);
        }
    }
    if (files.empty())
    {
        return BadUsage("ond3mf-info", "no file given", kUsage);
    }
    nlohmann::json document = {{"version", format3mf::Version()}, {"files", nlohmann::json::array()}};
    bool all = true;
    for (std::string const& file : files)
    {
        all = Inspect(file, output, quiet, project, document) && all;
    }
    if (output == Output::Json)
    {
        // A file name need not be UTF-8, and JSON must be: such bytes become
        // U+FFFD, as they do in any JSON of file names.
        std::printf("%s\n", document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
    }
    return all ? 0 : 1;
}
