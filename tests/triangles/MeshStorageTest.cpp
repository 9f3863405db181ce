// Tests of mesh storage: building and walking elements, use counters, lazily
// kept colours, arrays added in bulk, and copies that share storage until one
// side changes.
#include "MeshTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>

TEST(MeshStorage, BuildsWalksAndRefusesTrianglesItCannotMake)
{
    MStlBase stl;
    EXPECT_TRUE(stl.BeginTriangle() == stl.EndTriangle());
    std::vector<MStlPoint*> p = MakePyramid(stl);
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
    EXPECT_EQ((std::array<std::uint32_t, 3>{0, 3, 2}), TrianglesOf(stl).back());

    MStlBase other;
    MStlPoint* const lonely = stl.AddPoint(1, 2, 3, false);
    EXPECT_EQ(nullptr, stl.AddTriangle(lonely, p[1], nullptr));
    EXPECT_EQ(nullptr, stl.AddTriangle(lonely, p[1], lonely));
    EXPECT_EQ(nullptr, stl.AddTriangle(lonely, p[1], other.AddPoint(0, 0, 1)));
    EXPECT_EQ(6u, stl.GetNumberOfTriangles());
    EXPECT_EQ(0, lonely->GetUseCount());
    // Zero area is not this host's concern.
    EXPECT_NE(nullptr, stl.AddTriangle(p[0], stl.AddPoint(0, 0, 0), p[1]));

    // Colours cost nothing until one is set.
    MStlTriangle& t = stl.TriangleAt(3);
    t.SetColor(MStlColor());
    EXPECT_FALSE(stl.HasTriangleColors());
    t.SetRGB(0x00332211);
    EXPECT_EQ((std::vector<long long>{-1, -1, -1, 0x332211, -1, -1, -1}), ColoursOf(stl));
    t.SetColor(MStlColor());
    EXPECT_FALSE(t.GetColor().IsDefined());
    stl.SetName(L"named");
    stl.SetName(nullptr);
    EXPECT_EQ(L"", stl.GetName());
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

// Arrays added in bulk give the store that one element at a time gives:
// across chunk borders, with an offset, with triangles on a point twice
// passed over, onto a mesh that shares its storage with a copy; a bad index
// changes nothing. Elements added one at a time keep their addresses.
TEST(MeshStorage, BulkInsertionEqualsOneAtATime)
{
    std::mt19937 random(7);
    std::uniform_int_distribution<std::int32_t> coordinate(-1000000, 1000000);
    constexpr std::uint32_t kPoints = 10000;
    constexpr std::uint32_t kTriangles = 25000;
    std::vector<std::int32_t> xyz(3 * kPoints);
    std::generate(xyz.begin(), xyz.end(), [&] { return coordinate(random); });
    // Indices into the last kPoints points, some triples degenerate.
    std::uniform_int_distribution<std::uint32_t> index(0, kPoints - 1);
    std::vector<std::uint32_t> corners(3 * kTriangles);
    for (std::size_t i = 0; i < corners.size(); ++i)
    {
        corners[i] = i % 97 == 2 ? corners[i - 1] : index(random);
    }

    MStlBase single;
    MStlBase bulk;
    std::int32_t const first[3] = {1, 2, 3}; // so that the arrays start at an offset
    std::vector<MStlPoint*> points{single.AddPoint(first)};
    bulk.AddPoint(1, 2, 3);
    MStlBase const sharing(bulk);
    for (std::uint32_t p = 0; p < kPoints; ++p)
    {
        points.push_back(single.AddPoint(xyz[3 * p], xyz[3 * p + 1], xyz[3 * p + 2]));
    }
    std::vector<MStlTriangle*> triangles;
    for (std::uint32_t t = 0; t < kTriangles; ++t)
    {
        MStlTriangle* const made = single.AddTriangle(
            points[1 + corners[3 * t]], points[1 + corners[3 * t + 1]], points[1 + corners[3 * t + 2]]);
        if (made != nullptr)
        {
            triangles.push_back(made);
        }
    }
    EXPECT_EQ(1u, bulk.AddPoints(xyz.data(), kPoints));
    EXPECT_EQ(triangles.size(), bulk.AddTriangles(corners.data(), kTriangles, 1));
    EXPECT_LT(triangles.size(), std::size_t(kTriangles));

    EXPECT_EQ(PointsOf(single), PointsOf(bulk));
    EXPECT_EQ(TrianglesOf(single), TrianglesOf(bulk));
    for (std::uint32_t p = 0; p < single.GetNumberOfPoints(); ++p)
    {
        ASSERT_EQ(points[p], &single.PointAt(p)) << p;
        ASSERT_EQ(single.PointAt(p).GetUseCount(), bulk.PointAt(p).GetUseCount()) << p;
    }
    std::uint32_t walked = 0;
    for (auto it = single.BeginTriangle(); it != single.EndTriangle(); ++it, ++walked)
    {
        ASSERT_EQ(triangles[walked], static_cast<MStlTriangle*>(it));
        ASSERT_EQ(walked, it->GetIndex());
    }
    EXPECT_EQ(1u, sharing.GetNumberOfPoints()) << "the copy keeps the storage it shared";

    std::uint32_t const beyond[] = {0, 1, kPoints + 1};
    EXPECT_THROW(bulk.AddTriangles(beyond, 1), std::out_of_range);
    EXPECT_THROW(bulk.AddTriangles(beyond, 1, 0xFFFFFFFFu), std::out_of_range) << "the offset must not wrap";
    EXPECT_EQ(single.GetNumberOfTriangles(), bulk.GetNumberOfTriangles());
    EXPECT_EQ(single.PointAt(1).GetUseCount(), bulk.PointAt(1).GetUseCount());
}

// A copy hands out the original's elements until one side changes; reading
// never separates them; after a change each side's pointers are its own.
TEST(MeshCopy, SharesUntilOneSideChanges)
{
    auto original = std::make_unique<MStlBase>();
    std::vector<MStlPoint*> p = MakePyramid(*original);
    original->TriangleAt(0).SetRGB(0x0000FF);
    MStlBase copy(*original);
    EXPECT_EQ(6u, TrianglesOf(copy).size());
    EXPECT_EQ(&std::as_const(*original).TriangleAt(0), &std::as_const(copy).TriangleAt(0));
    // Walking points for reading never separates, not even on a non-const mesh.
    EXPECT_EQ(&*original->BeginPoint(), &copy.PointAt(0));

    MStlPoint* extra = copy.AddPoint(99, 99, 99);
    EXPECT_EQ(5u, original->NumberOfPoints());
    EXPECT_NE(&original->PointAt(0), &copy.PointAt(0));
    EXPECT_NE(nullptr, original->AddTriangle(p[0], p[1], p[2]));
    EXPECT_EQ(7u, original->GetNumberOfTriangles());
    EXPECT_EQ(6u, copy.GetNumberOfTriangles());
    EXPECT_EQ(nullptr, copy.AddTriangle(p[0], p[1], extra)) << "the original's points are not the copy's";
    EXPECT_NE(nullptr, copy.AddTriangle(&copy.PointAt(0), &copy.PointAt(1), extra));
    EXPECT_EQ(5, p[0]->GetUseCount());
    EXPECT_EQ(5, copy.PointAt(0).GetUseCount());
    EXPECT_EQ(original->PointAt(2).GetUseCount(), copy.PointAt(2).GetUseCount() + 1);

    copy.TriangleAt(0).SetRGB(0x00FF00);
    EXPECT_EQ(0x0000FFu, original->TriangleAt(0).GetColor().GetRGB());
    // The copy lives on alone.
    original.reset();
    EXPECT_EQ((std::vector<long long>{0x00FF00, -1, -1, -1, -1, -1, -1}), ColoursOf(copy));

    // Changing the original while they share leaves the copy as it was; the
    // part's data goes along.
    MStlBase moved;
    MakePyramid(moved);
    moved.m_partIsSupport = true;
    moved.GetMaterial().SetRGB(0x00FF8000);
    moved.SetName(L"support");
    MStlBase const kept(moved);
    EXPECT_TRUE(kept.m_partIsSupport);
    EXPECT_EQ(0x00FF8000u, kept.GetMaterial().GetRGB());
    EXPECT_EQ(L"support", kept.GetName());
    auto const before = PointsOf(kept);
    moved.Transform(MakeAwkwardTransform());
    moved.TriangleAt(1).SetRGB(5);
    EXPECT_EQ(before, PointsOf(kept));
    EXPECT_NE(before, PointsOf(moved));
    EXPECT_FALSE(kept.HasTriangleColors());
}
