// Conversions between part names and paths, and the normalising of part names.
#include "foundation/PartNames.h"

#include "common/StringConversion.h"

#include <algorithm>
#include <locale>

namespace Format_3MF
{
boost::filesystem::path ToPath(std::wstring const& name)
{
    return boost::filesystem::path(StringConversion::ConvertNativeToFileName(name));
}

std::wstring FromPath(boost::filesystem::path const& path)
{
    return StringConversion::ConvertFileNameToNative(path.string());
}

std::wstring WithForwardSlashes(std::wstring name)
{
    std::replace(name.begin(), name.end(), L'\\', L'/');
    return name;
}

std::wstring ToLowerGlobalLocale(std::wstring text)
{
    std::locale const locale;
    for (wchar_t& c : text)
    {
        c = std::tolower(c, locale);
    }
    return text;
}
} // namespace Format_3MF
