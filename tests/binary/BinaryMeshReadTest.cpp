// Reading meshes whose vertices and triangles lie in the model's binary
// part: blocks found by position alone, both triangle format words, and
// blocks from files of strangers that claim more than the part holds.
#include "binary/BinaryTestSupport.h"
#include "mesh/MeshReadSupport.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlPoint.h"

#include <gtest/gtest.h>

namespace
{
constexpr char kPart[] = "3D/3dmodel.model.bin";

// Four points of a unit square (12 bytes each) and its two triangles.
std::string const kSquare = Records<float>({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0});
std::string const kSquareTriangles = Records<std::int32_t>({0, 1, 2, 0, 2, 3});

std::int32_t Internal(double millimetres)
{
    return static_cast<std::int32_t>(millimetres * OndSDK::Common::MInternalUnits::Get() + 0.5);
}

std::vector<std::int32_t> Xs(MStlBase const& stl)
{
    std::vector<std::int32_t> xs;
    for (auto point = stl.BeginPoint(); point != stl.EndPoint(); ++point)
    {
        xs.push_back(point->GetX());
    }
    return xs;
}
} // namespace

// Two meshes give four blocks, vertices and triangles in turn, each found
// only by the sum of the sizes before it.
TEST(BinaryMeshRead, TwoMeshesReadFourBlocksAtSummedPositions)
{
    std::string const triangle = Records<float>({5, 0, 0, 6, 0, 0, 5, 1, 0});
    std::string const part = kSquare + kSquareTriangles + triangle + Records<std::int32_t>({0, 1, 2});
    MeshRead read(BinaryModel(BinObject(10, R"(format="float3" pos="0" count="4")",
                                        R"(format="int32_3" pos="48" count="2")") +
                              BinObject(11, R"(format="float3" pos="72" count="3")",
                                        R"(format="int32_3" pos="108" count="1")")),
                  {}, {{kPart, part}});
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ(4u, read.Stl(10).GetNumberOfPoints());
    EXPECT_EQ(2u, read.Stl(10).GetNumberOfTriangles());
    EXPECT_EQ((std::vector<std::int32_t>{0, Internal(1), Internal(1), 0}), Xs(read.Stl(10)));
    EXPECT_EQ(3u, read.Stl(11).GetNumberOfPoints());
    EXPECT_EQ(1u, read.Stl(11).GetNumberOfTriangles());
    EXPECT_EQ((std::vector<std::int32_t>{Internal(5), Internal(6), Internal(5)}), Xs(read.Stl(11)));
    EXPECT_EQ(2u, read.Stl(10).TriangleAt(0).GetPointIndex(2));
}

