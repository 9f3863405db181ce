// The settings edits of slicer projects, text to text: small settings written
// here with outcomes worked out by hand, and the real projects beside the
// checkout, read back by nlohmann-json and by Python's xml.etree.
#include "slicerproject/ProjectEdits.h"

#include "support/Command.h"
#include "support/Prerequisites.h"

#include "common/StringConversion.h"
#include "zip/MZipArchive.h"
#include "zip/ReadBufferFromZip.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <boost/filesystem.hpp>

#include <fstream>
#include <functional>
#include <map>
#include <sstream>

namespace
{
using namespace format3mf;
using namespace format3mf::slicerproject;
using project::ConfigElement;
using Json = nlohmann::ordered_json;
using Strings = std::vector<std::string>;
using Edit = std::function<std::string(std::string const&)>;

// A real project's entry; empty when the project is not beside the checkout.
std::string RealEntry(std::string const& project, std::string const& entry)
{
    std::string const path = std::string(FORMAT3MF_TESTDATA) + "/realworld/" + project;
    std::string text;
    MZipArchive archive(false);
    if (boost::filesystem::exists(path) &&
        archive.OpenArchiveRead(StringConversion::ConvertMultiByteStringToOndString(path).c_str()))
    {
        ReadBufferFromZip buffer(&archive,
                                 StringConversion::ConvertMultiByteStringToOndString(entry).c_str());
        char chunk[65536];
        while (std::size_t const got = buffer.Read(chunk, sizeof chunk))
        {
            text.append(chunk, got);
        }
    }
    return text;
}

#define REAL_ENTRY(variable, project, entry)                                                                 \
    std::string const variable = RealEntry(project, entry);                                                  \
    if (variable.empty())                                                                                    \
    {                                                                                                        \
        SKIP_OR_FAIL_MISSING(project << " beside the checkout (../shared/testdata/realworld)");              \
    }

std::string const kBambu = R"({
    "filament_colour": ["#FF0000", "#00ff00"],
    "filament_type": ["PLA", "PETG"],
    "filament_self_index": ["1", "2"],
    "flush_volumes_matrix": ["0", "10", "20", "0"],
    "flush_volumes_vector": ["1", "2", "3", "4"],
    "different_settings_to_system": ["print", "f1", "f2", "printer"],
    "hot_plate_temp": ["55", "70"],
    "machine_max_speed_x": ["500", "200"],
    "layer_height": "0.2"
})";

TEST(SettingsEdits, EachBambuEditChangesWhatItNamesAndKeepsTheRest)
{
    struct Case
    {
        char const* what;
        Edit edit;
        // The settings that change, with their values after.
        std::vector<std::pair<std::string, Json>> changed;
    };
    std::vector<Case> const cases = {
        {"colour",
         [](auto& s) { return SetBambuFilament(s, 2, "#0000ff", std::nullopt); },
         {{"filament_colour", {"#FF0000", "#0000FF"}}}},
        {"type",
         [](auto& s) { return SetBambuFilament(s, 1, std::nullopt, "TPU"); },
         {{"filament_type", {"TPU", "PETG"}}}},
        // Between 2 and the new one the larger of 2's 10 and 20; the printer's
        // two machine limits stay.
        {"added filament",
         [](auto& s) { return AddBambuFilament(s, "#123456", "ABS", 2); },
         {{"filament_colour", {"#FF0000", "#00ff00", "#123456"}},
          {"filament_type", {"PLA", "PETG", "ABS"}},
          {"filament_self_index", {"1", "2", "3"}},
          {"flush_volumes_matrix", {"0", "10", "10", "20", "0", "20", "20", "20", "0"}},
          {"flush_volumes_vector", {"1", "2", "3", "4", "3", "4"}},
          {"different_settings_to_system", {"print", "f1", "f2", "f2", "printer"}},
          {"hot_plate_temp", {"55", "70", "70"}}}},
        {"value",
         [](auto& s) { return SetBambuSetting(s, "layer_height", "0.3"); },
         {{"layer_height", "0.3"}}},
        {"list",
         [](auto& s) {
             return SetBambuSetting(s, "hot_plate_temp", Strings{"60", "65"});
         },
         {{"hot_plate_temp", {"60", "65"}}}},
        {"new setting", [](auto& s) { return SetBambuSetting(s, "brim_width", "5"); }, {{"brim_width", "5"}}},
    };
    for (Case const& c : cases)
    {
        std::string const text = c.edit(kBambu);
        Json expected = Json::parse(kBambu);
        for (auto const& [key, value] : c.changed)
        {
            expected[key] = value;
        }
        EXPECT_EQ(expected.dump(4), text) << c.what << ": the keys in their order, four spaces of indent";
    }
}

