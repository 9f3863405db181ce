// Importing one big mesh against its floors: a package of a torus with
// 1,000,000 vertices and 2,000,000 triangles is generated, and measured in
// one run are inflating the model part alone, expat tokenizing its XML alone,
// and the importer with mesh data in plain form and with expat alone. Each
// figure is the best of three runs.
//
// A phase whose memory matters runs in a forked child (see Measure.h).

#include "Measure.h"
#include "TorusMesh.h"

#include "format3mf/Exporter.h"
#include "format3mf/Importer.h"

#include "sax/PlainContent.h"

#include "triangles/MStlBase.h"
#include "zip/MZipArchive.h"
#include "zip/ReadBufferFromZip.h"

#include <expat.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{
using namespace measure;

constexpr wchar_t kModelPart[] = L"3D/3dmodel.model";

// Inflates the model part in big reads; `sink` sees every block.
template <typename Sink>
void InflateModel(std::filesystem::path const& package, Sink&& sink)
{
    MZipArchive archive(false);
    if (!archive.OpenArchiveRead(package.wstring().c_str()))
    {
        throw std::runtime_error("cannot open " + package.string());
    }
    {
        std::vector<char> block(std::size_t(4) << 20);
        ReadBufferFromZip entry(&archive, kModelPart);
        while (std::size_t const got = entry.Read(block.data(), block.size()))
        {
            sink(block.data(), got);
        }
    }
    archive.CloseArchive();
}

void IgnoreStart(void*, XML_Char const*, XML_Char const**) {}

// Expat alone, without namespace processing, fed from memory in 256 KiB
// blocks, as the reader of this library feeds it.
void Tokenize(std::string const& xml)
{
    XML_Parser const parser = XML_ParserCreate(nullptr);
    if (parser == nullptr)
    {
        throw std::runtime_error("XML_ParserCreate failed");
    }
    XML_SetStartElementHandler(parser, IgnoreStart);
    constexpr std::size_t kBlock = 256 << 10;
    bool good = true;
    for (std::size_t at = 0; good && at < xml.size(); at += kBlock)
    {
        std::size_t const size = std::min(kBlock, xml.size() - at);
        good = XML_Parse(parser, xml.data() + at, static_cast<int>(size), XML_FALSE) == XML_STATUS_OK;
    }
    good = good && XML_Parse(parser, nullptr, 0, XML_TRUE) == XML_STATUS_OK;
    XML_ParserFree(parser);
    if (!good)
    {
        throw std::runtime_error("expat refused the generated model");
    }
}

void Report(char const* phase, double bytes, Figures const& figures)
{
    std::printf("%-28s %8.1f MB %8.3f s %8.1f MB/s", phase, bytes / 1e6, figures.m_seconds,
                bytes / 1e6 / figures.m_seconds);
    if (figures.m_cpuSeconds > 0.0)
    {
        std::printf("   CPU %6.3f s", figures.m_cpuSeconds);
    }
    if (figures.m_peakBytes > 0.0)
    {
        std::printf("   peak RSS %7.1f MB", figures.m_peakBytes / 1e6);
    }
    std::printf("\n");
}

} // namespace

