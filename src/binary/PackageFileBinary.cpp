// The binary side part: its content type and relationship, its reader, and
// the records it is written from.
#include "format3mf/PackageFileBinary.h"

#include "binary/BinaryPartReader.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/PackageWrite.h"
#include "format3mf/PackageWriteContext.h"
#include "foundation/PartNames.h"
#include "foundation/TemporaryFiles.h"

#include "zip/MZipArchiveError.h"
#include "zip/PreparedEntry.h"

#include <memory>
#include <string>

namespace Format_3MF
{
namespace
{
constexpr std::uint64_t kFileBufferSize = 0x40000;
} // namespace

PackageFileBinary::PackageFileBinary(std::wstring const& nameInPackage)
    : IPackageFile(nameInPackage), m_file(kFileBufferSize)
{
}

PackageFileBinary::~PackageFileBinary() = default;

ModelFileBinary::ModelFileBinary(std::wstring const& nameInPackage, ModelFile* modelFile)
    : PackageFileBinary(nameInPackage), m_modelFileOfBinary(modelFile)
{
}

ModelFileBinary::~ModelFileBinary() = default;

BinaryPartReader& ModelFileBinary::GetReader(PackageRead* package)
{
    if (!m_reader)
    {
        m_reader = std::make_unique<BinaryPartReader>(*this, package);
    }
    return *m_reader;
}

void ModelFileBinary::FinishReading()
{
    if (m_reader)
    {
        std::unique_ptr<BinaryPartReader> const reader = std::move(m_reader);
        reader->Finish();
    }
}

bool PackageFileBinary::_GetContentInfo(std::wstring& contentType, std::wstring& extension) const
{
    contentType = ContentTypeBinaryModelFile;
    extension = ExtensionContentBinaryModelFile;
    return true;
}

bool PackageFileBinary::_GetRelationInfo(std::wstring& type) const
{
    type = RelationshipBinaryModelFile;
    return true;
}

void PackageFileBinary::_OnRead(PackageReadContext*)
{
    m_temporaryPath = m_fileNameUnpacked;
}

void PackageFileBinary::StartWriting()
{
    StartWriting(ToPath(NewTemporaryPath(GetFileNameInPackage())).parent_path().string());
}

void PackageFileBinary::StartWriting(std::string const& folder)
{
    m_records = std::make_unique<format3mf::archive::PreparedEntry>(folder.empty() ? "." : folder,
                                                                    GetFileNameInPackage());
}

void PackageFileBinary::WriteRecords(void const* data, std::size_t size)
{
    if (!m_records)
    {
        throw MZipArchiveError::MGeneric(L"The binary part is not open for writing", GetFileNameInPackage());
    }
    m_records->Write(static_cast<char const*>(data), size);
}

std::uint64_t PackageFileBinary::GetWritePosition() const
{
    return m_records ? m_records->GetSize() : 0;
}

void PackageFileBinary::FinishWriting()
{
    if (m_records)
    {
        m_records->Finish();
    }
}

// The records were deflated while the model's XML was printed; the model
// part comes first in the package, so they are complete now, and the
// archive takes them as they are.
void PackageFileBinary::_OnWrite(PackageWriteContext* context,
                                 std::shared_ptr<OndSDK::Common::IProgressDelegate>)
{
    if (!m_records)
    {
        throw MZipArchiveError::MGeneric(L"The binary part was never opened for writing",
                                         GetFileNameInPackage());
    }
    m_records->Finish();
    context->m_packageWrite->AddPreparedPart(*this, *m_records);
}
} // namespace Format_3MF
