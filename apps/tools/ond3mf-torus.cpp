// Writes a 3MF file of one finely tessellated torus through the library's
// WriteFile, so that there is a file to look at without any from elsewhere:
// ond3mf-torus file.3mf [ring tube], where ring and tube give the grid
// (1000 x 1000 by default: a million vertices and two million triangles).

#include "ToolCommon.h"
#include "TorusMesh.h"

#include "format3mf/WriteFile.h"

#include "triangles/MStlBase.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>

namespace format3mf::apps
{
namespace
{
char const kUsage[] = "usage: ond3mf-torus file.3mf [ring tube]\n"
                      "Writes a torus of ring x tube grid cells (default 1000 x 1000, each from 3 to 4000)\n"
                      "as a 3MF file: ring x tube vertices and twice as many triangles.\n"
                      "  --version   the library's version\n"
                      "Exit codes: 0 written, 1 the write failed, 2 bad argument.\n";

bool ParseCount(char const* text, std::uint32_t& value)
{
    char* end = nullptr;
    unsigned long const parsed = std::strtoul(text, &end, 10);
    if (end == text || *end != '\0' || parsed < 3 || parsed > 4000)
    {
        return false;
    }
    value = static_cast<std::uint32_t>(parsed);
    return true;
}
} // namespace
} // namespace format3mf::apps

int main(int argc, char** argv)
{
    using namespace format3mf::apps;
    if (AnswerStandardOption(argc, argv, "ond3mf-torus", kUsage))
    {
        return 0;
    }
    if (argc > 1 && argv[1][0] == '-')
    {
        return BadUsage("ond3mf-torus", std::string("unknown option '") + argv[1] + "'", kUsage);
    }
    if (argc != 2 && argc != 4)
    {
        return BadUsage("ond3mf-torus", "expected a file name and optionally ring and tube", kUsage);
    }
    format3mf::torus::TorusShape shape;
    if (argc == 4 && !(ParseCount(argv[2], shape.m_ring) && ParseCount(argv[3], shape.m_tube)))
    {
        return BadUsage("ond3mf-torus", "ring and tube must be whole numbers from 3 to 4000", kUsage);
    }
    std::unique_ptr<MStlBase> mesh;
    try
    {
        mesh = format3mf::torus::MakeTorus(shape);
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "ond3mf-torus: cannot make the torus for %s: %s\n", argv[1], error.what());
        return 1;
    }
    format3mf::WriteResult const written = format3mf::WriteFile(argv[1], {mesh.get()});
    if (!written.ok)
    {
        // The message names the file and the cause.
        std::fprintf(stderr, "ond3mf-torus: %s\n", written.error.c_str());
        return 1;
    }
    std::printf("%s: torus of %u x %u, %u vertices, %u triangles\n", argv[1], shape.m_ring, shape.m_tube,
                shape.m_ring * shape.m_tube, 2 * shape.m_ring * shape.m_tube);
    return 0;
}
