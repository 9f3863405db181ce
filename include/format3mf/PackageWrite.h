#pragma once

// Writing a Package as a 3MF file, part by part into a 32-bit or zip64 archive.

#include "common/OndExport.h"
#include "format3mf/CustomFile.h"
#include "format3mf/PackageWriteContext.h"

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

class MZipArchive;
namespace format3mf::archive
{
class PreparedEntry;
}
namespace FileIO::Zip
{
class Zip64Writer;
}
namespace OndSDK::Common
{
class IProgressDelegate;
}
namespace format3mf
{
class SafeFileWrite;
}

namespace Format_3MF
{
class Package;

// Turns a Package into a 3MF file: every part prepares itself, the archive
// opens (zip64 by option alone), each part writes in the order of the list,
// parts that exist as files are added, and the archive closes.
//
// The archive is written into a temporary file beside the target, which
// takes the target's place only when the archive is complete and on the
// disk. Whatever ends a write early (a failure of the archive, a part that
// can't be read or throws, a cancel) leaves the target with every byte it
// had and no temporary file behind.
class OND_EXPORT PackageWrite
{
public:
    // Thrown when the write is cancelled through the progress delegate.
    class OND_EXPORT Canceled
    {
    public:
        Canceled() = default;
        Canceled(Canceled const&) = default;
        Canceled& operator=(Canceled const&) = default;
        virtual ~Canceled() = default;
    };

    PackageWrite(Package* package, PackageWriteOptions const& options);
    PackageWrite(PackageWrite const&) = delete;
    PackageWrite& operator=(PackageWrite const&) = delete;
    virtual ~PackageWrite();

    void AddThumbnail(std::unique_ptr<ThumbnailExternalFile> thumbnail);
    // Returns true when the file is written. A failure throws
    // MZipArchiveError::MGeneric, whose message names the target and whose
    // detail gives the cause ("No space left on device"); a cancel throws
    // Canceled; what a part throws passes through.
    bool Write(std::wstring const& fileName, std::shared_ptr<OndSDK::Common::IProgressDelegate> progress);
    // A new archive entry for the part; deleting the stream ends the entry.
    std::ostream* CreatePartOutputStream(PackageFile const& file);
    // The part's entry from data compressed before its turn (a model's
    // binary part, deflated while the model was written), taken over
    // without a copy. Throws MZipArchiveError::MGeneric.
    void AddPreparedPart(PackageFile const& file, format3mf::archive::PreparedEntry& entry);

    PackageWriteContext& GetContext() { return m_context; }
    // The target of the write under way.
    std::wstring const& GetFileName() const { return m_fileName; }

protected:
    virtual void _OnStartWriting(PackageWriteContext* context);

private:
    struct WriteFile
    {
        std::wstring m_nameInArchive;
        std::wstring m_diskPath; // empty for a part that streams
        IPackageFile* m_file;
    };

    void _CreateFiles(std::shared_ptr<OndSDK::Common::IProgressDelegate> progress);
    void _CloseArchive();
    // Adds the parts that exist as files, closes the archive and puts the
    // file in the target's place.
    void _FinishArchive();
    [[noreturn]] void _Fail(std::wstring const& cause);

    Package* m_package;
    PackageWriteContext m_context;
    std::wstring m_fileName;
    std::unique_ptr<MZipArchive> m_zipArchive;
    std::unique_ptr<FileIO::Zip::Zip64Writer> m_zip64Writer;
    std::vector<WriteFile> m_writeFiles;
    std::unique_ptr<format3mf::SafeFileWrite> m_target;
};
} // namespace Format_3MF
