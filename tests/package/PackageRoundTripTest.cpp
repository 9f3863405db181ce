// Round trips of whole packages, and the status and messages of failed or
// cancelled reads and writes.
#include "support/PackageTestSupport.h"
#include "support/TestModelFile.h"
#include "zip/ZipTestSupport.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"
#include "format3mf/PackageWrite.h"
#include "format3mf/Transformation.h"

#include "common/IProgressDelegate.h"
#include "common/ImageBitmapIO.h"
#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"
#include "zip/WriteBufferStream.h"
#include "zip/WriteBufferToZip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

using namespace Format_3MF;

namespace
{
void WriteText(std::wstring const& path, std::string const& text)
{
    std::ofstream(StringConversion::ConvertNativeToUTF8(path), std::ios::binary) << text;
}
} // namespace

TEST(PackageRoundTrip, EmptyModelKeepsItsPackageStructure)
{
    PackageScratch scratch;
    std::set<std::string> expected = scratch.Files();
    for (bool zip64 : {false, true})
    {
        std::wstring const file = scratch.File(zip64 ? "empty64.3mf" : "empty.3mf");
        expected.insert(StringConversion::ConvertNativeToUTF8(file));
        {
            TestModelFile model;
            model.GetUnits().Init(L"inch");
            model.GetMetaData()[L"Title"] = MetaDataItem(L"A & <b> \u00e9");
            model.GetMetaData()[L"Hidden"].m_preserve = false;
            Package package(&model);
            PackageWriteOptions options;
            options.Package.m_useZip64 = zip64;
            PackageWrite writer(&package, options);
            EXPECT_TRUE(writer.Write(file, nullptr));
        }
        std::string const names = PythonCheck(file);
        EXPECT_EQ(0u, names.find("[Content_Types].xml _rels/.rels 3D/3dmodel.model")) << names;

        TestModelFile model;
        Package package(&model);
        PackageRead reader(&package, PackageReadOptions());
        ASSERT_TRUE(reader.Read(file, nullptr));
        EXPECT_EQ(0, reader.GetContext().m_status);
        EXPECT_TRUE(reader.GetContext().m_warnings.empty());
        EXPECT_EQ(L"inch", model.GetUnits().m_name);
        EXPECT_EQ(25.4, model.GetUnits().m_factor);
        ASSERT_EQ(1u, model.GetNamespaces().size());
        EXPECT_EQ(NamespaceCore2015, model.GetNamespaces()[0].m_uri);
        EXPECT_EQ(L"A & <b> \u00e9", model.GetMetaData()[L"Title"].m_value);
        EXPECT_FALSE(model.GetMetaData()[L"Hidden"].m_preserve);
        std::vector<Relationship> const& relations = package.GetRelsFile().GetRelations();
        ASSERT_EQ(1u, relations.size());
        EXPECT_EQ(L"rel0", relations[0].m_id);
        EXPECT_EQ(L"/3D/3dmodel.model", relations[0].m_target);
        EXPECT_EQ(RelationshipModel, relations[0].m_type);
        std::vector<std::wstring> types;
        package.GetContentTypes(types);
        EXPECT_EQ((std::vector<std::wstring>{ContentTypeRelationships, ContentTypeModel}), types);
        EXPECT_EQ(L"rel1", package.GetNewRelationString()); // the id read is blocked
    }
    EXPECT_EQ(expected, scratch.Files()); // no temporary file outlives its part
}

