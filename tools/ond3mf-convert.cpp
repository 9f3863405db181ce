// Reads a 3MF file and writes its meshes to another: ond3mf-convert
// [--binary] [--zip64] [--beams=DIALECT] IN OUT. Every mesh of IN (one per
// build item) becomes an object of its own in OUT with its colours, textures
// and beam lattice. On a terminal a
// progress bar follows the library's progress; Ctrl-C cancels cleanly and
// leaves no partial file. Exits 0 on success, 1 when reading or writing
// failed, 2 on a bad argument, 130 when cancelled.

#include "ToolCommon.h"

#ifdef OND3MF_MESH_FORMATS
#include "MeshFormats.h"
#endif

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ImportFile.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Package.h"
#include "format3mf/PackageWrite.h"

#include "common/BranchingProgressReporter.h"
#include "common/IProgressDelegate.h"
#include "common/StringConversion.h"
#include "triangles/MStlBase.h"
#include "zip/MZipArchiveError.h"

#include <boost/filesystem/operations.hpp>

#include <unistd.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace
{
char const kUsage[] =
    "usage: ond3mf-convert [--binary] [--zip64] [--separate-objects] [--beams=DIALECT] [--project]\n"
    "                      [--quiet] IN OUT\n"
    "Reads the 3MF file IN and writes every mesh of it, with its colours, textures and\n"
    "beam lattice, as an object of its own into the 3MF file OUT.\n"
    "  --binary          vertices and triangles into the model's binary side part\n"
    "                    (without triangle colours and textures; millimetres)\n"
    "  --zip64           write the archive as zip64\n"
    "  --separate-objects  each object in a model part of its own\n"
    "  --project         the printable parts of a slicer project's objects, each an\n"
    "                    object of its own, in the colours of their filaments and paint\n"
    "  --beams=DIALECT   beam lattices in the published dialect (the default), the\n"
    "                    vendor dialect, or none: published, vendor or none\n"
    "  --quiet           no warnings on standard error\n"
    "  --version         the library's version\n"
    "Exit codes: 0 done, 1 reading or writing failed, 2 bad argument, 130 cancelled.\n";

constexpr int kCancelled = 130;

// A bar on standard error, redrawn when the shown percentage changes.
class ProgressBar : public OndSDK::Common::IProgressDelegate
{
public:
    ~ProgressBar() override
    {
        if (m_shown >= 0)
        {
            std::fputs("\n", stderr);
        }
    }

protected:
    void OnProgress(double fraction) override
    {
        int const percent = static_cast<int>(fraction * 100.0);
        if (percent == m_shown)
        {
            return;
        }
        m_shown = percent;
        char bar[41];
        int const filled = percent * 40 / 100;
        std::memset(bar, '#', static_cast<std::size_t>(filled));
        std::memset(bar + filled, ' ', static_cast<std::size_t>(40 - filled));
        bar[40] = '\0';
        std::fprintf(stderr, "\r[%s] %3d%%", bar, percent);
        std::fflush(stderr);
    }

private:
    int m_shown = -1;
};

// Ctrl-C asks the running operation to stop at its next poll; a second one
// ends the program at once.
std::atomic<OndSDK::Common::IProgressDelegate*> g_cancelTarget{nullptr};

extern "C" void OnInterrupt(int)
{
    if (OndSDK::Common::IProgressDelegate* const target = g_cancelTarget.load())
    {
        target->Cancel();
    }
}

void CatchInterrupt()
{
    struct sigaction action = {};
    action.sa_handler = OnInterrupt;
    action.sa_flags = SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

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
#endif
    bool zip64 = false;
    // Empty: no lattice is written.
    std::wstring beamNamespace = Format_3MF::NamespaceBeamLattice;
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
        return 1;
    }
    return 0;
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
                arguments.beamNamespace = Format_3MF::NamespaceBeamLattice;
            }
            else if (dialect == "vendor")
            {
                arguments.beamNamespace = Format_3MF::NamespaceBeamLatticeOndl;
            }
            else if (dialect == "none")
            {
                arguments.beamNamespace.clear();
            }
            else
            {
                message = "unknown beam dialect '" + dialect + "'";
                return false;
            }
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
#endif
    return true;
}

using tools::Narrow;
using tools::Wide;

// Removes a file however the write ends, unless it was kept.
class TemporaryTarget
{
public:
    explicit TemporaryTarget(std::string path) : m_path(std::move(path)) {}
    ~TemporaryTarget()
    {
        if (!m_path.empty())
        {
            boost::system::error_code ignored;
            boost::filesystem::remove(m_path, ignored);
        }
    }
    TemporaryTarget(TemporaryTarget const&) = delete;
    TemporaryTarget& operator=(TemporaryTarget const&) = delete;

    std::string const& Path() const { return m_path; }
    // Moves the file to its final name; it is no longer removed.
    void KeepAs(std::string const& path)
    {
        boost::filesystem::rename(m_path, path);
        m_path.clear();
    }

private:
    std::string m_path;
};

