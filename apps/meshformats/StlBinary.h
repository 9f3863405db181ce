// Binary STL read and written by hand: the format is 50 bytes a triangle,
// and going through assimp for it cost three times the time and memory of
// the rest of a conversion.
#pragma once

#include "FileSink.h"
#include "MeshFormats.h"

#include <cstdint>

namespace format3mf::meshformats
{
// Reads `count` records block by block straight into the welder; throws
// std::runtime_error naming the file and the triangle when a coordinate is
// not a finite number.
format3mf::WeldedSoup ReadBinaryStl(std::string const& path, std::uint32_t count, ReadOptions const& options);
// Throws as the sink does, and its Failure when the triangles are more than
// the format's 32-bit count.
void WriteBinaryStl(FileSink& sink, std::vector<MStlBase const*> const& meshes);
} // namespace format3mf::meshformats
