// Reads and writes JPEG images through libjpeg, turning its error jumps into a
// plain failure instead of an exit.
#include "common/ImageBitmapIO.h"
#include "common/StdioFile.h"

#include <csetjmp>
#include <cstdio>
#include <vector>

// jpeglib.h needs FILE and size_t declared before it.
#include <jpeglib.h>

#include <jerror.h>

namespace OndSDK::Common
{
namespace
{
struct JpegErrorManager
{
    jpeg_error_mgr base;
    std::jmp_buf jump;
};

[[noreturn]] void OnJpegError(j_common_ptr info)
{
    std::longjmp(reinterpret_cast<JpegErrorManager*>(info->err)->jump, 1);
}

// Warnings are silent, but for the end of the data: libjpeg would go on and
// fill the rest of the image with grey.
void OnJpegMessage(j_common_ptr info, int level)
{
    if (level < 0 && info->err->msg_code == JWRN_JPEG_EOF)
    {
        OnJpegError(info);
    }
}

// A progressive file may hold any number of scans, each a full pass over the
// image; a crafted one keeps the decoder busy for hours. Real files have a
// dozen or so.
constexpr int kMaxScans = 500;

void OnJpegProgress(j_common_ptr info)
{
    if (info->is_decompressor && reinterpret_cast<j_decompress_ptr>(info)->input_scan_number > kMaxScans)
    {
        OnJpegError(info);
    }
}

// What a decode builds, outside the function that libjpeg jumps back to.
struct JpegReadState
{
    bool headerOnly = false;
    jpeg_decompress_struct info{};
    JpegErrorManager error{};
    jpeg_progress_mgr progress{};
    ImageBitmap bitmap;
    std::vector<JSAMPLE> cmykRow;
};

JSAMPLE Scale(unsigned value, unsigned black)
{
    return static_cast<JSAMPLE>((value * black + 127) / 255);
}

// Adobe's applications store CMYK inverted (0 is full ink); others plainly.
void ConvertCmykRow(JSAMPLE const* cmyk, JSAMPLE* rgb, std::uint32_t width, bool inverted)
{
    for (std::uint32_t x = 0; x < width; ++x, cmyk += 4, rgb += 3)
    {
        unsigned const k = inverted ? cmyk[3] : 255u - cmyk[3];
        for (int c = 0; c < 3; ++c)
        {
            rgb[c] = Scale(inverted ? cmyk[c] : 255u - cmyk[c], k);
        }
    }
}

// Every libjpeg call of a read happens here. libjpeg reports errors by a
// jump back to the setjmp below, so this function holds no object with a
// destructor.
bool DecodeJpeg(std::FILE* file, JpegReadState* state)
{
    jpeg_decompress_struct* const info = &state->info;
    info->err = jpeg_std_error(&state->error.base);
    state->error.base.error_exit = OnJpegError;
    state->error.base.emit_message = OnJpegMessage;
    if (setjmp(state->error.jump))
    {
        return false;
    }
    jpeg_create_decompress(info);
    state->progress.progress_monitor = OnJpegProgress;
    info->progress = &state->progress;
    jpeg_stdio_src(info, file);
    jpeg_read_header(info, TRUE);
    if (state->headerOnly)
    {
        return true;
    }
    if (std::uint64_t(info->image_width) * info->image_height > ImageBitmap::kMaxPixels)
    {
        return false;
    }
    bool cmyk = false;
    switch (info->jpeg_color_space)
    {
    case JCS_GRAYSCALE:
        info->out_color_space = JCS_GRAYSCALE;
        break;
    case JCS_YCbCr:
    case JCS_RGB:
        info->out_color_space = JCS_RGB;
        break;
    case JCS_CMYK:
    case JCS_YCCK:
        info->out_color_space = JCS_CMYK;
        cmyk = true;
        break;
    default:
        return false;
    }
    jpeg_start_decompress(info);
    if (!state->bitmap.Create(info->output_width, info->output_height, cmyk ? 3 : info->output_components))
    {
        return false;
    }
    if (cmyk)
    {
        state->cmykRow.resize(std::size_t(info->output_width) * 4);
    }
    while (info->output_scanline < info->output_height)
    {
        std::uint32_t const y = info->output_scanline;
        JSAMPROW row = cmyk ? state->cmykRow.data() : state->bitmap.GetRow(y);
        if (jpeg_read_scanlines(info, &row, 1) != 1)
        {
            return false;
        }
        if (cmyk)
        {
            ConvertCmykRow(row, state->bitmap.GetRow(y), info->output_width, info->saw_Adobe_marker);
        }
    }
    jpeg_finish_decompress(info);
    return true;
}

// Reads the header, and the pixels too unless the state asks for the header
// alone.
bool ReadJpeg(std::wstring const& path, JpegReadState* state)
{
    format3mf::StdioFile const file = format3mf::OpenStdioFile(path, "rb");
    unsigned char signature[3];
    if (!file || std::fread(signature, 1, 3, file.get()) != 3 || signature[0] != 0xFF ||
        signature[1] != 0xD8 || signature[2] != 0xFF)
    {
        return false;
    }
    std::rewind(file.get());
    bool const read = DecodeJpeg(file.get(), state);
    jpeg_destroy_decompress(&state->info);
    return read;
}
} // namespace

bool LoadJpeg(ImageBitmap& bitmap, std::wstring const& path)
{
    JpegReadState state;
    if (!ReadJpeg(path, &state))
    {
        return false;
    }
    bitmap = std::move(state.bitmap);
    return true;
}

bool ReadJpegSize(std::wstring const& path, std::uint32_t& width, std::uint32_t& height)
{
    JpegReadState state;
    state.headerOnly = true;
    if (!ReadJpeg(path, &state))
    {
        return false;
    }
    width = state.info.image_width;
    height = state.info.image_height;
    return true;
}
} // namespace OndSDK::Common
