#include "zip/ZipEntryWriteBuffer.h"

#include "common/StringConversion.h"
#include "zip/MZipArchiveError.h"
#include "zip/ZipWriter.h"

#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>

#include <algorithm>

namespace FileIO::Zip
{
namespace
{
constexpr std::uint32_t kOutputSize = 1u << 16;
// ISA-L counts input in 32 bits.
constexpr std::size_t kLargestInput = 1u << 30;
} // namespace

ZipEntryWriteBuffer::ZipEntryWriteBuffer(ZipWriter& archive, char const* name)
    : m_archive(archive), m_name(name != nullptr ? name : ""), m_stream(std::make_unique<isal_zstream>()),
      m_levelBuffer(new std::uint8_t[ISAL_DEF_LVL1_DEFAULT]), m_output(new std::uint8_t[kOutputSize])
{
    isal_deflate_init(m_stream.get());
    m_stream->level = 1;
    m_stream->level_buf = m_levelBuffer.get();
    m_stream->level_buf_size = ISAL_DEF_LVL1_DEFAULT;
    m_stream->gzip_flag = IGZIP_DEFLATE;
    m_stream->flush = NO_FLUSH;
    m_archive.BeginRawEntry(m_name);
}

ZipEntryWriteBuffer::~ZipEntryWriteBuffer()
{
    if (!m_failed)
    {
        try
        {
            Deflate(true);
            m_archive.EndRawEntry(m_size, m_crc);
            return;
        }
        catch (MZipArchiveError::MGeneric const&)
        {
            // The archive now refuses further entries and reports the failure on closing.
        }
    }
    m_archive.AbandonRawEntry();
}

void ZipEntryWriteBuffer::Write(char const* data, std::size_t size)
{
    if (m_failed)
    {
        throw MZipArchiveError::MGeneric(L"An earlier write to the entry failed",
                                         StringConversion::ConvertMultiByteStringToOndString(m_name));
    }
    try
    {
        if (size > m_archive.MaxEntrySize() - m_size)
        {
            throw MZipArchiveError::MGeneric(L"The entry is too large for a 32-bit archive",
                                             StringConversion::ConvertMultiByteStringToOndString(m_name));
        }
        auto const* bytes = reinterpret_cast<std::uint8_t const*>(data);
        while (size > 0)
        {
            std::size_t const piece = std::min(size, kLargestInput);
            m_crc = crc32_gzip_refl(m_crc, bytes, piece);
            m_size += piece;
            m_stream->next_in = const_cast<std::uint8_t*>(bytes);
            m_stream->avail_in = static_cast<std::uint32_t>(piece);
            Deflate(false);
            bytes += piece;
            size -= piece;
        }
    }
    catch (...)
    {
        m_failed = true;
        throw;
    }
}

// Runs the compressor until it has taken all input and, for the last call,
// written the end of the deflate data.
void ZipEntryWriteBuffer::Deflate(bool last)
{
    m_stream->end_of_stream = last ? 1 : 0;
    do
    {
        m_stream->next_out = m_output.get();
        m_stream->avail_out = kOutputSize;
        if (isal_deflate(m_stream.get()) != COMP_OK)
        {
            throw MZipArchiveError::MGeneric(L"Failed to compress an entry",
                                             StringConversion::ConvertMultiByteStringToOndString(m_name));
        }
        std::uint32_t const produced = kOutputSize - m_stream->avail_out;
        if (produced > 0)
        {
            m_archive.WriteRaw(m_output.get(), produced);
        }
    } while (m_stream->avail_out == 0);
    if (last && m_stream->internal_state.state != ZSTATE_END)
    {
        throw MZipArchiveError::MGeneric(L"Failed to finish the compressed data of an entry",
                                         StringConversion::ConvertMultiByteStringToOndString(m_name));
    }
}
} // namespace FileIO::Zip
