// Formatting and parsing of attribute values in the forms XML schema types allow.
#include "sax/MStreamText.h"

#include "common/StringConversion.h"
#include "sax/NumberParsing.h"

#include <string>

MStreamTextOut& MStreamTextOut::operator<<(bool value)
{
    m_text += value ? L'1' : L'0';
    return *this;
}

MStreamTextOut& MStreamTextOut::operator<<(std::int32_t value)
{
    m_text += std::to_wstring(value);
    return *this;
}

MStreamTextOut& MStreamTextOut::operator<<(long value)
{
    m_text += std::to_wstring(value);
    return *this;
}

MStreamTextOut& MStreamTextOut::operator<<(wchar_t const* text)
{
    if (text != nullptr)
    {
        m_text += text;
    }
    return *this;
}

MStreamTextIn::MStreamTextIn(std::wstring const& text) : m_text(StringConversion::ConvertNativeToUTF8(text))
{
}

std::string MStreamTextIn::NextToken()
{
    auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    while (m_position < m_text.size() && isSpace(m_text[m_position]))
    {
        ++m_position;
    }
    std::size_t const start = m_position;
    while (m_position < m_text.size() && !isSpace(m_text[m_position]))
    {
        ++m_position;
    }
    return m_text.substr(start, m_position - start);
}

MStreamTextIn& MStreamTextIn::operator>>(bool& value)
{
    if (m_failed)
    {
        return *this;
    }
    std::string const token = NextToken();
    if (token == "1" || token == "true")
    {
        value = true;
    }
    else if (token == "0" || token == "false")
    {
        value = false;
    }
    else
    {
        m_failed = true;
    }
    return *this;
}

MStreamTextIn& MStreamTextIn::operator>>(std::uint64_t& value)
{
    if (!m_failed)
    {
        m_failed = !OndSAX::ParseNumber(NextToken(), value);
    }
    return *this;
}
