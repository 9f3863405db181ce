// Merging one mesh into another, keeping the colours triangles owed to their
// material.
#include "format3mf/MergeStl.h"

#include "triangles/MStlBase.h"
#include "triangles/MStlIterators.h"
#include "triangles/MStlTriangle.h"

namespace format3mf::import
{
void MergeStlInto(MStlBase* source, MStlBase* target)
{
    std::uint32_t const colour = source->GetMaterial().GetRGB();
    if (colour != target->GetMaterial().GetRGB())
    {
        for (auto triangle = source->BeginTriangle(); triangle != source->EndTriangle(); ++triangle)
        {
            if (!triangle->GetColor().IsDefined())
            {
                triangle->SetRGB(colour);
            }
        }
    }
    target->AddStl(*source, false, nullptr);
}
} // namespace format3mf::import
