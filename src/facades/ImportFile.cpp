// The never-throwing import: Importer::Operate with every exception it lets
// through turned into a failed status and a message.
#include "format3mf/ImportFile.h"

#include "common/StringConversion.h"
#include "zip/MZipArchiveError.h"

#include <new>
#include <stdexcept>

namespace format3mf::import
{
namespace
{
std::string Narrow(std::wstring const& text)
{
    return StringConversion::ConvertNativeToUTF8(text);
}

std::vector<std::string> Narrow(std::vector<std::wstring> const& texts)
{
    std::vector<std::string> narrow;
    narrow.reserve(texts.size());
    for (std::wstring const& text : texts)
    {
        narrow.push_back(Narrow(text));
    }
    return narrow;
}

// The message of whatever is in flight, by its kind. Operate's own failures
// never get here: only what it passes on by design.
std::wstring DescribeCurrentException()
{
    try
    {
        throw;
    }
    catch (int)
    {
        // DecodeColor's way of refusing a colour text.
        return L"invalid colour value in the file (a colour is not of the form #RRGGBB or #RRGGBBAA)";
    }
    catch (std::out_of_range const& error)
    {
        return L"a part of the package could not be looked up: " +
               StringConversion::ConvertMultiByteStringToOndString(error.what());
    }
    catch (std::bad_alloc const&)
    {
        return L"out of memory while reading the file";
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        return error.GetDetail().empty() ? error.GetMessage()
                                         : error.GetMessage() + L": " + error.GetDetail();
    }
    catch (std::exception const& error)
    {
        return StringConversion::ConvertMultiByteStringToOndString(error.what());
    }
    catch (...)
    {
        return L"the read stopped with an exception of a type this library does not know";
    }
}
} // namespace

ImportResult ImportFile(std::filesystem::path const& path, ImportSettings const& settings) noexcept
{
    ImportResult result;
    try
    {
        std::wstring const name = StringConversion::ConvertFileNameToNative(path.native());
        std::vector<std::unique_ptr<MStlBase>> meshes;
        Importer importer;
        importer.SetFileName(name);
        importer.SetOutputParts(meshes);
        importer.SetImportAsOnePart(settings.asOnePart);
        importer.SetImportTextures(settings.textures);
        importer.SetReadProjectParts(settings.projectParts);
        importer.SetImportNonPrintableParts(settings.nonPrintableParts);
        importer.SetItemSelection(settings.selectItems);
        try
        {
            result.status = importer.Operate(settings.progress);
        }
        catch (...)
        {
            meshes.clear();
            result.errors = Narrow(importer.GetErrors());
            result.warnings = Narrow(importer.GetWarnings());
            result.errors.push_back(Narrow(L"Could not read " + name + L": " + DescribeCurrentException()));
            result.status = Importer::ReadFailed;
            return result;
        }
        result.errors = Narrow(importer.GetErrors());
        result.warnings = Narrow(importer.GetWarnings());
        if (result.status != Importer::Success && result.errors.empty())
        {
            result.errors.push_back(result.status == Importer::Canceled ? "The read was cancelled."
                                                                        : Narrow(L"Could not read " + name));
        }
        std::vector<Format_3MF::PartRole> const& roles = importer.GetPartRoles();
        for (std::size_t i = 0; i < meshes.size(); ++i)
        {
            ImportedPart part;
            part.name = StringConversion::ConvertNativeToUTF8(meshes[i]->GetName());
            part.role = i < roles.size() ? roles[i] : Format_3MF::PartRole::Printable;
            part.mesh = std::move(meshes[i]);
            result.parts.push_back(std::move(part));
        }
    }
    catch (...)
    {
        // Only copying the messages can get here, when memory runs out.
        result.parts.clear();
        result.status = Importer::ReadFailed;
    }
    return result;
}
} // namespace format3mf::import
