#pragma once

// The write buffer of one new entry, compressed with ISA-L instead of libzip's
// slower deflate.

#include "zip/IWriteBuffer.h"

#include <cstdint>
#include <memory>
#include <string>

namespace format3mf::archive
{
class ZipWriter;
class ZipDeflater;

// Deflates the bytes of one new archive entry with ISA-L at level 1 and hands
// the raw deflate data to the archive. Destroying the buffer closes the entry;
// if that fails, the archive refuses further entries and reports the failure
// when it is closed. Exceptions of Write are MZipArchiveError::MGeneric.
class ZipEntryWriteBuffer : public IWriteBuffer
{
public:
    ~ZipEntryWriteBuffer() override;
    void Write(char const* data, std::size_t size) override;

protected:
    ZipEntryWriteBuffer(ZipWriter& archive, char const* name);

private:
    ZipWriter& m_archive;
    std::string m_name;
    std::unique_ptr<ZipDeflater> m_deflater;
    bool m_failed = false;
};
} // namespace format3mf::archive
