#pragma once

#include <cstddef>

// A sink of bytes. Destroying it completes what was written (an archive
// buffer closes its entry then).
class IWriteBuffer
{
public:
    IWriteBuffer() = default;
    IWriteBuffer(IWriteBuffer const&) = delete;
    IWriteBuffer& operator=(IWriteBuffer const&) = delete;
    virtual ~IWriteBuffer() = default;

    // Appends size bytes; failures throw.
    virtual void Write(char const* data, std::size_t size) = 0;
};
