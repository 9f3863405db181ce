#pragma once

#include <cstddef>

// A source of bytes read front to back.
class IReadBuffer
{
public:
    IReadBuffer() = default;
    IReadBuffer(IReadBuffer const&) = delete;
    IReadBuffer& operator=(IReadBuffer const&) = delete;
    virtual ~IReadBuffer() = default;

    // Gives up to size bytes; 0 only at the end.
    virtual std::size_t Read(char* data, std::size_t size) = 0;
};
