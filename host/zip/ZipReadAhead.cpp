// The worker thread and block queue that inflate an entry ahead of its reader.
#include "zip/ZipReadAhead.h"

#include "zip/ZipEntryReader.h"

#include <algorithm>
#include <cstring>

namespace format3mf::archive
{
namespace
{
// Four blocks of 1 MiB: enough for the worker to stay ahead of a parser,
// small enough not to matter beside what is parsed.
constexpr std::size_t kBlocks = 4;
constexpr std::size_t kBlockSize = std::size_t(1) << 20;
} // namespace

ZipReadAhead::ZipReadAhead(ZipEntryReader& entry) : m_entry(entry)
{
    for (std::size_t i = 0; i < kBlocks; ++i)
    {
        auto block = std::make_unique<Block>();
        block->bytes.resize(kBlockSize);
        m_free.push_back(std::move(block));
    }
    m_worker = std::thread(&ZipReadAhead::Work, this);
}

ZipReadAhead::~ZipReadAhead()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_changed.notify_all();
    m_worker.join();
}

void ZipReadAhead::Work()
{
    for (;;)
    {
        std::unique_ptr<Block> block;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait(lock, [this] { return m_stop || !m_free.empty(); });
            if (m_stop)
            {
                return;
            }
            block = std::move(m_free.back());
            m_free.pop_back();
        }
        bool end = false;
        std::exception_ptr error;
        try
        {
            block->size = 0;
            while (block->size < block->bytes.size())
            {
                std::size_t const count =
                    m_entry.Read(block->bytes.data() + block->size, block->bytes.size() - block->size);
                if (count == 0)
                {
                    end = true;
                    break;
                }
                block->size += count;
            }
        }
        catch (...)
        {
            error = std::current_exception();
            end = true;
        }
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_ready.push_back(std::move(block));
            m_end = end;
            m_error = error;
        }
        m_changed.notify_all();
        if (end)
        {
            return;
        }
    }
}

std::size_t ZipReadAhead::Read(char* data, std::size_t size)
{
    std::size_t copied = 0;
    while (copied < size)
    {
        if (m_current == nullptr || m_position == m_current->size)
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            if (m_current != nullptr)
            {
                m_free.push_back(std::move(m_current));
                m_changed.notify_all();
            }
            m_changed.wait(lock, [this] { return !m_ready.empty() || m_end; });
            if (m_ready.empty())
            {
                if (m_error && copied == 0)
                {
                    std::rethrow_exception(m_error);
                }
                return copied;
            }
            m_current = std::move(m_ready.front());
            m_ready.pop_front();
            m_position = 0;
        }
        std::size_t const count = std::min(size - copied, m_current->size - m_position);
        std::memcpy(data + copied, m_current->bytes.data() + m_position, count);
        m_position += count;
        copied += count;
    }
    return copied;
}
} // namespace format3mf::archive
