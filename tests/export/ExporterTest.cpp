// The exporter from the caller's side: its result codes, the caller's mesh
// and mask as they were on every way out, a file that was there kept by a
// failure or a cancel, what is left out of the file, and what the importer reads back.
#include "export/ExportSupport.h"
#include "import/ImportSupport.h"
#include "triangles/MeshTestSupport.h"

#include "format3mf/Exporter.h"

#include "triangles/MStlColorMaskTrianglePoints.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

// Without a mesh or a path nothing is touched. Success, a failed archive and
// a cancel all leave the mesh's coordinates and the mask's label as they
// were; a cancel also removes the file, one that was there before included.
// The file written reads back placed by the transformation, a triangle in
// the colour of the first of its corners in the mask; a texture without
// pixels (one left undecoded on reading) has no image to write: the file is
// written without it, and the exporter says so.
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
    };
    Case const cases[] = {
        {"no mesh, no path", false, "", false, false, format3mf::Export::InvalidInput},
        {"no path", true, "", false, false, format3mf::Export::InvalidInput},
        {"no mesh", false, "out.3mf", false, false, format3mf::Export::InvalidInput},
        {"written", true, "out.3mf", false, false, format3mf::Export::Success},
        {"written over an old file", true, "out.3mf", false, true, format3mf::Export::Success},
        {"archive fails", true, "missing-folder/x.3mf", false, false, format3mf::Export::ArchiveError},
        {"cancelled", true, "out.3mf", true, false, format3mf::Export::Canceled},
        {"cancelled over an old file", true, "out.3mf", true, true, format3mf::Export::Canceled},
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
            for (int corner = 0; corner < 3; ++corner)
            {
                mask->GetInfo(0u).m_colors[corner] = MStlColor(0x0000ffu << (8 * corner));
            }
            AddTexture(*mesh, L"blank", nullptr, {1});
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
            // Only a whole write replaces a file that was there.
            bool const written = c.status == format3mf::Export::Success;
            std::string const narrow = StringConversion::ConvertNativeToUTF8(path);
            EXPECT_EQ(written || c.existedBefore, boost::filesystem::exists(narrow));
            if (c.existedBefore && !written)
            {
                std::ifstream in(narrow);
                EXPECT_EQ("old", std::string(std::istreambuf_iterator<char>(in), {}));
            }
            EXPECT_EQ(c.status == format3mf::Export::ArchiveError, !exporter.GetErrorMessage().empty());
            ASSERT_EQ(written ? 1u : 0u, exporter.GetWarnings().size());
            if (written)
            {
                EXPECT_NE(std::wstring::npos, exporter.GetWarnings()[0].find(L"\"blank\""));
                EXPECT_EQ(std::string::npos, EntryText(path, "3D/3dmodel.model").find("texture2d"));
                auto const back = ImportMeshes(path);
                ASSERT_EQ(1u, back.size());
                EXPECT_NEAR(1234.56, back[0]->PointAt(0).GetX(), 1) << "placed by the transformation";
                EXPECT_EQ((std::vector<long long>{0x0000ff, -1, -1, -1, -1, -1}), ColoursOf(*back[0]));
            }
        }
    }
}
