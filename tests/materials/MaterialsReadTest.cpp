// Tests of reading property groups and textures from "resources", malformed
// elements included.
#include "materials/MaterialsRead.h"

#include "format3mf/Exception.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/Image2D.h"
#include "format3mf/Materials.h"
#include "format3mf/Package.h"
#include "support/TestModelFile.h"

#include "common/IncrementalProgressReporter.h"
#include "sax/SaxUtilities.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

using namespace Format_3MF;

namespace
{
// Stands in for the resources reader: offers every element to the materials
// reader and logs its answers, but takes every element itself, so that the
// children of a refused group element still reach the materials reader.
class ForwardingRoot : public ISAXReadHelper
{
public:
    ForwardingRoot(MaterialsRead& materials, std::string& log) : m_materials(materials), m_log(log) {}

    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override
    {
        bool const taken = m_materials.HandleTag(tag, reader);
        m_log += std::string(tag.begin(), tag.end()) + (taken ? "+ " : "- ");
        return true;
    }

private:
    MaterialsRead& m_materials;
    std::string& m_log;
};

// A model with no namespaces yet, its package, and the materials to fill.
class MaterialsFixture : public ::testing::Test
{
protected:
    MaterialsFixture() { context.m_package = &package; }

    // Reads the elements inside a "resources" element; the log gets the
    // answer to each element, "+" taken and "-" refused.
    void Read(std::string const& elements)
    {
        MaterialsRead reader(&context, &materials, &model);
        ForwardingRoot root(reader, log);
        std::istringstream stream("<resources>" + elements + "</resources>");
        ASSERT_TRUE(OndAM::SaxUtilities::ReadStream(stream, root));
    }

    std::vector<Image2D*> Images() const
    {
        std::vector<Image2D*> images;
        for (IPackageFile* file : package.GetPackageFiles())
        {
            if (auto* image = dynamic_cast<Image2D*>(file))
            {
                images.push_back(image);
            }
        }
        return images;
    }

    TestModelFile model;
    Package package{&model};
    PackageReadContext context;
    Materials materials{&model};
    std::string log;
};

// A model of today: core namespace of 2015 by default, materials as "m".
class MaterialsReadTest : public MaterialsFixture
{
protected:
    MaterialsReadTest()
    {
        model.AddNamespace(NamespaceCore2015, L"");
        model.AddNamespace(NamespaceMaterial, L"m");
    }
};

// Each test declares the namespaces of its file, the core of 2013 among them.
using MaterialsRead2013Test = MaterialsFixture;

std::vector<std::uint32_t> Colors(ColorGroup const& group)
{
    std::vector<std::uint32_t> colors;
    for (Color const& color : group.m_values)
    {
        colors.push_back(color.m_color);
    }
    return colors;
}
} // namespace

