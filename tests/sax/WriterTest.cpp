// Tests of the XML writer's styles, prolog, refusals, buffering and failures.
#include "SaxTestSupport.h"

#include "common/StringConversion.h"
#include "common/TemporaryDirectory.h"
#include "format3mf/Exception.h"
#include "sax/SAXWriter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

namespace
{
using OndAM::SaxUtilities::WriteOptions;

// A small tree: attributes, an empty element, text, nesting.
struct Tree : ISAXPersistHelper
{
    bool Write(MSAXWriter& writer) const override
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
    }
};

std::string Print(ISAXPersist const& root, WriteOptions const& options)
{
    std::ostringstream out;
    EXPECT_TRUE(OndAM::SaxUtilities::WriteStream(out, root, options));
    return out.str();
}

TEST(SaxWriter, StylesCompactAndIndented)
{
    WriteOptions options;
    options.m_rootElement = L"model";
    EXPECT_EQ(Print(Tree(), options),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<model unit=\"millimeter\"><resources><object id=\"1\"><vertex/></object>"
              "</resources><name>a &lt; b<inner/></name></model>\n");
    options.m_style = 1;
    EXPECT_EQ(Print(Tree(), options), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                      "<model unit=\"millimeter\">\n"
                                      "  <resources>\n"
                                      "    <object id=\"1\">\n"
                                      "      <vertex/>\n"
                                      "    </object>\n"
                                      "  </resources>\n"
                                      "  <name>a &lt; b<inner/></name>\n"
                                      "</model>\n");
}

TEST(SaxWriter, OptionsShapeTheProlog)
{
    WriteOptions options;
    options.m_byteOrderMark = true;
    options.m_rootElement = L"Types";
    options.m_defaultNamespace = L"urn:x";
    options.m_comment = L"a--b-";
    struct Empty : ISAXPersistHelper
    {
    } empty;
    EXPECT_EQ(Print(empty, options), "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                     "<!--a- -b- -->\n<Types xmlns=\"urn:x\"/>\n");

    // Without a root element name the root prints its document element.
    WriteOptions bare;
    bare.m_declaration = false;
    struct Own : ISAXPersistHelper
    {
        bool Write(MSAXWriter& writer) const override
        {
            MSAXTagWriter element(writer, L"Relationships");
            return true;
        }
    } own;
    EXPECT_EQ(Print(own, bare), "<Relationships/>\n");
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
    Recorder::s_live = 0;
    std::vector<std::string> log;
    Recorder root(log, "R");
    EXPECT_TRUE(Read(out.str(), root));
}

TEST(SaxWriter, LargeOutputPassesThroughTheBufferIntact)
{
    struct Big : ISAXPersistHelper
    {
        bool Write(MSAXWriter& writer) const override
        {
            for (int i = 0; i < 20000; ++i)
            {
                MSAXTagWriter item(writer, "item");
                writer.WriteAttribute("i", std::to_string(i));
            }
            MSAXTagWriter text(writer, "text");
            writer.WriteText(std::wstring(600000, L'&'));
            return true;
        }
    } big;
    WriteOptions options;
    options.m_rootElement = L"root";
    std::string const printed = Print(big, options);
    EXPECT_NE(printed.find("<item i=\"19999\"/>"), std::string::npos);

    std::size_t items = 0;
    std::wstring text;
    struct Count : ISAXPersistHelper
    {
        std::size_t* items;
        std::wstring* text;
        bool HandleTag(std::wstring const& tag, MSAXReader& reader) override
        {
            int i = -1;
            if (tag == L"item" && reader.ReadAttribute(i, L"i") && i == static_cast<int>(*items))
            {
                ++*items;
            }
            if (tag == L"text")
            {
                reader.GetText(*text);
            }
            return true;
        }
    } count;
    count.items = &items;
    count.text = &text;
    ASSERT_TRUE(Read(printed, count));
    EXPECT_EQ(items, 20000u);
    EXPECT_EQ(text, std::wstring(600000, L'&'));
}

TEST(SaxWriter, FailuresReachTheCaller)
{
    WriteOptions options;
    options.m_rootElement = L"model";
    std::ostringstream failed;
    failed.setstate(std::ios::badbit);
    EXPECT_FALSE(OndAM::SaxUtilities::WriteStream(failed, Tree(), options));

    struct Refuses : ISAXPersistHelper
    {
        bool Write(MSAXWriter&) const override { return false; }
    } refuses;
    std::ostringstream out;
    EXPECT_FALSE(OndAM::SaxUtilities::WriteStream(out, refuses, options));

    struct Throws : ISAXPersistHelper
    {
        bool Write(MSAXWriter& writer) const override
        {
            MSAXTagWriter inner(writer, L"inner");
            throw Format_3MF::Canceled();
        }
    } throws;
    EXPECT_THROW(OndAM::SaxUtilities::WriteStream(out, throws, options), Format_3MF::Canceled);

    EXPECT_FALSE(OndAM::SaxUtilities::WriteFile(L"/nonexistent-folder/x.xml", Tree(), options));
}

TEST(SaxWriter, WriteFileWritesUnderAWidePath)
{
    OndSDK::FileIO::FileSystem::TemporaryDirectory const folder;
    std::wstring const path = folder.GetTemporaryFilePath() + L"sax_größe.xml";
    WriteOptions options;
    options.m_rootElement = L"model";
    ASSERT_TRUE(OndAM::SaxUtilities::WriteFile(path, Tree(), options));
    std::ifstream file(StringConversion::ConvertNativeToUTF8(path), std::ios::binary);
    std::string const content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_EQ(content, Print(Tree(), options));
    std::remove(StringConversion::ConvertNativeToUTF8(path).c_str());
}
} // namespace