TEST(PackageRoundTrip, CustomFilesTicketsThumbnailAndInvalidation)
{
    PackageScratch scratch;
    // Outside files with plain names: their names reach the package.
    std::wstring const folder = scratch.File("outside");
    boost::filesystem::create_directory(StringConversion::ConvertNativeToUTF8(folder));
    std::wstring const ticket = folder + L"/ticket.obt";
    std::wstring const parameters = folder + L"/parameters.xml";
    std::wstring const picture = folder + L"/picture.png";
    WriteText(ticket, "<ticket/>");
    WriteText(parameters, "<parameters/>");
    OndSDK::Common::ImageBitmap image;
    image.Create(4, 3, 3);
    ASSERT_TRUE(OndSDK::Common::SavePng(image, picture));
    // Both archive forms, checked by libzip, Python's zipfile and unzip -t.
    for (bool zip64 : {false, true})
    {
        SCOPED_TRACE(zip64 ? "zip64" : "32-bit");
        std::wstring const file = scratch.File(zip64 ? "extras64.3mf" : "extras.3mf");
        {
            TestModelFile model;
            Package package(&model);
            package.GetInvalidation().GetPart(PackageFile(L"/3D/3dmodel.model"), true);
            PackageWriteOptions options;
            options.Package.m_useZip64 = zip64;
            options.m_printTicket = CreateCustomFileOndrelBuildTicket(ticket);
            options.m_customFiles.push_back(CreateCustomFileOndrelBuildParameters(parameters));
            options.Thumbnails.m_path = picture;
            EXPECT_TRUE(PackageWrite(&package, options).Write(file, nullptr));
        }
        std::vector<std::string> const names =
            ziptest::ExpectStrictReadersAccept(StringConversion::ConvertNativeToUTF8(file));
        for (char const* part :
             {"[Content_Types].xml", "3D/Metadata/ticket.obt", "Metadata/parameters.xml",
              "Metadata/thumbnail.png", "Metadata/InvalidationParts.xml", "3D/_rels/3dmodel.model.rels"})
        {
            EXPECT_NE(std::find(names.begin(), names.end(), part), names.end()) << part;
        }

        TestModelFile model;
        Package package(&model);
        PackageRead reader(&package, PackageReadOptions());
        ASSERT_TRUE(reader.Read(file, nullptr));
        ASSERT_NE(nullptr, reader.GetThumbnail());
        EXPECT_EQ(L"/Metadata/thumbnail.png", reader.GetThumbnail()->GetFileNameInPackage());
        std::vector<CustomFile const*> custom;
        package.GetCustomFiles(custom);
        std::vector<std::wstring> customNames;
        for (CustomFile const* part : custom)
        {
            customNames.push_back(part->GetFileNameInPackage());
            std::ifstream in(StringConversion::ConvertNativeToUTF8(part->GetPath()));
            EXPECT_TRUE(in.good()) << "content of "
                                   << StringConversion::ConvertNativeToUTF8(part->GetFileNameInPackage());
        }
        EXPECT_NE(customNames.end(),
                  std::find(customNames.begin(), customNames.end(), L"/Metadata/parameters.xml"));
        EXPECT_NE(customNames.end(),
                  std::find(customNames.begin(), customNames.end(), L"/Metadata/InvalidationParts.xml"));
        EXPECT_NE(nullptr, model.GetPrintTicket());
    }
    boost::filesystem::remove_all(StringConversion::ConvertNativeToUTF8(folder));
}

TEST(PackageRoundTrip, WithoutRootModelEveryPartIsCarried)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("carrier.3mf");
    WriteArchive(
        file,
        {{"[Content_Types].xml",
          R"(<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">)"
          R"(<Default Extension="rels" ContentType="r"/><Default Extension="txt" ContentType="t"/></Types>)"},
         {"_rels/.rels", R"(<Relationships><Relationship Id="a" Target="/a.txt" Type="x"/>)"
                         R"(<Relationship Id="b" Target="b.txt" Type="y"/></Relationships>)"},
         {"_rels/a.txt.rels", R"(<Relationships><Relationship Id="c" Target="/b.txt" Type="z"/>)"
                              R"(<Relationship Id="d" Target="/a.txt" Type="z"/></Relationships>)"},
         {"a.txt", "A"},
         {"b.txt", "B"}});
    std::vector<std::wstring> kept;
    std::set<std::string> const before = scratch.Files();
    {
        Package package(nullptr);
        PackageRead reader(&package, PackageReadOptions());
        ASSERT_TRUE(reader.Read(file, nullptr)); // the cycle a -> a ends
        std::vector<CustomFile const*> custom;
        package.GetCustomFiles(custom);
        ASSERT_EQ(2u, custom.size());
        EXPECT_EQ(L"/a.txt", custom[0]->GetFileNameInPackage());
        EXPECT_EQ(L"/b.txt", custom[1]->GetFileNameInPackage());
        for (CustomFile const* part : custom)
        {
            kept.push_back(part->GetPath());
            EXPECT_TRUE(boost::filesystem::exists(StringConversion::ConvertNativeToUTF8(part->GetPath())));
        }
    }
    for (std::wstring const& path : kept)
    {
        EXPECT_FALSE(boost::filesystem::exists(StringConversion::ConvertNativeToUTF8(path))) << "left behind";
    }
    EXPECT_EQ(before, scratch.Files());
}

