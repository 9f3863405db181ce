// An input that fuzzing once found to pass the memory bound, written by the
// test (the other findings are rows of ImporterTest's table of packages).
#include "import/ImportSupport.h"
#include "support/BlankPng.h"
#include "support/PeakMemory.h"

#include "format3mf/Importer.h"

#include "triangles/MStlBase.h"
#include "triangles/MStlTexture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include <boost/filesystem/operations.hpp>

using format3mf::import::Importer;

namespace
{
// Four textures of one 16384 x 16384 RGBA image each, every triangle of a
// tetrahedron showing one of them.
std::string FourTextureModel()
{
    std::string resources;
    std::string triangles;
    int const corners[4][3] = {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}};
    for (int i = 0; i < 4; ++i)
    {
        std::string const n = std::to_string(i);
        resources += R"(<m:texture2d id="1)" + n + R"(" path="/3D/Textures/)" + n +
                     R"(.png" contenttype="image/png"/><m:texture2dgroup id="2)" + n + R"(" texid="1)" + n +
                     R"("><m:tex2coord u="0" v="0"/><m:tex2coord u="1" v="0"/><m:tex2coord u="0" v="1"/>)"
                     "</m:texture2dgroup>";
        triangles += R"(<triangle v1=")" + std::to_string(corners[i][0]) + R"(" v2=")" +
                     std::to_string(corners[i][1]) + R"(" v3=")" + std::to_string(corners[i][2]) +
                     R"(" pid="2)" + n + R"(" p1="0" p2="1" p3="2"/>)";
    }
    return R"(<model unit="millimeter" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02")"
           R"( xmlns:m="http://schemas.microsoft.com/3dmanufacturing/material/2015/02"><resources>)" +
           resources +
           R"(<object id="1"><mesh><vertices><vertex x="0" y="0" z="0"/><vertex x="10" y="0" z="0"/>)"
           R"(<vertex x="0" y="10" z="0"/><vertex x="0" y="0" z="10"/></vertices><triangles>)" +
           triangles +
           R"(</triangles></mesh></object></resources><build><item objectid="1"/></build></model>)";
}

// What the import in the child process found, as its exit code.
enum ChildResult
{
    TexturesWithoutPixels = 0,
    ImportFailed = 1,
    WrongTextures = 2,
};

int ImportInChild(std::wstring const& file)
{
    std::vector<std::unique_ptr<MStlBase>> parts;
    Importer importer;
    importer.SetOutputParts(parts);
    importer.SetFileName(file);
    if (importer.Operate(nullptr) != Importer::Success || parts.size() != 1)
    {
        return ImportFailed;
    }
    std::vector<MStlTexture*> const& textures = parts[0]->GetTextures();
    bool const empty = textures.size() == 4 && std::all_of(textures.begin(), textures.end(),
                                                           [](auto* t) {
                                                               return t->GetSharedBitmap() != nullptr &&
                                                                      t->GetSharedBitmap()->IsEmpty();
                                                           });
    return empty ? TexturesWithoutPixels : WrongTextures;
}
} // namespace

// A small file that names huge textures: the import must stay within a
// bounded memory, whatever the images claim (once, four 16384 x 16384 images
// in a 9 KB package took 4.2 GB). Each image is over the budget of a package,
// so none is decoded and the geometry comes through. The import runs in a
// fresh process (this test program again, told so by its environment), which
// reads its own peak: a forked copy would count the pages of its parent.
TEST(FuzzFindings, FourHugeTexturesInATinyPackageStayWithinTheBound)
{
    if (char const* const child = std::getenv("OND3MF_IMPORT_IN_CHILD"))
    {
        int const result = ImportInChild(StringConversion::ConvertMultiByteStringToOndString(child));
        std::printf("result %d peak %zu\n", result, StatusKiB("VmHWM").value_or(0));
        return;
    }
    PackageScratch scratch;
    std::wstring const file = scratch.File("huge-textures.3mf");
    std::string const png = BlankPng::Make(16384, 16384, true);
    WriteModelPackage(file, FourTextureModel(),
                      {{"3D/Textures/0.png", png},
                       {"3D/Textures/1.png", png},
                       {"3D/Textures/2.png", png},
                       {"3D/Textures/3.png", png}});
    EXPECT_LT(boost::filesystem::file_size(StringConversion::ConvertNativeToUTF8(file)), 64u * 1024)
        << "the point is a small file";

    std::string const self = boost::filesystem::read_symlink("/proc/self/exe").string();
    CommandOutput const output = RunCommand(
        "OND3MF_IMPORT_IN_CHILD=" + Quoted(StringConversion::ConvertNativeToUTF8(file)) + " " + Quoted(self) +
        " --gtest_filter=FuzzFindings.FourHugeTexturesInATinyPackageStayWithinTheBound");
    int result = -1;
    std::size_t peakKiB = 0;
    std::size_t const at = output.text.find("result ");
    ASSERT_NE(std::string::npos, at) << output.text;
    ASSERT_EQ(2, std::sscanf(output.text.c_str() + at, "result %d peak %zu", &result, &peakKiB))
        << output.text;
    EXPECT_EQ(TexturesWithoutPixels, result);
    if (peakKiB == 0)
    {
        GTEST_SKIP() << "the peak resident memory can't be read here";
    }
    EXPECT_LT(peakKiB / 1024, 300u) << "peak resident memory of the import in MB";
    RecordProperty("peak_resident_MB", static_cast<int>(peakKiB / 1024));
}
