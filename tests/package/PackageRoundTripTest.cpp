// Round trips of whole packages, bare and with every kind of part beside the
// model (custom files, ticket, thumbnail, invalidation), in both archive
// forms, checked by other readers; and the cancelling of a write. Build items
// and related model parts are the object round trip's.
#include "support/PackageReadBack.h"
#include "zip/ZipTestSupport.h"

#include "format3mf/FormatIdentifiers.h"

#include "common/IProgressDelegate.h"
#include "common/ImageBitmapIO.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>

using namespace Format_3MF;

TEST(PackageRoundTrip, EveryKindOfPartSurvivesInBothArchiveForms)
{
    PackageScratch scratch;
    // Outside files with plain names: their names reach the package.
    std::wstring const folder = scratch.File("outside");
    boost::filesystem::create_directory(StringConversion::ConvertNativeToUTF8(folder));
    std::wstring const ticket = folder + L"/ticket.obt";
    std::wstring const parameters = folder + L"/parameters.xml";
    std::wstring const picture = folder + L"/picture.png";
    std::ofstream(StringConversion::ConvertNativeToUTF8(ticket)) << "<ticket/>";
    std::ofstream(StringConversion::ConvertNativeToUTF8(parameters)) << "<parameters/>";
    OndSDK::Common::ImageBitmap image;
    image.Create(4, 3, 3);
    ASSERT_TRUE(OndSDK::Common::SavePng(image, picture));

    std::set<std::string> expectedFiles = scratch.Files();
    for (bool const full : {false, true})
    {
        for (bool const zip64 : {false, true})
        {
            SCOPED_TRACE(std::string(full ? "every part" : "bare") + (zip64 ? ", zip64" : ", 32-bit"));
            std::wstring const file = scratch.File("package.3mf");
            expectedFiles.insert(StringConversion::ConvertNativeToUTF8(file));
            {
                TestModelFile model;
                model.GetUnits().Init(L"inch");
                model.GetMetaData()[L"Title"] = MetaDataItem(L"A & <b> \u00e9");
                model.GetMetaData()[L"Hidden"].m_preserve = false;
                Package package(&model);
                PackageWriteOptions options;
                options.Package.m_useZip64 = zip64;
                if (full)
                {
                    package.GetInvalidation().GetPart(PackageFile(L"/3D/3dmodel.model"), true);
                    options.m_printTicket = CreateCustomFileOndrelBuildTicket(ticket);
                    options.m_customFiles.push_back(CreateCustomFileOndrelBuildParameters(parameters));
                    options.Thumbnails.m_path = picture;
                }
                EXPECT_TRUE(WritePackage(package, file, options));
            }
            std::vector<std::string> names =
                ziptest::ExpectStrictReadersAccept(StringConversion::ConvertNativeToUTF8(file));
            ASSERT_LE(3u, names.size());
            EXPECT_EQ((std::vector<std::string>{"[Content_Types].xml", "_rels/.rels", "3D/3dmodel.model"}),
                      std::vector<std::string>(names.begin(), names.begin() + 3));
            EXPECT_EQ(full ? 8u : 3u, names.size());
            for (char const* part :
                 {"3D/Metadata/ticket.obt", "Metadata/parameters.xml", "Metadata/thumbnail.png",
                  "Metadata/InvalidationParts.xml", "3D/_rels/3dmodel.model.rels"})
            {
                EXPECT_EQ(full, std::find(names.begin(), names.end(), part) != names.end()) << part;
            }

            // What was read is checked by writing it again: the same parts,
            // each alike.
            ReadBack<> read(file);
            ASSERT_TRUE(read.ok) << read.Error();
            EXPECT_EQ(0, read.Context().m_status);
            EXPECT_TRUE(read.Context().m_warnings.empty());
            std::wstring const again = scratch.File("again.3mf");
            expectedFiles.insert(StringConversion::ConvertNativeToUTF8(again));
            ASSERT_TRUE(WritePackage(read.package, again));
            // The thumbnail stays with the reader, which hands it out.
            std::vector<std::string> rewritten =
                ziptest::ExpectStrictReadersAccept(StringConversion::ConvertNativeToUTF8(again));
            if (full)
            {
                ASSERT_NE(nullptr, read.reader.GetThumbnail());
                EXPECT_EQ(L"/Metadata/thumbnail.png", read.reader.GetThumbnail()->GetFileNameInPackage());
                rewritten.push_back("Metadata/thumbnail.png");
            }
            EXPECT_EQ(std::multiset<std::string>(names.begin(), names.end()),
                      std::multiset<std::string>(rewritten.begin(), rewritten.end()));
            for (std::string const& name : names)
            {
                EXPECT_TRUE(name == "Metadata/thumbnail.png" ||
                            EntryText(file, name) == EntryText(again, name))
                    << name;
            }
            EXPECT_EQ(full, read.model.GetPrintTicket() != nullptr);
            if (!full)
            {
                EXPECT_EQ(L"rel1", read.package.GetNewRelationString()); // the id read is blocked
                std::vector<std::wstring> types;
                read.package.GetContentTypes(types);
                EXPECT_EQ((std::vector<std::wstring>{ContentTypeRelationships, ContentTypeModel}), types);
                ASSERT_EQ(1u, read.model.GetNamespaces().size());
                EXPECT_EQ(NamespaceCore2015, read.model.GetNamespaces()[0].m_uri);
            }
        }
    }
    boost::filesystem::remove_all(StringConversion::ConvertNativeToUTF8(folder));
    EXPECT_EQ(expectedFiles, scratch.Files()); // no temporary file outlives its part
}

TEST(PackageWrite, CancelledWriteLeavesNoTargetAndOpenFailureThrows)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("cancelled.3mf");
    auto delegate = std::make_shared<OndSDK::Common::IProgressDelegate>();
    delegate->Cancel();
    TestModelFile model;
    Package package(&model);
    EXPECT_THROW(PackageWrite(&package, PackageWriteOptions()).Write(file, delegate), PackageWrite::Canceled);
    EXPECT_FALSE(boost::filesystem::exists(StringConversion::ConvertNativeToUTF8(file)));
    EXPECT_THROW(WritePackage(package, L"/nonexistent-folder/x.3mf"), MZipArchiveError::MGeneric);
}
