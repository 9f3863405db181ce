#pragma once

// The state of one package write, shared by every class that takes part in it.

#include "format3mf/PackageWriteOptions.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace OndSDK::Common
{
class IncrementalProgressReporter;
}

namespace Format_3MF
{
class Package;
class PackageWrite;

// A step of progress that writers of bulk data add when a host sets it.
struct PackageWriteStepProgress
{
    std::uint64_t m_step = 1;
    std::unique_ptr<OndSDK::Common::IncrementalProgressReporter> m_reporter;

    ~PackageWriteStepProgress();
};

// The options of one write followed by its working state.
struct PackageWriteContext : PackageWriteOptions
{
    Format_3MF::Package* m_package = nullptr; // qualified: the options have a field of that name
    PackageWrite* m_packageWrite = nullptr;
    std::uint32_t m_relatedObjectFileCount = 0;
    std::uint32_t m_relatedSliceFileCount = 0;
    // Scratch text of the number formatters; valid until the next call.
    std::wstring m_formatBuffer;
    std::unique_ptr<PackageWriteStepProgress> m_stepProgress;
    // What the write dropped or changed, each naming what it concerns.
    std::vector<std::wstring> m_warnings;

    PackageWriteContext() = default;
    explicit PackageWriteContext(PackageWriteOptions const& options) : PackageWriteOptions(options) {}
};
} // namespace Format_3MF
