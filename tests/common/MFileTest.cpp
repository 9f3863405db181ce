#include "ScratchFolder.h"

#include "common/MFile.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

namespace
{
constexpr std::uint64_t kBuffer = 0x40000;
}

TEST(MFile, NumbersGoToDiskLittleEndianAndComeBack)
{
    ScratchFolder folder;
    std::wstring const path = folder.File("numbers.bin");
    float const floats[] = {1.0f, -2.5f};
    std::int32_t ints[] = {0x01020304, -2};
    {
        MFile file(kBuffer);
        ASSERT_TRUE(file.OPEN_WRITE(path.c_str()));
        EXPECT_EQ(2u, file.WRITE(floats, 2));
        EXPECT_EQ(8u, file.GetPosition());
        EXPECT_EQ(2u, file.WRITE(ints, 2));
        EXPECT_EQ(16u, file.GetPosition());
        EXPECT_TRUE(file.Close());
    }
    std::vector<unsigned char> const expected = {0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x20, 0xC0,
                                                 0x04, 0x03, 0x02, 0x01, 0xFE, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(expected, ScratchFolder::ReadBytes(path));

    MFile file(kBuffer);
    ASSERT_TRUE(file.OPEN_READ(path.c_str()));
    float readFloats[2] = {};
    std::int32_t readInts[2] = {};
    EXPECT_EQ(2u, file.READ(readFloats, 2));
    EXPECT_EQ(2u, file.READ(readInts, 2));
    EXPECT_EQ(1.0f, readFloats[0]);
    EXPECT_EQ(-2.5f, readFloats[1]);
    EXPECT_EQ(0x01020304, readInts[0]);
    EXPECT_EQ(-2, readInts[1]);
    EXPECT_EQ(0u, file.READ(readInts, 1));
}

TEST(MFile, ShortReadCountsWholeNumbersOnly)
{
    ScratchFolder folder;
    std::wstring const path = folder.File("short.bin");
    ScratchFolder::WriteBytes(path, {1, 0, 0, 0, 2, 0, 0, 0, 3, 0});
    MFile file(kBuffer);
    ASSERT_TRUE(file.OPEN_READ(path.c_str()));
    std::int32_t values[5] = {9, 9, 9, 9, 9};
    EXPECT_EQ(2u, file.READ(values, 5));
    EXPECT_EQ(1, values[0]);
    EXPECT_EQ(2, values[1]);
    EXPECT_EQ(9, values[2]);
    EXPECT_EQ(8u, file.GetPosition());
}

TEST(MFile, OneNumberAtATimeAcrossManyBuffersWithSeeks)
{
    ScratchFolder folder;
    std::wstring const path = folder.File("many.bin");
    // The smallest buffer makes the numbers cross many buffer boundaries.
    constexpr std::int32_t kCount = 100000;
    {
        MFile file(0);
        ASSERT_TRUE(file.OPEN_WRITE(path.c_str()));
        for (std::int32_t i = 0; i < kCount; ++i)
        {
            ASSERT_EQ(1u, file.WRITE(&i, 1));
        }
        // Overwrite number 10 after a seek; later writes continue from there.
        ASSERT_TRUE(file.Seek(40));
        std::int32_t marker = -10;
        file.WRITE(&marker, 1);
        EXPECT_EQ(44u, file.GetPosition());
        // No Close: the destructor writes what is buffered.
    }
    EXPECT_EQ(4u * kCount, boost::filesystem::file_size(boost::filesystem::path(path)));

    MFile file(0);
    ASSERT_TRUE(file.OPEN_READ(path.c_str()));
    for (std::int32_t i = 0; i < kCount; ++i)
    {
        std::int32_t value = 0;
        ASSERT_EQ(1u, file.READ(&value, 1));
        ASSERT_EQ(i == 10 ? -10 : i, value);
    }
    // Back into the data, far behind the buffer, then forward and back
    // inside the bytes just buffered.
    ASSERT_TRUE(file.Seek(4 * 5000));
    std::int32_t value = 0;
    file.READ(&value, 1);
    EXPECT_EQ(5000, value);
    ASSERT_TRUE(file.Seek(4 * 5011));
    file.READ(&value, 1);
    EXPECT_EQ(5011, value);
    ASSERT_TRUE(file.Seek(4 * 5000));
    file.READ(&value, 1);
    EXPECT_EQ(5000, value);
    EXPECT_EQ(4u * 5001, file.GetPosition());
    std::int32_t bulk[3] = {};
    EXPECT_EQ(3u, file.READ(bulk, 3));
    EXPECT_EQ(5003, bulk[2]);
    // Past the end is allowed and reads nothing.
    ASSERT_TRUE(file.Seek(4u * kCount + 100));
    EXPECT_EQ(0u, file.READ(&value, 1));
}

TEST(MFile, FailuresAnswerFalseOrZero)
{
    ScratchFolder folder;
    MFile file(kBuffer);
    EXPECT_FALSE(file.OPEN_READ(folder.File("missing.bin").c_str()));
    EXPECT_FALSE(file.OPEN_WRITE(folder.File("no/such/folder.bin").c_str()));
    std::int32_t value = 1;
    EXPECT_EQ(0u, file.READ(&value, 1));
    EXPECT_FALSE(file.Seek(0));
    // A file open for reading takes no writes.
    std::wstring const path = folder.File("read.bin");
    ScratchFolder::WriteBytes(path, {1, 2, 3, 4});
    ASSERT_TRUE(file.OPEN_READ(path.c_str()));
    EXPECT_EQ(0u, file.WRITE(&value, 1));
    EXPECT_FALSE(file.Seek(UINT64_MAX));
}
