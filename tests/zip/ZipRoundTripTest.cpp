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

using namespace ziptest;

namespace
{
std::wstring Wide(std::filesystem::path const& path)
{
    return path.wstring();
}

std::string Utf8(std::wstring const& text)
{
    return StringConversion::ConvertNativeToUTF8(text);
}

std::string Hex(std::string const& bytes)
{
    static char const digits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned char c : bytes)
    {
        hex += digits[c >> 4];
        hex += digits[c & 15];
    }
    return hex;
}

// What every round trip writes: streamed parts, plain and asynchronous, and
// files from disk, deflated and stored, some with names outside ASCII.
struct Content
{
    std::map<std::string, std::string> m_entries;
    std::string const m_model = MeshLikeText(20000, 1);
    std::string const m_texture = MeshLikeText(3000, 2);
    std::string const m_stored = "stored as it is\n";
    std::wstring const m_textureName = L"3D/Textures2D/Farbe_\u00e4\u00f6\u00fc_\u65e5\u672c.png";

    Content()
    {
        m_entries["[Content_Types].xml"] = "<Types/>";
        m_entries["_rels/.rels"] = "";
        m_entries["3D/3dmodel.model"] = m_model;
        m_entries[Utf8(m_textureName)] = m_texture;
        m_entries["Metadata/stored.txt"] = m_stored;
    }

    template <typename Buffer, typename Archive>
    void WriteStreams(Archive* archive) const
    {
        {
            WriteBufferStream stream(new Buffer(archive, "[Content_Types].xml"));
            stream << "<Types/>";
        }
        // An entry with nothing in it.
        WriteBufferStream(new Buffer(archive, "_rels/.rels"));
        std::unique_ptr<std::ostream> stream =
            CreateAsyncWriteBufferStream(std::make_unique<Buffer>(archive, "3D\\3dmodel.model"));
        stream->write(m_model.data(), static_cast<std::streamsize>(m_model.size()));
        stream.reset();
    }
};

void ExpectContent(MZipArchive& archive, Content const& content, TemporaryFolder const& folder)
{
    for (auto const& [name, data] : content.m_entries)
    {
        MZipArchive::MZipFileInfo info;
        ASSERT_TRUE(archive.GetFileInfo(name.c_str(), info)) << name;
        EXPECT_EQ(info.m_uncompressedSize, data.size()) << name;
        EXPECT_EQ(ReadEntry(new ReadBufferFromZip(
                      &archive, StringConversion::ConvertUTF8ToNative(name.c_str(), name.size()).c_str())),
                  data)
            << name;
        std::filesystem::path const target = folder / "extracted";
        EXPECT_TRUE(archive.ExtractFile(name.c_str(), Wide(target).c_str(), nullptr));
        EXPECT_EQ(ReadFile(target), data) << name;
    }
    MZipArchive::MZipFileInfo info;
    ASSERT_TRUE(archive.GetFileInfo("Metadata/stored.txt", info));
    EXPECT_EQ(info.m_method, 0);
    ASSERT_TRUE(archive.GetFileInfo("3D/3dmodel.model", info));
    EXPECT_EQ(info.m_method, 8);
    EXPECT_LT(info.m_compressedSize, info.m_uncompressedSize / 2);
}

// Python decodes a name as UTF-8 only when the language encoding flag is set,
// so equal names mean both the bytes and the flag are right.
void ExpectNamesForOtherReaders(std::filesystem::path const& path, Content const& content)
{
    std::string expected;
    for (auto const& entry : content.m_entries)
    {
        expected += Hex(entry.first) + "\n";
    }
    std::string output;
    if (RunPython("import zipfile,sys; print(\"\\n\".join(sorted(n.encode(\"utf-8\").hex() for n in "
                  "zipfile.ZipFile(sys.argv[1]).namelist())))",
                  path, output))
    {
        EXPECT_EQ(output, expected + "exit=0");
    }
}
} // namespace

TEST(ZipRoundTrip, Zip32StreamsAndFilesReadBack)
{
    TemporaryFolder folder;
    Content content;
    WriteFile(folder / "texture", content.m_texture);
    WriteFile(folder / "stored", content.m_stored);
    std::filesystem::path const path = folder / "package.3mf";
    {
        MZipArchive archive(false);
        ASSERT_TRUE(archive.OpenArchiveWrite(Wide(path).c_str()));
        content.WriteStreams<WriteBufferToZip32>(&archive);
        EXPECT_TRUE(
            archive.AddFile(Wide(folder / "texture").c_str(), content.m_textureName.c_str(), -1, nullptr));
        EXPECT_TRUE(archive.AddFile(Wide(folder / "stored").c_str(), L"Metadata\\stored.txt", 0, nullptr));
        EXPECT_FALSE(archive.AddFile(Wide(folder / "missing").c_str(), L"missing", -1, nullptr));
        EXPECT_TRUE(archive.CloseArchive());
    }
    MZipArchive archive(false);
    ASSERT_TRUE(archive.OpenArchiveRead(Wide(path).c_str()));
    ExpectContent(archive, content, folder);
    ExpectPythonAccepts(path);
    ExpectNamesForOtherReaders(path, content);
}

