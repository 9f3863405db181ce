// The exporter from the caller's side: its result codes, the caller's mesh
// and mask as they were on every way out, no file left by a cancel, and what
// the importer reads back.
#include "export/ExportSupport.h"
#include "import/ImportSupport.h"
#include "triangles/MeshTestSupport.h"

#include "format3mf/Exception.h"
#include "format3mf/Exporter.h"
#include "format3mf/Importer.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlColorMaskTrianglePoints.h"

#include <boost/filesystem.hpp>

#include <gtest/gtest.h>

#include <fstream>

namespace
{
// Cancels at the first report of progress, that is in the middle of a write.
class CancelOnProgress : public OndSDK::Common::IProgressDelegate
{
protected:
    void OnProgress(double) override { Cancel(); }
};

bool Exists(std::wstring const& path)
{
    return boost::filesystem::exists(StringConversion::ConvertNativeToUTF8(path));
}

MMTransformMatrix Translation(double x, double y, double z)
{
    MMTransformMatrix matrix;
    matrix.AccessElement(0, 3) = x;
    matrix.AccessElement(1, 3) = y;
    matrix.AccessElement(2, 3) = z;
    matrix.VerifyAndSetClass();
    matrix.ComputeInverse();
    return matrix;
}

} // namespace

TEST(Exporter, WithoutMeshOrPathNothingIsTouched)
{
    PackageScratch scratch;
    std::wstring const path = scratch.File("never.3mf");
    auto mesh = MakeSquare();
    format3mf::Export fresh;
    EXPECT_EQ(format3mf::Export::InvalidInput, fresh.Operate());
    format3mf::Export noPath;
    noPath.SetStl(mesh.get(), MMTransformMatrix(), nullptr);
    EXPECT_EQ(format3mf::Export::InvalidInput, noPath.Operate());
    format3mf::Export noMesh;
    noMesh.SetFilePath(path);
    EXPECT_EQ(format3mf::Export::InvalidInput, noMesh.Operate());
    EXPECT_FALSE(Exists(path));
}

// Success, a failed archive and a cancel all leave the mesh's coordinates
// and the mask's label as they were; a cancel also removes the file, one
// that was there before included.
TEST(Exporter, MeshAndMaskRestoredOnEveryWayOut)
{
    struct Case
    {
        char const* name;
        bool unopenable;
        bool cancel;
        bool existedBefore;
        format3mf::Export::ErrorStatus status;
        bool fileAfter;
    };
    Case const cases[] = {
        {"written", false, false, false, format3mf::Export::Success, true},
        {"archive fails", true, false, false, format3mf::Export::ArchiveError, false},
        {"cancelled", false, true, false, format3mf::Export::Canceled, false},
        {"cancelled over an old file", false, true, true, format3mf::Export::Canceled, false},
    };
    for (Case const& entry : cases)
    {
        for (std::wstring const label : {L"", L"mine"})
        {
            PackageScratch scratch;
            std::wstring const path =
                entry.unopenable ? scratch.File("missing-folder/x.3mf") : scratch.File("out.3mf");
            if (entry.existedBefore)
            {
                std::ofstream(StringConversion::ConvertNativeToUTF8(path)) << "old";
            }
            std::unique_ptr<MStlBase> mesh = std::make_unique<MStlBase>();
            MakePyramid(*mesh);
            auto mask = std::make_unique<MStlColorMaskTrianglePoints>(&mesh->GetTriangleMaskOwner());
            mask->SetUserLabel(label);
            auto const before = PointsOf(*mesh);
            format3mf::Export exporter;
            exporter.SetStl(mesh.get(), MakeAwkwardTransform(), mask.get());
            exporter.SetFilePath(path);
            if (entry.cancel)
            {
                exporter.SetProgressDelegate(std::make_shared<CancelOnProgress>());
            }
            EXPECT_EQ(entry.status, exporter.Operate()) << entry.name;
            EXPECT_EQ(before, PointsOf(*mesh)) << entry.name;
            EXPECT_EQ(label, mask->GetUserLabel()) << entry.name;
            // The writer's masks on the mesh are gone with it.
            EXPECT_EQ(1u, mesh->GetTriangleMaskOwner().GetMasks().size()) << entry.name;
            EXPECT_TRUE(mesh->GetPointMaskOwner().GetMasks().empty()) << entry.name;
            EXPECT_EQ(entry.fileAfter, Exists(path)) << entry.name;
            EXPECT_EQ(entry.unopenable, !exporter.GetErrorMessage().empty()) << entry.name;
        }
    }
}

