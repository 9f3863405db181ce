// The mesh writer: the hot path of every export. Numbers go through the
// context's scratch string into the writer's buffer without an allocation,
// and cancellation costs one test per ten elements.
#include "mesh/MeshStlBaseWrite.h"

#include "format3mf/ModelFile.h"
#include "format3mf/PackageWrite.h"

#include "common/BranchingProgressReporter.h"
#include "common/IncrementalProgressReporter.h"
#include "common/MInternalUnits.h"
#include "sax/SAXWriter.h"
#include "triangles/MStlBase.h"

#include <stdexcept>
#include <string_view>

namespace Format_3MF
{
// FormatID refuses the undefined -1, which an index may be here: a point
// added after the vertices were written has none, and it is printed as it
// stands.
std::string_view MeshStlBaseWrite::_Index(char (&buffer)[64], int index) const
{
    if (index == -1)
    {
        return "-1";
    }
    return NarrowFormatted(buffer, FormatID(index));
}

MeshStlBaseWrite::MeshStlBaseWrite(PackageWriteContext* context, MeshStlBase* mesh,
                                   std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
    : XMLWriteHandler(context), mp_data(mesh), m_progress(std::move(progress))
{
}

MeshStlBaseWrite::~MeshStlBaseWrite() = default;

bool MeshStlBaseWrite::Write(MSAXWriter& writer) const
{
    // The misspelt label is the one this writer has always reported under.
    OndSDK::Common::BranchingProgressReporter reporter(m_progress, "Format_3MG::MeshStlBaseWrite::Write",
                                                       true);
    _WriteVertices(writer, reporter.CreateNestedDelegate(0.2));
    _WriteTriangles(writer, reporter.CreateNestedDelegate(0.35));
    _WriteDisplacementMaps(writer, reporter.CreateNestedDelegate(0.15));
    // The lattice reports no progress of its own.
    reporter.CreateNestedDelegate(0.1);
    _WriteBeamLattice(writer);
    _WriteTetraheders(writer, reporter.CreateNestedDelegate(0.2));
    return true;
}

void MeshStlBaseWrite::_CountOverall() const
{
    PackageWriteStepProgress* const overall = m_context->m_stepProgress.get();
    if (overall == nullptr)
    {
        return;
    }
    if (overall->m_reporter->IsCancelled())
    {
        throw PackageWrite::Canceled();
    }
    ++*overall->m_reporter;
}

void MeshStlBaseWrite::_WriteVertex(MSAXWriter& writer, double x, double y, double z) const
{
    char text[64];
    MSAXTagWriter vertex(writer, "vertex");
    writer.WriteAttribute("x", NarrowFormatted(text, FormatValueFileUnits(x, 4)));
    writer.WriteAttribute("y", NarrowFormatted(text, FormatValueFileUnits(y, 4)));
    writer.WriteAttribute("z", NarrowFormatted(text, FormatValueFileUnits(z, 4)));
}

void MeshStlBaseWrite::_WriteVertices(MSAXWriter& writer, Delegate const& progress) const
{
    MSAXTagWriter vertices(writer, "vertices");
    MStlBase* const stl = mp_data->m_stl;
    if (stl == nullptr)
    {
        return;
    }
    m_vertexIndices = std::make_unique<VertexIndexMask>(&stl->GetPointMaskOwner(), -1);
    if (m_context->IsBinary)
    {
        _WriteVerticesBinary(m_vertexIndices.get(), writer, progress);
    }
    else
    {
        _WriteVerticesXml(m_vertexIndices.get(), writer, progress);
    }
}

bool MeshStlBaseWrite::_WriteVerticesXml(VertexIndexMask* indices, MSAXWriter& writer,
                                         Delegate const& progress) const
{
    if (m_context->IsBinary)
    {
        throw std::runtime_error("MeshStlBaseWrite::_WriteVerticesXml: method is not supposed to be called.");
    }
    if (indices == nullptr)
    {
        throw std::runtime_error("MeshStlBaseWrite::_WriteVerticesXml: invalid pointer to indices.");
    }
    MStlBase const& stl = *mp_data->m_stl;
    OndSDK::Common::BranchingProgressReporter reporter(progress,
                                                       "Format_3MF::MeshStlBaseWrite::_WriteVertices", true);
    double const vertexCount = double(mp_data->m_vertices.size());
    double const pointCount = double(stl.GetNumberOfPoints());
    // A mesh without either divides by zero: no share is of use then.
    double const share = 0.75 / (vertexCount + pointCount);
    std::int32_t index = 0;
    {
        OndSDK::Common::IncrementalProgressReporter counter(
            reporter.CreateNestedDelegate(vertexCount * share),
            "Format_3MF::MeshStlBaseWrite::_WriteVertices: mp_data vertices", mp_data->m_vertices.size(),
            true);
        for (IMesh::Vertex const& vertex : mp_data->m_vertices)
        {
            _WriteVertex(writer, vertex.x, vertex.y, vertex.z);
            if (++index % 10 == 0)
            {
                if (counter.IsCancelled())
                {
                    return false;
                }
                counter += 10;
            }
        }
    }
    {
        OndSDK::Common::IncrementalProgressReporter counter(reporter.CreateNestedDelegate(pointCount * share),
                                                            "Format_3MF::MeshStlBaseWrite::_WriteVertices",
                                                            stl.GetNumberOfPoints(), true);
        double const toFile =
            1.0 / OndSDK::Common::MInternalUnits::Get() / mp_data->m_modelFile->GetUnits().m_factor;
        std::uint64_t written = 0;
        for (auto point = stl.BeginPoint(), end = stl.EndPoint(); point != end; ++point)
        {
            _WriteVertex(writer, point->GetX() * toFile, point->GetY() * toFile, point->GetZ() * toFile);
            indices->GetInfo(*point) = index++;
            _CountOverall();
            if (++written % 10 == 0)
            {
                if (counter.IsCancelled())
                {
                    return false;
                }
                counter += 10;
            }
        }
    }
    if (mp_data->m_tetraheders)
    {
        m_tetrahedersWriter.reset(
            mp_data->m_tetraheders->_CreateSaxHandlerWrite(m_context, reporter.CreateNestedDelegate(0.25)));
        if (auto* const vertexWriter = dynamic_cast<IMeshWriter*>(m_tetrahedersWriter.get()))
        {
            vertexWriter->WriteVertices(writer, index);
        }
    }
    return true;
}

void MeshStlBaseWrite::_WriteTriangles(MSAXWriter& writer, Delegate const& progress) const
{
    MSAXTagWriter triangles(writer, "triangles");
    MStlBase const* const stl = mp_data->m_stl;
    if (stl == nullptr)
    {
        return;
    }
    if (m_context->IsBinary)
    {
        _WriteTrianglesBinary(writer);
        return;
    }
    OndSDK::Common::IncrementalProgressReporter counter(
        progress, "Format_3MF::MeshStlBaseWrite::_WriteTriangles", stl->GetNumberOfTriangles(), true);
    VertexIndexMask const& indices = *m_vertexIndices;
    MeshStlBase::TrianglePropertyMask const* const properties = mp_data->m_triangleProperties.get();
    char text[64];
    std::uint64_t written = 0;
    for (auto triangle = stl->BeginTriangle(), end = stl->EndTriangle(); triangle != end; ++triangle)
    {
        {
            MSAXTagWriter element(writer, "triangle");
            writer.WriteAttribute("v1", _Index(text, indices.GetInfo(triangle->GetPointIndex(0))));
            writer.WriteAttribute("v2", _Index(text, indices.GetInfo(triangle->GetPointIndex(1))));
            writer.WriteAttribute("v3", _Index(text, indices.GetInfo(triangle->GetPointIndex(2))));
            if (properties != nullptr)
            {
                std::vector<MeshStlBase::TriangleProperty> const& entry = properties->GetInfo(*triangle);
                if (!entry.empty())
                {
                    MeshStlBase::TriangleProperty const& property = entry.front();
                    writer.WriteAttribute("pid", _Index(text, property.m_group->m_id));
                    writer.WriteAttribute("p1", _Index(text, int(property.m_p1)));
                    // A uniform triangle carries p1 alone.
                    if (property.m_p1 != property.m_p2 || property.m_p1 != property.m_p3)
                    {
                        writer.WriteAttribute("p2", _Index(text, int(property.m_p2)));
                        writer.WriteAttribute("p3", _Index(text, int(property.m_p3)));
                    }
                }
            }
        }
        _CountOverall();
        if (++written % 10 == 0)
        {
            if (counter.IsCancelled())
            {
                return;
            }
            counter += 10;
        }
    }
}

void MeshStlBaseWrite::_WriteTetraheders(MSAXWriter& writer, Delegate const& progress) const
{
    if (!mp_data->m_tetraheders)
    {
        return;
    }
    std::unique_ptr<ISAXWriteHelper> const helper(
        mp_data->m_tetraheders->_CreateSaxHandlerWrite(m_context, progress));
    if (helper)
    {
        helper->Write(writer);
    }
}
} // namespace Format_3MF
