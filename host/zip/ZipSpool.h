#pragma once

// The compressed bytes of the entries of an archive being written, kept in an
// unnamed temporary file until libzip writes the archive: libzip takes the
// data of its entries only when the archive closes, and memory must not grow
// with what was written.

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

struct zip;
struct zip_source;

namespace format3mf::archive
{
// What libzip is told about an entry whose data lies in the spool.
struct SpooledEntry
{
    std::uint64_t m_offset = 0;
    std::uint64_t m_compressedSize = 0;
    std::uint64_t m_size = 0;
    std::uint32_t m_crc = 0;
    bool m_stored = false;
    std::time_t m_modified = 0;
};

class ZipSpool
{
public:
    // Makes the file in folder, the folder of the file being written, so
    // that it takes room on the disk of that file and not in memory. The file has no name: the
    // system removes it with the last handle, whatever happens to the process.
    // Null if it can't be made.
    static std::unique_ptr<ZipSpool> Create(std::string const& folder);
    ZipSpool(ZipSpool const&) = delete;
    ZipSpool& operator=(ZipSpool const&) = delete;
    ~ZipSpool();

    std::uint64_t Size() const { return m_size; }
    // False if the bytes could not be written.
    bool Append(unsigned char const* data, std::size_t size);
    // Writes out what is buffered; needed before the sources are read.
    bool Flush();
    // A libzip source that gives the entry's bytes as they are, with size,
    // compressed size, CRC and method in its stat, so that libzip copies them
    // without compressing again. Null on failure; libzip frees it once it
    // belongs to an entry.
    zip_source* CreateSource(zip* archive, SpooledEntry const& entry) const;

private:
    explicit ZipSpool(std::FILE* file);

    std::FILE* m_file;
    std::unique_ptr<char[]> m_buffer;
    std::uint64_t m_size = 0;
};
} // namespace format3mf::archive
