// The model's binary side part: what a "bin" element reads, blocks found by
// position alone and blocks from files of strangers that claim more than the
// part holds; the element's attributes as printed; and writing meshes into
// the part (what the package names and holds, the part carried over by a
// read package, cancelling). The converter's --binary, there and back and in
// parts of their own, is in the round trip of every real file.
#include "export/ExportSupport.h"
#include "import/SlicerReadSupport.h"
#include "mesh/MeshReadSupport.h"

#include "format3mf/ArchivedCustomFile.h"
#include "format3mf/PackageWrite.h"

#include "binary/BinaryRefXML.h"
#include "common/MInternalUnits.h"
#include "sax/SaxUtilities.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <tuple>

namespace
{
// Little-endian 32-bit numbers, as the part holds them on this machine.
template <typename T>
std::string Records(std::initializer_list<T> values)
{
    std::string bytes(values.size() * 4, '\0');
    std::memcpy(&bytes[0], values.begin(), bytes.size());
    return bytes;
}

// Changes one bit of the CRC that the archive's headers, local and central,
// give the entry.
void FlipCrc(std::wstring const& path, std::string const& name)
{
    std::string const file = StringConversion::ConvertNativeToUTF8(path);
    std::string bytes;
    {
        std::ifstream in(file, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(in), {});
    }
    int flipped = 0;
    for (auto const& [signature, crcAt, nameAt] :
         {std::make_tuple(std::string("PK\3\4"), 14, 30), std::make_tuple(std::string("PK\1\2"), 16, 46)})
    {
        for (std::size_t at = bytes.find(signature); at != std::string::npos;
             at = bytes.find(signature, at + 1))
        {
            if (bytes.compare(at + nameAt, name.size(), name) == 0)
            {
                bytes[at + crcAt] ^= 1;
                ++flipped;
            }
        }
    }
    ASSERT_EQ(2, flipped) << "both headers of " << name;
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
}

// An object whose vertices and triangles are each one "bin" element with the
// attributes given.
std::string BinObject(int id, std::string const& vertices, std::string const& triangles)
{
    return "<object id=\"" + std::to_string(id) + "\"><mesh><vertices><bin " + vertices +
           "/></vertices><triangles><bin " + triangles + "/></triangles></mesh></object>";
}

// Objects 10 and 11 as their x coordinates in millimetres and their
// triangles' corners, or the status and first error of a read that failed.
std::string Outcome(MeshRead const& read)
{
    if (!read.ok)
    {
        return "status " + std::to_string(read.reader->GetContext().m_status) + ": " + read.Error();
    }
    std::ostringstream out;
    for (int id : {10, 11})
    {
        if (read.Mesh(id) == nullptr)
        {
            continue;
        }
        out << (id == 11 ? " | " : "") << id << ": x";
        MStlBase const& stl = read.Stl(id);
        for (auto point = stl.BeginPoint(); point != stl.EndPoint(); ++point)
        {
            out << ' ' << point->GetX() / OndSDK::Common::MInternalUnits::Get();
        }
        out << "; t";
        for (auto triangle = stl.BeginTriangle(); triangle != stl.EndTriangle(); ++triangle)
        {
            for (unsigned corner = 0; corner < 3; ++corner)
            {
                out << ' ' << triangle->GetPointIndex(corner);
            }
        }
    }
    return out.str();
}

std::string Printed(Format_3MF::BinaryRef const& ref)
{
    Format_3MF::PackageWriteContext context;
    std::ostringstream stream;
    OndAM::SaxUtilities::WriteOptions options;
    options.m_declaration = false;
    options.m_rootElement = L"bin";
    OndAM::SaxUtilities::WriteStream(stream, Format_3MF::BinaryRefWrite(&ref, &context), options);
    return stream.str();
}

// Writes the meshes as a binary package in the given unit.
void WriteBinary(std::wstring const& path, std::vector<MStlBase*> const& meshes,
                 std::wstring const& unit = L"millimeter",
                 std::shared_ptr<OndSDK::Common::IProgressDelegate> const& progress = {})
{
    Format_3MF::ModelFileStlBase model;
    model.GetUnits().Init(unit);
    for (MStlBase* mesh : meshes)
    {
        model.AddStl(mesh);
    }
    Format_3MF::Package package(&model);
    Format_3MF::PackageWriteOptions options;
    options.IsBinary = true;
    Format_3MF::PackageWrite(&package, options).Write(path, progress);
}
} // namespace

