#include "ImageWriters.h"

#include "common/StdioFile.h"
#include "common/StringConversion.h"

#include <png.h>

#include <cstdio>

#include <jpeglib.h>

using OndSDK::Common::OpenStdioFile;
using OndSDK::Common::StdioFile;

namespace ImageWriters
{
bool WritePalettePng(std::wstring const& path, std::uint32_t width, std::uint32_t height,
                     std::vector<std::uint8_t> const& indices, std::vector<std::uint8_t> const& palette,
                     bool alpha)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = alpha ? PNG_FORMAT_RGBA_COLORMAP : PNG_FORMAT_RGB_COLORMAP;
    image.colormap_entries = static_cast<png_uint_32>(palette.size() / (alpha ? 4 : 3));
    return png_image_write_to_file(&image, StringConversion::ConvertNativeToUTF8(path).c_str(), 0,
                                   indices.data(), 0, palette.data()) != 0;
}

bool Write16BitPng(std::wstring const& path, std::uint32_t width, std::uint32_t height,
                   std::vector<std::uint16_t> const& samples)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_LINEAR_RGB;
    return png_image_write_to_file(&image, StringConversion::ConvertNativeToUTF8(path).c_str(), 0,
                                   samples.data(), 0, nullptr) != 0;
}

bool WriteJpeg(std::wstring const& path, std::uint32_t width, std::uint32_t height, int components,
               std::vector<std::uint8_t> const& samples)
{
    StdioFile const file = OpenStdioFile(path, "wb");
    if (!file)
    {
        return false;
    }
    jpeg_compress_struct info{};
    jpeg_error_mgr error{};
    info.err = jpeg_std_error(&error);
    jpeg_create_compress(&info);
    jpeg_stdio_dest(&info, file.get());
    info.image_width = width;
    info.image_height = height;
    info.input_components = components;
    info.in_color_space = components == 1 ? JCS_GRAYSCALE : components == 3 ? JCS_RGB : JCS_CMYK;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 100, TRUE);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height)
    {
        JSAMPROW row =
            const_cast<JSAMPROW>(samples.data() + std::size_t(info.next_scanline) * width * components);
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    return true;
}
} // namespace ImageWriters
