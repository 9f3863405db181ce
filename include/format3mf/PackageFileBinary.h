// The binary side part of a model: bulk mesh records outside the XML.
#pragma once

#include "common/MFile.h"
#include "common/OndExport.h"
#include "format3mf/IPackageFile.h"

#include <memory>
#include <string>

namespace Format_3MF
{
class BinaryPartReader;
class ModelFile;
class PackageRead;

// A binary side part: bulk mesh records in a file of its own, with no XML.
// Writing, the records go to that file while the model is printed, and the
// part then streams the file into the package; reading keeps the unpacked
// file for the meshes to seek in.
class OND_EXPORT PackageFileBinary : public IPackageFile
{
public:
    explicit PackageFileBinary(std::wstring const& nameInPackage);

    std::wstring m_temporaryPath; // the file on disk that holds the bytes
    MFile m_file;

protected:
    bool _GetContentInfo(std::wstring& contentType, std::wstring& extension) const override;
    bool _GetRelationInfo(std::wstring& type) const override;
    void _OnRead(PackageReadContext* context) override;
    void _OnWrite(PackageWriteContext* context,
                  std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) override;
    bool _OnKeepFileAfterReading() const override { return true; }
    bool _OnCanStreamWrite() const override { return true; }
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
