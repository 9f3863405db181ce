// The strict scanner of plain content: which tokens it takes and how long they
// are, and its numbers, held against the general parse.
#include "sax/PlainScanner.h"
#include "sax/NumberParsing.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <sstream>
#include <string>

using OndSAX::PlainElement;

// The token as a letter: Skip, Element, end Tag, More, Other. A token the
// scanner takes, cut anywhere, is More: a block boundary can't change what
// the scanner decides. The forms that fall back to the parser, and the names
// and values of what the scanner takes, are held against the parser in the
// mesh folder's differential documents; here are the forms that only the
// scanner sees.
TEST(PlainScanner, TakesOnlyTheStrictFormsAndAsksForMoreAtEveryCut)
{
    struct Row
    {
        std::string text;
        char token;
        std::size_t length;
    };
    Row const rows[] = {
        {" \r\n\t<", 'S', 4},
        {"<!-- a - b -->x", 'S', 14},
        {"<!---->", 'S', 7},
        {"<v x='1' y = \"2\"\n/>tail", 'E', 19},
        {"<v></v >", 'E', 8},
        {"<v a=\"1\"> <!-- c --> </v>", 'E', 25},
        {"<v a='1\"/>'/>", 'E', 13},
        {"</vertices\n>", 'T', 12},
        {"<!-- \x01 -->", 'O', 0},
        {"<!-- \xC3\xA9 -->", 'O', 0},
        {"<v a='<'/>", 'O', 0},
        {"<v a=1/>", 'O', 0},
        {"<v>x</v>", 'O', 0},
        {"<v></w>", 'O', 0},
        {"<v / >", 'O', 0},
        {"<\xC3\xA9/>", 'O', 0},
        {"<v a='1' b='2' c='3' d='4' e='5' f='6' g='7' h='8' i='9' j='10' k='11' l='12' m='13' n='14' "
         "o='15' p='16' q='17'/>",
         'O', 0},
    };
    for (Row const& row : rows)
    {
        SCOPED_TRACE(row.text);
        PlainElement element;
        OndSAX::PlainStep const step = OndSAX::ScanPlain(row.text.data(), row.text.size(), element);
        EXPECT_EQ(row.token, "SETMO"[static_cast<int>(step.m_token)]);
        EXPECT_EQ(row.length, step.m_token == OndSAX::PlainToken::Other ? 0 : step.m_length);
        for (std::size_t cut = row.text[0] == '<' ? 0 : row.length; cut < row.length; ++cut)
        {
            EXPECT_EQ(OndSAX::PlainToken::More, OndSAX::ScanPlain(row.text.data(), cut, element).m_token)
                << "cut at " << cut;
        }
    }
}

namespace
{
// Where the plain parse takes a value, it is the very value (bits) that
// ParseNumber gives; it refuses only the words ParseNumber also takes, and
// leaves a refused value alone.
template <typename T>
void ExpectPlainAgrees(std::string const& text)
{
    T plain = T(7);
    T general = T(7);
    bool const plainTaken = OndSAX::ParsePlainNumber(std::string_view(text), plain);
    bool const generalTaken = OndSAX::ParseNumber(std::string_view(text), general);
    bool const word = text.find_first_of("iInN") != std::string::npos;
    ASSERT_TRUE(plainTaken ? generalTaken && !word : !generalTaken || word) << text;
    T const untouched = T(7);
    ASSERT_EQ(0, std::memcmp(&plain, plainTaken ? &general : &untouched, sizeof plain)) << text;
}
} // namespace

// Fixed edge cases, then random short decimals, where the plain parse of
// doubles takes its shortcut.
TEST(PlainScanner, PlainNumbersAreTheBitsOfTheGeneralParse)
{
    std::istringstream edges("0|-0|+7| 12 |\t-2147483648\n|2147483647|2147483648|-2147483649|"
                             "0000000000000000000000042|99999999999999999999999|18446744073709551616|"
                             "4294967295|1.5|-.5|5.|1e3|1E+05|1e400|+-1|-+1|inf|-INF|NaN|infinity|| |+|-|"
                             "1 2|0x10|1,5");
    for (std::string text; std::getline(edges, text, '|');)
    {
        ExpectPlainAgrees<int>(text);
        ExpectPlainAgrees<double>(text);
        ExpectPlainAgrees<std::uint64_t>(text);
    }
    std::mt19937_64 random(16);
    for (int i = 0; i < 200000; ++i)
    {
        std::string text = random() % 4 == 0 ? "-" : random() % 8 == 0 ? "+" : "";
        for (int d = static_cast<int>(random() % 18); d > 0; --d)
        {
            text += static_cast<char>('0' + random() % 10);
        }
        if (random() % 4 != 0)
        {
            text += '.';
            for (int d = static_cast<int>(random() % 18); d > 0; --d)
            {
                text += static_cast<char>('0' + random() % 10);
            }
        }
        ExpectPlainAgrees<double>(text);
    }
}
