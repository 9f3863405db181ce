#include "zip/ReadBufferFromZip.h"

#include "common/StringConversion.h"
#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"
#include "zip/ZipEntryReader.h"

std::unique_ptr<FileIO::Zip::ZipEntryReader> ReadBufferFromZip::Open(MZipArchive* archive,
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
}

ReadBufferFromZip::~ReadBufferFromZip() = default;

std::size_t ReadBufferFromZip::Read(char* data, std::size_t size)
{
    return m_entry->Read(data, size);
}
