// Welding triangle soups into indexed meshes, against counts worked out by
// hand for each soup: which corners become one vertex, which triangles are
// dropped as degenerate, and a streaming welder used for several meshes.
#include "format3mf/TriangleSoup.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
struct Weld
{
    char const* name;
    double tolerance;
    // Nine millimetre coordinates a triangle.
    std::vector<double> corners;
    std::size_t vertices;
    std::size_t triangles;
    std::size_t degenerate;
};

// One internal unit is 0.0001 mm.
Weld const kWelds[] = {
    {"a shared edge welds", 0, {0, 0, 0, 10, 0, 0, 10, 10, 0, /**/ 0, 0, 0, 10, 10, 0, 0, 10, 0}, 4, 2, 0},
    {"one unit apart stays apart",
     0,
     {0, 0, 0, 1, 0, 0, 0, 1, 0, /**/ 0.0001, 0, 0, 1, 1, 0, 1, 0, 0, /**/ 0, 0, 0, 0.0001, 0, 0, 0, 0, 1},
     6,
     3,
     0},
    {"less than half a unit apart is one place", 0, {0, 0, 0, 1, 0, 0, 0.00004, 0, 0}, 0, 0, 1},
    {"first corner twice", 0, {2, 0, 0, 2, 0, 0, 0, 1, 0}, 0, 0, 1},
    {"second corner twice", 0, {2, 0, 0, 0, 1, 0, 0, 1, 0}, 0, 0, 1},
    {"third corner on the first", 0, {2, 0, 0, 0, 1, 0, 2, 0, 0}, 0, 0, 1},
    {"third corner on the first, welded to an earlier vertex",
     0,
     {0, 0, 0, 1, 0, 0, 0, 1, 0, /**/ 1, 0, 0, 5, 5, 5, 1, 0, 0},
     3,
     1,
     1},
    {"near corners weld within the tolerance",
     0.001,
     {0, 0, 0, 10, 0, 0, 10, 10, 0, /**/ 0, 0, 0, 10, 10, 0, 10.0003, 0, 0},
     3,
     2,
     0},
    {"near corners stay apart beyond the tolerance",
     0.0002,
     {0, 0, 0, 10, 0, 0, 10, 10, 0, /**/ 0, 0, 0, 10, 10, 0, 10.0003, 0, 0},
     4,
     2,
     0},
    {"third corner near the first", 0.001, {0, 0, 0, 1, 0, 0, 0.0003, 0, 0}, 0, 0, 1},
};

class WeldCase : public testing::TestWithParam<Weld>
{
};
} // namespace

TEST_P(WeldCase, GivesTheVerticesAndTrianglesCountedByHand)
{
    Weld const& weld = GetParam();
    format3mf::TriangleSoup soup;
    soup.corners = weld.corners;
    format3mf::WeldedSoup const welded = format3mf::WeldTriangleSoup(soup, weld.tolerance);
    EXPECT_EQ(weld.vertices, welded.mesh->GetNumberOfPoints());
    EXPECT_EQ(weld.triangles, welded.mesh->GetNumberOfTriangles());
    EXPECT_EQ(weld.degenerate, welded.degenerate);
}

INSTANTIATE_TEST_SUITE_P(TriangleSoup, WeldCase, testing::ValuesIn(kWelds),
                         [](testing::TestParamInfo<Weld> const& info)
                         {
                             std::string name = info.param.name;
                             for (char& c : name)
                             {
                                 c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             }
                             return name;
                         });

// The colours go to the triangles that were kept; a corner that is no finite
// number, or too far out for the grid, is refused.
TEST(TriangleSoup, KeepsCornerColoursAndRefusesCornersOffTheGrid)
{
    format3mf::TriangleSoup soup;
    soup.corners = {0, 0, 0, 1, 0,      0, 1, 1, 0, /**/ 0, 0, 0, 0, 0,
                    0, 5, 5, 5, /**/ 0, 0, 0, 1, 1, 0,      0, 1, 0};
    soup.cornerColors = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    format3mf::WeldedSoup const welded = format3mf::WeldTriangleSoup(soup);
    ASSERT_NE(nullptr, welded.colors);
    ASSERT_EQ(2u, welded.mesh->GetNumberOfTriangles());
    EXPECT_EQ(8u, welded.colors->GetInfo(welded.mesh->TriangleAt(1)).m_colors[1].GetRGB());
    for (double bad : {std::numeric_limits<double>::quiet_NaN(), 1e9})
    {
        soup.corners[4] = bad;
        EXPECT_THROW(format3mf::WeldTriangleSoup(soup), std::invalid_argument) << bad;
    }
}

// A streaming welder hands over its mesh and starts again empty: the second
// mesh counts only its own vertices, triangles and degenerate triangles.
TEST(TriangleSoup, WelderStartsAgainEmptyAfterFinish)
{
    format3mf::SoupWelder welder(0.0, true);
    double const first[] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    double const flat[] = {0, 0, 0, 0, 0, 0, 0, 1, 0};
    double const second[] = {0, 0, 0, 2, 0, 0, 0, 2, 0};
    std::uint32_t const colours[] = {0x0000ff, 0x00ff00, 0xff0000};
    welder.Add(first, colours);
    welder.Add(flat, colours);
    format3mf::WeldedSoup const one = welder.Finish();
    welder.Add(second, colours);
    format3mf::WeldedSoup const two = welder.Finish();
    for (format3mf::WeldedSoup const* welded : {&one, &two})
    {
        EXPECT_EQ(3u, welded->mesh->GetNumberOfPoints());
        EXPECT_EQ(1u, welded->mesh->GetNumberOfTriangles());
        ASSERT_NE(nullptr, welded->colors);
        EXPECT_EQ(0xff0000u, welded->colors->GetInfo(welded->mesh->TriangleAt(0)).m_colors[2].GetRGB());
    }
    EXPECT_EQ(1u, one.degenerate);
    EXPECT_EQ(0u, two.degenerate);
    EXPECT_EQ(2 * 10000, two.mesh->PointAt(1).GetX());
}
