#include "format3mf/ColorText.h"
#include "format3mf/Exception.h"
#include "format3mf/PropertyValues.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace Format_3MF;

TEST(PropertyGroup, CheckedAddsMergeEqualValues)
{
    ColorGroup group;
    EXPECT_EQ(-1, int(group.m_id));
    EXPECT_EQ(0, group.AddValue(Color(0x112233), true));
    EXPECT_EQ(1, group.AddValue(Color(0x445566), true));
    EXPECT_EQ(0, group.AddValue(Color(0x112233), true));
    EXPECT_EQ(2u, group.m_values.size());
    EXPECT_EQ(1, group.GetIndex(Color(0x445566)));
    EXPECT_EQ(-1, group.GetIndex(Color(0x778899)));
}

TEST(PropertyGroup, UncheckedAddsKeepEveryValueAndStayInvisibleToChecks)
{
    ColorGroup group;
    EXPECT_EQ(0, group.AddValue(Color(7), false));
    EXPECT_EQ(1, group.AddValue(Color(7), false));
    EXPECT_EQ(-1, group.GetIndex(Color(7)));
    EXPECT_TRUE(group.m_index.empty());
    // A checked add does not see the unchecked ones: a third copy appears.
    EXPECT_EQ(2, group.AddValue(Color(7), true));
    EXPECT_EQ(2, group.AddValue(Color(7), true));
    EXPECT_EQ(3u, group.m_values.size());
}

TEST(PropertyGroup, CheckedAfterUncheckedGetsTheNextIndex)
{
    ColorGroup group;
    group.AddValue(Color(1), false);
    EXPECT_EQ(1, group.AddValue(Color(1), true));
}

TEST(PropertyGroup, GetValueOutOfRangeNamesIndexAndGroup)
{
    ColorGroup group;
    group.m_id = 42;
    group.AddValue(Color(5), false);
    EXPECT_EQ(5u, group.GetValue(0).m_color);
    for (int bad : {-1, 1, 1000})
    {
        try
        {
            group.GetValue(bad);
            ADD_FAILURE() << "no exception for index " << bad;
        }
        catch (Exception const& e)
        {
            EXPECT_NE(std::wstring::npos, e.m_message.find(std::to_wstring(bad))) << e.what();
            EXPECT_NE(std::wstring::npos, e.m_message.find(L"42")) << e.what();
        }
    }
}

TEST(PropertyValues, BaseMaterialsDifferByNameOrColour)
{
    BaseMaterialGroup group;
    EXPECT_EQ(0, group.AddValue(BaseMaterial(L"PLA", 0xFF), true));
    EXPECT_EQ(1, group.AddValue(BaseMaterial(L"PLA", 0xFE), true));
    EXPECT_EQ(2, group.AddValue(BaseMaterial(L"ABS", 0xFF), true));
    EXPECT_EQ(0, group.AddValue(BaseMaterial(L"PLA", 0xFF), true));
    EXPECT_TRUE(BaseMaterial(L"A", 9) < BaseMaterial(L"B", 1));
}

TEST(PropertyValues, TextureCoordinatesOrderByUThenV)
{
    EXPECT_TRUE(Texture2DCoord(0.1f, 0.9f) < Texture2DCoord(0.2f, 0.0f));
    EXPECT_TRUE(Texture2DCoord(0.1f, 0.1f) < Texture2DCoord(0.1f, 0.2f));
    EXPECT_FALSE(Texture2DCoord(0.1f, 0.2f) < Texture2DCoord(0.1f, 0.2f));

    // NaN coordinates must not break the duplicate check.
    float const nan = std::numeric_limits<float>::quiet_NaN();
    Texture2DGroup group;
    EXPECT_EQ(-1, int(group.m_texid));
    EXPECT_EQ(0, group.AddValue(Texture2DCoord(nan, 0.5f), true));
    EXPECT_EQ(1, group.AddValue(Texture2DCoord(0.5f, 0.5f), true));
    EXPECT_EQ(0, group.AddValue(Texture2DCoord(nan, 0.5f), true));
    EXPECT_EQ(2, group.AddValue(Texture2DCoord(nan, nan), true));
    EXPECT_EQ(2, group.AddValue(Texture2DCoord(nan, nan), true));
}

TEST(PropertyValues, MultiPropertiesOrderByLengthFirst)
{
    EXPECT_TRUE(MultiProperty({9, 9}) < MultiProperty({0, 0, 0}));
    EXPECT_TRUE(MultiProperty({-1, 5}) < MultiProperty({0, 0}));
    EXPECT_FALSE(MultiProperty({1, 2}) < MultiProperty({1, 2}));
    MultiPropertyGroup group;
    EXPECT_TRUE(group.m_pids.empty());
    EXPECT_EQ(0, group.AddValue(MultiProperty({1, 2}), true));
    EXPECT_EQ(1, group.AddValue(MultiProperty({1, 2, 0}), true));
    EXPECT_EQ(0, group.AddValue(MultiProperty({1, 2}), true));
}

TEST(ColorText, EncodeWritesLowBytesLowestFirstInLowerCase)
{
    EXPECT_EQ(L"#112233", EncodeColor(0x00332211));
    EXPECT_EQ(L"#000000", EncodeColor(0xFF000000));
    EXPECT_EQ(L"#0a0bff", EncodeColor(0x00FF0B0A));
}

TEST(ColorText, DecodeAcceptsBothLengthsAndCases)
{
    EXPECT_EQ(0x00332211u, DecodeColor(L"#112233"));
    EXPECT_EQ(0x00332211u, DecodeColor(L"#11223344"));
    // The alpha pair is not even looked at.
    EXPECT_EQ(0x00332211u, DecodeColor(L"#112233zz"));
    EXPECT_EQ(DecodeColor(L"#aabbcc"), DecodeColor(L"#AABBCC"));
    EXPECT_EQ(L"#aabbcc", EncodeColor(DecodeColor(L"#AABBCC")));
    for (unsigned int value : {0u, 0x00FFFFFFu, 0x00123456u, 0x00FEDCBAu})
    {
        EXPECT_EQ(value, DecodeColor(EncodeColor(value)));
    }
}

TEST(ColorText, DecodeGivesZeroForTextWithoutLeadingHash)
{
    EXPECT_EQ(0u, DecodeColor(L""));
    EXPECT_EQ(0u, DecodeColor(L"112233"));
    EXPECT_EQ(0u, DecodeColor(L" #112233"));
    EXPECT_EQ(0u, DecodeColor(L"1#12233"));
    // Without a leading "#" the length doesn't matter.
    EXPECT_EQ(0u, DecodeColor(L"12"));
}

TEST(ColorText, DecodeThrowsTheBareIntForWrongLengths)
{
    for (std::wstring text : {L"#", L"#1122", L"#11223", L"#1122334", L"#1122334455"})
    {
        try
        {
            DecodeColor(text);
            ADD_FAILURE() << "no throw for a text of length " << text.size();
        }
        catch (int value)
        {
            EXPECT_EQ(0, value);
        }
    }
}

TEST(ColorText, DecodeReadsBadPairsLeniently)
{
    EXPECT_EQ(0u, DecodeColor(L"#gg0000"));
    // One good digit followed by something else reads as that digit.
    EXPECT_EQ(0x0000000Au, DecodeColor(L"#a-0000"));
    // A blank or a sign does not start a number.
    EXPECT_EQ(0x00000000u, DecodeColor(L"# f0000"));
    EXPECT_EQ(0x00000000u, DecodeColor(L"#-10000"));
    EXPECT_EQ(0x00FF0000u, DecodeColor(L"#0x00ff"));
}
