// Tests of PNG and JPEG loading and saving: channels kept or expanded, and
// broken or oversized files refused without a crash.
#include "support/PackageTestSupport.h"

#include "common/ImageBitmapIO.h"
#include "common/StdioFile.h"

#include <gtest/gtest.h>

#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>

#include <jpeglib.h>

using namespace OndSDK::Common;

namespace
{
// A deterministic image with enough detail that it doesn't compress to nothing.
ImageBitmap Pattern(std::uint32_t width, std::uint32_t height, std::uint32_t channels)
{
    ImageBitmap bitmap;
    bitmap.Create(width, height, channels);
    std::uint32_t state = 12345;
    for (std::size_t i = 0; i < std::size_t(width) * height * channels; ++i)
    {
        state = state * 1103515245u + 12345u;
        bitmap.GetData()[i] = static_cast<std::uint8_t>(state >> 16);
    }
    return bitmap;
}

std::vector<std::uint8_t> Samples(ImageBitmap const& bitmap)
{
    return {bitmap.GetData(),
            bitmap.GetData() + std::size_t(bitmap.GetWidth()) * bitmap.GetHeight() * bitmap.GetChannels()};
}

// PNG forms the library never writes itself: palettes and 16-bit samples.
// A 2 by 2 image.
bool WritePng(std::wstring const& path, png_uint_32 format, void const* pixels,
              std::vector<std::uint8_t> const& palette = {})
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = image.height = 2;
    image.format = format;
    image.colormap_entries = static_cast<png_uint_32>(palette.size() / PNG_IMAGE_SAMPLE_CHANNELS(format));
    return png_image_write_to_file(&image, StringConversion::ConvertNativeToUTF8(path).c_str(), 0, pixels, 0,
                                   palette.empty() ? nullptr : palette.data()) != 0;
}

// A JPEG of 1 (grey), 3 (RGB) or 4 (CMYK, Adobe-inverted) components, every
// pixel the same unless `samples` gives them all.
void WriteJpeg(std::wstring const& path, std::uint32_t size, std::vector<std::uint8_t> samples)
{
    int const components = samples.size() > 4 ? 3 : static_cast<int>(samples.size());
    for (std::size_t i = samples.size(); i < std::size_t(size) * size * components; ++i)
    {
        samples.push_back(samples[i - components]);
    }
    format3mf::StdioFile const file = format3mf::OpenStdioFile(path, "wb");
    jpeg_compress_struct info{};
    jpeg_error_mgr error{};
    info.err = jpeg_std_error(&error);
    jpeg_create_compress(&info);
    jpeg_stdio_dest(&info, file.get());
    info.image_width = info.image_height = size;
    info.input_components = components;
    info.in_color_space = components == 1 ? JCS_GRAYSCALE : components == 3 ? JCS_RGB : JCS_CMYK;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 100, TRUE);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height)
    {
        JSAMPROW row = samples.data() + std::size_t(info.next_scanline) * size * components;
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
}

void PutBigEndian(std::vector<unsigned char>& bytes, std::size_t at, std::uint32_t value, int size)
{
    for (int i = 0; i < size; ++i)
    {
        bytes[at + i] = static_cast<unsigned char>(value >> (8 * (size - 1 - i)));
    }
}
} // namespace

TEST(ImageBitmapIO, PngRoundTripKeepsChannels)
{
    PackageScratch folder;
    std::wstring const path = folder.File("image.png");
    for (std::uint32_t channels = 1; channels <= 4; ++channels)
    {
        ImageBitmap const original = Pattern(37, 11, channels);
        ASSERT_TRUE(SavePng(original, path));
        ImageBitmap loaded;
        ASSERT_TRUE(LoadPng(loaded, path)) << channels;
        EXPECT_EQ(original, loaded) << channels;
        EXPECT_FALSE(LoadJpeg(loaded, path));
        EXPECT_EQ(original, loaded);
    }
    EXPECT_FALSE(SavePng(ImageBitmap(), folder.File("empty.png")));
    EXPECT_FALSE(SavePng(Pattern(2, 2, 3), folder.File("no/such/folder.png")));
}

TEST(ImageBitmapIO, PngPalettesAndDeepSamplesAreExpanded)
{
    PackageScratch folder;
    std::wstring const path = folder.File("image.png");
    ImageBitmap bitmap;
    std::uint8_t const indices[] = {0, 1, 2, 1};
    ASSERT_TRUE(WritePng(path, PNG_FORMAT_RGB_COLORMAP, indices, {255, 0, 0, 0, 255, 0, 0, 0, 255}));
    ASSERT_TRUE(LoadPng(bitmap, path));
    EXPECT_EQ((std::vector<std::uint8_t>{255, 0, 0, 0, 255, 0, 0, 0, 255, 0, 255, 0}), Samples(bitmap));
    // A palette with transparency gives RGBA, alpha as stored.
    ASSERT_TRUE(
        WritePng(path, PNG_FORMAT_RGBA_COLORMAP, indices, {255, 0, 0, 255, 0, 255, 0, 128, 0, 0, 255, 0}));
    ASSERT_TRUE(LoadPng(bitmap, path));
    EXPECT_EQ((std::vector<std::uint8_t>{255, 0, 0, 255, 0, 255, 0, 128, 0, 0, 255, 0, 0, 255, 0, 128}),
              Samples(bitmap));
    // 16-bit samples are scaled as stored, with no gamma correction.
    std::uint16_t const deep[] = {0xFFFF, 0, 0x8080, 0, 0xFFFF, 0x0101, 0, 0, 0, 0, 0, 0};
    ASSERT_TRUE(WritePng(path, PNG_FORMAT_LINEAR_RGB, deep));
    ASSERT_TRUE(LoadPng(bitmap, path));
    EXPECT_EQ((std::vector<std::uint8_t>{255, 0, 128, 0, 255, 1, 0, 0, 0, 0, 0, 0}), Samples(bitmap));
}