// The attributes that decide what is read, and those that don't.
TEST(BinaryMeshRead, WhatABinElementReads)
{
    struct Case
    {
        char const* name;
        std::string binary; // the model's "binary" attribute and the entry's name
        std::string vertices;
        std::string triangles;
        std::string unit;
        std::size_t points;
        std::size_t triangleCount;
        std::int32_t secondX;
    };
    Case const cases[] = {
        {"int32_3", "/3D/3dmodel.model.bin", R"(format="float3" pos="0" count="4")",
         R"(format="int32_3" pos="48" count="2")", "millimeter", 4, 2, Internal(1)},
        {"long3 reads as int32_3", "/3D/3dmodel.model.bin", R"(format="float3" pos="0" count="4")",
         R"(format="long3" pos="48" count="2")", "millimeter", 4, 2, Internal(1)},
        {"the part of \"binary\", not of \"ref\"", "/3D/data.bin",
         R"(ref="/3D/3dmodel.model.bin" format="float3" pos="0" count="4")",
         R"(ref="/elsewhere.bin" format="int32_3" pos="48" count="2")", "millimeter", 4, 2, Internal(1)},
        {"count 0 reads nothing", "/3D/3dmodel.model.bin", R"(format="float3" pos="0" count="0")",
         R"(format="int32_3" pos="48" count="0")", "millimeter", 0, 0, 0},
        {"no count, as written for no records: skipped", "/3D/3dmodel.model.bin",
         R"(format="float3" pos="0")", R"(format="int32_3" pos="48")", "millimeter", 0, 0, 0},
        {"no pos: skipped", "/3D/3dmodel.model.bin", R"(format="float3" count="4")",
         R"(format="int32_3" count="2")", "millimeter", 0, 0, 0},
        {"float3 under triangles reads nothing", "/3D/3dmodel.model.bin",
         R"(format="float3" pos="0" count="4")", R"(format="float3" pos="48" count="2")", "millimeter", 4, 0,
         Internal(1)},
        {"unknown formats read nothing, even far away", "/3D/3dmodel.model.bin",
         R"(format="double3" pos="99999" count="4")", R"(format="int64_3" pos="-5" count="2")", "millimeter",
         0, 0, 0},
        {"coordinates in the model's unit", "/3D/3dmodel.model.bin", R"(format="float3" pos="0" count="4")",
         R"(format="int32_3" pos="48" count="2")", "inch", 4, 2, Internal(25.4)},
    };
    for (Case const& entry : cases)
    {
        MeshRead read(BinaryModel(BinObject(10, entry.vertices, entry.triangles), entry.binary, entry.unit),
                      {}, {{entry.binary.substr(1), kSquare + kSquareTriangles}});
        ASSERT_TRUE(read.ok) << entry.name << ": " << read.Error();
        EXPECT_EQ(entry.points, read.Stl().GetNumberOfPoints()) << entry.name;
        EXPECT_EQ(entry.triangleCount, read.Stl().GetNumberOfTriangles()) << entry.name;
        if (entry.points > 1)
        {
            EXPECT_EQ(entry.secondX, Xs(read.Stl())[1]) << entry.name;
        }
    }
}

// Blocks are read as the part lies: in the order the model names them,
// straight from the archive; out of that order (two objects on one block,
// triangles stored before vertices) through the unpacked part. Each block
// may end exactly where the part ends, and no byte further.
TEST(BinaryMeshRead, BlocksInAnyOrderUpToTheLastByte)
{
    std::string const trianglesFirst = kSquareTriangles + kSquare;
    struct Case
    {
        char const* name;
        std::string resources;
        std::string part;
        std::string says; // empty for a read that succeeds
    };
    Case const cases[] = {
        {"in order, the triangles ending with the part",
         BinObject(10, R"(format="float3" pos="0" count="4")", R"(format="int32_3" pos="48" count="2")"),
         kSquare + kSquareTriangles, ""},
        {"the part one byte short of the last triangle",
         BinObject(10, R"(format="float3" pos="0" count="4")", R"(format="int32_3" pos="48" count="2")"),
         (kSquare + kSquareTriangles).substr(0, 71),
         "A block of 2 records at position 48 lies beyond the end"},
        {"triangles before vertices, the vertices ending with the part",
         BinObject(10, R"(format="float3" pos="24" count="4")", R"(format="int32_3" pos="0" count="2")"),
         trianglesFirst, ""},
        {"two objects on the same blocks",
         BinObject(10, R"(format="float3" pos="0" count="4")", R"(format="int32_3" pos="48" count="2")") +
             BinObject(11, R"(format="float3" pos="0" count="4")", R"(format="int32_3" pos="48" count="2")"),
         kSquare + kSquareTriangles, ""},
        {"a part of no bytes", BinObject(10, R"(format="float3" pos="0" count="1")", ""), "",
         "A block of 1 records at position 0 lies beyond the end of the binary part /3D/3dmodel.model.bin of "
         "0 "
         "bytes."},
    };
    for (Case const& entry : cases)
    {
        MeshRead read(BinaryModel(entry.resources), {}, {{kPart, entry.part}});
        if (!entry.says.empty())
        {
            EXPECT_FALSE(read.ok) << entry.name;
            EXPECT_NE(std::string::npos, read.Error().find(entry.says)) << entry.name << ": " << read.Error();
            continue;
        }
        ASSERT_TRUE(read.ok) << entry.name << ": " << read.Error();
        for (int id : {10, 11})
        {
            if (read.Mesh(id) == nullptr)
            {
                continue;
            }
            EXPECT_EQ((std::vector<std::int32_t>{0, Internal(1), Internal(1), 0}), Xs(read.Stl(id)))
                << entry.name;
            ASSERT_EQ(2u, read.Stl(id).GetNumberOfTriangles()) << entry.name;
            EXPECT_EQ(3u, read.Stl(id).TriangleAt(1).GetPointIndex(2)) << entry.name;
        }
    }
}

