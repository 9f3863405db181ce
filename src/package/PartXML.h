// What every streaming XML part does to be read from or written into a package.
#pragma once

#include "format3mf/IPackageFile.h"

#include <string>

class ISAXPersist;

namespace Format_3MF
{
// The reading and writing steps that every streaming XML part of a package
// shares. Reading: ask the package reader for the part's stream (none means
// the part is not in the archive: nothing to read, no error) and parse it;
// the parser's verdict is not looked at. Writing: print into the writer's
// stream for the part, or into the part's unpacked file when there is none.
void ReadPartXML(IPackageFile const& part, PackageReadContext* context, ISAXPersist& root);
void WritePartXML(IPackageFile const& part, PackageWriteContext* context, ISAXPersist const& root,
                  wchar_t const* rootElement);
} // namespace Format_3MF
