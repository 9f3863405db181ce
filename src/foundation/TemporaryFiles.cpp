// Temporary paths for parts held on disk, in one folder for the whole process.
#include "foundation/TemporaryFiles.h"

#include "foundation/PartNames.h"

#include "common/TemporaryDirectory.h"

namespace Format_3MF
{
std::wstring NewTemporaryPath(std::wstring const& nameInPackage)
{
    // One object for the whole process: a temporary one would take the
    // folder with it as soon as it went.
    static OndSDK::FileIO::FileSystem::TemporaryDirectory const folder;
    std::wstring const leaf = FromPath(ToPath(WithForwardSlashes(nameInPackage)).filename());
    return folder.GetTemporaryFilePath() + leaf;
}
} // namespace Format_3MF
