// The exporter from the caller's side: its result codes, the caller's mesh
// and mask as they were on every way out, no file left by a failure or a
// cancel, what is left out of the file, and what the importer reads back.
#include "export/ExportSupport.h"
#include "import/ImportSupport.h"
#include "support/MeshDump.h"
#include "triangles/MeshTestSupport.h"

#include "format3mf/Exporter.h"

#include "triangles/MStlColorMaskTrianglePoints.h"

#include <gtest/gtest.h>

#include <fstream>

// Without a mesh or a path nothing is touched. Success, a failed archive and
// a cancel all leave the mesh's coordinates and the mask's label as they
// were; a cancel also removes the file, one that was there before included.
TEST(Exporter, MeshAndMaskRestoredOnEveryWayOut)
{
    struct Case
    {
        char const* name;
        bool mesh;
        char const* path; // in the scratch folder; none when empty
        bool cancel;
        bool existedBefore;
        format3mf::Export::ErrorStatus status;
        bool fileAfter;
    };
    Case const cases[] = {
        {"no mesh, no path", false, "", false, false, format3mf::Export::InvalidInput, false},
        {"no path", true, "", false, false, format3mf::Export::InvalidInput, false},
        {"no mesh", false, "out.3mf", false, false, format3mf::Export::InvalidInput, false},
        {"written", true, "out.3mf", false, false, format3mf::Export::Success, true},
        {"archive fails", true, "missing-folder/x.3mf", false, false, format3mf::Export::ArchiveError, false},
        {"cancelled", true, "out.3mf", true, false, format3mf::Export::Canceled, false},
        {"cancelled over an old file", true, "out.3mf", true, true, format3mf::Export::Canceled, false},
    };
    for (Case const& c : cases)
    {
        for (std::wstring const label : {L"", L"mine"})
        {
            SCOPED_TRACE(c.name);
            PackageScratch scratch;
            std::wstring const path = scratch.File(*c.path ? c.path : "never.3mf");
            if (c.existedBefore)
            {
                std::ofstream(StringConversion::ConvertNativeToUTF8(path)) << "old";
            }
            auto mesh = std::make_unique<MStlBase>();
            MakePyramid(*mesh);
            auto mask = std::make_unique<MStlColorMaskTrianglePoints>(&mesh->GetTriangleMaskOwner());
            mask->SetUserLabel(label);
            auto const before = PointsOf(*mesh);
            format3mf::Export exporter;
            if (c.mesh)
            {
                exporter.SetStl(mesh.get(), MakeAwkwardTransform(), mask.get());
            }
            if (*c.path)
            {
                exporter.SetFilePath(path);
            }
            if (c.cancel)
            {
                exporter.SetProgressDelegate(std::make_shared<CancelOnProgress>());
            }
            EXPECT_EQ(c.status, exporter.Operate());
            EXPECT_EQ(before, PointsOf(*mesh));
            EXPECT_EQ(label, mask->GetUserLabel());
            // The writer's masks on the mesh are gone with it.
            EXPECT_EQ(1u, mesh->GetTriangleMaskOwner().GetMasks().size());
            EXPECT_TRUE(mesh->GetPointMaskOwner().GetMasks().empty());
            EXPECT_EQ(c.fileAfter, boost::filesystem::exists(StringConversion::ConvertNativeToUTF8(path)));
            EXPECT_EQ(c.status == format3mf::Export::ArchiveError, !exporter.GetErrorMessage().empty());
        }
    }
}

