// The mesh: shared point and triangle storage that a copy takes over until one
// of them changes, plus its name, material, texture and features.
#include "triangles/MStlBase.h"

#include <algorithm>
#include <stdexcept>
#include <string>

MStlBase::MStlBase()
    : m_points(std::make_shared<MStlPointStore>()), m_triangles(std::make_shared<MStlTriangleStore>()),
      m_feature(*this)
{
}

MStlBase::MStlBase(MStlBase const& other, std::shared_ptr<OndSDK::Common::IProgressDelegate>)
    : m_partIsSupport(other.m_partIsSupport), m_partIsSolid(other.m_partIsSolid), m_points(other.m_points),
      m_triangles(other.m_triangles), m_name(other.m_name), m_material(other.m_material),
      m_feature(other.m_feature, *this)
{
    if (other.m_textureFactory)
    {
        m_textureFactory.reset(new MStlTextureFactory(*other.m_textureFactory, *this));
    }
    if (other.m_elementInfo)
    {
        m_elementInfo.reset(new MStlBaseElementInfoStlDependency(other.m_elementInfo->m_info));
    }
    m_pointMasks.CloneMasksOf(other.m_pointMasks);
    m_triangleMasks.CloneMasksOf(other.m_triangleMasks);
}

MStlBase::~MStlBase() = default;

void MStlBase::SetName(wchar_t const* name)
{
    m_name = name ? name : L"";
}

std::wstring const& MStlBase::GetName() const
{
    return m_name;
}

MStlPoint* MStlBase::AddPoint(std::int32_t const* coordinates, bool merge)
{
    if (!coordinates)
    {
        return nullptr;
    }
    return AddPoint(coordinates[0], coordinates[1], coordinates[2], merge);
}

MStlPoint* MStlBase::AddPoint(std::int32_t x, std::int32_t y, std::int32_t z, bool)
{
    return EditPoints().Add(x, y, z);
}

MStlTriangle* MStlBase::AddTriangle(MStlPoint const* first, MStlPoint const* second, MStlPoint const* third,
                                    MStlSurface*)
{
    if (!OwnsPoint(first) || !OwnsPoint(second) || !OwnsPoint(third))
    {
        return nullptr;
    }
    std::uint32_t const a = first->GetIndex();
    std::uint32_t const b = second->GetIndex();
    std::uint32_t const c = third->GetIndex();
    if (a == b || b == c || a == c)
    {
        return nullptr;
    }
    // Both stores are made this mesh's own before anything changes, so that
    // a failure leaves the mesh as it was.
    MStlPointStore& points = EditPoints();
    MStlTriangle* triangle = EditTriangles().Add(a, b, c);
    points.AddUse(a);
    points.AddUse(b);
    points.AddUse(c);
    return triangle;
}

std::uint32_t MStlBase::AddPoints(std::int32_t const* coordinates, std::size_t count)
{
    if (count > MStlChunk::kMaxElements)
    {
        throw std::length_error("a mesh holds at most 4294967294 points");
    }
    return EditPoints().AddMany(coordinates, static_cast<std::uint32_t>(count));
}

std::size_t MStlBase::AddTriangles(std::uint32_t const* corners, std::size_t count, std::uint32_t pointOffset)
{
    if (count > MStlChunk::kMaxElements)
    {
        throw std::length_error("a mesh holds at most 4294967294 triangles");
    }
    // Checked in one pass before anything is stored, so that a bad index
    // leaves the mesh as it was. The offset is added in 64 bits: it must not
    // wrap a bad index back into range.
    std::uint64_t const points = m_points->Size();
    std::uint32_t largest = 0;
    for (std::size_t i = 0; i < 3 * count; ++i)
    {
        largest = std::max(largest, corners[i]);
    }
    if (count > 0 && std::uint64_t(largest) + pointOffset >= points)
    {
        for (std::size_t i = 0; i < 3 * count; ++i)
        {
            if (std::uint64_t(corners[i]) + pointOffset >= points)
            {
                throw std::out_of_range("triangle " + std::to_string(i / 3) + " names point " +
                                        std::to_string(std::uint64_t(corners[i]) + pointOffset) +
                                        " of a mesh of " + std::to_string(points) + " points");
            }
        }
    }
    MStlPointStore& pointStore = EditPoints();
    return EditTriangles().AddMany(corners, static_cast<std::uint32_t>(count), pointOffset, pointStore);
}

void MStlBase::Transform(MMTransform const& transform)
{
    if (transform.IsIdentity())
    {
        return;
    }
    if (m_points.use_count() > 1)
    {
        // Transformed while copied: one pass instead of a copy and a pass.
        m_points = std::make_shared<MStlPointStore>(*m_points, transform, false);
    }
    else
    {
        m_points->Transform(transform, false);
    }
}

EReturnCode MStlBase::AddStl(MStlBase const& other, bool onlyGeometry,
                             std::shared_ptr<OndSDK::Common::IProgressDelegate>)
{
    return Append(other, nullptr, onlyGeometry);
}

