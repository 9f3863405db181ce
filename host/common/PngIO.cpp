// Reads and writes PNG images through libpng, keeping its error jumps away from
// any object with a destructor.
#include "common/ImageBitmapIO.h"
#include "common/StdioFile.h"

#include <png.h>

#include <csetjmp>
#include <vector>

namespace OndSDK::Common
{
namespace
{
constexpr std::size_t kSignatureSize = 8;

// What a decode builds. It lives outside the function that libpng jumps back
// to, so that a jump never skips a destructor.
struct PngReadState
{
    bool headerOnly = false;
    png_uint_32 width = 0;
    png_uint_32 height = 0;
    ImageBitmap bitmap;
    std::vector<png_bytep> rows;
};

[[noreturn]] void OnPngError(png_structp png, png_const_charp)
{
    png_longjmp(png, 1);
}

void OnPngWarning(png_structp, png_const_charp) {}

// Every libpng call of a read happens here. libpng reports errors by a jump
// back to the setjmp below, so this function holds no object with a
// destructor.
bool DecodePng(png_structp png, png_infop info, std::FILE* file, PngReadState* state)
{
    if (setjmp(png_jmpbuf(png)))
    {
        return false;
    }
    png_init_io(png, file);
    png_set_sig_bytes(png, kSignatureSize);
    png_read_info(png, info);
    png_uint_32 const width = png_get_image_width(png, info);
    png_uint_32 const height = png_get_image_height(png, info);
    state->width = width;
    state->height = height;
    if (state->headerOnly)
    {
        return true;
    }
    if (std::uint64_t(width) * height > ImageBitmap::kMaxPixels)
    {
        return false;
    }
    // Palettes to RGB, low-bit grey to 8 bits, a transparency chunk to alpha.
    png_set_expand(png);
    png_set_scale_16(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    if (!state->bitmap.Create(width, height, png_get_channels(png, info)))
    {
        return false;
    }
    state->rows.resize(height);
    for (png_uint_32 y = 0; y < height; ++y)
    {
        state->rows[y] = state->bitmap.GetRow(y);
    }
    png_read_image(png, state->rows.data());
    png_read_end(png, nullptr);
    return true;
}

// Reads the header, and the pixels too unless the state asks for the header
// alone.
bool ReadPng(std::wstring const& path, PngReadState* state)
{
    format3mf::StdioFile const file = format3mf::OpenStdioFile(path, "rb");
    png_byte signature[kSignatureSize];
    if (!file || std::fread(signature, 1, kSignatureSize, file.get()) != kSignatureSize ||
        png_sig_cmp(signature, 0, kSignatureSize) != 0)
    {
        return false;
    }
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, OnPngError, OnPngWarning);
    if (png == nullptr)
    {
        return false;
    }
    png_infop info = png_create_info_struct(png);
    bool const read = info != nullptr && DecodePng(png, info, file.get(), state);
    png_destroy_read_struct(&png, &info, nullptr);
    return read;
}
} // namespace

bool LoadPng(ImageBitmap& bitmap, std::wstring const& path)
{
    PngReadState state;
    if (!ReadPng(path, &state))
    {
        return false;
    }
    bitmap = std::move(state.bitmap);
    return true;
}

bool ReadPngSize(std::wstring const& path, std::uint32_t& width, std::uint32_t& height)
{
    PngReadState state;
    state.headerOnly = true;
    if (!ReadPng(path, &state))
    {
        return false;
    }
    width = state.width;
    height = state.height;
    return true;
}

bool SavePng(ImageBitmap const& bitmap, std::wstring const& path)
{
    if (bitmap.IsEmpty())
    {
        return false;
    }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = bitmap.GetWidth();
    image.height = bitmap.GetHeight();
    switch (bitmap.GetChannels())
    {
    case 1:
        image.format = PNG_FORMAT_GRAY;
        break;
    case 2:
        image.format = PNG_FORMAT_GA;
        break;
    case 3:
        image.format = PNG_FORMAT_RGB;
        break;
    default:
        image.format = PNG_FORMAT_RGBA;
        break;
    }
    // The simplified API sets its own error handling up and removes a
    // partly written file on failure.
    bool const written =
        png_image_write_to_file(&image, StringConversion::ConvertNativeToFileName(path).c_str(), 0,
                                bitmap.GetData(), 0, nullptr) != 0;
    png_image_free(&image);
    return written;
}
} // namespace OndSDK::Common
