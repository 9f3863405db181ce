#pragma once

// Parts the library does not interpret but carries through a package for the
// application.

#include "common/OndExport.h"
#include "format3mf/IPackageFile.h"
#include "format3mf/RelsFile.h"

#include <string>

namespace Format_3MF
{
// A part carried through a package without being looked into: an outside
// file with a content type, a relationship type and a place in the package.
class OND_EXPORT CustomFile : public IPackageFile, public RelationsOwner
{
public:
    // No name in the package yet: UpdateFileNameInPackage makes one. The
    // relationships part is named now, from the empty name.
    CustomFile(std::wstring const& externalFile, IPackageFile const* parent);
    CustomFile(std::wstring const& nameInPackage, std::wstring const& externalFile,
               IPackageFile const* parent);
    // Copies every field, ownership included: two objects may then own one
    // file, and the second to go finds it gone.
    CustomFile(CustomFile const& other);
    CustomFile& operator=(CustomFile const& other);
    // Deletes the outside file if owned; a failure to delete is ignored.
    ~CustomFile() override;

    double GetWriteProgressWeight() const override { return 0.1; }

    // Sets a generated name if the name is empty; a set name never changes.
    void UpdateFileNameInPackage();
    void SetContentInfo(std::wstring const& contentType, std::wstring const& extension);
    void SetRelationInfo(std::wstring const& type);
    void SetFolderInPackage(std::wstring const& folder) { m_folderInPackage = folder; }
    void SetStemInPackage(std::wstring const& stem) { m_stemInPackage = stem; }
    // Deletes an owned outside file first, even if the new path is the same.
    void SetExternalFile(std::wstring const& path, bool owned);
    void SetOwnerShip(bool owned) { m_ownsExternalFile = owned; }

    virtual std::wstring GetPath() const { return m_externalFile; }
    virtual IPackageFile const* GetParent() const { return m_parent; }
    // A copy for the caller to own.
    virtual CustomFile* CreateInstance() const;

protected:
    bool _GetContentInfo(std::wstring& contentType, std::wstring& extension) const override;
    bool _GetRelationInfo(std::wstring& type) const override;
    bool _OnFileIsPredefined(std::wstring* path) const override;
    void _OnRead(PackageReadContext* context) override;
    void _OnWrite(PackageWriteContext* context,
                  std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) override;

    void _RemoveExternalFile();
    // Folder, then the stem (or the outside file's stem), then the outside
    // file's extension.
    std::wstring _CreateFileNameInPackage() const;

    std::wstring m_externalFile;
    std::wstring m_extension;
    std::wstring m_contentType;
    std::wstring m_relationType;
    std::wstring m_folderInPackage;
    std::wstring m_stemInPackage;
    IPackageFile const* m_parent;
    bool m_ownsExternalFile = false;
};

// A print ticket of a model, in "/3D/Metadata".
class OND_EXPORT PrintTicketFile : public CustomFile
{
public:
    PrintTicketFile(std::wstring const& externalFile, IPackageFile const* parent);
    CustomFile* CreateInstance() const override;
};

// The vendor's build ticket.
class OND_EXPORT PrintTicketOndrel : public PrintTicketFile
{
public:
    PrintTicketOndrel(std::wstring const& externalFile, IPackageFile const* parent);
    CustomFile* CreateInstance() const override;
};

// The package's thumbnail.
class OND_EXPORT ThumbnailExternalFile : public CustomFile
{
public:
    // The form the reader uses: nothing but the names.
    ThumbnailExternalFile(std::wstring const& nameInPackage, std::wstring const& externalFile);
    // From an image file: "image/jpeg" for ".jpg" and ".jpeg" in any case,
    // "image/png" otherwise; the thumbnail relationship; folder "/Metadata".
    explicit ThumbnailExternalFile(std::wstring const& externalFile);
};
} // namespace Format_3MF
