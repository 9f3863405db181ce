// Projects whose settings or paint can't be used: each gives a warning that
// names what was wrong and where, and the object as a plain reading gives
// it, never a crash. Projects that the slicers print all the same (an
// extruder past the filament list, settings that describe an object twice,
// paint of supports, seams and fuzzy skin, very thin painted triangles) give
// their warning and their colours; the triangles of every coloured reading
// are those that the independent reading of expected_meshes.py makes.

#include "import/SlicerReadSupport.h"
#include "project/PaintedMesh.h"
#include "project/ProjectConfig.h"
#include "project/ProjectParts.h"
#include "project/ProjectTestSupport.h"

#include "format3mf/Exception.h"
#include "format3mf/PackageReadContext.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>

using namespace slicer;
using namespace Format_3MF;

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

std::vector<std::string> Turns(std::string const& list)
{
    std::vector<std::string> turns;
    std::istringstream items(list);
    for (std::string item; std::getline(items, item, '|');)
    {
        turns.push_back(item);
    }
    return turns;
}

// A box whose triangles take the paints in turn ('|' between them), in the
// attribute given, and the other attributes in turn.
std::string PaintedBox(std::string const& paints, std::string const& attribute,
                       std::string const& others = "")
{
    std::vector<std::string> const paint = Turns(paints);
    std::vector<std::string> const other = Turns(others);
    std::string mesh = BoxMesh(10, 10, 10, "@");
    std::size_t next = 0;
    for (std::size_t at = mesh.find('@'); at != std::string::npos; at = mesh.find('@', at), ++next)
    {
        std::string const attributes = attribute + "=\"" + (paint.empty() ? "" : paint[next % paint.size()]) +
                                       "\" " + (other.empty() ? "" : other[next % other.size()]);
        mesh.replace(at, 1, attributes);
        at += attributes.size();
    }
    return mesh;
}

// A mesh with a triangle put before its `index`-th.
std::string WithTriangle(std::string mesh, std::size_t index, std::string const& triangle)
{
    std::size_t at = mesh.find("<triangle ");
    for (std::size_t i = 0; i < index; ++i)
    {
        at = mesh.find("<triangle ", at + 1);
    }
    return mesh.insert(at, triangle);
}

// A mesh of the vertices and triangles given, in mm.
std::string Mesh(std::string const& vertices, std::string const& triangles)
{
    return "<mesh><vertices>" + vertices + "</vertices><triangles>" + triangles + "</triangles></mesh>";
}

struct Case
{
    char const* what;
    bool prusa;
    std::string objects;   // the objects' settings part
    std::string filaments; // the filaments' settings part
    std::string paint;     // of the triangles, '|' between those they take in turn
    std::string warning;   // a part of a warning; empty for none
    // Of each mesh, how many triangles show each colour; empty: one plain
    // uncoloured reading.
    std::vector<std::map<std::string, std::size_t>> colours = {};
    // The object's mesh; empty: the box painted with `paint`.
    std::string mesh = "";
    // Other attributes of the box's triangles, '|' between those they take in turn.
    std::string others = "";
    // The most points and triangles the read may hold; 0: the library's.
    std::uint64_t limit = 0;
};

void WriteProject(std::wstring const& file, Case const& test)
{
    if (test.prusa)
    {
        std::string const mesh =
            test.mesh.empty() ? PaintedBox(test.paint, "slic3rpe:mmu_segmentation", test.others) : test.mesh;
        WriteModelPackage(file, Part(MeshObject(1, mesh), Item(1)),
                          {{"Metadata/Slic3r_PE_model.config", test.objects},
                           {"Metadata/Slic3r_PE.config", test.filaments}});
        return;
    }
    std::string const mesh =
        test.mesh.empty() ? PaintedBox(test.paint, "paint_color", test.others) : test.mesh;
    WriteSlicerPackage(file, Part(Assembly(2, ComponentElement(1, "/3D/Objects/object_1.model")), Item(2)),
                       {{"3D/Objects/object_1.model", Part(MeshObject(1, mesh))},
                        {"Metadata/model_settings.config", test.objects},
                        {"Metadata/project_settings.config", test.filaments}});
}

// The root model of a project whose meshes count against a bound of the
// test's choosing, far below the library's, which only a read of gigabytes
// reaches: read as the importer reads it with the project option.
class BoundedProject : public ModelFileStlBase
{
public:
    explicit BoundedProject(std::uint64_t limit) : m_limit(limit) {}