// A "bin" elsewhere than under "vertices" or "triangles" is not data.
TEST(BinaryMeshRead, BinOutsideVerticesAndTrianglesIsSkipped)
{
    MeshRead read(BinaryModel(R"(<object id="10"><mesh><vertices/><bin format="float3" pos="0" count="4"/>
        <triangles/></mesh></object>)"),
                  {}, {{kPart, kSquare}});
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ(0u, read.Stl().GetNumberOfPoints());
}

// Blocks that claim more than the part holds fail the read with a message
// naming the problem, before anything is read or reserved.
TEST(BinaryMeshRead, HostileBlocksFailTheRead)
{
    struct Case
    {
        char const* name;
        std::string model;
        bool withPart;
        int status;
        std::string says;
    };
    std::string const goodVertices = R"(format="float3" pos="0" count="4")";
    std::string const goodTriangles = R"(format="int32_3" pos="48" count="2")";
    Case const cases[] = {
        {"pos beyond the part",
         BinaryModel(BinObject(10, R"(format="float3" pos="4000" count="1")", goodTriangles)), true, 0,
         "A block of 1 records at position 4000 lies beyond the end of the binary part "
         "/3D/3dmodel.model.bin of 84 bytes."},
        {"count beyond the part",
         BinaryModel(BinObject(10, R"(format="float3" pos="12" count="7")", goodTriangles)), true, 0,
         "A block of 7 records at position 12 lies beyond the end"},
        {"count that no memory holds",
         BinaryModel(BinObject(10, goodVertices, R"(format="int32_3" pos="48" count="4611686018427387904")")),
         true, 0, "A block of 4611686018427387904 records at position 48 lies beyond the end"},
        {"count with a sign",
         BinaryModel(BinObject(10, R"(format="float3" pos="0" count="-1")", goodTriangles)), true, 0,
         "A block of 18446744073709551615 records at position 0 lies beyond the end"},
        {"negative pos", BinaryModel(BinObject(10, R"(format="float3" pos="-12" count="1")", goodTriangles)),
         true, 0, "A block of the binary part /3D/3dmodel.model.bin starts at the negative position -12."},
        {"index beyond the vertex block",
         BinaryModel(BinObject(10, R"(format="float3" pos="0" count="3")", goodTriangles)), true, 0,
         "A triangle refers to vertex 3 of 3 vertices."},
        {"negative index", BinaryModel(BinObject(10, goodVertices, R"(format="int32_3" pos="72" count="1")")),
         true, 0, "A triangle refers to vertex -1 of 4 vertices."},
        {"no binary attribute on the model", BinaryModel(BinObject(10, goodVertices, goodTriangles), ""),
         true, 0, "the model names no binary part"},
        {"binary part missing from the archive", BinaryModel(BinObject(10, goodVertices, goodTriangles)),
         false, 2, "File not found in archive: 3D/3dmodel.model.bin"},
        {"a block one record past the end",
         BinaryModel(BinObject(10, goodVertices, R"(format="int32_3" pos="48" count="4")")), true, 0,
         "A block of 4 records at position 48 lies beyond the end of the binary part "
         "/3D/3dmodel.model.bin of 84 bytes."},
    };
    for (Case const& entry : cases)
    {
        std::vector<std::pair<std::string, std::string>> entries;
        if (entry.withPart)
        {
            entries.emplace_back(kPart, kSquare + kSquareTriangles + Records<std::int32_t>({0, -1, 1}));
        }
        MeshRead read(entry.model, {}, entries);
        EXPECT_FALSE(read.ok) << entry.name;
        EXPECT_EQ(entry.status, read.reader->GetContext().m_status) << entry.name;
        EXPECT_NE(std::string::npos, read.Error().find(entry.says)) << entry.name << ": " << read.Error();
    }
}
