#include "import/ImportSupport.h"
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
        GTEST_SKIP() << "no sample files beside the checkout (../shared/testdata)";
    }
    std::string names;
    for (auto const& file : files)
    {
        names += " " + Quoted(file.string());
    }
    CommandOutput const expected =
        RunCommand("python3 " + Quoted(FORMAT3MF_SOURCE_DIR "/tests/import/expected_meshes.py") + names);
    ASSERT_EQ(0, expected.status) << expected.text;
    CommandOutput const actual = RunCommand(Quoted(OND3MF_INFO) + " --tsv" + names);
    EXPECT_EQ(0, actual.status) << actual.text;

    std::vector<std::string> const want = SplitLines(expected.text);
    std::vector<std::string> const got = SplitLines(actual.text);
    ASSERT_EQ(want.size(), got.size()) << actual.text;
    for (std::size_t i = 0; i < want.size(); ++i)
    {
        ExpectSameLine(want[i], got[i]);
    }
}
