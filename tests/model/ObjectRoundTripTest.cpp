// Round trips of objects, components and build items through a package,
// identifiers and cross-part references included.
#include "support/PackageTestSupport.h"
#include "support/TestModelFile.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/Object.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"
#include "format3mf/PackageWrite.h"
#include "format3mf/Transformation.h"

#include <gtest/gtest.h>

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
} // namespace

// Identifiers are kept as given (never renumbered), components point at the
// right objects two levels deep, and build items reach into a related part.
TEST(ObjectRoundTrip, StructureIdentifiersAndReferencesSurvive)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("objects.3mf");
    {
        TestModelFile model;
        Package package(&model);
        Object* leaf = NewObject(model, 7);
        leaf->m_name = L"leaf \u00e9";
        leaf->m_type = 1;
        leaf->m_metaData[L"colour"] = MetaDataItem(L"blue");
        Object* middle = NewObject(model, 3);
        middle->m_components.push_back({});
        middle->m_components[0].m_object = leaf;
        middle->m_components[0].m_transform = Translation(1, 2, 3);
        middle->m_components[0].m_uuid = L"11111111-2222-3333-4444-555555555555";
        Object* top = NewObject(model, 12);
        top->m_type = 3;
        top->m_uuid = L"aaaaaaaa-2222-3333-4444-555555555555";
        top->m_components.resize(2);
        top->m_components[0].m_object = middle;
        top->m_components[1].m_object = leaf;
        top->m_ondamxID = 4;
        top->m_ondamxUUID = L"u-4";
        ModelFile* slices = model.AddRelatedModelFile(L"/3D/Slices/stack.model");
        top->m_sliceStack.m_id = 9;
        top->m_sliceStack.m_modelFile = slices;
        top->m_toolPaths.push_back({5, nullptr});

        ModelFile* other = model.AddRelatedModelFile(L"/3D/Objects/other.model");
        NewObject(*other, 2)->m_name = L"elsewhere";

        Build::Item item;
        item.m_objectID = 12;
        item.m_transform = Translation(10, 0, 0);
        item.m_uuid = L"bbbbbbbb-2222-3333-4444-555555555555";
        item.m_metaData[L"note"] = MetaDataItem(L"first");
        model.GetBuild().m_items.push_back(item);
        Build::Item remote;
        remote.m_objectID = 2;
        remote.m_modelFile = other;
        model.GetBuild().m_items.push_back(remote);

        PackageWrite writer(&package, PackageWriteOptions());
        ASSERT_TRUE(writer.Write(file, nullptr));
    }
    EXPECT_EQ(std::string::npos, PythonCheck(file).find("python failed"));

    TestModelFile model;
    Package package(&model);
    PackageRead reader(&package, PackageReadOptions());
    ASSERT_TRUE(reader.Read(file, nullptr))
        << (reader.GetContext().m_errors.empty()
                ? std::string()
                : StringConversion::ConvertNativeToUTF8(reader.GetContext().m_errors[0]));
    auto const& objects = model.GetResources().m_objects;
    ASSERT_EQ(3u, objects.size());
    EXPECT_EQ(7, objects[0]->m_id);
    EXPECT_EQ(3, objects[1]->m_id);
    EXPECT_EQ(12, objects[2]->m_id);

    Object* leaf = ObjectOf(&model, 7);
    Object* middle = ObjectOf(&model, 3);
    Object* top = ObjectOf(&model, 12);
    ASSERT_TRUE(leaf && middle && top);
    EXPECT_EQ(L"leaf \u00e9", leaf->m_name);
    EXPECT_EQ(1, leaf->m_type);
    EXPECT_EQ(L"blue", leaf->m_metaData[L"colour"].m_value);
    ASSERT_EQ(1u, middle->m_components.size());
    EXPECT_EQ(leaf, middle->m_components[0].m_object);
    EXPECT_EQ(3.0, middle->m_components[0].m_transform.GetElement(2, 3, false));
    EXPECT_EQ(L"11111111-2222-3333-4444-555555555555", middle->m_components[0].m_uuid);
    ASSERT_EQ(2u, top->m_components.size());
    EXPECT_EQ(middle, top->m_components[0].m_object);
    EXPECT_EQ(leaf, top->m_components[1].m_object);
    EXPECT_TRUE(top->m_components[1].m_transform.IsIdentity());
    EXPECT_EQ(3, top->m_type);
    EXPECT_EQ(L"aaaaaaaa-2222-3333-4444-555555555555", top->m_uuid);
    EXPECT_EQ(4, top->m_ondamxID);
    EXPECT_EQ(L"u-4", top->m_ondamxUUID);
    EXPECT_EQ(9, top->m_sliceStack.m_id);
    ASSERT_NE(nullptr, top->m_sliceStack.m_modelFile);
    EXPECT_EQ(L"/3D/Slices/stack.model", top->m_sliceStack.m_modelFile->GetFileNameInPackage());
    EXPECT_EQ(nullptr, top->_GetSliceStack());
    ASSERT_EQ(1u, top->m_toolPaths.size());
    EXPECT_EQ(5, top->m_toolPaths[0].m_id);
    EXPECT_EQ(&model, top->m_toolPaths[0].m_modelFile);

    auto const& items = model.GetBuild().m_items;
    ASSERT_EQ(2u, items.size());
    EXPECT_EQ(12, items[0].m_objectID);
    EXPECT_EQ(&model, items[0].m_modelFile);
    EXPECT_EQ(10.0, items[0].m_transform.GetElement(0, 3, false));
    EXPECT_EQ(L"first", items[0].m_metaData.at(L"note").m_value);
    ASSERT_NE(nullptr, items[1].m_modelFile);
    Object* remote = ObjectOf(items[1].m_modelFile, 2);
    ASSERT_NE(nullptr, remote);
    EXPECT_EQ(L"elsewhere", remote->m_name);
    EXPECT_EQ(items[1].m_modelFile, remote->GetModelFile());

    EXPECT_EQ(PrefixProduction, model.GetPrefix(NamespaceProduction));
    EXPECT_EQ(PrefixOndAMX, model.GetPrefix(NamespaceOndAMX));
    EXPECT_EQ(std::vector<std::wstring>{PrefixProduction}, model.GetRequiredExtensions());
}

