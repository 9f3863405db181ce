// Differential tests of mesh data in plain form: each document reads to the
// same points, triangles, noted property references, error and progress with
// plain content on and off, whatever the sizes of the blocks it comes in.

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

std::string const kVertices = "<vertices>\n    <vertex x=\"0\" y=\"0\" z=\"0\"/>\n"
                              "    <vertex x=\"1.5\" y=\"0\" z=\"-0.00025\"/>\n"
                              "    <vertex x=\"0\" y=\"1e1\" z=\"0\"/>\n"
                              "    <vertex x=\"1\" y=\"1\" z=\"+2.5\" />\n   </vertices>";

std::string WithTriangles(std::string const& triangles, std::string const& vertices = kVertices)
{
    return Document(vertices + "\n   <triangles>\n" + triangles + "\n   </triangles>\n");
}

struct Case
{
    char const* name;
    std::string xml;
    // Whether some of the content is expected to go past the parser.
    bool plain;
};

std::vector<Case> Cases()
{
    return {
        {"PlainMesh",
         WithTriangles(R"(<triangle v1="0" v2="1" v3="2"/><triangle v3='3' v1 = '1' v2= "2" pid="1" p1="1"/>
             <triangle v1="0" v2="1" v3="3" pid="1" p1="0" p2="1"/><triangle v1="0" v2="1" v3="2"></triangle>
             <triangle v1="0" v2="1" v3="2" pid="1" p1="1" p3="0" ><!-- end --> </triangle>)"),
         true},
        {"DefaultGroup",
         Document(kVertices + R"(<triangles><triangle v1="0" v2="1" v3="2" p1="1"/>
             <triangle v1="0" v2="1" v3="2"/><triangle v1="0" v2="1" v3="2" pid="-1" p1="1"/></triangles>)",
                  R"( pid="1" pindex="0" defaultgroup="1")"),
         true},
        {"MissingAndUnknownGroups", WithTriangles(R"(<triangle v1="0" v2="1"/><triangle v1="0" v2="1" v3="2"
             pid="7" p1="1"/><triangle v1="0" v2="1" v3="2" pid="1"/>)"),
         true},
        {"DroppedVertexShiftsIndices",
         WithTriangles(
             R"(<triangle v1="0" v2="1" v3="2"/>)",
             R"(<vertices><vertex x="0" y="0"/><vertex x="1" y="0" z="0"/><vertex x="0" y="1" z="0"/>
             <vertex x="1" y="1" z="0"/></vertices>)"),
         true},
        {"RoundingClampingAndNaN", WithTriangles("", R"(<vertices><vertex x="-0.00025" y="0.00025" z="1e300"/>
             <vertex x="-1e300" y="nan" z="0"/><vertex x="0" y="0" z="0" /></vertices>)"),
         true},
        {"VertexIndexOutOfRange",
         WithTriangles(R"(<triangle v1="0" v2="1" v3="2"/><triangle v1="0" v2="4" v3="9"/>
             <triangle v1="0" v2="1" v3="3"/>)"),
         true},
        {"IndexBeyondInt",
         WithTriangles(R"(<triangle v1="0" v2="1" v3="2"/><triangle v1="0" v2="4294967296" v3="2"/>
             <triangle v1="3" v2="1" v3="2"/>)"),
         true},
        // Each of these falls back to the parser at one element.
        {"PrefixedVertex",
         WithTriangles(R"(<triangle v1="0" v2="1" v3="2"/>)",
                       R"(<vertices><vertex x="0" y="0" z="0"/><c:vertex x="1" y="0" z="0"/>
             <vertex x="0" y="1" z="0"/><o:vertex x="5" y="5" z="5"/></vertices>)"),
         true},
        {"PrefixedAttribute",
         WithTriangles(R"(<triangle v1="0" v2="1" v3="2" o:p="1"/><triangle v1="0" v2="1" v3="3"/>)"), true},
        {"CharacterReferenceInNumber",
         WithTriangles(R"(<triangle v1="0" v2="1" v3="2"/><triangle v1="0" v2="&#x31;" v3="2"/>)",
                       R"(<vertices><vertex x="0" y="0" z="0"/><vertex x="1&#x20;" y="0" z="0"/>
             <vertex x="0" y="1" z="0"/></vertices>)"),
         true},
        {"DuplicateAttribute",
         WithTriangles(R"(<triangle v1="0" v2="1" v3="2"/><triangle v1="0" v1="1" v2="1" v3="2"/>)"), true},
        {"InfinityAndNaNWords",
         WithTriangles("", R"(<vertices><vertex x="1" y="2" z="3"/><vertex x="INF" y="0" z="0"/>
             <vertex x="-inf" y="infinity" z="NaN"/><vertex x="1" y="1" z="1"/></vertices>)"),
         true},
        {"CommentBetweenAttributes",
         WithTriangles(R"(<triangle v1="0" v2="1" v3="2"/><triangle v1="0" <!-- c --> v2="1" v3="2"/>)"),
         true},
        {"BadComment",
         WithTriangles(R"(<triangle v1="0" v2="1" v3="2"/><!-- a -- b --><triangle v1="0" v2="1" v3="3"/>)"),
         true},
        {"TextInContent",
         WithTriangles(R"(<triangle v1="0" v2="1" v3="2"/> text <triangle v1="0" v2="1" v3="3"/>)"), true},
        {"UnknownElementAndAttribute",
         WithTriangles(
             R"(<triangle v1="0" v2="1" v3="2"/><other/><triangle v1="0" v2="1" v3="3" colour="red"/>
             <triangle v1="1" v2="2" v3="3"/>)"),
         true},
        {"ChildInsideVertex",
         WithTriangles("", R"(<vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="1" z="1">
             <vertex x="2" y="2" z="2"/></vertex><vertex x="3" y="3" z="3"/></vertices>)"),
         true},
        {"NonAsciiByte",
         WithTriangles("", "<vertices><vertex x=\"0\" y=\"0\" z=\"0\"/><vertex x=\"1\" y=\"0\" "
                           "z=\"0\" n=\"\xC3\xA9\"/><vertex x=\"2\" y=\"0\" z=\"0\"/></vertices>"),
         true},
        {"ControlCharacter",
         WithTriangles("", "<vertices><vertex x=\"0\" y=\"0\" z=\"0\"/><vertex x=\"1\x01\" "
                           "y=\"0\" z=\"0\"/></vertices>"),
         true},
        {"CDataAndProcessingInstruction",
         WithTriangles(
             R"(<triangle v1="0" v2="1" v3="2"/><![CDATA[ x ]]><?pi data?><triangle v1="0" v2="1" v3="3"/>)"),
         true},
        {"MismatchedEndTag",
         WithTriangles(R"(<triangle v1="0" v2="1" v3="2"/></vertices><triangle v1="0" v2="1" v3="3"/>)"),
         true},
        {"MissingSpaceBetweenAttributes",
         WithTriangles(R"(<triangle v1="0" v2="1" v3="2"/><triangle v1="0"v2="1" v3="3"/>)"), true},
        {"NotANumber", WithTriangles(R"(<triangle v1="0" v2="1" v3="2"/><triangle v1="0.5" v2="1" v3="3"/>
             <triangle v1="0" v2="1" v3="3" pid="1x" p1="1"/><triangle v1="0" v2="1" v3="2" pid="1" p1="z"/>)"),
         true},
        {"TruncatedInsideElement",
         Document(kVertices + R"(<triangles><triangle v1="0" v2="1" v3="2"/><triangle v1="0" v2)"), true},
        {"NestedVerticesAfterFallback",
         WithTriangles("", R"(<vertices><vertex x="0" y="0" z="0"/><o:x/><vertices><vertex x="1" y="1" z="1"/>
             </vertices><vertex x="2" y="2" z="2"/></vertices>)"),
         true},
        {"EmptyRegionsAndEmptyElements",
         Document("<vertices/><vertices> <!-- c --> </vertices><triangles></triangles>"), true},
        // Not taken at all: the content is read by the parser alone.
        {"PrefixedVertices", Document(R"(<c:vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/>
             <vertex x="0" y="1" z="0"/></c:vertices><triangles><triangle v1="0" v2="1" v3="2"/></triangles>)"),
         true},
        {"OtherDefaultNamespace",
         Document(R"(<vertices xmlns="urn:other"><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/>
             <vertex x="0" y="1" z="0"/></vertices>)"),
         true},
        {"MeshInAnotherNamespace",
         "<model xmlns=\"urn:other\"><resources><object><mesh><vertices><vertex x=\"0\" y=\"0\" z=\"0\"/>"
         "</vertices></mesh></object></resources></model>",
         false},
        {"VerticesInsideAComment",
         Document("<!-- <vertices> <vertex x=\"1\" y=\"1\" z=\"1\"/> </vertices> -->"), false},
        {"DocumentTypeRefused",
         "<!DOCTYPE model [<!ENTITY e \"1\">]><model "
         "xmlns=\"http://schemas.microsoft.com/3dmanufacturing/core/"
         "2015/02\"><resources><object><mesh><vertices><vertex x=\"&e;\" y=\"0\" z=\"0\"/></vertices></mesh>"
         "</object></resources></model>",
         false},
    };
}

void PrintTo(Case const& row, std::ostream* out)
{
    *out << row.name;
}

class PlainContentRead : public testing::TestWithParam<Case>
{
};

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
}
