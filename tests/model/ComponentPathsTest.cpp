// Components that place objects of other model parts: written with "path"
// and the production extension declared, read back to the same objects, and
// a project in the slicers' layout read, written and read again unchanged.

#include "support/SlicerPackages.h"
#include "support/TestModelFile.h"

#include "format3mf/Object.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"
#include "format3mf/PackageWrite.h"
#include "format3mf/Transformation.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

namespace
{
std::string ReadError(PackageRead const& reader)
{
    auto const& errors = reader.GetContext().m_errors;
    return errors.empty() ? std::string() : StringConversion::ConvertNativeToUTF8(errors.front());
}

// The three model parts of a written package.
std::vector<std::string> PartTexts(std::wstring const& file)
{
    return {EntryText(file, "3D/3dmodel.model"), EntryText(file, "3D/Objects/object_1.model"),
            EntryText(file, "3D/Objects/object_2.model")};
}

void Write(Package& package, std::wstring const& file)
{
    PackageWrite writer(&package, PackageWriteOptions());
    ASSERT_TRUE(writer.Write(file, nullptr));
}
} // namespace

TEST(ComponentPaths, WrittenWithPathAndReadBackToTheSameObjects)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("components.3mf");
    {
        TestModelFile model;
        Package package(&model);
        ModelFile* part1 = model.AddRelatedModelFile(L"/3D/Objects/object_1.model");
        ModelFile* part2 = model.AddRelatedModelFile(L"/3D/Objects/object_2.model");
        Object* leaf = NewObject(*part1, 1);
        Object* other = NewObject(*part2, 1);
        Object* middle = NewObject(*part2, 2);
        middle->m_components.resize(1);
        middle->m_components[0].m_object = leaf;
        middle->m_components[0].m_transform = ParseTransformation(L"1 0 0 0 1 0 0 0 1 1 2 3");
        Object* own = NewObject(model, 4);
        Object* top = NewObject(model, 5);
        top->m_components.resize(3);
        top->m_components[0].m_object = other;
        top->m_components[1].m_object = middle;
        top->m_components[2].m_object = own;
        Build::Item item;
        item.m_objectID = 5;
        model.GetBuild().m_items.push_back(item);
        Write(package, file);
    }
    EXPECT_EQ(std::string::npos, PythonCheck(file).find("python failed"));
    std::vector<std::string> const written = PartTexts(file);
    EXPECT_EQ(2u, Occurrences(written[0], R"(p:path="/3D/Objects/object_2.model")")) << written[0];
    EXPECT_EQ(2u, Occurrences(written[0], "p:path=")) << written[0];
    EXPECT_EQ(1u, Occurrences(written[0], R"(requiredextensions="p")")) << written[0];
    EXPECT_EQ(1u, Occurrences(written[2], R"(p:path="/3D/Objects/object_1.model")")) << written[2];
    EXPECT_EQ(1u, Occurrences(written[2], "xmlns:p=\"" + slicer::kProduction + "\"")) << written[2];
    EXPECT_EQ(0u, Occurrences(written[1], "p:path=")) << written[1];

    TestModelFile model;
    Package package(&model);
    PackageRead reader(&package, PackageReadOptions());
    ASSERT_TRUE(reader.Read(file, nullptr)) << ReadError(reader);
    ASSERT_EQ(2u, model.GetModelFiles().size());
    ModelFile const* part1 = model.GetRelatedModelFile(L"/3D/Objects/object_1.model");
    ModelFile const* part2 = model.GetRelatedModelFile(L"/3D/Objects/object_2.model");
    Object* top = ObjectOf(&model, 5);
    ASSERT_NE(nullptr, top);
    ASSERT_EQ(3u, top->m_components.size());
    EXPECT_EQ(ObjectOf(part2, 1), top->m_components[0].m_object);
    EXPECT_EQ(part2, top->m_components[0].m_modelFile);
    EXPECT_EQ(1, top->m_components[0].m_objectID);
    Object* middle = top->m_components[1].m_object;
    ASSERT_NE(nullptr, middle);
    EXPECT_EQ(ObjectOf(part2, 2), middle);
    EXPECT_EQ(ObjectOf(&model, 4), top->m_components[2].m_object);
    EXPECT_EQ(&model, top->m_components[2].m_modelFile);
    ASSERT_EQ(1u, middle->m_components.size());
    EXPECT_EQ(ObjectOf(part1, 1), middle->m_components[0].m_object);
    EXPECT_EQ(3.0, middle->m_components[0].m_transform.GetElement(2, 3));

    std::wstring const again = scratch.File("again.3mf");
    Write(package, again);
    EXPECT_EQ(written, PartTexts(again));
}

