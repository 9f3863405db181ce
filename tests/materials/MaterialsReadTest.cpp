// Tests of reading property groups and textures from "resources", malformed
// elements and the old forms of the core of 2013 included: a table of
// elements, the answer to each and the groups they make, kept as data.
#include "materials/MaterialsRead.h"

#include "format3mf/Exception.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/Image2D.h"
#include "format3mf/Materials.h"
#include "format3mf/Package.h"
#include "support/CaseFile.h"
#include "support/TestModelFile.h"

#include "common/IncrementalProgressReporter.h"
#include "common/StringConversion.h"
#include "sax/SaxUtilities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

using namespace Format_3MF;

namespace
{
// Stands in for the resources reader: offers every element to the materials
// reader and logs its answers, but takes every element itself, so that the
// children of a refused group element still reach the materials reader.
struct ForwardingRoot : ISAXReadHelper
{
    ForwardingRoot(MaterialsRead& materials, std::string& log) : m_materials(materials), m_log(log) {}

    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override
    {
        bool const taken = m_materials.HandleTag(tag, reader);
        m_log += std::string(tag.begin(), tag.end()) + (taken ? "+ " : "- ");
        return true;
    }

    MaterialsRead& m_materials;
    std::string& m_log;
};

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
                       out << " " << StringConversion::ConvertNativeToUTF8(value.m_name) << "=" << std::hex
                           << value.m_color << std::dec;
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
        std::string names = "images:";
        for (IPackageFile* file : package.GetPackageFiles())
        {
            if (dynamic_cast<Image2D*>(file) != nullptr)
            {
                images.push_back(file);
                names += " " + StringConversion::ConvertNativeToUTF8(file->GetFileNameInPackage());
            }
        }
        Groups(out, "texture", materials.m_textures,
               [&](Texture2D const& texture)
               {
                   out << " " << StringConversion::ConvertNativeToUTF8(texture.m_path) << " "
                       << StringConversion::ConvertNativeToUTF8(texture.m_contentType) << " image "
                       << std::find(images.begin(), images.end(), texture.m_image) - images.begin();
               });
        out << names;
        return out.str();
    }
};

// The namespaces of a case, "KEY:PREFIX" each.
std::vector<std::pair<std::wstring, std::wstring>> Namespaces(std::string const& text)
{
    std::map<std::string, std::wstring> const uris = {
        {"core2013", NamespaceCore2013}, {"core2015", NamespaceCore2015}, {"material", NamespaceMaterial}};
    std::vector<std::pair<std::wstring, std::wstring>> namespaces;
    std::istringstream in(text);
    for (std::string item; in >> item;)
    {
        std::size_t const colon = item.find(':');
        namespaces.emplace_back(uris.at(item.substr(0, colon)),
                                std::wstring(item.begin() + colon + 1, item.end()));
    }
    return namespaces;
}
} // namespace

// The cases are in materials_read_cases.txt, whose head says how they are
// written down.
TEST(MaterialsRead, ElementsAnswersAndGroups)
{
    auto const cases = ReadCaseFile(FORMAT3MF_SOURCE_DIR "/tests/materials/materials_read_cases.txt");
    EXPECT_EQ(10u, cases.size());
    for (CaseRecord const& c : cases)
    {
        SCOPED_TRACE(c.name);
        ResourcesRead resources(Namespaces(c.Get("namespaces")));
        resources.context.IsSkipTextures = !c.Get("skip-textures").empty();
        try
        {
            resources.Read(c.Get("elements"));
        }
        catch (Exception const&)
        {
            EXPECT_EQ("throws", c.Get("dump"));
            continue;
        }
        EXPECT_EQ(c.Get("log") + " ", resources.log);
        EXPECT_EQ(c.Get("dump"), resources.Dump());
    }
}

TEST(MaterialsRead, CancellationStopsReadingWithStatusThreeAndProgressFollowsThePosition)
{
    ResourcesRead resources(Namespaces("core2015: material:m"));
    auto delegate = std::make_shared<OndSDK::Common::IProgressDelegate>();
    std::string const elements = R"(<m:colorgroup id="1"><m:color color="#ffffff"/></m:colorgroup>)";
    {
        OndSDK::Common::IncrementalProgressReporter progress(delegate, "read", 2 * elements.size(), false);
        resources.context.m_progress = &progress;
        resources.Read(elements);
        EXPECT_GT(delegate->GetProgress(), 0.0);

        delegate->Cancel();
        EXPECT_THROW(resources.Read(elements), Canceled);
        resources.context.m_progress = nullptr;
    }
    EXPECT_EQ(3, resources.context.m_status);
    EXPECT_EQ(1u, resources.materials.m_colorGroups.size());
}
