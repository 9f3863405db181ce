// The "bin" branch of the mesh reader: vertices and triangles from the
// model's binary part, record by record through the part's buffered file.
// Triangles from there carry no property references.
#include "mesh/MeshStlBaseRead.h"

#include "binary/BinaryBlock.h"
#include "binary/BinaryRefXML.h"
#include "format3mf/Exception.h"
#include "format3mf/ModelFile.h"

#include "common/MFile.h"
#include "triangles/MStlBase.h"

namespace Format_3MF
{
namespace
{
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
    ModelFileBinary* const part = m_mesh->m_modelFile->GetBinaryFile();
    MFile& file = SeekBinaryBlock(part, ref);
    MStlBase& stl = *m_mesh->m_stl;
    float xyz[3];
    for (std::uint64_t i = 0; i < ref.m_count; ++i)
    {
        if (file.READ(xyz, 3) != 3)
        {
            ShortRead(*part);
        }
        m_points.push_back(stl.AddPoint(_ToInternal(xyz[0]), _ToInternal(xyz[1]), _ToInternal(xyz[2]), true));
    }
}

void MeshStlBaseRead::_ReadBinaryTriangles(BinaryRef const& ref)
{
    ModelFileBinary* const part = m_mesh->m_modelFile->GetBinaryFile();
    MFile& file = SeekBinaryBlock(part, ref);
    MStlBase& stl = *m_mesh->m_stl;
    std::int32_t corners[3];
    for (std::uint64_t i = 0; i < ref.m_count; ++i)
    {
        if (file.READ(corners, 3) != 3)
        {
            ShortRead(*part);
        }
        // One at a time, so that a failure names the first bad index. A
        // triangle on a point twice is refused by the host, as in XML.
        MStlPoint const* const first = _Point(corners[0]);
        MStlPoint const* const second = _Point(corners[1]);
        MStlPoint const* const third = _Point(corners[2]);
        stl.AddTriangle(first, second, third, nullptr);
    }
}
} // namespace Format_3MF
