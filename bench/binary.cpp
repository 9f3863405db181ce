// The binary side part against XML for the torus of 1,000,000 vertices and
// 2,000,000 triangles: export and import times of both forms and their file
// sizes, and reading the part's records into a mesh against two floors that
// no reader of the part avoids: reading the same bytes with MFile alone,
// twelve bytes at a time through its 256 KiB buffer, and the host's
// AddPoint and AddTriangle building the same mesh from memory. Each figure
// is the best of three runs.

#include "Measure.h"
#include "TorusMesh.h"

#include "format3mf/Importer.h"
#include "format3mf/MeshStlBase.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Object.h"
#include "format3mf/Package.h"
#include "format3mf/PackageReadContext.h"
#include "format3mf/PackageWrite.h"
#include "mesh/MeshStlBaseRead.h"

#include "common/MFile.h"
#include "common/StringConversion.h"
#include "sax/SaxUtilities.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"
#include "zip/MZipArchive.h"

#include <cstdio>
#include <deque>
#include <filesystem>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
using namespace measure;

constexpr std::uint64_t kBuffer = 262144;
// Where the floor's sum goes, so that its reads can't be dropped.
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

void Import(std::filesystem::path const& path)
{
    std::vector<std::unique_ptr<MStlBase>> meshes;
    format3mf::import::Importer importer;
    importer.SetOutputParts(meshes);
    importer.SetFileName(path.wstring());
    if (importer.Operate(nullptr) != format3mf::import::Importer::Success)
    {
        throw std::runtime_error("the importer refused " + path.string());
    }
}

// The floor: every record of both blocks read with MFile, three numbers a
// call, into a sum.
double ReadWithMFile(std::filesystem::path const& part, std::uint64_t vertices, std::uint64_t triangles)
{
    MFile file(kBuffer);
    if (!file.OPEN_READ(part.wstring().c_str()))
    {
        throw std::runtime_error("cannot open " + part.string());
    }
    double sum = 0.0;
    float xyz[3];
    for (std::uint64_t i = 0; i < vertices && file.READ(xyz, 3) == 3; ++i)
    {
        sum += xyz[0] + xyz[1] + xyz[2];
    }
    std::int32_t corners[3];
    for (std::uint64_t i = 0; i < triangles && file.READ(corners, 3) == 3; ++i)
    {
        sum += corners[0] + corners[1] + corners[2];
    }
    return sum;
}

// The host's share: the mesh built from records already in memory, points
// looked up by index as the reader looks them up.
std::size_t BuildFromMemory(std::vector<float> const& xyz, std::vector<std::int32_t> const& corners)
{
    MStlBase stl;
    std::deque<MStlPoint*> points;
    for (std::size_t i = 0; i < xyz.size(); i += 3)
    {
        points.push_back(stl.AddPoint(std::int32_t(xyz[i] * 1e4f), std::int32_t(xyz[i + 1] * 1e4f),
                                      std::int32_t(xyz[i + 2] * 1e4f), true));
    }
    for (std::size_t i = 0; i < corners.size(); i += 3)
    {
        stl.AddTriangle(points[corners[i]], points[corners[i + 1]], points[corners[i + 2]], nullptr);
    }
    return stl.GetNumberOfTriangles();
}

// The mesh reader's "bin" branch over the unpacked part: both blocks into a
// host mesh, as an import does once the part is unpacked.
std::size_t ReadIntoMesh(std::filesystem::path const& part, std::uint64_t vertices, std::uint64_t triangles)
{
    Format_3MF::ModelFileStlBase model;
    Format_3MF::ModelFileBinary* const binary = model.SetBinaryFileForReading(L"/3D/3dmodel.model.bin");
    binary->m_temporaryPath = part.wstring();
    if (!binary->m_file.OPEN_READ(binary->m_temporaryPath.c_str()))
    {
        throw std::runtime_error("cannot open " + part.string());
    }
    Format_3MF::PackageReadContext context;
    Format_3MF::Object object(&model);
    Format_3MF::MeshStlBase mesh(nullptr, &model, &object, &context);
    mesh.SetStl(new MStlBase(), true);
    std::ostringstream xml;
    xml << R"(<mesh xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02"><vertices>)"
        << R"(<bin format="float3" pos="0" count=")" << vertices << R"("/></vertices><triangles>)"
        << R"(<bin format="int32_3" pos=")" << vertices * 12 << R"(" count=")" << triangles
        << R"("/></triangles></mesh>)";
    std::istringstream stream(xml.str());
    Format_3MF::MeshStlBaseRead reader(&context, &mesh, nullptr);
    if (!OndAM::SaxUtilities::ReadStream(stream, reader) ||
        mesh.GetStl(false)->GetNumberOfTriangles() != triangles)
    {
        throw std::runtime_error("the mesh reader did not read the part");
    }
    return mesh.GetStl(false)->GetNumberOfPoints();
}

