// A libzip source that only writes: enough for zip_close on a new archive.
#include "zip/ZipArchiveSink.h"

#include <zip.h>

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>

namespace format3mf::archive
{
namespace
{
constexpr std::size_t kBufferSize = std::size_t(1) << 20;
constexpr std::size_t kEndRecordSize = 22;

struct Sink
{
    std::FILE* m_file;
    std::unique_ptr<char[]> m_buffer;
    zip_error_t m_error;
};

zip_int64_t Failed(Sink& sink, int code)
{
    zip_error_set(&sink.m_error, code, errno);
    return -1;
}

// Empties the file; false on failure.
bool Truncate(Sink& sink)
{
    return std::fflush(sink.m_file) == 0 && std::fseek(sink.m_file, 0, SEEK_SET) == 0 &&
           ftruncate(fileno(sink.m_file), 0) == 0;
}

zip_int64_t Serve(void* state, void* data, zip_uint64_t length, zip_source_cmd_t command)
{
    Sink& sink = *static_cast<Sink*>(state);
    switch (command)
    {
    case ZIP_SOURCE_STAT:
        // A file that isn't there yet: libzip makes a new archive.
        zip_error_set(&sink.m_error, ZIP_ER_READ, ENOENT);
        return -1;
    case ZIP_SOURCE_BEGIN_WRITE:
        return Truncate(sink) ? 0 : Failed(sink, ZIP_ER_WRITE);
    case ZIP_SOURCE_WRITE:
        if (std::fwrite(data, 1, length, sink.m_file) != length)
        {
            return Failed(sink, ZIP_ER_WRITE);
        }
        return static_cast<zip_int64_t>(length);
    case ZIP_SOURCE_SEEK_WRITE:
    {
        auto const* const seek = ZIP_SOURCE_GET_ARGS(zip_source_args_seek_t, data, length, &sink.m_error);
        if (seek == nullptr)
        {
            return -1;
        }
        return fseeko(sink.m_file, static_cast<off_t>(seek->offset), seek->whence) == 0
                   ? 0
                   : Failed(sink, ZIP_ER_SEEK);
    }
    case ZIP_SOURCE_TELL_WRITE:
    {
        off_t const position = ftello(sink.m_file);
        return position >= 0 ? static_cast<zip_int64_t>(position) : Failed(sink, ZIP_ER_TELL);
    }
    case ZIP_SOURCE_COMMIT_WRITE:
        return std::fflush(sink.m_file) == 0 ? 0 : Failed(sink, ZIP_ER_WRITE);
    case ZIP_SOURCE_ROLLBACK_WRITE:
        Truncate(sink);
        return 0;
    case ZIP_SOURCE_REMOVE:
    {
        // libzip removes an archive left without entries; one that is still
        // an archive is its end record alone.
        unsigned char const record[kEndRecordSize] = {'P', 'K', 5, 6};
        if (!Truncate(sink) || std::fwrite(record, 1, sizeof record, sink.m_file) != sizeof record ||
            std::fflush(sink.m_file) != 0)
        {
            return Failed(sink, ZIP_ER_WRITE);
        }
        return 0;
    }
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&sink.m_error, data, length);
    case ZIP_SOURCE_FREE:
        std::fclose(sink.m_file);
        zip_error_fini(&sink.m_error);
        delete &sink;
        return 0;
    case ZIP_SOURCE_SUPPORTS:
        // Reading must be offered for libzip to open an archive on the
        // source; a new archive never reads.
        return ZIP_SOURCE_SUPPORTS_WRITABLE;
    default:
        zip_error_set(&sink.m_error, ZIP_ER_OPNOTSUPP, 0);
        return -1;
    }
}
} // namespace

zip_source* CreateArchiveSink(std::string const& path)
{
    std::FILE* const file = std::fopen(path.c_str(), "wbe");
    if (file == nullptr)
    {
        return nullptr;
    }
    auto* const sink = new Sink{file, std::unique_ptr<char[]>(new char[kBufferSize]), {}};
    std::setvbuf(file, sink->m_buffer.get(), _IOFBF, kBufferSize);
    zip_error_init(&sink->m_error);
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* const source = zip_source_function_create(Serve, sink, &error);
    zip_error_fini(&error);
    if (source == nullptr)
    {
        std::fclose(file);
        zip_error_fini(&sink->m_error);
        delete sink;
    }
    return source;
}
} // namespace format3mf::archive
