// Round trips through 32-bit and zip64 archives, lookups, and archives that
// cannot be opened.
#include "ZipTestSupport.h"

#include "common/StringConversion.h"
#include "zip/AsyncWriteBufferStream.h"
#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"
#include "zip/ReadBufferFromZip.h"
#include "zip/WriteBufferStream.h"
#include "zip/WriteBufferToZip.h"
#include "zip/Zip64Writer.h"

#include <map>
#include <set>

using namespace ziptest;
using StringConversion::ConvertNativeToUTF8;

// Both writers, with streamed parts, plain and asynchronous, and files from
// disk, deflated and stored, some with names outside ASCII.
TEST(ZipRoundTrip, Zip32AndZip64StreamsAndFilesReadBack)
{
    TemporaryFolder folder;
    std::string const model = MeshLikeText(20000, 1);
    std::wstring const textureName = L"3D/Textures2D/Farbe_\u00e4\u00f6\u00fc_\u65e5\u672c.png";
    std::map<std::string, std::string> const entries = {
        {"[Content_Types].xml", "<Types/>"},
        {"_rels/.rels", ""},
        {"3D/3dmodel.model", model},
        {ConvertNativeToUTF8(textureName), MeshLikeText(3000, 2)},
        {"Metadata/stored.txt", "stored as it is\n"}};
    WriteFile(folder / "texture", entries.at(ConvertNativeToUTF8(textureName)));
    WriteFile(folder / "stored", entries.at("Metadata/stored.txt"));
    auto const writeStreams = [&](auto* archive, auto* buffer)
    {
        using Buffer = std::remove_pointer_t<decltype(buffer)>;
        WriteBufferStream(new Buffer(archive, "[Content_Types].xml")) << "<Types/>";
        WriteBufferStream(new Buffer(archive, "_rels/.rels"));
        std::unique_ptr<std::ostream> stream =
            CreateAsyncWriteBufferStream(std::make_unique<Buffer>(archive, "3D\\3dmodel.model"));
        stream->write(model.data(), static_cast<std::streamsize>(model.size()));
    };
    for (bool const zip64 : {false, true})
    {
        std::filesystem::path const path = folder / (zip64 ? "package64.3mf" : "package.3mf");
        std::wstring const texture = (folder / "texture").wstring(), stored = (folder / "stored").wstring();
        if (zip64)
        {
            FileIO::Zip::Zip64Writer archive;
            ASSERT_TRUE(archive.OpenArchive(path.wstring().c_str()));
            writeStreams(&archive, static_cast<WriteBufferToZip64*>(nullptr));
            EXPECT_TRUE(
                archive.AddFile(texture.c_str(), ConvertNativeToUTF8(textureName).c_str(), 6, nullptr));
            EXPECT_TRUE(archive.AddFile(stored.c_str(), "Metadata/stored.txt", 0, nullptr));
            EXPECT_TRUE(archive.CloseArchive());
        }
        else
        {
            MZipArchive archive(false);
            ASSERT_TRUE(archive.OpenArchiveWrite(path.wstring().c_str()));
            writeStreams(&archive, static_cast<WriteBufferToZip32*>(nullptr));
            EXPECT_TRUE(archive.AddFile(texture.c_str(), textureName.c_str(), -1, nullptr));
            EXPECT_TRUE(archive.AddFile(stored.c_str(), L"Metadata\\stored.txt", 0, nullptr));
            EXPECT_FALSE(archive.AddFile((folder / "missing").wstring().c_str(), L"missing", -1, nullptr));
            EXPECT_TRUE(archive.CloseArchive());
        }
        SCOPED_TRACE(path.filename());
        MZipArchive archive(false);
        ASSERT_TRUE(archive.OpenArchiveRead(path.wstring().c_str()));
        MZipArchive::MZipFileInfo info;
        std::set<std::string> expectedNames;
        for (auto const& [name, data] : entries)
        {
            expectedNames.insert(name);
            ASSERT_TRUE(archive.GetFileInfo(name.c_str(), info)) << name;
            EXPECT_EQ(info.m_uncompressedSize, data.size()) << name;
            std::wstring const wideName = StringConversion::ConvertUTF8ToNative(name.c_str(), name.size());
            EXPECT_EQ(ReadEntry(new ReadBufferFromZip(&archive, wideName.c_str())), data) << name;
            EXPECT_TRUE(archive.ExtractFile(name.c_str(), (folder / "extracted").wstring().c_str(), nullptr));
            EXPECT_EQ(ReadFile(folder / "extracted"), data) << name;
        }
        ASSERT_TRUE(archive.GetFileInfo("Metadata/stored.txt", info));
        EXPECT_EQ(info.m_method, 0);
        ASSERT_TRUE(archive.GetFileInfo("3D/3dmodel.model", info));
        EXPECT_EQ(info.m_method, 8);
        EXPECT_LT(info.m_compressedSize, info.m_uncompressedSize / 2);
        std::vector<std::string> const names = ExpectStrictReadersAccept(path);
        EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), expectedNames);
        EXPECT_EQ(names.size(), entries.size());
    }
}

