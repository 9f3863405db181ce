// PrusaSlicer as the judge of a project the library edited: a project that
// PrusaSlicer made itself gets an object through format3mf::Project, and
// PrusaSlicer loads it and exports it again; project_oracle.py then looks for
// the object in what PrusaSlicer wrote, by its name.

#include "tools/ToolTestSupport.h"

#include "format3mf/Project.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

// An octahedron added with extruder 2 and its eight triangles painted in
// filaments 1, 2, 3, 4, 5, none, 2 and 1 comes back from PrusaSlicer under its
// name, with extruder 2 and each triangle in its filament (states 1 and 2
// and the extended codes of 3 to 5, decoded by the oracle).
TEST(PrusaSlicerJudge, KeepsAnAddedObjectsNameExtruderAndTriangleFilaments)
{
    // The command line exports without a display: no X server, no xvfb-run.
    if (RunCommand("command -v prusa-slicer >/dev/null").status != 0)
    {
        SKIP_OR_FAIL_MISSING("prusa-slicer (scripts/install-deps.sh installs it)");
    }
    std::string const sample = FORMAT3MF_TESTDATA "/samples/examples/core/box.3mf";
    if (!boost::filesystem::exists(sample))
    {
        SKIP_OR_FAIL_MISSING(sample);
    }
    PackageScratch scratch;
    std::string const made = Utf8(scratch.File("made.3mf"));
    std::string const ours = Utf8(scratch.File("ours.3mf"));
    std::string const judged = Utf8(scratch.File("judged.3mf"));
    auto const prusaSlicer = [](std::string const& in, std::string const& out)
    { return RunCommand("prusa-slicer --export-3mf -o " + Shell(out) + " " + Shell(in) + " 2>&1"); };
    CommandOutput const making = prusaSlicer(sample, made);
    ASSERT_EQ(0, making.status) << making.text;

    std::unique_ptr<format3mf::Project> const project = format3mf::Project::Open(made);
    ASSERT_EQ(format3mf::ProjectDialect::Prusa, project->Dialect());
    format3mf::ProjectMeshInput octahedron;
    octahedron.vertices = {10, 0, 10, -10, 0, 10, 0, 10, 10, 0, -10, 10, 0, 0, 20, 0, 0, 0};
    octahedron.triangles = {0, 2, 4, 2, 1, 4, 1, 3, 4, 3, 0, 4, 2, 0, 5, 1, 2, 5, 3, 1, 5, 0, 3, 5};
    octahedron.name = "painted octahedron";
    octahedron.extruder = 2;
    octahedron.triangleFilaments = {1, 2, 3, 4, 5, 0, 2, 1};
    project->AddObject(octahedron);
    project->Save(ours);

    CommandOutput const judging = prusaSlicer(ours, judged);
    ASSERT_EQ(0, judging.status) << judging.text;
    CommandOutput const checked =
        RunCommand(Oracle("judged " + Shell(judged) + " " + Shell(octahedron.name) + " 2 1,2,3,4,5,0,2,1"));
    EXPECT_EQ(0, checked.status) << checked.text;
    EXPECT_EQ("", checked.text);
}
