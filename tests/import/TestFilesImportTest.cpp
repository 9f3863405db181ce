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
#include <tuple>
#include <vector>

namespace
{
// Per mesh its points, corners, colours and, per texture, its name and the
// coordinates of each of its triangles by triangle index.
using Textures = std::vector<std::pair<std::wstring, std::vector<std::array<float, 7>>>>;
using Imported =
    std::tuple<int, std::vector<std::wstring>,
               std::vector<std::tuple<PointList, TriangleList, std::vector<long long>, Textures>>>;

// The import of a file, with the bytes the readers took in plain form.
std::pair<Imported, std::int64_t> Import(boost::filesystem::path const& file, bool plain)
{
    MeshReadComparison::PlainContentSwitch const use(plain);
    std::int64_t const taken = OndSAX::PlainContentBytesTaken();
    std::vector<std::unique_ptr<MStlBase>> meshes;
    format3mf::import::Importer importer;
    importer.SetOutputParts(meshes);
    importer.SetFileName(file.wstring());
    Imported imported;
    std::get<0>(imported) = static_cast<int>(importer.Operate(nullptr));
    std::int64_t const plainBytes = OndSAX::PlainContentBytesTaken() - taken;
    std::get<1>(imported) = importer.GetErrors();
    for (auto const& stl : meshes)
    {
        Textures textures;
        for (MStlTexture const* texture : stl->GetTextures())
        {
            std::vector<std::array<float, 7>> corners;
            for (MStlTriangle const* triangle : texture->GetTriangles())
            {
                MStlTextureCoordinates c;
                texture->GetCoordinates(triangle, c, true);
                corners.push_back({static_cast<float>(triangle->GetIndex()), c.m_u1, c.m_v1, c.m_u2, c.m_v2,
                                   c.m_u3, c.m_v3});
            }
            std::sort(corners.begin(), corners.end());
            textures.emplace_back(texture->GetName(), std::move(corners));
        }
        std::get<2>(imported).emplace_back(PointsOf(*stl), TrianglesOf(*stl), ColoursOf(*stl), textures);
    }
    return {imported, plainBytes};
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
        auto const expected = Import(file, false);
        auto const plain = Import(file, true);
        EXPECT_TRUE(expected.first == plain.first) << file;
        EXPECT_EQ(0, expected.second) << file;
        plainBytes += plain.second;
    }
    EXPECT_GT(plainBytes, 0)
        << "the fast path took no byte of any file: the comparison compared expat with itself";
}