// The real projects, each with lists that hold a value per filament and lists
// that hold as many values for the printer or the print.
TEST(SettingsEdits, RealBambuProjectsGainAFilamentInThePerFilamentListsAlone)
{
    struct Case
    {
        char const* project;
        std::size_t filaments;
        Strings grow;
        Strings keep;
    };
    std::vector<Case> const cases = {
        {"bambu-multicolor-test-coin.3mf",
         5,
         {"nozzle_temperature", "chamber_temperatures", "overhang_fan_speed"},
         {"upward_compatible_machine", "printable_area", "extruder_colour"}},
        {"bambu-painted-chest.3mf",
         2,
         {"hot_plate_temp", "counter_coef_1", "pressure_advance"},
         {"machine_max_speed_x", "start_end_points", "flush_multiplier"}},
        {"orcaslicer-modifierGroup.3mf",
         1,
         {"nozzle_temperature", "idle_temperature", "fan_max_speed"},
         {"nozzle_diameter", "retraction_length", "wiping_volumes_extruders"}},
        {"orcaslicer-painted-cube.3mf",
         4,
         {"required_nozzle_HRC", "textured_cool_plate_temp"},
         {"printable_area", "small_area_infill_flow_compensation_model"}},
        {"qidi-flowrate-test-pass2.3mf",
         1,
         {"chamber_temperatures", "slow_down_layer_time"},
         {"machine_max_speed_x", "z_hop", "retract_lift_above"}},
    };
    for (Case const& c : cases)
    {
        REAL_ENTRY(text, c.project, "Metadata/project_settings.config");
        Json const before = Json::parse(text);
        // Unedited, the text comes back byte for byte, line ends included.
        EXPECT_EQ(text, SetBambuSetting(text, "layer_height", before["layer_height"].get<std::string>()));
        Json const after = Json::parse(AddBambuFilament(text, "#123456", "PETG", 1));
        std::size_t const n = c.filaments;
        ASSERT_EQ(n, before["filament_colour"].size()) << c.project;
        EXPECT_EQ("#123456", after["filament_colour"][n]) << c.project;
        EXPECT_EQ("PETG", after["filament_type"][n]) << c.project;
        EXPECT_EQ((n + 1) * (n + 1), after["flush_volumes_matrix"].size()) << c.project;
        EXPECT_EQ(2 * (n + 1), after["flush_volumes_vector"].size()) << c.project;
        for (std::string const& key : c.grow)
        {
            EXPECT_EQ(before[key][0], after[key].at(n)) << c.project << " " << key << ": filament 1's";
        }
        for (std::string const& key : c.keep)
        {
            EXPECT_EQ(before[key], after[key]) << c.project << " " << key;
        }
        // Every other "filament_" list of N grows by filament 1's value; no
        // value that is not a list changes.
        Strings const own = {"filament_colour", "filament_type", "filament_self_index",
                             "filament_multi_colour"};
        for (auto const& [key, value] : before.items())
        {
            bool const filament = value.is_array() && value.size() == n && key.rfind("filament_", 0) == 0;
            if (filament && std::find(own.begin(), own.end(), key) == own.end())
            {
                EXPECT_EQ(value[0], after[key].back()) << c.project << " " << key;
            }
            EXPECT_TRUE(value.is_array() || value == after[key]) << c.project << " " << key;
        }
    }
}

