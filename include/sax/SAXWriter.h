#pragma once

// The XML writer that persist objects print themselves through.

#include "common/OndExport.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

// Prints XML as UTF-8 into a stream, through a buffer of its own.
//
// Style 0 prints elements without any white space between them; style 1
// puts each element on a line of its own, indented by two blanks per level
// (elements that hold text keep their content on one line). The declaration
// and the document element are followed by a line break in both styles.
//
// Attribute values escape & < > " and write tab, line feed and carriage
// return as character references, so that they survive the parser's
// attribute normalisation. Text escapes & < > and carriage return. Characters
// that XML 1.0 cannot carry at all (other control characters, U+FFFE, U+FFFF,
// lone surrogates) are written as U+FFFD. Names are written as given.
class OND_EXPORT MSAXWriter
{
public:
    MSAXWriter(std::ostream& stream, std::int32_t style);
    virtual ~MSAXWriter();
    MSAXWriter(MSAXWriter const&) = delete;
    MSAXWriter& operator=(MSAXWriter const&) = delete;

    // Character data into the open element. False outside any element.
    virtual bool WriteText(std::wstring const& text);
    // An attribute of the start tag just opened, in call order. False, with
    // nothing written, once the start tag was closed by content.
    virtual bool WriteAttribute(wchar_t const* name, std::wstring const& value);
    // The same with a value already in UTF-8 (numbers formatted into a char
    // buffer, for instance), without a detour through wide strings.
    bool WriteAttribute(char const* name, std::string_view value);

    // Elements are opened and closed through MSAXTagWriter.
    void StartElement(std::wstring const& tag);
    void StartElement(std::string_view tag);
    void EndElement();

    // The XML declaration, optionally behind a UTF-8 byte order mark.
    void WriteDeclaration(bool byteOrderMark);
    // A comment; "--", which a comment cannot hold, is broken up by a blank.
    void WriteComment(std::wstring const& text);

    // Hands the buffered text to the stream. False if the stream failed.
    bool Flush();

private:
    struct OpenElement
    {
        std::size_t nameStart;
        bool hasChildren;
        bool hasText;
    };

    void BeginChild();
    void CloseStartTag();
    void LineBreak(std::size_t depth);
    // Room for `count` more bytes; flushes a full buffer first.
    char* Room(std::size_t count);
    void Put(char c)
    {
        *Room(1) = c;
        ++m_used;
    }
    void Put(std::string_view text);
    void PutEscaped(std::string_view text, bool attribute);
    void PutEscaped(std::wstring const& text, bool attribute);
    std::string_view NameToUTF8(wchar_t const* name, std::size_t length);

    std::ostream& m_stream;
    std::int32_t m_style;
    std::vector<char> m_buffer;
    std::size_t m_used = 0;
    // Names of the open elements, one after the other, and their state.
    std::string m_names;
    std::vector<OpenElement> m_open;
    bool m_startTagOpen = false;
    std::string m_scratch;
};

// Opens an element on construction and closes it on destruction, as an
// empty-element tag if nothing was written into it.
class OND_EXPORT MSAXTagWriter
{
public:
    MSAXTagWriter(MSAXWriter& writer, std::wstring tag);
    // A tag already in UTF-8, for the many small elements of a mesh.
    MSAXTagWriter(MSAXWriter& writer, char const* tag);
    ~MSAXTagWriter();
    MSAXTagWriter(MSAXTagWriter const&) = delete;
    MSAXTagWriter& operator=(MSAXTagWriter const&) = delete;

protected:
    MSAXWriter& m_writer;
};
