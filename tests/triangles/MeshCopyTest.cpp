// Tests that a mesh copy shares storage until one side changes, and takes its
// textures, graphs and element data along.
#include "MeshTestSupport.h"

#include "triangles/MStlBase.h"

#include <gtest/gtest.h>

TEST(MeshCopy, CopyAndOriginalChangeIndependently)
{
    auto original = std::make_unique<MStlBase>();
    std::vector<MStlPoint*> p = MakePyramid(*original);
    original->TriangleAt(0).SetRGB(0x0000FF);
    MStlBase copy(*original);
    // Shared: the copy hands out the same elements until one side changes.
    EXPECT_EQ(&original->PointAt(0), &copy.PointAt(0));

    MStlPoint* extra = copy.AddPoint(99, 99, 99);
    EXPECT_EQ(5u, original->NumberOfPoints());
    EXPECT_EQ(6u, copy.NumberOfPoints());
    EXPECT_NE(&original->PointAt(0), &copy.PointAt(0));
    // The original's pointers are still its own.
    EXPECT_NE(nullptr, original->AddTriangle(p[0], p[1], p[2]));
    EXPECT_EQ(7u, original->GetNumberOfTriangles());
    EXPECT_EQ(6u, copy.GetNumberOfTriangles());
    EXPECT_EQ(nullptr, copy.AddTriangle(p[0], p[1], extra));
    EXPECT_NE(nullptr, copy.AddTriangle(&copy.PointAt(0), &copy.PointAt(1), extra));

    copy.TriangleAt(0).SetRGB(0x00FF00);
    EXPECT_EQ(0x0000FFu, original->TriangleAt(0).GetColor().GetRGB());
    EXPECT_EQ(0x00FF00u, copy.TriangleAt(0).GetColor().GetRGB());
    EXPECT_EQ(5, p[0]->GetUseCount());
    EXPECT_EQ(5, copy.PointAt(0).GetUseCount());
    EXPECT_EQ(original->PointAt(2).GetUseCount(), copy.PointAt(2).GetUseCount() + 1);

    // The copy lives on alone.
    original.reset();
    EXPECT_EQ(0x00FF00u, copy.TriangleAt(0).GetColor().GetRGB());
    EXPECT_EQ(7u, copy.GetNumberOfTriangles());
}

TEST(MeshCopy, ChangingTheOriginalLeavesTheCopy)
{
    MStlBase original;
    MakePyramid(original);
    MStlBase copy(original);
    auto const before = PointsOf(copy);
    original.Transform(MakeAwkwardTransform());
    original.TriangleAt(1).SetRGB(5);
    EXPECT_EQ(before, PointsOf(copy));
    EXPECT_NE(before, PointsOf(original));
    EXPECT_FALSE(copy.HasTriangleColors());
    EXPECT_FALSE(copy.TriangleAt(1).GetColor().IsDefined());
}

TEST(MeshCopy, ReadingACopyDoesNotSeparateIt)
{
    MStlBase original;
    MakePyramid(original);
    MStlBase const copy(original);
    MStlBase const& view = original;
    std::size_t walked = 0;
    for (auto it = copy.BeginTriangle(); it != copy.EndTriangle(); ++it)
    {
        ++walked;
    }
    EXPECT_EQ(6u, walked);
    EXPECT_EQ(&view.TriangleAt(0), &copy.TriangleAt(0));
    // Walking points for reading never separates, not even on a non-const mesh.
    EXPECT_EQ(&*original.BeginPoint(), &copy.PointAt(0));
}

TEST(MeshCopy, TexturesFollowTheirMeshToItsOwnStorage)
{
    MStlBase original;
    MakePyramid(original);
    MStlTexture* texture = original.GetTextureFactory(true)->AddTexture();
    MStlTextureCoordinates uv;
    uv.m_u1 = 0.25f;
    texture->AddTriangle(&original.TriangleAt(2), uv, true);

    MStlBase copy(original);
    ASSERT_EQ(1u, copy.GetTextures().size());
    MStlTexture* copied = copy.GetTextures()[0];
    EXPECT_NE(texture, copied);
    // Colouring the copy gives it its own triangles; its texture moves along.
    copy.TriangleAt(0).SetRGB(1);
    ASSERT_EQ(1u, copied->GetNumTriangles());
    EXPECT_EQ(&copy.TriangleAt(2), copied->GetTriangles()[0]);
    EXPECT_TRUE(copied->HasTriangle(&copy.TriangleAt(2)));
    EXPECT_FALSE(copied->HasTriangle(&original.TriangleAt(2)));
    EXPECT_EQ(&original.TriangleAt(2), texture->GetTriangles()[0]);
    MStlTextureCoordinates read;
    EXPECT_TRUE(copied->GetCoordinates(&copy.TriangleAt(2), read, true));
    EXPECT_FLOAT_EQ(0.25f, read.m_u1);

    // Textures of the two meshes are separate from then on.
    copied->RemoveTriangle(&copy.TriangleAt(2));
    EXPECT_EQ(1u, texture->GetNumTriangles());
}

TEST(MeshCopy, GraphsAndElementInformationAreCopied)
{
    MStlBase original;
    std::vector<MStlPoint*> p = MakePyramid(original);
    MStlGraph* graph = original.GetFeature().AddNewGraph();
    DLIST_ELEMENT<MStlGraphEdge>* edge = graph->AddEdge(p[0], p[4]);
    ASSERT_NE(nullptr, edge);
    MStlBaseElementInfo& info =
        MStlBaseElementInfoStlDependency::GetDependency(&original, true)->GetElementInfo();
    info.SetEdgeThickness(edge->GetData(), {300, 200});
    info.SetDefaultEdgeDiameter(100);

    MStlBase copy(original);
    ASSERT_EQ(1u, copy.GetFeature().GetNumEdges());
    MStlBaseElementInfoStlDependency* dependency =
        MStlBaseElementInfoStlDependency::GetDependency(&copy, false);
    ASSERT_NE(nullptr, dependency);
    EXPECT_NE(MStlBaseElementInfoStlDependency::GetDependency(&original, false), dependency);
    MStlGraphEdge const& copiedEdge = copy.GetFeature().GetGraph(0)->GetEdge(0);
    EXPECT_EQ(300, dependency->GetElementInfo().GetEdgeThickness(copiedEdge).m_first);
    EXPECT_EQ(100, dependency->GetElementInfo().GetDefaultEdgeDiameter());
    // The copy's graph takes the copy's points.
    EXPECT_NE(nullptr, copy.GetFeature().GetGraph(0)->AddEdge(&copy.PointAt(1), &copy.PointAt(2)));
    EXPECT_EQ(1u, original.GetFeature().GetNumEdges());
}
