// Opening an entry for reading; big entries get a read-ahead thread so that
// inflation runs beside the parse.
#include "zip/ReadBufferFromZip.h"

#include "common/StringConversion.h"
#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"
#include "zip/ZipEntryReader.h"
#include "zip/ZipReadAhead.h"

#include <thread>

namespace
{
// Below this, a thread would cost more than it saves.
constexpr std::uint64_t kReadAheadSize = std::uint64_t(8) << 20;
} // namespace

std::unique_ptr<format3mf::archive::ZipEntryReader> ReadBufferFromZip::Open(MZipArchive* archive,
                                                                            wchar_t const* name)
{
    if (archive == nullptr || name == nullptr)
    {
        throw MZipArchiveError::MGeneric(L"No archive or entry name given", name != nullptr ? name : L"");
    }
    return archive->OpenEntry(StringConversion::ConvertNativeToUTF8(name));
}

ReadBufferFromZip::ReadBufferFromZip(MZipArchive* archive, wchar_t const* name) : m_entry(Open(archive, name))
{
    if (m_entry->GetSize() >= kReadAheadSize && std::thread::hardware_concurrency() > 1)
    {
        m_ahead = std::make_unique<format3mf::archive::ZipReadAhead>(*m_entry);
    }
}

ReadBufferFromZip::~ReadBufferFromZip() = default;

std::size_t ReadBufferFromZip::Read(char* data, std::size_t size)
{
    return m_ahead ? m_ahead->Read(data, size) : m_entry->Read(data, size);
}