TEST_F(MaterialsReadTest, GroupsKeepTheValuesOfTheFileInOrderAndAreRegistered)
{
    Read(R"(<basematerials id="3">
              <base name="Red" displaycolor="#ff0000"/>
              <base displaycolor="#00ff00"/>
              <base name="Blue" displaycolor="#0000ff80"/>
              <base name="Red" displaycolor="#ff0000"/>
            </basematerials>
            <m:colorgroup id="5">
              <m:color color="#112233"/>
              <m:color color="#112233"/>
              <m:color m:color="#445566"/>
              <m:color/>
            </m:colorgroup>
            <m:texture2dgroup m:id="7" texid="9">
              <m:tex2coord u="0.25" m:v="0.75"/>
              <m:tex2coord/>
            </m:texture2dgroup>
            <m:texture2dgroup id="8"/>
            <m:multiproperties id="11" pids="3 5">
              <m:multi pindices="0 1"/>
              <m:multi m:pindices="2"/>
              <m:multi/>
            </m:multiproperties>)");

    ASSERT_EQ(1u, materials.m_baseMaterialGroups.size());
    BaseMaterialGroup const& bases = *materials.m_baseMaterialGroups[0];
    // The "base" without a name adds nothing, so later indices are one lower
    // than the count of elements; equal materials stay two values.
    ASSERT_EQ(3u, bases.m_values.size());
    EXPECT_EQ(L"Red", bases.m_values[0].m_name);
    EXPECT_EQ(0x0000FFu, bases.m_values[0].m_color);
    EXPECT_EQ(L"Blue", bases.m_values[1].m_name);
    EXPECT_EQ(0xFF0000u, bases.m_values[1].m_color);
    EXPECT_EQ(L"Red", bases.m_values[2].m_name);
    EXPECT_TRUE(bases.m_index.empty());

    ASSERT_EQ(1u, materials.m_colorGroups.size());
    EXPECT_EQ((std::vector<std::uint32_t>{0x332211, 0x332211, 0x665544}),
              Colors(*materials.m_colorGroups[0]));
    EXPECT_TRUE(materials.m_colorGroups[0]->m_index.empty());

    ASSERT_EQ(2u, materials.m_texture2DGroups.size());
    Texture2DGroup const& coordinates = *materials.m_texture2DGroups[0];
    EXPECT_EQ(9, coordinates.m_texid);
    ASSERT_EQ(2u, coordinates.m_values.size());
    EXPECT_FLOAT_EQ(0.25f, coordinates.m_values[0].m_u);
    EXPECT_FLOAT_EQ(0.75f, coordinates.m_values[0].m_v);
    EXPECT_EQ(0.0f, coordinates.m_values[1].m_u);
    EXPECT_EQ(0.0f, coordinates.m_values[1].m_v);
    EXPECT_EQ(-1, materials.m_texture2DGroups[1]->m_texid);

    ASSERT_EQ(1u, materials.m_multiPropertyGroups.size());
    MultiPropertyGroup const& multi = *materials.m_multiPropertyGroups[0];
    EXPECT_EQ((std::vector<tReferenceID>{3, 5}), multi.m_pids);
    ASSERT_EQ(2u, multi.m_values.size());
    EXPECT_EQ((std::vector<int>{0, 1}), multi.m_values[0].m_pindices);
    EXPECT_EQ((std::vector<int>{2}), multi.m_values[1].m_pindices);

    EXPECT_EQ(materials.m_baseMaterialGroups[0].get(), model.GetReference(3));
    EXPECT_EQ(materials.m_colorGroups[0].get(), model.GetReference(5));
    EXPECT_EQ(materials.m_texture2DGroups[0].get(), model.GetReference(7));
    EXPECT_EQ(materials.m_texture2DGroups[1].get(), model.GetReference(8));
    EXPECT_EQ(&multi, model.GetReference(11));
}

TEST_F(MaterialsReadTest, GroupElementsWithoutIdAreRefusedAndValuesGoToTheGroupOpenedLast)
{
    // "basematerials" is a core element: its id is read without the prefix
    // only. The extension groups accept both forms.
    Read(R"(<basematerials id="1"/>
            <m:colorgroup m:id="2"/>
            <basematerials m:id="3"><base name="A" displaycolor="#010203"/></basematerials>
            <m:colorgroup/>
            <m:texture2dgroup texid="4"/>
            <m:multiproperties pids="1"/>
            <m:color color="#0a0b0c"/>
            <other/>
            <base name="B" displaycolor="#000000"/>)");

    EXPECT_EQ("resources- basematerials+ m:colorgroup+ basematerials- base+ m:colorgroup- m:texture2dgroup- "
              "m:multiproperties- m:color+ other- base+ ",
              log);
    ASSERT_EQ(1u, materials.m_baseMaterialGroups.size());
    ASSERT_EQ(2u, materials.m_baseMaterialGroups[0]->m_values.size());
    EXPECT_EQ(L"A", materials.m_baseMaterialGroups[0]->m_values[0].m_name);
    EXPECT_EQ(L"B", materials.m_baseMaterialGroups[0]->m_values[1].m_name);
    ASSERT_EQ(1u, materials.m_colorGroups.size());
    EXPECT_EQ(2, materials.m_colorGroups[0]->m_id);
    EXPECT_EQ((std::vector<std::uint32_t>{0x0C0B0A}), Colors(*materials.m_colorGroups[0]));
    EXPECT_TRUE(materials.m_texture2DGroups.empty());
    EXPECT_TRUE(materials.m_multiPropertyGroups.empty());
}

