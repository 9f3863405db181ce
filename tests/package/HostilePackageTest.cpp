// Packages that are broken, cut short or hostile (repeated relationships,
// names that climb out, cycles, no root model): each read fails with its
// status and message or carries its parts, and nothing lands outside the
// temporary folder or outlives the package.
#include "support/PackageReadBack.h"

#include "common/IProgressDelegate.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>

using namespace Format_3MF;

namespace
{
std::string const kTypes =
    R"(<Types><Default Extension="rels" ContentType="r"/>)"
    R"(<Default Extension="model" ContentType="application/vnd.ms-package.3dmanufacturing-3dmodel+xml"/>)"
    R"(<Default Extension="bin" ContentType="b"/><Default Extension="txt" ContentType="t"/></Types>)";
std::string const kModel = R"(<model xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02"/>)";

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

std::string Bytes(std::wstring const& file)
{
    std::vector<unsigned char> const bytes = ReadBytes(file);
    return {bytes.begin(), bytes.end()};
}
} // namespace

TEST(HostilePackage, FailuresGiveTheirStatusAndMessage)
{
    PackageScratch scratch;
    auto const archive = [&scratch](std::vector<std::pair<std::string, std::string>> const& entries)
    {
        std::wstring const file = scratch.File("entries.3mf");
        WriteArchive(file, entries);
        return Bytes(file);
    };
    std::wstring const whole = scratch.File("whole.3mf");
    {
        TestModelFile model;
        model.GetMetaData()[L"Padding"] = MetaDataItem(std::wstring(20000, L'p'));
        Package package(&model);
        ASSERT_TRUE(WritePackage(package, whole));
    }
    std::string const bytes = Bytes(whole);
    std::string const rels = R"(<Relationships><Relationship Id="r" Target="/3D/m.model"/></Relationships>)";
    struct Case
    {
        std::string what;
        std::string bytes; // of the file
        bool model;        // read into a model, or without one
        int status;        // 3: cancelled before the read starts; -1: any
        std::string error; // how the only message starts; empty for none, "*" for any
    };
    std::vector<Case> cases = {
        {"no zip archive", "this is no zip archive", true, 0,
         "Could not open 3mf archive: Not a zip archive"},
        {"no relationships", archive({{"[Content_Types].xml", "<Types/>"}}), true, 1, "Root model not found"},
        {"malformed model", archive({{"_rels/.rels", rels}, {"3D/m.model", "<model"}}), true, 0,
         "The XML of /3D/m.model is malformed: "},
        {"cancelled", bytes, true, 3, ""},
        // Without a model, a related part with no content type, or no entry, fails the read.
        {"no content type",
         archive({{"[Content_Types].xml", "<Types/>"}, {"_rels/.rels", Relationships({"/x.bin"})}}), false,
         -1, "*"},
        {"no entry", archive({{"[Content_Types].xml", kTypes}, {"_rels/.rels", Relationships({"/x.bin"})}}),
         false, -1, "*"},
    };
    for (std::size_t length : {std::size_t(0), std::size_t(22), bytes.size() / 3, bytes.size() - 10})
    {
        cases.push_back({"cut to " + std::to_string(length), bytes.substr(0, length), true, -1, "*"});
    }
    auto const cancelled = std::make_shared<OndSDK::Common::IProgressDelegate>();
    cancelled->Cancel();
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.what);
        std::wstring const file = scratch.File("hostile.3mf");
        std::ofstream(StringConversion::ConvertNativeToUTF8(file), std::ios::binary) << c.bytes;
        TestModelFile model;
        Package package(c.model ? &model : nullptr);
        PackageRead reader(&package, PackageReadOptions());
        EXPECT_FALSE(reader.Read(file, c.status == 3 ? cancelled : nullptr));
        EXPECT_TRUE(c.status == -1 || c.status == reader.GetContext().m_status)
            << reader.GetContext().m_status;
        std::vector<std::wstring> const& errors = reader.GetContext().m_errors;
        if (c.error != "*")
        {
            ASSERT_EQ(c.error.empty() ? 0u : 1u, errors.size());
            // The message may go on with the cause.
            EXPECT_TRUE(c.error.empty() ||
                        StringConversion::ConvertNativeToUTF8(errors[0]).rfind(c.error, 0) == 0)
                << StringConversion::ConvertNativeToUTF8(errors[0]);
        }
    }
    // A file that can't be opened says why, in the system's words.
    for (auto const& [name, cause] : {std::make_pair("missing.3mf", ": No such file or directory"),
                                      std::make_pair("", ": Is a directory")})
    {
        std::wstring const path = scratch.File(name);
        ReadBack<> unreadable(*name ? path : path.substr(0, path.rfind(L'/')));
        EXPECT_FALSE(unreadable.ok);
        EXPECT_EQ(0, unreadable.Context().m_status);
        EXPECT_EQ(std::vector<std::wstring>{L"Could not read " +
                                            (*name ? path : path.substr(0, path.rfind(L'/'))) +
                                            StringConversion::ConvertMultiByteStringToOndString(cause)},
                  unreadable.Context().m_errors);
    }
}