// A project as the slicers save it reads, writes and reads again to the same
// structure, and the second writing gives the same parts as the first.
TEST(ComponentPaths, SlicerProjectSurvivesWritingAndReadingAgain)
{
    using slicer::Assembly;
    using slicer::ComponentElement;
    using slicer::Part;
    PackageScratch scratch;
    std::wstring const original = scratch.File("slicer.3mf");
    std::string const box = slicer::BoxMesh(1, 2, 3);
    slicer::WriteSlicerPackage(
        original,
        Part(Assembly(8, ComponentElement(1, "/3D/Objects/object_1.model", "1 0 0 0 1 0 0 0 1 -5 0 0") +
                             ComponentElement(2, "/3D/Objects/object_2.model", "0 1 0 -1 0 0 0 0 1 5 0 0")),
             R"(<item objectid="8" transform="1 0 0 0 1 0 0 0 1 128 128 2.5"/>)"),
        {{"3D/Objects/object_1.model", Part(R"(<object id="1" type="model">)" + box + "</object>")},
         {"3D/Objects/object_2.model", Part(R"(<object id="1" type="model">)" + box + "</object>" +
                                            Assembly(2, ComponentElement(1, "", "1 0 0 0 1 0 0 0 1 0 0 3") +
                                                            ComponentElement(1, "/3D/Objects/object_1.model",
                                                                             "1 0 0 0 1 0 0 0 1 0 0 6")))}});

    std::vector<std::string> texts;
    std::wstring source = original;
    for (int round = 0; round < 2; ++round)
    {
        SCOPED_TRACE(round);
        TestModelFile model;
        Package package(&model);
        PackageRead reader(&package, PackageReadOptions());
        ASSERT_TRUE(reader.Read(source, nullptr)) << ReadError(reader);
        ASSERT_EQ(2u, model.GetModelFiles().size());
        ModelFile const* part1 = model.GetRelatedModelFile(L"/3D/Objects/object_1.model");
        ModelFile const* part2 = model.GetRelatedModelFile(L"/3D/Objects/object_2.model");
        Object const* top = ObjectOf(&model, 8);
        ASSERT_NE(nullptr, top);
        ASSERT_EQ(2u, top->m_components.size());
        EXPECT_EQ(ObjectOf(part1, 1), top->m_components[0].m_object);
        EXPECT_EQ(-5.0, top->m_components[0].m_transform.GetElement(0, 3));
        Object const* assembly = top->m_components[1].m_object;
        ASSERT_EQ(ObjectOf(part2, 2), assembly);
        ASSERT_EQ(2u, assembly->m_components.size());
        EXPECT_EQ(ObjectOf(part2, 1), assembly->m_components[0].m_object);
        EXPECT_EQ(ObjectOf(part1, 1), assembly->m_components[1].m_object);
        EXPECT_EQ(6.0, assembly->m_components[1].m_transform.GetElement(2, 3));
        ASSERT_EQ(1u, model.GetBuild().m_items.size());
        EXPECT_EQ(128.0, model.GetBuild().m_items[0].m_transform.GetElement(1, 3));

        std::wstring const written = scratch.File("written" + std::to_string(round) + ".3mf");
        Write(package, written);
        texts.push_back(EntryText(written, "3D/3dmodel.model") +
                        EntryText(written, "3D/Objects/object_2.model"));
        source = written;
    }
    EXPECT_EQ(texts[0], texts[1]);
}

// Every name of a part reaches the one model file of that part, whichever
// part asks; the root owns them all, and the asking part holds the
// relationship.
TEST(ComponentPaths, OnePartOneModel)
{
    TestModelFile root;
    Package package(&root);
    ModelFile* a = root.AddRelatedModelFile(L"/3D/Objects/a.model");
    EXPECT_EQ(a, a->AddRelatedModelFile(L"3D/Objects/a.model"));
    EXPECT_EQ(a, a->AddRelatedModelFile(L"\\3D\\Objects\\a.model"));
    EXPECT_EQ(&root, a->AddRelatedModelFile(L"/3D/3dmodel.model"));
    ModelFile* b = a->AddRelatedModelFile(L"/3D/Objects/b.model");
    EXPECT_EQ(b, root.AddRelatedModelFile(L"/3D/Objects/b.model"));
    EXPECT_EQ(2u, root.GetModelFiles().size());
    EXPECT_TRUE(a->GetModelFiles().empty());
    EXPECT_EQ(a, b->GetParent());
    EXPECT_EQ(&root, b->GetRootModelFile());
    ASSERT_EQ(1u, a->GetRelsFile().GetRelations().size());
    EXPECT_EQ(L"/3D/Objects/b.model", a->GetRelsFile().GetRelations()[0].m_target);
}