TEST_F(MaterialsReadTest, ValueElementsBeforeAnyGroupAreTakenAndIgnored)
{
    Read(R"(<base name="A" displaycolor="#010203"/>
            <m:color color="#010203"/>
            <m:tex2coord u="1" v="1"/>
            <m:multi pindices="0"/>)");

    EXPECT_EQ("resources- base+ m:color+ m:tex2coord+ m:multi+ ", log);
    EXPECT_TRUE(materials.m_baseMaterialGroups.empty());
    EXPECT_TRUE(materials.m_colorGroups.empty());
    EXPECT_TRUE(materials.m_texture2DGroups.empty());
    EXPECT_TRUE(materials.m_multiPropertyGroups.empty());
}

TEST_F(MaterialsReadTest, PindicesWithTrailingBlanksGetOneUndefinedEntryMore)
{
    Read(R"(<m:multiproperties id="1" pids="2 3 4">
              <m:multi pindices=" 4  5 "/>
              <m:multi pindices="6 x 7"/>
              <m:multi pindices=""/>
            </m:multiproperties>)");

    MultiPropertyGroup const& multi = *materials.m_multiPropertyGroups.at(0);
    ASSERT_EQ(3u, multi.m_values.size());
    EXPECT_EQ((std::vector<int>{4, 5, -1}), multi.m_values[0].m_pindices);
    // Text that is no number ends the list with a 0 and is not refused.
    EXPECT_EQ((std::vector<int>{6, 0}), multi.m_values[1].m_pindices);
    EXPECT_TRUE(multi.m_values[2].m_pindices.empty());
}

TEST_F(MaterialsReadTest, TexturesNamingOnePartShareItsImage)
{
    Read(R"(<m:texture2d id="1" path="/3D/Textures/a.png" contenttype="image/png"/>
            <m:texture2d id="2" m:path="/3D/Textures/a.png"/>
            <m:texture2d id="3" path="/3D/Textures/b.jpg" m:contenttype="image/jpeg"/>
            <m:texture2d path="/3D/Textures/c.png"/>)");

    EXPECT_EQ("resources- m:texture2d+ m:texture2d+ m:texture2d+ m:texture2d- ", log);
    ASSERT_EQ(3u, materials.m_textures.size());
    Texture2D const& first = *materials.m_textures[0];
    EXPECT_EQ(L"/3D/Textures/a.png", first.m_path);
    EXPECT_EQ(L"image/png", first.m_contentType);
    EXPECT_EQ(L"", materials.m_textures[1]->m_contentType);
    EXPECT_EQ(L"image/jpeg", materials.m_textures[2]->m_contentType);
    EXPECT_EQ(&first, model.GetReference(1));

    ASSERT_NE(nullptr, first.m_image);
    EXPECT_EQ(first.m_image, materials.m_textures[1]->m_image);
    EXPECT_EQ(L"/3D/Textures/b.jpg", materials.m_textures[2]->m_image->GetFileNameInPackage());
    std::vector<Image2D*> const images = Images();
    ASSERT_EQ(2u, images.size());
    EXPECT_EQ(first.m_image, images[0]);
    EXPECT_EQ(materials.m_textures[2]->m_image, images[1]);
}

TEST_F(MaterialsReadTest, SkippingTexturesRefusesTheTextureElementsAndLoadsNoImage)
{
    context.IsSkipTextures = true;
    Read(R"(<m:texture2d id="1" path="/3D/Textures/a.png"/>
            <m:texture2dgroup id="2" texid="1"><m:tex2coord u="1" v="1"/></m:texture2dgroup>
            <m:colorgroup id="3"><m:color color="#ffffff"/></m:colorgroup>)");

    EXPECT_EQ("resources- m:texture2d- m:texture2dgroup- m:tex2coord- m:colorgroup+ m:color+ ", log);
    EXPECT_TRUE(materials.m_textures.empty());
    EXPECT_TRUE(materials.m_texture2DGroups.empty());
    EXPECT_TRUE(Images().empty());
    EXPECT_EQ(1u, materials.m_colorGroups.at(0)->m_values.size());
}

