// The archive object the package code uses: opening, listing and extracting on
// libzip, writing through ZipWriter.
#include "zip/MZipArchive.h"

#include "common/StringConversion.h"
#include "zip/MZipArchiveError.h"
#include "zip/ZipEntryReader.h"
#include "zip/ZipWriter.h"

#include <zip.h>

#include <cerrno>
#include <cstdio>
#include <vector>

namespace
{
constexpr std::size_t kExtractBlock = 1u << 18;

struct FileCloser
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};

constexpr std::size_t kReadBuffer = std::size_t(1) << 16;

// The archive read through a stdio stream with a buffer of its own: libzip
// reads entries in pieces of a few kilobytes, and the default buffer would
// make a system call of each; an entry copied whole then goes as fast as the
// file's bytes. Null, with libzip's words for why, when it can't be opened.
zip_t* OpenWithBuffer(std::string const& path, std::wstring& problem)
{
    zip_error_t error;
    zip_error_init(&error);
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    zip_source_t* source = nullptr;
    if (file == nullptr)
    {
        zip_error_set(&error, ZIP_ER_OPEN, errno);
    }
    else
    {
        std::setvbuf(file, nullptr, _IOFBF, kReadBuffer);
        source = zip_source_filep_create(file, 0, -1, &error);
        if (source == nullptr)
        {
            std::fclose(file);
        }
    }
    zip_t* const archive = source != nullptr ? zip_open_from_source(source, ZIP_RDONLY, &error) : nullptr;
    if (archive == nullptr)
    {
        if (source != nullptr)
        {
            zip_source_free(source);
        }
        problem = StringConversion::ConvertMultiByteStringToOndString(zip_error_strerror(&error));
    }
    zip_error_fini(&error);
    return archive;
}
} // namespace

MZipArchive::MZipArchive(bool /*reserved*/) {}

MZipArchive::~MZipArchive()
{
    CloseArchive();
}

bool MZipArchive::OpenArchiveRead(wchar_t const* path)
{
    CloseArchive();
    m_openError.clear();
    if (path == nullptr)
    {
        m_openError = L"No archive given";
        return false;
    }
    std::string const narrow = StringConversion::ConvertNativeToFileName(path);
    zip_t* const archive = OpenWithBuffer(narrow, m_openError);
    if (archive == nullptr)
    {
        m_openError += L": " + std::wstring(path);
        return false;
    }
    zip_int64_t const count = zip_get_num_entries(archive, 0);
    for (zip_int64_t i = 0; i < count; ++i)
    {
        zip_stat_t stat;
        zip_uint64_t constexpr kNeeded =
            ZIP_STAT_NAME | ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE | ZIP_STAT_CRC | ZIP_STAT_COMP_METHOD;
        if (zip_stat_index(archive, static_cast<zip_uint64_t>(i), 0, &stat) != 0 ||
            (stat.valid & kNeeded) != kNeeded)
        {
            m_openError = L"Damaged central directory (" +
                          StringConversion::ConvertMultiByteStringToOndString(zip_strerror(archive)) +
                          L"): " + path;
            zip_discard(archive);
            m_entries.clear();
            m_order.clear();
            return false;
        }
        IndexedEntry entry;
        entry.m_info.m_name = stat.name;
        entry.m_info.m_compressedSize = stat.comp_size;
        entry.m_info.m_uncompressedSize = stat.size;
        entry.m_info.m_crc = stat.crc;
        entry.m_info.m_method = stat.comp_method;
        entry.m_info.m_encrypted =
            (stat.valid & ZIP_STAT_ENCRYPTION_METHOD) != 0 && stat.encryption_method != ZIP_EM_NONE;
        entry.m_index = static_cast<std::uint64_t>(i);
        // Like other readers, take the first of two entries with one name.
        std::string key = entry.m_info.m_name;
        if (m_entries.emplace(key, std::move(entry)).second)
        {
            m_order.push_back(std::move(key));
        }
    }
    m_reader = archive;
    m_path = path;
    return true;
}

