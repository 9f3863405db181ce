// The binary form of the mesh writer: points and triangles go as records
// into the model's binary part, and the XML keeps one "bin" element each
// saying where they lie.
#include "mesh/MeshStlBaseWrite.h"

#include "binary/BinaryRefXML.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Object.h"

#include "sax/SAXWriter.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlIterators.h"

#include <stdexcept>

namespace Format_3MF
{
namespace
{
// The part of the model part that holds the object; preparing the mesh made
// it. Without it the records would be lost.
ModelFileBinary& BinaryPart(MeshStlBase const& mesh)
{
    ModelFileBinary* const part = mesh.m_object->m_modelFile->GetBinaryFile();
    if (part == nullptr || !part->IsOpenForWriting())
    {
        throw std::logic_error("MeshStlBaseWrite: the model has no binary part open for writing.");
    }
    return *part;
}

// A block starts where the part stands now.
BinaryRef StartBlock(ModelFileBinary const& part, wchar_t const* format)
{
    BinaryRef ref(static_cast<std::int64_t>(part.GetWritePosition()), 0, format);
    ref.m_ref = part.GetFileNameInPackage();
    return ref;
}

// Records gathered on the stack and handed to the part a thousand at a
// time: a call per record would cost as much as the copying itself.
template <typename Number>
class RecordBatch
{
public:
    explicit RecordBatch(ModelFileBinary& part) : m_part(part) {}

    void Add(Number a, Number b, Number c)
    {
        if (m_size == sizeof m_numbers / sizeof m_numbers[0])
        {
            Flush();
        }
        m_numbers[m_size++] = a;
        m_numbers[m_size++] = b;
        m_numbers[m_size++] = c;
    }
    void Flush()
    {
        m_part.WriteRecords(m_numbers, m_size * sizeof(Number));
        m_size = 0;
    }

private:
    ModelFileBinary& m_part;
    Number m_numbers[3 * 1024];
    std::size_t m_size = 0;
};
} // namespace

void MeshStlBaseWrite::_WriteVerticesBinary(VertexIndexMask* indices, MSAXWriter& writer,
                                            Delegate const&) const
{
    if (!m_context->IsBinary)
    {
        throw std::runtime_error(
            "MeshStlBaseWrite::_WriteVerticesBinary: method is not supposed to be called.");
    }
    if (indices == nullptr)
    {
        throw std::runtime_error("MeshStlBaseWrite::_WriteVerticesBinary: invalid pointer to indices.");
    }
    ModelFileBinary& part = BinaryPart(*mp_data);
    BinaryRef ref = StartBlock(part, BinaryFormatFloat3);
    MStlBase const& stl = *mp_data->m_stl;
    RecordBatch<float> records(part);
    // Every point, as the XML form writes them: one that no triangle uses
    // may be the end of a beam, or simply part of the mesh, and a second
    // conversion must find it again.
    std::int32_t index = 0;
    for (auto point = stl.BeginPoint(), end = stl.EndPoint(); point != end; ++point)
    {
        indices->GetInfo(*point) = index++;
        records.Add(point->GetXMMf(), point->GetYMMf(), point->GetZMMf());
    }
    records.Flush();
    ref.m_count = static_cast<std::uint64_t>(index);
    MSAXTagWriter bin(writer, "bin");
    BinaryRefWrite(&ref, m_context).Write(writer);
}

void MeshStlBaseWrite::_WriteTrianglesBinary(MSAXWriter& writer) const
{
    ModelFileBinary& part = BinaryPart(*mp_data);
    BinaryRef ref = StartBlock(part, BinaryFormatInt32x3);
    MStlBase const& stl = *mp_data->m_stl;
    VertexIndexMask const& indices = *m_vertexIndices;
    RecordBatch<std::int32_t> records(part);
    for (auto triangle = stl.BeginTriangle(), end = stl.EndTriangle(); triangle != end; ++triangle)
    {
        records.Add(indices.GetInfo(triangle->GetPointIndex(0)), indices.GetInfo(triangle->GetPointIndex(1)),
                    indices.GetInfo(triangle->GetPointIndex(2)));
    }
    records.Flush();
    ref.m_count = stl.GetNumberOfTriangles();
    MSAXTagWriter bin(writer, "bin");
    BinaryRefWrite(&ref, m_context).Write(writer);
}
} // namespace Format_3MF
