// libFuzzer target: reads one input as a model document both ways, with mesh
// data in plain form and through expat alone, and stops on any difference in
// what the reading gave (points, triangles, property references, error,
// progress). Built by scripts/fuzz.sh, not by the default build.

#include "support/MeshReadComparison.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

namespace
{
// Most inputs are put inside a mesh, where plain content is read; the rest
// are whole documents.
std::string Document(char const* data, std::size_t size, bool whole)
{
    std::string const input(data, size);
    if (whole)
    {
        return input;
    }
    return R"(<model unit="millimeter" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02" )"
           R"(xmlns:o="urn:other"><resources><object id="10"><mesh>)" +
           input + "</mesh></object></resources></model>";
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    // The first byte picks the size of the blocks the input comes in, so that
    // block boundaries fall everywhere, and whether it is a whole document.
    static std::size_t const kBlocks[] = {1, 2, 3, 7, 64, 4096, 1 << 16, 1 << 20};
    std::size_t const block = kBlocks[data[0] & 7];
    std::string const xml =
        Document(reinterpret_cast<char const*>(data) + 1, size - 1, (data[0] & 0x80) != 0);
    // A document that cancels part way is compared as well.
    double const cancelAt = (data[0] & 0x40) != 0 ? 500.0 : 1e9;

    MeshReadComparison::Reading const expected = MeshReadComparison::Read(xml, false, 1 << 20, cancelAt);
    MeshReadComparison::Reading const plain = MeshReadComparison::Read(xml, true, block, cancelAt);
    if (!(expected.outcome == plain.outcome))
    {
        std::cerr << "plain content differs, block size " << block << "\nexpat: " << expected.outcome
                  << "\nplain: " << plain.outcome << "\n";
        std::abort();
    }
    return 0;
}
