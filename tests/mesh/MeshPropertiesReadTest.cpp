// Tests of how triangle properties of a read mesh become colours and textures,
// and of bad references.
#include "mesh/MeshReadSupport.h"

#include "common/ImageBitmapIO.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

using namespace Format_3MF;

namespace
{
constexpr long long kNone = -1;
// Packed with red in the low byte.
constexpr long long kRed = 0x0000FF;
constexpr long long kGreen = 0x00FF00;
constexpr long long kBlue = 0xFF0000;

std::string const kColors =
    R"(<m:colorgroup id="1"><m:color color="#FF0000"/><m:color color="#00FF00"/></m:colorgroup>
    <m:basematerials id="2"><m:base name="Blue" displaycolor="#0000FF"/></m:basematerials>)";

// A 2 by 2 RGB image saved as PNG: the bytes of the entry and the bitmap.
std::pair<std::string, OndSDK::Common::ImageBitmap> Png(PackageScratch const& scratch)
{
    OndSDK::Common::ImageBitmap bitmap;
    bitmap.Create(2, 2, 3);
    for (std::uint8_t i = 0; i < 12; ++i)
    {
        bitmap.GetData()[i] = static_cast<std::uint8_t>(20 * i);
    }
    std::wstring const path = scratch.File("texture.png");
    EXPECT_TRUE(OndSDK::Common::SavePng(bitmap, path));
    std::ifstream in(StringConversion::ConvertNativeToUTF8(path), std::ios::binary);
    return {std::string(std::istreambuf_iterator<char>(in), {}), bitmap};
}

std::array<float, 6> Coordinates(MStlTexture const& texture, MStlTriangle const& triangle)
{
    MStlTextureCoordinates c;
    EXPECT_TRUE(texture.GetCoordinates(&triangle, c, true));
    return {c.m_u1, c.m_v1, c.m_u2, c.m_v2, c.m_u3, c.m_v3};
}
} // namespace

