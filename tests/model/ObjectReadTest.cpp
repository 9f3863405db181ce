// Tests of reading "object" elements: attributes, children, and hostile
// references and nesting.
#include "support/PackageReadBack.h"

#include "format3mf/Exception.h"
#include "format3mf/Object.h"
#include "format3mf/XMLPersistHelpers.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

namespace
{
// A mesh that only remembers which "mesh" element it came from.
struct TaggedMesh : IMesh
{
    using IMesh::IMesh;
    ISAXReadHelper* _CreateSaxHandlerRead(PackageReadContext*, ISAXReadHelper* parent) override
    {
        struct Reader : ISAXReadHelper
        {
            Reader(TaggedMesh* mesh, ISAXReadHelper* parent) : ISAXReadHelper(parent), m_mesh(mesh) {}
            bool HandleTag(std::wstring const& tag, MSAXReader& reader) override
            {
                reader.GetAttributeString(m_mesh->m_tag, L"tag");
                return tag == L"vertices";
            }
            TaggedMesh* m_mesh;
        };
        return new Reader(this, parent);
    }
    ISAXWriteHelper* _CreateSaxHandlerWrite(PackageWriteContext*,
                                            std::shared_ptr<OndSDK::Common::IProgressDelegate>) const override
    {
        return nullptr;
    }
    void _OnStartWriting(PackageWriteContext*) override {}
    void _OnStopWriting(PackageWriteContext*) override {}
    void _OnStartReading(PackageReadContext*) override {}
    void _OnStopReading(PackageReadContext*) override {}
    std::wstring m_tag;
};

class MeshModelFile : public TestModelFile
{
public:
    using TestModelFile::TestModelFile;

protected:
    ModelFile* _CreateRelatedModelFile(std::wstring const& name) override
    {
        return new MeshModelFile(name, this);
    }
    IMesh* _CreateMesh(Object* object, PackageReadContext*) override { return new TaggedMesh(this, object); }
};

std::string Model(std::string const& resources, std::string const& build = "",
                  std::string const& ns = "http://schemas.microsoft.com/3dmanufacturing/core/2015/02")
{
    return R"(<model xmlns=")" + ns +
           R"(" xmlns:m="http://schemas.microsoft.com/3dmanufacturing/material/2015/02"><resources>)" +
           resources + "</resources><build>" + build + "</build></model>";
}

// A read of the model into meshes that remember their tag.
struct ObjectsRead : ModelRead<MeshModelFile>
{
    using ModelRead::ModelRead;
    Object* object(int id) const { return ObjectOf(&model, id); }
    // The root model part as this library writes it back.
    std::string Rewritten()
    {
        std::wstring const file = File("again.3mf");
        try
        {
            WritePackage(package, file);
        }
        catch (Exception const& error)
        {
            return "write failed: " + StringConversion::ConvertNativeToUTF8(error.m_message);
        }
        return EntryText(file, "3D/3dmodel.model");
    }
};
} // namespace

