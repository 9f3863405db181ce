// Tests of unit names, of the "transform" text and its unit conversion, and of
// GUID spelling.
#include "format3mf/Transformation.h"
#include "format3mf/Units.h"

#include "common/MInternalUnits.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

TEST(Units, KnownNamesAndFallBack)
{
    tUnits units;
    EXPECT_EQ(L"millimeter", units.m_name);
    EXPECT_EQ(1.0, units.m_factor);
    EXPECT_TRUE(units.Init(L"inch"));
    EXPECT_EQ(25.4, units.m_factor);
    EXPECT_TRUE(units.Init(L"foot"));
    EXPECT_EQ(304.8, units.m_factor);
    EXPECT_TRUE(units.Init(L"micron"));
    EXPECT_EQ(0.001, units.m_factor);
    for (wchar_t const* bad : {L"Inch", L"", L" meter", L"meter "})
    {
        EXPECT_FALSE(units.Init(bad)) << bad;
        EXPECT_EQ(L"millimeter", units.m_name);
        EXPECT_EQ(1.0, units.m_factor);
    }
    tUnits fromName(L"centimeter");
    EXPECT_EQ(10.0, fromName.m_factor);
}

TEST(Transformation, BadTextGivesIdentity)
{
    for (wchar_t const* text :
         {L"", L"1 2 3", L"1 0 0 0 1 0 0 0 1 0 0", L"no number at all", L"1 0 0 0 1 0 0 0 1 0 0 x"})
    {
        EXPECT_TRUE(ParseTransformation(text).IsIdentity()) << text;
    }
}

TEST(Transformation, ParseReadsFileRowsAsColumnsAndIgnoresSurplus)
{
    MMTransformMatrix m = ParseTransformation(L"1 2 3 4 5 6 7 8 9 10 11 12 13");
    EXPECT_EQ(1.0, m.GetElement(0, 0));
    EXPECT_EQ(2.0, m.GetElement(1, 0));
    EXPECT_EQ(3.0, m.GetElement(2, 0));
    EXPECT_EQ(4.0, m.GetElement(0, 1));
    EXPECT_EQ(10.0, m.GetElement(0, 3));
    EXPECT_EQ(11.0, m.GetElement(1, 3));
    EXPECT_EQ(12.0, m.GetElement(2, 3));
    EXPECT_EQ(1.0, m.GetElement(3, 3));
    EXPECT_EQ(0.0, m.GetElement(3, 0));
}

TEST(Transformation, FormatThenParseKeepsEightDecimals)
{
    EXPECT_EQ(L"1.00000000 0.00000000 0.00000000 0.00000000 1.00000000 0.00000000 0.00000000 0.00000000 "
              L"1.00000000 0.00000000 0.00000000 0.00000000",
              FormatTransformation(MMTransformMatrix()));
    std::wstring const text =
        L"0.12345678 -1.50000000 2.00000000 3.00000000 4.25000000 -5.00000000 6.00000000 "
        L"7.00000000 8.00000000 -100.12345678 20.50000000 0.00000001";
    MMTransformMatrix const m = ParseTransformation(text);
    EXPECT_EQ(text, FormatTransformation(m));
    EXPECT_EQ(-100.12345678, m.GetElement(0, 3));
    EXPECT_DOUBLE_EQ(0.00000001, m.GetElement(2, 3));
}

TEST(Transformation, FileToInternalRoundsHalfAwayFromZero)
{
    double const perUnit = OndSDK::Common::MInternalUnits::Get();
    MMTransformMatrix m;
    m.AccessElement(0, 3) = 2.5 / perUnit;
    m.AccessElement(1, 3) = -2.5 / perUnit;
    m.AccessElement(2, 3) = 2.4 / perUnit;
    m.AccessElement(0, 0) = 2.0; // a scale stays dimensionless
    MMTransformMatrix const r = ConvertTransformationFileUnitsToInternalUnits(m, tUnits());
    EXPECT_EQ(3.0, r.GetElement(0, 3));
    EXPECT_EQ(-3.0, r.GetElement(1, 3));
    EXPECT_EQ(2.0, r.GetElement(2, 3));
    EXPECT_EQ(2.0, r.GetElement(0, 0));
    // The inverse was refreshed: it undoes the translation.
    MMPoint3d<double> const back = r.ApplyInverse(r.Apply({1.0, 2.0, 3.0}));
    EXPECT_NEAR(1.0, back.x, 1e-12);
    EXPECT_NEAR(2.0, back.y, 1e-12);

    MMTransformMatrix inch;
    inch.AccessElement(0, 3) = 1.0;
    EXPECT_EQ(25.4 * perUnit,
              ConvertTransformationFileUnitsToInternalUnits(inch, tUnits(L"inch")).GetElement(0, 3));
}

TEST(Transformation, InternalToFileDividesWithoutRoundingOrNewInverse)
{
    double const perUnit = OndSDK::Common::MInternalUnits::Get();
    MMTransformMatrix m;
    m.AccessElement(0, 3) = 3.0 * perUnit * 25.4;
    m.ComputeInverse();
    MMTransformMatrix const r = ConvertTransformationInternalUnitsToFileUnits(m, tUnits(L"inch"));
    EXPECT_DOUBLE_EQ(3.0, r.GetElement(0, 3));
    // The inverse is the one of the input: it still undoes the old translation.
    EXPECT_EQ(m.GetElement(0, 3, true), r.GetElement(0, 3, true));
}

TEST(Guid, CanonicalSpellingAndMalformedText)
{
    EXPECT_EQ(L"3f2504e0-4f89-11d3-9a0c-0305e82c3301", FormatGUID(L"{3F2504E0-4F89-11D3-9A0C-0305E82C3301}"));
    EXPECT_EQ(L"3f2504e0-4f89-11d3-9a0c-0305e82c3301", FormatGUID(L" 3F2504E04F8911D39A0C0305E82C3301 "));
    for (wchar_t const* bad :
         {L"", L"not a guid", L"3F2504E0-4F89-11D3-9A0C-0305E82C330", L"3F2504E0-4F89-11D3-9A0C_0305E82C3301",
          L"3F2504E0-4F89-11D3-9A0C-0305E82C330g"})
    {
        EXPECT_EQ(L"00000000-0000-0000-0000-000000000000", FormatGUID(bad)) << bad;
    }
}
