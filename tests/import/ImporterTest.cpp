// The importer from its caller's side: packages the tests build, each with
// the status, meshes, colours, textures and the message ImportFile gives;
// a cancel in the middle of a mesh; merging into the caller's parts; and the
// memory bound that a fuzzed file once passed.
#include "import/ImportSupport.h"
#include "support/BlankPng.h"
#include "support/MeshDump.h"
#include "support/PeakMemory.h"
#include "support/SlicerPackages.h"

#include "format3mf/ImportFile.h"

#include "common/IProgressDelegate.h"
#include "triangles/MStlTexture.h"

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>

#include <cstdio>
#include <cstdlib>

using format3mf::import::Importer;
using Parts = std::vector<std::unique_ptr<MStlBase>>;

namespace
{
std::string const kMaterial = "http://schemas.microsoft.com/3dmanufacturing/material/2015/02";
std::string const kTetrahedron =
    R"(<mesh><vertices><vertex x="0" y="0" z="0"/><vertex x="10" y="0" z="0"/><vertex x="0" y="10" z="0"/>)"
    R"(<vertex x="0" y="0" z="10"/></vertices><triangles><triangle v1="0" v2="2" v3="1"/>)"
    R"(<triangle v1="0" v2="1" v3="3"/><triangle v1="1" v2="2" v3="3"/><triangle v1="0" v2="3" v3="2"/>)"
    R"(</triangles></mesh>)";

// A root model with the core namespace as default and the materials' bound
// to "m", unless `namespaces` says otherwise.
std::string Model(std::string const& resources, std::string const& build = "<item objectid=\"1\"/>",
                  std::string const& namespaces = "xmlns=\"" + slicer::kCore + "\"")
{
    return "<model unit=\"millimeter\" " + namespaces + " xmlns:m=\"" + kMaterial + "\"><resources>" +
           resources + "</resources><build>" + build + "</build></model>";
}

std::string Object(int id, std::string const& attributes = "", std::string const& mesh = kTetrahedron)
{
    return "<object id=\"" + std::to_string(id) + "\" " + attributes + ">" + mesh + "</object>";
}

// Cancels a fifth of the way through, in the middle of a big mesh.
struct Canceller : OndSDK::Common::IProgressDelegate
{
    void OnProgress(double fraction) override
    {
        if (fraction > 0.2)
        {
            Cancel();
        }
    }
};
} // namespace

