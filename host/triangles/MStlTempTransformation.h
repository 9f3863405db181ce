#pragma once

// A guard that shows a mesh transformed for a while without losing precision
// when it goes back.

#include "triangles/MStlBase.h"

#include "common/MMTransform.h"

#include <memory>

// Transforms a mesh for its own lifetime. Integer coordinates don't survive a
// transformation and its inverse, so instead of transforming back the guard
// keeps the mesh's point storage aside and gives the mesh a transformed copy
// (one array of points more, for the span of the guard; the triangles stay
// as they are). The destructor puts the original storage back, so the
// coordinates are restored bit for bit on every way out, and point pointers
// taken before the guard are valid again afterwards.
//
// The mesh is meant to be read meanwhile. If points or triangles were added
// during the guard's life, the original coordinates are written back into
// the mesh's points instead, and the additions stay (new points
// transformed).
class MStlTempTransformation
{
public:
    // With `inverse`, the inverse of the transformation is applied.
    MStlTempTransformation(MStlBase& stl, MMTransform const& transform, bool inverse);
    MStlTempTransformation(MStlTempTransformation const&) = delete;
    MStlTempTransformation& operator=(MStlTempTransformation const&) = delete;
    virtual ~MStlTempTransformation();

private:
    MStlBase& m_stl;
    // Null when the transformation was the identity and nothing changed.
    std::shared_ptr<MStlPointStore> m_original;
    std::size_t m_triangles = 0;
};
