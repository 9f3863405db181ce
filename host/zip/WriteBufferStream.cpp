// A block-buffered streambuf over an IWriteBuffer that passes its failures on.
#include "zip/WriteBufferStream.h"

#include <stdexcept>
#include <streambuf>

namespace
{
constexpr std::size_t kBlockSize = 1u << 18;
}

class WriteBufferStream::StreamBuffer : public std::streambuf
{
public:
    explicit StreamBuffer(IWriteBuffer* target) : m_target(target), m_block(new char[kBlockSize])
    {
        if (!m_target)
        {
            throw std::invalid_argument("WriteBufferStream needs a buffer");
        }
        setp(m_block.get(), m_block.get() + kBlockSize);
    }

    ~StreamBuffer() override
    {
        try
        {
            Drain();
        }
        catch (...)
        {
            // Nothing can report it here; flush() before destruction does.
        }
    }

protected:
    int_type overflow(int_type c) override
    {
        Drain();
        if (!traits_type::eq_int_type(c, traits_type::eof()))
        {
            *pptr() = traits_type::to_char_type(c);
            pbump(1);
        }
        return traits_type::not_eof(c);
    }

    int sync() override
    {
        Drain();
        return 0;
    }

private:
    void Drain()
    {
        std::size_t const size = static_cast<std::size_t>(pptr() - pbase());
        setp(m_block.get(), m_block.get() + kBlockSize);
        if (size > 0)
        {
            m_target->Write(m_block.get(), size);
        }
    }

    std::unique_ptr<IWriteBuffer> m_target;
    std::unique_ptr<char[]> m_block;
};

WriteBufferStream::WriteBufferStream(IWriteBuffer* buffer)
    : std::ostream(nullptr), m_streamBuffer(std::make_unique<StreamBuffer>(buffer))
{
    rdbuf(m_streamBuffer.get());
    exceptions(std::ios::badbit);
}

WriteBufferStream::~WriteBufferStream() = default;
