#pragma once

// Hands the bytes of a document from a read buffer to the reader's parser,
// and lets the plain content of mesh data bypass it where the handler asks
// for that (see PlainContent.h).

#include "sax/PlainContent.h"

#include <cstdint>
#include <memory>
#include <string_view>

class IReadBuffer;
class MSAXReader;

namespace OndSAX
{
// The parser still reads every start tag of "vertices" and "triangles", so
// namespaces, declarations and the refusal of a document type apply as ever.
// The feed stops the parser right behind such a tag; if the handler that is
// about to take it accepts plain content, the feed scans the content itself
// and hands each plain child to that handler. At the first token that is not
// plain it hands the rest of the content, from that token's first byte on, to
// the parser and does not scan inside that element again: each byte is
// scanned at most once. The parser then sees the element as if it were empty.
class SAXFeed
{
public:
    SAXFeed(MSAXReader& reader, IReadBuffer& source);
    ~SAXFeed();
    SAXFeed(SAXFeed const&) = delete;
    SAXFeed& operator=(SAXFeed const&) = delete;

    // Reads and feeds the whole document. False when the parser refused the
    // document or was stopped by a handler.
    bool Run();

private:
    // A start tag of an element whose content may come in plain form.
    struct Candidate
    {
        enum Kind
        {
            None,
            // It may begin at m_begin but its tag runs past the bytes read.
            Partial,
            Found,
        } m_kind = None;
        std::size_t m_begin = 0;
        std::size_t m_tagEnd = 0;
        std::string_view m_name;
    };

    bool Fill();
    bool Feed(std::size_t end);
    Candidate Find();
    void Enter(Candidate const& candidate);
    // One token of plain content; false when more bytes are needed.
    bool ScanRegion();
    void HandElement(std::size_t length);
    void Bypass(std::size_t length);
    void FallBack();
    std::int64_t Offset(std::size_t index) const { return m_offset + static_cast<std::int64_t>(index); }

    MSAXReader& m_reader;
    IReadBuffer& m_source;
    std::unique_ptr<char[]> m_data;
    std::size_t m_end = 0;
    // Bytes before this were fed to the parser or taken as plain content.
    std::size_t m_fed = 0;
    // Candidates are looked for from here on.
    std::size_t m_searchFrom = 0;
    // The document offset of m_data[0].
    std::int64_t m_offset = 0;
    bool m_atEnd = false;

    // Inside plain content: the handler that accepted it, before and after
    // the start tag was handed over.
    IPlainContentReader* m_acceptor = nullptr;
    IPlainContentReader* m_receiver = nullptr;
    bool m_started = false;
    std::string_view m_regionName;
    std::size_t m_regionDepth = 0;
    // The depth of an element whose content fell back to the parser; no
    // candidate inside it is taken.
    std::size_t m_fallbackDepth = 0;
    PlainElement m_element;
};
} // namespace OndSAX
