#pragma once

// A 3MF package in memory: its parts, the root model and the package-wide
// parts, as read or as to be written.

#include "common/OndExport.h"
#include "format3mf/Content.h"
#include "format3mf/CustomFile.h"
#include "format3mf/Invalidation.h"
#include "format3mf/RelsFile.h"

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace Format_3MF
{
class ModelFile;
class PackageRead;

// A 3MF package in memory: its parts in the order of writing and reading,
// the parts that exist once per package, the root model (not owned) and the
// relationship ids in use.
class OND_EXPORT Package : public RelationsOwner
{
public:
    // Lists the content types, the package's relationships and, with a root
    // model, the model as "/3D/3dmodel.model" with the relationship "rel0".
    explicit Package(ModelFile* rootModel);
    Package(Package const&) = delete;
    Package& operator=(Package const&) = delete;
    ~Package() override;

    ModelFile* GetRootModel() const { return m_rootModel; }

    // Appends unless listed already; then registers on request, in either
    // case: a content type entry, and a relationship from `parent` (a
    // RelationsOwner, or the package when null) with a new id.
    void AddPackageFile(IPackageFile* file, bool registerFile, IPackageFile* parent);
    // The same, keeping the part alive with the package.
    void AddPackageFile(std::shared_ptr<IPackageFile> file, bool registerFile, IPackageFile* parent);
    // Gives the file a generated name if it has none, then as above.
    void AddCustomFile(std::shared_ptr<CustomFile> file, bool registerFile, IPackageFile* parent);

    // "rel" and a number, never one known to the package.
    std::wstring GetNewRelationString() const;
    void RegisterRelationString(std::wstring const& id);

    Content& GetContent() { return m_content; }
    Content const& GetContent() const { return m_content; }
    Invalidation& GetInvalidation() { return m_invalidation; }
    ThumbnailExternalFile* GetThumbnail() const { return m_thumbnail.get(); }
    // Takes the thumbnail, names it "/Metadata/thumbnail" with its file's
    // extension, and lists it; a caller sets a thumbnail once.
    void SetThumbnail(std::unique_ptr<ThumbnailExternalFile>& thumbnail, bool registerFile);

    std::vector<IPackageFile*> const& GetPackageFiles() const { return m_packageFiles; }
    IPackageFile* GetPackageFile(std::wstring const& nameInPackage) const;
    IPackageFile const* GetPackageFile(PackageOptionCustomFile const& option) const;
    CustomFile* GetCustomFile(PackageOptionCustomFile const& option) const;
    // Appends the custom files the package keeps alive, in order.
    void GetCustomFiles(std::vector<CustomFile const*>& files) const;
    void ReplaceFileContent(CustomFile& file, std::wstring const& path, bool owned);

    void GetContentTypes(std::vector<std::wstring>& types);
    // Every namespace URI of the root model and its related models, depth
    // first, without duplicates. Needs a root model.
    void GetAllModelFileNamespaces(std::vector<std::wstring>& namespaces);
    // Every relationship type of the package's, the root model's and the
    // related models' relationships, without duplicates. Needs a root model.
    void GetAllRelationTypes(std::vector<std::wstring>& types);

    virtual void _OnStartWriting(PackageWriteContext* context);
    virtual void _OnStopWriting(PackageWriteContext* context);
    virtual void _OnStartReading(PackageReadContext* context);
    virtual void _OnStopReading(PackageReadContext* context);

private:
    friend class PackageRead; // keeps the thumbnail it reads without listing it

    void _RegisterPackageFile(IPackageFile* file, IPackageFile* parent);

    mutable std::uint64_t m_relationCounter = 0;
    ModelFile* m_rootModel;
    Content m_content;
    std::vector<IPackageFile*> m_packageFiles;
    // The same files, to find one at once among thousands.
    std::set<IPackageFile const*> m_listedFiles;
    std::vector<std::shared_ptr<IPackageFile>> m_ownedFiles;
    std::unique_ptr<ThumbnailExternalFile> m_thumbnail;
    Invalidation m_invalidation;
    mutable std::set<std::wstring> m_relationStrings;
};
} // namespace Format_3MF
