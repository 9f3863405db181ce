// Tests of reading property groups and textures from "resources", malformed
// elements and the old forms of the core of 2013 included: one table of
// elements, the answer to each and the groups they make.
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

#include <algorithm>
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

std::string Narrow(std::wstring const& text)
{
    return std::string(text.begin(), text.end());
}

// A model with the namespaces given, its package, and the materials to fill.
struct ResourcesRead
{
    TestModelFile model;
    Package package{&model};
    PackageReadContext context;
    Materials materials{&model};
    std::string log;

    explicit ResourcesRead(std::vector<std::pair<std::wstring, std::wstring>> const& namespaces)
    {
        context.m_package = &package;
        for (auto const& [uri, prefix] : namespaces)
        {
            model.AddNamespace(uri, prefix);
        }
    }

    // Reads the elements inside a "resources" element; the log gets the
    // answer to each element, "+" taken and "-" refused.
    void Read(std::string const& elements)
    {
        MaterialsRead reader(&context, &materials, &model);
        ForwardingRoot root(reader, log);
        std::istringstream stream("<resources>" + elements + "</resources>");
        ASSERT_TRUE(OndAM::SaxUtilities::ReadStream(stream, root));
    }

    // Each group of a kind with its id, "?" after it unless the model has it
    // under that id, and what `print` makes of it.
    template <class Group, class Print>
    void Groups(std::ostream& out, char const* kind, std::vector<std::unique_ptr<Group>> const& groups,
                Print print) const
    {
        for (auto const& group : groups)
        {
            int const id = group->m_id;
            out << kind << " " << id << (model.GetReference(id) == group.get() ? ":" : "?:");
            print(*group);
            out << "; ";
        }
    }

    // Every group and texture read, in the order of each kind, with its values;
    // the images of the package at the end.
    std::string Dump() const
    {
        std::ostringstream out;
        Groups(out, "base", materials.m_baseMaterialGroups,
               [&](BaseMaterialGroup const& group)
               {
                   for (BaseMaterial const& value : group.m_values)
                   {
                       out << " " << Narrow(value.m_name) << "=" << std::hex << value.m_color << std::dec;
                   }
               });
        Groups(out, "colors", materials.m_colorGroups,
               [&](ColorGroup const& group)
               {
                   for (Color const& value : group.m_values)
                   {
                       out << " " << std::hex << value.m_color << std::dec;
                   }
               });
        Groups(out, "coords", materials.m_texture2DGroups,
               [&](Texture2DGroup const& group)
               {
                   out << " on " << group.m_texid;
                   for (Texture2DCoord const& value : group.m_values)
                   {
                       out << " " << value.m_u << "," << value.m_v;
                   }
               });
        Groups(out, "multi", materials.m_multiPropertyGroups,
               [&](MultiPropertyGroup const& group)
               {
                   for (tReferenceID pid : group.m_pids)
                   {
                       out << " " << pid;
                   }
                   for (MultiProperty const& value : group.m_values)
                   {
                       out << " [";
                       for (int index : value.m_pindices)
                       {
                           out << " " << index;
                       }
                       out << " ]";
                   }
               });
        std::vector<IPackageFile*> images;
        for (IPackageFile* file : package.GetPackageFiles())
        {
            if (dynamic_cast<Image2D*>(file) != nullptr)
            {
                images.push_back(file);
            }
        }
        Groups(out, "texture", materials.m_textures,
               [&](Texture2D const& texture)
               {
                   out << " " << Narrow(texture.m_path) << " " << Narrow(texture.m_contentType) << " image "
                       << std::find(images.begin(), images.end(), texture.m_image) - images.begin();
               });
        out << "images:";
        for (IPackageFile const* image : images)
        {
            out << " " << Narrow(image->GetFileNameInPackage());
        }
        return out.str();
    }
};

std::vector<std::pair<std::wstring, std::wstring>> const kToday = {{NamespaceCore2015, L""},
                                                                   {NamespaceMaterial, L"m"}};

