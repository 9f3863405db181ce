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
std::wstring Wide(char const* text)
{
    return StringConversion::ConvertMultiByteStringToOndString(text);
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
        return L"a part of the package could not be looked up: " + Wide(error.what());
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
        return Wide(error.what());
    }
    catch (...)
    {
        return L"the read stopped with an exception of a type this library does not know";
    }
}
} // namespace

ImportResult ImportFile(std::wstring const& path, ImportSettings const& settings) noexcept
{
    ImportResult result;
    try
    {
        Importer importer;
        importer.SetFileName(path);
        importer.SetOutputParts(result.meshes);
        importer.SetImportAsOnePart(settings.asOnePart);
        importer.SetImportTextures(settings.textures);
        importer.SetReadProjectParts(settings.projectParts);
        importer.SetImportNonPrintableParts(settings.nonPrintableParts);
        try
        {
            result.status = importer.Operate(settings.progress);
        }
        catch (...)
        {
            result.meshes.clear();
            result.errors = importer.GetErrors();
            result.warnings = importer.GetWarnings();
            result.errors.push_back(L"Could not read " + path + L": " + DescribeCurrentException());
            result.status = Importer::ReadFailed;
            return result;
        }
        result.errors = importer.GetErrors();
        result.warnings = importer.GetWarnings();
        result.roles = importer.GetPartRoles();
        if (result.status != Importer::Success && result.errors.empty())
        {
            result.errors.push_back(result.status == Importer::Canceled ? L"The read was cancelled."
                                                                        : L"Could not read " + path);
        }
    }
    catch (...)
    {
        // Only copying the messages can get here, when memory runs out.
        result.meshes.clear();
        result.roles.clear();
        result.status = Importer::ReadFailed;
    }
    return result;
}
} // namespace format3mf::import