std::string const kPrusa = "; generated by PrusaSlicer 2.8.0 on 2024-04-17 at 14:21:35 UTC\n"
                           "\n"
                           "; bed_temperature = 60,70\n"
                           "; compatible_printers_condition_cummulative = \"p\";\"f1\";\"f2\"\n"
                           "; extruder_colour = ;#00FF00\n"
                           "; filament_colour = #FF0000;#00FF00\n"
                           "; filament_settings_id = \"Generic PLA\";\"Generic PETG\"\n"
                           "; filament_type = PLA;PETG\n"
                           "; filament_vendor = Generic\n"
                           "; machine_max_feedrate_x = 200,100\n"
                           "; start_filament_gcode = \"M900 K0.05 ; PLA\";\"M900 K0.08\"\n"
                           "; temperature = 215,240\n"
                           "; travel_speed = 150\n"
                           "; wiping_volumes_extruders = 70,70,60,60\n"
                           "; wiping_volumes_matrix = 0,140,70,0\n";

// The "; key = value" lines of a text, each with its line end, by key; the
// other lines by their number.
std::map<std::string, std::string> LinesOf(std::string const& text)
{
    std::map<std::string, std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
    {
        std::size_t const equals = line.find(" = ");
        std::string const key =
            line.rfind("; ", 0) == 0 && equals != std::string::npos ? line.substr(2, equals - 2) : "#" + line;
        lines[key] = line.substr(equals == std::string::npos ? 0 : equals + 3) + (in.eof() ? "" : "\n");
    }
    return lines;
}

TEST(SettingsEdits, EachPrusaEditChangesItsLinesAndKeepsTheOthers)
{
    struct Case
    {
        char const* what;
        Edit edit;
        std::map<std::string, std::string> changed;
    };
    std::vector<Case> const cases = {
        {"colour and type",
         [](auto& s) { return SetPrusaFilament(s, 1, "#0000ff", "PLA+ HF"); },
         {{"filament_colour", "#0000FF;#00FF00"}, {"filament_type", "\"PLA+ HF\";PETG"}}},
        // A set extruder colour is what PrusaSlicer shows: it follows.
        {"colour",
         [](auto& s) { return SetPrusaFilament(s, 2, "#abcdef", std::nullopt); },
         {{"extruder_colour", ";#ABCDEF"}, {"filament_colour", "#FF0000;#ABCDEF"}}},
        // Between 2 and the new one the larger of 2's 70 and 140; the print's
        // travel speed and the machine limits' pair stay.
        {"added filament",
         [](auto& s) { return AddPrusaFilament(s, "#0000FF", "ASA", 2); },
         {{"bed_temperature", "60,70,70"},
          {"compatible_printers_condition_cummulative", "\"p\";\"f1\";\"f2\";\"f2\""},
          {"extruder_colour", ";#00FF00;#0000FF"},
          {"filament_colour", "#FF0000;#00FF00;#0000FF"},
          {"filament_settings_id", "\"Generic PLA\";\"Generic PETG\";\"Generic PETG\""},
          {"filament_type", "PLA;PETG;ASA"},
          {"start_filament_gcode", "\"M900 K0.05 ; PLA\";\"M900 K0.08\";\"M900 K0.08\""},
          {"temperature", "215,240,240"},
          {"wiping_volumes_extruders", "70,70,60,60,60,60"},
          {"wiping_volumes_matrix", "0,140,140,70,0,140,70,140,0"}}},
        {"value", [](auto& s) { return SetPrusaSetting(s, "travel_speed", "90"); }, {{"travel_speed", "90"}}},
    };
    for (Case const& c : cases)
    {
        std::string const text = c.edit(kPrusa);
        std::map<std::string, std::string> expected = LinesOf(kPrusa);
        for (auto const& [key, value] : c.changed)
        {
            expected[key] = value + "\n";
        }
        EXPECT_EQ(expected, LinesOf(text)) << c.what;
        EXPECT_EQ(kPrusa.substr(0, 64), text.substr(0, 64)) << c.what << ": the opening comment kept";
    }
    EXPECT_EQ(kPrusa + "; brim_width = 5\n", SetPrusaSetting(kPrusa, "brim_width", "5")) << "added last";
}

