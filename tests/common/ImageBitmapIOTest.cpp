#include "ImageWriters.h"
#include "ScratchFolder.h"

#include "common/ImageBitmapIO.h"

#include <gtest/gtest.h>

#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>

using OndSDK::Common::ImageBitmap;
using OndSDK::Common::LoadJpeg;
using OndSDK::Common::LoadPng;
using OndSDK::Common::SavePng;

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

std::vector<std::uint8_t> Repeat(std::vector<std::uint8_t> const& pixel, std::size_t count)
{
    std::vector<std::uint8_t> result;
    for (std::size_t i = 0; i < count; ++i)
    {
        result.insert(result.end(), pixel.begin(), pixel.end());
    }
    return result;
}

// Every sample within `tolerance`, for lossy JPEG.
void ExpectNear(std::vector<std::uint8_t> const& expected, ImageBitmap const& bitmap, int tolerance)
{
    std::vector<std::uint8_t> const actual = Samples(bitmap);
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
    {
        ASSERT_NEAR(expected[i], actual[i], tolerance) << "sample " << i;
    }
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
    ScratchFolder folder;
    for (std::uint32_t channels = 1; channels <= 4; ++channels)
    {
        std::wstring const path = folder.File("image" + std::to_string(channels) + ".png");
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
    ScratchFolder folder;
    ImageBitmap bitmap;
    std::vector<std::uint8_t> const indices = {0, 1, 2, 1};
    std::wstring const path = folder.File("palette.png");
    ASSERT_TRUE(ImageWriters::WritePalettePng(path, 2, 2, indices, {255, 0, 0, 0, 255, 0, 0, 0, 255}, false));
    ASSERT_TRUE(LoadPng(bitmap, path));
    EXPECT_EQ((std::vector<std::uint8_t>{255, 0, 0, 0, 255, 0, 0, 0, 255, 0, 255, 0}), Samples(bitmap));

    // A palette with transparency gives RGBA; alpha as stored.
    ASSERT_TRUE(ImageWriters::WritePalettePng(path, 2, 2, indices,
                                              {255, 0, 0, 255, 0, 255, 0, 128, 0, 0, 255, 0}, true));
    ASSERT_TRUE(LoadPng(bitmap, path));
    ASSERT_EQ(4u, bitmap.GetChannels());
    EXPECT_EQ((std::vector<std::uint8_t>{255, 0, 0, 255}),
              std::vector<std::uint8_t>(bitmap.GetData(), bitmap.GetData() + 4));
    EXPECT_EQ(128, bitmap.GetData()[7]);
    EXPECT_EQ(0, bitmap.GetData()[11]);

    // 16-bit samples are scaled as stored, with no gamma correction.
    ASSERT_TRUE(ImageWriters::Write16BitPng(path, 2, 1, {0xFFFF, 0, 0x8080, 0, 0xFFFF, 0x0101}));
    ASSERT_TRUE(LoadPng(bitmap, path));
    EXPECT_EQ((std::vector<std::uint8_t>{255, 0, 128, 0, 255, 1}), Samples(bitmap));
}

TEST(ImageBitmapIO, JpegGivesGreyRgbAndConvertedCmyk)
{
    ScratchFolder folder;
    ImageBitmap bitmap;
    std::wstring const path = folder.File("image.jpg");

    ASSERT_TRUE(ImageWriters::WriteJpeg(path, 16, 8, 1, Repeat({200}, 16 * 8)));
    ASSERT_TRUE(LoadJpeg(bitmap, path));
    EXPECT_EQ(16u, bitmap.GetWidth());
    EXPECT_EQ(8u, bitmap.GetHeight());
    ExpectNear(Repeat({200}, 16 * 8), bitmap, 2);
    EXPECT_FALSE(LoadPng(bitmap, path));
    EXPECT_EQ(1u, bitmap.GetChannels());

    ASSERT_TRUE(ImageWriters::WriteJpeg(path, 8, 8, 3, Repeat({30, 120, 220}, 64)));
    ASSERT_TRUE(LoadJpeg(bitmap, path));
    ExpectNear(Repeat({30, 120, 220}, 64), bitmap, 3);

    // Red in Adobe's inverted CMYK: no cyan, full magenta and yellow, no black.
    ASSERT_TRUE(ImageWriters::WriteJpeg(path, 8, 8, 4, Repeat({255, 0, 0, 255}, 64)));
    ASSERT_TRUE(LoadJpeg(bitmap, path));
    ExpectNear(Repeat({255, 0, 0}, 64), bitmap, 3);
}

TEST(ImageBitmapIO, FilesOfNoOrBrokenFormatGiveFalse)
{
    ScratchFolder folder;
    std::wstring const text = folder.File("text.png");
    ScratchFolder::WriteBytes(text, {'h', 'e', 'l', 'l', 'o', '\n'});
    std::wstring const empty = folder.File("empty.png");
    ScratchFolder::WriteBytes(empty, {});
    // Only the signatures are right.
    std::wstring const signatures = folder.File("signatures.png");
    ScratchFolder::WriteBytes(signatures, {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0xFF, 0xD8, 0xFF});

    std::wstring const png = folder.File("truncated.png");
    ASSERT_TRUE(SavePng(Pattern(64, 64, 3), png));
    std::wstring const jpeg = folder.File("truncated.jpg");
    ASSERT_TRUE(ImageWriters::WriteJpeg(jpeg, 64, 64, 3, Samples(Pattern(64, 64, 3))));
    for (std::wstring const& path : {png, jpeg})
    {
        std::vector<unsigned char> bytes = ScratchFolder::ReadBytes(path);
        bytes.resize(bytes.size() * 6 / 10);
        ScratchFolder::WriteBytes(path, bytes);
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
    ScratchFolder folder;
    // A PNG whose header claims 100000 by 100000 pixels, with a valid CRC so
    // that only the size stands in the way.
    std::wstring const pngPath = folder.File("huge.png");
    ASSERT_TRUE(SavePng(Pattern(4, 4, 3), pngPath));
    std::vector<unsigned char> png = ScratchFolder::ReadBytes(pngPath);
    ASSERT_EQ(0, std::memcmp(png.data() + 12, "IHDR", 4));
    PutBigEndian(png, 16, 100000, 4);
    PutBigEndian(png, 20, 100000, 4);
    PutBigEndian(png, 29, static_cast<std::uint32_t>(crc32(0, png.data() + 12, 17)), 4);
    ScratchFolder::WriteBytes(pngPath, png);

    // A baseline JPEG whose frame header claims 60000 by 60000.
    std::wstring const jpegPath = folder.File("huge.jpg");
    ASSERT_TRUE(ImageWriters::WriteJpeg(jpegPath, 16, 16, 3, Repeat({90, 90, 90}, 256)));
    std::vector<unsigned char> jpeg = ScratchFolder::ReadBytes(jpegPath);
    unsigned char const startOfFrame[] = {0xFF, 0xC0};
    auto const frame =
        std::search(jpeg.begin(), jpeg.end(), std::begin(startOfFrame), std::end(startOfFrame));
    ASSERT_NE(jpeg.end(), frame);
    PutBigEndian(jpeg, static_cast<std::size_t>(frame - jpeg.begin()) + 5, 60000, 2);
    PutBigEndian(jpeg, static_cast<std::size_t>(frame - jpeg.begin()) + 7, 60000, 2);
    ScratchFolder::WriteBytes(jpegPath, jpeg);

    ImageBitmap bitmap;
    EXPECT_FALSE(LoadPng(bitmap, pngPath));
    EXPECT_FALSE(LoadJpeg(bitmap, jpegPath));
    EXPECT_TRUE(bitmap.IsEmpty());
}