struct Case
{
    char const* name;
    std::vector<std::pair<std::wstring, std::wstring>> namespaces;
    std::string elements;
    std::string log;
    std::string dump; // "throws" where the read throws
    bool skipTextures = false;
};

// Colours are stored with red in the low byte.
std::vector<Case> const kCases = {
    // A "base" without a name adds nothing, so later indices are one lower
    // than the count of elements; equal values stay two values.
    {"groups keep the values of the file in order", kToday,
     R"(<basematerials id="3"><base name="Red" displaycolor="#ff0000"/><base displaycolor="#00ff00"/>
        <base name="Blue" displaycolor="#0000ff80"/><base name="Red" displaycolor="#ff0000"/></basematerials>
        <m:colorgroup id="5"><m:color color="#112233"/><m:color color="#112233"/><m:color m:color="#445566"/>
        <m:color/></m:colorgroup>
        <m:texture2dgroup m:id="7" texid="9"><m:tex2coord u="0.25" m:v="0.75"/><m:tex2coord/></m:texture2dgroup>
        <m:texture2dgroup id="8"/>
        <m:multiproperties id="11" pids="3 5"><m:multi pindices="0 1"/><m:multi m:pindices="2"/><m:multi/>
        </m:multiproperties>)",
     "resources- basematerials+ base+ base+ base+ base+ m:colorgroup+ m:color+ m:color+ m:color+ m:color+ "
     "m:texture2dgroup+ m:tex2coord+ m:tex2coord+ m:texture2dgroup+ m:multiproperties+ m:multi+ m:multi+ "
     "m:multi+ ",
     "base 3: Red=ff Blue=ff0000 Red=ff; colors 5: 332211 332211 665544; coords 7: on 9 0.25,0.75 0,0; "
     "coords 8: on -1; multi 11: 3 5 [ 0 1 ] [ 2 ]; images:"},
    // "basematerials" is a core element: its id is read without the prefix
    // only. The extension groups accept both forms.
    {"groups without an id are refused and values go to the group opened last", kToday,
     R"(<basematerials id="1"/><m:colorgroup m:id="2"/>
        <basematerials m:id="3"><base name="A" displaycolor="#010203"/></basematerials><m:colorgroup/>
        <m:texture2dgroup texid="4"/><m:multiproperties pids="1"/><m:color color="#0a0b0c"/><other/>
        <base name="B" displaycolor="#000000"/>)",
     "resources- basematerials+ m:colorgroup+ basematerials- base+ m:colorgroup- m:texture2dgroup- "
     "m:multiproperties- m:color+ other- base+ ",
     "base 1: A=30201 B=0; colors 2: c0b0a; images:"},
    {"values before any group are taken and ignored", kToday,
     R"(<base name="A" displaycolor="#010203"/><m:color color="#010203"/><m:tex2coord u="1" v="1"/>
        <m:multi pindices="0"/>)",
     "resources- base+ m:color+ m:tex2coord+ m:multi+ ", "images:"},
    // Blanks behind the last index give one undefined entry more; text that
    // is no number ends the list with a 0 and is not refused.
    {"pindices with trailing blanks and with text", kToday,
     R"(<m:multiproperties id="1" pids="2 3 4"><m:multi pindices=" 4  5 "/><m:multi pindices="6 x 7"/>
        <m:multi pindices=""/></m:multiproperties>)",
     "resources- m:multiproperties+ m:multi+ m:multi+ m:multi+ ",
     "multi 1: 2 3 4 [ 4 5 -1 ] [ 6 0 ] [ ]; images:"},
    {"textures naming one part share its image", kToday,
     R"(<m:texture2d id="1" path="/3D/Textures/a.png" contenttype="image/png"/>
        <m:texture2d id="2" m:path="/3D/Textures/a.png"/>
        <m:texture2d id="3" path="/3D/Textures/b.jpg" m:contenttype="image/jpeg"/>
        <m:texture2d path="/3D/Textures/c.png"/>)",
     "resources- m:texture2d+ m:texture2d+ m:texture2d+ m:texture2d- ",
     "texture 1: /3D/Textures/a.png image/png image 0; texture 2: /3D/Textures/a.png  image 0; "
     "texture 3: /3D/Textures/b.jpg image/jpeg image 1; images: /3D/Textures/a.png /3D/Textures/b.jpg"},
    {"skipping textures refuses the texture elements and loads no image", kToday,
     R"(<m:texture2d id="1" path="/3D/Textures/a.png"/>
        <m:texture2dgroup id="2" texid="1"><m:tex2coord u="1" v="1"/></m:texture2dgroup>
        <m:colorgroup id="3"><m:color color="#ffffff"/></m:colorgroup>)",
     "resources- m:texture2d- m:texture2dgroup- m:tex2coord- m:colorgroup+ m:color+ ",
     "colors 3: ffffff; images:", true},
    // In the namespace of the materials extension "color" is a value and
    // "material" is nothing known; their old attributes are not looked at.
    {"old forms need the core namespace of 2013", kToday,
     R"(<m:colorgroup id="1"/><color id="2" value="#102030"/>
        <material id="3" name="Steel" colorid="1" type="metal"/>)",
     "resources- m:colorgroup+ color+ material- ", "colors 1:; images:"},
    // Old colours and materials become groups of one; a material takes the
    // first colour of an old colour.
    {"old colours and materials",
     {{NamespaceCore2013, L""}, {NamespaceCore2013, L"c"}, {NamespaceMaterial, L"m"}},
     R"(<color id="2" value="#102030"/><color id="4" m:value="#405060ff"/><color id="5"/>
        <material id="6" name="Steel" colorid="4" type="metal"/><material id="7" name="Wood" colorid="2"/>
        <material id="8" name="Gold" colorid="6" type="metal"/>
        <material id="9" name="Iron" colorid="99" type="metal"/>)",
     "resources- color+ color+ color- material+ material- material- material- ",
     "base 6: Steel=605040; colors 2: 302010; colors 4: 605040; images:"},
    {"prefixed old forms",
     {{NamespaceCore2015, L""}, {NamespaceCore2013, L"old"}},
     R"(<old:color id="2" value="#0000ff"/><colorgroup id="3"/>)",
     "resources- old:color+ colorgroup+ ",
     "colors 2: ff0000; colors 3:; images:"},
    // An empty colour group has no first colour to give.
    {"an old material of an empty colour group",
     {{NamespaceCore2015, L""}, {NamespaceCore2013, L"old"}},
     R"(<colorgroup id="3"/><old:material id="4" name="A" colorid="3" type="t"/>)",
     "",
     "throws"},
};
} // namespace

