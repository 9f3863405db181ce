// A named mask giving each triangle colours at its three corners.
#include "triangles/MStlColorMaskTrianglePoints.h"

#include "triangles/MStlBase.h"

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

MStlColorMaskTrianglePoints const* MStlColorMaskTrianglePoints::FirstOf(MStlBase const& mesh)
{
    for (IDataMask const* mask : mesh.GetTriangleMaskOwner().GetMasks())
    {
        if (auto const* colors = dynamic_cast<MStlColorMaskTrianglePoints const*>(mask))
        {
            return colors;
        }
    }
    return nullptr;
}
