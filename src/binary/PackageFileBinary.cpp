// The binary side part: its content type and relationship, the unpacked
// file it reads from, and the file it is written from.
#include "format3mf/PackageFileBinary.h"

#include "binary/BinaryPartReader.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/PackageWrite.h"
#include "format3mf/PackageWriteContext.h"

#include "common/StringConversion.h"
#include "zip/MZipArchiveError.h"

#include <cstdio>
#include <memory>
#include <ostream>
#include <vector>

namespace Format_3MF
{
namespace
{
constexpr std::uint64_t kFileBufferSize = 0x40000;

struct FileCloser
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};
} // namespace

PackageFileBinary::PackageFileBinary(std::wstring const& nameInPackage)
    : IPackageFile(nameInPackage), m_file(kFileBufferSize)
{
}

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

// The records were written to the file while the model's XML was printed;
// the model part comes first in the package, so they are complete now. They
// go through the writer's stream like the XML parts, deflated beside the
// copying: handing the file to the archive to compress on its own would
// make a binary write slower than the XML it replaces.
void PackageFileBinary::_OnWrite(PackageWriteContext* context,
                                 std::shared_ptr<OndSDK::Common::IProgressDelegate>)
{
    if (!m_file.Close())
    {
        throw MZipArchiveError::MGeneric(L"Failed to write the binary part", m_temporaryPath);
    }
    std::unique_ptr<std::FILE, FileCloser> file(
        std::fopen(StringConversion::ConvertNativeToUTF8(m_temporaryPath).c_str(), "rb"));
    if (!file)
    {
        throw MZipArchiveError::MGeneric(L"Failed to open the binary part", m_temporaryPath);
    }
    std::unique_ptr<std::ostream> stream(context->m_packageWrite->CreatePartOutputStream(*this));
    std::vector<char> block(kFileBufferSize);
    std::size_t got;
    while ((got = std::fread(block.data(), 1, block.size(), file.get())) > 0)
    {
        stream->write(block.data(), static_cast<std::streamsize>(got));
    }
    stream->flush();
    if (std::ferror(file.get()) || !*stream)
    {
        throw MZipArchiveError::MGeneric(L"Failed to write the binary part", GetFileNameInPackage());
    }
}
} // namespace Format_3MF
