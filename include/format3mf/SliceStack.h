#pragma once

// Slice stacks, which an application supplies and the library only carries.

#include "common/OndExport.h"
#include "format3mf/ModelFileItem.h"
#include "format3mf/ReferenceID.h"

#include <string>
#include <vector>

namespace Format_3MF
{
// A stack of slices that an application supplies by deriving from this class
// and from ModelFile; the library only carries it through reading and writing.
struct OND_EXPORT ISliceStack : ModelFileItem, IReferenced
{
    // Slices from m_from to m_to; -1 as the end means "to the last".
    struct Range
    {
        int m_from = 0;
        int m_to = -1;
    };

    // A part of the stack taken from another stack, possibly in another part.
    struct SubStack
    {
        tReferenceID m_id;
        std::wstring m_path;
        Range m_range;
    };

    explicit ISliceStack(ModelFile* modelFile) : ModelFileItem(modelFile) {}

    Range m_range;
    std::vector<SubStack> m_subStacks;
};
} // namespace Format_3MF
