// Tests of the XML writer: its styles and prolog as bytes, refusals,
// large output read back, and failures reaching the caller.
#include "SaxTestSupport.h"

#include "common/StringConversion.h"
#include "common/TemporaryDirectory.h"
#include "format3mf/Exception.h"
#include "sax/SAXWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>

namespace
{
using OndAM::SaxUtilities::WriteOptions;

// A root whose content a test gives as a function.
struct Writes : ISAXPersistHelper
{
    std::function<bool(MSAXWriter&)> m_write;
    explicit Writes(std::function<bool(MSAXWriter&)> write) : m_write(std::move(write)) {}
    bool Write(MSAXWriter& writer) const override { return m_write(writer); }
};

// A small tree: attributes, an empty element, text, nesting.
Writes const kTree(
    [](MSAXWriter& writer)
    {
        writer.WriteAttribute(L"unit", L"millimeter");
        {
            MSAXTagWriter resources(writer, L"resources");
            MSAXTagWriter object(writer, "object");
            writer.WriteAttribute("id", "1");
            MSAXTagWriter vertex(writer, "vertex");
        }
        MSAXTagWriter name(writer, L"name");
        writer.WriteText(L"a < b");
        MSAXTagWriter inner(writer, L"inner");
        return true;
    });

std::string Print(ISAXPersist const& root, WriteOptions const& options)
{
    std::ostringstream out;
    EXPECT_TRUE(OndAM::SaxUtilities::WriteStream(out, root, options));
    return out.str();
}

WriteOptions Options(std::int32_t style, std::wstring const& root = L"model")
{
    WriteOptions options;
    options.m_style = style;
    options.m_rootElement = root;
    return options;
}

TEST(SaxWriter, StylesAndOptionsShapeTheBytes)
{
    std::string const declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    WriteOptions prolog = Options(0, L"Types");
    prolog.m_byteOrderMark = true;
    prolog.m_defaultNamespace = L"urn:x";
    prolog.m_comment = L"a--b-";
    WriteOptions bare = Options(0, L"");
    bare.m_declaration = false;
    struct Case
    {
        WriteOptions options;
        ISAXPersist const& root;
        std::string expected;
    } const cases[] = {
        {Options(0), kTree,
         declaration + "<model unit=\"millimeter\"><resources><object id=\"1\"><vertex/></object>"
                       "</resources><name>a &lt; b<inner/></name></model>\n"},
        {Options(1), kTree,
         declaration + "<model unit=\"millimeter\">\n  <resources>\n    <object id=\"1\">\n      <vertex/>\n"
                       "    </object>\n  </resources>\n  <name>a &lt; b<inner/></name>\n</model>\n"},
        {prolog, ISAXPersistHelper(),
         "\xEF\xBB\xBF" + declaration + "<!--a- -b- -->\n<Types xmlns=\"urn:x\"/>\n"},
        // Without a root element name the root prints its own document element.
        {bare, Writes([](MSAXWriter& writer) { return MSAXTagWriter(writer, L"Relationships"), true; }),
         "<Relationships/>\n"},
    };
    for (Case const& c : cases)
    {
        EXPECT_EQ(c.expected, Print(c.root, c.options));
    }
}

TEST(SaxWriter, MisplacedCallsAreRefusedAndUnwritableCharactersReplaced)
{
    std::ostringstream out;
    MSAXWriter writer(out, 0);
    EXPECT_FALSE(writer.WriteText(L"outside"));
    EXPECT_FALSE(writer.WriteAttribute(L"a", L"outside"));
    {
        MSAXTagWriter element(writer, L"e");
        EXPECT_TRUE(writer.WriteAttribute(L"c", std::wstring(L"x\x01y\xFFFEz") + wchar_t(0xD800)));
        EXPECT_TRUE(writer.WriteText(L"t\x02"));
        EXPECT_FALSE(writer.WriteAttribute(L"late", L"1"));
    }
    ASSERT_TRUE(writer.Flush());
    EXPECT_EQ(out.str(), "<e c=\"x\xEF\xBF\xBDy\xEF\xBF\xBDz\xEF\xBF\xBD\">t\xEF\xBF\xBD</e>\n");
    std::vector<std::string> log;
    Recorder root(log, "R");
    EXPECT_TRUE(Read(out.str(), root));
}

// Values full of characters to escape, as attributes (wide and UTF-8) and as
// text, many more than the writer's buffer holds, read back as written in
// both styles.
TEST(SaxWriter, EscapedValuesPassThroughTheBufferIntact)
{
    static std::wstring const value = L"a<b>&c\"d'e\n\tf\r\ng \u00fc \U0001F600 ]]> end";
    Writes const big(
        [](MSAXWriter& writer)
        {
            writer.WriteAttribute("u", std::string_view("x<y&\"z\" \xC3\xBC\n"));
            for (int i = 0; i < 20000; ++i)
            {
                MSAXTagWriter item(writer, "item");
                writer.WriteAttribute(L"v", value + std::to_wstring(i));
            }
            MSAXTagWriter text(writer, "text");
            for (int i = 0; i < 20000; ++i)
            {
                writer.WriteText(value);
            }
            return true;
        });
    for (std::int32_t style : {0, 1})
    {
        std::vector<std::string> log;
        Recorder root(log, "R");
        int items = 0;
        std::wstring utf8, text;
        root.onTag = [&](std::string const& tag, MSAXReader& reader)
        {
            std::wstring v;
            items +=
                tag == "item" && reader.GetAttributeString(v, L"v") && v == value + std::to_wstring(items);
            reader.GetAttributeString(tag == "root" ? utf8 : v, L"u");
            reader.GetText(tag == "text" ? text : v);
        };
        ASSERT_TRUE(Read(Print(big, Options(style, L"root")), root));
        EXPECT_EQ(items, 20000);
        EXPECT_EQ(utf8, L"x<y&\"z\" \u00fc\n");
        std::wstring all;
        for (int i = 0; i < 20000; ++i)
        {
            all += value;
        }
        EXPECT_TRUE(text == all) << "text read back differs";
    }
}

TEST(SaxWriter, FailuresReachTheCallerAndWideFileNamesWrite)
{
    std::ostringstream failed;
    failed.setstate(std::ios::badbit);
    EXPECT_FALSE(OndAM::SaxUtilities::WriteStream(failed, kTree, Options(0)));
    std::ostringstream out;
    EXPECT_FALSE(
        OndAM::SaxUtilities::WriteStream(out, Writes([](MSAXWriter&) { return false; }), Options(0)));
    Writes const throws(
        [](MSAXWriter& writer) -> bool
        {
            MSAXTagWriter inner(writer, L"inner");
            throw Format_3MF::Canceled();
        });
    EXPECT_THROW(OndAM::SaxUtilities::WriteStream(out, throws, Options(0)), Format_3MF::Canceled);
    EXPECT_FALSE(OndAM::SaxUtilities::WriteFile(L"/nonexistent-folder/x.xml", kTree, Options(0)));

    OndSDK::FileIO::FileSystem::TemporaryDirectory const folder;
    std::string const path =
        StringConversion::ConvertNativeToUTF8(folder.GetTemporaryFilePath() + L"größe.xml");
    ASSERT_TRUE(OndAM::SaxUtilities::WriteFile(StringConversion::ConvertMultiByteStringToOndString(path),
                                               kTree, Options(0)));
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), Print(kTree, Options(0)));
    std::remove(path.c_str());
}
} // namespace
