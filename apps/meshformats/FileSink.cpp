// Buffered writes to a descriptor that give up at the first error with its
// errno, so that a full disk or a file-size limit reaches the user by name.
#include "FileSink.h"

#include "common/IProgressDelegate.h"

#include <cerrno>

#include <unistd.h>

namespace format3mf::meshformats
{
namespace
{
constexpr std::size_t kBlock = 1 << 20;
} // namespace

FileSink::FileSink(format3mf::SafeFileWrite& target, OndSDK::Common::IProgressDelegate const* progress)
    : m_target(target), m_progress(progress)
{
    m_buffer.reserve(kBlock);
}

void FileSink::Write(void const* data, std::size_t size)
{
    auto const* bytes = static_cast<char const*>(data);
    if (m_buffer.size() + size > kBlock)
    {
        Flush();
    }
    if (size >= kBlock)
    {
        _Send(bytes, size);
        return;
    }
    m_buffer.append(bytes, size);
}

void FileSink::Flush()
{
    _Send(m_buffer.data(), m_buffer.size());
    m_buffer.clear();
}

void FileSink::_Send(char const* data, std::size_t size)
{
    if (m_progress != nullptr && m_progress->IsCancelled())
    {
        throw Canceled();
    }
    while (size != 0)
    {
        ssize_t const written = ::write(m_target.Descriptor(), data, size);
        if (written < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            throw m_target.Failure(errno);
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}
} // namespace format3mf::meshformats
