// Reading beam lattices in both dialects: diameters from the beam or the
// current radius, caps, the minimum length, units, the choice of dialect by
// namespace, the lattice's own attributes, and hostile numbers and indices.
#include "beamlattice/BeamTestSupport.h"

#include "format3mf/BeamLattice.h"
#include "format3mf/PackageWriteContext.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

namespace
{
constexpr int kNone = 0;
constexpr int kHemisphere = 1;
constexpr int kSphere = 2;
constexpr int kButt = 3;

struct Case
{
    char const* name;
    std::string lattice;
    std::vector<Beam> beams; // caps as the beam has them, without the default
    std::string unit = "millimeter";
};

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
};
} // namespace

TEST(BeamLatticeRead, DiametersCapsAndLengthsOfEachDialect)
{
    for (Case const& c : kCases)
    {
        SCOPED_TRACE(c.name);
        MeshRead read(LatticeModel(c.lattice, c.unit));
        ASSERT_TRUE(read.ok) << read.Error();
        EXPECT_EQ(c.beams, Beams(read.Stl(), false));
        EXPECT_EQ(4u, read.Stl().GetNumberOfPoints());
    }
}

// The lattice-wide values: default radius and cap of the published dialect,
// clipping, minimum length in internal units; the vendor dialect takes no
// default radius or cap.
TEST(BeamLatticeRead, LatticeAttributes)
{
    MeshRead published(LatticeModel(R"(<b:beamlattice radius="0.5" cap="sphere" minlength="0.01"
        clippingmode="outside" clippingmesh="7" precision="9"><b:beams/></b:beamlattice>)"));
    ASSERT_TRUE(published.ok) << published.Error();
    auto const* lattice = dynamic_cast<BeamLatticeStlBase*>(published.Mesh()->m_beamLattice.get());
    ASSERT_NE(nullptr, lattice);
    EXPECT_EQ(L"outside", lattice->GetStringClipMode());
    EXPECT_EQ(7, int(lattice->m_clippingMesh));
    EXPECT_EQ(100, lattice->m_minLength);
    EXPECT_EQ(published.Mesh()->GetStl(false), lattice->m_stl);
    EXPECT_FALSE(lattice->GetOwnStl());
    MStlBaseElementInfo const& info =
        MStlBaseElementInfoStlDependency::GetDependency(&published.Stl(), false)->GetElementInfo();
    EXPECT_EQ(10000, info.GetDefaultEdgeDiameter());
    EXPECT_EQ(eStlGraphEdgeCap::Sphere, info.GetDefaultEdgeCap());
    EXPECT_EQ(0u, published.Stl().GetFeature().GetNumGraphs(false)) << "no beam, no graph";

    MeshRead vendor(LatticeModel(R"(<v:beamlattice radius="0.5" cap="sphere" clippingmode="inside">
        <v:beamgroup radius="1"><v:beam v1="0" v2="1"/></v:beamgroup></v:beamlattice>)"));
    ASSERT_TRUE(vendor.ok) << vendor.Error();
    MStlBaseElementInfo const& vendorInfo =
        MStlBaseElementInfoStlDependency::GetDependency(&vendor.Stl(), false)->GetElementInfo();
    EXPECT_EQ(0, vendorInfo.GetDefaultEdgeDiameter());
    EXPECT_EQ(eStlGraphEdgeCap::NotSet, vendorInfo.GetDefaultEdgeCap());
    EXPECT_EQ(L"inside", vendor.Mesh()->m_beamLattice->GetStringClipMode());
    EXPECT_EQ(1, vendor.Mesh()->m_beamLattice->m_minLength) << "the default, one internal unit";
}

// Beams of a second lattice element join the first graph.
TEST(BeamLatticeRead, AllBeamsLandInTheFirstGraph)
{
    MeshRead read(LatticeModel(R"(<v:beamlattice><v:beamgroup radius="1" name="a"><v:beam v1="0" v2="1"/>
        </v:beamgroup><v:beamgroup radius="1" name="b"><v:beam v1="1" v2="2"/></v:beamgroup></v:beamlattice>
        <b:beamlattice radius="1"><b:beams><b:beam v1="2" v2="3"/></b:beams></b:beamlattice>)"));
    ASSERT_TRUE(read.ok) << read.Error();
    MStlFeature const& feature = read.Stl().GetFeature();
    ASSERT_EQ(1u, feature.GetNumGraphs(false));
    EXPECT_EQ(3u, feature.GetGraph(0)->GetNumEdges());
    EXPECT_EQ(L"", feature.GetGraph(0)->GetName());
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

// A beam on a vertex that the mesh hasn't got fails the read with a message
// that names it; it never reads out of bounds.
TEST(BeamLatticeRead, VertexIndexOutOfRangeFailsTheRead)
{
    struct Bad
    {
        char const* lattice;
        char const* message;
    };
    for (
        Bad const& bad : {
            Bad{R"(<b:beamlattice radius="1"><b:beams><b:beam v1="0" v2="4"/></b:beams></b:beamlattice>)",
                "A beam refers to vertex 4 of 4 vertices."},
            Bad{R"(<b:beamlattice radius="1"><b:beams><b:beam v1="-1" v2="0"/></b:beams></b:beamlattice>)",
                "A beam refers to vertex -1 of 4 vertices."},
            Bad{R"(<v:beamlattice><v:beamgroup><v:beam v1="1" v2="2147483647"/></v:beamgroup></v:beamlattice>)",
                "A beam refers to vertex 2147483647 of 4 vertices."},
        })
    {
        MeshRead read(LatticeModel(bad.lattice));
        EXPECT_FALSE(read.ok) << bad.lattice;
        EXPECT_EQ(bad.message, read.Error());
    }
}

TEST(BeamLattice, ClipModeTextAndOwnership)
{
    BeamLatticeStlBase lattice(nullptr, nullptr, nullptr);
    EXPECT_EQ(L"none", lattice.GetStringClipMode());
    EXPECT_EQ(1, lattice.m_minLength);
    EXPECT_FALSE(lattice.m_clippingMesh.IsDefined());
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
