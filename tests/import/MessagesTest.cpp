// What a user is told: the warnings of each lenient read, and the status and
// message ImportFile gives for everything Operate lets through.
#include "import/ImportSupport.h"

#include "format3mf/ImportFile.h"

#include <gtest/gtest.h>

#include <regex>

using format3mf::import::Importer;
using format3mf::import::ImportFile;
using format3mf::import::ImportResult;

namespace
{
constexpr char kCore[] = "http://schemas.microsoft.com/3dmanufacturing/core/2015/02";
constexpr char kTetrahedron[] =
    R"(<mesh><vertices><vertex x="0" y="0" z="0"/><vertex x="10" y="0" z="0"/><vertex x="0" y="10" z="0"/>)"
    R"(<vertex x="0" y="0" z="10"/></vertices><triangles><triangle v1="0" v2="2" v3="1"/>)"
    R"(<triangle v1="0" v2="1" v3="3"/><triangle v1="1" v2="2" v3="3"/><triangle v1="0" v2="3" v3="2"/>)"
    R"(</triangles></mesh>)";

// A root model: the attributes of its root element, its resources and build.
std::string Model(std::string const& attributes, std::string const& resources, std::string const& build)
{
    return "<model unit=\"millimeter\" " + attributes + "><resources>" + resources + "</resources><build>" +
           build + "</build></model>";
}

std::string Core()
{
    return std::string("xmlns=\"") + kCore + "\"";
}

std::string Joined(std::vector<std::wstring> const& messages)
{
    std::wstring all;
    for (std::wstring const& message : messages)
    {
        all += message + L"\n";
    }
    return StringConversion::ConvertNativeToUTF8(all);
}

struct Case
{
    char const* name;
    std::string model;
    std::vector<std::pair<std::string, std::string>> entries;
    Importer::ErrorStatus status;
    std::size_t meshes;
    // Expected in the warnings (status Success) or the errors.
    char const* message;
};

std::vector<Case> Cases()
{
    std::string const object = std::string("<object id=\"1\">") + kTetrahedron + "</object>";
    std::string const item = "<item objectid=\"1\"/>";
    std::string const production =
        R"(xmlns:p="http://schemas.microsoft.com/3dmanufacturing/production/2015/06")";
    return {
        {"unsupported extension",
         Model(Core() + R"( xmlns:x="http://example.com/unknown" requiredextensions="x")", object, item),
         {},
         Importer::Success,
         1,
         "Unsupported 3mf extension found: http://example.com/unknown (in /3D/3dmodel.model)"},
        {"item of a missing object",
         Model(Core(), object, item + "<item objectid=\"9\"/>"),
         {},
         Importer::Success,
         1,
         "A build item refers to"},
        {"core elements outside the core namespace",
         Model(std::string("xmlns=\"http://example.com/cura\" xmlns:c=\"") + kCore + "\"", object, item),
         {},
         Importer::Success,
         1,
         "stands where the 3MF core namespace belongs"},
        {"texture that is no image",
         Model(Core() + R"( xmlns:m="http://schemas.microsoft.com/3dmanufacturing/material/2015/02")",
               R"(<m:texture2d id="5" path="/3D/Textures/bad.png" contenttype="image/png"/>)"
               R"(<m:texture2dgroup id="6" texid="5"><m:tex2coord u="0" v="0"/></m:texture2dgroup>)"
               "<object id=\"1\">" +
                   std::regex_replace(kTetrahedron, std::regex("<triangle v1=\"0\" v2=\"2\" v3=\"1\"/>"),
                                      R"(<triangle v1="0" v2="2" v3="1" pid="6" p1="0" p2="0" p3="0"/>)") +
                   "</object>",
               item),
         {{"3D/Textures/bad.png", "not an image"}},
         Importer::Success,
         1,
         "The texture /3D/Textures/bad.png is no PNG or JPEG image"},
        {"related part cut short",
         Model(Core() + " " + production,
               object + R"(<object id="2"><components><component p:path="/3D/Objects/o.model" objectid="1"/>)"
                        "</components></object>",
               item + "<item objectid=\"2\"/>"),
         {{"3D/Objects/o.model", Model(Core(), object, "").substr(0, 120)}},
         Importer::Success,
         1,
         "The XML of /3D/Objects/o.model is malformed: "},
        {"root model cut short",
         Model(Core(), object, item).substr(0, 150),
         {},
         Importer::ReadFailed,
         0,
         "The XML of /3D/3dmodel.model is malformed: "},
        // What Operate itself lets through, by design.
        {"colour text too short",
         Model(
             Core() + R"( xmlns:m="http://schemas.microsoft.com/3dmanufacturing/material/2015/02")",
             R"(<m:colorgroup id="5"><m:color color="#12"/></m:colorgroup><object id="1" pid="5" pindex="0">)" +
                 std::string(kTetrahedron) + "</object>",
             item),
         {},
         Importer::ReadFailed,
         0,
         "invalid colour value"},
    };
}
} // namespace

TEST(Messages, EachLenientReadWarnsAndEachFailureSaysWhy)
{
    PackageScratch scratch;
    for (Case const& c : Cases())
    {
        SCOPED_TRACE(c.name);
        std::wstring const file = scratch.File("messages.3mf");
        WriteModelPackage(file, c.model, c.entries);
        ImportResult const result = ImportFile(file);
        EXPECT_EQ(c.status, result.status) << Joined(result.errors);
        EXPECT_EQ(c.meshes, result.meshes.size());
        std::string const messages = Joined(c.status == Importer::Success ? result.warnings : result.errors);
        EXPECT_NE(std::string::npos, messages.find(c.message)) << messages;
        if (c.status == Importer::Success)
        {
            EXPECT_TRUE(result.errors.empty()) << Joined(result.errors);
        }
    }
}

// A file that isn't there fails with a message, like any other.
TEST(Messages, AMissingFileFailsWithAMessage)
{
    PackageScratch scratch;
    ImportResult const missing = ImportFile(scratch.File("not-there.3mf"));
    EXPECT_EQ(Importer::ReadFailed, missing.status);
    ASSERT_FALSE(missing.errors.empty());
    EXPECT_FALSE(missing.errors.front().empty());
}
