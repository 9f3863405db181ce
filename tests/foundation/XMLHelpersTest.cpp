// Tests of the helpers model readers and writers share: attribute reading,
// namespace scopes and number formatting.
#include "support/SaxProbe.h"

#include "format3mf/ReadAttribute.h"
#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"

#include "common/MInternalUnits.h"

#include <gtest/gtest.h>

#include <climits>
#include <cwchar>
#include <random>
#include <stdexcept>

using namespace Format_3MF;

namespace
{
struct Formatter : XMLWriteHandler
{
    explicit Formatter(PackageWriteContext* context) : XMLWriteHandler(context) {}
    using XMLWriteHandler::FormatID;
    using XMLWriteHandler::FormatValueFileUnits;
    using XMLWriteHandler::FormatValueInternalUnits;
};

std::wstring Printf(double value, int precision)
{
    wchar_t buffer[64];
    int const count = std::swprintf(buffer, 63, L"%.*f", precision, value);
    return count < 0 ? L"<error>" : std::wstring(buffer, count);
}
} // namespace

// A plain name wins over a prefixed one, and without a prefix only plain
// names count. Identifiers read like a stream extraction: leading digits
// count, a word reads as 0, a huge value as the largest, a blank leaves the
// value alone. Lists append; a trailing blank adds an undefined identifier
// and a bad entry ends the list.
TEST(ReadAttribute, PrefixesIdentifiersAndLists)
{
    AtRootStartTag(R"(<a x="1" s:x="2" s:y="3" z="&#xe9;t&#xe9; &#x1F600;" id=" 12abc" none="abc" neg="-2" )"
                   R"(huge="99999999999" blank="  " three="1 2 3" trailing="1 2 3 " bad="4 x 5" empty=""/>)",
                   [](MSAXReader& reader)
                   {
                       std::wstring const prefix = L"s";
                       int x = 0, y = 0;
                       EXPECT_TRUE(ReadAttribute(reader, L"x", x, &prefix));
                       EXPECT_FALSE(ReadAttribute(reader, L"y", y));
                       EXPECT_TRUE(ReadAttribute(reader, L"y", y, &prefix));
                       EXPECT_EQ(std::make_pair(1, 3), std::make_pair(x, y));
                       std::wstring text, missing = L"kept";
                       EXPECT_TRUE(ReadAttribute(reader, L"y", text, &prefix));
                       EXPECT_EQ(L"3", text);
                       EXPECT_TRUE(ReadAttribute(reader, L"z", text));
                       EXPECT_EQ(L"\u00e9t\u00e9 \U0001F600", text);
                       EXPECT_FALSE(ReadAttribute(reader, L"w", missing, &prefix));
                       EXPECT_EQ(L"kept", missing);
                       std::pair<wchar_t const*, int> const ids[] = {
                           {L"id", 12}, {L"none", 0}, {L"neg", -2}, {L"huge", INT_MAX}, {L"blank", 5}};
                       for (auto const& [name, expected] : ids)
                       {
                           tReferenceID id = 5;
                           EXPECT_TRUE(ReadAttribute(reader, name, id)) << name;
                           EXPECT_EQ(expected, int(id)) << name;
                       }
                       tReferenceID untouched = 5;
                       EXPECT_FALSE(ReadAttribute(reader, L"missing", untouched));
                       EXPECT_EQ(5, int(untouched));

                       std::pair<wchar_t const*, std::wstring> const lists[] = {{L"three", L"1 2 3 "},
                                                                                {L"trailing", L"1 2 3 ? "},
                                                                                {L"bad", L"4 0 "},
                                                                                {L"empty", L""}};
                       for (auto const& [name, expected] : lists)
                       {
                           std::vector<tReferenceID> list;
                           EXPECT_TRUE(ReadAttribute(reader, name, list)) << name;
                           std::wstring read;
                           for (tReferenceID const& id : list)
                           {
                               read += (id.IsDefined() ? std::to_wstring(int(id)) : L"?") + L" ";
                           }
                           EXPECT_EQ(expected, read) << name;
                       }
                       std::vector<tReferenceID> appended(2);
                       EXPECT_TRUE(ReadAttribute(reader, L"three", appended));
                       EXPECT_EQ(5u, appended.size());
                   });
}

// An undefined identifier throws; values print exactly as printf does, and
// text beyond 62 characters is an error.
// A reader made for a child element sees the prefixes of its parent's scope;
// one made without a parent sees none.
TEST(ReadHelper, ChildScopeSeesPrefixesOfItsAncestors)
{
    ISAXReadHelper parent;
    parent.AddNamespace(L"m", L"urn:materials");
    std::wstring uri;
    EXPECT_TRUE(ISAXReadHelper(&parent).GetNamespaceURI(L"m", uri));
    EXPECT_EQ(L"urn:materials", uri);
    EXPECT_FALSE(ISAXReadHelper(nullptr).GetNamespaceURI(L"m", uri));
}

TEST(XMLWriteHandler, IdentifiersAndValuesPrintAsPrintfDoes)
{
    PackageWriteContext context;
    Formatter format(&context);
    try
    {
        format.FormatID(tReferenceID());
        ADD_FAILURE() << "no exception";
    }
    catch (std::logic_error const& e)
    {
        EXPECT_STREQ("Undefined reference identifier.", e.what());
    }

    std::vector<double> values = {
        0.0,   -0.0, -0.00004, 0.00005, 1.00005, 2.00015, -3.14159265, 123456.789049999,
        1e-10, 2.5,  0.5,      1e50,    -1e50};
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> coordinates(-1e6, 1e6);
    for (int i = 0; i < 2000; ++i)
    {
        values.push_back(coordinates(random));
    }
    for (double value : values)
    {
        for (int precision : {0, 4, 8})
        {
            ASSERT_EQ(Printf(value, precision), format.FormatValueFileUnits(value, precision)) << value;
        }
    }
    // 58 digits, the point and four decimals: 63 characters, one too many.
    EXPECT_EQ(L"<error>", Printf(1e57, 4));
    EXPECT_EQ(Printf(1e56, 4), format.FormatValueFileUnits(1e56, 4));
    for (double value : {1e57, 1e300})
    {
        try
        {
            format.FormatValueFileUnits(value, 4);
            ADD_FAILURE() << "no exception for " << value;
        }
        catch (std::runtime_error const& e)
        {
            EXPECT_STREQ("Error formatting a value.", e.what());
        }
    }

    double const perMillimetre = OndSDK::Common::MInternalUnits::Get();
    EXPECT_EQ(L"1.5000", format.FormatValueInternalUnits(int(1.5 * perMillimetre), tUnits()));
    EXPECT_EQ(L"-1.0000", format.FormatValueInternalUnits(int(-25.4 * perMillimetre), tUnits(L"inch")));
}
