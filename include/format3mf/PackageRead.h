#pragma once

// Reading a 3MF file into a Package, with failures reported through the read
// context instead of thrown.

#include "common/OndExport.h"
#include "format3mf/CustomFile.h"
#include "format3mf/PackageReadContext.h"
#include "format3mf/RelsFile.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

class IReadBuffer;
class MZipArchive;

namespace OndSDK::Common
{
class IProgressDelegate;
}

namespace Format_3MF
{
class Package;

// Fills a Package from a 3MF file. The library's own read failures are
// caught here and left in the context: a status and messages.
class OND_EXPORT PackageRead
{
public:
    PackageRead(Package* package, PackageReadOptions const& options);
    PackageRead(PackageRead const&) = delete;
    PackageRead& operator=(PackageRead const&) = delete;
    ~PackageRead();

    // False with status 0 and no message when the file doesn't exist; other
    // failures leave a status and a message in the context.
    bool Read(std::wstring const& fileName, std::shared_ptr<OndSDK::Common::IProgressDelegate> progress);
    PackageReadContext const& GetContext() const { return m_context; }
    ThumbnailExternalFile const* GetThumbnail() const;

    // Writes one entry of the archive to a file, through an archive object
    // of its own, so that it works after Read too.
    bool ExtractPackageFile(std::wstring const& nameInPackage, bool mandatory,
                            std::wstring const& targetPath);
    bool ExtractPackageFile(PackageFile const& file, bool mandatory, std::wstring const& targetPath);
    // The bytes of one entry, front to back, through an archive object of its
    // own, so that a part can be read while another one is (a model's binary
    // part while the model is parsed); `size` is the size that the archive's
    // directory declares. Null after a failure to open it, noted in the
    // context as ExtractPackageFile notes it. Read throws
    // MZipArchiveError::MGeneric when the entry's data is damaged.
    std::unique_ptr<IReadBuffer> OpenPackageFile(std::wstring const& nameInPackage, bool mandatory,
                                                 std::uint64_t& size);

    void GetContentTypes(std::vector<std::wstring>& types);
    void GetAllModelFileNamespaces(std::vector<std::wstring>& namespaces);
    void GetAllRelationTypes(std::vector<std::wstring>& types);

    // For the reading classes of the library.
    bool _ReadPackageFile(IPackageFile* file, bool mandatory);
    void _AddRelatedCustomFile(Relationship const& relationship);
    // The stream of a streaming part, or null when the part is not in the
    // archive. The caller owns it.
    std::istream* CreatePartInputStream(IPackageFile const* part);
    // The same as bytes straight from the archive, without a stream between,
    // for parts that the XML reader takes block by block.
    std::unique_ptr<IReadBuffer> CreatePartReadBuffer(IPackageFile const* part);
    MZipArchive* GetArchive() const { return m_archive.get(); }

private:
    bool _ReadWithoutRootModel(RelsFile& rels);
    bool _ReadRelatedWithoutRootModel(RelsFile& rels, Relationship const& relationship);
    std::wstring _FindRootModelName() const;
    std::wstring _TemporaryPathFor(std::wstring const& nameInPackage) const;

    Package* m_package;
    PackageReadContext m_context;
    std::wstring m_fileName;
    std::unique_ptr<MZipArchive> m_archive;
    std::vector<std::wstring> m_extractedFiles;
};
} // namespace Format_3MF
