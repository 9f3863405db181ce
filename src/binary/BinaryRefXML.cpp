// The "bin" element's attributes in both directions.
#include "binary/BinaryRefXML.h"

#include "sax/SAXWriter.h"

#include <sstream>

namespace Format_3MF
{
BinaryRefRead::BinaryRefRead(BinaryRef* ref, PackageReadContext* context)
    : XMLReadHandler(context), m_ref(ref)
{
}

bool BinaryRefRead::HandleAttributes(MSAXReader& reader)
{
    std::wstring text;
    if (reader.GetAttributeString(text, L"ref"))
    {
        m_ref->m_ref = text;
    }
    if (reader.GetAttributeString(text, L"format"))
    {
        m_ref->m_format = text;
    }
    bool const hasPos = reader.ReadAttribute(m_ref->m_pos, L"pos");
    // A stream, as this attribute has always been read: a sign or trailing
    // text passes, and whatever the count then claims is checked against
    // the part before anything is read.
    bool hasCount = false;
    if (reader.GetAttributeString(text, L"count") && !text.empty())
    {
        std::wistringstream stream(text);
        std::uint64_t count = 0;
        if (stream >> count)
        {
            m_ref->m_count = count;
            hasCount = true;
        }
    }
    return hasPos && hasCount;
}

BinaryRefWrite::BinaryRefWrite(BinaryRef const* ref, PackageWriteContext* context)
    : XMLWriteHandler(context), m_ref(ref)
{
}

bool BinaryRefWrite::Write(MSAXWriter& writer) const
{
    if (!m_ref->m_ref.empty())
    {
        writer.WriteAttribute(L"ref", m_ref->m_ref);
    }
    if (!m_ref->m_format.empty())
    {
        writer.WriteAttribute(L"format", m_ref->m_format);
    }
    if (m_ref->m_pos >= 0)
    {
        std::wostringstream pos;
        pos << m_ref->m_pos;
        writer.WriteAttribute(L"pos", pos.str());
    }
    if (m_ref->m_count != 0)
    {
        std::wostringstream count;
        count << m_ref->m_count;
        writer.WriteAttribute(L"count", count.str());
    }
    return true;
}
} // namespace Format_3MF