// A triangle takes the colour of its first corner; references that resolve
// to nothing, also to a group defined after the object, leave it uncoloured.
TEST(MeshPropertiesRead, TrianglesTakeTheColorOfTheirFirstCorner)
{
    MeshRead read(MeshModel(kColors + TriangleObject(R"(
        <triangle v1="0" v2="1" v3="2" pid="1" p1="1" p2="0"/>
        <triangle v1="0" v2="1" v3="2" pid="2" p1="0"/>
        <triangle v1="0" v2="1" v3="2"/>
        <triangle v1="0" v2="1" v3="2" pid="1"/>
        <triangle v1="0" v2="1" v3="2" pid="99" p1="0"/>
        <triangle v1="0" v2="1" v3="2" pid="20" p1="0"/>
        <triangle v1="1" v2="2" v3="3" pid="1" p1="0" p2="1" p3="1"/>)") +
                            R"(<m:colorgroup id="20"><m:color color="#FFFFFF"/></m:colorgroup>)"));
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ((std::vector<long long>{kGreen, kBlue, kNone, kNone, kNone, kNone, kRed}),
              TriangleColors(read.Stl()));
    EXPECT_EQ(nullptr, read.Mesh()->m_triangleProperties) << "the references go once applied";
}

// The default property of the object colours the mesh and stands in for a
// missing "pid", but only where the triangle has "p1".
TEST(MeshPropertiesRead, TheObjectsDefaultPropertyColorsTheMeshAndItsTriangles)
{
    std::string const triangles = R"(<triangle v1="0" v2="1" v3="2" p1="1"/><triangle v1="0" v2="1" v3="3"/>
        <triangle v1="0" v2="1" v3="2" pid="2" p1="0"/>)";
    MeshRead colors(MeshModel(kColors + TriangleObject(triangles, R"(pid="1" pindex="0")")));
    ASSERT_TRUE(colors.ok) << colors.Error();
    EXPECT_EQ(kRed, colors.Stl().GetMaterial().GetRGB());
    EXPECT_EQ((std::vector<long long>{kGreen, kNone, kBlue}), TriangleColors(colors.Stl()));

    MeshRead material(MeshModel(kColors + TriangleObject("", R"(pid="2" pindex="0")")));
    ASSERT_TRUE(material.ok) << material.Error();
    EXPECT_EQ(kBlue, material.Stl().GetMaterial().GetRGB());

    MeshRead noIndex(MeshModel(kColors + TriangleObject("", R"(pid="1")")));
    ASSERT_TRUE(noIndex.ok) << noIndex.Error();
    EXPECT_EQ(MStlMaterial().GetRGB(), noIndex.Stl().GetMaterial().GetRGB());
}

// One host texture per coordinate group, showing the bitmap of the image
// part; a multi property of a colour and a texture gives both.
TEST(MeshPropertiesRead, TextureCoordinatesLandInOneHostTexturePerGroup)
{
    PackageScratch images;
    auto const [png, bitmap] = Png(images);
    MeshRead read(MeshModel(R"(<m:colorgroup id="1"><m:color color="#FF0000"/></m:colorgroup>
        <m:texture2d id="5" path="/3D/Textures/tex.png" contenttype="image/png"/>
        <m:texture2dgroup id="6" texid="5"><m:tex2coord u="0" v="0"/><m:tex2coord u="1" v="0"/>
          <m:tex2coord u="0.5" v="1"/></m:texture2dgroup>
        <m:texture2dgroup id="8" texid="5"><m:tex2coord u="0.25" v="0.75"/></m:texture2dgroup>
        <m:multiproperties id="7" pids="1 6"><m:multi pindices="0 0"/><m:multi pindices="0 1"/>
          <m:multi pindices="0 2"/></m:multiproperties>)" +
                            TriangleObject(R"(<triangle v1="0" v2="1" v3="2" pid="7" p1="0" p2="1" p3="2"/>
        <triangle v1="1" v2="3" v3="2" pid="6" p1="2" p2="1" p3="0"/>
        <triangle v1="0" v2="3" v3="2" pid="8" p1="0"/>)")),
                  {}, {{"3D/Textures/tex.png", png}});
    ASSERT_TRUE(read.ok) << read.Error();
    MStlBase const& stl = read.Stl();
    EXPECT_EQ((std::vector<long long>{kRed, kNone, kNone}), TriangleColors(stl));

    ASSERT_EQ(2u, stl.GetTextures().size());
    MStlTexture const& first = *stl.GetTextures()[0];
    MStlTexture const& second = *stl.GetTextures()[1];
    EXPECT_EQ(L"tex.png", first.GetName());
    ASSERT_NE(nullptr, first.GetSharedBitmap());
    EXPECT_EQ(bitmap, *first.GetSharedBitmap());
    EXPECT_EQ(first.GetSharedBitmap(), second.GetSharedBitmap()) << "two groups on one image share it";

    EXPECT_EQ(2u, first.GetNumTriangles());
    EXPECT_EQ((std::array<float, 6>{0, 0, 1, 0, 0.5f, 1}), Coordinates(first, stl.TriangleAt(0)));
    EXPECT_EQ((std::array<float, 6>{0.5f, 1, 1, 0, 0, 0}), Coordinates(first, stl.TriangleAt(1)));
    EXPECT_EQ((std::array<float, 6>{0.25f, 0.75f, 0.25f, 0.75f, 0.25f, 0.75f}),
              Coordinates(second, stl.TriangleAt(2)));
}

// Blanks behind the last id of "pids" leave an undefined id; it names
// nothing and needs no index.
TEST(MeshPropertiesRead, AMultiPropertyPassesOverTheUndefinedIdOfTrailingBlanks)
{
    MeshRead read(MeshModel(kColors + R"(<m:multiproperties id="7" pids="2 1 "><m:multi pindices="0 1"/>
        </m:multiproperties>)" +
                            TriangleObject(R"(<triangle v1="0" v2="1" v3="2" pid="7" p1="0"/>)")));
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ((std::vector<long long>{kGreen}), TriangleColors(read.Stl())) << "the later colour wins";
}

