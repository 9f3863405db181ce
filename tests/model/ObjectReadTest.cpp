// Tests of reading "object" elements and the resources of extensions:
// attributes, children, the application's factories for meshes, slice stacks
// and tool paths against the stock ones that skip them, and hostile
// references and nesting.
#include "support/PackageReadBack.h"

#include "format3mf/Exception.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/MeshTetraheders.h"
#include "format3mf/Object.h"
#include "format3mf/ReadAttribute.h"
#include "format3mf/XMLPersistHelpers.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

namespace
{
// An application's resource: a "zbottom" attribute and a count of "slice"
// children, under the namespace its model file declares.
template <typename Base>
struct CountedResource : Base
{
    struct Reader : ISAXReadHelper, ISAXAttributeHandler
    {
        Reader(CountedResource* item, ISAXReadHelper* parent) : ISAXReadHelper(parent), m_item(item) {}
        void HandleAttributes(MSAXReader& reader) override
        {
            reader.ReadAttribute(m_item->m_bottom, L"zbottom");
        }
        bool HandleTag(std::wstring const& tag, MSAXReader&) override
        {
            m_item->m_children += tag.find(L"slice") != std::wstring::npos ? 1 : 0;
            return false;
        }
        CountedResource* m_item;
    };

    struct Writer : ISAXWriteHelper
    {
        explicit Writer(CountedResource const* item) : m_item(item) {}
        bool Write(MSAXWriter& writer) const override
        {
            writer.WriteAttribute(L"id", std::to_wstring(int(m_item->m_id)));
            writer.WriteAttribute(L"zbottom", std::to_wstring(m_item->m_bottom));
            std::wstring const prefix = m_item->m_modelFile->GetPrefix(NamespaceSlice);
            for (int i = 0; i < m_item->m_children; ++i)
            {
                MSAXTagWriterNS slice(writer, L"slice", prefix);
            }
            return true;
        }
        CountedResource const* m_item;
    };

    explicit CountedResource(ModelFile* file) : Base(file) {}
    ISAXReadHelper* _CreateSaxHandlerRead(PackageReadContext*, ISAXReadHelper* parent) override
    {
        return new Reader(this, parent);
    }
    ISAXWriteHelper* _CreateSaxHandlerWrite(PackageWriteContext*,
                                            std::shared_ptr<OndSDK::Common::IProgressDelegate>) const override
    {
        return new Writer(this);
    }
    void _OnStartWriting(PackageWriteContext*) override
    {
        this->m_modelFile->AddNamespace(NamespaceSlice, L"s");
        this->m_modelFile->AddNamespace(NamespaceToolPath, L"tp");
    }
    void _OnStopWriting(PackageWriteContext*) override {}
    void _OnStartReading(PackageReadContext*) override {}
    void _OnStopReading(PackageReadContext*) override { ++m_stopped; }

    int m_bottom = 0;
    int m_children = 0;
    int m_stopped = 0;
};

using Slices = CountedResource<ISliceStack>;
using Paths = CountedResource<IToolPath>;

// A model file with the application's factories (and no related parts).
class FactoryModelFile : public TestModelFile
{
public:
    explicit FactoryModelFile(std::wstring const& name = L"", ModelFile* parent = nullptr)
        : TestModelFile(name, parent)
    {
        AddSupportedExtension(NamespaceSlice, true);
    }

protected:
    ISliceStack* _CreateSliceStack(PackageReadContext*) override { return new Slices(this); }
    IToolPath* _CreateToolPath(PackageReadContext*) override { return new Paths(this); }
};

std::string Model(std::string const& resources, std::string const& build = "",
                  std::string const& ns = "http://schemas.microsoft.com/3dmanufacturing/core/2015/02")
{
    return R"(<model xmlns=")" + ns +
           R"(" xmlns:m="http://schemas.microsoft.com/3dmanufacturing/material/2015/02" xmlns:s=")" +
           StringConversion::ConvertNativeToUTF8(NamespaceSlice) + R"(" xmlns:tp=")" +
           StringConversion::ConvertNativeToUTF8(NamespaceToolPath) + R"("><resources>)" + resources +
           "</resources><build>" + build + "</build></model>";
}

// A read of the model into meshes that remember their tag.
struct ObjectsRead : ModelRead<FactoryModelFile>
{
    using ModelRead::ModelRead;
    Object* object(int id) const { return ObjectOf(&model, id); }
    // The root model part as this library writes it back.
    std::string Rewritten()
    {
        written = File("again.3mf");
        try
        {
            WritePackage(package, written);
        }
        catch (Exception const& error)
        {
            return "write failed: " + StringConversion::ConvertNativeToUTF8(error.m_message);
        }
        return EntryText(written, "3D/3dmodel.model");
    }
    std::wstring written;
};
// Objects with attributes and children of every kind, and the resources of
// extensions, whose "slice" and "object" children belong to their readers.
std::string const kModel = Model(R"(<m:colorgroup id="6"><m:color color="#FF0000"/></m:colorgroup>
    <object id="2" type="gizmo" pid="6"><mesh><vertices/></mesh></object>
    <object id="3" pid="6" pindex="0" type="solidsupport"><ondamx id="4"/></object>
    <object id="4" pid="77" pindex="0"/>
    <s:slicestack id="5" zbottom="2"><s:slice/><s:slice/><object id="99"/></s:slicestack>
    <tp:toolpath id="8" zbottom="3"><slice/></tp:toolpath>
    <object id="1" s:slicestackid="5" tp:toolpathid="8" materialid="6"/>)");
} // namespace

