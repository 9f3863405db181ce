// Exporting one big mesh: the torus of 1,000,000 vertices and 2,000,000
// triangles is written by format3mf::Export, and the two costs that no
// exporter can avoid are measured beside it: formatting the model's XML into
// memory (the library's own writer, no archive) and ISA-L deflating that
// text at the archive's level. Formatting and deflating overlap on two
// cores, so the export's floor is the larger of the two. The export's peak
// memory is set against the bytes of the mesh: the XML is never held whole.
// Each figure is the best of three runs.

#include "Measure.h"
#include "TorusMesh.h"

#include "format3mf/Exporter.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Package.h"
#include "format3mf/PackageWriteContext.h"
#include "model/ModelFileXML.h"

#include "sax/SaxUtilities.h"
#include "triangles/MStlBase.h"

#include <isa-l/igzip_lib.h>

#include <cstdio>
#include <memory>
#include <ostream>
#include <streambuf>
#include <vector>

namespace
{
using namespace measure;

// Appends to a string reserved beforehand, so that growing it is not timed.
class StringSink : public std::streambuf
{
public:
    explicit StringSink(std::string& text) : m_text(text) {}

protected:
    std::streamsize xsputn(char const* data, std::streamsize count) override
    {
        m_text.append(data, static_cast<std::size_t>(count));
        return count;
    }
    int_type overflow(int_type c) override
    {
        if (c != traits_type::eof())
        {
            m_text.push_back(static_cast<char>(c));
        }
        return c;
    }

private:
    std::string& m_text;
};

// The root model of the torus as the package writer prints it.
void FormatModel(MStlBase& torus, std::string& xml)
{
    Format_3MF::ModelFileStlBase model;
    model.AddStl(&torus);
    Format_3MF::Package package(&model);
    Format_3MF::PackageWriteContext context;
    context.m_package = &package;
    package._OnStartWriting(&context);
    StringSink sink(xml);
    std::ostream stream(&sink);
    OndAM::SaxUtilities::WriteOptions options;
    options.m_rootElement = L"model";
    if (!OndAM::SaxUtilities::WriteStream(stream, Format_3MF::ModelFileWrite(&model, &context, nullptr),
                                          options))
    {
        throw std::runtime_error("the model writer failed");
    }
}

// ISA-L at level 1, as the archive's entries are deflated; the compressed
// size comes back.
std::size_t Deflate(std::string const& text, std::vector<std::uint8_t>& output)
{
    std::vector<std::uint8_t> level(ISAL_DEF_LVL1_DEFAULT);
    isal_zstream stream;
    isal_deflate_init(&stream);
    stream.level = 1;
    stream.level_buf = level.data();
    stream.level_buf_size = static_cast<std::uint32_t>(level.size());
    stream.end_of_stream = 1;
    stream.flush = NO_FLUSH;
    stream.next_in = reinterpret_cast<std::uint8_t*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<std::uint32_t>(text.size());
    stream.next_out = output.data();
    stream.avail_out = static_cast<std::uint32_t>(output.size());
    if (isal_deflate(&stream) != COMP_OK || stream.internal_state.state != ZSTATE_END)
    {
        throw std::runtime_error("ISA-L could not deflate the model");
    }
    return stream.total_out;
}

void Report(char const* phase, double bytes, double seconds)
{
    std::printf("%-30s %8.3f s %8.1f MB/s of XML\n", phase, seconds, bytes / 1e6 / seconds);
}
} // namespace

int main()
{
    try
    {
        ScratchFolder const scratch(std::filesystem::temp_directory_path() /
                                    ("ond_bench_export_" + std::to_string(getpid())));
        std::filesystem::path const package = scratch.m_path / "torus.3mf";
        torus::TorusShape const shape;

        double xmlBytes = 0.0;
        double format = 0.0;
        double deflate = 0.0;
        std::size_t deflated = 0;
        {
            std::unique_ptr<MStlBase> const torus = torus::MakeTorus(shape);
            std::string xml;
            FormatModel(*torus, xml);
            xmlBytes = double(xml.size());
            format = BestTime(
                [&]
                {
                    xml.clear();
                    FormatModel(*torus, xml);
                });
            std::vector<std::uint8_t> output(xml.size() + (std::size_t(1) << 20));
            deflate = BestTime([&] { deflated = Deflate(xml, output); });
        }

        Figures const baseline = RunInChild([](double&) { return 0.0; });
        Figures const exported = BestInChildren(
            [&](double& meshBytes)
            {
                double const before = ResidentBytes();
                std::unique_ptr<MStlBase> const torus = torus::MakeTorus(shape);
                meshBytes = ResidentBytes() - before;
                format3mf::Export exporter;
                exporter.SetStl(torus.get(), MMTransformMatrix(), nullptr);
                exporter.SetFilePath(package.wstring());
                return Time(
                    [&]
                    {
                        if (exporter.Operate() != format3mf::Export::Success)
                        {
                            throw std::runtime_error("the exporter failed to write the torus");
                        }
                    });
            });

        double const floor = std::max(format, deflate);
        double const mesh = exported.m_keptBytes;
        double const peak = exported.m_peakBytes - baseline.m_peakBytes;
        std::printf("torus: %u x %u grid, %u vertices, %u triangles\n", shape.m_ring, shape.m_tube,
                    shape.m_ring * shape.m_tube, 2 * shape.m_ring * shape.m_tube);
        std::printf("model XML %.1f MB, deflated %.1f MB, package %.1f MB; best of %d runs\n", xmlBytes / 1e6,
                    double(deflated) / 1e6, double(std::filesystem::file_size(package)) / 1e6, kRuns);
        Report("format XML into memory", xmlBytes, format);
        Report("ISA-L deflate level 1 alone", xmlBytes, deflate);
        Report("export", xmlBytes, exported.m_seconds);
        std::printf("\nexport / larger floor       %6.2f   (target 1.25)\n", exported.m_seconds / floor);
        std::printf("mesh bytes                  %6.1f MB (%.1f bytes per triangle)\n", mesh / 1e6,
                    mesh / (2.0 * shape.m_ring * shape.m_tube));
        std::printf("export peak over baseline   %6.1f MB; limit mesh + 48 MB = %.1f MB\n", peak / 1e6,
                    (mesh + 48e6) / 1e6);
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "bench_export: %s\n", error.what());
        return 1;
    }
    return 0;
}
