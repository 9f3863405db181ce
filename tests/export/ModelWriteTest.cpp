// The root model as the writer prints it, without an archive: default colours
// and colour groups, base materials, corner against triangle colours,
// textures with their image parts, multi properties, object types, vertex
// text in the model's unit, property references, the materials namespace and
// every group kind, and both kinds of cancellation.
#include "export/ExportSupport.h"

#include "format3mf/Image2D.h"
#include "format3mf/Object.h"
#include "format3mf/PackageWrite.h"
#include "format3mf/PropertyValues.h"
#include "mesh/MeshStlBaseWrite.h"

#include "common/IncrementalProgressReporter.h"
#include "sax/SAXWriter.h"
#include "triangles/MStlColorMaskTrianglePoints.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

namespace
{
// A binding made as a reader makes it, so that no property group is added.
struct BareMesh
{
    ModelFileStlBase model;
    Object object{&model};
    std::unique_ptr<MStlBase> stl;
    MeshStlBase mesh;
    PackageWriteContext context;

    explicit BareMesh(std::unique_ptr<MStlBase> host)
        : stl(std::move(host)), mesh(stl.get(), &model, &object, static_cast<PackageReadContext*>(nullptr))
    {
    }

    std::string Xml(std::shared_ptr<OndSDK::Common::IProgressDelegate> progress = {})
    {
        std::ostringstream stream;
        {
            MSAXWriter writer(stream, 0);
            {
                MSAXTagWriter element(writer, "mesh");
                MeshStlBaseWrite(&context, &mesh, std::move(progress)).Write(writer);
            }
            writer.Flush();
        }
        return stream.str();
    }
};

std::unique_ptr<MStlBase> Coloured(std::uint32_t rgb)
{
    auto mesh = MakeSquare();
    mesh->GetMaterial().SetRGB(rgb);
    return mesh;
}
} // namespace

