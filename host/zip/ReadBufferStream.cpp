// A block-buffered streambuf over an IReadBuffer that passes its failures on.
#include "zip/ReadBufferStream.h"

#include <stdexcept>
#include <streambuf>

namespace
{
constexpr std::size_t kBlockSize = 1u << 18;
}

class ReadBufferStream::StreamBuffer : public std::streambuf
{
public:
    explicit StreamBuffer(IReadBuffer* source) : m_source(source), m_block(new char[kBlockSize])
    {
        if (!m_source)
        {
            throw std::invalid_argument("ReadBufferStream needs a buffer");
        }
    }

protected:
    int_type underflow() override
    {
        std::size_t const got = m_source->Read(m_block.get(), kBlockSize);
        if (got == 0)
        {
            return traits_type::eof();
        }
        setg(m_block.get(), m_block.get(), m_block.get() + got);
        return traits_type::to_int_type(*gptr());
    }

private:
    std::unique_ptr<IReadBuffer> m_source;
    std::unique_ptr<char[]> m_block;
};

ReadBufferStream::ReadBufferStream(IReadBuffer* buffer)
    : std::istream(nullptr), m_streamBuffer(std::make_unique<StreamBuffer>(buffer))
{
    rdbuf(m_streamBuffer.get());
    exceptions(std::ios::badbit);
}

ReadBufferStream::~ReadBufferStream() = default;
