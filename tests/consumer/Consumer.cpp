// An application outside the library's tree, built against the installed
// package only: it exports a mesh with a colour per triangle and imports it
// back, carries a slice stack of its own through the extension point (so
// every base and helper an extension needs must be exported), and, given a
// real file, reads it through the front door and writes its parts again, as
// XML and in the binary form, to read both back with the same meshes. The
// README's examples, built beside it, show the plain export and the import
// of parts.
#include "common/StringConversion.h"
#include "format3mf/Exporter.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ImportFile.h"
#include "format3mf/Importer.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"
#include "format3mf/PackageWrite.h"
#include "format3mf/ReadAttribute.h"
#include "format3mf/Resources.h"
#include "format3mf/SliceStack.h"
#include "format3mf/Version.h"
#include "format3mf/WriteFile.h"
#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlColorMaskTrianglePoints.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace
{
int g_failures = 0;

void Check(bool condition, char const* what)
{
    if (!condition)
    {
        std::cerr << "FAILED: " << what << "\n";
        ++g_failures;
    }
}
#define CHECK(condition) Check(condition, #condition)

std::vector<std::unique_ptr<MStlBase>> Import(std::string const& path)
{
    std::vector<std::unique_ptr<MStlBase>> parts;
    format3mf::import::Importer importer;
    importer.SetOutputParts(parts);
    importer.SetFileName(StringConversion::ConvertMultiByteStringToOndString(path));
    CHECK(importer.Operate(nullptr) == format3mf::import::Importer::Success);
    return parts;
}

using namespace Format_3MF;

// The application's slice stack: a "zbottom" attribute, written with one
// "slice" child that its reader passes over.
struct SliceStack : ISliceStack
{
    struct Reader : ISAXReadHelper, XMLReadHandler, ISAXAttributeHandler
    {
        Reader(SliceStack* stack, PackageReadContext* context, ISAXReadHelper* parent)
            : ISAXReadHelper(parent), XMLReadHandler(context), m_stack(stack)
        {
        }
        void HandleAttributes(MSAXReader& reader) override
        {
            ReadAttribute(reader, L"zbottom", m_stack->m_bottom);
        }
        bool HandleTag(std::wstring const&, MSAXReader&) override { return true; }
        SliceStack* m_stack;
    };
    struct Writer : ISAXWriteHelper, XMLWriteHandler
    {
        Writer(SliceStack const* stack, PackageWriteContext* context)
            : XMLWriteHandler(context), m_stack(stack)
        {
        }
        bool Write(MSAXWriter& writer) const override
        {
            writer.WriteAttribute(L"id", FormatID(m_stack->m_id));
            writer.WriteAttribute(L"zbottom", FormatValueFileUnits(m_stack->m_bottom, 4));
            MSAXTagWriterNS slice(writer, L"slice", m_stack->m_modelFile->GetPrefix(NamespaceSlice));
            return true;
        }
        SliceStack const* m_stack;
    };
    explicit SliceStack(ModelFile* file) : ISliceStack(file) {}
    ISAXReadHelper* _CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent) override
    {
        return new Reader(this, context, parent);
    }
    ISAXWriteHelper* _CreateSaxHandlerWrite(PackageWriteContext* context,
                                            std::shared_ptr<OndSDK::Common::IProgressDelegate>) const override
    {
        return new Writer(this, context);
    }
    void _OnStartWriting(PackageWriteContext*) override { m_modelFile->AddNamespace(NamespaceSlice, L"s"); }
    void _OnStopWriting(PackageWriteContext*) override {}
    void _OnStartReading(PackageReadContext*) override {}
    void _OnStopReading(PackageReadContext*) override {}
    double m_bottom = 0.0;
};

class SlicedModelFile : public ModelFileStlBase
{
protected:
    ISliceStack* _CreateSliceStack(PackageReadContext*) override { return new SliceStack(this); }
};

void SliceStackThroughTheExtensionPoint(std::wstring const& path)
{
    {
        SlicedModelFile model;
        auto* stack = new SliceStack(&model);
        stack->m_bottom = 0.5;
        model.AddSliceStack(stack, nullptr);
        Package package(&model);
        CHECK(PackageWrite(&package, PackageWriteOptions()).Write(path, nullptr));
    }
    SlicedModelFile model;
    model.AddSupportedExtension(NamespaceSlice, true);
    Package package(&model);
    CHECK(PackageRead(&package, PackageReadOptions()).Read(path, nullptr));
    auto const& stacks = model.GetResources().m_sliceStacks;
    CHECK(stacks.size() == 1 && static_cast<SliceStack const&>(*stacks[0]).m_bottom == 0.5);
}

