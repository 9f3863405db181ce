#pragma once

// The part that lists invalidated parts of a package.

#include "common/OndExport.h"
#include "format3mf/IPackageFile.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Format_3MF
{
// "/Metadata/InvalidationParts.xml": a list of parts by name. It enters a
// package only when it holds parts.
class OND_EXPORT Invalidation : public IPackageFile
{
public:
    struct Part
    {
        std::wstring m_target;
        std::vector<std::pair<std::wstring, std::wstring>> m_items; // carried along
    };

    Invalidation();
    // Owns the parts that GetPart created.
    ~Invalidation() override;
    Invalidation(Invalidation const&) = delete;
    Invalidation& operator=(Invalidation const&) = delete;

    double GetWriteProgressWeight() const override { return 0.0; }

    // The set is keyed by the addresses of the parts, and a lookup uses a
    // temporary part's address, which is never in it: the lookups find
    // nothing, and the creating form adds a new part at every call. Names are
    // therefore not unique here, by design.
    Part const* GetPart(PackageFile const& file) const;
    Part* GetPart(PackageFile const& file, bool create);
    std::set<Part*> const& GetParts() const { return m_parts; }

protected:
    bool _GetContentInfo(std::wstring& contentType, std::wstring& extension) const override;
    bool _GetRelationInfo(std::wstring& type) const override;
    void _OnRead(PackageReadContext* context) override;
    void _OnWrite(PackageWriteContext* context,
                  std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) override;
    bool _OnCanStreamRead() const override { return true; }
    bool _OnCanStreamWrite() const override { return true; }

private:
    std::set<Part*> m_parts;
};
} // namespace Format_3MF
