// What every streaming XML part does to be read from or written into a package.
#pragma once

#include "format3mf/Exception.h"
#include "format3mf/IPackageFile.h"

#include <string>

class ISAXPersist;

namespace Format_3MF
{
// The reading and writing steps that every streaming XML part of a package
// shares. Reading: ask the package reader for the part's stream (none means
// the part is not in the archive: nothing to read, no error) and parse it; a
// document that is malformed or cut short throws Exception with the parser's
// message and the part's name (as MalformedPartXML), since what was read before the fault is not
// the part's content. Writing: print into the writer's
// stream for the part, or into the part's unpacked file when there is none.
struct MalformedPartXML : Exception
{
    using Exception::Exception;
};

void ReadPartXML(IPackageFile const& part, PackageReadContext* context, ISAXPersist& root);
void WritePartXML(IPackageFile const& part, PackageWriteContext* context, ISAXPersist const& root,
                  wchar_t const* rootElement);
} // namespace Format_3MF
