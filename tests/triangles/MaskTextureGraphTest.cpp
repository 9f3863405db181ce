// Tests of masks, textures and feature graphs of a mesh, and of how they
// follow its growth and its copies.
#include "MeshTestSupport.h"
#include "beamlattice/BeamTestSupport.h"

#include "triangles/MDataMask.h"
#include "triangles/MStlColorMaskTrianglePoints.h"

#include <gtest/gtest.h>

TEST(Masks, FollowTheGrowthOfTheMeshAndOutliveIt)
{
    auto stl = std::make_unique<MStlBase>();
    auto* early = new MDataMask<MStlPoint, int>(&stl->GetPointMaskOwner(), -1);
    std::vector<MStlPoint*> p = MakePyramid(*stl);
    early->GetInfo(*p[4]) = 4;
    // Far past the first page, made after the mask.
    MStlPoint* late = nullptr;
    for (int i = 0; i < 3000; ++i)
    {
        late = stl->AddPoint(i, i, i);
    }
    EXPECT_EQ(-1, early->GetInfo(*late));
    early->GetInfo(*late) = 3004;
    EXPECT_EQ(3004, early->GetInfo(3004u));
    MDataMask<MStlPoint, int> const& reader = *early;
    EXPECT_EQ(4, reader.GetInfo(*p[4]));
    EXPECT_EQ(-1, reader.GetInfo(*p[3]));
    delete early;
    EXPECT_TRUE(stl->GetPointMaskOwner().GetMasks().empty());

    MStlColorMaskTrianglePoints mask(&stl->GetTriangleMaskOwner());
    mask.GetInfo(stl->TriangleAt(0)).m_colors[1] = MStlColor(3);
    stl.reset();
    EXPECT_EQ(nullptr, mask.GetOwner());
    EXPECT_EQ(3u, mask.GetInfo(0u).m_colors[1].GetRGB());
    MDataMask<MStlPoint, int> orphan(nullptr, 5);
    EXPECT_EQ(5, orphan.GetInfo(17u));
}

TEST(Textures, ManageTrianglesAndShareBitmaps)
{
    MStlBase stl;
    MakePyramid(stl);
    EXPECT_EQ(nullptr, stl.GetTextureFactory(false));
    MStlTextureFactory* factory = stl.GetTextureFactory(true);
    auto bitmap = std::make_shared<OndSDK::Common::ImageBitmap>();
    bitmap->Create(4, 4, 4);
    MStlTexture* first = factory->AddTexture();
    MStlTexture* second = factory->AddTexture();
    first->SetSharedBitmap(bitmap);

    MStlTextureCoordinates a;
    a.m_u1 = 0.5f;
    MStlTextureCoordinates b;
    b.m_u1 = 0.9f;
    for (std::uint32_t i = 0; i < 4; ++i)
    {
        first->AddTriangle(&stl.TriangleAt(i), a, true);
    }
    MStlTextureCoordinates read;
    first->AddTriangle(&stl.TriangleAt(0), b, false);
    first->GetCoordinates(&stl.TriangleAt(0), read, true);
    EXPECT_FLOAT_EQ(0.5f, read.m_u1) << "no overwrite unless asked";
    first->AddTriangle(&stl.TriangleAt(0), b, true);
    first->GetCoordinates(&stl.TriangleAt(0), read, true);
    EXPECT_FLOAT_EQ(0.9f, read.m_u1);

    EXPECT_TRUE(first->RemoveTriangle(&stl.TriangleAt(1)));
    EXPECT_FALSE(first->RemoveTriangle(&stl.TriangleAt(1)));
    EXPECT_FALSE(first->HasTriangle(&stl.TriangleAt(1)));
    // The triangle moved into the gap is still found with its coordinates.
    first->GetCoordinates(&stl.TriangleAt(3), read, true);
    EXPECT_FLOAT_EQ(0.5f, read.m_u1);

    read.m_u1 = 0.3f;
    EXPECT_FALSE(first->GetCoordinates(&stl.TriangleAt(5), read, false));
    EXPECT_FLOAT_EQ(0.3f, read.m_u1);
    EXPECT_FALSE(first->GetCoordinates(&stl.TriangleAt(5), read, true));
    EXPECT_FLOAT_EQ(0.0f, read.m_u1);

    MStlBase other;
    MakePyramid(other);
    first->AddTriangle(&other.TriangleAt(5), a, true);
    first->AddTriangle(nullptr, a, true);
    EXPECT_EQ(3u, first->GetNumTriangles());
    EXPECT_FALSE(first->HasTriangle(&other.TriangleAt(0)));

    factory->RemoveTexture(first);
    factory->RemoveTexture(nullptr);
    ASSERT_EQ(1u, stl.GetTextures().size());
    EXPECT_EQ(second, stl.GetTextures()[0]);
    EXPECT_EQ(1, bitmap.use_count()) << "a removed texture lets go of its bitmap";
}

