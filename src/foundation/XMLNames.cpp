// Writing attributes and elements under an optional namespace prefix.
#include "foundation/XMLNames.h"

#include "format3mf/ReadAttribute.h"

namespace Format_3MF
{
void WriteAttributeNS(MSAXWriter& writer, std::wstring const& name, std::wstring const& value,
                      std::wstring const* prefix)
{
    if (prefix == nullptr)
    {
        writer.WriteAttribute(name.c_str(), value);
    }
    else
    {
        writer.WriteAttribute(QualifiedAttributeName(name, *prefix).c_str(), value);
    }
}

MSAXTagWriterNS::MSAXTagWriterNS(MSAXWriter& writer, std::wstring const& tag, std::wstring const& prefix)
    : MSAXTagWriter(writer, prefix + L":" + tag)
{
}
} // namespace Format_3MF
