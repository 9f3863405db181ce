// The tools as their users call them: --help, --version, a bad option, bad
// torus figures, and ond3mf-info's JSON read back by Python's own json module.
#include "import/ImportSupport.h"

#include "format3mf/Version.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <fstream>

namespace
{
int ExitCode(CommandOutput const& output)
{
    return WIFEXITED(output.status) ? WEXITSTATUS(output.status) : -1;
}
} // namespace

TEST(ToolOptions, HelpVersionAndUnknownOptionsOfEveryTool)
{
    for (char const* tool : {OND3MF_INFO, OND3MF_CONVERT, OND3MF_TORUS})
    {
        SCOPED_TRACE(tool);
        std::string const program = boost::filesystem::path(tool).filename().string();
        for (char const* help : {"--help", "-h"})
        {
            // The usage goes to standard output, nothing to standard error.
            CommandOutput const output = RunCommand(Quoted(tool) + " " + help + " 2>/dev/null");
            EXPECT_EQ(0, ExitCode(output));
            EXPECT_EQ(0u, output.text.find("usage: " + program)) << output.text;
        }
        CommandOutput const version = RunCommand(Quoted(tool) + " --version");
        EXPECT_EQ(0, ExitCode(version));
        EXPECT_EQ(program + " (OndSDK.AM.3mf) " + format3mf::Version() + "\n", version.text);

        CommandOutput const unknown = RunCommand(Quoted(tool) + " --no-such-option 2>&1 >/dev/null");
        EXPECT_EQ(2, ExitCode(unknown));
        EXPECT_EQ(0u, unknown.text.find(program + ": unknown option '--no-such-option'")) << unknown.text;
        EXPECT_NE(std::string::npos, unknown.text.find("usage: " + program)) << unknown.text;
    }
    // Two segments around make no torus, and no file.
    PackageScratch scratch;
    std::string const torus = StringConversion::ConvertNativeToUTF8(scratch.File("t.3mf"));
    EXPECT_NE(0, ExitCode(RunCommand(Quoted(OND3MF_TORUS) + " " + Quoted(torus) + " 2 9 2>&1")));
    EXPECT_FALSE(boost::filesystem::exists(torus));
}

// One good file with a warning, one missing: the JSON holds both, with the
// good file's figures, the warning, and the missing file's error; standard
// error carries the warning unless --quiet.
TEST(ToolOptions, InfoJsonListsFilesMeshesErrorsAndWarnings)
{
    PackageScratch scratch;
    std::wstring const good = scratch.File("good.3mf");
    WriteModelPackage(
        good, R"(<model unit="millimeter" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02">)"
              R"(<resources><object id="1" name="tri"><mesh><vertices><vertex x="0" y="0" z="0"/>)"
              R"(<vertex x="2" y="0" z="0"/><vertex x="0" y="3" z="0"/></vertices><triangles>)"
              R"(<triangle v1="0" v2="1" v3="2"/></triangles></mesh></object></resources>)"
              R"(<build><item objectid="1"/><item objectid="7"/></build></model>)");
    std::string const goodName = StringConversion::ConvertNativeToUTF8(good);
    std::string const missing = StringConversion::ConvertNativeToUTF8(scratch.File("missing.3mf"));
    std::string const files = Quoted(goodName) + " " + Quoted(missing);

    std::string const check =
        "import json, sys\n"
        "d = json.load(sys.stdin)\n"
        "g, m = d['files']\n"
        "assert d['version'], d\n"
        "assert g['ok'] and g['status'] == 0 and g['errors'] == [], g\n"
        "assert len(g['meshes']) == 1, g\n"
        "mesh = g['meshes'][0]\n"
        "assert (mesh['vertices'], mesh['triangles'], mesh['beams']) == (3, 1, 0), mesh\n"
        "assert mesh['box'] == {'min': [0, 0, 0], 'max': [2, 3, 0]}, mesh\n"
        "assert len(g['warnings']) == 1 and 'build item' in g['warnings'][0], g\n"
        "assert not m['ok'] and m['status'] == 2 and m['meshes'] == [] and m['errors'], m\n"
        "print('checked')\n";
    std::string const script = StringConversion::ConvertNativeToUTF8(scratch.File("check.py"));
    std::ofstream(script) << check;
    CommandOutput const json = RunCommand(Quoted(OND3MF_INFO) + " --json --quiet " + files +
                                          " 2>/dev/null | python3 " + Quoted(script));
    EXPECT_EQ("checked\n", json.text);

    CommandOutput const loud = RunCommand(Quoted(OND3MF_INFO) + " " + Quoted(goodName) + " 2>&1 >/dev/null");
    EXPECT_EQ(0, ExitCode(loud));
    EXPECT_EQ(0u, loud.text.find(goodName + ": warning: A build item refers to")) << loud.text;
    CommandOutput const quiet =
        RunCommand(Quoted(OND3MF_INFO) + " --quiet " + Quoted(goodName) + " 2>&1 >/dev/null");
    EXPECT_EQ("", quiet.text);
}
