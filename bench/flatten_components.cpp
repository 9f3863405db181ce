// What placing one mesh many times through components costs: a package of a
// cube under six levels of ten components each (a million cube copies, 12
// million triangles, from about a kilobyte of XML) is imported, against the
// floor of copying the same bytes into fresh memory. Processor seconds, best
// of three runs; freeing what a run made is not timed.

#include "Measure.h"

#include "format3mf/Importer.h"

#include "triangles/MStlBase.h"
#include "zip/MZipArchive.h"
#include "zip/WriteBufferStream.h"
#include "zip/WriteBufferToZip.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <filesystem>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
constexpr int kLevels = 6;
constexpr int kFan = 10;
constexpr std::size_t kCubePoints = 8;
constexpr std::size_t kCubeTriangles = 12;
// What the mesh keeps per element: coordinates and a use count for a point,
// three indices for a triangle.
constexpr std::size_t kPointBytes = 14;
constexpr std::size_t kTriangleBytes = 12;

std::string CubeModel()
{
    std::string model =
        R"(<model unit="millimeter" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02">)"
        R"(<resources><object id="1"><mesh><vertices>)";
    for (int i = 0; i < 8; ++i)
    {
        model += "<vertex x=\"" + std::to_string(i & 1) + "\" y=\"" + std::to_string((i >> 1) & 1) +
                 "\" z=\"" + std::to_string((i >> 2) & 1) + "\"/>";
    }
    model += "</vertices><triangles>";
    int const faces[12][3] = {{0, 2, 1}, {1, 2, 3}, {4, 5, 6}, {5, 7, 6}, {0, 1, 4}, {1, 5, 4},
                              {2, 6, 3}, {3, 6, 7}, {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};
    for (auto const& face : faces)
    {
        model += "<triangle v1=\"" + std::to_string(face[0]) + "\" v2=\"" + std::to_string(face[1]) +
                 "\" v3=\"" + std::to_string(face[2]) + "\"/>";
    }
    model += "</triangles></mesh></object>";
    for (int level = 2; level <= kLevels + 1; ++level)
    {
        model += "<object id=\"" + std::to_string(level) + "\"><components>";
        for (int copy = 0; copy < kFan; ++copy)
        {
            model += "<component objectid=\"" + std::to_string(level - 1) +
                     "\" transform=\"0 1 0 -1 0 0 0 0 1 " + std::to_string(2 * copy) + " 0.5 0\"/>";
        }
        model += "</components></object>";
    }
    return model + "</resources><build><item objectid=\"" + std::to_string(kLevels + 1) +
           "\" transform=\"1 0 0 0 1 0 0 0 1 10 20 30\"/></build></model>";
}

void WritePackage(std::filesystem::path const& path)
{
    MZipArchive archive(false);
    archive.OpenArchiveWrite(path.wstring().c_str());
    {
        WriteBufferStream stream(new WriteBufferToZip32(&archive, "_rels/.rels"));
        stream
            << R"(<Relationships><Relationship Id="r0" Target="/3D/3dmodel.model" Type="t"/></Relationships>)";
    }
    {
        WriteBufferStream stream(new WriteBufferToZip32(&archive, "3D/3dmodel.model"));
        stream << CubeModel();
    }
    archive.CloseArchive();
}

// Processor time (user and system, page faults included), so that other
// work on a shared machine does not count.
double Since(double start)
{
    return measure::ProcessCpuSeconds() - start;
}

// The best of the runs of `work`, which returns the seconds of the part it
// measures: what it made is freed after the clock stopped.
template <typename Work>
double Best(Work&& work)
{
    double best = std::numeric_limits<double>::infinity();
    for (int run = 0; run < measure::kRuns; ++run)
    {
        best = std::min(best, work());
    }
    return best;
}

// The floor: every copy's points and triangles copied into memory that is
// new to the process, as a mesh that grows gets it. Freeing it is not timed.
double CopyFloor(std::size_t copies)
{
    std::vector<char> const points(kCubePoints * kPointBytes, 1);
    std::vector<char> const triangles(kCubeTriangles * kTriangleBytes, 2);
    auto const start = measure::ProcessCpuSeconds();
    std::unique_ptr<char[]> pointStore(new char[copies * points.size()]);
    std::unique_ptr<char[]> triangleStore(new char[copies * triangles.size()]);
    for (std::size_t copy = 0; copy < copies; ++copy)
    {
        std::memcpy(pointStore.get() + copy * points.size(), points.data(), points.size());
        std::memcpy(triangleStore.get() + copy * triangles.size(), triangles.data(), triangles.size());
    }
    double const seconds = Since(start);
    // Read back, so that the copies are not optimised away.
    if (pointStore[copies * points.size() - 1] != 1 || triangleStore[0] != 2)
    {
        throw std::runtime_error("the floor copy went wrong");
    }
    return seconds;
}

} // namespace

int main()
{
    try
    {
        measure::ScratchFolder const scratch(std::filesystem::temp_directory_path() /
                                             ("ond_bench_flatten_" + std::to_string(getpid())));
        std::filesystem::path const package = scratch.m_path / "fan.3mf";
        WritePackage(package);
        std::size_t copies = 1;
        for (int level = 0; level < kLevels; ++level)
        {
            copies *= kFan;
        }

        std::size_t triangles = 0;
        double const import = Best(
            [&]
            {
                std::vector<std::unique_ptr<MStlBase>> meshes;
                format3mf::import::Importer importer;
                importer.SetOutputParts(meshes);
                importer.SetFileName(package.wstring());
                auto const start = measure::ProcessCpuSeconds();
                if (importer.Operate(nullptr) != format3mf::import::Importer::Success || meshes.size() != 1)
                {
                    throw std::runtime_error("the importer refused the generated package");
                }
                double const seconds = Since(start);
                triangles = meshes[0]->GetNumberOfTriangles();
                return seconds;
            });
        if (triangles != copies * kCubeTriangles)
        {
            throw std::runtime_error("the import holds the wrong number of triangles");
        }
        double const floor = Best([&] { return CopyFloor(copies); });

        double const bytes = double(copies) * (kCubePoints * kPointBytes + kCubeTriangles * kTriangleBytes);
        std::printf(
            "%d levels of %d components: %zu cube copies, %zu triangles, package %ju bytes; best of %d\n",
            kLevels, kFan, copies, triangles, std::uintmax_t(std::filesystem::file_size(package)),
            measure::kRuns);
        std::printf("%-30s %8.3f s %8.1f ns per triangle\n", "import (read and flatten), cpu", import,
                    import / double(triangles) * 1e9);
        std::printf("%-30s %8.3f s %8.1f ns per triangle (%.0f MB)\n", "floor: copy into new memory, cpu",
                    floor, floor / double(triangles) * 1e9, bytes / 1e6);
        std::printf("import / floor %6.1f\n", import / floor);
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "bench_flatten_components: %s\n", error.what());
        return 1;
    }
    return 0;
}
