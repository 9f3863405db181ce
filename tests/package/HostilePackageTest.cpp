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

TEST(HostilePackage, StrangeNamesStayInsideTheTemporaryFolder)
{
    PackageScratch scratch;
    std::string const outside = "/tmp/ond3mf-escaped-" + std::to_string(::getpid());
    std::wstring const file = Archive(
        scratch, {{"[Content_Types].xml", kTypes},
                  {"_rels/.rels", Relationships({"/3D/3dmodel.model", "../../../.." + outside + ".bin",
                                                 outside + ".bin", "3D\\back\\slash.bin",
                                                 "/\xc3\xa9t\xc3\xa9/\xe2\x82\xac.bin", "/..", "/.bin"})},
                  {"3D/3dmodel.model", kModel},
                  {"3D/back/slash.bin", "b"},
                  {"\xc3\xa9t\xc3\xa9/\xe2\x82\xac.bin", "u"}});
    for (bool withModel : {true, false})
    {
        TestModelFile model;
        Package package(withModel ? &model : nullptr);
        PackageRead reader(&package, PackageReadOptions());
        // The outcome aside: no crash, nothing written outside. A name with no
        // extension behind a Default entry makes the content type lookup throw
        // std::out_of_range, which the reader lets pass, as designed.
        try
        {
            reader.Read(file, nullptr);
        }
        catch (std::out_of_range const&)
        {
        }
        std::vector<CustomFile const*> custom;
        package.GetCustomFiles(custom);
        for (CustomFile const* part : custom)
        {
            std::string const path = StringConversion::ConvertNativeToUTF8(part->GetPath());
            EXPECT_TRUE(path.empty() || path.find("OndSDK.AM.3mf-") != std::string::npos) << path;
        }
    }
    EXPECT_FALSE(boost::filesystem::exists(outside + ".bin"));
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
