// Projects whose settings or paint can't be used: each gives a warning that
// names what was wrong and where, and the object as a plain reading gives
// it (one uncoloured box of 12 triangles), never a crash. Two good projects
// show what the same packages give when nothing is wrong.

#include "import/SlicerReadSupport.h"
#include "project/ProjectTestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace slicer;

namespace
{
std::string const kBambuObjects =
    R"(<config><object id="2"><metadata key="name" value="Box"/><metadata key="extruder" value="1"/>)"
    R"(<part id="1" subtype="normal_part"><metadata key="name" value="Body"/></part></object></config>)";
std::string const kBambuFilaments = R"({"filament_colour": ["#FF0000", "#00FF00", "#0000FF", "#FFFFFF"]})";
std::string const kPrusaFilaments = "; filament_colour = #FF0000;#00FF00;#0000FF;#FFFFFF\n";

std::string PrusaObjects(std::string const& volumes)
{
    return R"(<config><object id="1"><metadata type="object" key="name" value="Box"/>)" + volumes +
           "</object></config>";
}

std::string PrusaVolume(std::string const& first, std::string const& last,
                        std::string const& type = "ModelPart")
{
    return "<volume firstid=\"" + first + "\" lastid=\"" + last +
           "\"><metadata type=\"volume\" key=\"volume_type\" value=\"" + type + "\"/></volume>";
}

// A box whose triangles take the paints in turn ('|' between them), in the
// attribute given.
std::string PaintedBox(std::string const& paints, std::string const& attribute)
{
    std::vector<std::string> turns;
    std::istringstream list(paints);
    for (std::string paint; std::getline(list, paint, '|');)
    {
        turns.push_back(paint);
    }
    std::string mesh = BoxMesh(10, 10, 10, attribute + "=\"@\"");
    std::size_t next = 0;
    for (std::size_t at = mesh.find('@'); at != std::string::npos; at = mesh.find('@', at))
    {
        std::string const paint = turns.empty() ? "" : turns[next++ % turns.size()];
        mesh.replace(at, 1, paint);
        at += paint.size();
    }
    return mesh;
}

struct Case
{
    char const* what;
    bool prusa;
    std::string objects;   // the objects' settings part
    std::string filaments; // the filaments' settings part
    std::string paint;     // of the triangles, '|' between those they take in turn
    std::string warning;   // a part of the first warning; empty for none
    // Of each mesh, how many triangles show each colour; empty: one plain
    // uncoloured reading.
    std::vector<std::map<std::string, std::size_t>> colours = {};
};

void WriteProject(std::wstring const& file, Case const& test)
{
    if (test.prusa)
    {
        WriteModelPackage(file,
                          Part(MeshObject(1, PaintedBox(test.paint, "slic3rpe:mmu_segmentation")), Item(1)),
                          {{"Metadata/Slic3r_PE_model.config", test.objects},
                           {"Metadata/Slic3r_PE.config", test.filaments}});
        return;
    }
    WriteSlicerPackage(
        file, Part(Assembly(2, ComponentElement(1, "/3D/Objects/object_1.model")), Item(2)),
        {{"3D/Objects/object_1.model", Part(MeshObject(1, PaintedBox(test.paint, "paint_color")))},
         {"Metadata/model_settings.config", test.objects},
         {"Metadata/project_settings.config", test.filaments}});
}
} // namespace

