// The object type of 3MF as the part flags of a host mesh.
#include "mesh/PartFlags.h"

#include "triangles/MStlBase.h"

namespace Format_3MF
{
void SetPartFlags(MStlBase& stl, int type)
{
    switch (type)
    {
    case 0:
        stl.m_partIsSupport = false;
        stl.m_partIsSolid = true;
        break;
    case 1:
        stl.m_partIsSupport = true;
        stl.m_partIsSolid = false;
        break;
    case 2:
        stl.m_partIsSupport = true;
        stl.m_partIsSolid = true;
        break;
    case 3:
        stl.m_partIsSupport = false;
        stl.m_partIsSolid = false;
        break;
    default:
        break;
    }
}
} // namespace Format_3MF
