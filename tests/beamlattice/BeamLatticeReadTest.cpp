// Reading beam lattices in both dialects: diameters from the beam or the
// current radius, caps, the minimum length, units, the choice of dialect by
// namespace, the lattice's own attributes, and hostile numbers, sizes and
// indices.
#include "beamlattice/BeamTestSupport.h"

#include "format3mf/BeamLattice.h"
#include "format3mf/Importer.h"
#include "format3mf/PackageWriteContext.h"

#include <gtest/gtest.h>

#include <limits>

using namespace Format_3MF;

namespace
{
constexpr int kNone = 0;
constexpr int kHemisphere = 1;
constexpr int kSphere = 2;
constexpr int kButt = 3;
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

struct Case
{
    char const* name;
    std::string lattice;
    std::vector<Beam> beams; // caps as the beam has them, without the default
    // The lattice-wide values where given (default diameter and cap, minimum
    // length in internal units, clipping), or the error of a failed read.
    std::string values = "";
    std::string unit = "millimeter";
};

std::string LatticeValues(MeshStlBase& mesh)
{
    MStlBaseElementInfo const& info =
        MStlBaseElementInfoStlDependency::GetDependency(mesh.GetStl(false), true)->GetElementInfo();
    IBeamLattice const& lattice = *mesh.m_beamLattice;
    return "diameter " + std::to_string(info.GetDefaultEdgeDiameter()) + " cap " +
           std::to_string(int(info.GetDefaultEdgeCap())) + " min " + std::to_string(lattice.m_minLength) +
           " clip " + StringConversion::ConvertNativeToUTF8(lattice.GetStringClipMode()) + " " +
           std::to_string(int(lattice.m_clippingMesh));
}

// 1 mm is 10000 internal units; a diameter is twice the rounded radius.
std::vector<Case> const kCases = {
    {"published radius for beams without r1",
     R"(<b:beamlattice radius="1"><b:beams><b:beam v1="0" v2="1"/></b:beams></b:beamlattice>)",
     {{0, 1, 20000, 20000}}},
    {"r1 and r2 give a tapered beam",
     R"(<b:beamlattice radius="1"><b:beams><b:beam v1="0" v2="3" r1="0.5" r2="0.25"/></b:beams></b:beamlattice>)",
     {{0, 3, 10000, 5000}}},
    {"r2 alone is not looked at",
     R"(<b:beamlattice radius="1"><b:beams><b:beam v1="0" v2="1" r2="0.25"/></b:beams></b:beamlattice>)",
     {{0, 1, 20000, 20000}}},
    {"no radius anywhere gives a negative diameter",
     R"(<b:beamlattice><b:beams><b:beam v1="0" v2="1"/></b:beams></b:beamlattice>)",
     {{0, 1, -20000, -20000}}},
    {"a radius in centimetres",
     R"(<b:beamlattice radius="0.1"><b:beams><b:beam v1="1" v2="2"/></b:beams></b:beamlattice>)",
     {{1, 2, 20000, 20000}},
     "",
     "centimeter"},
    {"a half unit rounds away from zero",
     R"(<b:beamlattice radius="1"><b:beams><b:beam v1="0" v2="1" r1="0.00005"/><b:beam v1="0" v2="2" r1="-0.00005"/></b:beams></b:beamlattice>)",
     {{0, 1, 2, 2}, {0, 2, -2, -2}}},
    {"cap2 alone and an unknown cap text",
     R"(<b:beamlattice radius="1"><b:beams><b:beam v1="0" v2="1" cap2="butt"/><b:beam v1="1" v2="3" cap1="flat" cap2="sphere"/></b:beams></b:beamlattice>)",
     {{0, 1, 20000, 20000, kNone, kButt}, {1, 3, 20000, 20000, kHemisphere, kSphere}}},
    {"published drops beams shorter than minlength",
     R"(<b:beamlattice radius="1" minlength="1.2"><b:beams><b:beam v1="0" v2="1"/><b:beam v1="0" v2="3"/></b:beams></b:beamlattice>)",
     {{0, 3, 20000, 20000}}},
    {"a beam missing an end, or on one vertex, is not made",
     R"(<b:beamlattice radius="1"><b:beams><b:beam v1="0"/><b:beam v1="2" v2="2"/><b:beam v1="x" v2="1"/><b:beam v1="2" v2="3"/></b:beams></b:beamlattice>)",
     {{2, 3, 20000, 20000}}},
    {"prefixed attributes are read as well",
     R"(<b:beamlattice b:radius="1"><b:beams><b:beam b:v1="0" b:v2="1" b:r1="0.5"/></b:beams></b:beamlattice>)",
     {{0, 1, 10000, 10000}}},
    {"vendor groups give their radius and keep short beams",
     R"(<v:beamlattice minlength="5" radius="3" cap="butt"><v:beamgroup radius="0.5" hintaccurcay="0.1" name="a"><v:beam v1="0" v2="1"/><v:beam v1="1" v2="2" r1="0.25" r2="0.125" cap1="butt"/></v:beamgroup>)"
     R"(<v:beamgroup><v:beam v1="2" v2="3"/></v:beamgroup></v:beamlattice>)",
     {{0, 1, 10000, 10000}, {1, 2, 5000, 2500}, {2, 3, -20000, -20000}}},
    {"a lattice in an unknown namespace is skipped with its content",
     R"(<x:beamlattice radius="1"><vertex x="5" y="5" z="5"/><x:beams><x:beam v1="0" v2="1"/></x:beams></x:beamlattice>)",
     {}},
    {"published lattice attributes",
     R"(<b:beamlattice radius="0.5" cap="sphere" minlength="0.01" clippingmode="outside" clippingmesh="7"
        precision="9"><b:beams/></b:beamlattice>)",
     {},
     "diameter 10000 cap 2 min 100 clip outside 7"},
    {"the vendor dialect takes no default radius or cap",
     R"(<v:beamlattice radius="0.5" cap="sphere" clippingmode="inside"><v:beamgroup radius="1">
        <v:beam v1="0" v2="1"/></v:beamgroup></v:beamlattice>)",
     {{0, 1, 20000, 20000}},
     "diameter 0 cap 0 min 1 clip inside -1"},
    {"beams of a second lattice element join the first graph",
     R"(<v:beamlattice><v:beamgroup radius="1" name="a"><v:beam v1="0" v2="1"/></v:beamgroup>
        <v:beamgroup radius="1" name="b"><v:beam v1="1" v2="2"/></v:beamgroup></v:beamlattice>
        <b:beamlattice radius="1"><b:beams><b:beam v1="2" v2="3"/></b:beams></b:beamlattice>)",
     {{0, 1, 20000, 20000}, {1, 2, 20000, 20000}, {2, 3, 20000, 20000}}},
    // Lengths beyond 32 bits of internal units clamp to the limit, and so do
    // their diameters; "nan" is no length at all.
    {"huge and odd radii clamp",
     R"(<b:beamlattice radius="1e40" minlength="-1e300"><b:beams><b:beam v1="0" v2="1"/>
        <b:beam v1="0" v2="2" r1="1e308" r2="2147483647"/><b:beam v1="1" v2="2" r1="0.1" r2="inf"/>
        <b:beam v1="1" v2="3" r1="nan"/></b:beams></b:beamlattice>)",
     {{0, 1, kMax, kMax}, {0, 2, kMax, kMax}, {1, 2, 2000, kMax}, {1, 3, 0, 0}},
     "diameter 2147483647 cap 0 min -2147483648 clip none -1"},
    // A beam on a vertex that the mesh hasn't got fails the read with a
    // message that names it; it never reads out of bounds.
    {"a vertex beyond the last",
     R"(<b:beamlattice radius="1"><b:beams><b:beam v1="0" v2="4"/></b:beams></b:beamlattice>)",
     {},
     "A beam refers to vertex 4 of 4 vertices."},
    {"a negative vertex",
     R"(<b:beamlattice radius="1"><b:beams><b:beam v1="-1" v2="0"/></b:beams></b:beamlattice>)",
     {},
     "A beam refers to vertex -1 of 4 vertices."},
    {"the largest vertex index",
     R"(<v:beamlattice><v:beamgroup><v:beam v1="1" v2="2147483647"/></v:beamgroup></v:beamlattice>)",
     {},
     "A beam refers to vertex 2147483647 of 4 vertices."},
};
} // namespace

