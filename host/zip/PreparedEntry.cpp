// Deflating an entry into a spool of its own while the archive is busy with
// another one.
#include "zip/PreparedEntry.h"

#include "zip/AsyncWriteBufferStream.h"
#include "zip/IWriteBuffer.h"
#include "zip/MZipArchiveError.h"
#include "zip/WriteBufferStream.h"
#include "zip/ZipDeflater.h"
#include "zip/ZipSpool.h"

#include "common/StringConversion.h"

#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

namespace format3mf::archive
{
namespace
{
// ISA-L's fastest level: compressing is what the writer of a binary part
// waits for, and mesh records shrink to half of their size even so (a big
// mesh's binary part is 17 MB against 13 MB at level 1 and 23 MB for its XML
// at level 1, in 15% less time than level 1).
constexpr int kLevel = 0;

// The deflating side: runs wherever the stream hands its bytes over, and
// leaves its result when it is destroyed, after the last byte.
class SpoolDeflateBuffer final : public IWriteBuffer
{
public:
    SpoolDeflateBuffer(ZipSpool& spool, std::wstring const& name, PreparedEntry::Result& result)
        : m_spool(spool), m_result(result),
          m_deflater(
              [this, name](unsigned char const* data, std::size_t size)
              {
                  if (!m_spool.Append(data, size))
                  {
                      m_result.m_failure = std::error_code(errno, std::generic_category()).message();
                      throw MZipArchiveError::MGeneric(L"Failed to write the entry", name);
                  }
              },
              StringConversion::ConvertNativeToUTF8(name), kLevel)
    {
    }

    ~SpoolDeflateBuffer() override
    {
        // A failure here, of whatever kind, can reach no one but the
        // result, which stays incomplete; an exception leaving a destructor
        // would end the program.
        try
        {
            m_deflater.Finish();
            bool const flushed = m_spool.Flush();
            if (!flushed && m_result.m_failure.empty())
            {
                m_result.m_failure = std::error_code(errno, std::generic_category()).message();
            }
            if (flushed)
            {
                m_result.m_compressedSize = m_spool.Size();
                m_result.m_crc = m_deflater.GetCrc();
                m_result.m_complete = true;
            }
        }
        catch (...)
        {
        }
    }

    void Write(char const* data, std::size_t size) override
    {
        m_deflater.Deflate(reinterpret_cast<unsigned char const*>(data), size);
    }

private:
    ZipSpool& m_spool;
    PreparedEntry::Result& m_result;
    ZipDeflater m_deflater;
};
} // namespace

PreparedEntry::PreparedEntry(std::string const& folder, std::wstring name)
    : m_name(std::move(name)), m_spool(ZipSpool::Create(folder))
{
    if (!m_spool)
    {
        throw MZipArchiveError::MGeneric(L"Failed to make a temporary file for an entry (" +
                                             StringConversion::ConvertMultiByteStringToOndString(
                                                 std::error_code(errno, std::generic_category()).message()) +
                                             L")",
                                         m_name);
    }
    auto buffer = std::make_unique<SpoolDeflateBuffer>(*m_spool, m_name, m_result);
    if (std::thread::hardware_concurrency() < 2)
    {
        m_stream = std::make_unique<WriteBufferStream>(buffer.release());
    }
    else
    {
        m_stream = CreateAsyncWriteBufferStream(std::move(buffer));
    }
}

PreparedEntry::~PreparedEntry() = default;

void PreparedEntry::Write(char const* data, std::size_t size)
{
    if (m_finished)
    {
        _Fail();
    }
    // The stream's failures throw; a stream that failed before refuses.
    m_stream->write(data, static_cast<std::streamsize>(size));
    if (!*m_stream)
    {
        _Fail();
    }
    m_size += size;
}

void PreparedEntry::Finish()
{
    if (m_finished)
    {
        return;
    }
    m_finished = true;
    m_stream->flush();
    bool const written = static_cast<bool>(*m_stream);
    // Waits for the deflating side, which leaves its result as it goes.
    m_stream.reset();
    if (!written || !m_result.m_complete)
    {
        _Fail();
    }
}

std::unique_ptr<ZipSpool> PreparedEntry::TakeSpool()
{
    if (!m_finished || !m_result.m_complete || !m_spool)
    {
        _Fail();
    }
    return std::move(m_spool);
}

void PreparedEntry::_Fail() const
{
    if (!m_result.m_failure.empty())
    {
        throw MZipArchiveError::MGeneric(
            L"Failed to write an entry (" +
                StringConversion::ConvertMultiByteStringToOndString(m_result.m_failure) + L")",
            m_name);
    }
    throw MZipArchiveError::MGeneric(L"Failed to compress an entry", m_name);
}
} // namespace format3mf::archive