// Each lenient read warns and still gives its meshes; each failure, those
// Operate lets through by design included, gives ReadFailed, no mesh and a
// message that says why; a cancel gives Canceled and no mesh.
TEST(Importer, EachPackageGivesItsStatusMeshesAndMessage)
{
    std::string const cube = slicer::BoxMesh(1, 1, 1);
    using Entries = std::vector<std::pair<std::string, std::string>>;
    std::string const textured =
        Model(R"(<m:texture2d id="5" path="/3D/Textures/t.png" contenttype="image/png"/>)"
              R"(<m:texture2dgroup id="6" texid="5"><m:tex2coord u="0" v="0"/></m:texture2dgroup>)" +
              Object(1, "", slicer::BoxMesh(1, 1, 1, R"(pid="6" p1="0")")));
    Entries const png = {{"3D/Textures/t.png", BlankPng::Make(2, 2, false)}};
    std::string vertices;
    for (int i = 0; i < 200000; ++i)
    {
        vertices += "<vertex x=\"" + std::to_string(i) + "\" y=\"0\" z=\"0\"/>";
    }
    std::string const big = Model(Object(1, "", "<mesh><vertices>" + vertices + "</vertices></mesh>"));
    struct Case
    {
        char const* name;
        // The root model; without one, `entries` are the whole archive, and
        // without either there is no file.
        std::string model;
        std::string outcome;
        // In the warnings of a read that succeeds, or the errors.
        std::string message;
        Entries entries = {};
        bool asOnePart = false;
        bool textures = true;
        std::shared_ptr<OndSDK::Common::IProgressDelegate> progress = {};
    };
    Case const cases[] = {
        {"unsupported extension",
         Model(Object(1), "<item objectid=\"1\"/>",
               "xmlns=\"" + slicer::kCore +
                   R"(" xmlns:x="http://example.com/unknown" requiredextensions="x")"),
         "1 meshes, 0 coloured",
         "Unsupported 3mf extension found: http://example.com/unknown (in /3D/3dmodel.model)"},
        {"core elements outside the core namespace, as old Cura wrote them",
         Model(Object(1), "<item objectid=\"1\"/>",
               "xmlns=\"http://software.ultimaker.com/xml/cura/3mf/2015/10\" xmlns:cura=\"" + slicer::kCore +
                   "\""),
         "1 meshes, 0 coloured",
         "The default namespace http://software.ultimaker.com/xml/cura/3mf/2015/10 stands where the 3MF core "
         "namespace belongs; read as " +
             slicer::kCore + " (in /3D/3dmodel.model)"},
        {"texture that is no image",
         textured,
         "1 meshes, 0 coloured, 1 textures, 0 decoded",
         "The texture /3D/Textures/t.png is no PNG or JPEG image",
         {{"3D/Textures/t.png", "not an image"}}},
        {"texture", textured, "1 meshes, 0 coloured, 1 textures, 1 decoded", "", png},
        {"textures left out", textured, "1 meshes, 0 coloured", "", png, false, false},
        {"related part cut short",
         Model(Object(1) + R"(<object id="2"><components><component p:path="/3D/Objects/o.model" )"
                           R"(objectid="1"/></components></object>)",
               R"(<item objectid="1"/><item objectid="2"/>)",
               "xmlns=\"" + slicer::kCore + "\" xmlns:p=\"" + slicer::kProduction + "\""),
         "1 meshes, 0 coloured",
         "The XML of /3D/Objects/o.model is malformed: ",
         {{"3D/Objects/o.model", Model(Object(1), "").substr(0, 120)}}},
        // Merged as one part, a part that owed its colour to its material keeps it.
        {"merged as one part",
         Model(R"(<m:colorgroup id="1"><m:color color="#FF0000"/><m:color color="#00FF00"/></m:colorgroup>)" +
                   Object(2, R"(pid="1" pindex="0")", cube) + Object(3, R"(pid="1" pindex="1")", cube),
               R"(<item objectid="2"/><item objectid="3"/>)"),
         "1 meshes, 12 coloured",
         "",
         {},
         true},
        {"root model cut short", Model(Object(1)).substr(0, 150), "failed",
         "The XML of /3D/3dmodel.model is malformed: "},
        {"colour text too short",
         Model(R"(<m:colorgroup id="5"><m:color color="#12"/></m:colorgroup>)" +
               Object(1, "", slicer::BoxMesh(1, 1, 1, R"(pid="5" p1="0")"))),
         "failed", "invalid colour value"},
        // Only an Override ahead of every Default finds a name without an
        // extension: the lookup's exception is turned into a message.
        {"related part without an extension",
         "",
         "failed",
         "could not be looked up",
         {{"[Content_Types].xml",
           R"(<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">)"
           R"(<Default Extension="rels" ContentType="application/xml"/></Types>)"},
          {"_rels/.rels",
           R"(<Relationships><Relationship Id="r" Target="/3D/part" Type="t"/></Relationships>)"},
          {"3D/part", Model("", "")}}},
        {"missing file", "", "failed", ""},
        {"cancelled mid-mesh", big, "cancelled", "", {}, false, true, std::make_shared<Canceller>()},
    };
    PackageScratch scratch;
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::wstring const file = scratch.File(std::string(c.name) + ".3mf");
        if (!c.model.empty())
        {
            WriteModelPackage(file, c.model, c.entries);
        }
        else if (!c.entries.empty())
        {
            WriteArchive(file, c.entries);
        }
        format3mf::import::ImportSettings settings;
        settings.asOnePart = c.asOnePart;
        settings.textures = c.textures;
        settings.progress = c.progress;
        format3mf::import::ImportResult const result =
            format3mf::import::ImportFile(StringConversion::ConvertNativeToFileName(file), settings);
        bool const ok = result.status == Importer::Success;
        std::size_t coloured = 0;
        std::size_t textures = 0;
        std::size_t decoded = 0;
        for (auto const& part : result.parts)
        {
            MStlBase const* const mesh = part.mesh.get();
            for (long long colour : ColoursOf(*mesh))
            {
                coloured += colour >= 0 ? 1 : 0;
            }
            for (MStlTexture const* texture : mesh->GetTextures())
            {
                ++textures;
                decoded += texture->GetSharedBitmap() != nullptr && !texture->GetSharedBitmap()->IsEmpty();
            }
        }
        // A failed read is ReadFailed, has no meshes and says why.
        EXPECT_EQ(c.outcome, ok ? std::to_string(result.parts.size()) + " meshes, " +
                                      std::to_string(coloured) + " coloured" +
                                      (textures == 0 ? ""
                                                     : ", " + std::to_string(textures) + " textures, " +
                                                           std::to_string(decoded) + " decoded")
                             : !result.parts.empty()               ? "failed badly"
                             : result.status == Importer::Canceled ? "cancelled"
                             : result.status == Importer::ReadFailed && !result.errors.empty()
                                 ? "failed"
                                 : "failed badly")
            << Joined(result.errors);
        std::string const messages = Joined(ok ? result.warnings : result.errors);
        EXPECT_NE(std::string::npos, messages.find(c.message)) << messages;
        EXPECT_TRUE(!ok || result.errors.empty()) << Joined(result.errors);
        EXPECT_TRUE(!ok || !c.message.empty() || result.warnings.empty()) << Joined(result.warnings);
    }
}

