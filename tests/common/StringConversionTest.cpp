// Tests of UTF-8 and UTF-16 conversion, and of how malformed input becomes
// replacement characters without eating valid text.
#include "common/StringConversion.h"

#include <gtest/gtest.h>

using namespace StringConversion;

TEST(StringConversion, RoundTripsAndMalformedInput)
{
    // One character of each UTF-8 length, the last two outside the BMP, and
    // an embedded zero, which is a character like any other.
    std::wstring const text(L"a\u00E9\u20AC\U0001F600\U0010FFFF\0y", 7);
    std::string const utf8("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF\0y", 16);
    std::u16string const utf16(u"a\u00E9\u20AC\xD83D\xDE00\xDBFF\xDFFF\0y", 9);
    EXPECT_EQ(utf8, ConvertNativeToUTF8(text));
    EXPECT_EQ(utf8, ConvertNativeToUTF8(text.data(), text.size()));
    EXPECT_EQ(text, ConvertMultiByteStringToOndString(utf8));
    EXPECT_EQ(text, ConvertUTF8ToNative(utf8.data(), utf8.size()));
    EXPECT_EQ(utf16, ConvertNativeToUTF16(text.data(), text.size()));
    EXPECT_EQ(text, ConvertUTF16ToNative(utf16.data(), utf16.size()));

    std::pair<std::string, std::wstring> const utf8Cases[] = {
        {"a\x80z", L"a\uFFFDz"},                               // lone continuation byte
        {"a\xFFz", L"a\uFFFDz"},                               // byte never used in UTF-8
        {"a\xC0\xAFz", L"a\uFFFD\uFFFDz"},                     // overlong "/"
        {"a\xE2\x82z", L"a\uFFFD\uFFFDz"},                     // sequence cut short before a letter
        {"a\xE2\x82", L"a\uFFFD\uFFFD"},                       // sequence cut short by the end
        {"a\xED\xA0\x80z", L"a\uFFFD\uFFFD\uFFFDz"},           // encoded surrogate
        {"a\xF4\x90\x80\x80z", L"a\uFFFD\uFFFD\uFFFD\uFFFDz"}, // beyond U+10FFFF
    };
    for (auto const& [bytes, expected] : utf8Cases)
    {
        EXPECT_EQ(expected, ConvertUTF8ToNative(bytes.data(), bytes.size())) << bytes;
    }
    // Lone surrogates and values beyond U+10FFFF; in UTF-16 a high surrogate
    // without its low half, a low one alone, one at the end.
    std::wstring const invalid = {L'a', wchar_t(0xD800), L'b', wchar_t(0xDFFF), wchar_t(0x110000)};
    EXPECT_EQ("a\xEF\xBF\xBD"
              "b\xEF\xBF\xBD\xEF\xBF\xBD",
              ConvertNativeToUTF8(invalid));
    EXPECT_EQ(u"a\uFFFDb\uFFFD\uFFFD", ConvertNativeToUTF16(invalid.data(), invalid.size()));
    std::u16string const broken = {u'a', char16_t(0xD83D), u'b', char16_t(0xDE00), char16_t(0xD83D)};
    EXPECT_EQ(L"a\uFFFDb\uFFFD\uFFFD", ConvertUTF16ToNative(broken.data(), broken.size()));
}

// File names are bytes: every name comes back byte for byte, its valid UTF-8
// as the characters it spells and only its other bytes escaped.
TEST(StringConversion, FileNamesKeepEveryByte)
{
    std::pair<std::string, std::wstring> const cases[] = {
        {"plain/caf\xC3\xA9.3mf", L"plain/caf\u00E9.3mf"},
        {"latin1/caf\xE9.3mf", L"latin1/caf\xDCE9.3mf"},
        {"cut\xE2\x82", L"cut\xDCE2\xDC82"},
        {"spelt\xEF\xBF\xBD", L"spelt\uFFFD"},
        {"\xFF\xFE", L"\xDCFF\xDCFE"},
    };
    for (auto const& [bytes, wide] : cases)
    {
        EXPECT_EQ(wide, ConvertFileNameToNative(bytes)) << bytes;
        EXPECT_EQ(bytes, ConvertNativeToFileName(ConvertFileNameToNative(bytes))) << bytes;
    }
    // A lone surrogate outside the escapes is no byte: it stays replaced.
    EXPECT_EQ("a\xEF\xBF\xBD", ConvertNativeToFileName(std::wstring{L'a', wchar_t(0xDC20)}));
}
