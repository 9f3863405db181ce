// Tests of the mesh binding: the references triangles note, and who owns the
// host mesh.
#include "mesh/MeshReadSupport.h"

#include "format3mf/PropertyValues.h"
#include "format3mf/XMLPersistHelpers.h"

#include "sax/SaxUtilities.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace Format_3MF;

namespace
{
// A host mesh that tells when it goes.
struct WatchedStl : MStlBase
{
    explicit WatchedStl(bool& deleted) : m_deleted(deleted) {}
    ~WatchedStl() override { m_deleted = true; }
    bool& m_deleted;
};

// Hands the content of "mesh" to the mesh's own reader, without the stop
// hook, so that the noted references can be looked at.
struct MeshRoot : ISAXReadHelper
{
    MeshRoot(MeshStlBase& mesh, PackageReadContext& context) : m_mesh(mesh), m_context(context) {}
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override
    {
        if (tag == L"mesh")
        {
            reader.PushHandler(m_mesh._CreateSaxHandlerRead(&m_context, this));
        }
        return true;
    }
    MeshStlBase& m_mesh;
    PackageReadContext& m_context;
};

struct Binding
{
    TestModelFile model;
    Object object{&model};
    ColorGroup colors;
    PackageReadContext context;
    MeshStlBase mesh{nullptr, &model, &object, &context};

    Binding()
    {
        colors.AddValue(Color(0x0000FF), false);
        colors.AddValue(Color(0x00FF00), false);
        model.Register(colors, 1);
        mesh.SetStl(new MStlBase(), true);
    }

    void Read(std::string const& triangles)
    {
        MeshRoot root(mesh, context);
        std::istringstream stream(
            R"(<object><mesh><vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/>
            <vertex x="0" y="1" z="0"/></vertices><triangles>)" +
            triangles + "</triangles></mesh></object>");
        ASSERT_TRUE(OndAM::SaxUtilities::ReadStream(stream, root));
    }

    // The noted reference of each triangle: group id and the three indices.
    std::vector<std::array<long long, 4>> Noted() const
    {
        std::vector<std::array<long long, 4>> noted;
        MStlBase const& stl = *mesh.m_stl;
        for (auto triangle = stl.BeginTriangle(); triangle != stl.EndTriangle(); ++triangle)
        {
            auto const& entry = std::as_const(*mesh.m_triangleProperties).GetInfo(*triangle);
            if (entry.empty())
            {
                noted.push_back({-1, -1, -1, -1});
            }
            else
            {
                noted.push_back({int(entry.front().m_group->m_id), entry.front().m_p1, entry.front().m_p2,
                                 entry.front().m_p3});
            }
        }
        return noted;
    }
};
} // namespace

TEST(MeshStlBase, TrianglesNoteTheirReferenceAndMissingCornersTakeTheFirst)
{
    Binding binding;
    binding.object.m_propertyGroup = &binding.colors;
    binding.Read(R"(<triangle v1="0" v2="1" v3="2"/><triangle v1="0" v2="1" v3="2" pid="1" p1="0" p2="1"/>
        <triangle v1="0" v2="1" v3="2" p1="1"/><triangle v1="0" v2="1" v3="2" pid="1" p1="1" p3="0"/>)");
    ASSERT_NE(nullptr, binding.mesh.m_triangleProperties);
    EXPECT_EQ(
        (std::vector<std::array<long long, 4>>{{-1, -1, -1, -1}, {1, 0, 1, 0}, {1, 1, 1, 1}, {1, 1, 1, 0}}),
        binding.Noted());
}

TEST(MeshStlBase, AMeshWithoutReferencesMakesNoMask)
{
    Binding binding;
    binding.Read(R"(<triangle v1="0" v2="1" v3="2" p1="0"/><triangle v1="0" v2="1" v3="2" pid="9" p1="0"/>)");
    EXPECT_EQ(nullptr, binding.mesh.m_triangleProperties);
    EXPECT_TRUE(binding.mesh.m_stl->GetTriangleMaskOwner().GetMasks().empty());
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