int main()
{
    try
    {
        ScratchFolder const scratch(std::filesystem::temp_directory_path() /
                                    ("ond_bench_import_" + std::to_string(getpid())));
        std::filesystem::path const package = scratch.m_path / "torus.3mf";
        format3mf::torus::TorusShape const shape;

        Figures generate;
        {
            std::unique_ptr<MStlBase> const torus = format3mf::torus::MakeTorus(shape);
            format3mf::Export exporter;
            exporter.SetStl(torus.get(), MMTransformMatrix(), nullptr);
            exporter.SetFilePath(package.wstring());
            generate.m_seconds = BestTime(
                [&]
                {
                    if (exporter.Operate() != format3mf::Export::Success)
                    {
                        throw std::runtime_error("the exporter failed to write the torus");
                    }
                });
        }

        double xmlBytes = 0.0;
        Figures inflate;
        inflate.m_seconds = BestTime(
            [&]
            {
                xmlBytes = 0.0;
                InflateModel(package, [&](char const*, std::size_t size) { xmlBytes += double(size); });
            });
        inflate.m_cpuSeconds = g_lastCpuSeconds;

        Figures const baseline = RunInChild([](double&) { return 0.0; });
        Figures const tokenize = BestInChildren(
            [&](double&)
            {
                std::string xml;
                xml.reserve(static_cast<std::size_t>(xmlBytes));
                InflateModel(package, [&](char const* data, std::size_t size) { xml.append(data, size); });
                return Time([&] { Tokenize(xml); });
            });

        auto importPhase = [&](bool plain)
        {
            return [&package, plain](double& kept)
            {
                OndSAX::SetPlainContentEnabled(plain);
                std::vector<std::unique_ptr<MStlBase>> meshes;
                format3mf::import::Importer importer;
                importer.SetOutputParts(meshes);
                importer.SetFileName(package.wstring());
                double const before = ResidentBytes();
                double const seconds = Time(
                    [&]
                    {
                        if (importer.Operate(nullptr) != format3mf::import::Importer::Success)
                        {
                            throw std::runtime_error("the importer refused the generated package");
                        }
                    });
                malloc_trim(0);
                kept = ResidentBytes() - before;
                return seconds;
            };
        };
        Figures const import = BestInChildren(importPhase(true));
        Figures const importExpat = BestInChildren(importPhase(false));

        std::printf("torus: %u x %u grid, %u vertices, %u triangles\n", shape.m_ring, shape.m_tube,
                    shape.m_ring * shape.m_tube, 2 * shape.m_ring * shape.m_tube);
        std::printf("package %.1f MB, model XML %.1f MB; best of %d runs\n",
                    double(std::filesystem::file_size(package)) / 1e6, xmlBytes / 1e6, kRuns);
        Report("export (format + deflate)", xmlBytes, generate);
        Report("inflate model part", xmlBytes, inflate);
        Report("expat tokenize (in memory)", xmlBytes, tokenize);
        std::printf("%-28s %8.1f MB of the expat child's peak is the XML itself\n", "", xmlBytes / 1e6);
        Report("importer, plain mesh data", xmlBytes, import);
        Report("importer, expat alone", xmlBytes, importExpat);
        std::printf("%-28s peak RSS %7.1f MB\n", "baseline child (no work)", baseline.m_peakBytes / 1e6);
        double const meshes = import.m_keptBytes;
        double const peak = import.m_peakBytes - baseline.m_peakBytes;
        std::printf("\nimporter / expat time      %6.2f   (target 0.40; with expat alone %.2f)\n",
                    import.m_seconds / tokenize.m_seconds, importExpat.m_seconds / tokenize.m_seconds);
        std::printf("importer / expat CPU time  %6.2f   (with expat alone %.2f)\n",
                    import.m_cpuSeconds / tokenize.m_cpuSeconds,
                    importExpat.m_cpuSeconds / tokenize.m_cpuSeconds);
        std::printf("importer / inflate time    %6.2f\n", import.m_seconds / inflate.m_seconds);
        std::printf("meshes returned            %6.1f MB (%.1f bytes per triangle)\n", meshes / 1e6,
                    meshes / (2.0 * shape.m_ring * shape.m_tube));
        std::printf("importer peak over baseline %5.1f MB; limit 1.25 x meshes + 24 MB = %.1f MB\n",
                    peak / 1e6, (1.25 * meshes + 24e6) / 1e6);
        std::printf("  with expat alone          %5.1f MB\n",
                    (importExpat.m_peakBytes - baseline.m_peakBytes) / 1e6);
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "bench_import: %s\n", error.what());
        return 1;
    }
    return 0;
}
