// Projects as today's slicers save them: components that name objects in
// other model parts, parts that name each other, dangling references, held to
// the independent expectations of expected_meshes.py; the parts of their
// objects as the read options ask for them; and the bounds of flattening:
// the limit over the whole build checked before anything is copied, copies
// that add nothing, and long chains.
#include "import/ImportSupport.h"
#include "import/SlicerReadSupport.h"
#include "project/ProjectTestSupport.h"

#include "format3mf/PartRole.h"

#include "format3mf/Exception.h"

#include "flattening/BuildFlattening.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace slicer;
using namespace Format_3MF;

namespace
{
// Each level places the one below `fan` times, side by side.
std::string FanOut(int levels, int fan)
{
    std::string resources = MeshObject(1, BoxMesh(1, 1, 1));
    for (int level = 2; level <= levels + 1; ++level)
    {
        std::string components;
        for (int copy = 0; copy < fan; ++copy)
        {
            components +=
                ComponentElement(level - 1, "", "1 0 0 0 1 0 0 0 1 " + std::to_string(2 * copy) + " 0 0");
        }
        resources += Assembly(level, components);
    }
    return Part(resources, Item(levels + 1));
}
} // namespace

// Each part is read once, however often and from wherever it is named; a
// cycle of components fails the flattening with a message that names it, and
// an item or component whose object does not exist is left out with a warning.
TEST(SlicerProjects, PartsReadOnceCyclesFailDanglingReferencesWarn)
{
    std::string const kObject1 = "/3D/Objects/object_1.model";
    std::string const kObject2 = "/3D/Objects/object_2.model";
    std::string const o1 = kObject1.substr(1);
    std::string const o2 = kObject2.substr(1);
    std::string const slices = "http://schemas.microsoft.com/3dmanufacturing/slice/2015/07";
    std::string const box = MeshObject(1, BoxMesh(1, 1, 1));
    std::string const self = "/3D/3dmodel.model";
    using Parts = std::vector<std::pair<std::string, std::string>>;
    // Items and components with transforms, components in a related part
    // that name objects of the same and of the other related part (with and
    // without the leading slash), a part in inches, a component-only object
    // as the leaf of a chain of three levels.
    std::string const part1 = Part(MeshObject(1, BoxMesh(10, 20, 5)) + MeshObject(2, BoxMesh(3, 3, 3)) +
                                   Assembly(3, ComponentElement(1, "", "1 0 0 0 1 0 0 0 1 0 0 5") +
                                                   ComponentElement(1, o2, "0 1 0 -1 0 0 0 0 1 4 4 0")));
    std::string const part2 = Part(box, "", "inch");
    struct Case
    {
        char const* name;
        std::string root;
        Parts parts;
        std::size_t related;
        std::string error = ""; // empty when the read succeeds
        std::string warnings = "";
    };
    std::vector<Case> const cases = {
        {"components across parts",
         Part(Assembly(5, ComponentElement(1, kObject1, "1 0 0 0 1 0 0 0 1 -5 -10 0") +
                              ComponentElement(1, kObject2, "2 0 0 0 1 0 0 0 1 20 0 0")) +
                  Assembly(6, ComponentElement(3, kObject1, "1 0 0 0 1 0 0 0 1 0 0 1")) +
                  Assembly(7, ComponentElement(6, "")),
              Item(5, R"(transform="1 0 0 0 1 0 0 0 1 128 128 2.5" printable="1")") + Item(7) +
                  Item(2, "p:path=\"" + kObject1 + "\" transform=\"0 0 1 0 1 0 -1 0 0 50 0 0\"")),
         {{o1, part1}, {o2, part2}},
         2},
        {"components across parts, root in centimetres",
         Part(Assembly(1, ComponentElement(2, kObject1) + ComponentElement(1, kObject2)),
              Item(1, R"(transform="1 0 0 0 1 0 0 0 1 0.5 0.25 0")"), "centimeter"),
         {{o1, part1}, {o2, part2}},
         2},
        {"item names its own part", Part(box, Item(1, R"(p:path="/3D/3dmodel.model")")), {}, 0},
        {"item names its own part, no slash", Part(box, Item(1, R"(p:path="3D/3dmodel.model")")), {}, 0},
        {"component names its own part", Part(box + Assembly(2, ComponentElement(1, self)), Item(2)), {}, 0},
        {"a related part names the root and itself",
         Part(Assembly(1, ComponentElement(1, kObject1)), Item(1)),
         {{o1, Part(box + Assembly(2, ComponentElement(1, kObject1)),
                    Item(1, R"(p:path="/3D/3dmodel.model")") + Item(2, "p:path=\"" + kObject1 + "\""))}},
         1},
        {"components cycle through two parts",
         Part(Assembly(1, ComponentElement(1, kObject1)), Item(1)),
         {{o1, Part(Assembly(1, ComponentElement(1, self)))}},
         1,
         "The components of object 1 of /3D/3dmodel.model form a cycle: object 1 of /3D/3dmodel.model > "
         "object 1 of /3D/Objects/object_1.model > object 1 of /3D/3dmodel.model."},
        {"components cycle through two related parts",
         Part(Assembly(1, ComponentElement(2, kObject1)), Item(1)),
         {{o1, Part(Assembly(2, ComponentElement(3, kObject2)))},
          {o2, Part(Assembly(3, ComponentElement(2, kObject1)))}},
         2,
         "The components of object 2 of /3D/Objects/object_1.model form a cycle: object 2 of "
         "/3D/Objects/object_1.model > object 3 of /3D/Objects/object_2.model > object 2 of "
         "/3D/Objects/object_1.model."},
        {"slice paths name their own and the root part",
         "<model unit=\"millimeter\" xmlns=\"" + kCore + "\" xmlns:s=\"" + slices +
             "\"><resources><object id=\"1\" s:slicestackid=\"4\" s:slicepath=\"/3D/3dmodel.model\">"
             "<components><component objectid=\"1\" path=\"" +
             kObject1 + "\"/></components></object></resources><build>" + Item(1) + "</build></model>",
         {{o1, "<model unit=\"millimeter\" xmlns=\"" + kCore + "\" xmlns:s=\"" + slices +
                   "\"><resources><object id=\"1\" s:slicestackid=\"4\" s:slicepath=\"" + kObject1 + "\">" +
                   BoxMesh(1, 1, 1) + "</object></resources></model>"}},
         1},
        {"dangling references",
         Part(box + Assembly(2, ComponentElement(1, kObject1) + ComponentElement(77, kObject1) +
                                    ComponentElement(1, "/3D/Objects/missing.model")),
              Item(1) + Item(99) + Item(2) + Item(3, "p:path=\"" + kObject1 + "\"")),
         {{o1, Part(MeshObject(1, BoxMesh(2, 2, 2)))}},
         2,
         "",
         "A build item refers to object 99 of /3D/3dmodel.model, which does not exist; it is left out.\n"
         "A component of object 2 of /3D/3dmodel.model refers to object 77 of /3D/Objects/object_1.model, "
         "which does not exist; it is left out.\n"
         "A component of object 2 of /3D/3dmodel.model refers to object 1 of /3D/Objects/missing.model, "
         "which does not exist; it is left out.\n"
         "A build item refers to object 3 of /3D/Objects/object_1.model, which does not exist; it is left "
         "out.\n"},
    };
    PackageScratch scratch;
    std::vector<std::string> read;
    for (std::size_t i = 0; i < cases.size(); ++i)
    {
        Case const& test = cases[i];
        SCOPED_TRACE(test.name);
        std::wstring const file = scratch.File("project" + std::to_string(i) + ".3mf");
        WriteSlicerPackage(file, test.root, test.parts);
        StlRead stl(file);
        EXPECT_EQ(test.related, stl.model.GetModelFiles().size());
        EXPECT_EQ(1u, stl.ModelFilesNamed(L"3D/3dmodel.model"));
        for (auto const& part : test.parts)
        {
            EXPECT_EQ(1u,
                      stl.ModelFilesNamed(StringConversion::ConvertMultiByteStringToOndString(part.first)));
        }
        EXPECT_EQ(test.error, stl.Error());
        EXPECT_EQ(test.error.empty(), stl.ok);
        EXPECT_EQ(test.error.empty(), !stl.meshes.empty());
        EXPECT_EQ(test.warnings, stl.Warnings());
        if (test.error.empty())
        {
            read.push_back(StringConversion::ConvertNativeToUTF8(file));
        }
    }
    ExpectToolMatchesOracle(read);
}

