// The library's version, set by the build from the project's.
#include "format3mf/Version.h"

namespace format3mf
{
char const* Version() noexcept
{
    return OND3MF_VERSION;
}
} // namespace format3mf
