// The project as a whole: plates in their own coordinates, edits that fail
// leaving every entry as it was, and the package's content types and
// relationships following the entries that come and go.
#include "support/Prerequisites.h"

#include "format3mf/Project.h"

#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace
{
using format3mf::Project;
using format3mf::ProjectError;

std::filesystem::path RealProject(std::string const& name)
{
    return std::filesystem::path(FORMAT3MF_TESTDATA) / "realworld" / name;
}

#define OPEN_REAL(variable, name)                                                                            \
    if (!std::filesystem::exists(RealProject(name)))                                                         \
    {                                                                                                        \
        SKIP_OR_FAIL_MISSING(name << " beside the checkout (../shared/testdata/realworld)");                 \
    }                                                                                                        \
    std::unique_ptr<Project> variable = Project::Open(RealProject(name))

struct Scratch
{
    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("ond_project_test_" + std::to_string(getpid()));
    Scratch() { std::filesystem::create_directories(folder); }
    ~Scratch() { std::filesystem::remove_all(folder); }
};

struct Bounds
{
    double low[3] = {INFINITY, INFINITY, INFINITY};
    double high[3] = {-INFINITY, -INFINITY, -INFINITY};
};

Bounds BoundsOf(format3mf::import::ImportResult const& read)
{
    Bounds bounds;
    for (auto const& part : read.parts)
    {
        for (std::uint32_t i = 0; i < part.mesh->GetNumberOfPoints(); ++i)
        {
            MStlPoint const& point = part.mesh->PointAt(i);
            double const xyz[3] = {double(point.GetX()), double(point.GetY()), double(point.GetZ())};
            for (int axis = 0; axis < 3; ++axis)
            {
                bounds.low[axis] = std::min(bounds.low[axis], xyz[axis]);
                bounds.high[axis] = std::max(bounds.high[axis], xyz[axis]);
            }
        }
    }
    return bounds;
}

format3mf::ProjectMeshInput Triangle(std::vector<std::uint32_t> corners, std::vector<int> filaments = {},
                                     int plate = 1)
{
    format3mf::ProjectMeshInput mesh;
    mesh.vertices = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    mesh.triangles = std::move(corners);
    mesh.name = "t";
    mesh.triangleFilaments = std::move(filaments);
    mesh.plate = plate;
    return mesh;
}

std::string Replaced(std::string text, std::string const& from, std::string const& to)
{
    std::size_t const at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// The QIDI project places six objects on its one plate; the last of them
// (object 18, the build item "1 0 0 0 1 0 0 0 1 X Y Z" of the file) goes to
// a second plate, one plate and its gap (256 mm and a fifth) to the right, as
// the slicers lay plates out. On its plate it stands where it stood.
TEST(ProjectTest, PlatesGiveTheirObjectsInThePlatesOwnCoordinates)
{
    OPEN_REAL(original, "qidi-flowrate-test-pass2.3mf");
    Scratch const scratch;
    std::string settings = original->ReadEntry("Metadata/model_settings.config");
    std::size_t const instance = settings.rfind("    <model_instance>");
    std::size_t const instanceEnd = settings.find("</model_instance>", instance) + 18;
    std::string const moved = settings.substr(instance, instanceEnd - instance);
    ASSERT_NE(moved.find("\"18\""), std::string::npos);
    std::size_t const onFirst = original->Plates().at(0).items.size() - 1;
    settings.erase(instance, instanceEnd - instance);
    settings = Replaced(settings, "</config>",
                        "  <plate>\n    <metadata key=\"plater_id\" value=\"2\"/>\n" + moved +
                            "  </plate>\n</config>");
    std::string model = original->ReadEntry("3D/3dmodel.model");
    std::size_t const item = model.find("objectid=\"18\"", model.find("<build"));
    std::size_t const transform = model.find("transform=\"", item) + 11;
    std::string const placed = model.substr(transform, model.find('"', transform) - transform);
    double numbers[12];
    std::istringstream(placed) >> numbers[0] >> numbers[1] >> numbers[2] >> numbers[3] >> numbers[4] >>
        numbers[5] >> numbers[6] >> numbers[7] >> numbers[8] >> numbers[9] >> numbers[10] >> numbers[11];
    char shifted[200];
    std::snprintf(shifted, sizeof shifted, "1 0 0 0 1 0 0 0 1 %.9g %.9g %.9g", numbers[9] + 256 * 1.2,
                  numbers[10], numbers[11]);
    ASSERT_EQ(placed.substr(0, 18), "1 0 0 0 1 0 0 0 1 ");
    model.replace(transform, placed.size(), shifted);
    original->WriteEntry("Metadata/model_settings.config", settings);
    original->WriteEntry("3D/3dmodel.model", model);
    original->Save(scratch.folder / "two-plates.3mf");

    std::unique_ptr<Project> const project = Project::Open(scratch.folder / "two-plates.3mf");
    ASSERT_EQ(project->Plates().size(), 2u);
    EXPECT_EQ(project->Plates()[0].items.size(), onFirst);
    ASSERT_EQ(project->Plates()[1].items.size(), 1u);
    EXPECT_EQ(project->Plates()[1].items[0].objectId, 18);
    EXPECT_NEAR(project->Plates()[1].items[0].transform[9], numbers[9], 1e-6);
    EXPECT_NEAR(project->Plates()[1].originX, 307.2, 1e-9);

    std::unique_ptr<Project> const unmoved = Project::Open(RealProject("qidi-flowrate-test-pass2.3mf"));
    Bounds const expected = BoundsOf(unmoved->Meshes(0, 18));
    format3mf::import::ImportResult const plate = project->Meshes(2);
    ASSERT_EQ(plate.status, format3mf::import::Importer::Success);
    ASSERT_EQ(plate.parts.size(), 1u);
    Bounds const got = BoundsOf(plate);
    for (int axis = 0; axis < 3; ++axis)
    {
        EXPECT_NEAR(got.low[axis], expected.low[axis], 2.0) << axis;
        EXPECT_NEAR(got.high[axis], expected.high[axis], 2.0) << axis;
    }
    EXPECT_EQ(project->Meshes(1).parts.size(), unmoved->Meshes(1).parts.size() - 1);
    EXPECT_THROW(project->Meshes(3), ProjectError);
}

// Each edit that can't apply throws a message that names what is wrong, and
// leaves every entry as it was.
TEST(ProjectTest, AnEditThatFailsChangesNothing)
{
    OPEN_REAL(project, "bambu-multicolor-test-coin.3mf");
    std::string const png = std::string("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR", 16) + std::string(17, '\0');
    struct Case
    {
        char const* edit;
        std::function<void()> run;
        char const* named;
    };
    std::vector<Case> const cases = {
        {"filament beyond the list", [&] { project->SetFilament(9, std::string("#FF0000"), std::nullopt); },
         "9"},
        {"colour that is no colour", [&] { project->SetFilament(1, std::string("red"), std::nullopt); },
         "red"},
        {"extruder beyond the list", [&] { project->SetExtruder(9, 6); }, "6"},
        {"missing object", [&] { project->Rename(99, "x"); }, "99"},
        {"missing object removed", [&] { project->RemoveObject(99); }, "99"},
        {"thumbnail that is no PNG", [&] { project->SetThumbnail("GIF89a", 0); }, "PNG"},
        {"thumbnail of a missing plate", [&] { project->SetThumbnail(png, 4); }, "plate 4"},
        {"list for a value", [&] { project->SetSetting("layer_height", std::vector<std::string>{"0.2"}); },
         "layer_height"},
        {"missing entry removed", [&] { project->RemoveEntry("Metadata/none.png"); }, "Metadata/none.png"},
        {"root model removed", [&] { project->RemoveEntry("3D/3dmodel.model"); }, "3D/3dmodel.model"},
        {"mesh with a point beyond",
         [&] {
             project->AddObject(Triangle({0, 1, 3}));
         },
         "3 points"},
        {"triangle filament beyond",
         [&] {
             project->AddObject(Triangle({0, 1, 2}, {7}));
         },
         "7"},
        {"object on a missing plate",
         [&] {
             project->AddObject(Triangle({0, 1, 2}, {}, 2));
         },
         "plate 2"},
    };
    std::vector<format3mf::ProjectEntry> const before = project->Entries();
    for (Case const& test : cases)
    {
        try
        {
            test.run();
            ADD_FAILURE() << test.edit << ": no error";
        }
        catch (ProjectError const& error)
        {
            EXPECT_NE(std::string(error.what()).find(test.named), std::string::npos)
                << test.edit << ": " << error.what();
        }
        std::vector<format3mf::ProjectEntry> const after = project->Entries();
        ASSERT_EQ(after.size(), before.size()) << test.edit;
        for (std::size_t i = 0; i < after.size(); ++i)
        {
            EXPECT_EQ(after[i].name, before[i].name) << test.edit;
            EXPECT_FALSE(after[i].edited) << test.edit << ": " << after[i].name;
        }
    }
}

// New entries get a content type for their extension, and an entry that goes
// takes its relationships and content type override with it.
TEST(ProjectTest, ContentTypesAndRelationshipsFollowTheEntries)
{
    OPEN_REAL(project, "prusaslicer-seam_test_object.3mf");
    project->WriteEntry("Metadata/notes.txt", "printed twice");
    std::string const types = project->ReadEntry("[Content_Types].xml");
    EXPECT_NE(types.find("<Default Extension=\"txt\" ContentType=\"application/octet-stream\"/>"),
              std::string::npos)
        << types;
    project->WriteEntry("Metadata/more.txt", "and once more");
    EXPECT_EQ(project->ReadEntry("[Content_Types].xml"), types);

    ASSERT_TRUE(project->Thumbnail(0).has_value());
    project->RemoveEntry("Metadata/thumbnail.png");
    EXPECT_EQ(project->ReadEntry("_rels/.rels").find("thumbnail.png"), std::string::npos);
    EXPECT_FALSE(project->Thumbnail(0).has_value());
    EXPECT_FALSE(project->HasEntry("Metadata/thumbnail.png"));

    Scratch const scratch;
    std::filesystem::path const missing = scratch.folder / "no-such-folder" / "out.3mf";
    try
    {
        project->Save(missing);
        ADD_FAILURE() << "saved into a folder that does not exist";
    }
    catch (ProjectError const& error)
    {
        EXPECT_NE(std::string(error.what()).find(missing.string()), std::string::npos) << error.what();
    }
    EXPECT_FALSE(std::filesystem::exists(missing));
}
} // namespace
