// Fuzz target: any bytes as a whole 3MF file through the importer, from the
// zip container up to the meshes.
#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    static FuzzInputFile const input;
    ImportFile(input.Write(data, size));
    return 0;
}
