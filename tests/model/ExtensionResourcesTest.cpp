// Tests of extension resources through application factories, and of the stock
// factories that skip them.
#include "support/PackageReadBack.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/MeshTetraheders.h"
#include "format3mf/Object.h"
#include "format3mf/ReadAttribute.h"
#include "format3mf/XMLPersistHelpers.h"
#include "foundation/XMLNames.h"

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

class ExtensionModelFile : public TestModelFile
{
public:
    explicit ExtensionModelFile(std::wstring const& name = L"", ModelFile* parent = nullptr)
        : TestModelFile(name, parent)
    {
        AddSupportedExtension(NamespaceSlice, true);
    }

protected:
    ModelFile* _CreateRelatedModelFile(std::wstring const& name) override
    {
        return new ExtensionModelFile(name, this);
    }
    ISliceStack* _CreateSliceStack(PackageReadContext*) override { return new Slices(this); }
    IToolPath* _CreateToolPath(PackageReadContext*) override { return new Paths(this); }
};

std::string const kModel = R"(<model xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02"
    xmlns:s=")" + StringConversion::ConvertNativeToUTF8(NamespaceSlice) +
                           R"(" xmlns:tp=")" + StringConversion::ConvertNativeToUTF8(NamespaceToolPath) +
                           R"(">
  <resources>
    <s:slicestack id="5" zbottom="2"><s:slice/><s:slice/><object id="99"/></s:slicestack>
    <tp:toolpath id="8" zbottom="3"><slice/></tp:toolpath>
    <object id="1" s:slicestackid="5" tp:toolpathid="8"/>
  </resources>
  <build/>
</model>)";
} // namespace

// The application's factories read, register and write their items; the
// stock ones skip the elements with all their content, and what follows is
// read as usual.
TEST(ExtensionResources, FactoriesCarryTheirItemsAndStockOnesSkipThem)
{
    ModelRead<> stock(kModel);
    ASSERT_TRUE(stock.ok) << stock.Error();
    EXPECT_TRUE(stock.model.GetResources().m_sliceStacks.empty());
    EXPECT_TRUE(stock.model.GetResources().m_toolPaths.empty());
    EXPECT_EQ(nullptr, stock.model.GetReference(99));
    ASSERT_EQ(1u, stock.model.GetResources().m_objects.size());
    EXPECT_EQ(nullptr, stock.model.GetResources().m_objects[0]->_GetSliceStack());

    auto const check = [](ExtensionModelFile& model)
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
        // The "object" inside the slice stack belonged to the stack's reader.
        EXPECT_EQ(nullptr, model.GetReference(99));
        ASSERT_EQ(1u, resources.m_objects.size());
        EXPECT_EQ(slices, resources.m_objects[0]->_GetSliceStack());
        ASSERT_EQ(1u, resources.m_objects[0]->m_toolPaths.size());
        EXPECT_EQ(8, resources.m_objects[0]->m_toolPaths[0].m_id);
    };
    ModelRead<ExtensionModelFile> first(kModel);
    ASSERT_TRUE(first.ok) << first.Error();
    check(first.model);
    std::wstring const second = first.File("second.3mf");
    ASSERT_TRUE(WritePackage(first.package, second));
    ReadBack<ExtensionModelFile> again(second);
    ASSERT_TRUE(again.ok) << again.Error();
    check(again.model);
}

TEST(ExtensionResources, VolumetricProviderFallsBackToNone)
{
    struct Provider : IProviderMeshTetraheders
    {
        IMeshTetraheders* CreateMeshTetraheders(IMesh*) override { return nullptr; }
    } provider;
    EXPECT_NE(nullptr, dynamic_cast<ProviderMeshTetrahedersNone*>(GetVolumetricProvider()));
    SetVolumetricProvider(&provider);
    EXPECT_EQ(&provider, GetVolumetricProvider());
    SetVolumetricProvider(nullptr);
    EXPECT_NE(nullptr, dynamic_cast<ProviderMeshTetrahedersNone*>(GetVolumetricProvider()));
}
