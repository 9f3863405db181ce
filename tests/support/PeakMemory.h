// The peak resident memory of the process, for the tests that bound what a
// large or hostile input may take. Where the kernel can't reset or report
// the peak, the figure is missing, so that the test skips visibly.
#pragma once

#include <fstream>
#include <optional>
#include <string>

// A field of /proc/self/status in KiB ("VmHWM", "VmRSS"), if there is one.
inline std::optional<std::size_t> StatusKiB(std::string const& field)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
    {
        if (line.rfind(field + ":", 0) == 0)
        {
            return std::stoul(line.substr(field.size() + 1));
        }
    }
    return std::nullopt;
}

// How far the peak rises above the resident size at construction. Missing
// where the peak can't be reset to that size (no clear_refs), since the peak
// of everything before would then count.
class PeakGrowth
{
public:
    PeakGrowth()
    {
        std::ofstream("/proc/self/clear_refs") << "5";
        std::optional<std::size_t> const peak = StatusKiB("VmHWM");
        m_start = StatusKiB("VmRSS");
        // A reset leaves the peak at the resident size, give or take the
        // pages this very reading touched.
        if (!peak || !m_start || *peak > *m_start + 1024)
        {
            m_start.reset();
        }
    }

    // In KiB; missing when the figure can't be had.
    std::optional<std::size_t> KiB() const
    {
        std::optional<std::size_t> const peak = StatusKiB("VmHWM");
        if (!m_start || !peak)
        {
            return std::nullopt;
        }
        return *peak > *m_start ? *peak - *m_start : 0;
    }

private:
    std::optional<std::size_t> m_start;
};
