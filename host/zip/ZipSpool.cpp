// The spool of compressed entry data and the libzip sources that read it back
// when the archive is written.
#include "zip/ZipSpool.h"

#include <zip.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace format3mf::archive
{
namespace
{
constexpr std::size_t kBufferSize = std::size_t(1) << 20;

// Reads one entry's range of the spool for libzip, which asks for a few KiB
// at a time: the reads from the file go through a buffer of up to 1 MiB, held
// only while libzip has the source open.
struct SpoolSource
{
    int m_descriptor;
    SpooledEntry m_entry;
    std::uint64_t m_position = 0;
    zip_error_t m_error;
    std::vector<char> m_buffer;
    std::size_t m_buffered = 0;
    std::size_t m_taken = 0;
};

// Refills the buffer from the spool; false on a failure, which is noted.
bool Refill(SpoolSource& source)
{
    std::uint64_t const left = source.m_entry.m_compressedSize - source.m_position;
    std::size_t const wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(left, source.m_buffer.size()));
    ssize_t const got = pread(source.m_descriptor, source.m_buffer.data(), wanted,
                              static_cast<off_t>(source.m_entry.m_offset + source.m_position));
    // The spool holds every byte it was given: a short file is a failure.
    if (got <= 0)
    {
        zip_error_set(&source.m_error, ZIP_ER_READ, got < 0 ? errno : EIO);
        return false;
    }
    source.m_buffered = static_cast<std::size_t>(got);
    source.m_taken = 0;
    return true;
}

zip_int64_t Serve(void* state, void* data, zip_uint64_t length, zip_source_cmd_t command)
{
    SpoolSource& source = *static_cast<SpoolSource*>(state);
    switch (command)
    {
    case ZIP_SOURCE_OPEN:
        source.m_position = 0;
        source.m_buffered = source.m_taken = 0;
        source.m_buffer.resize(
            static_cast<std::size_t>(std::min<std::uint64_t>(source.m_entry.m_compressedSize, kBufferSize)));
        return 0;
    case ZIP_SOURCE_READ:
    {
        if (source.m_position == source.m_entry.m_compressedSize || length == 0)
        {
            return 0;
        }
        if (source.m_taken == source.m_buffered && !Refill(source))
        {
            return -1;
        }
        std::size_t const count =
            static_cast<std::size_t>(std::min<zip_uint64_t>(length, source.m_buffered - source.m_taken));
        std::memcpy(data, source.m_buffer.data() + source.m_taken, count);
        source.m_taken += count;
        source.m_position += count;
        return static_cast<zip_int64_t>(count);
    }
    case ZIP_SOURCE_CLOSE:
        source.m_buffer = std::vector<char>();
        return 0;
    case ZIP_SOURCE_STAT:
    {
        zip_stat_t* const stat = ZIP_SOURCE_GET_ARGS(zip_stat_t, data, length, &source.m_error);
        if (stat == nullptr)
        {
            return -1;
        }
        zip_stat_init(stat);
        stat->valid = ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE | ZIP_STAT_CRC | ZIP_STAT_COMP_METHOD |
                      ZIP_STAT_ENCRYPTION_METHOD | ZIP_STAT_MTIME;
        stat->size = source.m_entry.m_size;
        stat->comp_size = source.m_entry.m_compressedSize;
        stat->crc = source.m_entry.m_crc;
        stat->comp_method = source.m_entry.m_stored ? ZIP_CM_STORE : ZIP_CM_DEFLATE;
        stat->encryption_method = ZIP_EM_NONE;
        stat->mtime = source.m_entry.m_modified;
        return sizeof(zip_stat_t);
    }
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&source.m_error, data, length);
    case ZIP_SOURCE_FREE:
        zip_error_fini(&source.m_error);
        delete &source;
        return 0;
    case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE,
                                              ZIP_SOURCE_STAT, ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, -1);
    default:
        zip_error_set(&source.m_error, ZIP_ER_OPNOTSUPP, 0);
        return -1;
    }
}

// An unnamed file where the system supports it, else a named one that is
// unlinked at once.
int OpenUnnamed(std::string const& folder)
{
    int descriptor = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (descriptor >= 0)
    {
        return descriptor;
    }
    std::string name = folder + "/.ond3mf-spool-XXXXXX";
    descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor >= 0)
    {
        unlink(name.c_str());
    }
    return descriptor;
}
} // namespace

std::unique_ptr<ZipSpool> ZipSpool::Create(std::string const& folder)
{
    int const descriptor = OpenUnnamed(folder.empty() ? std::string(".") : folder);
    if (descriptor < 0)
    {
        return nullptr;
    }
    std::FILE* const file = fdopen(descriptor, "w+b");
    if (file == nullptr)
    {
        close(descriptor);
        return nullptr;
    }
    return std::unique_ptr<ZipSpool>(new ZipSpool(file));
}

ZipSpool::ZipSpool(std::FILE* file) : m_file(file), m_buffer(new char[kBufferSize])
{
    std::setvbuf(m_file, m_buffer.get(), _IOFBF, kBufferSize);
}

ZipSpool::~ZipSpool()
{
    std::fclose(m_file);
}

bool ZipSpool::Append(unsigned char const* data, std::size_t size)
{
    if (std::fwrite(data, 1, size, m_file) != size)
    {
        return false;
    }
    m_size += size;
    return true;
}

bool ZipSpool::Flush()
{
    return std::fflush(m_file) == 0;
}

zip_source* ZipSpool::CreateSource(zip* archive, SpooledEntry const& entry) const
{
    auto* const state = new SpoolSource{fileno(m_file), entry, 0, {}, {}, 0, 0};
    zip_error_init(&state->m_error);
    zip_source_t* const source = zip_source_function(archive, Serve, state);
    if (source == nullptr)
    {
        zip_error_fini(&state->m_error);
        delete state;
    }
    return source;
}
} // namespace format3mf::archive
