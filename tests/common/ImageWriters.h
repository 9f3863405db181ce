#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Image files made directly with libpng and libjpeg, in the forms that the
// library itself never writes.
namespace ImageWriters
{
// A palette PNG; `palette` holds RGB or, with alpha, RGBA entries.
bool WritePalettePng(std::wstring const& path, std::uint32_t width, std::uint32_t height,
                     std::vector<std::uint8_t> const& indices, std::vector<std::uint8_t> const& palette,
                     bool alpha);
// An RGB PNG of 16-bit samples.
bool Write16BitPng(std::wstring const& path, std::uint32_t width, std::uint32_t height,
                   std::vector<std::uint16_t> const& samples);
// A JPEG of 1 (grey), 3 (RGB) or 4 (CMYK, Adobe-inverted) components.
bool WriteJpeg(std::wstring const& path, std::uint32_t width, std::uint32_t height, int components,
               std::vector<std::uint8_t> const& samples);
} // namespace ImageWriters