// Lookups are exact, one entry is read or written at a time, archives that
// can't be opened say why and which file, and an archive closed without
// entries is still an archive, of both kinds.
TEST(ZipRoundTrip, LookupsRefusalsAndEmptyArchives)
{
    TemporaryFolder folder;
    std::filesystem::path const path = folder / "a.zip";
    {
        MZipArchive archive(false);
        ASSERT_TRUE(archive.OpenArchiveWrite(path.wstring().c_str()));
        WriteBufferStream(new WriteBufferToZip32(&archive, "3D/3dmodel.model")) << "model";
        WriteBufferToZip32 open(&archive, "first");
        EXPECT_THROW(WriteBufferToZip32(&archive, "second"), MZipArchiveError::MGeneric);
    }
    MZipArchive archive(false);
    ASSERT_TRUE(archive.OpenArchiveRead(path.wstring().c_str()));
    MZipArchive::MZipFileInfo info;
    EXPECT_TRUE(archive.GetFileInfo("first", info));
    EXPECT_FALSE(archive.GetFileInfo("3d/3DModel.model", info));
    EXPECT_FALSE(archive.GetFileInfo("/3D/3dmodel.model", info));
    EXPECT_THROW(ReadBufferFromZip(&archive, L"3d/3dmodel.model"), MZipArchiveError::MFileNotFound);
    std::wstring const target = (folder / "never").wstring();
    EXPECT_THROW(archive.ExtractFile("missing", target.c_str(), nullptr), MZipArchiveError::MGeneric);
    {
        ReadBufferFromZip reading(&archive, L"3D/3dmodel.model");
        EXPECT_THROW(ReadBufferFromZip(&archive, L"first"), MZipArchiveError::MGeneric);
        EXPECT_THROW(archive.ExtractFile("first", target.c_str(), nullptr), MZipArchiveError::MGeneric);
    }
    EXPECT_FALSE(std::filesystem::exists(target));
    EXPECT_EQ(ReadEntry(new ReadBufferFromZip(&archive, L"3D/3dmodel.model")), "model");

    FileIO::Zip::Zip64Writer writer;
    EXPECT_FALSE(archive.OpenArchiveWrite((folder / "no/such/folder.zip").wstring().c_str()));
    EXPECT_FALSE(writer.OpenArchive((folder / "no/such/folder.zip").wstring().c_str()));
    EXPECT_THROW(WriteBufferToZip64(&writer, "entry"), MZipArchiveError::MGeneric);
    WriteFile(folder / "empty.zip", "");
    WriteFile(folder / "text.zip", MeshLikeText(100, 3));
    for (char const* name : {"absent.zip", "empty.zip", "text.zip"})
    {
        EXPECT_FALSE(archive.OpenArchiveRead((folder / name).wstring().c_str())) << name;
        EXPECT_NE(archive.GetOpenError().find((folder / name).wstring()), std::wstring::npos);
        EXPECT_GT(archive.GetOpenError().size(), (folder / name).wstring().size() + 2);
    }

    std::filesystem::path const path32 = folder / "empty32.zip", path64 = folder / "empty64.zip";
    ASSERT_TRUE(archive.OpenArchiveWrite(path32.wstring().c_str()));
    EXPECT_TRUE(archive.CloseArchive());
    ASSERT_TRUE(writer.OpenArchive(path64.wstring().c_str()));
    EXPECT_TRUE(writer.CloseArchive());
    for (auto const& empty : {path32, path64})
    {
        EXPECT_TRUE(LibzipReadsStrictly(empty).empty());
        EXPECT_EQ(
            RunShell("python3 -c 'import zipfile,sys; print(zipfile.ZipFile(sys.argv[1]).namelist())' '" +
                     empty.string() + "'"),
            std::make_pair(0, std::string("[]\n")));
        ASSERT_TRUE(archive.OpenArchiveRead(empty.wstring().c_str()));
        EXPECT_FALSE(archive.GetFileInfo("", info));
    }
}
