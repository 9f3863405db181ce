// Tests of the order in which the reader drives persist objects, and of how it
// handles refusals, text, positions and exceptions.
#include "SaxTestSupport.h"

#include "format3mf/Exception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace
{
using Log = std::vector<std::string>;

// The handler that took a start tag gets its end tag; a pushed handler is
// deleted once its element's content is over; an element not taken is
// skipped with its content, and a handler pushed for it is dropped at once.
TEST(SaxReaderProtocol, NestingPushedHandlersEndTagsAndSkips)
{
    Log log;
    Log lost;
    {
        Recorder root(log, "R");
        root.onTag = [&](std::string const& tag, MSAXReader& reader)
        {
            if (tag == "skip2")
            {
                reader.PushHandler(new Recorder(lost, "lost"));
            }
        };
        ASSERT_TRUE(Read("<root><a><b/></a><push1><c/><d>x</d></push1><skip><a><push/></a>words<b/></skip>"
                         "<skip2><a/></skip2><e/></root>",
                         root));
        EXPECT_EQ(Recorder::s_live, 1);
    }
    Log const expected = {"R<root",  "R<a",     "R<b",     "R>b",      "R>a",     "R<push1", "push1<c",
                          "push1>c", "push1<d", "push1>d", "~push1",   "R>push1", "R<skip",  "R<skip2",
                          "R<e",     "R>e",     "R>root",  "R loaded", "~R"};
    EXPECT_EQ(log, expected);
    EXPECT_EQ(lost, Log{"~lost"});
    EXPECT_EQ(Recorder::s_live, 0);
}

TEST(SaxReaderProtocol, TextIsAvailableAtTheStartTag)
{
    Log log;
    Recorder root(log, "R");
    std::string const longText(700 * 1024, 'z'); // spans several input blocks
    ASSERT_TRUE(Read("<root><text1>a &amp; b &lt;c&gt; &#x41;<![CDATA[<raw>]]><child/>tail</text1>"
                     "<text2/><text3>" +
                         longText + "</text3></root>",
                     root));
    EXPECT_EQ(log[2], "R text a & b <c> A<raw>");
    EXPECT_EQ(log[6], "R<text2");
    EXPECT_EQ(log[7], "R text ");
    EXPECT_TRUE(log[10] == "R text " + longText);
}

// A start tag with content is handed over at the next markup, so the
// document element reports the position of its first child; at the last end
// tag the position is the document's size.
TEST(SaxReaderProtocol, PositionGrowsToTheDocumentSize)
{
    std::string const document =
        "<?xml version=\"1.0\"?>\n<root>\n" + std::string(300000, ' ') + "<a x=\"1\"/><b>t</b></root>";
    std::vector<std::int64_t> positions;
    struct Positions : ISAXPersistHelper
    {
        std::vector<std::int64_t>& positions;
        MSAXReader* reader = nullptr;
        explicit Positions(std::vector<std::int64_t>& p) : positions(p) {}
        bool HandleTag(std::wstring const&, MSAXReader& r) override
        {
            positions.push_back((reader = &r)->GetPosition());
            return true;
        }
        void HandleEndTag(std::wstring const&) override { positions.push_back(reader->GetPosition()); }
    } root(positions);
    ASSERT_TRUE(Read(document, root));
    ASSERT_EQ(positions.size(), 6u);
    EXPECT_TRUE(std::is_sorted(positions.begin(), positions.end()));
    EXPECT_LT(positions[1], positions[3]);
    EXPECT_GT(positions[1], 300000);
    EXPECT_EQ(positions[5], static_cast<std::int64_t>(document.size()));
}

// Throws `exception` when the tag `where` starts; the exception passes
// through unchanged, message and all, every handler is deleted and nothing reports loaded.
template <typename Exception>
void ExpectPassesThrough(std::string const& document, Exception const& exception)
{
    SCOPED_TRACE(document);
    Log log;
    {
        Recorder root(log, "R");
        root.onTag = [&](std::string const& tag, MSAXReader&)
        {
            if (tag == "boom")
            {
                throw exception;
            }
        };
        try
        {
            Read(document, root);
            ADD_FAILURE() << "no exception";
        }
        catch (Exception const& error)
        {
            EXPECT_STREQ(exception.what(), error.what());
        }
        EXPECT_EQ(Recorder::s_live, 1);
    }
    EXPECT_EQ(std::count(log.begin(), log.end(), "R loaded"), 0);
}

TEST(SaxReaderProtocol, ExceptionsFromHandlersPassThroughAndEverythingIsDeleted)
{
    std::string const deep =
        "<root><push1><push2><push3><x><boom>text</boom></x></push3></push2></push1></root>";
    ExpectPassesThrough(deep, Format_3MF::Canceled());
    ExpectPassesThrough(deep, std::runtime_error("other"));
    ExpectPassesThrough(deep, Format_3MF::Exception(L"message kept"));
    // An empty-element tag, after which the parser reports the end at once.
    ExpectPassesThrough("<root><push1><push2><boom/><after/></push2></push1></root>", Format_3MF::Canceled());

    struct ThrowAtEnd : ISAXPersistHelper
    {
        bool HandleTag(std::wstring const&, MSAXReader& reader) override
        {
            reader.PushHandler(new Recorder(log, "child"));
            return true;
        }
        void HandleEndTag(std::wstring const&) override { throw Format_3MF::Canceled(); }
        Log log;
    } root;
    EXPECT_THROW(Read("<root><a/></root>", root), Format_3MF::Canceled);
    EXPECT_EQ(Recorder::s_live, 0);
}
} // namespace