bool MZipArchive::OpenArchiveWrite(wchar_t const* path)
{
    CloseArchive();
    if (path == nullptr)
    {
        return false;
    }
    m_writer = format3mf::archive::ZipWriter::Create(path, false);
    m_path = path;
    return m_writer != nullptr;
}

bool MZipArchive::AddFile(wchar_t const* diskPath, wchar_t const* nameInArchive, int level,
                          char const* password)
{
    if (!m_writer || diskPath == nullptr || nameInArchive == nullptr || password != nullptr)
    {
        return false;
    }
    return m_writer->AddFile(diskPath, StringConversion::ConvertNativeToUTF8(nameInArchive), level);
}

std::vector<std::string> MZipArchive::GetEntryNames() const
{
    return m_order;
}

bool MZipArchive::GetFileInfo(char const* name, MZipFileInfo& info)
{
    if (name == nullptr)
    {
        return false;
    }
    auto const found = m_entries.find(name);
    if (found == m_entries.end())
    {
        return false;
    }
    info = found->second.m_info;
    return true;
}

std::unique_ptr<format3mf::archive::ZipEntryReader> MZipArchive::OpenEntry(std::string const& name)
{
    if (m_reader == nullptr)
    {
        throw MZipArchiveError::MGeneric(L"The archive is not open for reading", m_path);
    }
    auto const found = m_entries.find(name);
    if (found == m_entries.end())
    {
        throw MZipArchiveError::MFileNotFound(StringConversion::ConvertMultiByteStringToOndString(name));
    }
    if (m_entryOpen)
    {
        throw MZipArchiveError::MGeneric(L"Another entry of the archive is still open",
                                         StringConversion::ConvertMultiByteStringToOndString(name));
    }
    return std::make_unique<format3mf::archive::ZipEntryReader>(m_reader, found->second.m_index,
                                                                found->second.m_info, m_entryOpen);
}

bool MZipArchive::ExtractFile(char const* name, wchar_t const* target, char const* password)
{
    if (name == nullptr || target == nullptr)
    {
        throw MZipArchiveError::MGeneric(L"No entry or target given for extraction", m_path);
    }
    if (password != nullptr)
    {
        throw MZipArchiveError::MGeneric(L"Encrypted entries are not supported",
                                         StringConversion::ConvertMultiByteStringToOndString(name));
    }
    std::unique_ptr<format3mf::archive::ZipEntryReader> entry = OpenEntry(name);
    std::string const targetPath = StringConversion::ConvertNativeToFileName(target);
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(targetPath.c_str(), "wb"));
    if (!file)
    {
        throw MZipArchiveError::MGeneric(L"Failed to create file", target);
    }
    try
    {
        std::vector<char> block(kExtractBlock);
        while (std::size_t const got = entry->Read(block.data(), block.size()))
        {
            if (std::fwrite(block.data(), 1, got, file.get()) != got)
            {
                throw MZipArchiveError::MGeneric(L"Failed to write file", target);
            }
        }
        if (std::fclose(file.release()) != 0)
        {
            throw MZipArchiveError::MGeneric(L"Failed to write file", target);
        }
    }
    catch (...)
    {
        file.reset();
        std::remove(targetPath.c_str());
        throw;
    }
    return true;
}

void MZipArchive::AddPreparedEntry(char const* name, format3mf::archive::PreparedEntry& entry)
{
    Writer().AddPreparedEntry(name != nullptr ? name : "", entry);
}

format3mf::archive::ZipWriter& MZipArchive::Writer()
{
    if (!m_writer)
    {
        throw MZipArchiveError::MGeneric(L"The archive is not open for writing", m_path);
    }
    return *m_writer;
}

bool MZipArchive::CloseArchive()
{
    bool closed = false;
    if (m_reader != nullptr)
    {
        // Nothing was changed: there is nothing to write back.
        zip_discard(m_reader);
        closed = true;
        m_reader = nullptr;
        m_entries.clear();
        m_order.clear();
    }
    if (m_writer)
    {
        closed = m_writer->Close();
        m_writeError = m_writer->FailureCause();
        m_writer.reset();
    }
    return closed;
}

void MZipArchive::DiscardArchive() noexcept
{
    if (m_writer)
    {
        m_writer->Discard();
        m_writer.reset();
    }
}
