#pragma once

// The reader of one entry's bytes, faster than libzip's own inflation.

#include "zip/MZipArchive.h"

#include <cstdint>
#include <memory>
#include <string>

struct inflate_state;
struct zip;
struct zip_file;

namespace format3mf::archive
{
// Gives the bytes of one entry of an archive open in libzip: stored entries as
// they are, deflated ones inflated by ISA-L from the raw entry data that
// libzip reads. At the end the size and CRC must match those of the central
// directory. Damaged data throws MZipArchiveError::MGeneric, whose message
// says what is wrong and whose detail is the entry's name, and never
// produces more bytes than declared. busy is set while this reader lives.
class ZipEntryReader
{
public:
    // index is libzip's number of the entry.
    ZipEntryReader(zip* archive, std::uint64_t index, MZipArchive::MZipFileInfo facts, bool& busy);
    ZipEntryReader(ZipEntryReader const&) = delete;
    ZipEntryReader& operator=(ZipEntryReader const&) = delete;
    ~ZipEntryReader();

    // Up to size bytes, 0 at the end.
    std::size_t Read(char* data, std::size_t size);
    // The size the central directory declares.
    std::uint64_t GetSize() const { return m_facts.m_uncompressedSize; }

private:
    std::size_t ReadStored(char* data, std::size_t size);
    std::size_t ReadDeflated(char* data, std::size_t size);
    std::size_t ReadRaw(std::uint8_t* data, std::size_t size);
    void Account(char const* data, std::size_t size);
    void Finish();
    [[noreturn]] void Fail(std::wstring const& message) const;

    zip_file* m_file = nullptr;
    MZipArchive::MZipFileInfo m_facts;
    bool& m_busy;
    std::unique_ptr<inflate_state> m_inflate;
    std::unique_ptr<std::uint8_t[]> m_input;
    std::uint64_t m_rawLeft;
    std::uint64_t m_produced = 0;
    std::uint32_t m_crc = 0;
    bool m_finished = false;
};
} // namespace format3mf::archive
