// Importing one big mesh against its floors: a package of a torus with
// 1,000,000 vertices and 2,000,000 triangles is generated, and measured in
// one run are inflating the model part alone, expat tokenizing its XML alone,
// and the importer with mesh data in plain form and with expat alone. Each
// figure is the best of three runs.
//
// A phase whose memory matters runs in a forked child of a lean parent, so
// that the child's peak resident set (wait4's ru_maxrss) is the phase's own,
// plus the few megabytes that every child starts with (printed as baseline).

#include "TorusPackage.h"

#include "format3mf/Importer.h"

#include "sax/PlainContent.h"

#include "triangles/MStlBase.h"
#include "zip/MZipArchive.h"
#include "zip/ReadBufferFromZip.h"

#include <expat.h>
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
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
constexpr int kRuns = 3;
constexpr wchar_t kModelPart[] = L"3D/3dmodel.model";

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
double ResidentBytes()
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

double ProcessCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// The CPU time of the last Time call.
double g_lastCpuSeconds = 0.0;

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
// kept; the child sends both back through a pipe. The child's peak resident
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
    figures.m_peakBytes = usage.ru_maxrss * 1024.0; // Linux counts kilobytes.
    figures.m_cpuSeconds = values[2];
    return figures;
}

template <typename Phase>
Figures BestInChildren(Phase&& phase)
{
    Figures best;
    for (int run = 0; run < kRuns; ++run)
    {
        Figures const figures = RunInChild(phase);
        best.m_seconds = std::min(best.m_seconds, figures.m_seconds);
        best.m_peakBytes = std::max(best.m_peakBytes, figures.m_peakBytes);
        best.m_keptBytes = std::max(best.m_keptBytes, figures.m_keptBytes);
        best.m_cpuSeconds = best.m_cpuSeconds == 0.0 ? figures.m_cpuSeconds
                                                     : std::min(best.m_cpuSeconds, figures.m_cpuSeconds);
    }
    return best;
}

// Inflates the model part in big reads; `sink` sees every block.
template <typename Sink>
void InflateModel(std::filesystem::path const& package, Sink&& sink)
{
    MZipArchive archive(false);
    if (!archive.OpenArchiveRead(package.wstring().c_str()))
    {
        throw std::runtime_error("cannot open " + package.string());
    }
    {
        std::vector<char> block(std::size_t(4) << 20);
        ReadBufferFromZip entry(&archive, kModelPart);
        while (std::size_t const got = entry.Read(block.data(), block.size()))
        {
            sink(block.data(), got);
        }
    }
    archive.CloseArchive();
}

void IgnoreStart(void*, XML_Char const*, XML_Char const**) {}

// Expat alone, without namespace processing, fed from memory in 256 KiB
// blocks, as the reader of this library feeds it.
void Tokenize(std::string const& xml)
{
    XML_Parser const parser = XML_ParserCreate(nullptr);
    if (parser == nullptr)
    {
        throw std::runtime_error("XML_ParserCreate failed");
    }
    XML_SetStartElementHandler(parser, IgnoreStart);
    constexpr std::size_t kBlock = 256 << 10;
    bool good = true;
    for (std::size_t at = 0; good && at < xml.size(); at += kBlock)
    {
        std::size_t const size = std::min(kBlock, xml.size() - at);
        good = XML_Parse(parser, xml.data() + at, static_cast<int>(size), XML_FALSE) == XML_STATUS_OK;
    }
    good = good && XML_Parse(parser, nullptr, 0, XML_TRUE) == XML_STATUS_OK;
    XML_ParserFree(parser);
    if (!good)
    {
        throw std::runtime_error("expat refused the generated model");
    }
}

void Report(char const* phase, double bytes, Figures const& figures)
{
    std::printf("%-28s %8.1f MB %8.3f s %8.1f MB/s", phase, bytes / 1e6, figures.m_seconds,
                bytes / 1e6 / figures.m_seconds);
    if (figures.m_cpuSeconds > 0.0)
    {
        std::printf("   CPU %6.3f s", figures.m_cpuSeconds);
    }
    if (figures.m_peakBytes > 0.0)
    {
        std::printf("   peak RSS %7.1f MB", figures.m_peakBytes / 1e6);
    }
    std::printf("\n");
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
} // namespace

