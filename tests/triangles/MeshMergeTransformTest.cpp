// Tests of merging meshes and of transforming them, the temporary
// transformation's exact restore included.
#include "MeshTestSupport.h"

#include "triangles/MStlBase.h"
#include "triangles/MStlTempTransformation.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

TEST(MeshMerge, KeepsBothMeshesTexturesColoursAndEdges)
{
    auto bitmap = std::make_shared<OndSDK::Common::ImageBitmap>();
    bitmap->Create(2, 2, 3);

    MStlBase target;
    std::vector<MStlPoint*> t = MakePyramid(target);
    target.TriangleAt(0).SetRGB(0x111111);
    MStlTexture* targetTexture = target.GetTextureFactory(true)->AddTexture();
    targetTexture->SetName(L"a.png");
    targetTexture->SetSharedBitmap(bitmap);
    targetTexture->AddTriangle(&target.TriangleAt(1), MStlTextureCoordinates(), true);
    MStlGraph* targetGraph = target.GetFeature().AddNewGraph();
    targetGraph->AddEdge(t[0], t[1]);

    MStlBase source;
    std::vector<MStlPoint*> s = MakePyramid(source, 50000);
    source.TriangleAt(5).SetRGB(0x222222);
    MStlTexture* sourceTexture = source.GetTextureFactory(true)->AddTexture();
    sourceTexture->SetName(L"b.png");
    sourceTexture->SetSharedBitmap(bitmap);
    MStlTextureCoordinates uv;
    uv.m_v3 = 0.75f;
    sourceTexture->AddTriangle(&source.TriangleAt(4), uv, true);
    MStlGraph* sourceGraph = source.GetFeature().AddNewGraph();
    sourceGraph->SetName(L"struts");
    DLIST_ELEMENT<MStlGraphEdge>* strut = sourceGraph->AddEdge(s[2], s[4]);
    MStlBaseElementInfoStlDependency::GetDependency(&source, true)
        ->GetElementInfo()
        .SetEdgeThickness(strut->GetData(), {40, 20});

    EXPECT_EQ(EReturnCode::Ok, target.AddStl(source, false));
    EXPECT_EQ(10u, target.NumberOfPoints());
    EXPECT_EQ(12u, target.GetNumberOfTriangles());
    EXPECT_EQ(50000, target.PointAt(5).GetX());
    // The appended triangles point at the appended points.
    EXPECT_EQ(5u + 0, target.TriangleAt(6).GetPointIndex(0));
    EXPECT_EQ(4, target.PointAt(9).GetUseCount());

    EXPECT_EQ(0x111111u, target.TriangleAt(0).GetColor().GetRGB());
    EXPECT_EQ(0x222222u, target.TriangleAt(11).GetColor().GetRGB());
    EXPECT_FALSE(target.TriangleAt(5).GetColor().IsDefined());

    ASSERT_EQ(2u, target.GetTextures().size());
    MStlTexture const* merged = target.GetTextures()[1];
    EXPECT_EQ(L"b.png", merged->GetName());
    EXPECT_EQ(bitmap, merged->GetSharedBitmap());
    EXPECT_EQ(bitmap.get(), target.GetTextures()[0]->GetSharedBitmap().get());
    ASSERT_TRUE(merged->HasTriangle(&target.TriangleAt(10)));
    MStlTextureCoordinates read;
    merged->GetCoordinates(&target.TriangleAt(10), read, true);
    EXPECT_FLOAT_EQ(0.75f, read.m_v3);

    ASSERT_EQ(2u, target.GetFeature().GetNumGraphs(false));
    EXPECT_EQ(2u, target.GetFeature().GetNumEdges());
    MStlGraph const* mergedGraph = target.GetFeature().GetGraph(1);
    EXPECT_EQ(L"struts", mergedGraph->GetName());
    EXPECT_EQ(7u, mergedGraph->GetEdge(0).GetFirst());
    EXPECT_EQ(9u, mergedGraph->GetEdge(0).GetSecond());
    MStlBaseElementInfo const& info =
        MStlBaseElementInfoStlDependency::GetDependency(&target, false)->GetElementInfo();
    EXPECT_EQ(20, info.GetEdgeThickness(mergedGraph->GetEdge(0)).m_second);
    EXPECT_EQ(-1, info.GetEdgeThickness(target.GetFeature().GetGraph(0)->GetEdge(0)).m_first);

    // The source is untouched.
    EXPECT_EQ(5u, source.NumberOfPoints());
    EXPECT_EQ(1u, sourceTexture->GetNumTriangles());
}

