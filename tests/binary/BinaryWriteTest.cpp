// Writing meshes into the model's binary part: what the package names and
// holds, the part carried over by a read package, and cancelling. The
// converter's --binary, there and back (points, object colour, no triangle
// colours), is in the round trip of every real file.
#include "export/ExportSupport.h"
#include "import/ImportSupport.h"
#include "support/MeshDump.h"

#include "format3mf/ArchivedCustomFile.h"
#include "format3mf/Importer.h"
#include "format3mf/PackageRead.h"
#include "format3mf/PackageWrite.h"

#include "common/IProgressDelegate.h"
#include "common/MInternalUnits.h"
#include "triangles/MStlPoint.h"

#include <boost/filesystem.hpp>

#include <cstring>

#include <gtest/gtest.h>

namespace
{
// Cancels at the first report of progress, in the middle of a write.
class CancelOnProgress : public OndSDK::Common::IProgressDelegate
{
protected:
    void OnProgress(double) override { Cancel(); }
};

// The numbers of a part's bytes from `offset` on.
template <typename T>
std::vector<T> Numbers(std::string const& bytes, std::size_t offset, std::size_t count)
{
    std::vector<T> numbers(count);
    std::memcpy(numbers.data(), bytes.data() + offset, count * 4);
    return numbers;
}

std::unique_ptr<MStlBase> OneTriangle()
{
    auto mesh = std::make_unique<MStlBase>();
    MStlPoint* const a = mesh->AddPoint(50000, 0, 0);
    MStlPoint* const b = mesh->AddPoint(60000, 0, 0);
    MStlPoint* const c = mesh->AddPoint(50000, 10000, 0);
    mesh->AddTriangle(a, b, c);
    return mesh;
}

// Writes the meshes as a binary package in the given unit.
void WriteBinary(std::wstring const& path, std::vector<MStlBase*> const& meshes,
                 std::wstring const& unit = L"millimeter",
                 std::shared_ptr<OndSDK::Common::IProgressDelegate> const& progress = {},
                 bool separateFiles = false)
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
    options.Objects.m_separateFiles = separateFiles;
    Format_3MF::PackageWrite(&package, options).Write(path, progress);
}

} // namespace

// The model names its part, which has its content type and a relationship
// from the model; the part holds four blocks, unused points left out,
// indices from 0 and millimetres although the model is in inches.
TEST(BinaryWrite, PackageNamesThePartWhichHoldsFourBlocks)
{
    PackageScratch scratch;
    std::wstring const path = scratch.File("binary.3mf");
    auto const square = MakeSquare(10000, true);
    auto const triangle = OneTriangle();
    WriteBinary(path, {square.get(), triangle.get()}, L"inch");

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
                      R"(<bin ref="/3D/3dmodel.model.bin" format="float3" pos="0" count="4"/>)",
                      R"(<bin ref="/3D/3dmodel.model.bin" format="int32_3" pos="48" count="2"/>)",
                      R"(<bin ref="/3D/3dmodel.model.bin" format="float3" pos="72" count="3"/>)",
                      R"(<bin ref="/3D/3dmodel.model.bin" format="int32_3" pos="108" count="1"/>)"});
    std::string const part = EntryText(path, "3D/3dmodel.model.bin");
    ASSERT_EQ(120u, part.size());
    double const unit = OndSDK::Common::MInternalUnits::Get();
    EXPECT_EQ((std::vector<float>{0, 0, 0, float(10000 / unit), 0, 0}), Numbers<float>(part, 0, 6));
    EXPECT_EQ((std::vector<std::int32_t>{0, 1, 2, 0, 2, 3}), Numbers<std::int32_t>(part, 48, 6));
    EXPECT_EQ((std::vector<std::int32_t>{0, 1, 2}), Numbers<std::int32_t>(part, 108, 3));
}

// Each model part has a binary part of its own, related from it.
TEST(BinaryWrite, ObjectsInPartsOfTheirOwnHaveBinaryPartsOfTheirOwn)
{
    PackageScratch scratch;
    std::wstring const path = scratch.File("separate.3mf");
    auto const square = MakeSquare(10000, true);
    auto const triangle = OneTriangle();
    WriteBinary(path, {square.get(), triangle.get()}, L"millimeter", {}, true);

    ExpectXml(EntryText(path, "3D/Objects/Object(2).model"),
              {R"( binary="/3D/Objects/Object(2).model.bin")"});
    ExpectXml(EntryText(path, "3D/Objects/_rels/Object(2).model.rels"),
              {R"(Target="/3D/Objects/Object(2).model.bin")"});
    EXPECT_EQ(36u + 12u, EntryText(path, "3D/Objects/Object(2).model.bin").size());
    auto const meshes = ImportMeshes(path);
    ASSERT_EQ(2u, meshes.size());
    EXPECT_EQ(2u, meshes[0]->GetNumberOfTriangles());
    EXPECT_EQ(PointsOf(*triangle, true), PointsOf(*meshes[1], true));
}

// Read as a package, the binary part is carried as a custom file that stays
// in the archive until its path is asked for; then the path holds the
// part's bytes, and writing the package again carries them over.
TEST(BinaryWrite, ReadPackageCarriesTheBinaryPartLazily)
{
    PackageScratch scratch;
    std::wstring const path = scratch.File("binary.3mf");
    auto const square = MakeSquare(10000, true);
    WriteBinary(path, {square.get()});
    std::string const bytes = EntryText(path, "3D/3dmodel.model.bin");
    ASSERT_EQ(4u * 12u + 2u * 12u, bytes.size());

    std::vector<std::unique_ptr<MStlBase>> meshes;
    Format_3MF::ModelFileStlBase model;
    Format_3MF::Package package(&model);
    Format_3MF::PackageRead reader(&package, {});
    ASSERT_TRUE(reader.Read(path, nullptr));
    // The flattened meshes are the reader's caller's; the model writes them
    // again below.
    for (std::uint64_t i = 0; i < model.GetNumStls(); ++i)
    {
        meshes.emplace_back(model.GetStl(i));
    }
    std::vector<Format_3MF::CustomFile const*> files;
    package.GetCustomFiles(files);
    auto const carried = std::find_if(files.begin(), files.end(),
                                      [](auto const* file)
                                      { return dynamic_cast<Format_3MF::ArchivedCustomFile const*>(file); });
    ASSERT_NE(files.end(), carried);
    std::wstring const copy = (*carried)->GetPath();
    EXPECT_EQ(std::vector<unsigned char>(bytes.begin(), bytes.end()), ReadBytes(copy));
    EXPECT_EQ(copy, (*carried)->GetPath()) << "unpacked once";

    std::wstring const again = scratch.File("again.3mf");
    Format_3MF::PackageWrite(&package, {}).Write(again, nullptr);
    EXPECT_EQ(bytes, EntryText(again, "3D/3dmodel.model.bin"));
}

// A cancel while the package is written leaves neither the package nor the
// temporary file of the binary part.
TEST(BinaryWrite, CancelLeavesNoFiles)
{
    PackageScratch scratch;
    std::wstring const path = scratch.File("cancelled.3mf");
    std::set<std::string> const before = scratch.Files();
    auto const square = MakeSquare(10000, true);
    EXPECT_THROW(WriteBinary(path, {square.get()}, L"millimeter", std::make_shared<CancelOnProgress>()),
                 Format_3MF::PackageWrite::Canceled);
    EXPECT_EQ(before, scratch.Files());
    // Written again without a cancel, the same mesh makes a whole package.
    WriteBinary(path, {square.get()});
    EXPECT_EQ(2u, ImportMeshes(path).at(0)->GetNumberOfTriangles());
}
