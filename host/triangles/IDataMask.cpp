// Registration of per-element data masks with the mesh that owns them, so the
// mesh can copy them and a mask can leave it when destroyed.
#include "triangles/IDataMask.h"

#include <algorithm>

IDataMask::IDataMask(IDataMaskOwner* owner) : mp_owner(owner)
{
    if (mp_owner)
    {
        mp_owner->m_masks.push_back(this);
    }
}

IDataMask::~IDataMask()
{
    if (mp_owner)
    {
        auto& masks = mp_owner->m_masks;
        auto const found = std::find(masks.begin(), masks.end(), this);
        if (found != masks.end())
        {
            masks.erase(found);
        }
    }
}

IDataMaskOwner::~IDataMaskOwner()
{
    std::vector<IDataMask*> masks;
    masks.swap(m_masks);
    for (IDataMask* mask : masks)
    {
        mask->mp_owner = nullptr;
        if (mask->m_ownedByOwner)
        {
            delete mask;
        }
    }
}

void IDataMaskOwner::CloneMasksOf(IDataMaskOwner const& other)
{
    // Counted first: cloning onto this owner may lengthen other's list when
    // both are the same.
    std::size_t const count = other.m_masks.size();
    for (std::size_t i = 0; i < count; ++i)
    {
        IDataMask* clone = other.m_masks[i]->Clone(*this);
        clone->m_ownedByOwner = true;
    }
}