    std::unique_ptr<format3mf::project::ProjectConfig> m_project;

protected:
    void _OnRead(PackageReadContext* context) override
    {
        m_project =
            format3mf::project::ReadProjectConfig(*context->m_packageRead->GetArchive(), context->m_warnings);
        m_project->tally.limit = m_limit;
        ModelFileStlBase::_OnRead(context);
    }

    IMesh* _CreateMesh(Object* object, PackageReadContext* context) override
    {
        auto stl = std::make_unique<MStlBase>();
        auto* const mesh = new format3mf::project::PaintedMesh(stl.get(), this, object, context, *m_project);
        mesh->SetStl(stl.release(), true);
        return mesh;
    }

private:
    std::uint64_t const m_limit;
};

format3mf::import::ImportResult ReadWithin(std::wstring const& file, std::uint64_t limit)
{
    BoundedProject model(limit);
    Package package(&model);
    PackageRead reader(&package, PackageReadOptions());
    bool const read = reader.Read(file, nullptr);
    // The meshes of the plain build, which the project's stand for.
    std::vector<std::unique_ptr<MStlBase>> build;
    for (std::uint64_t i = 0; i < model.GetNumStls(); ++i)
    {
        build.emplace_back(model.GetStl(i));
    }
    format3mf::import::ImportResult result;
    std::vector<std::wstring> warnings = reader.GetContext().m_warnings;
    try
    {
        format3mf::project::ProjectMeshes made =
            format3mf::project::FlattenProject(model, *model.m_project, limit, warnings);
        for (auto& mesh : made.meshes)
        {
            result.parts.push_back({std::move(mesh), PartRole::Printable, ""});
        }
        result.status = read ? format3mf::import::Importer::Success : format3mf::import::Importer::ReadFailed;
    }
    catch (Exception const& error)
    {
        result.errors.push_back(StringConversion::ConvertNativeToUTF8(error.m_message));
    }
    for (std::wstring const& warning : warnings)
    {
        result.warnings.push_back(StringConversion::ConvertNativeToUTF8(warning));
    }
    return result;
}
} // namespace

