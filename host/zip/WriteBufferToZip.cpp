// Starting a new entry in a 32-bit or a zip64 archive, refusing a missing
// archive with a message.
#include "zip/WriteBufferToZip.h"

#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"
#include "zip/Zip64Writer.h"

namespace
{
template <typename Archive>
Archive& Checked(Archive* archive)
{
    if (archive == nullptr)
    {
        throw MZipArchiveError::MGeneric(L"No archive given for a new entry", L"");
    }
    return *archive;
}
} // namespace

WriteBufferToZip32::WriteBufferToZip32(MZipArchive* archive, char const* name)
    : ZipEntryWriteBuffer(Checked(archive).Writer(), name)
{
}

WriteBufferToZip64::WriteBufferToZip64(FileIO::Zip::Zip64Writer* archive, char const* name)
    : ZipEntryWriteBuffer(Checked(archive).Writer(), name)
{
}
