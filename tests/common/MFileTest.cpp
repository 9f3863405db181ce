// Tests of MFile: byte order on disk, buffering across seeks, and failures
// answered rather than thrown.
#include "support/PackageTestSupport.h"

#include "common/MFile.h"

#include <gtest/gtest.h>

TEST(MFile, NumbersAreLittleEndianOnDiskShortReadsCountWholeNumbersAndFailuresAnswerFalse)
{
    PackageScratch folder;
    std::wstring const path = folder.File("numbers.bin");
    float const floats[] = {1.0f, -2.5f};
    std::int32_t ints[] = {0x01020304, -2};
    {
        MFile file(0x40000);
        ASSERT_TRUE(file.OPEN_WRITE(path.c_str()));
        EXPECT_EQ(2u, file.WRITE(floats, 2));
        EXPECT_EQ(2u, file.WRITE(ints, 2));
        EXPECT_EQ(16u, file.GetPosition());
        EXPECT_TRUE(file.Close());
    }
    std::vector<unsigned char> bytes = {0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x20, 0xC0,
                                        0x04, 0x03, 0x02, 0x01, 0xFE, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(bytes, ReadBytes(path));
    // Half a number more at the end stays unread.
    bytes.insert(bytes.end(), {3, 0});
    WriteBytes(path, bytes);

    MFile file(0x40000);
    ASSERT_TRUE(file.OPEN_READ(path.c_str()));
    float readFloats[2] = {};
    std::int32_t readInts[3] = {9, 9, 9};
    EXPECT_EQ(2u, file.READ(readFloats, 2));
    EXPECT_EQ(2u, file.READ(readInts, 3));
    EXPECT_EQ(1.0f, readFloats[0]);
    EXPECT_EQ(-2.5f, readFloats[1]);
    EXPECT_EQ((std::vector<std::int32_t>{0x01020304, -2, 9}),
              std::vector<std::int32_t>(readInts, readInts + 3));
    EXPECT_EQ(16u, file.GetPosition());
    // A file open for reading takes no writes; failures answer false or zero.
    EXPECT_EQ(0u, file.WRITE(readInts, 1));
    EXPECT_FALSE(file.Seek(UINT64_MAX));
    MFile closed(0x40000);
    EXPECT_FALSE(closed.OPEN_READ(folder.File("missing.bin").c_str()));
    EXPECT_FALSE(closed.OPEN_WRITE(folder.File("no/such/folder.bin").c_str()));
    EXPECT_EQ(0u, closed.READ(readInts, 1));
    EXPECT_FALSE(closed.Seek(0));
}

TEST(MFile, OneNumberAtATimeAcrossManyBuffersWithSeeks)
{
    PackageScratch folder;
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
        // Overwrite number 10 after a seek; no Close: the destructor writes
        // what is buffered.
        ASSERT_TRUE(file.Seek(40));
        std::int32_t marker = -10;
        file.WRITE(&marker, 1);
        EXPECT_EQ(44u, file.GetPosition());
    }
    EXPECT_EQ(4u * kCount, ReadBytes(path).size());

    MFile file(0);
    ASSERT_TRUE(file.OPEN_READ(path.c_str()));
    std::int32_t value = 0;
    for (std::int32_t i = 0; i < kCount; ++i)
    {
        ASSERT_EQ(1u, file.READ(&value, 1));
        ASSERT_EQ(i == 10 ? -10 : i, value);
    }
    // Far behind the buffer, then forward and back inside the bytes just
    // buffered, then past the end, which is allowed and reads nothing.
    for (std::int32_t const at : {5000, 5011, 5000, kCount + 25})
    {
        ASSERT_TRUE(file.Seek(4u * at));
        EXPECT_EQ(at < kCount ? 1u : 0u, file.READ(&value, 1));
        EXPECT_EQ(at < kCount ? at : 5000, value);
    }
}
