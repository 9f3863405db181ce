// Imports every sample file and compares the meshes with what a separate
// reading of the XML expects.
#include "import/ImportSupport.h"
#include "support/Prerequisites.h"
#include "support/Samples.h"

#include <gtest/gtest.h>

// Every sample imports, and its meshes have the counts, boxes, colours and
// textures that an independent reading of the XML gives (build and component
// transforms applied, units converted).
TEST(SamplesImport, ToolMatchesIndependentExpectations)
{
    auto const files = Samples();
    if (files.empty())
    {
        SKIP_OR_FAIL_MISSING("sample files beside the checkout (../shared/testdata)");
    }
    std::vector<std::string> names;
    for (auto const& file : files)
    {
        names.push_back(file.string());
    }
    ExpectToolMatchesOracle(names);
}
