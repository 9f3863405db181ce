// Writes a 3MF file of one finely tessellated torus, so that there is a file
// to look at without any from elsewhere: ond3mf-torus file.3mf [ring tube],
// where ring and tube give the grid (1000 x 1000 by default: a million
// vertices and two million triangles).

#include "TorusPackage.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

int main(int argc, char** argv)
{
    if (argc != 2 && argc != 4)
    {
        std::fprintf(stderr, "usage: ond3mf-torus file.3mf [ring tube]\n");
        return 2;
    }
    torus::TorusShape shape;
    if (argc == 4)
    {
        shape.m_ring = static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10));
        shape.m_tube = static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10));
        if (shape.m_ring < 3 || shape.m_tube < 3 || shape.m_ring > 4000 || shape.m_tube > 4000)
        {
            std::fprintf(stderr, "ond3mf-torus: ring and tube must be from 3 to 4000\n");
            return 2;
        }
    }
    try
    {
        torus::WriteTorusPackage(argv[1], shape);
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "ond3mf-torus: %s\n", error.what());
        return 1;
    }
    std::printf("%s: torus of %u x %u, %u vertices, %u triangles\n", argv[1], shape.m_ring, shape.m_tube,
                shape.m_ring * shape.m_tube, 2 * shape.m_ring * shape.m_tube);
    return 0;
}
