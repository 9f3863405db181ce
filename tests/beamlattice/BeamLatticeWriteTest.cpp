// Writing beam lattices: what each dialect prints and leaves out, and what
// a reader makes of it again.
#include "beamlattice/BeamTestSupport.h"
#include "support/CaseFile.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/PackageWrite.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

namespace
{
// Points 0 (0,0,0), 1 (1,0,0), 2 (0,2,0) and 3 at the place of 0, in mm.
// Graph "struts": 0-1 of diameter 1 mm; 1-2 tapered from 1 to 0.6 mm with a
// butt first end; 0-3 of no length; 2-3 of 0.3 mm. Graph "empty" has no
// edges; graph "second" has 2-0 of 0.4 mm. The default cap is a sphere, the
// default diameter 0.8 mm.
std::unique_ptr<MStlBase> LatticeMesh()
{
    auto stl = std::make_unique<MStlBase>();
    MStlPoint* const p0 = stl->AddPoint(0, 0, 0);
    MStlPoint* const p1 = stl->AddPoint(10000, 0, 0);
    MStlPoint* const p2 = stl->AddPoint(0, 20000, 0);
    MStlPoint* const p3 = stl->AddPoint(0, 0, 0);
    MStlBaseElementInfo& info =
        MStlBaseElementInfoStlDependency::GetDependency(stl.get(), true)->GetElementInfo();
    info.SetDefaultEdgeCap(eStlGraphEdgeCap::Sphere);
    info.SetDefaultEdgeDiameter(8000);
    auto edge = [&](MStlGraph* graph, MStlPoint* a, MStlPoint* b, std::int32_t d1, std::int32_t d2)
    {
        MStlGraphEdge const& made = graph->AddEdge(a, b)->GetData();
        info.SetEdgeThickness(made, MStlGraphEdgeThickness{d1, d2});
        return &made;
    };
    MStlGraph* const struts = stl->GetFeature().AddNewGraph();
    struts->SetName(L"struts");
    edge(struts, p0, p1, 10000, 10000);
    info.SetEdgeCaps(*edge(struts, p1, p2, 10000, 6000), {eStlGraphEdgeCap::Butt, eStlGraphEdgeCap::NotSet});
    edge(struts, p0, p3, 10000, 10000);
    edge(struts, p2, p3, 3000, 3000);
    stl->GetFeature().AddNewGraph()->SetName(L"empty");
    MStlGraph* const second = stl->GetFeature().AddNewGraph();
    second->SetName(L"second");
    edge(second, p2, p0, 4000, 4000);
    return stl;
}

struct Written
{
    std::string xml;
    std::string beams; // read back
};

Written WriteAndRead(MStlBase* stl, std::wstring const& beamNamespace)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("lattice.3mf");
    {
        ModelFileStlBase model;
        model.AddStl(stl);
        Package package(&model);
        PackageWriteOptions options;
        options.Graphs.BeamNamespace = beamNamespace;
        PackageWrite(&package, options).Write(file, nullptr);
    }
    Written written{EntryText(file, "3D/3dmodel.model"), ""};
    MeshRead read(written.xml);
    EXPECT_TRUE(read.ok) << read.Error();
    if (read.Mesh(1) != nullptr)
    {
        written.beams = BeamText(read.Stl(1));
    }
    return written;
}

} // namespace

// The cases are in beam_lattice_written.txt, whose head says how they are
// written down.
TEST(BeamLatticeWrite, EachDialectAndNone)
{
    auto const cases = ReadCaseFile(FORMAT3MF_SOURCE_DIR "/tests/beamlattice/beam_lattice_written.txt");
    EXPECT_EQ(6u, cases.size());
    std::map<std::string, std::wstring> const dialects = {
        {"published", NamespaceBeamLattice}, {"vendor", NamespaceBeamLatticeOndl}, {"none", L""}};
    for (CaseRecord const& c : cases)
    {
        SCOPED_TRACE(c.name);
        auto stl = std::make_unique<MStlBase>();
        if (c.Get("mesh") == "struts")
        {
            stl = LatticeMesh();
        }
        else
        {
            MStlPoint* const a = stl->AddPoint(0, 0, 0);
            if (c.Get("mesh") == "bare")
            {
                stl->GetFeature().AddNewGraph()->AddEdge(a, stl->AddPoint(0, 0, 30000));
            }
        }
        Written const written = WriteAndRead(stl.get(), dialects.at(c.Get("dialect")));
        std::istringstream present(c.Get("present"));
        for (std::string part; std::getline(present, part);)
        {
            EXPECT_NE(std::string::npos, written.xml.find(part)) << part << "\nin " << written.xml;
        }
        std::istringstream absent(c.Get("absent"));
        for (std::string part; absent >> part;)
        {
            EXPECT_EQ(0u, Occurrences(written.xml, part)) << part << "\nin " << written.xml;
        }
        if (c.fields.count("beams") != 0)
        {
            EXPECT_EQ(c.Get("beams"), written.beams);
        }
    }
}

// A lattice read and written again in its own package keeps its clipping;
// "minlength" goes out in internal units, so 0.01 mm read (100 units) comes
// back as 100 mm, and the beam of 1 mm is gone on the second read.
TEST(BeamLatticeWrite, ReadLatticeWrittenAgainKeepsClippingAndScalesMinLength)
{
    PackageScratch scratch;
    MeshRead first(LatticeModel(R"(<b:beamlattice radius="0.5" minlength="0.01" clippingmode="inside"
        clippingmesh="3" cap="butt"><b:beams><b:beam v1="0" v2="1"/></b:beams></b:beamlattice>)"));
    ASSERT_TRUE(first.ok) << first.Error();
    std::wstring const file = scratch.File("again.3mf");
    PackageWriteOptions options;
    options.Graphs.BeamNamespace = NamespaceBeamLattice;
    PackageWrite(&first.package, options).Write(file, nullptr);

    MeshRead again(EntryText(file, "3D/3dmodel.model"));
    ASSERT_TRUE(again.ok) << again.Error();
    EXPECT_EQ("diameter 10000 cap 3 min 1000000 clip inside 3", LatticeValues(*again.Mesh()));
    EXPECT_TRUE(Beams(again.Stl()).empty());
}
