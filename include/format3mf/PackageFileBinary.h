// The binary side part of a model: bulk mesh records outside the XML.
#pragma once

#include "common/MFile.h"
#include "common/OndExport.h"
#include "format3mf/IPackageFile.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace format3mf::archive
{
class PreparedEntry;
}

namespace Format_3MF
{
class BinaryPartReader;
class ModelFile;
class PackageRead;

// A binary side part: bulk mesh records, with no XML. Writing, the records
// are deflated on a thread of their own while the model is printed, and the
// package takes the deflated data over when the part's turn comes. Reading,
// the meshes take them from the archive (ModelFileBinary::GetReader), or
// from the unpacked file when they come out of order.
class OND_EXPORT PackageFileBinary : public IPackageFile
{
public:
    explicit PackageFileBinary(std::wstring const& nameInPackage);
    ~PackageFileBinary() override;

    // Writing: opens the records, which go into a temporary file of no name
    // (gone with its last handle, whatever happens). Throws
    // MZipArchiveError::MGeneric when it can't be made.
    void StartWriting();
    // The same with the temporary file in folder ("" for the current one).
    void StartWriting(std::string const& folder);
    bool IsOpenForWriting() const { return m_records != nullptr; }
    // Appends records; throws MZipArchiveError::MGeneric when they can't be
    // taken. Only between StartWriting and FinishWriting.
    void WriteRecords(void const* data, std::size_t size);
    // The bytes written so far: where the next block starts.
    std::uint64_t GetWritePosition() const;
    // Ends the records and waits for their compression; throws
    // MZipArchiveError::MGeneric when any of them failed.
    void FinishWriting();

    // Reading: the unpacked file, when the part had to be unpacked.
    std::wstring m_temporaryPath;
    MFile m_file;

protected:
    bool _GetContentInfo(std::wstring& contentType, std::wstring& extension) const override;
    bool _GetRelationInfo(std::wstring& type) const override;
    void _OnRead(PackageReadContext* context) override;
    void _OnWrite(PackageWriteContext* context,
                  std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) override;
    bool _OnKeepFileAfterReading() const override { return true; }
    bool _OnCanStreamWrite() const override { return true; }

private:
    std::unique_ptr<format3mf::archive::PreparedEntry> m_records;
};

// The binary side part of one model part.
class OND_EXPORT ModelFileBinary : public PackageFileBinary
{
public:
    ModelFileBinary(std::wstring const& nameInPackage, ModelFile* modelFile);
    ~ModelFileBinary() override;

    double GetWriteProgressWeight() const override { return 0.4; }

    // For the library's mesh readers: the part's blocks, read from the
    // archive of `package` while the model part is read (`package` may be
    // null when m_file is open), or from m_file. Made on first use.
    BinaryPartReader& GetReader(PackageRead* package);
    // Called when the model part has been read: what was left of the part is
    // read through, so that the archive checks it whole, and the archive is
    // let go. Damaged data throws MZipArchiveError::MGeneric.
    void FinishReading();

    ModelFile* m_modelFileOfBinary;

private:
    std::unique_ptr<BinaryPartReader> m_reader;
};
} // namespace Format_3MF
