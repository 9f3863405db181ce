// A zip archive of stored (uncompressed) entries, built in memory with right
// sizes and CRCs, so that a fuzzed part reaches the readers behind the
// container's checks.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

class StoredZip
{
public:
    void Add(std::string const& name, std::uint8_t const* data, std::size_t size)
    {
        std::uint32_t const crc = static_cast<std::uint32_t>(crc32(0, data, static_cast<uInt>(size)));
        std::uint32_t const offset = static_cast<std::uint32_t>(m_bytes.size());
        _Header(0x04034b50, name, crc, size, nullptr);
        m_bytes.insert(m_bytes.end(), data, data + size);
        _Header(0x02014b50, name, crc, size, &offset);
        ++m_entries;
    }

    // The archive: entries, central directory, end record.
    std::vector<std::uint8_t> Finish()
    {
        std::vector<std::uint8_t> archive = m_bytes;
        std::uint32_t const directoryOffset = static_cast<std::uint32_t>(archive.size());
        archive.insert(archive.end(), m_directory.begin(), m_directory.end());
        Put(archive, 0x06054b50, 4);
        Put(archive, 0, 4); // disk numbers
        Put(archive, m_entries, 2);
        Put(archive, m_entries, 2);
        Put(archive, static_cast<std::uint32_t>(m_directory.size()), 4);
        Put(archive, directoryOffset, 4);
        Put(archive, 0, 2); // comment length
        return archive;
    }

private:
    static void Put(std::vector<std::uint8_t>& out, std::uint32_t value, int bytes)
    {
        for (int i = 0; i < bytes; ++i)
        {
            out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
    }

    // A local header into the entries when `offset` is null, else a central
    // directory record pointing at the local header there.
    void _Header(std::uint32_t signature, std::string const& name, std::uint32_t crc, std::size_t size,
                 std::uint32_t const* offset)
    {
        std::vector<std::uint8_t>& out = offset == nullptr ? m_bytes : m_directory;
        Put(out, signature, 4);
        if (offset != nullptr)
        {
            Put(out, 20, 2); // made by
        }
        Put(out, 20, 2); // needed to extract
        Put(out, 0, 2);  // flags
        Put(out, 0, 2);  // stored
        Put(out, 0, 4);  // time and date
        Put(out, crc, 4);
        Put(out, static_cast<std::uint32_t>(size), 4);
        Put(out, static_cast<std::uint32_t>(size), 4);
        Put(out, static_cast<std::uint32_t>(name.size()), 2);
        Put(out, 0, 2); // extra length
        if (offset != nullptr)
        {
            Put(out, 0, 2); // comment length
            Put(out, 0, 4); // disk number and internal attributes
            Put(out, 0, 4); // external attributes
            Put(out, *offset, 4);
        }
        out.insert(out.end(), name.begin(), name.end());
    }

    std::vector<std::uint8_t> m_bytes;
    std::vector<std::uint8_t> m_directory;
    std::uint32_t m_entries = 0;
};
