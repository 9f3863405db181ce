// Preparing meshes for writing: default colours, colour groups per mesh,
// base materials, corner against triangle colours, textures with their image
// parts, and the folding into multi properties, seen in the written text.
#include "export/ExportSupport.h"

#include "format3mf/Image2D.h"
#include "format3mf/PropertyValues.h"

#include "triangles/MStlColorMaskTrianglePoints.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace Format_3MF;

namespace
{
std::size_t Count(std::vector<Attributes> const& elements, std::string const& attribute)
{
    std::size_t count = 0;
    for (Attributes const& element : elements)
    {
        count += element.count(attribute);
    }
    return count;
}

std::vector<std::wstring> ImageNames(Package const& package)
{
    std::vector<std::wstring> names;
    for (IPackageFile* file : package.GetPackageFiles())
    {
        if (dynamic_cast<Image2D*>(file) != nullptr)
        {
            names.push_back(file->GetFileNameInPackage());
        }
    }
    return names;
}
} // namespace

TEST(MeshContent, AMeshWithoutColoursGetsItsMaterialAsTheObjectsDefault)
{
    auto mesh = MakeSquare();
    mesh->GetMaterial().SetRGB(0x0080ff); // red ff, green 80
    PreparedModel prepared({mesh.get()});
    std::string const xml = prepared.Xml();
    std::vector<Attributes> const objects = Elements(xml, "object");
    ASSERT_EQ(1u, objects.size());
    std::vector<Attributes> const groups = Elements(xml, "m:colorgroup");
    ASSERT_EQ(1u, groups.size());
    EXPECT_EQ(groups[0].at("id"), objects[0].at("pid"));
    EXPECT_EQ("0", objects[0].at("pindex"));
    EXPECT_EQ((std::vector<Attributes>{{{"color", "#ff8000"}}}), Elements(xml, "m:color"));
    EXPECT_EQ(0u, Count(Elements(xml, "triangle"), "pid"));
}

TEST(MeshContent, ColourGroupsPerMeshOrSharedWithEqualColoursOnOneIndex)
{
    for (bool const newGroupPerMesh : {true, false})
    {
        auto first = MakeSquare();
        auto second = MakeSquare();
        auto third = MakeSquare();
        first->GetMaterial().SetRGB(0x112233);
        second->GetMaterial().SetRGB(0x112233);
        third->GetMaterial().SetRGB(0x445566);
        PackageWriteOptions options;
        options.Ondl.IsNewGroupPerMesh = newGroupPerMesh;
        PreparedModel prepared({first.get(), second.get(), third.get()}, options);
        Materials& materials = prepared.Materials();
        if (newGroupPerMesh)
        {
            EXPECT_EQ(3u, materials.m_colorGroups.size());
        }
        else
        {
            ASSERT_EQ(1u, materials.m_colorGroups.size());
            EXPECT_EQ(2u, materials.m_colorGroups[0]->m_values.size());
            EXPECT_EQ(prepared.ObjectAt(0).m_propertyIndex, prepared.ObjectAt(1).m_propertyIndex);
            EXPECT_EQ(1, prepared.ObjectAt(2).m_propertyIndex);
        }
    }
}

TEST(MeshContent, BaseMaterialDefaultNamedAfterItsColour)
{
    auto mesh = MakeSquare();
    mesh->GetMaterial().SetRGB(0x0080ff);
    PackageWriteOptions options;
    options.Ondl.IsBaseMaterialDefault = true;
    PreparedModel prepared({mesh.get()}, options);
    std::string const xml = prepared.Xml();
    EXPECT_TRUE(prepared.Materials().m_colorGroups.empty());
    std::vector<Attributes> const bases = Elements(xml, "base");
    ASSERT_EQ(1u, bases.size());
    EXPECT_EQ("BaseMaterialColor_#ff8000", bases[0].at("name"));
    EXPECT_EQ("#ff8000", bases[0].at("displaycolor"));
    EXPECT_EQ(Elements(xml, "basematerials").at(0).at("id"), Elements(xml, "object").at(0).at("pid"));
}

