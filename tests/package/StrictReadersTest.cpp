// Packages as the package writer makes them, 32-bit and zip64, with streamed
// parts and parts added from files, pass libzip's consistency check with a
// full read, Python's zipfile and unzip -t.
#include "support/PackageTestSupport.h"
#include "support/TestModelFile.h"
#include "zip/ZipTestSupport.h"

#include "format3mf/Package.h"
#include "format3mf/PackageOptionCustomFile.h"
#include "format3mf/PackageWrite.h"

#include "common/ImageBitmapIO.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

using namespace Format_3MF;

TEST(StrictReaders, AcceptWrittenPackages)
{
    PackageScratch scratch;
    // Outside files with plain names: their names reach the package.
    std::wstring const folder = scratch.File("outside");
    boost::filesystem::create_directory(StringConversion::ConvertNativeToUTF8(folder));
    std::wstring const parameters = folder + L"/parameters.xml";
    std::wstring const picture = folder + L"/picture.png";
    std::ofstream(StringConversion::ConvertNativeToUTF8(parameters)) << "<parameters/>";
    OndSDK::Common::ImageBitmap image;
    image.Create(4, 3, 3);
    ASSERT_TRUE(OndSDK::Common::SavePng(image, picture));
    for (bool zip64 : {false, true})
    {
        SCOPED_TRACE(zip64 ? "zip64" : "32-bit");
        std::wstring const file = scratch.File(zip64 ? "strict64.3mf" : "strict.3mf");
        {
            TestModelFile model;
            model.GetMetaData()[L"Title"] = MetaDataItem(L"\u00e9t\u00e9");
            Package package(&model);
            PackageWriteOptions options;
            options.Package.m_useZip64 = zip64;
            options.m_customFiles.push_back(CreateCustomFileOndrelBuildParameters(parameters));
            options.Thumbnails.m_path = picture;
            EXPECT_TRUE(PackageWrite(&package, options).Write(file, nullptr));
        }
        std::vector<std::string> const names =
            ziptest::ExpectStrictReadersAccept(StringConversion::ConvertNativeToUTF8(file));
        for (char const* part : {"[Content_Types].xml", "_rels/.rels", "3D/3dmodel.model",
                                 "Metadata/parameters.xml", "Metadata/thumbnail.png"})
        {
            EXPECT_NE(std::find(names.begin(), names.end(), part), names.end()) << part;
        }
    }
}
