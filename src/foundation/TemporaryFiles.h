// Temporary files for the content of parts, named after the part so that its
// extension survives.
#pragma once

#include <string>

namespace Format_3MF
{
// A fresh path for a temporary file that ends in the file name of a part,
// extension included. The files live in the process's temporary folder,
// which stays for as long as the library is loaded; whoever makes a file
// deletes it, and the folder goes, with anything left, at exit.
std::wstring NewTemporaryPath(std::wstring const& nameInPackage);
} // namespace Format_3MF
