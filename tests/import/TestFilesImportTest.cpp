// Every 3MF file beside the checkout imports as an independent reading of its
// XML says, and alike with mesh data in plain form and without.
#include "import/ImportSupport.h"
#include "support/MeshDump.h"
#include "support/MeshReadComparison.h"
#include "support/Prerequisites.h"
#include "support/Samples.h"

#include "format3mf/Importer.h"

#include "sax/PlainContent.h"
#include "triangles/MStlBase.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <vector>

namespace
{
struct Part
{
    PointList points;
    TriangleList triangles;
    std::vector<long long> colors;
    // Per texture: its name, then the coordinates of each of its triangles,
    // by triangle index.
    std::vector<std::pair<std::wstring, std::vector<std::array<float, 7>>>> textures;

    bool operator==(Part const& other) const
    {
        return points == other.points && triangles == other.triangles && colors == other.colors &&
               textures == other.textures;
    }
};

struct Imported
{
    int status = -1;
    // What the readers took in plain form.
    std::int64_t plainBytes = 0;
    std::vector<std::wstring> errors;
    std::vector<Part> parts;

    bool operator==(Imported const& other) const
    {
        return status == other.status && errors == other.errors && parts == other.parts;
    }
};

Part Describe(MStlBase const& stl)
{
    Part part{PointsOf(stl), TrianglesOf(stl), ColoursOf(stl), {}};
    for (MStlTexture const* texture : stl.GetTextures())
    {
        std::vector<std::array<float, 7>> corners;
        for (MStlTriangle const* triangle : texture->GetTriangles())
        {
            MStlTextureCoordinates coordinates;
            texture->GetCoordinates(triangle, coordinates, true);
            corners.push_back({static_cast<float>(triangle->GetIndex()), coordinates.m_u1, coordinates.m_v1,
                               coordinates.m_u2, coordinates.m_v2, coordinates.m_u3, coordinates.m_v3});
        }
        std::sort(corners.begin(), corners.end());
        part.textures.emplace_back(texture->GetName(), std::move(corners));
    }
    return part;
}

Imported Import(boost::filesystem::path const& file, bool plain)
{
    MeshReadComparison::PlainContentSwitch const use(plain);
    std::int64_t const taken = OndSAX::PlainContentBytesTaken();
    std::vector<std::unique_ptr<MStlBase>> meshes;
    format3mf::import::Importer importer;
    importer.SetOutputParts(meshes);
    importer.SetFileName(file.wstring());
    Imported imported;
    imported.status = static_cast<int>(importer.Operate(nullptr));
    imported.plainBytes = OndSAX::PlainContentBytesTaken() - taken;
    imported.errors = importer.GetErrors();
    for (auto const& mesh : meshes)
    {
        imported.parts.push_back(Describe(*mesh));
    }
    return imported;
}

} // namespace

// The counts, boxes, colours and textures of every mesh are those that
// tests/import/expected_meshes.py gives (build and component transforms
// applied, units converted), slicers' projects included.
TEST(TestFilesImport, MatchTheIndependentReading)
{
    std::vector<std::string> names;
    for (auto const& file : AllTestFiles())
    {
        names.push_back(file.string());
    }
    if (names.empty())
    {
        SKIP_OR_FAIL_MISSING("3MF files beside the checkout (../shared/testdata)");
    }
    ExpectToolMatchesOracle(names);
}

TEST(TestFilesImport, AlikeWithAndWithoutPlainContent)
{
    auto const files = AllTestFiles();
    if (files.empty())
    {
        SKIP_OR_FAIL_MISSING("3MF files beside the checkout (../shared/testdata)");
    }
    std::int64_t plainBytes = 0;
    for (auto const& file : files)
    {
        Imported const expected = Import(file, false);
        Imported const plain = Import(file, true);
        EXPECT_TRUE(expected == plain) << file;
        EXPECT_EQ(0, expected.plainBytes) << file;
        plainBytes += plain.plainBytes;
    }
    EXPECT_GT(plainBytes, 0)
        << "the fast path took no byte of any file: the comparison compared expat with itself";
}