TEST(ImageBitmapIO, JpegGivesGreyRgbAndConvertedCmyk)
{
    PackageScratch folder;
    std::wstring const path = folder.File("image.jpg");
    // Red in Adobe's inverted CMYK: no cyan, full magenta and yellow, no black.
    std::vector<std::uint8_t> const pixels[][2] = {
        {{200}, {200}}, {{30, 120, 220}, {30, 120, 220}}, {{255, 0, 0, 255}, {255, 0, 0}}};
    for (auto const& pixel : pixels)
    {
        WriteJpeg(path, 8, pixel[0]);
        ImageBitmap bitmap;
        ASSERT_TRUE(LoadJpeg(bitmap, path));
        ASSERT_EQ(8u, bitmap.GetWidth());
        ASSERT_EQ(pixel[1].size(), bitmap.GetChannels());
        std::vector<std::uint8_t> const actual = Samples(bitmap);
        for (std::size_t i = 0; i < actual.size(); ++i)
        {
            ASSERT_NEAR(pixel[1][i % pixel[1].size()], actual[i], 3) << "sample " << i;
        }
    }
}

// Files of no format, truncated ones, and headers claiming more pixels than
// the readers take (a PNG of 100000 by 100000 with a valid CRC, a baseline
// JPEG of 60000 by 60000): each reader refuses them and leaves the bitmap
// alone, while the headers alone can still be weighed, each reader knowing
// only its own format.
TEST(ImageBitmapIO, BrokenTruncatedOrOversizedFilesAreRefused)
{
    PackageScratch folder;
    std::wstring const png = folder.File("image.png"), jpeg = folder.File("image.jpg");
    ASSERT_TRUE(SavePng(Pattern(64, 64, 3), png));
    WriteJpeg(jpeg, 64, Samples(Pattern(64, 64, 3)));
    std::vector<unsigned char> const pngBytes = ReadBytes(png), jpegBytes = ReadBytes(jpeg);
    std::vector<unsigned char> hugePng = pngBytes, hugeJpeg = jpegBytes;
    ASSERT_EQ(0, std::memcmp(hugePng.data() + 12, "IHDR", 4));
    PutBigEndian(hugePng, 16, 100000, 4);
    PutBigEndian(hugePng, 20, 100000, 4);
    PutBigEndian(hugePng, 29, static_cast<std::uint32_t>(crc32(0, hugePng.data() + 12, 17)), 4);
    unsigned char const startOfFrame[] = {0xFF, 0xC0};
    std::size_t const frame = static_cast<std::size_t>(
        std::search(hugeJpeg.begin(), hugeJpeg.end(), std::begin(startOfFrame), std::end(startOfFrame)) -
        hugeJpeg.begin());
    ASSERT_LT(frame, hugeJpeg.size());
    PutBigEndian(hugeJpeg, frame + 5, 60000, 2);
    PutBigEndian(hugeJpeg, frame + 7, 60000, 2);
    std::pair<char const*, std::vector<unsigned char>> const files[] = {
        {"text", {'h', 'e', 'l', 'l', 'o', '\n'}},
        {"empty", {}},
        {"signatures", {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0xFF, 0xD8, 0xFF}},
        {"truncated png", {pngBytes.begin(), pngBytes.begin() + pngBytes.size() * 6 / 10}},
        {"truncated jpeg", {jpegBytes.begin(), jpegBytes.begin() + jpegBytes.size() * 6 / 10}},
        {"huge png", hugePng},
        {"huge jpeg", hugeJpeg},
    };
    ImageBitmap const marker = Pattern(1, 1, 1);
    for (auto const& [name, bytes] : files)
    {
        SCOPED_TRACE(name);
        WriteBytes(png, bytes);
        ImageBitmap bitmap = marker;
        EXPECT_FALSE(LoadPng(bitmap, png));
        EXPECT_FALSE(LoadJpeg(bitmap, png));
        EXPECT_EQ(marker, bitmap);
    }
    ImageBitmap bitmap = marker;
    EXPECT_FALSE(LoadPng(bitmap, folder.File("missing.png")));
    EXPECT_FALSE(LoadJpeg(bitmap, folder.File("missing.png")));
    EXPECT_EQ(marker, bitmap);

    WriteBytes(png, hugePng);
    WriteBytes(jpeg, hugeJpeg);
    std::uint32_t width = 0, height = 0;
    ASSERT_TRUE(ReadPngSize(png, width, height));
    EXPECT_EQ(std::make_pair(100000u, 100000u), std::make_pair(width, height));
    ASSERT_TRUE(ReadJpegSize(jpeg, width, height));
    EXPECT_EQ(std::make_pair(60000u, 60000u), std::make_pair(width, height));
    EXPECT_FALSE(ReadPngSize(jpeg, width, height));
    EXPECT_FALSE(ReadJpegSize(png, width, height));
    EXPECT_FALSE(ReadPngSize(folder.File("missing.png"), width, height));
}
