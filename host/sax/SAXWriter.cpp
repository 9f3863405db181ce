// The SAX writer: escapes and buffers UTF-8 output so that persist objects write
// elements without caring about XML syntax.
#include "sax/SAXWriter.h"

#include "common/StringConversion.h"

#include <algorithm>
#include <cstring>
#include <ostream>

namespace
{
// The output is handed to the stream in blocks of this size.
constexpr std::size_t kBufferSize = 256 * 1024;

constexpr std::string_view kReplacementUTF8 = "\xEF\xBF\xBD";

// What an ASCII character becomes in an attribute value or in text; an empty
// view means the character stands for itself.
std::string_view Escape(unsigned char c, bool attribute)
{
    switch (c)
    {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return attribute ? "&quot;" : std::string_view();
    case '\t':
        return attribute ? "&#9;" : std::string_view();
    case '\n':
        return attribute ? "&#10;" : std::string_view();
    case '\r':
        return "&#13;";
    default:
        return c < 0x20 ? kReplacementUTF8 : std::string_view();
    }
}

// Which bytes need Escape at all, so that the common case is one table look-up.
struct EscapeTable
{
    bool attribute[256] = {};
    bool text[256] = {};

    EscapeTable()
    {
        for (int c = 0; c < 0x80; ++c)
        {
            attribute[c] = !Escape(static_cast<unsigned char>(c), true).empty();
            text[c] = !Escape(static_cast<unsigned char>(c), false).empty();
        }
    }
};

EscapeTable const kEscapeTable;
} // namespace

MSAXWriter::MSAXWriter(std::ostream& stream, std::int32_t style)
    : m_stream(stream), m_style(style), m_buffer(kBufferSize)
{
}

MSAXWriter::~MSAXWriter() = default;

char* MSAXWriter::Room(std::size_t count)
{
    if (m_used + count > m_buffer.size())
    {
        Flush();
        if (count > m_buffer.size())
        {
            m_buffer.resize(count);
        }
    }
    return m_buffer.data() + m_used;
}

void MSAXWriter::Put(std::string_view text)
{
    // Long texts go through in pieces of at most one buffer.
    while (!text.empty())
    {
        std::size_t const piece = std::min(text.size(), m_buffer.size());
        std::memcpy(Room(piece), text.data(), piece);
        m_used += piece;
        text.remove_prefix(piece);
    }
}

void MSAXWriter::PutEscaped(std::string_view text, bool attribute)
{
    bool const* const needsEscape = attribute ? kEscapeTable.attribute : kEscapeTable.text;
    std::size_t runStart = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        auto const c = static_cast<unsigned char>(text[i]);
        if (needsEscape[c])
        {
            Put(text.substr(runStart, i - runStart));
            Put(Escape(c, attribute));
            runStart = i + 1;
        }
    }
    Put(text.substr(runStart));
}

void MSAXWriter::PutEscaped(std::wstring const& text, bool attribute)
{
    bool const* const needsEscape = attribute ? kEscapeTable.attribute : kEscapeTable.text;
    for (wchar_t const character : text)
    {
        auto const c = static_cast<char32_t>(character);
        if (c < 0x80 && !needsEscape[c])
        {
            Put(static_cast<char>(c));
        }
        else if (c < 0x80)
        {
            Put(Escape(static_cast<unsigned char>(c), attribute));
        }
        else if (c == 0xFFFE || c == 0xFFFF)
        {
            Put(kReplacementUTF8);
        }
        else
        {
            m_scratch.clear();
            StringConversion::AppendUTF8(m_scratch, c);
            Put(m_scratch);
        }
    }
}

std::string_view MSAXWriter::NameToUTF8(wchar_t const* name, std::size_t length)
{
    m_scratch.resize(length);
    for (std::size_t i = 0; i < length; ++i)
    {
        if (static_cast<char32_t>(name[i]) >= 0x80)
        {
            m_scratch = StringConversion::ConvertNativeToUTF8(name, length);
            break;
        }
        m_scratch[i] = static_cast<char>(name[i]);
    }
    return m_scratch;
}

void MSAXWriter::LineBreak(std::size_t depth)
{
    std::size_t const count = 1 + 2 * depth;
    char* const target = Room(count);
    target[0] = '\n';
    std::memset(target + 1, ' ', count - 1);
    m_used += count;
}

void MSAXWriter::CloseStartTag()
{
    if (m_startTagOpen)
    {
        Put('>');
        m_startTagOpen = false;
    }
}

void MSAXWriter::BeginChild()
{
    if (m_open.empty())
    {
        return;
    }
    CloseStartTag();
    OpenElement& parent = m_open.back();
    parent.hasChildren = true;
    if (m_style == 1 && !parent.hasText)
    {
        LineBreak(m_open.size());
    }
}

