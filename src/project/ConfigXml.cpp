// The element tree of a small XML part through expat's callbacks.
#include "project/ConfigXml.h"

#include <expat.h>

#include <climits>
#include <memory>

namespace format3mf::project
{
namespace
{
// The settings of today's slicers nest four levels deep (config, object,
// part or volume, metadata); room is left for what later versions add, but
// a document nested deeper than this is not settings.
constexpr std::size_t kMaxDepth = 32;

struct TreeBuilder
{
    XML_Parser parser = nullptr;
    ConfigElement* root = nullptr;
    std::vector<ConfigElement*> open;
    std::string error;

    void Fail(std::string const& why)
    {
        if (error.empty())
        {
            error = why;
        }
        XML_StopParser(parser, XML_FALSE);
    }
};

void XMLCALL OnStart(void* data, XML_Char const* name, XML_Char const** attributes)
{
    auto* builder = static_cast<TreeBuilder*>(data);
    if (builder->open.size() == kMaxDepth)
    {
        builder->Fail("elements nest deeper than " + std::to_string(kMaxDepth) + " levels");
        return;
    }
    ConfigElement* element = builder->root;
    if (!builder->open.empty())
    {
        element = &builder->open.back()->children.emplace_back();
    }
    element->name = name;
    for (XML_Char const** attribute = attributes; *attribute != nullptr; attribute += 2)
    {
        element->attributes.emplace_back(attribute[0], attribute[1]);
    }
    builder->open.push_back(element);
}

void XMLCALL OnEnd(void* data, XML_Char const*)
{
    static_cast<TreeBuilder*>(data)->open.pop_back();
}

void XMLCALL OnDoctype(void* data, XML_Char const*, XML_Char const*, XML_Char const*, int)
{
    static_cast<TreeBuilder*>(data)->Fail("it has a document type declaration");
}
} // namespace

std::string const* ConfigElement::Attribute(std::string_view attribute) const
{
    for (auto const& [name, value] : attributes)
    {
        if (name == attribute)
        {
            return &value;
        }
    }
    return nullptr;
}

std::string const* ConfigElement::Metadata(std::string_view key) const
{
    for (ConfigElement const& child : children)
    {
        std::string const* const name = child.Attribute("key");
        if (child.name == "metadata" && name != nullptr && *name == key)
        {
            return child.Attribute("value");
        }
    }
    return nullptr;
}

std::string ParseConfigXml(std::string_view text, ConfigElement& root)
{
    std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate("UTF-8"), XML_ParserFree);
    if (parser == nullptr)
    {
        return "no XML parser could be made (out of memory)";
    }
    TreeBuilder builder;
    builder.parser = parser.get();
    builder.root = &root;
    root = ConfigElement();
    XML_SetUserData(parser.get(), &builder);
    XML_SetElementHandler(parser.get(), OnStart, OnEnd);
    XML_SetStartDoctypeDeclHandler(parser.get(), OnDoctype);
    if (text.size() > std::size_t(INT_MAX))
    {
        return "it is too long to be settings";
    }
    if (XML_Parse(parser.get(), text.data(), int(text.size()), XML_TRUE) != XML_STATUS_OK)
    {
        std::string const line = " (line " + std::to_string(XML_GetCurrentLineNumber(parser.get())) + ")";
        if (!builder.error.empty())
        {
            return builder.error + line;
        }
        return std::string("it is not XML: ") + XML_ErrorString(XML_GetErrorCode(parser.get())) + line;
    }
    return {};
}
} // namespace format3mf::project
