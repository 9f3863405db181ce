// What a slicer project costs to look at and to copy: the painted chest of
// Bambu Studio with its mesh replaced by a torus of two million painted
// triangles. Listing it without meshes and saving it unchanged (entries
// copied as stored) against a plain read of the same file and a copy of its
// bytes, both in the same run (the floors); the memory of a copy against the
// largest entry it writes anew.

#include "Measure.h"
#include "TorusMesh.h"

#include "format3mf/ImportFile.h"
#include "format3mf/Project.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
using measure::Figures;

// The torus as the chest's object part (object 1), its triangles painted in
// filaments 1 and 2 in turn.
std::string TorusPart(MStlBase const& torus)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<model unit=\"millimeter\" "
                       "xmlns=\"http://schemas.microsoft.com/3dmanufacturing/core/2015/02\">\n <resources>\n"
                       "  <object id=\"1\" type=\"model\">\n   <mesh>\n    <vertices>\n";
    double const unit = OndSDK::Common::MInternalUnits::Get();
    char line[160];
    for (std::uint32_t i = 0; i < torus.GetNumberOfPoints(); ++i)
    {
        MStlPoint const& point = torus.PointAt(i);
        std::snprintf(line, sizeof line, "     <vertex x=\"%.4f\" y=\"%.4f\" z=\"%.4f\"/>\n",
                      point.GetX() / unit, point.GetY() / unit, point.GetZ() / unit);
        text += line;
    }
    text += "    </vertices>\n    <triangles>\n";
    for (std::uint32_t i = 0; i < torus.GetNumberOfTriangles(); ++i)
    {
        MStlTriangle const& triangle = torus.TriangleAt(i);
        std::snprintf(line, sizeof line,
                      "     <triangle v1=\"%u\" v2=\"%u\" v3=\"%u\" paint_color=\"%s\"/>\n",
                      triangle.GetPointIndex(0), triangle.GetPointIndex(1), triangle.GetPointIndex(2),
                      i % 2 == 0 ? "4" : "8");
        text += line;
    }
    return text + "    </triangles>\n   </mesh>\n  </object>\n </resources>\n <build/>\n</model>\n";
}

// The file's bytes into another file, flushed to the disk as a save is.
void CopyBytes(std::filesystem::path const& from, std::filesystem::path const& to)
{
    int const in = open(from.c_str(), O_RDONLY);
    int const out = open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<char> block(1 << 20);
    ssize_t got = 0;
    bool ok = in >= 0 && out >= 0;
    while (ok && (got = read(in, block.data(), block.size())) > 0)
    {
        ok = write(out, block.data(), std::size_t(got)) == got;
    }
    ok = ok && got == 0 && fsync(out) == 0;
    close(in);
    close(out);
    if (!ok)
    {
        throw std::runtime_error("the byte copy failed");
    }
}

void Print(char const* what, Figures const& figures, Figures const& baseline)
{
    std::printf("%-30s %8.4f s   CPU %8.4f s   peak over baseline %7.1f MB\n", what, figures.m_seconds,
                figures.m_cpuSeconds, (figures.m_peakBytes - baseline.m_peakBytes) / 1e6);
}
} // namespace

int main()
{
    try
    {
        std::filesystem::path const chest =
            std::filesystem::path(FORMAT3MF_TESTDATA) / "realworld" / "bambu-painted-chest.3mf";
        if (!std::filesystem::exists(chest))
        {
            std::fprintf(stderr, "bench_project_edit: needs %s\n", chest.c_str());
            return 1;
        }
        measure::ScratchFolder const scratch(std::filesystem::temp_directory_path() /
                                             ("ond_bench_project_edit_" + std::to_string(getpid())));
        std::filesystem::path const big = scratch.m_path / "torus-chest.3mf";
        std::size_t triangles = 0;
        {
            std::unique_ptr<MStlBase> const torus =
                format3mf::torus::MakeTorus(format3mf::torus::TorusShape());
            triangles = torus->GetNumberOfTriangles();
            std::unique_ptr<format3mf::Project> const project = format3mf::Project::Open(chest);
            project->WriteEntry("3D/Objects/object_1.model", TorusPart(*torus));
            project->Save(big);
        }
        Figures const baseline = measure::RunInChild([](double&) { return 0.0; });
        Figures const read = measure::BestInChildren(
            [&](double&)
            {
                return measure::Time(
                    [&]
                    {
                        format3mf::import::ImportResult const result = format3mf::import::ImportFile(big);
                        if (result.parts.size() != 1 ||
                            result.parts[0].mesh->GetNumberOfTriangles() != triangles)
                        {
                            throw std::runtime_error("the plain read gave the wrong meshes");
                        }
                    });
            });
        Figures const show = measure::BestInChildren(
            [&](double&)
            {
                return measure::Time(
                    [&]
                    {
                        std::unique_ptr<format3mf::Project> const project = format3mf::Project::Open(big);
                        std::size_t const listed = project->Plates().size() + project->Objects().size() +
                                                   project->Filaments().size() +
                                                   project->ThumbnailEntries().size() +
                                                   project->Entries().size() + project->SettingsJson().size();
                        if (listed == 0 || project->Plates().empty())
                        {
                            throw std::runtime_error("the project showed nothing");
                        }
                    });
            });
        std::filesystem::path const copied = scratch.m_path / "copied.3mf";
        Figures const bytes =
            measure::BestInChildren([&](double&) { return measure::Time([&] { CopyBytes(big, copied); }); });
        Figures const copy = measure::BestInChildren(
            [&](double&) { return measure::Time([&] { format3mf::Project::Open(big)->Save(copied); }); });
        // What the edit below rewrites, measured here: the children's
        // variables don't come back.
        std::size_t rewritten = 0;
        {
            std::unique_ptr<format3mf::Project> const project = format3mf::Project::Open(big);
            project->SetFilament(1, std::string("#20A040"), std::nullopt);
            for (format3mf::ProjectEntry const& entry : project->Entries())
            {
                rewritten = entry.edited ? std::max<std::size_t>(rewritten, entry.size) : rewritten;
            }
        }
        Figures const edited = measure::BestInChildren(
            [&](double&)
            {
                return measure::Time(
                    [&]
                    {
                        std::unique_ptr<format3mf::Project> const project = format3mf::Project::Open(big);
                        project->SetFilament(1, std::string("#20A040"), std::nullopt);
                        project->Save(copied);
                    });
            });
        std::printf("painted chest with a torus of %zu painted triangles; package %.1f MB; best of %d runs\n",
                    triangles, double(std::filesystem::file_size(big)) / 1e6, measure::kRuns);
        Print("plain read (floor)", read, baseline);
        Print("copy of the bytes (floor)", bytes, baseline);
        Print("show, no meshes", show, baseline);
        Print("lossless copy", copy, baseline);
        Print("copy with a filament edited", edited, baseline);
        std::printf("show / read                 %6.3f   (target at most 0.05)\n",
                    show.m_seconds / read.m_seconds);
        std::printf("lossless copy / byte copy   %6.3f   (target at most 1.5)\n",
                    copy.m_seconds / bytes.m_seconds);
        std::printf("lossless copy / read        %6.3f   (target at most 0.3)\n",
                    copy.m_seconds / read.m_seconds);
        std::printf(
            "edited copy peak %.1f MB over baseline; largest entry rewritten %.2f MB (target: at most "
            "that plus 16 MB)\n",
            (edited.m_peakBytes - baseline.m_peakBytes) / 1e6, double(rewritten) / 1e6);
        return 0;
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "bench_project_edit: %s\n", error.what());
        return 1;
    }
}
