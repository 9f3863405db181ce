// The binary part read from the archive front to back, or from its file
// when the blocks come out of order.
#include "binary/BinaryPartReader.h"

#include "format3mf/Exception.h"
#include "format3mf/PackageFileBinary.h"
#include "format3mf/PackageRead.h"
#include "foundation/PartNames.h"
#include "foundation/TemporaryFiles.h"

#include "zip/IReadBuffer.h"

#include <boost/filesystem/operations.hpp>

#include <algorithm>
#include <string>

namespace Format_3MF
{
namespace
{
// Bytes passed over at once when the reader skips ahead.
constexpr std::size_t kSkipBytes = 65536;
} // namespace

BinaryPartReader::BinaryPartReader(ModelFileBinary& part, PackageRead* package)
    : m_part(part), m_package(package)
{
}

BinaryPartReader::~BinaryPartReader() = default;

void BinaryPartReader::Seek(BinaryRef const& ref)
{
    if (!m_part.m_file.IsOpen() && !m_opened)
    {
        _Open();
    }
    std::wstring const& name = m_part.GetFileNameInPackage();
    std::uint64_t size = m_size;
    if (m_part.m_file.IsOpen())
    {
        boost::system::error_code error;
        size = boost::filesystem::file_size(ToPath(m_part.m_temporaryPath), error);
        if (error)
        {
            _Unreadable();
        }
    }
    else if (!m_stream)
    {
        _Unreadable();
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
    if (m_part.m_file.IsOpen())
    {
        if (!m_part.m_file.Seek(pos))
        {
            _Unreadable();
        }
        return;
    }
    if (pos < m_position)
    {
        _Extract();
        Seek(ref);
        return;
    }
    _Skip(pos - m_position);
}

void BinaryPartReader::Read(void* data, std::size_t size)
{
    if (m_part.m_file.IsOpen())
    {
        // Every record is made of 4-byte numbers; the bytes are copied as
        // they are.
        std::uint64_t const numbers = size / sizeof(std::int32_t);
        if (m_part.m_file.READ(static_cast<std::int32_t*>(data), numbers) == numbers)
        {
            return;
        }
    }
    else if (m_stream)
    {
        char* at = static_cast<char*>(data);
        std::size_t got = 0;
        while (got < size)
        {
            std::size_t const read = m_stream->Read(at + got, size - got);
            if (read == 0)
            {
                break;
            }
            got += read;
        }
        m_position += got;
        if (got == size)
        {
            return;
        }
    }
    // The block was checked against the declared size, so the part is
    // shorter than its archive says, or its file went wrong under us.
    throw Exception(L"The binary part " + m_part.GetFileNameInPackage() + L" ended within a block.");
}

void BinaryPartReader::Finish()
{
    if (m_stream)
    {
        char scratch[kSkipBytes];
        while (m_stream->Read(scratch, sizeof scratch) > 0)
        {
        }
        m_stream.reset();
    }
}

void BinaryPartReader::_Open()
{
    m_opened = true;
    if (m_package != nullptr)
    {
        m_stream = m_package->OpenPackageFile(m_part.GetFileNameInPackage(), true, m_size);
    }
}

void BinaryPartReader::_Extract()
{
    m_stream.reset();
    std::wstring const& name = m_part.GetFileNameInPackage();
    std::wstring const path = NewTemporaryPath(name);
    if (m_package != nullptr && m_package->ExtractPackageFile(name, true, path))
    {
        // The part deletes its unpacked file with itself.
        m_part.m_fileNameUnpacked = path;
        m_part.m_temporaryPath = path;
        m_part.m_file.OPEN_READ(path.c_str());
    }
    if (!m_part.m_file.IsOpen())
    {
        _Unreadable();
    }
}

void BinaryPartReader::_Skip(std::uint64_t bytes)
{
    char scratch[kSkipBytes];
    while (bytes > 0)
    {
        std::size_t const step = static_cast<std::size_t>(std::min<std::uint64_t>(bytes, sizeof scratch));
        Read(scratch, step);
        bytes -= step;
    }
}

void BinaryPartReader::_Unreadable() const
{
    throw Exception(L"The binary part " + m_part.GetFileNameInPackage() + L" could not be read.");
}
} // namespace Format_3MF
