// Tests of the helpers model readers and writers share: attribute reading,
// namespace scopes and number formatting.
#include "support/SaxProbe.h"

#include "format3mf/ReadAttribute.h"
#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"
#include "foundation/XMLNames.h"

#include "common/MInternalUnits.h"
#include "sax/SaxUtilities.h"

#include <gtest/gtest.h>

#include <climits>
#include <cwchar>
#include <functional>
#include <random>
#include <sstream>
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

TEST(ReadAttribute, PlainNameWinsOverPrefixedAndNullPrefixLooksOnlyAtPlain)
{
    std::wstring const prefix = L"s";
    AtRootStartTag(R"(<a x="1" s:x="2" s:y="3" z="&#xe9;t&#xe9; &#x1F600;"/>)",
                   [&](MSAXReader& reader)
                   {
                       int x = 0;
                       EXPECT_TRUE(ReadAttribute(reader, L"x", x, &prefix));
                       EXPECT_EQ(1, x);
                       int y = 0;
                       EXPECT_FALSE(ReadAttribute(reader, L"y", y));
                       EXPECT_TRUE(ReadAttribute(reader, L"y", y, &prefix));
                       EXPECT_EQ(3, y);
                       std::wstring text;
                       EXPECT_TRUE(ReadAttribute(reader, L"y", text, &prefix));
                       EXPECT_EQ(L"3", text);
                       EXPECT_TRUE(ReadAttribute(reader, L"z", text));
                       EXPECT_EQ(L"\u00e9t\u00e9 \U0001F600", text);
                       std::wstring missing = L"kept";
                       EXPECT_FALSE(ReadAttribute(reader, L"w", missing, &prefix));
                       EXPECT_EQ(L"kept", missing);
                   });
}

TEST(ReadAttribute, ReferenceIdentifiersReadLikeAStreamExtraction)
{
    AtRootStartTag(R"(<a id=" 12abc" none="abc" neg="-2" huge="99999999999" blank="  "/>)",
                   [](MSAXReader& reader)
                   {
                       tReferenceID id;
                       EXPECT_TRUE(ReadAttribute(reader, L"id", id));
                       EXPECT_EQ(12, int(id));
                       EXPECT_TRUE(ReadAttribute(reader, L"none", id));
                       EXPECT_EQ(0, int(id));
                       EXPECT_TRUE(ReadAttribute(reader, L"neg", id));
                       EXPECT_EQ(-2, int(id));
                       EXPECT_TRUE(ReadAttribute(reader, L"huge", id));
                       EXPECT_EQ(INT_MAX, int(id));
                       tReferenceID untouched = 5;
                       EXPECT_TRUE(ReadAttribute(reader, L"blank", untouched));
                       EXPECT_EQ(5, int(untouched));
                       EXPECT_FALSE(ReadAttribute(reader, L"missing", untouched));
                       EXPECT_EQ(5, int(untouched));
                   });
}

TEST(ReadAttribute, IdentifierListsAppendAndATrailingBlankAddsUndefined)
{
    AtRootStartTag(R"(<a three="1 2 3" trailing="1 2 3 " bad="4 x 5" empty=""/>)",
                   [](MSAXReader& reader)
                   {
                       std::vector<tReferenceID> ids;
                       EXPECT_TRUE(ReadAttribute(reader, L"three", ids));
                       ASSERT_EQ(3u, ids.size());
                       EXPECT_EQ(3, int(ids[2]));

                       ids.clear();
                       EXPECT_TRUE(ReadAttribute(reader, L"trailing", ids));
                       ASSERT_EQ(4u, ids.size());
                       EXPECT_FALSE(ids[3].IsDefined());

                       EXPECT_TRUE(ReadAttribute(reader, L"three", ids));
                       EXPECT_EQ(7u, ids.size()); // appended, not replaced

                       ids.clear();
                       EXPECT_TRUE(ReadAttribute(reader, L"bad", ids)); // ends, never loops
                       ASSERT_EQ(2u, ids.size());
                       EXPECT_EQ(4, int(ids[0]));
                       EXPECT_EQ(0, int(ids[1]));

                       ids.clear();
                       EXPECT_TRUE(ReadAttribute(reader, L"empty", ids));
                       EXPECT_TRUE(ids.empty());
                   });
}

TEST(ReadHelper, ChildScopeSeesPrefixesOfItsAncestors)
{
    ISAXReadHelper parent;
    parent.AddNamespace(L"m", L"urn:materials");
    ISAXReadHelper child(&parent);
    std::wstring uri;
    EXPECT_TRUE(child.GetNamespaceURI(L"m", uri));
    EXPECT_EQ(L"urn:materials", uri);
    ISAXReadHelper orphan(nullptr);
    EXPECT_FALSE(orphan.GetNamespaceURI(L"m", uri));
}

TEST(XMLWriteHandler, IdentifiersPrintAsIntegersAndUndefinedThrows)
{
    PackageWriteContext context;
    Formatter format(&context);
    EXPECT_EQ(L"0", format.FormatID(0));
    EXPECT_EQ(L"-2", format.FormatID(-2));
    EXPECT_EQ(L"-2147483648", format.FormatID(INT_MIN));
    try
    {
        format.FormatID(tReferenceID());
        FAIL() << "no exception";
    }
    catch (std::logic_error const& e)
    {
        EXPECT_STREQ("Undefined reference identifier.", e.what());
    }
}

TEST(XMLWriteHandler, ValuesPrintExactlyAsPrintfDoes)
{
    PackageWriteContext context;
    Formatter format(&context);
    EXPECT_EQ(L"1.5000", format.FormatValueFileUnits(1.5, 4));
    EXPECT_EQ(L"-0.0000", format.FormatValueFileUnits(-0.00004, 4));
    for (double value :
         {0.0, -0.0, 0.00005, 1.00005, 2.00015, -3.14159265, 123456.789049999, 1e-10, 2.5, 0.5, 1e50, -1e50})
    {
        for (int precision : {0, 4, 8})
        {
            EXPECT_EQ(Printf(value, precision), format.FormatValueFileUnits(value, precision)) << value;
        }
    }
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> coordinates(-1e6, 1e6);
    for (int i = 0; i < 2000; ++i)
    {
        double const value = coordinates(random);
        ASSERT_EQ(Printf(value, 4), format.FormatValueFileUnits(value, 4)) << value;
    }
}

TEST(XMLWriteHandler, TextBeyondSixtyTwoCharactersIsAnError)
{
    PackageWriteContext context;
    Formatter format(&context);
    // 58 digits, the point and four decimals: 63 characters, one too many.
    EXPECT_EQ(L"<error>", Printf(1e57, 4));
    for (double value : {1e57, 1e300})
    {
        try
        {
            format.FormatValueFileUnits(value, 4);
            FAIL() << "no exception for " << value;
        }
        catch (std::runtime_error const& e)
        {
            EXPECT_STREQ("Error formatting a value.", e.what());
        }
    }
    EXPECT_EQ(Printf(1e56, 4), format.FormatValueFileUnits(1e56, 4));
}

TEST(XMLWriteHandler, InternalUnitsPrintInTheFileUnit)
{
    PackageWriteContext context;
    Formatter format(&context);
    double const perMillimetre = OndSDK::Common::MInternalUnits::Get();
    EXPECT_EQ(L"1.5000", format.FormatValueInternalUnits(int(1.5 * perMillimetre), tUnits()));
    EXPECT_EQ(L"-1.0000", format.FormatValueInternalUnits(int(-25.4 * perMillimetre), tUnits(L"inch")));
}