// The same points, and triangles on the same corners in the same order.
bool SameGeometry(MStlBase const& one, MStlBase const& other)
{
    if (one.GetNumberOfPoints() != other.GetNumberOfPoints() ||
        one.GetNumberOfTriangles() != other.GetNumberOfTriangles())
    {
        return false;
    }
    for (std::uint32_t i = 0; i < one.GetNumberOfTriangles(); ++i)
    {
        for (unsigned corner = 0; corner < 3; ++corner)
        {
            MStlPoint const& a = one.PointAt(one.TriangleAt(i).GetPointIndex(corner));
            MStlPoint const& b = other.PointAt(other.TriangleAt(i).GetPointIndex(corner));
            if (a.GetX() != b.GetX() || a.GetY() != b.GetY() || a.GetZ() != b.GetZ())
            {
                return false;
            }
        }
    }
    return true;
}

// A real file through the front door, written again in both forms.
void FrontDoor(std::filesystem::path const& sample, std::filesystem::path const& folder)
{
    format3mf::import::ImportResult const read = format3mf::import::ImportFile(sample);
    CHECK(read.status == format3mf::import::Importer::Success && !read.parts.empty());
    std::vector<MStlBase const*> meshes;
    for (auto const& part : read.parts)
    {
        meshes.push_back(part.mesh.get());
    }
    for (bool const binary : {false, true})
    {
        format3mf::WriteSettings settings;
        settings.binary = binary;
        std::filesystem::path const written = folder / (binary ? "binary.3mf" : "xml.3mf");
        format3mf::WriteResult const result = format3mf::WriteFile(written, meshes, settings);
        CHECK(result.ok && result.error.empty());
        format3mf::import::ImportResult const back = format3mf::import::ImportFile(written);
        CHECK(back.status == format3mf::import::Importer::Success && back.parts.size() == read.parts.size());
        for (std::size_t i = 0; i < back.parts.size() && i < read.parts.size(); ++i)
        {
            CHECK(back.parts[i].name == read.parts[i].name);
            CHECK(SameGeometry(*back.parts[i].mesh, *read.parts[i].mesh));
        }
    }
}
} // namespace

// Usage: consumer <scratch folder> [sample.3mf]
int main(int argc, char** argv)
{
    // A tetrahedron, each triangle's corners in a colour of its own.
    MStlBase mesh;
    MStlPoint* const p[4] = {mesh.AddPoint(0, 0, 0), mesh.AddPoint(100000, 0, 0), mesh.AddPoint(0, 100000, 0),
                             mesh.AddPoint(0, 0, 100000)};
    for (auto const& corners : {std::array<int, 3>{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}})
    {
        mesh.AddTriangle(p[corners[0]], p[corners[1]], p[corners[2]]);
    }
    auto mask = std::make_unique<MStlColorMaskTrianglePoints>(&mesh.GetTriangleMaskOwner());
    for (std::uint32_t triangle = 0; triangle < 4; ++triangle)
    {
        for (MStlColor& colour : mask->GetInfo(triangle).m_colors)
        {
            colour = MStlColor(0x102030u * (triangle + 1));
        }
    }
    std::string const file = (argc > 1 ? argv[1] : std::string(".")) + "/coloured.3mf";
    format3mf::Export exporter;
    exporter.SetStl(&mesh, MMTransformMatrix(), nullptr);
    exporter.SetFilePath(StringConversion::ConvertMultiByteStringToOndString(file));
    CHECK(exporter.Operate() == format3mf::Export::Success);
    auto const parts = Import(file);
    CHECK(parts.size() == 1 && parts[0]->GetNumberOfTriangles() == 4);
    for (std::uint32_t triangle = 0; parts.size() == 1 && triangle < parts[0]->GetNumberOfTriangles();
         ++triangle)
    {
        CHECK(parts[0]->TriangleAt(triangle).GetColor().GetRGB() == 0x102030u * (triangle + 1));
    }
    SliceStackThroughTheExtensionPoint(StringConversion::ConvertMultiByteStringToOndString(
        (argc > 1 ? argv[1] : std::string(".")) + "/sliced.3mf"));
    if (argc > 2)
    {
        FrontDoor(argv[2], argc > 1 ? argv[1] : ".");
    }
    // Built against this version, the application runs this version.
    CHECK(format3mf::Version() == std::to_string(FORMAT3MF_VERSION_MAJOR) + "." +
                                      std::to_string(FORMAT3MF_VERSION_MINOR) + "." +
                                      std::to_string(FORMAT3MF_VERSION_PATCH));
    std::cout << (g_failures == 0 ? "consumer: all checks passed\n" : "consumer: checks failed\n");
    return g_failures == 0 ? 0 : 1;
}
