// Tests of masks, textures and feature graphs of a mesh, and of how they
// follow its growth and copies.
#include "MeshTestSupport.h"

#include "triangles/MDataMask.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlColorMaskTrianglePoints.h"

#include <gtest/gtest.h>

TEST(Masks, FollowTheGrowthOfTheMeshInAnyOrder)
{
    MStlBase stl;
    auto* early = new MDataMask<MStlPoint, int>(&stl.GetPointMaskOwner(), -1);
    std::vector<MStlPoint*> p = MakePyramid(stl);
    early->GetInfo(*p[4]) = 4;
    // Far past the first page, made after the mask.
    MStlPoint* late = nullptr;
    for (int i = 0; i < 3000; ++i)
    {
        late = stl.AddPoint(i, i, i);
    }
    EXPECT_EQ(-1, early->GetInfo(*late));
    early->GetInfo(*late) = 3004;
    EXPECT_EQ(3004, early->GetInfo(3004u));
    MDataMask<MStlPoint, int> const& reader = *early;
    EXPECT_EQ(4, reader.GetInfo(*p[4]));
    EXPECT_EQ(-1, reader.GetInfo(*p[3]));

    auto* triangles = new MDataMask<MStlTriangle, std::vector<int>>(&stl.GetTriangleMaskOwner());
    triangles->GetInfo(stl.TriangleAt(5)).push_back(9);
    EXPECT_TRUE(triangles->GetInfo(stl.TriangleAt(4)).empty());
    ASSERT_EQ(1u, stl.GetTriangleMaskOwner().GetMasks().size());
    EXPECT_EQ(triangles, stl.GetTriangleMaskOwner().GetMasks()[0]);

    delete early;
    EXPECT_TRUE(stl.GetPointMaskOwner().GetMasks().empty());
    delete triangles;
    EXPECT_TRUE(stl.GetTriangleMaskOwner().GetMasks().empty());
}

TEST(Masks, OutliveTheirMeshSafely)
{
    auto stl = std::make_unique<MStlBase>();
    MakePyramid(*stl);
    MStlColorMaskTrianglePoints mask(&stl->GetTriangleMaskOwner());
    mask.GetInfo(stl->TriangleAt(0)).m_colors[1] = MStlColor(3);
    stl.reset();
    EXPECT_EQ(nullptr, mask.GetOwner());
    EXPECT_EQ(3u, mask.GetInfo(0u).m_colors[1].GetRGB());
    MDataMask<MStlPoint, int> orphan(nullptr, 5);
    EXPECT_EQ(5, orphan.GetInfo(17u));
}

TEST(Masks, CopiesOfAMeshGetClonesOfItsMasks)
{
    MStlBase stl;
    MakePyramid(stl);
    MStlColorMaskTrianglePoints colours(&stl.GetTriangleMaskOwner());
    colours.SetUserLabel(L"corners");
    MDataMask<MStlTriangle, int> plain(&stl.GetTriangleMaskOwner(), 7);
    colours.GetInfo(stl.TriangleAt(1)).m_colors[2] = MStlColor(0xABCDEF);
    {
        MStlBase copy(stl);
        auto const& masks = copy.GetTriangleMaskOwner().GetMasks();
        ASSERT_EQ(2u, masks.size());
        auto* cloned = dynamic_cast<MStlColorMaskTrianglePoints*>(masks[0]);
        ASSERT_NE(nullptr, cloned);
        EXPECT_EQ(L"corners", cloned->GetUserLabel());
        EXPECT_EQ(0xABCDEFu, cloned->GetInfo(copy.TriangleAt(1)).m_colors[2].GetRGB());
        EXPECT_FALSE(cloned->GetInfo(copy.TriangleAt(1)).m_colors[0].IsDefined());
        EXPECT_EQ(nullptr, dynamic_cast<MStlColorMaskTrianglePoints*>(masks[1]));
        // A clone is the copy's own.
        cloned->GetInfo(copy.TriangleAt(1)).m_colors[2] = MStlColor(1);
        cloned->SetUserLabel(L"other");
        EXPECT_EQ(0xABCDEFu, colours.GetInfo(stl.TriangleAt(1)).m_colors[2].GetRGB());
        EXPECT_EQ(L"corners", colours.GetUserLabel());
    }
    // The copy deleted its clones and left the originals.
    EXPECT_EQ(2u, stl.GetTriangleMaskOwner().GetMasks().size());
}

TEST(Textures, ManageTrianglesAndShareBitmaps)
{
    MStlBase stl;
    MakePyramid(stl);
    EXPECT_EQ(nullptr, stl.GetTextureFactory(false));
    MStlTextureFactory* factory = stl.GetTextureFactory(true);
    ASSERT_NE(nullptr, factory);
    EXPECT_EQ(factory, stl.GetTextureFactory(false));

    auto bitmap = std::make_shared<OndSDK::Common::ImageBitmap>();
    bitmap->Create(4, 4, 4);
    MStlTexture* first = factory->AddTexture();
    MStlTexture* second = factory->AddTexture();
    first->SetSharedBitmap(bitmap);
    second->SetSharedBitmap(first->GetSharedBitmap());
    bitmap->GetData()[0] = 200;
    EXPECT_EQ(200, second->GetBitmap().GetData()[0]);
    EXPECT_EQ(&first->GetBitmap(), &second->GetBitmap());

    MStlTextureCoordinates a;
    a.m_u1 = 0.5f;
    MStlTextureCoordinates b;
    b.m_u1 = 0.9f;
    for (std::uint32_t i = 0; i < 4; ++i)
    {
        first->AddTriangle(&stl.TriangleAt(i), a, true);
    }
    first->AddTriangle(&stl.TriangleAt(0), b, false);
    MStlTextureCoordinates read;
    first->GetCoordinates(&stl.TriangleAt(0), read, true);
    EXPECT_FLOAT_EQ(0.5f, read.m_u1);
    first->AddTriangle(&stl.TriangleAt(0), b, true);
    first->GetCoordinates(&stl.TriangleAt(0), read, true);
    EXPECT_FLOAT_EQ(0.9f, read.m_u1);

    EXPECT_TRUE(first->RemoveTriangle(&stl.TriangleAt(1)));
    EXPECT_FALSE(first->RemoveTriangle(&stl.TriangleAt(1)));
    EXPECT_FALSE(first->HasTriangle(&stl.TriangleAt(1)));
    // The triangle moved into the gap is still found with its coordinates.
    first->GetCoordinates(&stl.TriangleAt(3), read, true);
    EXPECT_FLOAT_EQ(0.5f, read.m_u1);
    EXPECT_TRUE(first->HasTriangle(&stl.TriangleAt(3)));

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
    EXPECT_EQ(2, bitmap.use_count());
}

