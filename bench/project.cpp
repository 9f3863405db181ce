// What reading a slicer project's paint costs: a Bambu Studio project of a
// torus of two million triangles, every one painted one level deep (four
// leaves in two filaments), read with the project option against the plain
// read of the same file in the same run (the floor), and, for reference, the
// plain read of the same mesh without paint. Time, and the peak resident set
// of each read in a child process against the meshes it returns.

#include "Measure.h"
#include "TorusMesh.h"

#include "format3mf/Importer.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"
#include "zip/MZipArchive.h"
#include "zip/WriteBufferStream.h"
#include "zip/WriteBufferToZip.h"

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
using measure::Figures;

// Four leaves: filaments 1 and 2 in turn.
char const kPaint[] = "48483";

void WriteEntry(MZipArchive& archive, char const* name, std::string const& text)
{
    WriteBufferStream stream(new WriteBufferToZip32(&archive, name));
    stream << text;
}

// The torus as the object part of a Bambu Studio project, every triangle
// painted or none.
void WritePackage(std::filesystem::path const& path, MStlBase const& torus, bool painted)
{
    MZipArchive archive(false);
    archive.OpenArchiveWrite(path.wstring().c_str());
    char const* const core = "http://schemas.microsoft.com/3dmanufacturing/core/2015/02";
    char const* const production = "http://schemas.microsoft.com/3dmanufacturing/production/2015/06";
    WriteEntry(
        archive, "_rels/.rels",
        R"(<Relationships><Relationship Id="r0" Target="/3D/3dmodel.model" Type="t"/></Relationships>)");
    WriteEntry(archive, "3D/_rels/3dmodel.model.rels",
               R"(<Relationships><Relationship Id="r1" Target="/3D/Objects/object_1.model" Type="t"/>)"
               "</Relationships>");
    WriteEntry(archive, "3D/3dmodel.model",
               std::string("<model unit=\"millimeter\" xmlns=\"") + core + "\" xmlns:p=\"" + production +
                   "\" requiredextensions=\"p\"><resources><object id=\"2\" type=\"model\"><components>"
                   "<component p:path=\"/3D/Objects/object_1.model\" objectid=\"1\"/></components></object>"
                   "</resources><build><item objectid=\"2\" transform=\"1 0 0 0 1 0 0 0 1 128 128 15\"/>"
                   "</build></model>");
    {
        WriteBufferStream stream(new WriteBufferToZip32(&archive, "3D/Objects/object_1.model"));
        stream << "<model unit=\"millimeter\" xmlns=\"" << core
               << "\"><resources><object id=\"1\" type=\"model\"><mesh><vertices>";
        double const unit = OndSDK::Common::MInternalUnits::Get();
        char line[160];
        for (std::size_t i = 0; i < torus.GetNumberOfPoints(); ++i)
        {
            MStlPoint const& point = torus.PointAt(std::uint32_t(i));
            std::snprintf(line, sizeof line, "<vertex x=\"%.4f\" y=\"%.4f\" z=\"%.4f\"/>",
                          point.GetX() / unit, point.GetY() / unit, point.GetZ() / unit);
            stream << line;
        }
        stream << "</vertices><triangles>";
        for (std::size_t i = 0; i < torus.GetNumberOfTriangles(); ++i)
        {
            MStlTriangle const& triangle = torus.TriangleAt(std::uint32_t(i));
            std::snprintf(line, sizeof line, "<triangle v1=\"%u\" v2=\"%u\" v3=\"%u\"%s%s%s/>",
                          triangle.GetPointIndex(0), triangle.GetPointIndex(1), triangle.GetPointIndex(2),
                          painted ? " paint_color=\"" : "", painted ? kPaint : "", painted ? "\"" : "");
            stream << line;
        }
        stream << "</triangles></mesh></object></resources><build/></model>";
    }
    WriteEntry(
        archive, "Metadata/model_settings.config",
        R"(<config><object id="2"><metadata key="name" value="torus"/><metadata key="extruder" value="1"/>)"
        R"(<part id="1" subtype="normal_part"><metadata key="name" value="torus"/></part></object></config>)");
    WriteEntry(archive, "Metadata/project_settings.config", R"({"filament_colour": ["#FF8000", "#2040FF"]})");
    archive.CloseArchive();
}

// One read in a child, which must give `triangles`: its seconds, and what
// its meshes keep resident.
Figures Read(std::filesystem::path const& package, bool project, std::size_t triangles)
{
    return measure::BestInChildren(
        [&package, project, triangles](double& kept)
        {
            std::vector<std::unique_ptr<MStlBase>> meshes;
            format3mf::import::Importer importer;
            importer.SetOutputParts(meshes);
            importer.SetFileName(package.wstring());
            importer.SetReadProjectParts(project);
            double const before = measure::ResidentBytes();
            double const seconds = measure::Time(
                [&]
                {
                    if (importer.Operate(nullptr) != format3mf::import::Importer::Success ||
                        meshes.size() != 1)
                    {
                        throw std::runtime_error("the importer refused the generated project");
                    }
                });
            malloc_trim(0);
            kept = measure::ResidentBytes() - before;
            if (meshes[0]->GetNumberOfTriangles() != triangles ||
                project != meshes[0]->TriangleAt(0).GetColor().IsDefined())
            {
                throw std::runtime_error("the read gave the wrong triangles or colours");
            }
            return seconds;
        });
}

void Print(char const* what, Figures const& figures, Figures const& baseline)
{
    std::printf("%-34s %7.3f s   CPU %7.3f s   peak over baseline %7.1f MB   meshes %7.1f MB\n", what,
                figures.m_seconds, figures.m_cpuSeconds, (figures.m_peakBytes - baseline.m_peakBytes) / 1e6,
                figures.m_keptBytes / 1e6);
}
} // namespace

