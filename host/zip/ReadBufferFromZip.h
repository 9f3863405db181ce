#pragma once

// The reading buffer for one archive entry, as the package code opens parts.

#include "zip/IReadBuffer.h"

#include <memory>

class MZipArchive;
namespace FileIO::Zip
{
class ZipEntryReader;
class ZipReadAhead;
} // namespace FileIO::Zip

// The bytes of one entry of an archive open for reading. Damaged data throws
// MZipArchiveError::MGeneric from Read. A big entry is inflated ahead on a
// second core when there is one.
class ReadBufferFromZip : public IReadBuffer
{
public:
    // Opens the entry; throws MZipArchiveError::MFileNotFound if it isn't
    // there and MZipArchiveError::MGeneric if it can't be read.
    ReadBufferFromZip(MZipArchive* archive, wchar_t const* name);
    ~ReadBufferFromZip() override;

    std::size_t Read(char* data, std::size_t size) override;

private:
    static std::unique_ptr<FileIO::Zip::ZipEntryReader> Open(MZipArchive* archive, wchar_t const* name);

    std::unique_ptr<FileIO::Zip::ZipEntryReader> m_entry;
    // Declared after the entry: it stops before the entry goes.
    std::unique_ptr<FileIO::Zip::ZipReadAhead> m_ahead;
};
