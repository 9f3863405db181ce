// A scoped transformation of a mesh that restores the original coordinates
// exactly when it ends.
#include "triangles/MStlTempTransformation.h"

MStlTempTransformation::MStlTempTransformation(MStlBase& stl, MMTransform const& transform, bool inverse)
    : m_stl(stl)
{
    if (transform.IsIdentity())
    {
        return;
    }
    auto transformed = std::make_shared<MStlPointStore>(*stl.m_points, transform, inverse);
    m_original = std::move(stl.m_points);
    stl.m_points = std::move(transformed);
    m_triangles = stl.GetNumberOfTriangles();
}

MStlTempTransformation::~MStlTempTransformation()
{
    if (!m_original)
    {
        return;
    }
    if (m_stl.m_points->Size() == m_original->Size() && m_stl.GetNumberOfTriangles() == m_triangles)
    {
        m_stl.m_points = std::move(m_original);
        return;
    }
    m_stl.m_points->RestoreCoordinates(*m_original);
}
