// The tools with --project on the coin: ond3mf-info names each part's role
// and filament colour, and ond3mf-convert writes the printable parts as
// coloured triangles of standard 3MF, which a plain reading shows and the
// strict check of the published schemas passes.

#include "project/ProjectTestSupport.h"

#include <gtest/gtest.h>

namespace
{
std::string Quoted(std::string const& text)
{
    return "'" + text + "'";
}
} // namespace

TEST(ProjectTools, InfoAndConvertShowTheCoinsFilaments)
{
    REAL_PROJECT(file, "bambu-multicolor-test-coin.3mf");
    std::string const coin = StringConversion::ConvertNativeToUTF8(file);
    CommandOutput const info = RunCommand(std::string(OND3MF_INFO) + " --project --tsv " + Quoted(coin));
    ASSERT_EQ(0, info.status) << info.text;
    std::vector<std::string> const colours = {"#0000FF", "#FFFFFF", "#FFFFFF", "#8E9089",
                                              "#000000", "#0000FF", "#000000", "#8E9089"};
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
    std::string const written = StringConversion::ConvertNativeToUTF8(out);
    CommandOutput const convert = RunCommand(std::string(OND3MF_CONVERT) + " --project --quiet " +
                                             Quoted(coin) + " " + Quoted(written));
    ASSERT_EQ(0, convert.status) << convert.text;
    CommandOutput const checked =
        RunCommand("python3 " + Quoted(FORMAT3MF_SOURCE_DIR "/tests/export/check_written.py") + " " +
                   Quoted(written) + " 2>&1");
    EXPECT_EQ(0, checked.status) << checked.text;
    auto const read = Import(out, false);
    ASSERT_EQ(colours.size(), read.meshes.size()) << Messages(read.errors);
    for (std::size_t i = 0; i < colours.size(); ++i)
    {
        auto const counts = ColourCounts(*read.meshes[i]);
        ASSERT_EQ(1u, counts.size());
        EXPECT_EQ(colours[i], counts.begin()->first);
    }
}