TEST(Graphs, EdgesThicknessAndCapsWithTheirDefaults)
{
    MStlBase stl;
    std::vector<MStlPoint*> p = MakePyramid(stl);
    EXPECT_EQ(nullptr, MStlBaseElementInfoStlDependency::GetDependency(&stl, false));
    EXPECT_EQ(nullptr, MStlBaseElementInfoStlDependency::GetDependency(nullptr, true));
    MStlFeature& feature = stl.GetFeature();
    feature.AddNewGraph(); // stays empty
    MStlGraph* graph = feature.AddNewGraph();
    graph->SetName(L"beams");
    EXPECT_EQ(0u, feature.GetNumGraphs(true));

    MStlBase other;
    EXPECT_EQ(nullptr, graph->AddEdge(p[0], p[0]));
    EXPECT_EQ(nullptr, graph->AddEdge(p[0], nullptr));
    EXPECT_EQ(nullptr, graph->AddEdge(p[0], other.AddPoint(0, 0, 0)));
    MStlGraphEdge const& e1 = graph->AddEdge(p[0], p[4])->GetData();
    MStlGraphEdge const& e2 = graph->AddEdge(p[4], p[2])->GetData();
    EXPECT_EQ(1u, feature.GetNumGraphs(true));
    EXPECT_EQ(2u, feature.GetNumGraphs(false));

    MStlBaseElementInfo& info = MStlBaseElementInfoStlDependency::GetDependency(&stl, true)->GetElementInfo();
    EXPECT_EQ(0, info.GetEdgeTolerance(e1, true));
    info.SetDefaultEdgeCap(eStlGraphEdgeCap::Sphere);
    info.SetEdgeCaps(e2, {eStlGraphEdgeCap::NotSet, eStlGraphEdgeCap::Butt});
    info.SetEdgeThickness(e2, {120, 80});
    EXPECT_EQ((std::vector<Beam>{{0, 4, -1, -1, 0, 0}, {4, 2, 120, 80, 0, 3}}), Beams(stl, false));
    EXPECT_EQ((std::vector<Beam>{{0, 4, -1, -1, 2, 2}, {4, 2, 120, 80, 2, 3}}), Beams(stl, true));
    // The writer walks graphs and edges (tested through what it writes);
    // here what it does not reach: a graph by arrow and an empty graph's edges.
    std::vector<std::wstring> names;
    for (auto it = MStlIteratorFeatureGraphConst::Begin(&stl); it != MStlIteratorFeatureGraphConst::End(&stl);
         ++it)
    {
        names.push_back(it->GetName());
    }
    EXPECT_EQ((std::vector<std::wstring>{L"", L"beams"}), names);
    EXPECT_TRUE(MStlIteratorGraphEdgeConst::Begin(feature.GetGraph(0)) ==
                MStlIteratorGraphEdgeConst::End(feature.GetGraph(0)));
}

