// A model file of several meshes on the way out: an object and a build item
// per mesh, in the root part or in related parts of their own.
#include "export/ExportSupport.h"
#include "support/PackageTestSupport.h"

#include "format3mf/Importer.h"
#include "format3mf/PackageWrite.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

TEST(StlModelFileWrite, EveryMeshIsAnObjectWithABuildItemInOrder)
{
    std::vector<std::unique_ptr<MStlBase>> meshes;
    std::vector<MStlBase*> listed;
    for (std::int32_t size : {10000, 20000, 30000})
    {
        meshes.push_back(MakeSquare(size));
        meshes.back()->SetName((L"part " + std::to_wstring(size)).c_str());
        listed.push_back(meshes.back().get());
    }
    PreparedModel prepared(listed);
    std::string const xml = prepared.Xml();
    std::vector<Attributes> const objects = Elements(xml, "object");
    std::vector<Attributes> const items = Elements(xml, "item");
    ASSERT_EQ(3u, objects.size());
    ASSERT_EQ(3u, items.size());
    for (std::size_t i = 0; i < 3; ++i)
    {
        EXPECT_EQ(objects[i].at("id"), items[i].at("objectid"));
        EXPECT_EQ(StringConversion::ConvertNativeToUTF8(listed[i]->GetName()), objects[i].at("name"));
    }
    EXPECT_EQ("2.0000", Elements(xml, "vertex").at(5).at("x")) << "the second mesh's own points";
}

// With objects in files of their own, the root keeps the build, whose items
// name the related parts; the package reads back with all three meshes.
TEST(StlModelFileWrite, ObjectsInRelatedPartsReadBack)
{
    PackageScratch scratch;
    std::wstring const path = scratch.File("objects.3mf");
    std::vector<std::unique_ptr<MStlBase>> meshes;
    ModelFileStlBase model;
    for (std::int32_t size : {10000, 20000, 30000})
    {
        meshes.push_back(MakeSquare(size));
        model.AddStl(meshes.back().get());
    }
    Package package(&model);
    PackageWriteOptions options;
    options.Objects.m_separateFiles = true;
    PackageWrite(&package, options).Write(path, nullptr);
    std::string const names = PythonCheck(path);
    for (char const* part :
         {"3D/Objects/Object.model", "3D/Objects/Object(2).model", "3D/Objects/Object(3).model"})
    {
        EXPECT_NE(std::string::npos, names.find(part)) << names;
    }
    EXPECT_TRUE(model.GetResources().m_objects.empty());
    ASSERT_EQ(3u, model.GetBuild().m_items.size());
    EXPECT_EQ(model.GetModelFiles()[2].get(), model.GetBuild().m_items[2].m_modelFile);

    std::vector<std::unique_ptr<MStlBase>> back;
    format3mf::import::Importer importer;
    importer.SetOutputParts(back);
    importer.SetFileName(path);
    ASSERT_EQ(format3mf::import::Importer::Success, importer.Operate(nullptr));
    ASSERT_EQ(3u, back.size());
    EXPECT_EQ(30000, back[2]->PointAt(2).GetX());
}
