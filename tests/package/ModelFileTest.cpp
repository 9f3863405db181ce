// Tests of the model part: registry, namespaces, required extensions and the
// analyse-only cut, over made-up parts and every sample.
#include "support/MeshReadComparison.h"
#include "support/PackageReadBack.h"
#include "support/Samples.h"

#include "format3mf/FormatIdentifiers.h"
#include "model/ReadBufferModelFileAnalyzeOnly.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

TEST(ModelFile, RegistryNamespacesAndExtensions)
{
    TestModelFile model;
    EXPECT_EQ(L"/3D/3dmodel.model", model.GetFileNameInPackage());
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

    EXPECT_EQ(1, model.GetSupportedExtension(NamespaceSlice).m_level);
    EXPECT_EQ(2, model.GetSupportedExtension(NamespaceCore2013).m_level);
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
        bool strict;
        std::vector<std::wstring> warnings;
        std::vector<std::wstring> errors;
    };
    Case const cases[] = {
        {"<model " + core + R"( unit="inch"><resources/><build/></model>)", false, {}, {}},
        {"<model " + core + slice + R"( requiredextensions="s  s"/>)",
         false,
         {unsupported + L": " + NamespaceSlice + part},
         {}},
        {"<model " + core + R"( requiredextensions="q"/>)", false, {unsupported + L": prefix q" + part}, {}},
        // Once from the model reader and once from the package reader's handler.
        {"<model " + core + slice + R"( requiredextensions="s"/>)", true, {}, {unsupported, unsupported}},
        {R"(<model xmlns="http://schemas.microsoft.com/3dmanufacturing/2013/01"/>)",
         false,
         {std::wstring(L"Partially supported 3mf extension found: ") + NamespaceCore2013 + part},
         {}},
        {"<model/>", false, {L"No base namespace found" + part}, {}},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.model);
        ModelRead<> read(c.model, c.strict ? strict : PackageReadOptions());
        EXPECT_EQ(c.errors.empty(), read.ok);
        EXPECT_EQ(c.warnings, read.Context().m_warnings);
        EXPECT_EQ(c.errors, read.Context().m_errors);
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
