#pragma once

// The triangle mesh that 3MF objects are read into and written from, with its
// points, triangles, colours, textures and features.

#include "triangles/IDataMask.h"
#include "triangles/MStlBaseElementInfo.h"
#include "triangles/MStlColor.h"
#include "triangles/MStlElementStores.h"
#include "triangles/MStlFeature.h"
#include "triangles/MStlIterators.h"
#include "triangles/MStlTexture.h"

#include "common/IProgressDelegate.h"
#include "common/MMTransform.h"
#include "common/OndExport.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// A surface of a mesh. This host keeps none; where one is asked for, null
// is passed.
class MStlSurface;

enum class EReturnCode
{
    Ok,
    // The result would exceed 32-bit element indices; nothing was changed.
    TooManyElements
};

// One triangle mesh: points in internal units, triangles between them, and
// what hangs on them (triangle colours, textures, edge graphs with their
// element information, masks, material, name and part flags).
//
// Storage. Points and triangles live in fixed-size chunks (see MStlChunk):
// a point takes 12 bytes plus a 2-byte use counter, a triangle the 12 bytes
// of its three point indices. Elements never move while the mesh grows.
// Triangle colours, textures, edges and masks take no memory until a mesh
// uses them.
//
// Copies share. A copy shares the point and the triangle storage of its
// original; the first change to either mesh gives that mesh its own copy of
// the part it changes (points or triangles) first. Adding a triangle changes
// both (the use counters of its points); Transform only the points;
// AddStl both; setting a colour the triangles. Mutable triangle access
// (BeginTriangle, TriangleAt and AddTriangle on a non-const mesh) takes
// that copy at once, since a colour may be set through what it returns.
//
// Element pointers belong to the storage they were handed out from. A mesh
// that takes its own copy of shared storage hands out new pointers from
// then on, and accepts only those: pointers taken before stay with the
// storage it left, that is with the meshes that still share it. A triangle
// pointer or iterator taken for changes is meant for changes only until the
// mesh is next copied. The textures of a mesh follow it to its new storage.
class OND_EXPORT MStlBase
{
public:
    // The kind of part, read and written directly. A new mesh is a solid
    // part of a model, what nearly every mesh is; a 3MF build may not place
    // a part that is neither solid nor support.
    bool m_partIsSupport = false;
    bool m_partIsSolid = true;

    MStlBase();
    // A copy that shares the element storage (see above); textures, graphs,
    // element information, material, name and flags are copied, and every
    // mask of the original is cloned onto the copy, which owns the clones.
    MStlBase(MStlBase const& other, std::shared_ptr<OndSDK::Common::IProgressDelegate> progress = {});
    MStlBase& operator=(MStlBase const&) = delete;
    virtual ~MStlBase();

    virtual void SetName(wchar_t const* name);
    virtual std::wstring const& GetName() const;

    // Appends a point (null for null coordinates). Points are never merged, whatever `merge` says, so
    // that adding is O(1) and points keep the order they were given in.
    virtual MStlPoint* AddPoint(std::int32_t const* coordinates, bool merge = false);
    virtual MStlPoint* AddPoint(std::int32_t x, std::int32_t y, std::int32_t z, bool merge = false);

    // Appends a triangle on three distinct points of this mesh; null if a
    // point is null, of another mesh, or given twice. `surface` is ignored.
    virtual MStlTriangle* AddTriangle(MStlPoint const* first, MStlPoint const* second, MStlPoint const* third,
                                      MStlSurface* surface = nullptr);

    // The same for whole arrays, for readers that hold many at once: no call
    // per element. AddPoints appends `count` points from x, y, z triples and
    // gives the index of the first. AddTriangles appends `count` triangles
    // from triples of point indices, each moved by `pointOffset`; a triple
    // that names one point twice is passed over, as AddTriangle refuses it,
    // and the number appended is given. Both throw before anything changes:
    // std::length_error past 32-bit indices, std::out_of_range (AddTriangles)
    // when an index names no point of this mesh.
    std::uint32_t AddPoints(std::int32_t const* coordinates, std::size_t count);
    std::size_t AddTriangles(std::uint32_t const* corners, std::size_t count, std::uint32_t pointOffset = 0);

    // Moves every point, rounding half away from zero to 32 bits (values out
    // of range saturate, NaN gives 0). One pass over the points.
    virtual void Transform(MMTransform const& transform);

