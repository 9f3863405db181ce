// Displacement maps of the vendor's namespace: which entries are kept on
// reading, and that they pass through a write and a second read with their
// groups, values and order.
#include "mesh/MeshReadSupport.h"
#include "support/BlankPng.h"

#include "format3mf/PackageWrite.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

namespace
{
std::string const kDisplacement = "http://schemas.ondsdk.com/3dmanufacturing/displacementtextures/2017/03";

// A colour group 1, coordinate groups 6 and 8 on texture 5, and object 10
// with the displacement entries given in a "textures" list; group 9 comes
// after the object. Without entries, the model has no displacement
// namespace at all.
std::string DisplacementModel(std::string const& entries)
{
    std::string const declaration =
        entries.empty() ? "" : " xmlns:dt=\"" + kDisplacement + "\" requiredextensions=\"dt\"";
    return R"(<model unit="millimeter" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02"
        xmlns:m="http://schemas.microsoft.com/3dmanufacturing/material/2015/02")" +
           declaration + R"(><resources>
        <m:colorgroup id="1"><m:color color="#FF0000"/></m:colorgroup>
        <m:texture2d id="5" path="/3D/Textures/tex.png" contenttype="image/png"/>
        <m:texture2dgroup id="6" texid="5"><m:tex2coord u="0" v="0"/></m:texture2dgroup>
        <m:texture2dgroup id="8" texid="5"><m:tex2coord u="1" v="1"/></m:texture2dgroup>
        <object id="10"><mesh><vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/>
        <vertex x="0" y="1" z="0"/></vertices><triangles><triangle v1="0" v2="1" v3="2"/></triangles>)" +
           (entries.empty() ? "" : "<dt:textures>" + entries + "</dt:textures>") + R"(</mesh></object>
        <m:texture2dgroup id="9" texid="5"><m:tex2coord u="1" v="0"/></m:texture2dgroup>
        </resources><build><item objectid="10"/></build></model>)";
}

// Each map as its group, white and black values, with commas between maps.
std::string Maps(MeshStlBase const& mesh)
{
    std::ostringstream maps;
    for (DisplacementMap const& map : mesh.m_displacementMaps)
    {
        maps << (maps.tellp() == 0 ? "" : ", ") << int(map.m_group->m_id) << " " << map.m_white << " "
             << map.m_black;
    }
    return maps.str();
}
} // namespace

// Kept: entries on a coordinate group with "white" and "black". Dropped: a
// colour group, a missing value or id, and a group defined after the
// object.
TEST(DisplacementMapRead, OnlyCompleteEntriesOnCoordinateGroupsAreKept)
{
    MeshRead read(DisplacementModel(R"(<dt:texture texture2d_id="8" white="1" black="-0.5"/>
        <dt:texture texture2d_id="1" white="1" black="0"/>
        <dt:texture texture2d_id="6" white="2"/>
        <dt:texture white="2" black="3"/>
        <dt:texture texture2d_id="9" white="2" black="3"/>
        <dt:texture texture2d_id="6" white="0.25" black="0.125"/>)"),
                  {}, {{"3D/Textures/tex.png", BlankPng::Make(2, 2, false)}});
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ("8 1 -0.5, 6 0.25 0.125", Maps(*read.Mesh()));
}

// Read, write, read: the same maps in the same order, under the "dt" prefix
// that writing declares as a required extension; values with four decimals.
// A mesh without maps declares nothing.
TEST(DisplacementMapRead, MapsSurviveWritingAndReadingAgain)
{
    for (bool const withMaps : {true, false})
    {
        SCOPED_TRACE(withMaps ? "with maps" : "without maps");
        MeshRead first(DisplacementModel(withMaps ? R"(<dt:texture texture2d_id="8" white="1" black="-0.5"/>
            <dt:texture texture2d_id="6" white="0.25" black="3"/>)"
                                                  : ""),
                       {}, {{"3D/Textures/tex.png", BlankPng::Make(2, 2, false)}});
        ASSERT_TRUE(first.ok) << first.Error();
        std::wstring const written = first.scratch.File("written.3mf");
        PackageWrite(&first.package, PackageWriteOptions()).Write(written, nullptr);

        std::string const xml = EntryText(written, "3D/3dmodel.model");
        EXPECT_EQ(withMaps, xml.find("xmlns:dt=\"" + kDisplacement + "\"") != std::string::npos) << xml;
        EXPECT_EQ(withMaps, xml.find("requiredextensions=\"dt\"") != std::string::npos) << xml;
        EXPECT_EQ(withMaps, xml.find("textures") != std::string::npos) << xml;
        EXPECT_EQ(withMaps,
                  xml.find(R"(</triangles><dt:textures><dt:texture texture2d_id="8" white="1.0000" )"
                           R"(black="-0.5000"/><dt:texture texture2d_id="6" white="0.2500" )"
                           R"(black="3.0000"/></dt:textures></mesh>)") != std::string::npos)
            << xml;

        MeshRead again(xml, {}, {{"3D/Textures/tex.png", BlankPng::Make(2, 2, false)}});
        ASSERT_TRUE(again.ok) << again.Error();
        EXPECT_EQ(withMaps ? "8 1 -0.5, 6 0.25 3" : "", Maps(*again.Mesh()));
        EXPECT_EQ(1u, again.Stl().GetNumberOfTriangles());
    }
}
