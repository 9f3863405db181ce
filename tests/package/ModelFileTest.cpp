// Tests of the model part: registry, namespaces, required extensions and the
// analyse-only cut.
#include "support/PackageTestSupport.h"
#include "support/TestModelFile.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"
#include "format3mf/PackageWrite.h"
#include "model/ReadBufferModelFileAnalyzeOnly.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace Format_3MF;

namespace
{
struct Probe
{
    std::vector<std::wstring> warnings;
    std::vector<std::wstring> errors;
    bool ok = false;
};

Probe ReadModel(std::string const& xml, PackageReadOptions const& options = PackageReadOptions())
{
    PackageScratch scratch;
    TestModelFile model;
    Package package(&model);
    PackageRead reader(&package, options);
    std::wstring const path = scratch.File("model.3mf");
    WriteModelPackage(path, xml);
    Probe probe;
    probe.ok = reader.Read(path, nullptr);
    probe.warnings = reader.GetContext().m_warnings;
    probe.errors = reader.GetContext().m_errors;
    return probe;
}

class StringBuffer : public IReadBuffer
{
public:
    explicit StringBuffer(std::string text) : m_text(std::move(text)) {}
    std::size_t Read(char* data, std::size_t size) override
    {
        std::size_t const count = std::min(size, m_text.size() - m_position);
        std::memcpy(data, m_text.data() + m_position, count);
        m_position += count;
        return count;
    }

private:
    std::string m_text;
    std::size_t m_position = 0;
};

std::string Analyse(std::string const& text)
{
    ReadBufferModelFileAnalyzeOnly buffer(new StringBuffer(text));
    std::string result(text.size() + 64, '\0');
    result.resize(buffer.Read(result.data(), result.size()));
    return result;
}
} // namespace

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

TEST(ModelFile, RelatedFileNamesCountSeparately)
{
    TestModelFile model;
    Package package(&model);
    PackageWriteContext context;
    EXPECT_EQ(L"/3D/Objects/Object.model", model.GenerateRelatedObjectFileName(context));
    EXPECT_EQ(L"/3D/Objects/Object(2).model", model.GenerateRelatedObjectFileName(context));
    EXPECT_EQ(L"/3D/Slices/Slices.model", model.GenerateRelatedSliceFileName(context));
    ModelFile* related = model.AddRelatedModelFile(L"/3D/Objects/Object.model");
    EXPECT_EQ(related, model.AddRelatedModelFile(L"/3D/Objects/Object.model"));
    EXPECT_EQ(&model, related->GetParent());
    ASSERT_EQ(1u, model.GetRelsFile().GetRelations().size());
    EXPECT_EQ(L"/3D/Objects/Object.model", model.GetRelsFile().GetRelations()[0].m_target);
}

TEST(ModelFileRead, RequiredExtensionsAndBaseNamespace)
{
    std::string const core = R"(xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02")";
    std::string const slice = R"( xmlns:s="http://schemas.microsoft.com/3dmanufacturing/slice/2015/07")";
    std::wstring const unsupported = L"Unsupported 3mf extension found";

    Probe plain = ReadModel("<model " + core + R"( unit="inch"><resources/><build/></model>)");
    EXPECT_TRUE(plain.ok);
    EXPECT_TRUE(plain.warnings.empty());

    // A warning says which extension, and in which part.
    std::wstring const part = L" (in /3D/3dmodel.model)";
    Probe required = ReadModel("<model " + core + slice + R"( requiredextensions="s  s"/>)");
    EXPECT_EQ(std::vector<std::wstring>{unsupported + L": " + NamespaceSlice + part}, required.warnings);

    Probe undeclared = ReadModel("<model " + core + R"( requiredextensions="q"/>)");
    EXPECT_EQ(std::vector<std::wstring>{unsupported + L": prefix q" + part}, undeclared.warnings);

    PackageReadOptions strict;
    strict.Package.m_failOnUnsupportedExtension = true;
    Probe failed = ReadModel("<model " + core + slice + R"( requiredextensions="s"/>)", strict);
    EXPECT_FALSE(failed.ok);
    // Once from the model reader and once from the package reader's handler.
    EXPECT_EQ((std::vector<std::wstring>{unsupported, unsupported}), failed.errors);

    Probe old = ReadModel(R"(<model xmlns="http://schemas.microsoft.com/3dmanufacturing/2013/01"/>)");
    ASSERT_EQ(1u, old.warnings.size());
    EXPECT_EQ(std::wstring(L"Partially supported 3mf extension found: ") + NamespaceCore2013 + part,
              old.warnings[0]);

    Probe none = ReadModel("<model/>");
    EXPECT_EQ(std::vector<std::wstring>{L"No base namespace found" + part}, none.warnings);
}

TEST(ModelFileRead, AnalyseOnlyCutsBeforeTheResources)
{
    EXPECT_EQ("<model a='1'><metadata/></model>", Analyse("<model a='1'><metadata/><ReSoUrCeS><object/>"));
    EXPECT_EQ("", Analyse("<model><resources/></model>")); // no "<resources>": an empty document
    EXPECT_EQ("", Analyse("<model><resources>"));          // a match that ends the data is not taken
    std::string big = "<model>" + std::string(200000, ' ') + "<resources> ";
    EXPECT_EQ("<model>" + std::string(200000, ' ') + "</model>", Analyse(big)); // found across blocks
    std::string wide;
    for (char c : std::string("<m><resources>x"))
    {
        wide += c;
        wide += '\0';
    }
    std::string expected;
    for (char c : std::string("<m></model>"))
    {
        expected += c;
        expected += '\0';
    }
    EXPECT_EQ(expected, Analyse(wide));
}