TEST(MeshMerge, OnlyGeometryLeavesTheRestBehind)
{
    MStlBase target;
    MStlBase source;
    std::vector<MStlPoint*> s = MakePyramid(source);
    source.TriangleAt(0).SetRGB(1);
    source.GetTextureFactory(true)->AddTexture();
    source.GetFeature().AddNewGraph()->AddEdge(s[0], s[1]);
    EXPECT_EQ(EReturnCode::Ok, target.AddStl(source, true));
    EXPECT_EQ(6u, target.GetNumberOfTriangles());
    EXPECT_FALSE(target.HasTriangleColors());
    EXPECT_TRUE(target.GetTextures().empty());
    EXPECT_EQ(0u, target.GetFeature().GetNumEdges());
}

TEST(MeshMerge, EdgesKeepTheLookOfTheirOwnDefaults)
{
    MStlBase target;
    std::vector<MStlPoint*> t = MakePyramid(target);
    MStlBaseElementInfo& targetInfo =
        MStlBaseElementInfoStlDependency::GetDependency(&target, true)->GetElementInfo();
    targetInfo.SetDefaultEdgeDiameter(500);
    target.GetFeature().AddNewGraph()->AddEdge(t[0], t[1]);

    MStlBase source;
    std::vector<MStlPoint*> s = MakePyramid(source);
    MStlBaseElementInfo& sourceInfo =
        MStlBaseElementInfoStlDependency::GetDependency(&source, true)->GetElementInfo();
    sourceInfo.SetDefaultEdgeDiameter(80);
    sourceInfo.SetDefaultEdgeCap(eStlGraphEdgeCap::Butt);
    source.GetFeature().AddNewGraph()->AddEdge(s[0], s[1]);

    // A mesh without edges of its own takes the defaults along.
    MStlBase empty;
    empty.AddStl(source, false);
    MStlBaseElementInfo& emptyInfo =
        MStlBaseElementInfoStlDependency::GetDependency(&empty, false)->GetElementInfo();
    EXPECT_EQ(80, emptyInfo.GetDefaultEdgeDiameter());
    EXPECT_EQ(eStlGraphEdgeCap::Butt, emptyInfo.GetDefaultEdgeCap());
    EXPECT_EQ(-1, emptyInfo.GetEdgeThickness(empty.GetFeature().GetGraph(0)->GetEdge(0)).m_first);

    // One with its own defaults gives the newcomers theirs explicitly.
    target.AddStl(source, false);
    EXPECT_EQ(500, targetInfo.GetDefaultEdgeDiameter());
    MStlGraphEdge const& old = target.GetFeature().GetGraph(0)->GetEdge(0);
    MStlGraphEdge const& added = target.GetFeature().GetGraph(1)->GetEdge(0);
    EXPECT_EQ(-1, targetInfo.GetEdgeThickness(old).m_first);
    EXPECT_EQ(80, targetInfo.GetEdgeThickness(added).m_first);
    EXPECT_EQ(80, targetInfo.GetEdgeThickness(added).m_second);
    EXPECT_EQ(eStlGraphEdgeCap::Butt, targetInfo.GetEdgeCaps(added, false).m_second);
    EXPECT_EQ(eStlGraphEdgeCap::NotSet, targetInfo.GetEdgeCaps(old, false).m_first);
}