// A copy gets clones of the masks, textures, graphs and element data, its
// own from then on, that follow it to its own storage.
TEST(MeshCopy, TakesMasksTexturesAndGraphsAlong)
{
    MStlBase stl;
    std::vector<MStlPoint*> p = MakePyramid(stl);
    MStlColorMaskTrianglePoints colours(&stl.GetTriangleMaskOwner());
    colours.SetUserLabel(L"corners");
    MDataMask<MStlTriangle, int> plain(&stl.GetTriangleMaskOwner(), 7);
    colours.GetInfo(stl.TriangleAt(1)).m_colors[2] = MStlColor(0xABCDEF);
    MStlTexture* texture = stl.GetTextureFactory(true)->AddTexture();
    MStlTextureCoordinates uv;
    uv.m_u1 = 0.25f;
    texture->AddTriangle(&stl.TriangleAt(2), uv, true);
    MStlGraphEdge const& edge = stl.GetFeature().AddNewGraph()->AddEdge(p[0], p[4])->GetData();
    MStlBaseElementInfo& info = MStlBaseElementInfoStlDependency::GetDependency(&stl, true)->GetElementInfo();
    info.SetEdgeThickness(edge, {300, 200});
    info.SetDefaultEdgeDiameter(100);
    {
        MStlBase copy(stl);
        auto const& masks = copy.GetTriangleMaskOwner().GetMasks();
        ASSERT_EQ(2u, masks.size());
        auto* cloned = dynamic_cast<MStlColorMaskTrianglePoints*>(masks[0]);
        ASSERT_NE(nullptr, cloned);
        EXPECT_EQ(L"corners", cloned->GetUserLabel());
        EXPECT_EQ(0xABCDEFu, cloned->GetInfo(copy.TriangleAt(1)).m_colors[2].GetRGB());
        EXPECT_EQ(nullptr, dynamic_cast<MStlColorMaskTrianglePoints*>(masks[1]));
        cloned->GetInfo(copy.TriangleAt(1)).m_colors[2] = MStlColor(1);
        cloned->SetUserLabel(L"other");
        EXPECT_EQ(0xABCDEFu, colours.GetInfo(stl.TriangleAt(1)).m_colors[2].GetRGB());
        EXPECT_EQ(L"corners", colours.GetUserLabel());

        ASSERT_EQ(1u, copy.GetTextures().size());
        MStlTexture* copied = copy.GetTextures()[0];
        EXPECT_NE(texture, copied);
        // Colouring the copy gives it its own triangles; its texture moves along.
        copy.TriangleAt(0).SetRGB(1);
        ASSERT_EQ(1u, copied->GetNumTriangles());
        EXPECT_EQ(&copy.TriangleAt(2), copied->GetTriangles()[0]);
        EXPECT_EQ(&stl.TriangleAt(2), texture->GetTriangles()[0]);
        MStlTextureCoordinates read;
        EXPECT_TRUE(copied->GetCoordinates(&copy.TriangleAt(2), read, true));
        EXPECT_FLOAT_EQ(0.25f, read.m_u1);
        copied->RemoveTriangle(&copy.TriangleAt(2));
        EXPECT_EQ(1u, texture->GetNumTriangles());

        auto* const dependency = MStlBaseElementInfoStlDependency::GetDependency(&copy, false);
        ASSERT_NE(nullptr, dependency);
        EXPECT_NE(MStlBaseElementInfoStlDependency::GetDependency(&stl, false), dependency);
        EXPECT_EQ((std::vector<Beam>{{0, 4, 300, 200, 0, 0}}), Beams(copy, false));
        EXPECT_EQ(100, dependency->GetElementInfo().GetDefaultEdgeDiameter());
        // The copy's graph takes the copy's points.
        EXPECT_NE(nullptr, copy.GetFeature().GetGraph(0)->AddEdge(&copy.PointAt(1), &copy.PointAt(2)));
        EXPECT_EQ(1u, stl.GetFeature().GetNumEdges());
    }
    // The copy deleted its clones and left the originals.
    EXPECT_EQ(2u, stl.GetTriangleMaskOwner().GetMasks().size());
}
