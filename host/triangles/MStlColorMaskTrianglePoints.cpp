// A named mask giving each triangle colours at its three corners.
#include "triangles/MStlColorMaskTrianglePoints.h"

IAmANamedStlMask::~IAmANamedStlMask() = default;

MStlColorMaskTrianglePoints::MStlColorMaskTrianglePoints(IDataMaskOwner* owner)
    : MDataMask<MStlTriangle, MStlColorTrianglePoints>(owner)
{
}

MStlColorMaskTrianglePoints::MStlColorMaskTrianglePoints(MStlColorMaskTrianglePoints const& other,
                                                         IDataMaskOwner& owner)
    : MDataMask<MStlTriangle, MStlColorTrianglePoints>(other, owner), IAmANamedStlMask(other)
{
}

MStlColorMaskTrianglePoints::~MStlColorMaskTrianglePoints() = default;

IDataMask* MStlColorMaskTrianglePoints::Clone(IDataMaskOwner& owner) const
{
    return new MStlColorMaskTrianglePoints(*this, owner);
}