// The application's factories read, register and write their items; the
// stock ones skip the elements with all their content, and what follows is
// read as usual.
TEST(ObjectRead, AttributesChildrenAndTheFactoriesOfExtensions)
{
    ModelRead<> stock(kModel);
    ASSERT_TRUE(stock.ok) << stock.Error();
    EXPECT_TRUE(stock.model.GetResources().m_sliceStacks.empty());
    EXPECT_TRUE(stock.model.GetResources().m_toolPaths.empty());
    EXPECT_EQ(nullptr, stock.model.GetReference(99));
    ASSERT_EQ(4u, stock.model.GetResources().m_objects.size());
    EXPECT_EQ(nullptr, ObjectOf(&stock.model, 1)->_GetSliceStack());
    // "materialid" belongs to the core of 2013 only.
    EXPECT_EQ(nullptr, ObjectOf(&stock.model, 1)->m_propertyGroup);

    auto const check = [](FactoryModelFile& model)
    {
        Resources& resources = model.GetResources();
        ASSERT_EQ(1u, resources.m_sliceStacks.size());
        ASSERT_EQ(1u, resources.m_toolPaths.size());
        auto* slices = static_cast<Slices*>(resources.m_sliceStacks[0].get());
        auto* paths = static_cast<Paths*>(resources.m_toolPaths[0].get());
        EXPECT_EQ(slices, model.GetReference(5));
        EXPECT_EQ(paths, model.GetReference(8));
        EXPECT_EQ(2, slices->m_bottom);
        EXPECT_EQ(2, slices->m_children);
        EXPECT_EQ(3, paths->m_bottom);
        EXPECT_EQ(1, paths->m_children);
        EXPECT_EQ(1, slices->m_stopped);
        EXPECT_EQ(nullptr, model.GetReference(99));
        ASSERT_EQ(4u, resources.m_objects.size());
        Object const* object = ObjectOf(&model, 1);
        EXPECT_EQ(slices, object->_GetSliceStack());
        ASSERT_EQ(1u, object->m_toolPaths.size());
        EXPECT_EQ(8, object->m_toolPaths[0].m_id);
    };
    ObjectsRead read(kModel);
    ASSERT_TRUE(read.ok) << read.Error();
    check(read.model);
    Object* gizmo = read.object(2);
    EXPECT_EQ(0, gizmo->m_type);
    EXPECT_EQ(read.model.GetReference(6), gizmo->m_propertyGroup);
    EXPECT_EQ(-1, gizmo->m_propertyIndex);
    Object* support = read.object(3);
    EXPECT_EQ(2, support->m_type);
    EXPECT_EQ(0, support->m_propertyIndex);
    EXPECT_EQ(-1, support->m_ondamxID) << "an ondamx child without UUID is dropped";
    EXPECT_EQ(nullptr, read.object(4)->m_propertyGroup) << "a pid that finds nothing";

    std::string const text = read.Rewritten();
    EXPECT_NE(std::string::npos, text.find(R"(<object id="2" type="model"/>)")) << text;
    EXPECT_NE(std::string::npos, text.find(R"(<object id="3" type="solidsupport" pid="6" pindex="0"/>)"))
        << text;
    EXPECT_NE(std::string::npos, text.find(R"(<object id="4" type="model"/>)")) << text;
    ReadBack<FactoryModelFile> again(read.written);
    ASSERT_TRUE(again.ok) << again.Error();
    check(again.model);

    std::string const old = R"(<m:colorgroup id="6"><m:color color="#00FF00"/></m:colorgroup>
        <object id="1" materialid="6"/>)";
    ObjectsRead core2013(Model(old, "", "http://schemas.microsoft.com/3dmanufacturing/2013/01"));
    ASSERT_TRUE(core2013.ok) << core2013.Error();
    EXPECT_EQ(core2013.model.GetReference(6), core2013.object(1)->m_propertyGroup);
    EXPECT_EQ(0, core2013.object(1)->m_propertyIndex);
}

// Content the format allows but that makes no sense must never lead to a
// crash, now or when meshes are flattened later.
TEST(ObjectRead, HostileReferencesAndNestingFailCleanly)
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
    // Deep nesting of unknown content and a long chain of components.
    std::string opening, closing;
    for (int i = 0; i < 100000; ++i)
    {
        opening += "<a>";
        closing += "</a>";
    }
    std::string chain = R"(<object id="1"/>)";
    for (int i = 2; i <= 5000; ++i)
    {
        chain += R"(<object id=")" + std::to_string(i) + R"("><components><component objectid=")" +
                 std::to_string(i - 1) + R"("/></components></object>)";
    }
    ObjectsRead read(Model(R"(<object id="9000">)" + opening + closing + "</object>" + chain));
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ(5001u, read.model.GetResources().m_objects.size());
    EXPECT_EQ(read.object(4999), read.object(5000)->m_components[0].m_object);
}

TEST(ExtensionResources, VolumetricProviderFallsBackToNone)
{
    struct Provider : IProviderMeshTetraheders
    {
        IMeshTetraheders* CreateMeshTetraheders(IMesh*) override { return nullptr; }
    } provider;
    SetVolumetricProvider(&provider);
    EXPECT_EQ(&provider, GetVolumetricProvider());
    SetVolumetricProvider(nullptr);
    EXPECT_NE(nullptr, dynamic_cast<ProviderMeshTetrahedersNone*>(GetVolumetricProvider()));
}