// The attributes that decide what is read and those that don't; blocks in
// the order the model names them (straight from the archive) or out of it
// (through the unpacked part), each up to the last byte of the part and no
// further; and blocks that claim more than the part holds, refused with a
// message before anything is read or reserved.
TEST(BinaryRead, WhatEachBlockReads)
{
    // Four points of a unit square (12 bytes each), its two triangles, and
    // one triangle with a negative index.
    std::string const square = Records<float>({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0});
    std::string const squareTriangles = Records<std::int32_t>({0, 1, 2, 0, 2, 3});
    std::string const all = square + squareTriangles + Records<std::int32_t>({0, -1, 1});
    std::string const vertices = R"(format="float3" pos="0" count="4")";
    std::string const triangles = R"(format="int32_3" pos="48" count="2")";
    std::string const read = "10: x 0 1 1 0; t 0 1 2 0 2 3";
    std::string const beyond = "status 0: A block of ";
    std::string const bin = "/3D/3dmodel.model.bin";
    struct Case
    {
        char const* name;
        std::string resources;
        // What the read gives; for a failure, how its message starts.
        std::string outcome;
        std::string part;
        // The model's "binary" attribute and the entry's name.
        std::string binary = "/3D/3dmodel.model.bin";
        std::string unit = "millimeter";
        bool withPart = true;
        // The CRC that the archive gives the part is off by one bit.
        bool badCrc = false;
    };
    Case const cases[] = {
        {"int32_3, the triangles ending with the part", BinObject(10, vertices, triangles), read,
         square + squareTriangles},
        {"long3 reads as int32_3", BinObject(10, vertices, R"(format="long3" pos="48" count="2")"), read,
         all},
        {"the part of \"binary\", not of \"ref\"",
         BinObject(10, R"(ref="/3D/3dmodel.model.bin" format="float3" pos="0" count="4")",
                   R"(ref="/elsewhere.bin" format="int32_3" pos="48" count="2")"),
         read, all, "/3D/data.bin"},
        {"count 0 reads nothing",
         BinObject(10, R"(format="float3" pos="0" count="0")", R"(format="int32_3" pos="48" count="0")"),
         "10: x; t", all},
        {"no count, as written for no records: skipped",
         BinObject(10, R"(format="float3" pos="0")", R"(format="int32_3" pos="48")"), "10: x; t", all},
        {"no pos: skipped", BinObject(10, R"(format="float3" count="4")", R"(format="int32_3" count="2")"),
         "10: x; t", all},
        {"float3 under triangles reads nothing",
         BinObject(10, vertices, R"(format="float3" pos="48" count="2")"), "10: x 0 1 1 0; t", all},
        {"unknown formats read nothing, even far away",
         BinObject(10, R"(format="double3" pos="99999" count="4")", R"(format="int64_3" pos="-5" count="2")"),
         "10: x; t", all},
        {"coordinates in the model's unit", BinObject(10, vertices, triangles),
         "10: x 0 25.4 25.4 0; t 0 1 2 0 2 3", all, bin, "inch"},
        {"a bin outside vertices and triangles is no data",
         R"(<object id="10"><mesh><vertices/><bin format="float3" pos="0" count="4"/><triangles/></mesh></object>)",
         "10: x; t", all},
        {"two meshes, four blocks at summed positions",
         BinObject(10, vertices, triangles) + BinObject(11, R"(format="float3" pos="72" count="3")",
                                                        R"(format="int32_3" pos="108" count="1")"),
         read + " | 11: x 5 6 5; t 0 1 2",
         square + squareTriangles + Records<float>({5, 0, 0, 6, 0, 0, 5, 1, 0}) +
             Records<std::int32_t>({0, 1, 2})},
        {"triangles before vertices, the vertices ending with the part",
         BinObject(10, R"(format="float3" pos="24" count="4")", R"(format="int32_3" pos="0" count="2")"),
         read, squareTriangles + square},
        {"two objects on the same blocks",
         BinObject(10, vertices, triangles) + BinObject(11, vertices, triangles),
         read + " | 11: x 0 1 1 0; t 0 1 2 0 2 3", all},
        {"the part one byte short of the last triangle", BinObject(10, vertices, triangles),
         beyond + "2 records at position 48 lies beyond the end", (square + squareTriangles).substr(0, 71)},
        {"a part of no bytes", BinObject(10, R"(format="float3" pos="0" count="1")", ""),
         beyond + "1 records at position 0 lies beyond the end of the binary part /3D/3dmodel.model.bin of 0 "
                  "bytes.",
         ""},
        {"pos beyond the part", BinObject(10, R"(format="float3" pos="4000" count="1")", triangles),
         beyond + "1 records at position 4000 lies beyond the end", all},
        {"count beyond the part", BinObject(10, R"(format="float3" pos="12" count="7")", triangles),
         beyond + "7 records at position 12 lies beyond the end", all},
        {"count that no memory holds",
         BinObject(10, vertices, R"(format="int32_3" pos="48" count="4611686018427387904")"),
         beyond + "4611686018427387904 records at position 48 lies beyond the end", all},
        {"count with a sign", BinObject(10, R"(format="float3" pos="0" count="-1")", triangles),
         beyond + "18446744073709551615 records at position 0 lies beyond the end", all},
        {"negative pos", BinObject(10, R"(format="float3" pos="-12" count="1")", triangles),
         "status 0: A block of the binary part /3D/3dmodel.model.bin starts at the negative position -12.",
         all},
        {"index beyond the vertex block", BinObject(10, R"(format="float3" pos="0" count="3")", triangles),
         "status 0: A triangle refers to vertex 3 of 3 vertices.", all},
        {"negative index", BinObject(10, vertices, R"(format="int32_3" pos="72" count="1")"),
         "status 0: A triangle refers to vertex -1 of 4 vertices.", all},
        {"no binary attribute on the model", BinObject(10, vertices, triangles),
         "status 0: A mesh keeps its data in a binary part, but the model names no binary part.", all, ""},
        {"binary part missing from the archive", BinObject(10, vertices, triangles),
         "status 2: File not found in archive: 3D/3dmodel.model.bin", all, bin, "millimeter", false},
        // The blocks end long before the part: only a reader that goes on to
        // its end sees the CRC.
        {"a CRC that only the end of the part shows", BinObject(10, vertices, triangles),
         "status 2: CRC error in an entry", all + std::string(300000, '\7'), bin, "millimeter", true, true},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::string const attribute = c.binary.empty() ? "" : " binary=\"" + c.binary + "\"";
        std::vector<std::pair<std::string, std::string>> entries;
        if (c.withPart)
        {
            entries.emplace_back(c.binary.empty() ? bin.substr(1) : c.binary.substr(1), c.part);
        }
        MeshRead const read(R"(<model unit=")" + c.unit +
                                R"(" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02")" +
                                attribute + "><resources>" + c.resources + "</resources><build/></model>",
                            {}, entries, {},
                            [&](std::wstring const& file)
                            {
                                if (c.badCrc)
                                {
                                    FlipCrc(file, bin.substr(1));
                                }
                            });
        std::string const outcome = Outcome(read);
        if (c.outcome.rfind("status ", 0) == 0)
        {
            EXPECT_EQ(0u, outcome.rfind(c.outcome, 0)) << outcome;
        }
        else
        {
            EXPECT_EQ(c.outcome, outcome);
        }
    }
}