TEST(SettingsEdits, TheRealPrusaProjectGainsAnExtruder)
{
    REAL_ENTRY(text, "prusaslicer-seam_test_object.3mf", "Metadata/Slic3r_PE.config");
    // One extruder: every per-extruder value is a list of one, and so are
    // the print's and the printer's single values, which stay.
    std::map<std::string, std::string> const before = LinesOf(text);
    std::map<std::string, std::string> const after = LinesOf(AddPrusaFilament(text, "#00ff00", "PETG", 1));
    ASSERT_EQ(before.size(), after.size());
    std::map<std::string, std::string> const expected = {
        {"filament_colour", "#FF8000;#00FF00"},
        {"filament_type", "PLA;PETG"},
        {"extruder_colour", "\"\";\"\""},
        {"temperature", "225,225"},
        {"retract_length", "0.7,0.7"},
        {"extruder_offset", "0x0,0x0"},
        {"wiping_volumes_matrix", "0,140,140,0"},
        {"filament_vendor", "Prusa Polymers"},
        {"travel_speed", "300"},
        {"machine_max_feedrate_x", "300,160"},
    };
    for (auto const& [key, value] : expected)
    {
        EXPECT_EQ(value + "\n", after.at(key)) << key;
    }
}

std::string const kBambuTree = R"(<?xml version="1.0" encoding="UTF-8"?>
<config>
  <object id="2">
    <metadata key="name" value="Box"/>
    <metadata key="extruder" value="1"/>
    <part id="1" subtype="normal_part">
      <metadata key="name" value="Box part"/>
      <mesh_stat face_count="12"/>
    </part>
  </object>
  <object id="5">
    <metadata key="name" value="Lid"/>
    <part id="1" subtype="normal_part"/>
  </object>
  <plate>
    <model_instance><metadata key="object_id" value="2"/></model_instance>
    <model_instance><metadata key="object_id" value="5"/></model_instance>
  </plate>
  <assemble>
    <assemble_item object_id="2" instance_id="0"/>
    <assemble_item object_id="5" instance_id="0"/>
  </assemble>
</config>
)";

std::string const kPrusaTree = R"(<?xml version="1.0" encoding="UTF-8"?>
<config>
 <object id="1" instances_count="1">
  <metadata type="object" key="name" value="Benchy"/>
  <volume firstid="0" lastid="9">
   <metadata type="volume" key="name" value="hull"/>
  </volume>
  <volume firstid="10" lastid="19">
   <metadata type="volume" key="name" value="cabin"/>
   <metadata type="volume" key="extruder" value="1"/>
  </volume>
 </object>
</config>
)";

ConfigElement Tree(std::string const& text)
{
    ConfigElement tree;
    EXPECT_EQ("", project::ParseConfigXml(text, tree));
    return tree;
}

struct Scratch
{
    boost::filesystem::path folder =
        boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("project-edits-%%%%-%%%%");
    Scratch() { boost::filesystem::create_directories(folder); }
    ~Scratch() { boost::filesystem::remove_all(folder); }
    std::string Write(std::string const& name, std::string const& text) const
    {
        std::ofstream((folder / name).string(), std::ios::binary) << text;
        return " '" + (folder / name).string() + "'";
    }
};

// What config_tree.py says of the files (and paths, in double quotes).
std::string Oracle(std::string const& arguments)
{
    CommandOutput const said = RunCommand(
        "python3 '" FORMAT3MF_SOURCE_DIR "/tests/slicerproject/config_tree.py' " + arguments + " 2>&1");
    EXPECT_EQ(0, said.status) << said.text;
    return said.text;
}

