#pragma once

// A named mask of per-corner triangle colours, which is how colour groups
// reach the mesh.

#include "triangles/MDataMask.h"
#include "triangles/MStlColor.h"
#include "triangles/MStlTriangle.h"

#include "common/OndExport.h"

#include <string>

// A mask with a label that its user chooses.
class MStlBase;

class OND_EXPORT IAmANamedStlMask
{
public:
    virtual ~IAmANamedStlMask();

    std::wstring const& GetUserLabel() const { return m_userLabel; }
    void SetUserLabel(std::wstring const& label) { m_userLabel = label; }

private:
    std::wstring m_userLabel;
};

// The colours of the three corners of each triangle.
class OND_EXPORT MStlColorMaskTrianglePoints : public MDataMask<MStlTriangle, MStlColorTrianglePoints>,
                                               public IAmANamedStlMask
{
public:
    explicit MStlColorMaskTrianglePoints(IDataMaskOwner* owner);
    ~MStlColorMaskTrianglePoints() override;

    IDataMask* Clone(IDataMaskOwner& owner) const override;

    // The first mask of corner colours attached to the mesh's triangles, the
    // one readers and writers of colours take; null when there is none.
    static MStlColorMaskTrianglePoints const* FirstOf(MStlBase const& mesh);

private:
    MStlColorMaskTrianglePoints(MStlColorMaskTrianglePoints const& other, IDataMaskOwner& owner);
};