// Every beam lands in the one graph of the mesh; no beam, no graph.
TEST(BeamLatticeRead, DiametersCapsAndLengthsOfEachDialect)
{
    for (Case const& c : kCases)
    {
        SCOPED_TRACE(c.name);
        MeshRead read(LatticeModel(c.lattice, c.unit));
        if (!read.ok)
        {
            EXPECT_EQ(c.values, read.Error());
            continue;
        }
        EXPECT_EQ(c.beams, Beams(read.Stl(), false));
        EXPECT_EQ(4u, read.Stl().GetNumberOfPoints());
        EXPECT_EQ(c.beams.empty() ? 0u : 1u, read.Stl().GetFeature().GetNumGraphs(false));
        if (!c.values.empty())
        {
            EXPECT_EQ(c.values, LatticeValues(*read.Mesh()));
        }
    }
}

TEST(BeamLatticeRead, SkippedGeometrySkipsTheLattice)
{
    PackageReadOptions options;
    options.IsSkipGeometry = true;
    MeshRead read(
        LatticeModel(
            R"(<b:beamlattice radius="1"><b:beams><b:beam v1="0" v2="1"/></b:beams></b:beamlattice>)"),
        options);
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ(nullptr, read.Mesh()->m_beamLattice);
    EXPECT_EQ(0u, read.Stl().GetFeature().GetNumEdges());
}

