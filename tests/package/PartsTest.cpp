// Tests of the parts of a package: relationship targets, content type
// lookup, the ids a package hands out, the model part's registry, namespaces
// and required extensions, and the analyse-only cut over made-up parts and
// every sample.
#include "support/MeshReadComparison.h"
#include "support/PackageReadBack.h"
#include "support/Samples.h"

#include "format3mf/Content.h"
#include "format3mf/CustomFile.h"
#include "format3mf/FormatIdentifiers.h"
#include "model/ReadBufferModelFileAnalyzeOnly.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

TEST(ModelFile, RegistryNamespacesAndExtensions)
{
    TestModelFile model;
    IReferenced a, b, c;
    EXPECT_EQ(5, int(model.Register(a, 5)));
    EXPECT_EQ(2, int(model.Register(b, 2)));
    EXPECT_EQ(3, int(model.Register(c, -1))); // the next after the last, not after the largest
    EXPECT_EQ(5, int(model.Register(a, 9)));  // a defined identifier stays
    EXPECT_EQ(&b, model.GetReference(2));
    EXPECT_EQ(nullptr, model.GetReference(4));

    model.AddNamespace(NamespaceMaterial, L"m");
    model.AddNamespace(NamespaceMaterial, L"x");
    EXPECT_EQ(L"m", model.GetPrefix(NamespaceMaterial));
    EXPECT_EQ(L"", model.GetNamespace(L"x"));

    model.AddSupportedExtension(NamespaceCore2013, true);
    EXPECT_EQ(2, model.GetSupportedExtension(NamespaceCore2013).m_level); // the first level stays
}

TEST(ModelFileRead, RequiredExtensionsAndBaseNamespace)
{
    std::string const core = R"(xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02")";
    std::string const slice = R"( xmlns:s="http://schemas.microsoft.com/3dmanufacturing/slice/2015/07")";
    std::wstring const unsupported = L"Unsupported 3mf extension found";
    // A warning says which extension, and in which part.
    std::wstring const part = L" (in /3D/3dmodel.model)";
    PackageReadOptions strict;
    strict.Package.m_failOnUnsupportedExtension = true;
    struct Case
    {
        std::string model;
        std::wstring warning; // the only one; empty for none
        bool strict = false;
    };
    Case const cases[] = {
        {"<model " + core + R"( unit="inch"><resources/><build/></model>)", L""},
        {"<model " + core + slice + R"( requiredextensions="s  s"/>)",
         unsupported + L": " + NamespaceSlice + part},
        {"<model " + core + R"( requiredextensions="q"/>)", unsupported + L": prefix q" + part},
        {"<model " + core + slice + R"( requiredextensions="s"/>)", L"", true},
        {R"(<model xmlns="http://schemas.microsoft.com/3dmanufacturing/2013/01"/>)",
         std::wstring(L"Partially supported 3mf extension found: ") + NamespaceCore2013 + part},
        {"<model/>", L"No base namespace found" + part},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.model);
        ModelRead<> read(c.model, c.strict ? strict : PackageReadOptions());
        EXPECT_EQ(!c.strict, read.ok);
        EXPECT_EQ(c.warning.empty() ? std::vector<std::wstring>{} : std::vector<std::wstring>{c.warning},
                  read.Context().m_warnings);
        // Once from the model reader and once from the package reader's handler.
        EXPECT_EQ(
            (c.strict ? std::vector<std::wstring>{unsupported, unsupported} : std::vector<std::wstring>{}),
            read.Context().m_errors);
    }
}

// The analysis hands on the document up to the resources, closed; every
// sample must read so.
TEST(ModelFileRead, AnalyseOnlyCutsBeforeTheResources)
{
    auto const wide = [](std::string const& text)
    {
        std::string wide;
        for (char c : text)
        {
            wide += c;
            wide += '\0';
        }
        return wide;
    };
    std::string const blank(200000, ' ');
    std::pair<std::string, std::string> const cases[] = {
        {"<model a='1'><metadata/><ReSoUrCeS><object/>", "<model a='1'><metadata/></model>"},
        {"<model><resources/></model>", ""}, // no "<resources>": an empty document
        {"<model><resources>", ""},          // a match that ends the data is not taken
        {"<model>" + blank + "<resources> ", "<model>" + blank + "</model>"}, // found across blocks
        {wide("<m><resources>x"), wide("<m></model>")},
    };
    for (auto const& [text, expected] : cases)
    {
        ReadBufferModelFileAnalyzeOnly buffer(new MeshReadComparison::BlockReadBuffer(text, text.size()));
        std::string result(text.size() + 64, '\0');
        result.resize(buffer.Read(result.data(), result.size()));
        EXPECT_EQ(expected, result);
    }

    std::vector<boost::filesystem::path> const files = Samples();
    if (files.empty())
    {
        SKIP_OR_FAIL_MISSING("sample files beside the checkout (" << FORMAT3MF_TESTDATA << ")");
    }
    PackageReadOptions options;
    options.Package.m_analyseOnly = true;
    for (auto const& file : files)
    {
        ReadBack<> read(file.wstring(), options);
        EXPECT_TRUE(read.ok) << file.filename() << ": " << read.Error();
        EXPECT_EQ(0, read.Context().m_status) << file.filename();
    }
}

