// The public read and write steps of a part, wrapping the hooks each kind of
// part implements with progress and cancellation.
#include "format3mf/IPackageFile.h"

#include "format3mf/PackageOptionCustomFile.h"

#include "common/BranchingProgressReporter.h"

namespace Format_3MF
{
IPackageFile::IPackageFile(std::wstring const& nameInPackage) : PackageFile(nameInPackage) {}

void IPackageFile::Write(PackageWriteContext* context,
                         std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
{
    OndSDK::Common::BranchingProgressReporter reporter(progress, "Format_3MF::IPackageFile::Write", true);
    // A cancelled reporter is no error here: the writer checks for itself.
    if (!reporter.IsCancelled())
    {
        _OnWrite(context, reporter.CreateNestedDelegate(1.0));
    }
}

bool IPackageFile::Matches(PackageOptionCustomFile const& option) const
{
    std::wstring contentType;
    std::wstring extension;
    std::wstring relationType;
    _GetContentInfo(contentType, extension);
    _GetRelationInfo(relationType);
    if (!option.m_relationType.empty() && option.m_relationType != relationType)
    {
        return false;
    }
    return option.m_contentType.empty() || option.m_contentType == contentType;
}

bool IPackageFile::_OnFileIsPredefined(std::wstring*) const
{
    return false;
}

bool IPackageFile::_OnKeepFileAfterReading() const
{
    return false;
}

bool IPackageFile::_OnCanStreamRead() const
{
    return false;
}

bool IPackageFile::_OnCanStreamWrite() const
{
    return false;
}

std::istream* IPackageFile::_CreateInputStream(PackageReadContext const*) const
{
    return nullptr;
}

std::ostream* IPackageFile::_CreateOutputStream(PackageWriteContext*) const
{
    return nullptr;
}
} // namespace Format_3MF
