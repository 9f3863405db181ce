// Reading a package from an archive: root model, relationships, parts and
// custom files, with failures kept in the context.
#include "format3mf/PackageRead.h"

#include "format3mf/ArchivedCustomFile.h"
#include "format3mf/Exception.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Package.h"
#include "foundation/PartNames.h"
#include "foundation/TemporaryFiles.h"

#include "common/IncrementalProgressReporter.h"
#include "common/StringConversion.h"
#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"
#include "zip/ReadBufferFromZip.h"
#include "zip/ReadBufferStream.h"

#include <boost/filesystem/operations.hpp>

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Format_3MF
{
namespace
{
// Why the file can't be read as an archive, in the system's words ("No such
// file or directory", "Is a directory", "Permission denied"); empty when it
// can.
std::wstring UnreadableFileCause(std::wstring const& fileName)
{
    std::string const path = StringConversion::ConvertNativeToFileName(fileName);
    int const descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    int error = descriptor < 0 ? errno : 0;
    struct stat status = {};
    if (descriptor >= 0)
    {
        if (::fstat(descriptor, &status) != 0)
        {
            error = errno;
        }
        else if (S_ISDIR(status.st_mode))
        {
            error = EISDIR;
        }
        ::close(descriptor);
    }
    if (error == 0)
    {
        return std::wstring();
    }
    return StringConversion::ConvertMultiByteStringToOndString(
        std::error_code(error, std::generic_category()).message());
}

// The narrow name of a part in the archive, without its leading slash.
std::string ArchiveName(std::wstring const& nameInPackage)
{
    std::string name = ToPath(WithForwardSlashes(nameInPackage)).string();
    if (!name.empty() && name.front() == '/')
    {
        name.erase(0, 1);
    }
    return name;
}

// An archive failure as the user reads it: what went wrong, and with which
// entry or file.
std::wstring Describe(MZipArchiveError::MGeneric const& error)
{
    if (error.GetDetail().empty())
    {
        return error.GetMessage();
    }
    return error.GetMessage() + L": " + error.GetDetail();
}

// A mandatory part that fails is an error of the read, with status 2; one that
// isn't mandatory is passed over with a warning.
void NoteArchiveFailure(PackageReadContext& context, MZipArchiveError::MGeneric const& error, bool mandatory)
{
    if (mandatory)
    {
        context.m_status = 2;
        context.m_errors.push_back(Describe(error));
    }
    else
    {
        context.m_warnings.push_back(Describe(error));
    }
}
} // namespace

PackageRead::PackageRead(Package* package, PackageReadOptions const& options)
    : m_package(package), m_context(options)
{
}

PackageRead::~PackageRead()
{
    delete m_context.m_progress;
}

ThumbnailExternalFile const* PackageRead::GetThumbnail() const
{
    return m_package->GetThumbnail();
}

std::wstring PackageRead::_TemporaryPathFor(std::wstring const& nameInPackage) const
{
    return NewTemporaryPath(nameInPackage);
}

bool PackageRead::Read(std::wstring const& fileName,
                       std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
{
    std::wstring const unreadable = UnreadableFileCause(fileName);
    if (!unreadable.empty())
    {
        m_context.m_errors.push_back(L"Could not read " + fileName + L": " + unreadable);
        return false;
    }
    bool result = false;
    try
    {
        m_fileName = fileName;
        std::uint64_t const size = boost::filesystem::file_size(ToPath(fileName));
        delete m_context.m_progress;
        m_context.m_progress = nullptr;
        m_context.m_progress = new OndSDK::Common::IncrementalProgressReporter(
            progress, "OndSDK.AM.3mf.PackageRead", size, true);
        m_context.m_package = m_package;
        m_context.m_packageRead = this;
        m_package->_OnStartReading(&m_context);
        m_archive = std::make_unique<MZipArchive>(false);
        if (!m_archive->OpenArchiveRead(m_fileName.c_str()))
        {
            throw Exception(L"Could not open 3mf archive: " + m_archive->GetOpenError());
        }
        if (!_ReadPackageFile(&m_package->GetContent(), true) ||
            !_ReadPackageFile(&m_package->GetRelsFile(), true))
        {
            return false;
        }
        ModelFile* const rootModel = m_package->GetRootModel();
        if (rootModel == nullptr)
        {
            if (!_ReadWithoutRootModel(m_package->GetRelsFile()))
            {
                return false;
            }
            result = true;
        }
        else
        {
            if (m_package->GetRelsFile().GetRelations().empty())
            {
                m_context.m_status = 1;
                throw Exception(L"Root model not found");
            }
            rootModel->SetFileNameInPackage(_FindRootModelName());
            if (_ReadPackageFile(rootModel, true))
            {
                for (Relationship const& relationship : m_package->GetRelsFile().GetRelations())
                {
                    if (relationship.m_type == RelationshipThumbnail)
                    {
                        auto thumbnail = std::make_unique<ThumbnailExternalFile>(relationship.m_target, L"");
                        // Kept by the package, but not listed among its files.
                        m_package->m_thumbnail = std::move(thumbnail);
                        _ReadPackageFile(m_package->m_thumbnail.get(), true);
                        break;
                    }
                }
                for (Relationship const& relationship : m_package->GetRelsFile().GetRelations())
                {
                    _AddRelatedCustomFile(relationship);
                }
                result = true;
                // Files added while reading are read too: the length is asked anew.
                for (std::size_t i = 0; i < m_package->GetPackageFiles().size(); ++i)
                {
                    IPackageFile* const file = m_package->GetPackageFiles()[i];
                    if (file->GetFileNameInPackage().empty() || file == &m_package->GetContent() ||
                        file == &m_package->GetRelsFile() || file == rootModel)
                    {
                        continue;
                    }
                    if (!_ReadPackageFile(file, true))
                    {
                        return false;
                    }
                }
            }
        }
        m_package->_OnStopReading(&m_context);
        return result;
    }
    catch (Exception const& error)
    {
        m_context.m_errors.push_back(error.m_message);
        return false;
    }
    catch (Canceled const&)
    {
        return false;
    }
}

std::wstring PackageRead::_FindRootModelName() const
{
    std::vector<Relationship> const& relations = m_package->GetRelsFile().GetRelations();
    for (Relationship const& relationship : relations)
    {
        if (ToPath(WithForwardSlashes(relationship.m_target)).extension() == ".model")
        {
            return relationship.m_target;
        }
    }
    return relations.empty() ? std::wstring() : relations.front().m_target;
}

bool PackageRead::_ReadPackageFile(IPackageFile* file, bool mandatory)
{
    if (!file->CanStreamRead())
    {
        std::wstring const path = _TemporaryPathFor(file->GetFileNameInPackage());
        try
        {
            m_archive->ExtractFile(ArchiveName(file->GetFileNameInPackage()).c_str(), path.c_str(), nullptr);
        }
        catch (MZipArchiveError::MGeneric const& error)
        {
            NoteArchiveFailure(m_context, error, mandatory);
            if (mandatory)
            {
                return false;
            }
        }
        file->m_fileNameUnpacked = path;
        m_extractedFiles.push_back(path);
    }
    try
    {
        file->Read(&m_context);
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        NoteArchiveFailure(m_context, error, mandatory);
        return false;
    }
    if (!file->m_fileNameUnpacked.empty() && !file->KeepFileAfterReading() &&
        !file->FileIsPredefined(nullptr))
    {
        boost::system::error_code error;
        boost::filesystem::remove(ToPath(file->m_fileNameUnpacked), error);
        file->m_fileNameUnpacked.clear();
    }
    return true;
}

void PackageRead::_AddRelatedCustomFile(Relationship const& relationship)
{
    if (relationship.m_type == RelationshipTexture || relationship.m_type == RelationshipModel ||
        relationship.m_type == RelationshipThumbnail || relationship.m_type == RelationshipToolPathBinary)
    {
        return;
    }
    Content::Element const element = m_package->GetContent().GetElement(relationship.m_target);
    if (element.m_contentType.empty())
    {
        return;
    }
    // A part that is listed already is not taken twice: many relationships to
    // one part would otherwise extract it as often and write it as often.
    if (m_package->GetPackageFile(relationship.m_target) != nullptr)
    {
        return;
    }
    // A model's binary part is read by its meshes straight from the archive:
    // a copy of it is made only for a caller that asks for one.
    std::shared_ptr<CustomFile> file =
        relationship.m_type == RelationshipBinaryModelFile
            ? std::make_shared<ArchivedCustomFile>(relationship.m_target, m_fileName)
            : std::make_shared<CustomFile>(relationship.m_target, L"", nullptr);
    file->SetContentInfo(element.m_contentType, element.m_extension);
    file->SetRelationInfo(relationship.m_type);
    m_package->AddCustomFile(std::move(file), false, nullptr);
}

namespace
{
// The bytes of a stream that a part makes itself, which it owns.
class OwnStreamReadBuffer final : public IReadBuffer
{
public:
    explicit OwnStreamReadBuffer(std::istream* stream) : m_stream(stream) {}

    std::size_t Read(char* data, std::size_t size) override
    {
        if (!*m_stream)
        {
            return 0;
        }
        m_stream->read(data, static_cast<std::streamsize>(size));
        return static_cast<std::size_t>(m_stream->gcount());
    }

private:
    std::unique_ptr<std::istream> m_stream;
};
} // namespace

std::unique_ptr<IReadBuffer> PackageRead::CreatePartReadBuffer(IPackageFile const* part)
{
    MZipArchive::MZipFileInfo info;
    if (!m_archive->GetFileInfo(ArchiveName(part->GetFileNameInPackage()).c_str(), info))
    {
        return nullptr;
    }
    if (std::istream* own = part->CreateInputStream(&m_context))
    {
        return std::make_unique<OwnStreamReadBuffer>(own);
    }
    std::wstring const name = WithForwardSlashes(part->GetFileNameInPackageWithoutLeadingSlash());
    return std::make_unique<ReadBufferFromZip>(m_archive.get(), name.c_str());
}

std::istream* PackageRead::CreatePartInputStream(IPackageFile const* part)
{
    MZipArchive::MZipFileInfo info;
    if (!m_archive->GetFileInfo(ArchiveName(part->GetFileNameInPackage()).c_str(), info))
    {
        return nullptr;
    }
    if (std::istream* own = part->CreateInputStream(&m_context))
    {
        return own;
    }
    std::wstring const name = WithForwardSlashes(part->GetFileNameInPackageWithoutLeadingSlash());
    return new ReadBufferStream(new ReadBufferFromZip(m_archive.get(), name.c_str()));
}

bool PackageRead::ExtractPackageFile(std::wstring const& nameInPackage, bool mandatory,
                                     std::wstring const& targetPath)
{
    MZipArchive archive(false);
    if (!archive.OpenArchiveRead(m_fileName.c_str()))
    {
        throw Exception(L"Could not open 3mf archive: " + archive.GetOpenError());
    }
    try
    {
        archive.ExtractFile(ArchiveName(nameInPackage).c_str(), targetPath.c_str(), nullptr);
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        NoteArchiveFailure(m_context, error, mandatory);
        if (mandatory)
        {
            return false;
        }
    }
    return true;
}

namespace
{
// An entry's bytes together with the archive object they come through.
class OwnArchiveReadBuffer final : public IReadBuffer
{
public:
    OwnArchiveReadBuffer(std::wstring const& archivePath, std::wstring const& name, std::uint64_t& size)
        : m_archive(false)
    {
        if (!m_archive.OpenArchiveRead(archivePath.c_str()))
        {
            throw Exception(L"Could not open 3mf archive: " + m_archive.GetOpenError());
        }
        // The buffer refuses a missing entry, naming it.
        m_buffer = std::make_unique<ReadBufferFromZip>(&m_archive, name.c_str());
        MZipArchive::MZipFileInfo info;
        m_archive.GetFileInfo(StringConversion::ConvertNativeToUTF8(name).c_str(), info);
        size = info.m_uncompressedSize;
    }

    std::size_t Read(char* data, std::size_t size) override { return m_buffer->Read(data, size); }

private:
    MZipArchive m_archive;
    // Declared after the archive: it goes first.
    std::unique_ptr<ReadBufferFromZip> m_buffer;
};
} // namespace

std::unique_ptr<IReadBuffer> PackageRead::OpenPackageFile(std::wstring const& nameInPackage, bool mandatory,
                                                          std::uint64_t& size)
{
    try
    {
        return std::make_unique<OwnArchiveReadBuffer>(
            m_fileName, StringConversion::ConvertMultiByteStringToOndString(ArchiveName(nameInPackage)),
            size);
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        NoteArchiveFailure(m_context, error, mandatory);
        return nullptr;
    }
}

bool PackageRead::ExtractPackageFile(PackageFile const& file, bool mandatory, std::wstring const& targetPath)
{
    return ExtractPackageFile(file.GetFileNameInPackage(), mandatory, targetPath);
}

bool PackageRead::_ReadWithoutRootModel(RelsFile& rels)
{
    // Relationships may be added while walking: index, not iterators.
    for (std::size_t i = 0; i < rels.GetRelations().size(); ++i)
    {
        Relationship const relationship = rels.GetRelations()[i];
        if (!_ReadRelatedWithoutRootModel(rels, relationship))
        {
            return false;
        }
    }
    return true;
}

bool PackageRead::_ReadRelatedWithoutRootModel(RelsFile& rels, Relationship const& relationship)
{
    std::wstring const name = rels.GetPackagefile(relationship).GetFileNameInPackage();
    Content::Element const element = m_package->GetContent().GetElement(name);
    if (element.m_contentType.empty())
    {
        return false;
    }
    if (m_package->GetPackageFile(name) != nullptr)
    {
        return true; // also what ends a cycle of relationships
    }
    std::wstring const path = _TemporaryPathFor(name);
    if (!ExtractPackageFile(name, true, path))
    {
        return false;
    }
    auto file = std::make_shared<CustomFile>(name, path, nullptr);
    file->SetOwnerShip(true);
    file->SetRelationInfo(relationship.m_type);
    file->SetContentInfo(element.m_contentType, element.m_extension);
    file->m_fileNameUnpacked = path;
    CustomFile* const custom = file.get();
    m_package->AddCustomFile(std::move(file), false, nullptr);

    RelsFile& ownRels = custom->GetRelsFile();
    std::wstring const probe = _TemporaryPathFor(name);
    if (!ExtractPackageFile(ownRels.GetFileNameInPackage(), true, probe))
    {
        return true; // the archive failure's status 2 stays behind
    }
    boost::system::error_code error;
    boost::filesystem::remove(ToPath(probe), error);
    m_package->AddPackageFile(&ownRels, false, nullptr);
    ownRels.Read(&m_context);
    _ReadWithoutRootModel(ownRels);
    return true;
}

void PackageRead::GetContentTypes(std::vector<std::wstring>& types)
{
    m_package->GetContentTypes(types);
}

void PackageRead::GetAllModelFileNamespaces(std::vector<std::wstring>& namespaces)
{
    m_package->GetAllModelFileNamespaces(namespaces);
}

void PackageRead::GetAllRelationTypes(std::vector<std::wstring>& types)
{
    m_package->GetAllRelationTypes(types);
}
} // namespace Format_3MF
