// What the mesh tests share: a small pyramid and a transform that maps no
// integers to integers.
#pragma once

#include "support/MeshDump.h"
#include "triangles/MStlBase.h"

#include "common/MMTransformMatrix.h"

#include <cstdint>
#include <vector>

// A square pyramid: 5 points, 6 triangles (4 sides, 2 for the base).
inline std::vector<MStlPoint*> MakePyramid(MStlBase& stl, std::int32_t offset = 0)
{
    std::vector<MStlPoint*> p;
    p.push_back(stl.AddPoint(offset + 0, 0, 0, true));
    p.push_back(stl.AddPoint(offset + 10000, 0, 0, true));
    p.push_back(stl.AddPoint(offset + 10000, 10000, 0, true));
    p.push_back(stl.AddPoint(offset + 0, 10000, 0, true));
    p.push_back(stl.AddPoint(offset + 5000, 5000, 7071, true));
    int const faces[6][3] = {{0, 1, 4}, {1, 2, 4}, {2, 3, 4}, {3, 0, 4}, {0, 2, 1}, {0, 3, 2}};
    for (auto const& face : faces)
    {
        stl.AddTriangle(p[face[0]], p[face[1]], p[face[2]], nullptr);
    }
    return p;
}

// A rotation by a third of a turn about an oblique axis with a translation:
// nothing in it maps integers to integers.
inline MMTransformMatrix MakeAwkwardTransform()
{
    MMTransformMatrix m;
    double const rows[3][4] = {{0.0, -0.8, 0.6, 1234.56}, {0.6, -0.48, -0.64, -0.5}, {0.8, 0.36, 0.48, 77.7}};
    for (unsigned short element = 0; element < 12; ++element)
    {
        m.AccessElement(element / 4, element % 4) = rows[element / 4][element % 4];
    }
    m.VerifyAndSetClass();
    m.ComputeInverse();
    return m;
}
