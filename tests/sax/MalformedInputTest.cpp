// Tests that broken documents, entity expansion and failing streams are
// refused, and that UTF-16 documents read.
#include "SaxTestSupport.h"

#include "common/StringConversion.h"
#include "common/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace
{
using Log = std::vector<std::string>;

// Reads a document that must be refused, and checks that nothing was leaked
// and nothing was reported as loaded.
void ExpectRefused(std::string const& document)
{
    Log log;
    {
        Recorder root(log, "R");
        EXPECT_FALSE(Read(document, root)) << document.substr(0, 200);
    }
    EXPECT_EQ(Recorder::s_live, 0);
    EXPECT_EQ(std::count(log.begin(), log.end(), "R loaded"), 0);
}

// Broken documents, entity expansion and document type declarations, even
// harmless ones, are refused.
TEST(SaxMalformedInput, BrokenDocumentsAreRefused)
{
    std::string bomb = "<?xml version=\"1.0\"?><!DOCTYPE lolz [<!ENTITY lol0 \"lol\">";
    for (int i = 1; i <= 9; ++i)
    {
        std::string const previous = "&lol" + std::to_string(i - 1) + ";";
        bomb += "<!ENTITY lol" + std::to_string(i) + " \"";
        for (int k = 0; k < 10; ++k)
        {
            bomb += previous;
        }
        bomb += "\">";
    }
    for (std::string const& document :
         {std::string(), std::string("   "), std::string("<root><push1><a></push1></root>"),
          std::string("<root><push1><push2>"), std::string("<root><push1 x=\"1"),
          std::string("<root>\x01</root>"), std::string("<root>\xC3\x28</root>"),
          std::string("<root a=\"1\" a=\"2\"/>"), std::string("<root/><second/>"),
          std::string("<root>&undefined;</root>"),
          // Broken after a large, well-formed start that spans input blocks.
          "<root><push1>" + std::string(600000, 'x') + "<</push1></root>",
          bomb + "]><root><text>&lol9;</text></root>", std::string("<!DOCTYPE root><root/>")})
    {
        ExpectRefused(document);
    }
    std::vector<std::string> log;
    Recorder root(log, "R");
    std::istringstream stream("<root/>");
    stream.setstate(std::ios::badbit);
    EXPECT_FALSE(OndAM::SaxUtilities::ReadStream(stream, root));
}

TEST(SaxMalformedInput, ExternalEntitiesAreNeverLoaded)
{
    OndSDK::FileIO::FileSystem::TemporaryDirectory const folder;
    std::string const path =
        StringConversion::ConvertNativeToUTF8(folder.GetTemporaryFilePath()) + "entity.txt";
    {
        std::ofstream secret(path);
        secret << "secret";
    }
    Log log;
    {
        Recorder root(log, "R");
        EXPECT_FALSE(
            Read("<!DOCTYPE root [<!ENTITY e SYSTEM \"file://" + path + "\">]><root><text>&e;</text></root>",
                 root));
        EXPECT_FALSE(Read("<!DOCTYPE root SYSTEM \"file://" + path + "\"><root><text/></root>", root));
    }
    for (std::string const& entry : log)
    {
        EXPECT_EQ(entry.find("secret"), std::string::npos);
    }
    std::remove(path.c_str());
}

TEST(SaxMalformedInput, UTF16DocumentsWithByteOrderMarkRead)
{
    std::wstring const document = L"<?xml version=\"1.0\" encoding=\"UTF-16\"?><root><push1 "
                                  L"n=\"ü😀\"><text1>Grüße</text1></push1></root>";
    std::u16string const utf16 = StringConversion::ConvertNativeToUTF16(document.data(), document.size());
    for (bool bigEndian : {false, true})
    {
        std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
        for (char16_t const unit : utf16)
        {
            char const high = static_cast<char>(unit >> 8), low = static_cast<char>(unit & 0xFF);
            bytes += bigEndian ? std::string{high, low} : std::string{low, high};
        }
        Log log;
        std::wstring attribute;
        {
            Recorder root(log, "R");
            root.onTag = [&](std::string const& tag, MSAXReader& reader)
            {
                if (tag == "push1")
                {
                    reader.GetAttributeString(attribute, L"n");
                }
            };
            ASSERT_TRUE(Read(bytes, root));
        }
        EXPECT_EQ(attribute, L"ü😀");
        Log const expected = {"R<root",      "R<push1", "push1<text1", "push1 text Gr\xFC\xDF\x65",
                              "push1>text1", "~push1",  "R>push1",     "R>root",
                              "R loaded",    "~R"};
        EXPECT_EQ(log, expected);
    }
}
} // namespace
