// Binary STL by hand: an 80-byte header, a 32-bit count, and per triangle a
// normal, three corners (twelve little-endian floats) and two spare bytes.
#include "StlBinary.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlIterators.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <stdexcept>

namespace format3mf::meshformats
{
namespace
{
constexpr std::size_t kRecord = 50;
constexpr std::size_t kBlock = 20000; // records a read: 1 MB
} // namespace

format3mf::WeldedSoup ReadBinaryStl(std::string const& path, std::uint32_t count, ReadOptions const& options)
{
    std::ifstream file(path, std::ios::binary);
    file.seekg(84);
    std::vector<char> block(kBlock * kRecord);
    format3mf::SoupWelder welder(options.weldMm);
    double corners[9];
    for (std::uint32_t done = 0; done < count;)
    {
        std::size_t const records = std::min<std::size_t>(kBlock, count - done);
        if (!file.read(block.data(), static_cast<std::streamsize>(records * kRecord)))
        {
            throw std::runtime_error(path + ": could not be read past triangle " + std::to_string(done));
        }
        for (std::size_t r = 0; r < records; ++r, ++done)
        {
            float values[9];
            std::memcpy(values, block.data() + r * kRecord + 12, sizeof values);
            for (int i = 0; i < 9; ++i)
            {
                if (!std::isfinite(values[i]))
                {
                    throw std::runtime_error(path + ": triangle " + std::to_string(done) +
                                             " has a coordinate that is not a finite number");
                }
                corners[i] = values[i] * options.unitMm;
            }
            try
            {
                welder.Add(corners);
            }
            catch (std::invalid_argument const& error)
            {
                throw std::runtime_error(path + ": " + error.what());
            }
        }
    }
    return welder.Finish();
}

void WriteBinaryStl(FileSink& sink, std::vector<MStlBase const*> const& meshes)
{
    std::uint64_t total = 0;
    for (MStlBase const* mesh : meshes)
    {
        total += mesh->GetNumberOfTriangles();
    }
    if (total > std::numeric_limits<std::uint32_t>::max())
    {
        throw sink.Failure(std::to_string(total) + " triangles are more than an STL can count");
    }
    char header[80] = "binary STL written by OndSDK.AM.3mf";
    sink.Write(header, sizeof header);
    auto const count = static_cast<std::uint32_t>(total);
    sink.Write(&count, 4);
    float const unit = static_cast<float>(OndSDK::Common::MInternalUnits::Get());
    for (MStlBase const* mesh : meshes)
    {
        for (auto triangle = mesh->BeginTriangle(), end = mesh->EndTriangle(); triangle != end; ++triangle)
        {
            float corner[3][3];
            for (int c = 0; c < 3; ++c)
            {
                MStlPoint const& point = mesh->PointAt(triangle->GetPointIndex(c));
                corner[c][0] = point.GetX() / unit;
                corner[c][1] = point.GetY() / unit;
                corner[c][2] = point.GetZ() / unit;
            }
            // The normal of the corners' order, as readers that trust it expect.
            float const u[3] = {corner[1][0] - corner[0][0], corner[1][1] - corner[0][1],
                                corner[1][2] - corner[0][2]};
            float const v[3] = {corner[2][0] - corner[0][0], corner[2][1] - corner[0][1],
                                corner[2][2] - corner[0][2]};
            float normal[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                               u[0] * v[1] - u[1] * v[0]};
            float const length =
                std::sqrt(normal[0] * normal[0] + normal[1] * normal[1] + normal[2] * normal[2]);
            for (float& n : normal)
            {
                n = length > 0 ? n / length : 0.0f;
            }
            char record[kRecord] = {};
            std::memcpy(record, normal, 12);
            std::memcpy(record + 12, corner, 36);
            sink.Write(record, kRecord);
        }
    }
}
} // namespace format3mf::meshformats
