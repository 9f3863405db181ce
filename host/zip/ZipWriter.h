#pragma once

// The shared writing half of both archive kinds: ISA-L compresses into a spool
// and libzip writes the archive at Close.

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

struct zip;
struct zip_source;
class MZipArchive;

namespace format3mf::archive
{
class PreparedEntry;
class ZipSpool;

// The writing half of both archive kinds, on libzip. ISA-L compresses; the
// compressed bytes wait in a spool file until Close, where libzip writes the
// archive and copies them as they are. Entry names are UTF-8 (libzip marks
// those outside ASCII as such); a backslash in a name becomes "/".
//
// libzip gives an archive zip64 records only where a size or offset needs
// them. A 32-bit writer refuses, with MZipArchiveError::MGeneric, the write
// that would make the archive need them (an entry or archive of 4 GiB or
// more, more than 65534 entries), so it never writes a file that lies. One
// entry is open at a time. After a failed write the archive is damaged: the
// writer refuses further entries, and Close removes the file and reports
// false.
class ZipWriter
{
public:
    // Creates (replaces) the file; null when it can't.
    static std::unique_ptr<ZipWriter> Create(std::wstring const& path, bool zip64);
    ZipWriter(ZipWriter const&) = delete;
    ZipWriter& operator=(ZipWriter const&) = delete;
    // Finishes the archive if Close wasn't called.
    ~ZipWriter();

    // Stores a file from disk, taken at once, deflated by ISA-L (level 0
    // stores it as it is; zlib's levels 1 to 9 and -1 choose ISA-L's 1 to 3).
    bool AddFile(std::wstring const& diskPath, std::string const& name, int level);

    // An entry whose deflate data the caller makes. Failures throw
    // MZipArchiveError::MGeneric.
    void BeginRawEntry(std::string const& name);
    void WriteRaw(unsigned char const* data, std::size_t size);
    void EndRawEntry(std::uint64_t uncompressedSize, std::uint32_t crc);
    // An entry whose deflate data was made before its turn, finished; the
    // archive takes its spool over. Failures throw MZipArchiveError::MGeneric.
    void AddPreparedEntry(std::string const& name, PreparedEntry& entry);
    // The entry `name` of `source` as it is stored there: its compressed
    // bytes, CRC, sizes and time, never inflated. libzip reads them at Close,
    // so `source` stays open until then. Failures throw
    // MZipArchiveError::MGeneric.
    void AddCopiedEntry(MZipArchive& source, std::string const& name);
    // Closes an entry that can't be finished and marks the archive damaged.
    void AbandonRawEntry() noexcept;

    // The largest entry, compressed or not, that the archive can describe.
    std::uint64_t MaxEntrySize() const;

    // Writes the archive; false if that or anything before it failed, the
    // file then removed and FailureCause saying why.
    bool Close();
    // Closes without writing and removes the file.
    void Discard() noexcept;
    // The first failure of the archive, as the system or libzip worded it;
    // empty while nothing failed.
    std::string const& FailureCause() const { return m_failure; }

private:
    ZipWriter(zip* archive, std::wstring path, std::string narrowPath, bool zip64);
    void BeginEntry(std::string const& name, bool stored, bool spooled = true);
    void EndEntry(std::uint64_t size, std::uint32_t crc, std::time_t modified);
    // Ends the open entry with compressedSize bytes of `spool` from offset.
    void EndEntryFrom(ZipSpool const& spool, std::uint64_t offset, std::uint64_t compressedSize,
                      std::uint64_t size, std::uint32_t crc, std::time_t modified);
    bool AddFileData(std::FILE* file, int level);
    // Adds the open entry with its data from `source`, which the archive
    // takes; throws with `failure` when libzip refuses it. Returns its index.
    std::uint64_t AddEntrySource(zip_source* source, wchar_t const* failure);
    std::uint64_t Zip32Need(std::uint64_t entryBytes) const;
    [[noreturn]] void Fail(std::wstring const& message);

    zip* m_archive;
    std::wstring m_path;
    std::string m_narrowPath;
    bool m_zip64;
    std::unique_ptr<ZipSpool> m_spool;
    // The spools of prepared entries, read by libzip at Close.
    std::vector<std::unique_ptr<ZipSpool>> m_preparedSpools;
    std::uint64_t m_entries = 0;
    bool m_damaged = false;
    std::string m_failure;
    // The entry being written.
    bool m_entryOpen = false;
    std::string m_entryName;
    bool m_entryStored = false;
    std::uint64_t m_entryStart = 0;
    // What a 32-bit archive needs so far: local headers with data, and the
    // central directory, both counted generously.
    std::uint64_t m_localBytes = 0;
    std::uint64_t m_directoryBytes = 0;
};
} // namespace format3mf::archive
