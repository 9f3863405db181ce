// The progress and cancel flag a caller watches; nested delegates share their parent's flag
// so that one cancel stops every level of the work.
#include "common/IProgressDelegate.h"

#include <algorithm>
#include <cmath>

namespace OndSDK::Common
{
IProgressDelegate::IProgressDelegate() : m_cancelled(std::make_shared<std::atomic<bool>>(false)) {}

IProgressDelegate::IProgressDelegate(IProgressDelegate const* parent) : m_cancelled(parent->m_cancelled) {}

IProgressDelegate::~IProgressDelegate() = default;

void IProgressDelegate::SetProgress(double fraction)
{
    if (std::isnan(fraction))
    {
        return;
    }
    fraction = std::clamp(fraction, 0.0, 1.0);
    if (m_progress.exchange(fraction, std::memory_order_relaxed) != fraction)
    {
        OnProgress(fraction);
    }
}

void IProgressDelegate::OnProgress(double) {}
} // namespace OndSDK::Common
