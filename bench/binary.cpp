// The binary side part against XML for the torus of 1,000,000 vertices and
// 2,000,000 triangles: export and import times of both forms, their file
// sizes, and the binary import against its floor, which no reader of the
// part avoids: inflating the part alone, plus the host building the same
// mesh from arrays in memory in bulk. Imports run in forked children, so
// that their peak memory is their own (see Measure.h). Each figure is the
// best of three runs.

#include "Measure.h"
#include "TorusMesh.h"

#include "format3mf/Importer.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Package.h"
#include "format3mf/PackageWrite.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlBase.h"
#include "zip/MZipArchive.h"
#include "zip/ReadBufferFromZip.h"

#include <malloc.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
using namespace measure;

constexpr wchar_t kBinaryPart[] = L"3D/3dmodel.model.bin";
// Where the floors' results go, so that their work can't be dropped.
volatile double g_sink = 0.0;

void Write(MStlBase& torus, std::filesystem::path const& path, bool binary)
{
    Format_3MF::ModelFileStlBase model;
    model.AddStl(&torus);
    Format_3MF::Package package(&model);
    Format_3MF::PackageWriteOptions options;
    options.IsBinary = binary;
    Format_3MF::PackageWrite(&package, options).Write(path.wstring(), nullptr);
}

// An import in a child: its time, and the memory of the meshes it returns.
auto ImportPhase(std::filesystem::path const& path)
{
    return [path](double& kept)
    {
        malloc_trim(0);
        double const before = ResidentBytes();
        std::vector<std::unique_ptr<MStlBase>> meshes;
        format3mf::import::Importer importer;
        importer.SetOutputParts(meshes);
        importer.SetFileName(path.wstring());
        double const seconds = Time(
            [&]
            {
                if (importer.Operate(nullptr) != format3mf::import::Importer::Success)
                {
                    throw std::runtime_error("the importer refused " + path.string());
                }
            });
        malloc_trim(0);
        kept = ResidentBytes() - before;
        return seconds;
    };
}

// Every byte of the binary part inflated, in big reads; `sink` sees each.
template <typename Sink>
void InflatePart(std::filesystem::path const& package, Sink&& sink)
{
    MZipArchive archive(false);
    if (!archive.OpenArchiveRead(package.wstring().c_str()))
    {
        throw std::runtime_error("cannot open " + package.string());
    }
    {
        std::vector<char> block(std::size_t(1) << 20);
        ReadBufferFromZip entry(&archive, kBinaryPart);
        while (std::size_t const got = entry.Read(block.data(), block.size()))
        {
            sink(block.data(), got);
        }
    }
    archive.CloseArchive();
}

void Report(char const* phase, double xml, double binary, double target)
{
    std::printf("%-24s %8.3f s %8.3f s   binary/XML %5.2f   (target at most %.2f)\n", phase, xml, binary,
                binary / xml, target);
}
} // namespace

int main()
{
    try
    {
        ScratchFolder const scratch(std::filesystem::temp_directory_path() /
                                    ("ond_bench_binary_" + std::to_string(getpid())));
        std::filesystem::path const xmlPackage = scratch.m_path / "torus-xml.3mf";
        std::filesystem::path const binaryPackage = scratch.m_path / "torus-binary.3mf";
        format3mf::torus::TorusShape const shape;

        double exportXml = 0.0;
        double exportBinary = 0.0;
        std::uint64_t vertices = 0;
        std::uint64_t triangles = 0;
        {
            std::unique_ptr<MStlBase> const torus = format3mf::torus::MakeTorus(shape);
            vertices = torus->GetNumberOfPoints();
            triangles = torus->GetNumberOfTriangles();
            exportXml = BestTime([&] { Write(*torus, xmlPackage, false); });
            exportBinary = BestTime([&] { Write(*torus, binaryPackage, true); });
        }
        Figures const baseline = RunInChild([](double&) { return 0.0; });
        Figures const importXml = BestInChildren(ImportPhase(xmlPackage));
        Figures const importBinary = BestInChildren(ImportPhase(binaryPackage));

        // The floor's two halves. The records are taken into arrays as the
        // host wants them (internal units, unsigned indices) outside the
        // timing.
        std::vector<char> part;
        InflatePart(binaryPackage,
                    [&](char const* data, std::size_t size) { part.insert(part.end(), data, data + size); });
        if (part.size() != (vertices + triangles) * 12)
        {
            throw std::runtime_error("the binary part does not hold the torus alone");
        }
        double const inflate = BestTime(
            [&]
            {
                double sum = 0.0;
                InflatePart(binaryPackage,
                            [&](char const* data, std::size_t size) { sum += data[size - 1]; });
                g_sink = sum;
            });
        std::vector<std::int32_t> xyz(3 * vertices);
        double const scale = OndSDK::Common::MInternalUnits::Get();
        for (std::size_t i = 0; i < xyz.size(); ++i)
        {
            float value;
            std::memcpy(&value, part.data() + 4 * i, sizeof value);
            xyz[i] = static_cast<std::int32_t>(std::lround(value * scale));
        }
        std::vector<std::uint32_t> corners(3 * triangles);
        std::memcpy(corners.data(), part.data() + 12 * vertices, 12 * triangles);
        part = std::vector<char>();
        double const build = BestTime(
            [&]
            {
                MStlBase stl;
                stl.AddPoints(xyz.data(), vertices);
                g_sink = double(stl.AddTriangles(corners.data(), triangles));
            });
        double const floor = inflate + build;

        std::printf("torus: %u x %u grid, %llu vertices, %llu triangles; best of %d runs\n", shape.m_ring,
                    shape.m_tube, static_cast<unsigned long long>(vertices),
                    static_cast<unsigned long long>(triangles), kRuns);
        std::printf("%-24s %10s %10s\n", "", "XML", "binary");
        std::printf("%-24s %7.1f MB %7.1f MB   (binary part %.1f MB inflated)\n", "file size",
                    double(std::filesystem::file_size(xmlPackage)) / 1e6,
                    double(std::filesystem::file_size(binaryPackage)) / 1e6,
                    double(xyz.size() * 4 + corners.size() * 4) / 1e6);
        Report("export", exportXml, exportBinary, 0.2);
        Report("import", importXml.m_seconds, importBinary.m_seconds, 0.25);
        std::printf("\nfloor of the binary import:\n");
        std::printf("%-40s %8.3f s\n", "inflating the part alone", inflate);
        std::printf("%-40s %8.3f s\n", "building the mesh from arrays (bulk)", build);
        std::printf("%-40s %8.3f s\n", "floor", floor);
        std::printf("binary import / floor %30.2f   (target at most 1.5)\n", importBinary.m_seconds / floor);
        double const peak = importBinary.m_peakBytes - baseline.m_peakBytes;
        std::printf("\nbinary import: peak %.1f MB over a child that does nothing; the meshes %.1f MB;\n"
                    "  peak - meshes = %.1f MB   (target at most 16 MB)\n",
                    peak / 1e6, importBinary.m_keptBytes / 1e6, (peak - importBinary.m_keptBytes) / 1e6);
        std::printf("XML import: peak %.1f MB, meshes %.1f MB\n",
                    (importXml.m_peakBytes - baseline.m_peakBytes) / 1e6, importXml.m_keptBytes / 1e6);
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "bench_binary: %s\n", error.what());
        return 1;
    }
    return 0;
}
