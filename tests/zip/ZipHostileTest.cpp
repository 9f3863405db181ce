// Tests that damaged, truncated or lying archives fail with an error and never
// write outside the extraction target.
#include "ZipTestSupport.h"

#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"
#include "zip/ReadBufferFromZip.h"
#include "zip/WriteBufferStream.h"
#include "zip/WriteBufferToZip.h"

#include <cstdint>
#include <cstring>
#include <functional>

using namespace ziptest;

namespace
{
// A field of the archive, little-endian like every host these tests run on.
std::uint32_t Get(std::string const& bytes, std::size_t at, int size)
{
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + at, static_cast<std::size_t>(size));
    return value;
}

// An archive with a single entry, and where its pieces lie.
struct OneEntry
{
    std::string m_bytes;
    std::string m_content;
    std::size_t m_dataStart = 0;
    std::size_t m_dataSize = 0;
    std::size_t m_central = 0;

    OneEntry(TemporaryFolder const& folder, int level, std::size_t lines = 5000)
        : m_content(MeshLikeText(lines, 7))
    {
        std::filesystem::path const path = folder / "original.zip";
        {
            MZipArchive archive(false);
            EXPECT_TRUE(archive.OpenArchiveWrite(path.wstring().c_str()));
            if (level < 0)
            {
                WriteBufferStream(new WriteBufferToZip32(&archive, "entry")) << m_content;
            }
            else
            {
                WriteFile(folder / "source", m_content);
                EXPECT_TRUE(archive.AddFile((folder / "source").wstring().c_str(), L"entry", level, nullptr));
            }
            EXPECT_TRUE(archive.CloseArchive());
        }
        m_bytes = ReadFile(path);
        // Local header: 30 bytes, then the name and the extra field.
        m_dataStart = 30 + Get(m_bytes, 26, 2) + Get(m_bytes, 28, 2);
        m_dataSize = Get(m_bytes, 18, 4);
        m_central = m_bytes.find(std::string("PK\1\2", 4), m_dataStart + m_dataSize);
        EXPECT_NE(m_central, std::string::npos);
    }

    // Sets a field in the local header and in the central directory alike.
    void PatchBoth(std::size_t localField, std::uint32_t value)
    {
        std::memcpy(&m_bytes[localField], &value, 4);
        std::memcpy(&m_bytes[m_central + localField + 2], &value, 4);
    }
};

// How much of an archive a test damaged.
enum class Damage
{
    Data,
    Directory,
    Anywhere
};

// A damaged archive doesn't open, or lacks the entry, or fails with MGeneric
// naming the entry on every way of reading, and extraction leaves nothing
// behind; with only its data damaged it must open. Damage anywhere may also
// hit bytes that no reader needs (a time, a version): the entry must then
// read as it was written, never as other bytes.
void ExpectRejected(TemporaryFolder const& folder, OneEntry const& entry, std::string const& what,
                    Damage damage, std::function<void(OneEntry&)> const& change)
{
    SCOPED_TRACE(what);
    OneEntry damaged = entry;
    change(damaged);
    std::string const& content = entry.m_content;
    std::filesystem::path const path = folder / "damaged.zip";
    WriteFile(path, damaged.m_bytes);
    MZipArchive archive(false);
    MZipArchive::MZipFileInfo info;
    bool const opened = archive.OpenArchiveRead(path.wstring().c_str());
    if (!opened || !archive.GetFileInfo("entry", info))
    {
        EXPECT_NE(damage, Damage::Data);
        EXPECT_TRUE(opened || archive.GetOpenError().find(path.wstring()) != std::wstring::npos)
            << "no cause";
        return;
    }
    std::filesystem::path const target = folder / "target";
    try
    {
        std::string const read = ReadEntry(new ReadBufferFromZip(&archive, L"entry"));
        EXPECT_EQ(damage, Damage::Anywhere) << "damage passed unnoticed";
        EXPECT_TRUE(read == content) << "damage changed the bytes read";
        EXPECT_TRUE(archive.ExtractFile("entry", target.wstring().c_str(), nullptr));
        EXPECT_TRUE(ReadFile(target) == content) << "damage changed the bytes extracted";
        std::filesystem::remove(target);
        return;
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        EXPECT_EQ(error.GetDetail(), L"entry");
        EXPECT_FALSE(error.GetMessage().empty());
    }
    EXPECT_THROW(archive.ExtractFile("entry", target.wstring().c_str(), nullptr), MZipArchiveError::MGeneric);
    EXPECT_FALSE(std::filesystem::exists(target));
}

} // namespace