    // Appends copies of the points, triangles, triangle colours, textures and
    // graphs (with their element information) of another mesh, which may be
    // this one. With onlyGeometry, just the points and triangles. Masks,
    // material, name and flags of this mesh stay as they are; its masks read
    // their defaults for the new elements.
    EReturnCode AddStl(MStlBase const& other, bool onlyGeometry,
                       std::shared_ptr<OndSDK::Common::IProgressDelegate> progress = {});
    // The same with the points of the other mesh moved by `transform` on the
    // way, rounded as Transform rounds: placing a mesh many times costs one
    // pass over its elements per copy, and no mesh in between.
    EReturnCode AddStl(MStlBase const& other, MMTransform const& transform, bool onlyGeometry);

    MStlMaterial& GetMaterial() { return m_material; }
    MStlMaterial const& GetMaterial() const { return m_material; }

    // In the order they were made.
    std::vector<MStlTexture*> const& GetTextures() const;
    // Null only when there is none and `create` is false.
    MStlTextureFactory* GetTextureFactory(bool const& create);

    MStlIteratorStlTriangle BeginTriangle();
    MStlIteratorStlTriangle EndTriangle();
    MStlIteratorStlTriangleConst BeginTriangle() const { return {m_triangles.get(), 0}; }
    MStlIteratorStlTriangleConst EndTriangle() const { return {m_triangles.get(), m_triangles->Size()}; }

    MStlIteratorStlPoint BeginPoint() { return {m_points.get(), 0}; }
    MStlIteratorStlPoint EndPoint() { return {m_points.get(), m_points->Size()}; }
    MStlIteratorStlPointConst BeginPoint() const { return {m_points.get(), 0}; }
    MStlIteratorStlPointConst EndPoint() const { return {m_points.get(), m_points->Size()}; }

    std::size_t NumberOfPoints() const { return m_points->Size(); }
    std::size_t GetNumberOfPoints() const { return m_points->Size(); }
    std::size_t GetNumberOfTriangles() const { return m_triangles->Size(); }

    // By index, which must be below the count.
    MStlPoint& PointAt(std::uint32_t index) { return m_points->At(index); }
    MStlPoint const& PointAt(std::uint32_t index) const { return m_points->At(index); }
    MStlTriangle& TriangleAt(std::uint32_t index);
    MStlTriangle const& TriangleAt(std::uint32_t index) const { return m_triangles->At(index); }

    // Whether a triangle of this mesh was ever given a colour.
    bool HasTriangleColors() const { return m_triangles->HasColors(); }

    MStlFeature& GetFeature() { return m_feature; }
    MStlFeature const& GetFeature() const { return m_feature; }

    // What the masks of points and of triangles hang on.
    IDataMaskOwner& GetPointMaskOwner() { return m_pointMasks; }
    IDataMaskOwner const& GetPointMaskOwner() const { return m_pointMasks; }
    IDataMaskOwner& GetTriangleMaskOwner() { return m_triangleMasks; }
    IDataMaskOwner const& GetTriangleMaskOwner() const { return m_triangleMasks; }

private:
    friend class MStlTexture;
    friend class MStlGraph;
    friend class MStlBaseElementInfoStlDependency;
    friend class MStlTempTransformation;

    bool OwnsPoint(MStlPoint const* point) const { return m_points->Owns(point); }
    bool OwnsTriangle(MStlTriangle const* triangle) const { return m_triangles->Owns(triangle); }

    // The storage to change, made this mesh's own first if it is shared.
    MStlPointStore& EditPoints();
    MStlTriangleStore& EditTriangles();

    // Both AddStl: `transform` null for none.
    EReturnCode Append(MStlBase const& other, MMTransform const* transform, bool onlyGeometry);
    void AppendTexturesOf(MStlBase const& other, std::uint32_t firstTriangle);
    void AppendGraphsOf(MStlBase const& other, std::uint32_t firstPoint);

    std::shared_ptr<MStlPointStore> m_points;
    std::shared_ptr<MStlTriangleStore> m_triangles;
    std::wstring m_name;
    MStlMaterial m_material;
    std::unique_ptr<MStlTextureFactory> m_textureFactory;
    MStlFeature m_feature;
    // Made on demand, also through a const mesh (GetDependency).
    mutable std::unique_ptr<MStlBaseElementInfoStlDependency> m_elementInfo;
    IDataMaskOwner m_pointMasks;
    IDataMaskOwner m_triangleMasks;
};