TEST(PackageRead, FailuresGiveTheirStatusAndMessage)
{
    PackageScratch scratch;
    {
        TestModelFile model;
        Package package(&model);
        PackageRead reader(&package, PackageReadOptions());
        EXPECT_FALSE(reader.Read(scratch.File("missing.3mf"), nullptr));
        EXPECT_EQ(0, reader.GetContext().m_status);
        EXPECT_TRUE(reader.GetContext().m_errors.empty());
    }
    std::wstring const text = scratch.File("text.3mf");
    WriteText(text, "this is no zip archive");
    std::wstring const empty = scratch.File("norels.3mf");
    WriteArchive(empty, {{"[Content_Types].xml", "<Types/>"}});
    std::wstring const broken = scratch.File("broken.3mf");
    WriteArchive(broken, {{"_rels/.rels", R"(<Relationships><Relationship Id="r" Target="/3D/m.model"/>)"
                                          R"(</Relationships>)"},
                          {"3D/m.model", "<model"}});
    struct Case
    {
        std::wstring file;
        bool ok;
        int status;
        wchar_t const* error;
    };
    for (Case const& c : {Case{text, false, 0, L"Could not open 3mf archive: Not a zip archive"},
                          Case{empty, false, 1, L"Root model not found"},
                          Case{broken, false, 0, L"The XML of /3D/m.model is malformed: "}})
    {
        TestModelFile model;
        Package package(&model);
        PackageRead reader(&package, PackageReadOptions());
        EXPECT_EQ(c.ok, reader.Read(c.file, nullptr));
        EXPECT_EQ(c.status, reader.GetContext().m_status);
        if (c.error != nullptr)
        {
            ASSERT_EQ(1u, reader.GetContext().m_errors.size());
            // The message may go on with the cause.
            EXPECT_EQ(0u, reader.GetContext().m_errors[0].rfind(c.error, 0))
                << reader.GetContext().m_errors[0];
        }
    }
}

TEST(PackageRead, CancellingGivesStatusThree)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("cancel.3mf");
    {
        TestModelFile model;
        Package package(&model);
        PackageWrite(&package, PackageWriteOptions()).Write(file, nullptr);
    }
    auto delegate = std::make_shared<OndSDK::Common::IProgressDelegate>();
    delegate->Cancel();
    TestModelFile model;
    Package package(&model);
    PackageRead reader(&package, PackageReadOptions());
    EXPECT_FALSE(reader.Read(file, delegate));
    EXPECT_EQ(3, reader.GetContext().m_status);
}

TEST(PackageWrite, CancelledWriteLeavesNoTargetAndOpenFailureThrows)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("cancelled.3mf");
    auto delegate = std::make_shared<OndSDK::Common::IProgressDelegate>();
    delegate->Cancel();
    TestModelFile model;
    Package package(&model);
    PackageWrite writer(&package, PackageWriteOptions());
    EXPECT_THROW(writer.Write(file, delegate), PackageWrite::Canceled);
    EXPECT_FALSE(boost::filesystem::exists(StringConversion::ConvertNativeToUTF8(file)));

    TestModelFile other;
    Package otherPackage(&other);
    PackageWrite failing(&otherPackage, PackageWriteOptions());
    EXPECT_THROW(failing.Write(L"/nonexistent-folder/x.3mf", nullptr), MZipArchiveError::MGeneric);
}

TEST(PackageRoundTrip, BuildItemsKeepTransformsUuidsMetadataAndPaths)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("build.3mf");
    std::wstring const transform =
        L"1.00000000 0.00000000 0.00000000 0.00000000 2.00000000 0.00000000 0.00000000 "
        L"0.00000000 1.00000000 10.50000000 -3.00000000 0.25000000";
    {
        TestModelFile model;
        Package package(&model);
        ModelFile* related = model.AddRelatedModelFile(L"/3D/Objects/part.model");
        Build& build = model.GetBuild();
        build.m_uuid = L"b1";
        Build::Item first;
        first.m_objectID = 7;
        first.m_transform = ParseTransformation(transform);
        first.m_metaData[L"k"] = MetaDataItem(L"v");
        Build::Item second;
        second.m_objectID = 1;
        second.m_modelFile = related;
        second.m_uuid = L"u2";
        build.m_items = {first, second};
        PackageWrite(&package, PackageWriteOptions()).Write(file, nullptr);
    }
    EXPECT_NE(std::string::npos, PythonCheck(file).find("3D/Objects/part.model"));

    TestModelFile model;
    Package package(&model);
    PackageRead reader(&package, PackageReadOptions());
    ASSERT_TRUE(reader.Read(file, nullptr));
    EXPECT_EQ(std::vector<std::wstring>{L"p"}, model.GetRequiredExtensions());
    Build const& build = model.GetBuild();
    EXPECT_EQ(L"b1", build.m_uuid);
    ASSERT_EQ(2u, build.m_items.size());
    EXPECT_EQ(7, int(build.m_items[0].m_objectID));
    EXPECT_EQ(&model, build.m_items[0].m_modelFile);
    EXPECT_EQ(transform, FormatTransformation(build.m_items[0].m_transform));
    EXPECT_EQ(L"v", build.m_items[0].m_metaData.at(L"k").m_value);
    ASSERT_NE(nullptr, build.m_items[1].m_modelFile);
    EXPECT_EQ(L"/3D/Objects/part.model", build.m_items[1].m_modelFile->GetFileNameInPackage());
    EXPECT_EQ(L"u2", build.m_items[1].m_uuid);
    EXPECT_TRUE(build.m_items[1].m_transform.IsIdentity());
}
