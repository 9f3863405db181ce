#pragma once

// Namespace prefixes in scope while reading, so that elements and attributes
// are matched by namespace URI rather than by prefix.

#include "common/OndExport.h"

#include <map>
#include <string>
#include <vector>

namespace OndSAX
{
class ISAXReader;
}

namespace OndAM::SaxUtilities
{
// A namespace: a prefix (empty for the default namespace) and its URI.
struct OND_EXPORT Namespace
{
    std::wstring m_prefix;
    std::wstring m_uri;

    Namespace() = default;
    Namespace(std::wstring const& prefix, std::wstring const& uri);

    bool operator<(Namespace const& other) const;
};

// One scope of namespace declarations: those made on one element, in front
// of the scope of the enclosing element. A scope only refers to its parent,
// which must outlive it (a parent reader stays below its children on the
// reader's stack), so opening a scope copies nothing.
class OND_EXPORT XMLNamespaceHandler
{
public:
    XMLNamespaceHandler() = default;
    explicit XMLNamespaceHandler(XMLNamespaceHandler const* parent);

    // Enters the "xmlns" and "xmlns:prefix" attributes of a start tag.
    void UpdateNamespaces(std::map<std::wstring, std::wstring> const& attributes);
    // The same from the current start tag of a reader, without building its
    // attribute map.
    void UpdateNamespaces(OndSAX::ISAXReader const& reader);
    // Declares a prefix in this scope; an empty URI undeclares it here.
    void AddNamespace(std::wstring const& prefix, std::wstring const& uri);

    // The URI bound to a prefix ("" for the default namespace) in this scope
    // or the nearest enclosing one. False if the prefix is not bound.
    bool GetNamespaceURI(std::wstring const& prefix, std::wstring& uri) const;
    // Every prefix in force here with its URI, ordered by prefix (undeclared
    // ones left out).
    std::map<std::wstring, std::wstring> GetNamespaces() const;
    // A prefix that is bound to the URI here (not hidden by a redefinition in
    // a nearer scope). False if there is none.
    bool GetNamespacePrefix(std::wstring const& uri, std::wstring& prefix) const;
    // Splits a qualified name at its first colon and resolves the prefix; an
    // unprefixed name is in the default namespace, or in none (empty URI) if
    // no default is declared. False if the name has a prefix that is not
    // bound (prefix and local name are set all the same).
    bool SplitName(std::wstring const& qualifiedName, std::wstring& prefix, std::wstring& uri,
                   std::wstring& localName) const;

private:
    std::wstring const* Find(std::wstring const& prefix) const;

    XMLNamespaceHandler const* mp_parent = nullptr;
    std::vector<Namespace> m_declarations;
};
} // namespace OndAM::SaxUtilities
