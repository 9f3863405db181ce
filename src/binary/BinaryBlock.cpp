// Checks of a block against its binary part, then the seek.
#include "binary/BinaryBlock.h"

#include "format3mf/Exception.h"
#include "format3mf/PackageFileBinary.h"
#include "foundation/PartNames.h"

#include <boost/filesystem/operations.hpp>

namespace Format_3MF
{
MFile& SeekBinaryBlock(ModelFileBinary* part, BinaryRef const& ref)
{
    if (part == nullptr)
    {
        throw Exception(L"A mesh keeps its data in a binary part, but the model names no binary part.");
    }
    std::wstring const& name = part->GetFileNameInPackage();
    boost::system::error_code error;
    std::uint64_t const size =
        part->m_file.IsOpen() ? boost::filesystem::file_size(ToPath(part->m_temporaryPath), error) : 0;
    if (!part->m_file.IsOpen() || error)
    {
        throw Exception(L"The binary part " + name + L" could not be read.");
    }
    if (ref.m_pos < 0)
    {
        throw Exception(L"A block of the binary part " + name + L" starts at the negative position " +
                        std::to_wstring(ref.m_pos) + L".");
    }
    std::uint64_t const pos = static_cast<std::uint64_t>(ref.m_pos);
    // Divided, not multiplied: a hostile count must not wrap around.
    if (pos > size || ref.m_count > (size - pos) / BinaryRecordSize)
    {
        throw Exception(L"A block of " + std::to_wstring(ref.m_count) + L" records at position " +
                        std::to_wstring(pos) + L" lies beyond the end of the binary part " + name + L" of " +
                        std::to_wstring(size) + L" bytes.");
    }
    if (!part->m_file.Seek(pos))
    {
        throw Exception(L"The binary part " + name + L" could not be read.");
    }
    return part->m_file;
}
} // namespace Format_3MF
