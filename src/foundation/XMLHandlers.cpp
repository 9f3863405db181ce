// What the model part's XML readers and writers share: progress reports and the
// formatting of ids and coordinates.
#include "format3mf/XMLHandlers.h"

#include "common/IncrementalProgressReporter.h"
#include "common/MInternalUnits.h"
#include "format3mf/Exception.h"

#include <charconv>
#include <stdexcept>

namespace Format_3MF
{
void XMLReadHandler::_ReportProgress(MSAXReader& reader) const
{
    if (m_context->m_progress == nullptr)
    {
        return;
    }
    if (m_context->m_progress->IsCancelled())
    {
        m_context->m_status = 3;
        throw Canceled();
    }
    *m_context->m_progress = static_cast<std::uint64_t>(reader.GetPosition());
}

namespace
{
// The text forms print into 63 characters, the terminating null included, as
// the printf family does with that limit: a number that needs more than 62
// characters is an error, not a longer text.
constexpr std::size_t kMaxLength = 62;

// Copies ASCII digits into the wide scratch string.
std::wstring const& Widen(std::wstring& buffer, char const* first, char const* last)
{
    buffer.resize(static_cast<std::size_t>(last - first));
    for (std::size_t i = 0; first != last; ++first, ++i)
    {
        buffer[i] = static_cast<wchar_t>(*first);
    }
    return buffer;
}
} // namespace

std::wstring const& XMLWriteHandler::FormatID(tReferenceID const& id) const
{
    if (!id.IsDefined())
    {
        throw std::logic_error("Undefined reference identifier.");
    }
    char text[kMaxLength];
    auto const result = std::to_chars(text, text + sizeof text, int(id));
    if (result.ec != std::errc())
    {
        throw std::runtime_error("Error formatting a reference identifier.");
    }
    return Widen(m_context->m_formatBuffer, text, result.ptr);
}

std::wstring const& XMLWriteHandler::FormatValueFileUnits(double const& value, int precision) const
{
    // to_chars in fixed notation with a precision gives the text of "%.*f",
    // many times faster than printf.
    char text[kMaxLength];
    auto const result = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, precision);
    if (result.ec != std::errc())
    {
        throw std::runtime_error("Error formatting a value.");
    }
    return Widen(m_context->m_formatBuffer, text, result.ptr);
}

std::wstring const& XMLWriteHandler::FormatValueInternalUnits(int value, tUnits const& units) const
{
    double const fileValue =
        static_cast<double>(value) / OndSDK::Common::MInternalUnits::Get() / units.m_factor;
    return FormatValueFileUnits(fileValue, 4);
}
} // namespace Format_3MF
