// An application outside the library's tree, built against the installed
// package only: it exports a coloured mesh, imports it back, imports a sample
// when one is given, and carries a slice stack of its own through the
// extension point, written and read by its own XML helpers.
#include "common/MInternalUnits.h"
#include "common/StringConversion.h"
#include "format3mf/Exporter.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/Importer.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"
#include "format3mf/PackageWrite.h"
#include "format3mf/ReadAttribute.h"
#include "format3mf/Resources.h"
#include "format3mf/SliceStack.h"
#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlColorMaskTrianglePoints.h"
#include "triangles/MStlTriangle.h"

#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

using namespace Format_3MF;

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

// The application's slice stack: a "zbottom" attribute and a "slice" child
// with a "ztop" for each slice.
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
        bool HandleTag(std::wstring const& tag, MSAXReader& reader) override
        {
            std::wstring const name = L"slice";
            if (tag.size() < name.size() || tag.compare(tag.size() - name.size(), name.size(), name) != 0)
            {
                return false;
            }
            double top = 0.0;
            if (ReadAttribute(reader, L"ztop", top))
            {
                m_stack->m_tops.push_back(top);
            }
            return true;
        }
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
            std::wstring const prefix = m_stack->m_modelFile->GetPrefix(NamespaceSlice);
            for (double top : m_stack->m_tops)
            {
                MSAXTagWriterNS slice(writer, L"slice", prefix);
                writer.WriteAttribute(L"ztop", FormatValueFileUnits(top, 4));
            }
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
    std::vector<double> m_tops;
};

// A model file of meshes that also knows the application's slice stacks.
class SlicedModelFile : public ModelFileStlBase
{
protected:
    ISliceStack* _CreateSliceStack(PackageReadContext*) override { return new SliceStack(this); }
};

// A tetrahedron, 10 mm on a side in internal units, each triangle's corners
// in one colour of its own.
std::unique_ptr<MStlBase> MakeColouredTetrahedron(MStlColorMaskTrianglePoints*& mask)
{
    auto mesh = std::make_unique<MStlBase>();
    std::int32_t const side = 10 * static_cast<std::int32_t>(OndSDK::Common::MInternalUnits::Get());
    MStlPoint* const a = mesh->AddPoint(0, 0, 0);
    MStlPoint* const b = mesh->AddPoint(side, 0, 0);
    MStlPoint* const c = mesh->AddPoint(0, side, 0);
    MStlPoint* const d = mesh->AddPoint(0, 0, side);
    mesh->AddTriangle(a, c, b);
    mesh->AddTriangle(a, b, d);
    mesh->AddTriangle(a, d, c);
    mesh->AddTriangle(b, c, d);
    mask = new MStlColorMaskTrianglePoints(&mesh->GetTriangleMaskOwner());
    for (std::uint32_t triangle = 0; triangle < 4; ++triangle)
    {
        for (int corner = 0; corner < 3; ++corner)
        {
            mask->GetInfo(triangle).m_colors[corner] = MStlColor(0x102030u * (triangle + 1));
        }
    }
    return mesh;
}

void ExportAndImportColours(std::wstring const& path)
{
    MStlColorMaskTrianglePoints* mask = nullptr;
    std::unique_ptr<MStlBase> mesh = MakeColouredTetrahedron(mask);
    std::unique_ptr<MStlColorMaskTrianglePoints> ownedMask(mask);
    format3mf::Export exporter;
    exporter.SetStl(mesh.get(), MMTransformMatrix(), nullptr);
    exporter.SetFilePath(path);
    Check(exporter.Operate() == format3mf::Export::Success, "export of a coloured mesh");

    std::vector<std::unique_ptr<MStlBase>> parts;
    format3mf::import::Importer importer;
    importer.SetOutputParts(parts);
    importer.SetFileName(path);
    Check(importer.Operate(nullptr) == format3mf::import::Importer::Success, "import of the exported mesh");
    Check(parts.size() == 1 && parts[0]->GetNumberOfTriangles() == 4, "four triangles read back");
    for (std::uint32_t triangle = 0; !parts.empty() && triangle < parts[0]->GetNumberOfTriangles();
         ++triangle)
    {
        Check(parts[0]->TriangleAt(triangle).GetColor().GetRGB() == 0x102030u * (triangle + 1),
              "each triangle's colour read back");
    }
}

void ImportSample(std::wstring const& path)
{
    std::vector<std::unique_ptr<MStlBase>> parts;
    format3mf::import::Importer importer;
    importer.SetOutputParts(parts);
    importer.SetFileName(path);
    importer.SetImportAsOnePart(true);
    Check(importer.Operate(nullptr) == format3mf::import::Importer::Success, "import of the sample");
    Check(parts.size() == 1 && parts[0]->GetNumberOfTriangles() > 0, "the sample has triangles");
}

void SliceStackThroughTheExtensionPoint(std::wstring const& path)
{
    {
        MStlColorMaskTrianglePoints* mask = nullptr;
        std::unique_ptr<MStlBase> mesh = MakeColouredTetrahedron(mask);
        std::unique_ptr<MStlColorMaskTrianglePoints> ownedMask(mask);
        SlicedModelFile model;
        model.AddStl(mesh.get());
        auto* stack = new SliceStack(&model);
        stack->m_bottom = 0.5;
        stack->m_tops = {1.0, 2.25};
        model.AddSliceStack(stack, nullptr);
        Package package(&model);
        PackageWrite writer(&package, PackageWriteOptions());
        Check(writer.Write(path, nullptr), "writing a package with a slice stack");
    }
    SlicedModelFile model;
    model.AddSupportedExtension(NamespaceSlice, true);
    Package package(&model);
    PackageRead reader(&package, PackageReadOptions());
    Check(reader.Read(path, nullptr), "reading the package with the slice stack");
    Resources& resources = model.GetResources();
    Check(resources.m_sliceStacks.size() == 1, "one slice stack read");
    if (resources.m_sliceStacks.size() == 1)
    {
        auto const& stack = static_cast<SliceStack const&>(*resources.m_sliceStacks[0]);
        Check(stack.m_bottom == 0.5, "the stack's own attribute read by its reader");
        Check(stack.m_tops == std::vector<double>({1.0, 2.25}), "the slices read by the stack's reader");
    }
    Check(model.GetNumStls() == 1, "the mesh read beside the slice stack");
    for (std::uint64_t i = 0; i < model.GetNumStls(); ++i)
    {
        delete model.GetStl(i);
    }
}
} // namespace

// Usage: consumer <scratch folder> [sample.3mf]
int main(int argc, char** argv)
{
    if (argc < 2)
    {
        std::cerr << "usage: consumer <scratch folder> [sample.3mf]\n";
        return 2;
    }
    std::string const folder = argv[1];
    ExportAndImportColours(StringConversion::ConvertMultiByteStringToOndString(folder + "/coloured.3mf"));
    SliceStackThroughTheExtensionPoint(
        StringConversion::ConvertMultiByteStringToOndString(folder + "/sliced.3mf"));
    if (argc > 2)
    {
        ImportSample(StringConversion::ConvertMultiByteStringToOndString(argv[2]));
    }
    else
    {
        std::cout << "no sample given: only the files written here were imported\n";
    }
    std::cout << (g_failures == 0 ? "consumer: all checks passed\n" : "consumer: checks failed\n");
    return g_failures == 0 ? 0 : 1;
}
