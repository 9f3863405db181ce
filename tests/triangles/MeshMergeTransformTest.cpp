// Tests of merging meshes, with and without a placement, and of transforming
// them, the temporary transformation's exact restore included.
#include "MeshTestSupport.h"
#include "beamlattice/BeamTestSupport.h"

#include "triangles/MStlTempTransformation.h"

#include <gtest/gtest.h>

#include <stdexcept>

TEST(MeshMerge, KeepsBothMeshesTexturesColoursAndEdges)
{
    auto bitmap = std::make_shared<OndSDK::Common::ImageBitmap>();
    bitmap->Create(2, 2, 3);

    MStlBase target;
    std::vector<MStlPoint*> t = MakePyramid(target);
    target.TriangleAt(0).SetRGB(0x111111);
    target.GetTextureFactory(true)->AddTexture()->AddTriangle(&target.TriangleAt(1), MStlTextureCoordinates(),
                                                              true);
    target.GetFeature().AddNewGraph()->AddEdge(t[0], t[1]);
    MStlBaseElementInfo& targetInfo =
        MStlBaseElementInfoStlDependency::GetDependency(&target, true)->GetElementInfo();
    targetInfo.SetDefaultEdgeDiameter(500);

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
    MStlBaseElementInfo& sourceInfo =
        MStlBaseElementInfoStlDependency::GetDependency(&source, true)->GetElementInfo();
    sourceInfo.SetDefaultEdgeDiameter(80);
    sourceInfo.SetDefaultEdgeCap(eStlGraphEdgeCap::Butt);
    sourceInfo.SetEdgeThickness(sourceGraph->AddEdge(s[2], s[4])->GetData(), {40, 20});
    sourceGraph->AddEdge(s[0], s[1]);

    EXPECT_EQ(EReturnCode::Ok, target.AddStl(source, false));
    // The appended triangles point at the appended points.
    MStlBase both;
    MakePyramid(both);
    MakePyramid(both, 50000);
    EXPECT_EQ(PointsOf(both), PointsOf(target));
    EXPECT_EQ(TrianglesOf(both), TrianglesOf(target));
    EXPECT_EQ(4, target.PointAt(9).GetUseCount());
    EXPECT_EQ((std::vector<long long>{0x111111, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 0x222222}),
              ColoursOf(target));

    ASSERT_EQ(2u, target.GetTextures().size());
    MStlTexture const* merged = target.GetTextures()[1];
    EXPECT_EQ(L"b.png", merged->GetName());
    EXPECT_EQ(bitmap, merged->GetSharedBitmap());
    MStlTextureCoordinates read;
    ASSERT_TRUE(merged->GetCoordinates(&target.TriangleAt(10), read, true));
    EXPECT_FLOAT_EQ(0.75f, read.m_v3);

    ASSERT_EQ(2u, target.GetFeature().GetNumGraphs(false));
    EXPECT_EQ(L"struts", target.GetFeature().GetGraph(1)->GetName());
    // The newcomers keep the look of their own defaults, explicitly, since the
    // target has defaults of its own.
    EXPECT_EQ((std::vector<Beam>{{0, 1, -1, -1}, {7, 9, 40, 20, 3, 3}, {5, 6, 80, 80, 3, 3}}),
              Beams(target, false));
    EXPECT_EQ(500, targetInfo.GetDefaultEdgeDiameter());
    EXPECT_EQ(1u, sourceTexture->GetNumTriangles()) << "the source is untouched";

    // Geometry alone leaves the rest behind.
    MStlBase bare;
    EXPECT_EQ(EReturnCode::Ok, bare.AddStl(source, true));
    EXPECT_EQ(TrianglesOf(source), TrianglesOf(bare));
    EXPECT_FALSE(bare.HasTriangleColors());
    EXPECT_TRUE(bare.GetTextures().empty());
    EXPECT_EQ(0u, bare.GetFeature().GetNumEdges());

    // A mesh without edges of its own takes the defaults along.
    MStlBase empty;
    empty.AddStl(source, false);
    MStlBaseElementInfo& emptyInfo =
        MStlBaseElementInfoStlDependency::GetDependency(&empty, false)->GetElementInfo();
    EXPECT_EQ(80, emptyInfo.GetDefaultEdgeDiameter());
    EXPECT_EQ(eStlGraphEdgeCap::Butt, emptyInfo.GetDefaultEdgeCap());
    EXPECT_EQ(Beams(source, false), Beams(empty, false));
}

