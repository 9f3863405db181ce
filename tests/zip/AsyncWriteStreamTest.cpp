// Tests of the background write stream: order kept, the writer held back by
// a slow buffer, and failures reported. Its memory on a large entry is
// measured with the zip64 limits.
#include "ZipTestSupport.h"

#include "zip/AsyncWriteBufferStream.h"
#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"
#include "zip/WriteBufferToZip.h"

#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <thread>

using namespace ziptest;

namespace
{
// What a sink saw: the bytes, the threads that wrote them, whether it was
// destroyed and with how many bytes by then, and how far the writer was
// ahead of it at most.
struct Record
{
    std::string m_bytes;
    std::set<std::thread::id> m_threads;
    bool m_destroyed = false;
    std::size_t m_sizeAtDestruction = 0;
    // Bytes the writer has handed to the stream, counted by the test.
    std::atomic<std::size_t> m_handed{0};
    std::size_t m_mostAhead = 0;
};

// A slow sink, so that the queue fills up; throws once it holds failAfter bytes.
class RecordingBuffer : public IWriteBuffer
{
public:
    explicit RecordingBuffer(Record& record, std::size_t failAfter = SIZE_MAX)
        : m_record(record), m_failAfter(failAfter)
    {
    }
    ~RecordingBuffer() override
    {
        m_record.m_destroyed = true;
        m_record.m_sizeAtDestruction = m_record.m_bytes.size();
    }
    void Write(char const* data, std::size_t size) override
    {
        if (m_record.m_bytes.size() >= m_failAfter)
        {
            throw std::runtime_error("disk full");
        }
        std::this_thread::sleep_for(std::chrono::microseconds(300));
        std::size_t const handed = m_record.m_handed.load();
        m_record.m_mostAhead =
            std::max(m_record.m_mostAhead, handed - std::min(handed, m_record.m_bytes.size()));
        m_record.m_bytes.append(data, size);
        m_record.m_threads.insert(std::this_thread::get_id());
    }

private:
    Record& m_record;
    std::size_t m_failAfter;
};

// Writes much more than the queue holds, then flushes.
void WriteMuch(std::ostream& stream)
{
    std::string const text = MeshLikeText(1000, 5);
    for (int i = 0; i < 100; ++i)
    {
        stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    }
    stream.flush();
}
// Writes an archive while files may hold no more than 64 KiB; the bits of
// the answer say what went wrong, 0 when each step failed as it should.
int WriteToAFullDisk(std::filesystem::path const& path)
{
    MZipArchive archive(false);
    if (!archive.OpenArchiveWrite(path.wstring().c_str()))
    {
        return 8;
    }
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = 64 * 1024;
    setrlimit(RLIMIT_FSIZE, &limit);
    int result = 0;
    try
    {
        WriteMuch(*CreateAsyncWriteBufferStream(
            std::make_unique<WriteBufferToZip32>(&archive, "3D/3dmodel.model")));
        result |= 1;
    }
    catch (MZipArchiveError::MGeneric const&)
    {
    }
    try
    {
        WriteBufferToZip32 next(&archive, "next");
        result |= 2;
    }
    catch (MZipArchiveError::MGeneric const&)
    {
    }
    return archive.CloseArchive() ? result | 4 : result;
}
} // namespace

// The writer waits for a slow buffer rather than queueing without end: it is
// never more than the queue, the block being filled and one write ahead.
TEST(AsyncWriteStream, KeepsOrderWaitsForTheBufferAndClosesItAfterTheLastByte)
{
    Record record;
    std::string const text = MeshLikeText(100000, 4);
    std::size_t const kBlock = 256 * 1024;
    std::size_t const kMostWrite = 300001;
    {
        std::unique_ptr<std::ostream> stream =
            CreateAsyncWriteBufferStream(std::make_unique<RecordingBuffer>(record));
        for (std::size_t at = 0, step = 1; at < text.size(); at += step, step = step * 7 % kMostWrite + 1)
        {
            std::size_t const size = std::min(step, text.size() - at);
            stream->write(text.data() + at, static_cast<std::streamsize>(size));
            std::size_t const before = record.m_handed.fetch_add(size);
            if (before < text.size() / 2 && before + size >= text.size() / 2)
            {
                stream->flush();
                EXPECT_TRUE(record.m_bytes == text.substr(0, at + size)) << "the flush left bytes behind";
            }
        }
        *stream << 'x';
        EXPECT_FALSE(record.m_destroyed);
    }
    EXPECT_TRUE(record.m_destroyed);
    EXPECT_EQ(record.m_sizeAtDestruction, text.size() + 1);
    EXPECT_TRUE(record.m_bytes == text + 'x') << "bytes lost or out of order";
    EXPECT_EQ(record.m_threads.count(std::this_thread::get_id()), 0u);
    EXPECT_LE(record.m_mostAhead, 6 * kBlock + kMostWrite);

    // A small entry needs no thread.
    Record small;
    CreateAsyncWriteBufferStream(std::make_unique<RecordingBuffer>(small))->write("small", 5);
    EXPECT_EQ(small.m_bytes, "small");
    EXPECT_EQ(small.m_threads, std::set<std::thread::id>{std::this_thread::get_id()});
}

TEST(AsyncWriteStream, FailureOfTheBufferOrArchiveReachesTheWriter)
{
    if (char const* const archive = std::getenv("OND3MF_WRITE_TO_A_FULL_DISK"))
    {
        std::printf("result %d\n", WriteToAFullDisk(archive));
        return;
    }
    // On the worker thread a later write or the flush throws; before any
    // thread runs, the flush throws on the writer's own thread.
    std::pair<std::size_t, bool> const failures[] = {{0, false}, {600000, false}, {0, true}};
    for (auto const& [failAfter, fewBytes] : failures)
    {
        Record record;
        std::unique_ptr<std::ostream> stream =
            CreateAsyncWriteBufferStream(std::make_unique<RecordingBuffer>(record, failAfter));
        if (fewBytes)
        {
            *stream << "a few bytes";
            EXPECT_THROW(stream->flush(), std::runtime_error);
            continue;
        }
        EXPECT_THROW(WriteMuch(*stream), std::runtime_error);
        EXPECT_TRUE(stream->bad());
        stream.reset();
        EXPECT_TRUE(record.m_destroyed);
    }

    // A full disk: files may not grow beyond 64 KiB while the archive is
    // written, and the compressed bytes of its entry are many more. The
    // limit holds for a whole process, so this test program runs it again,
    // told so by its environment.
    TemporaryFolder folder;
    std::string const self = std::filesystem::read_symlink("/proc/self/exe").string();
    auto const [status, output] =
        RunShell("OND3MF_WRITE_TO_A_FULL_DISK='" + (folder / "full.3mf").string() + "' '" + self +
                 "' --gtest_filter=AsyncWriteStream.FailureOfTheBufferOrArchiveReachesTheWriter");
    EXPECT_EQ(0, status) << output;
    EXPECT_NE(std::string::npos, output.find("result 0\n"))
        << "1: the write went through, 2: a new entry could be opened, 4: the archive closed as if whole\n"
        << output;
    // What was written can't be trusted, so nothing of it stays.
    EXPECT_FALSE(std::filesystem::exists(folder / "full.3mf"));
}
