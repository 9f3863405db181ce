// Tests of the order in which the reader drives persist objects, and of how it
// handles refusals, text, positions and exceptions.
#include "SaxTestSupport.h"

#include "common/StringConversion.h"
#include "common/TemporaryDirectory.h"
#include "format3mf/Exception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace
{
using Log = std::vector<std::string>;

// Each document and the callbacks it drives, joined by "|", or "" when it
// must be refused. The handler that took a start tag gets its end tag; a
// pushed handler is deleted once its element's content is over; an element
// not taken is skipped with its content, and a handler pushed for it is
// dropped at once; text is there at the start tag. Refused: broken
// documents and any document type declaration, so that no entity is ever
// expanded or loaded from outside. Either way every handler is deleted.
TEST(SaxReaderProtocol, DocumentsDriveHandlersInOrderOrAreRefused)
{
    OndSDK::FileIO::FileSystem::TemporaryDirectory const folder;
    std::string const secret =
        StringConversion::ConvertNativeToUTF8(folder.GetTemporaryFilePath()) + "entity.txt";
    std::ofstream(secret) << "secret";
    std::string const longText(700 * 1024, 'z'); // spans several input blocks
    // UTF-16 with a byte order mark, in both byte orders.
    std::wstring const wide =
        L"<?xml version=\"1.0\" encoding=\"UTF-16\"?><root><push1><text1>Grüße 😀</text1>"
        L"</push1></root>";
    std::string little = "\xFF\xFE", big = "\xFE\xFF";
    for (char16_t const unit : StringConversion::ConvertNativeToUTF16(wide.data(), wide.size()))
    {
        char const high = static_cast<char>(unit >> 8), low = static_cast<char>(unit & 0xFF);
        little += std::string{low, high};
        big += std::string{high, low};
    }
    std::string const utf16 =
        "R<root|R<push1|push1<text1|push1 text Grüße 😀|push1>text1|~push1|R>push1|R>root";
    std::pair<std::string, std::string> const cases[] = {
        {"<root><a><b/></a><push1><c/><d>x</d></push1><skip><a><push/></a>words<b/></skip><skippush><a/></"
         "skippush>"
         "<e/></root>",
         "R<root|R<a|R<b|R>b|R>a|R<push1|push1<c|push1>c|push1<d|push1>d|~push1|R>push1|R<skip|R<skippush|"
         "~skippush|R<e|R>e|R>root"},
        {"<root><text1>a &amp; b &lt;c&gt; &#x41;<![CDATA[<raw>]]><child/>tail</text1><text2/><text3>" +
             longText + "</text3></root>",
         "R<root|R<text1|R text a & b <c> A<raw>|R<child|R>child|R>text1|R<text2|R text |R>text2|R<text3|R "
         "text " +
             longText + "|R>text3|R>root"},
        {little, utf16},
        {big, utf16},
        {"", ""},
        {"   ", ""},
        {"<root><push1><a></push1></root>", ""},
        {"<root><push1><push2>", ""},
        {"<root><push1 x=\"1", ""},
        {"<root>\x01</root>", ""},
        {"<root>\xC3\x28</root>", ""},
        {"<root a=\"1\" a=\"2\"/>", ""},
        {"<root/><second/>", ""},
        {"<root>&undefined;</root>", ""},
        {"<root><push1>" + longText + "<</push1></root>", ""},
        {"<!DOCTYPE root><root/>", ""},
        {"<!DOCTYPE root [<!ENTITY e SYSTEM \"file://" + secret + "\">]><root><text>&e;</text></root>", ""},
        {"<!DOCTYPE root SYSTEM \"file://" + secret + "\"><root><text/></root>", ""},
    };
    for (auto const& [document, expected] : cases)
    {
        SCOPED_TRACE(document.substr(0, 100));
        Log log;
        {
            Recorder root(log, "R");
            EXPECT_EQ(!expected.empty(), Read(document, root));
            EXPECT_EQ(Recorder::s_live, 1);
        }
        EXPECT_EQ(Recorder::s_live, 0);
        std::string joined;
        for (std::string const& entry : log)
        {
            joined += (joined.empty() ? "" : "|") + entry;
        }
        EXPECT_TRUE(expected.empty() ? joined.find("loaded") == std::string::npos
                                     : joined == expected + "|R loaded|~R")
            << joined.substr(0, 300);
        EXPECT_EQ(joined.find("secret"), std::string::npos);
    }
    Log log;
    Recorder root(log, "R");
    std::istringstream stream("<root/>");
    stream.setstate(std::ios::badbit);
    EXPECT_FALSE(OndAM::SaxUtilities::ReadStream(stream, root));
    std::remove(secret.c_str());
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
