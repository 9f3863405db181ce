#pragma once

// Raw deflate data of one archive entry, made by ISA-L and handed to where
// the entry's data goes as it comes, with the size and CRC of what went in.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct isal_zstream;

namespace format3mf::archive
{
class ZipDeflater
{
public:
    // Where the deflate data goes, in pieces; it may throw.
    using Sink = std::function<void(unsigned char const* data, std::size_t size)>;

    // level is ISA-L's, 0 to 3. name only serves messages.
    ZipDeflater(Sink sink, std::string name, int level);
    ZipDeflater(ZipDeflater const&) = delete;
    ZipDeflater& operator=(ZipDeflater const&) = delete;
    ~ZipDeflater();

    // Failures throw MZipArchiveError::MGeneric.
    void Deflate(unsigned char const* data, std::size_t size);
    // Ends the deflate data; nothing may follow.
    void Finish();

    std::uint64_t GetSize() const { return m_size; }
    std::uint32_t GetCrc() const { return m_crc; }

private:
    void Run(bool last);

    Sink m_sink;
    std::string m_name;
    std::unique_ptr<isal_zstream> m_stream;
    std::unique_ptr<std::uint8_t[]> m_levelBuffer;
    std::unique_ptr<std::uint8_t[]> m_output;
    std::uint64_t m_size = 0;
    std::uint32_t m_crc = 0;
};
} // namespace format3mf::archive
