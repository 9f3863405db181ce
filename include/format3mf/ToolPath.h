#pragma once

// Tool paths, which an application supplies and the library only carries.

#include "common/OndExport.h"
#include "format3mf/ModelFileItem.h"
#include "format3mf/ReferenceID.h"

namespace Format_3MF
{
// A tool path that an application supplies by deriving from this class and
// from ModelFile; the library only carries it through reading and writing.
struct OND_EXPORT IToolPath : ModelFileItem, IReferenced
{
    explicit IToolPath(ModelFile* modelFile) : ModelFileItem(modelFile) {}
};
} // namespace Format_3MF
