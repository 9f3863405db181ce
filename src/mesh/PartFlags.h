// The two part flags of a host mesh and the object type of 3MF: one table for
// reading, writing and flattening.
#pragma once

class MStlBase;

namespace Format_3MF
{
// Sets the flags from an object type (0 model, 1 support, 2 solid support,
// 3 other); any other number leaves them as they are.
void SetPartFlags(MStlBase& stl, int type);
} // namespace Format_3MF
