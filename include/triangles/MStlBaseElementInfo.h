#pragma once

// Per-edge information of feature graphs: how each end of an edge is capped.

#include "triangles/MStlFeature.h"

#include "common/OndExport.h"

#include <cstdint>
#include <memory>
#include <vector>

class MStlBase;

// The cap at one end of an edge.
enum class eStlGraphEdgeCap : std::uint8_t
{
    NotSet = 0,
    Hemisphere = 1,
    Sphere = 2,
    Butt = 3
};

// The diameters of an edge at its two ends, in internal units. -1 in the
// first means that the edge has no thickness of its own.
struct OND_EXPORT MStlGraphEdgeThickness
{
    std::int32_t m_first = -1;
    std::int32_t m_second = -1;
};

struct OND_EXPORT MStlGraphEdgeCaps
{
    eStlGraphEdgeCap m_first = eStlGraphEdgeCap::NotSet;
    eStlGraphEdgeCap m_second = eStlGraphEdgeCap::NotSet;
};

// Per-edge data of a mesh and the defaults for edges without their own. The
// values are kept by edge serial, so an edge costs nothing here until one
// of its values is set.
class OND_EXPORT MStlBaseElementInfo
{
public:
    // Until set: no cap and a diameter of 0.
    eStlGraphEdgeCap GetDefaultEdgeCap() const { return m_defaultCap; }
    void SetDefaultEdgeCap(eStlGraphEdgeCap cap) { m_defaultCap = cap; }
    std::int32_t GetDefaultEdgeDiameter() const { return m_defaultDiameter; }
    void SetDefaultEdgeDiameter(std::int32_t diameter) { m_defaultDiameter = diameter; }

    // With withDefault, an end without a cap of its own reports the default.
    MStlGraphEdgeCaps GetEdgeCaps(MStlGraphEdge const& edge, bool withDefault);
    void SetEdgeCaps(MStlGraphEdge const& edge, MStlGraphEdgeCaps caps);

    MStlGraphEdgeThickness const& GetEdgeThickness(MStlGraphEdge const& edge) const;
    void SetEdgeThickness(MStlGraphEdge const& edge, MStlGraphEdgeThickness const& thickness);

    // Edges in this host are exact: their tolerance is 0, with or without
    // defaults.
    std::int32_t GetEdgeTolerance(MStlGraphEdge const& edge, bool withDefault) const;

private:
    friend class MStlBase;

    // Takes the values of another mesh's edges, whose serials now start at
    // firstSerial here. Those edges keep the look they had: where the two
    // meshes' defaults differ, they get the other's defaults as their own.
    void AppendFrom(MStlBaseElementInfo const& other, std::uint32_t firstSerial, std::uint32_t count);

    eStlGraphEdgeCap m_defaultCap = eStlGraphEdgeCap::NotSet;
    std::int32_t m_defaultDiameter = 0;
    std::vector<MStlGraphEdgeCaps> m_caps;
    std::vector<MStlGraphEdgeThickness> m_thickness;
};

// What ties an MStlBaseElementInfo to its mesh, which owns it.
class OND_EXPORT MStlBaseElementInfoStlDependency
{
public:
    MStlBaseElementInfoStlDependency(MStlBaseElementInfoStlDependency const&) = delete;
    MStlBaseElementInfoStlDependency& operator=(MStlBaseElementInfoStlDependency const&) = delete;

    // The dependency of a mesh; with create, it is made when missing.
    // Null for a null mesh, or when missing and not to be made.
    static MStlBaseElementInfoStlDependency* GetDependency(MStlBase const* stl, bool create);

    MStlBaseElementInfo& GetElementInfo() { return m_info; }
    MStlBaseElementInfo const& GetElementInfo() const { return m_info; }

private:
    friend class MStlBase;

    MStlBaseElementInfoStlDependency() = default;
    explicit MStlBaseElementInfoStlDependency(MStlBaseElementInfo const& info) : m_info(info) {}

    MStlBaseElementInfo m_info;
};
