#include "ImageWriters.h"
#include "ScratchFolder.h"

#include "common/ImageBitmapIO.h"

#include <gtest/gtest.h>

#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

using OndSDK::Common::ImageBitmap;
using OndSDK::Common::LoadJpeg;
using OndSDK::Common::LoadPng;
using OndSDK::Common::SavePng;

// The largest single allocation through operator new in this program, to
// show that an oversized image is refused before its pixels are allocated.
namespace
{
std::atomic<std::size_t> g_largestAllocation{0};
}

// GCC takes the replacement pair below for a mismatch of new and free.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size)
{
    std::size_t seen = g_largestAllocation.load(std::memory_order_relaxed);
    while (size > seen && !g_largestAllocation.compare_exchange_weak(seen, size, std::memory_order_relaxed))
    {
    }
    if (void* memory = std::malloc(size == 0 ? 1 : size))
    {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
#pragma GCC diagnostic pop

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

ImageBitmap Marker()
{
    ImageBitmap bitmap;
    bitmap.Create(1, 1, 1);
    bitmap.GetData()[0] = 42;
    return bitmap;
}

void Truncate(std::wstring const& path, double keep)
{
    std::vector<unsigned char> bytes = ScratchFolder::ReadBytes(path);
    bytes.resize(static_cast<std::size_t>(bytes.size() * keep));
    ScratchFolder::WriteBytes(path, bytes);
}

void PutBigEndian(std::vector<unsigned char>& bytes, std::size_t at, std::uint32_t value, int size)
{
    for (int i = 0; i < size; ++i)
    {
        bytes[at + i] = static_cast<unsigned char>(value >> (8 * (size - 1 - i)));
    }
}

// Every channel within `tolerance` of the expected value, for lossy JPEG.
void ExpectPixels(ImageBitmap const& bitmap, std::vector<std::uint8_t> const& expected, int tolerance)
{
    ASSERT_EQ(expected.size(), std::size_t(bitmap.GetWidth()) * bitmap.GetHeight() * bitmap.GetChannels());
    for (std::size_t i = 0; i < expected.size(); ++i)
    {
        ASSERT_NEAR(expected[i], bitmap.GetData()[i], tolerance) << "sample " << i;
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

TEST(ImageBitmapIO, PngPalettesBecomeRgbOrRgba)
{
    ScratchFolder folder;
    std::vector<std::uint8_t> const indices = {0, 1, 2, 1};
    std::wstring const rgbPath = folder.File("palette.png");
    ASSERT_TRUE(
        ImageWriters::WritePalettePng(rgbPath, 2, 2, indices, {255, 0, 0, 0, 255, 0, 0, 0, 255}, false));
    ImageBitmap bitmap;
    ASSERT_TRUE(LoadPng(bitmap, rgbPath));
    EXPECT_EQ(3u, bitmap.GetChannels());
    ExpectPixels(bitmap, {255, 0, 0, 0, 255, 0, 0, 0, 255, 0, 255, 0}, 0);

    std::wstring const rgbaPath = folder.File("palette-alpha.png");
    ASSERT_TRUE(ImageWriters::WritePalettePng(rgbaPath, 2, 2, indices,
                                              {255, 0, 0, 255, 0, 255, 0, 128, 0, 0, 255, 0}, true));
    ASSERT_TRUE(LoadPng(bitmap, rgbaPath));
    EXPECT_EQ(4u, bitmap.GetChannels());
    // Alpha as stored; colours of partly transparent entries may have been
    // adjusted by the writer, so only opaque red is compared exactly.
    EXPECT_EQ(255, bitmap.GetData()[0]);
    EXPECT_EQ(255, bitmap.GetData()[3]);
    EXPECT_EQ(128, bitmap.GetData()[7]);
    EXPECT_EQ(0, bitmap.GetData()[11]);
}

TEST(ImageBitmapIO, PngDeepAndShallowSamplesBecomeEightBits)
{
    ScratchFolder folder;
    std::wstring const deepPath = folder.File("deep.png");
    ASSERT_TRUE(ImageWriters::Write16BitPng(deepPath, 2, 1, {0xFFFF, 0, 0x8080, 0, 0xFFFF, 0x0101}));
    ImageBitmap bitmap;
    ASSERT_TRUE(LoadPng(bitmap, deepPath));
    EXPECT_EQ(3u, bitmap.GetChannels());
    // Values as stored, scaled: no gamma correction.
    ExpectPixels(bitmap, {255, 0, 128, 0, 255, 1}, 0);

    // Two-bit grey, 5 pixels in a row: 0, 1, 2, 3, 3 (packed 00 01 10 11 | 11 ...).
    std::wstring const shallowPath = folder.File("shallow.png");
    ASSERT_TRUE(ImageWriters::WriteRawPng(shallowPath, 5, 1, PNG_COLOR_TYPE_GRAY, 2, false, {0x1B, 0xC0}));
    ASSERT_TRUE(LoadPng(bitmap, shallowPath));
    EXPECT_EQ(1u, bitmap.GetChannels());
    ExpectPixels(bitmap, {0, 85, 170, 255, 255}, 0);
}

TEST(ImageBitmapIO, InterlacedPngLoads)
{
    ScratchFolder folder;
    ImageBitmap const original = Pattern(13, 9, 3);
    std::vector<std::uint8_t> const rows(original.GetData(), original.GetData() + 13 * 9 * 3);
    std::wstring const path = folder.File("interlaced.png");
    ASSERT_TRUE(ImageWriters::WriteRawPng(path, 13, 9, PNG_COLOR_TYPE_RGB, 8, true, rows));
    ImageBitmap loaded;
    ASSERT_TRUE(LoadPng(loaded, path));
    EXPECT_EQ(original, loaded);
}

TEST(ImageBitmapIO, JpegGivesGreyRgbAndConvertedCmyk)
{
    ScratchFolder folder;
    ImageBitmap bitmap;

    std::wstring const greyPath = folder.File("grey.jpg");
    ASSERT_TRUE(ImageWriters::WriteJpeg(greyPath, 16, 8, 1, std::vector<std::uint8_t>(16 * 8, 200)));
    ASSERT_TRUE(LoadJpeg(bitmap, greyPath));
    EXPECT_EQ(16u, bitmap.GetWidth());
    EXPECT_EQ(8u, bitmap.GetHeight());
    ExpectPixels(bitmap, std::vector<std::uint8_t>(16 * 8, 200), 2);
    EXPECT_FALSE(LoadPng(bitmap, greyPath));
    EXPECT_EQ(1u, bitmap.GetChannels());

    std::vector<std::uint8_t> rgb;
    for (int i = 0; i < 8 * 8; ++i)
    {
        rgb.insert(rgb.end(), {30, 120, 220});
    }
    std::wstring const rgbPath = folder.File("rgb.jpg");
    ASSERT_TRUE(ImageWriters::WriteJpeg(rgbPath, 8, 8, 3, rgb));
    ASSERT_TRUE(LoadJpeg(bitmap, rgbPath));
    EXPECT_EQ(3u, bitmap.GetChannels());
    ExpectPixels(bitmap, rgb, 3);

    // Red in Adobe's inverted CMYK: no cyan, full magenta and yellow, no black.
    std::vector<std::uint8_t> cmyk;
    for (int i = 0; i < 8 * 8; ++i)
    {
        cmyk.insert(cmyk.end(), {255, 0, 0, 255});
    }
    std::wstring const cmykPath = folder.File("cmyk.jpg");
    ASSERT_TRUE(ImageWriters::WriteJpeg(cmykPath, 8, 8, 4, cmyk));
    ASSERT_TRUE(LoadJpeg(bitmap, cmykPath));
    EXPECT_EQ(3u, bitmap.GetChannels());
    std::vector<std::uint8_t> red;
    for (int i = 0; i < 8 * 8; ++i)
    {
        red.insert(red.end(), {255, 0, 0});
    }
    ExpectPixels(bitmap, red, 3);
}

TEST(ImageBitmapIO, FilesOfNoOrBrokenFormatGiveFalse)
{
    ScratchFolder folder;
    std::wstring const text = folder.File("text.png");
    ScratchFolder::WriteBytes(text, {'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd', '\n'});
    std::wstring const empty = folder.File("empty.png");
    ScratchFolder::WriteBytes(empty, {});
    std::wstring const png = folder.File("truncated.png");
    ASSERT_TRUE(SavePng(Pattern(64, 64, 3), png));
    Truncate(png, 0.5);
    std::wstring const jpeg = folder.File("truncated.jpg");
    ImageBitmap const noise = Pattern(64, 64, 3);
    ASSERT_TRUE(ImageWriters::WriteJpeg(
        jpeg, 64, 64, 3, std::vector<std::uint8_t>(noise.GetData(), noise.GetData() + 64 * 64 * 3)));
    Truncate(jpeg, 0.6);
    // Only the signature is right.
    std::wstring const signatures = folder.File("signatures.png");
    ScratchFolder::WriteBytes(signatures, {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0xFF, 0xD8, 0xFF});

    for (std::wstring const& path : {text, empty, png, jpeg, signatures, folder.File("missing.png")})
    {
        ImageBitmap bitmap = Marker();
        EXPECT_FALSE(LoadPng(bitmap, path)) << path;
        EXPECT_FALSE(LoadJpeg(bitmap, path)) << path;
        EXPECT_EQ(Marker(), bitmap) << path;
    }
}

TEST(ImageBitmapIO, OversizedHeadersAreRefusedBeforeAllocating)
{
    ScratchFolder folder;
    constexpr std::size_t kGenerous = 64u << 20;

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
    ASSERT_TRUE(ImageWriters::WriteJpeg(jpegPath, 16, 16, 3, std::vector<std::uint8_t>(16 * 16 * 3, 90)));
    std::vector<unsigned char> jpeg = ScratchFolder::ReadBytes(jpegPath);
    unsigned char const startOfFrame[] = {0xFF, 0xC0};
    auto const frame =
        std::search(jpeg.begin(), jpeg.end(), std::begin(startOfFrame), std::end(startOfFrame));
    ASSERT_NE(jpeg.end(), frame);
    std::size_t const at = static_cast<std::size_t>(frame - jpeg.begin());
    PutBigEndian(jpeg, at + 5, 60000, 2);
    PutBigEndian(jpeg, at + 7, 60000, 2);
    ScratchFolder::WriteBytes(jpegPath, jpeg);

    ImageBitmap bitmap = Marker();
    g_largestAllocation = 0;
    EXPECT_FALSE(LoadPng(bitmap, pngPath));
    EXPECT_FALSE(LoadJpeg(bitmap, jpegPath));
    EXPECT_LT(g_largestAllocation.load(), kGenerous);
    EXPECT_EQ(Marker(), bitmap);
}