TEST(MeshMerge, AMeshCanBeAppendedToItself)
{
    MStlBase stl;
    std::vector<MStlPoint*> p = MakePyramid(stl);
    stl.TriangleAt(2).SetRGB(7);
    stl.GetTextureFactory(true)->AddTexture()->AddTriangle(&stl.TriangleAt(3), MStlTextureCoordinates(),
                                                           true);
    stl.GetFeature().AddNewGraph()->AddEdge(p[0], p[2]);
    MStlBase copy(stl);
    EXPECT_EQ(EReturnCode::Ok, stl.AddStl(stl, false));
    EXPECT_EQ(10u, stl.NumberOfPoints());
    EXPECT_EQ(12u, stl.GetNumberOfTriangles());
    EXPECT_EQ(7u, stl.TriangleAt(8).GetColor().GetRGB());
    ASSERT_EQ(2u, stl.GetTextures().size());
    EXPECT_TRUE(stl.GetTextures()[1]->HasTriangle(&stl.TriangleAt(9)));
    EXPECT_EQ(2u, stl.GetFeature().GetNumEdges());
    EXPECT_EQ(7u, stl.GetFeature().GetGraph(1)->GetEdge(0).GetSecond());
    EXPECT_EQ(5u, copy.NumberOfPoints());
}

TEST(MeshTransform, RoundsHalfAwayFromZeroAndSaturates)
{
    MStlBase stl;
    stl.AddPoint(1, -1, 0);
    stl.AddPoint(std::numeric_limits<std::int32_t>::max(), 3, -3);
    MMTransformMatrix m;
    m.AccessElement(0, 0) = 2.5;
    m.AccessElement(1, 1) = 2.5;
    m.AccessElement(2, 2) = 0.5;
    m.AccessElement(2, 3) = 0.25;
    m.VerifyAndSetClass();
    stl.Transform(m);
    auto const c = PointsOf(stl);
    EXPECT_EQ(3, c[0][0]);  // 2.5
    EXPECT_EQ(-3, c[0][1]); // -2.5
    EXPECT_EQ(0, c[0][2]);  // 0.25
    EXPECT_EQ(std::numeric_limits<std::int32_t>::max(), c[1][0]);
    EXPECT_EQ(8, c[1][1]);  // 7.5
    EXPECT_EQ(-1, c[1][2]); // -1.25
    // The identity changes nothing and shares nothing out.
    MStlBase copy(stl);
    copy.Transform(MMTransformMatrix());
    EXPECT_EQ(&copy.PointAt(0), &stl.PointAt(0));
}

TEST(MeshTransform, TemporaryTransformationRestoresEveryBit)
{
    MStlBase stl;
    std::vector<MStlPoint*> p = MakePyramid(stl);
    for (std::int32_t i = 0; i < 5000; ++i)
    {
        stl.AddPoint(i * 7919 - 20000000, -i * 31, i % 97);
    }
    auto const before = PointsOf(stl);
    MMTransformMatrix const m = MakeAwkwardTransform();
    {
        MStlTempTransformation guard(stl, m, false);
        EXPECT_NE(before, PointsOf(stl));
        EXPECT_EQ(5005u, stl.NumberOfPoints());
    }
    EXPECT_EQ(before, PointsOf(stl));
    // Pointers taken before are the mesh's own again.
    EXPECT_NE(nullptr, stl.AddTriangle(p[0], p[1], p[2]));
}

// While unwinding from an exception, and keeping points added meanwhile.
TEST(MeshTransform, TemporaryTransformationRestoresWhileUnwindingAndKeepsNewPoints)
{
    MStlBase stl;
    MakePyramid(stl);
    MStlBase shared(stl);
    auto const before = PointsOf(stl);
    try
    {
        MStlTempTransformation guard(stl, MakeAwkwardTransform(), false);
        EXPECT_NE(before, PointsOf(stl));
        EXPECT_EQ(before, PointsOf(shared));
        throw std::runtime_error("export failed");
    }
    catch (std::runtime_error const&)
    {
    }
    EXPECT_EQ(before, PointsOf(stl));
    EXPECT_EQ(&shared.PointAt(0), &stl.PointAt(0));
    {
        MStlTempTransformation guard(stl, MakeAwkwardTransform(), true);
        stl.AddPoint(1, 2, 3);
        stl.AddTriangle(&stl.PointAt(0), &stl.PointAt(1), &stl.PointAt(5));
    }
    auto const after = PointsOf(stl);
    ASSERT_EQ(6u, after.size());
    EXPECT_EQ(before, decltype(before)(after.begin(), after.begin() + 5));
    EXPECT_EQ(1, stl.PointAt(5).GetUseCount());
}
