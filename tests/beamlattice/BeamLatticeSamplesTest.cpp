// The beam lattice samples: every beam imports with the ends, diameters and
// caps that an independent reading of the XML gives, and without a warning.
#include "beamlattice/BeamTestSupport.h"
#include "import/ImportSupport.h"
#include "support/Prerequisites.h"
#include "support/Samples.h"

#include "format3mf/ImportFile.h"

#include <gtest/gtest.h>

#include <algorithm>

TEST(BeamLatticeSamples, BeamsMatchIndependentExpectations)
{
    auto const files = Samples("examples/beamlattice");
    if (files.empty())
    {
        SKIP_OR_FAIL_MISSING("beam lattice samples beside the checkout (../shared/testdata)");
    }
    for (auto const& file : files)
    {
        SCOPED_TRACE(file.string());
        CommandOutput const expected =
            RunCommand("python3 " + Quoted(FORMAT3MF_SOURCE_DIR "/tests/import/expected_meshes.py") +
                       " --beams " + Quoted(file.string()));
        ASSERT_EQ(0, expected.status) << expected.text;
        format3mf::import::ImportResult const read = format3mf::import::ImportFile(file.string());
        ASSERT_EQ(format3mf::import::Importer::Success, read.status) << Joined(read.errors);
        // The lattice is read in full, so a file that requires it is understood.
        EXPECT_EQ(std::string::npos, Joined(read.warnings).find("Unsupported")) << Joined(read.warnings);
        auto const& meshes = read.parts;
        std::ostringstream actual;
        for (std::size_t i = 0; i < meshes.size(); ++i)
        {
            for (Beam const& beam : Beams(*meshes[i].mesh))
            {
                actual << file.string() << '\t' << i << '\t' << beam.v1 << '\t' << beam.v2 << '\t' << beam.d1
                       << '\t' << beam.d2 << '\t' << beam.cap1 << '\t' << beam.cap2 << '\n';
            }
        }
        std::vector<std::string> const want = SplitLines(expected.text);
        std::vector<std::string> const got = SplitLines(actual.str());
        EXPECT_GT(got.size(), 100u) << "a sample of lattices has beams";
        auto const [w, g] = std::mismatch(want.begin(), want.end(), got.begin(), got.end());
        EXPECT_TRUE(w == want.end() && g == got.end())
            << "beam line " << w - want.begin() << ": " << (w == want.end() ? "none" : *w) << " expected, "
            << (g == got.end() ? "none" : *g) << " read";
    }
}
