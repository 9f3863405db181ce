#pragma once

// Relationship parts and their owners, which tie a package's parts together.

#include "common/OndExport.h"
#include "format3mf/IPackageFile.h"

#include <cstddef>
#include <string>
#include <unordered_set>
#include <vector>

namespace Format_3MF
{
// One relationship: its target as written, its id and its type.
struct Relationship
{
    std::wstring m_target;
    std::wstring m_id;
    std::wstring m_type;
};

// A relationships part: those of the package itself (no owner) or of one part.
struct OND_EXPORT RelsFile : IPackageFile
{
    IPackageFile const* m_owner;
    std::vector<Relationship> m_relations;

    // Names itself once, from the owner's name as it is now:
    // "/3D/3dmodel.model" gives "/3D/_rels/3dmodel.model.rels", no owner
    // "_rels/.rels". Later renames of the owner do not change it.
    explicit RelsFile(IPackageFile const* owner);
    RelsFile(RelsFile const&) = default;
    RelsFile& operator=(RelsFile const&) = default;

    double GetWriteProgressWeight() const override { return 0.0; }

    std::vector<Relationship> const& GetRelations() const { return m_relations; }
    // Appends unless a relationship to the same target is there already.
    void AddRelationship(Relationship const& relationship);
    // The target resolved against the owner's folder (the root without
    // owner), with an empty unpacked name. An absolute target is taken as
    // it stands.
    PackageFile GetPackagefile(Relationship const& relationship) const;

protected:
    bool _GetContentInfo(std::wstring& contentType, std::wstring& extension) const override;
    bool _GetRelationInfo(std::wstring& type) const override;
    void _OnRead(PackageReadContext* context) override;
    void _OnWrite(PackageWriteContext* context,
                  std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) override;
    bool _OnCanStreamRead() const override { return true; }
    bool _OnCanStreamWrite() const override { return true; }

private:
    // The targets of the first m_indexed relations, so that a part with
    // thousands of relationships adds each at once. Relations appended to
    // m_relations directly are taken in on the next AddRelationship.
    std::unordered_set<std::wstring> m_targets;
    std::size_t m_indexed = 0;
};

// Mixin of the parts that have relationships of their own.
struct OND_EXPORT RelationsOwner
{
    explicit RelationsOwner(IPackageFile const* owner) : m_relsFile(owner) {}
    RelationsOwner(RelationsOwner const&) = default;
    RelationsOwner& operator=(RelationsOwner const&) = default;
    virtual ~RelationsOwner() = default;

    RelsFile& GetRelsFile() { return m_relsFile; }
    RelsFile const& GetRelsFile() const { return m_relsFile; }

    RelsFile m_relsFile;
};
} // namespace Format_3MF