// Triangle colours need a colour group: the object's default moves there and
// the base material stays behind.
TEST(MeshContent, BaseMaterialDefaultMovesToAColourGroupWhenTrianglesHaveColours)
{
    auto mesh = MakeSquare();
    mesh->GetMaterial().SetRGB(0x0080ff);
    mesh->TriangleAt(0).SetRGB(0x00ff00);
    PackageWriteOptions options;
    options.Ondl.IsBaseMaterialDefault = true;
    PreparedModel prepared({mesh.get()}, options);
    Materials& materials = prepared.Materials();
    ASSERT_EQ(1u, materials.m_baseMaterialGroups.size());
    ASSERT_EQ(1u, materials.m_colorGroups.size());
    ColorGroup const& colors = *materials.m_colorGroups[0];
    EXPECT_EQ(&colors, prepared.ObjectAt(0).m_propertyGroup);
    EXPECT_EQ(0x0080ffu, colors.GetValue(prepared.ObjectAt(0).m_propertyIndex).m_color);
}

TEST(MeshContent, CornerColoursWinAndOneUndefinedCornerVoidsAllThree)
{
    auto mesh = MakeSquare();
    MStlPoint* const e = mesh->AddPoint(0, 0, 10000);
    mesh->AddTriangle(&mesh->PointAt(0), &mesh->PointAt(1), e);
    auto mask = std::make_unique<MStlColorMaskTrianglePoints>(&mesh->GetTriangleMaskOwner());
    // Triangle 0: three corners and a colour. Triangle 1: two corners and a
    // colour. Triangle 2: nothing.
    mesh->TriangleAt(0).SetRGB(0x000001);
    mesh->TriangleAt(1).SetRGB(0x000002);
    MStlColorTrianglePoints& full = mask->GetInfo(0u);
    full.m_colors[0] = MStlColor(0x0000aa);
    full.m_colors[1] = MStlColor(0x0000bb);
    full.m_colors[2] = MStlColor(0x0000aa);
    MStlColorTrianglePoints& partial = mask->GetInfo(1u);
    partial.m_colors[0] = MStlColor(0x0000cc);
    partial.m_colors[2] = MStlColor(0x0000dd);
    PreparedModel prepared({mesh.get()});
    std::string const xml = prepared.Xml();
    std::vector<Attributes> const colors = Elements(xml, "m:color");
    std::vector<Attributes> const triangles = Elements(xml, "triangle");
    ASSERT_EQ(3u, triangles.size());
    auto const colorOf = [&colors](Attributes const& triangle, char const* corner)
    { return colors.at(std::stoul(triangle.at(corner))).at("color"); };
    EXPECT_EQ("#aa0000", colorOf(triangles[0], "p1"));
    EXPECT_EQ("#bb0000", colorOf(triangles[0], "p2"));
    EXPECT_EQ("#aa0000", colorOf(triangles[0], "p3"));
    EXPECT_EQ("#020000", colorOf(triangles[1], "p1"));
    EXPECT_EQ(0u, triangles[1].count("p2")) << "a uniform triangle carries p1 alone";
    EXPECT_EQ(0u, triangles[2].count("pid"));
    // Default, aa, bb, triangle colour: equal colours share an index.
    EXPECT_EQ(4u, colors.size());
}

