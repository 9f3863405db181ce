// The exporter's guard of a mask's label.
#include "facades/TemporaryMaskLabel.h"

#include "triangles/MStlColorMaskTrianglePoints.h"

namespace format3mf
{
TemporaryMaskLabel::TemporaryMaskLabel(MStlColorMaskTrianglePoints* mask) : m_mask(mask)
{
    if (m_mask == nullptr)
    {
        return;
    }
    m_restore = [former = m_mask->GetUserLabel()](MStlColorMaskTrianglePoints* target)
    { target->SetUserLabel(former); };
    m_mask->SetUserLabel(kLabel);
}

TemporaryMaskLabel::~TemporaryMaskLabel()
{
    if (m_restore)
    {
        m_restore(m_mask);
    }
}
} // namespace format3mf
