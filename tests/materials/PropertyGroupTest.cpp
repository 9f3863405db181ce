// Tests of property groups' value merging and index checks, and of colour text.
#include "format3mf/ColorText.h"
#include "format3mf/Exception.h"
#include "format3mf/PropertyValues.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

using namespace Format_3MF;

// Checked adds merge equal values; unchecked adds keep every value and stay
// invisible to later checks; values are looked up by index.
TEST(PropertyGroup, CheckedAddsMergeEqualValuesUncheckedAddsKeepEvery)
{
    ColorGroup group;
    EXPECT_EQ(0, group.AddValue(Color(7), false));
    EXPECT_EQ(1, group.AddValue(Color(7), false));
    EXPECT_EQ(-1, group.GetIndex(Color(7)));
    EXPECT_EQ(2, group.AddValue(Color(0x112233), true));
    EXPECT_EQ(3, group.AddValue(Color(7), true));
    EXPECT_EQ(2, group.AddValue(Color(0x112233), true));
    EXPECT_EQ(3, group.AddValue(Color(7), true));
    EXPECT_EQ(4u, group.m_values.size());
    EXPECT_EQ(3, group.GetIndex(Color(7)));
    EXPECT_EQ(-1, group.GetIndex(Color(0x778899)));
    // An index beyond the values throws; the message is checked where reading
    // meets one, here the negative index that reading cannot give.
    EXPECT_EQ(0x112233u, group.GetValue(2).m_color);
    EXPECT_THROW(group.GetValue(-1), Exception);
    EXPECT_THROW(group.GetValue(4), Exception);
}

// Checked adds merge equal values: base materials differ by name or colour,
// NaN texture coordinates must not break the check, multi properties of
// different lengths differ.
TEST(PropertyValues, CheckedAddsMergeOnlyEqualValues)
{
    BaseMaterialGroup materials;
    EXPECT_EQ(0, materials.AddValue(BaseMaterial(L"PLA", 0xFF), true));
    EXPECT_EQ(1, materials.AddValue(BaseMaterial(L"PLA", 0xFE), true));
    EXPECT_EQ(2, materials.AddValue(BaseMaterial(L"ABS", 0xFF), true));
    EXPECT_EQ(0, materials.AddValue(BaseMaterial(L"PLA", 0xFF), true));

    float const nan = std::numeric_limits<float>::quiet_NaN();
    Texture2DGroup coordinates;
    EXPECT_EQ(0, coordinates.AddValue(Texture2DCoord(nan, 0.5f), true));
    EXPECT_EQ(1, coordinates.AddValue(Texture2DCoord(0.5f, 0.5f), true));
    EXPECT_EQ(0, coordinates.AddValue(Texture2DCoord(nan, 0.5f), true));
    EXPECT_EQ(2, coordinates.AddValue(Texture2DCoord(nan, nan), true));
    EXPECT_EQ(2, coordinates.AddValue(Texture2DCoord(nan, nan), true));

    MultiPropertyGroup multi;
    EXPECT_EQ(0, multi.AddValue(MultiProperty({1, 2}), true));
    EXPECT_EQ(1, multi.AddValue(MultiProperty({1, 2, 0}), true));
    EXPECT_EQ(0, multi.AddValue(MultiProperty({1, 2}), true));
}

// Encoding writes the low bytes lowest first in lower case. Decoding takes
// both lengths and cases; the alpha pair is not looked at; text without a
// leading "#" gives zero whatever its length; bad pairs read leniently.
TEST(ColorText, EncodeAndDecode)
{
    EXPECT_EQ(L"#112233", EncodeColor(0x00332211));
    EXPECT_EQ(L"#000000", EncodeColor(0xFF000000));
    EXPECT_EQ(L"#0a0bff", EncodeColor(0x00FF0B0A));
    std::pair<wchar_t const*, unsigned int> const rows[] = {{L"#112233", 0x00332211u},
                                                            {L"#11223344", 0x00332211u},
                                                            {L"#112233zz", 0x00332211u},
                                                            {L"#AABBCC", 0x00CCBBAAu},
                                                            {L"", 0u},
                                                            {L"112233", 0u},
                                                            {L" #112233", 0u},
                                                            {L"1#12233", 0u},
                                                            {L"12", 0u},
                                                            {L"#gg0000", 0u},
                                                            {L"#a-0000", 0x0Au},
                                                            {L"# f0000", 0u},
                                                            {L"#-10000", 0u},
                                                            {L"#0x00ff", 0x00FF0000u}};
    for (auto const& [text, rgb] : rows)
    {
        EXPECT_EQ(rgb, DecodeColor(text)) << text;
    }
    // Wrong lengths throw the bare int.
    for (std::wstring text : {L"#", L"#1122", L"#11223", L"#1122334", L"#1122334455"})
    {
        EXPECT_THROW(DecodeColor(text), int) << text.size();
    }
}
