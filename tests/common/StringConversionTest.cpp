#include "common/StringConversion.h"

#include <gtest/gtest.h>

using namespace StringConversion;

namespace
{
// One character of each UTF-8 length, the last two outside the BMP.
std::wstring const kMixed = L"a\u00E9\u20AC\U0001F600\U0010FFFF";
std::string const kMixedUtf8 = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF";

std::wstring FromUtf8(std::string const& text)
{
    return ConvertUTF8ToNative(text.data(), text.size());
}
} // namespace

TEST(StringConversion, Utf8RoundTrip)
{
    EXPECT_EQ(kMixedUtf8, ConvertNativeToUTF8(kMixed));
    EXPECT_EQ(kMixedUtf8, ConvertNativeToUTF8(kMixed.data(), kMixed.size()));
    EXPECT_EQ(kMixed, ConvertMultiByteStringToOndString(kMixedUtf8));
    EXPECT_EQ(kMixed, FromUtf8(kMixedUtf8));
    // Embedded zeros are characters like any other.
    std::wstring const withZero(L"x\0y", 3);
    EXPECT_EQ(withZero, FromUtf8(ConvertNativeToUTF8(withZero)));
    EXPECT_EQ(L"", FromUtf8(""));
}

TEST(StringConversion, Utf16RoundTripUsesSurrogatePairs)
{
    std::u16string const utf16 = ConvertNativeToUTF16(kMixed.data(), kMixed.size());
    EXPECT_EQ(u"a\u00E9\u20AC\xD83D\xDE00\xDBFF\xDFFF", utf16);
    EXPECT_EQ(kMixed, ConvertUTF16ToNative(utf16.data(), utf16.size()));
}

TEST(StringConversion, MalformedUtf8BecomesReplacementWithoutEatingValidText)
{
    struct Case
    {
        char const* bytes;
        wchar_t const* expected;
    };
    Case const cases[] = {
        {"a\x80z", L"a\uFFFDz"},                               // lone continuation byte
        {"a\xFFz", L"a\uFFFDz"},                               // byte never used in UTF-8
        {"a\xC0\xAFz", L"a\uFFFD\uFFFDz"},                     // overlong "/"
        {"a\xE2\x82z", L"a\uFFFD\uFFFDz"},                     // sequence cut short before a letter
        {"a\xE2\x82", L"a\uFFFD\uFFFD"},                       // sequence cut short by the end
        {"a\xED\xA0\x80z", L"a\uFFFD\uFFFD\uFFFDz"},           // encoded surrogate
        {"a\xF4\x90\x80\x80z", L"a\uFFFD\uFFFD\uFFFD\uFFFDz"}, // beyond U+10FFFF
    };
    for (Case const& c : cases)
    {
        EXPECT_EQ(std::wstring(c.expected), FromUtf8(c.bytes)) << c.bytes;
    }
}

TEST(StringConversion, LoneSurrogatesAndOutOfRangeBecomeReplacement)
{
    std::wstring const invalid = {L'a', wchar_t(0xD800), L'b', wchar_t(0xDFFF), wchar_t(0x110000)};
    EXPECT_EQ("a\xEF\xBF\xBD"
              "b\xEF\xBF\xBD\xEF\xBF\xBD",
              ConvertNativeToUTF8(invalid));
    EXPECT_EQ(u"a\uFFFDb\uFFFD\uFFFD", ConvertNativeToUTF16(invalid.data(), invalid.size()));

    // A high surrogate without its low half, a low one alone, one at the end.
    std::u16string const broken = {u'a', char16_t(0xD83D), u'b', char16_t(0xDE00), char16_t(0xD83D)};
    EXPECT_EQ(L"a\uFFFDb\uFFFD\uFFFD", ConvertUTF16ToNative(broken.data(), broken.size()));
}
