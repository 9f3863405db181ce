// Buffered binary file access with 32-bit words kept little-endian on disk,
// whatever the host's byte order.
#include "common/MFile.h"

#include "common/StringConversion.h"

#include <boost/endian/conversion.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

namespace
{
constexpr std::size_t kWordSize = 4;
// Smaller buffers than this would cost a system call every few numbers.
constexpr std::uint64_t kMinimumBuffer = 4096;

// Converts words between the order on disk and the host's, in place.
void SwapToOrFromLittleEndian(unsigned char* bytes, std::size_t words)
{
    if constexpr (boost::endian::order::native != boost::endian::order::little)
    {
        for (std::size_t i = 0; i < words; ++i)
        {
            std::uint32_t word;
            std::memcpy(&word, bytes + i * kWordSize, kWordSize);
            boost::endian::little_to_native_inplace(word);
            std::memcpy(bytes + i * kWordSize, &word, kWordSize);
        }
    }
}
} // namespace

MFile::MFile(std::uint64_t bufferSize)
    : m_buffer(static_cast<std::size_t>(std::max(bufferSize, kMinimumBuffer) / kWordSize * kWordSize))
{
}

MFile::~MFile()
{
    Close();
}

bool MFile::OPEN_READ(wchar_t const* path)
{
    return Open(path, Mode::Read);
}

bool MFile::OPEN_WRITE(wchar_t const* path)
{
    return Open(path, Mode::Write);
}

bool MFile::Open(wchar_t const* path, Mode mode)
{
    Close();
    if (path == nullptr)
    {
        return false;
    }
    std::string const name = StringConversion::ConvertNativeToFileName(std::wstring(path));
    int const flags = mode == Mode::Read ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
    do
    {
        m_fd = ::open(name.c_str(), flags | O_CLOEXEC, 0666);
    } while (m_fd < 0 && errno == EINTR);
    if (m_fd < 0)
    {
        return false;
    }
    m_mode = mode;
    m_begin = m_end = 0;
    m_filePosition = 0;
    return true;
}

bool MFile::Close()
{
    if (m_fd < 0)
    {
        return true;
    }
    bool const flushed = m_mode != Mode::Write || Flush();
    bool const closed = ::close(m_fd) == 0;
    m_fd = -1;
    m_mode = Mode::Closed;
    m_begin = m_end = 0;
    return flushed && closed;
}

bool MFile::Flush()
{
    std::size_t written = 0;
    while (written < m_end)
    {
        ssize_t const n = ::write(m_fd, m_buffer.data() + written, m_end - written);
        if (n < 0 && errno == EINTR)
        {
            continue;
        }
        if (n <= 0)
        {
            // Keep what was not written, so that positions stay right.
            std::memmove(m_buffer.data(), m_buffer.data() + written, m_end - written);
            m_end -= written;
            m_filePosition += written;
            return false;
        }
        written += static_cast<std::size_t>(n);
    }
    m_filePosition += written;
    m_end = 0;
    return true;
}

bool MFile::Refill()
{
    std::size_t const left = m_end - m_begin;
    std::memmove(m_buffer.data(), m_buffer.data() + m_begin, left);
    m_begin = 0;
    m_end = left;
    for (;;)
    {
        ssize_t const n = ::read(m_fd, m_buffer.data() + m_end, m_buffer.size() - m_end);
        if (n < 0 && errno == EINTR)
        {
            continue;
        }
        if (n <= 0)
        {
            return false;
        }
        m_end += static_cast<std::size_t>(n);
        m_filePosition += static_cast<std::uint64_t>(n);
        return true;
    }
}

std::uint64_t MFile::ReadWords(void* data, std::uint64_t count)
{
    if (m_mode != Mode::Read || data == nullptr)
    {
        return 0;
    }
    auto* target = static_cast<unsigned char*>(data);
    std::uint64_t done = 0;
    while (done < count)
    {
        if (m_end - m_begin < kWordSize && !Refill())
        {
            break;
        }
        std::size_t const words =
            static_cast<std::size_t>(std::min<std::uint64_t>((m_end - m_begin) / kWordSize, count - done));
        unsigned char* const out = target + done * kWordSize;
        std::memcpy(out, m_buffer.data() + m_begin, words * kWordSize);
        SwapToOrFromLittleEndian(out, words);
        m_begin += words * kWordSize;
        done += words;
    }
    return done;
}

std::uint64_t MFile::WriteWords(void const* data, std::uint64_t count)
{
    if (m_mode != Mode::Write || data == nullptr)
    {
        return 0;
    }
    auto const* source = static_cast<unsigned char const*>(data);
    std::uint64_t done = 0;
    while (done < count)
    {
        if (m_buffer.size() - m_end < kWordSize && !Flush())
        {
            break;
        }
        std::size_t const words = static_cast<std::size_t>(
            std::min<std::uint64_t>((m_buffer.size() - m_end) / kWordSize, count - done));
        unsigned char* const out = m_buffer.data() + m_end;
        std::memcpy(out, source + done * kWordSize, words * kWordSize);
        SwapToOrFromLittleEndian(out, words);
        m_end += words * kWordSize;
        done += words;
    }
    return done;
}

std::uint64_t MFile::READ(float* data, std::uint64_t count)
{
    static_assert(sizeof(float) == kWordSize, "floats must have 32 bits");
    return ReadWords(data, count);
}

std::uint64_t MFile::READ(std::int32_t* data, std::uint64_t count)
{
    return ReadWords(data, count);
}

std::uint64_t MFile::WRITE(float const* data, std::uint64_t count)
{
    return WriteWords(data, count);
}

std::uint64_t MFile::WRITE(std::int32_t* data, std::uint64_t count)
{
    return WriteWords(data, count);
}

std::uint64_t MFile::GetPosition() const
{
    switch (m_mode)
    {
    case Mode::Read:
        return m_filePosition - (m_end - m_begin);
    case Mode::Write:
        return m_filePosition + m_end;
    case Mode::Closed:
        break;
    }
    return 0;
}

bool MFile::Seek(std::uint64_t position)
{
    if (m_mode == Mode::Closed || position > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()))
    {
        return false;
    }
    if (m_mode == Mode::Read && position <= m_filePosition && m_filePosition - position <= m_end)
    {
        // Still inside the buffered bytes: no system call.
        m_begin = m_end - static_cast<std::size_t>(m_filePosition - position);
        return true;
    }
    if (m_mode == Mode::Write && !Flush())
    {
        return false;
    }
    if (::lseek(m_fd, static_cast<off_t>(position), SEEK_SET) < 0)
    {
        return false;
    }
    m_begin = m_end = 0;
    m_filePosition = position;
    return true;
}