// One package of hostile relationships: a part named by 5000 of them is
// taken once, and each strange name is a part of the archive under that
// very name, so that an extraction that followed it would write outside:
// every part must land in the library's temporary folder, whole, under its
// last name component. Parts that relate to each other in a cycle are each
// carried once. Read with a model and without (where every related part is
// carried by a way of its own), the copies go with the package.
TEST(HostilePackage, HostileRelationshipsTakeEachPartOnceInsideTheTemporaryFolder)
{
    std::string const escaped = "escaped-" + std::to_string(::getpid()) + ".bin";
    std::map<std::string, std::pair<std::string, std::string>> const strange = {
        // The entry's name: the relationship's target and the name the extracted file ends with.
        {"../../../../" + escaped, {"/../../../../" + escaped, escaped}},
        {"/tmp/" + escaped, {"//tmp/" + escaped, escaped}},
        {"..", {"/..", ".."}},
        {"3D/back/slash.bin", {"3D\\back\\slash.bin", "slash.bin"}},
        {"\xc3\xa9t\xc3\xa9/\xe2\x82\xac.bin", {"/\xc3\xa9t\xc3\xa9/\xe2\x82\xac.bin", "\xe2\x82\xac.bin"}},
        {".bin", {"/.bin", ".bin"}},
        {"big.bin", {"/big.bin", "big.bin"}},
    };
    // The overrides come first, so that a name without an extension finds one.
    std::string types = "<Types>";
    std::vector<std::string> targets(5000, "/big.bin");
    std::vector<std::pair<std::string, std::string>> entries = {{"3D/3dmodel.model", kModel}};
    for (auto const& [entry, names] : strange)
    {
        types += R"(<Override PartName=")" + names.first + R"(" ContentType="x/y"/>)";
        targets.push_back(names.first);
        entries.emplace_back(entry, "content of " + entry);
    }
    targets.push_back("/3D/3dmodel.model");
    entries.emplace_back("[Content_Types].xml", types + kTypes.substr(std::string("<Types>").size()));
    entries.emplace_back("_rels/.rels", Relationships(targets));
    PackageScratch scratch;
    std::wstring const hostile = scratch.File("hostile.3mf");
    WriteArchive(hostile, entries);
    std::wstring const cycle = scratch.File("cycle.3mf");
    WriteArchive(cycle, {{"[Content_Types].xml", kTypes},
                         {"_rels/.rels", Relationships({"/a.txt", "b.txt"})},
                         {"_rels/a.txt.rels", Relationships({"/b.txt", "/a.txt"})},
                         {"a.txt", "A"},
                         {"b.txt", "B"}});
    boost::filesystem::path const folder =
        boost::filesystem::path(StringConversion::ConvertNativeToUTF8(scratch.File(""))).parent_path();
    std::set<std::string> const before = scratch.Files();
    std::vector<std::wstring> kept;
    for (std::wstring const& file : {hostile, hostile, cycle})
    {
        bool const withModel = kept.empty();
        SCOPED_TRACE(withModel ? "with a model" : "without a model");
        TestModelFile model;
        Package package(withModel ? &model : nullptr);
        EXPECT_TRUE(PackageRead(&package, PackageReadOptions()).Read(file, nullptr));
        std::vector<CustomFile const*> custom;
        package.GetCustomFiles(custom);
        std::set<std::string> contents;
        std::set<std::wstring> names; // in the package
        std::size_t checked = 0;
        for (CustomFile const* part : custom)
        {
            kept.push_back(part->GetPath());
            boost::filesystem::path const landed(StringConversion::ConvertNativeToUTF8(part->GetPath()));
            EXPECT_EQ(folder, landed.parent_path());
            std::string const content = Bytes(part->GetPath());
            contents.insert(content);
            names.insert(part->GetFileNameInPackage());
            auto const named = strange.find(content.substr(std::min(content.size(), std::size_t(11))));
            if (content.rfind("content of ", 0) == 0 && named != strange.end())
            {
                std::string const name = landed.filename().string();
                EXPECT_EQ(named->second.second, name.substr(name.find('-') + 1));
                ++checked;
            }
        }
        std::size_t const expected = file == cycle ? 2 : strange.size() + (withModel ? 0 : 1);
        EXPECT_EQ(expected, custom.size());
        EXPECT_EQ(expected, contents.size());
        EXPECT_TRUE(file != cycle || (names == std::set<std::wstring>{L"/a.txt", L"/b.txt"}));
        EXPECT_EQ(file == cycle ? 0 : strange.size(), checked);
    }
    for (std::wstring const& path : kept)
    {
        EXPECT_FALSE(boost::filesystem::exists(StringConversion::ConvertNativeToUTF8(path))) << "left behind";
    }
    EXPECT_EQ(before, scratch.Files());
    EXPECT_FALSE(boost::filesystem::exists(folder.parent_path() / escaped));
    EXPECT_FALSE(boost::filesystem::exists(boost::filesystem::path("/tmp") / escaped));
    EXPECT_FALSE(boost::filesystem::exists(boost::filesystem::current_path().parent_path() / escaped));
}
