// Hostile lattices: a million beams on three vertices, and numbers that no
// 32-bit length can hold. They read in full or clamp; nothing crashes.
#include "beamlattice/BeamTestSupport.h"

#include "format3mf/Importer.h"

#include <gtest/gtest.h>

#include <limits>

namespace
{
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
} // namespace

// Every beam is its own edge, also when it repeats the same two vertices:
// the lattice holds what the file says, one record per beam.
TEST(BeamLatticeHostile, AMillionBeamsOnThreeVertices)
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

// Lengths beyond 32 bits of internal units clamp to the limit, and so do
// their diameters; "nan" is no length at all.
TEST(BeamLatticeHostile, HugeAndOddRadiiClamp)
{
    MeshRead read(LatticeModel(R"(<b:beamlattice radius="1e40" minlength="-1e300"><b:beams>
        <b:beam v1="0" v2="1"/><b:beam v1="0" v2="2" r1="1e308" r2="2147483647"/>
        <b:beam v1="1" v2="2" r1="0.1" r2="inf"/><b:beam v1="1" v2="3" r1="nan"/></b:beams></b:beamlattice>)"));
    ASSERT_TRUE(read.ok) << read.Error();
    MStlBaseElementInfo const& info =
        MStlBaseElementInfoStlDependency::GetDependency(&read.Stl(), false)->GetElementInfo();
    EXPECT_EQ(kMax, info.GetDefaultEdgeDiameter());
    EXPECT_EQ(std::numeric_limits<std::int32_t>::min(), read.Mesh()->m_beamLattice->m_minLength);
    EXPECT_EQ((std::vector<Beam>{{0, 1, kMax, kMax}, {0, 2, kMax, kMax}, {1, 2, 2000, kMax}, {1, 3, 0, 0}}),
              Beams(read.Stl(), false));
}

// Components that place a lattice over and over would make more beams than
// memory holds: the import refuses before copying, as it does for points
// and triangles. Object 1 has 1000 beams; each level above places the one
// below 16 times, so object 6 would have over a billion.
TEST(BeamLatticeHostile, ComponentsCantMultiplyBeamsBeyondTheLimit)
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
