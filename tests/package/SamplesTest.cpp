// Reads every sample file in analyse-only mode, skipping when the samples are
// missing.
#include "support/Samples.h"
#include "support/Prerequisites.h"
#include "support/TestModelFile.h"

#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"

#include "common/StringConversion.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

using namespace Format_3MF;

// Reading every sample fully is the oracle's test (SamplesImportTest); the
// analysis alone must read them too.
TEST(Samples, EveryFileReadsAnalyseOnly)
{
    std::vector<boost::filesystem::path> const files = Samples();
    if (files.empty())
    {
        SKIP_OR_FAIL_MISSING("sample files beside the checkout (" << FORMAT3MF_TESTDATA << ")");
    }
    for (auto const& file : files)
    {
        TestModelFile model;
        Package package(&model);
        PackageReadOptions options;
        options.Package.m_analyseOnly = true;
        PackageRead reader(&package, options);
        bool const ok = reader.Read(file.wstring(), nullptr);
        PackageReadContext const& context = reader.GetContext();
        EXPECT_TRUE(ok) << file.filename() << ": "
                        << (context.m_errors.empty()
                                ? std::string()
                                : StringConversion::ConvertNativeToUTF8(context.m_errors[0]));
        EXPECT_EQ(0, context.m_status) << file.filename();
    }
}
