// Every 3MF file beside the checkout imports as an independent reading of its
// XML says, and alike with mesh data in plain form and without; archives in
// the zip forms of other writers (zip64 records, data descriptors, stored
// entries, names outside ASCII, a name twice) import as the same package
// written plainly, and damaged ones fail naming cause and entry.
#include "import/ImportSupport.h"
#include "support/MeshDump.h"
#include "support/MeshReadComparison.h"
#include "support/Samples.h"

#include "format3mf/ImportFile.h"

#include "sax/PlainContent.h"

#include <gtest/gtest.h>

#include <array>
#include <boost/filesystem.hpp>
#include <fstream>
#include <tuple>

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
    Imported imported{static_cast<int>(importer.Operate(nullptr)), {}, {}};
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

// The packages of zip_forms.py, in a folder that goes with the test.
struct Forms
{
    PackageScratch scratch;
    boost::filesystem::path const folder =
        boost::filesystem::path(StringConversion::ConvertNativeToUTF8(scratch.File("forms")));
    std::vector<std::string> names;

    Forms()
    {
        boost::filesystem::create_directories(folder);
        CommandOutput const made =
            RunCommand("python3 " + Quoted(FORMAT3MF_SOURCE_DIR "/tests/import/zip_forms.py") + " " +
                       Quoted(folder.string()));
        EXPECT_EQ(0, made.status) << made.text;
        names = SplitLines(made.text);
    }
    ~Forms() { boost::filesystem::remove_all(folder); }
};

std::string const kModelName = "3D/W\xc3\xbcrfel_\xe6\xa8\xa1\xe5\x9e\x8b.model";

// Where the header of the model entry starts, local (PK 3 4, name at 30) or
// central (PK 1 2, name at 46).
std::size_t HeaderOf(std::string const& bytes, char kind)
{
    std::string const signature = std::string("PK") + kind + static_cast<char>(kind + 1);
    std::size_t const nameAt = kind == 3 ? 30 : 46;
    for (std::size_t at = bytes.find(signature); at != std::string::npos; at = bytes.find(signature, at + 1))
    {
        if (bytes.compare(at + nameAt, kModelName.size(), kModelName) == 0)
        {
            return at;
        }
    }
    ADD_FAILURE() << "no header of the model entry";
    return 0;
}
} // namespace

// The counts, boxes, colours and textures of every mesh are those that
// tests/import/expected_meshes.py gives (build and component transforms
// applied, units converted), slicers' projects included; and each file reads
// alike with mesh data in plain form and without.
TEST(TestFilesImport, MatchTheIndependentReadingAndAlikeWithPlainContent)
{
    auto const files = AllTestFiles();
    if (files.empty())
    {
        SKIP_OR_FAIL_MISSING("3MF files beside the checkout (../shared/testdata)");
    }
    std::vector<std::string> names;
    std::int64_t plainBytes = 0;
    for (auto const& file : files)
    {
        names.push_back(file.string());
        auto const expected = Import(file, false);
        auto const plain = Import(file, true);
        EXPECT_TRUE(expected.first == plain.first) << file;
        EXPECT_EQ(0, expected.second) << file;
        plainBytes += plain.second;
    }
    EXPECT_GT(plainBytes, 0)
        << "the fast path took no byte of any file: the comparison compared expat with itself";
    ExpectToolMatchesOracle(names);
}

// The plain package is read as an independent reading says, and every other
// form as the plain one; a damaged archive fails with a message that says
// what is wrong and where.
TEST(ZipFormsImport, EachFormImportsAsThePlainPackageAndDamageIsNamed)
{
    Forms const forms;
    ASSERT_EQ(6u, forms.names.size());
    std::string const plainFile = (forms.folder / "plain.3mf").string();
    ExpectToolMatchesOracle({plainFile});
    auto const plain = ImportMeshes(plainFile);
    ASSERT_EQ(1u, plain.size());
    for (std::string const& form : forms.names)
    {
        auto const meshes = ImportMeshes((forms.folder / form).string());
        ASSERT_EQ(1u, meshes.size()) << form;
        EXPECT_EQ(PointsOf(*plain[0]), PointsOf(*meshes[0])) << form;
        EXPECT_EQ(TrianglesOf(*plain[0]), TrianglesOf(*meshes[0])) << form;
    }
    std::ifstream file(plainFile, std::ios::binary);
    std::string const whole{std::istreambuf_iterator<char>(file), {}};
    struct Case
    {
        char const* what;
        // The byte of the model entry's local header that `bits` flip, and
        // the same field of its central header, two bytes further; without
        // bits, the archive cut to that many bytes, or no archive at all.
        std::size_t at;
        char bits;
        std::string message;
    };
    Case const cases[] = {
        {"crc", 14, 1, "CRC error in an entry: " + kModelName},
        {"method", 8, 4, "Unsupported compression method 12: " + kModelName},
        {"encrypted", 6, 1, "Encrypted entries are not supported: " + kModelName},
        {"truncated", whole.size() / 2, 0, "Could not open 3mf archive: Not a zip archive: "},
        {"no zip", 0, 0, "Could not open 3mf archive: Not a zip archive: "},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.what);
        std::string bytes = c.bits != 0 ? whole : c.at != 0 ? whole.substr(0, c.at) : "<model/>";
        if (c.bits != 0)
        {
            bytes[HeaderOf(bytes, 3) + c.at] ^= c.bits;
            bytes[HeaderOf(bytes, 1) + c.at + 2] ^= c.bits;
        }
        boost::filesystem::path const path = forms.folder / (std::string(c.what) + ".3mf");
        std::ofstream(path.string(), std::ios::binary) << bytes;

        format3mf::import::ImportResult const result = format3mf::import::ImportFile(path.string());
        EXPECT_NE(format3mf::import::Importer::Success, result.status);
        ASSERT_EQ(1u, result.errors.size());
        std::string const& error = result.errors[0];
        EXPECT_EQ(0u, error.rfind(c.message, 0)) << error;
    }
}
