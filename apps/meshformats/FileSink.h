// The bytes of a mesh file on their way into the temporary file of a safe
// write: buffered, every write checked, and a cancel heard between blocks.
#pragma once

#include "MeshFormats.h"

#include "common/SafeFileWrite.h"

#include <string>

namespace format3mf::meshformats
{
class FileSink
{
public:
    // Writes into the target's descriptor; polls `progress` (may be null)
    // for a cancel each time a block goes out.
    FileSink(format3mf::SafeFileWrite& target, OndSDK::Common::IProgressDelegate const* progress);

    // Throws the target's FileWriteError with the system's cause when a
    // write fails, and Canceled when the progress was cancelled.
    void Write(void const* data, std::size_t size);
    void Write(std::string const& text) { Write(text.data(), text.size()); }
    // Writes what is buffered, then as Write. Call before the commit.
    void Flush();
    // A failure of the write in words, naming the target.
    format3mf::FileWriteError Failure(std::string const& cause) const { return m_target.Failure(cause); }

private:
    void _Send(char const* data, std::size_t size);

    format3mf::SafeFileWrite& m_target;
    OndSDK::Common::IProgressDelegate const* m_progress;
    std::string m_buffer;
};
} // namespace format3mf::meshformats
