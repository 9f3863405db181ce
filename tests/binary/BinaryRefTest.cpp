// The "bin" element's attributes: what is printed for each value, in which
// order, and what reads back.
#include "binary/BinaryRefXML.h"

#include "sax/SaxUtilities.h"

#include <gtest/gtest.h>

#include <sstream>

namespace
{
std::string Printed(Format_3MF::BinaryRef const& ref)
{
    Format_3MF::PackageWriteContext context;
    std::ostringstream stream;
    OndAM::SaxUtilities::WriteOptions options;
    options.m_declaration = false;
    options.m_rootElement = L"bin";
    OndAM::SaxUtilities::WriteStream(stream, Format_3MF::BinaryRefWrite(&ref, &context), options);
    std::string text = stream.str();
    if (!text.empty() && text.back() == '\n')
    {
        text.pop_back();
    }
    return text;
}

// Reads the attributes of the document element into a ref that starts as
// `ref`, and tells whether HandleAttributes succeeded.
struct ReadBack : ISAXPersistHelper
{
    Format_3MF::PackageReadContext context;
    Format_3MF::BinaryRef ref;
    bool ok = false;

    bool HandleTag(std::wstring const&, MSAXReader& reader) override
    {
        ok = Format_3MF::BinaryRefRead(&ref, &context).HandleAttributes(reader);
        return true;
    }
};
} // namespace

TEST(BinaryRef, PrintedAttributesAndWhatReadsBack)
{
    struct Case
    {
        Format_3MF::BinaryRef ref;
        std::string printed;
        bool readsBack;
    };
    Format_3MF::BinaryRef named(12, 3, L"int32_3");
    named.m_ref = L"/3D/3dmodel.model.bin";
    Case const cases[] = {
        {named, R"(<bin ref="/3D/3dmodel.model.bin" format="int32_3" pos="12" count="3"/>)", true},
        {Format_3MF::BinaryRef(0, 5, L"float3"), R"(<bin format="float3" pos="0" count="5"/>)", true},
        {Format_3MF::BinaryRef(-1, 5, L"float3"), R"(<bin format="float3" count="5"/>)", false},
        // No records: no count, and such an element doesn't read.
        {Format_3MF::BinaryRef(36, 0, L"float3"), R"(<bin format="float3" pos="36"/>)", false},
        {Format_3MF::BinaryRef(4294967296000, 18446744073709551615u, L""),
         R"(<bin pos="4294967296000" count="18446744073709551615"/>)", true},
    };
    for (Case const& entry : cases)
    {
        std::string const printed = Printed(entry.ref);
        EXPECT_EQ(entry.printed, printed);
        ReadBack back;
        back.ref.m_ref = L"kept unless given";
        std::istringstream stream(printed);
        ASSERT_TRUE(OndAM::SaxUtilities::ReadStream(stream, back)) << printed;
        EXPECT_EQ(entry.readsBack, back.ok) << printed;
        if (entry.readsBack)
        {
            EXPECT_EQ(entry.ref.m_pos, back.ref.m_pos) << printed;
            EXPECT_EQ(entry.ref.m_count, back.ref.m_count) << printed;
            EXPECT_EQ(entry.ref.m_format, back.ref.m_format) << printed;
            EXPECT_EQ(entry.ref.m_ref.empty() ? L"kept unless given" : entry.ref.m_ref, back.ref.m_ref)
                << printed;
        }
    }
}