// Every beam is its own edge, also when it repeats the same two vertices:
// the lattice holds what the file says, one record per beam.
TEST(BeamLatticeRead, AMillionBeamsOnThreeVertices)
{
    constexpr int kBeams = 1000000;
    std::string lattice = R"(<v:beamlattice><v:beamgroup radius="0.5">)";
    lattice.reserve(std::size_t(kBeams) * 28);
    for (int i = 0; i < kBeams; ++i)
    {
        lattice +=
            "<v:beam v1=\"" + std::to_string(i % 3) + "\" v2=\"" + std::to_string((i + 1) % 3) + "\"/>";
    }
    lattice += "</v:beamgroup></v:beamlattice>";
    std::string model = LatticeModel(lattice);
    // Three vertices only.
    std::string const fourth = R"(<vertex x="1" y="1" z="0"/>)";
    model.erase(model.find(fourth), fourth.size());

    MeshRead read(model);
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ(3u, read.Stl().GetNumberOfPoints());
    std::vector<Beam> const beams = Beams(read.Stl());
    ASSERT_EQ(std::size_t(kBeams), beams.size());
    EXPECT_EQ((Beam{0, 1, 10000, 10000}), beams.front());
    EXPECT_EQ((Beam{0, 1, 10000, 10000}), beams.back());
    EXPECT_EQ((Beam{2, 0, 10000, 10000}), beams[2]);
}

// Components that place a lattice over and over would make more beams than
// memory holds: the import refuses before copying, as it does for points
// and triangles. Object 1 has 1000 beams; each level above places the one
// below 16 times, so object 6 would have over a billion.
TEST(BeamLatticeRead, ComponentsCantMultiplyBeamsBeyondTheLimit)
{
    std::string beams;
    for (int i = 0; i < 1000; ++i)
    {
        beams += "<b:beam v1=\"" + std::to_string(i % 3) + "\" v2=\"3\"/>";
    }
    std::string model =
        LatticeModel("<b:beamlattice radius=\"1\"><b:beams>" + beams + "</b:beams></b:beamlattice>");
    model.replace(model.find(R"(<object id="10">)"), 16, R"(<object id="1">)");
    std::string levels;
    for (int id = 2; id <= 6; ++id)
    {
        levels += "<object id=\"" + std::to_string(id) + "\"><components>";
        for (int copy = 0; copy < 16; ++copy)
        {
            levels += "<component objectid=\"" + std::to_string(id - 1) + "\"/>";
        }
        levels += "</components></object>";
    }
    model.replace(model.find("</resources><build/>"), 20,
                  levels + R"(</resources><build><item objectid="6"/></build>)");

    PackageScratch scratch;
    std::wstring const file = scratch.File("placed.3mf");
    WriteModelPackage(file, model);
    std::vector<std::unique_ptr<MStlBase>> meshes;
    format3mf::import::Importer importer;
    importer.SetOutputParts(meshes);
    importer.SetFileName(file);
    EXPECT_NE(format3mf::import::Importer::Success, importer.Operate(nullptr));
    ASSERT_FALSE(importer.GetErrors().empty());
    EXPECT_EQ(
        L"The build places its objects more often than can be held: more than 134217728 points, triangles, "
        L"beams or placed objects.",
        importer.GetErrors().front());
    EXPECT_TRUE(meshes.empty());
}

