#pragma once

// The writer for archives that can exceed the 32-bit zip limits.

#include <memory>
#include <string>

class WriteBufferToZip64;

namespace format3mf::archive
{
class PreparedEntry;
class ZipWriter;
} // namespace format3mf::archive

namespace FileIO::Zip
{

// Writes an archive that may pass the limits of 32-bit archives (entries and
// archives of 4 GiB and more, more than 65534 entries): libzip gives it zip64
// records where a size, offset or count needs them, so that a small archive
// keeps the plain form every reader takes. Names in the archive are UTF-8.
class Zip64Writer
{
public:
    Zip64Writer();
    Zip64Writer(Zip64Writer const&) = delete;
    Zip64Writer& operator=(Zip64Writer const&) = delete;
    ~Zip64Writer();

    // Creates (replaces) the file; false if it can't.
    bool OpenArchive(wchar_t const* path);
    // Stores a file from disk, read at once, deflated by ISA-L at the level
    // nearest zlib's level (0 stores it as it is).
    // False on failure or with a password, which is not supported.
    bool AddFile(wchar_t const* diskPath, char const* nameInArchive, int level, char const* password);
    // An entry compressed before its turn (see PreparedEntry), finished;
    // its data is taken over without a copy. Throws MZipArchiveError::MGeneric.
    void AddPreparedEntry(char const* name, format3mf::archive::PreparedEntry& entry);
    // Finishes the archive: libzip writes it only now. False if anything
    // written failed; the file is then removed, never left broken.
    bool CloseArchive();
    // Why the last CloseArchive gave false, as the system or libzip worded it.
    std::string const& GetWriteError() const { return m_writeError; }
    // Gives the archive up: nothing more is written, the file goes.
    void DiscardArchive() noexcept;

private:
    friend class ::WriteBufferToZip64;
    format3mf::archive::ZipWriter& Writer();

    std::wstring m_path;
    std::string m_writeError;
    std::unique_ptr<format3mf::archive::ZipWriter> m_writer;
};
} // namespace FileIO::Zip
