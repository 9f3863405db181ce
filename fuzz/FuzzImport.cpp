// Fuzz target: any bytes as a whole 3MF file through the importer, from the
// zip container up to the meshes, read plain and as a slicer project.
#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    static FuzzInputFile const input;
    std::wstring const path = input.Write(data, size);
    ImportFile(path);
    ImportFile(path, true);
    return 0;
}
