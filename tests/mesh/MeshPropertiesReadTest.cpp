// Tests of how triangle properties of a read mesh become colours and textures,
// and of bad references.
#include "mesh/MeshReadSupport.h"
#include "support/BlankPng.h"
#include "support/CaseFile.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace Format_3MF;

namespace
{

std::array<float, 6> Coordinates(MStlTexture const& texture, MStlTriangle const& triangle)
{
    MStlTextureCoordinates c;
    EXPECT_TRUE(texture.GetCoordinates(&triangle, c, true));
    return {c.m_u1, c.m_v1, c.m_u2, c.m_v2, c.m_u3, c.m_v3};
}
} // namespace

// The cases are in mesh_properties_cases.txt, whose head says how they are
// written down. The references go once applied.
TEST(MeshPropertiesRead, ColorsOfTrianglesAndMeshAndBadReferences)
{
    auto const cases = ReadCaseFile(FORMAT3MF_SOURCE_DIR "/tests/mesh/mesh_properties_cases.txt");
    EXPECT_EQ(13u, cases.size());
    // Packed with red in the low byte.
    std::map<std::string, long long> const colors = {
        {"red", 0x0000FF},   {"green", 0x00FF00}, {"blue", 0xFF0000},
        {"white", 0xFFFFFF}, {"none", -1},        {"default", MStlMaterial().GetRGB()}};
    for (CaseRecord const& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::string triangles;
        std::istringstream lines(c.Get("triangles"));
        for (std::string line; std::getline(lines, line);)
        {
            triangles += R"(<triangle v1="0" v2="1" v3="2" )" + (line == "-" ? "" : line) + "/>";
        }
        MeshRead read(MeshModel(c.Get("resources") + TriangleObject(triangles, c.Get("object")) +
                                R"(<m:colorgroup id="20"><m:color color="#FFFFFF"/></m:colorgroup>)"),
                      {}, {{"3D/Textures/none.png", "not an image"}});
        EXPECT_EQ(c.Get("error").empty(), read.ok);
        EXPECT_EQ(0u, read.Error().rfind(c.Get("error"), 0)) << read.Error();
        if (read.ok)
        {
            std::vector<long long> expected;
            std::istringstream names(c.Get("colors"));
            for (std::string name; names >> name;)
            {
                expected.push_back(colors.at(name));
            }
            EXPECT_EQ(expected, ColoursOf(read.Stl()));
            EXPECT_EQ(nullptr, read.Mesh()->m_triangleProperties);
            if (!c.Get("material").empty())
            {
                EXPECT_EQ(colors.at(c.Get("material")), read.Stl().GetMaterial().GetRGB());
            }
        }
    }
}

// One host texture per coordinate group, showing the bitmap of the image
// part; a multi property of a colour and a texture gives both.
TEST(MeshPropertiesRead, TextureCoordinatesLandInOneHostTexturePerGroup)
{
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
                  {}, {{"3D/Textures/tex.png", BlankPng::Make(2, 2, true)}});
    ASSERT_TRUE(read.ok) << read.Error();
    MStlBase const& stl = read.Stl();
    EXPECT_EQ((std::vector<long long>{0x0000FF, -1, -1}), ColoursOf(stl));

    ASSERT_EQ(2u, stl.GetTextures().size());
    MStlTexture const& first = *stl.GetTextures()[0];
    MStlTexture const& second = *stl.GetTextures()[1];
    EXPECT_EQ(L"tex.png", first.GetName());
    auto const* const image = read.Image(L"/3D/Textures/tex.png");
    ASSERT_NE(nullptr, image);
    EXPECT_EQ(2u, image->m_bitmap->GetWidth());
    EXPECT_EQ(image->m_bitmap, first.GetSharedBitmap());
    EXPECT_EQ(first.GetSharedBitmap(), second.GetSharedBitmap()) << "two groups on one image share it";

    EXPECT_EQ(2u, first.GetNumTriangles());
    EXPECT_EQ((std::array<float, 6>{0, 0, 1, 0, 0.5f, 1}), Coordinates(first, stl.TriangleAt(0)));
    EXPECT_EQ((std::array<float, 6>{0.5f, 1, 1, 0, 0, 0}), Coordinates(first, stl.TriangleAt(1)));
    EXPECT_EQ((std::array<float, 6>{0.25f, 0.75f, 0.25f, 0.75f, 0.25f, 0.75f}),
              Coordinates(second, stl.TriangleAt(2)));
}