int main()
{
    try
    {
        ScratchFolder const scratch(std::filesystem::temp_directory_path() /
                                    ("ond_bench_import_" + std::to_string(getpid())));
        std::filesystem::path const package = scratch.m_path / "torus.3mf";
        torus::TorusShape const shape;

        Figures generate;
        generate.m_seconds = BestTime([&] { torus::WriteTorusPackage(package, shape); });

        double xmlBytes = 0.0;
        Figures inflate;
        inflate.m_seconds = BestTime(
            [&]
            {
                xmlBytes = 0.0;
                InflateModel(package, [&](char const*, std::size_t size) { xmlBytes += double(size); });
            });
        inflate.m_cpuSeconds = g_lastCpuSeconds;

        Figures const baseline = RunInChild([](double&) { return 0.0; });
        Figures const tokenize = BestInChildren(
            [&](double&)
            {
                std::string xml;
                xml.reserve(static_cast<std::size_t>(xmlBytes));
                InflateModel(package, [&](char const* data, std::size_t size) { xml.append(data, size); });
                return Time([&] { Tokenize(xml); });
            });

        auto importPhase = [&](bool plain)
        {
            return [&package, plain](double& kept)
            {
                OndSAX::SetPlainContentEnabled(plain);
                std::vector<std::unique_ptr<MStlBase>> meshes;
                format3mf::import::Importer importer;
                importer.SetOutputParts(meshes);
                importer.SetFileName(package.wstring());
                double const before = ResidentBytes();
                double const seconds = Time(
                    [&]
                    {
                        if (importer.Operate(nullptr) != format3mf::import::Importer::Success)
                        {
                            throw std::runtime_error("the importer refused the generated package");
                        }
                    });
                malloc_trim(0);
                kept = ResidentBytes() - before;
                return seconds;
            };
        };
        Figures const import = BestInChildren(importPhase(true));
        Figures const importExpat = BestInChildren(importPhase(false));

        std::printf("torus: %u x %u grid, %u vertices, %u triangles\n", shape.m_ring, shape.m_tube,
                    shape.m_ring * shape.m_tube, 2 * shape.m_ring * shape.m_tube);
        std::printf("package %.1f MB, model XML %.1f MB; best of %d runs\n",
                    double(std::filesystem::file_size(package)) / 1e6, xmlBytes / 1e6, kRuns);
        Report("generate (format + deflate)", xmlBytes, generate);
        Report("inflate model part", xmlBytes, inflate);
        Report("expat tokenize (in memory)", xmlBytes, tokenize);
        std::printf("%-28s %8.1f MB of the expat child's peak is the XML itself\n", "", xmlBytes / 1e6);
        Report("importer, plain mesh data", xmlBytes, import);
        Report("importer, expat alone", xmlBytes, importExpat);
        std::printf("%-28s peak RSS %7.1f MB\n", "baseline child (no work)", baseline.m_peakBytes / 1e6);
        double const meshes = import.m_keptBytes;
        double const peak = import.m_peakBytes - baseline.m_peakBytes;
        std::printf("\nimporter / expat time      %6.2f   (target 0.40; with expat alone %.2f)\n",
                    import.m_seconds / tokenize.m_seconds, importExpat.m_seconds / tokenize.m_seconds);
        std::printf("importer / expat CPU time  %6.2f   (with expat alone %.2f)\n",
                    import.m_cpuSeconds / tokenize.m_cpuSeconds,
                    importExpat.m_cpuSeconds / tokenize.m_cpuSeconds);
        std::printf("importer / inflate time    %6.2f\n", import.m_seconds / inflate.m_seconds);
        std::printf("meshes returned            %6.1f MB (%.1f bytes per triangle)\n", meshes / 1e6,
                    meshes / (2.0 * shape.m_ring * shape.m_tube));
        std::printf("importer peak over baseline %5.1f MB; limit 1.25 x meshes + 24 MB = %.1f MB\n",
                    peak / 1e6, (1.25 * meshes + 24e6) / 1e6);
        std::printf("  with expat alone          %5.1f MB\n",
                    (importExpat.m_peakBytes - baseline.m_peakBytes) / 1e6);
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "bench_import: %s\n", error.what());
        return 1;
    }
    return 0;
}
