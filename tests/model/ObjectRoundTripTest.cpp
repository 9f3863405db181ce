// Round trips of objects, components and build items through a package, across
// model parts: identifiers kept, references two levels deep and into other
// parts written with "path", and a second writing equal to the first.
#include "support/PackageReadBack.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/Object.h"
#include "format3mf/Transformation.h"

#include <gtest/gtest.h>

#include <regex>

using namespace Format_3MF;

namespace
{
struct BuildingModel : TestModelFile
{
    using TestModelFile::_MakeDummyBuild;
};

MMTransformMatrix Translation(double x, double y, double z)
{
    return ParseTransformation(L"1 0 0 0 1 0 0 0 1 " + std::to_wstring(x) + L" " + std::to_wstring(y) + L" " +
                               std::to_wstring(z));
}

Component& AddComponent(Object* holder, Object* object,
                        MMTransformMatrix const& transform = MMTransformMatrix())
{
    holder->m_components.emplace_back();
    holder->m_components.back().m_object = object;
    holder->m_components.back().m_transform = transform;
    return holder->m_components.back();
}

// The root part and the two object parts of a written package; with
// `bare`, without the declarations of prefixes, whose order may change.
std::vector<std::string> PartTexts(std::wstring const& file, bool bare = false)
{
    std::vector<std::string> texts;
    for (char const* part : {"3D/3dmodel.model", "3D/Objects/object_1.model", "3D/Objects/object_2.model"})
    {
        std::string const text = EntryText(file, part);
        texts.push_back(bare ? std::regex_replace(text, std::regex(" xmlns:[a-z]+=\"[^\"]*\""), "") : text);
    }
    return texts;
}
} // namespace

TEST(ObjectRoundTrip, StructureIdentifiersAndReferencesAcrossPartsSurvive)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("objects.3mf");
    {
        TestModelFile model;
        Package package(&model);
        ModelFile* part1 = model.AddRelatedModelFile(L"/3D/Objects/object_1.model");
        ModelFile* part2 = model.AddRelatedModelFile(L"/3D/Objects/object_2.model");
        Object* distant = NewObject(*part1, 1);
        Object* other = NewObject(*part2, 1);
        other->m_name = L"elsewhere";
        Object* assembly = NewObject(*part2, 2);
        AddComponent(assembly, distant, Translation(0, 0, 3));
        AddComponent(assembly, other); // in its own part: no path
        Object* leaf = NewObject(model, 7);
        leaf->m_name = L"leaf \u00e9";
        leaf->m_type = 1;
        leaf->m_metaData[L"colour"] = MetaDataItem(L"blue");
        Object* middle = NewObject(model, 3);
        AddComponent(middle, leaf, Translation(1, 2, 3)).m_uuid = L"11111111-2222-3333-4444-555555555555";
        Object* top = NewObject(model, 12);
        top->m_type = 3;
        top->m_uuid = L"aaaaaaaa-2222-3333-4444-555555555555";
        for (Object* object : {middle, leaf, other, assembly})
        {
            AddComponent(top, object);
        }
        top->m_ondamxID = 4;
        top->m_ondamxUUID = L"u-4";
        top->m_sliceStack.m_id = 9;
        top->m_sliceStack.m_modelFile = model.AddRelatedModelFile(L"/3D/Slices/stack.model");
        top->m_toolPaths.push_back({5, nullptr});

        Build::Item item;
        item.m_objectID = 12;
        item.m_transform = Translation(10, 0, 0);
        item.m_uuid = L"bbbbbbbb-2222-3333-4444-555555555555";
        item.m_metaData[L"note"] = MetaDataItem(L"first");
        Build::Item remote;
        remote.m_objectID = 1;
        remote.m_modelFile = part2;
        model.GetBuild().m_items = {item, remote};
        ASSERT_TRUE(WritePackage(package, file));
    }
    EXPECT_EQ(std::string::npos, PythonCheck(file).find("python failed"));
    // Two components and the remote item name the second part, one component
    // of that part the first; only the root requires the extension. Where
    // each path leads is what reading it back shows.
    std::vector<std::string> const written = PartTexts(file);
    EXPECT_EQ(3u, Occurrences(written[0], "p:path=")) << written[0];
    EXPECT_EQ(1u, Occurrences(written[0], R"(requiredextensions="p")")) << written[0];
    EXPECT_EQ(0u, Occurrences(written[1], "p:path=")) << written[1];
    EXPECT_EQ(1u, Occurrences(written[2], "p:path=")) << written[2];

    // What was read is checked by writing it again: names, types, uuids,
    // metadata, transforms, identifiers and paths must come back alike. What
    // the text can't show is checked here: that references reach the objects.
    ReadBack<> read(file);
    ASSERT_TRUE(read.ok) << read.Error();
    TestModelFile& model = read.model;
    ASSERT_EQ(3u, model.GetModelFiles().size());
    ModelFile* part2 = model.GetRelatedModelFile(L"/3D/Objects/object_2.model");
    Object* top = ObjectOf(&model, 12);
    ASSERT_TRUE(top && top->m_components.size() == 4u);
    Object* const expected[] = {ObjectOf(&model, 3), ObjectOf(&model, 7), ObjectOf(part2, 1),
                                ObjectOf(part2, 2)};
    for (std::size_t i = 0; i < 4; ++i)
    {
        EXPECT_EQ(expected[i], top->m_components[i].m_object) << i;
        EXPECT_EQ(i < 2 ? &model : part2, top->m_components[i].m_modelFile) << i;
    }
    Object const* assembly = ObjectOf(part2, 2);
    ASSERT_TRUE(assembly && assembly->m_components.size() == 2u);
    EXPECT_EQ(ObjectOf(model.GetRelatedModelFile(L"/3D/Objects/object_1.model"), 1),
              assembly->m_components[0].m_object);
    EXPECT_EQ(ObjectOf(part2, 1), assembly->m_components[1].m_object);
    EXPECT_EQ(ObjectOf(&model, 7), ObjectOf(&model, 3)->m_components[0].m_object);
    EXPECT_EQ(part2, model.GetBuild().m_items[1].m_modelFile);
    EXPECT_EQ(nullptr, top->_GetSliceStack()); // the part names no stack
    EXPECT_EQ(PrefixOndAMX, model.GetPrefix(NamespaceOndAMX));

    std::wstring const again = scratch.File("again.3mf");
    ASSERT_TRUE(WritePackage(read.package, again));
    EXPECT_EQ(PartTexts(file, true), PartTexts(again, true));
}

