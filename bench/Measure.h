// What the benchmarks share: timing, the resident set of this process, and
// phases run in a forked child, so that the child's peak resident set
// (wait4's ru_maxrss) is the phase's own plus the few megabytes that every
// child starts with (measured as a baseline by a child that does nothing).
#pragma once

#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>
#include <system_error>

namespace measure
{
constexpr int kRuns = 3;

struct Figures
{
    double m_seconds = std::numeric_limits<double>::infinity();
    // Peak resident set of the process that ran the phase, in bytes.
    double m_peakBytes = 0.0;
    // What the phase says it kept at its end (the meshes of an import).
    double m_keptBytes = 0.0;
    // CPU time of the measured part, all threads of the process together:
    // unlike wall time, it does not grow when other work shares the cores.
    double m_cpuSeconds = 0.0;
};

// Resident set size in bytes, from /proc/self/statm.
inline double ResidentBytes()
{
    long pages = 0;
    long resident = 0;
    if (FILE* statm = std::fopen("/proc/self/statm", "r"))
    {
        if (std::fscanf(statm, "%ld %ld", &pages, &resident) != 2)
        {
            resident = 0;
        }
        std::fclose(statm);
    }
    return double(resident) * double(sysconf(_SC_PAGESIZE));
}

inline double ProcessCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// The CPU time of the last Time call.
inline double g_lastCpuSeconds = 0.0;

template <typename Work>
double Time(Work&& work)
{
    double const cpu = ProcessCpuSeconds();
    auto const start = std::chrono::steady_clock::now();
    work();
    double const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    g_lastCpuSeconds = ProcessCpuSeconds() - cpu;
    return seconds;
}

template <typename Work>
double BestTime(Work&& work)
{
    double best = std::numeric_limits<double>::infinity();
    for (int run = 0; run < kRuns; ++run)
    {
        best = std::min(best, Time(work));
    }
    return best;
}

// Runs `phase` in a forked child. The phase returns the seconds of the part
// it measures (so that its set-up is not counted) and may set the bytes it
// kept; the child sends both back through a pipe, with the CPU time of the
// phase's last Time call. The child's peak resident
// set comes from wait4.
template <typename Phase>
Figures RunInChild(Phase&& phase)
{
    int channel[2];
    if (pipe(channel) != 0)
    {
        throw std::runtime_error("pipe failed");
    }
    std::fflush(nullptr);
    pid_t const child = fork();
    if (child < 0)
    {
        throw std::runtime_error("fork failed");
    }
    if (child == 0)
    {
        close(channel[0]);
        int status = 0;
        try
        {
            double values[3] = {0.0, 0.0, 0.0};
            values[0] = phase(values[1]);
            values[2] = g_lastCpuSeconds;
            if (write(channel[1], values, sizeof values) != static_cast<ssize_t>(sizeof values))
            {
                status = 1;
            }
        }
        catch (std::exception const& error)
        {
            std::fprintf(stderr, "child: %s\n", error.what());
            status = 1;
        }
        // No destructors and no atexit handlers of the parent's objects.
        _exit(status);
    }
    close(channel[1]);
    Figures figures;
    double values[3] = {0.0, 0.0, 0.0};
    bool const received = read(channel[0], values, sizeof values) == static_cast<ssize_t>(sizeof values);
    close(channel[0]);
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0 ||
        !received)
    {
        throw std::runtime_error("the measured phase failed in its child process");
    }
    figures.m_seconds = values[0];
    figures.m_keptBytes = values[1];
    figures.m_cpuSeconds = values[2];
    figures.m_peakBytes = usage.ru_maxrss * 1024.0; // Linux counts kilobytes.
    return figures;
}

template <typename Phase>
Figures BestInChildren(Phase&& phase)
{
    Figures best;
    for (int run = 0; run < kRuns; ++run)
    {
        Figures const figures = RunInChild(phase);
        if (figures.m_seconds < best.m_seconds)
        {
            best.m_seconds = figures.m_seconds;
            best.m_cpuSeconds = figures.m_cpuSeconds;
        }
        best.m_peakBytes = std::max(best.m_peakBytes, figures.m_peakBytes);
        best.m_keptBytes = std::max(best.m_keptBytes, figures.m_keptBytes);
    }
    return best;
}

// Removes the scratch folder however the run ends.
struct ScratchFolder
{
    std::filesystem::path m_path;
    explicit ScratchFolder(std::filesystem::path path) : m_path(std::move(path))
    {
        std::filesystem::create_directories(m_path);
    }
    ScratchFolder(ScratchFolder const&) = delete;
    ScratchFolder& operator=(ScratchFolder const&) = delete;
    ~ScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
};
} // namespace measure