TEST(HostileProjects, BadSettingsAndPaintGiveTheObjectsPlainReading)
{
    std::string const prusaParts = PrusaObjects(PrusaVolume("0", "11"));
    std::string const bambuPart = R"(<config><object id="2"><part id="1")";
    using Counts = std::vector<std::map<std::string, std::size_t>>;
    // Good paint splits each of the 12 triangles into leaves of states 1 to 4.
    Counts const leaves = {{{"#FF0000", 12}, {"#00FF00", 12}, {"#0000FF", 12}, {"#FFFFFF", 12}}};
    std::string const volumes =
        "<config><object id=\"1\"><volume firstid=\"0\" lastid=\"5\"><metadata type=\"volume\" "
        "key=\"extruder\" value=\"1\"/></volume><volume firstid=\"6\" lastid=\"11\"><metadata "
        "type=\"volume\" key=\"extruder\" value=\"2\"/></volume></object></config>";
    Counts const volumeLeaves = {{{"#FF0000", 7}, {"#00FF00", 4}, {"#0000FF", 2}, {"#FFFFFF", 2}},
                                 {{"#FF0000", 5}, {"#00FF00", 8}, {"#0000FF", 1}, {"#FFFFFF", 1}}};
    std::vector<Case> const cases = {
        {"good: Bambu Studio, painted one level deep", false, kBambuObjects, kBambuFilaments, "480C1C3", "",
         leaves},
        {"good: PrusaSlicer, painted one level deep", true, prusaParts, kPrusaFilaments, "480C1C3", "",
         leaves},
        // Two volumes of one painted mesh: each takes the leaves of its own
        // triangles; leaves of state 0 and unpainted triangles show the
        // volume's filament, the others their state's.
        {"good: painted volumes with extruders of their own", true, volumes, kPrusaFilaments,
         "|480C1C3|4802|485", "", volumeLeaves},
        {"model settings that are not XML", false, "{\"objects\": []}", kBambuFilaments, "4",
         "The project settings /Metadata/model_settings.config are not read: it is not XML"},
        {"model settings of another root", false, "<settings/>", kBambuFilaments, "4",
         "its root element is \"settings\", not \"config\""},
        {"project settings that are not JSON", false, kBambuObjects, "<config/>", "4",
         "The project settings /Metadata/project_settings.config are not read: it is not a JSON object; "
         "no part takes the colour of its filament."},
        {"paint without filament colours", false, kBambuObjects, "{\"filament_colour\": []}", "4",
         "The paint of 12 triangles of object 1 of /3D/Objects/object_1.model is not read: the project "
         "lists no filament colours."},
        {"a filament colour that is no colour", false, kBambuObjects, R"({"filament_colour": ["red"]})", "",
         "filament 1 has the colour \"red\", which is not of the form #RRGGBB"},
        {"an extruder beyond the filament list", false,
         R"(<config><object id="2"><metadata key="extruder" value="9"/><part id="1"/></object></config>)",
         kBambuFilaments, "4",
         "The parts of object 2 of /3D/3dmodel.model are not read from /Metadata/model_settings.config: "
         "part \"\" prints with extruder 9, beyond the 4 filaments of /Metadata/project_settings.config; "
         "the object is read as one printable mesh."},
        {"an extruder that is no number", false,
         bambuPart + R"(><metadata key="extruder" value="x"/></part></object></config>)", kBambuFilaments, "",
         "part 1 has the extruder \"x\", which is not an extruder number"},
        {"an unknown part subtype", false, bambuPart + R"( subtype="x"/></object></config>)", kBambuFilaments,
         "", "part 1 has the unknown subtype \"x\""},
        {"paint of a filament beyond the list", false, kBambuObjects, kBambuFilaments, "2C",
         "The paint of object 1 of /3D/Objects/object_1.model is not read: the paint of triangle 0 names "
         "filament 5, beyond the 4 filaments of the project; the object is read as plain geometry."},
        // Why a paint string is refused is the decoder's test; here, that the
        // refusal names the triangle after paint of every shape.
        {"bad paint after good paint of every shape", true, prusaParts, kPrusaFilaments,
         "480C1C3|4802|485|489|4806|480A|400484833|8|0000F|1C|4|48X",
         "the paint \"48X\" of triangle 11 is not paint: it holds 'X'"},
        // Longer than a token the mesh reader's scanner keeps back: the parser takes it.
        {"paint a megabyte long, shown cut short", false, kBambuObjects, kBambuFilaments,
         std::string(1 << 20, '4'),
         "the paint \"444444444444444444444444...\" of triangle 0 is not paint: it is 1048576 digits long"},
        {"a range past the mesh", true, PrusaObjects(PrusaVolume("0", "20")), kPrusaFilaments, "4",
         "part \"Box\" takes triangles 0 to 20, past the 12 triangles of the mesh"},
        {"overlapping ranges", true, PrusaObjects(PrusaVolume("0", "6") + PrusaVolume("5", "11")),
         kPrusaFilaments, "4", "the triangle ranges of its volumes overlap (0 to 6 and 5 to 11)"},
        {"triangles of no volume", true, PrusaObjects(PrusaVolume("0", "4") + PrusaVolume("6", "11")),
         kPrusaFilaments, "", "triangles 5 to 5 belong to no volume"},
        {"a range of no numbers", true, PrusaObjects(PrusaVolume("a", "11")), kPrusaFilaments, "",
         "volume 1 has no triangle range of numbers (firstid to lastid)"},
        {"an unknown volume type", true, PrusaObjects(PrusaVolume("0", "11", "Hat")), kPrusaFilaments, "",
         "volume 1 has the unknown volume type \"Hat\""},
        {"object settings that are not XML", true, "\x01\x02", kPrusaFilaments, "4",
         "The project settings /Metadata/Slic3r_PE_model.config are not read: it is not XML"},
    };
    for (Case const& test : cases)
    {
        SCOPED_TRACE(test.what);
        PackageScratch scratch;
        std::wstring const file = scratch.File("project.3mf");
        WriteProject(file, test);
        auto const read = Import(file, true);
        ASSERT_EQ(format3mf::import::Importer::Success, read.status) << Messages(read.errors);
        std::string const warnings = Messages(read.warnings);
        if (test.warning.empty())
        {
            EXPECT_EQ("", warnings);
        }
        else
        {
            EXPECT_NE(std::string::npos, warnings.find(test.warning)) << warnings;
        }
        if (!test.colours.empty())
        {
            ASSERT_EQ(test.colours.size(), read.meshes.size());
            for (std::size_t i = 0; i < read.meshes.size(); ++i)
            {
                EXPECT_EQ(test.colours[i], ColourCounts(*read.meshes[i])) << i;
            }
            continue;
        }
        auto const plain = Import(file, false);
        ASSERT_EQ(1u, read.meshes.size());
        ASSERT_EQ(1u, plain.meshes.size());
        EXPECT_EQ((std::map<std::string, std::size_t>{{"none", 12}}), ColourCounts(*read.meshes[0]));
        EXPECT_TRUE(SameTriangles(*read.meshes[0], *plain.meshes[0], 0));
    }
}

