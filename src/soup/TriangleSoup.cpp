// Welding a triangle soup: corners are rounded to internal units and looked
// up in a hash of their coordinates (exact), or in the cells of a grid as
// wide as the tolerance and their neighbours (near).
#include "format3mf/TriangleSoup.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlPoint.h"

#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

namespace format3mf
{
namespace
{
using Key = std::array<std::int64_t, 3>;

struct KeyHash
{
    std::size_t operator()(Key const& key) const noexcept
    {
        std::uint64_t hash = 1469598103934665603ull;
        for (std::int64_t value : key)
        {
            hash = (hash ^ static_cast<std::uint64_t>(value)) * 1099511628211ull;
            hash ^= hash >> 29;
        }
        return static_cast<std::size_t>(hash);
    }
};

std::int32_t ToInternal(double millimetres, std::size_t triangle)
{
    double const value = std::round(millimetres * OndSDK::Common::MInternalUnits::Get());
    if (!std::isfinite(value) || value > std::numeric_limits<std::int32_t>::max() ||
        value < std::numeric_limits<std::int32_t>::min())
    {
        throw std::invalid_argument("triangle " + std::to_string(triangle) + " has a corner at " +
                                    std::to_string(millimetres) +
                                    " mm: coordinates must be finite and within +-214748 mm");
    }
    return static_cast<std::int32_t>(value);
}

// The index of no vertex.
constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
// Triangles handed to the mesh at once.
constexpr std::size_t kBatch = 65536;

// Exact coordinates to their vertex: open addressing with linear probing in
// one array, kept at most half full. A node-based map took twice the time of
// the rest of an STL conversion.
class ExactTable
{
public:
    std::uint32_t Find(std::array<std::int32_t, 3> const& at) const
    {
        if (m_slots.empty())
        {
            return kNone;
        }
        for (std::size_t slot = Slot(at);; slot = (slot + 1) & (m_slots.size() - 1))
        {
            Entry const& entry = m_slots[slot];
            if (entry.point == kNone)
            {
                return kNone;
            }
            if (entry.at == at)
            {
                return entry.point;
            }
        }
    }

    void Insert(std::array<std::int32_t, 3> const& at, std::uint32_t point)
    {
        if (2 * (m_size + 1) > m_slots.size())
        {
            Grow();
        }
        Place(at, point);
        ++m_size;
    }

private:
    struct Entry
    {
        std::array<std::int32_t, 3> at;
        std::uint32_t point = kNone;
    };

    std::size_t Slot(std::array<std::int32_t, 3> const& at) const
    {
        std::uint64_t hash = std::uint32_t(at[0]) * 0x9E3779B97F4A7C15ull;
        hash = (hash ^ std::uint32_t(at[1])) * 0xC2B2AE3D27D4EB4Full;
        hash = (hash ^ std::uint32_t(at[2])) * 0x165667B19E3779F9ull;
        return static_cast<std::size_t>(hash ^ (hash >> 32)) & (m_slots.size() - 1);
    }

    void Place(std::array<std::int32_t, 3> const& at, std::uint32_t point)
    {
        std::size_t slot = Slot(at);
        while (m_slots[slot].point != kNone)
        {
            slot = (slot + 1) & (m_slots.size() - 1);
        }
        m_slots[slot] = Entry{at, point};
    }

    void Grow()
    {
        std::vector<Entry> old(std::max<std::size_t>(1024, 2 * m_slots.size()));
        old.swap(m_slots);
        for (Entry const& entry : old)
        {
            if (entry.point != kNone)
            {
                Place(entry.at, entry.point);
            }
        }
    }

    std::vector<Entry> m_slots;
    std::size_t m_size = 0;
};
} // namespace

// Finds or makes the vertex of each corner.
class SoupWelder::Grid
{
public:
    Grid(MStlBase& mesh, double tolerance)
        : m_mesh(mesh), m_cell(std::max(1.0, tolerance * OndSDK::Common::MInternalUnits::Get())),
          m_near(tolerance > 0)
    {
    }

    // The vertex a corner welds to, or kNone when it needs one of its own.
    std::uint32_t Find(std::array<std::int32_t, 3> const& at) const
    {
        if (!m_near)
        {
            return m_points.Find(at);
        }
        Key const cell = Cell(at);
        for (std::int64_t dx = -1; dx <= 1; ++dx)
        {
            for (std::int64_t dy = -1; dy <= 1; ++dy)
            {
                for (std::int64_t dz = -1; dz <= 1; ++dz)
                {
                    auto const found = m_grid.find(Key{cell[0] + dx, cell[1] + dy, cell[2] + dz});
                    if (found == m_grid.end())
                    {
                        continue;
                    }
                    for (std::uint32_t point : found->second)
                    {
                        MStlPoint const& there = m_mesh.PointAt(point);
                        if (Close(there.GetX(), there.GetY(), there.GetZ(), at))
                        {
                            return point;
                        }
                    }
                }
            }
        }
        return kNone;
    }

    // Whether two corners that have no vertex yet would weld to one.
    bool Same(std::array<std::int32_t, 3> const& a, std::array<std::int32_t, 3> const& b) const
    {
        return m_near ? Close(a[0], a[1], a[2], b) : a == b;
    }

