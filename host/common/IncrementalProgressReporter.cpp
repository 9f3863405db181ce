// A reporter counting a known number of steps, passing only about a thousand
// updates to the delegate so that counting stays cheap in tight loops.
#include "common/IncrementalProgressReporter.h"

#include <algorithm>

namespace OndSDK::Common
{
namespace
{
constexpr std::uint64_t kVisibleParts = 1000;
}

IncrementalProgressReporter::IncrementalProgressReporter(std::shared_ptr<IProgressDelegate> const& delegate,
                                                         std::string const&, std::uint64_t steps,
                                                         bool finishOnDestruction)
    : BaseProgressReporter(delegate, static_cast<double>(steps), finishOnDestruction), m_steps(steps),
      m_granularity(std::max<std::uint64_t>(1, steps / kVisibleParts))
{
    // Without a delegate the thresholds stay out of reach, and counting costs
    // two comparisons.
    if (HasDelegate() && steps > 0)
    {
        m_reportAbove = m_granularity;
    }
}

void IncrementalProgressReporter::Report()
{
    std::uint64_t const done = std::min(m_done, m_steps);
    m_reportBelow = done >= m_granularity ? done - m_granularity + 1 : 0;
    m_reportAbove = done < m_steps ? done + std::min(m_granularity, UINT64_MAX - done) : UINT64_MAX;
    ReportOwnProgress(static_cast<double>(done));
}
} // namespace OndSDK::Common
