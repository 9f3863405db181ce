// A binary STL of the 2M-triangle torus to 3MF and back through the
// converter, against the floor of the same run: reading the STL's bytes from
// disk plus our 3MF export of the same mesh; and against PrusaSlicer's
// --export-3mf of the same STL where it is installed. The converter runs as
// its users run it, a process of its own, whose peak memory wait4 gives.

#include "Measure.h"
#include "TorusMesh.h"

#include "format3mf/Exporter.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlIterators.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
using namespace measure;

void WriteBinaryStl(MStlBase const& mesh, std::filesystem::path const& path)
{
    std::ofstream file(path, std::ios::binary);
    char header[80] = "torus";
    file.write(header, sizeof header);
    auto const count = static_cast<std::uint32_t>(mesh.GetNumberOfTriangles());
    file.write(reinterpret_cast<char const*>(&count), 4);
    float const unit = static_cast<float>(OndSDK::Common::MInternalUnits::Get());
    for (auto triangle = mesh.BeginTriangle(), end = mesh.EndTriangle(); triangle != end; ++triangle)
    {
        float record[12] = {};
        for (int corner = 0; corner < 3; ++corner)
        {
            MStlPoint const& point = mesh.PointAt(triangle->GetPointIndex(corner));
            record[3 + 3 * corner] = point.GetX() / unit;
            record[4 + 3 * corner] = point.GetY() / unit;
            record[5 + 3 * corner] = point.GetZ() / unit;
        }
        file.write(reinterpret_cast<char const*>(record), sizeof record);
        file.write("\0\0", 2);
    }
}

struct Process
{
    double seconds = 0.0;
    double peakBytes = 0.0;
};

// Runs a command line through the shell, best of the runs, with the peak
// resident set of the slowest-growing run.
Process RunBest(std::string const& command)
{
    Process best{std::numeric_limits<double>::infinity(), 0.0};
    for (int run = 0; run < kRuns; ++run)
    {
        std::fflush(nullptr);
        auto const start = std::chrono::steady_clock::now();
        pid_t const child = fork();
        if (child == 0)
        {
            execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        int status = 0;
        rusage usage{};
        if (child < 0 || wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) ||
            WEXITSTATUS(status) != 0)
        {
            throw std::runtime_error("failed: " + command);
        }
        double const seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        best.seconds = std::min(best.seconds, seconds);
        best.peakBytes = std::max(best.peakBytes, double(usage.ru_maxrss) * 1024.0);
    }
    return best;
}
} // namespace

int main()
{
    try
    {
        std::filesystem::path const folder = std::filesystem::temp_directory_path() / "bench_convert";
        std::filesystem::create_directories(folder);
        std::filesystem::path const stl = folder / "torus.stl";
        std::filesystem::path const package = folder / "torus.3mf";
        std::filesystem::path const floorPackage = folder / "floor.3mf";
        format3mf::torus::TorusShape const shape;
        std::unique_ptr<MStlBase> const torus = format3mf::torus::MakeTorus(shape);
        WriteBinaryStl(*torus, stl);
        double const stlBytes = double(std::filesystem::file_size(stl));

        // The floor: the STL's bytes into memory, and exporting the mesh.
        double const readBytes = BestTime(
            [&]
            {
                std::ifstream file(stl, std::ios::binary);
                std::vector<char> bytes(static_cast<std::size_t>(stlBytes));
                file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            });
        double const exportMesh = BestTime(
            [&]
            {
                format3mf::Export exporter;
                exporter.SetStl(torus.get(), MMTransformMatrix(), nullptr);
                exporter.SetFilePath(floorPackage.wstring());
                if (exporter.Operate() != format3mf::Export::Success)
                {
                    throw std::runtime_error("the exporter failed");
                }
            });
        double const floor = readBytes + exportMesh;
        Process const baseline = RunBest("true");
        std::string const tool = OND3MF_CONVERT;
        Process const toThreeMF = RunBest(tool + " --quiet " + stl.string() + " " + package.string());
        Process const toStl =
            RunBest(tool + " --quiet " + package.string() + " " + (folder / "back.stl").string());
        double const meshBytes = 21.5 * 2.0 * shape.m_ring * shape.m_tube;

        std::printf("torus: %u vertices, %u triangles; binary STL %.1f MB; best of %d runs\n",
                    shape.m_ring * shape.m_tube, 2 * shape.m_ring * shape.m_tube, stlBytes / 1e6, kRuns);
        std::printf("read the STL's bytes (floor)      %7.3f s\n", readBytes);
        std::printf("export the mesh as 3MF (floor)    %7.3f s\n", exportMesh);
        std::printf("ond3mf-convert STL -> 3MF         %7.3f s   peak RSS %7.1f MB\n", toThreeMF.seconds,
                    toThreeMF.peakBytes / 1e6);
        std::printf("ond3mf-convert 3MF -> STL         %7.3f s   peak RSS %7.1f MB\n", toStl.seconds,
                    toStl.peakBytes / 1e6);
        std::printf("\nSTL -> 3MF / floor                %7.2f   (target 1.5)\n", toThreeMF.seconds / floor);
        std::printf("peak over a process doing nothing  %6.1f MB; limit mesh + STL + 24 MB = %.1f MB\n",
                    (toThreeMF.peakBytes - baseline.peakBytes) / 1e6, (meshBytes + stlBytes + 24e6) / 1e6);
        if (std::system("command -v prusa-slicer >/dev/null 2>&1") == 0)
        {
            Process const prusa =
                RunBest("prusa-slicer --export-3mf --output " + (folder / "prusa.3mf").string() + " " +
                        stl.string() + " >/dev/null 2>&1");
            std::printf("prusa-slicer --export-3mf         %7.3f s\n", prusa.seconds);
            std::printf("STL -> 3MF / PrusaSlicer          %7.2f   (target 0.3)\n",
                        toThreeMF.seconds / prusa.seconds);
        }
        else
        {
            std::printf("prusa-slicer is not installed: no comparison with it\n");
        }
        std::filesystem::remove_all(folder);
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "bench_convert: %s\n", error.what());
        return 1;
    }
    return 0;
}
