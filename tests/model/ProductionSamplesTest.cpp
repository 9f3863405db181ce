#include "support/Samples.h"
#include "support/TestModelFile.h"

#include "format3mf/Object.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"

#include "common/StringConversion.h"

#include <gtest/gtest.h>

using namespace Format_3MF;

// Production files spread objects over several model parts: every build item
// must find its object in the part it names.
TEST(ProductionSamples, EveryBuildItemFindsItsObject)
{
    auto const files = Samples("examples/production");
    if (files.empty())
    {
        GTEST_SKIP() << "no production samples beside the checkout (../shared/testdata)";
    }
    for (auto const& path : files)
    {
        SCOPED_TRACE(path.string());
        TestModelFile model;
        Package package(&model);
        PackageRead reader(&package, PackageReadOptions());
        ASSERT_TRUE(reader.Read(StringConversion::ConvertMultiByteStringToOndString(path.string()), nullptr));
        auto const& items = model.GetBuild().m_items;
        ASSERT_FALSE(items.empty());
        for (Build::Item const& item : items)
        {
            ASSERT_NE(nullptr, item.m_modelFile);
            auto const* object = dynamic_cast<Object const*>(item.m_modelFile->GetReference(item.m_objectID));
            ASSERT_NE(nullptr, object) << "object " << int(item.m_objectID);
            EXPECT_EQ(item.m_modelFile, object->GetModelFile());
            for (Component const& component : object->m_components)
            {
                ASSERT_NE(nullptr, component.m_object);
                EXPECT_EQ(object->GetModelFile(), component.m_object->GetModelFile());
            }
        }
    }
}