// A mesh without colours of its own gets its material as the object's
// default, in a colour group (red is the lowest byte of the host's colour),
// or in a base material named after it; triangle colours need a colour
// group, to which the default then moves.
TEST(ModelWrite, DefaultColoursInColourGroupsOrBaseMaterials)
{
    auto plain = Coloured(0x0080ff);
    ExpectXml(
        PreparedModel({plain.get()}).Xml(),
        {R"(<m:colorgroup id="2"><m:color color="#ff8000"/></m:colorgroup><object id="1" type="model" pid="2" pindex="0">)",
         "!<triangle v1=\"0\" v2=\"1\" v3=\"2\" pid"});

    PackageWriteOptions base;
    base.Ondl.IsBaseMaterialDefault = true;
    ExpectXml(PreparedModel({plain.get()}, base).Xml(),
              {R"(<basematerials id="2"><base name="BaseMaterialColor_#ff8000" displaycolor="#ff8000"/>)",
               R"(<object id="1" type="model" pid="2" pindex="0">)", "!m:colorgroup"});

    plain->TriangleAt(0).SetRGB(0x00ff00);
    ExpectXml(PreparedModel({plain.get()}, base).Xml(),
              {R"(<basematerials id="2"><base name="BaseMaterialColor_#ff8000" displaycolor="#ff8000"/>)",
               R"(<m:colorgroup id="3"><m:color color="#ff8000"/><m:color color="#00ff00"/></m:colorgroup>)",
               R"(<object id="1" type="model" pid="3" pindex="0">)",
               R"(<triangle v1="0" v2="1" v3="2" pid="3" p1="1"/>)"});

    // Per mesh, or one group where equal colours share an index.
    auto first = Coloured(0x112233);
    auto second = Coloured(0x112233);
    auto third = Coloured(0x445566);
    for (bool const perMesh : {true, false})
    {
        PackageWriteOptions options;
        options.Ondl.IsNewGroupPerMesh = perMesh;
        PreparedModel prepared({first.get(), second.get(), third.get()}, options);
        std::string const xml = prepared.Xml();
        EXPECT_EQ(perMesh ? 3u : 1u, Occurrences(xml, "<m:colorgroup ")) << xml;
        EXPECT_EQ(
            (std::vector<int>{0, 0, perMesh ? 0 : 1}),
            (std::vector<int>{prepared.ObjectAt(0).m_propertyIndex, prepared.ObjectAt(1).m_propertyIndex,
                              prepared.ObjectAt(2).m_propertyIndex}));
        ExpectXml(xml,
                  {perMesh ? "" : R"(<m:color color="#332211"/><m:color color="#665544"/></m:colorgroup>)"});
    }
}

// All three corners or none: one undefined corner leaves the triangle its
// own colour, a uniform triangle carries p1 alone, and equal colours share
// an index.
TEST(ModelWrite, CornerColoursWinAndOneUndefinedCornerVoidsAllThree)
{
    auto mesh = MakeSquare();
    MStlPoint* const e = mesh->AddPoint(0, 0, 10000);
    mesh->AddTriangle(&mesh->PointAt(0), &mesh->PointAt(1), e);
    auto mask = std::make_unique<MStlColorMaskTrianglePoints>(&mesh->GetTriangleMaskOwner());
    mesh->TriangleAt(0).SetRGB(0x000001);
    mesh->TriangleAt(1).SetRGB(0x000002);
    MStlColorTrianglePoints& full = mask->GetInfo(0u);
    full.m_colors[0] = MStlColor(0x0000aa);
    full.m_colors[1] = MStlColor(0x0000bb);
    full.m_colors[2] = MStlColor(0x0000aa);
    MStlColorTrianglePoints& partial = mask->GetInfo(1u);
    partial.m_colors[0] = MStlColor(0x0000cc);
    partial.m_colors[2] = MStlColor(0x0000dd);
    ExpectXml(PreparedModel({mesh.get()}).Xml(),
              {R"(<m:color color="#c0c0c0"/><m:color color="#aa0000"/><m:color color="#bb0000"/>)"
               R"(<m:color color="#020000"/></m:colorgroup>)",
               R"(<triangle v1="0" v2="1" v3="2" pid="2" p1="1" p2="2" p3="1"/>)",
               R"(<triangle v1="0" v2="2" v3="3" pid="2" p1="3"/>)", R"(<triangle v1="0" v2="1" v3="4"/>)"});
}

// Colour and textures fold into multi properties: one per combination of
// groups, shared by triangles whose corners are equal; per corner the
// colour's index (the default colour holds 0), then each texture's
// coordinate index.
TEST(ModelWrite, ColourAndTexturesFoldIntoSharedMultiProperties)
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
    ExpectXml(
        PreparedModel({mesh.get()}).Xml(),
        {R"(<m:texture2dgroup id="4" texid="3"><m:tex2coord u="0" v="0.25"/><m:tex2coord u="0.5" v="0.25"/>)",
         R"(<m:texture2dgroup id="6" texid="5">)",
         R"(<m:multiproperties id="7" pids="2 4"><m:multi pindices="1 0"/><m:multi pindices="1 1"/>)"
         R"(<m:multi pindices="1 2"/></m:multiproperties><m:multiproperties id="8" pids="2 4 6">)"
         R"(<m:multi pindices="1 0 0"/><m:multi pindices="1 1 1"/><m:multi pindices="1 2 2"/></m:multiproperties>)",
         R"(<triangle v1="0" v2="1" v3="2" pid="7" p1="0" p2="1" p3="2"/>)"
         R"(<triangle v1="0" v2="2" v3="3" pid="7" p1="0" p2="1" p3="2"/>)"
         R"(<triangle v1="1" v2="2" v3="3" pid="4" p1="0" p2="1" p3="2"/>)"
         R"(<triangle v1="0" v2="1" v3="3" pid="8" p1="0" p2="1" p3="2"/>)"});
}

// One image part per bitmap, named after the texture, made unique, and
// related from the model (the relationships' targets and type are held to
// every written texture by check_written.py in the round trip).
TEST(ModelWrite, TexturePartNamesAndOneImagePerBitmap)
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
    std::string const xml = prepared.Xml();
    EXPECT_EQ(5u, Occurrences(xml, "<m:texture2dgroup "));
    ExpectXml(xml, {R"(<m:texture2d id="3" path="/3D/Textures2D/a.png" contenttype="image/png"/>)"
                    R"(<m:texture2d id="5" path="/3D/Textures2D/a (2).png" contenttype="image/png"/>)"
                    R"(<m:texture2d id="7" path="/3D/Textures2D/unnamed.png" contenttype="image/png"/>)"
                    R"(<m:texture2d id="13" path="/3D/Textures2D/a.png.png" contenttype="image/png"/>)",
                    R"(<m:texture2dgroup id="12" texid="3">)"});
    EXPECT_EQ(4u, prepared.model.GetRelsFile().GetRelations().size()) << "one relationship per image part";
    EXPECT_EQ(shared, prepared.Materials().m_textures[0]->m_image->m_bitmap) << "the image shares the bitmap";
}

