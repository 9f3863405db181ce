// A finely tessellated torus as a host mesh, so that the tools and benchmarks
// have a big mesh to write and read without any file from elsewhere.
#pragma once

#include "common/MInternalUnits.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"

#include <cmath>
#include <cstdint>
#include <memory>

namespace format3mf::torus
{
struct TorusShape
{
    // Grid cells around the ring (u) and around the tube (v); the torus has
    // ring * tube vertices and twice as many triangles.
    std::uint32_t m_ring = 1000;
    std::uint32_t m_tube = 1000;
    double m_ringRadius = 40.0; // millimetres
    double m_tubeRadius = 15.0;
};

// Points in the order of increasing u, then v; triangles with their normals
// pointing out.
inline std::unique_ptr<MStlBase> MakeTorus(TorusShape const& shape = {})
{
    double const pi = std::acos(-1.0);
    double const unit = OndSDK::Common::MInternalUnits::Get();
    auto const internal = [unit](double millimetres)
    { return static_cast<std::int32_t>(std::lround(millimetres * unit)); };
    auto mesh = std::make_unique<MStlBase>();
    mesh->SetName(L"torus");
    mesh->m_partIsSolid = true;
    for (std::uint32_t i = 0; i < shape.m_ring; ++i)
    {
        double const u = 2.0 * pi * i / shape.m_ring;
        for (std::uint32_t j = 0; j < shape.m_tube; ++j)
        {
            double const v = 2.0 * pi * j / shape.m_tube;
            double const radius = shape.m_ringRadius + shape.m_tubeRadius * std::cos(v);
            mesh->AddPoint(internal(radius * std::cos(u)), internal(radius * std::sin(u)),
                           internal(shape.m_tubeRadius * std::sin(v)));
        }
    }
    auto const point = [&shape, &mesh](std::uint32_t i, std::uint32_t j) -> MStlPoint const*
    { return &mesh->PointAt((i % shape.m_ring) * shape.m_tube + j % shape.m_tube); };
    for (std::uint32_t i = 0; i < shape.m_ring; ++i)
    {
        for (std::uint32_t j = 0; j < shape.m_tube; ++j)
        {
            mesh->AddTriangle(point(i, j), point(i + 1, j), point(i + 1, j + 1));
            mesh->AddTriangle(point(i, j), point(i + 1, j + 1), point(i, j + 1));
        }
    }
    return mesh;
}
} // namespace format3mf::torus
