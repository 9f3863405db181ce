#pragma once

// An archive entry compressed before its turn in the archive comes: written
// while another entry is open, and taken by the archive whole, without a copy.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>

namespace format3mf::archive
{
class ZipSpool;

// The bytes of one future entry, deflated by ISA-L as they come, on a thread
// of their own when the machine has a second core, into a spool file of
// their own (an unnamed file that the system removes with its last handle).
// Once finished, an archive takes the spool over as the entry's data
// (ZipWriter::AddPreparedEntry). Failures throw MZipArchiveError::MGeneric
// naming the entry: a write fails as soon as the deflater's failure is
// known, Finish for any failure at all.
class PreparedEntry
{
public:
    // The spool goes into `folder`. `name` serves messages.
    PreparedEntry(std::string const& folder, std::wstring name);
    PreparedEntry(PreparedEntry const&) = delete;
    PreparedEntry& operator=(PreparedEntry const&) = delete;
    ~PreparedEntry();

    void Write(char const* data, std::size_t size);
    // The bytes written so far.
    std::uint64_t GetSize() const { return m_size; }
    // Ends the data and waits for the deflater. Nothing may be written after.
    void Finish();
    bool IsFinished() const { return m_finished; }

    // For the archive, after Finish: the deflate data and what it holds.
    std::unique_ptr<ZipSpool> TakeSpool();
    std::uint64_t GetCompressedSize() const { return m_result.m_compressedSize; }
    std::uint32_t GetCrc() const { return m_result.m_crc; }

    // What the deflating side leaves when it ends.
    struct Result
    {
        bool m_complete = false;
        std::uint64_t m_compressedSize = 0;
        std::uint32_t m_crc = 0;
        // Why the spool could not take the data, as the system says it.
        std::string m_failure;
    };

private:
    [[noreturn]] void _Fail() const;

    std::wstring m_name;
    std::unique_ptr<ZipSpool> m_spool;
    Result m_result;
    // Declared after what its buffer fills: it goes first.
    std::unique_ptr<std::ostream> m_stream;
    std::uint64_t m_size = 0;
    bool m_finished = false;
};
} // namespace format3mf::archive
