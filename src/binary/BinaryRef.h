// Where the records of one "vertices" or "triangles" element lie in the
// model's binary side part, and the format words of those records.
#pragma once

#include <cstdint>
#include <string>

namespace Format_3MF
{
// Three 32-bit floats x, y, z in millimetres.
inline constexpr wchar_t BinaryFormatFloat3[] = L"float3";
// Three 32-bit signed vertex indices, from 0 within the mesh's vertex block.
inline constexpr wchar_t BinaryFormatInt32x3[] = L"int32_3";
// Older files' word for the same records; never written.
inline constexpr wchar_t BinaryFormatLong3[] = L"long3";
// Every format has records of three 4-byte numbers.
inline constexpr std::uint64_t BinaryRecordSize = 12;

struct BinaryRef
{
    BinaryRef() = default;
    BinaryRef(std::int64_t pos, std::uint64_t count, std::wstring const& format)
        : m_pos(pos), m_count(count), m_format(format)
    {
    }

    // Part name of the binary part; informative only: a model has one part.
    std::wstring m_ref;
    // Byte position of the first record; negative when not set.
    std::int64_t m_pos = -1;
    std::uint64_t m_count = 0;
    std::wstring m_format;
};
} // namespace Format_3MF
