// Real projects of Bambu Studio, OrcaSlicer and PrusaSlicer read as their
// makers see them: the expected parts, roles and colours are those their
// settings parts state (Metadata/model_settings.config, project_settings.config,
// Slic3r_PE_model.config), copied here by hand, and the parts cut the
// triangles of the independent reading of expected_meshes.py, in order, its
// painted triangles split into their leaves.

#include "project/ProjectTestSupport.h"

#include "support/Samples.h"

#include <gtest/gtest.h>

#include "format3mf/PartRole.h"

using Format_3MF::PartRole;

namespace
{
std::string Volume(int first, int last, char const* name, char const* type, int extruder)
{
    return "<volume firstid=\"" + std::to_string(first) + "\" lastid=\"" + std::to_string(last) +
           "\"><metadata type=\"volume\" key=\"name\" value=\"" + name +
           "\"/><metadata type=\"volume\" key=\"volume_type\" value=\"" + type +
           "\"/><metadata type=\"volume\" key=\"extruder\" value=\"" + std::to_string(extruder) +
           "\"/></volume>";
}

struct Part
{
    std::wstring name; // empty: not named by the settings
    PartRole role;
    std::map<std::string, std::size_t> colours; // triangles of each colour; empty: not stated
};

// Reads the project with the option: the parts in order, their triangles
// the oracle's one after the other (in the colours of their states, where
// `stateColours` gives them, as ExpectOracleTriangles takes them), and
// without the parts that are not printed, only the printable ones.
void ExpectParts(std::wstring const& file, std::vector<Part> const& parts,
                 std::vector<std::string> const& stateColours = {})
{
    auto const read = Import(file, true);
    ASSERT_EQ(format3mf::import::Importer::Success, read.status) << Messages(read.errors);
    EXPECT_EQ("", Messages(read.warnings));
    ASSERT_EQ(parts.size(), read.parts.size());
    std::vector<PartRole> printable;
    for (std::size_t i = 0; i < parts.size(); ++i)
    {
        SCOPED_TRACE(i);
        MStlBase const& mesh = *read.parts[i].mesh;
        EXPECT_TRUE(parts[i].name.empty() || parts[i].name == mesh.GetName());
        EXPECT_EQ(StringConversion::ConvertNativeToUTF8(mesh.GetName()), read.parts[i].name);
        EXPECT_EQ(parts[i].role, read.parts[i].role);
        EXPECT_TRUE(parts[i].colours.empty() || parts[i].colours == ColourCounts(mesh));
        if (parts[i].role == PartRole::Printable)
        {
            printable.push_back(PartRole::Printable);
        }
    }
    ExpectOracleTriangles(read.parts, file, stateColours);
    EXPECT_EQ(printable, RolesOf(Import(file, true, false)));
}
} // namespace

// Eight parts, each assigned a filament (extruders 1 2 2 3 4 1 4 3), with
// the colours that filament_colour lists for the five filaments: as the
// library reads them, as ond3mf-info names them, and as ond3mf-convert writes
// them as coloured triangles of standard 3MF, which a plain reading shows and
// the strict check of the published schemas passes.
TEST(RealProjects, CoinPartsTakeTheirFilamentsColoursInTheLibraryAndTheTools)
{
    REAL_PROJECT(file, "bambu-multicolor-test-coin.3mf");
    std::vector<std::string> const colours = {"#0000FF", "#FFFFFF", "#FFFFFF", "#8E9089",
                                              "#000000", "#0000FF", "#000000", "#8E9089"};
    std::vector<std::size_t> const faces = {1040, 1006, 1032, 1036, 1032, 1060, 1014, 1058};
    std::vector<Part> parts;
    for (std::size_t i = 0; i < 8; ++i)
    {
        parts.push_back(
            {L"part" + std::to_wstring(i + 1) + L".stl", PartRole::Printable, {{colours[i], faces[i]}}});
    }
    ExpectParts(file, parts);
    EXPECT_EQ(0u, ColourCounts(*Import(file, false).parts.at(0).mesh).count("#0000FF"));

    auto const quoted = [](std::string const& text) { return "'" + text + "'"; };
    std::string const coin = quoted(StringConversion::ConvertNativeToUTF8(file));
    CommandOutput const info = RunCommand(std::string(OND3MF_INFO) + " --project --tsv " + coin);
    ASSERT_EQ(0, info.status) << info.text;
    std::size_t lines = 0;
    for (std::size_t at = 0; at < info.text.size(); at = info.text.find('\n', at) + 1, ++lines)
    {
        std::string const line = info.text.substr(at, info.text.find('\n', at) - at);
        ASSERT_LT(lines, colours.size()) << info.text;
        EXPECT_NE(std::string::npos, line.find("\tprintable part\t" + colours[lines])) << line;
    }
    EXPECT_EQ(colours.size(), lines);

    PackageScratch scratch;
    std::wstring const out = scratch.File("coin.3mf");
    std::string const written = quoted(StringConversion::ConvertNativeToUTF8(out));
    CommandOutput const convert =
        RunCommand(std::string(OND3MF_CONVERT) + " --project --quiet " + coin + " " + written);
    ASSERT_EQ(0, convert.status) << convert.text;
    CommandOutput const checked = RunCommand(
        "python3 " + quoted(FORMAT3MF_SOURCE_DIR "/tests/export/check_written.py") + " " + written + " 2>&1");
    EXPECT_EQ(0, checked.status) << checked.text;
    auto const converted = Import(out, false);
    ASSERT_EQ(colours.size(), converted.parts.size()) << Messages(converted.errors);
    for (std::size_t i = 0; i < colours.size(); ++i)
    {
        EXPECT_EQ((std::map<std::string, std::size_t>{{colours[i], faces[i]}}),
                  ColourCounts(*converted.parts[i].mesh));
    }
}