// References that would read outside a group or name nothing fail the read
// with a message naming the problem.
TEST(MeshPropertiesRead, BadReferencesFailWithAMessage)
{
    std::string const texture = R"(<m:texture2d id="5" path="/3D/Textures/none.png"/>)";
    struct Case
    {
        std::string resources;
        std::string triangle;
        std::string objectAttributes;
        std::string message;
    };
    for (Case const& c : {
             Case{kColors, R"(pid="1" p1="2")", "",
                  "Property index 2 is out of range in the property group 1, which holds 2 values"},
             Case{kColors, "", R"(pid="2" pindex="4")",
                  "Property index 4 is out of range in the property group 2"},
             Case{R"(<m:texture2dgroup id="6" texid="77"><m:tex2coord u="0" v="0"/></m:texture2dgroup>)",
                  R"(pid="6" p1="0")", "", "Texture group 6 names the texture 77, which does not exist."},
             Case{texture +
                      R"(<m:texture2dgroup id="6" texid="5"><m:tex2coord u="0" v="0"/></m:texture2dgroup>)",
                  R"(pid="6" p1="0" p2="1")", "", "Property index 1 is out of range in the property group 6"},
             Case{
                 kColors +
                     R"(<m:multiproperties id="7" pids="1 55"><m:multi pindices="0 0"/></m:multiproperties>)",
                 R"(pid="7" p1="0")", "", "Multi property group 7 names 55, which is no property group."},
             Case{kColors +
                      R"(<m:multiproperties id="7" pids="1 2"><m:multi pindices="0"/></m:multiproperties>)",
                  R"(pid="7" p1="0")", "", "A multi property of group 7 has 1 indices for 2 groups."},
             Case{kColors +
                      R"(<m:multiproperties id="7" pids="1 7"><m:multi pindices="0 0"/></m:multiproperties>)",
                  R"(pid="7" p1="0")", "", "Multi property group 7 names the multi property group 7."},
             Case{kColors +
                      R"(<m:multiproperties id="7" pids="1"><m:multi pindices="5"/></m:multiproperties>)",
                  R"(pid="7" p1="0")", "", "Property index 5 is out of range in the property group 1"},
         })
    {
        MeshRead read(MeshModel(c.resources +
                                TriangleObject("<triangle v1=\"0\" v2=\"1\" v3=\"2\" " + c.triangle + "/>",
                                               c.objectAttributes)),
                      {}, {{"3D/Textures/none.png", "not an image"}});
        EXPECT_FALSE(read.ok) << c.message;
        EXPECT_EQ(0u, read.Error().rfind(c.message, 0)) << read.Error();
    }
}

// An image part that holds no image leaves the texture without pixels.
TEST(MeshPropertiesRead, AnUnreadableImageGivesATextureWithoutPixels)
{
    MeshRead read(MeshModel(R"(<m:texture2d id="5" path="/3D/Textures/bad.png"/>
        <m:texture2dgroup id="6" texid="5"><m:tex2coord u="0" v="0"/></m:texture2dgroup>)" +
                            TriangleObject(R"(<triangle v1="0" v2="1" v3="2" pid="6" p1="0"/>)")),
                  {}, {{"3D/Textures/bad.png", "not an image"}});
    ASSERT_TRUE(read.ok) << read.Error();
    ASSERT_EQ(1u, read.Stl().GetTextures().size());
    EXPECT_TRUE(read.Stl().GetTextures()[0]->GetBitmap().IsEmpty());
    EXPECT_EQ(1u, read.Stl().GetTextures()[0]->GetNumTriangles());
}
