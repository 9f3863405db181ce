// Decoding a paint string. The string is a stream of 4-bit codes written
// last code first. A code's low two bits count the split sides (0 for a
// leaf); a split's high two bits name its special side, and its children
// follow, last child first. A leaf's high two bits are its state, or 3 when
// the next code holds the state minus 3.
#include "project/PaintCode.h"

#include "common/HexDigit.h"

namespace format3mf::project
{
std::uint32_t PaintDecoder::_Midpoint(std::uint32_t a, std::uint32_t b, PaintSubdivision& out)
{
    std::array<std::uint32_t, 2> const side =
        a < b ? std::array<std::uint32_t, 2>{a, b} : std::array<std::uint32_t, 2>{b, a};
    std::uint32_t const next = std::uint32_t(out.midpoints.size() + 3);
    // Nearly every painted triangle has a few midpoints, found faster by
    // looking than by hashing; a fine subdivision gets the map.
    constexpr std::size_t kLinear = 16;
    if (out.midpoints.size() < kLinear)
    {
        for (std::size_t i = 0; i < out.midpoints.size(); ++i)
        {
            if (out.midpoints[i] == side)
            {
                return std::uint32_t(i + 3);
            }
        }
        out.midpoints.push_back(side);
        return next;
    }
    if (m_midpoints.empty())
    {
        for (std::size_t i = 0; i < out.midpoints.size(); ++i)
        {
            m_midpoints.emplace((std::uint64_t(out.midpoints[i][0]) << 32) | out.midpoints[i][1],
                                std::uint32_t(i + 3));
        }
    }
    auto const [entry, fresh] = m_midpoints.try_emplace((std::uint64_t(side[0]) << 32) | side[1], next);
    if (fresh)
    {
        out.midpoints.push_back(side);
    }
    return entry->second;
}

std::string PaintDecoder::Decode(std::string_view code, PaintSubdivision& out)
{
    out.midpoints.clear();
    out.leaves.clear();
    if (!m_midpoints.empty())
    {
        m_midpoints.clear();
    }
    m_pending.clear();
    if (code.empty())
    {
        out.leaves.push_back({{0, 1, 2}, 0});
        return {};
    }
    if (code.size() > kMaxPaintDigits)
    {
        return "it is " + std::to_string(code.size()) + " digits long, more than the " +
               std::to_string(kMaxPaintDigits) + " a painted triangle may have";
    }
    std::size_t left = code.size();
    std::string error;
    auto next = [&code, &left, &error]() -> int
    {
        if (left == 0)
        {
            error = "it ends before its subdivision is complete";
            return -1;
        }
        int const value = format3mf::HexDigitValue(code[--left]);
        if (value < 0)
        {
            error = std::string("it holds '") + code[left] + "', which is not a hexadecimal digit";
        }
        return value;
    };
    m_pending.push_back({{0, 1, 2}, 0});
    while (!m_pending.empty())
    {
        Pending const node = m_pending.back();
        m_pending.pop_back();
        int const value = next();
        if (value < 0)
        {
            return error;
        }
        int const splits = value & 3;
        int const high = value >> 2;
        if (splits == 0)
        {
            int state = high;
            if (high == 3)
            {
                int const extended = next();
                if (extended < 0)
                {
                    return error;
                }
                state = extended + 3;
            }
            out.leaves.push_back({node.points, std::uint8_t(state)});
            continue;
        }
        if (node.depth == kMaxPaintDepth)
        {
            return "its subdivision is deeper than " + std::to_string(kMaxPaintDepth) + " levels";
        }
        if (splits < 3 && high == 3)
        {
            return "a split names side 3 of a triangle";
        }
        // The children in the slicer's order; the stream lists them last
        // first, so they are stacked first to last.
        std::array<std::uint32_t, 3> const& p = node.points;
        std::uint32_t const depth = node.depth + 1;
        if (splits == 3)
        {
            std::uint32_t const m01 = _Midpoint(p[0], p[1], out);
            std::uint32_t const m12 = _Midpoint(p[1], p[2], out);
            std::uint32_t const m20 = _Midpoint(p[2], p[0], out);
            m_pending.push_back({{p[0], m01, m20}, depth});
            m_pending.push_back({{m01, p[1], m12}, depth});
            m_pending.push_back({{m12, p[2], m20}, depth});
            m_pending.push_back({{m01, m12, m20}, depth});
            continue;
        }
        // One or two splits: the corners start at the special side.
        std::uint32_t const v0 = p[high];
        std::uint32_t const v1 = p[(high + 1) % 3];
        std::uint32_t const v2 = p[(high + 2) % 3];
        if (splits == 1)
        {
            // The side opposite the first corner is halved.
            std::uint32_t const m = _Midpoint(v1, v2, out);
            m_pending.push_back({{v0, v1, m}, depth});
            m_pending.push_back({{m, v2, v0}, depth});
        }
        else
        {
            // Both sides at the first corner are halved.
            std::uint32_t const a = _Midpoint(v0, v1, out);
            std::uint32_t const b = _Midpoint(v2, v0, out);
            m_pending.push_back({{v0, a, b}, depth});
            m_pending.push_back({{a, v1, b}, depth});
            m_pending.push_back({{v1, v2, b}, depth});
        }
    }
    if (left != 0)
    {
        return "it holds " + std::to_string(left) + " digits beyond its subdivision";
    }
    return {};
}

std::string WholeTrianglePaint(unsigned state)
{
    static char const kDigits[] = "0123456789ABCDEF";
    if (state == 0 || state > 18)
    {
        return {};
    }
    if (state < 3)
    {
        return std::string(1, kDigits[state << 2]);
    }
    return std::string{kDigits[state - 3], 'C'};
}
} // namespace format3mf::project
