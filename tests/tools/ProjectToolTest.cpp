// ond3mf-project as its users run it: its arguments, and what show, edit and
// thumbnail make of the real projects beside the checkout, checked against
// project_oracle.py, which reads the packages with Python's standard library.

#include "tools/ToolTestSupport.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <fstream>
#include <string>
#include <vector>

namespace
{
// The real files by others, each with the dialect its settings and
// Application metadata make it (SOURCES.md names the writers).
struct RealFile
{
    char const* name;
    char const* dialect;
};

RealFile const kRealFiles[] = {
    {"3dbuilder-Win10.3mf", "plain"},
    {"bambu-multicolor-test-coin.3mf", "bambu"},
    {"bambu-painted-chest.3mf", "bambu"},
    {"cura-UMS5_frame.3mf", "plain"},
    {"cura-old-UM3E_Spacer_V2.3mf", "plain"},
    {"openscad-3d.3mf", "plain"},
    {"orcaslicer-modifierGroup.3mf", "orca"},
    {"orcaslicer-painted-cube.3mf", "orca"},
    {"prusaslicer-seam_test_object.3mf", "prusa"},
    {"qidi-flowrate-test-pass2.3mf", "qidi"},
    {"trimesh-pyramids.3mf", "plain"},
};
} // namespace

// A bad argument gives status 2, what was wrong first and then the usage; a
// file that can't be read or an edit that can't apply gives 1 and a message
// naming it. Either way nothing is written.
TEST(ProjectTool, RefusesBadArgumentsAndMissingFilesAndWritesNothing)
{
    PackageScratch scratch;
    std::string const torus = Shell(Utf8(scratch.File("torus.3mf")));
    ASSERT_EQ(0, RunCommand(Shell(OND3MF_TORUS) + " " + torus + " 8 8").status);
    std::string const out = Utf8(scratch.File("out.3mf"));
    std::string const png = Utf8(scratch.File("out.png"));
    std::string const missing = Utf8(scratch.File("missing.3mf"));
    struct Case
    {
        std::string arguments;
        int status;
        std::string says;
    };
    Case const cases[] = {
        {"", 2, "no command given; the commands are show, edit and thumbnail"},
        {"list " + torus, 2, "unknown command 'list'"},
        {"show", 2, "show takes FILE, got 0 file name(s)"},
        {"edit " + torus, 2, "edit takes IN and OUT, got 1 file name(s)"},
        {"show " + torus + " --plate 1", 2, "--plate applies to thumbnail only"},
        {"edit " + torus + " " + Shell(out) + " --json", 2, "--json applies to show only"},
        {"show " + torus + " --filament 1=#FF0000", 2, "apply to edit only"},
        {"edit " + torus + " " + Shell(out) + " --filament 1=red", 2, "--filament takes N=#RRGGBB"},
        {"edit " + torus + " " + Shell(out) + " --extruder 1/x=2", 2, "--extruder takes OBJECT=N"},
        {"edit " + torus + " " + Shell(out) + " --remove-object -3", 2, "an object's id, not '-3'"},
        {"edit " + torus + " " + Shell(out) + " --setting layer_height", 2, "--setting takes KEY=VALUE"},
        {"edit " + torus + " " + Shell(out) + " --add", 2, "--add needs a value"},
        {"thumbnail " + torus + " " + Shell(png) + " --plate 0", 2, "a plate's number from 1, not '0'"},
        {"show " + Shell(missing), 1, missing},
        {"edit " + Shell(missing) + " " + Shell(out), 1, missing},
        {"edit " + torus + " " + Shell(out) + " --remove-object 99", 1,
         "ond3mf-project: --remove-object 99: "},
        {"edit " + torus + " " + Shell(out) + " --add " + Shell(missing + ".stl:2"), 1, missing + ".stl"},
        {"thumbnail " + torus + " " + Shell(png), 1, "has no thumbnail"},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.arguments);
        Ran const ran = Project(c.arguments);
        EXPECT_EQ(c.status, ran.status) << ran.output;
        EXPECT_EQ(0u, ran.output.find("ond3mf-project: ")) << ran.output;
        EXPECT_NE(std::string::npos, ran.output.find(c.says)) << ran.output;
        EXPECT_EQ(c.status == 2, ran.output.find("usage: ond3mf-project") != std::string::npos) << ran.output;
        EXPECT_FALSE(boost::filesystem::exists(out));
        EXPECT_FALSE(boost::filesystem::exists(png));
    }
}

// show --json tells the dialect, the filaments' colours and types, the
// objects' names, the plates' objects and thumbnails and every entry with
// its sizes and CRC as the oracle reads them from the settings and the zip
// directory; the readable form opens with the file and its dialect.
TEST(ProjectTool, ShowOfEveryRealFileAgreesWithTheOracle)
{
    for (RealFile const& file : kRealFiles)
    {
        SCOPED_TRACE(file.name);
        REAL_FILE(path, file.name);
        CommandOutput const checked =
            RunCommand(Shell(OND3MF_PROJECT) + " show --json --quiet " + Shell(path) + " | " +
                       Oracle("check-show " + Shell(path) + " " + file.dialect));
        EXPECT_EQ(0, checked.status) << checked.text;
        EXPECT_EQ("", checked.text);
        Ran const readable = Project("show --quiet " + Shell(path));
        EXPECT_EQ(0, readable.status) << readable.output;
        EXPECT_EQ(0u, readable.output.find(path + ": " + file.dialect + " project")) << readable.output;
    }
}