// A mesh that lists vertices again after painted triangles (which the
// schema forbids, and readers take): the later vertices keep their own
// points, though the leaves' midpoints were made before them.
TEST(HostileProjects, VerticesAfterPaintedTrianglesKeepTheirPoints)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("late-vertices.3mf");
    std::string const mesh =
        "<mesh><vertices><vertex x=\"0\" y=\"0\" z=\"0\"/><vertex x=\"8\" y=\"0\" z=\"0\"/>"
        "<vertex x=\"0\" y=\"8\" z=\"0\"/></vertices><triangles><triangle v1=\"0\" v2=\"1\" v3=\"2\" "
        "slic3rpe:mmu_segmentation=\"480C1C3\"/></triangles><vertices><vertex x=\"5\" y=\"5\" z=\"5\"/>"
        "<vertex x=\"6\" y=\"5\" z=\"5\"/></vertices><triangles><triangle v1=\"3\" v2=\"4\" v3=\"0\"/>"
        "</triangles></mesh>";
    WriteModelPackage(file, Part(MeshObject(1, mesh), Item(1)),
                      {{"Metadata/Slic3r_PE_model.config", PrusaObjects(PrusaVolume("0", "1"))},
                       {"Metadata/Slic3r_PE.config", kPrusaFilaments}});
    auto const read = Import(file, true);
    auto const plain = Import(file, false);
    ASSERT_EQ(1u, read.meshes.size()) << Messages(read.warnings);
    ASSERT_EQ(1u, plain.meshes.size());
    EXPECT_EQ("", Messages(read.warnings));
    ASSERT_EQ(5u, read.meshes[0]->GetNumberOfTriangles()) << "four leaves and the plain triangle";
    MStlTriangle const& last = read.meshes[0]->TriangleAt(4);
    MStlTriangle const& expected = plain.meshes[0]->TriangleAt(1);
    for (unsigned corner = 0; corner < 3; ++corner)
    {
        EXPECT_EQ(plain.meshes[0]->PointAt(expected.GetPointIndex(corner)).GetCoordinates(),
                  read.meshes[0]->PointAt(last.GetPointIndex(corner)).GetCoordinates())
            << corner;
    }
}
