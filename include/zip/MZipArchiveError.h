#pragma once

// The exception types of the archive layer, carrying the archive or entry name
// with the cause.

#include "common/OndExport.h"

#include <stdexcept>
#include <string>

// Exceptions of the archive classes and of the buffers on top of them.
namespace MZipArchiveError
{
// Any failure of an archive: carries a wide message and a detail, usually
// the name of the archive or of the entry concerned. what() gives both in
// UTF-8, "message: detail".
class OND_EXPORT MGeneric : public std::runtime_error
{
public:
    MGeneric(std::wstring message, std::wstring detail);

    std::wstring const& GetMessage() const { return m_message; }
    std::wstring const& GetDetail() const { return m_detail; }

private:
    std::wstring m_message;
    std::wstring m_detail;
};

// An entry (or an archive) that isn't there. It is an MGeneric as well, so
// that whoever handles archive failures in general handles this one too.
class OND_EXPORT MFileNotFound : public MGeneric
{
public:
    explicit MFileNotFound(std::wstring name);
};
} // namespace MZipArchiveError
