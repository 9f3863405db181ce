#include "zip/MZipArchive.h"

#include "common/StringConversion.h"
#include "zip/MZipArchiveError.h"
#include "zip/ZipEntryReader.h"
#include "zip/ZipWriter.h"

#include <minizip/unzip.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace
{
constexpr std::size_t kLongestName = 0xFFFF;
constexpr std::size_t kExtractBlock = 1u << 18;

unzFile Handle(void* handle)
{
    return static_cast<unzFile>(handle);
}

std::wstring Wide(std::string const& utf8)
{
    return StringConversion::ConvertMultiByteStringToOndString(utf8);
}

struct FileCloser
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};
} // namespace

MZipArchive::MZipArchive(bool /*reserved*/) {}

MZipArchive::~MZipArchive()
{
    CloseArchive();
}

bool MZipArchive::OpenArchiveRead(wchar_t const* path)
{
    CloseArchive();
    if (path == nullptr)
    {
        return false;
    }
    std::string const narrow = StringConversion::ConvertNativeToUTF8(path);
    unzFile handle = unzOpen64(narrow.c_str());
    if (handle == nullptr)
    {
        return false;
    }
    unz_global_info64 global{};
    int result = unzGetGlobalInfo64(handle, &global);
    if (result == UNZ_OK && global.number_entry > 0)
    {
        result = unzGoToFirstFile(handle);
    }
    else if (result == UNZ_OK)
    {
        result = UNZ_END_OF_LIST_OF_FILE;
    }
    std::vector<char> name(kLongestName + 1);
    while (result == UNZ_OK)
    {
        unz_file_info64 info{};
        unz64_file_pos position{};
        result = unzGetCurrentFileInfo64(handle, &info, name.data(), name.size(), nullptr, 0, nullptr, 0);
        if (result != UNZ_OK || unzGetFilePos64(handle, &position) != UNZ_OK)
        {
            result = UNZ_BADZIPFILE;
            break;
        }
        IndexedEntry entry;
        entry.m_info.m_name.assign(name.data(), std::min<std::size_t>(info.size_filename, kLongestName));
        entry.m_info.m_compressedSize = info.compressed_size;
        entry.m_info.m_uncompressedSize = info.uncompressed_size;
        entry.m_info.m_crc = static_cast<std::uint32_t>(info.crc);
        entry.m_info.m_method = static_cast<int>(info.compression_method);
        entry.m_info.m_flags = static_cast<unsigned>(info.flag);
        entry.m_directoryOffset = position.pos_in_zip_directory;
        entry.m_number = position.num_of_file;
        // Like other readers, take the first of two entries with one name.
        std::string key = entry.m_info.m_name;
        m_entries.emplace(std::move(key), std::move(entry));
        result = unzGoToNextFile(handle);
    }
    if (result != UNZ_END_OF_LIST_OF_FILE)
    {
        unzClose(handle);
        m_entries.clear();
        return false;
    }
    m_reader = handle;
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
    m_writer = FileIO::Zip::ZipWriter::Create(path, false);
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

std::unique_ptr<FileIO::Zip::ZipEntryReader> MZipArchive::OpenEntry(std::string const& name)
{
    if (m_reader == nullptr)
    {
        throw MZipArchiveError::MGeneric(L"The archive is not open for reading", m_path);
    }
    auto const found = m_entries.find(name);
    if (found == m_entries.end())
    {
        throw MZipArchiveError::MFileNotFound(Wide(name));
    }
    if (m_entryOpen)
    {
        throw MZipArchiveError::MGeneric(L"Another entry of the archive is still open", Wide(name));
    }
    unz64_file_pos position{found->second.m_directoryOffset, found->second.m_number};
    if (unzGoToFilePos64(Handle(m_reader), &position) != UNZ_OK)
    {
        throw MZipArchiveError::MGeneric(L"Failed to find an entry of the archive", Wide(name));
    }
    return std::make_unique<FileIO::Zip::ZipEntryReader>(m_reader, found->second.m_info, m_entryOpen);
}

bool MZipArchive::ExtractFile(char const* name, wchar_t const* target, char const* password)
{
    if (name == nullptr || target == nullptr)
    {
        throw MZipArchiveError::MGeneric(L"No entry or target given for extraction", m_path);
    }
    if (password != nullptr)
    {
        throw MZipArchiveError::MGeneric(L"Encrypted entries are not supported", Wide(name));
    }
    std::unique_ptr<FileIO::Zip::ZipEntryReader> entry = OpenEntry(name);
    std::string const targetPath = StringConversion::ConvertNativeToUTF8(target);
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

FileIO::Zip::ZipWriter& MZipArchive::Writer()
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
        closed = unzClose(Handle(m_reader)) == UNZ_OK;
        m_reader = nullptr;
        m_entries.clear();
    }
    if (m_writer)
    {
        closed = m_writer->Close();
        m_writer.reset();
    }
    return closed;
}
