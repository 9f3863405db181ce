// The version of the library, for tools and applications that report it, and
// for code that must build against more than one version.
#pragma once

#include "common/OndExport.h"

// The one place the version is written: the build takes it from here for the
// shared library's file name, the CMake package and the Python package.
#define FORMAT3MF_VERSION_MAJOR 0
#define FORMAT3MF_VERSION_MINOR 1
#define FORMAT3MF_VERSION_PATCH 0

namespace format3mf
{
// The version of the library that runs, as "major.minor.patch": the same as
// the macros above when the application was built against this version.
OND_EXPORT char const* Version() noexcept;
} // namespace format3mf