TEST(HostileProjects, BadSettingsAndPaintGiveTheObjectsPlainReading)
{
    std::string const prusaParts = PrusaObjects(PrusaVolume("0", "11"));
    std::string const bambuPart = R"(<config><object id="2"><part id="1")";
    // PrusaSlicer volumes of triangles first to last, each printed with its extruder.
    auto volumes = [](std::vector<std::array<int, 3>> const& ranges)
    {
        std::string volumes;
        for (auto const& [first, last, extruder] : ranges)
        {
            volumes += "<volume firstid=\"" + std::to_string(first) + "\" lastid=\"" + std::to_string(last) +
                       "\"><metadata type=\"volume\" key=\"extruder\" value=\"" + std::to_string(extruder) +
                       "\"/></volume>";
        }
        return PrusaObjects(volumes);
    };
    using Counts = std::vector<std::map<std::string, std::size_t>>;
    // Good paint splits each of the 12 triangles into leaves of states 1 to 4.
    Counts const leaves = {{{"#FF0000", 12}, {"#00FF00", 12}, {"#0000FF", 12}, {"#FFFFFF", 12}}};
    Counts const volumeLeaves = {{{"#FF0000", 7}, {"#00FF00", 4}, {"#0000FF", 2}, {"#FFFFFF", 2}},
                                 {{"#FF0000", 5}, {"#00FF00", 8}, {"#0000FF", 1}, {"#FFFFFF", 1}}};
    // A triangle painted in four leaves, then vertices again (which the
    // schema forbids, and readers take) and triangles on them.
    std::string const vertices =
        R"(<vertex x="0" y="0" z="0"/><vertex x="8" y="0" z="0"/><vertex x="0" y="8" z="0"/>)"
        R"(</vertices><triangles><triangle v1="0" v2="1" v3="2" )"
        R"(slic3rpe:mmu_segmentation="480C1C3"/></triangles><vertices>)"
        R"(<vertex x="5" y="5" z="5"/><vertex x="6" y="5" z="5"/>)";
    std::string const late = R"(<triangle v1="3" v2="4" v3="0"/>)";
    // A sliver 2 mm long and 0.2 micrometre wide: of its leaves, the grid
    // flattens the one of state 2, the only one at its second corner, and
    // turns over those of states 3 and 4.
    std::string const sliverVertices = R"(<vertex x="0" y="0" z="0"/><vertex x="1.0001" y="0.0001" z="0"/>)"
                                       R"(<vertex x="2.0004" y="0.0003" z="0"/>)";
    std::string const sliver = R"(<triangle v1="0" v2="1" v3="2" paint_color="480C1C3"/>)";
    std::string const thin =
        "The paint of object 1 of /3D/Objects/object_1.model splits very thin triangles whose "
        "leaves the 0.1 micrometre grid of the mesh distorts: 1 without area are left out, 2 "
        "turned over are turned back.";
    std::string const extruder9 =
        R"(<config><object id="2"><metadata key="extruder" value="9"/><part id="1"/></object></config>)";
    std::string const beyond = "they print with filament 1, as the slicers print them.";
    std::vector<Case> const cases = {
        {"good: Bambu Studio, painted one level deep", false, kBambuObjects, kBambuFilaments, "480C1C3", "",
         leaves},
        {"good: PrusaSlicer, painted one level deep", true, prusaParts, kPrusaFilaments, "480C1C3", "",
         leaves},
        // Two volumes of one painted mesh: each takes the leaves of its own
        // triangles; leaves of state 0 and unpainted triangles show the
        // volume's filament, the others their state's.
        {"good: painted volumes with extruders of their own", true, volumes({{0, 5, 1}, {6, 11, 2}}),
         kPrusaFilaments, "|480C1C3|4802|485", "", volumeLeaves},
        // The ranges count the triangles of the file, also one on a vertex
        // twice, which the reading leaves out.
        {"good: volumes after a triangle on a vertex twice",
         true,
         volumes({{0, 5, 1}, {6, 12, 2}}),
         kPrusaFilaments,
         "",
         "",
         {{{"#FF0000", 5}, {"#00FF00", 2}, {"#0000FF", 2}, {"#FFFFFF", 2}},
          {{"#FF0000", 4}, {"#00FF00", 7}, {"#0000FF", 4}, {"#FFFFFF", 4}}},
         WithTriangle(PaintedBox("|480C1C3", "slic3rpe:mmu_segmentation"), 3,
                      R"(<triangle v1="0" v2="0" v3="1"/>)")},
        {"good: vertices after painted triangles keep their points",
         true,
         PrusaObjects(PrusaVolume("0", "1")),
         kPrusaFilaments,
         "",
         "",
         {{{"#FF0000", 2}, {"#00FF00", 1}, {"#0000FF", 1}, {"#FFFFFF", 1}}},
         Mesh(vertices, late)},
        {"vertices after painted triangles, paint not read",
         true,
         PrusaObjects(PrusaVolume("0", "2")),
         kPrusaFilaments,
         "",
         "the paint \"X\" of triangle 2 is not paint",
         {},
         Mesh(vertices, late + R"(<triangle v1="4" v2="0" v3="1" slic3rpe:mmu_segmentation="X"/>)")},
        {"a very thin painted triangle",
         false,
         kBambuObjects,
         kBambuFilaments,
         "",
         thin,
         {{{"#FF0000", 1}, {"#0000FF", 1}, {"#FFFFFF", 1}}},
         Mesh(sliverVertices, sliver)},
        {"a very thin painted triangle, paint not read",
         false,
         kBambuObjects,
         kBambuFilaments,
         "",
         "the paint \"X\" of triangle 1 is not paint",
         {},
         Mesh(sliverVertices, sliver + R"(<triangle v1="0" v2="2" v3="1" paint_color="X"/>)")},
        {"support, seam and fuzzy-skin paint, Bambu Studio",
         false,
         kBambuObjects,
         kBambuFilaments,
         "|8",
         "The support, seam and fuzzy-skin paint of 9 triangles of object 1 of /3D/Objects/object_1.model is "
         "not read.",
         {{{"#FF0000", 6}, {"#00FF00", 6}}},
         "",
         R"(paint_supports="4"|paint_seam="8"|paint_fuzzy_skin="4"| )"},
        {"support, seam and fuzzy-skin paint, PrusaSlicer",
         true,
         prusaParts,
         kPrusaFilaments,
         "",
         "The support, seam and fuzzy-skin paint of 8 triangles of object 1 of /3D/3dmodel.model is not "
         "read.",
         {{{"#FF0000", 12}}},
         "",
         R"(slic3rpe:custom_supports="4" slic3rpe:custom_seam="8"|slic3rpe:fuzzy_skin="4"| )"},
        {"an object described twice",
         false,
         kBambuObjects.substr(0, kBambuObjects.size() - 9) +
             R"(<object id="2"><metadata key="extruder" value="2"/></object></config>)",
         kBambuFilaments,
         "",
         "The project settings /Metadata/model_settings.config describe object 2 in 2 entries; its parts are "
         "taken from all of them, its name and extruder from the last that gives them.",
         {{{"#00FF00", 12}}}},
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
        {"an extruder beyond the filament list",
         false,
         extruder9,
         kBambuFilaments,
         "|8",
         "The parts of object 2 of /3D/3dmodel.model name extruders beyond the 4 filaments of "
         "/Metadata/project_settings.config (part \"\" prints with extruder 9); " +
             beyond,
         {{{"#FF0000", 6}, {"#00FF00", 6}}}},
        {"paint of a filament beyond the list",
         false,
         kBambuObjects,
         kBambuFilaments,
         "2C|8",
         "(the paint of 6 triangles names filaments up to 5); " + beyond,
         {{{"#FF0000", 6}, {"#00FF00", 6}}}},
        // One warning for the object, for its volume and its paint.
        {"a volume and paint beyond the list",
         true,
         volumes({{0, 11, 7}}),
         kPrusaFilaments,
         "|2C",
         "(part \"Box\" prints with extruder 7, the paint of 6 triangles names filaments up to 5); " + beyond,
         {{{"#FF0000", 12}}}},
        {"an extruder that is no number", false,
         bambuPart + R"(><metadata key="extruder" value="x"/></part></object></config>)", kBambuFilaments, "",
         "part 1 has the extruder \"x\", which is not an extruder number"},
        {"an unknown part subtype", false, bambuPart + R"( subtype="x"/></object></config>)", kBambuFilaments,
         "", "part 1 has the unknown subtype \"x\""},
        // Why a paint string is refused is the decoder's test; here, that the
        // refusal names the triangle after paint of every shape.
        {"bad paint after good paint of every shape", true, prusaParts, kPrusaFilaments,
         "480C1C3|4802|485|489|4806|480A|400484833|8|0000F|1C|4|48X",
         "the paint \"48X\" of triangle 11 is not paint: it holds 'X'"},
        // Longer than a token the mesh reader's scanner keeps back: the parser takes it.
        {"paint a megabyte long, shown cut short", false, kBambuObjects, kBambuFilaments,
         std::string(1 << 20, '4'),
         "the paint \"444444444444444444444444...\" of triangle 0 is not paint: it is 1048576 digits long"},
        // Each triangle's leaves are counted as they are made: the eighth's
        // would pass 30 triangles (and points: 8 vertices and 3 midpoints a
        // triangle).
        {"paint past the bound of a read",
         true,
         prusaParts,
         kPrusaFilaments,
         "480C1C3",
         "The paint of object 1 of /3D/3dmodel.model is not read: the leaves of triangle 7 would take the "
         "meshes of the read past 30 points or triangles, the most a read holds; the object is read as plain "
         "geometry.",
         {},
         "",
         "",
         30},
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
        auto const read = test.limit == 0 ? Import(file, true) : ReadWithin(file, test.limit);
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
            ASSERT_EQ(test.colours.size(), read.parts.size());
            for (std::size_t i = 0; i < read.parts.size(); ++i)
            {
                EXPECT_EQ(test.colours[i], ColourCounts(*read.parts[i].mesh)) << i;
            }
            ExpectOracleTriangles(read.parts, file);
            continue;
        }
        auto const plain = Import(file, false);
        ASSERT_EQ(1u, read.parts.size());
        ASSERT_EQ(1u, plain.parts.size());
        EXPECT_EQ((std::map<std::string, std::size_t>{{"none", plain.parts[0].mesh->GetNumberOfTriangles()}}),
                  ColourCounts(*read.parts[0].mesh));
        EXPECT_TRUE(SameTriangles(*read.parts[0].mesh, *plain.parts[0].mesh, 0));
    }
}
