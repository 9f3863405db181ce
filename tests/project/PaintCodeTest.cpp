// Paint strings worked by hand from the published description of the
// encoding (codes read from the end, split count in the low bits, children
// last first, states of 3 and more in a second code), against the leaves
// they must give: corners in quarters of the painted triangle's corners A, B
// and C, and the state of each leaf.

#include "project/PaintCode.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <tuple>
#include <vector>

using namespace format3mf::project;

namespace
{
using Point = std::array<int, 3>; // weights of A, B and C, summing to 4
using Leaf = std::tuple<Point, Point, Point, int>;

Point const A{4, 0, 0};
Point const B{0, 4, 0};
Point const C{0, 0, 4};

Point Mid(Point const& p, Point const& q)
{
    return {(p[0] + q[0]) / 2, (p[1] + q[1]) / 2, (p[2] + q[2]) / 2};
}

Point const AB = Mid(A, B);
Point const BC = Mid(B, C);
Point const CA = Mid(C, A);

// The same leaf whichever corner it starts from; the turning order counts.
Leaf Normal(Point p, Point q, Point r, int state)
{
    while (!(p <= q && p <= r))
    {
        std::tie(p, q, r) = std::make_tuple(q, r, p);
    }
    return {p, q, r, state};
}

std::multiset<Leaf> Leaves(PaintSubdivision const& decoded)
{
    std::vector<Point> points = {A, B, C};
    for (auto const& [a, b] : decoded.midpoints)
    {
        EXPECT_LT(a, points.size());
        EXPECT_LT(b, points.size());
        points.push_back(Mid(points[a], points[b]));
    }
    std::multiset<Leaf> leaves;
    for (PaintLeaf const& leaf : decoded.leaves)
    {
        leaves.insert(
            Normal(points[leaf.points[0]], points[leaf.points[1]], points[leaf.points[2]], leaf.state));
    }
    return leaves;
}

struct Case
{
    char const* what;
    std::string code;
    std::vector<Leaf> leaves;
};

// A chain of single splits `depth` deep: each split's second child splits
// again, its first is a leaf.
std::string Chain(std::size_t depth)
{
    return depth == 0 ? "4" : "0" + Chain(depth - 1) + "1";
}
} // namespace

TEST(PaintCode, StringsGiveTheLeavesWorkedByHand)
{
    Point const m01 = Mid(AB, BC);
    Point const m12 = Mid(BC, CA);
    Point const m20 = Mid(CA, AB);
    std::vector<Case> const cases = {
        {"unpainted", "", {Normal(A, B, C, 0)}},
        {"whole in state 0", "0", {Normal(A, B, C, 0)}},
        {"whole in state 1", "4", {Normal(A, B, C, 1)}},
        {"whole in state 2", "8", {Normal(A, B, C, 2)}},
        {"whole in state 3", "0C", {Normal(A, B, C, 3)}},
        {"whole in state 4", "1C", {Normal(A, B, C, 4)}},
        {"whole in state 16", "DC", {Normal(A, B, C, 16)}},
        {"whole in state 18", "fc", {Normal(A, B, C, 18)}},
        {"3 sides, states 1-4",
         "480C1C3",
         {Normal(A, AB, CA, 1), Normal(AB, B, BC, 2), Normal(BC, C, CA, 3), Normal(AB, BC, CA, 4)}},
        {"3 sides, special ignored",
         "0000F",
         {Normal(A, AB, CA, 0), Normal(AB, B, BC, 0), Normal(BC, C, CA, 0), Normal(AB, BC, CA, 0)}},
        {"1 side, special 0", "481", {Normal(A, B, BC, 1), Normal(BC, C, A, 2)}},
        {"1 side, special 1", "485", {Normal(B, C, CA, 1), Normal(CA, A, B, 2)}},
        {"1 side, special 2", "489", {Normal(C, A, AB, 1), Normal(AB, B, C, 2)}},
        {"2 sides, special 0", "4802", {Normal(A, AB, CA, 1), Normal(AB, B, CA, 2), Normal(B, C, CA, 0)}},
        {"2 sides, special 1", "4806", {Normal(B, BC, AB, 1), Normal(BC, C, AB, 2), Normal(C, A, AB, 0)}},
        {"2 sides, special 2", "480A", {Normal(C, CA, BC, 1), Normal(CA, A, BC, 2), Normal(A, B, BC, 0)}},
        {"2 levels, centre split",
         "400484833",
         {Normal(A, AB, CA, 1), Normal(AB, B, BC, 0), Normal(BC, C, CA, 0), Normal(AB, m01, m20, 1),
          Normal(m01, BC, m12, 2), Normal(m12, CA, m20, 1), Normal(m01, m12, m20, 2)}},
    };
    PaintDecoder decoder;
    PaintSubdivision decoded;
    for (Case const& test : cases)
    {
        SCOPED_TRACE(test.what);
        ASSERT_EQ("", decoder.Decode(test.code, decoded));
        EXPECT_EQ(std::multiset<Leaf>(test.leaves.begin(), test.leaves.end()), Leaves(decoded));
    }
    // Siblings share the midpoints of their common sides.
    ASSERT_EQ("", decoder.Decode("400484833", decoded));
    EXPECT_EQ(6u, decoded.midpoints.size());
    ASSERT_EQ("", decoder.Decode(Chain(kMaxPaintDepth), decoded));
    EXPECT_EQ(kMaxPaintDepth + 1, decoded.leaves.size());
}

TEST(PaintCode, BrokenStringsAreRefusedWithTheReason)
{
    std::vector<std::pair<std::string, std::string>> const cases = {
        {"4G", "it holds 'G', which is not a hexadecimal digit"},
        {"4 ", "it holds ' ', which is not a hexadecimal digit"},
        {"3", "it ends before its subdivision is complete"},
        {"C", "it ends before its subdivision is complete"},
        {"44", "it holds 1 digits beyond its subdivision"},
        {"4D", "a split names side 3 of a triangle"},
        {Chain(kMaxPaintDepth + 1), "its subdivision is deeper than 20 levels"},
        {std::string(kMaxPaintDigits + 1, '4'), "it is 65537 digits long, more than the 65536 a painted "
                                                "triangle may have"},
        {std::string(std::size_t(4) << 20, '4'), "it is 4194304 digits long, more than the 65536 a painted "
                                                 "triangle may have"},
    };
    PaintDecoder decoder;
    PaintSubdivision decoded;
    for (auto const& [code, reason] : cases)
    {
        SCOPED_TRACE(code.substr(0, 40));
        EXPECT_EQ(reason, decoder.Decode(code, decoded));
    }
}