void MSAXWriter::StartElement(std::string_view tag)
{
    BeginChild();
    Put('<');
    Put(tag);
    m_open.push_back({m_names.size(), false, false});
    m_names.append(tag);
    m_startTagOpen = true;
}

void MSAXWriter::StartElement(std::wstring const& tag)
{
    StartElement(NameToUTF8(tag.data(), tag.size()));
}

void MSAXWriter::EndElement()
{
    if (m_open.empty())
    {
        return;
    }
    OpenElement const element = m_open.back();
    m_open.pop_back();
    std::string_view const name = std::string_view(m_names).substr(element.nameStart);
    // Closing never hands data to the stream, so that a closing scope cannot
    // throw: the buffer grows instead when it is full.
    // Line break, indentation, "</", name, ">" and the final line break.
    std::size_t const needed = name.size() + 5 + 2 * m_open.size();
    if (m_used + needed > m_buffer.size())
    {
        m_buffer.resize(m_used + needed);
    }
    if (m_startTagOpen)
    {
        Put("/>");
        m_startTagOpen = false;
    }
    else
    {
        if (m_style == 1 && element.hasChildren && !element.hasText)
        {
            LineBreak(m_open.size());
        }
        Put("</");
        Put(name);
        Put('>');
    }
    m_names.resize(element.nameStart);
    if (m_open.empty())
    {
        Put('\n');
    }
}

bool MSAXWriter::WriteText(std::wstring const& text)
{
    if (m_open.empty())
    {
        return false;
    }
    CloseStartTag();
    m_open.back().hasText = true;
    PutEscaped(text, false);
    return true;
}

bool MSAXWriter::WriteAttribute(wchar_t const* name, std::wstring const& value)
{
    if (!m_startTagOpen || name == nullptr)
    {
        return false;
    }
    Put(' ');
    Put(NameToUTF8(name, std::wcslen(name)));
    Put("=\"");
    PutEscaped(value, true);
    Put('"');
    return true;
}

bool MSAXWriter::WriteAttribute(char const* name, std::string_view value)
{
    if (!m_startTagOpen || name == nullptr)
    {
        return false;
    }
    std::size_t const nameLength = std::strlen(name);
    // Short values, numbers above all, go in one piece.
    if (nameLength + value.size() + 4 <= 64)
    {
        char* target = Room(nameLength + value.size() + 4);
        bool clean = true;
        for (char const c : value)
        {
            clean = clean && !kEscapeTable.attribute[static_cast<unsigned char>(c)];
        }
        if (clean)
        {
            *target++ = ' ';
            std::memcpy(target, name, nameLength);
            target += nameLength;
            *target++ = '=';
            *target++ = '"';
            std::memcpy(target, value.data(), value.size());
            target += value.size();
            *target = '"';
            m_used += nameLength + value.size() + 4;
            return true;
        }
    }
    Put(' ');
    Put(std::string_view(name, nameLength));
    Put("=\"");
    PutEscaped(value, true);
    Put('"');
    return true;
}

void MSAXWriter::WriteDeclaration(bool byteOrderMark)
{
    if (byteOrderMark)
    {
        Put("\xEF\xBB\xBF");
    }
    Put("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
}

void MSAXWriter::WriteComment(std::wstring const& text)
{
    BeginChild();
    Put("<!--");
    std::string const utf8 = StringConversion::ConvertNativeToUTF8(text);
    char previous = 0;
    for (char const c : utf8)
    {
        if (c == '-' && previous == '-')
        {
            Put(' ');
        }
        // Markup means nothing inside a comment; only control characters
        // that XML cannot carry are replaced.
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r')
        {
            Put(kReplacementUTF8);
        }
        else
        {
            Put(c);
        }
        previous = c;
    }
    Put(previous == '-' ? " -->" : "-->");
    if (m_open.empty())
    {
        Put('\n');
    }
}

bool MSAXWriter::Flush()
{
    if (m_used > 0)
    {
        m_stream.write(m_buffer.data(), static_cast<std::streamsize>(m_used));
        m_used = 0;
    }
    return !m_stream.fail();
}

MSAXTagWriter::MSAXTagWriter(MSAXWriter& writer, std::wstring tag) : m_writer(writer)
{
    m_writer.StartElement(tag);
}

MSAXTagWriter::MSAXTagWriter(MSAXWriter& writer, char const* tag) : m_writer(writer)
{
    m_writer.StartElement(std::string_view(tag));
}

MSAXTagWriter::~MSAXTagWriter()
{
    m_writer.EndElement();
}