// The cylinder of OrcaSlicer is a modifier, not printed; the chest of Bambu
// Studio has 12,505 triangles painted "8" (filament 2, #A6A9AA) and 6
// painted "4" (filament 1, the object's own #7D6556), whole triangles; the
// cube of OrcaSlicer is painted up to several levels deep in its four
// filaments, the object printing with the first, and its leaves lie where
// the oracle's own decoding of the paint puts them; the
// Benchy of PrusaSlicer gets volumes of every type and several extruders by
// a rewriting of its settings: it prints with extruder 2, whose extruder
// colour stands before its filament's, and volumes with extruder 0 take the
// object's.
TEST(RealProjects, PartsRolesAndColoursAsTheSettingsState)
{
    {
        REAL_PROJECT(file, "orcaslicer-modifierGroup.3mf");
        ExpectParts(file, {{L"", PartRole::Printable, {{"#FFFFFF", 12}}},
                           {L"Generic-Cylinder", PartRole::Modifier, {}}});
    }
    {
        REAL_PROJECT(file, "bambu-painted-chest.3mf");
        ExpectParts(file, {{L"", PartRole::Printable, {{"#7D6556", 87756 - 12505}, {"#A6A9AA", 12505}}}});
    }
    {
        REAL_PROJECT(file, "orcaslicer-painted-cube.3mf");
        ExpectParts(file, {{L"Cube", PartRole::Printable, {}}},
                    {"#FF9B00", "#FF9B00", "#02BF06", "#1800F2", "#EC0006"});
    }
    REAL_PROJECT(original, "prusaslicer-seam_test_object.3mf");
    PackageScratch scratch;
    std::wstring const file = scratch.File("volumes.3mf");
    // The object prints with extruder 2, whose extruder colour stands before
    // its filament's; volumes with extruder 0 take the object's.
    std::string const objects =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><config><object id=\"1\" instances_count=\"1\">"
        "<metadata type=\"object\" key=\"name\" value=\"Benchy\"/>"
        "<metadata type=\"object\" key=\"extruder\" value=\"2\"/>" +
        Volume(0, 99999, "Hull", "ModelPart", 0) + Volume(100000, 149999, "Hole", "NegativeVolume", 0) +
        Volume(150000, 169999, "Infill", "ParameterModifier", 1) +
        Volume(170000, 179999, "No support", "SupportBlocker", 0) +
        Volume(180000, 189999, "Support", "SupportEnforcer", 0) +
        Volume(190000, 225153, "Deck", "ModelPart", 3) + "</object></config>";
    std::string const settings = "; generated by PrusaSlicer\n; extruder_colour = \"\";\"#00FF00\";\"\"\n"
                                 "; filament_colour = #FF0000;#0000FF;#FFFF00\n";
    WriteModelPackage(
        file, EntryText(original, "3D/3dmodel.model"),
        {{"Metadata/Slic3r_PE_model.config", objects}, {"Metadata/Slic3r_PE.config", settings}});

    ExpectParts(file, {{L"Hull", PartRole::Printable, {{"#00FF00", 100000}}},
                       {L"Hole", PartRole::NegativeVolume, {{"none", 50000}}},
                       {L"Infill", PartRole::Modifier, {{"none", 20000}}},
                       {L"No support", PartRole::SupportBlocker, {{"none", 10000}}},
                       {L"Support", PartRole::SupportEnforcer, {{"none", 10000}}},
                       {L"Deck", PartRole::Printable, {{"#FFFF00", 35154}}}});
}

// Every file read with the option: as without it, and with the triangles
// over all its parts that the oracle counts, the leaves of painted triangles
// among them.
TEST(RealProjects, EveryFileReadsWithTheOption)
{
    std::vector<boost::filesystem::path> const files = AllTestFiles();
    if (files.empty())
    {
        SKIP_OR_FAIL_MISSING("sample and real-world files beside the checkout (../shared/testdata)");
    }
    std::string names;
    for (auto const& path : files)
    {
        names += " '" + path.string() + "'";
    }
    CommandOutput const oracle =
        RunCommand("python3 '" FORMAT3MF_SOURCE_DIR "/tests/import/expected_meshes.py' --paint" + names);
    // The triangles of each file: column 3 of each of its meshes' lines.
    std::map<std::string, std::size_t> expected;
    std::istringstream lines(oracle.text);
    for (std::string line; std::getline(lines, line);)
    {
        std::istringstream fields(line);
        std::string file;
        std::string index;
        std::size_t points = 0;
        std::size_t triangles = 0;
        std::getline(fields, file, '\t');
        fields >> index >> points >> triangles;
        expected[file] += triangles;
    }
    for (auto const& path : files)
    {
        SCOPED_TRACE(path.string());
        std::wstring const file = StringConversion::ConvertMultiByteStringToOndString(path.string());
        auto const plain = Import(file, false);
        auto const read = Import(file, true);
        EXPECT_EQ(plain.status, read.status) << Messages(read.errors);
        ASSERT_EQ(1u, expected.count(path.string())) << oracle.text;
        EXPECT_EQ(expected[path.string()], TotalTriangles(read.parts));
    }
}
