#pragma once

// Resource identifiers and the base of everything a model can refer to by id.

#include "common/OndExport.h"

#include <cstdint>

namespace Format_3MF
{
// The identifier of a resource inside one model part; -1 is undefined, every
// other value (0 and other negatives included) is defined.
struct tReferenceID
{
    std::int32_t m_value = -1;

    tReferenceID() = default;
    tReferenceID(int value) : m_value(value) {}
    tReferenceID& operator=(int value)
    {
        m_value = value;
        return *this;
    }
    operator int() const { return m_value; }
    bool IsDefined() const { return m_value != -1; }
};

// Base of everything a model part refers to by identifier. Only
// ModelFile::Register assigns m_id after construction.
class OND_EXPORT IReferenced
{
public:
    IReferenced() = default;
    IReferenced(IReferenced const&) = default;
    IReferenced& operator=(IReferenced const&) = default;
    virtual ~IReferenced() = default;

    tReferenceID m_id;
};
} // namespace Format_3MF