// Merged as one part into parts the caller already has, the file goes into
// the last of them.
TEST(Importer, OnePartAppendsToTheLastPart)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("two.3mf");
    WriteModelPackage(file, Model(Object(1) + Object(2), R"(<item objectid="1"/><item objectid="2"/>)"));
    Parts two;
    two.push_back(std::make_unique<MStlBase>());
    two.push_back(std::make_unique<MStlBase>());
    Importer importer;
    importer.SetOutputParts(two);
    importer.SetFileName(file);
    importer.SetImportAsOnePart(true);
    ASSERT_EQ(Importer::Success, importer.Operate(nullptr));
    ASSERT_EQ(2u, two.size());
    EXPECT_EQ(0u, two[0]->GetNumberOfTriangles());
    EXPECT_EQ(8u, two[1]->GetNumberOfTriangles());
}

// A small file that names huge textures: the import must stay within a
// bounded memory, whatever the images claim (once, four 16384 x 16384 images
// in a 9 KB package took 4.2 GB). Each image is over the budget of a package,
// so none is decoded and the geometry comes through. The import runs in a
// fresh process (this test program again, told so by its environment), which
// reads its own peak: a forked copy would count the pages of its parent.
TEST(Importer, FourHugeTexturesInATinyPackageStayWithinTheBound)
{
    if (char const* const child = std::getenv("OND3MF_IMPORT_IN_CHILD"))
    {
        // The number of textures without pixels, or -1 when the import failed.
        format3mf::import::ImportResult const result = format3mf::import::ImportFile(child);
        long found = result.parts.size() == 1 ? 0 : -1;
        for (MStlTexture* texture :
             found == 0 ? result.parts[0].mesh->GetTextures() : std::vector<MStlTexture*>())
        {
            found += texture->GetSharedBitmap() != nullptr && texture->GetSharedBitmap()->IsEmpty() ? 1 : 0;
        }
        std::printf("result %ld peak %zu\n", found, StatusKiB("VmHWM").value_or(0));
        return;
    }
    // Every triangle of the tetrahedron shows one of the four textures.
    std::string resources;
    std::string triangles;
    int const corners[4][3] = {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}};
    std::vector<std::pair<std::string, std::string>> images;
    std::string const png = BlankPng::Make(16384, 16384, true);
    for (int i = 0; i < 4; ++i)
    {
        std::string const n = std::to_string(i);
        resources += R"(<m:texture2d id="1)" + n + R"(" path="/3D/Textures/)" + n +
                     R"(.png" contenttype="image/png"/><m:texture2dgroup id="2)" + n + R"(" texid="1)" + n +
                     R"("><m:tex2coord u="0" v="0"/><m:tex2coord u="1" v="0"/><m:tex2coord u="0" v="1"/>)"
                     "</m:texture2dgroup>";
        triangles += R"(<triangle v1=")" + std::to_string(corners[i][0]) + R"(" v2=")" +
                     std::to_string(corners[i][1]) + R"(" v3=")" + std::to_string(corners[i][2]) +
                     R"(" pid="2)" + n + R"(" p1="0" p2="1" p3="2"/>)";
        images.emplace_back("3D/Textures/" + n + ".png", png);
    }
    PackageScratch scratch;
    std::wstring const file = scratch.File("huge-textures.3mf");
    WriteModelPackage(file,
                      Model(resources + Object(1, "",
                                               kTetrahedron.substr(0, kTetrahedron.find("<triangles>")) +
                                                   "<triangles>" + triangles + "</triangles></mesh>")),
                      images);
    EXPECT_LT(boost::filesystem::file_size(StringConversion::ConvertNativeToUTF8(file)), 64u * 1024)
        << "the point is a small file";

    std::string const self = boost::filesystem::read_symlink("/proc/self/exe").string();
    CommandOutput const output = RunCommand(
        "OND3MF_IMPORT_IN_CHILD=" + Quoted(StringConversion::ConvertNativeToUTF8(file)) + " " + Quoted(self) +
        " --gtest_filter=Importer.FourHugeTexturesInATinyPackageStayWithinTheBound");
    long result = -1;
    std::size_t peakKiB = 0;
    std::size_t const at = output.text.find("result ");
    ASSERT_NE(std::string::npos, at) << output.text;
    ASSERT_EQ(2, std::sscanf(output.text.c_str() + at, "result %ld peak %zu", &result, &peakKiB))
        << output.text;
    EXPECT_EQ(4, result) << "textures without pixels";
    if (peakKiB == 0)
    {
        GTEST_SKIP() << "the peak resident memory can't be read here";
    }
    EXPECT_LT(peakKiB / 1024, 300u) << "peak resident memory of the import in MB";
    RecordProperty("peak_resident_MB", static_cast<int>(peakKiB / 1024));
}