// The object's type follows the part flags (a solid support goes back as a
// model); vertices are printed in the model's unit with four decimals.
TEST(ModelWrite, ObjectTypesAndUnits)
{
    struct Case
    {
        bool support;
        bool solid;
        wchar_t const* unit;
        char const* type;
        char const* x;
    };
    for (Case const c :
         {Case{false, true, L"millimeter", "model", "1.5000"},
          Case{true, false, L"inch", "support", "0.0591"}, Case{true, true, L"micron", "model", "1500.0000"},
          Case{false, false, L"millimeter", "other", "1.5000"}})
    {
        auto mesh = MakeSquare(15000);
        mesh->m_partIsSupport = c.support;
        mesh->m_partIsSolid = c.solid;
        ExpectXml(
            PreparedModel({mesh.get()}, {}, [&](PreparedModel& p) { p.model.GetUnits().Init(c.unit); }).Xml(),
            {"type=\"" + std::string(c.type) + "\"",
             "<vertex x=\"" + std::string(c.x) + "\" y=\"0.0000\" z=\"0.0000\"/>"});
    }
}

// Listed vertices come first, as they stand; the points follow, and the
// triangles' indices are offset by them. A property reference is printed
// with p1 alone where all three corners are equal.
TEST(ModelWrite, ListedVerticesBeforeThePointsAndUniformReferences)
{
    BareMesh listed(MakeSquare());
    listed.mesh.AddVertex({0.25, -1.0, 3.0});
    listed.mesh.AddVertex({});
    ExpectXml(listed.Xml(),
              {R"(<vertices><vertex x="0.2500" y="-1.0000" z="3.0000"/>)",
               R"(<vertex x="1.0000" y="0.0000" z="0.0000"/>)",
               R"(<triangles><triangle v1="2" v2="3" v3="4"/><triangle v1="2" v2="4" v3="5"/>)"});

    struct Case
    {
        std::uint32_t p[3];
        char const* expected;
    };
    for (Case const c : {Case{{7, 7, 7}, R"(v3="3" pid="30" p1="7"/>)"},
                         Case{{7, 7, 8}, R"(v3="3" pid="30" p1="7" p2="7" p3="8"/>)"},
                         Case{{8, 7, 7}, R"(v3="3" pid="30" p1="8" p2="7" p3="7"/>)"}})
    {
        BareMesh bare(MakeSquare());
        ColorGroup group;
        bare.model.Register(group, 30);
        bare.mesh.InitTriangleProperties();
        bare.mesh.m_triangleProperties->GetInfo(1u).push_back({&group, c.p[0], c.p[1], c.p[2]});
        // No entry, no reference.
        ExpectXml(bare.Xml(), {R"(<triangle v1="0" v2="1" v3="2"/>)", c.expected});
    }
}

// A cancel seen by the writer's own reporters ends the lists quietly; one
// seen by the write's overall reporter ends the write. An empty mesh, or none,
// writes empty lists and its progress to the end.
TEST(ModelWrite, CancellationQuietLocallyLoudOverall)
{
    auto progress = std::make_shared<OndSDK::Common::IProgressDelegate>();
    progress->Cancel();
    BareMesh quiet(MakeSquare());
    for (int i = 0; i < 30; ++i)
    {
        quiet.stl->AddPoint(i, i, i);
    }
    std::string const xml = quiet.Xml(progress);
    EXPECT_EQ(10u, Occurrences(xml, "<vertex ")) << "the list ends at the first poll";
    EXPECT_NE(std::string::npos, xml.find("</vertices><triangles>")) << xml;

    BareMesh loud(MakeSquare());
    loud.context.m_stepProgress = std::make_unique<PackageWriteStepProgress>();
    loud.context.m_stepProgress->m_reporter =
        std::make_unique<OndSDK::Common::IncrementalProgressReporter>(progress, "overall", 100, false);
    EXPECT_THROW(loud.Xml(), PackageWrite::Canceled);

    PreparedModel materials({}, {},
                            [](PreparedModel& p)
                            {
                                p.Materials().GetBaseMaterialGroup(true)->AddValue(BaseMaterial(L"b", 1),
                                                                                   false);
                                p.Materials().GetColorGroup(true)->AddValue(Color(2), false);
                            });
    ExpectXml(materials.Xml(progress), {"<basematerials", "!colorgroup"});

    EXPECT_EQ("<mesh><vertices/><triangles/></mesh>\n", BareMesh(nullptr).Xml());
    BareMesh empty(std::make_unique<MStlBase>());
    auto fresh = std::make_shared<OndSDK::Common::IProgressDelegate>();
    EXPECT_EQ("<mesh><vertices/><triangles/></mesh>\n", empty.Xml(fresh));
    EXPECT_DOUBLE_EQ(1.0, fresh->GetProgress());
}