TEST(BeamLattice, ClipModeTextAndOwnership)
{
    BeamLatticeStlBase lattice(nullptr, nullptr, nullptr);
    EXPECT_EQ(L"none", lattice.GetStringClipMode());
    lattice.SetStringClipMode(L"inside");
    lattice.SetStringClipMode(L"none");
    lattice.SetStringClipMode(L"sideways");
    EXPECT_EQ(L"inside", lattice.GetStringClipMode());
    lattice.SetStringClipMode(L"outside");
    EXPECT_EQ(L"outside", lattice.GetStringClipMode());

    // A copy shares the mesh without owning it, so the mesh is deleted once.
    auto* const stl = new MStlBase();
    lattice.SetStl(stl, true);
    lattice.SetStl(stl, false);
    EXPECT_FALSE(lattice.GetOwnStl()) << "the same mesh again changes only the flag";
    lattice.SetStl(stl, true);
    {
        BeamLatticeStlBase copy(lattice);
        EXPECT_EQ(stl, copy.GetStl(false));
        EXPECT_FALSE(copy.GetOwnStl());
        EXPECT_EQ(L"outside", copy.GetStringClipMode());
        BeamLatticeStlBase assigned(nullptr, nullptr, nullptr);
        assigned = lattice;
        EXPECT_FALSE(assigned.GetOwnStl());
    }
    EXPECT_EQ(stl, lattice.GetStl(true));
    EXPECT_FALSE(lattice.GetOwnStl());
    delete stl;
}

TEST(BeamLattice, CreateBeamLatticeAsksForGraphsUnlessForced)
{
    MeshRead read(LatticeModel(""));
    ASSERT_TRUE(read.ok) << read.Error();
    MeshStlBase& mesh = *read.Mesh();
    EXPECT_EQ(nullptr, mesh.CreateBeamLattice(false));
    auto const forced = mesh.CreateBeamLattice(true);
    ASSERT_NE(nullptr, forced);
    EXPECT_EQ(mesh.GetStl(false), forced->m_stl);
    EXPECT_FALSE(forced->GetOwnStl()) << "the lattice uses the mesh's host mesh";
    read.Stl().GetFeature().AddNewGraph();
    EXPECT_NE(nullptr, mesh.CreateBeamLattice(false));
}

// Where a host calls the lattice's own start hook, it declares the beam
// namespace as "lg" for a mesh with edges, and keeps a prefix declared first.
TEST(BeamLattice, StartWritingDeclaresTheNamespaceOnlyForEdges)
{
    for (bool const withEdge : {false, true})
    {
        StlMeshModelFile model;
        MStlBase stl;
        MStlPoint* const a = stl.AddPoint(0, 0, 0);
        MStlPoint* const b = stl.AddPoint(1, 0, 0);
        MStlGraph* const graph = stl.GetFeature().AddNewGraph();
        if (withEdge)
        {
            graph->AddEdge(a, b);
        }
        BeamLatticeStlBase lattice(&stl, &model, nullptr);
        PackageWriteContext context;
        context.Graphs.BeamNamespace = L"http://schemas.ondsdk.com/3dmanufacturing/beamlattice/2017/02";
        lattice._OnStartWriting(&context);
        EXPECT_EQ(withEdge ? L"lg" : L"", model.GetPrefix(context.Graphs.BeamNamespace));
        model.AddNamespace(L"urn:first", L"bl");
        context.Graphs.BeamNamespace = L"urn:first";
        lattice._OnStartWriting(&context);
        EXPECT_EQ(L"bl", model.GetPrefix(L"urn:first"));
    }
}
