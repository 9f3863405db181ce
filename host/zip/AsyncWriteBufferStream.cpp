// The background writer behind AsyncWriteBufferStream: a bounded queue of
// blocks between the printing thread and the compressing one.
#include "zip/AsyncWriteBufferStream.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <streambuf>
#include <thread>
#include <vector>

namespace
{
constexpr std::size_t kBlockSize = 1u << 18;
constexpr std::size_t kBlockLimit = 4;

class AsyncStreamBuffer : public std::streambuf
{
public:
    explicit AsyncStreamBuffer(std::unique_ptr<IWriteBuffer> target)
        : m_target(std::move(target)), m_current(new char[kBlockSize])
    {
        if (!m_target)
        {
            throw std::invalid_argument("CreateAsyncWriteBufferStream needs a buffer");
        }
        setp(m_current.get(), m_current.get() + kBlockSize);
    }

    ~AsyncStreamBuffer() override
    {
        try
        {
            Close();
        }
        catch (...)
        {
            // Nothing can report it here; flush() before destruction does.
        }
        if (m_worker.joinable())
        {
            m_worker.join();
        }
        m_target.reset();
    }

protected:
    int_type overflow(int_type c) override
    {
        HandOver();
        if (!traits_type::eq_int_type(c, traits_type::eof()))
        {
            *pptr() = traits_type::to_char_type(c);
            pbump(1);
        }
        return traits_type::not_eof(c);
    }

    int sync() override
    {
        if (!m_worker.joinable())
        {
            WriteDirectly();
            return 0;
        }
        HandOver();
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_queue.empty() && !m_working; });
        if (m_failure)
        {
            std::rethrow_exception(m_failure);
        }
        return 0;
    }

private:
    struct Filled
    {
        std::unique_ptr<char[]> m_block;
        std::size_t m_size;
    };

    std::size_t Pending() const { return static_cast<std::size_t>(pptr() - pbase()); }

    // Before there is a thread the bytes go straight to the buffer.
    void WriteDirectly()
    {
        std::size_t const size = Pending();
        setp(m_current.get(), m_current.get() + kBlockSize);
        if (size > 0)
        {
            m_target->Write(m_current.get(), size);
        }
    }

    // Queues the filled part of the current block and takes an empty one,
    // waiting while all blocks are in use. A failure of the worker is thrown
    // before anything changes.
    void HandOver()
    {
        std::size_t const size = Pending();
        if (size == 0)
        {
            return;
        }
        if (!m_worker.joinable())
        {
            m_worker = std::thread([this] { Work(); });
        }
        std::unique_ptr<char[]> next;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            if (m_failure)
            {
                std::rethrow_exception(m_failure);
            }
            m_queue.push_back(Filled{std::move(m_current), size});
            m_changed.notify_all();
            if (m_spare.empty() && m_blocksMade < kBlockLimit)
            {
                ++m_blocksMade;
            }
            else
            {
                m_changed.wait(lock, [this] { return !m_spare.empty(); });
                next = std::move(m_spare.back());
                m_spare.pop_back();
            }
        }
        m_current = next ? std::move(next) : std::unique_ptr<char[]>(new char[kBlockSize]);
        setp(m_current.get(), m_current.get() + kBlockSize);
    }

    // Queues what is left and lets the worker end once the queue is empty.
    void Close()
    {
        if (!m_worker.joinable())
        {
            WriteDirectly();
            return;
        }
        std::size_t const size = Pending();
        setp(nullptr, nullptr);
        std::lock_guard<std::mutex> lock(m_mutex);
        if (size > 0 && !m_failure)
        {
            m_queue.push_back(Filled{std::move(m_current), size});
        }
        m_closing = true;
        m_changed.notify_all();
    }

    // After a failure the worker keeps taking blocks, without writing them,
    // so that the writer never waits for a block that won't come back.
    void Work()
    {
        for (;;)
        {
            Filled item;
            bool failed;
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                m_changed.wait(lock, [this] { return !m_queue.empty() || m_closing; });
                if (m_queue.empty())
                {
                    return;
                }
                item = std::move(m_queue.front());
                m_queue.pop_front();
                m_working = true;
                failed = m_failure != nullptr;
            }
            std::exception_ptr failure;
            if (!failed)
            {
                try
                {
                    m_target->Write(item.m_block.get(), item.m_size);
                }
                catch (...)
                {
                    failure = std::current_exception();
                }
            }
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                if (failure)
                {
                    m_failure = failure;
                }
                m_spare.push_back(std::move(item.m_block));
                m_working = false;
            }
            m_changed.notify_all();
        }
    }

    std::unique_ptr<IWriteBuffer> m_target;
    std::unique_ptr<char[]> m_current;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Filled> m_queue;
    std::vector<std::unique_ptr<char[]>> m_spare;
    std::size_t m_blocksMade = 1;
    bool m_working = false;
    bool m_closing = false;
    std::exception_ptr m_failure;
    std::thread m_worker;
};

class AsyncWriteBufferStream : public std::ostream
{
public:
    explicit AsyncWriteBufferStream(std::unique_ptr<IWriteBuffer> buffer)
        : std::ostream(nullptr), m_streamBuffer(std::move(buffer))
    {
        rdbuf(&m_streamBuffer);
        exceptions(std::ios::badbit);
    }

private:
    AsyncStreamBuffer m_streamBuffer;
};
} // namespace

std::unique_ptr<std::ostream> CreateAsyncWriteBufferStream(std::unique_ptr<IWriteBuffer> buffer)
{
    return std::make_unique<AsyncWriteBufferStream>(std::move(buffer));
}