// Base materials are core elements: alone they need no namespace, which a
// texture or any group of the extension's own declares.
TEST(ModelWrite, MaterialsNamespaceOnlyForTheMaterialsExtensionsOwnElements)
{
    std::function<void(Materials&)> const fills[] = {
        [](Materials& m) { m.GetBaseMaterialGroup(true)->AddValue(BaseMaterial(L"b", 0x0000ff), false); },
        [](Materials& m) { m.m_textures.push_back(std::make_unique<Texture2D>()); },
        [](Materials& m) { m.GetColorGroup(true); },
        [](Materials& m) { m.GetMultiPropertyGroup({1}); },
    };
    for (std::size_t i = 0; i < std::size(fills); ++i)
    {
        std::string const xml =
            PreparedModel({}, {}, [&](PreparedModel& p) { fills[i](p.Materials()); }).Xml();
        EXPECT_EQ(i != 0, xml.find("xmlns:m=") != std::string::npos) << xml;
        EXPECT_TRUE(i != 0 || xml.find("m:") == std::string::npos) << xml;
    }
}

// Every group kind in its order with its number forms; a group read from a
// file keeps its indices, duplicates included.
TEST(ModelWrite, EveryMaterialKindInItsOrderWithItsNumberForms)
{
    PreparedModel prepared({}, {},
                           [](PreparedModel& p)
                           {
                               Materials& m = p.Materials();
                               ColorGroup* const colors = m.GetColorGroup(true);
                               for (std::uint32_t color : {0xff336699u, 0x0000ffu, 0xff336699u})
                               {
                                   colors->AddValue(Color(color), false); // alpha is dropped
                               }
                               BaseMaterialGroup* const base = m.GetBaseMaterialGroup(true);
                               base->AddValue(BaseMaterial(L"steel & <blue>", 0x800000), false);
                               auto texture = std::make_unique<Texture2D>();
                               texture->m_path = L"/3D/Textures2D/a.png";
                               texture->m_contentType = L"image/png";
                               p.model.Register(*texture, 40);
                               m.m_textures.push_back(std::move(texture));
                               auto coordinates = std::make_unique<Texture2DGroup>();
                               coordinates->m_texid = -1; // printed as it stands
                               coordinates->AddValue(Texture2DCoord(0.1234567f, 0.00001f), false);
                               coordinates->AddValue(Texture2DCoord(1.0f, 0.5f), false);
                               p.model.Register(*coordinates, 41);
                               m.m_texture2DGroups.push_back(std::move(coordinates));
                               m.GetMultiPropertyGroup({1, 41})->AddValue(MultiProperty({0, 1}), false);
                           });
    ExpectXml(prepared.Xml(),
              {"<resources><basematerials id=\"2\"><base name=\"steel &amp; &lt;blue&gt;\" "
               "displaycolor=\"#000080\"/></basematerials>"
               "<m:texture2d id=\"40\" path=\"/3D/Textures2D/a.png\" contenttype=\"image/png\"/>"
               "<m:colorgroup id=\"1\"><m:color color=\"#996633\"/><m:color color=\"#ff0000\"/>"
               "<m:color color=\"#996633\"/></m:colorgroup>"
               "<m:texture2dgroup id=\"41\" texid=\"-1\"><m:tex2coord u=\"0.123457\" v=\"1e-05\"/>"
               "<m:tex2coord u=\"1\" v=\"0.5\"/></m:texture2dgroup>"
               "<m:multiproperties id=\"42\" pids=\"1 41\"><m:multi pindices=\"0 1\"/>"
               "</m:multiproperties></resources>"});
}