    std::uint32_t Add(std::array<std::int32_t, 3> const& at)
    {
        std::uint32_t const point = m_mesh.AddPoint(at[0], at[1], at[2])->GetIndex();
        if (m_near)
        {
            m_grid[Cell(at)].push_back(point);
        }
        else
        {
            m_points.Insert(at, point);
        }
        return point;
    }

private:
    Key Cell(std::array<std::int32_t, 3> const& at) const
    {
        return Key{static_cast<std::int64_t>(std::floor(at[0] / m_cell)),
                   static_cast<std::int64_t>(std::floor(at[1] / m_cell)),
                   static_cast<std::int64_t>(std::floor(at[2] / m_cell))};
    }

    bool Close(double x, double y, double z, std::array<std::int32_t, 3> const& at) const
    {
        double const dx = x - at[0];
        double const dy = y - at[1];
        double const dz = z - at[2];
        return dx * dx + dy * dy + dz * dz <= m_cell * m_cell;
    }

    MStlBase& m_mesh;
    double m_cell;
    bool m_near;
    ExactTable m_points;
    std::unordered_map<Key, std::vector<std::uint32_t>, KeyHash> m_grid;
};
SoupWelder::SoupWelder(double toleranceMm, bool colours) : m_tolerance(toleranceMm), m_colours(colours)
{
    if (!(toleranceMm >= 0) || !std::isfinite(toleranceMm))
    {
        throw std::invalid_argument(
            "the welding tolerance must be a finite number of millimetres, at least 0");
    }
    _Start();
}

void SoupWelder::_Start()
{
    m_welded = WeldedSoup();
    m_welded.mesh = std::make_unique<MStlBase>();
    if (m_colours)
    {
        m_welded.colors =
            std::make_unique<MStlColorMaskTrianglePoints>(&m_welded.mesh->GetTriangleMaskOwner());
    }
    m_grid = std::make_unique<Grid>(*m_welded.mesh, m_tolerance);
    m_triangles = 0;
    m_accepted = 0;
    m_pending.clear();
}

SoupWelder::~SoupWelder() = default;

void SoupWelder::Add(double const* corner, std::uint32_t const* colors)
{
    std::size_t const t = m_triangles++;
    // Degenerate triangles are found before any vertex is made for them, so
    // that none is left that no triangle uses.
    std::array<std::int32_t, 3> at[3];
    std::uint32_t points[3];
    for (int c = 0; c < 3; ++c, corner += 3)
    {
        at[c] = {ToInternal(corner[0], t), ToInternal(corner[1], t), ToInternal(corner[2], t)};
        points[c] = m_grid->Find(at[c]);
    }
    bool degenerate = false;
    for (int a = 0; a < 3; ++a)
    {
        int const b = (a + 1) % 3;
        degenerate = degenerate || (points[a] != kNone ? points[a] == points[b]
                                                       : points[b] == kNone && m_grid->Same(at[a], at[b]));
    }
    if (degenerate)
    {
        ++m_welded.degenerate;
        return;
    }
    // Three distinct vertices: the triangle will be made, with the next index.
    for (int c = 0; c < 3; ++c)
    {
        points[c] = points[c] != kNone ? points[c] : m_grid->Add(at[c]);
        m_pending.push_back(points[c]);
    }
    std::uint32_t const triangle = m_accepted++;
    if (m_pending.size() == 3 * kBatch)
    {
        _Flush();
    }
    if (m_welded.colors && colors != nullptr)
    {
        MStlColorTrianglePoints& set = m_welded.colors->GetInfo(triangle);
        for (int c = 0; c < 3; ++c)
        {
            set.m_colors[c] = MStlColor(colors[c]);
        }
    }
}

void SoupWelder::_Flush()
{
    m_welded.mesh->AddTriangles(m_pending.data(), m_pending.size() / 3);
    m_pending.clear();
}

WeldedSoup SoupWelder::Finish()
{
    _Flush();
    WeldedSoup welded = std::move(m_welded);
    _Start();
    return welded;
}

WeldedSoup WeldTriangleSoup(TriangleSoup const& soup, double toleranceMm)
{
    if (soup.corners.size() % 9 != 0)
    {
        throw std::invalid_argument("a triangle soup holds nine numbers a triangle, not " +
                                    std::to_string(soup.corners.size()));
    }
    std::size_t const count = soup.corners.size() / 9;
    bool const coloured = !soup.cornerColors.empty();
    if (coloured && soup.cornerColors.size() != 3 * count)
    {
        throw std::invalid_argument(
            "a triangle soup's colours are three a triangle: " + std::to_string(soup.cornerColors.size()) +
            " for " + std::to_string(count) + " triangles");
    }
    SoupWelder welder(toleranceMm, coloured);
    for (std::size_t t = 0; t < count; ++t)
    {
        welder.Add(soup.corners.data() + 9 * t, coloured ? soup.cornerColors.data() + 3 * t : nullptr);
    }
    return welder.Finish();
}
} // namespace format3mf
