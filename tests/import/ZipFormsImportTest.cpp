// Archives in the zip forms of other writers (zip64 records, data descriptors,
// stored entries, names outside ASCII, a name twice) import as the same
// package written plainly, and real files in those forms as an independent
// reading of their XML says.
#include "import/ImportSupport.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

namespace
{
// What ond3mf-info makes of a file, one line per mesh, without the file name.
std::vector<std::string> Meshes(boost::filesystem::path const& file)
{
    CommandOutput const output = RunCommand(Quoted(OND3MF_INFO) + " --tsv " + Quoted(file.string()));
    EXPECT_EQ(0, output.status) << output.text;
    std::vector<std::string> lines;
    for (std::string const& line : SplitLines(output.text))
    {
        lines.push_back(line.substr(line.find('\t') + 1));
    }
    return lines;
}
} // namespace

TEST(ZipFormsImport, EachFormImportsAsThePlainPackage)
{
    PackageScratch scratch;
    boost::filesystem::path const folder =
        boost::filesystem::path(StringConversion::ConvertNativeToUTF8(scratch.File("forms")));
    boost::filesystem::create_directories(folder);
    CommandOutput const made =
        RunCommand("python3 " + Quoted(FORMAT3MF_SOURCE_DIR "/tests/import/zip_forms.py") + " " +
                   Quoted(folder.string()));
    ASSERT_EQ(0, made.status) << made.text;
    std::vector<std::string> const forms = SplitLines(made.text);
    ASSERT_EQ(6u, forms.size()) << made.text;

    std::vector<std::string> const plain = Meshes(folder / "plain.3mf");
    ASSERT_EQ(1u, plain.size());
    // One box of 8 points and 12 triangles, from x 2.25 to 12.75 mm.
    EXPECT_EQ(0u, plain[0].rfind("0\t8\t12\t2.250\t0.000\t0.000\t12.750\t", 0)) << plain[0];
    for (std::string const& form : forms)
    {
        EXPECT_EQ(plain, Meshes(folder / form)) << form;
    }
    boost::filesystem::remove_all(folder);
}

// The real files that are in these forms and need nothing else of the reader.
TEST(ZipFormsImport, RealFilesMatchIndependentExpectations)
{
    boost::filesystem::path const folder = boost::filesystem::path(FORMAT3MF_TESTDATA) / "realworld";
    if (!boost::filesystem::exists(folder))
    {
        GTEST_SKIP() << "no real-world files beside the checkout (../shared/testdata/realworld)";
    }
    std::string names;
    for (char const* name : {"3dbuilder-Win10.3mf", "openscad-3d.3mf", "trimesh-pyramids.3mf",
                             "prusaslicer-seam_test_object.3mf", "cura-UMS5_frame.3mf"})
    {
        ASSERT_TRUE(boost::filesystem::exists(folder / name)) << name;
        names += " " + Quoted((folder / name).string());
    }
    CommandOutput const expected =
        RunCommand("python3 " + Quoted(FORMAT3MF_SOURCE_DIR "/tests/import/expected_meshes.py") + names);
    ASSERT_EQ(0, expected.status) << expected.text;
    CommandOutput const actual = RunCommand(Quoted(OND3MF_INFO) + " --tsv" + names);
    EXPECT_EQ(0, actual.status) << actual.text;

    std::vector<std::string> const want = SplitLines(expected.text);
    std::vector<std::string> const got = SplitLines(actual.text);
    ASSERT_EQ(want.size(), got.size()) << actual.text;
    for (std::size_t i = 0; i < want.size(); ++i)
    {
        ExpectSameLine(want[i], got[i]);
    }
}
