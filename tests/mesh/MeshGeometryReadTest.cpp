// Tests of reading mesh geometry: rounding to internal units, incomplete
// elements, namespaces, skipping and cancelling.
#include "mesh/MeshReadSupport.h"
#include "support/MeshDump.h"

#include "common/IncrementalProgressReporter.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>

using namespace Format_3MF;

namespace
{
using Points3 = PointList;
using Triangles3 = TriangleList;
} // namespace

TEST(MeshGeometryRead, CoordinatesRoundHalfAwayFromZeroInInternalUnits)
{
    MeshRead read(MeshModel(R"(<object id="10"><mesh><vertices>
        <vertex x="0.00025" y="-0.00025" z="1.5"/>
        <vertex x="-0.00024" y="0.00014999" z="-1e300"/>
        <vertex x="1e300" y="nan" z="0"/>
        </vertices></mesh></object>)"));
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ((Points3{{3, -3, 15000}, {-2, 1, INT32_MIN}, {INT32_MAX, 0, 0}}), PointsOf(read.Stl()));
}

TEST(MeshGeometryRead, IncompleteElementsAreDroppedAndLaterIndicesShift)
{
    // The vertex without "z" is dropped, so "3" is the fourth complete one.
    MeshRead read(MeshModel(R"(<object id="10"><mesh><vertices>
        <vertex x="0" y="0" z="0"/><vertex x="1" y="0"/><vertex x="1" y="0" z="0"/>
        <vertex x="0" y="1" z="0"/><vertex x="2" y="2" z="2"/></vertices>
        <triangles><triangle v1="0" v2="1" v3="3"/><triangle v1="0" v2="1"/>
        <triangle v1="2" v2="1" v3="x"/><triangle v1="1" v2="2" v3="0"/></triangles></mesh></object>)"));
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ(4u, read.Stl().GetNumberOfPoints());
    EXPECT_EQ((Triangles3{{0, 1, 3}, {1, 2, 0}}), TrianglesOf(read.Stl()));
}

TEST(MeshGeometryRead, CoreElementsMayCarryAPrefixAndOtherNamespacesAreSkipped)
{
    MeshRead read(R"(<model xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02"
        xmlns:c="http://schemas.microsoft.com/3dmanufacturing/core/2015/02" xmlns:x="urn:other"
        xmlns:b="http://schemas.microsoft.com/3dmanufacturing/beamlattice/2017/02"><resources>
        <object id="10"><mesh><c:vertices><c:vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/>
        <x:vertex x="5" y="5" z="5"/><c:vertex x="0" y="1" z="0"/></c:vertices>
        <x:triangles><triangle v1="0" v2="1" v3="2"/></x:triangles>
        <triangles><c:triangle v1="2" v2="1" v3="0"/></triangles>
        <b:beamlattice radius="1"><b:beams><b:beam v1="0" v2="1"/></b:beams></b:beamlattice>
        </mesh></object></resources><build/></model>)");
    ASSERT_TRUE(read.ok) << read.Error();
    ASSERT_NE(nullptr, read.Mesh());
    EXPECT_EQ((Points3{{0, 0, 0}, {10000, 0, 0}, {0, 10000, 0}}), PointsOf(read.Stl()));
    EXPECT_EQ((Triangles3{{2, 1, 0}}), TrianglesOf(read.Stl()));
}

TEST(MeshGeometryRead, TheObjectTypeSetsThePartFlags)
{
    struct Case
    {
        char const* type;
        bool support;
        bool solid;
    };
    for (Case const& c : {Case{"model", false, true}, Case{"support", true, false},
                          Case{"solidsupport", true, true}, Case{"other", false, false}})
    {
        MeshRead read(MeshModel(TriangleObject("", std::string("type=\"") + c.type + "\"")));
        ASSERT_TRUE(read.ok) << read.Error();
        EXPECT_EQ(c.support, read.Stl().m_partIsSupport) << c.type;
        EXPECT_EQ(c.solid, read.Stl().m_partIsSolid) << c.type;
    }
}

TEST(MeshGeometryRead, SkippingGeometryLeavesTheMeshEmptyButKeepsFlagsAndDefaultColor)
{
    PackageReadOptions options;
    options.IsSkipGeometry = true;
    MeshRead read(MeshModel(R"(<m:colorgroup id="1"><m:color color="#102030"/></m:colorgroup>)" +
                            TriangleObject(R"(<triangle v1="0" v2="1" v3="2" p1="0"/>)",
                                           R"(type="support" pid="1" pindex="0")")),
                  options);
    ASSERT_TRUE(read.ok) << read.Error();
    MStlBase const& stl = read.Stl();
    EXPECT_EQ(0u, stl.GetNumberOfPoints());
    EXPECT_EQ(0u, stl.GetNumberOfTriangles());
    EXPECT_TRUE(stl.m_partIsSupport);
    EXPECT_FALSE(stl.m_partIsSolid);
    EXPECT_EQ(0x302010u, stl.GetMaterial().GetRGB());
}

// The delegate cancels once the reading is well inside the vertices: the
// mesh reader must stop there, not at the end of the mesh.
TEST(MeshGeometryRead, CancellingStopsInsideTheMeshWithStatusThree)
{
    struct CancelHalfWay : OndSDK::Common::IProgressDelegate
    {
        void OnProgress(double fraction) override
        {
            if (fraction > 0.3)
            {
                Cancel();
            }
        }
    };
    std::ostringstream vertices;
    for (int i = 0; i < 20000; ++i)
    {
        vertices << "<vertex x=\"" << i << "\" y=\"0\" z=\"0\"/>";
    }
    MeshRead read(
        MeshModel("<object id=\"10\"><mesh><vertices>" + vertices.str() + "</vertices></mesh></object>"), {},
        {}, std::make_shared<CancelHalfWay>());
    EXPECT_FALSE(read.ok);
    EXPECT_EQ(3, read.reader->GetContext().m_status);
    ASSERT_NE(nullptr, read.Mesh());
    EXPECT_GT(read.Stl().GetNumberOfPoints(), 0u);
    EXPECT_LT(read.Stl().GetNumberOfPoints(), 20000u);
}

TEST(MeshGeometryRead, VertexIndicesOutsideTheVerticesReadSoFarFail)
{
    for (char const* triangle :
         {R"(<triangle v1="0" v2="1" v3="4"/>)", R"(<triangle v1="-1" v2="1" v3="2"/>)"})
    {
        MeshRead read(MeshModel(TriangleObject(triangle)));
        EXPECT_FALSE(read.ok) << triangle;
        EXPECT_NE(std::string::npos, read.Error().find("of 4 vertices")) << read.Error();
    }
    // Vertices after the triangles do not count for them.
    MeshRead late(MeshModel(R"(<object id="10"><mesh><triangles><triangle v1="0" v2="1" v3="2"/></triangles>
        <vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/><vertex x="0" y="1" z="0"/></vertices>
        </mesh></object>)"));
    EXPECT_FALSE(late.ok);
    EXPECT_EQ("A triangle refers to vertex 0 of 0 vertices.", late.Error());
}
