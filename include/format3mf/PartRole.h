// The role of a mesh in a slicer project: what a part of an object does
// when the object is printed.
#pragma once

#include "common/OndExport.h"

namespace Format_3MF
{
enum class PartRole
{
    // Material: what every mesh of a plain 3MF reading is.
    Printable,
    // Cut out of the printable parts of its object: a hole.
    NegativeVolume,
    // Changes print settings inside it; not printed itself.
    Modifier,
    SupportBlocker,
    SupportEnforcer,
};

// "printable part", "negative volume", "modifier", "support blocker",
// "support enforcer".
OND_EXPORT char const* PartRoleName(PartRole role);
} // namespace Format_3MF
