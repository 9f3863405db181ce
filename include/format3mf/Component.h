#pragma once

// Components: objects placed inside other objects, possibly from another model
// part.

#include "common/MMTransformMatrix.h"
#include "format3mf/ProductionItem.h"
#include "format3mf/ReferenceID.h"

namespace Format_3MF
{
class ModelFile;
class Object;

// One object placed inside another; the transformation stays in file units.
// As the 3MF production extension defines, the placed object may stand in
// another model part ("path"), as a build item's may.
struct Component : ProductionItem
{
    // The object placed: what writing uses. Reading sets it at once for an
    // object of the component's own part, and at the end of the read for one
    // in another part, which may not have been read yet when the component is.
    Object* m_object = nullptr; // not owned
    // What the file said: the part the object stands in (set by every read,
    // also for the component's own part) and its identifier there.
    ModelFile* m_modelFile = nullptr; // not owned
    tReferenceID m_objectID;
    MMTransformMatrix m_transform;
};
} // namespace Format_3MF
