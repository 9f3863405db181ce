#pragma once

// Read-ahead inflation of an entry, so that parsing a big part does not wait
// on decompression.

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace format3mf::archive
{
class ZipEntryReader;

// Inflates an entry on a thread of its own, a few blocks ahead of the
// reader, so that parsing a big part does not wait for its inflation. An
// error of the worker is rethrown by the Read that reaches it. The entry
// must not be touched by anyone else while this lives.
class ZipReadAhead
{
public:
    explicit ZipReadAhead(ZipEntryReader& entry);
    ZipReadAhead(ZipReadAhead const&) = delete;
    ZipReadAhead& operator=(ZipReadAhead const&) = delete;
    // Stops the worker; a block being inflated is finished first.
    ~ZipReadAhead();

    // Up to size bytes, 0 at the end.
    std::size_t Read(char* data, std::size_t size);

private:
    struct Block
    {
        std::vector<char> bytes;
        std::size_t size = 0;
    };

    void Work();

    ZipEntryReader& m_entry;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::unique_ptr<Block>> m_ready;
    std::vector<std::unique_ptr<Block>> m_free;
    bool m_end = false;
    bool m_stop = false;
    std::exception_ptr m_error;
    std::unique_ptr<Block> m_current;
    std::size_t m_position = 0;
    std::thread m_worker;
};
} // namespace format3mf::archive