TEST(MaterialsRead, ElementsAnswersAndGroups)
{
    for (Case const& c : kCases)
    {
        SCOPED_TRACE(c.name);
        ResourcesRead resources(c.namespaces);
        resources.context.IsSkipTextures = c.skipTextures;
        try
        {
            resources.Read(c.elements);
        }
        catch (Exception const&)
        {
            EXPECT_EQ("throws", c.dump);
            continue;
        }
        EXPECT_EQ(c.log, resources.log);
        EXPECT_EQ(c.dump, resources.Dump());
    }
}

TEST(MaterialsRead, CancellationStopsReadingWithStatusThreeAndProgressFollowsThePosition)
{
    ResourcesRead resources(kToday);
    auto delegate = std::make_shared<OndSDK::Common::IProgressDelegate>();
    std::string const elements = R"(<m:colorgroup id="1"><m:color color="#ffffff"/></m:colorgroup>)";
    {
        OndSDK::Common::IncrementalProgressReporter progress(delegate, "read", 2 * elements.size(), false);
        resources.context.m_progress = &progress;
        resources.Read(elements);
        EXPECT_GT(delegate->GetProgress(), 0.0);
        EXPECT_EQ(0, resources.context.m_status);

        delegate->Cancel();
        EXPECT_THROW(resources.Read(elements), Canceled);
        resources.context.m_progress = nullptr;
    }
    EXPECT_EQ(3, resources.context.m_status);
    EXPECT_EQ(1u, resources.materials.m_colorGroups.size());
}
