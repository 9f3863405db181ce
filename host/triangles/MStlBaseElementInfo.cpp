// Per-edge cap settings of graph edges, with defaults filled in where an end
// was left unset.
#include "triangles/MStlBaseElementInfo.h"

#include "triangles/MStlBase.h"

MStlGraphEdgeCaps MStlBaseElementInfo::GetEdgeCaps(MStlGraphEdge const& edge, bool withDefault)
{
    MStlGraphEdgeCaps caps;
    if (edge.GetSerial() < m_caps.size())
    {
        caps = m_caps[edge.GetSerial()];
    }
    if (withDefault)
    {
        for (eStlGraphEdgeCap* end : {&caps.m_first, &caps.m_second})
        {
            if (*end == eStlGraphEdgeCap::NotSet)
            {
                *end = m_defaultCap;
            }
        }
    }
    return caps;
}

void MStlBaseElementInfo::SetEdgeCaps(MStlGraphEdge const& edge, MStlGraphEdgeCaps caps)
{
    if (edge.GetSerial() >= m_caps.size())
    {
        m_caps.resize(std::size_t(edge.GetSerial()) + 1);
    }
    m_caps[edge.GetSerial()] = caps;
}

MStlGraphEdgeThickness const& MStlBaseElementInfo::GetEdgeThickness(MStlGraphEdge const& edge) const
{
    static MStlGraphEdgeThickness const none;
    return edge.GetSerial() < m_thickness.size() ? m_thickness[edge.GetSerial()] : none;
}

void MStlBaseElementInfo::SetEdgeThickness(MStlGraphEdge const& edge, MStlGraphEdgeThickness const& thickness)
{
    if (edge.GetSerial() >= m_thickness.size())
    {
        m_thickness.resize(std::size_t(edge.GetSerial()) + 1);
    }
    m_thickness[edge.GetSerial()] = thickness;
}

std::int32_t MStlBaseElementInfo::GetEdgeTolerance(MStlGraphEdge const&, bool) const
{
    return 0;
}

void MStlBaseElementInfo::AppendFrom(MStlBaseElementInfo const& other, std::uint32_t firstSerial,
                                     std::uint32_t count)
{
    // Copied first: other may be this.
    std::vector<MStlGraphEdgeCaps> const caps = other.m_caps;
    std::vector<MStlGraphEdgeThickness> const thickness = other.m_thickness;
    eStlGraphEdgeCap const otherCap = other.m_defaultCap;
    std::int32_t const otherDiameter = other.m_defaultDiameter;
    for (std::uint32_t serial = 0; serial < count; ++serial)
    {
        MStlGraphEdge const edge(0, 0, firstSerial + serial);
        MStlGraphEdgeCaps edgeCaps = serial < caps.size() ? caps[serial] : MStlGraphEdgeCaps();
        if (otherCap != m_defaultCap)
        {
            for (eStlGraphEdgeCap* end : {&edgeCaps.m_first, &edgeCaps.m_second})
            {
                if (*end == eStlGraphEdgeCap::NotSet)
                {
                    *end = otherCap;
                }
            }
        }
        if (edgeCaps.m_first != eStlGraphEdgeCap::NotSet || edgeCaps.m_second != eStlGraphEdgeCap::NotSet)
        {
            SetEdgeCaps(edge, edgeCaps);
        }
        MStlGraphEdgeThickness edgeThickness =
            serial < thickness.size() ? thickness[serial] : MStlGraphEdgeThickness();
        if (otherDiameter != m_defaultDiameter && edgeThickness.m_first == -1)
        {
            edgeThickness.m_first = otherDiameter;
            edgeThickness.m_second = otherDiameter;
        }
        if (edgeThickness.m_first != -1 || edgeThickness.m_second != -1)
        {
            SetEdgeThickness(edge, edgeThickness);
        }
    }
}

MStlBaseElementInfoStlDependency* MStlBaseElementInfoStlDependency::GetDependency(MStlBase const* stl,
                                                                                  bool create)
{
    if (!stl)
    {
        return nullptr;
    }
    if (!stl->m_elementInfo && create)
    {
        stl->m_elementInfo.reset(new MStlBaseElementInfoStlDependency);
    }
    return stl->m_elementInfo.get();
}
