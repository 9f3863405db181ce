// AddStl with a transformation: the result a copy, a Transform and a plain
// AddStl give, for affine and projective matrices and for the mesh itself.

#include "MeshTestSupport.h"

#include "triangles/MStlBase.h"

#include <gtest/gtest.h>

TEST(MeshPlacedAppend, EqualsACopyTransformedAndAppended)
{
    MMTransformMatrix projective = MakeAwkwardTransform();
    projective.AccessElement(3, 0) = 1e-5;
    projective.AccessElement(3, 3) = 2.0;
    struct Case
    {
        char const* name;
        MMTransformMatrix transform;
    };
    for (Case const& test : {Case{"affine", MakeAwkwardTransform()}, Case{"projective", projective},
                             Case{"identity", MMTransformMatrix()}})
    {
        SCOPED_TRACE(test.name);
        MStlBase source;
        MakePyramid(source, 3000);
        source.TriangleAt(2).SetRGB(0x123456);

        MStlBase expected;
        MakePyramid(expected);
        MStlBase copy(source);
        copy.Transform(test.transform);
        ASSERT_EQ(EReturnCode::Ok, expected.AddStl(copy, false));

        MStlBase placed;
        MakePyramid(placed);
        ASSERT_EQ(EReturnCode::Ok, placed.AddStl(source, test.transform, false));
        EXPECT_EQ(PointsOf(expected), PointsOf(placed));
        EXPECT_EQ(TrianglesOf(expected), TrianglesOf(placed));
        EXPECT_EQ(0x123456u, placed.TriangleAt(8).GetColor().GetRGB());
        EXPECT_EQ(expected.PointAt(9).GetUseCount(), placed.PointAt(9).GetUseCount());
        // The source is left as it was.
        EXPECT_EQ(3000, source.PointAt(0).GetX());
    }
}

TEST(MeshPlacedAppend, OntoItself)
{
    MStlBase mesh;
    MakePyramid(mesh);
    MStlBase expected;
    MakePyramid(expected);
    MStlBase copy(expected);
    copy.Transform(MakeAwkwardTransform());
    expected.AddStl(copy, false);

    ASSERT_EQ(EReturnCode::Ok, mesh.AddStl(mesh, MakeAwkwardTransform(), false));
    EXPECT_EQ(PointsOf(expected), PointsOf(mesh));
    EXPECT_EQ(TrianglesOf(expected), TrianglesOf(mesh));
}
