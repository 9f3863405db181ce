// The archive errors, with a message and a detail joined into one text so that
// the cause reaches the caller.
#include "zip/MZipArchiveError.h"

#include "common/StringConversion.h"

namespace MZipArchiveError
{
namespace
{
std::string Describe(std::wstring const& message, std::wstring const& detail)
{
    std::string text = StringConversion::ConvertNativeToUTF8(message);
    if (!detail.empty())
    {
        text += ": " + StringConversion::ConvertNativeToUTF8(detail);
    }
    return text;
}
} // namespace

MGeneric::MGeneric(std::wstring message, std::wstring detail)
    : std::runtime_error(Describe(message, detail)), m_message(std::move(message)),
      m_detail(std::move(detail))
{
}

MFileNotFound::MFileNotFound(std::wstring name) : MGeneric(L"File not found in archive", std::move(name)) {}
} // namespace MZipArchiveError
