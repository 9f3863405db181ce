#pragma once

// An std::ostream over a part's write buffer, so that writers print into an
// archive entry.

#include "zip/IWriteBuffer.h"

#include <memory>
#include <ostream>

// An output stream over an IWriteBuffer, which it takes over. A failure of
// the buffer sets badbit and its exception reaches the writer (the stream's
// exception mask holds badbit). Destroying the stream hands over what is
// left and destroys the buffer; a failure then can't be reported, so call
// flush() first to see it.
class WriteBufferStream : public std::ostream
{
public:
    explicit WriteBufferStream(IWriteBuffer* buffer);
    ~WriteBufferStream() override;

private:
    class StreamBuffer;
    std::unique_ptr<StreamBuffer> m_streamBuffer;
};
