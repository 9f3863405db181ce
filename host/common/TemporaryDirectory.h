#pragma once

// Paths for temporary files in one private folder per process, so that leftovers
// can be cleaned up in one place.

#include <memory>
#include <string>

namespace OndSDK::FileIO::FileSystem
{
// Hands out paths for temporary files, all inside one folder per process
// below the system's temporary directory. The folder is named after the
// process id and a random part, is created readable by its owner alone
// (0700) when the first path is asked for, and is shared by every
// TemporaryDirectory of the process.
//
// Whoever makes a file at a given path deletes it. The folder, with anything
// left in it, is removed as a safety net when the last TemporaryDirectory
// object of the process is destroyed, and at exit if one is still alive then.
// A later object starts a new folder.
class TemporaryDirectory
{
public:
    TemporaryDirectory();
    ~TemporaryDirectory();

    // A path in the folder at which nothing exists yet, different at every
    // call, also across threads. Its last component is a number followed by
    // "-", so that a file name may be appended to the string as it is.
    // Throws boost::filesystem::filesystem_error when the folder can't be made.
    std::wstring GetTemporaryFilePath() const;

    // The shared folder; defined where it is used.
    class Folder;

private:
    std::shared_ptr<Folder> m_folder;
};
} // namespace OndSDK::FileIO::FileSystem
