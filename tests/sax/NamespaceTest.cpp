// Tests of namespace scopes and lookups, and of the value text streams.
#include "SaxTestSupport.h"

#include "sax/MStreamText.h"
#include "sax/XMLNamespaceHandler.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>

namespace
{
using OndAM::SaxUtilities::Namespace;
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
        if (m_fromMap)
        {
            child->UpdateNamespaces(reader.GetAttributes());
        }
        else
        {
            child->UpdateNamespaces(reader);
        }
        std::wstring prefix, uri, local;
        bool const bound = child->SplitName(tag, prefix, uri, local);
        m_seen.push_back(local + L"=" + (bound ? uri : L"?"));
        reader.PushHandler(child);
        return true;
    }

private:
    std::vector<std::wstring>& m_seen;
    bool m_fromMap;
};

TEST(SaxNamespaces, ScopesInheritRedefineAndUndeclare)
{
    std::string const document = "<m:model xmlns=\"D\" xmlns:m=\"M\">"
                                 "<a/><m:b xmlns:m=\"N\"><m:c/><d xmlns=\"\"/></m:b><m:e/><x:f/></m:model>";
    std::vector<std::wstring> const expected = {L"model=M", L"a=D", L"b=N", L"c=N", L"d=", L"e=M", L"f=?"};
    for (bool fromMap : {false, true})
    {
        std::vector<std::wstring> seen;
        ScopedReader root(nullptr, seen, fromMap);
        ASSERT_TRUE(Read(document, root));
        EXPECT_EQ(seen, expected);
    }
}

TEST(SaxNamespaces, LookupsBothWays)
{
    XMLNamespaceHandler outer;
    outer.UpdateNamespaces({{L"xmlns", L"D"}, {L"xmlns:p", L"P"}, {L"xmlnsx", L"not a declaration"}});
    XMLNamespaceHandler inner(&outer);
    inner.AddNamespace(L"p", L"Q");

    std::wstring text;
    EXPECT_TRUE(inner.GetNamespaceURI(L"", text));
    EXPECT_EQ(text, L"D");
    EXPECT_TRUE(inner.GetNamespaceURI(L"p", text));
    EXPECT_EQ(text, L"Q");
    EXPECT_TRUE(outer.GetNamespaceURI(L"p", text));
    EXPECT_EQ(text, L"P");
    EXPECT_FALSE(outer.GetNamespaceURI(L"xmlnsx", text));
    EXPECT_TRUE(inner.GetNamespaceURI(L"xml", text));
    EXPECT_EQ(text, L"http://www.w3.org/XML/1998/namespace");

    // P is still declared outside, but its prefix is hidden inside.
    EXPECT_FALSE(inner.GetNamespacePrefix(L"P", text));
    EXPECT_TRUE(outer.GetNamespacePrefix(L"P", text));
    EXPECT_EQ(text, L"p");
    EXPECT_TRUE(inner.GetNamespacePrefix(L"Q", text));
    EXPECT_EQ(text, L"p");
    EXPECT_TRUE(inner.GetNamespacePrefix(L"D", text));
    EXPECT_EQ(text, L"");
}

TEST(SaxStreamText, FormatsAndParsesValues)
{
    MStreamTextOut out;
    out << true << L" " << false << L" " << std::int32_t(-42) << L" " << 7000000000L;
    EXPECT_EQ(out.str(), L"1 0 -42 7000000000");

    bool a = false, b = true, c = false;
    std::uint64_t n = 0, m = 0;
    MStreamTextIn in(L" true 0\t1 18446744073709551615 42 ");
    in >> a >> b >> c >> n >> m;
    EXPECT_TRUE(in);
    EXPECT_TRUE(a);
    EXPECT_FALSE(b);
    EXPECT_TRUE(c);
    EXPECT_EQ(n, std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(m, 42u);

    std::uint64_t untouched = 5;
    bool flag = true;
    MStreamTextIn bad(L"yes 3");
    bad >> flag >> untouched;
    EXPECT_TRUE(bad.fail());
    EXPECT_TRUE(flag);
    EXPECT_EQ(untouched, 5u);
    MStreamTextIn negative(L"-1");
    negative >> untouched;
    EXPECT_TRUE(negative.fail());
    MStreamTextIn empty(L"");
    empty >> untouched;
    EXPECT_TRUE(empty.fail());
    EXPECT_EQ(untouched, 5u);
}
} // namespace
