// ISA-L deflate of one archive entry, in pieces of any size.
#include "zip/ZipDeflater.h"

#include "common/StringConversion.h"
#include "zip/MZipArchiveError.h"

#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>

#include <algorithm>
#include <utility>

namespace format3mf::archive
{
namespace
{
constexpr std::uint32_t kOutputSize = 1u << 16;
// ISA-L counts input in 32 bits.
constexpr std::size_t kLargestInput = 1u << 30;

std::uint32_t LevelBufferSize(int level)
{
    switch (level)
    {
    case 0:
        return ISAL_DEF_LVL0_DEFAULT;
    case 1:
        return ISAL_DEF_LVL1_DEFAULT;
    case 2:
        return ISAL_DEF_LVL2_DEFAULT;
    default:
        return ISAL_DEF_LVL3_DEFAULT;
    }
}
} // namespace

ZipDeflater::ZipDeflater(Sink sink, std::string name, int level)
    : m_sink(std::move(sink)), m_name(std::move(name)), m_stream(std::make_unique<isal_zstream>()),
      m_levelBuffer(new std::uint8_t[LevelBufferSize(level)]), m_output(new std::uint8_t[kOutputSize])
{
    isal_deflate_init(m_stream.get());
    m_stream->level = static_cast<std::uint32_t>(level);
    m_stream->level_buf = m_levelBuffer.get();
    m_stream->level_buf_size = LevelBufferSize(level);
    m_stream->gzip_flag = IGZIP_DEFLATE;
    m_stream->flush = NO_FLUSH;
}

ZipDeflater::~ZipDeflater() = default;

void ZipDeflater::Deflate(unsigned char const* data, std::size_t size)
{
    while (size > 0)
    {
        std::size_t const piece = std::min(size, kLargestInput);
        m_crc = crc32_gzip_refl(m_crc, data, piece);
        m_size += piece;
        m_stream->next_in = const_cast<std::uint8_t*>(data);
        m_stream->avail_in = static_cast<std::uint32_t>(piece);
        Run(false);
        data += piece;
        size -= piece;
    }
}

void ZipDeflater::Finish()
{
    Run(true);
    if (m_stream->internal_state.state != ZSTATE_END)
    {
        throw MZipArchiveError::MGeneric(L"Failed to finish the compressed data of an entry",
                                         StringConversion::ConvertMultiByteStringToOndString(m_name));
    }
}

// Runs the compressor until it has taken all input and, for the last call,
// written the end of the deflate data.
void ZipDeflater::Run(bool last)
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
            m_sink(m_output.get(), produced);
        }
    } while (m_stream->avail_out == 0);
}
} // namespace format3mf::archive
