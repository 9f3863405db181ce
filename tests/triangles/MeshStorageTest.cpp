// Tests of mesh storage: building and walking elements, stable addresses,
// use counters, lazily kept colours, and arrays added in bulk.
#include "MeshTestSupport.h"

#include "triangles/MStlBase.h"
#include "triangles/MStlChunk.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <vector>

TEST(MeshStorage, BuildsAndWalksPointsAndTriangles)
{
    MStlBase stl;
    EXPECT_EQ(0u, stl.NumberOfPoints());
    EXPECT_TRUE(stl.BeginTriangle() == stl.EndTriangle());
    std::vector<MStlPoint*> p = MakePyramid(stl);
    EXPECT_EQ(5u, stl.GetNumberOfPoints());

    std::uint32_t index = 0;
    for (auto it = stl.BeginPoint(); it != stl.EndPoint(); ++it, ++index)
    {
        EXPECT_EQ(index, it->GetIndex());
        EXPECT_EQ(p[index], &*it);
    }
    EXPECT_FLOAT_EQ(0.7071f, p[4]->GetZMMf());
    EXPECT_EQ(MMPoint3d<double>(5000, 5000, 7071), MMPoint3d<double>(*p[4]));

    // The apex is in the four sides, point 0 in two sides and both base halves.
    EXPECT_EQ(4, p[4]->GetUseCount());
    EXPECT_EQ(4, p[0]->GetUseCount());
    EXPECT_EQ(3, p[1]->GetUseCount());
    MStlPoint* lonely = stl.AddPoint(1, 2, 3, false);
    EXPECT_EQ(0, lonely->GetUseCount());

    TriangleList const corners = TrianglesOf(stl);
    ASSERT_EQ(6u, corners.size());
    EXPECT_EQ((std::array<std::uint32_t, 3>{0, 3, 2}), corners.back());
    EXPECT_EQ(5u, stl.TriangleAt(5).GetIndex());
}

TEST(MeshStorage, RefusesTrianglesItCannotMake)
{
    MStlBase stl;
    MStlBase other;
    MStlPoint* a = stl.AddPoint(0, 0, 0);
    MStlPoint* b = stl.AddPoint(1, 0, 0);
    MStlPoint* c = stl.AddPoint(0, 1, 0);
    MStlPoint* foreign = other.AddPoint(0, 0, 1);
    EXPECT_EQ(nullptr, stl.AddTriangle(a, b, nullptr));
    EXPECT_EQ(nullptr, stl.AddTriangle(a, b, a));
    EXPECT_EQ(nullptr, stl.AddTriangle(a, b, foreign));
    EXPECT_EQ(0u, stl.GetNumberOfTriangles());
    EXPECT_EQ(0, a->GetUseCount());
    // Zero area is not this host's concern.
    MStlPoint* d = stl.AddPoint(0, 0, 0);
    EXPECT_NE(nullptr, stl.AddTriangle(a, d, c));
    EXPECT_NE(nullptr, stl.AddTriangle(a, b, c));
}

TEST(MeshStorage, ElementsKeepTheirAddressesAcrossManyChunks)
{
    MStlBase stl;
    std::int32_t const xyz[3] = {7, 8, 9};
    MStlPoint* first = stl.AddPoint(xyz, true);
    std::vector<MStlPoint*> points{first};
    // Several chunks' worth, so that indices and chunks are crossed.
    for (std::int32_t i = 1; i < 20000; ++i)
    {
        points.push_back(stl.AddPoint(i, -i, 2 * i));
    }
    std::vector<MStlTriangle*> triangles;
    for (std::size_t i = 0; i + 2 < points.size(); ++i)
    {
        triangles.push_back(stl.AddTriangle(points[i], points[i + 1], points[i + 2]));
    }
    EXPECT_EQ(9, first->GetZ());
    for (std::uint32_t i = 0; i < points.size(); i += 997)
    {
        EXPECT_EQ(i, points[i]->GetIndex());
        EXPECT_EQ(points[i], &stl.PointAt(i));
    }
    std::uint32_t index = 0;
    for (auto it = stl.BeginTriangle(); it != stl.EndTriangle(); ++it, ++index)
    {
        ASSERT_EQ(triangles[index], static_cast<MStlTriangle*>(it));
        ASSERT_EQ(index, it->GetIndex());
        ASSERT_EQ(index + 2, it->GetPointIndex(2));
    }
    EXPECT_EQ(3, points[5000]->GetUseCount());
}

TEST(MeshStorage, UseCounterStopsAtItsLimit)
{
    MStlBase stl;
    MStlPoint* hub = stl.AddPoint(0, 0, 0);
    MStlPoint* previous = stl.AddPoint(1, 0, 0);
    for (int i = 0; i < 70000; ++i)
    {
        MStlPoint* next = stl.AddPoint(2 + i, 1, 0);
        stl.AddTriangle(hub, previous, next);
        previous = next;
    }
    EXPECT_EQ(65535, hub->GetUseCount());
}