// The image thumbnail writes is the entry the package's thumbnail
// relationship names (no --plate) or the plate's thumbnail_file of the model
// settings, byte for byte.
TEST(ProjectTool, ThumbnailWritesTheEntrysBytes)
{
    struct Case
    {
        char const* file;
        char const* plate;
    };
    Case const cases[] = {
        {"bambu-multicolor-test-coin.3mf", "0"},
        {"bambu-multicolor-test-coin.3mf", "1"},
        {"bambu-painted-chest.3mf", "1"},
        {"orcaslicer-modifierGroup.3mf", "0"},
        {"qidi-flowrate-test-pass2.3mf", "1"},
        {"prusaslicer-seam_test_object.3mf", "0"},
        {"3dbuilder-Win10.3mf", "0"},
    };
    PackageScratch scratch;
    std::string const png = Utf8(scratch.File("thumbnail.png"));
    for (Case const& c : cases)
    {
        SCOPED_TRACE(std::string(c.file) + " plate " + c.plate);
        REAL_FILE(path, c.file);
        std::string const plate = std::string(c.plate) == "0" ? "" : std::string(" --plate ") + c.plate;
        Ran const ran = Project("thumbnail --quiet " + Shell(path) + " " + Shell(png) + plate);
        ASSERT_EQ(0, ran.status) << ran.output;
        CommandOutput const checked =
            RunCommand(Oracle("thumbnail " + Shell(path) + " " + c.plate + " " + Shell(png)));
        EXPECT_EQ(0, checked.status) << checked.text;
        EXPECT_EQ("", checked.text);
    }
}

// edit without an edit copies every shared real file: the same entry names
// in the same order, each with the CRC, size and compressed size it had.
TEST(ProjectTool, EditWithoutEditsCopiesEveryRealFileLosslessly)
{
    std::vector<boost::filesystem::path> const files =
        TestDataFiles(boost::filesystem::path(FORMAT3MF_TESTDATA) / "realworld", false);
    if (files.empty())
    {
        SKIP_OR_FAIL_MISSING("the real files beside the checkout (../shared/testdata/realworld)");
    }
    PackageScratch scratch;
    std::string const copy = Utf8(scratch.File("copy.3mf"));
    for (boost::filesystem::path const& file : files)
    {
        SCOPED_TRACE(file.string());
        Ran const ran = Project("edit --quiet " + Shell(file.string()) + " " + Shell(copy));
        ASSERT_EQ(0, ran.status) << ran.output;
        CommandOutput const checked =
            RunCommand(Oracle("same-entries " + Shell(file.string()) + " " + Shell(copy)));
        EXPECT_EQ(0, checked.status) << checked.text;
        EXPECT_EQ("", checked.text);
    }
}

// The edits apply in the order given: filament 2 of the coin takes the
// second colour and keeps the first edit's type; an STL comes in as an
// object named by its file's stem, with the extruder after its colon; the cover
// image no edit touched keeps its bytes.
TEST(ProjectTool, EditsApplyInOrderAndAddAMeshFile)
{
    REAL_FILE(coin, "bambu-multicolor-test-coin.3mf");
    PackageScratch scratch;
    std::string const stl = Utf8(scratch.File("tetra.stl"));
    std::ofstream(stl)
        << "solid tetra\n"
           "facet normal 0 0 0\nouter loop\nvertex 0 0 0\nvertex 0 10 0\nvertex 10 0 0\nendloop\nendfacet\n"
           "facet normal 0 0 0\nouter loop\nvertex 0 0 0\nvertex 10 0 0\nvertex 0 0 10\nendloop\nendfacet\n"
           "facet normal 0 0 0\nouter loop\nvertex 10 0 0\nvertex 0 10 0\nvertex 0 0 10\nendloop\nendfacet\n"
           "facet normal 0 0 0\nouter loop\nvertex 0 0 0\nvertex 0 0 10\nvertex 0 10 0\nendloop\nendfacet\n"
           "endsolid tetra\n";
    std::string const out = Utf8(scratch.File("edited.3mf"));
    Ran const ran = Project("edit --quiet " + Shell(coin) + " " + Shell(out) +
                            " --filament 2=#FF0000:PETG --filament 2=#00FF00 --add " + Shell(stl + ":3"));
    ASSERT_EQ(0, ran.status) << ran.output;
    nlohmann::json const before = nlohmann::json::parse(RunCommand(Oracle("describe " + Shell(coin))).text);
    nlohmann::json const after = nlohmann::json::parse(RunCommand(Oracle("describe " + Shell(out))).text);
    nlohmann::json filaments = before["filaments"];
    filaments[1] = {"#00FF00", "PETG"};
    EXPECT_EQ(filaments, after["filaments"]);
    std::vector<nlohmann::json> added;
    for (auto const& [id, object] : after["objects"].items())
    {
        if (!before["objects"].contains(id))
        {
            added.push_back(object);
        }
    }
    // The scratch folder puts a prefix of its own before the name.
    std::string const stem = boost::filesystem::path(stl).stem().string();
    EXPECT_EQ(std::vector<nlohmann::json>{nlohmann::json({stem, "3"})}, added);
    auto const cover = [](nlohmann::json const& described)
    {
        for (nlohmann::json const& entry : described["entries"])
        {
            if (entry[0] == "Auxiliaries/.thumbnails/thumbnail_3mf.png")
            {
                return entry;
            }
        }
        return nlohmann::json();
    };
    EXPECT_FALSE(cover(before).is_null());
    EXPECT_EQ(cover(before), cover(after));
}
