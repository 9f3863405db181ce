// Reads a mesh file and writes its meshes to another: ond3mf-convert
// [OPTIONS] IN OUT. Every mesh of IN (one per build item of a 3MF file)
// becomes an object of its own in OUT with its colours, textures and beam
// lattice, where OUT's format holds them. On a terminal a progress bar
// follows the library's progress; Ctrl-C cancels and leaves OUT as it was.
// Exits 0 on success, 1 when reading or writing failed, 2 on a bad argument,
// 130 when cancelled.

#include "TerminalProgress.h"
#include "ToolCommon.h"

#ifdef OND3MF_MESH_FORMATS
#include "MeshFormats.h"

#include "common/SafeFileWrite.h"
#endif

#include "format3mf/ImportFile.h"
#include "format3mf/WriteFile.h"

#include "common/BranchingProgressReporter.h"
#include "common/IProgressDelegate.h"
#include "triangles/MStlBase.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace format3mf::apps
{
namespace
{
// The other mesh formats and their options are there where assimp was found.
#ifdef OND3MF_MESH_FORMATS
#define OND3MF_SIDES                                                                                         \
    "Each side is 3MF, STL, OBJ, PLY or OFF, by its extension (any letter case) or\n"                        \
    "by --from and --to.\n"
#define OND3MF_MESH_OPTIONS                                                                                  \
    "Reading and writing STL, OBJ, PLY and OFF:\n"                                                           \
    "  --from=FORMAT       read IN as FORMAT: 3mf, stl, obj, ply or off\n"                                   \
    "  --to=FORMAT         write OUT as FORMAT\n"                                                            \
    "  --ascii             write STL or PLY as text (binary by default)\n"                                   \
    "  --unit=UNIT         IN's lengths are in UNIT: micron, mm (the default), cm, m,\n"                     \
    "                      inch or ft\n"                                                                     \
    "  --weld=MM           also weld corners of IN closer than MM millimetres\n"
#else
#define OND3MF_SIDES "Both are 3MF files.\n"
#define OND3MF_MESH_OPTIONS ""
#endif

// clang-format off
char const kUsage[] =
    "usage: ond3mf-convert [OPTIONS] IN OUT\n"
    "Reads IN and writes every mesh of it, with its name, colours, textures and beam\n"
    "lattice where OUT's format holds them, as an object of its own into OUT.\n"
    OND3MF_SIDES
    "Writing 3MF:\n"
    "  --binary            vertices and triangles into the model's binary side part\n"
    "                      (without triangle colours and textures; millimetres)\n"
    "  --zip64             write the archive as zip64\n"
    "  --separate-objects  each object in a model part of its own\n"
    "  --beams=DIALECT     beam lattices in the published dialect (the default), the\n"
    "                      vendor dialect, or none: published, vendor or none\n"
    "Reading 3MF:\n"
    "  --project           the printable parts of a slicer project's objects, each an\n"
    "                      object of its own, in the colours of their filaments and paint\n"
    OND3MF_MESH_OPTIONS
    "  --quiet             no warnings or notes on standard error\n"
    "  --help              this text\n"
    "  --version           the library's version\n"
    "An option for a format that is on neither side is refused.\n"
    "Exit codes: 0 done, 1 reading or writing failed, 2 bad argument, 130 cancelled.\n";
// clang-format on

constexpr int kCancelled = 130;

struct Arguments
{
    bool binary = false;
    bool quiet = false;
    bool separateObjects = false;
    // The printable parts of slicer projects, coloured as their makers see them.
    bool project = false;
#ifdef OND3MF_MESH_FORMATS
    meshformats::Format from = meshformats::Format::ThreeMF;
    meshformats::Format to = meshformats::Format::ThreeMF;
    bool ascii = false;
    double unitMm = 1.0;
    double weldMm = 0.0;
    // Given on the command line, so that they can be refused where they
    // don't apply.
    bool beamsGiven = false;
    bool unitGiven = false;
    bool weldGiven = false;
#endif
    bool zip64 = false;
    LatticeDialect lattice = LatticeDialect::Published;
    std::string input;
    std::string output;
};

#ifdef OND3MF_MESH_FORMATS
// The options of the other mesh formats: 0 when the argument is none of
// them, 1 when taken, -1 when bad (with the message).
int ParseFormatOption(std::string const& argument, Arguments& arguments, bool& fromGiven, bool& toGiven,
                      std::string& message)
{
    auto const value = [&argument](char const* option) { return argument.substr(std::strlen(option)); };
    if (argument.rfind("--from=", 0) == 0 || argument.rfind("--to=", 0) == 0)
    {
        bool const from = argument[2] == 'f';
        std::string const name = value(from ? "--from=" : "--to=");
        if (!meshformats::FormatOfName(name, from ? arguments.from : arguments.to))
        {
            message = "unknown format '" + name + "'; known are 3mf, stl, obj, ply, off";
            return -1;
        }
        (from ? fromGiven : toGiven) = true;
        return 1;
    }
    if (argument == "--ascii")
    {
        arguments.ascii = true;
        return 1;
    }
    if (argument.rfind("--unit=", 0) == 0)
    {
        if (!meshformats::MillimetresPerUnit(value("--unit="), arguments.unitMm))
        {
            message = "unknown unit '" + value("--unit=") + "'; known are micron, mm, cm, m, inch, ft";
            return -1;
        }
        arguments.unitGiven = true;
        return 1;
    }
    if (argument.rfind("--weld=", 0) == 0)
    {
        char* end = nullptr;
        std::string const text = value("--weld=");
        arguments.weldMm = std::strtod(text.c_str(), &end);
        if (text.empty() || *end != '\0' || !(arguments.weldMm >= 0) || !std::isfinite(arguments.weldMm))
        {
            message = "--weld takes a distance in millimetres, at least 0, not '" + text + "'";
            return -1;
        }
        arguments.weldGiven = true;
        return 1;
    }
    return 0;
}

// The options that mean something for one side's format only are refused
// for others, rather than ignored where a user counts on them.
bool OptionsApply(Arguments const& arguments, std::string& message)
{
    using meshformats::Format;
    bool const from3MF = arguments.from == Format::ThreeMF;
    bool const to3MF = arguments.to == Format::ThreeMF;
    struct Rule
    {
        char const* option;
        bool given;
        bool applies;
        bool input;
        char const* formats;
    };
    Rule const rules[] = {
        {"--binary", arguments.binary, to3MF, false, "3MF"},
        {"--zip64", arguments.zip64, to3MF, false, "3MF"},
        {"--separate-objects", arguments.separateObjects, to3MF, false, "3MF"},
        {"--beams", arguments.beamsGiven, to3MF, false, "3MF"},
        {"--ascii", arguments.ascii, arguments.to == Format::Stl || arguments.to == Format::Ply, false,
         "STL or PLY"},
        {"--project", arguments.project, from3MF, true, "3MF"},
        {"--unit", arguments.unitGiven, !from3MF, true, "STL, OBJ, PLY or OFF"},
        {"--weld", arguments.weldGiven, !from3MF, true, "STL, OBJ, PLY or OFF"},
    };
    for (Rule const& rule : rules)
    {
        if (rule.given && !rule.applies)
        {
            message = std::string(rule.option) + " applies to " + (rule.input ? "reading " : "writing ") +
                      rule.formats + " only, and " + (rule.input ? "IN is read" : "OUT is written") + " as " +
                      meshformats::NameOfFormat(rule.input ? arguments.from : arguments.to);
            return false;
        }
    }
    return true;
}
#endif

// False with a one-line message on a bad argument.
bool Parse(int argc, char** argv, Arguments& arguments, std::string& message)
{
    std::vector<std::string> files;
    bool options = true;
#ifdef OND3MF_MESH_FORMATS
    bool fromGiven = false;
    bool toGiven = false;
#endif
    for (int i = 1; i < argc; ++i)
    {
        std::string const argument = argv[i];
        if (!options || argument.size() < 2 || argument[0] != '-')
        {
            files.push_back(argument);
        }
        else if (argument == "--")
        {
            options = false;
        }
        else if (argument == "--binary")
        {
            arguments.binary = true;
        }
        else if (argument == "--quiet")
        {
            arguments.quiet = true;
        }
        else if (argument == "--separate-objects")
        {
            arguments.separateObjects = true;
        }
        else if (argument == "--project")
        {
            arguments.project = true;
        }
#ifdef OND3MF_MESH_FORMATS
        else if (int const taken = ParseFormatOption(argument, arguments, fromGiven, toGiven, message);
                 taken != 0)
        {
            if (taken < 0)
            {
                return false;
            }
        }
#endif
        else if (argument == "--zip64")
        {
            arguments.zip64 = true;
        }
        else if (argument.rfind("--beams=", 0) == 0)
        {
            std::string const dialect = argument.substr(8);
            if (dialect == "published")
            {
                arguments.lattice = LatticeDialect::Published;
            }
            else if (dialect == "vendor")
            {
                arguments.lattice = LatticeDialect::Vendor;
            }
            else if (dialect == "none")
            {
                arguments.lattice = LatticeDialect::None;
            }
            else
            {
                message = "unknown beam dialect '" + dialect + "'";
                return false;
            }
#ifdef OND3MF_MESH_FORMATS
            arguments.beamsGiven = true;
#endif
        }
        else
        {
            message = "unknown option '" + argument + "'";
            return false;
        }
    }
    if (files.size() != 2)
    {
        message = "expected IN and OUT, got " + std::to_string(files.size()) + " file name(s)";
        return false;
    }
    arguments.input = files[0];
    arguments.output = files[1];
#ifdef OND3MF_MESH_FORMATS
    // Each side by its option, else by its extension, else 3MF.
    if (!fromGiven)
    {
        meshformats::FormatOfPath(arguments.input, arguments.from);
    }
    if (!toGiven)
    {
        meshformats::FormatOfPath(arguments.output, arguments.to);
    }
    return OptionsApply(arguments, message);
#else
    return true;
#endif
}

// What was read: the meshes of a 3MF file, or the one mesh of another
// format with its colours.
struct Loaded
{
    std::vector<import::ImportedPart> parts;
#ifdef OND3MF_MESH_FORMATS
    std::vector<WeldedSoup> soups;
#endif
    std::vector<MStlBase const*> all;
};

// 0 when read, else the exit code, the reason printed.
int Load(Arguments const& arguments, std::shared_ptr<OndSDK::Common::IProgressDelegate> progress,
         Loaded& loaded)
{
#ifdef OND3MF_MESH_FORMATS
    if (arguments.from != meshformats::Format::ThreeMF)
    {
        meshformats::ReadOptions options;
        options.unitMm = arguments.unitMm;
        options.weldMm = arguments.weldMm;
        try
        {
            meshformats::ReadResult read =
                meshformats::ReadMeshFile(arguments.input, arguments.from, options);
            for (std::string const& note : read.notes)
            {
                if (!arguments.quiet)
                {
                    std::fprintf(stderr, "ond3mf-convert: %s\n", note.c_str());
                }
            }
            loaded.all.push_back(read.mesh.mesh.get());
            loaded.soups.push_back(std::move(read.mesh));
            return 0;
        }
        catch (std::runtime_error const& error)
        {
            std::fprintf(stderr, "ond3mf-convert: cannot read %s\n", error.what());
            return 1;
        }
    }
#endif
    import::ImportSettings settings;
    settings.progress = std::move(progress);
    settings.projectParts = arguments.project;
    import::ImportResult read = import::ImportFile(arguments.input, settings);
    if (!arguments.quiet)
    {
        PrintMessages(arguments.input, "warning", read.warnings);
    }
    if (read.status == import::Importer::Canceled)
    {
        return kCancelled;
    }
    if (read.status != import::Importer::Success)
    {
        std::fprintf(stderr, "ond3mf-convert: cannot read %s\n", arguments.input.c_str());
        PrintMessages(arguments.input, "error", read.errors);
        return 1;
    }
    loaded.parts = std::move(read.parts);
    for (import::ImportedPart const& part : loaded.parts)
    {
        loaded.all.push_back(part.mesh.get());
    }
    return 0;
}

// WriteFile writes beside the target and renames the whole file over it, so
// the target is never seen half written.
int Save3MF(Arguments const& arguments, std::vector<MStlBase const*> const& meshes,
            std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
{
    WriteSettings settings;
    settings.binary = arguments.binary;
    settings.zip64 = arguments.zip64;
    settings.separateObjects = arguments.separateObjects;
    settings.lattice = arguments.lattice;
    settings.progress = std::move(progress);
    WriteResult const written = WriteFile(arguments.output, meshes, settings);
    if (written.cancelled)
    {
        return kCancelled;
    }
    if (!written.ok)
    {
        // "Could not write OUT" and the cause.
        std::fprintf(stderr, "ond3mf-convert: %s\n", written.error.c_str());
        return 1;
    }
    if (!arguments.quiet)
    {
        PrintMessages(arguments.output, "warning", written.warnings);
    }
    return 0;
}

#ifdef OND3MF_MESH_FORMATS
int SaveMeshFile(Arguments const& arguments, std::vector<MStlBase const*> const& meshes,
                 OndSDK::Common::IProgressDelegate const* progress)
{
    meshformats::WriteOptions options;
    options.ascii = arguments.ascii;
    try
    {
        for (std::string const& note :
             meshformats::WriteMeshFile(arguments.output, arguments.to, meshes, options, progress))
        {
            if (!arguments.quiet)
            {
                std::fprintf(stderr, "ond3mf-convert: %s: %s\n", arguments.output.c_str(), note.c_str());
            }
        }
    }
    catch (meshformats::Canceled const&)
    {
        return kCancelled;
    }
    catch (format3mf::FileWriteError const& error)
    {
        std::fprintf(stderr, "ond3mf-convert: %s\n", error.what());
        return 1;
    }
    return 0;
}
#endif

int Convert(Arguments const& arguments, std::shared_ptr<OndSDK::Common::IProgressDelegate> const& progress)
{
    OndSDK::Common::BranchingProgressReporter reporter(progress, "ond3mf-convert", true);
    Loaded loaded;
    if (int const status = Load(arguments, reporter.CreateNestedDelegate(0.4), loaded))
    {
        return status;
    }
    // The readers of the other formats don't poll: a cancel while they read
    // is heard here, before anything is written.
    if (progress->IsCancelled())
    {
        return kCancelled;
    }
#ifdef OND3MF_MESH_FORMATS
    if (arguments.to != meshformats::Format::ThreeMF)
    {
        return SaveMeshFile(arguments, loaded.all, progress.get());
    }
#endif
    return Save3MF(arguments, loaded.all, reporter.CreateNestedDelegate(0.6));
}

// Converts with a progress bar on a terminal and Ctrl-C as a cancel; the
// exit code.
int Run(Arguments const& arguments)
{
    std::shared_ptr<OndSDK::Common::IProgressDelegate> const progress = TerminalProgress();
    CancelOnInterrupt const interrupt(*progress);
    try
    {
        return Convert(arguments, progress);
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "%sond3mf-convert: %s\n", isatty(STDERR_FILENO) ? "\n" : "", error.what());
    }
    catch (...)
    {
        // Nothing may end the tool through std::terminate: the temporary
        // files must go, and the user must learn that the write failed.
        std::fprintf(stderr, "%sond3mf-convert: cannot write %s: the write stopped with an unknown error\n",
                     isatty(STDERR_FILENO) ? "\n" : "", arguments.output.c_str());
    }
    return 1;
}
} // namespace
} // namespace format3mf::apps

int main(int argc, char** argv)
{
    using namespace format3mf::apps;
    if (AnswerStandardOption(argc, argv, "ond3mf-convert", kUsage))
    {
        return 0;
    }
    Arguments arguments;
    std::string message;
    if (!Parse(argc, argv, arguments, message))
    {
        return BadUsage("ond3mf-convert", message, kUsage);
    }
    // The progress bar has ended its line by now.
    int const status = Run(arguments);
    if (status == kCancelled)
    {
        std::fputs("ond3mf-convert: cancelled; nothing was written\n", stderr);
    }
    return status;
}