// Every kind of damage, as data: a directory whose CRC, size, method or
// flags lie; flipped compressed bytes; every byte of the headers and the end
// record flipped; the archive cut anywhere or its data cut out from under
// the directory; random bytes overwritten anywhere.
TEST(ZipHostile, EveryKindOfDamageToDeflatedAndStoredEntries)
{
    TemporaryFolder folder;
    for (int level : {-1, 0})
    {
        OneEntry const entry(folder, level);
        auto const add =
            [&](std::string const& what, Damage damage, std::function<void(OneEntry&)> const& change)
        { ExpectRejected(folder, entry, "level " + std::to_string(level) + ", " + what, damage, change); };
        std::uint32_t const size = static_cast<std::uint32_t>(entry.m_content.size());
        add("crc", Damage::Data, [](OneEntry& e) { e.PatchBoth(14, Get(e.m_bytes, 14, 4) ^ 1); });
        add("longer", Damage::Data, [size](OneEntry& e) { e.PatchBoth(22, size + 1); });
        add("shorter", Damage::Data, [size](OneEntry& e) { e.PatchBoth(22, size - 1); });
        add("empty", Damage::Data, [](OneEntry& e) { e.PatchBoth(22, 0); });
        // Deflate data cut short by the sizes the headers give.
        add("compressed size halved", Damage::Directory,
            [](OneEntry& e) { e.PatchBoth(18, Get(e.m_bytes, 18, 4) / 2); });
        add("method", Damage::Data, [](OneEntry& e) { e.m_bytes[e.m_central + 10] = 12; });
        add("encrypted", Damage::Data, [](OneEntry& e) { e.m_bytes[e.m_central + 8] |= 1; });
        add("hollow", Damage::Directory,
            [](OneEntry& e) { e.m_bytes.erase(e.m_dataStart + 10, e.m_dataSize / 2); });
        std::size_t const dataEnd = entry.m_dataStart + entry.m_dataSize;
        // The last bytes of deflate data may hold padding bits that nobody reads.
        for (std::size_t at = entry.m_dataStart; at + 2 < dataEnd; at += entry.m_dataSize / 17 + 1)
        {
            add("two flipped at " + std::to_string(at), Damage::Data,
                [at](OneEntry& e)
                {
                    e.m_bytes[at] = static_cast<char>(e.m_bytes[at] ^ 0x5A);
                    e.m_bytes[at + 1] = static_cast<char>(~e.m_bytes[at + 1]);
                });
        }
        for (std::size_t at = 0; at < entry.m_bytes.size();
             at += at < entry.m_dataStart || at >= entry.m_central ? 1 : entry.m_dataSize / 40 + 1)
        {
            bool const inData = at >= entry.m_dataStart && at < dataEnd;
            add("flipped at " + std::to_string(at), inData ? Damage::Data : Damage::Anywhere,
                [at](OneEntry& e) { e.m_bytes[at] = static_cast<char>(~e.m_bytes[at]); });
        }
        for (std::size_t length = 0; length < entry.m_bytes.size(); length += 1 + length / 8)
        {
            add("cut at " + std::to_string(length), Damage::Directory,
                [length](OneEntry& e) { e.m_bytes.resize(length); });
        }
        std::mt19937 random(11);
        std::uniform_int_distribution<std::size_t> position(0, entry.m_bytes.size() - 1);
        for (int attempt = 0; attempt < 150; ++attempt)
        {
            add("random damage " + std::to_string(attempt), Damage::Anywhere,
                [&](OneEntry& e)
                {
                    for (int flip = 0; flip < 3; ++flip)
                    {
                        e.m_bytes[position(random)] = static_cast<char>(random());
                    }
                });
        }
    }
}

// An entry big enough to be inflated ahead on a second thread: its bytes
// arrive in order, and damage reaches the reader as on a single thread.
TEST(ZipHostile, BigEntryInflatedAhead)
{
    TemporaryFolder folder;
    OneEntry const entry(folder, 0, 200000);
    ASSERT_GT(entry.m_content.size(), std::size_t(8) << 20);
    std::filesystem::path const path = folder / "big.zip";
    WriteFile(path, entry.m_bytes);
    {
        MZipArchive archive(false);
        ASSERT_TRUE(archive.OpenArchiveRead(path.wstring().c_str()));
        EXPECT_TRUE(entry.m_content == ReadEntry(new ReadBufferFromZip(&archive, L"entry")));
        // Dropped half-way: the worker is stopped and the archive is free.
        ReadBufferFromZip partial(&archive, L"entry");
        char head[100];
        EXPECT_EQ(sizeof head, partial.Read(head, sizeof head));
    }
    // A lying CRC, and a flipped byte late in the data.
    ExpectRejected(folder, entry, "big entry, crc", Damage::Data,
                   [](OneEntry& e) { e.PatchBoth(14, Get(e.m_bytes, 14, 4) ^ 1); });
    ExpectRejected(folder, entry, "big entry, flipped late", Damage::Data,
                   [](OneEntry& e) { e.m_bytes[e.m_dataStart + e.m_dataSize * 9 / 10] ^= 0x5A; });
}

// An entry whose directory claims 4 GiB fails when its data ends, without
// making room for what it claims.
TEST(ZipHostile, EntryClaimingFourGiB)
{
    TemporaryFolder folder;
    std::vector<std::optional<std::size_t>> growth;
    for (int level : {-1, 0})
    {
        OneEntry const entry(folder, level);
        PeakGrowth const peak;
        ExpectRejected(folder, entry, "level " + std::to_string(level), Damage::Directory,
                       [level](OneEntry& e)
                       {
                           e.PatchBoth(22, 0xFFFFFFFEu);
                           if (level == 0)
                           {
                               e.PatchBoth(18, 0xFFFFFFFEu);
                           }
                       });
        growth.push_back(peak.KiB());
    }
    for (std::optional<std::size_t> const& kib : growth)
    {
        if (!kib)
        {
            GTEST_SKIP() << "the peak resident memory can't be reset or read here";
        }
        EXPECT_LT(*kib, 64u * 1024u);
    }
}
