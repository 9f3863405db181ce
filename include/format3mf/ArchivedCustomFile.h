// A part carried through a package that stays in the archive it was read
// from until someone wants its bytes.
#pragma once

#include "common/OndExport.h"
#include "format3mf/CustomFile.h"

#include <string>

namespace Format_3MF
{
// A custom file read from a package and taken out of the archive only when
// a caller asks for its path or the package is written again: the model's
// binary part is carried so, since the meshes read it straight from the
// archive and most readers never want a copy of it. The archive must still
// be there then; GetPath throws MZipArchiveError::MGeneric, naming the part,
// when it can't give the part. The extracted file belongs to this object.
class OND_EXPORT ArchivedCustomFile : public CustomFile
{
public:
    ArchivedCustomFile(std::wstring const& nameInPackage, std::wstring const& archivePath);

    std::wstring GetPath() const override;
    CustomFile* CreateInstance() const override;

protected:
    // Nothing is unpacked on reading.
    bool _OnCanStreamRead() const override { return true; }
    void _OnRead(PackageReadContext*) override {}
    bool _OnFileIsPredefined(std::wstring* path) const override;

private:
    // Unpacks the part on first need; const because the need arises in
    // const queries.
    void _Extract() const;

    std::wstring m_archivePath;
};
} // namespace Format_3MF
