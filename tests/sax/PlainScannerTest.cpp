// The strict scanner of plain content: which tokens it takes, how long they
// are, and that every cut of a token it would take asks for more bytes.

#include "sax/PlainScanner.h"
#include "sax/NumberParsing.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>

using OndSAX::PlainElement;
using OndSAX::PlainToken;

namespace
{
struct Row
{
    std::string text;
    PlainToken token;
    // Length of the token, for Skip, Element and EndTag.
    std::size_t length;
};

char const* Name(PlainToken token)
{
    switch (token)
    {
    case PlainToken::Skip:
        return "Skip";
    case PlainToken::Element:
        return "Element";
    case PlainToken::EndTag:
        return "EndTag";
    case PlainToken::More:
        return "More";
    case PlainToken::Other:
        break;
    }
    return "Other";
}
} // namespace

TEST(PlainScanner, TakesOnlyTheStrictForms)
{
    Row const rows[] = {
        {" \r\n\t<", PlainToken::Skip, 4},
        {"<!-- a - b -->x", PlainToken::Skip, 14},
        {"<!---->", PlainToken::Skip, 7},
        {"<v x='1' y = \"2\"\n/>tail", PlainToken::Element, 19},
        {"<v></v >", PlainToken::Element, 8},
        {"<v a=\"1\"> <!-- c --> </v>", PlainToken::Element, 25},
        {"</vertices\n>", PlainToken::EndTag, 12},
        {"<!-- a -- b -->", PlainToken::Other, 0},
        {"<!-- \x01 -->", PlainToken::Other, 0},
        {"<!-- \xC3\xA9 -->", PlainToken::Other, 0},
        {"<!DOCTYPE x>", PlainToken::Other, 0},
        {"<![CDATA[x]]>", PlainToken::Other, 0},
        {"<?pi x?>", PlainToken::Other, 0},
        {"text", PlainToken::Other, 0},
        {"<p:v/>", PlainToken::Other, 0},
        {"<v p:a='1'/>", PlainToken::Other, 0},
        {"<v a='1' a='2'/>", PlainToken::Other, 0},
        {"<v a='1'b='2'/>", PlainToken::Other, 0},
        {"<v a='&#x20;'/>", PlainToken::Other, 0},
        {"<v a='<'/>", PlainToken::Other, 0},
        {"<v a=1/>", PlainToken::Other, 0},
        {"<v a='1\"/>'/>", PlainToken::Element, 13},
        {"<v>x</v>", PlainToken::Other, 0},
        {"<v><w/></v>", PlainToken::Other, 0},
        {"<v></w>", PlainToken::Other, 0},
        {"<v / >", PlainToken::Other, 0},
        {"<\xC3\xA9/>", PlainToken::Other, 0},
        {"<v a='1' b='2' c='3' d='4' e='5' f='6' g='7' h='8' i='9' j='10' k='11' l='12' m='13' n='14' "
         "o='15' p='16' q='17'/>",
         PlainToken::Other, 0},
    };
    for (Row const& row : rows)
    {
        PlainElement element;
        OndSAX::PlainStep const step = OndSAX::ScanPlain(row.text.data(), row.text.size(), element);
        EXPECT_STREQ(Name(row.token), Name(step.m_token)) << row.text;
        if (row.token != PlainToken::Other)
        {
            EXPECT_EQ(row.length, step.m_length) << row.text;
        }
    }
}

TEST(PlainScanner, GivesNamesAndValuesAsWritten)
{
    std::string const text = "<triangle v1=\"0\" pid='12' p1 =\t\" 3 \"><!-- x --></triangle>";
    PlainElement element;
    OndSAX::PlainStep const step = OndSAX::ScanPlain(text.data(), text.size(), element);
    ASSERT_EQ(PlainToken::Element, step.m_token);
    EXPECT_EQ(text.size(), step.m_length);
    EXPECT_EQ(text.find('>') + 1, step.m_startTagLength);
    EXPECT_EQ("triangle", element.m_name);
    ASSERT_EQ(3u, element.m_count);
    EXPECT_EQ("pid", element.m_attributes[1].m_name);
    EXPECT_EQ("12", element.m_attributes[1].m_value);
    EXPECT_EQ("p1", element.m_attributes[2].m_name);
    EXPECT_EQ(" 3 ", element.m_attributes[2].m_value);
}