// What is printed for each value, and in which order; what reads back is in
// the table above: no pos or no count skip the block, the ref is not used.
TEST(BinaryRead, PrintedAttributes)
{
    Format_3MF::BinaryRef named(12, 3, L"int32_3");
    named.m_ref = L"/3D/3dmodel.model.bin";
    std::pair<Format_3MF::BinaryRef, std::string> const cases[] = {
        {named, R"(<bin ref="/3D/3dmodel.model.bin" format="int32_3" pos="12" count="3"/>)"},
        {Format_3MF::BinaryRef(0, 5, L"float3"), R"(<bin format="float3" pos="0" count="5"/>)"},
        {Format_3MF::BinaryRef(-1, 5, L"float3"), R"(<bin format="float3" count="5"/>)"},
        // No records: no count.
        {Format_3MF::BinaryRef(36, 0, L"float3"), R"(<bin format="float3" pos="36"/>)"},
        {Format_3MF::BinaryRef(4294967296000, 18446744073709551615u, L""),
         R"(<bin pos="4294967296000" count="18446744073709551615"/>)"},
    };
    for (auto const& [ref, printed] : cases)
    {
        EXPECT_EQ(printed + "\n", Printed(ref));
    }
}

// The model names its part, which has its content type and a relationship
// from the model; the part holds four blocks, every point (the unused one
// too, as the XML keeps it), indices from 0 and millimetres although the
// model is in inches.
TEST(BinaryWrite, PackageNamesThePartWhichHoldsFourBlocks)
{
    PackageScratch scratch;
    std::wstring const path = scratch.File("binary.3mf");
    auto const square = MakeSquare(10000, true);
    auto const second = MakeSquare(20000);
    WriteBinary(path, {square.get(), second.get()}, L"inch");

    EXPECT_EQ(
        "[Content_Types].xml _rels/.rels 3D/3dmodel.model 3D/3dmodel.model.bin 3D/_rels/3dmodel.model.rels\n",
        PythonCheck(path));
    ExpectXml(EntryText(path, "[Content_Types].xml"),
              {R"(Extension="bin" ContentType="application/BinaryModelFileTemporaryContentType")"});
    ExpectXml(EntryText(path, "3D/_rels/3dmodel.model.rels"),
              {R"(Target="/3D/3dmodel.model.bin")", R"(Type="BinaryModelFileTemporaryRelationType")"});
    std::string const model = EntryText(path, "3D/3dmodel.model");
    EXPECT_EQ(4u, Occurrences(model, "<bin "));
    ExpectXml(model, {R"( binary="/3D/3dmodel.model.bin")", "!<vertex ", "!<triangle ",
                      R"(<bin ref="/3D/3dmodel.model.bin" format="float3" pos="0" count="5"/>)",
                      R"(<bin ref="/3D/3dmodel.model.bin" format="int32_3" pos="60" count="2"/>)",
                      R"(<bin ref="/3D/3dmodel.model.bin" format="float3" pos="84" count="4"/>)",
                      R"(<bin ref="/3D/3dmodel.model.bin" format="int32_3" pos="132" count="2"/>)"});
    std::string const part = EntryText(path, "3D/3dmodel.model.bin");
    ASSERT_EQ(156u, part.size());
    double const unit = OndSDK::Common::MInternalUnits::Get();
    float const unused = float(70000 / unit);
    EXPECT_EQ(Records<float>({unused, unused, unused, 0, 0, 0, float(10000 / unit), 0, 0}),
              part.substr(0, 36));
    EXPECT_EQ(Records<std::int32_t>({1, 2, 3, 1, 3, 4}), part.substr(60, 24));
    EXPECT_EQ(Records<float>({0, 0, 0, float(20000 / unit), 0, 0}), part.substr(84, 24));
    EXPECT_EQ(Records<std::int32_t>({0, 1, 2, 0, 2, 3}), part.substr(132, 24));
}

