#pragma once

// Property groups: resources holding the per-triangle values (materials,
// colours, texture coordinates) that meshes refer to by index.

#include "format3mf/ReferenceID.h"

#include "common/OndExport.h"

#include <cstddef>
#include <deque>
#include <map>

namespace Format_3MF
{
// Base of every value that a property group holds.
class OND_EXPORT IProperty
{
public:
    virtual ~IProperty();
};

// Base of every property group: a resource of a model that triangles and
// objects refer to by its id and an index into its values.
class OND_EXPORT IPropertyGroup : public IReferenced
{
public:
    ~IPropertyGroup() override;
};

namespace detail
{
// Kept out of the template so that the message is built in one place.
[[noreturn]] OND_EXPORT void ThrowPropertyIndexOutOfRange(int index, std::size_t size, tReferenceID groupId);
} // namespace detail

// An indexed list of values of one kind. The index of a value is its position
// in m_values. m_index serves only the duplicate check of AddValue and holds
// only the values that were added with that check: a group read from a file
// keeps the indices of the file and has an empty m_index.
template <typename T>
class OND_EXPORT PropertyGroup : public IPropertyGroup
{
public:
    std::map<T, int> m_index;
    // A deque, so that values keep their addresses while the group grows.
    std::deque<T> m_values;

    // With checkDuplicate, an equal value added before with the check gives
    // its index and nothing changes. Without it, the value is always
    // appended and the map is neither read nor written.
    int AddValue(T const& value, bool checkDuplicate)
    {
        int const next = static_cast<int>(m_values.size());
        if (checkDuplicate)
        {
            auto const found = m_index.emplace(value, next);
            if (!found.second)
            {
                return found.first->second;
            }
        }
        m_values.push_back(value);
        return next;
    }

    // The index recorded by a checked AddValue, or -1.
    int GetIndex(T const& value) const
    {
        auto const found = m_index.find(value);
        return found == m_index.end() ? -1 : found->second;
    }

    // Indices come from files, so a wrong one is a failure of the input:
    // it throws Format_3MF::Exception naming the index and the group.
    T const& GetValue(int index) const
    {
        if (index < 0 || static_cast<std::size_t>(index) >= m_values.size())
        {
            detail::ThrowPropertyIndexOutOfRange(index, m_values.size(), m_id);
        }
        return m_values[static_cast<std::size_t>(index)];
    }
};
} // namespace Format_3MF
