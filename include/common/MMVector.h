#pragma once

#include <cstddef>

// A fixed-size vector; MMVector<std::int32_t, 3> is a point in internal units.
template <typename T, std::size_t N>
struct MMVector
{
    T m_values[N]{};

    T& operator[](std::size_t i) { return m_values[i]; }
    T const& operator[](std::size_t i) const { return m_values[i]; }
    T* data() { return m_values; }
    T const* data() const { return m_values; }

    bool operator==(MMVector const& other) const
    {
        for (std::size_t i = 0; i < N; ++i)
        {
            if (m_values[i] != other.m_values[i])
            {
                return false;
            }
        }
        return true;
    }
    bool operator!=(MMVector const& other) const { return !(*this == other); }
};
