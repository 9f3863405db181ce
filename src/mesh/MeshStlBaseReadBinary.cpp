// The "bin" branch of the mesh reader: vertices and triangles from the
// model's binary part, taken in batches and handed to the host mesh in bulk.
// Triangles from there carry no property references.
#include "mesh/MeshStlBaseRead.h"

#include "binary/BinaryPartReader.h"
#include "binary/BinaryRefXML.h"
#include "format3mf/Exception.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Object.h"
#include "format3mf/PackageFileBinary.h"
#include "format3mf/PackageReadContext.h"

#include "triangles/MStlBase.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace Format_3MF
{
namespace
{
// Records per batch: small enough to stay in the cache between the part's
// bytes and the mesh, large enough that the calls per batch cost nothing.
constexpr std::uint64_t kBatch = 16384;

bool EndsWithLocalName(std::wstring const& tag, std::wstring_view local)
{
    return tag.size() >= local.size() && tag.compare(tag.size() - local.size(), local.size(), local) == 0 &&
           (tag.size() == local.size() || tag[tag.size() - local.size() - 1] == L':');
}
} // namespace

// The part named by the model part that holds the object, placed on the
// block.
BinaryPartReader& MeshStlBaseRead::_SeekBinary(BinaryRef const& ref) const
{
    ModelFileBinary* const part = m_mesh->m_object->m_modelFile->GetBinaryFile();
    if (part == nullptr)
    {
        throw Exception(L"A mesh keeps its data in a binary part, but the model names no binary part.");
    }
    BinaryPartReader& reader = part->GetReader(m_context->m_packageRead);
    reader.Seek(ref);
    return reader;
}

void MeshStlBaseRead::HandleEndTag(std::wstring const& tag)
{
    // Most end tags are those of "vertex" and "triangle": one test each.
    if (m_block != Block::None && !tag.empty() && tag.back() == L's' &&
        (EndsWithLocalName(tag, L"vertices") || EndsWithLocalName(tag, L"triangles")))
    {
        m_block = Block::None;
    }
}

bool MeshStlBaseRead::_ReadBinary(MSAXReader& reader)
{
    if (m_block == Block::None)
    {
        return false;
    }
    BinaryRef ref;
    if (!BinaryRefRead(&ref, m_context).HandleAttributes(reader))
    {
        return false;
    }
    if (m_block == Block::Vertices && ref.m_format == BinaryFormatFloat3)
    {
        _ReadBinaryVertices(ref);
    }
    else if (m_block == Block::Triangles &&
             (ref.m_format == BinaryFormatInt32x3 || ref.m_format == BinaryFormatLong3))
    {
        _ReadBinaryTriangles(ref);
    }
    return true;
}

// Coordinates are taken in the model's unit like those of "vertex", though
// the writer puts millimetres here: the two agree for a model in millimetres.
void MeshStlBaseRead::_ReadBinaryVertices(BinaryRef const& ref)
{
    BinaryPartReader& part = _SeekBinary(ref);
    MStlBase& stl = *m_mesh->m_stl;
    // The floats are turned into internal units where they were read.
    std::vector<std::int32_t> numbers(3 * std::min(kBatch, ref.m_count));
    for (std::uint64_t done = 0; done < ref.m_count;)
    {
        std::uint64_t const records = std::min(kBatch, ref.m_count - done);
        part.Read(numbers.data(), records * BinaryRecordSize);
        for (std::uint64_t i = 0; i < 3 * records; ++i)
        {
            float coordinate;
            std::memcpy(&coordinate, &numbers[i], sizeof coordinate);
            numbers[i] = _ToInternal(coordinate);
        }
        _NoteVertices(records);
        stl.AddPoints(numbers.data(), records);
        m_vertexCount += records;
        done += records;
    }
}

void MeshStlBaseRead::_ReadBinaryTriangles(BinaryRef const& ref)
{
    BinaryPartReader& part = _SeekBinary(ref);
    MStlBase& stl = *m_mesh->m_stl;
    std::vector<std::int32_t> corners(3 * std::min(kBatch, ref.m_count));
    for (std::uint64_t done = 0; done < ref.m_count;)
    {
        std::uint64_t const records = std::min(kBatch, ref.m_count - done);
        part.Read(corners.data(), records * BinaryRecordSize);
        // One pass finds whether any index is out of range (a negative one
        // is, as unsigned); only then is the first one looked for, to be
        // named. A triangle on a point twice is passed over by the host, as
        // in XML.
        std::uint32_t largest = 0;
        for (std::uint64_t i = 0; i < 3 * records; ++i)
        {
            largest = std::max(largest, static_cast<std::uint32_t>(corners[i]));
        }
        if (largest >= m_vertexCount)
        {
            for (std::uint64_t i = 0; i < 3 * records; ++i)
            {
                _Point(corners[i]);
            }
        }
        std::uint32_t* const indices = reinterpret_cast<std::uint32_t*>(corners.data());
        if (!m_vertexPoints.empty())
        {
            for (std::uint64_t i = 0; i < 3 * records; ++i)
            {
                indices[i] = m_vertexPoints[indices[i]];
            }
        }
        stl.AddTriangles(indices, records, m_vertexPoints.empty() ? m_firstPoint : 0);
        done += records;
    }
}
} // namespace Format_3MF