void Report(char const* phase, double xml, double binary)
{
    std::printf("%-26s %8.3f s %8.3f s   %6.1f x   (target 5)\n", phase, xml, binary, xml / binary);
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
        std::filesystem::path const part = scratch.m_path / "3dmodel.model.bin";
        torus::TorusShape const shape;

        double exportXml = 0.0;
        double exportBinary = 0.0;
        std::uint64_t vertices = 0;
        std::uint64_t triangles = 0;
        {
            std::unique_ptr<MStlBase> const torus = torus::MakeTorus(shape);
            vertices = torus->GetNumberOfPoints();
            triangles = torus->GetNumberOfTriangles();
            exportXml = BestTime([&] { Write(*torus, xmlPackage, false); });
            exportBinary = BestTime([&] { Write(*torus, binaryPackage, true); });
        }
        double const importXml = BestTime([&] { Import(xmlPackage); });
        double const importBinary = BestTime([&] { Import(binaryPackage); });

        {
            MZipArchive archive(false);
            if (!archive.OpenArchiveRead(binaryPackage.wstring().c_str()) ||
                !archive.ExtractFile("3D/3dmodel.model.bin", part.wstring().c_str(), nullptr))
            {
                throw std::runtime_error("cannot unpack the binary part");
            }
            archive.CloseArchive();
        }
        double const floor = BestTime([&] { g_sink = ReadWithMFile(part, vertices, triangles); });
        std::size_t points = 0;
        double const mesh = BestTime([&] { points = ReadIntoMesh(part, vertices, triangles); });
        double build = 0.0;
        {
            std::vector<float> xyz(3 * vertices);
            std::vector<std::int32_t> corners(3 * triangles);
            MFile file(kBuffer);
            if (!file.OPEN_READ(part.wstring().c_str()) || file.READ(xyz.data(), xyz.size()) != xyz.size() ||
                file.READ(corners.data(), corners.size()) != corners.size())
            {
                throw std::runtime_error("cannot read " + part.string());
            }
            build = BestTime([&] { g_sink = double(BuildFromMemory(xyz, corners)); });
        }
        double const bytes = double(std::filesystem::file_size(part));

        std::printf("torus: %u x %u grid, %llu vertices, %llu triangles; best of %d runs\n", shape.m_ring,
                    shape.m_tube, static_cast<unsigned long long>(vertices),
                    static_cast<unsigned long long>(triangles), kRuns);
        std::printf("%-26s %10s %10s %10s\n", "", "XML", "binary", "XML/binary");
        std::printf("%-26s %7.1f MB %7.1f MB   (binary part %.1f MB unpacked)\n", "file size",
                    double(std::filesystem::file_size(xmlPackage)) / 1e6,
                    double(std::filesystem::file_size(binaryPackage)) / 1e6, bytes / 1e6);
        Report("export", exportXml, exportBinary);
        Report("import", importXml, importBinary);
        std::printf("\nreading the part (%zu points):\n", points);
        std::printf("%-26s %8.3f s %8.1f MB/s\n", "MFile alone (floor)", floor, bytes / 1e6 / floor);
        std::printf("%-26s %8.3f s\n", "host building from memory", build);
        std::printf("%-26s %8.3f s %8.1f MB/s\n", "into the mesh", mesh, bytes / 1e6 / mesh);
        std::printf("into the mesh against MFile alone             %5.2f   (target at least 0.5)\n",
                    floor / mesh);
        std::printf("the same without the host's building share    %5.2f\n", floor / (mesh - build));
        std::printf("into the mesh against both floors together    %5.2f\n", (floor + build) / mesh);
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "bench_binary: %s\n", error.what());
        return 1;
    }
    return 0;
}
