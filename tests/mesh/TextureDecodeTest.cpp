// When reading decodes texture images: only those a triangle shows, never
// with textures skipped, and within one pixel budget for the whole package.
#include "mesh/MeshReadSupport.h"
#include "support/BlankPng.h"

#include "format3mf/PackageWrite.h"

#include "triangles/MStlTexture.h"

#include <gtest/gtest.h>

using Format_3MF::Image2D;

namespace
{
// A texture with a group of three coordinates for each image, ids 100, 101
// ... for the textures and 200, 201 ... for their groups, in the order given.
std::string Textures(std::vector<std::string> const& paths)
{
    std::string xml;
    for (std::size_t i = 0; i < paths.size(); ++i)
    {
        std::string const id = std::to_string(100 + i);
        xml += R"(<m:texture2d id=")" + id + R"(" path=")" + paths[i] + R"(" contenttype="image/png"/>)";
        xml += R"(<m:texture2dgroup id=")" + std::to_string(200 + i) + R"(" texid=")" + id +
               R"("><m:tex2coord u="0" v="0"/><m:tex2coord u="1" v="0"/><m:tex2coord u="0" v="1"/>)" +
               "</m:texture2dgroup>";
    }
    return xml;
}

std::string TexturedTriangle(int group)
{
    return R"(<triangle v1="0" v2="1" v3="2" pid=")" + std::to_string(group) + R"(" p1="0" p2="1" p3="2"/>)";
}
} // namespace

TEST(TextureDecode, OnlyImagesThatATriangleShowsAreDecoded)
{
    std::string const png = BlankPng::Make(8, 4, false);
    struct Case
    {
        char const* what;
        std::string triangles;
        bool skipTextures;
        std::uint64_t pixels;
        std::string image;
    };
    for (Case const& c : {
             Case{"no triangle refers to the texture", R"(<triangle v1="0" v2="1" v3="2"/>)", false, 0, png},
             Case{"a triangle shows the texture", TexturedTriangle(200), false, 32, png},
             Case{"textures are skipped", TexturedTriangle(200), true, 0, png},
             // The texture is there, with its triangle, but without pixels.
             Case{"the image part holds no image", TexturedTriangle(200), false, 0, "not an image"},
         })
    {
        SCOPED_TRACE(c.what);
        PackageScratch const folder; // keeps the process's temporary folder for the count below
        Format_3MF::PackageReadOptions options;
        options.IsSkipTextures = c.skipTextures;
        auto read = std::make_unique<MeshRead>(
            MeshModel(Textures({"/3D/Textures/a.png"}) + TriangleObject(c.triangles)), options,
            std::vector<std::pair<std::string, std::string>>{{"3D/Textures/a.png", c.image}});
        ASSERT_TRUE(read->ok) << read->Error();
        EXPECT_EQ(c.pixels, read->reader->GetContext().m_decodedTexturePixels);
        Image2D const* const image = read->Image(L"/3D/Textures/a.png");
        EXPECT_EQ(c.skipTextures, image == nullptr);
        if (image != nullptr)
        {
            EXPECT_EQ(c.pixels == 0, image->m_bitmap->IsEmpty());
            auto const& textures = read->Stl().GetTextures();
            EXPECT_EQ(c.triangles.find("pid") == std::string::npos ? 0u : 1u,
                      textures.empty() ? 0u : textures[0]->GetNumTriangles());
        }
        // An image nothing decoded keeps its extracted file as long as the
        // part lives, and not beyond.
        std::size_t const whileRead = folder.Files().size();
        read.reset();
        EXPECT_EQ(image != nullptr && c.pixels == 0 ? 1u : 0u, whileRead - folder.Files().size());
    }
}

// The budget is taken in the order of the coordinate groups in the file; an
// image that would pass it stays without pixels, with a warning naming it,
// while the read goes on. An image shown by two meshes counts once.
TEST(TextureDecode, TheTexturesOfAPackageShareOnePixelBudget)
{
    std::uint64_t const half = Image2D::kMaxPixelsPerPackage / 2;
    std::uint32_t const width = 8192;
    auto const height = static_cast<std::uint32_t>(half / width);
    std::string const large = BlankPng::Make(width, height, false);
    std::string const resources =
        Textures({"/3D/Textures/a.png", "/3D/Textures/b.png", "/3D/Textures/c.png", "/3D/Textures/a.png"}) +
        TriangleObject(TexturedTriangle(202) + TexturedTriangle(201) + TexturedTriangle(200)) +
        R"(<object id="11"><mesh><vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/>)"
        R"(<vertex x="0" y="1" z="0"/></vertices><triangles>)" +
        TexturedTriangle(203) + "</triangles></mesh></object>";
    MeshRead read(MeshModel(resources), {},
                  {{"3D/Textures/a.png", large},
                   {"3D/Textures/b.png", large},
                   {"3D/Textures/c.png", BlankPng::Make(2, 1, false)}});
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ(Image2D::kMaxPixelsPerPackage, read.reader->GetContext().m_decodedTexturePixels);
    EXPECT_EQ(width, read.Image(L"/3D/Textures/a.png")->m_bitmap->GetWidth());
    EXPECT_EQ(height, read.Image(L"/3D/Textures/b.png")->m_bitmap->GetHeight());
    EXPECT_TRUE(read.Image(L"/3D/Textures/c.png")->m_bitmap->IsEmpty());

    std::vector<std::wstring> const& warnings = read.reader->GetContext().m_warnings;
    ASSERT_EQ(1u, warnings.size());
    EXPECT_NE(std::wstring::npos, warnings[0].find(L"/3D/Textures/c.png")) << warnings[0];
    EXPECT_NE(std::wstring::npos, warnings[0].find(L"2 x 1 pixels")) << warnings[0];
    // The host texture is there, with its coordinates, but without pixels.
    ASSERT_EQ(3u, read.Stl().GetTextures().size());
    EXPECT_EQ(1u, read.Stl().GetTextures()[0]->GetNumTriangles());
}

// A package read and written again carries an image that nothing decoded as
// the bytes it came in, since there are no pixels to write it from.
TEST(TextureDecode, AnImageNeverDecodedIsWrittenAsItCame)
{
    std::string const png = BlankPng::Make(3, 5, true);
    MeshRead read(MeshModel(Textures({"/3D/Textures/a.png"})), {}, {{"3D/Textures/a.png", png}});
    ASSERT_TRUE(read.ok) << read.Error();
    std::wstring const written = read.scratch.File("written.3mf");
    ASSERT_TRUE(Format_3MF::PackageWrite(&read.package, {}).Write(written, nullptr));
    EXPECT_EQ(png, EntryText(written, "3D/Textures/a.png"));
}
