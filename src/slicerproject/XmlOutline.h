// Where the elements of an XML part stand in its bytes, so that an edit can
// replace, remove or insert one element and leave every other byte as the
// writer made it.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace format3mf::slicerproject
{
struct OutlineElement
{
    // The name as written, prefix included.
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    // The character data of an element without children (a metadata value).
    std::string text;
    std::size_t depth = 0;
    // The bytes of the whole element, from its '<' to past its end tag.
    std::size_t begin = 0;
    std::size_t end = 0;
    // Past the '>' of its start tag; equal to `end` for an empty-element tag.
    std::size_t contentBegin = 0;
    // The '<' of its end tag; equal to `end` for an empty-element tag.
    std::size_t contentEnd = 0;

    // The name without its prefix.
    std::string_view LocalName() const;
    // The value of the attribute of that local name, prefix ignored, or null.
    std::string const* Attribute(std::string_view localName) const;
};

// The elements down to `maxDepth` (the root is depth 0), in document order;
// the children of an element named in `opaque` (by local name: "mesh") are
// not listed, however many there are. Throws ProjectError naming `part` when
// the text is not well-formed XML or declares a document type.
std::vector<OutlineElement> OutlineXml(std::string_view text, std::string const& part, std::size_t maxDepth,
                                       std::vector<std::string> const& opaque = {});

// The same of a part read in pieces: the source hands each piece to the
// function it is given, in order, and returns at the end of the part.
using XmlSource = std::function<void(std::function<void(char const*, std::size_t)> const&)>;
std::vector<OutlineElement> OutlineXml(XmlSource const& source, std::string const& part, std::size_t maxDepth,
                                       std::vector<std::string> const& opaque = {});

// The first element of that local name at that depth, or null.
OutlineElement const* FindElement(std::vector<OutlineElement> const& outline, std::string_view localName,
                                  std::size_t depth);

// One change of an XML part's bytes: [begin, end) becomes `text`.
struct XmlSplice
{
    std::size_t begin = 0;
    std::size_t end = 0;
    std::string text;
};

// The removal of an element with the line it stands on when nothing else
// stands there, so that the file keeps its layout.
XmlSplice RemovalOf(std::string_view text, OutlineElement const& element);
// `element` (a whole line's worth of XML, without indent) put before the end
// tag of `parent`, indented as the parent's last child is.
XmlSplice InsertionInto(std::string_view text, OutlineElement const& parent, std::string const& element);

// Applies splices that don't overlap, in any order.
std::string ApplySplices(std::string_view text, std::vector<XmlSplice> splices);

// Text made safe for an attribute value or character data.
std::string EscapeXml(std::string_view text);
} // namespace format3mf::slicerproject
