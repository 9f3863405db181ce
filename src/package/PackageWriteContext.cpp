// The write context's parts that need the progress reporter's full type.
#include "format3mf/PackageWriteContext.h"

#include "common/IncrementalProgressReporter.h"

namespace Format_3MF
{
// Defined where the reporter is a complete type.
PackageWriteStepProgress::~PackageWriteStepProgress() = default;
} // namespace Format_3MF
