// Tests of reading mesh geometry: rounding to internal units, incomplete
// elements, namespaces, bad indices and skipping geometry; and who owns
// the host mesh of a binding.
#include "mesh/MeshReadSupport.h"
#include "support/CaseFile.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

namespace
{
std::string const kModelStart = R"(<model xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02"
    xmlns:c="http://schemas.microsoft.com/3dmanufacturing/core/2015/02" xmlns:x="urn:other"
    xmlns:b="http://schemas.microsoft.com/3dmanufacturing/beamlattice/2017/02"
    xmlns:m="http://schemas.microsoft.com/3dmanufacturing/material/2015/02"><resources>
    <m:colorgroup id="1"><m:color color="#102030"/></m:colorgroup><object id="10" )";

// Points or triangles as the cases write them: numbers, with commas between
// elements.
template <class List>
std::string Text(List const& list)
{
    std::string text;
    for (auto const& element : list)
    {
        text += (text.empty() ? "" : ", ") + std::to_string(element[0]) + " " + std::to_string(element[1]) +
                " " + std::to_string(element[2]);
    }
    return text;
}

// A host mesh that tells when it goes.
struct WatchedStl : MStlBase
{
    explicit WatchedStl(bool& deleted) : m_deleted(deleted) {}
    ~WatchedStl() override { m_deleted = true; }
    bool& m_deleted;
};
} // namespace

// The cases are in mesh_geometry_cases.txt, whose head says how they are
// written down. A mesh without property references makes no mask for them.
TEST(MeshGeometryRead, PointsTrianglesAndErrors)
{
    auto const cases = ReadCaseFile(FORMAT3MF_SOURCE_DIR "/tests/mesh/mesh_geometry_cases.txt");
    EXPECT_EQ(10u, cases.size());
    for (CaseRecord const& c : cases)
    {
        SCOPED_TRACE(c.name);
        PackageReadOptions options;
        options.IsSkipGeometry = !c.Get("skip-geometry").empty();
        MeshRead read(kModelStart + c.Get("object") + "><mesh>" + c.Get("mesh") +
                          "</mesh></object></resources><build/></model>",
                      options);
        EXPECT_EQ(c.Get("error"), read.Error());
        EXPECT_EQ(c.Get("error").empty(), read.ok);
        if (read.ok)
        {
            EXPECT_EQ(c.Get("points"), Text(PointsOf(read.Stl())));
            EXPECT_EQ(c.Get("triangles"), Text(TrianglesOf(read.Stl())));
            EXPECT_TRUE(read.Stl().GetTriangleMaskOwner().GetMasks().empty());
            std::string const flags = std::string(read.Stl().m_partIsSupport ? " support" : "") +
                                      (read.Stl().m_partIsSolid ? " solid" : "");
            EXPECT_EQ(c.Get("flags", "solid"), flags.substr(flags.empty() ? 0 : 1));
            if (!c.Get("material").empty())
            {
                EXPECT_EQ(std::stoul(c.Get("material"), nullptr, 16), read.Stl().GetMaterial().GetRGB());
            }
        }
    }
}

TEST(MeshStlBase, OwnershipOfTheHostMesh)
{
    TestModelFile model;
    bool firstDeleted = false;
    bool secondDeleted = false;
    auto* const first = new WatchedStl(firstDeleted);
    auto* const second = new WatchedStl(secondDeleted);
    {
        MeshStlBase mesh(first, &model, nullptr, nullptr);
        EXPECT_FALSE(mesh.GetOwnStl()) << "the constructor takes no ownership";
        mesh.SetStl(first, true);
        mesh.SetStl(first, true);
        EXPECT_FALSE(firstDeleted) << "binding the bound mesh again never deletes it";
        mesh.SetStl(second, true);
        EXPECT_TRUE(firstDeleted) << "an owned mesh goes when another is bound";
        EXPECT_EQ(second, mesh.GetStl(true));
        EXPECT_FALSE(mesh.GetOwnStl());
        EXPECT_EQ(second, mesh.GetStl(false)) << "a released mesh stays bound";
    }
    EXPECT_FALSE(secondDeleted);
    delete second;

    // An owned mesh goes with the binding, its mask first.
    bool ownedDeleted = false;
    {
        MeshStlBase mesh(nullptr, &model, nullptr, nullptr);
        mesh.SetStl(new WatchedStl(ownedDeleted), true);
        mesh.InitTriangleProperties();
    }
    EXPECT_TRUE(ownedDeleted);
}
