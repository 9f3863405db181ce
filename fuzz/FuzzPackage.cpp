// Fuzz target: any bytes as a zip archive through the package reader alone,
// without a root model, so every related part is extracted and the content
// types and relationships are read, but no model XML. Two exceptions leave
// Read by design: std::out_of_range of a part name without an extension
// looked up against a Default content type, and a missing entry's
// MFileNotFound. Anything else that leaves Read is a finding.
#include "FuzzSupport.h"

#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"

#include "zip/MZipArchiveError.h"

#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    static FuzzInputFile const input;
    std::wstring const path = input.Write(data, size);
    Format_3MF::Package package(nullptr);
    Format_3MF::PackageRead reader(&package, Format_3MF::PackageReadOptions());
    try
    {
        reader.Read(path, nullptr);
    }
    catch (std::out_of_range const&)
    {
    }
    catch (MZipArchiveError::MFileNotFound const&)
    {
    }
    return 0;
}
