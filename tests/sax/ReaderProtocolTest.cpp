// Tests of the order in which the reader drives persist objects, and of how it
// handles refusals, positions and exceptions.
#include "SaxTestSupport.h"

#include "format3mf/Exception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace
{
using Log = std::vector<std::string>;

TEST(SaxReaderProtocol, NestingPushedHandlersAndEndTags)
{
    Log log;
    {
        Recorder root(log, "R");
        ASSERT_TRUE(Read("<root><a><b/></a><push1><c/><d>x</d></push1><e/></root>", root));
        EXPECT_EQ(Recorder::s_live, 1);
    }
    // The handler that took a start tag gets its end tag; a pushed handler
    // is deleted before that, once its element's content is over.
    Log const expected = {"R<root",  "R<a",     "R<b",     "R>b",      "R>a",    "R<push1",
                          "push1<c", "push1>c", "push1<d", "push1>d",  "~push1", "R>push1",
                          "R<e",     "R>e",     "R>root",  "R loaded", "~R"};
    EXPECT_EQ(log, expected);
    EXPECT_EQ(Recorder::s_live, 0);
}

TEST(SaxReaderProtocol, ElementsNotTakenAreSkippedWithTheirContent)
{
    Log log;
    Recorder root(log, "R");
    ASSERT_TRUE(Read("<root><skip><a><push/></a>words<b/></skip><skip2/><a/></root>", root));
    Log const expected = {"R<root", "R<skip", "R<skip2", "R<a", "R>a", "R>root", "R loaded"};
    EXPECT_EQ(log, expected);
}

TEST(SaxReaderProtocol, HandlerPushedForARefusedElementIsDroppedAtOnce)
{
    Log log;
    Recorder root(log, "R");
    Log* lostLog = nullptr;
    root.onTag = [&](std::string const& tag, MSAXReader& reader)
    {
        if (tag == "skip")
        {
            lostLog = new Log;
            reader.PushHandler(new Recorder(*lostLog, "lost"));
        }
    };
    ASSERT_TRUE(Read("<root><skip><a/></skip></root>", root));
    ASSERT_NE(lostLog, nullptr);
    EXPECT_EQ(*lostLog, Log{"~lost"});
    EXPECT_EQ(Recorder::s_live, 1);
    delete lostLog;
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
    EXPECT_EQ(log[10], "R text " + longText);
}

TEST(SaxReaderProtocol, PositionGrowsToTheDocumentSize)
{
    std::string const document = "<root>\n" + std::string(300000, ' ') + "<a x=\"1\"/><b>t</b></root>";
    std::vector<std::int64_t> positions;
    Log log;
    Recorder root(log, "R");
    root.onTag = [&](std::string const&, MSAXReader& reader) { positions.push_back(reader.GetPosition()); };
    ASSERT_TRUE(Read(document, root));
    ASSERT_EQ(positions.size(), 3u);
    // A start tag with content is handed over at the next markup, so the
    // document element reports the position of its first child.
    EXPECT_LE(positions[0], positions[1]);
    EXPECT_LT(positions[1], positions[2]);
    EXPECT_GT(positions[1], 300000);
    EXPECT_LE(positions[2], static_cast<std::int64_t>(document.size()));
}

TEST(SaxReaderProtocol, PositionAtTheLastEndTagIsTheDocumentSize)
{
    struct Last : ISAXPersistHelper
    {
        MSAXReader* reader = nullptr;
        std::int64_t position = 0;
        bool HandleTag(std::wstring const&, MSAXReader& r) override { return reader = &r, true; }
        void HandleEndTag(std::wstring const&) override { position = reader->GetPosition(); }
    } last;
    std::string const document = "<?xml version=\"1.0\"?>\n<root><a/><b></b></root>";
    ASSERT_TRUE(Read(document, last));
    EXPECT_EQ(last.position, static_cast<std::int64_t>(document.size()));
}

// Throws `exception` when a tag of the given name starts or ends.
template <typename Exception>
void ExpectPassesThrough(std::string const& document, std::string const& where, Exception const& exception)
{
    Log log;
    {
        Recorder root(log, "R");
        root.onTag = [&](std::string const& tag, MSAXReader&)
        {
            if (tag == where)
            {
                throw exception;
            }
        };
        EXPECT_THROW(Read(document, root), Exception) << document;
        EXPECT_EQ(Recorder::s_live, 1) << document;
    }
    EXPECT_EQ(std::count(log.begin(), log.end(), "R loaded"), 0);
}

TEST(SaxReaderProtocol, ExceptionsFromHandlersPassThroughAndEverythingIsDeleted)
{
    std::string const deep =
        "<root><push1><push2><push3><x><boom>text</boom></x></push3></push2></push1></root>";
    ExpectPassesThrough(deep, "boom", Format_3MF::Canceled());
    ExpectPassesThrough(deep, "boom", Format_3MF::Exception(L"bad mesh"));
    ExpectPassesThrough(deep, "boom", std::runtime_error("other"));
    // An empty-element tag, after which the parser reports the end at once.
    ExpectPassesThrough("<root><push1><push2><boom/><after/></push2></push1></root>", "boom",
                        Format_3MF::Canceled());

    Log log;
    Recorder root(log, "R");
    root.onTag = [](std::string const& tag, MSAXReader&)
    {
        if (tag == "boom")
        {
            throw Format_3MF::Exception(L"message kept");
        }
    };
    try
    {
        Read(deep, root);
        FAIL() << "no exception";
    }
    catch (Format_3MF::Exception const& error)
    {
        EXPECT_EQ(error.m_message, L"message kept");
    }
}

TEST(SaxReaderProtocol, ExceptionFromAnEndTagPassesThrough)
{
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
