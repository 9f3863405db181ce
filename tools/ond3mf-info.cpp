// Imports each 3MF file named on the command line and prints what came out:
// per mesh its vertices, triangles, bounding box in millimetres, coloured and
// textured triangles, textures and beams. With --tsv, one tab-separated line
// per mesh. Exits 0 when every file imported, 1 otherwise.

#include "format3mf/Importer.h"

#include "common/MInternalUnits.h"
#include "common/StringConversion.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlIterators.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTexture.h"
#include "triangles/MStlTriangle.h"

#include <boost/format.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <limits>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace
{
struct Summary
{
    std::size_t vertices = 0;
    std::size_t triangles = 0;
    double min[3] = {0, 0, 0};
    double max[3] = {0, 0, 0};
    std::size_t coloured = 0;
    std::size_t textured = 0;
    std::size_t textures = 0;
    std::size_t beams = 0;
};

Summary Summarise(MStlBase const& mesh)
{
    Summary summary;
    summary.vertices = mesh.GetNumberOfPoints();
    summary.triangles = mesh.GetNumberOfTriangles();
    if (summary.vertices != 0)
    {
        std::int32_t low[3];
        std::int32_t high[3];
        std::fill(low, low + 3, std::numeric_limits<std::int32_t>::max());
        std::fill(high, high + 3, std::numeric_limits<std::int32_t>::min());
        for (auto point = mesh.BeginPoint(); point != mesh.EndPoint(); ++point)
        {
            std::int32_t const coordinates[3] = {point->GetX(), point->GetY(), point->GetZ()};
            for (int axis = 0; axis < 3; ++axis)
            {
                low[axis] = std::min(low[axis], coordinates[axis]);
                high[axis] = std::max(high[axis], coordinates[axis]);
            }
        }
        double const unit = double(OndSDK::Common::MInternalUnits::Get());
        for (int axis = 0; axis < 3; ++axis)
        {
            summary.min[axis] = low[axis] / unit;
            summary.max[axis] = high[axis] / unit;
        }
    }
    for (auto triangle = mesh.BeginTriangle(); triangle != mesh.EndTriangle(); ++triangle)
    {
        summary.coloured += triangle->GetColor().IsDefined() ? 1 : 0;
    }
    std::unordered_set<MStlTriangle const*> textured;
    for (MStlTexture const* texture : mesh.GetTextures())
    {
        textured.insert(texture->GetTriangles().begin(), texture->GetTriangles().end());
    }
    summary.textured = textured.size();
    summary.textures = mesh.GetTextures().size();
    summary.beams = mesh.GetFeature().GetNumEdges();
    return summary;
}

void PrintReadable(std::string const& file, std::vector<std::unique_ptr<MStlBase>> const& meshes)
{
    std::printf("%s: %zu mesh%s\n", file.c_str(), meshes.size(), meshes.size() == 1 ? "" : "es");
    for (std::size_t i = 0; i < meshes.size(); ++i)
    {
        Summary const s = Summarise(*meshes[i]);
        std::string const name = StringConversion::ConvertNativeToUTF8(meshes[i]->GetName());
        std::printf("  mesh %zu%s%s\n", i, name.empty() ? "" : ": ", name.c_str());
        std::printf("    vertices %zu, triangles %zu\n", s.vertices, s.triangles);
        std::printf("    box (%.3f, %.3f, %.3f) to (%.3f, %.3f, %.3f) mm\n", s.min[0], s.min[1], s.min[2],
                    s.max[0], s.max[1], s.max[2]);
        std::printf("    coloured triangles %zu, textured triangles %zu, textures %zu\n", s.coloured,
                    s.textured, s.textures);
        std::printf("    beams %zu\n", s.beams);
    }
}

void PrintTabbed(std::string const& file, std::vector<std::unique_ptr<MStlBase>> const& meshes)
{
    if (meshes.empty())
    {
        std::printf("%s\tnone\n", file.c_str());
    }
    for (std::size_t i = 0; i < meshes.size(); ++i)
    {
        Summary const s = Summarise(*meshes[i]);
        std::printf("%s\t%zu\t%zu\t%zu\t%.3f\t%.3f\t%.3f\t%.3f\t%.3f\t%.3f\t%zu\t%zu\t%zu\n", file.c_str(), i,
                    s.vertices, s.triangles, s.min[0], s.min[1], s.min[2], s.max[0], s.max[1], s.max[2],
                    s.coloured, s.textured, s.beams);
    }
}

void PrintFailure(std::string const& file, bool tabbed, int result, std::string const& message)
{
    if (tabbed)
    {
        std::printf("%s\terror\t%d\t%s\n", file.c_str(), result, message.c_str());
    }
    else
    {
        std::printf("%s: import failed with result %d%s%s\n", file.c_str(), result,
                    message.empty() ? "" : ": ", message.c_str());
    }
}

// Imports one file; false when it failed, whatever the way.
bool Inspect(std::string const& file, bool tabbed)
{
    std::vector<std::unique_ptr<MStlBase>> meshes;
    format3mf::import::Importer importer;
    importer.SetOutputParts(meshes);
    importer.SetFileName(StringConversion::ConvertMultiByteStringToOndString(file));
    // The importer lets some exceptions through to its caller by design;
    // here they only mean that this file failed.
    int result = -1;
    std::string message;
    try
    {
        result = importer.Operate(nullptr);
        if (!importer.GetErrors().empty())
        {
            message = StringConversion::ConvertNativeToUTF8(importer.GetErrors().front());
        }
    }
    catch (std::exception const& error)
    {
        message = error.what();
    }
    catch (int code)
    {
        message = (boost::format("error code %d") % code).str();
    }
    catch (...)
    {
        message = "unknown exception";
    }
    if (result != format3mf::import::Importer::Success)
    {
        PrintFailure(file, tabbed, result, message);
        return false;
    }
    tabbed ? PrintTabbed(file, meshes) : PrintReadable(file, meshes);
    return true;
}
} // namespace

int main(int argc, char** argv)
{
    bool tabbed = false;
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i)
    {
        std::string const argument = argv[i];
        if (argument == "--tsv")
        {
            tabbed = true;
        }
        else
        {
            files.push_back(argument);
        }
    }
    if (files.empty())
    {
        std::fprintf(stderr, "usage: ond3mf-info [--tsv] file.3mf...\n");
        return 2;
    }
    bool all = true;
    for (std::string const& file : files)
    {
        all = Inspect(file, tabbed) && all;
    }
    return all ? 0 : 1;
}