// New objects go to the root part or, with separate files, each to a part of
// its own; the dummy build lists all of them, but only for the root model.
TEST(ObjectRoundTrip, NewObjectsAndTheDummyBuild)
{
    BuildingModel model;
    Package package(&model);
    PackageWriteContext context;
    Object* first = Utilities::AddNewObject(&model, &context);
    EXPECT_EQ(&model, first->GetModelFile());
    EXPECT_EQ(1, first->m_id);
    context.Objects.m_separateFiles = true;
    Object* second = Utilities::AddNewObject(&model, &context);
    Object* third = Utilities::AddNewObject(&model, &context);
    EXPECT_EQ(L"/3D/Objects/Object.model", second->GetModelFile()->GetFileNameInPackage());
    EXPECT_EQ(L"/3D/Objects/Object(2).model", third->GetModelFile()->GetFileNameInPackage());
    EXPECT_EQ(1, second->m_id);

    BuildingModel related;
    related.m_package = &package;
    NewObject(related, 4);
    related._MakeDummyBuild();
    EXPECT_TRUE(related.GetBuild().m_items.empty());

    model._MakeDummyBuild();
    auto const& items = model.GetBuild().m_items;
    ASSERT_EQ(3u, items.size());
    EXPECT_EQ(nullptr, items[0].m_modelFile);
    EXPECT_EQ(second->GetModelFile(), items[1].m_modelFile);
    EXPECT_EQ(third->GetModelFile(), items[2].m_modelFile);
    EXPECT_TRUE(items[2].m_transform.IsIdentity());
}
