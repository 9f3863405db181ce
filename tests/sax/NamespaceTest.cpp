// Tests of namespace scopes and lookups, and of the value text streams.
#include "SaxTestSupport.h"

#include "sax/MStreamText.h"
#include "sax/XMLNamespaceHandler.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <tuple>

namespace
{
using OndAM::SaxUtilities::XMLNamespaceHandler;

// A reader that opens a namespace scope per element, as the library's
// readers do, and records how the names of each element resolve.
class ScopedReader : public ISAXPersistHelper, public XMLNamespaceHandler
{
public:
    ScopedReader(XMLNamespaceHandler const* parent, std::vector<std::wstring>& seen, bool fromMap)
        : XMLNamespaceHandler(parent), m_seen(seen), m_fromMap(fromMap)
    {
    }

    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override
    {
        auto* child = new ScopedReader(this, m_seen, m_fromMap);
        m_fromMap ? child->UpdateNamespaces(reader.GetAttributes()) : child->UpdateNamespaces(reader);
        std::wstring prefix, uri, local, m, d;
        bool const bound = child->SplitName(tag, prefix, uri, local);
        bool const hasM = child->GetNamespacePrefix(L"M", m), hasD = child->GetNamespacePrefix(L"D", d);
        m_seen.push_back(local + L"=" + (bound ? uri : L"?") + L" M:" + (hasM ? m : L"?") + L" D:" +
                         (hasD ? d : L"?"));
        reader.PushHandler(child);
        return true;
    }

private:
    std::vector<std::wstring>& m_seen;
    bool m_fromMap;
};

// Each element's name resolves in its scope, and each namespace's prefix
// is found there unless an inner declaration hides it; "xmlnsx" declares
// nothing and "xml" is always bound.
TEST(SaxNamespaces, ScopesInheritRedefineAndUndeclare)
{
    std::string const document =
        "<m:model xmlns=\"D\" xmlns:m=\"M\" xmlnsx=\"X\"><a/><m:b xmlns:m=\"N\"><m:c/>"
        "<d xmlns=\"\"/></m:b><m:e/><x:f/><xml:g/><xmlnsx:h/></m:model>";
    std::vector<std::wstring> const expected = {
        L"model=M M:m D:", L"a=D M:m D:", L"b=N M:? D:", L"c=N M:? D:",
        L"d= M:? D:?",     L"e=M M:m D:", L"f=? M:m D:", L"g=http://www.w3.org/XML/1998/namespace M:m D:",
        L"h=? M:m D:"};
    for (bool fromMap : {false, true})
    {
        std::vector<std::wstring> seen;
        ScopedReader root(nullptr, seen, fromMap);
        ASSERT_TRUE(Read(document, root));
        EXPECT_EQ(seen, expected);
    }
}

// Flags print as digits; they read as digits or words, counts read up to
// the largest; a word that is no flag, a sign or nothing fails and leaves
// the value alone.
TEST(SaxStreamText, FormatsAndParsesValues)
{
    MStreamTextOut out;
    out << true << L" " << false << L" " << std::int32_t(-42) << L" " << 7000000000L;
    EXPECT_EQ(out.str(), L"1 0 -42 7000000000");

    bool a = false, b = true, c = false;
    std::uint64_t n = 0, m = 0;
    MStreamTextIn in(L" true 0\t1 18446744073709551615 42 ");
    EXPECT_TRUE(in >> a >> b >> c >> n >> m);
    EXPECT_EQ(
        std::make_tuple(true, false, true, std::numeric_limits<std::uint64_t>::max(), std::uint64_t(42)),
        std::make_tuple(a, b, c, n, m));
    bool flag = true;
    std::uint64_t untouched = 5;
    MStreamTextIn bad(L"yes 3");
    EXPECT_FALSE(bad >> flag >> untouched);
    for (wchar_t const* text : {L"-1", L""})
    {
        MStreamTextIn count(text);
        EXPECT_FALSE(count >> untouched) << text;
    }
    EXPECT_EQ(std::make_pair(true, std::uint64_t(5)), std::make_pair(flag, untouched));
}
} // namespace
