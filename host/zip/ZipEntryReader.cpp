// Inflating one entry with ISA-L from the raw data libzip reads, checking its
// size and CRC at the end.
#include "zip/ZipEntryReader.h"

#include "common/StringConversion.h"
#include "zip/MZipArchiveError.h"

#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>
#include <zip.h>

#include <algorithm>
#include <limits>

namespace format3mf::archive
{
namespace
{
constexpr std::size_t kInputSize = 1u << 16;
constexpr int kStored = 0;
constexpr int kDeflated = 8;
// ISA-L counts in 32 bits.
constexpr std::size_t kLargestRead = 1u << 30;

std::wstring Cause(char const* text)
{
    return StringConversion::ConvertMultiByteStringToOndString(text);
}
} // namespace

ZipEntryReader::ZipEntryReader(zip* archive, std::uint64_t index, MZipArchive::MZipFileInfo facts, bool& busy)
    : m_facts(std::move(facts)), m_busy(busy), m_rawLeft(m_facts.m_compressedSize)
{
    if (m_facts.m_encrypted)
    {
        Fail(L"Encrypted entries are not supported");
    }
    if (m_facts.m_method == kDeflated)
    {
        m_inflate = std::make_unique<inflate_state>();
        isal_inflate_init(m_inflate.get());
        m_inflate->crc_flag = ISAL_DEFLATE;
        m_input.reset(new std::uint8_t[kInputSize]);
    }
    else if (m_facts.m_method != kStored)
    {
        Fail(L"Unsupported compression method " + std::to_wstring(m_facts.m_method));
    }
    else if (m_facts.m_compressedSize != m_facts.m_uncompressedSize)
    {
        Fail(L"Stored entry with inconsistent sizes");
    }
    // The data as it lies in the archive: ISA-L inflates it, and checks
    // are made here.
    m_file = zip_fopen_index(archive, index, ZIP_FL_COMPRESSED);
    if (m_file == nullptr)
    {
        Fail(L"Failed to open an entry of the archive (" + Cause(zip_strerror(archive)) + L")");
    }
    m_busy = true;
}

ZipEntryReader::~ZipEntryReader()
{
    if (m_file != nullptr)
    {
        zip_fclose(m_file);
        m_busy = false;
    }
}

void ZipEntryReader::Fail(std::wstring const& message) const
{
    throw MZipArchiveError::MGeneric(message,
                                     StringConversion::ConvertMultiByteStringToOndString(m_facts.m_name));
}

std::size_t ZipEntryReader::Read(char* data, std::size_t size)
{
    if (m_finished || size == 0)
    {
        return 0;
    }
    size = std::min(size, kLargestRead);
    return m_inflate ? ReadDeflated(data, size) : ReadStored(data, size);
}

std::size_t ZipEntryReader::ReadRaw(std::uint8_t* data, std::size_t size)
{
    size = static_cast<std::size_t>(std::min<std::uint64_t>(size, m_rawLeft));
    zip_int64_t const got = zip_fread(m_file, data, size);
    if (got < 0)
    {
        Fail(L"Failed to read an entry of the archive (" + Cause(zip_file_strerror(m_file)) + L")");
    }
    if (got == 0 && size > 0)
    {
        Fail(L"The archive ends inside an entry");
    }
    m_rawLeft -= static_cast<std::uint64_t>(got);
    return static_cast<std::size_t>(got);
}

void ZipEntryReader::Account(char const* data, std::size_t size)
{
    m_produced += size;
    if (m_produced > m_facts.m_uncompressedSize)
    {
        Fail(L"An entry holds more data than its size says");
    }
    m_crc = crc32_gzip_refl(m_crc, reinterpret_cast<std::uint8_t const*>(data), size);
}

void ZipEntryReader::Finish()
{
    m_finished = true;
    if (m_produced != m_facts.m_uncompressedSize)
    {
        Fail(L"An entry holds less data than its size says");
    }
    if (m_crc != m_facts.m_crc)
    {
        Fail(L"CRC error in an entry");
    }
}

std::size_t ZipEntryReader::ReadStored(char* data, std::size_t size)
{
    std::size_t const got = ReadRaw(reinterpret_cast<std::uint8_t*>(data), size);
    Account(data, got);
    if (m_rawLeft == 0)
    {
        Finish();
    }
    return got;
}

std::size_t ZipEntryReader::ReadDeflated(char* data, std::size_t size)
{
    inflate_state& state = *m_inflate;
    state.next_out = reinterpret_cast<std::uint8_t*>(data);
    state.avail_out = static_cast<std::uint32_t>(size);
    for (;;)
    {
        if (state.avail_in == 0 && m_rawLeft > 0)
        {
            state.next_in = m_input.get();
            state.avail_in = static_cast<std::uint32_t>(ReadRaw(m_input.get(), kInputSize));
        }
        std::uint32_t const inputBefore = state.avail_in;
        if (isal_inflate(&state) < 0)
        {
            Fail(L"Damaged compressed data in an entry");
        }
        std::size_t const produced = size - state.avail_out;
        Account(data, produced);
        if (state.block_state == ISAL_BLOCK_FINISH)
        {
            Finish();
            return produced;
        }
        if (produced > 0)
        {
            return produced;
        }
        // A call that neither takes input nor gives output would repeat forever.
        if (state.avail_in == inputBefore)
        {
            Fail(m_rawLeft == 0 && state.avail_in == 0 ? L"The compressed data of an entry ends early"
                                                       : L"Damaged compressed data in an entry");
        }
    }
}
} // namespace format3mf::archive
