// Triangle accessors that go through the mesh's storage, where colours and
// flags are kept.
#include "triangles/MStlTriangle.h"

#include "triangles/MStlElementStores.h"

MStlColor const& MStlTriangle::GetColor() const
{
    return GetStore()->GetColor(GetIndex());
}

void MStlTriangle::SetColor(MStlColor const& color)
{
    GetStore()->SetColor(GetIndex(), color);
}

void MStlTriangle::SetRGB(unsigned long rgb)
{
    SetColor(MStlColor(static_cast<std::uint32_t>(rgb)));
}
