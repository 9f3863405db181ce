// The reader of a "mesh" element, which feeds points and triangles straight
// into the host mesh.
#pragma once

#include "format3mf/MeshStlBase.h"
#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"

#include "common/MInternalUnits.h"
#include "sax/PlainContent.h"

#include <cmath>
#include <limits>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class MStlPoint;

namespace Format_3MF
{
class IPropertyGroup;
struct BinaryRef;
class BinaryPartReader;

// The content of a "mesh": points and triangles go straight into the host
// mesh, and the property reference of each triangle is noted on the binding
// until the mesh is complete. Vertices and triangles in plain form come
// straight from the input bytes (PlainContent.h), with the same results as
// through HandleTag.
class MeshStlBaseRead : public ISAXReadHelper, public XMLReadHandler, public OndSAX::IPlainContentReader
{
public:
    // `parent` gives the namespace scope and may be null.
    MeshStlBaseRead(PackageReadContext* context, MeshStlBase* mesh, ISAXReadHelper* parent);

    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;
    // Notes the end of "vertices" and "triangles", which "bin" depends on.
    void HandleEndTag(std::wstring const& tag) override;

    // The file's vertices read so far; beams refer to them too.
    std::size_t GetNumberOfVertices() const { return m_vertexCount; }
    // The host point of vertex `index` of the file, which must be below
    // GetNumberOfVertices().
    MStlPoint* GetVertexPoint(std::size_t index) const;

    bool AcceptsPlainContent(std::string_view tag) override;
    bool HandlePlainElement(OndSAX::PlainElement const& element, MSAXReader& reader) override;

private:
    // An element of another namespace: displacement maps and beam lattices.
    bool _ReadExtension(std::wstring const& tag, MSAXReader& reader);

    // The property reference that a triangle's attributes give.
    struct Reference
    {
        bool m_hasId = false;
        tReferenceID m_id;
        bool m_hasP1 = false;
        int m_p1 = 0;
        bool m_hasP2 = false;
        int m_p2 = 0;
        bool m_hasP3 = false;
        int m_p3 = 0;
    };

    // The element whose start was taken last, for what a "bin" holds.
    enum class Block
    {
        None,
        Vertices,
        Triangles
    };

    // Whether the element is one of the core mesh elements; `local` is its
    // name without prefix.
    bool _IsCore(std::wstring const& tag, std::wstring_view& local);
    bool _ReadVertex(MSAXReader& reader);
    bool _ReadTriangle(MSAXReader& reader);
    bool _ReadPlainVertex(OndSAX::PlainElement const& element, MSAXReader& reader);
    bool _ReadPlainTriangle(OndSAX::PlainElement const& element, MSAXReader& reader);
    void _AddVertex(double x, double y, double z);
    // Before `count` vertices are added: where they will lie in the mesh.
    void _NoteVertices(std::size_t count);
    void _AddTriangle(int v1, int v2, int v3, Reference const& reference);
    // A vertex index of the file; out of range is refused, naming the index.
    MStlPoint* _Point(int index) const;
    // A coordinate of the file in internal units, rounded half away from
    // zero. Inline: the binary reader calls it for every number.
    std::int32_t _ToInternal(double value) const;
    // The property group of an identifier, or null.
    IPropertyGroup* _Group(tReferenceID id);
    // "bin": the records of its parent from the model's binary part. False
    // under another parent or without "pos" and "count"; an unknown format
    // reads nothing. A block outside the part fails the read.
    bool _ReadBinary(MSAXReader& reader);
    void _ReadBinaryVertices(BinaryRef const& ref);
    void _ReadBinaryTriangles(BinaryRef const& ref);
    // The model's binary part placed on the block; throws when the model
    // names none or the block does not lie in it.
    BinaryPartReader& _SeekBinary(BinaryRef const& ref) const;

    MeshStlBase* m_mesh;
    // The file's vertices are the mesh's points from m_firstPoint on, in file
    // order, so a vertex index is a point index and blocks of them go into
    // the mesh in bulk. Should points of a derived reader's own come between
    // vertices (the midpoints of painted triangles, in a file that puts
    // vertices after triangles), every vertex's point is listed from then on.
    std::uint32_t m_firstPoint = 0;
    std::size_t m_vertexCount = 0;
    std::vector<std::uint32_t> m_vertexPoints;
    double m_unitFactor;
    // The scope of the mesh is fixed while it is read, so a prefix means the
    // same namespace each time: the last one looked up is remembered.
    bool m_defaultIsCore;
    std::wstring m_lastPrefix;
    bool m_lastPrefixIsCore = false;
    bool m_hasLastPrefix = false;
    // Triangles mostly name the group of the triangle before them.
    tReferenceID m_lastGroupId;
    IPropertyGroup* m_lastGroup = nullptr;
    Block m_block = Block::None;
};

inline std::int32_t MeshStlBaseRead::_ToInternal(double value) const
{
    double const scaled = value * m_unitFactor * OndSDK::Common::MInternalUnits::Get();
    double const rounded = scaled >= 0 ? scaled + 0.5 : scaled - 0.5;
    // Beyond 32 bits the nearest limit, so that a hostile number can't make
    // the conversion undefined; NaN gives 0.
    if (std::isnan(rounded))
    {
        return 0;
    }
    if (rounded >= 2147483648.0)
    {
        return std::numeric_limits<std::int32_t>::max();
    }
    if (rounded <= -2147483649.0)
    {
        return std::numeric_limits<std::int32_t>::min();
    }
    return static_cast<std::int32_t>(rounded);
}
} // namespace Format_3MF
