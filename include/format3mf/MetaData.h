#pragma once

// Metadata of models, objects and build items: named text values with their
// type and preserve flag.

#include <map>
#include <string>

namespace Format_3MF
{
// A named text value of an object, a build item or a model.
struct MetaDataItem
{
    std::wstring m_value;
    std::wstring m_type;
    bool m_preserve = true;

    MetaDataItem() = default;
    explicit MetaDataItem(std::wstring const& value) : m_value(value) {}
    bool operator<(MetaDataItem const& other) const { return m_value < other.m_value; }
};

// Metadata by name; of two items with one name the later one read wins.
using MetaDataGroup = std::map<std::wstring, MetaDataItem>;
} // namespace Format_3MF
