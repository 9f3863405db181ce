// Tests of attribute access in the SAX layer: numbers, absent values and
// escaping through writer and reader.
#include "SaxTestSupport.h"
#include "support/SaxProbe.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

namespace
{
// A value that is no number of the type reads as absent and leaves the
// variable alone.
template <typename T>
void ExpectNumber(std::string const& text, std::optional<T> expected)
{
    AtRootStartTag("<e v=\"" + text + "\"/>",
                   [&](MSAXReader& reader)
                   {
                       T value = T(7);
                       EXPECT_EQ(expected.has_value(), reader.ReadAttribute(value, L"v")) << text;
                       EXPECT_EQ(expected.value_or(T(7)), value) << text;
                   });
}

// The reader's numbers are ParseNumber's, which the plain scanner's tests hold
// against the plain parse over many edge cases; here the types and forms
// only the reader sees: character references as blanks, 64-bit and float
// values, exponents.
TEST(SaxAttributes, NumbersParseOrReadAsAbsent)
{
    ExpectNumber<int>(" 12&#9;&#10;", 12);
    ExpectNumber<int>("12abc", std::nullopt);
    ExpectNumber<std::int64_t>("-9000000000", -9000000000LL);
    ExpectNumber<std::uint64_t>("-1", std::nullopt);
    ExpectNumber<double>("1.5e3", 1500.0);
    ExpectNumber<double>("1.5.2", std::nullopt);
    ExpectNumber<double>("1e999", std::nullopt);
    ExpectNumber<float>("-2.5E-2", -0.025f);
    ExpectNumber<float>("nothing", std::nullopt);
}

TEST(SaxAttributes, MissingAttributesAndStrings)
{
    AtRootStartTag("<e a=\"1\" p:b=\"Grüße 😀 &amp; &quot;\" größe=\"3\"/>",
                   [](MSAXReader& reader)
                   {
                       int value = 9;
                       EXPECT_FALSE(reader.ReadAttribute(value, L"missing"));
                       EXPECT_FALSE(reader.ReadAttribute(value, L"b")); // the name is qualified
                       EXPECT_EQ(value, 9);
                       EXPECT_TRUE(reader.ReadAttribute(value, L"größe"));
                       EXPECT_EQ(value, 3);
                       // Look-ups in any order, twice over.
                       EXPECT_TRUE(reader.ReadAttribute(value, L"a"));
                       EXPECT_TRUE(reader.ReadAttribute(value, L"a"));
                       EXPECT_EQ(value, 1);

                       std::wstring text = L"old";
                       EXPECT_FALSE(reader.GetAttributeString(text, L"missing"));
                       EXPECT_TRUE(text.empty());
                       EXPECT_TRUE(reader.GetAttributeString(text, L"p:b"));
                       EXPECT_EQ(text, L"Grüße 😀 & \"");

                       auto const& map = reader.GetAttributes();
                       ASSERT_EQ(map.size(), 3u);
                       EXPECT_EQ(map.at(L"p:b"), text);
                       EXPECT_EQ(map.at(L"größe"), L"3");
                   });
}

TEST(SaxAttributes, AttributesOfHeldStartTagsAndOfEachTag)
{
    // A start tag with content is held back until its text is complete; its
    // attributes must survive that, and each tag has its own.
    std::vector<std::wstring> seen;
    std::vector<std::string> log;
    Recorder root(log, "R");
    root.onTag = [&](std::string const&, MSAXReader& reader)
    {
        std::wstring value;
        reader.GetAttributeString(value, L"id");
        seen.push_back(value + L"/" + std::to_wstring(reader.GetAttributes().size()));
    };
    ASSERT_TRUE(Read("<root id=\"r\"><a id=\"1\" x=\"\">text<b id=\"2\"/></a><c/></root>", root));
    EXPECT_EQ(seen, (std::vector<std::wstring>{L"r/1", L"1/2", L"2/1", L"/0"}));
}

} // namespace
