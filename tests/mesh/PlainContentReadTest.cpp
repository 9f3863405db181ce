// Differential tests of mesh data in plain form: each document reads to the
// same points, triangles, noted property references, error and progress with
// plain content on and off, whatever the sizes of the blocks it comes in.

#include "support/CaseFile.h"
#include "support/MeshReadComparison.h"

#include <gtest/gtest.h>

using namespace MeshReadComparison;

namespace
{
std::string Document(std::string const& mesh, std::string const& objectAttributes = "")
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           R"(<model unit="millimeter" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02" )"
           R"(xmlns:c="http://schemas.microsoft.com/3dmanufacturing/core/2015/02" xmlns:o="urn:other">)"
           "\n <resources>\n  <object id=\"10\"" +
           objectAttributes + ">\n   <mesh>" + mesh + "</mesh>\n  </object>\n </resources>\n</model>\n";
}

struct Case
{
    std::string name;
    std::string xml;
    // Whether some of the content is expected to go past the parser.
    bool plain;
};

// The documents of plain_content_documents.txt, whose head says how they are
// written down.
std::vector<Case> Cases()
{
    std::vector<Case> cases;
    for (CaseRecord const& c : ReadCaseFile(FORMAT3MF_SOURCE_DIR "/tests/mesh/plain_content_documents.txt"))
    {
        std::string const object = c.Get("object");
        cases.push_back({c.name,
                         c.fields.count("document") != 0
                             ? c.Get("document")
                             : Document(c.Get("mesh"), object.empty() ? "" : " " + object),
                         c.fields.count("parser") == 0});
    }
    return cases;
}

using PlainContentRead = testing::TestWithParam<Case>;

std::size_t const kBlockSizes[] = {1, 2, 3, 7, 64 * 1024};
} // namespace

TEST_P(PlainContentRead, GivesWhatTheParserGivesForEveryBlockSize)
{
    Case const& row = GetParam();
    Reading const expected = Read(row.xml, false, 64 * 1024);
    EXPECT_EQ(0, expected.bypassed);
    for (std::size_t const block : kBlockSizes)
    {
        Reading const plain = Read(row.xml, true, block);
        EXPECT_EQ(expected.outcome, plain.outcome) << "block size " << block;
        EXPECT_EQ(row.plain, plain.bypassed > 0) << "block size " << block;
        EXPECT_EQ(expected.outcome, Read(row.xml, false, block).outcome) << "block size " << block;
    }
}

// Cancelling at each position stops both ways at the same element.
TEST_P(PlainContentRead, StopsAtTheSameElementWhenCancelled)
{
    Case const& row = GetParam();
    for (double cancelAt = 100; cancelAt < 800; cancelAt += 37)
    {
        Outcome const expected = Read(row.xml, false, 64 * 1024, cancelAt).outcome;
        EXPECT_EQ(expected, Read(row.xml, true, 64 * 1024, cancelAt).outcome) << "cancelled at " << cancelAt;
        EXPECT_EQ(expected, Read(row.xml, true, 5, cancelAt).outcome) << "cancelled at " << cancelAt;
    }
}

INSTANTIATE_TEST_SUITE_P(Documents, PlainContentRead, testing::ValuesIn(Cases()),
                         [](testing::TestParamInfo<Case> const& info) { return info.param.name; });

// Big enough for many reads and carried tokens: all of the mesh data goes
// past the parser, in blocks of any size.
TEST(PlainContentReadBasics, ABigMeshBypassesTheParserAcrossReads)
{
    std::string vertices = "<vertices>";
    std::string triangles = "<triangles>";
    for (int i = 0; i < 20000; ++i)
    {
        vertices += "\n <vertex x=\"" + std::to_string(i * 0.125) + "\" y=\"-" + std::to_string(i) +
                    ".5\" z=\"1e-3\"/>";
        if (i >= 2)
        {
            triangles += "\n <triangle v1=\"" + std::to_string(i) + "\" v2=\"" + std::to_string(i - 1) +
                         "\" v3=\"" + std::to_string(i - 2) + "\"/>";
        }
    }
    std::string const xml = Document(vertices + "</vertices>" + triangles + "</triangles>");
    std::int64_t const content = std::int64_t(vertices.size() + triangles.size()) - 21;
    Reading const expected = Read(xml, false, 1 << 20);
    for (std::size_t const block : {std::size_t(1000), std::size_t(64 * 1024), std::size_t(1 << 20)})
    {
        Reading const plain = Read(xml, true, block);
        EXPECT_EQ(expected.outcome, plain.outcome) << "block size " << block;
        EXPECT_EQ(content, plain.bypassed) << "block size " << block;
    }
    EXPECT_EQ(20000u, expected.outcome.points.size());
    // Cancelled once the reading passes the first kilobyte, inside the
    // vertices, both ways stop there, not at the end of the mesh.
    Outcome const cancelled = Read(xml, false, 64 * 1024, 999).outcome;
    EXPECT_EQ("cancelled", cancelled.error);
    EXPECT_GT(cancelled.points.size(), 0u);
    EXPECT_LT(cancelled.points.size(), 20000u);
    EXPECT_EQ(cancelled, Read(xml, true, 64 * 1024, 999).outcome);
    EXPECT_EQ(31u, Cases().size()) << "the documents of the differential test are all there";
}