EReturnCode MStlBase::AddStl(MStlBase const& other, MMTransform const& transform, bool onlyGeometry)
{
    return Append(other, transform.IsIdentity() ? nullptr : &transform, onlyGeometry);
}

EReturnCode MStlBase::Append(MStlBase const& other, MMTransform const* transform, bool onlyGeometry)
{
    // Held here, so that other's storage stays as it is while this mesh
    // takes its own copy, also when other is this mesh.
    std::shared_ptr<MStlPointStore const> const otherPoints = other.m_points;
    std::shared_ptr<MStlTriangleStore const> const otherTriangles = other.m_triangles;
    if (std::uint64_t(m_points->Size()) + otherPoints->Size() > MStlChunk::kMaxElements ||
        std::uint64_t(m_triangles->Size()) + otherTriangles->Size() > MStlChunk::kMaxElements)
    {
        return EReturnCode::TooManyElements;
    }
    std::uint32_t const firstPoint = m_points->Size();
    std::uint32_t const firstTriangle = m_triangles->Size();
    if (transform != nullptr)
    {
        EditPoints().Append(*otherPoints, *transform);
    }
    else
    {
        EditPoints().Append(*otherPoints);
    }
    EditTriangles().Append(*otherTriangles, firstPoint, !onlyGeometry);
    if (!onlyGeometry)
    {
        AppendTexturesOf(other, firstTriangle);
        AppendGraphsOf(other, firstPoint);
    }
    return EReturnCode::Ok;
}

void MStlBase::AppendTexturesOf(MStlBase const& other, std::uint32_t firstTriangle)
{
    if (other.GetTextures().empty())
    {
        return;
    }
    MStlTextureFactory* factory = GetTextureFactory(true);
    std::size_t const count = other.GetTextures().size();
    for (std::size_t index = 0; index < count; ++index)
    {
        MStlTexture const& from = *other.GetTextures()[index];
        MStlTexture& to = *factory->AddTexture();
        to.SetName(from.GetName());
        to.SetSharedBitmap(from.GetSharedBitmap());
        to.AppendFrom(from, firstTriangle);
    }
}

void MStlBase::AppendGraphsOf(MStlBase const& other, std::uint32_t firstPoint)
{
    if (other.m_feature.GetNumGraphs(false) == 0)
    {
        return;
    }
    bool const hadEdges = m_feature.GetNumEdges() > 0;
    bool const hadInfo = m_elementInfo != nullptr;
    std::uint32_t const edgeCount = other.m_feature.m_nextSerial;
    // Taken by value: other may be this mesh.
    static MStlBaseElementInfo const untouched;
    MStlBaseElementInfo const otherInfo = other.m_elementInfo ? other.m_elementInfo->m_info : untouched;
    std::uint32_t const firstSerial = m_feature.AppendFrom(other.m_feature, firstPoint);
    if (!hadInfo && !other.m_elementInfo)
    {
        return;
    }
    MStlBaseElementInfo& info = MStlBaseElementInfoStlDependency::GetDependency(this, true)->m_info;
    if (!hadEdges && !hadInfo)
    {
        // Nothing of this mesh depends on its defaults yet: take the other's.
        info.SetDefaultEdgeCap(otherInfo.GetDefaultEdgeCap());
        info.SetDefaultEdgeDiameter(otherInfo.GetDefaultEdgeDiameter());
    }
    info.AppendFrom(otherInfo, firstSerial, edgeCount);
}

std::vector<MStlTexture*> const& MStlBase::GetTextures() const
{
    static std::vector<MStlTexture*> const none;
    return m_textureFactory ? m_textureFactory->GetTextures() : none;
}

MStlTextureFactory* MStlBase::GetTextureFactory(bool const& create)
{
    if (!m_textureFactory && create)
    {
        m_textureFactory.reset(new MStlTextureFactory(*this));
    }
    return m_textureFactory.get();
}

MStlIteratorStlTriangle MStlBase::BeginTriangle()
{
    return {&EditTriangles(), 0};
}

MStlIteratorStlTriangle MStlBase::EndTriangle()
{
    MStlTriangleStore& triangles = EditTriangles();
    return {&triangles, triangles.Size()};
}

MStlTriangle& MStlBase::TriangleAt(std::uint32_t index)
{
    return EditTriangles().At(index);
}

MStlPointStore& MStlBase::EditPoints()
{
    if (m_points.use_count() > 1)
    {
        m_points = std::make_shared<MStlPointStore>(*m_points);
    }
    return *m_points;
}

MStlTriangleStore& MStlBase::EditTriangles()
{
    if (m_triangles.use_count() > 1)
    {
        auto own = std::make_shared<MStlTriangleStore>(*m_triangles);
        for (MStlTexture* texture : GetTextures())
        {
            texture->Rebind(*own);
        }
        m_triangles = std::move(own);
    }
    return *m_triangles;
}
