// The bounds of flattening: the limit over the whole build checked before
// anything is copied, copies that add nothing, and long chains.

#include "import/ImportSupport.h"
#include "import/SlicerReadSupport.h"

#include "format3mf/Exception.h"
#include "stl/BuildFlattening.h"

#include <gtest/gtest.h>

using namespace Format_3MF;
using namespace slicer;

namespace
{
// Each level places the one below `fan` times, side by side.
std::string FanOut(int levels, int fan)
{
    std::string resources = MeshObject(1, BoxMesh(1, 1, 1));
    for (int level = 2; level <= levels + 1; ++level)
    {
        std::string components;
        for (int copy = 0; copy < fan; ++copy)
        {
            components +=
                ComponentElement(level - 1, "", "1 0 0 0 1 0 0 0 1 " + std::to_string(2 * copy) + " 0 0");
        }
        resources += Assembly(level, components);
    }
    return Part(resources, Item(levels + 1));
}
} // namespace

// A trillion copies of an object without geometry add nothing and cost
// nothing; a million copies of a box at the end of a chain of 200
// components would cost 200 million steps, and are refused.
TEST(FlatteningLimits, FanOutWithinAndAboveTheLimit)
{
    std::string const limit = "The build places its objects more often than can be held: more than 134217728 "
                              "points, triangles, beams or placed objects.";
    std::string nothing = FanOut(12, 10);
    nothing.replace(nothing.find("<mesh>"), nothing.find("</mesh>") + 7 - nothing.find("<mesh>"), "");
    std::string chain = MeshObject(1, BoxMesh(1, 1, 1));
    for (int id = 2; id <= 206; ++id)
    {
        std::string ten;
        for (int copy = 0; copy < 10; ++copy)
        {
            ten += ComponentElement(id - 1);
        }
        chain += Assembly(id, id <= 200 ? ComponentElement(id - 1) : ten);
    }
    struct Case
    {
        char const* name;
        std::string model;
        std::string error;
        std::size_t points;
        std::size_t triangles;
    };
    Case const cases[] = {
        {"within", FanOut(5, 10), "", 800000, 1200000},
        {"above", FanOut(9, 10), limit, 0, 0},
        {"no geometry", nothing, "", 0, 0},
        {"long chains", Part(chain, Item(206)), limit, 0, 0},
    };
    PackageScratch scratch;
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::wstring const file = scratch.File(std::string(c.name) + ".3mf");
        WriteModelPackage(file, c.model);
        StlRead read(file);
        EXPECT_EQ(c.error, read.Error());
        EXPECT_EQ(c.error.empty(), read.ok);
        ASSERT_EQ(c.points == 0 ? 0u : 1u, read.meshes.size());
        if (c.points != 0)
        {
            EXPECT_EQ(c.points, read.meshes[0]->GetNumberOfPoints());
            EXPECT_EQ(c.triangles, read.meshes[0]->GetNumberOfTriangles());
        }
    }
}

// Two items of 12,000 triangles each: the limit counts both.
TEST(FlatteningLimits, TheLimitCountsEveryItem)
{
    PackageScratch scratch;
    std::wstring const two = scratch.File("two.3mf");
    std::string model = FanOut(3, 10);
    model.replace(model.find("</build>"), 0, Item(4));
    WriteModelPackage(two, model);
    StlRead read(two);
    ASSERT_TRUE(read.ok) << read.Error();
    std::vector<std::wstring> warnings;
    EXPECT_EQ(2u, FlattenBuild(read.model, 24000, warnings).size());
    EXPECT_THROW(FlattenBuild(read.model, 23999, warnings), Exception);
    EXPECT_TRUE(warnings.empty());
}
