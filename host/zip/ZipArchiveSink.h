#pragma once

// The file of an archive being written, as the libzip source that zip_close
// writes into: straight into the file, through a buffer of 1 MiB, with no
// second file to rename.

#include <string>

struct zip_source;

namespace format3mf::archive
{
// Creates (replaces) the file at path at once; null if it can't. The source
// tells libzip that the archive is new. libzip owns it once an archive is
// opened on it; before that, zip_source_free frees it.
zip_source* CreateArchiveSink(std::string const& path);
} // namespace format3mf::archive