TEST(MeshStorage, ColoursCostNothingUntilSetAndPartDataIsCopied)
{
    MStlBase stl;
    MakePyramid(stl);
    MStlTriangle& t = stl.TriangleAt(3);
    t.SetColor(MStlColor());
    EXPECT_FALSE(stl.HasTriangleColors());
    t.SetRGB(0x00332211);
    EXPECT_TRUE(stl.HasTriangleColors());
    EXPECT_EQ(0x00332211u, t.GetColor().GetRGB());
    EXPECT_FALSE(stl.TriangleAt(2).GetColor().IsDefined());
    t.SetColor(MStlColor());
    EXPECT_FALSE(t.GetColor().IsDefined());

    stl.SetName(nullptr);
    EXPECT_EQ(L"", stl.GetName());
    stl.m_partIsSupport = true;
    stl.GetMaterial().SetRGB(0x00FF8000);
    stl.SetName(L"support");
    MStlBase copy(stl);
    EXPECT_TRUE(copy.m_partIsSupport);
    EXPECT_EQ(0x00FF8000u, copy.GetMaterial().GetRGB());
    EXPECT_EQ(L"support", copy.GetName());
    copy.m_partIsSolid = false;
    EXPECT_TRUE(stl.m_partIsSolid);
}

// Arrays added in bulk give the store that one element at a time gives:
// across chunk borders, with an offset, with triangles on a point twice
// passed over, onto a mesh that shares its storage with a copy; a bad index
// changes nothing.
TEST(MeshStorage, BulkInsertionEqualsOneAtATime)
{
    std::mt19937 random(7);
    std::uniform_int_distribution<std::int32_t> coordinate(-1000000, 1000000);
    constexpr std::uint32_t kPoints = 10000;
    constexpr std::uint32_t kTriangles = 25000;
    std::vector<std::int32_t> xyz(3 * kPoints);
    for (std::int32_t& value : xyz)
    {
        value = coordinate(random);
    }
    // Indices into the last kPoints points, some triples degenerate.
    std::uniform_int_distribution<std::uint32_t> index(0, kPoints - 1);
    std::vector<std::uint32_t> corners(3 * kTriangles);
    for (std::size_t i = 0; i < corners.size(); ++i)
    {
        corners[i] = i % 97 == 2 ? corners[i - 1] : index(random);
    }

    MStlBase single;
    MStlBase bulk;
    for (MStlBase* mesh : {&single, &bulk})
    {
        mesh->AddPoint(1, 2, 3); // so that the arrays start at an offset
    }
    MStlBase const sharing(bulk);
    for (std::uint32_t p = 0; p < kPoints; ++p)
    {
        single.AddPoint(xyz[3 * p], xyz[3 * p + 1], xyz[3 * p + 2]);
    }
    std::size_t made = 0;
    for (std::uint32_t t = 0; t < kTriangles; ++t)
    {
        made +=
            single.AddTriangle(&single.PointAt(1 + corners[3 * t]), &single.PointAt(1 + corners[3 * t + 1]),
                               &single.PointAt(1 + corners[3 * t + 2])) != nullptr;
    }
    EXPECT_EQ(1u, bulk.AddPoints(xyz.data(), kPoints));
    EXPECT_EQ(made, bulk.AddTriangles(corners.data(), kTriangles, 1));
    EXPECT_LT(made, std::size_t(kTriangles));

    ASSERT_EQ(single.GetNumberOfPoints(), bulk.GetNumberOfPoints());
    ASSERT_EQ(single.GetNumberOfTriangles(), bulk.GetNumberOfTriangles());
    for (std::uint32_t p = 0; p < single.GetNumberOfPoints(); ++p)
    {
        ASSERT_EQ(single.PointAt(p).GetCoordinates(), bulk.PointAt(p).GetCoordinates()) << p;
        ASSERT_EQ(single.PointAt(p).GetUseCount(), bulk.PointAt(p).GetUseCount()) << p;
    }
    for (std::uint32_t t = 0; t < single.GetNumberOfTriangles(); ++t)
    {
        for (unsigned corner = 0; corner < 3; ++corner)
        {
            ASSERT_EQ(single.TriangleAt(t).GetPointIndex(corner), bulk.TriangleAt(t).GetPointIndex(corner))
                << t;
        }
    }
    EXPECT_EQ(1u, sharing.GetNumberOfPoints()) << "the copy keeps the storage it shared";

    std::uint32_t const beyond[] = {0, 1, kPoints + 1};
    EXPECT_THROW(bulk.AddTriangles(beyond, 1), std::out_of_range);
    EXPECT_THROW(bulk.AddTriangles(beyond, 1, 0xFFFFFFFFu), std::out_of_range) << "the offset must not wrap";
    EXPECT_EQ(single.GetNumberOfTriangles(), bulk.GetNumberOfTriangles());
    EXPECT_EQ(single.PointAt(1).GetUseCount(), bulk.PointAt(1).GetUseCount());
}
