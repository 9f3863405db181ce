// The never-throwing write of several meshes: a model file lists them, and
// the package writer writes them with the options the settings choose.
#include "format3mf/WriteFile.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Package.h"
#include "format3mf/PackageWrite.h"

#include "common/StringConversion.h"
#include "zip/MZipArchiveError.h"

#include <new>

namespace format3mf
{
namespace
{
std::wstring BeamNamespace(LatticeDialect dialect)
{
    switch (dialect)
    {
    case LatticeDialect::Published:
        return Format_3MF::NamespaceBeamLattice;
    case LatticeDialect::Vendor:
        return Format_3MF::NamespaceBeamLatticeOndl;
    case LatticeDialect::None:
        break;
    }
    return std::wstring();
}

std::string Narrow(std::wstring const& text)
{
    return StringConversion::ConvertNativeToUTF8(text);
}
} // namespace

WriteResult WriteFile(std::filesystem::path const& path, std::vector<MStlBase const*> const& meshes,
                      WriteSettings const& settings) noexcept
{
    WriteResult result;
    // Messages are UTF-8: a name that is not shows its odd bytes replaced.
    std::string const shown = Narrow(StringConversion::ConvertFileNameToNative(path.native()));
    try
    {
        Format_3MF::ModelFileStlBase model;
        for (MStlBase const* mesh : meshes)
        {
            // The writer lends the meshes temporary masks and labels, and
            // takes them off again before it returns.
            model.AddStl(const_cast<MStlBase*>(mesh));
        }
        Format_3MF::Package package(&model);
        Format_3MF::PackageWriteOptions options;
        options.IsBinary = settings.binary;
        options.Package.m_useZip64 = settings.zip64;
        options.Objects.m_separateFiles = settings.separateObjects;
        options.Graphs.BeamNamespace = BeamNamespace(settings.lattice);
        Format_3MF::PackageWrite writer(&package, options);
        writer.Write(StringConversion::ConvertFileNameToNative(path.native()), settings.progress);
        for (std::wstring const& warning : writer.GetContext().m_warnings)
        {
            result.warnings.push_back(Narrow(warning));
        }
        result.ok = true;
    }
    catch (Format_3MF::PackageWrite::Canceled const&)
    {
        result.cancelled = true;
        result.error = "The write of " + shown + " was cancelled; nothing was written.";
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        // The writer's message names the target; the detail is the cause.
        result.error = Narrow(error.GetDetail().empty() ? error.GetMessage()
                                                        : error.GetMessage() + L": " + error.GetDetail());
    }
    catch (std::bad_alloc const&)
    {
        result.error = "Could not write " + shown + ": out of memory";
    }
    catch (std::exception const& error)
    {
        result.error = "Could not write " + shown + ": " + error.what();
    }
    catch (...)
    {
        result.error = "Could not write " + shown +
                       ": the write stopped with an exception of a type "
                       "this library does not know";
    }
    if (!result.ok)
    {
        result.warnings.clear();
    }
    return result;
}
} // namespace format3mf