// Every name of a part reaches the one model file of that part, whichever
// part asks: the root owns them all, the asking part holds the relationship.
// A new object goes to the root part, or with separate files to a part of
// its own; the dummy build lists objects for the root model only.
TEST(ModelParts, OneModelPerPartAndTheDummyBuildOfTheRootOnly)
{
    BuildingModel root;
    Package package(&root);
    ModelFile* a = root.AddRelatedModelFile(L"/3D/Objects/a.model");
    EXPECT_EQ(a, root.AddRelatedModelFile(L"/3D/Objects/a.model"));
    EXPECT_EQ(a, a->AddRelatedModelFile(L"3D/Objects/a.model"));
    EXPECT_EQ(a, a->AddRelatedModelFile(L"\\3D\\Objects\\a.model"));
    EXPECT_EQ(&root, a->AddRelatedModelFile(L"/3D/3dmodel.model"));
    ModelFile* b = a->AddRelatedModelFile(L"/3D/Objects/b.model");
    EXPECT_EQ(b, root.AddRelatedModelFile(L"/3D/Objects/b.model"));
    EXPECT_EQ(2u, root.GetModelFiles().size());
    EXPECT_TRUE(a->GetModelFiles().empty());
    EXPECT_EQ(a, b->GetParent());
    EXPECT_EQ(&root, b->GetRootModelFile());
    ASSERT_EQ(1u, root.GetRelsFile().GetRelations().size());
    ASSERT_EQ(1u, a->GetRelsFile().GetRelations().size());
    EXPECT_EQ(L"/3D/Objects/b.model", a->GetRelsFile().GetRelations()[0].m_target);

    PackageWriteContext context;
    EXPECT_EQ(L"/3D/Slices/Slices.model", root.GenerateRelatedSliceFileName(context));
    BuildingModel related;
    related.m_package = &package;
    NewObject(related, 4);
    related._MakeDummyBuild();
    EXPECT_TRUE(related.GetBuild().m_items.empty());
    EXPECT_EQ(&root, Utilities::AddNewObject(&root, &context)->GetModelFile());
    NewObject(*b, 1);
    context.Objects.m_separateFiles = true;
    Object* const separate = Utilities::AddNewObject(&root, &context);
    EXPECT_EQ(L"/3D/Objects/Object.model", separate->GetModelFile()->GetFileNameInPackage());
    EXPECT_EQ(1, separate->m_id);
    root._MakeDummyBuild();
    ASSERT_EQ(3u, root.GetBuild().m_items.size());
    EXPECT_EQ(nullptr, root.GetBuild().m_items[0].m_modelFile);
    EXPECT_EQ(b, root.GetBuild().m_items[1].m_modelFile);
    EXPECT_EQ(separate->GetModelFile(), root.GetBuild().m_items[2].m_modelFile);
}