int main()
{
    try
    {
        measure::ScratchFolder const scratch(std::filesystem::temp_directory_path() /
                                             ("ond_bench_project_" + std::to_string(getpid())));
        std::filesystem::path const painted = scratch.m_path / "painted.3mf";
        std::filesystem::path const bare = scratch.m_path / "bare.3mf";
        format3mf::torus::TorusShape const shape;
        {
            std::unique_ptr<MStlBase> const torus = format3mf::torus::MakeTorus(shape);
            WritePackage(painted, *torus, true);
            WritePackage(bare, *torus, false);
        }
        Figures const baseline = measure::RunInChild([](double&) { return 0.0; });
        std::size_t const plainTriangles = 2 * std::size_t(shape.m_ring) * shape.m_tube;
        Figures const plain = Read(painted, false, plainTriangles);
        Figures const project = Read(painted, true, 4 * plainTriangles);
        Figures const unpainted = Read(bare, false, plainTriangles);
        Figures const unpaintedProject = Read(bare, true, plainTriangles);
        std::printf("torus of %zu triangles, each painted \"%s\"; package %.1f MB; best of %d runs\n",
                    plainTriangles, kPaint, double(std::filesystem::file_size(painted)) / 1e6,
                    measure::kRuns);
        Print("plain read (floor)", plain, baseline);
        Print("project read", project, baseline);
        Print("plain read of the unpainted twin", unpainted, baseline);
        Print("project read of the unpainted twin", unpaintedProject, baseline);
        std::printf("project / floor time       %6.2f   (target at most 2)\n",
                    project.m_seconds / plain.m_seconds);
        std::printf("project / unpainted time   %6.2f\n", project.m_seconds / unpainted.m_seconds);
        double const over = (project.m_peakBytes - baseline.m_peakBytes - project.m_keptBytes) / 1e6;
        std::printf("project peak over its meshes %5.1f MB   (target at most 24 MB)\n", over);
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "bench_project: %s\n", error.what());
        return 1;
    }
    return 0;
}