// What was read: the meshes of a 3MF file, or the one mesh of another
// format with its colours.
struct Loaded
{
    std::vector<std::unique_ptr<MStlBase>> meshes;
#ifdef OND3MF_MESH_FORMATS
    std::vector<format3mf::WeldedSoup> soups;
#endif
    std::vector<MStlBase*> all;
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
    format3mf::import::ImportSettings settings;
    settings.progress = std::move(progress);
    settings.projectParts = arguments.project;
    format3mf::import::ImportResult read = format3mf::import::ImportFile(Wide(arguments.input), settings);
    if (!arguments.quiet)
    {
        tools::PrintMessages(arguments.input, "warning", read.warnings);
    }
    if (read.status == format3mf::import::Importer::Canceled)
    {
        return kCancelled;
    }
    if (read.status != format3mf::import::Importer::Success)
    {
        std::fprintf(stderr, "ond3mf-convert: cannot read %s\n", arguments.input.c_str());
        tools::PrintMessages(arguments.input, "error", read.errors);
        return 1;
    }
    loaded.meshes = std::move(read.meshes);
    for (auto const& mesh : loaded.meshes)
    {
        loaded.all.push_back(mesh.get());
    }
    return 0;
}

int Save3MF(Arguments const& arguments, std::vector<MStlBase*> const& meshes, std::string const& path,
            std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
{
    Format_3MF::ModelFileStlBase model;
    for (MStlBase* mesh : meshes)
    {
        model.AddStl(mesh);
    }
    Format_3MF::Package package(&model);
    Format_3MF::PackageWriteOptions options;
    options.IsBinary = arguments.binary;
    options.Package.m_useZip64 = arguments.zip64;
    options.Objects.m_separateFiles = arguments.separateObjects;
    options.Graphs.BeamNamespace = arguments.beamNamespace;
    try
    {
        Format_3MF::PackageWrite writer(&package, options);
        writer.Write(Wide(path), std::move(progress));
        if (!arguments.quiet)
        {
            tools::PrintMessages(arguments.output, "warning", writer.GetContext().m_warnings);
        }
    }
    catch (Format_3MF::PackageWrite::Canceled const&)
    {
        return kCancelled;
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        std::fprintf(stderr, "ond3mf-convert: cannot write %s: %s\n", arguments.output.c_str(),
                     Narrow(error.GetMessage() + L": " + error.GetDetail()).c_str());
        return 1;
    }
    return 0;
}

int Convert(Arguments const& arguments, std::shared_ptr<OndSDK::Common::IProgressDelegate> const& progress)
{
    OndSDK::Common::BranchingProgressReporter reporter(progress, "ond3mf-convert", true);
    Loaded loaded;
    if (int const status = Load(arguments, reporter.CreateNestedDelegate(0.4), loaded))
    {
        return status;
    }
    // The file is written beside the target and takes its name only when
    // complete, so that neither a failure nor a cancel leaves a partial file
    // or spoils one that was there.
    TemporaryTarget target(arguments.output + ".part" + std::to_string(getpid()));
#ifdef OND3MF_MESH_FORMATS
    if (arguments.to != meshformats::Format::ThreeMF)
    {
        meshformats::WriteOptions options;
        options.ascii = arguments.ascii;
        try
        {
            std::vector<MStlBase const*> const meshes(loaded.all.begin(), loaded.all.end());
            for (std::string const& note :
                 meshformats::WriteMeshFile(target.Path(), arguments.to, meshes, options))
            {
                if (!arguments.quiet)
                {
                    std::fprintf(stderr, "ond3mf-convert: %s: %s\n", arguments.output.c_str(), note.c_str());
                }
            }
        }
        catch (std::runtime_error const& error)
        {
            std::fprintf(stderr, "ond3mf-convert: cannot write %s: %s\n", arguments.output.c_str(),
                         error.what());
            return 1;
        }
    }
    else
#endif
        if (int const status =
                Save3MF(arguments, loaded.all, target.Path(), reporter.CreateNestedDelegate(0.6)))
    {
        return status;
    }
    if (progress && progress->IsCancelled())
    {
        return kCancelled;
    }
    target.KeepAs(arguments.output);
    return 0;
}
} // namespace

int main(int argc, char** argv)
{
    if (tools::AnswerStandardOption(argc, argv, "ond3mf-convert", kUsage))
    {
        return 0;
    }
    Arguments arguments;
    std::string message;
    if (!Parse(argc, argv, arguments, message))
    {
        return tools::BadUsage("ond3mf-convert", message, kUsage);
    }
    std::shared_ptr<OndSDK::Common::IProgressDelegate> progress;
    if (isatty(STDERR_FILENO))
    {
        progress = std::make_shared<ProgressBar>();
    }
    else
    {
        progress = std::make_shared<OndSDK::Common::IProgressDelegate>();
    }
    g_cancelTarget = progress.get();
    CatchInterrupt();
    int status = 1;
    try
    {
        status = Convert(arguments, progress);
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "%sond3mf-convert: %s\n", isatty(STDERR_FILENO) ? "\n" : "", error.what());
        status = 1;
    }
    catch (...)
    {
        // Nothing may end the tool through std::terminate: the temporary
        // file must go, and the user must learn that the write failed.
        std::fprintf(stderr, "%sond3mf-convert: cannot write %s: the write stopped with an unknown error\n",
                     isatty(STDERR_FILENO) ? "\n" : "", arguments.output.c_str());
        status = 1;
    }
    g_cancelTarget = nullptr;
    progress.reset();
    if (status == kCancelled)
    {
        std::fputs("ond3mf-convert: cancelled; nothing was written\n", stderr);
    }
    return status;
}
