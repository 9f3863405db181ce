// Tests of part naming: relationship targets, content type lookup, and the ids
// a package hands out.
#include "support/TestModelFile.h"

#include "format3mf/Content.h"
#include "format3mf/CustomFile.h"
#include "format3mf/Package.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

TEST(RelsFile, NamesAndTargetResolution)
{
    TestModelFile model;
    RelsFile const& own = model.GetRelsFile();
    EXPECT_EQ(L"/3D/_rels/3dmodel.model.rels", own.GetFileNameInPackage());
    RelsFile const packageRels(nullptr);
    EXPECT_EQ(L"_rels/.rels", packageRels.GetFileNameInPackage());

    struct Case
    {
        RelsFile const* rels;
        wchar_t const* target;
        wchar_t const* resolved;
    };
    for (Case const& c : {Case{&own, L"../a.png", L"/a.png"}, Case{&own, L"tex/./b.png", L"/3D/tex/b.png"},
                          Case{&own, L"/x/../y.png", L"/x/../y.png"}, Case{&own, L"t\\c.png", L"/3D/t/c.png"},
                          Case{&packageRels, L"d.png", L"/d.png"}, Case{&own, L"", L""}})
    {
        EXPECT_EQ(c.resolved, c.rels->GetPackagefile({c.target, L"", L""}).GetFileNameInPackage())
            << c.target;
    }

    RelsFile rels(nullptr);
    rels.AddRelationship({L"/a", L"rel0", L"first"});
    rels.AddRelationship({L"/a", L"rel1", L"second"});
    ASSERT_EQ(1u, rels.GetRelations().size());
    EXPECT_EQ(L"first", rels.GetRelations()[0].m_type);
}

TEST(Content, LookupFollowsListOrderAndLowersTheName)
{
    Content content;
    EXPECT_EQ(L"", content.GetElement(L"/noextension").m_contentType); // empty list: no throw
    content.AddDefaultElement(L"png", L"image/png");
    content.AddDefaultElement(L"model", L"model");
    content.AddOverrideElement(L"/3D/3dmodel.model", L"override");
    content.AddDefaultElement(L"png", L"texture"); // replaces in place
    ASSERT_EQ(3u, content.GetElements().size());
    EXPECT_EQ(L"texture", content.GetElement(L"/A.PNG").m_contentType);
    EXPECT_EQ(L"model", content.GetElement(L"/3D/3dmodel.model").m_contentType); // list order wins
    EXPECT_EQ(L"", content.GetElement(L"/x.jpg").m_contentType);
    EXPECT_THROW(content.GetElement(L"/folder.d/noextension"), std::out_of_range);

    Content overrides;
    overrides.AddOverrideElement(L"/Metadata/Thumb", L"image/png");
    overrides.AddDefaultElement(L"rels", L"r");
    EXPECT_EQ(L"image/png", overrides.GetElement(L"/metadata/thumb").m_contentType);
    EXPECT_EQ(L"r", overrides.GetElement(L"/_rels/.rels").m_contentType); // all extension
}

TEST(Package, RegistrationGivesContentTypesAndRelationshipIds)
{
    TestModelFile model;
    Package package(&model);
    EXPECT_EQ(3u, package.GetPackageFiles().size());
    EXPECT_EQ(2u, package.GetContent().GetElements().size());
    package.RegisterRelationString(L"rel2");
    EXPECT_EQ(L"rel1", package.GetNewRelationString());
    EXPECT_EQ(L"rel3", package.GetNewRelationString()); // rel2 is known

    auto custom = std::make_shared<CustomFile>(L"/tmp/some file.txt", nullptr);
    custom->SetFolderInPackage(L"/Metadata");
    custom->SetContentInfo(L"text/plain", L"");
    package.AddCustomFile(custom, true, nullptr);
    package.AddPackageFile(custom.get(), true, nullptr); // listed once; the second relationship is refused
    EXPECT_EQ(L"/Metadata/some file.txt", custom->GetFileNameInPackage());
    EXPECT_EQ(4u, package.GetPackageFiles().size());
    EXPECT_EQ(L"/Metadata/some file.txt", package.GetContent().GetElements().back().m_partName);
    EXPECT_EQ(2u, package.GetRelsFile().GetRelations().size());
    EXPECT_EQ(nullptr, package.GetPackageFile(L"/metadata/some file.txt")); // exact case only

    Package carrier(nullptr);
    EXPECT_EQ(2u, carrier.GetPackageFiles().size());
    EXPECT_TRUE(carrier.GetRelsFile().GetRelations().empty());
}
