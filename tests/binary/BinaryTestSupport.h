// What the tests of binary side parts share: records packed as the writer
// packs them, a model naming a binary part, and the entries of a written
// package.
#pragma once

#include "support/PackageTestSupport.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>

// Little-endian 32-bit numbers, as the part holds them on this machine.
template <typename T>
std::string Records(std::initializer_list<T> values)
{
    static_assert(sizeof(T) == 4, "records are of 32-bit numbers");
    std::string bytes(values.size() * 4, '\0');
    std::memcpy(&bytes[0], values.begin(), bytes.size());
    return bytes;
}

// The numbers of a part's bytes from `offset` on.
template <typename T>
std::vector<T> Numbers(std::string const& bytes, std::size_t offset, std::size_t count)
{
    std::vector<T> numbers(count);
    std::memcpy(numbers.data(), bytes.data() + offset, count * 4);
    return numbers;
}

// A root model whose "binary" attribute names `binary` (none when empty).
inline std::string BinaryModel(std::string const& resources,
                               std::string const& binary = "/3D/3dmodel.model.bin",
                               std::string const& unit = "millimeter")
{
    std::string const attribute = binary.empty() ? "" : " binary=\"" + binary + "\"";
    return R"(<model unit=")" + unit +
           R"(" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02")" + attribute +
           "><resources>" + resources + "</resources><build/></model>";
}

// An object whose vertices and triangles are each one "bin" element with
// the attributes given.
inline std::string BinObject(int id, std::string const& vertices, std::string const& triangles)
{
    return "<object id=\"" + std::to_string(id) + "\"><mesh><vertices><bin " + vertices +
           "/></vertices><triangles><bin " + triangles + "/></triangles></mesh></object>";
}
