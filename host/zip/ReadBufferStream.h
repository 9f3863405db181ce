#pragma once

// An std::istream over a part's read buffer, so that parsers take the part as a
// stream without hiding damaged data.

#include "zip/IReadBuffer.h"

#include <istream>
#include <memory>

// An input stream over an IReadBuffer, which it takes over and destroys with
// itself. A failure of the buffer sets badbit and its exception reaches the
// reader (the stream's exception mask holds badbit), so damaged archive data
// can't pass for a short part.
class ReadBufferStream : public std::istream
{
public:
    explicit ReadBufferStream(IReadBuffer* buffer);
    ~ReadBufferStream() override;

private:
    class StreamBuffer;
    std::unique_ptr<StreamBuffer> m_streamBuffer;
};
