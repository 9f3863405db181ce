#pragma once

// Loading and saving PNG and JPEG files as ImageBitmap, failing softly on
// damaged or oversized images.

#include "common/ImageBitmap.h"
#include "common/OndExport.h"

#include <cstdint>
#include <string>

// Image files to and from ImageBitmap. Every function answers false, leaving
// the bitmap as it was, for a file that is missing, of another format,
// corrupt or truncated, and for an image larger than ImageBitmap::kMaxPixels,
// which is refused before its pixels are allocated.
namespace OndSDK::Common
{
// Keeps the channels of the file: grey, grey and alpha, RGB or RGBA. Palettes
// become RGB (RGBA with a transparency chunk), grey below 8 bits becomes
// 8-bit grey, and 16-bit samples are scaled to 8 bits. Sample values are
// taken as stored: no gamma correction is applied.
OND_EXPORT bool LoadPng(ImageBitmap& bitmap, std::wstring const& path);

// Gives grey or RGB. CMYK and YCCK images are converted to RGB; their
// samples are taken as inverted when the file carries an Adobe marker, as
// the files of Adobe's applications are. Data ending before the image does
// counts as truncation, not as a grey remainder.
OND_EXPORT bool LoadJpeg(ImageBitmap& bitmap, std::wstring const& path);

// The size of the image from the file's header alone, so that a caller can
// weigh an image before paying for its pixels; false where the Load function
// would fail before allocating.
OND_EXPORT bool ReadPngSize(std::wstring const& path, std::uint32_t& width, std::uint32_t& height);
OND_EXPORT bool ReadJpegSize(std::wstring const& path, std::uint32_t& width, std::uint32_t& height);

// Writes an 8-bit PNG with the channels of the bitmap; false for an empty
// bitmap or when the file can't be written (no partial file is left then).
OND_EXPORT bool SavePng(ImageBitmap const& bitmap, std::wstring const& path);
} // namespace OndSDK::Common
