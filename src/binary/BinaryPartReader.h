// Reading the blocks of a model's binary part as the meshes of the model ask
// for them, straight from the archive's inflated bytes.
#pragma once

#include "binary/BinaryRef.h"

#include <cstddef>
#include <cstdint>
#include <memory>

class IReadBuffer;

namespace Format_3MF
{
class ModelFileBinary;
class PackageRead;

// The bytes of one binary part, block by block. Writers put the blocks in
// the order in which the model's XML names them, so the part is inflated
// from the archive front to back, through a small buffer, into the meshes:
// no copy of it on disk or in memory. A block that lies before the current
// position (a part written in another order) has the whole part extracted
// once into its temporary file, read from then on. A part whose file is
// open already (unpacked by someone else) is read from that file.
//
// A file from elsewhere may claim any position and count: each block is
// checked against the size of the part before a record is read or a byte
// reserved. Failures throw Format_3MF::Exception naming the part; damaged
// archive data throws MZipArchiveError::MGeneric from the archive.
class BinaryPartReader
{
public:
    // `package` may be null: then only an open file is read.
    BinaryPartReader(ModelFileBinary& part, PackageRead* package);
    BinaryPartReader(BinaryPartReader const&) = delete;
    BinaryPartReader& operator=(BinaryPartReader const&) = delete;
    ~BinaryPartReader();

    // Places the reader on the first record of `ref` after checking that the
    // block lies wholly in the part.
    void Seek(BinaryRef const& ref);
    // Exactly `size` bytes from where the reader stands.
    void Read(void* data, std::size_t size);
    // Reads what is left of the part, so that the archive checks its size
    // and checksum as an extraction would, and lets go of the archive.
    void Finish();

private:
    void _Open();
    void _Extract();
    void _Skip(std::uint64_t bytes);
    [[noreturn]] void _Unreadable() const;

    ModelFileBinary& m_part;
    PackageRead* m_package;
    std::unique_ptr<IReadBuffer> m_stream;
    // Set once the stream was tried, whether or not it opened.
    bool m_opened = false;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0;
};
} // namespace Format_3MF
