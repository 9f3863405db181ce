#pragma once

#include "common/MMTransformMatrix.h"
#include "format3mf/ProductionItem.h"

namespace Format_3MF
{
class Object;

// One object placed inside another; the transformation stays in file units.
struct Component : ProductionItem
{
    Object* m_object = nullptr; // not owned
    MMTransformMatrix m_transform;
};
} // namespace Format_3MF
