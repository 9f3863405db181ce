// Writing a package into an archive part by part, removing what a failed write
// left behind.
#include "format3mf/PackageWrite.h"

#include "format3mf/Package.h"
#include "foundation/PartNames.h"
#include "foundation/TemporaryFiles.h"

#include "common/BranchingProgressReporter.h"
#include "common/SafeFileWrite.h"
#include "common/StringConversion.h"
#include "zip/AsyncWriteBufferStream.h"
#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"
#include "zip/WriteBufferStream.h"
#include "zip/WriteBufferToZip.h"
#include "zip/Zip64Writer.h"

#include <boost/filesystem/operations.hpp>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace Format_3MF
{
namespace
{
void RemoveIfExists(std::wstring const& path)
{
    boost::system::error_code error;
    boost::filesystem::remove(ToPath(path), error);
}

// Why a file on disk can't be added, in the system's words.
std::wstring DiskFileProblem(std::wstring const& path)
{
    boost::system::error_code error;
    boost::filesystem::file_status const status = boost::filesystem::status(ToPath(path), error);
    if (error)
    {
        return StringConversion::ConvertMultiByteStringToOndString(
            std::error_code(error.value(), std::generic_category()).message());
    }
    if (status.type() == boost::filesystem::directory_file)
    {
        return StringConversion::ConvertMultiByteStringToOndString(
            std::error_code(EISDIR, std::generic_category()).message());
    }
    return L"it could not be read whole";
}
} // namespace

PackageWrite::PackageWrite(Package* package, PackageWriteOptions const& options)
    : m_package(package), m_context(options)
{
}

PackageWrite::~PackageWrite()
{
    _CloseArchive();
}

void PackageWrite::AddThumbnail(std::unique_ptr<ThumbnailExternalFile> thumbnail)
{
    m_package->SetThumbnail(thumbnail, true);
}

void PackageWrite::_OnStartWriting(PackageWriteContext* context)
{
    m_package->_OnStartWriting(context);
    if (m_package->GetThumbnail() == nullptr && !context->Thumbnails.m_path.empty())
    {
        auto thumbnail = std::make_unique<ThumbnailExternalFile>(context->Thumbnails.m_path);
        m_package->SetThumbnail(thumbnail, true);
    }
}

bool PackageWrite::Write(std::wstring const& fileName,
                         std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
{
    m_context.m_package = m_package;
    m_context.m_packageWrite = this;
    m_fileName = fileName;
    OndSDK::Common::BranchingProgressReporter reporter(progress, "Format_3MF::PackageWrite::Write", true);
    // Whatever stops the write, the archive is given up unwritten: a part
    // cut short never reaches the target, and the target stays as it was.
    try
    {
        _OnStartWriting(&m_context);
        try
        {
            m_target = std::make_unique<format3mf::SafeFileWrite>(
                StringConversion::ConvertNativeToFileName(m_fileName));
        }
        catch (format3mf::FileWriteError const& error)
        {
            _Fail(StringConversion::ConvertMultiByteStringToOndString(error.Cause()));
        }
        std::wstring const temporary = StringConversion::ConvertFileNameToNative(m_target->TemporaryPath());
        if (m_context.Package.m_useZip64)
        {
            m_zip64Writer = std::make_unique<FileIO::Zip::Zip64Writer>();
            if (!m_zip64Writer->OpenArchive(temporary.c_str()))
            {
                m_zip64Writer.reset();
                _Fail(L"Failed to open archive");
            }
        }
        else
        {
            m_zipArchive = std::make_unique<MZipArchive>(false);
            if (!m_zipArchive->OpenArchiveWrite(temporary.c_str()))
            {
                m_zipArchive.reset();
                _Fail(L"Failed to open archive");
            }
        }
        _CreateFiles(reporter.CreateNestedDelegate(1.0));
        if (reporter.IsCancelled())
        {
            throw Canceled();
        }
        _FinishArchive();
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        _CloseArchive();
        // A failure inside a part (its entry, its spool) names the part; the
        // caller also learns which file could not be written.
        std::wstring const prefix = L"Could not write " + m_fileName;
        if (error.GetMessage() == prefix)
        {
            throw;
        }
        _Fail(error.GetDetail().empty() ? error.GetMessage()
                                        : error.GetMessage() + L": " + error.GetDetail());
    }
    catch (...)
    {
        _CloseArchive();
        throw;
    }
    m_package->_OnStopWriting(&m_context);
    return true;
}

void PackageWrite::_FinishArchive()
{
    for (WriteFile const& record : m_writeFiles)
    {
        if (record.m_diskPath.empty())
        {
            continue;
        }
        bool const added =
            m_zipArchive
                ? m_zipArchive->AddFile(record.m_diskPath.c_str(), record.m_nameInArchive.c_str(), -1,
                                        nullptr)
                : m_zip64Writer->AddFile(
                      record.m_diskPath.c_str(),
                      StringConversion::ConvertNativeToUTF8(record.m_nameInArchive).c_str(), 6, nullptr);
        if (!added)
        {
            // The relationships name the part already: an archive without
            // it would be a broken package.
            _Fail(L"the part /" + record.m_nameInArchive + L" could not be read from " + record.m_diskPath +
                  L" (" + DiskFileProblem(record.m_diskPath) + L")");
        }
    }
    bool const closed = m_zipArchive ? m_zipArchive->CloseArchive() : m_zip64Writer->CloseArchive();
    std::string const cause = m_zipArchive ? m_zipArchive->GetWriteError() : m_zip64Writer->GetWriteError();
    m_zipArchive.reset();
    m_zip64Writer.reset();
    if (!closed)
    {
        _Fail(StringConversion::ConvertUTF8ToNative(cause.data(), cause.size()));
    }
    try
    {
        m_target->Commit();
    }
    catch (format3mf::FileWriteError const& error)
    {
        _Fail(StringConversion::ConvertMultiByteStringToOndString(error.Cause()));
    }
    m_target.reset();
}

void PackageWrite::_Fail(std::wstring const& cause)
{
    throw MZipArchiveError::MGeneric(L"Could not write " + m_fileName, cause);
}

void PackageWrite::_CreateFiles(std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
{
    for (IPackageFile* file : m_package->GetPackageFiles())
    {
        WriteFile record{WithForwardSlashes(file->GetFileNameInPackageWithoutLeadingSlash()), L"", file};
        std::wstring path;
        if (file->FileIsPredefined(&path) || !path.empty())
        {
            record.m_diskPath = path;
        }
        else if (!file->CanStreamWrite())
        {
            path = NewTemporaryPath(file->GetFileNameInPackage());
            file->m_fileNameUnpacked = path;
            record.m_diskPath = path;
        }
        m_writeFiles.push_back(record);
    }

    std::vector<double> weights;
    double sum = 0.0;
    for (WriteFile const& record : m_writeFiles)
    {
        weights.push_back(record.m_file->GetWriteProgressWeight());
        sum += weights.back();
    }
    if (sum != 0.0)
    {
        for (double& weight : weights)
        {
            weight /= sum;
        }
    }

    OndSDK::Common::BranchingProgressReporter reporter(progress, "Format_3MF::PackageWrite::_CreateFiles",
                                                       true);
    for (std::size_t i = 0; i < m_writeFiles.size(); ++i)
    {
        if (reporter.IsCancelled())
        {
            break;
        }
        std::shared_ptr<OndSDK::Common::IProgressDelegate> nested = reporter.CreateNestedDelegate(weights[i]);
        if (!m_writeFiles[i].m_file->FileIsPredefined(nullptr))
        {
            m_writeFiles[i].m_file->Write(&m_context, nested);
        }
    }
}

std::ostream* PackageWrite::CreatePartOutputStream(PackageFile const& file)
{
    std::string const name = StringConversion::ConvertNativeToUTF8(
        WithForwardSlashes(file.GetFileNameInPackageWithoutLeadingSlash()));
    std::unique_ptr<IWriteBuffer> buffer;
    if (m_zipArchive)
    {
        buffer = std::make_unique<WriteBufferToZip32>(m_zipArchive.get(), name.c_str());
    }
    else if (m_zip64Writer)
    {
        buffer = std::make_unique<WriteBufferToZip64>(m_zip64Writer.get(), name.c_str());
    }
    else
    {
        throw std::logic_error("Unspecified target archive.");
    }
    if (std::thread::hardware_concurrency() < 2)
    {
        return new WriteBufferStream(buffer.release());
    }
    return CreateAsyncWriteBufferStream(std::move(buffer)).release();
}

void PackageWrite::AddPreparedPart(PackageFile const& file, format3mf::archive::PreparedEntry& entry)
{
    std::string const name = StringConversion::ConvertNativeToUTF8(
        WithForwardSlashes(file.GetFileNameInPackageWithoutLeadingSlash()));
    if (m_zipArchive)
    {
        m_zipArchive->AddPreparedEntry(name.c_str(), entry);
    }
    else if (m_zip64Writer)
    {
        m_zip64Writer->AddPreparedEntry(name.c_str(), entry);
    }
    else
    {
        throw std::logic_error("Unspecified target archive.");
    }
}

void PackageWrite::_CloseArchive()
{
    for (WriteFile const& record : m_writeFiles)
    {
        if (!record.m_diskPath.empty() && !record.m_file->FileIsPredefined(nullptr))
        {
            RemoveIfExists(record.m_diskPath);
        }
    }
    // An archive still open here was not finished: it is given up unwritten,
    // and so is the file that was to take the target's place.
    if (m_zipArchive)
    {
        m_zipArchive->DiscardArchive();
        m_zipArchive.reset();
    }
    if (m_zip64Writer)
    {
        m_zip64Writer->DiscardArchive();
        m_zip64Writer.reset();
    }
    m_target.reset();
    m_writeFiles.clear();
}
} // namespace Format_3MF
