#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace FileIO::Zip
{
// The writing half of both archive kinds, on minizip. Entry names are UTF-8
// and carry the language encoding flag, so that other readers take them as
// UTF-8; a backslash in a name becomes "/".
//
// A 32-bit writer refuses an entry of 4 GiB or more rather than write headers
// that lie; a zip64 writer gives every entry its zip64 fields. One entry is
// open at a time. After a failed write the archive is damaged: the writer
// refuses further entries and Close reports false.
class ZipWriter
{
public:
    // Null when the file can't be created.
    static std::unique_ptr<ZipWriter> Create(std::wstring const& path, bool zip64);
    ZipWriter(ZipWriter const&) = delete;
    ZipWriter& operator=(ZipWriter const&) = delete;
    // Finishes the archive if Close wasn't called.
    ~ZipWriter();

    // Stores a file from disk, deflated by zlib at level (-1 is zlib's
    // default, 0 stores it as it is).
    bool AddFile(std::wstring const& diskPath, std::string const& name, int level);

    // An entry whose deflate data the caller makes. Failures throw
    // MZipArchiveError::MGeneric.
    void BeginRawEntry(std::string const& name);
    void WriteRaw(unsigned char const* data, std::size_t size);
    void EndRawEntry(std::uint64_t uncompressedSize, std::uint32_t crc);
    // Closes an entry that can't be finished and marks the archive damaged.
    void AbandonRawEntry() noexcept;

    // The largest entry, compressed or not, that the archive can describe.
    std::uint64_t MaxEntrySize() const;

    bool Close();

private:
    ZipWriter(void* handle, std::wstring path, bool zip64);
    bool OpenEntry(std::string const& name, std::int64_t modified, int level, bool raw);
    [[noreturn]] void Fail(wchar_t const* message);

    void* m_handle;
    std::wstring m_path;
    bool m_zip64;
    bool m_entryOpen = false;
    bool m_damaged = false;
    std::uint64_t m_rawSize = 0;
};
} // namespace FileIO::Zip
