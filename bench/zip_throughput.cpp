// Deflate and inflate speed of archive entries: ISA-L through the entry
// buffers against zlib (inside libzip) at level 1, on generated mesh-like XML.
#include "zip/MZipArchive.h"
#include "zip/ReadBufferFromZip.h"
#include "zip/WriteBufferToZip.h"
#include "zip/Zip64Writer.h"

#include <zip.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace
{
std::string MeshXml(std::size_t bytes)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> coordinate(-100.0, 100.0);
    std::string text;
    text.reserve(bytes + 128);
    char line[128];
    while (text.size() < bytes)
    {
        int const length = std::snprintf(line, sizeof line, "<vertex x=\"%.4f\" y=\"%.4f\" z=\"%.4f\"/>\n",
                                         coordinate(random), coordinate(random), coordinate(random));
        text.append(line, static_cast<std::size_t>(length));
    }
    return text;
}

template <typename Work>
double Time(Work work)
{
    auto const start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Report(char const* what, std::size_t bytes, double seconds)
{
    std::printf("%-34s %6.3f s  %7.0f MB/s\n", what, seconds, bytes / 1e6 / seconds);
}
} // namespace

int main()
{
    std::filesystem::path const folder = std::filesystem::temp_directory_path() / "ond_bench_zip";
    std::filesystem::create_directories(folder);
    std::string const xml = MeshXml(165'000'000);
    std::size_t constexpr kPiece = 1 << 18;

    std::filesystem::path const isal = folder / "isal.zip";
    FileIO::Zip::Zip64Writer writer;
    writer.OpenArchive(isal.wstring().c_str());
    double const deflateSeconds = Time(
        [&]
        {
            WriteBufferToZip64 buffer(&writer, "3D/3dmodel.model");
            for (std::size_t at = 0; at < xml.size(); at += kPiece)
            {
                buffer.Write(xml.data() + at, std::min(kPiece, xml.size() - at));
            }
        });
    Report("ISA-L deflate level 1 (buffer)", xml.size(), deflateSeconds);
    // libzip writes the archive only now, copying the compressed bytes.
    double const closeSeconds = Time([&] { writer.CloseArchive(); });
    Report("ISA-L deflate level 1 + close", xml.size(), deflateSeconds + closeSeconds);

    std::filesystem::path const source = folder / "model.xml";
    std::ofstream(source, std::ios::binary).write(xml.data(), static_cast<std::streamsize>(xml.size()));
    std::filesystem::path const zlib = folder / "zlib.zip";
    Report("zlib deflate level 1 (libzip)", xml.size(),
           Time(
               [&]
               {
                   zip_t* const archive = zip_open(zlib.c_str(), ZIP_CREATE | ZIP_TRUNCATE, nullptr);
                   zip_int64_t const index = zip_file_add(archive, "3D/3dmodel.model",
                                                          zip_source_file(archive, source.c_str(), 0, 0), 0);
                   zip_set_file_compression(archive, static_cast<zip_uint64_t>(index), ZIP_CM_DEFLATE, 1);
                   zip_close(archive);
               }));

    std::vector<char> block(kPiece);
    MZipArchive archive(false);
    archive.OpenArchiveRead(isal.wstring().c_str());
    Report("ISA-L inflate (ReadBufferFromZip)", xml.size(),
           Time(
               [&]
               {
                   ReadBufferFromZip buffer(&archive, L"3D/3dmodel.model");
                   while (buffer.Read(block.data(), block.size()) > 0)
                   {
                   }
               }));
    archive.CloseArchive();

    zip_t* const handle = zip_open(zlib.c_str(), ZIP_RDONLY, nullptr);
    Report("zlib inflate (libzip)", xml.size(),
           Time(
               [&]
               {
                   zip_file_t* const entry = zip_fopen(handle, "3D/3dmodel.model", 0);
                   while (zip_fread(entry, block.data(), block.size()) > 0)
                   {
                   }
                   zip_fclose(entry);
               }));
    zip_discard(handle);
    // What one entry costs, for packages of many small parts.
    std::filesystem::path const many = folder / "many.zip";
    writer.OpenArchive(many.wstring().c_str());
    std::size_t constexpr kEntries = 10000;
    double const manySeconds = Time(
        [&]
        {
            for (std::size_t i = 0; i < kEntries; ++i)
            {
                WriteBufferToZip64 buffer(&writer, ("part" + std::to_string(i)).c_str());
                buffer.Write(xml.data(), 1000);
            }
        });
    double const manyCloseSeconds = Time([&] { writer.CloseArchive(); });
    std::printf("%zu entries of 1 kB: %.1f us each, %.1f us with closing\n", kEntries,
                manySeconds / kEntries * 1e6, (manySeconds + manyCloseSeconds) / kEntries * 1e6);
    std::printf("archive sizes: ISA-L %.1f MB, zlib %.1f MB\n", std::filesystem::file_size(isal) / 1e6,
                std::filesystem::file_size(zlib) / 1e6);
    std::filesystem::remove_all(folder);
}
