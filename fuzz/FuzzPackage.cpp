// Fuzz target: any bytes as a zip archive through the package reader alone,
// without a root model, so every related part is extracted and the content
// types and relationships are read, but no model XML.
#include "FuzzSupport.h"

#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    static FuzzInputFile const input;
    std::wstring const path = input.Write(data, size);
    Format_3MF::Package package(nullptr);
    Format_3MF::PackageRead reader(&package, Format_3MF::PackageReadOptions());
    reader.Read(path, nullptr);
    return 0;
}
