// The strict scanner of plain content. It walks bytes once and never looks
// back; every byte it does not know for sure makes the token Other.

#include "sax/PlainScanner.h"

#include <cstring>

namespace OndSAX
{
namespace
{
// The classes of bytes, looked up in one table: the scanner's inner loops
// test each byte once.
enum : unsigned char
{
    kSpace = 1,
    kNameStart = 2,
    // Names are kept to ASCII without colons: a prefix or a wider character
    // goes to the parser.
    kNameChar = 4,
    // Characters of comments that need no checking by the parser: printable
    // ASCII and the white space characters.
    kCommentChar = 8,
    // The same less '&', which starts a reference, and '<', which is not
    // allowed in attribute values.
    kValueChar = 16,
};

struct CharTable
{
    unsigned char m_classes[256] = {};

    constexpr CharTable()
    {
        for (int c = 0; c < 256; ++c)
        {
            bool const space = c == ' ' || c == '\n' || c == '\r' || c == '\t';
            bool const nameStart = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
            bool const nameChar = nameStart || (c >= '0' && c <= '9') || c == '-' || c == '.';
            bool const commentChar = (c >= 0x20 && c < 0x7F) || space;
            bool const valueChar = commentChar && c != '&' && c != '<';
            m_classes[c] = static_cast<unsigned char>(
                (space ? kSpace : 0) | (nameStart ? kNameStart : 0) | (nameChar ? kNameChar : 0) |
                (commentChar ? kCommentChar : 0) | (valueChar ? kValueChar : 0));
        }
    }
};

constexpr CharTable kTable;

bool Is(char c, unsigned char classes)
{
    return (kTable.m_classes[static_cast<unsigned char>(c)] & classes) != 0;
}

bool IsSpace(char c)
{
    return Is(c, kSpace);
}

bool IsNameStart(char c)
{
    return Is(c, kNameStart);
}

bool IsNameChar(char c)
{
    return Is(c, kNameChar);
}

bool IsPlainChar(char c)
{
    return Is(c, kCommentChar);
}

// Names are short: a plain loop beats a call of memcmp.
bool Equal(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
    {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i)
    {
        if (a[i] != b[i])
        {
            return false;
        }
    }
    return true;
}

constexpr PlainStep More()
{
    return {PlainToken::More, 0, 0};
}

constexpr PlainStep Other()
{
    return {PlainToken::Other, 0, 0};
}

// The bytes that are there match the start of `pattern`: More, else Other.
PlainStep Prefix(char const* text, std::size_t size, char const* pattern)
{
    return std::strncmp(text, pattern, size) == 0 ? More() : Other();
}

// A comment at text[0], "<!--" already checked. Its text may not hold "--",
// so the first "--" must be its end.
PlainStep Comment(char const* text, std::size_t size)
{
    for (std::size_t at = 4; at < size; ++at)
    {
        char const c = text[at];
        if (c == '-')
        {
            if (at + 2 >= size)
            {
                return More();
            }
            if (text[at + 1] == '-')
            {
                return text[at + 2] == '>' ? PlainStep{PlainToken::Skip, at + 3, 0} : Other();
            }
        }
        else if (!IsPlainChar(c))
        {
            return Other();
        }
    }
    return More();
}

// A name at text[at]; `at` moves behind it. False if there is none.
bool Name(char const* text, std::size_t size, std::size_t& at)
{
    if (at >= size || !IsNameStart(text[at]))
    {
        return false;
    }
    ++at;
    while (at < size && IsNameChar(text[at]))
    {
        ++at;
    }
    return true;
}

void SkipSpace(char const* text, std::size_t size, std::size_t& at)
{
    while (at < size && IsSpace(text[at]))
    {
        ++at;
    }
}

// An end tag at text[0], "</" already checked.
PlainStep EndTag(char const* text, std::size_t size, std::string_view& name)
{
    std::size_t at = 2;
    if (!Name(text, size, at))
    {
        return at >= size ? More() : Other();
    }
    name = std::string_view(text + 2, at - 2);
    SkipSpace(text, size, at);
    if (at >= size)
    {
        return More();
    }
    return text[at] == '>' ? PlainStep{PlainToken::EndTag, at + 1, 0} : Other();
}

bool SameName(PlainElement const& element, std::string_view name)
{
    for (std::size_t i = 0; i < element.m_count; ++i)
    {
        if (Equal(element.m_attributes[i].m_name, name))
        {
            return true;
        }
    }
    return false;
}

// One attribute at text[at], white space before it already skipped: Skip
// when it was taken, `at` then behind its closing quote.
PlainStep Attribute(char const* text, std::size_t size, std::size_t& at, PlainElement& element)
{
    std::size_t const nameStart = at;
    if (!Name(text, size, at))
    {
        return at >= size ? More() : Other();
    }
    std::string_view const name(text + nameStart, at - nameStart);
    SkipSpace(text, size, at);
    if (at >= size)
    {
        return More();
    }
    if (text[at] != '=')
    {
        return Other();
    }
    ++at;
    SkipSpace(text, size, at);
    if (at >= size)
    {
        return More();
    }
    char const quote = text[at];
    if (quote != '"' && quote != '\'')
    {
        return Other();
    }
    std::size_t const valueStart = ++at;
    for (; at < size && text[at] != quote; ++at)
    {
        if (!Is(text[at], kValueChar))
        {
            return Other();
        }
    }
    if (at >= size)
    {
        return More();
    }
    if (element.m_count == PlainElement::kMaxAttributes || SameName(element, name))
    {
        return Other();
    }
    element.m_attributes[element.m_count++] = {name, std::string_view(text + valueStart, at - valueStart)};
    ++at;
    return {PlainToken::Skip, 0, 0};
}

// The content of an element after its start tag: white space and comments,
// then its own end tag.
PlainStep Content(char const* text, std::size_t size, std::size_t at, PlainElement& element)
{
    for (;;)
    {
        SkipSpace(text, size, at);
        if (at >= size)
        {
            return More();
        }
        if (text[at] != '<')
        {
            return Other();
        }
        if (at + 1 >= size)
        {
            return More();
        }
        if (text[at + 1] == '!')
        {
            if (size - at < 4)
            {
                return Prefix(text + at, size - at, "<!--");
            }
            if (std::strncmp(text + at, "<!--", 4) != 0)
            {
                return Other();
            }
            PlainStep const comment = Comment(text + at, size - at);
            if (comment.m_token != PlainToken::Skip)
            {
                return comment;
            }
            at += comment.m_length;
            continue;
        }
        if (text[at + 1] != '/')
        {
            return Other();
        }
        std::string_view end;
        PlainStep const step = EndTag(text + at, size - at, end);
        if (step.m_token != PlainToken::EndTag)
        {
            return step;
        }
        if (!Equal(end, element.m_name))
        {
            return Other();
        }
        return {PlainToken::Element, at + step.m_length, 0};
    }
}

// An element at text[0], "<" and a name start already checked.
PlainStep Element(char const* text, std::size_t size, PlainElement& element)
{
    std::size_t at = 1;
    Name(text, size, at);
    element.m_name = std::string_view(text + 1, at - 1);
    element.m_count = 0;
    for (;;)
    {
        std::size_t const before = at;
        SkipSpace(text, size, at);
        if (at >= size)
        {
            return More();
        }
        char const c = text[at];
        if (c == '/')
        {
            if (at + 1 >= size)
            {
                return More();
            }
            if (text[at + 1] != '>')
            {
                return Other();
            }
            return {PlainToken::Element, at + 2, at + 2};
        }
        if (c == '>')
        {
            PlainStep step = Content(text, size, at + 1, element);
            step.m_startTagLength = at + 1;
            return step;
        }
        // Attributes are separated by white space.
        if (at == before)
        {
            return Other();
        }
        PlainStep const step = Attribute(text, size, at, element);
        if (step.m_token != PlainToken::Skip)
        {
            return step;
        }
    }
}
} // namespace

PlainStep ScanPlain(char const* text, std::size_t size, PlainElement& element)
{
    if (size == 0)
    {
        return More();
    }
    if (IsSpace(text[0]))
    {
        std::size_t at = 1;
        SkipSpace(text, size, at);
        return {PlainToken::Skip, at, 0};
    }
    if (text[0] != '<')
    {
        return Other();
    }
    if (size < 2)
    {
        return More();
    }
    if (IsNameStart(text[1]))
    {
        return Element(text, size, element);
    }
    if (text[1] == '/')
    {
        return EndTag(text, size, element.m_name);
    }
    if (size < 4)
    {
        return Prefix(text, size, "<!--");
    }
    if (std::strncmp(text, "<!--", 4) == 0)
    {
        return Comment(text, size);
    }
    return Other();
}
} // namespace OndSAX