// Corner colours come from the mask attached to the mesh; the importer shows
// a triangle in the colour of its first corner, and each texture with the
// coordinates that were given.
TEST(Exporter, CornerColoursAndTwoTexturesReadBack)
{
    PackageScratch scratch;
    std::wstring const path = scratch.File("coloured.3mf");
    auto mesh = MakeSquare();
    MStlPoint* const e = mesh->AddPoint(0, 0, 10000);
    mesh->AddTriangle(&mesh->PointAt(0), &mesh->PointAt(1), e);
    auto mask = std::make_unique<MStlColorMaskTrianglePoints>(&mesh->GetTriangleMaskOwner());
    std::uint32_t const corners[3][3] = {{0x0000ff, 0x00ff00, 0xff0000}, {0x123456, 0x123456, 0x654321}};
    for (std::uint32_t triangle = 0; triangle < 2; ++triangle)
    {
        for (int corner = 0; corner < 3; ++corner)
        {
            mask->GetInfo(triangle).m_colors[corner] = MStlColor(corners[triangle][corner]);
        }
    }
    auto const red = MakeBitmap(200);
    auto const blue = MakeBitmap(10, 8);
    AddTexture(*mesh, L"red", red, {0, 2});
    AddTexture(*mesh, L"blue", blue, {1, 2}, 0.25f);
    format3mf::Export exporter;
    exporter.SetStl(mesh.get(), Translation(50000.0, 0.0, 0.0), nullptr); // internal units
    exporter.SetFilePath(path);
    ASSERT_EQ(format3mf::Export::Success, exporter.Operate());

    auto const meshes = ImportMeshes(path);
    ASSERT_EQ(1u, meshes.size());
    MStlBase& back = *meshes[0];
    ASSERT_EQ(3u, back.GetNumberOfTriangles());
    EXPECT_EQ(50000, back.PointAt(0).GetX()) << "placed by the transformation";
    EXPECT_EQ(0x0000ffu, back.TriangleAt(0).GetColor().GetRGB());
    EXPECT_EQ(0x123456u, back.TriangleAt(1).GetColor().GetRGB());
    EXPECT_FALSE(back.TriangleAt(2).GetColor().IsDefined());
    ASSERT_EQ(2u, back.GetTextures().size());
    struct Expected
    {
        MStlTexture const* texture;
        std::shared_ptr<OndSDK::Common::ImageBitmap> bitmap;
        std::vector<std::uint32_t> triangles;
        float offset;
    };
    for (Expected const& expected : {Expected{back.GetTextures()[0], red, {0, 2}, 0.0f},
                                     Expected{back.GetTextures()[1], blue, {1, 2}, 0.25f}})
    {
        EXPECT_EQ(*expected.bitmap, expected.texture->GetBitmap());
        EXPECT_EQ(expected.triangles.size(), expected.texture->GetNumTriangles());
        for (std::uint32_t index : expected.triangles)
        {
            MStlTextureCoordinates coordinates;
            ASSERT_TRUE(expected.texture->GetCoordinates(&back.TriangleAt(index), coordinates, true));
            EXPECT_FLOAT_EQ(expected.offset, coordinates.m_u1);
            EXPECT_FLOAT_EQ(0.25f, coordinates.m_v1);
            EXPECT_FLOAT_EQ(expected.offset + 0.5f, coordinates.m_u3);
            EXPECT_FLOAT_EQ(0.75f, coordinates.m_v3);
        }
    }
}

// Nothing but an object with an empty mesh: the importer finds no geometry.
TEST(Exporter, AMeshWithoutTrianglesStillWritesAPackage)
{
    PackageScratch scratch;
    std::wstring const path = scratch.File("empty.3mf");
    MStlBase empty;
    format3mf::Export exporter;
    exporter.SetStl(&empty, MMTransformMatrix(), nullptr);
    exporter.SetFilePath(path);
    ASSERT_EQ(format3mf::Export::Success, exporter.Operate());
    EXPECT_EQ(std::string::npos, PythonCheck(path).find("python failed"));
    EXPECT_TRUE(ImportMeshes(path).empty());
}

// A texture without pixels can't become an image part; the write fails with
// the part's name rather than leave a file that names a missing part.
// A texture without pixels (one left undecoded on reading) has no image to
// write: the file is written without it, and the exporter says so.
TEST(Exporter, ATextureWithoutPixelsIsLeftOutWithAWarning)
{
    PackageScratch scratch;
    auto mesh = MakeSquare();
    AddTexture(*mesh, L"blank", nullptr, {0});
    auto const before = PointsOf(*mesh);
    format3mf::Export exporter;
    exporter.SetStl(mesh.get(), MakeAwkwardTransform(), nullptr);
    std::wstring const file = scratch.File("blank.3mf");
    exporter.SetFilePath(file);
    ASSERT_EQ(format3mf::Export::Success, exporter.Operate());
    ASSERT_EQ(1u, exporter.GetWarnings().size());
    EXPECT_NE(std::wstring::npos, exporter.GetWarnings()[0].find(L"\"blank\"")) << exporter.GetWarnings()[0];
    EXPECT_EQ(std::string::npos, EntryText(file, "3D/3dmodel.model").find("texture2d"));
    EXPECT_EQ(before, PointsOf(*mesh));
}
