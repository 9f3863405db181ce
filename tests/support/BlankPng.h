// PNG files of any size that take next to nothing on disk: every pixel 0 at
// one bit each, so the compressed rows are tiny while the decoded image is as
// large as its header says. For tests of what large images cost.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>
#include <vector>

namespace BlankPng
{
inline void PutNumber(std::string& png, std::uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
    {
        png += static_cast<char>(value >> shift);
    }
}

inline void PutChunk(std::string& png, char const* type, std::string const& data)
{
    PutNumber(png, static_cast<std::uint32_t>(data.size()));
    std::string const body = std::string(type, 4) + data;
    png += body;
    PutNumber(png, static_cast<std::uint32_t>(crc32(0, reinterpret_cast<Bytef const*>(body.data()),
                                                    static_cast<uInt>(body.size()))));
}

// Decodes to 8-bit grey, or with `rgba` (a one-bit palette with a
// transparency entry) to RGBA: four bytes a pixel.
inline std::string Make(std::uint32_t width, std::uint32_t height, bool rgba)
{
    std::string header;
    PutNumber(header, width);
    PutNumber(header, height);
    header += std::string{1, static_cast<char>(rgba ? 3 : 0), 0, 0, 0}; // depth, colour type, methods
    // Each row: filter byte 0 and the bits of the row.
    std::vector<Bytef> const rows(std::size_t(height) * (1 + (width + 7) / 8), 0);
    uLongf size = compressBound(static_cast<uLong>(rows.size()));
    std::string compressed(size, '\0');
    compress2(reinterpret_cast<Bytef*>(&compressed[0]), &size, rows.data(), static_cast<uLong>(rows.size()),
              9);
    compressed.resize(size);

    std::string png = "\x89PNG\r\n\x1a\n";
    PutChunk(png, "IHDR", header);
    if (rgba)
    {
        PutChunk(png, "PLTE", std::string("\xff\x00\x00\x00\xff\x00", 6));
        PutChunk(png, "tRNS", std::string("\x80", 1));
    }
    PutChunk(png, "IDAT", compressed);
    PutChunk(png, "IEND", "");
    return png;
}
} // namespace BlankPng
