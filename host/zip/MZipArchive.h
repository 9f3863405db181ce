#pragma once

// The zip archive as the package layer sees it, for reading or for writing a
// 32-bit archive.

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

struct zip;

namespace format3mf::archive
{
class PreparedEntry;
class ZipWriter;
class ZipEntryReader;
} // namespace format3mf::archive

class ReadBufferFromZip;
class WriteBufferToZip32;

// A zip archive, open either for reading or for writing a 32-bit archive.
// Names in the archive are UTF-8 and are looked up exactly, case included.
// Paths on disk are wide and go to the file system as UTF-8.
//
// Reading is done by libzip, which takes the archive forms of other writers
// (zip64 records, data descriptors, stored entries); the entries' data is
// inflated by ISA-L. The central directory is indexed once on opening, so
// that looking up an entry doesn't walk the archive; of two entries with one
// name the first counts. Names that aren't UTF-8 and lack the flag that says
// so are taken as code page 437. One entry is read at a time: a second
// ReadBufferFromZip or an extraction while a buffer is open throws
// MZipArchiveError::MGeneric. Buffers must be gone before the archive closes.
// Passwords (encryption) are not supported: pass null.
class MZipArchive
{
public:
    // What GetFileInfo fills.
    struct MZipFileInfo
    {
        std::string m_name;
        std::uint64_t m_compressedSize = 0;
        std::uint64_t m_uncompressedSize = 0;
        std::uint32_t m_crc = 0;
        // 0 stored, 8 deflated; other methods can't be read.
        int m_method = 0;
        // Encrypted entries can't be read.
        bool m_encrypted = false;
    };

    // The flag is part of the family's interface and has no effect here.
    explicit MZipArchive(bool reserved);
    MZipArchive(MZipArchive const&) = delete;
    MZipArchive& operator=(MZipArchive const&) = delete;
    virtual ~MZipArchive();

    // False if the file can't be opened as an archive; GetOpenError then
    // says why.
    bool OpenArchiveRead(wchar_t const* path);
    std::wstring const& GetOpenError() const { return m_openError; }
    // Creates (replaces) the file; false if it can't.
    bool OpenArchiveWrite(wchar_t const* path);
    // Stores a file from disk, read at once, deflated by ISA-L at the level
    // nearest zlib's level (-1 is zlib's default; 0 stores it as it is).
    // False on failure or with a password.
    bool AddFile(wchar_t const* diskPath, wchar_t const* nameInArchive, int level, char const* password);
    // An entry compressed before its turn (see PreparedEntry), finished;
    // its data is taken over without a copy. Throws MZipArchiveError::MGeneric.
    void AddPreparedEntry(char const* name, format3mf::archive::PreparedEntry& entry);
    // Unpacks one entry into target and nothing else. Throws
    // MZipArchiveError::MGeneric on failure (MFileNotFound for a missing
    // entry) and then leaves no file at target.
    bool ExtractFile(char const* name, wchar_t const* target, char const* password);
    // False if the entry is not in the archive.
    bool GetFileInfo(char const* name, MZipFileInfo& info);
    // The names of the entries in the order of the central directory; a name
    // that two entries share comes once, where its first stands.
    std::vector<std::string> GetEntryNames() const;
    // Finishes a written archive: libzip writes it only now. False if
    // anything written failed; the file is then removed, never left broken.
    bool CloseArchive();
    // Why the last CloseArchive of a written archive gave false, as the
    // system or libzip worded it.
    std::string const& GetWriteError() const { return m_writeError; }
    // Gives a written archive up: nothing more is written, the file goes.
    void DiscardArchive() noexcept;

private:
    friend class ReadBufferFromZip;
    friend class WriteBufferToZip32;
    // Copies entries from a read archive as they are stored.
    friend class format3mf::archive::ZipWriter;

    struct IndexedEntry
    {
        MZipFileInfo m_info;
        // libzip's number of the entry.
        std::uint64_t m_index = 0;
    };

    std::unique_ptr<format3mf::archive::ZipEntryReader> OpenEntry(std::string const& name);
    format3mf::archive::ZipWriter& Writer();

    std::wstring m_path;
    std::wstring m_openError;
    std::string m_writeError;
    zip* m_reader = nullptr;
    std::unordered_map<std::string, IndexedEntry> m_entries;
    std::vector<std::string> m_order;
    bool m_entryOpen = false;
    std::unique_ptr<format3mf::archive::ZipWriter> m_writer;
};
