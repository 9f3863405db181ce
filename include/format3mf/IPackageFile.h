#pragma once

// The base of every package part, with the hooks the package reader and writer
// drive it through.

#include "common/OndExport.h"
#include "format3mf/PackageFile.h"

#include <iosfwd>
#include <memory>
#include <string>

namespace OndSDK::Common
{
class IProgressDelegate;
}

namespace Format_3MF
{
struct PackageReadContext;
struct PackageWriteContext;
struct PackageOptionCustomFile;

// Base of every part of a package. The package reader and writer drive a part
// through the protected hooks; code outside the hierarchy uses the public
// wrappers, which forward to them.
class OND_EXPORT IPackageFile : public PackageFile
{
public:
    explicit IPackageFile(std::wstring const& nameInPackage);
    IPackageFile(IPackageFile const&) = default;
    IPackageFile& operator=(IPackageFile const&) = default;
    virtual ~IPackageFile() = default;

    // Relative share of this part in the progress of writing a package.
    virtual double GetWriteProgressWeight() const = 0;

    void Read(PackageReadContext* context) { _OnRead(context); }
    void Write(PackageWriteContext* context, std::shared_ptr<OndSDK::Common::IProgressDelegate> progress);
    bool FileIsPredefined(std::wstring* path) const { return _OnFileIsPredefined(path); }
    bool KeepFileAfterReading() const { return _OnKeepFileAfterReading(); }
    bool GetContentInfo(std::wstring& contentType, std::wstring& extension) const
    {
        return _GetContentInfo(contentType, extension);
    }
    bool GetRelationInfo(std::wstring& type) const { return _GetRelationInfo(type); }
    bool CanStreamRead() const { return _OnCanStreamRead(); }
    bool CanStreamWrite() const { return _OnCanStreamWrite(); }
    std::istream* CreateInputStream(PackageReadContext const* context) const
    {
        return _CreateInputStream(context);
    }
    std::ostream* CreateOutputStream(PackageWriteContext* context) const
    {
        return _CreateOutputStream(context);
    }
    // True unless the option names a relationship or content type that differs
    // from this part's.
    bool Matches(PackageOptionCustomFile const& option) const;

protected:
    IPackageFile() = default;

    // False: no entry in the content types part. True with an extension: a
    // Default entry; with an empty extension: an Override for this name.
    virtual bool _GetContentInfo(std::wstring& contentType, std::wstring& extension) const = 0;
    // True: a relationship of that type must point at the part.
    virtual bool _GetRelationInfo(std::wstring& type) const = 0;
    // True: the bytes exist in an outside file and the part never writes.
    // A part may fill `path` and answer false to write itself into that file.
    virtual bool _OnFileIsPredefined(std::wstring* path) const;
    virtual void _OnRead(PackageReadContext* context) = 0;
    virtual void _OnWrite(PackageWriteContext* context,
                          std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) = 0;
    virtual bool _OnKeepFileAfterReading() const;
    virtual bool _OnCanStreamRead() const;
    virtual bool _OnCanStreamWrite() const;
    // A part's own streams; null means the reader's or writer's standard one.
    // The caller owns the result.
    virtual std::istream* _CreateInputStream(PackageReadContext const* context) const;
    virtual std::ostream* _CreateOutputStream(PackageWriteContext* context) const;
};
} // namespace Format_3MF
