// Property group bases, and the error for a property index beyond a group.
#include "format3mf/PropertyGroup.h"

#include "format3mf/Exception.h"

#include <string>

namespace Format_3MF
{
IProperty::~IProperty() = default;

IPropertyGroup::~IPropertyGroup() = default;

namespace detail
{
void ThrowPropertyIndexOutOfRange(int index, std::size_t size, tReferenceID groupId)
{
    throw Exception(L"Property index " + std::to_wstring(index) + L" is out of range in the property group " +
                    std::to_wstring(int(groupId)) + L", which holds " + std::to_wstring(size) + L" values");
}
} // namespace detail
} // namespace Format_3MF
