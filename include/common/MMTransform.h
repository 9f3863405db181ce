#pragma once

// The abstract transformation that meshes and points are mapped through.

#include "common/MMPoint3d.h"
#include "common/OndExport.h"

// Base of transformations of space: what a mesh is transformed by.
class OND_EXPORT MMTransform
{
public:
    virtual ~MMTransform() = default;

    virtual bool IsIdentity() const = 0;
    virtual MMPoint3d<double> Apply(MMPoint3d<double> const& point) const = 0;
    virtual MMPoint3d<double> ApplyInverse(MMPoint3d<double> const& point) const = 0;

protected:
    MMTransform() = default;
    MMTransform(MMTransform const&) = default;
    MMTransform& operator=(MMTransform const&) = default;
};