TEST(Graphs, EdgesThicknessAndCapsWithTheirDefaults)
{
    MStlBase stl;
    std::vector<MStlPoint*> p = MakePyramid(stl);
    EXPECT_EQ(nullptr, MStlBaseElementInfoStlDependency::GetDependency(&stl, false));
    EXPECT_EQ(nullptr, MStlBaseElementInfoStlDependency::GetDependency(nullptr, true));
    MStlFeature& feature = stl.GetFeature();
    MStlGraph* empty = feature.AddNewGraph();
    MStlGraph* graph = feature.AddNewGraph();
    graph->SetName(L"beams");
    EXPECT_EQ(2u, feature.GetNumGraphs(false));
    EXPECT_EQ(0u, feature.GetNumGraphs(true));

    MStlBase other;
    MStlPoint* foreign = other.AddPoint(0, 0, 0);
    EXPECT_EQ(nullptr, graph->AddEdge(p[0], p[0]));
    EXPECT_EQ(nullptr, graph->AddEdge(p[0], nullptr));
    EXPECT_EQ(nullptr, graph->AddEdge(p[0], foreign));
    DLIST_ELEMENT<MStlGraphEdge>* e1 = graph->AddEdge(p[0], p[4]);
    DLIST_ELEMENT<MStlGraphEdge>* e2 = graph->AddEdge(p[4], p[2]);
    ASSERT_NE(nullptr, e1);
    ASSERT_NE(nullptr, e2);
    EXPECT_EQ(4u, e1->GetData().GetSecond());
    EXPECT_EQ(1u, feature.GetNumGraphs(true));
    EXPECT_EQ(2u, feature.GetNumEdges());

    MStlBaseElementInfoStlDependency* dependency =
        MStlBaseElementInfoStlDependency::GetDependency(&stl, true);
    ASSERT_NE(nullptr, dependency);
    MStlBaseElementInfo& info = dependency->GetElementInfo();
    EXPECT_EQ(eStlGraphEdgeCap::NotSet, info.GetDefaultEdgeCap());
    EXPECT_EQ(0, info.GetDefaultEdgeDiameter());
    EXPECT_EQ(-1, info.GetEdgeThickness(e1->GetData()).m_second);
    EXPECT_EQ(0, info.GetEdgeTolerance(e1->GetData(), true));

    info.SetDefaultEdgeCap(eStlGraphEdgeCap::Sphere);
    MStlGraphEdgeCaps caps = info.GetEdgeCaps(e2->GetData(), false);
    EXPECT_EQ(eStlGraphEdgeCap::NotSet, caps.m_first);
    caps.m_second = eStlGraphEdgeCap::Butt;
    info.SetEdgeCaps(e2->GetData(), caps);
    EXPECT_EQ(eStlGraphEdgeCap::NotSet, info.GetEdgeCaps(e2->GetData(), false).m_first);
    EXPECT_EQ(eStlGraphEdgeCap::Sphere, info.GetEdgeCaps(e2->GetData(), true).m_first);
    EXPECT_EQ(eStlGraphEdgeCap::Butt, info.GetEdgeCaps(e2->GetData(), true).m_second);
    EXPECT_EQ(eStlGraphEdgeCap::Sphere, info.GetEdgeCaps(e1->GetData(), true).m_second);
    info.SetEdgeThickness(e2->GetData(), {120, 80});
    EXPECT_EQ(80, info.GetEdgeThickness(e2->GetData()).m_second);
    EXPECT_EQ(-1, info.GetEdgeThickness(e1->GetData()).m_first);

    // Walks: graphs, edges of one graph, all edges skipping empty graphs.
    std::vector<std::wstring> names;
    for (auto it = MStlIteratorFeatureGraphConst::Begin(&stl); it != MStlIteratorFeatureGraphConst::End(&stl);
         ++it)
    {
        names.push_back(it->GetName());
    }
    EXPECT_EQ((std::vector<std::wstring>{L"", L"beams"}), names);
    EXPECT_TRUE(MStlIteratorGraphEdgeConst::Begin(empty) == MStlIteratorGraphEdgeConst::End(empty));
    std::vector<std::uint32_t> ends;
    for (auto it = MStlIteratorStlEdgeConst::Begin(&stl); it != MStlIteratorStlEdgeConst::End(&stl); ++it)
    {
        ends.push_back(it->GetFirst());
        ends.push_back((*it).GetSecond());
    }
    EXPECT_EQ((std::vector<std::uint32_t>{0, 4, 4, 2}), ends);
    MStlBase none;
    EXPECT_TRUE(MStlIteratorStlEdgeConst::Begin(&none) == MStlIteratorStlEdgeConst::End(&none));
}
