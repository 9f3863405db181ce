// Materials on the way out: when the materials namespace is declared, and the
// exact text of every group kind (the groups meshes ask for: MeshContentTest).
#include "export/ExportSupport.h"

#include "format3mf/PropertyValues.h"

#include "common/IProgressDelegate.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

namespace
{
bool HasMaterialNamespace(ModelFile const& model)
{
    return !model.GetPrefix(L"http://schemas.microsoft.com/3dmanufacturing/material/2015/02").empty();
}
} // namespace

// Base materials are core elements: alone they need no namespace.
TEST(MaterialsWrite, NamespaceOnlyForTheMaterialsExtensionsOwnElements)
{
    struct Case
    {
        char const* name;
        std::function<void(Materials&)> fill;
        bool declared;
    };
    Case const cases[] = {
        {"nothing", [](Materials&) {}, false},
        {"base materials only",
         [](Materials& m) { m.GetBaseMaterialGroup(true)->AddValue(BaseMaterial(L"b", 0x0000ff), false); },
         false},
        {"one texture without groups",
         [](Materials& m) { m.m_textures.push_back(std::make_unique<Texture2D>()); }, true},
        {"an empty colour group", [](Materials& m) { m.GetColorGroup(true); }, true},
        {"a multi property group", [](Materials& m) { m.GetMultiPropertyGroup({1}); }, true},
    };
    for (Case const& entry : cases)
    {
        PreparedModel prepared({}, {}, [&](PreparedModel& p) { entry.fill(p.Materials()); });
        EXPECT_EQ(entry.declared, HasMaterialNamespace(prepared.model)) << entry.name;
        if (!entry.declared)
        {
            EXPECT_EQ(std::string::npos, prepared.Xml().find("m:")) << entry.name;
        }
    }
}

TEST(MaterialsWrite, EveryKindInItsOrderWithItsNumberForms)
{
    PreparedModel prepared({}, {},
                           [](PreparedModel& p)
                           {
                               Materials& m = p.Materials();
                               ColorGroup* const colors = m.GetColorGroup(true);
                               colors->AddValue(Color(0xff336699u), false); // alpha is dropped
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
                               MultiPropertyGroup* const multi = m.GetMultiPropertyGroup({1, 41});
                               multi->AddValue(MultiProperty({0, 1}), false);
                           });
    std::string const xml = prepared.Xml();
    std::size_t const resources = xml.find("<resources>");
    EXPECT_NE(std::string::npos,
              xml.find("<resources><basematerials id=\"2\"><base name=\"steel &amp; &lt;blue&gt;\" "
                       "displaycolor=\"#000080\"/></basematerials>"
                       "<m:texture2d id=\"40\" path=\"/3D/Textures2D/a.png\" contenttype=\"image/png\"/>"
                       "<m:colorgroup id=\"1\"><m:color color=\"#996633\"/></m:colorgroup>"
                       "<m:texture2dgroup id=\"41\" texid=\"-1\"><m:tex2coord u=\"0.123457\" v=\"1e-05\"/>"
                       "<m:tex2coord u=\"1\" v=\"0.5\"/></m:texture2dgroup>"
                       "<m:multiproperties id=\"42\" pids=\"1 41\"><m:multi pindices=\"0 1\"/>"
                       "</m:multiproperties></resources>",
                       resources))
        << xml;
}

// A group read from a file keeps its indices: values are printed by position.
TEST(MaterialsWrite, ValuesArePrintedAtTheirIndicesDuplicatesIncluded)
{
    PreparedModel prepared({}, {},
                           [](PreparedModel& p)
                           {
                               ColorGroup* const colors = p.Materials().GetColorGroup(true);
                               for (std::uint32_t color : {0x0000ffu, 0x00ff00u, 0x0000ffu})
                               {
                                   colors->AddValue(Color(color), false);
                               }
                           });
    std::vector<Attributes> const colors = Elements(prepared.Xml(), "m:color");
    ASSERT_EQ(3u, colors.size());
    EXPECT_EQ("#ff0000", colors[0].at("color"));
    EXPECT_EQ("#00ff00", colors[1].at("color"));
    EXPECT_EQ("#ff0000", colors[2].at("color"));
}

TEST(MaterialsWrite, CancelStopsQuietlyAfterTheKindAtHand)
{
    PreparedModel prepared({}, {},
                           [](PreparedModel& p)
                           {
                               p.Materials().GetBaseMaterialGroup(true)->AddValue(BaseMaterial(L"b", 1),
                                                                                  false);
                               p.Materials().GetColorGroup(true)->AddValue(Color(2), false);
                           });
    auto progress = std::make_shared<OndSDK::Common::IProgressDelegate>();
    progress->Cancel();
    std::string const xml = prepared.Xml(progress);
    EXPECT_NE(std::string::npos, xml.find("<basematerials")) << xml;
    EXPECT_EQ(std::string::npos, xml.find("colorgroup")) << xml;
}