// A cancel while the package is written leaves neither the package nor the
// temporary file of the binary part. Written whole and read as a package, the
// binary part is carried as a custom file that stays in the archive until its
// path is asked for; then the path holds the part's bytes, and writing the
// package again carries them over.
TEST(BinaryWrite, CancelLeavesNoFilesAndAReadPackageCarriesThePartLazily)
{
    PackageScratch scratch;
    std::wstring const path = scratch.File("binary.3mf");
    std::set<std::string> const before = scratch.Files();
    auto const square = MakeSquare(10000, true);
    EXPECT_THROW(WriteBinary(path, {square.get()}, L"millimeter", std::make_shared<CancelOnProgress>()),
                 Format_3MF::PackageWrite::Canceled);
    EXPECT_EQ(before, scratch.Files());
    WriteBinary(path, {square.get()});
    std::string const bytes = EntryText(path, "3D/3dmodel.model.bin");
    ASSERT_EQ(5u * 12u + 2u * 12u, bytes.size());

    // Read as the importer reads, the flattened meshes held by the read; the
    // model writes them again below.
    slicer::StlRead read(path);
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ(2u, read.meshes.at(0)->GetNumberOfTriangles());
    std::vector<Format_3MF::CustomFile const*> files;
    read.package.GetCustomFiles(files);
    auto const carried = std::find_if(files.begin(), files.end(),
                                      [](auto const* file)
                                      { return dynamic_cast<Format_3MF::ArchivedCustomFile const*>(file); });
    ASSERT_NE(files.end(), carried);
    std::wstring const copy = (*carried)->GetPath();
    EXPECT_EQ(std::vector<unsigned char>(bytes.begin(), bytes.end()), ReadBytes(copy));
    EXPECT_EQ(copy, (*carried)->GetPath()) << "unpacked once";

    std::wstring const again = scratch.File("again.3mf");
    Format_3MF::PackageWrite(&read.package, {}).Write(again, nullptr);
    EXPECT_EQ(bytes, EntryText(again, "3D/3dmodel.model.bin"));
}
