#include "zip/ZipWriter.h"

#include "common/StringConversion.h"
#include "zip/MZipArchiveError.h"

#include <minizip/zip.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace FileIO::Zip
{
namespace
{
// General purpose bit 11: names and comments are UTF-8.
constexpr uLong kLanguageEncodingFlag = 1u << 11;
// Made on Unix by a writer of format 6.3, the first with the flag above; the
// high half of the external attributes is then the Unix mode.
constexpr uLong kVersionMadeBy = (3u << 8) | 63u;
constexpr uLong kRegularFileMode = 0100644u;
constexpr std::uint64_t kZip32Limit = 0xFFFFFFFEu;
constexpr std::size_t kCopyBlock = 1u << 16;

zipFile Handle(void* handle)
{
    return static_cast<zipFile>(handle);
}

std::string NameInArchive(std::string name)
{
    std::replace(name.begin(), name.end(), '\\', '/');
    return name;
}

zip_fileinfo FileInfo(std::time_t modified)
{
    zip_fileinfo info{};
    std::tm local{};
    localtime_r(&modified, &local);
    info.tmz_date.tm_sec = static_cast<uInt>(local.tm_sec);
    info.tmz_date.tm_min = static_cast<uInt>(local.tm_min);
    info.tmz_date.tm_hour = static_cast<uInt>(local.tm_hour);
    info.tmz_date.tm_mday = static_cast<uInt>(local.tm_mday);
    info.tmz_date.tm_mon = static_cast<uInt>(local.tm_mon);
    info.tmz_date.tm_year = static_cast<uInt>(local.tm_year + 1900);
    info.external_fa = kRegularFileMode << 16;
    return info;
}

struct FileCloser
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};
} // namespace

std::unique_ptr<ZipWriter> ZipWriter::Create(std::wstring const& path, bool zip64)
{
    std::string const narrow = StringConversion::ConvertNativeToUTF8(path);
    zipFile handle = zipOpen64(narrow.c_str(), APPEND_STATUS_CREATE);
    if (handle == nullptr)
    {
        return nullptr;
    }
    return std::unique_ptr<ZipWriter>(new ZipWriter(handle, path, zip64));
}

ZipWriter::ZipWriter(void* handle, std::wstring path, bool zip64)
    : m_handle(handle), m_path(std::move(path)), m_zip64(zip64)
{
}

ZipWriter::~ZipWriter()
{
    AbandonRawEntry();
    Close();
}

std::uint64_t ZipWriter::MaxEntrySize() const
{
    return m_zip64 ? UINT64_MAX : kZip32Limit;
}

bool ZipWriter::OpenEntry(std::string const& name, std::int64_t modified, int level, bool raw)
{
    zip_fileinfo const info = FileInfo(static_cast<std::time_t>(modified));
    int const method = level == 0 ? 0 : Z_DEFLATED;
    int const result = zipOpenNewFileInZip4_64(Handle(m_handle), NameInArchive(name).c_str(), &info, nullptr,
                                               0, nullptr, 0, nullptr, method, level, raw ? 1 : 0, -MAX_WBITS,
                                               DEF_MEM_LEVEL, Z_DEFAULT_STRATEGY, nullptr, 0, kVersionMadeBy,
                                               kLanguageEncodingFlag, m_zip64 ? 1 : 0);
    return result == ZIP_OK;
}

bool ZipWriter::AddFile(std::wstring const& diskPath, std::string const& name, int level)
{
    if (m_handle == nullptr || m_entryOpen || m_damaged || level < Z_DEFAULT_COMPRESSION ||
        level > Z_BEST_COMPRESSION)
    {
        return false;
    }
    std::string const narrowPath = StringConversion::ConvertNativeToUTF8(diskPath);
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(narrowPath.c_str(), "rb"));
    struct stat status
    {
    };
    if (!file || fstat(fileno(file.get()), &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::uint64_t>(status.st_size) > MaxEntrySize())
    {
        return false;
    }
    if (!OpenEntry(name, status.st_mtime, level, false))
    {
        m_damaged = true;
        return false;
    }
    std::vector<char> block(kCopyBlock);
    bool good = true;
    std::size_t got;
    while (good && (got = std::fread(block.data(), 1, block.size(), file.get())) > 0)
    {
        good = zipWriteInFileInZip(Handle(m_handle), block.data(), static_cast<unsigned>(got)) == ZIP_OK;
    }
    good = good && !std::ferror(file.get());
    good = zipCloseFileInZip(Handle(m_handle)) == ZIP_OK && good;
    // A file that grew while it was read may have passed the 32-bit limit.
    good = good && static_cast<std::uint64_t>(std::ftell(file.get())) <= MaxEntrySize();
    m_damaged = !good;
    return good;
}

void ZipWriter::Fail(wchar_t const* message)
{
    AbandonRawEntry();
    throw MZipArchiveError::MGeneric(message, m_path);
}

void ZipWriter::BeginRawEntry(std::string const& name)
{
    if (m_handle == nullptr)
    {
        throw MZipArchiveError::MGeneric(L"The archive is not open for writing", m_path);
    }
    if (name.empty())
    {
        throw MZipArchiveError::MGeneric(L"An entry needs a name", m_path);
    }
    if (m_entryOpen)
    {
        throw MZipArchiveError::MGeneric(L"Another entry of the archive is still open",
                                         StringConversion::ConvertMultiByteStringToOndString(name));
    }
    if (m_damaged)
    {
        throw MZipArchiveError::MGeneric(L"The archive was damaged by an earlier write failure", m_path);
    }
    if (!OpenEntry(name, std::time(nullptr), Z_DEFAULT_COMPRESSION, true))
    {
        m_damaged = true;
        throw MZipArchiveError::MGeneric(L"Failed to add an entry to the archive",
                                         StringConversion::ConvertMultiByteStringToOndString(name));
    }
    m_entryOpen = true;
    m_rawSize = 0;
}

void ZipWriter::WriteRaw(unsigned char const* data, std::size_t size)
{
    m_rawSize += size;
    if (m_rawSize > MaxEntrySize())
    {
        Fail(L"The entry is too large for a 32-bit archive");
    }
    if (zipWriteInFileInZip(Handle(m_handle), data, static_cast<unsigned>(size)) != ZIP_OK)
    {
        Fail(L"Failed to write to the archive");
    }
}

void ZipWriter::EndRawEntry(std::uint64_t uncompressedSize, std::uint32_t crc)
{
    m_entryOpen = false;
    if (zipCloseFileInZipRaw64(Handle(m_handle), uncompressedSize, crc) != ZIP_OK)
    {
        m_damaged = true;
        throw MZipArchiveError::MGeneric(L"Failed to write to the archive", m_path);
    }
}

void ZipWriter::AbandonRawEntry() noexcept
{
    if (m_entryOpen)
    {
        m_entryOpen = false;
        m_damaged = true;
        zipCloseFileInZipRaw64(Handle(m_handle), 0, 0);
    }
}

bool ZipWriter::Close()
{
    if (m_handle == nullptr)
    {
        return false;
    }
    AbandonRawEntry();
    bool const closed = zipClose(Handle(m_handle), nullptr) == ZIP_OK;
    m_handle = nullptr;
    return closed && !m_damaged;
}
} // namespace FileIO::Zip
