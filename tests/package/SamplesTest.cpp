#include "support/Samples.h"
#include "support/TestModelFile.h"

#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <algorithm>

using namespace Format_3MF;

TEST(Samples, EveryFileReadsPlainAndAnalyseOnly)
{
    std::vector<boost::filesystem::path> const files = Samples();
    if (files.empty())
    {
        GTEST_SKIP() << "no sample files beside the checkout (" << FORMAT3MF_TESTDATA << ")";
    }
    for (bool analyseOnly : {false, true})
    {
        for (auto const& file : files)
        {
            TestModelFile model;
            Package package(&model);
            PackageReadOptions options;
            options.Package.m_analyseOnly = analyseOnly;
            PackageRead reader(&package, options);
            bool const ok = reader.Read(file.wstring(), nullptr);
            PackageReadContext const& context = reader.GetContext();
            std::string const label = file.filename().string() + (analyseOnly ? " (analyse only)" : "");
            EXPECT_TRUE(ok) << label << ": "
                            << (context.m_errors.empty()
                                    ? ""
                                    : std::string(context.m_errors[0].begin(), context.m_errors[0].end()));
            EXPECT_EQ(0, context.m_status) << label;
            if (!analyseOnly)
            {
                EXPECT_FALSE(model.GetNamespaces().empty()) << label;
            }
        }
    }
}
