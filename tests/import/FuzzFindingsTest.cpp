// Inputs that fuzzing once found to crash, hang or pass a bound, each written
// by its test, kept so that no later change brings the fault back. The
// four huge textures have a file of their own (TextureMemoryTest.cpp).
#include "import/ImportSupport.h"

#include "format3mf/Importer.h"

#include "triangles/MStlBase.h"

#include <gtest/gtest.h>

using format3mf::import::Importer;

namespace
{
std::string TriangleModel(std::string const& resources, std::string const& triangleAttributes)
{
    return R"(<model unit="millimeter" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02")"
           R"( xmlns:m="http://schemas.microsoft.com/3dmanufacturing/material/2015/02"><resources>)" +
           resources +
           R"(<object id="1"><mesh><vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/>)"
           R"(<vertex x="0" y="1" z="0"/></vertices><triangles><triangle v1="0" v2="1" v3="2" )" +
           triangleAttributes +
           R"(/></triangles></mesh></object></resources><build><item objectid="1"/>)"
           "</build></model>";
}
} // namespace

// A colour text too short for a colour ("#12") makes the colour decoder
// throw a bare int, which the importer passes to its caller as designed; the
// tool catches it and reports the file as failed, naming the code.
TEST(FuzzFindings, AShortColourTextReachesTheCallerAsAnInt)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("short-colour.3mf");
    WriteModelPackage(file, TriangleModel(R"(<m:colorgroup id="5"><m:color color="#12"/></m:colorgroup>)",
                                          R"(pid="5" p1="0")"));
    std::vector<std::unique_ptr<MStlBase>> parts;
    Importer importer;
    importer.SetOutputParts(parts);
    importer.SetFileName(file);
    EXPECT_THROW(importer.Operate(nullptr), int);
    EXPECT_TRUE(parts.empty());

    CommandOutput const output =
        RunCommand(Quoted(OND3MF_INFO) + " " + Quoted(StringConversion::ConvertNativeToUTF8(file)));
    EXPECT_NE(0, output.status);
    EXPECT_NE(std::string::npos, output.text.find("error code")) << output.text;
}