// Targets relative to a part in a folder; backslashes and names relative to
// the package's own relationships are the hostile package's.
TEST(RelsFile, TargetResolutionAndOneRelationshipPerTarget)
{
    TestModelFile model;
    for (auto const& [target, resolved] :
         {std::pair{L"../a.png", L"/a.png"}, std::pair{L"tex/./b.png", L"/3D/tex/b.png"},
          std::pair{L"/x/../y.png", L"/x/../y.png"}, std::pair{L"", L""}})
    {
        EXPECT_EQ(resolved, model.GetRelsFile().GetPackagefile({target, L"", L""}).GetFileNameInPackage())
            << target;
    }
    RelsFile rels(nullptr);
    rels.AddRelationship({L"/a", L"rel0", L"first"});
    rels.AddRelationship({L"/a", L"rel1", L"second"});
    ASSERT_EQ(1u, rels.GetRelations().size());
    EXPECT_EQ(L"first", rels.GetRelations()[0].m_type);
}

TEST(Content, LookupFollowsListOrderAndLowersTheName)
{
    Content content;
    EXPECT_EQ(L"", content.GetElement(L"/noextension").m_contentType); // empty list: no throw
    content.AddDefaultElement(L"png", L"image/png");
    content.AddDefaultElement(L"model", L"model");
    content.AddOverrideElement(L"/3D/3dmodel.model", L"override");
    content.AddDefaultElement(L"png", L"texture"); // replaces in place
    ASSERT_EQ(3u, content.GetElements().size());
    EXPECT_EQ(L"texture", content.GetElement(L"/A.PNG").m_contentType);
    EXPECT_EQ(L"model", content.GetElement(L"/3D/3dmodel.model").m_contentType); // list order wins
    EXPECT_EQ(L"", content.GetElement(L"/x.jpg").m_contentType);
    EXPECT_THROW(content.GetElement(L"/folder.d/noextension"), std::out_of_range);

    Content overrides;
    overrides.AddOverrideElement(L"/Metadata/Thumb", L"image/png");
    overrides.AddDefaultElement(L"rels", L"r");
    EXPECT_EQ(L"image/png", overrides.GetElement(L"/metadata/thumb").m_contentType);
    EXPECT_EQ(L"r", overrides.GetElement(L"/_rels/.rels").m_contentType); // all extension
}

TEST(Package, RegistrationGivesContentTypesAndRelationshipIds)
{
    TestModelFile model;
    Package package(&model);
    EXPECT_EQ(3u, package.GetPackageFiles().size());
    package.RegisterRelationString(L"rel2");
    EXPECT_EQ(L"rel1", package.GetNewRelationString());
    EXPECT_EQ(L"rel3", package.GetNewRelationString()); // rel2 is known

    auto custom = std::make_shared<CustomFile>(L"/tmp/some file.txt", nullptr);
    custom->SetFolderInPackage(L"/Metadata");
    custom->SetContentInfo(L"text/plain", L"");
    package.AddCustomFile(custom, true, nullptr);
    package.AddPackageFile(custom.get(), true, nullptr); // listed once; the second relationship is refused
    EXPECT_EQ(L"/Metadata/some file.txt", custom->GetFileNameInPackage());
    EXPECT_EQ(4u, package.GetPackageFiles().size());
    EXPECT_EQ(L"/Metadata/some file.txt", package.GetContent().GetElements().back().m_partName);
    EXPECT_EQ(2u, package.GetRelsFile().GetRelations().size());
    EXPECT_EQ(nullptr, package.GetPackageFile(L"/metadata/some file.txt")); // exact case only

    Package carrier(nullptr);
    EXPECT_EQ(2u, carrier.GetPackageFiles().size());
    EXPECT_TRUE(carrier.GetRelsFile().GetRelations().empty());
}
