// Writing beam lattices: what each dialect prints and leaves out, and what
// a reader makes of it again.
#include "beamlattice/BeamTestSupport.h"

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
    std::vector<Beam> beams; // read back
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
    Written written;
    written.xml = EntryText(file, "3D/3dmodel.model");
    StlMeshModelFile model;
    Package package(&model);
    PackageRead reader(&package, PackageReadOptions());
    EXPECT_TRUE(reader.Read(file, nullptr));
    auto* const object = dynamic_cast<Object*>(model.GetReference(1));
    if (object != nullptr)
    {
        written.beams = Beams(*dynamic_cast<MeshStlBase&>(*object->m_mesh).GetStl(false), false);
    }
    return written;
}

void ExpectContains(std::string const& xml, std::vector<std::string> const& parts)
{
    for (std::string const& part : parts)
    {
        EXPECT_NE(std::string::npos, xml.find(part)) << part << "\nin " << xml;
    }
}
} // namespace

// Published: lattice attributes with "minlength" in internal units, which
// the reader takes as millimetres: one unit written is a millimetre read, so
// beams shorter than that are gone on reading. A beam of no length is left
// out; r2 only on the tapered beam; caps with the default filled in.
// Vendor: a group per graph, empty ones too, with the radius of its first
// beam; a beam carries r1 only where it differs, never r2 or caps, and short
// beams stay. Without a namespace, no lattice.
TEST(BeamLatticeWrite, EachDialectAndNone)
{
    int const s = 2;
    int const b = 3;
    struct Case
    {
        std::wstring beamNamespace;
        std::vector<std::string> present;
        std::vector<std::string> absent;
        std::vector<Beam> beams; // read back, caps without the default
    };
    for (
        Case const& c : {
            Case{
                NamespaceBeamLattice,
                {R"(xmlns:bl="http://schemas.microsoft.com/3dmanufacturing/beamlattice/2017/02")",
                 R"(<bl:beamlattice clippingmode="none" minlength="1" precision="0.0010" radius="0.4000" cap="sphere">)",
                 R"(<bl:beams><bl:beam v1="0" v2="1" r1="0.5" cap1="sphere" cap2="sphere"/>)"
                 R"(<bl:beam v1="1" v2="2" r1="0.5" r2="0.3" cap1="butt" cap2="sphere"/>)"
                 R"(<bl:beam v1="2" v2="3" r1="0.15" cap1="sphere" cap2="sphere"/>)"
                 R"(<bl:beam v1="2" v2="0" r1="0.2" cap1="sphere" cap2="sphere"/></bl:beams>)"},
                {"clippingmesh", "beamgroup"},
                {{0, 1, 10000, 10000, s, s},
                 {1, 2, 10000, 6000, b, s},
                 {2, 3, 3000, 3000, s, s},
                 {2, 0, 4000, 4000, s, s}}},
            Case{
                NamespaceBeamLatticeOndl,
                {R"(xmlns:bl="http://schemas.ondsdk.com/3dmanufacturing/beamlattice/2017/02")",
                 R"(<bl:beamlattice><bl:beamgroup radius="0.5" name="struts"><bl:beam v1="0" v2="1"/>)"
                 R"(<bl:beam v1="1" v2="2"/><bl:beam v1="0" v2="3"/><bl:beam v1="2" v2="3" r1="0.15"/>)"
                 R"(</bl:beamgroup><bl:beamgroup name="empty"/>)"
                 R"(<bl:beamgroup radius="0.2" name="second"><bl:beam v1="2" v2="0"/></bl:beamgroup></bl:beamlattice>)"},
                {"r2=", "cap", "hintaccurcay"},
                {{0, 1, 10000, 10000},
                 {1, 2, 10000, 10000},
                 {0, 3, 10000, 10000},
                 {2, 3, 3000, 3000},
                 {2, 0, 4000, 4000}}},
            Case{L"", {"</vertices><triangles/></mesh>"}, {"beam"}, {}},
        })
    {
        SCOPED_TRACE(StringConversion::ConvertNativeToUTF8(c.beamNamespace));
        auto const stl = LatticeMesh();
        Written const written = WriteAndRead(stl.get(), c.beamNamespace);
        ExpectContains(written.xml, c.present);
        for (std::string const& part : c.absent)
        {
            EXPECT_EQ(0u, Occurrences(written.xml, part)) << part << "\nin " << written.xml;
        }
        EXPECT_EQ(4u, Occurrences(written.xml, "<vertex "));
        EXPECT_EQ(c.beams, written.beams);
    }
}

// Beams without element information have their ends only, and the lattice
// the smallest radius a published reader accepts; a mesh without graphs gets
// no lattice and no namespace.
TEST(BeamLatticeWrite, BareEdgesAndMeshesWithoutGraphs)
{
    auto bare = std::make_unique<MStlBase>();
    MStlPoint* const a = bare->AddPoint(0, 0, 0);
    MStlPoint* const b = bare->AddPoint(0, 0, 30000);
    bare->GetFeature().AddNewGraph()->AddEdge(a, b);
    Written const published = WriteAndRead(bare.get(), NamespaceBeamLattice);
    ExpectContains(published.xml, {R"(minlength="1" precision="0.0010" radius="0.0001" cap="hemisphere">)",
                                   R"(<bl:beam v1="0" v2="1"/>)"});
    Written const vendor = WriteAndRead(bare.get(), NamespaceBeamLatticeOndl);
    ExpectContains(vendor.xml, {R"(<bl:beamgroup name=""><bl:beam v1="0" v2="1"/></bl:beamgroup>)"});

    auto plain = std::make_unique<MStlBase>();
    plain->AddPoint(0, 0, 0);
    Written const none = WriteAndRead(plain.get(), NamespaceBeamLattice);
    EXPECT_EQ(0u, Occurrences(none.xml, "beam")) << none.xml;
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

    StlMeshModelFile model;
    Package package(&model);
    PackageRead reader(&package, PackageReadOptions());
    ASSERT_TRUE(reader.Read(file, nullptr));
    auto& mesh = dynamic_cast<MeshStlBase&>(*dynamic_cast<Object&>(*model.GetReference(10)).m_mesh);
    ASSERT_NE(nullptr, mesh.m_beamLattice);
    EXPECT_EQ(L"inside", mesh.m_beamLattice->GetStringClipMode());
    EXPECT_EQ(3, int(mesh.m_beamLattice->m_clippingMesh));
    EXPECT_EQ(1000000, mesh.m_beamLattice->m_minLength);
    EXPECT_TRUE(Beams(*mesh.GetStl(false)).empty());
    MStlBaseElementInfo const& info =
        MStlBaseElementInfoStlDependency::GetDependency(mesh.GetStl(false), false)->GetElementInfo();
    EXPECT_EQ(10000, info.GetDefaultEdgeDiameter());
    EXPECT_EQ(eStlGraphEdgeCap::Butt, info.GetDefaultEdgeCap());
}
