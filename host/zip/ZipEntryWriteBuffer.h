#pragma once

#include "common/OndExport.h"
#include "zip/IWriteBuffer.h"

#include <cstdint>
#include <memory>
#include <string>

struct isal_zstream;

namespace FileIO::Zip
{
class ZipWriter;

// Deflates the bytes of one new archive entry with ISA-L at level 1 and hands
// the raw deflate data to the archive. Destroying the buffer closes the entry;
// if that fails, the archive refuses further entries and reports the failure
// when it is closed. Exceptions of Write are MZipArchiveError::MGeneric.
class OND_EXPORT ZipEntryWriteBuffer : public IWriteBuffer
{
public:
    ~ZipEntryWriteBuffer() override;
    void Write(char const* data, std::size_t size) override;

protected:
    ZipEntryWriteBuffer(ZipWriter& archive, char const* name);

private:
    void Deflate(bool last);

    ZipWriter& m_archive;
    std::string m_name;
    std::unique_ptr<isal_zstream> m_stream;
    std::unique_ptr<std::uint8_t[]> m_levelBuffer;
    std::unique_ptr<std::uint8_t[]> m_output;
    std::uint64_t m_size = 0;
    std::uint32_t m_crc = 0;
    bool m_failed = false;
};
} // namespace FileIO::Zip
