// The switch between plain content and the parser alone.

#include "sax/PlainContent.h"

#include <atomic>

namespace OndSAX
{
namespace
{
std::atomic<bool> g_plainContent{true};
}

IPlainContentReader::~IPlainContentReader() = default;

void SetPlainContentEnabled(bool enabled)
{
    g_plainContent.store(enabled, std::memory_order_relaxed);
}

bool IsPlainContentEnabled()
{
    return g_plainContent.load(std::memory_order_relaxed);
}
} // namespace OndSAX
