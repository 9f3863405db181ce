// Reading STL, OBJ, PLY and OFF through assimp into a welded mesh. What a
// file claims in its header is checked against its size before assimp sees
// it, so that a count in a small file never turns into memory.
#include "MeshFormats.h"
#include "StlBinary.h"

#include <assimp/Importer.hpp>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace format3mf::meshformats
{
namespace
{
[[noreturn]] void Fail(std::string const& path, std::string const& problem)
{
    throw std::runtime_error(path + ": " + problem);
}

std::string Head(std::string const& path, std::size_t size)
{
    std::ifstream file(path, std::ios::binary);
    std::string head(size, '\0');
    file.read(&head[0], static_cast<std::streamsize>(size));
    head.resize(static_cast<std::size_t>(file.gcount()));
    return head;
}

std::uint64_t SizeOf(std::string const& path)
{
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file)
    {
        Fail(path, "cannot be opened");
    }
    return static_cast<std::uint64_t>(file.tellg());
}

// A binary STL is an 80-byte header, a 32-bit count and 50 bytes a triangle;
// bytes after the last triangle are left alone, as most readers do. A text
// STL begins with "solid" and ends with "endsolid". Some binary headers begin
// with "solid" too: a file long enough for the triangles its count claims is
// binary, since the count bytes of a text STL are characters that claim
// gigabytes. Gives the count of a binary one and how many bytes follow its
// triangles, or -1 for text.
std::int64_t CheckStl(std::string const& path, std::uint64_t size, std::uint64_t& trailing)
{
    std::string const head = Head(path, 84);
    bool const solid = head.compare(0, 5, "solid") == 0;
    if (size >= 84)
    {
        std::uint32_t count = 0;
        std::memcpy(&count, head.data() + 80, 4);
        std::uint64_t const needed = 84 + 50 * std::uint64_t(count);
        if (size >= needed)
        {
            trailing = size - needed;
            return count;
        }
        if (!solid)
        {
            Fail(path, "binary STL claims " + std::to_string(count) + " triangles, which take " +
                           std::to_string(needed) + " bytes, but the file has " + std::to_string(size));
        }
    }
    if (!solid)
    {
        Fail(path, "is neither a binary STL (too short) nor a text STL (no \"solid\")");
    }
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(size > 256 ? size - 256 : 0));
    std::string tail((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (tail.find("endsolid") == std::string::npos)
    {
        Fail(path, "text STL is cut short: it does not end with \"endsolid\"");
    }
    return -1;
}

// Adds the bytes that `count` records of at least `bytes` each take; false
// when that passes what 64 bits count, which no file holds.
bool AddRecords(std::uint64_t& total, std::uint64_t count, std::uint64_t bytes)
{
    std::uint64_t records = 0;
    return !__builtin_mul_overflow(count, bytes, &records) && !__builtin_add_overflow(total, records, &total);
}

// The element counts of a PLY or OFF header against the bytes the file has,
// so that assimp never makes room for more than the file holds: a vertex
// takes at least 6 bytes of text or 12 of binary, a face 8 or 13, a record of
// any other element 1.
void CheckCounts(std::string const& path, std::uint64_t size, Format format)
{
    std::istringstream header(Head(path, 4096));
    std::string line;
    std::uint64_t vertices = 0;
    std::uint64_t faces = 0;
    std::uint64_t least = 0;
    bool fits = true;
    bool binary = false;
    if (format == Format::Off)
    {
        std::getline(header, line);
        if (line.compare(0, 3, "OFF") != 0)
        {
            Fail(path, "is no OFF file: it does not begin with \"OFF\"");
        }
        std::string counts = line.substr(3);
        while (counts.find_first_not_of(" \t\r") == std::string::npos && std::getline(header, counts))
        {
            if (!counts.empty() && counts[0] == '#')
            {
                counts.clear();
            }
        }
        if (!(std::istringstream(counts) >> vertices >> faces))
        {
            Fail(path,
                 "OFF header does not give its vertex and face counts as whole numbers: \"" + counts + "\"");
        }
    }
    else
    {
        while (std::getline(header, line) && line.compare(0, 10, "end_header") != 0)
        {
            std::istringstream words(line);
            std::string word, kind;
            std::uint64_t count = 0;
            words >> word;
            if (word == "format")
            {
                words >> kind;
                binary = kind.find("binary") != std::string::npos;
            }
            else if (word == "element")
            {
                if (!(words >> kind >> count))
                {
                    Fail(path, "PLY header line \"" + line + "\" gives no count a file can hold");
                }
                if (kind == "vertex")
                {
                    vertices = count;
                }
                else if (kind == "face")
                {
                    faces = count;
                }
                else
                {
                    fits = fits && AddRecords(least, count, 1);
                }
            }
        }
    }
    fits = fits && AddRecords(least, vertices, binary ? 12 : 6) && AddRecords(least, faces, binary ? 13 : 8);
    if (!fits || least > size)
    {
        Fail(path, "header claims " + std::to_string(vertices) + " vertices and " + std::to_string(faces) +
                       " faces, more than its " + std::to_string(size) + " bytes can hold");
    }
}

void Noted(std::string const& path, ReadResult& result)
{
    if (result.mesh.mesh->GetNumberOfTriangles() == 0)
    {
        Fail(path, "holds no triangles");
    }
    if (result.mesh.degenerate != 0)
    {
        result.notes.push_back(path + ": " + std::to_string(result.mesh.degenerate) +
                               " degenerate triangles (two corners in one place) were dropped");
    }
}

std::uint32_t Packed(aiColor4D const& color)
{
    auto const byte = [](float value)
    { return static_cast<std::uint32_t>(std::lround(std::fmin(1.0f, std::fmax(0.0f, value)) * 255.0f)); };
    return byte(color.r) | (byte(color.g) << 8) | (byte(color.b) << 16);
}

// The diffuse colour a material file gave, or none for assimp's default.
bool MaterialColor(aiScene const& scene, aiMesh const& mesh, std::uint32_t& rgb)
{
    if (mesh.mMaterialIndex >= scene.mNumMaterials)
    {
        return false;
    }
    aiMaterial const* const material = scene.mMaterials[mesh.mMaterialIndex];
    aiString name;
    aiColor4D diffuse;
    if (material->Get(AI_MATKEY_NAME, name) != AI_SUCCESS ||
        std::strcmp(name.C_Str(), AI_DEFAULT_MATERIAL_NAME) == 0 ||
        material->Get(AI_MATKEY_COLOR_DIFFUSE, diffuse) != AI_SUCCESS)
    {
        return false;
    }
    rgb = Packed(diffuse);
    return true;
}
} // namespace

ReadResult ReadMeshFile(std::string const& path, Format format, ReadOptions const& options)
{
    std::uint64_t const size = SizeOf(path);
    if (size == 0)
    {
        Fail(path, "is empty");
    }
    if (format == Format::Stl)
    {
        std::uint64_t trailing = 0;
        std::int64_t const count = CheckStl(path, size, trailing);
        if (count >= 0)
        {
            ReadResult result;
            result.mesh = ReadBinaryStl(path, static_cast<std::uint32_t>(count), options);
            Noted(path, result);
            if (trailing != 0)
            {
                result.notes.push_back(path + ": the " + std::to_string(trailing) +
                                       " bytes after the last triangle were left alone");
            }
            return result;
        }
    }
    else if (format == Format::Ply || format == Format::Off)
    {
        CheckCounts(path, size, format);
    }
    Assimp::Importer importer;
    // Points and lines go; the soup is welded here, not by assimp.
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    aiScene const* const scene = importer.ReadFile(path, aiProcess_Triangulate | aiProcess_SortByPType |
                                                             aiProcess_ValidateDataStructure);
    if (scene == nullptr)
    {
        Fail(path,
             std::string("cannot be read as ") + NameOfFormat(format) + ": " + importer.GetErrorString());
    }
    format3mf::TriangleSoup soup;
    bool coloured = false;
    for (unsigned m = 0; m < scene->mNumMeshes; ++m)
    {
        aiMesh const& mesh = *scene->mMeshes[m];
        coloured = coloured || mesh.HasVertexColors(0);
        std::uint32_t rgb = 0;
        coloured = coloured || MaterialColor(*scene, mesh, rgb);
    }
    for (unsigned m = 0; m < scene->mNumMeshes; ++m)
    {
        aiMesh const& mesh = *scene->mMeshes[m];
        std::uint32_t material = 0xC0C0C0;
        MaterialColor(*scene, mesh, material);
        for (unsigned f = 0; f < mesh.mNumFaces; ++f)
        {
            aiFace const& face = mesh.mFaces[f];
            if (face.mNumIndices != 3)
            {
                continue;
            }
            for (unsigned c = 0; c < 3; ++c)
            {
                unsigned const index = face.mIndices[c];
                if (index >= mesh.mNumVertices)
                {
                    Fail(path, "a face refers to vertex " + std::to_string(index) + " of " +
                                   std::to_string(mesh.mNumVertices));
                }
                aiVector3D const& at = mesh.mVertices[index];
                if (!std::isfinite(at.x) || !std::isfinite(at.y) || !std::isfinite(at.z))
                {
                    Fail(path,
                         "vertex " + std::to_string(index) + " has a coordinate that is not a finite number");
                }
                soup.corners.insert(soup.corners.end(),
                                    {at.x * options.unitMm, at.y * options.unitMm, at.z * options.unitMm});
                if (coloured)
                {
                    soup.cornerColors.push_back(mesh.HasVertexColors(0) ? Packed(mesh.mColors[0][index])
                                                                        : material);
                }
            }
        }
    }
    if (soup.corners.empty())
    {
        Fail(path, "holds no triangles");
    }
    ReadResult result;
    try
    {
        result.mesh = format3mf::WeldTriangleSoup(soup, options.weldMm);
    }
    catch (std::invalid_argument const& error)
    {
        Fail(path, error.what());
    }
    Noted(path, result);
    return result;
}
} // namespace format3mf::meshformats
