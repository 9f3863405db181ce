// The limits of 32-bit archives: an entry of 4 GiB and too many entries are
// refused there with an exception and no file, and a zip64 archive takes the
// big entry in a form that strict readers accept, with flat memory.
#include "ZipTestSupport.h"

#include "zip/AsyncWriteBufferStream.h"
#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"
#include "zip/ReadBufferFromZip.h"
#include "zip/WriteBufferStream.h"
#include "zip/WriteBufferToZip.h"
#include "zip/Zip64Writer.h"

#include <isa-l/crc.h>

#include <sys/mman.h>

#include <cstdint>

using namespace ziptest;

namespace
{
constexpr std::size_t kBlock = std::size_t(1) << 24;
// Just beyond what 32 bits can count.
constexpr std::uint64_t kBigSize = (std::uint64_t(1) << 32) + kBlock;

} // namespace

TEST(ZipLimits, EntryOfFourGiBRefusedInZip32)
{
    TemporaryFolder folder;
    std::filesystem::path const path32 = folder / "big32.zip";
    {
        MZipArchive archive(false);
        ASSERT_TRUE(archive.OpenArchiveWrite(path32.wstring().c_str()));
        WriteBufferStream(new WriteBufferToZip32(&archive, "before")) << "before";
        // Untouched memory reads as zeros and costs nothing: the entry is
        // refused before its bytes are looked at.
        void* const zeros =
            mmap(nullptr, kBigSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        ASSERT_NE(zeros, MAP_FAILED);
        try
        {
            WriteBufferToZip32 big(&archive, "3D/big.model");
            big.Write("<model>", 7);
            big.Write(static_cast<char const*>(zeros), kBigSize - 7);
            ADD_FAILURE() << "a 32-bit archive took an entry of 4 GiB";
        }
        catch (MZipArchiveError::MGeneric const& error)
        {
            EXPECT_EQ(error.GetMessage(), L"The entry is too large for a 32-bit archive");
            EXPECT_EQ(error.GetDetail(), L"3D/big.model");
        }
        munmap(zeros, kBigSize);
        EXPECT_FALSE(archive.CloseArchive());
    }
    EXPECT_FALSE(std::filesystem::exists(path32)) << "a broken archive was left";
}

// A zip64 archive takes an entry beyond 4 GiB through the background
// stream, with the memory of a few blocks: 300 MB of text no two chunks
// alike, so that a writer holding its output would show, then zeros. It
// reads back whole, and strict readers accept it.
TEST(ZipLimits, EntryBeyondFourGiBInZip64WithFlatMemory)
{
    TemporaryFolder folder;
    std::filesystem::path const path64 = folder / "big64.zip";
    std::string chunk = MeshLikeText(100000, 8);
    std::size_t const rounds = 300'000'000 / chunk.size() + 1;
    std::vector<char> const zeros(kBlock);
    std::uint64_t const zeroBlocks = (kBigSize - chunk.size() * rounds) / kBlock + 1;
    std::uint64_t const size = chunk.size() * rounds + zeroBlocks * kBlock;
    std::uint32_t crc = 0;
    PeakGrowth const peak;
    {
        FileIO::Zip::Zip64Writer archive;
        ASSERT_TRUE(archive.OpenArchive(path64.wstring().c_str()));
        WriteBufferStream(new WriteBufferToZip64(&archive, "before")) << "before";
        std::unique_ptr<std::ostream> stream =
            CreateAsyncWriteBufferStream(std::make_unique<WriteBufferToZip64>(&archive, "3D/big.model"));
        for (std::size_t round = 0; round < rounds; ++round)
        {
            chunk.replace(0, 12, "<!-- " + std::to_string(1000000 + round));
            stream->write(chunk.data(), static_cast<std::streamsize>(chunk.size()));
            crc = crc32_gzip_refl(crc, reinterpret_cast<std::uint8_t const*>(chunk.data()), chunk.size());
        }
        for (std::uint64_t block = 0; block < zeroBlocks; ++block)
        {
            stream->write(zeros.data(), static_cast<std::streamsize>(zeros.size()));
            crc = crc32_gzip_refl(crc, reinterpret_cast<std::uint8_t const*>(zeros.data()), zeros.size());
        }
        stream.reset();
        WriteBufferStream(new WriteBufferToZip64(&archive, "after")) << "after";
        EXPECT_TRUE(archive.CloseArchive());
    }
    std::optional<std::size_t> const growthKiB = peak.KiB();
    MZipArchive archive(false);
    ASSERT_TRUE(archive.OpenArchiveRead(path64.wstring().c_str()));
    MZipArchive::MZipFileInfo info;
    ASSERT_TRUE(archive.GetFileInfo("3D/big.model", info));
    EXPECT_EQ(info.m_uncompressedSize, size);
    EXPECT_EQ(info.m_crc, crc);
    {
        ReadBufferFromZip big(&archive, L"3D/big.model");
        std::vector<char> block(kBlock);
        std::uint64_t read = 0;
        while (std::size_t const got = big.Read(block.data(), block.size()))
        {
            read += got;
        }
        EXPECT_EQ(read, size);
    }
    EXPECT_EQ(ReadEntry(new ReadBufferFromZip(&archive, L"after")), "after");
    // Other readers check every header and record; the data of the big entry
    // was checked above, and inflating it again with zlib would take long.
    std::vector<std::string> const names{"before", "3D/big.model", "after"};
    EXPECT_EQ(LibzipReadsStrictly(path64, {"3D/big.model"}), names);
    ExpectOtherReadersAccept(path64, names, {"3D/big.model"});
    // The big entry needed zip64 records, and has them.
    std::string const bytes = ReadFile(path64);
    EXPECT_NE(std::string::npos, bytes.find(std::string("PK\6\6", 4), bytes.size() - 200));
    if (!growthKiB)
    {
        GTEST_SKIP() << "the peak resident memory can't be reset or read here";
    }
    EXPECT_LT(*growthKiB, 64u * 1024u);
}

TEST(ZipLimits, TooManyEntriesForZip32)
{
    TemporaryFolder folder;
    std::filesystem::path const path = folder / "many.zip";
    std::size_t constexpr kMost = 0xFFFE;
    {
        MZipArchive archive(false);
        ASSERT_TRUE(archive.OpenArchiveWrite(path.wstring().c_str()));
        for (std::size_t i = 0; i < kMost; ++i)
        {
            WriteBufferToZip32(&archive, std::to_string(i).c_str()).Write("x", 1);
        }
        try
        {
            WriteBufferToZip32(&archive, "one more");
            ADD_FAILURE() << "a 32-bit archive took more than " << kMost << " entries";
        }
        catch (MZipArchiveError::MGeneric const& error)
        {
            EXPECT_EQ(error.GetMessage(), L"Too many entries for a 32-bit archive");
            EXPECT_EQ(error.GetDetail(), L"one more");
        }
        // Refusing an entry that never began damages nothing.
        EXPECT_TRUE(archive.CloseArchive());
    }
    EXPECT_EQ(kMost, LibzipReadsStrictly(path).size());
    // No zip64 end record: the archive is 32-bit through and through.
    EXPECT_EQ(std::string::npos, ReadFile(path).find(std::string("PK\6\6", 4)));
}
