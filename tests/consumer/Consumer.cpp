// An application outside the library's tree, built against the installed
// package only: it exports a mesh with a colour per triangle and imports it
// back, and imports a sample when one is given. The README's examples, built
// beside it, show the plain export and the import of parts.
#include "common/StringConversion.h"
#include "format3mf/Exporter.h"
#include "format3mf/Importer.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlColorMaskTrianglePoints.h"

#include <array>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace
{
int g_failures = 0;

void Check(bool condition, char const* what)
{
    if (!condition)
    {
        std::cerr << "FAILED: " << what << "\n";
        ++g_failures;
    }
}
#define CHECK(condition) Check(condition, #condition)

std::vector<std::unique_ptr<MStlBase>> Import(std::string const& path)
{
    std::vector<std::unique_ptr<MStlBase>> parts;
    format3mf::import::Importer importer;
    importer.SetOutputParts(parts);
    importer.SetFileName(StringConversion::ConvertMultiByteStringToOndString(path));
    CHECK(importer.Operate(nullptr) == format3mf::import::Importer::Success);
    return parts;
}
} // namespace

// Usage: consumer <scratch folder> [sample.3mf]
int main(int argc, char** argv)
{
    // A tetrahedron, each triangle's corners in a colour of its own.
    MStlBase mesh;
    MStlPoint* const p[4] = {mesh.AddPoint(0, 0, 0), mesh.AddPoint(100000, 0, 0), mesh.AddPoint(0, 100000, 0),
                             mesh.AddPoint(0, 0, 100000)};
    for (auto const& corners : {std::array<int, 3>{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}})
    {
        mesh.AddTriangle(p[corners[0]], p[corners[1]], p[corners[2]]);
    }
    auto mask = std::make_unique<MStlColorMaskTrianglePoints>(&mesh.GetTriangleMaskOwner());
    for (std::uint32_t triangle = 0; triangle < 4; ++triangle)
    {
        for (MStlColor& colour : mask->GetInfo(triangle).m_colors)
        {
            colour = MStlColor(0x102030u * (triangle + 1));
        }
    }
    std::string const file = (argc > 1 ? argv[1] : std::string(".")) + "/coloured.3mf";
    format3mf::Export exporter;
    exporter.SetStl(&mesh, MMTransformMatrix(), nullptr);
    exporter.SetFilePath(StringConversion::ConvertMultiByteStringToOndString(file));
    CHECK(exporter.Operate() == format3mf::Export::Success);
    auto const parts = Import(file);
    CHECK(parts.size() == 1 && parts[0]->GetNumberOfTriangles() == 4);
    for (std::uint32_t triangle = 0; parts.size() == 1 && triangle < parts[0]->GetNumberOfTriangles();
         ++triangle)
    {
        CHECK(parts[0]->TriangleAt(triangle).GetColor().GetRGB() == 0x102030u * (triangle + 1));
    }
    if (argc > 2)
    {
        CHECK(!Import(argv[2]).empty());
    }
    std::cout << (g_failures == 0 ? "consumer: all checks passed\n" : "consumer: checks failed\n");
    return g_failures == 0 ? 0 : 1;
}
