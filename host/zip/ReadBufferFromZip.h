#pragma once

// The reading buffer for one archive entry, as the package code opens parts.

#include "zip/IReadBuffer.h"

#include <memory>

class MZipArchive;
namespace format3mf::archive
{
class ZipEntryReader;
class ZipReadAhead;
} // namespace format3mf::archive

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
    static std::unique_ptr<format3mf::archive::ZipEntryReader> Open(MZipArchive* archive,
                                                                    wchar_t const* name);

    std::unique_ptr<format3mf::archive::ZipEntryReader> m_entry;
    // Declared after the entry: it stops before the entry goes.
    std::unique_ptr<format3mf::archive::ZipReadAhead> m_ahead;
};