TEST(MeshContent, ColourAndTexturesFoldIntoSharedMultiProperties)
{
    auto mesh = MakeSquare();
    mesh->AddTriangle(&mesh->PointAt(1), &mesh->PointAt(2), &mesh->PointAt(3));
    mesh->AddTriangle(&mesh->PointAt(0), &mesh->PointAt(1), &mesh->PointAt(3));
    // 0: colour and texture A; 1: colour and texture A; 2: texture A only;
    // 3: colour and textures A and B.
    for (std::uint32_t index : {0u, 1u, 3u})
    {
        mesh->TriangleAt(index).SetRGB(0x0000ff);
    }
    AddTexture(*mesh, L"a", MakeBitmap(10), {0, 1, 2, 3});
    AddTexture(*mesh, L"b", MakeBitmap(20), {3}, 0.125f);
    PreparedModel prepared({mesh.get()});
    std::string const xml = prepared.Xml();
    std::vector<Attributes> const triangles = Elements(xml, "triangle");
    std::vector<Attributes> const multis = Elements(xml, "m:multiproperties");
    std::vector<Attributes> const textureGroups = Elements(xml, "m:texture2dgroup");
    std::string const colourGroup = Elements(xml, "m:colorgroup").at(0).at("id");
    ASSERT_EQ(2u, multis.size());
    ASSERT_EQ(2u, textureGroups.size());
    std::string const a = textureGroups[0].at("id");
    std::string const b = textureGroups[1].at("id");
    EXPECT_EQ(colourGroup + " " + a, multis[0].at("pids"));
    EXPECT_EQ(colourGroup + " " + a + " " + b, multis[1].at("pids"));
    EXPECT_EQ(multis[0].at("id"), triangles[0].at("pid"));
    EXPECT_EQ(multis[0].at("id"), triangles[1].at("pid"));
    EXPECT_EQ(a, triangles[2].at("pid"));
    EXPECT_EQ(multis[1].at("id"), triangles[3].at("pid"));
    // Triangles 0 and 1 have equal corner coordinates: their multis are shared.
    EXPECT_EQ(triangles[0].at("p1"), triangles[1].at("p1"));
    // Per corner: the colour's index (the default colour holds 0), then each
    // texture's coordinate index.
    auto const& groups = prepared.Materials().m_multiPropertyGroups;
    EXPECT_EQ((std::vector<int>{1, 0}), groups[0]->GetValue(std::stoi(triangles[0].at("p1"))).m_pindices);
    EXPECT_EQ((std::vector<int>{1, 2, 2}), groups[1]->GetValue(std::stoi(triangles[3].at("p3"))).m_pindices);
}

TEST(MeshContent, TexturePartNamesAndOneImagePerBitmap)
{
    auto first = MakeSquare();
    auto second = MakeSquare();
    auto shared = MakeBitmap(1);
    AddTexture(*first, L"a", shared, {0});
    AddTexture(*first, L"a", MakeBitmap(2), {1});
    AddTexture(*first, L"", MakeBitmap(3), {1});
    AddTexture(*second, L"a.png", shared, {0}); // the shared bitmap keeps its first name
    AddTexture(*second, L"a.png", MakeBitmap(4), {1});
    PreparedModel prepared({first.get(), second.get()});
    EXPECT_EQ((std::vector<std::wstring>{L"/3D/Textures2D/a.png", L"/3D/Textures2D/a (2).png",
                                         L"/3D/Textures2D/unnamed.png", L"/3D/Textures2D/a.png.png"}),
              ImageNames(prepared.package));
    Materials& materials = prepared.Materials();
    ASSERT_EQ(4u, materials.m_textures.size());
    EXPECT_EQ(5u, materials.m_texture2DGroups.size());
    EXPECT_EQ(materials.m_texture2DGroups[0]->m_texid, materials.m_texture2DGroups[3]->m_texid);
    EXPECT_EQ(shared, materials.m_textures[0]->m_image->m_bitmap) << "the image shares the bitmap";
    std::vector<Relationship> const& relations = prepared.model.GetRelsFile().GetRelations();
    ASSERT_EQ(4u, relations.size());
    EXPECT_EQ(L"/3D/Textures2D/a (2).png", relations[1].m_target);
    EXPECT_EQ(L"http://schemas.microsoft.com/3dmanufacturing/2013/01/3dtexture", relations[1].m_type);
}

// The object's type follows the part flags; a solid support goes back as a
// model.
TEST(MeshContent, ObjectTypesFromThePartFlags)
{
    struct Case
    {
        bool support;
        bool solid;
        char const* type;
    };
    for (Case const entry : {Case{false, true, "model"}, Case{true, false, "support"},
                             Case{true, true, "model"}, Case{false, false, "other"}})
    {
        auto mesh = MakeSquare();
        mesh->m_partIsSupport = entry.support;
        mesh->m_partIsSolid = entry.solid;
        PreparedModel prepared({mesh.get()});
        EXPECT_EQ(entry.type, Elements(prepared.Xml(), "object").at(0).at("type"))
            << entry.support << entry.solid;
    }
}
