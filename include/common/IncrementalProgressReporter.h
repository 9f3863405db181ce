#pragma once

// A progress reporter for a task of many small steps, cheap enough to count
// every element of a large file.

#include "common/BaseProgressReporter.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace OndSDK::Common
{
// Counts the steps of one task, such as bytes of a stream. The counting
// operators run for every element of a large file, so they only compare
// against a threshold: the delegate hears of a change once it is at least a
// thousandth of the task (or one step, for short tasks). Counts beyond the
// number of steps count as all steps.
class OND_EXPORT IncrementalProgressReporter : public BaseProgressReporter
{
public:
    IncrementalProgressReporter(std::shared_ptr<IProgressDelegate> const& delegate, std::string const& name,
                                std::uint64_t steps, bool finishOnDestruction);

    // Sets the number of steps done.
    IncrementalProgressReporter& operator=(std::uint64_t done)
    {
        m_done = done;
        if (done >= m_reportAbove || done < m_reportBelow)
        {
            Report();
        }
        return *this;
    }
    IncrementalProgressReporter& operator+=(std::uint64_t steps)
    {
        // Saturates rather than wraps, so a huge step can't look like going back.
        return *this = m_done + std::min(steps, UINT64_MAX - m_done);
    }
    IncrementalProgressReporter& operator++() { return *this += 1; }

private:
    void Report();

    std::uint64_t m_steps;
    std::uint64_t m_granularity;
    std::uint64_t m_done = 0;
    // The delegate is told when the count leaves [m_reportBelow, m_reportAbove).
    std::uint64_t m_reportBelow = 0;
    std::uint64_t m_reportAbove = UINT64_MAX;
};
} // namespace OndSDK::Common
