// The version of the library, for tools and applications that report it.
#pragma once

#include "common/OndExport.h"

namespace format3mf
{
// The library's version as "major.minor.patch", the same as the shared
// library's file name and the CMake package carry.
OND_EXPORT char const* Version() noexcept;
} // namespace format3mf
