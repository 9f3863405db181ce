// Tests of unit names, of the "transform" text and its unit conversion, and of
// GUID spelling.
#include "format3mf/Transformation.h"
#include "format3mf/Units.h"

#include "common/MInternalUnits.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Format_3MF;

// Known names set their factor; anything else is refused and falls back to
// millimetres.
TEST(Units, KnownNamesAndFallBack)
{
    std::pair<wchar_t const*, double> const names[] = {
        {L"inch", 25.4}, {L"foot", 304.8}, {L"micron", 0.001}, {L"centimeter", 10.0}, {L"Inch", 0},
        {L"", 0},        {L" meter", 0},   {L"meter ", 0},     {L"millimeter", 1.0},
    };
    tUnits units;
    EXPECT_EQ(L"millimeter", units.m_name);
    for (auto const& [name, factor] : names)
    {
        EXPECT_EQ(factor != 0, units.Init(name)) << name;
        EXPECT_EQ(factor != 0 ? name : L"millimeter", units.m_name);
        EXPECT_EQ(factor != 0 ? factor : 1.0, units.m_factor) << name;
        EXPECT_EQ(units.m_factor, tUnits(name).m_factor) << name;
    }
}

// Twelve numbers, written row by row in the file, are the columns of the
// matrix; surplus numbers are ignored, too few or bad text give identity.
// Formatting keeps eight decimals.
TEST(Transformation, ParseAndFormat)
{
    for (wchar_t const* text :
         {L"", L"1 2 3", L"1 0 0 0 1 0 0 0 1 0 0", L"no number at all", L"1 0 0 0 1 0 0 0 1 0 0 x"})
    {
        EXPECT_TRUE(ParseTransformation(text).IsIdentity()) << text;
    }
    MMTransformMatrix const m = ParseTransformation(L"1 2 3 4 5 6 7 8 9 10 11 12 13");
    EXPECT_EQ(MMPoint3d<double>(10, 11, 12), m.Apply({0, 0, 0}));
    EXPECT_EQ(MMPoint3d<double>(11, 13, 15), m.Apply({1, 0, 0}));
    EXPECT_EQ(MMPoint3d<double>(17, 19, 21), m.Apply({0, 0, 1}));
    EXPECT_EQ(L"1.00000000 0.00000000 0.00000000 0.00000000 1.00000000 0.00000000 0.00000000 0.00000000 "
              L"1.00000000 0.00000000 0.00000000 0.00000000",
              FormatTransformation(MMTransformMatrix()));
    std::wstring const text =
        L"0.12345678 -1.50000000 2.00000000 3.00000000 4.25000000 -5.00000000 6.00000000 "
        L"7.00000000 8.00000000 -100.12345678 20.50000000 0.00000001";
    EXPECT_EQ(text, FormatTransformation(ParseTransformation(text)));
}

// From file units, translations are rounded half away from zero to internal
// units and the inverse is refreshed; a scale stays dimensionless. Back to
// file units they are divided without rounding and the inverse is the input's.
TEST(Transformation, UnitConversionsBothWays)
{
    double const perUnit = OndSDK::Common::MInternalUnits::Get();
    MMTransformMatrix m;
    m.AccessElement(0, 3) = 2.5 / perUnit;
    m.AccessElement(1, 3) = -2.5 / perUnit;
    m.AccessElement(2, 3) = 2.4 / perUnit;
    m.AccessElement(0, 0) = 2.0;
    MMTransformMatrix const r = ConvertTransformationFileUnitsToInternalUnits(m, tUnits());
    EXPECT_EQ(MMPoint3d<double>(3, -3, 2), r.Apply({0, 0, 0}));
    EXPECT_EQ(MMPoint3d<double>(5, -3, 2), r.Apply({1, 0, 0}));
    MMPoint3d<double> const back = r.ApplyInverse(r.Apply({1.0, 2.0, 3.0}));
    EXPECT_NEAR(1.0, back.x, 1e-12);
    EXPECT_NEAR(2.0, back.y, 1e-12);

    MMTransformMatrix inch;
    inch.AccessElement(0, 3) = 3.0;
    MMTransformMatrix const internal = ConvertTransformationFileUnitsToInternalUnits(inch, tUnits(L"inch"));
    EXPECT_EQ(std::round(3.0 * 25.4 * perUnit), internal.GetElement(0, 3));
    MMTransformMatrix const file = ConvertTransformationInternalUnitsToFileUnits(internal, tUnits(L"inch"));
    EXPECT_DOUBLE_EQ(internal.GetElement(0, 3) / perUnit / 25.4, file.GetElement(0, 3));
    EXPECT_EQ(internal.GetElement(0, 3, true), file.GetElement(0, 3, true));
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
