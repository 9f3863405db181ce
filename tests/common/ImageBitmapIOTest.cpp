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
    StdioFile const file = OpenStdioFile(path, "wb");
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

TEST(ImageBitmapIO, FilesOfNoOrBrokenFormatGiveFalse)
{
    PackageScratch folder;
    std::wstring const text = folder.File("text.png");
    WriteBytes(text, {'h', 'e', 'l', 'l', 'o', '\n'});
    std::wstring const empty = folder.File("empty.png");
    WriteBytes(empty, {});
    // Only the signatures are right.
    std::wstring const signatures = folder.File("signatures.png");
    WriteBytes(signatures, {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0xFF, 0xD8, 0xFF});

    std::wstring const png = folder.File("truncated.png");
    ASSERT_TRUE(SavePng(Pattern(64, 64, 3), png));
    std::wstring const jpeg = folder.File("truncated.jpg");
    WriteJpeg(jpeg, 64, Samples(Pattern(64, 64, 3)));
    for (std::wstring const& path : {png, jpeg})
    {
        std::vector<unsigned char> bytes = ReadBytes(path);
        bytes.resize(bytes.size() * 6 / 10);
        WriteBytes(path, bytes);
    }

    ImageBitmap const marker = Pattern(1, 1, 1);
    for (std::wstring const& path : {text, empty, png, jpeg, signatures, folder.File("missing.png")})
    {
        ImageBitmap bitmap = marker;
        EXPECT_FALSE(LoadPng(bitmap, path)) << path;
        EXPECT_FALSE(LoadJpeg(bitmap, path)) << path;
        EXPECT_EQ(marker, bitmap) << path;
    }
}

TEST(ImageBitmapIO, OversizedHeadersAreRefused)
{
    PackageScratch folder;
    // A PNG whose header claims 100000 by 100000 pixels, with a valid CRC so
    // that only the size stands in the way.
    std::wstring const pngPath = folder.File("huge.png");
    ASSERT_TRUE(SavePng(Pattern(4, 4, 3), pngPath));
    std::vector<unsigned char> png = ReadBytes(pngPath);
    ASSERT_EQ(0, std::memcmp(png.data() + 12, "IHDR", 4));
    PutBigEndian(png, 16, 100000, 4);
    PutBigEndian(png, 20, 100000, 4);
    PutBigEndian(png, 29, static_cast<std::uint32_t>(crc32(0, png.data() + 12, 17)), 4);
    WriteBytes(pngPath, png);

    // A baseline JPEG whose frame header claims 60000 by 60000.
    std::wstring const jpegPath = folder.File("huge.jpg");
    WriteJpeg(jpegPath, 16, {90, 90, 90});
    std::vector<unsigned char> jpeg = ReadBytes(jpegPath);
    unsigned char const startOfFrame[] = {0xFF, 0xC0};
    auto const frame =
        std::search(jpeg.begin(), jpeg.end(), std::begin(startOfFrame), std::end(startOfFrame));
    ASSERT_NE(jpeg.end(), frame);
    std::size_t const at = static_cast<std::size_t>(frame - jpeg.begin());
    PutBigEndian(jpeg, at + 5, 60000, 2);
    PutBigEndian(jpeg, at + 7, 60000, 2);
    WriteBytes(jpegPath, jpeg);

    ImageBitmap bitmap;
    EXPECT_FALSE(LoadPng(bitmap, pngPath));
    EXPECT_FALSE(LoadJpeg(bitmap, jpegPath));
    EXPECT_TRUE(bitmap.IsEmpty());

    // The headers alone can still be weighed, and each reader knows only its
    // own format.
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    ASSERT_TRUE(ReadPngSize(pngPath, width, height));
    EXPECT_EQ(100000u, width);
    EXPECT_EQ(100000u, height);
    ASSERT_TRUE(ReadJpegSize(jpegPath, width, height));
    EXPECT_EQ(60000u, width);
    EXPECT_EQ(60000u, height);
    EXPECT_FALSE(ReadPngSize(jpegPath, width, height));
    EXPECT_FALSE(ReadJpegSize(pngPath, width, height));
    EXPECT_FALSE(ReadPngSize(folder.File("missing.png"), width, height));
}
