#pragma once

// A point or direction of three coordinates, read directly as x, y, z.
template <typename T>
struct MMPoint3d
{
    T x{};
    T y{};
    T z{};

    MMPoint3d() = default;
    MMPoint3d(T px, T py, T pz) : x(px), y(py), z(pz) {}

    bool operator==(MMPoint3d const& other) const { return x == other.x && y == other.y && z == other.z; }
    bool operator!=(MMPoint3d const& other) const { return !(*this == other); }
};