// AddStl with a transformation gives what a copy, a Transform and a plain
// AddStl give, for affine and projective matrices; also, placed or not, when
// a mesh is appended to itself, its colours, textures and edges included.
TEST(MeshPlacedAppend, EqualsACopyTransformedAndAppended)
{
    MMTransformMatrix const affine = MakeAwkwardTransform();
    MMTransformMatrix const identity;
    MMTransformMatrix projective = MakeAwkwardTransform();
    projective.AccessElement(3, 0) = 1e-5;
    projective.AccessElement(3, 3) = 2.0;
    std::pair<char const*, MMTransformMatrix const*> const transforms[] = {
        {"affine", &affine}, {"projective", &projective}, {"identity", &identity}, {"plain", nullptr}};
    for (auto const& [name, transform] : transforms)
    {
        for (bool const self : {false, true})
        {
            SCOPED_TRACE(std::string(name) + (self ? " onto itself" : ""));
            MStlBase other;
            MakePyramid(other, 3000);
            other.TriangleAt(2).SetRGB(0x123456);
            MStlBase placed;
            std::vector<MStlPoint*> p = MakePyramid(placed);
            placed.TriangleAt(4).SetRGB(7);
            placed.GetTextureFactory(true)->AddTexture()->AddTriangle(&placed.TriangleAt(3),
                                                                      MStlTextureCoordinates(), true);
            placed.GetFeature().AddNewGraph()->AddEdge(p[0], p[2]);
            MStlBase& source = self ? placed : other;

            MStlBase expected(placed);
            MStlBase copy(source);
            if (transform != nullptr)
            {
                copy.Transform(*transform);
            }
            ASSERT_EQ(EReturnCode::Ok, expected.AddStl(copy, false));
            ASSERT_EQ(EReturnCode::Ok, transform != nullptr ? placed.AddStl(source, *transform, false)
                                                            : placed.AddStl(source, false));
            EXPECT_EQ(PointsOf(expected), PointsOf(placed));
            EXPECT_EQ(TrianglesOf(expected), TrianglesOf(placed));
            EXPECT_EQ(ColoursOf(expected), ColoursOf(placed));
            EXPECT_EQ(Beams(expected, false), Beams(placed, false));
            EXPECT_EQ(expected.PointAt(9).GetUseCount(), placed.PointAt(9).GetUseCount());
            ASSERT_EQ(self ? 2u : 1u, placed.GetTextures().size());
            EXPECT_EQ(self, placed.GetTextures().back()->HasTriangle(&placed.TriangleAt(9)));
            EXPECT_EQ(3000, other.PointAt(0).GetX()) << "the source is left as it was";
        }
    }
}

TEST(MeshTransform, RoundsHalfAwayFromZeroAndSaturates)
{
    MStlBase stl;
    stl.AddPoint(1, -1, 0);
    stl.AddPoint(INT32_MAX, 3, -3);
    MMTransformMatrix m;
    m.AccessElement(0, 0) = 2.5;
    m.AccessElement(1, 1) = 2.5;
    m.AccessElement(2, 2) = 0.5;
    m.AccessElement(2, 3) = 0.25;
    m.VerifyAndSetClass();
    stl.Transform(m);
    // From 2.5, -2.5, 0.25 and (saturated), 7.5, -1.25.
    EXPECT_EQ((PointList{{3, -3, 0}, {INT32_MAX, 8, -1}}), PointsOf(stl));
    // The identity changes nothing and shares nothing out.
    MStlBase copy(stl);
    copy.Transform(MMTransformMatrix());
    EXPECT_EQ(&copy.PointAt(0), &stl.PointAt(0));
}

// The temporary transformation restores every bit, also while unwinding from
// an exception, and keeps points added meanwhile.
TEST(MeshTransform, TemporaryTransformationRestoresEveryBit)
{
    MStlBase stl;
    std::vector<MStlPoint*> p = MakePyramid(stl);
    for (std::int32_t i = 0; i < 5000; ++i)
    {
        stl.AddPoint(i * 7919 - 20000000, -i * 31, i % 97);
    }
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
    // Pointers taken before are the mesh's own again.
    EXPECT_NE(nullptr, stl.AddTriangle(p[0], p[1], p[2]));
    {
        MStlTempTransformation guard(stl, MakeAwkwardTransform(), true);
        stl.AddPoint(1, 2, 3);
        stl.AddTriangle(&stl.PointAt(0), &stl.PointAt(1), &stl.PointAt(5005));
    }
    auto const after = PointsOf(stl);
    ASSERT_EQ(5006u, after.size());
    EXPECT_EQ(before, decltype(before)(after.begin(), after.begin() + 5005));
    EXPECT_EQ(1, stl.PointAt(5005).GetUseCount());
}