TEST(ModelSettingsEdits, EachEditShowsInTheWrittenXml)
{
    struct Case
    {
        char const* what;
        std::string const& tree;
        std::function<void(ConfigElement&)> edit;
        // ElementTree paths, and what they find, a line each.
        std::string paths;
        std::string found;
    };
    std::vector<Case> const cases = {
        {"object's extruder", kBambuTree, [](auto& c) { SetObjectExtruder(c, 2, 3, std::nullopt); },
         "\"./object[@id='2']/metadata[@key='extruder']\"", "metadata{key=extruder,value=3}\n"},
        {"part's new extruder, after its metadata", kBambuTree,
         [](auto& c) { SetObjectExtruder(c, 2, 4, 1); }, "\"./object[@id='2']/part[@id='1']/*\"",
         "metadata{key=name,value=Box part} metadata{key=extruder,value=4} mesh_stat{face_count=12}\n"},
        {"object's new extruder, before its parts", kBambuTree,
         [](auto& c) { SetObjectExtruder(c, 5, 2, std::nullopt); }, "\"./object[@id='5']/*\"",
         "metadata{key=name,value=Lid} metadata{key=extruder,value=2} part{id=1,subtype=normal_part}\n"},
        {"name with what XML escapes", kBambuTree,
         [](auto& c) { RenameObject(c, 5, "Lid & <top> \"1\"\tx\n"); },
         "\"./object[@id='5']/metadata[@key='name']\"",
         "metadata{key=name,value=Lid & <top> \"1\"\\tx\\n}\n"},
        {"removed object", kBambuTree, [](auto& c) { RemoveObjectSettings(c, 2); },
         "./object .//model_instance/metadata .//assemble_item",
         "object{id=5}\nmetadata{key=object_id,value=5}\nassemble_item{object_id=5,instance_id=0}\n"},
        {"PrusaSlicer object's extruder", kPrusaTree,
         [](auto& c) { SetObjectExtruder(c, 1, 2, std::nullopt); }, "./object/metadata",
         "metadata{type=object,key=name,value=Benchy} metadata{type=object,key=extruder,value=2}\n"},
        {"PrusaSlicer volumes' extruders", kPrusaTree,
         [](auto& c)
         {
             SetObjectExtruder(c, 1, 3, 2);
             SetObjectExtruder(c, 1, 0, 1);
         },
         "\"./object/volume/metadata[@key='extruder']\"",
         "metadata{type=volume,key=extruder,value=0} metadata{type=volume,key=extruder,value=3}\n"},
    };
    Scratch const scratch;
    for (Case const& c : cases)
    {
        ConfigElement tree = Tree(c.tree);
        c.edit(tree);
        std::string const written = WriteConfigXml(tree);
        EXPECT_EQ(c.found, Oracle("find" + scratch.Write("edited.xml", written) + " " + c.paths))
            << c.what << "\n"
            << written;
    }
}

TEST(ModelSettingsEdits, RealModelSettingsAreWrittenBackAsTheSameTree)
{
    std::vector<std::pair<char const*, char const*>> const cases = {
        {"bambu-multicolor-test-coin.3mf", "Metadata/model_settings.config"},
        {"bambu-painted-chest.3mf", "Metadata/model_settings.config"},
        {"orcaslicer-modifierGroup.3mf", "Metadata/model_settings.config"},
        {"orcaslicer-painted-cube.3mf", "Metadata/model_settings.config"},
        {"qidi-flowrate-test-pass2.3mf", "Metadata/model_settings.config"},
        {"prusaslicer-seam_test_object.3mf", "Metadata/Slic3r_PE_model.config"},
    };
    Scratch const scratch;
    std::string files;
    for (auto const& [project, entry] : cases)
    {
        REAL_ENTRY(text, project, entry);
        std::string const written = WriteConfigXml(Tree(text));
        EXPECT_EQ(0u, written.rfind("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<config>\n  <", 0))
            << project;
        std::string const name = std::string(project) + ".xml";
        files += scratch.Write(name, text) + scratch.Write("written-" + name, written);
    }
    EXPECT_EQ("same\nsame\nsame\nsame\nsame\nsame\n", Oracle("same" + files));
}

