// Memory and time of importing a beam lattice: packages of 1,000,000 and
// 2,000,000 beams on three vertices (the vendor dialect, which keeps every
// beam) are written by the library and imported in forked children. The
// floor is what the host mesh needs to hold the same beams, built directly
// in a child of its own. The cost of a beam is the growth from N to 2N
// beams divided by N, so the fixed costs of a process cancel out; equal
// figures at N and 2N show that memory grows in proportion to the beams.

#include "Measure.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/Importer.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Package.h"
#include "format3mf/PackageWrite.h"

#include "triangles/MStlBase.h"

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
using namespace measure;

// Three points 10 mm apart and `beams` edges around them, each with a
// diameter of its own as a reader gives it.
std::unique_ptr<MStlBase> Lattice(std::uint32_t beams)
{
    auto stl = std::make_unique<MStlBase>();
    MStlPoint* const points[3] = {stl->AddPoint(0, 0, 0), stl->AddPoint(100000, 0, 0),
                                  stl->AddPoint(0, 100000, 0)};
    MStlBaseElementInfo& info =
        MStlBaseElementInfoStlDependency::GetDependency(stl.get(), true)->GetElementInfo();
    MStlGraph* const graph = stl->GetFeature().AddNewGraph();
    for (std::uint32_t i = 0; i < beams; ++i)
    {
        MStlGraphEdge const& edge = graph->AddEdge(points[i % 3], points[(i + 1) % 3])->GetData();
        info.SetEdgeThickness(edge, MStlGraphEdgeThickness{5000, 5000});
    }
    return stl;
}

void WritePackage(std::uint32_t beams, std::filesystem::path const& file)
{
    std::unique_ptr<MStlBase> const stl = Lattice(beams);
    Format_3MF::ModelFileStlBase model;
    model.AddStl(stl.get());
    Format_3MF::Package package(&model);
    Format_3MF::PackageWriteOptions options;
    options.Graphs.BeamNamespace = Format_3MF::NamespaceBeamLatticeOndl;
    if (!Format_3MF::PackageWrite(&package, options).Write(file.wstring(), nullptr))
    {
        throw std::runtime_error("writing the lattice failed");
    }
}

Figures Import(std::filesystem::path const& file, std::uint32_t beams)
{
    return BestInChildren(
        [&](double&)
        {
            std::vector<std::unique_ptr<MStlBase>> meshes;
            format3mf::import::Importer importer;
            importer.SetOutputParts(meshes);
            importer.SetFileName(file.wstring());
            double const seconds = Time(
                [&]
                {
                    if (importer.Operate(nullptr) != format3mf::import::Importer::Success)
                    {
                        throw std::runtime_error("the import failed");
                    }
                });
            if (meshes.size() != 1 || meshes[0]->GetFeature().GetNumEdges() != beams)
            {
                throw std::runtime_error("the import lost beams");
            }
            return seconds;
        });
}

Figures Store(std::uint32_t beams)
{
    return BestInChildren([&](double&) { return Time([&] { Lattice(beams).release(); }); });
}
} // namespace

int main()
{
    try
    {
        ScratchFolder const scratch(std::filesystem::temp_directory_path() /
                                    ("ond_bench_beams_" + std::to_string(getpid())));
        constexpr std::uint32_t kSmall = 1000000;
        constexpr std::uint32_t kLarge = 2 * kSmall;
        std::filesystem::path const small = scratch.m_path / "small.3mf";
        std::filesystem::path const large = scratch.m_path / "large.3mf";
        WritePackage(kSmall, small);
        WritePackage(kLarge, large);

        Figures const storeSmall = Store(kSmall);
        Figures const storeLarge = Store(kLarge);
        Figures const importSmall = Import(small, kSmall);
        Figures const importLarge = Import(large, kLarge);

        double const storePerBeam = (storeLarge.m_peakBytes - storeSmall.m_peakBytes) / kSmall;
        double const importPerBeam = (importLarge.m_peakBytes - importSmall.m_peakBytes) / kSmall;
        std::printf("packages: %.1f MB for %u beams, %.1f MB for %u beams; best of %d runs\n",
                    std::filesystem::file_size(small) / 1e6, kSmall, std::filesystem::file_size(large) / 1e6,
                    kLarge, kRuns);
        std::printf("%-34s peak RSS %7.1f MB at N, %7.1f MB at 2N: %5.1f bytes per beam\n",
                    "floor: the host mesh holding them", storeSmall.m_peakBytes / 1e6,
                    storeLarge.m_peakBytes / 1e6, storePerBeam);
        std::printf("%-34s peak RSS %7.1f MB at N, %7.1f MB at 2N: %5.1f bytes per beam\n", "import",
                    importSmall.m_peakBytes / 1e6, importLarge.m_peakBytes / 1e6, importPerBeam);
        std::printf("import time %.3f s at N, %.3f s at 2N: %.0f ns per beam\n", importSmall.m_seconds,
                    importLarge.m_seconds, (importLarge.m_seconds - importSmall.m_seconds) / kSmall * 1e9);
        // The importer holds the mesh it read and the copy it hands out, each
        // with the slack of vectors that grew by doubling: three times the
        // floor per beam at most.
        std::printf("import / floor per beam     %6.2f   (limit 3: the read mesh and its copy)\n",
                    importPerBeam / storePerBeam);
        return 0;
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "bench_beams: %s\n", error.what());
        return 1;
    }
}
