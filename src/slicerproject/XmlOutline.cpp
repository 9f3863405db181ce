// The outline of an XML part by expat's byte positions, and the splices that
// edit it in place.
#include "slicerproject/XmlOutline.h"

#include "format3mf/Project.h"

#include <expat.h>

#include <algorithm>
#include <climits>
#include <memory>

namespace format3mf::slicerproject
{
namespace
{
struct OutlineBuilder
{
    XML_Parser parser = nullptr;
    std::size_t maxDepth = 0;
    std::vector<std::string> const* opaque = nullptr;
    std::vector<OutlineElement> elements;
    struct Open
    {
        // Index into elements, or npos for an element not listed.
        std::size_t listed;
        std::size_t afterStart;
        bool hasChildren;
    };
    std::vector<Open> open;
    // Elements below an opaque one are skipped down to this depth.
    std::size_t opaqueDepth = SIZE_MAX;
    bool doctype = false;
};

std::string_view Local(std::string_view name)
{
    std::size_t const colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

void XMLCALL OnStart(void* data, XML_Char const* name, XML_Char const** attributes)
{
    auto& builder = *static_cast<OutlineBuilder*>(data);
    auto const index = std::size_t(XML_GetCurrentByteIndex(builder.parser));
    auto const count = std::size_t(XML_GetCurrentByteCount(builder.parser));
    std::size_t const depth = builder.open.size();
    if (!builder.open.empty())
    {
        builder.open.back().hasChildren = true;
        if (builder.open.back().listed != SIZE_MAX)
        {
            builder.elements[builder.open.back().listed].text.clear();
        }
    }
    std::size_t listed = SIZE_MAX;
    if (depth <= builder.maxDepth && depth < builder.opaqueDepth)
    {
        listed = builder.elements.size();
        OutlineElement& element = builder.elements.emplace_back();
        element.name = name;
        for (XML_Char const** attribute = attributes; *attribute != nullptr; attribute += 2)
        {
            element.attributes.emplace_back(attribute[0], attribute[1]);
        }
        element.depth = depth;
        element.begin = index;
        std::string_view const local = Local(name);
        if (depth < builder.opaqueDepth &&
            std::find(builder.opaque->begin(), builder.opaque->end(), local) != builder.opaque->end())
        {
            builder.opaqueDepth = depth + 1;
        }
    }
    builder.open.push_back({listed, index + count, false});
}

void XMLCALL OnEnd(void* data, XML_Char const*)
{
    auto& builder = *static_cast<OutlineBuilder*>(data);
    OutlineBuilder::Open const open = builder.open.back();
    builder.open.pop_back();
    if (builder.open.size() + 1 == builder.opaqueDepth)
    {
        builder.opaqueDepth = SIZE_MAX;
    }
    if (open.listed == SIZE_MAX)
    {
        return;
    }
    OutlineElement& element = builder.elements[open.listed];
    auto const index = std::size_t(XML_GetCurrentByteIndex(builder.parser));
    auto const count = std::size_t(XML_GetCurrentByteCount(builder.parser));
    if (count == 0)
    {
        // An empty-element tag: its start event held the whole element.
        element.end = element.contentBegin = element.contentEnd = open.afterStart;
    }
    else
    {
        element.contentBegin = open.afterStart;
        element.contentEnd = index;
        element.end = index + count;
    }
    if (open.hasChildren)
    {
        element.text.clear();
    }
}

void XMLCALL OnText(void* data, XML_Char const* text, int length)
{
    auto& builder = *static_cast<OutlineBuilder*>(data);
    if (!builder.open.empty() && builder.open.back().listed != SIZE_MAX && !builder.open.back().hasChildren)
    {
        builder.elements[builder.open.back().listed].text.append(text, std::size_t(length));
    }
}

void XMLCALL OnDoctype(void* data, XML_Char const*, XML_Char const*, XML_Char const*, int)
{
    auto& builder = *static_cast<OutlineBuilder*>(data);
    builder.doctype = true;
    XML_StopParser(builder.parser, XML_FALSE);
}

bool OnlyBlanks(std::string_view text)
{
    return text.find_first_not_of(" \t") == std::string_view::npos;
}
} // namespace

std::string_view OutlineElement::LocalName() const
{
    return Local(name);
}

std::string const* OutlineElement::Attribute(std::string_view localName) const
{
    for (auto const& [attribute, value] : attributes)
    {
        if (Local(attribute) == localName)
        {
            return &value;
        }
    }
    return nullptr;
}

std::vector<OutlineElement> OutlineXml(std::string_view text, std::string const& part, std::size_t maxDepth,
                                       std::vector<std::string> const& opaque)
{
    return OutlineXml([text](std::function<void(char const*, std::size_t)> const& take)
                      { take(text.data(), text.size()); },
                      part, maxDepth, opaque);
}

std::vector<OutlineElement> OutlineXml(XmlSource const& source, std::string const& part, std::size_t maxDepth,
                                       std::vector<std::string> const& opaque)
{
    std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate(nullptr), XML_ParserFree);
    if (parser == nullptr)
    {
        throw std::bad_alloc();
    }
    OutlineBuilder builder;
    builder.parser = parser.get();
    builder.maxDepth = maxDepth;
    builder.opaque = &opaque;
    XML_SetUserData(parser.get(), &builder);
    XML_SetElementHandler(parser.get(), OnStart, OnEnd);
    XML_SetCharacterDataHandler(parser.get(), OnText);
    XML_SetStartDoctypeDeclHandler(parser.get(), OnDoctype);
    bool ok = true;
    auto const fail = [&]
    {
        if (builder.doctype)
        {
            throw ProjectError("The part " + part + " is not read: it has a document type declaration");
        }
        throw ProjectError("The part " + part +
                           " is not XML: " + XML_ErrorString(XML_GetErrorCode(parser.get())) + " (line " +
                           std::to_string(XML_GetCurrentLineNumber(parser.get())) + ")");
    };
    // Parsed in pieces of at most INT_MAX bytes, as expat takes them.
    source(
        [&](char const* data, std::size_t size)
        {
            for (std::size_t done = 0; ok && done < size;)
            {
                std::size_t const piece = std::min<std::size_t>(size - done, INT_MAX / 2);
                ok = XML_Parse(parser.get(), data + done, int(piece), XML_FALSE) == XML_STATUS_OK;
                done += piece;
            }
            if (!ok)
            {
                fail();
            }
        });
    if (XML_Parse(parser.get(), nullptr, 0, XML_TRUE) != XML_STATUS_OK)
    {
        fail();
    }
    return std::move(builder.elements);
}

OutlineElement const* FindElement(std::vector<OutlineElement> const& outline, std::string_view localName,
                                  std::size_t depth)
{
    for (OutlineElement const& element : outline)
    {
        if (element.depth == depth && element.LocalName() == localName)
        {
            return &element;
        }
    }
    return nullptr;
}

XmlSplice RemovalOf(std::string_view text, OutlineElement const& element)
{
    std::size_t const lineStart = text.rfind('\n', element.begin == 0 ? 0 : element.begin - 1);
    std::size_t const from = lineStart == std::string_view::npos ? 0 : lineStart + 1;
    std::size_t to = element.end;
    while (to < text.size() && (text[to] == ' ' || text[to] == '\t'))
    {
        ++to;
    }
    if (OnlyBlanks(text.substr(from, element.begin - from)) && to < text.size() &&
        (text[to] == '\n' || text[to] == '\r'))
    {
        to += text[to] == '\r' && to + 1 < text.size() && text[to + 1] == '\n' ? 2 : 1;
        return {from, to, {}};
    }
    return {element.begin, element.end, {}};
}

XmlSplice InsertionInto(std::string_view text, OutlineElement const& parent, std::string const& element)
{
    if (parent.contentBegin == parent.contentEnd && parent.end == parent.contentEnd &&
        parent.end - parent.begin >= 2 && text.substr(parent.end - 2, 2) == "/>")
    {
        // <build/> becomes <build>...</build>.
        std::size_t const slash = parent.end - 2;
        return {slash, parent.end, ">\n" + element + "\n</" + parent.name + ">"};
    }
    // The indent of the end tag's line, and one step more for the child.
    std::size_t const lineStart = text.rfind('\n', parent.contentEnd == 0 ? 0 : parent.contentEnd - 1);
    std::size_t const from = lineStart == std::string_view::npos ? 0 : lineStart + 1;
    std::string_view const before = text.substr(from, parent.contentEnd - from);
    if (OnlyBlanks(before))
    {
        std::string const indent(before);
        std::string const step = indent.empty() || indent[0] == ' ' ? " " : "\t";
        return {from, from, indent + step + element + "\n"};
    }
    return {parent.contentEnd, parent.contentEnd, element};
}

std::string ApplySplices(std::string_view text, std::vector<XmlSplice> splices)
{
    std::stable_sort(splices.begin(), splices.end(),
                     [](XmlSplice const& a, XmlSplice const& b) { return a.begin < b.begin; });
    std::string result;
    std::size_t grown = 0;
    for (XmlSplice const& splice : splices)
    {
        grown += splice.text.size();
    }
    result.reserve(text.size() + grown);
    std::size_t at = 0;
    for (XmlSplice const& splice : splices)
    {
        result.append(text.substr(at, splice.begin - at));
        result.append(splice.text);
        at = std::max(at, splice.end);
    }
    result.append(text.substr(at));
    return result;
}

std::string EscapeXml(std::string_view text)
{
    std::string escaped;
    escaped.reserve(text.size());
    for (char const c : text)
    {
        switch (c)
        {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\n':
            escaped += "&#10;";
            break;
        case '\r':
            escaped += "&#13;";
            break;
        case '\t':
            escaped += "&#9;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}
} // namespace format3mf::slicerproject
