// The mesh writer on its own: vertex text in the model's unit, the order of
// listed vertices and points, property references, and both kinds of
// cancellation.
#include "export/ExportSupport.h"

#include "format3mf/Object.h"
#include "format3mf/PackageWrite.h"
#include "format3mf/PropertyValues.h"
#include "mesh/MeshStlBaseWrite.h"

#include "common/IncrementalProgressReporter.h"
#include "sax/SAXWriter.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

namespace
{
// A binding made as a reader makes it, so that no property group is added.
struct BareMesh
{
    ModelFileStlBase model;
    Object object{&model};
    std::unique_ptr<MStlBase> stl;
    MeshStlBase mesh;
    PackageWriteContext context;

    explicit BareMesh(std::unique_ptr<MStlBase> host)
        : stl(std::move(host)), mesh(stl.get(), &model, &object, static_cast<PackageReadContext*>(nullptr))
    {
    }

    std::string Xml(std::shared_ptr<OndSDK::Common::IProgressDelegate> progress = {})
    {
        std::ostringstream stream;
        {
            MSAXWriter writer(stream, 0);
            {
                MSAXTagWriter element(writer, "mesh");
                MeshStlBaseWrite(&context, &mesh, std::move(progress)).Write(writer);
            }
            writer.Flush();
        }
        return stream.str();
    }
};
} // namespace

TEST(MeshWrite, AMeshWithoutHostMeshWritesEmptyLists)
{
    BareMesh bare(nullptr);
    EXPECT_EQ("<mesh><vertices/><triangles/></mesh>\n", bare.Xml());
}

TEST(MeshWrite, CoordinatesInTheModelsUnitWithFourDecimals)
{
    struct Case
    {
        wchar_t const* unit;
        char const* x;
    };
    for (Case const entry :
         {Case{L"millimeter", "1.5000"}, Case{L"inch", "0.0591"}, Case{L"micron", "1500.0000"}})
    {
        auto mesh = MakeSquare(15000);
        PreparedModel prepared({mesh.get()}, {},
                               [&](PreparedModel& p) { p.model.GetUnits().Init(entry.unit); });
        std::vector<Attributes> const vertices = Elements(prepared.Xml(), "vertex");
        ASSERT_EQ(4u, vertices.size());
        EXPECT_EQ(entry.x, vertices[1].at("x")) << entry.x;
        EXPECT_EQ("0.0000", vertices[1].at("y"));
    }
}

// Listed vertices come first, as they stand; the points follow, and the
// triangles' indices are offset by them.
TEST(MeshWrite, ListedVerticesBeforeThePoints)
{
    auto stl = std::make_unique<MStlBase>();
    MStlPoint* const a = stl->AddPoint(0, 0, 0);
    MStlPoint* const b = stl->AddPoint(10000, 0, 0);
    stl->AddTriangle(a, b, stl->AddPoint(0, 10000, 0));
    BareMesh bare(std::move(stl));
    bare.mesh.AddVertex({0.25, -1.0, 3.0});
    bare.mesh.AddVertex({});
    std::string const xml = bare.Xml();
    std::vector<Attributes> const vertices = Elements(xml, "vertex");
    ASSERT_EQ(5u, vertices.size());
    EXPECT_EQ((Attributes{{"x", "0.2500"}, {"y", "-1.0000"}, {"z", "3.0000"}}), vertices[0]);
    EXPECT_EQ("1.0000", vertices[3].at("x"));
    EXPECT_EQ((std::vector<Attributes>{{{"v1", "2"}, {"v2", "3"}, {"v3", "4"}}}), Elements(xml, "triangle"));
}

TEST(MeshWrite, UniformReferencesCarryP1Alone)
{
    struct Case
    {
        std::uint32_t p[3];
        Attributes expected;
    };
    Case const cases[] = {
        {{7, 7, 7}, {{"pid", "30"}, {"p1", "7"}}},
        {{7, 7, 8}, {{"pid", "30"}, {"p1", "7"}, {"p2", "7"}, {"p3", "8"}}},
        {{8, 7, 7}, {{"pid", "30"}, {"p1", "8"}, {"p2", "7"}, {"p3", "7"}}},
    };
    for (Case const& entry : cases)
    {
        BareMesh bare(MakeSquare());
        ColorGroup group;
        bare.model.Register(group, 30);
        bare.mesh.InitTriangleProperties();
        bare.mesh.m_triangleProperties->GetInfo(1u).push_back({&group, entry.p[0], entry.p[1], entry.p[2]});
        std::vector<Attributes> triangles = Elements(bare.Xml(), "triangle");
        ASSERT_EQ(2u, triangles.size());
        EXPECT_EQ(0u, triangles[0].count("pid")) << "no entry, no reference";
        for (char const* corner : {"v1", "v2", "v3"})
        {
            triangles[1].erase(corner);
        }
        EXPECT_EQ(entry.expected, triangles[1]);
    }
}

// A cancel seen by the writer's own reporters ends the lists quietly; one
// seen by the write's overall reporter ends the write.
TEST(MeshWrite, CancellationQuietLocallyLoudOverall)
{
    auto progress = std::make_shared<OndSDK::Common::IProgressDelegate>();
    progress->Cancel();
    BareMesh quiet(MakeSquare());
    for (int i = 0; i < 30; ++i)
    {
        quiet.stl->AddPoint(i, i, i);
    }
    std::string const xml = quiet.Xml(progress);
    EXPECT_EQ(10u, Elements(xml, "vertex").size()) << "the list ends at the first poll";
    EXPECT_NE(std::string::npos, xml.find("</vertices><triangles>")) << xml;

    BareMesh loud(MakeSquare());
    loud.context.m_stepProgress = std::make_unique<PackageWriteStepProgress>();
    loud.context.m_stepProgress->m_reporter =
        std::make_unique<OndSDK::Common::IncrementalProgressReporter>(progress, "overall", 100, false);
    EXPECT_THROW(loud.Xml(), PackageWrite::Canceled);
}

TEST(MeshWrite, AnEmptyMeshWithProgressSplitsNothingAndWrites)
{
    BareMesh bare(std::make_unique<MStlBase>());
    auto progress = std::make_shared<OndSDK::Common::IProgressDelegate>();
    EXPECT_EQ("<mesh><vertices/><triangles/></mesh>\n", bare.Xml(progress));
    EXPECT_DOUBLE_EQ(1.0, progress->GetProgress());
}