TEST(ZipRoundTrip, Zip64StreamsAndFilesReadBack)
{
    TemporaryFolder folder;
    Content content;
    WriteFile(folder / "texture", content.m_texture);
    WriteFile(folder / "stored", content.m_stored);
    std::filesystem::path const path = folder / "package64.3mf";
    {
        FileIO::Zip::Zip64Writer archive;
        ASSERT_TRUE(archive.OpenArchive(Wide(path).c_str()));
        content.WriteStreams<WriteBufferToZip64>(&archive);
        EXPECT_TRUE(archive.AddFile(Wide(folder / "texture").c_str(), Utf8(content.m_textureName).c_str(), 6,
                                    nullptr));
        EXPECT_TRUE(archive.AddFile(Wide(folder / "stored").c_str(), "Metadata/stored.txt", 0, nullptr));
        EXPECT_TRUE(archive.CloseArchive());
    }
    MZipArchive archive(false);
    ASSERT_TRUE(archive.OpenArchiveRead(Wide(path).c_str()));
    ExpectContent(archive, content, folder);
    ExpectPythonAccepts(path);
    ExpectNamesForOtherReaders(path, content);
}

TEST(ZipRoundTrip, LookupsAreExactAndOneEntryIsReadAtATime)
{
    TemporaryFolder folder;
    std::filesystem::path const path = folder / "a.zip";
    {
        MZipArchive archive(false);
        ASSERT_TRUE(archive.OpenArchiveWrite(Wide(path).c_str()));
        WriteBufferStream(new WriteBufferToZip32(&archive, "3D/3dmodel.model")) << "model";
        // One entry at a time on writing too.
        WriteBufferToZip32 open(&archive, "first");
        EXPECT_THROW(WriteBufferToZip32(&archive, "second"), MZipArchiveError::MGeneric);
    }
    MZipArchive archive(false);
    ASSERT_TRUE(archive.OpenArchiveRead(Wide(path).c_str()));
    MZipArchive::MZipFileInfo info;
    EXPECT_TRUE(archive.GetFileInfo("3D/3dmodel.model", info));
    EXPECT_EQ(info.m_name, "3D/3dmodel.model");
    EXPECT_TRUE(archive.GetFileInfo("first", info));
    EXPECT_FALSE(archive.GetFileInfo("3d/3DModel.model", info));
    EXPECT_FALSE(archive.GetFileInfo("/3D/3dmodel.model", info));
    EXPECT_THROW(ReadBufferFromZip(&archive, L"3d/3dmodel.model"), MZipArchiveError::MFileNotFound);

    std::filesystem::path const target = folder / "never";
    EXPECT_THROW(archive.ExtractFile("missing", Wide(target).c_str(), nullptr), MZipArchiveError::MGeneric);
    EXPECT_FALSE(std::filesystem::exists(target));
    {
        ReadBufferFromZip reading(&archive, L"3D/3dmodel.model");
        EXPECT_THROW(ReadBufferFromZip(&archive, L"first"), MZipArchiveError::MGeneric);
        EXPECT_THROW(archive.ExtractFile("first", Wide(target).c_str(), nullptr), MZipArchiveError::MGeneric);
    }
    EXPECT_EQ(ReadEntry(new ReadBufferFromZip(&archive, L"3D/3dmodel.model")), "model");
}

TEST(ZipRoundTrip, ArchivesThatCantBeOpened)
{
    TemporaryFolder folder;
    MZipArchive archive(false);
    EXPECT_FALSE(archive.OpenArchiveRead(Wide(folder / "absent.zip").c_str()));
    EXPECT_FALSE(archive.OpenArchiveWrite(Wide(folder / "no" / "such" / "folder.zip").c_str()));
    FileIO::Zip::Zip64Writer writer;
    EXPECT_FALSE(writer.OpenArchive(Wide(folder / "no" / "such" / "folder.zip").c_str()));
    EXPECT_THROW(WriteBufferToZip64(&writer, "entry"), MZipArchiveError::MGeneric);
    WriteFile(folder / "empty.zip", "");
    EXPECT_FALSE(archive.OpenArchiveRead(Wide(folder / "empty.zip").c_str()));
    WriteFile(folder / "text.zip", MeshLikeText(100, 3));
    EXPECT_FALSE(archive.OpenArchiveRead(Wide(folder / "text.zip").c_str()));
}