TEST(ObjectRead, AttributesAndChildren)
{
    ObjectsRead read(Model(R"(<m:colorgroup id="1"><m:color color="#FF0000"/></m:colorgroup>
        <object id="2" type="gizmo" pid="1"><mesh><vertices tag="first"/></mesh><mesh><vertices tag="second"/></mesh></object>
        <object id="3" pid="1" pindex="0" type="solidsupport"><ondamx id="4"/></object>
        <object id="4" pid="77" pindex="0"/>)"));
    ASSERT_TRUE(read.ok) << read.Error();
    Object* gizmo = read.object(2);
    EXPECT_EQ(0, gizmo->m_type);
    EXPECT_EQ(read.model.GetReference(1), gizmo->m_propertyGroup);
    EXPECT_EQ(-1, gizmo->m_propertyIndex);
    ASSERT_TRUE(gizmo->m_mesh);
    EXPECT_EQ(L"second", static_cast<TaggedMesh*>(gizmo->m_mesh.get())->m_tag);
    Object* support = read.object(3);
    EXPECT_EQ(2, support->m_type);
    EXPECT_EQ(0, support->m_propertyIndex);
    EXPECT_EQ(-1, support->m_ondamxID) << "an ondamx child without UUID is dropped";
    EXPECT_EQ(nullptr, read.object(4)->m_propertyGroup) << "a pid that finds nothing";

    std::string const text = read.Rewritten();
    EXPECT_NE(std::string::npos, text.find(R"(<object id="2" type="model"/>)")) << text;
    EXPECT_NE(std::string::npos, text.find(R"(<object id="3" type="solidsupport" pid="1" pindex="0"/>)"))
        << text;
    EXPECT_NE(std::string::npos, text.find(R"(<object id="4" type="model"/>)")) << text;
}

TEST(ObjectRead, MaterialIdOnlyInTheCoreOf2013)
{
    std::string const objects = R"(<m:colorgroup id="6"><m:color color="#00FF00"/></m:colorgroup>
        <object id="1" materialid="6"/>)";
    ObjectsRead old(Model(objects, "", "http://schemas.microsoft.com/3dmanufacturing/2013/01"));
    ASSERT_TRUE(old.ok) << old.Error();
    EXPECT_EQ(old.model.GetReference(6), old.object(1)->m_propertyGroup);
    EXPECT_EQ(0, old.object(1)->m_propertyIndex);
    ObjectsRead current(Model(objects));
    ASSERT_TRUE(current.ok);
    EXPECT_EQ(nullptr, current.object(1)->m_propertyGroup);
}

// Content the format allows but that makes no sense must never lead to a
// crash, now or when meshes are flattened later.
TEST(ObjectRead, HostileReferencesFailCleanly)
{
    {
        ObjectsRead read(
            Model(R"(<object id="5"><components><component objectid="5"/></components></object>)"));
        EXPECT_FALSE(read.ok);
        EXPECT_EQ("Object 5 has itself as a component.", read.Error());
    }
    {
        // Duplicate identifiers: the later one wins the table, both stay listed.
        ObjectsRead read(Model(R"(<object id="1" name="a"/><object id="1" name="b"/>
            <object id="2"><components><component objectid="1"/><component objectid="9"/>
            <component/></components></object>)",
                               R"(<item objectid="42"/><item objectid="1"/>)"));
        ASSERT_TRUE(read.ok) << read.Error();
        EXPECT_EQ(2u + 1u, read.model.GetResources().m_objects.size());
        EXPECT_EQ(L"b", read.object(1)->m_name);
        Object* holder = read.object(2);
        ASSERT_EQ(2u, holder->m_components.size()) << "a component without objectid is dropped";
        EXPECT_EQ(read.object(1), holder->m_components[0].m_object);
        EXPECT_EQ(nullptr, holder->m_components[1].m_object);
        EXPECT_EQ(nullptr, read.model.GetReference(42));
        EXPECT_EQ("write failed: A component of object 2 refers to no object.", read.Rewritten());
    }
}

TEST(ObjectRead, DeepNestingAndLongChains)
{
    std::string nested;
    for (int i = 0; i < 100000; ++i)
    {
        nested += "<a>";
    }
    for (int i = 0; i < 100000; ++i)
    {
        nested += "</a>";
    }
    std::string chain = R"(<object id="1"/>)";
    for (int i = 2; i <= 5000; ++i)
    {
        chain += R"(<object id=")" + std::to_string(i) + R"("><components><component objectid=")" +
                 std::to_string(i - 1) + R"("/></components></object>)";
    }
    ObjectsRead read(Model(R"(<object id="9000">)" + nested + "</object>" + chain));
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ(5001u, read.model.GetResources().m_objects.size());
    EXPECT_EQ(read.object(4999), read.object(5000)->m_components[0].m_object);
}
