// The beam lattice samples: every beam imports with the ends, diameters and
// caps that an independent reading of the XML gives, and survives
// ond3mf-convert in each dialect and across dialects with what that dialect
// can carry.
#include "beamlattice/BeamTestSupport.h"
#include "import/ImportSupport.h"
#include "support/Prerequisites.h"
#include "support/Samples.h"

#include "format3mf/Importer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

namespace
{
std::vector<std::vector<Beam>> BeamsOf(std::vector<std::unique_ptr<MStlBase>> const& meshes)
{
    std::vector<std::vector<Beam>> beams;
    for (auto const& mesh : meshes)
    {
        beams.push_back(Beams(*mesh));
    }
    return beams;
}

// A file written in millimetres says minlength="1" in internal units, which
// reads as one millimetre: beams shorter than that are dropped on reading.
std::vector<Beam> AtLeastAMillimetre(MStlBase const& mesh, std::vector<Beam> beams)
{
    std::vector<Beam> kept;
    for (Beam const& beam : beams)
    {
        MStlPoint const& a = mesh.PointAt(beam.v1);
        MStlPoint const& b = mesh.PointAt(beam.v2);
        double const dx = double(a.GetX()) - b.GetX();
        double const dy = double(a.GetY()) - b.GetY();
        double const dz = double(a.GetZ()) - b.GetZ();
        if (std::sqrt(dx * dx + dy * dy + dz * dz) >= 10000.0)
        {
            kept.push_back(beam);
        }
    }
    return kept;
}

// The vendor dialect carries one radius per beam and no caps.
std::vector<Beam> AsVendor(std::vector<Beam> beams, int cap)
{
    for (Beam& beam : beams)
    {
        beam.d2 = beam.d1;
        beam.cap1 = beam.cap2 = cap;
    }
    return beams;
}

std::string Convert(std::string const& in, std::string const& out, std::string const& dialect)
{
    CommandOutput const output = RunCommand(Quoted(OND3MF_CONVERT) + " --beams=" + dialect + " " +
                                            Quoted(in) + " " + Quoted(out) + " 2>&1");
    EXPECT_EQ(0, output.status) << output.text;
    return out;
}

// The beam elements of each namespace in the written root model, counted by
// Python's XML reader.
std::string CountBeamElements(std::string const& file)
{
    return RunCommand("python3 -c \"import sys,zipfile,xml.etree.ElementTree as E\n"
                      "m=E.fromstring(zipfile.ZipFile(sys.argv[1]).read('3D/3dmodel.model'))\n"
                      "p='{http://schemas.microsoft.com/3dmanufacturing/beamlattice/2017/02}beam'\n"
                      "v='{http://schemas.ondsdk.com/3dmanufacturing/beamlattice/2017/02}beam'\n"
                      "print(len(list(m.iter(p))), len(list(m.iter(v))))\" " +
                      Quoted(file))
        .text;
}
} // namespace

TEST(BeamLatticeSamples, BeamsMatchIndependentExpectations)
{
    auto const files = Samples("examples/beamlattice");
    if (files.empty())
    {
        SKIP_OR_FAIL_MISSING("beam lattice samples beside the checkout (../shared/testdata)");
    }
    for (auto const& file : files)
    {
        SCOPED_TRACE(file.string());
        CommandOutput const expected =
            RunCommand("python3 " + Quoted(FORMAT3MF_SOURCE_DIR "/tests/import/expected_meshes.py") +
                       " --beams " + Quoted(file.string()));
        ASSERT_EQ(0, expected.status) << expected.text;
        auto const meshes = ImportMeshes(file.string());
        std::ostringstream actual;
        std::size_t total = 0;
        for (std::size_t i = 0; i < meshes.size(); ++i)
        {
            for (Beam const& beam : Beams(*meshes[i]))
            {
                actual << file.string() << '\t' << i << '\t' << beam.v1 << '\t' << beam.v2 << '\t' << beam.d1
                       << '\t' << beam.d2 << '\t' << beam.cap1 << '\t' << beam.cap2 << '\n';
                ++total;
            }
        }
        EXPECT_GT(total, 100u) << "a sample of lattices has beams";
        std::vector<std::string> const want = SplitLines(expected.text);
        std::vector<std::string> const got = SplitLines(actual.str());
        ASSERT_EQ(want.size(), got.size());
        for (std::size_t i = 0; i < want.size(); ++i)
        {
            ASSERT_EQ(want[i], got[i]) << "beam line " << i;
        }
    }
}

// Published in, then out in each dialect and in again; and across: the
// vendor file read and written in the published dialect once more.
TEST(BeamLatticeSamples, RoundTripsInEachDialectAndAcross)
{
    auto const files = Samples("examples/beamlattice");
    if (files.empty())
    {
        SKIP_OR_FAIL_MISSING("beam lattice samples beside the checkout (../shared/testdata)");
    }
    PackageScratch scratch;
    auto const path = [&](char const* name)
    { return StringConversion::ConvertNativeToUTF8(scratch.File(name)); };
    for (auto const& file : files)
    {
        SCOPED_TRACE(file.string());
        auto const original = ImportMeshes(file.string());
        std::string const published = Convert(file.string(), path("published.3mf"), "published");
        std::string const vendor = Convert(file.string(), path("vendor.3mf"), "vendor");
        std::string const across = Convert(vendor, path("across.3mf"), "published");
        std::string const none = Convert(file.string(), path("none.3mf"), "none");

        std::size_t beams = 0;
        std::vector<std::vector<Beam>> viaPublished;
        std::vector<std::vector<Beam>> viaVendor;
        std::vector<std::vector<Beam>> viaBoth;
        for (auto const& mesh : original)
        {
            std::vector<Beam> const all = Beams(*mesh);
            beams += all.size();
            viaPublished.push_back(AtLeastAMillimetre(*mesh, all));
            viaVendor.push_back(AsVendor(all, 0));
            // Published out writes the unset default cap as a hemisphere.
            viaBoth.push_back(AsVendor(AtLeastAMillimetre(*mesh, all), 1));
        }
        EXPECT_EQ(viaPublished, BeamsOf(ImportMeshes(published)));
        EXPECT_EQ(viaVendor, BeamsOf(ImportMeshes(vendor)));
        EXPECT_EQ(viaBoth, BeamsOf(ImportMeshes(across)));
        auto const plain = ImportMeshes(none);
        ASSERT_EQ(original.size(), plain.size());
        for (std::size_t i = 0; i < plain.size(); ++i)
        {
            EXPECT_EQ(0u, plain[i]->GetFeature().GetNumEdges());
            EXPECT_EQ(original[i]->GetNumberOfPoints(), plain[i]->GetNumberOfPoints());
            EXPECT_EQ(original[i]->GetNumberOfTriangles(), plain[i]->GetNumberOfTriangles());
        }
        EXPECT_EQ("0 " + std::to_string(beams) + "\n", CountBeamElements(vendor));
        EXPECT_EQ("0 0\n", CountBeamElements(none));
    }
}