// The parts of a project's objects as the options ask for them, worked out
// by hand from the settings: as one part, the printable parts make one mesh
// and the others stay apart with their roles; two parts that place one mesh
// (an object merged from two copies) each take the filament of its own entry.
TEST(SlicerProjects, PartsAsTheReadOptionsAskForThem)
{
    // PrusaSlicer volumes of three triangles each: printed with extruder 1, a
    // modifier, printed with extruder 2, a negative volume.
    std::string volumes;
    for (auto const& [first, type, extruder] : {std::tuple{0, "ModelPart", "1"},
                                                {3, "ParameterModifier", "0"},
                                                {6, "ModelPart", "2"},
                                                {9, "NegativeVolume", "0"}})
    {
        volumes += "<volume firstid=\"" + std::to_string(first) + "\" lastid=\"" + std::to_string(first + 2) +
                   R"("><metadata key="volume_type" value=")" + type +
                   R"("/><metadata key="extruder" value=")" + extruder + R"("/></volume>)";
    }
    PackageScratch scratch;
    std::wstring const prusa = scratch.File("volumes.3mf");
    WriteModelPackage(
        prusa, Part(MeshObject(1, BoxMesh(10, 10, 10)), Item(1)),
        {{"Metadata/Slic3r_PE_model.config", R"(<config><object id="1">)" + volumes + "</object></config>"},
         {"Metadata/Slic3r_PE.config", "; filament_colour = #FF0000;#00FF00;#0000FF\n"}});
    // One object placing one mesh twice, each part with its extruder.
    std::wstring const copies = scratch.File("copies.3mf");
    std::string const object = "/3D/Objects/object_1.model";
    WriteSlicerPackage(
        copies,
        Part(Assembly(2,
                      ComponentElement(1, object) + ComponentElement(1, object, "1 0 0 0 1 0 0 0 1 20 0 0")),
             Item(2)),
        {{object.substr(1), Part(MeshObject(1, BoxMesh(10, 10, 10)))},
         {"Metadata/model_settings.config",
          R"(<config><object id="2"><part id="1"><metadata key="extruder" value="2"/>)"
          R"(</part><part id="1"><metadata key="extruder" value="3"/></part></object></config>)"},
         {"Metadata/project_settings.config", R"({"filament_colour": ["#FF0000", "#00FF00", "#0000FF"]})"}});
    using Made = std::pair<PartRole, std::map<std::string, std::size_t>>;
    struct Case
    {
        char const* what;
        std::wstring file;
        bool asOnePart;
        bool nonPrintable;
        std::vector<Made> meshes;
    };
    Made const red{PartRole::Printable, {{"#FF0000", 3}}};
    Made const green{PartRole::Printable, {{"#00FF00", 3}}};
    Made const both{PartRole::Printable, {{"#FF0000", 3}, {"#00FF00", 3}}};
    Made const modifier{PartRole::Modifier, {{"none", 3}}};
    Made const negative{PartRole::NegativeVolume, {{"none", 3}}};
    std::vector<Case> const cases = {
        {"volumes apart", prusa, false, true, {red, modifier, green, negative}},
        {"volumes as one part", prusa, true, true, {both, modifier, negative}},
        {"printable volumes as one part", prusa, true, false, {both}},
        {"two parts of one mesh",
         copies,
         false,
         false,
         {{PartRole::Printable, {{"#00FF00", 12}}}, {PartRole::Printable, {{"#0000FF", 12}}}}},
    };
    for (Case const& test : cases)
    {
        SCOPED_TRACE(test.what);
        format3mf::import::ImportSettings settings;
        settings.projectParts = true;
        settings.asOnePart = test.asOnePart;
        settings.nonPrintableParts = test.nonPrintable;
        auto const read =
            format3mf::import::ImportFile(StringConversion::ConvertNativeToFileName(test.file), settings);
        ASSERT_EQ(format3mf::import::Importer::Success, read.status) << Joined(read.errors);
        EXPECT_EQ("", Joined(read.warnings));
        std::vector<Made> made;
        for (auto const& part : read.parts)
        {
            made.emplace_back(part.role, ColourCounts(*part.mesh));
        }
        EXPECT_EQ(test.meshes, made);
    }
}

// A trillion copies of an object without geometry add nothing and cost
// nothing; a million copies of a box at the end of a chain of 200
// components would cost 200 million steps, and are refused.
TEST(FlatteningLimits, FanOutWithinAndAboveTheLimit)
{
    std::string const limit = "The build places its objects more often than can be held: more than 134217728 "
                              "points, triangles, beams or placed objects.";
    std::string nothing = FanOut(12, 10);
    nothing.replace(nothing.find("<mesh>"), nothing.find("</mesh>") + 7 - nothing.find("<mesh>"), "");
    std::string chain = MeshObject(1, BoxMesh(1, 1, 1));
    for (int id = 2; id <= 206; ++id)
    {
        std::string ten;
        for (int copy = 0; copy < 10; ++copy)
        {
            ten += ComponentElement(id - 1);
        }
        chain += Assembly(id, id <= 200 ? ComponentElement(id - 1) : ten);
    }
    struct Case
    {
        char const* name;
        std::string model;
        std::string error;
        std::size_t points;
        std::size_t triangles;
    };
    Case const cases[] = {
        {"within", FanOut(5, 10), "", 800000, 1200000},
        {"above", FanOut(9, 10), limit, 0, 0},
        {"no geometry", nothing, "", 0, 0},
        {"long chains", Part(chain, Item(206)), limit, 0, 0},
    };
    PackageScratch scratch;
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::wstring const file = scratch.File(std::string(c.name) + ".3mf");
        WriteModelPackage(file, c.model);
        StlRead read(file);
        EXPECT_EQ(c.error, read.Error());
        EXPECT_EQ(c.error.empty(), read.ok);
        ASSERT_EQ(c.points == 0 ? 0u : 1u, read.meshes.size());
        if (c.points != 0)
        {
            EXPECT_EQ(c.points, read.meshes[0]->GetNumberOfPoints());
            EXPECT_EQ(c.triangles, read.meshes[0]->GetNumberOfTriangles());
        }
    }
}

// Two items of 12,000 triangles each: the limit counts both.
TEST(FlatteningLimits, TheLimitCountsEveryItem)
{
    PackageScratch scratch;
    std::wstring const two = scratch.File("two.3mf");
    std::string model = FanOut(3, 10);
    model.replace(model.find("</build>"), 0, Item(4));
    WriteModelPackage(two, model);
    StlRead read(two);
    ASSERT_TRUE(read.ok) << read.Error();
    std::vector<std::wstring> warnings;
    EXPECT_EQ(2u, FlattenBuild(read.model, 24000, warnings).size());
    EXPECT_THROW(FlattenBuild(read.model, 23999, warnings), Exception);
    EXPECT_TRUE(warnings.empty());
}
