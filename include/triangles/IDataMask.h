#pragma once

// Masks: per-point or per-triangle data kept beside a mesh rather than in its
// elements, and the owner they register with.

#include "common/OndExport.h"

#include <vector>

class IDataMaskOwner;

// A per-element data array that hangs on the points or the triangles of a
// mesh. It registers with its owner when made and leaves it when destroyed.
// Whoever makes a mask owns it; the masks that a copy of a mesh gets are
// clones owned by that copy. An owner that goes first leaves its other masks
// orphaned, so they can still be destroyed safely.
class OND_EXPORT IDataMask
{
public:
    virtual ~IDataMask();

    IDataMask(IDataMask const&) = delete;
    IDataMask& operator=(IDataMask const&) = delete;

    // Null once the owner is gone, or if the mask was made without one.
    IDataMaskOwner* GetOwner() const { return mp_owner; }

    // A copy of this mask registered with `owner`, which then owns it. Masks
    // of derived types override it so that a copy keeps its type.
    virtual IDataMask* Clone(IDataMaskOwner& owner) const = 0;

protected:
    explicit IDataMask(IDataMaskOwner* owner);

private:
    friend class IDataMaskOwner;

    IDataMaskOwner* mp_owner;
    bool m_ownedByOwner = false;
};

// What masks hang on: one for the points and one for the triangles of each
// mesh. It lists its masks in the order they were made.
class OND_EXPORT IDataMaskOwner
{
public:
    IDataMaskOwner() = default;
    IDataMaskOwner(IDataMaskOwner const&) = delete;
    IDataMaskOwner& operator=(IDataMaskOwner const&) = delete;
    ~IDataMaskOwner();

    std::vector<IDataMask*> const& GetMasks() const { return m_masks; }

    // Clones every mask of another owner onto this one.
    void CloneMasksOf(IDataMaskOwner const& other);

private:
    friend class IDataMask;

    std::vector<IDataMask*> m_masks;
};
