// The read exception, keeping a UTF-8 copy of its message for what().
#include "format3mf/Exception.h"

#include "common/StringConversion.h"

namespace Format_3MF
{
Exception::Exception(std::wstring const& message)
    : m_message(message), m_narrow(StringConversion::ConvertNativeToUTF8(message))
{
}

char const* Exception::what() const noexcept
{
    return m_narrow.c_str();
}

char const* Canceled::what() const noexcept
{
    return "Canceled";
}
} // namespace Format_3MF