TEST_F(MaterialsReadTest, CancellationStopsReadingWithStatusThreeAndProgressFollowsThePosition)
{
    auto delegate = std::make_shared<OndSDK::Common::IProgressDelegate>();
    std::string const elements = R"(<m:colorgroup id="1"><m:color color="#ffffff"/></m:colorgroup>)";
    {
        OndSDK::Common::IncrementalProgressReporter progress(delegate, "read", 2 * elements.size(), false);
        context.m_progress = &progress;
        Read(elements);
        EXPECT_GT(delegate->GetProgress(), 0.0);
        EXPECT_EQ(0, context.m_status);

        delegate->Cancel();
        EXPECT_THROW(Read(elements), Canceled);
        context.m_progress = nullptr;
    }
    EXPECT_EQ(3, context.m_status);
    EXPECT_EQ(1u, materials.m_colorGroups.size());
}

TEST_F(MaterialsReadTest, OldFormsNeedTheCoreNamespaceOf2013)
{
    // In the namespace of the materials extension "color" is a value and
    // "material" is nothing known; their old attributes are not looked at.
    Read(R"(<m:colorgroup id="1"/>
            <color id="2" value="#102030"/>
            <material id="3" name="Steel" colorid="1" type="metal"/>)");

    EXPECT_EQ("resources- m:colorgroup+ color+ material- ", log);
    EXPECT_EQ(1u, materials.m_colorGroups.size());
    EXPECT_TRUE(materials.m_colorGroups[0]->m_values.empty());
    EXPECT_TRUE(materials.m_baseMaterialGroups.empty());
    EXPECT_EQ(nullptr, model.GetReference(2));
}

TEST_F(MaterialsRead2013Test, OldColoursAndMaterialsBecomeGroupsOfOne)
{
    model.AddNamespace(NamespaceCore2013, L"");
    model.AddNamespace(NamespaceCore2013, L"c"); // a second prefix is not kept
    model.AddNamespace(NamespaceMaterial, L"m");
    Read(R"(<color id="2" value="#102030"/>
            <color id="4" m:value="#405060ff"/>
            <color id="5"/>
            <material id="6" name="Steel" colorid="4" type="metal"/>
            <material id="7" name="Wood" colorid="2"/>
            <material id="8" name="Gold" colorid="6" type="metal"/>
            <material id="9" name="Iron" colorid="99" type="metal"/>)");

    EXPECT_EQ("resources- color+ color+ color- material+ material- material- material- ", log);
    ASSERT_EQ(2u, materials.m_colorGroups.size());
    EXPECT_EQ((std::vector<std::uint32_t>{0x302010}), Colors(*materials.m_colorGroups[0]));
    EXPECT_EQ((std::vector<std::uint32_t>{0x605040}), Colors(*materials.m_colorGroups[1]));
    EXPECT_EQ(materials.m_colorGroups[1].get(), model.GetReference(4));

    ASSERT_EQ(1u, materials.m_baseMaterialGroups.size());
    BaseMaterialGroup const& steel = *materials.m_baseMaterialGroups[0];
    EXPECT_EQ(&steel, model.GetReference(6));
    ASSERT_EQ(1u, steel.m_values.size());
    EXPECT_EQ(L"Steel", steel.m_values[0].m_name);
    EXPECT_EQ(0x605040u, steel.m_values[0].m_color);
}

TEST_F(MaterialsRead2013Test, PrefixedOldFormsAndAMaterialOfAnEmptyColourGroup)
{
    model.AddNamespace(NamespaceCore2015, L"");
    model.AddNamespace(NamespaceCore2013, L"old");
    Read(R"(<old:color id="2" value="#0000ff"/><colorgroup id="3"/>)");
    EXPECT_EQ((std::vector<std::uint32_t>{0xFF0000}), Colors(*materials.m_colorGroups.at(0)));

    // An empty colour group has no first colour to give.
    EXPECT_THROW(Read(R"(<old:material id="4" name="A" colorid="3" type="t"/>)"), Exception);
}
