#pragma once

// The production extension's UUID, shared by build, items, objects and
// components.

#include <string>

namespace Format_3MF
{
// What can bear a production UUID; empty when it has none.
struct ProductionItem
{
    std::wstring m_uuid;
};
} // namespace Format_3MF
