// The switch between plain content and the parser alone, and the count of
// what plain content took.

#include "sax/PlainContent.h"

#include <atomic>

namespace OndSAX
{
namespace
{
std::atomic<bool> g_plainContent{true};
std::atomic<std::int64_t> g_bytesTaken{0};
} // namespace

IPlainContentReader::~IPlainContentReader() = default;

void SetPlainContentEnabled(bool enabled)
{
    g_plainContent.store(enabled, std::memory_order_relaxed);
}

bool IsPlainContentEnabled()
{
    return g_plainContent.load(std::memory_order_relaxed);
}

std::int64_t PlainContentBytesTaken()
{
    return g_bytesTaken.load(std::memory_order_relaxed);
}

void AddPlainContentBytesTaken(std::int64_t bytes)
{
    g_bytesTaken.fetch_add(bytes, std::memory_order_relaxed);
}
} // namespace OndSAX
