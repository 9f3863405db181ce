// Prefix-to-namespace bindings in scope at an element, inherited from the
// parent element's handler.
#include "sax/XMLNamespaceHandler.h"

#include "common/StringConversion.h"
#include "sax/SAXReader.h"

#include <cstring>
#include <iterator>
#include <tuple>

namespace
{
// Bound by definition in every document.
wchar_t const* const kXMLPrefix = L"xml";
wchar_t const* const kXMLNamespace = L"http://www.w3.org/XML/1998/namespace";

// The prefix declared by an attribute called `name`, or false if the
// attribute declares nothing: "xmlns" declares the default namespace,
// "xmlns:p" the prefix p.
template <typename Char>
bool DeclaredPrefix(Char const* name, std::size_t length, std::size_t& prefixStart)
{
    static char const kXmlns[] = "xmlns";
    if (length < 5)
    {
        return false;
    }
    for (std::size_t i = 0; i < 5; ++i)
    {
        if (name[i] != static_cast<Char>(kXmlns[i]))
        {
            return false;
        }
    }
    if (length == 5)
    {
        prefixStart = 5;
        return true;
    }
    if (name[5] == static_cast<Char>(':'))
    {
        prefixStart = 6;
        return true;
    }
    return false;
}
} // namespace

namespace OndAM::SaxUtilities
{
Namespace::Namespace(std::wstring const& prefix, std::wstring const& uri) : m_prefix(prefix), m_uri(uri) {}

bool Namespace::operator<(Namespace const& other) const
{
    return std::tie(m_prefix, m_uri) < std::tie(other.m_prefix, other.m_uri);
}

XMLNamespaceHandler::XMLNamespaceHandler(XMLNamespaceHandler const* parent) : mp_parent(parent) {}

void XMLNamespaceHandler::UpdateNamespaces(std::map<std::wstring, std::wstring> const& attributes)
{
    for (auto const& [name, value] : attributes)
    {
        std::size_t prefixStart = 0;
        if (DeclaredPrefix(name.data(), name.size(), prefixStart))
        {
            AddNamespace(name.substr(prefixStart), value);
        }
    }
}

void XMLNamespaceHandler::UpdateNamespaces(OndSAX::ISAXReader const& reader)
{
    char const* const* attribute = reader.RawAttributes();
    for (; attribute != nullptr && *attribute != nullptr; attribute += 2)
    {
        std::size_t const length = std::strlen(attribute[0]);
        std::size_t prefixStart = 0;
        if (DeclaredPrefix(attribute[0], length, prefixStart))
        {
            AddNamespace(
                StringConversion::ConvertUTF8ToNative(attribute[0] + prefixStart, length - prefixStart),
                StringConversion::ConvertUTF8ToNative(attribute[1], std::strlen(attribute[1])));
        }
    }
}

void XMLNamespaceHandler::AddNamespace(std::wstring const& prefix, std::wstring const& uri)
{
    for (Namespace& declaration : m_declarations)
    {
        if (declaration.m_prefix == prefix)
        {
            declaration.m_uri = uri;
            return;
        }
    }
    m_declarations.emplace_back(prefix, uri);
}

std::wstring const* XMLNamespaceHandler::Find(std::wstring const& prefix) const
{
    for (XMLNamespaceHandler const* scope = this; scope != nullptr; scope = scope->mp_parent)
    {
        for (Namespace const& declaration : scope->m_declarations)
        {
            if (declaration.m_prefix == prefix)
            {
                return &declaration.m_uri;
            }
        }
    }
    return nullptr;
}

std::map<std::wstring, std::wstring> XMLNamespaceHandler::GetNamespaces() const
{
    std::map<std::wstring, std::wstring> namespaces;
    // Nearest scope first: an inner declaration hides an outer one.
    for (XMLNamespaceHandler const* scope = this; scope != nullptr; scope = scope->mp_parent)
    {
        for (Namespace const& declaration : scope->m_declarations)
        {
            namespaces.emplace(declaration.m_prefix, declaration.m_uri);
        }
    }
    for (auto entry = namespaces.begin(); entry != namespaces.end();)
    {
        entry = entry->second.empty() ? namespaces.erase(entry) : std::next(entry);
    }
    return namespaces;
}

bool XMLNamespaceHandler::GetNamespaceURI(std::wstring const& prefix, std::wstring& uri) const
{
    std::wstring const* const found = Find(prefix);
    if (found != nullptr && !found->empty())
    {
        uri = *found;
        return true;
    }
    if (found == nullptr && prefix == kXMLPrefix)
    {
        uri = kXMLNamespace;
        return true;
    }
    return false;
}

bool XMLNamespaceHandler::GetNamespacePrefix(std::wstring const& uri, std::wstring& prefix) const
{
    if (uri.empty())
    {
        return false;
    }
    for (XMLNamespaceHandler const* scope = this; scope != nullptr; scope = scope->mp_parent)
    {
        for (Namespace const& declaration : scope->m_declarations)
        {
            if (declaration.m_uri == uri && Find(declaration.m_prefix) == &declaration.m_uri)
            {
                prefix = declaration.m_prefix;
                return true;
            }
        }
    }
    if (uri == kXMLNamespace)
    {
        prefix = kXMLPrefix;
        return true;
    }
    return false;
}

bool XMLNamespaceHandler::SplitName(std::wstring const& qualifiedName, std::wstring& prefix,
                                    std::wstring& uri, std::wstring& localName) const
{
    std::size_t const colon = qualifiedName.find(L':');
    if (colon == std::wstring::npos)
    {
        prefix.clear();
        localName = qualifiedName;
    }
    else
    {
        prefix.assign(qualifiedName, 0, colon);
        localName.assign(qualifiedName, colon + 1, std::wstring::npos);
    }
    uri.clear();
    return GetNamespaceURI(prefix, uri) || prefix.empty();
}
} // namespace OndAM::SaxUtilities
