// The package's own bookkeeping kept true as entries come and go: a content
// type for every new kind of entry, no relationship to an entry that is gone.
#pragma once

#include <string>

namespace format3mf::slicerproject
{
class EntryStore;

constexpr char const* kModelRelationshipType = "http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel";
constexpr char const* kThumbnailRelationshipType =
    "http://schemas.openxmlformats.org/package/2006/relationships/metadata/thumbnail";

// The relationships part of a part: "3D/_rels/3dmodel.model.rels".
std::string RelationshipsOf(std::string const& part);

// Gives a new entry's extension a content type where the package has none
// for it.
void EnsureContentType(EntryStore& store, std::string const& name);
// Removes what names an entry that is gone: the relationships that target
// it, its content type override, and its own relationships part.
void ForgetEntry(EntryStore& store, std::string const& name);
// A relationship from the part of `relationships` (created if missing) to
// `target`, with an identifier of its own.
void AddRelationship(EntryStore& store, std::string const& relationships, std::string const& target,
                     std::string const& type);
} // namespace format3mf::slicerproject
