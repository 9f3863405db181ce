#pragma once

// Merging one mesh into another, so that an import can give all build items as
// one mesh without losing material colours.

#include "common/OndExport.h"

class MStlBase;

namespace format3mf::import
{
// Adds `source` to `target`. Triangles of `source` that owed their colour to
// its material get that colour of their own first, when the two materials
// differ, so that they keep it under the target's material. `source` stays
// the caller's.
OND_EXPORT void MergeStlInto(MStlBase* source, MStlBase* target);
} // namespace format3mf::import
