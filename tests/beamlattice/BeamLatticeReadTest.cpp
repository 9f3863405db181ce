// Reading beam lattices in both dialects: diameters from the beam or the
// current radius, caps, the minimum length, units, the choice of dialect by
// namespace, the lattice's own attributes, and hostile numbers, sizes and
// indices; the lattices read and what they give are data beside the test.
#include "beamlattice/BeamTestSupport.h"
#include "support/CaseFile.h"
#include "support/SlicerPackages.h"

#include "format3mf/BeamLattice.h"
#include "format3mf/Importer.h"
#include "format3mf/PackageWriteContext.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

// The cases are in beam_lattice_cases.txt, whose head says how they are
// written down. Every beam lands in the one graph of the mesh; no beam, no
// graph.
TEST(BeamLatticeRead, DiametersCapsAndLengthsOfEachDialect)
{
    auto const cases = ReadCaseFile(FORMAT3MF_SOURCE_DIR "/tests/beamlattice/beam_lattice_cases.txt");
    EXPECT_EQ(20u, cases.size());
    for (CaseRecord const& c : cases)
    {
        SCOPED_TRACE(c.name);
        PackageReadOptions options;
        options.IsSkipGeometry = !c.Get("skip-geometry").empty();
        MeshRead read(LatticeModel(c.Get("lattice"), c.Get("unit", "millimeter")), options);
        if (!read.ok)
        {
            EXPECT_EQ(c.Get("values"), read.Error());
            continue;
        }
        std::string const beams = c.Get("beams");
        EXPECT_EQ(beams, BeamText(read.Stl()));
        EXPECT_EQ(options.IsSkipGeometry ? 0u : 4u, read.Stl().GetNumberOfPoints());
        EXPECT_EQ(options.IsSkipGeometry, read.Mesh()->m_beamLattice == nullptr);
        EXPECT_EQ(beams.empty() ? 0u : 1u, read.Stl().GetFeature().GetNumGraphs(false));
        if (!c.Get("values").empty())
        {
            EXPECT_EQ(c.Get("values"), LatticeValues(*read.Mesh()));
        }
    }
}

// Every beam is its own edge, also when it repeats the same two vertices:
// the lattice holds what the file says, one record per beam.
TEST(BeamLatticeRead, AMillionBeamsOnThreeVertices)
{
    constexpr int kBeams = 1000000;
    std::string lattice = R"(<v:beamlattice><v:beamgroup radius="0.5">)";
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
    EXPECT_EQ((std::vector<Beam>{{0, 1, 10000, 10000}, {1, 2, 10000, 10000}, {2, 0, 10000, 10000}}),
              std::vector<Beam>(beams.end() - 4, beams.end() - 1));
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
        std::string components;
        for (int copy = 0; copy < 16; ++copy)
        {
            components += slicer::ComponentElement(id - 1);
        }
        levels += slicer::Assembly(id, components);
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
        // An assignment takes every value, and shares the mesh as a copy does.
        lattice.m_clippingMesh = tReferenceID(7);
        lattice.m_minLength = 250;
        BeamLatticeStlBase assigned(nullptr, nullptr, nullptr);
        assigned = lattice;
        EXPECT_EQ(stl, assigned.GetStl(false));
        EXPECT_FALSE(assigned.GetOwnStl());
        EXPECT_EQ(L"outside", assigned.GetStringClipMode());
        EXPECT_EQ(7, int(assigned.m_clippingMesh));
        EXPECT_EQ(250, assigned.m_minLength);
        BeamLatticeStlBase const& same = assigned;
        assigned = same;
        EXPECT_EQ(stl, assigned.GetStl(false)) << "assigned to itself";
    }
    EXPECT_EQ(stl, lattice.GetStl(true));
    EXPECT_FALSE(lattice.GetOwnStl());
    delete stl;
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