// Corner colours come from the mask attached to the mesh; the importer shows
// a triangle in the colour of its first corner, and the texture with the
// coordinates that were given.
TEST(Exporter, CornerColoursAndATextureReadBack)
{
    PackageScratch scratch;
    std::wstring const path = scratch.File("coloured.3mf");
    auto mesh = MakeSquare();
    MStlPoint* const e = mesh->AddPoint(0, 0, 10000);
    mesh->AddTriangle(&mesh->PointAt(0), &mesh->PointAt(1), e);
    auto mask = std::make_unique<MStlColorMaskTrianglePoints>(&mesh->GetTriangleMaskOwner());
    std::uint32_t const corners[2][3] = {{0x0000ff, 0x00ff00, 0xff0000}, {0x123456, 0x123456, 0x654321}};
    for (std::uint32_t triangle = 0; triangle < 2; ++triangle)
    {
        for (int corner = 0; corner < 3; ++corner)
        {
            mask->GetInfo(triangle).m_colors[corner] = MStlColor(corners[triangle][corner]);
        }
    }
    auto const red = MakeBitmap(200);
    AddTexture(*mesh, L"red", red, {0, 2}, 0.25f);
    MMTransformMatrix translation;
    translation.AccessElement(0, 3) = 50000.0; // internal units
    translation.VerifyAndSetClass();
    translation.ComputeInverse();
    format3mf::Export exporter;
    exporter.SetStl(mesh.get(), translation, nullptr);
    exporter.SetFilePath(path);
    ASSERT_EQ(format3mf::Export::Success, exporter.Operate());

    auto const meshes = ImportMeshes(path);
    ASSERT_EQ(1u, meshes.size());
    MStlBase& back = *meshes[0];
    EXPECT_EQ(50000, back.PointAt(0).GetX()) << "placed by the transformation";
    EXPECT_EQ((std::vector<long long>{0x0000ff, 0x123456, -1}), ColoursOf(back));
    ASSERT_EQ(1u, back.GetTextures().size());
    MStlTexture const* texture = back.GetTextures()[0];
    EXPECT_EQ(*red, texture->GetBitmap());
    EXPECT_EQ(2u, texture->GetNumTriangles());
    MStlTextureCoordinates coordinates;
    ASSERT_TRUE(texture->GetCoordinates(&back.TriangleAt(2), coordinates, true));
    EXPECT_FLOAT_EQ(0.25f, coordinates.m_u1);
    EXPECT_FLOAT_EQ(0.25f, coordinates.m_v1);
    EXPECT_FLOAT_EQ(0.75f, coordinates.m_u3);
    EXPECT_FLOAT_EQ(0.75f, coordinates.m_v3);
}

// An empty mesh still makes a package, in which the importer finds no
// geometry. A texture without pixels (one left undecoded on reading) has no
// image to write: the file is written without it, and the exporter says so.
TEST(Exporter, WhatCannotBeWrittenIsLeftOut)
{
    PackageScratch scratch;
    MStlBase empty;
    format3mf::Export exporter;
    exporter.SetStl(&empty, MMTransformMatrix(), nullptr);
    std::wstring const nothing = scratch.File("empty.3mf");
    exporter.SetFilePath(nothing);
    ASSERT_EQ(format3mf::Export::Success, exporter.Operate());
    EXPECT_EQ(std::string::npos, PythonCheck(nothing).find("python failed"));
    EXPECT_TRUE(ImportMeshes(nothing).empty());

    auto mesh = MakeSquare();
    AddTexture(*mesh, L"blank", nullptr, {0});
    auto const before = PointsOf(*mesh);
    format3mf::Export blank;
    blank.SetStl(mesh.get(), MakeAwkwardTransform(), nullptr);
    std::wstring const file = scratch.File("blank.3mf");
    blank.SetFilePath(file);
    ASSERT_EQ(format3mf::Export::Success, blank.Operate());
    ASSERT_EQ(1u, blank.GetWarnings().size());
    EXPECT_NE(std::wstring::npos, blank.GetWarnings()[0].find(L"\"blank\"")) << blank.GetWarnings()[0];
    EXPECT_EQ(std::string::npos, EntryText(file, "3D/3dmodel.model").find("texture2d"));
    EXPECT_EQ(before, PointsOf(*mesh));
}
