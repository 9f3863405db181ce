// Tests that hostile packages (repeated relationships, strange names, truncation)
// fail cleanly and write nothing outside the temporary folder.
#include "support/PackageTestSupport.h"
#include "support/TestModelFile.h"

#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"
#include "format3mf/PackageWrite.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace Format_3MF;

namespace
{
std::string const kTypes =
    R"(<Types><Default Extension="rels" ContentType="r"/>)"
    R"(<Default Extension="model" ContentType="application/vnd.ms-package.3dmanufacturing-3dmodel+xml"/>)"
    R"(<Default Extension="bin" ContentType="b"/></Types>)";
std::string const kModel = R"(<model xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02"/>)";

std::wstring Archive(PackageScratch const& scratch,
                     std::vector<std::pair<std::string, std::string>> const& entries)
{
    std::wstring const path = scratch.File("hostile.3mf");
    WriteArchive(path, entries);
    return path;
}

std::string Relationships(std::vector<std::string> const& targets)
{
    std::string xml = "<Relationships>";
    int id = 0;
    for (std::string const& target : targets)
    {
        xml += "<Relationship Id=\"h" + std::to_string(id++) + "\" Target=\"" + target + "\" Type=\"x\"/>";
    }
    return xml + "</Relationships>";
}
} // namespace

TEST(HostilePackage, ManyRelationshipsToOnePartTakeItOnce)
{
    PackageScratch scratch;
    std::vector<std::string> targets{"/3D/3dmodel.model"};
    targets.insert(targets.end(), 5000, "/big.bin");
    std::wstring const file = Archive(scratch, {{"[Content_Types].xml", kTypes},
                                                {"_rels/.rels", Relationships(targets)},
                                                {"3D/3dmodel.model", kModel},
                                                {"big.bin", std::string(100000, 'x')}});
    std::set<std::string> const before = scratch.Files();
    {
        TestModelFile model;
        Package package(&model);
        PackageRead reader(&package, PackageReadOptions());
        EXPECT_TRUE(reader.Read(file, nullptr));
        std::vector<CustomFile const*> custom;
        package.GetCustomFiles(custom);
        EXPECT_EQ(1u, custom.size());
    }
    EXPECT_EQ(before, scratch.Files());
}

// Each strange name is a part of the archive under that very name, so that
// an extraction that followed it would write outside: every part must land
// in the library's temporary folder, whole, under its last name component.
TEST(HostilePackage, StrangeNamesLandInsideTheTemporaryFolder)
{
    std::string const escaped = "escaped-" + std::to_string(::getpid()) + ".bin";
    struct Case
    {
        std::string target; // as the relationship names it
        std::string entry;  // the archive entry's name
        std::string leaf;   // the name the extracted file ends with
    };
    Case const cases[] = {
        {"/../../../../" + escaped, "../../../../" + escaped, escaped},
        {"//tmp/" + escaped, "/tmp/" + escaped, escaped},
        {"/..", "..", ".."},
        {"3D\\back\\slash.bin", "3D/back/slash.bin", "slash.bin"},
        {"/\xc3\xa9t\xc3\xa9/\xe2\x82\xac.bin", "\xc3\xa9t\xc3\xa9/\xe2\x82\xac.bin", "\xe2\x82\xac.bin"},
        {"/.bin", ".bin", ".bin"},
    };
    PackageScratch scratch;
    boost::filesystem::path const folder =
        boost::filesystem::path(StringConversion::ConvertNativeToUTF8(scratch.File(""))).parent_path();
    for (Case const& c : cases)
    {
        // The override comes first, so that a name without an extension finds it.
        std::string const types = R"(<Types><Override PartName=")" + c.target + R"(" ContentType="x/y"/>)" +
                                  kTypes.substr(std::string("<Types>").size());
        std::wstring const file =
            Archive(scratch, {{"[Content_Types].xml", types},
                              {"_rels/.rels", Relationships({"/3D/3dmodel.model", c.target})},
                              {"3D/3dmodel.model", kModel},
                              {c.entry, "content of " + c.entry}});
        // Without a model, every related part is carried by a way of its own.
        for (bool const withModel : {true, false})
        {
            SCOPED_TRACE(c.entry + (withModel ? ", with a model" : ", without a model"));
            TestModelFile model;
            Package package(withModel ? &model : nullptr);
            PackageRead reader(&package, PackageReadOptions());
            EXPECT_TRUE(reader.Read(file, nullptr));
            std::vector<CustomFile const*> custom;
            package.GetCustomFiles(custom);
            ASSERT_EQ(withModel ? 1u : 2u, custom.size());
            boost::filesystem::path const landed(
                StringConversion::ConvertNativeToUTF8(custom.back()->GetPath()));
            EXPECT_EQ(folder, landed.parent_path());
            std::string const name = landed.filename().string();
            EXPECT_EQ(c.leaf, name.substr(name.find('-') + 1));
            std::ifstream in(landed.string(), std::ios::binary);
            EXPECT_EQ("content of " + c.entry, std::string(std::istreambuf_iterator<char>(in), {}));
        }
    }
    // Without a model, a related part that has no content type, or no entry,
    // fails the read.
    for (std::string const& types : {std::string("<Types/>"), kTypes})
    {
        std::wstring const file = Archive(
            scratch, {{"[Content_Types].xml", types}, {"_rels/.rels", Relationships({"/missing.bin"})}});
        Package package(nullptr);
        EXPECT_FALSE(PackageRead(&package, PackageReadOptions()).Read(file, nullptr)) << types;
    }
    EXPECT_FALSE(boost::filesystem::exists(folder.parent_path() / escaped));
    EXPECT_FALSE(boost::filesystem::exists(boost::filesystem::path("/tmp") / escaped));
    EXPECT_FALSE(boost::filesystem::exists(boost::filesystem::current_path().parent_path() / escaped));
}

TEST(HostilePackage, TruncatedArchivesFailCleanly)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("whole.3mf");
    {
        TestModelFile model;
        model.GetMetaData()[L"Padding"] = MetaDataItem(std::wstring(20000, L'p'));
        Package package(&model);
        PackageWrite(&package, PackageWriteOptions()).Write(file, nullptr);
    }
    std::ifstream in(StringConversion::ConvertNativeToUTF8(file), std::ios::binary);
    std::string const bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    for (std::size_t length :
         {std::size_t(0), std::size_t(22), bytes.size() / 3, bytes.size() / 2, bytes.size() - 10})
    {
        std::wstring const cut = scratch.File("cut.3mf");
        std::ofstream(StringConversion::ConvertNativeToUTF8(cut), std::ios::binary)
            .write(bytes.data(), length);
        TestModelFile model;
        Package package(&model);
        PackageRead reader(&package, PackageReadOptions());
        EXPECT_FALSE(reader.Read(cut, nullptr)) << length;
    }
}
