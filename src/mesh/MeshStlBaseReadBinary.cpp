// The "bin" branch of the mesh reader: vertices and triangles from the
// model's binary part, through the part's buffered file.
// Triangles from there carry no property references.
#include "mesh/MeshStlBaseRead.h"

#include "binary/BinaryBlock.h"
#include "binary/BinaryRefXML.h"
#include "format3mf/Exception.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Object.h"

#include "common/MFile.h"
#include "triangles/MStlBase.h"

#include <algorithm>

namespace Format_3MF
{
namespace
{
// Records taken from the part's buffer per call: a call per record would
// cost as much as the copying itself.
constexpr std::uint64_t kBatch = 1024;

// The size was checked before, so a short read means the file went wrong
// under us.
[[noreturn]] void ShortRead(ModelFileBinary const& part)
{
    throw Exception(L"The binary part " + part.GetFileNameInPackage() + L" ended within a block.");
}

bool EndsWithLocalName(std::wstring const& tag, std::wstring_view local)
{
    return tag.size() >= local.size() && tag.compare(tag.size() - local.size(), local.size(), local) == 0 &&
           (tag.size() == local.size() || tag[tag.size() - local.size() - 1] == L':');
}
} // namespace

// The part named by the model part that holds the object.
ModelFileBinary* MeshStlBaseRead::_BinaryPart() const
{
    return m_mesh->m_object->m_modelFile->GetBinaryFile();
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
    ModelFileBinary* const part = _BinaryPart();
    MFile& file = SeekBinaryBlock(part, ref);
    MStlBase& stl = *m_mesh->m_stl;
    float xyz[3 * kBatch];
    for (std::uint64_t done = 0; done < ref.m_count;)
    {
        std::uint64_t const records = std::min(kBatch, ref.m_count - done);
        if (file.READ(xyz, 3 * records) != 3 * records)
        {
            ShortRead(*part);
        }
        for (std::uint64_t i = 0; i < 3 * records; i += 3)
        {
            m_points.push_back(
                stl.AddPoint(_ToInternal(xyz[i]), _ToInternal(xyz[i + 1]), _ToInternal(xyz[i + 2]), true));
        }
        done += records;
    }
}

void MeshStlBaseRead::_ReadBinaryTriangles(BinaryRef const& ref)
{
    ModelFileBinary* const part = _BinaryPart();
    MFile& file = SeekBinaryBlock(part, ref);
    MStlBase& stl = *m_mesh->m_stl;
    std::int32_t corners[3 * kBatch];
    for (std::uint64_t done = 0; done < ref.m_count;)
    {
        std::uint64_t const records = std::min(kBatch, ref.m_count - done);
        if (file.READ(corners, 3 * records) != 3 * records)
        {
            ShortRead(*part);
        }
        for (std::uint64_t i = 0; i < 3 * records; i += 3)
        {
            // One at a time, so that a failure names the first bad index. A
            // triangle on a point twice is refused by the host, as in XML.
            MStlPoint const* const first = _Point(corners[i]);
            MStlPoint const* const second = _Point(corners[i + 1]);
            MStlPoint const* const third = _Point(corners[i + 2]);
            stl.AddTriangle(first, second, third, nullptr);
        }
        done += records;
    }
}
} // namespace Format_3MF