// A token cut anywhere is More, never taken nor refused: so a block boundary
// can't change what the scanner decides.
TEST(PlainScanner, AsksForMoreAtEveryCutOfATakenToken)
{
    for (std::string const text : {"<vertex x=\"1\" y='2' z = \"3\" />", "<v a='1'> <!-- c --> </v >",
                                   "<!-- a - b -->", "</vertices >"})
    {
        for (std::size_t cut = 0; cut < text.size(); ++cut)
        {
            PlainElement element;
            EXPECT_STREQ("More", Name(OndSAX::ScanPlain(text.data(), cut, element).m_token))
                << text << " cut at " << cut;
        }
    }
}

namespace
{
// Where the plain parse takes a value, it is the value ParseNumber gives; it
// refuses only the words ParseNumber also takes.
template <typename T>
void ExpectPlainAgrees(std::string const& text)
{
    T plain = T(7);
    T general = T(7);
    bool const plainTaken = OndSAX::ParsePlainNumber(std::string_view(text), plain);
    bool const generalTaken = OndSAX::ParseNumber(std::string_view(text), general);
    if (plainTaken)
    {
        EXPECT_TRUE(generalTaken) << text;
        EXPECT_EQ(general, plain) << text;
    }
    else
    {
        EXPECT_EQ(T(7), plain) << text << ": a refused value is left alone";
        bool const word = text.find_first_of("iInN") != std::string::npos;
        EXPECT_TRUE(!generalTaken || word) << text;
    }
}
} // namespace

TEST(PlainScanner, PlainNumbersAgreeWithTheGeneralParse)
{
    for (std::string const text : {"0",
                                   "-0",
                                   "+7",
                                   " 12 ",
                                   "\t-2147483648\n",
                                   "2147483647",
                                   "2147483648",
                                   "-2147483649",
                                   "0000000000000000000000042",
                                   "99999999999999999999999",
                                   "18446744073709551616",
                                   "1.5",
                                   "-.5",
                                   "5.",
                                   "1e3",
                                   "1E+05",
                                   "1e400",
                                   "+-1",
                                   "-+1",
                                   "inf",
                                   "-INF",
                                   "NaN",
                                   "infinity",
                                   "",
                                   " ",
                                   "+",
                                   "-",
                                   "1 2",
                                   "0x10",
                                   "1,5",
                                   "4294967295"})
    {
        ExpectPlainAgrees<int>(text);
        ExpectPlainAgrees<double>(text);
        ExpectPlainAgrees<std::uint64_t>(text);
    }
    int value = 0;
    EXPECT_TRUE(OndSAX::ParsePlainNumber(std::string_view("-2147483648"), value));
    EXPECT_EQ(std::numeric_limits<int>::min(), value);
    double real = 0;
    EXPECT_FALSE(OndSAX::ParsePlainNumber(std::string_view("INF"), real));
}

// The plain parse of coordinates takes a shortcut for short decimals; it must
// give the very bits that std::from_chars gives.
TEST(PlainScanner, PlainDecimalsAreTheBitsOfTheGeneralParse)
{
    std::mt19937_64 random(16);
    for (int i = 0; i < 200000; ++i)
    {
        std::string text = random() % 4 == 0 ? "-" : random() % 8 == 0 ? "+" : "";
        int const whole = static_cast<int>(random() % 18);
        for (int d = 0; d < whole; ++d)
        {
            text += static_cast<char>('0' + random() % 10);
        }
        if (random() % 4 != 0)
        {
            text += '.';
            int const fraction = static_cast<int>(random() % 18);
            for (int d = 0; d < fraction; ++d)
            {
                text += static_cast<char>('0' + random() % 10);
            }
        }
        double plain = 7.0;
        double general = 7.0;
        bool const plainTaken = OndSAX::ParsePlainNumber(std::string_view(text), plain);
        bool const generalTaken = OndSAX::ParseNumber(std::string_view(text), general);
        ASSERT_EQ(generalTaken, plainTaken) << text;
        ASSERT_EQ(0, std::memcmp(&plain, &general, sizeof plain)) << text;
    }
}
