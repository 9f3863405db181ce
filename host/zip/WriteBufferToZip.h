#pragma once

// Write buffers for new entries of either archive kind, as the package code
// creates parts.

#include "zip/ZipEntryWriteBuffer.h"

class MZipArchive;
namespace FileIO::Zip
{
class Zip64Writer;
}

// A new entry, under a UTF-8 name, of a 32-bit archive open for writing.
// Throws MZipArchiveError::MGeneric if the entry can't be started.
class WriteBufferToZip32 : public format3mf::archive::ZipEntryWriteBuffer
{
public:
    WriteBufferToZip32(MZipArchive* archive, char const* name);
};

// A new entry, under a UTF-8 name, of a zip64 archive.
class WriteBufferToZip64 : public format3mf::archive::ZipEntryWriteBuffer
{
public:
    WriteBufferToZip64(FileIO::Zip::Zip64Writer* archive, char const* name);
};
