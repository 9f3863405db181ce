#pragma once

// A binary file of 32-bit numbers with its own buffer, for caches and spools
// written and read one number at a time.

#include "common/OndExport.h"

#include <cstdint>
#include <vector>

// A buffered binary file of 32-bit numbers, read or written one number at a
// time without a system call each. Numbers are little-endian on disk whatever
// the host. A file is open for reading or for writing, never both.
class OND_EXPORT MFile
{
public:
    explicit MFile(std::uint64_t bufferSize);
    // Closes the file, writing what is still buffered.
    virtual ~MFile();
    MFile(MFile const&) = delete;
    MFile& operator=(MFile const&) = delete;

    // Both close a file already open first; false when the file can't be opened.
    bool OPEN_READ(wchar_t const* path);
    // Creates the file or empties an existing one.
    bool OPEN_WRITE(wchar_t const* path);
    bool IsOpen() const { return m_fd >= 0; }

    // Read `count` numbers; return how many whole numbers were read, fewer at
    // the end of the file. A partial number at the end is left unread.
    std::uint64_t READ(float* data, std::uint64_t count);
    std::uint64_t READ(std::int32_t* data, std::uint64_t count);
    // Write `count` numbers; return how many were taken, fewer only when the
    // disk refused them.
    std::uint64_t WRITE(float const* data, std::uint64_t count);
    std::uint64_t WRITE(std::int32_t* data, std::uint64_t count);

    // Moves to a byte offset from the start; false when not open or the offset
    // is out of the range of the system.
    bool Seek(std::uint64_t position);
    // The byte offset of the next number read or written.
    std::uint64_t GetPosition() const;

    // False when buffered data could not be written.
    bool Close();

private:
    enum class Mode
    {
        Closed,
        Read,
        Write
    };

    bool Open(wchar_t const* path, Mode mode);
    std::uint64_t ReadWords(void* data, std::uint64_t count);
    std::uint64_t WriteWords(void const* data, std::uint64_t count);
    bool Flush();
    bool Refill();

    std::vector<unsigned char> m_buffer;
    int m_fd = -1;
    Mode m_mode = Mode::Closed;
    // Reading: the unread bytes are m_buffer[m_begin, m_end). Writing: the
    // bytes not yet written are m_buffer[0, m_end).
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    // Offset of the file descriptor: the end of the buffered bytes when
    // reading, their start when writing.
    std::uint64_t m_filePosition = 0;
};
