// Writing archives with libzip: entries are compressed by ISA-L into the
// spool as they are written and handed to libzip as finished data.
#include "zip/ZipWriter.h"

#include "common/StringConversion.h"
#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"
#include "zip/PreparedEntry.h"
#include "zip/ZipArchiveSink.h"
#include "zip/ZipDeflater.h"
#include "zip/ZipSpool.h"

#include <isa-l/crc.h>
#include <zip.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <vector>

namespace format3mf::archive
{
namespace
{
constexpr std::uint64_t kZip32Limit = 0xFFFFFFFEu;
constexpr std::uint64_t kZip32Entries = 0xFFFEu;
// The headers libzip writes for an entry: the fixed part, the name, and room
// for extra fields such as a second copy of a UTF-8 name.
constexpr std::uint64_t kLocalHeader = 30 + 64;
constexpr std::uint64_t kDirectoryHeader = 46 + 64;
constexpr std::uint64_t kEndRecord = 22;
constexpr zip_uint32_t kRegularFileMode = 0100644u;
constexpr std::size_t kCopyBlock = 1u << 18;

std::string NameInArchive(std::string name)
{
    std::replace(name.begin(), name.end(), '\\', '/');
    return name;
}

// What the system says of errno, as the user reads it.
std::string SystemCause(int errorNumber)
{
    return std::error_code(errorNumber, std::generic_category()).message();
}

// zlib's levels on ISA-L's three.
int IsalLevel(int zlibLevel)
{
    if (zlibLevel >= 1 && zlibLevel <= 3)
    {
        return 1;
    }
    return zlibLevel >= 7 ? 3 : 2;
}

std::string FolderOf(std::string const& path)
{
    std::size_t const slash = path.rfind('/');
    if (slash == std::string::npos)
    {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

struct FileCloser
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};
} // namespace

std::unique_ptr<ZipWriter> ZipWriter::Create(std::wstring const& path, bool zip64)
{
    std::string const narrow = StringConversion::ConvertNativeToFileName(path);
    zip_source_t* const sink = CreateArchiveSink(narrow);
    if (sink == nullptr)
    {
        return nullptr;
    }
    zip_error_t error;
    zip_error_init(&error);
    zip_t* const archive = zip_open_from_source(sink, ZIP_CREATE | ZIP_TRUNCATE, &error);
    zip_error_fini(&error);
    if (archive == nullptr)
    {
        zip_source_free(sink);
        unlink(narrow.c_str());
        return nullptr;
    }
    return std::unique_ptr<ZipWriter>(new ZipWriter(archive, path, narrow, zip64));
}

ZipWriter::ZipWriter(zip* archive, std::wstring path, std::string narrowPath, bool zip64)
    : m_archive(archive), m_path(std::move(path)), m_narrowPath(std::move(narrowPath)), m_zip64(zip64)
{
}

ZipWriter::~ZipWriter()
{
    Close();
}

std::uint64_t ZipWriter::MaxEntrySize() const
{
    return m_zip64 ? UINT64_MAX : kZip32Limit;
}

// The size of a 32-bit archive that closes after the open entry, with
// entryBytes of data in it.
std::uint64_t ZipWriter::Zip32Need(std::uint64_t entryBytes) const
{
    std::uint64_t const name = 2 * m_entryName.size();
    return m_localBytes + kLocalHeader + name + entryBytes + m_directoryBytes + kDirectoryHeader + name +
           kEndRecord;
}

void ZipWriter::Fail(std::wstring const& message)
{
    std::wstring const name = StringConversion::ConvertMultiByteStringToOndString(m_entryName);
    AbandonRawEntry();
    if (m_failure.empty())
    {
        m_failure = StringConversion::ConvertNativeToUTF8(message + L": " + name);
    }
    throw MZipArchiveError::MGeneric(message, name);
}

void ZipWriter::BeginRawEntry(std::string const& name)
{
    BeginEntry(name, false);
}

void ZipWriter::BeginEntry(std::string const& name, bool stored, bool spooled)
{
    if (m_archive == nullptr)
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
        throw MZipArchiveError::MGeneric(L"The archive was damaged by an earlier write failure",
                                         StringConversion::ConvertMultiByteStringToOndString(m_failure));
    }
    std::string const inArchive = NameInArchive(name);
    if (zip_name_locate(m_archive, inArchive.c_str(), ZIP_FL_ENC_RAW) >= 0)
    {
        throw MZipArchiveError::MGeneric(L"The archive holds an entry of this name already",
                                         StringConversion::ConvertMultiByteStringToOndString(name));
    }
    if (!m_zip64 && m_entries >= kZip32Entries)
    {
        throw MZipArchiveError::MGeneric(L"Too many entries for a 32-bit archive",
                                         StringConversion::ConvertMultiByteStringToOndString(name));
    }
    // Entries whose data lies elsewhere (prepared, copied) need no spool.
    if (spooled && !m_spool)
    {
        m_spool = ZipSpool::Create(FolderOf(m_narrowPath));
        if (!m_spool)
        {
            throw MZipArchiveError::MGeneric(
                L"Failed to make a temporary file beside the archive",
                StringConversion::ConvertMultiByteStringToOndString(SystemCause(errno)));
        }
    }
    m_entryOpen = true;
    m_entryName = inArchive;
    m_entryStored = stored;
    m_entryStart = spooled ? m_spool->Size() : 0;
    if (!m_zip64 && Zip32Need(0) > kZip32Limit)
    {
        Fail(L"The archive is too large for a 32-bit archive");
    }
}

void ZipWriter::WriteRaw(unsigned char const* data, std::size_t size)
{
    std::uint64_t const entryBytes = m_spool->Size() - m_entryStart + size;
    if (!m_zip64 && Zip32Need(entryBytes) > kZip32Limit)
    {
        Fail(entryBytes > kZip32Limit ? L"The entry is too large for a 32-bit archive"
                                      : L"The archive is too large for a 32-bit archive");
    }
    if (!m_spool->Append(data, size))
    {
        Fail(L"Failed to write the archive (" +
             StringConversion::ConvertMultiByteStringToOndString(SystemCause(errno)) + L")");
    }
}

void ZipWriter::EndRawEntry(std::uint64_t uncompressedSize, std::uint32_t crc)
{
    EndEntry(uncompressedSize, crc, std::time(nullptr));
}

void ZipWriter::EndEntry(std::uint64_t size, std::uint32_t crc, std::time_t modified)
{
    EndEntryFrom(*m_spool, m_entryStart, m_spool->Size() - m_entryStart, size, crc, modified);
}

void ZipWriter::EndEntryFrom(ZipSpool const& spool, std::uint64_t offset, std::uint64_t compressedSize,
                             std::uint64_t size, std::uint32_t crc, std::time_t modified)
{
    SpooledEntry const entry{offset, compressedSize, size, crc, m_entryStored, modified};
    zip_uint64_t const at =
        AddEntrySource(spool.CreateSource(m_archive, entry), L"Failed to add an entry to the archive");
    zip_file_set_external_attributes(m_archive, at, 0, ZIP_OPSYS_UNIX, kRegularFileMode << 16);
    if (m_entryStored)
    {
        zip_set_file_compression(m_archive, at, ZIP_CM_STORE, 0);
    }
    std::uint64_t const name = 2 * m_entryName.size();
    m_localBytes += kLocalHeader + name + entry.m_compressedSize;
    m_directoryBytes += kDirectoryHeader + name;
    ++m_entries;
}

std::uint64_t ZipWriter::AddEntrySource(zip_source* source, wchar_t const* failure)
{
    zip_int64_t const index =
        source != nullptr ? zip_file_add(m_archive, m_entryName.c_str(), source, ZIP_FL_ENC_UTF_8) : -1;
    if (index < 0)
    {
        if (source != nullptr)
        {
            zip_source_free(source);
        }
        Fail(failure);
    }
    m_entryOpen = false;
    return static_cast<std::uint64_t>(index);
}

void ZipWriter::AddPreparedEntry(std::string const& name, PreparedEntry& entry)
{
    BeginEntry(name, false, false);
    std::uint64_t const compressedSize = entry.GetCompressedSize();
    if (!m_zip64 && Zip32Need(compressedSize) > kZip32Limit)
    {
        Fail(compressedSize > kZip32Limit || entry.GetSize() > kZip32Limit
                 ? L"The entry is too large for a 32-bit archive"
                 : L"The archive is too large for a 32-bit archive");
    }
    if (!m_zip64 && entry.GetSize() > kZip32Limit)
    {
        Fail(L"The entry is too large for a 32-bit archive");
    }
    std::unique_ptr<ZipSpool> spool;
    try
    {
        spool = entry.TakeSpool();
    }
    catch (MZipArchiveError::MGeneric const&)
    {
        AbandonRawEntry();
        throw;
    }
    m_preparedSpools.push_back(std::move(spool));
    EndEntryFrom(*m_preparedSpools.back(), 0, compressedSize, entry.GetSize(), entry.GetCrc(),
                 std::time(nullptr));
}

void ZipWriter::AddCopiedEntry(MZipArchive& source, std::string const& name)
{
    auto const found = source.m_entries.find(name);
    if (source.m_reader == nullptr || found == source.m_entries.end())
    {
        throw MZipArchiveError::MGeneric(L"The entry to copy is not in the archive read",
                                         StringConversion::ConvertMultiByteStringToOndString(name));
    }
    MZipArchive::MZipFileInfo const& info = found->second.m_info;
    BeginEntry(name, info.m_method == ZIP_CM_STORE, false);
    if (!m_zip64 && (info.m_uncompressedSize > kZip32Limit || Zip32Need(info.m_compressedSize) > kZip32Limit))
    {
        Fail(L"The archive is too large for a 32-bit archive");
    }
    // With ZIP_FL_COMPRESSED libzip hands the stored bytes on, and zip_close
    // writes them as they are when the entry keeps its method.
    zip_uint64_t const at = AddEntrySource(
        zip_source_zip(m_archive, source.m_reader, found->second.m_index, ZIP_FL_COMPRESSED, 0, -1),
        L"Failed to copy an entry into the archive");
    zip_uint8_t system = ZIP_OPSYS_UNIX;
    zip_uint32_t attributes = kRegularFileMode << 16;
    zip_file_get_external_attributes(source.m_reader, found->second.m_index, 0, &system, &attributes);
    zip_file_set_external_attributes(m_archive, at, 0, system, attributes);
    zip_set_file_compression(m_archive, at, info.m_method, 0);
    std::uint64_t const nameBytes = 2 * m_entryName.size();
    m_localBytes += kLocalHeader + nameBytes + info.m_compressedSize;
    m_directoryBytes += kDirectoryHeader + nameBytes;
    ++m_entries;
}

void ZipWriter::AbandonRawEntry() noexcept
{
    if (m_entryOpen)
    {
        m_entryOpen = false;
        m_damaged = true;
    }
}

bool ZipWriter::AddFile(std::wstring const& diskPath, std::string const& name, int level)
{
    if (m_archive == nullptr || m_entryOpen || m_damaged || level < -1 || level > 9)
    {
        return false;
    }
    std::string const narrowPath = StringConversion::ConvertNativeToFileName(diskPath);
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(narrowPath.c_str(), "rb"));
    struct stat status
    {
    };
    if (!file || fstat(fileno(file.get()), &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::uint64_t>(status.st_size) > MaxEntrySize())
    {
        return false;
    }
    try
    {
        BeginEntry(name, level == 0);
    }
    catch (MZipArchiveError::MGeneric const&)
    {
        return false;
    }
    try
    {
        if (AddFileData(file.get(), level))
        {
            return true;
        }
    }
    catch (MZipArchiveError::MGeneric const&)
    {
    }
    AbandonRawEntry();
    return false;
}

// The file's bytes into the open entry, which it ends; false if the file
// can't be read whole.
bool ZipWriter::AddFileData(std::FILE* file, int level)
{
    std::vector<unsigned char> block(kCopyBlock);
    std::unique_ptr<ZipDeflater> deflater;
    if (level != 0)
    {
        deflater = std::make_unique<ZipDeflater>([this](unsigned char const* data, std::size_t size)
                                                 { WriteRaw(data, size); },
                                                 m_entryName, IsalLevel(level));
    }
    std::uint64_t size = 0;
    std::uint32_t crc = 0;
    while (std::size_t const got = std::fread(block.data(), 1, block.size(), file))
    {
        if (deflater)
        {
            deflater->Deflate(block.data(), got);
        }
        else
        {
            crc = crc32_gzip_refl(crc, block.data(), got);
            size += got;
            WriteRaw(block.data(), got);
        }
    }
    if (std::ferror(file))
    {
        return false;
    }
    if (deflater)
    {
        deflater->Finish();
        size = deflater->GetSize();
        crc = deflater->GetCrc();
    }
    // A file that grew while it was read may have passed the 32-bit limit.
    if (size > MaxEntrySize())
    {
        return false;
    }
    struct stat status
    {
    };
    fstat(fileno(file), &status);
    EndEntry(size, crc, status.st_mtime);
    return true;
}

void ZipWriter::Discard() noexcept
{
    if (m_archive != nullptr)
    {
        m_damaged = true;
        if (m_failure.empty())
        {
            m_failure = "the write was abandoned";
        }
        Close();
    }
}

bool ZipWriter::Close()
{
    if (m_archive == nullptr)
    {
        return false;
    }
    if (m_entryOpen && m_failure.empty())
    {
        m_failure = "an entry was still open: " + m_entryName;
    }
    AbandonRawEntry();
    bool written = !m_damaged;
    if (written && m_spool && !m_spool->Flush())
    {
        written = false;
        m_failure = SystemCause(errno);
    }
    if (written && zip_close(m_archive) != 0)
    {
        written = false;
        // Our sink and spool give libzip the system's errno of a failed
        // write; libzip's own text names the step.
        zip_error_t* const error = zip_get_error(m_archive);
        int const system = zip_error_code_system(error);
        m_failure = zip_error_system_type(error) == ZIP_ET_SYS && system != 0 ? SystemCause(system)
                                                                              : zip_error_strerror(error);
    }
    if (!written)
    {
        zip_discard(m_archive);
    }
    m_archive = nullptr;
    m_spool.reset();
    m_preparedSpools.clear();
    if (!written)
    {
        unlink(m_narrowPath.c_str());
    }
    return written;
}
} // namespace format3mf::archive
