// Writes a 3MF file of one finely tessellated torus through the library's
// exporter, so that there is a file to look at without any from elsewhere:
// ond3mf-torus file.3mf [ring tube], where ring and tube give the grid
// (1000 x 1000 by default: a million vertices and two million triangles).

#include "ToolCommon.h"
#include "TorusMesh.h"

#include "format3mf/Exporter.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

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

int main(int argc, char** argv)
{
    if (tools::AnswerStandardOption(argc, argv, "ond3mf-torus", kUsage))
    {
        return 0;
    }
    if (argc > 1 && argv[1][0] == '-')
    {
        return tools::BadUsage("ond3mf-torus", std::string("unknown option '") + argv[1] + "'", kUsage);
    }
    if (argc != 2 && argc != 4)
    {
        return tools::BadUsage("ond3mf-torus", "expected a file name and optionally ring and tube", kUsage);
    }
    torus::TorusShape shape;
    if (argc == 4 && !(ParseCount(argv[2], shape.m_ring) && ParseCount(argv[3], shape.m_tube)))
    {
        return tools::BadUsage("ond3mf-torus", "ring and tube must be whole numbers from 3 to 4000", kUsage);
    }
    try
    {
        std::unique_ptr<MStlBase> const mesh = torus::MakeTorus(shape);
        format3mf::Export exporter;
        exporter.SetStl(mesh.get(), MMTransformMatrix(), nullptr);
        exporter.SetFilePath(tools::FileName(argv[1]));
        if (exporter.Operate() != format3mf::Export::Success)
        {
            // The message names the file and the cause.
            std::fprintf(stderr, "ond3mf-torus: %s\n", tools::Narrow(exporter.GetErrorMessage()).c_str());
            return 1;
        }
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "ond3mf-torus: %s\n", error.what());
        return 1;
    }
    catch (...)
    {
        std::fprintf(stderr, "ond3mf-torus: cannot write %s: the write stopped with an unknown error\n",
                     argv[1]);
        return 1;
    }
    std::printf("%s: torus of %u x %u, %u vertices, %u triangles\n", argv[1], shape.m_ring, shape.m_tube,
                shape.m_ring * shape.m_tube, 2 * shape.m_ring * shape.m_tube);
    return 0;
}