TEST(ProjectEdits, EditsThatCantApplyNameWhatIsWrong)
{
    ConfigElement bambu = Tree(kBambuTree);
    ConfigElement prusa = Tree(kPrusaTree);
    ConfigElement control = Tree(kPrusaTree);
    control.children[0].attributes[0].second = "1\x02";
    std::vector<std::pair<std::function<void()>, Strings>> const cases = {
        {[] { SetBambuFilament(kBambu, 3, "#000000", std::nullopt); }, {"Filament 3", "2 filaments"}},
        {[] { SetBambuFilament(kBambu, 0, "#000000", std::nullopt); }, {"Filament 0", "2 filaments"}},
        {[] { SetBambuFilament(kBambu, 1, "#12345", std::nullopt); }, {"\"#12345\"", "#RRGGBB"}},
        {[] { SetBambuFilament(kBambu, 1, std::nullopt, ""); }, {"Filament 1", "empty type"}},
        {[] { AddBambuFilament(kBambu, "#000000", std::nullopt, 4); }, {"copy", "4", "2 filaments"}},
        {[] { SetBambuSetting(kBambu, "hot_plate_temp", "60"); }, {"\"hot_plate_temp\"", "holds a list"}},
        {[] { SetBambuSetting(kBambu, "layer_height", Strings{"1"}); },
         {"\"layer_height\"", "holds a value"}},
        {[] { SetBambuSetting("[1, 2", "layer_height", "0.3"); }, {"project_settings.config", "not a JSON"}},
        {[] { SetBambuFilament("{}", 1, "#000000", std::nullopt); }, {"\"filament_colour\""}},
        {[] { SetPrusaFilament(kPrusa, 3, "#000000", std::nullopt); }, {"Filament 3", "2 filaments"}},
        {[] { SetPrusaFilament(kPrusa, 1, "#GG0000", std::nullopt); }, {"\"#GG0000\""}},
        {[] { AddPrusaFilament(kPrusa, "#000000", std::nullopt, 0); }, {"copy", "0", "2 filaments"}},
        {[] { SetPrusaSetting(kPrusa, "a=b", "1"); }, {"\"a=b\""}},
        {[] { SetPrusaSetting(kPrusa, "start_gcode", "G28\nG1"); }, {"\"start_gcode\"", "line break"}},
        {[] { SetPrusaFilament("; layer_height = 0.2\n", 1, "#000000", std::nullopt); },
         {"\"filament_colour\""}},
        {[&] { SetObjectExtruder(bambu, 7, 1, std::nullopt); }, {"object 7"}},
        {[&] { RemoveObjectSettings(bambu, 7); }, {"object 7"}},
        {[&] { SetObjectExtruder(bambu, 2, 1, 9); }, {"Object 2", "part 9"}},
        {[&] { SetObjectExtruder(prusa, 1, 1, 3); }, {"Object 1", "volume 3", "has 2"}},
        {[&] { SetObjectExtruder(bambu, 2, 0, std::nullopt); }, {"Extruder 0", "object 2"}},
        {[&] { RenameObject(bambu, 2, "a\x01"); }, {"object 2", "U+0001"}},
        {[&] { WriteConfigXml(control); }, {"\"id\"", "<object>", "U+0002"}},
    };
    for (auto const& [edit, names] : cases)
    {
        std::string message;
        try
        {
            edit();
        }
        catch (ProjectError const& error)
        {
            message = error.what();
        }
        ASSERT_FALSE(message.empty()) << "no error for an edit that can't apply, which names " << names[0];
        for (std::string const& name : names)
        {
            EXPECT_NE(std::string::npos, message.find(name)) << message << " doesn't name " << name;
        }
    }
    EXPECT_EQ(WriteConfigXml(Tree(kBambuTree)), WriteConfigXml(bambu)) << "a failed edit changed the tree";
}
} // namespace
